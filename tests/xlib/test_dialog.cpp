// Real windows and dialogs under the display server: the framework facts the
// configuration dialog's tests (through the plug-in) cannot show. Modal runs
// are driven from a second thread as a user would.
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
// be withdrawn when it goes, but not for windows it manages itself.
static struct Unmanaged {
  Unmanaged() {
    HKEY key;
    if (!GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version") ||
        RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Wine\\AppDefaults\\test_dialog.exe\\X11 Driver",
                        0, NULL, 0, KEY_SET_VALUE, NULL, &key, NULL))
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

// A visible top-level window of the class and title, or 0 after a while.
static HWND waitFor(const char* cls, const char* title) {
  for (int i = 0; i < 500; i++, Sleep(10))
    if (HWND h = FindWindowA(cls, title))
      if (IsWindowVisible(h)) return h;
  return 0;
}

// Reads and dismisses the framework's error box; its text, or "" if none came.
static std::string answerErrorBox() {
  HWND box = waitFor("#32770", "Exception");
  char text[256] = "";
  if (box) GetDlgItemTextA(box, 0xFFFF, text, sizeof text), PostMessageA(box, WM_COMMAND, IDOK, 0);
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

static RECT windowRect(HWND h) {
  RECT r;
  GetWindowRect(h, &r);
  return r;
}

// A dialog that records what reaches it; the statics survive its deletion.
struct Probe : xDialog {
  static int deleted;
  static UINT lastMessage, messageAtDelete;
  int oks = 0, cancels = 0, helps = 0, c89 = 0, inits = 0;
  std::vector<int> defaultIds;

  Probe(xWindowObject* parent, const xResource& r) : xDialog(parent, r) {}
  Probe(xWindowObject* parent, const xResource& r, unsigned flags) : xDialog(parent, r, flags) {}
  ~Probe() override { deleted++, messageAtDelete = lastMessage; }
  void windowProc(xMessage& msg) override {
    lastMessage = msg.message;
    xDialog::windowProc(msg);
  }
  void defaultProcessing(xMessage& msg) override {
    if (msg.message == WM_COMMAND) defaultIds.push_back(msg.commandId());
    xDialog::defaultProcessing(msg);
  }
  bool onInitDialog(WPARAM focus) override { return inits++, xDialog::onInitDialog(focus); }
  void onOK(int id) override { oks++, xDialog::onOK(id); }
  void onCancel(int id) override { cancels++, xDialog::onCancel(id); }
  void onHelp(int id) override { helps++, xDialog::onHelp(id); }
  void onCommand89(int id) override { c89++, xDialog::onCommand89(id); }
  void spoilTag(bool spoil) { tag_ = spoil ? 0 : TAG; }
};
int Probe::deleted = 0;
UINT Probe::lastMessage = 0;
UINT Probe::messageAtDelete = 0;

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

TEST_F(Dialogs, HandleTableAndStaleEntries) {
  xWindow a, b;
  ASSERT_TRUE(a.create(0, "xlib a", WS_POPUP, xRect{0, 0, 10, 10}));
  ASSERT_TRUE(b.create(0, "xlib b", WS_POPUP, xRect{0, 0, 10, 10}));
  HWND ha = a.getHandle();
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(0));
  xWindowObject::attach(ha, &b);  // already present: unchanged
  EXPECT_EQ(&a, xWindowObject::fromHandle(ha));
  xWindowObject::detach(ha);  // also drops the cached hit
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(ha));
  xWindowObject::attach(ha, &a);
  b.destroyWindow();
  EXPECT_EQ(tableBefore + 1, xWindowObject::tableCount());

  // An entry whose object lost its tag is not trusted, nor are its messages routed.
  Probe d(owner(), TEST_DIALOG);
  ASSERT_TRUE(d.create());
  HWND h = d.getHandle();
  xWindowObject::fromHandle(ha);  // the cache holds another window
  d.spoilTag(true);
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(h));
  EXPECT_EQ(0, SendMessageA(h, WM_COMMAND, IDCANCEL, 0));
  EXPECT_EQ(0, d.cancels);
  d.spoilTag(false);
  SendMessageA(h, WM_COMMAND, IDCANCEL, 0);
  EXPECT_EQ(1, d.cancels);
  EXPECT_FALSE(IsWindow(h));
  EXPECT_EQ(tableBefore + 1, xWindowObject::tableCount());
}

TEST_F(Dialogs, ModalOkDeletesAutoDeleteDialogOnceAtFinalDestroy) {
  Probe* d = new Probe(owner(), TEST_DIALOG);
  d->setModal(true);
  d->setAutoDelete(true);
  d->setText("xlib ok");
  int code = 77;
  std::thread user([] { SendMessageA(GetDlgItem(waitFor("#32770", "xlib ok"), IDOK), BM_CLICK, 0, 0); });
  EXPECT_TRUE(d->doModal(true, &code));
  user.join();
  EXPECT_EQ(1, code);
  EXPECT_EQ(1, Probe::deleted);
  EXPECT_EQ((UINT)WM_NCDESTROY, Probe::messageAtDelete);
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
  EXPECT_EQ(nullptr, xDialogBase::active);
}

static int helpAsked = 0;

TEST_F(Dialogs, CommandRouting) {
  Probe d(owner(), TEST_DIALOG);
  d.setModal(true);
  d.setText("xlib commands");
  xApplication::setHelpHandler([](int id) { helpAsked = id; });
  bool stillOpen = false;
  std::thread user([&] {
    HWND h = waitFor("#32770", "xlib commands");
    for (int id : {0, 89, 9, (int)OTHER}) SendMessageA(h, WM_COMMAND, id, 0);
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
  for (int id : {0, 89, 9, (int)IDCANCEL, (int)OTHER})
    EXPECT_EQ(id == OTHER, std::count(d.defaultIds.begin(), d.defaultIds.end(), id)) << id;
}

// Exercises the item helpers while the window exists and ends at once.
struct ItemProbe : xDialog {
  int cut = -1;
  std::string head, empty = "not read";
  ItemProbe() : xDialog(owner(), xResource("XTEST_NAMED")) { setModal(true); }
  bool onInitDialog(WPARAM) override {
    setItemText(EDIT, "abcdef");
    char buffer[8] = "";
    cut = getItemText(EDIT, buffer, 4);
    head = buffer;
    setItemText(EDIT, "");
    empty = getItemText(EDIT).text();
    endDialog(1);
    return false;
  }
};

TEST_F(Dialogs, NamedTemplateAndItemHelpers) {
  ItemProbe d;
  EXPECT_GE(d.helpId(), 0x10000);  // above every numeric id, and stable
  EXPECT_EQ(d.helpId(), xResource("XTEST_NAMED").objectId());
  char buffer[8] = "keep";
  EXPECT_EQ(0, d.getItemText(EDIT, buffer, sizeof buffer));  // no window yet
  EXPECT_STREQ("keep", buffer);
  int code = 0;
  d.doModal(true, &code);
  EXPECT_EQ(1, code);
  EXPECT_EQ(3, d.cut);
  EXPECT_EQ("abc", d.head);
  EXPECT_EQ("", d.empty);
}

TEST_F(Dialogs, FailuresAreReported) {
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
  EXPECT_EQ(1, Probe::deleted);  // it never had a window to be deleted with

  Probe modeless(owner(), xResource("NO_SUCH_TEMPLATE"));
  user = std::thread([&] { text = answerErrorBox(); });
  EXPECT_FALSE(modeless.create());
  user.join();
  EXPECT_EQ("xDialog create failed!", text);

  Probe modal(owner(), TEST_DIALOG);
  modal.setModal(true);
  EXPECT_FALSE(modal.create());  // a modal one runs through doModal only

  // A dialog made behind the framework's back is not adopted.
  HWND orphan = CreateDialogParamA(xApplication::instance(), MAKEINTRESOURCEA(TEST_DIALOG),
                                   owner()->getHandle(), xDialogBase::dialogProc, 0);
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(orphan));
  DestroyWindow(orphan);

  Probe bad(owner(), TEST_DIALOG);
  ASSERT_TRUE(bad.create());
  EXPECT_THROW(bad.endDialog(-1), Exception);
  EXPECT_TRUE(bad.isCreated());
  bad.endDialog(2);
  bad.setText("kept");
  bad.setText(nullptr);
  EXPECT_STREQ("kept", bad.cachedText().text());
  EXPECT_NE(std::string::npos, logText().find("\"xDialog\""));
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
}

TEST_F(Dialogs, ModelessLifeCycle) {
  Probe kept(owner(), TEST_DIALOG);
  for (int run = 0; run < 2; run++) {  // an object kept alive can be shown again
    ASSERT_TRUE(kept.create());
    EXPECT_EQ(2, kept.endCode());
    EXPECT_EQ(&kept, xWindowObject::fromHandle(kept.getHandle()));
    EXPECT_TRUE(kept.endDialog(1));
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
  for (int i = 0; i < 100 && Probe::deleted == 0; i++, Sleep(5)) xApplication::pump();
  EXPECT_EQ(1, Probe::deleted);
  EXPECT_EQ((UINT)WM_NCDESTROY, Probe::messageAtDelete);
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
}

struct Companion : xWindow {
  int created = 0, activated = 0;
  void onCompanion(xWindowObject*, int event) override {
    created += event == COMPANION_CREATED;
    activated += event == COMPANION_ACTIVATED;
  }
};

// The window's alpha if it is layered, else -1.
static int alpha(HWND h) {
  BYTE a = 0;
  DWORD flags = 0;
  if (!(GetWindowLongA(h, GWL_EXSTYLE) & WS_EX_LAYERED)) return -1;
  GetLayeredWindowAttributes(h, NULL, &a, &flags);
  return a;
}

TEST_F(Dialogs, TransparencyAndActivation) {
  Probe d(owner(), TEST_DIALOG);
  Companion c;
  d.setCompanion(&c);
  ASSERT_TRUE(d.create());
  HWND h = d.getHandle();
  EXPECT_EQ(1, c.created);
  EXPECT_TRUE(d.setTransparent(true, 100));
  EXPECT_EQ(100, alpha(h));
  EXPECT_TRUE(d.setTransparent(false));
  EXPECT_EQ(-1, alpha(h));
  xWindowBase::transparencyForbidden = true;
  EXPECT_FALSE(d.setTransparent(true, 50));
  EXPECT_EQ(-1, alpha(h));
  xWindowBase::transparencyForbidden = false;

  d.setTransparentWhenInactive(true);
  xWindowBase::inactiveTransparency = true;
  SendMessageA(h, WM_ACTIVATE, WA_INACTIVE, 0);
  EXPECT_EQ(120, alpha(h));
  EXPECT_EQ(nullptr, xDialogBase::active);
  SendMessageA(h, WM_ACTIVATE, WA_ACTIVE, 0);
  EXPECT_EQ(-1, alpha(h));
  EXPECT_EQ(&d, xDialogBase::active);
  EXPECT_LE(1, c.activated);
  xWindowBase::inactiveTransparency = false;

  d.endDialog(2);
  EXPECT_EQ(nullptr, xDialogBase::active);
  EXPECT_FALSE(d.setTransparent(true, 50));  // no window
}

// Over a visible parent, (parent - dialog) / 2; otherwise on the nearest
// monitor, parent / 2 - dialog / 2: the halves truncate differently.
TEST_F(Dialogs, CentredOverVisibleParentElseOnItsMonitor) {
  xWindow parent;
  ASSERT_TRUE(parent.create(0, "xlib parent", WS_POPUP | WS_VISIBLE, xRect{100, 100, 600, 400}));
  Probe over(&parent, TEST_DIALOG, xLayout::CENTER);
  over.setAutoDelete(false);  // a layout makes it auto-delete
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
  const xRect& s = m.screen();
  EXPECT_EQ(GetSystemMetrics(SM_XVIRTUALSCREEN), s.x);
  EXPECT_EQ(GetSystemMetrics(SM_CXVIRTUALSCREEN), s.cx);
  EXPECT_EQ((unsigned)(UINT_PTR)MonitorFromPoint(POINT{10, 10}, MONITOR_DEFAULTTONEAREST),
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
  EXPECT_TRUE(parent->closeWindow());
  EXPECT_EQ(2, Node::deleted);
  EXPECT_EQ(nullptr, kept.parent());
  EXPECT_EQ(nullptr, marked->parent());
  delete marked;

  // Kept parent: left alone, its children lose the mark; the mark is recursive.
  Node owner2;
  Node* child = new Node(0u);
  child->setParent(&owner2);
  EXPECT_TRUE(owner2.closeWindow());
  EXPECT_TRUE(owner2.isClosing());
  EXPECT_FALSE(child->isAutoDelete());
  owner2.setAutoDelete(true);
  EXPECT_TRUE(child->isAutoDelete());
  owner2.setAutoDelete(false);
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
  // The record of the id as "state x y cx cy".
  std::string stored(int id) {
    std::string section = "Object ID: " + std::to_string(id), all;
    for (const char* key : {"State", "X", "Y", "CX", "CY"})
      all += (all.empty() ? "" : " ") +
             std::to_string((int)GetPrivateProfileIntA(section.c_str(), key, -999, path.c_str()));
    return all;
  }
  static std::string at(const xWindowObject& w) {
    RECT r = windowRect(w.getHandle());
    return std::to_string(r.left) + " " + std::to_string(r.top) + " " +
           std::to_string(r.right - r.left) + " " + std::to_string(r.bottom - r.top);
  }
  std::string path;
};

TEST_F(Placement, WriteThenReadRestoresTheWindow) {
  xProfile profile(path.c_str());
  xWindow w;
  w.setLayout(new xLayout);
  w.setId(4711);
  ASSERT_TRUE(w.create(0, "xlib placed", WS_POPUP | WS_VISIBLE, xRect{50, 60, 300, 200}));
  EXPECT_TRUE(profile.writeEx(&w));
  EXPECT_EQ(std::to_string(SW_SHOWNORMAL) + " 50 60 300 200", stored(4711));

  MoveWindow(w.getHandle(), 400, 300, 100, 100, TRUE);
  EXPECT_TRUE(profile.readEx(&w));
  EXPECT_EQ("50 60 300 200", at(w));
  EXPECT_TRUE(profile.readEx(&w, xPoint{400, 250}));  // at least the default size
  EXPECT_EQ("50 60 400 250", at(w));

  profile.alternate = true;
  EXPECT_TRUE(profile.writeEx(&w));
  EXPECT_EQ(std::to_string(SW_SHOWNORMAL) + " 50 60 400 250", stored(13711));
  profile.alternate = false;

  ShowWindow(w.getHandle(), SW_MINIMIZE);
  ASSERT_TRUE(IsIconic(w.getHandle()));
  EXPECT_FALSE(profile.writeEx(&w));
  EXPECT_EQ(std::to_string(SW_SHOWNORMAL) + " 50 60 300 200", stored(4711));  // not rewritten
}

TEST_F(Placement, ReadFallsBackAndNeverRestoresMinimised) {
  xProfile profile(path.c_str());
  xWindow w;
  w.setLayout(new xLayout);
  ASSERT_TRUE(w.create(0, "xlib read", WS_POPUP | WS_VISIBLE, xRect{80, 90, 200, 100}));
  w.setId(4712);  // no record: the window stays where it is
  EXPECT_FALSE(profile.readEx(&w));
  EXPECT_EQ("80 90 200 100", at(w));

  w.setId(4713);
  WritePrivateProfileSectionA("Object ID: 4713", "State=6\0X=500\0", path.c_str());  // minimise
  EXPECT_TRUE(profile.readEx(&w));
  EXPECT_EQ(SW_RESTORE, w.layout()->showState());
  EXPECT_EQ("80 90 200 100", at(w));

  // A dialog's stored point off the screen comes back; its size is kept.
  w.setId(4714);
  WritePrivateProfileSectionA("Object ID: 4714", "State=1\0X=-3000\0Y=50\0CX=300\0CY=200\0",
                              path.c_str());
  EXPECT_TRUE(profile.readEx(&w));
  EXPECT_EQ(std::to_string(xMonitors::system().screen().x) + " 50 300 200", at(w));
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
    EXPECT_EQ(std::to_string(SW_SHOWNORMAL) + " 50 70 120 80", stored(4720));
    MoveWindow(w.getHandle(), 0, 0, 120, 80, TRUE);
    EXPECT_TRUE(profile.readEx(&w));
    EXPECT_EQ("150 170 120 80", at(w));
  }
  EXPECT_LT(0, (int)GetPrivateProfileIntA("DPI", "LastMode", 0, path.c_str()));
}
