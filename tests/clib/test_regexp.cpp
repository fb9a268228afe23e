#include <gtest/gtest.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cRegexp.hpp"

namespace fs = std::filesystem;

static std::vector<std::string> messages;
static void keep(const char* text) { messages.push_back(text); }

struct Reports : ::testing::Test {
  void SetUp() override {
    messages.clear();
    setLogPath("");  // keep reports out of the build folder
    setMessageHook(keep);
  }
  void TearDown() override {
    setMessageHook(0);
    Regexp::setWarningHook(0);
  }
};

TEST(Regexp, EmptyMatchYieldsOneCharacter) {
  Regexp re("x*");
  ASSERT_TRUE(re.match("abc"));
  EXPECT_STREQ("a", re.matchedText());
  EXPECT_EQ(0, re.matchPosition());
  String exact;  // the String form gives the exact, empty slot text
  EXPECT_TRUE(re.match(String("abc"), exact));
  EXPECT_STREQ("", exact.text());
}

TEST(Regexp, GroupsAndSlotLimits) {
  Regexp re("(a)|([a-z]+)=([0-9]+)");
  ASSERT_TRUE(re.match("set key=42;"));
  EXPECT_STREQ("key=42", re.matchedText());
  EXPECT_EQ(4, re.matchPosition());
  // group 1 did not take part; 36 and -1 lie outside the slots
  const int groups[][3] = {{1, 0, 0}, {2, 4, 3}, {3, 8, 2}, {36, 0, 0}, {-1, 0, 0}};
  for (auto& g : groups) {
    EXPECT_EQ(g[1], re.groupStart(g[0])) << g[0];
    EXPECT_EQ(g[2], re.groupLength(g[0])) << g[0];
  }
  EXPECT_FALSE(re.match("none"));  // a miss forgets the last match
  EXPECT_EQ(-1, re.matchPosition());
  EXPECT_EQ(0, re.groupLength(2));
}

TEST(Regexp, IgnoreCaseAndSetPattern) {
  EXPECT_TRUE(Regexp("abc", 1).match("xABC"));
  EXPECT_FALSE(Regexp("abc", 2).match("xABC"));  // only exactly 1 ignores case
  Regexp re("abc", 0);
  EXPECT_TRUE(re.setPattern("ABC", 1));
  EXPECT_STREQ("abc", re.pattern());
  EXPECT_FALSE(re.match("ABC"));  // still the case-sensitive compile
  EXPECT_TRUE(re.setPattern("ab+d", 1));
  EXPECT_TRUE(re.match("ABBD"));
}

TEST_F(Reports, CompileFailureWarnsOnEveryMatch) {
  Regexp re("(abc");
  EXPECT_FALSE(re.compiled());
  EXPECT_EQ(0, strncmp(re.errorText(), "unbalanced ()", 13)) << re.errorText();
  EXPECT_FALSE(re.match("abc"));  // no hook: quiet
  Regexp::setWarningHook(keep);
  EXPECT_FALSE(re.match("abc"));
  EXPECT_FALSE(re.match("(abc"));
  ASSERT_EQ(2u, messages.size());
  EXPECT_EQ("Warning: The regexp has failed to compile.", messages[0]);
  EXPECT_TRUE(re.setPattern("abc") && re.match("abc"));
  EXPECT_STREQ("", re.errorText());
}

TEST_F(Reports, NullArguments) {
  Regexp re(0);
  EXPECT_FALSE(re.compiled());
  EXPECT_FALSE(re.match("x"));
  Regexp ok("b");
  String out("old");
  EXPECT_FALSE(ok.match(0, &out));
  EXPECT_STREQ("", out.text());
  EXPECT_TRUE(ok.match("abc", (String*)0));
  ASSERT_EQ(2u, messages.size());
  EXPECT_NE(std::string::npos, messages[0].find("cRegexp.cpp\" (531)"));
  EXPECT_NE(std::string::npos, messages[1].find("cString.hpp\" (200)"));
}

TEST(LineNumber, Recognisers) {
  const struct { const char* line; int n; } cases[] = {
      {"handler(0): unexpected symbol", 0},
      {"lua: demo.lua:12: attempt to index a nil value", 12},
      {"main.c:7:12: error: expected ';'", 7},
      {"c:\\src\\main.c(123) : error C2065", 123},
      {"v2 (LINE=7x)", 7},    // the word LINE beats v2
      {"abc2 x 15abc", 15},   // after a blank beats abc2
      {"no digits at all", -1},
      {"x:99999999999:", -1},  // no such line
      {"count\tdemo.c\t/^static int count = 10;$/;\"\tv", -1},  // locators
      {"demo.c:40: /^int main(void)$/", -1},
      {0, -1}};
  for (auto& c : cases) EXPECT_EQ(c.n, findLineNumber(c.line)) << (c.line ? c.line : "null");
  EXPECT_EQ(34, findLineNumber("x 12 y 34", "y [0-9]+"));  // the caller's pattern
  EXPECT_EQ(-1, findLineNumber("x 12 y 34", "z [0-9]+"));  // replaces the built-ins
}

struct FileName : ::testing::Test {
  fs::path dir;
  std::string folders;
  void SetUp() override {
    dir = fs::temp_directory_path() /
          ("sorb_regexp_" + std::to_string((unsigned)(size_t)this));
    fs::create_directories(dir);
#ifndef _WIN32
    dir = fs::canonical(dir);  // the full path is the resolved one here
#endif
    folders = "  ;" + (dir / "missing").string() + "; " + dir.string();
    for (const char* name : {"demo.lua", "mylib.h", "my prog.c", "tool.exe"})
      std::ofstream(dir / name) << "x\n";
#ifndef _WIN32
    std::ofstream(dir / "tool.exe x.c(1,2):") << "x\n";  // a legal name only here
#endif
    fs::create_directories(dir / "sub.lua");  // a folder is never a file
  }
  void TearDown() override { fs::remove_all(dir); }
  std::string path(const char* name) { return (dir / name).string(); }
  std::string find(const std::string& line, const char* pattern = 0) {
    String result;
    if (!findFileName(line.c_str(), result, pattern, folders.c_str()))
      return "failed: " + std::string(result.text());
    return result.text();
  }
};

TEST_F(FileName, ToolOutputLines) {
  EXPECT_EQ("http://example.com/doc/index.html",  // a URL needs no file
            find("see http://example.com/doc/index.html for more"));
  EXPECT_EQ(path("demo.lua"), find("lua: demo.lua:12: attempt to call a nil value"));
  EXPECT_EQ(path("demo.lua"), find("lua: " + path("demo.lua") + ":3: boom"));
  EXPECT_EQ(path("my prog.c"), find("error in \"my prog.c\", line 3"));
  EXPECT_EQ(path("tool.exe"), find("running tool.exe now"));
  // A compiler message is located whole, position and colon included.
  EXPECT_EQ("failed: my prog.c(12,5):", find("my prog.c(12,5): error C2065"));
#ifdef _WIN32
  EXPECT_EQ(path("tool.exe"), find("tool.exe x.c(1,2): error"));
#else
  // where such a file can exist it takes the place of a program found first
  EXPECT_EQ(path("tool.exe x.c(1,2):"), find("tool.exe x.c(1,2): error"));
#endif
  EXPECT_EQ(path("mylib.h"), find("#include <mylib>"));
}

TEST_F(FileName, FailureKeepsLastCandidate) {
  EXPECT_EQ("failed: a b", find("a b"));  // nothing matched: the whole line
  EXPECT_EQ("failed: sub.lua", find("in sub.lua"));
  EXPECT_EQ("failed: absent.h", find("#include <absent>"));
}

TEST_F(FileName, CallerPatternDecidesWhenItMatches) {
  EXPECT_EQ("failed: absent", find("absent demo.lua", "ABSENT"));
  EXPECT_EQ(path("demo.lua"), find("absent demo.lua", "zzz"));
  EXPECT_EQ(path("demo.lua"), find("file=<demo.lua>", "[a-z]+\\.lua"));
}

TEST_F(FileName, LocateTrimsAndSearches) {
  String full;
  EXPECT_TRUE(locateFile(" 'demo.lua' ", folders.c_str(), full));
  EXPECT_STREQ(path("demo.lua").c_str(), full.text());
  EXPECT_FALSE(locateFile("demo.lua", 0, full));
  EXPECT_FALSE(locateFile("\"\"", folders.c_str(), full));
  EXPECT_FALSE(locateFile(path("nothere.lua").c_str(), folders.c_str(), full));
}

static std::string header(IsFunction& f, const char* line) {
  return f.test(line) ? f.result() : "-";
}

TEST(IsFunction, HeadersAndOtherLines) {
  IsFunction f;
  const char* cases[][2] = {
      {"static const char *name_of(int id) {", "name_of"},
      {"void Parser::run(int depth) const", "Parser::run"},
      {"Parser::Parser(const char* text) : pos_(0)", "Parser::Parser"},
      {"Parser::~Parser()", "Parser::~Parser"},
      {"bool Parser::operator==(const Parser& o) const", "Parser::operator=="},
      {"Matrix::operator()(int i, int j)", "Matrix::operator()"},
      {"extern \"C\" int luaopen_demo(lua_State *L)", "luaopen_demo"},
      {"public static void main(String[] args) {", "main"},
      {"local function helper(a, b)", "helper"},
      {"def parse(self, text):", "parse"},
      {"int main(void)\r\n", "main"},
      {"int main(void);", "-"},  // a declaration
      {"int main(void);\r\n", "-"},
      {"    if (x > 0) {", "-"},
      {"while (running) {", "-"},
      {"class Parser : public Base", "-"},
      {"struct node {", "-"}};
  for (auto& c : cases) EXPECT_EQ(c[1], header(f, c[0])) << c[0];
  ASSERT_TRUE(f.test("int main(void)"));
  EXPECT_FALSE(f.test("int main(void);"));
  EXPECT_STREQ("", f.result());  // a miss forgets the last name
  EXPECT_EQ("-", header(f, 0));
}

TEST(IsFunction, CallerPattern) {
  IsFunction lua("^function ([a-z_.:]+)", 1, "Lua");
  EXPECT_STREQ("Lua", lua.name());
  EXPECT_EQ("M.update", header(lua, "function M.update(dt)"));
  EXPECT_EQ("M:draw", header(lua, "function M:draw()"));
  EXPECT_EQ("main", header(lua, "int main(void)"));  // built-ins still apply
  IsFunction perl("^sub [a-z_]+", 0);  // no group: the name is cut from the match
  EXPECT_EQ("handler", header(perl, "sub handler {"));
}
