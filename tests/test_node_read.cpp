// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <sstream>
#include <string>

namespace {

const char kDefault[] = "dflt";

// The element `a` of `<a><b><c>1</c></b><c>2</c></a>`, where the first `c`
// in document order is a grandchild.
const char kNestedFirst[] = "<a><b><c>1</c></b><c>2</c></a>";

DOM_Node root_of(const DOM_Document& doc)
{
    return doc.getDocumentElement();
}

} // namespace

// ---- GetNodeByName ------------------------------------------------------------------

TEST(node_read, lookup_misses_direct_child_hidden_by_nested_namesake)
{
    const DOM_Document doc = parse_text(kNestedFirst);
    const DOM_Node a = root_of(doc);
    ASSERT_EQ("c", str(a.getLastChild().getNodeName()));
    EXPECT_TRUE(GetNodeByName(a, "c").isNull());
}

TEST(node_read, lookup_finds_direct_child_that_comes_first)
{
    const DOM_Document doc = parse_text(kNestedFirst);
    const DOM_Node a = root_of(doc);
    const DOM_Node b = a.getFirstChild();
    EXPECT_EQ(b, GetNodeByName(a, "b"));
    // Below b the nested c is a direct child.
    EXPECT_EQ(b.getFirstChild(), GetNodeByName(b, "c"));
}

TEST(node_read, lookup_returns_first_of_several_namesakes)
{
    const DOM_Document doc = parse_text("<a><c>1</c><c>2</c></a>");
    const DOM_Node a = root_of(doc);
    const DOM_Node found = GetNodeByName(a, "c");
    EXPECT_EQ(a.getFirstChild(), found);
    EXPECT_NE(a.getLastChild(), found);
}

TEST(node_read, lookup_is_case_sensitive)
{
    const DOM_Document doc = parse_text("<a><c>1</c></a>");
    EXPECT_TRUE(GetNodeByName(root_of(doc), "C").isNull());

    const DOM_Document both = parse_text("<a><C/><c/></a>");
    const DOM_Node a = root_of(both);
    EXPECT_EQ(a.getFirstChild(), GetNodeByName(a, "C"));
    EXPECT_EQ(a.getLastChild(), GetNodeByName(a, "c"));
}

TEST(node_read, lookup_star_yields_first_child_element)
{
    const DOM_Document doc = parse_text("<a>\n  <x/><y/></a>");
    const DOM_Node a = root_of(doc);
    EXPECT_EQ(a.getFirstChild().getNextSibling(), GetNodeByName(a, "*"));

    // The parent comes before its children in document order.
    const DOM_Document nested = parse_text("<a><b><c/></b><d/></a>");
    EXPECT_EQ(root_of(nested).getFirstChild(), GetNodeByName(root_of(nested), "*"));
}

TEST(node_read, lookup_star_on_childless_element_yields_null)
{
    const DOM_Document doc = parse_text("<a>text</a>");
    EXPECT_TRUE(GetNodeByName(root_of(doc), "*").isNull());
}

TEST(node_read, lookup_with_null_parent_yields_null)
{
    EXPECT_TRUE(GetNodeByName(DOM_Node(), "a").isNull());
    EXPECT_TRUE(GetNodeByName(DOM_Node(), "*").isNull());
}

TEST(node_read, lookup_on_document_finds_root)
{
    const DOM_Document doc = parse_text("<a><c/></a>");
    EXPECT_EQ(doc.getDocumentElement(), GetNodeByName(doc, "a"));
    EXPECT_EQ(doc.getDocumentElement(), GetNodeByName(doc, "*"));
    // c lies below the root, not directly below the document.
    EXPECT_TRUE(GetNodeByName(doc, "c").isNull());
}

TEST(node_read, lookup_of_missing_or_only_deeper_name_yields_null)
{
    const DOM_Document doc = parse_text("<a><b><c/></b></a>");
    EXPECT_TRUE(GetNodeByName(root_of(doc), "x").isNull());
    EXPECT_TRUE(GetNodeByName(root_of(doc), "c").isNull());
    EXPECT_TRUE(GetNodeByName(root_of(doc), "").isNull());
}

TEST(node_read, lookup_matches_prefixed_name_as_written)
{
    const DOM_Document doc = parse_text("<a><p:x/><x/></a>");
    const DOM_Node a = root_of(doc);
    EXPECT_EQ(a.getFirstChild(), GetNodeByName(a, "p:x"));
    EXPECT_EQ(a.getLastChild(), GetNodeByName(a, "x"));
}

TEST(node_read, lookup_finds_elements_only)
{
    const DOM_Document doc = parse_text("<a>t<!--c--><b/></a>");
    EXPECT_TRUE(GetNodeByName(root_of(doc), "#text").isNull());
    EXPECT_TRUE(GetNodeByName(root_of(doc), "#comment").isNull());
}

TEST(node_read, lookup_below_a_text_node_yields_null)
{
    const DOM_Document doc = parse_text("<a>t</a>");
    EXPECT_TRUE(GetNodeByName(root_of(doc).getFirstChild(), "*").isNull());
}

TEST(node_read, lookup_name_is_latin1_text)
{
    // The document is UTF-8; the name given is the ISO-8859-1 byte 0xE4.
    const DOM_Document doc = parse_text("<a><\xC3\xA4/></a>");
    EXPECT_EQ(root_of(doc).getFirstChild(), GetNodeByName(root_of(doc), "\xE4"));
}

TEST(node_read, lookup_sees_elements_inside_entity_references_first)
{
    // The c expanded from &f; comes first in document order and is not a
    // direct child of a, so the later direct child is not found.
    const DOM_Document doc = parse_text("<!DOCTYPE a [<!ENTITY f \"<c>in</c>\">]><a>&f;<c>2</c></a>");
    const DOM_Node a = root_of(doc);
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, a.getFirstChild().getNodeType());
    EXPECT_TRUE(GetNodeByName(a, "c").isNull());
}

// ---- ReadNodeData -------------------------------------------------------------------

namespace {

struct DataRow {
    const char* xml; // a document whose root p has the element v as first child
    bool found;
    const char* data;
};

// What the data of v is, read through each of the four overloads.
const DataRow kDataRows[] = {
    {"<p><v>  42 </v></p>", true, "  42 "},
    {"<p><v/></p>", false, kDefault},
    {"<p><v><w/></v></p>", false, kDefault},
    {"<p><v><![CDATA[x]]></v></p>", false, kDefault},
    {"<p><v>\n  <w>x</w>\n</v></p>", true, "\n  "},
    {"<p><v>a<!--c-->b</v></p>", true, "a"},
    {"<p><v><!--c-->b</v></p>", true, "b"},
    {"<p><v><![CDATA[x]]>y</v></p>", true, "y"},
    {"<p><v><w>x</w>y</v></p>", true, "y"},
    {"<p><v><?pi d?>z</v></p>", true, "z"},
    {"<p><v>&lt;a&gt; &amp;&#228;&#8364;</v></p>", true, "<a> &\xE4?"},
    {"<!DOCTYPE p [<!ENTITY e \"x\">]><p><v>&e;y</v></p>", true, "y"},
    {"<!DOCTYPE p [<!ENTITY e \"x\">]><p><v>&e;</v></p>", false, kDefault},
};

} // namespace

TEST(node_read, data_of_node_with_string_default)
{
    for (const DataRow& row : kDataRows) {
        SCOPED_TRACE(row.xml);
        const DOM_Document doc = parse_text(row.xml);
        const DOM_Node v = root_of(doc).getFirstChild();
        std::string data = "old";
        EXPECT_EQ(row.found, ReadNodeData(v, data, std::string(kDefault)));
        EXPECT_EQ(row.data, data);
    }
}

TEST(node_read, data_of_node_with_char_default)
{
    for (const DataRow& row : kDataRows) {
        SCOPED_TRACE(row.xml);
        const DOM_Document doc = parse_text(row.xml);
        const DOM_Node v = root_of(doc).getFirstChild();
        char fallback[] = "dflt";
        std::string data = "old";
        EXPECT_EQ(row.found, ReadNodeData(v, data, fallback));
        EXPECT_EQ(row.data, data);
        EXPECT_STREQ(kDefault, fallback);
    }
}

TEST(node_read, data_of_named_child_with_string_default)
{
    for (const DataRow& row : kDataRows) {
        SCOPED_TRACE(row.xml);
        const DOM_Document doc = parse_text(row.xml);
        std::string data = "old";
        EXPECT_EQ(row.found, ReadNodeData(root_of(doc), "v", data, std::string(kDefault)));
        EXPECT_EQ(row.data, data);
    }
}

TEST(node_read, data_of_named_child_with_char_default)
{
    for (const DataRow& row : kDataRows) {
        SCOPED_TRACE(row.xml);
        const DOM_Document doc = parse_text(row.xml);
        char fallback[] = "dflt";
        std::string data = "old";
        EXPECT_EQ(row.found, ReadNodeData(root_of(doc), "v", data, fallback));
        EXPECT_EQ(row.data, data);
        EXPECT_STREQ(kDefault, fallback);
    }
}

TEST(node_read, data_of_null_node_is_the_default)
{
    char fallback[] = "dflt";
    std::string data = "old";
    EXPECT_FALSE(ReadNodeData(DOM_Node(), data, std::string("given")));
    EXPECT_EQ("given", data);
    data = "old";
    EXPECT_FALSE(ReadNodeData(DOM_Node(), data, fallback));
    EXPECT_EQ("dflt", data);
    data = "old";
    EXPECT_FALSE(ReadNodeData(DOM_Node(), "v", data, std::string("given")));
    EXPECT_EQ("given", data);
    data = "old";
    EXPECT_FALSE(ReadNodeData(DOM_Node(), "v", data, fallback));
    EXPECT_EQ("dflt", data);
}

TEST(node_read, data_with_empty_default_empties_the_target)
{
    char empty[] = "";
    std::string data = "old";
    EXPECT_FALSE(ReadNodeData(DOM_Node(), data, std::string()));
    EXPECT_EQ("", data);
    data = "old";
    EXPECT_FALSE(ReadNodeData(DOM_Node(), data, empty));
    EXPECT_EQ("", data);
}

TEST(node_read, data_of_missing_child_is_the_default)
{
    const DOM_Document doc = parse_text("<p><v>1</v></p>");
    char fallback[] = "dflt";
    std::string data = "old";
    EXPECT_FALSE(ReadNodeData(root_of(doc), "w", data, std::string("given")));
    EXPECT_EQ("given", data);
    data = "old";
    EXPECT_FALSE(ReadNodeData(root_of(doc), "V", data, fallback));
    EXPECT_EQ("dflt", data);
}

TEST(node_read, data_of_named_child_follows_the_lookup_rule)
{
    const DOM_Document hidden = parse_text(kNestedFirst);
    std::string data = "old";
    EXPECT_FALSE(ReadNodeData(root_of(hidden), "c", data, std::string("given")));
    EXPECT_EQ("given", data);

    const DOM_Document twins = parse_text("<a><c>1</c><c>2</c></a>");
    char fallback[] = "dflt";
    EXPECT_TRUE(ReadNodeData(root_of(twins), "c", data, std::string("given")));
    EXPECT_EQ("1", data);
    data = "old";
    EXPECT_TRUE(ReadNodeData(root_of(twins), "c", data, fallback));
    EXPECT_EQ("1", data);
}

TEST(node_read, data_of_root_through_the_document)
{
    const DOM_Document doc = parse_text("<p>top</p>");
    std::string data;
    EXPECT_TRUE(ReadNodeData(doc, "p", data, std::string("given")));
    EXPECT_EQ("top", data);
    // The document itself has no text child.
    EXPECT_FALSE(ReadNodeData(doc, data, std::string("given")));
    EXPECT_EQ("given", data);
}

TEST(node_read, data_of_text_node_is_the_default)
{
    const DOM_Document doc = parse_text("<p>t</p>");
    std::string data;
    EXPECT_FALSE(ReadNodeData(root_of(doc).getFirstChild(), data, std::string("given")));
    EXPECT_EQ("given", data);
}

TEST(node_read, data_is_first_of_several_text_children)
{
    DOM_Document doc = parse_text("<p/>");
    DOM_Node p = root_of(doc);
    p.appendChild(doc.createTextNode("one"));
    p.appendChild(doc.createTextNode("two"));
    ASSERT_EQ(2u, p.getChildNodes().getLength());
    std::string data;
    EXPECT_TRUE(ReadNodeData(p, data, std::string("given")));
    EXPECT_EQ("one", data);
}

TEST(node_read, empty_first_text_child_reads_as_empty_data)
{
    DOM_Document doc = parse_text("<p/>");
    DOM_Node p = root_of(doc);
    p.appendChild(doc.createTextNode(""));
    p.appendChild(doc.createTextNode("later"));
    std::string data = "old";
    EXPECT_TRUE(ReadNodeData(p, data, std::string("given")));
    EXPECT_EQ("", data);
}

TEST(node_read, char_default_is_copied)
{
    char fallback[] = "dflt";
    std::string data;
    EXPECT_FALSE(ReadNodeData(DOM_Node(), data, fallback));
    fallback[0] = 'X';
    EXPECT_EQ("dflt", data);
}

// ---- GetNamedAttributeValue ---------------------------------------------------------

TEST(node_read, attribute_values_by_name)
{
    struct Row {
        const char* name;
        bool found;
        const char* value;
    };
    const DOM_Document doc =
        parse_text("<!DOCTYPE v [<!ATTLIST v d CDATA \"dv\">]>"
                   "<v a=\"x&amp;y\" e=\"\" s=\" x \" n=\"\tx\ny\" l=\"&#228;&#8364;\" \xC3\xA4=\"u\"/>");
    const Row rows[] = {
        {"a", true, "x&y"},
        {"e", true, ""},
        {"s", true, " x "},
        // The parser turns tab and newline in a value into spaces.
        {"n", true, " x y"},
        {"l", true, "\xE4?"},
        {"\xE4", true, "u"},
        {"d", true, "dv"},
        {"A", false, ""},
        {"missing", false, ""},
        {"", false, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string value = "old";
        EXPECT_EQ(row.found, GetNamedAttributeValue(root_of(doc), row.name, value));
        EXPECT_EQ(row.value, value);
    }
}

TEST(node_read, missing_attribute_empties_value)
{
    const DOM_Document doc = parse_text("<v a=\"1\"/>");
    std::string value = "previous text";
    EXPECT_FALSE(GetNamedAttributeValue(root_of(doc), "b", value));
    EXPECT_EQ("", value);
}

TEST(node_read, present_empty_attribute_is_found_and_empty)
{
    const DOM_Document doc = parse_text("<v a=\"\"/>");
    std::string value = "previous text";
    EXPECT_TRUE(GetNamedAttributeValue(root_of(doc), "a", value));
    EXPECT_EQ("", value);
}

TEST(node_read, attribute_of_null_node_is_not_found)
{
    std::string value = "previous text";
    EXPECT_FALSE(GetNamedAttributeValue(DOM_Node(), "a", value));
    EXPECT_EQ("", value);
}

TEST(node_read, attribute_of_non_element_is_not_found)
{
    const DOM_Document doc = parse_text("<v a=\"1\">t<!--a--></v>");
    std::string value = "previous text";
    EXPECT_FALSE(GetNamedAttributeValue(root_of(doc).getFirstChild(), "a", value));
    EXPECT_EQ("", value);
    value = "previous text";
    EXPECT_FALSE(GetNamedAttributeValue(root_of(doc).getLastChild(), "a", value));
    EXPECT_EQ("", value);
    value = "previous text";
    EXPECT_FALSE(GetNamedAttributeValue(doc, "a", value));
    EXPECT_EQ("", value);
}

// ---- GetNodeName --------------------------------------------------------------------

TEST(node_read, node_names_by_node_type)
{
    const DOM_Document doc =
        parse_text("<!DOCTYPE p [<!ENTITY e \"x\">]><p a=\"1\">t<v/><!--c--><![CDATA[d]]><?pi data?>&e;</p>");
    const DOM_Node p = root_of(doc);
    struct Row {
        DOM_Node node;
        const char* name;
    };
    const Row rows[] = {
        {doc, "#document"},
        {doc.getFirstChild(), "p"}, // the document type
        {p, "p"},
        {p.getAttributes().item(0), "a"},
        {p.getFirstChild(), "#text"},
        {p.getFirstChild().getNextSibling(), "v"},
        {p.getFirstChild().getNextSibling().getNextSibling(), "#comment"},
        {p.getLastChild().getPreviousSibling().getPreviousSibling(), "#cdata-section"},
        {p.getLastChild().getPreviousSibling(), "pi"},
        {p.getLastChild(), "e"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_FALSE(row.node.isNull());
        EXPECT_EQ(row.name, GetNodeName(row.node));
    }
    EXPECT_EQ(DOM_Node::DOCUMENT_TYPE_NODE, doc.getFirstChild().getNodeType());
    EXPECT_EQ(DOM_Node::CDATA_SECTION_NODE, p.getLastChild().getPreviousSibling().getPreviousSibling().getNodeType());
}

TEST(node_read, node_name_of_null_node_is_empty)
{
    EXPECT_EQ("", GetNodeName(DOM_Node()));
}

TEST(node_read, node_name_is_latin1_text)
{
    const DOM_Document doc = parse_text("<\xC3\xA4\xE2\x82\xAC/>");
    EXPECT_EQ("\xE4?", GetNodeName(root_of(doc)));
}

// ---- DOM2STLstring ------------------------------------------------------------------

TEST(node_read, dom_strings_as_latin1_text)
{
    static const XMLCh withZero[] = {u'a', u'b', 0, u'c', u'd'};
    static const XMLCh loneHigh[] = {0xD800, u'a', 0};
    static const XMLCh loneLow[] = {u'a', 0xDC00, 0};
    struct Row {
        const char* label;
        DOMString text;
        std::string expected;
    };
    const Row rows[] = {
        {"null", DOMString(), ""},
        {"empty", DOMString(""), ""},
        {"ascii", DOMString(u"abc"), "abc"},
        {"markup", DOMString(u"<&>\"'"), "<&>\"'"},
        {"U+0080", DOMString(u"\u0080"), "\x80"},
        {"U+00E4", DOMString(u"\u00e4"), "\xE4"},
        {"U+00FF", DOMString(u"\u00ff"), "\xFF"},
        {"U+0100", DOMString(u"\u0100"), "?"},
        {"U+20AC", DOMString(u"\u20ac"), "?"},
        {"surrogate pair", DOMString(u"\U0001F600"), "?"},
        {"pair between letters", DOMString(u"a\U0001F600b"), "a?b"},
        {"mixed", DOMString(u"a\u00e4\u20acz"), "a\xE4?z"},
        {"lone high surrogate", DOMString(loneHigh), "?a"},
        {"lone low surrogate", DOMString(loneLow), "a?"},
        // The conversion ends at the first zero character.
        {"inner zero", DOMString(withZero, 5), "ab"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(row.expected, DOM2STLstring(row.text));
    }
}

TEST(node_read, dom_string_of_latin1_bytes_round_trips)
{
    std::string all;
    for (int byte = 1; byte <= 255; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(all, DOM2STLstring(DOMString(all.c_str())));
}

// ---- operator<< ---------------------------------------------------------------------

TEST(node_read, streaming_empty_string_writes_nothing_and_returns_stream)
{
    std::ostringstream os;
    os << "x";
    std::ostream& empty = (os << DOMString(""));
    EXPECT_EQ(&os, &empty);
    std::ostream& null = (os << DOMString());
    EXPECT_EQ(&os, &null);
    EXPECT_EQ("x", os.str());
    EXPECT_TRUE(os.good());
}

TEST(node_read, streaming_writes_text_unescaped)
{
    std::ostringstream os;
    std::ostream& result = (os << DOMString(u"<&>\"'"));
    EXPECT_EQ(&os, &result);
    EXPECT_EQ("<&>\"'", os.str());
}

TEST(node_read, streaming_writes_latin1_and_chains)
{
    std::ostringstream os;
    os << DOMString(u"a\u00e4") << DOMString(u"\u20ac") << DOMString(u"\U0001F600") << '|';
    EXPECT_EQ("a\xE4??|", os.str());
}

TEST(node_read, streaming_node_value_from_parsed_document)
{
    const DOM_Document doc = parse_text("<v>&lt;b&gt; &amp; &#228;</v>");
    std::ostringstream os;
    os << root_of(doc).getFirstChild().getNodeValue();
    EXPECT_EQ("<b> & \xE4", os.str());
}

// Lookups are remembered per document; every change of structure must make
// the next lookup look again.
TEST(node_read, lookup_answers_follow_changes_to_the_tree)
{
    DOM_Document doc = parse_text("<a><b/></a>");
    DOM_Node a = doc.getDocumentElement();
    EXPECT_TRUE(GetNodeByName(a, "c").isNull());
    DOM_Element c = doc.createElement("c");
    a.appendChild(c);
    EXPECT_TRUE(GetNodeByName(a, "c") == c);
    // A same-named element that now comes first in document order hides it.
    DOM_Node b = GetNodeByName(a, "b");
    b.appendChild(doc.createElement("c"));
    EXPECT_TRUE(GetNodeByName(a, "c").isNull());
    b.removeChild(b.getFirstChild());
    EXPECT_TRUE(GetNodeByName(a, "c") == c);
    a.removeChild(c);
    EXPECT_TRUE(GetNodeByName(a, "c").isNull());
    a.insertBefore(c, b);
    EXPECT_TRUE(GetNodeByName(a, "c") == c);
    a.replaceChild(doc.createElement("d"), c);
    EXPECT_TRUE(GetNodeByName(a, "c").isNull());
    EXPECT_EQ("d", GetNodeName(GetNodeByName(a, "d")));
}

TEST(node_read, lookup_many_distinct_lookups_stay_right)
{
    // More distinct questions than are remembered at once.
    std::string xml = "<r>";
    for (int i = 0; i < 5000; ++i)
        xml += "<e" + std::to_string(i) + ">" + std::to_string(i) + "</e" + std::to_string(i) + ">";
    xml += "</r>";
    DOM_Document doc = parse_text(xml);
    DOM_Node root = doc.getDocumentElement();
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 5000; i += 7) {
            std::string data;
            ASSERT_TRUE(ReadNodeData(root, "e" + std::to_string(i), data, "")) << i;
            EXPECT_EQ(std::to_string(i), data);
            EXPECT_TRUE(GetNodeByName(root, "x" + std::to_string(i)).isNull());
        }
    }
    // The same names asked of another parent have their own answers.
    DOM_Node first = GetNodeByName(root, "e0");
    EXPECT_TRUE(GetNodeByName(first, "e1").isNull());
}
