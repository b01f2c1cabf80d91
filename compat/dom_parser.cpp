#include "dom_internal.h"

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/InputSource.hpp>

#include <sys/stat.h>

using namespace xmlutil_detail;
using xercesc::XercesDOMParser;

DOMParser::DOMParser(xercesc::XMLValidator* valToAdopt) : fAdopted(false)
{
    ensure_platform();
    fGuard = std::make_shared<ParseGuard>();
    fParser.reset(new XercesDOMParser(valToAdopt, fGuard.get()));
    fGuard->protect(*fParser);
    // The classic settings, spelled out although Xerces-C 3.2 has them as
    // defaults: the library's reading rules depend on them.
    fParser->setValidationScheme(XercesDOMParser::Val_Never);
    fParser->setDoNamespaces(false);
    fParser->setIncludeIgnorableWhitespace(true);
    fParser->setCreateEntityReferenceNodes(true);
    fParser->setCreateCommentNodes(true);
}

DOMParser::~DOMParser() = default;

void DOMParser::setDoValidation(bool validate)
{
    fParser->setValidationScheme(validate ? XercesDOMParser::Val_Always : XercesDOMParser::Val_Never);
}

bool DOMParser::getDoValidation() const
{
    return fParser->getValidationScheme() == XercesDOMParser::Val_Always;
}

void DOMParser::setValidationScheme(ValSchemes scheme)
{
    static const XercesDOMParser::ValSchemes schemes[] = {XercesDOMParser::Val_Never, XercesDOMParser::Val_Always,
                                                          XercesDOMParser::Val_Auto};
    fParser->setValidationScheme(schemes[scheme == Val_Always ? 1 : scheme == Val_Auto ? 2 : 0]);
}

DOMParser::ValSchemes DOMParser::getValidationScheme() const
{
    switch (fParser->getValidationScheme()) {
    case XercesDOMParser::Val_Always:
        return Val_Always;
    case XercesDOMParser::Val_Auto:
        return Val_Auto;
    default:
        return Val_Never;
    }
}

void DOMParser::setDoNamespaces(bool doNamespaces)
{
    fParser->setDoNamespaces(doNamespaces);
}

bool DOMParser::getDoNamespaces() const
{
    return fParser->getDoNamespaces();
}

void DOMParser::setErrorHandler(xercesc::ErrorHandler* handler)
{
    fParser->setErrorHandler(handler);
}

xercesc::ErrorHandler* DOMParser::getErrorHandler() const
{
    return fParser->getErrorHandler();
}

namespace {

// The memory cap holds for the parse only; the caller edits the document
// afterwards without one.
class ArmedGuard {
public:
    ArmedGuard(ParseGuard& guard, std::size_t inputBytes) noexcept : fGuard(guard) { fGuard.arm(inputBytes); }
    ~ArmedGuard() { fGuard.disarm(); }
    ArmedGuard(const ArmedGuard&) = delete;
    ArmedGuard& operator=(const ArmedGuard&) = delete;

private:
    ParseGuard& fGuard;
};

std::size_t file_size(const char* path)
{
    struct stat info;
    if (path && ::stat(path, &info) == 0 && S_ISREG(info.st_mode))
        return static_cast<std::size_t>(info.st_size);
    // Not a plain local file (a URL, a device, missing): no cap to derive.
    return ParseGuard::kUnknownSize;
}

// Runs one parse. The previous document stays with whoever holds handles to
// it; the new one is adopted lazily by getDocument().
template <class F>
void run_parse(XercesDOMParser& parser, ParseGuard& guard, std::size_t inputBytes, DOM_Document& current,
               bool& adopted, bool reuseGrammar, F&& parse)
{
    current = DOM_Document();
    adopted = false;
    parser.useCachedGrammarInParse(reuseGrammar);
    ArmedGuard armed(guard, inputBytes);
    translate_dom_errors(parse);
}

} // namespace

void DOMParser::parse(const char* systemId, bool reuseGrammar)
{
    run_parse(*fParser, *fGuard, file_size(systemId), fDocument, fAdopted, reuseGrammar,
              [&] { fParser->parse(systemId); });
}

void DOMParser::parse(const xercesc::InputSource& source, bool reuseGrammar)
{
    run_parse(*fParser, *fGuard, ParseGuard::kUnknownSize, fDocument, fAdopted, reuseGrammar,
              [&] { fParser->parse(source); });
}

void HandleAccess::parse(DOMParser& parser, const xercesc::InputSource& source, std::size_t bytes)
{
    run_parse(*parser.fParser, *parser.fGuard, bytes, parser.fDocument, parser.fAdopted, false,
              [&] { parser.fParser->parse(source); });
}

std::size_t HandleAccess::parse_budget(const DOMParser& parser) noexcept
{
    return parser.fGuard->budget();
}

DOM_Document DOMParser::getDocument()
{
    if (!fAdopted) {
        // Only a document the parser built is taken over; it then lives on its
        // handles, not on the parser.
        if (fParser->getDocument())
            fDocument = HandleAccess::adopt(fParser->adoptDocument(), fGuard);
        fAdopted = true;
    }
    return fDocument;
}
