/* The plug-in under faults, driven as the IDE drives it: plain C, through
   the exports and the session's slots only, against the real SorbLua.exe
   on programs that misbehave. Whatever the program does, the IDE's thread
   is never held up longer than LIMIT_MS by a call, a stop stays short and
   keeps handling messages, the session ends and the host lives on. Also the
   slots no other test calls by position, and every tool tip.

     test_faults.exe      (from the folder holding the DLL and programs\) */
#include <windows.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host.h"

/* LIMIT_MS bounds every call that could wait on the child. Starting is
   process creation, whose time is the machine's (Wine's), not the child's;
   and a stop pumps messages on purpose: a pump that stalls shows seconds, so
   their bounds leave room for a loaded machine instead of flaking on it. */
enum { LIMIT_MS = 100, START_MS = 2000, PUMP_MS = 250, STOP_MS = 3000, WAIT_MS = 30000 };

static int checks, failures;

static void check(int good, int line, const char* format, ...) {
  va_list args;
  checks++;
  if (good) return;
  failures++;
  printf("test_faults.c:%d: ", line);
  va_start(args, format);
  vprintf(format, args);
  va_end(args);
  printf("\n");
}
#define ok(condition, ...) check(!!(condition), __LINE__, __VA_ARGS__)

static char runDir[MAX_PATH], programs[MAX_PATH], dll[MAX_PATH];
static HostPlugin p;
static HostExecInfo info;
static void* ctx;

/* ------------------------------------------------------------ the IDE's thread */

static LARGE_INTEGER frequency;

static double now(void) {
  LARGE_INTEGER t;
  QueryPerformanceCounter(&t);
  return (double)t.QuadPart * 1000.0 / (double)frequency.QuadPart;
}

/* Every call but the stops is timed; the longest so far, by name, with the
   starts apart. */
static double callStart, worstCall, worstStart;
static const char* worstName = "";

static int timed(const char* name, int result) {
  double ms = now() - callStart;
  if (strcmp(name, "DebugStartDebugging") == 0) {
    if (ms > worstStart) worstStart = ms;
  } else if (ms > worstCall) {
    worstCall = ms, worstName = name;
  }
  return result;
}
#define T(name, call) (callStart = now(), timed(name, (call)))

/* During a stop a ticker thread posts a message to a window of this thread
   whenever the last one was handled, 10 ms apart; the longest wait of one
   tells how long the stop kept the thread from its messages. */
static HWND window;
static volatile LONG ticking, pending;
static volatile double postedAt;
static double worstLatency;

static LRESULT CALLBACK windowProc(HWND w, UINT m, WPARAM wp, LPARAM lp) {
  if (m != WM_APP) return DefWindowProcA(w, m, wp, lp);
  if (now() - postedAt > worstLatency) worstLatency = now() - postedAt;
  pending = 0;
  return 0;
}

static DWORD WINAPI ticker(void* unused) {
  (void)unused;
  for (; ticking; Sleep(10)) {
    if (pending) continue;
    pending = 1;
    postedAt = now();
    PostMessageA(window, WM_APP, 0, 0);
  }
  return 0;
}

/* Stops the session, timed as a whole and for its message handling. */
static double stop(void) {
  HANDLE thread;
  double start = now();
  int result;
  worstLatency = 0;
  ticking = 1;
  thread = CreateThread(NULL, 0, ticker, NULL, 0, NULL);
  result = p.DebugStopDebugging(ctx);
  ticking = 0;
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  hostPump(30); /* the last tick */
  ctx = NULL;
  ok(result == 1, "stop returned %d", result);
  ok(worstLatency < PUMP_MS, "a message waited %.0f ms during the stop", worstLatency);
  return now() - start;
}

/* ------------------------------------------------------------ sessions */

static void load(void) {
  char error[300];
  ok(hostLoad(&p, dll, error, sizeof error), "%s", error);
}

static void* session(void) { return p.DebugGetDebugger(); }

static int startWith(const char* command, const char* options, const char* script,
                     const char* file) {
  hostClearLog();
  hostExecInfo(&info, command, options, script, file, programs);
  strcpy(info.workspace, "faults-ws");
  return T("DebugStartDebugging", p.DebugStartDebugging(&ctx, &info));
}

/* The real debugger on a program, up to its first prompt. */
static int startReal(const char* program, const char* file) {
  char debugger[MAX_PATH];
  snprintf(debugger, sizeof debugger, "%s\\SorbLua.exe", runDir);
  return startWith(debugger, "", program, file) && hostWaitForOutput(0, "[DEBUG]> ", WAIT_MS);
}

/* The same, then let run. */
static int startRun(const char* program, const char* file) {
  return startReal(program, file) && T("Run", hostCall(session(), HS_RUN)) == 1;
}

/* The program has ended and the reader has seen it. */
static int ended(void) {
  DWORD start = GetTickCount();
  while (T("IsRunning", hostCallBool(session(), HS_IS_RUNNING)) ||
         T("IsBusy", hostCallBool(session(), HS_IS_BUSY))) {
    if (GetTickCount() - start > WAIT_MS) return 0;
    hostPump(20);
  }
  return 1;
}

static int outputHas(const char* part) {
  char* text = hostOutputText(0);
  int found = strstr(text, part) != NULL;
  free(text);
  return found;
}

static int fileHas(const char* path, const char* part) {
  static char text[1 << 16];
  FILE* f = fopen(path, "rb");
  size_t n = f ? fread(text, 1, sizeof text - 1, f) : 0;
  if (f) fclose(f);
  text[n] = 0;
  return strstr(text, part) != NULL;
}

/* ------------------------------------------------------------ the cases */

static const char* const toolTips[25] = {
    "Start to run the currently loaded program", "Continue to run the current program or thread",
    "Step into the current line", "Step over to the next line", "Step out of the current function",
    "Stop the current debugging session", "Display all global variables",
    "Display all variables", "Display the local variables", "Display the current stack",
    "Dump the current variable or selected text", "Watch the current variable or selected text",
    "Lists all function environment variables", "Display the debugger help",
    "Set a break point at the current line", "Delete the break point at the current line",
    "Delete all break boints", "List all break points",
    "Display the source code of the selected breakpoint",
    "Display the debugger cursor source code", "Display the arguments",
    "Execute a debuuger command", "Display the debugger output window",
    "Clear the debugger output window", "Display the debugger configuration dialog"};

/* Quit, WriteBreakpoints and LoadBreakpoints by their places in the table,
   against the stand-in debugger; and each tool tip. */
static void interfaceSlots(void) {
  char buffer[80], fake[MAX_PATH], script[MAX_PATH], options[MAX_PATH + 4];
  int i, from, cleared;
  FILE* f;
  void* s;
  for (i = 0; i < 25; i++)
    ok(p.DebugToolTip(i, buffer, sizeof buffer) == 1 && !strcmp(buffer, toolTips[i]),
       "tool tip %d: %s", i, buffer);

  snprintf(fake, sizeof fake, "%s\\fake_debugger.exe", runDir);
  snprintf(script, sizeof script, "%s\\plugins\\faults.txt", runDir);
  f = fopen(script, "w");
  fputs("prompt\nserve\n", f);
  fclose(f);
  snprintf(options, sizeof options, "-s %s", script);
  ok(startWith(fake, options, "prog.lua", ""), "the stand-in started");
  ok(hostWaitForOutput(0, "[DEBUG]> ", WAIT_MS), "its prompt");
  s = session();

  ok(hostCallFileLine(s, HS_BREAK_SET, "C:\\w\\a.lua", 4) == 1, "BreakSet");
  ok(hostCallTextByte(s, HS_WRITE_BREAKPOINTS, "faults-other", 0) == 1, "WriteBreakpoints");
  ok(hostCall(s, HS_BREAK_ALL) == 1 && !hostCallIsBreakpoint(s, "C:\\w\\a.lua", 4, NULL),
     "BreakAll emptied the list");
  from = hostEventCount();
  ok(hostCallText(s, HS_LOAD_BREAKPOINTS, "faults-other") == 1, "LoadBreakpoints");
  ok(hostCallIsBreakpoint(s, "C:\\w\\a.lua", 4, NULL), "written to and read from a section");
  ok(hostWaitForOutput(from, "got setb 4 a.lua\n", WAIT_MS), "replayed");
  ok(hostCount(from, 0, "setb") == 1, "without echo");

  ok(hostCall(s, HS_RUN) == 1 && hostCallBool(s, HS_IS_BUSY) == 1, "Run makes busy");
  from = hostEventCount();
  ok(T("Quit", hostCall(s, HS_QUIT)) == 1, "Quit");
  ok(hostCallBool(s, HS_IS_BUSY) == 0, "Quit clears busy");
  cleared = hostWaitFor(from, 1, "", 0);
  ok(cleared >= 0 && hostEvent(cleared).line == 0, "Quit clears the marker");
  ok(hostWaitForOutput(from, "exit\n", 0) && hostWaitForOutput(from, "bye\n", WAIT_MS),
     "and sends the quit word");
  ok(hostCall(s, HS_BREAK_ALL) == 1, "BreakAll");
  stop();
  DeleteFileA(script);
}

/* A grandchild holds the output pipe after the program and its debugger
   have gone (ended), or while they run (stopped): the stop does not wait
   for it, and nothing of the session is touched when it lets go. */
static void grandchild(const char* file) {
  double ms;
  int ran = startRun("grandchild.lua", file);
  ok(ran && hostWaitForOutput(0, "grandchild started\n", WAIT_MS), "%s: started", file);
  if (!*file) {
    DWORD start = GetTickCount();
    while (hostCallBool(session(), HS_IS_RUNNING) && GetTickCount() - start < WAIT_MS) hostPump(20);
    ok(!hostCallBool(session(), HS_IS_RUNNING), "the debugger ended");
  }
  ms = stop();
  ok(ms < STOP_MS, "%s: the stop took %.0f ms", file, ms);
  /* The module goes at once; a thread on its way out holds its own. */
  hostUnload(&p);
  hostPump(3500); /* the grandchild lets go */
  load();
}

static void grandchildEnded(void) { grandchild(""); }
static void grandchildStays(void) { grandchild("stay"); }

/* 64 MB without a line feed: the pending line stays bounded. */
static void flood(void) {
  size_t before = hostCommitted();
  LONGLONG bytes;
  ok(startReal("flood.lua", ""), "flood started");
  hostKeepText = 0;
  hostTextBytes = 0;
  ok(T("Run", hostCall(session(), HS_RUN)) == 1, "flood runs");
  ok(ended(), "flood ended");
  bytes = hostTextBytes;
  ok(bytes > 64 * 1048576, "%lld bytes of output", bytes);
  ok(hostCommitted() < before + 16 * 1048576, "committed grew by %lu KB",
     (unsigned long)((hostCommitted() - before) / 1024));
  hostKeepText = 1;
  stop();
}

/* NUL (the stream's fix-up) and Ctrl-Z (the reader's) arrive as blanks. */
static void binary(void) {
  ok(startRun("binary.lua", ""), "binary started");
  ok(hostWaitForOutput(0, "after binary\n", WAIT_MS), "output after the bytes");
  ok(outputHas("a b c\n    \n"), "blanks for NUL and Ctrl-Z");
  ok(ended(), "binary ended");
  stop();
}

/* A program that reads nothing while the IDE sends 3000 commands: none
   waits, and a full queue drops and says so. */
static void deaf(void) {
  char log[MAX_PATH], line[64];
  double ms;
  int i, sent = 0;
  snprintf(log, sizeof log, "%s\\xErrors.log", programs);
  DeleteFileA(log);
  ok(startRun("deaf.lua", ""), "deaf started");
  for (i = 0; i < 3000; i++) {
    snprintf(line, sizeof line, "print queued command number %04d", i);
    sent += T("SendCommand", hostCallTextByte(session(), HS_SEND_COMMAND, line, 1));
  }
  ok(sent == 3000, "%d sends", sent);
  ok(fileHas(log, "its queue is full, commands are dropped"), "the full queue reported");
  ms = stop();
  ok(ms < STOP_MS, "the stop took %.0f ms", ms);
}

/* os.exit in the middle of output: all of it arrives, the session ends. */
static void exitMidOutput(void) {
  ok(startRun("exitmid.lua", ""), "exitmid started");
  ok(ended(), "exitmid ended");
  ok(outputHas("line 20000\n") && !outputHas("line 20001"), "the output up to the exit");
  stop();
}

/* A hundred restarts from a breakpoint: what each session leaves behind. */
static void restarts(void) {
  char steps[MAX_PATH];
  size_t heap = 0, committed = 0;
  int handles = 0, i, stops = 0;
  snprintf(steps, sizeof steps, "%s\\steps.lua", programs);
  ok(startReal("steps.lua", ""), "steps started");
  hostCallFileLine(session(), HS_BREAK_SET, steps, 6);
  for (i = 0; i <= 100; i++) {
    if (i == 10) heap = hostHeapInUse(), committed = hostCommitted(), handles = hostHandleCount();
    if (i > 0) {
      hostClearLog();
      ok(p.DebugRestartDebugger(&ctx, "") == 1, "restart %d", i);
    }
    ok(T("Run", hostCall(session(), HS_RUN)) == 1, "run %d", i);
    stops += hostWaitFor(0, 1, "steps.lua", WAIT_MS) >= 0;
  }
  ok(stops == 101, "%d stops at the breakpoint", stops);
  hostClearLog();
  printf("per session over 90 restarts: heap %+ld bytes, committed %+ld bytes, handles %+.2f\n",
         ((long)hostHeapInUse() - (long)heap) / 90, ((long)hostCommitted() - (long)committed) / 90,
         (hostHandleCount() - handles) / 90.0);
  ok((long)hostHeapInUse() - (long)heap < 90 * 65536L, "heap grows");
  ok(hostHandleCount() - handles <= 3, "handles grow");
  hostCallFileLine(session(), HS_BREAK_CLEAR, steps, 6);
  stop();
}

int main(void) {
  WNDCLASSA wc;
  char* slash;
  QueryPerformanceFrequency(&frequency);
  GetModuleFileNameA(NULL, runDir, sizeof runDir);
  slash = strrchr(runDir, '\\');
  if (slash) *slash = 0;
  snprintf(programs, sizeof programs, "%s\\programs", runDir);
  snprintf(dll, sizeof dll, "%s\\plugins", runDir);
  CreateDirectoryA(dll, NULL);
  snprintf(dll, sizeof dll, "%s\\plugins\\faults.dll", runDir);
  {
    char source[MAX_PATH];
    snprintf(source, sizeof source, "%s\\SorbLua.dll", runDir);
    if (!CopyFileA(source, dll, FALSE)) return printf("cannot copy %s\n", source), 1;
  }
  memset(&wc, 0, sizeof wc);
  wc.lpfnWndProc = windowProc;
  wc.hInstance = GetModuleHandleA(NULL);
  wc.lpszClassName = "FaultHostWindow";
  RegisterClassA(&wc);
  window = CreateWindowA(wc.lpszClassName, "", 0, 0, 0, 1, 1, HWND_MESSAGE, NULL, wc.hInstance, NULL);
  load();

  {
    static const struct {
      const char* name;
      void (*run)(void);
    } cases[] = {{"interfaceSlots", interfaceSlots}, {"grandchildEnded", grandchildEnded},
                 {"grandchildStays", grandchildStays}, {"flood", flood}, {"binary", binary},
                 {"deaf", deaf}, {"exitMidOutput", exitMidOutput}, {"restarts", restarts}};
    size_t i;
    for (i = 0; i < sizeof cases / sizeof cases[0]; i++) {
      double start = now();
      int before = failures;
      cases[i].run();
      printf("%s: %s in %.1f s\n", cases[i].name, failures == before ? "ok" : "FAILED",
             (now() - start) / 1000);
    }
  }

  ok(worstCall < LIMIT_MS, "%s kept the IDE's thread %.0f ms", worstName, worstCall);
  ok(worstStart < START_MS, "a start took %.0f ms", worstStart);
  ok(p.DebugGetDebugger() == NULL, "no session left");
  hostUnload(&p);
  DeleteFileA(dll);
  printf("test_faults: %d checks, %d failures; longest call %.1f ms (%s), longest start %.1f ms\n",
         checks, failures, worstCall, worstName, worstStart);
  return failures != 0;
}
