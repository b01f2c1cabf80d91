// SPDX-License-Identifier: Apache-2.0
// A classic Xerces-C include path: the classic DOM is declared in xmlutil_dom.h.
#include <xmlutil_dom.h>
