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

// A fault is reported when the filter takes its code, with the code's name
// and the faulting function; a breakpoint never is. The codes are learned:
// emulation delivers a null write as an illegal instruction, which the
// filter leaves alone, and a division by zero as a float fault, which it takes.
TEST(Crash, FaultsReportWhatTheFilterTakesBreakpointsNever) {
  DeleteFileA(logFile.c_str());
  DeleteFileA(dumpFile.c_str());
  EXPECT_EQ(EXCEPTION_BREAKPOINT, runCrashChild("bp"));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(logFile.c_str()));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(dumpFile.c_str()));

  const struct { const char* kind; const char* function; } faults[] = {
      {"av", "crashChildFault"}, {"div", "crashChildDivide"}};
  for (const auto& f : faults) {
    DWORD code = faultCode(f.kind);
    ASSERT_EQ(0xC0000000u, code & 0xF0000000u) << f.kind << " learned " << std::hex << code;
    EXPECT_EQ(code, runCrashChild(f.kind));
    std::string log = fileText(logFile);
    if (!Exception::fatal(code)) {
      EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(logFile.c_str())) << log;
      continue;
    }
    char head[64];
    snprintf(head, sizeof head, "Exception code: %08lX %s\nDate: ", code, Exception::name(code));
    for (const char* part : {(const char*)head, "\nRegisters:\nEAX:", "\nStack Trace:\n",
                             "\nMapping Stack Trace:\n"})
      EXPECT_NE(std::string::npos, log.find(part)) << part << "\n" << log;
    // The child's map file names the faulting function.
    size_t at = log.find("Fault address: ");
    ASSERT_NE(std::string::npos, at) << log;
    std::string eip = log.substr(at + 15, 8);
    for (char& c : eip) c = (char)tolower(c);
    EXPECT_NE(std::string::npos, log.find(eip + ": " + f.function + " + 0x")) << log;
    EXPECT_EQ("MDMP", fileText(dumpFile).substr(0, 4));
    DeleteFileA(logFile.c_str());
    DeleteFileA(dumpFile.c_str());
  }
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
