# What `cmake --install` puts where. The component `runtime` is what a program needs to run, `development` what it
# needs to be built.

include(CMakePackageConfigHelpers)
set(configDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/QVFoundation)

install(TARGETS QVFoundation EXPORT QVFoundationTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
)

# find_package(QVFoundation)
install(EXPORT QVFoundationTargets
  NAMESPACE QVFoundation:: DESTINATION ${configDirectory} COMPONENT development
)
configure_package_config_file(cmake/QVFoundationConfig.cmake.in QVFoundationConfig.cmake
  INSTALL_DESTINATION ${configDirectory} NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(QVFoundationConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/QVFoundationConfig.cmake ${PROJECT_BINARY_DIR}/QVFoundationConfigVersion.cmake
  DESTINATION ${configDirectory} COMPONENT development
)

# pkg-config QVFoundation, wherever the tree is moved to
set(pkgConfigDirectory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefixFromPkgConfig /${pkgConfigDirectory} /)
string(REGEX REPLACE "/$" "" prefixFromPkgConfig ${prefixFromPkgConfig})
configure_file(cmake/QVFoundation.pc.in QVFoundation.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/QVFoundation.pc DESTINATION ${pkgConfigDirectory} COMPONENT development)

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)

# gdb loads it together with the library of the same name and place.
install(FILES gdb/QVFoundation.py
  DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}
  RENAME libQVFoundation.so.${PROJECT_VERSION}-gdb.py COMPONENT development
)
