# Installation: the two libraries with their development links, the headers, a CMake package with
# imported targets zspgen::zspgenx3 and zspgen::zspcore, and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS zspgenx3 zspcore EXPORT zspgenTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/zspgen.h include/zspcore.h ${ZSPGEN_GENERATED_DIR}/include/zspgen_api.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(ZSPGEN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zspgen)
install(EXPORT zspgenTargets NAMESPACE zspgen:: DESTINATION ${ZSPGEN_CMAKE_DIR})
configure_package_config_file(cmake/zspgenConfig.cmake.in ${CMAKE_BINARY_DIR}/zspgenConfig.cmake
  INSTALL_DESTINATION ${ZSPGEN_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zspgenConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zspgenConfig.cmake ${CMAKE_BINARY_DIR}/zspgenConfigVersion.cmake
  DESTINATION ${ZSPGEN_CMAKE_DIR})

# The pkg-config file finds its prefix relative to where it lies, so an installed tree can be moved.
file(RELATIVE_PATH ZSPGEN_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ZSPGEN_PC_TO_PREFIX "${ZSPGEN_PC_TO_PREFIX}")
configure_file(cmake/zspgen.pc.in ${CMAKE_BINARY_DIR}/zspgen.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zspgen.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# `cmake --build build --target uninstall` removes the files that the last `cmake --install build`
# put in place, as listed in build/install_manifest.txt; directories stay.
add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -DMANIFEST=${CMAKE_BINARY_DIR}/install_manifest.txt -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake)
