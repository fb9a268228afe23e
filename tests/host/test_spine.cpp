// The plug-in as the IDE sees it, against the scripted stand-in debugger:
// loaded by file name, called through its exports and the session's virtual
// slots only, and heard through the callback.
#include <algorithm>
#include <set>
#include <vector>

#include "fixture.hpp"

using Spine = Plugin;

static const char startFailure[] =
    "Unexpected error starting the debugger! Make sure the debugger is correctly\n"
    "installed and the install directory is defined in system path.\n\n";

TEST_F(Spine, ExportsToolTipsAndTheCommandLine) {
  auto base = (const BYTE*)p.dll;
  auto nt = (const IMAGE_NT_HEADERS32*)(base + ((const IMAGE_DOS_HEADER*)base)->e_lfanew);
  auto dir = (const IMAGE_EXPORT_DIRECTORY*)(
      base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  auto names = (const DWORD*)(base + dir->AddressOfNames);
  std::set<std::string> exported, wanted(hostExportNames, hostExportNames + 9);
  for (DWORD i = 0; i < dir->NumberOfNames; i++) exported.insert((const char*)(base + names[i]));
  EXPECT_EQ(wanted, exported);
  EXPECT_EQ(9u, dir->NumberOfFunctions);

  char buf[80];
  for (int index : {25, -1}) {
    memset(buf, 'x', sizeof buf);
    EXPECT_EQ(1, p.DebugToolTip(index, buf, 80)) << index;
    EXPECT_STREQ("", buf) << index;
  }
  EXPECT_EQ(1, p.DebugToolTip(0, buf, 10));
  EXPECT_STREQ("Start to ", buf);

  auto line = [&](const char* command, const char* options, const char* script, const char* file) {
    hostExecInfo(&info, command, options, script, file, programs.c_str());
    return std::string(p.DebugCommandLine(nullptr, &info));
  };
  EXPECT_EQ("C:/Tools/SorbLua.exe \"C:/My Scripts/a.lua\" ",
            line("C:\\Tools\\SorbLua.exe", "", "C:\\My Scripts\\a.lua", ""));
  EXPECT_EQ("\"C:/Program Files/SorbLua.exe\" -a x.lua a.lua f.lua",
            line("C:\\Program Files\\SorbLua.exe", "-a x.lua", "a.lua", "f.lua"));
  EXPECT_EQ("C:/Windows/system32/cmd.exe /c dbg.bat 'my a.lua' f",
            line("C:\\Windows\\system32\\cmd.exe /c dbg.bat", "", "'my a.lua'", "f"));
  EXPECT_EQ("", line("SorbLua.exe", "-x", "", "f.lua"));
  EXPECT_STREQ("", p.DebugCommandLine(nullptr, nullptr));
}

// The record is cleared in full when too small; the words come from the
// library's own profile, read as it loads, and an empty one is not sent.
TEST_F(Spine, DebugInfoAndTheProfilesWords) {
  HostDebugInfo d;
  memset(&d, 'x', sizeof d);
  d.size = 2511;
  EXPECT_EQ(0, p.DebugInfo(&d));
  EXPECT_EQ(1, d.display);
  std::string firsts = {d.name[0], d.description[0], d.version[0], d.options[0], d.executable[0],
                        d.arguments[0], d.infoQuit[0], d.infoBreakFmt[0]};
  for (int i = 0; i < 18; i++) firsts += {d.txt[i][0], d.cmd[i][0]};
  EXPECT_EQ(std::string(firsts.size(), '\0'), firsts);
  d.size = 2512;
  EXPECT_EQ(1, p.DebugInfo(&d));
  EXPECT_STREQ("Lua Debugger Interface", d.name);
  EXPECT_STREQ("SorbLua.exe", d.executable);
  EXPECT_STREQ("step", d.cmd[2]);

  load("CMD", "CMD_STEP", "");
  ASSERT_EQ(1, startFake(serve));
  EXPECT_EQ(0, hostCall(session(), HS_STEP));
  sync("got listw\n");
  EXPECT_EQ(std::string::npos, output().find("got \n")) << "an empty step was written";
}

TEST_F(Spine, AFailedStartLeavesAContextThatStopTearsDown) {
  EXPECT_EQ(0, startWith(runDir + "\\no such debugger.exe", "", "prog.lua"));
  EXPECT_EQ(0, p.DebugStartDebugging(nullptr, &info));
  ASSERT_NE(nullptr, ctx);
  void* s = session();
  ASSERT_NE(nullptr, s);
  EXPECT_EQ(1u, count(output(), startFailure)) << output();

  // The slots that need no debugger, by their place in the table.
  EXPECT_EQ(0, hostCallBool(s, HS_SUPPORTS_BREAK_FILTER));
  EXPECT_EQ(0, hostCallInt(s, HS_EXTENSION, 7));
  EXPECT_STREQ("", (const char*)hostCallPointer(s, HS_GET_AUX_TEXT));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_RUNNING));
  for (int busy : {1, 0}) {
    EXPECT_EQ(busy, hostCallByte(s, HS_SET_BUSY, busy));
    EXPECT_EQ(busy, hostCallBool(s, HS_IS_BUSY));
  }
  auto where = (HostStopLocation*)hostCallPointer(s, HS_GET_LOCATION);
  ASSERT_NE(nullptr, where);
  EXPECT_EQ(0, where->line);
  EXPECT_STREQ("", where->file);

  int from = hostEventCount();
  stop();
  EXPECT_EQ(nullptr, session());
  EXPECT_EQ(0, hostCount(from, 0, nullptr)) << "nothing sent: " << output(from);
  EXPECT_EQ(0, p.DebugStopDebugging(nullptr));
}

TEST_F(Spine, ASessionWithTheStandIn) {
  ASSERT_EQ(1, startFake(std::string("cwd\n") + serve, "first.lua"));
  ASSERT_TRUE(waitOutput(prompt));
  std::string text = output(), fake = runDir + "\\fake_debugger.exe";
  std::replace(fake.begin(), fake.end(), '\\', '/');
  EXPECT_EQ(0u, text.find("Module:'prog.lua'\nDirectory:'" + programs + "'\nCommand Line:'" +
                          fake + " -s ")) << text;
  EXPECT_NE(std::string::npos, text.find(" prog.lua first.lua'\n\n")) << text;
  EXPECT_NE(std::string::npos, lower(text).find("cwd " + lower(programs) + "\n")) << text;
  int at = hostWaitFor(0, 0, "cwd ", 0);
  ASSERT_LE(0, at);
  EXPECT_NE(GetCurrentThreadId(), hostEvent(at).thread) << "the reader thread reports";
  void* s = session();
  EXPECT_EQ(1, hostCallBool(s, HS_IS_RUNNING));

  // Each slot's word is echoed, then written.
  struct { int slot; const char* arg; const char* word; } words[] = {
      {HS_HELP, nullptr, "help"}, {HS_CONTINUE, nullptr, "run"}, {HS_STEP, nullptr, "step"},
      {HS_NEXT, nullptr, "over"}, {HS_UNTIL, nullptr, "out"}, {HS_UP, nullptr, "glob"},
      {HS_DOWN, nullptr, "vars"}, {HS_ARGS, nullptr, "locs"}, {HS_LOCALS, nullptr, "fenv"},
      {HS_STACK, nullptr, "trace"}, {HS_BREAK_INFO, nullptr, "listb"},
      {HS_PRINT, "x", "dump x"}, {HS_PRINTEX, "a.b", "setw a.b"}};
  for (auto& w : words) {
    int from = hostEventCount();
    EXPECT_EQ(1, w.arg ? hostCallText(s, w.slot, w.arg) : hostCall(s, w.slot)) << w.word;
    std::string got = std::string("got ") + w.word + "\n" + prompt;
    EXPECT_TRUE(waitOutput(got, from)) << w.word;
    EXPECT_EQ(std::string(w.word) + "\n" + got, output(from));
  }
  int from = hostEventCount();
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "quiet", 0));
  EXPECT_EQ(0, hostCallTextByte(s, HS_SEND_COMMAND, "", 1));
  EXPECT_EQ(0, hostCallTextByte(s, HS_SEND_COMMAND, nullptr, 1));
  EXPECT_TRUE(waitOutput("got quiet\n[DEBUG]> ", from));
  EXPECT_EQ("got quiet\n[DEBUG]> ", output(from));

  from = hostEventCount();
  stop();
  EXPECT_EQ(0u, output(from).find("exit\n")) << output(from);
  EXPECT_EQ(nullptr, session());
}

TEST_F(Spine, RunAndKillMoveTheBusyFlag) {
  ASSERT_EQ(1, startFake(serve));
  void* s = session();
  EXPECT_EQ(1, hostCall(s, HS_RUN));
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY));
  int from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_KILL));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  int cleared = hostWaitFor(from, 1, "", 0);
  ASSERT_LE(0, cleared);
  EXPECT_EQ(0, hostEvent(cleared).line);
  EXPECT_TRUE(waitOutput("bye\n", from));  // the kill word reached the debugger
  for (int i = 0; i < 500 && hostCallBool(s, HS_IS_RUNNING); i++) hostPump(10);
  EXPECT_EQ(0, hostCallBool(s, HS_IS_RUNNING));
  from = hostEventCount();
  stop();
  EXPECT_EQ("", output(from)) << "no quit word for an ended debugger";
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
  ASSERT_LE(0, half);
  std::string chunk = hostEvent(half).text;
  EXPECT_EQ(chunk.size() - 12, chunk.rfind("Paused at fi")) << "a chunk of its own";
  EXPECT_LT(half, rest);
  EXPECT_LT(rest, hostWaitFor(0, 1, nullptr, 0));
  std::vector<std::pair<std::string, int>> shown;
  for (int i = 0; i < hostEventCount(); i++)
    if (hostEvent(i).kind == 1) shown.push_back({lower(hostEvent(i).text), hostEvent(i).line});
  std::string file = lower(programs + "\\prog.lua");
  EXPECT_EQ((std::vector<std::pair<std::string, int>>{{file, 7}, {file, 12}}), shown);
  EXPECT_EQ(2, hostCount(0, 2, ""));
  EXPECT_EQ(2, hostCount(0, 2, nullptr));
}

// A window of the host's, to see its messages handled while a stop waits.
static bool stopping, handledWhileStopping;
static LRESULT CALLBACK hostWindow(HWND w, UINT m, WPARAM wp, LPARAM lp) {
  if (m == WM_APP) handledWhileStopping = stopping;
  return DefWindowProcA(w, m, wp, lp);
}

TEST_F(Spine, StopKillsADebuggerThatStays) {
  ASSERT_EQ(1, startFake("pid\nignorequit\nprompt\nserve\n"));
  ASSERT_TRUE(waitOutput(prompt));
  HANDLE process = child();
  ASSERT_NE(nullptr, process);
  WNDCLASSA wc = {};
  wc.lpfnWndProc = hostWindow;
  wc.hInstance = GetModuleHandleA(nullptr);
  wc.lpszClassName = "SpineHostWindow";
  RegisterClassA(&wc);
  HWND window = CreateWindowA("SpineHostWindow", "", 0, 0, 0, 10, 10, HWND_MESSAGE, nullptr,
                              wc.hInstance, nullptr);
  ASSERT_NE(nullptr, window);
  PostMessageA(window, WM_APP, 0, 0);
  stopping = true;
  int from = hostEventCount();
  stop();
  stopping = false;
  EXPECT_TRUE(handledWhileStopping);
  EXPECT_EQ(99u, exitCode(process));
  EXPECT_EQ(0u, output(from).find("exit\n"));
  DestroyWindow(window);
}

// The destructor slot then ends the new debugger, leaving the context.
TEST_F(Spine, RestartDebugsTheNewFileCutToTheField) {
  ASSERT_EQ(1, startFake(std::string("pid\nargs\n") + serve, "first.lua"));
  ASSERT_TRUE(waitOutput(prompt));
  int from = hostEventCount();
  EXPECT_EQ(1, p.DebugRestartDebugger(&ctx, std::string(300, 'f').c_str()));
  ASSERT_NE(nullptr, ctx);
  ASSERT_TRUE(waitOutput(prompt, from));
  std::string text = output(from);
  EXPECT_EQ(0u, text.find("exit\n")) << text;  // the old session quit first
  EXPECT_NE(std::string::npos, text.find(std::string(260, 'f') + " \n"));  // args
  EXPECT_EQ(std::string::npos, text.find(std::string(261, 'f')));
  EXPECT_EQ(0, p.DebugRestartDebugger(nullptr, "x.lua"));
  void* none = nullptr;
  EXPECT_EQ(0, p.DebugRestartDebugger(&none, "x.lua"));
  HANDLE process = child(from);
  void* s = session();
  EXPECT_EQ(s, hostCallDestructor(s, 1));
  EXPECT_EQ(nullptr, session());
  EXPECT_EQ(99u, exitCode(process));
}

// The host's callback runs on the reader thread inside the reader's guard:
// other exceptions pass it by, a fault ends the reader with busy left set.
static DWORD passedOn;
static int* volatile nowhere;  // null, unseen by the optimiser
static LONG WINAPI lastChance(EXCEPTION_POINTERS* e) {
  passedOn = e->ExceptionRecord->ExceptionCode;
  return EXCEPTION_CONTINUE_EXECUTION;
}

TEST_F(Spine, TheReadersGuard) {
  ASSERT_EQ(1, startFake(std::string("pid\n") + serve));
  ASSERT_TRUE(waitOutput(prompt));
  HANDLE process = child(0, PROCESS_TERMINATE);
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind != 0) return;
    if (strstr((const char*)data, "got raise\n")) RaiseException(0xE0001234, 0, 0, 0);
    if (strstr((const char*)data, "got crash\n")) *nowhere = 1;
  };
  void* s = session();
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "raise", 1));
  EXPECT_TRUE(waitOutput("got raise\n"));
  EXPECT_EQ(0xE0001234u, passedOn);

  passedOn = 0;
  EXPECT_EQ(1, hostCall(s, HS_RUN));
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "crash", 1));
  int at = hostWaitFor(0, 0, "got crash\n", 10000);
  ASSERT_LE(0, at);
  HANDLE reader = OpenThread(SYNCHRONIZE, FALSE, hostEvent(at).thread);
  if (reader) {
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(reader, 5000)) << "the reader ended";
    CloseHandle(reader);
  }
  EXPECT_EQ(0u, passedOn) << "the guard took it";
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY)) << "nobody cleared busy";
  SetUnhandledExceptionFilter(saved);
  // A stop would now wait for ever on the flag, by design: end it by hand.
  if (process) TerminateProcess(process, 1), CloseHandle(process);
  ctx = nullptr;
}
