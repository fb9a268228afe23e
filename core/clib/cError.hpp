// The assertion channel: every broken precondition in the system is reported
// here with its source name and line, appended to the error log and passed to
// an optional message hook. Nothing here stops the program.
#ifndef CERROR_HPP
#define CERROR_HPP

#include <stddef.h>

// Report kinds; the numbers are part of the log format.
enum ReportKind {
  REPORT_TRACE = 1,
  REPORT_ASSERT = 2,
  REPORT_VERIFY = 3,
  REPORT_EXCEPTION = 4,
  REPORT_TIMESTAMP = 5,
  REPORT_RUNTIME = 6
};

typedef void (*MessageHook)(const char* text);

// The source name every report carries: the file's base name ("cString.cpp",
// "xDialog.cpp", "cString.hpp" for a header's inline code), never the build
// path, which would leak the build machine's folders into xErrors.log.
#ifdef __FILE_NAME__
#define SOURCE_NAME __FILE_NAME__
#else
#define SOURCE_NAME sourceBaseName(__FILE__)
#endif
const char* sourceBaseName(const char* path);

// line is usually __LINE__. Some fifty reports pass a fixed number instead
// (cString.cpp's 1277, xDialog.cpp's 377, ...): those numbers name their
// fault in logs that users send and in the tests that read them, so they
// must not move whenever the code above them changes.
void report(const char* file, int line, const char* text = 0,
            int kind = REPORT_ASSERT, bool noLog = false);
void setLogPath(const char* path);
const char* logPath();
void setMessageHook(MessageHook hook);
// Hands text alone to the message hook (no log line), under the same guard
// against a hook that reports.
void passToHook(const char* text);

// The name a kind carries in the log ("UNKNOWN" for numbers not in use).
const char* reportKindName(int kind);

// Replaces the extension of path (the text after its last '.', when it has
// at least three characters) by ext; a path without such an extension gets
// "." and ext appended. The result is cut to size - 1 characters.
void replaceExtension(char* path, size_t size, const char* ext);

// Texts of the fatal notices.
extern const char outOfMemoryText[];
// "Unexpected Error '<code>' detected!", or the system's message for the
// code followed by its number when there is one.
void systemErrorText(char* buf, size_t size, int code, const char* message = 0);

#ifdef _WIN32
bool assertDialog(const char* file, int line);
void installCrashHandler();  // vectored handler, installed once
void installCrashFilter();   // the same filter as unhandled-exception filter
// Quiet: the crash, out-of-memory and system-error notices show no message
// box (unattended runs and tests); the files are written all the same.
void setCrashQuiet(bool quiet);
void showOutOfMemory();
void showSystemError(int code);
#endif

#endif
