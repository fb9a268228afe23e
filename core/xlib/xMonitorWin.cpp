// The system's monitors and the placement operations on real windows. The
// multiple-monitor calls are looked up by name so that a system without them
// still runs, with the primary screen as the only monitor.
#include <windows.h>

#include "xMonitor.hpp"
#include "xWinobj.hpp"


typedef HMONITOR(WINAPI* FromWindowFn)(HWND, DWORD);
typedef HMONITOR(WINAPI* FromRectFn)(LPCRECT, DWORD);
typedef HMONITOR(WINAPI* FromPointFn)(POINT, DWORD);
typedef BOOL(WINAPI* EnumMonitorsFn)(HDC, LPCRECT, MONITORENUMPROC, LPARAM);
typedef BOOL(WINAPI* GetInfoFn)(HMONITOR, LPMONITORINFO);

struct MonitorApi {
  FromWindowFn fromWindow;
  FromRectFn fromRect;
  FromPointFn fromPoint;
  EnumMonitorsFn enumMonitors;
  GetInfoFn getInfo;
};

static const MonitorApi& api() {
  static MonitorApi calls = {0, 0, 0, 0, 0};
  static bool looked = false;
  if (!looked) {
    looked = true;
    HMODULE user = GetModuleHandleA("User32");
    if (user) {
      calls.fromWindow = (FromWindowFn)(void*)GetProcAddress(user, "MonitorFromWindow");
      calls.fromRect = (FromRectFn)(void*)GetProcAddress(user, "MonitorFromRect");
      calls.fromPoint = (FromPointFn)(void*)GetProcAddress(user, "MonitorFromPoint");
      calls.enumMonitors = (EnumMonitorsFn)(void*)GetProcAddress(user, "EnumDisplayMonitors");
      calls.getInfo = (GetInfoFn)(void*)GetProcAddress(user, "GetMonitorInfoA");
    }
  }
  return calls;
}

static unsigned int handleValue(HMONITOR monitor) { return (unsigned int)(UINT_PTR)monitor; }

class xSystemMonitors : public xMonitors {
 protected:
  virtual unsigned int nearestHandle(const xPoint& pt) {
    if (!api().fromPoint) return xMonitors::nearestHandle(pt);
    POINT p = {pt.x, pt.y};
    return handleValue(api().fromPoint(p, MONITOR_DEFAULTTONEAREST));
  }

  virtual void fill() {
    if (api().enumMonitors && api().getInfo)
      api().enumMonitors(NULL, NULL, addMonitor, (LPARAM)this);
    if (count() == 0) {
      POINT origin = {0, 0};
      unsigned int handle =
          api().fromPoint ? handleValue(api().fromPoint(origin, MONITOR_DEFAULTTONEAREST)) : 0;
      add(handle, 0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN));
    }
  }

 private:
  static BOOL CALLBACK addMonitor(HMONITOR monitor, HDC, LPRECT, LPARAM data) {
    MONITORINFO info;
    info.cbSize = sizeof info;
    try {
      if (api().getInfo(monitor, &info)) {
        const RECT& r = info.rcMonitor;
        ((xSystemMonitors*)data)
            ->add(handleValue(monitor), r.left, r.top, r.right - r.left, r.bottom - r.top);
      }
    } catch (...) {
      xReportCallbackException("the monitor enumeration");
      return FALSE;
    }
    return TRUE;
  }
};

xMonitors& xMonitors::system() {
  static xSystemMonitors monitors;
  return monitors;
}

// The window's rectangle and show state, through its layout when it has one.
static void windowRect(xWindowObject* window, xRect& r, int& state) {
  HWND hwnd = window->getHandle();
  if (xLayout* layout = window->layout()) {
    layout->refresh(hwnd);
    r = layout->rect();
    state = layout->showState();
    return;
  }
  xLayout scratch;
  scratch.refresh(hwnd);
  r = scratch.rect();
  state = scratch.showState();
}

const xMonitor& xMonitors::findNearest(xWindowObject* window) {
  if (!window || !window->isCreated()) {
    report(SOURCE_NAME, __LINE__);
    return first();
  }
  xRect r;
  int state;
  windowRect(window, r, state);
  xPoint pt = referencePoint(r, state);
  xTrace(SOURCE_NAME, __LINE__, "findNearest(window)  x = %d  y = %d", pt.x, pt.y);
  const xMonitor& m = findNearest(pt);
  xTrace(SOURCE_NAME, __LINE__, "findNearest(window) = 0x%X  x = %d  y = %d", m.handle, m.x, m.y);
  return m;
}

void xMonitors::centerToMonitor(xWindowObject* window, const xMonitor& m) {
  if (!window || !window->isCreated()) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  xTrace(SOURCE_NAME, __LINE__, "centerToMonitor(window)");
  xRect r;
  int state;
  windowRect(window, r, state);
  centerToScreen(r, m);
  window->move(r);
}

void xMonitors::limitToMonitor(xWindowObject* window, const xMonitor& m) {
  if (!window || !window->isCreated() || !window->layout()) return;
  xLayout* layout = window->layout();
  layout->refresh(window->getHandle());
  xRect r = layout->rect();
  if (!limitToMonitor(r, m)) return;
  layout->setRect(r);
  layout->apply(window->getHandle());
}

void xMonitors::limitToParentScreen(xWindowObject* parent, xWindowObject* dialog) {
  if (!parent || !dialog || !parent->isCreated() || !dialog->isCreated()) return;
  xTrace(SOURCE_NAME, __LINE__, "limitToParentScreen: Parent = 0x%X  Dialog = 0x%X",
         (unsigned int)(UINT_PTR)parent->getHandle(), (unsigned int)(UINT_PTR)dialog->getHandle());
  const xMonitor& own = findNearest(parent);
  const xMonitor& other = findNearest(dialog);
  if (&own != &other) centerToMonitor(dialog, own);
}

void xMonitors::centerOnOwnMonitor(xWindowObject* window) {
  if (!window || !window->isCreated()) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  if (count() == 0) fill();
  const xMonitor* m = &first();
  if (api().fromWindow) {
    unsigned int handle =
        handleValue(api().fromWindow(window->getHandle(), MONITOR_DEFAULTTONEAREST));
    for (int i = 0; i < count(); i++)
      if (get(i)->handle == handle) m = get(i);
  }
  centerToMonitor(window, *m);
}

void xMonitors::limitWindowToScreen(xWindowObject* window) {
  xMonitor screen = screenMonitor();
  limitToMonitor(window, screen);
}
