// Crash reports: when the process meets a fatal processor exception, a text
// report and a minidump are written beside the main module and the user is
// told where they are. Windows only.
#ifndef CCRASH_HPP
#define CCRASH_HPP

#ifdef _WIN32
#include <windows.h>

class Exception {
 public:
  // Writes the report and the dump for the exception under the given code
  // (the framework's own filter reports everything as an access violation).
  // Returns true when the dump was written; false also when another report
  // is being written at the time.
  static bool write(EXCEPTION_POINTERS* info, DWORD code);
  // Shows the crash notice naming both files, unless notices are quiet.
  static void notice();
  // The name a code carries in the report; "Unknown" for others.
  static const char* name(DWORD code);
  // Whether the crash filter reports this code.
  static bool fatal(DWORD code);
  // Empty until the first crash.
  static const char* reportPath();
  static const char* dumpPath();
};

#endif

#endif
