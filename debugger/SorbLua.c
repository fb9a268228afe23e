/*
** SorbLua: console Lua 5.1 host that runs one program under the debugger
** agent. The IDE plug-in starts it as a hidden child, writes the agent's
** commands to its standard input and reads everything it prints.
**
** usage: SorbLua [options] script [file [args...]]
*/

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include "lua.h"
#include "lauxlib.h"
#include "lualib.h"

#include "protocol.h"
#include "sorbhook.h"

#define SORBLUA_VERSION	"SorbLua " SORB_VERSION_TEXT
#define AGENT_DLL	"SorbLua.dll"
#define AGENT_ID	SORB_AGENT_RESOURCE
#define AGENT_ENV	"SORBLUA_AGENT"

/* the plug-in watches the output for these two lines */
#define MSG_TERMINATED	SORB_END_LINE
#define MSG_UNHANDLED	SORB_ERROR_LINE

/* exit codes */
#define EXIT_ENDED	0	/* the program ran to its end */
#define EXIT_FAILED	1	/* unhandled error, or bad usage */
#define EXIT_NOSCRIPT	2	/* the program cannot be loaded */
#define EXIT_NOAGENT	3	/* no debugger agent */

/* no wildcard expansion of the command line: a script name is taken as given */
int _dowildcard = 0;

static const char *progname = "SorbLua";

/* set while the program runs: os.exit() still owes the end line */
static int running = 0;

/* set once an error has reached the program's message handler */
static int failing = 0;

/* registry references: the interpreter's own debug.traceback, the agent's unhandled */
static int traceback_ref = LUA_NOREF;
static int unhandled_ref = LUA_NOREF;

/* the program's last write to standard output ended without a line end */
static int open_line = 0;

/* the working directory at start, with '/', no final '/' (the plug-in's) */
static char workdir[MAX_PATH];
static size_t workdir_len = 0;


static void print_usage (void) {
  printf(
  "usage: %s [options] script [file [args...]]\n"
  "Runs the Lua 5.1 program script under the debugger agent, which reads its\n"
  "commands from standard input. file and args reach the program as arg[1]...\n"
  "and as '...'; arg[0] is script. The agent's exit command ends the program.\n"
  "Available options are:\n"
  "  -a agent  load the debugger agent from the Lua file agent\n"
  "  -h        show this help and exit\n"
  "  -v        show version information\n"
  "  --        stop handling options\n"
  "Without -a the agent is the file named by the environment variable %s,\n"
  "else resource %d of %s in this program's folder.\n"
  "Exit codes: 0 the program ended or exit was given, 1 unhandled error or\n"
  "bad usage, %d the program cannot be loaded, %d no debugger agent.\n",
  progname, AGENT_ENV, AGENT_ID, AGENT_DLL, EXIT_NOSCRIPT, EXIT_NOAGENT);
}


static void print_version (void) {
  printf("%s -- %s  %s\n", SORBLUA_VERSION, LUA_RELEASE, LUA_COPYRIGHT);
}


static void l_message (const char *msg) {
  printf("%s: %s\n", progname, msg);
}


/*
** Reports a failure before the program's first line: the error message on
** top of the stack, lua.c style, then the line that makes the plug-in show
** its error notice (else the user would see the session end silently).
*/
static int report (lua_State *L, const char *what, int code) {
  const char *msg = lua_tostring(L, -1);
  if (msg == NULL) msg = "(error object is not a string)";
  printf("%s: %s: %s\n%s\n", progname, what, msg, MSG_UNHANDLED);
  lua_pop(L, 1);
  return code;
}


/*
** Ends the line the program left open, so that the next line, a position
** or one of the plug-in's two, starts a line of its own.
*/
static void end_line (void) {
  if (open_line) {
    fputc('\n', stdout);
    open_line = 0;
  }
}


static void at_exit (void) {
  if (running) {
    end_line();
    printf("%s\n", MSG_TERMINATED);
  }
}


/*
** Output is unbuffered: print never flushes, and a pipe would otherwise
** hold the program's lines back behind the agent's. It is binary so that
** every line end reaches the plug-in as written ("\n" from print, the agent
** and io.write alike; a program's own "\r\n" is not doubled to "\r\r\n").
** Input is text: a CR LF from the sender becomes "\n" for the agent and for
** the program's own io.read, and Ctrl-Z ends input as on a console.
*/
static void set_streams (void) {
  _setmode(_fileno(stdin), _O_TEXT);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  setvbuf(stdout, NULL, _IONBF, 0);
  setvbuf(stderr, NULL, _IONBF, 0);
}


/*
** Loads the agent from resource AGENT_ID of the plug-in DLL beside this
** executable. Returns 0 with the chunk pushed, else an error message.
*/
static int load_resource_agent (lua_State *L) {
  char path[MAX_PATH];
  char *name;
  HMODULE dll;
  HRSRC res;
  HGLOBAL mem;
  const char *text = NULL;
  DWORD size = 0;
  int status;
  DWORD n = GetModuleFileNameA(NULL, path, sizeof(path));
  if (n == 0 || n >= sizeof(path)) {
    lua_pushliteral(L, "cannot find this program's folder");
    return 1;
  }
  name = strrchr(path, '\\');
  name = (name != NULL) ? name + 1 : path;
  if ((size_t)(name - path) + sizeof(AGENT_DLL) > sizeof(path)) {
    lua_pushliteral(L, "program path too long");
    return 1;
  }
  strcpy(name, AGENT_DLL);
  dll = LoadLibraryExA(path, NULL, LOAD_LIBRARY_AS_DATAFILE);
  if (dll == NULL) {
    lua_pushfstring(L, "cannot open %s", path);
    return 1;
  }
  res = FindResourceA(dll, MAKEINTRESOURCEA(AGENT_ID), (LPCSTR)RT_RCDATA);
  if (res != NULL && (mem = LoadResource(dll, res)) != NULL) {
    text = (const char *)LockResource(mem);
    size = SizeofResource(dll, res);
  }
  if (text == NULL) {
    FreeLibrary(dll);
    lua_pushfstring(L, "no resource %d in %s", AGENT_ID, path);
    return 1;
  }
  while (size > 0 && text[size - 1] == '\0')  /* resource compilers may pad */
    size--;
  status = luaL_loadbuffer(L, text, size, "=debugger");
  FreeLibrary(dll);
  return status;
}


/*
** '\' to '/' in place, character by character of the ANSI code page: the
** second byte of a double-byte character may be a '\' (0x5C) and stays.
*/
static void to_slashes (char *s) {
  for (; *s != '\0'; s++) {
    if (IsDBCSLeadByte((BYTE)*s) && s[1] != '\0')
      s++;
    else if (*s == '\\')
      *s = '/';
  }
}


static void init_workdir (void) {
  DWORD n = GetCurrentDirectoryA(sizeof(workdir), workdir);
  if (n == 0 || n >= sizeof(workdir)) {
    workdir[0] = '\0';
    n = 0;
  }
  to_slashes(workdir);
  if (n > 0 && workdir[n - 1] == '/') workdir[--n] = '\0';
  workdir_len = n;
}


/* name with the working directory and its '/' taken off, else name */
static const char *under_workdir (const char *name) {
  if (workdir_len > 0 && strlen(name) > workdir_len + 1 && name[workdir_len] == '/' &&
      CompareStringA(LOCALE_USER_DEFAULT, NORM_IGNORECASE, name, (int)workdir_len,
                     workdir, (int)workdir_len) == CSTR_EQUAL)
    return name + workdir_len + 1;
  return name;
}


/*
** Pushes the path a chunk is loaded by, and so named: '/' for '\', the only
** separator the agent's breakpoint matching knows (a module found along
** Lua's default path ".\?.lua" would else be named ".\shapes.lua", which
** "setb 19 shapes.lua" never matches). A file under the working directory
** is named from there, as a user typing its name in that folder would name
** it: the plug-in's position parse ends a file name at its first '(', so a
** folder such as "Program Files (x86)" must not be in it. Windows opens the
** file by any of these names. A "\\?\" path stays as it is.
*/
static const char *push_chunkname (lua_State *L, const char *path) {
  size_t len = strlen(path);
  char *copy;
  if (strncmp(path, "\\\\?\\", 4) == 0) {
    lua_pushstring(L, path);
    return lua_tostring(L, -1);
  }
  copy = (char *)lua_newuserdata(L, len + 1);
  memcpy(copy, path, len + 1);
  to_slashes(copy);
  lua_pushstring(L, under_workdir(copy));
  lua_remove(L, -2);
  return lua_tostring(L, -1);
}


/*
** luaL_loadfile, the chunk named by push_chunkname. A file that cannot be
** opened so (the program changed its folder) is tried by the name given,
** which also gives Lua's own message when there is no such file.
*/
static int load_file (lua_State *L, const char *path) {
  int status;
  if (path == NULL)
    return luaL_loadfile(L, NULL);
  luaL_checkstack(L, 2, "load_file");
  status = luaL_loadfile(L, push_chunkname(L, path));
  lua_remove(L, -2);
  if (status == LUA_ERRFILE) {
    lua_pop(L, 1);
    status = luaL_loadfile(L, path);
  }
  return status;
}


/* dofile and loadfile as Lua 5.1's, the chunk named by push_chunkname */
static int sorb_dofile (lua_State *L) {
  const char *fname = luaL_optstring(L, 1, NULL);
  int n = lua_gettop(L);
  if (load_file(L, fname) != 0) lua_error(L);
  lua_call(L, 0, LUA_MULTRET);
  return lua_gettop(L) - n;
}


static int sorb_loadfile (lua_State *L) {
  const char *fname = luaL_optstring(L, 1, NULL);
  if (load_file(L, fname) == 0)
    return 1;
  lua_pushnil(L);
  lua_insert(L, -2);
  return 2;
}


/*
** print, io.write and the files' write as Lua 5.1's, which also note
** whether the program's output now ends inside a line (end_line).
*/
static int sorb_print (lua_State *L) {
  int n = lua_gettop(L);
  int i;
  lua_getglobal(L, "tostring");
  for (i = 1; i <= n; i++) {
    const char *s;
    lua_pushvalue(L, -1);
    lua_pushvalue(L, i);
    lua_call(L, 1, 1);
    s = lua_tostring(L, -1);
    if (s == NULL)
      return luaL_error(L, LUA_QL("tostring") " must return a string to " LUA_QL("print"));
    if (i > 1) fputs("\t", stdout);
    fputs(s, stdout);
    open_line = 1;
    lua_pop(L, 1);
  }
  fputs("\n", stdout);
  open_line = 0;
  return 0;
}


static int write_result (lua_State *L, int ok) {
  int en = errno;
  if (ok) {
    lua_pushboolean(L, 1);
    return 1;
  }
  lua_pushnil(L);
  lua_pushfstring(L, "%s", strerror(en));
  lua_pushinteger(L, en);
  return 3;
}


static int write_args (lua_State *L, FILE *f, int arg) {
  int nargs = lua_gettop(L) - 1;
  int ok = 1;
  for (; nargs--; arg++) {
    if (lua_type(L, arg) == LUA_TNUMBER) {
      int n = fprintf(f, LUA_NUMBER_FMT, lua_tonumber(L, arg));
      ok = ok && n > 0;
      if (f == stdout && n > 0) open_line = 1;
    }
    else {
      size_t l;
      const char *s = luaL_checklstring(L, arg, &l);
      ok = ok && (fwrite(s, sizeof(char), l, f) == l);
      if (f == stdout && l > 0) open_line = (s[l - 1] != '\n');
    }
  }
  return write_result(L, ok);
}


static int sorb_io_write (lua_State *L) {
  FILE *f;
  lua_rawgeti(L, LUA_ENVIRONINDEX, 2);  /* the io library's default output */
  f = *(FILE **)lua_touserdata(L, -1);
  if (f == NULL)
    luaL_error(L, "standard %s file is closed", "output");
  return write_args(L, f, 1);
}


static int sorb_f_write (lua_State *L) {
  FILE **f = (FILE **)luaL_checkudata(L, 1, LUA_FILEHANDLE);
  if (*f == NULL)
    luaL_error(L, "attempt to use a closed file");
  return write_args(L, *f, 2);
}


static void install_output (lua_State *L) {
  lua_register(L, "print", sorb_print);
  lua_register(L, "dofile", sorb_dofile);
  lua_register(L, "loadfile", sorb_loadfile);
  lua_getglobal(L, LUA_IOLIBNAME);
  lua_pushcfunction(L, sorb_io_write);
  lua_getfield(L, -2, "write");
  lua_getfenv(L, -1);   /* io.write's environment holds the default files */
  lua_setfenv(L, -3);
  lua_pop(L, 1);
  lua_setfield(L, -2, "write");
  lua_pop(L, 1);
  luaL_getmetatable(L, LUA_FILEHANDLE);
  lua_pushcfunction(L, sorb_f_write);
  lua_setfield(L, -2, "write");
  lua_pop(L, 1);
}


/* for the agent: writes that are not the program's, and end_line */
static int agent_write (lua_State *L) {
  size_t l;
  const char *s = luaL_checklstring(L, 1, &l);
  fwrite(s, sizeof(char), l, stdout);
  return 0;
}


static int agent_line_start (lua_State *L) {
  (void)L;
  end_line();
  return 0;
}


/*
** Pushes what the agent's start() is told: its writer, end_line, the lead
** bytes of the ANSI code page as a pattern class (none in a single-byte
** one) and the working directory.
*/
static void push_host (lua_State *L) {
  CPINFO cp;
  lua_createtable(L, 0, 4);
  lua_pushcfunction(L, agent_write);
  lua_setfield(L, -2, "write");
  lua_pushcfunction(L, agent_line_start);
  lua_setfield(L, -2, "line_start");
  if (GetCPInfo(CP_ACP, &cp) && cp.MaxCharSize == 2) {
    luaL_Buffer b;
    int i;
    luaL_buffinit(L, &b);
    luaL_addchar(&b, '[');
    for (i = 0; i + 1 < MAX_LEADBYTES && cp.LeadByte[i] != 0; i += 2) {
      luaL_addchar(&b, (char)cp.LeadByte[i]);
      luaL_addchar(&b, '-');
      luaL_addchar(&b, (char)cp.LeadByte[i + 1]);
    }
    luaL_addchar(&b, ']');
    luaL_pushresult(&b);
    lua_setfield(L, -2, "lead");
  }
  if (workdir_len > 0) {
    lua_pushstring(L, workdir);
    lua_setfield(L, -2, "cwd");
  }
}


/*
** package.loaders' last: require('debugger') finds the agent, loaded under
** no module name, only when the program has no debugger module of its own.
** Upvalue 1 is the agent's module table.
*/
static int agent_module (lua_State *L) {
  lua_pushvalue(L, lua_upvalueindex(1));
  return 1;
}


static int loader_agent (lua_State *L) {
  if (strcmp(luaL_checkstring(L, 1), "debugger") != 0)
    return 0;
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_pushcclosure(L, agent_module, 1);
  return 1;
}


/* the agent's module table on top of the stack stays there */
static void install_agent_loader (lua_State *L) {
  lua_getglobal(L, LUA_LOADLIBNAME);
  lua_getfield(L, -1, "loaders");
  if (lua_istable(L, -1)) {
    lua_pushvalue(L, -3);
    lua_pushcclosure(L, loader_agent, 1);
    lua_rawseti(L, -2, (int)lua_objlen(L, -2) + 1);
  }
  lua_pop(L, 2);
}


static int readable (const char *filename) {
  FILE *f = fopen(filename, "r");
  if (f == NULL) return 0;
  fclose(f);
  return 1;
}


/*
** package.loaders[2]: Lua 5.1's loader of Lua modules along package.path,
** with the same search, results and messages, but chunks named by load_file.
** Upvalue 1 is the package table.
*/
static int loader_lua (lua_State *L) {
  const char *name = luaL_checkstring(L, 1);
  const char *path, *filename = NULL;
  lua_getfield(L, lua_upvalueindex(1), "path");
  path = lua_tostring(L, -1);
  if (path == NULL)
    luaL_error(L, LUA_QL("package.path") " must be a string");
  name = luaL_gsub(L, name, ".", LUA_DIRSEP);
  lua_pushliteral(L, "");  /* the error accumulator */
  while (*path != '\0') {
    const char *end;
    while (*path == *LUA_PATHSEP) path++;
    if (*path == '\0') break;
    end = strchr(path, *LUA_PATHSEP);
    if (end == NULL) end = path + strlen(path);
    lua_pushlstring(L, path, (size_t)(end - path));
    filename = luaL_gsub(L, lua_tostring(L, -1), LUA_PATH_MARK, name);
    lua_remove(L, -2);  /* the template */
    if (readable(filename)) break;
    lua_pushfstring(L, "\n\tno file " LUA_QS, filename);
    lua_remove(L, -2);  /* the file name */
    lua_concat(L, 2);
    filename = NULL;
    path = end;
  }
  if (filename == NULL)
    return 1;  /* the list of files tried */
  if (load_file(L, filename) != 0)
    luaL_error(L, "error loading module " LUA_QS " from file " LUA_QS ":\n\t%s",
               lua_tostring(L, 1), filename, lua_tostring(L, -1));
  return 1;
}


static void install_loader (lua_State *L) {
  lua_getglobal(L, LUA_LOADLIBNAME);
  lua_getfield(L, -1, "loaders");
  if (lua_istable(L, -1)) {
    lua_pushvalue(L, -2);
    lua_pushcclosure(L, loader_lua, 1);
    lua_rawseti(L, -2, 2);
  }
  lua_pop(L, 2);
}


/* pushes the agent chunk: from file, else $SORBLUA_AGENT, else the DLL */
static int load_agent (lua_State *L, const char *file) {
  if (file == NULL) {
    file = getenv(AGENT_ENV);
    if (file != NULL && *file == '\0') file = NULL;
  }
  if (file != NULL)
    return luaL_loadfile(L, file);
  return load_resource_agent(L);
}


/* runs LUA_INIT as the stand-alone interpreter does */
static int handle_luainit (lua_State *L) {
  const char *init = getenv(LUA_INIT);
  int status;
  if (init == NULL) return 0;
  if (init[0] == '@')
    status = luaL_loadfile(L, init + 1);
  else
    status = luaL_loadbuffer(L, init, strlen(init), "=" LUA_INIT);
  if (status == 0)
    status = lua_pcall(L, 0, 0, 0);
  return status;
}


/*
** Builds the global arg table (arg[0] the script, the interpreter and its
** options at negative indexes) and pushes the script's arguments.
*/
static int getargs (lua_State *L, char **argv, int n) {
  int argc = 0;
  int narg, i;
  while (argv[argc]) argc++;
  narg = argc - (n + 1);
  luaL_checkstack(L, narg + 3, "too many arguments to script");
  lua_createtable(L, narg, n + 1);
  for (i = 0; i < argc; i++) {
    lua_pushstring(L, argv[i]);
    lua_rawseti(L, -2, i - n);
  }
  lua_setglobal(L, "arg");
  for (i = n + 1; i < argc; i++)
    lua_pushstring(L, argv[i]);
  return narg;
}


/* the line of a syntax error ("name:12: ..."), else 0 */
static int error_line (const char *msg) {
  const char *p;
  for (p = strchr(msg, ':'); p != NULL; p = strchr(p + 1, ':')) {
    char *end;
    long n;
    if (!isdigit((unsigned char)p[1])) continue;
    n = strtol(p + 1, &end, 10);
    if (*end == ':' && n > 0 && n <= INT_MAX) return (int)n;
  }
  return 0;
}


/*
** The program cannot be loaded: a syntax error moves the IDE's marker to
** its line (the agent's position line, file named as the agent names it);
** then the error and the line that brings the IDE's error notice.
*/
static int load_failed (lua_State *L, const char *script, int status) {
  int line = (status == LUA_ERRSYNTAX) ? error_line(lua_tostring(L, -1)) : 0;
  if (line > 0) {
    const char *name = push_chunkname(L, script);
    printf(SORB_POSITION_PREFIX "%s (%d)\n", name, line);
    lua_pop(L, 1);
  }
  return report(L, "cannot load the program", EXIT_NOSCRIPT);
}


/*
** Message handler of the program's call: before the stack unwinds, the
** agent stops in the frame that failed (protected: a failure of its own
** leaves the error as it is); then the error gets lua.c's stack traceback.
*/
static int msghandler (lua_State *L) {
  if (!failing) {
    failing = 1;
    lua_rawgeti(L, LUA_REGISTRYINDEX, unhandled_ref);
    if (lua_isfunction(L, -1)) {
      lua_pushvalue(L, 1);
      lua_pcall(L, 1, 0, 0);
    }
    lua_settop(L, 1);
  }
  if (!lua_isstring(L, 1))
    return 1;  /* a non-string error object stays as it is */
  lua_rawgeti(L, LUA_REGISTRYINDEX, traceback_ref);
  if (!lua_isfunction(L, -1)) {
    lua_pushvalue(L, 1);
    return 1;
  }
  lua_pushvalue(L, 1);
  lua_pushinteger(L, 2);  /* from the function that raised the error */
  lua_call(L, 2, 1);
  return 1;
}


/*
** The agent's session was closed (its quit word, also sent by the plug-in's
** Stop and Kill, or the end of input): nobody drives the program any more,
** so it ends here, as os.exit would, with the end line the plug-in waits for.
*/
static int quit (lua_State *L) {
  (void)L;
  running = 0;
  end_line();
  printf("%s\n", MSG_TERMINATED);
  exit(failing ? EXIT_FAILED : EXIT_ENDED);
  return 0;
}


/* the error of a failed program, with the line the plug-in watches for */
static int unhandled (lua_State *L) {
  const char *msg = lua_tostring(L, -1);
  end_line();
  if (msg != NULL)
    printf("%s\n", msg);
  else
    printf("(error object is a %s value)\n", luaL_typename(L, -1));
  printf("%s\n", MSG_UNHANDLED);
  lua_pop(L, 1);
  return EXIT_FAILED;
}


/*
** The session opens before the program's first line: the agent's start()
** answers the commands sent at start (breakpoints) and returns on the first
** stepping command; the chunk is then called at once, so that "step" stops
** on its first line. msghandler makes an uncaught error stop in the
** debugger before the stack unwinds. Modules, also those LUA_INIT loads,
** come through loader_lua.
*/
static int run (lua_State *L, char **argv, int script, const char *agent) {
  int narg, status;
  install_loader(L);
  install_output(L);
  lua_getglobal(L, LUA_DBLIBNAME);  /* before LUA_INIT and the agent replace it */
  lua_getfield(L, -1, "traceback");
  traceback_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  lua_pop(L, 1);
  if (handle_luainit(L) != 0)
    return report(L, LUA_INIT, EXIT_NOSCRIPT);
  if (load_agent(L, agent) != 0 || lua_pcall(L, 0, 1, 0) != 0)
    return report(L, "cannot load the debugger agent", EXIT_NOAGENT);
  if (!lua_istable(L, -1)) {
    lua_pushliteral(L, "it returned no module");
    return report(L, "cannot load the debugger agent", EXIT_NOAGENT);
  }
  install_agent_loader(L);
  lua_getfield(L, -1, "unhandled");
  unhandled_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  lua_getfield(L, -1, "start");
  lua_pushcfunction(L, msghandler);
  status = load_file(L, argv[script]);
  if (status != 0)
    return load_failed(L, argv[script], status);
  narg = getargs(L, argv, script);
  lua_pushvalue(L, -(narg + 3));    /* start */
  lua_pushnil(L);                   /* no message */
  lua_pushcfunction(L, quit);
  push_host(L);
  if (lua_pcall(L, 3, 0, 0) != 0)
    return unhandled(L);
  running = 1;
  status = lua_pcall(L, narg, 0, -(narg + 2));
  running = 0;
  if (status != 0)
    return unhandled(L);
  end_line();
  printf("%s\n", MSG_TERMINATED);
  return EXIT_ENDED;
}


static int bad_option (const char *opt, const char *why) {
  printf("%s: %s '%s'\n", progname, why, opt);
  return -1;
}


/*
** Handles the options; returns the index of the script, 0 when there is
** nothing to run, -1 on a usage error.
*/
static int collectargs (char **argv, const char **agent, int *version) {
  int i;
  for (i = 1; argv[i] != NULL; i++) {
    if (argv[i][0] != '-')
      return i;
    if (strcmp(argv[i], "--") == 0)
      return (argv[i + 1] != NULL) ? i + 1 : 0;
    switch (argv[i][1]) {
      case 'a':
        if (argv[i][2] != '\0')
          *agent = argv[i] + 2;
        else if (argv[i + 1] != NULL)
          *agent = argv[++i];
        else
          return bad_option(argv[i], "missing file after");
        break;
      case 'v':
        if (argv[i][2] != '\0') return bad_option(argv[i], "unrecognized option");
        *version = 1;
        break;
      case 'h':
        if (argv[i][2] != '\0') return bad_option(argv[i], "unrecognized option");
        print_usage();
        exit(EXIT_SUCCESS);
      default:
        return bad_option(argv[i], "unrecognized option");
    }
  }
  return 0;
}


/* the agent's line filter, found by its require before any search */
static void preload_sorbhook (lua_State *L) {
  lua_getglobal(L, LUA_LOADLIBNAME);
  lua_getfield(L, -1, "preload");
  lua_pushcfunction(L, luaopen_sorbhook);
  lua_setfield(L, -2, "sorbhook");
  lua_pop(L, 2);
}


int main (int argc, char **argv) {
  const char *agent = NULL;
  int version = 0;
  int script, code;
  lua_State *L;
  (void)argc;
  set_streams();
  script = collectargs(argv, &agent, &version);
  if (version)
    print_version();
  if (script < 0) {
    print_usage();
    return EXIT_FAILED;
  }
  if (script == 0) {
    if (version) return EXIT_SUCCESS;
    print_usage();
    return EXIT_FAILED;
  }
  L = lua_open();
  if (L == NULL) {
    l_message("cannot create state: not enough memory");
    return EXIT_FAILED;
  }
  luaL_openlibs(L);
  preload_sorbhook(L);
  init_workdir();
  atexit(at_exit);
  code = run(L, argv, script, agent);
  lua_sethook(L, NULL, 0, 0);  /* the session is over: no stops while closing */
  lua_close(L);
  return code;
}
