#include "GdbBreak.hpp"

#include <stdlib.h>
#include <string.h>

#include "GdbParse.hpp"
#include "GdbSession.hpp"
#include "GdbSettings.hpp"
#include "cProfile.hpp"

List<Breakpoint> BreakpointList(true);

static const char enabledMark[] = "1";
static const char separator[] = "##";
static const char defaultBreakFormat[] = "%s %d %s";

Breakpoint::Breakpoint(const char* fileText, const char* lineText)
    : enabled(enabledMark), line(lineText ? lineText : ""), file(fileText ? fileText : "") {
  BreakpointKey(file, key);
  command = BreakSetCommand(file, atoi(line));
}

void BreakpointKey(const char* file, String& key) {
  key = file ? file : "";
  QuoteName(key);
  key.replaceAll("\\", "/");
  key.toLower();
}

Breakpoint* FindBreakpoint(const char* file, int line) {
  if (!file) return 0;
  String number;
  number.format("%d", line);
  ListIter<Breakpoint> it(&BreakpointList);
  for (Breakpoint* b = it.first(); !it.done(); b = it.next())
    if (b && b->line == number && (b->key.equals(file, false) || b->file.equals(file, false)))
      return b;
  return 0;
}

// The name with its extension, without folder.
static String nameOnly(const char* path) { return String(fileNameOf(path)); }

// The configured format unless it would read its arguments wrongly: it
// gets a text, a number and a text, in that order, and may use fewer.
static const char* breakFormat() {
  static const char* const accepted[3] = {"s", "diuxXo", "s"};  // per argument
  const char* format = DebugSettings.infoBreakFmt;
  int argument = 0;
  for (const char* p = format; *p; p++) {
    if (*p != '%') continue;
    if (*++p == '%') continue;
    while (*p && strchr("-+ #0123456789.", *p)) p++;
    if (!*p || argument >= 3 || !strchr(accepted[argument], *p)) {
      report(SOURCE_NAME, __LINE__, "The breakpoint format does not fit its arguments");
      return defaultBreakFormat;
    }
    argument++;
  }
  return format;
}

static const char* buildBreakCommand(String& command, int slot, const char* file, int line,
                                     bool checkBlanks) {
  if (!file) return command;
  String name = nameOnly(file);
  command.format(breakFormat(), DebugSettings.cmd[slot], line, name.text());
  // The warning travels with the command, so the user reads it in the output.
  if (checkBlanks && name.find(' ') >= 0)
    command += "\nFile names can not contain whitespace."
               "\nThis version of the Lua debugger does not support long file names.";
  return command;
}

const char* BreakSetCommand(const char* file, int line) {
  static String command;
  return buildBreakCommand(command, SLOT_BREAKSET, file, line, true);
}

const char* BreakClearCommand(const char* file, int line) {
  static String command;
  return buildBreakCommand(command, SLOT_BREAKCLR, file, line, false);
}

static const char* text(const char* s) { return s ? s : ""; }

int BreakSet(xDebugger& session, const char* workspace, const char* file, int line) {
  if (!file) return 0;
  if (FindBreakpoint(file, line)) return 1;
  String number;
  number.format("%d", line);
  BreakpointList.add(new Breakpoint(file, number));
  session.WriteBreakpoints(text(workspace), true);
  return session.SendCommand(BreakSetCommand(file, line), true);
}

int BreakClear(xDebugger& session, const char* workspace, const char* file, int line) {
  Breakpoint* found = FindBreakpoint(file, line);
  if (!found) return 0;
  String command = BreakClearCommand(file, line);
  delete BreakpointList.remove(BreakpointList.indexOf(found));
  session.WriteBreakpoints(text(workspace), true);
  return session.SendCommand(command, true);
}

int BreakAll(xDebugger& session, const char* workspace) {
  const char* word = DebugSettings.cmd[SLOT_BREAKALL];
  if (!*word) return 0;
  BreakpointList.clear();
  session.WriteBreakpoints(text(workspace), true);
  return session.SendCommand(word, true);
}

bool IsBreakpoint(const char* file, int line, bool* enabled) {
  if (!file) return false;
  if (enabled) *enabled = false;
  Breakpoint* found = FindBreakpoint(file, line);
  if (!found) return false;
  if (enabled) *enabled = !found->enabled.isEmpty();
  return true;
}

static String sectionName(const char* section) {
  String name("Breakpoints-");
  name += text(section);  // as given: "<default settings>" stays so here
  return name;
}

int WriteBreakpoints(xDebugger& session, const char* workspace, const char* section,
                     bool atStop) {
  String path;
  Profile profile(ProfilePath(text(workspace), path));
  StringDZ entries;
  ListIter<Breakpoint> it(&BreakpointList);
  for (Breakpoint* b = it.first(); !it.done(); b = it.next()) {
    if (!b) continue;
    if (session.SupportsBreakFilter() && b->enabled.isEmpty() && atStop && session.IsRunning())
      continue;
    b->stored = b->file;
    b->stored += separator;
    b->stored += b->line;
    b->stored += separator;
    b->stored += b->enabled;
    entries.add(b->stored, true);  // "n=value", n counting what was added
  }
  profile.writeSection(sectionName(section), entries);
  return 1;
}

int LoadBreakpoints(xDebugger& session, const char* workspace, const char* section) {
  if (BreakpointList.count() > 0) {  // set before the debugger ran
    ListIter<Breakpoint> it(&BreakpointList);
    for (Breakpoint* b = it.first(); !it.done(); b = it.next())
      if (b) session.SendCommand(b->command, false);
    return 1;
  }
  String path;
  Profile profile(ProfilePath(text(workspace), path));
  Array<String> lines(true);
  profile.readSection(sectionName(section), lines);
  for (int i = 0; i < lines.count(); i++) {
    const String* line = lines.get(i);
    String file, number, enabled;
    if (!line || !ParseBreakpointEntry(*line, file, number, enabled)) continue;
    Breakpoint* b = new Breakpoint(file, number);
    b->enabled = enabled;
    BreakpointList.add(b);
    session.SendCommand(b->command, false);
  }
  return 1;
}
