// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <string>
#include <type_traits>
#include <vector>

namespace {

DOM_Document parse(const std::string& text)
{
    DOMParser parser;
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}

// Every node type a parse makes below the document, and a doctype.
const char kMixed[] = "<!DOCTYPE r><r><a>t1<b/></a><!--c--><?p d?><c>t2<![CDATA[x]]></c></r>";

// The names an iterator yields from where it stands to its end.
std::string forward(DOM_NodeIterator it)
{
    std::string names;
    for (DOM_Node n = it.nextNode(); n != 0; n = it.nextNode())
        names += (names.empty() ? "" : " ") + str(n.getNodeName());
    return names;
}

std::string backward(DOM_NodeIterator it)
{
    std::string names;
    for (DOM_Node n = it.previousNode(); n != 0; n = it.previousNode())
        names += (names.empty() ? "" : " ") + str(n.getNodeName());
    return names;
}

std::string walk_forward(DOM_TreeWalker walker)
{
    std::string names;
    for (DOM_Node n = walker.nextNode(); n != 0; n = walker.nextNode())
        names += (names.empty() ? "" : " ") + str(n.getNodeName());
    return names;
}

std::string name_of(const DOM_Node& node)
{
    return node == 0 ? "(null)" : str(node.getNodeName());
}

// Hides the nodes of one name, with the answer given.
class HideByName : public DOM_NodeFilter {
public:
    HideByName(const char* name, short answer) : fName(name), fAnswer(answer) {}
    short acceptNode(const DOM_Node& node) const override
    {
        ++calls;
        return node.getNodeName().equals(fName) ? fAnswer : static_cast<short>(FILTER_ACCEPT);
    }
    mutable int calls = 0;

private:
    const char* fName;
    short fAnswer;
};

// Keeps the handles it is asked about.
class Recorder : public DOM_NodeFilter {
public:
    short acceptNode(const DOM_Node& node) const override
    {
        seen.push_back(node);
        return FILTER_ACCEPT;
    }
    mutable std::vector<DOM_Node> seen;
};

class Answer : public DOM_NodeFilter {
public:
    explicit Answer(short answer) : fAnswer(answer) {}
    short acceptNode(const DOM_Node&) const override { return fAnswer; }

private:
    short fAnswer;
};

class Throwing : public DOM_NodeFilter {
public:
    short acceptNode(const DOM_Node& node) const override
    {
        if (node.getNodeName().equals("b"))
            throw DOM_DOMException(DOM_DOMException::SYNTAX_ERR, DOMString("from the filter"));
        return FILTER_ACCEPT;
    }
};

short code_of(void (*call)())
{
    try {
        call();
    } catch (const DOM_DOMException& e) {
        return static_cast<short>(e.code);
    }
    return 0;
}


} // namespace

// ---- signatures and constants ---------------------------------------------------------

TEST(traversal, signatures_are_the_classic_ones)
{
    static_assert(std::is_same<decltype(&DOM_Document::createNodeIterator),
                               DOM_NodeIterator (DOM_Document::*)(DOM_Node, unsigned long, DOM_NodeFilter*, bool)>::value,
                  "");
    static_assert(std::is_same<decltype(&DOM_Document::createTreeWalker),
                               DOM_TreeWalker (DOM_Document::*)(DOM_Node, unsigned long, DOM_NodeFilter*, bool)>::value,
                  "");
    static_assert(std::is_same<decltype(&DOM_NodeFilter::acceptNode), short (DOM_NodeFilter::*)(const DOM_Node&) const>::value,
                  "");
    static_assert(std::is_abstract<DOM_NodeFilter>::value, "");
    static_assert(!std::is_copy_constructible<DOM_NodeFilter>::value, "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::getRoot), DOM_Node (DOM_NodeIterator::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::getWhatToShow), unsigned long (DOM_NodeIterator::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::getFilter), DOM_NodeFilter* (DOM_NodeIterator::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::getExpandEntityReferences), bool (DOM_NodeIterator::*)()>::value,
                  "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::nextNode), DOM_Node (DOM_NodeIterator::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::previousNode), DOM_Node (DOM_NodeIterator::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_NodeIterator::detach), void (DOM_NodeIterator::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::getRoot), DOM_Node (DOM_TreeWalker::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::getWhatToShow), unsigned long (DOM_TreeWalker::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::getFilter), DOM_NodeFilter* (DOM_TreeWalker::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::getExpandEntityReferences), bool (DOM_TreeWalker::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::getCurrentNode), DOM_Node (DOM_TreeWalker::*)()>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::setCurrentNode), void (DOM_TreeWalker::*)(DOM_Node)>::value, "");
    using Move = DOM_Node (DOM_TreeWalker::*)();
    static_assert(std::is_same<decltype(&DOM_TreeWalker::parentNode), Move>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::firstChild), Move>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::lastChild), Move>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::previousSibling), Move>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::nextSibling), Move>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::previousNode), Move>::value, "");
    static_assert(std::is_same<decltype(&DOM_TreeWalker::nextNode), Move>::value, "");
    // Handles are one pointer, as the classic ones were.
    static_assert(sizeof(DOM_NodeIterator) == sizeof(void*), "");
    static_assert(sizeof(DOM_TreeWalker) == sizeof(void*), "");
}

TEST(traversal, filter_constants_have_the_classic_values)
{
    EXPECT_EQ(1, DOM_NodeFilter::FILTER_ACCEPT);
    EXPECT_EQ(2, DOM_NodeFilter::FILTER_REJECT);
    EXPECT_EQ(3, DOM_NodeFilter::FILTER_SKIP);
    EXPECT_EQ(0x0000FFFFu, static_cast<unsigned>(DOM_NodeFilter::SHOW_ALL));
    const unsigned long bits[] = {
        DOM_NodeFilter::SHOW_ELEMENT,       DOM_NodeFilter::SHOW_ATTRIBUTE,
        DOM_NodeFilter::SHOW_TEXT,          DOM_NodeFilter::SHOW_CDATA_SECTION,
        DOM_NodeFilter::SHOW_ENTITY_REFERENCE, DOM_NodeFilter::SHOW_ENTITY,
        DOM_NodeFilter::SHOW_PROCESSING_INSTRUCTION, DOM_NodeFilter::SHOW_COMMENT,
        DOM_NodeFilter::SHOW_DOCUMENT,      DOM_NodeFilter::SHOW_DOCUMENT_TYPE,
        DOM_NodeFilter::SHOW_DOCUMENT_FRAGMENT, DOM_NodeFilter::SHOW_NOTATION};
    for (unsigned long i = 0; i < 12; ++i)
        EXPECT_EQ(1UL << i, bits[i]) << "node type " << i + 1;
}

// ---- DOM_NodeIterator ----------------------------------------------------------------

TEST(node_iterator, show_all_visits_every_node_in_document_order_from_the_root)
{
    DOM_Document doc = parse(kMixed);
    DOM_NodeIterator it = doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL, nullptr, true);
    EXPECT_EQ("#document r r a #text b #comment p c #text #cdata-section", forward(it));
    // Past the end it stays there.
    EXPECT_TRUE(it.nextNode() == 0);
}

TEST(node_iterator, previous_node_walks_back_to_the_root)
{
    DOM_Document doc = parse(kMixed);
    DOM_NodeIterator it = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ALL, nullptr, true);
    EXPECT_TRUE(it.previousNode() == 0); // before the first node
    EXPECT_EQ("r a #text b #comment p c #text #cdata-section", forward(it));
    EXPECT_EQ("#cdata-section #text c p #comment b #text a r", backward(it));
    EXPECT_EQ("r", name_of(it.nextNode()));
}

TEST(node_iterator, next_then_previous_returns_the_same_node)
{
    DOM_Document doc = parse(kMixed);
    DOM_NodeIterator it = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    EXPECT_EQ("r", name_of(it.nextNode()));
    EXPECT_EQ("a", name_of(it.nextNode()));
    EXPECT_EQ("a", name_of(it.previousNode()));
    EXPECT_EQ("r", name_of(it.previousNode()));
    EXPECT_EQ("r", name_of(it.nextNode()));
}

TEST(node_iterator, what_to_show_selects_node_types_by_bit)
{
    DOM_Document doc = parse(kMixed);
    struct Row {
        unsigned long show;
        const char* names;
    } rows[] = {
        {DOM_NodeFilter::SHOW_ELEMENT, "r a b c"},
        {DOM_NodeFilter::SHOW_TEXT, "#text #text"},
        {DOM_NodeFilter::SHOW_TEXT | DOM_NodeFilter::SHOW_CDATA_SECTION, "#text #text #cdata-section"},
        {DOM_NodeFilter::SHOW_COMMENT | DOM_NodeFilter::SHOW_PROCESSING_INSTRUCTION, "#comment p"},
        {DOM_NodeFilter::SHOW_DOCUMENT | DOM_NodeFilter::SHOW_DOCUMENT_TYPE, "#document r"},
        {DOM_NodeFilter::SHOW_ATTRIBUTE, ""},
        {0, ""},
        // Bits above the classic node types show nothing more.
        {0xFFFF0000UL | DOM_NodeFilter::SHOW_COMMENT, "#comment"},
    };
    for (const Row& row : rows) {
        DOM_NodeIterator it = doc.createNodeIterator(doc, row.show, nullptr, true);
        EXPECT_EQ(row.names, forward(it)) << std::hex << row.show;
        EXPECT_EQ(row.show, it.getWhatToShow());
    }
}

TEST(node_iterator, getters_answer_what_it_was_made_with)
{
    DOM_Document doc = parse(kMixed);
    HideByName filter("b", DOM_NodeFilter::FILTER_SKIP);
    DOM_Element root = doc.getDocumentElement();
    DOM_NodeIterator it = doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ALL, &filter, false);
    EXPECT_TRUE(it.getRoot() == root);
    EXPECT_EQ(0x0000FFFFUL, it.getWhatToShow());
    EXPECT_EQ(&filter, it.getFilter());
    EXPECT_FALSE(it.getExpandEntityReferences());
    DOM_NodeIterator plain = doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_TEXT, nullptr, true);
    EXPECT_TRUE(plain.getRoot() == doc);
    EXPECT_EQ(nullptr, plain.getFilter());
    EXPECT_TRUE(plain.getExpandEntityReferences());
}

TEST(node_iterator, filter_reject_counts_as_skip)
{
    DOM_Document doc = parse(kMixed);
    HideByName reject("a", DOM_NodeFilter::FILTER_REJECT);
    HideByName skip("a", DOM_NodeFilter::FILTER_SKIP);
    // The children of a rejected node are still visited.
    EXPECT_EQ("r b c", forward(doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ELEMENT, &reject, true)));
    EXPECT_EQ("r b c", forward(doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ELEMENT, &skip, true)));
}

TEST(node_iterator, filter_is_asked_only_about_shown_node_types)
{
    DOM_Document doc = parse(kMixed);
    HideByName none("none", DOM_NodeFilter::FILTER_SKIP);
    EXPECT_EQ("#comment", forward(doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_COMMENT, &none, true)));
    EXPECT_EQ(1, none.calls);
}

TEST(node_iterator, filter_gets_handles_on_the_tree_nodes)
{
    DOM_Document doc = parse("<r><a/>t</r>");
    Recorder recorder;
    DOM_NodeIterator it = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ALL, &recorder, true);
    EXPECT_EQ("r a #text", forward(it));
    ASSERT_EQ(3u, recorder.seen.size());
    DOM_Element root = doc.getDocumentElement();
    EXPECT_TRUE(recorder.seen[0] == root);
    EXPECT_TRUE(recorder.seen[1] == root.getFirstChild());
    EXPECT_TRUE(recorder.seen[2] == root.getLastChild());
    // The handles are full ones: they reach the document and its tree.
    EXPECT_TRUE(recorder.seen[2].getParentNode() == root);
    EXPECT_TRUE(recorder.seen[1].getOwnerDocument() == doc);
}

TEST(node_iterator, filter_answers_other_than_accept_or_reject_count_as_skip)
{
    DOM_Document doc = parse("<r><a/></r>");
    for (short answer : {short(0), short(3), short(4), short(-1), short(1000)}) {
        Answer filter(answer);
        EXPECT_EQ("", forward(doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL, &filter, true))) << answer;
    }
    Answer accept(DOM_NodeFilter::FILTER_ACCEPT);
    EXPECT_EQ("#document r a", forward(doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL, &accept, true)));
}

TEST(node_iterator, exception_from_the_filter_reaches_the_caller)
{
    DOM_Document doc = parse("<r><a/><b/><c/></r>");
    Throwing filter;
    DOM_NodeIterator it = doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ELEMENT, &filter, true);
    EXPECT_EQ("r", name_of(it.nextNode()));
    EXPECT_EQ("a", name_of(it.nextNode()));
    try {
        it.nextNode();
        FAIL() << "no exception";
    } catch (const DOM_DOMException& e) {
        EXPECT_EQ(DOM_DOMException::SYNTAX_ERR, e.code);
        EXPECT_TRUE(e.msg.equals("from the filter"));
    }
}

TEST(node_iterator, entity_reference_expansion_flag_decides_whether_it_enters_references)
{
    DOM_Document doc = parse("<!DOCTYPE r [<!ENTITY e '<x>t</x>'>]><r>&e;<y/></r>");
    DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("r e x #text y", forward(doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ALL, nullptr, true)));
    EXPECT_EQ("r e y", forward(doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ALL, nullptr, false)));
    // Hiding the reference but entering it shows its expansion in place.
    EXPECT_EQ("r x y", forward(doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ELEMENT, nullptr, true)));
}

TEST(node_iterator, attributes_are_not_visited)
{
    DOM_Document doc = parse("<r a='1' b='2'><c d='3'/></r>");
    EXPECT_EQ("r c", forward(doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL & ~DOM_NodeFilter::SHOW_DOCUMENT,
                                                    nullptr, true)));
}

TEST(node_iterator, detach_makes_moves_throw_invalid_state)
{
    DOM_Document doc = parse("<r><a/></r>");
    DOM_NodeIterator it = doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL, nullptr, true);
    EXPECT_EQ("#document", name_of(it.nextNode()));
    it.detach();
    for (int move = 0; move < 2; ++move) {
        try {
            move == 0 ? it.nextNode() : it.previousNode();
            FAIL() << "no exception";
        } catch (const DOM_DOMException& e) {
            EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, e.code);
        }
    }
    it.detach(); // again: nothing
    // The getters still answer.
    EXPECT_TRUE(it.getRoot() == doc);
    EXPECT_EQ(0x0000FFFFUL, it.getWhatToShow());
}

TEST(node_iterator, copies_share_one_position)
{
    DOM_Document doc = parse("<r><a/><b/></r>");
    DOM_NodeIterator it = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    DOM_NodeIterator copy(it);
    DOM_NodeIterator assigned;
    assigned = it;
    EXPECT_TRUE(copy == it);
    EXPECT_FALSE(copy != it);
    EXPECT_TRUE(assigned == it);
    EXPECT_EQ("r", name_of(it.nextNode()));
    EXPECT_EQ("a", name_of(copy.nextNode()));
    EXPECT_EQ("b", name_of(assigned.nextNode()));
    copy.detach();
    EXPECT_THROW(it.nextNode(), DOM_DOMException);
    // Another iterator over the same root is another iterator.
    DOM_NodeIterator other = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    EXPECT_TRUE(other != it);
    EXPECT_FALSE(other == it);
}

TEST(node_iterator, null_iterator)
{
    DOM_NodeIterator it;
    EXPECT_TRUE(it == 0);
    EXPECT_FALSE(it != 0);
    EXPECT_TRUE(it == DOM_NodeIterator());
    EXPECT_TRUE(it.getRoot() == 0);
    EXPECT_EQ(0UL, it.getWhatToShow());
    EXPECT_EQ(nullptr, it.getFilter());
    EXPECT_FALSE(it.getExpandEntityReferences());
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] { DOM_NodeIterator().nextNode(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] { DOM_NodeIterator().previousNode(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] { DOM_NodeIterator().detach(); }));
}

TEST(node_iterator, assigning_zero_makes_it_null)
{
    DOM_Document doc = parse("<r/>");
    DOM_NodeIterator it = doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL, nullptr, true);
    DOM_NodeIterator& same = (it = 0);
    EXPECT_EQ(&it, &same);
    EXPECT_TRUE(it == 0);
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] {
                  DOM_NodeIterator it2;
                  it2 = 0;
                  it2.nextNode();
              }));
}

TEST(node_iterator, null_root_is_taken_and_finds_nothing)
{
    DOM_Document doc = parse("<r/>");
    DOM_NodeIterator it = doc.createNodeIterator(DOM_Node(), DOM_NodeFilter::SHOW_ALL, nullptr, true);
    EXPECT_TRUE(it != 0);
    EXPECT_TRUE(it.getRoot() == 0);
    EXPECT_EQ(0x0000FFFFUL, it.getWhatToShow());
    EXPECT_TRUE(it.nextNode() == 0);
    EXPECT_TRUE(it.previousNode() == 0);
    it.detach();
    EXPECT_THROW(it.nextNode(), DOM_DOMException);
}

TEST(node_iterator, factory_on_a_null_document_throws_invalid_state)
{
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] {
                  DOM_Document().createNodeIterator(DOM_Node(), DOM_NodeFilter::SHOW_ALL, nullptr, true);
              }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] {
                  DOM_Document().createTreeWalker(DOM_Node(), DOM_NodeFilter::SHOW_ALL, nullptr, true);
              }));
}

TEST(node_iterator, follows_the_removal_of_its_reference_node)
{
    DOM_Document doc = parse("<r><a><a1/></a><b/><c/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_NodeIterator it = doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    EXPECT_EQ("r", name_of(it.nextNode()));
    EXPECT_EQ("a", name_of(it.nextNode()));
    EXPECT_EQ("a1", name_of(it.nextNode()));
    // The reference node a1 goes with its parent: the iterator steps back to
    // the node before them, so that the next node is b.
    root.removeChild(root.getFirstChild());
    EXPECT_EQ("b", name_of(it.nextNode()));
    EXPECT_EQ("c", name_of(it.nextNode()));
    EXPECT_TRUE(it.nextNode() == 0);
    EXPECT_EQ("c b r", backward(it));
}

TEST(node_iterator, sees_nodes_inserted_ahead_of_it)
{
    DOM_Document doc = parse("<r><a/><b/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_NodeIterator it = doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    EXPECT_EQ("r", name_of(it.nextNode()));
    EXPECT_EQ("a", name_of(it.nextNode()));
    root.appendChild(doc.createElement("z"));
    root.getFirstChild().appendChild(doc.createElement("a1"));
    EXPECT_EQ("a1 b z", forward(it));
}

TEST(node_iterator, every_iterator_of_a_document_follows_removals)
{
    DOM_Document doc = parse("<r><a/><b/></r>");
    DOM_Element root = doc.getDocumentElement();
    DOM_NodeIterator first = doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    DOM_NodeIterator second = doc.createNodeIterator(root, DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    for (DOM_NodeIterator* it : {&first, &second}) {
        it->nextNode();
        it->nextNode(); // a
    }
    root.removeChild(root.getFirstChild());
    EXPECT_EQ("b", forward(first));
    EXPECT_EQ("b", forward(second));
}

TEST(node_iterator, root_of_another_document_is_walked_and_kept_alive)
{
    DOM_Document doc = parse("<r/>");
    DOM_NodeIterator it;
    {
        DOM_Document other = parse("<o><p/></o>");
        it = doc.createNodeIterator(other.getDocumentElement(), DOM_NodeFilter::SHOW_ALL, nullptr, true);
    }
    EXPECT_EQ("o p", forward(it));
    EXPECT_EQ("o", str(it.getRoot().getOwnerDocument().getDocumentElement().getNodeName()));
}

TEST(node_iterator, keeps_its_document_alive_until_the_last_handle_goes)
{
    item_list(1);
    const std::size_t baseline = heap_in_use();
    std::size_t loaded = 0;
    DOM_NodeIterator it;
    {
        DOM_Document doc = item_list(20000);
        it = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
        loaded = heap_in_use();
    }
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    EXPECT_EQ("list", name_of(it.nextNode()));
    DOM_Node item = it.nextNode();
    EXPECT_EQ("item", name_of(item));
    DOM_NodeIterator copy = it;
    it = 0;
    EXPECT_EQ("item", name_of(copy.nextNode()));
    copy = 0;
    // The node handle alone holds the document now.
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    item = 0;
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

TEST(node_iterator, iterators_made_and_dropped_go_with_their_document)
{
    item_list(1);
    const std::size_t baseline = heap_in_use();
    {
        DOM_Document doc = item_list(10);
        HideByName filter("item", DOM_NodeFilter::FILTER_SKIP);
        for (int i = 0; i < 20000; ++i) {
            DOM_NodeIterator it = doc.createNodeIterator(doc, DOM_NodeFilter::SHOW_ALL, &filter, true);
            it.nextNode();
            it.nextNode();
        }
        // Released iterators are no longer the document's: removals go on.
        DOM_Element root = doc.getDocumentElement();
        root.removeChild(root.getFirstChild());
        EXPECT_EQ(9u, root.getChildNodes().getLength());
    }
    // Xerces-C keeps what an iterator took in its document's own heap, so
    // the memory comes back with the document.
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

// ---- DOM_TreeWalker ------------------------------------------------------------------------

namespace {

// r
// +- a
// |  +- a1
// |  +- a2
// +- b
// +- c
//    +- c1
const char kTree[] = "<r><a><a1/><a2/></a><b/><c><c1/></c></r>";

DOM_TreeWalker elements(DOM_Document& doc, DOM_NodeFilter* filter = nullptr)
{
    return doc.createTreeWalker(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ELEMENT, filter, true);
}

} // namespace

TEST(tree_walker, starts_at_the_root_and_answers_what_it_was_made_with)
{
    DOM_Document doc = parse(kTree);
    HideByName filter("x", DOM_NodeFilter::FILTER_SKIP);
    DOM_TreeWalker walker = doc.createTreeWalker(doc.getDocumentElement(), DOM_NodeFilter::SHOW_TEXT, &filter, false);
    EXPECT_TRUE(walker.getRoot() == doc.getDocumentElement());
    EXPECT_TRUE(walker.getCurrentNode() == doc.getDocumentElement());
    EXPECT_EQ(static_cast<unsigned long>(DOM_NodeFilter::SHOW_TEXT), walker.getWhatToShow());
    EXPECT_EQ(&filter, walker.getFilter());
    EXPECT_FALSE(walker.getExpandEntityReferences());
    EXPECT_TRUE(doc.createTreeWalker(doc, DOM_NodeFilter::SHOW_ALL, nullptr, true).getExpandEntityReferences());
}

TEST(tree_walker, next_and_previous_node_go_in_document_order_within_the_root)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    EXPECT_EQ("a a1 a2 b c c1", walk_forward(walker));
    // At the end it stays on the last node.
    EXPECT_EQ("c1", name_of(walker.getCurrentNode()));
    std::string back;
    for (DOM_Node n = walker.previousNode(); n != 0; n = walker.previousNode())
        back += str(n.getNodeName()) + " ";
    EXPECT_EQ("c b a2 a1 a r ", back);
    EXPECT_EQ("r", name_of(walker.getCurrentNode()));
}

TEST(tree_walker, children_and_siblings)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    EXPECT_EQ("a", name_of(walker.firstChild()));
    EXPECT_EQ("a1", name_of(walker.firstChild()));
    EXPECT_EQ("(null)", name_of(walker.firstChild())); // a1 has no children
    EXPECT_EQ("a1", name_of(walker.getCurrentNode()));
    EXPECT_EQ("(null)", name_of(walker.previousSibling()));
    EXPECT_EQ("a2", name_of(walker.nextSibling()));
    EXPECT_EQ("(null)", name_of(walker.nextSibling()));
    EXPECT_EQ("a2", name_of(walker.getCurrentNode()));
    EXPECT_EQ("a1", name_of(walker.previousSibling()));
    EXPECT_EQ("a", name_of(walker.parentNode()));
    EXPECT_EQ("b", name_of(walker.nextSibling()));
    EXPECT_EQ("a", name_of(walker.previousSibling()));
    EXPECT_EQ("r", name_of(walker.parentNode()));
    EXPECT_EQ("c", name_of(walker.lastChild()));
    EXPECT_EQ("c1", name_of(walker.lastChild()));
    EXPECT_EQ("(null)", name_of(walker.lastChild()));
    EXPECT_EQ("c1", name_of(walker.getCurrentNode()));
}

TEST(tree_walker, parent_node_stops_at_the_root)
{
    DOM_Document doc = parse(kTree);
    DOM_Node a = doc.getDocumentElement().getFirstChild();
    DOM_TreeWalker walker = doc.createTreeWalker(a, DOM_NodeFilter::SHOW_ELEMENT, nullptr, true);
    EXPECT_EQ("a1", name_of(walker.firstChild()));
    EXPECT_EQ("a", name_of(walker.parentNode()));
    EXPECT_EQ("(null)", name_of(walker.parentNode()));
    EXPECT_EQ("a", name_of(walker.getCurrentNode()));
    // Siblings of the root are outside its view.
    EXPECT_EQ("(null)", name_of(walker.nextSibling()));
    EXPECT_EQ("a1 a2", walk_forward(walker));
}

TEST(tree_walker, parent_node_skips_hidden_ancestors)
{
    DOM_Document doc = parse("<r><a>t</a></r>");
    DOM_TreeWalker walker =
        doc.createTreeWalker(doc, DOM_NodeFilter::SHOW_TEXT | DOM_NodeFilter::SHOW_DOCUMENT, nullptr, true);
    EXPECT_EQ("#text", name_of(walker.nextNode()));
    EXPECT_EQ("#document", name_of(walker.parentNode()));
}

TEST(tree_walker, reject_hides_the_subtree_and_skip_only_the_node)
{
    DOM_Document doc = parse(kTree);
    HideByName reject("a", DOM_NodeFilter::FILTER_REJECT);
    HideByName skip("a", DOM_NodeFilter::FILTER_SKIP);
    EXPECT_EQ("b c c1", walk_forward(elements(doc, &reject)));
    EXPECT_EQ("a1 a2 b c c1", walk_forward(elements(doc, &skip)));
    // With a skipped, its children are children of r in the walker's view.
    DOM_TreeWalker walker = elements(doc, &skip);
    EXPECT_EQ("a1", name_of(walker.firstChild()));
    EXPECT_EQ("r", name_of(walker.parentNode()));
    EXPECT_EQ("a1", name_of(walker.firstChild()));
    EXPECT_EQ("a2", name_of(walker.nextSibling()));
    EXPECT_EQ("b", name_of(walker.nextSibling()));
}

TEST(tree_walker, set_current_node_moves_anywhere)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    DOM_Node c = doc.getDocumentElement().getLastChild();
    walker.setCurrentNode(c);
    EXPECT_TRUE(walker.getCurrentNode() == c);
    EXPECT_EQ("c1", name_of(walker.nextNode()));
    // A node the view hides: the walk goes on from there.
    DOM_Document text = parse("<r><a>t</a><b/></r>");
    DOM_TreeWalker w2 = elements(text);
    DOM_Node t = text.getDocumentElement().getFirstChild().getFirstChild();
    w2.setCurrentNode(t);
    EXPECT_TRUE(w2.getCurrentNode() == t);
    EXPECT_EQ("b", name_of(w2.nextNode()));
}

TEST(tree_walker, set_current_node_takes_the_null_node)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    EXPECT_EQ("a", name_of(walker.firstChild()));
    walker.setCurrentNode(DOM_Node());
    EXPECT_TRUE(walker.getCurrentNode() == 0);
    EXPECT_TRUE(walker.nextNode() == 0);
    EXPECT_TRUE(walker.previousNode() == 0);
    EXPECT_TRUE(walker.parentNode() == 0);
    EXPECT_TRUE(walker.firstChild() == 0);
    EXPECT_TRUE(walker.lastChild() == 0);
    EXPECT_TRUE(walker.nextSibling() == 0);
    EXPECT_TRUE(walker.previousSibling() == 0);
    EXPECT_TRUE(walker.getCurrentNode() == 0);
    walker.setCurrentNode(doc.getDocumentElement());
    EXPECT_EQ("a", name_of(walker.nextNode()));
}

TEST(tree_walker, current_node_of_another_document_keeps_it_alive)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    Recorder recorder;
    DOM_TreeWalker recorded = doc.createTreeWalker(doc, DOM_NodeFilter::SHOW_ALL, &recorder, true);
    {
        DOM_Document other = parse("<o><p><q/></p></o>");
        walker.setCurrentNode(other.getDocumentElement());
        recorded.setCurrentNode(other.getDocumentElement().getFirstChild());
    }
    EXPECT_EQ("p", name_of(walker.firstChild()));
    EXPECT_EQ("o", str(walker.getCurrentNode().getOwnerDocument().getDocumentElement().getNodeName()));
    EXPECT_EQ("q", name_of(recorded.nextNode()));
    // The filter got a handle that keeps that document too.
    ASSERT_EQ(1u, recorder.seen.size());
    DOM_Node q = recorder.seen[0];
    walker = 0;
    recorded = 0;
    recorder.seen.clear();
    EXPECT_EQ("p", name_of(q.getParentNode()));
    EXPECT_EQ("o", str(q.getOwnerDocument().getDocumentElement().getNodeName()));
}

TEST(tree_walker, entity_reference_expansion_flag)
{
    DOM_Document doc = parse("<!DOCTYPE r [<!ENTITY e '<x>t</x>'>]><r>&e;<y/></r>");
    DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("e x #text y", walk_forward(doc.createTreeWalker(root, DOM_NodeFilter::SHOW_ALL, nullptr, true)));
    EXPECT_EQ("e y", walk_forward(doc.createTreeWalker(root, DOM_NodeFilter::SHOW_ALL, nullptr, false)));
}

TEST(tree_walker, copies_share_one_current_node)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    DOM_TreeWalker copy(walker);
    DOM_TreeWalker assigned;
    assigned = walker;
    EXPECT_TRUE(copy == walker);
    EXPECT_TRUE(assigned == walker);
    EXPECT_FALSE(assigned != walker);
    EXPECT_EQ("a", name_of(walker.nextNode()));
    EXPECT_EQ("a1", name_of(copy.nextNode()));
    EXPECT_EQ("a1", name_of(assigned.getCurrentNode()));
    EXPECT_TRUE(elements(doc) != walker);
}

TEST(tree_walker, null_walker)
{
    DOM_TreeWalker walker;
    EXPECT_TRUE(walker == 0);
    EXPECT_FALSE(walker != 0);
    EXPECT_TRUE(walker.getRoot() == 0);
    EXPECT_TRUE(walker.getCurrentNode() == 0);
    EXPECT_EQ(0UL, walker.getWhatToShow());
    EXPECT_EQ(nullptr, walker.getFilter());
    EXPECT_FALSE(walker.getExpandEntityReferences());
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] { DOM_TreeWalker().nextNode(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] { DOM_TreeWalker().parentNode(); }));
    EXPECT_EQ(DOM_DOMException::INVALID_STATE_ERR, code_of([] { DOM_TreeWalker().setCurrentNode(DOM_Node()); }));
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker made = elements(doc);
    made = 0;
    EXPECT_TRUE(made == 0);
}

TEST(tree_walker, null_root_is_taken_and_moves_nowhere)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = doc.createTreeWalker(DOM_Node(), DOM_NodeFilter::SHOW_ALL, nullptr, true);
    EXPECT_TRUE(walker != 0);
    EXPECT_TRUE(walker.getRoot() == 0);
    EXPECT_TRUE(walker.getCurrentNode() == 0);
    EXPECT_TRUE(walker.nextNode() == 0);
    EXPECT_TRUE(walker.firstChild() == 0);
    DOM_Node root = doc.getDocumentElement();
    walker.setCurrentNode(root);
    EXPECT_TRUE(walker.getCurrentNode() == root);
    EXPECT_TRUE(walker.nextNode() == 0);
}

TEST(tree_walker, follows_nodes_added_and_removed)
{
    DOM_Document doc = parse(kTree);
    DOM_TreeWalker walker = elements(doc);
    EXPECT_EQ("a", name_of(walker.firstChild()));
    DOM_Node root = doc.getDocumentElement();
    root.removeChild(root.getLastChild()); // c
    root.appendChild(doc.createElement("d"));
    EXPECT_EQ("b", name_of(walker.nextSibling()));
    EXPECT_EQ("d", name_of(walker.nextSibling()));
    EXPECT_TRUE(walker.nextSibling() == 0);
}

TEST(tree_walker, keeps_its_document_alive_until_the_last_handle_goes)
{
    item_list(1);
    const std::size_t baseline = heap_in_use();
    std::size_t loaded = 0;
    DOM_TreeWalker walker;
    {
        DOM_Document doc = item_list(20000);
        walker = doc.createTreeWalker(doc, DOM_NodeFilter::SHOW_ALL, nullptr, true);
        loaded = heap_in_use();
    }
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    EXPECT_EQ("list", name_of(walker.firstChild()));
    EXPECT_EQ("item", name_of(walker.lastChild()));
    walker = 0;
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

TEST(tree_walker, walkers_made_and_dropped_go_with_their_document)
{
    item_list(1);
    const std::size_t baseline = heap_in_use();
    {
        DOM_Document doc = item_list(10);
        HideByName filter("item", DOM_NodeFilter::FILTER_REJECT);
        for (int i = 0; i < 20000; ++i) {
            DOM_TreeWalker walker = doc.createTreeWalker(doc, DOM_NodeFilter::SHOW_ALL, &filter, true);
            EXPECT_EQ("list", name_of(walker.nextNode()));
            EXPECT_TRUE(walker.lastChild() == 0);
        }
    }
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

TEST(tree_walker, filter_gets_handles_and_walker_outlives_the_parser)
{
    Recorder recorder;
    DOM_TreeWalker walker;
    {
        DOMParser parser;
        const std::string text = "<r><a/>t</r>";
        xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
        parser.parse(source);
        DOM_Document doc = parser.getDocument();
        walker = doc.createTreeWalker(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ALL, &recorder, true);
        parser.reset();
    }
    EXPECT_EQ("a #text", walk_forward(walker));
    // Asked about a, then the text; the last move asks again on its way.
    ASSERT_LE(2u, recorder.seen.size());
    EXPECT_EQ("a", name_of(recorder.seen[0]));
    EXPECT_TRUE(recorder.seen[0].getParentNode() == walker.getRoot());
    EXPECT_TRUE(recorder.seen[1] == walker.getCurrentNode());
    walker = 0;
    // The handles the filter kept hold the document on their own.
    EXPECT_EQ("r", str(recorder.seen[1].getParentNode().getNodeName()));
}
