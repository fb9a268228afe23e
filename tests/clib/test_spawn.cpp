// Pipes, streams and child processes, against a real console child.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "cError.hpp"
#include "cSpawn.hpp"

static std::mutex reportLock;
static std::vector<std::string> reports;

static void collectReport(const char* text) {
  std::lock_guard<std::mutex> hold(reportLock);
  reports.push_back(text);
}

static int reportsWith(const char* part) {
  std::lock_guard<std::mutex> hold(reportLock);
  int n = 0;
  for (const std::string& r : reports) n += r.find(part) != std::string::npos;
  return n;
}

static std::string tempDir() {
  char dir[MAX_PATH];
  return std::string(dir, GetTempPathA(sizeof dir, dir));
}

struct HookReports : ::testing::Environment {
  void SetUp() override {
    setLogPath((tempDir() + "test_spawn.log").c_str());
    setMessageHook(collectReport);
  }
};
static auto* env = ::testing::AddGlobalTestEnvironment(new HookReports);

static std::string childPath() {
  char path[MAX_PATH];
  std::string s(path, GetModuleFileNameA(0, path, sizeof path));
  return s.substr(0, s.rfind('\\') + 1) + "spawn_child.exe";
}

static std::string child(const std::string& args) { return "\"" + childPath() + "\" " + args; }

static bool append(const char* chunk, void* text) {
  *(std::string*)text += chunk;
  return false;
}

// Runs the child with output and error redirected; all it printed.
static std::string output(Spawn& s, const std::string& args) {
  s.redirect(false, true, true);
  EXPECT_TRUE(s.runCommand(child(args).c_str()));
  std::string text;
  EXPECT_TRUE(s.readLoop(append, &text, 0, Spawn::BUSY));
  EXPECT_TRUE(s.wait(10000));
  return text;
}

// The exit code of the object's child, seen through a handle of our own so
// it can be read after the object let the child go.
static HANDLE processOf(Spawn& s) {
  HANDLE h = 0, me = GetCurrentProcess();
  DuplicateHandle(me, s.processInfo().hProcess, me, &h, 0, FALSE, DUPLICATE_SAME_ACCESS);
  return h;
}
static DWORD endOf(HANDLE process) {
  DWORD code = 12345;
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(process, 10000));
  GetExitCodeProcess(process, &code);
  CloseHandle(process);
  return code;
}

TEST(Pipe, ReadsTerminatesCountsAndEnds) {
  Pipe p;
  char buf[16] = "x";
  EXPECT_EQ(0, p.read(buf, sizeof buf));
  ASSERT_TRUE(p.create());
  p.write("hello", 5);
  EXPECT_EQ(5, p.read(buf, sizeof buf));
  p.write("ab", 2);
  EXPECT_EQ(1, p.read(buf, 2));  // room for one byte and the terminator
  EXPECT_STREQ("a", buf);
  EXPECT_EQ(6u, p.bytesRead());
  int before = reportsWith("iSpawn.cpp");
  EXPECT_EQ(0, p.read(0, 4));
  EXPECT_EQ(before + 1, reportsWith("iSpawn.cpp"));
  p.closeWrite();
  EXPECT_EQ(1, p.read(buf, sizeof buf));  // what was written still comes
  EXPECT_EQ(0, p.read(buf, sizeof buf));
  EXPECT_TRUE(p.isClosed());
}

TEST(Stream, NulsBecomeBlanksWithOneWarningPerRead) {
  Pipe p;
  ASSERT_TRUE(p.create());
  Stream s(&p);
  const char* warning = "NULL to space binary fixup was applied!";
  int before = reportsWith(warning);
  p.write("a\0\0b", 4);
  EXPECT_EQ(4, s.fill());
  EXPECT_STREQ("a  b", s.data());
  p.write("c\0", 2);
  s.fill();
  p.write("plain", 5);
  s.fill();
  EXPECT_EQ(before + 2, reportsWith(warning));
}

TEST(Spawn, LastLineWithoutEndComesOnceOutputEnds) {
  Spawn s;
  s.setCaching(true);
  struct Seen { Spawn* s; std::vector<std::string> lines; bool final; } seen{&s, {}, false};
  auto take = [](const char*, void* user) {
    Seen* seen = (Seen*)user;
    String line;
    for (; seen->s->cache().getLine(line); seen->final = seen->s->cache().isFinal())
      seen->lines.push_back(line.text());
    return false;
  };
  s.redirect(false, false, true);
  ASSERT_TRUE(s.runCommand(child("print abc sleep 100").c_str()));
  EXPECT_TRUE(s.readLoop(take, &seen, 0, Spawn::SLEEP));
  EXPECT_EQ(std::vector<std::string>{"abc"}, seen.lines);
  EXPECT_TRUE(seen.final);
}

TEST(Spawn, SharedPipeLongCommandInputAndExitCode) {
  Spawn s;
  EXPECT_EQ("out\nerr\nmore\n", output(s, "print out\\n err err\\n print more\\n"));
  std::string x(300, 'x');
  EXPECT_EQ(x, output(s, "print " + x));
  std::string line = child("print " + x) + " ";
  EXPECT_EQ(line, s.command().text());
  EXPECT_EQ(line.substr(0, 260), s.commandBuffer());

  s.redirect(true, true, true);
  ASSERT_TRUE(s.runCommand(child("echo exit 4").c_str()));
  EXPECT_TRUE(s.write("hello\n"));
  auto answer = [](const char* chunk, void* user) {
    if (strstr(chunk, "hello\n")) ((Spawn*)user)->write("bye\n");
    return false;
  };
  EXPECT_TRUE(s.readLoop(answer, &s, 0, Spawn::BUSY));
  EXPECT_TRUE(s.wait(10000));
  EXPECT_EQ(4u, s.exitCode());
}

TEST(Spawn, DirectoryAndStandardHandlesRestored) {
  Spawn s;
  char here[MAX_PATH], there[MAX_PATH], now[MAX_PATH];
  GetCurrentDirectoryA(sizeof here, here);
  std::string dir = tempDir(), program = "\"" + childPath() + "\"";
  GetFullPathNameA(dir.c_str(), sizeof there, there, 0);
  const char* args[] = {program.c_str(), "cwd"};
  s.redirect(false, false, true);
  ASSERT_TRUE(s.run(2, args, dir.c_str()));
  std::string text;
  s.readLoop(append, &text, 0, Spawn::BUSY);
  EXPECT_EQ(0, _stricmp(std::string(there).substr(0, text.size()).c_str(), text.c_str()));
  GetCurrentDirectoryA(sizeof now, now);
  EXPECT_STREQ(here, now);
  EXPECT_FALSE(s.run(2, args, "C:\\no\\such\\folder"));

  auto handles = [] {
    return std::vector<HANDLE>{GetStdHandle(STD_INPUT_HANDLE), GetStdHandle(STD_OUTPUT_HANDLE),
                               GetStdHandle(STD_ERROR_HANDLE)};
  };
  std::vector<HANDLE> before = handles();
  Spawn t;
  t.redirect(true, true, true);
  ASSERT_TRUE(t.runCommand(child("exit 0").c_str()));
  EXPECT_EQ(before, handles());
  EXPECT_TRUE(t.wait(10000));
  EXPECT_FALSE(t.runCommand("no_such_program_here.exe"));
  EXPECT_EQ(before, handles());
  EXPECT_EQ((unsigned long)ERROR_FILE_NOT_FOUND, t.lastError());
  EXPECT_TRUE(t.isIdle());
  EXPECT_EQ(1, reportsWith("cSpawn: 'no_such_program_here.exe ' failed with '2' return code."));
}

TEST(Spawn, KillIdleRunningAndOnDestruction) {
  Spawn idle;
  EXPECT_TRUE(idle.kill(7));
  EXPECT_EQ(7u, idle.exitCode());
  EXPECT_TRUE(idle.stopped());

  struct Reader { Spawn s; HANDLE done; bool result; } r;
  r.done = CreateEventA(0, TRUE, FALSE, 0);
  r.s.redirect(true, true, true);
  ASSERT_TRUE(r.s.runCommand(child("ignore").c_str()));
  HANDLE process = processOf(r.s);
  auto body = [](void* p) {
    Reader* r = (Reader*)p;
    r->result = r->s.readLoop(0, 0, 0, Spawn::SLEEP);
    SetEvent(r->done);
  };
  ASSERT_TRUE(startThread(body, &r));
  Sleep(100);
  EXPECT_TRUE(r.s.kill(5));  // from here, while the reader thread waits
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(r.done, 10000));
  EXPECT_TRUE(r.result && r.s.isIdle());
  EXPECT_EQ(5u, endOf(process));
  CloseHandle(r.done);

  Spawn* s = new Spawn;
  s->redirect(false, false, true);
  ASSERT_TRUE(s->runCommand(child("ignore").c_str()));
  process = processOf(*s);
  delete s;
  EXPECT_EQ(99u, endOf(process));
}

TEST(Spawn, WaitHonoursItsLimitAndQuit) {
  Spawn s;
  ASSERT_TRUE(s.runCommand(child("sleep 20000").c_str()));
  EXPECT_FALSE(s.runCommand(child("exit 0").c_str()));  // one child at a time
  DWORD start = GetTickCount();
  EXPECT_FALSE(s.wait(300));
  DWORD spent = GetTickCount() - start;
  EXPECT_TRUE(spent >= 300u && spent < 5000u) << spent;
  PostQuitMessage(0);
  EXPECT_FALSE(s.wait(0));
  MSG msg;
  EXPECT_TRUE(PeekMessageA(&msg, 0, WM_QUIT, WM_QUIT, PM_REMOVE));  // left queued
  s.kill(1);
  EXPECT_TRUE(s.wait(0));
}

TEST(Spawn, ReadLoopModesCallbacksAndOutputSeen) {
  Spawn s;
  std::string events;
  EXPECT_FALSE(s.readLoop(append, &events, 0, Spawn::NO_LOOP));
  auto idle = [](const char* t, void* e) { *(std::string*)e += *t ? "?" : "I"; return false; };
  auto chunk = [](const char*, void* e) { *(std::string*)e += "C"; return false; };
  s.redirect(false, false, true);
  std::string pieces;
  for (int i = 0; i < 12; i++) pieces += "print " + std::to_string(i % 10) + " sleep 40 ";
  ASSERT_TRUE(s.runCommand(child(pieces).c_str()));
  EXPECT_TRUE(s.readLoop(chunk, &events, idle, Spawn::BUSY));
  int passes = 0, idles = 0;  // one idle call before passes 0, 5, 10...
  for (char e : events)
    if (e == 'C') passes++;
    else EXPECT_EQ(passes, 5 * idles++) << events;
  EXPECT_EQ(passes / 5 + 1, idles) << events;
  EXPECT_GE(passes, 5) << events;
  EXPECT_TRUE(s.outputSeen());
  EXPECT_TRUE(s.wait(10000));

  EXPECT_EQ(" ", output(s, "print \" \""));
  EXPECT_FALSE(s.outputSeen());  // a lone blank is not output
  ASSERT_TRUE(s.runCommand(child("print x ignore").c_str()));
  EXPECT_FALSE(s.readLoop([](const char*, void*) { return true; }, 0, 0, Spawn::BUSY));
  s.kill(1);
}

TEST(Spawn, ShellFromComspec) {
  char saved[MAX_PATH] = "";
  GetEnvironmentVariableA("COMSPEC", saved, sizeof saved);
  struct { const char* name; const char* tail; unsigned code; } cases[] = {
      {"cmd.exe", " /k ", 2},  // the child ends with 2 on the word "/k"
      {"CMD.EXE", " ", 0},
      {"shell.exe", " ", 0}};
  std::string dir = tempDir() + "spawn_shell\\";
  CreateDirectoryA(dir.c_str(), 0);
  for (auto& c : cases) {
    std::string path = dir + c.name;
    ASSERT_TRUE(CopyFileA(childPath().c_str(), path.c_str(), FALSE));
    SetEnvironmentVariableA("COMSPEC", path.c_str());
    Spawn s;
    s.redirect(false, true, true);
    ASSERT_TRUE(s.shell());  // a shell never gets redirected output
    EXPECT_FALSE(s.redirectsOutput());
    EXPECT_EQ(path + c.tail, s.command().text());
    EXPECT_TRUE(s.wait(10000));
    EXPECT_EQ(c.code, s.exitCode()) << c.name;
    DeleteFileA(path.c_str());
  }
  SetEnvironmentVariableA("COMSPEC", 0);
  String program;
  shellProgram(program);
  EXPECT_STREQ("cmd.exe", program.text());
  SetEnvironmentVariableA("COMSPEC", saved);
}

TEST(Spawn, ThroughShellAndToFile) {
  SpawnEx s;
  s.redirect(false, true, true);
  ASSERT_TRUE(s.execute("echo hi"));
  std::string text;
  s.readLoop(append, &text, 0, Spawn::BUSY);
  EXPECT_EQ("hi \r\n", text);  // run ends every command with a blank
  String c("dir  \\\\host\\my share /b");
  EXPECT_TRUE(SpawnEx::quoteNetworkDir(c));
  EXPECT_STREQ("dir  \"\\\\host\\my share\" /b", c.text());
  for (const char* same : {"dir c:\\x", "DIR \\\\h\\s", "dir \"\\\\h\\s\""}) {
    String t(same);
    EXPECT_FALSE(SpawnEx::quoteNetworkDir(t)) << same;
  }

  SpawnToFile f;  // output and error, without input
  std::string path = tempDir() + "spawn_capture.txt";
  ASSERT_TRUE(f.capture(child("print a\\n err b\\n echo print c").c_str(), path.c_str()));
  std::ifstream in(path, std::ios::binary);
  EXPECT_EQ("a\nb\nc", std::string(std::istreambuf_iterator<char>(in), {}));
  in.close();
  DeleteFileA(path.c_str());
}

TEST(Pump, HandlesAtMostTenAndLeavesKeysQueued) {
  MSG msg;
  PeekMessageA(&msg, 0, 0, 0, PM_NOREMOVE);  // makes the queue
  DWORD me = GetCurrentThreadId();
  PostThreadMessageA(me, WM_CHAR, 'k', 0);
  for (int i = 0; i < 12; i++) PostThreadMessageA(me, WM_USER, i, 0);
  EXPECT_FALSE(pump());
  EXPECT_TRUE(PeekMessageA(&msg, 0, WM_USER, WM_USER, PM_NOREMOVE));
  EXPECT_FALSE(pump());
  EXPECT_FALSE(PeekMessageA(&msg, 0, WM_USER, WM_USER, PM_NOREMOVE));
  EXPECT_TRUE(PeekMessageA(&msg, 0, WM_CHAR, WM_CHAR, PM_REMOVE));
}

TEST(Semaphore, TriesOnceOrTwiceAndNamesOwner) {
  Semaphore sem;
  EXPECT_TRUE(sem.acquire("first", 0));
  EXPECT_FALSE(sem.acquire("second", 20));
  auto later = [](void* s) { Sleep(50); ((Semaphore*)s)->release(); };
  ASSERT_TRUE(startThread(later, &sem));
  EXPECT_TRUE(sem.acquire("second", 400));  // the second try finds it free
  EXPECT_STREQ("second", sem.owner());
  sem.release();
  {
    Lock held(sem);
    EXPECT_STREQ("Create Window", sem.owner());
  }
  EXPECT_STREQ("None", sem.owner());
  Lock lazy("painter");  // takes the process-wide one, only when asked
  EXPECT_TRUE(!lazy.held() && lazy.acquire(0));
  EXPECT_STREQ("painter", Lock::processWide().owner());
}
