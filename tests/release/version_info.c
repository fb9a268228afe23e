/* Prints the version record of a file as Windows' file properties read it:
   one "Name=value" line per string of the record's first translation, then
   the fixed file version. A file without a record prints nothing. */
#include <windows.h>
#include <stdio.h>
#include <stdlib.h>

static const char* names[] = {"ProductName", "ProductVersion", "FileVersion",
                              "FileDescription", "LegalCopyright", "OriginalFilename"};

int main(int argc, char** argv) {
  DWORD dummy, size = argc == 2 ? GetFileVersionInfoSizeA(argv[1], &dummy) : 0;
  char* data = size ? malloc(size) : NULL;
  WORD* lang;
  UINT len, i;
  VS_FIXEDFILEINFO* fixed;
  if (!data || !GetFileVersionInfoA(argv[1], 0, size, data) ||
      !VerQueryValueA(data, "\\VarFileInfo\\Translation", (void**)&lang, &len) || len < 4)
    return 1;
  for (i = 0; i < sizeof names / sizeof *names; i++) {
    char key[128];
    char* value;
    snprintf(key, sizeof key, "\\StringFileInfo\\%04x%04x\\%s", lang[0], lang[1], names[i]);
    if (VerQueryValueA(data, key, (void**)&value, &len) && len)
      printf("%s=%s\n", names[i], value);
  }
  if (VerQueryValueA(data, "\\", (void**)&fixed, &len) && len >= sizeof *fixed)
    printf("fixed=%lu.%lu.%lu.%lu\n", HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
           HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS));
  return 0;
}
