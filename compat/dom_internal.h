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

// What a DOMParser sets up around each parse against hostile input:
// - entities and DTDs a document names are read from local files only; a
//   network URL ends the parse with a fatal error naming it;
// - at most kEntityExpansions expansions of user entities per document
//   (predefined entities and character references don't count);
// - memory is capped while a parse runs, in proportion to the input, so
//   that a small document cannot expand into gigabytes. A parse that hits
//   the cap ends in xercesc::OutOfMemoryException.
// It is also the memory manager of the parser and of the documents it
// builds, so those documents keep it alive.
class ParseGuard final : public xercesc::MemoryManager {
public:
    static constexpr unsigned kEntityExpansions = 100000;
    static constexpr std::size_t kBaseBudget = std::size_t(64) << 20;
    static constexpr std::size_t kBudgetPerInputByte = 128;
    static constexpr std::size_t kUnknownSize = std::size_t(-1);

    ParseGuard();
    ~ParseGuard() override;
    ParseGuard(const ParseGuard&) = delete;
    ParseGuard& operator=(const ParseGuard&) = delete;

    // Sets up `parser` to use the resolver and the expansion limit.
    void protect(xercesc::XercesDOMParser& parser);

    // Caps the memory of the next parse for an input of `inputBytes` bytes
    // (kUnknownSize: no cap), until disarm().
    void arm(std::size_t inputBytes) noexcept;
    void disarm() noexcept;
    std::size_t budget() const noexcept { return fBudget; }

    void* allocate(XMLSize_t size) override;
    void deallocate(void* p) override;
    xercesc::MemoryManager* getExceptionMemoryManager() override;

private:
    struct Parts;
    std::unique_ptr<Parts> fParts;
    std::atomic<std::size_t> fUsed{0};
    std::size_t fLimit = 0; // 0: no cap
    std::size_t fBudget = 0;
};

// One per document: what the handles share, behind their count.
struct DocumentShare : DocumentCount {
    explicit DocumentShare(xercesc::DOMDocument* d) noexcept : doc(d) {}
    xercesc::DOMDocument* doc;
    // The memory manager the document allocates from, if it is not the
    // default one; released after the document.
    std::shared_ptr<xercesc::MemoryManager> memory;
    // Bumped by every structural change made through a handle; node lists
    // and the lookup cache compare it to know whether what they hold is true.
    std::uint64_t changes = 0;
    std::unique_ptr<LookupCache> lookups; // made on the first lookup
};

inline DocumentShare* full_share(DocumentCount* count) noexcept
{
    return static_cast<DocumentShare*>(count);
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
    // DOMParser::parse(source) for a source of `bytes` bytes, which the
    // parser cannot tell by itself (a memory buffer): its memory cap
    // follows from that size.
    static void parse(DOMParser& parser, const xercesc::InputSource& source, std::size_t bytes);
    // The memory the parser's last parse could use (0: no cap).
    static std::size_t parse_budget(const DOMParser& parser) noexcept;
    static DOM_NodeList list(NodeListImpl* impl) noexcept { return DOM_NodeList(impl); }
    static NodeListImpl* list_impl(const DOM_NodeList& list) noexcept { return list.fImpl; }
    static DOM_NamedNodeMap map(xercesc::DOMNamedNodeMap* map, DocumentCount* share) noexcept
    {
        return map ? DOM_NamedNodeMap(map, share) : DOM_NamedNodeMap();
    }
};

inline xercesc::DOMNode* impl(const DOM_Node& handle) noexcept
{
    return HandleAccess::node(handle);
}

} // namespace xmlutil_detail

#endif // XMLUTIL_DOM_INTERNAL_H
