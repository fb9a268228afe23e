// Show, redraw and translucency of a real window.
#include "xWinbase.hpp"

bool xWindowBase::transparencyForbidden = false;
bool xWindowBase::inactiveTransparency = false;

typedef BOOL(WINAPI* SetLayeredFn)(HWND, COLORREF, BYTE, DWORD);

// Looked up by name: older systems have no layered windows.
static SetLayeredFn setLayered() {
  static bool looked = false;
  static SetLayeredFn fn = 0;
  if (!looked) {
    looked = true;
    HMODULE user = GetModuleHandleA("User32");
    if (user) fn = (SetLayeredFn)(void*)GetProcAddress(user, "SetLayeredWindowAttributes");
  }
  return fn;
}

bool xWindowBase::setTransparent(bool on, int alpha) {
  if (transparencyForbidden || !isCreated()) return false;
  LONG ex = GetWindowLongA(handle_, GWL_EXSTYLE);
  if (on) {
    SetLayeredFn fn = setLayered();
    if (!fn) return false;
    if (alpha < 0) alpha = 0;
    if (alpha > 255) alpha = 255;
    SetWindowLongA(handle_, GWL_EXSTYLE, ex | WS_EX_LAYERED);
    fn(handle_, 0, (BYTE)alpha, LWA_ALPHA);
  } else {
    SetWindowLongA(handle_, GWL_EXSTYLE, ex & ~WS_EX_LAYERED);
  }
  redraw();
  return true;
}

bool xWindowBase::show(int command) {
  if (!isCreated()) return false;
  return ShowWindow(handle_, command) != 0;
}

bool xWindowBase::isVisible() const { return isCreated() && IsWindowVisible(handle_); }

void xWindowBase::redraw() {
  if (isCreated())
    RedrawWindow(handle_, NULL, NULL,
                 RDW_ERASE | RDW_FRAME | RDW_INVALIDATE | RDW_ALLCHILDREN);
}
