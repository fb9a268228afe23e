// Placement arithmetic on synthetic monitor layouts.
#include <gtest/gtest.h>
#include <stdio.h>

#include <fstream>
#include <sstream>
#include <string>

#include "cError.hpp"
#include "xMonitor.hpp"

// A 1920 x 1080 primary monitor with a 1280 x 1024 one to its right.
class TwoMonitors : public ::testing::Test {
 protected:
  void SetUp() override {
    m.add(1, 0, 0, 1920, 1080);
    m.add(2, 1920, 0, 1280, 1024);
  }
  const xMonitor& primary() { return *m.get(0); }
  const xMonitor& right() { return *m.get(1); }
  xMonitors m;
};

static void expectRect(const xRect& r, int x, int y, int cx, int cy) {
  EXPECT_EQ(x, r.x);
  EXPECT_EQ(y, r.y);
  EXPECT_EQ(cx, r.cx);
  EXPECT_EQ(cy, r.cy);
}

TEST_F(TwoMonitors, ScreenHoldsEveryMonitorAndFollowsChanges) {
  expectRect(m.screen(), 0, 0, 3200, 1080);
  m.add(3, -1280, -200, 1280, 1024);
  expectRect(m.screen(), -1280, -200, 4480, 1280);
  EXPECT_EQ(0u, m.screenMonitor().handle);
}

TEST_F(TwoMonitors, MonitorEdgesAreHalfOpen) {
  EXPECT_TRUE(primary().isOnMonitor(xPoint{0, 0}));
  EXPECT_TRUE(primary().isOnMonitor(xPoint{1919, 1079}));
  EXPECT_FALSE(primary().isOnMonitor(xPoint{1920, 0}));
  EXPECT_FALSE(primary().isOnMonitor(xPoint{0, 1080}));
  EXPECT_TRUE(right().isOnMonitor(xPoint{1920, 0}));
  EXPECT_TRUE(primary().isOnMonitor(xRect{0, 0, 1920, 1080}));
  EXPECT_FALSE(primary().isOnMonitor(xRect{1, 0, 1920, 1080}));
}

TEST_F(TwoMonitors, FindNearestPicksTheClosestMonitor) {
  EXPECT_EQ(2u, m.findNearest(xPoint{2500, 500}).handle);
  EXPECT_EQ(2u, m.findNearest(xPoint{5000, 1050}).handle);
  EXPECT_EQ(1u, m.findNearest(xPoint{-300, 2000}).handle);
  EXPECT_EQ(1u, m.findNearest(xPoint{1919, 1079}).handle);
}

// A system that names a monitor missing from the list.
class UnknownNearest : public xMonitors {
 protected:
  unsigned int nearestHandle(const xPoint&) override { return 99; }
};

TEST(Monitors, UnknownNearestMonitorFallsBackToTheFirst) {
  UnknownNearest u;
  u.add(7, 100, 100, 800, 600);
  u.add(8, 900, 100, 800, 600);
  EXPECT_EQ(7u, u.findNearest(xPoint{1000, 200}).handle);
  xMonitors empty;
  EXPECT_EQ(0, empty.findNearest(xPoint{1, 1}).cx);
}

TEST_F(TwoMonitors, LimitPointMovesTheFewestCoordinates) {
  xPoint on = {2000, 900};
  m.limitToScreen(on);
  EXPECT_EQ(2000, on.x);
  EXPECT_EQ(900, on.y);

  xPoint left = {-100, 500};  // changing y cannot help: only x moves
  m.limitToScreen(left);
  EXPECT_EQ(0, left.x);
  EXPECT_EQ(500, left.y);

  xPoint below = {100, 1200};  // y alone suffices
  m.limitToScreen(below);
  EXPECT_EQ(100, below.x);
  EXPECT_EQ(0, below.y);

  xPoint beyond = {3300, 500};  // right of the second monitor
  m.limitToScreen(beyond);
  EXPECT_EQ(1920, beyond.x);
  EXPECT_EQ(500, beyond.y);

  xPoint corner = {-100, 2000};
  m.limitToScreen(corner);
  EXPECT_EQ(0, corner.x);
  EXPECT_EQ(0, corner.y);
}

TEST_F(TwoMonitors, LimitRectKeepsItsOwnArithmetic) {
  xRect inside = {100, 100, 400, 300};
  m.limitToScreen(inside);
  expectRect(inside, 100, 100, 400, 300);

  // The width becomes the monitor's width less the initial x, not a clip to
  // its right edge.
  xRect wide = {2500, 100, 1000, 300};
  m.limitToScreen(wide);
  expectRect(wide, 2500, 100, 1280 - 2500, 300);

  xRect low = {100, 900, 400, 400};
  m.limitToScreen(low);
  expectRect(low, 100, 900, 400, 1080 - 900);

  // The corner moves to the monitor's origin with the far corner fixed; the
  // height test then uses the initial x, which is off the screen.
  xRect off = {-200, 100, 600, 300};
  m.limitToScreen(off);
  expectRect(off, 0, 0, 800, 1080 - 100);
}

TEST_F(TwoMonitors, CenterToScreen) {
  xRect r = {0, 0, 300, 200};
  m.centerToScreen(r, right());
  expectRect(r, 640 - 150 + 1920, 512 - 100, 300, 200);

  xRect wide = {5, 5, 1500, 2000};
  m.centerToScreen(wide, right());
  expectRect(wide, 1920, 0, 1500, 2000);

  xRect odd = {0, 0, 301, 201};  // halves truncate
  m.centerToScreen(odd, primary());
  EXPECT_EQ(960 - 150, odd.x);
  EXPECT_EQ(540 - 100, odd.y);

  xRect negative = {0, 0, -301, 100};  // truncation is towards zero
  m.centerToScreen(negative, primary());
  EXPECT_EQ(960 + 150, negative.x);
}

TEST_F(TwoMonitors, LimitToMonitor) {
  xRect narrow = {1900, 100, 500, 300};
  EXPECT_TRUE(m.limitToMonitor(narrow, primary()));
  expectRect(narrow, 1420, 100, 500, 300);

  xRect wide = {1900, 100, 2000, 300};
  EXPECT_TRUE(m.limitToMonitor(wide, primary()));
  expectRect(wide, 0, 100, 2000, 300);

  xRect tall = {10, 500, 100, 1500};
  EXPECT_TRUE(m.limitToMonitor(tall, right()));
  expectRect(tall, 1920, 0, 100, 1500);

  xRect inside = {10, 10, 100, 100};
  EXPECT_FALSE(m.limitToMonitor(inside, primary()));
  xRect empty = {-5000, -5000, 0, 100};
  EXPECT_FALSE(m.limitToMonitor(empty, primary()));
  EXPECT_EQ(-5000, empty.x);
}

TEST_F(TwoMonitors, CenterOverParentStaysOnTheParentsMonitor) {
  xRect dialog = {0, 0, 200, 100};
  m.centerOver(dialog, xRect{100, 100, 600, 400});
  expectRect(dialog, 300, 250, 200, 100);

  xRect big = {0, 0, 800, 100};  // parent near the right edge of the primary
  m.centerOver(big, xRect{1700, 100, 200, 200});
  EXPECT_EQ(1920 - 800, big.x);
}

TEST_F(TwoMonitors, ReadPlacementFitting) {
  xPlacement p = {1, {100, 100, 200, 150}};
  fitReadPlacement(p, xPoint{300, 100}, 0, false, m);
  expectRect(p.rect, 100, 100, 300, 150);

  xPlacement halfDefault = {1, {100, 100, 200, 150}};
  fitReadPlacement(halfDefault, xPoint{300, 0}, 0, false, m);
  EXPECT_EQ(200, halfDefault.rect.cx);

  xPoint origin = {50, 60};
  xPlacement child = {1, {10, 20, 200, 150}};
  fitReadPlacement(child, xPoint{0, 0}, &origin, false, m);
  expectRect(child.rect, 60, 80, 200, 150);

  // A dialog keeps its size; a frame gets the rectangle arithmetic.
  xPlacement dialog = {1, {-400, 100, 300, 200}};
  fitReadPlacement(dialog, xPoint{0, 0}, 0, false, m);
  expectRect(dialog.rect, 0, 100, 300, 200);
  xPlacement frame = {1, {-400, 100, 300, 200}};
  fitReadPlacement(frame, xPoint{0, 0}, 0, true, m);
  expectRect(frame.rect, 0, 0, 700, 1080 - 100);

  xPlacement maximised = {XSHOW_MAXIMIZED, {-400, 100, 300, 200}};
  fitReadPlacement(maximised, xPoint{0, 0}, 0, true, m);
  EXPECT_EQ(-400, maximised.rect.x);

  for (int state : {XSHOW_MINIMIZE, XSHOW_MINIMIZED}) {
    xPlacement minimised = {state, {0, 0, 0, 0}};
    fitReadPlacement(minimised, xPoint{300, 300}, 0, true, m);
    EXPECT_EQ(XSHOW_RESTORE, minimised.state);
    expectRect(minimised.rect, 0, 0, 0, 0);
  }
}

static std::string readFile(const char* path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

TEST_F(TwoMonitors, TracesOnlyWhileTheSwitchIsOn) {
  const char* log = "xlib_placement_trace.log";
  remove(log);
  std::string saved = logPath();
  setLogPath(log);

  xPoint quiet = {-100, 500};
  m.limitToScreen(quiet);
  EXPECT_EQ("", readFile(log));

  xMonitors::trace = true;
  xPoint pt = {-100, 500};
  m.limitToScreen(pt);
  xRect r = {0, 0, 300, 200};
  m.centerToScreen(r, right());
  xPlacement p = {1, {-400, 100, 300, 200}};
  fitReadPlacement(p, xPoint{0, 0}, 0, false, m);
  xMonitors::trace = false;
  setLogPath(saved.c_str());

  std::string text = readFile(log);
  for (const char* line : {
           "RUNTIME   \"xMonitor\"",
           ">> limitToScreen(pt): x = -100  y = 500\n",
           ">> Monitor: x = 0  y = 0\n",
           ">> Off Monitor (1): x = -100  y = 0\n",
           ">> centerToScreen(rect): x = 0  y = 0  cx = 300  cy = 200\n",
           ">> centerToScreen(result): x = 2410  y = 412  cx = 300  cy = 200\n",
           "\"xApp\"",
           ">> readEx(Dialog): x = 0  y = 100\n",
       })
    EXPECT_NE(std::string::npos, text.find(line)) << line;
  EXPECT_EQ(std::string::npos, text.find("Off Monitor (2)"));
  remove(log);
}
