#include "GdbDlg.hpp"

#include <shellapi.h>

#include "GdbSettings.hpp"
#include "cError.hpp"
#include "resource.h"
#include "xApp.hpp"

const char HelpFileName[] = "SorbLua.html";

// Pair 2 of the template was never used: the slots after RUN sit two up.
static int captionId(int slot) { return IDC_TXT_BASE + (slot == SLOT_RUN ? 1 : slot + 2); }
static int commandId(int slot) { return IDC_CMD_BASE + (slot == SLOT_RUN ? 1 : slot + 2); }

// The template comes from the module this code is linked into (the plug-in,
// or a test program), also while the framework's resource module points at
// the host during a session.
gdbConfigDlg::gdbConfigDlg(HWND parent, const char* modulePath)
    : xDialog(0, xResource("RAVEL_CONFIGURE", xCodeModule())),
      modulePath_(modulePath ? modulePath : ""),
      parentWindow_(parent) {
  // The wrapper is a member, so it exists only now: the owner is set here
  // rather than through the base constructor.
  setParent(&parentWindow_);
  hasParent_ = true;
  setModal(true);
  setAutoDelete(true);
  ReadSettings(modulePath_);
}

gdbConfigDlg::~gdbConfigDlg() {}

bool gdbConfigDlg::onInitDialog(WPARAM) {
  DEBUGINFO& s = DebugSettings;
  setItemText(IDC_EXECUTABLE, s.executable);
  setItemText(IDC_OPTIONS, s.options);
  setItemText(IDC_ARGUMENTS, s.arguments);
  for (int slot = 0; slot < SLOT_COUNT; slot++) setItemText(captionId(slot), s.txt[slot]);
  for (int slot = 0; slot < SLOT_COUNT; slot++) setItemText(commandId(slot), s.cmd[slot]);
  sendItemMessage(IDC_DISPLAY, BM_SETCHECK, s.display ? BST_CHECKED : BST_UNCHECKED);

  String title(getText());
  title += " - ";
  title += s.name;
  setText(title);
  // No placement and no focus of our own: the dialog opens where its
  // template puts it relative to the host's window.
  return false;
}

void gdbConfigDlg::onOK(int) {
  DEBUGINFO& s = DebugSettings;
  getItemText(IDC_EXECUTABLE, s.executable, sizeof s.executable);
  getItemText(IDC_OPTIONS, s.options, sizeof s.options);
  getItemText(IDC_ARGUMENTS, s.arguments, sizeof s.arguments);
  for (int slot = 0; slot < SLOT_COUNT; slot++)
    getItemText(captionId(slot), s.txt[slot], sizeof s.txt[slot]);
  for (int slot = 0; slot < SLOT_COUNT; slot++)
    getItemText(commandId(slot), s.cmd[slot], sizeof s.cmd[slot]);
  s.display = sendItemMessage(IDC_DISPLAY, BM_GETCHECK) == BST_CHECKED ? 1 : 0;
  // The record is changed in place, so the next command already uses the new
  // words; a profile that cannot be written does not keep the dialog open.
  WriteSettings(modulePath_);
  endDialog(1);
}

void gdbConfigDlg::onHelp(int) {
  String path(modulePath_);
  if (path.isEmpty()) report(SOURCE_NAME, 155);
  int slash = (int)(fileNameOf(path) - path.text()) - 1;  // the last '\\', or -1
  if (slash <= 0) report(SOURCE_NAME, 161);
  path.truncate(slash + 1);
  if (path.isEmpty()) report(SOURCE_NAME, 167);
  path += HelpFileName;

  HINSTANCE result = ShellExecuteA(getHandle(), "open", path, NULL, NULL, SW_SHOWNORMAL);
  if ((INT_PTR)result <= 32) {
    String message;
    message.format("%s\n\nUnexpected error loading the debugger help file.", path.text());
    MessageBoxA(getHandle(), message, "Ravel Help", MB_OK);
  }
}

int RunConfigDialog(HWND parent, const char* modulePath) {
  int code = 2;  // stays "cancelled" when the dialog never appears
  // The dialog deletes itself with its window (or, never shown, at the end
  // of the run): it must not be touched afterwards.
  (new gdbConfigDlg(parent, modulePath))->doModal(true, &code);
  return code;
}
