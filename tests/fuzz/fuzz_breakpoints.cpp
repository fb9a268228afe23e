// Stored breakpoints: entries "n=file##line##enabled" as the profile holds
// them, well formed or not. Arbitrary lines must parse or be refused, and
// an entry as the plug-in writes it must read back field for field whenever
// the fields can be stored at all.
#include <string.h>

#include <sstream>

#include "GdbParse.hpp"
#include "fuzz.hpp"

// A zero ends an entry, a line feed ends a profile line, and the greedy
// match leaves '#' runs only to the file.
static bool storable(const std::string& file, const std::string& line, const std::string& on) {
  std::string all = file + line + on;
  if (all.find_first_of(std::string("\n\0", 2)) != std::string::npos) return false;
  return line.find('#') == std::string::npos && on.find('#') == std::string::npos;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  Bytes in(data, size);
  String file, line, enabled;
  if (in.byte() & 1) {  // a section as read: one entry per line
    std::istringstream section(in.rest());
    for (std::string entry; std::getline(section, entry);) {
      if (!ParseBreakpointEntry(entry.c_str(), file, line, enabled)) continue;
      std::string joined = std::string(file.text()) + "##" + line.text() + "##" + enabled.text();
      FUZZ_CHECK(joined == strchr(entry.c_str(), '=') + 1);
    }
    return 0;
  }
  for (int n = 0; !in.empty(); n++) {
    std::string f = in.text(40), l = in.text(8), on = in.text(2);
    std::string entry = std::to_string(n) + "=" + f + "##" + l + "##" + on;
    bool ok = ParseBreakpointEntry(entry.c_str(), file, line, enabled);
    if (storable(f, l, on)) {
      FUZZ_CHECK(ok);
      FUZZ_CHECK(f == file.text() && l == line.text() && on == enabled.text());
    }
  }
  return 0;
}
