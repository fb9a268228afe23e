// This program's folder, where the build puts what a test runs beside it.
#pragma once
#include <windows.h>

#include <string>

inline std::string runFolder() {
  char p[MAX_PATH];
  std::string s(p, GetModuleFileNameA(nullptr, p, MAX_PATH));
  return s.substr(0, s.find_last_of('\\'));
}
