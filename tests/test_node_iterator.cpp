// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A parsed document with its root, kept together so the nodes stay alive.
struct Parsed {
    explicit Parsed(const std::string& xml) : doc(parse_text(xml)), root(doc.getDocumentElement()) {}

    // The root's child at `index`, by walking siblings rather than the list
    // the iterator uses.
    DOM_Node child(unsigned index) const
    {
        DOM_Node node = root.getFirstChild();
        for (unsigned i = 0; i < index && !node.isNull(); ++i)
            node = node.getNextSibling();
        EXPECT_FALSE(node.isNull()) << "no child " << index;
        return node;
    }

    DOM_Document doc;
    DOM_Element root;
};

bool at_end(const cNodeIterator& it)
{
    return !(it != DOM_Node());
}

// An iterator that has run off the end of some unrelated parent.
cNodeIterator ended_elsewhere(const Parsed& p)
{
    return cNodeIterator(p.root, "no-such-child");
}

// The "id" attribute of every node the iterator visits, in order.
std::string visited_ids(cNodeIterator it)
{
    std::string out;
    for (; it != DOM_Node(); ++it) {
        std::string id;
        GetNamedAttributeValue(*it, "id", id);
        out += out.empty() ? id : "," + id;
    }
    return out;
}

cNodeIterator iterator_outliving_its_document()
{
    const DOM_Document doc = parse_text("<p><a id='1'/><b/><a id='2'/></p>");
    return cNodeIterator(doc.getDocumentElement(), "a");
}

} // namespace

TEST(node_iterator, parent_without_children_is_at_end)
{
    Parsed p("<p/>");
    cNodeIterator it(p.root, "a");

    EXPECT_TRUE((*it).isNull());
    EXPECT_FALSE(it != DOM_Node());
    EXPECT_EQ("", GetNodeName(it));
}

TEST(node_iterator, parent_without_matching_child_is_at_end)
{
    Parsed p("<p><b/>t<c><a/></c><!--a--></p>");
    cNodeIterator it(p.root, "a");

    EXPECT_TRUE((*it).isNull());
    EXPECT_FALSE(it != DOM_Node());
}

TEST(node_iterator, null_parent_is_at_end)
{
    cNodeIterator it(DOM_Node(), "a");

    EXPECT_TRUE((*it).isNull());
    EXPECT_FALSE(it != DOM_Node());
    ++it;
    EXPECT_TRUE((*it).isNull());
}

TEST(node_iterator, yields_matching_children_in_document_order)
{
    Parsed p("<p><a/><b/><a/></p>");
    const DOM_Node first = p.child(0);
    const DOM_Node third = p.child(2);
    cNodeIterator it(p.root, "a");

    EXPECT_TRUE(*it == first);
    EXPECT_TRUE(it != DOM_Node());
    ++it;
    EXPECT_TRUE(*it == third);
    ++it;
    EXPECT_TRUE((*it).isNull());
    EXPECT_TRUE(at_end(it));
}

TEST(node_iterator, prefix_increment_returns_the_iterator_itself)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator it(p.root, "a");
    cNodeIterator& same = ++it;

    EXPECT_EQ(&it, &same);
    EXPECT_TRUE(*same == p.child(2));
}

TEST(node_iterator, loop_visits_every_match_once)
{
    Parsed p("<p><a id='1'/><b id='x'/>t<a id='2'/><a id='3'/><c><a id='y'/></c></p>");
    EXPECT_EQ("1,2,3", visited_ids(cNodeIterator(p.root, "a")));
    EXPECT_EQ("x", visited_ids(cNodeIterator(p.root, "b")));
}

TEST(node_iterator, decrement_stands_on_previous_child_whatever_its_name)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    ASSERT_TRUE(*it == p.child(2));

    cNodeIterator& same = --it;
    EXPECT_EQ(&it, &same);
    EXPECT_TRUE(*it == p.child(1));
    EXPECT_EQ("b", GetNodeName(it));
}

TEST(node_iterator, increment_after_decrement_finds_next_match)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    --it;
    ++it;
    EXPECT_TRUE(*it == p.child(2));
}

TEST(node_iterator, decrement_does_not_search_backwards)
{
    // Text, comment and element before the match: -- steps onto each in turn.
    Parsed p("<p><a/><!--c-->t<b/><a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    ASSERT_TRUE(*it == p.child(4));

    --it;
    EXPECT_TRUE(*it == p.child(3));
    --it;
    EXPECT_TRUE(*it == p.child(2));
    EXPECT_EQ("#text", GetNodeName(it));
    --it;
    EXPECT_TRUE(*it == p.child(1));
    EXPECT_EQ("#comment", GetNodeName(it));
    --it;
    EXPECT_TRUE(*it == p.child(0));
}

TEST(node_iterator, decrement_from_end_stands_on_last_child)
{
    Parsed p("<p><a/><b/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    ASSERT_TRUE(at_end(it));

    --it;
    EXPECT_TRUE(*it == p.child(1));
}

TEST(node_iterator, decrement_at_first_position_equals_any_ended_iterator)
{
    Parsed p("<p><a/><b/></p>");
    Parsed other("<q><x/></q>");
    cNodeIterator it(p.root, "a");
    ASSERT_TRUE(*it == p.child(0));

    --it;
    EXPECT_TRUE((*it).isNull());
    EXPECT_TRUE(at_end(it));
    EXPECT_TRUE(it == ended_elsewhere(other));
    EXPECT_FALSE(it != ended_elsewhere(other));
    EXPECT_TRUE(it == ended_elsewhere(p));
    EXPECT_TRUE(it == cNodeIterator(DOM_Node(), "a"));
}

TEST(node_iterator, ended_iterators_over_different_parents_compare_equal)
{
    Parsed p("<p><a/></p>");
    Parsed q("<q><a/><a/></q>");
    cNodeIterator left(p.root, "a");
    cNodeIterator right(q.root, "a");
    ++left;
    ++right;
    ++right;

    EXPECT_TRUE(left == right);
    EXPECT_FALSE(left != right);
}

TEST(node_iterator, equality_compares_current_nodes_only)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator onB(p.root, "b");
    cNodeIterator fromA(p.root, "a");
    ++fromA;
    --fromA;

    // Different names searched for, same node: equal.
    EXPECT_TRUE(onB == fromA);
    EXPECT_FALSE(onB != fromA);

    cNodeIterator onFirstA(p.root, "a");
    EXPECT_FALSE(onB == onFirstA);
    EXPECT_TRUE(onB != onFirstA);

    // Same parent and name, different positions: unequal.
    cNodeIterator onThirdA(p.root, "a");
    ++onThirdA;
    EXPECT_FALSE(onFirstA == onThirdA);
    EXPECT_TRUE(onFirstA != onThirdA);
}

TEST(node_iterator, inequality_with_node_compares_current_node)
{
    Parsed p("<p><a/><b/></p>");
    cNodeIterator it(p.root, "a");

    EXPECT_FALSE(it != p.child(0));
    EXPECT_TRUE(it != p.child(1));
    EXPECT_TRUE(it != DOM_Node());
}

TEST(node_iterator, postfix_increment_returns_old_node_and_moves_on)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator it(p.root, "a");

    const cNodeIterator old = it++;
    EXPECT_TRUE(*old == p.child(0));
    EXPECT_TRUE(*it == p.child(2));

    const cNodeIterator last = it++;
    EXPECT_TRUE(*last == p.child(2));
    EXPECT_TRUE(at_end(it));
}

TEST(node_iterator, postfix_decrement_returns_old_node_and_steps_back)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;

    const cNodeIterator old = it--;
    EXPECT_TRUE(*old == p.child(2));
    EXPECT_TRUE(*it == p.child(1));
}

TEST(node_iterator, names_are_case_sensitive)
{
    Parsed p("<p><a/><A/><a/></p>");

    cNodeIterator upper(p.root, "A");
    EXPECT_TRUE(*upper == p.child(1));
    ++upper;
    EXPECT_TRUE(at_end(upper));

    cNodeIterator lower(p.root, "a");
    EXPECT_TRUE(*lower == p.child(0));
    ++lower;
    EXPECT_TRUE(*lower == p.child(2));
}

TEST(node_iterator, name_differing_only_in_case_matches_nothing)
{
    Parsed p("<p><a/><b/><a/></p>");
    EXPECT_TRUE(at_end(cNodeIterator(p.root, "A")));
}

TEST(node_iterator, name_must_match_whole_node_name)
{
    struct Row {
        const char* name;
        int child; // index of the child it stands on, -1 for the end
    };
    // No trimming, no prefix handling and no wildcard.
    const Row rows[] = {
        {"a", 0}, {"p:a", 1}, {"ab", 2}, {"", -1}, {" a", -1}, {"a ", -1}, {"*", -1}, {"p", -1},
    };
    Parsed p("<p><a/><p:a/><ab/></p>");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        cNodeIterator it(p.root, row.name);
        if (row.child < 0)
            EXPECT_TRUE(at_end(it));
        else
            EXPECT_TRUE(*it == p.child(static_cast<unsigned>(row.child)));
    }
}

TEST(node_iterator, text_name_walks_text_children)
{
    Parsed p("<p>x<a/>y<!--c-->z<b>inner</b></p>");
    cNodeIterator it(p.root, "#text");

    std::vector<std::string> values;
    for (; it != DOM_Node(); ++it) {
        EXPECT_EQ(DOM_Node::TEXT_NODE, (*it).getNodeType());
        values.push_back(str((*it).getNodeValue()));
    }
    EXPECT_EQ((std::vector<std::string>{"x", "y", "z"}), values);
}

TEST(node_iterator, comment_name_walks_comments)
{
    Parsed p("<p><!--one-->x<a><!--deep--></a><!--two--></p>");
    cNodeIterator it(p.root, "#comment");

    ASSERT_TRUE(*it == p.child(0));
    EXPECT_EQ("one", str((*it).getNodeValue()));
    ++it;
    ASSERT_TRUE(*it == p.child(3));
    EXPECT_EQ("two", str((*it).getNodeValue()));
    ++it;
    EXPECT_TRUE(at_end(it));
}

TEST(node_iterator, visits_direct_children_only)
{
    Parsed p("<p><q><a/></q><a/></p>");
    cNodeIterator it(p.root, "a");
    EXPECT_TRUE(*it == p.child(1));
    ++it;
    EXPECT_TRUE(at_end(it));

    Parsed deepOnly("<p><q><a/><a/></q></p>");
    EXPECT_TRUE(at_end(cNodeIterator(deepOnly.root, "a")));
}

TEST(node_iterator, arrow_operator_returns_null_pointer)
{
    Parsed p("<p><a/></p>");
    cNodeIterator it(p.root, "a");
    ASSERT_FALSE((*it).isNull());
    EXPECT_EQ(nullptr, it.operator->());
    ++it;
    EXPECT_EQ(nullptr, it.operator->());
}

TEST(node_iterator, copy_keeps_position_and_name)
{
    Parsed p("<p><a/><b/><a/><a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;

    cNodeIterator copy(it);
    EXPECT_TRUE(*copy == p.child(2));
    EXPECT_TRUE(copy == it);

    // The copy searches for the same name, and moves on its own.
    ++copy;
    EXPECT_TRUE(*copy == p.child(3));
    EXPECT_TRUE(*it == p.child(2));
}

TEST(node_iterator, assignment_keeps_position_and_name)
{
    Parsed p("<p><a/><b/><a/><a/></p>");
    Parsed other("<q><x/><x/></q>");
    cNodeIterator it(p.root, "a");
    ++it;

    cNodeIterator target(other.root, "x");
    cNodeIterator& same = (target = it);
    EXPECT_EQ(&target, &same);
    EXPECT_TRUE(*target == p.child(2));

    ++target;
    EXPECT_TRUE(*target == p.child(3));
    ++target;
    EXPECT_TRUE(at_end(target));
    EXPECT_TRUE(*it == p.child(2));
}

TEST(node_iterator, self_assignment_changes_nothing)
{
    Parsed p("<p><a/><b/><a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    cNodeIterator& alias = it;
    it = alias;

    EXPECT_TRUE(*it == p.child(2));
    --it;
    EXPECT_TRUE(*it == p.child(1));
}

TEST(node_iterator, increment_at_end_stays_at_end)
{
    Parsed p("<p><a/><b/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    ASSERT_TRUE(at_end(it));

    for (int i = 0; i < 3; ++i) {
        ++it;
        EXPECT_TRUE(at_end(it));
    }
    const cNodeIterator old = it++;
    EXPECT_TRUE(at_end(old));
    EXPECT_TRUE(at_end(it));
}

TEST(node_iterator, find_next_node_stays_on_a_match)
{
    Parsed p("<p><b/><a/><a/></p>");
    cNodeIterator it(p.root, "a");
    ASSERT_TRUE(*it == p.child(1));

    it.FindNextNode();
    EXPECT_TRUE(*it == p.child(1));
}

TEST(node_iterator, find_next_node_moves_off_a_non_match)
{
    Parsed p("<p><a/><b/>t<a/></p>");
    cNodeIterator it(p.root, "a");
    ++it;
    --it;
    ASSERT_TRUE(*it == p.child(2));

    it.FindNextNode();
    EXPECT_TRUE(*it == p.child(3));
}

TEST(node_iterator, get_node_name_gives_current_name_and_empty_at_end)
{
    Parsed p("<p><x:a/><b/></p>");
    cNodeIterator it(p.root, "x:a");

    EXPECT_EQ("x:a", GetNodeName(it));
    ++it;
    --it;
    EXPECT_EQ("b", GetNodeName(it));
    ++it;
    EXPECT_EQ("", GetNodeName(it));
}

TEST(node_iterator, child_appended_during_walk_is_visited)
{
    Parsed p("<p><a id='1'/><b/></p>");
    cNodeIterator it(p.root, "a");
    ASSERT_TRUE(*it == p.child(0));

    DOM_Element added = p.doc.createElement("a");
    added.setAttribute("id", "2");
    p.root.appendChild(added);

    ++it;
    EXPECT_TRUE(*it == added);
    ++it;
    EXPECT_TRUE(at_end(it));
}

TEST(node_iterator, removed_current_child_is_replaced_by_next_one)
{
    Parsed p("<p><a id='1'/><a id='2'/><b/><a id='3'/></p>");
    const DOM_Node first = p.child(0);
    const DOM_Node second = p.child(1);
    const DOM_Node third = p.child(3);
    cNodeIterator it(p.root, "a");
    ASSERT_TRUE(*it == first);

    p.root.removeChild(first);
    EXPECT_TRUE(*it == second);
    ++it;
    EXPECT_TRUE(*it == third);
    ++it;
    EXPECT_TRUE(at_end(it));
}

TEST(node_iterator, removed_current_child_can_leave_a_non_match_in_place)
{
    Parsed p("<p><a/><b/><a/></p>");
    const DOM_Node b = p.child(1);
    const DOM_Node third = p.child(2);
    cNodeIterator it(p.root, "a");

    p.root.removeChild(p.child(0));
    // No search happens until the next step.
    EXPECT_TRUE(*it == b);
    ++it;
    EXPECT_TRUE(*it == third);
}

TEST(node_iterator, child_inserted_before_current_shifts_position)
{
    Parsed p("<p><a/><b/></p>");
    const DOM_Node a = p.child(0);
    cNodeIterator it(p.root, "a");

    DOM_Element inserted = p.doc.createElement("c");
    p.root.insertBefore(inserted, a);
    EXPECT_TRUE(*it == inserted);
    ++it;
    EXPECT_TRUE(*it == a);
}

TEST(node_iterator, copies_share_the_live_child_list)
{
    Parsed p("<p><a/></p>");
    cNodeIterator it(p.root, "a");
    cNodeIterator copy(it);
    ++copy;
    ASSERT_TRUE(at_end(copy));

    DOM_Element added = p.doc.createElement("a");
    p.root.appendChild(added);
    // The ended copy's position now names the new child.
    EXPECT_TRUE(*copy == added);
}

TEST(node_iterator, keeps_document_alive_after_other_handles_are_gone)
{
    cNodeIterator it = iterator_outliving_its_document();

    EXPECT_EQ("a", GetNodeName(it));
    std::string id;
    EXPECT_TRUE(GetNamedAttributeValue(*it, "id", id));
    EXPECT_EQ("1", id);
    ++it;
    EXPECT_TRUE(GetNamedAttributeValue(*it, "id", id));
    EXPECT_EQ("2", id);
    ++it;
    EXPECT_TRUE(at_end(it));
}
