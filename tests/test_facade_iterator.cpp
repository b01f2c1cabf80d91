// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

const std::string kDeclaration = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";
const char* const kSaveEmpty = "cXML_Utility::SaveToStream(): cannot save an empty class!";

// A parsed document the test can change and inspect through its own handles,
// with facades that stand on its root.
struct Tree {
    explicit Tree(const std::string& xml) : doc(parse_text(xml)), root(doc.getDocumentElement()) {}

    cXML_Utility facade(unsigned int mode = 0) const
    {
        return cXML_Utility(new cXML_UtilityData(mode, 0, root, doc, std::deque<DOM_Node>()));
    }

    DOM_Node child(unsigned index) const
    {
        DOM_Node node = root.getFirstChild();
        for (unsigned i = 0; i < index && !node.isNull(); ++i)
            node = node.getNextSibling();
        EXPECT_FALSE(node.isNull()) << "no child " << index;
        return node;
    }

    DOM_Element element_with_id(const std::string& name, const std::string& id)
    {
        DOM_Element e = doc.createElement(name.c_str());
        e.setAttribute("id", id.c_str());
        return e;
    }

    DOM_Document doc;
    DOM_Element root;
};

cXML_Utility parsed(const std::string& text)
{
    cXML_Utility xml(0);
    EXPECT_TRUE(xml.Parse(text.data(), static_cast<unsigned int>(text.size())));
    return xml;
}

std::string saved(cXML_Utility& xml)
{
    std::ostringstream out;
    xml.SaveToStream(out);
    return out.str();
}

// The id attribute of the facade's node, or its name when it has none.
std::string label(cXML_Utility& xml)
{
    std::string id;
    return xml.ReadNodeAttribute("id", id, "") ? id : xml.GetNodeName();
}

// Walks `it` to its end and lists what it handed out.
std::string walk(cXMLiterator& it)
{
    std::string out;
    for (int guard = 0; !it.end() && guard < 100; ++guard, ++it) {
        cXML_Utility child = *it;
        out += (out.empty() ? "" : ",") + label(child);
    }
    return out;
}

std::string walk(cXML_Utility& xml, const std::string& name)
{
    cXMLiterator it = xml.CreateIterator(name);
    return walk(it);
}

// Expects `xml` to be an empty facade, as handed out at the end.
void expect_empty(cXML_Utility xml)
{
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException, kSaveEmpty);
    EXPECT_TRUE(xml == cXML_Utility());
}

const char* const kNames = "<p><a id='1'/><A id='2'/><ab id='3'/><b id='4'><a id='5'/></b>t<a id='6'/><!--a--></p>";

} // namespace

// ---- Which children are visited ------------------------------------------------------

TEST(facade_iterator, node_without_children_gives_an_ended_iterator)
{
    cXML_Utility xml = parsed("<p/>");

    for (const char* name : {"a", ""}) {
        SCOPED_TRACE(name);
        cXMLiterator it = xml.CreateIterator(name);
        cXMLiterator& same = it;
        EXPECT_TRUE(it.end());
        expect_empty(*it);
        EXPECT_TRUE(it == same);
        EXPECT_FALSE(it != same);
    }
}

TEST(facade_iterator, names_match_exactly_and_only_direct_children)
{
    struct Row {
        const char* name;
        const char* visited;
    };
    const Row rows[] = {
        {"a", "1,6"}, {"A", "2"}, {"ab", "3"}, {"b", "4"}, {"abc", ""},
        {"B", ""}, {"*", ""}, {"p", ""}, {"", "1,2,3,4,6"}, {"#comment", ""},
    };
    cXML_Utility xml = parsed(kNames);

    for (const Row& row : rows) {
        SCOPED_TRACE(std::string("name '") + row.name + "'");
        EXPECT_EQ(row.visited, walk(xml, row.name));
    }
}

TEST(facade_iterator, names_are_compared_as_8_bit_text)
{
    // The source is UTF-8; names reach the iterator in ISO-8859-1, and a
    // character beyond it as '?'.
    cXML_Utility xml = parsed("<p><\xC3\xA4 id='1'/><a id='2'/><\xE4\xB8\x80 id='3'/><x\xC3\xA4 id='4'/></p>");
    struct Row {
        const char* name;
        const char* visited;
    };
    const Row rows[] = {
        {"\xE4", "1"}, {"\xC3\xA4", ""}, {"?", "3"}, {"x\xE4", "4"}, {"x", ""}, {"", "1,2,3,4"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.visited);
        EXPECT_EQ(row.visited, walk(xml, row.name));
    }
}

TEST(facade_iterator, empty_name_visits_elements_processing_instructions_and_entity_references)
{
    cXML_Utility xml = parsed("<!DOCTYPE p [<!ENTITY e 'x'>]>"
                              "<p>t<a/><?pi data?>\n<!--c--><![CDATA[cd]]>&e;  <b/>tail</p>");

    EXPECT_EQ("a,pi,e,b", walk(xml, ""));
}

TEST(facade_iterator, processing_instruction_whose_target_is_the_name_is_visited)
{
    cXML_Utility xml = parsed("<p><a id='1'/><?a data?><?b data?><a id='2'/></p>");

    EXPECT_EQ("1,a,2", walk(xml, "a"));
    EXPECT_EQ("b", walk(xml, "b"));
}

TEST(facade_iterator, names_beginning_with_hash_give_an_ended_iterator)
{
    cXML_Utility xml = parsed("<p>text<!--c--><![CDATA[cd]]><a/>more</p>");

    for (const char* name : {"#text", "#comment", "#cdata-section", "#", "#a"}) {
        SCOPED_TRACE(name);
        cXMLiterator it = xml.CreateIterator(name);
        EXPECT_TRUE(it.end());
        expect_empty(*it);
    }
}

TEST(facade_iterator, only_whitespace_and_comments_give_an_ended_wildcard_iterator)
{
    cXML_Utility xml = parsed("<p>\n  <!--c-->\n  <![CDATA[x]]>\n</p>");
    cXMLiterator it = xml.CreateIterator("");

    EXPECT_TRUE(it.end());
}

TEST(facade_iterator, constructor_walks_like_create_iterator)
{
    cXML_Utility xml = parsed(kNames);
    cXMLiterator it(xml, "a");

    EXPECT_EQ("1,6", walk(it));
}

TEST(facade_iterator, usual_loop_reads_each_child)
{
    cXML_Utility xml = parsed("<list><item>1</item><other>10</other><item>2</item><item> 3 </item></list>");
    std::string all;

    for (cXMLiterator it = xml.CreateIterator("item"); !it.end(); ++it) {
        std::string value;
        EXPECT_TRUE((*it).ReadNodeData(value, "none"));
        all += "[" + value + "]";
    }
    EXPECT_EQ("[1][2][ 3 ]", all);
}

TEST(facade_iterator, iterators_nest_through_the_facades_they_hand_out)
{
    cXML_Utility xml = parsed("<r><s id='1'><k>a</k><k>b</k></s><x/><s id='2'><k>c</k></s><s id='3'/></r>");
    std::string out;

    for (cXMLiterator s = xml.CreateIterator("s"); !s.end(); ++s) {
        cXML_Utility section = *s;
        out += label(section) + ":";
        for (cXMLiterator k = section.CreateIterator("k"); !k.end(); ++k) {
            std::string value;
            (*k).ReadNodeData(value, "?");
            out += value;
        }
        out += ";";
    }
    EXPECT_EQ("1:ab;2:c;3:;", out);
}

// ---- Moving ------------------------------------------------------------------------

TEST(facade_iterator, postfix_increment_returns_the_old_position)
{
    cXML_Utility xml = parsed(kNames);
    cXMLiterator it = xml.CreateIterator("a");

    cXMLiterator old = it++;
    cXML_Utility was = *old;
    cXML_Utility now = *it;
    EXPECT_EQ("1", label(was));
    EXPECT_EQ("6", label(now));

    cXMLiterator last = it++;
    cXML_Utility last_child = *last;
    EXPECT_EQ("6", label(last_child));
    EXPECT_FALSE(last.end());
    EXPECT_TRUE(it.end());
}

TEST(facade_iterator, increment_past_the_end_never_throws)
{
    cXML_Utility xml = parsed("<p><a/></p>");
    cXMLiterator it = xml.CreateIterator("a");
    ASSERT_FALSE(it.end());

    for (int i = 0; i < 4; ++i) {
        EXPECT_NO_THROW(++it);
        EXPECT_TRUE(it.end());
        EXPECT_NO_THROW(it++);
        EXPECT_TRUE(it.end());
    }
    expect_empty(*it);
}

TEST(facade_iterator, postfix_increment_at_the_end_returns_an_ended_iterator)
{
    cXML_Utility xml = parsed("<p/>");
    cXMLiterator it = xml.CreateIterator("a");

    cXMLiterator old = it++;
    EXPECT_TRUE(old.end());
    EXPECT_TRUE(it.end());
}

TEST(facade_iterator, find_next_node_keeps_a_matching_position)
{
    cXML_Utility xml = parsed(kNames);
    cXMLiterator it = xml.CreateIterator("a");

    it.FindNextNode();
    cXML_Utility first = *it;
    EXPECT_EQ("1", label(first));

    ++it;
    ++it;
    ASSERT_TRUE(it.end());
    it.FindNextNode();
    EXPECT_TRUE(it.end());
}

TEST(facade_iterator, end_is_usable_on_a_const_iterator)
{
    cXML_Utility xml = parsed("<p><a/></p>");
    cXMLiterator it = xml.CreateIterator("a");
    const cXMLiterator& c = it;

    EXPECT_FALSE(c.end());
    ++it;
    EXPECT_TRUE(c.end());
}

// ---- Copies ----------------------------------------------------------------------

TEST(facade_iterator, copy_constructed_iterator_moves_independently)
{
    cXML_Utility xml = parsed(kNames);
    cXMLiterator it = xml.CreateIterator("a");

    cXMLiterator copy(it);
    ++copy;
    cXML_Utility at_original = *it;
    cXML_Utility at_copy = *copy;
    EXPECT_EQ("1", label(at_original));
    EXPECT_EQ("6", label(at_copy));

    cXMLiterator second(copy);
    ++copy;
    EXPECT_TRUE(copy.end());
    EXPECT_FALSE(second.end());
    EXPECT_EQ("6", walk(second));
    EXPECT_EQ("1,6", walk(it));
}

TEST(facade_iterator, copy_of_an_ended_iterator_is_ended)
{
    cXML_Utility xml = parsed("<p/>");
    cXMLiterator it = xml.CreateIterator("a");
    cXMLiterator copy(it);

    EXPECT_TRUE(copy.end());
    EXPECT_TRUE(copy == it);
}

TEST(facade_iterator, assignment_takes_position_and_name)
{
    cXML_Utility xml = parsed(kNames);
    cXMLiterator a = xml.CreateIterator("a");
    cXMLiterator b = xml.CreateIterator("b");
    ++a;

    b = a;
    cXML_Utility at_b = *b;
    EXPECT_EQ("6", label(at_b));
    ++b;
    EXPECT_TRUE(b.end());
    // b moved without a.
    cXML_Utility at_a = *a;
    EXPECT_EQ("6", label(at_a));

    cXMLiterator& same = a;
    a = same;
    EXPECT_EQ("6", walk(a));
}

TEST(facade_iterator, assignment_across_documents_takes_the_other_list)
{
    cXML_Utility first = parsed("<p><a id='1'/><a id='2'/></p>");
    cXML_Utility second = parsed("<q><a id='x'/><a id='y'/><a id='z'/></q>");
    cXMLiterator it = first.CreateIterator("a");
    cXMLiterator other = second.CreateIterator("a");
    ++other;

    it = other;
    EXPECT_EQ("y,z", walk(it));
}

// ---- Equality --------------------------------------------------------------------

TEST(facade_iterator, ended_iterators_compare_equal)
{
    cXML_Utility first = parsed("<p><a/></p>");
    cXML_Utility second = parsed("<q><b/><b/></q>");
    cXMLiterator none = first.CreateIterator("none");
    cXMLiterator walked = first.CreateIterator("a");
    ++walked;
    cXMLiterator other_document = second.CreateIterator("b");
    ++other_document;
    ++other_document;
    cXMLiterator hashed = second.CreateIterator("#text");
    std::vector<cXMLiterator*> ended = {&none, &walked, &other_document, &hashed};

    for (std::size_t i = 0; i < ended.size(); ++i) {
        for (std::size_t j = 0; j < ended.size(); ++j) {
            SCOPED_TRACE(std::to_string(i) + " vs " + std::to_string(j));
            ASSERT_TRUE(ended[i]->end());
            EXPECT_TRUE(*ended[i] == *ended[j]);
            EXPECT_FALSE(*ended[i] != *ended[j]);
        }
    }
}

TEST(facade_iterator, iterator_on_a_child_is_unequal_to_every_iterator)
{
    cXML_Utility xml = parsed("<p><a id='1'/><a id='2'/></p>");
    cXMLiterator it = xml.CreateIterator("a");
    cXMLiterator& same = it;
    cXMLiterator copy(it);
    cXMLiterator twin = xml.CreateIterator("a");
    cXMLiterator wildcard = xml.CreateIterator("");
    cXMLiterator ended = xml.CreateIterator("none");
    std::vector<std::pair<const char*, cXMLiterator*>> others = {
        {"itself", &same}, {"its copy", &copy}, {"another on the same child", &twin},
        {"another name, same child", &wildcard}, {"an ended one", &ended},
    };

    for (auto& other : others) {
        SCOPED_TRACE(other.first);
        EXPECT_FALSE(it == *other.second);
        EXPECT_TRUE(it != *other.second);
        EXPECT_FALSE(*other.second == it);
        EXPECT_TRUE(*other.second != it);
    }
}

TEST(facade_iterator, equality_changes_when_the_walk_ends)
{
    cXML_Utility xml = parsed("<p><a/></p>");
    cXMLiterator it = xml.CreateIterator("a");
    cXMLiterator ended = xml.CreateIterator("none");

    EXPECT_TRUE(it != ended);
    ++it;
    EXPECT_TRUE(it == ended);
    EXPECT_FALSE(it != ended);
}

// ---- What operator* and operator-> hand out ----------------------------------------

TEST(facade_iterator, arrow_returns_a_null_pointer)
{
    cXML_Utility xml = parsed("<p><a/></p>");
    cXMLiterator it = xml.CreateIterator("a");

    ASSERT_FALSE(it.end());
    // The operator is deprecated for this very reason; its value is tested.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    EXPECT_TRUE(it.operator->() == nullptr);
    ++it;
    EXPECT_TRUE(it.operator->() == nullptr);
#pragma GCC diagnostic pop
}

TEST(facade_iterator, record_of_a_dereference_has_parse_mode_and_the_iterator_flag)
{
    Tree t("<p>x<a id='1'/><a id='2'/></p>");
    cXML_Utility source = t.facade(1);
    cXMLiterator it = source.CreateIterator("a");
    ++it;

    cXML_UtilityData* record = it.MakeXML_UtilityData();
    cXML_Utility owner(record);
    ASSERT_TRUE(record != nullptr);
    EXPECT_EQ(0u, record->uiMode);
    EXPECT_EQ(1, record->bFromIterator);
    EXPECT_TRUE(record->ActiveNode == t.child(2));
    EXPECT_TRUE(record->Document == t.doc);
    EXPECT_TRUE(record->NodeStack.empty());
}

TEST(facade_iterator, create_xml_utility_stands_on_the_child_or_is_empty)
{
    cXML_Utility xml = parsed("<p><a id='1'/></p>");
    cXMLiterator it = xml.CreateIterator("a");

    cXML_Utility child = it.CreateXML_Utility();
    EXPECT_EQ("1", label(child));
    ++it;
    expect_empty(it.CreateXML_Utility());
}

TEST(facade_iterator, dereferenced_facade_refuses_create_document)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("root"));
    xml.SaveNodeData("a", "1");
    cXMLiterator it = xml.CreateIterator("a");
    ASSERT_FALSE(it.end());

    cXML_Utility child = *it;
    EXPECT_FALSE(child.CreateDocument("other"));
    EXPECT_EQ("a", child.GetNodeName());
    EXPECT_EQ(kDeclaration + "<root>\n    <a>1</a>\n</root>\n", saved(child));
}

TEST(facade_iterator, dereferenced_facade_starts_with_an_empty_stack)
{
    cXML_Utility xml = parsed("<p><s><k/></s></p>");
    ASSERT_TRUE(xml.ActivateNode("s"));
    cXMLiterator it = xml.CreateIterator("k");

    cXML_Utility child = *it;
    EXPECT_FALSE(child.DeactivateNode());
    EXPECT_EQ("k", child.GetNodeName());
}

TEST(facade_iterator, parse_on_a_dereferenced_facade_starts_from_a_fresh_record)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("root"));
    xml.CreateAndActivateNewElement("a");
    xml.SaveNodeData("inner", "x");
    ASSERT_TRUE(xml.DeactivateNode());
    cXMLiterator it = xml.CreateIterator("a");
    cXML_Utility child = *it;
    ASSERT_TRUE(child.ActivateNode("inner"));
    const std::string second = "<second><y/></second>";
    const std::string third = "<third/>";

    // Mode 0 although the source creates; the entry pushed above is dropped.
    ASSERT_TRUE(child.Parse(second.data(), static_cast<unsigned int>(second.size())));
    EXPECT_EQ("second", child.GetNodeName());
    EXPECT_FALSE(child.DeactivateNode());

    // The rebuilt record no longer comes from an iterator: a second parse keeps the stack.
    ASSERT_TRUE(child.ActivateNode("y"));
    ASSERT_TRUE(child.Parse(third.data(), static_cast<unsigned int>(third.size())));
    EXPECT_EQ("third", child.GetNodeName());
    EXPECT_TRUE(child.DeactivateNode());
    EXPECT_EQ("second", child.GetNodeName());

    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_EQ(kDeclaration + "<root>\n    <a>\n        <inner>x</inner>\n    </a>\n</root>\n", saved(xml));
}

TEST(facade_iterator, parse_of_a_file_on_a_dereferenced_facade_starts_from_a_fresh_record)
{
    cXML_Utility xml = parsed("<p><a><b/></a></p>");
    cXMLiterator it = xml.CreateIterator("a");
    cXML_Utility child = *it;
    ASSERT_TRUE(child.ActivateNode("b"));

    ASSERT_TRUE(child.Parse(std::string(XMLUTIL_TEST_DATA) + "/iterator-reparse.xml"));
    EXPECT_EQ("fromfile", child.GetNodeName());
    EXPECT_FALSE(child.DeactivateNode());
    std::string text;
    EXPECT_TRUE(child.ReadNodeDataFrom("inner", text, ""));
    EXPECT_EQ("file text", text);
    EXPECT_EQ("p", xml.GetNodeName());
}

TEST(facade_iterator, navigation_through_a_dereferenced_facade_moves_neither_source_nor_iterator)
{
    cXML_Utility xml = parsed("<p><s id='1'><k/></s><s id='2'/></p>");
    cXMLiterator it = xml.CreateIterator("s");

    cXML_Utility child = *it;
    ASSERT_TRUE(child.ActivateNode("k"));
    EXPECT_EQ("k", child.GetNodeName());
    EXPECT_EQ("p", xml.GetNodeName());
    EXPECT_FALSE(xml.DeactivateNode());
    cXML_Utility again = *it;
    EXPECT_EQ("1", label(again));
    ++it;
    cXML_Utility next = *it;
    EXPECT_EQ("2", label(next));
}

TEST(facade_iterator, two_dereferences_give_independent_facades)
{
    cXML_Utility xml = parsed("<p><s><k/></s></p>");
    cXMLiterator it = xml.CreateIterator("s");

    cXML_Utility first = *it;
    cXML_Utility second = *it;
    ASSERT_TRUE(first.ActivateNode("k"));
    EXPECT_EQ("k", first.GetNodeName());
    EXPECT_EQ("s", second.GetNodeName());
    EXPECT_FALSE(second.DeactivateNode());
    EXPECT_TRUE(first.DeactivateNode());
    EXPECT_EQ("s", first.GetNodeName());
}

TEST(facade_iterator, text_written_through_a_dereferenced_facade_is_seen_through_the_source)
{
    cXML_Utility xml = parsed("<p><a id='1'/><a id='2'/></p>");
    cXMLiterator it = xml.CreateIterator("a");
    ++it;

    cXML_Utility child = *it;
    child.SaveDataToNode("hello");
    child.SaveNodeAttribute("on", "yes");
    child.SaveNodeData("k", "v");

    EXPECT_EQ(kDeclaration +
                  "<p>\n"
                  "    <a id=\"1\"/>\n"
                  "    <a id=\"2\" on=\"yes\">hello        <k>v</k>\n"
                  "</a>\n"
                  "</p>\n",
              saved(xml));
    cXML_Utility found = xml.GetNodeByName("a");
    std::string value;
    EXPECT_FALSE(found.ReadNodeData(value, "none"));
    EXPECT_EQ("none", value);
    cXML_Utility again = *it;
    EXPECT_TRUE(again.ReadNodeData(value, "none"));
    EXPECT_EQ("hello", value);
    EXPECT_TRUE(again.ReadNodeAttribute("on", value, "no"));
    EXPECT_EQ("yes", value);
}

TEST(facade_iterator, dereferenced_facade_saves_the_whole_document)
{
    cXML_Utility xml = parsed("<p><a id='1'/><a id='2'/></p>");
    cXMLiterator it = xml.CreateIterator("a");
    ++it;

    cXML_Utility child = *it;
    EXPECT_EQ(kDeclaration + "<p>\n    <a id=\"1\"/>\n    <a id=\"2\"/>\n</p>\n", saved(child));
}

// ---- The live child list -----------------------------------------------------------

TEST(facade_iterator, removing_the_current_child_moves_the_next_into_its_place)
{
    Tree t("<p><a id='1'/><a id='2'/><a id='3'/></p>");
    cXML_Utility xml = t.facade();
    cXMLiterator it = xml.CreateIterator("a");

    t.root.removeChild(t.child(0));
    cXML_Utility now = *it;
    EXPECT_EQ("2", label(now));
    ++it;
    EXPECT_EQ("3", walk(it));
}

TEST(facade_iterator, after_removal_the_position_holds_whatever_child_moved_into_it)
{
    Tree t("<p><a id='1'/><b id='x'/><a id='2'/></p>");
    cXML_Utility xml = t.facade();
    cXMLiterator it = xml.CreateIterator("a");

    t.root.removeChild(t.child(0));
    // No new search happens until the next ++.
    cXML_Utility now = *it;
    EXPECT_EQ("x", label(now));
    ++it;
    EXPECT_EQ("2", walk(it));
}

TEST(facade_iterator, inserting_before_the_current_child_shifts_the_position)
{
    Tree t("<p><a id='1'/><a id='2'/><a id='3'/></p>");
    cXML_Utility xml = t.facade();
    cXMLiterator it = xml.CreateIterator("a");
    ++it;

    t.root.insertBefore(t.element_with_id("a", "0"), t.child(0));
    cXML_Utility now = *it;
    EXPECT_EQ("1", label(now));
    ++it;
    EXPECT_EQ("2,3", walk(it));
}

TEST(facade_iterator, children_added_during_the_walk_are_visited)
{
    Tree t("<p><a id='1'/><a id='2'/></p>");
    cXML_Utility xml = t.facade();
    cXMLiterator it = xml.CreateIterator("a");
    std::string out;

    for (; !it.end(); ++it) {
        cXML_Utility child = *it;
        out += label(child) + ",";
        if (label(child) == "1")
            xml.CreateNewElement("a").SaveNodeAttribute("id", "3");
    }
    EXPECT_EQ("1,2,3,", out);
    // Appending at an iterator that already ended brings it back onto a child.
    t.root.appendChild(t.element_with_id("a", "4"));
    EXPECT_FALSE(it.end());
    cXML_Utility revived = *it;
    EXPECT_EQ("4", label(revived));
}

// ---- Where the iterator comes from ---------------------------------------------------

TEST(facade_iterator, active_node_is_read_only_when_the_iterator_is_made)
{
    cXML_Utility xml = parsed("<p><k id='1'/><s><k id='s1'/><k id='s2'/></s><k id='2'/></p>");

    cXMLiterator top = xml.CreateIterator("k");
    ASSERT_TRUE(xml.ActivateNode("s"));
    EXPECT_EQ("1,2", walk(top));

    cXMLiterator inner = xml.CreateIterator("k");
    ASSERT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("s1,s2", walk(inner));
    EXPECT_EQ("p", xml.GetNodeName());
}

TEST(facade_iterator, facade_without_active_node_gives_an_ended_iterator)
{
    cXML_Utility source = parsed("<p><a/></p>");
    std::vector<std::pair<std::string, std::unique_ptr<cXML_Utility>>> facades;
    facades.emplace_back("mode 0, never parsed", std::make_unique<cXML_Utility>(0));
    facades.emplace_back("mode 1, no document created", std::make_unique<cXML_Utility>(1));
    facades.emplace_back("mode 2", std::make_unique<cXML_Utility>(2));
    facades.emplace_back("lookup that found nothing", std::make_unique<cXML_Utility>(source.GetNodeByName("b")));

    for (auto& f : facades) {
        for (const char* name : {"a", ""}) {
            SCOPED_TRACE(f.first + ", name '" + name + "'");
            cXMLiterator made = f.second->CreateIterator(name);
            cXMLiterator built(*f.second, name);
            EXPECT_TRUE(made.end());
            EXPECT_TRUE(built.end());
            expect_empty(*made);
            expect_empty(*built);
            EXPECT_TRUE(made == built);
            EXPECT_NO_THROW(++made);
            EXPECT_TRUE(made.end());
        }
    }
}

TEST(facade_iterator, empty_facade_cannot_make_an_iterator)
{
    cXML_Utility never;
    cXML_Utility cleaned(0);
    cleaned.CleanUp();

    for (cXML_Utility* empty : {&never, &cleaned}) {
        EXPECT_THROW_MSG(empty->CreateIterator("x"), cTextException,
                         "cXML_Utility::CreateIterator(): cannot create iterator for empty class!");
        EXPECT_THROW_MSG(cXMLiterator(*empty, "x"), cTextException,
                         "cXMLiterator::cXMLiterator(...): cannot create iterator from empty class!");
    }
}

// ---- Lifetimes -------------------------------------------------------------------

namespace {

cXMLiterator iterator_outliving_its_facade()
{
    cXML_Utility xml(0);
    const std::string text = "<p><a id='1'/><b/><a id='2'/></p>";
    EXPECT_TRUE(xml.Parse(text.data(), static_cast<unsigned int>(text.size())));
    return xml.CreateIterator("a");
}

cXML_Utility facade_outliving_its_iterator()
{
    cXML_Utility xml(0);
    const std::string text = "<p><a id='1'>one</a></p>";
    EXPECT_TRUE(xml.Parse(text.data(), static_cast<unsigned int>(text.size())));
    cXMLiterator it = xml.CreateIterator("a");
    return *it;
}

} // namespace

TEST(facade_iterator, iterator_keeps_the_document_after_its_facade_is_gone)
{
    cXMLiterator it = iterator_outliving_its_facade();

    EXPECT_EQ("1,2", walk(it));
}

TEST(facade_iterator, dereferenced_facade_keeps_the_document_after_iterator_and_source_are_gone)
{
    cXML_Utility child = facade_outliving_its_iterator();
    std::string text;

    EXPECT_EQ("1", label(child));
    EXPECT_TRUE(child.ReadNodeData(text, ""));
    EXPECT_EQ("one", text);
    EXPECT_EQ(kDeclaration + "<p>\n    <a id=\"1\">one</a>\n</p>\n", saved(child));
}
