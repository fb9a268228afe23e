// Child processes with redirected standard streams.
//
// Process starts one console program, optionally with its standard input,
// output and error connected to anonymous pipes, and waits for or kills it.
// Spawn adds the read loop that collects what the child prints, chunk by
// chunk and, through its StreamCache, line by line. SpawnEx runs a command
// through the command interpreter; SpawnToFile captures a command's output
// into a file. Semaphore and Lock are a try-lock and its scoped holder.
//
// Spawning swaps the process's standard handles for a moment: two spawns
// must not run at the same time in one process.
#ifndef CSPAWN_HPP
#define CSPAWN_HPP

#include <atomic>

#include "cStreamCache.hpp"
#include "cString.hpp"
#include "iSpawn.hpp"

// Buffered reader over a file: each read fills one of two blocks in turn,
// so a chunk handed out stays intact until the read after next.
class Stream {
 public:
  enum { BLOCK = 1048576, BUFFER = BLOCK + 2 };

  explicit Stream(iFile* file);
  ~Stream();

  // Reads what the file has, at most BLOCK - 1 bytes (blocking), as a
  // zero-terminated text: NUL bytes become blanks, with one warning per read.
  int fill();
  bool hasData() const { return unread_; }
  void consume() { unread_ = false; }
  const char* data() const { return buffers_[current_] ? buffers_[current_] : ""; }
  // The same block, for a reader that edits its chunk in place.
  char* block() { return buffers_[current_]; }
  // Gives back both blocks (the next fill takes them again).
  void release();
  // Reads from another file from now on.
  void setFile(iFile* file) { file_ = file; }
  int length() const { return length_; }
  bool isClosed() const { return file_->isClosed(); }

 private:
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  iFile* file_;
  char* buffers_[2];  // allocated at the first read
  int current_;
  int length_;
  bool unread_;
};

class Process {
 public:
  enum { COMMAND_SIZE = 261 };
  // The exit code of a child that we end ourselves.
  enum { KILLED = 99 };
  // How the child's console window shows; any other value is SHOW_NORMAL.
  enum ShowMode { SHOW_MAXIMIZED = 0, SHOW_MINIMIZED = 1, SHOW_NORMAL = 2, SHOW_HIDDEN = 3 };

  // A null title gives the child's console the command line as its title.
  Process(const char* title, unsigned showMode);
  virtual ~Process();
  // Sends text to the child's standard input.
  virtual bool write(const char* text);

  bool spawn(const char* commandLine);
  bool isFinished();
  unsigned long exitCode();
  bool kill(unsigned code);
  // Ends a read loop at its next pass; the child is left alone.
  void requestStop() { stop_ = true; }
  // Lets go of the child without ending it: its handles and every pipe end
  // of ours are closed.
  void detach();
  // 0 waits without limit. Messages are handled meanwhile; a WM_QUIT ends
  // the wait with false.
  bool wait(unsigned milliseconds);
  // Tells the child that no more input follows.
  void closeInput() { input_.closeWrite(); }

  // Which standard streams of the next child go through pipes.
  void redirect(bool input, bool error, bool output) {
    redirectInput_ = input;
    redirectError_ = error;
    redirectOutput_ = output;
  }
  bool redirectsInput() const { return redirectInput_; }
  bool redirectsError() const { return redirectError_; }
  bool redirectsOutput() const { return redirectOutput_; }
  void setShowMode(unsigned mode) { showMode_ = mode; }
  unsigned showMode() const { return showMode_; }
  void setTitle(const char* title) { title_ = title; }

  bool isIdle() const { return info_.hProcess == 0; }
  bool stopped() const { return stop_; }
  unsigned long lastError() const { return lastError_; }
  // The last command line, cut to COMMAND_SIZE - 1 characters.
  const char* commandBuffer() const { return commandBuffer_; }
  const PROCESS_INFORMATION& processInfo() const { return info_; }
  Pipe& inputPipe() { return input_; }
  Pipe& outputPipe() { return output_; }

 protected:
  Pipe input_;
  Pipe output_;  // carries standard error too
  Pipe error_;
  PROCESS_INFORMATION info_;
  std::atomic<bool> stop_;  // set by kill on another thread than the reader's
  DWORD exitCode_;
  DWORD lastError_;
  bool redirectInput_;
  bool redirectError_;
  bool redirectOutput_;
  char commandBuffer_[COMMAND_SIZE];
  HANDLE self_;
  const char* title_;
  unsigned showMode_;

 private:
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
};

// The reading side of a child's output: the pipe end read from, the stream
// of blocks over it and the cache of lines the blocks go into. One thread
// reads; another may only ask whether that read is blocked.
class OutputReader {
 public:
  // Reads from pipe until takeEnd gives it an end of its own.
  explicit OutputReader(Pipe& pipe) : stream_(&pipe) {}

  // Reads the next chunk (blocking) unless one is waiting; with caching,
  // it goes into the cache too. done tells that the chunk is empty because
  // the output ended. Returns the chunk's length.
  int read(const char*& chunk, bool& done, bool caching);
  // Moves pipe's read end here: from then on only the reading thread
  // closes it, never a kill under a blocked read.
  void takeEnd(Pipe& pipe);
  // True while a read of its own end blocks: the one moment at which the
  // reading thread may be cancelled.
  bool reading() const { return end_.reading; }
  // The chunk last read, for a reader that edits it in place.
  char* block() { return stream_.block(); }
  int length() const { return stream_.length(); }
  StreamCache& cache() { return cache_; }
  // Closes its own end, gives back the blocks and empties the cache.
  void release();

 private:
  class End : public Pipe {
   public:
    int read(char* buffer, int size);
    std::atomic<bool> reading{false};
  };

  End end_;
  Stream stream_;
  StreamCache cache_;
};

// Chunk callback of the read loop: true stops the loop. The idle callback
// has the same form and gets an empty text.
typedef bool (*ChunkCallback)(const char* chunk, void* user);

class Spawn : public Process {
 public:
  // Read-loop modes: between passes handle messages, sleep 10 ms, or go
  // straight on. NO_LOOP reads nothing.
  enum { NO_LOOP = 0, PUMP = 1, SLEEP = 2, BUSY = 3 };

  Spawn();
  ~Spawn();
  // Reads the next chunk (blocking) unless one is waiting. done tells that
  // the chunk is empty because the output ended. Returns the chunk's length.
  virtual int read(const char*& chunk, bool& done);

  // Runs the arguments joined by blanks, in directory when one is given.
  bool run(int count, const char* const* arguments, const char* directory = 0);
  bool runCommand(const char* commandLine);
  // Opens the command interpreter in a console of its own.
  bool shell();
  // Reads until the output ends, the child is killed, or a callback says
  // stop. True when it stopped by itself or through the idle callback,
  // false when the chunk callback ended it (or mode is NO_LOOP).
  bool readLoop(ChunkCallback onChunk, void* user, ChunkCallback onIdle, int mode);

  // With caching on, every chunk read also goes into the cache.
  void setCaching(bool on) { caching_ = on; }
  bool caching() const { return caching_; }
  StreamCache& cache() { return reader_.cache(); }
  OutputReader& reader() { return reader_; }
  bool outputSeen() const { return outputSeen_; }
  // The last command as run: arguments each followed by a blank.
  const String& command() const { return command_; }

 protected:
  String scratch_;
  OutputReader reader_;
  String command_;
  bool caching_;
  bool outputSeen_;
};

// The command interpreter's path: COMSPEC, else the system's default shell.
void shellProgram(String& path);

// Runs command lines through the command interpreter ("/c").
class SpawnEx : public Spawn {
 public:
  bool execute(const char* command);
  // Quotes the path of a "dir" of a network path, which may hold blanks:
  // dir \\host\my share /b becomes dir "\\host\my share" /b.
  // Returns whether the command was changed.
  static bool quoteNetworkDir(String& command);
};

// Runs a command with its output and error written to a file, and waits
// for the end of that output. The child gets no input.
class SpawnToFile : public Spawn {
 public:
  bool capture(const char* commandLine, const char* path);
};

// A try-lock with the name of its holder.
class Semaphore {
 public:
  Semaphore();
  virtual void release();
  // Tries once; when that fails and milliseconds is not 0, sleeps that long
  // and tries exactly once more.
  virtual bool acquire(const char* owner, unsigned milliseconds);
  virtual ~Semaphore();
  // The holder's name, or "None".
  virtual const char* owner() const;

 private:
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  SRWLOCK lock_;
  String owner_;
  bool held_;
};

// Holds a Semaphore for its own lifetime.
class Lock {
 public:
  // Takes semaphore at once, without waiting.
  explicit Lock(Semaphore& semaphore);
  // Names a holder of the process-wide semaphore; acquire takes it.
  explicit Lock(const char* name);
  ~Lock();

  bool acquire(unsigned milliseconds);
  bool held() const { return held_; }
  static Semaphore& processWide();

 private:
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  bool held_;
  String name_;
  Semaphore* semaphore_;
};

#endif
