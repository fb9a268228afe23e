#include "GdbSession.hpp"

#include <new>

#include "GdbBreak.hpp"
#include "GdbSettings.hpp"
#include "xApp.hpp"

gdbDebugger* CurrentSession = 0;

// Not a lock that waits: a send that finds it taken (a nested one, or one
// from the other thread) is dropped rather than interleaved.
static std::atomic<bool> sending(false);

// Handed out when there is no context to hold a marker.
static StopLocation noLocation;

gdbDebugger::gdbDebugger(DebugContext* context)
    : process_(context, this), busy_(false), context_(context) {}

gdbDebugger::~gdbDebugger() {}

const char* gdbDebugger::workspace() const { return context_ ? context_->info.workspace : ""; }

void gdbDebugger::clearMarker() {
  if (context_) context_->ReportLocation("", 0);
}

int gdbDebugger::sendWord(int slot) { return SendCommand(DebugSettings.cmd[slot], true); }

int gdbDebugger::sendWithArgument(int slot, const char* argument) {
  String line;
  line.format("%s %s", DebugSettings.cmd[slot], argument ? argument : "");
  return SendCommand(line, true);
}

// Breakpoints are always written, enabled or not.
bool gdbDebugger::SupportsBreakFilter() { return false; }

bool gdbDebugger::IsBreakpoint(const char* file, int line, bool* enabled) {
  return ::IsBreakpoint(file, line, enabled);
}

int gdbDebugger::Help() { return sendWord(SLOT_HELP); }

int gdbDebugger::Run() {
  SetBusy(true);
  clearMarker();
  return sendWord(SLOT_RUN);
}

int gdbDebugger::Continue() {
  clearMarker();
  return sendWord(SLOT_CONTINUE);
}

int gdbDebugger::Step() { return sendWord(SLOT_STEP); }
int gdbDebugger::Next() { return sendWord(SLOT_NEXT); }
int gdbDebugger::Until() { return sendWord(SLOT_UNTIL); }

int gdbDebugger::Kill() {
  WriteBreakpoints(workspace(), true);
  SetBusy(false);
  clearMarker();
  return sendWord(SLOT_KILL);
}

int gdbDebugger::Up() { return sendWord(SLOT_UP); }
int gdbDebugger::Down() { return sendWord(SLOT_DOWN); }
int gdbDebugger::Args() { return sendWord(SLOT_ARGS); }
int gdbDebugger::Locals() { return sendWord(SLOT_LOCALS); }
int gdbDebugger::Stack() { return sendWord(SLOT_STACK); }
int gdbDebugger::Print(const char* expression) { return sendWithArgument(SLOT_PRINT, expression); }

int gdbDebugger::PrintEx(const char* expression) {
  return sendWithArgument(SLOT_PRINTEX, expression);
}

int gdbDebugger::BreakSet(const char* file, int line) {
  return ::BreakSet(*this, workspace(), file, line);
}

int gdbDebugger::BreakClear(const char* file, int line) {
  return ::BreakClear(*this, workspace(), file, line);
}

int gdbDebugger::BreakAll() { return ::BreakAll(*this, workspace()); }
int gdbDebugger::BreakInfo() { return sendWord(SLOT_BREAKINFO); }

int gdbDebugger::SaveBreakpoints() {
  if (!context_) return 0;
  return WriteBreakpoints(workspace(), false);
}

int gdbDebugger::SendCommand(const char* text, bool echo) {
  if (sending.exchange(true)) return 0;
  int sent = 0;
  if (context_ && text && *text) {
    String line(text);
    line += "\n";
    if (echo) context_->ReportText(line);
    process_.write(line);  // a dead debugger is the reader's to notice
    sent = 1;
  }
  sending = false;
  return sent;
}

int gdbDebugger::Quit() {
  clearMarker();
  SetBusy(false);
  return SendCommand(DebugSettings.infoQuit, true);
}

bool gdbDebugger::IsRunning() {
  if (!context_) return false;
  return !process_.isFinished();
}

bool gdbDebugger::SetBusy(bool busy) {
  busy_ = busy;
  return busy;
}

bool gdbDebugger::IsBusy() { return busy_; }

StopLocation* gdbDebugger::GetLocation() { return context_ ? &context_->location : &noLocation; }

const char* gdbDebugger::GetAuxText() { return ""; }

void* gdbDebugger::Destroy(unsigned int flags) { return SessionStorage::destroy(this, flags); }

int gdbDebugger::WriteBreakpoints(const char* section, bool atStop) {
  return ::WriteBreakpoints(*this, workspace(), section, atStop);
}

int gdbDebugger::LoadBreakpoints(const char* section) {
  return ::LoadBreakpoints(*this, workspace(), section);
}

int gdbDebugger::Extension(int) { return 0; }

// ---------------------------------------------------------------- storage

static void freeStorage(void* storage) { ::operator delete(storage); }

gdbDebugger* SessionStorage::open(DebugContext* context) {
  CurrentSession = new gdbDebugger(context);
  CurrentSession->SetBusy(false);
  return CurrentSession;
}

void SessionStorage::freeCurrent() {
  freeStorage(CurrentSession);
  CurrentSession = 0;
}

void SessionStorage::closeWithContext(DebugContext* context, gdbDebugger* session) {
  if (session && !session->process().endThreads()) {
    // What destroying the context does, but its storage goes with the threads.
    CurrentSession = 0;
    xApplication::setInstance(0);
    session->process().handOver(session, context);
    return;
  }
  if (session) session->process().discard();
  delete context;
}

void* SessionStorage::destroy(gdbDebugger* session, unsigned int flags) {
  if (CurrentSession == session) CurrentSession = 0;
  DbgProcess& process = session->process();
  process.kill(DbgProcess::KILLED);
  bool freeIt = flags & 1;
  if (!process.endThreads()) {
    process.handOver(freeIt ? session : 0, 0);
    return session;
  }
  session->~gdbDebugger();
  if (freeIt) freeStorage(session);
  return session;
}

void SessionStorage::freeHeld(gdbDebugger* session, DebugContext* context) {
  freeStorage(session);
  freeStorage(context);
}
