#include "DbgProcess.hpp"

#include <windows.h>
#include <limits.h>
#include <string.h>

#include "GdbSession.hpp"
#include "cError.hpp"
#include "iSpawn.hpp"
#include "xApp.hpp"

static const char terminatedText[] = "Debugging process terminated.";
static const char unhandledText[] = "Unhandled Lua Exception";

// A record text as the host filled it: at most one field's width, even if
// the host forgot the terminator.
static String recordText(const char* field) {
  return String(field, (int)strnlen(field, EXECINFO::TEXT - 1));
}

DbgProcess::DbgProcess(DebugContext* context)
    : context_(context), readerActive_(0), startStatus_(0), param2_(0) {
  setCaching(true);  // the reader takes whole lines out of the cache
}

// The reader thread works on this object: it must be out before the object
// goes. Ending the child ends its read; messages are handled meanwhile, in
// case the host's callback waits for this thread.
DbgProcess::~DbgProcess() {
  if (readerActive_ != 1) return;
  HANDLE read = output_.readHandle();  // kill leaves it open for the reader
  kill(99);
  for (DWORD start = GetTickCount(); readerActive_ == 1 && GetTickCount() - start < 5000;) {
    pump();
    Sleep(1);
  }
  if (read && readerActive_ == 0) CloseHandle(read);
}

const char* DbgProcess::directory() const { return context_ ? context_->info.directory : ""; }
const char* DbgProcess::script() const { return context_ ? context_->info.script : ""; }
const char* DbgProcess::module() const { return context_ ? context_->info.module : ""; }

bool DbgProcess::start() {
  if (!context_) return false;
  xWaitCursor wait;
  param2_ = context_->info.param2;
  commandLine_ = BuildCommandLine(context_, &context_->info);
  context_->ReportTextF("Module:'%s'\n", script());
  context_->ReportTextF("Directory:'%s'\n", directory());
  context_->ReportTextF("Command Line:'%s'\n\n", commandLine_.text());
  if (commandLine_.isEmpty()) {
    startStatus_ = -1;
    return false;
  }
  setShowMode(3);
  redirect(true, true, true);
  // The child starts in the current directory, which the caller has set.
  bool ok = runCommand(commandLine_);
  if (ok) startStatus_ = (int)exitCode();
  return ok;
}

bool DbgProcess::startReader() {
  // Raised before the thread exists, so that a stop coming at once still
  // waits for it rather than freeing what it is about to read.
  readerActive_ = 1;
  if (startThread(readerThread, this)) return true;
  readerActive_ = 0;
  report(__FILE__, __LINE__, "The debugger's reader thread could not be started");
  return false;
}

void DbgProcess::readerThread(void* process) { GuardedCall(readerBody, process); }

void DbgProcess::readerBody(void* argument) {
  DbgProcess* process = (DbgProcess*)argument;
  process->readerActive_ = 1;
  process->readLoop(onOutput, process, onIdle, SLEEP);
  // Busy goes first: once the flag drops, the stopper may free the session
  // this object lives in.
  if (process->context_ && CurrentSession) CurrentSession->SetBusy(false);
  process->readerActive_ = 0;
}

bool DbgProcess::onIdle(const char*, void*) {
  pump();
  return false;
}

bool DbgProcess::onOutput(const char* chunk, void* argument) {
  DbgProcess* process = (DbgProcess*)argument;
  if (!process || !process->context_) return true;
  DebugContext* context = process->context_;

  // The whole chunk first, so that a half line shows at once. Ctrl-Z would
  // end the text for some output windows.
  String copy(chunk ? chunk : "");
  for (int i = copy.find('\x1a'); i >= 0; i = copy.find('\x1a', i + 1)) copy.at(i) = ' ';
  context->ReportText(copy);

  bool errorSeen = false;
  String line, file;
  while (process->cache().getLine(line)) {
    int number;
    bool terminated, error;
    if (WatchLine(context, line, file, number, terminated, error))
      context->ReportLocation(file, number);
    if (error) errorSeen = true;
    if (terminated) {
      process->cache().clear();
      if (CurrentSession) {
        CurrentSession->SetBusy(false);
        CurrentSession->Quit();
      }
      context->ReportLocation("", 0);
    }
  }
  if (errorSeen) context->ReportError();  // once, however many lines said so
  return false;
}

void QuoteName(String& text) {
  int n = text.length();
  if (n >= 1) {
    char first = text.text()[0];
    if ((first == '"' || first == '\'') && text.text()[n - 1] == first) return;
  }
  if (text.find(' ') < 0) return;
  if (text.text()[0] != '"') text.insertChar('"', 0);
  if (text.text()[text.length() - 1] != '"') text += '"';
}

const char* BuildCommandLine(DebugContext*, const EXECINFO* info) {
  static String result;
  result = "";
  if (!info) return result;
  String executable = recordText(info->command);
  executable.replaceAll("\\", "/");
  // A command interpreter line is the user's own: its quoting stays.
  if (executable.find("cmd.exe") < 0) QuoteName(executable);
  String program = recordText(info->script);
  program.replaceAll("\\", "/");
  QuoteName(program);
  if (program.isEmpty()) return result;
  String options = recordText(info->options), file = recordText(info->file);
  // An empty file leaves a trailing blank; the debugger ignores it.
  if (options.isEmpty())
    result.format("%s %s %s", executable.text(), program.text(), file.text());
  else
    result.format("%s %s %s %s", executable.text(), options.text(), program.text(), file.text());
  return result;
}

static void trimBlanks(String& text) {
  int start = 0, end = text.length();
  const char* p = text.text();
  while (start < end && (p[start] == ' ' || p[start] == '\t')) start++;
  while (end > start && (p[end - 1] == ' ' || p[end - 1] == '\t')) end--;
  text = text.mid(start, end - start);
}

// A decimal number of digits only; false for anything else or an empty text.
static bool parseDigits(const String& text, int& value) {
  if (text.isEmpty()) return false;
  long long n = 0;
  for (const char* p = text.text(); *p; p++) {
    if (*p < '0' || *p > '9') return false;
    if (n < INT_MAX) n = n * 10 + (*p - '0');
  }
  value = n > INT_MAX ? INT_MAX : (int)n;
  return true;
}

bool WatchLine(DebugContext* context, String& line, String& file, int& number,
               bool& terminated, bool& error) {
  file = "";
  number = 0;
  terminated = error = false;
  if (!context) return false;
  bool found = false;
  // Only the first colon counts: the drive letter's lies after it.
  int colon = line.find(':');
  if (colon >= 0) {
    String rest = line.from(colon + 1), digits;
    int paren = rest.find('(');
    if (paren >= 0) {
      digits = rest.from(paren + 1);
      int close = digits.find(')');
      if (close >= 0) digits.truncate(close);
      trimBlanks(digits);
      file = rest.mid(0, paren);
      trimBlanks(file);
    }
    file.replaceAll("/", "\\");
    int value;
    if (!file.isEmpty() && GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES &&
        parseDigits(digits, value)) {
      number = value;
      line.replaceAll("/", "\\");
      found = true;
    }
  }
  terminated = line.find(terminatedText) >= 0;
  error = line.find(unhandledText) >= 0;
  return found;
}

// ---------------------------------------------------------------- the guard
//
// A frame-based handler of our own on the thread's exception chain: it sees
// only what is raised inside the guarded call, after any handler nearer to
// the fault (the host's own, say) has had its say, unlike a vectored one.

namespace {
struct GuardFrame {
  EXCEPTION_REGISTRATION_RECORD record;  // first: the system hands us its address
  void* resume[5];                       // __builtin_setjmp's buffer
  volatile DWORD code;
};
}  // namespace

static bool guardedCode(DWORD code) {
  switch (code) {
    case 0x80000002:  // misaligned data
    case 0x80000003:  // breakpoint
    case 0xC0000005:  // access violation
    case 0xC0000025:  // non-continuable exception
      return true;
  }
  return code >= 0xC000008C && code <= 0xC0000096;  // array bounds, float, integer
}

// The system restores the stack after the call, so either convention does;
// this is the one the header's routine type names.
static EXCEPTION_DISPOSITION NTAPI guardHandler(EXCEPTION_RECORD* record, void* frame,
                                                CONTEXT*, void*) {
  if (record->ExceptionFlags & (EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND))
    return ExceptionContinueSearch;
  if (!guardedCode(record->ExceptionCode)) return ExceptionContinueSearch;
  GuardFrame* guard = (GuardFrame*)frame;
  guard->code = record->ExceptionCode;
  // Lets the frames inside ours unwind and leaves ours at the chain's head.
  RtlUnwind(frame, 0, record, 0);
  __builtin_longjmp(guard->resume, 1);
}

// The head of this thread's handler chain, at fs:0.
static EXCEPTION_REGISTRATION_RECORD* chainHead() {
  EXCEPTION_REGISTRATION_RECORD* head;
  __asm__ __volatile__("movl %%fs:0, %0" : "=r"(head));
  return head;
}

static void setChainHead(EXCEPTION_REGISTRATION_RECORD* head) {
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(head) : "memory");
}

__attribute__((noinline)) unsigned long GuardedCall(void (*body)(void*), void* argument) {
  GuardFrame guard;
  guard.code = 0;
  guard.record.Next = chainHead();
  guard.record.Handler = guardHandler;
  if (__builtin_setjmp(guard.resume) == 0) {
    setChainHead(&guard.record);
    body(argument);
  }
  setChainHead(guard.record.Next);
  return guard.code;
}
