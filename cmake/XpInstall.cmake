# Install rules for libxp: both libraries, the public headers, a CMake
# package (find_package(xp) gives xp::xp and xp::xp_static) and xp.pc.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Components (one Debian package each, see XpPackage): "lib" holds the
# shared library, "dev" everything a program needs to build against it.
install(TARGETS xp_static xp_shared EXPORT xpTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib NAMELINK_COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT lib)
install(FILES ${PROJECT_SOURCE_DIR}/xp/xp.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/xp COMPONENT dev)
foreach(family IN LISTS XP_FAMILIES)
  install(FILES ${PROJECT_SOURCE_DIR}/xp/${family}/xp_${family}.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/xp/${family} COMPONENT dev)
endforeach()

set(XP_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/xp)
install(EXPORT xpTargets NAMESPACE xp:: DESTINATION ${XP_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/xpConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/xpConfig.cmake INSTALL_DESTINATION ${XP_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/xpConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/xpConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/xpConfigVersion.cmake DESTINATION ${XP_CMAKE_DIR} COMPONENT dev)

get_property(XP_PC_REQUIRES GLOBAL PROPERTY XP_PC_REQUIRES)
string(REPLACE ";" " " XP_PC_REQUIRES "${XP_PC_REQUIRES}")
# The .pc file finds its prefix from where it lies (relocatable installs):
# one ".." for pkgconfig/ and one for each part of the library folder.
string(REGEX REPLACE "[^/]+" ".." XP_PC_TO_PREFIX "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file(${PROJECT_SOURCE_DIR}/cmake/xp.pc.in ${CMAKE_CURRENT_BINARY_DIR}/xp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/xp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT dev)

# Install into a scratch prefix, then build and run a C consumer through
# find_package(xp) and through pkg-config. Sanitized builds are skipped: the
# consumer is built without the sanitizer runtime.
if(XP_BUILD_TESTS AND NOT XP_SANITIZE)
  add_test(NAME xp_install_consumer
    COMMAND ${CMAKE_COMMAND} -E env
      CMAKE_COMMAND=${CMAKE_COMMAND} CC=${CMAKE_C_COMPILER} GENERATOR=${CMAKE_GENERATOR}
      bash ${PROJECT_SOURCE_DIR}/xp/install_test/run.sh ${PROJECT_BINARY_DIR}
        ${CMAKE_CURRENT_BINARY_DIR}/install_test)
endif()
