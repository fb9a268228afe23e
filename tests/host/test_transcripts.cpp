// The agent's Windows transcripts: SorbLua.exe runs each case's program with
// the case's command lines on its standard input, and the whole output is
// compared. The cases and their checks are Lua (transcripts.lua); this
// program gives them an interpreter and a way to start the debugger.
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
  std::string args, input, dir, output;  // dir: the working directory
  DWORD code = 0;
};

// Runs SorbLua.exe with all input written at once, as from a file, and
// reads standard output and error together to the end; -1 when it hung.
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
  std::string command = "\"" + runDir + "\\SorbLua.exe\" " + job.args;
  BOOL started = CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                nullptr, job.dir.c_str(), &si, &pi);
  CloseHandle(childIn);
  CloseHandle(childOut);
  DWORD n;
  if (started) WriteFile(in, job.input.data(), job.input.size(), &n, nullptr);
  CloseHandle(in);
  if (!started) {
    job.output = "cannot start " + command;
    CloseHandle(out);
    return;
  }
  bool timedOut = false;
  std::thread watchdog([&] {
    if (WaitForSingleObject(pi.hProcess, 30000) == WAIT_TIMEOUT) {
      timedOut = true;
      TerminateProcess(pi.hProcess, 99);
    }
  });
  char buffer[4096];
  while (ReadFile(out, buffer, sizeof buffer, &n, nullptr) && n > 0) job.output.append(buffer, n);
  watchdog.join();
  GetExitCodeProcess(pi.hProcess, &job.code);
  if (timedOut) job.code = (DWORD)-1;
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

// run(jobs): each job {args, input, dir} gets output and code. A few at a
// time: most of a case's time is the process start.
int luaRun(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  std::vector<Job> jobs(lua_objlen(L, 1));
  for (size_t i = 0; i < jobs.size(); i++) {
    lua_rawgeti(L, 1, i + 1);
    jobs[i].args = field(L, -1, "args");
    jobs[i].input = field(L, -1, "input");
    jobs[i].dir = field(L, -1, "dir");
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
    lua_pushnumber(L, (int)jobs[i].code);
    lua_setfield(L, -2, "code");
    lua_pop(L, 1);
  }
  return 0;
}

int luaMkdir(lua_State* L) {
  CreateDirectoryA(luaL_checkstring(L, 1), nullptr);
  return 0;
}

}  // namespace

TEST(Transcripts, WindowsCases) {
  SetEnvironmentVariableA("OS", "Windows_NT");  // the agent lower-cases names under it
  SetEnvironmentVariableA("LUA_PATH", nullptr);
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  std::string dir = runDir;
  for (char& c : dir)
    if (c == '\\') c = '/';
  ASSERT_EQ(0, luaL_loadfile(L, (runDir + "\\transcripts.lua").c_str())) << lua_tostring(L, -1);
  lua_newtable(L);
  lua_pushcfunction(L, luaRun);
  lua_setfield(L, -2, "run");
  lua_pushcfunction(L, luaMkdir);
  lua_setfield(L, -2, "mkdir");
  lua_pushstring(L, dir.c_str());
  lua_setfield(L, -2, "dir");
  ASSERT_EQ(0, lua_pcall(L, 1, 2, 0)) << lua_tostring(L, -1);
  for (size_t i = 1; i <= lua_objlen(L, -2); i++) {
    lua_rawgeti(L, -2, i);
    ADD_FAILURE() << lua_tostring(L, -1);
    lua_pop(L, 1);
  }
  EXPECT_LE(15, (int)lua_tonumber(L, -1)) << "cases went missing";
  lua_close(L);
}
