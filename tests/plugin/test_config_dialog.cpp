// The configuration dialog in a real window. It runs modally on the test's
// thread while a second thread plays the user: finds it by its title, types,
// clicks, presses Escape or the close box, and reads what it shows.
#include <windows.h>
#include <shlobj.h>
#include <stdio.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "GdbDlg.hpp"
#include "GdbSettings.hpp"
#include "resource.h"

// Started by the shell as the test's web browser (HelpOpensThePageBeside
// TheModule): notes the page it was given and leaves before any test runs.
static const bool browserStandIn = [] {
  if (__argc == 3 && strcmp(__argv[1], "--open-page") == 0) {
    FILE* f = fopen((std::string(__argv[2]) + ".opened").c_str(), "w");
    if (f) fputs(__argv[2], f), fclose(f);
    ExitProcess(0);
  }
  return false;
}();

// Without a window manager Wine waits two seconds for each visible window to
// be withdrawn when it goes, but not for windows it manages itself: set for
// this program before its first window.
static const bool unmanaged = [] {
  HKEY key;
  if (!GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version") ||
      RegCreateKeyExA(HKEY_CURRENT_USER,
                      "Software\\Wine\\AppDefaults\\test_config_dialog.exe\\X11 Driver", 0,
                      NULL, 0, KEY_SET_VALUE, NULL, &key, NULL))
    return false;
  RegSetValueExA(key, "Managed", 0, REG_SZ, (const BYTE*)"N", 2);
  RegCloseKey(key);
  return true;
}();

// A visible window of this process with that title: another test program may
// show the same dialog on the same display.
static HWND ownWindow(const char* title, int waitMs = 10000) {
  for (int waited = 0; waited <= waitMs; waited += 20, Sleep(20))
    for (HWND w = NULL; (w = FindWindowExA(NULL, w, NULL, title)) != NULL;) {
      DWORD pid = 0;
      GetWindowThreadProcessId(w, &pid);
      if (pid == GetCurrentProcessId() && IsWindowVisible(w)) return w;
    }
  return NULL;
}

// The text of a control, or with id 0 the window's title.
static std::string text(HWND dlg, int id) {
  char buf[1024] = "";
  id ? GetDlgItemTextA(dlg, id, buf, sizeof buf) : GetWindowTextA(dlg, buf, sizeof buf);
  return buf;
}

// Selects all of the edit and types over it, key by key.
static void type(HWND dlg, int id, const std::string& keys) {
  HWND edit = GetDlgItem(dlg, id);
  SendMessageA(edit, EM_SETSEL, 0, -1);
  SendMessageA(edit, WM_CHAR, VK_BACK, 1);
  for (char c : keys) SendMessageA(edit, WM_CHAR, (WPARAM)(unsigned char)c, 1);
}

static void click(HWND dlg, int id) { SendMessageA(GetDlgItem(dlg, id), BM_CLICK, 0, 0); }

static bool checked(HWND dlg) { return IsDlgButtonChecked(dlg, IDC_DISPLAY) == BST_CHECKED; }

static std::string fileBytes(const std::string& path) {
  FILE* f = fopen(path.c_str(), "rb");
  if (!f) return "<missing>";
  std::string bytes;
  for (int c; (c = fgetc(f)) != EOF;) bytes += (char)c;
  fclose(f);
  return bytes;
}

static BOOL CALLBACK cancel(HWND w, LPARAM) { return PostMessageA(w, WM_COMMAND, IDCANCEL, 0); }

// Every test has a module path of its own in a fresh folder, hence its own
// profile, and starts from a settings record full of garbage, so that the
// dialog can show only what it read.
class ConfigDialog : public ::testing::Test {
 protected:
  void SetUp() override {
    saved = DebugSettings;
    name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    name = "Dialog_" + name;
    for (char& c : name)
      if (!isalnum((unsigned char)c)) c = '_';
    char temp[MAX_PATH], appData[MAX_PATH] = "";
    GetTempPathA(MAX_PATH, temp);
    dir = temp + name;
    CreateDirectoryA(dir.c_str(), NULL);
    module = dir + "\\" + name + ".dll";
    SHGetSpecialFolderPathA(NULL, appData, CSIDL_APPDATA, FALSE);
    ini = std::string(appData) + "\\Brennick\\Tarn\\" + name + ".ini";
    DeleteFileA(ini.c_str());
    memset(&DebugSettings.options, 'g', offsetof(DEBUGINFO, display) - offsetof(DEBUGINFO, options));
    DebugSettings.display = 0;
  }
  void TearDown() override {
    DeleteFileA(ini.c_str());
    DeleteFileA((dir + "\\SorbLua.html").c_str());
    DeleteFileA((dir + "\\SorbLua.html.opened").c_str());
    RemoveDirectoryA(dir.c_str());
    DebugSettings = saved;
  }

  // Runs the dialog here while user() acts on it from a second thread.
  int run(const std::function<void(HWND)>& user, HWND host = NULL) {
    std::atomic<bool> found(false);
    DWORD self = GetCurrentThreadId();
    std::thread other([&] {
      HWND dlg = ownWindow("Debugger Configuration - Lua Debugger Interface");
      found = dlg != NULL;
      if (dlg)
        user(dlg);
      else
        EnumThreadWindows(self, cancel, 0);  // never leave the test stuck
    });
    int code = RunConfigDialog(host, module.c_str());
    other.join();
    EXPECT_TRUE(found) << "the dialog's title is not as expected";
    return code;
  }

  void put(const char* section, const char* key, const char* value) {
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value, ini.c_str()));
  }
  std::string stored(const char* section, const char* key) {
    char buf[600] = "";
    GetPrivateProfileStringA(section, key, "<none>", buf, sizeof buf, ini.c_str());
    return buf;
  }
  // The profile as the settings reader sees it.
  DEBUGINFO onDisk() {
    DEBUGINFO now = DebugSettings, disk;
    ReadSettings(module.c_str());
    disk = DebugSettings;
    DebugSettings = now;
    return disk;
  }

  DEBUGINFO saved;
  std::string name, dir, module, ini;
};

TEST_F(ConfigDialog, ShowsTheDefaultsWhenThereIsNoProfile) {
  std::string title, shown, pairTwo;
  bool box = false;
  int code = run([&](HWND dlg) {
    title = text(dlg, 0);
    shown = text(dlg, IDC_EXECUTABLE) + "|" + text(dlg, IDC_OPTIONS) + "|" +
            text(dlg, IDC_ARGUMENTS);
    for (int n = 1; n <= 19; n++)
      if (n != 2) shown += "|" + text(dlg, IDC_TXT_BASE + n) + "=" + text(dlg, IDC_CMD_BASE + n);
    pairTwo = GetDlgItem(dlg, 4802) || GetDlgItem(dlg, 5802) ? "pair 2" : "";
    box = checked(dlg);
    click(dlg, IDCANCEL);
  });
  EXPECT_EQ(2, code);
  EXPECT_EQ("Debugger Configuration - Lua Debugger Interface", title);
  EXPECT_EQ("SorbLua.exe|||&Run=run|&Continue=run|&Step In=step|Step &Over=over|Step Ou&t=out|"
            "&Stop=exit|&Globals=glob|&Variables=vars|&Locals=locs|S&tack=trace|&Dump=dump|"
            "&Watch=setw|En&vironment=fenv|&Help=help|&Set=setb|&Delete=delb|Delete &All=delallb|"
            "&List=listb",
            shown);
  EXPECT_EQ("", pairTwo);
  EXPECT_TRUE(box);
  EXPECT_EQ("<missing>", fileBytes(ini));  // looking writes nothing
}

// Owned and disabled by the host's window while it runs, and placed where the
// template says relative to that window, not centred over it.
TEST_F(ConfigDialog, OpensOverTheHostAtItsTemplatePosition) {
  HWND host = CreateWindowExA(0, "STATIC", "Host", WS_POPUP | WS_VISIBLE, 0, 0, 640, 300, NULL,
                              NULL, NULL, NULL);
  POINT client = {0, 0};
  RECT where = {10, 10, 0, 0};
  HWND owner = NULL;
  BOOL hostEnabled = TRUE;
  run([&](HWND dlg) {
    owner = GetWindow(dlg, GW_OWNER);
    hostEnabled = IsWindowEnabled(host);
    ClientToScreen(dlg, &client);
    MapDialogRect(dlg, &where);
    click(dlg, IDCANCEL);
  }, host);
  EXPECT_EQ(host, owner);
  EXPECT_FALSE(hostEnabled);
  EXPECT_TRUE(IsWindowEnabled(host));
  EXPECT_EQ(where.left, client.x);  // the system may pull it up to fit a low screen
  DestroyWindow(host);
}

TEST_F(ConfigDialog, OkStoresWhatWasEnteredCutToTheFields) {
  const std::string caption(40, 'c'), command(60, 'm'), exe = std::string(290, 'e') + "\\x.exe";
  int code = run([&](HWND dlg) {
    type(dlg, IDC_TXT_STEP, caption);
    type(dlg, IDC_CMD_BREAKINFO, command);
    type(dlg, IDC_EXECUTABLE, exe);
    SetDlgItemTextA(dlg, IDC_CMD_HELP, "");  // nothing is validated
    click(dlg, IDC_DISPLAY);
    click(dlg, IDOK);
  });
  EXPECT_EQ(1, code);
  EXPECT_EQ(caption.substr(0, 25), DebugSettings.txt[SLOT_STEP]);
  EXPECT_EQ(command.substr(0, 55), DebugSettings.cmd[SLOT_BREAKINFO]);
  EXPECT_EQ(exe.substr(0, 256), DebugSettings.executable);
  EXPECT_STREQ("", DebugSettings.cmd[SLOT_HELP]);
  EXPECT_EQ(0, DebugSettings.display);
  EXPECT_EQ("0", stored("EXEC", "DISPLAY"));
  DEBUGINFO disk = onDisk();  // and the file holds the same
  EXPECT_EQ(0, memcmp(&disk, &DebugSettings, sizeof disk));
}

TEST_F(ConfigDialog, OkWithoutEditsRewritesTheSameValues) {
  put("EXEC", "OPTIONS", "-v");
  put("EXEC", "DISPLAY", "0");
  put("CMD", "CMD_STEP", "into");
  put("INFO", "INFO_QUIT", "bye");  // not in the dialog, kept all the same
  DEBUGINFO before = onDisk();
  EXPECT_EQ(1, run([&](HWND dlg) { click(dlg, IDOK); }));
  DEBUGINFO disk = onDisk();
  EXPECT_EQ(0, memcmp(&before, &DebugSettings, sizeof before));
  EXPECT_EQ(0, memcmp(&before, &disk, sizeof before));
  EXPECT_EQ("into", stored("CMD", "CMD_STEP"));
  EXPECT_EQ("&Run", stored("TXT", "TXT_RUN"));  // missing keys are written out
}

// Cancel, Escape and the close box all leave everything as it was.
class ConfigDialogLeave : public ConfigDialog,
                          public ::testing::WithParamInterface<void (*)(HWND)> {};

static void cancelButton(HWND dlg) { click(dlg, IDCANCEL); }
static void escapeKey(HWND dlg) {
  PostMessageA(GetDlgItem(dlg, IDC_EXECUTABLE), WM_KEYDOWN, VK_ESCAPE, 0x00010001);
}
static void closeBox(HWND dlg) { PostMessageA(dlg, WM_SYSCOMMAND, SC_CLOSE, 0); }

TEST_P(ConfigDialogLeave, KeepsMemoryAndFileUnchanged) {
  put("CMD", "CMD_STEP", "into");
  put("EXEC", "DISPLAY", "1");
  std::string file = fileBytes(ini);
  DEBUGINFO before = onDisk();
  int code = run([&](HWND dlg) {
    type(dlg, IDC_CMD_STEP, "stepping");
    type(dlg, IDC_TXT_STEP, "Step");
    SetDlgItemTextA(dlg, IDC_EXECUTABLE, "other.exe");
    click(dlg, IDC_DISPLAY);
    GetParam()(dlg);
  });
  EXPECT_EQ(2, code);
  EXPECT_EQ(0, memcmp(&before, &DebugSettings, sizeof before));
  EXPECT_STREQ("into", DebugSettings.cmd[SLOT_STEP]);
  EXPECT_EQ(file, fileBytes(ini));
}

static const char* const leaveNames[] = {"Cancel", "Escape", "CloseBox"};
INSTANTIATE_TEST_SUITE_P(By, ConfigDialogLeave,
                         ::testing::Values(cancelButton, escapeKey, closeBox),
                         [](const ::testing::TestParamInfo<void (*)(HWND)>& info) {
                           return std::string(leaveNames[info.index]);
                         });

// Help without the page beside the module: the exact message, owned by the
// dialog, with only an OK button; the dialog stays open.
TEST_F(ConfigDialog, HelpWithoutThePageShowsTheErrorAndStaysOpen) {
  std::string message = "<no box>";
  bool owned = false, cancelButton = true, open = false;
  int code = run([&](HWND dlg) {
    PostMessageA(GetDlgItem(dlg, IDC_HELPBUTTON), BM_CLICK, 0, 0);
    if (HWND box = ownWindow("Ravel Help")) {
      message = text(box, 0xFFFF);
      owned = GetWindow(box, GW_OWNER) == dlg;
      cancelButton = GetDlgItem(box, IDCANCEL) && IsWindowVisible(GetDlgItem(box, IDCANCEL));
      SendMessageA(GetDlgItem(box, IDOK), BM_CLICK, 0, 0);
      for (int i = 0; i < 500 && IsWindow(box); i++) Sleep(10);
    }
    open = IsWindowVisible(dlg);
    click(dlg, IDCANCEL);
  });
  EXPECT_EQ(dir + "\\SorbLua.html\n\nUnexpected error loading the debugger help file.", message);
  EXPECT_TRUE(owned);
  EXPECT_FALSE(cancelButton);
  EXPECT_TRUE(open);
  EXPECT_EQ(2, code);
}

// The page beside the module goes to the shell: a stand-in browser (this
// program, registered for ".html" meanwhile) records what it was given.
TEST_F(ConfigDialog, HelpOpensThePageBesideTheModule) {
  std::string page = dir + "\\SorbLua.html";
  FILE* f = fopen(page.c_str(), "w");
  ASSERT_TRUE(f);
  fputs("<!DOCTYPE html><title>t</title>", f);
  fclose(f);
  char self[MAX_PATH], previous[256] = "";
  GetModuleFileNameA(NULL, self, MAX_PATH);
  std::string browser = std::string("\"") + self + "\" --open-page \"%1\"";
  LONG size = sizeof previous;
  bool hadHtml = RegQueryValueA(HKEY_CLASSES_ROOT, ".html", previous, &size) == ERROR_SUCCESS;
  RegSetValueA(HKEY_CLASSES_ROOT, ".html", REG_SZ, "SorbLuaTestPage", 0);
  RegSetValueA(HKEY_CLASSES_ROOT, "SorbLuaTestPage\\shell\\open\\command", REG_SZ, browser.c_str(),
               0);

  std::string opened = "<missing>";
  bool errorBox = true;
  run([&](HWND dlg) {
    click(dlg, IDC_HELPBUTTON);
    for (int i = 0; i < 1000 && opened == "<missing>"; i++, Sleep(10))
      opened = fileBytes(page + ".opened");
    errorBox = ownWindow("Ravel Help", 0) != NULL;
    click(dlg, IDCANCEL);
  });
  RegDeleteTreeA(HKEY_CLASSES_ROOT, "SorbLuaTestPage");
  if (hadHtml)
    RegSetValueA(HKEY_CLASSES_ROOT, ".html", REG_SZ, previous, 0);
  else
    RegDeleteTreeA(HKEY_CLASSES_ROOT, ".html");
  EXPECT_EQ(page, opened);
  EXPECT_FALSE(errorBox);
}
