// The window-object root: handle table, message dispatch of the last
// resort, the close sequence and the auto-delete mark.
#include "xWinobj.hpp"

#include <stdio.h>
#include <stdlib.h>

#include "cHash.hpp"


// One cell per attached handle; the table owns the cells, not the objects.
struct HandleCell {
  xWindowObject* object;
};

static cHashTable<HandleCell>& handleTable() {
  static cHashTable<HandleCell> table(true);
  return table;
}

// Most messages come in runs for one window: the last hit is kept.
static HWND cacheHandle = 0;
static xWindowObject* cacheObject = 0;

static void handleKey(HWND hwnd, char* key, size_t size) {
  snprintf(key, size, "%lX", (unsigned long)(UINT_PTR)hwnd);
}

static HandleCell* findCell(HWND hwnd) {
  char key[24];
  handleKey(hwnd, key, sizeof key);
  return handleTable().lookup(key);
}

static void forgetCache(HWND hwnd) {
  if (cacheHandle == hwnd) {
    cacheHandle = 0;
    cacheObject = 0;
  }
}

// Window rectangles are kept in screen co-ordinates; a child window moves in
// its parent's client co-ordinates.
static bool moveWindowTo(HWND hwnd, const xRect& r) {
  if (!hwnd || !IsWindow(hwnd)) return false;
  POINT pt = {r.x, r.y};
  if (GetWindowLongA(hwnd, GWL_STYLE) & WS_CHILD) ScreenToClient(GetParent(hwnd), &pt);
  if (IsIconic(hwnd) || IsZoomed(hwnd)) {
    WINDOWPLACEMENT wp;
    wp.length = sizeof wp;
    if (!GetWindowPlacement(hwnd, &wp)) return false;
    wp.rcNormalPosition.left = pt.x;
    wp.rcNormalPosition.top = pt.y;
    wp.rcNormalPosition.right = pt.x + r.cx;
    wp.rcNormalPosition.bottom = pt.y + r.cy;
    return SetWindowPlacement(hwnd, &wp) != 0;
  }
  return MoveWindow(hwnd, pt.x, pt.y, r.cx, r.cy, TRUE) != 0;
}

xLayout::xLayout(unsigned flags) : flags_(flags), rect_{0, 0, 0, 0}, state_(SW_SHOWNORMAL) {}

xLayout::~xLayout() {}

void xLayout::refresh(HWND hwnd) {
  if (!hwnd || !IsWindow(hwnd)) return;
  WINDOWPLACEMENT wp;
  wp.length = sizeof wp;
  if (!GetWindowPlacement(hwnd, &wp)) return;
  state_ = (int)wp.showCmd;
  RECT rc;
  if (IsIconic(hwnd) || IsZoomed(hwnd)) {
    rc = wp.rcNormalPosition;
    if (GetWindowLongA(hwnd, GWL_STYLE) & WS_CHILD)
      MapWindowPoints(GetParent(hwnd), NULL, (POINT*)&rc, 2);
  } else {
    GetWindowRect(hwnd, &rc);
  }
  rect_ = xRect{rc.left, rc.top, rc.right - rc.left, rc.bottom - rc.top};
}

bool xLayout::apply(HWND hwnd) { return moveWindowTo(hwnd, rect_); }

xWindowObject::xWindowObject()
    : handle_(0), tag_(TAG), closing_(false), id_(0), popup_(false), keepAlive_(true),
      layout_(0), parent_(0), children_(false), timer_(0) {}

xWindowObject::xWindowObject(unsigned layoutFlags)
    : handle_(0), tag_(TAG), closing_(false), id_(0), popup_(false), keepAlive_(false),
      layout_(new xLayout(layoutFlags)), parent_(0), children_(false), timer_(0) {}

xWindowObject::~xWindowObject() {
  // Children outlive us as orphans; whoever owns them deletes them.
  for (int i = 0; i < children_.count(); i++) {
    xWindowObject* c = children_.get(i);
    if (c) c->parent_ = 0;
  }
  children_.clear();
  if (parent_ && !popup_) {
    int at = parent_->children_.indexOf(this);
    if (at >= 0) parent_->children_.remove(at);
  }
  parent_ = 0;
  // A window we created goes with us; a foreign one we only wrapped stays.
  HWND hwnd = handle_;
  handle_ = 0;
  HandleCell* cell = hwnd ? findCell(hwnd) : 0;
  if (cell && cell->object == this) {
    if (timer_) KillTimer(hwnd, timer_);
    detach(hwnd);
    if (IsWindow(hwnd)) DestroyWindow(hwnd);
  }
  delete layout_;
  layout_ = 0;
  tag_ = 0;
}

void xWindowObject::attach(HWND hwnd, xWindowObject* object) {
  if (!hwnd || !object) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  if (findCell(hwnd)) return;
  char key[24];
  handleKey(hwnd, key, sizeof key);
  HandleCell* cell = new HandleCell;
  cell->object = object;
  handleTable().set(key, cell);
  forgetCache(hwnd);
}

void xWindowObject::detach(HWND hwnd) {
  if (!hwnd) return;
  char key[24];
  handleKey(hwnd, key, sizeof key);
  delete handleTable().remove(key);
  forgetCache(hwnd);
}

xWindowObject* xWindowObject::fromHandle(HWND hwnd) {
  if (!hwnd) return 0;
  if (hwnd == cacheHandle) return cacheObject;
  HandleCell* cell = findCell(hwnd);
  // A stale entry (its object deleted, or never one of ours) is ignored.
  if (!cell || !cell->object || cell->object->tag_ != TAG) return 0;
  cacheHandle = hwnd;
  cacheObject = cell->object;
  return cell->object;
}

int xWindowObject::tableCount() { return handleTable().count(); }

void xWindowObject::addChild(xWindowObject* child, int index) {
  if (!child || child == this) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  if (children_.indexOf(child) >= 0) return;
  if (index < 0 || index >= children_.count())
    children_.add(child);
  else
    children_.insert(child, index);
  child->parent_ = this;
}

bool xWindowObject::destroyWindow() {
  if (!isCreated()) return false;
  return DestroyWindow(handle_) != 0;
}

void xWindowObject::removeChild(xWindowObject* child) {
  if (!child) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  int at = children_.indexOf(child);
  if (at >= 0) children_.remove(at);
  if (child->parent_ == this) child->parent_ = 0;
}

LRESULT xWindowObject::onCreate(CREATESTRUCTA*) { return 0; }

void xWindowObject::defaultProcessing(xMessage& msg) {
  HWND hwnd = msg.hwnd ? msg.hwnd : handle_;
  msg.result = hwnd ? DefWindowProcA(hwnd, msg.message, msg.wParam, msg.lParam) : 0;
}

void xWindowObject::onCommand(xMessage& msg) { defaultProcessing(msg); }

void xWindowObject::windowProc(xMessage& msg) {
  switch (msg.message) {
    case WM_CREATE:
      msg.result = onCreate((CREATESTRUCTA*)msg.lParam);
      msg.handled = 1;
      break;
    case WM_NCDESTROY:
      onFinalDestroy(msg);  // may delete this
      break;
    case WM_COMMAND:
      onCommand(msg);
      break;
    default:
      defaultProcessing(msg);
      break;
  }
}

void xWindowObject::onNotify(xMessage&) {}

void xWindowObject::onFinalDestroy(xMessage& msg) {
  HWND hwnd = handle_;
  if (timer_ && hwnd) KillTimer(hwnd, timer_);
  timer_ = 0;
  delete layout_;
  layout_ = 0;
  detach(hwnd);
  handle_ = 0;
  defaultProcessing(msg);
  msg.handled = 1;
  if (!keepAlive_) delete this;
}

bool xWindowObject::isCreated() const { return handle_ && IsWindow(handle_); }

const String& xWindowObject::getText() {
  if (!isCreated()) return text_;
  int n = GetWindowTextLengthA(handle_);
  char* buffer = (char*)malloc(n + 1);
  if (!buffer) return text_;
  buffer[0] = 0;
  GetWindowTextA(handle_, buffer, n + 1);
  text_.assign(buffer);
  free(buffer);
  return text_;
}

int xWindowObject::getTextLength() const {
  return isCreated() ? GetWindowTextLengthA(handle_) : 0;
}

void xWindowObject::setText(const char* text) {
  if (!text) {
    report(SOURCE_NAME, 800);
    return;
  }
  text_.assign(text);
  if (isCreated()) SetWindowTextA(handle_, text);
}

bool xWindowObject::move(const xRect& rect) {
  if (layout_) {
    layout_->setRect(rect);
    return layout_->apply(handle_);
  }
  return moveWindowTo(handle_, rect);
}

void xWindowObject::setParent(xWindowObject* parent, int index) {
  if (parent == this) {
    report(SOURCE_NAME, __LINE__);
    return;
  }
  // A popup's parent is its owner: recorded, no child list.
  if (popup_) {
    parent_ = parent;
    return;
  }
  if (parent_) parent_->removeChild(this);
  if (parent) parent->addChild(this, index);
  if (!isCreated()) return;
  if (!parent || !parent->isCreated()) {
    report(SOURCE_NAME, 727);
    return;
  }
  ::SetParent(handle_, parent->handle_);
}

void xWindowObject::setFocus() {
  if (isCreated()) ::SetFocus(handle_);
}

bool xWindowObject::preTranslate(MSG*) { return false; }

void xWindowObject::onCompanion(xWindowObject*, int) {}

void xWindowObject::onClosing() {}

bool xWindowObject::closeWindow() {
  closing_ = true;
  onClosing();
  if (!keepAlive_) {
    // Children that their owner deletes must not be left pointing at us.
    for (int i = children_.count() - 1; i >= 0; i--) {
      xWindowObject* c = children_.get(i);
      if (c && c->keepAlive_) {
        children_.remove(i);
        c->parent_ = 0;
      }
    }
  } else {
    for (int i = 0; i < children_.count(); i++) {
      xWindowObject* c = children_.get(i);
      if (c) c->keepAlive_ = true;
    }
  }
  if (isCreated()) {
    destroyWindow();  // an auto-delete object is gone after this
    return true;
  }
  if (!keepAlive_) delete this;
  return true;
}

void xWindowObject::setAutoDelete(bool on) {
  keepAlive_ = !on;
  for (int i = 0; i < children_.count(); i++) {
    xWindowObject* c = children_.get(i);
    if (c) c->setAutoDelete(on);
  }
}

void xWindowObject::setLayout(xLayout* layout) {
  if (layout == layout_) return;
  delete layout_;
  layout_ = layout;
}

bool xWindowObject::setTimer(UINT id, UINT milliseconds) {
  if (!isCreated() || id == 0) return false;
  if (timer_ && timer_ != id) KillTimer(handle_, timer_);
  if (!SetTimer(handle_, id, milliseconds, NULL)) return false;
  timer_ = id;
  return true;
}

void xWindowObject::killTimer() {
  if (timer_ && isCreated()) KillTimer(handle_, timer_);
  timer_ = 0;
}

void xReportCallbackException(const char* procedure) {
  char text[128];
  snprintf(text, sizeof text, "Exception caught in %s", procedure ? procedure : "a callback");
  report(SOURCE_NAME, __LINE__, text);
}
