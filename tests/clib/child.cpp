// Child of the process, crash, fault and plug-in tests: runs a script of
// actions, in order, from its arguments or, after -s, from a file's lines
// (the plug-in starts it as its debugger, adding the program and file after
// that option).
//   print TEXT   write TEXT to standard output (escapes \n, \\ and \xHH)
//   err TEXT     the same to standard error
//   prompt       write the debugger's prompt "[DEBUG]> "
//   pid          write a "pid N" line
//   sleep MS     sleep, not reading input
//   ignore       sleep until killed, not reading input
//   ignorequit   serve never ends on "exit"
//   serve        answer each line read with "got LINE" and the prompt;
//                "exit" ends with "bye" and 0
//   div, bp      with the crash handlers installed, divide an integer by
//                zero or raise a breakpoint; a test must never block, so the
//                notice is quiet
//   learn        the faults that follow find no crash handler: the exit code
//                is the exception code a fault delivers on this machine
// An unknown word or a missing script ends the child with code 2, saying so;
// running out of words, with 0.
#include "cError.hpp"

#include <windows.h>
#include <stdlib.h>

#include <fstream>
#include <iostream>
#include <string>
#include <vector>

// "For ever" is long enough for any test that means to kill us, yet an
// orphan left by a failed test ends by itself instead of holding the test
// runner's output pipe open.
static const DWORD stayMs = 60000;
static const char prompt[] = "[DEBUG]> ";

// The dividend is volatile too: 1 / x compiles to a comparison, not a division.
extern "C" __attribute__((noinline)) int crashChildDivide(volatile int* divisor) {
  static volatile int dividend = 1, quotient;
  return quotient = dividend / *divisor;
}

static LONG WINAPI exitWithCode(EXCEPTION_POINTERS* e) {
  ExitProcess(e->ExceptionRecord->ExceptionCode);
}

// Pipe writes of this size complete whole; a short one shows as missing text.
static void write(const std::string& text, DWORD which = STD_OUTPUT_HANDLE) {
  DWORD n;
  WriteFile(GetStdHandle(which), text.data(), (DWORD)text.size(), &n, 0);
}

static std::string unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); i++) {
    char c = s[i] == '\\' && i + 1 < s.size() ? s[++i] : 0;
    if (!c) out += s[i];
    else if (c == 'n') out += '\n';
    else if (c == 'x') out += (char)strtol(s.substr(i + 1, 2).c_str(), 0, 16), i += 2;
    else out += c;
  }
  return out;
}

// The steps as word and text: a script's lines, or the arguments, where
// print, err and sleep take the next one.
static bool steps(int argc, char** argv, std::vector<std::pair<std::string, std::string>>& list) {
  if (argc > 1 && std::string(argv[1]) == "-s") {
    std::ifstream script(argc > 2 ? argv[2] : "");
    for (std::string line; std::getline(script, line);) {
      size_t blank = line.find(' ');
      list.push_back({line.substr(0, blank), blank == line.npos ? "" : line.substr(blank + 1)});
    }
    return (bool)script.eof();
  }
  for (int i = 1; i < argc; i++) {
    std::string word = argv[i];
    bool takes = word == "print" || word == "err" || word == "sleep";
    list.push_back({word, takes && i + 1 < argc ? argv[++i] : ""});
  }
  return true;
}

int main(int argc, char** argv) {
  static volatile int zero;
  std::vector<std::pair<std::string, std::string>> list;
  if (!steps(argc, argv, list)) return write("child: no script\n"), 2;
  bool learn = false, ignoreQuit = false;
  for (auto& [word, text] : list) {
    if (word == "print" || word == "err") {
      write(unescape(text), word == "err" ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
    } else if (word == "prompt") {
      write(prompt);
    } else if (word == "pid") {
      write("pid " + std::to_string(GetCurrentProcessId()) + "\n");
    } else if (word == "sleep") {
      Sleep((DWORD)atoi(text.c_str()));
    } else if (word == "ignore") {
      Sleep(INFINITE);
    } else if (word == "ignorequit") {
      ignoreQuit = true;
    } else if (word == "serve") {
      for (std::string line; std::getline(std::cin, line);) {
        if (line == "exit" && !ignoreQuit) return write("bye\n"), 0;
        write("got " + line + "\n" + prompt);
      }
      if (ignoreQuit) Sleep(stayMs);
      return 0;
    } else if (word == "learn") {
      learn = AddVectoredExceptionHandler(1, exitWithCode) != 0;
    } else if (word == "div" || word == "bp") {
      if (!learn) {
        setCrashQuiet(true);
        installCrashHandler();
        installCrashFilter();
      }
      if (word == "bp") DebugBreak();
      else crashChildDivide(&zero);
    } else {
      return write("child: unknown step " + word + "\n"), 2;
    }
  }
  return 0;
}
