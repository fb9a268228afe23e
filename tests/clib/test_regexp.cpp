// Regular expressions and the recognisers built on them: line numbers, file
// names and function headers in tool output and source lines. The plug-in
// uses only the expressions; each recogniser shows its main rule.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cRegexp.hpp"
#include "reports.hpp"

namespace fs = std::filesystem;

TEST(Regexp, MatchesGroupsAndCase) {
  Regexp empty("x*");
  ASSERT_TRUE(empty.match("abc"));
  EXPECT_STREQ("a", empty.matchedText());  // an empty match yields one character
  Regexp re("(a)|([a-z]+)=([0-9]+)");
  ASSERT_TRUE(re.match("set key=42;"));
  EXPECT_STREQ("key=42", re.matchedText());
  // group 1 did not take part; 36 lies outside the slots
  const int groups[][3] = {{1, 0, 0}, {3, 8, 2}, {36, 0, 0}};
  for (auto& g : groups) {
    EXPECT_EQ(g[1], re.groupStart(g[0])) << g[0];
    EXPECT_EQ(g[2], re.groupLength(g[0])) << g[0];
  }
  Regexp cased("abc", 0);
  EXPECT_TRUE(cased.setPattern("ABC", 1));
  EXPECT_FALSE(cased.match("ABC"));  // same text in another case: no recompile
  EXPECT_TRUE(Regexp("abc", 1).match("xABC"));
}

// A pattern that does not compile stays usable and says so on each match
// through the error channel's hook, never the log.
TEST(Regexp, FailedCompileWarnsThroughTheMessageHook) {
  Reports reports;
  Regexp bad("(ab");
  EXPECT_FALSE(bad.compiled());
  EXPECT_STRNE("", bad.errorText());
  EXPECT_FALSE(bad.match("ab"));
  EXPECT_FALSE(bad.match("(ab"));
  EXPECT_EQ(std::vector<std::string>(2, "Warning: The regexp has failed to compile."), reports.all());
  EXPECT_TRUE(bad.setPattern("ab"));  // recompiled: the case-blind check sees other text
  EXPECT_TRUE(bad.match("xab"));
}

// A line number is taken from a Lua error, or by the caller's pattern.
TEST(Regexp, LineNumbers) {
  EXPECT_EQ(12, findLineNumber("lua: demo.lua:12: attempt to index a nil value"));
  EXPECT_EQ(34, findLineNumber("x 12 y 34", "y [0-9]+"));
}

// A file named in a line is found in the search folders, as a full path.
TEST(Regexp, FileNames) {
  fs::path dir = fs::temp_directory_path() / "sorb_regexp_files";
  fs::create_directories(dir);
#ifndef _WIN32
  dir = fs::canonical(dir);  // the full path is the resolved one here
#endif
  std::ofstream(dir / "demo.lua") << "x\n";
  String result;
  EXPECT_TRUE(findFileName("lua: demo.lua:12: attempt to call a nil value", result, 0, dir.string().c_str()));
  EXPECT_EQ((dir / "demo.lua").string(), result.text());
  fs::remove_all(dir);
}

// A function header gives its name; a declaration is not a header.
TEST(Regexp, FunctionHeaders) {
  IsFunction f;
  ASSERT_TRUE(f.test("void Parser::run(int depth) const"));
  EXPECT_STREQ("Parser::run", f.result());
  EXPECT_FALSE(f.test("int main(void);"));
}
