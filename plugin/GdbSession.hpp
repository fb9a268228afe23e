// The debugging session as the host sees it: an interface whose operations
// the host calls by their place in the virtual table, and the session that
// turns each of them into one command line for the debugger.
#ifndef GDBSESSION_HPP
#define GDBSESSION_HPP

#include <atomic>

#include "DbgProcess.hpp"
#include "GdbContext.hpp"

// The host was built by another compiler against this exact slot order.
// Hence no C++ virtual destructor (it would take two slots here, one
// there): Destroy sits where the host expects its destructor, and no name
// is overloaded (the other compiler would regroup overloads).
class xDebugger {
 public:
  virtual bool SupportsBreakFilter() = 0;
  virtual bool IsBreakpoint(const char* file, int line, bool* enabled) = 0;
  virtual int Help() = 0;
  virtual int Run() = 0;
  virtual int Continue() = 0;
  virtual int Step() = 0;
  virtual int Next() = 0;
  virtual int Until() = 0;
  virtual int Kill() = 0;
  virtual int Up() = 0;
  virtual int Down() = 0;
  virtual int Args() = 0;
  virtual int Locals() = 0;
  virtual int Stack() = 0;
  virtual int Print(const char* expression) = 0;
  virtual int PrintEx(const char* expression) = 0;
  virtual int BreakSet(const char* file, int line) = 0;
  virtual int BreakClear(const char* file, int line) = 0;
  virtual int BreakAll() = 0;
  virtual int BreakInfo() = 0;
  virtual int SaveBreakpoints() = 0;
  virtual int SendCommand(const char* text, bool echo) = 0;
  virtual int Quit() = 0;
  virtual bool IsRunning() = 0;
  virtual bool SetBusy(bool busy) = 0;
  virtual bool IsBusy() = 0;
  virtual StopLocation* GetLocation() = 0;
  virtual const char* GetAuxText() = 0;
  // The host's destructor slot: bit 0 of flags also frees the storage.
  virtual void* Destroy(unsigned int flags) = 0;
  virtual int WriteBreakpoints(const char* section, bool atStop) = 0;
  virtual int LoadBreakpoints(const char* section) = 0;
  virtual int Extension(int argument) = 0;

 protected:
  ~xDebugger() {}
};

class gdbDebugger : public xDebugger {
 public:
  explicit gdbDebugger(DebugContext* context);
  ~gdbDebugger();

  bool SupportsBreakFilter();
  bool IsBreakpoint(const char* file, int line, bool* enabled);
  int Help();
  int Run();
  int Continue();
  int Step();
  int Next();
  int Until();
  int Kill();
  int Up();
  int Down();
  int Args();
  int Locals();
  int Stack();
  int Print(const char* expression);
  int PrintEx(const char* expression);
  int BreakSet(const char* file, int line);
  int BreakClear(const char* file, int line);
  int BreakAll();
  int BreakInfo();
  int SaveBreakpoints();
  int SendCommand(const char* text, bool echo);
  int Quit();
  bool IsRunning();
  bool SetBusy(bool busy);
  bool IsBusy();
  StopLocation* GetLocation();
  const char* GetAuxText();
  void* Destroy(unsigned int flags);
  int WriteBreakpoints(const char* section, bool atStop);
  int LoadBreakpoints(const char* section);
  int Extension(int argument);

  DbgProcess& process() { return process_; }
  DebugContext* context() const { return context_; }

 private:
  gdbDebugger(const gdbDebugger&) = delete;
  gdbDebugger& operator=(const gdbDebugger&) = delete;

  // Sends the command word of one action, as configured right now.
  int sendWord(int slot);
  int sendWithArgument(int slot, const char* argument);
  void clearMarker();
  const char* workspace() const;

  DbgProcess process_;
  std::atomic<bool> busy_;
  DebugContext* context_;
};

// The session the host reaches through DebugGetDebugger; null when none.
extern gdbDebugger* CurrentSession;

// Who frees a session, and how: the only code that does. The host ends a
// session in one of two ways and relies on each as it is:
// - by destroying its DebugContext: the session's storage goes without its
//   destructor, so the child is not killed there;
// - through the Destroy slot: the destructor runs (the child is killed),
//   and bit 0 of the flags frees the storage as well.
// The session's reader and writer threads work inside it. Threads that
// would not end (one held up in the host's callback) are handed what they
// use, and the last one out frees it here.
namespace SessionStorage {
// A new session for context, made the current one.
gdbDebugger* open(DebugContext* context);
// The context's destructor: the current session's storage, no destructor.
void freeCurrent();
// The host's stop: ends session's threads, then destroys context (and with
// it the session's storage); or hands both to threads that would not end.
void closeWithContext(DebugContext* context, gdbDebugger* session);
// The Destroy slot; returns session, as the host expects.
void* destroy(gdbDebugger* session, unsigned int flags);
// What the last thread out was handed (either may be null): raw storage,
// whose process object discard has already emptied.
void freeHeld(gdbDebugger* session, DebugContext* context);
}  // namespace SessionStorage

#endif
