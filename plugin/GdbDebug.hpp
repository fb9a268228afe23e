// The plug-in's exported entry points, as the host looks them up. All take
// and return plain values across the host's C calling convention; none lets
// a null argument through.
#ifndef GDBDEBUG_HPP
#define GDBDEBUG_HPP

#include <windows.h>

#include "GdbContext.hpp"
#include "GdbTypes.hpp"

class xDebugger;

extern "C" {
BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
int __cdecl DebugStartDebugging(DebugContext** context, EXECINFO* info);
int __cdecl DebugStopDebugging(DebugContext* context);
int __cdecl DebugRestartDebugger(DebugContext** context, const char* file);
int __cdecl DebugConfigure(HWND parent, const char* modulePath);
xDebugger* __cdecl DebugGetDebugger();
int __cdecl DebugInfo(DEBUGINFO* info);
int __cdecl DebugToolTip(int index, char* buffer, int size);
}

// Exported under the host compiler's decorated name (see SorbLua.def).
const char* __cdecl DebugCommandLine(DebugContext* context, EXECINFO* info);

#endif
