// The configuration dialog as the IDE opens it: SorbLua.dll loaded by file
// name, DebugConfigure run modally while a second thread plays the user, and
// the settings read back through DebugInfo.
#include <windows.h>
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "desktop.hpp"
#include "fixture.hpp"

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

// The controls by their template ids, and slots of DebugInfo's eighteen.
enum { EXECUTABLE = 3001, DISPLAY_BOX = 2000, HELP_BUTTON = 9, CAPTION_STEP = 4804, COMMAND_HELP = 5815,
       COMMAND_BREAKINFO = 5819 };
enum { SLOT_STEP = 2, SLOT_HELP = 13, SLOT_BREAKINFO = 17 };

static const char TITLE[] = "Debugger Configuration - Lua Debugger Interface";

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

// Each test loads its own copy of the plug-in, named after the test: the
// settings profile is named after the module and the help page is looked
// for beside it.
class ConfigDialog : public Plugin {
 protected:
  void SetUp() override {
    Plugin::SetUp();
    ASSERT_TRUE(hasWindowDriver()) << "no window driver: the display did not answer";
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
    int code = p.DebugConfigure(NULL, dll.c_str());
    other.join();
    EXPECT_TRUE(found) << "no window titled \"" << TITLE << "\"";
    return code;
  }

  // The plug-in's settings in memory, as the IDE asks for them.
  HostDebugInfo memory() {
    HostDebugInfo record = {};
    record.size = sizeof record;
    EXPECT_EQ(1, p.DebugInfo(&record));
    return record;
  }
  // The profile as the plug-in reads it when it is loaded again.
  HostDebugInfo onDisk() {
    hostUnload(&p);
    load();
    return memory();
  }
  void put(const char* section, const char* key, const char* value) {
    ASSERT_TRUE(WritePrivateProfileStringA(section, key, value, ini.c_str()));
  }
};

// Ok stores what was typed, cut to the fields' widths, an emptied word as
// empty, writes the rest back as it was (keys not in the dialog included)
// and adds the missing keys, in memory and in the file alike. Cancel after
// edits leaves both as they were.
TEST_F(ConfigDialog, OkStoresWhatWasEnteredCutToTheFieldsAndCancelChangesNothing) {
  put("EXEC", "OPTIONS", "-v");
  put("CMD", "CMD_STEP", "into");
  put("INFO", "INFO_QUIT", "bye");
  HostDebugInfo want = onDisk();
  EXPECT_EQ("-v|into|bye", std::string(want.options) + "|" + want.cmd[SLOT_STEP] + "|" + want.infoQuit);
  const std::string caption(40, 'c'), command(60, 'm'), exe = std::string(294, 'e') + "\\x.exe";
  EXPECT_EQ(1, run([&](HWND dlg) {
    type(dlg, CAPTION_STEP, caption);
    type(dlg, COMMAND_BREAKINFO, command);
    type(dlg, EXECUTABLE, exe);
    type(dlg, COMMAND_HELP, "");
    click(dlg, DISPLAY_BOX);
    click(dlg, IDOK);
  }));
  memset(want.cmd[SLOT_HELP], 0, sizeof want.cmd[SLOT_HELP]);
  strcpy(want.txt[SLOT_STEP], caption.substr(0, 25).c_str());
  strcpy(want.cmd[SLOT_BREAKINFO], command.substr(0, 55).c_str());
  strcpy(want.executable, exe.substr(0, 256).c_str());
  want.display = 0;
  HostDebugInfo now = memory(), disk = onDisk();
  EXPECT_EQ(0, memcmp(&want, &now, sizeof want));
  EXPECT_EQ(0, memcmp(&want, &disk, sizeof want));
  EXPECT_NE(std::string::npos, fileText(ini).find("\nTXT_RUN=&Run\r\n"));

  std::string file = fileText(ini);
  bool shownOff = false;  // the stored 0
  EXPECT_EQ(2, run([&](HWND dlg) {
    shownOff = IsDlgButtonChecked(dlg, DISPLAY_BOX) == BST_UNCHECKED;
    type(dlg, 5804, "stepping");
    type(dlg, CAPTION_STEP, "Step");
    type(dlg, EXECUTABLE, "other.exe");
    click(dlg, DISPLAY_BOX);
    click(dlg, IDCANCEL);
  }));
  now = memory();
  EXPECT_TRUE(shownOff);
  EXPECT_EQ(0, memcmp(&want, &now, sizeof want));
  EXPECT_EQ(file, fileText(ini));
}

// Without a profile the dialog shows the defaults (also the picture of the
// dialog a user first sees) and looking writes nothing. Help without the
// page beside the module: the message box, owned by the dialog, which stays
// open. With the page there it goes to the shell: a stand-in browser (this
// program, registered for ".html" meanwhile) records what it was given.
TEST_F(ConfigDialog, ShowsTheDefaultsAndHelpFailsWithoutThePageAndOpensItOnceThere) {
  const std::string page = runDir + "\\plugins\\SorbLua.html", pageFiles[] = {page, page + ".opened"};
  for (const std::string& f : pageFiles) DeleteFileA(f.c_str());  // a failed run's
  char previous[256] = "";
  LONG size = sizeof previous;
  bool hadHtml = RegQueryValueA(HKEY_CLASSES_ROOT, ".html", previous, &size) == ERROR_SUCCESS;
  std::string browser = "\"" + runDir + "\\test_config_dialog.exe\" --open-page \"%1\"";
  RegSetValueA(HKEY_CLASSES_ROOT, ".html", REG_SZ, "SorbLuaTestPage", 0);
  RegSetValueA(HKEY_CLASSES_ROOT, "SorbLuaTestPage\\shell\\open\\command", REG_SZ, browser.c_str(), 0);

  HostDebugInfo defaults = memory();
  EXPECT_EQ("exit|%s %d %s|1", std::string(defaults.infoQuit) + "|" + defaults.infoBreakFmt + "|" +
                                   std::to_string(defaults.display));
  std::string message = "<no box>", opened = "<missing>", shown;
  bool owned = false, open = false, copied = false, errorBox = true;
  bool pictured = false;
  run([&](HWND dlg) {
    shown = text(dlg, EXECUTABLE) + "|" + text(dlg, 3002) + "|" + text(dlg, 3003);
    for (int n = 1; n <= 19; n++)
      if (n != 2) shown += "|" + text(dlg, 4800 + n) + "=" + text(dlg, 5800 + n);
    pictured = screenshot(dlg, runDir + "\\config_dialog.bmp");
    PostMessageA(GetDlgItem(dlg, HELP_BUTTON), BM_CLICK, 0, 0);
    if (HWND box = ownWindow("Ravel Help")) {
      message = boxText(box);
      owned = GetWindow(box, GW_OWNER) == dlg;
      SendMessageA(GetDlgItem(box, IDOK), BM_CLICK, 0, 0);
      for (int i = 0; i < 3000 && IsWindow(box); i++) Sleep(10);
    }
    open = IsWindowVisible(dlg);
    copied = CopyFileA((runDir + "\\SorbLua.html").c_str(), page.c_str(), FALSE);
    click(dlg, HELP_BUTTON);
    for (int i = 0; i < 6000 && opened == "<missing>"; i++, Sleep(10))
      opened = fileText(page + ".opened");
    errorBox = ownWindow("Ravel Help", 0) != NULL;
    click(dlg, IDCANCEL);
  });
  RegDeleteTreeA(HKEY_CLASSES_ROOT, "SorbLuaTestPage");
  for (const std::string& f : pageFiles) DeleteFileA(f.c_str());
  hadHtml ? RegSetValueA(HKEY_CLASSES_ROOT, ".html", REG_SZ, previous, 0)
          : RegDeleteTreeA(HKEY_CLASSES_ROOT, ".html");
  EXPECT_EQ("SorbLua.exe|||&Run=run|&Continue=run|&Step In=step|Step &Over=over|Step Ou&t=out|"
            "&Stop=exit|&Globals=glob|&Variables=vars|&Locals=locs|S&tack=trace|&Dump=dump|"
            "&Watch=setw|En&vironment=fenv|&Help=help|&Set=setb|&Delete=delb|Delete &All=delallb|"
            "&List=listb",
            shown);
  EXPECT_EQ("<missing>", fileText(ini));  // looking writes nothing
  EXPECT_TRUE(pictured);
  EXPECT_EQ(page + "\n\nUnexpected error loading the debugger help file.", message);
  EXPECT_TRUE(owned && open && copied);
  EXPECT_EQ(page, opened);
  EXPECT_FALSE(errorBox);
}

// The template as the module carries it, a line for the dialog and one per
// control, sorted (the template's order of controls is free), held against
// config_dialog.golden beside the test.
// Reads words, DWORD-aligned items and "sz or ordinal" fields in order: every
// read below sits in a << chain, which C++17 evaluates left to right.
struct Reader {
  const BYTE* base;
  const BYTE* p;
  WORD word() { WORD w = *(const WORD*)p; p += 2; return w; }
  std::string hex() {
    char b[16];
    snprintf(b, sizeof b, "%08lx", *(const DWORD*)p);
    p += 4;
    return b;
  }
  std::string text() {
    std::string s = "\"";
    for (WORD c; (c = word()) != 0;) s += (char)c;
    return s + "\"";
  }
  std::string textOrOrdinal() {
    if (*(const WORD*)p != 0xFFFF) return text();
    p += 2;
    return "#" + std::to_string(word());
  }
  std::string rect() {
    std::ostringstream out;
    out << "at " << (short)word() << "," << (short)word() << " " << (short)word() << "x" << (short)word();
    return out.str();
  }
  void align() { p = base + ((p - base + 3) & ~3); }
};

static std::string dumpTemplate(const BYTE* base) {
  Reader r{base, base};
  std::ostringstream head;
  head << "dialog " << r.word() << " " << r.word() << " help " << r.hex() << " exstyle " << r.hex()
       << " style " << r.hex();
  int count = r.word();
  head << " " << r.rect() << " menu " << r.textOrOrdinal() << " class " << r.textOrOrdinal()
       << " title " << r.text() << " font " << r.word() << " " << r.hex() << " " << r.text() << "\n";
  std::vector<std::string> lines;
  for (int i = 0; i < count; i++) {
    r.align();
    std::ostringstream line;
    line << "help " << r.hex() << " exstyle " << r.hex() << " style " << r.hex() << " " << r.rect();
    std::string rest = line.str();
    int id = (int)*(const DWORD*)r.p;
    r.p += 4;
    std::string cls = r.textOrOrdinal();
    lines.push_back(std::to_string(id) + " " + cls + " " + rest + " " + r.textOrOrdinal() + "\n");
    r.p += r.word();  // creation data
  }
  std::sort(lines.begin(), lines.end());
  for (const std::string& l : lines) head << l;
  return head.str();
}

TEST_F(ConfigDialog, TemplateIsTheGoldenOne) {
  HRSRC found = FindResourceExA(p.dll, RT_DIALOG, "RAVEL_CONFIGURE", 3081);
  ASSERT_TRUE(found);
  EXPECT_EQ(fileText(runDir + "\\config_dialog.golden"),
            dumpTemplate((const BYTE*)LockResource(LoadResource(p.dll, found))));
}
