// SPDX-License-Identifier: Apache-2.0
#include "internal.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <memory>
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

// What the escaping pass writes for each byte: the byte itself (length 0
// here) or its reference. One table lookup per byte gives exactly what the
// eleven replacement passes (ampersand first) would give, since no reference
// contains a byte that a later pass replaces. References sit in eight-byte
// slots so that one fixed-size copy writes any of them.
struct EscapeTable {
    char replacement[256][8] = {};
    unsigned char length[256] = {};
    constexpr void set(unsigned char byte, const char* text)
    {
        unsigned char size = 0;
        while (text[size]) {
            replacement[byte][size] = text[size];
            ++size;
        }
        length[byte] = size;
    }
    constexpr EscapeTable()
    {
        set(0x26, "&amp;");
        set(0x3C, "&lt;");
        set(0x3E, "&gt;");
        set(0x22, "&quot;");
        set(0xE4, "&#228;");
        set(0xF6, "&#246;");
        set(0xFC, "&#252;");
        set(0xC4, "&#196;");
        set(0xD6, "&#214;");
        set(0xDC, "&#220;");
        set(0xDF, "&#223;");
    }
};
constexpr EscapeTable kEscapes;

// Longest output for one 16-bit unit: "&#65535;" for a character below
// U+10000 (one above takes two units for its at most ten bytes); the
// fixed-size copy of a reference writes up to eight bytes too.
constexpr std::size_t kMaxPerUnit = 8;

// Bytes being gathered for the stream: grows without filling, so that the
// writer can reserve the worst case and write through a pointer.
class ByteBuffer {
public:
    char* reserve(std::size_t more)
    {
        if (fSize + more > fCapacity)
            grow(fSize + more);
        return fData.get() + fSize;
    }
    void commit(char* end) { fSize = static_cast<std::size_t>(end - fData.get()); }
    void append(const char* bytes, std::size_t count)
    {
        std::memcpy(reserve(count), bytes, count);
        fSize += count;
    }
    void push(char byte) { *reserve(1) = byte, ++fSize; }
    void spaces(std::size_t count)
    {
        std::memset(reserve(count), ' ', count);
        fSize += count;
    }
    const char* data() const noexcept { return fData.get(); }
    std::size_t size() const noexcept { return fSize; }
    void clear() noexcept { fSize = 0; }

private:
    void grow(std::size_t needed)
    {
        std::size_t capacity = fCapacity ? fCapacity * 2 : 256;
        while (capacity < needed)
            capacity *= 2;
        std::unique_ptr<char[]> bigger(new char[capacity]);
        if (fSize)
            std::memcpy(bigger.get(), fData.get(), fSize);
        fData = std::move(bigger);
        fCapacity = capacity;
    }

    std::unique_ptr<char[]> fData;
    std::size_t fSize = 0;
    std::size_t fCapacity = 0;
};

// Characters of a node's text up to its first zero character, as the
// conversion to bytes would take them.
std::size_t text_length(const XMLCh* text)
{
    return text ? std::char_traits<char16_t>::length(text) : 0;
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
Content append_clean(const XMLCh* text, std::size_t length, ByteBuffer& out)
{
    std::size_t end = length;
    if (end == 0)
        return Content::nothing;
    std::size_t begin = 0;
    while (begin < end && is_space(text[begin]))
        ++begin;
    if (begin == end)
        return Content::blank;
    while (is_space(text[end - 1]))
        --end;
    char* dest = out.reserve((end - begin) * kMaxPerUnit);
    for (std::size_t i = begin; i < end; ++i) {
        const XMLCh ch = text[i];
        if (ch <= 0xFF) {
            const unsigned char size = kEscapes.length[ch];
            if (size == 0) {
                *dest++ = static_cast<char>(ch);
                continue;
            }
            std::memcpy(dest, kEscapes.replacement[ch], 8);
            dest += size;
            continue;
        }
        unsigned long code = ch;
        if (is_high_surrogate(ch) && i + 1 < end && is_low_surrogate(text[i + 1])) {
            code = 0x10000 + ((static_cast<unsigned long>(ch) - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (is_high_surrogate(ch) || is_low_surrogate(ch)) {
            *dest++ = '?'; // half a character has no reference
            continue;
        }
        char digits[8];
        int count = 0;
        do {
            digits[count++] = static_cast<char>('0' + code % 10);
            code /= 10;
        } while (code);
        *dest++ = '&';
        *dest++ = '#';
        while (count)
            *dest++ = digits[--count];
        *dest++ = ';';
    }
    out.commit(dest);
    return Content::text;
}

Content append_clean(const XMLCh* text, ByteBuffer& out)
{
    return append_clean(text, text_length(text), out);
}

// The characters of a text node. Its length comes from the node: a text
// node never holds a zero character, so it ends where its value ends.
std::size_t text_node_length(const DOMNode* node)
{
    return static_cast<const xercesc::DOMCharacterData*>(node)->getLength();
}

// Names, comments, CDATA and processing instructions: unescaped, with '?'
// for a character above U+00FF, as the 8-bit conversion gives them.
void append_text(const XMLCh* text, ByteBuffer& out)
{
    const std::size_t length = text_length(text);
    out.commit(narrow_into(text, length, out.reserve(length)));
}

bool all_space(const XMLCh* value, std::size_t n)
{
    if (n == 0)
        return false;
    for (std::size_t i = 0; i < n; ++i)
        if (!is_space(value[i]))
            return false;
    return true;
}

// TestForGarbage: a non-empty value of white space only, whatever the node.
bool is_garbage(const DOMNode* node)
{
    const XMLCh* value = node->getNodeValue();
    return all_space(value, text_length(value));
}

bool is_text(const DOMNode* node)
{
    return node->getNodeType() == DOMNode::TEXT_NODE;
}

// Writes a tree without recursion: the stack holds one frame per open
// document, element or entity reference, so deep documents need no more
// machine stack than flat ones.
class TreeWriter {
public:
    // With `eachLine`, every end-of-line is handed to the stream with a
    // flush, as std::endl does; without, the bytes go out in large blocks
    // (for a stream of the library's own, where nobody sees the flushes).
    TreeWriter(std::ostream& out, bool eachLine) : fOut(out), fEachLine(eachLine), fDepth(iTapFormatDepth)
    {
        fStack.reserve(32);
    }

    void write(DOMNode* root)
    {
        if (enter(root)) {
            while (!fStack.empty()) {
                Frame& frame = fStack.back();
                DOMNode* child = frame.next;
                if (frame.type == DOMNode::ELEMENT_NODE)
                    while (child && is_text(child) && blank_text(child))
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
                // An XML declaration node leaves no trace, not even its line.
                if (xmlutil_detail::is_xml_decl(child))
                    continue;
                if (!enter(child))
                    after_child(fStack.back(), child);
            }
        }
        hand_over();
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
            fLine.append("<?xml version='1.0' encoding='ISO-8859-1' ?>\n", 45);
            fDepth = 0;
            fStack.push_back({node, node->getFirstChild(), DOMNode::DOCUMENT_NODE, false});
            return true;
        case DOMNode::ELEMENT_NODE:
            return open_element(node);
        case DOMNode::TEXT_NODE:
            if (append_clean(node->getNodeValue(), text_node_length(node), fLine) == Content::blank)
                end_line();
            return false;
        case DOMNode::CDATA_SECTION_NODE:
            fLine.append("<![CDATA[", 9);
            append_text(node->getNodeValue(), fLine);
            fLine.append("]]>", 3);
            return false;
        case DOMNode::ENTITY_REFERENCE_NODE:
            // Written as its expansion, never as a reference.
            fStack.push_back({node, node->getFirstChild(), DOMNode::ENTITY_REFERENCE_NODE, false});
            return true;
        case DOMNode::PROCESSING_INSTRUCTION_NODE:
            // An XML declaration node: a document writes its own declaration,
            // and one anywhere else would not be XML.
            if (xmlutil_detail::is_xml_decl(node))
                return false;
            fLine.append("<?", 2);
            append_text(node->getNodeName(), fLine);
            fLine.push(' ');
            append_text(node->getNodeValue(), fLine);
            fLine.append("?>", 2);
            return false;
        case DOMNode::COMMENT_NODE:
            fLine.append("<!--", 4);
            append_text(node->getNodeValue(), fLine);
            fLine.append("-->", 3);
            return false;
        default:
            return false; // attributes, document types, fragments, entities, notations
        }
    }

    bool open_element(DOMNode* element)
    {
        indent();
        fLine.push('<');
        append_name(element->getNodeName());
        if (xercesc::DOMNamedNodeMap* attributes = element->getAttributes()) {
            // The map's order is the classic DOM's, not Xerces-C 3's.
            const XMLSize_t count = attributes->getLength();
            fAttributes.resize(count);
            for (XMLSize_t i = 0; i < count; ++i)
                fAttributes[i] = attributes->item(i);
            if (count > 1)
                std::sort(fAttributes.begin(), fAttributes.end(), xmlutil_detail::classic_attribute_before);
            for (DOMNode* attribute : fAttributes) {
                fLine.push(' ');
                append_name(attribute->getNodeName());
                fLine.append("=\"", 2);
                // A white-space-only value becomes one end-of-line, inside
                // the quotes too.
                if (append_clean(attribute_value(attribute), fLine) == Content::blank)
                    end_line();
                fLine.push('"');
            }
        }
        DOMNode* first = element->getFirstChild();
        // XML declaration nodes are not written, so they shape nothing.
        while (first && xmlutil_detail::is_xml_decl(first))
            first = first->getNextSibling();
        if (!first) {
            fLine.append("/>", 2);
            return false;
        }
        fLine.push('>');
        DOMNode* start = first;
        bool textFirst = false;
        if (!is_text(first)) {
            end_line();
        } else if (blank_text(first)) {
            end_line();
            start = first->getNextSibling();
        } else {
            textFirst = true;
        }
        ++fDepth;
        fStack.push_back({element, start, DOMNode::ELEMENT_NODE, textFirst});
        return true;
    }

    void leave(const Frame& frame)
    {
        if (frame.type != DOMNode::ELEMENT_NODE)
            return;
        --fDepth;
        // Text with content keeps its closing tag on its own line.
        if (!frame.textFirst)
            indent();
        fLine.append("</", 2);
        append_name(frame.node->getNodeName());
        fLine.push('>');
    }

    void after_child(const Frame& parent, const DOMNode* child)
    {
        if (parent.type == DOMNode::DOCUMENT_NODE || (parent.type == DOMNode::ELEMENT_NODE && !is_text(child)))
            end_line();
    }

    // TestForGarbage for a text node.
    static bool blank_text(const DOMNode* text) { return all_space(text->getNodeValue(), text_node_length(text)); }

    // Element and attribute names repeat, and a document keeps one copy of
    // each distinct name, so their 8-bit forms are remembered by address.
    void append_name(const XMLCh* name)
    {
        NameSlot& slot = fNames[(reinterpret_cast<std::uintptr_t>(name) >> 3) % kNameSlots];
        if (slot.name != name) {
            ByteBuffer bytes;
            append_text(name, bytes);
            slot.name = name;
            slot.bytes.assign(bytes.data(), bytes.size());
        }
        fLine.append(slot.bytes.data(), slot.bytes.size());
    }

    void indent()
    {
        if (fDepth > 0)
            fLine.spaces(4 * static_cast<std::size_t>(fDepth));
    }

    // An end-of-line, with the flush of std::endl on a caller's stream.
    void end_line()
    {
        fLine.push('\n');
        if (fEachLine) {
            hand_over();
            fOut.flush();
        } else if (fLine.size() >= kBlock) {
            hand_over();
        }
    }

    void hand_over()
    {
        if (fLine.size()) {
            fOut.write(fLine.data(), static_cast<std::streamsize>(fLine.size()));
            fLine.clear();
        }
    }

    static constexpr std::size_t kBlock = std::size_t{1} << 16;
    static constexpr std::size_t kNameSlots = 64;

    struct NameSlot {
        const XMLCh* name = nullptr;
        std::string bytes;
    };

    std::ostream& fOut;
    const bool fEachLine;
    int& fDepth; // this thread's iTapFormatDepth, looked up once
    std::vector<DOMNode*> fAttributes; // the element's attributes in the map's classic order
    ByteBuffer fLine; // bytes not yet handed to the stream
    std::vector<Frame> fStack;
    NameSlot fNames[kNameSlots];
};

} // namespace

namespace xmlutil_detail {

void write_tree(std::ostream& out, DOM_Node& node, bool eachLine)
{
    if (DOMNode* root = impl(node))
        TreeWriter(out, eachLine).write(root);
}

} // namespace xmlutil_detail

std::ostream& operator<<(std::ostream& out, DOM_Node& node)
{
    write_tree(out, node, true);
    return out;
}

std::string CreateTabs()
{
    return std::string(iTapFormatDepth > 0 ? 4 * static_cast<std::size_t>(iTapFormatDepth) : 0, ' ');
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
    ByteBuffer bytes;
    const Content content = append_clean(text.rawBuffer(), bytes);
    if (content == Content::blank)
        out << std::endl;
    else if (content == Content::text)
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
