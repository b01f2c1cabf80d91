#include "dom_internal.h"

// Internal Xerces-C 3.2 headers, for two things its interface lacks: the
// read-only mark of nodes inside an entity reference, and the import that
// its own copy of a document uses.
#include <xercesc/dom/impl/DOMCasts.hpp>
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>

using namespace xmlutil_detail;
using xercesc::DOMNode;

namespace {

const XMLCh kEmpty[] = {0};

// Xerces-C wants a string where the classic DOM allowed a null one.
const XMLCh* arg(const DOMString& text) noexcept
{
    const XMLCh* raw = text.rawBuffer();
    return raw ? raw : kEmpty;
}

bool is_character_data(short type) noexcept
{
    return type == DOMNode::TEXT_NODE || type == DOMNode::CDATA_SECTION_NODE || type == DOMNode::COMMENT_NODE;
}

// The node as the Xerces-C type T when it is of the given node type.
template <class T>
T* as(DOMNode* node, short type) noexcept
{
    return node && node->getNodeType() == type ? static_cast<T*>(node) : nullptr;
}

xercesc::DOMCharacterData* as_character_data(DOMNode* node) noexcept
{
    return node && is_character_data(node->getNodeType()) ? static_cast<xercesc::DOMCharacterData*>(node) : nullptr;
}

DOMNode* require(DOMNode* node)
{
    if (!node)
        throw_dom_exception(DOM_DOMException::INVALID_STATE_ERR);
    return node;
}

// The node as T for a change: the null node and nodes of another type refuse.
template <class T>
T* require_as(DOMNode* node, short type)
{
    require(node);
    if (node->getNodeType() != type)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    return static_cast<T*>(node);
}

// Xerces-C 3.2 refuses to insert a proper ancestor of the new parent, but
// takes the parent itself, which then drops out of its document as a cycle.
void refuse_cycle(DOMNode* parent, const DOMNode* child)
{
    bool cycle = child == parent;
    // Only a node with children can be an ancestor: inserting a new leaf,
    // the common case, costs no walk.
    if (!cycle && child->hasChildNodes()) {
        for (const DOMNode* above = parent->getParentNode(); above && !cycle; above = above->getParentNode())
            cycle = above == child;
    }
    if (!cycle)
        return;
    // A read-only parent refuses first, as it does every other change.
    if (xercesc::castToNodeImpl(parent)->isReadOnly())
        throw_dom_exception(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
}

// ---- deep copies without recursion ----
//
// Xerces-C copies a tree by recursion, a few calls per level, so a deep tree
// overflows the stack. These copies make each node with the call Xerces-C's
// deep copy makes for it and walk the source along its own links.

struct Copied {
    DOMNode* node;
    bool descend; // whether the source's children are copied into it
};

// Copies the descendants of `source` into `target` in document order.
// `copy_one` makes one node's copy; `done` gets each copy once all of its
// children are in.
template <class CopyOne, class Done>
void copy_descendants(const DOMNode* source, DOMNode* target, CopyOne&& copy_one, Done&& done)
{
    const DOMNode* node = source->getFirstChild();
    DOMNode* into = target; // the copy of node's parent
    while (node) {
        const Copied copy = copy_one(node);
        into->appendChild(copy.node);
        if (copy.descend && node->getFirstChild()) {
            into = copy.node;
            node = node->getFirstChild();
            continue;
        }
        done(copy.node);
        while (!node->getNextSibling()) {
            node = node->getParentNode();
            if (node == source)
                return;
            DOMNode* finished = into;
            into = into->getParentNode();
            done(finished);
        }
        node = node->getNextSibling();
    }
}

void mark_read_only(DOMNode* node, bool readOnly)
{
    xercesc::castToNodeImpl(node)->isReadOnly(readOnly);
}

// The next node after `node` below `root` in document order, or null.
DOMNode* next_below(DOMNode* node, const DOMNode* root) noexcept
{
    if (DOMNode* child = node->getFirstChild())
        return child;
    for (; node != root; node = node->getParentNode()) {
        if (DOMNode* sibling = node->getNextSibling())
            return sibling;
    }
    return nullptr;
}

// A copy inside an entity reference is read-only with its attributes and
// their values, as in Xerces-C's own copy of the reference.
void seal(DOMNode* copy)
{
    mark_read_only(copy, true);
    xercesc::DOMNamedNodeMap* attributes = copy->getAttributes();
    const XMLSize_t count = attributes ? attributes->getLength() : 0;
    for (XMLSize_t i = 0; i < count; ++i) {
        DOMNode* attribute = attributes->item(i);
        for (DOMNode* part = attribute; part; part = next_below(part, attribute))
            mark_read_only(part, true);
    }
}

bool has_copied_children(short type) noexcept
{
    return type == DOMNode::ELEMENT_NODE || type == DOMNode::ENTITY_REFERENCE_NODE ||
           type == DOMNode::DOCUMENT_FRAGMENT_NODE;
}

// Deep copy of an element, entity reference or fragment, in its document.
DOMNode* copy_subtree(const DOMNode* source)
{
    // How many entity references the walk is inside, the source included.
    std::size_t insideReference = 0;
    auto copy_one = [&](const DOMNode* node) -> Copied {
        const short type = node->getNodeType();
        if (!has_copied_children(type))
            return {node->cloneNode(true), false};
        DOMNode* copy = node->cloneNode(false);
        if (type == DOMNode::ENTITY_REFERENCE_NODE) {
            // Made read-only and empty; filled first, sealed when complete.
            mark_read_only(copy, false);
            ++insideReference;
        }
        return {copy, true};
    };
    auto done = [&](DOMNode* copy) {
        if (copy->getNodeType() == DOMNode::ENTITY_REFERENCE_NODE)
            --insideReference, seal(copy);
        else if (insideReference > 0)
            seal(copy);
    };
    DOMNode* top = copy_one(source).node;
    copy_descendants(source, top, copy_one, done);
    done(top);
    return top;
}

// Xerces-C's import as its copy of a document uses it: every attribute,
// with its `specified` flag. The interface's importNode leaves out
// attributes that a DTD supplied and refuses document types.
struct DocumentImport : xercesc::DOMDocumentImpl {
    static DOMNode* run(xercesc::DOMDocument* into, const DOMNode* source, bool deep)
    {
        using Import = DOMNode* (xercesc::DOMDocumentImpl::*)(const DOMNode*, bool, bool);
        const Import import = &DocumentImport::importNode;
        return (static_cast<xercesc::DOMDocumentImpl*>(into)->*import)(source, deep, true);
    }
};

// Deep copy of a document, into a new document on the same heap.
xercesc::DOMDocument* copy_document(const DOMNode* source)
{
    auto* copy = static_cast<xercesc::DOMDocument*>(source->cloneNode(false));
    try {
        // Xerces-C imports each child deeply; an entity reference gets its
        // expansion from the copy's document type, not from the source.
        auto copy_one = [&](const DOMNode* node) -> Copied {
            const bool element = node->getNodeType() == DOMNode::ELEMENT_NODE;
            return {DocumentImport::run(copy, node, !element), element};
        };
        copy_descendants(source, copy, copy_one, [](DOMNode*) {});
    } catch (...) {
        copy->release();
        throw;
    }
    return copy;
}

} // namespace

// ---- DOM_Node ---------------------------------------------------------------

DOMString DOM_Node::getNodeName() const
{
    return fImpl ? DOMString(fImpl->getNodeName()) : DOMString();
}

DOMString DOM_Node::getNodeValue() const
{
    return fImpl ? DOMString(fImpl->getNodeValue()) : DOMString();
}

void DOM_Node::setNodeValue(const DOMString& value)
{
    DOMNode* node = require(fImpl);
    translate_dom_errors([&] { node->setNodeValue(arg(value)); });
}

DOMString DOM_Node::getNamespaceURI() const
{
    return fImpl ? DOMString(fImpl->getNamespaceURI()) : DOMString();
}

DOMString DOM_Node::getPrefix() const
{
    return fImpl ? DOMString(fImpl->getPrefix()) : DOMString();
}

DOMString DOM_Node::getLocalName() const
{
    return fImpl ? DOMString(fImpl->getLocalName()) : DOMString();
}

DOM_NodeList DOM_Node::getChildNodes() const
{
    if (!fImpl)
        return DOM_NodeList();
    return HandleAccess::list(new NodeListImpl(fShare, fImpl));
}

DOM_NamedNodeMap DOM_Node::getAttributes() const
{
    return fImpl ? HandleAccess::map(fImpl->getAttributes(), fShare) : DOM_NamedNodeMap();
}

DOM_Document DOM_Node::getOwnerDocument() const
{
    return fImpl ? HandleAccess::make<DOM_Document>(fImpl->getOwnerDocument(), fShare) : DOM_Document();
}

DOM_Node DOM_Node::insertBefore(const DOM_Node& newChild, const DOM_Node& refChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    refuse_cycle(node, newChild.fImpl);
    return DOM_Node(change_structure(fShare, [&] { return node->insertBefore(newChild.fImpl, refChild.fImpl); }),
                    fShare);
}

DOM_Node DOM_Node::replaceChild(const DOM_Node& newChild, const DOM_Node& oldChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    if (!oldChild.fImpl)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    refuse_cycle(node, newChild.fImpl);
    if (newChild.fImpl == oldChild.fImpl) {
        // A child put in its own place stays there; Xerces-C 3.2 would take
        // it out. Its insertion before itself changes nothing, but still
        // meets a read-only parent.
        if (oldChild.fImpl->getParentNode() != node)
            throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
        translate_dom_errors([&] { node->insertBefore(oldChild.fImpl, oldChild.fImpl); });
        return oldChild;
    }
    return DOM_Node(change_structure(fShare, [&] { return node->replaceChild(newChild.fImpl, oldChild.fImpl); }),
                    fShare);
}

DOM_Node DOM_Node::removeChild(const DOM_Node& oldChild)
{
    DOMNode* node = require(fImpl);
    if (!oldChild.fImpl)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    return DOM_Node(change_structure(fShare, [&] { return node->removeChild(oldChild.fImpl); }), fShare);
}

DOM_Node DOM_Node::appendChild(const DOM_Node& newChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    refuse_cycle(node, newChild.fImpl);
    return DOM_Node(change_structure(fShare, [&] { return node->appendChild(newChild.fImpl); }), fShare);
}

DOM_Node DOM_Node::cloneNode(bool deep) const
{
    if (!fImpl)
        return DOM_Node();
    DOMNode* copy = translate_dom_errors([&]() -> DOMNode* {
        const short type = fImpl->getNodeType();
        if (deep && type == DOMNode::DOCUMENT_NODE)
            return copy_document(fImpl);
        if (deep && has_copied_children(type))
            return copy_subtree(fImpl);
        return fImpl->cloneNode(deep);
    });
    // A document copies into a new document, which needs an owner of its own.
    // The copy allocates through the original's memory manager, so it keeps
    // that alive too.
    if (copy && copy->getNodeType() == DOMNode::DOCUMENT_NODE)
        return HandleAccess::adopt(static_cast<xercesc::DOMDocument*>(copy), full_share(fShare)->memory);
    return DOM_Node(copy, fShare);
}

// ---- character data, processing instructions, document types, attributes --

DOMString DOM_CharacterData::getData() const
{
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    return data ? DOMString(data->getData()) : DOMString();
}

void DOM_CharacterData::setData(const DOMString& value)
{
    require(fImpl);
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    if (!data)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    translate_dom_errors([&] { data->setData(arg(value)); });
}

unsigned int DOM_CharacterData::getLength() const
{
    xercesc::DOMCharacterData* data = as_character_data(fImpl);
    return data ? static_cast<unsigned int>(data->getLength()) : 0;
}

DOMString DOM_ProcessingInstruction::getTarget() const
{
    auto* pi = as<xercesc::DOMProcessingInstruction>(fImpl, DOMNode::PROCESSING_INSTRUCTION_NODE);
    return pi ? DOMString(pi->getTarget()) : DOMString();
}

DOMString DOM_ProcessingInstruction::getData() const
{
    auto* pi = as<xercesc::DOMProcessingInstruction>(fImpl, DOMNode::PROCESSING_INSTRUCTION_NODE);
    return pi ? DOMString(pi->getData()) : DOMString();
}

DOMString DOM_DocumentType::getName() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? DOMString(type->getName()) : DOMString();
}

DOMString DOM_Attr::getName() const
{
    auto* attr = as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    return attr ? DOMString(attr->getName()) : DOMString();
}

DOMString DOM_Attr::getValue() const
{
    auto* attr = as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    return attr ? DOMString(attr->getValue()) : DOMString();
}

void DOM_Attr::setValue(const DOMString& value)
{
    auto* attr = require_as<xercesc::DOMAttr>(fImpl, DOMNode::ATTRIBUTE_NODE);
    translate_dom_errors([&] { attr->setValue(arg(value)); });
}

// ---- DOM_Element --------------------------------------------------------------

DOMString DOM_Element::getTagName() const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? DOMString(element->getTagName()) : DOMString();
}

DOMString DOM_Element::getAttribute(const DOMString& name) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? DOMString(element->getAttribute(arg(name))) : DOMString();
}

void DOM_Element::setAttribute(const DOMString& name, const DOMString& value)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    translate_dom_errors([&] { element->setAttribute(arg(name), arg(value)); });
}

void DOM_Element::removeAttribute(const DOMString& name)
{
    auto* element = require_as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    // Xerces-C's removeAttribute recycles the attribute node, which a handle
    // may still hold; removing the node itself leaves it intact.
    translate_dom_errors([&] {
        if (xercesc::DOMAttr* attr = element->getAttributeNode(arg(name)))
            element->removeAttributeNode(attr);
    });
}

DOM_Attr DOM_Element::getAttributeNode(const DOMString& name) const
{
    auto* element = as<xercesc::DOMElement>(fImpl, DOMNode::ELEMENT_NODE);
    return element ? HandleAccess::make<DOM_Attr>(element->getAttributeNode(arg(name)), fShare) : DOM_Attr();
}

namespace {

DOM_NodeList elements_by_tag_name(DOMNode* root, DocumentCount* share, const DOMString& name)
{
    if (!root)
        return DOM_NodeList();
    auto* list = new NodeListImpl(share, root);
    list->deep = true;
    const XMLCh* raw = arg(name);
    list->name = raw;
    list->matchAll = list->name == u"*";
    return HandleAccess::list(list);
}

} // namespace

DOM_NodeList DOM_Element::getElementsByTagName(const DOMString& name) const
{
    return elements_by_tag_name(fImpl, fShare, name);
}

// ---- DOM_Document -------------------------------------------------------------

DOM_Element DOM_Document::getDocumentElement() const
{
    auto* doc = as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return doc ? HandleAccess::make<DOM_Element>(doc->getDocumentElement(), fShare) : DOM_Element();
}

DOM_DocumentType DOM_Document::getDoctype() const
{
    auto* doc = as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return doc ? HandleAccess::make<DOM_DocumentType>(doc->getDoctype(), fShare) : DOM_DocumentType();
}

DOM_Element DOM_Document::createElement(const DOMString& tagName)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Element>(translate_dom_errors([&] { return doc->createElement(arg(tagName)); }), fShare);
}

DOM_Text DOM_Document::createTextNode(const DOMString& data)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Text>(translate_dom_errors([&] { return doc->createTextNode(arg(data)); }), fShare);
}

DOM_Comment DOM_Document::createComment(const DOMString& data)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Comment>(translate_dom_errors([&] { return doc->createComment(arg(data)); }), fShare);
}

DOM_CDATASection DOM_Document::createCDATASection(const DOMString& data)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_CDATASection>(translate_dom_errors([&] { return doc->createCDATASection(arg(data)); }), fShare);
}

DOM_ProcessingInstruction DOM_Document::createProcessingInstruction(const DOMString& target, const DOMString& data)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_ProcessingInstruction>(
        translate_dom_errors([&] { return doc->createProcessingInstruction(arg(target), arg(data)); }), fShare);
}

DOM_EntityReference DOM_Document::createEntityReference(const DOMString& name)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_EntityReference>(translate_dom_errors([&] { return doc->createEntityReference(arg(name)); }), fShare);
}

DOM_Attr DOM_Document::createAttribute(const DOMString& name)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Attr>(translate_dom_errors([&] { return doc->createAttribute(arg(name)); }), fShare);
}

DOM_NodeList DOM_Document::getElementsByTagName(const DOMString& name) const
{
    return elements_by_tag_name(fImpl, fShare, name);
}

// ---- DOM_NamedNodeMap -----------------------------------------------------------

DOM_NamedNodeMap::DOM_NamedNodeMap(xercesc::DOMNamedNodeMap* map, DocumentCount* share) noexcept
    : fImpl(map), fShare(share)
{
    retain(fShare);
}

DOM_NamedNodeMap::DOM_NamedNodeMap(const DOM_NamedNodeMap& other) noexcept : fImpl(other.fImpl), fShare(other.fShare)
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
    return *this;
}

DOM_NamedNodeMap& DOM_NamedNodeMap::operator=(const DOM_NullPtr*) noexcept
{
    release(fShare);
    fImpl = nullptr;
    fShare = nullptr;
    return *this;
}

unsigned int DOM_NamedNodeMap::getLength() const
{
    return fImpl ? static_cast<unsigned int>(fImpl->getLength()) : 0;
}

DOM_Node DOM_NamedNodeMap::item(unsigned int index) const
{
    return fImpl ? HandleAccess::make<DOM_Node>(fImpl->item(index), fShare) : DOM_Node();
}

DOM_Node DOM_NamedNodeMap::getNamedItem(const DOMString& name) const
{
    return fImpl ? HandleAccess::make<DOM_Node>(fImpl->getNamedItem(arg(name)), fShare) : DOM_Node();
}

// ---- DOM_DOMImplementation ------------------------------------------------------

namespace {

xercesc::DOMImplementation* core_implementation()
{
    static const XMLCh core[] = {u'C', u'o', u'r', u'e', 0};
    ensure_platform();
    return xercesc::DOMImplementationRegistry::getDOMImplementation(core);
}

} // namespace

DOM_DOMImplementation DOM_DOMImplementation::getImplementation()
{
    return DOM_DOMImplementation();
}

bool DOM_DOMImplementation::hasFeature(const DOMString& feature, const DOMString& version) const
{
    return core_implementation()->hasFeature(arg(feature), version.rawBuffer());
}

DOM_Document DOM_DOMImplementation::createDocument(const DOMString& namespaceURI, const DOMString& qualifiedName,
                                                   const DOM_DocumentType& doctype)
{
    xercesc::DOMImplementation* impl = core_implementation();
    DOMNode* given = HandleAccess::node(doctype);
    auto* type = as<xercesc::DOMDocumentType>(given, DOMNode::DOCUMENT_TYPE_NODE);
    if (given && !type)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    return HandleAccess::adopt(translate_dom_errors(
        [&] { return impl->createDocument(namespaceURI.rawBuffer(), arg(qualifiedName), type); }));
}
