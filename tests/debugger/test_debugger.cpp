// SorbLua.exe end to end: a real child on pipes, driven as the plug-in does.
#include <windows.h>

#include <gtest/gtest.h>

#include "run_folder.hpp"

#include <fstream>
#include <string>
#include <vector>

namespace {

std::string slashed(std::string s) {  // paths with '/', as the plug-in writes them
  for (char &c : s) if (c == '\\') c = '/';
  return s;
}

const std::string kDir = slashed(runFolder()), kProgs = kDir + "/programs/", kAgent = kDir + "/agent.lua";
const std::string kPrompt = "[DEBUG]> ", kBanner = "Lua Debugger - Version ",
                  kEnd = "Debugging process terminated.\n", kUnhandled = "Unhandled Lua Exception\n";
const size_t npos = std::string::npos;

// SorbLua.exe (by its full path) run with args in the folder cwd and fed
// input at once: its standard output and error read together to the end,
// and its exit code.
std::string session(const std::string &exe, const std::string &args, const std::string &cwd,
                    const std::string &input, DWORD *code) {
  SECURITY_ATTRIBUTES sa{sizeof sa, nullptr, TRUE};
  HANDLE childIn, in, out, childOut;
  CreatePipe(&childIn, &in, &sa, 1 << 16);  // room for a whole input written at once
  CreatePipe(&out, &childOut, &sa, 0);
  SetHandleInformation(in, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(out, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOA si{sizeof si};
  si.dwFlags = STARTF_USESTDHANDLES;
  si.hStdInput = childIn;
  si.hStdOutput = si.hStdError = childOut;
  PROCESS_INFORMATION pi{};
  std::string cmd = "\"" + exe + "\" " + args, text;
  EXPECT_TRUE(CreateProcessA(nullptr, &cmd[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                             cwd.c_str(), &si, &pi)) << cmd;
  CloseHandle(childIn);
  CloseHandle(childOut);
  DWORD n = 0, avail = 0;
  WriteFile(in, input.data(), input.size(), &n, nullptr);
  CloseHandle(in);
  char buf[4096];
  for (DWORD t = GetTickCount();
       GetTickCount() - t < 20000 && PeekNamedPipe(out, nullptr, 0, nullptr, &avail, nullptr);)
    if (!avail) Sleep(5);
    else if (ReadFile(out, buf, sizeof buf, &n, nullptr)) text.append(buf, n);
  EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pi.hProcess, 10000)) << text;
  *code = (DWORD)-1;
  GetExitCodeProcess(pi.hProcess, code);
  TerminateProcess(pi.hProcess, 99);
  CloseHandle(out);
  CloseHandle(pi.hProcess);
  CloseHandle(pi.hThread);
  return text;
}

// One session fed `input` at once: the texts appear in this order, `absent`
// not at all; a whole session prints its banner and its one text, nothing else.
struct Case {
  std::string args, input;
  std::vector<std::string> texts;
  const char *absent;
  DWORD code;
  std::string dir = kDir;
  const char *cwd = nullptr;
  bool whole = false;
};

void check(const Case &r) {
  DWORD code = 99;
  std::string out = session(r.dir + "/SorbLua.exe", r.args, r.cwd ? r.cwd : kDir,
                            r.input.empty() ? "" : r.input + "\n", &code);
  if (r.whole) {
    EXPECT_EQ(kBanner + "1.20\nDesigned to work with the Tarn for Windows IDE\n"
              "http://www.brennick.example/tarn/\n\nType 'help' for commands\n" + r.texts[0], out);
  }
  size_t at = 0;
  for (const std::string &t : r.texts) {
    if ((at = out.find(t, at)) == npos) {
      ADD_FAILURE() << "no " << t << " (in order) in:\n" << out;
      break;
    }
    at += t.size();
  }
  if (r.absent) {
    EXPECT_EQ(npos, out.find(r.absent)) << out;
  }
  EXPECT_EQ(r.code, code) << r.args << "\n" << out;
}

}  // namespace

TEST(Debugger, SessionsAndCommandLine) {
  std::string bare = kDir + "/nodll";  // the program without its agent beside it
  CreateDirectoryA(bare.c_str(), nullptr);
  for (const char *f : {"/SorbLua.exe", "/lua51.dll"})
    ASSERT_TRUE(CopyFileA((kDir + f).c_str(), (bare + f).c_str(), FALSE));
  const std::string order = kProgs + "order.lua", args = kProgs + "args.lua", sub = kProgs + "sub";
  std::string lowered = kProgs;  // the agent lower-cases file names on Windows
  for (char &c : lowered) c = (char)tolower((unsigned char)c);
  const Case runs[] = {
      // it stops before the first line, the program's output comes before the
      // next stop; the quit word ends the program at the first prompt and at
      // an error's stop (which keeps the failure's exit code), so does the end of input
      {order, "exit", {kPrompt + kEnd}, "line one", 0},
      {kProgs + "boom.lua", "run\nexit", {"Message: ", kPrompt + kEnd}, kUnhandled.c_str(), 1},
      {order, "step\nstep", {kBanner, kPrompt + "Paused at file: programs/order.lua (1) (1)\n" + kPrompt +
       "line one\nPaused at file: programs/order.lua (2) (1)\n" + kPrompt + "\n" + kEnd}, "line four", 0},
      {"-- " + args + " \"two words\" x", "run",
       {"n=2 #arg=2\narg[-2]=" + kDir + "/SorbLua.exe\narg[-1]=--\narg[0]=" + args +
        "\narg[1]=two words\narg[2]=x\ndots=two words|x\n"}, nullptr, 0},
      {order, "", {"SorbLua: cannot load the debugger agent: cannot open ",
       "\\nodll\\SorbLua.dll\n"}, kBanner.c_str(), 3, bare},
      {"-a " + kAgent + " " + order, "", {kBanner, kEnd}, nullptr, 0, bare},
      // a program that cannot be loaded brings the IDE's error notice, a syntax
      // error a position as well
      {kProgs + "nope.lua", "", {"SorbLua: cannot load the program: cannot open ", kUnhandled},
       kBanner.c_str(), 2},
      {kProgs + "syntax.lua", "", {"Error in application file: programs/syntax.lua (3)\n"
       "SorbLua: cannot load the program: ", "syntax.lua:3: unexpected symbol near '='\n" +
       kUnhandled}, kBanner.c_str(), 2},
      // a script outside the working directory keeps its full name
      {order, "setb 4 order.lua\nrun", {"Paused at file: " + lowered + "order.lua (4) (1) (breakpoint)\n"},
       nullptr, 0, kDir, sub.c_str()},
  };
  for (const Case &r : runs) check(r);
}

// Modules found along Lua's default path (".\\?.lua", here the current folder)
// and along a LUA_PATH written with backslashes are named with '/', and from
// the working directory when under it, so that a breakpoint on the bare file
// name, as the IDE sends it, stops there. The search and its message stay
// Lua's own; LUA_INIT still runs first, and LUA_CPATH sets the C modules' path.
TEST(Debugger, ModulesStopOnBareNames) {
  const std::string lib = runFolder() + "\\programs\\lib\\?.lua;;";
  SetEnvironmentVariableA("LUA_PATH", lib.c_str());
  SetEnvironmentVariableA("LUA_INIT", "from_init = 'yes'");
  SetEnvironmentVariableA("LUA_CPATH", "C:\\nowhere\\?.dll");
  check({"modules.lua", "setb 2 near.lua\nsetb 2 far.lua\nrun\nrun\nrun",
         {"Paused at file: ./sub/near.lua (2) (2) (breakpoint)\n",
          "Paused at file: lib/far.lua (2) (2) (breakpoint)\n", "sum 33 init yes cpath C:\\nowhere\\?.dll\n",
          "module 'nosuch' not found:\n\tno field package.preload['nosuch']\n\tno file '" +
          lib.substr(0, lib.size() - 7) + "nosuch.lua'\n\tno file '.\\nosuch.lua'\n", kEnd},
         nullptr, 0, kDir, (kDir + "/programs").c_str()});
  SetEnvironmentVariableA("LUA_PATH", nullptr);
  SetEnvironmentVariableA("LUA_INIT", nullptr);
  SetEnvironmentVariableA("LUA_CPATH", nullptr);
}

// C modules: found along Lua's default cpath ('!' is the program's folder,
// where the test's two modules lie); loaded by path with package.loadlib.
// A DLL that Windows cannot load gets Lua's own message and stops the
// program as any error does. It lies in a working folder outside the build
// tree, whose DLLs the imports check reads meanwhile.
TEST(Debugger, CModulesAlongTheCPath) {
  char temp[MAX_PATH];
  GetTempPathA(sizeof temp, temp);
  const std::string dir = runFolder(), work = std::string(temp) + "sorblua-cmodules";
  CreateDirectoryA(work.c_str(), nullptr);
  std::ofstream(work + "\\broken.dll") << "MZ but no program";
  check({kProgs + "cmodules.lua \"" + dir + "\"", "run\nrun",
         {"cpath .\\?.dll;" + dir + "\\?.dll;" + dir + "\\loadall.dll\n",
          "require\ttrue\t3\nloadlib\t7\ttrue\nno symbol\tnil\t", "\tinit\n",
          "Message: error loading module 'broken' from file '.\\broken.dll':\n\t",
          "stack traceback:\n\t[C]: ?\n\t[C]: in function 'require'\n", kUnhandled},
         nullptr, 1, kDir, work.c_str()});
  DeleteFileA((work + "\\broken.dll").c_str());
  RemoveDirectoryA(work.c_str());
}

// Whole sessions, for SorbLua.exe's own lines, stacks and ends. How the
// agent matches spellings of a name is its own tests' business.
TEST(Debugger, SorbLuasOwnLinesInWholeSessions) {
  // A project's own debugger module is the one it gets; without one, the agent.
  check({"main.lua", "run", {kPrompt + "log: own module\nfunction\n" + kEnd}, nullptr, 0, kDir,
         (kProgs + "own").c_str(), true});
  check({"agentmod.lua", "run", {kPrompt + "1.20\n" + kEnd}, nullptr, 0, kDir, kProgs.c_str(), true});
  // An uncaught error stops on the line that raised it, in the failing frame,
  // which is the context there; pcall'd ones do not stop. SorbLua.exe's
  // handler and error() leave no frame in the stack shown.
  check({"boom.lua", "run\ntrace\n=b\nrun",
         {kPrompt + "false\tcaught\nhalf 0.5\nError in application file: boom.lua (4)\n"
          "Message: boom.lua:4: division by zero\n" + kPrompt + "[1]***\tdivide in boom.lua:4\n"
          "[2]\tmain in boom.lua:8\n" + kPrompt + "0\t\n" + kPrompt + "boom.lua:4: division by zero\n"
          "stack traceback:\n\t[C]: in function 'error'\n\tboom.lua:4: in function 'divide'\n"
          "\tboom.lua:8: in main chunk\n" + kUnhandled}, nullptr, 1, kDir, kProgs.c_str(), true});
}
