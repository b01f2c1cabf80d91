// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

const std::string kDeclaration = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";

// A compact picture of a node's children: elements by name, text as
// text(value), anything else by its DOM name.
std::string children(const DOM_Node& node)
{
    std::string out;
    for (DOM_Node child = node.getFirstChild(); !child.isNull(); child = child.getNextSibling()) {
        if (!out.empty())
            out += ",";
        if (child.getNodeType() == DOM_Node::TEXT_NODE)
            out += "text(" + str(child.getNodeValue()) + ")";
        else
            out += str(child.getNodeName());
    }
    return out;
}

// A parsed document the test can inspect through its own handles, with
// facades that stand on its root. The facade gets a record of its own, so
// whatever it changes is seen here.
struct Tree {
    explicit Tree(const std::string& xml) : doc(parse_text(xml)), root(doc.getDocumentElement()) {}

    cXML_Utility facade() const
    {
        return cXML_Utility(new cXML_UtilityData(0, 0, root, doc, std::deque<DOM_Node>()));
    }

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

using Facades = std::vector<std::pair<std::string, std::unique_ptr<cXML_Utility>>>;

// Every way of holding no record at all.
Facades empty_facades()
{
    Facades out;
    out.emplace_back("default-made", std::make_unique<cXML_Utility>());
    out.emplace_back("cleaned up", std::make_unique<cXML_Utility>(0));
    out.back().second->CleanUp();
    out.emplace_back("from a null record", std::make_unique<cXML_Utility>(static_cast<cXML_UtilityData*>(nullptr)));
    return out;
}

// Facades that hold a record but stand on no node. `source` must outlive them.
Facades facades_without_active_node(const cXML_Utility& source)
{
    Facades out;
    out.emplace_back("mode 0, never parsed", std::make_unique<cXML_Utility>(0));
    out.emplace_back("mode 1, no document created", std::make_unique<cXML_Utility>(1));
    out.emplace_back("mode 2", std::make_unique<cXML_Utility>(2));
    out.emplace_back("lookup that found nothing", std::make_unique<cXML_Utility>(source.GetNodeByName("none")));
    return out;
}

struct ThrowCase {
    const char* operation;
    std::function<void(cXML_Utility&)> call;
    const char* message;
};

// How the default of a reading call is passed.
enum class Default { literal, std_string, char_array };

const Default kAllDefaults[] = {Default::literal, Default::std_string, Default::char_array};

} // namespace

// ---- Empty objects ------------------------------------------------------------

TEST(facade_data, every_operation_on_an_empty_object_throws_its_message)
{
    const char* const save_data = "cXML_Utility::SaveNodeData(): cannot save data to an empty class!";
    const char* const save_text = "cXML_Utility::SaveDataToNode(): cannot save data to an empty class!";
    const char* const save_attr = "cXML_Utility::SaveNodeAttribute(): cannot set an attribute to an empty class!";
    const char* const read_attr = "cXML_Utility::ReadNodeAttribute(): cannot read from empty class!";
    const char* const read_data = "cXML_Utility::ReadNodeData(): cannot read from empty class!";
    const std::vector<ThrowCase> cases = {
        {"SaveNodeData", [](cXML_Utility& x) { x.SaveNodeData("n", "t"); }, save_data},
        {"SaveDataToNode", [](cXML_Utility& x) { x.SaveDataToNode("t"); }, save_text},
        {"SaveNodeAttribute", [](cXML_Utility& x) { x.SaveNodeAttribute("a", "1"); }, save_attr},
        {"ReadNodeAttribute",
         [](cXML_Utility& x) {
             std::string s;
             x.ReadNodeAttribute("a", s, "d");
         },
         read_attr},
        {"ReadNodeData",
         [](cXML_Utility& x) {
             std::string s;
             x.ReadNodeData(s, "d");
         },
         read_data},
        // Shares the message of ReadNodeData on purpose.
        {"ReadNodeDataFrom",
         [](cXML_Utility& x) {
             std::string s;
             x.ReadNodeDataFrom("k", s, "d");
         },
         read_data},
        {"free SaveNodeData", [](cXML_Utility& x) { SaveNodeData(x, "n", "t"); }, save_data},
        {"free SaveDataToNode", [](cXML_Utility& x) { SaveDataToNode(x, "t"); }, save_text},
        {"free SaveNodeAttribute", [](cXML_Utility& x) { SaveNodeAttribute(x, "a", "1"); }, save_attr},
        {"free ReadNodeAttribute, char*",
         [](cXML_Utility& x) {
             std::string s;
             char dflt[] = "d";
             ReadNodeAttribute(x, "a", s, dflt);
         },
         read_attr},
        {"free ReadNodeAttribute, std::string",
         [](cXML_Utility& x) {
             std::string s;
             ReadNodeAttribute(x, "a", s, std::string("d"));
         },
         read_attr},
        {"free ReadNodeData, char*",
         [](cXML_Utility& x) {
             std::string s;
             char dflt[] = "d";
             ReadNodeData(x, s, dflt);
         },
         read_data},
        {"free ReadNodeData, std::string",
         [](cXML_Utility& x) {
             std::string s;
             ReadNodeData(x, s, std::string("d"));
         },
         read_data},
        {"free ReadNodeData with name, char*",
         [](cXML_Utility& x) {
             std::string s;
             char dflt[] = "d";
             ReadNodeData(x, "k", s, dflt);
         },
         read_data},
        {"free ReadNodeData with name, std::string",
         [](cXML_Utility& x) {
             std::string s;
             ReadNodeData(x, "k", s, std::string("d"));
         },
         read_data},
    };

    for (auto& empty : empty_facades()) {
        for (const ThrowCase& c : cases) {
            SCOPED_TRACE(empty.first + ": " + c.operation);
            EXPECT_THROW_MSG(c.call(*empty.second), cTextException, c.message);
        }
    }
}

TEST(facade_data, reading_an_empty_object_leaves_the_output_untouched)
{
    cXML_Utility empty;
    const cXML_Utility& c = empty;
    char dflt[] = "d";
    std::string s = "keep";

    EXPECT_THROW(c.ReadNodeData(s, "d"), cTextException);
    EXPECT_EQ("keep", s);
    EXPECT_THROW(c.ReadNodeDataFrom("k", s, "d"), cTextException);
    EXPECT_EQ("keep", s);
    EXPECT_THROW(c.ReadNodeAttribute("a", s, "d"), cTextException);
    EXPECT_EQ("keep", s);
    EXPECT_THROW(ReadNodeData(c, s, dflt), cTextException);
    EXPECT_EQ("keep", s);
    EXPECT_THROW(ReadNodeData(c, "k", s, dflt), cTextException);
    EXPECT_EQ("keep", s);
    EXPECT_THROW(ReadNodeAttribute(c, "a", s, dflt), cTextException);
    EXPECT_EQ("keep", s);
}

// ---- Records without an active node ----------------------------------------------

TEST(facade_data, reading_without_an_active_node_gives_false_and_the_default)
{
    Tree t("<r a='1'><k>v</k>text</r>");
    const cXML_Utility source = t.facade();

    for (auto& f : facades_without_active_node(source)) {
        SCOPED_TRACE(f.first);
        const cXML_Utility& xml = *f.second;
        std::string s = "old";
        EXPECT_FALSE(xml.ReadNodeData(s, "d1"));
        EXPECT_EQ("d1", s);
        EXPECT_FALSE(xml.ReadNodeDataFrom("k", s, "d2"));
        EXPECT_EQ("d2", s);
        EXPECT_FALSE(xml.ReadNodeAttribute("a", s, "d3"));
        EXPECT_EQ("d3", s);
        EXPECT_FALSE(ReadNodeData(xml, s, "d4"));
        EXPECT_EQ("d4", s);
        EXPECT_FALSE(ReadNodeData(xml, "k", s, "d5"));
        EXPECT_EQ("d5", s);
        EXPECT_FALSE(ReadNodeAttribute(xml, "a", s, "d6"));
        EXPECT_EQ("d6", s);
    }
}

TEST(facade_data, writing_without_an_active_node_throws_and_changes_nothing)
{
    const char* const save_data = "cXML_Utility::SaveNodeData(): cannot save data without an active node!";
    const char* const save_text = "cXML_Utility::SaveDataToNode(): cannot save data without an active node!";
    const char* const save_attr =
        "cXML_Utility::SaveNodeAttribute(): cannot set an attribute without an active element!";
    const std::vector<ThrowCase> cases = {
        {"SaveNodeData", [](cXML_Utility& x) { x.SaveNodeData("n", "t"); }, save_data},
        {"SaveDataToNode", [](cXML_Utility& x) { x.SaveDataToNode("t"); }, save_text},
        {"SaveNodeAttribute", [](cXML_Utility& x) { x.SaveNodeAttribute("a", "2"); }, save_attr},
        {"free SaveNodeData", [](cXML_Utility& x) { SaveNodeData(x, "n", "t"); }, save_data},
        {"free SaveDataToNode", [](cXML_Utility& x) { SaveDataToNode(x, "t"); }, save_text},
        {"free SaveNodeAttribute", [](cXML_Utility& x) { SaveNodeAttribute(x, "a", "2"); }, save_attr},
    };
    Tree t("<r a='1'><k>v</k></r>");
    const cXML_Utility source = t.facade();

    for (auto& f : facades_without_active_node(source)) {
        for (const ThrowCase& c : cases) {
            SCOPED_TRACE(f.first + ": " + c.operation);
            EXPECT_THROW_MSG(c.call(*f.second), cTextException, c.message);
        }
    }
    // The lookup that found nothing shares this document: it must be untouched.
    EXPECT_EQ("k", children(t.root));
    EXPECT_EQ("text(v)", children(t.child(0)));
    EXPECT_EQ("1", str(t.root.getAttributes().getNamedItem("a").getNodeValue()));
    EXPECT_EQ(1u, t.root.getAttributes().getLength());
}

TEST(facade_data, attribute_on_a_node_that_is_not_an_element_throws)
{
    Tree t("<!DOCTYPE r [<!ENTITY e 'x'>]><r><?pi data?>&e;</r>");
    cXML_Utility source = t.facade();
    cXMLiterator it = source.CreateIterator("");
    ASSERT_FALSE(it.end());
    cXML_Utility pi = *it;
    ++it;
    ASSERT_FALSE(it.end());
    cXML_Utility entity = *it;
    ASSERT_EQ("pi", pi.GetNodeName());
    ASSERT_EQ("e", entity.GetNodeName());

    for (cXML_Utility* xml : {&pi, &entity}) {
        SCOPED_TRACE(xml->GetNodeName());
        EXPECT_THROW_MSG(xml->SaveNodeAttribute("a", "1"), cTextException,
                         "cXML_Utility::SaveNodeAttribute(): cannot set an attribute without an active element!");
        EXPECT_THROW_MSG(SaveNodeAttribute(*xml, "a", "1"), cTextException,
                         "cXML_Utility::SaveNodeAttribute(): cannot set an attribute without an active element!");
        std::string s = "old";
        EXPECT_FALSE(xml->ReadNodeAttribute("a", s, "dflt"));
        EXPECT_EQ("dflt", s);
    }
    EXPECT_EQ("pi,e", children(t.root));
}

// ---- Errors of the DOM ------------------------------------------------------------

TEST(facade_data, invalid_names_pass_the_dom_exception_through)
{
    const std::vector<std::pair<const char*, std::function<void(cXML_Utility&)>>> cases = {
        {"SaveNodeData 1x", [](cXML_Utility& x) { x.SaveNodeData("1x", "t"); }},
        {"SaveNodeData a b", [](cXML_Utility& x) { x.SaveNodeData("a b", "t"); }},
        {"SaveNodeData empty name", [](cXML_Utility& x) { x.SaveNodeData("", "t"); }},
        {"free SaveNodeData 1x", [](cXML_Utility& x) { SaveNodeData(x, "1x", "t"); }},
        {"SaveNodeAttribute a b", [](cXML_Utility& x) { x.SaveNodeAttribute("a b", "v"); }},
        {"SaveNodeAttribute 1x", [](cXML_Utility& x) { x.SaveNodeAttribute("1x", "v"); }},
        {"SaveNodeAttribute empty name", [](cXML_Utility& x) { x.SaveNodeAttribute("", "v"); }},
        {"free SaveNodeAttribute a b", [](cXML_Utility& x) { SaveNodeAttribute(x, "a b", "v"); }},
    };
    Tree t("<r><k>v</k></r>");
    cXML_Utility xml = t.facade();

    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        EXPECT_DOM_EXCEPTION(c.second(xml), DOM_DOMException::INVALID_CHARACTER_ERR);
    }
    // The element name is refused before anything is appended.
    EXPECT_EQ("k", children(t.root));
    EXPECT_EQ(0u, t.root.getAttributes().getLength());
    EXPECT_EQ("r", xml.GetNodeName());
}

// ---- ReadNodeAttribute ------------------------------------------------------------

TEST(facade_data, read_attribute_missing_present_and_empty)
{
    struct Row {
        const char* name;
        bool found;
        const char* value;
    };
    const Row rows[] = {
        {"id", true, "7"},
        {"empty", true, ""},
        {"spaced", true, "  x y  "},
        {"amp", true, "a & b"},
        {"missing", false, "dflt"},
        {"ID", false, "dflt"},
        {"i", false, "dflt"},
        {"idx", false, "dflt"},
    };
    Tree t("<r id='7' empty='' spaced='  x y  ' amp='a &amp; b'><c id='child'/></r>");
    const cXML_Utility xml = t.facade();

    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string value = "previous";
        EXPECT_EQ(row.found, xml.ReadNodeAttribute(row.name, value, "dflt"));
        EXPECT_EQ(row.value, value);
    }
}

TEST(facade_data, read_attribute_with_an_empty_default_for_a_missing_attribute)
{
    const cXML_Utility xml = parsed("<r a='1'/>");
    std::string value = "previous";

    EXPECT_FALSE(xml.ReadNodeAttribute("b", value, ""));
    EXPECT_EQ("", value);
}

TEST(facade_data, read_attribute_acts_on_the_active_node)
{
    cXML_Utility xml = parsed("<r a='root'><s a='section'/></r>");
    std::string value;

    ASSERT_TRUE(xml.ActivateNode("s"));
    EXPECT_TRUE(xml.ReadNodeAttribute("a", value, "dflt"));
    EXPECT_EQ("section", value);
    ASSERT_TRUE(xml.DeactivateNode());
    EXPECT_TRUE(xml.ReadNodeAttribute("a", value, "dflt"));
    EXPECT_EQ("root", value);
}

// ---- ReadNodeData -------------------------------------------------------------------

TEST(facade_data, read_data_takes_the_first_text_child)
{
    struct Row {
        const char* xml;
        bool found;
        const char* data;
    };
    const Row rows[] = {
        {"<v>  42 </v>", true, "  42 "},
        {"<v/>", false, "dflt"},
        {"<v></v>", false, "dflt"},
        {"<v><w/></v>", false, "dflt"},
        {"<v><![CDATA[x]]></v>", false, "dflt"},
        {"<v><!--c--></v>", false, "dflt"},
        {"<v><w/>text</v>", true, "text"},
        {"<v><w>inner</w>outer</v>", true, "outer"},
        {"<v><![CDATA[x]]>after</v>", true, "after"},
        {"<v>a<!--c-->b</v>", true, "a"},
        {"<v>\n  <w/>\n</v>", true, "\n  "},
        {"<v>a &amp; b &lt; c</v>", true, "a & b < c"},
        {"<v>K&#228;se</v>", true, "K\xE4se"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.xml);
        const cXML_Utility xml = parsed(row.xml);
        std::string data = "previous";
        EXPECT_EQ(row.found, xml.ReadNodeData(data, "dflt"));
        EXPECT_EQ(row.data, data);
    }
}

TEST(facade_data, read_data_from_a_child_follows_the_name_rule)
{
    struct Row {
        const char* xml;
        const char* name;
        bool found;
        const char* data;
    };
    const Row rows[] = {
        {"<a><c>1</c><c>2</c></a>", "c", true, "1"},
        {"<a><b><c>1</c></b><c>2</c></a>", "c", false, "dflt"},
        {"<a><b><c>1</c></b><c>2</c></a>", "b", false, "dflt"},
        {"<a><c>1</c></a>", "C", false, "dflt"},
        {"<a><cc>1</cc></a>", "c", false, "dflt"},
        {"<a><c>1</c></a>", "cc", false, "dflt"},
        {"<a><x>7</x><y>8</y></a>", "*", true, "7"},
        {"<a><c/></a>", "c", false, "dflt"},
        {"<a><c> 5 </c></a>", "c", true, " 5 "},
        {"<a>c</a>", "c", false, "dflt"},
        {"<a/>", "c", false, "dflt"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.xml) + " / " + row.name);
        const cXML_Utility xml = parsed(row.xml);
        std::string data = "previous";
        EXPECT_EQ(row.found, xml.ReadNodeDataFrom(row.name, data, "dflt"));
        EXPECT_EQ(row.data, data);
    }
}

TEST(facade_data, read_data_acts_on_the_active_node)
{
    cXML_Utility xml = parsed("<r>root<s>section<k>key</k></s><k>top</k></r>");
    std::string data;

    ASSERT_TRUE(xml.ActivateNode("s"));
    EXPECT_TRUE(xml.ReadNodeData(data, "dflt"));
    EXPECT_EQ("section", data);
    EXPECT_TRUE(xml.ReadNodeDataFrom("k", data, "dflt"));
    EXPECT_EQ("key", data);
    ASSERT_TRUE(xml.DeactivateNode());
    EXPECT_TRUE(xml.ReadNodeData(data, "dflt"));
    EXPECT_EQ("root", data);
    // The first k in document order lies inside s, so the direct child is not found.
    EXPECT_FALSE(xml.ReadNodeDataFrom("k", data, "dflt"));
    EXPECT_EQ("dflt", data);
}

TEST(facade_data, typical_reading_of_a_configuration_file)
{
    cXML_Utility xml(0);
    ASSERT_TRUE(xml.Parse(std::string(XMLUTIL_TEST_DATA) + "/facade-data-config.xml"));
    std::string s;

    EXPECT_TRUE(xml.ReadNodeAttribute("version", s, "1"));
    EXPECT_EQ("2", s);
    EXPECT_TRUE(xml.ReadNodeData(s, "dflt"));
    EXPECT_EQ("\n    ", s);
    ASSERT_TRUE(xml.ActivateNode("database"));
    EXPECT_TRUE(xml.ReadNodeAttribute("driver", s, "none"));
    EXPECT_EQ("pg", s);
    EXPECT_TRUE(xml.ReadNodeAttribute("timeout", s, "30"));
    EXPECT_EQ("", s);
    EXPECT_FALSE(xml.ReadNodeAttribute("retries", s, "3"));
    EXPECT_EQ("3", s);
    EXPECT_TRUE(xml.ReadNodeDataFrom("host", s, "localhost"));
    EXPECT_EQ("db.example.org", s);
    EXPECT_TRUE(xml.ReadNodeDataFrom("port", s, "0"));
    EXPECT_EQ(" 5432 ", s);
    EXPECT_FALSE(xml.ReadNodeDataFrom("user", s, "nobody"));
    EXPECT_EQ("nobody", s);
    EXPECT_FALSE(xml.ReadNodeDataFrom("password", s, "secret"));
    EXPECT_EQ("secret", s);
    ASSERT_TRUE(xml.DeactivateNode());
    EXPECT_TRUE(xml.ReadNodeDataFrom("title", s, ""));
    EXPECT_EQ("K\xE4se & Brot", s);
    EXPECT_EQ("config", xml.GetNodeName());
}

// ---- Free twins and string literals --------------------------------------------------

TEST(facade_data, free_twins_read_what_the_members_read)
{
    struct Row {
        const char* xml;
        const char* name;
    };
    const Row rows[] = {
        {"<r a='1'><k>v</k>text</r>", "k"},
        {"<r a=''><k/></r>", "k"},
        {"<r><k>v</k></r>", "none"},
        {"<r/>", "k"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.xml);
        const cXML_Utility xml = parsed(row.xml);
        char dflt[] = "dflt";
        std::string member;
        std::string free_char;
        std::string free_string;

        const bool data_member = xml.ReadNodeData(member, "dflt");
        EXPECT_EQ(data_member, ReadNodeData(xml, free_char, dflt));
        EXPECT_EQ(data_member, ReadNodeData(xml, free_string, std::string("dflt")));
        EXPECT_EQ(member, free_char);
        EXPECT_EQ(member, free_string);

        const bool from_member = xml.ReadNodeDataFrom(row.name, member, "dflt");
        EXPECT_EQ(from_member, ReadNodeData(xml, row.name, free_char, dflt));
        EXPECT_EQ(from_member, ReadNodeData(xml, row.name, free_string, std::string("dflt")));
        EXPECT_EQ(member, free_char);
        EXPECT_EQ(member, free_string);

        const bool attr_member = xml.ReadNodeAttribute("a", member, "dflt");
        EXPECT_EQ(attr_member, ReadNodeAttribute(xml, "a", free_char, dflt));
        EXPECT_EQ(attr_member, ReadNodeAttribute(xml, "a", free_string, std::string("dflt")));
        EXPECT_EQ(member, free_char);
        EXPECT_EQ(member, free_string);
    }
}

TEST(facade_data, every_kind_of_default_gives_the_same_result)
{
    Tree hit_tree("<r a='1'><k>v</k>text</r>");
    Tree miss_tree("<r><w/></r>");
    const cXML_Utility hit = hit_tree.facade();
    const cXML_Utility miss = miss_tree.facade();
    const DOM_Node hit_node = hit_tree.root;
    const DOM_Node miss_node = miss_tree.root;

    struct Row {
        const char* form;
        std::function<bool(std::string&, Default)> read;
        bool found;
        const char* value;
    };
    // Each reading call with the default "dflt" passed as a string literal,
    // a std::string or a writable char array.
    auto member_data = [](const cXML_Utility& xml) {
        return [x = &xml](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return x->ReadNodeData(s, "dflt");
            case Default::std_string: return x->ReadNodeData(s, std::string("dflt"));
            case Default::char_array: return x->ReadNodeData(s, dflt);
            }
            return false;
        };
    };
    auto member_from = [](const cXML_Utility& xml, const char* name) {
        return [x = &xml, name](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return x->ReadNodeDataFrom(name, s, "dflt");
            case Default::std_string: return x->ReadNodeDataFrom(name, s, std::string("dflt"));
            case Default::char_array: return x->ReadNodeDataFrom(name, s, dflt);
            }
            return false;
        };
    };
    auto member_attr = [](const cXML_Utility& xml, const char* name) {
        return [x = &xml, name](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return x->ReadNodeAttribute(name, s, "dflt");
            case Default::std_string: return x->ReadNodeAttribute(name, s, std::string("dflt"));
            case Default::char_array: return x->ReadNodeAttribute(name, s, dflt);
            }
            return false;
        };
    };
    auto free_data = [](const cXML_Utility& xml) {
        return [x = &xml](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return ReadNodeData(*x, s, "dflt");
            case Default::std_string: return ReadNodeData(*x, s, std::string("dflt"));
            case Default::char_array: return ReadNodeData(*x, s, dflt);
            }
            return false;
        };
    };
    // The name is a literal too, as callers write it.
    auto free_from = [](const cXML_Utility& xml) {
        return [x = &xml](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return ReadNodeData(*x, "k", s, "dflt");
            case Default::std_string: return ReadNodeData(*x, "k", s, std::string("dflt"));
            case Default::char_array: return ReadNodeData(*x, "k", s, dflt);
            }
            return false;
        };
    };
    auto free_attr = [](const cXML_Utility& xml) {
        return [x = &xml](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return ReadNodeAttribute(*x, "a", s, "dflt");
            case Default::std_string: return ReadNodeAttribute(*x, "a", s, std::string("dflt"));
            case Default::char_array: return ReadNodeAttribute(*x, "a", s, dflt);
            }
            return false;
        };
    };
    auto node_data = [](const DOM_Node& node) {
        return [n = &node](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return ReadNodeData(*n, s, "dflt");
            case Default::std_string: return ReadNodeData(*n, s, std::string("dflt"));
            case Default::char_array: return ReadNodeData(*n, s, dflt);
            }
            return false;
        };
    };
    auto node_from = [](const DOM_Node& node) {
        return [n = &node](std::string& s, Default d) {
            char dflt[] = "dflt";
            switch (d) {
            case Default::literal: return ReadNodeData(*n, "k", s, "dflt");
            case Default::std_string: return ReadNodeData(*n, "k", s, std::string("dflt"));
            case Default::char_array: return ReadNodeData(*n, "k", s, dflt);
            }
            return false;
        };
    };

    const std::vector<Row> rows = {
        {"member ReadNodeData, found", member_data(hit), true, "text"},
        {"member ReadNodeData, missing", member_data(miss), false, "dflt"},
        {"member ReadNodeDataFrom, found", member_from(hit, "k"), true, "v"},
        {"member ReadNodeDataFrom, missing", member_from(hit, "none"), false, "dflt"},
        {"member ReadNodeAttribute, found", member_attr(hit, "a"), true, "1"},
        {"member ReadNodeAttribute, missing", member_attr(hit, "b"), false, "dflt"},
        {"free ReadNodeData, found", free_data(hit), true, "text"},
        {"free ReadNodeData, missing", free_data(miss), false, "dflt"},
        {"free ReadNodeData with name, found", free_from(hit), true, "v"},
        {"free ReadNodeData with name, missing", free_from(miss), false, "dflt"},
        {"free ReadNodeAttribute, found", free_attr(hit), true, "1"},
        {"free ReadNodeAttribute, missing", free_attr(miss), false, "dflt"},
        {"DOM ReadNodeData, found", node_data(hit_node), true, "text"},
        {"DOM ReadNodeData, missing", node_data(miss_node), false, "dflt"},
        {"DOM ReadNodeData with name, found", node_from(hit_node), true, "v"},
        {"DOM ReadNodeData with name, missing", node_from(miss_node), false, "dflt"},
    };

    const char* const kinds[] = {"literal", "std::string", "char array"};
    for (const Row& row : rows) {
        for (Default d : kAllDefaults) {
            SCOPED_TRACE(std::string(row.form) + ", default as " + kinds[static_cast<int>(d)]);
            std::string s = "previous";
            EXPECT_EQ(row.found, row.read(s, d));
            EXPECT_EQ(row.value, s);
        }
    }
}

// ---- SaveNodeData --------------------------------------------------------------------

TEST(facade_data, saved_node_data_reads_back_from_the_same_active_node)
{
    Tree t("<r><s/></r>");
    cXML_Utility xml = t.facade();
    ASSERT_TRUE(xml.ActivateNode("s"));
    std::string data;

    EXPECT_FALSE(xml.ReadNodeDataFrom("n", data, "dflt"));
    xml.SaveNodeData("n", "t");
    EXPECT_TRUE(xml.ReadNodeDataFrom("n", data, "dflt"));
    EXPECT_EQ("t", data);
    EXPECT_EQ("s", xml.GetNodeName());
    EXPECT_EQ("n", children(t.child(0)));
    EXPECT_EQ("text(t)", children(t.child(0).getFirstChild()));
}

TEST(facade_data, save_node_data_always_appends_a_new_last_child)
{
    Tree t("<r><n>old</n><m/></r>");
    cXML_Utility xml = t.facade();
    std::string data;

    xml.SaveNodeData("n", "new");
    SaveNodeData(xml, "n", "newer");

    EXPECT_EQ("n,m,n,n", children(t.root));
    EXPECT_EQ("text(old)", children(t.child(0)));
    EXPECT_EQ("text(new)", children(t.child(2)));
    EXPECT_EQ("text(newer)", children(t.child(3)));
    // Reading by name still finds the first child of that name.
    EXPECT_TRUE(xml.ReadNodeDataFrom("n", data, "dflt"));
    EXPECT_EQ("old", data);
}

TEST(facade_data, save_node_data_keeps_the_text_as_given)
{
    Tree t("<r/>");
    cXML_Utility xml = t.facade();
    std::string data;

    xml.SaveNodeData("blank", "");
    xml.SaveNodeData("spaced", "  a <b> & c  ");

    EXPECT_EQ("blank,spaced", children(t.root));
    EXPECT_EQ("text()", children(t.child(0)));
    EXPECT_TRUE(xml.ReadNodeDataFrom("blank", data, "dflt"));
    EXPECT_EQ("", data);
    EXPECT_TRUE(xml.ReadNodeDataFrom("spaced", data, "dflt"));
    EXPECT_EQ("  a <b> & c  ", data);
}

TEST(facade_data, latin_1_text_round_trips_and_is_written_as_references)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("r"));
    std::string s;

    xml.SaveNodeData("k", "K\xE4se");
    xml.SaveNodeAttribute("gru\xDF", "\xD6l");

    EXPECT_TRUE(xml.ReadNodeDataFrom("k", s, ""));
    EXPECT_EQ("K\xE4se", s);
    EXPECT_TRUE(xml.ReadNodeAttribute("gru\xDF", s, ""));
    EXPECT_EQ("\xD6l", s);
    // Names are written as they are; only values are escaped.
    EXPECT_EQ(kDeclaration + "<r gru\xDF=\"&#214;l\">\n    <k>K&#228;se</k>\n</r>\n", saved(xml));
}

// ---- SaveDataToNode --------------------------------------------------------------------

TEST(facade_data, save_data_to_node_replaces_only_the_first_text_child)
{
    struct Row {
        const char* xml;
        const char* after;
    };
    const Row rows[] = {
        {"<a/>", "text(z)"},
        {"<a><b/></a>", "b,text(z)"},
        {"<a>x<b/>y</a>", "text(z),b,text(y)"},
        {"<a>\n  <b/>\n</a>", "text(z),b,text(\n)"},
        {"<a><b>inner</b></a>", "b,text(z)"},
        {"<a><![CDATA[c]]></a>", "#cdata-section,text(z)"},
        {"<a><!--c-->x</a>", "#comment,text(z)"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.xml);
        Tree t(row.xml);
        cXML_Utility xml = t.facade();
        xml.SaveDataToNode("z");
        EXPECT_EQ(row.after, children(t.root));
    }
}

TEST(facade_data, save_data_to_node_twice_leaves_one_text_child_with_the_second_text)
{
    Tree t("<r><s/></r>");
    cXML_Utility xml = t.facade();
    ASSERT_TRUE(xml.ActivateNode("s"));
    std::string data;

    xml.SaveDataToNode("first");
    xml.SaveDataToNode("second");

    EXPECT_EQ("text(second)", children(t.child(0)));
    EXPECT_TRUE(xml.ReadNodeData(data, "dflt"));
    EXPECT_EQ("second", data);
    EXPECT_EQ("s", children(t.root));
}

TEST(facade_data, save_data_to_node_with_empty_text_reads_back_empty)
{
    Tree t("<r>old</r>");
    cXML_Utility xml = t.facade();
    std::string data;

    SaveDataToNode(xml, "");

    EXPECT_EQ("text()", children(t.root));
    EXPECT_TRUE(xml.ReadNodeData(data, "dflt"));
    EXPECT_EQ("", data);
}

// ---- SaveNodeAttribute ---------------------------------------------------------------

TEST(facade_data, save_attribute_adds_or_replaces_a_value)
{
    Tree t("<r k='old' j='x'/>");
    cXML_Utility xml = t.facade();
    std::string value;

    xml.SaveNodeAttribute("k", "new");
    EXPECT_TRUE(xml.ReadNodeAttribute("k", value, "dflt"));
    EXPECT_EQ("new", value);
    EXPECT_EQ(2u, t.root.getAttributes().getLength());

    SaveNodeAttribute(xml, "added", "");
    EXPECT_TRUE(xml.ReadNodeAttribute("added", value, "dflt"));
    EXPECT_EQ("", value);
    EXPECT_EQ(3u, t.root.getAttributes().getLength());

    SaveNodeAttribute(xml, "k", "newer");
    EXPECT_TRUE(ReadNodeAttribute(xml, "k", value, "dflt"));
    EXPECT_EQ("newer", value);
    EXPECT_EQ("newer", str(t.root.getAttributes().getNamedItem("k").getNodeValue()));
    EXPECT_EQ("x", str(t.root.getAttributes().getNamedItem("j").getNodeValue()));
    EXPECT_EQ(3u, t.root.getAttributes().getLength());
}

TEST(facade_data, save_attribute_acts_on_the_active_node)
{
    Tree t("<r><s/></r>");
    cXML_Utility xml = t.facade();
    ASSERT_TRUE(xml.ActivateNode("s"));

    xml.SaveNodeAttribute("on", "1");

    EXPECT_EQ(0u, t.root.getAttributes().getLength());
    EXPECT_EQ("1", str(t.child(0).getAttributes().getNamedItem("on").getNodeValue()));
}

// ---- Position and sharing -----------------------------------------------------------

TEST(facade_data, no_operation_moves_the_active_node_or_the_stack)
{
    const std::vector<std::pair<const char*, std::function<void(cXML_Utility&)>>> cases = {
        {"SaveNodeData", [](cXML_Utility& x) { x.SaveNodeData("n", "t"); }},
        {"SaveDataToNode", [](cXML_Utility& x) { x.SaveDataToNode("t"); }},
        {"SaveNodeAttribute", [](cXML_Utility& x) { x.SaveNodeAttribute("a", "1"); }},
        {"free SaveNodeData", [](cXML_Utility& x) { SaveNodeData(x, "n", "t"); }},
        {"free SaveDataToNode", [](cXML_Utility& x) { SaveDataToNode(x, "t"); }},
        {"free SaveNodeAttribute", [](cXML_Utility& x) { SaveNodeAttribute(x, "a", "1"); }},
        {"ReadNodeData",
         [](cXML_Utility& x) {
             std::string s;
             x.ReadNodeData(s, "d");
         }},
        {"ReadNodeDataFrom",
         [](cXML_Utility& x) {
             std::string s;
             x.ReadNodeDataFrom("k", s, "d");
         }},
        {"ReadNodeAttribute",
         [](cXML_Utility& x) {
             std::string s;
             x.ReadNodeAttribute("a", s, "d");
         }},
        {"free ReadNodeData",
         [](cXML_Utility& x) {
             std::string s;
             ReadNodeData(x, s, "d");
         }},
        {"free ReadNodeData with name",
         [](cXML_Utility& x) {
             std::string s;
             ReadNodeData(x, "k", s, "d");
         }},
        {"free ReadNodeAttribute",
         [](cXML_Utility& x) {
             std::string s;
             ReadNodeAttribute(x, "a", s, "d");
         }},
    };

    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        cXML_Utility xml = parsed("<r><s a='0'><k>v</k></s></r>");
        ASSERT_TRUE(xml.ActivateNode("s"));
        c.second(xml);
        EXPECT_EQ("s", xml.GetNodeName());
        EXPECT_TRUE(xml.DeactivateNode());
        EXPECT_EQ("r", xml.GetNodeName());
        EXPECT_FALSE(xml.DeactivateNode());
        EXPECT_EQ("r", xml.GetNodeName());
    }
}

TEST(facade_data, writes_through_a_copy_are_seen_through_the_original)
{
    cXML_Utility original = parsed("<r><s/></r>");
    cXML_Utility copy(original);
    ASSERT_TRUE(copy.ActivateNode("s"));
    std::string value;

    copy.SaveNodeData("k", "v");
    copy.SaveNodeAttribute("a", "1");
    copy.SaveDataToNode("text");

    EXPECT_EQ("r", original.GetNodeName());
    ASSERT_TRUE(original.ActivateNode("s"));
    EXPECT_TRUE(original.ReadNodeDataFrom("k", value, "dflt"));
    EXPECT_EQ("v", value);
    EXPECT_TRUE(original.ReadNodeAttribute("a", value, "dflt"));
    EXPECT_EQ("1", value);
    EXPECT_TRUE(original.ReadNodeData(value, "dflt"));
    EXPECT_EQ("text", value);
}

TEST(facade_data, saved_document_shows_what_was_written_through_the_facade)
{
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("cfg"));

    xml.SaveNodeAttribute("id", "7 & 8");
    xml.CreateAndActivateNewElement("sec");
    xml.SaveNodeAttribute("on", "1");
    xml.SaveNodeData("k", "  v < w  ");
    SaveNodeData(xml, "blank", "");
    ASSERT_TRUE(xml.DeactivateNode());
    SaveDataToNode(xml, "hello");

    EXPECT_EQ(kDeclaration +
                  "<cfg id=\"7 &amp; 8\">\n"
                  "    <sec on=\"1\">\n"
                  "        <k>v &lt; w</k>\n"
                  "        <blank></blank>\n"
                  "    </sec>\n"
                  "hello</cfg>\n",
              saved(xml));
    // The writer trims; the tree keeps the text as given.
    std::string data;
    ASSERT_TRUE(xml.ActivateNode("sec"));
    EXPECT_TRUE(xml.ReadNodeDataFrom("k", data, "dflt"));
    EXPECT_EQ("  v < w  ", data);
}

TEST(facade_data, saved_document_after_replacing_text_and_attribute)
{
    cXML_Utility xml = parsed("<r a='old'>x<b/>y</r>");

    xml.SaveDataToNode("z");
    xml.SaveNodeAttribute("a", "new");

    EXPECT_EQ(kDeclaration + "<r a=\"new\">z    <b/>\ny</r>\n", saved(xml));
}
