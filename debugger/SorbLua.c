/*
** SorbLua: console Lua 5.1 host that runs one program under the debugger
** agent. The IDE plug-in starts it as a hidden child, writes the agent's
** commands to its standard input and reads everything it prints.
**
** usage: SorbLua [options] script [file [args...]]
*/

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include "lua.h"
#include "lauxlib.h"
#include "lualib.h"

#define SORBLUA_VERSION	"SorbLua 1.0"
#define AGENT_DLL	"SorbLua.dll"
#define AGENT_ID	150
#define AGENT_ENV	"SORBLUA_AGENT"

/* the plug-in watches the output for these two lines */
#define MSG_TERMINATED	"Debugging process terminated."
#define MSG_UNHANDLED	"Unhandled Lua Exception"

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


static void print_usage (void) {
  printf(
  "usage: %s [options] script [file [args...]]\n"
  "Runs the Lua 5.1 program script under the debugger agent, which reads its\n"
  "commands from standard input. file and args reach the program as arg[1]...\n"
  "and as '...'; arg[0] is script.\n"
  "Available options are:\n"
  "  -a agent  load the debugger agent from the Lua file agent\n"
  "  -h        show this help and exit\n"
  "  -v        show version information\n"
  "  --        stop handling options\n"
  "Without -a the agent is the file named by the environment variable %s,\n"
  "else resource %d of %s in this program's folder.\n"
  "Exit codes: 0 the program ended, 1 unhandled error or bad usage,\n"
  "%d the program cannot be loaded, %d no debugger agent.\n",
  progname, AGENT_ENV, AGENT_ID, AGENT_DLL, EXIT_NOSCRIPT, EXIT_NOAGENT);
}


static void print_version (void) {
  printf("%s -- %s  %s\n", SORBLUA_VERSION, LUA_RELEASE, LUA_COPYRIGHT);
}


static void l_message (const char *msg) {
  printf("%s: %s\n", progname, msg);
}


/* reports the error message on top of the stack, lua.c style */
static int report (lua_State *L, const char *what, int code) {
  const char *msg = lua_tostring(L, -1);
  if (msg == NULL) msg = "(error object is not a string)";
  printf("%s: %s: %s\n", progname, what, msg);
  lua_pop(L, 1);
  return code;
}


static void at_exit (void) {
  if (running)
    printf("%s\n", MSG_TERMINATED);
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


/* the error of a failed program, with the line the plug-in watches for */
static int unhandled (lua_State *L) {
  const char *msg = lua_tostring(L, -1);
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
** on its first line. The agent's debug.traceback as message handler makes
** an uncaught error stop in the debugger before the stack unwinds.
*/
static int run (lua_State *L, char **argv, int script, const char *agent) {
  int narg, status;
  if (handle_luainit(L) != 0)
    return report(L, LUA_INIT, EXIT_NOSCRIPT);
  if (load_agent(L, agent) != 0 || lua_pcall(L, 0, 1, 0) != 0)
    return report(L, "cannot load the debugger agent", EXIT_NOAGENT);
  if (!lua_istable(L, -1)) {
    l_message("the debugger agent returned no module");
    return EXIT_NOAGENT;
  }
  lua_getfield(L, -1, "start");
  lua_getglobal(L, "debug");        /* the handler: the agent's replacement */
  lua_getfield(L, -1, "traceback");
  lua_replace(L, -2);
  if (luaL_loadfile(L, argv[script]) != 0)
    return report(L, "cannot load the program", EXIT_NOSCRIPT);
  narg = getargs(L, argv, script);
  lua_pushvalue(L, -(narg + 3));    /* start */
  if (lua_pcall(L, 0, 0, 0) != 0)
    return unhandled(L);
  running = 1;
  status = lua_pcall(L, narg, 0, -(narg + 2));
  running = 0;
  if (status != 0)
    return unhandled(L);
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
  atexit(at_exit);
  code = run(L, argv, script, agent);
  lua_sethook(L, NULL, 0, 0);  /* the session is over: no stops while closing */
  lua_close(L);
  return code;
}
