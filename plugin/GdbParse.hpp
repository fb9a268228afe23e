// The plug-in's text parsing, kept free of system calls so that it builds
// natively for the sanitizers and the fuzzers: the debugger's position
// lines and the stored breakpoint entries.
#ifndef GDBPARSE_HPP
#define GDBPARSE_HPP

#include "cString.hpp"

// The candidate stop position of one output line: file is the text between
// the first ':' and the next '(', trimmed, with '\' for '/'; number the
// digits inside the parentheses. True when both are there (whether the
// file exists is the caller's question).
bool ParsePositionLine(const String& line, String& file, int& number);

// One "n=file##line##enabled" line of a breakpoint section. Greedy: extra
// separators stay in the file name. False for anything else.
bool ParseBreakpointEntry(const char* entry, String& file, String& line, String& enabled);

#endif
