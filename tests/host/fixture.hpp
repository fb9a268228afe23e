// What the plug-in tests share: each test loads its own copy of the DLL,
// named after the test, so its settings and its workspace's breakpoints are
// its own; it starts the stand-in or the real debugger in programs/ and
// reads the callback log as text.
#pragma once
#include <windows.h>
#include <shlobj.h>

#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "host.h"
#include "run_folder.hpp"

static const std::string runDir = runFolder(), programs = runDir + "\\programs";
static const char prompt[] = "[DEBUG]> ", serve[] = "prompt\nserve\n";

inline std::string tarn() {
  char folder[MAX_PATH] = "";
  SHGetSpecialFolderPathA(nullptr, folder, CSIDL_APPDATA, FALSE);
  return std::string(folder) + "\\Brennick\\Tarn\\";
}

inline std::string lower(std::string s) { return CharLowerA(&s[0]), s; }

inline size_t count(const std::string& text, const std::string& part) {
  size_t n = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
  return n;
}

inline ::testing::AssertionResult has(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "no \"" << part << "\" in \"" << text << "\"";
}

class Plugin : public ::testing::Test {
 protected:
  void SetUp() override {
    const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
    name = std::string(t->test_suite_name()) + "_" + t->name();
    CreateDirectoryA((runDir + "\\plugins").c_str(), nullptr);
    dll = runDir + "\\plugins\\" + name + ".dll";
    ini = tarn() + name + ".ini";
    workspace = name + "-ws";
    wsIni = tarn() + workspace + ".ini";
    for (auto f : {&ini, &wsIni}) DeleteFileA(f->c_str());
    ASSERT_TRUE(CopyFileA((runDir + "\\SorbLua.dll").c_str(), dll.c_str(), FALSE));
    hostClearLog();
    load();
  }
  void TearDown() override {
    if (ctx) p.DebugStopDebugging(ctx);
    hostCallbackHook = nullptr;
    hostUnload(&p);
    SetCurrentDirectoryA(runDir.c_str());
    for (auto f : {&dll, &ini, &wsIni}) DeleteFileA(f->c_str());
    hostClearLog();
  }
  // Loads again, with a setting in the plug-in's profile, read as it loads.
  void load(const char* section = nullptr, const char* key = nullptr, const char* value = nullptr) {
    char error[300];
    if (section) hostUnload(&p), WritePrivateProfileStringA(section, key, value, ini.c_str());
    ASSERT_TRUE(hostLoad(&p, dll.c_str(), error, sizeof error)) << error;
  }
  int startWith(const std::string& debugger, const std::string& options, const std::string& script,
                const char* file = "", const std::string& dir = programs) {
    hostExecInfo(&info, debugger.c_str(), options.c_str(), script.c_str(), file, dir.c_str());
    strcpy(info.workspace, workspace.c_str());
    return p.DebugStartDebugging(&ctx, &info);
  }
  // The stand-in (the tests' child program) on its script, one step a line.
  int startFake(const std::string& steps, const char* file = "") {
    std::string script = runDir + "\\plugins\\" + name + ".txt";
    std::ofstream(script) << steps;
    return startWith(runDir + "\\spawn_child.exe", "-s " + script, "prog.lua", file);
  }
  int startReal(const std::string& program, const char* file = "", const std::string& dir = programs) {
    return startWith(runDir + "\\SorbLua.exe", "", program, file, dir);
  }
  void stop() { EXPECT_EQ(1, p.DebugStopDebugging(ctx)); ctx = nullptr; }
  void* session() { return p.DebugGetDebugger(); }
  // Waits for the debugger to end by itself and the reader to clear busy.
  virtual bool live() { return hostCallBool(session(), HS_IS_RUNNING) || hostCallBool(session(), HS_IS_BUSY); }
  bool ended(DWORD ms = 5000) {
    for (DWORD start = GetTickCount(); live() && GetTickCount() - start < ms;) hostPump(10);
    return !live();
  }

  // The joined kind-0 text from event from on.
  std::string output(int from = 0) {
    char* text = hostOutputText(from);
    std::string s = text;
    free(text);
    return s;
  }
  bool waitOutput(const std::string& part, int from = 0, DWORD ms = 20000) {
    return hostWaitForOutput(from, part.c_str(), ms) != 0;
  }
  // Everything the debugger printed before now has been read and reported:
  // a command sent without echo, and its answer (until) waited for.
  void sync(const char* until = prompt) {
    int from = hostEventCount();
    ASSERT_EQ(1, hostCallTextByte(session(), HS_SEND_COMMAND, "listw", 0));
    ASSERT_TRUE(waitOutput(until, from));
  }
  // The stand-in's process, from the "pid N" line its script printed.
  HANDLE child(int from = 0, DWORD access = SYNCHRONIZE | PROCESS_QUERY_INFORMATION) {
    std::string text = output(from);
    size_t at = text.find("pid ");
    return OpenProcess(access, FALSE, at == text.npos ? 0 : strtoul(&text[at + 4], nullptr, 10));
  }
  static DWORD exitCode(HANDLE process) {
    DWORD code = 0;
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 5000));
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    return code;
  }

  HostPlugin p{};
  HostExecInfo info;
  void* ctx = nullptr;
  std::string name, dll, ini, workspace, wsIni;
};
