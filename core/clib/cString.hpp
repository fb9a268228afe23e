// String: the owned, growable, zero-terminated 8-bit text of the system, and
// StringDZ, a list of strings flattened into a double-zero-terminated block
// (the form the profile-section calls take).
//
// One heap buffer, an explicit length and capacity, and a growth step that
// doubles as the string grows. Bad positions and arguments never throw: they
// make the call a no-op or give an empty result, and broken preconditions go
// to the assertion channel.
#ifndef CSTRING_HPP
#define CSTRING_HPP

#include <stdarg.h>

#include "cArray.hpp"
#include "cError.hpp"

class String {
 public:
  // Tag of the constructor that loads and formats a string resource.
  enum ResourceTag { RESOURCE };

  String();
  String(const char* text);
  String(const char* text, int count);
  String(const String& other);
  String(char ch, int repeat);
  String(int value, int radix);
  String(const wchar_t* wide, unsigned int codePage);
  String(ResourceTag, unsigned int id, ...);

  // Slot order of the virtual operations is fixed: destructor, insertChar,
  // insertText, mid, from, remove.
  virtual ~String();
  virtual void insertChar(char ch, int pos);
  virtual void insertText(const char* text, int pos);
  virtual String mid(int pos, int count) const;
  virtual String from(int pos) const;
  virtual void remove(int pos, int count);

  String& operator=(const String& other) {
    assign(other.buffer_);
    return *this;
  }
  String& operator=(const char* text) {
    assign(text);
    return *this;
  }
  String& operator+=(const char* text) {
    if (!text) {
      report(SOURCE_NAME, 192);
      return *this;
    }
    append(text);
    return *this;
  }
  String& operator+=(char ch) {
    appendChar(ch);
    return *this;
  }

  const char* text() const {
    if (isNull(this)) {
      report(SOURCE_NAME, 198);
      return "";
    }
    return buffer_;
  }
  int length() const {
    if (isNull(this)) {
      report(SOURCE_NAME, 200);
      return 0;
    }
    return length_;
  }
  operator const char*() const {
    if (isNull(this)) {
      report(SOURCE_NAME, 207);
      return "";
    }
    return buffer_;
  }
  bool isEmpty() const {
    if (isNull(this)) {
      report(SOURCE_NAME, 208);
      return true;
    }
    return length_ == 0;
  }

  int capacity() const { return capacity_; }
  int growthStep() const { return growth_; }
  char padChar() const { return pad_; }
  void setPadChar(char ch) { pad_ = ch; }

  // Building
  void assign(const char* text);
  void append(const char* text, int count = -1);
  void appendChar(char ch);
  void setChar(char ch);
  void truncate(int pos);
  void truncateAtLeast(int pos);
  void chop();
  const char* format(const char* fmt, ...);
  const char* formatV(const char* fmt, va_list args);
  const char* formatResource(unsigned int id, ...);
  bool loadResource(unsigned int id);
  bool systemErrorText(unsigned int code, const char* moduleName = 0);

  // Access
  char& at(int index);

  // Comparison
  int compare(const char* other, bool caseSensitive = true, bool prefixOnly = false) const;
  int compare(const String& other, bool caseSensitive = true, bool prefixOnly = false) const {
    return compare(other.buffer_, caseSensitive, prefixOnly);
  }
  bool equals(const char* text, bool caseSensitive = true) const;
  bool operator==(const char* text) const { return equals(text, true); }
  bool operator!=(const char* text) const { return !equals(text, true); }
  bool startsWith(const char* text) const;
  bool endsWith(const char* text) const;
  bool matchesAt(int pos, const char* text) const;

  // Searching: byte index or -1
  int find(char ch, int start = 0, bool caseSensitive = true) const;
  int find(const char* text, int start = 0, bool caseSensitive = true) const;
  int findReverse(char ch, int start = 0) const;
  int findReverse(const char* text, int start = 0, bool caseSensitive = true) const;
  int count(char ch) const;
  bool containsAt(const char* text, int count, int pos) const;
  unsigned int hash(unsigned int buckets, bool caseSensitive = true) const;

  // Editing in place
  bool replace(const char* oldText, const char* newText, int start = 0);
  int replaceAll(const char* oldText, const char* newText);
  void removeAll(char ch);
  void trimLeft();
  void trimRight();
  void trim();
  void squeeze();
  void keepNumber();
  void toUpper();
  void toLower();
  void capitalize();
  void swapCase();
  void reverse();
  void shiftUp(int n);
  void shiftDown(int n);
  void xorWith(char key);

  // Classification
  bool isAlpha() const;
  bool isAlnum() const;
  bool isDigit() const;
  bool isBlank() const;
  bool hasHighBytes() const;
  bool hasWildcards() const;
  int characterCount(bool bytesOnly = false) const;

  // Numbers
  void groupThousands(const char* number);
  unsigned int hexValue() const;

 private:
  // True for a null object pointer; opaque so the test survives optimisation.
  static bool isNull(const void* self);
  void init();
  bool aliases(const char* p) const;
  bool fits(int more) const;
  bool roomFor(int more);
  void growKeep(int n);
  bool growDiscard(int n);
  void replaceAt(int pos, int oldLen, const char* newText, int newLen);

  int growth_;
  char* buffer_;
  int length_;
  int capacity_;
  char pad_;
};

class StringDZ {
 public:
  // Items must not contain the separator: block() turns it into a zero.
  explicit StringDZ(char separator = '\x01');
  virtual ~StringDZ();

  void add(const char* text, bool numbered = false);
  void addList(const char* block);
  int count() const { return items_.count(); }
  const char* item(int index) const;
  const char* value(int index) const;
  void clear();
  // The items as one double-zero-terminated block, valid until the next change.
  const char* block();

 private:
  StringDZ(const StringDZ&) = delete;
  StringDZ& operator=(const StringDZ&) = delete;

  char separator_;
  Array<String> items_;
  String block_;
};

// The file name in a path: what follows its last '\\', '/' or ':'. The
// second byte of a double-byte character is never taken for one.
const char* fileNameOf(const char* path);

#endif
