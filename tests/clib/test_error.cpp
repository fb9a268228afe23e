// The assertion channel: log line format and which reports reach the hook.
#include "cError.hpp"

#include <gtest/gtest.h>

#include <stdio.h>
#include <fstream>
#include <string>
#include <vector>

#include "reports.hpp"

const char* const kLog = "test_error.log";

// Its report is logged, never hooked again: the hook would recurse.
static void reportingHook(const char*) { report("inner.cpp", 2, "from the hook"); }

// The log's lines without their "[time] " prefix.
static std::vector<std::string> logLines() {
  std::ifstream in(kLog);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line.find("] ") == 25 ? line.substr(27) : line);
  return lines;
}

TEST(ErrorLog, LinesAndHook) {
  remove(kLog);
  Reports reports(kLog);
  report("a.cpp", 7, "x");
  report("r.cpp", 8, "runtime", REPORT_RUNTIME);  // logged, never hooked
  report("n.cpp", 9, "hook only", REPORT_ASSERT, true);
  report("t.cpp", 3, "stamp", REPORT_TIMESTAMP);   // the time leads the text
  report(0, 4, "no file");
  setMessageHook(reportingHook);
  report("outer.cpp", 1, "outer");
  setMessageHook(0);
  std::vector<std::string> hooked = reports.all();
  ASSERT_EQ(4u, hooked.size());
  std::string stamp = hooked[2];  // "t.cpp" (3)      <time> - stamp
  EXPECT_EQ(" - stamp\n", stamp.substr(stamp.size() - 9));
  hooked.erase(hooked.begin() + 2);
  const std::vector<std::string> hooks = {"\"a.cpp\" (7)      x\n", "\"n.cpp\" (9)      hook only\n",
                                          "no file\n"};
  EXPECT_EQ(hooks, hooked);
  const std::vector<std::string> lines = {
      "ASSERT    \"a.cpp\" (7)       >> x", "RUNTIME   \"r.cpp\" (8)       >> runtime",
      "TIMESTAMP \"t.cpp\" (3)       >> " + stamp.substr(17, stamp.size() - 18), ">> no file",
      "ASSERT    \"outer.cpp\" (1)       >> outer",
      "ASSERT    \"inner.cpp\" (2)       >> from the hook"};  // logged, not hooked again
  EXPECT_EQ(lines, logLines());
  setLogPath("xErrors.log");
  remove(kLog);
}
