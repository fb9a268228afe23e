// File probes behind locateFile: whether a path names an existing file, and
// its full form. iLocate.cpp asks Windows; iLocateNative.cpp stands in for
// the native sanitizer build.
#ifndef ILOCATE_HPP
#define ILOCATE_HPP

// True when path names an existing file; a folder does not count.
bool iIsFile(const char* path);

// Stores the absolute, normalised form of an existing path in out; returns
// its length, or 0 when that fails or does not fit in size bytes.
int iFullPath(const char* path, char* out, int size);

#endif
