// The line cache between a child's output and its readers.
#include <gtest/gtest.h>

#include <string.h>

#include <chrono>
#include <string>

#include "cStreamCache.hpp"

// Every line the cache gives, each followed by the mark.
static std::string drain(StreamCache& cache, const char* mark = "|") {
  std::string out;
  String line;
  while (cache.getLine(line)) out += std::string(line.text()) + mark;
  return out;
}

TEST(StreamCache, LinesKeepDelimiterAndRestWaits) {
  StreamCache cache;
  cache.append("one\n\ntwo\nre", false);
  EXPECT_EQ("one\n|\n|two\n|", drain(cache));
  cache.append("st\nnext", false);
  EXPECT_EQ("rest\n|", drain(cache));
  cache.append("\nlast", true);
  EXPECT_EQ("next\n|last|", drain(cache));
  StreamCache semi(';');
  semi.append("a;b\nc;dropped", 6, true);
  EXPECT_EQ("a;|b\nc;|", drain(semi));
}

// After lines are taken, the text kept across appends must be exactly the
// text not yet taken.
TEST(StreamCache, PendingTextSurvivesCompaction) {
  StreamCache cache;
  std::string sent, got;
  for (int i = 0; i < 3000; i++) {
    std::string piece = std::to_string(i * 7919) + (i % 3 ? " " : "\n");
    if (i % 97 == 0) piece += std::string(5000, 'w');  // forces growth
    sent += piece;
    cache.append(piece.c_str(), false);
    got += drain(cache, "");
    ASSERT_EQ(sent.size(), got.size() + cache.length());
  }
  cache.append("", true);
  EXPECT_EQ(sent, got + drain(cache, ""));
}

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

TEST(StreamCache, FindByteAgreesWithMemchr) {
  unsigned char text[80];
  for (int i = 0; i < 80; i++) text[i] = (unsigned char)(i * 37 + 1);
  for (unsigned char c : {0x00, 0x0A, 0x80, 0xFF})
    for (int at = 0; at < 40; at += 3) {
      unsigned char saved = text[at];
      text[at] = c;
      for (int start = 0; start < 12; start++)
        for (int length = 0; start + length <= 80; length += 7) {
          const char* s = (const char*)text + start;
          ASSERT_EQ(memchr(s, c, length), (const void*)findByte(s, length, (char)c))
              << "byte " << (int)c << " at " << at << " start " << start << " length " << length;
        }
      text[at] = saved;
    }
}
