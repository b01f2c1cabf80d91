// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"
#include "mem_counts.h"

#include <xercesc/util/PlatformUtils.hpp>

#include <atomic>
#include <mutex>

namespace xmlutil_detail {
namespace {

std::mutex& platform_mutex()
{
    static std::mutex m;
    return m;
}

std::atomic<bool> platform_ready{false};

// The first DOM insertion fills a lazily built table inside Xerces-C; doing
// one here, under the lock, keeps later threads from racing to build it.
void warm_up_dom()
{
    static const XMLCh core[] = {u'C', u'o', u'r', u'e', 0};
    static const XMLCh name[] = {u'w', 0};
    xercesc::DOMImplementation* impl = xercesc::DOMImplementationRegistry::getDOMImplementation(core);
    xercesc::DOMDocument* doc = impl->createDocument();
    doc->appendChild(doc->createElement(name));
    doc->release();
}

} // namespace

void initialize_platform()
{
    std::lock_guard<std::mutex> lock(platform_mutex());
    xercesc::XMLPlatformUtils::Initialize();
    if (!platform_ready.load(std::memory_order_relaxed)) {
        warm_up_dom();
        platform_ready.store(true, std::memory_order_release);
    }
}

void ensure_platform()
{
    if (!platform_ready.load(std::memory_order_acquire))
        initialize_platform();
}

void throw_dom_exception(short code)
{
    ensure_platform();
    // A DOMException made with only a code carries Xerces-C's text for it.
    const xercesc::DOMException text(code);
    throw DOM_DOMException(code, DOMString(text.getMessage()));
}

void rethrow_dom_exception(const xercesc::DOMException& e)
{
    throw DOM_DOMException(e.code, DOMString(e.getMessage()));
}

void release(DocumentCount* share) noexcept
{
    if (share && --share->refs == 0)
        HandleAccess::destroy(share);
}

DOM_Document HandleAccess::adopt(xercesc::DOMDocument* doc, std::shared_ptr<xercesc::MemoryManager> memory)
{
    if (!doc)
        return DOM_Document();
    DocumentShare* share = nullptr;
    try {
        share = new DocumentShare(doc);
    } catch (...) {
        doc->release();
        throw;
    }
    share->memory = std::move(memory);
    add_document(share, doc);
    return DOM_Document(doc, share);
}

DocumentCount* HandleAccess::keep(xercesc::DOMDocument* doc)
{
    DocumentShare* share = nullptr;
    try {
        share = new DocumentShare(doc);
    } catch (...) {
        doc->release();
        throw;
    }
    add_document(share, doc);
    return share;
}

DOM_Document HandleAccess::hand_out(DocumentCount* count)
{
    DocumentShare* share = full_share(count);
    if (!share)
        return DOM_Document();
    // The handles become a keeper again once they were all gone.
    if (share->refs == 0)
        share->keepers.fetch_add(1, std::memory_order_relaxed);
    return DOM_Document(share->doc, share);
}

void HandleAccess::let_go(DocumentCount* share) noexcept
{
    if (share)
        DOM_Node::destroyShare(share);
}

} // namespace xmlutil_detail

// Called when the last handle goes, and when the parser lets go: whichever
// keeper is last releases the document.
void DOM_Node::destroyShare(xmlutil_detail::DocumentCount* count) noexcept
{
    xmlutil_detail::DocumentShare* share = xmlutil_detail::full_share(count);
    if (share->keepers.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    xmlutil_detail::remove_document(share);
    if (share->doc)
        share->doc->release();
    else if (share->orphan)
        share->orphan->release(); // a document type no document took
    delete share;
}

DOM_DOMException::DOM_DOMException() : code(static_cast<ExceptionCode>(0)) {}

DOM_DOMException::DOM_DOMException(short exceptionCode, const DOMString& message)
    : code(static_cast<ExceptionCode>(exceptionCode)), msg(message)
{
}

DOM_DOMException::DOM_DOMException(const DOM_DOMException& other) = default;

DOM_DOMException& DOM_DOMException::operator=(const DOM_DOMException& other) = default;

DOM_DOMException::~DOM_DOMException() = default;
