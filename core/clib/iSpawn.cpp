#include "iSpawn.hpp"

#include <stdlib.h>
#include <string.h>

#include "cError.hpp"

static unsigned queryPlatformId() {
  OSVERSIONINFOA version;
  memset(&version, 0, sizeof version);
  version.dwOSVersionInfoSize = sizeof version;
  if (!GetVersionExA(&version)) return VER_PLATFORM_WIN32_NT;
  return version.dwPlatformId;
}

unsigned iPlatformId() {
  static const unsigned id = queryPlatformId();
  return id;
}

Pipe::Pipe() : closed_(true), read_(0), write_(0), retired_(0), counter_(0), tag_(0) {
  memset(&descriptor_, 0, sizeof descriptor_);
  attributes_.nLength = sizeof attributes_;
  attributes_.lpSecurityDescriptor = 0;
  attributes_.bInheritHandle = TRUE;
  if (iPlatformId() == VER_PLATFORM_WIN32_NT &&
      InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) &&
      SetSecurityDescriptorDacl(&descriptor_, TRUE, 0, FALSE))
    attributes_.lpSecurityDescriptor = &descriptor_;
  name_[0] = 0;
}

Pipe::~Pipe() { close(); }

bool Pipe::create() {
  close();
  bool ok = CreatePipe(&read_, &write_, &attributes_, 0) != 0;
  if (!ok) read_ = write_ = 0;
  counter_ = 0;
  closed_ = !ok;
  return ok;
}

int Pipe::read(char* buffer, int size) {
  if (!buffer) {
    report(SOURCE_NAME, __LINE__);
    return 0;
  }
  if (size < 1) return 0;
  buffer[0] = 0;
  HANDLE handle = read_;  // kill may take it away meanwhile, on another thread
  if (!handle || closed_ || size < 2) return 0;
  DWORD got = 0;
  if (!ReadFile(handle, buffer, (DWORD)size - 1, &got, 0) || got == 0) {
    closed_ = true;
    return 0;
  }
  buffer[got] = 0;
  counter_ += got;
  return (int)got;
}

bool Pipe::write(const char* text, int length) {
  if (!text || length < 0) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  if (!write_) return false;
  while (length > 0) {  // a pipe may take a large write in parts
    DWORD put = 0;
    if (!WriteFile(write_, text, (DWORD)length, &put, 0) || put == 0)
      return false;
    text += put;
    length -= (int)put;
  }
  return true;
}

void Pipe::setName(const char* name, unsigned tag) {
  strncpy(name_, name ? name : "", NAME_SIZE - 1);
  name_[NAME_SIZE - 1] = 0;
  tag_ = tag;
}

bool Pipe::flush() { return write_ && FlushFileBuffers(write_); }

void Pipe::close() {
  closeRead();
  closeWrite();
  if (retired_) CloseHandle(retired_);
  retired_ = 0;
}

void Pipe::retireRead() {
  if (!read_) return;
  if (retired_) CloseHandle(retired_);
  retired_ = read_;
  read_ = 0;
}

void Pipe::take(Pipe& from) {
  if (&from == this) return;
  close();
  read_ = from.read_;
  write_ = from.write_;
  retired_ = from.retired_;
  closed_ = from.closed_;
  counter_ = from.counter_;
  from.read_ = from.write_ = from.retired_ = 0;
  from.closed_ = true;
}

void Pipe::closeRead() {
  if (read_) CloseHandle(read_);
  read_ = 0;
}

void Pipe::closeWrite() {
  if (write_) CloseHandle(write_);
  write_ = 0;
}

namespace {

struct ThreadRecord {
  HANDLE handle;
  DWORD id;
  ThreadFunction function;
  void* argument;
};

DWORD WINAPI trampoline(LPVOID data) {
  ThreadRecord* record = (ThreadRecord*)data;
  record->function(record->argument);
  CloseHandle(record->handle);
  free(record);
  return 0;
}

}  // namespace

bool startThread(ThreadFunction function, void* argument) {
  if (!function) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  ThreadRecord* record = (ThreadRecord*)calloc(1, sizeof *record);
  if (!record) return false;
  record->function = function;
  record->argument = argument;
  // Suspended, so that the record holds the handle before the thread can
  // close it.
  record->handle =
      CreateThread(0, 0, trampoline, record, CREATE_SUSPENDED, &record->id);
  if (!record->handle) {
    free(record);
    return false;
  }
  SetThreadPriority(record->handle, THREAD_PRIORITY_NORMAL);
  ResumeThread(record->handle);
  return true;
}

bool pump() {
  for (int pass = 0; pass < 10; pass++) {
    MSG msg;
    UINT low = 0x0001, high = 0x0100;
    if (!PeekMessageA(&msg, 0, low, high, PM_NOREMOVE)) {
      low = 0x0109;
      high = 0xFFFFFFFF;
      if (!PeekMessageA(&msg, 0, low, high, PM_NOREMOVE)) return false;
    }
    if (msg.message == WM_QUIT) return true;
    // The same range as the peek, so that a queued key is never taken.
    int got = GetMessageA(&msg, 0, low, high);
    if (got == 0) {  // a quit posted since the peek: leave it for the loop
      PostQuitMessage((int)msg.wParam);
      return true;
    }
    if (got < 0) return false;
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  return false;
}
