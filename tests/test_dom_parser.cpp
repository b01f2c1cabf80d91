// SPDX-License-Identifier: Apache-2.0
// The options of the classic DOMParser: their defaults, and what each one
// changes in a parse.
#include "test_util.h"
#include "xerces_leaks.h"

#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/framework/XMLValidator.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/RuntimeException.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include <sstream>
#include <string>
#include <vector>

using xercesc::MemBufInputSource;

namespace {

// Counts the reports and keeps their messages; never throws, so that the
// parse goes on as far as the parser lets it.
class Recorder final : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException& e) override { record("warning", e); }
    void error(const xercesc::SAXParseException& e) override { record("error", e); }
    void fatalError(const xercesc::SAXParseException& e) override { record("fatal", e); }
    void resetErrors() override {}

    std::vector<std::string> reports;

private:
    void record(const char* kind, const xercesc::SAXParseException& e)
    {
        char* message = xercesc::XMLString::transcode(e.getMessage());
        reports.push_back(std::string(kind) + " " + std::to_string(e.getLineNumber()) + ": " + message);
        xercesc::XMLString::release(&message);
    }
};

void parse_text_with(DOMParser& parser, const std::string& xml)
{
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "memory");
    parser.parse(source);
}

// The children of `node` as "type:name" or "type:value" items, for the
// shape of a tree.
std::string children_of(const DOM_Node& node)
{
    std::string out;
    for (DOM_Node child = node.getFirstChild(); child != 0; child = child.getNextSibling()) {
        if (!out.empty())
            out += ",";
        switch (child.getNodeType()) {
        case DOM_Node::TEXT_NODE:
            out += "text:[" + str(child.getNodeValue()) + "]";
            break;
        case DOM_Node::ENTITY_REFERENCE_NODE:
            out += "ref:" + str(child.getNodeName()) + "{" + children_of(child) + "}";
            break;
        default:
            out += std::to_string(child.getNodeType()) + ":" + str(child.getNodeName());
        }
    }
    return out;
}

const char kEntityDoc[] = "<!DOCTYPE r [<!ENTITY e 'middle'>]><r>before &e; after &amp; &#65;</r>";

// Element content: the white space between <a> elements is ignorable, which
// the scanner tells only while it validates.
const char kWhitespaceDoc[] = "<!DOCTYPE r [<!ELEMENT r (a*)><!ELEMENT a EMPTY>]><r>\n <a/>\n <a/>\n</r>";

// Two well-formedness errors the scanner can go on after: duplicate
// attributes on line 2 and on line 3.
const char kTwoFatals[] = "<!DOCTYPE r [<!ELEMENT r ANY>]>\n<r><a x='1' x='2'/>\n<b y='1' y='2'/></r>";

// Two validity errors: <x> and <y> are not declared.
const char kInvalidDoc[] = "<!DOCTYPE r [<!ELEMENT r ANY>]>\n<r><x/>\n<y/>\n<z>text</z></r>";

} // namespace

TEST(dom_parser, defaults_are_those_of_the_classic_parser)
{
    DOMParser parser;
    EXPECT_TRUE(parser.getCreateEntityReferenceNodes());
    EXPECT_FALSE(parser.getExpandEntityReferences());
    EXPECT_TRUE(parser.getIncludeIgnorableWhitespace());
    EXPECT_TRUE(parser.getExitOnFirstFatalError());
    EXPECT_FALSE(parser.getValidationConstraintFatal());
    EXPECT_FALSE(parser.getDoSchema());
    EXPECT_FALSE(parser.getValidationSchemaFullChecking());
    EXPECT_EQ(0, parser.getErrorCount());
    EXPECT_EQ(nullptr, parser.getEntityResolver());
    EXPECT_EQ(nullptr, parser.getErrorHandler());
    EXPECT_EQ(DOMParser::Val_Never, parser.getValidationScheme());
    EXPECT_FALSE(parser.getDoNamespaces());
}

TEST(dom_parser, expand_entity_references_is_the_inverse_of_creating_nodes)
{
    DOMParser parser;
    parser.setExpandEntityReferences(true);
    EXPECT_FALSE(parser.getCreateEntityReferenceNodes());
    EXPECT_TRUE(parser.getExpandEntityReferences());
    parser.setCreateEntityReferenceNodes(true);
    EXPECT_FALSE(parser.getExpandEntityReferences());
    parser.setExpandEntityReferences(false);
    EXPECT_TRUE(parser.getCreateEntityReferenceNodes());
}

TEST(dom_parser, entity_reference_nodes_are_created_by_default)
{
    DOMParser parser;
    parse_text_with(parser, kEntityDoc);
    // Predefined and character references never make nodes.
    EXPECT_EQ("text:[before ],ref:e{text:[middle]},text:[ after & A]",
              children_of(parser.getDocument().getDocumentElement()));
}

TEST(dom_parser, without_entity_reference_nodes_the_expansion_merges_with_the_text)
{
    DOMParser parser;
    parser.setCreateEntityReferenceNodes(false);
    parse_text_with(parser, kEntityDoc);
    EXPECT_EQ("text:[before middle after & A]", children_of(parser.getDocument().getDocumentElement()));

    DOMParser expanding;
    expanding.setExpandEntityReferences(true);
    parse_text_with(expanding, kEntityDoc);
    EXPECT_EQ("text:[before middle after & A]", children_of(expanding.getDocument().getDocumentElement()));
}

TEST(dom_parser, ignorable_whitespace_is_kept_by_default)
{
    DOMParser parser;
    parser.setDoValidation(true);
    parse_text_with(parser, kWhitespaceDoc);
    const DOM_Element root = parser.getDocument().getDocumentElement();
    EXPECT_EQ("text:[\n ],1:a,text:[\n ],1:a,text:[\n]", children_of(root));
    DOM_Node first = root.getFirstChild();
    EXPECT_TRUE(static_cast<DOM_Text&>(first).isIgnorableWhitespace());
}

TEST(dom_parser, ignorable_whitespace_is_dropped_when_not_included)
{
    DOMParser parser;
    parser.setIncludeIgnorableWhitespace(false);
    EXPECT_FALSE(parser.getIncludeIgnorableWhitespace());
    parser.setDoValidation(true);
    parse_text_with(parser, kWhitespaceDoc);
    EXPECT_EQ("1:a,1:a", children_of(parser.getDocument().getDocumentElement()));

    // Without validation, white space is text like any other.
    parser.setDoValidation(false);
    parse_text_with(parser, kWhitespaceDoc);
    const DOM_Element root = parser.getDocument().getDocumentElement();
    EXPECT_EQ("text:[\n ],1:a,text:[\n ],1:a,text:[\n]", children_of(root));
    DOM_Node first = root.getFirstChild();
    EXPECT_FALSE(static_cast<DOM_Text&>(first).isIgnorableWhitespace());
}

TEST(dom_parser, the_parse_ends_at_the_first_fatal_error_by_default)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parse_text_with(parser, kTwoFatals);
    EXPECT_EQ(1, parser.getErrorCount());
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ("fatal 2: attribute 'x' is already specified for element 'a'", recorder.reports[0]);
}

TEST(dom_parser, without_exit_on_first_fatal_error_later_errors_are_counted)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setExitOnFirstFatalError(false);
    EXPECT_FALSE(parser.getExitOnFirstFatalError());
    parse_text_with(parser, kTwoFatals);
    EXPECT_EQ(2, parser.getErrorCount());
    ASSERT_EQ(2u, recorder.reports.size());
    EXPECT_EQ("fatal 2: attribute 'x' is already specified for element 'a'", recorder.reports[0]);
    EXPECT_EQ("fatal 3: attribute 'y' is already specified for element 'b'", recorder.reports[1]);
    // The count is the last parse's.
    parse_text_with(parser, "<r/>");
    EXPECT_EQ(0, parser.getErrorCount());
}

TEST(dom_parser, validity_errors_are_recoverable_by_default)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoValidation(true);
    parse_text_with(parser, kInvalidDoc);
    EXPECT_EQ(3, parser.getErrorCount());
    ASSERT_EQ(3u, recorder.reports.size());
    EXPECT_EQ("error 2: no declaration found for element 'x'", recorder.reports[0]);
    EXPECT_EQ("1:x,text:[\n],1:y,text:[\n],1:z", children_of(parser.getDocument().getDocumentElement()));
}

TEST(dom_parser, a_fatal_validation_constraint_ends_the_parse)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoValidation(true);
    parser.setValidationConstraintFatal(true);
    EXPECT_TRUE(parser.getValidationConstraintFatal());
    parse_text_with(parser, kInvalidDoc);
    EXPECT_EQ(1, parser.getErrorCount());
    ASSERT_EQ(1u, recorder.reports.size());
    // Reported as an error all the same; the parse ends before <x> is built.
    EXPECT_EQ("error 2: no declaration found for element 'x'", recorder.reports[0]);
    EXPECT_EQ("", children_of(parser.getDocument().getDocumentElement()));

    // With exit on first fatal error off, it goes on as before.
    parser.setExitOnFirstFatalError(false);
    recorder.reports.clear();
    parse_text_with(parser, kInvalidDoc);
    EXPECT_EQ(3, parser.getErrorCount());
    EXPECT_EQ(3u, recorder.reports.size());
}

namespace {

const char kSchema[] = R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema">
  <xs:element name="r">
    <xs:complexType><xs:sequence><xs:element name="n" type="xs:int" maxOccurs="unbounded"/></xs:sequence></xs:complexType>
  </xs:element>
</xs:schema>
)";

const char kSchemaDoc[] = "<r xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
                          " xsi:noNamespaceSchemaLocation='r.xsd'><n>1</n><n>two</n><n>x</n></r>";

} // namespace

TEST(dom_parser, schemas_are_ignored_by_default)
{
    const TempDir dir;
    dir.write("r.xsd", kSchema);
    const std::string path = dir.write("r.xml", kSchemaDoc);
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoNamespaces(true);
    parser.setValidationScheme(DOMParser::Val_Auto);
    parser.parse(path.c_str());
    EXPECT_EQ(0, parser.getErrorCount());
    EXPECT_TRUE(recorder.reports.empty());
}

TEST(dom_parser, with_schemas_on_schema_validity_errors_are_counted)
{
    const TempDir dir;
    dir.write("r.xsd", kSchema);
    const std::string path = dir.write("r.xml", kSchemaDoc);
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoNamespaces(true);
    parser.setValidationScheme(DOMParser::Val_Auto);
    parser.setDoSchema(true);
    EXPECT_TRUE(parser.getDoSchema());
    parser.parse(path.c_str());
    EXPECT_EQ(2, parser.getErrorCount());
    ASSERT_EQ(2u, recorder.reports.size());
    EXPECT_EQ("error 1: value 'two' does not match regular expression facet '[+\\-]?[0-9]+'", recorder.reports[0]);
}

TEST(dom_parser, full_schema_checking_finds_errors_in_the_schema_itself)
{
    // Two particles that the same element can match: the content model is
    // ambiguous, which only the full check of the schema reports.
    const char schema[] = R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema">
  <xs:element name="r">
    <xs:complexType><xs:choice>
      <xs:element name="n" type="xs:int"/>
      <xs:sequence><xs:element name="n" type="xs:int"/><xs:element name="m"/></xs:sequence>
    </xs:choice></xs:complexType>
  </xs:element>
</xs:schema>
)";
    const TempDir dir;
    dir.write("r.xsd", schema);
    const std::string path = dir.write("r.xml", "<r xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
                                                " xsi:noNamespaceSchemaLocation='r.xsd'><n>1</n></r>");
    for (const bool full : {false, true}) {
        DOMParser parser;
        Recorder recorder;
        parser.setErrorHandler(&recorder);
        parser.setDoNamespaces(true);
        parser.setValidationScheme(DOMParser::Val_Auto);
        parser.setDoSchema(true);
        parser.setValidationSchemaFullChecking(full);
        EXPECT_EQ(full, parser.getValidationSchemaFullChecking());
        parser.parse(path.c_str());
        EXPECT_EQ(full ? 1 : 0, parser.getErrorCount()) << full;
    }
}

namespace {

// Answers for one system id with text of its own, or with a file.
class Resolver final : public xercesc::EntityResolver {
public:
    xercesc::InputSource* resolveEntity(const XMLCh* const, const XMLCh* const systemId) override
    {
        char* name = xercesc::XMLString::transcode(systemId);
        asked.push_back(name);
        xercesc::XMLString::release(&name);
        if (asked.back() != "ext.ent")
            return nullptr;
        if (!file.empty())
            return new xercesc::LocalFileInputSource(std::u16string(file.begin(), file.end()).c_str());
        return new MemBufInputSource(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "given");
    }

    std::string text = "from the resolver";
    std::string file; // ASCII path to hand out instead of `text`
    std::vector<std::string> asked;
};

const char kExternalDoc[] = "<!DOCTYPE r [<!ENTITY e SYSTEM 'ext.ent'>]><r>&e;</r>";

} // namespace

TEST(dom_parser, an_entity_resolver_supplies_external_entities)
{
    const TempDir dir;
    dir.write("ext.ent", "from the file");
    const std::string path = dir.write("r.xml", kExternalDoc);

    DOMParser parser;
    parser.parse(path.c_str());
    EXPECT_EQ("ref:e{text:[from the file]}", children_of(parser.getDocument().getDocumentElement()));

    Resolver resolver;
    parser.setEntityResolver(&resolver);
    EXPECT_EQ(&resolver, parser.getEntityResolver());
    parser.parse(path.c_str());
    EXPECT_EQ("ref:e{text:[from the resolver]}", children_of(parser.getDocument().getDocumentElement()));
    EXPECT_EQ(std::vector<std::string>{"ext.ent"}, resolver.asked);

    parser.setEntityResolver(nullptr);
    parser.parse(path.c_str());
    EXPECT_EQ("ref:e{text:[from the file]}", children_of(parser.getDocument().getDocumentElement()));
}

TEST(dom_parser, a_null_answer_leaves_the_entity_to_the_parser)
{
    const TempDir dir;
    dir.write("other.ent", "other");
    const std::string path = dir.write("r.xml", "<!DOCTYPE r [<!ENTITY e SYSTEM 'other.ent'>]><r>&e;</r>");
    DOMParser parser;
    Resolver resolver;
    parser.setEntityResolver(&resolver);
    parser.parse(path.c_str());
    EXPECT_EQ("ref:e{text:[other]}", children_of(parser.getDocument().getDocumentElement()));
    EXPECT_EQ(std::vector<std::string>{"other.ent"}, resolver.asked);
}

TEST(dom_parser, files_a_resolver_names_are_read_under_the_documents_rules)
{
    const TempDir inside;
    const TempDir outside;
    const std::string secret = outside.write("secret.ent", "secret");
    inside.write("mine.ent", "mine");
    const std::string path = inside.write("r.xml", kExternalDoc);

    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    Resolver resolver;
    parser.setEntityResolver(&resolver);

    resolver.file = (inside / "mine.ent").string();
    parser.parse(path.c_str());
    EXPECT_EQ(0, parser.getErrorCount());
    EXPECT_EQ("ref:e{text:[mine]}", children_of(parser.getDocument().getDocumentElement()));

    resolver.file = secret;
    parser.parse(path.c_str());
    EXPECT_EQ(1, parser.getErrorCount());
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_NE(std::string::npos, recorder.reports[0].find("outside the folders this document may read"))
        << recorder.reports[0];
    EXPECT_EQ(std::string::npos, children_of(parser.getDocument().getDocumentElement()).find("secret"));
}

TEST(dom_parser, a_file_that_cannot_be_opened_counts_as_an_error)
{
    const TempDir dir;
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.parse((dir / "missing.xml").string().c_str());
    EXPECT_EQ(1, parser.getErrorCount());
    EXPECT_EQ(1u, recorder.reports.size());
}

TEST(dom_parser, reset_lets_go_of_the_document)
{
    DOMParser parser;
    parse_text_with(parser, "<r><a/></r>");
    DOM_Document kept = parser.getDocument();
    parser.reset();
    DOM_Document fresh = parser.getDocument();
    EXPECT_TRUE(fresh != kept);
    EXPECT_TRUE(fresh.getFirstChild() == 0);
    EXPECT_EQ("r", str(kept.getDocumentElement().getNodeName()));

    // A document not yet handed out goes with the reset.
    parse_text_with(parser, "<s/>");
    parser.reset();
    EXPECT_TRUE(parser.getDocument().getDocumentElement() == 0);
    parse_text_with(parser, "<t/>");
    EXPECT_EQ("t", str(parser.getDocument().getDocumentElement().getNodeName()));
}

// ---- Without an error handler ------------------------------------------------

TEST(dom_parser, without_a_handler_a_fatal_error_is_thrown_as_sax_parse_exception)
{
    DOMParser parser;
    EXPECT_EQ(nullptr, parser.getErrorHandler());
    try {
        parse_text_with(parser, "<r>\n<a></r>");
        FAIL() << "no exception";
    } catch (const xercesc::SAXParseException& e) {
        EXPECT_EQ(2u, e.getLineNumber());
        EXPECT_EQ(6u, e.getColumnNumber());
        char* message = xercesc::XMLString::transcode(e.getMessage());
        EXPECT_STREQ("expected end of tag 'a'", message);
        xercesc::XMLString::release(&message);
    }
    // The parser is ready for the next document.
    parse_text_with(parser, "<ok/>");
    EXPECT_EQ("ok", str(parser.getDocument().getDocumentElement().getNodeName()));
}

TEST(dom_parser, without_a_handler_warnings_and_errors_pass_unreported)
{
    DOMParser parser;
    parser.setDoValidation(true);
    parse_text_with(parser, kInvalidDoc);
    EXPECT_EQ(3, parser.getErrorCount());
    EXPECT_EQ("z", str(parser.getDocument().getDocumentElement().getLastChild().getNodeName()));
}

TEST(dom_parser, removing_the_handler_restores_the_classic_reports)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    EXPECT_EQ(&recorder, parser.getErrorHandler());
    parse_text_with(parser, "<r><a></r>");
    EXPECT_EQ(1u, recorder.reports.size());
    parser.setErrorHandler(nullptr);
    EXPECT_EQ(nullptr, parser.getErrorHandler());
    EXPECT_THROW(parse_text_with(parser, "<r><a></r>"), xercesc::SAXParseException);
    EXPECT_EQ(1u, recorder.reports.size());
}

TEST(dom_parser, without_a_handler_a_refused_read_is_thrown_too)
{
    DOMParser parser;
    try {
        parse_text_with(parser, "<!DOCTYPE r [<!ENTITY e SYSTEM '/etc/passwd'>]><r>&e;</r>");
        FAIL() << "no exception";
    } catch (const xercesc::SAXParseException& e) {
        char* message = xercesc::XMLString::transcode(e.getMessage());
        EXPECT_EQ(0, std::string(message).find("refused to read '/etc/passwd'")) << message;
        xercesc::XMLString::release(&message);
    }
}

// ---- The document is never null ----------------------------------------------

TEST(dom_parser, a_new_parser_has_an_empty_document)
{
    DOMParser parser;
    DOM_Document doc = parser.getDocument();
    ASSERT_FALSE(doc.isNull());
    EXPECT_EQ(DOM_Node::DOCUMENT_NODE, doc.getNodeType());
    EXPECT_TRUE(doc.getFirstChild() == 0);
    EXPECT_TRUE(doc.getDocumentElement() == 0);
    EXPECT_TRUE(doc == parser.getDocument());
    // It can be built on, and lives on after the parser.
    doc.appendChild(doc.createElement("built"));
    parse_text_with(parser, "<parsed/>");
    EXPECT_EQ("built", str(doc.getDocumentElement().getNodeName()));
    EXPECT_EQ("parsed", str(parser.getDocument().getDocumentElement().getNodeName()));
}

TEST(dom_parser, a_parse_that_builds_nothing_leaves_an_empty_document)
{
    const TempDir dir;
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parse_text_with(parser, "<old/>");
    DOM_Document old = parser.getDocument();
    parser.parse((dir / "missing.xml").string().c_str());
    DOM_Document doc = parser.getDocument();
    ASSERT_FALSE(doc.isNull());
    EXPECT_TRUE(doc != old);
    EXPECT_TRUE(doc.getFirstChild() == 0);
}

// ---- More ways to parse --------------------------------------------------------

TEST(dom_parser, parses_a_system_id_given_as_16_bit_text)
{
    const TempDir dir;
    const std::string file = dir.write("wide.xml", "<wide a='1'/>");
    DOMParser parser; // sets up Xerces-C, which transcode needs
    XMLCh* id = xercesc::XMLString::transcode(file.c_str());
    parser.parse(id);
    xercesc::XMLString::release(&id);
    EXPECT_EQ("wide", str(parser.getDocument().getDocumentElement().getNodeName()));
}

TEST(dom_parser, parses_progressively_one_piece_at_a_time)
{
    const TempDir dir;
    const std::string file = dir.write("steps.xml", "<?xml version='1.0'?>\n<r><a/><b>t</b><!--c--></r>");
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    xercesc::XMLPScanToken token;
    ASSERT_TRUE(parser.parseFirst(file.c_str(), token));
    int steps = 0;
    while (parser.parseNext(token))
        ++steps;
    EXPECT_EQ(7, steps);
    EXPECT_TRUE(recorder.reports.empty());
    EXPECT_EQ("1:a,1:b,8:#comment", children_of(parser.getDocument().getDocumentElement()));
}

TEST(dom_parser, a_progressive_parse_stops_at_an_error_and_can_be_reset)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    const std::string bad = "<r><a></r>";
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(bad.data()), bad.size(), "memory");
    xercesc::XMLPScanToken token;
    ASSERT_TRUE(parser.parseFirst(source, token));
    while (parser.parseNext(token)) {
    }
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ("fatal 1: expected end of tag 'a'", recorder.reports[0]);

    // Reset half way, then a whole parse on the same parser.
    const std::string good = "<r><a/><b/></r>";
    const MemBufInputSource second(reinterpret_cast<const XMLByte*>(good.data()), good.size(), "memory");
    ASSERT_TRUE(parser.parseFirst(second, token));
    ASSERT_TRUE(parser.parseNext(token));
    parser.parseReset(token);
    parse_text_with(parser, "<whole/>");
    EXPECT_EQ("whole", str(parser.getDocument().getDocumentElement().getNodeName()));
}

TEST(dom_parser, a_progressive_parse_keeps_the_reading_rules)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    const std::string doc = "<!DOCTYPE r [<!ENTITY e SYSTEM '/etc/passwd'>]><r>&e;</r>";
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(doc.data()), doc.size(), "memory");
    xercesc::XMLPScanToken token;
    bool more = parser.parseFirst(source, token);
    while (more)
        more = parser.parseNext(token);
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ(0u, recorder.reports[0].find("fatal 1: refused to read '/etc/passwd'")) << recorder.reports[0];
}

TEST(dom_parser, a_progressive_parse_has_one_memory_budget_for_all_its_steps)
{
    // A billion laughs in small steps: each step alone stays small, the
    // parse as a whole runs into the cap.
    std::string doc = "<!DOCTYPE r [<!ENTITY a0 '" + std::string(1000, 'x') + "'>";
    for (int i = 1; i <= 6; ++i) {
        doc += "<!ENTITY a" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j)
            doc += "&a" + std::to_string(i - 1) + ";";
        doc += "'>";
    }
    doc += "]><r>";
    for (int i = 0; i < 200; ++i)
        doc += "<p>&a3;</p>";
    doc += "</r>";
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setCreateEntityReferenceNodes(false);
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(doc.data()), doc.size(), "memory");
    xercesc::XMLPScanToken token;
    bool threw = false;
    try {
        bool more = parser.parseFirst(source, token);
        while (more)
            more = parser.parseNext(token);
    } catch (const xercesc::RuntimeException& e) {
        threw = e.getCode() == xercesc::XMLExcepts::Out_Of_Memory;
    }
    EXPECT_TRUE(threw);
    // The parser goes on with the next parse.
    parse_text_with(parser, "<next/>");
    EXPECT_EQ("next", str(parser.getDocument().getDocumentElement().getNodeName()));
}

// ---- The remaining options ----------------------------------------------------

TEST(dom_parser, remaining_options_have_the_classic_defaults_and_stick)
{
    DOMParser parser;
    EXPECT_TRUE(parser.getIdentityConstraintChecking());
    EXPECT_FALSE(parser.isCachingGrammarFromParse());
    EXPECT_FALSE(parser.isUsingCachedGrammarInParse());
    EXPECT_FALSE(parser.getCalculateSrcOfs());
    EXPECT_FALSE(parser.getStandardUriConformant());
    EXPECT_EQ(nullptr, parser.getExternalSchemaLocation());
    EXPECT_EQ(nullptr, parser.getExternalNoNamespaceSchemaLocation());
    EXPECT_EQ(nullptr, parser.getPSVIHandler());
    EXPECT_EQ(nullptr, parser.getXMLEntityResolver());

    parser.setIdentityConstraintChecking(false);
    parser.cacheGrammarFromParse(true);
    parser.useCachedGrammarInParse(true);
    parser.setCalculateSrcOfs(true);
    parser.setStandardUriConformant(true);
    parser.setExternalSchemaLocation("urn:a a.xsd");
    parser.setExternalNoNamespaceSchemaLocation(u"b.xsd");
    EXPECT_FALSE(parser.getIdentityConstraintChecking());
    EXPECT_TRUE(parser.isCachingGrammarFromParse());
    EXPECT_TRUE(parser.isUsingCachedGrammarInParse());
    EXPECT_TRUE(parser.getCalculateSrcOfs());
    EXPECT_TRUE(parser.getStandardUriConformant());
    EXPECT_TRUE(xercesc::XMLString::equals(u"urn:a a.xsd", parser.getExternalSchemaLocation()));
    EXPECT_TRUE(xercesc::XMLString::equals(u"b.xsd", parser.getExternalNoNamespaceSchemaLocation()));
    // A parse with reuseGrammar false leaves the program's own setting.
    parse_text_with(parser, "<r/>");
    EXPECT_TRUE(parser.isUsingCachedGrammarInParse());
}

TEST(dom_parser, scanner_and_validator_follow_the_settings)
{
    DOMParser parser;
    EXPECT_FALSE(parser.getScanner().getDoNamespaces());
    EXPECT_EQ(xercesc::XMLScanner::Val_Never, parser.getScanner().getValidationScheme());
    parser.setDoNamespaces(true);
    parser.setDoValidation(true);
    EXPECT_TRUE(parser.getScanner().getDoNamespaces());
    EXPECT_EQ(xercesc::XMLScanner::Val_Always, parser.getScanner().getValidationScheme());
    EXPECT_TRUE(parser.getValidator().handlesDTD());

    parser.useScanner(u"WFXMLScanner");
    EXPECT_TRUE(xercesc::XMLString::equals(u"WFXMLScanner", parser.getScanner().getName()));
    // The well-formedness scanner does not validate.
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parse_text_with(parser, kInvalidDoc);
    EXPECT_TRUE(recorder.reports.empty());
}

TEST(dom_parser, source_offsets_are_counted_on_request)
{
    const std::string doc = "<r><a/><b/></r>";
    DOMParser parser;
    parser.setCalculateSrcOfs(true);
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(doc.data()), doc.size(), "memory");
    xercesc::XMLPScanToken token;
    ASSERT_TRUE(parser.parseFirst(source, token));
    std::vector<unsigned int> offsets;
    while (parser.parseNext(token))
        offsets.push_back(parser.getSrcOffset());
    EXPECT_EQ((std::vector<unsigned int>{3, 7, 11, 15}), offsets);
}

TEST(dom_parser, validates_against_an_external_no_namespace_schema)
{
    const TempDir dir;
    dir.write("n.xsd", "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>"
                       "<xs:element name='n' type='xs:int'/></xs:schema>");
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoNamespaces(true);
    parser.setDoSchema(true);
    parser.setValidationScheme(DOMParser::Val_Always);
    parser.setExternalNoNamespaceSchemaLocation((dir / "n.xsd").string().c_str());
    parser.parse(dir.write("good.xml", "<n>12</n>").c_str());
    EXPECT_TRUE(recorder.reports.empty()) << recorder.reports[0];
    parser.parse(dir.write("bad.xml", "<n>twelve</n>").c_str());
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ(0u, recorder.reports[0].find("error 1: value 'twelve' does not match")) << recorder.reports[0];
}

TEST(dom_parser, a_loaded_and_cached_grammar_validates_later_parses)
{
    const TempDir dir;
    const std::string xsd = dir.write("n.xsd", "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>"
                                               "<xs:element name='n' type='xs:int'/></xs:schema>");
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoNamespaces(true);
    parser.setDoSchema(true);
    parser.setValidationScheme(DOMParser::Val_Always);
    xercesc::Grammar* grammar = parser.loadGrammar(xsd.c_str(), xercesc::Grammar::SchemaGrammarType, true);
    ASSERT_NE(nullptr, grammar);
    EXPECT_EQ(xercesc::Grammar::SchemaGrammarType, grammar->getGrammarType());
    EXPECT_EQ(grammar, parser.getGrammar(u""));
    parser.parse(dir.write("bad.xml", "<n>twelve</n>").c_str(), true);
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ(0u, recorder.reports[0].find("error 1: value 'twelve' does not match")) << recorder.reports[0];
    EXPECT_EQ(grammar, parser.getRootGrammar());

    parser.resetCachedGrammarPool();
    EXPECT_EQ(nullptr, parser.getGrammar(u""));
}

TEST(dom_parser, a_dtd_grammar_is_loaded_under_the_reading_rules)
{
    const TempDir dir;
    const std::string dtd = dir.write("r.dtd", "<!ELEMENT r EMPTY><!ENTITY % x SYSTEM '/etc/passwd'>%x;");
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parser.setDoValidation(true);
    EXPECT_EQ(nullptr, parser.loadGrammar(dtd.c_str(), xercesc::Grammar::DTDGrammarType));
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ(0u, recorder.reports[0].find("fatal 1: refused to read '/etc/passwd'")) << recorder.reports[0];

    const std::string plain = dir.write("p.dtd", "<!ELEMENT p EMPTY>");
    xercesc::Grammar* grammar = parser.loadGrammar(plain.c_str(), xercesc::Grammar::DTDGrammarType);
    ASSERT_NE(nullptr, grammar);
    EXPECT_EQ(xercesc::Grammar::DTDGrammarType, grammar->getGrammarType());
}

namespace {

// Answers every entity with fixed text, or with a file, as told.
class FullResolver final : public xercesc::XMLEntityResolver {
public:
    explicit FullResolver(std::string file = "") : fFile(std::move(file)) {}
    xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override
    {
        seen = str(DOMString(resource->getSystemId()));
        if (!fFile.empty())
            return new xercesc::LocalFileInputSource(DOMString(fFile.c_str()).rawBuffer());
        static const char text[] = "resolved";
        return new MemBufInputSource(reinterpret_cast<const XMLByte*>(text), sizeof text - 1, "given");
    }
    std::string seen;

private:
    std::string fFile;
};

class PlainResolver final : public xercesc::EntityResolver {
public:
    xercesc::InputSource* resolveEntity(const XMLCh*, const XMLCh*) override { return nullptr; }
};

} // namespace

TEST(dom_parser, an_xml_entity_resolver_is_asked_with_the_whole_identifier)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    FullResolver resolver;
    parser.setXMLEntityResolver(&resolver);
    EXPECT_EQ(&resolver, parser.getXMLEntityResolver());
    parser.setCreateEntityReferenceNodes(false);
    parse_text_with(parser, "<!DOCTYPE r [<!ENTITY e SYSTEM 'nowhere.txt'>]><r>&e;</r>");
    EXPECT_TRUE(recorder.reports.empty());
    EXPECT_EQ("nowhere.txt", resolver.seen);
    EXPECT_EQ("text:[resolved]", children_of(parser.getDocument().getDocumentElement()));

    // Only one resolver is asked: the last one installed.
    PlainResolver plain;
    parser.setEntityResolver(&plain);
    EXPECT_EQ(nullptr, parser.getXMLEntityResolver());
    parser.setXMLEntityResolver(&resolver);
    EXPECT_EQ(nullptr, parser.getEntityResolver());
}

TEST(dom_parser, an_xml_entity_resolver_cannot_open_files_the_document_may_not_read)
{
    DOMParser parser;
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    FullResolver resolver("/etc/passwd");
    parser.setXMLEntityResolver(&resolver);
    parse_text_with(parser, "<!DOCTYPE r [<!ENTITY e SYSTEM 'x.txt'>]><r>&e;</r>");
    ASSERT_EQ(1u, recorder.reports.size());
    EXPECT_EQ(0u, recorder.reports[0].find("fatal 0: refused to read '/etc/passwd'")) << recorder.reports[0];
}

// ---- XML declaration nodes ------------------------------------------------------------

namespace {

std::string field(const DOMString& text)
{
    return text.rawBuffer() ? "'" + str(text) + "'" : "null";
}

// The declaration node the parser made, as "version encoding standalone",
// or "none".
std::string declaration_of(const std::string& xml)
{
    DOMParser parser;
    parser.setToCreateXMLDeclTypeNode(true);
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parse_text_with(parser, xml);
    DOM_Node first = parser.getDocument().getFirstChild();
    if (first.getNodeType() != DOM_Node::XML_DECL_NODE)
        return "none";
    const DOM_XMLDecl& decl = static_cast<const DOM_XMLDecl&>(first);
    return field(decl.getVersion()) + " " + field(decl.getEncoding()) + " " + field(decl.getStandalone());
}

} // namespace

TEST(dom_parser, xml_declaration_nodes_are_off_by_default)
{
    DOMParser parser;
    EXPECT_FALSE(parser.getToCreateXMLDeclTypeNode());
    parse_text_with(parser, "<?xml version='1.0' encoding='UTF-8'?><!--c--><r/>");
    EXPECT_EQ("8:#comment,1:r", children_of(parser.getDocument()));
    parser.setToCreateXMLDeclTypeNode(true);
    EXPECT_TRUE(parser.getToCreateXMLDeclTypeNode());
    parser.setToCreateXMLDeclTypeNode(false);
    EXPECT_FALSE(parser.getToCreateXMLDeclTypeNode());
}

TEST(dom_parser, xml_declaration_node_holds_the_declaration_as_written)
{
    const struct {
        const char* xml;
        const char* expected;
    } rows[] = {
        {"<?xml version='1.0'?><r/>", "'1.0' null null"},
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r/>", "'1.0' 'ISO-8859-1' null"},
        {"<?xml version='1.0' standalone='no'?><r/>", "'1.0' null 'no'"},
        {"<?xml version='1.1' encoding='utf-8' standalone='yes'?><r/>", "'1.1' 'utf-8' 'yes'"},
        {"<r/>", "none"},
        {"<?pi data?><r/>", "none"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.expected, declaration_of(row.xml)) << row.xml;
}

TEST(dom_parser, xml_declaration_node_comes_first_and_leaves_the_tree_alone)
{
    const std::string text = "<?xml version='1.0'?>\n<!DOCTYPE r [<!ELEMENT r ANY>]>\n<!--c--><r>t</r>";
    DOMParser plain;
    parse_text_with(plain, text);
    DOMParser withDecl;
    withDecl.setToCreateXMLDeclTypeNode(true);
    parse_text_with(withDecl, text);
    DOM_Document doc = withDecl.getDocument();
    EXPECT_EQ("13:#xmldecl," + children_of(plain.getDocument()), children_of(doc));
    EXPECT_EQ("10:r,8:#comment,1:r", children_of(plain.getDocument()));
    EXPECT_TRUE(doc.getDocumentElement() == doc.getLastChild());
    EXPECT_FALSE(doc.getDoctype().isNull());
    // The writer writes the same text either way.
    std::ostringstream one;
    std::ostringstream two;
    one << plain.getDocument();
    two << doc;
    EXPECT_EQ(one.str(), two.str());
}

TEST(dom_parser, xml_declaration_node_in_a_partial_document)
{
    DOMParser parser;
    parser.setToCreateXMLDeclTypeNode(true);
    Recorder recorder;
    parser.setErrorHandler(&recorder);
    parse_text_with(parser, "<?xml version='1.0' standalone='yes'?><r><a></r>");
    ASSERT_EQ(1u, recorder.reports.size());
    DOM_Node first = parser.getDocument().getFirstChild();
    ASSERT_EQ(DOM_Node::XML_DECL_NODE, first.getNodeType());
    EXPECT_EQ("yes", str(static_cast<const DOM_XMLDecl&>(first).getStandalone()));
}
