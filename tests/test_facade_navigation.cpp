// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>


#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <vector>


namespace {

const std::string kDeclaration = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";

const std::string kSample = "<root><a><b/></a><c/></root>";
const std::string kSampleSaved = kDeclaration + "<root>\n"
                                                "    <a>\n"
                                                "        <b/>\n"
                                                "    </a>\n"
                                                "    <c/>\n"
                                                "</root>\n";

// The first c in document order is a grandchild of a, the second a child.
const std::string kNested = "<a><b><c>1</c></b><c>2</c></a>";

const std::string kOther = "<other><x/></other>";

const char kEmptyName[] = "cXML_Utility::GetName(): cannot read a node from empty class!";
const char kEmptyCreateActivate[] =
    "cXML_Utility::CreateAndActivateNewElement(): cannot create a new element in empty class!";
const char kEmptyCreate[] = "cXML_Utility::CreateNewElement(): cannot create a new element in empty class!";
const char kEmptyGet[] = "cXML_Utility::GetNodeByName(): cannot read a node from empty class!";

std::string failed_create_activate(const std::string& name)
{
    return "cXML_Utility::CreateAndActivateNewElement(): failed to create new element! (" + name + ")";
}

std::string failed_create(const std::string& name)
{
    return "cXML_Utility::CreateNewElement(): failed to create new element! (" + name + ")";
}

using Names = std::vector<std::string>;

bool parse(cXML_Utility& xml, const std::string& text)
{
    return xml.Parse(text.data(), static_cast<unsigned int>(text.size()));
}

cXML_Utility parsed(const std::string& text)
{
    cXML_Utility xml(0);
    EXPECT_TRUE(parse(xml, text));
    return xml;
}

std::string saved(cXML_Utility& xml)
{
    std::ostringstream out;
    xml.SaveToStream(out);
    return out.str();
}

// The names met while stepping back to the bottom of the stack. Empties the
// stack, so call it last.
Names unwind(cXML_Utility& xml)
{
    Names names;
    for (int guard = 0; guard < 100 && xml.DeactivateNode(); ++guard)
        names.push_back(xml.GetNodeName());
    return names;
}

// The facade an iterator hands out for the first child `name` of the active node.
cXML_Utility from_iterator(cXML_Utility& xml, const std::string& name)
{
    cXMLiterator it = xml.CreateIterator(name);
    return *it;
}

// A parsed document and a facade that works on a record the test can see.
struct Observed {
    explicit Observed(const std::string& text, unsigned int mode = 0)
        : doc(parse_text(text)), root(doc.getDocumentElement()),
          record(new cXML_UtilityData(mode, 0, root, doc, {})), xml(record)
    {
    }

    // The record must be exactly as `active` and `stack` say.
    void expect_record(const DOM_Node& active, const std::deque<DOM_Node>& stack) const
    {
        EXPECT_TRUE(record->ActiveNode == active) << "active node " << str(record->ActiveNode.getNodeName());
        ASSERT_EQ(stack.size(), record->NodeStack.size());
        for (std::size_t i = 0; i < stack.size(); ++i)
            EXPECT_TRUE(record->NodeStack[i] == stack[i]) << "stack entry " << i;
    }

    DOM_Document doc;
    DOM_Node root;
    cXML_UtilityData* record; // owned by xml
    cXML_Utility xml;
};

DOM_Node first_child(const DOM_Node& node)
{
    return node.getFirstChild();
}

} // namespace

// ---- GetNodeName ---------------------------------------------------------------------

TEST(facade_navigation, node_name_of_an_empty_object_throws)
{
    cXML_Utility xml;
    EXPECT_THROW_MSG(xml.GetNodeName(), cTextException, kEmptyName);
}

TEST(facade_navigation, node_name_is_the_active_elements_name_with_its_prefix)
{
    cXML_Utility xml = parsed("<p:root xmlns:p='urn:p'><p:item/><item2/></p:root>");
    EXPECT_EQ("p:root", xml.GetNodeName());
    EXPECT_FALSE(xml.ActivateNode("item"));
    EXPECT_TRUE(xml.ActivateNode("p:item"));
    EXPECT_EQ("p:item", xml.GetNodeName());
}

// ---- ActivateNode and DeactivateNode ------------------------------------------------

TEST(facade_navigation, empty_object_neither_activates_nor_deactivates)
{
    cXML_Utility xml;
    const cXML_Utility& const_xml = xml;
    EXPECT_FALSE(xml.ActivateNode("a"));
    EXPECT_FALSE(const_xml.ActivateNode("a"));
    EXPECT_FALSE(xml.DeactivateNode());
    EXPECT_FALSE(const_xml.DeactivateNode());
    EXPECT_TRUE(xml == cXML_Utility());
}

TEST(facade_navigation, activating_a_child_pushes_the_former_active_node)
{
    Observed o(kSample);
    const DOM_Node a = first_child(o.root);
    EXPECT_TRUE(o.xml.ActivateNode("a"));
    EXPECT_EQ("a", o.xml.GetNodeName());
    o.expect_record(a, {o.root});
    EXPECT_TRUE(o.xml.ActivateNode("b"));
    o.expect_record(first_child(a), {o.root, a});
}

TEST(facade_navigation, failed_activation_leaves_the_record_exactly_as_before)
{
    Observed o(kSample);
    const DOM_Node a = first_child(o.root);
    ASSERT_TRUE(o.xml.ActivateNode("a"));
    // Names of no child of a: unknown, another case, a grandchild's sibling,
    // a node further up, a node of another type, the node itself.
    for (const char* name : {"zz", "B", "c", "root", "#text", "a"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(o.xml.ActivateNode(name));
        EXPECT_EQ("a", o.xml.GetNodeName());
        o.expect_record(a, {o.root});
    }
    EXPECT_EQ((Names{"root"}), unwind(o.xml));
}

TEST(facade_navigation, two_steps_in_and_two_back_return_to_the_start)
{
    cXML_Utility xml = parsed(kSample);
    EXPECT_TRUE(xml.ActivateNode("a"));
    EXPECT_TRUE(xml.ActivateNode("b"));
    EXPECT_EQ("b", xml.GetNodeName());
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_FALSE(xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
    // The way in still works after that.
    EXPECT_TRUE(xml.ActivateNode("c"));
    EXPECT_EQ("c", xml.GetNodeName());
}

TEST(facade_navigation, deactivation_pops_exactly_one_entry)
{
    Observed o(kSample);
    const DOM_Node a = first_child(o.root);
    const DOM_Node b = first_child(a);
    o.record->NodeStack = {b, a};
    EXPECT_TRUE(o.xml.DeactivateNode());
    o.expect_record(a, {b});
    EXPECT_TRUE(o.xml.DeactivateNode());
    o.expect_record(b, {});
    EXPECT_FALSE(o.xml.DeactivateNode());
    o.expect_record(b, {});
}

TEST(facade_navigation, const_forms_move_the_active_node)
{
    cXML_Utility xml = parsed(kSample);
    const cXML_Utility& const_xml = xml;
    EXPECT_TRUE(const_xml.ActivateNode("a"));
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_TRUE(const_xml.ActivateNode("b"));
    EXPECT_EQ("b", xml.GetNodeName());
    EXPECT_FALSE(const_xml.ActivateNode("zz"));
    EXPECT_EQ("b", xml.GetNodeName());
    EXPECT_TRUE(const_xml.DeactivateNode());
    EXPECT_EQ("a", xml.GetNodeName());
    // Both forms share one stack.
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_FALSE(const_xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
}

TEST(facade_navigation, activation_follows_the_name_rule)
{
    struct Row {
        const char* name;
        bool found;
        const char* name_after;
    };
    const Row rows[] = {
        // The first c in document order is not a child of a.
        {"c", false, "a"},
        {"b", true, "b"},
        {"B", false, "a"},
        {"*", true, "b"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        cXML_Utility xml = parsed(kNested);
        EXPECT_EQ(row.found, xml.ActivateNode(row.name));
        EXPECT_EQ(row.name_after, xml.GetNodeName());
        EXPECT_EQ(row.found, xml.DeactivateNode());
        EXPECT_EQ("a", xml.GetNodeName());
    }
}

TEST(facade_navigation, second_child_of_the_same_name_is_never_reached)
{
    cXML_Utility xml = parsed("<r><c><one/></c><c><two/></c></r>");
    ASSERT_TRUE(xml.ActivateNode("c"));
    EXPECT_TRUE(xml.ActivateNode("one"));
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_FALSE(xml.ActivateNode("two"));
}

TEST(facade_navigation, wildcard_skips_text_before_the_first_element)
{
    cXML_Utility xml = parsed("<r>text<!--note--><x/><y/></r>");
    EXPECT_TRUE(xml.ActivateNode("*"));
    EXPECT_EQ("x", xml.GetNodeName());
}

TEST(facade_navigation, unloaded_object_does_not_activate)
{
    for (unsigned int mode : {0u, 1u}) {
        SCOPED_TRACE(mode);
        cXML_Utility xml(mode);
        const cXML_Utility& const_xml = xml;
        EXPECT_FALSE(xml.ActivateNode("a"));
        EXPECT_FALSE(const_xml.ActivateNode("a"));
        EXPECT_FALSE(xml.DeactivateNode());
        EXPECT_FALSE(const_xml.DeactivateNode());
        EXPECT_EQ("", xml.GetNodeName());
    }
}

// ---- CreateAndActivateNewElement ----------------------------------------------------------

TEST(facade_create_element, create_and_activate_on_an_empty_object_throws)
{
    cXML_Utility xml;
    EXPECT_THROW_MSG(xml.CreateAndActivateNewElement("x"), cTextException, kEmptyCreateActivate);
    EXPECT_TRUE(xml == cXML_Utility());
}

TEST(facade_create_element, create_and_activate_appends_a_last_child_and_moves_to_it)
{
    Observed o("<root><a/></root>");
    o.xml.CreateAndActivateNewElement("a");
    EXPECT_EQ("a", o.xml.GetNodeName());
    // Appended after the existing child of the same name.
    o.expect_record(o.root.getLastChild(), {o.root});
    EXPECT_FALSE(o.root.getLastChild() == o.root.getFirstChild());
    EXPECT_EQ(kDeclaration + "<root>\n    <a/>\n    <a/>\n</root>\n", saved(o.xml));

    EXPECT_TRUE(o.xml.DeactivateNode());
    EXPECT_EQ("root", o.xml.GetNodeName());
    o.expect_record(o.root, {});
}

TEST(facade_create_element, created_elements_nest_along_the_stack)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("config"));
    xml.CreateAndActivateNewElement("section");
    xml.CreateAndActivateNewElement("group");
    xml.CreateAndActivateNewElement("key");
    EXPECT_EQ(kDeclaration + "<config>\n"
                             "    <section>\n"
                             "        <group>\n"
                             "            <key/>\n"
                             "        </group>\n"
                             "    </section>\n"
                             "</config>\n",
              saved(xml));
    EXPECT_EQ((Names{"group", "section", "config"}), unwind(xml));
}

TEST(facade_create_element, invalid_name_throws_the_dom_exception_and_changes_nothing)
{
    for (const char* name : {"1x", "a b", "-a", ""}) {
        SCOPED_TRACE(name);
        Observed o(kSample);
        const DOM_Node a = first_child(o.root);
        ASSERT_TRUE(o.xml.ActivateNode("a"));
        EXPECT_DOM_EXCEPTION(o.xml.CreateAndActivateNewElement(name), DOM_DOMException::INVALID_CHARACTER_ERR);
        o.expect_record(a, {o.root});
        EXPECT_EQ(kSampleSaved, saved(o.xml));
        EXPECT_DOM_EXCEPTION(o.xml.CreateNewElement(name), DOM_DOMException::INVALID_CHARACTER_ERR);
        o.expect_record(a, {o.root});
        EXPECT_EQ(kSampleSaved, saved(o.xml));
    }
}

// ---- CreateNewElement ---------------------------------------------------------------------------

TEST(facade_create_element, create_on_an_empty_object_throws)
{
    cXML_Utility xml;
    EXPECT_THROW_MSG(xml.CreateNewElement("x"), cTextException, kEmptyCreate);
}

TEST(facade_create_element, create_twice_makes_two_children_in_order)
{
    Observed o(kSample);
    const DOM_Node a = first_child(o.root);
    ASSERT_TRUE(o.xml.ActivateNode("a"));
    cXML_Utility first = o.xml.CreateNewElement("x");
    cXML_Utility second = o.xml.CreateNewElement("x");

    // The facade itself does not move.
    o.expect_record(a, {o.root});
    EXPECT_EQ("x", first.GetNodeName());
    EXPECT_EQ("x", second.GetNodeName());

    // Each result stands on its own new element.
    first.CreateNewElement("one");
    second.CreateNewElement("two");
    EXPECT_EQ(kDeclaration + "<root>\n"
                             "    <a>\n"
                             "        <b/>\n"
                             "        <x>\n"
                             "            <one/>\n"
                             "        </x>\n"
                             "        <x>\n"
                             "            <two/>\n"
                             "        </x>\n"
                             "    </a>\n"
                             "    <c/>\n"
                             "</root>\n",
              saved(o.xml));

    // A result starts with an empty stack.
    EXPECT_FALSE(first.DeactivateNode());
    EXPECT_EQ("x", first.GetNodeName());
    EXPECT_FALSE(second.DeactivateNode());
    EXPECT_EQ("x", second.GetNodeName());
}

TEST(facade_create_element, tree_changes_through_a_result_are_seen_by_its_source)
{
    cXML_Utility xml = parsed(kSample);
    cXML_Utility made = xml.CreateNewElement("made");
    made.CreateAndActivateNewElement("inner");
    EXPECT_TRUE(xml.ActivateNode("made"));
    EXPECT_TRUE(xml.ActivateNode("inner"));
    xml.CreateNewElement("deepest");
    EXPECT_TRUE(made.ActivateNode("deepest"));
    EXPECT_EQ((Names{"inner", "made"}), unwind(made));
}

TEST(facade_create_element, result_takes_the_mode_of_its_source)
{
    struct Row {
        unsigned int mode;
        bool parses;
        bool creates;
    };
    const Row rows[] = {{0u, true, false}, {1u, false, true}, {2u, false, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.mode);
        Observed o(kSample, row.mode);
        cXML_Utility for_parse = o.xml.CreateNewElement("n");
        cXML_Utility for_create = o.xml.CreateNewElement("m");
        EXPECT_EQ(row.parses, parse(for_parse, kOther));
        EXPECT_EQ(row.creates, for_create.CreateDocument("fresh"));
        // Loading into a result leaves the source's document alone.
        EXPECT_EQ(kDeclaration + "<root>\n"
                                 "    <a>\n"
                                 "        <b/>\n"
                                 "    </a>\n"
                                 "    <c/>\n"
                                 "    <n/>\n"
                                 "    <m/>\n"
                                 "</root>\n",
                  saved(o.xml));
    }
}

TEST(facade_create_element, result_of_a_created_document_refuses_parse_and_accepts_create)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("config"));
    cXML_Utility made = xml.CreateNewElement("section");
    EXPECT_FALSE(parse(made, kOther));
    EXPECT_EQ("section", made.GetNodeName());
    EXPECT_TRUE(made.CreateDocument("fresh"));
    EXPECT_EQ("fresh", made.GetNodeName());
    EXPECT_EQ(kDeclaration + "<fresh/>\n", saved(made));
    EXPECT_EQ(kDeclaration + "<config>\n    <section/>\n</config>\n", saved(xml));
}

TEST(facade_create_element, result_takes_the_iterator_flag_of_its_source)
{
    struct Row {
        const char* what;
        bool from_iterator;
        bool stack_survives_parse;
    };
    const Row rows[] = {{"plain source", false, true}, {"iterator source", true, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        cXML_Utility xml = parsed(kSample);
        cXML_Utility source = row.from_iterator ? from_iterator(xml, "a") : xml.GetNodeByName("a");
        ASSERT_EQ("a", source.GetNodeName());
        cXML_Utility made = source.CreateNewElement("made");
        made.CreateAndActivateNewElement("inner");
        EXPECT_TRUE(parse(made, kOther));
        EXPECT_EQ("other", made.GetNodeName());
        EXPECT_EQ(row.stack_survives_parse, made.DeactivateNode());
    }
}

// ---- GetNodeByName -------------------------------------------------------------------------------

TEST(facade_get_node_by_name, empty_object_throws)
{
    const cXML_Utility xml;
    EXPECT_THROW_MSG(xml.GetNodeByName("a"), cTextException, kEmptyGet);
}

TEST(facade_get_node_by_name, result_stands_on_the_child_with_the_source_node_on_its_stack)
{
    Observed o(kSample);
    const DOM_Node a = first_child(o.root);
    ASSERT_TRUE(o.xml.ActivateNode("a"));
    const cXML_Utility& source = o.xml;
    cXML_Utility found = source.GetNodeByName("b");
    EXPECT_EQ("b", found.GetNodeName());
    // The source does not move.
    o.expect_record(a, {o.root});

    EXPECT_TRUE(found.DeactivateNode());
    EXPECT_EQ("a", found.GetNodeName());
    EXPECT_FALSE(found.DeactivateNode());
    EXPECT_EQ("a", found.GetNodeName());
    o.expect_record(a, {o.root});
}

TEST(facade_get_node_by_name, unknown_name_gives_an_object_without_active_node)
{
    cXML_Utility xml = parsed(kSample);
    ASSERT_TRUE(xml.ActivateNode("a"));
    cXML_Utility missing = xml.GetNodeByName("zz");
    EXPECT_FALSE(missing == cXML_Utility());
    EXPECT_EQ("", missing.GetNodeName());
    EXPECT_FALSE(missing.ActivateNode("b"));

    EXPECT_TRUE(missing.DeactivateNode());
    EXPECT_EQ("a", missing.GetNodeName());
    // It is the source's very node: what is made there shows up in the source.
    missing.CreateNewElement("added");
    EXPECT_TRUE(xml.ActivateNode("added"));
    EXPECT_FALSE(missing.DeactivateNode());
}

TEST(facade_get_node_by_name, lookup_follows_the_name_rule)
{
    struct Row {
        const char* name;
        const char* found_name;
    };
    const Row rows[] = {{"c", ""}, {"b", "b"}, {"B", ""}, {"*", "b"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        cXML_Utility xml = parsed(kNested);
        cXML_Utility found = xml.GetNodeByName(row.name);
        EXPECT_EQ(row.found_name, found.GetNodeName());
        EXPECT_EQ((Names{"a"}), unwind(found));
    }
}

TEST(facade_get_node_by_name, tree_changes_through_a_result_are_seen_by_its_source)
{
    cXML_Utility xml = parsed(kSample);
    cXML_Utility found = xml.GetNodeByName("c");
    found.CreateAndActivateNewElement("under_c");
    EXPECT_TRUE(xml.ActivateNode("c"));
    EXPECT_TRUE(xml.ActivateNode("under_c"));
    EXPECT_EQ((Names{"c", "root"}), unwind(found));
}

TEST(facade_get_node_by_name, result_takes_the_mode_of_its_source)
{
    struct Row {
        unsigned int mode;
        bool parses;
        bool creates;
    };
    const Row rows[] = {{0u, true, false}, {1u, false, true}, {2u, false, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.mode);
        Observed o(kSample, row.mode);
        cXML_Utility for_parse = o.xml.GetNodeByName("a");
        cXML_Utility for_create = o.xml.GetNodeByName("zz");
        EXPECT_EQ(row.parses, parse(for_parse, kOther));
        EXPECT_EQ(row.creates, for_create.CreateDocument("fresh"));
        EXPECT_EQ(kSampleSaved, saved(o.xml));
        o.expect_record(o.root, {});
    }
}

TEST(facade_get_node_by_name, result_takes_the_iterator_flag_of_its_source)
{
    struct Row {
        const char* what;
        bool from_iterator;
        bool stack_survives_parse;
    };
    const Row rows[] = {{"plain source", false, true}, {"iterator source", true, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        cXML_Utility xml = parsed(kSample);
        cXML_Utility source = row.from_iterator ? from_iterator(xml, "a") : xml.CreateNewElement("a2");
        cXML_Utility found = source.GetNodeByName("b");
        EXPECT_TRUE(parse(found, kOther));
        EXPECT_EQ("other", found.GetNodeName());
        EXPECT_EQ(row.stack_survives_parse, found.DeactivateNode());
    }
}

// ---- objects without document or active node ---------------------------------------------------

namespace {

struct Unloaded {
    const char* what;
    std::function<cXML_Utility(cXML_Utility& keep)> make;
    Names stack;
};

std::vector<Unloaded> unloaded_objects()
{
    return {
        {"mode 0, never parsed", [](cXML_Utility&) { return cXML_Utility(0); }, {}},
        {"mode 1, never created", [](cXML_Utility&) { return cXML_Utility(1); }, {}},
        {"mode 2", [](cXML_Utility&) { return cXML_Utility(2u); }, {}},
        {"lookup that found nothing",
         [](cXML_Utility& keep) {
             keep = parsed(kSample);
             return keep.GetNodeByName("zz");
         },
         {"root"}},
        {"lookup from an object never parsed",
         [](cXML_Utility& keep) {
             keep = cXML_Utility(0);
             return keep.GetNodeByName("zz");
         },
         {""}},
    };
}

} // namespace

TEST(facade_unloaded, object_without_active_node_never_crashes)
{
    for (const Unloaded& row : unloaded_objects()) {
        SCOPED_TRACE(row.what);
        cXML_Utility source;
        cXML_Utility xml = row.make(source);
        const cXML_Utility& const_xml = xml;
        EXPECT_FALSE(xml == cXML_Utility());
        EXPECT_EQ("", xml.GetNodeName());
        EXPECT_FALSE(xml.ActivateNode("a"));
        EXPECT_FALSE(const_xml.ActivateNode("*"));

        EXPECT_THROW_MSG(xml.CreateNewElement("section"), cTextException, failed_create("section"));
        EXPECT_THROW_MSG(xml.CreateAndActivateNewElement("section"), cTextException,
                         failed_create_activate("section"));
        EXPECT_EQ("", xml.GetNodeName());

        cXML_Utility looked_up = const_xml.GetNodeByName("a");
        EXPECT_EQ("", looked_up.GetNodeName());
        EXPECT_TRUE(looked_up.DeactivateNode());
        EXPECT_EQ("", looked_up.GetNodeName());

        EXPECT_EQ(row.stack, unwind(xml));
    }
}

TEST(facade_unloaded, failed_creation_names_the_element_and_changes_nothing)
{
    for (const char* name : {"key", "a%sb", "100%", "x y"}) {
        SCOPED_TRACE(name);
        cXML_UtilityData* record = new cXML_UtilityData(1, 0, DOM_Node(), DOM_Document(), {});
        cXML_Utility xml(record);
        EXPECT_THROW_MSG(xml.CreateNewElement(name), cTextException, failed_create(name));
        EXPECT_THROW_MSG(xml.CreateAndActivateNewElement(name), cTextException, failed_create_activate(name));
        EXPECT_EQ(1u, record->uiMode);
        EXPECT_TRUE(record->ActiveNode.isNull());
        EXPECT_TRUE(record->Document.isNull());
        EXPECT_TRUE(record->NodeStack.empty());
        // Still able to load afterwards.
        EXPECT_TRUE(xml.CreateDocument("config"));
    }
}

TEST(facade_unloaded, failed_creation_under_a_missing_node_leaves_the_tree_alone)
{
    cXML_Utility xml = parsed(kSample);
    cXML_Utility missing = xml.GetNodeByName("zz");
    EXPECT_THROW_MSG(missing.CreateAndActivateNewElement("k"), cTextException, failed_create_activate("k"));
    EXPECT_THROW_MSG(missing.CreateNewElement("k"), cTextException, failed_create("k"));
    EXPECT_EQ(kSampleSaved, saved(xml));
    // No stray stack entry: one step back reaches the source's node, no more.
    EXPECT_EQ((Names{"root"}), unwind(missing));
}

// ---- memory ---------------------------------------------------------------------------------------

namespace {

void navigate_and_drop()
{
    cXML_Utility xml = parsed("<r><a><b/></a><c/><c/><d>text</d></r>");
    EXPECT_TRUE(xml.ActivateNode("a"));
    cXML_Utility found = xml.GetNodeByName("b");
    cXML_Utility missing = xml.GetNodeByName("zz");
    cXML_Utility made = found.CreateNewElement("made");
    made.CreateAndActivateNewElement("inner");
    xml.CreateAndActivateNewElement("other");
    EXPECT_TRUE(parse(xml, kOther));
    cXML_Utility created(1);
    EXPECT_TRUE(created.CreateDocument("config"));
    cXML_Utility section = created.CreateNewElement("section");
    section.CreateAndActivateNewElement("key");
}

} // namespace

TEST(facade_memory, navigation_results_and_stacks_release_their_documents)
{
    for (int i = 0; i < 20; ++i)
        navigate_and_drop();
    const std::size_t before = heap_in_use();
    for (int i = 0; i < 2000; ++i)
        navigate_and_drop();
    const std::size_t after = heap_in_use();
    EXPECT_LT(after, before + 64 * 1024) << "before " << before << " after " << after;
}

TEST(facade_memory, stack_entry_keeps_a_former_document_alive)
{
    cXML_Utility xml = parsed(kSample);
    ASSERT_TRUE(xml.ActivateNode("a"));
    ASSERT_TRUE(parse(xml, kOther));
    // Only the stack refers to the first document now.
    ASSERT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_TRUE(xml.ActivateNode("c"));
    EXPECT_EQ("c", xml.GetNodeName());
}
