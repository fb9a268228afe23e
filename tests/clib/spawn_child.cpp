// A console child for the process tests: runs its arguments as a script of
// actions, in order.
//   print TEXT   write TEXT to standard output (\n escapes a line end)
//   err TEXT     the same to standard error
//   sleep MS     sleep, not reading input
//   ignore       sleep until killed, not reading input
// An unknown word ends the child with code 2; running out of words, with 0.
#include <windows.h>
#include <stdlib.h>
#include <string.h>

static void putEscaped(DWORD which, const char* text) {
  char* out = (char*)malloc(strlen(text) + 1);
  DWORD n = 0, done = 0;
  for (const char* p = text; *p; p++)
    out[n++] = p[0] == '\\' && p[1] == 'n' ? (p++, '\n') : *p;
  // Pipe writes of this size complete whole; a short one shows as missing text.
  WriteFile(GetStdHandle(which), out, n, &done, 0);
  free(out);
}

int main(int argc, char** argv) {
  for (int i = 1; i < argc; i++) {
    const char* word = argv[i];
    const char* arg = i + 1 < argc ? argv[i + 1] : "";
    if (!strcmp(word, "print")) {
      putEscaped(STD_OUTPUT_HANDLE, arg);
      i++;
    } else if (!strcmp(word, "err")) {
      putEscaped(STD_ERROR_HANDLE, arg);
      i++;
    } else if (!strcmp(word, "sleep")) {
      Sleep((DWORD)atoi(arg));
      i++;
    } else if (!strcmp(word, "ignore")) {
      Sleep(INFINITE);
    } else {
      ExitProcess(2);
    }
  }
  return 0;
}
