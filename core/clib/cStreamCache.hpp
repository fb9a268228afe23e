// StreamCache: collects the output of a child process chunk by chunk and
// hands it back one line at a time.
//
// The reader takes every complete line off after each chunk, at up to
// hundreds of megabytes a second, so the cache is built for that: lines are
// taken from a read offset instead of being cut off the front, the front is
// dropped only when the next chunk arrives, and the text lives in a plain
// byte block that grows by doubling. (A String would rescan its whole text
// on every append.)
#ifndef CSTREAMCACHE_HPP
#define CSTREAMCACHE_HPP

#include "cString.hpp"

class StreamCache {
 public:
  explicit StreamCache(char delimiter = '\n');
  ~StreamCache();

  // Adds text at the end; final tells that no more text will follow, which
  // lets getLine hand out a last line that has no delimiter.
  void append(const char* text, bool final);
  // The same for length bytes of text, taken as they are.
  void append(const char* text, int length, bool final);
  // Takes the next line, delimiter included, off the front. Without a
  // delimiter in the cache, the rest is a line only once final was set.
  // line is emptied first in every case.
  bool getLine(String& line);
  // The same without a copy: line points into the cache and holds length
  // bytes (not zero-terminated) until the next append or clear.
  bool getLine(const char*& line, int& length);
  // Empties the cache, gives back its memory and clears the final flag.
  void clear();

  // What is still to be taken.
  int length() const { return size_ - offset_; }
  bool isEmpty() const { return size_ == offset_; }
  const char* text() const { return buffer_ ? buffer_ + offset_ : ""; }

  bool isFinal() const { return final_; }
  char delimiter() const { return delimiter_; }

 private:
  StreamCache(const StreamCache&) = delete;
  StreamCache& operator=(const StreamCache&) = delete;

  bool final_;
  char delimiter_;
  char* buffer_;  // zero-terminated at size_
  int size_;
  int capacity_;
  int offset_;   // start of the first line not yet taken
  int scanned_;  // no delimiter between offset_ and here
};

// memchr, fast also where the C library's is a plain byte loop (as in the
// msvcrt of some systems): the cache and the NUL fix-up scan every byte a
// child prints.
const char* findByte(const char* text, int length, char byte);

#endif
