/* Stand-in for the plug-in DLL in the debugger tests: it carries only the
   agent resource that SorbLua.exe loads. */
#include <windows.h>

BOOL WINAPI DllMain (HINSTANCE dll, DWORD reason, LPVOID reserved) {
  (void)dll; (void)reason; (void)reserved;
  return TRUE;
}
