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
  EXPECT_STREQ("set key=42;", re.subject());
  EXPECT_EQ(4, re.matchPosition());
  EXPECT_EQ(0, re.groupStart(1));  // did not take part
  EXPECT_EQ(0, re.groupLength(1));
  EXPECT_EQ(4, re.groupStart(2));
  EXPECT_EQ(3, re.groupLength(2));
  EXPECT_EQ(8, re.groupStart(3));
  EXPECT_EQ(2, re.groupLength(3));
  EXPECT_EQ(0, re.groupStart(36));
  EXPECT_EQ(0, re.groupLength(36));
  EXPECT_EQ(0, re.groupLength(-1));
  EXPECT_FALSE(re.match("none"));  // a miss forgets the last match
  EXPECT_EQ(-1, re.matchPosition());
  EXPECT_STREQ("", re.matchedText());
  EXPECT_EQ(0, re.groupLength(2));
}

TEST(Regexp, IgnoreCaseOnlyWhenExactlyOne) {
  EXPECT_TRUE(Regexp("abc", 1).match("xABC"));
  EXPECT_FALSE(Regexp("abc", 2).match("xABC"));
}

TEST(Regexp, SetPatternSkipsSameTextInOtherCase) {
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
  EXPECT_TRUE(re.setPattern("abc"));
  EXPECT_TRUE(re.match("abc"));
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
  EXPECT_EQ(0, findLineNumber("handler(0): unexpected symbol"));
  EXPECT_EQ(12, findLineNumber("lua: demo.lua:12: attempt to index a nil value"));
  EXPECT_EQ(42, findLineNumber("src/main.c:42:    return 0;"));
  EXPECT_EQ(7, findLineNumber("main.c:7:12: error: expected ';'"));
  EXPECT_EQ(123, findLineNumber("c:\\src\\main.c(123) : error C2065"));
  EXPECT_EQ(7, findLineNumber("v2 (LINE=7x)"));     // the word LINE beats v2
  EXPECT_EQ(15, findLineNumber("abc2 x 15abc"));    // after a blank beats abc2
  EXPECT_EQ(-1, findLineNumber("no digits at all"));
  EXPECT_EQ(-1, findLineNumber("x:99999999999:"));  // no such line
  EXPECT_EQ(-1, findLineNumber(0));
}

TEST(LineNumber, TagsLocatorMeansNoNumber) {
  EXPECT_EQ(-1, findLineNumber("count\tdemo.c\t/^static int count = 10;$/;\"\tv"));
  EXPECT_EQ(-1, findLineNumber("demo.c:40: /^int main(void)$/"));
}

TEST(LineNumber, CallerPatternReplacesBuiltIns) {
  EXPECT_EQ(34, findLineNumber("x 12 y 34", "y [0-9]+"));
  EXPECT_EQ(-1, findLineNumber("x 12 y 34", "z [0-9]+"));
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

TEST_F(FileName, UrlsNeedNoFile) {
  EXPECT_EQ("http://example.com/doc/index.html",
            find("see http://example.com/doc/index.html for more"));
  EXPECT_EQ("ftp://ftp.example.org/pub/x.tgz", find("get ftp://ftp.example.org/pub/x.tgz"));
}

TEST_F(FileName, ToolOutputLines) {
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
  EXPECT_EQ(path("demo.lua"), find(path("demo.lua")));
}

TEST_F(FileName, IncludeAddsHeaderExtension) {
  EXPECT_EQ(path("mylib.h"), find("#include <mylib>"));
  EXPECT_EQ(path("mylib.h"), find("#include <mylib.h>"));
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
  EXPECT_FALSE(locateFile("sub.lua", folders.c_str(), full));
  EXPECT_FALSE(locateFile("\"\"", folders.c_str(), full));
  EXPECT_FALSE(locateFile(path("nothere.lua").c_str(), folders.c_str(), full));
}

static std::string header(IsFunction& f, const char* line) {
  return f.test(line) ? f.result() : "-";
}

TEST(IsFunction, HeadersOfSeveralLanguages) {
  IsFunction f;
  EXPECT_EQ("main", header(f, "int main(int argc, char **argv)"));
  EXPECT_EQ("name_of", header(f, "static const char *name_of(int id) {"));
  EXPECT_EQ("Parser::run", header(f, "void Parser::run(int depth) const"));
  EXPECT_EQ("Parser::Parser", header(f, "Parser::Parser(const char* text) : pos_(0)"));
  EXPECT_EQ("Parser::~Parser", header(f, "Parser::~Parser()"));
  EXPECT_EQ("Parser::operator==", header(f, "bool Parser::operator==(const Parser& o) const"));
  EXPECT_EQ("Matrix::operator()", header(f, "Matrix::operator()(int i, int j)"));
  EXPECT_EQ("luaopen_demo", header(f, "extern \"C\" int luaopen_demo(lua_State *L)"));
  EXPECT_EQ("main", header(f, "public static void main(String[] args) {"));
  EXPECT_EQ("helper", header(f, "local function helper(a, b)"));
  EXPECT_EQ("parse", header(f, "def parse(self, text):"));
  EXPECT_EQ("main", header(f, "int main(void)\r\n"));
}

TEST(IsFunction, OtherLines) {
  IsFunction f;
  ASSERT_TRUE(f.test("int main(void)"));
  EXPECT_EQ("-", header(f, "int main(void);"));
  EXPECT_STREQ("", f.result());
  EXPECT_EQ("-", header(f, "int main(void);\r\n"));
  EXPECT_EQ("-", header(f, "    if (x > 0) {"));
  EXPECT_EQ("-", header(f, "\twhile (n--) total += n"));
  EXPECT_EQ("-", header(f, "while (running) {"));
  EXPECT_EQ("-", header(f, "class Parser : public Base"));
  EXPECT_EQ("-", header(f, "struct node {"));
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
