// The error channel's reports, caught through its message hook (never the
// log file) for as long as a Reports lives; from any thread.
#pragma once
#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cError.hpp"

class Reports {
 public:
  explicit Reports(const char* log = "") { setLogPath(log), setMessageHook(add), clear(); }
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
  // As many reports as patterns, in order, each with the pattern's parts
  // (split at '*') in order; then none.
  static ::testing::AssertionResult are(std::initializer_list<std::string> patterns) {
    std::vector<std::string> got = all();
    clear();
    if (got.size() != patterns.size())
      return ::testing::AssertionFailure() << got.size() << " reports: " << (got.empty() ? "" : got[0]);
    size_t i = 0;
    for (const std::string& pattern : patterns) {
      for (size_t at = 0, part = 0, end; part <= pattern.size(); part = end + 1) {
        end = std::min(pattern.find('*', part), pattern.size());
        std::string piece = pattern.substr(part, end - part);
        if ((at = got[i].find(piece, at)) == std::string::npos)
          return ::testing::AssertionFailure() << "no \"" << pattern << "\" in " << got[i];
        at += piece.size();
      }
      i++;
    }
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
