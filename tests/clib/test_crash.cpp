// Crash reports from a real crashing child, and the assertion dialog answered
// from a second thread.
#include "cCrash.hpp"
#include "cError.hpp"
#include "desktop.hpp"
#include "fault_code.hpp"
#include "run_folder.hpp"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>

const std::string logFile = runFolder() + "\\crash_child.log";
const std::string dumpFile = runFolder() + "\\crash_child.dmp";

// A division by zero is reported under the code's name, beside a dump; a
// breakpoint is not reported. The code is learned: emulation delivers the
// division as a float fault.
TEST(Crash, AFaultIsReportedABreakpointNever) {
  DeleteFileA(logFile.c_str());
  DeleteFileA(dumpFile.c_str());
  EXPECT_EQ(EXCEPTION_BREAKPOINT, runCrashChild("bp"));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(logFile.c_str()));

  DWORD code = faultCode("div");
  ASSERT_TRUE(Exception::fatal(code)) << "learned " << std::hex << code;
  EXPECT_EQ(code, runCrashChild("div"));
  std::string log = fileText(logFile);
  char head[64];
  snprintf(head, sizeof head, "Exception code: %08lX %s\n", code, Exception::name(code));
  EXPECT_NE(std::string::npos, log.find(head)) << log;
  EXPECT_EQ("MDMP", fileText(dumpFile).substr(0, 4));
  DeleteFileA(logFile.c_str());
  DeleteFileA(dumpFile.c_str());
}

// A quit message posted while the dialog is up must neither end it nor get lost.
TEST(Crash, AssertDialogKeepsAPendingQuit) {
  if (!hasWindowDriver()) GTEST_SKIP() << "no display for message boxes";
  bool found = false;
  std::thread user([&] {
    HWND box = ownWindow("Assertion Failed", 10000);
    if ((found = box != NULL)) SendMessageA(GetDlgItem(box, IDNO), BM_CLICK, 0, 0);
  });
  PostQuitMessage(7);
  EXPECT_FALSE(assertDialog("file.cpp", 13));
  user.join();
  EXPECT_TRUE(found) << "the quit message ended the dialog";
  MSG msg;
  ASSERT_TRUE(PeekMessageA(&msg, 0, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(7u, msg.wParam);
}
