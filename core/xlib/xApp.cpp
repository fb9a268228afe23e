// Application-wide state of the framework and the placement profile.
#include "xApp.hpp"

#include <shellapi.h>

#include "cCrash.hpp"
#include "xMonitor.hpp"


static HINSTANCE resourceModule = 0;
static xWindowObject* mainWindowObject = 0;
static xApplication::HelpHandler helpHandler = 0;
static String& helpFile() {
  static String file;
  return file;
}
static Array<xWindowObject>& modeless() {
  static Array<xWindowObject> list(false);
  return list;
}
static xProfile* placementProfile = 0;

HINSTANCE xCodeModule() {
  static HINSTANCE module = 0;
  if (!module &&
      !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                              GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          (LPCSTR)(void*)&xCodeModule, &module))
    module = GetModuleHandleA(NULL);
  return module;
}

HINSTANCE xApplication::instance() { return resourceModule ? resourceModule : xCodeModule(); }

void xApplication::setInstance(HINSTANCE module) { resourceModule = module; }

xWindowObject* xApplication::mainWindow() { return mainWindowObject; }

void xApplication::setMainWindow(xWindowObject* window) { mainWindowObject = window; }

static HWND mainWindowHandle() {
  return mainWindowObject ? mainWindowObject->getHandle() : 0;
}

void xApplication::setCrashNotice(const char* title, bool quiet) {
  setCrashApplication(mainWindowHandle, title, quiet);
}

LONG WINAPI xApplication::unhandledFilter(EXCEPTION_POINTERS* info) {
  Exception::write(info, EXCEPTION_ACCESS_VIOLATION);
  Exception::notice(true);
  return EXCEPTION_EXECUTE_HANDLER;
}

void xApplication::installUnhandledFilter() { SetUnhandledExceptionFilter(unhandledFilter); }

void xApplication::showHelp(int contextId) {
  if (helpHandler) {
    helpHandler(contextId);
    return;
  }
  if (!helpFile().isEmpty()) {
    HWND owner = mainWindowObject ? mainWindowObject->getHandle() : 0;
    if ((INT_PTR)ShellExecuteA(owner, "open", helpFile().text(), NULL, NULL, SW_SHOWNORMAL) > 32)
      return;
  }
  MessageBeep(MB_OK);
}

void xApplication::setHelpHandler(HelpHandler handler) { helpHandler = handler; }

void xApplication::setHelpFile(const char* path) { helpFile().assign(path ? path : ""); }

void xApplication::addModeless(xWindowObject* window) {
  if (window && modeless().indexOf(window) < 0) modeless().add(window);
}

void xApplication::removeModeless(xWindowObject* window) {
  if (!window) return;
  int at = modeless().indexOf(window);
  if (at >= 0) modeless().remove(at);
}

bool xApplication::preTranslate(MSG* msg) {
  for (int i = 0; i < modeless().count(); i++) {
    xWindowObject* w = modeless().get(i);
    if (w && w->preTranslate(msg)) return true;
  }
  return false;
}

int xApplication::run() {
  MSG msg;
  while (GetMessageA(&msg, NULL, 0, 0) > 0) {
    if (preTranslate(&msg)) continue;
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  return (int)msg.wParam;
}

bool xApplication::pump() {
  MSG msg;
  while (PeekMessageA(&msg, NULL, 0, 0, PM_REMOVE)) {
    if (msg.message == WM_QUIT) {
      PostQuitMessage((int)msg.wParam);  // left for the loop that owns it
      return false;
    }
    if (preTranslate(&msg)) continue;
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  return true;
}

xProfile* xApplication::profile() { return placementProfile; }

void xApplication::setProfile(xProfile* profile) { placementProfile = profile; }

xWaitCursor::xWaitCursor() : previous_(SetCursor(LoadCursor(NULL, IDC_WAIT))) {}

xWaitCursor::~xWaitCursor() { SetCursor(previous_); }

xProfile::xProfile(const char* name)
    : Profile(name), frame(false), alternate(false), writeMode(false), count_(0) {}

xProfile::~xProfile() {
  if (!writeMode || count_ <= 0) return;
  // The pixel density the placements were written under, so that a reader
  // can tell when scaling has changed since.
  HDC dc = GetDC(NULL);
  int dpi = dc ? GetDeviceCaps(dc, LOGPIXELSX) : 96;
  if (dc) ReleaseDC(NULL, dc);
  writeInt("DPI", "LastMode", dpi);
}

String xProfile::section(int id) const {
  String name;
  name.format("Object ID: %d", alternate ? id + 9000 : id);
  return name;
}

bool xProfile::readEx(xWindowObject* window, const xPoint& defaultSize) {
  if (!window) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  xLayout scratch;
  xLayout* layout = window->layout() ? window->layout() : &scratch;
  HWND hwnd = window->getHandle();
  if (window->isCreated()) layout->refresh(hwnd);

  String name = section(window->id());
  String stored;
  bool found = readString(name, "State", "", stored);
  xPlacement p;
  readInt(name, "State", XSHOW_RESTORE, p.state);
  p.rect = layout->rect();
  if (isMinimizedState(p.state)) {
    p.rect = xRect{0, 0, 0, 0};
  } else {
    readInt(name, "X", p.rect.x, p.rect.x);
    readInt(name, "Y", p.rect.y, p.rect.y);
    readInt(name, "CX", p.rect.cx, p.rect.cx);
    readInt(name, "CY", p.rect.cy, p.rect.cy);
  }
  xTrace(SOURCE_NAME, __LINE__,
         "readEx(window): ID = %d  CmdShow = %d  isDefault = %s  x = %d  y = %d  width = %d  "
         "height = %d",
         window->id(), p.state, found ? "false" : "true", p.rect.x, p.rect.y, p.rect.cx,
         p.rect.cy);

  xWindowObject* parent = window->parent();
  POINT origin = {0, 0};
  bool hasParent = parent && parent->isCreated() && ClientToScreen(parent->getHandle(), &origin);
  xPoint parentOrigin = {origin.x, origin.y};
  fitReadPlacement(p, defaultSize, hasParent ? &parentOrigin : 0, frame, xMonitors::system());

  layout->setRect(p.rect);
  layout->setShowState(p.state);
  if (window->isCreated() && !p.rect.isEmpty()) layout->apply(hwnd);
  return found;
}

bool xProfile::writeEx(xWindowObject* window) {
  if (!window) {
    report(SOURCE_NAME, __LINE__);
    return false;
  }
  xLayout scratch;
  xLayout* layout = window->layout() ? window->layout() : &scratch;
  if (window->isCreated()) layout->refresh(window->getHandle());
  int state = layout->showState();
  xRect r = layout->rect();
  if (isMinimizedState(state)) {
    xTrace(SOURCE_NAME, __LINE__, "writeEx(Minimal)");
    return false;
  }
  xWindowObject* parent = window->parent();
  HWND parentHandle = parent && parent->isCreated() ? parent->getHandle() : 0;
  if (parentHandle && IsIconic(parentHandle)) return false;
  if (!r.isEmpty() && parentHandle) {
    POINT pt = {r.x, r.y};
    ScreenToClient(parentHandle, &pt);
    r.x = pt.x;
    r.y = pt.y;
    xTrace(SOURCE_NAME, __LINE__, "writeEx(Point): x = %d  y = %d", r.x, r.y);
  }
  xTrace(SOURCE_NAME, __LINE__,
         "writeEx(window): ID = %d  CmdShow = %d  isDefault = %s  x = %d  y = %d  width = %d  "
         "height = %d",
         window->id(), state, r.isEmpty() ? "true" : "false", r.x, r.y, r.cx, r.cy);
  String name = section(window->id());
  bool ok = writeInt(name, "State", state);
  ok = writeInt(name, "X", r.x) && ok;
  ok = writeInt(name, "Y", r.y) && ok;
  ok = writeInt(name, "CX", r.cx) && ok;
  ok = writeInt(name, "CY", r.cy) && ok;
  count_++;
  return ok;
}

bool xProfile::readFont(const char* section, LOGFONTA& font) {
  int value;
  readInt(section, "Height", font.lfHeight, value);
  font.lfHeight = value;
  readInt(section, "Width", font.lfWidth, value);
  font.lfWidth = value;
  readInt(section, "Weight", font.lfWeight, value);
  font.lfWeight = value;
  readInt(section, "Italic", font.lfItalic, value);
  font.lfItalic = (BYTE)value;
  readInt(section, "Underline", font.lfUnderline, value);
  font.lfUnderline = (BYTE)value;
  readInt(section, "StrikeOut", font.lfStrikeOut, value);
  font.lfStrikeOut = (BYTE)value;
  return readString(font.lfFaceName, LF_FACESIZE, section, "Face", "Courier");
}

bool xProfile::writeFont(const char* section, const LOGFONTA& font) {
  bool ok = writeInt(section, "Height", (int)font.lfHeight);
  ok = writeInt(section, "Width", (int)font.lfWidth) && ok;
  ok = writeInt(section, "Weight", (int)font.lfWeight) && ok;
  ok = writeInt(section, "Italic", (int)font.lfItalic) && ok;
  ok = writeInt(section, "Underline", (int)font.lfUnderline) && ok;
  ok = writeInt(section, "StrikeOut", (int)font.lfStrikeOut) && ok;
  ok = writeString(section, "Face", font.lfFaceName) && ok;
  return ok;
}
