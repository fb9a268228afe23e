// StreamCache driven by a byte script against a plain model: appends of
// any length (zeros included), both getLine forms, clear, and the final
// flag, with any delimiter.
#include <string.h>

#include "cStreamCache.hpp"
#include "fuzz.hpp"

// The model's next line: through the delimiter, or once final, the rest.
static bool takeModel(std::string& pending, char delimiter, bool final, std::string& want) {
  size_t at = pending.find(delimiter);
  if (at == std::string::npos && !(final && !pending.empty())) return false;
  size_t n = at == std::string::npos ? pending.size() : at + 1;
  want = pending.substr(0, n);
  pending.erase(0, n);
  return true;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  Bytes in(data, size);
  char delimiter = (char)in.byte();
  StreamCache cache(delimiter);
  std::string pending;  // the model: what is still to be taken
  bool final = false;
  while (!in.empty()) {
    switch (in.byte() % 6) {
      case 0:
      case 1:
      case 2: {  // bytes as they are; the zero-terminated form is the unit test's
        std::string t = in.text(200);
        final = in.byte() & 1;
        cache.append(t.data(), (int)t.size(), final);
        pending += t;
        break;
      }
      case 3: {
        const char* line;
        int length;
        bool got = cache.getLine(line, length);
        std::string want;
        FUZZ_CHECK(got == takeModel(pending, delimiter, final, want));
        FUZZ_CHECK(std::string(got ? line : "", length) == want);
        break;
      }
      case 4: {
        String line;
        bool got = cache.getLine(line);
        std::string want;
        FUZZ_CHECK(got == takeModel(pending, delimiter, final, want));
        FUZZ_CHECK(std::string(line.text()) == want.c_str());  // a String stops at zero
        break;
      }
      case 5:
        cache.clear();
        pending.clear();
        final = false;
        break;
    }
    FUZZ_CHECK(cache.length() == (int)pending.size());
    FUZZ_CHECK(strcmp(cache.text(), pending.c_str()) == 0);
  }
  return 0;
}
