// SPDX-License-Identifier: Apache-2.0
// The process-wide counters behind DomMemDebug. Events are counted rather
// than live objects, so that making and freeing a string costs one atomic
// addition each; DomMemDebug works the live numbers out of them.
#ifndef XMLUTIL_MEM_COUNTS_H
#define XMLUTIL_MEM_COUNTS_H

#include "xmlutil_dom.h"

#include <atomic>

XERCES_CPP_NAMESPACE_BEGIN
class DOMDocument;
XERCES_CPP_NAMESPACE_END

namespace xmlutil_detail {

struct MemCounts {
    std::atomic<long> newStrings{0};    // a handle made together with its first buffer
    std::atomic<long> clonedHandles{0}; // a handle sharing another's buffer
    std::atomic<long> newBuffers{0};    // a buffer made for an existing handle
    std::atomic<long> freedStrings{0};  // a handle freed together with its first buffer
    std::atomic<long> freedHandles{0};  // a handle freed alone
    std::atomic<long> freedBuffers{0};  // a buffer freed alone
    std::atomic<long> countedNodes{0};
    std::atomic<long> uncountedNodes{0};
    std::atomic<long> countedMaps{0};
    std::atomic<long> uncountedMaps{0};
};

extern MemCounts memory_counts;

inline void count(std::atomic<long>& counter, long by = 1) noexcept
{
    counter.fetch_add(by, std::memory_order_relaxed);
}

// Adds the nodes and maps of `doc`, which the handles behind `share` now
// keep, once a DomMemDebug has been made in the process; remove_document
// takes the same numbers away when the document is released.
void add_document(const DocumentCount* share, const xercesc::DOMDocument* doc) noexcept;
void remove_document(const DocumentCount* share) noexcept;

} // namespace xmlutil_detail

#endif // XMLUTIL_MEM_COUNTS_H
