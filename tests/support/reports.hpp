// The error channel's reports, caught through its message hook (never the
// log file) for as long as a Reports lives; from any thread.
#pragma once
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cError.hpp"

class Reports {
 public:
  explicit Reports(const char* log = "") {
    setLogPath(log);
    setMessageHook(add);
    clear();
  }
  ~Reports() { setMessageHook(0); }
  static std::vector<std::string> all() {
    std::lock_guard<std::mutex> hold(lock());
    return list();
  }
  static void clear() {
    std::lock_guard<std::mutex> hold(lock());
    list().clear();
  }
  // How many contain part.
  static int with(const std::string& part) {
    int n = 0;
    for (const std::string& r : all()) n += r.find(part) != std::string::npos;
    return n;
  }
  // Exactly one report, with each part in it; then none.
  static ::testing::AssertionResult one(std::initializer_list<const char*> parts) {
    std::vector<std::string> got = all();
    clear();
    if (got.size() != 1) return ::testing::AssertionFailure() << got.size() << " reports";
    for (const char* part : parts)
      if (got[0].find(part) == std::string::npos)
        return ::testing::AssertionFailure() << "no \"" << part << "\" in " << got[0];
    return ::testing::AssertionSuccess();
  }
  // As many reports as parts, each with its part, in order; then none.
  static ::testing::AssertionResult are(std::initializer_list<const char*> parts) {
    std::vector<std::string> got = all();
    clear();
    if (got.size() != parts.size())
      return ::testing::AssertionFailure() << got.size() << " reports: " << (got.empty() ? "" : got[0]);
    size_t i = 0;
    for (const char* part : parts)
      if (got[i++].find(part) == std::string::npos)
        return ::testing::AssertionFailure() << "no \"" << part << "\" in " << got[i - 1];
    return ::testing::AssertionSuccess();
  }

 private:
  static std::mutex& lock() { static std::mutex m; return m; }
  static std::vector<std::string>& list() { static std::vector<std::string> l; return l; }
  static void add(const char* text) {
    std::lock_guard<std::mutex> hold(lock());
    list().push_back(text);
  }
};
