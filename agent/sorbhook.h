/* sorbhook: the debugger agent's line filter (a Lua 5.1 C module). */
#ifndef SORBHOOK_H
#define SORBHOOK_H

#include "lua.h"

/* exported from the loadable module; a plain function when compiled in */
#if defined(SORBHOOK_MODULE) && defined(_WIN32)
#define SORBHOOK_API __declspec(dllexport)
#elif defined(SORBHOOK_MODULE)
#define SORBHOOK_API __attribute__((visibility("default")))
#else
#define SORBHOOK_API
#endif

SORBHOOK_API int luaopen_sorbhook (lua_State *L);

#endif
