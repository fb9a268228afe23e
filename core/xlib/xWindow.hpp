// xWindow: a window of the framework's own class, its messages handed to
// virtual handlers; and xFrameWindow, a top-level window with the handlers
// of a frame. An xWindow can also wrap a window that belongs to someone else
// (the host's window as a dialog's owner): such a window is never destroyed
// by its wrapper.
#ifndef XWINDOW_HPP
#define XWINDOW_HPP

#include "xWinbase.hpp"

class xWindow : public xWindowBase {
 public:
  xWindow() {}
  explicit xWindow(unsigned layoutFlags) : xWindowBase(layoutFlags) {}
  // Wraps a foreign window: not entered in the handle table, not destroyed.
  explicit xWindow(HWND foreign);

  // Creates the window of class "xWindow". A child window needs a parent
  // with a window; popups are owned by the parent's window.
  bool create(xWindowObject* parent, const char* title, DWORD style, const xRect& rect,
              DWORD exStyle = 0);
  // Points a wrapper at another foreign window.
  void wrap(HWND foreign);

  virtual void windowProc(xMessage& msg);
  virtual const char* className() const { return "xWindow"; }

  virtual void onClose(xMessage& msg);
  virtual void onEraseBackground(xMessage& msg);
  virtual void onHScroll(xMessage& msg);
  virtual void onVScroll(xMessage& msg);
  virtual void onSize(xMessage& msg);
  virtual void onSetFocus(xMessage& msg);
  virtual void onKillFocus(xMessage& msg);

  // The window procedure of class "xWindow", registered on first use.
  static LRESULT CALLBACK commonProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
  static LRESULT windowMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
  static bool registerClass();
};

class xFrameWindow : public xWindow {
 public:
  xFrameWindow() { popup_ = true; }
  explicit xFrameWindow(unsigned layoutFlags) : xWindow(layoutFlags) { popup_ = true; }

  virtual void windowProc(xMessage& msg);

  // The application's main window ends the message loop when destroyed.
  virtual void onDestroy(xMessage& msg);
  virtual void onMenuSelect(xMessage& msg);
  virtual void onInitMenuPopup(xMessage& msg);
  virtual void onSysColorChange(xMessage& msg);
  virtual void onSettingChange(xMessage& msg);
};

#endif
