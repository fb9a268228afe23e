// Child of the process, crash and fault tests: runs its arguments as a
// script of actions, in order.
//   print TEXT   write TEXT to standard output (\n escapes a line end)
//   err TEXT     the same to standard error
//   sleep MS     sleep, not reading input
//   ignore       sleep until killed, not reading input
//   div, bp      with the crash handlers installed, divide an integer by
//                zero or raise a breakpoint; a test must never block, so the
//                notice is quiet
//   learn        the faults that follow find no crash handler: the exit code
//                is the exception code a fault delivers on this machine
// An unknown word ends the child with code 2; running out of words, with 0.
#include "cError.hpp"

#include <windows.h>
#include <stdlib.h>
#include <string.h>

// The dividend is volatile too: 1 / x compiles to a comparison, not a division.
extern "C" __attribute__((noinline)) int crashChildDivide(volatile int* divisor) {
  static volatile int dividend = 1, quotient;
  return quotient = dividend / *divisor;
}

static LONG WINAPI exitWithCode(EXCEPTION_POINTERS* e) {
  ExitProcess(e->ExceptionRecord->ExceptionCode);
}

// Unescaped in place: the text only shrinks.
static void putEscaped(DWORD which, char* text) {
  DWORD n = 0, done = 0;
  for (const char* p = text; *p; p++)
    text[n++] = p[0] == '\\' && p[1] == 'n' ? (p++, '\n') : *p;
  // Pipe writes of this size complete whole; a short one shows as missing text.
  WriteFile(GetStdHandle(which), text, n, &done, 0);
}

int main(int argc, char** argv) {
  static volatile int zero;
  bool learn = false;
  for (int i = 1; i < argc; i++) {
    const char* word = argv[i];
    char* arg = i + 1 < argc ? argv[i + 1] : (char*)"";
    if (!strcmp(word, "print") || !strcmp(word, "err")) {
      putEscaped(word[0] == 'p' ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, arg);
      i++;
    } else if (!strcmp(word, "sleep")) {
      Sleep((DWORD)atoi(arg));
      i++;
    } else if (!strcmp(word, "ignore")) {
      Sleep(INFINITE);
    } else if (!strcmp(word, "learn")) {
      learn = AddVectoredExceptionHandler(1, exitWithCode) != 0;
    } else if (!strcmp(word, "div") || !strcmp(word, "bp")) {
      if (!learn) {
        setCrashQuiet(true);
        installCrashHandler();
        installCrashFilter();
      }
      if (word[0] == 'b') DebugBreak();
      else crashChildDivide(&zero);
    } else {
      ExitProcess(2);
    }
  }
  return 0;
}
