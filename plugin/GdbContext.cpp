#include "GdbContext.hpp"

#include <windows.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "GdbSession.hpp"
#include "GdbSettings.hpp"
#include "cString.hpp"
#include "xApp.hpp"

// A bounded copy that reads no further than the field, terminated or not.
static void copyField(char* dest, const char* src) {
  size_t n = strnlen(src, EXECINFO::TEXT - 1);
  memcpy(dest, src, n);
  dest[n] = 0;
}

void CopyExecInfo(EXECINFO* dest, const EXECINFO* src) {
  if (!dest) return;
  memset(dest, 0, sizeof *dest);
  dest->size = EXECINFO::SIZE;
  if (!src) return;
  dest->param1 = src->param1;
  dest->param2 = src->param2;
  dest->output = src->output;
  copyField(dest->module, src->module);
  copyField(dest->command, src->command);
  copyField(dest->options, src->options);
  copyField(dest->workspace, src->workspace);
  copyField(dest->script, src->script);
  copyField(dest->file, src->file);
  copyField(dest->directory, src->directory);
}

DebugContext::DebugContext(const EXECINFO* source) {
  CopyExecInfo(&info, source);
  // location.reserved belongs to the host and stays as allocated.
  location.line = 0;
  location.file[0] = 0;
  SessionStorage::open(this);
  xApplication::setInstance(GetModuleHandleA(info.module));
}

// The session's storage goes without its destructor (see SessionStorage).
DebugContext::~DebugContext() {
  SessionStorage::freeCurrent();
  xApplication::setInstance(0);
}

void DebugContext::ReportText(const char* text) {
  if (info.output && text) info.output(text, OUTPUT_TEXT);
}

void DebugContext::ReportTextF(const char* format, ...) {
  if (!format) return;
  char buffer[2048];
  va_list args;
  va_start(args, format);
  vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  buffer[sizeof buffer - 1] = 0;
  ReportText(buffer);
}

static bool isFullPath(const char* name) {
  if (name[0] == '\\' && name[1] == '\\') return true;  // UNC
  return name[0] && name[1] == ':' && name[2] == '\\';
}

void DebugContext::ReportLocation(const char* file, int line) {
  String name(file ? file : "");
  name.replaceAll("/", "\\");
  if (!name.isEmpty() && !isFullPath(name)) {
    char buffer[MAX_PATH * 2];
    DWORD n = GetFullPathNameA(name, sizeof buffer, buffer, 0);
    name = n > 0 && n < sizeof buffer ? buffer : "";
  }
  BoundedCopy(location.file, name, StopLocation::FILE_SIZE);
  location.line = line;
  if (info.output) info.output(&location, OUTPUT_LOCATION);
}

void DebugContext::ReportError() {
  if (info.output) info.output("", OUTPUT_ERROR);
}
