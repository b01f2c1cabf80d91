// xmlutil: read, navigate, build and write XML configuration and data files
// through std::string arguments, on top of Xerces-C 3.2.
//
// Text is 8-bit, in ISO-8859-1. The library's own failures are thrown as
// cTextException; lookups report a miss by a false result or the null node.
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

// The library's one exception: a printf-formatted message of at most 254
// characters, kept inside the object (copying allocates nothing).
class XMLUTIL_API cTextException : public std::exception {
public:
    // Formats like printf; a fixed message must double any percent sign.
    cTextException(const char* format, ...) __attribute__((format(printf, 2, 3)));
    ~cTextException() noexcept override;
    // The formatted message.
    const char* what() const noexcept override;

protected:
    char caMessage[256];
    std::int32_t iReserved;
};

// Error handler for one parse: every warning, error and fatal error of the
// parser is thrown as cTextException naming the input, line and column.
class XMLUTIL_API XMLUtilError : public ErrorHandler {
public:
    ~XMLUtilError() override;
    // Throws "Warning at (file %s, line %d, char %d): %s\n".
    void warning(const SAXParseException& e) override;
    // Throws "Error at (file %s, line %d, char %d): %s\n".
    void error(const SAXParseException& e) override;
    // Throws "Fatal Error at (file %s, line %d, char %d): %s\n".
    void fatalError(const SAXParseException& e) override;
    // Does nothing: no report is ever kept.
    void resetErrors() override;
};

// ---- String helpers -------------------------------------------------------------

// Removes leading white space (bytes 0x09-0x0D and 0x20; bytes above 0x7F by
// the current locale).
XMLUTIL_API void TrimLeft(std::string& text);
// Removes trailing white space. See TrimLeft.
XMLUTIL_API void TrimRight(std::string& text);
// TrimLeft, then TrimRight.
XMLUTIL_API void Trim(std::string& text);
// Replaces every byte `ch` by `replacement`; inserted text is not scanned
// again. The text stays as it is when nothing precedes the last occurrence
// in the result (so an empty replacement of a leading run removes nothing).
XMLUTIL_API void FindAndRepleace(std::string& text, char ch, std::string replacement);

// ---- Parsing --------------------------------------------------------------------

// Parses the file or URL `fileName`, with DTD validation when `validate`.
// Throws cTextException for every problem the parser reports.
XMLUTIL_API DOM_Document ParseFile(const std::string& fileName, bool validate);
// Parses `length` bytes at `buffer`; errors name the input
// "XMLRead_ParseBufferID". The buffer is neither copied nor kept.
XMLUTIL_API DOM_Document ParseBuffer(const char* buffer, unsigned int length, bool validate);

// ---- Reading --------------------------------------------------------------------

// The first element named `name` below `parent` in document order, if it is
// a direct child of `parent`; otherwise the null node. `*` matches any name.
XMLUTIL_API DOM_Node GetNodeByName(const DOM_Node& parent, const std::string& name);
// `text` as 8-bit text; empty for a null string.
XMLUTIL_API std::string DOM2STLstring(const DOMString& text);
// The value of the first text child of `node` into `data`, untrimmed; false
// with `defaultValue` in `data` when there is none.
XMLUTIL_API bool ReadNodeData(const DOM_Node& node, std::string& data, std::string defaultValue);
// See ReadNodeData. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeData(const DOM_Node& node, std::string& data, char* defaultValue);
// The data of the child GetNodeByName(parent, name); false with `defaultValue`
// in `data` when there is no such child or it has no text.
XMLUTIL_API bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data,
                              std::string defaultValue);
// See ReadNodeData. `defaultValue` must not be null.
XMLUTIL_API bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data,
                              char* defaultValue);
// A string literal as the default picks these rather than the char* forms,
// which it could reach only through the deprecated conversion to char*.
inline bool ReadNodeData(const DOM_Node& node, std::string& data, const char* defaultValue)
{
    return ReadNodeData(node, data, std::string(defaultValue));
}
inline bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data,
                         const char* defaultValue)
{
    return ReadNodeData(parent, name, data, std::string(defaultValue));
}
// The value of attribute `name` into `value`; false with `value` empty when
// the attribute is missing or `node` is not an element (or null).
XMLUTIL_API bool GetNamedAttributeValue(const DOM_Node& node, const std::string& name, std::string& value);
// The node's name; empty for the null node.
XMLUTIL_API std::string GetNodeName(const DOM_Node& node);
// Writes `text` as 8-bit text, unescaped.
XMLUTIL_API std::ostream& operator<<(std::ostream& os, const DOMString& text);

// ---- Building -------------------------------------------------------------------

// A new document into `doc` with the root element `rootName` into `root`. The
// root's namespace URI is the part of `rootName` before its first colon (all
// of it without a colon; none when it starts with a colon).
XMLUTIL_API void CreateDocument(const std::string& rootName, DOM_Document& doc, DOM_Node& root);
// A new element `name` into `element`, appended as last child of `parent`.
XMLUTIL_API void CreateNewElement(const std::string& name, DOM_Element& element, DOM_Node& parent,
                                  DOM_Document& doc);
// Appends a new element `name` holding the text `data` to `parent`.
XMLUTIL_API void SaveNodeData(const std::string& name, const std::string& data, DOM_Node& parent,
                              DOM_Document& doc);
// Replaces the first text child of `node` by `data`, or appends one.
XMLUTIL_API void SaveDataToNode(const std::string& data, DOM_Node& node, DOM_Document& doc);
// Sets attribute `name` of `element` to `value`, adding it if missing.
XMLUTIL_API void SetNodeAttribute(const std::string& name, const std::string& value, DOM_Element& element);

// ---- Named-node iterator --------------------------------------------------------

// Walks the direct children of a node that carry one name (any node type:
// "#text" walks text children), in document order. At its end it yields the
// null node. The child list is live: changes shift the stored position.
class XMLUTIL_API cNodeIterator {
public:
    // Stands on the first child named `name`, or at the end.
    cNodeIterator(const DOM_Node& parent, const std::string& name);
    cNodeIterator(const cNodeIterator& other);
    cNodeIterator& operator=(const cNodeIterator& other);

    // The current child; the null node at the end.
    DOM_Node operator*() const;
    // Always null: use operator*.
    DOM_Node* operator->();
    // Both yield the same node (so any two ended iterators are equal).
    bool operator==(const cNodeIterator& other) const;
    bool operator!=(cNodeIterator other) const;
    // Comparing with the null node is the end test.
    bool operator!=(const DOM_Node& node) const;
    // On to the next child of the name.
    cNodeIterator& operator++();
    cNodeIterator operator++(int);
    // Back exactly one child, whatever its name; from the first child to the end.
    cNodeIterator& operator--();
    cNodeIterator operator--(int);
    // Moves forward to the next child of the name, or to the end.
    void FindNextNode();

private:
    std::uint32_t uiPosition;
    std::string Name;
    DOM_NodeList Children;
};

// The name of the iterator's current node; empty at the end.
XMLUTIL_API std::string GetNodeName(const cNodeIterator& it);

// ---- Base64 ------------------------------------------------------------------------

// Encodes `length` bytes at `input` as padded Base64 text (RFC 4648, no line
// breaks) followed by a zero byte. `size` brings the capacity of `output` and
// takes back the text's length. Returns 0, or -1 when the capacity is below
// `length` or leaves fewer than 5 spare bytes after a group (the text so far
// is then kept, zero-terminated, and `size` is unchanged). Never writes past
// the capacity.
XMLUTIL_API int Base64Encode(char* input, int length, char* output, int& size);
// Decodes `length` characters of Base64 text into `output`, followed by a
// zero byte. `size` brings the capacity and takes back the number of bytes.
// Returns -1 only when the capacity is below `length`. Nothing is validated;
// in a group that ends in "=" or is short, a zero byte and what follows it
// are dropped. Never writes past the capacity.
XMLUTIL_API int Base64Decode(char* input, int length, char* output, int& size);
// Replaces `text` by the Base64 text of `length` bytes at `data`.
XMLUTIL_API bool ConvertBinaryToBase64(char* data, int length, std::string& text);
// Replaces `text` by the Base64 text of all its bytes.
XMLUTIL_API bool ConvertStringToBase64(std::string& text);
// Zero-fills `size` bytes of `buffer`, then decodes `text` into it; `size`
// takes back the number of bytes. False when `size` is below the text length.
XMLUTIL_API bool ConvertBase64ToBinary(std::string text, char* buffer, int& size);
// Replaces `text` by its decoded bytes, up to the first zero byte.
XMLUTIL_API bool ConvertBase64ToString(std::string& text);

#endif // XMLUTIL_H
