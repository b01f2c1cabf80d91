#include "dom_internal.h"

using namespace xmlutil_detail;
using xercesc::DOMNode;

namespace xmlutil_detail {

DOMNode* next_in_subtree(DOMNode* node, const DOMNode* root) noexcept
{
    if (DOMNode* child = node->getFirstChild())
        return child;
    while (node != root) {
        if (DOMNode* sibling = node->getNextSibling())
            return sibling;
        node = node->getParentNode();
    }
    return nullptr;
}

bool element_matches(const DOMNode* node, const XMLCh* name, bool matchAll) noexcept
{
    return node->getNodeType() == DOMNode::ELEMENT_NODE && (matchAll || equal_text(node->getNodeName(), name));
}

DOMNode* next_element_named(DOMNode* node, const DOMNode* root, const XMLCh* name, bool matchAll) noexcept
{
    while ((node = next_in_subtree(node, root)) != nullptr) {
        if (element_matches(node, name, matchAll))
            return node;
    }
    return nullptr;
}

// The next node of the list after `node`; `root` itself starts the list.
static DOMNode* next_entry(NodeListImpl& list, DOMNode* node) noexcept
{
    if (!list.deep)
        return node == list.root ? node->getFirstChild() : node->getNextSibling();
    return next_element_named(node, list.root, list.name.c_str(), list.matchAll);
}

DOMNode* NodeListImpl::item(std::size_t index)
{
    if (stamp != share->changes) {
        stamp = share->changes;
        cachedNode = nullptr;
        lengthKnown = false;
    }
    if (lengthKnown && index >= cachedLength)
        return nullptr;

    DOMNode* node = root; // stands before the first entry
    std::size_t position = 0;
    if (cachedNode && cachedIndex <= index) {
        node = cachedNode;
        position = cachedIndex;
    } else if (cachedNode && !deep && cachedIndex - index < index) {
        // A child list can also step back, which is cheaper when close.
        node = cachedNode;
        for (position = cachedIndex; position > index; --position)
            node = node->getPreviousSibling();
        cachedIndex = position;
        cachedNode = node;
        return node;
    }
    if (node == root) {
        node = next_entry(*this, root);
        position = 0;
    }
    while (node && position < index) {
        node = next_entry(*this, node);
        ++position;
    }
    if (!node) {
        // Ran off the end: the list has exactly `position` entries.
        cachedLength = position;
        lengthKnown = true;
        return nullptr;
    }
    cachedNode = node;
    cachedIndex = position;
    return node;
}

std::size_t NodeListImpl::length()
{
    if (stamp == share->changes && lengthKnown)
        return cachedLength;
    std::size_t count = 0;
    for (DOMNode* node = next_entry(*this, root); node; node = next_entry(*this, node))
        ++count;
    if (stamp != share->changes) {
        stamp = share->changes;
        cachedNode = nullptr;
    }
    cachedLength = count;
    lengthKnown = true;
    return count;
}

} // namespace xmlutil_detail

namespace {

void retain_list(NodeListImpl* list) noexcept
{
    if (list)
        ++list->refs;
}

void release_list(NodeListImpl* list) noexcept
{
    if (list && --list->refs == 0)
        delete list;
}

} // namespace

DOM_NodeList::DOM_NodeList(NodeListImpl* impl) noexcept : fImpl(impl)
{
    retain_list(fImpl);
}

DOM_NodeList::DOM_NodeList(const DOM_NodeList& other) noexcept : fImpl(other.fImpl)
{
    retain_list(fImpl);
}

DOM_NodeList::~DOM_NodeList()
{
    release_list(fImpl);
}

DOM_NodeList& DOM_NodeList::operator=(const DOM_NodeList& other) noexcept
{
    retain_list(other.fImpl);
    release_list(fImpl);
    fImpl = other.fImpl;
    return *this;
}

DOM_NodeList& DOM_NodeList::operator=(DOM_NodeList&& other) noexcept
{
    if (this != &other) {
        release_list(fImpl);
        fImpl = other.fImpl;
        other.fImpl = nullptr;
    }
    return *this;
}

DOM_NodeList& DOM_NodeList::operator=(const DOM_NullPtr*) noexcept
{
    release_list(fImpl);
    fImpl = nullptr;
    return *this;
}

unsigned int DOM_NodeList::getLength() const
{
    return fImpl ? static_cast<unsigned int>(fImpl->length()) : 0;
}

DOM_Node DOM_NodeList::item(unsigned int index) const
{
    return fImpl ? HandleAccess::make<DOM_Node>(fImpl->item(index), fImpl->share) : DOM_Node();
}
