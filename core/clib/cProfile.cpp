#include "cProfile.hpp"

#include <windows.h>
#include <shlobj.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static bool isUrl(const char* name) { return strstr(name, "://") != 0; }

static bool isSeparator(char ch) { return ch == '\\' || ch == '/'; }

static bool isFullPath(const char* name) {
  if (isSeparator(name[0]) && isSeparator(name[1])) return true;  // UNC
  return name[0] && name[1] == ':' && isSeparator(name[2]);
}

// The older consumer platform reports its own numbering; it counts as 3 so
// that it keeps profiles next to the program, as it always did.
static int majorVersion() {
  static int major = -1;
  if (major < 0) {
    OSVERSIONINFOA info;
    memset(&info, 0, sizeof info);
    info.dwOSVersionInfoSize = sizeof info;
    if (!GetVersionExA(&info))
      major = 0;
    else if (info.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS)
      major = 3;
    else
      major = (int)info.dwMajorVersion;
  }
  return major;
}

// A section buffer that could not be had: reported, and read as empty.
static bool outOfMemory() {
  report(SOURCE_NAME, __LINE__, "Profile: no memory for the section");
  return false;
}

static bool outOfMemory(String& result) {
  result.assign("");
  return outOfMemory();
}

Profile::Profile(const char* name) {
  if (name && *name) setPath(name);
}

Profile::~Profile() {}

void Profile::setPath(const char* name) {
  path_.assign("");
  if (!name || !*name) {
    deriveDefaultPath(false);
    return;
  }
  if (isUrl(name) || isFullPath(name)) {
    path_.assign(name);
    return;
  }
  DWORD size = GetFullPathNameA(name, 0, NULL, NULL);
  char* full = size ? (char*)malloc(size) : 0;
  DWORD n = full ? GetFullPathNameA(name, size, full, NULL) : 0;
  path_.assign(n > 0 && n < size ? full : name);
  free(full);
}

const char* Profile::path() { return ensurePath(false); }

const char* Profile::ensurePath(bool forWrite) {
  if (path_.isEmpty()) deriveDefaultPath(forWrite);
  if (path_.isEmpty()) report(SOURCE_NAME, 292);
  return path_.text();
}

void Profile::deriveDefaultPath(bool forWrite) {
  char module[256];
  DWORD n = GetModuleFileNameA(NULL, module, sizeof module);
  if (n == 0 || n >= 255) report(SOURCE_NAME, 996);
  if (n == 0) module[0] = 0;
  module[sizeof module - 1] = 0;

  char drive[_MAX_DRIVE], dir[_MAX_DIR], base[_MAX_FNAME], ext[_MAX_EXT];
  _splitpath(module, drive, dir, base, ext);

  if (forWrite && majorVersion() >= 6) {
    String path;
    if (!appDataFolder(path)) report(SOURCE_NAME, 339);
    path += "Brennick\\";
    path += base;
    path += "\\";
    createFolders(path);
    path += base;
    path += ".ini";
    path_ = path;
    return;
  }

  char path[sizeof module + 8];
  snprintf(path, sizeof path, "%s%s%s.ini", drive, dir, base);
  CharLowerA(path);
  path_.assign(path);
}

bool Profile::appDataFolder(String& folder) {
  char buffer[MAX_PATH] = "";
  if (!SHGetSpecialFolderPathA(NULL, buffer, CSIDL_APPDATA, FALSE) || !buffer[0]) {
    folder.assign("");
    return false;
  }
  folder.assign(buffer);
  if (!folder.endsWith("\\")) folder += "\\";
  return true;
}

bool Profile::createFolders(const char* folder) {
  if (!folder || !*folder) return false;
  String path(folder);
  while (path.length() > 1 && isSeparator(path.text()[path.length() - 1])) path.chop();

  DWORD attr = GetFileAttributesA(path);
  if (attr != INVALID_FILE_ATTRIBUTES) return (attr & FILE_ATTRIBUTE_DIRECTORY) != 0;

  const char* p = path.text();
  int cut = -1;
  for (int i = 0; p[i]; i++)
    if (isSeparator(p[i])) cut = i;
  // A bare drive ("C:") always exists; anything longer may need creating.
  if (cut > 0 && !(cut == 2 && p[1] == ':')) {
    String parent(p, cut);
    if (!createFolders(parent)) return false;
  }
  CreateDirectoryA(p, NULL);
  attr = GetFileAttributesA(p);
  return attr != INVALID_FILE_ATTRIBUTES && (attr & FILE_ATTRIBUTE_DIRECTORY);
}

bool Profile::readString(const char* section, const char* key, const char* defaultText,
                         String& result, bool remove) {
  const char* file = ensurePath(false);
  char buffer[VALUE_SIZE];
  DWORD n = GetPrivateProfileStringA(section, key, defaultText ? defaultText : "",
                                     buffer, sizeof buffer, file);
  result.assign(buffer);
  if (remove) WritePrivateProfileStringA(section, key, NULL, file);
  return n != 0;
}

bool Profile::readString(char* buffer, int size, const char* section, const char* key,
                         const char* defaultText, bool remove) {
  if (!buffer) return false;
  String value;
  readString(section, key, defaultText, value, remove);
  if (size < 1) return false;
  int n = value.length() < size ? value.length() : size - 1;
  memcpy(buffer, value.text(), n);
  buffer[n] = 0;
  return true;
}

int Profile::readIntValue(const char* section, const char* key, int defaultValue,
                          bool remove) {
  const char* file = ensurePath(false);
  int value = (int)GetPrivateProfileIntA(section, key, defaultValue, file);
  if (remove) WritePrivateProfileStringA(section, key, NULL, file);
  return value;
}

bool Profile::readSection(const char* section, String& result, char separator) {
  const char* file = ensurePath(false);
  char* buffer = (char*)calloc(SECTION_SIZE, 1);
  if (!buffer) return outOfMemory(result);
  DWORD n = GetPrivateProfileSectionA(section, buffer, SECTION_SIZE, file);
  // The zero after the last entry stays: it ends the text.
  for (DWORD i = 0; i + 1 < n; i++)
    if (!buffer[i]) buffer[i] = separator;
  result.assign(buffer);
  free(buffer);
  return n > 0;
}

bool Profile::readSection(const char* section, Array<String>& list) {
  const char* file = ensurePath(false);
  DWORD size = SECTION_STEP;
  char* buffer;
  DWORD n;
  // The call reports a cut section only by returning size - 2.
  for (;;) {
    buffer = (char*)calloc(size, 1);
    if (!buffer) return outOfMemory();
    n = GetPrivateProfileSectionA(section, buffer, size, file);
    if (n != size - 2) break;
    free(buffer);
    size += SECTION_STEP;
  }
  for (const char* p = buffer; p < buffer + n && *p; p += strlen(p) + 1)
    list.add(new String(p));
  free(buffer);
  return true;
}

bool Profile::writeString(const char* section, const char* key, const char* text) {
  return WritePrivateProfileStringA(section, key, text, ensurePath(true)) != 0;
}

bool Profile::writeLong(const char* section, const char* key, long value) {
  char text[24];
  snprintf(text, sizeof text, "%ld", value);
  return writeString(section, key, text);
}

bool Profile::writeSection(const char* section, StringDZ& lines) {
  const char* file = ensurePath(true);
  return WritePrivateProfileSectionA(section, lines.block(), file) != 0;
}

bool Profile::createFile(const char* text) {
  const char* file = ensurePath(true);
  if (!*file || isUrl(file)) return false;
  if (GetFileAttributesA(file) != INVALID_FILE_ATTRIBUTES) {
    SetFileAttributesA(file, FILE_ATTRIBUTE_NORMAL);
    if (!DeleteFileA(file)) return false;
  }
  if (!text || !*text) return true;

  HANDLE h = CreateFileA(file, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, NULL);
  if (h == INVALID_HANDLE_VALUE) return false;
  DWORD length = (DWORD)strlen(text), written = 0;
  BOOL ok = WriteFile(h, text, length, &written, NULL) && written == length;
  CloseHandle(h);
  return ok != 0;
}
