# SPDX-License-Identifier: Apache-2.0
# API reference: `cmake --build <build dir> --target docs` writes HTML from
# the two public headers to <build dir>/docs/html, with docs/guide.md as its
# main page. Any doxygen warning (an undocumented public name, a broken
# reference) fails the target. Without doxygen there is no `docs` target.

find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
    return()
endif()

set(XMLUTIL_DOCS_OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/docs)
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/docs/Doxyfile.in ${XMLUTIL_DOCS_OUTPUT}/Doxyfile @ONLY)

set(XMLUTIL_DOCS_INPUTS
    ${CMAKE_CURRENT_SOURCE_DIR}/include/xmlutil.h
    ${CMAKE_CURRENT_SOURCE_DIR}/include/xmlutil_dom.h
    ${CMAKE_CURRENT_SOURCE_DIR}/docs/guide.md
    ${CMAKE_CURRENT_SOURCE_DIR}/docs/classic-dom.md
    ${CMAKE_CURRENT_SOURCE_DIR}/docs/doxygen-links.sed)

# A stamp file, so that the reference is rebuilt only when an input changed;
# it is written only after doxygen succeeded.
add_custom_command(
    OUTPUT ${XMLUTIL_DOCS_OUTPUT}/html.stamp
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${XMLUTIL_DOCS_OUTPUT}/html
    COMMAND Doxygen::doxygen ${XMLUTIL_DOCS_OUTPUT}/Doxyfile
    COMMAND ${CMAKE_COMMAND} -E touch ${XMLUTIL_DOCS_OUTPUT}/html.stamp
    DEPENDS ${XMLUTIL_DOCS_INPUTS} ${XMLUTIL_DOCS_OUTPUT}/Doxyfile
    WORKING_DIRECTORY ${XMLUTIL_DOCS_OUTPUT}
    COMMENT "Writing the API reference to ${XMLUTIL_DOCS_OUTPUT}/html"
    VERBATIM)
add_custom_target(docs DEPENDS ${XMLUTIL_DOCS_OUTPUT}/html.stamp)

# Installed with the rest once built: `cmake --build <dir> --target docs`
# before `cmake --install` (or cpack) puts it in share/doc/xmlutil/html.
install(DIRECTORY ${XMLUTIL_DOCS_OUTPUT}/html/
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/html
    OPTIONAL
    COMPONENT Documentation)

if(XMLUTIL_BUILD_TESTS)
    # Builds the reference and follows every link in it to a file of it.
    add_test(NAME api_reference_links
        COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check-doc-links.sh ${CMAKE_BINARY_DIR} ${XMLUTIL_DOCS_OUTPUT}/html)
    set_tests_properties(api_reference_links PROPERTIES TIMEOUT 600 RUN_SERIAL ON)
endif()
