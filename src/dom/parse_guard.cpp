// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"

#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/URLInputSource.hpp>
#include <xercesc/internal/ReaderMgr.hpp>
#include <xercesc/internal/XMLReader.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/EntityResolver.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RuntimeException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLURL.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <mutex>
#include <new>

using namespace xercesc;

namespace xmlutil_detail {

// ---- Memory ---------------------------------------------------------------------

// The account of the parse running in a thread. It lives in the parse call
// (for a progressive parse, in the guard until the next start) and is
// reached only through t_budget, so nothing of it stays with a parser or a
// document once the parse is over.
struct ParseBudget {
    std::uint64_t generation = 0; // tags the blocks this parse allocated
    std::size_t used = 0;
    std::size_t read = 0;     // bytes the parse's inputs delivered so far
    std::size_t exceeded = 0; // the cap, once the parse ran into it

    std::size_t limit() const noexcept
    {
        const std::size_t most = (std::size_t(-1) - ParseGuard::kBaseBudget) / ParseGuard::kBudgetPerInputByte;
        return ParseGuard::kBaseBudget + (read < most ? read : most) * ParseGuard::kBudgetPerInputByte;
    }
};

namespace {

thread_local ParseBudget* t_budget = nullptr;

std::atomic<std::uint64_t> g_generations{0};

// Makes `budget` the account of the calling thread for one scope.
class BudgetScope {
public:
    explicit BudgetScope(ParseBudget& budget) noexcept : fOuter(t_budget) { t_budget = &budget; }
    ~BudgetScope() { t_budget = fOuter; }
    BudgetScope(const BudgetScope&) = delete;
    BudgetScope& operator=(const BudgetScope&) = delete;

private:
    ParseBudget* fOuter;
};

void count_read(XMLSize_t bytes) noexcept
{
    if (ParseBudget* budget = t_budget)
        budget->read += bytes;
}

// Every block carries its size and the parse that allocated it in front, so
// that a block is credited to that parse only, whoever frees it.
struct BlockHeader {
    std::size_t size;
    std::uint64_t generation;
};
constexpr std::size_t kHeader = alignof(std::max_align_t);
static_assert(sizeof(BlockHeader) <= kHeader, "the header fits in front of an aligned block");

class ParseMemory final : public MemoryManager {
public:
    void* allocate(XMLSize_t size) override
    {
        const std::size_t total = size + kHeader;
        if (total < size)
            throw OutOfMemoryException();
        ParseBudget* budget = t_budget;
        if (budget) {
            const std::size_t limit = budget->limit();
            if (budget->used > limit || total > limit - budget->used) {
                budget->exceeded = limit;
                throw OutOfMemoryException();
            }
        }
        void* block = std::malloc(total);
        if (!block)
            throw OutOfMemoryException();
        BlockHeader* header = static_cast<BlockHeader*>(block);
        header->size = total;
        header->generation = budget ? budget->generation : 0;
        if (budget)
            budget->used += total;
        return static_cast<char*>(block) + kHeader;
    }

    void deallocate(void* p) override
    {
        if (!p)
            return;
        void* block = static_cast<char*>(p) - kHeader;
        const BlockHeader* header = static_cast<const BlockHeader*>(block);
        ParseBudget* budget = t_budget;
        if (budget && header->generation == budget->generation)
            budget->used -= header->size;
        std::free(block);
    }

    MemoryManager* getExceptionMemoryManager() override { return XMLPlatformUtils::fgMemoryManager; }
};

// ---- Streams that count what they deliver ---------------------------------------

class CountingStream final : public BinInputStream {
public:
    explicit CountingStream(BinInputStream* inner) noexcept : fInner(inner) {}
    ~CountingStream() override { delete fInner; }
    CountingStream(const CountingStream&) = delete;
    CountingStream& operator=(const CountingStream&) = delete;

    XMLFilePos curPos() const override { return fInner->curPos(); }
    XMLSize_t readBytes(XMLByte* const toFill, const XMLSize_t maxToRead) override
    {
        const XMLSize_t got = fInner->readBytes(toFill, maxToRead);
        count_read(got);
        return got;
    }
    const XMLCh* getContentType() const override { return fInner->getContentType(); }
    const XMLCh* getEncoding() const override { return fInner->getEncoding(); }

private:
    BinInputStream* fInner;
};

// The main input of a parse, as the caller gave it, but counted.
class CountedSource final : public InputSource {
public:
    explicit CountedSource(const InputSource& inner) : fInner(inner) {}

    BinInputStream* makeStream() const override
    {
        BinInputStream* stream = fInner.makeStream();
        if (!stream)
            return nullptr;
        try {
            return new CountingStream(stream);
        } catch (...) {
            delete stream;
            throw;
        }
    }
    const XMLCh* getEncoding() const override { return fInner.getEncoding(); }
    const XMLCh* getPublicId() const override { return fInner.getPublicId(); }
    const XMLCh* getSystemId() const override { return fInner.getSystemId(); }
    bool getIssueFatalErrorIfNotFound() const override { return fInner.getIssueFatalErrorIfNotFound(); }

private:
    const InputSource& fInner;
};

// A source the application's entity resolver made, owned and counted.
class ProgramSource final : public InputSource {
public:
    explicit ProgramSource(InputSource* inner) noexcept : fInner(inner) {}

    BinInputStream* makeStream() const override { return CountedSource(*fInner).makeStream(); }
    const XMLCh* getEncoding() const override { return fInner->getEncoding(); }
    const XMLCh* getPublicId() const override { return fInner->getPublicId(); }
    const XMLCh* getSystemId() const override { return fInner->getSystemId(); }
    bool getIssueFatalErrorIfNotFound() const override { return fInner->getIssueFatalErrorIfNotFound(); }

private:
    std::unique_ptr<InputSource> fInner;
};

// A file the resolver opened and checked; its bytes count like the main
// input's.
class FileStream final : public BinInputStream {
public:
    explicit FileStream(int fd) noexcept : fFd(fd) {}
    ~FileStream() override { ::close(fFd); }
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    XMLFilePos curPos() const override { return fPos; }
    XMLSize_t readBytes(XMLByte* const toFill, const XMLSize_t maxToRead) override
    {
        ssize_t got;
        do
            got = ::read(fFd, toFill, maxToRead);
        while (got < 0 && errno == EINTR);
        if (got < 0)
            ThrowXML(XMLPlatformUtilsException, XMLExcepts::File_CouldNotReadFromFile);
        fPos += static_cast<XMLFilePos>(got);
        count_read(static_cast<XMLSize_t>(got));
        return static_cast<XMLSize_t>(got);
    }
    const XMLCh* getContentType() const override { return nullptr; }

private:
    int fFd;
    XMLFilePos fPos = 0;
};

// A checked file, or (fd -1) one that could not be opened: the parser then
// reports it with its own words, naming `systemId`.
class FileSource final : public InputSource {
public:
    FileSource(const XMLCh* systemId, int fd) : InputSource(systemId), fFd(fd) {}
    ~FileSource() override
    {
        if (fFd >= 0)
            ::close(fFd);
    }
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;

    BinInputStream* makeStream() const override
    {
        if (fFd < 0)
            return nullptr;
        BinInputStream* stream = new FileStream(fFd);
        fFd = -1;
        return stream;
    }

private:
    mutable int fFd;
};

// ---- Paths ----------------------------------------------------------------------

std::string to_bytes(const XMLCh* text)
{
    // File names are UTF-8, as Xerces-C's own file streams take them.
    std::string out;
    if (!text)
        return out;
    char* converted = XMLString::transcode(text);
    if (converted) {
        out = converted;
        XMLString::release(&converted);
    }
    return out;
}

std::u16string to_text(const std::string& bytes)
{
    XMLCh* converted = XMLString::transcode(bytes.c_str());
    std::u16string out = converted ? std::u16string(converted) : std::u16string();
    XMLString::release(&converted);
    return out;
}

std::string current_dir()
{
    char buffer[PATH_MAX];
    return ::getcwd(buffer, sizeof buffer) ? std::string(buffer) : std::string("/");
}

std::string absolute(const std::string& path)
{
    if (!path.empty() && path[0] == '/')
        return path;
    return current_dir() + "/" + path;
}

std::string parent_of(const std::string& path)
{
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// `path` (absolute) without "." and ".." steps and repeated slashes, as
// the parser itself names files.
std::string normal(const std::string& path)
{
    std::vector<std::string> steps;
    std::size_t at = 0;
    while (at <= path.size()) {
        std::size_t slash = path.find('/', at);
        if (slash == std::string::npos)
            slash = path.size();
        const std::string step = path.substr(at, slash - at);
        if (step == "..") {
            if (!steps.empty())
                steps.pop_back();
        } else if (!step.empty() && step != ".") {
            steps.push_back(step);
        }
        at = slash + 1;
    }
    std::string out;
    for (const std::string& step : steps)
        out += "/" + step;
    return out.empty() ? "/" : out;
}

bool real_path(const std::string& path, std::string& real)
{
    char* resolved = ::realpath(path.c_str(), nullptr);
    if (!resolved)
        return false;
    real = resolved;
    std::free(resolved);
    return true;
}

// The real location of `path`, which need not exist: its deepest existing
// folder resolved, the rest appended as written.
std::string real_location(const std::string& path)
{
    std::string real;
    if (real_path(path, real))
        return real;
    std::string rest;
    std::string head = path;
    while (head != "/" && !head.empty()) {
        const std::size_t slash = head.find_last_of('/');
        rest = head.substr(slash + 1) + (rest.empty() ? "" : "/" + rest);
        head = slash == 0 ? "/" : head.substr(0, slash);
        if (real_path(head, real))
            return (real == "/" ? "" : real) + "/" + rest;
    }
    return path;
}

bool inside(const std::string& real, const std::string& folder)
{
    if (folder == "/")
        return true;
    return real.compare(0, folder.size(), folder) == 0 && (real.size() == folder.size() || real[folder.size()] == '/');
}

unsigned hex_value(XMLCh c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return 16;
}

// The path of a file: URL, its %xx escapes decoded as the parser's own URL
// streams decode them.
std::string url_path(const XMLURL& url)
{
    const std::string path = to_bytes(url.getPath());
    std::string out;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path[i] == '%' && i + 2 < path.size() && hex_value(static_cast<XMLCh>(path[i + 1])) < 16 &&
            hex_value(static_cast<XMLCh>(path[i + 2])) < 16) {
            out += static_cast<char>(hex_value(static_cast<XMLCh>(path[i + 1])) * 16 +
                                     hex_value(static_cast<XMLCh>(path[i + 2])));
            i += 2;
        } else {
            out += path[i];
        }
    }
    return out;
}

bool is_local(const XMLURL& url)
{
    const XMLCh* host = url.getHost();
    return url.getProtocol() == XMLURL::File &&
           (!host || !*host || XMLString::compareIString(host, XMLUni::fgLocalHostString) == 0);
}

// The local file that `systemId` names (made absolute against the working
// directory), or false for a URL of another kind.
bool local_file(const XMLCh* systemId, std::string& path)
{
    XMLURL url;
    if (XMLURL::parse(systemId, url) && url.getProtocol() != XMLURL::Unknown) {
        if (!is_local(url))
            return false;
        path = url_path(url);
        return true;
    }
    path = absolute(to_bytes(systemId));
    return true;
}

// ---- What a document may read ---------------------------------------------------

std::mutex& folders_mutex()
{
    static std::mutex* m = new std::mutex;
    return *m;
}

// Never destroyed: a parse in another thread may still ask at exit.
std::vector<std::string>& allowed_folders()
{
    static std::vector<std::string>* folders = new std::vector<std::string>;
    return *folders;
}

bool allowed(const std::string& real, const std::string& tree)
{
    if (inside(real, tree))
        return true;
    std::vector<std::string> folders;
    {
        std::lock_guard<std::mutex> lock(folders_mutex());
        folders = allowed_folders();
    }
    for (const std::string& folder : folders) {
        std::string realFolder;
        if (real_path(folder, realFolder) && inside(real, realFolder))
            return true;
    }
    return false;
}

// A file on /proc or /sys: regular in name, made up by the kernel on reading.
bool kernel_file(const std::string& real)
{
    if (inside(real, "/proc") || inside(real, "/sys"))
        return true;
    struct statfs fs;
    return ::statfs(real.c_str(), &fs) == 0 && (fs.f_type == PROC_SUPER_MAGIC || fs.f_type == SYSFS_MAGIC);
}

// The folder tree a document read from `systemId` may read from: the folder
// of a regular local file, otherwise (memory, a pipe, a URL) the working
// directory.
std::string document_tree(const XMLCh* systemId)
{
    std::string path;
    struct stat info;
    std::string real;
    if (systemId && *systemId && local_file(systemId, path) && ::stat(path.c_str(), &info) == 0 &&
        S_ISREG(info.st_mode) && real_path(parent_of(path), real))
        return real;
    return real_path(current_dir(), real) ? real : std::string("/");
}

// A document named something it may not read: the parse ends with a fatal
// error at the reference. Not an XMLException, so that it leaves the
// scanner as it is and keeps its own words.
struct Refusal {
    std::u16string message;
    std::u16string systemId;
    std::u16string publicId;
    XMLFileLoc line = 0;
    XMLFileLoc column = 0;
};

[[noreturn]] void refuse_at(const Locator* at, const std::string& message)
{
    Refusal refusal;
    refusal.message = to_text(message);
    if (at) {
        if (at->getSystemId())
            refusal.systemId = at->getSystemId();
        if (at->getPublicId())
            refusal.publicId = at->getPublicId();
        refusal.line = at->getLineNumber();
        refusal.column = at->getColumnNumber();
    }
    throw refusal;
}

[[noreturn]] void refuse(const XMLResourceIdentifier& resource, const std::string& path, const char* why)
{
    refuse_at(resource.getLocator(), "refused to read '" + path + "': " + why);
}

// Network URLs are refused as before, by an XMLException that the scanner
// reports as a fatal error at the reference.
[[noreturn]] void refuse_url(const XMLCh* systemId)
{
    throw MalformedURLException(__FILE__, __LINE__, XMLExcepts::URL_UnsupportedProto1, systemId);
}

class SkippedDtd {};

} // namespace

// ---- The resolver ---------------------------------------------------------------

class ParseGuard::Resolver final : public XMLEntityResolver {
public:
    // Installing a resolver is what makes the scanner ask the parser
    // (Parser::resolveEntity) for entities; this one is never asked itself.
    InputSource* resolveEntity(XMLResourceIdentifier*) override { return nullptr; }

    // The source for what `resource` names. Throws SkippedDtd for an
    // external DTD subset that `skippable` allows to pass over.
    InputSource* resolve(const XMLResourceIdentifier& resource, bool skippable) const
    {
        const XMLCh* systemId = resource.getSystemId();
        if (!systemId || !*systemId)
            return nullptr;
        std::string path;
        if (!locate(resource, path)) {
            if (skippable)
                throw SkippedDtd();
            refuse_url(systemId);
        }
        const std::string real = real_location(path);
        if (!allowed(real, tree)) {
            if (skippable)
                throw SkippedDtd();
            refuse(resource, path, "outside the folders this document may read");
        }
        const std::u16string name = to_text(path);
        struct stat info;
        if (::stat(real.c_str(), &info) != 0) {
            if (skippable)
                throw SkippedDtd();
            return new FileSource(name.c_str(), -1);
        }
        if (!S_ISREG(info.st_mode) || kernel_file(real)) {
            if (skippable)
                throw SkippedDtd();
            refuse(resource, path, "not a regular file");
        }
        // Non-blocking, in case the file was swapped for a pipe meanwhile;
        // what was opened is checked again.
        const int fd = ::open(real.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        struct stat opened;
        if (fd >= 0 && (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode) || opened.st_dev != info.st_dev ||
                        opened.st_ino != info.st_ino)) {
            ::close(fd);
            if (skippable)
                throw SkippedDtd();
            refuse(resource, path, "not a regular file");
        }
        if (fd < 0 && skippable)
            throw SkippedDtd();
        try {
            return new FileSource(name.c_str(), fd);
        } catch (...) {
            if (fd >= 0)
                ::close(fd);
            throw;
        }
    }

    // The folder tree of the document being parsed.
    std::string tree;

private:
    // The local path `resource` names, or false for a network URL.
    static bool locate(const XMLResourceIdentifier& resource, std::string& path)
    {
        const XMLCh* systemId = resource.getSystemId();
        XMLURL url;
        if (XMLURL::parse(systemId, url) && url.getProtocol() != XMLURL::Unknown) {
            if (!is_local(url))
                return false;
            path = normal(url_path(url));
            return true;
        }
        // Unknown schemes are plain relative paths to the parser, too.
        const XMLCh* base = resource.getBaseURI();
        if (base && *base) {
            XMLURL baseUrl;
            if (XMLURL::parse(base, baseUrl) && baseUrl.getProtocol() != XMLURL::Unknown) {
                // Relative to a document that was itself opened by URL.
                if (!is_local(baseUrl))
                    return false;
                const XMLURL resolved(baseUrl, systemId);
                if (!is_local(resolved))
                    return false;
                path = normal(url_path(resolved));
                return true;
            }
            const LocalFileInputSource named(base, systemId);
            path = normal(absolute(to_bytes(named.getSystemId())));
            return true;
        }
        const LocalFileInputSource named(systemId);
        path = normal(absolute(to_bytes(named.getSystemId())));
        return true;
    }
};

// ---- The parser -----------------------------------------------------------------

class ParseGuard::Parser final : public XercesDOMParser {
public:
    Parser(XMLValidator* valToAdopt, ParseGuard& guard) : XercesDOMParser(valToAdopt, parse_memory()), fGuard(guard)
    {
    }

    const XMLScanner& scanner() const noexcept { return *getScanner(); }

    void begin() noexcept
    {
        fDtd = Dtd::none;
        fOpen = 0;
    }

    // When memory runs out, Xerces-C leaves its parser marked busy and the
    // readers of the failed parse in place, on the grounds that nothing more
    // can be done. Here only one parse's budget ran out: the parser is made
    // ready for the next parse, and the partial document is let go now, not
    // when the parser ends.
    void recover()
    {
        const_cast<ReaderMgr*>(getScanner()->getReaderMgr())->reset();
        setParseInProgress(false);
        resetDocumentPool();
    }

    void doctypeDecl(const DTDElementDecl& root, const XMLCh* const publicId, const XMLCh* const systemId,
                     const bool hasIntSubset, const bool hasExtSubset) override
    {
        // The external subset is resolved after the internal one (or not
        // at all, when a cached grammar stands in for it).
        fDtd = !hasExtSubset ? Dtd::none : hasIntSubset ? Dtd::afterInternal : Dtd::next;
        fDtdId = systemId ? systemId : u"";
        XercesDOMParser::doctypeDecl(root, publicId, systemId, hasIntSubset, hasExtSubset);
    }

    void endIntSubset() override
    {
        if (fDtd == Dtd::afterInternal)
            fDtd = Dtd::next;
        XercesDOMParser::endIntSubset();
    }

    InputSource* resolveEntity(XMLResourceIdentifier* resource) override
    {
        const bool subset = fDtd == Dtd::next && resource->getSystemId() && fDtdId == resource->getSystemId();
        fDtd = Dtd::none;
        // Without validation an external subset that may not be read is
        // left out, as other non-validating parsers do.
        const bool skippable = subset && getValidationScheme() == Val_Never;
        try {
            std::unique_ptr<InputSource> given;
            if (EntityResolver* user = fGuard.fUserResolver)
                given.reset(user->resolveEntity(resource->getPublicId(), resource->getSystemId()));
            else if (XMLEntityResolver* full = fGuard.fUserXMLResolver)
                given.reset(full->resolveEntity(resource));
            if (given) {
                // Files and URLs it names are read only where the document
                // itself may read.
                if (dynamic_cast<LocalFileInputSource*>(given.get()) || dynamic_cast<URLInputSource*>(given.get())) {
                    const XMLResourceIdentifier named(resource->getResourceIdentifierType(), given->getSystemId(),
                                                      resource->getNameSpace(), resource->getPublicId(),
                                                      resource->getBaseURI());
                    return fGuard.fResolver->resolve(named, skippable);
                }
                InputSource* counted = new ProgramSource(given.get());
                given.release();
                return counted;
            }
            return fGuard.fResolver->resolve(*resource, skippable);
        } catch (const SkippedDtd&) {
            // Entities that only the subset declares are still unknown:
            // the scanner treats their references as in a document
            // without a DTD.
            getScanner()->setHasNoDTD(true);
            static const XMLByte nothing[1] = {0};
            return new MemBufInputSource(nothing, 0, resource->getSystemId());
        }
    }

    // Depth inside entity expansions. Xerces-C marks a finished expansion
    // read-only, and copies a document type's entities, by recursion over
    // everything below the outermost reference, inner references included.
    // Refused before the base class builds anything, so the partial
    // document stays consistent. Plain elements cost one test.
    void startEntityReference(const XMLEntityDecl& entity) override
    {
        open_level();
        XercesDOMParser::startEntityReference(entity);
    }

    void endEntityReference(const XMLEntityDecl& entity) override
    {
        if (fOpen != 0)
            --fOpen;
        XercesDOMParser::endEntityReference(entity);
    }

    void startElement(const XMLElementDecl& element, const unsigned int uriId, const XMLCh* const prefix,
                      const RefVectorOf<XMLAttr>& attributes, const XMLSize_t count, const bool isEmpty,
                      const bool isRoot) override
    {
        if (fOpen != 0)
            open_level();
        // Calls endElement itself for an empty element.
        XercesDOMParser::startElement(element, uriId, prefix, attributes, count, isEmpty, isRoot);
    }

    void endElement(const XMLElementDecl& element, const unsigned int uriId, const bool isRoot,
                    const XMLCh* const prefix) override
    {
        // Never below the reference itself: an element that began outside
        // it and ends inside is a fatal error the scanner stops at.
        if (fOpen > 1)
            --fOpen;
        XercesDOMParser::endElement(element, uriId, isRoot, prefix);
    }

    // Xerces-C's document keeps the standalone flag as a bool and an
    // absent encoding as empty text; DOMParser's XMLDecl node needs the
    // declaration as written.
    void XMLDecl(const XMLCh* const versionStr, const XMLCh* const encodingStr, const XMLCh* const standaloneStr,
                 const XMLCh* const actualEncStr) override
    {
        Declaration& declaration = fGuard.fDeclaration;
        declaration.seen = true;
        declaration.version = versionStr ? versionStr : u"";
        declaration.hasEncoding = encodingStr && *encodingStr;
        declaration.encoding = declaration.hasEncoding ? encodingStr : u"";
        declaration.hasStandalone = standaloneStr && *standaloneStr;
        declaration.standalone = declaration.hasStandalone ? standaloneStr : u"";
        XercesDOMParser::XMLDecl(versionStr, encodingStr, standaloneStr, actualEncStr);
    }

    void endDocument() override
    {
        // Xerces-C takes a zero character for the end of the input; after
        // the root element it then ends the document there without a word.
        XMLReader* reader = const_cast<ReaderMgr*>(getScanner()->getReaderMgr())->getCurrentReader();
        XMLCh next = 1;
        if (reader && reader->peekNextChar(next) && next == 0) {
            ZeroStop& stop = fGuard.fZeroStop;
            stop.found = true;
            stop.line = reader->getLineNumber();
            stop.column = reader->getColumnNumber();
            stop.systemId = reader->getSystemId() ? reader->getSystemId() : u"";
        }
        XercesDOMParser::endDocument();
    }

private:
    enum class Dtd { none, afterInternal, next };

    // The outermost reference is level 0 and never refused.
    void open_level()
    {
        if (fOpen > kEntityDepth)
            refuse_at(getScanner()->getLocator(), "entity expansion nests elements deeper than " +
                                                      std::to_string(kEntityDepth) + " levels");
        ++fOpen;
    }

    ParseGuard& fGuard;
    Dtd fDtd = Dtd::none;
    std::u16string fDtdId;
    // Nodes open from the outermost open entity reference down, that
    // reference included; 0 outside references.
    unsigned fOpen = 0;
};

// ---- ParseGuard -----------------------------------------------------------------

// What a progressive parse keeps between its steps.
struct ParseGuard::Progressive {
    explicit Progressive(const InputSource& source) : counted(source) { budget.generation = ++g_generations; }
    std::unique_ptr<InputSource> owned; // the source a system id named
    CountedSource counted;
    ParseBudget budget;
};

MemoryManager* parse_memory()
{
    static MemoryManager* const memory = new ParseMemory;
    return memory;
}

void allow_entity_folder(const std::string& folder)
{
    if (folder.empty())
        return;
    const std::string path = absolute(folder);
    std::lock_guard<std::mutex> lock(folders_mutex());
    allowed_folders().push_back(path);
}

ParseGuard::ParseGuard() : fResolver(new Resolver), fSecurity(new SecurityManager)
{
    fSecurity->setEntityExpansionLimit(kEntityExpansions);
}

ParseGuard::~ParseGuard() = default;

std::unique_ptr<XercesDOMParser> ParseGuard::make_parser(XMLValidator* valToAdopt)
{
    std::unique_ptr<XercesDOMParser> parser(new Parser(valToAdopt, *this));
    parser->setXMLEntityResolver(fResolver.get());
    // Nothing is opened unless the parser's resolveEntity hands out a source.
    parser->setDisableDefaultEntityResolution(true);
    parser->setSecurityManager(fSecurity.get());
    return parser;
}

void ParseGuard::parse(XercesDOMParser& parser, const InputSource& source)
{
    fResolver->tree = document_tree(source.getSystemId());
    run(parser, source);
}

std::unique_ptr<InputSource> ParseGuard::named_source(XercesDOMParser& parser, const XMLCh* systemId)
{
    // The source the scanner would make for `systemId`, made here so that
    // its bytes are counted.
    const XMLCh* name = systemId ? systemId : u"";
    try {
        XMLURL url;
        if (XMLURL::parse(name, url) && url.getProtocol() != XMLURL::Unknown)
            return std::unique_ptr<InputSource>(new URLInputSource(url));
        return std::unique_ptr<InputSource>(new LocalFileInputSource(name));
    } catch (const XMLException& e) {
        fExceeded = 0;
        fZeroStop = ZeroStop();
        fDeclaration = Declaration();
        fScanned = false;
        fOwnErrors = 1;
        // As the scanner reports a name it cannot make a source of.
        if (ErrorHandler* handler = parser.getErrorHandler())
            handler->fatalError(SAXParseException(e.getMessage(), u"", u"", 0, 0));
        return nullptr;
    }
}

void ParseGuard::parse(XercesDOMParser& parser, const XMLCh* systemId)
{
    const std::unique_ptr<InputSource> source = named_source(parser, systemId);
    if (!source)
        return;
    fResolver->tree = document_tree(systemId ? systemId : u"");
    run(parser, *source);
}

std::size_t ParseGuard::error_count(const XercesDOMParser& parser) const noexcept
{
    return (fScanned ? parser.getErrorCount() : 0) + fOwnErrors;
}

void ParseGuard::begin_run(XercesDOMParser& parser)
{
    fExceeded = 0;
    fZeroStop = ZeroStop();
    fDeclaration = Declaration();
    fScanned = true;
    fOwnErrors = 0;
    static_cast<Parser&>(parser).begin();
}

template <class Step>
auto ParseGuard::guarded(XercesDOMParser& parser, ParseBudget& budget, Step&& step) -> decltype(step())
{
    try {
        const BudgetScope scope(budget);
        return step();
    } catch (const OutOfMemoryException&) {
        // The cap, or the system's memory, ran out; an XMLException is what
        // classic programs catch around a parse.
        fExceeded = budget.exceeded;
        static_cast<Parser&>(parser).recover();
        ThrowXML(RuntimeException, XMLExcepts::Out_Of_Memory);
    } catch (const Refusal& refusal) {
        fOwnErrors = 1;
        if (ErrorHandler* handler = parser.getErrorHandler())
            handler->fatalError(SAXParseException(refusal.message.c_str(), refusal.publicId.c_str(),
                                                  refusal.systemId.c_str(), refusal.line, refusal.column));
    }
    return decltype(step())();
}

void ParseGuard::run(XercesDOMParser& parser, const InputSource& source)
{
    begin_run(parser);
    const CountedSource counted(source);
    ParseBudget budget;
    budget.generation = ++g_generations;
    guarded(parser, budget, [&] { parser.parse(counted); });
}

bool ParseGuard::parse_first(XercesDOMParser& parser, const InputSource& source, XMLPScanToken& token)
{
    fProgressive.reset();
    fResolver->tree = document_tree(source.getSystemId());
    begin_run(parser);
    fProgressive.reset(new Progressive(source));
    Progressive& state = *fProgressive;
    return guarded(parser, state.budget, [&] { return parser.parseFirst(state.counted, token); });
}

bool ParseGuard::parse_first(XercesDOMParser& parser, const XMLCh* systemId, XMLPScanToken& token)
{
    fProgressive.reset();
    std::unique_ptr<InputSource> source = named_source(parser, systemId);
    if (!source)
        return false;
    fResolver->tree = document_tree(systemId ? systemId : u"");
    begin_run(parser);
    fProgressive.reset(new Progressive(*source));
    fProgressive->owned = std::move(source);
    Progressive& state = *fProgressive;
    return guarded(parser, state.budget, [&] { return parser.parseFirst(state.counted, token); });
}

bool ParseGuard::parse_next(XercesDOMParser& parser, XMLPScanToken& token)
{
    if (!fProgressive)
        return false;
    return guarded(parser, fProgressive->budget, [&] { return parser.parseNext(token); });
}

void ParseGuard::parse_reset(XercesDOMParser& parser, XMLPScanToken& token)
{
    parser.parseReset(token);
}

Grammar* ParseGuard::load_grammar(XercesDOMParser& parser, const InputSource& source, short grammarType,
                                  bool toCache)
{
    fResolver->tree = document_tree(source.getSystemId());
    begin_run(parser);
    const CountedSource counted(source);
    ParseBudget budget;
    budget.generation = ++g_generations;
    return guarded(parser, budget, [&] {
        return parser.loadGrammar(counted, static_cast<Grammar::GrammarType>(grammarType), toCache);
    });
}

Grammar* ParseGuard::load_grammar(XercesDOMParser& parser, const XMLCh* systemId, short grammarType, bool toCache)
{
    const std::unique_ptr<InputSource> source = named_source(parser, systemId);
    if (!source)
        return nullptr;
    return load_grammar(parser, *source, grammarType, toCache);
}

const XMLScanner& ParseGuard::scanner(const XercesDOMParser& parser) noexcept
{
    return static_cast<const Parser&>(parser).scanner();
}

} // namespace xmlutil_detail
