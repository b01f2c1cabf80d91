// SPDX-License-Identifier: Apache-2.0
// DOM_NodeFilter, DOM_NodeIterator and DOM_TreeWalker over Xerces-C's
// DOMNodeIterator and DOMTreeWalker.
#include "dom_internal.h"

#include <xercesc/dom/DOMDocumentTraversal.hpp>
#include <xercesc/dom/DOMNodeFilter.hpp>
#include <xercesc/dom/DOMNodeIterator.hpp>
#include <xercesc/dom/DOMTreeWalker.hpp>

#include <memory>

using namespace xmlutil_detail;
using xercesc::DOMNode;

namespace xmlutil_detail {
namespace {

// The document a node belongs to (a document belongs to itself).
const DOMNode* document_of(const DOMNode* node) noexcept
{
    return node->getNodeType() == DOMNode::DOCUMENT_NODE ? node : node->getOwnerDocument();
}

// What Xerces-C asks of a filter, answered with the view's node types and the
// caller's DOM_NodeFilter. Xerces-C is told to show everything: the node
// type test is made here, on the type a handle reports, so that the classic
// masks (SHOW_ALL = 0xFFFF) mean what they meant.
class FilterAdapter : public xercesc::DOMNodeFilter {
public:
    FilterAdapter(unsigned long whatToShow, DOM_NodeFilter* filter, DocumentShare* share) noexcept
        : fWhatToShow(whatToShow), fFilter(filter), fShare(share)
    {
    }

    // The share of the document the nodes of another document belong to
    // (a walker's current node may be set there); null when there is none.
    void set_other(DocumentShare* other) noexcept { fOther = other; }

    DocumentCount* share_for(const DOMNode* node) const noexcept
    {
        if (fOther && document_of(node) != fShare->doc)
            return fOther;
        return fShare;
    }

    FilterAction acceptNode(const DOMNode* node) const override
    {
        const DOM_Node handle = HandleAccess::make<DOM_Node>(const_cast<DOMNode*>(node), share_for(node));
        const short type = handle.getNodeType();
        if (type < 1 || type > 32 || (fWhatToShow & (1UL << (type - 1))) == 0)
            return FILTER_SKIP;
        if (!fFilter)
            return FILTER_ACCEPT;
        switch (fFilter->acceptNode(handle)) {
        case ::DOM_NodeFilter::FILTER_ACCEPT:
            return FILTER_ACCEPT;
        case ::DOM_NodeFilter::FILTER_REJECT:
            return FILTER_REJECT;
        default:
            return FILTER_SKIP;
        }
    }

private:
    unsigned long fWhatToShow;
    ::DOM_NodeFilter* fFilter;
    DocumentShare* fShare;
    DocumentShare* fOther = nullptr;
};

constexpr xercesc::DOMNodeFilter::ShowType kShowEverything = ~xercesc::DOMNodeFilter::ShowType{0};

} // namespace

// What the handles of one iterator or walker share: the view it was made
// with and a reference to its document.
struct ViewImpl {
    ViewImpl(DocumentShare* s, unsigned long show, DOM_NodeFilter* f, bool expand)
        : share(s), whatToShow(show), filter(f), expandEntityReferences(expand), adapter(show, f, s)
    {
        retain(share);
    }
    ~ViewImpl() { xmlutil_detail::release(share); }
    ViewImpl(const ViewImpl&) = delete;
    ViewImpl& operator=(const ViewImpl&) = delete;

    std::size_t refs = 0;
    DocumentShare* share;
    unsigned long whatToShow;
    DOM_NodeFilter* filter;
    bool expandEntityReferences;
    FilterAdapter adapter;
};

// The Xerces-C iterator lives in its root's document, which updates it when
// nodes are removed; it is released before the document can be.
struct NodeIteratorImpl : ViewImpl {
    using ViewImpl::ViewImpl;
    ~NodeIteratorImpl()
    {
        if (iterator)
            iterator->release();
    }

    xercesc::DOMNodeIterator* iterator = nullptr; // null for a null root
    bool detached = false;
};

// The same for a walker. `current` keeps the document of a current node set
// from another document alive; `currentNull` says it was set to null.
struct TreeWalkerImpl : ViewImpl {
    using ViewImpl::ViewImpl;
    ~TreeWalkerImpl()
    {
        if (walker)
            walker->release();
        current = 0;
    }

    DOM_Node handle(DOMNode* node) const noexcept
    {
        return node ? HandleAccess::make<DOM_Node>(node, adapter.share_for(node)) : DOM_Node();
    }

    xercesc::DOMTreeWalker* walker = nullptr; // null for a null root
    DOM_Node current;
    bool currentNull = false;
};

} // namespace xmlutil_detail

namespace {

// The document handle's Xerces-C document for a factory: the null handle and
// a handle on another node type refuse, as the other factories do.
void require_document(const DOM_Document& handle)
{
    DOMNode* node = impl(handle);
    if (!node)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (node->getNodeType() != DOMNode::DOCUMENT_NODE)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
}

// The traversal side of the document a root belongs to: an iterator lives in
// the document whose removals it must follow.
xercesc::DOMDocument* traversal_document(DOMNode* root) noexcept
{
    return static_cast<xercesc::DOMDocument*>(const_cast<DOMNode*>(document_of(root)));
}

} // namespace

// ---- DOM_NodeFilter ----------------------------------------------------------------

DOM_NodeFilter::DOM_NodeFilter() = default;

DOM_NodeFilter::~DOM_NodeFilter() = default;

// ---- DOM_Document factories -----------------------------------------------------

DOM_NodeIterator DOM_Document::createNodeIterator(DOM_Node root, unsigned long whatToShow, DOM_NodeFilter* filter,
                                                  bool entityReferenceExpansion)
{
    require_document(*this);
    DOMNode* rootNode = impl(root);
    DocumentShare* share = rootNode ? HandleAccess::share(root) : HandleAccess::share(*this);
    auto* it = new NodeIteratorImpl(share, whatToShow, filter, entityReferenceExpansion);
    DOM_NodeIterator handle(it);
    if (rootNode) {
        it->iterator = translate_dom_errors([&] {
            return traversal_document(rootNode)->createNodeIterator(rootNode, kShowEverything, &it->adapter,
                                                                    entityReferenceExpansion);
        });
    }
    return handle;
}

DOM_TreeWalker DOM_Document::createTreeWalker(DOM_Node root, unsigned long whatToShow, DOM_NodeFilter* filter,
                                              bool entityReferenceExpansion)
{
    require_document(*this);
    DOMNode* rootNode = impl(root);
    DocumentShare* share = rootNode ? HandleAccess::share(root) : HandleAccess::share(*this);
    auto* walker = new TreeWalkerImpl(share, whatToShow, filter, entityReferenceExpansion);
    DOM_TreeWalker handle(walker);
    if (rootNode) {
        walker->walker = translate_dom_errors([&] {
            return traversal_document(rootNode)->createTreeWalker(rootNode, kShowEverything, &walker->adapter,
                                                                  entityReferenceExpansion);
        });
        walker->current = root;
    }
    return handle;
}

// ---- DOM_NodeIterator -------------------------------------------------------------

DOM_NodeIterator::DOM_NodeIterator(NodeIteratorImpl* it) noexcept : fImpl(it)
{
    retain_object(fImpl);
}

DOM_NodeIterator::DOM_NodeIterator(const DOM_NodeIterator& other) noexcept : fImpl(other.fImpl)
{
    retain_object(fImpl);
}

DOM_NodeIterator::~DOM_NodeIterator()
{
    release_object(fImpl);
}

DOM_NodeIterator& DOM_NodeIterator::operator=(const DOM_NodeIterator& other) noexcept
{
    rebind_object(fImpl, other.fImpl);
    return *this;
}

DOM_NodeIterator& DOM_NodeIterator::operator=(const DOM_NullPtr*) noexcept
{
    rebind_object(fImpl, static_cast<decltype(fImpl)>(nullptr));
    return *this;
}

DOM_Node DOM_NodeIterator::getRoot()
{
    if (!fImpl || !fImpl->iterator)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(fImpl->iterator->getRoot(), fImpl->share);
}

unsigned long DOM_NodeIterator::getWhatToShow()
{
    return fImpl ? fImpl->whatToShow : 0;
}

DOM_NodeFilter* DOM_NodeIterator::getFilter()
{
    return fImpl ? fImpl->filter : nullptr;
}

bool DOM_NodeIterator::getExpandEntityReferences()
{
    return fImpl && fImpl->expandEntityReferences;
}

DOM_Node DOM_NodeIterator::nextNode()
{
    if (!fImpl || fImpl->detached)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (!fImpl->iterator)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(translate_dom_errors([&] { return fImpl->iterator->nextNode(); }),
                                        fImpl->share);
}

DOM_Node DOM_NodeIterator::previousNode()
{
    if (!fImpl || fImpl->detached)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (!fImpl->iterator)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(translate_dom_errors([&] { return fImpl->iterator->previousNode(); }),
                                        fImpl->share);
}

void DOM_NodeIterator::detach()
{
    if (!fImpl)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (fImpl->detached)
        return;
    if (fImpl->iterator)
        translate_dom_errors([&] { fImpl->iterator->detach(); });
    fImpl->detached = true;
}

// ---- DOM_TreeWalker ----------------------------------------------------------------

DOM_TreeWalker::DOM_TreeWalker(TreeWalkerImpl* walker) noexcept : fImpl(walker)
{
    retain_object(fImpl);
}

DOM_TreeWalker::DOM_TreeWalker(const DOM_TreeWalker& other) noexcept : fImpl(other.fImpl)
{
    retain_object(fImpl);
}

DOM_TreeWalker::~DOM_TreeWalker()
{
    release_object(fImpl);
}

DOM_TreeWalker& DOM_TreeWalker::operator=(const DOM_TreeWalker& other) noexcept
{
    rebind_object(fImpl, other.fImpl);
    return *this;
}

DOM_TreeWalker& DOM_TreeWalker::operator=(const DOM_NullPtr*) noexcept
{
    rebind_object(fImpl, static_cast<decltype(fImpl)>(nullptr));
    return *this;
}

DOM_Node DOM_TreeWalker::getRoot()
{
    if (!fImpl || !fImpl->walker)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(fImpl->walker->getRoot(), fImpl->share);
}

unsigned long DOM_TreeWalker::getWhatToShow()
{
    return fImpl ? fImpl->whatToShow : 0;
}

DOM_NodeFilter* DOM_TreeWalker::getFilter()
{
    return fImpl ? fImpl->filter : nullptr;
}

bool DOM_TreeWalker::getExpandEntityReferences()
{
    return fImpl && fImpl->expandEntityReferences;
}

DOM_Node DOM_TreeWalker::getCurrentNode()
{
    if (!fImpl || fImpl->currentNull)
        return DOM_Node();
    if (!fImpl->walker)
        return fImpl->current;
    return fImpl->handle(fImpl->walker->getCurrentNode());
}

void DOM_TreeWalker::setCurrentNode(DOM_Node currentNode)
{
    if (!fImpl)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    DOMNode* node = impl(currentNode);
    if (node && fImpl->walker)
        translate_dom_errors([&] { fImpl->walker->setCurrentNode(node); });
    // Xerces-C refuses the null node; the classic walker took it.
    fImpl->currentNull = node == nullptr;
    DocumentShare* share = HandleAccess::share(currentNode);
    fImpl->adapter.set_other(share != fImpl->share ? share : nullptr);
    fImpl->current = currentNode;
}

namespace {

// One move of a walker: the null node without a walker or a current node.
template <class Move>
DOM_Node walk(TreeWalkerImpl* walker, Move&& move)
{
    if (!walker)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (!walker->walker || walker->currentNull)
        return DOM_Node();
    return walker->handle(translate_dom_errors([&] { return move(*walker->walker); }));
}

} // namespace

DOM_Node DOM_TreeWalker::parentNode()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.parentNode(); });
}

DOM_Node DOM_TreeWalker::firstChild()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.firstChild(); });
}

DOM_Node DOM_TreeWalker::lastChild()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.lastChild(); });
}

DOM_Node DOM_TreeWalker::previousSibling()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.previousSibling(); });
}

DOM_Node DOM_TreeWalker::nextSibling()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.nextSibling(); });
}

DOM_Node DOM_TreeWalker::previousNode()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.previousNode(); });
}

DOM_Node DOM_TreeWalker::nextNode()
{
    return walk(fImpl, [](xercesc::DOMTreeWalker& w) { return w.nextNode(); });
}
