// String and StringDZ: growth, the deliberate quirks, and the assertion
// report of a bad count.
#include <gtest/gtest.h>

#include <limits.h>
#include <string.h>

#include <string>

#include "cString.hpp"
#include "reports.hpp"

static std::string str(const String& s) { return std::string(s.text(), s.length()); }

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
  void TearDown() override { EXPECT_TRUE(reports.are({})); }
  Reports reports;
};

TEST_F(Str, Growth) {
  EXPECT_EQ(5, String().capacity());
  String d("abcdefgh");  // assign discards the old text: 13 holds 12 + 1
  d.assign("0123456789ab");
  EXPECT_EQ(13, d.capacity());
  d.assign("0123456789abc");
  EXPECT_EQ(18, d.capacity());
}

TEST_F(Str, Edits) {
  const struct { std::string got, want; } rows[] = {
      {EDIT("x", append("abc", 2)), "xab"},
      {EDIT("x", append("abc", -1)), "xabc"},
      {EDIT("x", append("ab", INT_MAX)), "xab"},  // only an upper bound
      {EDIT("ab", appendChar('c')), "abc"},
      {EDIT("ac", insertChar('b', 1)), "abc"},
      {EDIT("ac", insertChar('b', 3)), "ac"},
      {EDIT("ad", insertText("x", 2)), "ad"},  // not at the end
      {EDIT("abcdef", remove(2, 100)), "ab"},
      {EDIT("ab", setPadChar('*'); s.at(5) = 'z'), "ab***z"},
      {EDIT("ab", setPadChar('*'); s.at(2)), "ab "},  // a single pad is a blank
      {EDIT("abc", replace("b", "xy")), "axyc"},
      {EDIT("aaa", replaceAll("a", "")), ""},
      {EDIT(" \t ab \t", trim()), "ab"},
      {EDIT("ab  \xe9", trimRight()), "ab  \xe9"},  // bytes >= 128 stop trims
      {EDIT(" $-1,234.5e+ ", keepNumber()), "-1234.5+"},
      {EDIT("hello wORLD 42abc x-y", capitalize()), "Hello World 42abc X-Y"},
      {EDIT("", groupThousands("1234567.89")), "1,234,567.89"},
  };
  for (auto& r : rows) EXPECT_EQ(r.want, r.got);
  EXPECT_TRUE(reports.are({}));
  EXPECT_EQ("xab", EDIT("x", append("ab", -2)));
  EXPECT_TRUE(reports.are({"\"cString.cpp\" (1277)"}));
  String s("ab");  // an inserted zero keeps the length until append rescans
  s.insertChar('\0', 0);
  EXPECT_EQ(2, s.length());
  s.append("c");
  EXPECT_EQ(0, s.length());
}

// Sizes are checked before any arithmetic: what cannot be met is reported
// and changes nothing.
TEST_F(Str, SizeLimits) {
  EXPECT_EQ(0, String(' ', INT_MAX).length());
  String s("ab");
  s.at(INT_MAX - 1) = 'z';
  EXPECT_EQ("ab", str(s));
  EXPECT_TRUE(reports.are({"text too long", "\"cString.cpp\" (1023)"}));
}

TEST_F(Str, ReplaceGrowsGeometrically) {
  String s("a");
  int moves = 0;
  for (int i = 0; i < 3000; i++) {
    int before = s.capacity();
    s.replace("a", "ab");
    moves += s.capacity() != before;
  }
  EXPECT_EQ("a" + std::string(3000, 'b'), str(s));
  EXPECT_GT(15, moves);
  String t(std::string(3000, 'a').c_str());
  EXPECT_EQ(3000, t.replaceAll("a", "bb"));
  EXPECT_EQ(std::string(6000, 'b'), str(t));
}

TEST_F(Str, FormatFindAndSlices) {
  String s;
  s.format("%d-%s", 5, "x");
  s.format("[%s]", s.text());
  EXPECT_EQ("[5-x]", str(s));
  std::string fits(30719, 'a'), over(30720, 'a');
  EXPECT_EQ(30719, (int)strlen(s.format("%s", fits.c_str())));
  EXPECT_STREQ("%s....", s.format("%s", over.c_str()));
  String f("abcABCabc");
  EXPECT_EQ(1, f.find("BCA", 0, false));
  EXPECT_EQ(-1, f.find(""));
  EXPECT_EQ(-1, f.find("abcd", 6));  // longer than the rest
  EXPECT_EQ(4, String("abcabc").findReverse("BC", 2, false));
  EXPECT_EQ("", str(f.from(9)));
  EXPECT_EQ("ef", str(String("abcdef").mid(4, 10)));
  EXPECT_EQ(1, String("\xe9").compare("a"));  // unsigned bytes
  EXPECT_EQ(584u, String("AB").hash(1000, false));
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
  n.addList("p\0b=c\0\0");
  ASSERT_EQ(3, n.count());
  EXPECT_STREQ("0=x", n.item(0));
  EXPECT_EQ(0, n.value(1));
  EXPECT_STREQ("c", n.value(2));
}
