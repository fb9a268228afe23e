/*
** lua5.1.dll: every export is a forwarder to lua51.dll (lua5.1.def), which
** the loader resolves by name. The one import below makes the core a plain
** dependency as well, so that it is loaded, and initialised, first.
*/
#include <windows.h>

int lua_gettop (void *L);   /* through the core's import library */

__attribute__((used)) static int (*const core) (void *) = lua_gettop;

BOOL WINAPI DllMainCRTStartup (HINSTANCE dll, DWORD reason, LPVOID reserved) {
  (void)dll; (void)reason; (void)reserved;
  return TRUE;
}
