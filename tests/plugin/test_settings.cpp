// The settings record against real profiles in the per-user folder of the
// tests' private Wine prefix.
#include <windows.h>
#include <shlobj.h>

#include <string>

#include <gtest/gtest.h>

#include "GdbSettings.hpp"

static const char* const slotNames[SLOT_COUNT] = {
    "RUN", "CONTINUE", "STEP", "NEXT", "UNTIL", "KILL", "UP", "DOWN", "ARGS",
    "STACK", "PRINT", "PRINTEX", "LOCALS", "HELP", "BREAKSET", "BREAKCLR", "BREAKALL", "BREAKINFO"};

template <int W>
static std::string joined(const char (&table)[SLOT_COUNT][W]) {
  std::string all;
  for (const char* text : table) all += std::string(text) + "|";
  return all;
}

static std::string execAndInfo(const DEBUGINFO& d) {
  return std::string(d.executable) + "|" + d.options + "|" + d.arguments + "|" + d.infoQuit + "|" +
         d.infoBreakFmt;
}

static std::string tarnFolder() {
  char folder[MAX_PATH] = "";
  SHGetSpecialFolderPathA(NULL, folder, CSIDL_APPDATA, FALSE);
  return std::string(folder) + "\\Brennick\\Tarn\\";
}

// Every test has a profile of its own, named after it, and starts from a
// record full of garbage so that a field the reader skips shows.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    saved = DebugSettings;
    name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    module = "C:\\plugins\\" + name + ".dll";
    ini = tarnFolder() + name + ".ini";
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
  std::string name, module, ini;
};

TEST_F(Settings, NoProfileGivesTheDefaults) {
  EXPECT_EQ("2512 Lua Debugger Interface 1.20",
            std::to_string(saved.size) + " " + saved.name + " " + saved.version);
  ASSERT_TRUE(ReadSettings(module.c_str()));
  EXPECT_EQ("SorbLua.exe|||exit|%s %d %s", execAndInfo(DebugSettings));
  EXPECT_EQ("run|run|step|over|out|exit|glob|vars|locs|trace|dump|setw|fenv|help|setb|delb|delallb|listb|",
            joined(DebugSettings.cmd));
  EXPECT_EQ("&Run|&Continue|&Step In|Step &Over|Step Ou&t|&Stop|&Globals|&Variables|&Locals|"
            "S&tack|&Dump|&Watch|En&vironment|&Help|&Set|&Delete|Delete &All|&List|",
            joined(DebugSettings.txt));
  EXPECT_EQ(1, DebugSettings.display);
  EXPECT_EQ(joined(saved.txt), joined(DebugSettings.txt));  // the record starts out so
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(ini.c_str()));  // reading wrote nothing
}

TEST_F(Settings, EveryKeyIsReadFromItsSection) {
  std::string cmds, txts;
  for (const char* slot : slotNames) {
    put("CMD", ("CMD_" + std::string(slot)).c_str(), std::string("c") + slot);
    put("TXT", ("TXT_" + std::string(slot)).c_str(), std::string("t") + slot);
    cmds += std::string("c") + slot + "|";
    txts += std::string("t") + slot + "|";
  }
  put("EXEC", "EXECUTABLE", "e.exe");
  put("EXEC", "OPTIONS", "-o");
  put("EXEC", "ARGUMENTS", "a");
  put("INFO", "INFO_QUIT", "q");
  put("INFO", "INFO_BREAKFMT", "%s:%d:%s");
  put("EXEC", "DISPLAY", "0");
  ReadSettings(module.c_str());
  EXPECT_EQ(cmds, joined(DebugSettings.cmd));
  EXPECT_EQ(txts, joined(DebugSettings.txt));
  EXPECT_EQ("e.exe|-o|a|q|%s:%d:%s", execAndInfo(DebugSettings));
  EXPECT_EQ(0, DebugSettings.display);
  put("EXEC", "DISPLAY", "7");
  ReadSettings(module.c_str());
  EXPECT_EQ(1, DebugSettings.display);
}

TEST_F(Settings, LongValuesAreCutToTheirFields) {
  put("EXEC", "EXECUTABLE", std::string(300, 'e'));
  put("CMD", "CMD_RUN", std::string(80, 'r'));
  put("TXT", "TXT_BREAKINFO", std::string(40, 't'));
  ReadSettings(module.c_str());
  EXPECT_EQ(std::string(256, 'e'), DebugSettings.executable);
  EXPECT_EQ(std::string(55, 'r'), DebugSettings.cmd[SLOT_RUN]);
  EXPECT_EQ(std::string(25, 't'), DebugSettings.txt[SLOT_BREAKINFO]);
  EXPECT_STREQ("", DebugSettings.arguments);
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

TEST_F(Settings, ResetKeepsTheDebuggerAndWritesNothing) {
  ReadSettings(module.c_str());
  strcpy(DebugSettings.executable, "my.exe");
  strcpy(DebugSettings.options, "-x");
  strcpy(DebugSettings.arguments, "a b");
  DebugSettings.cmd[SLOT_STEP][0] = DebugSettings.txt[SLOT_STEP][0] = DebugSettings.infoQuit[0] = 0;
  DebugSettings.display = 0;
  ResetSettings();
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(ini.c_str()));
  EXPECT_EQ("my.exe|-x|a b|exit|%s %d %s", execAndInfo(DebugSettings));
  EXPECT_EQ(joined(saved.cmd), joined(DebugSettings.cmd));
  EXPECT_EQ(joined(saved.txt), joined(DebugSettings.txt));
  EXPECT_EQ(1, DebugSettings.display);
}

TEST(ProfilePath, BuildsPerUserFileAndFolder) {
  RemoveDirectoryA(tarnFolder().c_str());
  String path;
  EXPECT_EQ(tarnFolder() + "Default Settings.ini", ProfilePath("<default settings>", path));
  EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(tarnFolder().c_str()));
}

TEST(BoundedCopy, CutsToWidthLessOneAndAlwaysTerminates) {
  char field[8] = "#######";
  BoundedCopy(field, "xy", 0);
  EXPECT_STREQ("#######", field);
  BoundedCopy(field, "vwxyz", 5);
  EXPECT_STREQ("vwxy", field);
  EXPECT_EQ('#', field[5]);
  BoundedCopy(field, "wxyz", 5);
  EXPECT_STREQ("wxyz", field);
  BoundedCopy(field, NULL, 5);
  EXPECT_STREQ("", field);
}
