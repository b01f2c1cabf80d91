// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/ErrorHandler.hpp>

#include <sstream>
#include <type_traits>

namespace {

std::string xml(const DOM_Node& node)
{
    std::ostringstream out;
    out << node;
    return out.str();
}


// A parse with namespaces on, so that elements and attributes have them.
DOM_Document parse_namespaces(const std::string& text)
{
    DOMParser parser;
    parser.setDoNamespaces(true);
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}

DOM_Element element(const DOM_Node& node)
{
    return static_cast<const DOM_Element&>(node);
}

DOM_Text text_of(const DOM_Node& node)
{
    return static_cast<const DOM_Text&>(node);
}

// A document whose entity reference makes read-only nodes: the element x,
// its attribute and its text.
const char kReadOnly[] = "<!DOCTYPE r [<!ENTITY e '<x a=\"1\">t</x>'>]><r>&e;</r>";

DOM_Element read_only_element(const DOM_Document& doc)
{
    return element(doc.getDocumentElement().getFirstChild().getFirstChild());
}

} // namespace

// ---- signatures ---------------------------------------------------------------

// Classic code compiles against these exact types, const-ness and by-value
// parameters included.
TEST(signatures, are_the_classic_ones)
{
    using S = const DOMString&;
    static_assert(std::is_same<decltype(&DOM_Node::normalize), void (DOM_Node::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_Node::isSupported), bool (DOM_Node::*)(S, S) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Node::setPrefix), void (DOM_Node::*)(S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Node::hasAttributes), bool (DOM_Node::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::hasAttribute), bool (DOM_Element::*)(S) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::setAttributeNode), DOM_Attr (DOM_Element::*)(DOM_Attr)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::removeAttributeNode), DOM_Attr (DOM_Element::*)(DOM_Attr)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::getAttributeNS), DOMString (DOM_Element::*)(S, S) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::setAttributeNS), void (DOM_Element::*)(S, S, S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::removeAttributeNS), void (DOM_Element::*)(S, S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::getAttributeNodeNS), DOM_Attr (DOM_Element::*)(S, S) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::setAttributeNodeNS), DOM_Attr (DOM_Element::*)(DOM_Attr)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::getElementsByTagNameNS),
                               DOM_NodeList (DOM_Element::*)(S, S) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Element::hasAttributeNS), bool (DOM_Element::*)(S, S) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::getData), DOMString (DOM_CharacterData::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::setData), void (DOM_CharacterData::*)(S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::getLength), unsigned int (DOM_CharacterData::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::substringData),
                               DOMString (DOM_CharacterData::*)(unsigned int, unsigned int) const>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::appendData), void (DOM_CharacterData::*)(S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::insertData),
                               void (DOM_CharacterData::*)(unsigned int, S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::deleteData),
                               void (DOM_CharacterData::*)(unsigned int, unsigned int)>::value, "");
    static_assert(std::is_same<decltype(&DOM_CharacterData::replaceData),
                               void (DOM_CharacterData::*)(unsigned int, unsigned int, S)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Text::splitText), DOM_Text (DOM_Text::*)(unsigned int)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Text::isIgnorableWhitespace), bool (DOM_Text::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_Attr::getSpecified), bool (DOM_Attr::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Attr::getOwnerElement), DOM_Element (DOM_Attr::*)() const>::value, "");
    // Inherited, as in the classic DOM.
    static_assert(std::is_same<decltype(&DOM_Element::hasAttributes), bool (DOM_Node::*)() const>::value, "");
    SUCCEED();
}

// ---- DOM_Node::normalize ------------------------------------------------------

TEST(normalize, merges_adjacent_text_through_the_subtree)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.appendChild(doc.createTextNode("a"));
    root.appendChild(doc.createTextNode("b"));
    root.appendChild(doc.createTextNode("c"));
    DOM_Element inner = doc.createElement("i");
    inner.appendChild(doc.createTextNode("x"));
    inner.appendChild(doc.createTextNode("y"));
    root.appendChild(inner);
    root.appendChild(doc.createTextNode("d"));
    DOM_Node first = root.getFirstChild();
    DOM_Node second = first.getNextSibling();

    root.normalize();

    EXPECT_EQ(3u, root.getChildNodes().getLength());
    EXPECT_TRUE(first == root.getFirstChild());
    EXPECT_EQ("abc", str(first.getNodeValue()));
    EXPECT_EQ(1u, inner.getChildNodes().getLength());
    EXPECT_EQ("xy", str(inner.getFirstChild().getNodeValue()));
    EXPECT_EQ("d", str(root.getLastChild().getNodeValue()));
    // A merged-away node stays usable, out of the tree.
    EXPECT_TRUE(second.getParentNode() == 0);
    EXPECT_EQ("b", str(second.getNodeValue()));
}

TEST(normalize, leaves_cdata_comments_and_empty_text)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.appendChild(doc.createTextNode("a"));
    root.appendChild(doc.createCDATASection("b"));
    root.appendChild(doc.createTextNode("c"));
    root.appendChild(doc.createComment("n"));
    root.appendChild(doc.createTextNode(""));
    root.normalize();
    ASSERT_EQ(5u, root.getChildNodes().getLength());
    EXPECT_EQ(DOM_Node::TEXT_NODE, root.getChildNodes().item(4).getNodeType());
    EXPECT_EQ(0u, text_of(root.getChildNodes().item(4)).getLength());

    // An empty text next to another is merged, not dropped on its own.
    DOM_Element other = doc.createElement("o");
    other.appendChild(doc.createTextNode(""));
    other.appendChild(doc.createTextNode(""));
    other.normalize();
    EXPECT_EQ(1u, other.getChildNodes().getLength());
    EXPECT_EQ(0u, text_of(other.getFirstChild()).getLength());
}

TEST(normalize, skips_attribute_values)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.setAttribute("a", "v");
    DOM_Attr attr = root.getAttributeNode("a");
    attr.appendChild(doc.createTextNode("w"));
    EXPECT_EQ(2u, attr.getChildNodes().getLength());
    root.normalize();
    EXPECT_EQ(2u, attr.getChildNodes().getLength());
    EXPECT_EQ("vw", str(attr.getValue()));
}

TEST(normalize, serialises_the_merged_tree)
{
    DOM_Document doc = parse_text("<r><a>x</a><b/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_Element a = element(root.getFirstChild());
    text_of(a.getFirstChild()).splitText(0);
    a.appendChild(doc.createTextNode("y"));
    EXPECT_EQ(3u, a.getChildNodes().getLength());
    doc.normalize();
    EXPECT_EQ(1u, a.getChildNodes().getLength());
    EXPECT_EQ("<a>xy</a>", xml(a));
}

TEST(normalize, null_node_refuses)
{
    DOM_Node none;
    EXPECT_DOM_EXCEPTION(none.normalize(), DOM_DOMException::INVALID_STATE_ERR);
}

TEST(normalize, million_deep_chain_without_recursion)
{
    const int depth = 1000000;
    DOM_Document doc = new_document("r");
    DOM_Element top = doc.getDocumentElement();
    DOM_Element parent = top;
    DOM_Element halfway;
    for (int i = 0; i < depth; ++i) {
        DOM_Element child = doc.createElement("e");
        parent.appendChild(child);
        parent = child;
        if (i == depth / 2)
            halfway = child;
    }
    parent.appendChild(doc.createTextNode("a"));
    parent.appendChild(doc.createTextNode("b"));
    halfway.appendChild(doc.createTextNode("m1"));
    halfway.appendChild(doc.createTextNode("m2"));

    doc.normalize();

    EXPECT_EQ(1u, parent.getChildNodes().getLength());
    EXPECT_EQ("ab", str(parent.getFirstChild().getNodeValue()));
    // Halfway down: the next element, then the merged text after it.
    ASSERT_EQ(2u, halfway.getChildNodes().getLength());
    EXPECT_EQ("m1m2", str(halfway.getLastChild().getNodeValue()));
}

// ---- isSupported, setPrefix, hasAttributes ---------------------------------------

TEST(node, is_supported_answers_as_the_implementation)
{
    DOM_Document doc = new_document("r");
    DOM_Node root = doc.getDocumentElement();
    EXPECT_TRUE(root.isSupported("XML", "1.0"));
    EXPECT_TRUE(root.isSupported("Core", "2.0"));
    EXPECT_TRUE(root.isSupported("XML", DOMString()));
    EXPECT_FALSE(root.isSupported("NoSuchFeature", "1.0"));
    EXPECT_EQ(DOM_DOMImplementation().hasFeature("Traversal", "2.0"), root.isSupported("Traversal", "2.0"));
}

TEST(node, set_prefix_on_namespace_nodes)
{
    DOM_Document doc = parse_namespaces("<p:r xmlns:p='urn:p' p:a='1'><c/></p:r>");
    DOM_Element root = doc.getDocumentElement();
    root.setPrefix("q");
    EXPECT_EQ("q:r", str(root.getTagName()));
    EXPECT_EQ("q", str(root.getPrefix()));
    EXPECT_EQ("r", str(root.getLocalName()));
    EXPECT_EQ("urn:p", str(root.getNamespaceURI()));
    EXPECT_EQ(1u, doc.getElementsByTagName("q:r").getLength());
    EXPECT_EQ(0u, doc.getElementsByTagName("p:r").getLength());

    DOM_Attr attr = root.getAttributeNodeNS("urn:p", "a");
    ASSERT_TRUE(attr != 0);
    attr.setPrefix("s");
    EXPECT_EQ("s:a", str(attr.getName()));
    root.setPrefix(DOMString());
    EXPECT_EQ("r", str(root.getTagName()));
    EXPECT_TRUE(root.getPrefix() == 0);
}

TEST(node, set_prefix_errors)
{
    DOM_Document doc = parse_namespaces("<p:r xmlns:p='urn:p' p:a='1'><c/>t</p:r>");
    DOM_Element root = doc.getDocumentElement();
    // Bad characters, a colon, and xml/xmlns with another namespace.
    EXPECT_DOM_EXCEPTION(root.setPrefix("a b"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(root.setPrefix("a:b"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.setPrefix("xml"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.getAttributeNodeNS("urn:p", "a").setPrefix("xmlns"), DOM_DOMException::NAMESPACE_ERR);
    // No namespace URI: no prefix.
    DOM_Node plain = root.getFirstChild();
    EXPECT_DOM_EXCEPTION(plain.setPrefix("p"), DOM_DOMException::NAMESPACE_ERR);
    // Other node types.
    EXPECT_DOM_EXCEPTION(root.getLastChild().setPrefix("p"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(DOM_Node(doc).setPrefix("p"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_EQ("p:r", str(root.getTagName()));

    // Level-1 elements and attributes, even with a valid prefix.
    DOM_Document level1 = new_document("r");
    DOM_Element e = level1.createElement("e");
    EXPECT_DOM_EXCEPTION(e.setPrefix("p"), DOM_DOMException::NAMESPACE_ERR);
    DOM_Attr a = level1.createAttribute("a");
    EXPECT_DOM_EXCEPTION(a.setPrefix("p"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(DOM_Node().setPrefix("p"), DOM_DOMException::INVALID_STATE_ERR);
}

TEST(node, has_attributes_only_for_elements_with_some)
{
    DOM_Document doc = parse_text("<r a='1'><c>t</c></r>");
    DOM_Element root = doc.getDocumentElement();
    EXPECT_TRUE(root.hasAttributes());
    EXPECT_FALSE(root.getFirstChild().hasAttributes());
    EXPECT_FALSE(root.getFirstChild().getFirstChild().hasAttributes());
    EXPECT_FALSE(doc.hasAttributes());
    EXPECT_FALSE(root.getAttributeNode("a").hasAttributes());
    EXPECT_FALSE(DOM_Node().hasAttributes());
    root.removeAttribute("a");
    EXPECT_FALSE(root.hasAttributes());
}

// ---- DOM_Element ------------------------------------------------------------------

TEST(element, has_attribute_sees_set_and_defaulted)
{
    DOM_Document doc = parse_text("<!DOCTYPE r [<!ATTLIST r d CDATA 'def'>]><r a=''/>");
    DOM_Element root = doc.getDocumentElement();
    EXPECT_TRUE(root.hasAttribute("a"));
    EXPECT_TRUE(root.hasAttribute("d"));
    EXPECT_FALSE(root.hasAttribute("x"));
    EXPECT_FALSE(root.getAttributeNode("d").getSpecified());
    EXPECT_TRUE(root.getAttributeNode("a").getSpecified());
    EXPECT_FALSE(DOM_Element().hasAttribute("a"));
}

TEST(element, set_attribute_node_adds_and_replaces)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    DOM_Attr a = doc.createAttribute("a");
    a.setValue("1");
    EXPECT_TRUE(root.setAttributeNode(a) == 0);
    EXPECT_TRUE(a.getOwnerElement() == root);
    EXPECT_EQ("1", str(root.getAttribute("a")));

    DOM_Attr b = doc.createAttribute("a");
    b.setValue("2");
    DOM_Attr replaced = root.setAttributeNode(b);
    EXPECT_TRUE(replaced == a);
    EXPECT_TRUE(a.getOwnerElement() == 0);
    EXPECT_EQ("1", str(a.getValue()));
    EXPECT_EQ("<r a=\"2\"/>", xml(root));
    // Already this element's: nothing is replaced.
    EXPECT_TRUE(root.setAttributeNode(b) == 0);
    EXPECT_TRUE(root.getAttributeNode("a") == b);
}

TEST(element, set_attribute_node_errors)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    DOM_Element other = doc.createElement("o");
    other.setAttribute("a", "1");
    EXPECT_DOM_EXCEPTION(root.setAttributeNode(other.getAttributeNode("a")), DOM_DOMException::INUSE_ATTRIBUTE_ERR);
    DOM_Document elsewhere = new_document("x");
    EXPECT_DOM_EXCEPTION(root.setAttributeNode(elsewhere.createAttribute("a")), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNode(DOM_Attr()), DOM_DOMException::HIERARCHY_REQUEST_ERR);

    DOM_Document ro = parse_text(kReadOnly);
    EXPECT_DOM_EXCEPTION(read_only_element(ro).setAttributeNode(ro.createAttribute("b")),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_FALSE(root.hasAttributes());
}

TEST(element, remove_attribute_node)
{
    DOM_Document doc = parse_text("<!DOCTYPE r [<!ATTLIST r d CDATA 'def'>]><r a='1' d='set'/>");
    DOM_Element root = doc.getDocumentElement();
    DOM_Attr a = root.getAttributeNode("a");
    DOM_Attr removed = root.removeAttributeNode(a);
    EXPECT_TRUE(removed == a);
    EXPECT_TRUE(a.getOwnerElement() == 0);
    EXPECT_EQ("1", str(a.getValue()));
    EXPECT_FALSE(root.hasAttribute("a"));
    // The default comes back.
    DOM_Attr d = root.getAttributeNode("d");
    root.removeAttributeNode(d);
    ASSERT_TRUE(root.hasAttribute("d"));
    EXPECT_EQ("def", str(root.getAttribute("d")));
    EXPECT_FALSE(root.getAttributeNode("d").getSpecified());

    EXPECT_DOM_EXCEPTION(root.removeAttributeNode(a), DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_DOM_EXCEPTION(root.removeAttributeNode(DOM_Attr()), DOM_DOMException::NOT_FOUND_ERR);
    DOM_Document ro = parse_text(kReadOnly);
    DOM_Element x = read_only_element(ro);
    EXPECT_DOM_EXCEPTION(x.removeAttributeNode(x.getAttributeNode("a")), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_TRUE(x.hasAttribute("a"));
}

TEST(element, namespace_attributes)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.setAttributeNS("urn:u", "p:a", "1");
    root.setAttributeNS(DOMString(), "b", "2");
    EXPECT_EQ("1", str(root.getAttributeNS("urn:u", "a")));
    EXPECT_EQ("2", str(root.getAttributeNS(DOMString(), "b")));
    EXPECT_EQ("2", str(root.getAttributeNS("", "b")));
    EXPECT_EQ("", str(root.getAttributeNS("urn:u", "x")));
    EXPECT_TRUE(root.hasAttributeNS("urn:u", "a"));
    EXPECT_TRUE(root.hasAttributeNS("", "b"));
    EXPECT_FALSE(root.hasAttributeNS("urn:other", "a"));
    DOM_Attr a = root.getAttributeNodeNS("urn:u", "a");
    EXPECT_EQ("p:a", str(a.getName()));
    EXPECT_EQ("p", str(a.getPrefix()));
    EXPECT_EQ("a", str(a.getLocalName()));
    EXPECT_TRUE(root.getAttributeNodeNS("urn:u", "b") == 0);

    // Replaced by qualified name: a new prefix makes a second attribute ...
    root.setAttributeNS("urn:u", "q:a", "3");
    EXPECT_EQ(3u, root.getAttributes().getLength());
    EXPECT_EQ("1", str(root.getAttribute("p:a")));
    EXPECT_EQ("3", str(root.getAttribute("q:a")));
    // ... and the same name in another namespace replaces.
    root.setAttributeNS("urn:v", "p:a", "4");
    EXPECT_EQ(3u, root.getAttributes().getLength());
    EXPECT_EQ("urn:v", str(root.getAttributeNode("p:a").getNamespaceURI()));
    EXPECT_TRUE(a.getOwnerElement() == 0);
    EXPECT_EQ("1", str(a.getValue()));

    root.removeAttributeNS("urn:v", "a");
    root.removeAttributeNS("urn:v", "absent");
    EXPECT_FALSE(root.hasAttribute("p:a"));
    EXPECT_EQ("<r b=\"2\" q:a=\"3\"/>", xml(root));
}

TEST(element, set_attribute_ns_errors)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    EXPECT_DOM_EXCEPTION(root.setAttributeNS("urn:u", "a b", "1"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNS("urn:u", "p:", "1"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNS("urn:u", ":a", "1"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNS(DOMString(), "p:a", "1"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNS("", "p:a", "1"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNS("urn:u", "xml:a", "1"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(root.setAttributeNS("urn:u", "xmlns", "1"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_FALSE(root.hasAttributes());
    root.setAttributeNS("http://www.w3.org/XML/1998/namespace", "xml:lang", "en");
    EXPECT_EQ("en", str(root.getAttribute("xml:lang")));

    DOM_Document ro = parse_text(kReadOnly);
    DOM_Element x = read_only_element(ro);
    EXPECT_DOM_EXCEPTION(x.setAttributeNS("urn:u", "p:b", "1"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(x.removeAttributeNS("", "a"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_TRUE(x.hasAttribute("a"));
}

TEST(element, remove_attribute_ns_brings_back_the_default)
{
    DOM_Document doc = parse_namespaces("<!DOCTYPE r [<!ATTLIST r d CDATA 'def'>]><r d='set'/>");
    DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("set", str(root.getAttributeNS("", "d")));
    root.removeAttributeNS("", "d");
    EXPECT_EQ("def", str(root.getAttribute("d")));
    EXPECT_FALSE(root.getAttributeNode("d").getSpecified());
}

TEST(element, set_attribute_node_ns)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    DOM_Element holder = doc.createElement("h");
    holder.setAttributeNS("urn:u", "p:a", "1");
    holder.setAttributeNS("urn:u", "q:a", "2");
    DOM_Attr first = holder.removeAttributeNode(holder.getAttributeNode("p:a"));
    DOM_Attr second = holder.removeAttributeNode(holder.getAttributeNode("q:a"));

    EXPECT_TRUE(root.setAttributeNodeNS(first) == 0);
    EXPECT_TRUE(first.getOwnerElement() == root);
    // Same URI and local name: replaced whatever the prefix.
    EXPECT_TRUE(root.setAttributeNodeNS(second) == first);
    EXPECT_EQ(1u, root.getAttributes().getLength());
    EXPECT_EQ("2", str(root.getAttributeNS("urn:u", "a")));
    EXPECT_EQ("q:a", str(root.getAttributeNodeNS("urn:u", "a").getName()));

    // In use by any element, this one too.
    EXPECT_DOM_EXCEPTION(root.setAttributeNodeNS(second), DOM_DOMException::INUSE_ATTRIBUTE_ERR);
    holder.setAttributeNS("urn:u", "b", "3");
    EXPECT_DOM_EXCEPTION(root.setAttributeNodeNS(holder.getAttributeNodeNS("urn:u", "b")),
                         DOM_DOMException::INUSE_ATTRIBUTE_ERR);
    DOM_Document elsewhere = new_document("x");
    EXPECT_DOM_EXCEPTION(root.setAttributeNodeNS(elsewhere.createAttribute("a")), DOM_DOMException::WRONG_DOCUMENT_ERR);
    DOM_Document ro = parse_text(kReadOnly);
    EXPECT_DOM_EXCEPTION(read_only_element(ro).setAttributeNodeNS(ro.createAttribute("b")),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
}

TEST(element, elements_by_tag_name_ns_is_live)
{
    DOM_Document doc = parse_namespaces("<r xmlns:p='urn:p' xmlns:q='urn:q'>"
                                        "<p:a/><q:a/><p:b><p:a/></p:b><a/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_NodeList pa = root.getElementsByTagNameNS("urn:p", "a");
    EXPECT_EQ(2u, pa.getLength());
    EXPECT_EQ("p:a", str(pa.item(0).getNodeName()));
    // The unprefixed a is in no namespace, which "*" takes too.
    EXPECT_EQ(4u, root.getElementsByTagNameNS("*", "a").getLength());
    EXPECT_EQ(3u, root.getElementsByTagNameNS("urn:p", "*").getLength());
    EXPECT_EQ(5u, root.getElementsByTagNameNS("*", "*").getLength());
    EXPECT_EQ(1u, root.getElementsByTagNameNS(DOMString(), "a").getLength());
    EXPECT_EQ(1u, root.getElementsByTagNameNS("", "a").getLength());
    EXPECT_EQ(0u, root.getElementsByTagNameNS("urn:q", "b").getLength());

    root.removeChild(root.getFirstChild());
    EXPECT_EQ(1u, pa.getLength());
    EXPECT_TRUE(DOM_Element().getElementsByTagNameNS("*", "*") == 0);
}

// ---- DOM_CharacterData ----------------------------------------------------------

TEST(character_data, substring)
{
    DOM_Document doc = new_document("r");
    DOM_Text text = doc.createTextNode("hello");
    EXPECT_EQ("ell", str(text.substringData(1, 3)));
    EXPECT_EQ("llo", str(text.substringData(2, 100)));
    EXPECT_EQ("hello", str(text.substringData(0, 5)));
    // An empty range gives the null string, also at the end.
    EXPECT_TRUE(text.substringData(2, 0) == 0);
    EXPECT_TRUE(text.substringData(5, 3) == 0);
    EXPECT_DOM_EXCEPTION(text.substringData(6, 0), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_DOM_EXCEPTION(text.substringData(static_cast<unsigned int>(-1), 1), DOM_DOMException::INDEX_SIZE_ERR);
}

TEST(character_data, append_insert_delete_replace)
{
    DOM_Document doc = new_document("r");
    DOM_Comment note = doc.createComment("abc");
    note.appendData("de");
    EXPECT_EQ("abcde", str(note.getData()));
    note.insertData(0, "<");
    note.insertData(6, ">");
    note.insertData(3, "-");
    EXPECT_EQ("<ab-cde>", str(note.getData()));
    note.deleteData(3, 1);
    EXPECT_EQ("<abcde>", str(note.getData()));
    note.deleteData(5, 100);
    EXPECT_EQ("<abcd", str(note.getData()));
    note.deleteData(5, 1);
    EXPECT_EQ(5u, note.getLength());
    note.replaceData(1, 2, "XYZ");
    EXPECT_EQ("<XYZcd", str(note.getData()));
    note.replaceData(6, 3, "!");
    EXPECT_EQ("<XYZcd!", str(note.getData()));
    note.replaceData(4, 100, "");
    EXPECT_EQ("<XYZ", str(note.getData()));
    note.setData("z");
    EXPECT_EQ("z", str(note.getData()));
    doc.getDocumentElement().appendChild(note);
    EXPECT_EQ("<r>\n<!--z-->\n</r>", xml(doc.getDocumentElement()));
}

TEST(character_data, index_and_modification_errors)
{
    DOM_Document doc = new_document("r");
    DOM_CDATASection data = doc.createCDATASection("abc");
    EXPECT_DOM_EXCEPTION(data.insertData(4, "x"), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_DOM_EXCEPTION(data.deleteData(4, 0), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_DOM_EXCEPTION(data.replaceData(4, 1, "x"), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_DOM_EXCEPTION(data.deleteData(static_cast<unsigned int>(-1), 1), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_EQ("abc", str(data.getData()));

    DOM_Document ro = parse_text(kReadOnly);
    DOM_Text t = text_of(read_only_element(ro).getFirstChild());
    ASSERT_EQ("t", str(t.getData()));
    // Read-only is reported before a bad offset.
    EXPECT_DOM_EXCEPTION(t.appendData("x"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(t.insertData(9, "x"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(t.deleteData(9, 1), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(t.replaceData(9, 1, "x"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(t.setData("x"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_EQ("t", str(t.getData()));

    DOM_CharacterData none;
    EXPECT_DOM_EXCEPTION(none.appendData("x"), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_TRUE(none.substringData(0, 1) == 0);
}

// ---- DOM_Text -------------------------------------------------------------------

TEST(text, split_text_inserts_the_rest_after)
{
    DOM_Document doc = parse_text("<r>hello<b/></r>");
    DOM_Element root = doc.getDocumentElement();
    const std::string before = xml(root);
    DOM_Text text = text_of(root.getFirstChild());
    DOM_Text rest = text.splitText(2);
    EXPECT_EQ("he", str(text.getData()));
    EXPECT_EQ("llo", str(rest.getData()));
    EXPECT_TRUE(text.getNextSibling() == rest);
    EXPECT_TRUE(rest.getNextSibling() == root.getLastChild());
    EXPECT_EQ(3u, root.getChildNodes().getLength());
    // The writer's layout for mixed content; the split does not show.
    EXPECT_EQ("<r>hello    <b/>\n</r>", xml(root));
    EXPECT_EQ(before, xml(root));

    // At the end: an empty new node.
    DOM_Text empty = rest.splitText(3);
    EXPECT_EQ(0u, empty.getLength());
    EXPECT_EQ(DOM_Node::TEXT_NODE, empty.getNodeType());

    // Without a parent the new node stays out of any tree.
    DOM_Text loose = doc.createTextNode("abcd");
    DOM_Text tail = loose.splitText(1);
    EXPECT_EQ("a", str(loose.getData()));
    EXPECT_EQ("bcd", str(tail.getData()));
    EXPECT_TRUE(tail.getParentNode() == 0);
}

TEST(text, split_cdata_makes_plain_text)
{
    DOM_Document doc = parse_text("<r><![CDATA[a<b]]></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_Node first = root.getFirstChild();
    DOM_CDATASection data = static_cast<const DOM_CDATASection&>(first);
    DOM_Text rest = data.splitText(1);
    EXPECT_EQ(DOM_Node::TEXT_NODE, rest.getNodeType());
    EXPECT_EQ(DOM_Node::CDATA_SECTION_NODE, data.getNodeType());
    EXPECT_EQ("<r>\n<![CDATA[a]]>\n&lt;b</r>", xml(root));
}

TEST(text, split_text_errors)
{
    DOM_Document doc = new_document("r");
    DOM_Text text = doc.createTextNode("abc");
    EXPECT_DOM_EXCEPTION(text.splitText(4), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_DOM_EXCEPTION(text.splitText(static_cast<unsigned int>(-1)), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_EQ("abc", str(text.getData()));
    DOM_Document ro = parse_text(kReadOnly);
    DOM_Text t = text_of(read_only_element(ro).getFirstChild());
    EXPECT_DOM_EXCEPTION(t.splitText(9), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(DOM_Text().splitText(0), DOM_DOMException::INVALID_STATE_ERR);
}

TEST(text, ignorable_whitespace_from_a_validating_parse)
{
    const std::string source = "<!DOCTYPE r [<!ELEMENT r (a)*><!ELEMENT a (#PCDATA)>]>\n<r>\n  <a> </a>\n</r>";
    DOM_Document doc = parse_text(source, true);
    DOM_Element root = doc.getDocumentElement();
    DOM_Text between = text_of(root.getFirstChild());
    ASSERT_EQ(DOM_Node::TEXT_NODE, between.getNodeType());
    EXPECT_TRUE(between.isIgnorableWhitespace());
    DOM_Text inside = text_of(root.getFirstChild().getNextSibling().getFirstChild());
    EXPECT_FALSE(inside.isIgnorableWhitespace());
    EXPECT_FALSE(doc.createTextNode(" ").isIgnorableWhitespace());
    EXPECT_FALSE(DOM_Text().isIgnorableWhitespace());
}

// ---- DOM_Attr ---------------------------------------------------------------------

TEST(attr, specified_and_owner_element)
{
    DOM_Document doc = parse_text("<!DOCTYPE r [<!ATTLIST r d CDATA 'def'>]><r a='1'/>");
    DOM_Element root = doc.getDocumentElement();
    DOM_Attr d = root.getAttributeNode("d");
    EXPECT_FALSE(d.getSpecified());
    d.setValue("x");
    EXPECT_TRUE(d.getSpecified());
    EXPECT_TRUE(root.getAttributeNode("a").getSpecified());
    EXPECT_TRUE(root.getAttributeNode("a").getOwnerElement() == root);
    DOM_Attr loose = doc.createAttribute("n");
    EXPECT_TRUE(loose.getSpecified());
    EXPECT_TRUE(loose.getOwnerElement() == 0);
    EXPECT_FALSE(DOM_Attr().getSpecified());
    EXPECT_TRUE(DOM_Attr().getOwnerElement() == 0);
}
