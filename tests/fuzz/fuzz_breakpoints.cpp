// Stored breakpoints: entries "n=file##line##enabled" as the profile holds
// them, well formed or not. Arbitrary lines must parse or be refused, and
// what the plug-in writes (numbered items of a StringDZ block) must read
// back field for field whenever the fields can be stored at all.
#include <string.h>

#include <vector>

#include "GdbParse.hpp"
#include "fuzz.hpp"

// Whether a stored entry can give these fields back: the block's separator
// and zero end an item, a line feed ends a profile line, and the greedy
// match leaves '#' runs only to the file.
static bool storable(const std::string& file, const std::string& line, const std::string& on) {
  std::string all = file + line + on;
  if (all.find_first_of(std::string("\x01\n\0", 3)) != std::string::npos) return false;
  return line.find('#') == std::string::npos && on.find('#') == std::string::npos;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  Bytes in(data, size);
  String file, line, enabled;
  if (in.byte() & 1) {  // a section as read: one entry per line
    std::string text = in.rest();
    for (size_t at = 0; at <= text.size();) {
      size_t end = text.find('\n', at);
      if (end == std::string::npos) end = text.size();
      std::string entry = text.substr(at, end - at);
      at = end + 1;
      if (!ParseBreakpointEntry(entry.c_str(), file, line, enabled)) continue;
      const char* value = strchr(entry.c_str(), '=') + 1;
      String joined(file);
      joined += "##";
      joined += line;
      joined += "##";
      joined += enabled;
      FUZZ_CHECK(joined == value);
    }
    return 0;
  }
  // Entries written as WriteBreakpoints writes them, then read back.
  struct Entry { std::string file, line, on, stored; };
  std::vector<Entry> entries;
  StringDZ block;
  while (!in.empty() && entries.size() < 50) {
    Entry e{in.text(40), in.text(8), in.text(2), ""};
    e.stored = std::string(e.file.c_str()) + "##" + e.line.c_str() + "##" + e.on.c_str();
    block.add(e.stored.c_str(), true);
    entries.push_back(e);
  }
  const char* p = block.block();
  size_t i = 0;
  for (; *p; p += strlen(p) + 1, i++) {
    bool ok = ParseBreakpointEntry(p, file, line, enabled);
    if (i >= entries.size()) break;
    const Entry& e = entries[i];
    // a separator inside splits the item: the rest no longer line up
    if (e.stored.find('\x01') != std::string::npos) break;
    if (storable(e.file, e.line, e.on)) {
      FUZZ_CHECK(ok);
      FUZZ_CHECK(e.file == file.text() && e.line == line.text() && e.on == enabled.text());
    }
  }
  return 0;
}
