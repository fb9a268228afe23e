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
  // Exactly one report, from a file whose name ends in file, at line.
  static void expectReport(const char* file, int line, const char* text = "") {
    ASSERT_EQ(1u, reports.size());
    std::string where = std::string(file) + "\" (" + std::to_string(line) + ")";
    EXPECT_NE(std::string::npos, reports[0].find(where)) << reports[0];
    EXPECT_NE(std::string::npos, reports[0].find(text)) << reports[0];
    reports.clear();
  }
};

TEST_F(Str, Construction) {
  String e;
  EXPECT_EQ(0, e.length());
  EXPECT_EQ(5, e.capacity());
  EXPECT_EQ(4, e.growthStep());
  EXPECT_EQ(' ', e.padChar());
  EXPECT_EQ(8, String("abc").capacity());  // length + step + 1
  EXPECT_EQ("", str(String((const char*)0)));
  EXPECT_EQ("ab", str(String("abc", 2)));
  EXPECT_EQ("abc", str(String("abc", 10)));
  EXPECT_EQ("xxx", str(String('x', 3)));
  EXPECT_EQ("", str(String('\0', 3)));
  EXPECT_EQ("ff", str(String(255, 16)));
  EXPECT_EQ("ffffffff", str(String(-1, 16)));
  EXPECT_EQ("", str(String(String::RESOURCE, 64999u, 1)));  // no such resource
}

TEST_F(Str, NegativeRepeatReports) {
  EXPECT_EQ("", str(String('x', -1)));
  ASSERT_EQ(1u, reports.size());
  EXPECT_EQ("\"cString.cpp\" (1082)   \n", reports[0]);  // the hook's line
  reports.clear();
}

TEST_F(Str, ConstructFromWide) {
  EXPECT_EQ("\xc3\xa9t\xc3\xa9", str(String(L"\u00e9t\u00e9", 65001u)));
  EXPECT_EQ("", str(String((const wchar_t*)0, 65001u)));
  std::wstring fits(4095, L'w'), tooLong(4096, L'w');
  EXPECT_EQ(4095, String(fits.c_str(), 65001u).length());
  EXPECT_EQ(0, String(tooLong.c_str(), 65001u).length());
  expectReport("cString.cpp", 1312);
}

// ---------------------------------------------------------------------------

TEST_F(Str, AppendCharGrowsWhenTwoBytesAreLeft) {
  String s;
  for (const char* p = "abc"; *p; p++) s.appendChar(*p);
  EXPECT_EQ(5, s.capacity());
  s.appendChar('d');  // 5 - 3 - 1 < 2: step 4 + 1 + (5 + 1)
  EXPECT_EQ(11, s.capacity());
  EXPECT_EQ(8, s.growthStep());
  EXPECT_EQ("abcd", str(s));
}

TEST_F(Str, AppendGrowsWhenCountPlusThreeDoesNotFit) {
  String s;
  s.append("a");  // 5 - 0 - 1 <= 1 + 3
  EXPECT_EQ(12, s.capacity());  // 4 + 1 + (5 + 1 + 1)
  EXPECT_EQ(8, s.growthStep());
  String t("abcdefgh");  // capacity 13
  t.truncate(0);
  t.append("12345678");  // 12 > 8 + 3: fits
  EXPECT_EQ(13, t.capacity());
  t.truncate(0);
  t.append("123456789");
  EXPECT_EQ(4 + 1 + (13 + 1 + 9), t.capacity());
}

TEST_F(Str, GrowthStepDoublesEvenWithoutReallocation) {
  String s;
  s.append("a");  // step 8, capacity 12
  s.replace("a", "b");  // asks for room it already has
  EXPECT_EQ(12, s.capacity());
  EXPECT_EQ(16, s.growthStep());
  for (int i = 0; i < 20; i++) s.replace(i % 2 ? "c" : "b", i % 2 ? "b" : "c");
  EXPECT_EQ(32768, s.growthStep());
}

TEST_F(Str, DiscardingGrowth) {
  String s("abcdefgh");  // capacity 13
  s.assign("0123456789ab");  // 12 < 13: reused
  EXPECT_EQ(13, s.capacity());
  s.assign("0123456789abc");  // replaced: 13 + 4 + 1
  EXPECT_EQ(18, s.capacity());
  String f("0123456789");  // capacity 15
  f.format("%d", 42);
  EXPECT_EQ(15, f.capacity());
  f.format("%s", "0123456789a");  // 11 + 4 is not below 15
  EXPECT_EQ(16, f.capacity());
  s.assign(s.text() + 2);  // its own text
  EXPECT_EQ("23456789abc", str(s));
}

// ---------------------------------------------------------------------------

TEST_F(Str, AppendCounts) {
  EXPECT_EQ("xab", EDIT("x", append("abc", 2)));
  EXPECT_EQ("xabc", EDIT("x", append("abc", -1)));
  EXPECT_EQ("x", EDIT("x", append(0, 3)));
  EXPECT_EQ("xab", EDIT("x", append("ab\0cd", 5)));  // the copy stops at zero
  EXPECT_EQ("abab", EDIT("ab", append(s.text())));
  EXPECT_EQ("xab", EDIT("x", append("ab", -2)));
  expectReport("cString.cpp", 1277);
  String z;
  z.append("ab");
  EXPECT_EQ(0, memcmp(z.text(), "ab\0\0\0", 5));  // a double zero at hand
}

TEST_F(Str, InsertedZeroKeepsLengthUntilAppendRescans) {
  String s("ab");
  s.insertChar('\0', 0);
  EXPECT_EQ(0, s.text()[0]);
  EXPECT_EQ(2, s.length());
  s.append("c");
  EXPECT_EQ(0, s.length());
}

TEST_F(Str, NullTextThroughOperatorReports) {
  String s("ab");
  s += (const char*)0;
  expectReport("cString.hpp", 192);
  s += "c";
  s += 'd';
  EXPECT_EQ("abcd", str(s));
}

TEST_F(Str, Editing) {
  EXPECT_EQ("x", EDIT("", setChar('x')));
  EXPECT_EQ("abc", EDIT("ac", insertChar('b', 1)));
  EXPECT_EQ("acb", EDIT("ac", insertChar('b', 2)));
  EXPECT_EQ("ac", EDIT("ac", insertChar('b', 3)));
  EXPECT_EQ("abcd", EDIT("ad", insertText("bc", 1)));
  EXPECT_EQ("ad", EDIT("ad", insertText("x", 2)));  // not at the end
  EXPECT_EQ("xyz", EDIT("", insertText("xyz", 0)));
  EXPECT_EQ("aabb", EDIT("ab", insertText(s.text(), 1)));
  EXPECT_EQ("adef", EDIT("abcdef", remove(1, 2)));
  EXPECT_EQ("ab", EDIT("abcdef", remove(2, 100)));
  EXPECT_EQ("ab", EDIT("ab", remove(2, 1)));
  EXPECT_EQ("abcd", EDIT("abcdef", truncate(4)));
  EXPECT_EQ("", EDIT("ab", truncateAtLeast(-5)));
  EXPECT_EQ("a", EDIT("ab", chop()));
}

// ---------------------------------------------------------------------------

TEST_F(Str, Format) {
  String s;
  EXPECT_EQ(s.text(), s.format("%d-%s", 5, "x"));
  EXPECT_EQ("5-x", str(s));
  s.format("[%s]", s.text());
  EXPECT_EQ("[5-x]", str(s));
}

TEST_F(Str, FormatOverflowGivesFormatText) {
  std::string fits(30719, 'a'), over(30720, 'a'), longFormat(40000, 'f');
  String s;
  EXPECT_EQ(30719, (int)strlen(s.format("%s", fits.c_str())));
  EXPECT_STREQ("%s....", s.format("%s", over.c_str()));
  s.format(longFormat.c_str());
  EXPECT_EQ(longFormat.substr(0, 30710) + "....", str(s));
}

TEST_F(Str, MissingResources) {
  String s("old");
  EXPECT_STREQ("", s.formatResource(64999u, 1));
  s.assign("old");
  EXPECT_FALSE(s.loadResource(64999u));
  EXPECT_EQ("", str(s));
  expectReport("cString.cpp", 2239, "Unexpected error loading '64999' string resource");
}

TEST_F(Str, SystemErrorText) {
  String s("old");
  iSetLastError(0);
  EXPECT_FALSE(s.systemErrorText(0));
  EXPECT_EQ("", str(s));
  EXPECT_FALSE(s.systemErrorText(0x2FFFFFF0u, "no-such-module.dll"));
  EXPECT_EQ("Unexpected error performing the operation request!", str(s));
  String last;
  s.systemErrorText(5);
  iSetLastError(5);
  last.systemErrorText(0);
  EXPECT_EQ(str(s), str(last));
  EXPECT_NE("", str(s));
}

// ---------------------------------------------------------------------------

TEST_F(Str, AtPadding) {
  EXPECT_EQ("ab    ", EDIT("ab", at(5)));
  EXPECT_EQ("ab***z", EDIT("ab", setPadChar('*'); s.at(5) = 'z'));
  EXPECT_EQ("ab ", EDIT("ab", setPadChar('*'); s.at(2)));  // one: a blank
  EXPECT_EQ("Xb", EDIT("ab", at(0) = 'X'));
  String s("ab");
  s.at(100) = 'z';
  EXPECT_EQ(101, s.length());
  EXPECT_EQ('z', s.text()[100]);
  EXPECT_LT(s.length(), s.capacity());
}

TEST_F(Str, AtOutsideReports) {
  EXPECT_EQ("ab", EDIT("ab", at(-1)));
  expectReport("cString.cpp", 1023);
  EXPECT_EQ("ab", EDIT("ab", setPadChar('\0'); s.at(4)));  // pads nothing
  expectReport("cString.cpp", 1023);
}

TEST_F(Str, MidAndFrom) {
  String s("abcdef");
  EXPECT_EQ("bc", str(s.mid(1, 2)));
  EXPECT_EQ("ef", str(s.mid(4, 10)));
  EXPECT_EQ("", str(s.mid(6, 1)));
  EXPECT_EQ("", str(s.mid(0, 0)));
  EXPECT_EQ("cdef", str(s.from(2)));
  EXPECT_EQ("", str(s.from(6)));
  EXPECT_EQ("", str(String().from(0)));
}

// ---------------------------------------------------------------------------

TEST_F(Str, Compare) {
  String s("abc");
  EXPECT_EQ(-1, s.compare("abd"));
  EXPECT_EQ(1, s.compare("ab"));
  EXPECT_EQ(1, String("\xe9").compare("a"));  // unsigned bytes
  EXPECT_EQ(0, String("ABCdef").compare("abcdef", false));
  EXPECT_GT(0, String("ABCdef").compare("abc", true, true));
  EXPECT_EQ(0, String("ABCdef").compare("abc", false, true));
  EXPECT_EQ(1, s.compare((const char*)0));
  expectReport("cString.cpp", 1524);
}

TEST_F(Str, EqualsStartsEnds) {
  String s("Hello");
  EXPECT_TRUE(s == "Hello");
  EXPECT_FALSE(s.equals("hello"));
  EXPECT_TRUE(s.equals("hELLO", false));
  EXPECT_FALSE(s.equals("Hell", false));
  EXPECT_TRUE(s.startsWith("He"));
  EXPECT_FALSE(s.startsWith("HE"));
  EXPECT_FALSE(s.startsWith("Hello!"));
  EXPECT_TRUE(s.endsWith("LLO"));
  EXPECT_FALSE(s.endsWith(""));
  EXPECT_FALSE(s.endsWith("xHello"));
  EXPECT_TRUE(s.matchesAt(1, "ell"));
  EXPECT_FALSE(s.matchesAt(3, "loo"));
  EXPECT_TRUE(s.matchesAt(0, ""));
  EXPECT_FALSE(s.matchesAt(6, "H"));
}

TEST_F(Str, Find) {
  String s("abcABCabc");
  EXPECT_EQ(1, s.find('b'));
  EXPECT_EQ(4, s.find('b', 2, false));
  EXPECT_EQ(-1, s.find('b', 9));
  EXPECT_EQ(6, s.find("abc", 1));
  EXPECT_EQ(1, s.find("BCA", 0, false));
  EXPECT_EQ(-1, s.find("BCA"));
  EXPECT_EQ(-1, s.find(""));
  EXPECT_EQ(-1, s.find("abcd", 6));  // longer than the rest
  EXPECT_EQ(-1, String().find("a"));
}

TEST_F(Str, FindReverse) {
  String s("abcabc");
  EXPECT_EQ(4, s.findReverse('b'));
  EXPECT_EQ(-1, s.findReverse('b', 5));  // the last hit lies before start
  EXPECT_EQ(4, s.findReverse("BC", 2, false));
  EXPECT_EQ(-1, s.findReverse("BC"));
  EXPECT_EQ(-1, s.findReverse("ca", 3));
  EXPECT_EQ(2, s.findReverse("ca", 2));
}

TEST_F(Str, CountContainsHash) {
  String s("abcdef");
  EXPECT_EQ(2, String("a.b.").count('.'));
  EXPECT_TRUE(s.containsAt("cd", 3, 1));
  EXPECT_FALSE(s.containsAt("cd", 2, 1));  // would end past the bound
  EXPECT_FALSE(s.containsAt("ab", 6, 6));
  EXPECT_EQ(584u, String("ab").hash(1000));
  EXPECT_EQ(584u, String("AB").hash(1000, false));
  EXPECT_EQ(392u, String("AB").hash(1000));
  EXPECT_EQ(0xFFFFFFFEu, String("\xff").hash(0xFFFFFFFFu));  // signed byte
}

// ---------------------------------------------------------------------------

TEST_F(Str, Replace) {
  String s("a-b-c");
  EXPECT_TRUE(s.replace("-", "+"));
  EXPECT_TRUE(s.replace("-", "==", 2));
  EXPECT_EQ("a+b==c", str(s));
  EXPECT_FALSE(s.replace("x", "y"));
  EXPECT_FALSE(s.replace("+", "+"));
  EXPECT_FALSE(s.replace("+", "y", 6));
  EXPECT_FALSE(String().replace("a", "b"));
  EXPECT_EQ("a" + std::string(200, 'x') + "c",
            EDIT("abc", replace("b", std::string(200, 'x').c_str())));
}

TEST_F(Str, ReplaceAll) {
  EXPECT_EQ("a--b--c", EDIT("a-b-c", replaceAll("-", "--")));
  EXPECT_EQ(3, String("aaa").replaceAll("a", "aa"));
  EXPECT_EQ("", EDIT("aaa", replaceAll("a", "")));
  EXPECT_EQ(0, String().replaceAll("a", "b"));
  String big(std::string(5000, 'a').c_str());
  EXPECT_EQ(5000, big.replaceAll("a", "bb"));
  EXPECT_LT(big.capacity(), 10000 + 2 * 32768);  // grows only as needed
}

TEST_F(Str, Trim) {
  EXPECT_EQ("ab", EDIT(" \t ab \t", trim()));
  EXPECT_EQ("\r\nab\r\n", EDIT("\r\nab\r\n", trim()));
  EXPECT_EQ("ab  \xe9", EDIT("ab  \xe9", trimRight()));
  EXPECT_EQ("\xe9  ab", EDIT("\xe9  ab", trimLeft()));
  EXPECT_EQ("\xe9", EDIT("  \xe9  ", trim()));
  EXPECT_EQ("a b c", EDIT(" a \t b\t\tc  ", squeeze()));
  EXPECT_EQ("a b", EDIT("a\t  b", squeeze()));
  EXPECT_EQ("-1234.5+", EDIT(" $-1,234.5e+ ", keepNumber()));
  EXPECT_EQ("abc", EDIT("a,b,,c", removeAll(',')));
}

TEST_F(Str, CaseAndOrder) {
  EXPECT_EQ("ABC1", EDIT("abc1", toUpper()));
  EXPECT_EQ("abc1", EDIT("ABC1", toLower()));
  EXPECT_EQ("Hello World 42abc X-Y", EDIT("hello wORLD 42abc x-y", capitalize()));
  EXPECT_EQ("Ab1", EDIT("aB1", swapCase()));
}

TEST_F(Str, Scrambling) {
  EXPECT_EQ("bcd", EDIT("abc", shiftUp(257)));  // low byte only
  EXPECT_EQ("abc", EDIT("bcd", shiftDown(1)));
  EXPECT_EQ("A B", EDIT("a b", xorWith(' ')));  // the key byte itself stays
  EDIT("abc", shiftDown(0x62));
  expectReport("cString.cpp", 1394);
}

// ---------------------------------------------------------------------------

TEST_F(Str, Classification) {
  EXPECT_FALSE(String().isAlpha());
  EXPECT_TRUE(String("abC").isAlpha());
  EXPECT_TRUE(String("ab1").isAlnum());
  EXPECT_TRUE(String("0123").isDigit());
  EXPECT_TRUE(String().isBlank());
  EXPECT_TRUE(String(" \t\r\n").isBlank());
  EXPECT_FALSE(String(" \xa0").isBlank());
  EXPECT_TRUE(String("ab\x80").hasHighBytes());
  EXPECT_TRUE(String("a?").hasWildcards());
}

TEST_F(Str, CharacterCount) {
  EXPECT_EQ(5, String("h\xc3\xa9llo").characterCount());
  EXPECT_EQ(1, String("\xe2\x82\xac").characterCount());
  EXPECT_EQ(1, String("\xf0\x9f\x98\x80").characterCount());
  EXPECT_EQ(2, String("\xe9" "a").characterCount());  // lone high byte
  EXPECT_EQ(1, String("\xe2\x82").characterCount());  // cut short
}

TEST_F(Str, Numbers) {
  EXPECT_EQ("1,234", EDIT("", groupThousands("1234")));
  EXPECT_EQ("1,234,567.89", EDIT("", groupThousands("1234567.89")));
  EXPECT_EQ("-123,456.5", EDIT("", groupThousands(" -123456.5")));
  EXPECT_EQ("98,765", EDIT("98765", groupThousands(s.text())));
  EXPECT_EQ(26u, String("0x1A").hexValue());
  EXPECT_EQ(0xFFFFFFFFu, String("ffffffff").hexValue());
  EXPECT_EQ(0x10u, String("1G").hexValue());  // a bad digit adds 0 but shifts
  EXPECT_EQ(0u, String().hexValue());
}

// ---------------------------------------------------------------------------

TEST_F(Str, BlockBytes) {
  StringDZ dz;
  EXPECT_EQ(0, memcmp(dz.block(), "\0\0", 2));
  dz.add("one");
  dz.add("two");
  EXPECT_EQ(0, memcmp(dz.block(), "one\0two\0\0", 10));
}

TEST_F(Str, SeparatorInItemSplitsIt) {
  StringDZ dz(',');
  dz.add("a,b");
  EXPECT_EQ(0, memcmp(dz.block(), "a\0b\0\0", 5));
  StringDZ again;
  again.addList(dz.block());
  EXPECT_EQ(2, again.count());
}

TEST_F(Str, NumberedItemsAndValues) {
  StringDZ dz;
  dz.add("x", true);
  dz.add("y", true);
  dz.add("plain");
  dz.add("");
  ASSERT_EQ(3, dz.count());
  EXPECT_STREQ("0=x", dz.item(0));
  EXPECT_STREQ("y", dz.value(1));
  EXPECT_EQ(0, dz.value(2));
  EXPECT_EQ(0, dz.item(3));
  dz.clear();
  EXPECT_EQ(0, dz.count());
}

TEST_F(Str, AddList) {
  StringDZ dz;
  dz.addList("a\0b=c\0\0");
  ASSERT_EQ(2, dz.count());
  EXPECT_STREQ("c", dz.value(1));
  dz.add(0);
  expectReport("cString.cpp", 524);
  dz.addList(0);
  expectReport("cString.cpp", 548);
}

// ---------------------------------------------------------------------------
#ifdef _WIN32

TEST_F(Str, WindowsCaseFoldingFollowsCodePage) {
  EXPECT_EQ("\xc9T\xc9", EDIT("\xe9t\xe9", toUpper()));
  EXPECT_EQ("\xc9t\xe9", EDIT("\xe9T\xc9", capitalize()));
}

TEST_F(Str, WindowsSystemErrorText) {
  String s, module;
  EXPECT_FALSE(s.systemErrorText(2));
  EXPECT_NE("", str(s));
  EXPECT_NE("Unexpected error performing the operation request!", str(s));
  EXPECT_NE("Unexpected, unknown error message!", str(s));
  EXPECT_TRUE(module.systemErrorText(2, "kernelbase.dll"));
  EXPECT_EQ(str(s), str(module));
}

// Calls through a null object: the accessors and at() report and return
// harmless values. The volatile keeps the calls as written.
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
