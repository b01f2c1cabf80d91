# SPDX-License-Identifier: Apache-2.0
# A Debian package of everything `cmake --install` installs: the library, the
# headers with the classic include tree, the CMake and pkg-config files, the
# tool with its manual page and completion, and the API reference.
#
#   cpack --config <build dir>/CPackConfig.cmake -G DEB
#
# Included from the top-level CMakeLists.txt after the install rules.

# The licence, where Debian looks for it.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DOCDIR}
    RENAME copyright
    COMPONENT Runtime)

set(CPACK_PACKAGE_NAME xmlutil)
set(CPACK_PACKAGE_VENDOR "xmlutil")
set(CPACK_PACKAGE_CONTACT "xmlutil maintainers <xmlutil@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "XML configuration files over Xerces-C: library, classic DOM and tool")
set(CPACK_PACKAGE_DESCRIPTION
    "A C++17 library that reads, edits and writes XML configuration files on Xerces-C 3.2, with a
classic DOM handle layer and the command-line tool xmlutil.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
# Every component in the one package.
set(CPACK_DEB_COMPONENT_INSTALL OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://localhost/xmlutil")
# dpkg-shlibdeps finds what the library and the tool link: libxerces-c3.2,
# libstdc++6, libc6. Building against the headers needs Xerces-C's own.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libxerces-c-dev (>= 3.2)")
# The library goes to /usr/lib: run ldconfig after installing and removing.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
