// The reader's fault guard by itself: which codes it takes, and that it
// leaves the handler chain as it found it.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "DbgProcess.hpp"
#include "fault_code.hpp"

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

// A handler of the body's own, nearer the fault, is asked first and, when
// the guard takes the fault, unwound.
static int innerCalls, innerUnwinds;
static EXCEPTION_DISPOSITION NTAPI inner(EXCEPTION_RECORD* r, void*, CONTEXT*, void*) {
  (r->ExceptionFlags & EXCEPTION_UNWINDING ? innerUnwinds : innerCalls)++;
  return ExceptionContinueSearch;
}
static volatile int one = 1, zero, quotient;  // 1 / x would compile to no division
static void faultWithAHandler(void*) {
  EXCEPTION_REGISTRATION_RECORD frame;
  frame.Next = chainHead();
  frame.Handler = inner;
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(&frame) : "memory");
  quotient = one / zero;
}

TEST(Guard, TakesExactlyItsCodesAndUnwinds) {
  LPTOP_LEVEL_EXCEPTION_FILTER saved = SetUnhandledExceptionFilter(lastChance);
  EXCEPTION_REGISTRATION_RECORD* head = chainHead();
  auto raise = [](void*) { RaiseException(raised, 0, 0, 0); };
  const DWORD codes[] = {0x80000002, 0x80000003, 0xC0000005, 0xC0000025, 0xC000008C, 0xC0000090,
                         0xC0000094, 0xC0000096,  // taken; the rest are passed on
                         0xC000008B, 0xC0000097, 0xC00000FD, 0xE06D7363, 0x40010006};
  for (const DWORD& code : codes) {
    bool taken = &code - codes < 8;
    raised = code, passedOn = 0;
    EXPECT_EQ(taken ? code : 0u, GuardedCall(raise, nullptr)) << std::hex << code;
    EXPECT_EQ(taken ? 0u : code, passedOn) << std::hex << code;
    EXPECT_EQ(head, chainHead());
  }
  SetUnhandledExceptionFilter(saved);
  // A real fault: a division by zero, whose code (integer natively, float
  // under emulation) the guard takes either way; a null write's may not be.
  EXPECT_EQ(faultCode("div"), GuardedCall(faultWithAHandler, nullptr));
  EXPECT_EQ(1, innerCalls);
  EXPECT_EQ(1, innerUnwinds);
  EXPECT_EQ(head, chainHead());
}
