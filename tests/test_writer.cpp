// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <ios>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

const std::string kDecl = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";

std::string tabs(int depth)
{
    return std::string(4 * static_cast<std::size_t>(depth), ' ');
}

std::string written(DOM_Node node)
{
    std::ostringstream out;
    out << node;
    return out.str();
}

std::string written_text(const std::string& xml)
{
    DOM_Document doc = parse_text(xml);
    return written(doc);
}

DOMString wide(const std::u16string& units)
{
    return DOMString(units.data(), static_cast<unsigned int>(units.size()));
}

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void write_file(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::string data_file(const std::string& name)
{
    return read_file(std::string(XMLUTIL_TEST_DATA) + "/" + name);
}

// A scratch directory of its own, removed with everything in it.
class ScratchDir {
public:
    ScratchDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "xmlutil-writer-XXXXXX").string();
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        if (mkdtemp(name.data()))
            fPath = name.data();
    }
    ~ScratchDir()
    {
        std::error_code ignored;
        if (!fPath.empty())
            std::filesystem::remove_all(fPath, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool ok() const { return !fPath.empty(); }
    std::string file(const std::string& name) const { return fPath + "/" + name; }

private:
    std::string fPath;
};

// Records, at every flush that std::endl asks for, how much has been
// written so far and what CreateTabs() answers at that moment.
class DepthRecorder : public std::stringbuf {
public:
    std::vector<std::pair<std::size_t, std::string>> flushes;

protected:
    int sync() override
    {
        flushes.emplace_back(str().size(), CreateTabs());
        return std::stringbuf::sync();
    }
};

struct StreamBroke {};

// Takes `limit` bytes, then throws from the next write.
class ThrowingBuf : public std::streambuf {
public:
    explicit ThrowingBuf(std::size_t limit) : fLimit(limit) {}
    std::string received;

protected:
    int_type overflow(int_type ch) override
    {
        if (traits_type::eq_int_type(ch, traits_type::eof()))
            return traits_type::not_eof(ch);
        take(traits_type::to_char_type(ch));
        return ch;
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override
    {
        for (std::streamsize i = 0; i < count; ++i)
            take(text[i]);
        return count;
    }

private:
    void take(char ch)
    {
        if (received.size() >= fLimit)
            throw StreamBroke();
        received.push_back(ch);
    }
    std::size_t fLimit;
};

// Takes `limit` bytes, then refuses everything without throwing.
class FailingBuf : public std::streambuf {
public:
    explicit FailingBuf(std::size_t limit) : fLimit(limit) {}
    std::string received;

protected:
    int_type overflow(int_type ch) override
    {
        if (traits_type::eq_int_type(ch, traits_type::eof()))
            return traits_type::not_eof(ch);
        if (received.size() >= fLimit)
            return traits_type::eof();
        received.push_back(traits_type::to_char_type(ch));
        return ch;
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override
    {
        std::streamsize taken = 0;
        while (taken < count && received.size() < fLimit)
            received.push_back(text[taken++]);
        return taken;
    }

private:
    std::size_t fLimit;
};

const char kNested[] = "<a><b><c><d/></c></b></a>";

// What kNested writes as a document.
std::string nested_output()
{
    return kDecl + "<a>\n" + tabs(1) + "<b>\n" + tabs(2) + "<c>\n" + tabs(3) + "<d/>\n" + tabs(2) + "</c>\n" +
           tabs(1) + "</b>\n" + "</a>\n";
}

// What an interrupted write left behind.
struct Interrupted {
    bool thrown = false;
    std::string received;
};

// Writes kNested as a document into a stream that throws after "<c>" and
// its end-of-line, so the write stops while the depth is 3.
Interrupted interrupt_at_depth_three()
{
    Interrupted result;
    DOM_Document doc = parse_text(kNested);
    const std::string prefix = kDecl + "<a>\n" + tabs(1) + "<b>\n" + tabs(2) + "<c>\n";
    ThrowingBuf buffer(prefix.size());
    std::ostream out(&buffer);
    out.exceptions(std::ios::badbit);
    try {
        out << doc;
    } catch (const StreamBroke&) {
        result.thrown = true;
    }
    result.received = buffer.received;
    return result;
}

// The chain <e><e>...<e/>...</e></e> of `depth` elements as a document.
std::string chain_output(int depth, const std::string& name)
{
    std::string expected = kDecl;
    for (int i = 0; i < depth - 1; ++i)
        expected += tabs(i) + "<" + name + ">\n";
    expected += tabs(depth - 1) + "<" + name + "/>\n";
    for (int i = depth - 2; i >= 0; --i)
        expected += tabs(i) + "</" + name + ">\n";
    return expected;
}

DOM_Document build_chain(int depth, const std::string& name)
{
    DOM_Document doc;
    DOM_Node parent;
    CreateDocument(name, doc, parent);
    for (int i = 1; i < depth; ++i) {
        DOM_Element child;
        CreateNewElement(name, child, parent, doc);
        parent = child;
    }
    return doc;
}

struct Row {
    std::string input;
    std::string expected;
};

} // namespace

// ---- The order example ------------------------------------------------------------

TEST(writer, order_example_parsed_matches_golden_file)
{
    const std::string golden = data_file("writer-order.xml");
    ASSERT_FALSE(golden.empty());
    const std::string xml = "<order id=\"7 &amp; 8\">\n  <item name=\"K&#228;se\"> 2 &lt; 3 </item>\n"
                            "  <empty/><!-- note -->\n</order>";
    EXPECT_EQ(golden, written_text(xml));
}

TEST(writer, order_example_built_matches_golden_file)
{
    const std::string golden = data_file("writer-order.xml");
    ASSERT_FALSE(golden.empty());
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("order", doc, root);
    DOM_Element order = doc.getDocumentElement();
    SetNodeAttribute("id", "7 & 8", order);
    root.appendChild(doc.createTextNode("\n  "));
    DOM_Element item;
    CreateNewElement("item", item, root, doc);
    SetNodeAttribute("name", "K\xE4se", item);
    SaveDataToNode(" 2 < 3 ", item, doc);
    root.appendChild(doc.createTextNode("\n  "));
    DOM_Element empty;
    CreateNewElement("empty", empty, root, doc);
    root.appendChild(doc.createComment(" note "));
    root.appendChild(doc.createTextNode("\n"));
    EXPECT_EQ(golden, written(doc));
}

TEST(writer, order_example_output_writes_itself_again)
{
    const std::string golden = data_file("writer-order.xml");
    ASSERT_FALSE(golden.empty());
    EXPECT_EQ(golden, written_text(golden));
}

// ---- Documents, byte for byte -------------------------------------------------------

TEST(writer, documents_table)
{
    const std::vector<Row> rows = {
        // Elements without children close themselves, attributes without a
        // blank before "/>".
        {"<r/>", "<r/>\n"},
        {"<r a=\"1\" b=\"2\"/>", "<r a=\"1\" b=\"2\"/>\n"},
        // The attribute map is sorted by name length, then by name, as the
        // classic DOM sorts it.
        {"<r b='1' a='2'/>", "<r a=\"2\" b=\"1\"/>\n"},
        {"<r zeta='1' alpha='2' mid='3'><s y='' x=''/></r>",
         "<r mid=\"3\" zeta=\"1\" alpha=\"2\">\n    <s x=\"\" y=\"\"/>\n</r>\n"},
        // White-space-only content: two tags on two lines.
        {"<r>  \n </r>", "<r>\n</r>\n"},
        {"<a><r> </r></a>", "<a>\n    <r>\n    </r>\n</a>\n"},
        // Mixed content: text trimmed, the child indented in line.
        {"<p>Hello <b>bold</b> world</p>", "<p>Hello    <b>bold</b>\nworld</p>\n"},
        {"<a><p>x<b/>y</p></a>", "<a>\n    <p>x        <b/>\ny</p>\n</a>\n"},
        {"<r>\n  <a/>  text  \n</r>", "<r>\n    <a/>\ntext</r>\n"},
        {"<r>one<a>two</a>three<b/>four</r>", "<r>one    <a>two</a>\nthree    <b/>\nfour</r>\n"},
        // Attribute values: trimmed and escaped, white space only is a newline.
        {"<r a=\"   \"/>", "<r a=\"\n\"/>\n"},
        {"<r a=\"&#10;\"/>", "<r a=\"\n\"/>\n"},
        {"<r a=\"\"/>", "<r a=\"\"/>\n"},
        {"<r a=\"  x  \" b=\"&lt;&amp;&gt;&quot;'\"/>", "<r a=\"x\" b=\"&lt;&amp;&gt;&quot;'\"/>\n"},
        {"<r a=\"&#10;x&#9;y&#9;\"/>", "<r a=\"x\ty\"/>\n"},
        {"<r a=\"&#228;&#233;\"/>", "<r a=\"&#228;\xE9\"/>\n"},
        // A first child that is not text ends the opening line.
        {"<r><![CDATA[x < y]]></r>", "<r>\n<![CDATA[x < y]]>\n</r>\n"},
        {"<a><r><![CDATA[ z & ]]></r></a>", "<a>\n    <r>\n<![CDATA[ z & ]]>\n    </r>\n</a>\n"},
        {"<r><!--c--></r>", "<r>\n<!--c-->\n</r>\n"},
        {"<r><s/></r>", "<r>\n    <s/>\n</r>\n"},
        {"<r><s/><t/></r>", "<r>\n    <s/>\n    <t/>\n</r>\n"},
        // CDATA and comments: unescaped, untrimmed, at column 0 at any depth.
        {"<r>x<![CDATA[ <&> ]]></r>", "<r>x<![CDATA[ <&> ]]>\n</r>\n"},
        {"<a><b><!-- c --></b></a>", "<a>\n    <b>\n<!-- c -->\n    </b>\n</a>\n"},
        {"<a><b><c><!--x--><d/></c></b></a>",
         "<a>\n    <b>\n        <c>\n<!--x-->\n            <d/>\n        </c>\n    </b>\n</a>\n"},
        {"<r><!-- a<&>\" --></r>", "<r>\n<!-- a<&>\" -->\n</r>\n"},
        // Outside the root every child ends its own line.
        {"<!--a--><r/><!--b-->", "<!--a-->\n<r/>\n<!--b-->\n"},
        // Processing instructions: target, one space, data.
        {"<?pi some data?><r><?t d?></r>", "<?pi some data?>\n<r>\n<?t d?>\n</r>\n"},
        {"<r><?t?></r>", "<r>\n<?t ?>\n</r>\n"},
        {"<a><b><?t x < y?></b></a>", "<a>\n    <b>\n<?t x < y?>\n    </b>\n</a>\n"},
        // The document type writes nothing but still gets its end-of-line.
        {"<!DOCTYPE r><r/>", "\n<r/>\n"},
        {"<!DOCTYPE r [<!ELEMENT r ANY>]><r/>", "\n<r/>\n"},
        {"<!--c--><!DOCTYPE r><r/>", "<!--c-->\n\n<r/>\n"},
        // Text: trimmed, inner white space kept, escaped.
        {"<r>  a  b  </r>", "<r>a  b</r>\n"},
        {"<r>a\n  b</r>", "<r>a\n  b</r>\n"},
        {"<r> Fish &amp; Chips </r>", "<r>Fish &amp; Chips</r>\n"},
        {"<r>&lt;a href=&quot;x&quot;&gt;</r>", "<r>&lt;a href=&quot;x&quot;&gt;</r>\n"},
        {"<r>it's</r>", "<r>it's</r>\n"},
        {"<r>&#228;&#246;&#252;&#196;&#214;&#220;&#223;&#233;</r>",
         "<r>&#228;&#246;&#252;&#196;&#214;&#220;&#223;\xE9</r>\n"},
        {"<r>&amp;lt;</r>", "<r>&amp;lt;</r>\n"},
        // Entity references are written as their expansion.
        {"<!DOCTYPE r [<!ENTITY e \"Caf&#233;\">]><r>&e;</r>", "\n<r>\nCaf\xE9\n</r>\n"},
        {"<!DOCTYPE r [<!ENTITY e \"x &amp; y\">]><r>&e;</r>", "\n<r>\nx &amp; y\n</r>\n"},
        {"<!DOCTYPE r [<!ENTITY e \"a<b/>c\">]><r>1 &e; 2</r>", "\n<r>1a    <b/>c\n2</r>\n"},
        {"<!DOCTYPE r [<!ENTITY e \"<b><c/></b>\">]><r>&e;</r>", "\n<r>\n    <b>\n        <c/>\n    </b>\n</r>\n"},
        // Inside an expansion every child is written, white space too.
        {"<!DOCTYPE r [<!ENTITY e \"<b/> <c/>\">]><r>&e;</r>", "\n<r>\n    <b/>\n    <c/>\n</r>\n"},
        {"<!DOCTYPE r [<!ENTITY e \" x \">]><r><s/>&e;</r>", "\n<r>\n    <s/>\nx\n</r>\n"},
        {"<!DOCTYPE r [<!ENTITY e \"in\"><!ENTITY f \"[&e;]\">]><r>&f;</r>", "\n<r>\n[in]\n</r>\n"},
        {"<!DOCTYPE r [<!ENTITY e \"v\">]><r a=\"&e;\"/>", "\n<r a=\"v\"/>\n"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(kDecl + row.expected, written_text(row.input)) << "input: " << row.input;
}

TEST(writer, latin1_names_and_comments_are_written_unescaped)
{
    const std::string xml = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>"
                            "<K\xE4se \xFC=\"\xE4\"><!-- \xE4<&> --><?\xF6 \xDF?></K\xE4se>";
    EXPECT_EQ(kDecl + "<K\xE4se \xFC=\"&#228;\">\n<!-- \xE4<&> -->\n<?\xF6 \xDF?>\n</K\xE4se>\n", written_text(xml));
}

TEST(writer, character_above_latin1_is_reference_in_text_and_question_mark_elsewhere)
{
    // UTF-8: U+0100, U+0101, U+20AC, U+1F600.
    const std::string xml = "<r\xC4\x80 a\xC4\x81=\"\xE2\x82\xAC \xF0\x9F\x98\x80\">\xF0\x9F\x98\x80 \xE2\x82\xAC"
                            "<!--\xE2\x82\xAC--><![CDATA[\xE2\x82\xAC\xF0\x9F\x98\x80]]>"
                            "<?p \xE2\x82\xAC?></r\xC4\x80>";
    EXPECT_EQ(kDecl + "<r? a?=\"&#8364; &#128512;\">&#128512; &#8364;<!--?-->\n<![CDATA[??]]>\n<?p ?\?>\n</r?>\n",
              written_text(xml));
}

TEST(writer, lone_surrogates_are_question_marks)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r", doc, root);
    DOM_Element element = doc.getDocumentElement();
    element.setAttribute("a", wide(std::u16string{u'x', u'\xDE00'}));
    element.setAttribute("b", wide(u"\U0001F600"));
    root.appendChild(doc.createTextNode(wide(std::u16string{u'\xD83D', u'y', u'\xD800'})));
    EXPECT_EQ(kDecl + "<r a=\"x?\" b=\"&#128512;\">?y?</r>\n", written(doc));
}

// ---- Trees built through the API ---------------------------------------------------

TEST(writer, only_child_empty_text_puts_both_tags_on_one_line)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r", doc, root);
    root.appendChild(doc.createTextNode(""));
    EXPECT_EQ(kDecl + "<r></r>\n", written(doc));
    EXPECT_EQ("<r></r>", written(root));
}

TEST(writer, empty_text_before_child_keeps_closing_tag_unindented)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r", doc, root);
    DOM_Element inner;
    CreateNewElement("a", inner, root, doc);
    inner.appendChild(doc.createTextNode(""));
    DOM_Element leaf;
    CreateNewElement("b", leaf, inner, doc);
    EXPECT_EQ(kDecl + "<r>\n    <a>        <b/>\n</a>\n</r>\n", written(doc));
}

TEST(writer, white_space_text_between_children_is_dropped)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r", doc, root);
    root.appendChild(doc.createTextNode(" \t "));
    SaveNodeData("k", "v", root, doc);
    root.appendChild(doc.createTextNode("\n\n"));
    root.appendChild(doc.createTextNode(""));
    SaveNodeData("k", " w ", root, doc);
    EXPECT_EQ(kDecl + "<r>\n    <k>v</k>\n    <k>w</k>\n</r>\n", written(doc));
}

TEST(writer, text_after_element_children_ends_before_closing_tag)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r", doc, root);
    DOM_Element section;
    CreateNewElement("s", section, root, doc);
    SaveNodeData("k", "1", section, doc);
    SaveDataToNode("tail", section, doc);
    EXPECT_EQ(kDecl + "<r>\n    <s>\n        <k>1</k>\ntail    </s>\n</r>\n", written(doc));
}

TEST(writer, text_stops_at_zero_character)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("r", doc, root);
    root.appendChild(doc.createTextNode(wide(std::u16string(u"ab\0<cd", 6))));
    EXPECT_EQ("<r>ab</r>", written(root));
}

TEST(writer, data_saved_through_free_functions)
{
    DOM_Document doc;
    DOM_Node root;
    CreateDocument("config", doc, root);
    DOM_Element section;
    CreateNewElement("section", section, root, doc);
    SetNodeAttribute("name", "Gr\xFC\xDF" "e", section);
    SaveNodeData("key", "  a \"quoted\" <value>  ", section, doc);
    SaveNodeData("empty", "", section, doc);
    SaveNodeData("blank", "   ", section, doc);
    EXPECT_EQ(kDecl + "<config>\n    <section name=\"Gr&#252;&#223;e\">\n"
                      "        <key>a &quot;quoted&quot; &lt;value&gt;</key>\n"
                      "        <empty></empty>\n"
                      "        <blank>\n        </blank>\n"
                      "    </section>\n</config>\n",
              written(doc));
}

// ---- Single nodes ------------------------------------------------------------------

TEST(writer, single_text_node_is_trimmed_and_escaped_without_newline)
{
    DOM_Document doc = parse_text("<r>  a &lt; b &amp; \xC3\xA4  </r>");
    EXPECT_EQ("a &lt; b &amp; &#228;", written(doc.getDocumentElement().getFirstChild()));
}

TEST(writer, single_white_space_text_node_is_one_newline)
{
    DOM_Document doc = parse_text("<r> \n </r>");
    EXPECT_EQ("\n", written(doc.getDocumentElement().getFirstChild()));
}

TEST(writer, single_element_has_no_declaration_and_no_final_newline)
{
    DOM_Document doc = parse_text("<a x='1'><b/>t</a>");
    EXPECT_EQ("<a x=\"1\">\n    <b/>\nt</a>", written(doc.getDocumentElement()));
    EXPECT_EQ("<b/>", written(doc.getDocumentElement().getFirstChild()));
}

TEST(writer, single_nodes_of_other_types)
{
    DOM_Document doc = parse_text("<!DOCTYPE r [<!ENTITY e \"a<b/>c\">]>"
                                  "<r k=' v '><!-- c & d --><![CDATA[ <x> ]]><?t d e?>&e;</r>");
    const DOM_Node root = doc.getDocumentElement();
    const DOM_Node comment = root.getFirstChild();
    const DOM_Node cdata = comment.getNextSibling();
    const DOM_Node pi = cdata.getNextSibling();
    const DOM_Node reference = pi.getNextSibling();
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, reference.getNodeType());
    EXPECT_EQ("<!-- c & d -->", written(comment));
    EXPECT_EQ("<![CDATA[ <x> ]]>", written(cdata));
    EXPECT_EQ("<?t d e?>", written(pi));
    EXPECT_EQ("a<b/>c", written(reference));
    EXPECT_EQ("", written(doc.getDoctype()));
    const DOM_Node attribute = root.getAttributes().item(0);
    ASSERT_EQ(DOM_Node::ATTRIBUTE_NODE, attribute.getNodeType());
    EXPECT_EQ("", written(attribute));
    EXPECT_EQ("", written(DOM_Node()));
}

TEST(writer, returns_the_same_stream)
{
    DOM_Document doc = parse_text("<r/>");
    std::ostringstream out;
    DOM_Node node = doc;
    EXPECT_EQ(&out, &(out << node));
    std::ostream& chained = out << node << node;
    EXPECT_EQ(&out, &chained);
    EXPECT_EQ(kDecl + "<r/>\n" + kDecl + "<r/>\n" + kDecl + "<r/>\n", out.str());
}

// ---- TestForGarbage -----------------------------------------------------------------

TEST(test_for_garbage, text_nodes_table)
{
    const std::vector<std::pair<std::string, bool>> rows = {
        {"", false},     {" ", true},      {"   ", true},  {" \n\t", true}, {"\v\f\r", true},
        {" x ", false},  {"x", false},     {"\xA0", false}, {" . ", false}, {"\n\n\nx", false},
        {"x\n\n", false},
    };
    DOM_Document doc = parse_text("<r/>");
    for (const auto& row : rows)
        EXPECT_EQ(row.second, TestForGarbage(doc.createTextNode(row.first.c_str()))) << "value: " << row.first;
}

TEST(test_for_garbage, value_ends_at_first_zero_character)
{
    DOM_Document doc = parse_text("<r/>");
    EXPECT_TRUE(TestForGarbage(doc.createTextNode(wide(std::u16string(u"  \0x", 4)))));
    EXPECT_FALSE(TestForGarbage(doc.createTextNode(wide(std::u16string(u"\0 ", 2)))));
}

TEST(test_for_garbage, character_above_latin1_is_not_space)
{
    DOM_Document doc = parse_text("<r/>");
    EXPECT_FALSE(TestForGarbage(doc.createTextNode(wide(u" \u20AC "))));
    EXPECT_FALSE(TestForGarbage(doc.createTextNode(wide(u"\u3000"))));
}

TEST(test_for_garbage, node_type_is_not_looked_at)
{
    DOM_Document doc = parse_text("<r a=' '><s/></r>");
    EXPECT_TRUE(TestForGarbage(doc.createComment("  ")));
    EXPECT_FALSE(TestForGarbage(doc.createComment("x")));
    EXPECT_TRUE(TestForGarbage(doc.createCDATASection("\n")));
    // Elements and documents have no value: empty, so not garbage.
    EXPECT_FALSE(TestForGarbage(doc.getDocumentElement()));
    EXPECT_FALSE(TestForGarbage(doc));
    EXPECT_FALSE(TestForGarbage(DOM_Node()));
}

// ---- Depth and end-of-line -----------------------------------------------------------

TEST(writer_depth, create_tabs_follows_nesting_of_an_element_write)
{
    DOM_Document doc = parse_text(kNested);
    DepthRecorder buffer;
    std::ostream out(&buffer);
    out << doc.getDocumentElement();
    const std::vector<std::string> lines = {"<a>\n",           tabs(1) + "<b>\n",  tabs(2) + "<c>\n",
                                            tabs(3) + "<d/>\n", tabs(2) + "</c>\n", tabs(1) + "</b>\n"};
    const std::vector<std::string> depthAtFlush = {"", tabs(1), tabs(2), tabs(3), tabs(2), tabs(1)};
    std::vector<std::pair<std::size_t, std::string>> expected;
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        text += lines[i];
        expected.emplace_back(text.size(), depthAtFlush[i]);
    }
    EXPECT_EQ(text + "</a>", buffer.str());
    EXPECT_EQ(expected, buffer.flushes);
    ASSERT_EQ(6u, buffer.flushes.size());
    // Flushed right after "<d/>": the depth is 3 there.
    EXPECT_EQ(std::string(12, ' '), buffer.flushes[3].second);
    EXPECT_EQ("", CreateTabs());
}

TEST(writer_depth, create_tabs_follows_nesting_of_a_document_write)
{
    DOM_Document doc = parse_text(kNested);
    DepthRecorder buffer;
    std::ostream out(&buffer);
    out << doc;
    EXPECT_EQ(nested_output(), buffer.str());
    // Whether the declaration's newline flushes is not the point here.
    std::vector<std::pair<std::size_t, std::string>> flushes;
    for (const auto& flush : buffer.flushes) {
        if (flush.first != kDecl.size())
            flushes.push_back(flush);
    }
    const std::vector<std::string> depthAtFlush = {"", tabs(1), tabs(2), tabs(3), tabs(2), tabs(1), ""};
    std::vector<std::pair<std::size_t, std::string>> expected;
    std::size_t at = kDecl.size();
    for (const std::string& depth : depthAtFlush) {
        at = nested_output().find('\n', at) + 1;
        expected.emplace_back(at, depth);
    }
    EXPECT_EQ(expected, flushes);
    EXPECT_EQ("", CreateTabs());
}

TEST(writer_depth, every_end_of_line_is_flushed)
{
    const std::string xml = "<!DOCTYPE r><r a='  ' b='x'>  <s t=' '> </s>\n<!--c-->text <u>v</u> \n"
                            "<![CDATA[q]]><?p d?><w/></r>";
    DOM_Document doc = parse_text(xml);
    DepthRecorder buffer;
    std::ostream out(&buffer);
    out << doc;
    const std::string output = buffer.str();
    ASSERT_EQ(kDecl + "\n<r a=\"\n\" b=\"x\">\n    <s t=\"\n\">\n    </s>\n<!--c-->\ntext    <u>v</u>\n"
                      "<![CDATA[q]]>\n<?p d?>\n    <w/>\n</r>\n",
              output);
    std::vector<std::size_t> newlines;
    for (std::size_t i = kDecl.size(); i < output.size(); ++i) {
        if (output[i] == '\n')
            newlines.push_back(i + 1);
    }
    std::vector<std::size_t> flushed;
    for (const auto& flush : buffer.flushes) {
        if (flush.first != kDecl.size())
            flushed.push_back(flush.first);
    }
    EXPECT_EQ(newlines, flushed);
}

TEST(writer_depth, fresh_thread_starts_at_depth_zero)
{
    std::string tabsInThread = "unset";
    std::thread worker([&] { tabsInThread = CreateTabs(); });
    worker.join();
    EXPECT_EQ("", tabsInThread);
    EXPECT_EQ("", CreateTabs());
}

TEST(writer_depth, exception_from_stream_leaves_depth_where_it_was)
{
    Interrupted interrupted;
    std::string tabsAfterThrow;
    std::string direct;
    std::string directNested;
    std::string tabsAfterDirect;
    std::thread worker([&] {
        interrupted = interrupt_at_depth_three();
        tabsAfterThrow = CreateTabs();
        DOM_Document doc = parse_text("<x><y/></x>");
        direct = written(doc.getDocumentElement().getFirstChild());
        directNested = written(doc.getDocumentElement());
        tabsAfterDirect = CreateTabs();
    });
    worker.join();
    EXPECT_TRUE(interrupted.thrown);
    EXPECT_EQ(kDecl + "<a>\n" + tabs(1) + "<b>\n" + tabs(2) + "<c>\n", interrupted.received);
    EXPECT_EQ(std::string(12, ' '), tabsAfterThrow);
    // Writing an element directly starts at the depth left behind ...
    EXPECT_EQ(tabs(3) + "<y/>", direct);
    EXPECT_EQ(tabs(3) + "<x>\n" + tabs(4) + "<y/>\n" + tabs(3) + "</x>", directNested);
    // ... and a complete write puts it back where it found it.
    EXPECT_EQ(std::string(12, ' '), tabsAfterDirect);
}

TEST(writer_depth, next_document_write_repairs_depth)
{
    Interrupted interrupted;
    std::string document;
    std::string tabsAfterDocument;
    std::string direct;
    std::thread worker([&] {
        interrupted = interrupt_at_depth_three();
        DOM_Document doc = parse_text(kNested);
        document = written(doc);
        tabsAfterDocument = CreateTabs();
        direct = written(doc.getDocumentElement());
    });
    worker.join();
    EXPECT_TRUE(interrupted.thrown);
    EXPECT_EQ(nested_output(), document);
    EXPECT_EQ("", tabsAfterDocument);
    EXPECT_EQ("<a>\n" + tabs(1) + "<b>\n" + tabs(2) + "<c>\n" + tabs(3) + "<d/>\n" + tabs(2) + "</c>\n" + tabs(1) +
                  "</b>\n</a>",
              direct);
}

TEST(writer_depth, depth_is_kept_per_thread)
{
    std::promise<void> interruptedSignal;
    std::promise<void> mainDone;
    std::future<void> mainDoneFuture = mainDone.get_future();
    Interrupted interrupted;
    std::string tabsBefore;
    std::string tabsAfterMain;
    std::thread worker([&] {
        interrupted = interrupt_at_depth_three();
        tabsBefore = CreateTabs();
        interruptedSignal.set_value();
        mainDoneFuture.wait();
        tabsAfterMain = CreateTabs();
    });
    interruptedSignal.get_future().wait();
    // The other thread is stopped at depth 3; this one is not affected.
    const std::string tabsHere = CreateTabs();
    DOM_Document doc = parse_text(kNested);
    const std::string element = written(doc.getDocumentElement());
    const std::string document = written(doc);
    mainDone.set_value();
    worker.join();
    EXPECT_TRUE(interrupted.thrown);
    EXPECT_EQ("", tabsHere);
    EXPECT_EQ(nested_output().substr(kDecl.size(), nested_output().size() - kDecl.size() - 1), element);
    EXPECT_EQ(nested_output(), document);
    EXPECT_EQ(std::string(12, ' '), tabsBefore);
    // The document write here did not repair the other thread's depth.
    EXPECT_EQ(std::string(12, ' '), tabsAfterMain);
    EXPECT_EQ("", CreateTabs());
}

TEST(writer_depth, stream_failure_without_exception_stays_in_stream_state)
{
    DOM_Document doc = parse_text(kNested);
    FailingBuf buffer(kDecl.size() + 10);
    std::ostream out(&buffer);
    EXPECT_NO_THROW(out << doc);
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(nested_output().substr(0, kDecl.size() + 10), buffer.received);
    // The write ran to its end, so the depth is back at 0.
    EXPECT_EQ("", CreateTabs());
    EXPECT_EQ(nested_output(), written(doc));
}

// ---- Deep trees and threads -----------------------------------------------------------

namespace {

struct DeepJob {
    DOM_Document doc;
    std::string output;
    std::string tabsAfter = "unset";
    bool failed = false;
};

void* write_deep(void* argument)
{
    DeepJob* job = static_cast<DeepJob*>(argument);
    try {
        std::ostringstream out;
        out << job->doc;
        job->output = out.str();
        job->tabsAfter = CreateTabs();
    } catch (...) {
        job->failed = true;
    }
    return nullptr;
}

// Runs write_deep on a thread with a 64 KiB stack.
bool run_on_small_stack(DeepJob& job)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return false;
    bool started = pthread_attr_setstacksize(&attributes, 64 * 1024) == 0;
    pthread_t thread;
    started = started && pthread_create(&thread, &attributes, write_deep, &job) == 0;
    pthread_attr_destroy(&attributes);
    if (started)
        pthread_join(thread, nullptr);
    return started;
}

} // namespace

TEST(writer_deep, chain_of_2000_built_elements_on_a_64k_stack)
{
    const int depth = 2000;
    DeepJob job;
    job.doc = build_chain(depth, "e");
    ASSERT_TRUE(run_on_small_stack(job));
    EXPECT_FALSE(job.failed);
    EXPECT_TRUE(job.output == chain_output(depth, "e")) << "output of " << job.output.size() << " bytes differs";
    EXPECT_EQ("", job.tabsAfter);
}

TEST(writer_deep, chain_of_2000_parsed_elements_on_a_64k_stack)
{
    const int depth = 2000;
    std::string xml;
    for (int i = 0; i < depth; ++i)
        xml += "<e>";
    for (int i = 0; i < depth; ++i)
        xml += "</e>";
    DeepJob job;
    job.doc = parse_text(xml);
    ASSERT_TRUE(run_on_small_stack(job));
    EXPECT_FALSE(job.failed);
    // "<e></e>" at the bottom has no children: it closes itself.
    EXPECT_TRUE(job.output == chain_output(depth, "e")) << "output of " << job.output.size() << " bytes differs";
    EXPECT_EQ("", job.tabsAfter);
}

TEST(writer_deep, chain_of_a_million_elements_parses_walks_and_releases)
{
    const int depth = 1000000;
    std::string xml;
    xml.reserve(7u * depth);
    for (int i = 0; i < depth; ++i)
        xml += "<e>";
    for (int i = 0; i < depth; ++i)
        xml += "</e>";
    {
        DOM_Document doc = ParseBuffer(xml.data(), static_cast<unsigned int>(xml.size()), false);
        const DOM_Node root = doc.getDocumentElement();
        int levels = 0;
        DOM_Node bottom;
        for (DOM_Node node = root; !node.isNull(); node = node.getFirstChild()) {
            bottom = node;
            ++levels;
        }
        EXPECT_EQ(depth, levels);
        EXPECT_TRUE(GetNodeByName(root, "missing").isNull());
        EXPECT_TRUE(GetNodeByName(root, "e") == root.getFirstChild());
        EXPECT_TRUE(GetNodeByName(bottom, "e").isNull());
        int up = 0;
        for (DOM_Node node = bottom; node != root; node = node.getParentNode())
            ++up;
        EXPECT_EQ(depth - 1, up);
        // A single node deep down writes as usual.
        EXPECT_EQ("<e/>", written(bottom));
        EXPECT_EQ("<e>\n    <e/>\n</e>", written(bottom.getParentNode()));
    }
}

TEST(writer_threads, two_threads_writing_two_documents_get_their_own_bytes)
{
    const int chainDepth = 40;
    const DOM_Document chain = build_chain(chainDepth, "a");
    const std::string chainExpected = chain_output(chainDepth, "a");

    std::string flatXml = "<b>";
    std::string flatExpected = kDecl + "<b>\n";
    for (int i = 0; i < 40; ++i) {
        flatXml += "<c n='" + std::to_string(i) + "'><d>t" + std::to_string(i) + "</d></c>";
        flatExpected += tabs(1) + "<c n=\"" + std::to_string(i) + "\">\n" + tabs(2) + "<d>t" + std::to_string(i) +
                        "</d>\n" + tabs(1) + "</c>\n";
    }
    flatXml += "</b>";
    flatExpected += "</b>\n";
    const DOM_Document flat = parse_text(flatXml);

    const int rounds = 300;
    auto run = [rounds](DOM_Document doc, const std::string& expected, int& mismatches, std::string& tabsAfter) {
        for (int i = 0; i < rounds; ++i) {
            if (written(doc) != expected)
                ++mismatches;
        }
        tabsAfter = CreateTabs();
    };
    int chainMismatches = 0;
    int flatMismatches = 0;
    std::string chainTabs = "unset";
    std::string flatTabs = "unset";
    {
        // Each thread takes its own handle; the two documents share nothing.
        DOM_Document chainCopy = chain;
        DOM_Document flatCopy = flat;
        std::thread first(run, std::move(chainCopy), std::cref(chainExpected), std::ref(chainMismatches),
                          std::ref(chainTabs));
        std::thread second(run, std::move(flatCopy), std::cref(flatExpected), std::ref(flatMismatches),
                           std::ref(flatTabs));
        first.join();
        second.join();
    }
    EXPECT_EQ(0, chainMismatches);
    EXPECT_EQ(0, flatMismatches);
    EXPECT_EQ("", chainTabs);
    EXPECT_EQ("", flatTabs);
}

// ---- SaveToStream and SaveToFile --------------------------------------------------------

namespace {

// A facade document with a bit of everything the writer treats specially.
cXML_Utility sample_facade()
{
    cXML_Utility xml(1);
    xml.CreateDocument("config");
    xml.CreateAndActivateNewElement("section");
    xml.SaveNodeAttribute("name", " Gr\xFC\xDF" "e & mehr ");
    xml.SaveNodeData("key", "  <value> \"quoted\"  ");
    xml.SaveNodeData("blank", "  ");
    xml.SaveNodeData("empty", "");
    xml.DeactivateNode();
    xml.SaveNodeData("top", "\xE4\xE9");
    return xml;
}

const std::string kSampleOutput = kDecl + "<config>\n    <section name=\"Gr&#252;&#223;e &amp; mehr\">\n"
                                          "        <key>&lt;value&gt; &quot;quoted&quot;</key>\n"
                                          "        <blank>\n        </blank>\n"
                                          "        <empty></empty>\n"
                                          "    </section>\n"
                                          "    <top>&#228;\xE9</top>\n</config>\n";

std::string saved(cXML_Utility& xml)
{
    std::ostringstream out;
    xml.SaveToStream(out);
    return out.str();
}

} // namespace

TEST(save, save_to_stream_writes_the_whole_document)
{
    cXML_Utility xml = sample_facade();
    std::ostringstream out;
    EXPECT_EQ(&out, &xml.SaveToStream(out));
    EXPECT_EQ(kSampleOutput, out.str());
}

TEST(save, save_to_stream_ignores_the_active_node)
{
    cXML_Utility xml = sample_facade();
    ASSERT_TRUE(xml.ActivateNode("section"));
    ASSERT_TRUE(xml.ActivateNode("key"));
    EXPECT_EQ(kSampleOutput, saved(xml));
}

TEST(save, save_to_stream_of_a_parsed_document)
{
    const std::string xml = "<r><!--c--><k a='1'> v </k></r>";
    cXML_Utility parsed(0);
    ASSERT_TRUE(parsed.Parse(xml.data(), static_cast<unsigned int>(xml.size())));
    EXPECT_EQ(kDecl + "<r>\n<!--c-->\n    <k a=\"1\">v</k>\n</r>\n", saved(parsed));
}

TEST(save, save_to_file_writes_the_same_bytes_as_save_to_stream)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    cXML_Utility xml = sample_facade();
    const std::string path = dir.file("sample.xml");
    xml.SaveToFile(path);
    EXPECT_EQ(saved(xml), read_file(path));
    EXPECT_EQ(kSampleOutput, read_file(path));
}

TEST(save, save_to_file_of_100000_lines_matches_save_to_stream)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    cXML_Utility xml(1);
    ASSERT_TRUE(xml.CreateDocument("root"));
    const int keys = 99997;
    std::string expected = kDecl + "<root>\n";
    for (int i = 0; i < keys; ++i) {
        const std::string value = "v" + std::to_string(i) + (i % 10 == 0 ? " & \xE4" : "");
        xml.SaveNodeData("k", value);
        expected += tabs(1) + "<k>v" + std::to_string(i) + (i % 10 == 0 ? " &amp; &#228;" : "") + "</k>\n";
    }
    expected += "</root>\n";
    const std::string path = dir.file("large.xml");
    xml.SaveToFile(path, 0);
    const std::string file = read_file(path);
    const std::string stream = saved(xml);
    EXPECT_TRUE(file == stream) << "file " << file.size() << " bytes, stream " << stream.size() << " bytes";
    EXPECT_TRUE(stream == expected) << "stream " << stream.size() << " bytes, expected " << expected.size();
    EXPECT_EQ(100000, std::count(file.begin(), file.end(), '\n'));
}

TEST(save, save_to_file_in_missing_directory_returns_normally_and_writes_nothing)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    cXML_Utility xml = sample_facade();
    const std::string missing = dir.file("no-such-directory");
    EXPECT_NO_THROW(xml.SaveToFile(missing + "/out.xml"));
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST(save, save_to_file_replaces_existing_content)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    const std::string path = dir.file("existing.xml");
    write_file(path, std::string(10000, 'x'));
    cXML_Utility xml = sample_facade();
    xml.SaveToFile(path);
    EXPECT_EQ(kSampleOutput, read_file(path));
}

TEST(save, save_to_file_second_argument_changes_nothing)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    cXML_Utility xml = sample_facade();
    const std::string path = dir.file("mode.xml");
    const std::vector<unsigned int> modes = {0u,
                                             1u,
                                             2u,
                                             static_cast<unsigned int>(std::ios::app),
                                             static_cast<unsigned int>(std::ios::in),
                                             static_cast<unsigned int>(std::ios::ate | std::ios::out),
                                             0xFFFFFFFFu};
    for (const unsigned int mode : modes) {
        write_file(path, std::string(5000, 'y'));
        xml.SaveToFile(path, mode);
        EXPECT_EQ(kSampleOutput, read_file(path)) << "mode " << mode;
        // Saving twice still replaces, never appends.
        xml.SaveToFile(path, mode);
        EXPECT_EQ(kSampleOutput, read_file(path)) << "mode " << mode;
    }
    const std::string fresh = dir.file("fresh.xml");
    xml.SaveToFile(fresh, static_cast<unsigned int>(std::ios::in));
    EXPECT_EQ(kSampleOutput, read_file(fresh));
}

TEST(save, facade_without_document_refuses_to_save)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    cXML_Utility xml(1);
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException,
                     "cXML_Utility::SaveToStream(): cannot save a class without document!");
    EXPECT_EQ("", out.str());
    const std::string path = dir.file("kept.xml");
    write_file(path, "keep me");
    EXPECT_THROW_MSG(xml.SaveToFile(path), cTextException,
                     "cXML_Utility::SaveToFile(): cannot save a class without document!");
    EXPECT_EQ("keep me", read_file(path));
}

TEST(save, empty_facade_refuses_to_save)
{
    ScratchDir dir;
    ASSERT_TRUE(dir.ok());
    cXML_Utility xml;
    std::ostringstream out;
    EXPECT_THROW_MSG(xml.SaveToStream(out), cTextException,
                     "cXML_Utility::SaveToStream(): cannot save an empty class!");
    EXPECT_EQ("", out.str());
    const std::string path = dir.file("kept.xml");
    write_file(path, "keep me");
    EXPECT_THROW_MSG(xml.SaveToFile(path), cTextException,
                     "cXML_Utility::SaveToFile(): cannot save an empty class!");
    EXPECT_EQ("keep me", read_file(path));
}

// ---- Round trip ---------------------------------------------------------------------------

namespace {

// Letters that may start a name: ASCII, '_' and the ISO-8859-1 letters
// (0xD7 and 0xF7 are signs, not letters).
std::string name_start_chars()
{
    std::string chars = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_";
    for (unsigned int value = 0xC0; value <= 0xFF; ++value) {
        if (value != 0xD7 && value != 0xF7)
            chars.push_back(static_cast<char>(value));
    }
    return chars;
}

std::string random_name(std::mt19937& rng)
{
    static const std::string first = name_start_chars();
    static const std::string rest = first + "0123456789-.";
    for (;;) {
        std::string name(1, first[rng() % first.size()]);
        const std::size_t length = rng() % 8;
        for (std::size_t i = 0; i < length; ++i)
            name.push_back(rest[rng() % rest.size()]);
        // Names beginning with "xml" in any case are reserved.
        std::string lower = name.substr(0, 3);
        for (char& c : lower)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (lower != "xml")
            return name;
    }
}

// Text from every byte that XML 1.0 allows, with markup, the escaped
// letters and white space more often than chance would bring them.
std::string random_text(std::mt19937& rng)
{
    static const std::string frequent = "&<>\"' \t\n\r\xE4\xF6\xFC\xC4\xD6\xDC\xDF]";
    const std::size_t length = rng() % 24;
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned int pick = rng() % 3;
        if (pick == 0) {
            text.push_back(frequent[rng() % frequent.size()]);
        } else {
            const unsigned int value = 0x20 + rng() % (0x100 - 0x20 + 3);
            if (value >= 0x100)
                text.push_back("\t\n\r"[value - 0x100]);
            else
                text.push_back(static_cast<char>(value));
        }
    }
    if (rng() % 8 == 0)
        text = std::string(rng() % 3, ' ') + "\n" + std::string(rng() % 3, '\t');
    return text;
}

// Builds a random tree through the facade; answers the number of elements.
int build_random_tree(cXML_Utility& xml, std::mt19937& rng)
{
    xml.CreateDocument(random_name(rng));
    int elements = 1;
    int depth = 0;
    const int operations = 1 + static_cast<int>(rng() % 40);
    for (int i = 0; i < operations; ++i) {
        switch (rng() % 6) {
        case 0:
            if (depth < 8) {
                xml.CreateAndActivateNewElement(random_name(rng));
                ++depth;
                ++elements;
            }
            break;
        case 1:
            if (depth > 0 && xml.DeactivateNode())
                --depth;
            break;
        case 2:
        case 3:
            xml.SaveNodeData(random_name(rng), random_text(rng));
            ++elements;
            break;
        case 4:
            xml.SaveDataToNode(random_text(rng));
            break;
        default:
            xml.SaveNodeAttribute(random_name(rng), random_text(rng));
            break;
        }
    }
    return elements;
}

int count_elements(const DOM_Node& node)
{
    int count = node.getNodeType() == DOM_Node::ELEMENT_NODE ? 1 : 0;
    for (DOM_Node child = node.getFirstChild(); !child.isNull(); child = child.getNextSibling())
        count += count_elements(child);
    return count;
}

} // namespace

TEST(writer_round_trip, random_trees_parse_and_settle_after_one_round)
{
    std::mt19937 rng(31337u);
    for (int tree = 0; tree < 300; ++tree) {
        cXML_Utility built(1);
        const int elements = build_random_tree(built, rng);
        const std::string first = saved(built);

        cXML_Utility once(0);
        try {
            ASSERT_TRUE(once.Parse(first.data(), static_cast<unsigned int>(first.size())));
        } catch (const cTextException& e) {
            FAIL() << "tree " << tree << ": " << e.what() << "\n" << first;
        }
        const std::string second = saved(once);

        cXML_Utility twice(0);
        try {
            ASSERT_TRUE(twice.Parse(second.data(), static_cast<unsigned int>(second.size())));
        } catch (const cTextException& e) {
            FAIL() << "tree " << tree << ": " << e.what() << "\n" << second;
        }
        const std::string third = saved(twice);
        ASSERT_EQ(second, third) << "tree " << tree << ", first write:\n" << first;

        DOM_Document reparsed = ParseBuffer(first.data(), static_cast<unsigned int>(first.size()), false);
        EXPECT_EQ(elements, count_elements(reparsed)) << "tree " << tree << "\n" << first;
    }
}
