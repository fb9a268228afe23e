// The plug-in as the IDE sees it: loaded by file name, called through its
// exports and the session's virtual slots only, and heard through the
// callback. The debugger is the scripted stand-in, or the real SorbLua.exe
// on small Lua programs.
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host.h"

static std::string here() {
  char p[MAX_PATH];
  std::string s(p, GetModuleFileNameA(nullptr, p, MAX_PATH));
  return s.substr(0, s.find_last_of('\\'));
}

static const std::string runDir = here(), programs = runDir + "\\programs";

static std::string tarn() {
  char folder[MAX_PATH] = "";
  SHGetSpecialFolderPathA(nullptr, folder, CSIDL_APPDATA, FALSE);
  return std::string(folder) + "\\Brennick\\Tarn\\";
}

static std::string fullPath(const std::string& name) {
  char buffer[MAX_PATH];
  GetFullPathNameA(name.c_str(), MAX_PATH, buffer, nullptr);
  return buffer;
}

static std::string lower(std::string s) {
  CharLowerA(&s[0]);
  return s;
}

static const char startFailure[] =
    "Unexpected error starting the debugger! Make sure the debugger is correctly\n"
    "installed and the install directory is defined in system path.\n\n";

// Each test loads its own copy of the DLL, named after the test, so its
// settings profile and its workspace's breakpoint profile are its own.
class Spine : public ::testing::Test {
 protected:
  void SetUp() override {
    const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
    name = std::string(t->test_suite_name()) + "_" + t->name();
    CreateDirectoryA((runDir + "\\plugins").c_str(), nullptr);
    dll = runDir + "\\plugins\\" + name + ".dll";
    ini = tarn() + name + ".ini";
    workspace = name + "-ws";
    wsIni = tarn() + workspace + ".ini";
    DeleteFileA(ini.c_str());
    DeleteFileA(wsIni.c_str());
    ASSERT_TRUE(CopyFileA((runDir + "\\SorbLua.dll").c_str(), dll.c_str(), FALSE));
    hostClearLog();
    load();
  }
  void TearDown() override {
    if (ctx) p.DebugStopDebugging(ctx);
    hostCallbackHook = nullptr;
    hostUnload(&p);
    SetCurrentDirectoryA(runDir.c_str());
    DeleteFileA(dll.c_str());
    DeleteFileA(ini.c_str());
    DeleteFileA(wsIni.c_str());
    hostClearLog();
  }
  void load() {
    char error[300];
    ASSERT_TRUE(hostLoad(&p, dll.c_str(), error, sizeof error)) << error;
  }
  // A setting in the plug-in's profile, read as the library loads again.
  void reloadWith(const char* section, const char* key, const char* value) {
    hostUnload(&p);
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value, ini.c_str()));
    load();
  }
  void record(const char* command, const char* options, const char* script, const char* file) {
    hostExecInfo(&info, command, options, script, file, programs.c_str());
    strcpy(info.workspace, workspace.c_str());
  }
  // Starts the stand-in debugger on its script (one step a line).
  int startFake(const std::string& steps, const char* file = "") {
    std::string script = runDir + "\\plugins\\" + name + ".txt";
    std::ofstream(script) << steps;
    record((runDir + "\\fake_debugger.exe").c_str(), ("-s " + script).c_str(), "prog.lua", file);
    return p.DebugStartDebugging(&ctx, &info);
  }
  void* session() { return p.DebugGetDebugger(); }
  // Everything the stand-in printed before has been read and reported.
  void sync() {
    int from = hostEventCount();
    ASSERT_EQ(1, hostCallTextByte(session(), HS_SEND_COMMAND, "sync", 1));
    ASSERT_TRUE(waitOutput("got sync\n", from));
  }
  std::string output(int from = 0) {
    char* text = hostOutputText(from);
    std::string s(text);
    free(text);
    return s;
  }
  bool waitOutput(const std::string& part, int from = 0, DWORD ms = 15000) {
    return hostWaitForOutput(from, part.c_str(), ms) != 0;
  }
  void stop() {
    ASSERT_EQ(1, p.DebugStopDebugging(ctx));
    ctx = nullptr;
  }
  static size_t count(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
    return n;
  }

  HostPlugin p{};
  HostExecInfo info;
  void* ctx = nullptr;
  std::string name, dll, ini, workspace, wsIni;
};

static const char serve[] = "prompt\nserve\n";

// ---------------------------------------------------------------- exports

TEST_F(Spine, ExportsExactlyTheNineNamesTheHostLooksUp) {
  auto base = (const BYTE*)p.dll;
  auto nt = (const IMAGE_NT_HEADERS32*)(base + ((const IMAGE_DOS_HEADER*)base)->e_lfanew);
  auto dir = (const IMAGE_EXPORT_DIRECTORY*)(
      base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  auto names = (const DWORD*)(base + dir->AddressOfNames);
  std::set<std::string> exported, wanted(hostExportNames, hostExportNames + 9);
  for (DWORD i = 0; i < dir->NumberOfNames; i++) exported.insert((const char*)(base + names[i]));
  EXPECT_EQ(wanted, exported);
  EXPECT_EQ(9u, dir->NumberOfFunctions);
}

TEST_F(Spine, ToolTips) {
  char buf[80];
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(1, p.DebugToolTip(25, buf, 80));
  EXPECT_STREQ("", buf);
  memset(buf, 'x', sizeof buf);
  EXPECT_EQ(1, p.DebugToolTip(-1, buf, 80));
  EXPECT_STREQ("", buf);
  EXPECT_EQ(1, p.DebugToolTip(0, buf, 10));
  EXPECT_STREQ("Start to ", buf);
  EXPECT_EQ(1, p.DebugToolTip(24, buf, 80));
  EXPECT_STREQ("Display the debugger configuration dialog", buf);
  EXPECT_EQ(0, p.DebugToolTip(0, nullptr, 80));
  EXPECT_EQ(0, p.DebugToolTip(0, buf, 0));
}

TEST_F(Spine, DebugInfo) {
  HostDebugInfo d;
  memset(&d, 'x', sizeof d);
  d.size = 2511;
  EXPECT_EQ(0, p.DebugInfo(&d));
  EXPECT_EQ(2511u, d.size);
  EXPECT_EQ(1, d.display);
  std::string firsts = {d.name[0], d.description[0], d.version[0], d.options[0], d.executable[0],
                        d.arguments[0], d.infoQuit[0], d.infoBreakFmt[0]};
  for (int i = 0; i < 18; i++) firsts += {d.txt[i][0], d.cmd[i][0]};
  EXPECT_EQ(std::string(firsts.size(), '\0'), firsts);

  memset(&d, 'x', sizeof d);
  d.size = 2512;
  EXPECT_EQ(1, p.DebugInfo(&d));
  EXPECT_STREQ("Lua Debugger Interface", d.name);
  EXPECT_STREQ("1.20", d.version);
  EXPECT_LT(0u, strlen(d.description));
  EXPECT_STREQ("SorbLua.exe", d.executable);
  EXPECT_STREQ("step", d.cmd[2]);
  EXPECT_STREQ("&List", d.txt[17]);
  EXPECT_EQ(1, d.display);
  EXPECT_EQ(0, p.DebugInfo(nullptr));

  // The library reads its own profile, named after its file, as it loads.
  reloadWith("CMD", "CMD_STEP", "stp");
  reloadWith("EXEC", "DISPLAY", "0");
  EXPECT_EQ(1, p.DebugInfo(&d));
  EXPECT_STREQ("stp", d.cmd[2]);
  EXPECT_EQ(0, d.display);
}

TEST_F(Spine, CommandLine) {
  auto line = [&](const char* command, const char* options, const char* script, const char* file) {
    record(command, options, script, file);
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

// ---------------------------------------------------------------- start and stop

TEST_F(Spine, AFailedStartLeavesAContextThatStopTearsDown) {
  record((runDir + "\\no such debugger.exe").c_str(), "", "prog.lua", "");
  EXPECT_EQ(0, p.DebugStartDebugging(nullptr, &info));
  EXPECT_EQ(0, p.DebugStartDebugging(&ctx, &info));
  ASSERT_NE(nullptr, ctx);
  void* s = session();
  ASSERT_NE(nullptr, s);
  std::string text = output();
  EXPECT_EQ(1u, count(text, startFailure)) << text;
  EXPECT_NE(std::string::npos, text.find("Module:'prog.lua'\nDirectory:'" + programs +
                                         "'\nCommand Line:'\"")) << text;
  char cwd[MAX_PATH];
  GetCurrentDirectoryA(MAX_PATH, cwd);
  EXPECT_EQ(lower(programs), lower(cwd));  // left there on purpose

  // Every slot that needs no debugger, by its place in the table.
  EXPECT_EQ(0, hostCallBool(s, HS_SUPPORTS_BREAK_FILTER));
  EXPECT_EQ(0, hostCallInt(s, HS_EXTENSION, 7));
  EXPECT_STREQ("", (const char*)hostCallPointer(s, HS_GET_AUX_TEXT));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_RUNNING));
  EXPECT_EQ(1, hostCallByte(s, HS_SET_BUSY, 1));
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY));
  EXPECT_EQ(0, hostCallByte(s, HS_SET_BUSY, 0));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  EXPECT_EQ(1, hostCall(s, HS_SAVE_BREAKPOINTS));
  auto where = (HostStopLocation*)hostCallPointer(s, HS_GET_LOCATION);
  ASSERT_NE(nullptr, where);
  EXPECT_EQ(0, where->line);
  EXPECT_STREQ("", where->file);

  int from = hostEventCount();
  stop();
  EXPECT_EQ(nullptr, session());
  EXPECT_EQ(0, hostCount(from, 0, nullptr)) << "nothing sent: " << output(from);
  EXPECT_EQ(1, hostCount(from, 1, ""));
  EXPECT_EQ(0, p.DebugStopDebugging(nullptr));
}

TEST_F(Spine, StartRunsTheDebuggerHiddenInTheWorkingDirectory) {
  ASSERT_EQ(1, startFake(std::string("cwd\nargs\n") + serve, "first.lua"));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  std::string text = output(), fake = runDir + "\\fake_debugger.exe";
  std::replace(fake.begin(), fake.end(), '\\', '/');
  EXPECT_EQ(0u, text.find("Module:'prog.lua'\nDirectory:'" + programs + "'\nCommand Line:'" +
                          fake + " -s ")) << text;
  EXPECT_NE(std::string::npos, text.find(" prog.lua first.lua'\n\n")) << text;
  EXPECT_NE(std::string::npos, lower(text).find("cwd " + lower(programs) + "\n")) << text;
  EXPECT_EQ(1, hostCallBool(session(), HS_IS_RUNNING));
  // What the debugger prints comes from the reader thread.
  int at = hostWaitFor(0, 0, "cwd ", 1000);
  ASSERT_LE(0, at);
  EXPECT_NE(GetCurrentThreadId(), hostEvent(at).thread);

  int from = hostEventCount();
  stop();
  EXPECT_TRUE(output(from).find("exit\n") == 0) << output(from);
  EXPECT_EQ(nullptr, session());
}

// ---------------------------------------------------------------- commands

TEST_F(Spine, EachSlotSendsItsConfiguredWord) {
  ASSERT_EQ(1, startFake(serve));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  void* s = session();
  struct { int slot; const char* word; } words[] = {
      {HS_HELP, "help"}, {HS_CONTINUE, "run"}, {HS_STEP, "step"}, {HS_NEXT, "over"},
      {HS_UNTIL, "out"}, {HS_UP, "glob"}, {HS_DOWN, "vars"}, {HS_ARGS, "locs"},
      {HS_LOCALS, "fenv"}, {HS_STACK, "trace"}, {HS_BREAK_INFO, "listb"}};
  for (auto& w : words) {
    int from = hostEventCount();
    EXPECT_EQ(1, hostCall(s, w.slot)) << w.word;
    std::string got = std::string("got ") + w.word + "\n[DEBUG]> ";
    EXPECT_TRUE(waitOutput(got, from)) << w.word;
    EXPECT_EQ(0u, output(from).find(std::string(w.word) + "\n")) << "echoed first: " << w.word;
  }
  int from = hostEventCount();
  EXPECT_EQ(1, hostCallText(s, HS_PRINT, "x"));
  EXPECT_TRUE(waitOutput("got dump x\n[DEBUG]> ", from));
  EXPECT_EQ("dump x\ngot dump x\n[DEBUG]> ", output(from));
  from = hostEventCount();
  EXPECT_EQ(1, hostCallText(s, HS_PRINTEX, "a.b"));
  EXPECT_TRUE(waitOutput("got setw a.b\n[DEBUG]> ", from));
  EXPECT_EQ("setw a.b\ngot setw a.b\n[DEBUG]> ", output(from));

  from = hostEventCount();
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "quiet", 0));
  EXPECT_EQ(0, hostCallTextByte(s, HS_SEND_COMMAND, "", 1));
  EXPECT_EQ(0, hostCallTextByte(s, HS_SEND_COMMAND, nullptr, 1));
  EXPECT_TRUE(waitOutput("got quiet\n[DEBUG]> ", from));
  EXPECT_EQ("got quiet\n[DEBUG]> ", output(from));
}

TEST_F(Spine, WordsComeFromTheProfile) {
  reloadWith("CMD", "CMD_STEP", "");
  ASSERT_EQ(1, startFake(serve));
  EXPECT_EQ(0, hostCall(session(), HS_STEP));
  EXPECT_EQ(1, hostCallTextByte(session(), HS_SEND_COMMAND, "marker", 1));
  ASSERT_TRUE(waitOutput("got marker\n"));
  EXPECT_EQ(std::string::npos, output().find("got \n")) << "an empty step was written";
  stop();

  reloadWith("CMD", "CMD_STEP", "stepper");
  hostClearLog();
  ASSERT_EQ(1, startFake(serve));
  EXPECT_EQ(1, hostCall(session(), HS_STEP));
  EXPECT_TRUE(waitOutput("got stepper\n"));
}

TEST_F(Spine, RunAndKillMoveTheBusyFlag) {
  ASSERT_EQ(1, startFake(serve));
  void* s = session();
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  EXPECT_EQ(1, hostCall(s, HS_RUN));
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY));
  int from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_KILL));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  int cleared = hostWaitFor(from, 1, "", 0);
  ASSERT_LE(0, cleared);
  EXPECT_EQ(0, hostEvent(cleared).line);
  EXPECT_STREQ("", hostEvent(cleared).text);
  EXPECT_TRUE(waitOutput("bye\n", from));  // the kill word reached the debugger
  for (int i = 0; i < 500 && hostCallBool(s, HS_IS_RUNNING); i++) hostPump(10);
  EXPECT_EQ(0, hostCallBool(s, HS_IS_RUNNING));
  from = hostEventCount();
  stop();
  EXPECT_EQ("", output(from)) << "no quit word for an ended debugger";
}

TEST_F(Spine, SendsDoNotNest) {
  static void* s;
  static int nested = -1;
  ASSERT_EQ(1, startFake(serve));
  s = session();
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind == 0 && !strcmp((const char*)data, "outer\n"))
      nested = hostCallTextByte(s, HS_SEND_COMMAND, "inner", 1);
  };
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "outer", 1));
  EXPECT_EQ(0, nested);
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "after", 1));
  ASSERT_TRUE(waitOutput("got after\n"));
  EXPECT_EQ(std::string::npos, output().find("inner"));
}

TEST_F(Spine, TheDestructorSlotEndsTheDebugger) {
  ASSERT_EQ(1, startFake(std::string("pid\n") + serve));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  std::string text = output();
  HANDLE child = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE,
                             strtoul(text.c_str() + text.find("pid ") + 4, nullptr, 10));
  ASSERT_NE(nullptr, child);
  void* s = session();
  EXPECT_EQ(s, hostCallDestructor(s, 1));
  EXPECT_EQ(nullptr, session());
  DWORD code = 0;
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(child, 5000));
  GetExitCodeProcess(child, &code);
  EXPECT_EQ(99u, code);
  CloseHandle(child);
  stop();  // the context alone
}

// ---------------------------------------------------------------- what the debugger prints

TEST_F(Spine, PositionLines) {
  ASSERT_EQ(1, startFake(
      "prompt\nprint Paused at fi\nsleep 400\nprint le: prog.lua (7) (1)\\n\nsleep 200\n"
      "print Paused at file: missing.lua (3) (1)\\n[thread: 0x00ab] Paused at file: prog.lua (9) "
      "(1)\\nPaused at file: prog.lua (x1) (1)\\nAt: prog.lua ( 12 ) (1) (breakpoint)\\n\n" +
      std::string(serve)));
  ASSERT_TRUE(waitOutput("(breakpoint)\n"));
  sync();
  // The half line is shown as it comes; the position once its end is there.
  int half = hostWaitFor(0, 0, "Paused at fi", 0), rest = hostWaitFor(0, 0, "le: prog.lua", 0);
  int first = hostWaitFor(0, 1, nullptr, 0);
  ASSERT_LE(0, half);
  std::string chunk = hostEvent(half).text;
  EXPECT_EQ(chunk.size() - 12, chunk.rfind("Paused at fi")) << "a chunk of its own";
  EXPECT_LT(half, rest);
  EXPECT_LT(rest, first);
  std::vector<std::pair<std::string, int>> shown;
  for (int i = 0; i < hostEventCount(); i++)
    if (hostEvent(i).kind == 1) {
      shown.push_back({lower(hostEvent(i).text), hostEvent(i).line});
      EXPECT_NE(GetCurrentThreadId(), hostEvent(i).thread);
    }
  std::string file = lower(programs + "\\prog.lua");
  EXPECT_EQ((std::vector<std::pair<std::string, int>>{{file, 7}, {file, 12}}), shown);
}

TEST_F(Spine, ErrorNoticesAndControlZ) {
  ASSERT_EQ(1, startFake(
      "print Unhandled Lua Exception\\nmore\\nUnhandled Lua Exception\\n\nsleep 400\n"
      "print x\\x1ay\\n\nsleep 400\nprint Unhandled Lua Exception\\n\n" + std::string(serve)));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  sync();
  EXPECT_EQ(2, hostCount(0, 2, nullptr));
  EXPECT_EQ(2, hostCount(0, 2, ""));
  EXPECT_NE(std::string::npos, output().find("x y\n"));
}

TEST_F(Spine, TheEndOfTheProgramEndsTheSession) {
  ASSERT_EQ(1, startFake("prompt\nreply run => line\\nDebugging process terminated.\\n\nserve\n"));
  void* s = session();
  EXPECT_EQ(1, hostCall(s, HS_RUN));
  int from = hostEventCount();
  ASSERT_TRUE(waitOutput("bye\n", from));
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  // The quit word goes out from the reader thread, which saw the end.
  int quit = hostWaitFor(from, 0, "exit\n", 0);
  ASSERT_LE(0, quit);
  EXPECT_STREQ("exit\n", hostEvent(quit).text);
  EXPECT_NE(GetCurrentThreadId(), hostEvent(quit).thread);
  int cleared = hostWaitFor(from, 1, "", 5000);
  ASSERT_LE(0, cleared);
  EXPECT_EQ(0, hostEvent(cleared).line);
}

// A window of the host's, to see its messages handled while a stop waits.
static bool stopping, handledWhileStopping;
static LRESULT CALLBACK hostWindow(HWND w, UINT m, WPARAM wp, LPARAM lp) {
  if (m == WM_APP) handledWhileStopping = stopping;
  return DefWindowProcA(w, m, wp, lp);
}

TEST_F(Spine, StopKillsADebuggerThatStays) {
  ASSERT_EQ(1, startFake("pid\nignorequit\nprompt\nserve\n"));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  std::string text = output();
  DWORD pid = strtoul(text.c_str() + text.find("pid ") + 4, nullptr, 10);
  HANDLE child = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION, FALSE, pid);
  ASSERT_NE(nullptr, child);

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
  DWORD code = 0;
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(child, 5000));
  GetExitCodeProcess(child, &code);
  EXPECT_EQ(99u, code);
  EXPECT_EQ(0u, output(from).find("exit\n"));
  CloseHandle(child);
  DestroyWindow(window);
}

TEST_F(Spine, RestartDebugsTheNewFileCutToTheField) {
  ASSERT_EQ(1, startFake(std::string("args\n") + serve, "first.lua"));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  int from = hostEventCount();
  std::string longName(300, 'f');
  EXPECT_EQ(1, p.DebugRestartDebugger(&ctx, longName.c_str()));
  ASSERT_NE(nullptr, ctx);
  ASSERT_TRUE(waitOutput("[DEBUG]> ", from));
  std::string text = output(from);
  EXPECT_EQ(0u, text.find("exit\n")) << text;  // the old session quit first
  EXPECT_NE(std::string::npos, text.find(" prog.lua " + std::string(260, 'f') + "'\n\n"));
  EXPECT_NE(std::string::npos, text.find(std::string(260, 'f') + " \n"));  // args
  EXPECT_EQ(std::string::npos, text.find(std::string(261, 'f')));
  EXPECT_EQ(0, p.DebugRestartDebugger(nullptr, "x.lua"));
  void* none = nullptr;
  EXPECT_EQ(0, p.DebugRestartDebugger(&none, "x.lua"));
}

// ---------------------------------------------------------------- faults on the reader thread

static DWORD passedOn;
static int* volatile nowhere;  // null, unseen by the optimiser
static LONG WINAPI lastChance(EXCEPTION_POINTERS* e) {
  passedOn = e->ExceptionRecord->ExceptionCode;
  return EXCEPTION_CONTINUE_EXECUTION;
}

// The host's callback runs on the reader thread inside the reader's guard.
TEST_F(Spine, OtherExceptionsPassTheReaderBy) {
  ASSERT_EQ(1, startFake(serve));
  passedOn = 0;
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind == 0 && strstr((const char*)data, "got raise\n")) RaiseException(0xE0001234, 0, 0, 0);
  };
  EXPECT_EQ(1, hostCallTextByte(session(), HS_SEND_COMMAND, "raise", 1));
  EXPECT_TRUE(waitOutput("got raise\n"));
  EXPECT_EQ(1, hostCallTextByte(session(), HS_SEND_COMMAND, "later", 1));
  EXPECT_TRUE(waitOutput("got later\n")) << "the reader went on";
  EXPECT_EQ(0xE0001234u, passedOn);
  SetUnhandledExceptionFilter(saved);
}

TEST_F(Spine, AFaultEndsTheReaderAndLeavesItsFlagSet) {
  ASSERT_EQ(1, startFake(std::string("pid\n") + serve));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  std::string text = output();
  DWORD pid = strtoul(text.c_str() + text.find("pid ") + 4, nullptr, 10);
  passedOn = 0;
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  hostCallbackHook = [](const void* data, unsigned kind) {
    if (kind == 0 && strstr((const char*)data, "got crash\n")) *nowhere = 1;
  };
  void* s = session();
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
  int from = hostEventCount();
  EXPECT_EQ(1, hostCallTextByte(s, HS_SEND_COMMAND, "after", 1));
  EXPECT_FALSE(waitOutput("got after", from, 1000)) << "nobody reads any more";
  SetUnhandledExceptionFilter(saved);
  // A stop would now wait for ever on the flag, by design: end it by hand.
  HANDLE child = OpenProcess(PROCESS_TERMINATE, FALSE, pid);
  if (child) TerminateProcess(child, 1), CloseHandle(child);
  ctx = nullptr;
}

// ---------------------------------------------------------------- the dialog

TEST_F(Spine, ConfigureWithoutAPathShowsNothing) {
  // The dialog itself is driven through this export in test_config_dialog.
  EXPECT_EQ(0, p.DebugConfigure(nullptr, nullptr));
}

// ---------------------------------------------------------------- the real debugger

class RealDebugger : public Spine {
 protected:
  int start(const char* program) {
    record((runDir + "\\SorbLua.exe").c_str(), "", program, "");
    return p.DebugStartDebugging(&ctx, &info);
  }
  // The next marker move at or after from: line, or -1 when none came.
  int nextStop(int& from, std::string& file) {
    int at = hostWaitFor(from, 1, nullptr, 20000);
    if (at < 0) return -1;
    from = at + 1;
    file = hostEvent(at).text;
    return hostEvent(at).line;
  }
};

TEST_F(RealDebugger, StepsBreaksAndEnds) {
  ASSERT_EQ(1, start("count.lua"));
  ASSERT_TRUE(waitOutput("[DEBUG]> ")) << output();
  void* s = session();
  std::string file, count = lower(fullPath(programs + "\\count.lua"));
  int from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_STEP));
  EXPECT_EQ(1, nextStop(from, file));
  EXPECT_EQ(count, lower(file));

  EXPECT_EQ(1, hostCallFileLine(s, HS_BREAK_SET, (programs + "\\count.lua").c_str(), 5));
  ASSERT_TRUE(waitOutput("Breakpoint set in file count.lua line 5"));
  from = hostEventCount();
  EXPECT_EQ(1, hostCall(s, HS_RUN));
  EXPECT_EQ(1, hostCallBool(s, HS_IS_BUSY));
  EXPECT_EQ(0, nextStop(from, file));  // Run clears the marker
  EXPECT_EQ(5, nextStop(from, file));
  EXPECT_EQ(count, lower(file));

  EXPECT_EQ(1, hostCall(s, HS_RUN));
  EXPECT_TRUE(waitOutput("total 6\n", from));
  EXPECT_TRUE(waitOutput("Debugging process terminated.\n", from));
  int at = hostWaitFor(hostWaitFor(from, 1, nullptr, 0) + 1, 1, "", 10000);
  ASSERT_LE(0, at) << "the end clears the marker";
  EXPECT_EQ(0, hostEvent(at).line);
  EXPECT_EQ(0, hostCallBool(s, HS_IS_BUSY));
  stop();
  EXPECT_EQ(nullptr, session());
}

TEST_F(RealDebugger, AnUnhandledErrorIsNoticed) {
  ASSERT_EQ(1, start("fail.lua"));
  ASSERT_TRUE(waitOutput("[DEBUG]> "));
  EXPECT_EQ(1, hostCall(session(), HS_RUN));
  ASSERT_TRUE(waitOutput("attempt to index"));  // the agent stops at the error first
  EXPECT_EQ(0, hostCount(0, 2, nullptr));
  EXPECT_EQ(1, hostCall(session(), HS_CONTINUE));
  EXPECT_LE(0, hostWaitFor(0, 2, "", 20000)) << output();
  EXPECT_EQ(1, hostCount(0, 2, nullptr));
}
