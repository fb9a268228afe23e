// The console debugger as a hidden child process: its command line, its
// start, and the reader thread that echoes what it prints to the host and
// picks stop positions, program ends and unhandled errors out of it.
#ifndef DBGPROCESS_HPP
#define DBGPROCESS_HPP

#include <atomic>

#include "GdbContext.hpp"
#include "cSpawn.hpp"
#include "cString.hpp"

class xDebugger;
class gdbDebugger;

// Three threads meet here. The host's thread starts, writes, kills and
// stops; the reader thread owns the OutputReader (read end, stream blocks,
// line cache); the writer thread owns the write end and drains the command
// queue, so that no command ever waits for the child. Each thread holds a
// reference to the module and to this object: the last one out frees what
// it was handed (see handOver; SessionStorage says how).
class DbgProcess : public Spawn {
 public:
  // Commands waiting for a child that reads none; beyond, they are dropped.
  // An unfinished line longer than LINE_LIMIT is taken as it stands.
  enum { QUEUE_LIMIT = 65536, LINE_LIMIT = 1048576 };

  // context may be null: then every operation does nothing. owner is the
  // session the reader reports busy and end to.
  explicit DbgProcess(DebugContext* context, xDebugger* owner = 0);
  // Kills a child that still runs (KILLED) and ends both threads.
  ~DbgProcess();

  // Builds the command line from the context's record and runs it hidden,
  // with all three standard streams on pipes, in the current directory.
  bool start();

  // Runs the read loop and the command writer on threads of their own.
  bool startReader();

  // Queues text for the child; never waits. False when the queue is full
  // (reported once per spell) or the writer has left.
  bool write(const char* text);
  // As Process::kill, and sends the writer away.
  bool kill(unsigned code);

  // True while the reader thread exists, whatever its flag says.
  bool readerRunning() const;
  // The child has gone: waits, handling messages, while the reader is
  // still passing on output, at most ms in all. Output that stops coming
  // with the child gone comes from a grandchild holding the pipe.
  void waitForLastOutput(unsigned ms = 5000);
  // Ends both threads: stops the loops, cancels a blocked read or write and
  // waits for the threads' handles, handling messages, at most ms. True
  // when none is left.
  bool endThreads(unsigned ms = 2000);
  // Closes what the process layer opened (process, pipes, events, thread
  // handles) and frees the buffers. No thread may run.
  void release();
  // release, then this object's destructor without the kill: for an object
  // whose storage is freed without its owner's destructor. Nothing may use
  // it afterwards.
  void discard();
  // For threads that would not end: after discard, the last one out has
  // SessionStorage free session and context (either may be null). If none
  // is left, that happens now.
  void handOver(gdbDebugger* session, DebugContext* context);

  // True while the reader thread is inside its loop.
  bool readerActive() const { return readerActive_; }

 private:
  static DWORD WINAPI readerMain(void* process);
  static DWORD WINAPI writerMain(void* process);
  static void readerBody(void* process);
  static void releaseReader(void* process);
  static bool onOutput(const char* chunk, void* process);
  static bool onIdle(const char* empty, void* process);
  void watch(String& line, bool& errorSeen);
  void writeQueued();
  bool launch(HANDLE& thread, LPTHREAD_START_ROUTINE main);
  void dropReference();

  DebugContext* context_;
  xDebugger* owner_;
  std::atomic<bool> readerActive_;
  int startStatus_;
  String commandLine_;
  unsigned int param2_;

  Pipe writeEnd_;
  HANDLE reader_;
  HANDLE writer_;
  HANDLE wake_;  // the writer's: commands queued, or leave
  std::atomic<bool> leaving_;
  std::atomic<long> chunks_;  // progress of the reader
  std::atomic<long> refs_;    // the owner and each running thread
  DebugContext* heldContext_;
  std::atomic<gdbDebugger*> heldSession_;  // the reader stops reporting once set

  SRWLOCK queueLock_;
  char* queue_;  // QUEUE_LIMIT bytes, allocated at the first command
  int queued_;
  bool full_;
  unsigned long dropped_;  // commands dropped because the queue was full
};

// Wraps text in double quotes when it holds a blank, unless it is quoted
// already (in double or single quotes).
void QuoteName(String& text);

// The debugger's command line for a start record: executable, options,
// program, file. Valid until the next call; empty without a program.
const char* BuildCommandLine(DebugContext* context, const EXECINFO* info);

// Looks at one line of debugger output. True when it names a stop position
// (file, text up to the first '(' after the first ':', must exist; number,
// the digits in the parentheses): line then has '\' for '/'. terminated and
// error tell whether the line holds the debugger's end or error text.
bool WatchLine(DebugContext* context, String& line, String& file, int& number,
               bool& terminated, bool& error);

// Runs body(argument) so that an access violation, a breakpoint, a
// misaligned access, a non-continuable exception or a floating-point or
// integer fault raised inside ends it at once; any other exception goes on
// to the handlers further out. Returns the code caught, 0 when none.
unsigned long GuardedCall(void (*body)(void*), void* argument);

#endif
