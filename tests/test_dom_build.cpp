// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A compact picture of a subtree: element and entity-reference names with
// their children in parentheses, other nodes as "#name:value".
std::string render(const DOM_Node& node)
{
    std::string out;
    const short type = node.getNodeType();
    if (type == DOM_Node::TEXT_NODE || type == DOM_Node::CDATA_SECTION_NODE || type == DOM_Node::COMMENT_NODE)
        return str(node.getNodeName()) + ":" + str(node.getNodeValue());
    out = str(node.getNodeName());
    DOM_Node child = node.getFirstChild();
    if (child.isNull())
        return out;
    out += "(";
    for (bool first = true; !child.isNull(); child = child.getNextSibling(), first = false) {
        if (!first)
            out += ",";
        out += render(child);
    }
    return out + ")";
}

// The root element of a parsed document, as the handle the build functions take.
struct Parsed {
    explicit Parsed(const std::string& xml) : doc(parse_text(xml)), root(doc.getDocumentElement()) {}
    DOM_Document doc;
    DOM_Node root;
};

std::string read_data(const DOM_Node& node)
{
    std::string data;
    EXPECT_TRUE(ReadNodeData(node, data, std::string("<default>")));
    return data;
}

// The 16-bit units of a node value, to see what reached the DOM.
std::vector<unsigned> units(const DOMString& text)
{
    std::vector<unsigned> out;
    for (unsigned i = 0; i < text.length(); ++i)
        out.push_back(text.charAt(i));
    return out;
}

} // namespace

// ---- CreateDocument ---------------------------------------------------------

TEST(create_document, plain_name_is_its_own_namespace)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("config", doc, root);

    ASSERT_FALSE(doc.isNull());
    EXPECT_EQ(DOM_Node::DOCUMENT_NODE, doc.getNodeType());
    ASSERT_FALSE(root.isNull());
    EXPECT_EQ(DOM_Node::ELEMENT_NODE, root.getNodeType());
    EXPECT_EQ("config", str(root.getNodeName()));
    EXPECT_EQ("config", str(root.getNamespaceURI()));
    EXPECT_EQ("config", str(root.getLocalName()));
    EXPECT_EQ("", str(root.getPrefix()));
    EXPECT_TRUE(root == doc.getDocumentElement());
    EXPECT_TRUE(root.getParentNode() == doc);
    EXPECT_TRUE(root.getOwnerDocument() == doc);
    EXPECT_EQ("#document(config)", render(doc));
}

TEST(create_document, prefixed_name_takes_prefix_as_namespace)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("p:config", doc, root);

    ASSERT_FALSE(root.isNull());
    EXPECT_EQ("p:config", str(root.getNodeName()));
    EXPECT_EQ("p", str(root.getNamespaceURI()));
    EXPECT_EQ("p", str(root.getPrefix()));
    EXPECT_EQ("config", str(root.getLocalName()));
    EXPECT_TRUE(root == doc.getDocumentElement());
}

TEST(create_document, namespace_is_text_before_first_colon)
{
    struct Row {
        const char* rootName;
        const char* namespaceURI;
        const char* localName;
    };
    const Row rows[] = {
        {"config", "config", "config"},
        {"p:config", "p", "config"},
        {"urn-x:item", "urn-x", "item"},
        {"a.b", "a.b", "a.b"},
        {"_x:y", "_x", "y"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.rootName);
        DOM_Document doc;
        DOM_Node root;
        CreateDocument(row.rootName, doc, root);
        EXPECT_EQ(row.rootName, str(root.getNodeName()));
        EXPECT_EQ(row.namespaceURI, str(root.getNamespaceURI()));
        EXPECT_EQ(row.localName, str(root.getLocalName()));
    }
}

TEST(create_document, namespace_is_not_written_as_attribute)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("p:config", doc, root);

    const DOM_NamedNodeMap attributes = root.getAttributes();
    ASSERT_FALSE(attributes.isNull());
    EXPECT_EQ(0u, attributes.getLength());
    EXPECT_EQ("p:config", render(root));
}

TEST(create_document, leading_colon_throws_namespace_error_and_leaves_outputs_null)
{
    DOM_Document doc;
    DOM_Node root;
    EXPECT_DOM_EXCEPTION(CreateDocument(":config", doc, root), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_TRUE(doc.isNull());
    EXPECT_TRUE(root.isNull());
}

TEST(create_document, rejected_names_throw_and_keep_previous_document)
{
    struct Row {
        const char* rootName;
        int code;
    };
    // A leading colon gives an empty namespace with a prefixed name; "xml"
    // as prefix and namespace is reserved; the others are not XML names.
    const Row rows[] = {
        {":config", DOM_DOMException::NAMESPACE_ERR},
        {":x", DOM_DOMException::NAMESPACE_ERR},
        {"xml:x", DOM_DOMException::NAMESPACE_ERR},
        {"a:b:c", DOM_DOMException::NAMESPACE_ERR},
        {"1x", DOM_DOMException::INVALID_CHARACTER_ERR},
        {"a b", DOM_DOMException::INVALID_CHARACTER_ERR},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.rootName);
        DOM_Document doc;
        DOM_Node root;
        CreateDocument("old", doc, root);
        const DOM_Document oldDoc = doc;
        const DOM_Node oldRoot = root;

        EXPECT_DOM_EXCEPTION(CreateDocument(row.rootName, doc, root), row.code);
        EXPECT_TRUE(doc == oldDoc);
        EXPECT_TRUE(root == oldRoot);
        EXPECT_EQ("old", str(root.getNodeName()));
    }
}

TEST(create_document, replaces_held_document_and_leaves_earlier_one_unchanged)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("first", doc, root);
    DOM_Element kept;
    CreateNewElement("kept", kept, root, doc);
    const DOM_Document oldDoc = doc;
    const DOM_Node oldRoot = root;

    CreateDocument("second", doc, root);

    EXPECT_FALSE(doc == oldDoc);
    EXPECT_FALSE(root == oldRoot);
    EXPECT_EQ("#document(second)", render(doc));
    EXPECT_TRUE(root.getOwnerDocument() == doc);
    EXPECT_EQ("second", str(root.getNamespaceURI()));

    // The earlier document lives on through our handles, exactly as it was.
    EXPECT_EQ("#document(first(kept))", render(oldDoc));
    EXPECT_TRUE(oldDoc.getDocumentElement() == oldRoot);
    EXPECT_TRUE(oldRoot.getFirstChild() == kept);
    EXPECT_EQ("first", str(oldRoot.getNamespaceURI()));
}

TEST(create_document, earlier_root_outlives_its_document_handle)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("first", doc, root);
    const DOM_Node oldRoot = root;

    // doc and root now point into a new document; oldRoot alone keeps the
    // first one alive.
    CreateDocument("second", doc, root);
    EXPECT_EQ("first", str(oldRoot.getNodeName()));
    EXPECT_EQ("#document(first)", render(oldRoot.getOwnerDocument()));
}

// ---- CreateNewElement -------------------------------------------------------

TEST(create_new_element, appends_as_last_child)
{
    Parsed p("<a>x<b/></a>");
    DOM_Element element;
    CreateNewElement("c", element, p.root, p.doc);

    EXPECT_EQ("a(#text:x,b,c)", render(p.root));
    EXPECT_TRUE(element == p.root.getLastChild());
    EXPECT_TRUE(element.getParentNode() == p.root);
    EXPECT_EQ("c", str(element.getNodeName()));
}

TEST(create_new_element, appends_after_existing_child_of_same_name)
{
    Parsed p("<a><b/><c/></a>");
    const DOM_Node existing = p.root.getFirstChild();
    DOM_Element element;
    CreateNewElement("b", element, p.root, p.doc);

    EXPECT_EQ("a(b,c,b)", render(p.root));
    EXPECT_TRUE(element == p.root.getLastChild());
    EXPECT_FALSE(element == existing);
    EXPECT_TRUE(p.root.getFirstChild() == existing);
}

TEST(create_new_element, into_empty_element)
{
    Parsed p("<a/>");
    DOM_Element element;
    CreateNewElement("b", element, p.root, p.doc);

    EXPECT_EQ("a(b)", render(p.root));
    EXPECT_TRUE(p.root.getFirstChild() == element);
}

TEST(create_new_element, successive_calls_keep_call_order)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("cfg", doc, root);
    DOM_Element first;
    DOM_Element second;
    DOM_Element inner;
    CreateNewElement("one", first, root, doc);
    CreateNewElement("two", second, root, doc);
    CreateNewElement("inner", inner, first, doc);

    EXPECT_EQ("cfg(one(inner),two)", render(root));
    EXPECT_TRUE(inner.getParentNode() == first);
}

TEST(create_new_element, new_elements_carry_no_namespace)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("p:config", doc, root);
    DOM_Element plain;
    DOM_Element prefixed;
    CreateNewElement("item", plain, root, doc);
    CreateNewElement("p:item", prefixed, root, doc);

    EXPECT_EQ("", str(plain.getNamespaceURI()));
    EXPECT_EQ("p:item", str(prefixed.getNodeName()));
    EXPECT_EQ("", str(prefixed.getNamespaceURI()));
    EXPECT_EQ(0u, plain.getAttributes().getLength());
}

TEST(create_new_element, invalid_name_throws_and_changes_nothing)
{
    const char* const names[] = {"1x", "a b", "-a", ""};
    for (const char* name : names) {
        SCOPED_TRACE(name);
        Parsed p("<a><b/></a>");
        DOM_Node b = p.root.getFirstChild();
        DOM_Element element;
        CreateNewElement("held", element, b, p.doc);
        const DOM_Element before = element;
        DOM_Node parent = p.root;

        EXPECT_DOM_EXCEPTION(CreateNewElement(name, element, parent, p.doc),
                             DOM_DOMException::INVALID_CHARACTER_ERR);
        EXPECT_TRUE(element == before);
        EXPECT_TRUE(parent == p.root);
        EXPECT_EQ("a(b(held))", render(p.root));
    }
}

TEST(create_new_element, null_document_throws_invalid_state)
{
    Parsed p("<a><b/></a>");
    DOM_Document noDoc;
    DOM_Element element;
    DOM_Node parent = p.root;

    EXPECT_DOM_EXCEPTION(CreateNewElement("c", element, parent, noDoc), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_TRUE(element.isNull());
    EXPECT_TRUE(parent == p.root);
    EXPECT_EQ("a(b)", render(p.root));
}

TEST(create_new_element, parent_that_takes_no_children_throws_after_making_element)
{
    Parsed p("<a>x</a>");
    DOM_Node text = p.root.getFirstChild();
    DOM_Element element;

    EXPECT_DOM_EXCEPTION(CreateNewElement("c", element, text, p.doc), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    // The element is made and handed out before the append fails.
    ASSERT_FALSE(element.isNull());
    EXPECT_EQ("c", str(element.getNodeName()));
    EXPECT_TRUE(element.getParentNode().isNull());
    EXPECT_EQ("a(#text:x)", render(p.root));
}

TEST(create_new_element, element_of_other_document_passes_dom_error_through)
{
    Parsed p("<a/>");
    Parsed other("<z/>");
    DOM_Element element;

    EXPECT_DOM_EXCEPTION(CreateNewElement("c", element, p.root, other.doc), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_EQ("a", render(p.root));
    EXPECT_EQ("z", render(other.root));
}

// ---- SaveNodeData -----------------------------------------------------------

TEST(save_node_data, appends_element_holding_one_text_node)
{
    Parsed p("<a><k>old</k></a>");
    const DOM_Node old = p.root.getFirstChild();
    SaveNodeData("k", "new", p.root, p.doc);

    EXPECT_EQ("a(k(#text:old),k(#text:new))", render(p.root));
    EXPECT_TRUE(p.root.getFirstChild() == old);
    EXPECT_EQ(DOM_Node::TEXT_NODE, p.root.getLastChild().getFirstChild().getNodeType());
}

TEST(save_node_data, twice_same_name_gives_two_siblings_in_call_order)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("cfg", doc, root);
    SaveNodeData("key", "one", root, doc);
    SaveNodeData("key", "two", root, doc);

    EXPECT_EQ("cfg(key(#text:one),key(#text:two))", render(root));
    const DOM_Node first = root.getFirstChild();
    const DOM_Node second = first.getNextSibling();
    EXPECT_EQ("one", read_data(first));
    EXPECT_EQ("two", read_data(second));
    EXPECT_TRUE(second == root.getLastChild());
}

TEST(save_node_data, text_is_stored_without_escaping_or_trimming)
{
    const char* const values[] = {"<&>", "a&amp;b", "\"'", "]]>", "  padded \n", "&#228;"};
    for (const char* value : values) {
        SCOPED_TRACE(value);
        Parsed p("<a/>");
        SaveNodeData("k", value, p.root, p.doc);
        const DOM_Node text = p.root.getFirstChild().getFirstChild();
        EXPECT_EQ(value, str(text.getNodeValue()));
        EXPECT_EQ(value, read_data(p.root.getFirstChild()));
        EXPECT_TRUE(text.getNextSibling().isNull());
    }
}

TEST(save_node_data, empty_data_gives_empty_text_node)
{
    Parsed p("<a/>");
    SaveNodeData("k", "", p.root, p.doc);

    EXPECT_EQ("a(k(#text:))", render(p.root));
    EXPECT_EQ("", read_data(p.root.getFirstChild()));
}

TEST(save_node_data, invalid_name_throws_and_appends_nothing)
{
    Parsed p("<a><b/></a>");
    EXPECT_DOM_EXCEPTION(SaveNodeData("1x", "v", p.root, p.doc), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_EQ("a(b)", render(p.root));
}

// ---- SaveDataToNode ---------------------------------------------------------

TEST(save_data_to_node, replaces_first_text_child_or_appends)
{
    struct Row {
        const char* xml;
        const char* data;
        const char* expected;
    };
    const Row rows[] = {
        {"<a>x<b/>y</a>", "z", "a(#text:z,b,#text:y)"},
        {"<a><b/></a>", "z", "a(b,#text:z)"},
        {"<a/>", "z", "a(#text:z)"},
        {"<a>x</a>", "z", "a(#text:z)"},
        // Whitespace that a parse keeps before a child element is the first text.
        {"<a>\n  <b/>\n</a>", "z", "a(#text:z,b,#text:\n)"},
        // Only node type 3 counts: CDATA, comments and grandchildren stay.
        {"<a><![CDATA[c]]></a>", "z", "a(#cdata-section:c,#text:z)"},
        {"<a><![CDATA[c]]>t<b/>u</a>", "z", "a(#cdata-section:c,#text:z,b,#text:u)"},
        {"<a><!--c--></a>", "z", "a(#comment:c,#text:z)"},
        {"<a><!--c-->t</a>", "z", "a(#comment:c,#text:z)"},
        {"<a><b>x</b></a>", "z", "a(b(#text:x),#text:z)"},
        {"<!DOCTYPE a [<!ENTITY e 'v'>]><a>&e;t</a>", "z", "a(e(#text:v),#text:z)"},
        {"<a>x<b/>y</a>", "", "a(#text:,b,#text:y)"},
        {"<a>x</a>", "<&>", "a(#text:<&>)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.xml);
        Parsed p(row.xml);
        SaveDataToNode(row.data, p.root, p.doc);
        EXPECT_EQ(row.expected, render(p.root));
    }
}

TEST(save_data_to_node, replaced_node_leaves_the_tree_and_others_stay)
{
    Parsed p("<a>x<b/>y</a>");
    const DOM_Node oldText = p.root.getFirstChild();
    const DOM_Node b = oldText.getNextSibling();
    const DOM_Node y = b.getNextSibling();

    SaveDataToNode("z", p.root, p.doc);

    const DOM_Node newText = p.root.getFirstChild();
    EXPECT_FALSE(newText == oldText);
    EXPECT_EQ(DOM_Node::TEXT_NODE, newText.getNodeType());
    EXPECT_TRUE(newText.getNextSibling() == b);
    EXPECT_TRUE(b.getNextSibling() == y);
    EXPECT_EQ("y", str(y.getNodeValue()));
    EXPECT_TRUE(oldText.getParentNode().isNull());
    EXPECT_EQ("x", str(oldText.getNodeValue()));
}

TEST(save_data_to_node, repeated_calls_keep_one_text_child)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("cfg", doc, root);
    SaveDataToNode("first", root, doc);
    SaveDataToNode("second", root, doc);

    EXPECT_EQ("cfg(#text:second)", render(root));
    EXPECT_EQ("second", read_data(root));
}

TEST(save_data_to_node, empty_data_reads_back_empty_and_true)
{
    const char* const inputs[] = {"<a/>", "<a>x</a>", "<a><b/></a>"};
    for (const char* xml : inputs) {
        SCOPED_TRACE(xml);
        Parsed p(xml);
        SaveDataToNode("", p.root, p.doc);
        std::string data = "stale";
        EXPECT_TRUE(ReadNodeData(p.root, data, std::string("default")));
        EXPECT_EQ("", data);
    }
}

TEST(save_data_to_node, empty_text_node_stays_and_is_replaced_again)
{
    Parsed p("<a/>");
    SaveDataToNode("", p.root, p.doc);
    EXPECT_EQ("a(#text:)", render(p.root));
    SaveDataToNode("", p.root, p.doc);
    EXPECT_EQ("a(#text:)", render(p.root));
    SaveDataToNode("v", p.root, p.doc);
    EXPECT_EQ("a(#text:v)", render(p.root));
}

TEST(save_data_to_node, null_node_throws_invalid_state)
{
    Parsed p("<a>x</a>");
    DOM_Node none;
    EXPECT_DOM_EXCEPTION(SaveDataToNode("z", none, p.doc), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_TRUE(none.isNull());
    EXPECT_EQ("a(#text:x)", render(p.root));
}

TEST(save_data_to_node, null_document_throws_before_touching_children)
{
    Parsed p("<a>x</a>");
    DOM_Document noDoc;
    EXPECT_DOM_EXCEPTION(SaveDataToNode("z", p.root, noDoc), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_EQ("a(#text:x)", render(p.root));
}

TEST(save_data_to_node, text_from_other_document_passes_dom_error_through)
{
    Parsed p("<a>x</a>");
    Parsed other("<z/>");
    EXPECT_DOM_EXCEPTION(SaveDataToNode("v", p.root, other.doc), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_EQ("a(#text:x)", render(p.root));
}

// ---- SetNodeAttribute -------------------------------------------------------

TEST(set_node_attribute, adds_missing_attribute)
{
    Parsed p("<a/>");
    DOM_Element root = p.doc.getDocumentElement();
    SetNodeAttribute("k", "v", root);

    EXPECT_EQ(1u, root.getAttributes().getLength());
    std::string value;
    EXPECT_TRUE(GetNamedAttributeValue(root, "k", value));
    EXPECT_EQ("v", value);
    EXPECT_EQ("a", render(root));
}

TEST(set_node_attribute, replaces_value_keeping_single_attribute)
{
    Parsed p("<a/>");
    DOM_Element root = p.doc.getDocumentElement();
    SetNodeAttribute("k", "v1", root);
    SetNodeAttribute("k", "v2", root);

    const DOM_NamedNodeMap attributes = root.getAttributes();
    ASSERT_EQ(1u, attributes.getLength());
    EXPECT_EQ("k", str(attributes.item(0).getNodeName()));
    EXPECT_EQ("v2", str(attributes.item(0).getNodeValue()));
}

TEST(set_node_attribute, replaces_parsed_attribute_and_leaves_others)
{
    Parsed p("<a k=\"old\" m=\"x\"/>");
    DOM_Element root = p.doc.getDocumentElement();
    SetNodeAttribute("k", "new", root);

    EXPECT_EQ(2u, root.getAttributes().getLength());
    std::string value;
    EXPECT_TRUE(GetNamedAttributeValue(root, "k", value));
    EXPECT_EQ("new", value);
    EXPECT_TRUE(GetNamedAttributeValue(root, "m", value));
    EXPECT_EQ("x", value);
}

TEST(set_node_attribute, names_are_case_sensitive)
{
    Parsed p("<a k=\"lower\"/>");
    DOM_Element root = p.doc.getDocumentElement();
    SetNodeAttribute("K", "upper", root);

    EXPECT_EQ(2u, root.getAttributes().getLength());
    EXPECT_EQ("lower", str(root.getAttribute("k")));
    EXPECT_EQ("upper", str(root.getAttribute("K")));
}

TEST(set_node_attribute, value_is_stored_as_is)
{
    const char* const values[] = {"", "<&\">", "a&amp;b", "  two  spaces  "};
    for (const char* value : values) {
        SCOPED_TRACE(value);
        Parsed p("<a/>");
        DOM_Element root = p.doc.getDocumentElement();
        SetNodeAttribute("k", value, root);
        std::string read = "stale";
        EXPECT_TRUE(GetNamedAttributeValue(root, "k", read));
        EXPECT_EQ(value, read);
    }
}

TEST(set_node_attribute, invalid_name_throws_and_adds_nothing)
{
    Parsed p("<a/>");
    DOM_Element root = p.doc.getDocumentElement();
    EXPECT_DOM_EXCEPTION(SetNodeAttribute("1x", "v", root), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_EQ(0u, root.getAttributes().getLength());
}

// ---- Text encoding ----------------------------------------------------------

TEST(build_text, latin1_bytes_round_trip_through_every_function)
{
    const std::string latin1 = "\xE4\xF6\xFC\xDF \xC4\xD6\xDC \xFF\xA0";
    const std::vector<unsigned> expectedUnits = {0xE4, 0xF6, 0xFC, 0xDF, 0x20, 0xC4, 0xD6, 0xDC, 0x20, 0xFF, 0xA0};

    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r\xE4", doc, root);
    EXPECT_EQ("r\xE4", GetNodeName(root));

    DOM_Element element;
    CreateNewElement("\xE4l", element, root, doc);
    EXPECT_EQ("\xE4l", GetNodeName(element));
    EXPECT_EQ((std::vector<unsigned>{0xE4, 'l'}), units(element.getNodeName()));

    SaveNodeData("k", latin1, root, doc);
    const DOM_Node saved = root.getLastChild();
    EXPECT_EQ(latin1, read_data(saved));
    EXPECT_EQ(expectedUnits, units(saved.getFirstChild().getNodeValue()));

    SaveDataToNode(latin1, element, doc);
    EXPECT_EQ(latin1, read_data(element));
    EXPECT_EQ(expectedUnits, units(element.getFirstChild().getNodeValue()));

    SetNodeAttribute("k", latin1, element);
    std::string value;
    EXPECT_TRUE(GetNamedAttributeValue(element, "k", value));
    EXPECT_EQ(latin1, value);
    EXPECT_EQ(expectedUnits, units(element.getAttribute("k")));
}

TEST(build_text, data_is_cut_at_embedded_zero_byte)
{
    const std::string withZero("ab\0cd", 5);
    Parsed p("<a/>");

    SaveNodeData("k", withZero, p.root, p.doc);
    EXPECT_EQ("ab", read_data(p.root.getFirstChild()));

    DOM_Element element;
    CreateNewElement(std::string("b\0c", 3), element, p.root, p.doc);
    EXPECT_EQ("b", GetNodeName(element));

    SaveDataToNode(withZero, element, p.doc);
    EXPECT_EQ("a(k(#text:ab),b(#text:ab))", render(p.root));

    SetNodeAttribute(std::string("n\0m", 3), withZero, element);
    EXPECT_EQ(1u, element.getAttributes().getLength());
    EXPECT_EQ("n", str(element.getAttributes().item(0).getNodeName()));
    EXPECT_EQ("ab", str(element.getAttribute("n")));
}

TEST(build_text, root_name_is_cut_at_embedded_zero_byte)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument(std::string("cfg\0x", 5), doc, root);
    EXPECT_EQ("cfg", GetNodeName(root));
}
