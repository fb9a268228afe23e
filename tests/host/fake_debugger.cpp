// A console debugger that follows a script, for the plug-in's protocol
// tests: it prints what the script says, when it says it, and answers the
// commands it reads the way the script tells it to.
//
// usage: fake_debugger -s script [program [file]]
//
// Script lines (texts take \n, \\ and \xHH):
//   print TEXT          write TEXT as it stands
//   prompt              write "[DEBUG]> "
//   pid                 write a "pid N" line
//   sleep MS
//   ignorequit          serve never ends on "exit"
//   serve               answer each line read with "got LINE" and the
//                       prompt; "exit" ends with 0
#include <windows.h>

#include <stdlib.h>

#include <fstream>
#include <iostream>
#include <string>

// "For ever" is long enough for any test that means to kill us, yet an
// orphan left by a failed test ends by itself instead of holding the test
// runner's output pipe open.
static const DWORD stayMs = 60000;
static const char prompt[] = "[DEBUG]> ";

static void write(const std::string& text) {
  DWORD n;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), (DWORD)text.size(), &n, 0);
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

int main(int argc, char** argv) {
  std::ifstream script(argc > 2 ? argv[2] : "");
  if (!script) return write("fake_debugger: no script\n"), 2;
  bool ignoreQuit = false;
  for (std::string step; std::getline(script, step);) {
    size_t blank = step.find(' ');
    std::string word = step.substr(0, blank), rest = blank == step.npos ? "" : step.substr(blank + 1);
    if (word == "print") {
      write(unescape(rest));
    } else if (word == "prompt") {
      write(prompt);
    } else if (word == "pid") {
      write("pid " + std::to_string(GetCurrentProcessId()) + "\n");
    } else if (word == "sleep") {
      Sleep(atoi(rest.c_str()));
    } else if (word == "ignorequit") {
      ignoreQuit = true;
    } else if (word == "serve") {
      for (std::string line; std::getline(std::cin, line);) {
        if (line == "exit" && !ignoreQuit) return write("bye\n"), 0;
        write("got " + line + "\n" + prompt);
      }
      if (ignoreQuit) Sleep(stayMs);
      return 0;
    } else {
      return write("fake_debugger: unknown step " + step + "\n"), 2;
    }
  }
  return 0;
}
