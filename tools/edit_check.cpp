#include "edit_check.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/sax2/XMLReaderFactory.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace xmlutil_cli {

namespace {

using text16 = std::basic_string<XMLCh>;

text16 text_of(const DOMString& text)
{
    const XMLCh* raw = text.rawBuffer();
    return raw ? text16(raw, text.length()) : text16();
}

bool is_space(XMLCh c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

text16 trimmed(const text16& text)
{
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && is_space(text[begin]))
        ++begin;
    while (end > begin && is_space(text[end - 1]))
        --end;
    return text.substr(begin, end - begin);
}

// UTF-8 for messages: names outside ISO-8859-1 are the usual reason for a
// difference, and '?' would hide them.
std::string utf8(const text16& text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned long c = text[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// What a document says, node by node in document order.
struct item {
    enum kind_t { doctype, element, end, text, cdata, comment, pi, entity_ref } kind;
    text16 name;
    text16 value;
    std::vector<std::pair<text16, text16>> attributes; // sorted by name
    long construct;                                    // the original's construct it lies in or follows
};

class item_list {
public:
    explicit item_list(const std::function<bool(const DOM_Node&)>* is_new) : fIsNew(is_new) {}

    // Walks the tree without recursion: documents may be a million levels deep.
    void walk(const DOM_Node& root)
    {
        DOM_Node node = root.getFirstChild();
        while (!node.isNull()) {
            enter(node);
            DOM_Node child = node.getFirstChild();
            if (!child.isNull()) {
                node = child;
                continue;
            }
            for (;;) {
                leave(node);
                DOM_Node next = node.getNextSibling();
                if (!next.isNull()) {
                    node = next;
                    break;
                }
                node = node.getParentNode();
                if (node.isNull() || node == root) {
                    node = DOM_Node();
                    break;
                }
            }
        }
        flush_text();
    }

    std::vector<item> items;

private:
    void enter(const DOM_Node& node)
    {
        const short type = node.getNodeType();
        if (type == DOM_Node::TEXT_NODE) {
            // Adjacent text reads back as one node; each is written trimmed.
            fText += trimmed(text_of(node.getNodeValue()));
            return;
        }
        flush_text();
        item it{item::end, text_of(node.getNodeName()), {}, {}, 0};
        switch (type) {
        case DOM_Node::ELEMENT_NODE: {
            it.kind = item::element;
            DOM_NamedNodeMap map = node.getAttributes();
            for (unsigned int i = 0; i < map.getLength(); ++i) {
                DOM_Node attribute = map.item(i);
                it.attributes.emplace_back(text_of(attribute.getNodeName()),
                                           trimmed(text_of(attribute.getNodeValue())));
            }
            std::sort(it.attributes.begin(), it.attributes.end());
            break;
        }
        case DOM_Node::CDATA_SECTION_NODE: it.kind = item::cdata; it.value = text_of(node.getNodeValue()); break;
        case DOM_Node::COMMENT_NODE: it.kind = item::comment; it.value = text_of(node.getNodeValue()); break;
        case DOM_Node::PROCESSING_INSTRUCTION_NODE:
            it.kind = item::pi;
            it.value = text_of(node.getNodeValue());
            break;
        case DOM_Node::ENTITY_REFERENCE_NODE: it.kind = item::entity_ref; break;
        case DOM_Node::DOCUMENT_TYPE_NODE: it.kind = item::doctype; break;
        default: return;
        }
        if (!fIsNew || !(*fIsNew)(node))
            ++fConstruct;
        it.construct = fConstruct;
        items.push_back(std::move(it));
    }

    void leave(const DOM_Node& node)
    {
        if (node.getNodeType() != DOM_Node::ELEMENT_NODE)
            return;
        flush_text();
        items.push_back({item::end, text_of(node.getNodeName()), {}, {}, fConstruct});
    }

    void flush_text()
    {
        if (!fText.empty())
            items.push_back({item::text, {}, std::move(fText), {}, fConstruct});
        fText.clear();
    }

    const std::function<bool(const DOM_Node&)>* fIsNew;
    text16 fText;
    long fConstruct = -1;
};

std::string describe(const item& it)
{
    switch (it.kind) {
    case item::doctype: return "the document type declaration";
    case item::element: return "element <" + utf8(it.name) + ">";
    case item::end: return "the end of element <" + utf8(it.name) + ">";
    case item::text: return "text";
    case item::cdata: return "a CDATA section";
    case item::comment: return "a comment";
    case item::pi: return "the processing instruction <?" + utf8(it.name) + "?>";
    case item::entity_ref: return "the entity reference &" + utf8(it.name) + ";";
    }
    return "a node";
}

bool same(const item& a, const item& b)
{
    return a.kind == b.kind && a.name == b.name && a.value == b.value && a.attributes == b.attributes;
}

// Counts the constructs as the DOM walk above does and stops at the one asked for.
class construct_finder final : public xercesc::DefaultHandler {
public:
    explicit construct_finder(long wanted) : fWanted(wanted) {}

    void setDocumentLocator(const xercesc::Locator* const locator) override { fLocator = locator; }
    void startDTD(const XMLCh* const, const XMLCh* const, const XMLCh* const) override
    {
        count();
        fInDtd = true;
    }
    void endDTD() override { fInDtd = false; }
    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const,
                      const xercesc::Attributes&) override
    {
        count();
    }
    void startCDATA() override { count(); }
    void comment(const XMLCh* const, const XMLSize_t) override
    {
        if (!fInDtd)
            count();
    }
    void processingInstruction(const XMLCh* const, const XMLCh* const) override
    {
        if (!fInDtd)
            count();
    }
    void startEntity(const XMLCh* const name) override
    {
        // Parameter entities and the external subset ("[dtd]") are no nodes.
        if (!fInDtd && name[0] != '%' && name[0] != '[')
            count();
    }
    void skippedEntity(const XMLCh* const name) override
    {
        if (!fInDtd && name[0] != '%')
            count();
    }

    bool done() const { return fFound; }
    unsigned long line() const { return fLine; }
    unsigned long column() const { return fColumn; }

private:
    void count()
    {
        if (fFound || ++fSeen != fWanted)
            return;
        fFound = true;
        if (fLocator) {
            fLine = static_cast<unsigned long>(fLocator->getLineNumber());
            fColumn = static_cast<unsigned long>(fLocator->getColumnNumber());
        }
    }

    long fWanted;
    long fSeen = -1;
    bool fInDtd = false;
    bool fFound = false;
    unsigned long fLine = 0;
    unsigned long fColumn = 0;
    const xercesc::Locator* fLocator = nullptr;
};

// Hands every DTD and external entity an empty text: the positions are
// those of the document's own bytes.
class nothing_external final : public xercesc::EntityResolver {
public:
    xercesc::InputSource* resolveEntity(const XMLCh* const, const XMLCh* const systemId) override
    {
        static const XMLByte none[] = {0};
        return new xercesc::MemBufInputSource(none, 0, systemId ? systemId : u"", false);
    }
};

} // namespace

document_difference compare_documents(const DOM_Node& intended, const DOM_Node& written,
                                      const std::function<bool(const DOM_Node&)>& is_new)
{
    item_list want(&is_new);
    want.walk(intended);
    item_list got(nullptr);
    got.walk(written);

    document_difference result;
    const std::size_t common = std::min(want.items.size(), got.items.size());
    std::size_t i = 0;
    while (i < common && same(want.items[i], got.items[i]))
        ++i;
    if (i == want.items.size() && i == got.items.size())
        return result;
    result.found = true;
    if (i < want.items.size()) {
        const item& it = want.items[i];
        result.what = describe(it);
        if (i < got.items.size() && it.kind == got.items[i].kind && it.kind == item::element &&
            it.name == got.items[i].name)
            result.what = "the attributes of " + result.what;
        result.construct = it.construct;
    } else {
        result.what = "the end of the document";
        result.construct = want.items.empty() ? -1 : want.items.back().construct;
    }
    result.what += " would be lost or changed by the library's format";
    return result;
}

document_difference find_unwritable(const DOM_Node& intended, const std::function<bool(const DOM_Node&)>& is_new)
{
    item_list want(&is_new);
    want.walk(intended);
    const auto beyond_latin1 = [](const text16& text) {
        return std::any_of(text.begin(), text.end(), [](XMLCh c) { return c > 0xFF; });
    };
    document_difference result;
    for (const item& it : want.items) {
        // Text and attribute values take character references; names,
        // comments, processing instructions and CDATA sections cannot.
        bool unwritable = beyond_latin1(it.name);
        for (const auto& attribute : it.attributes)
            unwritable = unwritable || beyond_latin1(attribute.first);
        if (it.kind == item::cdata || it.kind == item::comment || it.kind == item::pi)
            unwritable = unwritable || beyond_latin1(it.value);
        if (unwritable && it.kind != item::end) {
            result.found = true;
            result.what = describe(it) + " holds characters beyond ISO-8859-1, which the library's format cannot write";
            result.construct = it.construct;
            return result;
        }
    }
    return result;
}

bool locate_construct(const std::string& bytes, long construct, unsigned long& line, unsigned long& column)
{
    using namespace xercesc;
    if (construct < 0)
        return false;
    try {
        std::unique_ptr<SAX2XMLReader> reader(XMLReaderFactory::createXMLReader());
        reader->setFeature(XMLUni::fgSAX2CoreNameSpaces, false);
        reader->setFeature(XMLUni::fgSAX2CoreValidation, false);
        reader->setFeature(XMLUni::fgXercesLoadExternalDTD, false);
        SecurityManager limits;
        limits.setEntityExpansionLimit(100000);
        reader->setProperty(XMLUni::fgXercesSecurityManager, &limits);
        construct_finder finder(construct);
        nothing_external resolver;
        reader->setContentHandler(&finder);
        reader->setLexicalHandler(&finder);
        reader->setErrorHandler(&finder);
        reader->setEntityResolver(&resolver);
        MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(), u"input", false);
        XMLPScanToken token;
        if (!reader->parseFirst(source, token))
            return false;
        while (!finder.done() && reader->parseNext(token)) {
        }
        reader->parseReset(token);
        line = finder.line();
        column = finder.column();
        return finder.done();
    } catch (...) {
        // Positions are a courtesy: the difference is reported without one.
        return false;
    }
}

} // namespace xmlutil_cli
