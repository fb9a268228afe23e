// Replays fuzz corpora through a target without libFuzzer: every file of
// every folder (or file) named on the command line, once. Built with any
// compiler, so the native test run keeps each case as a regression test.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void run(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  // a copy of its own, so reads past the end stay visible to the sanitizer
  std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(data.empty() ? 0 : data.data(), data.size());
}

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; i++) {
    std::filesystem::path path(argv[i]);
    if (std::filesystem::is_directory(path)) {
      for (auto& entry : std::filesystem::directory_iterator(path))
        if (entry.is_regular_file()) run(entry.path()), count++;
    } else {
      run(path), count++;
    }
  }
  printf("%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
