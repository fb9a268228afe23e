#include "GdbDebug.hpp"

#include "DbgProcess.hpp"
#include "GdbBreak.hpp"
#include "GdbDlg.hpp"
#include "GdbSession.hpp"
#include "GdbSettings.hpp"
#include "cString.hpp"
#include "iSpawn.hpp"
#include "xApp.hpp"
#include "xWinobj.hpp"

static const char startFailure[] =
    "Unexpected error starting the debugger! Make sure the debugger is correctly\n"
    "installed and the install directory is defined in system path.\n\n";

// One per host action: the eighteen debugger commands, then the host's own.
static const char* const toolTips[] = {
    "Start to run the currently loaded program",
    "Continue to run the current program or thread",
    "Step into the current line",
    "Step over to the next line",
    "Step out of the current function",
    "Stop the current debugging session",
    "Display all global variables",
    "Display all variables",
    "Display the local variables",
    "Display the current stack",
    "Dump the current variable or selected text",
    "Watch the current variable or selected text",
    "Lists all function environment variables",
    "Display the debugger help",
    "Set a break point at the current line",
    "Delete the break point at the current line",
    "Delete all break boints",
    "List all break points",
    "Display the source code of the selected breakpoint",
    "Display the debugger cursor source code",
    "Display the arguments",
    "Execute a debuuger command",
    "Display the debugger output window",
    "Clear the debugger output window",
    "Display the debugger configuration dialog",
};
enum { TOOL_TIPS = sizeof toolTips / sizeof toolTips[0] };
static_assert(TOOL_TIPS == 25, "one tool tip per host action");

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  // No "insert a disk" or "file not found" boxes on the host's behalf.
  UINT mode = SetErrorMode(0);
  SetErrorMode(mode | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  if (reason == DLL_PROCESS_ATTACH) {
    char path[1024];
    DWORD n = GetModuleFileNameA(module, path, sizeof path);
    path[n < sizeof path ? n : sizeof path - 1] = 0;
    ReadSettings(path);
  }
  return TRUE;
}

// Waits for the reader thread, keeping the host's windows alive meanwhile.
// A debugger still there on the thousandth pass is killed; no sleep, so the
// host stays as responsive as it would be in its own loop. A reader that a
// fault ended keeps its flag up, so its debugger is killed too; the wait
// after a kill is for output still coming, and bounded.
static void waitForReader(DbgProcess& process) {
  for (int count = 1000; process.readerActive();) {
    pump();
    if (--count == 0) {
      process.kill(DbgProcess::KILLED);
      break;
    }
  }
  process.waitForLastOutput();
}

int __cdecl DebugStartDebugging(DebugContext** context, EXECINFO* info) {
  if (!context) return 0;
  *context = 0;
  try {
    DebugContext* created = new DebugContext(info);
    *context = created;
    gdbDebugger* session = CurrentSession;
    if (!session) return 0;
    // Left there afterwards: the debugger's relative file names are
    // resolved against it for as long as the session runs.
    SetCurrentDirectoryA(created->info.directory);
    if (!session->process().start()) {
      created->ReportText(startFailure);
      return 0;
    }
    session->process().startReader();
    session->LoadBreakpoints(created->info.workspace);
    return 1;
  } catch (...) {
    xReportCallbackException("DebugStartDebugging");
    return 0;
  }
}

int __cdecl DebugStopDebugging(DebugContext* context) {
  if (!context) return 0;
  try {
    gdbDebugger* session = CurrentSession;
    if (session) session->WriteBreakpoints(context->info.workspace, true);
    BreakpointList.clear();
    context->ReportLocation("", 0);
    if (session) {
      if (session->IsRunning()) {
        session->Quit();
        waitForReader(session->process());
      } else {
        session->process().waitForLastOutput();
      }
    }
    SessionStorage::closeWithContext(context, session);
  } catch (...) {
    xReportCallbackException("DebugStopDebugging");
  }
  return 1;
}

int __cdecl DebugRestartDebugger(DebugContext** context, const char* file) {
  if (!context || !*context) return 0;
  EXECINFO record;
  CopyExecInfo(&record, &(*context)->info);
  BoundedCopy(record.file, file, EXECINFO::TEXT);
  DebugStopDebugging(*context);
  return DebugStartDebugging(context, &record);
}

int __cdecl DebugConfigure(HWND parent, const char* modulePath) {
  if (!modulePath) return 0;
  try {
    return RunConfigDialog(parent, modulePath);
  } catch (...) {
    xReportCallbackException("DebugConfigure");
    return 0;
  }
}

xDebugger* __cdecl DebugGetDebugger() { return CurrentSession; }

int __cdecl DebugInfo(DEBUGINFO* info) {
  if (!info) return 0;
  const DEBUGINFO& s = DebugSettings;
  bool blank = info->size != DEBUGINFO::SIZE;
  // Every field at its own width; an unexpected size gets empty texts.
#define COPY(field) BoundedCopy(info->field, blank ? "" : s.field, sizeof info->field)
  COPY(name);
  COPY(description);
  COPY(version);
  COPY(options);
  COPY(executable);
  COPY(arguments);
  COPY(infoQuit);
  COPY(infoBreakFmt);
  for (int i = 0; i < SLOT_COUNT; i++) {
    COPY(txt[i]);
    COPY(cmd[i]);
  }
#undef COPY
  info->display = blank ? 1 : s.display;
  return blank ? 0 : 1;
}

int __cdecl DebugToolTip(int index, char* buffer, int size) {
  if (!buffer || size <= 0) return 0;
  BoundedCopy(buffer, index >= 0 && index < TOOL_TIPS ? toolTips[index] : "", size);
  return 1;
}

const char* __cdecl DebugCommandLine(DebugContext* context, EXECINFO* info) {
  static String* line = 0;
  try {
    if (!line) line = new String();
    *line = BuildCommandLine(context, info);
  } catch (...) {
    xReportCallbackException("DebugCommandLine");
    return "";
  }
  return line->text();
}
