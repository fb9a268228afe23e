// Native stand-in of the error helpers, for the sanitizer build.
#include "iError.hpp"

#include <string.h>
#include <time.h>

void iTimeText(char* buf, size_t size) {
  if (size == 0) return;
  buf[0] = 0;
  time_t now = time(0);
  char text[64];
  if (!ctime_r(&now, text)) return;
  strncpy(buf, text, size - 1);
  buf[size - 1] = 0;
  size_t n = strlen(buf);
  if (n > 0 && buf[n - 1] == '\n') buf[n - 1] = 0;
}
