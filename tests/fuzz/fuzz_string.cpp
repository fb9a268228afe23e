// String's editing operations driven by a byte script: every call with
// positions, counts and texts from the input, the string's own text among
// them. Positions past the ends, huge counts and zero bytes must end in a
// defined result, never outside the buffer.
#include <limits.h>
#include <string.h>

#include "cString.hpp"
#include "fuzz.hpp"

enum { BIG = 1 << 16 };  // the script grows nothing beyond this

static void check(const String& s) {
  FUZZ_CHECK(s.length() >= 0 && s.length() < s.capacity());
  // An inserted zero byte deliberately keeps the recorded length, and a
  // later byte-wise edit may turn it into text again: the terminator then
  // lies one past the length, never further.
  FUZZ_CHECK((int)strnlen(s.text(), s.capacity()) <= s.length() + 1);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  setLogPath("");
  Bytes in(data, size);
  String s, other;
  StringDZ list(in.byte() & 1 ? ',' : '\x01');
  volatile long sink = 0;  // results are read, so nothing is left out
  while (!in.empty()) {
    // Every argument is read before the call, in one order: the order in
    // which a compiler evaluates call arguments must not change the script.
    int op = in.byte() % 40;
    std::string t = in.text(24), t2 = in.text(8);
    const char* text = t.c_str();
    // the string's own text, from some offset, as the argument
    const char* own = s.text() + (s.length() ? in.byte() % (s.length() + 1) : 0);
    const char* arg = in.byte() & 1 ? own : text;
    int n = in.number(), m = in.number();
    char ch = (char)in.byte();
    bool flag = in.byte() & 1, flag2 = in.byte() & 1;
    bool small = s.length() < BIG;
    switch (op) {
      case 0: s.assign(arg); break;
      case 1: if (small) s.append(arg, n); break;
      case 2: if (small) s.appendChar(ch); break;
      case 3: s.setChar(ch); break;
      case 4: if (small) s.insertChar(ch, n); break;
      case 5: if (small) s.insertText(arg, n); break;
      case 6: s.remove(n, m); break;
      case 7: s.truncate(n); break;
      case 8: s.truncateAtLeast(n); break;
      case 9: s.chop(); break;
      case 10: if (n < BIG || n == INT_MAX) s.at(n) = ch; break;
      case 11: if (small) s.replace(arg, t2.c_str(), n); break;
      case 12: if (small) sink += s.replaceAll(arg, t2.c_str()); break;
      case 13: s.removeAll(ch); break;
      case 14: s.trim(); break;
      case 15: s.squeeze(); break;
      case 16: s.keepNumber(); break;
      case 17: s.toUpper(); s.toLower(); break;
      case 18: s.capitalize(); s.swapCase(); break;
      case 19: s.reverse(); break;
      case 20: s.shiftUp(n); s.shiftDown(m); break;
      case 21: s.xorWith(ch); break;
      case 22: other = s.mid(n, m); break;
      case 23: other = s.from(n); break;
      case 24: sink += s.find(arg, n, flag); break;
      case 25: sink += s.find(ch, n, flag); break;
      case 26: sink += s.findReverse(arg, n, flag); break;
      case 27: sink += s.findReverse(ch, n); break;
      case 28: sink += s.containsAt(arg, n, m); break;
      case 29:
        sink += s.compare(arg, flag, flag2) + s.equals(arg, flag) + s.startsWith(arg) +
                s.endsWith(arg) + s.matchesAt(n, arg);
        break;
      case 30: sink += s.hash((unsigned)m) + s.hexValue() + s.characterCount(flag); break;
      case 31: s.groupThousands(arg); break;
      case 32: s.format("%s|%d", arg, n); break;
      case 33: other = String(ch, n % BIG); break;
      case 34: other = String(arg, n); break;
      case 35: if (small) { other = s; s += other; } break;
      case 36: list.add(arg, flag); break;
      case 37: { const char* b = list.block(); StringDZ copy; copy.addList(b); break; }
      case 38: sink += list.count() + (list.value(n % 4) != 0); break;
      case 39: s = other; break;
    }
    check(s);
    check(other);
  }
  (void)sink;
  return 0;
}
