// A console child for the process tests: runs its arguments as a script of
// actions, in order.
//   print TEXT   write TEXT to standard output (\n escapes a line end)
//   err TEXT     the same to standard error
//   echo         copy input lines back until end of input or a line "bye"
//   cwd          print the current directory
//   sleep MS     sleep, not reading input
//   ignore       sleep until killed, not reading input
//   exit CODE    end with CODE
// An unknown word ends the child with code 2; running out of words, with 0.
#include <windows.h>
#include <stdlib.h>
#include <string.h>

static void put(DWORD which, const char* data, DWORD n) {
  HANDLE h = GetStdHandle(which);
  while (n > 0) {
    DWORD done = 0;
    if (!WriteFile(h, data, n, &done, 0) || done == 0) ExitProcess(3);
    data += done;
    n -= done;
  }
}

static void putEscaped(DWORD which, const char* text) {
  char* out = (char*)malloc(strlen(text) + 1);
  DWORD n = 0;
  for (const char* p = text; *p; p++)
    out[n++] = p[0] == '\\' && p[1] == 'n' ? (p++, '\n') : *p;
  put(which, out, n);
  free(out);
}

static void echo() {
  HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
  char line[4096];
  DWORD n = 0;
  for (;;) {
    DWORD got = 0;
    if (n == sizeof line || !ReadFile(in, line + n, sizeof line - n, &got, 0) || got == 0)
      break;
    n += got;
    char* end;
    while ((end = (char*)memchr(line, '\n', n)) != 0) {
      DWORD len = (DWORD)(end - line) + 1;
      if (len == 4 && memcmp(line, "bye\n", 4) == 0) return;
      put(STD_OUTPUT_HANDLE, line, len);
      memmove(line, line + len, n - len);
      n -= len;
    }
  }
  if (n) put(STD_OUTPUT_HANDLE, line, n);
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
    } else if (!strcmp(word, "echo")) {
      echo();
    } else if (!strcmp(word, "cwd")) {
      char dir[MAX_PATH];
      DWORD n = GetCurrentDirectoryA(sizeof dir, dir);
      put(STD_OUTPUT_HANDLE, dir, n);
    } else if (!strcmp(word, "sleep")) {
      Sleep((DWORD)atoi(arg));
      i++;
    } else if (!strcmp(word, "ignore")) {
      Sleep(INFINITE);
    } else if (!strcmp(word, "exit")) {
      ExitProcess((UINT)atoi(arg));
    } else {
      ExitProcess(2);
    }
  }
  return 0;
}
