// SPDX-License-Identifier: Apache-2.0
/// \file
/// The classic reference-counted DOM (DOM_Node, DOM_Element, DOMString,
/// DOMParser ...) as value handles over the pointer DOM of Xerces-C 3.2.
///
/// A handle is a node pointer plus a share of its document. The document is
/// released when the last handle to it, to any of its nodes or to one of its
/// lists goes away, in any order. Handles of one document belong to one thread
/// at a time; handles of distinct documents may live in distinct threads.
///
/// Text crosses between 8-bit and 16-bit characters in ISO-8859-1: every byte
/// maps to U+0000..U+00FF and back; a character above U+00FF becomes '?'.
///
/// A literal 0 compares with handles and strings and resets them (`node == 0`,
/// `node = 0`) through `DOM_NullPtr*`, a type that is declared but never defined.
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
class MemoryManager;
class DOMNamedNodeMap;
class DOMImplementation;
class EntityResolver;
class ErrorHandler;
class Grammar;
class InputSource;
class PSVIHandler;
class XMLEntityResolver;
class XMLPScanToken;
class XMLScanner;
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
struct NodeIteratorImpl;
struct TreeWalkerImpl;
struct RangeImpl;
struct HandleAccess;
struct StringHandle;
struct StringAccess;
class ParseGuard;
} // namespace xmlutil_detail

/// Never defined: a literal 0 converts to a pointer to it, which is how classic
/// code compares a handle with null (`node == 0`) and resets it (`node = 0`).
class DOM_NullPtr;

class DOM_Attr;
class DOM_Document;
class DOM_DocumentFragment;
class DOM_DocumentType;
class DOM_DOMImplementation;
class DOM_Element;
class DOM_Entity;
class DOM_NamedNodeMap;
class DOM_NodeFilter;
class DOM_NodeIterator;
class DOM_NodeList;
class DOM_Range;
class DOM_TreeWalker;
class DOM_Notation;
class DOM_XMLDecl;

/// 16-bit string of the classic DOM, shared by reference: a DOMString is
/// one pointer to a counted handle {length, counted character buffer}, and
/// the null string has no handle at all.
///
/// Copies and assignments share the handle, so an edit in place through one
/// variable (appendData, +=, insertData, deleteData) shows through every
/// copy, and == compares handles, not characters: compare text with equals.
/// clone() makes an independent string. Text that is empty when it is made
/// (`DOMString("")`, `DOMString(p, 0)`) is the null string; an empty string
/// that is not null exists only after reserve or a deleteData of everything.
/// Counts are atomic, so copies and clones may live in distinct threads; a
/// handle must not be edited while another thread uses it.
class XMLUTIL_API DOMString {
public:
    /// The null string: `== 0`, length 0.
    DOMString() noexcept : fHandle(nullptr) {}
    /// Only the value 0 is meaningful: it makes the null string, so that 0
    /// can be passed and returned where a DOMString is expected.
    DOMString(int nullPointerValue) noexcept;
    /// A copy of zero-terminated 16-bit text; a null pointer or empty text
    /// makes the null string.
    DOMString(const XMLCh* text);
    /// A copy of `length` units at `text`, zeros included; a null pointer or
    /// a length of 0 makes the null string.
    DOMString(const XMLCh* text, unsigned int length);
    /// Bytes in the local code page (ISO-8859-1), up to the first zero byte;
    /// a null pointer or "" makes the null string.
    DOMString(const char* text);
    /// Shares `other`'s handle: the two are aliases.
    DOMString(const DOMString& other) noexcept;
    /// Takes over `other`'s handle; `other` becomes the null string.
    DOMString(DOMString&& other) noexcept : fHandle(other.fHandle) { other.fHandle = nullptr; }
    /// Lets go of the handle; the last user of a buffer frees it.
    ~DOMString();

    /// Shares `other`'s handle from now on (an alias, not a copy).
    DOMString& operator=(const DOMString& other) noexcept;
    /// Takes over `other`'s handle; `other` becomes the null string.
    DOMString& operator=(DOMString&& other) noexcept;
    /// `s = 0` makes `s` null; other variables keep the old handle.
    DOMString& operator=(DOM_NullPtr* null) noexcept;
    /// The same for a pointer to const; a template, so that `s = 0` picks
    /// the overload above without ambiguity.
    template <class = void>
    DOMString& operator=(const DOM_NullPtr*) noexcept
    {
        return *this = static_cast<DOM_NullPtr*>(nullptr);
    }

    /// Number of 16-bit units; 0 for the null string.
    unsigned int length() const noexcept;
    /// The characters, followed by a zero; a null pointer for the null string.
    const XMLCh* rawBuffer() const noexcept;
    /// The unit at `index`, or 0 when `index` is out of range.
    XMLCh charAt(unsigned int index) const noexcept;

    /// Same handle, or both null. Does not look at the characters.
    bool operator==(const DOMString& other) const noexcept { return fHandle == other.fHandle; }
    /// Not the same handle.
    bool operator!=(const DOMString& other) const noexcept { return fHandle != other.fHandle; }
    /// `s == 0` tests for the null string (an empty string is not null).
    bool operator==(const DOM_NullPtr*) const noexcept { return fHandle == nullptr; }
    /// `s != 0` tests for a string that is not null.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fHandle != nullptr; }
    /// Same characters; null and empty strings are equal.
    bool equals(const DOMString& other) const noexcept;
    /// Same characters as the zero-terminated `other` (a null pointer is "").
    bool equals(const XMLCh* other) const noexcept;
    /// Same characters as the local code page bytes `other` (an extension);
    /// a template, so that `s.equals(0)` picks the XMLCh overload.
    template <class = void>
    bool equals(const char* other) const
    {
        return equals(DOMString(other));
    }
    /// -1, 0 or 1: the shorter string first, strings of the same length by
    /// their units. Null and empty are equal. Not the order of strcmp.
    int compareString(const DOMString& other) const noexcept;
    /// compareString(other) < 0.
    bool operator<(const DOMString& other) const noexcept { return compareString(other) < 0; }

    /// Gives a null string an empty handle with room for `size` units (not
    /// when `size` is 0); does nothing to a string that is not null.
    void reserve(unsigned int size);
    /// Appends `other` in place, seen through every alias; a null or empty
    /// `other` changes nothing. A null string, or an empty one whose buffer
    /// is too small, is rebound to a clone of `other` instead.
    void appendData(const DOMString& other);
    /// Appends one unit; a null string gets a new handle.
    void appendData(XMLCh ch);
    /// appendData(DOMString(other)).
    void appendData(const XMLCh* other);
    /// appendData(other).
    DOMString& operator+=(const DOMString& other);
    /// appendData(other).
    DOMString& operator+=(const XMLCh* other);
    /// appendData(ch).
    DOMString& operator+=(XMLCh ch);
    /// Removes `count` units from `offset`, fewer at the end.
    /// DOM_DOMException INDEX_SIZE_ERR (null message) if `offset` > length().
    void deleteData(unsigned int offset, unsigned int count);
    /// Inserts `data` at `offset`; a null string is rebound to a clone of
    /// `data`. DOM_DOMException INDEX_SIZE_ERR if `offset` > length().
    void insertData(unsigned int offset, const DOMString& data);

    /// New[]-allocated copy in the local code page, ending at the first zero
    /// character; the caller releases it with delete[]. Never null.
    char* transcode() const;
    /// The same, allocated from `manager`: release it with
    /// manager->deallocate.
    char* transcode(XERCES_CPP_NAMESPACE::MemoryManager* const manager) const;
    /// A DOMString from local code page bytes; the same as DOMString(text).
    static DOMString transcode(const char* text);
    /// A new string of `count` units from `offset`, fewer at the end; the
    /// null string when none are taken. INDEX_SIZE_ERR if `offset` > length().
    DOMString substringData(unsigned int offset, unsigned int count) const;
    /// An independent handle that shares the characters until either side
    /// changes; the null string for the null string.
    DOMString clone() const;
    /// Writes the text in the local code page to stdout; nothing when empty.
    void print() const;
    /// print() and a newline.
    void println() const;

private:
    xmlutil_detail::StringHandle* fHandle;
    friend struct xmlutil_detail::StringAccess;
};

/// A new string: a clone of `lhs` with `rhs` appended. Neither changes.
XMLUTIL_API DOMString operator+(const DOMString& lhs, const DOMString& rhs);
/// See above.
XMLUTIL_API DOMString operator+(const DOMString& lhs, const XMLCh* rhs);
/// See above.
XMLUTIL_API DOMString operator+(const XMLCh* lhs, const DOMString& rhs);
/// See above.
XMLUTIL_API DOMString operator+(const DOMString& lhs, XMLCh rhs);
/// See above.
XMLUTIL_API DOMString operator+(XMLCh lhs, const DOMString& rhs);

/// A snapshot of the library's allocation counters, for finding leaks:
/// take one before a block and one after it; if they are !=, something the
/// block made is still alive (`after.printDifference(before)` says what).
///
/// String handles and buffers are counted as they are made and freed. Node
/// objects and named node maps live inside Xerces-C's documents, so they are
/// counted by document: when a document is built, parsed or copied after the
/// first snapshot of the process, its nodes (the document, its tree, the
/// attributes of each element, the entities and notations of its document
/// type) and its maps (one attribute map per element, two per document type)
/// are added, and the same numbers are taken away when the document is
/// released. Nodes a program creates in a document later are not counted.
class XMLUTIL_API DomMemDebug {
public:
    int liveStringHandles;  ///< DOMString handles that exist now
    int totalStringHandles; ///< Handles ever made for new text (not clones)
    int liveStringBuffers;  ///< Character buffers that exist now
    int totalStringBuffers; ///< Character buffers ever made
    int liveNodeImpls;      ///< Node objects of documents that exist now
    int totalNodeImpls;     ///< Node objects ever counted
    int liveNamedNodeMaps;  ///< Named node maps of documents that exist now
    int totalNamedNodeMaps; ///< Named node maps ever counted

    /// The eight counters as they are now.
    DomMemDebug();
    /// The same eight numbers.
    DomMemDebug(const DomMemDebug& other) = default;
    /// Nothing to release.
    ~DomMemDebug();

    /// Writes the eight counters to stdout, one labelled line each.
    void print();
    /// Writes, for each live counter that differs, `this` minus `other`:
    /// " <d> StringHandles.", " <d> StringBuffers.", " <d> NodeImpls.",
    /// " <d> NamedNodeMaps.", then a newline.
    void printDifference(const DomMemDebug& other);
    /// The four live counters are equal.
    bool operator==(const DomMemDebug& other);
    /// A live counter differs.
    bool operator!=(const DomMemDebug& other);
    /// Copies the eight counters.
    void operator=(const DomMemDebug& other);
};

/// Exception of the DOM: every Xerces-C DOMException raised in a handle
/// operation arrives as this type, with the same code and message.
class XMLUTIL_API DOM_DOMException {
public:
    /// What went wrong: the exception codes of the W3C DOM.
    enum ExceptionCode {
        INDEX_SIZE_ERR = 1,               ///< An index or count out of range
        DOMSTRING_SIZE_ERR = 2,           ///< Text too long for a DOMString
        HIERARCHY_REQUEST_ERR = 3,        ///< A node inserted where it may not go
        WRONG_DOCUMENT_ERR = 4,           ///< A node used in a document that did not make it
        INVALID_CHARACTER_ERR = 5,        ///< A name that is not an XML name
        NO_DATA_ALLOWED_ERR = 6,          ///< Data for a node that takes none
        NO_MODIFICATION_ALLOWED_ERR = 7,  ///< A change to a read-only node
        NOT_FOUND_ERR = 8,                ///< A node that is not where it was looked for
        NOT_SUPPORTED_ERR = 9,            ///< An operation this node or implementation does not offer
        INUSE_ATTRIBUTE_ERR = 10,         ///< An attribute that already belongs to another element
        INVALID_STATE_ERR = 11,           ///< An operation on an object that cannot take it (the null node)
        SYNTAX_ERR = 12,                  ///< An invalid string
        INVALID_MODIFICATION_ERR = 13,    ///< A change of an object's type
        NAMESPACE_ERR = 14,               ///< A name that breaks the namespace rules
        INVALID_ACCESS_ERR = 15,          ///< An operation the object does not support
        VALIDATION_ERR = 16,              ///< A change that would make the node invalid
        TYPE_MISMATCH_ERR = 17            ///< A value of the wrong type
    };

    /// Code 0 and the null message.
    DOM_DOMException();
    /// The given code and message.
    DOM_DOMException(short code, const DOMString& message);
    /// Same code and message.
    DOM_DOMException(const DOM_DOMException& other);
    /// Takes over `other`'s code and message.
    DOM_DOMException& operator=(const DOM_DOMException& other);
    /// Releases the message.
    virtual ~DOM_DOMException();

    /// What went wrong.
    ExceptionCode code;
    /// The message: Xerces-C's text for the code, when the DOM raised it.
    DOMString msg;
};

/// Exception of ranges: a boundary point a range cannot take. Its own code
/// hides the inherited one; both hold the same number, so a handler that
/// catches DOM_DOMException sees 1 or 2 there.
class XMLUTIL_API DOM_RangeException : public DOM_DOMException {
public:
    /// What went wrong.
    enum RangeExceptionCode {
        BAD_BOUNDARYPOINTS_ERR = 1, ///< The range partially selects a node other than text
        INVALID_NODE_TYPE_ERR = 2   ///< A boundary in or around a node that cannot hold one
    };

    /// Both codes 0 and the null message.
    DOM_RangeException();
    /// Both codes set to `rangeCode`, and the message.
    DOM_RangeException(RangeExceptionCode rangeCode, const DOMString& message);
    /// Same codes and message.
    DOM_RangeException(const DOM_RangeException& other);
    /// Takes over `other`'s codes and message.
    DOM_RangeException& operator=(const DOM_RangeException& other);
    /// Releases the message.
    virtual ~DOM_RangeException();

    /// What went wrong.
    RangeExceptionCode code;
};

/// Handle to any node. A default-made handle is the null node. Copies refer
/// to the same node; == compares node identity.
///
/// On the null node every query answers a null handle, an empty string or 0,
/// and every operation that would change a tree throws DOM_DOMException
/// INVALID_STATE_ERR. The same holds for an operation of a derived handle on a
/// node of another type, except that a change throws NOT_SUPPORTED_ERR.
class XMLUTIL_API DOM_Node {
public:
    /// The node types of the DOM, as getNodeType answers them.
    enum NodeType {
        ELEMENT_NODE = 1,                 ///< An element
        ATTRIBUTE_NODE = 2,               ///< An attribute
        TEXT_NODE = 3,                    ///< Character data
        CDATA_SECTION_NODE = 4,           ///< A CDATA section
        ENTITY_REFERENCE_NODE = 5,        ///< A reference to an entity, with its expansion as children
        ENTITY_NODE = 6,                  ///< An entity declared in a document type
        PROCESSING_INSTRUCTION_NODE = 7,  ///< A processing instruction
        COMMENT_NODE = 8,                 ///< A comment
        DOCUMENT_NODE = 9,                ///< The document itself
        DOCUMENT_TYPE_NODE = 10,          ///< The document type declaration
        DOCUMENT_FRAGMENT_NODE = 11,      ///< A document fragment
        NOTATION_NODE = 12,               ///< A notation declared in a document type
        XML_DECL_NODE = 13                ///< The XML declaration of a document (DOM_XMLDecl)
    };

    /// The null node.
    DOM_Node() noexcept : fImpl(nullptr), fShare(nullptr) {}
    /// The null node, from a literal 0.
    DOM_Node(const DOM_NullPtr*) noexcept : fImpl(nullptr), fShare(nullptr) {}
    /// Another handle on the same node, sharing its document.
    DOM_Node(const DOM_Node& other) noexcept : fImpl(other.fImpl), fShare(other.fShare) { retainShare(fShare); }
    /// Takes over `other`'s node; `other` becomes the null node.
    DOM_Node(DOM_Node&& other) noexcept : fImpl(other.fImpl), fShare(other.fShare)
    {
        other.fImpl = nullptr;
        other.fShare = nullptr;
    }
    /// Lets go of the document; the last handle on it releases it.
    ~DOM_Node() { releaseShare(fShare); }

    /// Refers to `other`'s node from now on.
    DOM_Node& operator=(const DOM_Node& other) noexcept
    {
        retainShare(other.fShare); // first, so that self-assignment is safe
        releaseShare(fShare);
        fImpl = other.fImpl;
        fShare = other.fShare;
        return *this;
    }
    /// Takes over `other`'s node; `other` becomes the null node.
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
    /// `node = 0` makes the null node.
    DOM_Node& operator=(const DOM_NullPtr*) noexcept
    {
        releaseShare(fShare);
        fImpl = nullptr;
        fShare = nullptr;
        return *this;
    }

    /// Same node (two null nodes are equal).
    bool operator==(const DOM_Node& other) const noexcept { return fImpl == other.fImpl; }
    /// Not the same node.
    bool operator!=(const DOM_Node& other) const noexcept { return fImpl != other.fImpl; }
    /// `node == 0` tests for the null node.
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    /// `node != 0` tests for a node.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }
    /// True for the null node.
    bool isNull() const noexcept { return fImpl == nullptr; }

    /// The node's name: the tag name of an element, `#text` for text and so on.
    DOMString getNodeName() const;
    /// Null for node types without a value (elements, documents ...).
    DOMString getNodeValue() const;
    /// Sets the value of a node that has one; does nothing for the others.
    void setNodeValue(const DOMString& value);
    /// One of NodeType, or 0 for the null node.
    short getNodeType() const
    {
        if (!fImpl)
            return 0;
        const short type = static_cast<short>(fImpl->getNodeType());
        // An XML declaration is kept as a processing instruction whose
        // target, `#xmldecl`, no parse and no other call can make.
        if (type == PROCESSING_INSTRUCTION_NODE && fImpl->getNodeName()[0] == u'#')
            return XML_DECL_NODE;
        return type;
    }
    /// The namespace URI; null unless the node was made with namespaces (a
    /// document's root from createDocument, or a parse with namespaces on).
    DOMString getNamespaceURI() const;
    /// The namespace prefix; null unless the node was made with namespaces.
    DOMString getPrefix() const;
    /// The local name; null unless the node was made with namespaces.
    DOMString getLocalName() const;

    /// The parent, or the null node.
    DOM_Node getParentNode() const { return related(fImpl ? fImpl->getParentNode() : nullptr); }
    /// Live list of the children: it follows later changes.
    DOM_NodeList getChildNodes() const;
    /// The first child, or the null node.
    DOM_Node getFirstChild() const { return related(fImpl ? fImpl->getFirstChild() : nullptr); }
    /// The last child, or the null node.
    DOM_Node getLastChild() const { return related(fImpl ? fImpl->getLastChild() : nullptr); }
    /// The sibling before this node, or the null node.
    DOM_Node getPreviousSibling() const { return related(fImpl ? fImpl->getPreviousSibling() : nullptr); }
    /// The sibling after this node, or the null node.
    DOM_Node getNextSibling() const { return related(fImpl ? fImpl->getNextSibling() : nullptr); }
    /// Live attribute map of an element; a null map for any other node.
    DOM_NamedNodeMap getAttributes() const;
    /// Null for a document node and for the null node.
    DOM_Document getOwnerDocument() const;

    /// Inserts `newChild` before `refChild` (at the end for the null node);
    /// returns `newChild`.
    DOM_Node insertBefore(const DOM_Node& newChild, const DOM_Node& refChild);
    /// Puts `newChild` in the place of `oldChild`; returns `oldChild`.
    DOM_Node replaceChild(const DOM_Node& newChild, const DOM_Node& oldChild);
    /// Takes `oldChild` out of the tree; returns it, still usable.
    DOM_Node removeChild(const DOM_Node& oldChild);
    /// Appends `newChild` as the last child; returns it.
    DOM_Node appendChild(const DOM_Node& newChild);
    /// True when the node has at least one child.
    bool hasChildNodes() const { return fImpl && fImpl->hasChildNodes(); }
    /// A copy in the same document (a document copies into a new document).
    DOM_Node cloneNode(bool deep) const;
    /// Merges adjacent text nodes (not CDATA sections) throughout the subtree,
    /// descending into elements. Empty text nodes stay; attribute values are
    /// left alone. Any depth: it does not recurse.
    void normalize();
    /// Same as DOM_DOMImplementation::hasFeature.
    bool isSupported(const DOMString& feature, const DOMString& version) const;
    /// Sets the namespace prefix of an element or attribute made with
    /// namespaces; a null or empty prefix removes it. Every other node, and
    /// elements and attributes made without namespaces, throw NAMESPACE_ERR.
    void setPrefix(const DOMString& prefix);
    /// True only for an element with at least one attribute.
    bool hasAttributes() const;
    /// The pointer setUserData stored for this node, or 0.
    void* getUserData() const;
    /// Stores one pointer for this node, in a table of its document (0
    /// removes it). The library never deletes it; copies and imports of the
    /// node do not have it.
    void setUserData(void* data);

protected:
    /// A handle on `node`, one more user of the document counted by `share`.
    DOM_Node(XERCES_CPP_NAMESPACE::DOMNode* node, xmlutil_detail::DocumentCount* share) noexcept
        : fImpl(node), fShare(node ? share : nullptr)
    {
        retainShare(fShare);
    }

    // Handles are copied on every step through a tree, so counting stays
    // inline; only the release of a document leaves it.
    /// Counts one more user of the document (none for null).
    static void retainShare(xmlutil_detail::DocumentCount* share) noexcept
    {
        if (share)
            ++share->refs;
    }
    /// Counts one user less; the last one releases the document.
    static void releaseShare(xmlutil_detail::DocumentCount* share) noexcept
    {
        if (share && --share->refs == 0)
            destroyShare(share);
    }
    /// Releases the document and its share.
    static void destroyShare(xmlutil_detail::DocumentCount* share) noexcept;

    /// A node of the same document as this one.
    DOM_Node related(XERCES_CPP_NAMESPACE::DOMNode* node) const noexcept { return DOM_Node(node, fShare); }

    /// The Xerces-C node, or null.
    XERCES_CPP_NAMESPACE::DOMNode* fImpl;
    xmlutil_detail::DocumentCount* fShare; ///< The document's share; null exactly when fImpl is null

    friend class DOM_NamedNodeMap;
    friend struct xmlutil_detail::HandleAccess;
};

/// The constructors and null assignment of a derived handle. Derived handles
/// add no data members, so the classic downcast `(DOM_Element&)node` works on
/// a handle that refers to an element.
#define XMLUTIL_DOM_DERIVED_HANDLE(Class, Base)                                        \
public:                                                                                \
    /** The null node. */                                                              \
    Class() noexcept = default;                                                        \
    /** The null node, from a literal 0. */                                            \
    Class(const DOM_NullPtr*) noexcept {}                                              \
    /** `handle = 0` makes the null node. */                                           \
    Class& operator=(const DOM_NullPtr* null) noexcept                                 \
    {                                                                                  \
        DOM_Node::operator=(null);                                                     \
        return *this;                                                                  \
    }                                                                                  \
                                                                                       \
protected:                                                                             \
    /** A handle on `node`, sharing the document counted by `share`. */                \
    Class(XERCES_CPP_NAMESPACE::DOMNode* node, xmlutil_detail::DocumentCount* share) noexcept \
        : Base(node, share)                                                            \
    {                                                                                  \
    }                                                                                  \
    friend struct xmlutil_detail::HandleAccess;                                        \
                                                                                       \
public:

/// Handle to text, a comment or a CDATA section: a node with character data.
class XMLUTIL_API DOM_CharacterData : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_CharacterData, DOM_Node)
    /// The characters.
    DOMString getData() const;
    /// Replaces the characters.
    void setData(const DOMString& data);
    /// Number of 16-bit characters.
    unsigned int getLength() const;
    /// `count` characters from `offset`, fewer at the end of the data; the
    /// null string when none are left. INDEX_SIZE_ERR if `offset` is past the end.
    DOMString substringData(unsigned int offset, unsigned int count) const;
    /// Appends `arg` to the data.
    void appendData(const DOMString& arg);
    /// Inserts `arg` at `offset`; INDEX_SIZE_ERR if `offset` is past the end.
    void insertData(unsigned int offset, const DOMString& arg);
    /// Removes `count` characters from `offset`, fewer at the end of the
    /// data; INDEX_SIZE_ERR if `offset` is past the end.
    void deleteData(unsigned int offset, unsigned int count);
    /// deleteData(offset, count), then insertData(offset, arg).
    void replaceData(unsigned int offset, unsigned int count, const DOMString& arg);
};

/// Handle to a text node.
class XMLUTIL_API DOM_Text : public DOM_CharacterData {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Text, DOM_CharacterData)
    /// Keeps `[0, offset)` here and moves the rest into a new text node (a
    /// text node for a CDATA section too), the next sibling when there is a
    /// parent; returns it. INDEX_SIZE_ERR if `offset` is past the end.
    DOM_Text splitText(unsigned int offset);
    /// True for text the parser made from white space that the DTD's
    /// element content declares ignorable.
    bool isIgnorableWhitespace();
};

/// Handle to a comment.
class XMLUTIL_API DOM_Comment : public DOM_CharacterData {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Comment, DOM_CharacterData)
};

/// Handle to a CDATA section.
class XMLUTIL_API DOM_CDATASection : public DOM_Text {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_CDATASection, DOM_Text)
};

/// Handle to a processing instruction.
class XMLUTIL_API DOM_ProcessingInstruction : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_ProcessingInstruction, DOM_Node)
    /// The target: the name after `<?`.
    DOMString getTarget() const;
    /// Everything after the target.
    DOMString getData() const;
};

/// Handle to an entity reference; its children are the entity's expansion.
class XMLUTIL_API DOM_EntityReference : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_EntityReference, DOM_Node)
};

/// Handle to a document type declaration.
class XMLUTIL_API DOM_DocumentType : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_DocumentType, DOM_Node)
    /// The null node, from the value 0, so that 0 can stand for "no
    /// document type" where a `const DOM_DocumentType&` is expected.
    DOM_DocumentType(int nullPointer) noexcept;
    /// The name of the root element that the declaration names.
    DOMString getName() const;
    /// The general entities the declaration declares (DOM_Entity nodes):
    /// a read-only map; the null map for the null node.
    DOM_NamedNodeMap getEntities() const;
    /// The notations the declaration declares (DOM_Notation nodes): a
    /// read-only map; the null map for the null node.
    DOM_NamedNodeMap getNotations() const;
    /// The public identifier, or null.
    DOMString getPublicId() const;
    /// The system identifier, or null.
    DOMString getSystemId() const;
    /// The internal subset as text (after a parse, put together from the
    /// declarations read), or null when there is none.
    DOMString getInternalSubset() const;
};

/// Handle to a document fragment: a parent for nodes that are not in a
/// tree; inserting it inserts its children.
class XMLUTIL_API DOM_DocumentFragment : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_DocumentFragment, DOM_Node)
};

/// Handle to an entity declared in a document type; read-only. Its
/// children are the expansion of its first reference in a document parsed
/// with entity reference nodes, else there are none.
class XMLUTIL_API DOM_Entity : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Entity, DOM_Node)
    /// The public identifier, or null.
    DOMString getPublicId() const;
    /// The system identifier, or null (an internal entity has none).
    DOMString getSystemId() const;
    /// The notation of an unparsed entity, or null for a parsed one.
    DOMString getNotationName() const;
};

/// Handle to a notation declared in a document type.
class XMLUTIL_API DOM_Notation : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Notation, DOM_Node)
    /// The public identifier, or null.
    DOMString getPublicId() const;
    /// The system identifier, or null.
    DOMString getSystemId() const;
};

/// Handle to an XML declaration (node type XML_DECL_NODE, name `#xmldecl`),
/// which has no value and no children. A DOMParser makes one, as the first
/// child of the document, with setToCreateXMLDeclTypeNode(true).
class XMLUTIL_API DOM_XMLDecl : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_XMLDecl, DOM_Node)
    /// The version text, such as "1.0".
    DOMString getVersion() const;
    /// The encoding the declaration names (not the one detected), or null
    /// when it names none.
    DOMString getEncoding() const;
    /// The standalone text ("yes" or "no"), or null when there is none.
    DOMString getStandalone() const;
    /// Replaces the version text.
    void setVersion(const DOMString& version);
    /// Replaces the encoding text; null removes it.
    void setEncoding(const DOMString& encoding);
    /// Replaces the standalone text; null removes it.
    void setStandalone(const DOMString& standalone);
};

/// Handle to an attribute.
class XMLUTIL_API DOM_Attr : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Attr, DOM_Node)
    /// The attribute's name.
    DOMString getName() const;
    /// The attribute's value.
    DOMString getValue() const;
    /// Replaces the attribute's value.
    void setValue(const DOMString& value);
    /// False for a value that the DTD supplied, true otherwise.
    bool getSpecified() const;
    /// The element that has the attribute, or the null node.
    DOM_Element getOwnerElement() const;
};

/// Handle to an element.
class XMLUTIL_API DOM_Element : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Element, DOM_Node)
    /// The element's name, as written (prefix included).
    DOMString getTagName() const;
    /// The attribute's value; the null string (`== 0`) when there is no such
    /// attribute or its value is empty, as in the classic DOM.
    DOMString getAttribute(const DOMString& name) const;
    /// Sets attribute `name` to `value`, adding it if missing.
    void setAttribute(const DOMString& name, const DOMString& value);
    /// Removing an attribute that is not there does nothing.
    void removeAttribute(const DOMString& name);
    /// The attribute named `name`, or the null node.
    DOM_Attr getAttributeNode(const DOMString& name) const;
    /// Live list of the elements below this node named `name` (`*`: all), in
    /// document order.
    DOM_NodeList getElementsByTagName(const DOMString& name) const;
    /// True when the attribute is there, set or supplied by the DTD.
    bool hasAttribute(const DOMString& name) const;
    /// Adds `newAttr`, or puts it in the place of the attribute of the same
    /// name; returns the replaced attribute or the null node. INUSE_ATTRIBUTE_ERR
    /// if another element has it, WRONG_DOCUMENT_ERR if another document made it.
    DOM_Attr setAttributeNode(DOM_Attr newAttr);
    /// Takes `oldAttr` off the element and returns it; NOT_FOUND_ERR if it is
    /// not this element's. A default from the DTD takes its place.
    DOM_Attr removeAttributeNode(DOM_Attr oldAttr);
    /// The value of the attribute (`namespaceURI`, `localName`); the null
    /// string when there is no such attribute or its value is empty. A null
    /// and an empty URI are the same.
    DOMString getAttributeNS(const DOMString& namespaceURI, const DOMString& localName) const;
    /// Sets a new attribute made with namespaces; it replaces the attribute of
    /// the same qualified name. NAMESPACE_ERR or INVALID_CHARACTER_ERR for a bad name.
    void setAttributeNS(const DOMString& namespaceURI, const DOMString& qualifiedName, const DOMString& value);
    /// Removing an attribute that is not there does nothing.
    void removeAttributeNS(const DOMString& namespaceURI, const DOMString& localName);
    /// The attribute (`namespaceURI`, `localName`), or the null node.
    DOM_Attr getAttributeNodeNS(const DOMString& namespaceURI, const DOMString& localName) const;
    /// Adds `newAttr`, or puts it in the place of the attribute of the same
    /// namespace URI and local name; returns the replaced attribute or the
    /// null node. INUSE_ATTRIBUTE_ERR if any element has it, this one too.
    DOM_Attr setAttributeNodeNS(DOM_Attr newAttr);
    /// Live list of the elements below this node in the namespace
    /// `namespaceURI` with the local name `localName` (`*` matches any, for either).
    DOM_NodeList getElementsByTagNameNS(const DOMString& namespaceURI, const DOMString& localName) const;
    /// See hasAttribute.
    bool hasAttributeNS(const DOMString& namespaceURI, const DOMString& localName) const;
};

/// Handle to a document: the root of a tree, and the maker of its nodes.
class XMLUTIL_API DOM_Document : public DOM_Node {
    XMLUTIL_DOM_DERIVED_HANDLE(DOM_Document, DOM_Node)
    /// The root element, or the null node.
    DOM_Element getDocumentElement() const;
    /// The document type declaration, or the null node.
    DOM_DocumentType getDoctype() const;
    /// A new element of this document, not yet in the tree.
    DOM_Element createElement(const DOMString& tagName);
    /// A new text node of this document, not yet in the tree.
    DOM_Text createTextNode(const DOMString& data);
    /// A new comment of this document, not yet in the tree.
    DOM_Comment createComment(const DOMString& data);
    /// A new CDATA section of this document, not yet in the tree.
    DOM_CDATASection createCDATASection(const DOMString& data);
    /// A new processing instruction of this document, not yet in the tree.
    DOM_ProcessingInstruction createProcessingInstruction(const DOMString& target, const DOMString& data);
    /// A new entity reference of this document, not yet in the tree.
    DOM_EntityReference createEntityReference(const DOMString& name);
    /// A new attribute of this document, not yet on an element.
    DOM_Attr createAttribute(const DOMString& name);
    /// A new, empty document: no document element, no document type.
    static DOM_Document createDocument();
    /// A new element of this document, without checking that `tagName` is
    /// an XML name (the classic fast path); otherwise as createElement(DOMString).
    DOM_Element createElement(const XMLCh* tagName);
    /// A new, empty document fragment of this document.
    DOM_DocumentFragment createDocumentFragment();
    /// A new element in the namespace `namespaceURI` (none when null or
    /// empty), not yet in the tree. INVALID_CHARACTER_ERR or NAMESPACE_ERR
    /// for a bad qualified name.
    DOM_Element createElementNS(const DOMString& namespaceURI, const DOMString& qualifiedName);
    /// A new attribute in the namespace `namespaceURI`, not yet on an
    /// element. INVALID_CHARACTER_ERR or NAMESPACE_ERR for a bad name.
    DOM_Attr createAttributeNS(const DOMString& namespaceURI, const DOMString& qualifiedName);
    /// Live list of the elements of the document in the namespace
    /// `namespaceURI` with the local name `localName` (`*` matches any, for either).
    DOM_NodeList getElementsByTagNameNS(const DOMString& namespaceURI, const DOMString& localName) const;
    /// The element whose attribute of type ID (declared so in the DTD) has
    /// the value `elementId`, or the null node. Attributes made through
    /// the handles are never of type ID.
    DOM_Element getElementById(const DOMString& elementId);
    /// A copy of `importedNode` (of any document) owned by this one, not in
    /// the tree; with `deep`, its subtree too. Elements bring their
    /// specified attributes; an entity reference takes its expansion from
    /// this document's type; a document type can be imported. A document
    /// throws NOT_SUPPORTED_ERR.
    DOM_Node importNode(const DOM_Node& importedNode, bool deep);
    /// A new document type of this document, not yet in the tree, without
    /// identifiers or internal subset; insert it before the root element.
    DOM_DocumentType createDocumentType(const DOMString& name);
    /// A new read-only entity of this document, not in any map.
    DOM_Entity createEntity(const DOMString& name);
    /// A new notation of this document, not in any map.
    DOM_Notation createNotation(const DOMString& name);
    /// A new XML declaration of this document, not yet in the tree; null
    /// `encoding` or `standalone` leave them out.
    DOM_XMLDecl createXMLDecl(const DOMString& version, const DOMString& encoding, const DOMString& standalone);
    /// false: createElement no longer checks names. Every other check stays
    /// (Xerces-C 3.2 makes them regardless). On (true) by default.
    void setErrorChecking(bool check);
    /// Whether the document checks its changes (true by default).
    bool getErrorChecking();
    /// The implementation that makes documents.
    DOM_DOMImplementation& getImplementation() const;
    /// See DOM_Element::getElementsByTagName.
    DOM_NodeList getElementsByTagName(const DOMString& name) const;

    // ---- traversal and range ----
    /// An iterator over `root` and its descendants in document order, showing
    /// the node types whose bit (1 << (type - 1)) is set in `whatToShow`
    /// (DOM_NodeFilter::SHOW_ALL: every type) and accepted by `filter`, which
    /// may be null and stays the caller's; it must outlive the iterator.
    /// `entityReferenceExpansion` false keeps the iterator out of entity
    /// references. The iterator keeps root's document alive. A null `root`
    /// gives an iterator that finds nothing.
    DOM_NodeIterator createNodeIterator(DOM_Node root, unsigned long whatToShow, DOM_NodeFilter* filter,
                                        bool entityReferenceExpansion);
    /// A walker over `root`'s subtree, starting at `root`, with the same view
    /// as createNodeIterator gives.
    DOM_TreeWalker createTreeWalker(DOM_Node root, unsigned long whatToShow, DOM_NodeFilter* filter,
                                    bool entityReferenceExpansion);
    /// A new range collapsed at (this document, 0); it keeps the document alive.
    DOM_Range createRange();
};

#undef XMLUTIL_DOM_DERIVED_HANDLE

/// Live list of nodes: the children of a node, or the elements of one name
/// below it. Copies share the list. A default-made list is null and empty.
class XMLUTIL_API DOM_NodeList {
public:
    /// The null list.
    DOM_NodeList() noexcept : fImpl(nullptr) {}
    /// Another handle on the same list.
    DOM_NodeList(const DOM_NodeList& other) noexcept;
    /// Takes over `other`'s list; `other` becomes the null list.
    DOM_NodeList(DOM_NodeList&& other) noexcept : fImpl(other.fImpl) { other.fImpl = nullptr; }
    /// Lets go of the list and of its document.
    ~DOM_NodeList();
    /// Refers to `other`'s list from now on.
    DOM_NodeList& operator=(const DOM_NodeList& other) noexcept;
    /// Takes over `other`'s list; `other` becomes the null list.
    DOM_NodeList& operator=(DOM_NodeList&& other) noexcept;
    /// `list = 0` makes the null list.
    DOM_NodeList& operator=(const DOM_NullPtr*) noexcept;

    /// Same list.
    bool operator==(const DOM_NodeList& other) const noexcept { return fImpl == other.fImpl; }
    /// Not the same list.
    bool operator!=(const DOM_NodeList& other) const noexcept { return fImpl != other.fImpl; }
    /// `list == 0` tests for the null list.
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    /// `list != 0` tests for a list.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }
    /// True for the null list.
    bool isNull() const noexcept { return fImpl == nullptr; }

    /// Number of nodes in the list now; 0 for the null list.
    unsigned int getLength() const;
    /// The node at `index`, or the null node past the end.
    DOM_Node item(unsigned int index) const;

private:
    explicit DOM_NodeList(xmlutil_detail::NodeListImpl* impl) noexcept;
    xmlutil_detail::NodeListImpl* fImpl;
    friend struct xmlutil_detail::HandleAccess;
};

/// Live map of nodes by name: the attributes of an element, or the
/// entities or notations of a document type (read-only).
class XMLUTIL_API DOM_NamedNodeMap {
public:
    /// The null map.
    DOM_NamedNodeMap() noexcept : fImpl(nullptr), fShare(nullptr), fOwner(nullptr) {}
    /// Another handle on the same map.
    DOM_NamedNodeMap(const DOM_NamedNodeMap& other) noexcept;
    /// Lets go of the map and of its document.
    ~DOM_NamedNodeMap();
    /// Refers to `other`'s map from now on.
    DOM_NamedNodeMap& operator=(const DOM_NamedNodeMap& other) noexcept;
    /// `map = 0` makes the null map.
    DOM_NamedNodeMap& operator=(const DOM_NullPtr*) noexcept;

    /// Same map.
    bool operator==(const DOM_NamedNodeMap& other) const noexcept { return fImpl == other.fImpl; }
    /// Not the same map.
    bool operator!=(const DOM_NamedNodeMap& other) const noexcept { return fImpl != other.fImpl; }
    /// `map == 0` tests for the null map.
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    /// `map != 0` tests for a map.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }
    /// True for the null map.
    bool isNull() const noexcept { return fImpl == nullptr; }

    /// Number of nodes now; 0 for the null map.
    unsigned int getLength() const;
    /// The node at `index` in the classic order (by name length, then by
    /// name), or the null node past the end.
    DOM_Node item(unsigned int index) const;
    /// The node named `name`, or the null node.
    DOM_Node getNamedItem(const DOMString& name) const;
    /// Adds `arg`, or puts it in the place of the node of the same name;
    /// returns the replaced node, or the null node. An attribute already in
    /// this map stays and gives the null node. NO_MODIFICATION_ALLOWED_ERR
    /// for a document type's map, WRONG_DOCUMENT_ERR for a node of another
    /// document, INUSE_ATTRIBUTE_ERR for an attribute of another element,
    /// HIERARCHY_REQUEST_ERR for a node that is not an attribute.
    DOM_Node setNamedItem(DOM_Node arg);
    /// Takes the node named `name` out of the map and returns it; a default
    /// from the DTD takes an attribute's place. NOT_FOUND_ERR when there is
    /// no such node, NO_MODIFICATION_ALLOWED_ERR for a read-only map.
    DOM_Node removeNamedItem(const DOMString& name);
    /// The node (`namespaceURI`, `localName`), or the null node. A null URI
    /// also finds nodes made without namespaces, by their name.
    DOM_Node getNamedItemNS(const DOMString& namespaceURI, const DOMString& localName);
    /// Adds `arg`, or puts it in the place of the node of the same namespace
    /// URI and local name; returns the replaced node or the null node.
    /// As setNamedItem, but INUSE_ATTRIBUTE_ERR for an attribute of any
    /// element, this map's too.
    DOM_Node setNamedItemNS(DOM_Node arg);
    /// As removeNamedItem, by namespace URI and local name.
    DOM_Node removeNamedItemNS(const DOMString& namespaceURI, const DOMString& localName);

private:
    DOM_NamedNodeMap(XERCES_CPP_NAMESPACE::DOMNamedNodeMap* map, xmlutil_detail::DocumentCount* share,
                     XERCES_CPP_NAMESPACE::DOMNode* owner) noexcept;
    XERCES_CPP_NAMESPACE::DOMNamedNodeMap* fImpl;
    xmlutil_detail::DocumentCount* fShare;
    XERCES_CPP_NAMESPACE::DOMNode* fOwner; ///< The element or document type whose map it is
    friend struct xmlutil_detail::HandleAccess;
};

// ---- traversal and range ----

/// Decides which nodes an iterator or a walker shows. Derive from it and
/// override acceptNode; the filter stays yours and must outlive the iterators
/// and walkers made with it. Filters cannot be copied or compared.
class XMLUTIL_API DOM_NodeFilter {
public:
    /// What acceptNode answers.
    enum FilterAction {
        FILTER_ACCEPT = 1, ///< Show the node
        FILTER_REJECT = 2, ///< Hide the node; a walker hides its subtree too, an iterator only the node
        FILTER_SKIP = 3    ///< Hide the node but not its children
    };
    /// Bits of the node types to show: a node of type t is shown when bit
    /// (t - 1) is set.
    enum ShowType {
        SHOW_ALL = 0x0000FFFF, ///< Every node type (the classic value, not 0xFFFFFFFF)
        SHOW_ELEMENT = 0x00000001,
        SHOW_ATTRIBUTE = 0x00000002,
        SHOW_TEXT = 0x00000004,
        SHOW_CDATA_SECTION = 0x00000008,
        SHOW_ENTITY_REFERENCE = 0x00000010,
        SHOW_ENTITY = 0x00000020,
        SHOW_PROCESSING_INSTRUCTION = 0x00000040,
        SHOW_COMMENT = 0x00000080,
        SHOW_DOCUMENT = 0x00000100,
        SHOW_DOCUMENT_TYPE = 0x00000200,
        SHOW_DOCUMENT_FRAGMENT = 0x00000400,
        SHOW_NOTATION = 0x00000800
    };

    /// A filter.
    DOM_NodeFilter();
    /// Ends the filter.
    virtual ~DOM_NodeFilter();
    /// FILTER_ACCEPT, FILTER_REJECT or FILTER_SKIP for `node`, which the
    /// view's node types already let through; any other answer counts as
    /// FILTER_SKIP. Exceptions pass through to the navigation call.
    virtual short acceptNode(const DOM_Node& node) const = 0;

private:
    DOM_NodeFilter(const DOM_NodeFilter&) = delete;
    DOM_NodeFilter& operator=(const DOM_NodeFilter&) = delete;
    bool operator==(const DOM_NodeFilter&) const = delete;
    bool operator!=(const DOM_NodeFilter&) const = delete;
};

/// Handle to an iterator made by DOM_Document::createNodeIterator: a position
/// in the document-order list of the nodes it shows. Copies share the
/// iterator; a default-made one is null. The iterator follows nodes removed
/// from the tree, and keeps its root's document alive until the last handle
/// goes.
class XMLUTIL_API DOM_NodeIterator {
public:
    /// The null iterator.
    DOM_NodeIterator() noexcept : fImpl(nullptr) {}
    /// Another handle on the same iterator.
    DOM_NodeIterator(const DOM_NodeIterator& other) noexcept;
    /// Lets go of the iterator; the last handle releases it.
    ~DOM_NodeIterator();
    /// Refers to `other`'s iterator from now on.
    DOM_NodeIterator& operator=(const DOM_NodeIterator& other) noexcept;
    /// `it = 0` makes the null iterator.
    DOM_NodeIterator& operator=(const DOM_NullPtr*) noexcept;

    /// Same iterator (two null iterators are equal).
    bool operator==(const DOM_NodeIterator& other) const noexcept { return fImpl == other.fImpl; }
    /// Not the same iterator.
    bool operator!=(const DOM_NodeIterator& other) const noexcept { return fImpl != other.fImpl; }
    /// `it == 0` tests for the null iterator.
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    /// `it != 0` tests for an iterator.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }

    /// The root it was made with; the null node for the null iterator.
    DOM_Node getRoot();
    /// The whatToShow it was made with, as given; 0 for the null iterator.
    unsigned long getWhatToShow();
    /// The filter it was made with, or null.
    DOM_NodeFilter* getFilter();
    /// Whether it enters entity references; false for the null iterator.
    bool getExpandEntityReferences();
    /// The next node shown, or the null node past the end; the first call
    /// answers the first node, which may be the root. INVALID_STATE_ERR after
    /// detach() and on the null iterator.
    DOM_Node nextNode();
    /// The node before, or the null node before the start. See nextNode.
    DOM_Node previousNode();
    /// Ends the iterator's use: nextNode and previousNode throw from now on.
    /// Again: nothing. INVALID_STATE_ERR on the null iterator.
    void detach();

private:
    explicit DOM_NodeIterator(xmlutil_detail::NodeIteratorImpl* impl) noexcept;
    xmlutil_detail::NodeIteratorImpl* fImpl;
    friend class DOM_Document;
};

/// Handle to a walker made by DOM_Document::createTreeWalker: a current node
/// that moves through the nodes it shows. Copies share the walker; a
/// default-made one is null. It keeps its root's document, and that of a
/// current node set from another document, alive.
class XMLUTIL_API DOM_TreeWalker {
public:
    /// The null walker.
    DOM_TreeWalker() noexcept : fImpl(nullptr) {}
    /// Another handle on the same walker.
    DOM_TreeWalker(const DOM_TreeWalker& other) noexcept;
    /// Lets go of the walker; the last handle releases it.
    ~DOM_TreeWalker();
    /// Refers to `other`'s walker from now on.
    DOM_TreeWalker& operator=(const DOM_TreeWalker& other) noexcept;
    /// `walker = 0` makes the null walker.
    DOM_TreeWalker& operator=(const DOM_NullPtr*) noexcept;

    /// Same walker (two null walkers are equal).
    bool operator==(const DOM_TreeWalker& other) const noexcept { return fImpl == other.fImpl; }
    /// Not the same walker.
    bool operator!=(const DOM_TreeWalker& other) const noexcept { return fImpl != other.fImpl; }
    /// `walker == 0` tests for the null walker.
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    /// `walker != 0` tests for a walker.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }

    /// The root it was made with; the null node for the null walker.
    DOM_Node getRoot();
    /// The whatToShow it was made with, as given; 0 for the null walker.
    unsigned long getWhatToShow();
    /// The filter it was made with, or null.
    DOM_NodeFilter* getFilter();
    /// Whether it enters entity references; false for the null walker.
    bool getExpandEntityReferences();
    /// The current node: the root at first; null after setCurrentNode(null).
    DOM_Node getCurrentNode();
    /// Moves to `currentNode`, shown or not, in this tree or not; the null
    /// node is taken too, and then every move answers the null node.
    /// INVALID_STATE_ERR on the null walker.
    void setCurrentNode(DOM_Node currentNode);
    /// Moves to the nearest shown ancestor up to the root and answers it; the
    /// null node, without moving, when there is none. The moves below all
    /// answer the null node and stay where they are when there is nowhere to
    /// go, and throw INVALID_STATE_ERR on the null walker.
    DOM_Node parentNode();
    /// Moves to the first shown child.
    DOM_Node firstChild();
    /// Moves to the last shown child.
    DOM_Node lastChild();
    /// Moves to the previous shown sibling.
    DOM_Node previousSibling();
    /// Moves to the next shown sibling.
    DOM_Node nextSibling();
    /// Moves to the previous shown node in document order within the root.
    DOM_Node previousNode();
    /// Moves to the next shown node in document order within the root.
    DOM_Node nextNode();

private:
    explicit DOM_TreeWalker(xmlutil_detail::TreeWalkerImpl* impl) noexcept;
    xmlutil_detail::TreeWalkerImpl* fImpl;
    friend class DOM_Document;
};

/// Handle to a range: the stretch of a document between two boundary points
/// (container, offset). Copies share the range; a default-made one is null.
/// A range keeps its document alive, and follows edits of the tree and of
/// text. The null range behaves as a detached one.
class XMLUTIL_API DOM_Range {
public:
    /// Which boundary points compareBoundaryPoints compares.
    enum CompareHow {
        START_TO_START = 0, ///< This start with the other's start
        START_TO_END = 1,   ///< This end with the other's start
        END_TO_END = 2,     ///< This end with the other's end
        END_TO_START = 3    ///< This start with the other's end
    };

    /// The null range.
    DOM_Range() noexcept : fImpl(nullptr) {}
    /// Another handle on the same range.
    DOM_Range(const DOM_Range& other) noexcept;
    /// Lets go of the range; the last handle releases it.
    ~DOM_Range();
    /// Refers to `other`'s range from now on.
    DOM_Range& operator=(const DOM_Range& other) noexcept;
    /// `range = 0` makes the null range.
    DOM_Range& operator=(const DOM_NullPtr*) noexcept;

    /// Same range (two null ranges are equal).
    bool operator==(const DOM_Range& other) const noexcept { return fImpl == other.fImpl; }
    /// Not the same range.
    bool operator!=(const DOM_Range& other) const noexcept { return fImpl != other.fImpl; }
    /// `range == 0` tests for the null range.
    bool operator==(const DOM_NullPtr*) const noexcept { return fImpl == nullptr; }
    /// `range != 0` tests for a range.
    bool operator!=(const DOM_NullPtr*) const noexcept { return fImpl != nullptr; }

    /// The start's container; the null node once detached.
    DOM_Node getStartContainer() const;
    /// The start's offset: characters in text, comments and processing
    /// instructions, children elsewhere; 0 once detached.
    unsigned int getStartOffset() const;
    /// The end's container; the null node once detached.
    DOM_Node getEndContainer() const;
    /// The end's offset; 0 once detached.
    unsigned int getEndOffset() const;
    /// True when start and end are the same point. INVALID_STATE_ERR once
    /// detached, as for every member below.
    bool getCollapsed() const;
    /// The deepest node that contains both boundary points.
    const DOM_Node getCommonAncestorContainer() const;

    /// Sets the start; past the end, the range collapses there. INDEX_SIZE_ERR
    /// for an offset past the container's length; DOM_RangeException
    /// INVALID_NODE_TYPE_ERR in or below an entity, notation or document type
    /// and for the null node. A container of another document moves the
    /// range there, collapsed at this point.
    void setStart(const DOM_Node& parent, unsigned int offset);
    /// Sets the end; before the start, the range collapses there. See setStart.
    void setEnd(const DOM_Node& parent, unsigned int offset);
    /// Starts the range just before `refNode`. DOM_RangeException
    /// INVALID_NODE_TYPE_ERR when the node is a document, fragment,
    /// attribute, entity or notation, or has no parent.
    void setStartBefore(const DOM_Node& refNode);
    /// Starts the range just after `refNode`. See setStartBefore.
    void setStartAfter(const DOM_Node& refNode);
    /// Ends the range just before `refNode`. See setStartBefore.
    void setEndBefore(const DOM_Node& refNode);
    /// Ends the range just after `refNode`. See setStartBefore.
    void setEndAfter(const DOM_Node& refNode);
    /// Moves the end to the start (true) or the start to the end (false).
    void collapse(bool toStart);
    /// Selects `node` within its parent; a text node selects its characters
    /// (0 to its length) instead, as the classic range did. CDATA sections,
    /// comments and processing instructions are selected as nodes.
    void selectNode(const DOM_Node& node);
    /// Selects the contents of `node`: its characters or its children.
    void selectNodeContents(const DOM_Node& node);
    /// -1, 0 or 1 as the boundary point of this range that `how` names comes
    /// before, at or after that of `range`. WRONG_DOCUMENT_ERR for ranges of
    /// two documents; INVALID_STATE_ERR when either is detached or null.
    short compareBoundaryPoints(CompareHow how, const DOM_Range& range) const;
    /// Removes what the range holds; partly held text keeps its other part.
    /// The range collapses. NO_MODIFICATION_ALLOWED_ERR inside read-only nodes.
    void deleteContents();
    /// Moves what the range holds into a new fragment and answers it.
    DOM_DocumentFragment extractContents();
    /// A copy of what the range holds, in a new fragment.
    DOM_DocumentFragment cloneContents() const;
    /// Inserts `node` at the start, splitting a text container; the null node
    /// does nothing. HIERARCHY_REQUEST_ERR for an ancestor of the start,
    /// WRONG_DOCUMENT_ERR for a node of another document, DOM_RangeException
    /// INVALID_NODE_TYPE_ERR for an attribute, entity, notation or document.
    void insertNode(DOM_Node& node);
    /// Moves the contents into `node`, puts `node` where they were and
    /// selects it; the null node does nothing. DOM_RangeException
    /// BAD_BOUNDARYPOINTS_ERR when the range partly holds a node other than text.
    void surroundContents(DOM_Node& node);
    /// A new range with the same boundary points.
    DOM_Range cloneRange() const;
    /// The characters of the text and CDATA sections the range holds, without
    /// markup; comments and processing instructions add nothing.
    DOMString toString() const;
    /// Ends the range's use. INVALID_STATE_ERR when already detached.
    void detach();

private:
    explicit DOM_Range(xmlutil_detail::RangeImpl* impl) noexcept;
    xmlutil_detail::RangeImpl* fImpl;
    friend class DOM_Document;
};

/// Makes documents. A default-made object works as well as getImplementation().
class XMLUTIL_API DOM_DOMImplementation {
public:
    /// An implementation object; it has no state.
    DOM_DOMImplementation() noexcept = default;
    /// The process-wide implementation, the classic way: bind a reference.
    static DOM_DOMImplementation& getImplementation();
    /// True for `XML` and `Core` (any case) with a version that is null,
    /// empty, "1.0" or "2.0", and for `Traversal` and `Range` with a null,
    /// empty or "2.0" version; false for everything else.
    bool hasFeature(const DOMString& feature, const DOMString& version);
    /// A document type that no document has yet: pass it to createDocument,
    /// which makes it that document's. INVALID_CHARACTER_ERR for a bad name.
    DOM_DocumentType createDocumentType(const DOMString& qualifiedName, const DOMString& publicId,
                                        const DOMString& systemId);
    /// A new document whose document element is `qualifiedName` in the
    /// namespace `namespaceURI` (none when null or empty); a null or empty
    /// name throws INVALID_CHARACTER_ERR. `doctype` may be null (0); a
    /// document type of another document throws WRONG_DOCUMENT_ERR.
    DOM_Document createDocument(const DOMString& namespaceURI, const DOMString& qualifiedName,
                                const DOM_DocumentType& doctype);
};

/// The classic DOM parser over XercesDOMParser: namespaces off, whitespace
/// text kept, entity reference nodes created, comments and CDATA kept.
class XMLUTIL_API DOMParser {
public:
    /// When to validate against a DTD.
    enum ValSchemes {
        Val_Never,  ///< Never validate.
        Val_Always, ///< Validate every document: one without a DTD is invalid.
        Val_Auto    ///< Validate only documents that have a DTD.
    };

    /// A parser that does not validate. `valToAdopt` is handed to Xerces-C.
    explicit DOMParser(XERCES_CPP_NAMESPACE::XMLValidator* valToAdopt = nullptr);
    /// Ends the parser; its documents live on in their handles.
    ~DOMParser();
    /// Not copyable.
    DOMParser(const DOMParser&) = delete;
    /// Not copyable.
    DOMParser& operator=(const DOMParser&) = delete;

    /// true: validate every document; false: never validate.
    void setDoValidation(bool validate);
    /// True when the scheme is Val_Always.
    bool getDoValidation() const;
    /// Sets when to validate.
    void setValidationScheme(ValSchemes scheme);
    /// When the parser validates.
    ValSchemes getValidationScheme() const;
    /// Switches namespace processing (off by default).
    void setDoNamespaces(bool doNamespaces);
    /// True when namespace processing is on.
    bool getDoNamespaces() const;
    /// Installs the handler that receives the parser's reports; it stays the
    /// caller's. Without one (null, the default) warnings and errors go
    /// unreported, and a fatal error ends the parse with a
    /// SAXParseException thrown out of parse.
    void setErrorHandler(XERCES_CPP_NAMESPACE::ErrorHandler* handler);
    /// The installed handler, or null.
    XERCES_CPP_NAMESPACE::ErrorHandler* getErrorHandler() const;
    /// Installs a resolver the parser asks first for every DTD and external
    /// entity; it stays the caller's. The files a document may read stay
    /// limited as parse describes: a LocalFileInputSource or URLInputSource
    /// the resolver returns is read only where the document itself could
    /// read its system id; any other source (a MemBufInputSource, say) is
    /// read as given, since its bytes come from the program. A null result
    /// leaves the entity to the parser's own rules.
    void setEntityResolver(XERCES_CPP_NAMESPACE::EntityResolver* resolver);
    /// The installed resolver, or null.
    XERCES_CPP_NAMESPACE::EntityResolver* getEntityResolver() const;

    /// true (the default): an entity reference becomes an EntityReference
    /// node with the expansion as its children; false: the expansion takes
    /// its place and merges with the text around it. Character references
    /// and the predefined entities never make nodes. (1.7's default was false.)
    void setCreateEntityReferenceNodes(bool create);
    /// Whether entity reference nodes are created.
    bool getCreateEntityReferenceNodes() const;
    /// Deprecated: the inverse of setCreateEntityReferenceNodes, so false by
    /// default. (In 1.7 it set and returned the create flag itself.)
    void setExpandEntityReferences(bool expand);
    /// Deprecated: !getCreateEntityReferenceNodes().
    bool getExpandEntityReferences() const;
    /// true (the default): white space that a DTD content model makes
    /// ignorable is kept as text nodes whose isIgnorableWhitespace() is
    /// true; false: it is dropped. Only a validating parse tells such white
    /// space from other text.
    void setIncludeIgnorableWhitespace(bool include);
    /// Whether ignorable white space is kept.
    bool getIncludeIgnorableWhitespace() const;
    /// true (the default): the parse ends at the first fatal error; false:
    /// it goes on where it can, reporting later errors too.
    void setExitOnFirstFatalError(bool exit);
    /// Whether the parse ends at the first fatal error.
    bool getExitOnFirstFatalError() const;
    /// true: a validity error ends the parse while exit on first fatal error
    /// is on (it still goes to the handler's error()); false (the default):
    /// the parse goes on after it.
    void setValidationConstraintFatal(bool fatal);
    /// Whether validity errors are fatal.
    bool getValidationConstraintFatal() const;
    /// true: validate against the XML Schemas a document names (needs
    /// namespaces on and a validation scheme other than Val_Never); false
    /// (the default): schemas are ignored.
    void setDoSchema(bool doSchema);
    /// Whether schema processing is on.
    bool getDoSchema() const;
    /// true: a document whose text starts with an XML declaration gets a
    /// DOM_XMLDecl with its version, encoding and standalone texts as its
    /// first child; false (the default): it gets none.
    void setToCreateXMLDeclTypeNode(bool create);
    /// Whether XML declarations become DOM_XMLDecl nodes.
    bool getToCreateXMLDeclTypeNode() const;
    /// true: also check the schemas themselves fully (slow); false (the
    /// default): only what validating documents needs.
    void setValidationSchemaFullChecking(bool fullChecking);
    /// Whether full schema checking is on.
    bool getValidationSchemaFullChecking() const;
    /// The number of errors and fatal errors the last parse reported, those
    /// of the limits described at parse included; 0 before any parse.
    int getErrorCount() const;
    /// Lets go of the current document, as a new parse does: getDocument()
    /// then returns a new empty document until the next parse. Handles
    /// already handed out stay valid.
    void reset();

    /// Parses the file or URL `systemId`. Exceptions thrown by the error
    /// handler pass through; a Xerces-C DOMException arrives as
    /// DOM_DOMException.
    ///
    /// A parse may use 64 MiB plus 256 bytes for every byte its input and
    /// the files it names have delivered so far. A parse that needs more
    /// (an entity expanded a million times, say) ends in XMLException: a
    /// xercesc::RuntimeException with the code XMLExcepts::Out_Of_Memory and
    /// the message "out of memory", as when the system itself runs out.
    /// Documents the parser handed out earlier are not bound by it.
    ///
    /// DTDs and external entities are read as ParseFile reads them (see
    /// xmlutil.h): regular files in the document's folder tree or in a folder
    /// given to AllowEntityFolder only; anything else is a fatal error for
    /// the error handler. Under Val_Never an external DTD that may not or
    /// cannot be read is left out. Elements nested more than 4,000 levels
    /// deep inside an entity expansion are a fatal error too ("entity
    /// expansion nests elements deeper than 4000 levels"); plain nesting is
    /// not limited.
    void parse(const char* systemId, bool reuseGrammar = false);
    /// Parses from `source`, such as a MemBufInputSource. See parse. The
    /// document's folder tree is that of the source's system id when it names
    /// a regular local file, else the working directory's.
    void parse(const XERCES_CPP_NAMESPACE::InputSource& source, bool reuseGrammar = false);
    /// Parses the file or URL `systemId`, given as 16-bit text. See parse.
    void parse(const XMLCh* systemId, bool reuseGrammar = false);
    /// The document of the last parse (possibly partial after a failure); a
    /// new empty document before the first parse, after reset, and when a
    /// parse built nothing (a missing file, say). Never null. It stays valid
    /// after the parser is gone.
    DOM_Document getDocument();

    /// Starts a progressive parse of `systemId`: the prolog is read, and each
    /// parseNext reads one more piece. The rules and limits of parse hold for
    /// the whole parse. False when it cannot start.
    bool parseFirst(const XMLCh* systemId, XERCES_CPP_NAMESPACE::XMLPScanToken& toFill, bool reuseGrammar = false);
    /// See parseFirst.
    bool parseFirst(const char* systemId, XERCES_CPP_NAMESPACE::XMLPScanToken& toFill, bool reuseGrammar = false);
    /// See parseFirst; `source` must outlive the parse.
    bool parseFirst(const XERCES_CPP_NAMESPACE::InputSource& source, XERCES_CPP_NAMESPACE::XMLPScanToken& toFill,
                    bool reuseGrammar = false);
    /// Reads the next piece of a progressive parse; false at its end or
    /// after an error.
    bool parseNext(XERCES_CPP_NAMESPACE::XMLPScanToken& token);
    /// Ends a progressive parse early, so that the parser can start another.
    void parseReset(XERCES_CPP_NAMESPACE::XMLPScanToken& token);

    /// The parser's scanner.
    const XERCES_CPP_NAMESPACE::XMLScanner& getScanner() const;
    /// The parser's validator.
    const XERCES_CPP_NAMESPACE::XMLValidator& getValidator() const;

    /// Schema locations ("URI location" pairs) used besides those a document
    /// names; null when unset. The parser owns the text.
    XMLCh* getExternalSchemaLocation() const;
    /// The schema for elements without a namespace; null when unset.
    XMLCh* getExternalNoNamespaceSchemaLocation() const;
    /// See getExternalSchemaLocation.
    void setExternalSchemaLocation(const XMLCh* schemaLocation);
    /// See getExternalSchemaLocation.
    void setExternalSchemaLocation(const char* schemaLocation);
    /// See getExternalNoNamespaceSchemaLocation.
    void setExternalNoNamespaceSchemaLocation(const XMLCh* noNamespaceSchemaLocation);
    /// See getExternalNoNamespaceSchemaLocation.
    void setExternalNoNamespaceSchemaLocation(const char* noNamespaceSchemaLocation);

    /// The handler of post-schema-validation information, or null.
    XERCES_CPP_NAMESPACE::PSVIHandler* getPSVIHandler();
    /// See getPSVIHandler.
    const XERCES_CPP_NAMESPACE::PSVIHandler* getPSVIHandler() const;
    /// Installs a PSVI handler; it stays the caller's.
    void setPSVIHandler(XERCES_CPP_NAMESPACE::PSVIHandler* handler);
    /// The installed XMLEntityResolver, or null.
    XERCES_CPP_NAMESPACE::XMLEntityResolver* getXMLEntityResolver();
    /// See getXMLEntityResolver.
    const XERCES_CPP_NAMESPACE::XMLEntityResolver* getXMLEntityResolver() const;
    /// Installs a resolver asked with the full resource identifier, under
    /// the same reading rules as setEntityResolver. Only one resolver is
    /// asked: installing one of either kind removes the other.
    void setXMLEntityResolver(XERCES_CPP_NAMESPACE::XMLEntityResolver* resolver);

    /// Whether schema identity constraints (key, keyref, unique) are checked
    /// (true by default).
    bool getIdentityConstraintChecking() const;
    /// See getIdentityConstraintChecking.
    void setIdentityConstraintChecking(bool check);
    /// Whether grammars met in a parse are kept for later parses (false by
    /// default).
    bool isCachingGrammarFromParse() const;
    /// See isCachingGrammarFromParse.
    void cacheGrammarFromParse(bool cache);
    /// Whether parses use the cached grammars (false by default); a parse
    /// with reuseGrammar true uses them too.
    bool isUsingCachedGrammarInParse() const;
    /// See isUsingCachedGrammarInParse.
    void useCachedGrammarInParse(bool use);
    /// Whether getSrcOffset is kept up to date (false by default).
    bool getCalculateSrcOfs() const;
    /// See getCalculateSrcOfs.
    void setCalculateSrcOfs(bool calculate);
    /// Whether system ids must be URIs conforming to RFC 2396 (false by
    /// default).
    bool getStandardUriConformant() const;
    /// See getStandardUriConformant.
    void setStandardUriConformant(bool conformant);
    /// Offset in the input of the piece being parsed, with getCalculateSrcOfs.
    unsigned int getSrcOffset() const;
    /// Chooses Xerces-C's scanner by name ("IGXMLScanner", "WFXMLScanner",
    /// "DGXMLScanner", "SGXMLScanner").
    void useScanner(const XMLCh* scannerName);

    /// The grammar of a namespace after a parse, or null.
    XERCES_CPP_NAMESPACE::Grammar* getGrammar(const XMLCh* nameSpaceKey);
    /// The grammar of the last parse's root, or null.
    XERCES_CPP_NAMESPACE::Grammar* getRootGrammar();
    /// The namespace URI of a URI id of the scanner.
    const XMLCh* getURIText(unsigned int uriId) const;
    /// Reads a DTD (Grammar::DTDGrammarType) or an XML Schema
    /// (Grammar::SchemaGrammarType), and keeps it for later parses when
    /// `toCache` is true; null when it cannot be read. The reading rules
    /// and limits of parse hold, with the grammar's own folder tree.
    XERCES_CPP_NAMESPACE::Grammar* loadGrammar(const XERCES_CPP_NAMESPACE::InputSource& source, short grammarType,
                                               bool toCache = false);
    /// See loadGrammar.
    XERCES_CPP_NAMESPACE::Grammar* loadGrammar(const XMLCh* systemId, short grammarType, bool toCache = false);
    /// See loadGrammar.
    XERCES_CPP_NAMESPACE::Grammar* loadGrammar(const char* systemId, short grammarType, bool toCache = false);
    /// Forgets the cached grammars.
    void resetCachedGrammarPool();

private:
    friend struct xmlutil_detail::HandleAccess;
    // Entity resolution and limits of this parser's parses; declared before
    // the parser, which refers to it, so that it outlives it.
    std::shared_ptr<xmlutil_detail::ParseGuard> fGuard;
    std::unique_ptr<XERCES_CPP_NAMESPACE::XercesDOMParser> fParser;
    // The last parse's document once taken over, kept for getDocument()
    // until the next parse; not a handle, so that letting it go touches no
    // count of the handles, which may be in use in another thread by then.
    xmlutil_detail::DocumentCount* fDocument;
    bool fAdopted;
    bool fCreateXMLDecl;
};

#endif // XMLUTIL_DOM_H
