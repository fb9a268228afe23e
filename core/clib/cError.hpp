// The assertion channel: every broken precondition in the system is reported
// here with its source name and line, appended to the error log and passed to
// an optional message hook. Nothing here stops the program.
#ifndef CERROR_HPP
#define CERROR_HPP

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

void report(const char* file, int line, const char* text = 0,
            int kind = REPORT_ASSERT, bool noLog = false);
void setLogPath(const char* path);
const char* logPath();
void setMessageHook(MessageHook hook);

#ifdef _WIN32
bool assertDialog(const char* file, int line);
void installCrashHandler();  // vectored handler, installed once
void installCrashFilter();   // the same filter as unhandled-exception filter
#endif

#endif
