// Child of the crash and fault tests: installs the crash handlers, then fails
// the way its argument asks. A test must never block, so the notice is quiet.
//   av      write through a null pointer
//   div     integer division by zero
//   bp      breakpoint exception
//   learn K fault K (av or div) with no crash handler: the exit code is the
//           exception code that fault delivers on this machine
#include "cError.hpp"

#include <windows.h>
#include <string.h>

extern "C" __attribute__((noinline)) void crashChildFault(volatile int* p) {
  *p = 1;
}

// The dividend is volatile too: 1 / x compiles to a comparison, not a division.
extern "C" __attribute__((noinline)) int crashChildDivide(volatile int* divisor) {
  static volatile int dividend = 1, quotient;
  return quotient = dividend / *divisor;
}

static LONG WINAPI exitWithCode(EXCEPTION_POINTERS* e) {
  ExitProcess(e->ExceptionRecord->ExceptionCode);
}

static void fault(const char* kind) {
  static volatile int zero;
  if (!strcmp(kind, "div")) crashChildDivide(&zero);
  else crashChildFault(0);
}

int main(int argc, char** argv) {
  if (argc > 2 && !strcmp(argv[1], "learn")) {
    AddVectoredExceptionHandler(1, exitWithCode);
    fault(argv[2]);
    return 0;
  }
  setCrashQuiet(true);
  installCrashHandler();
  installCrashFilter();
  if (argc > 1 && !strcmp(argv[1], "bp")) DebugBreak();
  else fault(argc > 1 ? argv[1] : "av");
  return 0;
}
