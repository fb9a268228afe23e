// Windows of the framework's own class and the handlers of the window and
// frame levels of the dispatch chain.
#include "xWindow.hpp"

#include "xApp.hpp"

static const char CLASS_NAME[] = "xWindow";

xWindow::xWindow(HWND foreign) { handle_ = foreign; }

void xWindow::wrap(HWND foreign) {
  if (handle_ && fromHandle(handle_) == this) {
    report(SOURCE_NAME, __LINE__);  // our own window would be lost
    return;
  }
  handle_ = foreign;
}

bool xWindow::registerClass() {
  static bool registered = false;
  if (registered) return true;
  HINSTANCE module = xCodeModule();
  // A class left behind by an earlier load of this module would point at
  // code that is gone.
  UnregisterClassA(CLASS_NAME, module);
  WNDCLASSA wc;
  ZeroMemory(&wc, sizeof wc);
  wc.style = CS_DBLCLKS | CS_HREDRAW | CS_VREDRAW;
  wc.lpfnWndProc = commonProc;
  wc.hInstance = module;
  wc.hCursor = LoadCursor(NULL, IDC_ARROW);
  wc.hbrBackground = (HBRUSH)(COLOR_WINDOW + 1);
  wc.lpszClassName = CLASS_NAME;
  registered = RegisterClassA(&wc) != 0;
  if (!registered) report(SOURCE_NAME, __LINE__);
  return registered;
}

bool xWindow::create(xWindowObject* parent, const char* title, DWORD style, const xRect& rect,
                     DWORD exStyle) {
  if (isCreated()) {
    report(SOURCE_NAME, __LINE__, "Window already exists!");
    return false;
  }
  if (!registerClass()) return false;
  HWND owner = 0;
  if (style & WS_CHILD) {
    if (!parent || !parent->isCreated()) {
      report(SOURCE_NAME, __LINE__);
      return false;
    }
    popup_ = false;
    owner = parent->getHandle();
  } else {
    popup_ = true;
    if (parent && parent->isCreated()) owner = parent->getHandle();
  }
  if (parent) setParent(parent, -1);
  if (title) text_.assign(title);
  HWND hwnd = CreateWindowExA(exStyle, CLASS_NAME, text_.text(), style, rect.x, rect.y,
                              rect.cx, rect.cy, owner, NULL, xCodeModule(), this);
  return hwnd != 0;
}

LRESULT CALLBACK xWindow::commonProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  try {
    return windowMessage(hwnd, message, wParam, lParam);
  } catch (...) {
    xReportCallbackException("a window procedure");
    if (message == WM_NCDESTROY) detach(hwnd);
    return 0;  // also fails a WM_NCCREATE: no half-made window
  }
}

LRESULT xWindow::windowMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    xWindow* window = (xWindow*)((CREATESTRUCTA*)lParam)->lpCreateParams;
    if (window) {
      attach(hwnd, window);
      window->handle_ = hwnd;
    }
  }
  xWindowObject* object = fromHandle(hwnd);
  if (!object) return DefWindowProcA(hwnd, message, wParam, lParam);
  xMessage msg = {hwnd, message, wParam, lParam, {0, 0, 0}, 0, 0};
  object->windowProc(msg);
  // The object may be gone by now; the table entry must go with the window.
  if (message == WM_NCDESTROY) detach(hwnd);
  return msg.result;
}

void xWindow::windowProc(xMessage& msg) {
  switch (msg.message) {
    case WM_CLOSE: onClose(msg); break;
    case WM_ERASEBKGND: onEraseBackground(msg); break;
    case WM_HSCROLL: onHScroll(msg); break;
    case WM_VSCROLL: onVScroll(msg); break;
    case WM_SIZE: onSize(msg); break;
    case WM_SETFOCUS: onSetFocus(msg); break;
    case WM_KILLFOCUS: onKillFocus(msg); break;
    case WM_COMMAND: onCommand(msg); break;
    case WM_NOTIFY: onNotify(msg); break;
    default: xWindowBase::windowProc(msg); break;
  }
}

void xWindow::onClose(xMessage& msg) { defaultProcessing(msg); }
void xWindow::onEraseBackground(xMessage& msg) { defaultProcessing(msg); }
void xWindow::onHScroll(xMessage& msg) { defaultProcessing(msg); }
void xWindow::onVScroll(xMessage& msg) { defaultProcessing(msg); }
void xWindow::onSize(xMessage& msg) { defaultProcessing(msg); }
void xWindow::onSetFocus(xMessage& msg) { defaultProcessing(msg); }
void xWindow::onKillFocus(xMessage& msg) { defaultProcessing(msg); }

void xFrameWindow::windowProc(xMessage& msg) {
  switch (msg.message) {
    case WM_DESTROY: onDestroy(msg); break;
    case WM_MENUSELECT: onMenuSelect(msg); break;
    case WM_INITMENUPOPUP: onInitMenuPopup(msg); break;
    case WM_SETTINGCHANGE: onSettingChange(msg); break;
    case WM_SYSCOLORCHANGE: onSysColorChange(msg); break;
    case WM_DISPLAYCHANGE:
      xMonitors::system().clear();  // enumerated afresh on next use
      defaultProcessing(msg);
      break;
    case WM_COMMAND: onCommand(msg); break;
    case WM_NOTIFY: onNotify(msg); break;
    default: xWindow::windowProc(msg); break;
  }
}

void xFrameWindow::onDestroy(xMessage& msg) {
  xApplication::removeModeless(this);
  if (xApplication::mainWindow() == this) {
    xApplication::setMainWindow(0);
    PostQuitMessage(0);
  }
  defaultProcessing(msg);
}

void xFrameWindow::onMenuSelect(xMessage& msg) { defaultProcessing(msg); }
void xFrameWindow::onInitMenuPopup(xMessage& msg) { defaultProcessing(msg); }
void xFrameWindow::onSettingChange(xMessage& msg) { defaultProcessing(msg); }

// Only top-level windows hear of colour changes; children are told here.
void xFrameWindow::onSysColorChange(xMessage& msg) {
  for (int i = 0; i < childCount(); i++) {
    xWindowObject* c = child(i);
    if (c && c->isCreated()) SendMessageA(c->getHandle(), msg.message, msg.wParam, msg.lParam);
  }
  defaultProcessing(msg);
}
