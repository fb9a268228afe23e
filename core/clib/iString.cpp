// Windows side of the string helpers: thin forwards to the system.
#include <windows.h>
#include <stdlib.h>

#include "iString.hpp"

void iCharUpper(char* text) {
  if (text) CharUpperA(text);
}

void iCharLower(char* text) {
  if (text) CharLowerA(text);
}

void iCharUpperBuff(char* text, int count) {
  if (text && count > 0) CharUpperBuffA(text, (DWORD)count);
}

bool iIsCharAlphaNumeric(char ch) {
  return IsCharAlphaNumericA(ch) != 0;
}

bool iIsLeadByte(unsigned char c) { return IsDBCSLeadByte(c) != 0; }

int iCompareNoCase(const char* a, int alen, const char* b, int blen) {
  int r = CompareStringA(LOCALE_USER_DEFAULT, NORM_IGNORECASE, a, alen, b, blen);
  return r == 0 ? -2 : r - CSTR_EQUAL;  // 0 is a failed call: never "equal"
}

static HMODULE resourceModule;

// The module holding this code: the plug-in DLL when linked into it.
static HMODULE ownModule() {
  HMODULE module = 0;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                         GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     (LPCSTR)&ownModule, &module);
  return module;
}

void iSetResourceModule(void* module) {
  resourceModule = (HMODULE)module;
}

int iLoadString(unsigned int id, char* buffer, int size) {
  if (!buffer || size < 1) return 0;
  buffer[0] = 0;
  HMODULE module = resourceModule ? resourceModule : ownModule();
  int n = LoadStringA(module, id, buffer, size);
  if (n <= 0) {
    buffer[0] = 0;
    return 0;
  }
  return n;
}

unsigned int iGetLastError() {
  return GetLastError();
}

void iSetLastError(unsigned int code) {
  SetLastError(code);
}

char* iFormatMessage(void* module, unsigned int code, unsigned int language) {
  char* text = 0;
  DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                (module ? FORMAT_MESSAGE_FROM_HMODULE : FORMAT_MESSAGE_FROM_SYSTEM);
  DWORD n = FormatMessageA(flags, module, code, language, (LPSTR)&text, 0, 0);
  if (n == 0 || !text) {
    if (text) LocalFree(text);
    return 0;
  }
  return text;
}

void iFreeMessage(char* text) {
  if (text) LocalFree(text);
}

void* iLoadLibrary(const char* name) {
  return name && *name ? (void*)LoadLibraryA(name) : 0;
}

void iFreeLibrary(void* module) {
  if (module) FreeLibrary((HMODULE)module);
}

int iWideToMultiByte(unsigned int codePage, const wchar_t* wide, char* out, int size) {
  if (!wide || !out || size < 1) return 0;
  return WideCharToMultiByte(codePage, 0, wide, -1, out, size, 0, 0);
}

char* iIntToText(int value, char* buffer, int radix) {
  buffer[0] = 0;
  if (radix < 2 || radix > 36) return buffer;
  return _itoa(value, buffer, radix);
}
