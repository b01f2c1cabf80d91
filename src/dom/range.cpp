// SPDX-License-Identifier: Apache-2.0
// DOM_Range and DOM_RangeException over Xerces-C's DOMRange.
#include "dom_internal.h"

#include <xercesc/dom/DOMDocumentRange.hpp>
#include <xercesc/dom/DOMRange.hpp>
#include <xercesc/dom/DOMRangeException.hpp>

// Internal Xerces-C 3.2 headers, for the document's list of its ranges,
// which a split of text made here must update as Xerces-C's own split does.
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMRangeImpl.hpp>

#include <string>
#include <string_view>

using namespace xmlutil_detail;
using xercesc::DOMNode;

namespace xmlutil_detail {

// What the handles of one range share. The Xerces-C range lives in the
// document it was made by, which updates it as the tree changes; it is
// released before the document can be.
struct RangeImpl {
    RangeImpl(DocumentShare* s, xercesc::DOMRange* r) noexcept : share(s), range(r) { retain(share); }
    ~RangeImpl()
    {
        range->release();
        xmlutil_detail::release(share);
    }
    RangeImpl(const RangeImpl&) = delete;
    RangeImpl& operator=(const RangeImpl&) = delete;

    std::size_t refs = 0;
    DocumentShare* share;
    xercesc::DOMRange* range;
    bool detached = false;
};

void split_ranges(DOMNode* text, DOMNode* rest, XMLSize_t offset) noexcept
{
    auto* doc = static_cast<xercesc::DOMDocumentImpl*>(text->getOwnerDocument());
    xercesc::Ranges* ranges = doc ? doc->getRanges() : nullptr;
    const XMLSize_t count = ranges ? ranges->size() : 0;
    for (XMLSize_t i = 0; i < count; ++i)
        ranges->elementAt(i)->updateSplitInfo(text, rest, offset);
}

} // namespace xmlutil_detail

namespace {

// Xerces-C numbers its range exceptions from 111; the classic codes are 1 and 2.
[[noreturn]] void rethrow_range_exception(const xercesc::DOMRangeException& e)
{
    const auto code = e.code == xercesc::DOMRangeException::BAD_BOUNDARYPOINTS_ERR
                          ? DOM_RangeException::BAD_BOUNDARYPOINTS_ERR
                          : DOM_RangeException::INVALID_NODE_TYPE_ERR;
    throw DOM_RangeException(code, DOMString(e.getMessage()));
}

[[noreturn]] void throw_range_exception(DOM_RangeException::RangeExceptionCode code)
{
    ensure_platform();
    const auto xercesCode = code == DOM_RangeException::BAD_BOUNDARYPOINTS_ERR
                                ? xercesc::DOMRangeException::BAD_BOUNDARYPOINTS_ERR
                                : xercesc::DOMRangeException::INVALID_NODE_TYPE_ERR;
    // Made with only a code, it carries Xerces-C's text for it.
    const xercesc::DOMRangeException text(xercesCode, 0, xercesc::XMLPlatformUtils::fgMemoryManager);
    throw DOM_RangeException(code, DOMString(text.getMessage()));
}

// Runs a Xerces-C range call, turning its exceptions into the classic ones.
template <class F>
auto range_call(F&& call) -> decltype(call())
{
    try {
        return call();
    } catch (const xercesc::DOMRangeException& e) {
        rethrow_range_exception(e);
    } catch (const xercesc::DOMException& e) {
        rethrow_dom_exception(e);
    }
}

// A range call that may change the tree, through the one function that
// tells node lists and the lookup cache so.
template <class F>
auto range_change(RangeImpl* range, F&& call) -> decltype(call())
{
    return change_structure(range->share, [&] { return range_call(std::forward<F>(call)); });
}

// The range of a handle for a call that needs a live one.
RangeImpl* live(RangeImpl* range)
{
    if (!range || range->detached)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    return range;
}

// A boundary's node: the null node cannot hold one.
DOMNode* boundary_node(const DOM_Node& node)
{
    DOMNode* n = impl(node);
    if (!n)
        throw_range_exception(DOM_RangeException::INVALID_NODE_TYPE_ERR);
    return n;
}

const DOMNode* document_of(const DOMNode* node) noexcept
{
    return node->getNodeType() == DOMNode::DOCUMENT_NODE ? node : node->getOwnerDocument();
}

// A boundary in another document moves the range there: a new Xerces-C range
// of that document, as each document updates only its own ranges.
void follow_document(RangeImpl* range, const DOM_Node& node)
{
    DocumentShare* share = HandleAccess::share(node);
    if (share == range->share)
        return;
    auto* doc = static_cast<xercesc::DOMDocument*>(const_cast<DOMNode*>(document_of(impl(node))));
    xercesc::DOMRange* moved = range_call([&] { return doc->createRange(); });
    range->range->release();
    range->range = moved;
    retain(share);
    xmlutil_detail::release(range->share);
    range->share = share;
}

template <class Set>
void set_boundary(RangeImpl* range, const DOM_Node& node, bool start, Set&& set)
{
    live(range);
    DOMNode* n = boundary_node(node);
    const bool moved = HandleAccess::share(node) != range->share;
    // Checked before the move, so that a refused boundary leaves the range
    // where it was.
    if (moved) {
        xercesc::DOMRange* probe = range_call([&] {
            return static_cast<xercesc::DOMDocument*>(const_cast<DOMNode*>(document_of(n)))->createRange();
        });
        try {
            range_call([&] { set(*probe, n); });
        } catch (...) {
            probe->release();
            throw;
        }
        probe->release();
        follow_document(range, node);
    }
    range_call([&] { set(*range->range, n); });
    if (moved)
        range->range->collapse(start);
}

// The classic range selected a text node's characters, not the node.
// Xerces-C 3.2 does that for every node with character data; the others
// (CDATA sections, comments, processing instructions) are selected as nodes
// here, within their parent.
void select_node(xercesc::DOMRange& range, DOMNode* node)
{
    switch (node->getNodeType()) {
    case DOMNode::TEXT_NODE:
        range.selectNodeContents(node);
        break;
    case DOMNode::CDATA_SECTION_NODE:
    case DOMNode::COMMENT_NODE:
    case DOMNode::PROCESSING_INSTRUCTION_NODE:
        range.setStartBefore(node);
        range.setEndAfter(node);
        break;
    default:
        range.selectNode(node);
    }
}

} // namespace

// ---- DOM_RangeException ------------------------------------------------------------

DOM_RangeException::DOM_RangeException() : code(static_cast<RangeExceptionCode>(0)) {}

DOM_RangeException::DOM_RangeException(RangeExceptionCode rangeCode, const DOMString& message)
    : DOM_DOMException(static_cast<short>(rangeCode), message), code(rangeCode)
{
}

DOM_RangeException::DOM_RangeException(const DOM_RangeException& other) = default;

DOM_RangeException& DOM_RangeException::operator=(const DOM_RangeException& other) = default;

DOM_RangeException::~DOM_RangeException() = default;

// ---- DOM_Document::createRange -----------------------------------------------------------

DOM_Range DOM_Document::createRange()
{
    DOMNode* node = fImpl;
    if (!node)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (node->getNodeType() != DOMNode::DOCUMENT_NODE)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    auto* doc = static_cast<xercesc::DOMDocument*>(node);
    xercesc::DOMRange* range = range_call([&] { return doc->createRange(); });
    RangeImpl* made = nullptr;
    try {
        made = new RangeImpl(HandleAccess::share(*this), range);
    } catch (...) {
        range->release();
        throw;
    }
    return DOM_Range(made);
}

// ---- DOM_Range ------------------------------------------------------------------------

namespace {

} // namespace

DOM_Range::DOM_Range(RangeImpl* range) noexcept : fImpl(range)
{
    retain_object(fImpl);
}

DOM_Range::DOM_Range(const DOM_Range& other) noexcept : fImpl(other.fImpl)
{
    retain_object(fImpl);
}

DOM_Range::~DOM_Range()
{
    release_object(fImpl);
}

DOM_Range& DOM_Range::operator=(const DOM_Range& other) noexcept
{
    rebind_object(fImpl, other.fImpl);
    return *this;
}

DOM_Range& DOM_Range::operator=(const DOM_NullPtr*) noexcept
{
    rebind_object(fImpl, static_cast<decltype(fImpl)>(nullptr));
    return *this;
}

// The plain accessors answer null and 0 once detached, without an exception.
DOM_Node DOM_Range::getStartContainer() const
{
    if (!fImpl || fImpl->detached)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(fImpl->range->getStartContainer(), fImpl->share);
}

unsigned int DOM_Range::getStartOffset() const
{
    if (!fImpl || fImpl->detached)
        return 0;
    return static_cast<unsigned int>(fImpl->range->getStartOffset());
}

DOM_Node DOM_Range::getEndContainer() const
{
    if (!fImpl || fImpl->detached)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(fImpl->range->getEndContainer(), fImpl->share);
}

unsigned int DOM_Range::getEndOffset() const
{
    if (!fImpl || fImpl->detached)
        return 0;
    return static_cast<unsigned int>(fImpl->range->getEndOffset());
}

bool DOM_Range::getCollapsed() const
{
    RangeImpl* range = live(fImpl);
    return range_call([&] { return range->range->getCollapsed(); });
}

const DOM_Node DOM_Range::getCommonAncestorContainer() const
{
    RangeImpl* range = live(fImpl);
    const DOMNode* common = range_call([&] { return range->range->getCommonAncestorContainer(); });
    return HandleAccess::make<DOM_Node>(const_cast<DOMNode*>(common), range->share);
}

void DOM_Range::setStart(const DOM_Node& parent, unsigned int offset)
{
    set_boundary(fImpl, parent, true, [&](xercesc::DOMRange& r, DOMNode* n) { r.setStart(n, offset); });
}

void DOM_Range::setEnd(const DOM_Node& parent, unsigned int offset)
{
    set_boundary(fImpl, parent, false, [&](xercesc::DOMRange& r, DOMNode* n) { r.setEnd(n, offset); });
}

void DOM_Range::setStartBefore(const DOM_Node& refNode)
{
    set_boundary(fImpl, refNode, true, [](xercesc::DOMRange& r, DOMNode* n) { r.setStartBefore(n); });
}

void DOM_Range::setStartAfter(const DOM_Node& refNode)
{
    set_boundary(fImpl, refNode, true, [](xercesc::DOMRange& r, DOMNode* n) { r.setStartAfter(n); });
}

void DOM_Range::setEndBefore(const DOM_Node& refNode)
{
    set_boundary(fImpl, refNode, false, [](xercesc::DOMRange& r, DOMNode* n) { r.setEndBefore(n); });
}

void DOM_Range::setEndAfter(const DOM_Node& refNode)
{
    set_boundary(fImpl, refNode, false, [](xercesc::DOMRange& r, DOMNode* n) { r.setEndAfter(n); });
}

void DOM_Range::collapse(bool toStart)
{
    RangeImpl* range = live(fImpl);
    range_call([&] { range->range->collapse(toStart); });
}

void DOM_Range::selectNode(const DOM_Node& node)
{
    RangeImpl* range = live(fImpl);
    DOMNode* n = boundary_node(node);
    DocumentShare* before = range->share;
    set_boundary(range, node, true, [](xercesc::DOMRange& r, DOMNode* target) { select_node(r, target); });
    // set_boundary collapses a range that moved to another document; a
    // selection sets both ends, so it is made again there.
    if (range->share != before)
        range_call([&] { select_node(*range->range, n); });
}

void DOM_Range::selectNodeContents(const DOM_Node& node)
{
    RangeImpl* range = live(fImpl);
    DOMNode* n = boundary_node(node);
    DocumentShare* before = range->share;
    set_boundary(range, node, true, [](xercesc::DOMRange& r, DOMNode* target) { r.selectNodeContents(target); });
    if (range->share != before)
        range_call([&] { range->range->selectNodeContents(n); });
}

short DOM_Range::compareBoundaryPoints(CompareHow how, const DOM_Range& other) const
{
    RangeImpl* range = live(fImpl);
    RangeImpl* source = live(other.fImpl);
    if (range->share != source->share)
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
    return range_call([&] {
        return range->range->compareBoundaryPoints(static_cast<xercesc::DOMRange::CompareHow>(how), source->range);
    });
}

void DOM_Range::deleteContents()
{
    RangeImpl* range = live(fImpl);
    range_change(range, [&] { range->range->deleteContents(); });
}

DOM_DocumentFragment DOM_Range::extractContents()
{
    RangeImpl* range = live(fImpl);
    return HandleAccess::make<DOM_DocumentFragment>(range_change(range, [&] { return range->range->extractContents(); }),
                                                    range->share);
}

DOM_DocumentFragment DOM_Range::cloneContents() const
{
    RangeImpl* range = live(fImpl);
    return HandleAccess::make<DOM_DocumentFragment>(range_call([&] { return range->range->cloneContents(); }),
                                                    range->share);
}

void DOM_Range::insertNode(DOM_Node& node)
{
    DOMNode* n = impl(node);
    if (!n)
        return;
    RangeImpl* range = live(fImpl);
    if (HandleAccess::share(node) != range->share)
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
    range_change(range, [&] { range->range->insertNode(n); });
}

void DOM_Range::surroundContents(DOM_Node& node)
{
    DOMNode* n = impl(node);
    if (!n)
        return;
    RangeImpl* range = live(fImpl);
    if (HandleAccess::share(node) != range->share)
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
    range_change(range, [&] { range->range->surroundContents(n); });
}

DOM_Range DOM_Range::cloneRange() const
{
    RangeImpl* range = live(fImpl);
    xercesc::DOMRange* copy = range_call([&] { return range->range->cloneRange(); });
    RangeImpl* made = nullptr;
    try {
        made = new RangeImpl(range->share, copy);
    } catch (...) {
        copy->release();
        throw;
    }
    return DOM_Range(made);
}

namespace {

bool is_text(const DOMNode* node) noexcept
{
    const short type = node->getNodeType();
    return type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE;
}

// Document order: the node after `node`, entering its children or not.
const DOMNode* following(const DOMNode* node, bool enter) noexcept
{
    if (enter && node->getFirstChild())
        return node->getFirstChild();
    for (; node; node = node->getParentNode()) {
        if (const DOMNode* sibling = node->getNextSibling())
            return sibling;
    }
    return nullptr;
}

// The first node at or after the point (container, offset) in document order.
const DOMNode* node_at(const DOMNode* container, XMLSize_t offset) noexcept
{
    const DOMNode* child = container->getFirstChild();
    for (XMLSize_t i = 0; child && i < offset; ++i)
        child = child->getNextSibling();
    return child ? child : following(container, false);
}

} // namespace

// Only text and CDATA sections count: Xerces-C 3.2 adds the data of
// comments and processing instructions too.
DOMString DOM_Range::toString() const
{
    const xercesc::DOMRange* range = live(fImpl)->range;
    const DOMNode* start = range->getStartContainer();
    const DOMNode* end = range->getEndContainer();
    const XMLSize_t startOffset = range->getStartOffset();
    const XMLSize_t endOffset = range->getEndOffset();
    // The document keeps points within their text; the lengths are checked
    // all the same, so that a stale offset cannot read past the data.
    auto data = [](const DOMNode* node) {
        const XMLCh* value = node->getNodeValue();
        return value ? std::u16string_view(value) : std::u16string_view();
    };
    std::u16string text;
    if (start == end && is_text(start)) {
        const std::u16string_view all = data(start);
        if (startOffset < endOffset && startOffset < all.size())
            text = all.substr(startOffset, endOffset - startOffset);
        return DOMString(text.c_str(), static_cast<unsigned int>(text.size()));
    }
    const DOMNode* node = nullptr;
    if (is_text(start)) {
        const std::u16string_view all = data(start);
        if (startOffset < all.size())
            text.append(all.substr(startOffset));
        node = following(start, false);
    } else {
        node = node_at(start, startOffset);
    }
    const DOMNode* stop = is_text(end) ? end : node_at(end, endOffset);
    for (; node && node != stop; node = following(node, true)) {
        if (is_text(node))
            text.append(data(node));
    }
    if (is_text(end))
        text.append(data(end).substr(0, endOffset));
    return DOMString(text.c_str(), static_cast<unsigned int>(text.size()));
}

void DOM_Range::detach()
{
    // Only marked here: Xerces-C's release() detaches, and refuses a range
    // detached before. The document keeps updating it until then, unseen.
    live(fImpl)->detached = true;
}
