// What the host cannot reach: the fault guard by itself, a session without
// a context, and the line watcher on what the stand-in cannot easily print
// (thread prefixes, bad numbers and missing files: test_spine).
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "DbgProcess.hpp"
#include "GdbSession.hpp"

static EXCEPTION_REGISTRATION_RECORD* chainHead() {
  EXCEPTION_REGISTRATION_RECORD* head;
  __asm__ __volatile__("movl %%fs:0, %0" : "=r"(head));
  return head;
}

static DWORD raised, passedOn;
static LONG WINAPI lastChance(EXCEPTION_POINTERS* e) {
  passedOn = e->ExceptionRecord->ExceptionCode;
  return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(Guard, CatchesExactlyItsCodes) {
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  EXCEPTION_REGISTRATION_RECORD* head = chainHead();
  auto raise = [](void*) { RaiseException(raised, 0, 0, 0); };
  DWORD caught[] = {0x80000002, 0x80000003, 0xC0000005, 0xC0000025, 0xC000008C, 0xC0000090,
                    0xC0000094, 0xC0000096};
  for (DWORD code : caught) {
    raised = code, passedOn = 0;
    EXPECT_EQ(code, GuardedCall(raise, nullptr)) << std::hex << code;
    EXPECT_EQ(0u, passedOn);
    EXPECT_EQ(head, chainHead());
  }
  DWORD passed[] = {0xC000008B, 0xC0000097, 0xC00000FD, 0xE06D7363, 0x40010006};
  for (DWORD code : passed) {
    raised = code, passedOn = 0;
    EXPECT_EQ(0u, GuardedCall(raise, nullptr)) << std::hex << code;
    EXPECT_EQ(code, passedOn);
    EXPECT_EQ(head, chainHead());
  }
  SetUnhandledExceptionFilter(saved);
}

// A handler of the body's own, nearer the fault, is asked first and, when
// the guard takes the fault, unwound.
static int innerCalls, innerUnwinds;
static EXCEPTION_DISPOSITION NTAPI inner(EXCEPTION_RECORD* r, void*, CONTEXT*, void*) {
  if (r->ExceptionFlags & EXCEPTION_UNWINDING)
    innerUnwinds++;
  else
    innerCalls++;
  return ExceptionContinueSearch;
}

static int* volatile nowhere;  // null, unseen by the optimiser

static void faultWithAHandler(void*) {
  EXCEPTION_REGISTRATION_RECORD frame;
  frame.Next = chainHead();
  frame.Handler = inner;
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(&frame) : "memory");
  *nowhere = 1;
}

TEST(Guard, UnwindsTheFramesInsideIt) {
  EXCEPTION_REGISTRATION_RECORD* head = chainHead();
  EXPECT_EQ(0xC0000005u, GuardedCall(faultWithAHandler, nullptr));
  EXPECT_EQ(1, innerCalls);
  EXPECT_EQ(1, innerUnwinds);
  EXPECT_EQ(head, chainHead());
  static int ran;
  EXPECT_EQ(0u, GuardedCall([](void* p) { *(int*)p = 1; }, &ran));
  EXPECT_EQ(1, ran);
}

TEST(Session, WithoutAContext) {
  gdbDebugger session(nullptr);
  xDebugger& host = session;
  StopLocation* where = host.GetLocation();
  ASSERT_NE(nullptr, where);
  EXPECT_EQ(0, where->line);
  EXPECT_STREQ("", where->file);
  EXPECT_EQ(0, host.SendCommand("step", true));
  EXPECT_EQ(0, host.Step());
  EXPECT_FALSE(host.IsRunning());
  EXPECT_EQ(0, host.SaveBreakpoints());
  EXPECT_FALSE(session.process().start());
  String line("Paused at file: x (1) (1)"), file;
  int number;
  bool ended, failed;
  EXPECT_FALSE(WatchLine(nullptr, line, file, number, ended, failed));
}

TEST(WatchLine, TakesTheFileAfterTheFirstColon) {
  char temp[MAX_PATH], folder[MAX_PATH];
  GetTempPathA(MAX_PATH, folder);
  GetTempFileNameA(folder, "wl", 0, temp);
  std::string slashed = temp;
  for (char& c : slashed) if (c == '\\') c = '/';
  EXPECT_NE(std::string(temp), slashed);
  DebugContext session(nullptr);
  DebugContext* context = &session;
  struct { std::string text; bool found; int line; } cases[] = {
      {"Paused at file: " + slashed + " (12) (1)\n", true, 12},
      {"At:\t" + std::string(temp) + "\t(\t7 \t) tail", true, 7},
      {"no colon " + slashed + " (3)\n", false, 0},
  };
  for (auto& c : cases) {
    String line(c.text.c_str()), file;
    int number = -1;
    bool ended = true, failed = true;
    EXPECT_EQ(c.found, WatchLine(context, line, file, number, ended, failed)) << c.text;
    EXPECT_EQ(c.line, number) << c.text;
    EXPECT_FALSE(ended || failed);
    if (c.found) {
      EXPECT_STREQ(temp, file.text());
      EXPECT_EQ(std::string::npos, std::string(line.text()).find('/'));
    }
  }
  String line("x Debugging process terminated. Unhandled Lua Exception\n"), file;
  int number;
  bool ended, failed;
  EXPECT_FALSE(WatchLine(context, line, file, number, ended, failed));
  EXPECT_TRUE(ended && failed);
  DeleteFileA(temp);
}
