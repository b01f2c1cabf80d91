#include "internal.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

namespace xmlutil_detail {

bool NotSpace::operator()(char c) const noexcept
{
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x80)
        return !(byte == 0x20 || (byte >= 0x09 && byte <= 0x0D));
    return std::isspace(byte) == 0;
}

} // namespace xmlutil_detail

using xmlutil_detail::NotSpace;

void TrimLeft(std::string& text)
{
    if (text.empty())
        return;
    const auto first = std::find_if(text.begin(), text.end(), NotSpace());
    if (first != text.begin())
        text.erase(text.begin(), first);
}

void TrimRight(std::string& text)
{
    if (text.empty())
        return;
    const auto last = std::find_if(text.rbegin(), text.rend(), NotSpace());
    if (last != text.rbegin())
        text.erase(last.base(), text.end());
}

void Trim(std::string& text)
{
    TrimLeft(text);
    TrimRight(text);
}

void FindAndRepleace(std::string& text, char ch, std::string replacement)
{
    std::string result;
    std::string::size_type start = 0;
    std::string::size_type found;
    // The search runs over the input only, so a replacement holding `ch` is
    // never replaced again.
    while ((found = text.find(ch, start)) != std::string::npos) {
        result.append(text, start, found - start);
        result += replacement;
        start = found + 1;
    }
    // Deliberately tested before the tail is added: an empty replacement of
    // a run at the very start leaves the text as it was.
    if (result.empty())
        return;
    result.append(text, start, std::string::npos);
    text = std::move(result);
}

// ---- Writer -----------------------------------------------------------------------

// The writer's nesting depth: one per thread, so that two threads can write
// two documents at once. Not exported.
static thread_local int iTapFormatDepth = 0;

using xercesc::DOMNode;
using namespace xmlutil_detail;

namespace {

// What the escaping pass replaces, by byte; null for bytes written as they
// are. One table lookup per byte gives exactly what the eleven replacement
// passes (ampersand first) would give, since no reference contains a byte
// that a later pass replaces.
struct EscapeTable {
    const char* replacement[256] = {};
    constexpr EscapeTable()
    {
        replacement[0x26] = "&amp;";
        replacement[0x3C] = "&lt;";
        replacement[0x3E] = "&gt;";
        replacement[0x22] = "&quot;";
        replacement[0xE4] = "&#228;";
        replacement[0xF6] = "&#246;";
        replacement[0xFC] = "&#252;";
        replacement[0xC4] = "&#196;";
        replacement[0xD6] = "&#214;";
        replacement[0xDC] = "&#220;";
        replacement[0xDF] = "&#223;";
    }
};
constexpr EscapeTable kEscapes;

// Characters of a node's text up to its first zero character, as the
// conversion to bytes would take them.
std::size_t text_length(const XMLCh* text)
{
    std::size_t n = 0;
    if (text)
        while (text[n] != 0)
            ++n;
    return n;
}

// White space as the writer sees it: a character above U+00FF becomes a
// non-space byte in the conversion.
bool is_space(XMLCh ch)
{
    return ch <= 0xFF && !NotSpace()(static_cast<char>(ch));
}

bool is_high_surrogate(XMLCh ch)
{
    return ch >= 0xD800 && ch <= 0xDBFF;
}

bool is_low_surrogate(XMLCh ch)
{
    return ch >= 0xDC00 && ch <= 0xDFFF;
}

enum class Content { nothing, blank, text };

// Appends the cleaned form of `text` to `out`: trimmed, escaped, and every
// character above U+00FF as a decimal reference (the only lossless form in
// an ISO-8859-1 document). A text of white space only is `blank`: the
// caller writes one end-of-line for it.
Content append_clean(const XMLCh* text, std::string& out)
{
    std::size_t end = text_length(text);
    if (end == 0)
        return Content::nothing;
    std::size_t begin = 0;
    while (begin < end && is_space(text[begin]))
        ++begin;
    if (begin == end)
        return Content::blank;
    while (is_space(text[end - 1]))
        --end;
    for (std::size_t i = begin; i < end; ++i) {
        const XMLCh ch = text[i];
        if (ch <= 0xFF) {
            if (const char* replacement = kEscapes.replacement[ch])
                out += replacement;
            else
                out += static_cast<char>(ch);
            continue;
        }
        unsigned long code = ch;
        if (is_high_surrogate(ch) && i + 1 < end && is_low_surrogate(text[i + 1])) {
            code = 0x10000 + ((static_cast<unsigned long>(ch) - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (is_high_surrogate(ch) || is_low_surrogate(ch)) {
            out += '?'; // half a character has no reference
            continue;
        }
        out += "&#";
        out += std::to_string(code);
        out += ';';
    }
    return Content::text;
}

void append_text(const XMLCh* text, std::string& out)
{
    narrow_append(text, text_length(text), out);
}

bool is_garbage(const DOMNode* node)
{
    const XMLCh* value = node->getNodeValue();
    const std::size_t n = text_length(value);
    if (n == 0)
        return false;
    for (std::size_t i = 0; i < n; ++i)
        if (!is_space(value[i]))
            return false;
    return true;
}

bool is_text(const DOMNode* node)
{
    return node->getNodeType() == DOMNode::TEXT_NODE;
}

void append_tabs(std::string& out)
{
    for (int level = 0; level < iTapFormatDepth; ++level)
        out += "    ";
}

// Writes a tree without recursion: the stack holds one frame per open
// document, element or entity reference, so deep documents need no more
// machine stack than flat ones.
class TreeWriter {
public:
    explicit TreeWriter(std::ostream& out) : fOut(out) {}

    void write(DOMNode* root)
    {
        if (enter(root)) {
            while (!fStack.empty()) {
                Frame& frame = fStack.back();
                DOMNode* child = frame.next;
                if (frame.type == DOMNode::ELEMENT_NODE)
                    while (child && is_text(child) && is_garbage(child))
                        child = child->getNextSibling();
                if (!child) {
                    const Frame done = frame;
                    fStack.pop_back();
                    leave(done);
                    if (!fStack.empty())
                        after_child(fStack.back(), done.node);
                    continue;
                }
                frame.next = child->getNextSibling();
                if (!enter(child))
                    after_child(fStack.back(), child);
            }
        }
        flush_line();
    }

private:
    struct Frame {
        DOMNode* node;
        DOMNode* next;     // the next child to write
        short type;        // document, element or entity reference
        bool textFirst;    // an element whose first child is text with content
    };

    // Opens `node`; true when it left a frame for its children.
    bool enter(DOMNode* node)
    {
        switch (node->getNodeType()) {
        case DOMNode::DOCUMENT_NODE:
            fLine += "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";
            iTapFormatDepth = 0;
            fStack.push_back({node, node->getFirstChild(), DOMNode::DOCUMENT_NODE, false});
            return true;
        case DOMNode::ELEMENT_NODE:
            return open_element(node);
        case DOMNode::TEXT_NODE:
            if (append_clean(node->getNodeValue(), fLine) == Content::blank)
                end_line();
            return false;
        case DOMNode::CDATA_SECTION_NODE:
            fLine += "<![CDATA[";
            append_text(node->getNodeValue(), fLine);
            fLine += "]]>";
            return false;
        case DOMNode::ENTITY_REFERENCE_NODE:
            // Written as its expansion, never as a reference.
            fStack.push_back({node, node->getFirstChild(), DOMNode::ENTITY_REFERENCE_NODE, false});
            return true;
        case DOMNode::PROCESSING_INSTRUCTION_NODE:
            fLine += "<?";
            append_text(node->getNodeName(), fLine);
            fLine += ' ';
            append_text(node->getNodeValue(), fLine);
            fLine += "?>";
            return false;
        case DOMNode::COMMENT_NODE:
            fLine += "<!--";
            append_text(node->getNodeValue(), fLine);
            fLine += "-->";
            return false;
        default:
            return false; // attributes, document types, fragments, entities, notations
        }
    }

    bool open_element(DOMNode* element)
    {
        append_tabs(fLine);
        fLine += '<';
        append_text(element->getNodeName(), fLine);
        if (xercesc::DOMNamedNodeMap* attributes = element->getAttributes()) {
            const XMLSize_t count = attributes->getLength();
            for (XMLSize_t i = 0; i < count; ++i) {
                DOMNode* attribute = attributes->item(i);
                fLine += ' ';
                append_text(attribute->getNodeName(), fLine);
                fLine += "=\"";
                // A white-space-only value becomes one end-of-line, inside
                // the quotes too.
                if (append_clean(attribute_value(attribute), fLine) == Content::blank)
                    end_line();
                fLine += '"';
            }
        }
        DOMNode* first = element->getFirstChild();
        if (!first) {
            fLine += "/>";
            return false;
        }
        fLine += '>';
        DOMNode* start = first;
        bool textFirst = false;
        if (!is_text(first)) {
            end_line();
        } else if (is_garbage(first)) {
            end_line();
            start = first->getNextSibling();
        } else {
            textFirst = true;
        }
        ++iTapFormatDepth;
        fStack.push_back({element, start, DOMNode::ELEMENT_NODE, textFirst});
        return true;
    }

    void leave(const Frame& frame)
    {
        if (frame.type != DOMNode::ELEMENT_NODE)
            return;
        --iTapFormatDepth;
        // Text with content keeps its closing tag on its own line.
        if (!frame.textFirst)
            append_tabs(fLine);
        fLine += "</";
        append_text(frame.node->getNodeName(), fLine);
        fLine += '>';
    }

    void after_child(const Frame& parent, const DOMNode* child)
    {
        if (parent.type == DOMNode::DOCUMENT_NODE || (parent.type == DOMNode::ELEMENT_NODE && !is_text(child)))
            end_line();
    }

    // Every end-of-line is std::endl: the caller's stream is flushed there.
    void end_line()
    {
        flush_line();
        fOut << std::endl;
    }

    void flush_line()
    {
        if (!fLine.empty()) {
            fOut.write(fLine.data(), static_cast<std::streamsize>(fLine.size()));
            fLine.clear();
        }
    }

    std::ostream& fOut;
    std::string fLine; // bytes of the current line not yet handed to the stream
    std::vector<Frame> fStack;
};

} // namespace

std::ostream& operator<<(std::ostream& out, DOM_Node& node)
{
    if (DOMNode* root = impl(node))
        TreeWriter(out).write(root);
    return out;
}

std::string CreateTabs()
{
    std::string tabs;
    append_tabs(tabs);
    return tabs;
}

bool TestForGarbage(const DOM_Node& node)
{
    const DOMNode* n = impl(node);
    return n && is_garbage(n);
}

void outputContent(std::ostream& out, const DOMString& text, bool clean)
{
    if (!clean) {
        out << text;
        return;
    }
    std::string bytes;
    const Content content = append_clean(text.rawBuffer(), bytes);
    if (content == Content::blank)
        out << std::endl;
    else if (content == Content::text)
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
