// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

using namespace xmlutil_detail;
using xercesc::DOMNode;

namespace xmlutil_detail {
namespace {

// Document order below `root`: the node after `node`, or null past the end.
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

// The element after `node` below `root` named `name` (any name when
// `matchAll`), in document order; start with `node` = `root`.
DOMNode* next_element_named(DOMNode* node, const DOMNode* root, const XMLCh* name, bool matchAll) noexcept
{
    while ((node = next_in_subtree(node, root)) != nullptr) {
        if (element_matches(node, name, matchAll))
            return node;
    }
    return nullptr;
}

} // namespace

DOMNode* first_element_named(DOMNode* root, const XMLCh* name, bool matchAll, bool& direct)
{
    // Ancestors of `node` below `root`; most documents fit in the inline part.
    DOMNode* inlinePath[64];
    std::vector<DOMNode*> deepPath;
    std::size_t depth = 1;
    auto push = [&](DOMNode* ancestor) {
        if (depth <= 64)
            inlinePath[depth - 1] = ancestor;
        else
            deepPath.push_back(ancestor);
        ++depth;
    };
    auto pop = [&]() {
        --depth;
        if (depth <= 64)
            return inlinePath[depth - 1];
        DOMNode* ancestor = deepPath.back();
        deepPath.pop_back();
        return ancestor;
    };

    DOMNode* node = root->getFirstChild();
    while (node) {
        if (element_matches(node, name, matchAll)) {
            direct = depth == 1;
            return node;
        }
        if (DOMNode* child = node->getFirstChild()) {
            push(node);
            node = child;
            continue;
        }
        for (;;) {
            if (DOMNode* sibling = node->getNextSibling()) {
                node = sibling;
                break;
            }
            if (depth == 1)
                return nullptr;
            node = pop();
        }
    }
    return nullptr;
}

void LookupCache::reset(std::size_t capacity)
{
    fSlots.clear();
    fSlots.resize(capacity);
    fUsed = 0;
}

LookupCache::Slot& LookupCache::find(std::uint64_t stamp, const DOMNode* parent, std::u16string_view name)
{
    if (stamp != fStamp || fSlots.empty()) {
        fStamp = stamp;
        reset(kFirstCapacity);
    }
    const std::size_t hash =
        std::hash<std::u16string_view>()(name) ^ (reinterpret_cast<std::uintptr_t>(parent) * 0x9E3779B97F4A7C15u);
    for (;;) {
        const std::size_t mask = fSlots.size() - 1;
        for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
            Slot& slot = fSlots[i];
            if (!slot.filled) {
                if (2 * (fUsed + 1) <= fSlots.size()) {
                    ++fUsed;
                    slot.parent = parent;
                    slot.hash = hash;
                    slot.name.assign(name.data(), name.size());
                    return slot; // the caller fills in the answer
                }
                break;
            }
            if (slot.hash == hash && slot.parent == parent && slot.name == name)
                return slot;
        }
        // Half full: grow, or start afresh at the largest size.
        std::vector<Slot> old;
        old.swap(fSlots);
        if (old.size() >= kMaxCapacity) {
            reset(kMaxCapacity);
            continue;
        }
        reset(old.size() * 2);
        for (Slot& moved : old) {
            if (!moved.filled)
                continue;
            const std::size_t newMask = fSlots.size() - 1;
            std::size_t i = moved.hash & newMask;
            while (fSlots[i].filled)
                i = (i + 1) & newMask;
            fSlots[i] = std::move(moved);
            ++fUsed;
        }
    }
}

// The next node of the list after `node`; `root` itself starts the list.
static DOMNode* next_entry(NodeListImpl& list, DOMNode* node) noexcept
{
    if (!list.deep)
        return node == list.root ? node->getFirstChild() : node->getNextSibling();
    if (!list.byNamespace)
        return next_element_named(node, list.root, list.name.c_str(), list.matchAll);
    while ((node = next_in_subtree(node, list.root)) != nullptr) {
        if (node->getNodeType() == DOMNode::ELEMENT_NODE &&
            (list.anyNamespace || equal_text(node->getNamespaceURI(), list.namespaceURI.c_str())) &&
            (list.matchAll || equal_text(node->getLocalName(), list.name.c_str())))
            return node;
    }
    return nullptr;
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

// ---- DOM_NamedNodeMap -----------------------------------------------------------

DOM_NamedNodeMap::DOM_NamedNodeMap(xercesc::DOMNamedNodeMap* map, DocumentCount* share, DOMNode* owner) noexcept
    : fImpl(map), fShare(share), fOwner(owner)
{
    retain(fShare);
}

DOM_NamedNodeMap::DOM_NamedNodeMap(const DOM_NamedNodeMap& other) noexcept
    : fImpl(other.fImpl), fShare(other.fShare), fOwner(other.fOwner)
{
    retain(fShare);
}

DOM_NamedNodeMap::~DOM_NamedNodeMap()
{
    release(fShare);
}

DOM_NamedNodeMap& DOM_NamedNodeMap::operator=(const DOM_NamedNodeMap& other) noexcept
{
    retain(other.fShare);
    release(fShare);
    fImpl = other.fImpl;
    fShare = other.fShare;
    fOwner = other.fOwner;
    return *this;
}

DOM_NamedNodeMap& DOM_NamedNodeMap::operator=(const DOM_NullPtr*) noexcept
{
    release(fShare);
    fImpl = nullptr;
    fShare = nullptr;
    fOwner = nullptr;
    return *this;
}

bool xmlutil_detail::classic_attribute_before(const xercesc::DOMNode* a, const xercesc::DOMNode* b) noexcept
{
    const XMLCh* left = a->getNodeName();
    const XMLCh* right = b->getNodeName();
    const XMLSize_t leftLength = xercesc::XMLString::stringLen(left);
    const XMLSize_t rightLength = xercesc::XMLString::stringLen(right);
    if (leftLength != rightLength)
        return leftLength < rightLength;
    return std::u16string_view(left, leftLength) < std::u16string_view(right, rightLength);
}

xercesc::DOMNode* xmlutil_detail::classic_attribute(const xercesc::DOMNamedNodeMap* map, XMLSize_t index)
{
    const XMLSize_t count = map->getLength();
    if (index >= count)
        return nullptr;
    // Selection rather than a sort: a loop over item(i) stays quadratic, not
    // worse, on an element with thousands of attributes.
    std::vector<xercesc::DOMNode*> attributes(count);
    for (XMLSize_t i = 0; i < count; ++i)
        attributes[i] = map->item(i);
    std::nth_element(attributes.begin(), attributes.begin() + static_cast<std::ptrdiff_t>(index), attributes.end(),
                     classic_attribute_before);
    return attributes[index];
}

unsigned int DOM_NamedNodeMap::getLength() const
{
    return fImpl ? static_cast<unsigned int>(fImpl->getLength()) : 0;
}

DOM_Node DOM_NamedNodeMap::item(unsigned int index) const
{
    return fImpl ? HandleAccess::make<DOM_Node>(classic_attribute(fImpl, index), fShare) : DOM_Node();
}

DOM_Node DOM_NamedNodeMap::getNamedItem(const DOMString& name) const
{
    return fImpl ? HandleAccess::make<DOM_Node>(fImpl->getNamedItem(arg(name)), fShare) : DOM_Node();
}

namespace {

// The map for a change: the null map refuses, and so do a document type's
// maps, which are read-only as they were in the classic DOM (Xerces-C 3.2
// lets a parsed document's entities be removed).
void check_writable(const xercesc::DOMNamedNodeMap* map, const DOMNode* owner)
{
    if (!map)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    if (owner->getNodeType() != DOMNode::ELEMENT_NODE || read_only(owner))
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
}

// The checks of setNamedItem(NS) in the classic order; returns the
// attribute. `ownElementToo`: an attribute of this very element is in use too.
xercesc::DOMAttr* check_new_item(const DOMNode* owner, const DOM_Node& arg, bool ownElementToo)
{
    DOMNode* node = HandleAccess::node(arg);
    if (!node)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    if (node->getOwnerDocument() != owner->getOwnerDocument())
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
    if (node->getNodeType() != DOMNode::ATTRIBUTE_NODE)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    auto* attr = static_cast<xercesc::DOMAttr*>(node);
    const xercesc::DOMElement* element = attr->getOwnerElement();
    if (element && (ownElementToo || element != owner))
        throw_dom_exception(DOM_DOMException::INUSE_ATTRIBUTE_ERR);
    return attr;
}

} // namespace

DOM_Node DOM_NamedNodeMap::setNamedItem(DOM_Node arg)
{
    check_writable(fImpl, fOwner);
    xercesc::DOMAttr* attr = check_new_item(fOwner, arg, false);
    if (attr->getOwnerElement() == fOwner)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(translate_dom_errors([&] { return fImpl->setNamedItem(attr); }), fShare);
}

DOM_Node DOM_NamedNodeMap::removeNamedItem(const DOMString& name)
{
    check_writable(fImpl, fOwner);
    DOMNode* found = fImpl->getNamedItem(arg(name));
    if (!found)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    // The attribute node leaves through its element, which puts a default
    // from the DTD in its place; it stays intact for handles that hold it.
    auto* element = static_cast<xercesc::DOMElement*>(fOwner);
    return HandleAccess::make<DOM_Node>(
        translate_dom_errors([&] { return element->removeAttributeNode(static_cast<xercesc::DOMAttr*>(found)); }),
        fShare);
}

DOM_Node DOM_NamedNodeMap::getNamedItemNS(const DOMString& namespaceURI, const DOMString& localName)
{
    if (!fImpl)
        return DOM_Node();
    return HandleAccess::make<DOM_Node>(fImpl->getNamedItemNS(optional_arg(namespaceURI), arg(localName)), fShare);
}

DOM_Node DOM_NamedNodeMap::setNamedItemNS(DOM_Node arg)
{
    check_writable(fImpl, fOwner);
    xercesc::DOMAttr* attr = check_new_item(fOwner, arg, true);
    return HandleAccess::make<DOM_Node>(translate_dom_errors([&] { return fImpl->setNamedItemNS(attr); }), fShare);
}

DOM_Node DOM_NamedNodeMap::removeNamedItemNS(const DOMString& namespaceURI, const DOMString& localName)
{
    check_writable(fImpl, fOwner);
    DOMNode* found = fImpl->getNamedItemNS(optional_arg(namespaceURI), arg(localName));
    if (!found)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    auto* element = static_cast<xercesc::DOMElement*>(fOwner);
    return HandleAccess::make<DOM_Node>(
        translate_dom_errors([&] { return element->removeAttributeNode(static_cast<xercesc::DOMAttr*>(found)); }),
        fShare);
}
