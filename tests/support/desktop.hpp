// What the tests that show windows share: a display check, Wine's window
// manager kept out of the way, and this program's windows found by title.
#pragma once
#include <windows.h>

#include <string>

// Wine without a ready display: "no driver could be loaded" and no window
// can be made.
inline bool hasWindowDriver() {
  HWND probe = CreateWindowExA(0, "STATIC", "", WS_POPUP, 0, 0, 1, 1, NULL, NULL, NULL, NULL);
  if (probe) DestroyWindow(probe);
  return probe != NULL;
}

// Without a window manager Wine waits two seconds for each visible window to
// be withdrawn when it goes, but not for windows it manages itself: set for
// this program before its first window.
static const bool windowsUnmanaged = [] {
  char path[MAX_PATH];
  std::string exe(path, GetModuleFileNameA(NULL, path, MAX_PATH));
  std::string sub = "Software\\Wine\\AppDefaults\\" + exe.substr(exe.rfind('\\') + 1) + "\\X11 Driver";
  HKEY key;
  if (!GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version") ||
      RegCreateKeyExA(HKEY_CURRENT_USER, sub.c_str(), 0, NULL, 0, KEY_SET_VALUE, NULL, &key, NULL))
    return false;
  RegSetValueExA(key, "Managed", 0, REG_SZ, (const BYTE*)"N", 2);
  RegCloseKey(key);
  return true;
}();

// A visible window of this process with that title (another test program may
// show the same on the same display), or null after waitMs: long enough by
// default for a loaded machine that emulates i386.
inline HWND ownWindow(const char* title, int waitMs = 30000) {
  for (int waited = 0; waited <= waitMs; waited += 20, Sleep(20))
    for (HWND w = NULL; (w = FindWindowExA(NULL, w, NULL, title)) != NULL;) {
      DWORD pid = 0;
      GetWindowThreadProcessId(w, &pid);
      if (pid == GetCurrentProcessId() && IsWindowVisible(w)) return w;
    }
  return NULL;
}

// A message box's text.
inline std::string boxText(HWND box) {
  char text[2048] = "";
  GetDlgItemTextA(box, 0xFFFF, text, sizeof text);
  return text;
}
