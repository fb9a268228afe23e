// The console debugger as a hidden child process: its command line, its
// start, and the reader thread that echoes what it prints to the host and
// picks stop positions, program ends and unhandled errors out of it.
#ifndef DBGPROCESS_HPP
#define DBGPROCESS_HPP

#include "GdbContext.hpp"
#include "cSpawn.hpp"
#include "cString.hpp"

class DbgProcess : public Spawn {
 public:
  // context may be null: then every operation does nothing.
  explicit DbgProcess(DebugContext* context);
  ~DbgProcess();

  // Builds the command line from the context's record and runs it hidden,
  // with all three standard streams on pipes, in the current directory.
  bool start();

  // Runs the read loop on a thread of its own.
  bool startReader();

  DebugContext* context() const { return context_; }
  // 1 while the reader thread is inside its loop.
  unsigned int readerActive() const { return readerActive_; }
  int startStatus() const { return startStatus_; }
  const String& commandLine() const { return commandLine_; }
  unsigned int param() const { return param2_; }

  const char* directory() const;
  const char* script() const;
  const char* module() const;

 private:
  static void readerThread(void* process);
  static void readerBody(void* process);
  static bool onOutput(const char* chunk, void* process);
  static bool onIdle(const char* empty, void* process);

  DebugContext* context_;
  volatile unsigned int readerActive_;
  int startStatus_;
  String commandLine_;
  unsigned int param2_;
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
