// Shared by the fuzz targets: reads the fuzzer's bytes as a little script.
#ifndef FUZZ_HPP
#define FUZZ_HPP

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

class Bytes {
 public:
  Bytes(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}
  bool empty() const { return p_ == end_; }
  size_t left() const { return (size_t)(end_ - p_); }
  uint8_t byte() { return p_ < end_ ? *p_++ : 0; }
  // A small number: most often tiny, now and then near the edges.
  int number() {
    uint8_t b = byte();
    switch (b) {
      case 0xFF: return INT32_MAX;
      case 0xFE: return INT32_MIN;
      case 0xFD: return -2;
      case 0xFC: return -1;
      default: return b < 0xC0 ? b : (b - 0xC0) * 64;
    }
  }
  // Up to max bytes, the count from the script; may hold zeros.
  std::string text(size_t max = 64) {
    size_t n = byte() % (max + 1);
    if (n > left()) n = left();
    std::string s((const char*)p_, n);
    p_ += n;
    return s;
  }
  std::string rest() {
    std::string s((const char*)p_, left());
    p_ = end_;
    return s;
  }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

// A fuzz-found fault is a crash: the sanitizers report it, and so does this.
#define FUZZ_CHECK(cond) \
  ((cond) ? (void)0         \
          : (fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond), abort()))

#endif
