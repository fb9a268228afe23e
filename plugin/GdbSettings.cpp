#include "GdbSettings.hpp"

#include <windows.h>
#include <string.h>

#include "cError.hpp"
#include "cProfile.hpp"

// One settings key: where it is stored and which field of the record it fills.
struct SettingKey {
  const char* section;
  const char* key;
  size_t offset;
  int width;
  const char* defaultText;
};

#define FIELD(f) offsetof(DEBUGINFO, f), (int)sizeof(((DEBUGINFO*)0)->f)
#define CMD(slot) offsetof(DEBUGINFO, cmd) + (slot) * CMD_WIDTH, CMD_WIDTH
#define TXT(slot) offsetof(DEBUGINFO, txt) + (slot) * TXT_WIDTH, TXT_WIDTH

enum {
  CMD_WIDTH = sizeof(((DEBUGINFO*)0)->cmd[0]),
  TXT_WIDTH = sizeof(((DEBUGINFO*)0)->txt[0])
};

// The text keys in the order they are read and written; DISPLAY, an
// integer, comes before them all.
static const SettingKey settingKeys[] = {
    {"EXEC", "EXECUTABLE", FIELD(executable), "SorbLua.exe"},
    {"EXEC", "OPTIONS", FIELD(options), ""},
    {"EXEC", "ARGUMENTS", FIELD(arguments), ""},
    {"INFO", "INFO_QUIT", FIELD(infoQuit), "exit"},
    {"INFO", "INFO_BREAKFMT", FIELD(infoBreakFmt), "%s %d %s"},
    {"CMD", "CMD_RUN", CMD(SLOT_RUN), "run"},
    {"CMD", "CMD_CONTINUE", CMD(SLOT_CONTINUE), "run"},
    {"CMD", "CMD_STEP", CMD(SLOT_STEP), "step"},
    {"CMD", "CMD_NEXT", CMD(SLOT_NEXT), "over"},
    {"CMD", "CMD_UNTIL", CMD(SLOT_UNTIL), "out"},
    {"CMD", "CMD_KILL", CMD(SLOT_KILL), "exit"},
    {"CMD", "CMD_UP", CMD(SLOT_UP), "glob"},
    {"CMD", "CMD_DOWN", CMD(SLOT_DOWN), "vars"},
    {"CMD", "CMD_ARGS", CMD(SLOT_ARGS), "locs"},
    {"CMD", "CMD_STACK", CMD(SLOT_STACK), "trace"},
    {"CMD", "CMD_PRINT", CMD(SLOT_PRINT), "dump"},
    {"CMD", "CMD_PRINTEX", CMD(SLOT_PRINTEX), "setw"},
    {"CMD", "CMD_LOCALS", CMD(SLOT_LOCALS), "fenv"},
    {"CMD", "CMD_HELP", CMD(SLOT_HELP), "help"},
    {"CMD", "CMD_BREAKSET", CMD(SLOT_BREAKSET), "setb"},
    {"CMD", "CMD_BREAKCLR", CMD(SLOT_BREAKCLR), "delb"},
    {"CMD", "CMD_BREAKALL", CMD(SLOT_BREAKALL), "delallb"},
    {"CMD", "CMD_BREAKINFO", CMD(SLOT_BREAKINFO), "listb"},
    {"TXT", "TXT_RUN", TXT(SLOT_RUN), "&Run"},
    {"TXT", "TXT_CONTINUE", TXT(SLOT_CONTINUE), "&Continue"},
    {"TXT", "TXT_STEP", TXT(SLOT_STEP), "&Step In"},
    {"TXT", "TXT_NEXT", TXT(SLOT_NEXT), "Step &Over"},
    {"TXT", "TXT_UNTIL", TXT(SLOT_UNTIL), "Step Ou&t"},
    {"TXT", "TXT_KILL", TXT(SLOT_KILL), "&Stop"},
    {"TXT", "TXT_UP", TXT(SLOT_UP), "&Globals"},
    {"TXT", "TXT_DOWN", TXT(SLOT_DOWN), "&Variables"},
    {"TXT", "TXT_ARGS", TXT(SLOT_ARGS), "&Locals"},
    {"TXT", "TXT_STACK", TXT(SLOT_STACK), "S&tack"},
    {"TXT", "TXT_PRINT", TXT(SLOT_PRINT), "&Dump"},
    {"TXT", "TXT_PRINTEX", TXT(SLOT_PRINTEX), "&Watch"},
    {"TXT", "TXT_LOCALS", TXT(SLOT_LOCALS), "En&vironment"},
    {"TXT", "TXT_HELP", TXT(SLOT_HELP), "&Help"},
    {"TXT", "TXT_BREAKSET", TXT(SLOT_BREAKSET), "&Set"},
    {"TXT", "TXT_BREAKCLR", TXT(SLOT_BREAKCLR), "&Delete"},
    {"TXT", "TXT_BREAKALL", TXT(SLOT_BREAKALL), "Delete &All"},
    {"TXT", "TXT_BREAKINFO", TXT(SLOT_BREAKINFO), "&List"},
};

static char* field(DEBUGINFO& info, const SettingKey& k) { return (char*)&info + k.offset; }

static bool isExecKey(const SettingKey& k) { return strcmp(k.section, "EXEC") == 0; }

static void applyDefaults(DEBUGINFO& info, bool withExec) {
  for (const SettingKey& k : settingKeys)
    if (withExec || !isExecKey(k)) BoundedCopy(field(info, k), k.defaultText, k.width);
  info.display = 1;
}

static DEBUGINFO defaultSettings() {
  DEBUGINFO info;
  memset(&info, 0, sizeof info);
  info.size = DEBUGINFO::SIZE;
  BoundedCopy(info.name, "Lua Debugger Interface", sizeof info.name);
  BoundedCopy(info.description, "Lua 5.1 debugger interface by Brennick", sizeof info.description);
  BoundedCopy(info.version, "1.20", sizeof info.version);
  applyDefaults(info, true);
  return info;
}

// Holds the defaults from load, so the host sees sensible words even if the
// profile was never read.
DEBUGINFO DebugSettings = defaultSettings();

void BoundedCopy(char* dest, const char* src, int width) {
  if (!dest || width < 1) return;
  dest[0] = 0;
  if (!src || !*src) return;
  size_t n = strlen(src);
  if (n > (size_t)width - 1) n = width - 1;
  memcpy(dest, src, n);
  dest[n] = 0;
}

static String baseName(const char* path) {
  const char* start = fileNameOf(path);
  const char* dot = strrchr(start, '.');
  return dot ? String(start, (int)(dot - start)) : String(start);
}

const char* ProfilePath(const char* name, String& result) {
  if (!Profile::appDataFolder(result))
    report(SOURCE_NAME, __LINE__, "The application data folder is unknown");
  result += "Brennick\\Tarn\\";
  Profile::createFolders(result);
  if (name) result += name;
  result += ".ini";
  result.replaceAll("<default settings>", "Default Settings");
  return result.text();
}

bool ReadSettings(const char* path) {
  if (!path) {
    report(SOURCE_NAME, __LINE__, "No settings path");
    return false;
  }
  String file;
  Profile profile(ProfilePath(baseName(path), file));
  int display;
  profile.readInt("EXEC", "DISPLAY", 1, display);
  DebugSettings.display = display != 0;
  for (const SettingKey& k : settingKeys) {
    String value;
    profile.readString(k.section, k.key, k.defaultText, value);
    BoundedCopy(field(DebugSettings, k), value, k.width);
  }
  return true;
}

bool WriteSettings(const char* path) {
  if (!path) {
    report(SOURCE_NAME, __LINE__, "No settings path");
    return false;
  }
  String file;
  Profile profile(ProfilePath(baseName(path), file));
  bool ok = profile.writeInt("EXEC", "DISPLAY", (long)(DebugSettings.display ? 1 : 0));
  for (const SettingKey& k : settingKeys) {
    // Never trust a field to be terminated: stop at its last byte.
    const char* text = field(DebugSettings, k);
    String value(text, (int)strnlen(text, k.width - 1));
    ok = profile.writeString(k.section, k.key, value) && ok;
  }
  return ok;
}

void ResetSettings() { applyDefaults(DebugSettings, false); }
