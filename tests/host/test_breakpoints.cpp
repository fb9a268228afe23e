// Breakpoints as the IDE handles them: set and cleared through the session's
// slots, kept in the workspace's profile, replayed to the next debugger and
// honoured by the real one.
#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>

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

static size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

// A profile section's entries, each followed by "|".
static std::string section(const std::string& file, const std::string& name) {
  char buffer[4096] = "";
  DWORD n = GetPrivateProfileSectionA(name.c_str(), buffer, sizeof buffer, file.c_str());
  std::replace(buffer, buffer + n, '\0', '|');
  return std::string(buffer, n);
}

// Each test loads its own copy of the DLL (a fresh list) and keeps its
// breakpoints in a workspace of its own.
class Breakpoints : public ::testing::Test {
 protected:
  void SetUp() override {
    name = std::string("Breakpoints_") +
           ::testing::UnitTest::GetInstance()->current_test_info()->name();
    CreateDirectoryA((runDir + "\\plugins").c_str(), nullptr);
    dll = runDir + "\\plugins\\" + name + ".dll";
    wsIni = tarn() + name + "-ws.ini";
    DeleteFileA(wsIni.c_str());
    ASSERT_TRUE(CopyFileA((runDir + "\\SorbLua.dll").c_str(), dll.c_str(), FALSE));
    hostClearLog();
    char error[300];
    ASSERT_TRUE(hostLoad(&p, dll.c_str(), error, sizeof error)) << error;
  }
  void TearDown() override {
    if (ctx) p.DebugStopDebugging(ctx);
    hostUnload(&p);
    SetCurrentDirectoryA(runDir.c_str());
    DeleteFileA(dll.c_str());
    DeleteFileA(wsIni.c_str());
    hostClearLog();
  }
  // The stand-in answers "got LINE" to every line; SorbLua.exe runs program.
  int start(const char* program = nullptr, std::string ws = "") {
    std::string debugger = runDir + (program ? "\\SorbLua.exe" : "\\fake_debugger.exe");
    hostExecInfo(&info, debugger.c_str(), "", program ? program : "prog.lua", "",
                 programs.c_str());
    strcpy(info.workspace, (ws.empty() ? name + "-ws" : ws).c_str());
    return p.DebugStartDebugging(&ctx, &info);
  }
  void stop() {
    ASSERT_EQ(1, p.DebugStopDebugging(ctx));
    ctx = nullptr;
  }
  void* s() { return p.DebugGetDebugger(); }
  int set(std::string f, int line) { return hostCallFileLine(s(), HS_BREAK_SET, f.c_str(), line); }
  int clear(std::string f, int n) { return hostCallFileLine(s(), HS_BREAK_CLEAR, f.c_str(), n); }
  int is(std::string f, int line, unsigned char* enabled = nullptr) {
    return hostCallIsBreakpoint(s(), f.c_str(), line, enabled);
  }
  std::string stored() { return section(wsIni, "Breakpoints-" + name + "-ws"); }
  std::string output(int from = 0) {
    std::unique_ptr<char, decltype(&free)> text(hostOutputText(from), free);
    return text.get();
  }
  bool waitOutput(std::string part, int from = 0) {
    return hostWaitForOutput(from, part.c_str(), 15000) != 0;
  }
  // Everything the stand-in answered before has been reported.
  void sync() {
    int from = hostEventCount();
    ASSERT_EQ(1, hostCallTextByte(s(), HS_SEND_COMMAND, "sync", 1));
    ASSERT_TRUE(waitOutput("got sync\n", from));
  }

  HostPlugin p{};
  HostExecInfo info;
  void* ctx = nullptr;
  std::string name, dll, wsIni;
};

TEST_F(Breakpoints, SetAndClear) {
  ASSERT_EQ(1, start());
  EXPECT_EQ(1, set("C:\\work\\demo.lua", 12));
  EXPECT_EQ(1, set("C:\\work\\demo.lua", 12));
  EXPECT_EQ(1, set("c:/WORK/Demo.lua", 12));  // the same one, spelt otherwise
  sync();
  EXPECT_EQ(1u, count(output(), "got setb 12 demo.lua\n")) << output();
  EXPECT_EQ(2u, count(output(), "setb 12 demo.lua\n")) << "one echo";
  EXPECT_EQ("0=C:\\work\\demo.lua##12##1|", stored());
  unsigned char enabled = 0;
  EXPECT_EQ(1, is("C:\\WORK\\DEMO.LUA", 12, &enabled));
  EXPECT_EQ(1, enabled);
  EXPECT_EQ(0, is("C:\\work\\demo.lua", 13, &enabled));
  EXPECT_EQ(0, enabled);

  // The warning about the blank goes out with the command, as one text.
  int from = hostEventCount();
  EXPECT_EQ(1, set("C:\\my work\\a b.lua", 3));
  EXPECT_STREQ("setb 3 a b.lua\nFile names can not contain whitespace.\n"
               "This version of the Lua debugger does not support long file names.\n",
               hostEvent(from).text);
  sync();

  from = hostEventCount();
  EXPECT_EQ(0, clear("C:\\work\\demo.lua", 99));
  EXPECT_EQ(from, hostEventCount()) << "nothing sent";
  EXPECT_EQ(1, clear("C:\\my work\\a b.lua", 3));
  EXPECT_STREQ("delb 3 a b.lua\n", hostEvent(from).text);
  EXPECT_EQ(0, is("C:\\my work\\a b.lua", 3));
  EXPECT_EQ("0=C:\\work\\demo.lua##12##1|", stored());
}

TEST_F(Breakpoints, TheProfileFollowsEveryChange) {
  ASSERT_EQ(1, start());
  set("C:\\a.lua", 1), set("C:\\b.lua", 2), set("C:\\c.lua", 3);
  EXPECT_EQ("0=C:\\a.lua##1##1|1=C:\\b.lua##2##1|2=C:\\c.lua##3##1|", stored());
  clear("C:\\a.lua", 1);
  const std::string rest = "0=C:\\b.lua##2##1|1=C:\\c.lua##3##1|";
  EXPECT_EQ(rest, stored());

  // Saving, killing and stopping each write the list over an outside edit.
  auto edit = [&] {
    WritePrivateProfileStringA(("Breakpoints-" + name + "-ws").c_str(), "7", "C:\\x##7##1",
                               wsIni.c_str());
  };
  edit();
  EXPECT_EQ(1, hostCall(s(), HS_SAVE_BREAKPOINTS));
  EXPECT_EQ(rest, stored());
  edit();
  hostCall(s(), HS_KILL);
  EXPECT_EQ(rest, stored());
  edit();
  stop();
  EXPECT_EQ(rest, stored()) << "saved before the list is emptied";

  ASSERT_EQ(1, start());
  EXPECT_EQ(1, hostCall(s(), HS_BREAK_ALL));
  EXPECT_EQ("", stored());
  EXPECT_EQ(0, is("C:\\b.lua", 2));
}

TEST_F(Breakpoints, StoredEntries) {
  // As edited by hand. Unmarked: present but disabled. Extra separators stay
  // in the file name. No "=" or fewer than two separators: skipped.
  std::ofstream(wsIni) << "[Breakpoints-" << name << "-ws]\n0=C:\\x.lua##5##\n"
                       << "C:\\noequals.lua##1##1\n1=C:\\one##sep.lua\n2=no separator\n"
                       << "3=C:\\y##z.lua##6##1\n";
  ASSERT_EQ(1, start());
  sync();
  unsigned char enabled = 1;
  EXPECT_EQ(1, is("C:\\x.lua", 5, &enabled));
  EXPECT_EQ(0, enabled);
  EXPECT_EQ(1, is("C:\\y##z.lua", 6, &enabled));
  EXPECT_EQ(1, enabled);
  EXPECT_EQ(0, is("C:\\noequals.lua", 1));
  std::string text = output();
  EXPECT_LT(text.find("got setb 5 x.lua\n"), text.find("got setb 6 y##z.lua\n")) << text;
  EXPECT_EQ(2u, count(text, "setb")) << "these two only, without echo";

  stop();  // a disabled breakpoint is kept as it is
  EXPECT_EQ("0=C:\\x.lua##5##|1=C:\\y##z.lua##6##1|", stored());
}

TEST_F(Breakpoints, WithoutAWorkspaceTheDefaultProfile) {
  // Other tests' sessions use this section too: hold entries there briefly.
  const std::string shared = tarn() + "Default Settings.ini";
  const char* entries = "Breakpoints-<default settings>";
  WritePrivateProfileStringA(entries, nullptr, nullptr, shared.c_str());
  ASSERT_EQ(1, start(nullptr, "<default settings>"));
  set("C:\\d.lua", 4), set("C:\\e.lua", 5);
  EXPECT_EQ("0=C:\\d.lua##4##1|1=C:\\e.lua##5##1|", section(shared, entries));
  hostCall(s(), HS_BREAK_ALL);
}

// Set in one session with the real debugger, stored, replayed to the next,
// and stopped at there.
TEST_F(Breakpoints, TheRealDebuggerStopsAtReplayedOnes) {
  const std::string file = programs + "\\count.lua";
  ASSERT_EQ(1, start("count.lua"));
  EXPECT_EQ(1, set(file, 3));
  EXPECT_EQ(1, set(file, 5));
  ASSERT_TRUE(waitOutput("Breakpoint set in file count.lua line 5\n")) << output();
  stop();

  hostClearLog();
  ASSERT_EQ(1, start("count.lua"));
  ASSERT_TRUE(waitOutput("Breakpoint set in file count.lua line 5\n")) << output();
  EXPECT_EQ(1u, count(output(), "Breakpoint set in file count.lua line 3\n"));
  EXPECT_EQ(std::string::npos, output().find("setb")) << "no echo";

  // The line of the next stop that names a file, which must be the full path.
  auto stopLine = [&](int from) {
    int at = hostWaitFor(from, 1, "\\", 20000);
    return at >= 0 && !lstrcmpiA(hostEvent(at).text, file.c_str()) ? hostEvent(at).line : -1;
  };
  int from = hostEventCount();
  EXPECT_EQ(1, hostCall(s(), HS_RUN));
  EXPECT_EQ(3, stopLine(from));
  EXPECT_EQ(1, clear(file, 3));
  from = hostEventCount();
  EXPECT_EQ(1, hostCall(s(), HS_RUN));
  EXPECT_EQ(5, stopLine(from));
  EXPECT_EQ(1, hostCall(s(), HS_RUN));
  EXPECT_TRUE(waitOutput("total 6\n", from));
}
