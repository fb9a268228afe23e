// The plug-in's settings: which debugger to run and, for each of the host's
// debugger actions, the command word sent and the caption shown. They live in
// one process-wide record of the host's DEBUGINFO layout, kept in a profile
// in the user's application-data folder.
#ifndef GDBSETTINGS_HPP
#define GDBSETTINGS_HPP

#include "GdbTypes.hpp"
#include "cString.hpp"

extern DEBUGINFO DebugSettings;

// Fills a text field of width bytes: src cut to width - 1 characters and
// always terminated; a null or empty src leaves an empty field.
void BoundedCopy(char* dest, const char* src, int width);

// The profile file for a settings name, in the per-user folder (created
// when missing); returns the text of result.
const char* ProfilePath(const char* name, String& result);

// Read and write every setting, from and to the profile named after the base
// name of path (the library's or the dialog's module path).
bool ReadSettings(const char* path);
bool WriteSettings(const char* path);

// Built-in words and captions back, display on; the debugger executable,
// its options and arguments stay as configured. Writes nothing.
void ResetSettings();

#endif
