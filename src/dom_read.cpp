// SPDX-License-Identifier: Apache-2.0
#include "internal.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

using namespace xmlutil_detail;
using xercesc::DOMNode;

// ---- cTextException -------------------------------------------------------------

cTextException::cTextException(const char* format, ...) : iReserved(0)
{
    // The limit is one less than the buffer: the formatter never writes the
    // last byte, so a message keeps at most 254 characters.
    caMessage[0] = '\0';
    caMessage[sizeof caMessage - 1] = '\0';
    if (!format)
        return;
    va_list args;
    va_start(args, format);
    const int written = std::vsnprintf(caMessage, sizeof caMessage - 1, format, args);
    va_end(args);
    if (written < 0)
        caMessage[0] = '\0';
}

cTextException::~cTextException() noexcept = default;

const char* cTextException::what() const noexcept
{
    return caMessage;
}

// ---- XMLUtilError ---------------------------------------------------------------

namespace {

enum class Severity { warning, error, fatal };

[[noreturn]] void throw_report(Severity severity, const SAXParseException& e)
{
    // Both texts are temporaries, gone before the throw.
    const std::string systemId = narrow(e.getSystemId());
    const int line = static_cast<int>(e.getLineNumber());
    const int column = static_cast<int>(e.getColumnNumber());
    const std::string message = narrow(e.getMessage());
    switch (severity) {
    case Severity::warning:
        throw cTextException("Warning at (file %s, line %d, char %d): %s\n", systemId.c_str(), line, column,
                             message.c_str());
    case Severity::error:
        throw cTextException("Error at (file %s, line %d, char %d): %s\n", systemId.c_str(), line, column,
                             message.c_str());
    case Severity::fatal:
        break;
    }
    throw cTextException("Fatal Error at (file %s, line %d, char %d): %s\n", systemId.c_str(), line, column,
                         message.c_str());
}

} // namespace

XMLUtilError::~XMLUtilError() = default;

void XMLUtilError::warning(const SAXParseException& e)
{
    throw_report(Severity::warning, e);
}

void XMLUtilError::error(const SAXParseException& e)
{
    throw_report(Severity::error, e);
}

void XMLUtilError::fatalError(const SAXParseException& e)
{
    throw_report(Severity::fatal, e);
}

void XMLUtilError::resetErrors() {}

// ---- Parsing ----------------------------------------------------------------------

namespace {

const char kParseFailure[] = "An error occured during parsing\n   Message: %s";
const char kBufferId[] = "XMLRead_ParseBufferID";

// Runs the parse call. Only the parser's own exception types are converted;
// the error handler's cTextException and everything else pass through.
template <class F>
void guarded_parse(const DOMParser& parser, F&& parse)
{
    try {
        parse();
    } catch (const XMLException& e) {
        if (e.getCode() == xercesc::XMLExcepts::Out_Of_Memory) {
            // The parse hit its memory cap (or the system ran out): most
            // likely an entity that expands far beyond the size of the input.
            const std::size_t budget = HandleAccess::guard(parser).exceeded_budget() >> 20;
            throw cTextException(kParseFailure, budget ? ("out of memory: the document needs more than the " +
                                                          std::to_string(budget) + " MiB its parse may use")
                                                             .c_str()
                                                       : "out of memory");
        }
        // The parser's words are deliberately not carried over here.
        throw cTextException(kParseFailure, "");
    } catch (const DOM_DOMException& e) {
        std::unique_ptr<char[]> message(e.msg.transcode());
        throw cTextException(kParseFailure, message.get());
    }
}

// Xerces-C takes a zero character for the end of the input and, after the
// root element, ignores whatever follows it. Such a character is part of the
// input and invalid there, so it is reported like any invalid character,
// just past it, as the parser places the others. Files and buffers alike.
void reject_zero_character(const DOMParser& parser, ErrorHandler& handler)
{
    const ParseGuard::ZeroStop& stop = HandleAccess::guard(parser).zero_stop();
    if (!stop.found)
        return;
    static const XMLCh message[] = u"invalid character 0x0";
    handler.fatalError(SAXParseException(message, nullptr, stop.systemId.c_str(), stop.line, stop.column + 1));
}

DOM_Document built_document(DOMParser& parser)
{
    DOM_Document doc = parser.getDocument();
    if (doc.isNull())
        throw cTextException(kParseFailure, "no document was built");
    return doc;
}

} // namespace

DOM_Document ParseFile(const std::string& fileName, bool validate)
{
    initialize_platform();
    DOMParser parser;
    parser.setDoValidation(validate);
    XMLUtilError handler;
    parser.setErrorHandler(&handler);
    guarded_parse(parser, [&] { parser.parse(fileName.c_str(), false); });
    reject_zero_character(parser, handler);
    return built_document(parser);
}

DOM_Document ParseBuffer(const char* buffer, unsigned int length, bool validate)
{
    static const char kNothing[1] = {0};
    if (!buffer) {
        buffer = kNothing;
        length = 0;
    }
    initialize_platform();
    DOMParser parser;
    parser.setDoValidation(validate);
    XMLUtilError handler;
    parser.setErrorHandler(&handler);
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(buffer), length, kBufferId, false);
    guarded_parse(parser, [&] { parser.parse(source, false); });
    reject_zero_character(parser, handler);
    return built_document(parser);
}

void AllowEntityFolder(const std::string& folder)
{
    allow_entity_folder(folder);
}

// ---- Reading --------------------------------------------------------------------

DOM_Node GetNodeByName(const DOM_Node& parent, const std::string& name)
{
    DOMNode* root = impl(parent);
    if (!root)
        return parent;
    // Only the first match in document order counts, and only when it is a
    // direct child: a same-named element nested in an earlier sibling hides
    // a later direct child. Deliberate; callers rely on it.
    const WideText wanted(name.c_str());
    DocumentShare* share = HandleAccess::share(parent);
    if (!share->lookups)
        share->lookups.reset(new LookupCache);
    LookupCache::Slot& entry =
        share->lookups->find(share->changes, root, std::u16string_view(wanted.c_str(), wanted.size()));
    if (!entry.filled) {
        const bool matchAll = wanted.size() == 1 && wanted.c_str()[0] == u'*';
        bool direct = false;
        DOMNode* first = first_element_named(root, wanted.c_str(), matchAll, direct);
        entry.found = direct ? first : nullptr;
        entry.filled = true;
    }
    return HandleAccess::make<DOM_Node>(entry.found, share);
}

std::string DOM2STLstring(const DOMString& text)
{
    // Null and empty strings both give "": the DOM hands out empty text as
    // the null string, and callers read both alike.
    std::string out;
    narrow_append(text.rawBuffer(), text.length(), out);
    return out;
}

bool ReadNodeData(const DOM_Node& node, std::string& data, std::string defaultValue)
{
    data = std::move(defaultValue);
    DOMNode* element = impl(node);
    if (!element)
        return false;
    for (DOMNode* child = element->getFirstChild(); child; child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::TEXT_NODE) {
            assign_narrow(child->getNodeValue(), data);
            return true;
        }
    }
    return false;
}

bool ReadNodeData(const DOM_Node& node, std::string& data, char* defaultValue)
{
    return ReadNodeData(node, data, std::string(defaultValue));
}

bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data, std::string defaultValue)
{
    const DOM_Node child = GetNodeByName(parent, name);
    return ReadNodeData(child, data, std::move(defaultValue));
}

bool ReadNodeData(const DOM_Node& parent, const std::string& name, std::string& data, char* defaultValue)
{
    std::string fallback(defaultValue);
    return ReadNodeData(parent, name, data, std::move(fallback));
}

bool GetNamedAttributeValue(const DOM_Node& node, const std::string& name, std::string& value)
{
    value.clear();
    DOMNode* element = impl(node);
    xercesc::DOMNamedNodeMap* attributes = element ? element->getAttributes() : nullptr;
    if (!attributes)
        return false;
    const WideText wanted(name.c_str());
    DOMNode* attribute = attributes->getNamedItem(wanted.c_str());
    if (!attribute)
        return false;
    // An empty attribute is found with "", although getAttribute gives the
    // null string for it.
    assign_narrow(attribute_value(attribute), value);
    return true;
}

std::string GetNodeName(const DOM_Node& node)
{
    DOMNode* n = impl(node);
    return n ? narrow(n->getNodeName()) : std::string();
}

std::ostream& operator<<(std::ostream& os, const DOMString& text)
{
    return os << DOM2STLstring(text);
}
