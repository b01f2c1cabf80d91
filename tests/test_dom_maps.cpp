// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <string>

namespace {


DOM_Document parse_with(const std::string& text, bool namespaces = false)
{
    DOMParser parser;
    parser.setDoNamespaces(namespaces);
    XMLUtilError handler;
    parser.setErrorHandler(&handler);
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}


// The names of a map's nodes in item() order, separated by spaces.
std::string names(const DOM_NamedNodeMap& map)
{
    std::string out;
    for (unsigned int i = 0; i < map.getLength(); ++i)
        out += (i ? " " : "") + str(map.item(i).getNodeName());
    return out;
}

} // namespace

// ---- attribute maps ----------------------------------------------------------------------

TEST(dom_maps, set_named_item_adds_and_replaces_by_name)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    DOM_NamedNodeMap map = root.getAttributes();
    ASSERT_EQ(0u, map.getLength());

    DOM_Attr zz = doc.createAttribute("zz");
    zz.setValue("1");
    EXPECT_TRUE(map.setNamedItem(zz).isNull());
    DOM_Attr b = doc.createAttribute("b");
    EXPECT_TRUE(map.setNamedItem(b).isNull());
    DOM_Attr abc = doc.createAttribute("abc");
    EXPECT_TRUE(map.setNamedItem(abc).isNull());
    EXPECT_EQ("b zz abc", names(map));
    EXPECT_TRUE(zz.getOwnerElement() == root);
    EXPECT_EQ("1", str(root.getAttribute("zz")));

    DOM_Attr newer = doc.createAttribute("zz");
    newer.setValue("2");
    DOM_Node replaced = map.setNamedItem(newer);
    EXPECT_TRUE(replaced == zz);
    EXPECT_TRUE(zz.getOwnerElement().isNull());
    EXPECT_EQ("2", str(root.getAttribute("zz")));
    EXPECT_EQ(3u, map.getLength());

    // An attribute already in this map stays where it is.
    EXPECT_TRUE(map.setNamedItem(newer).isNull());
    EXPECT_TRUE(map.getNamedItem("zz") == newer);
}

TEST(dom_maps, set_named_item_refuses)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    DOM_Element other = doc.createElement("o");
    other.setAttribute("a", "1");
    DOM_NamedNodeMap map = root.getAttributes();
    EXPECT_DOM_EXCEPTION(map.setNamedItem(other.getAttributeNode("a")), DOM_DOMException::INUSE_ATTRIBUTE_ERR);
    DOM_Document foreign = new_document("f");
    EXPECT_DOM_EXCEPTION(map.setNamedItem(foreign.createAttribute("a")), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_DOM_EXCEPTION(map.setNamedItem(doc.createElement("e")), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(map.setNamedItem(DOM_Node()), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(DOM_NamedNodeMap().setNamedItem(doc.createAttribute("a")),
                         DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_EQ(0u, map.getLength());
}

TEST(dom_maps, remove_named_item_throws_when_absent)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.setAttribute("a", "1");
    root.setAttribute("b", "2");
    DOM_NamedNodeMap map = root.getAttributes();
    DOM_Node a = map.getNamedItem("a");
    DOM_Node removed = map.removeNamedItem("a");
    EXPECT_TRUE(removed == a);
    EXPECT_EQ("1", str(removed.getNodeValue()));
    EXPECT_TRUE(as<DOM_Attr>(removed).getOwnerElement().isNull());
    EXPECT_EQ("b", names(map));
    EXPECT_DOM_EXCEPTION(map.removeNamedItem("a"), DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_DOM_EXCEPTION(map.removeNamedItem("none"), DOM_DOMException::NOT_FOUND_ERR);
    // The removed attribute can go on another element.
    DOM_Element other = doc.createElement("o");
    EXPECT_TRUE(other.getAttributes().setNamedItem(removed).isNull());
    EXPECT_EQ("1", str(other.getAttribute("a")));
}

TEST(dom_maps, removed_attribute_with_a_default_comes_back)
{
    DOM_Document doc = parse_with("<!DOCTYPE r [<!ATTLIST r kind CDATA 'plain'>]><r kind='set'/>");
    DOM_NamedNodeMap map = doc.getDocumentElement().getAttributes();
    DOM_Node removed = map.removeNamedItem("kind");
    EXPECT_EQ("set", str(removed.getNodeValue()));
    DOM_Attr back = as<DOM_Attr>(map.getNamedItem("kind"));
    ASSERT_FALSE(back.isNull());
    EXPECT_EQ("plain", str(back.getValue()));
    EXPECT_FALSE(back.getSpecified());
}

TEST(dom_maps, named_items_by_namespace)
{
    DOM_Document doc = parse_with("<r xmlns:p='urn:p' p:a='1' a='2' b='3'/>", true);
    DOM_NamedNodeMap map = doc.getDocumentElement().getAttributes();
    EXPECT_EQ("1", str(map.getNamedItemNS("urn:p", "a").getNodeValue()));
    EXPECT_EQ("2", str(map.getNamedItemNS(DOMString(), "a").getNodeValue()));
    EXPECT_TRUE(map.getNamedItemNS("urn:q", "a").isNull());
    EXPECT_TRUE(DOM_NamedNodeMap().getNamedItemNS("urn:p", "a").isNull());

    // A null URI also finds attributes made without namespaces, by name.
    DOM_Document plain = new_document("r");
    plain.getDocumentElement().setAttribute("x", "level one");
    EXPECT_EQ("level one",
              str(plain.getDocumentElement().getAttributes().getNamedItemNS(DOMString(), "x").getNodeValue()));

    DOM_Attr replacement = doc.createAttributeNS("urn:p", "q:a");
    replacement.setValue("9");
    DOM_Node replaced = map.setNamedItemNS(replacement);
    EXPECT_EQ("p:a", str(replaced.getNodeName()));
    EXPECT_EQ("9", str(map.getNamedItemNS("urn:p", "a").getNodeValue()));
    // In use even on this element.
    EXPECT_DOM_EXCEPTION(map.setNamedItemNS(replacement), DOM_DOMException::INUSE_ATTRIBUTE_ERR);

    DOM_Node removed = map.removeNamedItemNS("urn:p", "a");
    EXPECT_TRUE(removed == replacement);
    EXPECT_DOM_EXCEPTION(map.removeNamedItemNS("urn:p", "a"), DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_EQ("b xmlns:p", names(map).substr(names(map).find('b')));
}

TEST(dom_maps, read_only_element_refuses_changes)
{
    DOM_Document doc = parse_with("<!DOCTYPE r [<!ENTITY e '<x a=\"1\"/>'>]><r>&e;</r>");
    DOM_Node x = doc.getDocumentElement().getFirstChild().getFirstChild();
    ASSERT_EQ("x", str(x.getNodeName()));
    DOM_NamedNodeMap map = x.getAttributes();
    EXPECT_DOM_EXCEPTION(map.setNamedItem(doc.createAttribute("b")), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(map.removeNamedItem("a"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_EQ(1u, map.getLength());
}

// ---- a document type's maps ------------------------------------------------------------

TEST(dom_maps, document_type_maps_are_read_only_and_in_classic_order)
{
    DOM_Document doc = parse_with("<!DOCTYPE r [<!ENTITY long 'l'><!ENTITY b 'b'><!ENTITY aa 'a'>"
                                  "<!NOTATION nb SYSTEM 'b'><!NOTATION n SYSTEM 'a'>]><r/>");
    DOM_DocumentType type = doc.getDoctype();
    DOM_NamedNodeMap entities = type.getEntities();
    DOM_NamedNodeMap notations = type.getNotations();
    EXPECT_EQ("b aa long", names(entities));
    EXPECT_EQ("n nb", names(notations));
    EXPECT_FALSE(entities == notations);
    EXPECT_TRUE(entities.getNamedItem("aa") == entities.item(1));
    EXPECT_TRUE(entities.getNamedItemNS(DOMString(), "long") == entities.item(2));

    EXPECT_DOM_EXCEPTION(entities.removeNamedItem("b"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(entities.removeNamedItem("none"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(entities.setNamedItem(doc.createEntity("c")), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(notations.setNamedItemNS(doc.createNotation("c")),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(notations.removeNamedItemNS(DOMString(), "n"), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_EQ(3u, entities.getLength());
    EXPECT_EQ(2u, notations.getLength());
}

TEST(dom_maps, null_map_answers_nothing_and_refuses_changes)
{
    DOM_NamedNodeMap map;
    EXPECT_EQ(0u, map.getLength());
    EXPECT_TRUE(map.item(0).isNull());
    EXPECT_TRUE(map.getNamedItem("a").isNull());
    EXPECT_DOM_EXCEPTION(map.removeNamedItem("a"), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_DOM_EXCEPTION(map.removeNamedItemNS(DOMString(), "a"), DOM_DOMException::INVALID_STATE_ERR);
    DOM_Document doc = new_document("r");
    EXPECT_TRUE(doc.getAttributes().isNull());
    EXPECT_TRUE(doc.createTextNode("t").getAttributes().isNull());
}

TEST(dom_maps, copies_of_a_map_handle_are_the_same_map)
{
    DOM_Document doc = new_document("r");
    DOM_NamedNodeMap first = doc.getDocumentElement().getAttributes();
    DOM_NamedNodeMap second;
    second = first;
    EXPECT_TRUE(first == second);
    second.setNamedItem(doc.createAttribute("a"));
    EXPECT_EQ(1u, first.getLength());
    second = 0;
    EXPECT_TRUE(second.isNull());
    EXPECT_DOM_EXCEPTION(second.setNamedItem(doc.createAttribute("b")), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_EQ("a", names(first));
}
