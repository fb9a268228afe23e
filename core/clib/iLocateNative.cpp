// Native stand-ins for the file probes: POSIX paths, symbolic links
// resolved in the full form.
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "iLocate.hpp"

bool iIsFile(const char* path) {
  struct stat st;
  return path && *path && stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

int iFullPath(const char* path, char* out, int size) {
  if (!path || !out || size < 1) return 0;
  out[0] = 0;
  char* full = realpath(path, 0);
  if (!full) return 0;
  int n = (int)strlen(full);
  if (n < size) memcpy(out, full, n + 1);
  free(full);
  return n < size ? n : 0;
}
