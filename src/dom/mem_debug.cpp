// SPDX-License-Identifier: Apache-2.0
// DomMemDebug and the counting of documents' nodes and maps.
#include "dom_internal.h"
#include "mem_counts.h"

#include <cstdio>
#include <mutex>
#include <unordered_map>

namespace xmlutil_detail {

MemCounts memory_counts;

namespace {

struct DocumentTally {
    long nodes = 0;
    long maps = 0;
};

// Documents are counted only once a snapshot exists: walking every parsed
// tree would tax programs that never ask. What was added for a document is
// remembered here, so that its release takes away exactly that.
std::atomic<bool> counting_documents{false};

std::mutex& tally_mutex()
{
    static std::mutex m;
    return m;
}

std::unordered_map<const DocumentCount*, DocumentTally>& tallies()
{
    static auto* map = new std::unordered_map<const DocumentCount*, DocumentTally>();
    return *map;
}

void tally_map(const xercesc::DOMNamedNodeMap* map, DocumentTally& tally) noexcept
{
    ++tally.maps;
    tally.nodes += static_cast<long>(map ? map->getLength() : 0);
}

// The nodes and maps of `doc`, walked without recursion.
DocumentTally tally_document(const xercesc::DOMDocument* doc) noexcept
{
    DocumentTally tally;
    const xercesc::DOMNode* node = doc;
    while (node) {
        ++tally.nodes;
        const short type = node->getNodeType();
        if (type == xercesc::DOMNode::ELEMENT_NODE) {
            tally_map(node->getAttributes(), tally);
        } else if (type == xercesc::DOMNode::DOCUMENT_TYPE_NODE) {
            const auto* doctype = static_cast<const xercesc::DOMDocumentType*>(node);
            tally_map(doctype->getEntities(), tally);
            tally_map(doctype->getNotations(), tally);
        }
        const xercesc::DOMNode* next = node->getFirstChild();
        while (!next && node) {
            if (node == doc)
                return tally;
            next = node->getNextSibling();
            if (!next)
                node = node->getParentNode();
        }
        node = next;
    }
    return tally;
}

} // namespace

void add_document(const DocumentCount* share, const xercesc::DOMDocument* doc) noexcept
{
    if (!share || !doc || !counting_documents.load(std::memory_order_acquire))
        return;
    const DocumentTally tally = tally_document(doc);
    try {
        std::lock_guard<std::mutex> lock(tally_mutex());
        tallies()[share] = tally;
    } catch (...) {
        return; // not remembered, so not counted: the numbers stay balanced
    }
    count(memory_counts.countedNodes, tally.nodes);
    count(memory_counts.countedMaps, tally.maps);
}

void remove_document(const DocumentCount* share) noexcept
{
    if (!counting_documents.load(std::memory_order_acquire))
        return;
    DocumentTally tally;
    {
        std::lock_guard<std::mutex> lock(tally_mutex());
        auto found = tallies().find(share);
        if (found == tallies().end())
            return;
        tally = found->second;
        tallies().erase(found);
    }
    count(memory_counts.uncountedNodes, tally.nodes);
    count(memory_counts.uncountedMaps, tally.maps);
}

} // namespace xmlutil_detail

using xmlutil_detail::memory_counts;

namespace {

int now(const std::atomic<long>& counter)
{
    return static_cast<int>(counter.load(std::memory_order_relaxed));
}

} // namespace

DomMemDebug::DomMemDebug()
{
    xmlutil_detail::counting_documents.store(true, std::memory_order_release);
    const int newStrings = now(memory_counts.newStrings);
    totalStringHandles = newStrings;
    liveStringHandles = newStrings + now(memory_counts.clonedHandles) - now(memory_counts.freedStrings) -
                        now(memory_counts.freedHandles);
    totalStringBuffers = newStrings + now(memory_counts.newBuffers);
    liveStringBuffers = totalStringBuffers - now(memory_counts.freedStrings) - now(memory_counts.freedBuffers);
    totalNodeImpls = now(memory_counts.countedNodes);
    liveNodeImpls = totalNodeImpls - now(memory_counts.uncountedNodes);
    totalNamedNodeMaps = now(memory_counts.countedMaps);
    liveNamedNodeMaps = totalNamedNodeMaps - now(memory_counts.uncountedMaps);
}

DomMemDebug::~DomMemDebug() = default;

void DomMemDebug::print()
{
    std::printf("liveStringHandles  = %d\n", liveStringHandles);
    std::printf("totalStringHandles = %d\n", totalStringHandles);
    std::printf("liveStringBuffers  = %d\n", liveStringBuffers);
    std::printf("totalStringBuffers = %d\n", totalStringBuffers);
    std::printf("liveNodeImpls      = %d\n", liveNodeImpls);
    std::printf("totalNodeImpls     = %d\n", totalNodeImpls);
    std::printf("liveNamedNodeMaps  = %d\n", liveNamedNodeMaps);
    std::printf("totalNamedNodeMaps = %d\n", totalNamedNodeMaps);
}

void DomMemDebug::printDifference(const DomMemDebug& other)
{
    const int handles = liveStringHandles - other.liveStringHandles;
    const int buffers = liveStringBuffers - other.liveStringBuffers;
    const int nodes = liveNodeImpls - other.liveNodeImpls;
    const int maps = liveNamedNodeMaps - other.liveNamedNodeMaps;
    if (handles)
        std::printf(" %d StringHandles.", handles);
    if (buffers)
        std::printf(" %d StringBuffers.", buffers);
    if (nodes)
        std::printf(" %d NodeImpls.", nodes);
    if (maps)
        std::printf(" %d NamedNodeMaps.", maps);
    std::printf("\n");
}

bool DomMemDebug::operator==(const DomMemDebug& other)
{
    return liveStringHandles == other.liveStringHandles && liveStringBuffers == other.liveStringBuffers &&
           liveNodeImpls == other.liveNodeImpls && liveNamedNodeMaps == other.liveNamedNodeMaps;
}

bool DomMemDebug::operator!=(const DomMemDebug& other)
{
    return !(*this == other);
}

void DomMemDebug::operator=(const DomMemDebug& other)
{
    liveStringHandles = other.liveStringHandles;
    totalStringHandles = other.totalStringHandles;
    liveStringBuffers = other.liveStringBuffers;
    totalStringBuffers = other.totalStringBuffers;
    liveNodeImpls = other.liveNodeImpls;
    totalNodeImpls = other.totalNodeImpls;
    liveNamedNodeMaps = other.liveNamedNodeMaps;
    totalNamedNodeMaps = other.totalNamedNodeMaps;
}
