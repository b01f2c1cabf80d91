// SPDX-License-Identifier: Apache-2.0
// The tool's path language: XPath 1.0 abbreviated location paths of child
// steps, with positions and a few predicates, ending in an element, an
// attribute or text().
#ifndef XMLUTIL_TOOLS_EDIT_PATH_H
#define XMLUTIL_TOOLS_EDIT_PATH_H

#include "xml_doc.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace xmlutil_edit {

struct predicate {
    enum kind_t { position, last, equals, contains } kind = position;
    enum target_t { attribute, child, self } target = self;
    long index = 0;    // position: 1-based
    std::string name;  // attribute or child element name, as written
    std::string value; // the literal
};

struct step {
    std::string name; // as written; "*" for any element
    std::vector<predicate> predicates;
    bool plain() const { return name != "*" && predicates.empty(); }
};

struct path {
    std::string text; // as given
    std::vector<step> steps; // the first names the root element
    enum target_t { select_element, select_attribute, select_text } target = select_element;
    std::string attribute;
};

// Namespace prefixes given with -N: prefix -> URI.
using namespaces = std::map<std::string, std::string>;

// Parses PATH; throws failure(2) naming what is wrong.
path parse_path(const std::string& text);

class path_matcher {
public:
    path_matcher(const xml_doc& doc, const namespaces& ns) : fDoc(doc), fNs(ns) {}

    // The elements the first `count` steps select, in document order.
    std::vector<std::uint32_t> select(const path& p, std::size_t count) const;
    // Whether element `e` has the name `name` as a step or predicate writes it.
    bool element_named(std::uint32_t e, const std::string& name) const;
    // The attribute of `e` named `name` as a path writes it, or null.
    const attribute_span* attribute(std::uint32_t e, const std::string& name) const;

private:
    bool name_matches(std::uint32_t e, const std::string& qname, const std::string& name) const;
    bool test(std::uint32_t e, const predicate& pred) const;

    const xml_doc& fDoc;
    const namespaces& fNs;
};

} // namespace xmlutil_edit

#endif // XMLUTIL_TOOLS_EDIT_PATH_H
