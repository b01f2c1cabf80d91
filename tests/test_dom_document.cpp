// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"
// One test parses a document with an external DTD subset.
#include "xerces_leaks.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <sstream>

namespace {

std::string xml(const DOM_Node& node)
{
    std::ostringstream out;
    out << node;
    return out.str();
}

bool is_null(const DOMString& text)
{
    return text.rawBuffer() == nullptr;
}


DOM_Document parse_with(const std::string& text, bool entityNodes = true)
{
    DOMParser parser;
    parser.setCreateEntityReferenceNodes(entityNodes);
    XMLUtilError handler;
    parser.setErrorHandler(&handler);
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}


const char kDoctype[] =
    "<!DOCTYPE r PUBLIC 'pub-id' 'r.dtd' [\n"
    "<!ELEMENT r ANY>\n"
    "<!ATTLIST a id ID #IMPLIED ref CDATA #IMPLIED kind CDATA 'plain'>\n"
    "<!ENTITY e 'expanded'>\n"
    "<!ENTITY ext SYSTEM 'ext.txt'>\n"
    "<!ENTITY pic PUBLIC 'pic-pub' 'pic.gif' NDATA gif>\n"
    "<!NOTATION gif PUBLIC 'gif-pub' 'viewer'>\n"
    "<!NOTATION jpg SYSTEM 'jpeg-viewer'>\n"
    "]><r><a id='k1' ref='k2'>&e;</a><a id='k2'/></r>";

// The document type's external subset is not there to read; leave it out.
DOM_Document parse_doctype(bool entityNodes = true)
{
    std::string text = kDoctype;
    text.replace(text.find(" PUBLIC 'pub-id' 'r.dtd'"), 24, "");
    return parse_with(text, entityNodes);
}

} // namespace

// ---- DOM_Document: making documents and nodes ---------------------------------

TEST(dom_document, create_document_makes_an_empty_document)
{
    DOM_Document doc = DOM_Document::createDocument();
    ASSERT_FALSE(doc.isNull());
    EXPECT_EQ(DOM_Node::DOCUMENT_NODE, doc.getNodeType());
    EXPECT_TRUE(doc.getDocumentElement().isNull());
    EXPECT_TRUE(doc.getDoctype().isNull());
    EXPECT_FALSE(doc.hasChildNodes());
    doc.appendChild(doc.createElement("root"));
    EXPECT_EQ("root", str(doc.getDocumentElement().getTagName()));
}

TEST(dom_document, document_fragment_moves_its_children)
{
    DOM_Document doc = new_document("r");
    DOM_DocumentFragment fragment = doc.createDocumentFragment();
    EXPECT_EQ(DOM_Node::DOCUMENT_FRAGMENT_NODE, fragment.getNodeType());
    EXPECT_EQ("#document-fragment", str(fragment.getNodeName()));
    EXPECT_TRUE(is_null(fragment.getNodeValue()));
    EXPECT_TRUE(fragment.getParentNode().isNull());
    fragment.appendChild(doc.createElement("a"));
    fragment.appendChild(doc.createTextNode("t"));
    DOM_Element root = doc.getDocumentElement();
    DOM_Node returned = root.appendChild(fragment);
    EXPECT_TRUE(returned == fragment);
    EXPECT_FALSE(fragment.hasChildNodes());
    EXPECT_EQ("<r>\n    <a/>\nt</r>", xml(root));
    EXPECT_EQ(2u, root.getChildNodes().getLength());
}

TEST(dom_document, create_element_ns_and_attribute_ns)
{
    DOM_Document doc = new_document("r");
    DOM_Element element = doc.createElementNS("urn:x", "p:item");
    EXPECT_EQ("p:item", str(element.getTagName()));
    EXPECT_EQ("p", str(element.getPrefix()));
    EXPECT_EQ("item", str(element.getLocalName()));
    EXPECT_EQ("urn:x", str(element.getNamespaceURI()));
    DOM_Attr attr = doc.createAttributeNS("urn:y", "q:at");
    EXPECT_EQ("q:at", str(attr.getName()));
    EXPECT_EQ("at", str(attr.getLocalName()));
    EXPECT_EQ("urn:y", str(attr.getNamespaceURI()));
    DOM_Element plain = doc.createElementNS(DOMString(), "plain");
    EXPECT_TRUE(is_null(plain.getNamespaceURI()));
    EXPECT_EQ("plain", str(plain.getLocalName()));

    EXPECT_DOM_EXCEPTION(doc.createElementNS(DOMString(), "p:a"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(doc.createElementNS("urn:x", "a:b:c"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(doc.createElementNS("urn:x", "1a"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(doc.createElementNS("urn:x", DOMString()), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(doc.createAttributeNS(DOMString(), "p:a"), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_DOM_EXCEPTION(doc.createAttributeNS("urn:x", "a b"), DOM_DOMException::INVALID_CHARACTER_ERR);
}

TEST(dom_document, elements_by_tag_name_ns_is_live)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.appendChild(doc.createElementNS("urn:x", "p:a"));
    root.appendChild(doc.createElementNS("urn:y", "q:a"));
    DOM_NodeList inX = doc.getElementsByTagNameNS("urn:x", "a");
    DOM_NodeList anyA = doc.getElementsByTagNameNS("*", "a");
    DOM_NodeList all = doc.getElementsByTagNameNS("*", "*");
    EXPECT_EQ(1u, inX.getLength());
    EXPECT_EQ(2u, anyA.getLength());
    EXPECT_EQ(3u, all.getLength()); // the root, made without namespaces, too
    root.appendChild(doc.createElementNS("urn:x", "a"));
    EXPECT_EQ(2u, inX.getLength());
    EXPECT_EQ("a", str(inX.item(1).getNodeName()));
}

TEST(dom_document, create_element_from_xmlch_text_skips_the_name_check)
{
    DOM_Document doc = parse_doctype();
    const XMLCh name[] = {u'a', 0};
    DOM_Element element = doc.createElement(name);
    EXPECT_EQ("a", str(element.getTagName()));
    EXPECT_TRUE(is_null(element.getLocalName()));
    // Defaults from the DTD, as for createElement(DOMString).
    EXPECT_EQ("plain", str(element.getAttribute("kind")));
    EXPECT_EQ("plain", str(doc.createElement(DOMString("a")).getAttribute("kind")));

    const XMLCh bad[] = {u'1', u' ', u'x', 0};
    EXPECT_EQ("1 x", str(doc.createElement(bad).getTagName()));
    EXPECT_DOM_EXCEPTION(doc.createElement(DOMString(bad)), DOM_DOMException::INVALID_CHARACTER_ERR);
}

TEST(dom_document, get_element_by_id_knows_only_dtd_ids)
{
    DOM_Document doc = parse_doctype();
    DOM_Element first = doc.getElementById("k1");
    ASSERT_FALSE(first.isNull());
    EXPECT_TRUE(first == doc.getDocumentElement().getFirstChild());
    EXPECT_FALSE(doc.getElementById("k2").isNull());
    EXPECT_TRUE(doc.getElementById("nothing").isNull());
    // `ref` holds k2 too, but is not of type ID.
    EXPECT_TRUE(doc.getElementById("k2") == doc.getDocumentElement().getLastChild());

    // A changed value of an ID attribute is found under its new value.
    first.getAttributeNode("id").setValue("k9");
    EXPECT_TRUE(doc.getElementById("k1").isNull());
    EXPECT_TRUE(doc.getElementById("k9") == first);

    // Attributes made through the handles are never IDs.
    DOM_Element made = doc.createElement("a");
    made.setAttribute("id", "k5");
    doc.getDocumentElement().appendChild(made);
    EXPECT_TRUE(doc.getElementById("k5").isNull());
}

TEST(dom_document, import_node_copies_elements_with_their_specified_attributes)
{
    DOM_Document source = parse_doctype();
    DOM_Document target = new_document("t");
    DOM_Element a = as<DOM_Element>(source.getDocumentElement().getFirstChild());
    ASSERT_EQ("plain", str(a.getAttribute("kind"))); // a default from the DTD

    DOM_Node shallow = target.importNode(a, false);
    EXPECT_TRUE(shallow.getOwnerDocument() == target);
    EXPECT_TRUE(shallow.getParentNode().isNull());
    EXPECT_FALSE(shallow.hasChildNodes());
    EXPECT_EQ(2u, shallow.getAttributes().getLength());
    EXPECT_FALSE(as<DOM_Element>(shallow).hasAttribute("kind"));

    DOM_Node deep = target.importNode(a, true);
    target.getDocumentElement().appendChild(deep);
    // The entity reference comes along; this document has no entity for it.
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, deep.getFirstChild().getNodeType());
    EXPECT_EQ("e", str(deep.getFirstChild().getNodeName()));
    EXPECT_FALSE(deep.getFirstChild().hasChildNodes());
    DOM_Element made = source.createElement("m");
    made.setAttribute("x", "1");
    made.appendChild(source.createElement("b")).appendChild(source.createTextNode("text"));
    made.appendChild(source.createComment("c"));
    EXPECT_EQ("<m x=\"1\">\n    <b>text</b>\n<!--c-->\n</m>", xml(target.importNode(made, true)));
    // The source is unchanged.
    EXPECT_TRUE(a.getParentNode() == source.getDocumentElement());
}

TEST(dom_document, import_node_of_attribute_is_always_deep)
{
    DOM_Document source = new_document("s");
    source.getDocumentElement().setAttribute("v", "value");
    DOM_Document target = new_document("t");
    DOM_Node attr = target.importNode(source.getDocumentElement().getAttributeNode("v"), false);
    EXPECT_EQ(DOM_Node::ATTRIBUTE_NODE, attr.getNodeType());
    EXPECT_EQ("value", str(as<DOM_Attr>(attr).getValue()));
    EXPECT_TRUE(as<DOM_Attr>(attr).getOwnerElement().isNull());
}

TEST(dom_document, import_node_takes_document_types_and_refuses_documents)
{
    DOM_Document source = parse_doctype();
    DOM_Document target = DOM_Document::createDocument();
    DOM_Node type = target.importNode(source.getDoctype(), true);
    ASSERT_EQ(DOM_Node::DOCUMENT_TYPE_NODE, type.getNodeType());
    EXPECT_EQ("r", str(as<DOM_DocumentType>(type).getName()));
    EXPECT_TRUE(type.getOwnerDocument() == target);
    target.appendChild(type);
    target.appendChild(target.createElement("r"));
    EXPECT_TRUE(target.getDoctype() == type);

    EXPECT_DOM_EXCEPTION(target.importNode(source, true), DOM_DOMException::NOT_SUPPORTED_ERR);
    EXPECT_DOM_EXCEPTION(target.importNode(DOM_Node(), true), DOM_DOMException::NOT_SUPPORTED_ERR);
}

TEST(dom_document, imported_entity_reference_expands_from_the_new_document)
{
    DOM_Document source = parse_with("<!DOCTYPE r [<!ENTITY e 'from source'>]><r>&e;</r>");
    // The parser gives an entity its expansion where a reference uses it.
    DOM_Document target = parse_with("<!DOCTYPE r [<!ENTITY e 'from target'>]><r>&e;</r>");
    DOM_Node reference = source.getDocumentElement().getFirstChild();
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, reference.getNodeType());
    DOM_Node copy = target.importNode(reference, true);
    EXPECT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, copy.getNodeType());
    EXPECT_EQ("from target", str(copy.getFirstChild().getNodeValue()));
}

TEST(dom_document, deep_import_of_a_deep_tree_does_not_recurse)
{
    DOM_Document source = new_document("s");
    DOM_Node parent = source.getDocumentElement();
    const int depth = 50000;
    for (int i = 0; i < depth; ++i)
        parent = parent.appendChild(source.createElement("d"));
    parent.appendChild(source.createTextNode("bottom"));
    DOM_Document target = new_document("t");
    DOM_Node copy = target.importNode(source.getDocumentElement(), true);
    int levels = 0;
    DOM_Node node = copy;
    while (node.getFirstChild().getNodeType() == DOM_Node::ELEMENT_NODE) {
        node = node.getFirstChild();
        ++levels;
    }
    EXPECT_EQ(depth, levels);
    EXPECT_EQ("bottom", str(node.getFirstChild().getNodeValue()));
}

TEST(dom_document, create_document_type_entity_and_notation)
{
    DOM_Document doc = DOM_Document::createDocument();
    DOM_DocumentType type = doc.createDocumentType("r");
    EXPECT_EQ(DOM_Node::DOCUMENT_TYPE_NODE, type.getNodeType());
    EXPECT_EQ("r", str(type.getName()));
    EXPECT_TRUE(type.getOwnerDocument() == doc);
    EXPECT_TRUE(type.getParentNode().isNull());
    EXPECT_TRUE(is_null(type.getPublicId()));
    EXPECT_TRUE(is_null(type.getSystemId()));
    EXPECT_TRUE(is_null(type.getInternalSubset()));
    EXPECT_EQ(0u, type.getEntities().getLength());
    doc.appendChild(type);
    doc.appendChild(doc.createElement("r"));
    EXPECT_TRUE(doc.getDoctype() == type);
    EXPECT_DOM_EXCEPTION(doc.createDocumentType("1r"), DOM_DOMException::INVALID_CHARACTER_ERR);

    DOM_Entity entity = doc.createEntity("ent");
    EXPECT_EQ(DOM_Node::ENTITY_NODE, entity.getNodeType());
    EXPECT_EQ("ent", str(entity.getNodeName()));
    EXPECT_TRUE(is_null(entity.getNodeValue()));
    EXPECT_TRUE(is_null(entity.getPublicId()));
    EXPECT_TRUE(is_null(entity.getSystemId()));
    EXPECT_TRUE(is_null(entity.getNotationName()));
    // Entities are read-only.
    EXPECT_DOM_EXCEPTION(entity.appendChild(doc.createTextNode("x")), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(doc.createEntity("a b"), DOM_DOMException::INVALID_CHARACTER_ERR);

    DOM_Notation notation = doc.createNotation("note");
    EXPECT_EQ(DOM_Node::NOTATION_NODE, notation.getNodeType());
    EXPECT_EQ("note", str(notation.getNodeName()));
    EXPECT_TRUE(is_null(notation.getPublicId()));
    EXPECT_TRUE(is_null(notation.getSystemId()));
    EXPECT_DOM_EXCEPTION(doc.createNotation(""), DOM_DOMException::INVALID_CHARACTER_ERR);
}

TEST(dom_document, error_checking_flag_is_kept_and_checks_stay)
{
    DOM_Document doc = new_document("r");
    EXPECT_TRUE(doc.getErrorChecking());
    doc.setErrorChecking(false);
    EXPECT_FALSE(doc.getErrorChecking());
    // createElement leaves the name unchecked; Xerces-C 3.2 makes its other
    // checks whatever the flag says.
    EXPECT_EQ("1a", str(doc.createElement("1a").getTagName()));
    EXPECT_DOM_EXCEPTION(doc.appendChild(doc.createElement("second")), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(doc.createAttribute("1a"), DOM_DOMException::INVALID_CHARACTER_ERR);
    doc.setErrorChecking(true);
    EXPECT_TRUE(doc.getErrorChecking());
    EXPECT_DOM_EXCEPTION(doc.createElement("1a"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_FALSE(DOM_Document().getErrorChecking());
    EXPECT_DOM_EXCEPTION(DOM_Document().setErrorChecking(false), DOM_DOMException::INVALID_STATE_ERR);
}

TEST(dom_document, get_implementation_is_the_one_implementation)
{
    DOM_Document doc = new_document("r");
    DOM_DOMImplementation& fromDocument = doc.getImplementation();
    DOM_DOMImplementation& fromClass = DOM_DOMImplementation::getImplementation();
    EXPECT_EQ(&fromClass, &fromDocument);
}

// ---- XML declarations -------------------------------------------------------------

TEST(dom_xmldecl, created_declaration_has_its_fields)
{
    DOM_Document doc = new_document("r");
    DOM_XMLDecl decl = doc.createXMLDecl("1.0", "UTF-8", "yes");
    EXPECT_EQ(DOM_Node::XML_DECL_NODE, decl.getNodeType());
    EXPECT_EQ(13, decl.getNodeType());
    EXPECT_EQ("#xmldecl", str(decl.getNodeName()));
    EXPECT_TRUE(is_null(decl.getNodeValue()));
    EXPECT_EQ("1.0", str(decl.getVersion()));
    EXPECT_EQ("UTF-8", str(decl.getEncoding()));
    EXPECT_EQ("yes", str(decl.getStandalone()));
    EXPECT_TRUE(decl.getParentNode().isNull());
    EXPECT_TRUE(decl.getOwnerDocument() == doc);

    DOM_XMLDecl bare = doc.createXMLDecl("1.1", DOMString(), DOMString());
    EXPECT_EQ("1.1", str(bare.getVersion()));
    EXPECT_TRUE(is_null(bare.getEncoding()));
    EXPECT_TRUE(is_null(bare.getStandalone()));
}

TEST(dom_xmldecl, fields_keep_any_text)
{
    DOM_Document doc = new_document("r");
    DOM_XMLDecl decl = doc.createXMLDecl("+3:x-", "a\"b'c:-+", "12");
    EXPECT_EQ("+3:x-", str(decl.getVersion()));
    EXPECT_EQ("a\"b'c:-+", str(decl.getEncoding()));
    EXPECT_EQ("12", str(decl.getStandalone()));
    decl.setEncoding(DOMString());
    EXPECT_TRUE(is_null(decl.getEncoding()));
    EXPECT_EQ("+3:x-", str(decl.getVersion()));
    EXPECT_EQ("12", str(decl.getStandalone()));
    decl.setVersion("1.1");
    decl.setStandalone("no");
    decl.setEncoding("ISO-8859-1");
    EXPECT_EQ("1.1", str(decl.getVersion()));
    EXPECT_EQ("ISO-8859-1", str(decl.getEncoding()));
    EXPECT_EQ("no", str(decl.getStandalone()));
}

TEST(dom_xmldecl, goes_where_the_classic_dom_let_it_go)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    doc.insertBefore(doc.createXMLDecl("1.0", DOMString(), DOMString()), root);
    EXPECT_EQ(DOM_Node::XML_DECL_NODE, doc.getFirstChild().getNodeType());
    root.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString()));
    DOM_DocumentFragment fragment = doc.createDocumentFragment();
    fragment.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString()));
    EXPECT_EQ(DOM_Node::XML_DECL_NODE, fragment.getFirstChild().getNodeType());

    DOM_Attr attr = doc.createAttribute("a");
    EXPECT_DOM_EXCEPTION(attr.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString())),
                         DOM_DOMException::HIERARCHY_REQUEST_ERR);
    // It cannot have children.
    DOM_XMLDecl decl = doc.createXMLDecl("1.0", DOMString(), DOMString());
    EXPECT_DOM_EXCEPTION(decl.appendChild(doc.createTextNode("x")), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_FALSE(decl.hasChildNodes());
}

TEST(dom_xmldecl, is_no_processing_instruction_and_has_no_value)
{
    DOM_Document doc = new_document("r");
    DOM_XMLDecl decl = doc.createXMLDecl("1.0", DOMString(), DOMString());
    decl.setNodeValue("ignored");
    EXPECT_TRUE(is_null(decl.getNodeValue()));
    EXPECT_EQ("1.0", str(decl.getVersion()));
    const DOM_Node node = decl;
    EXPECT_TRUE(is_null(as<DOM_ProcessingInstruction>(node).getTarget()));
    EXPECT_TRUE(is_null(as<DOM_ProcessingInstruction>(node).getData()));
    // A processing instruction is no declaration either.
    DOM_ProcessingInstruction pi = doc.createProcessingInstruction("pi", "data");
    EXPECT_EQ(DOM_Node::PROCESSING_INSTRUCTION_NODE, pi.getNodeType());
    EXPECT_TRUE(is_null(as<DOM_XMLDecl>(pi).getVersion()));
    EXPECT_DOM_EXCEPTION(as<DOM_XMLDecl>(pi).setVersion("1.0"), DOM_DOMException::NOT_SUPPORTED_ERR);
    EXPECT_DOM_EXCEPTION(DOM_XMLDecl().setVersion("1.0"), DOM_DOMException::INVALID_STATE_ERR);
    EXPECT_TRUE(is_null(DOM_XMLDecl().getVersion()));
    // Its target is one no call can give a processing instruction.
    EXPECT_DOM_EXCEPTION(doc.createProcessingInstruction("#xmldecl", "x"), DOM_DOMException::INVALID_CHARACTER_ERR);
}

TEST(dom_xmldecl, copies_stay_declarations)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    root.appendChild(doc.createXMLDecl("1.0", "UTF-8", DOMString()));
    doc.insertBefore(doc.createXMLDecl("1.1", DOMString(), "no"), root);

    DOM_Node clone = root.getFirstChild().cloneNode(true);
    EXPECT_EQ(DOM_Node::XML_DECL_NODE, clone.getNodeType());
    EXPECT_EQ("UTF-8", str(as<DOM_XMLDecl>(clone).getEncoding()));

    DOM_Document other = new_document("o");
    DOM_Node imported = other.importNode(root, true);
    ASSERT_EQ(DOM_Node::XML_DECL_NODE, imported.getFirstChild().getNodeType());
    EXPECT_EQ("1.0", str(as<DOM_XMLDecl>(imported.getFirstChild()).getVersion()));

    DOM_Node copy = doc.cloneNode(true);
    ASSERT_EQ(DOM_Node::XML_DECL_NODE, copy.getFirstChild().getNodeType());
    EXPECT_EQ("no", str(as<DOM_XMLDecl>(copy.getFirstChild()).getStandalone()));
}

TEST(dom_xmldecl, the_writer_leaves_it_out)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    const std::string before = xml(doc);
    doc.insertBefore(doc.createXMLDecl("1.0", "UTF-8", DOMString()), root);
    root.appendChild(doc.createElement("a"));
    root.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString()));
    EXPECT_EQ("<?xml version='1.0' encoding='ISO-8859-1' ?>\n<r>\n    <a/>\n</r>\n", xml(doc));
    EXPECT_EQ("<?xml version='1.0' encoding='ISO-8859-1' ?>\n<r/>\n", before);
    EXPECT_EQ("", xml(root.getLastChild()));
}

// ---- DOM_DOMImplementation ------------------------------------------------------------

TEST(dom_implementation, has_feature_answers_the_classic_table)
{
    struct Row {
        const char* feature;
        const char* version;
        bool expected;
    };
    const Row rows[] = {
        {"XML", nullptr, true},       {"xml", "1.0", true},          {"Core", "2.0", true},
        {"CORE", "", true},           {"Core", "3.0", false},        {"Traversal", nullptr, true},
        {"range", "2.0", true},       {"Range", "1.0", false},       {"Events", "2.0", false},
        {"HTML", nullptr, false},     {"LS", "3.0", false},          {"XPath", nullptr, false},
        {"", nullptr, false},
    };
    DOM_DOMImplementation& impl = DOM_DOMImplementation::getImplementation();
    for (const Row& row : rows)
        EXPECT_EQ(row.expected, impl.hasFeature(row.feature, row.version ? DOMString(row.version) : DOMString()))
            << row.feature << " " << (row.version ? row.version : "(null)");
}

TEST(dom_implementation, document_type_without_document_goes_to_the_new_document)
{
    DOM_DOMImplementation impl;
    DOM_DocumentType type = impl.createDocumentType("r", "pub", "sys");
    EXPECT_TRUE(type.getOwnerDocument().isNull());
    EXPECT_EQ("r", str(type.getName()));
    EXPECT_EQ("pub", str(type.getPublicId()));
    EXPECT_EQ("sys", str(type.getSystemId()));
    EXPECT_TRUE(is_null(type.getInternalSubset()));

    DOM_Document doc = impl.createDocument(DOMString(), "r", type);
    EXPECT_TRUE(doc.getDoctype() == type);
    EXPECT_TRUE(doc.getFirstChild() == type);
    EXPECT_TRUE(type.getOwnerDocument() == doc);
    EXPECT_EQ("r", str(doc.getDocumentElement().getTagName()));

    // One document only; and no existing document takes it.
    EXPECT_DOM_EXCEPTION(impl.createDocument(DOMString(), "r", type), DOM_DOMException::WRONG_DOCUMENT_ERR);
    DOM_DocumentType loose = impl.createDocumentType("q", DOMString(), DOMString());
    EXPECT_TRUE(is_null(loose.getPublicId()));
    EXPECT_DOM_EXCEPTION(doc.insertBefore(loose, doc.getDocumentElement()), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_DOM_EXCEPTION(doc.appendChild(loose), DOM_DOMException::WRONG_DOCUMENT_ERR);
    EXPECT_DOM_EXCEPTION(impl.createDocumentType("1q", DOMString(), DOMString()),
                         DOM_DOMException::INVALID_CHARACTER_ERR);
}

TEST(dom_implementation, document_type_handle_keeps_its_new_document)
{
    DOM_DocumentType type = DOM_DOMImplementation::getImplementation().createDocumentType("r", "p", "s");
    {
        DOM_Document doc = DOM_DOMImplementation::getImplementation().createDocument("urn:x", "r", type);
        doc.getDocumentElement().appendChild(doc.createTextNode("kept"));
    }
    DOM_Document owner = type.getOwnerDocument();
    ASSERT_FALSE(owner.isNull());
    EXPECT_EQ("kept", str(owner.getDocumentElement().getFirstChild().getNodeValue()));
    // Lists through either handle see changes made through the other.
    DOM_NodeList children = owner.getDocumentElement().getChildNodes();
    EXPECT_EQ(1u, children.getLength());
    type.getOwnerDocument().getDocumentElement().appendChild(owner.createElement("x"));
    EXPECT_EQ(2u, children.getLength());
}

TEST(dom_implementation, bad_root_name_leaves_the_document_type_free)
{
    DOM_DOMImplementation impl;
    DOM_DocumentType type = impl.createDocumentType("r", DOMString(), DOMString());
    EXPECT_DOM_EXCEPTION(impl.createDocument(DOMString(), DOMString(), type), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(impl.createDocument(DOMString(), "1r", type), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(impl.createDocument(DOMString(), "p:r", type), DOM_DOMException::NAMESPACE_ERR);
    EXPECT_TRUE(type.getOwnerDocument().isNull());
    DOM_Document doc = impl.createDocument(DOMString(), "r", type);
    EXPECT_TRUE(doc.getDoctype() == type);
    EXPECT_DOM_EXCEPTION(impl.createDocument("urn:x", DOMString(), 0), DOM_DOMException::INVALID_CHARACTER_ERR);
}

TEST(dom_implementation, unused_document_type_and_its_copy_are_released)
{
    // Checked for leaks by the sanitizer build.
    DOM_DOMImplementation impl;
    DOM_DocumentType type = impl.createDocumentType("r", "p", "s");
    DOM_Node copy = type.cloneNode(true);
    EXPECT_EQ(DOM_Node::DOCUMENT_TYPE_NODE, copy.getNodeType());
    EXPECT_TRUE(copy.getOwnerDocument().isNull());
    EXPECT_FALSE(copy == type);
    DOM_Document doc = impl.createDocument(DOMString(), "r", as<DOM_DocumentType>(copy));
    EXPECT_TRUE(doc.getDoctype() == copy);
    EXPECT_TRUE(type.getOwnerDocument().isNull());
}

TEST(dom_implementation, zero_stands_for_no_document_type)
{
    DOM_DocumentType none = 0;
    EXPECT_TRUE(none.isNull());
    DOM_Document doc = DOM_DOMImplementation::getImplementation().createDocument("urn:x", "p:r", 0);
    EXPECT_TRUE(doc.getDoctype().isNull());
    EXPECT_EQ("urn:x", str(doc.getDocumentElement().getNamespaceURI()));
}

// ---- DOM_DocumentType, DOM_Entity, DOM_Notation of a parsed document -----------------

TEST(dom_document_type, parsed_declarations)
{
    DOM_Document doc = parse_doctype();
    DOM_DocumentType type = doc.getDoctype();
    ASSERT_FALSE(type.isNull());
    EXPECT_EQ("r", str(type.getName()));
    EXPECT_TRUE(is_null(type.getPublicId()));
    EXPECT_TRUE(is_null(type.getSystemId()));
    // Put together by Xerces-C 3.2 from what it read, with its own spelling
    // of an unparsed entity's identifiers.
    EXPECT_EQ("\n<!ELEMENT r ANY>\n<!ATTLIST a id ID #IMPLIED ref CDATA #IMPLIED kind CDATA \"plain\">\n"
              "<!ENTITY e \"expanded\">\n<!ENTITY ext SYSTEM \"ext.txt\">\n"
              "<!ENTITY pic PUBLIC \"pic-pub\" SYSTEM \"pic.gif\" NDATA gif>\n"
              "<!NOTATION gif PUBLIC \"gif-pub\" \"viewer\">\n<!NOTATION jpg SYSTEM \"jpeg-viewer\">\n",
              str(type.getInternalSubset()));

    DOM_NamedNodeMap entities = type.getEntities();
    ASSERT_EQ(3u, entities.getLength());
    // By name length, then by name.
    EXPECT_EQ("e", str(entities.item(0).getNodeName()));
    EXPECT_EQ("ext", str(entities.item(1).getNodeName()));
    EXPECT_EQ("pic", str(entities.item(2).getNodeName()));
    DOM_Entity internal = as<DOM_Entity>(entities.getNamedItem("e"));
    EXPECT_EQ(DOM_Node::ENTITY_NODE, internal.getNodeType());
    EXPECT_TRUE(is_null(internal.getPublicId()));
    EXPECT_TRUE(is_null(internal.getSystemId()));
    EXPECT_TRUE(is_null(internal.getNotationName()));
    DOM_Entity external = as<DOM_Entity>(entities.getNamedItem("ext"));
    EXPECT_EQ("ext.txt", str(external.getSystemId()));
    EXPECT_TRUE(is_null(external.getNotationName()));
    DOM_Entity unparsed = as<DOM_Entity>(entities.getNamedItem("pic"));
    EXPECT_EQ("pic-pub", str(unparsed.getPublicId()));
    EXPECT_EQ("pic.gif", str(unparsed.getSystemId()));
    EXPECT_EQ("gif", str(unparsed.getNotationName()));

    DOM_NamedNodeMap notations = type.getNotations();
    ASSERT_EQ(2u, notations.getLength());
    DOM_Notation gif = as<DOM_Notation>(notations.item(0));
    EXPECT_EQ(DOM_Node::NOTATION_NODE, gif.getNodeType());
    EXPECT_EQ("gif", str(gif.getNodeName()));
    EXPECT_EQ("gif-pub", str(gif.getPublicId()));
    EXPECT_EQ("viewer", str(gif.getSystemId()));
    DOM_Notation jpg = as<DOM_Notation>(notations.getNamedItem("jpg"));
    EXPECT_TRUE(is_null(jpg.getPublicId()));
    EXPECT_EQ("jpeg-viewer", str(jpg.getSystemId()));
}

TEST(dom_document_type, identifiers_of_a_parsed_external_subset)
{
    TempDir dir;
    {
        std::ofstream dtd(dir.path() / "r.dtd");
        dtd << "<!ELEMENT r ANY>";
    }
    {
        std::ofstream file(dir.path() / "doc.xml");
        file << "<!DOCTYPE r PUBLIC 'pub-id' 'r.dtd'><r/>";
    }
    DOM_Document doc = ParseFile((dir.path() / "doc.xml").string(), false);
    DOM_DocumentType type = doc.getDoctype();
    EXPECT_EQ("pub-id", str(type.getPublicId()));
    EXPECT_EQ("r.dtd", str(type.getSystemId()));
    EXPECT_TRUE(is_null(type.getInternalSubset()));
}

TEST(dom_document_type, entity_children_follow_entity_reference_nodes)
{
    DOM_Entity withNodes = as<DOM_Entity>(parse_doctype(true).getDoctype().getEntities().getNamedItem("e"));
    ASSERT_TRUE(withNodes.hasChildNodes());
    EXPECT_EQ("expanded", str(withNodes.getFirstChild().getNodeValue()));
    DOM_Entity withoutNodes = as<DOM_Entity>(parse_doctype(false).getDoctype().getEntities().getNamedItem("e"));
    EXPECT_EQ("e", str(withoutNodes.getNodeName()));
    EXPECT_FALSE(withoutNodes.hasChildNodes());
}

TEST(dom_document_type, null_and_other_nodes_answer_null)
{
    DOM_DocumentType none;
    EXPECT_TRUE(none.getEntities().isNull());
    EXPECT_TRUE(none.getNotations().isNull());
    EXPECT_TRUE(is_null(none.getPublicId()));
    EXPECT_TRUE(is_null(DOM_Entity().getSystemId()));
    EXPECT_TRUE(is_null(DOM_Notation().getPublicId()));
    DOM_Document doc = new_document("r");
    const DOM_Node root = doc.getDocumentElement();
    EXPECT_TRUE(as<DOM_DocumentType>(root).getEntities().isNull());
    EXPECT_TRUE(is_null(as<DOM_Entity>(root).getNotationName()));
}

// ---- user data and lifetime --------------------------------------------------------------

TEST(dom_user_data, one_pointer_per_node)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    int first = 1;
    int second = 2;
    EXPECT_EQ(nullptr, root.getUserData());
    root.setUserData(&first);
    doc.setUserData(&second);
    EXPECT_EQ(&first, root.getUserData());
    EXPECT_EQ(&first, doc.getDocumentElement().getUserData());
    EXPECT_EQ(&second, doc.getUserData());
    // Not copied by clones or imports.
    EXPECT_EQ(nullptr, root.cloneNode(true).getUserData());
    EXPECT_EQ(nullptr, new_document("o").importNode(root, true).getUserData());
    root.setUserData(nullptr);
    EXPECT_EQ(nullptr, root.getUserData());
    EXPECT_EQ(&second, doc.getUserData());
    EXPECT_EQ(nullptr, DOM_Node().getUserData());
    EXPECT_DOM_EXCEPTION(DOM_Node().setUserData(&first), DOM_DOMException::INVALID_STATE_ERR);
}

TEST(dom_lifetime, new_node_types_keep_their_document)
{
    DOM_DocumentFragment fragment;
    DOM_Entity entity;
    DOM_Notation notation;
    DOM_XMLDecl decl;
    DOM_NamedNodeMap entities;
    {
        DOM_Document doc = parse_doctype();
        fragment = doc.createDocumentFragment();
        fragment.appendChild(doc.createElement("kept"));
        entity = doc.createEntity("x");
        notation = as<DOM_Notation>(doc.getDoctype().getNotations().getNamedItem("jpg"));
        decl = doc.createXMLDecl("1.0", DOMString(), DOMString());
        entities = doc.getDoctype().getEntities();
    }
    EXPECT_EQ("kept", str(fragment.getFirstChild().getNodeName()));
    EXPECT_EQ("x", str(entity.getNodeName()));
    EXPECT_EQ("jpeg-viewer", str(notation.getSystemId()));
    EXPECT_EQ("1.0", str(decl.getVersion()));
    EXPECT_EQ(3u, entities.getLength());
    EXPECT_EQ("r", str(fragment.getOwnerDocument().getDocumentElement().getTagName()));
}

TEST(dom_lifetime, documents_of_new_node_types_are_freed)
{
    auto make_and_drop = [] {
        DOM_Document doc = parse_doctype();
        DOM_DocumentFragment fragment = doc.createDocumentFragment();
        fragment.appendChild(doc.createXMLDecl("1.0", "UTF-8", "yes"));
        DOM_Node imported = doc.importNode(new_document("o").getDocumentElement(), true);
        // Not a document type without a document: Xerces-C 3.2 keeps those
        // on a heap of its own until XMLPlatformUtils::Terminate.
        doc.getDoctype().getEntities().getNamedItem("e").getFirstChild();
    };
    make_and_drop(); // warms up what Xerces-C makes once
    const std::size_t before = heap_in_use();
    for (int i = 0; i < 200; ++i)
        make_and_drop();
    EXPECT_LT(heap_in_use(), before + 64 * 1024);
}

TEST(dom_document, set_node_value_does_nothing_on_nodes_without_value)
{
    DOM_Document doc = parse_doctype();
    DOM_DocumentType type = doc.getDoctype();
    const DOM_Node nodes[] = {doc,
                              type,
                              doc.createDocumentFragment(),
                              type.getEntities().getNamedItem("e"),
                              type.getNotations().getNamedItem("gif"),
                              doc.createEntity("made"),
                              doc.createNotation("made"),
                              doc.createXMLDecl("1.0", DOMString(), DOMString())};
    for (DOM_Node node : nodes) {
        node.setNodeValue("value");
        EXPECT_TRUE(is_null(node.getNodeValue())) << str(node.getNodeName());
    }
    EXPECT_EQ("r", str(type.getName()));
}

TEST(dom_xmldecl, free_functions_pass_over_it)
{
    DOM_Document doc = new_document("r");
    DOM_Element root = doc.getDocumentElement();
    doc.insertBefore(doc.createXMLDecl("1.0", DOMString(), DOMString()), root);
    DOM_Element item = doc.createElement("item");
    item.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString()));
    item.appendChild(doc.createTextNode("value"));
    root.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString()));
    root.appendChild(item);

    EXPECT_TRUE(GetNodeByName(root, "item") == item);
    std::string text;
    EXPECT_TRUE(ReadNodeData(item, text, "none"));
    EXPECT_EQ("value", text);
    EXPECT_EQ("#xmldecl", GetNodeName(root.getFirstChild()));
    int seen = 0;
    for (cNodeIterator it(root, "#xmldecl"); it != DOM_Node(); ++it)
        seen += (*it).getNodeType() == DOM_Node::XML_DECL_NODE;
    EXPECT_EQ(1, seen);
    EXPECT_EQ("<r>\n    <item>value</item>\n</r>", xml(root));
    DOM_Element only = doc.createElement("only");
    only.appendChild(doc.createXMLDecl("1.0", DOMString(), DOMString()));
    EXPECT_EQ("<only/>", xml(only));
}
