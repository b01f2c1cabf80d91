// SPDX-License-Identifier: Apache-2.0
// 1.7's umbrella header, whose name Xerces-C 3 gave to its W3C DOM: both.
#include_next <xercesc/dom/DOM.hpp>
#include <xmlutil_dom.h>
