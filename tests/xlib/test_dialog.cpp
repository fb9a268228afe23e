// Real windows and dialogs under the display server: the framework facts the
// configuration dialog's tests (through the plug-in) cannot show. Modal runs
// are driven from a second thread as a user would.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "cCrash.hpp"
#include "desktop.hpp"
#include "reports.hpp"
#include "run_folder.hpp"
#include "xApp.hpp"
#include "xDialog.hpp"

enum { TEST_DIALOG = 101, OTHER = 1003 };

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
  int oks = 0, cancels = 0, helps = 0, c89 = 0;
  std::vector<int> defaultIds;

  Probe(xWindowObject* parent, const xResource& r) : xDialog(parent, r) {}
  ~Probe() override { deleted++, messageAtDelete = lastMessage; }
  void windowProc(xMessage& msg) override {
    lastMessage = msg.message;
    xDialog::windowProc(msg);
  }
  void defaultProcessing(xMessage& msg) override {
    if (msg.message == WM_COMMAND) defaultIds.push_back(msg.commandId());
    xDialog::defaultProcessing(msg);
  }
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
  void SetUp() override {
    ASSERT_TRUE(hasWindowDriver()) << "no window driver: the display did not answer";
    owner();
    Probe::deleted = 0;
    tableBefore = xWindowObject::tableCount();
  }
  int tableBefore = 0;
};

TEST_F(Dialogs, HandleTableAndStaleEntries) {
  xWindow a;
  ASSERT_TRUE(a.create(0, "xlib a", WS_POPUP, xRect{0, 0, 10, 10}));
  HWND ha = a.getHandle();
  xWindowObject::detach(ha);  // also drops the cached hit
  EXPECT_EQ(nullptr, xWindowObject::fromHandle(ha));
  xWindowObject::attach(ha, &a);

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

// The text of the next message box titled title, which it then closes.
struct Notice {
  std::string text;
  std::thread reader;
  explicit Notice(const char* title) : reader([this, title] {
    HWND box = ownWindow(title);
    if (!box) return;
    text = boxText(box);
    PostMessageA(box, WM_COMMAND, IDOK, 0);
  }) {}
  void join() { reader.join(); }
};

TEST_F(Dialogs, ModalOkDeletesAutoDeleteDialogOnceAtFinalDestroy) {
  Probe* d = new Probe(owner(), TEST_DIALOG);
  d->setModal(true);
  d->setAutoDelete(true);
  d->setText("xlib ok");
  int code = 77;
  std::thread user([] { SendMessageA(GetDlgItem(ownWindow("xlib ok"), IDOK), BM_CLICK, 0, 0); });
  EXPECT_TRUE(d->doModal(true, &code));
  user.join();
  EXPECT_EQ(1, code);
  EXPECT_EQ(1, Probe::deleted);
  EXPECT_EQ((UINT)WM_NCDESTROY, Probe::messageAtDelete);
  EXPECT_EQ(tableBefore, xWindowObject::tableCount());
  EXPECT_EQ(nullptr, xDialogBase::active);

  // A template that fails: the error box, and still deleted exactly once.
  d = new Probe(owner(), xResource("NO_SUCH_TEMPLATE"));
  d->setModal(true);
  d->setAutoDelete(true);
  Notice failed("Exception");
  EXPECT_TRUE(d->doModal(true, &code));
  failed.join();
  EXPECT_EQ("Dialog creation failed!", failed.text);
  EXPECT_EQ(2, Probe::deleted);
}

// A window's placement written to a profile puts it back when read. Nothing
// in the plug-in places windows through a profile: this shows it works.
TEST_F(Dialogs, PlacementWriteThenReadRestoresTheWindow) {
  std::string path = runFolder() + "\\xlib_placement.ini";
  DeleteFileA(path.c_str());
  xProfile profile(path.c_str());
  xWindow w;
  w.setLayout(new xLayout);
  w.setId(4711);
  ASSERT_TRUE(w.create(0, "xlib placed", WS_POPUP | WS_VISIBLE, xRect{50, 60, 300, 200}));
  EXPECT_TRUE(profile.writeEx(&w));
  MoveWindow(w.getHandle(), 400, 300, 100, 100, TRUE);
  EXPECT_TRUE(profile.readEx(&w));
  RECT r;
  GetWindowRect(w.getHandle(), &r);
  EXPECT_EQ((std::vector<LONG>{50, 60, 350, 260}), (std::vector<LONG>{r.left, r.top, r.right, r.bottom}));
  DeleteFileA(path.c_str());
}

static int helpAsked = 0;

// A handler that throws inside the dialog procedure: caught there and
// reported. An end code of -1 is reported, not thrown. The dialog goes on.
struct Thrower : Probe {
  Thrower(xWindowObject* parent) : Probe(parent, TEST_DIALOG) {}
  void onCommand89(int id) override { Probe::onCommand89(id), throw 42; }
  void onHelp(int id) override { Probe::onHelp(id), endDialog(-1); }
};

TEST_F(Dialogs, CommandRoutingAndNoExceptionLeavesTheDialogProcedure) {
  Reports reports;
  Thrower d(owner());
  d.setModal(true);
  d.setText("xlib commands");
  xApplication::setHelpHandler([](int id) { helpAsked = id; });
  bool stillOpen = false;
  std::thread user([&] {
    HWND h = ownWindow("xlib commands");
    for (int id : {0, 89, 9, (int)OTHER}) SendMessageA(h, WM_COMMAND, id, 0);
    stillOpen = IsWindow(h);
    SendMessageA(h, WM_COMMAND, IDCANCEL, 0);
  });
  int code = 0;
  EXPECT_TRUE(d.doModal(true, &code));
  user.join();
  xApplication::setHelpHandler(0);
  EXPECT_TRUE(stillOpen);
  EXPECT_EQ(2, code);
  EXPECT_EQ("1 1 0 1", std::to_string(d.c89) + " " + std::to_string(d.helps) + " " +
                           std::to_string(d.oks) + " " + std::to_string(d.cancels));
  EXPECT_EQ(TEST_DIALOG, helpAsked);
  // Only the unknown id falls through to default processing; id 0 reaches nothing.
  EXPECT_EQ(std::vector<int>{OTHER}, d.defaultIds);
  EXPECT_TRUE(reports.are({"Exception caught in a dialog procedure", "\"xDialog.cpp\" (377)"}));
}

// The application's crash notice speaks for it; the framework's filter
// reports any exception as an access violation. Neither runs in the plug-in.
TEST_F(Dialogs, CrashNoticesOfTheApplicationAndOfTheFrameworkFilter) {
  xApplication::setMainWindow(owner());
  xApplication::setCrashNotice("xlib app");
  Notice app("xlib app");
  Exception::notice();
  app.join();
  EXPECT_EQ(0u, app.text.find("Tarn has detected an internal program error.")) << app.text;

  EXCEPTION_RECORD record = {};
  record.ExceptionCode = EXCEPTION_BREAKPOINT;
  CONTEXT context = {};
  RtlCaptureContext(&context);
  EXCEPTION_POINTERS pointers = {&record, &context};
  Notice generic("xlib app");
  EXPECT_EQ(1, xApplication::unhandledFilter(&pointers));
  generic.join();
  setCrashApplication(0, "", false);
  xApplication::setMainWindow(0);
  EXPECT_NE(std::string::npos, fileText(Exception::reportPath()).find("Exception code: C0000005 Access Violation"));
  DeleteFileA(Exception::reportPath());
  DeleteFileA(Exception::dumpPath());
}
