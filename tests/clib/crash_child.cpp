// Child of the crash tests: installs the crash handlers, then fails the way
// its argument asks. A test must never block, so the notice is quiet.
//   av      access violation
//   bp      breakpoint exception
#include "cError.hpp"

#include <windows.h>
#include <string.h>

extern "C" __attribute__((noinline)) void crashChildFault(volatile int* p) {
  *p = 1;
}

int main(int argc, char** argv) {
  setCrashQuiet(true);
  installCrashHandler();
  installCrashFilter();
  if (argc > 1 && !strcmp(argv[1], "bp")) DebugBreak();
  else crashChildFault(0);
  return 0;
}
