// The plug-in as the IDE sees it, against the scripted stand-in debugger:
// called through its exports and the session's slots, heard by callback.
#include "DbgProcess.hpp"
#include "fixture.hpp"

using Spine = Plugin;

static const char startFailure[] =
    "Unexpected error starting the debugger! Make sure the debugger is correctly\n"
    "installed and the install directory is defined in system path.\n\n";

// The record is cleared in full when too small.
TEST_F(Spine, ToolTipsCommandLineAndInfo) {
  // Every tip, one a line, as tool_tips.golden beside the test holds them.
  char buf[80];
  std::string tips;
  for (int i = 0; i < 25; i++, tips += std::string(buf) + "\n") EXPECT_EQ(1, p.DebugToolTip(i, buf, 80));
  EXPECT_EQ(fileText(runDir + "\\tool_tips.golden"), tips);
  for (int index : {25, -1})
    EXPECT_TRUE(p.DebugToolTip(index, (*buf = 'x', buf), 80) == 1 && !*buf) << index;
  EXPECT_EQ(1, p.DebugToolTip(0, buf, 10));
  EXPECT_STREQ("Start to ", buf);

  auto line = [&] { return std::string(p.DebugCommandLine(nullptr, &info)); };
  hostExecInfo(&info, "C:\\Tools\\SorbLua.exe", "", "C:\\My Scripts\\a.lua", "", "");
  EXPECT_EQ("C:/Tools/SorbLua.exe \"C:/My Scripts/a.lua\" ", line());
  hostExecInfo(&info, "C:\\Windows\\system32\\cmd.exe /c dbg.bat", "", "'my a.lua'", "f", "");
  EXPECT_EQ("C:/Windows/system32/cmd.exe /c dbg.bat 'my a.lua' f", line());

  HostDebugInfo d;
  memset(&d, 'x', sizeof d);
  d.size = 2511;
  EXPECT_EQ(0, p.DebugInfo(&d));
  EXPECT_EQ(1, d.display);
  std::string firsts = {d.name[0], d.description[0], d.version[0], d.options[0], d.executable[0],
                        d.arguments[0], d.infoQuit[0], d.infoBreakFmt[0]};
  for (int i = 0; i < 18; i++) firsts += {d.txt[i][0], d.cmd[i][0]};
  EXPECT_EQ(std::string(firsts.size(), '\0'), firsts);
}

TEST_F(Spine, AFailedStartLeavesAContextThatStopTearsDown) {
  EXPECT_EQ(0, startWith(runDir + "\\no such debugger.exe", "", "prog.lua"));
  void* s = session();
  ASSERT_TRUE(ctx && s);
  EXPECT_EQ(1u, count(output(), startFailure)) << output();

  // The slots that need no debugger, by their place in the table.
  EXPECT_EQ(0, hostCallBool(s, HS_SUPPORTS_BREAK_FILTER));
  EXPECT_EQ(0, hostCallInt(s, HS_EXTENSION, 7));
  EXPECT_STREQ("", (const char*)(UINT_PTR)hostCall(s, HS_GET_AUX_TEXT));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_RUNNING));
  for (int busy : {1, 0})
    EXPECT_TRUE(hostCallByte(s, HS_SET_BUSY, busy) == busy && hostCallBool(s, HS_IS_BUSY) == busy);

  int from = hostEventCount();
  stop();
  EXPECT_EQ(nullptr, session());
  EXPECT_EQ(0, hostCount(from, 0, nullptr)) << "nothing sent: " << output(from);
}

// The words come from the library's own profile, read as it loads; an
// empty one is not sent.
TEST_F(Spine, ASessionWithTheStandIn) {
  load("CMD", "CMD_STEP", "");
  ASSERT_EQ(1, startFake(std::string("pid\nignorequit\n") + serve, "first.lua"));
  ASSERT_TRUE(waitOutput(prompt));
  std::string text = output();
  EXPECT_EQ(0u, text.find("Module:'prog.lua'\nDirectory:'" + programs + "'\nCommand Line:'"));
  EXPECT_TRUE(has(text, " prog.lua first.lua'\n\n"));
  void* s = session();
  EXPECT_EQ(1, hostCallBool(s, HS_IS_RUNNING));

  // Each slot's word (its argument after the space) is echoed, then written.
  struct { int slot; const char* word; } words[] = {
      {HS_HELP, "help"}, {HS_RUN, "run"}, {HS_CONTINUE, "run"}, {HS_NEXT, "over"},
      {HS_UNTIL, "out"}, {HS_UP, "glob"}, {HS_DOWN, "vars"}, {HS_ARGS, "locs"}, {HS_LOCALS, "fenv"},
      {HS_STACK, "trace"}, {HS_BREAK_INFO, "listb"}, {HS_PRINT, "dump x"}, {HS_PRINTEX, "setw a"}};
  for (auto& w : words) {
    int from = hostEventCount();
    const char* arg = strchr(w.word, ' ');
    EXPECT_EQ(1, arg ? hostCallText(s, w.slot, arg + 1) : hostCall(s, w.slot)) << w.word;
    EXPECT_TRUE(waitOutput(std::string("got ") + w.word + "\n" + prompt, from)) << w.word;
    EXPECT_EQ(std::string(w.word) + "\ngot " + w.word + "\n" + prompt, output(from));
  }
  // A send from the host's callback while a send is under way is dropped.
  static void* nestedOn;
  static int nested;
  nestedOn = s, nested = -1;
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind == 0 && !strcmp((const char*)data, "help\n"))
      nested = hostCallTextByte(nestedOn, HS_SEND_COMMAND, "nested", 1);
  };
  int from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_HELP));
  hostCallbackHook = nullptr;
  EXPECT_EQ(0, nested);
  EXPECT_TRUE(waitOutput(std::string("got help\n") + prompt, from));

  from = hostEventCount();
  EXPECT_EQ(0, hostCall(s, HS_STEP));
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "quiet", 0));
  EXPECT_EQ(0, hostCallTextByte(s, HS_SEND_COMMAND, "", 1));
  EXPECT_EQ(0, hostCallTextByte(s, HS_SEND_COMMAND, nullptr, 1));
  EXPECT_TRUE(waitOutput("got quiet\n[DEBUG]> ", from));
  EXPECT_EQ("got quiet\n[DEBUG]> ", output(from)) << "nothing before: no step, echo or word";
  EXPECT_EQ(2, hostCount(0, 1, nullptr)) << "only Run and Continue clear the marker";

  // Kill and Quit alike end a run before they return, busy and marker
  // cleared, and their word reaches the debugger (which here ignores it).
  for (int slot : {HS_KILL, HS_QUIT}) {
    from = hostEventCount();
    EXPECT_TRUE(hostCall(s, HS_RUN) == 1 && hostCallBool(s, HS_IS_BUSY) == 1);
    EXPECT_EQ(1, hostCall(s, slot));
    EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
    EXPECT_EQ(2, hostCount(from, 1, nullptr)) << "Run's clear and its own";
    HostEvent clear = hostEvent(hostWaitFor(from, 1, nullptr, 0));
    EXPECT_TRUE(clear.line == 0 && !*clear.text) << clear.text;
    EXPECT_LE(0, hostWaitFor(from, 0, "exit\n", 0)) << slot;
    EXPECT_TRUE(waitOutput("got exit\n", from)) << slot;
  }

  // A restart stops the old debugger first and debugs the new file, cut to
  // the field; the destructor slot then ends the new debugger, leaving the
  // context.
  from = hostEventCount();
  ASSERT_EQ(1, p.DebugRestartDebugger(&ctx, std::string(300, 'f').c_str()));
  int started = hostWaitFor(from, 0, "Module:", 5000);
  ASSERT_TRUE(started >= 0 && waitOutput(prompt, started));
  text = output(from);
  EXPECT_EQ(0u, text.find("exit\n")) << "the old one stopped first";
  EXPECT_TRUE(has(text, " prog.lua " + std::string(260, 'f') + "'\n"));
  HANDLE process = child(started);
  s = session();
  EXPECT_EQ((int)(UINT_PTR)s, hostCallInt(s, HS_DESTRUCTOR, 1));
  EXPECT_EQ(nullptr, session());
  EXPECT_EQ(99u, exitCode(process));
}

// A position line is shown as it comes, but reported once its end is there
// and only when its file exists; a thread's prefix puts its colon first, so
// no position. Each chunk with the exception line brings one notice.
TEST_F(Spine, WhatTheDebuggerPrints) {
  ASSERT_EQ(1, startFake(
      "prompt\nprint Paused at fi\nsleep 400\nprint le: prog.lua (7) (1)\\n\nsleep 200\n"
      "print Paused at file: missing.lua (3) (1)\\n[thread: 0x00ab] Paused at file: prog.lua (9) "
      "(1)\\nPaused at file: prog.lua (x1) (1)\\nAt: prog.lua ( 12 ) (1) (breakpoint)\\n\n"
      "print Unhandled Lua Exception\\nmore\\nUnhandled Lua Exception\\n\nsleep 400\n"
      "print x\\x1ay\\n\nsleep 400\nprint Unhandled Lua Exception\\n\n" + std::string(serve)));
  ASSERT_TRUE(waitOutput("x y\n"));
  sync("got listw\n");
  int half = hostWaitFor(0, 0, "Paused at fi", 0), rest = hostWaitFor(0, 0, "le: prog.lua", 0);
  ASSERT_TRUE(0 <= half && half < rest && rest < hostWaitFor(0, 1, nullptr, 0)) << output();
  std::string chunk = hostEvent(half).text, file = lower(programs + "\\prog.lua"), shown;
  EXPECT_EQ(chunk.size() - 12, chunk.rfind("Paused at fi")) << "a chunk of its own";
  for (int i = 0; i < hostEventCount(); i++)
    if (hostEvent(i).kind == 1)
      shown += lower(hostEvent(i).text) + ":" + std::to_string(hostEvent(i).line) + " ";
  EXPECT_EQ(file + ":7 " + file + ":12 ", shown);
  EXPECT_EQ(2, hostCount(0, 2, nullptr));
}

// The reader's fault guard by itself: which codes it takes, passing the rest
// on, and that it leaves the handler chain as it found it.
static EXCEPTION_REGISTRATION_RECORD* chainHead() {
  EXCEPTION_REGISTRATION_RECORD* head;
  __asm__ __volatile__("movl %%fs:0, %0" : "=r"(head));
  return head;
}

static volatile DWORD raised, passedOn;  // passedOn: written on the thread that raised
static LONG WINAPI lastChance(EXCEPTION_POINTERS* e) {
  passedOn = e->ExceptionRecord->ExceptionCode;
  return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(Guard, TakesExactlyItsCodes) {
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  EXCEPTION_REGISTRATION_RECORD* head = chainHead();
  auto raise = [](void*) { RaiseException(raised, 0, 0, 0); };
  const DWORD codes[] = {0x80000002, 0x80000003, 0xC0000005, 0xC0000025, 0xC000008C, 0xC0000090,
                         0xC0000094, 0xC0000096,  // taken; the rest are passed on
                         0xC000008B, 0xC0000097, 0xC00000FD, 0xE06D7363, 0x40010006};
  for (const DWORD& code : codes) {
    bool taken = &code - codes < 8;
    raised = code, passedOn = 0;
    EXPECT_EQ(taken ? code : 0u, GuardedCall(raise, nullptr)) << std::hex << code;
    EXPECT_EQ(taken ? 0u : code, passedOn) << std::hex << code;
    EXPECT_EQ(head, chainHead());
  }
  SetUnhandledExceptionFilter(saved);
}

// A handler of the host's own, nearer the fault, is asked first and, when
// the guard takes the fault, unwound.
static int innerCalls, innerUnwinds;
static EXCEPTION_DISPOSITION NTAPI inner(EXCEPTION_RECORD* r, void*, CONTEXT*, void*) {
  (r->ExceptionFlags & EXCEPTION_UNWINDING ? innerUnwinds : innerCalls)++;
  return ExceptionContinueSearch;
}
// The fault is a division by zero: its code (integer natively, float under
// emulation) the guard takes either way, where a null write's may not be.
static volatile int one = 1, zero, quotient;  // 1 / x would compile to no division
static void faultWithAHandler() {
  EXCEPTION_REGISTRATION_RECORD frame;
  frame.Next = chainHead();
  frame.Handler = inner;
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(&frame) : "memory");
  quotient = one / zero;
}

// The host's callback runs on the reader thread inside that guard: a fault
// ends the reader with busy left set. A stop still ends at once and kills
// the debugger, which ignores its quit word.
TEST_F(Spine, TheReadersGuard) {
  ASSERT_EQ(1, startFake("pid\nignorequit\nprompt\nserve\n"));
  ASSERT_TRUE(waitOutput(prompt));
  HANDLE process = child();
  ASSERT_NE(nullptr, process);
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind == 0 && strstr((const char*)data, "got crash\n")) faultWithAHandler();
  };
  void* s = session();
  passedOn = 0;
  EXPECT_EQ(1, hostCall(s, HS_RUN));
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "crash", 1));
  int at = hostWaitFor(0, 0, "got crash\n", 10000);
  ASSERT_LE(0, at);
  if (HANDLE reader = OpenThread(SYNCHRONIZE, FALSE, hostEvent(at).thread)) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(reader, 5000)) << "the reader ended";
    CloseHandle(reader);
  }
  EXPECT_EQ(0u, passedOn) << "the guard took it";
  EXPECT_TRUE(innerCalls == 1 && innerUnwinds == 1) << innerCalls << " " << innerUnwinds;
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY)) << "nobody cleared busy";
  SetUnhandledExceptionFilter(saved);
  hostCallbackHook = nullptr;
  int from = hostEventCount();
  DWORD start = GetTickCount();
  stop();
  EXPECT_GT(2000u, GetTickCount() - start);
  EXPECT_EQ(99u, exitCode(process));
  EXPECT_EQ(0u, output(from).find("exit\n"));
}
