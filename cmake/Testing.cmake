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

# sorb_wine_test(name [TIMEOUT seconds] COMMAND command args...)
# A test with the environment of this build's Wine prefix (default limit 300 s).
function(sorb_wine_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "COMMAND" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  add_test(NAME ${name} COMMAND ${T_COMMAND})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${SORB_TEST_ENV}" TIMEOUT ${T_TIMEOUT})
endfunction()

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
  sorb_wine_test(${name} COMMAND ${name})
endfunction()

# sorb_beside(name DIR dir [TARGETS t...] [FILES f...] [DIRECTORIES d...]
#             [FOR target...])
# The custom target name copies built targets, files and whole folders into
# dir, where the FOR targets run: a plug-in folder as the IDE would have it.
# It runs on every build, since programs and scripts change without one.
function(sorb_beside name)
  cmake_parse_arguments(B "" "DIR" "TARGETS;FILES;DIRECTORIES;FOR" ${ARGN})
  set(files ${B_FILES})
  foreach(t ${B_TARGETS})
    list(APPEND files $<TARGET_FILE:${t}>)
  endforeach()
  set(commands COMMAND ${CMAKE_COMMAND} -E make_directory ${B_DIR})
  if(files)
    list(APPEND commands COMMAND ${CMAKE_COMMAND} -E copy_if_different ${files} ${B_DIR})
  endif()
  foreach(d ${B_DIRECTORIES})
    get_filename_component(leaf ${d} NAME)
    list(APPEND commands COMMAND ${CMAKE_COMMAND} -E copy_directory ${d} ${B_DIR}/${leaf})
  endforeach()
  add_custom_target(${name} ${commands})
  if(B_TARGETS)
    add_dependencies(${name} ${B_TARGETS})
  endif()
  foreach(t ${B_FOR})
    add_dependencies(${t} ${name})
  endforeach()
endfunction()
