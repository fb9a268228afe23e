// Dialog life cycle: the common dialog procedure, modal and modeless runs,
// the end of a dialog, placement and the item helpers.
#include "xDialog.hpp"

#include <stdlib.h>
#include <string.h>

#include "cCrash.hpp"
#include "cHash.hpp"
#include "xApp.hpp"


xDialogBase* xDialogBase::placing = 0;
xDialogBase* xDialogBase::active = 0;

// The modal dialog whose template is being made into a window: set before
// the system call, cleared when the window reaches the object. Still set
// after a failed run, it proves that the object never had a window.
static xDialogBase* creating = 0;

static void exceptionBox(HWND owner, const char* text) {
  MessageBoxA(owner, text, "Exception", MB_OK | MB_ICONERROR);
}

xResource::xResource(const char* name, HMODULE module) : id_(0), module_(module) {
  if (!name) {
    report(SOURCE_NAME, __LINE__);
  } else if (IS_INTRESOURCE(name)) {
    id_ = (int)(UINT_PTR)name;  // a number dressed as a name
  } else {
    name_.assign(name);
  }
}

xResource::xResource(int id, HMODULE module) : id_(id), module_(module) {}

xResource::xResource(const xResource& other)
    : name_(other.name_), id_(other.id_), module_(other.module_) {}

xResource& xResource::operator=(const xResource& other) {
  name_ = other.name_;
  id_ = other.id_;
  module_ = other.module_;
  return *this;
}

const char* xResource::templateName() const {
  return isNumeric() ? MAKEINTRESOURCEA(id_) : name_.text();
}

HMODULE xResource::module() const { return module_ ? module_ : xApplication::instance(); }

int xResource::objectId() const {
  if (isNumeric()) return id_;
  // Resource numbers stop at 0xFFFF, so a named template never shares one.
  return 0x10000 + (int)(hashlittle(name_.text(), name_.length(), 0) & 0xFFFF);
}

xDialogBase::xDialogBase(xWindowObject* parent, const xResource& tmpl) : template_(tmpl) {
  init(parent);
}

xDialogBase::xDialogBase(xWindowObject* parent, const xResource& tmpl, unsigned layoutFlags)
    : xFrameWindow(layoutFlags), template_(tmpl) {
  init(parent);
}

void xDialogBase::init(xWindowObject* parent) {
  modal_ = false;
  hasParent_ = parent != 0;
  endCode_ = 0;
  endCodePtr_ = 0;
  companion_ = 0;
  transparentInactive_ = false;
  id_ = template_.objectId();
  popup_ = true;
  if (parent) setParent(parent, -1);
}

xDialogBase::~xDialogBase() {
  xApplication::removeModeless(this);
  forgetCurrent();
  if (creating == this) creating = 0;
}

void xDialogBase::forgetCurrent() {
  if (placing == this) placing = 0;
  if (active == this) active = 0;
}

bool xDialogBase::destroyWindow() {
  if (endCode_ == -1) {  // not an end code: reported, and the window stays
    report(SOURCE_NAME, 377);
    return false;
  }
  if (!isCreated()) return false;
  if (modal_) return EndDialog(handle_, endCode_) != 0;
  return DestroyWindow(handle_) != 0;  // may delete this
}

void xDialogBase::windowProc(xMessage& msg) {
  switch (msg.message) {
    case 0: break;
    case WM_ACTIVATE: onActivate(msg); break;
    case WM_COMMAND: onCommand(msg); break;
    case WM_NOTIFY: onNotify(msg); break;
    default: xFrameWindow::windowProc(msg); break;
  }
}

void xDialogBase::setFocus() {
  if (isCreated()) ::SetFocus(handle_);
}

bool xDialogBase::doModal(bool showIt, int* endCode) {
  xWaitCursor wait;
  endCodePtr_ = endCode;
  if (!modal_) return show(showIt ? SW_SHOW : SW_HIDE);

  xWindowObject* owner = parent_;
  if (!owner) {
    owner = xApplication::mainWindow();
    if (!owner) report(SOURCE_NAME, 546);
  }
  HWND ownerHandle = owner ? owner->getHandle() : 0;
  if (handle_ && !closing_) {
    report(SOURCE_NAME, 552, "Dialog already exists!");
    exceptionBox(ownerHandle, "Dialog already exists!");
  }
  // From here on the object may be deleted by its final destroy message:
  // only copies and the address itself are used.
  xDialogBase* self = this;
  bool autoDelete = isAutoDelete();
  creating = self;
  INT_PTR result = DialogBoxParamA(template_.module(), template_.templateName(), ownerHandle,
                                   dialogProc, (LPARAM)self);
  bool neverCreated = creating == self;
  if (neverCreated) creating = 0;
  if (result == -1) {
    report(SOURCE_NAME, 561, "Dialog creation failed!");
    exceptionBox(ownerHandle, "Dialog creation failed!");
  }
  if (placing == self) placing = 0;
  if (active == self) active = 0;
  // An object that was to delete itself with its window never got one.
  if (result == -1 && neverCreated && autoDelete) delete self;
  return true;
}

bool xDialogBase::preTranslate(MSG* msg) {
  return isCreated() && IsDialogMessageA(handle_, msg);
}

bool xDialogBase::create() {
  if (modal_) {
    report(SOURCE_NAME, 313);
    return false;
  }
  if (!handle_) {
    xWindowObject* owner = parent_ ? parent_ : xApplication::mainWindow();
    HWND ownerHandle = owner && owner->isCreated() ? owner->getHandle() : 0;
    CreateDialogParamA(template_.module(), template_.templateName(), ownerHandle, dialogProc,
                       (LPARAM)this);
  } else if (!IsWindow(handle_)) {
    report(SOURCE_NAME, 319);
  }
  if (!isCreated()) {
    report(SOURCE_NAME, 338, "xDialog create failed!");
    exceptionBox(0, "xDialog create failed!");
    return false;
  }
  if (layout_) {
    xApplication::addModeless(this);
    if (layout_->wantsPlacement()) xMonitors::system().limitWindowToScreen(this);
  }
  if (companion_) companion_->onCompanion(this, COMPANION_CREATED);
  return true;
}

void xDialogBase::onDestroy(xMessage& msg) {
  forgetCurrent();
  // A dialog that restores its placement also keeps it.
  xProfile* profile = xApplication::profile();
  if (profile && layout_ && (layout_->flags() & xLayout::RESTORE)) profile->writeEx(this);
  if (modal_) return;
  xFrameWindow::onDestroy(msg);
}

void xDialogBase::onActivate(xMessage& msg) {
  bool activating = LOWORD(msg.wParam) != WA_INACTIVE;
  bool fade = !modal_ && transparentInactive_ && inactiveTransparency;
  if (activating) {
    active = this;
    if (companion_) companion_->onCompanion(this, COMPANION_ACTIVATED);
    if (fade) setTransparent(false);
  } else {
    active = 0;
    if (fade) setTransparent(true, 120);
  }
  msg.result = 0;
}

bool xDialogBase::onInitDialog(WPARAM) {
  place();
  return true;
}

void xDialogBase::place() {
  if (!layout_ || !layout_->wantsPlacement() || !isCreated()) return;
  placing = this;
  xMonitors& monitors = xMonitors::system();
  unsigned flags = layout_->flags();
  layout_->refresh(handle_);
  xProfile* profile = xApplication::profile();
  bool restored = (flags & xLayout::RESTORE) && profile && profile->readEx(this);
  if (!restored && (flags & xLayout::CENTER)) {
    HWND parent = parent_ ? parent_->getHandle() : 0;
    if (parent && IsWindow(parent) && IsWindowVisible(parent)) {
      RECT pr;
      GetWindowRect(parent, &pr);
      xRect p = {pr.left, pr.top, pr.right - pr.left, pr.bottom - pr.top};
      xRect d = layout_->rect();
      monitors.centerOver(d, p);
      move(d);
    } else {
      monitors.centerOnOwnMonitor(this);
    }
  }
  if (flags & xLayout::ONSCREEN) monitors.limitWindowToScreen(this);
}

bool xDialogBase::endDialog(int code) {
  endCode_ = code;
  if (endCodePtr_) *endCodePtr_ = code;
  return closeWindow();  // may delete this
}

INT_PTR CALLBACK xDialogBase::dialogProc(HWND hwnd, UINT message, WPARAM wParam,
                                          LPARAM lParam) {
  try {
    return dialogMessage(hwnd, message, wParam, lParam);
  } catch (...) {
    xReportCallbackException("a dialog procedure");
    if (message == WM_NCDESTROY) detach(hwnd);
    return FALSE;
  }
}

INT_PTR xDialogBase::dialogMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    xDialogBase* dialog = (xDialogBase*)lParam;
    if (!dialog) {
      report(SOURCE_NAME, 67);
      return FALSE;
    }
    if (creating == dialog) creating = 0;
    attach(hwnd, dialog);
    if (!dialog->text_.isEmpty()) SetWindowTextA(hwnd, dialog->text_.text());
    dialog->endCode_ = 2;
    dialog->closing_ = false;
    dialog->handle_ = hwnd;
    return dialog->onInitDialog(wParam) ? TRUE : FALSE;
  }
  xWindowObject* object = fromHandle(hwnd);
  if (!object) return 0;
  xMessage msg = {0, message, wParam, lParam, {0, 0, 0}, 0, 0};
  object->windowProc(msg);
  // The object may be gone by now; the table entry must go with the window.
  if (message == WM_NCDESTROY) detach(hwnd);
  return msg.result ? 1 : 0;
}

bool xDialogBase::setItemText(int id, const char* text) {
  return isCreated() && SetDlgItemTextA(handle_, id, text ? text : "");
}

int xDialogBase::getItemText(int id, char* buffer, int capacity) {
  if (!isCreated() || !buffer || capacity < 1) return 0;
  return (int)GetDlgItemTextA(handle_, id, buffer, capacity);
}

String xDialogBase::getItemText(int id) {
  HWND control = item(id);
  if (!control) return String();
  int n = GetWindowTextLengthA(control);
  if (n < 1) return String();
  char* buffer = (char*)malloc(n + 1);
  if (!buffer) return String();
  buffer[0] = 0;
  GetWindowTextA(control, buffer, n + 1);
  String text(buffer);
  free(buffer);
  return text;
}

LRESULT xDialogBase::sendItemMessage(int id, UINT message, WPARAM wParam, LPARAM lParam) {
  if (!isCreated()) return 0;
  return SendDlgItemMessageA(handle_, id, message, wParam, lParam);
}

HWND xDialogBase::item(int id) const { return isCreated() ? GetDlgItem(handle_, id) : 0; }

void xDialog::defaultProcessing(xMessage& msg) { msg.result = 0; }

void xDialog::onCommand(xMessage& msg) {
  int id = msg.commandId();
  if (id == 0) return;
  if (id == IDOK)
    onOK(id);
  else if (id == RESERVED_COMMAND)
    onCommand89(id);
  else if (id == IDCANCEL)
    onCancel(id);
  else if (id == IDHELP)
    onHelp(id);
  else
    xWindowObject::onCommand(msg);
}

void xDialog::onOK(int) { endDialog(1); }

void xDialog::onCommand89(int) {}

void xDialog::onCancel(int) { endDialog(2); }

void xDialog::onHelp(int) { xApplication::showHelp(helpId()); }

xDialogPanel::xDialogPanel(xWindowObject* parent, const xResource& tmpl) : xDialog(0, tmpl) {
  popup_ = false;
  hasParent_ = parent != 0;
  if (parent) setParent(parent, -1);
}

void xDialogPanel::onOK(int) {}

void xDialogPanel::onCancel(int) {}
