// Monitors and the arithmetic that keeps windows visible on them.
//
// The arithmetic works on a list of monitor rectangles and needs no system
// call, so it runs on synthetic layouts too; the system's list, its nearest
// monitor queries and the operations on real windows are the Windows part.
#ifndef XMONITOR_HPP
#define XMONITOR_HPP

#include "cArray.hpp"

class xWindowObject;

struct xPoint {
  int x, y;
};

// A rectangle as origin and size.
struct xRect {
  int x, y, cx, cy;

  int right() const { return x + cx; }
  int bottom() const { return y + cy; }
  // As the system's test: no area.
  bool isEmpty() const { return cx <= 0 || cy <= 0; }
  bool isZero() const { return x == 0 && y == 0 && cx == 0 && cy == 0; }
};

// Show states of a placement, the system's show-command numbers.
enum {
  XSHOW_MINIMIZED = 2,  // show minimised
  XSHOW_MAXIMIZED = 3,
  XSHOW_MINIMIZE = 6,
  XSHOW_RESTORE = 9
};

inline bool isMinimizedState(int state) {
  return state == XSHOW_MINIMIZE || state == XSHOW_MINIMIZED;
}

class xMonitor {
 public:
  xMonitor() : handle(0), left(0), top(0), right(0), bottom(0), x(0), y(0), cx(0), cy(0) {}
  xMonitor(unsigned int handle, int x, int y, int cx, int cy);
  virtual ~xMonitor() {}

  void set(int x, int y, int cx, int cy);
  xRect rect() const { return xRect{x, y, cx, cy}; }
  // Left and top inclusive, right and bottom exclusive.
  bool isOnMonitor(const xPoint& pt) const;
  // The whole rectangle lies inside the monitor.
  bool isOnMonitor(const xRect& r) const;

  unsigned int handle;  // 0 for the synthetic whole-screen monitor
  int left, top, right, bottom;
  int x, y, cx, cy;
};

class xMonitors {
 public:
  xMonitors();
  virtual ~xMonitors();

  // The process-wide list of the system's monitors (Windows build), filled
  // on first use.
  static xMonitors& system();

  // Writes every operation's inputs and results as trace reports.
  static bool trace;

  void add(unsigned int handle, int x, int y, int cx, int cy);
  void clear();
  int count() const { return list_.count(); }
  const xMonitor* get(int index) const { return list_.get(index); }
  // The first monitor, or an empty one when the list is empty.
  const xMonitor& first() const;

  // The smallest rectangle holding every monitor; computed on first use and
  // again while the kept value is zero or empty.
  const xRect& screen();
  // The whole screen as a monitor with handle 0.
  xMonitor screenMonitor();

  // The list entry whose handle the system names as nearest to pt; the
  // first monitor when no entry has that handle.
  const xMonitor& findNearest(const xPoint& pt);
  bool isOnScreen(const xPoint& pt);

  void limitToScreen(xPoint& pt);
  void limitToScreen(xRect& r);
  // Centres r on m; the size is kept. Larger than m: aligned left or top.
  void centerToScreen(xRect& r, const xMonitor& m);
  // Moves r so that it lies on m; false when nothing needed to change.
  bool limitToMonitor(xRect& r, const xMonitor& m);
  // Centres dialog over parent and keeps it on the parent's monitor.
  void centerOver(xRect& dialog, const xRect& parent);

  // The point by which a window finds its monitor: its centre, or its
  // top-left corner when the rectangle is empty and it is not maximised.
  static xPoint referencePoint(const xRect& r, int showState);

#ifdef _WIN32
  // Operations on real windows; each needs the window to exist.
  const xMonitor& findNearest(xWindowObject* window);
  void centerToMonitor(xWindowObject* window, const xMonitor& m);
  void limitToMonitor(xWindowObject* window, const xMonitor& m);
  // Centres dialog on the parent's monitor when the two are on different ones.
  void limitToParentScreen(xWindowObject* parent, xWindowObject* dialog);
  // centerToMonitor on the system's nearest monitor of the window.
  void centerOnOwnMonitor(xWindowObject* window);
  // limitToMonitor with the whole screen.
  void limitWindowToScreen(xWindowObject* window);
#endif

 protected:
  // The system's nearest monitor for pt. Synthetic layouts pick the monitor
  // at the least distance (the first of equals), as the system does.
  virtual unsigned int nearestHandle(const xPoint& pt);
  // Fills an empty list from the system; nothing for synthetic layouts.
  virtual void fill() {}

  List<xMonitor> list_;
  xRect screen_;
  xMonitor none_;
};

// A placement record as read from or written to a profile.
struct xPlacement {
  int state;
  xRect rect;
};

// What readEx does to a record after reading it: minimum size, parent
// co-ordinates to screen, back onto the screen, never minimised. parentOrigin
// is 0 for a window without parent.
void fitReadPlacement(xPlacement& p, const xPoint& defaultSize, const xPoint* parentOrigin,
                      bool frame, xMonitors& monitors);

// The "xMonitor" and "xApp" trace reports; nothing while the switch is off.
void xTrace(const char* source, int line, const char* format, ...);

#endif
