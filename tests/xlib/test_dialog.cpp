// Real windows and dialogs under the display server. Modal runs are driven
// from a second thread as a user would: typing, clicks, the close box, keys.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "cCrash.hpp"
#include "cError.hpp"
#include "xApp.hpp"
#include "xDialog.hpp"

enum { TEST_DIALOG = 101, EDIT = 1001, CHECK = 1002, OTHER = 1003 };

static const char LOG[] = "xlib_dialog.log";

// Without a window manager Wine waits two seconds for every visible window to
// be withdrawn when it goes; windows it manages itself are not waited for.
// Set before the first window, for this program only.
static struct Unmanaged {
  Unmanaged() {
    if (!GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version")) return;
    HKEY key;
    const char* path = "Software\\Wine\\AppDefaults\\test_dialog.exe\\X11 Driver";
    if (RegCreateKeyExA(HKEY_CURRENT_USER, path, 0, NULL, 0, KEY_SET_VALUE, NULL, &key, NULL))
      return;
    RegSetValueExA(key, "Managed", 0, REG_SZ, (const BYTE*)"N", 2);
    RegCloseKey(key);
  }
} unmanaged;

static std::string logText() {
  std::ifstream in(LOG);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

static bool logged(const char* source, int line) {
  char key[64];
  snprintf(key, sizeof key, "\"%s\" (%d)", source, line);
  return logText().find(key) != std::string::npos;
}

// A visible top-level window of the class and title, or 0 after a while.
static HWND waitFor(const char* cls, const char* title) {
  for (int i = 0; i < 500; i++) {
    HWND h = FindWindowA(cls, title);
    if (h && IsWindowVisible(h)) return h;
    Sleep(10);
  }
  return 0;
}

// Reads and dismisses the framework's error box; its text, or "" if none came.
static std::string answerErrorBox() {
  HWND box = waitFor("#32770", "Exception");
  if (!box) return "";
  char text[256] = "";
  GetDlgItemTextA(box, 0xFFFF, text, sizeof text);
  PostMessageA(box, WM_COMMAND, IDOK, 0);
  return text;
}

// The hidden owner of the modal runs.
static xWindow* owner() {
  static xWindow* window = 0;
  if (!window) {
    window = new xWindow;
    window->create(0, "xlib owner", WS_POPUP, xRect{0, 0, 50, 50});
  }
  return window;
}

// A dialog that records what reaches it; the statics survive its deletion.
struct Probe : xDialog {
  static int deleted;
  static UINT lastMessage, messageAtDelete;
  static std::string typed;
  int oks = 0, cancels = 0, helps = 0, c89 = 0, inits = 0;
  std::vector<int> defaultIds;

  Probe(xWindowObject* parent, const xResource& r) : xDialog(parent, r) {}
  Probe(xWindowObject* parent, const xResource& r, unsigned flags) : xDialog(parent, r, flags) {}
  ~Probe() override {
    deleted++;
    messageAtDelete = lastMessage;
  }
  void windowProc(xMessage& msg) override {
    lastMessage = msg.message;
    xDialog::windowProc(msg);
  }
  void defaultProcessing(xMessage& msg) override {
    if (msg.message == WM_COMMAND) defaultIds.push_back(msg.commandId());
    xDialog::defaultProcessing(msg);
  }
  bool onInitDialog(WPARAM focus) override {
    inits++;
    return xDialog::onInitDialog(focus);
  }
  void onOK(int id) override {
    oks++;
    typed = getItemText(EDIT).text();
    xDialog::onOK(id);
  }
  void onCancel(int id) override {
    cancels++;
    xDialog::onCancel(id);
  }
  void onHelp(int id) override {
    helps++;
    xDialog::onHelp(id);
  }
  void onCommand89(int id) override {
    c89++;
    xDialog::onCommand89(id);
  }
  void spoilTag(bool spoil) { tag_ = spoil ? 0 : TAG; }
};
int Probe::deleted = 0;
UINT Probe::lastMessage = 0;
UINT Probe::messageAtDelete = 0;
std::string Probe::typed;

class Dialogs : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    DeleteFileA(LOG);
    setLogPath(LOG);
  }
  void SetUp() override {
    owner();
    Probe::deleted = 0;
    tableBefore = xWindowObject::tableCount();
  }
  int tableBefore = 0;
};

TEST_F(Dialogs, HandleTableLookups) {
  xWindow a, b;
  ASSERT_TRUE(a.create(0, "xlib a", WS_POPUP, xRect{0, 0, 10, 10}));
  ASSERT_TRUE(b.create(0, "xlib b", WS_POPUP, xRect{0, 0, 10, 10}));
  HWND ha = a.getHandle();
  EXPECT_EQ(&a, xWindowObject::fromHandle(ha));
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(0));
  xWindowObject::attach(ha, &b);  // already present: unchanged
  EXPECT_EQ(&a, xWindowObject::fromHandle(ha));
  xWindowObject::detach(ha);  // also drops the cached hit
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(ha));
  xWindowObject::attach(ha, &a);
  EXPECT_EQ(&a, xWindowObject::fromHandle(ha));
  b.destroyWindow();
  EXPECT_EQ(tableBefore + 1, xWindowObject::tableCount());
  EXPECT_FALSE(b.isCreated());
}

TEST_F(Dialogs, StaleEntryWithoutTagIsIgnored) {
  Probe d(owner(), TEST_DIALOG);
  ASSERT_TRUE(d.create());
  HWND h = d.getHandle();
  xWindowObject::fromHandle(owner()->getHandle());  // the cache holds another window
  d.spoilTag(true);
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(h));
  EXPECT_EQ(0, SendMessageA(h, WM_COMMAND, IDCANCEL, 0));
  EXPECT_EQ(0, d.cancels);
  EXPECT_TRUE(IsWindow(h));
  d.spoilTag(false);
  SendMessageA(h, WM_COMMAND, IDCANCEL, 0);
  EXPECT_EQ(1, d.cancels);
  EXPECT_FALSE(IsWindow(h));
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
}

TEST_F(Dialogs, ModalOkDeletesAutoDeleteDialogOnceAtFinalDestroy) {
  Probe* d = new Probe(owner(), TEST_DIALOG);
  d->setModal(true);
  d->setAutoDelete(true);
  d->setText("xlib ok");
  int code = 77;
  std::thread user([] {
    HWND h = waitFor("#32770", "xlib ok");
    SetDlgItemTextA(h, EDIT, "typed text");
    SendMessageA(GetDlgItem(h, IDOK), BM_CLICK, 0, 0);
  });
  EXPECT_TRUE(d->doModal(true, &code));
  user.join();
  EXPECT_EQ(1, code);
  EXPECT_EQ("typed text", Probe::typed);
  EXPECT_EQ(1, Probe::deleted);
  EXPECT_EQ((UINT)WM_NCDESTROY, Probe::messageAtDelete);
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
  EXPECT_EQ(nullptr, xDialogBase::active);
}

TEST_F(Dialogs, CloseBoxEscapeAndCancelEndWithCode2) {
  const char* titles[] = {"xlib close box", "xlib escape", "xlib cancel"};
  for (int way = 0; way < 3; way++) {
    Probe::deleted = 0;
    Probe d(owner(), TEST_DIALOG);
    d.setModal(true);
    d.setText(titles[way]);
    int code = 0;
    std::thread user([&] {
      HWND h = waitFor("#32770", titles[way]);
      if (way == 0) SendMessageA(h, WM_SYSCOMMAND, SC_CLOSE, 0);
      if (way == 1) PostMessageA(GetDlgItem(h, EDIT), WM_KEYDOWN, VK_ESCAPE, 0);
      if (way == 2) SendMessageA(GetDlgItem(h, IDCANCEL), BM_CLICK, 0, 0);
    });
    d.doModal(true, &code);
    user.join();
    EXPECT_EQ(2, code) << titles[way];
    EXPECT_EQ(1, d.cancels) << titles[way];
    EXPECT_FALSE(d.isOK());
    EXPECT_TRUE(d.isClosing());
    EXPECT_FALSE(d.isCreated());
    EXPECT_EQ(0, Probe::deleted);  // kept alive by its owner
  }
}

static int helpAsked = 0;
static void recordHelp(int id) { helpAsked = id; }

TEST_F(Dialogs, CommandRouting) {
  Probe d(owner(), TEST_DIALOG);
  d.setModal(true);
  d.setText("xlib commands");
  xApplication::setHelpHandler(recordHelp);
  helpAsked = 0;
  bool stillOpen = false;
  std::thread user([&] {
    HWND h = waitFor("#32770", "xlib commands");
    SendMessageA(h, WM_COMMAND, 0, 0);
    SendMessageA(h, WM_COMMAND, 89, 0);
    SendMessageA(h, WM_COMMAND, 9, 0);
    SendMessageA(h, WM_COMMAND, OTHER, 0);
    stillOpen = IsWindow(h);
    SendMessageA(h, WM_COMMAND, IDCANCEL, 0);
  });
  d.doModal(true);
  user.join();
  xApplication::setHelpHandler(0);
  EXPECT_TRUE(stillOpen);
  EXPECT_EQ(1, d.c89);
  EXPECT_EQ(1, d.helps);
  EXPECT_EQ(TEST_DIALOG, helpAsked);
  EXPECT_EQ(0, d.oks);
  EXPECT_EQ(1, d.cancels);
  // Only the unknown id falls through to default processing; id 0 reaches nothing.
  for (int id : {0, 89, 9, IDCANCEL})
    EXPECT_EQ(0, (int)std::count(d.defaultIds.begin(), d.defaultIds.end(), id)) << id;
  EXPECT_EQ(1, (int)std::count(d.defaultIds.begin(), d.defaultIds.end(), OTHER));
}

// Exercises the item helpers while the window exists and ends at once.
struct ItemProbe : xDialog {
  int cut = -1, checked = -1;
  std::string head, whole, empty = "not read";
  ItemProbe() : xDialog(owner(), xResource("XTEST_NAMED")) { setModal(true); }
  bool onInitDialog(WPARAM) override {
    setItemText(EDIT, "abcdef");
    char buffer[8] = "";
    cut = getItemText(EDIT, buffer, 4);
    head = buffer;
    whole = getItemText(EDIT).text();
    setItemText(EDIT, "");
    empty = getItemText(EDIT).text();
    sendItemMessage(CHECK, BM_SETCHECK, BST_CHECKED);
    checked = (int)sendItemMessage(CHECK, BM_GETCHECK);
    endDialog(1);
    return false;
  }
};

TEST_F(Dialogs, NamedTemplateAndItemHelpers) {
  ItemProbe d;
  EXPECT_GE(d.helpId(), 0x10000);  // above every numeric id, and stable
  EXPECT_EQ(d.helpId(), xResource("XTEST_NAMED").objectId());
  EXPECT_EQ(TEST_DIALOG, xResource(MAKEINTRESOURCEA(TEST_DIALOG)).objectId());
  char buffer[8] = "keep";
  EXPECT_EQ(0, d.getItemText(EDIT, buffer, sizeof buffer));  // no window yet
  EXPECT_STREQ("keep", buffer);
  int code = 0;
  d.doModal(true, &code);
  EXPECT_EQ(1, code);
  EXPECT_EQ(3, d.cut);
  EXPECT_EQ("abc", d.head);
  EXPECT_EQ("abcdef", d.whole);
  EXPECT_EQ("", d.empty);
  EXPECT_EQ(BST_CHECKED, d.checked);
}

TEST_F(Dialogs, ModalFailuresAreReported) {
  Probe* missing = new Probe(owner(), xResource("NO_SUCH_TEMPLATE"));
  missing->setModal(true);
  missing->setAutoDelete(true);
  int code = 77;
  std::string text;
  std::thread user([&] { text = answerErrorBox(); });
  EXPECT_TRUE(missing->doModal(true, &code));
  user.join();
  EXPECT_EQ("Dialog creation failed!", text);
  EXPECT_EQ(77, code);  // never written
  EXPECT_TRUE(logged("xDialog", 561));
  EXPECT_EQ(1, Probe::deleted);  // it never had a window to be deleted with

}

TEST_F(Dialogs, ModelessFailuresAreReported) {
  Probe missing(owner(), xResource("NO_SUCH_TEMPLATE"));
  std::string text;
  std::thread user([&] { text = answerErrorBox(); });
  EXPECT_FALSE(missing.create());
  user.join();
  EXPECT_EQ("xDialog create failed!", text);
  EXPECT_TRUE(logged("xDialog", 338));

  Probe modal(owner(), TEST_DIALOG);
  modal.setModal(true);
  EXPECT_FALSE(modal.create());
  EXPECT_FALSE(modal.isCreated());
  EXPECT_TRUE(logged("xDialog", 313));

  HWND orphan = CreateDialogParamA(xApplication::instance(), MAKEINTRESOURCEA(TEST_DIALOG),
                                   owner()->getHandle(), xDialogBase::dialogProc, 0);
  EXPECT_TRUE(logged("xDialog", 67));
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(orphan));
  DestroyWindow(orphan);

  Probe bad(owner(), TEST_DIALOG);
  ASSERT_TRUE(bad.create());
  EXPECT_THROW(bad.endDialog(-1), Exception);
  EXPECT_TRUE(logged("xDialog", 377));
  EXPECT_TRUE(bad.isCreated());
  bad.endDialog(2);
  EXPECT_FALSE(bad.isCreated());

  bad.setText("kept");
  bad.setText(nullptr);
  EXPECT_TRUE(logged("xWinobj", 800));
  EXPECT_STREQ("kept", bad.cachedText().text());
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
}

TEST_F(Dialogs, ModelessLifeCycle) {
  Probe kept(owner(), TEST_DIALOG);
  for (int run = 0; run < 2; run++) {  // an object kept alive can be shown again
    ASSERT_TRUE(kept.create());
    EXPECT_EQ(2, kept.endCode());
    EXPECT_FALSE(kept.isClosing());
    EXPECT_EQ(&kept, xWindowObject::fromHandle(kept.getHandle()));
    EXPECT_TRUE(kept.endDialog(1));
    EXPECT_FALSE(kept.isCreated());
    EXPECT_EQ((HWND)0, kept.getHandle());
    EXPECT_TRUE(kept.isOK());
  }
  EXPECT_EQ(2, kept.inits);
  EXPECT_EQ(0, Probe::deleted);

  // With a layout: auto-delete, and Escape works through the application's
  // keyboard handling.
  Probe* self = new Probe(owner(), TEST_DIALOG, 0);
  ASSERT_TRUE(self->create());
  HWND h = self->getHandle();
  PostMessageA(GetDlgItem(h, EDIT), WM_KEYDOWN, VK_ESCAPE, 0);
  for (int i = 0; i < 100 && Probe::deleted == 0; i++) {
    xApplication::pump();
    Sleep(5);
  }
  EXPECT_EQ(1, Probe::deleted);
  EXPECT_EQ((UINT)WM_NCDESTROY, Probe::messageAtDelete);
  EXPECT_FALSE(IsWindow(h));
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
}

struct Companion : xWindow {
  int created = 0, activated = 0;
  void onCompanion(xWindowObject*, int event) override {
    if (event == COMPANION_CREATED) created++;
    if (event == COMPANION_ACTIVATED) activated++;
  }
};

static bool layered(HWND h, BYTE* alpha) {
  if (!(GetWindowLongA(h, GWL_EXSTYLE) & WS_EX_LAYERED)) return false;
  DWORD flags = 0;
  GetLayeredWindowAttributes(h, NULL, alpha, &flags);
  return true;
}

TEST_F(Dialogs, TransparencyAndActivation) {
  Probe d(owner(), TEST_DIALOG);
  Companion c;
  d.setCompanion(&c);
  ASSERT_TRUE(d.create());
  HWND h = d.getHandle();
  EXPECT_EQ(1, c.created);
  BYTE alpha = 0;
  EXPECT_TRUE(d.setTransparent(true, 100));
  EXPECT_TRUE(layered(h, &alpha));
  EXPECT_EQ(100, alpha);
  EXPECT_TRUE(d.setTransparent(false));
  EXPECT_FALSE(layered(h, &alpha));
  xWindowBase::transparencyForbidden = true;
  EXPECT_FALSE(d.setTransparent(true, 50));
  EXPECT_FALSE(layered(h, &alpha));
  xWindowBase::transparencyForbidden = false;

  d.setTransparentWhenInactive(true);
  xWindowBase::inactiveTransparency = true;
  SendMessageA(h, WM_ACTIVATE, WA_INACTIVE, 0);
  EXPECT_TRUE(layered(h, &alpha));
  EXPECT_EQ(120, alpha);
  EXPECT_EQ(nullptr, xDialogBase::active);
  SendMessageA(h, WM_ACTIVATE, WA_ACTIVE, 0);
  EXPECT_FALSE(layered(h, &alpha));
  EXPECT_EQ(&d, xDialogBase::active);
  EXPECT_LE(1, c.activated);
  xWindowBase::inactiveTransparency = false;

  d.endDialog(2);
  EXPECT_EQ(nullptr, xDialogBase::active);
  EXPECT_FALSE(d.setTransparent(true, 50));  // no window
}

static RECT windowRect(HWND h) {
  RECT r;
  GetWindowRect(h, &r);
  return r;
}

TEST_F(Dialogs, CentredOverVisibleParentElseOnItsMonitor) {
  xWindow parent;
  ASSERT_TRUE(parent.create(0, "xlib parent", WS_POPUP | WS_VISIBLE, xRect{100, 100, 600, 400}));
  Probe over(&parent, TEST_DIALOG, xLayout::CENTER);
  over.setAutoDelete(false);
  ASSERT_TRUE(over.create());
  RECT r = windowRect(over.getHandle());
  EXPECT_EQ(100 + (600 - (r.right - r.left)) / 2, r.left);
  EXPECT_EQ(100 + (400 - (r.bottom - r.top)) / 2, r.top);
  over.endDialog(1);

  Probe alone(owner(), TEST_DIALOG, xLayout::CENTER);  // its owner is hidden
  alone.setAutoDelete(false);
  ASSERT_TRUE(alone.create());
  r = windowRect(alone.getHandle());
  const xMonitor& m = xMonitors::system().findNearest(xPoint{r.left, r.top});
  EXPECT_EQ(m.cx / 2 - (r.right - r.left) / 2 + m.x, r.left);
  EXPECT_EQ(m.cy / 2 - (r.bottom - r.top) / 2 + m.y, r.top);
  alone.endDialog(1);
}

TEST_F(Dialogs, SystemMonitors) {
  xMonitors& m = xMonitors::system();
  ASSERT_GE(m.count(), 1);
  const xRect& s = m.screen();
  EXPECT_EQ(GetSystemMetrics(SM_XVIRTUALSCREEN), s.x);
  EXPECT_EQ(GetSystemMetrics(SM_CXVIRTUALSCREEN), s.cx);
  POINT p = {10, 10};
  EXPECT_EQ((unsigned)(UINT_PTR)MonitorFromPoint(p, MONITOR_DEFAULTTONEAREST),
            m.findNearest(xPoint{10, 10}).handle);

  xWindow* lost = new xWindow(0u);  // layout, auto-delete
  ASSERT_TRUE(lost->create(0, "xlib lost", WS_POPUP, xRect{-5000, 10, 200, 100}));
  HWND h = lost->getHandle();
  m.limitWindowToScreen(lost);
  EXPECT_EQ(s.x, windowRect(h).left);
  EXPECT_EQ(10, windowRect(h).top);
  DestroyWindow(h);
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
}

// A window whose creation is refused, and the close sequence without windows.
struct Node : xWindow {
  static int deleted;
  bool refuse = false;
  Node() {}
  explicit Node(unsigned flags) : xWindow(flags) {}
  ~Node() override { deleted++; }
  LRESULT onCreate(CREATESTRUCTA*) override { return refuse ? -1 : 0; }
};
int Node::deleted = 0;

TEST_F(Dialogs, CloseSequenceAndAutoDeleteMarks) {
  Node::deleted = 0;
  Node* refused = new Node(0u);
  refused->refuse = true;
  EXPECT_FALSE(refused->create(0, "xlib refused", WS_POPUP, xRect{0, 0, 10, 10}));
  EXPECT_EQ(1, Node::deleted);
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());

  // Auto-delete parent without a window: deleted at once; a kept child leaves.
  Node* parent = new Node(0u);
  Node kept;
  Node* marked = new Node(0u);
  kept.setParent(parent);
  marked->setParent(parent);
  EXPECT_EQ(2, parent->childCount());
  EXPECT_TRUE(parent->closeWindow());
  EXPECT_EQ(2, Node::deleted);
  EXPECT_EQ(nullptr, kept.parent());
  EXPECT_EQ(nullptr, marked->parent());
  delete marked;

  // Kept parent: left alone, its children lose the mark.
  Node owner2;
  Node* child = new Node(0u);
  child->setParent(&owner2);
  EXPECT_TRUE(owner2.closeWindow());
  EXPECT_TRUE(owner2.isClosing());
  EXPECT_FALSE(child->isAutoDelete());
  owner2.setAutoDelete(true);  // recursive
  EXPECT_TRUE(child->isAutoDelete());
  owner2.setAutoDelete(false);
  EXPECT_FALSE(child->isAutoDelete());
  delete child;
  EXPECT_EQ(0, owner2.childCount());
}

// Placement records in a real profile file.
class Placement : public Dialogs {
 protected:
  void SetUp() override {
    Dialogs::SetUp();
    char dir[MAX_PATH];
    GetTempPathA(sizeof dir, dir);
    path = std::string(dir) + "xlib_placement.ini";
    DeleteFileA(path.c_str());
  }
  int stored(const char* section, const char* key) {
    return (int)GetPrivateProfileIntA(section, key, -999, path.c_str());
  }
  void store(const char* section, const char* key, int value) {
    WritePrivateProfileStringA(section, key, std::to_string(value).c_str(), path.c_str());
  }
  std::string path;
};

static void expectAt(HWND h, int x, int y, int cx, int cy) {
  RECT r = windowRect(h);
  EXPECT_EQ(x, r.left);
  EXPECT_EQ(y, r.top);
  EXPECT_EQ(cx, r.right - r.left);
  EXPECT_EQ(cy, r.bottom - r.top);
}

TEST_F(Placement, WriteThenReadRestoresTheWindow) {
  xProfile profile(path.c_str());
  xWindow w;
  w.setLayout(new xLayout);
  w.setId(4711);
  ASSERT_TRUE(w.create(0, "xlib placed", WS_POPUP | WS_VISIBLE, xRect{50, 60, 300, 200}));
  EXPECT_TRUE(profile.writeEx(&w));
  EXPECT_EQ(SW_SHOWNORMAL, stored("Object ID: 4711", "State"));
  EXPECT_EQ(50, stored("Object ID: 4711", "X"));
  EXPECT_EQ(60, stored("Object ID: 4711", "Y"));
  EXPECT_EQ(300, stored("Object ID: 4711", "CX"));
  EXPECT_EQ(200, stored("Object ID: 4711", "CY"));

  MoveWindow(w.getHandle(), 400, 300, 100, 100, TRUE);
  EXPECT_TRUE(profile.readEx(&w));
  expectAt(w.getHandle(), 50, 60, 300, 200);
  EXPECT_TRUE(profile.readEx(&w, xPoint{400, 250}));  // at least the default size
  expectAt(w.getHandle(), 50, 60, 400, 250);

  profile.alternate = true;
  EXPECT_TRUE(profile.writeEx(&w));
  EXPECT_EQ(50, stored("Object ID: 13711", "X"));
  profile.alternate = false;

  ShowWindow(w.getHandle(), SW_MINIMIZE);
  ASSERT_TRUE(IsIconic(w.getHandle()));
  EXPECT_FALSE(profile.writeEx(&w));
  EXPECT_EQ(300, stored("Object ID: 4711", "CX"));  // the 400 of now is not written
}

TEST_F(Placement, ReadFallsBackAndNeverRestoresMinimised) {
  xProfile profile(path.c_str());
  xWindow w;
  w.setLayout(new xLayout);
  ASSERT_TRUE(w.create(0, "xlib read", WS_POPUP | WS_VISIBLE, xRect{80, 90, 200, 100}));

  w.setId(4712);  // no record: the window stays where it is
  EXPECT_FALSE(profile.readEx(&w));
  expectAt(w.getHandle(), 80, 90, 200, 100);

  w.setId(4713);
  store("Object ID: 4713", "State", SW_MINIMIZE);
  store("Object ID: 4713", "X", 500);
  EXPECT_TRUE(profile.readEx(&w));
  EXPECT_EQ(SW_RESTORE, w.layout()->showState());
  expectAt(w.getHandle(), 80, 90, 200, 100);

  // A dialog's stored point off the screen comes back; its size is kept.
  w.setId(4714);
  store("Object ID: 4714", "State", SW_SHOWNORMAL);
  store("Object ID: 4714", "X", -3000);
  store("Object ID: 4714", "Y", 50);
  store("Object ID: 4714", "CX", 300);
  store("Object ID: 4714", "CY", 200);
  EXPECT_TRUE(profile.readEx(&w));
  expectAt(w.getHandle(), xMonitors::system().screen().x, 50, 300, 200);
}

TEST_F(Placement, ParentRelativePointsAndDensity) {
  xWindow parent;
  ASSERT_TRUE(parent.create(0, "xlib base", WS_POPUP | WS_VISIBLE, xRect{100, 100, 400, 300}));
  {
    xProfile profile(path.c_str());
    profile.writeMode = true;
    xFrameWindow w;
    w.setLayout(new xLayout);
    w.setId(4720);
    ASSERT_TRUE(w.create(&parent, "xlib owned", WS_POPUP | WS_VISIBLE, xRect{150, 170, 120, 80}));
    EXPECT_TRUE(profile.writeEx(&w));
    EXPECT_EQ(50, stored("Object ID: 4720", "X"));
    EXPECT_EQ(70, stored("Object ID: 4720", "Y"));
    MoveWindow(w.getHandle(), 0, 0, 120, 80, TRUE);
    EXPECT_TRUE(profile.readEx(&w));
    expectAt(w.getHandle(), 150, 170, 120, 80);
  }
  EXPECT_LT(0, stored("DPI", "LastMode"));
}
