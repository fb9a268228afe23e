/* A stand-in for the IDE: loads the plug-in by file name, finds its
   exports by the names the IDE uses, calls the session's operations by
   their place in its virtual table, and keeps a log of every callback the
   plug-in makes, from whichever thread it makes it. Plain C, as the IDE
   knows nothing of the plug-in's compiler. */
#ifndef HOST_H
#define HOST_H

#include <assert.h>
#include <stddef.h>
#include <windows.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)

typedef void(__cdecl* HostOutput)(const void* data, unsigned int kind);

typedef struct {
  unsigned int size; /* 1843 */
  unsigned int param1;
  unsigned int param2;
  HostOutput output;
  char module[261];
  char command[261];
  char options[261];
  char workspace[261];
  char script[261];
  char file[261];
  char directory[261];
} HostExecInfo;

typedef struct {
  unsigned int size; /* 2512 */
  char name[56];
  char description[71];
  char version[11];
  char options[257];
  char executable[257];
  char arguments[257];
  char infoQuit[61];
  char infoBreakFmt[61];
  char txt[18][26];
  char cmd[18][56];
  unsigned char display;
} HostDebugInfo;

typedef struct {
  unsigned int reserved;
  int line;
  char file[256];
} HostStopLocation;

#pragma pack(pop)

/* The layout the IDE was built with, checked here independently of the
   plug-in's own declarations. */
static_assert(sizeof(HostExecInfo) == 1843, "EXECINFO");
static_assert(offsetof(HostExecInfo, directory) == 1582, "EXECINFO.directory");
static_assert(sizeof(HostDebugInfo) == 2512, "DEBUGINFO");
static_assert(offsetof(HostDebugInfo, txt) == 1035, "DEBUGINFO.txt");
static_assert(offsetof(HostDebugInfo, cmd) == 1503, "DEBUGINFO.cmd");
static_assert(sizeof(HostStopLocation) == 264, "StopLocation");

typedef struct {
  HMODULE dll;
  BOOL(WINAPI* DllMain)(HINSTANCE, DWORD, LPVOID);
  int(__cdecl* DebugStartDebugging)(void** context, HostExecInfo* info);
  int(__cdecl* DebugStopDebugging)(void* context);
  int(__cdecl* DebugRestartDebugger)(void** context, const char* file);
  int(__cdecl* DebugConfigure)(HWND parent, const char* modulePath);
  void*(__cdecl* DebugGetDebugger)(void);
  int(__cdecl* DebugInfo)(HostDebugInfo* info);
  int(__cdecl* DebugToolTip)(int index, char* buffer, int size);
  const char*(__cdecl* DebugCommandLine)(void* context, HostExecInfo* info);
} HostPlugin;

/* Loads the DLL and finds all nine exports; 0 and a message in error (when
   given) if the DLL or any export is missing. */
int hostLoad(HostPlugin* plugin, const char* path, char* error, int size);
/* Frees the DLL at once, as the IDE would: a thread of the plug-in still
   on its way out must keep the module loaded itself. */
void hostUnload(HostPlugin* plugin);

/* A start record with the host's callback in place. */
void hostExecInfo(HostExecInfo* info, const char* command, const char* options,
                  const char* script, const char* file, const char* directory);

enum HostSlot {
  HS_SUPPORTS_BREAK_FILTER, HS_IS_BREAKPOINT, HS_HELP, HS_RUN, HS_CONTINUE,
  HS_STEP, HS_NEXT, HS_UNTIL, HS_KILL, HS_UP, HS_DOWN, HS_ARGS, HS_LOCALS,
  HS_STACK, HS_PRINT, HS_PRINTEX, HS_BREAK_SET, HS_BREAK_CLEAR, HS_BREAK_ALL,
  HS_BREAK_INFO, HS_SAVE_BREAKPOINTS, HS_SEND_COMMAND, HS_QUIT, HS_IS_RUNNING,
  HS_SET_BUSY, HS_IS_BUSY, HS_GET_LOCATION, HS_GET_AUX_TEXT, HS_DESTRUCTOR,
  HS_WRITE_BREAKPOINTS, HS_LOAD_BREAKPOINTS, HS_EXTENSION, HS_COUNT
};

/* Member calls as the IDE's compiler makes them (this in ECX, the rest on
   the stack, popped by the callee), by slot number. Results that are 8-bit
   in the interface are cut to their low byte. */
int hostCall(void* object, int slot);
int hostCallBool(void* object, int slot);
int hostCallText(void* object, int slot, const char* text);
int hostCallInt(void* object, int slot, int value);
int hostCallByte(void* object, int slot, unsigned char value); /* 8-bit result */
int hostCallFileLine(void* object, int slot, const char* file, int line);
int hostCallTextByte(void* object, int slot, const char* text, unsigned char value);
int hostCallIsBreakpoint(void* object, const char* file, int line, unsigned char* enabled);

typedef struct {
  unsigned int kind;
  char* text;  /* kind 0 and 2: the text; kind 1: the file */
  int line;    /* kind 1 */
  DWORD thread;
} HostEvent;

void hostClearLog(void);
int hostEventCount(void);
/* A copy of event index (its text owned by the log until hostClearLog). */
HostEvent hostEvent(int index);
/* Every kind-0 text from event index on, joined; free() the result. */
char* hostOutputText(int from);
/* Counts the events of kind (-1: any) from index on whose text contains
   part (null: any). */
int hostCount(int from, int kind, const char* part);
/* Waits until an event of kind whose text contains part arrives at or after
   index from, handling this thread's messages meanwhile. Returns its index,
   or -1 after milliseconds. */
int hostWaitFor(int from, int kind, const char* part, DWORD milliseconds);
/* The same for the joined output text: waits until it contains part. */
int hostWaitForOutput(int from, const char* part, DWORD milliseconds);
/* Handles this thread's messages for milliseconds. */
void hostPump(DWORD milliseconds);

/* What this process holds: heap blocks in use, committed private memory
   and open handles (counted by probing: not every system counts them). */
size_t hostHeapInUse(void);
size_t hostCommitted(void);
int hostHandleCount(void);

/* When set, called on every callback after it is logged, on the calling
   thread (for tests that make the IDE misbehave). */
extern void (*hostCallbackHook)(const void* data, unsigned int kind);

#ifdef __cplusplus
}
#endif

#endif
