// The recognisers on arbitrary text: line numbers, file names (with a
// search folder list taken from the input too) and function headers.
#include "cRegexp.hpp"
#include "fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  static IsFunction headers;  // compiled once, as an editor uses it
  Bytes in(data, size);
  std::string folders = in.text(30);
  std::string text = in.rest();
  const char* line = text.c_str();
  int number = findLineNumber(line);
  FUZZ_CHECK(number >= -1);
  String result;
  if (findFileName(line, result, 0, folders.c_str())) FUZZ_CHECK(!result.isEmpty());
  if (headers.test(line)) FUZZ_CHECK(headers.result() != 0);
  return 0;
}
