// The assertion dialog, the crash filter and its report, and the fatal
// notices. A crash may come from a broken heap, so the report path neither
// allocates nor uses the C library's streams: fixed buffers, plain Win32
// file calls, and the symbol libraries loaded only when needed.
#include "cCrash.hpp"
#include "cError.hpp"
#include "iError.hpp"

#include <windows.h>
#include <dbghelp.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {

enum { REPORT_SIZE = 8192, MAX_FRAMES = 256, NAME_SIZE = 256 };

const char separator[] =
    "\n//======================================================================="
    "\n";
const char noRoom[] = "No more room for tracing.\n";
const char defaultCaption[] = "Application Error";
// The notice of an application object: it speaks for the editor.
const char applicationNotice[] =
    "Tarn has detected an internal program error. It is recommended that you "
    "carefully save your current work files and restart the editor.\n\n"
    "If possible, please help to fix this bug by sending us a short description "
    "of how to reproduce the crash, along with the following error files:\n\n"
    "   %s\n   %s\n\nto this e-mail address:\n\n"
    "crash-reports@sorblua.example"
    "\n\nYour help in fixing this bug is greatly appreciated. TIA.\n";
const char genericNotice[] =
    "The application has detected an internal program error. If possible, "
    "please help to fix this bug by sending us a short description of how to "
    "reproduce the crash, along with the following error files:\n\n"
    "   %s\n   %s\n\nto this e-mail address:\n\n"
    "   crash-reports@sorblua.example\n\n"
    "It is recommended that you save your work and restart the application. "
    "Your help in fixing this bug is greatly appreciated.\n";

// The filter takes only the codes marked fatal, on purpose: the others are
// named for reports written on request, and a fault outside the set (an
// illegal instruction, a stack overflow) passes on to the next handler.
struct CodeName {
  DWORD code;
  const char* name;
  bool fatal;  // reported by the crash filter
};

const CodeName codeNames[] = {
    {EXCEPTION_ACCESS_VIOLATION, "Access Violation", true},
    {EXCEPTION_NONCONTINUABLE_EXCEPTION, "Noncontinuable Exception", true},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, "Array Bounds Exceeded", true},
    {EXCEPTION_FLT_DENORMAL_OPERAND, "Flt Denormal Operand", true},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, "Flt Divide By ZERO", true},
    {EXCEPTION_FLT_INEXACT_RESULT, "Flt Inexact Result", true},
    {EXCEPTION_FLT_INVALID_OPERATION, "Flt Invalid Operation", true},
    {EXCEPTION_FLT_OVERFLOW, "Flt Overflow", true},
    {EXCEPTION_FLT_STACK_CHECK, "Flt Stack Check", true},
    {EXCEPTION_FLT_UNDERFLOW, "Flt Underflow", true},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "Int Divide By Zero", true},
    {EXCEPTION_INT_OVERFLOW, "Int Overflow", true},
    {EXCEPTION_DATATYPE_MISALIGNMENT, "Datatype Misalignment", false},
    {EXCEPTION_BREAKPOINT, "Breakpoint", false},
    {EXCEPTION_SINGLE_STEP, "Single Step", false},
    {EXCEPTION_PRIV_INSTRUCTION, "Priv Instruction", false},
    {EXCEPTION_IN_PAGE_ERROR, "In Page Error", false},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "Illegal Instruction", false},
    {EXCEPTION_STACK_OVERFLOW, "Stack Overflow", false},
    {EXCEPTION_INVALID_DISPOSITION, "Invalid Disposition", false},
    {EXCEPTION_GUARD_PAGE, "Guard Page", false},
    {EXCEPTION_INVALID_HANDLE, "Invalid Handle", false},
};

char reportFile[MAX_PATH];
char dumpFile[MAX_PATH];
PVOID vectoredHandle;
bool quiet;
// The application object, when there is one, and the title it set.
HWND (*appWindow)();
bool appQuiet;
char appTitle[256];
unsigned char dialogBusy;
LONG writing;  // one report at a time, even with two threads crashing
// The last exception reported: with both the vectored handler and the
// unhandled-exception filter installed, one crash passes the filter twice.
DWORD lastCode, lastEsp;
PVOID lastAddress;

// Fixed-size text that always keeps room for the note ending a cut trace.
struct Text {
  char buf[REPORT_SIZE];
  size_t len;
  bool full;

  void clear() { len = 0; buf[0] = 0; full = false; }

  // Appends the whole piece or nothing.
  bool add(const char* fmt, ...) {
    if (full) return false;
    size_t room = sizeof buf - sizeof noRoom - len;
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(buf + len, room + 1, fmt, ap);
    va_end(ap);
    if (n < 0 || (size_t)n > room) {
      buf[len] = 0;
      full = true;
      return false;
    }
    len += n;
    return true;
  }

  void endTrace() {
    memcpy(buf + len, noRoom, sizeof noRoom);
    len += sizeof noRoom - 1;
  }
};

Text out, notes;

void put(HANDLE file, const char* text, size_t len) {
  if (file == INVALID_HANDLE_VALUE) {
    OutputDebugStringA(text);  // no report file: a debugger may still listen
    return;
  }
  DWORD done;
  WriteFile(file, text, (DWORD)len, &done, 0);
}

void put(HANDLE file, const char* text) { put(file, text, strlen(text)); }

void mainModule(char* path, size_t size) {
  DWORD n = GetModuleFileNameA(0, path, (DWORD)size);
  if (n == 0 || n >= size) snprintf(path, size, "crash.exe");
}

void derivePaths() {
  if (reportFile[0]) return;
  mainModule(reportFile, sizeof reportFile);
  strcpy(dumpFile, reportFile);
  replaceExtension(reportFile, sizeof reportFile, "log");
  replaceExtension(dumpFile, sizeof dumpFile, "dmp");
}

// The symbol and stack-walk services of "imagehlp.dll", looked up by name so
// that the library is touched only when a crash happens.
class ImageHelp {
 public:
  ImageHelp();
  ~ImageHelp();
  bool canWalk() const { return ready && stackWalk; }
  bool walk(STACKFRAME* frame, CONTEXT* context);
  DWORD moduleBase(DWORD addr);
  bool symbol(DWORD addr, char* name, size_t size, DWORD* offset);
  bool line(DWORD addr, char* file, size_t size, int* number);

 private:
  typedef BOOL(WINAPI* Initialize)(HANDLE, PCSTR, BOOL);
  typedef BOOL(WINAPI* Cleanup)(HANDLE);
  typedef DWORD(WINAPI* GetOptions)();
  typedef DWORD(WINAPI* SetOptions)(DWORD);
  typedef DWORD(WINAPI* LoadModule)(HANDLE, HANDLE, PCSTR, PCSTR, DWORD, DWORD);
  typedef DWORD(WINAPI* GetModuleBase)(HANDLE, DWORD);
  typedef BOOL(WINAPI* GetModuleInfo)(HANDLE, DWORD, IMAGEHLP_MODULE*);
  typedef BOOL(WINAPI* GetSymFromAddr)(HANDLE, DWORD, DWORD*, IMAGEHLP_SYMBOL*);
  typedef BOOL(WINAPI* GetLineFromAddr)(HANDLE, DWORD, DWORD*, IMAGEHLP_LINE*);
  typedef PVOID(WINAPI* FunctionTableAccess)(HANDLE, DWORD);
  typedef BOOL(WINAPI* Walk)(DWORD, HANDLE, HANDLE, STACKFRAME*, PVOID,
                             PREAD_PROCESS_MEMORY_ROUTINE,
                             PFUNCTION_TABLE_ACCESS_ROUTINE,
                             PGET_MODULE_BASE_ROUTINE,
                             PTRANSLATE_ADDRESS_ROUTINE);
  typedef DWORD(WINAPI* UnDecorate)(PCSTR, PSTR, DWORD, DWORD);

  template <class F>
  void find(F& f, const char* name) {
    f = (F)(void*)GetProcAddress(lib, name);
  }
  static DWORD WINAPI baseOf(HANDLE, DWORD addr);

  HMODULE lib;
  HANDLE process;
  bool ready;
  Initialize initialize = 0;
  Cleanup cleanup = 0;
  GetOptions getOptions = 0;
  SetOptions setOptions = 0;
  LoadModule loadModule = 0;
  GetModuleBase getModuleBase = 0;
  GetModuleInfo getModuleInfo = 0;
  GetSymFromAddr getSymFromAddr = 0;
  GetLineFromAddr getLineFromAddr = 0;
  FunctionTableAccess functionTableAccess = 0;
  Walk stackWalk = 0;
  UnDecorate undecorate = 0;

  static ImageHelp* current;  // for the module-base callback of the walk
};

ImageHelp* ImageHelp::current;

ImageHelp::ImageHelp()
    : lib(LoadLibraryA("imagehlp.dll")), process(GetCurrentProcess()),
      ready(false) {
  if (!lib) return;
  find(initialize, "SymInitialize");
  find(cleanup, "SymCleanup");
  find(getOptions, "SymGetOptions");
  find(setOptions, "SymSetOptions");
  find(loadModule, "SymLoadModule");
  find(getModuleBase, "SymGetModuleBase");
  find(getModuleInfo, "SymGetModuleInfo");
  find(getSymFromAddr, "SymGetSymFromAddr");
  find(getLineFromAddr, "SymGetLineFromAddr");
  find(functionTableAccess, "SymFunctionTableAccess");
  find(stackWalk, "StackWalk");
  find(undecorate, "UnDecorateSymbolName");
  if (!initialize) return;
  if (getOptions && setOptions)
    setOptions(getOptions() | SYMOPT_UNDNAME | SYMOPT_LOAD_LINES |
               SYMOPT_DEFERRED_LOADS);
  // Modules are loaded as the walk meets them (see moduleBase).
  ready = initialize(process, 0, FALSE) != FALSE;
  current = this;
}

ImageHelp::~ImageHelp() {
  current = 0;
  if (ready && cleanup) cleanup(process);
  if (lib) FreeLibrary(lib);
}

DWORD WINAPI ImageHelp::baseOf(HANDLE, DWORD addr) {
  return current ? current->moduleBase(addr) : 0;
}

bool ImageHelp::walk(STACKFRAME* frame, CONTEXT* context) {
  return stackWalk(IMAGE_FILE_MACHINE_I386, process, GetCurrentThread(), frame,
                   context, 0, (PFUNCTION_TABLE_ACCESS_ROUTINE)functionTableAccess,
                   baseOf, 0) != FALSE;
}

DWORD ImageHelp::moduleBase(DWORD addr) {
  if (!ready) return 0;
  DWORD base = getModuleBase ? getModuleBase(process, addr) : 0;
  if (base) return base;
  MEMORY_BASIC_INFORMATION mem;
  if (!VirtualQuery((void*)addr, &mem, sizeof mem) || !mem.AllocationBase)
    return 0;
  char path[MAX_PATH];
  if (!GetModuleFileNameA((HMODULE)mem.AllocationBase, path, sizeof path))
    return 0;
  if (loadModule)
    loadModule(process, 0, path, 0, (DWORD)mem.AllocationBase, 0);
  if (getModuleInfo) {
    IMAGEHLP_MODULE info;
    memset(&info, 0, sizeof info);
    info.SizeOfStruct = sizeof info;
    if (getModuleInfo(process, addr, &info)) return info.BaseOfImage;
  }
  return (DWORD)mem.AllocationBase;
}

bool ImageHelp::symbol(DWORD addr, char* name, size_t size, DWORD* offset) {
  if (!ready || !getSymFromAddr) return false;
  union {
    IMAGEHLP_SYMBOL sym;
    char space[sizeof(IMAGEHLP_SYMBOL) + NAME_SIZE];
  } u;
  memset(&u, 0, sizeof u);
  u.sym.SizeOfStruct = sizeof u.sym;
  u.sym.MaxNameLength = NAME_SIZE;
  DWORD disp = 0;
  if (!getSymFromAddr(process, addr, &disp, &u.sym) || !u.sym.Name[0])
    return false;
  // Decorated names of Microsoft's compiler still come through for modules
  // whose symbols were loaded without the option.
  if (!(u.sym.Name[0] == '?' && undecorate &&
        undecorate(u.sym.Name, name, (DWORD)size, UNDNAME_NAME_ONLY)))
    snprintf(name, size, "%s", u.sym.Name);
  *offset = disp;
  return true;
}

bool ImageHelp::line(DWORD addr, char* file, size_t size, int* number) {
  if (!ready || !getLineFromAddr) return false;
  IMAGEHLP_LINE info;
  memset(&info, 0, sizeof info);
  info.SizeOfStruct = sizeof info;
  DWORD disp = 0;
  if (!getLineFromAddr(process, addr, &disp, &info) || !info.FileName)
    return false;
  snprintf(file, size, "%s", info.FileName);
  *number = (int)info.LineNumber;
  return true;
}

// The program counters of the faulting thread's frames, innermost first.
int collectFrames(ImageHelp& help, const CONTEXT* context, DWORD* frames) {
  int count = 0;
  if (help.canWalk()) {
    CONTEXT copy = *context;  // the walk moves the registers along
    STACKFRAME frame;
    memset(&frame, 0, sizeof frame);
    frame.AddrPC.Offset = copy.Eip;
    frame.AddrPC.Mode = AddrModeFlat;
    frame.AddrFrame.Offset = copy.Ebp;
    frame.AddrFrame.Mode = AddrModeFlat;
    frame.AddrStack.Offset = copy.Esp;
    frame.AddrStack.Mode = AddrModeFlat;
    while (count < MAX_FRAMES && help.walk(&frame, &copy)) {
      if (frame.AddrPC.Offset == 0) break;
      frames[count++] = frame.AddrPC.Offset;
    }
    if (count > 0) return count;
  }
  // Without the library: follow the frame-pointer chain, trusting only
  // addresses inside this thread's stack.
  NT_TIB* tib = (NT_TIB*)NtCurrentTeb();
  DWORD low = (DWORD)tib->StackLimit, high = (DWORD)tib->StackBase;
  frames[count++] = context->Eip;
  DWORD ebp = context->Ebp;
  while (count < MAX_FRAMES && ebp >= low && ebp + 8 <= high && !(ebp & 3)) {
    const DWORD* link = (const DWORD*)ebp;
    if (!link[1]) break;
    frames[count++] = link[1];
    if (link[0] <= ebp) break;
    ebp = link[0];
  }
  return count;
}

DWORD allocationBase(DWORD addr) {
  MEMORY_BASIC_INFORMATION mem;
  if (!VirtualQuery((void*)addr, &mem, sizeof mem)) return 0;
  return (DWORD)mem.AllocationBase;
}

bool traceLine(Text& text, const char* line) {
  if (text.add("%s", line)) return true;
  text.endTrace();
  return false;
}

bool stackTrace(Text& text, ImageHelp& help, const DWORD* frames, int count) {
  for (int i = 0; i < count; ++i) {
    DWORD pc = frames[i];
    char name[NAME_SIZE], file[MAX_PATH], line[NAME_SIZE + MAX_PATH + 64];
    DWORD offset;
    int number;
    int n = snprintf(line, sizeof line, "%08x:", (unsigned)pc);
    if (help.symbol(pc, name, sizeof name, &offset))
      n += snprintf(line + n, sizeof line - n, " %s() + 0x%x", name,
                    (unsigned)offset);
    else  // the offset into the module, to be looked up in its map file
      n += snprintf(line + n, sizeof line - n, " 0x%x",
                    (unsigned)(pc - allocationBase(pc)));
    if (help.line(pc, file, sizeof file, &number))
      snprintf(line + n, sizeof line - n, "    Location: %s (%d)\n", file,
               number);
    else
      snprintf(line + n, sizeof line - n, "\n");
    if (!traceLine(text, line)) return false;
  }
  return true;
}

// Reads a file line by line through a fixed buffer.
class LineReader {
 public:
  void open(HANDLE f) {
    file = f;
    len = pos = 0;
  }
  bool next(char* line, size_t size) {
    size_t n = 0;
    bool any = false;
    for (;;) {
      if (pos == len) {
        pos = 0;
        if (!ReadFile(file, buf, sizeof buf, &len, 0) || len == 0) {
          len = 0;
          break;
        }
      }
      any = true;
      char c = buf[pos++];
      if (c == '\n') break;
      if (n + 1 < size) line[n++] = c;
    }
    if (n > 0 && line[n - 1] == '\r') --n;
    line[n] = 0;
    return any;
  }

 private:
  HANDLE file;
  char buf[4096];
  DWORD len, pos;
};

// One public symbol of a linker map: Microsoft's linker writes
// " 0001:00000000       _main   00401000 f   main.obj", GNU ld writes
// "                0x00401000                main".
bool mapSymbol(const char* line, DWORD* addr, char* name, size_t size) {
  unsigned seg, off;
  unsigned long value;
  char word[NAME_SIZE];
  if (sscanf(line, " %x:%x %255s %lx", &seg, &off, word, &value) == 4) {
    if (!value) return false;  // absolute symbols
    *addr = (DWORD)value;
    snprintf(name, size, "%s", word);
    return true;
  }
  const char* p = line;
  while (*p == ' ' || *p == '\t') ++p;
  if (p == line || p[0] != '0' || p[1] != 'x') return false;
  char* end;
  value = strtoul(p, &end, 16);
  if (*end != ' ' && *end != '\t') return false;
  while (*end == ' ' || *end == '\t') ++end;
  // Sizes after a wrapped section name, assignments and linker commands are
  // no symbols.
  if (!*end || (end[0] == '0' && end[1] == 'x') || strchr(end, '=') ||
      strchr(end, '*'))
    return false;
  *addr = (DWORD)value;
  snprintf(name, size, "%s", end);
  return true;
}

struct MapHit {
  DWORD base;    // module of the frame, 0 when unknown
  DWORD symbol;  // map address of the best symbol, 0 when none
  DWORD offset;
  bool scanned;
  char name[NAME_SIZE];
};

MapHit hits[MAX_FRAMES];

// Resolves, in one pass over the module's map file, every frame in it.
void scanMap(DWORD base, const DWORD* frames, int count) {
  char path[MAX_PATH];
  if (!GetModuleFileNameA((HMODULE)base, path, sizeof path)) return;
  replaceExtension(path, sizeof path, "map");
  HANDLE f = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, 0, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, 0);
  if (f == INVALID_HANDLE_VALUE) return;
  static LineReader reader;  // its buffer is too big for a crashing stack
  reader.open(f);
  DWORD preferred = base;  // where the linker placed the module
  char line[1024];
  while (reader.next(line, sizeof line)) {
    const char* p;
    if ((p = strstr(line, "Preferred load address is ")) != 0)
      preferred = strtoul(p + 26, 0, 16);
    else if ((p = strstr(line, "__image_base__ = ")) != 0)
      preferred = strtoul(p + 17, 0, 16);
    DWORD addr;
    char name[NAME_SIZE];
    if (!mapSymbol(line, &addr, name, sizeof name)) continue;
    for (int i = 0; i < count; ++i) {
      MapHit& hit = hits[i];
      if (hit.base != base) continue;
      DWORD target = frames[i] - base + preferred;
      if (addr <= target && addr >= hit.symbol) {
        hit.symbol = addr;
        hit.offset = target - addr;
        snprintf(hit.name, sizeof hit.name, "%s", name);
      }
    }
  }
  CloseHandle(f);
}

bool mappingTrace(Text& text, const DWORD* frames, int count) {
  for (int i = 0; i < count; ++i) {
    hits[i].base = allocationBase(frames[i]);
    hits[i].symbol = 0;
    hits[i].scanned = false;
  }
  for (int i = 0; i < count; ++i) {
    if (hits[i].scanned || !hits[i].base) continue;
    scanMap(hits[i].base, frames, count);
    for (int j = i; j < count; ++j)
      if (hits[j].base == hits[i].base) hits[j].scanned = true;
  }
  for (int i = 0; i < count; ++i) {
    char line[NAME_SIZE + 64];
    if (hits[i].symbol)
      snprintf(line, sizeof line, "%08x: %s + 0x%x\n", (unsigned)frames[i],
               hits[i].name, (unsigned)hits[i].offset);
    else
      snprintf(line, sizeof line, "%08x: 0x%x\n", (unsigned)frames[i],
               (unsigned)(frames[i] - hits[i].base));
    if (!traceLine(text, line)) return false;
  }
  return true;
}

bool writeDump(EXCEPTION_POINTERS* info) {
  HANDLE f = CreateFileA(dumpFile, GENERIC_READ | GENERIC_WRITE,
                         FILE_SHARE_READ | FILE_SHARE_WRITE, 0, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, 0);
  if (f == INVALID_HANDLE_VALUE) {
    notes.add("Error opening file: %s\n", dumpFile);
    return false;
  }
  // The module's own copy first: the system's may be too old.
  char path[MAX_PATH];
  mainModule(path, sizeof path);
  char* slash = strrchr(path, '\\');
  HMODULE lib = 0;
  if (slash && (size_t)(slash + 1 - path) + sizeof "dbghelp.dll" <= sizeof path) {
    strcpy(slash + 1, "dbghelp.dll");
    lib = LoadLibraryA(path);
  }
  if (!lib) lib = LoadLibraryA("dbghelp.dll");
  bool ok = false;
  if (!lib) {
    notes.add("Error loading 'dbghelp.dll' file.\n");
  } else {
    typedef BOOL(WINAPI * WriteDump)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE,
                                     PMINIDUMP_EXCEPTION_INFORMATION,
                                     PMINIDUMP_USER_STREAM_INFORMATION,
                                     PMINIDUMP_CALLBACK_INFORMATION);
    WriteDump dump = (WriteDump)(void*)GetProcAddress(lib, "MiniDumpWriteDump");
    if (!dump) {
      notes.add("Error running 'MiniDumpWriteDump' entry point.\n");
    } else {
      MINIDUMP_EXCEPTION_INFORMATION ex;
      ex.ThreadId = GetCurrentThreadId();
      ex.ExceptionPointers = info;
      ex.ClientPointers = FALSE;
      ok = dump(GetCurrentProcess(), GetCurrentProcessId(), f,
                MiniDumpWithDataSegs, info ? &ex : 0, 0, 0) != FALSE;
    }
    FreeLibrary(lib);
  }
  CloseHandle(f);
  return ok;
}

void registers(Text& text, const CONTEXT& c) {
  text.add("Registers:\n");
  text.add("%s:%08X\n", "EAX", (unsigned)c.Eax);
  text.add("%s:%08X\n", "EBX", (unsigned)c.Ebx);
  text.add("%s:%08X\n", "ECX", (unsigned)c.Ecx);
  text.add("%s:%08X\n", "EDX", (unsigned)c.Edx);
  text.add("%s:%08X\n", "ESI", (unsigned)c.Esi);
  text.add("%s:%08X\n", "EDI", (unsigned)c.Edi);
  text.add("CS:EIP:%04X:%08X\n", (unsigned)c.SegCs, (unsigned)c.Eip);
  text.add("SS:ESP:%04X:%08X  EBP:%08X\n", (unsigned)c.SegSs, (unsigned)c.Esp,
           (unsigned)c.Ebp);
  text.add("DS:%04X  ES:%04X  FS:%04X  GS:%04X\n", (unsigned)c.SegDs,
           (unsigned)c.SegEs, (unsigned)c.SegFs, (unsigned)c.SegGs);
  text.add("Flags:%08X\n", (unsigned)c.EFlags);
}

DWORD frameList[MAX_FRAMES];

bool writeReport(EXCEPTION_POINTERS* info, DWORD code) {
  static CONTEXT none;  // registers shown as zero when none were passed
  const CONTEXT* context =
      info && info->ContextRecord ? info->ContextRecord : &none;
  DWORD address = info && info->ExceptionRecord
                      ? (DWORD)info->ExceptionRecord->ExceptionAddress
                      : 0;
  out.clear();
  notes.clear();
  derivePaths();

  HANDLE file = CreateFileA(reportFile, GENERIC_WRITE, 0, 0, OPEN_ALWAYS,
                            FILE_FLAG_WRITE_THROUGH, 0);
  if (file == INVALID_HANDLE_VALUE)
    notes.add("Error opening file: %s\n", reportFile);
  ImageHelp help;
  bool dumped = writeDump(info);
  if (file != INVALID_HANDLE_VALUE) SetFilePointer(file, 0, 0, FILE_END);
  put(file, separator);

  char when[64];
  iTimeText(when, sizeof when);
  out.add("Exception code: %08X %s\n", (unsigned)code, Exception::name(code));
  out.add("Date: %s\n", when);
  out.add("Fault address: %08X\n  ", (unsigned)address);
  out.add("\n\n");
  registers(out, *context);
  if (context != &none) {
    int count = collectFrames(help, context, frameList);
    if (out.add("\nStack Trace:\n") &&
        stackTrace(out, help, frameList, count) &&
        out.add("\nMapping Stack Trace:\n"))
      mappingTrace(out, frameList, count);
  }
  put(file, out.buf, out.len);
  put(file, notes.buf, notes.len);
  put(file, dumped ? "Mini dump file successfully generated.\n"
                   : "*** Unexpected error creating mini dump file.\n");
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  return dumped;
}

LONG WINAPI crashFilter(EXCEPTION_POINTERS* info) {
  if (!info || !info->ExceptionRecord) return 1;
  const EXCEPTION_RECORD* rec = info->ExceptionRecord;
  DWORD esp = info->ContextRecord ? info->ContextRecord->Esp : 0;
  if (!Exception::fatal(rec->ExceptionCode)) return 1;
  if (rec->ExceptionCode == lastCode && rec->ExceptionAddress == lastAddress &&
      esp == lastEsp)
    return 1;
  Exception::write(info, rec->ExceptionCode);
  lastCode = rec->ExceptionCode;
  lastAddress = rec->ExceptionAddress;
  lastEsp = esp;
  Exception::notice();
  return 1;
}

void showNotice(const char* text, HWND owner = 0) {
  if (quiet) return;
  const char* caption = appTitle[0] ? appTitle : defaultCaption;
  MessageBoxA(owner, text, caption, MB_OK | MB_ICONEXCLAMATION | MB_TASKMODAL);
}

}  // namespace

const char* Exception::name(DWORD code) {
  for (size_t i = 0; i < sizeof codeNames / sizeof codeNames[0]; ++i)
    if (codeNames[i].code == code) return codeNames[i].name;
  return "Unknown";
}

bool Exception::fatal(DWORD code) {
  for (size_t i = 0; i < sizeof codeNames / sizeof codeNames[0]; ++i)
    if (codeNames[i].code == code) return codeNames[i].fatal;
  return false;
}

const char* Exception::reportPath() { return reportFile; }
const char* Exception::dumpPath() { return dumpFile; }

bool Exception::write(EXCEPTION_POINTERS* info, DWORD code) {
  if (InterlockedExchange(&writing, 1)) return false;
  bool dumped = writeReport(info, code);
  InterlockedExchange(&writing, 0);
  return dumped;
}

// The application's own notice needs an application object whose quiet
// flag is clear; anything else gets the generic one.
void Exception::notice(bool generic) {
  derivePaths();
  static char text[sizeof applicationNotice + 2 * MAX_PATH];
  bool forApp = appWindow && !appQuiet && !generic;
  snprintf(text, sizeof text, forApp ? applicationNotice : genericNotice, reportFile, dumpFile);
  showNotice(text, forApp ? appWindow() : 0);
}

void setCrashApplication(HWND (*mainWindow)(), const char* title, bool quietFlag) {
  appWindow = mainWindow;
  appQuiet = quietFlag;
  snprintf(appTitle, sizeof appTitle, "%s", title ? title : "");
}

void installCrashHandler() {
  if (!vectoredHandle) vectoredHandle = AddVectoredExceptionHandler(0, crashFilter);
}

void installCrashFilter() { SetUnhandledExceptionFilter(crashFilter); }

void setCrashQuiet(bool on) { quiet = on; }

bool assertDialog(const char* file, int line) {
  if (dialogBusy) return false;
  dialogBusy = 1;
  // A pending quit would end the message box before the user sees it.
  MSG quit;
  bool hadQuit = PeekMessageA(&quit, 0, WM_QUIT, WM_QUIT, PM_REMOVE) != FALSE;
  char text[MAX_PATH + 128];
  snprintf(text, sizeof text,
           "ASSERT: File %s, Line %d\nDo you wish to attempt to break into "
           "the debugger?",
           file ? file : "", line);
  int choice = MessageBoxA(0, text, "Assertion Failed",
                           MB_YESNO | MB_ICONEXCLAMATION | MB_TASKMODAL |
                               MB_SETFOREGROUND);
  dialogBusy = 0;
  if (hadQuit) PostQuitMessage((int)quit.wParam);
  return choice == IDYES;
}

void showOutOfMemory() { showNotice(outOfMemoryText); }

void showSystemError(int code) {
  char message[512];
  DWORD n = FormatMessageA(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, 0,
      (DWORD)code, 0, message, sizeof message, 0);
  while (n > 0 && (message[n - 1] == '\n' || message[n - 1] == '\r' ||
                   message[n - 1] == ' '))
    --n;
  message[n] = 0;
  char text[sizeof message + 64];
  systemErrorText(text, sizeof text, code, message);
  showNotice(text);
}
