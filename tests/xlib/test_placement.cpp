// Placement arithmetic on synthetic monitor layouts.
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
  const xMonitor& primary() { return *m.get(0); }
  const xMonitor& right() { return *m.get(1); }
  xMonitors m;
};

TEST_F(TwoMonitors, ScreenEdgesAndNearest) {
  EXPECT_EQ("0 0 3200 1080", str(m.screen()));
  EXPECT_TRUE(primary().isOnMonitor(xPoint{1919, 1079}));
  EXPECT_FALSE(primary().isOnMonitor(xPoint{1920, 0}));  // edges are half-open
  EXPECT_FALSE(primary().isOnMonitor(xRect{1, 0, 1920, 1080}));
  EXPECT_EQ(2u, m.findNearest(xPoint{5000, 1050}).handle);
  EXPECT_EQ(1u, m.findNearest(xPoint{-300, 2000}).handle);
  m.add(3, -1280, -200, 1280, 1024);
  EXPECT_EQ("-1280 -200 4480 1280", str(m.screen()));
}

// A system that names a monitor missing from the list.
struct UnknownNearest : xMonitors {
  unsigned int nearestHandle(const xPoint&) override { return 99; }
};

TEST(Monitors, UnknownNearestMonitorFallsBackToTheFirst) {
  UnknownNearest u;
  u.add(7, 100, 100, 800, 600);
  u.add(8, 900, 100, 800, 600);
  EXPECT_EQ(7u, u.findNearest(xPoint{1000, 200}).handle);
  EXPECT_EQ(0, xMonitors().findNearest(xPoint{1, 1}).cx);
}

// A point moves the fewest coordinates onto the screen.
TEST_F(TwoMonitors, LimitPoint) {
  struct { xPoint in, out; } rows[] = {
      {{2000, 900}, {2000, 900}}, {{-100, 500}, {0, 500}}, {{100, 1200}, {100, 0}},
      {{3300, 500}, {1920, 500}}, {{-100, 2000}, {0, 0}}};
  for (auto& r : rows) {
    xPoint p = r.in;
    m.limitToScreen(p);
    EXPECT_EQ(r.out.x, p.x) << r.in.x << "," << r.in.y;
    EXPECT_EQ(r.out.y, p.y) << r.in.x << "," << r.in.y;
  }
}

// Rectangles keep their own arithmetic: the width becomes the monitor's width
// less the initial x, not a clip to its right edge; likewise the height. A
// corner off the screen: the framed window of ReadPlacementFitting.
TEST_F(TwoMonitors, LimitRect) {
  struct { xRect in; const char* out; } rows[] = {
      {{100, 100, 400, 300}, "100 100 400 300"},
      {{2500, 100, 1000, 300}, "2500 100 -1220 300"},
      {{100, 900, 400, 400}, "100 900 400 180"}};
  for (auto& r : rows) {
    xRect x = r.in;
    m.limitToScreen(x);
    EXPECT_EQ(r.out, str(x)) << str(r.in);
  }
}

TEST_F(TwoMonitors, CenterAndLimitToMonitor) {
  struct { xRect in; const xMonitor& on; const char* out; } center[] = {
      {{0, 0, 300, 200}, right(), "2410 412 300 200"},
      {{5, 5, 1500, 2000}, right(), "1920 0 1500 2000"}};
  for (auto& r : center) {
    xRect x = r.in;
    m.centerToScreen(x, r.on);
    EXPECT_EQ(r.out, str(x)) << str(r.in);
  }
  struct { xRect in; const xMonitor& on; bool moved; const char* out; } limit[] = {
      {{1900, 100, 500, 300}, primary(), true, "1420 100 500 300"},
      {{10, 500, 100, 1500}, right(), true, "1920 0 100 1500"},
      {{10, 10, 100, 100}, primary(), false, "10 10 100 100"},
      {{-5000, -5000, 0, 100}, primary(), false, "-5000 -5000 0 100"}};
  for (auto& r : limit) {
    xRect x = r.in;
    EXPECT_EQ(r.moved, m.limitToMonitor(x, r.on)) << str(r.in);
    EXPECT_EQ(r.out, str(x)) << str(r.in);
  }
  xRect dialog = {0, 0, 200, 100}, big = {0, 0, 800, 100};
  m.centerOver(dialog, xRect{100, 100, 600, 400});
  EXPECT_EQ("300 250 200 100", str(dialog));
  m.centerOver(big, xRect{1700, 100, 200, 200});  // stays on the parent's monitor
  EXPECT_EQ(1920 - 800, big.x);
}

TEST_F(TwoMonitors, ReadPlacementFitting) {
  xPoint origin = {50, 60};
  struct { xPlacement in; xPoint size; xPoint* origin; bool frame; const char* out; } rows[] = {
      {{1, {100, 100, 200, 150}}, {300, 100}, 0, false, "100 100 300 150"},
      {{1, {10, 20, 200, 150}}, {0, 0}, &origin, false, "60 80 200 150"},
      {{1, {-400, 100, 300, 200}}, {0, 0}, 0, false, "0 100 300 200"},  // a dialog keeps its size
      {{1, {-400, 100, 300, 200}}, {0, 0}, 0, true, "0 0 700 980"},  // its far corner stays
      {{XSHOW_MAXIMIZED, {-400, 100, 300, 200}}, {0, 0}, 0, true, "-400 100 300 200"}};
  for (auto& r : rows) {
    fitReadPlacement(r.in, r.size, r.origin, r.frame, m);
    EXPECT_EQ(r.out, str(r.in.rect));
  }
  xPlacement minimised = {XSHOW_MINIMIZED, {0, 0, 0, 0}};
  fitReadPlacement(minimised, xPoint{300, 300}, 0, true, m);
  EXPECT_EQ(XSHOW_RESTORE, minimised.state);
}
