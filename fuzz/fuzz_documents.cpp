// SPDX-License-Identifier: Apache-2.0
// Parses the input with ParseBuffer. When that works: walks the whole tree
// through the facade (every element, processing instruction and entity
// reference, with the empty-name iterator), checking what it reads against
// the DOM handles; adds an element, text and an attribute; then checks that
// the writer's output is stable: parsing what SaveToStream wrote and writing
// it again must give the same bytes.
//
// cTextException and DOM_DOMException are normal outcomes for arbitrary
// input. Anything else that escapes, a crash, a leak or a sanitizer report
// is a finding, and so is an abort() below.

#include "xmlutil.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

// Keeps every run short; what longer documents could add, shorter ones reach
// faster.
constexpr std::size_t kMaxInput = 64 * 1024;
// Facades visited per document, and nodes searched by the lookup oracle.
constexpr std::size_t kMaxFacades = 2000;
constexpr std::size_t kLookupBudget = 200000;
// The writer indents four spaces per level, so deep nesting makes output
// quadratic in the input; past these the document is not written.
constexpr std::size_t kMaxIndentBytes = std::size_t(4) << 20;
constexpr std::size_t kMaxNodes = 50000;

const std::string kDeclaration = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";

// With XMLUTIL_FUZZ_TRACE set, each run tells on stderr which way it went
// and shows the writer's outputs: for looking at a single input by hand.
bool trace = false;

void say(const char* what, const std::string& detail = std::string())
{
    if (trace)
        std::fprintf(stderr, "[fuzz_documents] %s%s%s\n", what, detail.empty() ? "" : ":\n", detail.c_str());
}

[[noreturn]] void fail(const char* what, const std::string& detail = std::string())
{
    std::fprintf(stderr, "fuzz_documents: %s%s%s\n", what, detail.empty() ? "" : ": ", detail.c_str());
    std::abort();
}

bool has_char_above_latin1(const DOMString& text)
{
    for (unsigned int i = 0; i < text.length(); ++i)
        if (text.charAt(i) > 0xFF)
            return true;
    return false;
}

// A character that XML 1.0 does not allow even as a reference; only an XML
// 1.1 document can hold one.
bool has_restricted_char(const DOMString& text)
{
    for (unsigned int i = 0; i < text.length(); ++i) {
        const XMLCh ch = text.charAt(i);
        if (ch < 0x20 && ch != 0x09 && ch != 0x0A && ch != 0x0D)
            return true;
    }
    return false;
}

bool contains(const DOMString& text, XMLCh a, XMLCh b, XMLCh c)
{
    for (unsigned int i = 0; i < text.length(); ++i) {
        const XMLCh ch = text.charAt(i);
        if (ch == a || ch == b || ch == c)
            return true;
    }
    return false;
}

// What the DOM handles say about a parsed document, before anything is
// written.
struct Survey {
    // The writer's output can be parsed again. Not so when a name holds a
    // character above U+00FF: the 8-bit conversion writes names, comments,
    // CDATA and processing instructions with '?' for it, which is no name
    // character. Nor when the data of a processing instruction has such a
    // character right before a '>': the '?' then ends the instruction early.
    // Nor for the control characters only XML 1.1 allows (as references),
    // which the writer passes through as raw bytes into an XML 1.0 document.
    bool reparsable = true;
    // The first output is already in the writer's normal form, so writing
    // it once more gives the same bytes. Not so for the things the writer
    // changes on purpose: a document type writes nothing but its line end,
    // an entity reference is written as its expansion (as text), and tabs,
    // line ends and carriage returns that entered attribute values (or a
    // carriage return that entered text) through character references are
    // written raw, so the next parse normalises them to spaces and line
    // feeds. For such documents the output of the second write must equal
    // that of a third.
    bool settled = true;
    std::size_t indentBytes = 0;
    std::size_t nodes = 0;
    bool hasDoctype = false;
};

Survey survey(const DOM_Document& doc)
{
    Survey s;
    std::vector<std::pair<DOM_Node, std::size_t>> stack;
    stack.emplace_back(doc, 0);
    while (!stack.empty()) {
        const DOM_Node node = stack.back().first;
        const std::size_t depth = stack.back().second;
        stack.pop_back();
        ++s.nodes;
        switch (node.getNodeType()) {
        case DOM_Node::ELEMENT_NODE: {
            s.indentBytes += 8 * depth;
            if (has_char_above_latin1(node.getNodeName()))
                s.reparsable = false;
            const DOM_NamedNodeMap attributes = node.getAttributes();
            for (unsigned int i = 0; i < attributes.getLength(); ++i) {
                const DOM_Node attribute = attributes.item(i);
                const DOMString value = attribute.getNodeValue();
                if (has_char_above_latin1(attribute.getNodeName()) || has_restricted_char(value))
                    s.reparsable = false;
                if (contains(value, 0x09, 0x0A, 0x0D))
                    s.settled = false;
            }
            break;
        }
        case DOM_Node::TEXT_NODE: {
            const DOMString value = node.getNodeValue();
            if (has_restricted_char(value))
                s.reparsable = false;
            if (contains(value, 0x0D, 0x0D, 0x0D))
                s.settled = false;
            break;
        }
        case DOM_Node::PROCESSING_INSTRUCTION_NODE: {
            if (has_char_above_latin1(node.getNodeName()))
                s.reparsable = false;
            // The low half of a surrogate pair is above U+00FF too.
            const DOMString value = node.getNodeValue();
            for (unsigned int i = 0; i + 1 < value.length(); ++i)
                if (value.charAt(i) > 0xFF && value.charAt(i + 1) == '>')
                    s.reparsable = false;
            break;
        }
        case DOM_Node::DOCUMENT_TYPE_NODE:
            s.hasDoctype = true;
            s.settled = false;
            break;
        case DOM_Node::ENTITY_REFERENCE_NODE:
            s.settled = false;
            break;
        default:
            break;
        }
        const std::size_t childDepth = node.getNodeType() == DOM_Node::ELEMENT_NODE ? depth + 1 : depth;
        for (DOM_Node child = node.getLastChild(); !child.isNull(); child = child.getPreviousSibling())
            stack.emplace_back(child, childDepth);
    }
    return s;
}

// The library's name rule, found by brute force: the first element named
// `name` (any name for "*") below `parent` in document order, and only if
// it is a direct child of `parent`, into `found`. False (no answer) when the
// budget runs out first.
bool expected_lookup(const DOM_Node& parent, const DOMString& name, std::size_t& budget, bool& found)
{
    std::vector<DOM_Node> stack;
    for (DOM_Node child = parent.getLastChild(); !child.isNull(); child = child.getPreviousSibling())
        stack.push_back(child);
    const bool any = name.equals("*");
    while (!stack.empty()) {
        if (budget == 0)
            return false;
        --budget;
        const DOM_Node node = stack.back();
        stack.pop_back();
        if (node.getNodeType() == DOM_Node::ELEMENT_NODE && (any || node.getNodeName().equals(name))) {
            found = node.getParentNode() == parent;
            return true;
        }
        for (DOM_Node child = node.getLastChild(); !child.isNull(); child = child.getPreviousSibling())
            stack.push_back(child);
    }
    found = false;
    return true;
}

// The data of a node by the library's rule: the value of its first text
// child.
bool expected_data(const DOM_Node& node, std::string& data)
{
    for (DOM_Node child = node.getFirstChild(); !child.isNull(); child = child.getNextSibling()) {
        if (child.getNodeType() == DOM_Node::TEXT_NODE) {
            data = DOM2STLstring(child.getNodeValue());
            return true;
        }
    }
    return false;
}

// Steps the facade, which stands on `node`, into its child element `name`
// and back, checked against the name rule found by brute force (when the
// budget allows). Reading the child's text from the parent must agree.
void check_step(cXML_Utility& facade, const DOM_Node& node, const std::string& name, std::size_t& budget)
{
    const std::string here = facade.GetNodeName();
    bool found = false;
    const bool known = expected_lookup(node, DOMString(name.c_str()), budget, found);
    std::string data;
    const bool has_data = facade.ReadNodeDataFrom(name, data, "\x01no data");
    const bool moved = facade.ActivateNode(name);
    if (known && moved != found)
        fail("ActivateNode differs from the name rule", name);
    if (!moved) {
        if (has_data || data != "\x01no data")
            fail("ReadNodeDataFrom reads a child that ActivateNode does not find", name);
        if (facade.GetNodeName() != here)
            fail("a failed ActivateNode moved", name);
        return;
    }
    if (name != "*" && facade.GetNodeName() != name)
        fail("ActivateNode moved to another name", name);
    std::string direct;
    if (facade.ReadNodeData(direct, "\x01no data") != has_data || direct != data)
        fail("ReadNodeDataFrom differs from ReadNodeData on the child", name);
    if (!facade.DeactivateNode() || facade.GetNodeName() != here)
        fail("DeactivateNode does not return", name);
}

// How many children of `node` a named iterator should visit: those with
// exactly this name (cNodeIterator: of any type; cXMLiterator: never one
// whose name starts with '#').
std::size_t count_named(const DOM_Node& node, const DOMString& name, bool facade)
{
    std::size_t count = 0;
    for (DOM_Node child = node.getFirstChild(); !child.isNull(); child = child.getNextSibling())
        if (child.getNodeName().equals(name) && !(facade && name.charAt(0) == '#'))
            ++count;
    return count;
}

// Both named iterators over the children called like `child`.
void check_named_iterators(cXML_Utility& facade, const DOM_Node& node, const DOM_Node& child)
{
    const std::string name = GetNodeName(child);
    std::size_t facades = 0;
    for (cXMLiterator it = facade.CreateIterator(name); !it.end(); ++it) {
        if ((*it).GetNodeName() != name)
            fail("named cXMLiterator hands out another name", name);
        ++facades;
    }
    std::size_t nodes = 0;
    for (cNodeIterator it(node, name); it != DOM_Node(); ++it) {
        if (GetNodeName(*it) != name)
            fail("cNodeIterator hands out another name", name);
        ++nodes;
    }
    if (facades != count_named(node, child.getNodeName(), true) ||
        nodes != count_named(node, child.getNodeName(), false))
        fail("a named iterator misses children", name);
}

// Checks one facade against the node it stands on, and queues its children.
void visit(cXML_Utility& facade, const DOM_Node& node, std::size_t& budget,
           std::vector<std::pair<cXML_Utility, DOM_Node>>& queue)
{
    const std::string name = facade.GetNodeName();
    if (name != GetNodeName(node))
        fail("facade and node disagree on the name", name);

    std::string data;
    std::string expected;
    const bool has_data = facade.ReadNodeData(data, "\x01no data");
    if (has_data != expected_data(node, expected) || (has_data ? data != expected : data != "\x01no data"))
        fail("ReadNodeData differs from the first text child", name);

    // A name with a character above U+00FF has no 8-bit spelling that finds
    // it, here and below.
    const DOM_Node first = node.getFirstChild();
    if (!first.isNull() && !has_char_above_latin1(first.getNodeName()))
        check_named_iterators(facade, node, first);

    const DOM_NamedNodeMap attributes = node.getAttributes();
    for (unsigned int i = 0; i < attributes.getLength(); ++i) {
        const DOM_Node attribute = attributes.item(i);
        if (has_char_above_latin1(attribute.getNodeName()))
            continue; // its 8-bit name ('?') names no attribute
        std::string value;
        if (!facade.ReadNodeAttribute(DOM2STLstring(attribute.getNodeName()), value, "\x01missing") ||
            value != DOM2STLstring(attribute.getNodeValue()))
            fail("ReadNodeAttribute misses an attribute", name);
    }

    // The empty name visits every child whose name does not start with '#':
    // elements, processing instructions and entity references.
    cXMLiterator it = facade.CreateIterator("");
    DOM_Node child = node.getFirstChild();
    std::size_t steps = 0;
    for (;; ++it, child = child.getNextSibling()) {
        while (!child.isNull() && (child.getNodeType() == DOM_Node::TEXT_NODE ||
                                   child.getNodeType() == DOM_Node::COMMENT_NODE ||
                                   child.getNodeType() == DOM_Node::CDATA_SECTION_NODE))
            child = child.getNextSibling();
        if (it.end() != child.isNull())
            fail("iterator and child list disagree on the end", name);
        if (it.end())
            break;
        cXML_Utility item = *it;
        if (item.GetNodeName() != GetNodeName(child))
            fail("iterator hands out another child", name);

        if (++steps <= 8 && !has_char_above_latin1(child.getNodeName()))
            check_step(facade, node, GetNodeName(child), budget);
        if (queue.size() < kMaxFacades)
            queue.emplace_back(std::move(item), child);
    }
    check_step(facade, node, "*", budget);
}

void walk(cXML_Utility& root, const DOM_Node& element)
{
    std::size_t budget = kLookupBudget;
    std::vector<std::pair<cXML_Utility, DOM_Node>> queue;
    queue.reserve(64);
    visit(root, element, budget, queue);
    for (std::size_t i = 0; i < queue.size(); ++i) {
        // visit() may grow the queue; work on a copy of the entry.
        cXML_Utility facade = queue[i].first;
        const DOM_Node node = queue[i].second;
        visit(facade, node, budget, queue);
    }
}

// Text for the tree from the input's first bytes, so that the escaping sees
// the fuzzer's bytes. Control bytes become blanks: the writer passes them
// through raw, and in an attribute even a tab or line feed would come back
// from the next parse as a blank. An empty text is avoided: its element
// would be written as an empty pair of tags, which reads back as an empty
// element.
std::string text_from(const std::uint8_t* data, std::size_t size, std::size_t offset, bool attribute)
{
    std::string text;
    for (std::size_t i = offset; i < size && text.size() < 40; ++i) {
        const unsigned char byte = data[i];
        if (byte < 0x20 && (attribute || (byte != 0x09 && byte != 0x0A)))
            text += ' ';
        else
            text += static_cast<char>(byte);
    }
    return text.empty() ? std::string("x") : text;
}

void change(cXML_Utility& xml, const std::uint8_t* data, std::size_t size)
{
    const std::string root = xml.GetNodeName();
    const std::string value = text_from(data, size, 0, true);
    xml.SaveNodeAttribute("xmlutil-fuzz", value);
    std::string read;
    if (!xml.ReadNodeAttribute("xmlutil-fuzz", read, "") || read != value)
        fail("SaveNodeAttribute does not read back");

    xml.CreateAndActivateNewElement("xmlutil-fuzz");
    xml.SaveDataToNode(text_from(data, size, 40, false));
    const std::string nested = text_from(data, size, 80, false);
    xml.SaveNodeData("value", nested);
    if (!xml.ReadNodeDataFrom("value", read, "") || read != nested)
        fail("SaveNodeData does not read back");
    if (!xml.DeactivateNode() || xml.GetNodeName() != root)
        fail("DeactivateNode after CreateAndActivateNewElement");
}

// Lookups after changes, through the facade and through the handles (the
// first child element moves to the end and back): what was asked before must
// not be answered from the tree as it was.
void check_after_change(cXML_Utility& xml, const DOM_Node& element)
{
    std::size_t budget = kLookupBudget;
    for (const char* name : {"xmlutil-fuzz", "value", "*"})
        check_step(xml, element, name, budget);

    DOM_Node parent = element;
    DOM_Node child = parent.getFirstChild();
    while (!child.isNull() && child.getNodeType() != DOM_Node::ELEMENT_NODE)
        child = child.getNextSibling();
    if (child.isNull())
        return;
    // Moved back afterwards: the move can leave two text nodes side by side,
    // which the writer writes as they are and the next parse joins.
    const DOM_Node next = child.getNextSibling();
    const std::string name = has_char_above_latin1(child.getNodeName()) ? "*" : GetNodeName(child);
    for (int round = 0; round < 2; ++round) {
        if (round == 0)
            parent.appendChild(child);
        else
            parent.insertBefore(child, next);
        check_step(xml, element, name, budget);
        check_step(xml, element, "*", budget);
    }
}

std::string save(cXML_Utility& xml)
{
    std::ostringstream out;
    xml.SaveToStream(out);
    const std::string text = out.str();
    if (text.compare(0, kDeclaration.size(), kDeclaration) != 0)
        fail("output does not start with the declaration");
    return text;
}

// Parses `text`, which the writer made, and writes it again. False when the
// parse fails and `must_parse` is not set.
bool rewrite(const std::string& text, bool must_parse, std::string& again)
{
    DOM_Document doc;
    try {
        doc = ParseBuffer(text.data(), static_cast<unsigned int>(text.size()), false);
    } catch (const cTextException& e) {
        if (must_parse)
            fail("the writer's output does not parse", e.what());
        return false;
    } catch (const DOM_DOMException&) {
        if (must_parse)
            fail("the writer's output does not parse (DOM_DOMException)");
        return false;
    }
    cXML_Utility xml(new cXML_UtilityData(0, 0, doc.getDocumentElement(), doc, std::deque<DOM_Node>()));
    again = save(xml);
    return true;
}

void run(const std::uint8_t* data, std::size_t size)
{
    const DOM_Document doc = ParseBuffer(reinterpret_cast<const char*>(data), static_cast<unsigned int>(size), false);
    const Survey s = survey(doc);
    say(s.reparsable ? (s.settled ? "parsed; output compared after one round" : "parsed; output compared after two rounds")
                     : "parsed; output not compared (it need not parse again)");
    if (s.hasDoctype) {
        // The same document with validation: any outcome but a crash will do.
        try {
            ParseBuffer(reinterpret_cast<const char*>(data), static_cast<unsigned int>(size), true);
        } catch (const cTextException&) {
        } catch (const DOM_DOMException&) {
        }
    }

    const DOM_Element element = doc.getDocumentElement();
    cXML_Utility xml(new cXML_UtilityData(0, 0, element, doc, std::deque<DOM_Node>()));
    walk(xml, element);
    change(xml, data, size);
    check_after_change(xml, element);

    if (s.indentBytes > kMaxIndentBytes || s.nodes > kMaxNodes) {
        say("too deep or too large to write");
        return;
    }
    const std::string first = save(xml);
    say("first output", first);
    std::string second;
    if (!rewrite(first, s.reparsable, second) || !s.reparsable)
        return;
    say("second output", second);
    if (s.settled) {
        if (second != first)
            fail("writing the output's document again changes it");
        return;
    }
    std::string third;
    rewrite(second, true, third);
    say("third output", third);
    if (third != second)
        fail("writing the output's document again changes it (after one more round)");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kMaxInput)
        return -1; // not added to the corpus
    try {
        run(data, size);
    } catch (const cTextException& e) {
        say("cTextException", e.what());
    } catch (const DOM_DOMException& e) {
        say("DOM_DOMException", DOM2STLstring(e.msg));
    }
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    trace = std::getenv("XMLUTIL_FUZZ_TRACE") != nullptr;
    return 0;
}
