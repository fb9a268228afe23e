// Profile against real ini files.
#include <windows.h>

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
  void TearDown() override { DeleteFileA(file.c_str()); }
  void put(const char* section, const char* key, const std::string& value) {
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value.c_str(), file.c_str()));
  }
  std::string file;
  Profile profile;
};

TEST_F(ProfileTest, ValuesCutRemoveAndDelete) {
  put("s", "long", std::string(600, 'x'));
  put("s", "once", "1");
  String value;
  EXPECT_TRUE(profile.readString("s", "long", "", value));
  EXPECT_EQ(std::string(511, 'x'), value.text());
  EXPECT_TRUE(profile.readString("s", "once", "d", value, true));  // one-shot
  EXPECT_STREQ("1", value);
  EXPECT_EQ("<none>", rawRead("s", "once", file));
  EXPECT_TRUE(profile.writeString("s", "long", NULL));
  EXPECT_EQ("<none>", rawRead("s", "long", file));
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
  String text;  // the text form stops short of the fixed section size
  EXPECT_TRUE(profile.readSection("big", text, ';'));
  EXPECT_LT(text.length(), (int)Profile::SECTION_SIZE);
  EXPECT_GT(text.length(), (int)Profile::SECTION_SIZE - 100);
  EXPECT_EQ(0u, whole.find(text.text()));
}

TEST_F(ProfileTest, Integers) {
  put("n", "v", "300");
  int i = 0;
  long l = 0;
  EXPECT_TRUE(profile.readInt("n", "v", 0, i));
  EXPECT_EQ(300, i);
  profile.readInt("n", "missing", 7, l);
  EXPECT_EQ(7, l);
  EXPECT_TRUE(profile.writeInt("n", "s", (short)-5));
  EXPECT_EQ("-5", rawRead("n", "s", file));
}

// A profile without a path writes to the user's folder. The plug-in always
// names its files: this shows the default works.
TEST(ProfileDefault, WritesToTheUsersFolder) {
  String folder;
  ASSERT_TRUE(Profile::appDataFolder(folder));
  Profile writer;
  EXPECT_TRUE(writer.writeString("s", "k", "v"));
  std::string user = std::string(folder.text()) + "Brennick\\test_profile\\test_profile.ini";
  EXPECT_STREQ(user.c_str(), writer.path());
  DeleteFileA(user.c_str());
}

// A value written under a new key reads back and is listed, the key deletes,
// and a file type is looked up. Nothing in the product touches the registry.
TEST(Registry, WriteReadEnumerateAndDelete) {
  Registry key(HKEY_CURRENT_USER, "Software\\SorbLuaTest", true);
  EXPECT_TRUE(key.writeString("name", "value"));  // creates the key
  String value;
  EXPECT_TRUE(key.readString("name", value));
  EXPECT_STREQ("value", value);
  Array<String> list;
  EXPECT_EQ(1, key.enumerate(list));
  EXPECT_STREQ("name=value", *list.get(0));
  Registry software(HKEY_CURRENT_USER, "Software", true);
  EXPECT_TRUE(software.deleteKey("SorbLuaTest"));
  EXPECT_EQ("inifile", std::string(Registry::fileType(".ini")));
}
