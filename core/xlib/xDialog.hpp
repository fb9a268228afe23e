// Dialogs from template resources, run modally or modelessly, with one common
// dialog procedure that hands every message to the dialog object.
#ifndef XDIALOG_HPP
#define XDIALOG_HPP

#include "xWindow.hpp"

// A template reference: a resource name or numeric id and the module that
// holds it (0: the application's resource module at the time of use).
class xResource {
 public:
  xResource(const char* name, HMODULE module = 0);
  xResource(int id, HMODULE module = 0);
  xResource(const xResource& other);
  xResource& operator=(const xResource& other);

  // The form the system's dialog calls take.
  const char* templateName() const;
  HMODULE module() const;
  bool isNumeric() const { return name_.isEmpty(); }
  int number() const { return id_; }
  const char* name() const { return name_.text(); }
  // The object id of a dialog made from it: the number itself, or for a
  // name a value above every numeric id derived from the name.
  int objectId() const;

 private:
  String name_;
  int id_;
  HMODULE module_;
};

class xDialogBase : public xFrameWindow {
 public:
  // Parent 0: the application's main window object owns a modal dialog.
  xDialogBase(xWindowObject* parent, const xResource& tmpl);
  xDialogBase(xWindowObject* parent, const xResource& tmpl, unsigned layoutFlags);
  virtual ~xDialogBase();

  // Modal: end the system's dialog loop with the end code; modeless: destroy
  // the window. An end code of -1 here is an internal error and throws.
  virtual bool destroyWindow();
  virtual void windowProc(xMessage& msg);
  virtual void setFocus();
  // Modal: runs the dialog to its end and returns true; endCode, when given,
  // receives the code from endDialog. Modeless: shows or hides the window
  // that create() made and returns whether it was visible.
  virtual bool doModal(bool show, int* endCode = 0);
  virtual bool preTranslate(MSG* msg);
  virtual const char* className() const { return "xDialog"; }
  // Modeless creation from the template.
  virtual bool create();
  virtual void onDestroy(xMessage& msg);
  virtual int helpId() const { return id_; }
  virtual void onActivate(xMessage& msg);
  // Places the dialog when its layout asks for it; true lets the system set
  // the focus to the first tab stop.
  virtual bool onInitDialog(WPARAM focus);
  virtual bool isOK() const { return endCode_ == 1; }
  // Stores the code, writes it through the caller's pointer, closes.
  virtual bool endDialog(int code);

  // The one procedure of every dialog; the object is the creation parameter.
  static INT_PTR CALLBACK dialogProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
  static INT_PTR dialogMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);

  // Item helpers by control id.
  bool setItemText(int id, const char* text);
  // 0 without reading when there is no window; text cut to capacity - 1.
  int getItemText(int id, char* buffer, int capacity);
  String getItemText(int id);
  LRESULT sendItemMessage(int id, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
  HWND item(int id) const;

  bool isModal() const { return modal_; }
  void setModal(bool modal) { modal_ = modal; }
  bool hasParent() const { return hasParent_; }
  int endCode() const { return endCode_; }
  const xResource& resource() const { return template_; }
  xWindowObject* companion() const { return companion_; }
  void setCompanion(xWindowObject* companion) { companion_ = companion; }
  // Modeless only: translucent while another window is active.
  void setTransparentWhenInactive(bool on) { transparentInactive_ = on; }

  // The dialog being placed and the active dialog.
  static xDialogBase* placing;
  static xDialogBase* active;

 protected:
  // Centring over a visible parent or on the own monitor, stored placement,
  // as the layout's flags ask.
  void place();
  void forgetCurrent();

  xResource template_;
  bool modal_;
  bool hasParent_;
  int endCode_;
  int* endCodePtr_;
  xWindowObject* companion_;
  bool transparentInactive_;

 private:
  void init(xWindowObject* parent);
};

class xDialog : public xDialogBase {
 public:
  xDialog(xWindowObject* parent, const xResource& tmpl) : xDialogBase(parent, tmpl) {}
  xDialog(xWindowObject* parent, const xResource& tmpl, unsigned layoutFlags)
      : xDialogBase(parent, tmpl, layoutFlags) {}

  // Leaves the message to the system's dialog manager.
  virtual void defaultProcessing(xMessage& msg);
  // A command id the framework keeps for its dialogs' own use; a plain
  // dialog does nothing with it.
  enum { RESERVED_COMMAND = 89 };

  // IDOK, RESERVED_COMMAND, IDCANCEL, IDHELP, in that order; id 0 is ignored.
  virtual void onCommand(xMessage& msg);

  virtual void onOK(int id);
  virtual void onCommand89(int id);
  virtual void onCancel(int id);
  virtual void onHelp(int id);
};

// A modeless dialog used as a child panel of another window.
class xDialogPanel : public xDialog {
 public:
  xDialogPanel(xWindowObject* parent, const xResource& tmpl);
  // A panel lives on inside its parent: Enter and Escape do not end it.
  virtual void onOK(int id);
  virtual void onCancel(int id);
};

#endif
