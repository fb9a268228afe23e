/* What a day of debugging leaves in the IDE: the memory and handles each
   session keeps after it was stopped, over many start/stop cycles through
   the exports, the way the IDE drives them. Two kinds of session: the
   program run to its end, and the program stopped at a breakpoint.

     wine bench_sessions.exe [cycles]      (default 1000 each)

   SorbLua.dll and SorbLua.exe are taken from this program's folder; the
   program is written there too. The first WARMUP cycles of each kind are
   not counted: they fill the plug-in's own lasting strings and lists. */
#include <windows.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host.h"

enum { WARMUP = 10, WAIT_MS = 20000 };

static const char program[] =
    "local total = 0\n"
    "for i = 1, 10 do\n"
    "  total = total + i\n" /* line 3: the breakpoint */
    "end\n"
    "print(total)\n";

static HostPlugin plugin;
static HostExecInfo info;
static void* context;
static char dir[MAX_PATH], script[MAX_PATH + 16];

static void fail(const char* what) {
  printf("bench_sessions: %s\n", what);
  exit(1);
}

static void start(void) {
  hostClearLog();
  if (!plugin.DebugStartDebugging(&context, &info)) fail("the plug-in did not start the debugger");
  if (!hostWaitForOutput(0, "[DEBUG]> ", WAIT_MS)) fail("no prompt from the debugger");
}

/* The program runs to its end; the reader sees it go. */
static void toTheEnd(void) {
  void* session;
  DWORD begin;
  start();
  session = plugin.DebugGetDebugger();
  hostCall(session, HS_BREAK_ALL); /* left by the other kind, or an earlier run */
  hostCall(session, HS_RUN);
  for (begin = GetTickCount(); hostCallBool(session, HS_IS_RUNNING) || hostCallBool(session, HS_IS_BUSY);)
    if (GetTickCount() - begin > WAIT_MS) {
      char* text = hostOutputText(0);
      printf("running %d busy %d output:\n%s\n", hostCallBool(session, HS_IS_RUNNING),
             hostCallBool(session, HS_IS_BUSY), text);
      fail("the program did not end");
    }
    else hostPump(5);
  plugin.DebugStopDebugging(context);
}

/* Stopped at a breakpoint, then the session is stopped there. */
static void atABreakpoint(void) {
  void* session;
  start();
  session = plugin.DebugGetDebugger();
  hostCallFileLine(session, HS_BREAK_SET, script, 3);
  hostCall(session, HS_RUN);
  if (hostWaitFor(0, 1, "bench_sessions.lua", WAIT_MS) < 0) fail("no stop at the breakpoint");
  plugin.DebugStopDebugging(context);
}

static void measure(const char* name, void (*cycle)(void), int cycles) {
  size_t heap, committed;
  int handles, i;
  DWORD begin;
  for (i = 0; i < WARMUP; i++) cycle();
  hostClearLog();
  heap = hostHeapInUse(), committed = hostCommitted(), handles = hostHandleCount();
  begin = GetTickCount();
  for (i = 0; i < cycles; i++) cycle();
  hostClearLog();
  printf("  %-22s %10.0f %12.0f %9.3f %9.0f\n", name,
         ((double)hostHeapInUse() - (double)heap) / cycles,
         ((double)hostCommitted() - (double)committed) / cycles,
         (double)(hostHandleCount() - handles) / cycles, (double)(GetTickCount() - begin) / cycles);
}

int main(int argc, char** argv) {
  int cycles = argc > 1 ? atoi(argv[1]) : 1000;
  char path[MAX_PATH + 16], exe[MAX_PATH + 16], error[300], *slash;
  FILE* f;
  if (cycles < 1) fail("usage: bench_sessions [cycles]");
  GetModuleFileNameA(NULL, dir, sizeof dir);
  if ((slash = strrchr(dir, '\\'))) *slash = 0;
  snprintf(script, sizeof script, "%s\\bench_sessions.lua", dir);
  if (!(f = fopen(script, "w"))) fail("cannot write the program");
  fputs(program, f);
  fclose(f);
  snprintf(path, sizeof path, "%s\\SorbLua.dll", dir);
  snprintf(exe, sizeof exe, "%s\\SorbLua.exe", dir);
  if (!hostLoad(&plugin, path, error, sizeof error)) fail(error);
  hostExecInfo(&info, exe, "", "bench_sessions.lua", "", dir);
  strcpy(info.workspace, "bench_sessions");

  printf("per session, over %d start/stop cycles after %d of warm-up:\n", cycles, WARMUP);
  printf("  %-22s %10s %12s %9s %9s\n", "session", "heap B", "committed B", "handles", "ms");
  measure("ran to its end", toTheEnd, cycles);
  measure("stopped at breakpoint", atABreakpoint, cycles);
  hostUnload(&plugin);
  return 0;
}
