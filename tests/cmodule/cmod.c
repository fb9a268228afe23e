/*
** A C module built the way Windows' Lua 5.1 distributions build theirs,
** compiled twice: against lua51.dll and against lua5.1.dll. MODULE_OPEN
** names its open function (luaopen_cmod51, luaopen_cmod5_1).
*/
#include <string.h>
#include <windows.h>

#include "lua.h"
#include "lauxlib.h"

/* the file name of the DLL whose code answers this module's API calls */
static int core (lua_State *L) {
  HMODULE dll = NULL;
  char path[MAX_PATH];
  const char *name;
  DWORD n = 0;
  if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                         GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         (LPCSTR)(void *)lua_gettop, &dll))
    n = GetModuleFileNameA(dll, path, sizeof path);
  if (n == 0 || n >= sizeof path) return luaL_error(L, "no module holds lua_gettop");
  name = strrchr(path, '\\');
  lua_pushstring(L, name != NULL ? name + 1 : path);
  return 1;
}

static int add (lua_State *L) {
  lua_pushnumber(L, luaL_checknumber(L, 1) + luaL_checknumber(L, 2));
  return 1;
}

/* each(t, f): calls f(i, t[i]) for i = 1..#t from C; returns #t */
static int each (lua_State *L) {
  int i, n;
  luaL_checktype(L, 1, LUA_TTABLE);
  luaL_checktype(L, 2, LUA_TFUNCTION);
  n = (int)lua_objlen(L, 1);
  for (i = 1; i <= n; i++) {
    lua_pushvalue(L, 2);
    lua_pushinteger(L, i);
    lua_rawgeti(L, 1, i);
    lua_call(L, 2, 0);
  }
  lua_pushinteger(L, n);
  return 1;
}

/* fail(message): an error raised in C */
static int fail (lua_State *L) {
  return luaL_error(L, "%s", luaL_checkstring(L, 1));
}

static const luaL_Reg functions[] = {
  {"core", core}, {"add", add}, {"each", each}, {"fail", fail}, {NULL, NULL}
};

__declspec(dllexport) int MODULE_OPEN (lua_State *L) {
  luaL_register(L, lua_tostring(L, 1), functions);
  return 1;
}
