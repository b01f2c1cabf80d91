#include "dom_internal.h"

// An internal Xerces-C 3.2 header, for what its interface lacks: the
// read-only mark of nodes inside an entity reference.
#include <xercesc/dom/impl/DOMCasts.hpp>

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
    ++full_share(fShare)->changes;
    return DOM_Node(translate_dom_errors([&] { return node->insertBefore(newChild.fImpl, refChild.fImpl); }),
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
    ++full_share(fShare)->changes;
    return DOM_Node(translate_dom_errors([&] { return node->replaceChild(newChild.fImpl, oldChild.fImpl); }),
                    fShare);
}

DOM_Node DOM_Node::removeChild(const DOM_Node& oldChild)
{
    DOMNode* node = require(fImpl);
    if (!oldChild.fImpl)
        throw_dom_exception(DOM_DOMException::NOT_FOUND_ERR);
    ++full_share(fShare)->changes;
    return DOM_Node(translate_dom_errors([&] { return node->removeChild(oldChild.fImpl); }), fShare);
}

DOM_Node DOM_Node::appendChild(const DOM_Node& newChild)
{
    DOMNode* node = require(fImpl);
    if (!newChild.fImpl)
        throw_dom_exception(DOM_DOMException::HIERARCHY_REQUEST_ERR);
    refuse_cycle(node, newChild.fImpl);
    ++full_share(fShare)->changes;
    return DOM_Node(translate_dom_errors([&] { return node->appendChild(newChild.fImpl); }), fShare);
}

DOM_Node DOM_Node::cloneNode(bool deep) const
{
    if (!fImpl)
        return DOM_Node();
    DOMNode* copy = translate_dom_errors([&] { return fImpl->cloneNode(deep); });
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
