// Native stand-ins for the Windows string helpers, so the portable string
// code builds and runs under the sanitizers. They behave as the system does
// for plain ASCII text in the "C" locale:
// - case folding and alphanumerics are ASCII only; bytes of 128 and above
//   are left as they are and are not alphanumeric;
// - there are no string resources and no loadable message modules;
// - the last error is a per-thread value that only iSetLastError changes;
// - the system message table knows a handful of common codes, with the
//   system's wording and its trailing "\r\n";
// - wide text converts to UTF-8 for code page 65001, else one byte per
//   character below 256 and "?" for the rest.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "iString.hpp"

void iCharUpper(char* text) {
  if (!text) return;
  for (; *text; text++)
    if (*text >= 'a' && *text <= 'z') *text = (char)(*text - 'a' + 'A');
}

void iCharLower(char* text) {
  if (!text) return;
  for (; *text; text++)
    if (*text >= 'A' && *text <= 'Z') *text = (char)(*text - 'A' + 'a');
}

void iCharUpperBuff(char* text, int count) {
  if (!text) return;
  for (int i = 0; i < count; i++)
    if (text[i] >= 'a' && text[i] <= 'z') text[i] = (char)(text[i] - 'a' + 'A');
}

bool iIsCharAlphaNumeric(char ch) {
  unsigned char c = (unsigned char)ch;
  return c < 128 && isalnum(c);
}

bool iIsLeadByte(unsigned char) { return false; }  // a single-byte code page

static int fold(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
}

int iCompareNoCase(const char* a, int alen, const char* b, int blen) {
  if (alen < 0) alen = (int)strlen(a);
  if (blen < 0) blen = (int)strlen(b);
  int n = alen < blen ? alen : blen;
  for (int i = 0; i < n; i++) {
    int d = fold((unsigned char)a[i]) - fold((unsigned char)b[i]);
    if (d) return d < 0 ? -1 : 1;
  }
  return alen == blen ? 0 : (alen < blen ? -1 : 1);
}

int iLoadString(unsigned int, char* buffer, int size) {
  if (buffer && size > 0) buffer[0] = 0;
  return 0;
}

void iSetResourceModule(void*) {}

static thread_local unsigned int lastError;

unsigned int iGetLastError() {
  return lastError;
}

void iSetLastError(unsigned int code) {
  lastError = code;
}

static const struct {
  unsigned int code;
  const char* text;
} systemMessages[] = {
    {0, "The operation completed successfully.\r\n"},
    {1, "Incorrect function.\r\n"},
    {2, "The system cannot find the file specified.\r\n"},
    {3, "The system cannot find the path specified.\r\n"},
    {5, "Access is denied.\r\n"},
    {6, "The handle is invalid.\r\n"},
    {8, "Not enough memory resources are available to process this command.\r\n"},
    {87, "The parameter is incorrect.\r\n"},
    {109, "The pipe has been ended.\r\n"},
    {183, "Cannot create a file when that file already exists.\r\n"},
};

char* iFormatMessage(void* module, unsigned int code, unsigned int) {
  if (module) return 0;
  for (const auto& m : systemMessages)
    if (m.code == code) return strdup(m.text);
  return 0;
}

void iFreeMessage(char* text) {
  free(text);
}

void* iLoadLibrary(const char*) {
  return 0;
}

void iFreeLibrary(void*) {}

// Appends one code point as UTF-8; false when it does not fit.
static bool putUtf8(unsigned long cp, char* out, int size, int& n) {
  unsigned char b[4];
  int len;
  if (cp < 0x80) {
    b[0] = (unsigned char)cp;
    len = 1;
  } else if (cp < 0x800) {
    b[0] = (unsigned char)(0xC0 | (cp >> 6));
    b[1] = (unsigned char)(0x80 | (cp & 0x3F));
    len = 2;
  } else if (cp < 0x10000) {
    b[0] = (unsigned char)(0xE0 | (cp >> 12));
    b[1] = (unsigned char)(0x80 | ((cp >> 6) & 0x3F));
    b[2] = (unsigned char)(0x80 | (cp & 0x3F));
    len = 3;
  } else {
    b[0] = (unsigned char)(0xF0 | (cp >> 18));
    b[1] = (unsigned char)(0x80 | ((cp >> 12) & 0x3F));
    b[2] = (unsigned char)(0x80 | ((cp >> 6) & 0x3F));
    b[3] = (unsigned char)(0x80 | (cp & 0x3F));
    len = 4;
  }
  if (n + len > size) return false;
  memcpy(out + n, b, len);
  n += len;
  return true;
}

int iWideToMultiByte(unsigned int codePage, const wchar_t* wide, char* out, int size) {
  if (!wide || !out || size < 1) return 0;
  int n = 0;
  for (;; wide++) {
    // wchar_t holds whole code points here (32 bits)
    unsigned long cp = (unsigned long)*wide;
    bool ok;
    if (codePage == 65001)
      ok = putUtf8(cp, out, size, n);
    else if (n < size) {
      out[n++] = cp < 256 ? (char)cp : '?';
      ok = true;
    } else
      ok = false;
    if (!ok) return 0;
    if (cp == 0) return n;
  }
}

int _stricmp(const char* a, const char* b) {
  return strcasecmp(a, b);
}

int _strnicmp(const char* a, const char* b, size_t count) {
  return strncasecmp(a, b, count);
}

char* iIntToText(int value, char* buffer, int radix) {
  buffer[0] = 0;
  if (radix < 2 || radix > 36) return buffer;
  unsigned int u = (unsigned int)value;
  bool negative = radix == 10 && value < 0;
  if (negative) u = 0u - u;
  char digits[33];
  int n = 0;
  do {
    unsigned int d = u % (unsigned int)radix;
    digits[n++] = (char)(d < 10 ? '0' + d : 'a' + d - 10);
    u /= (unsigned int)radix;
  } while (u);
  int k = 0;
  if (negative) buffer[k++] = '-';
  while (n) buffer[k++] = digits[--n];
  buffer[k] = 0;
  return buffer;
}
