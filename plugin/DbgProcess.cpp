#include "DbgProcess.hpp"

#include <windows.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <initializer_list>

#include "GdbParse.hpp"
#include "GdbSession.hpp"
#include "cError.hpp"
#include "iSpawn.hpp"
#include "protocol.h"
#include "xApp.hpp"

// A record text as the host filled it: at most one field's width, even if
// the host forgot the terminator.
static String recordText(const char* field) {
  return String(field, (int)strnlen(field, EXECINFO::TEXT - 1));
}

DbgProcess::DbgProcess(DebugContext* context, xDebugger* owner)
    : context_(context),
      owner_(owner),
      readerActive_(false),
      startStatus_(0),
      param2_(0),
      reader_(0),
      writer_(0),
      wake_(0),
      leaving_(false),
      chunks_(0),
      refs_(1),
      heldContext_(0),
      heldSession_(nullptr),
      queue_(0),
      queued_(0),
      full_(false),
      dropped_(0) {
  setCaching(true);  // the reader takes whole lines out of the cache
  InitializeSRWLock(&queueLock_);
}

// The threads work on this object: they must be out before it goes.
DbgProcess::~DbgProcess() {
  if (!isIdle()) kill(KILLED);
  if (!endThreads(10000)) report(SOURCE_NAME, __LINE__, "The debugger's threads did not end");
  release();
}

bool DbgProcess::start() {
  if (!context_) return false;
  xWaitCursor wait;
  param2_ = context_->info.param2;
  commandLine_ = BuildCommandLine(context_, &context_->info);
  context_->ReportTextF("Module:'%s'\n", context_->info.script);
  context_->ReportTextF("Directory:'%s'\n", context_->info.directory);
  context_->ReportTextF("Command Line:'%s'\n\n", commandLine_.text());
  if (commandLine_.isEmpty()) {
    startStatus_ = -1;
    return false;
  }
  setShowMode(SHOW_HIDDEN);
  redirect(true, true, true);
  // The child starts in the current directory, which the caller has set.
  bool ok = runCommand(commandLine_);
  if (ok) startStatus_ = (int)exitCode();
  return ok;
}

// ---------------------------------------------------------------- threads

static const char moduleMark = 0;  // any address inside this module

namespace {
struct ThreadStart {
  DbgProcess* process;
  HMODULE module;
};
}  // namespace

bool DbgProcess::launch(HANDLE& thread, LPTHREAD_START_ROUTINE main) {
  // The thread runs our code to its last instruction: the module stays
  // loaded until it leaves through FreeLibraryAndExitThread.
  HMODULE self = 0;
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &moduleMark, &self)) return false;
  refs_++;
  ThreadStart* start = (ThreadStart*)malloc(sizeof *start);
  if (start) {
    start->process = this;
    start->module = self;
    thread = CreateThread(0, 0, main, start, 0, 0);
  }
  if (thread) return true;
  free(start);
  refs_--;
  FreeLibrary(self);
  return false;
}

bool DbgProcess::startReader() {
  // Each end now belongs to the one thread that uses it; kill and the
  // stopper never close a handle under a blocked call.
  reader().takeEnd(outputPipe());
  writeEnd_.take(inputPipe());
  wake_ = CreateEventA(0, FALSE, FALSE, 0);
  // Raised before the thread exists, so that a stop coming at once still
  // waits for it rather than freeing what it is about to read.
  readerActive_ = true;
  bool ok = wake_ && launch(writer_, writerMain) && launch(reader_, readerMain);
  if (!ok) {
    readerActive_ = false;
    report(SOURCE_NAME, __LINE__, "The debugger's reader thread could not be started");
  }
  return ok;
}

bool DbgProcess::readerRunning() const {
  return reader_ && WaitForSingleObject(reader_, 0) == WAIT_TIMEOUT;
}

// The owner's reference or a thread's: the last one out frees what the
// stopper handed over.
void DbgProcess::dropReference() {
  if (--refs_ != 0) return;
  gdbDebugger* session = heldSession_;
  DebugContext* context = heldContext_;
  discard();
  SessionStorage::freeHeld(session, context);
}

DWORD WINAPI DbgProcess::readerMain(void* argument) {
  ThreadStart start = *(ThreadStart*)argument;
  free(argument);
  DbgProcess* process = start.process;
  if (unsigned long code = GuardedCall(readerBody, process)) {
    // Flag and busy stay as the fault left them; the buffers still go.
    char text[80];
    snprintf(text, sizeof text, "The debugger's reader thread stopped on exception 0x%08lX",
             code);
    report(SOURCE_NAME, __LINE__, text);
    GuardedCall(releaseReader, process);
  }
  process->dropReference();
  FreeLibraryAndExitThread(start.module, 0);
  return 0;
}

void DbgProcess::readerBody(void* argument) {
  DbgProcess* process = (DbgProcess*)argument;
  process->readerActive_ = true;
  try {
    process->readLoop(onOutput, process, onIdle, SLEEP);
  } catch (...) {
    report(SOURCE_NAME, __LINE__, "The debugger's reader thread ended on an exception");
  }
  // Its session is freed without its destructor: what the reader holds goes now.
  releaseReader(process);
  // Busy goes first: once the flag drops, the stopper may free the session
  // this object lives in.
  if (process->context_ && process->owner_ && !process->heldSession_)
    process->owner_->SetBusy(false);
  process->readerActive_ = false;
}

void DbgProcess::releaseReader(void* process) { ((DbgProcess*)process)->reader().release(); }

DWORD WINAPI DbgProcess::writerMain(void* argument) {
  ThreadStart start = *(ThreadStart*)argument;
  free(argument);
  DbgProcess* process = start.process;
  process->writeQueued();
  process->writeEnd_.close();
  process->dropReference();
  FreeLibraryAndExitThread(start.module, 0);
  return 0;
}

// Small pieces, so that the queue takes new commands while one waits for
// the child.
void DbgProcess::writeQueued() {
  for (;;) {
    char piece[4096];
    int n = 0;
    AcquireSRWLockExclusive(&queueLock_);
    bool leave = leaving_ || stopped();
    if (!leave && queued_ > 0) {
      n = queued_ < (int)sizeof piece ? queued_ : (int)sizeof piece;
      memcpy(piece, queue_, n);
      queued_ -= n;
      memmove(queue_, queue_ + n, queued_);
      full_ = false;
    }
    ReleaseSRWLockExclusive(&queueLock_);
    if (leave) return;
    if (n == 0)
      WaitForSingleObject(wake_, INFINITE);
    else
      writeEnd_.write(piece, n);  // a dead debugger is the reader's to notice
  }
}

bool DbgProcess::write(const char* text) {
  if (!text) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  int n = (int)strlen(text);
  bool reportFull = false, ok = false;
  AcquireSRWLockExclusive(&queueLock_);
  if (leaving_ || stopped()) {
    // the child is gone or going: nobody reads
  } else if (n > QUEUE_LIMIT - queued_) {
    dropped_++;
    reportFull = !full_;
    full_ = true;
  } else {
    if (!queue_) queue_ = (char*)malloc(QUEUE_LIMIT);
    if (queue_) {
      memcpy(queue_ + queued_, text, n);
      queued_ += n;
      ok = true;
    }
  }
  ReleaseSRWLockExclusive(&queueLock_);
  if (ok && wake_) SetEvent(wake_);
  if (reportFull)
    report(SOURCE_NAME, __LINE__,
           "The debugger reads no commands: its queue is full, commands are dropped");
  return ok;
}

bool DbgProcess::kill(unsigned code) {
  bool ok = Spawn::kill(code);
  if (wake_) SetEvent(wake_);  // the writer leaves on the stop flag
  return ok;
}

void DbgProcess::waitForLastOutput(unsigned ms) {
  DWORD start = GetTickCount(), idleSince = start;
  long seen = chunks_;
  while (readerRunning() && GetTickCount() - start < ms) {
    if (chunks_ != seen) seen = chunks_, idleSince = GetTickCount();
    if (GetTickCount() - idleSince > 300) break;  // held open by someone else
    MsgWaitForMultipleObjects(1, &reader_, FALSE, 10, QS_ALLINPUT);
    pump();
  }
}

bool DbgProcess::endThreads(unsigned ms) {
  AcquireSRWLockExclusive(&queueLock_);
  leaving_ = true;
  requestStop();
  ReleaseSRWLockExclusive(&queueLock_);
  if (wake_) SetEvent(wake_);
  for (DWORD start = GetTickCount();;) {
    HANDLE live[2];
    DWORD n = 0;
    if (readerRunning()) {
      // Only inside our read: the host's callback may do I/O of its own.
      if (reader().reading()) CancelSynchronousIo(reader_);
      live[n++] = reader_;
    }
    if (writer_ && WaitForSingleObject(writer_, 0) == WAIT_TIMEOUT) {
      CancelSynchronousIo(writer_);  // it does no I/O but ours
      live[n++] = writer_;
    }
    if (n == 0) return true;
    if (GetTickCount() - start >= ms) return false;
    MsgWaitForMultipleObjects(n, live, FALSE, 10, QS_ALLINPUT);
    pump();
  }
}

void DbgProcess::release() {
  detach();  // a child that left our pipes but runs on stays
  reader().release();
  writeEnd_.close();
  for (HANDLE* h : {&reader_, &writer_, &wake_}) {
    if (*h) CloseHandle(*h);
    *h = 0;
  }
  free(queue_);
  queue_ = 0;
  queued_ = 0;
}

// Once release has let go of the child, the destructor kills nothing and
// finds no thread: all it does is free the members' own heap blocks.
void DbgProcess::discard() {
  release();
  this->~DbgProcess();
}

void DbgProcess::handOver(gdbDebugger* session, DebugContext* context) {
  heldContext_ = context;
  heldSession_ = session;
  if (session || context) leaving_ = true;
  dropReference();
}

// ---------------------------------------------------------------- output

bool DbgProcess::onIdle(const char*, void*) {
  pump();
  return false;
}

void DbgProcess::watch(String& line, bool& errorSeen) {
  String file;
  int number;
  bool terminated, error;
  if (WatchLine(context_, line, file, number, terminated, error))
    context_->ReportLocation(file, number);
  if (error) errorSeen = true;
  if (terminated) {
    cache().clear();
    // Its own session: never the one that is current by the time this runs.
    if (owner_) {
      owner_->SetBusy(false);
      owner_->Quit();
    }
    context_->ReportLocation("", 0);
  }
}

bool DbgProcess::onOutput(const char* chunk, void* argument) {
  DbgProcess* process = (DbgProcess*)argument;
  if (!process || !process->context_ || process->heldSession_) return true;
  DebugContext* context = process->context_;
  process->chunks_++;

  // Ctrl-Z would end the text for some output windows. The chunk is the
  // stream's own block: edited in place, no copy of up to a megabyte.
  char* block = process->reader().block();
  int length = process->reader().length();
  if (chunk && chunk == block)
    for (char* p = block; (p = (char*)findByte(p, (int)(block + length - p), '\x1a'));) *p = ' ';
  // The whole chunk first, so that a half line shows at once.
  context->ReportText(chunk ? chunk : "");

  bool errorSeen = false;
  try {
    String line;
    StreamCache& cache = process->cache();
    while (cache.getLine(line)) process->watch(line, errorSeen);
    // A program that never ends its line must not grow the cache for ever.
    if (cache.length() > LINE_LIMIT) {
      line = cache.text();
      cache.clear();
      process->watch(line, errorSeen);
    }
  } catch (...) {
    process->cache().clear();
    report(SOURCE_NAME, __LINE__, "The debugger's output could not be taken apart");
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

bool WatchLine(DebugContext* context, String& line, String& file, int& number,
               bool& terminated, bool& error) {
  file = "";
  number = 0;
  terminated = error = false;
  if (!context) return false;
  int value;
  bool found = ParsePositionLine(line, file, value) &&
               GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES;
  if (found) {
    number = value;
    line.replaceAll("/", "\\");
  }
  terminated = line.find(SORB_END_LINE) >= 0;
  error = line.find(SORB_ERROR_LINE) >= 0;
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
