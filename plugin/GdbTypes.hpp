// Records shared with the host. The host is built with another compiler, so
// every record is byte-packed and its layout pinned by static_assert.
#ifndef GDBTYPES_HPP
#define GDBTYPES_HPP

#include <stddef.h>

// The eighteen debugger actions, in the order of the txt and cmd tables.
enum DebugSlot {
  SLOT_RUN,
  SLOT_CONTINUE,
  SLOT_STEP,
  SLOT_NEXT,
  SLOT_UNTIL,
  SLOT_KILL,
  SLOT_UP,
  SLOT_DOWN,
  SLOT_ARGS,
  SLOT_STACK,
  SLOT_PRINT,
  SLOT_PRINTEX,
  SLOT_LOCALS,
  SLOT_HELP,
  SLOT_BREAKSET,
  SLOT_BREAKCLR,
  SLOT_BREAKALL,
  SLOT_BREAKINFO,
  SLOT_COUNT
};

#pragma pack(push, 1)

// The host's information request; the plug-in's own settings use it too.
struct DEBUGINFO {
  enum { SIZE = 2512 };

  unsigned int size;
  char name[56];
  char description[71];
  char version[11];
  char options[257];
  char executable[257];
  char arguments[257];
  char infoQuit[61];
  char infoBreakFmt[61];
  char txt[SLOT_COUNT][26];
  char cmd[SLOT_COUNT][56];
  unsigned char display;
};

#pragma pack(pop)

static_assert(sizeof(DEBUGINFO) == DEBUGINFO::SIZE, "DEBUGINFO size");
static_assert(offsetof(DEBUGINFO, size) == 0, "DEBUGINFO.size");
static_assert(offsetof(DEBUGINFO, name) == 4, "DEBUGINFO.name");
static_assert(offsetof(DEBUGINFO, description) == 60, "DEBUGINFO.description");
static_assert(offsetof(DEBUGINFO, version) == 131, "DEBUGINFO.version");
static_assert(offsetof(DEBUGINFO, options) == 142, "DEBUGINFO.options");
static_assert(offsetof(DEBUGINFO, executable) == 399, "DEBUGINFO.executable");
static_assert(offsetof(DEBUGINFO, arguments) == 656, "DEBUGINFO.arguments");
static_assert(offsetof(DEBUGINFO, infoQuit) == 913, "DEBUGINFO.infoQuit");
static_assert(offsetof(DEBUGINFO, infoBreakFmt) == 974, "DEBUGINFO.infoBreakFmt");
static_assert(offsetof(DEBUGINFO, txt) == 1035, "DEBUGINFO.txt");
static_assert(offsetof(DEBUGINFO, cmd) == 1503, "DEBUGINFO.cmd");
static_assert(offsetof(DEBUGINFO, display) == 2511, "DEBUGINFO.display");

#endif
