/* Latency of one step as the user feels it: from the IDE's call of the
   session's Step slot to the plug-in's marker callback, over a few hundred
   steps of a long loop. The baseline, in the same run, is the same round
   trip with SorbLua.exe alone over pipes: "step" written, output read until
   the position line is complete. The difference is the plug-in's share.

   Through the plug-in the steps are timed twice: at the pace of a held key
   (PACE_MS apart), and back to back, each sent as soon as the prompt is
   back, where the reader thread may still be resting after the last chunk.

     wine bench_step.exe [steps]

   SorbLua.dll and SorbLua.exe are taken from this program's folder; the
   loop program is written there too. */
#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host.h"

enum { WARMUP = 20, WAIT_MS = 10000, PACE_MS = 30 };

/* Long enough for every step; short enough to end soon if left running. */
static const char loop[] =
    "local total = 0\n"
    "for i = 1, 1e7 do\n"
    "  total = total + i % 7\n"
    "end\n"
    "print(total)\n";

static const char prompt[] = "[DEBUG]> ";

static LARGE_INTEGER frequency;

static LONGLONG ticks(void) {
  LARGE_INTEGER t;
  QueryPerformanceCounter(&t);
  return t.QuadPart;
}

static double ms(LONGLONG from, LONGLONG to) {
  return (double)(to - from) * 1000.0 / (double)frequency.QuadPart;
}

static int endsWith(const char* text, const char* end) {
  size_t n = strlen(text), m = strlen(end);
  return n >= m && memcmp(text + n - m, end, m) == 0;
}

static void fail(const char* what) {
  printf("bench_step: %s\n", what);
  exit(1);
}

/* ------------------------------------------------------------ results */

static int byValue(const void* a, const void* b) {
  double x = *(const double*)a, y = *(const double*)b;
  return x < y ? -1 : x > y;
}

static void summary(const char* name, double* times, int n) {
  qsort(times, n, sizeof *times, byValue);
  double median = n % 2 ? times[n / 2] : (times[n / 2 - 1] + times[n / 2]) / 2;
  int p99 = (int)((n * 99 + 99) / 100) - 1; /* the smallest time 99% do not exceed */
  printf("  %-34s %8.3f %8.3f %8.3f %8.3f\n", name, median, times[p99], times[0], times[n - 1]);
}

/* ------------------------------------------------------------ through the plug-in */

static HANDLE marked, prompted;
static volatile LONGLONG markedAt;

/* Runs on the reader thread: the time is taken as the IDE would see it. */
static void onCallback(const void* data, unsigned int kind) {
  if (kind == 1 && ((const HostStopLocation*)data)->line > 0) {
    markedAt = ticks();
    SetEvent(marked);
  } else if (kind == 0 && endsWith((const char*)data, prompt)) {
    SetEvent(prompted);
  }
}

/* Times steps from the Step call to the marker, each pause ms after the
   last prompt; negative indexes are the warm-up, not kept. */
static void stepTimes(void* session, double* times, int first, int steps, int pause) {
  for (int i = first; i < steps; i++) {
    LONGLONG start;
    if (pause) Sleep(pause);
    ResetEvent(marked);
    ResetEvent(prompted);
    hostClearLog();
    start = ticks();
    if (!hostCall(session, HS_STEP)) fail("Step sent nothing");
    if (WaitForSingleObject(marked, WAIT_MS) != WAIT_OBJECT_0) fail("no marker after Step");
    if (i >= 0) times[i] = ms(start, markedAt);
    /* The next step goes out when the debugger is ready for it. */
    if (WaitForSingleObject(prompted, WAIT_MS) != WAIT_OBJECT_0) fail("no prompt after Step");
  }
}

static void throughPlugin(const char* dir, const char* script, double* paced, double* rushed,
                          int steps) {
  char dll[MAX_PATH + 16], exe[MAX_PATH + 16], error[300];
  HostPlugin plugin;
  HostExecInfo info;
  void* context = NULL;
  void* session;
  snprintf(dll, sizeof dll, "%s\\SorbLua.dll", dir);
  snprintf(exe, sizeof exe, "%s\\SorbLua.exe", dir);
  if (!hostLoad(&plugin, dll, error, sizeof error)) fail(error);
  marked = CreateEventA(NULL, TRUE, FALSE, NULL);
  prompted = CreateEventA(NULL, TRUE, FALSE, NULL);
  hostCallbackHook = onCallback;
  hostExecInfo(&info, exe, "", script, "", dir);
  strcpy(info.workspace, "bench_step");
  if (!plugin.DebugStartDebugging(&context, &info)) fail("the plug-in did not start the debugger");
  session = plugin.DebugGetDebugger();
  if (!hostWaitForOutput(0, prompt, WAIT_MS)) fail("no prompt from the debugger");

  stepTimes(session, paced, -WARMUP, steps, PACE_MS);
  stepTimes(session, rushed, 0, steps, 0);
  plugin.DebugStopDebugging(context);
  hostCallbackHook = NULL;
  hostUnload(&plugin);
  CloseHandle(marked);
  CloseHandle(prompted);
}

/* ------------------------------------------------------------ SorbLua.exe alone */

typedef struct {
  HANDLE process, in, out;
  char text[8192];
  size_t length;
} Child;

static void start(Child* c, const char* dir, const char* script) {
  SECURITY_ATTRIBUTES inherit = {sizeof inherit, NULL, TRUE};
  HANDLE childIn, childOut;
  STARTUPINFOA si;
  PROCESS_INFORMATION pi;
  char line[3 * MAX_PATH];
  snprintf(line, sizeof line, "\"%s\\SorbLua.exe\" \"%s\"", dir, script);
  if (!CreatePipe(&childIn, &c->in, &inherit, 0) || !CreatePipe(&c->out, &childOut, &inherit, 0))
    fail("no pipes");
  SetHandleInformation(c->in, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(c->out, HANDLE_FLAG_INHERIT, 0);
  memset(&si, 0, sizeof si);
  si.cb = sizeof si;
  si.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
  si.wShowWindow = SW_HIDE;
  si.hStdInput = childIn;
  si.hStdOutput = si.hStdError = childOut;
  if (!CreateProcessA(NULL, line, NULL, NULL, TRUE, CREATE_NO_WINDOW, NULL, dir, &si, &pi))
    fail("SorbLua.exe did not start");
  CloseHandle(pi.hThread);
  CloseHandle(childIn);
  CloseHandle(childOut);
  c->process = pi.hProcess;
  c->length = 0;
}

/* Reads one chunk onto the text; 0 at the end of the output. */
static int readSome(Child* c) {
  DWORD n = 0;
  if (c->length + 1 >= sizeof c->text) c->length = 0; /* only the tail matters */
  if (!ReadFile(c->out, c->text + c->length, (DWORD)(sizeof c->text - 1 - c->length), &n, NULL) ||
      n == 0)
    return 0;
  c->length += n;
  c->text[c->length] = 0;
  return 1;
}

/* The position line is complete once its line end is there. */
static int positionRead(const Child* c) {
  const char* at = strstr(c->text, "Paused at file:");
  return at && strchr(at, '\n');
}

static void alone(const char* dir, const char* script, double* times, int steps) {
  Child c;
  start(&c, dir, script);
  while (!endsWith(c.text, prompt) || c.length == 0)
    if (!readSome(&c)) fail("no prompt from SorbLua.exe");
  for (int i = -WARMUP; i < steps; i++) {
    DWORD put;
    LONGLONG start;
    c.length = 0;
    c.text[0] = 0;
    start = ticks();
    if (!WriteFile(c.in, "step\n", 5, &put, NULL)) fail("cannot write to SorbLua.exe");
    while (!positionRead(&c))
      if (!readSome(&c)) fail("SorbLua.exe ended");
    if (i >= 0) times[i] = ms(start, ticks());
    while (!endsWith(c.text, prompt))
      if (!readSome(&c)) fail("SorbLua.exe ended");
  }
  TerminateProcess(c.process, 0);
  WaitForSingleObject(c.process, WAIT_MS);
  CloseHandle(c.process);
  CloseHandle(c.in);
  CloseHandle(c.out);
}

/* ------------------------------------------------------------ main */

int main(int argc, char** argv) {
  char dir[MAX_PATH], script[MAX_PATH + 32];
  int steps = argc > 1 ? atoi(argv[1]) : 300;
  double *paced, *rushed, *direct;
  FILE* f;
  _setmode(_fileno(stdout), _O_BINARY); /* plain line feeds for the terminal */
  if (steps < 1) fail("usage: bench_step [steps]");
  QueryPerformanceFrequency(&frequency);
  GetModuleFileNameA(NULL, dir, MAX_PATH);
  *strrchr(dir, '\\') = 0;
  snprintf(script, sizeof script, "%s\\bench_step_loop.lua", dir);
  f = fopen(script, "w");
  if (!f || fputs(loop, f) < 0 || fclose(f) != 0) fail("cannot write the loop program");
  paced = malloc(steps * sizeof *paced);
  rushed = malloc(steps * sizeof *rushed);
  direct = malloc(steps * sizeof *direct);

  alone(dir, script, direct, steps);
  throughPlugin(dir, script, paced, rushed, steps);

  printf("bench_step: %d steps of a loop in each row, after %d unmeasured\n", steps, WARMUP);
  printf("  %-34s %8s %8s %8s %8s  (ms)\n", "", "median", "p99", "min", "max");
  summary("Step -> marker, a step per 30 ms", paced, steps);
  summary("Step -> marker, back to back", rushed, steps);
  summary("SorbLua.exe alone over pipes", direct, steps);
  free(paced);
  free(rushed);
  free(direct);
  return 0;
}
