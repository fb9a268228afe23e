// Profile: one ini-style file read and written through the system's
// private-profile calls. A profile whose path was never set derives one on
// first use: a read looks next to the program module, a write goes to the
// per-user application-data folder (so shipped defaults can sit beside the
// program while user changes land where the user may write).
#ifndef CPROFILE_HPP
#define CPROFILE_HPP

#include <type_traits>

#include "cArray.hpp"
#include "cString.hpp"

class Profile {
 public:
  enum { VALUE_SIZE = 512, SECTION_SIZE = 10240, SECTION_STEP = 5120 };

  explicit Profile(const char* name = 0);
  virtual ~Profile();

  // A full path or URL is kept as it is, a relative name is made full, an
  // empty name derives the default path.
  void setPath(const char* name);
  const char* path();

  // Values longer than VALUE_SIZE - 1 bytes are cut. remove deletes the key
  // after reading it, whether it was there or not (one-shot values).
  bool readString(const char* section, const char* key, const char* defaultText,
                  String& result, bool remove = false);
  bool readString(char* buffer, int size, const char* section, const char* key,
                  const char* defaultText, bool remove = false);
  // Any integer type: the value is read as an int and converted as C
  // converts (a bool is true for non-zero, a byte keeps the low eight bits).
  template <class T>
  bool readInt(const char* section, const char* key, int defaultValue, T& result,
               bool remove = false) {
    static_assert(std::is_integral<T>::value, "readInt reads integers");
    result = static_cast<T>(readIntValue(section, key, defaultValue, remove));
    return true;
  }

  // The whole section as one text, entries joined by separator; at most
  // SECTION_SIZE bytes are read.
  bool readSection(const char* section, String& result, char separator);
  // Every key=value line of the section, however large, added to list.
  bool readSection(const char* section, Array<String>& list);

  // A null text deletes the key.
  bool writeString(const char* section, const char* key, const char* text);
  // Any integer type, written with "%ld".
  template <class T>
  bool writeInt(const char* section, const char* key, T value) {
    static_assert(std::is_integral<T>::value, "writeInt writes integers");
    return writeLong(section, key, (long)value);
  }
  // Replaces the whole section by the key=value items of lines.
  bool writeSection(const char* section, StringDZ& lines);

  // Replaces the file by one holding exactly text (none for an empty text).
  bool createFile(const char* text);

  // Creates folder and every missing parent; true when it exists afterwards.
  static bool createFolders(const char* folder);
  // The user's application-data folder with a final backslash; empty, and
  // false, when the system does not know it.
  static bool appDataFolder(String& folder);

 protected:
  int readIntValue(const char* section, const char* key, int defaultValue, bool remove);
  bool writeLong(const char* section, const char* key, long value);
  const char* ensurePath(bool forWrite);
  void deriveDefaultPath(bool forWrite);

  String path_;

 private:
  Profile(const Profile&) = delete;
  Profile& operator=(const Profile&) = delete;
};

#endif
