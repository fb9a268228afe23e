// xWindowBase: what every real window can do beyond the root object: show,
// redraw and be made translucent.
#ifndef XWINBASE_HPP
#define XWINBASE_HPP

#include "xWinobj.hpp"

class xWindowBase : public xWindowObject {
 public:
  xWindowBase() {}
  explicit xWindowBase(unsigned layoutFlags) : xWindowObject(layoutFlags) {}

  // Layered style with alpha 0..255 on, plain style off; then the window and
  // its children are redrawn. Nothing while forbidden or without a window,
  // nor when the system lacks layered windows.
  virtual bool setTransparent(bool on, int alpha = 255);

  // The system's show call; returns whether the window was visible before.
  bool show(int command);
  bool isVisible() const;
  void redraw();

  // Application-wide: forbid any transparency.
  static bool transparencyForbidden;
  // Application-wide: dialogs marked for it turn translucent when inactive.
  static bool inactiveTransparency;
};

#endif
