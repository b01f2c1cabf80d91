// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <type_traits>

namespace {

const char kSample[] = "<!DOCTYPE r [<!ENTITY e 'x'>]>\n"
                       "<r a='1' b='2'>\n"
                       "  <c>one</c>\n"
                       "  <d><c>deep</c></d>\n"
                       "  <c>two</c>&e;<!--note--><![CDATA[<cd>]]><?pi data?>\n"
                       "</r>";

DOM_Document sample()
{
    return parse_text(kSample);
}

// A document of `count` elements, large enough to see on the heap.
DOM_Document big_document(int count)
{
    DOM_Document doc = DOM_DOMImplementation::getImplementation().createDocument(DOMString(), DOMString("big"),
                                                                                DOM_DocumentType());
    DOM_Element root = doc.getDocumentElement();
    for (int i = 0; i < count; ++i) {
        DOM_Element e = doc.createElement(DOMString("item"));
        e.setAttribute(DOMString("n"), DOMString("some attribute value"));
        e.appendChild(doc.createTextNode(DOMString("some text content")));
        root.appendChild(e);
    }
    return doc;
}

} // namespace

// ---- value semantics ------------------------------------------------------------

TEST(handles, derived_handles_add_no_data)
{
    static_assert(sizeof(DOM_Node) == 2 * sizeof(void*), "a node pointer and a document share");
    static_assert(sizeof(DOM_Element) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_Document) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_Text) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_CharacterData) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_Attr) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_Comment) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_CDATASection) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_ProcessingInstruction) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_EntityReference) == sizeof(DOM_Node), "");
    static_assert(sizeof(DOM_DocumentType) == sizeof(DOM_Node), "");
    static_assert(std::is_base_of<DOM_Text, DOM_CDATASection>::value, "");
    static_assert(std::is_base_of<DOM_CharacterData, DOM_Comment>::value, "");
    SUCCEED();
}

TEST(handles, default_handle_is_the_null_node)
{
    DOM_Node n;
    EXPECT_TRUE(n.isNull());
    EXPECT_TRUE(n == 0);
    EXPECT_FALSE(n != 0);
    EXPECT_TRUE(n == DOM_Node());
    DOM_Element e = 0;
    EXPECT_TRUE(e.isNull());
    DOM_NodeList list;
    EXPECT_TRUE(list == 0);
    DOM_NamedNodeMap map;
    EXPECT_TRUE(map.isNull());
}

TEST(handles, copies_share_the_node_and_compare_by_identity)
{
    DOM_Document doc = sample();
    DOM_Element root = doc.getDocumentElement();
    DOM_Node copy = root;
    EXPECT_TRUE(copy == root);
    EXPECT_FALSE(copy != root);
    EXPECT_TRUE(copy == doc.getDocumentElement());
    EXPECT_TRUE(copy != root.getFirstChild());
    EXPECT_TRUE(copy != 0);

    // A change through one handle shows through the other.
    DOM_Element same = static_cast<DOM_Element&>(copy);
    same.setAttribute(DOMString("z"), DOMString("26"));
    EXPECT_EQ("26", str(root.getAttribute(DOMString("z"))));

    copy = 0;
    EXPECT_TRUE(copy.isNull());
    EXPECT_FALSE(root.isNull());
}

TEST(handles, classic_downcast_works_on_an_element)
{
    DOM_Document doc = sample();
    DOM_Node node = doc.getDocumentElement();
    DOM_Element& element = (DOM_Element&)node;
    EXPECT_EQ("r", str(element.getTagName()));
    EXPECT_EQ("1", str(element.getAttribute(DOMString("a"))));
    EXPECT_EQ("", str(element.getAttribute(DOMString("missing"))));
}

TEST(handles, downcast_to_another_type_answers_empty_and_refuses_changes)
{
    DOM_Document doc = sample();
    DOM_Node text = doc.getDocumentElement().getFirstChild();
    ASSERT_EQ(DOM_Node::TEXT_NODE, text.getNodeType());
    DOM_Element& wrong = static_cast<DOM_Element&>(text);
    EXPECT_TRUE(wrong.getTagName() == 0);
    EXPECT_TRUE(wrong.getAttribute(DOMString("a")) == 0);
    EXPECT_TRUE(wrong.getAttributeNode(DOMString("a")).isNull());
    EXPECT_DOM_EXCEPTION(wrong.setAttribute(DOMString("a"), DOMString("1")), DOM_DOMException::NOT_SUPPORTED_ERR);
    EXPECT_DOM_EXCEPTION(wrong.removeAttribute(DOMString("a")), DOM_DOMException::NOT_SUPPORTED_ERR);

    DOM_Document& notDoc = static_cast<DOM_Document&>(text);
    EXPECT_TRUE(notDoc.getDocumentElement().isNull());
    EXPECT_DOM_EXCEPTION(notDoc.createElement(DOMString("x")), DOM_DOMException::NOT_SUPPORTED_ERR);

    DOM_Node element = doc.getDocumentElement();
    DOM_CharacterData& notText = static_cast<DOM_CharacterData&>(element);
    EXPECT_TRUE(notText.getData() == 0);
    EXPECT_EQ(0u, notText.getLength());
    EXPECT_DOM_EXCEPTION(notText.setData(DOMString("x")), DOM_DOMException::NOT_SUPPORTED_ERR);
}

// ---- the null node ----------------------------------------------------------------

TEST(handles, queries_on_the_null_node_answer_null_empty_or_zero)
{
    const DOM_Node n;
    EXPECT_TRUE(n.getNodeName() == 0);
    EXPECT_TRUE(n.getNodeValue() == 0);
    EXPECT_EQ(0, n.getNodeType());
    EXPECT_TRUE(n.getNamespaceURI() == 0);
    EXPECT_TRUE(n.getPrefix() == 0);
    EXPECT_TRUE(n.getLocalName() == 0);
    EXPECT_TRUE(n.getParentNode().isNull());
    EXPECT_TRUE(n.getChildNodes().isNull());
    EXPECT_EQ(0u, n.getChildNodes().getLength());
    EXPECT_TRUE(n.getChildNodes().item(0).isNull());
    EXPECT_TRUE(n.getFirstChild().isNull());
    EXPECT_TRUE(n.getLastChild().isNull());
    EXPECT_TRUE(n.getPreviousSibling().isNull());
    EXPECT_TRUE(n.getNextSibling().isNull());
    EXPECT_TRUE(n.getAttributes().isNull());
    EXPECT_EQ(0u, n.getAttributes().getLength());
    EXPECT_TRUE(n.getAttributes().getNamedItem(DOMString("a")).isNull());
    EXPECT_TRUE(n.getOwnerDocument().isNull());
    EXPECT_FALSE(n.hasChildNodes());
    EXPECT_TRUE(n.cloneNode(true).isNull());

    const DOM_Element e;
    EXPECT_TRUE(e.getTagName() == 0);
    EXPECT_TRUE(e.getAttribute(DOMString("a")) == 0);
    EXPECT_TRUE(e.getAttributeNode(DOMString("a")).isNull());
    EXPECT_TRUE(e.getElementsByTagName(DOMString("*")).isNull());
    const DOM_Document d;
    EXPECT_TRUE(d.getDocumentElement().isNull());
    EXPECT_TRUE(d.getDoctype().isNull());
    EXPECT_TRUE(d.getElementsByTagName(DOMString("*")).isNull());
    EXPECT_TRUE(DOM_Text().getData() == 0);
    EXPECT_EQ(0u, DOM_Text().getLength());
    EXPECT_TRUE(DOM_Attr().getName() == 0);
    EXPECT_TRUE(DOM_Attr().getValue() == 0);
    EXPECT_TRUE(DOM_ProcessingInstruction().getTarget() == 0);
    EXPECT_TRUE(DOM_ProcessingInstruction().getData() == 0);
    EXPECT_TRUE(DOM_DocumentType().getName() == 0);
}

TEST(handles, changes_through_the_null_node_throw_invalid_state)
{
    DOM_Document doc = sample();
    DOM_Node child = doc.createElement(DOMString("x"));
    DOM_Node n;
    const auto invalid = DOM_DOMException::INVALID_STATE_ERR;
    EXPECT_DOM_EXCEPTION(n.setNodeValue(DOMString("v")), invalid);
    EXPECT_DOM_EXCEPTION(n.appendChild(child), invalid);
    EXPECT_DOM_EXCEPTION(n.insertBefore(child, DOM_Node()), invalid);
    EXPECT_DOM_EXCEPTION(n.replaceChild(child, child), invalid);
    EXPECT_DOM_EXCEPTION(n.removeChild(child), invalid);
    DOM_Element e;
    EXPECT_DOM_EXCEPTION(e.setAttribute(DOMString("a"), DOMString("1")), invalid);
    EXPECT_DOM_EXCEPTION(e.removeAttribute(DOMString("a")), invalid);
    DOM_Document d;
    EXPECT_DOM_EXCEPTION(d.createElement(DOMString("x")), invalid);
    EXPECT_DOM_EXCEPTION(d.createTextNode(DOMString("x")), invalid);
    EXPECT_DOM_EXCEPTION(d.createComment(DOMString("x")), invalid);
    EXPECT_DOM_EXCEPTION(d.createCDATASection(DOMString("x")), invalid);
    EXPECT_DOM_EXCEPTION(d.createProcessingInstruction(DOMString("x"), DOMString("y")), invalid);
    EXPECT_DOM_EXCEPTION(d.createEntityReference(DOMString("x")), invalid);
    EXPECT_DOM_EXCEPTION(d.createAttribute(DOMString("x")), invalid);
    DOM_Text t;
    EXPECT_DOM_EXCEPTION(t.setData(DOMString("x")), invalid);
    DOM_Attr a;
    EXPECT_DOM_EXCEPTION(a.setValue(DOMString("x")), invalid);

    try {
        n.appendChild(child);
    } catch (const DOM_DOMException& ex) {
        // The message is Xerces-C's own text for the code.
        EXPECT_EQ("attempt is made to use an object that is not or is no longer usable", str(ex.msg));
    }
}

TEST(handles, null_arguments_to_tree_changes_throw)
{
    DOM_Document doc = sample();
    DOM_Element root = doc.getDocumentElement();
    const unsigned int before = root.getChildNodes().getLength();
    EXPECT_DOM_EXCEPTION(root.appendChild(DOM_Node()), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(root.insertBefore(DOM_Node(), root.getFirstChild()), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(root.replaceChild(DOM_Node(), root.getFirstChild()), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(root.replaceChild(doc.createElement(DOMString("x")), DOM_Node()),
                         DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_DOM_EXCEPTION(root.removeChild(DOM_Node()), DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_EQ(before, root.getChildNodes().getLength());
}

// ---- exceptions of the DOM ----------------------------------------------------------

TEST(handles, xerces_dom_exceptions_arrive_with_code_and_message)
{
    DOM_Document doc = sample();
    DOM_Element root = doc.getDocumentElement();
    try {
        doc.createElement(DOMString("1a"));
        FAIL() << "no exception";
    } catch (const DOM_DOMException& e) {
        EXPECT_EQ(DOM_DOMException::INVALID_CHARACTER_ERR, e.code);
        EXPECT_EQ("invalid or illegal XML character", str(e.msg));
    }
    DOM_Document other = sample();
    EXPECT_DOM_EXCEPTION(root.appendChild(other.createElement(DOMString("x"))), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_DOM_EXCEPTION(root.removeChild(doc.createElement(DOMString("x"))), DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_DOM_EXCEPTION(doc.appendChild(doc.createElement(DOMString("second"))),
                         DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttribute(DOMString("a b"), DOMString("1")), DOM_DOMException::INVALID_CHARACTER_ERR);
}

// ---- the classic methods --------------------------------------------------------------

TEST(handles, node_types_of_a_parsed_document)
{
    DOM_Document doc = sample();
    EXPECT_EQ(DOM_Node::DOCUMENT_NODE, doc.getNodeType());
    EXPECT_EQ("#document", str(doc.getNodeName()));
    DOM_DocumentType type = doc.getDoctype();
    ASSERT_FALSE(type.isNull());
    EXPECT_EQ(DOM_Node::DOCUMENT_TYPE_NODE, type.getNodeType());
    EXPECT_EQ("r", str(type.getName()));

    // Classic parser settings: whitespace text, entity references, comments,
    // CDATA sections and processing instructions all stay as nodes.
    std::string kinds;
    for (DOM_Node n = doc.getDocumentElement().getFirstChild(); n != 0; n = n.getNextSibling())
        kinds += std::to_string(n.getNodeType()) + " ";
    EXPECT_EQ("3 1 3 1 3 1 5 8 4 7 3 ", kinds);

    DOM_Node ref = doc.getDocumentElement().getChildNodes().item(6);
    EXPECT_EQ("e", str(ref.getNodeName()));
    EXPECT_EQ("x", str(ref.getFirstChild().getNodeValue()));
    DOM_Node pi = ref.getNextSibling().getNextSibling().getNextSibling();
    EXPECT_EQ("pi", str(static_cast<DOM_ProcessingInstruction&>(pi).getTarget()));
    EXPECT_EQ("data", str(static_cast<DOM_ProcessingInstruction&>(pi).getData()));
}

TEST(handles, navigation_between_relatives)
{
    DOM_Document doc = parse_text("<r><a/><b/><c/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_Node a = root.getFirstChild();
    DOM_Node c = root.getLastChild();
    EXPECT_EQ("a", str(a.getNodeName()));
    EXPECT_EQ("c", str(c.getNodeName()));
    EXPECT_EQ("b", str(a.getNextSibling().getNodeName()));
    EXPECT_TRUE(c.getPreviousSibling() == a.getNextSibling());
    EXPECT_TRUE(a.getPreviousSibling().isNull());
    EXPECT_TRUE(c.getNextSibling().isNull());
    EXPECT_TRUE(a.getParentNode() == root);
    EXPECT_TRUE(root.getParentNode() == doc);
    EXPECT_TRUE(doc.getParentNode().isNull());
    EXPECT_TRUE(a.getOwnerDocument() == doc);
    EXPECT_TRUE(doc.getOwnerDocument().isNull());
    EXPECT_TRUE(root.hasChildNodes());
    EXPECT_FALSE(a.hasChildNodes());
}

TEST(handles, tree_changes)
{
    DOM_Document doc = parse_text("<r><a/><c/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_Node a = root.getFirstChild();
    DOM_Node c = root.getLastChild();
    DOM_Element b = doc.createElement(DOMString("b"));
    EXPECT_TRUE(root.insertBefore(b, c) == b);
    EXPECT_TRUE(a.getNextSibling() == b);
    DOM_Element d = doc.createElement(DOMString("d"));
    EXPECT_TRUE(root.replaceChild(d, a) == a);
    EXPECT_TRUE(root.getFirstChild() == d);
    EXPECT_TRUE(a.getParentNode().isNull());
    EXPECT_TRUE(root.removeChild(c) == c);
    EXPECT_EQ(2u, root.getChildNodes().getLength());
    EXPECT_TRUE(root.insertBefore(c, DOM_Node()) == c);
    EXPECT_TRUE(root.getLastChild() == c);
    // A removed node stays usable while a handle holds it.
    EXPECT_EQ("a", str(a.getNodeName()));
    root.appendChild(a);
    EXPECT_TRUE(root.getLastChild() == a);
}

TEST(handles, values_and_character_data)
{
    DOM_Document doc = parse_text("<r>text<!--c--></r>");
    DOM_Node text = doc.getDocumentElement().getFirstChild();
    EXPECT_EQ("text", str(text.getNodeValue()));
    EXPECT_TRUE(doc.getDocumentElement().getNodeValue() == 0);
    DOM_Text& t = static_cast<DOM_Text&>(text);
    EXPECT_EQ(4u, t.getLength());
    t.setData(DOMString("new \xE4"));
    EXPECT_EQ("new \xE4", str(text.getNodeValue()));
    text.setNodeValue(DOMString("again"));
    EXPECT_EQ("again", str(t.getData()));
    DOM_Comment comment = doc.createComment(DOMString("note"));
    EXPECT_EQ(DOM_Node::COMMENT_NODE, comment.getNodeType());
    EXPECT_EQ("note", str(comment.getData()));
    DOM_CDATASection cdata = doc.createCDATASection(DOMString("<x>"));
    EXPECT_EQ(DOM_Node::CDATA_SECTION_NODE, cdata.getNodeType());
    EXPECT_EQ("<x>", str(cdata.getData()));
    DOM_EntityReference ref = doc.createEntityReference(DOMString("amp"));
    EXPECT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, ref.getNodeType());
    DOM_ProcessingInstruction pi = doc.createProcessingInstruction(DOMString("t"), DOMString("d"));
    EXPECT_EQ("t", str(pi.getTarget()));
    EXPECT_EQ("d", str(pi.getData()));
}

TEST(handles, attributes_through_element_and_map)
{
    DOM_Document doc = sample();
    DOM_Element root = doc.getDocumentElement();
    DOM_NamedNodeMap map = root.getAttributes();
    ASSERT_FALSE(map.isNull());
    EXPECT_EQ(2u, map.getLength());
    EXPECT_EQ("a", str(map.item(0).getNodeName()));
    EXPECT_EQ("b", str(map.item(1).getNodeName()));
    EXPECT_TRUE(map.item(2).isNull());
    EXPECT_EQ(DOM_Node::ATTRIBUTE_NODE, map.item(0).getNodeType());
    EXPECT_EQ("2", str(map.getNamedItem(DOMString("b")).getNodeValue()));
    EXPECT_TRUE(map.getNamedItem(DOMString("B")).isNull());

    // The map is live.
    root.setAttribute(DOMString("c"), DOMString("3"));
    EXPECT_EQ(3u, map.getLength());

    DOM_Attr attr = root.getAttributeNode(DOMString("a"));
    EXPECT_EQ("a", str(attr.getName()));
    EXPECT_EQ("1", str(attr.getValue()));
    attr.setValue(DOMString("one"));
    EXPECT_EQ("one", str(root.getAttribute(DOMString("a"))));
    root.removeAttribute(DOMString("a"));
    EXPECT_EQ(2u, map.getLength());
    EXPECT_TRUE(root.getAttributeNode(DOMString("a")).isNull());
    // The removed attribute is still whole behind its handle.
    EXPECT_EQ("one", str(attr.getValue()));
    root.removeAttribute(DOMString("never-there"));
    EXPECT_EQ(2u, map.getLength());

    DOM_Attr made = doc.createAttribute(DOMString("m"));
    made.setValue(DOMString("v"));
    EXPECT_EQ("v", str(made.getValue()));

    EXPECT_TRUE(root.getFirstChild().getAttributes().isNull());
    EXPECT_TRUE(doc.getAttributes().isNull());
}

TEST(handles, attribute_map_is_sorted_by_name_length_then_name)
{
    // The classic DOM's maps order attributes by the length of their names,
    // then by their code units, whatever the order of the document or of
    // the calls that set them; Xerces-C 3.2 alone would give "a aa b c m zz".
    DOM_Document doc = parse_text("<r zz='1' b='2' a='3' m='4'/>");
    DOM_Element root = doc.getDocumentElement();
    root.setAttribute(DOMString("c"), DOMString("5"));
    root.setAttribute(DOMString("aa"), DOMString("6"));
    DOM_NamedNodeMap map = root.getAttributes();
    std::string names;
    for (unsigned int i = 0; i < map.getLength(); ++i)
        names += str(map.item(i).getNodeName()) + " ";
    EXPECT_EQ("a b c m aa zz ", names);
    EXPECT_TRUE(map.item(6).isNull());
}

TEST(handles, elements_by_tag_name_in_document_order)
{
    DOM_Document doc = sample();
    DOM_NodeList cs = doc.getElementsByTagName(DOMString("c"));
    ASSERT_EQ(3u, cs.getLength());
    EXPECT_EQ("one", str(cs.item(0).getFirstChild().getNodeValue()));
    EXPECT_EQ("deep", str(cs.item(1).getFirstChild().getNodeValue()));
    EXPECT_EQ("two", str(cs.item(2).getFirstChild().getNodeValue()));
    EXPECT_TRUE(cs.item(3).isNull());
    EXPECT_TRUE(cs.item(0xFFFFFFFFu).isNull());
    // Reading backwards gives the same nodes as reading forwards.
    EXPECT_EQ("deep", str(cs.item(1).getFirstChild().getNodeValue()));
    EXPECT_EQ("one", str(cs.item(0).getFirstChild().getNodeValue()));

    DOM_NodeList all = doc.getDocumentElement().getElementsByTagName(DOMString("*"));
    std::string names;
    for (unsigned int i = 0; i < all.getLength(); ++i)
        names += str(all.item(i).getNodeName());
    EXPECT_EQ("cdcc", names);
    EXPECT_EQ(0u, doc.getElementsByTagName(DOMString("C")).getLength());
    EXPECT_EQ(1u, doc.getElementsByTagName(DOMString("r")).getLength());
    EXPECT_EQ(0u, doc.getDocumentElement().getElementsByTagName(DOMString("r")).getLength());
}

TEST(handles, lists_are_live_and_copies_share_them)
{
    DOM_Document doc = parse_text("<r><c/><d/><c/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_NodeList cs = root.getElementsByTagName(DOMString("c"));
    DOM_NodeList children = root.getChildNodes();
    DOM_NodeList copy = children;
    EXPECT_TRUE(copy == children);
    ASSERT_EQ(2u, cs.getLength());
    ASSERT_EQ(3u, children.getLength());
    DOM_Node firstC = cs.item(0);

    DOM_Element added = doc.createElement(DOMString("c"));
    root.insertBefore(added, root.getFirstChild());
    EXPECT_EQ(3u, cs.getLength());
    EXPECT_TRUE(cs.item(0) == added);
    EXPECT_TRUE(cs.item(1) == firstC);
    EXPECT_EQ(4u, copy.getLength());
    EXPECT_TRUE(copy.item(0) == added);

    DOM_Element nested = doc.createElement(DOMString("c"));
    root.getLastChild().appendChild(nested);
    EXPECT_EQ(4u, cs.getLength());
    EXPECT_TRUE(cs.item(3) == nested);

    root.removeChild(added);
    EXPECT_EQ(3u, cs.getLength());
    EXPECT_TRUE(cs.item(0) == firstC);
    EXPECT_EQ(3u, children.getLength());
    EXPECT_EQ("d", str(children.item(1).getNodeName()));
}

TEST(handles, child_list_walks_forwards_and_backwards)
{
    std::string xml = "<r>";
    for (int i = 0; i < 50; ++i)
        xml += "<e" + std::to_string(i) + "/>";
    xml += "</r>";
    DOM_Document doc = parse_text(xml);
    DOM_NodeList children = doc.getDocumentElement().getChildNodes();
    ASSERT_EQ(50u, children.getLength());
    for (int i = 49; i >= 0; --i)
        EXPECT_EQ("e" + std::to_string(i), str(children.item(static_cast<unsigned int>(i)).getNodeName()));
    for (unsigned int i = 0; i < 50; i += 7)
        EXPECT_EQ("e" + std::to_string(i), str(children.item(i).getNodeName()));
    EXPECT_EQ("e3", str(children.item(3).getNodeName()));
    EXPECT_TRUE(children.item(50).isNull());
}

TEST(handles, clone_node_shallow_and_deep)
{
    DOM_Document doc = parse_text("<r><a x='1'><b/></a></r>");
    DOM_Node a = doc.getDocumentElement().getFirstChild();
    DOM_Node shallow = a.cloneNode(false);
    DOM_Node deep = a.cloneNode(true);
    EXPECT_TRUE(shallow != a);
    EXPECT_TRUE(shallow.getParentNode().isNull());
    EXPECT_FALSE(shallow.hasChildNodes());
    EXPECT_EQ("1", str(static_cast<DOM_Element&>(shallow).getAttribute(DOMString("x"))));
    EXPECT_EQ("b", str(deep.getFirstChild().getNodeName()));
    EXPECT_TRUE(deep.getOwnerDocument() == doc);
    doc.getDocumentElement().appendChild(deep);
    EXPECT_EQ(2u, doc.getDocumentElement().getChildNodes().getLength());
}

TEST(handles, cloning_a_document_makes_an_independent_document)
{
    DOM_Node copy;
    {
        DOM_Document doc = parse_text("<r><a/></r>");
        copy = doc.cloneNode(true);
    }
    ASSERT_EQ(DOM_Node::DOCUMENT_NODE, copy.getNodeType());
    DOM_Document& doc = static_cast<DOM_Document&>(copy);
    EXPECT_EQ("a", str(doc.getDocumentElement().getFirstChild().getNodeName()));
    doc.getDocumentElement().appendChild(doc.createElement(DOMString("b")));
    EXPECT_EQ(2u, doc.getDocumentElement().getChildNodes().getLength());
}

TEST(handles, implementation_creates_documents)
{
    DOM_DOMImplementation impl = DOM_DOMImplementation::getImplementation();
    EXPECT_TRUE(impl.hasFeature(DOMString("Core"), DOMString("2.0")));
    EXPECT_FALSE(impl.hasFeature(DOMString("NoSuchFeature"), DOMString("1.0")));
    DOM_Document doc = DOM_DOMImplementation().createDocument(DOMString("urn:x"), DOMString("p:root"),
                                                              DOM_DocumentType());
    DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("p:root", str(root.getNodeName()));
    EXPECT_EQ("urn:x", str(root.getNamespaceURI()));
    EXPECT_EQ("p", str(root.getPrefix()));
    EXPECT_EQ("root", str(root.getLocalName()));
    EXPECT_DOM_EXCEPTION(impl.createDocument(DOMString(""), DOMString(":x"), DOM_DocumentType()),
                         DOM_DOMException::NAMESPACE_ERR);
    // A document type that belongs to another document cannot be reused.
    DOM_Document typed = parse_text("<!DOCTYPE r><r/>");
    EXPECT_DOM_EXCEPTION(impl.createDocument(DOMString(), DOMString("r"), typed.getDoctype()),
                         DOM_DOMException::WRONG_DOCUMENT_ERR);
}

// ---- the parser -------------------------------------------------------------------------

namespace {

// Counts reports without throwing, as a classic program's own handler might.
class CountingHandler : public ErrorHandler {
public:
    void warning(const SAXParseException&) override { ++warnings; }
    void error(const SAXParseException&) override { ++errors; }
    void fatalError(const SAXParseException&) override { ++fatals; }
    void resetErrors() override {}
    int warnings = 0;
    int errors = 0;
    int fatals = 0;
};

void parse_memory(DOMParser& parser, const std::string& xml)
{
    MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "mem", false);
    parser.parse(source);
}

} // namespace

TEST(dom_parser, validation_switch)
{
    DOMParser parser;
    EXPECT_FALSE(parser.getDoValidation());
    parser.setDoValidation(true);
    EXPECT_TRUE(parser.getDoValidation());
    EXPECT_EQ(DOMParser::Val_Always, parser.getValidationScheme());
    parser.setDoValidation(false);
    EXPECT_FALSE(parser.getDoValidation());
    parser.setValidationScheme(DOMParser::Val_Auto);
    EXPECT_EQ(DOMParser::Val_Auto, parser.getValidationScheme());
    EXPECT_FALSE(parser.getDoNamespaces());
}

TEST(dom_parser, reports_go_to_the_installed_handler)
{
    CountingHandler handler;
    DOMParser parser;
    parser.setErrorHandler(&handler);
    EXPECT_EQ(&handler, parser.getErrorHandler());
    parser.setDoValidation(true);
    parse_memory(parser, "<r><a/></r>");
    EXPECT_EQ(2, handler.errors);
    EXPECT_EQ(0, handler.fatals);
    EXPECT_EQ("a", str(parser.getDocument().getDocumentElement().getFirstChild().getNodeName()));

    parse_memory(parser, "<r><a></r>");
    EXPECT_EQ(1, handler.fatals);
}

TEST(dom_parser, document_is_the_same_until_the_next_parse)
{
    DOMParser parser;
    EXPECT_TRUE(parser.getDocument().getDocumentElement().isNull());
    parse_memory(parser, "<one/>");
    DOM_Document first = parser.getDocument();
    EXPECT_TRUE(first == parser.getDocument());
    parse_memory(parser, "<two/>");
    DOM_Document second = parser.getDocument();
    EXPECT_TRUE(first != second);
    EXPECT_EQ("one", str(first.getDocumentElement().getNodeName()));
    EXPECT_EQ("two", str(second.getDocumentElement().getNodeName()));
}

TEST(dom_parser, xerces_dom_exception_out_of_parse_arrives_as_dom_exception)
{
    DOMParser parser;
    EXPECT_DOM_EXCEPTION(parse_memory(parser, "<?xml version=\"1.2\"?><r/>"), DOM_DOMException::NOT_SUPPORTED_ERR);
    // The parser stays usable.
    parse_memory(parser, "<ok/>");
    EXPECT_EQ("ok", str(parser.getDocument().getDocumentElement().getNodeName()));
}

TEST(dom_parser, parse_by_system_id)
{
    const std::string path = std::string(XMLUTIL_TEST_DATA) + "/handles-sample.xml";
    DOMParser parser;
    parser.parse(path.c_str());
    EXPECT_EQ("config", str(parser.getDocument().getDocumentElement().getNodeName()));
}

// ---- lifetime -------------------------------------------------------------------------------

TEST(lifetime, document_outlives_its_parser)
{
    DOM_Document doc;
    {
        DOMParser parser;
        parse_memory(parser, "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r a CDATA 'dflt'>]><r><x>t</x></r>");
        doc = parser.getDocument();
    }
    DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("dflt", str(root.getAttribute(DOMString("a"))));
    EXPECT_EQ("t", str(root.getFirstChild().getFirstChild().getNodeValue()));
    EXPECT_EQ("r", str(doc.getDoctype().getName()));
}

TEST(lifetime, node_handle_outlives_every_other_handle)
{
    DOM_Node leaf;
    {
        DOM_Document doc = parse_text("<r><a><b>leaf</b></a></r>");
        DOM_NodeList list = doc.getElementsByTagName(DOMString("b"));
        leaf = list.item(0).getFirstChild();
    }
    EXPECT_EQ("leaf", str(leaf.getNodeValue()));
    EXPECT_EQ("b", str(leaf.getParentNode().getNodeName()));
    EXPECT_EQ("r", str(leaf.getParentNode().getParentNode().getParentNode().getNodeName()));
    DOM_Document doc = leaf.getOwnerDocument();
    EXPECT_EQ("r", str(doc.getDocumentElement().getNodeName()));
    doc.getDocumentElement().appendChild(doc.createElement(DOMString("late")));
    EXPECT_EQ("late", str(doc.getDocumentElement().getLastChild().getNodeName()));
}

TEST(lifetime, lists_and_maps_keep_their_document)
{
    DOM_NodeList list;
    DOM_NamedNodeMap map;
    {
        DOM_Document doc = parse_text("<r k='v'><c/><c/></r>");
        list = doc.getElementsByTagName(DOMString("c"));
        map = doc.getDocumentElement().getAttributes();
    }
    EXPECT_EQ(2u, list.getLength());
    EXPECT_EQ("v", str(map.getNamedItem(DOMString("k")).getNodeValue()));
    DOM_NodeList children = list.item(0).getParentNode().getChildNodes();
    list = 0;
    map = 0;
    EXPECT_EQ(2u, children.getLength());
}

TEST(lifetime, any_order_of_destruction)
{
    for (int order = 0; order < 6; ++order) {
        auto* doc = new DOM_Document(parse_text("<r><a/></r>"));
        auto* node = new DOM_Node(doc->getDocumentElement().getFirstChild());
        auto* list = new DOM_NodeList(doc->getElementsByTagName(DOMString("a")));
        const int orders[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
        for (int which : orders[order]) {
            if (which == 0)
                delete doc;
            else if (which == 1)
                delete node;
            else
                delete list;
        }
    }
    SUCCEED(); // the sanitizer build checks for use after free and leaks
}

TEST(lifetime, last_handle_releases_the_document)
{
    // Xerces-C sets itself up on first use; that is not the document's.
    big_document(1);
    const std::size_t baseline = heap_in_use();
    DOM_Node survivor;
    std::size_t loaded = 0;
    {
        DOM_Document doc = big_document(20000);
        survivor = doc.getDocumentElement().getLastChild();
        loaded = heap_in_use();
    }
    // One node handle still holds the whole document.
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    EXPECT_EQ("item", str(survivor.getNodeName()));
    survivor = 0;
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

TEST(lifetime, a_million_documents_leave_the_heap_where_it_was)
{
    // Warm up so that one-time allocations of Xerces-C are not counted.
    for (int i = 0; i < 1000; ++i)
        big_document(1);
    const std::size_t before = heap_in_use();
    DOM_DOMImplementation impl;
    for (int i = 0; i < 1000000; ++i) {
        DOM_Document doc = impl.createDocument(DOMString(), DOMString("d"), DOM_DocumentType());
        DOM_Node root = doc.getDocumentElement();
        DOM_Node kept = root; // more than one handle per document
    }
    const std::size_t after = heap_in_use();
    EXPECT_LT(after, before + 64 * 1024) << "before " << before << " after " << after;
}
