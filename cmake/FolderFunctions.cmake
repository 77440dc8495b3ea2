# What the CMakeLists.txt of a folder calls.

# qv_sources([PUBLIC_HEADERS Value.h ...] SOURCES Value.cpp Value_p.h ...)
#
# Adds the files of one folder to the library. Public headers are installed under their path from the checkout's
# root, which is also how they are included; private headers (*_p.h) are listed among the sources.
function(qv_sources)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "PUBLIC_HEADERS;SOURCES")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "qv_sources: what are ${arg_UNPARSED_ARGUMENTS}?")
  endif()
  list(TRANSFORM arg_PUBLIC_HEADERS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  list(TRANSFORM arg_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(QVFoundation PUBLIC FILE_SET HEADERS FILES ${arg_PUBLIC_HEADERS} PRIVATE ${arg_SOURCES})
  # Where CMAKE_UNITY_BUILD is on, the sources of a folder are compiled as one.
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  string(MAKE_C_IDENTIFIER ${folder} folder)
  set_source_files_properties(${arg_SOURCES} TARGET_DIRECTORY QVFoundation PROPERTIES UNITY_GROUP ${folder})
endfunction()

# qv_add_folders(FOLDER...)
#
# Enters each folder that has a CMakeLists.txt.
macro(qv_add_folders)
  foreach(folder ${ARGN})
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/CMakeLists.txt)
      add_subdirectory(${folder})
    endif()
  endforeach()
endmacro()

# qv_add_test(NAME SOURCE... [LIBRARIES LIBRARY...])
#
# Builds one GoogleTest program from the sources and registers each of its tests with ctest as NAME/Suite.test.
function(qv_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES")
  add_executable(${name}-tests ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name}-tests PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name}-tests
    PRIVATE QVFoundation::QVFoundation qv_settings GTest::gmock_main ${arg_LIBRARIES}
  )
  if(QV_SANITIZE)
    # Instrumented, the matchers take the optimizer three times as long as all the rest. Only the library is worth it.
    target_compile_options(${name}-tests PRIVATE -O0)
  endif()
  gtest_discover_tests(${name}-tests
    TEST_PREFIX ${name}/
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 120
  )
endfunction()

# qv_add_fuzzer(NAME SOURCE...)
#
# Builds one libFuzzer program. The library under it is instrumented by the preset `fuzz`.
function(qv_add_fuzzer name)
  add_executable(${name}-fuzzer ${ARGN})
  target_include_directories(${name}-fuzzer PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name}-fuzzer PRIVATE QVFoundation::QVFoundation qv_settings)
  target_link_options(${name}-fuzzer PRIVATE -fsanitize=fuzzer)
endfunction()
