// This program's folder, where the build puts what a test runs beside it,
// and files read whole.
#pragma once
#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

inline std::string runFolder() {
  char p[MAX_PATH];
  std::string s(p, GetModuleFileNameA(nullptr, p, MAX_PATH));
  return s.substr(0, s.find_last_of('\\'));
}

// A file's bytes, or "<missing>".
inline std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "<missing>";
}
