// Child of the crash tests: installs the crash handler, then fails the way
// its argument asks. A test must never block, so the notice is quiet.
//   av      access violation with both handlers installed
//   deep    access violation under a deep recursion (a long trace)
//   div     integer division by zero, with only the unhandled filter
//   bp      breakpoint exception
#include "cError.hpp"

#include <windows.h>
#include <string.h>

extern "C" __attribute__((noinline)) void crashChildFault(volatile int* p) {
  *p = 1;
}

extern "C" __attribute__((noinline)) int crashChildDeep(int depth,
                                                         volatile int* p) {
  if (depth == 0) {
    crashChildFault(p);
    return 0;
  }
  // A volatile read after the call keeps -O2 from turning the recursion
  // into a loop, so the stack really is deep.
  volatile int frame = depth;
  int r = crashChildDeep(depth - 1, p);
  return r + frame;
}

static volatile int zero = 0;

int main(int argc, char** argv) {
  const char* mode = argc > 1 ? argv[1] : "av";
  setCrashQuiet(true);
  if (strcmp(mode, "div") != 0) installCrashHandler();
  installCrashFilter();
  if (!strcmp(mode, "bp")) DebugBreak();
  else if (!strcmp(mode, "deep")) crashChildDeep(300, 0);
  else if (!strcmp(mode, "div")) return argc / zero;
  else crashChildFault(0);
  return 0;
}
