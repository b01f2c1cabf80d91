// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"

// Internal Xerces-C 3.2 headers: the interface cannot hand a document type
// that no document has yet to an existing document, nor make an element
// without checking its name.
#include <xercesc/dom/impl/DOMDocumentImpl.hpp>
#include <xercesc/dom/impl/DOMElementImpl.hpp>

#include <string_view>

using namespace xmlutil_detail;
using xercesc::DOMNode;

namespace {

// Identifiers and subsets: null when absent, however Xerces-C says so.
DOMString nullable(const XMLCh* text)
{
    return text && *text ? DOMString(text) : DOMString();
}

xercesc::DOMImplementation* core_implementation()
{
    static const XMLCh core[] = {u'C', u'o', u'r', u'e', 0};
    ensure_platform();
    return xercesc::DOMImplementationRegistry::getDOMImplementation(core);
}

} // namespace

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
    // With error checking off the name goes unchecked, as in the classic DOM.
    if (!doc->getStrictErrorChecking())
        return createElement(arg(tagName));
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

DOM_Document DOM_Document::createDocument()
{
    return HandleAccess::adopt(translate_dom_errors([] { return core_implementation()->createDocument(); }));
}

DOM_Element DOM_Document::createElement(const XMLCh* tagName)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    // The classic fast path: the name is not checked. Made as Xerces-C's
    // createElement makes it after its check, DTD defaults included.
    DOMNode* made = translate_dom_errors([&]() -> DOMNode* {
        return new (doc, xercesc::DOMMemoryManager::ELEMENT_OBJECT)
            xercesc::DOMElementImpl(doc, tagName ? tagName : kEmptyText);
    });
    return HandleAccess::make<DOM_Element>(made, fShare);
}

DOM_DocumentFragment DOM_Document::createDocumentFragment()
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_DocumentFragment>(translate_dom_errors([&] { return doc->createDocumentFragment(); }),
                                                    fShare);
}

DOM_Element DOM_Document::createElementNS(const DOMString& namespaceURI, const DOMString& qualifiedName)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    // A null name is an invalid name, not a malformed one.
    return HandleAccess::make<DOM_Element>(
        translate_dom_errors([&] { return doc->createElementNS(namespaceURI.rawBuffer(), arg(qualifiedName)); }),
        fShare);
}

DOM_Attr DOM_Document::createAttributeNS(const DOMString& namespaceURI, const DOMString& qualifiedName)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Attr>(
        translate_dom_errors([&] { return doc->createAttributeNS(namespaceURI.rawBuffer(), arg(qualifiedName)); }),
        fShare);
}

DOM_NodeList DOM_Document::getElementsByTagNameNS(const DOMString& namespaceURI, const DOMString& localName) const
{
    return elements_by_tag_name_ns(fImpl, fShare, namespaceURI, localName);
}

DOM_Element DOM_Document::getElementById(const DOMString& elementId)
{
    auto* doc = as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return doc ? HandleAccess::make<DOM_Element>(doc->getElementById(arg(elementId)), fShare) : DOM_Element();
}

DOM_Node DOM_Document::importNode(const DOM_Node& importedNode, bool deep)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    const DOMNode* source = HandleAccess::node(importedNode);
    if (!source)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    return HandleAccess::make<DOM_Node>(translate_dom_errors([&] { return import_node(doc, source, deep); }), fShare);
}

DOM_DocumentType DOM_Document::createDocumentType(const DOMString& name)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_DocumentType>(translate_dom_errors([&] { return doc->createDocumentType(arg(name)); }),
                                                fShare);
}

DOM_Entity DOM_Document::createEntity(const DOMString& name)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Entity>(translate_dom_errors([&] { return doc->createEntity(arg(name)); }), fShare);
}

DOM_Notation DOM_Document::createNotation(const DOMString& name)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return HandleAccess::make<DOM_Notation>(translate_dom_errors([&] { return doc->createNotation(arg(name)); }),
                                            fShare);
}

namespace {

void assign_field(const DOMString& value, bool& present, std::u16string& text)
{
    present = value.rawBuffer() != nullptr;
    if (present)
        text.assign(value.rawBuffer(), value.length());
    else
        text.clear();
}

} // namespace

DOM_XMLDecl DOM_Document::createXMLDecl(const DOMString& version, const DOMString& encoding,
                                        const DOMString& standalone)
{
    auto* doc = require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    XmlDeclFields fields;
    assign_field(version, fields.hasVersion, fields.version);
    assign_field(encoding, fields.hasEncoding, fields.encoding);
    assign_field(standalone, fields.hasStandalone, fields.standalone);
    return HandleAccess::make<DOM_XMLDecl>(make_xml_decl(doc, fields), fShare);
}

void DOM_Document::setErrorChecking(bool check)
{
    require_as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE)->setStrictErrorChecking(check);
}

bool DOM_Document::getErrorChecking()
{
    auto* doc = as<xercesc::DOMDocument>(fImpl, DOMNode::DOCUMENT_NODE);
    return doc && doc->getStrictErrorChecking();
}

DOM_DOMImplementation& DOM_Document::getImplementation() const
{
    return DOM_DOMImplementation::getImplementation();
}

// ---- DOM_DocumentType, DOM_DocumentFragment, DOM_Entity, DOM_Notation, DOM_XMLDecl --

DOM_DocumentType::DOM_DocumentType(int) noexcept {}

DOMString DOM_DocumentType::getName() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? DOMString(type->getName()) : DOMString();
}

DOM_NamedNodeMap DOM_DocumentType::getEntities() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? HandleAccess::map(type->getEntities(), fShare, fImpl) : DOM_NamedNodeMap();
}

DOM_NamedNodeMap DOM_DocumentType::getNotations() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? HandleAccess::map(type->getNotations(), fShare, fImpl) : DOM_NamedNodeMap();
}

DOMString DOM_DocumentType::getPublicId() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? nullable(type->getPublicId()) : DOMString();
}

DOMString DOM_DocumentType::getSystemId() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? nullable(type->getSystemId()) : DOMString();
}

DOMString DOM_DocumentType::getInternalSubset() const
{
    auto* type = as<xercesc::DOMDocumentType>(fImpl, DOMNode::DOCUMENT_TYPE_NODE);
    return type ? nullable(type->getInternalSubset()) : DOMString();
}

DOMString DOM_Entity::getPublicId() const
{
    auto* entity = as<xercesc::DOMEntity>(fImpl, DOMNode::ENTITY_NODE);
    return entity ? nullable(entity->getPublicId()) : DOMString();
}

DOMString DOM_Entity::getSystemId() const
{
    auto* entity = as<xercesc::DOMEntity>(fImpl, DOMNode::ENTITY_NODE);
    return entity ? nullable(entity->getSystemId()) : DOMString();
}

DOMString DOM_Entity::getNotationName() const
{
    auto* entity = as<xercesc::DOMEntity>(fImpl, DOMNode::ENTITY_NODE);
    return entity ? nullable(entity->getNotationName()) : DOMString();
}

DOMString DOM_Notation::getPublicId() const
{
    auto* notation = as<xercesc::DOMNotation>(fImpl, DOMNode::NOTATION_NODE);
    return notation ? nullable(notation->getPublicId()) : DOMString();
}

DOMString DOM_Notation::getSystemId() const
{
    auto* notation = as<xercesc::DOMNotation>(fImpl, DOMNode::NOTATION_NODE);
    return notation ? nullable(notation->getSystemId()) : DOMString();
}

namespace {

DOMString field_text(bool present, const std::u16string& text)
{
    return present ? DOMString(text.c_str(), static_cast<unsigned int>(text.size())) : DOMString();
}

// The declaration for a change: the null node and other types refuse.
DOMNode* require_xml_decl(DOMNode* node)
{
    require(node);
    if (!is_xml_decl(node))
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    return node;
}

} // namespace

DOMString DOM_XMLDecl::getVersion() const
{
    if (!is_xml_decl(fImpl))
        return DOMString();
    const XmlDeclFields fields = xml_decl_fields(fImpl);
    return field_text(fields.hasVersion, fields.version);
}

DOMString DOM_XMLDecl::getEncoding() const
{
    if (!is_xml_decl(fImpl))
        return DOMString();
    const XmlDeclFields fields = xml_decl_fields(fImpl);
    return field_text(fields.hasEncoding, fields.encoding);
}

DOMString DOM_XMLDecl::getStandalone() const
{
    if (!is_xml_decl(fImpl))
        return DOMString();
    const XmlDeclFields fields = xml_decl_fields(fImpl);
    return field_text(fields.hasStandalone, fields.standalone);
}

void DOM_XMLDecl::setVersion(const DOMString& version)
{
    DOMNode* decl = require_xml_decl(fImpl);
    XmlDeclFields fields = xml_decl_fields(decl);
    assign_field(version, fields.hasVersion, fields.version);
    set_xml_decl_fields(decl, fields);
}

void DOM_XMLDecl::setEncoding(const DOMString& encoding)
{
    DOMNode* decl = require_xml_decl(fImpl);
    XmlDeclFields fields = xml_decl_fields(decl);
    assign_field(encoding, fields.hasEncoding, fields.encoding);
    set_xml_decl_fields(decl, fields);
}

void DOM_XMLDecl::setStandalone(const DOMString& standalone)
{
    DOMNode* decl = require_xml_decl(fImpl);
    XmlDeclFields fields = xml_decl_fields(decl);
    assign_field(standalone, fields.hasStandalone, fields.standalone);
    set_xml_decl_fields(decl, fields);
}

// ---- DOM_DOMImplementation ------------------------------------------------------

DOM_DocumentType HandleAccess::adopt_orphan(xercesc::DOMDocumentType* type)
{
    DocumentShare* share = nullptr;
    try {
        share = new DocumentShare(nullptr);
    } catch (...) {
        type->release();
        throw;
    }
    share->orphan = type;
    return DOM_DocumentType(type, share);
}

xercesc::DOMDocumentType* xmlutil_detail::copy_orphan_type(const xercesc::DOMDocumentType* type)
{
    return core_implementation()->createDocumentType(type->getName(), type->getPublicId(), type->getSystemId());
}

DOM_DOMImplementation& DOM_DOMImplementation::getImplementation()
{
    static DOM_DOMImplementation implementation;
    return implementation;
}

namespace {

bool same_ignoring_case(const DOMString& text, std::u16string_view name) noexcept
{
    if (text.length() != name.size())
        return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        XMLCh ch = text.charAt(static_cast<unsigned int>(i));
        if (ch >= u'A' && ch <= u'Z')
            ch = static_cast<XMLCh>(ch - u'A' + u'a');
        if (ch != name[i])
            return false;
    }
    return true;
}

bool same_text(const DOMString& text, std::u16string_view value) noexcept
{
    return text.length() == value.size() &&
           std::u16string_view(text.rawBuffer() ? text.rawBuffer() : kEmptyText, text.length()) == value;
}

} // namespace

bool DOM_DOMImplementation::hasFeature(const DOMString& feature, const DOMString& version)
{
    // The classic answers, not Xerces-C 3's, which offers Level 3 as well.
    const bool anyVersion = version.length() == 0;
    if (same_ignoring_case(feature, u"xml") || same_ignoring_case(feature, u"core"))
        return anyVersion || same_text(version, u"1.0") || same_text(version, u"2.0");
    if (same_ignoring_case(feature, u"traversal") || same_ignoring_case(feature, u"range"))
        return anyVersion || same_text(version, u"2.0");
    return false;
}

DOM_DocumentType DOM_DOMImplementation::createDocumentType(const DOMString& qualifiedName, const DOMString& publicId,
                                                           const DOMString& systemId)
{
    xercesc::DOMImplementation* impl = core_implementation();
    xercesc::DOMDocumentType* type = translate_dom_errors([&] {
        return impl->createDocumentType(arg(qualifiedName), optional_arg(publicId), optional_arg(systemId));
    });
    return HandleAccess::adopt_orphan(type);
}

DOM_Document DOM_DOMImplementation::createDocument(const DOMString& namespaceURI, const DOMString& qualifiedName,
                                                   const DOM_DocumentType& doctype)
{
    xercesc::DOMImplementation* impl = core_implementation();
    DOMNode* given = HandleAccess::node(doctype);
    auto* type = as<xercesc::DOMDocumentType>(given, DOMNode::DOCUMENT_TYPE_NODE);
    if (given && !type)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    if (type && type->getOwnerDocument())
        throw_dom_exception(DOM_DOMException::WRONG_DOCUMENT_ERR);
    // Xerces-C 3.2 makes a document without a root for a null name.
    if (qualifiedName.length() == 0)
        throw_dom_exception(DOM_DOMException::INVALID_CHARACTER_ERR);
    if (!type)
        return HandleAccess::adopt(translate_dom_errors(
            [&] { return impl->createDocument(namespaceURI.rawBuffer(), arg(qualifiedName), nullptr); }));
    // The root first, so that a bad name leaves the document type as it was.
    xercesc::DOMDocument* doc = translate_dom_errors([&] { return impl->createDocument(); });
    try {
        translate_dom_errors([&] {
            xercesc::DOMElement* root = doc->createElementNS(namespaceURI.rawBuffer(), arg(qualifiedName));
            static_cast<xercesc::DOMDocumentImpl*>(doc)->setDocumentType(type);
            doc->appendChild(root);
        });
    } catch (...) {
        doc->release();
        throw;
    }
    // The type's share becomes the document's: the handles on the type
    // already count as users of it.
    DocumentShare* share = HandleAccess::share(doctype);
    share->doc = doc;
    share->orphan = nullptr;
    return HandleAccess::make<DOM_Document>(doc, share);
}
