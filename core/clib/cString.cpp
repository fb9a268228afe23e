// String and StringDZ. Everything here is portable; the few system calls
// (case folding, locale comparison, resources, messages) go through the "i"
// helpers of iString.hpp.
#include "cString.hpp"

#include <ctype.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <memory>

#include "iString.hpp"


static void fail(int line) {
  report(SOURCE_NAME, line);
}

enum {
  // The longest text a String holds, as Lua bounds its blocks (luaM_): every
  // size is checked against it before any arithmetic, and with it a
  // capacity plus a count plus the step stays below INT_MAX.
  MAX_TEXT = 0x3FFF0000,
  FIRST_GROWTH = 4,
  MAX_GROWTH = 20240,     // the step doubles while below this: up to 32768
  WIDE_WORK = 4096,
  RESOURCE_TEXT = 1024,
  FORMAT_WORK = 30720,
  FORMAT_CUT = 30710      // room for the format text and "...." on overflow
};

// A request beyond MAX_TEXT: reported, and the caller changes nothing.
static bool tooLong() {
  report(SOURCE_NAME, __LINE__, "String: text too long");
  return false;
}

// Length of text, at most limit bytes; -1 when it is longer than MAX_TEXT.
static int measure(const char* text, size_t limit = (size_t)-1) {
  const char* end = (const char*)memchr(text, 0, std::min(limit, (size_t)MAX_TEXT + 1));
  size_t n = end ? (size_t)(end - text) : std::min(limit, (size_t)MAX_TEXT + 1);
  return n > (size_t)MAX_TEXT ? -1 : (int)n;
}

static bool isBlankOrTab(char c) {
  return c == ' ' || c == '\t';
}

static bool isHigh(char c) {
  return (unsigned char)c >= 128;
}

static int lower(char c) {
  return tolower((unsigned char)c);
}

static bool sameNoCase(const char* a, const char* b, int n) {
  for (int i = 0; i < n; i++)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

// ---------------------------------------------------------------------------
// Storage

bool String::isNull(const void* self) {
  const void* volatile p = self;  // keeps the check from being folded away
  return p == 0;
}

// Whether p points into this string's own buffer, which growing may free.
bool String::aliases(const char* p) const {
  uintptr_t a = (uintptr_t)p, b = (uintptr_t)buffer_;
  return buffer_ && a >= b && a < b + (uintptr_t)capacity_;
}

// Whether more bytes, plus the terminator and two spare zeros, fit within
// MAX_TEXT after the text.
bool String::fits(int more) const {
  return (more >= 0 && more <= MAX_TEXT - 3 - length_) || tooLong();
}

void String::init() {
  growth_ = FIRST_GROWTH;
  buffer_ = 0;
  length_ = 0;
  capacity_ = 0;
  pad_ = ' ';
}

// Makes room for n bytes plus slack, keeping the text. The step doubles on
// every call, also when nothing moved, so a string that keeps growing soon
// reallocates in large strides. Callers have checked what must fit with
// fits(), so a larger n is only a wish and is cut to the limit.
void String::growKeep(int n) {
  if (n < 1) {
    fail(1446);
    return;
  }
  if (n > MAX_TEXT) n = MAX_TEXT;
  int needed = growth_ + 1 + n;
  if (capacity_ < needed) {
    char* block = new char[needed + 1];
    // the whole old block rather than up to the first zero: a zero put in
    // by insertChar must not leave the recorded length over unset bytes
    memcpy(block, buffer_, capacity_);
    delete[] buffer_;
    buffer_ = block;
    capacity_ = needed;
  }
  if (growth_ < MAX_GROWTH) growth_ *= 2;
}

// Empties the string, with room for n bytes; the step stays. A request
// beyond the limit is refused and leaves the string as it was (a
// constructor then has an empty one).
bool String::growDiscard(int n) {
  if (n < 0) {
    fail(1312);
    n = 0;
  }
  if (n > MAX_TEXT) {
    if (!buffer_) growDiscard(0);
    return tooLong();
  }
  if (buffer_ && n + growth_ < capacity_) {
    buffer_[0] = 0;
    length_ = 0;
    return true;
  }
  delete[] buffer_;
  capacity_ = n + growth_ + 1;
  buffer_ = new char[capacity_];
  buffer_[0] = 0;
  length_ = 0;
  return true;
}

// ---------------------------------------------------------------------------
// Construction

String::String() {
  init();
  growDiscard(0);
}

String::String(const char* text) {
  init();
  int n = text ? measure(text) : 0;
  if (!growDiscard(n < 0 ? MAX_TEXT + 1 : n) || n == 0) return;
  memcpy(buffer_, text, n + 1);
  length_ = n;
}

String::String(const char* text, int count) {
  init();
  if (!text || count < 1) {
    growDiscard(0);
    return;
  }
  int n = measure(text, count);
  if (!growDiscard(n < 0 ? MAX_TEXT + 1 : n)) return;
  memcpy(buffer_, text, n);
  buffer_[n] = 0;
  length_ = n;
}

// The recorded length, terminated here: after an inserted zero the other's
// terminator may lie one past its length, and a copy of length + 1 bytes
// would then end in no terminator at all.
String::String(const String& other) {
  init();
  growDiscard(other.length_);
  memcpy(buffer_, other.buffer_, other.length_);
  buffer_[other.length_] = 0;
  length_ = other.length_;
}

String::String(char ch, int repeat) {
  init();
  if (repeat < 0) {
    fail(1082);
    repeat = 0;
  }
  if (ch == 0) repeat = 0;
  if (!growDiscard(repeat)) return;
  memset(buffer_, ch, repeat);
  buffer_[repeat] = 0;
  length_ = repeat;
}

String::String(int value, int radix) {
  init();
  char digits[40];
  iIntToText(value, digits, radix);
  int n = (int)strlen(digits);
  growDiscard(n);
  memcpy(buffer_, digits, n + 1);
  length_ = n;
}

String::String(const wchar_t* wide, unsigned int codePage) {
  init();
  if (!wide) {
    growDiscard(0);
    return;
  }
  std::unique_ptr<char[]> work(new char[WIDE_WORK]);
  int n = iWideToMultiByte(codePage, wide, work.get(), WIDE_WORK) - 1;
  growDiscard(n);  // a failed conversion is reported there and leaves ""
  if (n > 0) {
    memcpy(buffer_, work.get(), n);
    buffer_[n] = 0;
    length_ = (int)strlen(buffer_);
  }
}

String::String(ResourceTag, unsigned int id, ...) {
  init();
  growDiscard(0);
  char fmt[RESOURCE_TEXT];
  if (iLoadString(id, fmt, sizeof fmt) <= 0) return;
  va_list args;
  va_start(args, id);
  formatV(fmt, args);
  va_end(args);
}

String::~String() {
  delete[] buffer_;
}

// ---------------------------------------------------------------------------
// Assignment and building

void String::assign(const char* text) {
  if (!text) text = "";
  if (aliases(text)) {
    String copy(text);  // the buffer may be replaced below
    assign(copy.buffer_);
    return;
  }
  int n = measure(text);
  if (n < 0) {
    tooLong();
    return;
  }
  if (n >= capacity_ && !growDiscard(n)) return;
  memcpy(buffer_, text, n + 1);
  length_ = n;
}

void String::append(const char* text, int count) {
  if (count < -1) {
    fail(1277);
    count = -1;
  }
  if (!text || count == 0) return;
  if (capacity_ <= length_) {
    fail(1284);
    return;
  }
  // the count is "at most": what exists is measured, so a count of
  // INT_MAX asks for nothing more than the text
  count = measure(text, count == -1 ? (size_t)-1 : (size_t)count);
  if (!fits(count)) return;
  if (aliases(text)) {
    String copy(text, count);  // growing moves the buffer
    append(copy.buffer_, count);
    return;
  }
  if (capacity_ - length_ - 1 <= count + 3) growKeep(capacity_ + 1 + count);
  char* end = buffer_ + length_;
  int i = 0;
  for (; i < count && text[i]; i++) end[i] = text[i];
  // terminator plus two spare zeros: a double-zero end is always at hand
  end[i] = end[i + 1] = end[i + 2] = 0;
  length_ = (int)strlen(buffer_);
}

void String::appendChar(char ch) {
  if (capacity_ <= length_) {
    fail(1258);
    return;
  }
  if (!fits(1)) return;
  if (capacity_ - length_ - 1 < 2) growKeep(capacity_ + 1);
  buffer_[length_++] = ch;
  buffer_[length_] = 0;
}

// An empty string becomes the one character.
void String::setChar(char ch) {
  buffer_[0] = ch;
  if (length_ != 1) {
    length_ = 1;
    buffer_[1] = 0;
  }
}

void String::insertChar(char ch, int pos) {
  if (pos < 0 || pos > length_ || !fits(1)) return;
  if (capacity_ - length_ < 3) growKeep(capacity_ + 2);
  memmove(buffer_ + pos + 1, buffer_ + pos, length_ - pos + 1);
  buffer_[pos] = ch;
  // A zero byte cuts the text but deliberately not the recorded length, so
  // the tail may end one past it; the terminator is put back there, or a
  // second zero would push it out of reach.
  buffer_[length_ + 1] = 0;
  if (ch) length_++;
}

void String::insertText(const char* text, int pos) {
  if (!text || pos < 0 || !(pos < length_ || pos == 0)) return;
  int n = measure(text);
  if (n < 0 || !fits(n)) return;
  if (aliases(text)) {
    String copy(text);
    insertText(copy.buffer_, pos);
    return;
  }
  if (capacity_ - length_ <= n) growKeep(capacity_ + 1 + n);
  memmove(buffer_ + pos + n, buffer_ + pos, length_ - pos + 1);
  memcpy(buffer_ + pos, text, n);
  buffer_[length_ + n] = 0;  // see insertChar: the tail ends at the length
  length_ = (int)strlen(buffer_);
}

void String::remove(int pos, int count) {
  if (pos < 0 || !(pos < length_ || pos == 0) || count < 0) return;
  if (count < length_ - pos)
    memmove(buffer_ + pos, buffer_ + pos + count, length_ - pos - count + 1);
  else
    buffer_[pos] = 0;
  length_ = (int)strlen(buffer_);
}

void String::truncate(int pos) {
  if (pos < 0 || pos >= length_) return;
  buffer_[pos] = 0;
  length_ = pos;
}

void String::truncateAtLeast(int pos) {
  truncate(pos < 0 ? 0 : pos);
}

void String::chop() {
  if (length_ > 0) truncate(length_ - 1);
}

const char* String::formatV(const char* fmt, va_list args) {
  if (!fmt) fmt = "";
  std::unique_ptr<char[]> work(new char[FORMAT_WORK]);
  int n = vsnprintf(work.get(), FORMAT_WORK, fmt, args);
  if (n < 0 || n >= FORMAT_WORK) {
    // too long: show what was being formatted rather than a cut result
    n = (int)strlen(fmt);
    if (n > FORMAT_CUT) n = FORMAT_CUT;
    memcpy(work.get(), fmt, n);
    memcpy(work.get() + n, "....", 5);
    n += 4;
  }
  growDiscard(n);
  memcpy(buffer_, work.get(), n + 1);
  length_ = n;
  return buffer_;
}

const char* String::format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  formatV(fmt, args);
  va_end(args);
  return buffer_;
}

const char* String::formatResource(unsigned int id, ...) {
  char fmt[RESOURCE_TEXT];
  iLoadString(id, fmt, sizeof fmt);
  va_list args;
  va_start(args, id);
  formatV(fmt, args);
  va_end(args);
  return buffer_;
}

bool String::loadResource(unsigned int id) {
  growDiscard(RESOURCE_TEXT);
  int n = iLoadString(id, buffer_, RESOURCE_TEXT);
  if (n > 0) {
    length_ = (int)strlen(buffer_);
    return true;
  }
  buffer_[0] = 0;
  length_ = 0;
  char text[80];
  snprintf(text, sizeof text, "Unexpected error loading '%d' string resource", (int)id);
  report(SOURCE_NAME, 2239, text, REPORT_TRACE);
  return false;
}

bool String::systemErrorText(unsigned int code, const char* moduleName) {
  if (code == 0) code = iGetLastError();
  if (code == 0) {
    assign("");
    return false;
  }
  assign("Unexpected, unknown error message!");
  if (moduleName) {
    void* module = iLoadLibrary(moduleName);
    if (module) {
      char* text = iFormatMessage(module, code, 0x0800);  // neutral, system default
      if (text) assign(text);
      iFreeMessage(text);
      iFreeLibrary(module);
      if (text) return true;
    }
  }
  char* text = iFormatMessage(0, code, 1033);  // US English
  assign(text ? text : "Unexpected error performing the operation request!");
  iFreeMessage(text);
  return false;
}

// ---------------------------------------------------------------------------
// Access

// Addressing past the end pads the string up to the index: one missing byte
// is always a blank, more are the pad character.
char& String::at(int index) {
  static char nowhere;
  if (isNull(this)) {
    fail(996);
    nowhere = 0;
    return nowhere;
  }
  if (index > MAX_TEXT - 3) index = -1;  // padding that far is refused below
  if (index >= length_) {
    if (index >= capacity_) growKeep(index + 1);
    int missing = index - length_ + 1;
    if (missing == 1) {
      appendChar(' ');
    } else {
      String pad(pad_, missing);
      append(pad.buffer_, missing);
    }
  }
  if (index < 0 || index >= length_) {
    fail(1023);
    nowhere = 0;
    return nowhere;
  }
  return buffer_[index];
}

String String::mid(int pos, int count) const {
  if (pos < 0 || pos >= length_ || count <= 0) return String();
  if (count > length_ - pos) count = length_ - pos;
  return String(buffer_ + pos, count);
}

String String::from(int pos) const {
  if (pos < 0 || !(pos < length_ || pos == 0)) return String();
  return String(buffer_ + pos);
}

// ---------------------------------------------------------------------------
// Comparison

int String::compare(const char* other, bool caseSensitive, bool prefixOnly) const {
  if (!other) {
    fail(1524);
    other = "";
  }
  if (prefixOnly) {
    size_t n = strlen(other);
    return caseSensitive ? strncmp(buffer_, other, n) : _strnicmp(buffer_, other, n);
  }
  if (!caseSensitive) return _stricmp(buffer_, other);
  const unsigned char* a = (const unsigned char*)buffer_;
  const unsigned char* b = (const unsigned char*)other;
  while (*a && *a == *b) {
    a++;
    b++;
  }
  return *a < *b ? -1 : (*a > *b ? 1 : 0);
}

bool String::equals(const char* text, bool caseSensitive) const {
  if (!text) return false;
  int n = (int)strlen(text);
  if (n != length_) return false;
  if (n == 0) return true;
  if (caseSensitive) return memcmp(buffer_, text, n) == 0;
  return iCompareNoCase(buffer_, n, text, n) == 0;
}

bool String::startsWith(const char* text) const {
  if (!text || !*text) return false;
  int n = (int)strlen(text);
  return n <= length_ && strncmp(buffer_, text, n) == 0;
}

bool String::endsWith(const char* text) const {
  if (!text || !*text) return false;
  int n = (int)strlen(text);
  // n bytes, not up to the terminator: that may lie one past the length
  return n <= length_ && _strnicmp(buffer_ + length_ - n, text, n) == 0;
}

bool String::matchesAt(int pos, const char* text) const {
  if (!text) return false;
  if (!*text) return true;
  if (pos < 0 || pos > length_) return false;
  return strncmp(buffer_ + pos, text, strlen(text)) == 0;
}

// ---------------------------------------------------------------------------
// Searching

#define START_OK(start) ((start) >= 0 && ((start) < length_ || (start) == 0))

int String::find(char ch, int start, bool caseSensitive) const {
  if (!START_OK(start)) return -1;
  if (caseSensitive) {
    for (int i = start; i < length_; i++)
      if (buffer_[i] == ch) return i;
  } else {
    int c = lower(ch);
    for (int i = start; i < length_; i++)
      if (lower(buffer_[i]) == c) return i;
  }
  return -1;
}

int String::find(const char* text, int start, bool caseSensitive) const {
  if (!text || !*text || !START_OK(start)) return -1;
  int n = (int)strlen(text);
  if (n > length_ - start) return -1;
  if (caseSensitive) {
    // strstr runs to the terminator, which may lie one past the length
    const char* hit = strstr(buffer_ + start, text);
    return hit && hit + n <= buffer_ + length_ ? (int)(hit - buffer_) : -1;
  }
  for (int i = start; i + n <= length_; i++)
    if (sameNoCase(buffer_ + i, text, n)) return i;
  return -1;
}

int String::findReverse(char ch, int start) const {
  if (!START_OK(start)) return -1;
  for (int i = length_ - 1; i >= 0; i--)
    if (buffer_[i] == ch) return i >= start ? i : -1;
  return -1;
}

int String::findReverse(const char* text, int start, bool caseSensitive) const {
  if (!text || !*text || !START_OK(start)) return -1;
  int n = (int)strlen(text);
  for (int i = length_ - 1; i >= start; i--) {
    if (i + n > length_) continue;
    if (caseSensitive ? buffer_[i] == text[0] && strncmp(buffer_ + i, text, n) == 0
                      : lower(buffer_[i]) == lower(text[0]) && sameNoCase(buffer_ + i, text, n))
      return i;
  }
  return -1;
}

int String::count(char ch) const {
  int n = 0;
  for (int i = 0; i < length_; i++)
    if (buffer_[i] == ch) n++;
  return n;
}

// Whether text lies wholly within the count bytes from pos (all the rest
// when count is negative).
bool String::containsAt(const char* text, int count, int pos) const {
  if (length_ == 0 || !text || pos < 0 || pos >= length_) return false;
  int n = (int)strlen(text);
  int end = (count < 0 || count > length_ - pos) ? length_ : pos + count;
  for (int i = pos; i + n <= end; i++)
    if (memcmp(buffer_ + i, text, n) == 0) return true;
  return false;
}

unsigned int String::hash(unsigned int buckets, bool caseSensitive) const {
  uint32_t h = 0;
  for (int i = 0; i < length_; i++) {
    int c = caseSensitive ? buffer_[i] : lower(buffer_[i]);
    h = 2u * (h + (uint32_t)(int32_t)(signed char)c);
  }
  return buckets ? h % buckets : h;
}

// ---------------------------------------------------------------------------
// Editing in place

void String::replaceAt(int pos, int oldLen, const char* newText, int newLen) {
  memmove(buffer_ + pos + newLen, buffer_ + pos + oldLen, length_ - pos - oldLen + 1);
  memcpy(buffer_ + pos, newText, newLen);
  length_ += newLen - oldLen;
  buffer_[length_] = 0;  // the old one may have lain past the length
}

// Room for one more copy of the new text, grown geometrically (the capacity
// again plus the text) as append grows: asking for the length plus the text
// would reallocate on nearly every lengthening call.
bool String::roomFor(int more) {
  if (!fits(more)) return false;
  if (capacity_ - length_ - 1 <= more) growKeep(capacity_ + 1 + more);
  return true;
}

bool String::replace(const char* oldText, const char* newText, int start) {
  if (!oldText || !newText || strcmp(oldText, newText) == 0) return false;
  if (length_ == 0 || start >= length_) return false;
  String o(oldText), n(newText);  // either may live in this buffer
  if (!roomFor(n.length_)) return false;
  int i = find(o.buffer_, start, true);
  if (i < 0) return false;
  replaceAt(i, o.length_, n.buffer_, n.length_);
  return true;
}

int String::replaceAll(const char* oldText, const char* newText) {
  if (length_ == 0 || !oldText || !newText || !*oldText) return 0;
  String o(oldText), n(newText);
  int replaced = 0;
  if (!roomFor(n.length_)) return 0;
  for (int i = find(o.buffer_, 0, true); i >= 0; i = find(o.buffer_, i + n.length_, true)) {
    replaceAt(i, o.length_, n.buffer_, n.length_);
    replaced++;
    if (!roomFor(n.length_)) break;
  }
  return replaced;
}

void String::removeAll(char ch) {
  int w = 0;
  for (int r = 0; r < length_; r++)
    if (buffer_[r] != ch) buffer_[w++] = buffer_[r];
  buffer_[w] = 0;
  length_ = w;
}

// The trims stop at bytes of 128 and above so they never cut into a
// multi-byte character.
void String::trimLeft() {
  int i = 0;
  while (i < length_ && !isHigh(buffer_[i]) && isBlankOrTab(buffer_[i])) i++;
  if (i) remove(0, i);
}

void String::trimRight() {
  int n = length_;
  while (n > 0 && !isHigh(buffer_[n - 1]) && isBlankOrTab(buffer_[n - 1])) n--;
  buffer_[n] = 0;
  length_ = n;
}

void String::trim() {
  trimLeft();
  trimRight();
}

void String::squeeze() {
  trim();
  int w = 0;
  bool inRun = false;
  for (int r = 0; r < length_; r++) {
    bool blank = isBlankOrTab(buffer_[r]);
    if (blank && inRun) continue;
    inRun = blank;
    buffer_[w++] = buffer_[r] == '\t' ? ' ' : buffer_[r];
  }
  buffer_[w] = 0;
  length_ = w;
}

void String::keepNumber() {
  trim();
  int w = 0;
  for (int r = 0; r < length_; r++) {
    char c = buffer_[r];
    if ((c >= '0' && c <= '9') || c == '.' || c == '+' || c == '-') buffer_[w++] = c;
  }
  buffer_[w] = 0;
  length_ = w;
}

void String::toUpper() {
  iCharUpper(buffer_);
}

void String::toLower() {
  iCharLower(buffer_);
}

void String::capitalize() {
  iCharLower(buffer_);
  bool inWord = false;
  for (int i = 0; i < length_; i++) {
    bool alnum = iIsCharAlphaNumeric(buffer_[i]);
    if (alnum && !inWord) iCharUpperBuff(buffer_ + i, 1);
    inWord = alnum;
  }
}

void String::swapCase() {
  for (int i = 0; i < length_; i++) {
    unsigned char c = (unsigned char)buffer_[i];
    if (islower(c))
      buffer_[i] = (char)toupper(c);
    else if (isupper(c))
      buffer_[i] = (char)tolower(c);
  }
}

void String::reverse() {
  std::reverse(buffer_, buffer_ + length_);
}

void String::shiftUp(int n) {
  unsigned char by = (unsigned char)n;
  for (int i = 0; i < length_; i++) buffer_[i] = (char)((unsigned char)buffer_[i] + by);
}

void String::shiftDown(int n) {
  unsigned char by = (unsigned char)n;
  bool high = false;
  for (int i = 0; i < length_; i++) {
    buffer_[i] = (char)((unsigned char)buffer_[i] - by);
    if (isHigh(buffer_[i])) high = true;
  }
  if (high) fail(1394);
}

// Bytes equal to the key stay: XOR would turn them into zeros.
void String::xorWith(char key) {
  for (int i = 0; i < length_; i++)
    if (buffer_[i] != key) buffer_[i] = (char)(buffer_[i] ^ key);
}

// ---------------------------------------------------------------------------
// Classification

template <class Test>
static bool allBytes(const char* s, int n, Test test) {
  if (n == 0) return false;
  for (int i = 0; i < n; i++)
    if (!test((unsigned char)s[i])) return false;
  return true;
}

bool String::isAlpha() const {
  return allBytes(buffer_, length_, [](unsigned char c) { return isalpha(c) != 0; });
}

bool String::isAlnum() const {
  return allBytes(buffer_, length_, [](unsigned char c) { return isalnum(c) != 0; });
}

bool String::isDigit() const {
  return allBytes(buffer_, length_, [](unsigned char c) { return isdigit(c) != 0; });
}

bool String::isBlank() const {
  for (int i = 0; i < length_; i++) {
    char c = buffer_[i];
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
  }
  return true;
}

bool String::hasHighBytes() const {
  for (int i = 0; i < length_; i++)
    if (isHigh(buffer_[i])) return true;
  return false;
}

bool String::hasWildcards() const {
  return strpbrk(buffer_, "?*") != 0;
}

// UTF-8 characters: a high lead byte followed by a high byte starts a
// sequence whose length the lead tells; anything else counts as one.
int String::characterCount(bool bytesOnly) const {
  if (bytesOnly) return length_;
  int n = 0;
  for (int i = 0; i < length_ && buffer_[i];) {
    unsigned char lead = (unsigned char)buffer_[i];
    if (lead >= 128 && i + 1 < length_ && isHigh(buffer_[i + 1]))
      i += lead < 224 ? 2 : (lead < 240 ? 3 : 4);
    else
      i++;
    n++;
  }
  return n;
}

// ---------------------------------------------------------------------------
// Numbers

// 1234567.89 becomes 1,234,567.89; a leading sign stays in front.
void String::groupThousands(const char* number) {
  if (!number) {
    assign("");
    return;
  }
  const char* dot = strchr(number, '.');
  String whole(number, dot ? (int)(dot - number) : (int)strlen(number));
  String fraction(dot);
  whole.trim();
  String sign;
  if (whole.length_ && (whole.buffer_[0] == '-' || whole.buffer_[0] == '+')) {
    sign.appendChar(whole.buffer_[0]);
    whole.remove(0, 1);
  }
  whole.reverse();
  String grouped;
  for (int i = 0; i < whole.length_; i++) {
    if (i && i % 3 == 0) grouped.appendChar(',');
    grouped.appendChar(whole.buffer_[i]);
  }
  grouped.reverse();
  sign.append(grouped.buffer_);
  sign.append(fraction.buffer_);
  assign(sign.buffer_);
}

// Bytes that are not hex digits add nothing but still shift: no error.
unsigned int String::hexValue() const {
  static const char digits[] = "0123456789ABCDEF";
  String up(*this);
  up.toUpper();
  int i = up.startsWith("0X") ? 2 : 0;
  uint32_t value = 0;
  for (; i < up.length_; i++) {
    const char* d = (const char*)memchr(digits, up.buffer_[i], 16);
    value = (value << 4) + (d ? (uint32_t)(d - digits) : 0u);
  }
  return value;
}

// ---------------------------------------------------------------------------
// StringDZ

StringDZ::StringDZ(char separator) : separator_(separator), items_(true) {}

StringDZ::~StringDZ() {
  items_.clear();
  block_.assign("");
}

void StringDZ::add(const char* text, bool numbered) {
  if (!text) {
    fail(524);
    return;
  }
  if (!*text) return;
  String* item = new String();
  if (numbered)
    item->format("%d=%s", items_.count(), text);
  else
    item->assign(text);
  items_.add(item);
}

void StringDZ::addList(const char* block) {
  if (!block) {
    fail(548);
    return;
  }
  for (const char* p = block; *p; p += strlen(p) + 1) add(p, false);
}

const char* StringDZ::item(int index) const {
  const String* s = items_.get(index);
  return s ? s->text() : 0;
}

const char* StringDZ::value(int index) const {
  const char* text = item(index);
  const char* eq = text ? strchr(text, '=') : 0;
  return eq ? eq + 1 : 0;
}

void StringDZ::clear() {
  items_.clear();
  block_.assign("");
}

const char* StringDZ::block() {
  block_.assign("");
  for (int i = 0; i < items_.count(); i++) {
    const String* s = items_.get(i);
    if (!s) continue;
    block_.append(s->text());
    block_.appendChar(separator_);
  }
  block_.appendChar(separator_);
  if (separator_) {
    for (int i = 0; i < block_.length(); i++)
      if (block_.at(i) == separator_) block_.at(i) = 0;
  }
  return block_.text();
}

const char* fileNameOf(const char* path) {
  const char* name = path;
  for (const char* p = path; *p; p++) {
    if (iIsLeadByte((unsigned char)*p) && p[1]) p++;
    else if (*p == '\\' || *p == '/' || *p == ':') name = p + 1;
  }
  return name;
}
