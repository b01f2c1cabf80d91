# SPDX-License-Identifier: Apache-2.0
# Install rules: the shared library with its symlinks, the two public
# headers, the classic include tree, a CMake package (xmlutil::xmlutil,
# xmlutil::classic, xmlutil::classic17) and pkg-config files (xmlutil,
# xmlutil-classic, xmlutil-classic-1.7).
#
#   cmake --install <build dir> [--prefix <dir>] [--component Runtime|Development]
#
# Included from the top-level CMakeLists.txt after GNUInstallDirs.

option(XMLUTIL_INSTALL "Generate the install rules" ON)
if(NOT XMLUTIL_INSTALL)
    return()
endif()

include(CMakePackageConfigHelpers)

set(XMLUTIL_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/xmlutil)
set(XMLUTIL_PKGCONFIG_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The target names "include" as its install interface; a different include
# directory has to be added to the exported target, or consumers would look
# in the wrong place.
set(xmlutil_extra_includes)
if(NOT CMAKE_INSTALL_INCLUDEDIR STREQUAL "include")
    set(xmlutil_extra_includes INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()

# Runtime: libxmlutil.so.1.0.0 and its soname link libxmlutil.so.1.
# Development: the namelink libxmlutil.so, headers, CMake and pkg-config files.
install(TARGETS xmlutil_classic xmlutil_classic17 EXPORT xmlutil-targets)
install(DIRECTORY ${xmlutil_classic_dir} ${xmlutil_classic17_dir}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT Development)
install(TARGETS xmlutil EXPORT xmlutil-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT Runtime
        NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT Development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        COMPONENT Runtime
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT Development
    ${xmlutil_extra_includes})

# The exported target carries XercesC::XercesC and cxx_std_17 as usage
# requirements; the config file finds Xerces-C before loading it.
install(EXPORT xmlutil-targets
    FILE xmlutilTargets.cmake
    NAMESPACE xmlutil::
    DESTINATION ${XMLUTIL_CMAKE_INSTALL_DIR}
    COMPONENT Development)

configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/xmlutil-config.cmake.in
    ${PROJECT_BINARY_DIR}/xmlutilConfig.cmake
    INSTALL_DESTINATION ${XMLUTIL_CMAKE_INSTALL_DIR}
    NO_SET_AND_CHECK_MACRO
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Only the soname is a promise: 1.x releases stay link-compatible.
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/xmlutilConfigVersion.cmake
    VERSION ${PROJECT_VERSION}
    COMPATIBILITY SameMajorVersion)
install(FILES
        ${PROJECT_BINARY_DIR}/xmlutilConfig.cmake
        ${PROJECT_BINARY_DIR}/xmlutilConfigVersion.cmake
    DESTINATION ${XMLUTIL_CMAKE_INSTALL_DIR}
    COMPONENT Development)

# The .pc file finds its prefix from its own location, so that an install
# with `cmake --install --prefix` or DESTDIR, or a moved tree, stays right.
# Directories given as absolute paths cannot move and are written as they are.
function(xmlutil_pc_path out dir)
    if(IS_ABSOLUTE "${dir}")
        set(${out} "${dir}" PARENT_SCOPE)
    else()
        set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
    endif()
endfunction()
if(IS_ABSOLUTE "${XMLUTIL_PKGCONFIG_INSTALL_DIR}")
    set(XMLUTIL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
    # lib/pkgconfig -> ../.., lib/x86_64-linux-gnu/pkgconfig -> ../../..
    file(RELATIVE_PATH xmlutil_pc_up /${XMLUTIL_PKGCONFIG_INSTALL_DIR} /)
    string(REGEX REPLACE "/$" "" xmlutil_pc_up "${xmlutil_pc_up}")
    set(XMLUTIL_PC_PREFIX "\${pcfiledir}/${xmlutil_pc_up}")
endif()
xmlutil_pc_path(XMLUTIL_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
xmlutil_pc_path(XMLUTIL_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/xmlutil.pc.in ${PROJECT_BINARY_DIR}/xmlutil.pc @ONLY)
set(XMLUTIL_PC_CLASSIC_NAME xmlutil-classic)
set(XMLUTIL_PC_CLASSIC_REQUIRES xmlutil)
configure_file(${CMAKE_CURRENT_LIST_DIR}/xmlutil-classic.pc.in ${PROJECT_BINARY_DIR}/xmlutil-classic.pc @ONLY)
set(XMLUTIL_PC_CLASSIC_NAME xmlutil-classic-1.7)
set(XMLUTIL_PC_CLASSIC_REQUIRES xmlutil-classic)
configure_file(${CMAKE_CURRENT_LIST_DIR}/xmlutil-classic.pc.in ${PROJECT_BINARY_DIR}/xmlutil-classic-1.7.pc @ONLY)
install(FILES
        ${PROJECT_BINARY_DIR}/xmlutil.pc
        ${PROJECT_BINARY_DIR}/xmlutil-classic.pc
        ${PROJECT_BINARY_DIR}/xmlutil-classic-1.7.pc
    DESTINATION ${XMLUTIL_PKGCONFIG_INSTALL_DIR}
    COMPONENT Development)
