// Placement arithmetic on synthetic monitor layouts. Nothing in the plug-in
// places a window by monitor or profile, so each operation shows its main
// rule once.
#include <gtest/gtest.h>

#include <string>

#include "xMonitor.hpp"

static std::string str(const xRect& r) {
  return std::to_string(r.x) + " " + std::to_string(r.y) + " " + std::to_string(r.cx) + " " +
         std::to_string(r.cy);
}

// A 1920 x 1080 primary monitor with a 1280 x 1024 one to its right.
class TwoMonitors : public ::testing::Test {
 protected:
  void SetUp() override {
    m.add(1, 0, 0, 1920, 1080);
    m.add(2, 1920, 0, 1280, 1024);
  }
  xMonitors m;
};

// The screen holds every monitor, a monitor's right edge is not on it, and
// a point off the screen belongs to the monitor nearest to it.
TEST_F(TwoMonitors, ScreenEdgesAndNearest) {
  EXPECT_EQ("0 0 3200 1080", str(m.screen()));
  EXPECT_FALSE(m.get(0)->isOnMonitor(xPoint{1920, 0}));
  EXPECT_EQ(2u, m.findNearest(xPoint{5000, 1050}).handle);
}

// A point off the screen moves one co-ordinate onto it; a rectangle hanging
// off its bottom is cut there.
TEST_F(TwoMonitors, LimitToScreen) {
  xPoint p = {-100, 500};
  m.limitToScreen(p);
  EXPECT_EQ(0, p.x);
  EXPECT_EQ(500, p.y);
  xRect r = {100, 900, 400, 400};
  m.limitToScreen(r);
  EXPECT_EQ("100 900 400 180", str(r));
}

// Centring and limiting move a rectangle but keep its size.
TEST_F(TwoMonitors, CenterAndLimitToMonitor) {
  xRect r = {0, 0, 300, 200};
  m.centerToScreen(r, *m.get(1));
  EXPECT_EQ("2410 412 300 200", str(r));
  r = {1900, 100, 500, 300};
  EXPECT_TRUE(m.limitToMonitor(r, *m.get(0)));
  EXPECT_EQ("1420 100 500 300", str(r));
  xRect dialog = {0, 0, 200, 100};
  m.centerOver(dialog, xRect{100, 100, 600, 400});
  EXPECT_EQ("300 250 200 100", str(dialog));
}

// A placement read back grows to the default size, moves from its parent's
// co-ordinates to the screen's, comes back onto the screen and is never
// minimised.
TEST_F(TwoMonitors, ReadPlacementFitting) {
  xPoint origin = {50, 60};
  xPlacement p = {1, {10, 20, 200, 150}};
  fitReadPlacement(p, xPoint{300, 100}, &origin, false, m);
  EXPECT_EQ("60 80 300 150", str(p.rect));
  p = {XSHOW_MINIMIZED, {-400, 100, 300, 200}};
  fitReadPlacement(p, xPoint{0, 0}, 0, false, m);
  EXPECT_EQ("0 100 300 200", str(p.rect));
  EXPECT_EQ(XSHOW_RESTORE, p.state);
}
