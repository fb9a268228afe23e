// Regular expressions over PCRE's POSIX interface, and the recognisers that
// find file names, line numbers and function headers in text.
#include "cRegexp.hpp"

#include <pcreposix.h>
#include <stddef.h>
#include <string.h>

#include "iLocate.hpp"
#include "iString.hpp"

static const char compileWarning[] = "Warning: The regexp has failed to compile.";

// Line numbers, most specific first.
static const char lineLocator[] = R"re(/\^.+[\$/]+)re";  // tags: found by text
static const char lineDelimited[] = "[ \t(:#]+[0-9]+[0-9:;)]*(([ \t):;,]+)|$)";
static const char lineWord[] = "[ \t(]*[^a-z]LINE[^a-z][ \t(:!)]*[0-9]+";
static const char lineAfterBlank[] = "[ \t(:]+[0-9]+[ 0-9:;]*";
static const char lineDigits[] = "[0-9]+";

// File names and URLs.
static const char nameFtp[] = "FTP://[a-zA-Z0-9:./=~&?-_+%#]+";
static const char nameHttp[] = "HTTP://[a-zA-Z0-9./=~&?_+%-]+";
static const char nameQuoted[] = R"re(['"]+[+$#~a-zA-Z0-9_ :\\/\-\.\[\]\(\)]*[.]*['"]+)re";
static const char nameDrive[] =
    R"re([^ )re" "\t" R"re(")(<'`]*[a-zA-Z0-9_]+:\\[+$#~a-zA-Z0-9_ \\/\-]*)re"
    R"re([+$#~a-zA-Z0-9_ \\/\-\.]*[^ :)re" "\t" R"re(")(>',`*}])re";
static const char nameDriveExt[] =
    R"re([^ )re" "\t" R"re(")(<'`]*[a-zA-Z0-9_]+:\\[+$#~a-zA-Z0-9_ \\/\-]*)re"
    R"re([+$#~a-zA-Z0-9_ \\/\-\.\[\]\(\)]*\.[~a-zA-Z0-9_]+[^ )re" "\t" R"re(])re";
static const char nameDotted[] =
    R"re([^ )re" "\t" R"re(")(<'`]*[+$#~a-zA-Z0-9_\/\-]*\.[+$#~a-zA-Z0-9_\/\-]*)re"
    R"re([^ :)re" "\t" R"re(")(>'`*}])re";
static const char namePath[] =
    R"re([^ )re" "\t" R"re(")(<'`]+[\.\]+[+$#~a-zA-Z0-9_\/\-]*[+$#~a-zA-Z0-9_\.-\\]+)re"
    R"re([^ :)re" "\t" R"re(")(>',`*}])re";
static const char nameInclude[] = "#include[ \t]*<.*>";
static const char nameCompiler[] = R"re((^.*\..*)\([0-9]+,[0-9]+\)\:)re";

// Function headers.
static const char headMember[] =
    "^[ \t]*[_a-z0-9]+[ <?&*\t]+[_a-z0-9<*> \t]*[_a-z0-9?&+=*<>]+[ \t]*[:]+[ \t]*"
    "[_a-z0-9&+=*<>~]+[ \t]*[\\(]*.*[^;]+$";
static const char headControl[] =
    "(^[ \t]+if[ \t])|(^[ \t]+else[ \t])|(^[ \t]+for[ \t])|(^[ \t]+while[ \t])";
static const char headType[] = "(^class )|(^struct )";
static const char headFree[] =
    "(^[ \t]*[_a-z0-9]+[ ?&*\t]+[_a-z0-9 ?&*\t]*[_a-z0-9]+[ \t]*[(]+.*[^;]+$)|"
    "(^[_a-z0-9]+[ \t]*[\\(]+.*[^;]+$)";
static const char headExtern[] =
    "(^extern [ \t]*[_a-z0-9\"']+[ ?&*\t]+[_a-z0-9 ?&*\t]*[_a-z0-9]+[ \t]*[(]+.*[^;]+$)|"
    "(^[_a-z0-9]+[ \t]*[\\(]+.*[^;]+$)";
static const char headMemberBare[] =
    "^[ \t]*[_a-z0-9?&+=*<>]+[ \t]*[:]+[ \t]*[_a-z0-9?&+=*<>~]+[ \t]*[\\(]+.*[^;]+$";

// A null output String is the same broken precondition as String::length()
// on a null object, so it reports under that inline operation's name.
static void reportNullString() { report("cString.hpp", 200); }

// ---------------------------------------------------------------------------
// Regexp

static_assert(sizeof(RegexpCode) == sizeof(regex_t) &&
                  offsetof(RegexpCode, code) == offsetof(regex_t, re_pcre) &&
                  offsetof(RegexpCode, subExpressions) == offsetof(regex_t, re_nsub) &&
                  offsetof(RegexpCode, errorOffset) == offsetof(regex_t, re_erroffset),
              "RegexpCode must mirror regex_t");
static_assert(sizeof(RegexpSlot) == sizeof(regmatch_t) &&
                  offsetof(RegexpSlot, start) == offsetof(regmatch_t, rm_so) &&
                  offsetof(RegexpSlot, end) == offsetof(regmatch_t, rm_eo),
              "RegexpSlot must mirror regmatch_t");

// The mirrors travel to and from PCRE by copy, never by a cast pointer.
static regex_t toPcre(const RegexpCode& code) {
  regex_t re;
  memcpy(&re, &code, sizeof re);
  return re;
}

static void clearSlots(RegexpSlot* slots) {
  for (int i = 0; i < Regexp::SLOTS; i++) slots[i].start = slots[i].end = -1;
}

Regexp::Regexp(const char* pattern, int ignoreCase) : status_(REG_INVARG), position_(-1) {
  memset(&re_, 0, sizeof re_);
  memset(slots_, 0, sizeof slots_);
  compile(pattern, ignoreCase);
}

Regexp::~Regexp() {
  if (status_ == 0) {
    regex_t re = toPcre(re_);
    regfree(&re);
  }
}

bool Regexp::compile(const char* pattern, int ignoreCase) {
  regex_t re = toPcre(re_);
  if (status_ == 0) regfree(&re);
  memset(&re, 0, sizeof re);
  if (!pattern) {
    report(SOURCE_NAME, 531);
    pattern_ = "";
    status_ = REG_INVARG;
    re.re_erroffset = (size_t)-1;  // no offset to point at
  } else {
    pattern_ = pattern;
    status_ = regcomp(&re, pattern, ignoreCase == 1 ? REG_ICASE : 0);
  }
  memcpy(&re_, &re, sizeof re_);
  // The offset means something only for a failed compile.
  char message[256];
  regerror(status_, status_ ? &re : 0, message, sizeof message);
  error_ = message;
  return status_ == 0;
}

bool Regexp::setPattern(const char* pattern, int ignoreCase) {
  if (pattern) {
    int n = (int)strlen(pattern);
    if (n == pattern_.length() && iCompareNoCase(pattern, n, pattern_, n) == 0)
      return true;
  }
  return compile(pattern, ignoreCase);
}

bool Regexp::match(const char* text) {
  matched_ = "";
  subject_ = "";
  position_ = -1;
  clearSlots(slots_);
  if (!text) return false;
  if (status_ != 0) {
    passToHook(compileWarning);
    return false;
  }
  regex_t re = toPcre(re_);
  regmatch_t found[SLOTS];
  if (regexec(&re, text, SLOTS, found, 0) != 0) return false;
  memcpy(slots_, found, sizeof slots_);
  int start = slots_[0].start;
  int length = slots_[0].end - start;
  if (length == 0) length = 1;  // an anchor-only match still yields a character
  if (length < 0) return false;
  if (start < 0) {
    report(SOURCE_NAME, 657);
    return false;
  }
  matched_ = String(text + start, length);  // stops at the terminator
  subject_ = text;
  position_ = start;
  return true;
}

bool Regexp::match(const char* text, String* out) {
  bool found = match(text);
  if (!out)
    reportNullString();
  else
    *out = matched_;
  return found;
}

bool Regexp::match(const String& text, String& out) {
  bool found = match(text.text());
  int start = slots_[0].start, end = slots_[0].end;
  out = found && start >= 0 && end >= 0 ? text.mid(start, end - start) : String();
  return found;
}

int Regexp::groupStart(int i) const {
  if (i < 0 || i >= SLOTS || slots_[i].start == -1) return 0;
  return slots_[i].start;
}

int Regexp::groupLength(int i) const {
  if (i < 0 || i >= SLOTS || slots_[i].start == -1 || slots_[i].end == -1) return 0;
  return slots_[i].end - slots_[i].start;
}

// ---------------------------------------------------------------------------
// Locating files

static bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

static bool isAbsolute(const char* path) {
  return isSeparator(path[0]) || (path[0] && path[1] == ':');
}

static bool useFullPath(const char* path, String& fullPath) {
  char full[2048];
  fullPath = iFullPath(path, full, sizeof full) > 0 ? full : path;
  return true;
}

bool locateFile(const char* name, const char* searchFolders, String& fullPath) {
  if (!name) return false;
  // Recognisers hand over quoted names and names with blanks around them.
  static const char junk[] = " \t\r\n\"'`";
  const char* begin = name;
  const char* end = name + strlen(name);
  while (begin < end && strchr(junk, *begin)) begin++;
  while (end > begin && strchr(junk, end[-1])) end--;
  if (begin == end) return false;
  String file(begin, (int)(end - begin));

  if (iIsFile(file)) return useFullPath(file, fullPath);
  if (isAbsolute(file) || !searchFolders) return false;
  for (const char* folder = searchFolders; *folder;) {
    const char* stop = strchr(folder, ';');
    if (!stop) stop = folder + strlen(folder);
    const char* first = folder;
    while (first < stop && (*first == ' ' || *first == '\t')) first++;
    if (first < stop) {
      String path(first, (int)(stop - first));
      path.trimRight();
      if (!isSeparator(path.text()[path.length() - 1])) path += "/";
      path += file;
      if (iIsFile(path)) return useFullPath(path, fullPath);
    }
    folder = *stop ? stop + 1 : stop;
  }
  return false;
}

// ---------------------------------------------------------------------------
// Line numbers

// Digits to a number; a value out of range is no line number.
static int toLineNumber(const char* digits) {
  long long value = 0;
  for (; *digits >= '0' && *digits <= '9'; digits++) {
    value = value * 10 + (*digits - '0');
    if (value > 0x7fffffff) return -1;
  }
  return (int)value;
}

int findLineNumber(const char* text, const char* userPattern) {
  if (!text) return -1;
  String candidate;
  if (userPattern && *userPattern) {
    Regexp re(userPattern, 1);
    if (re.match(text)) candidate = re.matchedText();
  } else {
    static const char* const patterns[] = {lineLocator, lineDelimited, lineWord,
                                           lineAfterBlank, lineDigits};
    for (const char* pattern : patterns) {
      Regexp re(pattern, 1);
      if (!re.match(text)) continue;
      // A tags locator finds its line by searching for its text; digits in
      // it belong to that text and would only point at a wrong line.
      if (pattern == lineLocator) return -1;
      candidate = re.matchedText();
      break;
    }
  }
  Regexp digits(lineDigits, 1);
  if (candidate.isEmpty() || !digits.match(candidate)) return -1;
  return toLineNumber(digits.matchedText());
}

// ---------------------------------------------------------------------------
// File names

static bool endsWithExe(const String& path) {
  int n = path.length();
  return n >= 4 && iCompareNoCase(path.text() + n - 4, 4, ".exe", 4) == 0;
}

// Matches pattern against text; on a match the matched text becomes the
// latest candidate and is located.
static bool tryPattern(const char* pattern, const char* text, const char* folders,
                       String& candidate, String& result) {
  Regexp re(pattern, 1);
  if (!re.match(text)) return false;
  candidate = re.matchedText();
  return locateFile(candidate, folders, result);
}

// "#include <name>" locates name.h: headers without an extension are the
// norm there.
static bool tryInclude(const char* text, const char* folders, String& candidate,
                       String& result) {
  Regexp re(nameInclude, 1);
  if (!re.match(text)) return false;
  String header(re.matchedText());
  header.chop();
  header += ".h";
  candidate = header.from(header.find('<') + 1);
  return locateFile(candidate, folders, result);
}

// name(line,column): as some compilers write it. The whole match is located,
// position and colon included; the bare name is the earlier patterns' job.
static bool tryCompilerMessage(const char* text, const char* folders, String& candidate,
                               String& result) {
  Regexp re(nameCompiler, 1);
  if (!re.match(text)) return false;
  candidate = re.matchedText();
  return locateFile(candidate, folders, result);
}

bool findFileName(const char* text, String& result, const char* userPattern,
                  const char* searchFolders) {
  result = "";
  if (!text) return false;
  String candidate(text);
  bool found = locateFile(text, searchFolders, result);

  bool userDecides = false;  // a caller's pattern that matched has the last word
  if (!found && userPattern && *userPattern) {
    Regexp re(userPattern, 1);
    if (re.match(text)) {
      userDecides = true;
      candidate = re.matchedText();
      found = locateFile(candidate, searchFolders, result);
    }
  }
  if (!found && !userDecides) {
    static const char* const urls[] = {nameFtp, nameHttp};
    for (const char* pattern : urls) {
      Regexp re(pattern, 1);
      if (re.match(text)) {
        result = re.matchedText();
        return true;
      }
    }
    // The relative-name pattern is tried twice on purpose.
    static const char* const names[] = {nameQuoted, nameDrive, nameDriveExt, nameDotted,
                                        nameDotted, namePath};
    for (const char* pattern : names)
      if ((found = tryPattern(pattern, text, searchFolders, candidate, result))) break;
    if (!found) found = tryInclude(text, searchFolders, candidate, result);
  }

  // A program name is rarely what the line is about.
  if (!found || endsWithExe(result)) {
    String compilerName;
    if (tryCompilerMessage(text, searchFolders, candidate, compilerName)) {
      result = compilerName;
      found = true;
    }
  }
  if (!found) result = candidate;
  return found;
}

// ---------------------------------------------------------------------------
// Function headers

IsFunction::IsFunction(const char* userPattern, int nameGroup, const char* name)
    : name_(name),
      user_(0),
      nameGroup_(nameGroup),
      control_(headControl, 1),
      member_(headMember, 1),
      type_(headType, 1),
      free_(headFree, 1),
      extern_(headExtern, 1),
      memberBare_(headMemberBare, 1) {
  if (userPattern && *userPattern && strcmp(userPattern, headMember) != 0)
    user_ = new Regexp(userPattern, 1);
}

IsFunction::~IsFunction() {
  delete user_;
}

static bool isNameChar(char c) {
  return c && !strchr(" \t*&\"'", c);
}

// Control keywords look like calls to the header patterns.
static bool isKeyword(const char* word, int length) {
  static const char* const keywords[] = {"if", "else", "elseif", "for", "while", "switch",
                                         "return", "sizeof", "catch"};
  for (const char* k : keywords)
    if ((int)strlen(k) == length && strncmp(word, k, length) == 0) return true;
  return false;
}

// The name is the last word before the parameter list (or before "=" or the
// end when there is none): "Type Class::name(" gives "Class::name".
bool IsFunction::nameFromMatch(const Regexp& re) {
  const char* text = re.matchedText();
  const char* end = strchr(text, '(');
  if (end && end - text >= 8 && strncmp(end - 8, "operator", 8) == 0 && end[1] == ')')
    end = strchr(end + 2, '(');  // operator() has a parameter list after it
  if (!end) end = text + strcspn(text, "=");
  while (end > text && (end[-1] == ' ' || end[-1] == '\t')) end--;
  const char* begin = end;
  while (begin > text && isNameChar(begin[-1])) begin--;
  if (begin == end || isKeyword(begin, (int)(end - begin))) return false;
  result_ = String(begin, (int)(end - begin));
  return true;
}

bool IsFunction::test(const char* line) {
  result_ = "";
  if (!line) return false;
  // Lines read from a file keep their line end; the patterns expect none.
  String text(line);
  while (text.length() > 0 &&
         (text.text()[text.length() - 1] == '\n' || text.text()[text.length() - 1] == '\r'))
    text.chop();

  if (user_ && user_->match(text.text())) {
    int length = user_->groupLength(nameGroup_);
    if (nameGroup_ >= 1 && nameGroup_ < Regexp::SLOTS && length > 0) {
      result_ = text.mid(user_->groupStart(nameGroup_), length);
      return true;
    }
    return nameFromMatch(*user_);
  }
  if (control_.match(text.text()) || type_.match(text.text())) return false;
  Regexp* headers[] = {&member_, &free_, &extern_, &memberBare_};
  for (Regexp* re : headers)
    if (re->match(text.text()) && nameFromMatch(*re)) return true;
  return false;
}
