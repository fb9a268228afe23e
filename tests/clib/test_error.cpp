// The assertion channel: log line format, kinds, hook and log path.
#include "cError.hpp"

#include <gtest/gtest.h>

#include <stdio.h>
#include <fstream>
#include <string>
#include <vector>

namespace {

const char* const kLog = "test_error.log";
std::vector<std::string> hooked;

void recordHook(const char* text) { hooked.push_back(text); }

void reportingHook(const char* text) {
  hooked.push_back(text);
  report("inner.cpp", 2, "from the hook");
}

// The log's lines without their "[time] " prefix (a ctime text without its
// newline); *time gets the last time seen.
std::vector<std::string> logLines(std::string* time = 0) {
  std::ifstream in(kLog);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (line[0] == '[' && line.find("] ") == 25) {
      if (time) *time = line.substr(1, 24);
      line.erase(0, 27);
    }
    lines.push_back(line);
  }
  return lines;
}

class ErrorLog : public ::testing::Test {
 protected:
  void SetUp() override {
    remove(kLog);
    setLogPath(kLog);
    setMessageHook(recordHook);
    hooked.clear();
  }
  void TearDown() override {
    setMessageHook(0);
    setLogPath("xErrors.log");
    remove(kLog);
  }
};

TEST_F(ErrorLog, LineNumberAndPaddingTakeSevenColumns) {
  const int lines[] = {7, 123456, 0, 9, 10, 99999, 100000};
  const char* fields[] = {"(7)      ", "(123456) ", "(0)      ", "(9)      ",
                          "(10)     ", "(99999)  ", "(100000) "};
  for (int line : lines) report("a.cpp", line, "x");
  std::vector<std::string> l = logLines();
  ASSERT_EQ(7u, l.size());
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(std::string("ASSERT    \"a.cpp\" ") + fields[i] + " >> x", l[i]);
    EXPECT_EQ(std::string("\"a.cpp\" ") + fields[i] + "x\n", hooked[i]);
  }
}

TEST_F(ErrorLog, KindNames) {
  const int kinds[] = {1, 2, 3, 4, 6, 0, 7};
  const char* names[] = {"TRACE    ", "ASSERT   ", "VERIFY   ", "EXCEPTION",
                         "RUNTIME  ", "UNKNOWN",   "UNKNOWN"};
  for (int kind : kinds) report("k.cpp", 1, "t", kind);
  std::vector<std::string> l = logLines();
  ASSERT_EQ(7u, l.size());
  for (int i = 0; i < 7; ++i)
    EXPECT_EQ(std::string(names[i]) + " \"k.cpp\" (1)       >> t", l[i]);
}

TEST_F(ErrorLog, TimestampNoFileAndNoText) {
  report("t.cpp", 3, "mark", REPORT_TIMESTAMP);
  report(0, 12, "bare");
  report("n.cpp", 4, 0);
  std::string time;
  std::vector<std::string> l = logLines(&time);
  ASSERT_EQ(3u, l.size());
  EXPECT_EQ("TIMESTAMP \"t.cpp\" (3)       >> " + time + " - mark", l[0]);
  EXPECT_EQ(">> bare", l[1]);
  EXPECT_EQ("ASSERT    \"n.cpp\" (4)       >> ", l[2]);
  EXPECT_EQ("bare\n", hooked[1]);
}

TEST_F(ErrorLog, AppendsOneLinePerReport) {
  std::ofstream(kLog) << "earlier\n";
  report("e.cpp", 1, "ends with newline\n");
  report("e.cpp", 2, std::string(10000, 'x').c_str());
  std::vector<std::string> l = logLines();
  ASSERT_EQ(3u, l.size());
  EXPECT_EQ("earlier", l[0]);
  EXPECT_EQ("ASSERT    \"e.cpp\" (1)       >> ends with newline", l[1]);
  EXPECT_EQ(8191u - 27u, l[2].size()) << "cut to the 8192-byte buffer";
}

TEST_F(ErrorLog, ReportFromHookIsLoggedButNotHookedAgain) {
  setMessageHook(reportingHook);
  report("outer.cpp", 1, "outer");
  EXPECT_EQ(1u, hooked.size());
  std::vector<std::string> l = logLines();
  ASSERT_EQ(2u, l.size());
  EXPECT_EQ("ASSERT    \"inner.cpp\" (2)       >> from the hook", l[1]);
  report("again.cpp", 3, "again");  // the guard was released
  EXPECT_EQ(2u, hooked.size());
}

TEST_F(ErrorLog, RuntimeIsLoggedButNeverHooked) {
  report("r.cpp", 8, "runtime", REPORT_RUNTIME);
  EXPECT_TRUE(hooked.empty());
  EXPECT_EQ(1u, logLines().size());
}

TEST_F(ErrorLog, NoLogAndEmptyPathStillReachHook) {
  report("q.cpp", 1, "quiet", REPORT_ASSERT, true);
  setLogPath("");
  EXPECT_STREQ("", logPath());
  report("s.cpp", 1, "lost");
  setLogPath(0);
  report("s.cpp", 2, "lost too");
  EXPECT_EQ(3u, hooked.size());
  EXPECT_FALSE(std::ifstream(kLog).is_open());
}

TEST(LogPath, DefaultAndCut) {
  EXPECT_STREQ("xErrors.log", logPath());
  std::string longPath(300, 'p');
  setLogPath(longPath.c_str());
  EXPECT_EQ(longPath.substr(0, 255), logPath());
  setLogPath("xErrors.log");
}

TEST(ReplaceExtension, OnlyExtensionsOfThreeOrMore) {
  const struct { const char* in; size_t size; const char* out; } cases[] = {
      {"C:\\b\\host.exe", 64, "C:\\b\\host.log"},
      {"C:\\b.d\\host", 64, "C:\\b.d\\host.log"},
      {"host.ab", 64, "host.ab.log"},
      {"abcdefgh", 10, "abcdefgh."}};  // cut to the size
  for (auto& c : cases) {
    char buf[64];
    snprintf(buf, sizeof buf, "%s", c.in);
    replaceExtension(buf, c.size, "log");
    EXPECT_STREQ(c.out, buf) << c.in;
  }
}

TEST(FatalTexts, SystemError) {
  char buf[128];
  systemErrorText(buf, sizeof buf, 5);
  EXPECT_STREQ("Unexpected Error '5' detected!", buf);
  systemErrorText(buf, sizeof buf, 2, "File not found.");
  EXPECT_STREQ("File not found.\n\nError Code: 2", buf);
}

}  // namespace
