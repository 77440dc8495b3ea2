# Every dependency of the library, each with its Debian package. docs/dependencies.md gives the reasons.
#
# `qv_dependencies` is private to the library: a consumer neither includes nor links any of it.

add_library(qv_dependencies INTERFACE)

find_package(Threads REQUIRED)  # libc6-dev
find_package(PkgConfig REQUIRED)  # pkg-config
find_package(nlohmann_json 3.11 REQUIRED)  # nlohmann-json3-dev, headers alone
find_package(EXPAT 2.5 REQUIRED)  # libexpat1-dev
pkg_check_modules(icu REQUIRED IMPORTED_TARGET icu-i18n>=72 icu-uc>=72)  # libicu-dev

target_link_libraries(qv_dependencies INTERFACE
  Threads::Threads ${CMAKE_DL_LIBS} nlohmann_json::nlohmann_json EXPAT::EXPAT PkgConfig::icu
)

# The journal. Without it the system log goes to syslog alone.
pkg_check_modules(systemd IMPORTED_TARGET libsystemd)  # libsystemd-dev
if(systemd_FOUND)
  target_link_libraries(qv_dependencies INTERFACE PkgConfig::systemd)
  target_compile_definitions(qv_dependencies INTERFACE QV_HAVE_JOURNAL)
endif()

# Probes for tracing tools. Without it those see no signposts.
find_path(QV_PROBES sys/sdt.h)  # systemtap-sdt-dev, headers alone
mark_as_advanced(QV_PROBES)
if(QV_PROBES)
  target_compile_definitions(qv_dependencies INTERFACE QV_HAVE_PROBES)
endif()

# Function names and lines of call stacks. Without it they show exported names alone. g++ brings it (libgcc-12-dev)
# among the headers of its own, which another compiler must not see, so this one is taken out of there.
foreach(file include/backtrace.h libbacktrace.a)
  execute_process(
    COMMAND g++ -print-file-name=${file} OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET
  )
  cmake_path(GET file FILENAME name)
  set(QV_${name} ${path})
endforeach()
if(IS_ABSOLUTE "${QV_backtrace.h}" AND IS_ABSOLUTE "${QV_libbacktrace.a}")
  configure_file(${QV_backtrace.h} ${PROJECT_BINARY_DIR}/libbacktrace/backtrace.h COPYONLY)
  target_include_directories(qv_dependencies SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/libbacktrace)
  target_link_libraries(qv_dependencies INTERFACE ${QV_libbacktrace.a})
  target_compile_definitions(qv_dependencies INTERFACE QV_HAVE_LIBBACKTRACE)
endif()
