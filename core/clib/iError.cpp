// Windows side of the error helpers: the 64-bit time functions, so that the
// log keeps working past 2038 in a 32-bit process.
#include "iError.hpp"

#include <string.h>
#include <time.h>

void iTimeText(char* buf, size_t size) {
  if (size == 0) return;
  buf[0] = 0;
  __time64_t now;
  _time64(&now);
  const char* text = _ctime64(&now);
  if (!text) return;
  strncpy(buf, text, size - 1);
  buf[size - 1] = 0;
  size_t n = strlen(buf);
  if (n > 0 && buf[n - 1] == '\n') buf[n - 1] = 0;
}
