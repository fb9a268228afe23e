# Cross-build for 32-bit Windows with mingw-w64. The posix thread model is
# needed: GoogleTest uses std::mutex, which the win32 model lacks.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(TOOL_PREFIX i686-w64-mingw32)

set(CMAKE_C_COMPILER   ${TOOL_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TOOL_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER  ${TOOL_PREFIX}-windres)
set(CMAKE_AR           /usr/bin/${TOOL_PREFIX}-ar CACHE FILEPATH "")
set(CMAKE_RANLIB       /usr/bin/${TOOL_PREFIX}-ranlib CACHE FILEPATH "")

set(CMAKE_FIND_ROOT_PATH /usr/${TOOL_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# Target programs run under Wine, so CTest can execute them directly.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
