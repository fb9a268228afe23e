// The reader's road for debugger output: the text arrives in chunks of any
// size, split anywhere, NUL and Ctrl-Z included; it goes through the NUL
// fix-up, the Ctrl-Z blanking, the line cache with its cut of an endless
// line, and every line through the position-line recogniser. The lines
// must give back exactly the (fixed-up) text.
#include <string.h>

#include "GdbParse.hpp"
#include "cStreamCache.hpp"
#include "fuzz.hpp"

enum { LINE_LIMIT = 300 };  // the reader's cut, small enough to be reached

static void takeLines(StreamCache& cache, std::string& got) {
  String line, file;
  int number;
  while (cache.getLine(line)) {
    FUZZ_CHECK(line.length() > 0);
    got.append(line.text(), line.length());
    if (ParsePositionLine(line, file, number)) {
      FUZZ_CHECK(!file.isEmpty() && number >= 0);
      FUZZ_CHECK(file.find('/') < 0);
    }
  }
  if (cache.length() > LINE_LIMIT) {
    got.append(cache.text(), cache.length());
    cache.clear();
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  Bytes in(data, size);
  // The first bytes choose where the chunks end; the rest is the output.
  uint32_t seed = in.byte() | in.byte() << 8;
  std::string text = in.rest();
  std::string fixed = text, got;
  for (char& c : fixed)
    if (c == 0 || c == 0x1a) c = ' ';

  StreamCache cache;
  std::string block;
  for (size_t at = 0; at < text.size();) {
    seed = seed * 1103515245u + 12345u;
    size_t n = 1 + (seed >> 16) % 97;
    if (n > text.size() - at) n = text.size() - at;
    block.assign(text, at, n);
    at += n;
    char* p = &block[0];
    for (char bad : {'\0', '\x1a'})
      for (char* q = p; (q = (char*)findByte(q, (int)(p + n - q), bad));) *q = ' ';
    cache.append(p, (int)n, at == text.size());
    takeLines(cache, got);
  }
  cache.append("", true);
  takeLines(cache, got);
  FUZZ_CHECK(cache.isEmpty());
  FUZZ_CHECK(got == fixed);
  return 0;
}
