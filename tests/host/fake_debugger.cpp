// A console debugger that follows a script, for the plug-in's protocol
// tests: it prints what the script says, when it says it, and answers the
// commands it reads the way the script tells it to.
//
// usage: fake_debugger -s script [program [file]]
//
// Script lines (texts take \n \r \t \\ and \xHH):
//   print TEXT          write TEXT as it stands
//   prompt              write "[DEBUG]> "
//   pid | args | cwd    write "pid N", "args COMMAND LINE", "cwd FOLDER" lines
//   sleep MS
//   ignorequit          serve never ends on "exit"
//   serve               answer each line read with "got LINE" and the
//                       prompt; "exit" ends with 0
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

// "For ever" is long enough for any test that means to kill us, yet an
// orphan left by a failed test ends by itself instead of holding the test
// runner's output pipe open.
static const DWORD stayMs = 60000;

static void write(const std::string& text) {
  DWORD n;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), (DWORD)text.size(), &n, 0);
}

static std::string unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); i++) {
    if (s[i] != '\\' || i + 1 == s.size()) {
      out += s[i];
      continue;
    }
    char c = s[++i];
    if (c == 'n') out += '\n';
    else if (c == 'r') out += '\r';
    else if (c == 't') out += '\t';
    else if (c == 'x' && i + 2 < s.size()) {
      out += (char)strtol(s.substr(i + 1, 2).c_str(), 0, 16);
      i += 2;
    } else out += c;
  }
  return out;
}

// One line of standard input without its line end; false at the end.
static bool readLine(std::string& line) {
  line.clear();
  char c;
  DWORD n;
  for (;;) {
    if (!ReadFile(GetStdHandle(STD_INPUT_HANDLE), &c, 1, &n, 0) || n == 0) return !line.empty();
    if (c == '\n') break;
    line += c;
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

static const char prompt[] = "[DEBUG]> ";

int main(int argc, char** argv) {
  std::vector<std::string> script;
  FILE* f = argc > 2 ? fopen(argv[2], "r") : nullptr;
  if (!f) {
    write("fake_debugger: no script\n");
    return 2;
  }
  {
    char buffer[4096];
    while (fgets(buffer, sizeof buffer, f)) {
      std::string line(buffer);
      while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
      if (!line.empty() && line[0] != '#') script.push_back(line);
    }
    fclose(f);
  }
  bool ignoreQuit = false;
  for (const std::string& step : script) {
    size_t blank = step.find(' ');
    std::string word = step.substr(0, blank);
    std::string rest = blank == std::string::npos ? "" : step.substr(blank + 1);
    if (word == "print") {
      write(unescape(rest));
    } else if (word == "prompt") {
      write(prompt);
    } else if (word == "pid") {
      write("pid " + std::to_string(GetCurrentProcessId()) + "\n");
    } else if (word == "args") {
      write(std::string("args ") + GetCommandLineA() + "\n");
    } else if (word == "cwd") {
      char folder[MAX_PATH] = "";
      GetCurrentDirectoryA(MAX_PATH, folder);
      write(std::string("cwd ") + folder + "\n");
    } else if (word == "sleep") {
      Sleep(atoi(rest.c_str()));
    } else if (word == "ignorequit") {
      ignoreQuit = true;
    } else if (word == "serve") {
      std::string line;
      while (readLine(line)) {
        if (line == "exit" && !ignoreQuit) {
          write("bye\n");
          return 0;
        }
        write("got " + line + "\n" + prompt);
      }
      if (ignoreQuit) Sleep(stayMs);
      return 0;
    } else {
      write("fake_debugger: unknown step " + step + "\n");
      return 2;
    }
  }
  return 0;
}
