// The settings record itself: what the export's copy would hide (a read
// that overruns a field) and the reset, which no export reaches. Defaults,
// writing and reading back are shown through the plug-in by the dialog's
// tests.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "GdbSettings.hpp"

// A profile of each test's own, named after it; the profile path makes its
// folder, which a fresh user does not have yet.
class Settings : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    module = "C:\\plugins\\" + name + ".dll";
    String path;
    ini = ProfilePath(name.c_str(), path);
    DeleteFileA(ini.c_str());
  }
  void TearDown() override { DeleteFileA(ini.c_str()); }
  std::string module, ini;
};

// A hand-edited profile's long values are cut to the fields; any DISPLAY
// but 0 is 1.
TEST_F(Settings, LongValuesAreCutAndAnyOtherDisplayIsOne) {
  WritePrivateProfileStringA("EXEC", "EXECUTABLE", std::string(300, 'e').c_str(), ini.c_str());
  WritePrivateProfileStringA("TXT", "TXT_BREAKINFO", std::string(40, 't').c_str(), ini.c_str());
  WritePrivateProfileStringA("EXEC", "DISPLAY", "7", ini.c_str());
  ASSERT_TRUE(ReadSettings(module.c_str()));
  EXPECT_EQ(std::string(256, 'e'), DebugSettings.executable);
  EXPECT_EQ(std::string(25, 't'), DebugSettings.txt[SLOT_BREAKINFO]);
  EXPECT_EQ(1, DebugSettings.display);
}

// The words go back to their defaults; the configured debugger stays, and
// nothing is written.
TEST_F(Settings, ResetKeepsTheDebuggerAndWritesNothing) {
  ASSERT_TRUE(ReadSettings(module.c_str()));
  DEBUGINFO want = DebugSettings;
  for (DEBUGINFO* d : {&want, &DebugSettings}) {
    strcpy(d->executable, "my.exe");
    strcpy(d->arguments, "a b");
  }
  strcpy(DebugSettings.cmd[SLOT_STEP], "into");
  strcpy(DebugSettings.txt[SLOT_HELP], "Hilfe");
  DebugSettings.infoQuit[0] = 0;
  DebugSettings.display = 0;
  ResetSettings();
  EXPECT_EQ(0, memcmp(&want, &DebugSettings, sizeof want));
  EXPECT_EQ(INVALID_FILE_ATTRIBUTES, GetFileAttributesA(ini.c_str()));
}
