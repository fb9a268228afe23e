/* demo_session: one user's debugging session of examples/demo.lua, played
   through SorbLua.dll exactly as the IDE drives it (exports by name, the
   session's operations by slot), printed as the IDE would show it: the
   output pane, every move of the execution marker, every notice, and each
   thing the user does.

   usage: demo_session [program.lua]
   The program defaults to demo.lua in the current folder; it requires
   shapes.lua beside it. Each file marks the line of its breakpoint with a
   comment "stops here". SorbLua.dll and SorbLua.exe are taken from this
   program's folder. */
#include <windows.h>
#include <shlobj.h>
#include <fcntl.h>
#include <io.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host.h"

enum { WAIT_MS = 20000 };

static const char workspace[] = "demo";
static const char prompt[] = "[DEBUG]> ";

static HostPlugin plugin;
static HostDebugInfo labels;
static void* context;
static void* session;

/* ------------------------------------------------------------ the transcript */

static int rendered;   /* events already printed */
static char* pane;     /* the output pane's last, unfinished line */
static size_t paneLength;

static void paneAppend(const char* text) {
  size_t n = strlen(text);
  pane = realloc(pane, paneLength + n + 1);
  memcpy(pane + paneLength, text, n + 1);
  paneLength += n;
}

/* Prints the pane's finished lines; the rest waits for its line end, as the
   prompt waits for the echo of the next command. */
static void paneFlush(int all) {
  size_t start = 0, i;
  for (i = 0; i < paneLength; i++)
    if (pane[i] == '\n') {
      printf(i > start ? "  | %.*s\n" : "  |\n", (int)(i - start), pane + start);
      start = i + 1;
    }
  if (all && start < paneLength) {
    printf("  | %s\n", pane + start);
    start = paneLength;
  }
  memmove(pane, pane + start, paneLength - start + 1);
  paneLength -= start;
}

/* Prints every callback logged since the last call, in arrival order. */
static void render(void) {
  int n = hostEventCount();
  for (; rendered < n; rendered++) {
    HostEvent e = hostEvent(rendered);
    if (e.kind == 0) {
      paneAppend(e.text);
      paneFlush(0);
    } else if (e.kind == 1 && e.text[0]) {
      printf("  marker -> %s line %d\n", e.text, e.line);
    } else if (e.kind == 1) {
      printf("  marker cleared\n");
    } else {
      printf("  notice: the program stopped on an unhandled Lua error\n");
    }
  }
  fflush(stdout);
}

static void announce(const char* format, ...) {
  va_list args;
  render();
  printf("\n> user ");
  va_start(args, format);
  vprintf(format, args);
  va_end(args);
  printf("\n");
}

/* The caption of a slot's button, among the eighteen the plug-in labels. */
static int labelIndex(int slot) {
  static const int slots[18] = {
      HS_RUN, HS_CONTINUE, HS_STEP, HS_NEXT, HS_UNTIL, HS_KILL, HS_UP, HS_DOWN, HS_ARGS,
      HS_STACK, HS_PRINT, HS_PRINTEX, HS_LOCALS, HS_HELP, HS_BREAK_SET, HS_BREAK_CLEAR,
      HS_BREAK_ALL, HS_BREAK_INFO};
  int i = 0;
  while (i < 17 && slots[i] != slot) i++;
  return i;
}

/* A caption as the IDE shows it on its button: without the mnemonic mark. */
static const char* caption(int slot) {
  static char text[8][26];
  static int next;
  char* out = text[next++ % 8];
  const char* in = labels.txt[labelIndex(slot)];
  int i = 0;
  for (; *in && i < 25; in++)
    if (*in != '&') out[i++] = *in;
  out[i] = 0;
  return out;
}

static void fail(const char* what) {
  render();
  paneFlush(1);
  printf("\ndemo: %s\n", what);
  fflush(stdout);
  if (context) plugin.DebugStopDebugging(context);
  hostUnload(&plugin);
  exit(1);
}

/* ------------------------------------------------------------ waiting */

/* The debugger has answered everything since event from: its prompt is
   back and, for a command that moves the program, the marker has moved. */
static void settle(int from, int moves) {
  if (!hostWaitForOutput(from, prompt, WAIT_MS)) fail("no prompt came back");
  /* A drive letter: the marker moved somewhere, not just cleared. */
  if (moves && hostWaitFor(from, 1, ":", WAIT_MS) < 0) fail("the marker did not move");
  render();
}

/* The program ran to its end: the plug-in saw the end line, sent the quit
   word and cleared the marker, and the debugger process is gone. */
static void settleEnd(int from) {
  int quit;
  if (!hostWaitForOutput(from, "Debugging process terminated.\n", WAIT_MS))
    fail("the program did not end");
  quit = hostWaitFor(from, 0, "exit\n", WAIT_MS);
  if (quit < 0 || hostWaitFor(quit + 1, 1, NULL, WAIT_MS) < 0) fail("the session did not close");
  for (int i = 0; i < WAIT_MS / 10 && hostCallBool(session, HS_IS_RUNNING); i++) hostPump(10);
  if (hostCallBool(session, HS_IS_RUNNING)) fail("the debugger process did not end");
  render();
}

/* ------------------------------------------------------------ the user */

static void press(int slot, int moves) {
  int from = hostEventCount();
  announce("presses %s", caption(slot));
  if (!hostCall(session, slot)) fail("the plug-in sent nothing");
  settle(from, moves);
}

static void pressWithText(int slot, const char* what, const char* text) {
  int from = hostEventCount();
  announce("%s \"%s\" and presses %s", what, text, caption(slot));
  if (!hostCallText(session, slot, text)) fail("the plug-in sent nothing");
  settle(from, 0);
}

static void type(const char* command) {
  int from = hostEventCount();
  announce("types \"%s\" into the debugger's command box", command);
  if (!hostCallTextByte(session, HS_SEND_COMMAND, command, 1)) fail("the plug-in sent nothing");
  settle(from, 0);
}

static void breakpoint(int slot, const char* file, const char* name, int line) {
  int from = hostEventCount();
  announce("puts the cursor on %s line %d and presses Breakpoint %s", name, line, caption(slot));
  if (!hostCallFileLine(session, slot, file, line)) fail("the plug-in sent nothing");
  settle(from, 0);
}

/* ------------------------------------------------------------ set-up */

/* The line of the program that carries the demo's breakpoint comment. */
static int breakLine(const char* path) {
  char text[512];
  int line = 0;
  FILE* f = fopen(path, "r");
  if (!f) return 0;
  while (fgets(text, sizeof text, f)) {
    line++;
    if (strstr(text, "stops here")) break;
  }
  if (feof(f)) line = 0;
  fclose(f);
  return line;
}

/* The workspace starts with no stored breakpoints, so that every run
   prints the same: the plug-in would replay them at start. */
static void forgetBreakpoints(void) {
  char path[MAX_PATH + 64] = "";
  if (!SHGetSpecialFolderPathA(NULL, path, CSIDL_APPDATA, FALSE)) return;
  strcat(path, "\\Brennick\\Tarn\\");
  strcat(path, workspace);
  strcat(path, ".ini");
  DeleteFileA(path);
}

int main(int argc, char** argv) {
  char here[MAX_PATH], dll[MAX_PATH + 16], exe[MAX_PATH + 16];
  char program[MAX_PATH], directory[MAX_PATH], module[MAX_PATH + 16], error[300];
  char* name;
  HostExecInfo exec;
  int line, moduleLine, from;

  /* Plain line feeds: the transcript is read where the build runs. */
  _setmode(_fileno(stdout), _O_BINARY);
  setvbuf(stdout, NULL, _IOFBF, 1 << 16);
  GetModuleFileNameA(NULL, here, MAX_PATH);
  *strrchr(here, '\\') = 0;
  snprintf(dll, sizeof dll, "%s\\SorbLua.dll", here);
  snprintf(exe, sizeof exe, "%s\\SorbLua.exe", here);
  if (!GetFullPathNameA(argc > 1 ? argv[1] : "demo.lua", MAX_PATH, program, &name) ||
      GetFileAttributesA(program) == INVALID_FILE_ATTRIBUTES) {
    printf("demo: no program %s\n", argc > 1 ? argv[1] : "demo.lua");
    return 1;
  }
  memcpy(directory, program, name - program - 1);
  directory[name - program - 1] = 0;
  snprintf(module, sizeof module, "%s\\shapes.lua", directory);
  line = breakLine(program);
  moduleLine = breakLine(module);
  if (!line || !moduleLine) {
    printf("demo: %s or %s has no line marked \"stops here\"\n", program, module);
    return 1;
  }

  if (!hostLoad(&plugin, dll, error, sizeof error)) {
    printf("demo: %s\n", error);
    return 1;
  }
  labels.size = sizeof labels;
  plugin.DebugInfo(&labels);
  forgetBreakpoints();
  printf("SorbLua demo: a debugging session as the IDE shows it\n");
  printf("  plug-in  %s (%s %s)\n", dll, labels.name, labels.version);
  printf("  program  %s\n", program);
  printf("  \"> user\" what the user does, \"|\" the debugger output pane,\n");
  printf("  \"marker\" the execution marker in the editor, \"notice\" an error notice\n");

  announce("starts debugging %s", name);
  hostExecInfo(&exec, exe, "", program, "", directory);
  strcpy(exec.workspace, workspace);
  from = hostEventCount();
  if (!plugin.DebugStartDebugging(&context, &exec)) fail("the debugger did not start");
  session = plugin.DebugGetDebugger();
  settle(from, 0);

  breakpoint(HS_BREAK_SET, program, name, line);
  press(HS_RUN, 1);
  press(HS_STEP, 1);    /* into describe() */
  press(HS_STEP, 1);    /* into shapes.area(), the other file */
  press(HS_STACK, 0);
  press(HS_ARGS, 0);
  pressWithText(HS_PRINT, "selects", "shape");
  press(HS_UNTIL, 1);   /* back in describe(), the area known */
  type("=area");
  press(HS_NEXT, 1);    /* over print(): its output, then the loop's next line */
  type("vars 1");
  breakpoint(HS_BREAK_CLEAR, program, name, line);
  /* In the module, which require found along Lua's default path. */
  breakpoint(HS_BREAK_SET, module, "shapes.lua", moduleLine);
  press(HS_CONTINUE, 1);
  press(HS_STACK, 0);
  breakpoint(HS_BREAK_CLEAR, module, "shapes.lua", moduleLine);

  from = hostEventCount();
  announce("presses %s", caption(HS_CONTINUE));
  if (!hostCall(session, HS_CONTINUE)) fail("the plug-in sent nothing");
  settleEnd(from);

  announce("stops debugging");
  if (!plugin.DebugStopDebugging(context)) fail("the session did not stop");
  context = NULL;
  render();
  paneFlush(1);
  printf("\nThe session is over.\n");
  fflush(stdout);
  hostUnload(&plugin);
  return 0;
}
