// SorbLua.exe as the plug-in runs it: a real child on pipes, its standard
// output and error read together.
#pragma once
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "run_folder.hpp"

class DebuggerPipes {
 public:
  std::string text;  // everything read

  // Runs exe (SorbLua.exe, by its full path) with args in the folder cwd.
  DebuggerPipes(const std::string& exe, const std::string& args, const std::string& cwd) {
    SECURITY_ATTRIBUTES sa{sizeof sa, nullptr, TRUE};
    HANDLE childIn, childOut;
    CreatePipe(&childIn, &in_, &sa, 1 << 16);  // room for a whole input written at once
    CreatePipe(&out_, &childOut, &sa, 0);
    SetHandleInformation(in_, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(out_, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA si{sizeof si};
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdInput = childIn;
    si.hStdOutput = si.hStdError = childOut;
    std::string cmd = "\"" + exe + "\" " + args;
    EXPECT_TRUE(CreateProcessA(nullptr, &cmd[0], nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                               cwd.c_str(), &si, &pi_)) << cmd;
    CloseHandle(childIn);
    CloseHandle(childOut);
  }
  ~DebuggerPipes() {
    if (in_) CloseHandle(in_);
    CloseHandle(out_);
    TerminateProcess(pi_.hProcess, 99);
    CloseHandle(pi_.hProcess);
    CloseHandle(pi_.hThread);
  }
  void write(const std::string& bytes) {
    DWORD n;
    WriteFile(in_, bytes.data(), bytes.size(), &n, nullptr);
  }
  void send(const std::string& line) { write(line + "\n"); }
  // Reads what is there; false at the end of output or ms after since.
  bool pump(DWORD since, DWORD ms = 20000) {
    DWORD avail = 0, n = 0;
    char buf[4096];
    if (GetTickCount() - since > ms || !PeekNamedPipe(out_, nullptr, 0, nullptr, &avail, nullptr))
      return false;
    if (avail == 0) return Sleep(5), true;
    if (!ReadFile(out_, buf, sizeof buf, &n, nullptr)) return false;
    text.append(buf, n);
    return true;
  }
  // The output since the last call, up to and including the next `what`.
  std::string until(const std::string& what) {
    size_t at, from = mark_;
    for (DWORD t = GetTickCount(); (at = text.find(what, mark_)) == std::string::npos;)
      if (!pump(t)) return ADD_FAILURE() << "no " << what << " in " << text, "";
    mark_ = at + what.size();
    return text.substr(from, mark_ - from);
  }
  // Ends the input and reads to the end; the output not handed out yet.
  std::string finish(DWORD* code) {
    CloseHandle(in_);
    in_ = nullptr;
    for (DWORD t = GetTickCount(); pump(t);) {}
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(pi_.hProcess, 10000)) << text;
    *code = (DWORD)-1;
    GetExitCodeProcess(pi_.hProcess, code);
    return text.substr(mark_);
  }

 private:
  HANDLE in_ = nullptr, out_ = nullptr;
  PROCESS_INFORMATION pi_{};
  size_t mark_ = 0;  // how much of text until() has handed out
};
