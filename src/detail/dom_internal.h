// SPDX-License-Identifier: Apache-2.0
// Internals of the handle layer, shared with the library sources. Nothing
// here is exported.
#ifndef XMLUTIL_DOM_INTERNAL_H
#define XMLUTIL_DOM_INTERNAL_H

#include "xmlutil_dom.h"

#include <xercesc/dom/DOM.hpp>

#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace xmlutil_detail {

// Answers of child lookups by name (GetNodeByName) in one document, valid
// while the document keeps its structure. A lookup must scan everything
// before the first match in document order, and configuration code asks the
// same few questions again and again. Open addressing, so that a probe with
// a name allocates nothing; it grows with use and starts afresh when full.
class LookupCache {
public:
    // The slot for (parent, name): `filled` tells whether it holds the answer.
    struct Slot {
        const xercesc::DOMNode* parent = nullptr;
        std::size_t hash = 0;
        std::u16string name;
        xercesc::DOMNode* found = nullptr;
        bool filled = false;
    };

    Slot& find(std::uint64_t stamp, const xercesc::DOMNode* parent, std::u16string_view name);

private:
    void reset(std::size_t capacity);

    static constexpr std::size_t kFirstCapacity = 64;
    static constexpr std::size_t kMaxCapacity = 4096;
    std::uint64_t fStamp = 0;
    std::size_t fUsed = 0;
    std::vector<Slot> fSlots;
};

// What a DOMParser sets up around each parse against hostile input (see
// "What a document may read" in docs/reliability.md):
// - DTDs and external entities that a document names are read only from
//   regular files inside the document's folder tree or a folder given to
//   AllowEntityFolder; anything else ends the parse with a fatal error that
//   names it. Without validation, an external DTD subset that may not or
//   cannot be read is skipped instead;
// - at most kEntityExpansions expansions of user entities per document
//   (predefined entities and character references don't count);
// - inside an entity expansion, elements and inner entity references nest
//   at most kEntityDepth levels below the outermost reference; deeper, the
//   parse ends with a fatal error at that reference. Plain nesting outside
//   entities is not limited;
// - a parse may allocate kBaseBudget plus kBudgetPerInputByte for every
//   byte its inputs have delivered so far, whatever they are (a file, a
//   pipe, a buffer). A parse that needs more ends in xercesc::RuntimeException
//   with the code XMLExcepts::Out_Of_Memory.
// The cap lives in the parse call, not in the parser: documents allocate
// through parse_memory(), which consults only the cap of a parse running in
// the calling thread.
// The memory account of one parse (parse_guard.cpp).
struct ParseBudget;

class ParseGuard {
public:
    static constexpr unsigned kEntityExpansions = 100000;
    // Xerces-C walks an expansion by recursion when it marks it read-only
    // (about 64 bytes of stack a level) and when it copies a document
    // type's entities (about 120 bytes a level: that copy overflowed a
    // 1 MiB stack at 9,000 levels, with or without ASan). 4,000 leaves half
    // of such a stack to the caller, and is far deeper than any real
    // document nests inside an entity.
    static constexpr unsigned kEntityDepth = 4000;
    static constexpr std::size_t kBaseBudget = std::size_t(64) << 20;
    // Deep nesting is the most memory an ordinary document needs for its
    // size: about 200 bytes per byte read, most of it the scanner's element
    // stack, all of it before the end tags arrive.
    static constexpr std::size_t kBudgetPerInputByte = 256;

    // Where a parse stopped at a zero character in its main input, which
    // Xerces-C takes for the end of the input after the root element.
    struct ZeroStop {
        bool found = false;
        XMLFileLoc line = 0;
        XMLFileLoc column = 0;
        std::u16string systemId;
    };

    ParseGuard();
    ~ParseGuard();
    ParseGuard(const ParseGuard&) = delete;
    ParseGuard& operator=(const ParseGuard&) = delete;

    // A parser set up with all of the above; it must not outlive the guard.
    std::unique_ptr<xercesc::XercesDOMParser> make_parser(xercesc::XMLValidator* valToAdopt);

    // One parse of `parser` (made by make_parser) under the rules above.
    void parse(xercesc::XercesDOMParser& parser, const xercesc::InputSource& source);
    void parse(xercesc::XercesDOMParser& parser, const XMLCh* systemId);

    // A progressive parse under the same rules: each step runs on the
    // budget of the whole parse, which lives here until the next start.
    // `source` must outlive the steps, as Xerces-C requires.
    bool parse_first(xercesc::XercesDOMParser& parser, const xercesc::InputSource& source,
                     xercesc::XMLPScanToken& token);
    bool parse_first(xercesc::XercesDOMParser& parser, const XMLCh* systemId, xercesc::XMLPScanToken& token);
    bool parse_next(xercesc::XercesDOMParser& parser, xercesc::XMLPScanToken& token);
    void parse_reset(xercesc::XercesDOMParser& parser, xercesc::XMLPScanToken& token);

    // A grammar read under the same rules; the files it includes are read
    // from its own folder tree.
    xercesc::Grammar* load_grammar(xercesc::XercesDOMParser& parser, const xercesc::InputSource& source,
                                   short grammarType, bool toCache);
    xercesc::Grammar* load_grammar(xercesc::XercesDOMParser& parser, const XMLCh* systemId, short grammarType,
                                   bool toCache);

    // The scanner of a parser made by make_parser.
    static const xercesc::XMLScanner& scanner(const xercesc::XercesDOMParser& parser) noexcept;

    // The application's resolver, asked before the rules above are applied
    // to what it returns; not owned.
    // Only one of the two kinds is asked: setting one (non-null) clears the
    // other, so the last one set wins.
    void set_user_resolver(xercesc::EntityResolver* resolver) noexcept
    {
        fUserResolver = resolver;
        if (resolver)
            fUserXMLResolver = nullptr;
    }
    xercesc::EntityResolver* user_resolver() const noexcept { return fUserResolver; }
    void set_user_xml_resolver(xercesc::XMLEntityResolver* resolver) noexcept
    {
        fUserXMLResolver = resolver;
        if (resolver)
            fUserResolver = nullptr;
    }
    xercesc::XMLEntityResolver* user_xml_resolver() const noexcept { return fUserXMLResolver; }

    // Errors and fatal errors of the last parse of `parser`: the scanner's
    // count and the fatal errors reported here, around the scanner.
    std::size_t error_count(const xercesc::XercesDOMParser& parser) const noexcept;

    // The cap the last parse ran into, or 0 when it did not.
    std::size_t exceeded_budget() const noexcept { return fExceeded; }
    const ZeroStop& zero_stop() const noexcept { return fZeroStop; }

    // The XML declaration at the start of the last parse's document, as
    // written; `seen` is false when there was none.
    struct Declaration {
        bool seen = false;
        std::u16string version;
        bool hasEncoding = false;
        std::u16string encoding;
        bool hasStandalone = false;
        std::u16string standalone;
    };
    const Declaration& declaration() const noexcept { return fDeclaration; }

private:
    class Parser;
    class Resolver;
    struct Progressive;
    void run(xercesc::XercesDOMParser& parser, const xercesc::InputSource& source);
    // Runs `step` on `budget` and turns what the rules stop into the reports
    // and exceptions a parse gives.
    template <class Step>
    auto guarded(xercesc::XercesDOMParser& parser, ParseBudget& budget, Step&& step) -> decltype(step());
    // The source `systemId` names, or null after reporting why there is none.
    std::unique_ptr<xercesc::InputSource> named_source(xercesc::XercesDOMParser& parser, const XMLCh* systemId);
    void begin_run(xercesc::XercesDOMParser& parser);

    std::unique_ptr<Resolver> fResolver;
    std::unique_ptr<xercesc::SecurityManager> fSecurity;
    xercesc::EntityResolver* fUserResolver = nullptr;
    xercesc::XMLEntityResolver* fUserXMLResolver = nullptr;
    std::unique_ptr<Progressive> fProgressive;
    // Whether the last parse reached the scanner, and the fatal errors it
    // reported itself.
    bool fScanned = false;
    std::size_t fOwnErrors = 0;
    std::size_t fExceeded = 0;
    ZeroStop fZeroStop;
    Declaration fDeclaration;
};

// The memory manager of every parser and every parsed document. Outside a
// parse in the calling thread it is plain malloc and free; it is never
// destroyed, so documents may outlive their parsers.
xercesc::MemoryManager* parse_memory();

// AllowEntityFolder: a folder whose regular files any document may read as
// DTDs and entities, process-wide.
void allow_entity_folder(const std::string& folder);

// One per document: what the handles share, behind their count.
struct DocumentShare : DocumentCount {
    explicit DocumentShare(xercesc::DOMDocument* d) noexcept : doc(d) {}
    // Null while the share belongs to a document type that no document has
    // yet (`orphan`); the document that takes the type takes the share too.
    xercesc::DOMDocument* doc;
    xercesc::DOMNode* orphan = nullptr;
    // A memory manager the document allocates from that must outlive it
    // (none for parsed documents: parse_memory() is never destroyed);
    // released after the document.
    std::shared_ptr<xercesc::MemoryManager> memory;
    // Who keeps the document: its handles as one party (while refs > 0),
    // and the DOMParser that built it until that parser's next parse. The
    // parser may let go in a thread other than the one that has the handles
    // by then, hence atomic; refs stays a plain count of one thread's handles.
    std::atomic<int> keepers{1};
    // Bumped by every structural change made through a handle; node lists
    // and the lookup cache compare it to know whether what they hold is true.
    std::uint64_t changes = 0;
    std::unique_ptr<LookupCache> lookups; // made on the first lookup
    // DOM_Node::setUserData's table: one pointer per node, never deleted by
    // the library. Nodes live as long as their document, so keys stay valid.
    std::unordered_map<const xercesc::DOMNode*, void*> userData;
};

inline DocumentShare* full_share(DocumentCount* count) noexcept
{
    return static_cast<DocumentShare*>(count);
}

// The objects behind iterator, walker and range handles: `refs` counts the
// handles (one thread's plain count, like a document's), the last one
// deletes the object.
template <class Impl>
void retain_object(Impl* impl) noexcept
{
    if (impl)
        ++impl->refs;
}

template <class Impl>
void release_object(Impl* impl) noexcept
{
    if (impl && --impl->refs == 0)
        delete impl;
}

// A handle's operator=: `mine` takes `other`'s object.
template <class Impl>
void rebind_object(Impl*& mine, Impl* other) noexcept
{
    retain_object(other);
    release_object(mine);
    mine = other;
}

inline void retain(DocumentCount* share) noexcept
{
    if (share)
        ++share->refs;
}

// Drops one reference; the last one releases the document.
void release(DocumentCount* share) noexcept;

// State of a DOM_NodeList: either the children of `root` or the elements
// named `name` below it. The position cache makes walking a list by index
// linear instead of quadratic.
struct NodeListImpl {
    NodeListImpl(DocumentCount* s, xercesc::DOMNode* r) noexcept : share(full_share(s)), root(r) { retain(share); }
    ~NodeListImpl() { release(share); }
    NodeListImpl(const NodeListImpl&) = delete;
    NodeListImpl& operator=(const NodeListImpl&) = delete;

    xercesc::DOMNode* item(std::size_t index);
    std::size_t length();

    std::size_t refs = 0;
    DocumentShare* share;
    xercesc::DOMNode* root;
    bool deep = false;
    bool matchAll = false;
    std::u16string name;
    // getElementsByTagNameNS: `name` is a local name, matched with the URI.
    bool byNamespace = false;
    bool anyNamespace = false;
    std::u16string namespaceURI;

    static constexpr std::uint64_t kNoStamp = ~std::uint64_t{0};
    std::uint64_t stamp = kNoStamp;
    std::size_t cachedIndex = 0;
    xercesc::DOMNode* cachedNode = nullptr;
    std::size_t cachedLength = 0;
    bool lengthKnown = false;
};

// The one conversion between 16-bit and 8-bit text in the library, in
// ISO-8859-1: U+0000..U+00FF map to their byte, every other character
// (a surrogate pair counts as one) to '?'. Callers stop at U+0000.
// Converts the character at `i` and leaves `i` on its last unit.
inline char narrow_char(const XMLCh* text, std::size_t& i, std::size_t length) noexcept
{
    const XMLCh ch = text[i];
    if (ch <= 0xFF)
        return static_cast<char>(ch);
    // One character, one '?': the low half of a pair is consumed with it.
    if (ch >= 0xD800 && ch <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF)
        ++i;
    return '?';
}
// Writes the 8-bit form of at most `length` units of `text` at `dest`, which
// has room for `length` bytes, stopping at a zero character; returns the end.
char* narrow_into(const XMLCh* text, std::size_t length, char* dest) noexcept;
void narrow_append(const XMLCh* text, std::size_t length, std::string& out);
std::string narrow(const XMLCh* text);
// narrow(text) into `out`, reusing its storage.
void assign_narrow(const XMLCh* text, std::string& out);
// The value of an attribute node, as getNodeValue() gives it.
const XMLCh* attribute_value(const xercesc::DOMNode* attribute);
// Whether narrow(text) equals the `length` bytes at `bytes`, without a copy.
bool narrow_equals(const XMLCh* text, const char* bytes, std::size_t length) noexcept;
// Bytes to 16-bit text, each byte its own character.
std::u16string widen(const char* text, std::size_t length);

// A zero-terminated 16-bit copy of a zero-terminated byte string, kept on the
// stack when short: name lookups convert their argument on every call.
class WideText {
public:
    explicit WideText(const char* text);
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;
    const XMLCh* c_str() const noexcept { return fData; }
    std::size_t size() const noexcept { return fSize; }

private:
    static constexpr std::size_t kInline = 128;
    XMLCh fInline[kInline];
    std::unique_ptr<XMLCh[]> fHeap;
    const XMLCh* fData;
    std::size_t fSize;
};

bool equal_text(const XMLCh* a, const XMLCh* b) noexcept;


// The first element below `root` named `name` (any name when `matchAll`), in
// document order, or null; `direct` tells whether it is a child of `root`.
// Keeps its own path instead of asking nodes for their parent, which costs a
// dynamic_cast in Xerces-C 3.2.
xercesc::DOMNode* first_element_named(xercesc::DOMNode* root, const XMLCh* name, bool matchAll, bool& direct);

// Serialised XMLPlatformUtils::Initialize: two threads must never run it at
// once. initialize_platform() asks Xerces-C every time; ensure_platform()
// only when the library has not done so yet.
void initialize_platform();
void ensure_platform();

// Raises DOM_DOMException with `code` and Xerces-C's own text for it.
[[noreturn]] void throw_dom_exception(short code);
[[noreturn]] void rethrow_dom_exception(const xercesc::DOMException& e);

// Runs a Xerces-C DOM call, turning its DOMException into DOM_DOMException.
template <class F>
auto translate_dom_errors(F&& call) -> decltype(call())
{
    try {
        return call();
    } catch (const xercesc::DOMException& e) {
        rethrow_dom_exception(e);
    }
}

// ---- helpers of the handle sources ----

extern const XMLCh kEmptyText[];

// Xerces-C wants a string where the classic DOM allowed a null one.
inline const XMLCh* arg(const DOMString& text) noexcept
{
    const XMLCh* raw = text.rawBuffer();
    return raw ? raw : kEmptyText;
}

// A string argument that may stay null: null for the null and the empty string.
inline const XMLCh* optional_arg(const DOMString& text) noexcept
{
    return text.length() ? text.rawBuffer() : nullptr;
}

// An XML declaration is a processing instruction with the target
// `#xmldecl`, which Xerces-C's own calls refuse to make: DOM_Node::getNodeType
// tells it apart by the '#'.
bool is_xml_decl(const xercesc::DOMNode* node) noexcept;
// The node as the Xerces-C type T when it is of the given node type (an XML
// declaration is not a processing instruction here).
template <class T>
T* as(xercesc::DOMNode* node, short type) noexcept
{
    if (!node || node->getNodeType() != type)
        return nullptr;
    if (type == xercesc::DOMNode::PROCESSING_INSTRUCTION_NODE && is_xml_decl(node))
        return nullptr;
    return static_cast<T*>(node);
}
// INVALID_STATE_ERR for the null node.
xercesc::DOMNode* require(xercesc::DOMNode* node);
// The node as T for a change: the null node and nodes of another type refuse.
template <class T>
T* require_as(xercesc::DOMNode* node, short type)
{
    require(node);
    T* typed = as<T>(node, type);
    if (!typed)
        throw_dom_exception(DOM_DOMException::NOT_SUPPORTED_ERR);
    return typed;
}
bool read_only(const xercesc::DOMNode* node) noexcept;

// The fields of an XML declaration node; a missing field is null.
struct XmlDeclFields {
    bool hasVersion = false;
    std::u16string version;
    bool hasEncoding = false;
    std::u16string encoding;
    bool hasStandalone = false;
    std::u16string standalone;
};
XmlDeclFields xml_decl_fields(const xercesc::DOMNode* decl);
// A new XML declaration node of `doc`, not in the tree.
xercesc::DOMNode* make_xml_decl(xercesc::DOMDocument* doc, const XmlDeclFields& fields);
// Replaces the fields of an XML declaration node.
void set_xml_decl_fields(xercesc::DOMNode* decl, const XmlDeclFields& fields);

// A new document type that no document has, like `type` (which has none
// either); its maps are empty, as they must stay.
xercesc::DOMDocumentType* copy_orphan_type(const xercesc::DOMDocumentType* type);

// A copy of `source` owned by `into`, as DOM_Document::importNode makes it;
// `deep` copies the subtree without recursion.
xercesc::DOMNode* import_node(xercesc::DOMDocument* into, const xercesc::DOMNode* source, bool deep);

// Live lists of the elements below `root` by name, or by namespace URI and
// local name; the null list for a null root.
DOM_NodeList elements_by_tag_name(xercesc::DOMNode* root, DocumentCount* share, const DOMString& name);
DOM_NodeList elements_by_tag_name_ns(xercesc::DOMNode* root, DocumentCount* share, const DOMString& namespaceURI,
                                     const DOMString& localName);

// Attribute maps in the classic DOM's order, which writers and programs that
// walk item(i) see: by name length first, then by UTF-16 code units.
// Xerces-C 3 keeps another order, so the order is made here.
bool classic_attribute_before(const xercesc::DOMNode* a, const xercesc::DOMNode* b) noexcept;
// The attribute at `index` in that order, or null past the end.
xercesc::DOMNode* classic_attribute(const xercesc::DOMNamedNodeMap* map, XMLSize_t index);

// The one way a handle changes a document's structure: the stamp tells the
// node lists and the lookup cache that what they hold may be stale.
template <class F>
auto change_structure(DocumentCount* count, F&& change) -> decltype(change())
{
    ++full_share(count)->changes;
    return translate_dom_errors(std::forward<F>(change));
}

// After `text` was split at `offset` into itself and `rest` (before its data
// is cut): the boundaries of the document's ranges past `offset` move into
// `rest`, as they do in Xerces-C's own splitText.
void split_ranges(xercesc::DOMNode* text, xercesc::DOMNode* rest, XMLSize_t offset) noexcept;

// Access to the inside of handles for the library's own code.
struct HandleAccess {
    static xercesc::DOMNode* node(const DOM_Node& handle) noexcept { return handle.fImpl; }
    static DocumentShare* share(const DOM_Node& handle) noexcept { return full_share(handle.fShare); }
    static void destroy(DocumentCount* share) noexcept { DOM_Node::destroyShare(share); }

    template <class Handle>
    static Handle make(xercesc::DOMNode* node, DocumentCount* share) noexcept
    {
        return node ? Handle(node, share) : Handle();
    }
    // Takes ownership of `doc` (a new share); releases it if that fails.
    static DOM_Document adopt(xercesc::DOMDocument* doc,
                              std::shared_ptr<xercesc::MemoryManager> memory = nullptr);
    // A document the parser keeps (one keeper, no handles yet); releases
    // it if that fails.
    static DocumentCount* keep(xercesc::DOMDocument* doc);
    // A new handle on a document the parser keeps.
    static DOM_Document hand_out(DocumentCount* share);
    // The parser no longer keeps the document (null: nothing).
    static void let_go(DocumentCount* share) noexcept;
    // The limits and outcome of the parser's parses.
    static const ParseGuard& guard(const DOMParser& parser) noexcept { return *parser.fGuard; }
    static DOM_NodeList list(NodeListImpl* impl) noexcept { return DOM_NodeList(impl); }
    static NodeListImpl* list_impl(const DOM_NodeList& list) noexcept { return list.fImpl; }
    static DOM_NamedNodeMap map(xercesc::DOMNamedNodeMap* map, DocumentCount* share, xercesc::DOMNode* owner) noexcept
    {
        return map ? DOM_NamedNodeMap(map, share, owner) : DOM_NamedNodeMap();
    }
    // A handle on a document type that no document has yet, with a share
    // of its own; releases the type if that fails.
    static DOM_DocumentType adopt_orphan(xercesc::DOMDocumentType* type);
};

inline xercesc::DOMNode* impl(const DOM_Node& handle) noexcept
{
    return HandleAccess::node(handle);
}

} // namespace xmlutil_detail

#endif // XMLUTIL_DOM_INTERNAL_H
