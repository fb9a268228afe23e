# The release zip a Windows user installs from: the plug-in, the debugger
# with Lua's core DLL and its forwarder, the help page with its picture and
# INSTALL.txt, nothing else. Built with everything else, so the tests can
# check the zip a user would get.
file(STRINGS ${CMAKE_SOURCE_DIR}/resources/version.h SORB_VERSION_LINE
     REGEX "^#define SORB_VERSION_TEXT ")
string(REGEX REPLACE ".*\"([^\"]*)\".*" "\\1" SORB_VERSION "${SORB_VERSION_LINE}")
set(SORB_RELEASE_NAME SorbLua-${SORB_VERSION}-win32)
set(SORB_RELEASE_DIR ${CMAKE_BINARY_DIR}/release)
set(SORB_RELEASE_ZIP ${SORB_RELEASE_DIR}/${SORB_RELEASE_NAME}.zip)
set(stage ${SORB_RELEASE_DIR}/stage)

# Windows' Notepad of older releases shows a file without carriage returns
# as one line.
configure_file(${CMAKE_SOURCE_DIR}/resources/INSTALL.txt ${stage}/INSTALL.txt
               @ONLY NEWLINE_STYLE WIN32)

# The release carries no debugging information: a user's download stays
# small, and crash reports walk the stack without it.
set(release_files SorbLua.dll SorbLua.exe lua51.dll lua5.1.dll SorbLua.html
    config-dialog.png INSTALL.txt)
add_custom_command(OUTPUT ${SORB_RELEASE_ZIP}
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:SorbLuaPlugin> $<TARGET_FILE:SorbLua>
          ${SORB_LUA_DLLS} ${CMAKE_SOURCE_DIR}/resources/SorbLua.html
          ${CMAKE_SOURCE_DIR}/docs/config-dialog.png ${stage}
  COMMAND ${CMAKE_STRIP} --strip-debug ${stage}/SorbLua.dll ${stage}/SorbLua.exe
          ${stage}/lua51.dll ${stage}/lua5.1.dll
  COMMAND ${CMAKE_COMMAND} -E rm -f ${SORB_RELEASE_ZIP}
  COMMAND ${CMAKE_COMMAND} -E chdir ${stage}
          ${CMAKE_COMMAND} -E tar cf ${SORB_RELEASE_ZIP} --format=zip ${release_files}
  DEPENDS SorbLuaPlugin SorbLua lua51 lua51_forward ${CMAKE_SOURCE_DIR}/resources/SorbLua.html
          ${CMAKE_SOURCE_DIR}/docs/config-dialog.png ${stage}/INSTALL.txt
  COMMENT "Packing ${SORB_RELEASE_NAME}.zip"
  VERBATIM)
add_custom_target(release_zip ALL DEPENDS ${SORB_RELEASE_ZIP})
