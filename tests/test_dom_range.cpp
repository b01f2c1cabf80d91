// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <string>
#include <type_traits>

namespace {

DOM_Document parse(const std::string& text)
{
    DOMParser parser;
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}

// A compact serialisation, so that trees compare byte for byte.
std::string dump(const DOM_Node& node)
{
    std::string out;
    switch (node.getNodeType()) {
    case DOM_Node::ELEMENT_NODE: {
        out += "<" + str(node.getNodeName());
        DOM_NamedNodeMap attributes = node.getAttributes();
        for (unsigned int i = 0; i < attributes.getLength(); ++i)
            out += " " + str(attributes.item(i).getNodeName()) + "=\"" + str(attributes.item(i).getNodeValue()) + "\"";
        if (!node.hasChildNodes())
            return out + "/>";
        out += ">";
        for (DOM_Node child = node.getFirstChild(); child != 0; child = child.getNextSibling())
            out += dump(child);
        return out + "</" + str(node.getNodeName()) + ">";
    }
    case DOM_Node::TEXT_NODE:
        return str(node.getNodeValue());
    case DOM_Node::CDATA_SECTION_NODE:
        return "<![CDATA[" + str(node.getNodeValue()) + "]]>";
    case DOM_Node::COMMENT_NODE:
        return "<!--" + str(node.getNodeValue()) + "-->";
    case DOM_Node::PROCESSING_INSTRUCTION_NODE:
        return "<?" + str(node.getNodeName()) + " " + str(node.getNodeValue()) + "?>";
    case DOM_Node::ENTITY_REFERENCE_NODE:
        return "&" + str(node.getNodeName()) + ";";
    case DOM_Node::DOCUMENT_TYPE_NODE:
        return "<!DOCTYPE " + str(node.getNodeName()) + ">";
    default:
        for (DOM_Node child = node.getFirstChild(); child != 0; child = child.getNextSibling())
            out += dump(child);
        return out;
    }
}

// r
// +- p: "Hello ", b: "bold", " world"
// +- q: "end"
const char kDoc[] = "<r><p>Hello <b>bold</b> world</p><q>end</q></r>";

struct Tree {
    DOM_Document doc;
    DOM_Element r, p, b, q;
    DOM_Text hello, bold, world, end;

    explicit Tree(const char* text = kDoc) : doc(parse(text))
    {
        r = doc.getDocumentElement();
        p = element(r.getFirstChild());
        q = element(p.getNextSibling());
        b = element(p.getFirstChild().getNextSibling());
        hello = text_of(p.getFirstChild());
        bold = text_of(b.getFirstChild());
        world = text_of(p.getLastChild());
        end = text_of(q.getFirstChild());
    }
    static DOM_Element element(const DOM_Node& node) { return static_cast<const DOM_Element&>(node); }
    static DOM_Text text_of(const DOM_Node& node) { return static_cast<const DOM_Text&>(node); }
};

// "container:offset-container:offset", with text containers named by their data.
std::string points(const DOM_Range& range)
{
    auto name = [](const DOM_Node& n) {
        if (n == 0)
            return std::string("(null)");
        if (n.getNodeType() == DOM_Node::TEXT_NODE)
            return "'" + str(n.getNodeValue()) + "'";
        return str(n.getNodeName());
    };
    return name(range.getStartContainer()) + ":" + std::to_string(range.getStartOffset()) + "-" +
           name(range.getEndContainer()) + ":" + std::to_string(range.getEndOffset());
}

template <class F>
short dom_code(F&& call)
{
    try {
        call();
    } catch (const DOM_RangeException& e) {
        ADD_FAILURE() << "a range exception, code " << e.code;
        return -1;
    } catch (const DOM_DOMException& e) {
        return static_cast<short>(e.code);
    }
    return 0;
}

template <class F>
short range_code(F&& call)
{
    try {
        call();
    } catch (const DOM_RangeException& e) {
        // The base's code holds the same number.
        EXPECT_EQ(static_cast<int>(e.code), static_cast<int>(static_cast<const DOM_DOMException&>(e).code));
        return static_cast<short>(e.code);
    } catch (const DOM_DOMException& e) {
        ADD_FAILURE() << "a plain DOM exception, code " << e.code;
        return -1;
    }
    return 0;
}


} // namespace

// ---- signatures, constants, exceptions -----------------------------------------------

TEST(range, signatures_are_the_classic_ones)
{
    using N = const DOM_Node&;
    static_assert(std::is_same<decltype(&DOM_Document::createRange), DOM_Range (DOM_Document::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::getStartContainer), DOM_Node (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::getStartOffset), unsigned int (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::getEndContainer), DOM_Node (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::getEndOffset), unsigned int (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::getCollapsed), bool (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::getCommonAncestorContainer), const DOM_Node (DOM_Range::*)() const>::value,
                  "");
    static_assert(std::is_same<decltype(&DOM_Range::setStart), void (DOM_Range::*)(N, unsigned int)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::setEnd), void (DOM_Range::*)(N, unsigned int)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::setStartBefore), void (DOM_Range::*)(N)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::setStartAfter), void (DOM_Range::*)(N)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::setEndBefore), void (DOM_Range::*)(N)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::setEndAfter), void (DOM_Range::*)(N)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::collapse), void (DOM_Range::*)(bool)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::selectNode), void (DOM_Range::*)(N)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::selectNodeContents), void (DOM_Range::*)(N)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::compareBoundaryPoints),
                               short (DOM_Range::*)(DOM_Range::CompareHow, const DOM_Range&) const>::value,
                  "");
    static_assert(std::is_same<decltype(&DOM_Range::deleteContents), void (DOM_Range::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::extractContents), DOM_DocumentFragment (DOM_Range::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::cloneContents), DOM_DocumentFragment (DOM_Range::*)() const>::value, "");
    // Non-const references: a temporary cannot be passed.
    static_assert(std::is_same<decltype(&DOM_Range::insertNode), void (DOM_Range::*)(DOM_Node&)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::surroundContents), void (DOM_Range::*)(DOM_Node&)>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::cloneRange), DOM_Range (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::toString), DOMString (DOM_Range::*)() const>::value, "");
    static_assert(std::is_same<decltype(&DOM_Range::detach), void (DOM_Range::*)()>::value, "");
    static_assert(std::is_base_of<DOM_DOMException, DOM_RangeException>::value, "");
    static_assert(std::is_base_of<DOM_Node, DOM_DocumentFragment>::value, "");
    static_assert(sizeof(DOM_Range) == sizeof(void*), "");
    static_assert(sizeof(DOM_DocumentFragment) == sizeof(DOM_Node), "");
}

TEST(range, compare_how_constants)
{
    EXPECT_EQ(0, DOM_Range::START_TO_START);
    EXPECT_EQ(1, DOM_Range::START_TO_END);
    EXPECT_EQ(2, DOM_Range::END_TO_END);
    EXPECT_EQ(3, DOM_Range::END_TO_START);
}

TEST(range_exception, codes_and_constructors)
{
    EXPECT_EQ(1, DOM_RangeException::BAD_BOUNDARYPOINTS_ERR);
    EXPECT_EQ(2, DOM_RangeException::INVALID_NODE_TYPE_ERR);
    DOM_RangeException none;
    EXPECT_EQ(0, none.code);
    EXPECT_EQ(0, static_cast<DOM_DOMException&>(none).code);
    EXPECT_TRUE(none.msg == 0);
    DOM_RangeException bad(DOM_RangeException::BAD_BOUNDARYPOINTS_ERR, DOMString("why"));
    EXPECT_EQ(DOM_RangeException::BAD_BOUNDARYPOINTS_ERR, bad.code);
    EXPECT_EQ(1, static_cast<DOM_DOMException&>(bad).code);
    EXPECT_TRUE(bad.msg.equals("why"));
    DOM_RangeException copy(bad);
    EXPECT_EQ(DOM_RangeException::BAD_BOUNDARYPOINTS_ERR, copy.code);
    EXPECT_EQ(1, static_cast<DOM_DOMException&>(copy).code);
    EXPECT_TRUE(copy.msg.equals("why"));
    DOM_RangeException assigned;
    assigned = DOM_RangeException(DOM_RangeException::INVALID_NODE_TYPE_ERR, DOMString());
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, assigned.code);
    EXPECT_EQ(2, static_cast<DOM_DOMException&>(assigned).code);
    // Caught as the base, it shows the base's code.
    try {
        throw DOM_RangeException(DOM_RangeException::INVALID_NODE_TYPE_ERR, DOMString());
    } catch (const DOM_DOMException& e) {
        EXPECT_EQ(DOM_DOMException::DOMSTRING_SIZE_ERR, e.code); // 2
    }
}

// ---- boundary points ---------------------------------------------------------------------

TEST(range, new_range_is_collapsed_at_the_document_start)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    EXPECT_TRUE(range != 0);
    EXPECT_TRUE(range.getStartContainer() == t.doc);
    EXPECT_TRUE(range.getEndContainer() == t.doc);
    EXPECT_EQ(0u, range.getStartOffset());
    EXPECT_EQ(0u, range.getEndOffset());
    EXPECT_TRUE(range.getCollapsed());
    EXPECT_TRUE(range.getCommonAncestorContainer() == t.doc);
    EXPECT_TRUE(range.toString().equals(""));
    EXPECT_TRUE(t.doc.createRange() != range);
}

TEST(range, set_start_and_end)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    range.setEnd(t.world, 3);
    EXPECT_EQ("'Hello ':2-' world':3", points(range));
    EXPECT_FALSE(range.getCollapsed());
    EXPECT_TRUE(range.getCommonAncestorContainer() == t.p);
    EXPECT_TRUE(range.toString().equals("llo bold wo"));
    range.setStart(t.p, 1);
    range.setEnd(t.r, 2);
    EXPECT_EQ("p:1-r:2", points(range));
    EXPECT_TRUE(range.getCommonAncestorContainer() == t.r);
    EXPECT_TRUE(range.toString().equals("bold worldend"));
}

TEST(range, start_after_end_or_end_before_start_collapses_there)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.p, 0);
    range.setEnd(t.p, 1);
    range.setStart(t.q, 0);
    EXPECT_EQ("q:0-q:0", points(range));
    EXPECT_TRUE(range.getCollapsed());
    range.setEnd(t.end, 2);
    EXPECT_EQ("q:0-'end':2", points(range));
    range.setEnd(t.hello, 1);
    EXPECT_EQ("'Hello ':1-'Hello ':1", points(range));
}

TEST(range, offsets_past_the_container_throw_index_size)
{
    Tree t("<r><p>Hello <b>bold</b> world</p><q>end</q><!--abc--><?pi data?></r>");
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 6);
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setStart(t.hello, 7); }));
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setEnd(t.hello, 7); }));
    range.setEnd(t.p, 3);
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setEnd(t.p, 4); }));
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setStart(t.b, 2); }));
    DOM_Node comment = t.q.getNextSibling();
    DOM_Node pi = comment.getNextSibling();
    range.setStart(comment, 3);
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setStart(comment, 4); }));
    range.setEnd(pi, 4);
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setEnd(pi, 5); }));
    // A refused boundary leaves the range as it was.
    EXPECT_EQ("#comment:3-pi:4", points(range));
}

TEST(range, boundaries_in_a_document_type_are_invalid_node_types)
{
    DOM_Document doc = parse("<!DOCTYPE r><r/>");
    DOM_Range range = doc.createRange();
    DOM_Node doctype = doc.getDoctype();
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setStart(doctype, 0); }));
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setEnd(doctype, 0); }));
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.selectNodeContents(doctype); }));
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setStart(DOM_Node(), 0); }));
    EXPECT_EQ("#document:0-#document:0", points(range));
}

TEST(range, set_before_and_after_a_node)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStartBefore(t.b);
    range.setEndAfter(t.b);
    EXPECT_EQ("p:1-p:2", points(range));
    range.setStartAfter(t.b);
    EXPECT_EQ("p:2-p:2", points(range));
    range.setEndAfter(t.q);
    EXPECT_EQ("p:2-r:2", points(range));
    range.setEndBefore(t.q);
    EXPECT_EQ("p:2-r:1", points(range));
    range.setStartBefore(t.r);
    EXPECT_EQ("#document:0-r:1", points(range));
}

TEST(range, set_before_and_after_refuses_nodes_without_a_place)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    DOM_Node attr = t.doc.createAttribute("a");
    DOM_Node loose = t.doc.createElement("loose");
    for (DOM_Node node : {DOM_Node(t.doc), attr, loose}) {
        EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setStartBefore(node); }))
            << str(node.getNodeName());
        EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setStartAfter(node); }));
        EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setEndBefore(node); }));
        EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setEndAfter(node); }));
    }
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.selectNode(t.doc); }));
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.setStartBefore(DOM_Node()); }));
    EXPECT_EQ("#document:0-#document:0", points(range));
}

TEST(range, collapse_to_either_end)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 1);
    range.setEnd(t.end, 2);
    DOM_Range other = range.cloneRange();
    range.collapse(true);
    EXPECT_EQ("'Hello ':1-'Hello ':1", points(range));
    EXPECT_TRUE(range.getCollapsed());
    other.collapse(false);
    EXPECT_EQ("'end':2-'end':2", points(other));
}

TEST(range, select_node_selects_it_within_its_parent)
{
    Tree t("<r><p>Hello <b>bold</b> world<![CDATA[cd]]></p><q>end</q></r>");
    DOM_Range range = t.doc.createRange();
    range.selectNode(t.b);
    EXPECT_EQ("p:1-p:2", points(range));
    EXPECT_TRUE(range.toString().equals("bold"));
    range.selectNode(t.q);
    EXPECT_EQ("r:1-r:2", points(range));
    // A CDATA section is not a text node here: it is selected as a node.
    range.selectNode(t.p.getLastChild());
    EXPECT_EQ("p:3-p:4", points(range));
}

TEST(range, select_node_of_a_text_node_selects_its_characters)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.selectNode(t.hello);
    EXPECT_EQ("'Hello ':0-'Hello ':6", points(range));
    EXPECT_TRUE(range.toString().equals("Hello "));
}

TEST(range, select_node_contents)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.selectNodeContents(t.p);
    EXPECT_EQ("p:0-p:3", points(range));
    EXPECT_TRUE(range.toString().equals("Hello bold world"));
    range.selectNodeContents(t.world);
    EXPECT_EQ("' world':0-' world':6", points(range));
    range.selectNodeContents(t.doc);
    EXPECT_EQ("#document:0-#document:1", points(range));
    EXPECT_TRUE(range.toString().equals("Hello bold worldend"));
}

TEST(range, compare_boundary_points)
{
    Tree t;
    DOM_Range a = t.doc.createRange(); // the text "Hello "
    a.setStart(t.p, 0);
    a.setEnd(t.p, 1);
    DOM_Range b = t.doc.createRange(); // b and " world"
    b.setStart(t.p, 1);
    b.setEnd(t.p, 3);
    EXPECT_EQ(-1, a.compareBoundaryPoints(DOM_Range::START_TO_START, b));
    EXPECT_EQ(1, b.compareBoundaryPoints(DOM_Range::START_TO_START, a));
    EXPECT_EQ(0, a.compareBoundaryPoints(DOM_Range::START_TO_START, a));
    EXPECT_EQ(-1, a.compareBoundaryPoints(DOM_Range::END_TO_END, b));
    // START_TO_END: this range's end against the other's start.
    EXPECT_EQ(0, a.compareBoundaryPoints(DOM_Range::START_TO_END, b));
    EXPECT_EQ(1, b.compareBoundaryPoints(DOM_Range::START_TO_END, a));
    // END_TO_START: this range's start against the other's end.
    EXPECT_EQ(-1, a.compareBoundaryPoints(DOM_Range::END_TO_START, b));
    EXPECT_EQ(0, b.compareBoundaryPoints(DOM_Range::END_TO_START, a));
    // A point inside text against a point in an ancestor.
    DOM_Range inText = t.doc.createRange();
    inText.setStart(t.bold, 2);
    EXPECT_EQ(1, inText.compareBoundaryPoints(DOM_Range::START_TO_START, b));
    EXPECT_EQ(-1, inText.compareBoundaryPoints(DOM_Range::END_TO_END, b));
}

TEST(range, compare_boundary_points_refuses_other_documents_and_detached_ranges)
{
    Tree t;
    Tree other;
    DOM_Range a = t.doc.createRange();
    DOM_Range b = other.doc.createRange();
    EXPECT_EQ(DOM_DOMException::WRONG_DOCUMENT_ERR,
              dom_code([&] { a.compareBoundaryPoints(DOM_Range::START_TO_START, b); }));
    DOM_Range c = t.doc.createRange();
    c.detach();
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([&] { a.compareBoundaryPoints(DOM_Range::END_TO_END, c); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([&] { c.compareBoundaryPoints(DOM_Range::END_TO_END, a); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR,
              dom_code([&] { a.compareBoundaryPoints(DOM_Range::END_TO_END, DOM_Range()); }));
}

TEST(range, common_ancestor_container)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 1);
    range.setEnd(t.hello, 3);
    EXPECT_TRUE(range.getCommonAncestorContainer() == t.hello);
    range.setEnd(t.bold, 1);
    EXPECT_TRUE(range.getCommonAncestorContainer() == t.p);
    range.setEnd(t.end, 1);
    EXPECT_TRUE(range.getCommonAncestorContainer() == t.r);
}

// ---- contents ----------------------------------------------------------------------------

TEST(range, to_string_gives_the_text_without_markup)
{
    Tree t("<r><p>Hello <b>bold</b><!--not text--> world</p><q>end<![CDATA[cd]]></q></r>");
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 3);
    range.setEnd(t.q, 2);
    EXPECT_TRUE(range.toString().equals("lo bold worldendcd"));
}

TEST(range, delete_contents_within_one_text)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 1);
    range.setEnd(t.hello, 4);
    range.deleteContents();
    EXPECT_EQ("<r><p>Ho <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
    EXPECT_EQ("'Ho ':1-'Ho ':1", points(range));
}

TEST(range, delete_contents_across_nodes)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    range.setEnd(t.world, 3);
    range.deleteContents();
    EXPECT_EQ("<r><p>Herld</p><q>end</q></r>", dump(t.doc));
    // Collapsed just after the partly held text the range started in.
    EXPECT_EQ("p:1-p:1", points(range));
}

TEST(range, delete_contents_across_elements)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.bold, 1);
    range.setEnd(t.end, 1);
    range.deleteContents();
    EXPECT_EQ("<r><p>Hello <b>b</b></p><q>nd</q></r>", dump(t.doc));
    EXPECT_TRUE(range.getCollapsed());
}

TEST(range, extract_contents_moves_them_into_a_fragment)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    range.setEnd(t.world, 3);
    DOM_DocumentFragment fragment = range.extractContents();
    EXPECT_EQ(DOM_Node::DOCUMENT_FRAGMENT_NODE, fragment.getNodeType());
    EXPECT_EQ("llo <b>bold</b> wo", dump(fragment));
    EXPECT_EQ("<r><p>Herld</p><q>end</q></r>", dump(t.doc));
    // The element moved, the same node.
    EXPECT_TRUE(fragment.getFirstChild().getNextSibling() == t.b);
    EXPECT_TRUE(fragment.getOwnerDocument() == t.doc);
    EXPECT_TRUE(fragment.getParentNode() == 0);
    EXPECT_TRUE(range.getCollapsed());
}

TEST(range, extract_contents_splits_partly_held_elements)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 0);
    range.setEnd(t.end, 1);
    DOM_DocumentFragment fragment = range.extractContents();
    EXPECT_EQ("<p>Hello <b>bold</b> world</p><q>e</q>", dump(fragment));
    EXPECT_EQ("<r><p></p><q>nd</q></r>", dump(t.doc));
    // The element p stays; the fragment has a copy of it.
    EXPECT_TRUE(t.r.getFirstChild() == t.p);
    EXPECT_TRUE(fragment.getFirstChild() != t.p);
}

TEST(range, clone_contents_copies_and_leaves_the_tree)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    range.setEnd(t.end, 2);
    DOM_DocumentFragment fragment = range.cloneContents();
    EXPECT_EQ("<p>llo <b>bold</b> world</p><q>en</q>", dump(fragment));
    EXPECT_EQ("<r><p>Hello <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
    EXPECT_EQ("'Hello ':2-'end':2", points(range));
    // Copies, not the nodes themselves.
    EXPECT_TRUE(fragment.getFirstChild().getFirstChild().getNextSibling() != t.b);
    const DOM_Range& constant = range;
    EXPECT_EQ("<p>llo <b>bold</b> world</p><q>en</q>", dump(constant.cloneContents()));
}

TEST(range, contents_of_a_collapsed_range_are_empty)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    EXPECT_EQ("", dump(range.cloneContents()));
    EXPECT_FALSE(range.cloneContents().hasChildNodes());
    EXPECT_EQ("", dump(range.extractContents()));
    range.deleteContents();
    EXPECT_EQ("<r><p>Hello <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
}

TEST(range, read_only_contents_refuse_changes)
{
    DOM_Document doc = parse("<!DOCTYPE r [<!ENTITY e 'abc'>]><r>x&e;y</r>");
    DOM_Node ref = doc.getDocumentElement().getFirstChild().getNextSibling();
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, ref.getNodeType());
    DOM_Range range = doc.createRange();
    range.selectNodeContents(ref.getFirstChild());
    EXPECT_TRUE(range.toString().equals("abc"));
    EXPECT_EQ(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR, dom_code([&] { range.deleteContents(); }));
    EXPECT_EQ(DOM_DOMException::NO_MODIFICATION_ALLOWED_ERR, dom_code([&] { range.extractContents(); }));
    EXPECT_EQ("<r>x&e;y</r>", dump(doc.getDocumentElement()));
    EXPECT_EQ("abc", dump(ref.getFirstChild()));
    // Copying them is fine.
    EXPECT_EQ("abc", dump(range.cloneContents()));
}

TEST(range, insert_node_into_text_splits_it)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    DOM_Node i = t.doc.createElement("i");
    range.insertNode(i);
    EXPECT_EQ("<r><p>He<i/>llo <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
    EXPECT_TRUE(i.getPreviousSibling() == t.hello);
    EXPECT_TRUE(t.hello.getData().equals("He"));
}

TEST(range, insert_node_into_an_element_goes_before_the_child_at_the_offset)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.p, 1);
    range.setEnd(t.p, 2);
    DOM_Node c = t.doc.createComment("c");
    range.insertNode(c);
    EXPECT_EQ("<r><p>Hello <!--c--><b>bold</b> world</p><q>end</q></r>", dump(t.doc));
    // The inserted node is inside the range.
    EXPECT_EQ("p:1-p:3", points(range));
    // A fragment inserts its children.
    DOM_Range all = t.doc.createRange();
    all.selectNodeContents(t.q);
    DOM_Node fragment = all.extractContents();
    range.setStart(t.r, 2);
    range.insertNode(fragment);
    EXPECT_EQ("<r><p>Hello <!--c--><b>bold</b> world</p><q/>end</r>", dump(t.doc));
}

TEST(range, insert_node_refusals)
{
    Tree t;
    Tree other;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.bold, 1);
    DOM_Node ancestor = t.p;
    EXPECT_EQ(DOM_DOMException::HIERARCHY_REQUEST_ERR, dom_code([&] { range.insertNode(ancestor); }));
    DOM_Node attr = t.doc.createAttribute("a");
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.insertNode(attr); }));
    DOM_Node document = t.doc;
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.insertNode(document); }));
    DOM_Node foreign = other.doc.createElement("f");
    EXPECT_EQ(DOM_DOMException::WRONG_DOCUMENT_ERR, dom_code([&] { range.insertNode(foreign); }));
    DOM_Node null;
    range.insertNode(null); // nothing
    EXPECT_EQ("<r><p>Hello <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
    range.detach();
    DOM_Node fresh = t.doc.createElement("x");
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([&] { range.insertNode(fresh); }));
}

TEST(range, surround_contents_wraps_them)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.p, 1);
    range.setEnd(t.p, 2);
    DOM_Node s = t.doc.createElement("s");
    range.surroundContents(s);
    EXPECT_EQ("<r><p>Hello <s><b>bold</b></s> world</p><q>end</q></r>", dump(t.doc));
    EXPECT_EQ("p:1-p:2", points(range));
    // Part of one text is fine.
    DOM_Range part = t.doc.createRange();
    part.setStart(t.hello, 0);
    part.setEnd(t.hello, 5);
    DOM_Node em = t.doc.createElement("em");
    part.surroundContents(em);
    EXPECT_EQ("<r><p><em>Hello</em> <s><b>bold</b></s> world</p><q>end</q></r>", dump(t.doc));
}

TEST(range, surround_contents_refusals)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 2);
    range.setEnd(t.bold, 2); // part of the element b
    DOM_Node s = t.doc.createElement("s");
    EXPECT_EQ(DOM_RangeException::BAD_BOUNDARYPOINTS_ERR, range_code([&] { range.surroundContents(s); }));
    range.setEnd(t.hello, 4);
    DOM_Node attr = t.doc.createAttribute("a");
    EXPECT_EQ(DOM_RangeException::INVALID_NODE_TYPE_ERR, range_code([&] { range.surroundContents(attr); }));
    Tree other;
    DOM_Node foreign = other.doc.createElement("f");
    EXPECT_EQ(DOM_DOMException::WRONG_DOCUMENT_ERR, dom_code([&] { range.surroundContents(foreign); }));
    DOM_Node null;
    range.surroundContents(null);
    EXPECT_EQ("<r><p>Hello <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
}

TEST(range, changes_through_a_range_reach_live_lists)
{
    Tree t;
    DOM_NodeList children = t.p.getChildNodes();
    EXPECT_EQ(3u, children.getLength());
    DOM_Range range = t.doc.createRange();
    range.selectNode(t.b);
    range.deleteContents();
    EXPECT_EQ(2u, children.getLength());
    DOM_Node i = t.doc.createElement("i");
    range.insertNode(i);
    EXPECT_EQ(3u, children.getLength());
    EXPECT_TRUE(children.item(1) == i);
    range.selectNodeContents(t.p);
    range.extractContents();
    EXPECT_EQ(0u, children.getLength());
}

// ---- copies, detach, null ------------------------------------------------------------------

TEST(range, clone_range_is_a_new_range_at_the_same_points)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 1);
    range.setEnd(t.b, 1);
    DOM_Range copy = range.cloneRange();
    EXPECT_TRUE(copy != range);
    EXPECT_EQ("'Hello ':1-b:1", points(copy));
    copy.collapse(true);
    EXPECT_EQ("'Hello ':1-b:1", points(range));
}

TEST(range, copies_of_the_handle_share_the_range)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    DOM_Range copy(range);
    DOM_Range assigned;
    assigned = range;
    EXPECT_TRUE(copy == range);
    EXPECT_FALSE(copy != range);
    EXPECT_TRUE(assigned == range);
    copy.selectNode(t.b);
    EXPECT_EQ("p:1-p:2", points(assigned));
    DOM_Range& same = (assigned = 0);
    EXPECT_EQ(&assigned, &same);
    EXPECT_TRUE(assigned == 0);
    EXPECT_TRUE(range != 0);
}

TEST(range, detach_ends_its_use)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.selectNode(t.b);
    DOM_Range copy = range;
    range.detach();
    // The plain accessors answer null and 0.
    EXPECT_TRUE(copy.getStartContainer() == 0);
    EXPECT_TRUE(copy.getEndContainer() == 0);
    EXPECT_EQ(0u, copy.getStartOffset());
    EXPECT_EQ(0u, copy.getEndOffset());
    const int invalid = DOM_DOMException::INVALID_STATE_ERR;
    EXPECT_EQ(invalid, dom_code([&] { copy.getCollapsed(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.getCommonAncestorContainer(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.setStart(t.p, 0); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.setEndAfter(t.p); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.collapse(true); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.selectNode(t.p); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.selectNodeContents(t.p); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.deleteContents(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.extractContents(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.cloneContents(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.cloneRange(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.toString(); }));
    EXPECT_EQ(invalid, dom_code([&] { copy.detach(); }));
    EXPECT_EQ("<r><p>Hello <b>bold</b> world</p><q>end</q></r>", dump(t.doc));
}

TEST(range, null_range_behaves_as_a_detached_one)
{
    DOM_Range range;
    EXPECT_TRUE(range == 0);
    EXPECT_FALSE(range != 0);
    EXPECT_TRUE(range == DOM_Range());
    EXPECT_TRUE(range.getStartContainer() == 0);
    EXPECT_EQ(0u, range.getEndOffset());
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([&] { range.getCollapsed(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([&] { range.toString(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([&] { range.detach(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, dom_code([] { DOM_Document().createRange(); }));
}

// ---- live ranges -------------------------------------------------------------------------------

TEST(range, follows_text_edits)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.world, 1);
    range.setEnd(t.world, 4);
    EXPECT_TRUE(range.toString().equals("wor"));
    // Text inserted after the start moves only the end.
    t.world.insertData(2, "XX");
    EXPECT_EQ("' wXXorld':1-' wXXorld':6", points(range));
    EXPECT_TRUE(range.toString().equals("wXXor"));
    // Text inserted before the start: Xerces-C 3.2 moves the start to the
    // insertion point instead of past the new text, so the range takes it in.
    t.world.insertData(0, "YY");
    EXPECT_EQ("'YY wXXorld':0-'YY wXXorld':8", points(range));
    // Deleted text: points past it move back by its length, points in it
    // move to where it was.
    t.world.deleteData(1, 4);
    EXPECT_EQ("'YXorld':0-'YXorld':4", points(range));
    EXPECT_TRUE(range.toString().equals("YXor"));
    t.world.appendData("!");
    EXPECT_EQ("'YXorld!':0-'YXorld!':4", points(range));
    // New data as a whole puts points in the text at its start.
    t.world.setData("ab");
    EXPECT_EQ("'ab':0-'ab':0", points(range));
    EXPECT_TRUE(range.toString().equals(""));
}

TEST(range, follows_node_removal_and_insertion)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.bold, 2);
    range.setEnd(t.r, 2);
    // The start's container leaves the tree: the start moves to where it was.
    t.p.removeChild(t.b);
    EXPECT_EQ("p:1-r:2", points(range));
    // A child inserted before an offset moves it.
    t.r.insertBefore(t.doc.createElement("z"), t.p);
    EXPECT_EQ("p:1-r:3", points(range));
    EXPECT_TRUE(range.toString().equals(" worldend"));
}

TEST(range, follows_split_text)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 1);
    range.setEnd(t.hello, 5);
    DOM_Text rest = t.hello.splitText(3);
    EXPECT_TRUE(rest.getData().equals("lo "));
    // The end, past the split, moves into the new node.
    EXPECT_EQ("'Hel':1-'lo ':2", points(range));
    EXPECT_TRUE(range.toString().equals("ello"));
}

// ---- documents ---------------------------------------------------------------------------------

TEST(range, keeps_its_document_alive_until_the_last_handle_goes)
{
    item_list(1);
    const std::size_t baseline = heap_in_use();
    std::size_t loaded = 0;
    DOM_Range range;
    {
        DOM_Document doc = item_list(20000);
        range = doc.createRange();
        range.selectNodeContents(doc.getDocumentElement().getLastChild());
        loaded = heap_in_use();
    }
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    EXPECT_TRUE(range.toString().equals("some text in an item"));
    DOM_Range clone = range.cloneRange();
    range = 0;
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    EXPECT_EQ("item", str(clone.getStartContainer().getNodeName()));
    clone = 0;
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

TEST(range, detached_range_still_keeps_its_document)
{
    DOM_Range range;
    {
        DOM_Document doc = item_list(3);
        range = doc.createRange();
    }
    range.detach();
    EXPECT_TRUE(range.getStartContainer() == 0);
    range = 0;
    SUCCEED(); // the sanitizer build checks the release
}

TEST(range, boundary_in_another_document_moves_the_range_there)
{
    Tree t;
    DOM_Range range = t.doc.createRange();
    range.setStart(t.hello, 1);
    range.setEnd(t.end, 1);
    {
        Tree other("<o><p>xyz</p></o>");
        range.setEnd(other.p.getFirstChild(), 2);
        EXPECT_EQ("'xyz':2-'xyz':2", points(range));
        range.setStart(other.p.getFirstChild(), 1);
    }
    // The range holds the other document now.
    EXPECT_EQ("'xyz':1-'xyz':2", points(range));
    EXPECT_TRUE(range.toString().equals("y"));
    EXPECT_EQ("o", str(range.getStartContainer().getOwnerDocument().getDocumentElement().getNodeName()));
    // Edits of the first document no longer move it; edits of its own do.
    t.hello.insertData(0, "abc");
    DOM_Text xyz = Tree::text_of(range.getStartContainer());
    xyz.deleteData(0, 1);
    EXPECT_EQ("'yz':0-'yz':1", points(range));
    EXPECT_TRUE(range.toString().equals("y"));
    // And back: a selection sets both points there.
    range.selectNode(t.b);
    EXPECT_EQ("p:1-p:2", points(range));
    // A refused boundary in another document leaves the range where it was.
    Tree third;
    EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, dom_code([&] { range.setStart(third.hello, 99); }));
    EXPECT_EQ("p:1-p:2", points(range));
    EXPECT_TRUE(range.getStartContainer().getOwnerDocument() == t.doc);
}

TEST(range, ranges_made_and_dropped_go_with_their_document)
{
    item_list(1);
    const std::size_t baseline = heap_in_use();
    {
        DOM_Document doc = item_list(10);
        DOM_Node item = doc.getDocumentElement().getFirstChild();
        for (int i = 0; i < 20000; ++i) {
            DOM_Range range = doc.createRange();
            range.selectNodeContents(item);
            EXPECT_TRUE(range.toString().equals("some text in an item"));
            range.cloneRange().detach();
        }
        // Released ranges are no longer the document's: edits go on.
        DOM_Text text = Tree::text_of(item.getFirstChild());
        text.deleteData(0, 5);
        EXPECT_TRUE(text.getData().equals("text in an item"));
    }
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

TEST(range, outlives_the_parser_that_built_its_document)
{
    DOM_Range range;
    {
        DOMParser parser;
        const std::string text = kDoc;
        xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
        parser.parse(source);
        range = parser.getDocument().createRange();
        range.selectNodeContents(parser.getDocument().getDocumentElement());
        // The parser lets go of that document at its next parse.
        parser.parse(source);
        EXPECT_TRUE(range.toString().equals("Hello bold worldend"));
    }
    EXPECT_TRUE(range.toString().equals("Hello bold worldend"));
    EXPECT_EQ("r", str(range.getStartContainer().getNodeName()));
}
