// The debugger configuration dialog: the debugger's command line and the
// caption and command word of each of the host's eighteen debugger buttons,
// moved between the settings record and the dialog's controls.
#ifndef GDBDLG_HPP
#define GDBDLG_HPP

#include <windows.h>

#include "cString.hpp"
#include "xDialog.hpp"

class gdbConfigDlg : public xDialog {
 public:
  // parent is the host's window, modulePath the plug-in's full file path:
  // it names the settings profile and locates the help page. The settings
  // are read from the profile here, so the dialog shows what is on disk.
  // The object deletes itself when its window is gone.
  gdbConfigDlg(HWND parent, const char* modulePath);
  virtual ~gdbConfigDlg();

  virtual bool onInitDialog(WPARAM focus);
  virtual void onOK(int id);
  virtual void onHelp(int id);

 private:
  String modulePath_;
  xWindow parentWindow_;
};

// Runs the dialog modally over parent and returns its end code: 1 after OK,
// 2 after Cancel, Escape or the close box, and 2 when it could not be shown.
int RunConfigDialog(HWND parent, const char* modulePath);

// The help page, looked for in the plug-in's own folder.
extern const char HelpFileName[];

#endif
