# Imported targets for the libraries that scripts/setup.sh builds into the
# cache: PCRE for both builds (the native copy serves the sanitizer tests),
# Lua for the cross build only (luacore/ makes Lua's core DLL of it). Their
# versions are setup.sh's.
set(versions_file ${CMAKE_SOURCE_DIR}/scripts/versions.sh)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${versions_file})
file(STRINGS ${versions_file} versions REGEX "^[A-Z]+_VER=")
foreach(line ${versions})
  string(REGEX MATCH "^([A-Z]+_VER)=(.*)$" matched "${line}")
  set(${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
endforeach()
if(WIN32)
  set(PCRE_DIR "${SORB_CACHE}/pcre-${PCRE_VER}")
  set(LUA_DIR  "${SORB_CACHE}/lua-${LUA_VER}")
  set(needed "${PCRE_DIR}/lib/libpcreposix.a" "${LUA_DIR}/lib/liblua.a")
else()
  set(PCRE_DIR "${SORB_CACHE}/pcre-${PCRE_VER}-native")
  set(needed "${PCRE_DIR}/lib/libpcreposix.a")
endif()
foreach(f ${needed})
  if(NOT EXISTS "${f}")
    message(FATAL_ERROR "${f} is missing: run scripts/setup.sh first")
  endif()
endforeach()

add_library(pcre STATIC IMPORTED)
set_target_properties(pcre PROPERTIES IMPORTED_LOCATION "${PCRE_DIR}/lib/libpcre.a")
add_library(pcreposix STATIC IMPORTED)
set_target_properties(pcreposix PROPERTIES
  IMPORTED_LOCATION "${PCRE_DIR}/lib/libpcreposix.a"
  INTERFACE_INCLUDE_DIRECTORIES "${PCRE_DIR}/include"
  INTERFACE_COMPILE_DEFINITIONS PCRE_STATIC
  INTERFACE_LINK_LIBRARIES pcre)

if(WIN32)
  add_library(lua STATIC IMPORTED)
  set_target_properties(lua PROPERTIES
    IMPORTED_LOCATION "${LUA_DIR}/lib/liblua.a"
    INTERFACE_INCLUDE_DIRECTORIES "${LUA_DIR}/include")
endif()
