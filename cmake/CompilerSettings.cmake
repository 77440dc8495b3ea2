# How everything in this project is compiled. `qv_settings` carries it; nothing of it reaches a consumer.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(QV_CCACHE ccache)
mark_as_advanced(QV_CCACHE)
if(QV_CCACHE AND PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QV_CCACHE})
endif()

add_library(qv_settings INTERFACE)
target_compile_options(qv_settings INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${QV_WARNINGS_AS_ERRORS}>:-Werror>
)

# Nobody replaces our functions at load time, so calls among them need not go through a table.
target_compile_options(qv_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
target_link_options(qv_settings INTERFACE -Wl,-Bsymbolic-functions)

if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC bug 105651: with -O2 the compiler takes replacing a part of a std::string for an overlapping copy.
  target_compile_options(qv_settings INTERFACE -Wno-restrict)
endif()

if(QV_BUILD_FUZZERS)
  target_compile_options(qv_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(QV_SANITIZE)
  set(sanitizerFlags -fsanitize=${QV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(qv_settings INTERFACE ${sanitizerFlags})
  target_link_options(qv_settings INTERFACE ${sanitizerFlags})
else()
  # A sanitizer's own symbols are found when the program loads, so only other builds can ask for all of them here.
  target_link_options(qv_settings INTERFACE -Wl,--no-undefined)
endif()
