// SPDX-License-Identifier: Apache-2.0
// Takes the address of every exported function with its exact signature, so
// that a renamed or re-typed export breaks the build.
#include "test_util.h"

#include <type_traits>

namespace {

template <class T>
void keep(T pointer)
{
    EXPECT_TRUE(pointer != nullptr);
}

} // namespace

TEST(api_names, free_functions_keep_their_signatures)
{
    keep(static_cast<void (*)(std::string&)>(&TrimLeft));
    keep(static_cast<void (*)(std::string&)>(&TrimRight));
    keep(static_cast<void (*)(std::string&)>(&Trim));
    keep(static_cast<void (*)(std::string&, char, std::string)>(&FindAndRepleace));

    keep(static_cast<DOM_Document (*)(const std::string&, bool)>(&ParseFile));
    keep(static_cast<DOM_Document (*)(const char*, unsigned int, bool)>(&ParseBuffer));

    keep(static_cast<DOM_Node (*)(const DOM_Node&, const std::string&)>(&GetNodeByName));
    keep(static_cast<std::string (*)(const DOMString&)>(&DOM2STLstring));
    keep(static_cast<bool (*)(const DOM_Node&, std::string&, std::string)>(&ReadNodeData));
    keep(static_cast<bool (*)(const DOM_Node&, std::string&, char*)>(&ReadNodeData));
    keep(static_cast<bool (*)(const DOM_Node&, const std::string&, std::string&, std::string)>(&ReadNodeData));
    keep(static_cast<bool (*)(const DOM_Node&, const std::string&, std::string&, char*)>(&ReadNodeData));
    keep(static_cast<bool (*)(const DOM_Node&, const std::string&, std::string&)>(&GetNamedAttributeValue));
    keep(static_cast<std::string (*)(const DOM_Node&)>(&GetNodeName));
    keep(static_cast<std::ostream& (*)(std::ostream&, const DOMString&)>(&operator<<));

    keep(static_cast<void (*)(const std::string&, DOM_Document&, DOM_Node&)>(&CreateDocument));
    keep(static_cast<void (*)(const std::string&, DOM_Element&, DOM_Node&, DOM_Document&)>(&CreateNewElement));
    keep(static_cast<void (*)(const std::string&, const std::string&, DOM_Node&, DOM_Document&)>(&SaveNodeData));
    keep(static_cast<void (*)(const std::string&, DOM_Node&, DOM_Document&)>(&SaveDataToNode));
    keep(static_cast<void (*)(const std::string&, const std::string&, DOM_Element&)>(&SetNodeAttribute));

    keep(static_cast<std::string (*)(const cNodeIterator&)>(&GetNodeName));
}

TEST(api_names, classes_keep_their_members)
{
    static_assert(std::is_base_of<std::exception, cTextException>::value, "");
    static_assert(!std::is_default_constructible<cTextException>::value, "no default constructor");
    static_assert(std::is_copy_constructible<cTextException>::value, "");
    static_assert(!std::is_constructible<cTextException, std::string>::value, "no constructor from std::string");
    static_assert(std::is_base_of<ErrorHandler, XMLUtilError>::value, "");
    keep(static_cast<const char* (cTextException::*)() const noexcept>(&cTextException::what));
    keep(static_cast<void (XMLUtilError::*)(const SAXParseException&)>(&XMLUtilError::warning));
    keep(static_cast<void (XMLUtilError::*)(const SAXParseException&)>(&XMLUtilError::error));
    keep(static_cast<void (XMLUtilError::*)(const SAXParseException&)>(&XMLUtilError::fatalError));
    keep(static_cast<void (XMLUtilError::*)()>(&XMLUtilError::resetErrors));

    static_assert(std::is_constructible<cNodeIterator, const DOM_Node&, const std::string&>::value, "");
    static_assert(std::is_copy_constructible<cNodeIterator>::value, "");
    static_assert(std::is_copy_assignable<cNodeIterator>::value, "");
    keep(static_cast<DOM_Node (cNodeIterator::*)() const>(&cNodeIterator::operator*));
    keep(static_cast<DOM_Node* (cNodeIterator::*)()>(&cNodeIterator::operator->));
    keep(static_cast<bool (cNodeIterator::*)(const cNodeIterator&) const>(&cNodeIterator::operator==));
    keep(static_cast<bool (cNodeIterator::*)(cNodeIterator) const>(&cNodeIterator::operator!=));
    keep(static_cast<bool (cNodeIterator::*)(const DOM_Node&) const>(&cNodeIterator::operator!=));
    keep(static_cast<cNodeIterator& (cNodeIterator::*)()>(&cNodeIterator::operator++));
    keep(static_cast<cNodeIterator (cNodeIterator::*)(int)>(&cNodeIterator::operator++));
    keep(static_cast<cNodeIterator& (cNodeIterator::*)()>(&cNodeIterator::operator--));
    keep(static_cast<cNodeIterator (cNodeIterator::*)(int)>(&cNodeIterator::operator--));
    keep(static_cast<void (cNodeIterator::*)()>(&cNodeIterator::FindNextNode));
}

// Additions of this library beyond the classic interface.
TEST(api_names, additions_keep_their_signatures)
{
    keep(static_cast<bool (cXML_Utility::*)(const std::string&, std::string&)>(&cXML_Utility::TrySaveToFile));
    keep(static_cast<void (*)(const std::string&)>(&AllowEntityFolder));
}

TEST(api_names, classic_dom_names_are_there)
{
    keep(&DOM_Node::getNodeName);
    keep(&DOM_Node::getNodeValue);
    keep(&DOM_Node::setNodeValue);
    keep(&DOM_Node::getNodeType);
    keep(&DOM_Node::getNamespaceURI);
    keep(&DOM_Node::getPrefix);
    keep(&DOM_Node::getLocalName);
    keep(&DOM_Node::getParentNode);
    keep(&DOM_Node::getChildNodes);
    keep(&DOM_Node::getFirstChild);
    keep(&DOM_Node::getLastChild);
    keep(&DOM_Node::getPreviousSibling);
    keep(&DOM_Node::getNextSibling);
    keep(&DOM_Node::getAttributes);
    keep(&DOM_Node::getOwnerDocument);
    keep(&DOM_Node::insertBefore);
    keep(&DOM_Node::replaceChild);
    keep(&DOM_Node::removeChild);
    keep(&DOM_Node::appendChild);
    keep(&DOM_Node::hasChildNodes);
    keep(&DOM_Node::cloneNode);
    keep(&DOM_Node::normalize);
    keep(&DOM_Node::isSupported);
    keep(&DOM_Node::setPrefix);
    keep(&DOM_Node::hasAttributes);
    keep(&DOM_Element::hasAttribute);
    keep(&DOM_Element::setAttributeNode);
    keep(&DOM_Element::removeAttributeNode);
    keep(&DOM_Element::getAttributeNS);
    keep(&DOM_Element::setAttributeNS);
    keep(&DOM_Element::removeAttributeNS);
    keep(&DOM_Element::getAttributeNodeNS);
    keep(&DOM_Element::setAttributeNodeNS);
    keep(&DOM_Element::getElementsByTagNameNS);
    keep(&DOM_Element::hasAttributeNS);
    keep(&DOM_CharacterData::substringData);
    keep(&DOM_CharacterData::appendData);
    keep(&DOM_CharacterData::insertData);
    keep(&DOM_CharacterData::deleteData);
    keep(&DOM_CharacterData::replaceData);
    keep(&DOM_Text::splitText);
    keep(&DOM_Text::isIgnorableWhitespace);
    keep(&DOM_Attr::getSpecified);
    keep(&DOM_Attr::getOwnerElement);
    keep(&DOM_Element::getTagName);
    keep(&DOM_Element::getAttribute);
    keep(&DOM_Element::setAttribute);
    keep(&DOM_Element::removeAttribute);
    keep(&DOM_Element::getAttributeNode);
    keep(&DOM_Element::getElementsByTagName);
    keep(&DOM_Document::getDocumentElement);
    keep(static_cast<DOM_Element (DOM_Document::*)(const DOMString&)>(&DOM_Document::createElement));
    keep(static_cast<DOM_Element (DOM_Document::*)(const XMLCh*)>(&DOM_Document::createElement));
    keep(&DOM_Document::createTextNode);
    keep(&DOM_Document::createComment);
    keep(&DOM_Document::createCDATASection);
    keep(&DOM_Document::createProcessingInstruction);
    keep(&DOM_Document::createEntityReference);
    keep(&DOM_Document::createAttribute);
    keep(&DOM_Document::getElementsByTagName);
    keep(&DOM_Document::getDoctype);
    keep(&DOM_CharacterData::getData);
    keep(&DOM_CharacterData::setData);
    keep(&DOM_CharacterData::getLength);
    keep(&DOM_Attr::getName);
    keep(&DOM_Attr::getValue);
    keep(&DOM_Attr::setValue);
    keep(&DOM_ProcessingInstruction::getTarget);
    keep(&DOM_ProcessingInstruction::getData);
    keep(&DOM_NodeList::getLength);
    keep(&DOM_NodeList::item);
    keep(&DOM_NamedNodeMap::getLength);
    keep(&DOM_NamedNodeMap::item);
    keep(&DOM_NamedNodeMap::getNamedItem);
    keep(&DOM_DOMImplementation::getImplementation);
    keep(&DOM_DOMImplementation::createDocument);
    keep(&DOM_DOMImplementation::hasFeature);
    // The classic signatures, constness included.
    keep(static_cast<DOM_DOMImplementation& (*)()>(&DOM_DOMImplementation::getImplementation));
    keep(static_cast<bool (DOM_DOMImplementation::*)(const DOMString&, const DOMString&)>(
        &DOM_DOMImplementation::hasFeature));
    keep(static_cast<DOM_DocumentType (DOM_DOMImplementation::*)(const DOMString&, const DOMString&,
                                                                 const DOMString&)>(
        &DOM_DOMImplementation::createDocumentType));
    keep(static_cast<DOM_Document (*)()>(&DOM_Document::createDocument));
    keep(static_cast<DOM_DocumentFragment (DOM_Document::*)()>(&DOM_Document::createDocumentFragment));
    keep(static_cast<DOM_Element (DOM_Document::*)(const DOMString&, const DOMString&)>(
        &DOM_Document::createElementNS));
    keep(static_cast<DOM_Attr (DOM_Document::*)(const DOMString&, const DOMString&)>(
        &DOM_Document::createAttributeNS));
    keep(static_cast<DOM_NodeList (DOM_Document::*)(const DOMString&, const DOMString&) const>(
        &DOM_Document::getElementsByTagNameNS));
    keep(static_cast<DOM_Element (DOM_Document::*)(const DOMString&)>(&DOM_Document::getElementById));
    keep(static_cast<DOM_Node (DOM_Document::*)(const DOM_Node&, bool)>(&DOM_Document::importNode));
    keep(static_cast<DOM_DocumentType (DOM_Document::*)(const DOMString&)>(&DOM_Document::createDocumentType));
    keep(static_cast<DOM_Entity (DOM_Document::*)(const DOMString&)>(&DOM_Document::createEntity));
    keep(static_cast<DOM_Notation (DOM_Document::*)(const DOMString&)>(&DOM_Document::createNotation));
    keep(static_cast<DOM_XMLDecl (DOM_Document::*)(const DOMString&, const DOMString&, const DOMString&)>(
        &DOM_Document::createXMLDecl));
    keep(static_cast<void (DOM_Document::*)(bool)>(&DOM_Document::setErrorChecking));
    keep(static_cast<bool (DOM_Document::*)()>(&DOM_Document::getErrorChecking));
    keep(static_cast<DOM_DOMImplementation& (DOM_Document::*)() const>(&DOM_Document::getImplementation));
    keep(static_cast<DOM_NamedNodeMap (DOM_DocumentType::*)() const>(&DOM_DocumentType::getEntities));
    keep(static_cast<DOM_NamedNodeMap (DOM_DocumentType::*)() const>(&DOM_DocumentType::getNotations));
    keep(static_cast<DOMString (DOM_DocumentType::*)() const>(&DOM_DocumentType::getPublicId));
    keep(static_cast<DOMString (DOM_DocumentType::*)() const>(&DOM_DocumentType::getSystemId));
    keep(static_cast<DOMString (DOM_DocumentType::*)() const>(&DOM_DocumentType::getInternalSubset));
    keep(static_cast<DOMString (DOM_Entity::*)() const>(&DOM_Entity::getPublicId));
    keep(static_cast<DOMString (DOM_Entity::*)() const>(&DOM_Entity::getSystemId));
    keep(static_cast<DOMString (DOM_Entity::*)() const>(&DOM_Entity::getNotationName));
    keep(static_cast<DOMString (DOM_Notation::*)() const>(&DOM_Notation::getPublicId));
    keep(static_cast<DOMString (DOM_Notation::*)() const>(&DOM_Notation::getSystemId));
    keep(static_cast<DOMString (DOM_XMLDecl::*)() const>(&DOM_XMLDecl::getVersion));
    keep(static_cast<DOMString (DOM_XMLDecl::*)() const>(&DOM_XMLDecl::getEncoding));
    keep(static_cast<DOMString (DOM_XMLDecl::*)() const>(&DOM_XMLDecl::getStandalone));
    keep(static_cast<void* (DOM_Node::*)() const>(&DOM_Node::getUserData));
    keep(static_cast<void (DOM_Node::*)(void*)>(&DOM_Node::setUserData));
    keep(static_cast<DOM_Node (DOM_NamedNodeMap::*)(DOM_Node)>(&DOM_NamedNodeMap::setNamedItem));
    keep(static_cast<DOM_Node (DOM_NamedNodeMap::*)(const DOMString&)>(&DOM_NamedNodeMap::removeNamedItem));
    keep(static_cast<DOM_Node (DOM_NamedNodeMap::*)(const DOMString&, const DOMString&)>(
        &DOM_NamedNodeMap::getNamedItemNS));
    keep(static_cast<DOM_Node (DOM_NamedNodeMap::*)(DOM_Node)>(&DOM_NamedNodeMap::setNamedItemNS));
    keep(static_cast<DOM_Node (DOM_NamedNodeMap::*)(const DOMString&, const DOMString&)>(
        &DOM_NamedNodeMap::removeNamedItemNS));
    keep(static_cast<void (DOMParser::*)(bool)>(&DOMParser::setToCreateXMLDeclTypeNode));
    keep(static_cast<bool (DOMParser::*)() const>(&DOMParser::getToCreateXMLDeclTypeNode));
    keep(static_cast<void (DOMParser::*)(const char*, bool)>(&DOMParser::parse));
    keep(static_cast<void (DOMParser::*)(const InputSource&, bool)>(&DOMParser::parse));
    keep(&DOMParser::setDoValidation);
    keep(&DOMParser::getDoValidation);
    keep(&DOMParser::setErrorHandler);
    keep(&DOMParser::getDocument);
    keep(static_cast<char* (DOMString::*)() const>(&DOMString::transcode));
    keep(&DOMString::length);
    keep(&DOMString::rawBuffer);
    keep(&DOMString::charAt);
    keep(static_cast<bool (DOMString::*)(const DOMString&) const noexcept>(&DOMString::equals));
    keep(static_cast<void (DOMString::*)(const DOMString&)>(&DOMString::appendData));
    static_assert(std::is_same<decltype(DOM_DOMException::code), DOM_DOMException::ExceptionCode>::value, "");
    static_assert(std::is_same<decltype(DOM_DOMException::msg), DOMString>::value, "");
}

TEST(api_names, xerces_names_are_usable_unqualified)
{
    static_assert(sizeof(XMLCh) == 2, "16-bit characters");
    keep(static_cast<void (*)(const char* const, const char* const, xercesc::PanicHandler* const,
                              xercesc::MemoryManager* const)>(&XMLPlatformUtils::Initialize));
    keep(static_cast<bool (*)(const XMLCh*, const XMLCh*)>(&XMLString::equals));
    static_assert(std::is_base_of<InputSource, MemBufInputSource>::value, "");
    static_assert(std::is_class<XMLException>::value, "");
    static_assert(std::is_class<SAXParseException>::value, "");
}
