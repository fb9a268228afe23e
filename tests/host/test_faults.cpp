// The plug-in under faults, driven as the IDE drives it, through the exports
// and the session's slots only, against the real SorbLua.exe on programs
// that misbehave. Whatever the program does, the IDE's thread is never held
// up longer than LIMIT_MS by a call, a stop stays short and keeps handling
// messages, the session ends and the host lives on.
#include <algorithm>

#include "fixture.hpp"

// LIMIT_MS bounds every call that could wait on the child. Starting is
// process creation, whose time is the machine's (Wine's), not the child's;
// and a stop pumps messages on purpose: a pump that stalls shows seconds, so
// their bounds leave room for a loaded machine instead of flaking on it.
enum { LIMIT_MS = 100, START_MS = 5000, PUMP_MS = 250, STOP_MS = 3000, WAIT_MS = 60000 };

static double now() {
  LARGE_INTEGER t, frequency;
  QueryPerformanceCounter(&t);
  QueryPerformanceFrequency(&frequency);
  return (double)t.QuadPart * 1000.0 / (double)frequency.QuadPart;
}

// During a stop a ticker thread posts a message to a window of this thread
// whenever the last one was handled, 10 ms apart; the longest wait of one
// tells how long the stop kept the thread from its messages.
static volatile LONG ticking, pending;
static volatile double postedAt;
static double worstLatency;

static LRESULT CALLBACK windowProc(HWND w, UINT m, WPARAM wp, LPARAM lp) {
  if (m != WM_APP) return DefWindowProcA(w, m, wp, lp);
  worstLatency = std::max(worstLatency, now() - postedAt);
  pending = 0;
  return 0;
}

static DWORD WINAPI ticker(void* window) {
  for (; ticking; Sleep(10))
    if (!pending) pending = 1, postedAt = now(), PostMessageA((HWND)window, WM_APP, 0, 0);
  return 0;
}

// Every call but the stops is timed by T; the slowest is checked at the end.
#define T(call) timed(#call, [&] { return (call); })

class Faults : public Plugin {
 protected:
  void TearDown() override {
    EXPECT_GT(LIMIT_MS, slowest) << slowestName << " kept the IDE's thread";
    EXPECT_EQ(nullptr, session()) << "a session left";
    Plugin::TearDown();
  }
  template <class F>
  int timed(const char* name, F call) {
    double start = now();
    int result = call();
    if (now() - start > slowest) slowest = now() - start, slowestName = name;
    return result;
  }
  bool live() override {
    return T(hostCallBool(session(), HS_IS_RUNNING)) || T(hostCallBool(session(), HS_IS_BUSY));
  }
  // The real debugger on a program, up to its first prompt.
  bool startTimed(const char* program, const char* file = "") {
    hostClearLog();
    double start = now();
    bool started = startReal(program, file) == 1;
    EXPECT_GT(START_MS, now() - start) << "the start";
    return started && waitOutput(prompt, 0, WAIT_MS);
  }
  // The same, then let run.
  bool startRun(const char* program, const char* file = "") {
    return startTimed(program, file) && T(hostCall(session(), HS_RUN)) == 1;
  }
  // Stops the session, timed as a whole and for its message handling.
  double stopTimed() {
    WNDCLASSA wc = {0, windowProc, 0, 0, GetModuleHandleA(nullptr), 0, 0, 0, 0, "FaultHostWindow"};
    RegisterClassA(&wc);
    HWND window = CreateWindowA(wc.lpszClassName, "", 0, 0, 0, 1, 1, HWND_MESSAGE, nullptr,
                                wc.hInstance, nullptr);
    double start = now();
    worstLatency = 0;
    ticking = 1;
    HANDLE thread = CreateThread(nullptr, 0, ticker, window, 0, nullptr);
    stop();
    ticking = 0;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    hostPump(30);  // the last tick
    DestroyWindow(window);
    EXPECT_GT(PUMP_MS, worstLatency) << "a message waited during the stop";
    return now() - start;
  }

  double slowest = 0;
  const char* slowestName = "";
};

// A grandchild holds the output pipe after the program and its debugger
// have gone: the stop does not wait for it, and nothing of the session is
// touched when it lets go.
TEST_F(Faults, AGrandchildHoldsThePipe) {
  ASSERT_TRUE(startRun("grandchild.lua"));
  EXPECT_TRUE(waitOutput("grandchild started\n", 0, WAIT_MS));
  EXPECT_TRUE(ended(WAIT_MS)) << "the debugger ended, busy cleared";
  EXPECT_GT(STOP_MS, stopTimed());
  // The module goes at once; a thread on its way out holds its own.
  hostUnload(&p);
  hostPump(3500);  // the grandchild lets go
  load();
}

// 64 MB without a line feed: the pending line stays bounded. The texts are
// counted, not kept.
TEST_F(Faults, Flood) {
  size_t before = hostCommitted();
  ASSERT_TRUE(startTimed("flood.lua"));
  static volatile LONGLONG bytes;
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind == 0) bytes += strlen((const char*)data);
    hostClearLog();
  };
  EXPECT_EQ(1, T(hostCall(session(), HS_RUN)));
  EXPECT_TRUE(ended(WAIT_MS));
  EXPECT_LT(64 * 1048576, bytes);
  EXPECT_GT(before + 16 * 1048576, hostCommitted()) << "committed grew";
  stopTimed();
}

// A program that reads nothing while the IDE sends 3000 commands: none
// waits, and a full queue drops and says so.
TEST_F(Faults, ADeafProgram) {
  std::string log = programs + "\\xErrors.log";
  DeleteFileA(log.c_str());
  ASSERT_TRUE(startRun("deaf.lua"));
  int sent = 0;
  for (int i = 0; i < 3000; i++) {
    std::string line = "print queued command number " + std::to_string(10000 + i).substr(1);
    sent += T(hostCallTextByte(session(), HS_SEND_COMMAND, line.c_str(), 1));
  }
  EXPECT_EQ(3000, sent);
  EXPECT_TRUE(has(fileText(log), "its queue is full, commands are dropped"));
  EXPECT_GT(STOP_MS, stopTimed());
}

// NUL (the stream's fix-up) and Ctrl-Z (the reader's) arrive as blanks;
// os.exit in the middle of output: all of it arrives, the session ends.
TEST_F(Faults, BinaryOutputThenExitInTheMiddle) {
  ASSERT_TRUE(startRun("exitmid.lua"));
  EXPECT_TRUE(ended(WAIT_MS));
  EXPECT_TRUE(has(output(), "a b c\n    \n")) << "blanks for NUL and Ctrl-Z";
  EXPECT_TRUE(has(output(), "line 5000\n") && !has(output(), "line 5001"));
  stopTimed();
}

// A hundred restarts from a breakpoint: what each session leaves behind.
TEST_F(Faults, AHundredRestarts) {
  const std::string steps = programs + "\\steps.lua";
  size_t heap = 0;
  int handles = 0, stops = 0;
  ASSERT_TRUE(startTimed("steps.lua"));
  hostCallFileLine(session(), HS_BREAK_SET, steps.c_str(), 5);
  for (int i = 0; i <= 100; i++) {
    if (i == 10) heap = hostHeapInUse(), handles = hostHandleCount();
    if (i > 0) {
      hostClearLog();
      EXPECT_EQ(1, p.DebugRestartDebugger(&ctx, "")) << i;
    }
    EXPECT_EQ(1, T(hostCall(session(), HS_RUN))) << i;
    stops += hostWaitFor(0, 1, "steps.lua", WAIT_MS) >= 0;
  }
  EXPECT_EQ(101, stops) << "stops at the breakpoint";
  hostClearLog();
  EXPECT_GT(90 * 65536L, (long)hostHeapInUse() - (long)heap) << "heap grows";
  EXPECT_GE(3, hostHandleCount() - handles) << "handles grow";
  stopTimed();
}
