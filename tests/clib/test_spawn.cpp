// Streams and child processes, against a real console child.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cSpawn.hpp"
#include "reports.hpp"
#include "run_folder.hpp"

static std::string tempDir() {
  char dir[MAX_PATH];
  return std::string(dir, GetTempPathA(sizeof dir, dir));
}

static Reports reports((tempDir() + "test_spawn.log").c_str());

static std::string childPath() { return runFolder() + "\\spawn_child.exe"; }

static std::string child(const std::string& args) { return "\"" + childPath() + "\" " + args; }

TEST(Spawn, NulsBecomeBlanksWithOneWarningNotOnePerNul) {
  Pipe p;
  ASSERT_TRUE(p.create());
  Stream s(&p);
  const char* warning = "NULL to space binary fixup was applied!";
  int before = reports.with(warning);
  p.write("a\0\0b", 4);
  EXPECT_EQ(4, s.fill());
  EXPECT_STREQ("a  b", s.data());
  p.write("plain", 5);
  s.fill();
  EXPECT_EQ(before + 1, reports.with(warning));
}

// Output and error share one pipe; with the cache on, a last line without
// an end comes, final, once the output ends.
TEST(Spawn, SharedPipeLastLineAndLongCommand) {
  Spawn s;
  s.setCaching(true);
  struct Seen { Spawn* s; std::string text; bool final; } seen;
  auto take = [](const char*, void* user) {
    Seen* seen = (Seen*)user;
    String line;
    for (; seen->s->cache().getLine(line); seen->final = seen->s->cache().isFinal())
      seen->text += line.text();
    return false;
  };
  std::string x(300, 'x');
  const struct { std::string args, out; } rows[] = {
      {"print out\\n err err\\n print more\\n", "out\nerr\nmore\n"}, {"print " + x + " sleep 100", x}};
  for (auto& r : rows) {
    seen = {&s, "", false};
    s.redirect(false, true, true);
    ASSERT_TRUE(s.runCommand(child(r.args).c_str()));
    EXPECT_TRUE(s.readLoop(take, &seen, 0, Spawn::SLEEP));
    EXPECT_TRUE(s.wait(10000));
    EXPECT_EQ(r.out, seen.text);
  }
  EXPECT_TRUE(seen.final);
  std::string line = child(rows[1].args) + " ";
  EXPECT_EQ(line, s.command().text());
  EXPECT_EQ(line.substr(0, 260), s.commandBuffer());
}

// The process's standard handles are its own again after a start, failed or not.
TEST(Spawn, StartKillAndWait) {
  Spawn idle;
  EXPECT_TRUE(idle.kill(7));
  EXPECT_EQ(7u, idle.exitCode());
  EXPECT_TRUE(idle.stopped());

  auto handles = [] {
    return std::vector<HANDLE>{GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE),
                               GetStdHandle(STD_ERROR_HANDLE)};
  };
  std::vector<HANDLE> before = handles();
  struct Reader { Spawn s; HANDLE done; bool result; } r;
  r.done = CreateEventA(0, TRUE, FALSE, 0);
  r.s.redirect(true, true, true);
  EXPECT_FALSE(r.s.runCommand("no_such_program_here.exe"));
  EXPECT_EQ(before, handles());
  EXPECT_EQ((unsigned long)ERROR_FILE_NOT_FOUND, r.s.lastError());
  EXPECT_TRUE(r.s.isIdle());
  EXPECT_EQ(1, reports.with("cSpawn: 'no_such_program_here.exe ' failed with '2' return code."));
  ASSERT_TRUE(r.s.runCommand(child("ignore").c_str()));
  EXPECT_EQ(before, handles());
  auto body = [](void* p) {
    Reader* r = (Reader*)p;
    r->result = r->s.readLoop(0, 0, 0, Spawn::SLEEP);
    SetEvent(r->done);
  };
  ASSERT_TRUE(startThread(body, &r));
  DWORD start = GetTickCount();
  EXPECT_FALSE(r.s.wait(300));
  DWORD spent = GetTickCount() - start;
  EXPECT_TRUE(spent >= 300u && spent < 5000u) << spent;
  HANDLE read = r.s.outputPipe().readHandle();
  EXPECT_TRUE(r.s.kill(5));  // from here, while the reader thread waits
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(r.done, 10000));
  EXPECT_TRUE(r.result && r.s.isIdle());
  CloseHandle(r.done);

  // kill takes the read end from the reader without closing it under its
  // read; the pipe closes it, once, when it goes.
  DWORD flags;
  EXPECT_EQ(nullptr, r.s.outputPipe().readHandle());
  EXPECT_TRUE(GetHandleInformation(read, &flags));
  Pipe other;
  other.take(r.s.outputPipe());
  other.close();
  EXPECT_FALSE(GetHandleInformation(read, &flags));
}

// The shell is COMSPEC, kept open with /k when it is cmd.exe.
TEST(Spawn, ShellFromComspec) {
  char saved[MAX_PATH] = "";
  GetEnvironmentVariableA("COMSPEC", saved, sizeof saved);
  std::string dir = tempDir() + "spawn_shell\\", path = dir + "cmd.exe";
  CreateDirectoryA(dir.c_str(), 0);
  ASSERT_TRUE(CopyFileA(childPath().c_str(), path.c_str(), FALSE));
  SetEnvironmentVariableA("COMSPEC", path.c_str());
  Spawn s;
  ASSERT_TRUE(s.shell());
  EXPECT_EQ(path + " /k ", s.command().text());
  EXPECT_TRUE(s.wait(10000));
  EXPECT_EQ(2u, s.exitCode());  // the child ends with 2 on the word "/k"
  DeleteFileA(path.c_str());
  SetEnvironmentVariableA("COMSPEC", saved);
}
