#include "host.h"

#include <psapi.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The names the IDE looks the exports up by, in HostPlugin's order. */
static const char* const hostExportNames[9] = {
    "DllMain",
    "DebugStartDebugging",
    "DebugStopDebugging",
    "DebugRestartDebugger",
    "DebugConfigure",
    "DebugGetDebugger",
    "DebugInfo",
    "DebugToolTip",
    "?DebugCommandLine@@YAPBDPAVDebugContext@@PAUEXECINFO@@@Z",
};

void (*hostCallbackHook)(const void* data, unsigned int kind);

static SRWLOCK lock = SRWLOCK_INIT;
static HostEvent* events;
static int eventCount, eventCapacity;

static void __cdecl hostOutput(const void* data, unsigned int kind) {
  HostEvent e;
  e.kind = kind;
  e.line = 0;
  e.thread = GetCurrentThreadId();
  if (!data) {
    e.text = _strdup("<null>");
  } else if (kind == 1) {
    const HostStopLocation* location = (const HostStopLocation*)data;
    e.text = (char*)calloc(257, 1);  /* the field need not end */
    memcpy(e.text, location->file, 256);
    e.line = location->line;
  } else {
    e.text = _strdup((const char*)data);
  }
  AcquireSRWLockExclusive(&lock);
  if (eventCount == eventCapacity) {
    eventCapacity = eventCapacity ? eventCapacity * 2 : 256;
    events = (HostEvent*)realloc(events, eventCapacity * sizeof *events);
  }
  events[eventCount++] = e;
  ReleaseSRWLockExclusive(&lock);
  if (hostCallbackHook) hostCallbackHook(data, kind);
}

void hostClearLog(void) {
  int i;
  AcquireSRWLockExclusive(&lock);
  for (i = 0; i < eventCount; i++) free(events[i].text);
  eventCount = 0;
  ReleaseSRWLockExclusive(&lock);
}

int hostEventCount(void) {
  int n;
  AcquireSRWLockShared(&lock);
  n = eventCount;
  ReleaseSRWLockShared(&lock);
  return n;
}

HostEvent hostEvent(int index) {
  HostEvent e = {0, (char*)"", 0, 0};
  AcquireSRWLockShared(&lock);
  if (index >= 0 && index < eventCount) e = events[index];
  ReleaseSRWLockShared(&lock);
  return e;
}

char* hostOutputText(int from) {
  size_t size = 1;
  char* text;
  int i;
  AcquireSRWLockShared(&lock);
  for (i = from < 0 ? 0 : from; i < eventCount; i++)
    if (events[i].kind == 0) size += strlen(events[i].text);
  text = (char*)calloc(size, 1);
  for (i = from < 0 ? 0 : from; i < eventCount; i++)
    if (events[i].kind == 0) strcat(text, events[i].text);
  ReleaseSRWLockShared(&lock);
  return text;
}

/* The first event at or after from of kind (-1: any) whose text contains
   part (null: any); with n, also how many there are. */
static int scan(int from, int kind, const char* part, int* n) {
  int i, found = -1;
  AcquireSRWLockShared(&lock);
  for (i = from < 0 ? 0 : from; i < eventCount && (n || found < 0); i++) {
    const HostEvent* e = &events[i];
    if ((kind >= 0 && (int)e->kind != kind) || (part && !strstr(e->text, part))) continue;
    if (found < 0) found = i;
    if (n) ++*n;
  }
  ReleaseSRWLockShared(&lock);
  return found;
}

int hostCount(int from, int kind, const char* part) {
  int n = 0;
  scan(from, kind, part, &n);
  return n;
}

static void pumpOnce(void) {
  MSG msg;
  while (PeekMessageA(&msg, NULL, 0, 0, PM_REMOVE)) {
    TranslateMessage(&msg);
    DispatchMessageA(&msg);
  }
  MsgWaitForMultipleObjects(0, NULL, FALSE, 5, QS_ALLINPUT);
}

void hostPump(DWORD milliseconds) {
  DWORD start = GetTickCount();
  do pumpOnce();
  while (GetTickCount() - start < milliseconds);
}

int hostWaitFor(int from, int kind, const char* part, DWORD milliseconds) {
  DWORD start = GetTickCount();
  int found;
  while ((found = scan(from, kind, part, NULL)) < 0 && GetTickCount() - start <= milliseconds)
    pumpOnce();
  return found;
}

int hostWaitForOutput(int from, const char* part, DWORD milliseconds) {
  DWORD start = GetTickCount();
  for (;;) {
    char* text = hostOutputText(from);
    int found = strstr(text, part) != NULL;
    free(text);
    if (found || GetTickCount() - start > milliseconds) return found;
    pumpOnce();
  }
}

int hostLoad(HostPlugin* plugin, const char* path, char* error, int size) {
  FARPROC* slots = (FARPROC*)&plugin->DllMain;
  int i;
  memset(plugin, 0, sizeof *plugin);
  plugin->dll = LoadLibraryA(path);
  if (!plugin->dll) {
    if (error) snprintf(error, size, "cannot load %s (%lu)", path, GetLastError());
    return 0;
  }
  for (i = 0; i < 9; i++) {
    slots[i] = GetProcAddress(plugin->dll, hostExportNames[i]);
    if (!slots[i]) {
      if (error) snprintf(error, size, "no export %s", hostExportNames[i]);
      FreeLibrary(plugin->dll);
      memset(plugin, 0, sizeof *plugin);
      return 0;
    }
  }
  return 1;
}

void hostUnload(HostPlugin* plugin) {
  if (plugin->dll) FreeLibrary(plugin->dll);
  memset(plugin, 0, sizeof *plugin);
}

static void put(char* field, const char* text) {
  snprintf(field, 261, "%s", text ? text : "");
}

void hostExecInfo(HostExecInfo* info, const char* command, const char* options,
                  const char* script, const char* file, const char* directory) {
  memset(info, 0, sizeof *info);
  info->size = sizeof *info;
  info->param1 = 0x11111111;
  info->param2 = 0x22222222;
  info->output = hostOutput;
  put(info->workspace, "<default settings>");
  put(info->command, command);
  put(info->options, options);
  put(info->script, script);
  put(info->file, file);
  put(info->directory, directory);
}

/* The IDE's compiler passes an 8-bit argument in a full stack word whose
   upper bytes it leaves as they were: the plug-in must look at the low
   byte only. */
#define BYTE_ARGUMENT(v) (0x5A5A5A00u | (unsigned char)(v))

/* By the number of stack words, which the callee pops: the count must be
   the slot's own. Pointers and int results alike come back in EAX. */
typedef UINT_PTR W;
typedef W(__fastcall* Slot0)(void*, void*);
typedef W(__fastcall* Slot1)(void*, void*, W);
typedef W(__fastcall* Slot2)(void*, void*, W, W);
typedef W(__fastcall* Slot3)(void*, void*, W, W, W);

#define SLOT(type, object, n) ((type)((*(void***)(object))[n]))

int hostCall(void* o, int n) { return (int)SLOT(Slot0, o, n)(o, 0); }
int hostCallBool(void* o, int n) { return hostCall(o, n) & 0xFF; }
int hostCallText(void* o, int n, const char* text) { return (int)SLOT(Slot1, o, n)(o, 0, (W)text); }
int hostCallInt(void* o, int n, int value) { return (int)SLOT(Slot1, o, n)(o, 0, (W)value); }

int hostCallByte(void* o, int n, unsigned char value) {
  return (int)SLOT(Slot1, o, n)(o, 0, BYTE_ARGUMENT(value)) & 0xFF;
}

int hostCallFileLine(void* o, int n, const char* file, int line) {
  return (int)SLOT(Slot2, o, n)(o, 0, (W)file, (W)line);
}

int hostCallTextByte(void* o, int n, const char* text, unsigned char value) {
  return (int)SLOT(Slot2, o, n)(o, 0, (W)text, BYTE_ARGUMENT(value));
}

int hostCallIsBreakpoint(void* o, const char* file, int line, unsigned char* enabled) {
  return (int)SLOT(Slot3, o, HS_IS_BREAKPOINT)(o, 0, (W)file, (W)line, (W)enabled) & 0xFF;
}

size_t hostHeapInUse(void) {
  HANDLE heaps[64];
  DWORD n = GetProcessHeaps(64, heaps), i;
  size_t total = 0;
  for (i = 0; i < n && i < 64; i++) {
    PROCESS_HEAP_ENTRY e;
    e.lpData = NULL;
    if (!HeapLock(heaps[i])) continue;
    while (HeapWalk(heaps[i], &e))
      if (e.wFlags & PROCESS_HEAP_ENTRY_BUSY) total += e.cbData;
    HeapUnlock(heaps[i]);
  }
  return total;
}

size_t hostCommitted(void) {
  PROCESS_MEMORY_COUNTERS c;
  c.cb = sizeof c;
  return K32GetProcessMemoryInfo(GetCurrentProcess(), &c, sizeof c) ? c.PagefileUsage : 0;
}

int hostHandleCount(void) {
  int n = 0;
  size_t value;
  DWORD flags;
  for (value = 4; value < 0x10000; value += 4) n += GetHandleInformation((HANDLE)value, &flags) != 0;
  return n;
}
