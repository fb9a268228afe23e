// The user's breakpoints: one process-wide list, kept in the workspace's
// profile between sessions and replayed to every new debugger as commands.
#ifndef GDBBREAK_HPP
#define GDBBREAK_HPP

#include "cArray.hpp"
#include "cString.hpp"

class xDebugger;

class Breakpoint {
 public:
  // file as the host gave it, line as decimal text; enabled from the start.
  Breakpoint(const char* file, const char* line);

  String enabled;  // non-empty: enabled
  String line;
  String file;
  String key;      // file quoted, with '/', lower case
  String command;  // the set command, built once
  String stored;   // the profile entry's value, rebuilt at each save
};

extern List<Breakpoint> BreakpointList;

// The comparison form of a file name.
void BreakpointKey(const char* file, String& key);

// The first breakpoint at line whose file or key is file, ignoring case.
Breakpoint* FindBreakpoint(const char* file, int line);

// The debugger commands that set and clear a breakpoint, by file name
// without folder. Valid until the same function runs again; a null file
// gives the previous text.
const char* BreakSetCommand(const char* file, int line);
const char* BreakClearCommand(const char* file, int line);

// The session operations on the list. workspace names the profile file.
int BreakSet(xDebugger& session, const char* workspace, const char* file, int line);
int BreakClear(xDebugger& session, const char* workspace, const char* file, int line);
int BreakAll(xDebugger& session, const char* workspace);
bool IsBreakpoint(const char* file, int line, bool* enabled);
// Saves the list into section "Breakpoints-" section of the workspace's profile.
int WriteBreakpoints(xDebugger& session, const char* workspace, const char* section,
                     bool atStop);
// Sends the breakpoints set before the start, or, with none, those stored.
int LoadBreakpoints(xDebugger& session, const char* workspace, const char* section);

#endif
