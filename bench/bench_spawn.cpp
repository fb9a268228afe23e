// Throughput of the read loop with every line taken off the cache, against
// a plain read of the same bytes from the same kind of pipe. The program is
// its own child: "bench_spawn --write BYTES" writes the lines.
//
//   wine bench_spawn.exe [megabytes] [rounds]
#include <windows.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cSpawn.hpp"

enum { LINE = 32, BLOCK = 1 << 16 };

// Short lines, as a debugger prints them, in large writes.
static int writeLines(long long bytes) {
  static char block[BLOCK];
  for (int i = 0; i < BLOCK / LINE; i++) {
    char* line = block + i * LINE;
    memset(line, 'a' + i % 26, LINE - 1);
    memcpy(line, "line ", 5);
    line[LINE - 1] = '\n';
  }
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE);
  while (bytes > 0) {
    DWORD n = bytes < BLOCK ? (DWORD)bytes : BLOCK, put = 0;
    if (!WriteFile(out, block, n, &put, 0)) return 1;
    bytes -= put;
  }
  return 0;
}

static double now() {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return (double)t.QuadPart / f.QuadPart;
}

static char command[MAX_PATH + 64];

// The same pipe, read in the same block size, with nothing done to the data.
static double plainRead(long long* bytes, long long*) {
  Process p("", 3);
  p.redirect(false, true, true);
  if (!p.spawn(command)) return -1;
  static char buffer[Stream::BUFFER];
  double start = now();
  *bytes = 0;
  int n;
  while ((n = p.outputPipe().read(buffer, Stream::BLOCK)) > 0) *bytes += n;
  double spent = now() - start;
  p.wait(0);
  return spent;
}

struct Count {
  Spawn* spawn;
  long long bytes, lines;
};

// Each line looked at in place.
static bool takeViews(const char*, void* user) {
  Count* c = (Count*)user;
  const char* line;
  int length;
  while (c->spawn->cache().getLine(line, length)) {
    c->lines++;
    c->bytes += length;
  }
  return false;
}

// Each line copied into a String.
static bool takeStrings(const char*, void* user) {
  Count* c = (Count*)user;
  String line;
  while (c->spawn->cache().getLine(line)) {
    c->lines++;
    c->bytes += line.length();
  }
  return false;
}

static double lineRead(ChunkCallback take, long long* bytes, long long* lines) {
  Spawn s;
  s.setShowMode(3);
  s.setCaching(true);
  s.redirect(false, true, true);
  if (!s.runCommand(command)) return -1;
  Count c = {&s, 0, 0};
  double start = now();
  s.readLoop(take, &c, 0, Spawn::BUSY);
  double spent = now() - start;
  s.wait(0);
  *bytes = c.bytes;
  *lines = c.lines;
  return spent;
}

static double readViews(long long* bytes, long long* lines) {
  return lineRead(takeViews, bytes, lines);
}

static double readStrings(long long* bytes, long long* lines) {
  return lineRead(takeStrings, bytes, lines);
}

int main(int argc, char** argv) {
  if (argc == 3 && !strcmp(argv[1], "--write")) return writeLines(atoll(argv[2]));
  long long megabytes = argc > 1 ? atoll(argv[1]) : 100;
  int rounds = argc > 2 ? atoi(argv[2]) : 5;
  long long total = megabytes * 1000 * 1000;
  char self[MAX_PATH];
  GetModuleFileNameA(0, self, sizeof self);
  snprintf(command, sizeof command, "\"%s\" --write %lld", self, total);

  enum { KINDS = 3 };
  const char* names[KINDS] = {"plain read", "read loop, lines in place", "read loop, lines as Strings"};
  double (*runs[KINDS])(long long*, long long*) = {plainRead, readViews, readStrings};
  double best[KINDS] = {1e30, 1e30, 1e30};
  long long lines = 0;
  for (int r = 0; r < rounds; r++) {  // interleaved, so all see the same machine
    printf("round %d:", r + 1);
    for (int i = 0; i < KINDS; i++) {
      long long bytes = 0;
      double t = runs[i](&bytes, &lines);
      if (t < 0 || bytes != total) {
        fprintf(stderr, "\n%s: %lld of %lld bytes\n", names[i], bytes, total);
        return 1;
      }
      if (t < best[i]) best[i] = t;
      printf(" %.3f s", t);
    }
    printf("\n");
  }
  double mb = total / 1e6;
  printf("%lld lines of %d bytes, best of %d rounds:\n", lines, (int)LINE, rounds);
  for (int i = 0; i < KINDS; i++) {
    printf("  %-28s %.0f MB in %.3f s = %6.1f MB/s", names[i], mb, best[i], mb / best[i]);
    if (i) printf("  (%+.1f%%)", (best[i] / best[0] - 1) * 100);
    printf("\n");
  }
  return 0;
}
