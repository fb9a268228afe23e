// The agent's transcripts on Windows: SorbLua.exe runs each case's program
// with the case's command lines on its standard input, and the whole output
// is compared. The cases and their checks are Lua (transcripts.lua, which
// also runs the native agent cases of tests/agent); this program gives them
// an interpreter and a way to start the debugger.
#include <windows.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

extern "C" {
#include "lauxlib.h"
#include "lua.h"
#include "lualib.h"
}

namespace {

std::string here() {
  char p[MAX_PATH];
  std::string s(p, GetModuleFileNameA(nullptr, p, MAX_PATH));
  return s.substr(0, s.find_last_of('\\'));
}

const std::string runDir = here();

struct Job {
  std::string args, input, os, path, dir;  // dir: the working directory
  std::string output;
  DWORD code = 0;
  bool timedOut = false;
};

// The environment of this process with OS and LUA_PATH replaced.
std::string environment(const Job& job) {
  std::string block;
  char* all = GetEnvironmentStringsA();
  for (const char* e = all; *e; e += strlen(e) + 1)
    if (_strnicmp(e, "OS=", 3) && _strnicmp(e, "LUA_PATH=", 9)) block.append(e, strlen(e) + 1);
  FreeEnvironmentStringsA(all);
  block.append("OS=" + job.os + '\0');
  if (!job.path.empty()) block.append("LUA_PATH=" + job.path + '\0');
  return block + '\0';
}

// Runs SorbLua.exe with all input written at once, as from a file, and
// reads standard output and error together to the end.
void run(Job& job) {
  SECURITY_ATTRIBUTES sa{sizeof sa, nullptr, TRUE};
  HANDLE in, out, childIn, childOut;
  CreatePipe(&childIn, &in, &sa, 1 << 16);
  CreatePipe(&out, &childOut, &sa, 0);
  SetHandleInformation(in, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(out, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOA si{};
  si.cb = sizeof si;
  si.dwFlags = STARTF_USESTDHANDLES;
  si.hStdInput = childIn;
  si.hStdOutput = si.hStdError = childOut;
  PROCESS_INFORMATION pi{};
  std::string command = "\"" + runDir + "\\SorbLua.exe\" " + job.args, env = environment(job);
  BOOL started = CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                &env[0], job.dir.c_str(), &si, &pi);
  CloseHandle(childIn);
  CloseHandle(childOut);
  if (!started) {
    job.output = "cannot start " + command;
    job.code = GetLastError();
    CloseHandle(in);
    CloseHandle(out);
    return;
  }
  DWORD n;
  WriteFile(in, job.input.data(), job.input.size(), &n, nullptr);
  CloseHandle(in);
  // A case that hangs is killed, and then the pipe ends too.
  std::thread watchdog([&] {
    if (WaitForSingleObject(pi.hProcess, 30000) == WAIT_TIMEOUT) {
      job.timedOut = true;
      TerminateProcess(pi.hProcess, 99);
    }
  });
  char buffer[4096];
  while (ReadFile(out, buffer, sizeof buffer, &n, nullptr) && n > 0) job.output.append(buffer, n);
  watchdog.join();
  GetExitCodeProcess(pi.hProcess, &job.code);
  CloseHandle(out);
  CloseHandle(pi.hProcess);
  CloseHandle(pi.hThread);
}

std::string field(lua_State* L, int table, const char* name) {
  lua_getfield(L, table, name);
  std::string s = lua_isstring(L, -1) ? lua_tostring(L, -1) : "";
  lua_pop(L, 1);
  return s;
}

// run(jobs): each job {args, input, os, path, dir} gets output and code.
// A few at a time: most of a case's time is the process start.
int luaRun(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  std::vector<Job> jobs(lua_objlen(L, 1));
  for (size_t i = 0; i < jobs.size(); i++) {
    lua_rawgeti(L, 1, i + 1);
    int t = lua_gettop(L);
    jobs[i].args = field(L, t, "args");
    jobs[i].input = field(L, t, "input");
    jobs[i].os = field(L, t, "os");
    jobs[i].path = field(L, t, "path");
    jobs[i].dir = field(L, t, "dir");
    lua_pop(L, 1);
  }
  std::atomic<size_t> next{0};
  std::vector<std::thread> workers;
  for (int w = 0; w < 4; w++)
    workers.emplace_back([&] {
      for (size_t i; (i = next++) < jobs.size();) run(jobs[i]);
    });
  for (auto& w : workers) w.join();
  for (size_t i = 0; i < jobs.size(); i++) {
    lua_rawgeti(L, 1, i + 1);
    lua_pushlstring(L, jobs[i].output.data(), jobs[i].output.size());
    lua_setfield(L, -2, "output");
    lua_pushnumber(L, jobs[i].timedOut ? -1 : (lua_Number)jobs[i].code);
    lua_setfield(L, -2, "code");
    lua_pop(L, 1);
  }
  return 0;
}

int luaMkdir(lua_State* L) {
  CreateDirectoryA(luaL_checkstring(L, 1), nullptr);
  return 0;
}

// Runs one suite of transcripts.lua; every failed check is a failure here.
void suite(const char* name, int atLeast) {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  std::string driver = runDir + "\\transcripts.lua", dir = runDir;
  for (char& c : dir)
    if (c == '\\') c = '/';
  ASSERT_EQ(0, luaL_loadfile(L, driver.c_str())) << lua_tostring(L, -1);
  lua_newtable(L);
  lua_pushcfunction(L, luaRun);
  lua_setfield(L, -2, "run");
  lua_pushcfunction(L, luaMkdir);
  lua_setfield(L, -2, "mkdir");
  lua_pushstring(L, dir.c_str());
  lua_setfield(L, -2, "dir");
  ASSERT_EQ(0, lua_pcall(L, 1, 1, 0)) << lua_tostring(L, -1);
  lua_getfield(L, -1, name);
  ASSERT_EQ(0, lua_pcall(L, 0, 2, 0)) << lua_tostring(L, -1);
  int checked = (int)lua_tonumber(L, -1);
  for (size_t i = 1; i <= lua_objlen(L, -2); i++) {
    lua_rawgeti(L, -2, i);
    ADD_FAILURE() << lua_tostring(L, -1);
    lua_pop(L, 1);
  }
  EXPECT_LE(atLeast, checked) << "cases went missing";
  lua_close(L);
}

}  // namespace

// The native agent cases, as far as they do not depend on the native
// interpreter's own behaviour.
TEST(Transcripts, SharedCases) { suite("shared", 25); }

// File names as Windows has them, and SorbLua.exe's own stacks and ends.
TEST(Transcripts, WindowsCases) { suite("windows", 15); }
