// Crash reports from a real crashing child, and the assertion dialog driven
// as a user would from a second thread.
#include "cCrash.hpp"
#include "cError.hpp"

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace {

const char separator[] =
    "\n//=======================================================================\n";

std::string besideMe(const char* name) {
  char path[MAX_PATH];
  std::string s(path, GetModuleFileNameA(0, path, sizeof path));
  return s.substr(0, s.find_last_of('\\') + 1) + name;
}

const std::string child = besideMe("crash_child.exe");
const std::string logFile = besideMe("crash_child.log");
const std::string dumpFile = besideMe("crash_child.dmp");

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}
bool has(const std::string& text, const std::string& what) {
  return text.find(what) != std::string::npos;
}

// Runs the child and returns its exit code (the exception code on a crash).
DWORD run(const char* mode) {
  std::string cmd = "\"" + child + "\" " + mode;
  STARTUPINFOA si = {sizeof si};
  PROCESS_INFORMATION pi = {};
  DWORD code = 0;
  if (!CreateProcessA(0, &cmd[0], 0, 0, FALSE, 0, 0, 0, &si, &pi)) return 0;
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pi.hProcess, 60000)) << mode;
  TerminateProcess(pi.hProcess, 1);  // in case it hangs
  GetExitCodeProcess(pi.hProcess, &code);
  CloseHandle(pi.hThread);
  CloseHandle(pi.hProcess);
  return code;
}

class CrashChild : public ::testing::Test {
 protected:
  void SetUp() override { clean(); }
  void TearDown() override { clean(); }
  void clean() {
    DeleteFileA(logFile.c_str());
    RemoveDirectoryA(dumpFile.c_str());
    DeleteFileA(dumpFile.c_str());
  }
};

TEST_F(CrashChild, AccessViolationWritesReportAndDump) {
  EXPECT_EQ(EXCEPTION_ACCESS_VIOLATION, run("av"));
  std::string log = readFile(logFile);
  ASSERT_EQ(0u, log.find(separator)) << logFile;
  EXPECT_EQ(1u, count(log, separator)) << "one crash, one report";
  EXPECT_TRUE(has(log, "Exception code: C0000005 Access Violation\nDate: "));
  EXPECT_TRUE(has(log, "\n  \n\nRegisters:\nEAX:"));
  EXPECT_TRUE(has(log, "\nStack Trace:\n"));
  std::string eip = log.substr(log.find("CS:EIP:") + 12, 8);
  EXPECT_EQ(eip, log.substr(log.find("Fault address: ") + 15, 8));
  // The fault is inside crashChildFault; the child's map file names it.
  for (char& c : eip) c = (char)tolower(c);
  EXPECT_TRUE(has(log, "\nMapping Stack Trace:\n" + eip + ": crashChildFault + 0x")) << log;
  const std::string done = "Mini dump file successfully generated.\n";
  EXPECT_EQ(log.size() - done.size(), log.rfind(done)) << log;
  EXPECT_EQ("MDMP", readFile(dumpFile).substr(0, 4));

  run("av");  // the report file grows
  EXPECT_EQ(separator, readFile(logFile).substr(log.size()).substr(0, sizeof separator - 1));
}

TEST_F(CrashChild, FilterAloneReportsOtherCodesBreakpointNothing) {
  EXPECT_EQ(EXCEPTION_BREAKPOINT, run("bp"));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(logFile.c_str()));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(dumpFile.c_str()));
  EXPECT_EQ(EXCEPTION_INT_DIVIDE_BY_ZERO, run("div"));
  EXPECT_EQ(1u, count(readFile(logFile), "Exception code: C0000094 Int Divide By Zero\n"));
  EXPECT_EQ("MDMP", readFile(dumpFile).substr(0, 4));
}

TEST_F(CrashChild, DeepStackEndsTraceWhenFull) {
  EXPECT_EQ(EXCEPTION_ACCESS_VIOLATION, run("deep"));
  std::string log = readFile(logFile);
  EXPECT_EQ(1u, count(log, "No more room for tracing.\nMini dump file successfully generated.\n"));
  EXPECT_LE(log.size(), 8192u + 200u);
}

TEST_F(CrashChild, UnwritableDumpIsReported) {
  ASSERT_TRUE(CreateDirectoryA(dumpFile.c_str(), 0));  // blocks the dump file
  EXPECT_EQ(EXCEPTION_ACCESS_VIOLATION, run("av"));
  EXPECT_TRUE(has(readFile(logFile), "Error opening file: " + dumpFile +
                                         "\n*** Unexpected error creating mini dump file.\n"));
}

// Finds a message box by caption, reads its text, presses a button.
struct User {
  std::string text;
  bool found = false;
  bool busyAnswer = true;
  void answer(const char* caption, int button, bool tryNested = false) {
    for (int i = 0; i < 500 && !found; ++i) {
      HWND box = FindWindowA(0, caption);
      if (!box) {
        Sleep(20);
        continue;
      }
      found = true;
      char buf[1024] = "";
      GetDlgItemTextA(box, 0xFFFF, buf, sizeof buf);
      text = buf;
      if (tryNested) busyAnswer = assertDialog("nested.cpp", 1);
      SendMessageA(GetDlgItem(box, button), BM_CLICK, 0, 0);
    }
  }
};

TEST(AssertDialog, YesBreaksNoDoesNot) {
  // Message boxes need a display (the test script provides a virtual one).
  HWND probe = CreateWindowA("STATIC", "", 0, 0, 0, 1, 1, 0, 0, 0, 0);
  if (!probe) GTEST_SKIP() << "no display for message boxes";
  DestroyWindow(probe);

  User user;
  std::thread yes([&] { user.answer("Assertion Failed", IDYES, true); });
  EXPECT_TRUE(assertDialog("file.cpp", 12));
  yes.join();
  ASSERT_TRUE(user.found);
  EXPECT_EQ("ASSERT: File file.cpp, Line 12\nDo you wish to attempt to break "
            "into the debugger?",
            user.text);
  EXPECT_FALSE(user.busyAnswer) << "a second dialog while one is up";

  User no;
  std::thread t([&] { no.answer("Assertion Failed", IDNO); });
  // A pending quit must neither end the box nor get lost.
  PostQuitMessage(7);
  EXPECT_FALSE(assertDialog("file.cpp", 13));
  t.join();
  EXPECT_TRUE(no.found) << "the quit message ended the dialog";
  MSG msg;
  ASSERT_TRUE(PeekMessageA(&msg, 0, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(7u, msg.wParam);
}

}  // namespace
