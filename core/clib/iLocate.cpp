// Windows side of the file probes.
#include <windows.h>

#include "iLocate.hpp"

bool iIsFile(const char* path) {
  if (!path || !*path) return false;
  DWORD attributes = GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES &&
         !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

int iFullPath(const char* path, char* out, int size) {
  if (!path || !out || size < 1) return 0;
  DWORD n = GetFullPathNameA(path, (DWORD)size, out, 0);
  if (n == 0 || n >= (DWORD)size) {  // too small: n is the size it needs
    out[0] = 0;
    return 0;
  }
  return (int)n;
}
