// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"
#include "xerces_leaks.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>
#include <atomic>
#include <thread>

using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

const std::string kDataDir = XMLUTIL_TEST_DATA;

// The buffer parses report their input under this name.
std::string buffer_error(const char* kind, int line, int column, const std::string& message)
{
    return std::string(kind) + " at (file XMLRead_ParseBufferID, line " + std::to_string(line) + ", char " +
           std::to_string(column) + "): " + message + "\n";
}

std::string fatal(int line, int column, const std::string& message)
{
    return buffer_error("Fatal Error", line, column, message);
}

// Newlines shown as \n so that a dump stays one line per node.
std::string visible(const std::string& text)
{
    std::string out;
    for (char c : text) {
        if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out;
}

// One line per node in document order, indented by depth; character data
// and processing instructions show their value.
void dump_into(const DOM_Node& node, int depth, std::string& out)
{
    static const char* const kinds[] = {"?",  "element", "attr", "text", "cdata", "entref", "entity",
                                        "pi", "comment", "document", "doctype", "fragment", "notation"};
    const short type = node.getNodeType();
    out += std::string(static_cast<std::size_t>(depth) * 2, ' ');
    out += type >= 0 && type <= 12 ? kinds[type] : "?";
    out += " " + str(node.getNodeName());
    if (type == DOM_Node::TEXT_NODE || type == DOM_Node::CDATA_SECTION_NODE || type == DOM_Node::COMMENT_NODE ||
        type == DOM_Node::PROCESSING_INSTRUCTION_NODE)
        out += "='" + visible(str(node.getNodeValue())) + "'";
    out += "\n";
    for (DOM_Node child = node.getFirstChild(); !child.isNull(); child = child.getNextSibling())
        dump_into(child, depth + 1, out);
}

std::string dump(const DOM_Node& node)
{
    std::string out;
    dump_into(node, 0, out);
    return out;
}

std::string utf16le(const std::string& latin1, bool bom = true)
{
    std::string out = bom ? "\xFF\xFE" : "";
    for (char c : latin1) {
        out += c;
        out += '\0';
    }
    return out;
}

std::string utf16be(const std::string& latin1)
{
    std::string out = "\xFE\xFF";
    for (char c : latin1) {
        out += '\0';
        out += c;
    }
    return out;
}

std::string ucs4le(const std::string& latin1)
{
    std::string out;
    for (char c : latin1) {
        out += c;
        out += std::string(3, '\0');
    }
    return out;
}

// The sample with an entity of each kind, a comment, CDATA and a processing
// instruction, and how the parser keeps it.
const char kMixedSample[] = "<!DOCTYPE r [<!ENTITY e \"x\"><!ENTITY f \"<b>y</b>\">]>\n"
                            "<!--c0--><r>\n  &e; &f;<!--c1--><![CDATA[<cd>]]><?pi data?>\n  &amp;&#228;</r>";
const char kMixedDump[] = "document #document\n"
                          "  doctype r\n"
                          "  comment #comment='c0'\n"
                          "  element r\n"
                          "    text #text='\\n  '\n"
                          "    entref e\n"
                          "      text #text='x'\n"
                          "    text #text=' '\n"
                          "    entref f\n"
                          "      element b\n"
                          "        text #text='y'\n"
                          "    comment #comment='c1'\n"
                          "    cdata #cdata-section='<cd>'\n"
                          "    pi pi='data'\n"
                          "    text #text='\\n  &\xE4'\n";

const char kNoDtd[] = "<r>\n <a/><b x=\"1\"/></r>";
const char kWarningOnly[] =
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r a CDATA #IMPLIED><!ATTLIST r a CDATA #IMPLIED>]><r/>";

} // namespace

// ---- ParseBuffer ------------------------------------------------------------------

TEST(parse, buffer_returns_root_and_whitespace_text_between_elements)
{
    const DOM_Document doc = parse_text("<root>\n  <a/>\n  <b>t</b>\n</root>");
    ASSERT_FALSE(doc.isNull());
    EXPECT_EQ(DOM_Node::DOCUMENT_NODE, doc.getNodeType());
    const DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("root", str(root.getNodeName()));
    EXPECT_EQ(root, doc.getFirstChild());
    EXPECT_EQ("element root\n"
              "  text #text='\\n  '\n"
              "  element a\n"
              "  text #text='\\n  '\n"
              "  element b\n"
              "    text #text='t'\n"
              "  text #text='\\n'\n",
              dump(root));
    EXPECT_EQ(5u, root.getChildNodes().getLength());
}

TEST(parse, buffer_validation_without_dtd_fails_on_undeclared_root)
{
    EXPECT_THROW_MSG(parse_text(kNoDtd, true), cTextException,
                     buffer_error("Error", 1, 3, "no declaration found for element 'r'"));
}

TEST(parse, buffer_without_dtd_parses_when_not_validating)
{
    const DOM_Document doc = parse_text(kNoDtd, false);
    EXPECT_EQ("element r\n"
              "  text #text='\\n '\n"
              "  element a\n"
              "  element b\n",
              dump(doc.getDocumentElement()));
}

TEST(parse, buffer_satisfying_internal_dtd_parses_with_validation)
{
    const std::string xml = "<!DOCTYPE r [<!ELEMENT r (a, b)><!ELEMENT a (#PCDATA)><!ELEMENT b EMPTY>"
                            "<!ATTLIST b x CDATA #REQUIRED>]>\n<r>\n <a>t</a>\n <b x=\"1\"/>\n</r>";
    const DOM_Document doc = parse_text(xml, true);
    // Whitespace in element content stays as text, with validation too.
    EXPECT_EQ("document #document\n"
              "  doctype r\n"
              "  element r\n"
              "    text #text='\\n '\n"
              "    element a\n"
              "      text #text='t'\n"
              "    text #text='\\n '\n"
              "    element b\n"
              "    text #text='\\n'\n",
              dump(doc));
}

TEST(parse, buffer_violating_its_dtd_fails_only_with_validation)
{
    const std::string xml = "<!DOCTYPE r [<!ELEMENT r EMPTY>]><r><a/></r>";
    EXPECT_NO_THROW(parse_text(xml, false));
    EXPECT_THROW_MSG(parse_text(xml, true), cTextException,
                     buffer_error("Error", 1, 39, "no declaration found for element 'a'"));
}

TEST(parse, buffer_warning_ends_the_parse_with_or_without_validation)
{
    const std::string expected =
        buffer_error("Warning", 1, 72, "attribute 'a' has already been declared for element 'r'");
    EXPECT_THROW_MSG(parse_text(kWarningOnly, false), cTextException, expected);
    EXPECT_THROW_MSG(parse_text(kWarningOnly, true), cTextException, expected);
}

TEST(parse, buffer_syntax_errors_name_buffer_id)
{
    struct Row {
        const char* xml;
        std::string expected;
    };
    const Row rows[] = {
        {"<r>\n  <a></r>", fatal(2, 8, "expected end of tag 'a'")},
        {"<r>\n<a", fatal(2, 3, "unexpected end of input")},
        {"<r/>x", fatal(1, 5, "comment or processing instruction expected")},
        {"hello", fatal(1, 1, "invalid document structure")},
        {"   ", fatal(1, 4, "invalid document structure")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(visible(row.xml));
        EXPECT_THROW_MSG(parse_text(row.xml), cTextException, row.expected);
    }
}

TEST(parse, buffer_of_length_zero_throws)
{
    const std::string expected = fatal(1, 1, "invalid document structure");
    EXPECT_THROW_MSG(ParseBuffer("<r/>", 0, false), cTextException, expected);
    EXPECT_THROW_MSG(ParseBuffer("", 0, false), cTextException, expected);
    EXPECT_THROW_MSG(ParseBuffer("<r/>", 0, true), cTextException, expected);
}

TEST(parse, buffer_reads_exactly_length_bytes_without_terminator)
{
    // No terminating zero after the block: a read past it is caught by ASan.
    const std::string xml = "<r>t</r>";
    std::unique_ptr<char[]> block(new char[xml.size()]);
    std::memcpy(block.get(), xml.data(), xml.size());
    const DOM_Document doc = ParseBuffer(block.get(), static_cast<unsigned int>(xml.size()), false);
    EXPECT_EQ("element r\n  text #text='t'\n", dump(doc.getDocumentElement()));
}

TEST(parse, buffer_ignores_bytes_after_length)
{
    const char garbage[] = "<r/>garbage";
    const DOM_Document doc = ParseBuffer(garbage, 4, false);
    EXPECT_EQ("document #document\n  element r\n", dump(doc));

    // The same block in full has a second root and does not parse.
    const char twoRoots[] = "<r>a</r><x/>";
    EXPECT_THROW(ParseBuffer(twoRoots, sizeof twoRoots - 1, false), cTextException);
    EXPECT_EQ("document #document\n  element r\n    text #text='a'\n", dump(ParseBuffer(twoRoots, 8, false)));
}

TEST(parse, buffer_cut_inside_the_root_is_incomplete)
{
    EXPECT_THROW_MSG(ParseBuffer("<r>abc</r>", 5, false), cTextException,
                     fatal(1, 6, "input ended before all started tags were ended; last tag started is 'r'"));
}

TEST(parse, zero_byte_within_length_is_invalid_input)
{
    struct Row {
        std::string xml;
        std::string expected;
    };
    const std::string invalidZero = "invalid character 0x0";
    const Row rows[] = {
        {"<r>a\0b</r>"s, fatal(1, 6, invalidZero)},
        // Xerces-C alone would stop at the zero and accept these.
        {"<r/>\0junk"s, fatal(1, 6, invalidZero)},
        {"<r/>\0"s, fatal(1, 6, invalidZero)},
        {"<r/>\0<x/>"s, fatal(1, 6, invalidZero)},
        {"<r/>\n\0"s, fatal(2, 2, invalidZero)},
        {"<r/>\t\0"s, fatal(1, 7, invalidZero)},
        // A two-byte UTF-8 character is one column.
        {"<r/><!--\xC3\xA4-->\0"s, fatal(1, 14, invalidZero)},
        {"\0<r/>"s, fatal(1, 1, "invalid document structure")},
        {"<r>\0</r>"s, fatal(1, 4, "input ended before all started tags were ended; last tag started is 'r'")},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(visible(row.xml));
        EXPECT_THROW_MSG(parse_text(row.xml), cTextException, row.expected);
    }
}

TEST(parse, zero_after_root_is_placed_where_the_parser_would_place_it)
{
    // The parser does not count a byte order mark as a column, takes a lone
    // carriage return for a line end and every ISO-8859-1 byte for one
    // column. A zero after the root is to be placed by the same rules.
    struct Row {
        const char* label;
        std::string xml;
        std::string expected;
    };
    const std::string invalidZero = "invalid character 0x0";
    const std::string latin1Declaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    const Row rows[] = {
        {"utf-8 bom", "\xEF\xBB\xBF<r/>\0junk"s, fatal(1, 6, invalidZero)},
        {"utf-16le bom", utf16le("<r/>\0junk"s), fatal(1, 6, invalidZero)},
        {"utf-16be bom", utf16be("<r/>\0junk"s), fatal(1, 6, invalidZero)},
        {"lone cr", "<r/>\r<!---->\0"s, fatal(2, 9, invalidZero)},
        {"cr lf", "<r/>\r\n<!---->\0"s, fatal(2, 9, invalidZero)},
        {"latin-1 byte 0xB0", latin1Declaration + "<r/><!--\xB0-->\0"s,
         fatal(1, static_cast<int>(latin1Declaration.size()) + 14, invalidZero)},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_THROW_MSG(parse_text(row.xml), cTextException, row.expected);
    }
}

TEST(parse, zero_inside_root_is_placed_by_the_parser)
{
    // The counterparts of the rows above, where the parser itself reports.
    const std::string invalidZero = "invalid character 0x0";
    const std::string latin1Declaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    EXPECT_THROW_MSG(parse_text("\xEF\xBB\xBF<r>a\0b</r>"s), cTextException, fatal(1, 6, invalidZero));
    EXPECT_THROW_MSG(parse_text(utf16le("<r>a\0b</r>"s)), cTextException, fatal(1, 6, invalidZero));
    EXPECT_THROW_MSG(parse_text("<r>\ra\0b</r>"s), cTextException, fatal(2, 3, invalidZero));
    EXPECT_THROW_MSG(parse_text(latin1Declaration + "<r><!--\xB0-->a\0b</r>"s), cTextException,
                     fatal(1, static_cast<int>(latin1Declaration.size()) + 14, invalidZero));
}

TEST(parse, multibyte_buffers_full_of_zero_bytes_parse)
{
    struct Row {
        const char* label;
        std::string bytes;
    };
    const std::string body = "<r a=\"1\">x\xE4<s/></r>";
    const auto declared = [&body](const char* encoding) {
        return "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>" + body;
    };
    const Row rows[] = {
        {"utf-16le bom", utf16le(body)},
        {"utf-16be bom", utf16be(body)},
        {"utf-16le declaration", utf16le(declared("UTF-16"), false)},
        // Other names the parser knows for the same two-byte encoding.
        {"ISO-10646-UCS-2", utf16le(declared("ISO-10646-UCS-2"))},
        {"UTF16", utf16le(declared("UTF16"))},
        {"UCS2", utf16le(declared("UCS2"))},
        {"UCS-4", ucs4le(declared("UCS-4"))},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        DOM_Document doc;
        EXPECT_NO_THROW(doc = parse_text(row.bytes));
        if (doc.isNull())
            continue;
        EXPECT_EQ("element r\n  text #text='x\xE4'\n  element s\n", dump(doc.getDocumentElement()));
        EXPECT_EQ("1", str(doc.getDocumentElement().getAttribute("a")));
    }
}

TEST(parse, two_successive_parses_both_succeed)
{
    const DOM_Document first = parse_text("<one>1</one>");
    const DOM_Document second = parse_text("<two>2</two>");
    EXPECT_NE(first, second);
    EXPECT_EQ("element one\n  text #text='1'\n", dump(first.getDocumentElement()));
    EXPECT_EQ("element two\n  text #text='2'\n", dump(second.getDocumentElement()));
}

TEST(parse, failed_parse_leaves_next_parse_unharmed)
{
    EXPECT_THROW(parse_text("<r>"), cTextException);
    EXPECT_THROW(parse_text("<?xml version=\"1.2\"?><r/>"), cTextException);
    EXPECT_EQ("element r\n", dump(parse_text("<r/>").getDocumentElement()));
}

TEST(parse, returned_document_is_complete_after_the_call)
{
    EXPECT_EQ(kMixedDump, dump(parse_text(kMixedSample)));
}

TEST(parse, entity_references_cdata_comments_and_pis_are_kept_as_nodes)
{
    const DOM_Document doc = parse_text(kMixedSample);
    const DOM_Node root = doc.getDocumentElement();
    const DOM_Node ref = root.getFirstChild().getNextSibling();
    EXPECT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, ref.getNodeType());
    EXPECT_EQ("e", str(ref.getNodeName()));
    EXPECT_EQ(DOM_Node::TEXT_NODE, ref.getFirstChild().getNodeType());
    EXPECT_EQ("x", str(ref.getFirstChild().getNodeValue()));
    EXPECT_EQ(ref, ref.getFirstChild().getParentNode());

    const DOM_Node cdata = root.getLastChild().getPreviousSibling().getPreviousSibling();
    EXPECT_EQ(DOM_Node::CDATA_SECTION_NODE, cdata.getNodeType());
    EXPECT_EQ("<cd>", str(cdata.getNodeValue()));
    EXPECT_EQ(DOM_Node::COMMENT_NODE, cdata.getPreviousSibling().getNodeType());
    EXPECT_EQ(DOM_Node::PROCESSING_INSTRUCTION_NODE, cdata.getNextSibling().getNodeType());
}

TEST(parse, node_handle_keeps_document_alive_after_the_call)
{
    DOM_Node leaf;
    {
        const DOM_Document doc = parse_text("<r><s>v</s></r>");
        leaf = doc.getDocumentElement().getFirstChild().getFirstChild();
    }
    EXPECT_EQ("v", str(leaf.getNodeValue()));
    EXPECT_EQ("r", str(leaf.getParentNode().getParentNode().getNodeName()));
    EXPECT_EQ("document #document\n  element r\n    element s\n      text #text='v'\n",
              dump(leaf.getOwnerDocument()));
}

TEST(parse, document_does_not_refer_to_the_callers_buffer)
{
    const std::string xml = "<r a=\"x\"><s>text</s></r>";
    std::unique_ptr<char[]> block(new char[xml.size()]);
    std::memcpy(block.get(), xml.data(), xml.size());
    const DOM_Document doc = ParseBuffer(block.get(), static_cast<unsigned int>(xml.size()), false);
    std::memset(block.get(), 'Z', xml.size());
    block.reset();
    EXPECT_EQ("element r\n  element s\n    text #text='text'\n", dump(doc.getDocumentElement()));
    EXPECT_EQ("x", str(doc.getDocumentElement().getAttribute("a")));
}

TEST(parse, dom_exception_out_of_parse_carries_the_parsers_words)
{
    struct Row {
        const char* xml;
        const char* expected;
    };
    const Row rows[] = {
        {"<?xml version=\"1.2\"?><r/>",
         "An error occured during parsing\n"
         "   Message: implementation does not support the requested type of object or operation"},
        {"<!DOCTYPE :a><:a/>",
         "An error occured during parsing\n"
         "   Message: attempt is made to create or change an object in a way which is incorrect with respect to "
         "namespaces"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.xml);
        EXPECT_THROW_MSG(parse_text(row.xml), cTextException, row.expected);
        EXPECT_THROW_MSG(parse_text(row.xml, true), cTextException, row.expected);
    }
}

// ---- ParseFile ----------------------------------------------------------------------

TEST(parse, file_from_test_data_parses)
{
    const DOM_Document doc = ParseFile(kDataDir + "/parse-simple.xml", false);
    EXPECT_EQ("element config\n"
              "  text #text='\\n    '\n"
              "  element section\n"
              "    text #text='\\n        '\n"
              "    element key\n"
              "      text #text='value'\n"
              "    text #text='\\n    '\n"
              "  text #text='\\n'\n",
              dump(doc.getDocumentElement()));
    const DOM_Node section = doc.getDocumentElement().getFirstChild().getNextSibling();
    EXPECT_EQ("one", str(section.getAttributes().getNamedItem("name").getNodeValue()));
}

TEST(parse, file_with_external_dtd_beside_it_validates)
{
    const DOM_Document doc = ParseFile(kDataDir + "/parse-valid.xml", true);
    EXPECT_EQ("config", str(doc.getDocumentElement().getNodeName()));
    EXPECT_EQ("config", str(doc.getDoctype().getName()));
}

TEST(parse, file_violating_its_dtd_fails_only_with_validation)
{
    const std::string path = kDataDir + "/parse-invalid.xml";
    EXPECT_NO_THROW(ParseFile(path, false));
    bool caught = false;
    try {
        ParseFile(path, true);
    } catch (const cTextException& e) {
        caught = true;
        const std::string text = e.what();
        EXPECT_EQ(0u, text.find("Error at (file " + path + ", line 4, char ")) << text;
        const std::string tail = "): no declaration found for element 'unknown'\n";
        ASSERT_GE(text.size(), tail.size());
        EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
    }
    EXPECT_TRUE(caught);
}

TEST(parse, temporary_file_parses)
{
    const TempDir dir;
    const std::string path = dir.write("doc.xml", "<r>\n  <a>1</a>\n</r>\n");
    const DOM_Document doc = ParseFile(path, false);
    EXPECT_EQ("element r\n  text #text='\\n  '\n  element a\n    text #text='1'\n  text #text='\\n'\n",
              dump(doc.getDocumentElement()));
}

TEST(parse, file_syntax_error_names_the_file)
{
    const TempDir dir;
    const std::string path = dir.write("bad.xml", "<r>\n  <a></r>");
    EXPECT_THROW_MSG(ParseFile(path, false), cTextException,
                     "Fatal Error at (file " + path + ", line 2, char 8): expected end of tag 'a'\n");
}

TEST(parse, empty_file_throws)
{
    const TempDir dir;
    const std::string path = dir.write("empty.xml", "");
    EXPECT_THROW_MSG(ParseFile(path, false), cTextException,
                     "Fatal Error at (file " + path + ", line 1, char 1): invalid document structure\n");
}

TEST(parse, file_validation_without_dtd_fails)
{
    const TempDir dir;
    const std::string path = dir.write("nodtd.xml", kNoDtd);
    EXPECT_NO_THROW(ParseFile(path, false));
    EXPECT_THROW_MSG(ParseFile(path, true), cTextException,
                     "Error at (file " + path + ", line 1, char 3): no declaration found for element 'r'\n");
}

TEST(parse, missing_file_throws_with_its_path)
{
    const TempDir dir;
    const std::string path = (dir.path() / "does-not-exist.xml").string();
    EXPECT_THROW_MSG(ParseFile(path, false), cTextException,
                     "Fatal Error at (file , line 0, char 0): unable to open primary document entity '" + path +
                         "'\n");
}

TEST(parse, directory_throws)
{
    const TempDir dir;
    EXPECT_THROW_MSG(ParseFile(dir.path().string(), false), cTextException,
                     "Fatal Error at (file , line 0, char 0): unable to read data from file\n");
}

TEST(parse, relative_path_is_taken_from_the_working_directory)
{
    const TempDir dir;
    dir.write("relative.xml", "<here>yes</here>");
    const CurrentDir inside(dir.path());
    const DOM_Document doc = ParseFile("relative.xml", false);
    EXPECT_EQ("element here\n  text #text='yes'\n", dump(doc.getDocumentElement()));
}

TEST(parse, missing_relative_file_is_reported_against_the_working_directory)
{
    const TempDir dir;
    const CurrentDir inside(dir.path());
    const std::string absolute = (fs::current_path() / "nope.xml").string();
    EXPECT_THROW_MSG(ParseFile("nope.xml", false), cTextException,
                     "Fatal Error at (file , line 0, char 0): unable to open primary document entity '" + absolute +
                         "'\n");
}

TEST(parse, file_dom_exception_carries_the_parsers_words)
{
    const TempDir dir;
    const std::string path = dir.write("v12.xml", "<?xml version=\"1.2\"?><r/>");
    EXPECT_THROW_MSG(ParseFile(path, false), cTextException,
                     "An error occured during parsing\n"
                     "   Message: implementation does not support the requested type of object or operation");
}

TEST(parse, file_warning_ends_the_parse)
{
    const TempDir dir;
    const std::string path = dir.write("warn.xml", kWarningOnly);
    EXPECT_THROW_MSG(ParseFile(path, false), cTextException,
                     "Warning at (file " + path +
                         ", line 1, char 72): attribute 'a' has already been declared for element 'r'\n");
}

TEST(parse, file_comment_after_root_is_kept)
{
    // A file is read by the parser alone: comments after the root are fine.
    const TempDir dir;
    const std::string path = dir.write("tail.xml", "<r/>\n<!-- tail -->\n");
    EXPECT_EQ("document #document\n  element r\n  comment #comment=' tail '\n", dump(ParseFile(path, false)));
}

TEST(parse, first_parses_from_several_threads_at_once)
{
    // Xerces-C crashes when two threads initialise it at once, which is what
    // happens when a program's first parses start together. Each round runs
    // in a fresh process, where Xerces-C is not yet initialised.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int round = 0; round < 20; ++round) {
        EXPECT_EXIT(
            {
                std::vector<std::thread> threads;
                std::atomic<int> parsed{0};
                for (int t = 0; t < 4; ++t)
                    threads.emplace_back([&parsed] {
                        const std::string xml = "<r><a x='1'>text</a></r>";
                        for (int i = 0; i < 20; ++i) {
                            DOM_Document doc = parse_text(xml);
                            if (str(doc.getDocumentElement().getFirstChild().getNodeName()) == "a")
                                ++parsed;
                        }
                    });
                for (std::thread& thread : threads)
                    thread.join();
                std::exit(parsed == 80 ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "");
    }
}
