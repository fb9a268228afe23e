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

#include "debugger_pipes.hpp"

extern "C" {
#include "lauxlib.h"
#include "lua.h"
#include "lualib.h"
}

namespace {

const std::string runDir = runFolder();

// run(jobs): each job {args, input, dir} gets output and code. A few at a
// time: most of a case's time is the process start.
int luaRun(lua_State* L) {
  struct Job { std::string args, input, dir, output; DWORD code; };
  std::vector<Job> jobs(lua_objlen(L, 1));
  for (size_t i = 0; i < jobs.size(); i++) {
    lua_rawgeti(L, 1, i + 1);
    for (const char* f : {"args", "input", "dir"}) lua_getfield(L, 2, f);
    jobs[i] = {lua_tostring(L, 3), lua_tostring(L, 4), lua_tostring(L, 5)};
    lua_settop(L, 1);
  }
  std::atomic<size_t> next{0};
  std::vector<std::thread> workers;
  for (int w = 0; w < 4; w++)
    workers.emplace_back([&] {
      for (size_t i; (i = next++) < jobs.size();) {
        // All input written at once, as from a file; output and error read together.
        DebuggerPipes child(runDir + "\\SorbLua.exe", jobs[i].args, jobs[i].dir);
        child.write(jobs[i].input);
        jobs[i].output = child.finish(&jobs[i].code);
      }
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

}  // namespace

TEST(Transcripts, WindowsCases) {
  SetEnvironmentVariableA("OS", "Windows_NT");  // the agent lower-cases names under it
  SetEnvironmentVariableA("LUA_PATH", nullptr);
  CreateDirectoryA("C:\\work", nullptr);
  CreateDirectoryA("C:\\work\\lib", nullptr);
  ASSERT_TRUE(CopyFileA((runDir + "\\programs\\winlib.lua").c_str(), "C:\\work\\winlib.lua", FALSE));
  ASSERT_TRUE(CopyFileA((runDir + "\\programs\\lib\\util.lua").c_str(), "C:\\work\\lib\\util.lua", FALSE));
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  std::string dir = runDir;
  for (char& c : dir)
    if (c == '\\') c = '/';
  ASSERT_EQ(0, luaL_loadfile(L, (runDir + "\\transcripts.lua").c_str())) << lua_tostring(L, -1);
  lua_newtable(L);
  lua_pushcfunction(L, luaRun);
  lua_setfield(L, -2, "run");
  lua_pushstring(L, dir.c_str());
  lua_setfield(L, -2, "dir");
  ASSERT_EQ(0, lua_pcall(L, 1, 2, 0)) << lua_tostring(L, -1);
  for (size_t i = 1; i <= lua_objlen(L, -2); i++) {
    lua_rawgeti(L, -2, i);
    ADD_FAILURE() << lua_tostring(L, -1);
    lua_pop(L, 1);
  }
  EXPECT_EQ(8, (int)lua_tonumber(L, -1)) << "cases went missing";
  lua_close(L);
}
