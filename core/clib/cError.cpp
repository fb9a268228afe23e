// The assertion channel and the error log. Everything here is best-effort:
// a report must never fail in a way that needs reporting itself.
#include "cError.hpp"
#include "iError.hpp"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

enum { LOG_PATH_SIZE = 256, LINE_SIZE = 8192 };

static char logFile[LOG_PATH_SIZE] = "xErrors.log";
static MessageHook messageHook = 0;
// Plain counter, not atomic: it stops a report raised by the hook from
// reaching the hook again on the same thread.
static unsigned int hookDepth = 0;

const char outOfMemoryText[] =
    "The Tarn application has used up all of the available 2G user memory "
    "address space!\n\nPlease close and restart the application.";

const char* reportKindName(int kind) {
  switch (kind) {
    case REPORT_TRACE: return "TRACE    ";
    case REPORT_ASSERT: return "ASSERT   ";
    case REPORT_VERIFY: return "VERIFY   ";
    case REPORT_EXCEPTION: return "EXCEPTION";
    case REPORT_TIMESTAMP: return "TIMESTAMP";
    case REPORT_RUNTIME: return "RUNTIME  ";
    default: return "UNKNOWN";
  }
}

// Blanks after the line number, so that number and blanks take seven
// characters and the texts of consecutive lines start in one column.
static int padWidth(int line) {
  if (line <= 9) return 6;
  if (line <= 99) return 5;
  if (line <= 999) return 4;
  if (line <= 9999) return 3;
  if (line <= 99999) return 2;
  return 1;
}

// snprintf whose cut at the buffer's end is intended.
static void format(char* buf, size_t size, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  vsnprintf(buf, size, fmt, ap);
  va_end(ap);
}

static void appendToLog(const char* text) {
  FILE* f = fopen(logFile, "at");
  if (!f) f = fopen(logFile, "wt");
  if (!f) return;  // no log (e.g. an empty path): silently nothing
  fputs(text, f);
  size_t n = strlen(text);
  if (n == 0 || text[n - 1] != '\n') fputc('\n', f);
  fclose(f);
}

void report(const char* file, int line, const char* text, int kind,
            bool noLog) {
  char when[64];
  iTimeText(when, sizeof when);
  if (!text) text = "";

  char stamped[LINE_SIZE];
  if (kind == REPORT_TIMESTAMP) {
    format(stamped, sizeof stamped, "%s - %s", when, text);
    text = stamped;
  }

  char pad[8] = "       ";
  pad[padWidth(line)] = 0;

  char buf[LINE_SIZE];
  if (file)
    format(buf, sizeof buf, "[%s] %s \"%s\" (%d)%s >> %s", when,
           reportKindName(kind), file, line, pad, text);
  else
    format(buf, sizeof buf, "[%s] >> %s", when, text);

  if (!noLog) appendToLog(buf);
  if (kind == REPORT_RUNTIME) return;

  if (++hookDepth == 1 && messageHook) {
    // Reuses buf: the log line is written by now.
    if (file)
      format(buf, sizeof buf, "\"%s\" (%d)%s%s\n", file, line, pad, text);
    else
      format(buf, sizeof buf, "%s\n", text);
    messageHook(buf);
  }
  --hookDepth;
}

void setLogPath(const char* path) {
  if (!path) path = "";
  strncpy(logFile, path, LOG_PATH_SIZE - 1);
  logFile[LOG_PATH_SIZE - 1] = 0;
}

const char* logPath() { return logFile; }

const char* sourceBaseName(const char* path) {
  const char* base = path;
  for (const char* p = path; *p; ++p)
    if (*p == '/' || *p == '\\') base = p + 1;
  return base;
}

void setMessageHook(MessageHook hook) { messageHook = hook; }

void passToHook(const char* text) {
  if (++hookDepth == 1 && messageHook && text) messageHook(text);
  --hookDepth;
}

void replaceExtension(char* path, size_t size, const char* ext) {
  if (size == 0) return;
  size_t n = strnlen(path, size - 1);
  path[n] = 0;
  size_t dot = n;
  for (size_t i = n; i > 0; --i) {
    char c = path[i - 1];
    if (c == '/' || c == '\\' || c == ':') break;
    if (c == '.') { dot = i - 1; break; }
  }
  // A short extension is kept: replacing it could name the module itself
  // or a file that means something else.
  size_t extLen = dot < n ? n - dot - 1 : 0;
  size_t at = n;
  if (dot < n && (extLen >= 3 || extLen == 0))
    at = dot + 1;
  else if (n + 1 < size)
    path[at++] = '.';
  snprintf(path + at, size - at, "%s", ext);
}

void systemErrorText(char* buf, size_t size, int code, const char* message) {
  if (message && *message)
    snprintf(buf, size, "%s\n\nError Code: %d", message, code);
  else
    snprintf(buf, size, "Unexpected Error '%d' detected!", code);
}
