// What SorbLua.exe and the plug-in agree on: the lines the plug-in watches
// for in the debugger's output, where the agent lives and the release.
// Read by C, C++ and the resource compiler, so plain #defines only.
#ifndef SORB_PROTOCOL_H
#define SORB_PROTOCOL_H

#include "version.h"

// The program ended, or the session was closed: the IDE clears its marker.
#define SORB_END_LINE "Debugging process terminated."
// An error that nothing caught: the IDE shows its error notice.
#define SORB_ERROR_LINE "Unhandled Lua Exception"
// Starts the line that names the failing position, "file (line)"; the
// plug-in takes the file from after the first ':' (GdbParse.hpp).
#define SORB_POSITION_PREFIX "Error in application file: "

// The agent script, as an RCDATA resource of SorbLua.dll.
#define SORB_AGENT_RESOURCE 150

#endif
