// Regular expressions and the recognisers built on them: line numbers, file
// names and function headers in tool output and source lines.
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

TEST(Regexp, LineNumbers) {
  EXPECT_EQ(12, findLineNumber("lua: demo.lua:12: attempt to index a nil value"));
  EXPECT_EQ(0, findLineNumber("handler(0): unexpected symbol"));
  EXPECT_EQ(-1, findLineNumber("demo.c:40: /^int main(void)$/"));  // a locator wins
  EXPECT_EQ(34, findLineNumber("x 12 y 34", "y [0-9]+"));          // the caller's pattern
}

TEST(Regexp, FileNames) {
  fs::path dir = fs::temp_directory_path() / "sorb_regexp_files";
  fs::create_directories(dir);
#ifndef _WIN32
  dir = fs::canonical(dir);  // the full path is the resolved one here
#endif
  for (const char* name : {"demo.lua", "mylib.h"}) std::ofstream(dir / name) << "x\n";
  std::string folders = "  ;" + (dir / "missing").string() + "; " + dir.string();
  auto find = [&](const char* line) {
    String result;
    bool found = findFileName(line, result, 0, folders.c_str());
    return (found ? "" : "failed: ") + std::string(result.text());
  };
  EXPECT_EQ("http://example.com/doc", find("see http://example.com/doc for more"));  // needs no file
  EXPECT_EQ((dir / "demo.lua").string(), find("lua: demo.lua:12: attempt to call a nil value"));
  EXPECT_EQ((dir / "mylib.h").string(), find("#include <mylib>"));
  EXPECT_EQ("failed: absent.h", find("#include <absent>"));
  fs::remove_all(dir);
}

TEST(Regexp, FunctionHeaders) {
  IsFunction f;
  const char* cases[][2] = {
      {"void Parser::run(int depth) const", "Parser::run"},
      {"local function helper(a, b)", "helper"},
      {"int main(void);", "-"},  // a declaration
      {"    if (x > 0) {", "-"},
      {"class Parser : public Base", "-"}};
  for (auto& c : cases) EXPECT_EQ(std::string(c[1]), f.test(c[0]) ? f.result() : "-") << c[0];
}
