#include "dom_internal.h"

#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/URLInputSource.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLURL.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <cstdlib>
#include <new>

using namespace xercesc;

namespace xmlutil_detail {

namespace {

bool is_local(const XMLURL& url)
{
    const XMLCh* host = url.getHost();
    return url.getProtocol() == XMLURL::File &&
           (!host || !*host || XMLString::compareIString(host, XMLUni::fgLocalHostString) == 0);
}

[[noreturn]] void refuse(const XMLCh* systemId)
{
    throw MalformedURLException(__FILE__, __LINE__, XMLExcepts::URL_UnsupportedProto1, systemId);
}

// Opens what a document names (its DTD, external entities) from local files
// only. The parser's own resolution would fetch http, https and ftp URLs
// with whatever the document says; a refusal here is thrown as an
// XMLException, which the scanner reports as a fatal error at the reference.
class LocalFilesOnly final : public XMLEntityResolver {
public:
    InputSource* resolveEntity(XMLResourceIdentifier* resource) override
    {
        const XMLCh* systemId = resource->getSystemId();
        if (!systemId || !*systemId)
            return nullptr;
        XMLURL url;
        if (XMLURL::parse(systemId, url)) {
            if (is_local(url))
                return new URLInputSource(url);
            if (url.getProtocol() != XMLURL::Unknown)
                refuse(systemId);
            // Unknown schemes are plain relative paths to the parser, too.
        }
        const XMLCh* base = resource->getBaseURI();
        if (base && *base) {
            XMLURL baseUrl;
            if (XMLURL::parse(base, baseUrl) && baseUrl.getProtocol() != XMLURL::Unknown) {
                // Relative to a document that was itself opened by URL.
                if (!is_local(baseUrl))
                    refuse(systemId);
                return new URLInputSource(base, systemId);
            }
            return new LocalFileInputSource(base, systemId);
        }
        return new LocalFileInputSource(systemId);
    }
};

// Every block carries its size in front, so that deallocate can count it.
constexpr std::size_t kHeader = alignof(std::max_align_t);

} // namespace

struct ParseGuard::Parts {
    LocalFilesOnly resolver;
    SecurityManager security;
};

ParseGuard::ParseGuard() : fParts(new Parts)
{
    fParts->security.setEntityExpansionLimit(kEntityExpansions);
}

ParseGuard::~ParseGuard() = default;

void ParseGuard::protect(XercesDOMParser& parser)
{
    parser.setXMLEntityResolver(&fParts->resolver);
    // Nothing is opened unless the resolver hands out a source.
    parser.setDisableDefaultEntityResolution(true);
    parser.setSecurityManager(&fParts->security);
}

void ParseGuard::arm(std::size_t inputBytes) noexcept
{
    if (inputBytes == kUnknownSize) {
        fLimit = 0;
        fBudget = 0;
        return;
    }
    const std::size_t perByte = inputBytes > (std::size_t(-1) - kBaseBudget) / kBudgetPerInputByte
                                    ? std::size_t(-1) - kBaseBudget
                                    : inputBytes * kBudgetPerInputByte;
    fBudget = kBaseBudget + perByte;
    // What earlier documents of this parser still hold is not this parse's.
    const std::size_t used = fUsed.load(std::memory_order_relaxed);
    fLimit = used > std::size_t(-1) - fBudget ? std::size_t(-1) : used + fBudget;
}

void ParseGuard::disarm() noexcept
{
    fLimit = 0;
}

void* ParseGuard::allocate(XMLSize_t size)
{
    const std::size_t total = size + kHeader;
    if (total < size)
        throw OutOfMemoryException();
    const std::size_t before = fUsed.fetch_add(total, std::memory_order_relaxed);
    if (fLimit != 0 && before + total > fLimit) {
        fUsed.fetch_sub(total, std::memory_order_relaxed);
        throw OutOfMemoryException();
    }
    void* block = std::malloc(total);
    if (!block) {
        fUsed.fetch_sub(total, std::memory_order_relaxed);
        throw OutOfMemoryException();
    }
    *static_cast<std::size_t*>(block) = total;
    return static_cast<char*>(block) + kHeader;
}

void ParseGuard::deallocate(void* p)
{
    if (!p)
        return;
    void* block = static_cast<char*>(p) - kHeader;
    fUsed.fetch_sub(*static_cast<std::size_t*>(block), std::memory_order_relaxed);
    std::free(block);
}

MemoryManager* ParseGuard::getExceptionMemoryManager()
{
    return XMLPlatformUtils::fgMemoryManager;
}

} // namespace xmlutil_detail
