// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <pthread.h>

#include <cstddef>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Deep enough that anything recursing once per level overflows the default
// 8 MiB stack, with or without the address sanitizer.
constexpr int kDepth = 1000000;

std::string written(const DOM_Node& node)
{
    std::ostringstream out;
    DOM_Node copy = node;
    out << copy;
    return out.str();
}


// Below `parent`, a chain of `depth` nested elements named `e`, the
// innermost holding the text "end"; each tenth carries an attribute.
void append_chain(DOM_Document& doc, DOM_Node parent, int depth)
{
    DOM_Node current = parent;
    for (int i = 0; i < depth; ++i) {
        DOM_Element e = doc.createElement(DOMString("e"));
        if (i % 10 == 0)
            e.setAttribute(DOMString("n"), DOMString("v"));
        current = current.appendChild(e);
    }
    current.appendChild(doc.createTextNode(DOMString("end")));
}

// Walks the chain below `top` (an `e` element); returns how many elements it
// has, or -1 when it is not the chain append_chain made.
int chain_depth(DOM_Node top, const DOM_Document& owner)
{
    int depth = 0;
    DOM_Node node = top;
    while (node.getNodeType() == DOM_Node::ELEMENT_NODE) {
        if (str(node.getNodeName()) != "e" || node.getOwnerDocument() != owner)
            return -1;
        const bool marked = static_cast<DOM_Element&>(node).getAttributeNode(DOMString("n")) != 0;
        if (marked != (depth % 10 == 0) || node.getFirstChild() != node.getLastChild())
            return -1;
        ++depth;
        node = node.getFirstChild();
    }
    if (node.getNodeType() != DOM_Node::TEXT_NODE || str(node.getNodeValue()) != "end")
        return -1;
    return depth;
}

// Runs `work` on a thread whose stack has `bytes`: a walk that recurses once
// per level overflows it at a depth that is still cheap to write out.
void on_small_stack(std::size_t bytes, const std::function<void()>& work)
{
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, bytes));
    pthread_t thread;
    auto run = [](void* arg) -> void* {
        (*static_cast<const std::function<void()>*>(arg))();
        return nullptr;
    };
    const int created = pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work));
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(0, created);
    pthread_join(thread, nullptr);
}

} // namespace

// ---- insertions that would make a cycle -------------------------------------

TEST(dom_safety, inserting_a_node_into_itself_or_below_itself_is_refused)
{
    DOM_Document doc = parse_text("<r><a><c>t</c></a><b/></r>");
    DOM_Element r = doc.getDocumentElement();
    DOM_Node a = r.getFirstChild();
    DOM_Node b = a.getNextSibling();
    DOM_Node c = a.getFirstChild();
    DOM_Node t = c.getFirstChild();
    const std::string before = written(doc);
    ASSERT_EQ("<?xml version='1.0' encoding='ISO-8859-1' ?>\n"
              "<r>\n"
              "    <a>\n"
              "        <c>t</c>\n"
              "    </a>\n"
              "    <b/>\n"
              "</r>\n",
              before);

    struct Row {
        const char* what;
        std::function<void()> insert;
    };
    const Row rows[] = {
        {"a.appendChild(a)", [&] { a.appendChild(a); }},
        {"b.appendChild(b), a leaf", [&] { b.appendChild(b); }},
        {"a.insertBefore(a, c)", [&] { a.insertBefore(a, c); }},
        {"a.insertBefore(a, null)", [&] { a.insertBefore(a, DOM_Node()); }},
        {"a.replaceChild(a, c)", [&] { a.replaceChild(a, c); }},
        {"r.replaceChild(r, a)", [&] { r.replaceChild(r, a); }},
        {"doc.appendChild(doc)", [&] { doc.appendChild(doc); }},
        {"c.appendChild(a), the parent", [&] { c.appendChild(a); }},
        {"c.appendChild(r), the grandparent", [&] { c.appendChild(r); }},
        {"c.insertBefore(r, t)", [&] { c.insertBefore(r, t); }},
        {"c.replaceChild(r, t)", [&] { c.replaceChild(r, t); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_DOM_EXCEPTION(row.insert(), DOM_DOMException::HIERARCHY_REQUEST_ERR);
        EXPECT_EQ(before, written(doc));
    }
    EXPECT_EQ(3, static_cast<int>(DOM_DOMException::HIERARCHY_REQUEST_ERR));
    EXPECT_TRUE(a.getParentNode() == r);
    EXPECT_TRUE(GetNodeByName(r, "missing").isNull());
    EXPECT_TRUE(GetNodeByName(r, "b") == b);
    EXPECT_EQ(4u, doc.getElementsByTagName(DOMString("*")).getLength());
}

TEST(dom_safety, a_detached_subtree_is_not_inserted_below_itself)
{
    DOM_Document doc = new_document("r");
    DOM_Element x = doc.createElement(DOMString("x"));
    DOM_Element y = doc.createElement(DOMString("y"));
    x.appendChild(y);
    EXPECT_DOM_EXCEPTION(y.appendChild(x), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(x.appendChild(x), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    EXPECT_DOM_EXCEPTION(y.insertBefore(y, DOM_Node()), DOM_DOMException::HIERARCHY_REQUEST_ERR);
    doc.getDocumentElement().appendChild(x);
    EXPECT_EQ("<r>\n"
              "    <x>\n"
              "        <y/>\n"
              "    </x>\n"
              "</r>",
              written(doc.getDocumentElement()));
}

TEST(dom_safety, replacing_a_child_by_itself_changes_nothing)
{
    DOM_Document doc = parse_text("<r><a><c/></a><b/></r>");
    DOM_Element r = doc.getDocumentElement();
    DOM_Node a = r.getFirstChild();
    DOM_Node b = a.getNextSibling();
    const std::string before = written(doc);

    EXPECT_TRUE(r.replaceChild(a, a) == a);
    EXPECT_EQ(before, written(doc));
    EXPECT_TRUE(a.getParentNode() == r);
    EXPECT_TRUE(r.getFirstChild() == a);
    EXPECT_TRUE(a.getNextSibling() == b);

    EXPECT_TRUE(r.replaceChild(b, b) == b);
    EXPECT_TRUE(r.getLastChild() == b);
    EXPECT_EQ(before, written(doc));

    // Not a child of the node asked: nothing to replace.
    DOM_Node c = a.getFirstChild();
    EXPECT_DOM_EXCEPTION(r.replaceChild(c, c), DOM_DOMException::NOT_FOUND_ERR);
    EXPECT_EQ(before, written(doc));

    // Inside an entity's expansion nothing changes, and read-only comes first.
    DOM_Document other = parse_text("<!DOCTYPE r [<!ENTITY e '<i>x</i>'>]><r>&e;</r>");
    DOM_Node ref = other.getDocumentElement().getFirstChild();
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, ref.getNodeType());
    DOM_Node i = ref.getFirstChild();
    const std::string otherBefore = written(other);
    EXPECT_DOM_EXCEPTION(ref.replaceChild(i, i), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(i.appendChild(i), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_EQ(otherBefore, written(other));
}

// ---- copies equal to Xerces-C's own ------------------------------------------

namespace {

const char kVaried[] = "<?xml version='1.0'?>\n"
                       "<!DOCTYPE r [\n"
                       "<!ATTLIST r d CDATA 'dflt' z CDATA #IMPLIED>\n"
                       "<!ATTLIST i kind CDATA 'plain'>\n"
                       "<!ENTITY e 'text &#38;amp; more'>\n"
                       "<!ENTITY f '<i n=\"1\">in <b>entity</b></i>'>\n"
                       "]>\n"
                       "<!--before--><?first pi?>\n"
                       "<r z='last' a='first'>\n"
                       "  <i n='2' kind='special'>one</i>\n"
                       "  <i n='3'/>\n"
                       "  &e;&f;\n"
                       "  <![CDATA[<raw & data>]]>\n"
                       "  <d><!--c--><?p q?>t&#228;&#8364;<e2 x='&lt;'/></d>\n"
                       "  mixed <b>bold</b> tail\n"
                       "</r>\n"
                       "<!--after-->";

// What the writer gives for the root element of kVaried: a copy must give
// the same bytes.
const char kVariedRoot[] = "<r a=\"first\" d=\"dflt\" z=\"last\">\n"
                           "    <i n=\"2\" kind=\"special\">one</i>\n"
                           "    <i n=\"3\" kind=\"plain\"/>\n"
                           "text &amp; more\n"
                           "    <i n=\"1\" kind=\"plain\">in        <b>entity</b>\n"
                           "</i>\n"
                           "<![CDATA[<raw & data>]]>\n"
                           "    <d>\n"
                           "<!--c-->\n"
                           "<?p q?>\n"
                           "t&#228;&#8364;        <e2 x=\"&lt;\"/>\n"
                           "    </d>\n"
                           "mixed    <b>bold</b>\n"
                           "tail</r>";

} // namespace

TEST(dom_safety, deep_copy_of_an_element_is_xerces_own)
{
    DOM_Document doc = parse_text(kVaried);
    DOM_Element r = doc.getDocumentElement();
    ASSERT_EQ(kVariedRoot, written(r));
    DOM_Node copy = r.cloneNode(true);
    EXPECT_EQ(kVariedRoot, written(copy));
    EXPECT_TRUE(copy.getOwnerDocument() == doc);
    EXPECT_TRUE(copy.getParentNode().isNull());

    // The node types survive, entity references with their expansion.
    std::string types;
    for (DOM_Node child = copy.getFirstChild(); child != 0; child = child.getNextSibling())
        types += std::to_string(child.getNodeType()) + " ";
    EXPECT_EQ("3 1 3 1 3 5 5 3 4 3 1 3 1 3 ", types);

    // An expansion stays read-only in the copy, down to its attributes.
    DOM_Node ref = copy.getFirstChild();
    while (ref.getNodeType() != DOM_Node::ENTITY_REFERENCE_NODE || str(ref.getNodeName()) != "f")
        ref = ref.getNextSibling();
    DOM_Node first = ref.getFirstChild();
    DOM_Element& i = static_cast<DOM_Element&>(first);
    ASSERT_EQ("i", str(i.getNodeName()));
    EXPECT_DOM_EXCEPTION(ref.appendChild(doc.createComment(DOMString("z"))),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(i.appendChild(doc.createComment(DOMString("z"))),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(i.getLastChild().appendChild(doc.createComment(DOMString("z"))),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(i.getFirstChild().setNodeValue(DOMString("z")), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    EXPECT_DOM_EXCEPTION(i.getAttributeNode(DOMString("n")).setValue(DOMString("z")),
                         DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
    // Everything else in the copy can be changed.
    DOM_Node found = GetNodeByName(copy, "d");
    DOM_Element& d = static_cast<DOM_Element&>(found);
    ASSERT_FALSE(d.isNull());
    d.setAttribute(DOMString("new"), DOMString("1"));
    d.getFirstChild().setNodeValue(DOMString("changed"));
    EXPECT_EQ(kVariedRoot, written(r));
}

TEST(dom_safety, deep_copy_of_a_document_is_xerces_own)
{
    DOM_Node copy;
    {
        DOM_Document doc = parse_text(kVaried);
        copy = doc.cloneNode(true);
    }
    ASSERT_EQ(DOM_Node::DOCUMENT_NODE, copy.getNodeType());
    DOM_Document& doc = static_cast<DOM_Document&>(copy);
    // Xerces-C gives the copy's entity references no expansion.
    EXPECT_EQ("<?xml version='1.0' encoding='ISO-8859-1' ?>\n"
              "\n"
              "<!--before-->\n"
              "<?first pi?>\n"
              "<r a=\"first\" d=\"dflt\" z=\"last\">\n"
              "    <i n=\"2\" kind=\"special\">one</i>\n"
              "    <i n=\"3\" kind=\"plain\"/>\n"
              "\n"
              "\n"
              "<![CDATA[<raw & data>]]>\n"
              "    <d>\n"
              "<!--c-->\n"
              "<?p q?>\n"
              "t&#228;&#8364;        <e2 x=\"&lt;\"/>\n"
              "    </d>\n"
              "mixed    <b>bold</b>\n"
              "tail</r>\n"
              "<!--after-->\n",
              written(doc));
    EXPECT_EQ("r", str(doc.getDoctype().getName()));
    EXPECT_TRUE(doc.getDocumentElement().getOwnerDocument() == doc);
    std::string types;
    for (DOM_Node child = doc.getFirstChild(); child != 0; child = child.getNextSibling())
        types += std::to_string(child.getNodeType()) + " ";
    EXPECT_EQ("10 8 7 1 8 ", types);
}

// ---- depth costs heap, not stack -----------------------------------------------

TEST(dom_safety, deep_copy_of_a_million_nested_elements)
{
    DOM_Document doc = new_document("r");
    DOM_Element r = doc.getDocumentElement();
    append_chain(doc, r, kDepth);
    DOM_Node top = r.getFirstChild();

    DOM_Node copy = top.cloneNode(true);
    EXPECT_TRUE(copy.getParentNode().isNull());
    EXPECT_EQ(kDepth, chain_depth(copy, doc));
    EXPECT_EQ(kDepth, chain_depth(top, doc));
    // The copy is a tree of its own: changing it leaves the original alone.
    r.appendChild(copy);
    EXPECT_EQ(2u, r.getChildNodes().getLength());
    EXPECT_EQ(2u * kDepth, doc.getElementsByTagName(DOMString("e")).getLength());
}

TEST(dom_safety, deep_copy_of_a_million_level_document)
{
    DOM_Node copy;
    {
        DOM_Document doc = new_document("r");
        append_chain(doc, doc.getDocumentElement(), kDepth);
        copy = doc.cloneNode(true);
    }
    ASSERT_EQ(DOM_Node::DOCUMENT_NODE, copy.getNodeType());
    DOM_Document& doc = static_cast<DOM_Document&>(copy);
    EXPECT_EQ("r", str(doc.getDocumentElement().getNodeName()));
    EXPECT_EQ(kDepth, chain_depth(doc.getDocumentElement().getFirstChild(), doc));
}

TEST(dom_safety, deep_copy_of_a_deep_entity_expansion)
{
    std::string xml = "<!DOCTYPE r [<!ENTITY e '";
    // The deepest expansion the parser accepts (deeper ones overflowed the
    // stack in Xerces-C's own recursive code).
    const int depth = 4000;
    for (int i = 0; i < depth; ++i)
        xml += "<a>";
    xml += "x";
    for (int i = 0; i < depth; ++i)
        xml += "</a>";
    xml += "'>]><r>&e;</r>";
    DOM_Document doc = parse_text(xml);
    DOM_Node copy = doc.getDocumentElement().cloneNode(true);
    DOM_Node ref = copy.getFirstChild();
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, ref.getNodeType());
    int levels = 0;
    DOM_Node node = ref.getFirstChild();
    while (node.getNodeType() == DOM_Node::ELEMENT_NODE) {
        ++levels;
        node = node.getFirstChild();
    }
    EXPECT_EQ(depth, levels);
    EXPECT_EQ("x", str(node.getNodeValue()));
    EXPECT_DOM_EXCEPTION(node.setNodeValue(DOMString("y")), DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR);
}

TEST(dom_safety, reading_and_releasing_a_million_levels)
{
    const std::size_t heapBefore = heap_in_use();
    {
        DOM_Document doc = new_document("r");
        DOM_Element r = doc.getDocumentElement();
        append_chain(doc, r, kDepth);
        // Both look through the whole chain and find nothing.
        EXPECT_TRUE(GetNodeByName(r, "missing").isNull());
        EXPECT_TRUE(GetNodeByName(r.getFirstChild(), "r").isNull());
        DOM_NodeList all = doc.getElementsByTagName(DOMString("*"));
        EXPECT_EQ(static_cast<unsigned int>(kDepth) + 1, all.getLength());
        DOM_Node last = all.item(kDepth);
        EXPECT_EQ("end", str(last.getFirstChild().getNodeValue()));
        std::string data;
        EXPECT_TRUE(ReadNodeData(last, data, std::string()));
        EXPECT_EQ("end", data);
        EXPECT_EQ(kDepth, chain_depth(r.getFirstChild(), doc));
    }
    // The last handle released the document without walking it by recursion.
    EXPECT_LT(heap_in_use(), heapBefore + (std::size_t(1) << 20));
}

TEST(dom_safety, writing_deep_trees_needs_little_stack)
{
    // The writer's output grows with the square of the depth (indentation),
    // so depth here is modest and the stack small instead.
    const int depth = 3000;
    DOM_Document doc = new_document("r");
    append_chain(doc, doc.getDocumentElement(), depth);
    std::string expected = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n<r>\n";
    for (int i = 1; i <= depth; ++i)
        expected += std::string(4 * static_cast<std::size_t>(i), ' ') + (i % 10 == 1 ? "<e n=\"v\">" : "<e>") +
                    (i == depth ? "end</e>\n" : "\n");
    for (int i = depth - 1; i >= 1; --i)
        expected += std::string(4 * static_cast<std::size_t>(i), ' ') + "</e>\n";
    expected += "</r>\n";

    std::string output;
    on_small_stack(std::size_t(256) << 10, [&] { output = written(doc); });
    EXPECT_EQ(expected.size(), output.size());
    EXPECT_TRUE(expected == output);
}

// ---- depth inside entity expansions --------------------------------------------

namespace {

// Xerces-C marks an expansion read-only, and copies a document type's
// entities, by recursion; the parser refuses expansions nested deeper.
constexpr int kEntityLimit = 4000;
const char kTooDeep[] = "entity expansion nests elements deeper than 4000 levels";
constexpr std::size_t kSmallStack = std::size_t(1) << 20;

std::string nested(int depth, const std::string& inside)
{
    std::string text;
    text.reserve(static_cast<std::size_t>(depth) * 7 + inside.size());
    for (int i = 0; i < depth; ++i)
        text += "<a>";
    text += inside;
    for (int i = 0; i < depth; ++i)
        text += "</a>";
    return text;
}

// The entity e nests `depth` elements; the reference ends line 4 at char 7.
std::string deep_entity(int depth)
{
    return "<!DOCTYPE r [\n<!ENTITY e '" + nested(depth, "x") + "'>\n]>\n<r>&e;</r>";
}

// e1 to e`count`, each nesting `depth` elements around a reference to the
// next; e1's reference ends line count + 3 at char 8.
std::string chained_entities(int count, int depth, int last)
{
    std::string xml = "<!DOCTYPE r [\n";
    for (int i = 1; i <= count; ++i)
        xml += "<!ENTITY e" + std::to_string(i) + " '" +
               (i < count ? nested(depth, "&e" + std::to_string(i + 1) + ";") : nested(last, "x")) + "'>\n";
    return xml + "]>\n<r>&e1;</r>";
}

std::string fatal(const std::string& input, int line, int column)
{
    return "Fatal Error at (file " + input + ", line " + std::to_string(line) + ", char " + std::to_string(column) +
           "): " + kTooDeep + "\n";
}

// Keeps the fatal errors a DOMParser reports.
class FatalErrors : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException&) override {}
    void error(const xercesc::SAXParseException&) override {}
    void fatalError(const xercesc::SAXParseException& e) override
    {
        char* message = xercesc::XMLString::transcode(e.getMessage());
        reports.push_back(std::to_string(e.getLineNumber()) + ":" + std::to_string(e.getColumnNumber()) + " " +
                          message);
        xercesc::XMLString::release(&message);
    }
    void resetErrors() override {}

    std::vector<std::string> reports;
};

// Levels of elements below the entity reference that is `root`'s first child.
int expansion_depth(const DOM_Document& doc)
{
    DOM_Node node = doc.getDocumentElement().getFirstChild();
    if (node.getNodeType() != DOM_Node::ENTITY_REFERENCE_NODE)
        return -1;
    int levels = 0;
    for (node = node.getFirstChild(); !node.isNull() && node.getNodeType() != DOM_Node::TEXT_NODE;
         node = node.getFirstChild())
        if (node.getNodeType() == DOM_Node::ELEMENT_NODE)
            ++levels;
    return node.isNull() || str(node.getNodeValue()) != "x" ? -1 : levels;
}

} // namespace

TEST(dom_safety, deep_entity_expansion_is_refused_on_every_parse_path)
{
    const std::string xml = deep_entity(200000);
    TempDir dir;
    const std::string file = dir.write("deep.xml", xml);
    on_small_stack(kSmallStack, [&] {
        EXPECT_THROW_MSG(parse_text(xml), cTextException, fatal("XMLRead_ParseBufferID", 4, 7));
        EXPECT_THROW_MSG(ParseFile(file, false), cTextException, fatal(file, 4, 7));
        cXML_Utility facade(0);
        EXPECT_THROW_MSG(facade.Parse(xml.data(), static_cast<unsigned int>(xml.size())), cTextException,
                         fatal("XMLRead_ParseBufferID", 4, 7));
        EXPECT_THROW_MSG(facade.Parse(file), cTextException, fatal(file, 4, 7));

        DOMParser parser;
        FatalErrors errors;
        parser.setErrorHandler(&errors);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "deep");
        parser.parse(source);
        parser.parse(file.c_str());
        const std::string expected = std::string("4:7 ") + kTooDeep;
        EXPECT_EQ((std::vector<std::string>{expected, expected}), errors.reports);
        // The parser is ready for the next document.
        const std::string fine = deep_entity(3);
        const xercesc::MemBufInputSource next(reinterpret_cast<const XMLByte*>(fine.data()), fine.size(), "fine");
        parser.parse(next);
        EXPECT_EQ(2u, errors.reports.size());
        EXPECT_EQ(3, expansion_depth(parser.getDocument()));
    });
}

TEST(dom_safety, nested_entity_references_add_up_to_the_limit)
{
    // 60 entities of 3,500 levels each, one inside the other: each alone is
    // below the limit, together they are 210,000 levels deep, and a copy of
    // the outermost entity copies all of them.
    const std::string xml = chained_entities(60, 3500, 3500);
    on_small_stack(kSmallStack, [&] {
        EXPECT_THROW_MSG(parse_text(xml), cTextException, fatal("XMLRead_ParseBufferID", 63, 8));
        DOMParser parser;
        FatalErrors errors;
        parser.setErrorHandler(&errors);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "chain");
        parser.parse(source);
        EXPECT_EQ(std::vector<std::string>{std::string("63:8 ") + kTooDeep}, errors.reports);
        // What was built before the refusal copies safely.
        DOM_Document partial = parser.getDocument();
        ASSERT_FALSE(partial.isNull());
        EXPECT_EQ(DOM_Node::DOCUMENT_NODE, partial.cloneNode(true).getNodeType());
    });
}

TEST(dom_safety, entity_expansion_at_the_limit_parses)
{
    on_small_stack(kSmallStack, [&] {
        DOM_Document doc = parse_text(deep_entity(kEntityLimit));
        EXPECT_EQ(kEntityLimit, expansion_depth(doc));
        // An inner reference is a level of its own.
        EXPECT_NO_THROW(parse_text(chained_entities(2, kEntityLimit / 2 - 1, kEntityLimit / 2)));
        EXPECT_THROW_MSG(parse_text(deep_entity(kEntityLimit + 1)), cTextException,
                         fatal("XMLRead_ParseBufferID", 4, 7));
        EXPECT_THROW_MSG(parse_text(chained_entities(2, kEntityLimit / 2, kEntityLimit / 2)), cTextException,
                         fatal("XMLRead_ParseBufferID", 5, 8));
    });
}

TEST(dom_safety, copying_a_document_with_a_deep_entity_needs_little_stack)
{
    // Xerces-C copies a document type's entities by recursion: on this stack
    // 9,000 levels overflowed it. Such a document no longer parses.
    DOM_Document doc;
    try {
        doc = parse_text(deep_entity(9000));
        ADD_FAILURE() << "9,000 levels parsed";
    } catch (const cTextException& e) {
        EXPECT_EQ(fatal("XMLRead_ParseBufferID", 4, 7), e.what());
        doc = parse_text(deep_entity(kEntityLimit));
    }
    on_small_stack(kSmallStack, [&] {
        DOM_Node copy = doc.cloneNode(true);
        ASSERT_EQ(DOM_Node::DOCUMENT_NODE, copy.getNodeType());
        DOM_Document& copied = static_cast<DOM_Document&>(copy);
        EXPECT_EQ("r", str(copied.getDocumentElement().getNodeName()));
        EXPECT_EQ("r", str(copied.getDoctype().getName()));
        DOM_Node element = doc.getDocumentElement().cloneNode(true);
        EXPECT_EQ("r", str(element.getNodeName()));
    });
}

TEST(dom_safety, plain_nesting_is_not_limited)
{
    const std::string xml = "<r>" + nested(kDepth, "x") + "</r>";
    on_small_stack(kSmallStack, [&] {
        DOM_Document doc = parse_text(xml);
        DOM_Node node = doc.getDocumentElement();
        int levels = 0;
        for (node = node.getFirstChild(); node.getNodeType() == DOM_Node::ELEMENT_NODE; node = node.getFirstChild())
            ++levels;
        EXPECT_EQ(kDepth, levels);
        EXPECT_EQ("x", str(node.getNodeValue()));
    });
}
