// Platform text helpers behind String: case folding, locale comparison,
// string resources, system messages and code-page conversion. The Windows
// build forwards to the system (iString.cpp); the native build has plain
// stand-ins (iStringNative.cpp) so the portable string logic can run under
// the sanitizers.
#ifndef ISTRING_HPP
#define ISTRING_HPP

#include <stddef.h>

// Case folding in place over a zero-terminated text (CharUpperA, CharLowerA).
void iCharUpper(char* text);
void iCharLower(char* text);
// Upper-cases count bytes in place, zero bytes included (CharUpperBuffA).
void iCharUpperBuff(char* text, int count);
bool iIsCharAlphaNumeric(char ch);
// Whether the byte starts a double-byte character of the ANSI code page
// (IsDBCSLeadByte): its second byte may be any, '\\' included.
bool iIsLeadByte(unsigned char c);

// Compares two byte ranges ignoring case in the user's locale
// (CompareStringA with NORM_IGNORECASE); <0, 0 or >0 as strcmp.
int iCompareNoCase(const char* a, int alen, const char* b, int blen);

// Loads string resource id of the library's module into buffer (LoadStringA);
// returns the number of bytes stored before the terminator, 0 when missing.
int iLoadString(unsigned int id, char* buffer, int size);
// The module whose resources iLoadString reads; by default the one this code
// is linked into. A null module restores the default.
void iSetResourceModule(void* module);

unsigned int iGetLastError();
void iSetLastError(unsigned int code);

// Message-table lookups (FormatMessageA with FORMAT_MESSAGE_ALLOCATE_BUFFER).
// A null module means the system table. Returns the text, to be released with
// iFreeMessage, or null when there is none.
char* iFormatMessage(void* module, unsigned int code, unsigned int language);
void iFreeMessage(char* text);
void* iLoadLibrary(const char* name);
void iFreeLibrary(void* module);

// WideCharToMultiByte of a zero-terminated wide text, terminator included:
// returns the bytes stored (terminator counted) or 0 when the conversion fails
// or does not fit.
int iWideToMultiByte(unsigned int codePage, const wchar_t* wide, char* out, int size);

// Case-insensitive byte comparisons under their Microsoft names; the native
// C library calls them strcasecmp and strncasecmp.
#ifndef _WIN32
int _stricmp(const char* a, const char* b);
int _strnicmp(const char* a, const char* b, size_t count);
#endif

// Integer to text in a radix from 2 to 36 (_itoa): negative decimal values
// get a sign, other radixes show the two's-complement bits. A bad radix
// gives an empty text. buffer needs 34 bytes.
char* iIntToText(int value, char* buffer, int radix);

#endif
