#include "dom_internal.h"

#include <cstring>

namespace xmlutil_detail {

char* narrow_into(const XMLCh* text, std::size_t length, char* dest) noexcept
{
    for (std::size_t i = 0; i < length && text[i] != 0; ++i)
        *dest++ = narrow_char(text, i, length);
    return dest;
}

void narrow_append(const XMLCh* text, std::size_t length, std::string& out)
{
    if (!text || length == 0)
        return;
    // Sized once and written in place: this runs for every text read.
    const std::size_t start = out.size();
    out.resize(start + length);
    char* end = narrow_into(text, length, &out[start]);
    out.resize(static_cast<std::size_t>(end - out.data()));
}

void assign_narrow(const XMLCh* text, std::string& out)
{
    out.clear();
    if (text)
        narrow_append(text, std::char_traits<char16_t>::length(text), out);
}

const XMLCh* attribute_value(const xercesc::DOMNode* attribute)
{
    // The usual attribute holds one text node. Reading it directly spares the
    // dynamic_cast with which Xerces-C 3.2 starts its general answer.
    const xercesc::DOMNode* first = attribute->getFirstChild();
    if (!first)
        return u"";
    if (first->getNodeType() == xercesc::DOMNode::TEXT_NODE && !first->getNextSibling())
        return first->getNodeValue();
    return attribute->getNodeValue();
}

std::string narrow(const XMLCh* text)
{
    std::string out;
    assign_narrow(text, out);
    return out;
}

bool narrow_equals(const XMLCh* text, const char* bytes, std::size_t length) noexcept
{
    if (!text)
        return length == 0;
    const std::size_t units = std::char_traits<char16_t>::length(text);
    std::size_t matched = 0;
    for (std::size_t i = 0; i < units; ++i) {
        if (matched == length || narrow_char(text, i, units) != bytes[matched])
            return false;
        ++matched;
    }
    return matched == length;
}

std::u16string widen(const char* text, std::size_t length)
{
    std::u16string out(length, u'\0');
    for (std::size_t i = 0; i < length; ++i)
        out[i] = static_cast<unsigned char>(text[i]);
    return out;
}

WideText::WideText(const char* text) : fData(fInline), fSize(text ? std::strlen(text) : 0)
{
    XMLCh* dest = fInline;
    if (fSize >= kInline) {
        fHeap.reset(new XMLCh[fSize + 1]);
        dest = fHeap.get();
        fData = dest;
    }
    for (std::size_t i = 0; i < fSize; ++i)
        dest[i] = static_cast<unsigned char>(text[i]);
    dest[fSize] = 0;
}

bool equal_text(const XMLCh* a, const XMLCh* b) noexcept
{
    if (!a || !b)
        return (a ? *a : 0) == (b ? *b : 0);
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

} // namespace xmlutil_detail

DOMString::DOMString() noexcept : fNull(true) {}

DOMString::DOMString(int) noexcept : fNull(true) {}

DOMString::DOMString(const XMLCh* text) : fNull(text == nullptr)
{
    if (text)
        fText.assign(text);
}

DOMString::DOMString(const XMLCh* text, unsigned int length) : fNull(text == nullptr)
{
    if (text)
        fText.assign(text, length);
}

DOMString::DOMString(const char* text) : fNull(text == nullptr)
{
    if (text)
        fText = xmlutil_detail::widen(text, std::strlen(text));
}

DOMString::DOMString(const DOMString& other) = default;

DOMString::DOMString(DOMString&& other) noexcept : fText(std::move(other.fText)), fNull(other.fNull)
{
    other.fNull = true;
}

DOMString::~DOMString() = default;

DOMString& DOMString::operator=(const DOMString& other) = default;

DOMString& DOMString::operator=(DOMString&& other) noexcept
{
    fText = std::move(other.fText);
    fNull = other.fNull;
    other.fText.clear();
    other.fNull = true;
    return *this;
}

DOMString& DOMString::operator=(const DOM_NullPtr*) noexcept
{
    fText.clear();
    fNull = true;
    return *this;
}

unsigned int DOMString::length() const noexcept
{
    return static_cast<unsigned int>(fText.size());
}

const XMLCh* DOMString::rawBuffer() const noexcept
{
    return fNull ? nullptr : fText.c_str();
}

XMLCh DOMString::charAt(unsigned int index) const noexcept
{
    return index < fText.size() ? fText[index] : 0;
}

bool DOMString::equals(const DOMString& other) const noexcept
{
    return fText == other.fText;
}

bool DOMString::equals(const char* other) const
{
    return equals(DOMString(other));
}

bool DOMString::operator==(const DOMString& other) const noexcept
{
    return equals(other);
}

bool DOMString::operator!=(const DOMString& other) const noexcept
{
    return !equals(other);
}

bool DOMString::operator==(const DOM_NullPtr*) const noexcept
{
    return fNull;
}

bool DOMString::operator!=(const DOM_NullPtr*) const noexcept
{
    return !fNull;
}

void DOMString::appendData(const DOMString& other)
{
    if (other.fNull)
        return;
    fText += other.fText;
    fNull = false;
}

void DOMString::appendData(XMLCh ch)
{
    fText.push_back(ch);
    fNull = false;
}

char* DOMString::transcode() const
{
    std::string bytes;
    xmlutil_detail::narrow_append(fText.data(), fText.size(), bytes);
    char* copy = new char[bytes.size() + 1];
    std::memcpy(copy, bytes.c_str(), bytes.size() + 1);
    return copy;
}

DOMString DOMString::transcode(const char* text)
{
    return DOMString(text);
}
