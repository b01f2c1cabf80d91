#include "dom_internal.h"

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/InputSource.hpp>

using namespace xmlutil_detail;
using xercesc::XercesDOMParser;

DOMParser::DOMParser(xercesc::XMLValidator* valToAdopt) : fDocument(nullptr), fAdopted(false)
{
    ensure_platform();
    fGuard = std::make_shared<ParseGuard>();
    fParser = fGuard->make_parser(valToAdopt);
    // The classic settings, spelled out although Xerces-C 3.2 has them as
    // defaults: the library's reading rules depend on them.
    fParser->setValidationScheme(XercesDOMParser::Val_Never);
    fParser->setDoNamespaces(false);
    fParser->setIncludeIgnorableWhitespace(true);
    fParser->setCreateEntityReferenceNodes(true);
    fParser->setCreateCommentNodes(true);
}

DOMParser::~DOMParser()
{
    HandleAccess::let_go(fDocument);
}

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

// Runs one parse. The previous document stays with whoever holds handles to
// it; the new one is adopted lazily by getDocument().
template <class F>
void run_parse(XercesDOMParser& parser, DocumentCount*& current, bool& adopted, bool reuseGrammar, F&& parse)
{
    HandleAccess::let_go(current);
    current = nullptr;
    adopted = false;
    parser.useCachedGrammarInParse(reuseGrammar);
    translate_dom_errors(parse);
}

} // namespace

void DOMParser::parse(const char* systemId, bool reuseGrammar)
{
    run_parse(*fParser, fDocument, fAdopted, reuseGrammar, [&] { fGuard->parse(*fParser, systemId); });
}

void DOMParser::parse(const xercesc::InputSource& source, bool reuseGrammar)
{
    run_parse(*fParser, fDocument, fAdopted, reuseGrammar, [&] { fGuard->parse(*fParser, source); });
}

DOM_Document DOMParser::getDocument()
{
    if (!fAdopted) {
        // Only a document the parser built is taken over; it then lives on its
        // handles, not on the parser.
        if (fParser->getDocument())
            fDocument = HandleAccess::keep(fParser->adoptDocument());
        fAdopted = true;
    }
    return HandleAccess::hand_out(fDocument);
}
