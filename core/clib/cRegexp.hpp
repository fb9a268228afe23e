// Regexp: one compiled PCRE pattern (through its POSIX interface) and the
// result of its last match. On top of it, the recognisers that pull a file
// name or a line number out of a line of tool output, and IsFunction, which
// tells function headers from other source lines.
#ifndef CREGEXP_HPP
#define CREGEXP_HPP

#include <stddef.h>

#include "cError.hpp"
#include "cString.hpp"

// PCRE's POSIX pattern record and match slot, mirrored (and checked against
// them in cRegexp.cpp) so that users of this header do not get pcreposix.h,
// which clashes with the C library's regex.h.
struct RegexpCode {
  void* code;
  size_t subExpressions;
  size_t errorOffset;
};
struct RegexpSlot {
  int start;
  int end;
};

class Regexp {
 public:
  enum { SLOTS = 36 };

  // ignoreCase compiles with REG_ICASE only when it is exactly 1.
  Regexp(const char* pattern, int ignoreCase = 0);
  virtual ~Regexp();

  // Recompiles unless the pattern is the same text, ignoring case.
  bool setPattern(const char* pattern, int ignoreCase = 0);

  bool match(const char* text);
  bool match(const char* text, String* out);
  // As match(), then out is the exact slot-0 text (empty for an empty match).
  bool match(const String& text, String& out);

  int groupStart(int i) const;
  int groupLength(int i) const;

  bool compiled() const { return status_ == 0; }
  int status() const { return status_; }
  const char* pattern() const { return pattern_; }
  int matchPosition() const { return position_; }
  const char* matchedText() const { return matched_; }
  const char* subject() const { return subject_; }
  const char* errorText() const { return error_; }

 private:
  Regexp(const Regexp&) = delete;
  Regexp& operator=(const Regexp&) = delete;

  bool compile(const char* pattern, int ignoreCase);

  RegexpCode re_;
  int status_;
  RegexpSlot slots_[SLOTS];
  String pattern_;
  int position_;
  String matched_;
  String subject_;
  String error_;
};

// Full path of an existing file named by name, tried as given and then in
// each folder of searchFolders (separated by ";"). Surrounding blanks and
// quotes of name are ignored.
bool locateFile(const char* name, const char* searchFolders, String& fullPath);

// A file name (full path) or URL found in text; on failure result holds the
// last candidate tried. userPattern, when not empty, is tried first.
bool findFileName(const char* text, String& result, const char* userPattern = 0,
                  const char* searchFolders = 0);

// The line number in text, or -1.
int findLineNumber(const char* text, const char* userPattern = 0);

// Tells function headers from other source lines and gives the function's
// name. A caller pattern is tried first, its capture group nameGroup holding
// the name; name is the caller's label for this classifier.
class IsFunction {
 public:
  IsFunction(const char* userPattern = 0, int nameGroup = 0, const char* name = 0);
  virtual ~IsFunction();

  // True when line is a function header; result() is then its name.
  bool test(const char* line);
  const char* result() const { return result_; }
  const char* name() const { return name_; }

 private:
  IsFunction(const IsFunction&) = delete;
  IsFunction& operator=(const IsFunction&) = delete;

  bool nameFromMatch(const Regexp& re);

  String result_;
  String name_;
  Regexp* user_;
  int nameGroup_;
  Regexp control_;     // indented if/else/for/while: never a header
  Regexp member_;      // type class::name
  Regexp type_;        // class or struct declaration: never a header
  Regexp free_;        // [type] name(
  Regexp extern_;      // extern "C" type name(
  Regexp memberBare_;  // class::name( without a type: constructors, operators
};

#endif
