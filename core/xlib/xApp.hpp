// The application object's share of the framework: the module that holds the
// templates, the main window, help, the wait cursor, the modeless dialogs
// that take keyboard navigation; and xProfile, the profile of window
// placements and fonts.
#ifndef XAPP_HPP
#define XAPP_HPP

#include <windows.h>

#include "cProfile.hpp"
#include "xWinobj.hpp"

// The module this code is linked into (the plug-in's DLL, or a program).
HINSTANCE xCodeModule();

class xApplication {
 public:
  typedef void (*HelpHandler)(int contextId);

  // The module whose templates the dialogs load; by default the module this
  // code is linked into. 0 restores the default.
  static HINSTANCE instance();
  static void setInstance(HINSTANCE module);

  // The default owner of a dialog made without a parent.
  static xWindowObject* mainWindow();
  static void setMainWindow(xWindowObject* window);

  // Help for a context id: the handler when one is set, else the help file
  // opened by the shell when one is set, else a beep.
  static void showHelp(int contextId);
  static void setHelpHandler(HelpHandler handler);
  static void setHelpFile(const char* path);

  // Modeless windows whose pre-translation gets each message first.
  static void addModeless(xWindowObject* window);
  static void removeModeless(xWindowObject* window);
  static bool preTranslate(MSG* msg);
  // Runs the message loop until WM_QUIT; returns its exit code.
  static int run();
  // Handles the messages waiting now; false once WM_QUIT was seen.
  static bool pump();

  // Makes a program built on the framework the application object of the
  // crash notice: owned by the main window, captioned with title; quiet
  // gives the generic notice instead.
  static void setCrashNotice(const char* title, bool quiet = false);
  // The framework's own unhandled-exception filter: writes the report as for
  // an access violation, shows the generic notice and returns 1.
  static LONG WINAPI unhandledFilter(EXCEPTION_POINTERS* info);
  static void installUnhandledFilter();

  // The profile of window placements (may be absent).
  static class xProfile* profile();
  static void setProfile(class xProfile* profile);
};

// The wait cursor for the lifetime of the guard.
class xWaitCursor {
 public:
  xWaitCursor();
  ~xWaitCursor();

 private:
  HCURSOR previous_;
};

class xProfile : public Profile {
 public:
  explicit xProfile(const char* name = 0);
  // With the write-mode flag and at least one record written, stores the
  // screen's pixel density under "DPI" / "LastMode".
  virtual ~xProfile();

  // Reads the window's placement record into its layout and moves it there;
  // true when a record was found. The layout's show state is never left
  // minimised.
  bool readEx(xWindowObject* window, const xPoint& defaultSize = xPoint{0, 0});
  // Writes the window's placement unless it or its parent is minimised.
  bool writeEx(xWindowObject* window);

  bool readFont(const char* section, LOGFONTA& font);
  bool writeFont(const char* section, const LOGFONTA& font);

  // "Object ID: %d" of id, plus 9000 in the alternate set.
  String section(int id) const;

  bool frame;      // a frame window, not a dialog, is being placed
  bool alternate;  // the second set of placements
  bool writeMode;
  int written() const { return count_; }

 private:
  int count_;
};

#endif
