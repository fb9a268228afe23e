/*
** sorbhook: the debugger agent's line filter, in C.
**
** A hook written in Lua costs a Lua call on every line the program runs.
** This module installs a C hook in the agent's place that keeps the agent's
** run-mode decisions here (which line numbers may stop, which functions may
** hold them, how deep the thread is while stepping over or out) and calls
** the agent's Lua hook only when a stop is possible, with the arguments and
** at the stack level debug.sethook's own hook would. It also looks, a few
** times a second, whether a command is waiting on standard input, so that
** the agent can act on it while the program runs.
**
** The agent works without this module; it must never decide anything the
** agent would decide differently. A false "may stop" only costs time, so
** every doubt here goes to the agent.
**
** Lua API (all used by agent/debugger.lua alone):
**   sethook([thread,] [hook, mask, access])  install the C hook for the
**       agent's Lua hook; mask "lr" marks its run hook, "crl" its full hook;
**       access(s) sets the thread's level count to s (if given) and returns
**       the count and the step level. No hook: removes it.
**   gethook([thread])  debug.gethook, with the agent's Lua hook for ours
**   config(kind, lines)  "run", "over" or "all" (forward every event), and
**       the line numbers that hold breakpoints
**   stepfuncs(list)  functions whose lines may need a level check (over)
**   callbacks(hits, input)  hits(source, short_src, line) says whether a
**       breakpoint can be in that source at that line; input() reads and
**       runs commands sent while the program runs
**   input(on)  allows the look at standard input or not; true when allowed
**   resume([on])  the program goes on: look at the input while it runs,
**       unless some already waits (typed ahead: that is for the next stop)
**       or on is false (the session is over)
**   waiting()  whether input is waiting now
**   readline()  a line of standard input without its end, nil at the end
*/

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <poll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#endif

#include "lua.h"
#include "lauxlib.h"

#include "sorbhook.h"

enum { KIND_ALL, KIND_RUN, KIND_OVER };

typedef struct Thread {
  lua_State *L;
  int hook_ref, access_ref, thread_ref;
  int run;          /* the agent's run hook, else its full hook */
  int owned;        /* stack counted here since the agent last saw it */
  int stack;
  lua_Number step;
  unsigned gen;     /* config generation of step */
  struct Thread *next;
} Thread;

/* One Lua state per process: the agent is loaded once. */
/* the hooked threads by address, in chains; a program may make thousands */
static Thread **buckets, *last;   /* last: the thread of the previous event */
static size_t nbuckets, nthreads;
static int kind = KIND_ALL;
static unsigned gen = 1;
static int hits_ref = LUA_NOREF, input_ref = LUA_NOREF;

/* line numbers with breakpoints: a bit per line below BITS_MAX */
#define BITS_MAX (1 << 20)
static unsigned char *bits;
static int bits_size;           /* bytes */
static int any_lines, high_lines; /* high: one above BITS_MAX exists */

/* per (function, line): whether a breakpoint may be there; the functions
** are anchored in anchor_ref so that no other one takes their address (a
** function is cheaper to ask for than its source) */
#define HITS 1024
typedef struct { const void *fn; int line; int hit; } Hit;
static Hit hits[HITS];
static int nhits;
static int anchor_ref = LUA_NOREF;

static const void **funcs;
static int nfuncs, funcs_ref = LUA_NOREF;

/* commands while running */
#define POLL_EVENTS 1000
#define POLL_MS 40
static int allowed, polling, countdown = POLL_EVENTS;
static unsigned long last_poll;
static char inbuf[4096];   /* read from standard input, not yet a line */
static int inpos, inlen;

static const char *const hooknames[] = {"call", "return", "line", "count", "tail return"};

static void hook (lua_State *L, lua_Debug *ar);


/* ------------------------------------------------------------ threads */

static size_t bucket (const lua_State *L, size_t n) {
  size_t p = (size_t)L;
  return ((p >> 4) ^ (p >> 12)) & (n - 1);
}

static Thread *find (lua_State *L) {
  Thread *t;
  if (last != NULL && last->L == L) return last;
  if (nbuckets == 0) return NULL;
  for (t = buckets[bucket(L, nbuckets)]; t != NULL; t = t->next)
    if (t->L == L) return last = t;
  return NULL;
}

/* Adds t, first doubling the buckets when the chains grow long. */
static int add (Thread *t) {
  if (nthreads >= 2 * nbuckets) {
    size_t n = nbuckets ? 2 * nbuckets : 64, i;
    Thread **b = (Thread **)calloc(n, sizeof *b);
    if (b == NULL) return 0;
    for (i = 0; i < nbuckets; i++) {
      while (buckets[i] != NULL) {
        Thread *u = buckets[i];
        buckets[i] = u->next;
        u->next = b[bucket(u->L, n)];
        b[bucket(u->L, n)] = u;
      }
    }
    free(buckets);
    buckets = b;
    nbuckets = n;
  }
  t->next = buckets[bucket(t->L, nbuckets)];
  buckets[bucket(t->L, nbuckets)] = t;
  nthreads++;
  return 1;
}

static void drop (lua_State *L, Thread *t) {
  Thread **p;
  for (p = &buckets[bucket(t->L, nbuckets)]; *p != t; p = &(*p)->next) {}
  *p = t->next;
  nthreads--;
  if (last == t) last = NULL;
  luaL_unref(L, LUA_REGISTRYINDEX, t->hook_ref);
  luaL_unref(L, LUA_REGISTRYINDEX, t->access_ref);
  luaL_unref(L, LUA_REGISTRYINDEX, t->thread_ref);
  free(t);
}

/* The agent's count becomes this one's (push) or this one's the agent's. */
static void push_stack (lua_State *L, Thread *t) {
  lua_rawgeti(L, LUA_REGISTRYINDEX, t->access_ref);
  lua_pushinteger(L, t->stack);
  lua_call(L, 1, 0);
  t->owned = 0;
}

static void pull (lua_State *L, Thread *t, int stack_too) {
  lua_rawgeti(L, LUA_REGISTRYINDEX, t->access_ref);
  lua_call(L, 0, 2);
  if (stack_too) {
    t->stack = (int)lua_tointeger(L, -2);
    t->owned = 1;
  }
  t->step = lua_tonumber(L, -1);
  t->gen = gen;
  lua_pop(L, 2);
}


/* ------------------------------------------------------------ filters */

static int is_line (int line) {
  if (line >= 0 && line < bits_size * 8) return (bits[line >> 3] >> (line & 7)) & 1;
  return line >= BITS_MAX && high_lines;
}

static unsigned hit_slot (const void *fn, int line) {
  size_t p = (size_t)fn;
  return (unsigned)((p >> 3) ^ (p >> 13) ^ ((unsigned)line * 2654435761u)) % HITS;
}

static void clear_hits (lua_State *L) {
  memset(hits, 0, sizeof hits);
  nhits = 0;
  luaL_unref(L, LUA_REGISTRYINDEX, anchor_ref);
  lua_newtable(L);
  anchor_ref = luaL_ref(L, LUA_REGISTRYINDEX);
}

/* Whether a breakpoint may be on this line of the running function. */
static int may_hit (lua_State *L, lua_Debug *ar, int line) {
  lua_Debug def;
  const void *fn;
  unsigned i;
  int hit;
  if (!is_line(line)) return 0;
  if (hits_ref == LUA_NOREF || !lua_getinfo(L, "f", ar)) return 1;
  fn = lua_topointer(L, -1);
  for (i = hit_slot(fn, line); hits[i].fn != NULL; i = (i + 1) % HITS)
    if (hits[i].fn == fn && hits[i].line == line) {
      lua_pop(L, 1);
      return hits[i].hit;
    }
  if (nhits >= HITS / 2) clear_hits(L);
  lua_rawgeti(L, LUA_REGISTRYINDEX, anchor_ref);
  lua_pushvalue(L, -2);
  lua_pushboolean(L, 1);
  lua_rawset(L, -3);
  lua_pop(L, 1);
  lua_getinfo(L, ">S", &def);   /* pops the function */
  lua_rawgeti(L, LUA_REGISTRYINDEX, hits_ref);
  lua_pushstring(L, def.source);
  lua_pushstring(L, def.short_src);
  lua_pushinteger(L, line);
  lua_call(L, 3, 1);
  hit = lua_toboolean(L, -1);
  lua_pop(L, 1);
  for (i = hit_slot(fn, line); hits[i].fn != NULL; i = (i + 1) % HITS) {}
  hits[i].fn = fn;
  hits[i].line = line;
  hits[i].hit = hit;
  nhits++;
  return hit;
}

/* Whether the running function is one of the frames the step started at
** or below (recursion, frames an error unwound): the agent checks depth. */
static int in_step_funcs (lua_State *L, lua_Debug *ar) {
  const void *f;
  int i;
  if (nfuncs == 0) return 0;
  if (!lua_getinfo(L, "f", ar)) return 1;
  f = lua_topointer(L, -1);
  lua_pop(L, 1);
  for (i = 0; i < nfuncs; i++)
    if (funcs[i] == f) return 1;
  return 0;
}


/* ------------------------------------------------------------ input */

#ifdef _WIN32
static unsigned long now_ms (void) { return GetTickCount(); }

static int stdin_is_pipe (void) {
  return GetFileType(GetStdHandle(STD_INPUT_HANDLE)) == FILE_TYPE_PIPE;
}

/* a broken pipe counts as waiting: the agent then reads the end of input */
static int pipe_waiting (void) {
  DWORD n = 0;
  if (!PeekNamedPipe(GetStdHandle(STD_INPUT_HANDLE), NULL, 0, NULL, &n, NULL)) return 1;
  return n > 0;
}

static int read_input (char *buf, int size) {
  DWORD n = 0;
  if (!ReadFile(GetStdHandle(STD_INPUT_HANDLE), buf, (DWORD)size, &n, NULL)) return 0;
  return (int)n;
}
#else
static unsigned long now_ms (void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (unsigned long)ts.tv_sec * 1000ul + (unsigned long)(ts.tv_nsec / 1000000);
}

static int stdin_is_pipe (void) {
  struct stat st;
  if (fstat(0, &st) != 0) return 0;
  return S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode) || isatty(0);
}

static int pipe_waiting (void) {
  struct pollfd p;
  p.fd = 0;
  p.events = POLLIN;
  p.revents = 0;
  return poll(&p, 1, 0) > 0 && (p.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

static int read_input (char *buf, int size) {
  ssize_t n;
  do n = read(0, buf, (size_t)size); while (n < 0 && errno == EINTR);
  return n < 0 ? 0 : (int)n;
}
#endif

static int input_waiting (void) { return inpos < inlen || pipe_waiting(); }

/* Called every POLL_EVENTS events: a clock read, and a look at the pipe
** when POLL_MS have passed. Returns whether the agent ran. */
static int check_input (lua_State *L, Thread *t) {
  unsigned long now;
  countdown = POLL_EVENTS;
  now = now_ms();
  if (now - last_poll < POLL_MS) return 0;
  last_poll = now;
  if (!input_waiting()) return 0;
  if (t->owned) push_stack(L, t);   /* the agent may count from the real depth */
  lua_rawgeti(L, LUA_REGISTRYINDEX, input_ref);
  lua_call(L, 0, 0);
  return 1;
}


/* ------------------------------------------------------------ the hook */

/* the agent's hook, as debug.sethook's own hook calls it */
static void forward (lua_State *L, Thread *t, lua_Debug *ar) {
  if (t->owned) push_stack(L, t);
  lua_rawgeti(L, LUA_REGISTRYINDEX, t->hook_ref);
  lua_pushstring(L, hooknames[ar->event]);
  if (ar->currentline >= 0)
    lua_pushinteger(L, ar->currentline);
  else
    lua_pushnil(L);
  lua_call(L, 2, 0);
}

static void hook (lua_State *L, lua_Debug *ar) {
  Thread *t = find(L);
  if (t == NULL) return;   /* a thread that inherited the hook */
  /* input is taken on a line event only: on a return from a C function
  ** the agent would count out and over from the C function's level */
  if (polling && --countdown <= 0 && ar->event == LUA_HOOKLINE && check_input(L, t)) {
    t = find(L);           /* the agent may have changed or removed it */
    if (t == NULL || lua_gethook(L) != hook) return;
  }

  if (t->run) {
    /* run hook ("lr"): nothing but lines and tail returns can stop */
    if (ar->event == LUA_HOOKRET) return;
    if (kind == KIND_RUN) {
      if (ar->event == LUA_HOOKTAILRET ? !any_lines : !may_hit(L, ar, ar->currentline)) return;
    }
    forward(L, t, ar);
    return;
  }

  /* full hook ("crl"): levels are counted here only while stepping over */
  if (kind != KIND_OVER) {
    forward(L, t, ar);
    return;
  }
  fflush(stdout);   /* the agent's hook flushes on every event */
  if (!t->owned)
    pull(L, t, 1);
  else if (t->gen != gen)
    pull(L, t, 0);
  switch (ar->event) {
    case LUA_HOOKCALL:
      t->stack++;
      return;
    case LUA_HOOKRET:
      if (t->stack > 0) t->stack--;
      return;
    case LUA_HOOKLINE:
      if (t->stack <= t->step || may_hit(L, ar, ar->currentline) || in_step_funcs(L, ar)) break;
      return;
    default:
      break;
  }
  forward(L, t, ar);
  /* the agent's count after its hook, so that no line after this one
  ** needs a Lua call to learn it */
  t = find(L);
  if (t != NULL && !t->run && kind == KIND_OVER && lua_gethook(L) == hook) pull(L, t, 1);
}


/* ------------------------------------------------------------ Lua API */

static lua_State *thread_arg (lua_State *L, int *arg) {
  if (lua_isthread(L, 1)) {
    *arg = 1;
    return lua_tothread(L, 1);
  }
  *arg = 0;
  return L;
}

static int l_sethook (lua_State *L) {
  int arg;
  lua_State *L1 = thread_arg(L, &arg);
  Thread *t = find(L1);
  if (t != NULL && t->owned) push_stack(L, t);
  if (lua_isnoneornil(L, arg + 1)) {
    if (t != NULL) drop(L, t);
    lua_sethook(L1, NULL, 0, 0);
    return 0;
  }
  luaL_checktype(L, arg + 1, LUA_TFUNCTION);
  luaL_checktype(L, arg + 3, LUA_TFUNCTION);
  if (t == NULL) {
    t = (Thread *)calloc(1, sizeof *t);
    if (t == NULL) return luaL_error(L, "not enough memory");
    t->L = L1;
    if (!add(t)) {
      free(t);
      return luaL_error(L, "not enough memory");
    }
    /* held here, as the agent's records hold it: no other thread can
    ** take its address while its entry lives */
    lua_pushthread(L1);
    lua_xmove(L1, L, 1);
    t->thread_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  } else {
    luaL_unref(L, LUA_REGISTRYINDEX, t->hook_ref);
    luaL_unref(L, LUA_REGISTRYINDEX, t->access_ref);
  }
  lua_pushvalue(L, arg + 1);
  t->hook_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  lua_pushvalue(L, arg + 3);
  t->access_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  t->run = strchr(luaL_checkstring(L, arg + 2), 'c') == NULL;
  t->owned = 0;
  lua_sethook(L1, hook, t->run ? LUA_MASKLINE | LUA_MASKRET
                               : LUA_MASKCALL | LUA_MASKRET | LUA_MASKLINE, 0);
  return 0;
}

/* debug.gethook's results, with the agent's Lua hook for this module's */
static int l_gethook (lua_State *L) {
  int arg, mask, n = 0;
  char smask[4];
  lua_State *L1 = thread_arg(L, &arg);
  Thread *t;
  if (lua_gethook(L1) != hook) {
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
  }
  t = find(L1);
  if (t != NULL)
    lua_rawgeti(L, LUA_REGISTRYINDEX, t->hook_ref);
  else
    lua_pushnil(L);
  mask = lua_gethookmask(L1);
  if (mask & LUA_MASKCALL) smask[n++] = 'c';
  if (mask & LUA_MASKRET) smask[n++] = 'r';
  if (mask & LUA_MASKLINE) smask[n++] = 'l';
  lua_pushlstring(L, smask, n);
  lua_pushinteger(L, lua_gethookcount(L1));
  return 3;
}

static int l_config (lua_State *L) {
  static const char *const kinds[] = {"all", "run", "over", NULL};
  int i, n;
  kind = luaL_checkoption(L, 1, NULL, kinds);
  luaL_checktype(L, 2, LUA_TTABLE);
  n = (int)lua_objlen(L, 2);
  if (bits != NULL) memset(bits, 0, bits_size);
  any_lines = high_lines = 0;
  for (i = 1; i <= n; i++) {
    int line;
    lua_rawgeti(L, 2, i);
    line = (int)lua_tointeger(L, -1);
    lua_pop(L, 1);
    if (line < 0) continue;
    any_lines = 1;
    if (line >= BITS_MAX) {
      high_lines = 1;
      continue;
    }
    if (line / 8 >= bits_size) {
      int size = (line / 8 + 1) * 2;
      unsigned char *b;
      if (size > BITS_MAX / 8) size = BITS_MAX / 8;
      b = (unsigned char *)realloc(bits, size);
      if (b == NULL) return luaL_error(L, "not enough memory");
      memset(b + bits_size, 0, size - bits_size);
      bits = b;
      bits_size = size;
    }
    bits[line >> 3] |= (unsigned char)(1 << (line & 7));
  }
  clear_hits(L);
  gen++;
  return 0;
}

static int l_stepfuncs (lua_State *L) {
  int i, n;
  luaL_checktype(L, 1, LUA_TTABLE);
  n = (int)lua_objlen(L, 1);
  free(funcs);
  funcs = (const void **)malloc((n + 1) * sizeof *funcs);
  if (funcs == NULL) {
    nfuncs = 0;
    return luaL_error(L, "not enough memory");
  }
  for (i = 0; i < n; i++) {
    lua_rawgeti(L, 1, i + 1);
    funcs[i] = lua_topointer(L, -1);
    lua_pop(L, 1);
  }
  nfuncs = n;
  /* the list holds them: no other function takes their addresses */
  luaL_unref(L, LUA_REGISTRYINDEX, funcs_ref);
  lua_pushvalue(L, 1);
  funcs_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  gen++;
  return 0;
}

static int l_callbacks (lua_State *L) {
  luaL_checktype(L, 1, LUA_TFUNCTION);
  luaL_checktype(L, 2, LUA_TFUNCTION);
  luaL_unref(L, LUA_REGISTRYINDEX, hits_ref);
  luaL_unref(L, LUA_REGISTRYINDEX, input_ref);
  lua_pushvalue(L, 1);
  hits_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  lua_pushvalue(L, 2);
  input_ref = luaL_ref(L, LUA_REGISTRYINDEX);
  return 0;
}

/* Only a pipe (or a terminal) can bring a command later: a file holds all
** its input at once. Standard input is then read a byte at a time, so
** that what waits is in the pipe, where the look finds it, never in a
** buffer of stdio's. */
static int l_input (lua_State *L) {
  int on = lua_toboolean(L, 1) && input_ref != LUA_NOREF && stdin_is_pipe();
  if (on && !allowed) setvbuf(stdin, NULL, _IONBF, 0);
  allowed = on;
  if (!on) polling = 0;
  lua_pushboolean(L, on);
  return 1;
}

static int l_resume (lua_State *L) {
  polling = allowed && (lua_isnone(L, 1) || lua_toboolean(L, 1)) && !input_waiting();
  countdown = POLL_EVENTS;
  last_poll = now_ms();
  return 0;
}

static int l_waiting (lua_State *L) {
  lua_pushboolean(L, allowed && input_waiting());
  return 1;
}

/*
** While the look at the input is allowed the agent reads its lines here,
** from the pipe into a buffer of this module's, where the look sees what
** waits; stdio's stdin is unbuffered then, so that a program's own reads
** take no more than they use. A read takes what the pipe holds: a byte a
** read would cost a trip to the server per byte under Wine.
*/
static int l_readline (lua_State *L) {
  luaL_Buffer b;
  int any = 0;
  luaL_buffinit(L, &b);
  for (;;) {
    char *end = (char *)memchr(inbuf + inpos, '\n', inlen - inpos);
    if (end != NULL) {
      luaL_addlstring(&b, inbuf + inpos, end - (inbuf + inpos));
      inpos = (int)(end - inbuf) + 1;
      break;
    }
    any = any || inpos < inlen;
    luaL_addlstring(&b, inbuf + inpos, inlen - inpos);
    inpos = 0;
    inlen = read_input(inbuf, (int)sizeof inbuf);
    if (inlen <= 0) {   /* the end of input */
      inlen = 0;
      if (!any) {
        lua_pushnil(L);
        return 1;
      }
      break;
    }
  }
  luaL_pushresult(&b);
  return 1;
}

static const luaL_Reg functions[] = {
  {"sethook", l_sethook},
  {"config", l_config},
  {"stepfuncs", l_stepfuncs},
  {"callbacks", l_callbacks},
  {"input", l_input},
  {"resume", l_resume},
  {"waiting", l_waiting},
  {"readline", l_readline},
  {NULL, NULL}
};

SORBHOOK_API int luaopen_sorbhook (lua_State *L) {
  lua_newtable(L);   /* no global: the program's namespace is its own */
  luaL_register(L, NULL, functions);
  lua_getglobal(L, "debug");
  lua_getfield(L, -1, "gethook");
  lua_remove(L, -2);
  lua_pushcclosure(L, l_gethook, 1);
  lua_setfield(L, -2, "gethook");
  lua_pushliteral(L, "2");   /* the agent checks it: the calls it makes */
  lua_setfield(L, -2, "version");
  return 1;
}
