// Which exception code a hardware fault delivers on this machine. Under
// user-mode emulation of i386 Wine guesses it (a null write arrives as an
// illegal instruction, a division by zero as a float fault), so a test of
// fault paths learns it from a child and expects exactly that code.
#pragma once
#include <windows.h>

#include <string>

// kind: "av" (null write) or "div" (integer division by zero)
inline DWORD faultCode(const char* kind) {
  static const char child[] = CRASH_CHILD;  // set by the build, a Windows path
  std::string cmd = std::string("\"") + child + "\" learn " + kind;
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
