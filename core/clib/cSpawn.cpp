#include "cSpawn.hpp"

#include <stdlib.h>
#include <string.h>

#include "cError.hpp"

static const char nullFixup[] =
    "Warning: NULL to space binary fixup was applied!";

// ---------------------------------------------------------------- Stream

Stream::Stream(iFile* file)
    : file_(file), current_(0), length_(0), unread_(false) {
  buffers_[0] = buffers_[1] = 0;
}

Stream::~Stream() { release(); }

void Stream::release() {
  free(buffers_[0]);
  free(buffers_[1]);
  buffers_[0] = buffers_[1] = 0;
  length_ = 0;
  unread_ = false;
}

int Stream::fill() {
  current_ ^= 1;
  length_ = 0;
  unread_ = false;
  char* block = buffers_[current_];
  if (!block) block = buffers_[current_] = (char*)malloc(BUFFER);
  if (!block) {
    report(SOURCE_NAME, __LINE__);
    return 0;
  }
  int n = file_->read(block, BLOCK);
  // The text is handed on as a zero-terminated string: a NUL would cut it.
  bool fixed = false;
  for (char* p = (char*)findByte(block, n, 0); p;
       p = (char*)findByte(p, (int)(block + n - p), 0)) {
    *p = ' ';
    fixed = true;
  }
  if (fixed) report(SOURCE_NAME, __LINE__, nullFixup, REPORT_TRACE);
  length_ = n;
  unread_ = n > 0;
  return n;
}

// ---------------------------------------------------------------- Process

Process::Process(const char* title, unsigned showMode)
    : stop_(false),
      exitCode_(0),
      lastError_(0),
      redirectInput_(false),
      redirectError_(false),
      redirectOutput_(false),
      self_(GetCurrentProcess()),
      title_(title),
      showMode_(showMode) {
  memset(&info_, 0, sizeof info_);
  commandBuffer_[0] = 0;
}

Process::~Process() {
  // The pipes close their ends, the one kill retired included.
  if (redirectInput_ || redirectError_ || redirectOutput_) kill(KILLED);
}

bool Process::write(const char* text) {
  if (!text) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  // No flush: an anonymous pipe buffers nothing on our side, so the bytes
  // are already the child's to read. FlushFileBuffers would only wait until
  // the child reads them, and a program running freely never does: the IDE
  // would hang on the next command, even on the stop that is meant to kill it.
  return input_.write(text, (int)strlen(text));
}

// Replaces handle by a duplicate the child does not inherit.
static bool keepPrivate(HANDLE self, HANDLE& handle) {
  HANDLE copy = 0;
  if (!DuplicateHandle(self, handle, self, &copy, 0, FALSE,
                       DUPLICATE_SAME_ACCESS)) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  CloseHandle(handle);
  handle = copy;
  return true;
}

// Makes handle the process's standard handle kind, keeping the old one in
// saved for the restore.
static void swapStd(DWORD kind, HANDLE handle, HANDLE& saved) {
  saved = GetStdHandle(kind);
  if (!SetStdHandle(kind, handle)) report(SOURCE_NAME, __LINE__);
}

static WORD showCommand(unsigned mode) {
  switch (mode) {
    case Process::SHOW_MAXIMIZED: return SW_SHOWMAXIMIZED;
    case Process::SHOW_MINIMIZED: return SW_MINIMIZE;
    case Process::SHOW_HIDDEN: return SW_HIDE;
    default: return SW_SHOWNORMAL;
  }
}

bool Process::spawn(const char* commandLine) {
  if (!commandLine) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  if (!isFinished()) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  stop_ = false;
  exitCode_ = 0;
  lastError_ = 0;
  commandBuffer_[0] = 0;
  memset(&info_, 0, sizeof info_);

  STARTUPINFOA start;
  memset(&start, 0, sizeof start);
  start.cb = sizeof start;
  HANDLE savedIn = INVALID_HANDLE_VALUE;
  HANDLE savedOut = INVALID_HANDLE_VALUE;
  HANDLE savedErr = INVALID_HANDLE_VALUE;
  start.lpTitle = (char*)(title_ ? title_ : commandLine);
  bool nt = iPlatformId() == VER_PLATFORM_WIN32_NT;

  // The child inherits the process's standard handles, so each redirected
  // one is swapped for a pipe end until the child exists.
  if (redirectOutput_ || redirectError_) {
    if (!output_.create()) report(SOURCE_NAME, __LINE__);
    HANDLE read = output_.readHandle();
    if (read && keepPrivate(self_, read)) output_.setReadHandle(read);
    HANDLE write = output_.writeHandle();
    if (redirectOutput_) {
      swapStd(STD_OUTPUT_HANDLE, write, savedOut);
      start.hStdOutput = write;
      start.dwFlags |= STARTF_USESTDHANDLES;
    }
    if (!nt) {
      redirectError_ = false;  // no separate error stream there
    } else if (redirectError_) {
      swapStd(STD_ERROR_HANDLE, write, savedErr);
      start.hStdError = write;
    }
  }
  if (redirectInput_) {
    savedIn = GetStdHandle(STD_INPUT_HANDLE);
    if (!input_.create()) report(SOURCE_NAME, __LINE__);
    if (!SetStdHandle(STD_INPUT_HANDLE, input_.readHandle()))
      report(SOURCE_NAME, __LINE__);
    start.hStdInput = input_.readHandle();
    HANDLE write = input_.writeHandle();
    if (write && keepPrivate(self_, write)) input_.setWriteHandle(write);
  }
  if (start.dwFlags & STARTF_USESTDHANDLES) {  // the rest stay the parent's
    if (!start.hStdInput) start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    if (!start.hStdError) start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  }

  start.dwFlags |= STARTF_USESHOWWINDOW;
  start.wShowWindow = showCommand(showMode_);
  strncpy(commandBuffer_, commandLine, COMMAND_SIZE - 1);
  commandBuffer_[COMMAND_SIZE - 1] = 0;

  char* line = strdup(commandLine);  // CreateProcessA wants it writable
  BOOL ok = line && CreateProcessA(0, line, 0, 0, TRUE,
                                   nt ? CREATE_NEW_PROCESS_GROUP : 0, 0, 0,
                                   &start, &info_);
  DWORD error = ok ? 0 : line ? GetLastError() : ERROR_NOT_ENOUGH_MEMORY;
  free(line);

  // The child has its own copies now; ours would keep the pipes open.
  if (redirectInput_) input_.closeRead();
  if (redirectOutput_ || redirectError_) output_.closeWrite();
  if (savedIn != INVALID_HANDLE_VALUE) SetStdHandle(STD_INPUT_HANDLE, savedIn);
  if (savedErr != INVALID_HANDLE_VALUE) SetStdHandle(STD_ERROR_HANDLE, savedErr);
  if (savedOut != INVALID_HANDLE_VALUE) SetStdHandle(STD_OUTPUT_HANDLE, savedOut);

  lastError_ = error;
  if (!ok) memset(&info_, 0, sizeof info_);
  return ok != 0;
}

bool Process::isFinished() {
  if (!info_.hProcess) return true;
  if (WaitForSingleObject(info_.hProcess, 0) == WAIT_TIMEOUT) return false;
  GetExitCodeProcess(info_.hProcess, &exitCode_);
  CloseHandle(info_.hThread);
  CloseHandle(info_.hProcess);
  memset(&info_, 0, sizeof info_);
  return true;
}

unsigned long Process::exitCode() {
  isFinished();
  return exitCode_;
}

bool Process::kill(unsigned code) {
  stop_ = true;
  bool ok = true;
  if (info_.hProcess) {
    ok = TerminateProcess(info_.hProcess, code) != 0;
    CloseHandle(info_.hThread);
    CloseHandle(info_.hProcess);
    memset(&info_, 0, sizeof info_);
    input_.closeWrite();
    // Retired, not closed: a reader on another thread may be inside
    // ReadFile on it. The ended child breaks the pipe, and later reads find
    // no handle.
    output_.retireRead();
  }
  exitCode_ = code;
  return ok;
}

void Process::detach() {
  if (info_.hProcess) {
    CloseHandle(info_.hThread);
    CloseHandle(info_.hProcess);
    memset(&info_, 0, sizeof info_);
  }
  input_.close();
  output_.close();
  error_.close();
}

bool Process::wait(unsigned milliseconds) {
  DWORD start = GetTickCount();
  for (;;) {
    if (isFinished()) return true;
    if (pump()) return false;
    if (milliseconds && GetTickCount() - start > milliseconds) return false;
    // Short slices: keys the pump leaves queued must not keep us awake, and
    // must not make us miss the limit either.
    MsgWaitForMultipleObjects(1, &info_.hProcess, FALSE, 10, QS_ALLINPUT);
  }
}

// ---------------------------------------------------------------- OutputReader

int OutputReader::read(const char*& chunk, bool& done, bool caching) {
  if (!stream_.hasData()) stream_.fill();
  chunk = stream_.data();
  int n = stream_.length();
  stream_.consume();
  done = n == 0 && stream_.isClosed();
  if (caching) cache_.append(chunk, n, done);
  return n;
}

void OutputReader::takeEnd(Pipe& pipe) {
  end_.take(pipe);
  stream_.setFile(&end_);
}

void OutputReader::release() {
  end_.close();
  stream_.release();
  cache_.clear();
}

int OutputReader::End::read(char* buffer, int size) {
  reading = true;
  int n = Pipe::read(buffer, size);
  reading = false;
  return n;
}

// ---------------------------------------------------------------- Spawn

Spawn::Spawn()
    : Process("", SHOW_NORMAL), reader_(output_), caching_(false), outputSeen_(false) {}

Spawn::~Spawn() {}

int Spawn::read(const char*& chunk, bool& done) { return reader_.read(chunk, done, caching_); }

bool Spawn::run(int count, const char* const* arguments, const char* directory) {
  if (count < 1 || !arguments || !arguments[0]) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  if (!isFinished()) return false;
  command_ = "";
  for (int i = 0; i < count; i++) {
    if (arguments[i]) command_ += arguments[i];
    command_ += " ";
  }
  cache().clear();

  char* saved = 0;
  bool ok = true;
  if (directory) {  // the child starts in the caller's current directory
    DWORD size = GetCurrentDirectoryA(0, 0);
    saved = (char*)malloc(size + 1);
    if (!saved || !GetCurrentDirectoryA(size + 1, saved) ||
        !SetCurrentDirectoryA(directory)) {
      lastError_ = saved ? GetLastError() : ERROR_NOT_ENOUGH_MEMORY;
      free(saved);
      saved = 0;
      ok = false;
    }
  }
  if (ok) ok = spawn(command_);
  if (saved) {
    SetCurrentDirectoryA(saved);
    free(saved);
  }
  if (!ok) {
    scratch_.format("cSpawn: '%s' failed with '%ld' return code.",
                    command_.text(), (long)lastError_);
    report(SOURCE_NAME, __LINE__, scratch_, REPORT_TRACE);
  }
  return ok;
}

bool Spawn::runCommand(const char* commandLine) {
  return run(1, &commandLine, 0);
}

void shellProgram(String& path) {
  path = "";
  DWORD size = GetEnvironmentVariableA("COMSPEC", 0, 0);
  if (size > 1) {
    char* value = (char*)malloc(size);
    if (value && GetEnvironmentVariableA("COMSPEC", value, size) < size)
      path = value;
    free(value);
  }
  if (path.isEmpty())
    path = iPlatformId() == VER_PLATFORM_WIN32_NT ? "cmd.exe" : "command.com";
}

bool Spawn::shell() {
  String program;
  shellProgram(program);
  int n = program.length();
  if ((n >= 7 && program.find("cmd.exe") >= 0) ||
      (n >= 11 && program.find("command.com") >= 0))
    program += " /k";  // stay open for the user
  redirectOutput_ = redirectError_ = false;
  showMode_ = SHOW_NORMAL;
  const char* line = program.text();
  return run(1, &line, 0);
}

static bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool Spawn::readLoop(ChunkCallback onChunk, void* user, ChunkCallback onIdle,
                     int mode) {
  outputSeen_ = false;
  cache().clear();
  if (mode == NO_LOOP) return false;
  for (unsigned pass = 0;; pass++) {
    if (stop_) return true;
    if (onIdle && pass % 5 == 0 && onIdle("", user)) return true;
    const char* chunk;
    bool done;
    int n = read(chunk, done);
    // A lone blank is what a console prints without meaning anything.
    if (!outputSeen_) outputSeen_ = n >= 1 && !(n == 1 && isBlank(chunk[0]));
    if (done) {
      // Once more for the last unfinished line waiting in the cache.
      if (onChunk && (n > 0 || (caching_ && cache().length() != n)))
        onChunk(chunk, user);
      return true;
    }
    if (onChunk && onChunk(chunk, user)) return false;
    if (mode == PUMP)
      pump();
    else if (mode == SLEEP)
      Sleep(10);
  }
}

// ---------------------------------------------------------------- SpawnEx

bool SpawnEx::quoteNetworkDir(String& command) {
  // "(^dir[ ]+)(\\.*)": the path starts at the first backslash.
  if (!command.startsWith("dir ")) return false;
  int path = 3;
  while (command.text()[path] == ' ') path++;
  if (command.text()[path] != '\\') return false;
  int end = command.find(" /", path);
  if (end < 0) end = command.length();
  String name = command.mid(path, end - path);
  name.trimRight();
  String fixed = command.mid(0, path);
  fixed += "\"";
  fixed += name;
  fixed += "\"";
  fixed += command.from(path + name.length());
  command = fixed;
  return true;
}

// The library needs Windows 7 or later (SRW try-locks), so the console
// helper that Windows 9x needed to redirect a shell's output has no place.
bool SpawnEx::execute(const char* command) {
  if (!command) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  String text(command);
  quoteNetworkDir(text);
  shellProgram(scratch_);
  scratch_ += " /c ";
  scratch_ += text;
  String line(scratch_);  // run formats into scratch_
  return runCommand(line);
}

// ---------------------------------------------------------------- SpawnToFile

static bool writeChunk(const char* chunk, void* file) {
  DWORD n = (DWORD)strlen(chunk), put = 0;
  if (n && (!WriteFile((HANDLE)file, chunk, n, &put, 0) || put != n))
    return true;  // a full disk ends the capture
  return false;
}

bool SpawnToFile::capture(const char* commandLine, const char* path) {
  if (!commandLine || !path) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  HANDLE file = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, 0,
                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) {
    lastError_ = GetLastError();
    return false;
  }
  redirect(true, true, true);
  bool ok = runCommand(commandLine);
  if (ok) {
    closeInput();
    ok = readLoop(writeChunk, file, 0, BUSY);
    if (!ok) kill(KILLED);
    wait(0);
  }
  CloseHandle(file);
  return ok;
}

// ---------------------------------------------------------------- Semaphore

Semaphore::Semaphore() : held_(false) { InitializeSRWLock(&lock_); }

Semaphore::~Semaphore() {}

void Semaphore::release() {
  if (!held_) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  held_ = false;
  owner_ = "";
  ReleaseSRWLockExclusive(&lock_);
}

bool Semaphore::acquire(const char* owner, unsigned milliseconds) {
  bool got = TryAcquireSRWLockExclusive(&lock_) != 0;
  if (!got && milliseconds) {  // one more try only: callers must not hang
    Sleep(milliseconds);
    got = TryAcquireSRWLockExclusive(&lock_) != 0;
  }
  if (got) {
    held_ = true;
    owner_ = owner ? owner : "";
  }
  return got;
}

const char* Semaphore::owner() const {
  return owner_.isEmpty() ? "None" : owner_.text();
}

// ---------------------------------------------------------------- Lock

Lock::Lock(Semaphore& semaphore) : held_(false), semaphore_(&semaphore) {
  name_ = "Create Window";
  held_ = semaphore_->acquire(name_, 0);
}

Lock::Lock(const char* name)
    : held_(false), name_(name), semaphore_(&processWide()) {}

Lock::~Lock() {
  if (held_) semaphore_->release();
}

bool Lock::acquire(unsigned milliseconds) {
  if (!held_) held_ = semaphore_->acquire(name_, milliseconds);
  return held_;
}

Semaphore& Lock::processWide() {
  static Semaphore semaphore;
  return semaphore;
}
