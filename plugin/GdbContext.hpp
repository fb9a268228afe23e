// The host's start record and the per-session handle built from it. The
// context is the plug-in's only way back to the host: every text, stop
// position and error notice goes through the callback in the record.
#ifndef GDBCONTEXT_HPP
#define GDBCONTEXT_HPP

#include <stddef.h>

// What the callback's data is: a text to append, the StopLocation of the
// context, or an empty text telling of an unhandled Lua error.
enum OutputKind { OUTPUT_TEXT = 0, OUTPUT_LOCATION = 1, OUTPUT_ERROR = 2 };

// Called on the host's thread and on the reader thread alike.
typedef void(__cdecl* OutputCallback)(const void* data, unsigned int kind);

#pragma pack(push, 1)

// The host's start record.
struct EXECINFO {
  enum { SIZE = 1843, TEXT = 261 };

  unsigned int size;
  unsigned int param1;  // the host's; carried along untouched
  unsigned int param2;  // the host's; the process object keeps a copy
  OutputCallback output;
  char module[TEXT];     // host module whose resources dialogs use
  char command[TEXT];    // debugger executable
  char options[TEXT];    // debugger options
  char workspace[TEXT];  // names the breakpoint profile and section
  char script[TEXT];     // the program the debugger runs
  char file[TEXT];       // last word of the command line
  char directory[TEXT];  // the session's working directory
};

// The execution marker as handed to the host.
struct StopLocation {
  enum { FILE_SIZE = 256 };

  unsigned int reserved;  // the host's; never written here
  int line;
  char file[FILE_SIZE];
};

#pragma pack(pop)

static_assert(sizeof(EXECINFO) == EXECINFO::SIZE, "EXECINFO size");
static_assert(offsetof(EXECINFO, size) == 0, "EXECINFO.size");
static_assert(offsetof(EXECINFO, param1) == 4, "EXECINFO.param1");
static_assert(offsetof(EXECINFO, param2) == 8, "EXECINFO.param2");
static_assert(offsetof(EXECINFO, output) == 12, "EXECINFO.output");
static_assert(offsetof(EXECINFO, module) == 16, "EXECINFO.module");
static_assert(offsetof(EXECINFO, command) == 277, "EXECINFO.command");
static_assert(offsetof(EXECINFO, options) == 538, "EXECINFO.options");
static_assert(offsetof(EXECINFO, workspace) == 799, "EXECINFO.workspace");
static_assert(offsetof(EXECINFO, script) == 1060, "EXECINFO.script");
static_assert(offsetof(EXECINFO, file) == 1321, "EXECINFO.file");
static_assert(offsetof(EXECINFO, directory) == 1582, "EXECINFO.directory");
static_assert(sizeof(OutputCallback) == 4, "callback is one 32-bit word");

static_assert(sizeof(StopLocation) == 264, "StopLocation size");
static_assert(offsetof(StopLocation, reserved) == 0, "StopLocation.reserved");
static_assert(offsetof(StopLocation, line) == 4, "StopLocation.line");
static_assert(offsetof(StopLocation, file) == 8, "StopLocation.file");

// Zero-fills dest and copies src's words and texts, each text cut to fit;
// a null src leaves a blank record. Either way dest's size is EXECINFO::SIZE.
void CopyExecInfo(EXECINFO* dest, const EXECINFO* src);

// One debugging session as the host holds it. Creating it creates the
// session object and makes it current; destroying it releases that session.
class DebugContext {
 public:
  explicit DebugContext(const EXECINFO* info);
  virtual ~DebugContext();

  // Text for the host's debugger output; null is ignored.
  void ReportText(const char* text);
  void ReportTextF(const char* format, ...);
  // Moves the host's marker; an empty file and line 0 clear it. A relative
  // file is made full against the current directory.
  void ReportLocation(const char* file, int line);
  // The unhandled-error notice.
  void ReportError();

  EXECINFO info;
  StopLocation location;

 private:
  DebugContext(const DebugContext&) = delete;
  DebugContext& operator=(const DebugContext&) = delete;
};

#endif
