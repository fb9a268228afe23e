// Placement arithmetic over a list of monitor rectangles. No system call:
// the system's nearest-monitor query is a virtual that the Windows part
// answers and synthetic layouts compute.
#include "xMonitor.hpp"

#include <stdarg.h>
#include <stdio.h>

#include "cError.hpp"


bool xMonitors::trace = false;

void xTrace(const char* source, int line, const char* format, ...) {
  if (!xMonitors::trace) return;
  char text[512];
  va_list ap;
  va_start(ap, format);
  vsnprintf(text, sizeof text, format, ap);
  va_end(ap);
  report(source, line, text, REPORT_RUNTIME);
}

static int minInt(int a, int b) { return a < b ? a : b; }
static int maxInt(int a, int b) { return a > b ? a : b; }

xMonitor::xMonitor(unsigned int handle_, int x_, int y_, int cx_, int cy_) : handle(handle_) {
  set(x_, y_, cx_, cy_);
}

void xMonitor::set(int x_, int y_, int cx_, int cy_) {
  x = left = x_;
  y = top = y_;
  cx = cx_;
  cy = cy_;
  right = x_ + cx_;
  bottom = y_ + cy_;
}

bool xMonitor::isOnMonitor(const xPoint& pt) const {
  xTrace(SOURCE_NAME, __LINE__, "isOnMonitor(pt): x = %d  y = %d", pt.x, pt.y);
  return pt.x >= left && pt.x < right && pt.y >= top && pt.y < bottom;
}

bool xMonitor::isOnMonitor(const xRect& r) const {
  xTrace(SOURCE_NAME, __LINE__, "isOnMonitor(rect): x = %d  y = %d width = %d  height = %d", r.x,
         r.y, r.cx, r.cy);
  bool on = r.x >= left && r.y >= top && r.right() <= right && r.bottom() <= bottom;
  if (!on) xTrace(SOURCE_NAME, __LINE__, "isOnMonitor(rect): Off");
  return on;
}

xMonitors::xMonitors() : screen_{0, 0, 0, 0} {}

xMonitors::~xMonitors() {}

void xMonitors::add(unsigned int handle, int x, int y, int cx, int cy) {
  xTrace(SOURCE_NAME, __LINE__, "Monitor 0x%X: x1 = %d  y1 = %d  width = %d  height = %d", handle,
         x, y, cx, cy);
  list_.add(new xMonitor(handle, x, y, cx, cy));
  screen_ = xRect{0, 0, 0, 0};
}

void xMonitors::clear() {
  list_.clear();
  screen_ = xRect{0, 0, 0, 0};
}

const xMonitor& xMonitors::first() const {
  const xMonitor* m = list_.get(0);
  return m ? *m : none_;
}

const xRect& xMonitors::screen() {
  if (!screen_.isZero() && !screen_.isEmpty()) return screen_;
  if (list_.count() == 0) fill();
  int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
  for (int i = 0; i < list_.count(); i++) {
    const xMonitor* m = list_.get(i);
    if (i == 0 || m->x < x1) x1 = m->x;
    if (i == 0 || m->y < y1) y1 = m->y;
    if (i == 0 || m->x + m->cx > x2) x2 = m->x + m->cx;
    if (i == 0 || m->y + m->cy > y2) y2 = m->y + m->cy;
  }
  screen_ = xRect{x1, y1, x2 - x1, y2 - y1};
  xTrace(SOURCE_NAME, __LINE__, "Monitors Screen: x1 = %d  y1 = %d  x2 = %d  y2 = %d", x1, y1, x2,
         y2);
  xTrace(SOURCE_NAME, __LINE__, "Monitors Screen: x1 = %d  y1 = %d  width = %d  height = %d", x1,
         y1, screen_.cx, screen_.cy);
  return screen_;
}

xMonitor xMonitors::screenMonitor() {
  const xRect& s = screen();
  return xMonitor(0, s.x, s.y, s.cx, s.cy);
}

unsigned int xMonitors::nearestHandle(const xPoint& pt) {
  const xMonitor* best = 0;
  long long bestDistance = 0;
  for (int i = 0; i < list_.count(); i++) {
    const xMonitor* m = list_.get(i);
    long long dx = maxInt(maxInt(m->left - pt.x, pt.x - (m->right - 1)), 0);
    long long dy = maxInt(maxInt(m->top - pt.y, pt.y - (m->bottom - 1)), 0);
    long long d = dx * dx + dy * dy;
    if (!best || d < bestDistance) {
      best = m;
      bestDistance = d;
    }
  }
  return best ? best->handle : 0;
}

const xMonitor& xMonitors::findNearest(const xPoint& pt) {
  if (list_.count() == 0) fill();
  unsigned int handle = nearestHandle(pt);
  const xMonitor* found = &first();
  for (int i = 0; i < list_.count(); i++) {
    if (list_.get(i)->handle == handle) {
      found = list_.get(i);
      break;
    }
  }
  xTrace(SOURCE_NAME, __LINE__, "findNearest(pt) = 0x%X  x = %d  y = %d", found->handle, found->x,
         found->y);
  return *found;
}

bool xMonitors::isOnScreen(const xPoint& pt) { return screenMonitor().isOnMonitor(pt); }

void xMonitors::limitToScreen(xPoint& pt) {
  xTrace(SOURCE_NAME, __LINE__, "limitToScreen(pt): x = %d  y = %d", pt.x, pt.y);
  xMonitor s = screenMonitor();
  if (s.isOnMonitor(pt)) return;
  const xMonitor& n = findNearest(pt);
  xTrace(SOURCE_NAME, __LINE__, "Monitor: x = %d  y = %d", n.x, n.y);
  // The smallest move first: one co-ordinate, then the other, then both.
  int y0 = pt.y;
  pt.y = n.y;
  if (s.isOnMonitor(pt)) return;
  xTrace(SOURCE_NAME, __LINE__, "Off Monitor (1): x = %d  y = %d", pt.x, pt.y);
  pt.y = y0;
  pt.x = n.x;
  if (s.isOnMonitor(pt)) return;
  xTrace(SOURCE_NAME, __LINE__, "Off Monitor (2): x = %d  y = %d", pt.x, pt.y);
  pt.x = n.x;
  pt.y = n.y;
}

void xMonitors::limitToScreen(xRect& r) {
  xTrace(SOURCE_NAME, __LINE__, "limitToScreen(rect): x1 = %d  y1 = %d  x2 = %d  y2 = %d", r.x, r.y,
         r.right(), r.bottom());
  xMonitor s = screenMonitor();
  const xPoint p = {r.x, r.y};
  if (!s.isOnMonitor(p)) {
    // The top-left corner moves to the monitor; the bottom-right one stays.
    const xMonitor& n = findNearest(p);
    r.cx += n.x - r.x;
    r.cy += n.y - r.y;
    r.x = n.x;
    r.y = n.y;
    xTrace(SOURCE_NAME, __LINE__, "Off Monitor: x = %d  y = %d  cx = %d  cy = %d", r.x, r.y, r.cx,
           r.cy);
  }
  int x2 = r.right();
  int y2 = r.bottom();
  const xMonitor& m = findNearest(p);
  // Width and height less the initial co-ordinate, not the monitor's right
  // and bottom edges: this is the established behaviour that stored
  // placements were made with, so it stays.
  if (!s.isOnMonitor(xPoint{x2, p.y})) {
    r.cx = m.cx - p.x;
    xTrace(SOURCE_NAME, __LINE__, "Off Monitor (x): x = %d  cx = %d", r.x, r.cx);
  }
  if (!s.isOnMonitor(xPoint{p.x, y2})) {
    r.cy = m.cy - p.y;
    xTrace(SOURCE_NAME, __LINE__, "Off Monitor (y) : y = %d  cy = %d", r.y, r.cy);
  }
}

void xMonitors::centerToScreen(xRect& r, const xMonitor& m) {
  xTrace(SOURCE_NAME, __LINE__, "centerToScreen(rect): x = %d  y = %d  cx = %d  cy = %d", r.x, r.y,
         r.cx, r.cy);
  r.x = m.cx / 2 - minInt(m.cx, r.cx) / 2 + m.x;
  r.y = m.cy / 2 - minInt(m.cy, r.cy) / 2 + m.y;
  xTrace(SOURCE_NAME, __LINE__, "centerToScreen(result): x = %d  y = %d  cx = %d  cy = %d", r.x, r.y,
         r.cx, r.cy);
}

bool xMonitors::limitToMonitor(xRect& r, const xMonitor& m) {
  xTrace(SOURCE_NAME, __LINE__, "limitToMonitor (screen):  x = %d  y = %d  cx = %d  cy = %d", m.x,
         m.y, m.cx, m.cy);
  xTrace(SOURCE_NAME, __LINE__, "limitToMonitor (window):  x = %d  y = %d  cx = %d  cy = %d", r.x,
         r.y, r.cx, r.cy);
  if (r.isEmpty() || m.isOnMonitor(r)) return false;
  int right = m.x + m.cx;
  int bottom = m.y + m.cy;
  int x = maxInt(m.x, minInt(maxInt(r.x, m.x), right - r.cx));
  int y = maxInt(m.y, minInt(maxInt(r.y, m.y), bottom - r.cy));
  bool moved = x != r.x || y != r.y;
  r.x = x;
  r.y = y;
  return moved;
}

void xMonitors::centerOver(xRect& dialog, const xRect& parent) {
  xTrace(SOURCE_NAME, __LINE__, "Parent: x = %d  y = %d  width = %d  height = %d", parent.x,
         parent.y, parent.cx, parent.cy);
  dialog.x = parent.x + (parent.cx - dialog.cx) / 2;
  dialog.y = parent.y + (parent.cy - dialog.cy) / 2;
  limitToMonitor(dialog, findNearest(referencePoint(parent, 0)));
  xTrace(SOURCE_NAME, __LINE__, "Dialog: x = %d  y = %d  width = %d  height = %d", dialog.x,
         dialog.y, dialog.cx, dialog.cy);
}

xPoint xMonitors::referencePoint(const xRect& r, int showState) {
  if (r.isEmpty() && showState != XSHOW_MAXIMIZED) return xPoint{r.x, r.y};
  return xPoint{r.x + r.cx / 2, r.y + r.cy / 2};
}

void fitReadPlacement(xPlacement& p, const xPoint& defaultSize, const xPoint* parentOrigin,
                      bool frame, xMonitors& monitors) {
  xRect& r = p.rect;
  if (!r.isEmpty() && defaultSize.x != 0 && defaultSize.y != 0) {
    r.cx = maxInt(r.cx, defaultSize.x);
    r.cy = maxInt(r.cy, defaultSize.y);
    xTrace(SOURCE_NAME, __LINE__, "readEx(defaultSize): width = %d  height = %d", r.cx, r.cy);
  }
  if (parentOrigin) {
    r.x += parentOrigin->x;
    r.y += parentOrigin->y;
    xTrace(SOURCE_NAME, __LINE__, "readEx(Screen): x = %d  y = %d", r.x, r.y);
  }
  if (!r.isEmpty() && p.state != XSHOW_MAXIMIZED) {
    if (frame) {
      monitors.limitToScreen(r);
      xTrace(SOURCE_NAME, __LINE__, "readEx(Frame): x = %d  y = %d  width = %d  height = %d", r.x,
             r.y, r.cx, r.cy);
    } else {
      xPoint pt = {r.x, r.y};
      monitors.limitToScreen(pt);
      r.x = pt.x;
      r.y = pt.y;
      xTrace(SOURCE_NAME, __LINE__, "readEx(Dialog): x = %d  y = %d", r.x, r.y);
    }
  }
  // A window never comes back minimised.
  if (isMinimizedState(p.state)) p.state = XSHOW_RESTORE;
}

#ifndef _WIN32
// Without a system there is no monitor to enumerate: callers fill the list.
xMonitors& xMonitors::system() {
  static xMonitors monitors;
  return monitors;
}
#endif
