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
  // Shows the crash notice naming both files, unless notices are quiet:
  // the application object's own (owned by its main window) when there is
  // one and generic is false, else the generic one.
  static void notice(bool generic = false);
  // The name a code carries in the report; "Unknown" for others.
  static const char* name(DWORD code);
  // Whether the crash filter reports this code.
  static bool fatal(DWORD code);
  // Empty until the first crash.
  static const char* reportPath();
  static const char* dumpPath();
};

// The application object the crash notice speaks for: its main window
// (asked when the notice shows; may give 0), its title (the caption of
// every notice; "Application Error" while empty) and its quiet flag (set:
// the generic notice instead). A null mainWindow means there is none.
void setCrashApplication(HWND (*mainWindow)(), const char* title, bool quiet);

#endif

#endif
