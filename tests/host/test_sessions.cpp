// Whole debugging sessions as the IDE runs them, with the real SorbLua.exe
// and agent underneath, on small Lua programs from programs/. What is
// checked is what the host sees: the echoed commands and the debugger's
// text (kind 0), the marker (kind 1), the error notice (kind 2) and the
// busy flag.
#include "fixture.hpp"

#include <tlhelp32.h>

#include <thread>
#include <vector>

namespace {

std::string slashes(std::string s) {
  for (char& c : s)
    if (c == '\\') c = '/';
  return s;
}

// The debuggers this process has started and that still run.
std::vector<DWORD> debuggers() {
  std::vector<DWORD> ids;
  HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 e;
  e.dwSize = sizeof e;
  for (BOOL ok = Process32First(snap, &e); ok; ok = Process32Next(snap, &e))
    if (e.th32ParentProcessID == GetCurrentProcessId() && !_stricmp(e.szExeFile, "SorbLua.exe"))
      ids.push_back(e.th32ProcessID);
  CloseHandle(snap);
  return ids;
}

class Session : public Plugin {
 protected:
  // Starts SorbLua.exe on script and waits for the agent's first prompt.
  void start(const std::string& script, const char* file = "") {
    ASSERT_EQ(1, startReal(script, file));
    ASSERT_TRUE(waitOutput("Type 'help' for commands\n[DEBUG]> ", 0)) << output(0);
  }
  // The text from a command's echo to the agent's next prompt.
  std::string reply(int from) {
    EXPECT_TRUE(waitOutput(prompt, from)) << output(from);
    return output(from);
  }
  // Through slot (with text if given), or typed when slot is -1.
  std::string ask(int slot, const char* text = nullptr) {
    int from = hostEventCount();
    void* s = session();
    EXPECT_EQ(1, slot < 0 ? hostCallTextByte(s, HS_SEND_COMMAND, text, 1)
                          : text ? hostCallText(s, slot, text) : hostCall(s, slot));
    return reply(from);
  }
  std::string say(const std::string& command) { return ask(-1, command.c_str()); }
  // The next marker move to a place at or after from (skipping clears):
  // its line, and its file in where; -1 when none came.
  int nextStop(int from, std::string* where = nullptr) {
    for (int at; (at = hostWaitFor(from, 1, nullptr, 20000)) >= 0; from = at + 1) {
      HostEvent e = hostEvent(at);
      if (e.line == 0) continue;
      EXPECT_NE(GetCurrentThreadId(), e.thread) << "the reader thread reports";
      if (where) *where = e.text;
      return e.line;
    }
    return -1;
  }
  // Sends through slot and waits for the stop it leads to, and its prompt.
  int go(int slot, std::string* where = nullptr) {
    int from = hostEventCount();
    EXPECT_EQ(1, hostCall(session(), slot));
    int line = nextStop(from, where);
    EXPECT_TRUE(waitOutput(prompt, from)) << output(from);
    return line;
  }
  void breakSet(const std::string& file, int line) {
    int from = hostEventCount();
    EXPECT_EQ(1, hostCallFileLine(session(), HS_BREAK_SET, file.c_str(), line));
    EXPECT_NE(std::string::npos, reply(from).find("Breakpoint set in file ")) << output(from);
  }
  int moves(int from) { return hostCount(from, 1, nullptr); }
  const HostStopLocation* location() {
    return (const HostStopLocation*)hostCallPointer(session(), HS_GET_LOCATION);
  }
  // Waits for the debugger to end by itself; true when it did.
  bool ended() {
    for (int i = 0; i < 500 && hostCallBool(session(), HS_IS_RUNNING); i++) hostPump(10);
    return !hostCallBool(session(), HS_IS_RUNNING);
  }
};

const std::string steps = programs + "\\steps.lua";

}  // namespace

// The script by full path: the agent lower-cases it and the host gets it
// back with backslashes. Stepping, then breakpoints spelt three ways on the
// second call of outer(): the slot sends the bare name, the others are typed.
TEST_F(Session, SteppingAndBreakpointsUntilTheProgramEnds) {
  start(steps);
  EXPECT_EQ(0, moves(0)) << "no position before the first step";
  void* s = session();
  int from = hostEventCount();
  const std::string upper = programs + "\\STEPS.LUA", marker = lower(steps);
  std::string file;
  EXPECT_EQ(2, go(HS_STEP, &file));
  EXPECT_EQ(marker, file);
  EXPECT_EQ("step\nPaused at file: " + slashes(marker) + " (2) (1)\n[DEBUG]> ", output(from));
  EXPECT_EQ(2, location()->line);
  EXPECT_EQ(marker, location()->file);
  for (int line : {3, 8, 13, 14, 10, 11, 5}) EXPECT_EQ(line, go(HS_STEP));  // 5: into inner()
  EXPECT_EQ(6, go(HS_NEXT));
  EXPECT_EQ(12, go(HS_UNTIL));  // back in outer()
  EXPECT_EQ(15, go(HS_NEXT));   // out of outer() into the main chunk
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));

  breakSet(upper, 6);
  EXPECT_NE(std::string::npos, output().find("setb 6 STEPS.LUA\nBreakpoint set in file STEPS.LUA line 6\n"));
  say("setb 11 " + slashes(steps));
  say("setb 10 programs/steps");
  say("setb 5 " + steps);  // a backslash is no separator: never hit
  from = hostEventCount();
  EXPECT_EQ(10, go(HS_RUN, &file));
  EXPECT_EQ(marker, file);
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY)) << "busy until the end, stops or not";
  EXPECT_NE(std::string::npos, output(from).find(
      "Paused at file: " + slashes(marker) + " (10) (2) (breakpoint)\n[DEBUG]> "));
  EXPECT_EQ(11, go(HS_CONTINUE));
  EXPECT_EQ(6, go(HS_CONTINUE, &file));
  EXPECT_EQ(marker, file);
  EXPECT_EQ(0, hostCallIsBreakpoint(s, steps.c_str(), 11, nullptr)) << "typed ones are not stored";
  from = hostEventCount();
  EXPECT_EQ(1, hostCallFileLine(s, HS_BREAK_CLEAR, upper.c_str(), 6));
  EXPECT_EQ("delb 6 STEPS.LUA\nBreakpoint deleted from file STEPS.LUA line 6\n[DEBUG]> ", reply(from));
  std::string text = ask(HS_BREAK_INFO);
  for (const std::string& b : {"Break at: 11 in " + slashes(marker) + "\n",
                               std::string("Break at: 10 in programs/steps\n"),
                               "Break at: 5 in " + marker + "\n"})
    EXPECT_NE(std::string::npos, text.find(b)) << b << " in " << text;
  EXPECT_EQ(std::string::npos, text.find("Break at: 6 ")) << text;
  EXPECT_EQ("delallb\nAll breakpoints deleted\n[DEBUG]> ", ask(HS_BREAK_ALL));

  from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_CONTINUE));
  ASSERT_TRUE(waitOutput("first 6 second 21 counter 2\nDebugging process terminated.\n", from));
  // The reader saw the end: it quits the session and clears the marker.
  int quit = hostWaitFor(from, 0, "exit\n", 5000);
  ASSERT_LE(0, quit);
  EXPECT_NE(GetCurrentThreadId(), hostEvent(quit).thread);
  int cleared = hostWaitFor(quit, 1, "", 5000);
  ASSERT_LE(0, cleared);
  EXPECT_EQ(0, hostEvent(cleared).line);
  EXPECT_TRUE(ended());
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  EXPECT_EQ(0, hostCount(0, 2, nullptr));
  EXPECT_STREQ("", location()->file);
}

// Looking at a stopped function, its stack levels, a statement that changes
// a caller's local, and a watch, which stops without a position line: the
// marker stays cleared until the next step.
TEST_F(Session, InspectingAStoppedFunction) {
  start("steps.lua");
  breakSet(steps, 6);
  ASSERT_EQ(6, go(HS_RUN));
  int stopped = hostEventCount();
  EXPECT_EQ("locs\nupvalues = {  -- table: 0x?\n  [1] = \"n\";\n  [2] = \"doubled\";\n};\n[DEBUG]> ",
            ask(HS_ARGS));
  // Without a depth these show the table alone.
  EXPECT_EQ("vars\nvariables = table: 0x?\n[DEBUG]> ", ask(HS_DOWN));
  EXPECT_EQ("glob\nglobals = table: 0x?\n[DEBUG]> ", ask(HS_UP));
  EXPECT_EQ("fenv\nenvironment = table: 0x?\n[DEBUG]> ", ask(HS_LOCALS));
  std::string text = say("vars 1");
  for (const char* line : {"  n = 2;\n", "  doubled = 4;\n", "  config = table: 0x?\n"})
    EXPECT_NE(std::string::npos, text.find(line)) << line << " in " << text;
  // Print dumps one level unless told more.
  text = ask(HS_PRINT, "config");
  EXPECT_EQ(0u, text.find("dump config\nconfig = {  -- table: 0x?\n")) << text;
  EXPECT_NE(std::string::npos, text.find("\n  sizes = table: 0x?\n")) << text;
  EXPECT_NE(std::string::npos, ask(HS_PRINT, "config 2").find(
      "  sizes = {  -- table: 0x?\n    [1] = 1;\n    [2] = 2;\n    [3] = table: 0x?\n  };\n"));

  EXPECT_EQ("trace\n[1]***\tinner in steps.lua:6\n[2]\touter in steps.lua:11\n"
            "[3]\tmain in steps.lua:14\n[DEBUG]> ", ask(HS_STACK));
  EXPECT_EQ("set 2\nLevel: 2\n[DEBUG]> ", say("set 2"));
  EXPECT_NE(std::string::npos, ask(HS_STACK).find("[1]\tinner in steps.lua:6\n[2]***\touter"));
  EXPECT_EQ("=x\n2\t\n[DEBUG]> ", say("=x"));
  EXPECT_EQ("x = 5\n[DEBUG]> ", say("x = 5"));  // outer's local, from inside inner
  say("set 1");
  EXPECT_EQ(0, moves(stopped)) << "looking moves no marker";

  EXPECT_EQ("setw counter == 1\nSet watch exp no. 1\n[DEBUG]> ", ask(HS_PRINTEX, "counter == 1"));
  int from = hostEventCount();
  EXPECT_EQ("run\n[DEBUG]> ", ask(HS_RUN));
  sync();
  EXPECT_EQ(1, moves(from)) << "only Run's clear";
  EXPECT_EQ(0, location()->line);
  // Stopped at the first line that sees it true: the one after the increment.
  EXPECT_EQ(0u, ask(HS_STACK).find("trace\n[1]***\tinner in steps.lua:7\n"));
  EXPECT_EQ("delw 1\nWatch expression deleted\n[DEBUG]> ", say("delw 1"));
  EXPECT_EQ(12, go(HS_STEP));
  EXPECT_EQ("=x\n5\t\n[DEBUG]> ", say("=x"));
  ask(HS_BREAK_ALL);
  from = hostEventCount();
  EXPECT_EQ(1, hostCall(session(), HS_CONTINUE));
  EXPECT_TRUE(waitOutput("first 9 second 30 counter 2\n", from)) << output(from);
}

// Position lines from inside a coroutine begin with the thread's name,
// whose colon comes first: the host is shown no position for them.
TEST_F(Session, InsideACoroutineTheMarkerStays) {
  start("coro.lua");
  for (int line : {2, 7, 2, 8}) EXPECT_EQ(line, go(HS_STEP));
  breakSet(programs + "\\coro.lua", 5);
  int from = hostEventCount();
  EXPECT_EQ("step\n[thread: 0x?] Paused at file: coro.lua (3) (1)\n[DEBUG]> ", ask(HS_STEP));
  EXPECT_EQ("run\n[thread: 0x?] Paused at file: coro.lua (5) (1) (breakpoint)\n[DEBUG]> ",
            ask(HS_RUN));
  sync();
  EXPECT_EQ(1, moves(from)) << "only Run's clear";
  EXPECT_EQ(1, hostCall(session(), HS_CONTINUE));
  EXPECT_TRUE(waitOutput("y 10 z 11\nDebugging process terminated.\n", from)) << output(from);
}

// The agent stops at the error first (inside itself, so without a marker);
// once the program goes on, the executable's line brings the notice and
// the debugger ends.
TEST_F(Session, AnUncaughtErrorStopsThenBringsTheNotice) {
  start("boom.lua");
  void* s = session();
  int from = hostEventCount();
  EXPECT_NE(std::string::npos, ask(HS_RUN).find("Message: boom.lua:3: division by zero\n"));
  EXPECT_EQ(1, moves(from)) << "only Run's clear";
  EXPECT_EQ(0, hostCount(0, 2, nullptr));

  from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_CONTINUE));
  int notice = hostWaitFor(from, 2, nullptr, 20000);
  ASSERT_LE(0, notice) << output(from);
  EXPECT_STREQ("", hostEvent(notice).text);
  EXPECT_TRUE(ended());
  EXPECT_EQ(std::string::npos, output(from).find("Debugging process terminated.")) << output(from);
  for (int i = 0; i < 200 && hostCallBool(s, HS_IS_BUSY); i++) hostPump(10);
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY)) << "the reader ended";
  EXPECT_EQ(1, hostCount(0, 2, nullptr));
}

// Kill lets the program run free; its failed assert, under a handler that
// calls debug.traceback, opens a new session with its own banner.
TEST_F(Session, AFailedAssertOpensANewSession) {
  start("asserts.lua");
  void* s = session();
  int from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_KILL));
  ASSERT_TRUE(waitOutput("Lua Debugger - Version 1.20\n", from)) << output(from);
  EXPECT_EQ(0u, reply(from).find("exit\nLua Debugger - Version 1.20\n")) << output(from);
  EXPECT_NE(std::string::npos,
            ask(HS_STACK).find("\n[2]\tassert in [C]:-1\n[3]\tLua in asserts.lua:4\n"));
  EXPECT_EQ(8, go(HS_STEP));
  from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_CONTINUE));
  EXPECT_TRUE(waitOutput("caught false\nDebugging process terminated.\n", from));
  EXPECT_TRUE(ended());
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
}

// A program that runs on reads no commands: stop kills its debugger when it
// has not ended on the quit word. The watchdog ends a debugger the stop
// missed, so that the test ends.
TEST_F(Session, StopKillsADebuggerWhoseProgramRunsOn) {
  start("forever.lua");
  EXPECT_EQ(1, hostCall(session(), HS_RUN));
  std::vector<DWORD> running = debuggers();
  ASSERT_EQ(1u, running.size());
  HANDLE child = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION | PROCESS_TERMINATE, FALSE,
                             running[0]);
  std::thread watchdog([child] {
    if (WaitForSingleObject(child, 10000) == WAIT_TIMEOUT) TerminateProcess(child, 77);
  });
  DWORD start = GetTickCount();
  stop();
  watchdog.join();
  EXPECT_GT(5000u, GetTickCount() - start);
  EXPECT_EQ(99u, exitCode(child)) << "77: the watchdog had to end it";
}

// The launcher script runs the file it is given; a restart gives it another
// one, and the breakpoints stored by the first session reach the second,
// without echo, and stop it.
TEST_F(Session, RestartDebugsAnotherFile) {
  start("launch.lua", "count.lua");
  const std::string count = programs + "\\count.lua";
  breakSet(count, 3);
  breakSet(steps, 6);
  std::string file;
  EXPECT_EQ(3, go(HS_RUN, &file));
  EXPECT_EQ(count, file);
  EXPECT_NE(std::string::npos, output(0).find("running count.lua\n"));

  int from = hostEventCount();
  ASSERT_EQ(1, p.DebugRestartDebugger(&ctx, "steps.lua"));
  ASSERT_TRUE(waitOutput("Type 'help' for commands\n", from));
  ASSERT_TRUE(waitOutput("Breakpoint set in file steps.lua line 6\n", from)) << output(from);
  std::string text = output(from);
  EXPECT_EQ(0u, text.find("exit\n")) << text;
  EXPECT_NE(std::string::npos, text.find(" launch.lua steps.lua'\n")) << text;
  EXPECT_EQ(std::string::npos, text.find("setb")) << "replayed without echo: " << text;
  from = hostEventCount();
  EXPECT_EQ(6, go(HS_RUN, &file));
  EXPECT_EQ(steps, file);
  EXPECT_NE(std::string::npos, output(from).find("running steps.lua\n"));
}
