// The classic reference-counted DOM (DOM_Node, DOM_Element, DOMString,
// DOMParser ...) as value handles over the pointer DOM of Xerces-C 3.2.
//
// A handle is a node pointer plus a share of its document. The document is
// released when the last handle to it, to any of its nodes or to one of its
// lists goes away, in any order. Handles of one document belong to one thread
// at a time; handles of distinct documents may live in distinct threads.
//
// Text crosses between 8-bit and 16-bit characters in ISO-8859-1: every byte
// maps to U+0000..U+00FF and back; a character above U+00FF becomes '?'.
#ifndef XMLUTIL_DOM_H
#define XMLUTIL_DOM_H

#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/util/XercesDefs.hpp>

#include <cstddef>
#include <memory>
#include <string>

#ifndef XMLUTIL_API
#if defined(XMLUTIL_EXPORTS)
#define XMLUTIL_API __attribute__((visibility("default")))
#else
#define XMLUTIL_API
#endif
#endif

XERCES_CPP_NAMESPACE_BEGIN
class DOMNode;
class DOMNamedNodeMap;
class DOMImplementation;
class ErrorHandler;
class InputSource;
class XMLValidator;
class XercesDOMParser;
XERCES_CPP_NAMESPACE_END

namespace xmlutil_detail {
// How many handles share a document. The library keeps the rest of its
// record of the document behind it; none of this is interface. The count is
// a plain integer, like the rest of a document's state: a document and its
// handles belong to one thread at a time.
struct DocumentCount {
    std::size_t refs = 0;
};
struct NodeListImpl;
struct HandleAccess;
} // namespace xmlutil_detail

// Never defined: a literal 0 converts to a pointer to it, which is how classic
// code compares a handle with null (`node == 0`) and resets it (`node = 0`).
class DOM_NullPtr;

class DOM_Attr;
class DOM_Document;
class DOM_DocumentType;
class DOM_Element;
class DOM_NamedNodeMap;
class DOM_NodeList;

// 16-bit string of the classic DOM, with value semantics. A default-made
// string is null; null and empty strings both have length 0.
class XMLUTIL_API DOMString {
public:
    DOMString() noexcept;
    // Only the value 0 is meaningful: it makes the null string.
    DOMString(int nullPointerValue) noexcept;
    // A null pointer makes the null string.
    DOMString(const XMLCh* text);
    DOMString(const XMLCh* text, unsigned int length);
    // Bytes in the local code page (ISO-8859-1), up to the first zero byte.
    DOMString(const char* text);
    DOMString(const DOMString& other);
    DOMString(DOMString&& other) noexcept;
    ~DOMString();

    DOMString& operator=(const DOMString& other);
    DOMString& operator=(DOMString&& other) noexcept;
    DOMString& operator=(const DOM_NullPtr* null) noexcept;

    // Number of 16-bit characters.
    unsigned int length() const noexcept;
    // The characters, zero-terminated; null for the null string.
    const XMLCh* rawBuffer() const noexcept;
    // The character at `index`, or 0 when `index` is out of range.
    XMLCh charAt(unsigned int index) const noexcept;

    // Same characters; null and empty strings are equal.
    bool equals(const DOMString& other) const noexcept;
    bool equals(const char* other) const;
    bool operator==(const DOMString& other) const noexcept;
    bool operator!=(const DOMString& other) const noexcept;
    // Comparison with 0 tests for the null string.
    bool operator==(const DOM_NullPtr* null) const noexcept;
    bool operator!=(const DOM_NullPtr* null) const noexcept;

    void appendData(const DOMString& other);
    void appendData(XMLCh ch);

    // New[]-allocated copy in the local code page, ending at the first zero
    // character; the caller releases it with delete[]. Never null.
    char* transcode() const;
    // A DOMString from local code page bytes; the same as DOMString(text).
    static DOMString transcode(const char* text);

private:
    std::u16string fText;
    bool fNull;
};

// Exception of the DOM: every Xerces-C DOMException raised in a handle
// operation arrives as this type, with the same code and message.
class XMLUTIL_API DOM_DOMException {
public:
    enum ExceptionCode {
        INDEX_SIZE_ERR = 1,
        DOMSTRING_SIZE_ERR = 2,
        HIERARCHY_REQUEST_ERR = 3,
        WRONG_DOCUMENT_ERR = 4,
        INVALID_CHARACTER_ERR = 5,
        NO_DATA_ALLOWED_ERR = 6,
        NO_MODIFICATION_ALLOWED_ERR = 7,
        NOT_FOUND_ERR = 8,
        NOT_SUPPORTED_ERR = 9,
        INUSE_ATTRIBUTE_ERR = 10,
        INVALID_STATE_ERR = 11,
        SYNTAX_ERR = 12,
        INVALID_MODIFICATION_ERR = 13,
        NAMESPACE_ERR = 14,
        INVALID_ACCESS_ERR = 15,
        VALIDATION_ERR = 16,
        TYPE_MISMATCH_ERR = 17
    };

    DOM_DOMException();
    DOM_DOMException(short code, const DOMString& message);
    DOM_DOMException(const DOM_DOMException& other);
    DOM_DOMException& operator=(const DOM_DOMException& other);
    virtual ~DOM_DOMException();

    ExceptionCode code;
    DOMString msg;
};

// Handle to any node. A default-made handle is the null node. Copies refer
// to the same node; == compares node identity.
//
// On the null node every query answers a null handle, an empty string or 0,
// and every operation that would change a tree throws DOM_DOMException
// INVALID_STATE_ERR. The same holds for an operation of a derived handle on a
// node of another type, except that a change throws NOT_SUPPORTED_ERR.
class XMLUTIL_API DOM_Node {
public:
    enum NodeType {
        ELEMENT_NODE = 1,
        ATTRIBUTE_NODE = 2,
        TEXT_NODE = 3,
        CDATA_SECTION_NODE = 4,
        ENTITY_REFERENCE_NODE = 5,
        ENTITY_NODE = 6,
        PROCESSING_INSTRUCTION_NODE = 7,
        COMMENT_NODE = 8,
        DOCUMENT_NODE = 9,
        DOCUMENT_TYPE_NODE = 10,
        DOCUMENT_FRAGMENT_NODE = 11,
        NOTATION_NODE = 12
    };

    DOM_Node() noexcept : fImpl(nullptr), fShare(nullptr) {}
    DOM_Node(const DOM_NullPtr*) noexcept : fImpl(nullptr), fShare(nullptr) {}
    DOM_Node(const DOM_Node& other) noexcept : fImpl(other.fImpl), fShare(other.fShare) { retainShare(fShare); }
    DOM_Node(DOM_Node&& other) noexcept : fImpl(other.fImpl), fShare(other.fShare)
    {
        other.fImpl = nullptr;
        other.fShare = nullptr;
    }
    ~DOM_Node() { releaseShare(fShare); }

    DOM_Node& operator=(const DOM_Node& other) noexcept
    {
        retainShare(other.fShare); // first, so that self-assignment is safe
        releaseShare(fShare);
        fImpl = other.fImpl;
        fShare = other.fShare;
        return *this;
    }
    DOM_Node& operator=(DOM_Node&& other) noexcept
    {
        if (this != &other) {
            releaseShare(fShare);
            fImpl = other.fImpl;
            fShare = other.fShare;
            other.fImpl = nullptr;
            other.fShare = nullptr;
        }
        return *this;
    }
    DOM_Node& operator=(const DOM_NullPtr*) noexcept
    {
        releaseShare(fShare);
        fImpl = nullptr;
        fShare = nullptr;
        return *this;
    }

    bool operator==(const DOM_Node& other) const noexcept { return fImpl == other.fImpl; }
    bool operator!=(const DOM_Node& other) const noexcept { return fImpl != other.fImpl; }
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }
    bool isNull() const noexcept { return fImpl == nullptr; }

    DOMString getNodeName() const;
    // Null for node types without a value (elements, documents ...).
    DOMString getNodeValue() const;
    void setNodeValue(const DOMString& value);
    // One of NodeType, or 0 for the null node.
    short getNodeType() const { return fImpl ? static_cast<short>(fImpl->getNodeType()) : 0; }
    DOMString getNamespaceURI() const;
    DOMString getPrefix() const;
    DOMString getLocalName() const;

    DOM_Node getParentNode() const { return related(fImpl ? fImpl->getParentNode() : nullptr); }
    // Live list of the children: it follows later changes.
    DOM_NodeList getChildNodes() const;
    DOM_Node getFirstChild() const { return related(fImpl ? fImpl->getFirstChild() : nullptr); }
    DOM_Node getLastChild() const { return related(fImpl ? fImpl->getLastChild() : nullptr); }
    DOM_Node getPreviousSibling() const { return related(fImpl ? fImpl->getPreviousSibling() : nullptr); }
    DOM_Node getNextSibling() const { return related(fImpl ? fImpl->getNextSibling() : nullptr); }
    // Live attribute map of an element; a null map for any other node.
    DOM_NamedNodeMap getAttributes() const;
    // Null for a document node and for the null node.
    DOM_Document getOwnerDocument() const;

    DOM_Node insertBefore(const DOM_Node& newChild, const DOM_Node& refChild);
    DOM_Node replaceChild(const DOM_Node& newChild, const DOM_Node& oldChild);
    DOM_Node removeChild(const DOM_Node& oldChild);
    DOM_Node appendChild(const DOM_Node& newChild);
    bool hasChildNodes() const { return fImpl && fImpl->hasChildNodes(); }
    // A copy in the same document (a document copies into a new document).
    DOM_Node cloneNode(bool deep) const;

protected:
    DOM_Node(XERCES_CPP_NAMESPACE::DOMNode* node, xmlutil_detail::DocumentCount* share) noexcept
        : fImpl(node), fShare(node ? share : nullptr)
    {
        retainShare(fShare);
    }

    // Handles are copied on every step through a tree, so counting stays
    // inline; only the release of a document leaves it.
    static void retainShare(xmlutil_detail::DocumentCount* share) noexcept
    {
        if (share)
            ++share->refs;
    }
    static void releaseShare(xmlutil_detail::DocumentCount* share) noexcept
    {
        if (share && --share->refs == 0)
            destroyShare(share);
    }
    static void destroyShare(xmlutil_detail::DocumentCount* share) noexcept;

    // A node of the same document as this one.
    DOM_Node related(XERCES_CPP_NAMESPACE::DOMNode* node) const noexcept { return DOM_Node(node, fShare); }

    XERCES_CPP_NAMESPACE::DOMNode* fImpl;
    xmlutil_detail::DocumentCount* fShare; // null exactly when fImpl is null

    friend class DOM_NamedNodeMap;
    friend struct xmlutil_detail::HandleAccess;
};

// Derived handles add no data members, so the classic downcast
// `(DOM_Element&)node` works on a handle that refers to an element.
#define XMLUTIL_DOM_DERIVED_HANDLE(Class, Base)                                        \
public:                                                                                \
    Class() noexcept = default;                                                        \
    Class(const DOM_NullPtr*) noexcept {}                                              \
    Class& operator=(const DOM_NullPtr* null) noexcept                                 \
    {                                                                                  \
        DOM_Node::operator=(null);                                                     \
        return *this;                                                                  \
    }                                                                                  \
                                                                                       \
protected:                                                                             \
    Class(XERCES_CPP_NAMESPACE::DOMNode* node, xmlutil_detail::DocumentCount* share) noexcept \
        : Base(node, share)                                                            \
    {                                                                                  \
    }                                                                                  \
    friend struct xmlutil_detail::HandleAccess;                                        \
                                                                                       \
public:

class XMLUTIL_API DOM_CharacterData : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_CharacterData, DOM_Node)
    DOMString getData() const;
    void setData(const DOMString& data);
    unsigned int getLength() const;
};

class XMLUTIL_API DOM_Text : public DOM_CharacterData {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Text, DOM_CharacterData)
};

class XMLUTIL_API DOM_Comment : public DOM_CharacterData {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Comment, DOM_CharacterData)
};

class XMLUTIL_API DOM_CDATASection : public DOM_Text {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_CDATASection, DOM_Text)
};

class XMLUTIL_API DOM_ProcessingInstruction : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_ProcessingInstruction, DOM_Node)
    DOMString getTarget() const;
    DOMString getData() const;
};

class XMLUTIL_API DOM_EntityReference : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_EntityReference, DOM_Node)
};

class XMLUTIL_API DOM_DocumentType : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_DocumentType, DOM_Node)
    DOMString getName() const;
};

class XMLUTIL_API DOM_Attr : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Attr, DOM_Node)
    DOMString getName() const;
    DOMString getValue() const;
    void setValue(const DOMString& value);
};

class XMLUTIL_API DOM_Element : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Element, DOM_Node)
    DOMString getTagName() const;
    // The attribute's value; empty when there is no such attribute.
    DOMString getAttribute(const DOMString& name) const;
    void setAttribute(const DOMString& name, const DOMString& value);
    // Removing an attribute that is not there does nothing.
    void removeAttribute(const DOMString& name);
    DOM_Attr getAttributeNode(const DOMString& name) const;
    // Live list of the elements below this node named `name` (`*`: all), in
    // document order.
    DOM_NodeList getElementsByTagName(const DOMString& name) const;
};

class XMLUTIL_API DOM_Document : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Document, DOM_Node)
    DOM_Element getDocumentElement() const;
    DOM_DocumentType getDoctype() const;
    DOM_Element createElement(const DOMString& tagName);
    DOM_Text createTextNode(const DOMString& data);
    DOM_Comment createComment(const DOMString& data);
    DOM_CDATASection createCDATASection(const DOMString& data);
    DOM_ProcessingInstruction createProcessingInstruction(const DOMString& target, const DOMString& data);
    DOM_EntityReference createEntityReference(const DOMString& name);
    DOM_Attr createAttribute(const DOMString& name);
    // See DOM_Element::getElementsByTagName.
    DOM_NodeList getElementsByTagName(const DOMString& name) const;
};

#undef XMLUTIL_DOM_DERIVED_HANDLE

// Live list of nodes: the children of a node, or the elements of one name
// below it. Copies share the list. A default-made list is null and empty.
class XMLUTIL_API DOM_NodeList {
public:
    DOM_NodeList() noexcept : fImpl(nullptr) {}
    DOM_NodeList(const DOM_NodeList& other) noexcept;
    DOM_NodeList(DOM_NodeList&& other) noexcept : fImpl(other.fImpl) { other.fImpl = nullptr; }
    ~DOM_NodeList();
    DOM_NodeList& operator=(const DOM_NodeList& other) noexcept;
    DOM_NodeList& operator=(DOM_NodeList&& other) noexcept;
    DOM_NodeList& operator=(const DOM_NullPtr*) noexcept;

    bool operator==(const DOM_NodeList& other) const noexcept { return fImpl == other.fImpl; }
    bool operator!=(const DOM_NodeList& other) const noexcept { return fImpl != other.fImpl; }
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }
    bool isNull() const noexcept { return fImpl == nullptr; }

    unsigned int getLength() const;
    // The node at `index`, or the null node past the end.
    DOM_Node item(unsigned int index) const;

private:
    explicit DOM_NodeList(xmlutil_detail::NodeListImpl* impl) noexcept;
    xmlutil_detail::NodeListImpl* fImpl;
    friend struct xmlutil_detail::HandleAccess;
};

// Live attribute map of an element; null for nodes that are not elements.
class XMLUTIL_API DOM_NamedNodeMap {
public:
    DOM_NamedNodeMap() noexcept : fImpl(nullptr), fShare(nullptr) {}
    DOM_NamedNodeMap(const DOM_NamedNodeMap& other) noexcept;
    ~DOM_NamedNodeMap();
    DOM_NamedNodeMap& operator=(const DOM_NamedNodeMap& other) noexcept;
    DOM_NamedNodeMap& operator=(const DOM_NullPtr*) noexcept;

    bool operator==(const DOM_NamedNodeMap& other) const noexcept { return fImpl == other.fImpl; }
    bool operator!=(const DOM_NamedNodeMap& other) const noexcept { return fImpl != other.fImpl; }
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }
    bool isNull() const noexcept { return fImpl == nullptr; }

    unsigned int getLength() const;
    // The attribute at `index`, or the null node past the end.
    DOM_Node item(unsigned int index) const;
    // The attribute named `name`, or the null node.
    DOM_Node getNamedItem(const DOMString& name) const;

private:
    DOM_NamedNodeMap(XERCES_CPP_NAMESPACE::DOMNamedNodeMap* map, xmlutil_detail::DocumentCount* share) noexcept;
    XERCES_CPP_NAMESPACE::DOMNamedNodeMap* fImpl;
    xmlutil_detail::DocumentCount* fShare;
    friend struct xmlutil_detail::HandleAccess;
};

// Makes documents. A default-made handle works as well as getImplementation().
class XMLUTIL_API DOM_DOMImplementation {
public:
    DOM_DOMImplementation() noexcept = default;
    static DOM_DOMImplementation getImplementation();
    bool hasFeature(const DOMString& feature, const DOMString& version) const;
    // A new document whose document element is `qualifiedName` in the
    // namespace `namespaceURI` (none when empty). `doctype` may be null.
    DOM_Document createDocument(const DOMString& namespaceURI, const DOMString& qualifiedName,
                                const DOM_DocumentType& doctype);
};

// The classic DOM parser over XercesDOMParser: namespaces off, whitespace
// text kept, entity reference nodes created, comments and CDATA kept.
class XMLUTIL_API DOMParser {
public:
    enum ValSchemes { Val_Never, Val_Always, Val_Auto };

    explicit DOMParser(XERCES_CPP_NAMESPACE::XMLValidator* valToAdopt = nullptr);
    ~DOMParser();
    DOMParser(const DOMParser&) = delete;
    DOMParser& operator=(const DOMParser&) = delete;

    // true: validate every document; false: never validate.
    void setDoValidation(bool validate);
    bool getDoValidation() const;
    void setValidationScheme(ValSchemes scheme);
    ValSchemes getValidationScheme() const;
    void setDoNamespaces(bool doNamespaces);
    bool getDoNamespaces() const;
    void setErrorHandler(XERCES_CPP_NAMESPACE::ErrorHandler* handler);
    XERCES_CPP_NAMESPACE::ErrorHandler* getErrorHandler() const;

    // Exceptions thrown by the error handler pass through; a Xerces-C
    // DOMException arrives as DOM_DOMException.
    void parse(const char* systemId, bool reuseGrammar = false);
    void parse(const XERCES_CPP_NAMESPACE::InputSource& source, bool reuseGrammar = false);
    // The document of the last parse (possibly partial after a failure), or
    // the null document. It stays valid after the parser is gone.
    DOM_Document getDocument();

private:
    std::unique_ptr<XERCES_CPP_NAMESPACE::XercesDOMParser> fParser;
    DOM_Document fDocument;
    bool fAdopted;
};

#endif // XMLUTIL_DOM_H
