// Platform helper of the assertion channel: the one thing it needs from the
// system is the current time as text.
#ifndef IERROR_HPP
#define IERROR_HPP

#include <stddef.h>

// Writes the current local time in ctime form ("Wed Jun 30 21:49:08 1993"),
// without its trailing newline, into buf; an empty text when the clock fails.
void iTimeText(char* buf, size_t size);

#endif
