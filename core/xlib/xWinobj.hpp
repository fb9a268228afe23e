// The root of the window-object chain: one object per on-screen window, a
// process-wide table from window handle to object, and the message record
// that carries each window message through the virtual handlers.
//
// Everything here belongs to the thread that owns the windows: the table, its
// cache and the objects are used without locks.
#ifndef XWINOBJ_HPP
#define XWINOBJ_HPP

#include <windows.h>

#include "cArray.hpp"
#include "cString.hpp"
#include "xMonitor.hpp"

// One window message on its way through the handlers. Every field is a
// 32-bit word except the handled byte; hwnd is left 0 on the dialog path.
struct xMessage {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD reserved[3];  // free for the handlers
  LRESULT result;
  BYTE handled;

  int commandId() const { return (int)LOWORD(wParam); }
};

// The position, size and show state of a window in screen co-ordinates,
// plus what the owner wants done with them when the window appears.
class xLayout {
 public:
  // Placement requests, combined as bit flags.
  enum {
    CENTER = 1,    // centre over a visible parent, else on the own monitor
    RESTORE = 2,   // take the stored placement from the application profile
    ONSCREEN = 4,  // bring a window that is off the screen back onto it
  };

  explicit xLayout(unsigned flags = 0);
  virtual ~xLayout();

  unsigned flags() const { return flags_; }
  void setFlags(unsigned flags) { flags_ = flags; }
  bool wantsPlacement() const { return flags_ != 0; }

  const xRect& rect() const { return rect_; }
  void setRect(const xRect& rect) { rect_ = rect; }
  int showState() const { return state_; }
  void setShowState(int state) { state_ = state; }

  // Reads rectangle (the restored one for a minimised or maximised window)
  // and show state from the window.
  void refresh(HWND hwnd);
  // Moves the window to the rectangle; the show state is left to the caller.
  bool apply(HWND hwnd);

 private:
  unsigned flags_;
  xRect rect_;
  int state_;
};

class xWindowObject {
 public:
  enum { TAG = 0xFEEDBEAF };
  // Companion notifications.
  enum { COMPANION_ACTIVATED = 1, COMPANION_CREATED = 2 };

  // Kept alive by its owner (keep-alive 1), no layout.
  xWindowObject();
  // With a layout object carrying the given placement flags; such an object
  // deletes itself when its window is finally destroyed.
  explicit xWindowObject(unsigned layoutFlags);

  // Handle table. attach of a handle already present changes nothing.
  static void attach(HWND hwnd, xWindowObject* object);
  static void detach(HWND hwnd);
  // 0 for a zero or unknown handle, or for an entry whose object is no longer
  // a live window object.
  static xWindowObject* fromHandle(HWND hwnd);
  static int tableCount();

  virtual void addChild(xWindowObject* child, int index = -1);
  virtual bool destroyWindow();
  virtual void removeChild(xWindowObject* child);
  virtual LRESULT onCreate(CREATESTRUCTA* data);
  virtual void defaultProcessing(xMessage& msg);
  virtual void onCommand(xMessage& msg);
  virtual void windowProc(xMessage& msg);
  virtual void onNotify(xMessage& msg);
  virtual ~xWindowObject();
  virtual bool isCreated() const;
  virtual const String& getText();
  virtual int getTextLength() const;
  virtual void setText(const char* text);
  virtual bool move(const xRect& rect);
  virtual void setParent(xWindowObject* parent, int index = -1);
  virtual void setFocus();
  virtual HWND getHandle() const { return handle_; }
  virtual bool preTranslate(MSG* msg);
  virtual const char* className() const { return "xWindowObject"; }
  // Told by a dialog whose companion this object is.
  virtual void onCompanion(xWindowObject* source, int event);
  // Runs when the close sequence starts, before any window is destroyed.
  virtual void onClosing();

  // The close sequence: closing flag, close hook, children's marks, then the
  // window. An auto-delete object whose window is already gone is deleted
  // here; with a live window it is deleted at its final destroy message.
  bool closeWindow();

  // The auto-delete mark, for this object and, recursively, its children.
  void setAutoDelete(bool on);
  bool isAutoDelete() const { return !keepAlive_; }

  bool isClosing() const { return closing_; }
  bool isPopup() const { return popup_; }
  int id() const { return id_; }
  void setId(int id) { id_ = id; }
  xLayout* layout() const { return layout_; }
  // Takes ownership; 0 removes the layout.
  void setLayout(xLayout* layout);
  xWindowObject* parent() const { return parent_; }
  int childCount() const { return children_.count(); }
  xWindowObject* child(int index) const { return children_.get(index); }
  const String& cachedText() const { return text_; }

  // A timer of the object's own, stopped at its final destroy message.
  bool setTimer(UINT id, UINT milliseconds);
  void killTimer();

 protected:
  // Final destroy: timer, layout, table, handle, default processing, and the
  // auto-delete mark honoured last. Nothing may touch the object afterwards.
  void onFinalDestroy(xMessage& msg);

  HWND handle_;
  DWORD tag_;
  String text_;
  bool closing_;
  int id_;
  bool popup_;
  bool keepAlive_;
  xLayout* layout_;
  xWindowObject* parent_;
  Array<xWindowObject> children_;
  UINT timer_;

 private:
  xWindowObject(const xWindowObject&) = delete;
  xWindowObject& operator=(const xWindowObject&) = delete;
};

// A C++ exception cannot unwind through the system's frames on i686 (it
// would end the host): every procedure the system calls catches all,
// reports it here and answers with a defined result.
void xReportCallbackException(const char* procedure);

#endif
