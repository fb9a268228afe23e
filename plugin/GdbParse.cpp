#include "GdbParse.hpp"

#include <limits.h>
#include <string.h>

#include "cRegexp.hpp"

static void trimBlanks(String& text) {
  int start = 0, end = text.length();
  const char* p = text.text();
  while (start < end && (p[start] == ' ' || p[start] == '\t')) start++;
  while (end > start && (p[end - 1] == ' ' || p[end - 1] == '\t')) end--;
  text = text.mid(start, end - start);
}

// A decimal number of digits only; false for anything else or an empty
// text. Larger numbers are taken as INT_MAX.
static bool parseDigits(const String& text, int& value) {
  if (text.isEmpty()) return false;
  long long n = 0;
  for (const char* p = text.text(); *p; p++) {
    if (*p < '0' || *p > '9') return false;
    if (n < INT_MAX) n = n * 10 + (*p - '0');
  }
  value = n > INT_MAX ? INT_MAX : (int)n;
  return true;
}

bool ParsePositionLine(const String& line, String& file, int& number) {
  file = "";
  number = 0;
  // Only the first colon counts: the drive letter's lies after it.
  int colon = line.find(':');
  if (colon < 0) return false;
  String rest = line.from(colon + 1), digits;
  int paren = rest.find('(');
  if (paren >= 0) {
    digits = rest.from(paren + 1);
    int close = digits.find(')');
    if (close >= 0) digits.truncate(close);
    trimBlanks(digits);
    file = rest.mid(0, paren);
    trimBlanks(file);
  }
  file.replaceAll("/", "\\");
  return !file.isEmpty() && parseDigits(digits, number);
}

bool ParseBreakpointEntry(const char* entry, String& file, String& line, String& enabled) {
  file = line = enabled = "";
  if (!entry) return false;
  const char* equals = strchr(entry, '=');
  if (!equals) return false;
  String value(equals + 1);
  Regexp pattern("(.*)##(.*)##(.*)");
  if (!pattern.match(value)) return false;
  file = value.mid(pattern.groupStart(1), pattern.groupLength(1));
  line = value.mid(pattern.groupStart(2), pattern.groupLength(2));
  enabled = value.mid(pattern.groupStart(3), pattern.groupLength(3));
  return true;
}
