// Platform pieces under the process layer: the file interface, one
// anonymous pipe, the thread starter and the message pump.
#ifndef ISPAWN_HPP
#define ISPAWN_HPP

#include <windows.h>

// The library's file interface. A file object may or may not support each
// operation; the defaults do nothing and report failure.
class iFile {
 public:
  virtual ~iFile() {}
  virtual bool attach(HANDLE handle) { return false; }
  virtual bool open(const char* name, unsigned mode) { return false; }
  virtual long seek(long offset, int origin) { return -1; }
  virtual long tell() { return -1; }
  virtual long size() { return -1; }
  virtual bool isClosed() { return true; }
  // Reads at most size - 1 bytes and zero-terminates them; returns the count.
  virtual int read(char* buffer, int size) { return 0; }
  virtual bool eof() { return true; }
  virtual bool setSize(long size) { return false; }
  virtual bool lock(bool on) { return false; }
  virtual bool write(const char* text, int length) { return false; }
  virtual void setName(const char* name, unsigned tag) {}
  virtual bool flush() { return false; }
};

// One anonymous pipe. Its handles are inheritable and carry a null DACL, so
// that any child process may use them.
class Pipe : public iFile {
 public:
  enum { NAME_SIZE = 255 };

  Pipe();
  ~Pipe();

  bool isClosed() { return closed_; }
  // Blocks until data arrives; 0 when the pipe ended, broke or has no read
  // end, and from then on the pipe counts as closed.
  int read(char* buffer, int size);
  bool write(const char* text, int length);
  void setName(const char* name, unsigned tag);
  bool flush();
  // Replaces any earlier pipe by a new one of the system's default size.
  virtual bool create();

  // Closes both ends and a retired read end.
  void close();
  void closeRead();
  void closeWrite();
  // Takes the read end out of use without closing it: a reader on another
  // thread may be inside ReadFile on it, and a closed handle's value could
  // be reused under it. close() and the destructor close it.
  void retireRead();
  // Moves from's handles and state here, closing ours first; from is left
  // closed and empty. Hands an end to the one thread that will use it.
  void take(Pipe& from);
  HANDLE readHandle() const { return read_; }
  HANDLE writeHandle() const { return write_; }
  // Puts a handle in place without closing the old one.
  void setReadHandle(HANDLE handle) { read_ = handle; }
  void setWriteHandle(HANDLE handle) { write_ = handle; }
  unsigned long bytesRead() const { return counter_; }
  const char* name() const { return name_; }
  unsigned tag() const { return tag_; }
  const SECURITY_ATTRIBUTES& attributes() const { return attributes_; }

 private:
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  bool closed_;
  HANDLE read_;
  HANDLE write_;
  HANDLE retired_;
  SECURITY_DESCRIPTOR descriptor_;
  SECURITY_ATTRIBUTES attributes_;
  unsigned long counter_;
  char name_[NAME_SIZE];
  unsigned tag_;
};

// Platform id of GetVersionExA: 0 Win32s, 1 Windows 9x, 2 the NT family.
unsigned iPlatformId();

typedef void (*ThreadFunction)(void* argument);

// Runs function(argument) on a new thread of normal priority; the thread
// cleans up after itself. False when no thread could be created.
bool startThread(ThreadFunction function, void* argument);

// Handles the messages waiting in this thread's queue, at most ten, and
// never waits. Messages 0x0101-0x0108 (key-up, characters, system keys)
// stay queued: the pump runs inside other work, and what the user types
// meanwhile belongs to whatever runs the real message loop. True when
// WM_QUIT is waiting; it is left in the queue for that loop.
bool pump();

#endif
