// Profile and Registry against real ini files and the registry of the
// tests' private Wine prefix.
#include <windows.h>
#include <shlobj.h>

#include <string>

#include <gtest/gtest.h>

#include "cProfile.hpp"
#include "cRegistry.hpp"

static std::string rawRead(const char* section, const char* key, const std::string& file) {
  char buffer[2048];
  GetPrivateProfileStringA(section, key, "<none>", buffer, sizeof buffer, file.c_str());
  return buffer;
}

// Each test gets an ini file of its own in the temp folder.
class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[MAX_PATH], name[MAX_PATH];
    GetTempPathA(sizeof dir, dir);
    GetTempFileNameA(dir, "pro", 0, name);
    file = name;
    profile.setPath(name);
  }
  void TearDown() override {
    SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteFileA(file.c_str());
  }
  void put(const char* section, const char* key, const std::string& value) {
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value.c_str(), file.c_str()));
  }
  std::string file;
  Profile profile;
};

TEST_F(ProfileTest, ValuesAreCutAt511BytesOrDefaulted) {
  put("s", "long", std::string(600, 'x'));
  String value;
  EXPECT_TRUE(profile.readString("s", "long", "", value));
  EXPECT_EQ(std::string(511, 'x'), value.text());
  char small[8];
  EXPECT_TRUE(profile.readString(small, sizeof small, "s", "long", ""));
  EXPECT_STREQ("xxxxxxx", small);
  EXPECT_FALSE(profile.readString(small, 0, "s", "long", ""));
  EXPECT_TRUE(profile.readString("s", "absent", "fallback", value));
  EXPECT_STREQ("fallback", value);
  EXPECT_FALSE(profile.readString("s", "absent", "", value));
}

TEST_F(ProfileTest, RemoveAndNullTextDeleteTheKey) {
  put("s", "once", "1");
  put("s", "other", "2");
  String value;
  EXPECT_TRUE(profile.readString("s", "once", "d", value, true));
  EXPECT_STREQ("1", value);
  EXPECT_EQ("<none>", rawRead("s", "once", file));
  EXPECT_TRUE(profile.readString("s", "never", "d", value, true));  // even when absent
  EXPECT_EQ("<none>", rawRead("s", "never", file));
  EXPECT_EQ("2", rawRead("s", "other", file));
  EXPECT_TRUE(profile.writeInt("s", "n", -5));
  EXPECT_EQ("-5", rawRead("s", "n", file));
  EXPECT_TRUE(profile.writeString("s", "other", NULL));
  EXPECT_EQ("<none>", rawRead("s", "other", file));
}

TEST_F(ProfileTest, SectionsAreReadAndReplacedWhole) {
  // About 20000 bytes: the list buffer must grow three times.
  put("big", "old", "1");
  StringDZ lines;
  std::string whole;
  for (int i = 0; i < 300; i++) {
    std::string line = "key" + std::to_string(1000 + i) + "=" + std::string(56, 'a' + i % 26);
    lines.add(line.c_str());
    whole += line + ";";
  }
  ASSERT_TRUE(profile.writeSection("big", lines));
  EXPECT_EQ("<none>", rawRead("big", "old", file));
  Array<String> list;
  EXPECT_TRUE(profile.readSection("big", list));
  ASSERT_EQ(300, list.count());
  EXPECT_STREQ(lines.item(299), *list.get(299));

  String text;
  EXPECT_TRUE(profile.readSection("big", text, ';'));
  EXPECT_LT(text.length(), (int)Profile::SECTION_SIZE);
  EXPECT_GT(text.length(), (int)Profile::SECTION_SIZE - 100);
  EXPECT_EQ(0u, whole.find(text.text()));

  StringDZ empty;
  EXPECT_TRUE(profile.writeSection("big", empty));
  EXPECT_FALSE(profile.readSection("big", text, ';'));
  EXPECT_STREQ("", text);
}

TEST_F(ProfileTest, CreateFileReplacesEvenReadOnlyFile) {
  put("s", "stale", "1");
  SetFileAttributesA(file.c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_TRUE(profile.createFile("[s]\r\nk=v\r\n"));
  EXPECT_EQ("<none>", rawRead("s", "stale", file));
  EXPECT_EQ("v", rawRead("s", "k", file));

  EXPECT_TRUE(profile.createFile(""));  // empty text: no file
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(file.c_str()));
  EXPECT_FALSE(Profile("http://example.invalid/x.ini").createFile("text"));
}

TEST(ProfilePath, ReadDerivesBesideModuleWritePerUser) {
  EXPECT_STREQ("C:\\abs\\Mixed.ini", Profile("C:\\abs\\Mixed.ini").path());
  // A read derives the file next to the module, lower-cased...
  char module[MAX_PATH];
  GetModuleFileNameA(NULL, module, sizeof module);
  std::string beside = module;
  beside = beside.substr(0, beside.rfind('.')) + ".ini";
  CharLowerA(&beside[0]);
  EXPECT_EQ(beside, Profile().path());

  // ...a write the per-user one, creating its folder.
  char appData[MAX_PATH];
  ASSERT_TRUE(SHGetSpecialFolderPathA(NULL, appData, CSIDL_APPDATA, FALSE));
  std::string folder = std::string(appData) + "\\Brennick\\test_profile";
  Profile writer;
  EXPECT_TRUE(writer.writeString("s", "k", "v"));
  EXPECT_EQ(folder + "\\test_profile.ini", writer.path());
  EXPECT_EQ("v", rawRead("s", "k", writer.path()));
  DeleteFileA(writer.path());
  EXPECT_TRUE(RemoveDirectoryA(folder.c_str()));
}

TEST(Registry, KeysValuesAndLookups) {
  const char* name = "Software\\SorbTest\\Deep";
  String value("junk");
  bool flag = false;
  Registry missing(HKEY_CURRENT_USER, name);  // defaults, and a cleared text
  EXPECT_FALSE(missing.readString("v", value) || missing.readBool("b", flag, true));
  EXPECT_TRUE(flag && !*value.text());

  Registry key(HKEY_CURRENT_USER, name, true);
  EXPECT_TRUE(key.writeString("v", "text"));
  EXPECT_TRUE(key.writeBool("b", false));
  Registry reader(HKEY_CURRENT_USER, name);
  EXPECT_TRUE(reader.readString("v", value) && reader.readBool("b", flag, true));
  EXPECT_STREQ("text", value);
  EXPECT_FALSE(flag);
  EXPECT_FALSE(reader.writeString("v", "read-only key"));
  Array<String> list;
  ASSERT_EQ(2, reader.enumerate(list));
  std::string items = std::string(*list.get(0)) + ";" + std::string(*list.get(1)) + ";";
  EXPECT_TRUE(items == "v=text;b=0;" || items == "b=0;v=text;") << items;

  Registry parent(HKEY_CURRENT_USER, "Software", true);
  EXPECT_FALSE(parent.deleteKey("SorbTest"));  // still has a subkey
  EXPECT_TRUE(Registry(HKEY_CURRENT_USER, "Software\\SorbTest", true).deleteKey("Deep"));
  EXPECT_TRUE(parent.deleteKey("SorbTest"));

  const char* clsid = "{0E5AB3C1-7D2F-4A61-9B0E-5C3D2F1A7B90}";
  std::string server = std::string("CLSID\\") + clsid;
  Registry(HKEY_CLASSES_ROOT, ".sorbtest", true).writeString("", "Sorb.Prog");
  Registry(HKEY_CLASSES_ROOT, "Sorb.Prog\\CurVer", true).writeString("", "Sorb.Prog.2");
  Registry(HKEY_CLASSES_ROOT, "Sorb.Prog\\CLSID", true).writeString("", clsid);
  Registry(HKEY_CLASSES_ROOT, (server + "\\LocalServer32").c_str(), true).writeString(NULL, "s.exe");
  EXPECT_STREQ("Sorb.Prog", Registry::fileType("sorbtest"));
  EXPECT_STREQ("Sorb.Prog.2", Registry::currentVersion("Sorb.Prog"));
  EXPECT_STREQ(clsid, Registry::classId("Sorb.Prog"));
  EXPECT_STREQ("s.exe", Registry::localServer(clsid));

  for (const char* key : {server.c_str(), "Sorb.Prog", ".sorbtest"}) RegDeleteTreeA(HKEY_CLASSES_ROOT, key);
}
