// The line cache between a child's output and its readers: what it gives is
// held by its fuzz target, against a model, on every corpus case; here, how
// long it takes.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "cStreamCache.hpp"

// Taking every line of a large chunk must cost time in proportion to the
// chunk. Cutting each line off the front would move the rest each time:
// about 10^11 bytes here.
TEST(StreamCache, ManyLinesOfOneChunkAreLinear) {
  const int lines = 512 * 1024;
  std::string chunk;
  for (int i = 0; i < lines; i++) chunk += "x\n";
  StreamCache cache;
  auto start = std::chrono::steady_clock::now();
  cache.append(chunk.c_str(), false);
  int n = 0;
  String line;
  while (cache.getLine(line)) n++;
  std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(lines, n);
  EXPECT_LT(spent.count(), 5.0);
}
