# GoogleTest from Debian's sources, built for whichever target this build has.
enable_testing()
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

# Target tests run under Wine in a prefix of this build's own, so they never
# touch the user's Wine profile and start from the same state every time.
set(SORB_WINEPREFIX "${CMAKE_BINARY_DIR}/wineprefix")
set(SORB_TEST_ENV WINEPREFIX=${SORB_WINEPREFIX} WINEDEBUG=-all
    "WINEDLLOVERRIDES=mscoree,mshtml=")

# sorb_test(name SOURCES a.cpp ... [LIBS x y] [WINDOWS])
# One executable per group of related tests; WINDOWS ones exist only in the
# cross build.
function(sorb_test name)
  cmake_parse_arguments(T "WINDOWS" "" "SOURCES;LIBS" ${ARGN})
  if(T_WINDOWS AND NOT WIN32)
    return()
  endif()
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${SORB_TEST_ENV}" TIMEOUT 300)
endfunction()
