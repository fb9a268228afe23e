// String and StringDZ: growth, the deliberate quirks, and the assertion
// reports of bad arguments.
#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <vector>

#include "cError.hpp"
#include "cString.hpp"
#include "iString.hpp"

namespace {

std::vector<std::string> reports;
void hook(const char* text) { reports.push_back(text); }

std::string str(const String& s) { return std::string(s.text(), s.length()); }

// The text after one edit of a fresh string.
template <class Edit>
std::string edited(const char* text, Edit edit) {
  String s(text);
  edit(s);
  return str(s);
}
#define EDIT(text, call) edited(text, [](String& s) { s.call; })

class Str : public ::testing::Test {
 protected:
  void SetUp() override {
    setLogPath("");  // no log file from the tests
    setMessageHook(hook);
    reports.clear();
  }
  void TearDown() override {
    setMessageHook(0);
    EXPECT_TRUE(reports.empty()) << "unexpected report: " << reports[0];
  }
  // Exactly one report since the last check, from file at line.
  static void expectReport(const char* file, int line, const char* text = "") {
    ASSERT_EQ(1u, reports.size());
    std::string where = std::string(file) + "\" (" + std::to_string(line) + ")";
    EXPECT_TRUE(reports[0].find(where) != std::string::npos &&
                reports[0].find(text) != std::string::npos) << reports[0];
    reports.clear();
  }
};

TEST_F(Str, Construction) {
  EXPECT_EQ(5, String().capacity());
  EXPECT_EQ(8, String("abc").capacity());  // length + step + 1
  EXPECT_EQ("", str(String((const char*)0)));
  EXPECT_EQ("ab", str(String("abc", 2)));
  EXPECT_EQ("abc", str(String("abc", 10)));
  EXPECT_EQ("", str(String('\0', 3)));
  EXPECT_EQ("ffffffff", str(String(-1, 16)));
  EXPECT_EQ("", str(String(String::RESOURCE, 64999u, 1)));  // no such resource
  EXPECT_EQ("", str(String('x', -1)));
  ASSERT_EQ(1u, reports.size());
  EXPECT_EQ("\"cString.cpp\" (1082)   \n", reports[0]);  // the hook's line
  reports.clear();
  EXPECT_EQ("\xc3\xa9t\xc3\xa9", str(String(L"\u00e9t\u00e9", 65001u)));
  std::wstring fits(4095, L'w'), tooLong(4096, L'w');
  EXPECT_EQ(4095, String(fits.c_str(), 65001u).length());
  EXPECT_EQ(0, String(tooLong.c_str(), 65001u).length());
  expectReport("cString.cpp", 1312);
}

TEST_F(Str, Growth) {
  String c;  // appendChar grows when fewer than two bytes would be left
  for (const char* p = "abc"; *p; p++) c.appendChar(*p);
  EXPECT_EQ(5, c.capacity());
  c.appendChar('d');
  EXPECT_EQ(11, c.capacity());  // step 4 + 1 + (5 + 1)
  EXPECT_EQ(8, c.growthStep());
  String s;  // append grows unless count + 3 fits
  s.append("a");
  EXPECT_EQ(12, s.capacity());
  s.replace("a", "b");  // asks for room it already has: the step still doubles
  EXPECT_EQ(12, s.capacity());
  EXPECT_EQ(16, s.growthStep());
  for (int i = 0; i < 20; i++) s.replace(i % 2 ? "c" : "b", i % 2 ? "b" : "c");
  EXPECT_EQ(32768, s.growthStep());
  String t("abcdefgh");  // capacity 13
  t.truncate(0);
  t.append("12345678");
  EXPECT_EQ(13, t.capacity());
  t.truncate(0);
  t.append("123456789");
  EXPECT_EQ(4 + 1 + (13 + 1 + 9), t.capacity());
  String d("abcdefgh");  // assign and format discard the old text
  d.assign("0123456789ab");
  EXPECT_EQ(13, d.capacity());
  d.assign("0123456789abc");
  EXPECT_EQ(18, d.capacity());
  String f("0123456789");  // capacity 15
  f.format("%s", "0123456789a");  // 11 + 4 is not below 15
  EXPECT_EQ(16, f.capacity());
  d.assign(d.text() + 2);  // its own text
  EXPECT_EQ("23456789abc", str(d));
}

TEST_F(Str, AppendAndInsert) {
  EXPECT_EQ("xab", EDIT("x", append("abc", 2)));
  EXPECT_EQ("xabc", EDIT("x", append("abc", -1)));
  EXPECT_EQ("xab", EDIT("x", append("ab\0cd", 5)));  // the copy stops at zero
  EXPECT_EQ("abab", EDIT("ab", append(s.text())));
  EXPECT_EQ("xab", EDIT("x", append("ab", -2)));
  expectReport("cString.cpp", 1277);
  String z;
  z.append("ab");
  EXPECT_EQ(0, memcmp(z.text(), "ab\0\0\0", 5));  // a double zero at hand
  String s("ab");  // an inserted zero keeps the length until append rescans
  s.insertChar('\0', 0);
  EXPECT_EQ(0, s.text()[0]);
  EXPECT_EQ(2, s.length());
  s.append("c");
  EXPECT_EQ(0, s.length());
  s += (const char*)0;
  expectReport("cString.hpp", 192);
}

TEST_F(Str, Editing) {
  EXPECT_EQ("abc", EDIT("ac", insertChar('b', 1)));
  EXPECT_EQ("acb", EDIT("ac", insertChar('b', 2)));
  EXPECT_EQ("ac", EDIT("ac", insertChar('b', 3)));
  EXPECT_EQ("abcd", EDIT("ad", insertText("bc", 1)));
  EXPECT_EQ("ad", EDIT("ad", insertText("x", 2)));  // not at the end
  EXPECT_EQ("aabb", EDIT("ab", insertText(s.text(), 1)));
  EXPECT_EQ("adef", EDIT("abcdef", remove(1, 2)));
  EXPECT_EQ("ab", EDIT("abcdef", remove(2, 100)));
  EXPECT_EQ("", EDIT("ab", truncateAtLeast(-5)));
  EXPECT_EQ("a", EDIT("ab", chop()));
}

TEST_F(Str, Format) {
  String s;
  EXPECT_EQ(s.text(), s.format("%d-%s", 5, "x"));
  s.format("[%s]", s.text());
  EXPECT_EQ("[5-x]", str(s));
  std::string fits(30719, 'a'), over(30720, 'a'), longFormat(40000, 'f');
  EXPECT_EQ(30719, (int)strlen(s.format("%s", fits.c_str())));
  EXPECT_STREQ("%s....", s.format("%s", over.c_str()));
  s.format(longFormat.c_str());
  EXPECT_EQ(longFormat.substr(0, 30710) + "....", str(s));
}

TEST_F(Str, MissingResourcesAndErrorTexts) {
  String s("old");
  EXPECT_STREQ("", s.formatResource(64999u, 1));
  s.assign("old");
  EXPECT_FALSE(s.loadResource(64999u));
  EXPECT_EQ("", str(s));
  expectReport("cString.cpp", 2239, "Unexpected error loading '64999' string resource");
  iSetLastError(0);
  EXPECT_FALSE(s.systemErrorText(0));
  EXPECT_EQ("", str(s));
  EXPECT_FALSE(s.systemErrorText(0x2FFFFFF0u, "no-such-module.dll"));
  EXPECT_EQ("Unexpected error performing the operation request!", str(s));
  String last;
  s.systemErrorText(5);
  iSetLastError(5);
  last.systemErrorText(0);  // 0: the last error
  EXPECT_EQ(str(s), str(last));
}

TEST_F(Str, AtPaddingAndSlices) {
  EXPECT_EQ("ab    ", EDIT("ab", at(5)));
  EXPECT_EQ("ab***z", EDIT("ab", setPadChar('*'); s.at(5) = 'z'));
  EXPECT_EQ("ab ", EDIT("ab", setPadChar('*'); s.at(2)));  // one: a blank
  String s("ab");
  s.at(100) = 'z';
  EXPECT_EQ(101, s.length());
  EXPECT_LT(s.length(), s.capacity());
  EXPECT_EQ("ab", EDIT("ab", at(-1)));
  expectReport("cString.cpp", 1023);
  EXPECT_EQ("ab", EDIT("ab", setPadChar('\0'); s.at(4)));  // pads nothing
  expectReport("cString.cpp", 1023);
  String t("abcdef");
  EXPECT_EQ("bc", str(t.mid(1, 2)));
  EXPECT_EQ("ef", str(t.mid(4, 10)));
  EXPECT_EQ("", str(t.mid(6, 1)));
  EXPECT_EQ("cdef", str(t.from(2)));
  EXPECT_EQ("", str(t.from(6)));
  EXPECT_EQ("", str(String().from(0)));
}

TEST_F(Str, CompareAndMatch) {
  String s("abc"), h("Hello");
  EXPECT_EQ(-1, s.compare("abd"));
  EXPECT_EQ(1, s.compare("ab"));
  EXPECT_EQ(1, String("\xe9").compare("a"));  // unsigned bytes
  EXPECT_EQ(0, String("ABCdef").compare("abcdef", false));
  EXPECT_GT(0, String("ABCdef").compare("abc", true, true));
  EXPECT_EQ(0, String("ABCdef").compare("abc", false, true));
  EXPECT_EQ(1, s.compare((const char*)0));
  expectReport("cString.cpp", 1524);
  EXPECT_TRUE(h.equals("hELLO", false) && !h.equals("hello") && !h.equals("Hell", false));
  EXPECT_TRUE(h.startsWith("He") && !h.startsWith("HE") && !h.startsWith("Hello!"));
  EXPECT_TRUE(h.endsWith("LLO") && !h.endsWith("") && !h.endsWith("xHello"));
  EXPECT_TRUE(h.matchesAt(1, "ell") && h.matchesAt(0, "") && !h.matchesAt(6, "H"));
}

TEST_F(Str, Find) {
  String s("abcABCabc"), r("abcabc");
  EXPECT_EQ(4, s.find('b', 2, false));
  EXPECT_EQ(-1, s.find('b', 9));
  EXPECT_EQ(6, s.find("abc", 1));
  EXPECT_EQ(1, s.find("BCA", 0, false));
  EXPECT_EQ(-1, s.find("BCA"));
  EXPECT_EQ(-1, s.find(""));
  EXPECT_EQ(-1, s.find("abcd", 6));  // longer than the rest
  EXPECT_EQ(4, r.findReverse('b'));
  EXPECT_EQ(-1, r.findReverse('b', 5));  // the last hit lies before start
  EXPECT_EQ(4, r.findReverse("BC", 2, false));
  EXPECT_EQ(-1, r.findReverse("ca", 3));
  EXPECT_EQ(2, r.findReverse("ca", 2));
  EXPECT_TRUE(String("abcdef").containsAt("cd", 3, 1));
  EXPECT_FALSE(String("abcdef").containsAt("cd", 2, 1));  // would end past the bound
  EXPECT_EQ(2, String("a.b.").count('.'));
  EXPECT_EQ(584u, String("ab").hash(1000));
  EXPECT_EQ(584u, String("AB").hash(1000, false));
  EXPECT_EQ(0xFFFFFFFEu, String("\xff").hash(0xFFFFFFFFu));  // signed byte
}

TEST_F(Str, Replace) {
  String s("a-b-c");
  EXPECT_TRUE(s.replace("-", "+"));
  EXPECT_TRUE(s.replace("-", "==", 2));
  EXPECT_EQ("a+b==c", str(s));
  EXPECT_FALSE(s.replace("+", "+"));
  EXPECT_FALSE(s.replace("+", "y", 6));
  EXPECT_EQ("a" + std::string(200, 'x') + "c",
            EDIT("abc", replace("b", std::string(200, 'x').c_str())));
  EXPECT_EQ(3, String("aaa").replaceAll("a", "aa"));
  EXPECT_EQ("", EDIT("aaa", replaceAll("a", "")));
  String big(std::string(5000, 'a').c_str());
  EXPECT_EQ(5000, big.replaceAll("a", "bb"));
  EXPECT_LT(big.capacity(), 10000 + 2 * 32768);  // grows only as needed
}

TEST_F(Str, Transforms) {
  EXPECT_EQ("ab", EDIT(" \t ab \t", trim()));
  EXPECT_EQ("\r\nab\r\n", EDIT("\r\nab\r\n", trim()));
  EXPECT_EQ("ab  \xe9", EDIT("ab  \xe9", trimRight()));  // bytes >= 128 stop trims
  EXPECT_EQ("\xe9  ab", EDIT("\xe9  ab", trimLeft()));
  EXPECT_EQ("a b c", EDIT(" a \t b\t\tc  ", squeeze()));
  EXPECT_EQ("-1234.5+", EDIT(" $-1,234.5e+ ", keepNumber()));
  EXPECT_EQ("abc", EDIT("a,b,,c", removeAll(',')));
  EXPECT_EQ("Hello World 42abc X-Y", EDIT("hello wORLD 42abc x-y", capitalize()));
  EXPECT_EQ("Ab1", EDIT("aB1", swapCase()));
  EXPECT_EQ("bcd", EDIT("abc", shiftUp(257)));  // low byte only
  EXPECT_EQ("A B", EDIT("a b", xorWith(' ')));  // the key byte itself stays
  EDIT("abc", shiftDown(0x62));
  expectReport("cString.cpp", 1394);
}

TEST_F(Str, ClassifyAndNumbers) {
  EXPECT_FALSE(String().isAlpha());
  EXPECT_TRUE(String(" \t\r\n").isBlank());
  EXPECT_FALSE(String(" \xa0").isBlank());
  EXPECT_TRUE(String("ab\x80").hasHighBytes());
  const struct { const char* text; int n; } chars[] = {
      {"h\xc3\xa9llo", 5}, {"\xf0\x9f\x98\x80", 1}, {"\xe9" "a", 2}, {"\xe2\x82", 1}};
  for (auto& c : chars) EXPECT_EQ(c.n, String(c.text).characterCount()) << c.text;
  EXPECT_EQ("1,234,567.89", EDIT("", groupThousands("1234567.89")));
  EXPECT_EQ("-123,456.5", EDIT("", groupThousands(" -123456.5")));
  EXPECT_EQ("98,765", EDIT("98765", groupThousands(s.text())));
  EXPECT_EQ(0xFFFFFFFFu, String("ffffffff").hexValue());
  EXPECT_EQ(0x10u, String("1G").hexValue());  // a bad digit adds 0 but shifts
}

TEST_F(Str, StringDZ) {
  StringDZ dz;
  EXPECT_EQ(0, memcmp(dz.block(), "\0\0", 2));
  dz.add("one");
  dz.add("two");
  EXPECT_EQ(0, memcmp(dz.block(), "one\0two\0\0", 10));
  StringDZ sep(',');  // the separator inside an item splits it
  sep.add("a,b");
  EXPECT_EQ(0, memcmp(sep.block(), "a\0b\0\0", 5));
  StringDZ n;
  n.add("x", true);
  n.add("y", true);
  n.add("");
  n.addList("p\0b=c\0\0");
  ASSERT_EQ(4, n.count());
  EXPECT_STREQ("0=x", n.item(0));
  EXPECT_STREQ("y", n.value(1));
  EXPECT_EQ(0, n.value(2));
  EXPECT_STREQ("c", n.value(3));
  n.add(0);
  expectReport("cString.cpp", 524);
  n.addList(0);
  expectReport("cString.cpp", 548);
}

#ifdef _WIN32

TEST_F(Str, WindowsCodePageAndSystemTexts) {
  EXPECT_EQ("\xc9T\xc9", EDIT("\xe9t\xe9", toUpper()));
  EXPECT_EQ("\xc9t\xe9", EDIT("\xe9T\xc9", capitalize()));
  String s, module;
  EXPECT_FALSE(s.systemErrorText(2));
  EXPECT_NE("Unexpected error performing the operation request!", str(s));
  EXPECT_NE("Unexpected, unknown error message!", str(s));
  EXPECT_TRUE(module.systemErrorText(2, "kernelbase.dll"));
  EXPECT_EQ(str(s), str(module));
}

// Calls through a null object report and return harmless values. The
// volatile keeps the calls as written.
TEST_F(Str, WindowsNullObjectReports) {
  String* volatile p = 0;
  EXPECT_STREQ("", p->text());
  expectReport("cString.hpp", 198);
  EXPECT_EQ(0, p->length());
  expectReport("cString.hpp", 200);
  EXPECT_STREQ("", (const char*)*p);
  expectReport("cString.hpp", 207);
  EXPECT_TRUE(p->isEmpty());
  expectReport("cString.hpp", 208);
  p->at(0);
  expectReport("cString.cpp", 996);
}

#else

TEST_F(Str, NativeStandIns) {
  String s;
  EXPECT_FALSE(s.systemErrorText(2));
  EXPECT_EQ("The system cannot find the file specified.\r\n", str(s));
  EXPECT_EQ("\xe9T", EDIT("\xe9t", toUpper()));  // ASCII only
}

#endif

}  // namespace
