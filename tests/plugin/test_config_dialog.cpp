// The configuration dialog as the IDE opens it: SorbLua.dll loaded by file
// name, DebugConfigure run modally while a second thread plays the user, and
// the settings read back through DebugInfo.
#include <windows.h>
#include <shlobj.h>
#include <stdio.h>

#include <atomic>
#include <ostream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host.h"

// Started by the shell as the test's web browser: notes the page it was given.
static const bool browserStandIn = [] {
  if (__argc == 3 && strcmp(__argv[1], "--open-page") == 0) {
    // Written aside, then renamed: the test never reads it half written.
    std::string done = std::string(__argv[2]) + ".opened", part = done + ".part";
    FILE* f = fopen(part.c_str(), "w");
    if (f) fputs(__argv[2], f), fclose(f), MoveFileA(part.c_str(), done.c_str());
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

// The controls by their template ids, and slots of DebugInfo's eighteen.
enum { EXECUTABLE = 3001, DISPLAY_BOX = 2000, HELP_BUTTON = 9, CAPTION_STEP = 4804, COMMAND_BREAKINFO = 5819 };
enum { SLOT_STEP = 2, SLOT_BREAKINFO = 17 };

static const char TITLE[] = "Debugger Configuration - Lua Debugger Interface";

static std::string here() {
  char p[MAX_PATH];
  std::string s(p, GetModuleFileNameA(NULL, p, MAX_PATH));
  return s.substr(0, s.find_last_of('\\'));
}

// A visible window of this process with that title: another test program may
// show the same dialog on the same display. The wait allows for a loaded
// machine that emulates i386.
static HWND ownWindow(const char* title, int waitMs = 30000) {
  for (int waited = 0; waited <= waitMs; waited += 20, Sleep(20))
    for (HWND w = NULL; (w = FindWindowExA(NULL, w, NULL, title)) != NULL;) {
      DWORD pid = 0;
      GetWindowThreadProcessId(w, &pid);
      if (pid == GetCurrentProcessId() && IsWindowVisible(w)) return w;
    }
  return NULL;
}

static std::string text(HWND dlg, int id) {
  char buf[1024] = "";
  GetDlgItemTextA(dlg, id, buf, sizeof buf);
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

static std::string fileBytes(const std::string& path) {
  FILE* f = fopen(path.c_str(), "rb");
  std::string bytes = f ? "" : "<missing>";
  for (int c; f && (c = fgetc(f)) != EOF;) bytes += (char)c;
  return f && fclose(f), bytes;
}

// The window, frame included, as a 24-bit .bmp, read from its own drawing
// surface so that windows of other tests on the display cannot get in the way.
static bool screenshot(HWND w, const std::string& path) {
  RedrawWindow(w, NULL, NULL, RDW_INVALIDATE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
  RECT r;
  GetWindowRect(w, &r);
  int width = r.right - r.left, height = r.bottom - r.top;
  HDC window = GetWindowDC(w), dc = CreateCompatibleDC(window);
  HBITMAP picture = CreateCompatibleBitmap(window, width, height);
  HGDIOBJ old = SelectObject(dc, picture);
  BitBlt(dc, 0, 0, width, height, window, 0, 0, SRCCOPY);
  SelectObject(dc, old);
  BITMAPINFOHEADER head = {sizeof head, width, height, 1, 24, BI_RGB};
  std::vector<char> pixels(((width * 3 + 3) & ~3) * height);
  bool ok = GetDIBits(dc, picture, 0, height, pixels.data(), (BITMAPINFO*)&head, DIB_RGB_COLORS) == height;
  DeleteObject(picture), DeleteDC(dc), ReleaseDC(w, window);
  BITMAPFILEHEADER file = {0x4D42, DWORD(sizeof file + sizeof head + pixels.size()), 0, 0,
                           sizeof file + sizeof head};
  std::string bytes = std::string((char*)&file, sizeof file) + std::string((char*)&head, sizeof head) +
                      std::string(pixels.begin(), pixels.end());
  FILE* f = ok ? fopen(path.c_str(), "wb") : NULL;
  return f && fwrite(bytes.data(), bytes.size(), 1, f) + fclose(f) == 1;
}

static BOOL CALLBACK cancel(HWND w, LPARAM) { return PostMessageA(w, WM_COMMAND, IDCANCEL, 0); }

// Every test loads its own copy of the plug-in, named after the test in a
// folder of its own: the settings profile is named after the module and the
// help page is looked for beside it.
class ConfigDialog : public ::testing::Test {
 protected:
  void SetUp() override {
    name = std::string("Dialog_") + ::testing::UnitTest::GetInstance()->current_test_info()->name();
    char temp[MAX_PATH], appData[MAX_PATH] = "";
    GetTempPathA(MAX_PATH, temp);
    dir = temp + name;
    CreateDirectoryA(dir.c_str(), NULL);
    dll = dir + "\\" + name + ".dll";
    SHGetSpecialFolderPathA(NULL, appData, CSIDL_APPDATA, FALSE);
    ini = std::string(appData) + "\\Brennick\\Tarn\\" + name + ".ini";
    DeleteFileA(ini.c_str());
    ASSERT_TRUE(CopyFileA((here() + "\\SorbLua.dll").c_str(), dll.c_str(), FALSE));
    load();
    ASSERT_TRUE(windowDriver()) << "no window driver: the display did not answer";
  }
  void TearDown() override {
    if (plugin) FreeLibrary(plugin);
    DeleteFileA(dll.c_str());
    DeleteFileA(ini.c_str());
    DeleteFileA((dir + "\\SorbLua.html").c_str());
    DeleteFileA((dir + "\\SorbLua.html.opened").c_str());
    RemoveDirectoryA(dir.c_str());
  }

  // Wine without a ready display: "no driver could be loaded", no window
  // can be made and the dialog would end at once with code 2.
  static bool windowDriver() {
    HWND probe = CreateWindowExA(0, "STATIC", "", WS_POPUP, 0, 0, 1, 1, NULL, NULL, NULL, NULL);
    if (probe) DestroyWindow(probe);
    return probe != NULL;
  }

  // Loading reads the profile (DllMain).
  void load() {
    if (plugin) FreeLibrary(plugin);
    plugin = LoadLibraryA(dll.c_str());
    ASSERT_TRUE(plugin) << dll;
    configure = (decltype(configure))GetProcAddress(plugin, "DebugConfigure");
    info = (decltype(info))GetProcAddress(plugin, "DebugInfo");
    ASSERT_TRUE(configure && info);
  }

  // Runs the dialog here, as the IDE does, while user() acts on it from a
  // second thread. Finding it by its full title checks the title too.
  int run(const std::function<void(HWND)>& user) {
    std::atomic<bool> found(false);
    DWORD self = GetCurrentThreadId();
    std::thread other([&] {
      HWND dlg = ownWindow(TITLE);
      found = dlg != NULL;
      dlg ? user(dlg) : (void)EnumThreadWindows(self, cancel, 0);  // never leave the test stuck
    });
    int code = configure(NULL, dll.c_str());
    other.join();
    EXPECT_TRUE(found) << "no window titled \"" << TITLE << "\"";
    return code;
  }

  // The plug-in's settings in memory, as the IDE asks for them.
  HostDebugInfo memory() {
    HostDebugInfo record = {};
    record.size = sizeof record;
    EXPECT_EQ(1, info ? info(&record) : 0);
    return record;
  }
  // The profile as the plug-in reads it when it is loaded again.
  HostDebugInfo onDisk() {
    load();
    return memory();
  }
  void put(const char* section, const char* key, const char* value) {
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value, ini.c_str()));
  }
  std::string stored(const char* section, const char* key) {
    char buf[600] = "";
    GetPrivateProfileStringA(section, key, "<none>", buf, sizeof buf, ini.c_str());
    return buf;
  }

  HMODULE plugin = NULL;
  decltype(HostPlugin::DebugConfigure) configure = NULL;
  decltype(HostPlugin::DebugInfo) info = NULL;
  std::string name, dir, dll, ini;
};

// Also the picture of the dialog a user first sees.
TEST_F(ConfigDialog, ShowsTheDefaultsWhenThereIsNoProfile) {
  std::string shown, pairTwo;
  bool box = false, pictured = false;
  int code = run([&](HWND dlg) {
    shown = text(dlg, EXECUTABLE) + "|" + text(dlg, 3002) + "|" + text(dlg, 3003);
    for (int n = 1; n <= 19; n++)
      if (n != 2) shown += "|" + text(dlg, 4800 + n) + "=" + text(dlg, 5800 + n);
    pairTwo = GetDlgItem(dlg, 4802) || GetDlgItem(dlg, 5802) ? "pair 2" : "";
    box = IsDlgButtonChecked(dlg, DISPLAY_BOX) == BST_CHECKED;
    pictured = screenshot(dlg, here() + "\\config_dialog.bmp");
    click(dlg, IDCANCEL);
  });
  EXPECT_EQ(2, code);
  EXPECT_EQ("SorbLua.exe|||&Run=run|&Continue=run|&Step In=step|Step &Over=over|Step Ou&t=out|"
            "&Stop=exit|&Globals=glob|&Variables=vars|&Locals=locs|S&tack=trace|&Dump=dump|"
            "&Watch=setw|En&vironment=fenv|&Help=help|&Set=setb|&Delete=delb|Delete &All=delallb|"
            "&List=listb",
            shown);
  EXPECT_EQ("", pairTwo);
  EXPECT_TRUE(box);
  EXPECT_EQ("<missing>", fileBytes(ini));  // looking writes nothing
  EXPECT_TRUE(pictured);
}

// What is typed is cut to the fields' widths, in memory and in the file alike.
TEST_F(ConfigDialog, OkStoresWhatWasEnteredCutToTheFields) {
  const std::string caption(40, 'c'), command(60, 'm'), exe = std::string(294, 'e') + "\\x.exe";
  int code = run([&](HWND dlg) {
    type(dlg, CAPTION_STEP, caption);
    type(dlg, COMMAND_BREAKINFO, command);
    type(dlg, EXECUTABLE, exe);
    click(dlg, DISPLAY_BOX);
    click(dlg, IDOK);
  });
  EXPECT_EQ(1, code);
  HostDebugInfo now = memory();
  EXPECT_EQ(caption.substr(0, 25), now.txt[SLOT_STEP]);
  EXPECT_EQ(command.substr(0, 55), now.cmd[SLOT_BREAKINFO]);
  EXPECT_EQ(exe.substr(0, 256), now.executable);
  EXPECT_EQ(0, now.display);
  EXPECT_EQ("0", stored("EXEC", "DISPLAY"));
  HostDebugInfo disk = onDisk();  // the file holds the same
  EXPECT_EQ(0, memcmp(&disk, &now, sizeof now));
}

TEST_F(ConfigDialog, OkWithoutEditsRewritesTheSameValues) {
  put("EXEC", "OPTIONS", "-v");
  put("EXEC", "DISPLAY", "0");
  put("CMD", "CMD_STEP", "into");
  put("INFO", "INFO_QUIT", "bye");  // not in the dialog, kept all the same
  HostDebugInfo before = onDisk();
  EXPECT_EQ(1, run([&](HWND dlg) { click(dlg, IDOK); }));
  HostDebugInfo now = memory(), disk = onDisk();
  EXPECT_EQ(0, memcmp(&before, &now, sizeof before));
  EXPECT_EQ(0, memcmp(&before, &disk, sizeof before));
  EXPECT_EQ("&Run", stored("TXT", "TXT_RUN"));  // missing keys are written out
}

TEST_F(ConfigDialog, CancelAfterEditsKeepsMemoryAndFile) {
  put("CMD", "CMD_STEP", "into");
  put("EXEC", "DISPLAY", "1");
  std::string file = fileBytes(ini);
  HostDebugInfo before = onDisk();
  int code = run([&](HWND dlg) {
    type(dlg, 5804, "stepping");
    type(dlg, CAPTION_STEP, "Step");
    type(dlg, EXECUTABLE, "other.exe");
    click(dlg, DISPLAY_BOX);
    click(dlg, IDCANCEL);
  });
  EXPECT_EQ(2, code);
  HostDebugInfo now = memory();
  EXPECT_EQ(0, memcmp(&before, &now, sizeof before));
  EXPECT_EQ(file, fileBytes(ini));
}

// Help without the page beside the module: the message box, owned by the
// dialog, which stays open.
TEST_F(ConfigDialog, HelpWithoutThePageShowsTheErrorAndStaysOpen) {
  std::string message = "<no box>";
  bool owned = false, open = false;
  run([&](HWND dlg) {
    PostMessageA(GetDlgItem(dlg, HELP_BUTTON), BM_CLICK, 0, 0);
    if (HWND box = ownWindow("Ravel Help")) {
      message = text(box, 0xFFFF);
      owned = GetWindow(box, GW_OWNER) == dlg;
      SendMessageA(GetDlgItem(box, IDOK), BM_CLICK, 0, 0);
      for (int i = 0; i < 3000 && IsWindow(box); i++) Sleep(10);
    }
    open = IsWindowVisible(dlg);
    click(dlg, IDCANCEL);
  });
  EXPECT_EQ(dir + "\\SorbLua.html\n\nUnexpected error loading the debugger help file.", message);
  EXPECT_TRUE(owned && open);
}

// The page beside the module goes to the shell: a stand-in browser (this
// program, registered for ".html" meanwhile) records what it was given.
TEST_F(ConfigDialog, HelpOpensThePageBesideTheModule) {
  std::string page = dir + "\\SorbLua.html";
  ASSERT_TRUE(CopyFileA((here() + "\\SorbLua.html").c_str(), page.c_str(), FALSE));
  char previous[256] = "";
  LONG size = sizeof previous;
  bool hadHtml = RegQueryValueA(HKEY_CLASSES_ROOT, ".html", previous, &size) == ERROR_SUCCESS;
  std::string browser = "\"" + here() + "\\test_config_dialog.exe\" --open-page \"%1\"";
  RegSetValueA(HKEY_CLASSES_ROOT, ".html", REG_SZ, "SorbLuaTestPage", 0);
  RegSetValueA(HKEY_CLASSES_ROOT, "SorbLuaTestPage\\shell\\open\\command", REG_SZ, browser.c_str(), 0);

  std::string opened = "<missing>";
  bool errorBox = true;
  run([&](HWND dlg) {
    click(dlg, HELP_BUTTON);
    for (int i = 0; i < 6000 && opened == "<missing>"; i++, Sleep(10))
      opened = fileBytes(page + ".opened");
    errorBox = ownWindow("Ravel Help", 0) != NULL;
    click(dlg, IDCANCEL);
  });
  RegDeleteTreeA(HKEY_CLASSES_ROOT, "SorbLuaTestPage");
  hadHtml ? RegSetValueA(HKEY_CLASSES_ROOT, ".html", REG_SZ, previous, 0)
          : RegDeleteTreeA(HKEY_CLASSES_ROOT, ".html");
  EXPECT_EQ(page, opened);
  EXPECT_FALSE(errorBox);
}

// The template as the module carries it, control by control.
namespace {
struct Control {
  int id;
  WORD cls;  // predefined class atom: 0x80 button, 0x81 edit, 0x82 static
  DWORD style;
  short x, y, cx, cy;
  std::string text;
  bool operator==(const Control& o) const {
    return id == o.id && cls == o.cls && style == o.style && x == o.x && y == o.y &&
           cx == o.cx && cy == o.cy && text == o.text;
  }
};
std::ostream& operator<<(std::ostream& out, const Control& c) {
  return out << c.id << " class " << c.cls << " style " << std::hex << c.style << std::dec
             << " at " << c.x << "," << c.y << " " << c.cx << "x" << c.cy << " \"" << c.text << "\"";
}

// Template reading: words, DWORD-aligned items, "sz or ordinal" fields.
struct Reader {
  const BYTE* p;
  WORD word() { WORD w = *(const WORD*)p; p += 2; return w; }
  DWORD dword() { DWORD d = *(const DWORD*)p; p += 4; return d; }
  std::string text() {
    std::string s;
    for (WORD c; (c = word()) != 0;) s += (char)c;
    return s;
  }
  // An ordinal as "#n", a text as itself, none as "".
  std::string textOrOrdinal() {
    WORD first = *(const WORD*)p;
    if (first == 0xFFFF) return word(), "#" + std::to_string(word());
    return text();
  }
  void align(const BYTE* base) { p = base + ((p - base + 3) & ~3); }
};

const DWORD CHILD = WS_CHILD | WS_VISIBLE;
const DWORD EDIT_STYLE = CHILD | WS_BORDER | WS_TABSTOP | ES_LEFT | ES_AUTOHSCROLL;
const DWORD LABEL_STYLE = CHILD | WS_GROUP | SS_LEFT;

// The layout the configuration dialog is specified with.
std::vector<Control> expectedControls() {
  std::vector<Control> all;
  auto add = [&](int id, WORD cls, DWORD style, short x, short y, short cx, short cy,
                 const char* text) { all.push_back({id, cls, style, x, y, cx, cy, text}); };
  struct Group { const char* name; short y, h, head, shift; std::vector<short> rows; int first; };
  const Group groups[] = {{"Control Option Buttons", 4, 77, 13, 0, {23, 37, 51, 65}, 1},
                          {"Watch Option Buttons", 84, 64, 93, 0, {103, 118, 132}, 10},
                          {"Break Point Buttons", 151, 49, 160, 2, {170, 184}, 16}};
  for (const Group& g : groups) {
    add(-1, 0x80, CHILD | BS_GROUPBOX, 8, g.y, 278, g.h, g.name);
    const short headX[] = {13, 79, 152, 218}, headW[] = {41, 44, 41, 44};
    for (int i = 0; i < 4; i++)
      add(-1, 0x82, LABEL_STYLE, headX[i] + g.shift, g.head, headW[i], 8, i % 2 ? "Command" : "Label");
    int n = g.first;
    for (short y : g.rows)
      for (short x : {13, 152}) {
        add(4800 + n, 0x81, EDIT_STYLE, x, y, 62, 12, "");
        add(5800 + n, 0x81, EDIT_STYLE, x + 66, y, 62, 12, "");
        n += n == 1 ? 2 : 1;  // there is no pair 2
      }
  }
  add(-1, 0x80, CHILD | BS_GROUPBOX, 8, 204, 278, 67, "Debugger Command Line Details");
  add(-1, 0x82, LABEL_STYLE, 25, 217, 38, 8, "Executable:");
  add(-1, 0x82, LABEL_STYLE, 36, 231, 27, 8, "Options:");
  add(-1, 0x82, LABEL_STYLE, 27, 245, 36, 8, "Arguments:");
  for (int i = 0; i < 3; i++) add(3001 + i, 0x81, EDIT_STYLE, 67, 214 + 14 * i, 173, 12, "");
  add(2000, 0x80, CHILD | WS_TABSTOP | BS_AUTOCHECKBOX, 67, 258, 173, 10,
      "Show debugger output window on startup.");
  const char* buttons[] = {"OK", "Cancel", "Help"};
  const int ids[] = {IDOK, IDCANCEL, 9};
  for (int i = 0; i < 3; i++)
    add(ids[i], 0x80, CHILD | WS_TABSTOP | BS_PUSHBUTTON, 8 + 49 * i, 277, 45, 14, buttons[i]);
  return all;
}
}  // namespace

TEST_F(ConfigDialog, TemplateHoldsTheSpecifiedControls) {
  HRSRC found = FindResourceExA(plugin, RT_DIALOG, "RAVEL_CONFIGURE", 3081);
  ASSERT_TRUE(found);
  const BYTE* base = (const BYTE*)LockResource(LoadResource(plugin, found));
  Reader r{base};
  ASSERT_EQ(1, r.word());
  ASSERT_EQ(0xFFFF, r.word());  // the extended form
  EXPECT_EQ(0u, r.dword());     // help id
  EXPECT_EQ((DWORD)WS_EX_DLGMODALFRAME, r.dword());
  EXPECT_EQ((DWORD)(WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFONT), r.dword());
  int count = r.word();
  short frame[4];
  for (short& v : frame) v = (short)r.word();
  EXPECT_EQ("10 10 295 297", std::to_string(frame[0]) + " " + std::to_string(frame[1]) + " " +
                                 std::to_string(frame[2]) + " " + std::to_string(frame[3]));
  EXPECT_EQ("", r.textOrOrdinal());  // menu
  EXPECT_EQ("", r.textOrOrdinal());  // class
  EXPECT_EQ("Debugger Configuration", r.text());
  EXPECT_EQ(8, r.word());
  r.word(), r.word();  // weight, italic and character set
  EXPECT_EQ("MS Sans Serif", r.text());

  std::vector<Control> got;
  for (int i = 0; i < count; i++) {
    r.align(base);
    Control c;
    r.dword(), r.dword();  // help id, extended style
    c.style = r.dword();
    c.x = r.word(), c.y = r.word(), c.cx = r.word(), c.cy = r.word();
    c.id = (int)r.dword();
    std::string cls = r.textOrOrdinal();
    c.cls = cls[0] == '#' ? (WORD)std::stoi(cls.substr(1)) : 0;
    c.text = r.textOrOrdinal();
    r.p += r.word();  // creation data
    got.push_back(c);
  }
  std::vector<Control> want = expectedControls();
  ASSERT_EQ(62u, want.size());
  ASSERT_EQ(want.size(), got.size());
  // Matched by id and place, so the template's order of controls is free.
  for (const Control& w : want) {
    bool match = false;
    for (const Control& g : got) match = match || g == w;
    EXPECT_TRUE(match) << "missing: " << w;
  }
  for (const Control& g : got) {
    if (g.cls == 0x81) EXPECT_TRUE(g.style & WS_BORDER) << g;
    if (g.cls == 0x80) EXPECT_NE((DWORD)BS_DEFPUSHBUTTON, g.style & 0xF) << g;
  }
}
