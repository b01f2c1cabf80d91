// SPDX-License-Identifier: Apache-2.0
/// \file
/// xmlutil: read, navigate, build and write XML configuration and data files
/// through std::string arguments, on top of Xerces-C 3.2.
///
/// Text is 8-bit, in ISO-8859-1. The library's own failures are thrown as
/// cTextException; lookups report a miss by a false result or the null node.
///
/// \par Thread safety
/// - Distinct documents in distinct threads are safe: each thread may parse,
///   navigate, edit and write documents of its own, and use the Base64
///   functions, while other threads do the same with theirs.
/// - One document, the facades made from it, its iterators and its node
///   handles belong to one thread at a time. Handing them to another thread
///   needs a synchronisation of the caller's own in between.
/// - The writer's indentation depth (see CreateTabs) is kept per thread.
/// - Every parse requests the parser's platform initialisation; the library
///   serialises those calls itself, so concurrent first parses are safe.
/// - An exception belongs to the thread that throws it.
#ifndef XMLUTIL_H
#define XMLUTIL_H

#include "xmlutil_dom.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include <cstdint>
#include <deque>
#include <exception>
#include <ostream>
#include <string>

// The Xerces-C names that the interface uses, unqualified as callers write them.
using XERCES_CPP_NAMESPACE::ErrorHandler;
using XERCES_CPP_NAMESPACE::InputSource;
using XERCES_CPP_NAMESPACE::MemBufInputSource;
using XERCES_CPP_NAMESPACE::SAXParseException;
using XERCES_CPP_NAMESPACE::XMLException;
using XERCES_CPP_NAMESPACE::XMLPlatformUtils;
using XERCES_CPP_NAMESPACE::XMLString;

// ---- Exception ----------------------------------------------------------------

/// The library's one exception: a printf-formatted message of at most 254
/// characters, kept inside the object (copying allocates nothing).
class XMLUTIL_API cTextException : public std::exception {
public:
    /// Formats like printf; a fixed message must double any percent sign.
    cTextException(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Releases nothing: the message lives inside the object.
    ~cTextException() noexcept override;
    /// The formatted message.
    const char* what() const noexcept override;

protected:
    /// The message, zero-terminated; longer texts are cut after 254 characters.
    char caMessage[256];
    /// Always 0; nothing reads it.
    std::int32_t iReserved;
};

/// Error handler for one parse: every warning, error and fatal error of the
/// parser is thrown as cTextException naming the input, line and column.
class XMLUTIL_API XMLUtilError : public ErrorHandler {
public:
    /// Does nothing beyond the base class.
    ~XMLUtilError() override;
    /// Throws `"Warning at (file %s, line %d, char %d): %s\n"`.
    void warning(const SAXParseException& e) override;
    /// Throws `"Error at (file %s, line %d, char %d): %s\n"`.
    void error(const SAXParseException& e) override;
    /// Throws `"Fatal Error at (file %s, line %d, char %d): %s\n"`.
    void fatalError(const SAXParseException& e) override;
    /// Does nothing: no report is ever kept.
    void resetErrors() override;
};

// ---- String helpers -------------------------------------------------------------

/// Removes leading white space (bytes 0x09-0x0D and 0x20; bytes above 0x7F by
/// the current locale).
XMLUTIL_API void TrimLeft(std::string& text);
/// Removes trailing white space. See TrimLeft.
XMLUTIL_API void TrimRight(std::string& text);
/// TrimLeft, then TrimRight.
XMLUTIL_API void Trim(std::string& text);
/// Replaces every byte `ch` by `replacement`; inserted text is not scanned
/// again. The text stays as it is when nothing precedes the last occurrence
/// in the result (so an empty replacement of a leading run removes nothing).
XMLUTIL_API void FindAndRepleace(std::string& text, char ch, std::string replacement);

// ---- Parsing --------------------------------------------------------------------

/// Parses the file or URL `fileName`, with DTD validation when `validate`.
/// Throws cTextException for every problem the parser reports; a zero
/// character anywhere in the file is invalid input. `fileName` itself is not
/// restricted: a URL given here is fetched.
///
/// What the document may read: DTDs and external entities that it names are
/// read only from regular files inside the folder of `fileName` and its
/// subfolders, or inside a folder given to AllowEntityFolder, after symbolic
/// links and `..` are resolved. Relative names, absolute paths and `file:`
/// URLs without a host all pass the same check. Anything else ends the parse
/// with a fatal error "refused to read 'PATH': ..." naming it: a file
/// elsewhere, a device, a pipe, a socket, a folder, anything under /proc or
/// /sys; a network URL ends it with "URL protocol 'URL' is unsupported". A
/// document read from a pipe or a URL may read from the working directory's
/// tree instead of its own folder's. Without validation, an external DTD
/// that may not or cannot be read is left out and the parse goes on; a
/// reference to an entity that only that DTD declares still fails.
///
/// Limits: at most 100,000 entity expansions, at most 4,000 levels of
/// elements inside one entity expansion, and the parse may use 64 MiB
/// plus 256 bytes for every byte read so far (of the file and of what it
/// names); beyond that it ends in a cTextException whose message ends in
/// "Message: out of memory: ...". The document can grow without a cap once
/// the parse is over.
/// \param fileName the file's path, or a URL
/// \param validate true to validate against the document's DTD
/// \return the document
XMLUTIL_API DOM_Document ParseFile(const std::string& fileName, bool validate);
/// Parses `length` bytes at `buffer`; errors name the input
/// `XMLRead_ParseBufferID`. The buffer is neither copied nor kept, and a
/// zero byte within `length` is invalid input. What the document may read and
/// the limits are as for ParseFile, with the working directory in place of
/// the document's folder.
/// \param buffer the first byte of the document
/// \param length the number of bytes
/// \param validate true to validate against the document's DTD
/// \return the document
XMLUTIL_API DOM_Document ParseBuffer(const char* buffer, unsigned int length, bool validate);
/// Lets every document parsed from now on read DTDs and external entities
/// from the regular files in `folder` and its subfolders, as it may from its
/// own folder (see ParseFile); for catalog folders such as /usr/share/xml.
/// Process-wide and safe to call from any thread; there is no way back.
/// Nothing under /proc or /sys is ever read, whatever is allowed.
/// \param folder the folder; a relative name is taken against the working
///        directory of the moment, an empty one adds nothing. It need not
///        exist yet: symbolic links in it are resolved at each parse.
XMLUTIL_API void AllowEntityFolder(const std::string& folder);

// ---- Reading --------------------------------------------------------------------

/// The first element named `name` below `parent` in document order, if it is
/// a direct child of `parent`; otherwise the null node. `*` matches any name.
XMLUTIL_API DOM_Node GetNodeByName(const DOM_Node& parent, const std::string& name);
/// `text` as 8-bit text; empty for a null string.
XMLUTIL_API std::string DOM2STLstring(const DOMString& text);
/// The value of the first text child of `node` into `data`, untrimmed; false
/// with `defaultValue` in `data` when there is none.
XMLUTIL_API bool ReadNodeData(const DOM_Node& node, std::string& data, std::string defaultValue);
/// See ReadNodeData. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeData(const DOM_Node& node, std::string& data, char* defaultValue);
/// The data of the child GetNodeByName(parent, name); false with `defaultValue`
/// in `data` when there is no such child or it has no text.
XMLUTIL_API bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data,
                              std::string defaultValue);
/// See ReadNodeData. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data,
                              char* defaultValue);
/// See ReadNodeData. A string literal as the default picks this form and the
/// next rather than the char* forms, which it could reach only through the
/// deprecated conversion to char*.
inline bool ReadNodeData(const DOM_Node& node, std::string& data, const char* defaultValue)
{
    return ReadNodeData(node, data, std::string(defaultValue));
}
/// See ReadNodeData; for a string literal as the default.
inline bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data,
                         const char* defaultValue)
{
    return ReadNodeData(parent, name, data, std::string(defaultValue));
}
/// The value of attribute `name` into `value`; false with `value` empty when
/// the attribute is missing or `node` is not an element (or null).
XMLUTIL_API bool GetNamedAttributeValue(const DOM_Node& node, const std::string& name, std::string& value);
/// The node's name; empty for the null node.
XMLUTIL_API std::string GetNodeName(const DOM_Node& node);
/// Writes `text` as 8-bit text, unescaped (a character above U+00FF as '?').
XMLUTIL_API std::ostream& operator<<(std::ostream& os, const DOMString& text);

// ---- Building -------------------------------------------------------------------

/// A new document into `doc` with the root element `rootName` into `root`. The
/// root's namespace URI is the part of `rootName` before its first colon (all
/// of it without a colon; none when it starts with a colon). A name the DOM
/// rejects throws DOM_DOMException, as do invalid names in the functions below.
XMLUTIL_API void CreateDocument(const std::string& rootName, DOM_Document& doc, DOM_Node& root);
/// A new element `name` into `element`, appended as last child of `parent`.
XMLUTIL_API void CreateNewElement(const std::string& name, DOM_Element& element, DOM_Node& parent,
                                  DOM_Document& doc);
/// Appends a new element `name` holding the text `data` to `parent`.
XMLUTIL_API void SaveNodeData(const std::string& name, const std::string& data, DOM_Node& parent,
                              DOM_Document& doc);
/// Replaces the first text child of `node` by `data`, or appends one.
XMLUTIL_API void SaveDataToNode(const std::string& data, DOM_Node& node, DOM_Document& doc);
/// Sets attribute `name` of `element` to `value`, adding it if missing.
XMLUTIL_API void SetNodeAttribute(const std::string& name, const std::string& value, DOM_Element& element);

// ---- Named-node iterator --------------------------------------------------------

/// Walks the direct children of a node that carry one name (any node type:
/// `#text` walks text children), in document order. At its end it yields the
/// null node. The child list is live: changes shift the stored position.
class XMLUTIL_API cNodeIterator {
public:
    /// Stands on the first child named `name`, or at the end.
    cNodeIterator(const DOM_Node& parent, const std::string& name);
    /// Same list, name and position.
    cNodeIterator(const cNodeIterator& other);
    /// Takes over `other`'s list, name and position.
    cNodeIterator& operator=(const cNodeIterator& other);

    /// The current child; the null node at the end.
    DOM_Node operator*() const;
    /// Always null: use operator*.
    DOM_Node* operator->();
    /// Both yield the same node (so any two ended iterators are equal).
    bool operator==(const cNodeIterator& other) const;
    /// Not operator==.
    bool operator!=(cNodeIterator other) const;
    /// Comparing with the null node is the end test.
    bool operator!=(const DOM_Node& node) const;
    /// On to the next child of the name.
    cNodeIterator& operator++();
    /// See operator++; returns the iterator as it was.
    cNodeIterator operator++(int);
    /// Back exactly one child, whatever its name; from the first child to the end.
    cNodeIterator& operator--();
    /// See operator--; returns the iterator as it was.
    cNodeIterator operator--(int);
    /// Moves forward to the next child of the name, or to the end.
    void FindNextNode();

private:
    std::uint32_t uiPosition;
    std::string Name;
    DOM_NodeList Children;
};

/// The name of the iterator's current node; empty at the end.
XMLUTIL_API std::string GetNodeName(const cNodeIterator& it);

// ---- Writer -------------------------------------------------------------------------

/// Writes `node` and everything below it as indented XML: a document starts
/// with ``"<?xml version='1.0' encoding='ISO-8859-1' ?>\n"``, each element is
/// indented by four spaces per level, text and attribute values are trimmed
/// and escaped (see outputContent). Every end-of-line is std::endl. Entity
/// references are written as their expansion; document types, attribute and
/// fragment nodes write nothing. Comments, CDATA sections and processing
/// instructions are written as they are, at column 0.
XMLUTIL_API std::ostream& operator<<(std::ostream& out, DOM_Node& node);
/// See operator<<(std::ostream&, DOM_Node&); for a node that is not an lvalue.
inline std::ostream& operator<<(std::ostream& out, const DOM_Node& node)
{
    DOM_Node copy(node);
    return out << copy;
}
/// Four spaces per level of the writer's current nesting depth (one depth
/// per thread); empty at depth 0.
XMLUTIL_API std::string CreateTabs();
/// True when the node's value is non-empty and all white space.
XMLUTIL_API bool TestForGarbage(const DOM_Node& node);
/// Writes `text`; with `clean`, trimmed and escaped: `&`, `<`, `>`, the
/// quotation mark and the letters a o u A O U with diaeresis and sharp s
/// become references, a character above U+00FF becomes `&#N;`, and a text of
/// white space only becomes one std::endl. Without `clean`, as it is (a
/// character above U+00FF as '?').
XMLUTIL_API void outputContent(std::ostream& out, const DOMString& text, bool clean);

// ---- Document facade -----------------------------------------------------------------

class cXML_Utility;
class cXMLiterator;

/// State of a cXML_Utility: what it may load, where it stands, and the way back.
struct cXML_UtilityData {
    /// Copies the five values into the fields, in field order.
    cXML_UtilityData(unsigned int mode, int fromIterator, const DOM_Node& activeNode, const DOM_Document& document,
                     const std::deque<DOM_Node>& nodeStack)
        : uiMode(mode), bFromIterator(fromIterator), ActiveNode(activeNode), Document(document), NodeStack(nodeStack)
    {
    }

    std::uint32_t uiMode;           ///< 0: Parse works; 1: CreateDocument works; other: neither
    std::int32_t bFromIterator;     ///< 1 on records made by an iterator: Parse starts afresh
    DOM_Node ActiveNode;            ///< Where reading, writing and navigation act
    DOM_Document Document;          ///< The document, shared with every copy
    std::deque<DOM_Node> NodeStack; ///< Earlier active nodes, most recent at the back
};

/// One XML document with an active node and a stack of earlier active nodes.
/// Copies share the document but move independently. An object without a
/// record is empty: Parse, CreateDocument, ActivateNode and DeactivateNode
/// then return false, everything else throws cTextException.
///
/// A record without document or active node (made with a mode but not loaded,
/// or a GetNodeByName result that found nothing) never crashes: reading gives
/// false with the default or an empty name, navigation false, an iterator is
/// at its end at once, and creating and writing throw cTextException, as does
/// saving when there is no document.
class XMLUTIL_API cXML_Utility {
public:
    /// Empty object.
    cXML_Utility();
    /// Mode 0 parses, mode 1 creates; any other mode does neither.
    cXML_Utility(unsigned int mode);
    /// So that a literal mode (`cXML_Utility xml(0);`) is a mode, not a record.
    cXML_Utility(int mode);
    /// Takes ownership of `data` (null: empty object).
    cXML_Utility(cXML_UtilityData* data);
    /// A copy of `other`'s record on the same document; empty when `other` is.
    cXML_Utility(const cXML_Utility& other);
    /// Drops the record; the document goes when its last user does.
    ~cXML_Utility();
    /// Replaces this object's record by a copy of `other`'s. Throws when
    /// `other` is empty (this object is then unchanged); assigning an object
    /// to itself does nothing.
    cXML_Utility& operator=(const cXML_Utility& other);

    /// Drops the record: the object becomes empty.
    void CleanUp();

    /// Loads a document from `length` bytes at `buffer` (mode 0 only) and
    /// makes its root the active node. Parse errors throw cTextException.
    bool Parse(const char* buffer, unsigned int length, bool validate = false);
    /// Loads the file `fileName`. See Parse.
    bool Parse(const std::string& fileName, bool validate = false);
    /// Starts a new document with the root element `rootName` (mode 1 only).
    bool CreateDocument(const std::string& rootName);
    /// Writes the whole document, whatever node is active.
    std::ostream& SaveToStream(std::ostream& out);
    /// Writes the whole document to `fileName`, replacing its content. A file
    /// that cannot be written is not reported. The second argument is unused.
    void SaveToFile(const std::string& fileName, unsigned int mode = 0);
    /// Writes the whole document to `fileName` as SaveToFile does, but says
    /// whether it worked. The old content stays whole until the new content
    /// is safely on disk; a symbolic link stays a link, a hard-linked file
    /// keeps its other names, and a FIFO or device is written to directly.
    /// A file whose mode has no write permission is refused, even for root.
    /// \param fileName the file to write, created if missing
    /// \param reason set to one line naming the cause on failure, such as
    ///        "directory not writable" or "no space left on device";
    ///        cleared on success
    /// \return true when the whole document was saved
    bool TrySaveToFile(const std::string& fileName, std::string& reason);

    /// True only when both objects are empty: a loaded object is unequal to
    /// everything, itself included. Iterators rely on this.
    bool operator==(const cXML_Utility& other) const;
    /// See operator==.
    bool operator==(const cXML_Utility& other);
    /// Not operator==.
    bool operator!=(const cXML_Utility& other);

    /// The active node's name; empty when there is none.
    std::string GetNodeName();
    /// Moves to the child element `name` (first in document order, and only if
    /// a direct child), pushing the current node; false and no change if none.
    bool ActivateNode(const std::string& name);
    /// See ActivateNode; the record moves although the object is const.
    bool ActivateNode(const std::string& name) const;
    /// Moves back to the node before the last step inward; false if none.
    bool DeactivateNode();
    /// See DeactivateNode.
    bool DeactivateNode() const;
    /// Appends a new element `name` to the active node and moves to it.
    void CreateAndActivateNewElement(const std::string& name);
    /// Appends a new element `name` to the active node and returns an object
    /// standing on it, with an empty stack; this object does not move.
    cXML_Utility CreateNewElement(const std::string& name);
    /// An object standing on the child element `name` (a null active node when
    /// there is none), whose stack holds this object's active node.
    cXML_Utility GetNodeByName(const std::string& name) const;

    /// Appends to the active node a new element `name` holding the text `data`.
    void SaveNodeData(const std::string& name, const std::string& data);
    /// Sets the text of the active node (its first text child).
    void SaveDataToNode(const std::string& data);
    /// Sets attribute `name` of the active node, which must be an element.
    void SaveNodeAttribute(const std::string& name, const std::string& value);
    /// The attribute's value into `value`; false with `defaultValue` if missing.
    bool ReadNodeAttribute(const std::string& name, std::string& value, std::string defaultValue) const;
    /// The active node's text into `data`; false with `defaultValue` if none.
    bool ReadNodeData(std::string& data, std::string defaultValue) const;
    /// The text of the active node's child element `name`; false with
    /// `defaultValue` if there is no such child or it has no text.
    bool ReadNodeDataFrom(const std::string& name, std::string& data, std::string defaultValue) const;

    /// An iterator over the active node's children named `name` (empty: every
    /// child whose name does not start with `#`).
    cXMLiterator CreateIterator(const std::string& name);

private:
    void Init(unsigned int mode);

    cXML_UtilityData* pData;

    friend class cXMLiterator;
};

// Free twins of the facade's data operations.
/// xml.SaveNodeData(name, data).
XMLUTIL_API void SaveNodeData(cXML_Utility& xml, const std::string& name, const std::string& data);
/// xml.SaveDataToNode(data).
XMLUTIL_API void SaveDataToNode(cXML_Utility& xml, const std::string& data);
/// xml.SaveNodeAttribute(name, value).
XMLUTIL_API void SaveNodeAttribute(cXML_Utility& xml, const std::string& name, const std::string& value);
/// xml.ReadNodeAttribute. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeAttribute(const cXML_Utility& xml, const std::string& name, std::string& value,
                                   char* defaultValue);
/// xml.ReadNodeAttribute.
XMLUTIL_API bool ReadNodeAttribute(const cXML_Utility& xml, const std::string& name, std::string& value,
                                   std::string defaultValue);
/// xml.ReadNodeData. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeData(const cXML_Utility& xml, std::string& data, char* defaultValue);
/// xml.ReadNodeData.
XMLUTIL_API bool ReadNodeData(const cXML_Utility& xml, std::string& data, std::string defaultValue);
/// xml.ReadNodeDataFrom. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeData(const cXML_Utility& xml, const std::string& name, std::string& data,
                              char* defaultValue);
/// xml.ReadNodeDataFrom.
XMLUTIL_API bool ReadNodeData(const cXML_Utility& xml, const std::string& name, std::string& data,
                              std::string defaultValue);
/// xml.ReadNodeAttribute. A string literal as the default picks this form
/// and the two after it, which forward to the std::string forms above.
inline bool ReadNodeAttribute(const cXML_Utility& xml, const std::string& name, std::string& value,
                              const char* defaultValue)
{
    return ReadNodeAttribute(xml, name, value, std::string(defaultValue));
}
/// xml.ReadNodeData; for a string literal as the default.
inline bool ReadNodeData(const cXML_Utility& xml, std::string& data, const char* defaultValue)
{
    return ReadNodeData(xml, data, std::string(defaultValue));
}
/// xml.ReadNodeDataFrom; for a string literal as the default.
inline bool ReadNodeData(const cXML_Utility& xml, const std::string& name, std::string& data,
                         const char* defaultValue)
{
    return ReadNodeData(xml, name, data, std::string(defaultValue));
}

// ---- Facade iterator -------------------------------------------------------------------

/// State of a cXMLiterator.
struct cXMLiteratorData {
    std::uint32_t uiPosition = 0; ///< Index into ChildList
    std::string Name;             ///< Empty: every child whose name does not start with `#`
    DOM_NodeList ChildList;       ///< Live child list of the facade's active node
    DOM_Document Document;        ///< The facade's document
};

/// Walks the direct children of a facade's active node named `name`, handing
/// each out as a new facade on the same document (mode 0, its own empty
/// stack). Iterators compare equal exactly when both are at their end.
class XMLUTIL_API cXMLiterator {
public:
    /// Stands on the first matching child, or at the end. Throws when `xml`
    /// is empty; a facade without active node gives an iterator at its end.
    cXMLiterator(const cXML_Utility& xml, const std::string& name);
    /// A copy with its own state (empty when `other` is).
    cXMLiterator(const cXMLiterator& other);
    /// Frees the iterator's state; facades it handed out live on.
    ~cXMLiterator();
    /// Takes over `other`'s position; throws when `other` is empty.
    cXMLiterator& operator=(const cXMLiterator& other);

    /// On to the next matching child (at the end it stays at the end).
    cXMLiterator& operator++();
    /// See operator++; returns the iterator as it was.
    cXMLiterator operator++(int);
    /// A new facade standing on the current child; empty at the end.
    cXML_Utility operator*();
    /// Always null: use operator*.
    [[deprecated("always returns null: write (*it).ReadNodeData(...) instead of it->ReadNodeData(...)")]]
    cXML_Utility* operator->();
    /// True when past the last child (also for an empty iterator).
    bool end() const;
    /// True exactly when both are at their end.
    bool operator==(cXMLiterator& other);
    /// Not operator==.
    bool operator!=(cXMLiterator& other);

    /// Moves forward to the next matching child, or to the end.
    void FindNextNode();
    /// The facade operator* hands out, without the emptiness check.
    cXML_Utility CreateXML_Utility();
    /// A new record on the current child; the caller owns it.
    cXML_UtilityData* MakeXML_UtilityData();

private:
    cXMLiteratorData* pData;
};

// ---- Base64 ------------------------------------------------------------------------

/// Encodes `length` bytes at `input` as padded Base64 text (RFC 4648, no line
/// breaks) followed by a zero byte. `size` brings the capacity of `output` and
/// takes back the text's length. Returns 0, or -1 when the capacity is below
/// `length` or leaves fewer than 5 spare bytes after a group, so success needs
/// 4 * ceil(length / 3) + 5 bytes (the text so far is then kept,
/// zero-terminated from a capacity of 5 on, and `size` is unchanged). Never
/// writes past the capacity.
XMLUTIL_API int Base64Encode(char* input, int length, char* output, int& size);
/// Decodes `length` characters of Base64 text into `output`, followed by a
/// zero byte. `size` brings the capacity and takes back the number of bytes.
/// Returns -1 only when the capacity is below `length`. Nothing is validated
/// or skipped: a character outside the alphabet (a blank, a line break) reads
/// as `A`, value 0, and a zero byte as 65. In a group that ends in `=` or is
/// short, a zero byte and what follows it are dropped. Never writes past the
/// capacity.
XMLUTIL_API int Base64Decode(char* input, int length, char* output, int& size);
/// Replaces `text` by the Base64 text of `length` bytes at `data`; false, with
/// `text` unchanged, only for a negative `length` or one above 1,610,612,730
/// bytes, the longest input whose text and zero byte fit an `int`. Needs no
/// memory beyond the new text (4 bytes per 3 input bytes) and a few bytes.
XMLUTIL_API bool ConvertBinaryToBase64(char* data, int length, std::string& text);
/// Replaces `text` by the Base64 text of all its bytes, zero bytes included;
/// false, with `text` unchanged, only for a text above 1,610,612,730 bytes.
/// The new text is built beside the old one, which is freed afterwards.
XMLUTIL_API bool ConvertStringToBase64(std::string& text);
/// Zero-fills `size` bytes of `buffer`, then decodes `text` into it; `size`
/// takes back the number of bytes. False when `size` is below the text length.
XMLUTIL_API bool ConvertBase64ToBinary(std::string text, char* buffer, int& size);
/// Replaces `text` by its decoded bytes, up to the first zero byte. Malformed
/// text decodes as Base64Decode does it; false only for a text of 2 GiB or more.
/// Decodes within the text's own buffer.
XMLUTIL_API bool ConvertBase64ToString(std::string& text);

#endif // XMLUTIL_H
