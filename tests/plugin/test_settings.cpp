// The settings record against real profiles in the per-user folder of the
// tests' private Wine prefix.
#include <windows.h>
#include <shlobj.h>

#include <string>

#include <gtest/gtest.h>

#include "GdbSettings.hpp"

template <int W>
static std::string joined(const char (&table)[SLOT_COUNT][W]) {
  std::string all;
  for (const char* text : table) all += std::string(text) + "|";
  return all;
}

static std::string execAndInfo(const DEBUGINFO& d) {
  return std::string(d.executable) + "|" + d.options + "|" + d.arguments + "|" + d.infoQuit + "|" +
         d.infoBreakFmt + "|" + std::to_string(d.display);
}

// Every test has a profile of its own, named after it, and starts from a
// record full of garbage so that a field the reader skips shows.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    saved = DebugSettings;
    char folder[MAX_PATH] = "";
    SHGetSpecialFolderPathA(NULL, folder, CSIDL_APPDATA, FALSE);
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    module = "C:\\plugins\\" + name + ".dll";
    ini = std::string(folder) + "\\Brennick\\Tarn\\" + name + ".ini";
    DeleteFileA(ini.c_str());
    memset(&DebugSettings.options, 'g', offsetof(DEBUGINFO, display) - offsetof(DEBUGINFO, options));
    DebugSettings.display = 9;
  }
  void TearDown() override {
    DeleteFileA(ini.c_str());
    DebugSettings = saved;
  }
  void put(const char* section, const char* key, const std::string& value) {
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value.c_str(), ini.c_str()));
  }
  DEBUGINFO saved;
  std::string module, ini;
};

// The words' defaults, as the dialog shows them, are held by its own test.
// Runs first: reading makes the profile folder the other cases write into.
TEST_F(Settings, NoProfileGivesTheDefaultsAndResetKeepsTheDebugger) {
  ASSERT_TRUE(ReadSettings(module.c_str()));
  EXPECT_EQ("SorbLua.exe|||exit|%s %d %s|1", execAndInfo(DebugSettings));
  strcpy(DebugSettings.executable, "my.exe");
  strcpy(DebugSettings.options, "-x");
  strcpy(DebugSettings.arguments, "a b");
  DebugSettings.cmd[SLOT_STEP][0] = DebugSettings.txt[SLOT_STEP][0] = DebugSettings.infoQuit[0] = 0;
  DebugSettings.display = 0;
  ResetSettings();
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(ini.c_str()));  // neither wrote anything
  EXPECT_EQ("my.exe|-x|a b|exit|%s %d %s|1", execAndInfo(DebugSettings));
  EXPECT_EQ(joined(saved.cmd), joined(DebugSettings.cmd));
  EXPECT_EQ(joined(saved.txt), joined(DebugSettings.txt));
}

// Plain values and DISPLAY 0 are held by the round trip below.
TEST_F(Settings, LongValuesAreCutAndAnyOtherDisplayIsOne) {
  put("EXEC", "EXECUTABLE", std::string(300, 'e'));
  put("TXT", "TXT_BREAKINFO", std::string(40, 't'));
  put("EXEC", "DISPLAY", "7");
  ReadSettings(module.c_str());
  EXPECT_EQ(std::string(256, 'e'), DebugSettings.executable);
  EXPECT_EQ(std::string(25, 't'), DebugSettings.txt[SLOT_BREAKINFO]);
  EXPECT_EQ(1, DebugSettings.display);
}

TEST_F(Settings, WriteThenReadRoundTripsEveryField) {
  // Every field full to its width, except one word left empty on purpose.
  char* first = DebugSettings.options;
  for (char* p = first; p < (char*)&DebugSettings.display; p++) *p = 'a' + (p - first) % 26;
  for (int i = 0; i < SLOT_COUNT; i++) DebugSettings.txt[i][25] = DebugSettings.cmd[i][55] = 0;
  DebugSettings.options[256] = DebugSettings.executable[256] = DebugSettings.arguments[256] = 0;
  DebugSettings.infoQuit[60] = DebugSettings.infoBreakFmt[60] = 0;
  memset(DebugSettings.cmd[SLOT_HELP], 0, sizeof DebugSettings.cmd[SLOT_HELP]);
  DebugSettings.display = 0;
  DEBUGINFO written = DebugSettings;
  ASSERT_TRUE(WriteSettings(module.c_str()));

  memset(&DebugSettings.options, 0, offsetof(DEBUGINFO, display) - offsetof(DEBUGINFO, options));
  DebugSettings.display = 1;
  ReadSettings(module.c_str());
  EXPECT_EQ(0, memcmp(&written, &DebugSettings, sizeof written));
}
