# SPDX-License-Identifier: Apache-2.0
# One step of the package test, run by ctest as
#   cmake -DSTEP=install|cmake|pkgconfig -D... -P package-test.cmake
# The variables come from tests/consumer/CMakeLists.txt.
cmake_minimum_required(VERSION 3.25)

set(libdir ${PREFIX}/${LIBDIR})
set(includedir ${PREFIX}/${INCLUDEDIR})
separate_arguments(cxx_flags UNIX_COMMAND "${CXX_FLAGS}")
separate_arguments(link_flags UNIX_COMMAND "${LINK_FLAGS}")
string(REGEX MATCH "^[0-9]+" major "${VERSION}")
set(soname libxmlutil.so.${major})
set(config_args)
if(CONFIG)
    set(config_args --config ${CONFIG})
endif()

# Runs a command; any exit status but 0 fails the step with its output.
function(run what)
    execute_process(COMMAND ${ARGN}
        OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${what} failed (${status}):\n${out}\n${err}")
    endif()
endfunction()

# Runs a consumer and compares its standard output with the expected file,
# byte for byte, then checks that the library it loads is the installed one.
function(run_consumer program expected)
    execute_process(COMMAND ${program} ${ARGN}
        OUTPUT_VARIABLE actual ERROR_VARIABLE err RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${program} exited with ${status}:\n${actual}\n${err}")
    endif()
    file(READ ${expected} wanted)
    if(NOT actual STREQUAL wanted)
        file(WRITE ${program}.actual "${actual}")
        message(FATAL_ERROR "output of ${program} differs from ${expected}; "
                            "it is in ${program}.actual:\n${actual}")
    endif()

    if(NOT LDD)
        message(FATAL_ERROR "ldd not found: cannot tell which libxmlutil is loaded")
    endif()
    execute_process(COMMAND ${LDD} ${program} OUTPUT_VARIABLE deps RESULT_VARIABLE status)
    string(REPLACE "." "\\." soname_regex "${soname}")
    if(NOT status EQUAL 0 OR NOT deps MATCHES "${soname_regex} => ([^ \t\n]+)")
        message(FATAL_ERROR "ldd does not show ${soname} resolved for ${program}:\n${deps}")
    endif()
    file(REAL_PATH "${CMAKE_MATCH_1}" loaded)
    file(REAL_PATH "${libdir}/${soname}" installed)
    if(NOT loaded STREQUAL installed)
        message(FATAL_ERROR "${program} loads ${loaded}, not the installed ${installed}")
    endif()
    message(STATUS "${program}: output as expected, ${soname} from ${loaded}")
endfunction()

# Empties WORK_DIR and points pkg-config at the installed prefix.
macro(start_pkgconfig_step)
    if(NOT PKG_CONFIG)
        message(FATAL_ERROR "pkg-config not found: install the Debian package pkg-config")
    endif()
    file(REMOVE_RECURSE ${WORK_DIR})
    file(MAKE_DIRECTORY ${WORK_DIR})
    set(ENV{PKG_CONFIG_PATH} ${libdir}/pkgconfig)
endmacro()

# The compile and link flags of the installed pkg-config package, as a list.
function(pkg_config_flags package out)
    execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ${package}
        OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_VARIABLE err RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "pkg-config --cflags --libs ${package} failed:\n${err}")
    endif()
    message(STATUS "pkg-config --cflags --libs ${package}: ${flags}")
    separate_arguments(flags UNIX_COMMAND "${flags}")
    set(${out} ${flags} PARENT_SCOPE)
endfunction()

if(STEP STREQUAL "install")
    # Everything that `cmake --install` copies must exist and be current.
    run("building ${BUILD_DIR}" ${CMAKE_COMMAND} --build ${BUILD_DIR} ${config_args})
    file(REMOVE_RECURSE ${PREFIX})
    run("installing into ${PREFIX}"
        ${CMAKE_COMMAND} --install ${BUILD_DIR} ${config_args} --prefix ${PREFIX})

    foreach(file IN ITEMS
            ${includedir}/xmlutil.h
            ${includedir}/xmlutil_dom.h
            ${includedir}/xmlutil-classic/dom/DOM.hpp
            ${includedir}/xmlutil-classic/parsers/DOMParser.hpp
            ${includedir}/xmlutil-classic/xercesc/dom/deprecated/DOM_Node.hpp
            ${includedir}/xmlutil-classic-1.7/xercesc/dom/DOM.hpp
            ${libdir}/pkgconfig/xmlutil-classic.pc
            ${libdir}/pkgconfig/xmlutil-classic-1.7.pc
            ${libdir}/libxmlutil.so.${VERSION}
            ${libdir}/cmake/xmlutil/xmlutilConfig.cmake
            ${libdir}/cmake/xmlutil/xmlutilConfigVersion.cmake
            ${libdir}/cmake/xmlutil/xmlutilTargets.cmake
            ${libdir}/pkgconfig/xmlutil.pc)
        if(NOT EXISTS ${file})
            message(FATAL_ERROR "not installed: ${file}")
        endif()
    endforeach()
    # libxmlutil.so -> libxmlutil.so.1 -> libxmlutil.so.1.0.0
    set(links libxmlutil.so ${soname})
    set(targets ${soname} libxmlutil.so.${VERSION})
    foreach(link target IN ZIP_LISTS links targets)
        if(NOT IS_SYMLINK ${libdir}/${link})
            message(FATAL_ERROR "not a symlink: ${libdir}/${link}")
        endif()
        file(READ_SYMLINK ${libdir}/${link} points_to)
        if(NOT points_to STREQUAL target)
            message(FATAL_ERROR "${libdir}/${link} points to ${points_to}, not ${target}")
        endif()
    endforeach()
    message(STATUS "installed into ${PREFIX}")

elseif(STEP STREQUAL "cmake")
    file(REMOVE_RECURSE ${WORK_DIR})
    # The consumer's build RPATH names the prefix: no LD_LIBRARY_PATH here.
    unset(ENV{LD_LIBRARY_PATH})
    run("configuring the CMake consumer"
        ${CMAKE_COMMAND} -S ${SOURCE_DIR}/cmake -B ${WORK_DIR} -G ${GENERATOR}
        -DCMAKE_BUILD_TYPE=${CONFIG}
        -DCMAKE_PREFIX_PATH=${PREFIX}
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
        -DCMAKE_CXX_COMPILER=${CXX}
        -DCMAKE_CXX_FLAGS=${CXX_FLAGS}
        -DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}
        -DXMLUTIL_EXPECTED_PREFIX=${PREFIX}
        -DXMLUTIL_EXPECTED_VERSION=${VERSION})
    run("building the CMake consumer" ${CMAKE_COMMAND} --build ${WORK_DIR} ${config_args})
    run_consumer(${WORK_DIR}/bin/consumer ${SOURCE_DIR}/cmake/expected.txt)

elseif(STEP STREQUAL "pkgconfig")
    start_pkgconfig_step()

    execute_process(COMMAND ${PKG_CONFIG} --modversion xmlutil
        OUTPUT_VARIABLE modversion OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE status)
    if(NOT status EQUAL 0 OR NOT modversion STREQUAL VERSION)
        message(FATAL_ERROR "pkg-config --modversion xmlutil gives '${modversion}', not ${VERSION}")
    endif()
    pkg_config_flags(xmlutil flags)
    if(NOT "-lxmlutil" IN_LIST flags OR NOT "-lxerces-c" IN_LIST flags)
        message(FATAL_ERROR "pkg-config flags lack -lxmlutil or -lxerces-c: ${flags}")
    endif()

    set(program ${WORK_DIR}/consumer)
    run("compiling the pkg-config consumer"
        ${CXX} -std=c++17 ${cxx_flags} ${SOURCE_DIR}/pkgconfig/main.cpp -o ${program} ${flags} ${link_flags})
    # Nothing but the prefix on the library path: the build tree is not there.
    set(ENV{LD_LIBRARY_PATH} ${libdir})
    run_consumer(${program} ${SOURCE_DIR}/pkgconfig/expected.txt)

elseif(STEP STREQUAL "classic")
    # Classic-style programs that keep their #include lines, built with the
    # flags of the classic pkg-config packages alone.
    start_pkgconfig_step()
    set(ENV{LD_LIBRARY_PATH} ${libdir})
    string(REPLACE "," ";" programs "${CLASSIC_PROGRAMS}")
    string(REPLACE "," ";" packages "${CLASSIC_PACKAGES}")
    foreach(program package IN ZIP_LISTS programs packages)
        pkg_config_flags(${package} flags)
        run("compiling ${program}"
            ${CXX} -std=c++17 ${cxx_flags} ${SOURCE_DIR}/classic/${program}.cpp -o ${WORK_DIR}/${program}
            ${flags} ${link_flags})
        run_consumer(${WORK_DIR}/${program} ${SOURCE_DIR}/classic/${program}.expected
            ${SOURCE_DIR}/classic/personal.xml)
    endforeach()

else()
    message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
