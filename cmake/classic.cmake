# SPDX-License-Identifier: Apache-2.0
# The classic include tree: forwarding headers under the names and paths
# that programs written for Xerces-C 1.x and 2.x include, so that their
# #include lines work with one more -I. Every one of them includes
# xmlutil_dom.h, the one header that declares the classic DOM.
#
#   1.0-1.6  <dom/DOM_Node.hpp>, <parsers/DOMParser.hpp>
#   1.7      <xercesc/dom/DOM_Node.hpp>, <xercesc/parsers/DOMParser.hpp>
#   2.x      <xercesc/dom/deprecated/DOM_Node.hpp>, .../deprecated/DOMParser.hpp
#
# The tree lives in include/classic/xmlutil-classic and is installed as
# <includedir>/xmlutil-classic; the target xmlutil::classic and the
# pkg-config package xmlutil-classic add it to the include path. Nothing in
# it has the name of a Xerces-C 3 header, so it shadows none: 1.7's
# umbrella <xercesc/dom/DOM.hpp> is Xerces-C 3's W3C DOM header and is left
# out. Programs that include it get it from <includedir>/xmlutil-classic-1.7
# instead (include/classic/xmlutil-classic-1.7), a folder of its own that
# holds only that header (which includes Xerces-C 3's header of the same
# name as well), for XMLUTIL_CLASSIC_17 or pkg-config xmlutil-classic-1.7.
# The test classic_include_tree checks that every class of xmlutil_dom.h
# has its header under all three layouts.

set(xmlutil_classic_root ${PROJECT_SOURCE_DIR}/include/classic)
set(xmlutil_classic_dir ${xmlutil_classic_root}/xmlutil-classic)
set(xmlutil_classic17_dir ${xmlutil_classic_root}/xmlutil-classic-1.7)

add_library(xmlutil_classic INTERFACE)
add_library(xmlutil::classic ALIAS xmlutil_classic)
set_target_properties(xmlutil_classic PROPERTIES EXPORT_NAME classic)
target_link_libraries(xmlutil_classic INTERFACE xmlutil)
target_include_directories(xmlutil_classic INTERFACE
    $<BUILD_INTERFACE:${xmlutil_classic_dir}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/xmlutil-classic>)

add_library(xmlutil_classic17 INTERFACE)
add_library(xmlutil::classic17 ALIAS xmlutil_classic17)
set_target_properties(xmlutil_classic17 PROPERTIES EXPORT_NAME classic17)
target_link_libraries(xmlutil_classic17 INTERFACE xmlutil_classic)
target_include_directories(xmlutil_classic17 INTERFACE
    $<BUILD_INTERFACE:${xmlutil_classic17_dir}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/xmlutil-classic-1.7>)
