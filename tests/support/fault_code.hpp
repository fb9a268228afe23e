// The crash child run with arguments, and which exception code a hardware
// fault delivers on this machine. Under user-mode emulation of i386 Wine
// guesses it (a division by zero arrives as a float fault), so a test of
// fault paths learns it from the child and expects exactly that code.
#pragma once
#include <windows.h>

#include <string>

// The child's exit code: the exception code when it crashed.
inline DWORD runCrashChild(const std::string& args) {
  std::string cmd = std::string("\"") + CRASH_CHILD + "\" " + args;  // a Windows path, set by the build
  STARTUPINFOA si = {sizeof si};
  PROCESS_INFORMATION pi = {};
  DWORD code = 0;
  if (!CreateProcessA(0, &cmd[0], 0, 0, FALSE, 0, 0, 0, &si, &pi)) return 0;
  if (WaitForSingleObject(pi.hProcess, 60000) != WAIT_OBJECT_0) TerminateProcess(pi.hProcess, 0);
  GetExitCodeProcess(pi.hProcess, &code);
  CloseHandle(pi.hThread);
  CloseHandle(pi.hProcess);
  return code;
}

// kind: "div" (integer division by zero), the one fault the child makes
inline DWORD faultCode(const char* kind) { return runCrashChild(std::string("learn ") + kind); }
