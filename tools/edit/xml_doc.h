// SPDX-License-Identifier: Apache-2.0
// The tool's view of a document as the bytes it was read from: every element
// and attribute with the byte spans it occupies, so that an edit can replace
// exactly the bytes of one value and leave every other byte as it was.
//
// The scanner trusts that Xerces-C accepted the document first (see
// check_well_formed): it does not diagnose markup errors of its own.
#ifndef XMLUTIL_TOOLS_EDIT_XML_DOC_H
#define XMLUTIL_TOOLS_EDIT_XML_DOC_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace xmlutil_edit {

// A failure with the tool's exit status: 1 no match, 2 usage/path/value,
// 3 file unreadable, not well-formed or not writable.
struct failure : std::runtime_error {
    failure(int status_, const std::string& message) : std::runtime_error(message), status(status_) {}
    int status;
};

// How the file's bytes map to the UTF-8 text the scanner reads.
struct file_encoding {
    std::string name = "UTF-8"; // as iconv knows it, upper case
    std::string bom;            // the byte order mark, kept as it was
    bool utf8 = true;           // the text is the file's bytes after the BOM

    // The file's bytes for `text`. Throws failure(3) when it cannot be held.
    std::string encode(const std::string& text) const;
    // Whether the encoding holds the character of the UTF-8 sequence `ch`.
    bool holds(const std::string& ch) const;
    // Whether ASCII characters, the line feed among them, are single bytes
    // of their own in the file: every encoding but UTF-16 and UTF-32.
    bool ascii_compatible() const;
};

// Converts `in` from one iconv encoding to another; false at the first
// character the target cannot hold or the source does not encode.
bool recode(const char* from, const char* to, const std::string& in, std::string& out);

// Reads the encoding from the byte order mark or the XML declaration and
// converts `bytes` to UTF-8 text; `label` names the input in messages.
std::string decode_file(const std::string& bytes, file_encoding& encoding, const std::string& label);

struct attribute_span {
    std::size_t name_begin, name_end;   // the qualified name
    std::size_t value_begin, value_end; // inside the quotes
    char quote;
    bool tokenized; // declared with a type other than CDATA: white space collapses
};

constexpr std::uint32_t no_element = 0xFFFFFFFFu;

struct element_span {
    std::size_t begin;       // the '<' of the start tag
    std::size_t name_end;    // after the qualified name
    std::size_t start_end;   // after the start tag's '>'
    std::size_t content_end; // the '<' of the end tag; start_end for <x/>
    std::size_t end;         // after the end tag, or after "/>"
    std::uint32_t parent = no_element;
    std::uint32_t first_child = no_element;
    std::uint32_t last_child = no_element;
    std::uint32_t next_sibling = no_element;
    std::uint32_t depth = 0;
    std::uint32_t attributes_begin = 0, attributes_count = 0;
    bool empty_tag = false;
};

class xml_doc {
public:
    // Scans `text`, the UTF-8 form of a document Xerces-C accepted.
    explicit xml_doc(std::string text);

    const std::string& text() const { return fText; }
    std::uint32_t root() const { return 0; }
    std::size_t element_count() const { return fElements.size(); }
    const element_span& element(std::uint32_t e) const { return fElements[e]; }
    std::string name(std::uint32_t e) const;
    std::string attribute_name(const attribute_span& a) const;
    const attribute_span* attributes(std::uint32_t e) const { return fAttributes.data() + fElements[e].attributes_begin; }
    // The attribute of `e` whose qualified name is `qname`, or null.
    const attribute_span* find_attribute(std::uint32_t e, const std::string& qname) const;
    // The attribute value as the parser reports it: references replaced,
    // white space characters turned into spaces.
    std::string attribute_value(const attribute_span& a) const;

    // The default that the document type's internal subset declares for the
    // attribute `qname` of `e`, which `e` does not have; false for none.
    bool default_attribute(std::uint32_t e, const std::string& qname, std::string& value) const;

    // `value` as the parser reads it back from the attribute `qname` of `e`:
    // collapsed where the internal subset declares a tokenized type.
    std::string value_as_read(std::uint32_t e, const std::string& qname, const std::string& value) const;

    // The element's own text: its text and CDATA children (and what entity
    // references among them expand to), without the text of its child elements.
    std::string own_text(std::uint32_t e) const;
    // All text inside the element, in document order (its XPath string value).
    std::string string_value(std::uint32_t e) const;
    bool has_child_elements(std::uint32_t e) const { return fElements[e].first_child != no_element; }
    // Whether the content holds a comment or processing instruction among
    // its text, or an entity reference whose text holds markup.
    bool has_other_content(std::uint32_t e) const;
    // The content is exactly one CDATA section: its inside, else false.
    bool single_cdata(std::uint32_t e, std::size_t& inside_begin, std::size_t& inside_end) const;
    // Whether xml:space="preserve" holds for the element.
    bool preserves_space(std::uint32_t e) const;
    // The namespace URI that `prefix` ("" for the default) names at `e`;
    // false when it names none.
    bool namespace_uri(std::uint32_t e, const std::string& prefix, std::string& uri) const;

private:
    void scan();
    void scan_doctype(std::size_t& at);
    std::string decode(std::size_t begin, std::size_t end, bool attribute, int depth, bool descend) const;
    std::string decode_text(const std::string& text, bool attribute, int depth) const;
    std::string expand_reference(const std::string& name, bool attribute, int depth) const;

    std::string fText;
    std::vector<element_span> fElements;
    std::vector<attribute_span> fAttributes;
    struct declared_attribute {
        std::string name;
        bool tokenized = false;
        bool has_default = false;
        std::string literal; // the default as written
    };
    void scan_attlist(std::size_t begin, std::size_t end);
    const declared_attribute* declared(const std::string& element, const std::string& attribute) const;

    std::map<std::string, std::string> fEntities; // internal general entities: replacement text
    std::map<std::string, std::vector<declared_attribute>> fDeclared; // ATTLIST by element name
    mutable std::size_t fExpanded = 0;             // bytes of entity text expanded so far
};

// Parses `bytes` with Xerces-C, reading nothing outside them (no DTD, no
// external entity) and expanding at most 100,000 entities; throws failure(3)
// with the parser's message, naming `label`, when it is not well-formed.
void check_well_formed(const std::string& bytes, const std::string& label);

// Whether `text` is valid UTF-8.
bool valid_utf8(const std::string& text);

} // namespace xmlutil_edit

#endif // XMLUTIL_TOOLS_EDIT_XML_DOC_H
