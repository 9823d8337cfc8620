# Debian packages made by CPack, one per install component:
#   lib   -> libxp0         the shared library
#   dev   -> libxp-dev      headers, static library, CMake and pkg-config files, ntld-dump
#   agent -> tessary-agent  the local agent library and command
#   pane  -> tessary-pane   Tessary.prefPane in GNUstep's system Bundles folder
# `cmake --build --preset release --target package` writes them into the
# build folder. Run-time dependencies are computed from the binaries by
# dpkg-shlibdeps; only what no binary names is listed here.

set(XP_DEB_MAINTAINER "Tessary developers <dev@tessary.example>" CACHE STRING
  "Maintainer field of the Debian packages")

# Every package carries the copyright file and the changelog.
find_program(XP_GZIP gzip)
set(changelog_gz "${PROJECT_BINARY_DIR}/packaging/changelog.gz")
add_custom_command(OUTPUT "${changelog_gz}"
  COMMAND ${CMAKE_COMMAND} -E make_directory "${PROJECT_BINARY_DIR}/packaging"
  COMMAND sh -c "\"$0\" -9nc \"$1\" >\"$2\"" ${XP_GZIP} "${PROJECT_SOURCE_DIR}/packaging/changelog"
          "${changelog_gz}"
  DEPENDS "${PROJECT_SOURCE_DIR}/packaging/changelog" VERBATIM)
add_custom_target(xp_changelog ALL DEPENDS "${changelog_gz}")

# The changelog's newest entry must name this version.
file(STRINGS "${PROJECT_SOURCE_DIR}/packaging/changelog" changelog_head LIMIT_COUNT 1)
if(NOT changelog_head MATCHES "^tessary \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "packaging/changelog: the newest entry is not version ${PROJECT_VERSION}")
endif()

set(xp_packages "lib:libxp0" "dev:libxp-dev" "agent:tessary-agent" "pane:tessary-pane")
set(CPACK_COMPONENTS_ALL "")
foreach(entry IN LISTS xp_packages)
  string(REPLACE ":" ";" entry "${entry}")
  list(GET entry 0 component)
  list(GET entry 1 package)
  if(component STREQUAL "pane" AND NOT TARGET tessary_pane)
    continue()
  endif()
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} C)
  set(CPACK_DEBIAN_${C}_PACKAGE_NAME ${package})
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/copyright" "${changelog_gz}"
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessary)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${XP_DEB_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${XP_DEB_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Each package's description starts with its own summary line.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
# Our own libraries are found in the build tree; their packages are named
# below, where dpkg-shlibdeps cannot know them.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  "${PROJECT_BINARY_DIR}/xp" "${PROJECT_BINARY_DIR}/pane/agent")
set(exact "(= ${PROJECT_VERSION})")
# Packages with a shared library: a shlibs file for dependent packages and
# the ldconfig trigger.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE "${PROJECT_BINARY_DIR}/packaging/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIB_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/packaging/triggers")
set(CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/packaging/triggers")

set(CPACK_DEBIAN_LIB_PACKAGE_SECTION libs)
# The locale settings load ICU at run time when it is there (any version).
execute_process(COMMAND dpkg-query -W -f=\${Package}\n "libicu[0-9]*"
  OUTPUT_VARIABLE icu_packages ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX MATCH "libicu[0-9]+" icu_package "${icu_packages}")
if(icu_package)
  set(CPACK_DEBIAN_LIB_PACKAGE_RECOMMENDS ${icu_package})
endif()
set(CPACK_DEBIAN_LIB_DESCRIPTION "library of portable objects, strings, containers, formatting and time
xp is a small C library: reference-counted objects, immutable UTF-8 strings
and byte data, the NTLD tagged container, a printf-like format engine with
its own directives, a cache of the user's locale settings, and a time
library (seconds since 1904, calendar records, zone offsets and daylight
saving, general-time, RFC 822 and ISO 8601 texts).

This package holds the shared library.")

set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libxp0 ${exact}")
set(CPACK_DEBIAN_DEV_DESCRIPTION "development files of the xp library
xp is a small C library: reference-counted objects, immutable UTF-8 strings
and byte data, the NTLD tagged container, a printf-like format engine, a
cache of the user's locale settings, and a time library.

This package holds the headers (C11 and C++), the static library, the
CMake package (find_package(xp)), the pkg-config file (xp) and ntld-dump,
which verifies an NTLD file and prints its tree.")

set(CPACK_DEBIAN_AGENT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_AGENT_DESCRIPTION "stand-in agent for the Tessary preference pane
The Tessary pane speaks only to the Tessary client agent's operations. This
package provides them over a small text state file (libtessary-agent.so.0),
and the tessary-agent command, which changes and shows that state from the
shell: the server and the connection, backup servers, audit and trust, the
options word, and operations made to fail.")

if(TARGET tessary_pane)
  # The host application is needed at run time but linked by nobody. The
  # libraries' own dependency data brings in GNUstep's back end and helper
  # daemons.
  set(pane_depends "tessary-agent ${exact}, systempreferences.app")
  set(CPACK_DEBIAN_PANE_PACKAGE_SECTION gnustep)
  set(CPACK_DEBIAN_PANE_PACKAGE_DEPENDS "${pane_depends}")
  # The Japanese and Chinese texts need a font with their glyphs.
  set(CPACK_DEBIAN_PANE_PACKAGE_RECOMMENDS "fonts-wqy-microhei")
  set(CPACK_DEBIAN_PANE_DESCRIPTION "preference pane for the Tessary client agent (GNUstep)
The Tessary pane shows the Tessary client agent's version, this computer's
identifier, the server, the state of the connection and the backup servers.
An administrator who unlocks it can enter a new server address and log on
to it, switch the messages option, and open the companion applications
Lumet and Tarrow.

The pane is installed into GNUstep's system Bundles folder, where
SystemPreferences finds it.")
endif()

include(CPack)
