#include "cStreamCache.hpp"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "cError.hpp"

#if defined(__GNUC__) && (defined(__i386__) || defined(__x86_64__))
#define SCAN_SSE2
#include <emmintrin.h>
#endif

StreamCache::StreamCache(char delimiter)
    : final_(false),
      delimiter_(delimiter),
      buffer_(0),
      size_(0),
      capacity_(0),
      offset_(0),
      scanned_(0) {}

StreamCache::~StreamCache() { free(buffer_); }

void StreamCache::append(const char* text, bool final) {
  append(text, text ? (int)strlen(text) : 0, final);
}

void StreamCache::append(const char* text, int length, bool final) {
  final_ = final;
  if (!text || length <= 0) return;
  if (offset_ > 0) {  // drop what was taken: moves only the unfinished line
    size_ -= offset_;
    memmove(buffer_, buffer_ + offset_, size_);
    scanned_ -= offset_;
    offset_ = 0;
  }
  if (length >= capacity_ - size_) {
    int capacity = capacity_ ? capacity_ : 4096;
    while (capacity - size_ <= length) {
      if (capacity > INT32_MAX / 2) {
        report(SOURCE_NAME, __LINE__, "StreamCache: text too long");
        return;
      }
      capacity *= 2;
    }
    char* block = (char*)realloc(buffer_, capacity);
    if (!block) {
      report(SOURCE_NAME, __LINE__, "StreamCache: out of memory");
      return;
    }
    buffer_ = block;
    capacity_ = capacity;
  }
  memcpy(buffer_ + size_, text, length);
  size_ += length;
  buffer_[size_] = 0;
}

bool StreamCache::getLine(const char*& line, int& length) {
  line = "";
  length = 0;
  if (!buffer_) return false;
  const char* hit = findByte(buffer_ + scanned_, size_ - scanned_, delimiter_);
  int stop;
  if (hit) {
    stop = (int)(hit - buffer_) + 1;
  } else {
    scanned_ = size_;  // a long unfinished line is searched only once
    if (!final_ || offset_ == size_) return false;
    stop = size_;
  }
  line = buffer_ + offset_;
  length = stop - offset_;
  offset_ = scanned_ = stop;
  return true;
}

bool StreamCache::getLine(String& line) {
  const char* text;
  int length;
  if (!getLine(text, length)) {
    line = "";
    return false;
  }
  // Terminated for a moment in place: assign is the cheapest copy String has.
  char* end = (char*)text + length;
  char next = *end;
  *end = 0;
  line = text;
  *end = next;
  return true;
}

void StreamCache::clear() {
  free(buffer_);
  buffer_ = 0;
  size_ = capacity_ = offset_ = scanned_ = 0;
  final_ = false;
}

#ifdef SCAN_SSE2
// Sixteen bytes at a time, on every x86 that has SSE2.
__attribute__((target("sse2"))) static const char* findSse2(
    const char* text, int length, char byte) {
  const char* p = text;
  const char* end = text + length;
  const __m128i pattern = _mm_set1_epi8(byte);
  for (; end - p >= 16; p += 16) {
    __m128i block = _mm_loadu_si128((const __m128i*)p);
    int hits = _mm_movemask_epi8(_mm_cmpeq_epi8(block, pattern));
    if (hits) return p + __builtin_ctz(hits);
  }
  for (; p < end; p++)
    if (*p == byte) return p;
  return 0;
}

static bool detectSse2() {
  __builtin_cpu_init();  // static initialisers may run before libgcc's
  return __builtin_cpu_supports("sse2");
}
static const bool haveSse2 = detectSse2();
#endif

const char* findByte(const char* text, int length, char byte) {
  if (!text || length <= 0) return 0;
#ifdef SCAN_SSE2
  if (haveSse2) return findSse2(text, length, byte);
#endif
  return (const char*)memchr(text, byte, length);
}
