// Profile against real ini files.
#include <windows.h>

#include <set>
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
  put("s", "other", "2");
  String value;
  EXPECT_TRUE(profile.readString("s", "long", "", value));
  EXPECT_EQ(std::string(511, 'x'), value.text());
  EXPECT_TRUE(profile.readString("s", "once", "d", value, true));
  EXPECT_STREQ("1", value);
  EXPECT_EQ("<none>", rawRead("s", "once", file));
  EXPECT_TRUE(profile.readString("s", "never", "d", value, true));  // even when absent
  EXPECT_EQ("<none>", rawRead("s", "never", file));
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
  String text;  // the text form stops short of the fixed section size
  EXPECT_TRUE(profile.readSection("big", text, ';'));
  EXPECT_LT(text.length(), (int)Profile::SECTION_SIZE);
  EXPECT_GT(text.length(), (int)Profile::SECTION_SIZE - 100);
  EXPECT_EQ(0u, whole.find(text.text()));
}

TEST_F(ProfileTest, IntegersOfEveryWidth) {
  put("n", "v", "300");
  put("n", "neg", "-2");
  int i = 0;
  long l = 0;
  short sh = 0;
  unsigned char byte = 0;
  EXPECT_TRUE(profile.readInt("n", "v", 0, i));
  EXPECT_EQ(300, i);
  profile.readInt("n", "v", 0, byte);
  EXPECT_EQ(44, byte);  // the low eight bits
  profile.readInt("n", "neg", 0, sh);
  EXPECT_EQ(-2, sh);
  profile.readInt("n", "missing", 7, l, true);
  EXPECT_EQ(7, l);
  profile.readInt("n", "v", 0, i, true);  // one-shot
  EXPECT_EQ("<none>", rawRead("n", "v", file));
  EXPECT_TRUE(profile.writeInt("n", "s", (short)-5));
  EXPECT_TRUE(profile.writeInt("n", "b", (unsigned char)200));
  EXPECT_EQ("-5|200", rawRead("n", "s", file) + "|" + rawRead("n", "b", file));
}

// A profile without a path reads beside the program but writes to the
// user's folder: whichever comes first decides.
TEST(ProfileDefault, ReadBesideTheModuleWriteToTheUsersFolder) {
  char module[MAX_PATH];
  GetModuleFileNameA(NULL, module, sizeof module);
  std::string beside = module;
  beside = beside.substr(0, beside.rfind('.')) + ".ini";
  CharLowerA(&beside[0]);
  Profile reader;
  String value;
  reader.readString("s", "k", "", value);
  EXPECT_EQ(beside, reader.path());

  String folder;
  ASSERT_TRUE(Profile::appDataFolder(folder));
  std::string base = beside.substr(beside.rfind('\\') + 1);
  base = base.substr(0, base.size() - 4);
  Profile writer;
  EXPECT_TRUE(writer.writeString("s", "k", "v"));
  std::string user = std::string(folder.text()) + "Brennick\\" + base + "\\" + base + ".ini";
  EXPECT_STREQ(user.c_str(), writer.path());
  EXPECT_EQ("v", rawRead("s", "k", user));
  DeleteFileA(user.c_str());
}

TEST(Registry, WriteReadEnumerateAndDelete) {
  const char* sub = "Software\\SorbLuaTest\\Values";
  Registry closed(HKEY_CURRENT_USER, sub);  // not there: every operation fails quietly
  String value;
  bool flag = false;
  EXPECT_FALSE(closed.isOpen() || closed.readString("name", value) || closed.deleteKey("x"));
  EXPECT_FALSE(closed.readBool("flag", flag, true));
  EXPECT_TRUE(flag);  // the default

  Registry key(HKEY_CURRENT_USER, sub, true);
  EXPECT_TRUE(key.writeString("name", "value"));  // creates the key and its parent
  EXPECT_TRUE(key.writeBool("flag", false));
  HKEY raw;
  ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExA(HKEY_CURRENT_USER, sub, 0, KEY_SET_VALUE, &raw));
  DWORD number = 42;
  RegSetValueExA(raw, "number", 0, REG_DWORD, (const BYTE*)&number, sizeof number);
  RegCloseKey(raw);
  EXPECT_TRUE(key.readString("number", value));
  EXPECT_STREQ("42", value);
  EXPECT_TRUE(key.readBool("flag", flag, true));
  EXPECT_FALSE(flag);
  Array<String> list;
  EXPECT_EQ(3, key.enumerate(list));
  std::set<std::string> all;  // in the system's order
  for (int i = 0; i < list.count(); i++) all.insert(list.get(i)->text());
  EXPECT_EQ((std::set<std::string>{"name=value", "flag=0", "number=42"}), all);

  Registry parent(HKEY_CURRENT_USER, "Software\\SorbLuaTest", true);
  EXPECT_FALSE(parent.deleteKey(""));  // never the key itself
  EXPECT_TRUE(parent.deleteKey("Values"));
  RegDeleteKeyA(HKEY_CURRENT_USER, "Software\\SorbLuaTest");
  EXPECT_EQ("", std::string(Registry::fileType(".sorblua-none")));
}
