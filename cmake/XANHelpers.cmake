# Sources are found by globbing so that a new class pair is picked up
# without touching a shared list.
function(xan_glob_sources out)
  set(result)
  foreach(dir IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS "${dir}/*.cpp" "${dir}/*.c")
    list(APPEND result ${found})
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# All subfolders below a root, the root included.
function(xan_subdirs out root)
  file(GLOB_RECURSE entries LIST_DIRECTORIES true CONFIGURE_DEPENDS "${root}/*")
  set(result "${root}")
  foreach(entry IN LISTS entries)
    if(IS_DIRECTORY "${entry}")
      list(APPEND result "${entry}")
    endif()
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# One GoogleTest executable per test folder. Each test runs in a fresh
# temporary directory (see tests/support/TestMain.cpp), so the files the
# library writes into the current directory never reach the tree.
function(xan_add_test_suite name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  if(NOT ARG_SOURCES)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE xan_test_main GTest::gtest GTest::gmock ${ARG_LIBRARIES})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${ARG_PROPERTIES})
endfunction()

# Adds every subfolder of the current folder that has a CMakeLists.txt, so that
# a new component needs no edit of the folder above it.
function(xan_add_subdirectories)
  file(GLOB entries LIST_DIRECTORIES true CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*")
  foreach(entry IN LISTS entries)
    if(EXISTS "${entry}/CMakeLists.txt")
      add_subdirectory("${entry}")
    endif()
  endforeach()
endfunction()
