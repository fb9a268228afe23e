// The release number, shared by the version resources and the code that
// prints or reports it. Keep the three forms in step.
#ifndef SORB_VERSION_H
#define SORB_VERSION_H

#define SORB_VERSION_TEXT "1.20"
#define SORB_VERSION_BINARY 1, 20, 0, 0
#define SORB_COPYRIGHT "Copyright (C) 2026 the SorbLua developers"

#endif
