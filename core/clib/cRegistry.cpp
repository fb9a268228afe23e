#include "cRegistry.hpp"

#include <stdio.h>
#include <stdlib.h>

Registry::Registry(HKEY root, const char* subkey, bool writable)
    : root_(root), key_(0), subkey_(subkey) {
  REGSAM access = writable ? KEY_READ | KEY_WRITE : KEY_READ;
  if (RegOpenKeyExA(root, subkey_, 0, access, &key_) != ERROR_SUCCESS) key_ = 0;
}

Registry::~Registry() {
  if (key_) RegCloseKey(key_);
}

bool Registry::readString(const char* valueName, String& result) {
  result.assign("");
  if (!key_) return false;
  BYTE data[DATA_SIZE];
  DWORD type = 0, size = sizeof data - 1;
  if (RegQueryValueExA(key_, valueName ? valueName : "", NULL, &type, data, &size) !=
      ERROR_SUCCESS)
    return false;
  if (type == REG_DWORD && size == sizeof(DWORD)) {
    char text[16];
    snprintf(text, sizeof text, "%lu", *(DWORD*)data);
    result.assign(text);
  } else {
    data[size] = 0;  // stored text need not carry its terminator
    result.assign((const char*)data);
  }
  return true;
}

bool Registry::readBool(const char* valueName, bool& result, bool defaultValue) {
  String text;
  bool found = readString(valueName, text);
  if (!found) text.assign(defaultValue ? "1" : "0");
  result = atoi(text) != 0;
  return found;
}

bool Registry::writeString(const char* valueName, const char* text) {
  if (!key_ && RegCreateKeyExA(root_, subkey_, 0, NULL, REG_OPTION_NON_VOLATILE,
                               KEY_READ | KEY_WRITE, NULL, &key_, NULL) != ERROR_SUCCESS) {
    key_ = 0;
    return false;
  }
  if (!text) text = "";
  return RegSetValueExA(key_, valueName, 0, REG_SZ, (const BYTE*)text,
                        (DWORD)strlen(text) + 1) == ERROR_SUCCESS;
}

bool Registry::writeBool(const char* valueName, bool value) {
  return writeString(valueName, value ? "1" : "0");
}

int Registry::enumerate(Array<String>& list) {
  if (!key_) return 0;
  int added = 0;
  for (DWORD i = 0;; i++) {
    char name[DATA_SIZE];
    BYTE data[DATA_SIZE];
    DWORD nameSize = sizeof name, dataSize = sizeof data - 1, type = 0;
    LONG rc = RegEnumValueA(key_, i, name, &nameSize, NULL, &type, data, &dataSize);
    if (rc == ERROR_MORE_DATA) {
      // Data too large for the buffer: list the value by name only.
      nameSize = sizeof name;
      rc = RegEnumValueA(key_, i, name, &nameSize, NULL, &type, NULL, NULL);
      type = REG_NONE;
    }
    if (rc != ERROR_SUCCESS) break;

    String* item = new String(name);
    if (type == REG_SZ || type == REG_EXPAND_SZ) {
      data[dataSize] = 0;
      *item += "=";
      *item += (const char*)data;
    } else if (type == REG_DWORD && dataSize == sizeof(DWORD)) {
      char number[16];
      snprintf(number, sizeof number, "=%lu", *(DWORD*)data);
      *item += number;
    }
    list.add(item);
    added++;
  }
  return added;
}

bool Registry::deleteKey(const char* subkey) {
  // An empty name would delete this key itself.
  if (!key_ || !subkey || !*subkey) return false;
  return RegDeleteKeyA(key_, subkey) == ERROR_SUCCESS;
}

static String classesDefault(const char* subkey) {
  String value;
  Registry key(HKEY_CLASSES_ROOT, subkey);
  key.readString("", value);
  return value;
}

String Registry::currentVersion(const char* progId) {
  if (!progId || !*progId) return String();
  String subkey(progId);
  subkey += "\\CurVer";
  return classesDefault(subkey);
}

String Registry::classId(const char* progId) {
  if (!progId || !*progId) return String();
  String subkey(progId);
  subkey += "\\CLSID";
  return classesDefault(subkey);
}

String Registry::localServer(const char* clsid) {
  if (!clsid || !*clsid) return String();
  String subkey("CLSID\\");
  subkey += clsid;
  subkey += "\\LocalServer32";
  return classesDefault(subkey);
}

String Registry::fileType(const char* extension) {
  if (!extension || !*extension) return String();
  String subkey;
  if (extension[0] != '.') subkey += ".";
  subkey += extension;
  return classesDefault(subkey);
}
