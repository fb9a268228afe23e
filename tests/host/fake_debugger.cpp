// A console debugger that follows a script, for the plug-in's protocol
// tests: it prints what the script says, when it says it, and answers the
// commands it reads the way the script tells it to.
//
// usage: fake_debugger [-s script] [program [file]]
//
// Script lines (texts take \n \r \t \\ and \xHH):
//   print TEXT          write TEXT as it stands
//   prompt              write "[DEBUG]> "
//   pid | args | cwd    write "pid N", "args COMMAND LINE", "cwd FOLDER" lines
//   sleep MS
//   quit WORD           the word that ends serve (default exit)
//   ignorequit          serve never ends on the quit word
//   reply LINE => TEXT  serve answers LINE with TEXT
//   serve               answer each line read: "got LINE" unless a reply
//                       matches, then the prompt; the quit word ends with 0
//   hang                wait for ever
//   exit CODE
// Without a script: prompt, then serve.
#include <windows.h>

#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <utility>
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
  if (argc > 2 && std::string(argv[1]) == "-s") {
    FILE* f = fopen(argv[2], "r");
    if (!f) {
      write(std::string("fake_debugger: cannot open ") + argv[2] + "\n");
      return 2;
    }
    char buffer[4096];
    while (fgets(buffer, sizeof buffer, f)) {
      std::string line(buffer);
      while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
      if (!line.empty() && line[0] != '#') script.push_back(line);
    }
    fclose(f);
  } else {
    script = {"prompt", "serve"};
  }

  std::string quitWord = "exit";
  bool ignoreQuit = false;
  std::vector<std::pair<std::string, std::string>> replies;
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
    } else if (word == "quit") {
      quitWord = rest;
    } else if (word == "ignorequit") {
      ignoreQuit = true;
    } else if (word == "reply") {
      size_t arrow = rest.find(" => ");
      if (arrow != std::string::npos)
        replies.push_back({rest.substr(0, arrow), unescape(rest.substr(arrow + 4))});
    } else if (word == "serve") {
      std::string line;
      while (readLine(line)) {
        if (line == quitWord && !ignoreQuit) {
          write("bye\n");
          return 0;
        }
        bool answered = false;
        for (const auto& r : replies)
          if (r.first == line) {
            write(r.second);
            answered = true;
            break;
          }
        if (!answered) write("got " + line + "\n");
        write(prompt);
      }
      if (ignoreQuit) Sleep(stayMs);
      return 0;
    } else if (word == "hang") {
      Sleep(stayMs);
    } else if (word == "exit") {
      return atoi(rest.c_str());
    } else {
      write("fake_debugger: unknown step " + step + "\n");
      return 2;
    }
  }
  return 0;
}
