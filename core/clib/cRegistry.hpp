// Registry: one open registry key, for the few facts the system looks up
// there (file-type associations, COM class registrations). A key that did
// not open makes every operation fail quietly.
#ifndef CREGISTRY_HPP
#define CREGISTRY_HPP

#include <windows.h>

#include "cArray.hpp"
#include "cString.hpp"

class Registry {
 public:
  enum { DATA_SIZE = 512 };

  Registry(HKEY root, const char* subkey, bool writable = false);
  virtual ~Registry();

  bool isOpen() const { return key_ != 0; }
  const char* subkey() const { return subkey_.text(); }

  // An empty or null value name means the key's default value.
  bool readString(const char* valueName, String& result);
  // The value taken as a number; defaultValue when it is missing.
  bool readBool(const char* valueName, bool& result, bool defaultValue);
  // Creates the key, and any missing parent, when it is not open yet.
  bool writeString(const char* valueName, const char* text);
  bool writeBool(const char* valueName, bool value);
  // Adds one "name=data" item per value (the name alone for data that is
  // not text or a number); returns the number added.
  int enumerate(Array<String>& list);
  // Deletes a subkey (which must have none of its own) of this key.
  bool deleteKey(const char* subkey);

  // Lookups under HKEY_CLASSES_ROOT; each empty when not registered.
  static String currentVersion(const char* progId);  // "CurVer"
  static String classId(const char* progId);         // "CLSID"
  static String localServer(const char* clsid);      // "CLSID\<id>\LocalServer32"
  static String fileType(const char* extension);     // ".ext" -> program id

 private:
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  HKEY root_;
  HKEY key_;
  String subkey_;
};

#endif
