// SPDX-License-Identifier: Apache-2.0
// Private helpers shared by the library sources.
#ifndef XMLUTIL_INTERNAL_H
#define XMLUTIL_INTERNAL_H

#include "dom_internal.h"
#include "xmlutil.h"

namespace xmlutil_detail {

// True for a byte that is not white space. Remember, char is sometimes
// signed: the byte is taken as 0..255. Bytes 0..127 are classified by the
// fixed POSIX classes whatever the locale; bytes above by the current locale.
struct NotSpace {
    bool operator()(char c) const noexcept;
};

// Writes `node` as operator<< does. Without `eachLine` the end-of-lines are
// not flushed one by one: for streams of the library's own.
void write_tree(std::ostream& out, DOM_Node& node, bool eachLine);

} // namespace xmlutil_detail

#endif // XMLUTIL_INTERNAL_H
