// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>


namespace {

namespace fs = std::filesystem;

const std::string kDeclaration = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";

const std::string kSample = "<root><a><b/></a><c/></root>";
const std::string kSampleSaved = kDeclaration + "<root>\n"
                                                "    <a>\n"
                                                "        <b/>\n"
                                                "    </a>\n"
                                                "    <c/>\n"
                                                "</root>\n";

const std::string kOther = "<other><x><y/></x></other>";

const std::string kSettingsFile = XMLUTIL_TEST_DATA "/facade-settings.xml";
const std::string kSettingsSaved = kDeclaration + "<settings>\n"
                                                  "    <general>\n"
                                                  "        <name>demo</name>\n"
                                                  "    </general>\n"
                                                  "    <network/>\n"
                                                  "</settings>\n";

const char kEmptyStream[] = "cXML_Utility::SaveToStream(): cannot save an empty class!";
const char kEmptyFile[] = "cXML_Utility::SaveToFile(): cannot save an empty class!";
const char kNoDocumentStream[] = "cXML_Utility::SaveToStream(): cannot save a class without document!";
const char kNoDocumentFile[] = "cXML_Utility::SaveToFile(): cannot save a class without document!";
const char kEmptyAssign[] = "cXML_Utility::operator= : operator failed to copy an empty class!";

// Parse from memory with the default validation switch.
bool parse(cXML_Utility& xml, const std::string& text)
{
    return xml.Parse(text.data(), static_cast<unsigned int>(text.size()));
}

std::string saved(cXML_Utility& xml)
{
    std::ostringstream out;
    xml.SaveToStream(out);
    return out.str();
}

// The names met while stepping back to the bottom of the stack. Empties the
// stack, so call it last.
std::vector<std::string> unwind(cXML_Utility& xml)
{
    std::vector<std::string> names;
    for (int guard = 0; guard < 100 && xml.DeactivateNode(); ++guard)
        names.push_back(xml.GetNodeName());
    return names;
}

using Names = std::vector<std::string>;

// The facade an iterator hands out for the first child `name` of the active node.
cXML_Utility from_iterator(cXML_Utility& xml, const std::string& name)
{
    cXMLiterator it = xml.CreateIterator(name);
    return *it;
}

std::string read_file(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void write_file(const fs::path& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

// A loaded object standing on "a" of kSample, with the root on its stack.
cXML_Utility loaded_on_a()
{
    cXML_Utility xml(0);
    EXPECT_TRUE(parse(xml, kSample));
    EXPECT_TRUE(xml.ActivateNode("a"));
    return xml;
}

} // namespace

// ---- construction ---------------------------------------------------------------

TEST(facade_lifecycle, default_object_refuses_to_load)
{
    cXML_Utility xml;
    EXPECT_FALSE(parse(xml, kSample));
    EXPECT_FALSE(xml.Parse(kSample.data(), static_cast<unsigned int>(kSample.size()), true));
    EXPECT_FALSE(xml.Parse(kSettingsFile));
    EXPECT_FALSE(xml.Parse(kSettingsFile, false));
    EXPECT_FALSE(xml.CreateDocument("config"));
    EXPECT_TRUE(xml == cXML_Utility());
}

TEST(facade_lifecycle, default_object_cannot_be_saved)
{
    cXML_Utility xml;
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException, kEmptyStream);
    EXPECT_EQ("", out.str());

    TempDir dir;
    const fs::path missing = dir / "missing.xml";
    EXPECT_THROW_MSG(xml.SaveToFile(missing.string()), cTextException, kEmptyFile);
    EXPECT_FALSE(fs::exists(missing));
    const fs::path existing = dir / "existing.xml";
    write_file(existing, "keep me\n");
    EXPECT_THROW_MSG(xml.SaveToFile(existing.string(), 1), cTextException, kEmptyFile);
    EXPECT_EQ("keep me\n", read_file(existing));
}

TEST(facade_lifecycle, two_default_objects_compare_equal)
{
    cXML_Utility left;
    cXML_Utility right;
    EXPECT_TRUE(left == right);
    EXPECT_FALSE(left != right);
    const cXML_Utility& const_left = left;
    EXPECT_TRUE(const_left == right);
}

TEST(facade_lifecycle, mode_decides_whether_parse_or_create_document_works)
{
    struct Row {
        unsigned int mode;
        bool parses;
        const char* name_after_parse;
        bool creates;
        const char* name_after_create;
    };
    const Row rows[] = {
        {0u, true, "root", false, ""},
        {1u, false, "", true, "config"},
        {2u, false, "", false, ""},
        {7u, false, "", false, ""},
        {0xFFFFFFFFu, false, "", false, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.mode);
        cXML_Utility parser(row.mode);
        EXPECT_EQ(row.parses, parse(parser, kSample));
        EXPECT_EQ(row.name_after_parse, parser.GetNodeName());
        cXML_Utility file_parser(row.mode);
        EXPECT_EQ(row.parses, file_parser.Parse(kSettingsFile));
        cXML_Utility creator(row.mode);
        EXPECT_EQ(row.creates, creator.CreateDocument("config"));
        EXPECT_EQ(row.name_after_create, creator.GetNodeName());
    }
}

TEST(facade_lifecycle, literal_zero_and_one_are_modes)
{
    cXML_Utility parser(0);
    EXPECT_FALSE(parser.CreateDocument("config"));
    EXPECT_TRUE(parse(parser, kSample));
    EXPECT_EQ("root", parser.GetNodeName());

    cXML_Utility creator(1);
    EXPECT_FALSE(parse(creator, kSample));
    EXPECT_TRUE(creator.CreateDocument("config"));
    EXPECT_EQ("config", creator.GetNodeName());

    cXML_Utility neither(2);
    EXPECT_FALSE(parse(neither, kSample));
    EXPECT_FALSE(neither.CreateDocument("config"));
}

TEST(facade_lifecycle, unknown_mode_refuses_both_yet_is_not_empty)
{
    cXML_Utility xml(2u);
    EXPECT_FALSE(parse(xml, kSample));
    EXPECT_FALSE(xml.CreateDocument("config"));

    cXML_Utility empty;
    EXPECT_FALSE(xml == empty);
    EXPECT_TRUE(xml != empty);
    // An empty object would throw here instead.
    EXPECT_EQ("", xml.GetNodeName());
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException, kNoDocumentStream);

    cXML_Utility target(0);
    EXPECT_NO_THROW(target = xml);
    EXPECT_FALSE(parse(target, kSample));
    EXPECT_FALSE(target.CreateDocument("config"));
}

TEST(facade_lifecycle, null_record_gives_an_empty_object)
{
    cXML_Utility xml(nullptr);
    EXPECT_TRUE(xml == cXML_Utility());
    EXPECT_FALSE(parse(xml, kSample));
    EXPECT_THROW_MSG(xml.GetNodeName(), cTextException,
                     "cXML_Utility::GetName(): cannot read a node from empty class!");
}

TEST(facade_lifecycle, adopted_record_is_used_as_it_is)
{
    DOM_Document doc = parse_text(kSample);
    DOM_Node root = doc.getDocumentElement();
    DOM_Node a = root.getFirstChild();
    cXML_UtilityData* record = new cXML_UtilityData(1, 0, a, doc, std::deque<DOM_Node>{root});
    cXML_Utility xml(record);

    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_FALSE(parse(xml, kOther));
    EXPECT_EQ(kSampleSaved, saved(xml));
    EXPECT_TRUE(xml.DeactivateNode());
    // The object works on the record it was given, not on a copy.
    EXPECT_TRUE(record->ActiveNode == root);
    EXPECT_TRUE(record->NodeStack.empty());
}

// ---- copying ----------------------------------------------------------------------

TEST(facade_lifecycle, copy_of_an_empty_object_is_empty)
{
    cXML_Utility empty;
    cXML_Utility copy(empty);
    EXPECT_TRUE(copy == cXML_Utility());
    EXPECT_FALSE(parse(copy, kSample));
    std::ostringstream out;
    EXPECT_THROW_MSG(copy.SaveToStream(out), cTextException, kEmptyStream);
}

namespace {

// `copy` was made from `source`, which stood on "a" of kSample with the root
// on its stack.
void expect_independent_copy_on_shared_tree(cXML_Utility& source, cXML_Utility& copy)
{
    EXPECT_EQ("a", copy.GetNodeName());

    EXPECT_TRUE(copy.ActivateNode("b"));
    EXPECT_EQ("b", copy.GetNodeName());
    EXPECT_EQ("a", source.GetNodeName());

    // A new element under b, made through the copy, is found through the source.
    copy.CreateAndActivateNewElement("added");
    EXPECT_TRUE(source.ActivateNode("b"));
    EXPECT_TRUE(source.ActivateNode("added"));
    // And the other way round.
    source.CreateAndActivateNewElement("back");
    EXPECT_TRUE(copy.ActivateNode("back"));

    const std::string expected = kDeclaration + "<root>\n"
                                                "    <a>\n"
                                                "        <b>\n"
                                                "            <added>\n"
                                                "                <back/>\n"
                                                "            </added>\n"
                                                "        </b>\n"
                                                "    </a>\n"
                                                "    <c/>\n"
                                                "</root>\n";
    EXPECT_EQ(expected, saved(source));
    EXPECT_EQ(expected, saved(copy));

    // Each keeps the stack it built, starting from the copied entry.
    EXPECT_EQ((Names{"added", "b", "a", "root"}), unwind(source));
    EXPECT_EQ((Names{"added", "b", "a", "root"}), unwind(copy));
}

} // namespace

TEST(facade_lifecycle, copy_construction_shares_the_tree_but_moves_on_its_own)
{
    cXML_Utility source = loaded_on_a();
    cXML_Utility copy(source);
    expect_independent_copy_on_shared_tree(source, copy);
}

TEST(facade_lifecycle, assignment_shares_the_tree_but_moves_on_its_own)
{
    cXML_Utility source = loaded_on_a();
    cXML_Utility copy(1);
    ASSERT_TRUE(copy.CreateDocument("before"));
    copy = source;
    expect_independent_copy_on_shared_tree(source, copy);
}

TEST(facade_lifecycle, copy_keeps_the_stack_of_its_source)
{
    cXML_Utility source = loaded_on_a();
    ASSERT_TRUE(source.ActivateNode("b"));
    cXML_Utility constructed(source);
    cXML_Utility assigned;
    assigned = source;
    EXPECT_EQ((Names{"a", "root"}), unwind(constructed));
    EXPECT_EQ((Names{"a", "root"}), unwind(assigned));
    // Unwinding the copies left the source's stack alone.
    EXPECT_EQ("b", source.GetNodeName());
    EXPECT_EQ((Names{"a", "root"}), unwind(source));
}

TEST(facade_lifecycle, copy_keeps_the_mode_of_its_source)
{
    struct Row {
        unsigned int mode;
        bool parses;
        bool creates;
    };
    const Row rows[] = {{0u, true, false}, {1u, false, true}, {2u, false, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.mode);
        cXML_Utility source(row.mode);
        cXML_Utility constructed(source);
        cXML_Utility assigned(row.mode == 0 ? 1u : 0u);
        assigned = source;
        for (cXML_Utility* copy : {&constructed, &assigned}) {
            cXML_Utility second(*copy);
            EXPECT_EQ(row.parses, parse(*copy, kSample));
            EXPECT_EQ(row.creates, second.CreateDocument("config"));
        }
    }
}

TEST(facade_lifecycle, copy_of_an_iterator_facade_still_parses_afresh)
{
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    cXML_Utility child = from_iterator(xml, "a");
    ASSERT_EQ("a", child.GetNodeName());
    ASSERT_TRUE(child.ActivateNode("b"));

    cXML_Utility constructed(child);
    cXML_Utility assigned(0);
    assigned = child;
    for (cXML_Utility* copy : {&constructed, &assigned}) {
        EXPECT_TRUE(parse(*copy, kOther));
        EXPECT_EQ("other", copy->GetNodeName());
        // The flag travelled with the copy, so the stack was dropped.
        EXPECT_FALSE(copy->DeactivateNode());
    }

    // The same steps on a plain copy keep the stack.
    cXML_Utility plain_source = loaded_on_a();
    cXML_Utility plain(plain_source);
    EXPECT_TRUE(parse(plain, kOther));
    EXPECT_EQ((Names{"root"}), unwind(plain));
}

// ---- assignment ---------------------------------------------------------------------

TEST(facade_lifecycle, assigning_an_empty_object_throws_and_keeps_the_record)
{
    cXML_Utility target = loaded_on_a();
    ASSERT_TRUE(target.ActivateNode("b"));
    cXML_Utility empty;
    EXPECT_THROW_MSG(target = empty, cTextException, kEmptyAssign);

    EXPECT_EQ("b", target.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(target));
    EXPECT_FALSE(target.CreateDocument("config"));
    EXPECT_EQ((Names{"a", "root"}), unwind(target));
    EXPECT_TRUE(parse(target, kOther));
}

TEST(facade_lifecycle, assigning_an_empty_object_to_an_empty_object_throws)
{
    cXML_Utility target;
    cXML_Utility empty;
    EXPECT_THROW_MSG(target = empty, cTextException, kEmptyAssign);
    EXPECT_TRUE(target == empty);
}

TEST(facade_lifecycle, assigning_an_empty_object_to_an_unloaded_object_keeps_its_mode)
{
    cXML_Utility target(1);
    cXML_Utility empty;
    EXPECT_THROW_MSG(target = empty, cTextException, kEmptyAssign);
    EXPECT_FALSE(target == empty);
    EXPECT_TRUE(target.CreateDocument("config"));
}

TEST(facade_lifecycle, assigning_an_object_to_itself_does_nothing)
{
    cXML_Utility xml = loaded_on_a();
    ASSERT_TRUE(xml.ActivateNode("b"));
    cXML_Utility& same = xml;
    cXML_Utility& result = (xml = same);
    EXPECT_EQ(&xml, &result);

    EXPECT_EQ("b", xml.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(xml));
    EXPECT_FALSE(xml.CreateDocument("config"));
    EXPECT_EQ((Names{"a", "root"}), unwind(xml));
}

TEST(facade_lifecycle, assignment_replaces_mode_document_node_and_stack)
{
    cXML_Utility target(1);
    ASSERT_TRUE(target.CreateDocument("first"));
    target.CreateAndActivateNewElement("section");
    target.CreateAndActivateNewElement("key");

    cXML_Utility source = loaded_on_a();
    cXML_Utility& result = (target = source);
    EXPECT_EQ(&target, &result);

    EXPECT_EQ("a", target.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(target));
    EXPECT_FALSE(target.CreateDocument("config"));
    EXPECT_EQ((Names{"root"}), unwind(target));
    EXPECT_TRUE(parse(target, kOther));
}

// ---- comparison ----------------------------------------------------------------------

TEST(facade_lifecycle, only_two_empty_objects_compare_equal)
{
    cXML_Utility empty;
    cXML_Utility other_empty;
    cXML_Utility loaded(0);
    ASSERT_TRUE(parse(loaded, kSample));
    cXML_Utility copy(loaded);
    cXML_Utility created(1);
    ASSERT_TRUE(created.CreateDocument("root"));
    cXML_Utility unloaded(0);
    cXML_Utility unloaded_twin(0);

    struct Row {
        const char* what;
        cXML_Utility* left;
        cXML_Utility* right;
        bool equal;
    };
    const Row rows[] = {
        {"empty, other empty", &empty, &other_empty, true},
        {"empty, itself", &empty, &empty, true},
        {"loaded, itself", &loaded, &loaded, false},
        {"loaded, its copy", &loaded, &copy, false},
        {"copy, loaded", &copy, &loaded, false},
        {"loaded, another loaded object with the same root name", &loaded, &created, false},
        {"loaded, empty", &loaded, &empty, false},
        {"empty, loaded", &empty, &loaded, false},
        {"unloaded, itself", &unloaded, &unloaded, false},
        {"unloaded, its twin", &unloaded, &unloaded_twin, false},
        {"unloaded, empty", &unloaded, &empty, false},
        {"empty, unloaded", &empty, &unloaded, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.equal, *row.left == *row.right);
        const cXML_Utility& const_left = *row.left;
        EXPECT_EQ(row.equal, const_left == *row.right);
        EXPECT_EQ(!row.equal, *row.left != *row.right);
    }
}

TEST(facade_lifecycle, comparison_changes_nothing)
{
    cXML_Utility xml = loaded_on_a();
    cXML_Utility copy(xml);
    EXPECT_FALSE(xml == copy);
    EXPECT_TRUE(xml != copy);
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_EQ("a", copy.GetNodeName());
    EXPECT_EQ((Names{"root"}), unwind(xml));
}

// ---- CleanUp ---------------------------------------------------------------------------

TEST(facade_lifecycle, clean_up_makes_the_object_empty)
{
    cXML_Utility xml = loaded_on_a();
    cXML_Utility copy(xml);
    xml.CleanUp();
    EXPECT_TRUE(xml == cXML_Utility());
    EXPECT_FALSE(parse(xml, kSample));
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException, kEmptyStream);
    xml.CleanUp();
    EXPECT_TRUE(xml == cXML_Utility());

    // The copy has its own record and its own hold on the document.
    EXPECT_EQ("a", copy.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(copy));

    // Assignment gives an empty object a record again.
    xml = copy;
    EXPECT_EQ("a", xml.GetNodeName());
}

// ---- Parse ----------------------------------------------------------------------------------

TEST(facade_parse, buffer_makes_the_root_element_active)
{
    cXML_Utility xml(0);
    EXPECT_TRUE(parse(xml, kSample));
    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_FALSE(xml.DeactivateNode());
    EXPECT_EQ(kSampleSaved, saved(xml));
}

TEST(facade_parse, only_the_given_length_is_read)
{
    const std::string text = kSample + "<junk";
    cXML_Utility xml(0);
    EXPECT_TRUE(xml.Parse(text.data(), static_cast<unsigned int>(kSample.size())));
    EXPECT_EQ(kSampleSaved, saved(xml));
}

TEST(facade_parse, file_makes_the_root_element_active)
{
    cXML_Utility xml(0);
    EXPECT_TRUE(xml.Parse(kSettingsFile));
    EXPECT_EQ("settings", xml.GetNodeName());
    EXPECT_EQ(kSettingsSaved, saved(xml));
}

TEST(facade_parse, buffer_is_not_validated_unless_asked)
{
    const std::string text = "<r>\n <a/><b x=\"1\"/></r>";
    cXML_Utility lenient(0);
    EXPECT_TRUE(lenient.Parse(text.data(), static_cast<unsigned int>(text.size())));
    EXPECT_EQ("r", lenient.GetNodeName());
    cXML_Utility explicit_off(0);
    EXPECT_TRUE(explicit_off.Parse(text.data(), static_cast<unsigned int>(text.size()), false));

    cXML_Utility strict(0);
    EXPECT_THROW_MSG(strict.Parse(text.data(), static_cast<unsigned int>(text.size()), true), cTextException,
                     "Error at (file XMLRead_ParseBufferID, line 1, char 3): no declaration found for element 'r'\n");
    EXPECT_EQ("", strict.GetNodeName());
}

TEST(facade_parse, file_is_not_validated_unless_asked)
{
    cXML_Utility lenient(0);
    EXPECT_TRUE(lenient.Parse(kSettingsFile));
    cXML_Utility strict(0);
    bool thrown = false;
    try {
        strict.Parse(kSettingsFile, true);
    } catch (const cTextException& e) {
        thrown = true;
        const std::string message = e.what();
        EXPECT_EQ(0u, message.rfind("Error at (file ", 0)) << message;
        EXPECT_NE(std::string::npos, message.find("no declaration found for element 'settings'\n")) << message;
    }
    EXPECT_TRUE(thrown);
}

TEST(facade_parse, parse_error_keeps_former_document_node_and_stack)
{
    cXML_Utility xml = loaded_on_a();
    ASSERT_TRUE(xml.ActivateNode("b"));
    const std::string broken = "<r>\n  <a></r>";
    EXPECT_THROW_MSG(parse(xml, broken), cTextException,
                     "Fatal Error at (file XMLRead_ParseBufferID, line 2, char 8): expected end of tag 'a'\n");

    EXPECT_EQ("b", xml.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(xml));
    EXPECT_EQ((Names{"a", "root"}), unwind(xml));
}

TEST(facade_parse, file_errors_keep_former_document_and_node)
{
    TempDir dir;
    const fs::path missing = dir / "missing.xml";
    cXML_Utility xml = loaded_on_a();

    EXPECT_THROW_MSG(xml.Parse(missing.string()), cTextException,
                     "Fatal Error at (file , line 0, char 0): unable to open primary document entity '" +
                         missing.string() + "'\n");
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(xml));

    EXPECT_THROW(xml.Parse(std::string(XMLUTIL_TEST_DATA "/facade-broken.xml")), cTextException);
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(xml));
    EXPECT_EQ((Names{"root"}), unwind(xml));
}

TEST(facade_parse, parse_error_on_an_unloaded_object_leaves_it_without_document)
{
    cXML_Utility xml(0);
    EXPECT_THROW(parse(xml, "<r>"), cTextException);
    EXPECT_EQ("", xml.GetNodeName());
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException, kNoDocumentStream);
    EXPECT_TRUE(parse(xml, kSample));
    EXPECT_EQ("root", xml.GetNodeName());
}

TEST(facade_parse, second_parse_keeps_the_stack_of_the_former_document)
{
    cXML_Utility xml = loaded_on_a();
    ASSERT_TRUE(xml.ActivateNode("b"));
    EXPECT_TRUE(parse(xml, kOther));
    EXPECT_EQ("other", xml.GetNodeName());
    EXPECT_EQ(kDeclaration + "<other>\n    <x>\n        <y/>\n    </x>\n</other>\n", saved(xml));

    // Back into the former document: its nodes are still alive through the stack.
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_TRUE(xml.ActivateNode("b"));
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_TRUE(xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_FALSE(xml.DeactivateNode());
    EXPECT_EQ("root", xml.GetNodeName());
}

TEST(facade_parse, second_file_parse_keeps_the_stack_too)
{
    cXML_Utility xml = loaded_on_a();
    EXPECT_TRUE(xml.Parse(kSettingsFile));
    EXPECT_EQ("settings", xml.GetNodeName());
    EXPECT_EQ((Names{"root"}), unwind(xml));
}

TEST(facade_parse, iterator_facade_starts_from_a_fresh_record)
{
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    cXML_Utility child = from_iterator(xml, "a");
    ASSERT_EQ("a", child.GetNodeName());
    ASSERT_TRUE(child.ActivateNode("b"));

    EXPECT_TRUE(parse(child, kOther));
    EXPECT_EQ("other", child.GetNodeName());
    EXPECT_FALSE(child.DeactivateNode());
    EXPECT_EQ("other", child.GetNodeName());

    // The fresh record has the flag 0, so the next parse keeps the stack again.
    ASSERT_TRUE(child.ActivateNode("x"));
    EXPECT_TRUE(parse(child, kSample));
    EXPECT_EQ("root", child.GetNodeName());
    EXPECT_EQ((Names{"other"}), unwind(child));
    EXPECT_FALSE(child.CreateDocument("config"));

    // The source stayed where it was.
    EXPECT_EQ("root", xml.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(xml));
}

TEST(facade_parse, parse_error_on_an_iterator_facade_leaves_the_fresh_record)
{
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    cXML_Utility child = from_iterator(xml, "a");
    ASSERT_TRUE(child.ActivateNode("b"));

    EXPECT_THROW(parse(child, "<r>"), cTextException);
    EXPECT_EQ("", child.GetNodeName());
    EXPECT_FALSE(child.DeactivateNode());
    std::ostringstream out;
    EXPECT_THROW_MSG(child.SaveToStream(out), cTextException, kNoDocumentStream);
    EXPECT_TRUE(parse(child, kOther));
    EXPECT_EQ("other", child.GetNodeName());
}

TEST(facade_parse, record_flagged_as_from_iterator_is_rebuilt)
{
    DOM_Document doc = parse_text(kSample);
    DOM_Node root = doc.getDocumentElement();
    cXML_Utility xml(new cXML_UtilityData(0, 1, root.getFirstChild(), doc, std::deque<DOM_Node>{root, root}));
    EXPECT_TRUE(parse(xml, kOther));
    EXPECT_EQ("other", xml.GetNodeName());
    EXPECT_FALSE(xml.DeactivateNode());
}

TEST(facade_parse, refusal_comes_before_the_rebuild)
{
    DOM_Document doc = parse_text(kSample);
    DOM_Node root = doc.getDocumentElement();
    cXML_UtilityData* record = new cXML_UtilityData(1, 1, root.getFirstChild(), doc, std::deque<DOM_Node>{root});
    cXML_Utility xml(record);
    EXPECT_FALSE(parse(xml, kOther));
    EXPECT_EQ(1u, record->uiMode);
    EXPECT_EQ(1, record->bFromIterator);
    EXPECT_TRUE(record->ActiveNode == root.getFirstChild());
    EXPECT_TRUE(record->Document == doc);
    ASSERT_EQ(1u, record->NodeStack.size());
    EXPECT_TRUE(record->NodeStack.back() == root);
}

TEST(facade_parse, create_mode_object_refuses_and_keeps_its_document)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("config"));
    xml.CreateAndActivateNewElement("section");
    EXPECT_FALSE(parse(xml, kSample));
    EXPECT_FALSE(xml.Parse(kSettingsFile));
    EXPECT_EQ("section", xml.GetNodeName());
    EXPECT_EQ(kDeclaration + "<config>\n    <section/>\n</config>\n", saved(xml));
}

// ---- CreateDocument ---------------------------------------------------------------------------

TEST(facade_create_document, root_becomes_active_with_the_namespace_rule)
{
    struct Row {
        const char* root_name;
        const char* namespace_uri;
        const char* output;
    };
    const Row rows[] = {
        {"config", "config", "<config/>\n"},
        {"p:config", "p", "<p:config/>\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.root_name);
        cXML_UtilityData* record = new cXML_UtilityData(1, 0, DOM_Node(), DOM_Document(), {});
        cXML_Utility xml(record);
        EXPECT_TRUE(xml.CreateDocument(row.root_name));
        EXPECT_EQ(row.root_name, xml.GetNodeName());
        EXPECT_EQ(row.namespace_uri, str(record->ActiveNode.getNamespaceURI()));
        EXPECT_TRUE(record->Document.getDocumentElement() == record->ActiveNode);
        EXPECT_TRUE(record->NodeStack.empty());
        // The namespace is not written as an attribute.
        EXPECT_EQ(kDeclaration + row.output, saved(xml));
    }
}

TEST(facade_create_document, calling_again_starts_another_document_in_the_same_record)
{
    cXML_UtilityData* record = new cXML_UtilityData(1, 1, DOM_Node(), DOM_Document(), {});
    cXML_Utility xml(record);
    ASSERT_TRUE(xml.CreateDocument("first"));
    xml.CreateAndActivateNewElement("section");
    const DOM_Document first = record->Document;
    cXML_Utility old(xml);

    EXPECT_TRUE(xml.CreateDocument("second"));
    EXPECT_EQ("second", xml.GetNodeName());
    EXPECT_FALSE(record->Document == first);
    EXPECT_EQ(1, record->bFromIterator);
    EXPECT_EQ(kDeclaration + "<second/>\n", saved(xml));
    // The copy still has the first document, unchanged.
    EXPECT_EQ(kDeclaration + "<first>\n    <section/>\n</first>\n", saved(old));

    // The stack is left alone: it leads back into the first document.
    EXPECT_EQ((Names{"first"}), unwind(xml));
    EXPECT_EQ(kDeclaration + "<second/>\n", saved(xml));
}

TEST(facade_create_document, dom_rejection_keeps_the_former_document)
{
    struct Row {
        const char* root_name;
        int code;
    };
    const Row rows[] = {
        {":x", DOM_DOMException::NAMESPACE_ERR},
        {"xml:x", DOM_DOMException::NAMESPACE_ERR},
        {"a:b:c", DOM_DOMException::NAMESPACE_ERR},
        {"1x", DOM_DOMException::INVALID_CHARACTER_ERR},
        {"a b", DOM_DOMException::INVALID_CHARACTER_ERR},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.root_name);
        cXML_Utility xml(1);
        ASSERT_TRUE(xml.CreateDocument("keep"));
        xml.CreateAndActivateNewElement("inner");
        EXPECT_DOM_EXCEPTION(xml.CreateDocument(row.root_name), row.code);
        EXPECT_EQ("inner", xml.GetNodeName());
        EXPECT_EQ(kDeclaration + "<keep>\n    <inner/>\n</keep>\n", saved(xml));
        EXPECT_EQ((Names{"keep"}), unwind(xml));
    }
}

TEST(facade_create_document, parse_mode_object_refuses_and_keeps_its_document)
{
    cXML_Utility xml = loaded_on_a();
    EXPECT_FALSE(xml.CreateDocument("config"));
    EXPECT_EQ("a", xml.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(xml));
    EXPECT_EQ((Names{"root"}), unwind(xml));
}

TEST(facade_create_document, iterator_facade_refuses)
{
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    cXML_Utility child = from_iterator(xml, "c");
    ASSERT_EQ("c", child.GetNodeName());
    EXPECT_FALSE(child.CreateDocument("config"));
    EXPECT_EQ("c", child.GetNodeName());
}

// ---- SaveToStream ------------------------------------------------------------------------------

TEST(facade_save, stream_gets_the_whole_document_whatever_node_is_active)
{
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    std::ostringstream out;
    EXPECT_EQ(&out, &xml.SaveToStream(out));
    EXPECT_EQ(kSampleSaved, out.str());

    ASSERT_TRUE(xml.ActivateNode("a"));
    EXPECT_EQ(kSampleSaved, saved(xml));
    ASSERT_TRUE(xml.ActivateNode("b"));
    EXPECT_EQ(kSampleSaved, saved(xml));
    ASSERT_TRUE(xml.DeactivateNode());
    ASSERT_TRUE(xml.DeactivateNode());
    EXPECT_EQ(kSampleSaved, saved(xml));

    cXML_Utility found = xml.GetNodeByName("c");
    ASSERT_EQ("c", found.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(found));
    cXML_Utility child = from_iterator(xml, "a");
    ASSERT_EQ("a", child.GetNodeName());
    EXPECT_EQ(kSampleSaved, saved(child));
}

TEST(facade_save, stream_gets_a_created_document)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("config"));
    xml.CreateAndActivateNewElement("section");
    xml.CreateAndActivateNewElement("key");
    ASSERT_TRUE(xml.DeactivateNode());
    xml.CreateNewElement("other");
    EXPECT_EQ(kDeclaration + "<config>\n"
                             "    <section>\n"
                             "        <key/>\n"
                             "        <other/>\n"
                             "    </section>\n"
                             "</config>\n",
              saved(xml));
}

TEST(facade_save, stream_output_is_appended_to_what_the_stream_holds)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("r"));
    std::ostringstream out;
    out << "before\n";
    xml.SaveToStream(out) << "after";
    EXPECT_EQ("before\n" + kDeclaration + "<r/>\nafter", out.str());
}

TEST(facade_save, object_without_document_cannot_be_saved)
{
    TempDir dir;
    const fs::path existing = dir / "existing.xml";
    const fs::path missing = dir / "missing.xml";
    for (unsigned int mode : {0u, 1u, 2u}) {
        SCOPED_TRACE(mode);
        cXML_Utility xml(mode);
        std::ostringstream out;
        EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException, kNoDocumentStream);
        EXPECT_EQ("", out.str());

        write_file(existing, "keep me\n");
        EXPECT_THROW_MSG(xml.SaveToFile(existing.string()), cTextException, kNoDocumentFile);
        EXPECT_EQ("keep me\n", read_file(existing));
        EXPECT_THROW_MSG(xml.SaveToFile(missing.string(), 0), cTextException, kNoDocumentFile);
        EXPECT_FALSE(fs::exists(missing));
    }
}

// ---- SaveToFile ---------------------------------------------------------------------------------

TEST(facade_save, file_gets_the_whole_document_whatever_node_is_active)
{
    TempDir dir;
    const fs::path file = dir / "out.xml";
    cXML_Utility xml = loaded_on_a();
    ASSERT_TRUE(xml.ActivateNode("b"));
    xml.SaveToFile(file.string());
    EXPECT_EQ(kSampleSaved, read_file(file));
    EXPECT_EQ("b", xml.GetNodeName());
}

TEST(facade_save, file_content_is_replaced)
{
    TempDir dir;
    const fs::path file = dir / "out.xml";
    write_file(file, std::string(4096, 'z') + "\n");
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("r"));
    xml.SaveToFile(file.string());
    EXPECT_EQ(kDeclaration + "<r/>\n", read_file(file));
}

TEST(facade_save, second_argument_of_save_to_file_changes_nothing)
{
    TempDir dir;
    const fs::path file = dir / "out.xml";
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    const unsigned int modes[] = {
        0u,
        1u,
        2u,
        static_cast<unsigned int>(std::ios::app),
        static_cast<unsigned int>(std::ios::in),
        static_cast<unsigned int>(std::ios::ate),
        0xFFFFFFFFu,
    };
    for (unsigned int mode : modes) {
        SCOPED_TRACE(mode);
        write_file(file, std::string(1000, 'z'));
        xml.SaveToFile(file.string(), mode);
        EXPECT_EQ(kSampleSaved, read_file(file));
    }
}

TEST(facade_save, file_in_a_missing_directory_is_silently_not_written)
{
    TempDir dir;
    const fs::path missing_dir = dir / "no-such-dir";
    const fs::path file = missing_dir / "out.xml";
    cXML_Utility xml(0);
    ASSERT_TRUE(parse(xml, kSample));
    EXPECT_NO_THROW(xml.SaveToFile(file.string()));
    EXPECT_NO_THROW(xml.SaveToFile(file.string(), 1));
    EXPECT_FALSE(fs::exists(missing_dir));
    // The object is still fine afterwards.
    EXPECT_EQ(kSampleSaved, saved(xml));
}

TEST(facade_save, file_written_can_be_parsed_back)
{
    TempDir dir;
    const fs::path file = dir / "round.xml";
    cXML_Utility writer(0);
    ASSERT_TRUE(writer.Parse(kSettingsFile));
    writer.SaveToFile(file.string());
    cXML_Utility reader(0);
    ASSERT_TRUE(reader.Parse(file.string()));
    EXPECT_EQ(kSettingsSaved, saved(reader));
}

// ---- memory --------------------------------------------------------------------------------------

namespace {

std::string numbered_document(int count)
{
    std::string text = "<big>";
    for (int i = 0; i < count; ++i)
        text += "<item n='some attribute value'>some text content</item>";
    return text + "</big>";
}

// One round of everything that makes records and shares documents.
void churn(const std::string& text)
{
    cXML_Utility parsed(0);
    EXPECT_TRUE(parse(parsed, text));
    EXPECT_TRUE(parsed.ActivateNode("item"));
    cXML_Utility constructed(parsed);
    cXML_Utility assigned(1);
    EXPECT_TRUE(assigned.CreateDocument("gone"));
    assigned = constructed;
    cXML_Utility found = assigned.GetNodeByName("missing");
    cXML_Utility made = constructed.CreateNewElement("made");
    made.CreateAndActivateNewElement("deeper");
    EXPECT_TRUE(parsed.DeactivateNode());
    cXML_Utility child = from_iterator(parsed, "item");
    EXPECT_TRUE(parse(child, kOther));
    EXPECT_TRUE(parse(parsed, kSample));
    cXML_Utility created(1);
    EXPECT_TRUE(created.CreateDocument("a"));
    EXPECT_TRUE(created.CreateDocument("b"));
    cXML_Utility empty;
    cXML_Utility empty_copy(empty);
    found.CleanUp();
}

} // namespace

TEST(facade_memory, dropped_objects_leave_the_heap_where_it_was)
{
    const std::string text = numbered_document(50);
    // Warm up so that one-time allocations of Xerces-C are not counted.
    for (int i = 0; i < 20; ++i)
        churn(text);
    const std::size_t before = heap_in_use();
    for (int i = 0; i < 1000; ++i)
        churn(text);
    const std::size_t after = heap_in_use();
    EXPECT_LT(after, before + 64 * 1024) << "before " << before << " after " << after;
}

TEST(facade_memory, document_lives_while_any_object_holds_it)
{
    const std::string text = numbered_document(20000);
    const std::string small = numbered_document(5);
    for (int i = 0; i < 5; ++i)
        churn(small);
    const std::size_t baseline = heap_in_use();

    cXML_Utility kept;
    std::size_t loaded = 0;
    {
        cXML_Utility xml(0);
        ASSERT_TRUE(parse(xml, text));
        kept = xml.GetNodeByName("item");
        loaded = heap_in_use();
    }
    // The object that loaded the document is gone; the one it handed out holds it.
    EXPECT_GT(heap_in_use(), baseline + (loaded - baseline) / 2);
    EXPECT_EQ("item", kept.GetNodeName());
    EXPECT_TRUE(kept.DeactivateNode());
    EXPECT_EQ("big", kept.GetNodeName());

    kept.CleanUp();
    EXPECT_LT(heap_in_use(), baseline + 64 * 1024);
}

// A facade with static storage is destroyed after everything that belongs
// to the thread; its record must still be let go of cleanly (the sanitizer
// build checks the exit).
TEST(facade_lifecycle, static_facade_outlives_the_thread_state)
{
    static cXML_Utility kept(0);
    const std::string xml = "<r><a>1</a></r>";
    ASSERT_TRUE(kept.Parse(xml.data(), static_cast<unsigned int>(xml.size())));
    ASSERT_TRUE(kept.ActivateNode("a"));
    static cXMLiterator walk = kept.CreateIterator("");
    EXPECT_TRUE(walk.end());
    SUCCEED();
}
