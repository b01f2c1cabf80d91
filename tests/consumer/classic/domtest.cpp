// SPDX-License-Identifier: Apache-2.0
// A classic DOM test program in the style of the 2.x test suite: the 2.x
// include paths, DomMemDebug snapshots around every block to catch leaks,
// DOMString's shared handles, traversal with a filter of its own, ranges,
// the XMLDecl node, named node maps and import between documents. Each
// block prints what it saw; the test compares the whole output.
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/dom/deprecated/DOM.hpp>
#include <xercesc/dom/deprecated/DOMParser.hpp>
#include <xercesc/dom/deprecated/DomMemDebug.hpp>

#include <iostream>
#include <stdio.h>
#include <string.h>

XERCES_CPP_NAMESPACE_USE

static int errors = 0;

// The classic printing sample's own output operator, which programs copied.
std::ostream& operator<<(std::ostream& target, const DOMString& s)
{
    char* p = s.transcode();
    target << p;
    delete[] p;
    return target;
}

#define TASSERT(c) \
    if (!(c)) { printf("Test failure at line %d: %s\n", __LINE__, #c); ++errors; }

#define TESTPROLOG DomMemDebug entryMemState;
// The parser keeps its last document until the next parse; a block that
// parsed hands it back and leaves an empty one, as it found it.
#define TESTEPILOG                                   \
    parser.reset();                                  \
    parser.getDocument();                            \
    {                                                \
        DomMemDebug exitMemState;                    \
        if (entryMemState != exitMemState) {         \
            printf("Memory leak at line %d:", __LINE__); \
            exitMemState.printDifference(entryMemState); \
            ++errors;                                \
        }                                            \
    }

static void show(const char* label, const DOMString& s)
{
    printf("%s: ", label);
    if (s == 0)
        printf("(null)");
    else {
        char* bytes = s.transcode();
        printf("[%s]", bytes);
        delete[] bytes;
    }
    printf("\n");
}

// Shows elements and text, skips comments, rejects <skip> with its subtree.
class NoSkips : public DOM_NodeFilter {
public:
    short acceptNode(const DOM_Node& node) const
    {
        if (node.getNodeType() == DOM_Node::COMMENT_NODE)
            return FILTER_SKIP;
        if (node.getNodeType() == DOM_Node::ELEMENT_NODE && node.getNodeName().equals("skip"))
            return FILTER_REJECT;
        return FILTER_ACCEPT;
    }
};

static DOM_Document parseText(DOMParser& parser, const char* text)
{
    MemBufInputSource source((const XMLByte*)text, strlen(text), "domtest", false);
    parser.parse(source);
    return parser.getDocument();
}

static void testStrings(DOMParser& parser)
{
    // Warm up what the library caches once, so the first block shows no growth.
    {
        DOMString warm("warm");
        warm.appendData(" up");
        DOMString copy = warm.clone();
        delete[] copy.transcode();
    }
    TESTPROLOG
    {
        DOMString a = "Hello";
        DOMString b = a;
        b.appendData(" World");
        show("a after b.appendData", a);
        TASSERT(a == b);
        b = b + "!";
        show("a after b = b + ...", a);
        show("b", b);
        std::cout << "through operator<<: " << b << std::endl;
        TASSERT(a != b);
        TASSERT(a.equals("Hello World"));

        DOMString empty("");
        TASSERT(empty == 0);
        TASSERT(empty.rawBuffer() == 0);
        DOMString reserved;
        reserved.reserve(10);
        TASSERT(reserved != 0);
        TASSERT(reserved.length() == 0);
        TASSERT(reserved.equals(empty));

        DOMString c = a.clone();
        c.deleteData(5, 6);
        show("clone after deleteData", c);
        show("original", a);
        c.insertData(0, "Say ");
        show("after insertData", c);
        show("substringData(4, 5)", c.substringData(4, 5));
        TASSERT(DOMString("abc").compareString(DOMString("b")) == 1);
        TASSERT(DOMString("abc") == DOMString("abc") == false);
        c += (XMLCh)'!';
        printf("length %u, charAt(9) %c, charAt(99) %d\n", c.length(), (char)c.charAt(9), (int)c.charAt(99));
        bool threw = false;
        try {
            c.deleteData(11, 1);
        } catch (const DOM_DOMException& e) {
            threw = e.code == DOM_DOMException::INDEX_SIZE_ERR;
        }
        TASSERT(threw);
    }
    TESTEPILOG
}

static void testNullValues(DOMParser& parser)
{
    TESTPROLOG
    {
        DOM_Document doc = parseText(parser, "<r a='1' e=''><t></t>text</r>");
        DOM_Element r = doc.getDocumentElement();
        TASSERT(r.getAttribute("missing") == 0);
        TASSERT(r.getAttribute("e") == 0);
        TASSERT(r.getAttribute("a") != 0);
        TASSERT(r.getNodeValue() == 0);
        TASSERT(doc.getNodeValue() == 0);
        TASSERT(r.getNamespaceURI() == 0);
        TASSERT(r.getLocalName() == 0);
        TASSERT(r.getAttributes() != 0);
        TASSERT(r.getFirstChild().getAttributes().getLength() == 0);
        TASSERT(r.getLastChild().getAttributes() == 0);
        show("text", r.getLastChild().getNodeValue());
    }
    TESTEPILOG
}

static void testTraversal(DOMParser& parser)
{
    TESTPROLOG
    {
        DOM_Document doc = parseText(parser, "<r><a>1</a><!--c--><skip><b/></skip><d>2</d></r>");
        NoSkips filter;
        DOM_NodeIterator it = doc.createNodeIterator(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ALL, &filter, true);
        printf("iterator:");
        for (DOM_Node n = it.nextNode(); n != 0; n = it.nextNode()) {
            char* name = n.getNodeName().transcode();
            printf(" %s", name);
            delete[] name;
        }
        printf("\n");
        TASSERT(it.getWhatToShow() == 0x0000FFFF);
        TASSERT(it.getFilter() == &filter);
        it.detach();

        DOM_TreeWalker walker = doc.createTreeWalker(doc.getDocumentElement(), DOM_NodeFilter::SHOW_ELEMENT, &filter, true);
        printf("walker:");
        for (DOM_Node n = walker.firstChild(); n != 0; n = walker.nextSibling()) {
            char* name = n.getNodeName().transcode();
            printf(" %s", name);
            delete[] name;
        }
        printf("\n");
        TASSERT(walker.parentNode() == doc.getDocumentElement());
        TASSERT(walker.parentNode() == 0);
    }
    TESTEPILOG
}

static void testRange(DOMParser& parser)
{
    TESTPROLOG
    {
        DOM_Document doc = parseText(parser, "<r><p>Hello, brave world</p><q>tail</q></r>");
        DOM_Node text = doc.getDocumentElement().getFirstChild().getFirstChild();
        DOM_Range range = doc.createRange();
        range.setStart(text, 7);
        range.setEnd(text, 13);
        show("range", range.toString());
        DOM_DocumentFragment cut = range.extractContents();
        show("extracted", cut.getFirstChild().getNodeValue());
        show("left", doc.getDocumentElement().getFirstChild().getFirstChild().getNodeValue());
        TASSERT(range.getCollapsed());
        range.selectNodeContents(doc.getDocumentElement());
        show("whole", range.toString());
        range.detach();
        bool threw = false;
        try {
            range.getCollapsed();
        } catch (const DOM_DOMException& e) {
            threw = e.code == DOM_DOMException::INVALID_STATE_ERR;
        }
        TASSERT(threw);
    }
    TESTEPILOG
}

static void testDocumentTypes(DOMParser& parser)
{
    TESTPROLOG
    {
        parser.setToCreateXMLDeclTypeNode(true);
        DOM_Document doc = parseText(parser,
            "<?xml version='1.0' encoding='UTF-8'?>"
            "<!DOCTYPE r [<!ENTITY e 'entity text'><!NOTATION gif SYSTEM 'image/gif'>"
            "<!ATTLIST i id ID #IMPLIED>]><r><i id='x1'>&e;</i></r>");
        parser.setToCreateXMLDeclTypeNode(false);
        DOM_Node first = doc.getFirstChild();
        printf("first child type %d\n", first.getNodeType());
        if (first.getNodeType() == DOM_Node::XML_DECL_NODE) {
            show("version", ((DOM_XMLDecl&)first).getVersion());
            show("encoding", ((DOM_XMLDecl&)first).getEncoding());
            show("standalone", ((DOM_XMLDecl&)first).getStandalone());
        }
        DOM_DocumentType type = doc.getDoctype();
        printf("entities %u, notations %u\n", type.getEntities().getLength(), type.getNotations().getLength());
        DOM_Node gif = type.getNotations().getNamedItem("gif");
        show("notation system id", ((DOM_Notation&)gif).getSystemId());
        DOM_Element byId = doc.getElementById("x1");
        TASSERT(byId != 0);
        TASSERT(doc.getElementById("nope") == 0);

        DOM_Document other = DOM_Document::createDocument();
        DOM_Node copy = other.importNode(byId, true);
        other.appendChild(copy);
        show("imported", ((DOM_Element&)copy).getAttribute("id"));
        TASSERT(copy.getOwnerDocument() == other);

        DOM_NamedNodeMap attrs = ((DOM_Element&)copy).getAttributes();
        DOM_Attr extra = other.createAttribute("extra");
        extra.setValue("yes");
        attrs.setNamedItem(extra);
        printf("attributes %u\n", attrs.getLength());
        attrs.removeNamedItem("id");
        printf("attributes %u\n", attrs.getLength());
        bool threw = false;
        try {
            attrs.removeNamedItem("id");
        } catch (const DOM_DOMException& e) {
            threw = e.code == DOM_DOMException::NOT_FOUND_ERR;
        }
        TASSERT(threw);

        DOM_DocumentFragment fragment = other.createDocumentFragment();
        fragment.appendChild(other.createElement("f1"));
        fragment.appendChild(other.createElement("f2"));
        copy.appendChild(fragment);
        printf("fragment now has %u children\n", fragment.getChildNodes().getLength());
    }
    TESTEPILOG
}

int main()
{
    try {
        XMLPlatformUtils::Initialize();
    } catch (const XMLException&) {
        printf("cannot initialise Xerces-C\n");
        return 1;
    }
    {
        // The first snapshot switches the counting of documents on; the
        // parser's first (empty) document is then counted like all others.
        DomMemDebug counting;
        DOMParser parser;
        parser.getDocument();
        try {
            testStrings(parser);
            testNullValues(parser);
            testTraversal(parser);
            testRange(parser);
            testDocumentTypes(parser);
        } catch (const DOM_DOMException& e) {
            printf("unexpected DOM_DOMException %d\n", e.code);
            ++errors;
        } catch (const XMLException&) {
            printf("unexpected XMLException\n");
            ++errors;
        }
    }
    XMLPlatformUtils::Terminate();
    printf(errors ? "Test run failed\n" : "Test Run Successfully\n");
    return errors ? 1 : 0;
}
