// SPDX-License-Identifier: Apache-2.0
#include "xml_doc.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <memory>

namespace xmlutil_edit {

// Converts `in` from one iconv encoding to another; false at the first
// character the target cannot hold or the source does not encode.
bool recode(const char* from, const char* to, const std::string& in, std::string& out)
{
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        return false;
    }
    out.clear();
    out.reserve(in.size() + in.size() / 2 + 16);
    char* src = const_cast<char*>(in.data());
    std::size_t left = in.size();
    char block[16384];
    bool ok = true;
    while (left > 0) {
        char* dst = block;
        std::size_t room = sizeof block;
        const std::size_t r = iconv(cd, &src, &left, &dst, &room);
        out.append(block, static_cast<std::size_t>(dst - block));
        if (r == static_cast<std::size_t>(-1) && errno != E2BIG) {
            ok = false;
            break;
        }
    }
    iconv_close(cd);
    return ok;
}

namespace {

std::string upper(std::string s)
{
    for (char& c : s) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return s;
}

bool is_space(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool is_name_end(char c)
{
    return is_space(c) || c == '/' || c == '>' || c == '=';
}

void append_utf8(std::string& out, unsigned long c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Text that an entity reference expands to may not grow without bound.
constexpr std::size_t max_expanded = std::size_t(64) << 20;

std::string to_utf8(const XMLCh* text)
{
    std::string out;
    if (text == nullptr) {
        return out;
    }
    for (const XMLCh* p = text; *p != 0; ++p) {
        unsigned long c = *p;
        if (c >= 0xD800 && c < 0xDC00 && p[1] >= 0xDC00 && p[1] < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00);
            ++p;
        }
        append_utf8(out, c);
    }
    return out;
}

class strict_errors final : public xercesc::ErrorHandler {
public:
    explicit strict_errors(const std::string& label) : fLabel(label) {}
    void warning(const xercesc::SAXParseException& e) override { report("Warning", e); }
    void error(const xercesc::SAXParseException& e) override { report("Error", e); }
    void fatalError(const xercesc::SAXParseException& e) override { report("Fatal Error", e); }
    void resetErrors() override {}

private:
    [[noreturn]] void report(const char* kind, const xercesc::SAXParseException& e)
    {
        throw failure(3, std::string(kind) + " at (file " + fLabel + ", line " + std::to_string(e.getLineNumber()) +
                             ", char " + std::to_string(e.getColumnNumber()) + "): " + to_utf8(e.getMessage()));
    }
    std::string fLabel;
};

// Entities may multiply a small file into gigabytes of text, which the SAX
// pass would read to the end; the library caps a parse at 64 MiB plus 256
// bytes per byte of input, and so does the tool, counting characters.
class text_budget final : public xercesc::DefaultHandler {
public:
    text_budget(const std::string& label, std::size_t input) : fLabel(label), fLeft((std::size_t(64) << 20) + 256 * input) {}
    void characters(const XMLCh* const, const XMLSize_t length) override { spend(length); }
    void ignorableWhitespace(const XMLCh* const, const XMLSize_t length) override { spend(length); }

private:
    void spend(XMLSize_t length)
    {
        if (length > fLeft) {
            throw failure(3, fLabel + ": its entities expand to more text than xmlutil reads (64 MiB plus 256 "
                                      "characters per byte of the file)");
        }
        fLeft -= length;
    }
    std::string fLabel;
    std::size_t fLeft;
};

// The tool edits what is in the file: it reads no external entity, whose
// text it could not place in the file's bytes anyway.
class no_external final : public xercesc::EntityResolver {
public:
    explicit no_external(const std::string& label) : fLabel(label) {}
    xercesc::InputSource* resolveEntity(const XMLCh* const, const XMLCh* const systemId) override
    {
        throw failure(3, fLabel + ": refers to the external entity '" + to_utf8(systemId) +
                             "', which xmlutil does not read");
    }

private:
    std::string fLabel;
};

} // namespace

bool valid_utf8(const std::string& text)
{
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const auto* end = p + text.size();
    while (p < end) {
        const unsigned char c = *p;
        int more = 0;
        unsigned long value = 0;
        if (c < 0x80) {
            ++p;
            continue;
        } else if (c >= 0xC2 && c < 0xE0) {
            more = 1;
            value = c & 0x1F;
        } else if (c >= 0xE0 && c < 0xF0) {
            more = 2;
            value = c & 0x0F;
        } else if (c >= 0xF0 && c < 0xF5) {
            more = 3;
            value = c & 0x07;
        } else {
            return false;
        }
        if (end - p <= more) {
            return false;
        }
        for (int i = 1; i <= more; ++i) {
            if ((p[i] & 0xC0) != 0x80) {
                return false;
            }
            value = (value << 6) | (p[i] & 0x3F);
        }
        if ((more == 2 && (value < 0x800 || (value >= 0xD800 && value < 0xE000))) ||
            (more == 3 && (value < 0x10000 || value > 0x10FFFF))) {
            return false;
        }
        p += more + 1;
    }
    return true;
}

std::string file_encoding::encode(const std::string& text) const
{
    if (utf8) {
        return bom + text;
    }
    std::string out;
    if (!recode("UTF-8", name.c_str(), text, out)) {
        throw failure(3, "the document cannot be written in its encoding " + name);
    }
    return bom + out;
}

bool file_encoding::holds(const std::string& ch) const
{
    if (utf8 || name.compare(0, 6, "UTF-16") == 0 || name.compare(0, 6, "UTF-32") == 0) {
        return true;
    }
    std::string out;
    return recode("UTF-8", name.c_str(), ch, out);
}

bool file_encoding::ascii_compatible() const
{
    // The file's first bytes decided the encoding: a declared name is only
    // taken from a file that starts with "<?xml" in ASCII.
    return utf8 || (name.compare(0, 6, "UTF-16") != 0 && name.compare(0, 6, "UTF-32") != 0);
}

std::string decode_file(const std::string& bytes, file_encoding& encoding, const std::string& label)
{
    const auto starts = [&bytes](const char* prefix, std::size_t n) {
        return bytes.size() >= n && std::memcmp(bytes.data(), prefix, n) == 0;
    };
    std::size_t skip = 0;
    if (starts("\xEF\xBB\xBF", 3)) {
        encoding.bom = bytes.substr(0, 3);
        skip = 3;
    } else if (starts("\xFF\xFE", 2)) {
        encoding.bom = bytes.substr(0, 2);
        encoding.name = "UTF-16LE";
        encoding.utf8 = false;
        skip = 2;
    } else if (starts("\xFE\xFF", 2)) {
        encoding.bom = bytes.substr(0, 2);
        encoding.name = "UTF-16BE";
        encoding.utf8 = false;
        skip = 2;
    } else if (starts("<\0?\0", 4)) {
        encoding.name = "UTF-16LE";
        encoding.utf8 = false;
    } else if (starts("\0<\0?", 4)) {
        encoding.name = "UTF-16BE";
        encoding.utf8 = false;
    } else if (starts("<?xml", 5)) {
        const std::size_t decl_end = bytes.find("?>");
        const std::size_t at = bytes.find("encoding", 5);
        if (at != std::string::npos && at < decl_end) {
            std::size_t q = bytes.find_first_of("\"'", at);
            const std::size_t q_end = q == std::string::npos ? q : bytes.find(bytes[q], q + 1);
            if (q_end != std::string::npos && q_end < decl_end) {
                const std::string name = upper(bytes.substr(q + 1, q_end - q - 1));
                if (name != "UTF-8" && name != "UTF8") {
                    encoding.name = name;
                    encoding.utf8 = false;
                }
            }
        }
    }
    if (encoding.utf8) {
        if (skip == 0) {
            return bytes;
        }
        return bytes.substr(skip);
    }
    std::string text;
    if (!recode(encoding.name.c_str(), "UTF-8", bytes.substr(skip), text)) {
        throw failure(3, label + ": cannot be read in its encoding " + encoding.name);
    }
    // Edits splice the UTF-8 text and convert it back: that must give the
    // same bytes where nothing changed. ISO-8859-1 and UTF-16 map one to one.
    const bool one_to_one = encoding.name == "ISO-8859-1" || encoding.name == "LATIN1" ||
                            encoding.name.compare(0, 6, "UTF-16") == 0;
    std::string again;
    if (!one_to_one && (!recode("UTF-8", encoding.name.c_str(), text, again) || again != bytes.substr(skip))) {
        throw failure(3, label + ": its encoding " + encoding.name + " does not convert back to the same bytes");
    }
    return text;
}

void check_well_formed(const std::string& bytes, const std::string& label)
{
    using namespace xercesc;
    static const bool started = [] {
        XMLPlatformUtils::Initialize();
        return true;
    }();
    (void)started;
    std::unique_ptr<SAX2XMLReader> reader(XMLReaderFactory::createXMLReader());
    reader->setFeature(XMLUni::fgSAX2CoreNameSpaces, false);
    reader->setFeature(XMLUni::fgSAX2CoreValidation, false);
    reader->setFeature(XMLUni::fgXercesLoadExternalDTD, false);
    reader->setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
    SecurityManager limits;
    limits.setEntityExpansionLimit(100000);
    reader->setProperty(XMLUni::fgXercesSecurityManager, &limits);
    strict_errors errors(label);
    no_external resolver(label);
    text_budget budget(label, bytes.size());
    reader->setContentHandler(&budget);
    reader->setErrorHandler(&errors);
    reader->setEntityResolver(&resolver);
    MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(), u"input", false);
    try {
        reader->parse(source);
    } catch (const failure&) {
        throw;
    } catch (const XMLException& e) {
        throw failure(3, label + ": " + to_utf8(e.getMessage()));
    } catch (const OutOfMemoryException&) {
        throw failure(3, label + ": out of memory");
    } catch (...) {
        throw failure(3, label + ": cannot be parsed");
    }
}

// ---- Scanning ------------------------------------------------------------------------

xml_doc::xml_doc(std::string text) : fText(std::move(text))
{
    scan();
}

void xml_doc::scan_doctype(std::size_t& at)
{
    const std::string& s = fText;
    // Up to the internal subset or the end of the declaration.
    while (at < s.size() && s[at] != '[' && s[at] != '>') {
        if (s[at] == '"' || s[at] == '\'') {
            at = s.find(s[at], at + 1);
        }
        ++at;
    }
    if (at < s.size() && s[at] == '[') {
        ++at;
        while (at < s.size() && s[at] != ']') {
            if (s.compare(at, 4, "<!--") == 0) {
                at = s.find("-->", at + 4) + 3;
            } else if (s.compare(at, 2, "<?") == 0) {
                at = s.find("?>", at + 2) + 2;
            } else if (s.compare(at, 8, "<!ENTITY") == 0) {
                std::size_t p = at + 8;
                while (is_space(s[p])) {
                    ++p;
                }
                const bool parameter = s[p] == '%';
                if (parameter) {
                    ++p;
                    while (is_space(s[p])) {
                        ++p;
                    }
                }
                const std::size_t name_begin = p;
                while (!is_space(s[p])) {
                    ++p;
                }
                const std::string name = s.substr(name_begin, p - name_begin);
                while (is_space(s[p])) {
                    ++p;
                }
                std::size_t end = p;
                if (s[p] == '"' || s[p] == '\'') {
                    end = s.find(s[p], p + 1);
                    // An internal entity: its literal with character references
                    // replaced is its replacement text. The first declaration counts.
                    if (!parameter && fEntities.find(name) == fEntities.end()) {
                        std::string literal = s.substr(p + 1, end - p - 1);
                        std::string replacement;
                        for (std::size_t i = 0; i < literal.size(); ++i) {
                            if (literal.compare(i, 2, "&#") == 0) {
                                const std::size_t semi = literal.find(';', i);
                                const bool hex = literal[i + 2] == 'x';
                                const unsigned long c = std::stoul(literal.substr(i + (hex ? 3 : 2)), nullptr, hex ? 16 : 10);
                                append_utf8(replacement, c);
                                i = semi;
                            } else {
                                replacement += literal[i];
                            }
                        }
                        fEntities[name] = replacement;
                    }
                }
                // Past quoted strings up to the declaration's end.
                at = end == p ? p : end + 1;
                while (s[at] != '>') {
                    if (s[at] == '"' || s[at] == '\'') {
                        at = s.find(s[at], at + 1);
                    }
                    ++at;
                }
                ++at;
            } else if (s.compare(at, 2, "<!") == 0) {
                const std::size_t begin = at;
                at += 2;
                while (s[at] != '>') {
                    if (s[at] == '"' || s[at] == '\'') {
                        at = s.find(s[at], at + 1);
                    }
                    ++at;
                }
                if (s.compare(begin, 9, "<!ATTLIST") == 0) {
                    scan_attlist(begin + 9, at);
                }
                ++at;
            } else {
                ++at;
            }
        }
        at = s.find('>', at) + 1;
    } else {
        ++at;
    }
}

// <!ATTLIST element (name type default)*>: which attributes are tokenized
// and which have defaults. The first declaration of an attribute counts.
void xml_doc::scan_attlist(std::size_t begin, std::size_t end)
{
    const std::string& s = fText;
    std::size_t at = begin;
    const auto token = [&]() {
        while (at < end && is_space(s[at])) {
            ++at;
        }
        const std::size_t from = at;
        if (at >= end) {
            return std::string();
        }
        if (s[at] == '"' || s[at] == '\'') {
            at = s.find(s[at], at + 1) + 1;
        } else if (s[at] == '(') {
            at = s.find(')', at) + 1;
        } else {
            while (at < end && !is_space(s[at]) && s[at] != '(' && s[at] != '"' && s[at] != '\'') {
                ++at;
            }
        }
        return s.substr(from, at - from);
    };
    const std::string element = token();
    std::vector<declared_attribute>& list = fDeclared[element];
    for (;;) {
        declared_attribute d;
        d.name = token();
        std::string type = token();
        if (d.name.empty() || type.empty()) {
            return;
        }
        if (type == "NOTATION") {
            token();
        }
        d.tokenized = type != "CDATA";
        std::string value = token();
        if (value == "#FIXED") {
            value = token();
        }
        if (!value.empty() && (value[0] == '"' || value[0] == '\'')) {
            d.has_default = true;
            d.literal = value.substr(1, value.size() - 2);
        }
        const bool known = std::any_of(list.begin(), list.end(),
                                       [&d](const declared_attribute& o) { return o.name == d.name; });
        if (!known) {
            list.push_back(d);
        }
    }
}

const xml_doc::declared_attribute* xml_doc::declared(const std::string& element, const std::string& attribute) const
{
    const auto found = fDeclared.find(element);
    if (found == fDeclared.end()) {
        return nullptr;
    }
    for (const declared_attribute& d : found->second) {
        if (d.name == attribute) {
            return &d;
        }
    }
    return nullptr;
}

namespace {

// Tokenized attribute values: white space collapses to single spaces.
std::string collapse(const std::string& value)
{
    std::string out;
    for (char c : value) {
        if (c == ' ') {
            if (!out.empty() && out.back() != ' ') {
                out += ' ';
            }
        } else {
            out += c;
        }
    }
    if (!out.empty() && out.back() == ' ') {
        out.pop_back();
    }
    return out;
}

} // namespace

bool xml_doc::default_attribute(std::uint32_t e, const std::string& qname, std::string& value) const
{
    if (fDeclared.empty() || find_attribute(e, qname) != nullptr) {
        return false;
    }
    const declared_attribute* d = declared(name(e), qname);
    if (d == nullptr || !d->has_default) {
        return false;
    }
    value = decode_text(d->literal, true, 0);
    if (d->tokenized) {
        value = collapse(value);
    }
    return true;
}

std::string xml_doc::value_as_read(std::uint32_t e, const std::string& qname, const std::string& value) const
{
    const declared_attribute* d = fDeclared.empty() ? nullptr : declared(name(e), qname);
    return d != nullptr && d->tokenized ? collapse(value) : value;
}

void xml_doc::scan()
{
    const std::string& s = fText;
    std::size_t at = 0;
    std::uint32_t open = no_element; // the innermost unfinished element
    std::uint32_t depth = 0;
    for (;;) {
        at = s.find('<', at);
        if (at == std::string::npos) {
            break;
        }
        if (s.compare(at, 4, "<!--") == 0) {
            at = s.find("-->", at + 4) + 3;
        } else if (s.compare(at, 9, "<![CDATA[") == 0) {
            at = s.find("]]>", at + 9) + 3;
        } else if (s.compare(at, 9, "<!DOCTYPE") == 0) {
            at += 9;
            scan_doctype(at);
        } else if (s[at + 1] == '?') {
            at = s.find("?>", at + 2) + 2;
        } else if (s[at + 1] == '/') {
            element_span& e = fElements[open];
            e.content_end = at;
            e.end = s.find('>', at) + 1;
            at = e.end;
            open = e.parent;
            --depth;
            if (open == no_element) {
                break;
            }
        } else {
            element_span e{};
            e.begin = at;
            std::size_t p = at + 1;
            while (!is_name_end(s[p])) {
                ++p;
            }
            e.name_end = p;
            e.parent = open;
            e.depth = depth;
            e.attributes_begin = static_cast<std::uint32_t>(fAttributes.size());
            for (;;) {
                while (is_space(s[p])) {
                    ++p;
                }
                if (s[p] == '>') {
                    e.start_end = p + 1;
                    break;
                }
                if (s[p] == '/') {
                    e.empty_tag = true;
                    e.start_end = e.content_end = e.end = p + 2;
                    break;
                }
                attribute_span a{};
                a.name_begin = p;
                while (!is_name_end(s[p])) {
                    ++p;
                }
                a.name_end = p;
                while (s[p] != '"' && s[p] != '\'') {
                    ++p;
                }
                a.quote = s[p];
                a.value_begin = p + 1;
                a.value_end = s.find(a.quote, p + 1);
                a.tokenized = false;
                if (!fDeclared.empty()) {
                    const declared_attribute* d = declared(s.substr(e.begin + 1, e.name_end - e.begin - 1),
                                                           s.substr(a.name_begin, a.name_end - a.name_begin));
                    a.tokenized = d != nullptr && d->tokenized;
                }
                p = a.value_end + 1;
                fAttributes.push_back(a);
                ++e.attributes_count;
            }
            const auto index = static_cast<std::uint32_t>(fElements.size());
            if (open != no_element) {
                element_span& parent = fElements[open];
                if (parent.last_child == no_element) {
                    parent.first_child = index;
                } else {
                    fElements[parent.last_child].next_sibling = index;
                }
                parent.last_child = index;
            }
            fElements.push_back(e);
            at = e.start_end;
            if (!e.empty_tag) {
                open = index;
                ++depth;
            } else if (open == no_element) {
                break;
            }
        }
    }
    if (fElements.empty()) {
        throw failure(3, "the document has no root element");
    }
}

// ---- Values --------------------------------------------------------------------------

std::string xml_doc::name(std::uint32_t e) const
{
    const element_span& span = fElements[e];
    return fText.substr(span.begin + 1, span.name_end - span.begin - 1);
}

std::string xml_doc::attribute_name(const attribute_span& a) const
{
    return fText.substr(a.name_begin, a.name_end - a.name_begin);
}

const attribute_span* xml_doc::find_attribute(std::uint32_t e, const std::string& qname) const
{
    const element_span& span = fElements[e];
    for (std::uint32_t i = 0; i < span.attributes_count; ++i) {
        const attribute_span& a = fAttributes[span.attributes_begin + i];
        if (a.name_end - a.name_begin == qname.size() && fText.compare(a.name_begin, qname.size(), qname) == 0) {
            return &a;
        }
    }
    return nullptr;
}

std::string xml_doc::attribute_value(const attribute_span& a) const
{
    const std::string value = decode(a.value_begin, a.value_end, true, 0, false);
    return a.tokenized ? collapse(value) : value;
}

std::string xml_doc::own_text(std::uint32_t e) const
{
    const element_span& span = fElements[e];
    return decode(span.start_end, span.content_end, false, 0, false);
}

std::string xml_doc::string_value(std::uint32_t e) const
{
    const element_span& span = fElements[e];
    return decode(span.start_end, span.content_end, false, 0, true);
}

std::string xml_doc::expand_reference(const std::string& name, bool attribute, int depth) const
{
    if (name == "lt") return "<";
    if (name == "gt") return ">";
    if (name == "amp") return "&";
    if (name == "apos") return "'";
    if (name == "quot") return "\"";
    if (name[0] == '#') {
        const bool hex = name[1] == 'x';
        const unsigned long c = std::stoul(name.substr(hex ? 2 : 1), nullptr, hex ? 16 : 10);
        std::string out;
        append_utf8(out, c);
        return out;
    }
    const auto found = fEntities.find(name);
    if (found != fEntities.end()) {
        fExpanded += found->second.size();
        if (fExpanded > max_expanded * 4) {
            throw failure(3, "the document's entities expand to more than 256 MiB of text");
        }
    }
    if (found == fEntities.end()) {
        throw failure(3, "the entity '" + name + "' is not declared in the document itself");
    }
    if (depth > 40) {
        throw failure(3, "the entity '" + name + "' nests too deeply");
    }
    return decode_text(found->second, attribute, depth + 1);
}

// Decodes character data that holds no markup but references.
std::string xml_doc::decode_text(const std::string& text, bool attribute, int depth) const
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '&') {
            const std::size_t semi = text.find(';', i);
            const std::string name = text.substr(i + 1, semi - i - 1);
            const bool character = name[0] == '#';
            std::string expansion = expand_reference(name, attribute, depth);
            if (!character && !attribute && expansion.find('<') != std::string::npos &&
                fEntities.count(name) != 0) {
                throw failure(3, "the entity '" + name + "' holds markup, which xmlutil does not expand");
            }
            out += expansion;
            i = semi;
        } else if (c == '<') {
            throw failure(3, "an entity holds markup, which xmlutil does not expand");
        } else if (c == '\r') {
            // Line ends read as one line feed, as the parser reads them.
            if (i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
            out += attribute ? ' ' : '\n';
        } else if (attribute && (c == '\n' || c == '\t')) {
            out += ' ';
        } else {
            out += c;
        }
        if (out.size() > max_expanded) {
            throw failure(3, "the text expands to more than 64 MiB");
        }
    }
    return out;
}

std::string xml_doc::decode(std::size_t begin, std::size_t end, bool attribute, int depth, bool descend) const
{
    const std::string& s = fText;
    std::string out;
    int nested = 0; // depth inside child elements, for own text
    std::size_t at = begin;
    while (at < end) {
        const std::size_t lt = std::min(s.find('<', at), end);
        if (nested == 0 || descend) {
            out += decode_text(s.substr(at, lt - at), attribute, depth);
        }
        if (lt >= end) {
            break;
        }
        if (s.compare(lt, 4, "<!--") == 0) {
            at = s.find("-->", lt) + 3;
        } else if (s.compare(lt, 9, "<![CDATA[") == 0) {
            const std::size_t close = s.find("]]>", lt);
            if (nested == 0 || descend) {
                std::string raw = s.substr(lt + 9, close - lt - 9);
                // CDATA keeps references but not carriage returns.
                std::string normal;
                for (std::size_t i = 0; i < raw.size(); ++i) {
                    if (raw[i] == '\r') {
                        if (i + 1 < raw.size() && raw[i + 1] == '\n') {
                            ++i;
                        }
                        normal += '\n';
                    } else {
                        normal += raw[i];
                    }
                }
                out += normal;
            }
            at = close + 3;
        } else if (s[lt + 1] == '?') {
            at = s.find("?>", lt) + 2;
        } else if (s[lt + 1] == '/') {
            --nested;
            at = s.find('>', lt) + 1;
        } else {
            // A start tag: skip its quoted values, which may hold '>'.
            std::size_t p = lt + 1;
            while (s[p] != '>') {
                if (s[p] == '"' || s[p] == '\'') {
                    p = s.find(s[p], p + 1);
                }
                ++p;
            }
            if (s[p - 1] != '/') {
                ++nested;
            }
            at = p + 1;
        }
    }
    return out;
}

bool xml_doc::has_other_content(std::uint32_t e) const
{
    const element_span& span = fElements[e];
    const std::string& s = fText;
    for (std::size_t at = span.start_end; at < span.content_end;) {
        const std::size_t lt = s.find('<', at);
        if (lt >= span.content_end) {
            break;
        }
        if (s.compare(lt, 4, "<!--") == 0 || s[lt + 1] == '?') {
            return true;
        }
        at = lt + 1;
    }
    return false;
}

bool xml_doc::single_cdata(std::uint32_t e, std::size_t& inside_begin, std::size_t& inside_end) const
{
    const element_span& span = fElements[e];
    const std::string& s = fText;
    if (span.empty_tag || s.compare(span.start_end, 9, "<![CDATA[") != 0) {
        return false;
    }
    const std::size_t close = s.find("]]>", span.start_end);
    if (close + 3 != span.content_end) {
        return false;
    }
    inside_begin = span.start_end + 9;
    inside_end = close;
    return true;
}

bool xml_doc::preserves_space(std::uint32_t e) const
{
    for (; e != no_element; e = fElements[e].parent) {
        if (const attribute_span* a = find_attribute(e, "xml:space")) {
            return attribute_value(*a) == "preserve";
        }
    }
    return false;
}

bool xml_doc::namespace_uri(std::uint32_t e, const std::string& prefix, std::string& uri) const
{
    const std::string attribute = prefix.empty() ? "xmlns" : "xmlns:" + prefix;
    for (; e != no_element; e = fElements[e].parent) {
        if (const attribute_span* a = find_attribute(e, attribute)) {
            uri = attribute_value(*a);
            return !uri.empty();
        }
    }
    if (prefix == "xml") {
        uri = "http://www.w3.org/XML/1998/namespace";
        return true;
    }
    return false;
}

} // namespace xmlutil_edit
