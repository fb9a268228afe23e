// Every line of the debugger's output, as the reader takes it from its line
// cache, through the position-line recogniser: a line it takes names a
// file, in backslashes only, and a line number. How the cache splits text
// that arrives in chunks is the streamcache target's.
#include "GdbParse.hpp"
#include "cStreamCache.hpp"
#include "fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  StreamCache cache;
  cache.append((const char*)data, (int)size, true);
  String line, file;
  int number;
  while (cache.getLine(line))
    if (ParsePositionLine(line, file, number))
      FUZZ_CHECK(!file.isEmpty() && number >= 0 && file.find('/') < 0);
  return 0;
}
