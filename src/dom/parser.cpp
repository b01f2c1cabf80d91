// SPDX-License-Identifier: Apache-2.0
#include "dom_internal.h"

#include <xercesc/framework/XMLValidator.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/validators/common/Grammar.hpp>

using namespace xmlutil_detail;
using xercesc::XercesDOMParser;

namespace {

// Stands in while the program has installed no handler, as the classic
// parser behaved then: warnings and errors pass unreported, a fatal error
// ends the parse as a SAXParseException. Stateless, so one serves all.
class UnhandledReports final : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException&) override {}
    void error(const xercesc::SAXParseException&) override {}
    void fatalError(const xercesc::SAXParseException& e) override { throw e; }
    void resetErrors() override {}
};

xercesc::ErrorHandler* unhandled_reports()
{
    static UnhandledReports handler;
    return &handler;
}

} // namespace

DOMParser::DOMParser(xercesc::XMLValidator* valToAdopt) : fDocument(nullptr), fAdopted(false), fCreateXMLDecl(false)
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
    fParser->setErrorHandler(unhandled_reports());
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
    fParser->setErrorHandler(handler ? handler : unhandled_reports());
}

xercesc::ErrorHandler* DOMParser::getErrorHandler() const
{
    xercesc::ErrorHandler* handler = fParser->getErrorHandler();
    return handler == unhandled_reports() ? nullptr : handler;
}

void DOMParser::setEntityResolver(xercesc::EntityResolver* resolver)
{
    // Kept by the guard, not handed to Xerces-C: there it would replace the
    // guard's own resolver and with it the rules on what may be read.
    fGuard->set_user_resolver(resolver);
}

xercesc::EntityResolver* DOMParser::getEntityResolver() const
{
    return fGuard->user_resolver();
}

void DOMParser::setCreateEntityReferenceNodes(bool create)
{
    fParser->setCreateEntityReferenceNodes(create);
}

bool DOMParser::getCreateEntityReferenceNodes() const
{
    return fParser->getCreateEntityReferenceNodes();
}

void DOMParser::setExpandEntityReferences(bool expand)
{
    fParser->setCreateEntityReferenceNodes(!expand);
}

bool DOMParser::getExpandEntityReferences() const
{
    return !fParser->getCreateEntityReferenceNodes();
}

void DOMParser::setIncludeIgnorableWhitespace(bool include)
{
    fParser->setIncludeIgnorableWhitespace(include);
}

bool DOMParser::getIncludeIgnorableWhitespace() const
{
    return fParser->getIncludeIgnorableWhitespace();
}

void DOMParser::setExitOnFirstFatalError(bool exit)
{
    fParser->setExitOnFirstFatalError(exit);
}

bool DOMParser::getExitOnFirstFatalError() const
{
    return fParser->getExitOnFirstFatalError();
}

void DOMParser::setValidationConstraintFatal(bool fatal)
{
    fParser->setValidationConstraintFatal(fatal);
}

bool DOMParser::getValidationConstraintFatal() const
{
    return fParser->getValidationConstraintFatal();
}

void DOMParser::setDoSchema(bool doSchema)
{
    fParser->setDoSchema(doSchema);
}

bool DOMParser::getDoSchema() const
{
    return fParser->getDoSchema();
}

void DOMParser::setValidationSchemaFullChecking(bool fullChecking)
{
    fParser->setValidationSchemaFullChecking(fullChecking);
}

bool DOMParser::getValidationSchemaFullChecking() const
{
    return fParser->getValidationSchemaFullChecking();
}

void DOMParser::setToCreateXMLDeclTypeNode(bool create)
{
    fCreateXMLDecl = create;
}

bool DOMParser::getToCreateXMLDeclTypeNode() const
{
    return fCreateXMLDecl;
}

int DOMParser::getErrorCount() const
{
    return static_cast<int>(fGuard->error_count(*fParser));
}

void DOMParser::reset()
{
    HandleAccess::let_go(fDocument);
    fDocument = nullptr;
    fAdopted = true;
    // A document built but not yet taken over goes too.
    fParser->resetDocumentPool();
}

namespace {

// Puts the declaration the parse read, if any, first into its document, as
// the classic parser did while building; a partial document gets it too.
void add_xml_decl(XercesDOMParser& parser, const ParseGuard& guard) noexcept
{
    const ParseGuard::Declaration& read = guard.declaration();
    xercesc::DOMDocument* doc = parser.getDocument();
    if (!read.seen || !doc)
        return;
    try {
        XmlDeclFields fields;
        fields.hasVersion = true;
        fields.version = read.version;
        fields.hasEncoding = read.hasEncoding;
        fields.encoding = read.encoding;
        fields.hasStandalone = read.hasStandalone;
        fields.standalone = read.standalone;
        doc->insertBefore(make_xml_decl(doc, fields), doc->getFirstChild());
    } catch (...) {
        // Out of memory: the document stays as Xerces-C built it.
    }
}

// Runs one parse. The previous document stays with whoever holds handles to
// it; the new one is adopted lazily by getDocument(). Cached grammars are
// used when the program asked for them either way.
template <class F>
void run_parse(DOMParser& owner, XercesDOMParser& parser, DocumentCount*& current, bool& adopted, bool reuseGrammar,
               F&& parse)
{
    HandleAccess::let_go(current);
    current = nullptr;
    adopted = false;
    struct CachedGrammars {
        XercesDOMParser& parser;
        bool before;
        ~CachedGrammars() { parser.useCachedGrammarInParse(before); }
    } restore{parser, parser.isUsingCachedGrammarInParse()};
    if (reuseGrammar)
        parser.useCachedGrammarInParse(true);
    const bool withDecl = owner.getToCreateXMLDeclTypeNode();
    try {
        translate_dom_errors(parse);
    } catch (...) {
        if (withDecl)
            add_xml_decl(parser, HandleAccess::guard(owner));
        throw;
    }
    if (withDecl)
        add_xml_decl(parser, HandleAccess::guard(owner));
}

// 16-bit text of a system id given in the local code page.
std::u16string wide_id(const char* systemId)
{
    XMLCh* id = xercesc::XMLString::transcode(systemId ? systemId : "");
    std::u16string name = id ? id : u"";
    xercesc::XMLString::release(&id);
    return name;
}

} // namespace

void DOMParser::parse(const char* systemId, bool reuseGrammar)
{
    const std::u16string name = wide_id(systemId);
    parse(name.c_str(), reuseGrammar);
}

void DOMParser::parse(const xercesc::InputSource& source, bool reuseGrammar)
{
    run_parse(*this, *fParser, fDocument, fAdopted, reuseGrammar, [&] { fGuard->parse(*fParser, source); });
}

void DOMParser::parse(const XMLCh* systemId, bool reuseGrammar)
{
    run_parse(*this, *fParser, fDocument, fAdopted, reuseGrammar, [&] { fGuard->parse(*fParser, systemId); });
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
    if (!fDocument) {
        // Classic programs ask for the document before any parse and after
        // a parse that built nothing, and expect one.
        static const XMLCh core[] = {u'C', u'o', u'r', u'e', 0};
        xercesc::DOMImplementation* impl = xercesc::DOMImplementationRegistry::getDOMImplementation(core);
        fDocument = HandleAccess::keep(impl->createDocument());
    }
    return HandleAccess::hand_out(fDocument);
}

bool DOMParser::parseFirst(const char* systemId, xercesc::XMLPScanToken& toFill, bool reuseGrammar)
{
    const std::u16string name = wide_id(systemId);
    return parseFirst(name.c_str(), toFill, reuseGrammar);
}

bool DOMParser::parseFirst(const XMLCh* systemId, xercesc::XMLPScanToken& toFill, bool reuseGrammar)
{
    // The grammar setting stays for the parseNext steps: the scanner reads
    // it as it goes.
    HandleAccess::let_go(fDocument);
    fDocument = nullptr;
    fAdopted = false;
    if (reuseGrammar)
        fParser->useCachedGrammarInParse(true);
    return translate_dom_errors([&] { return fGuard->parse_first(*fParser, systemId, toFill); });
}

bool DOMParser::parseFirst(const xercesc::InputSource& source, xercesc::XMLPScanToken& toFill, bool reuseGrammar)
{
    HandleAccess::let_go(fDocument);
    fDocument = nullptr;
    fAdopted = false;
    if (reuseGrammar)
        fParser->useCachedGrammarInParse(true);
    return translate_dom_errors([&] { return fGuard->parse_first(*fParser, source, toFill); });
}

bool DOMParser::parseNext(xercesc::XMLPScanToken& token)
{
    return translate_dom_errors([&] { return fGuard->parse_next(*fParser, token); });
}

void DOMParser::parseReset(xercesc::XMLPScanToken& token)
{
    fGuard->parse_reset(*fParser, token);
}

const xercesc::XMLScanner& DOMParser::getScanner() const
{
    return ParseGuard::scanner(*fParser);
}

const xercesc::XMLValidator& DOMParser::getValidator() const
{
    return fParser->getValidator();
}

XMLCh* DOMParser::getExternalSchemaLocation() const
{
    return fParser->getExternalSchemaLocation();
}

XMLCh* DOMParser::getExternalNoNamespaceSchemaLocation() const
{
    return fParser->getExternalNoNamespaceSchemaLocation();
}

void DOMParser::setExternalSchemaLocation(const XMLCh* schemaLocation)
{
    fParser->setExternalSchemaLocation(schemaLocation);
}

void DOMParser::setExternalSchemaLocation(const char* schemaLocation)
{
    fParser->setExternalSchemaLocation(schemaLocation);
}

void DOMParser::setExternalNoNamespaceSchemaLocation(const XMLCh* noNamespaceSchemaLocation)
{
    fParser->setExternalNoNamespaceSchemaLocation(noNamespaceSchemaLocation);
}

void DOMParser::setExternalNoNamespaceSchemaLocation(const char* noNamespaceSchemaLocation)
{
    fParser->setExternalNoNamespaceSchemaLocation(noNamespaceSchemaLocation);
}

xercesc::PSVIHandler* DOMParser::getPSVIHandler()
{
    return fParser->getPSVIHandler();
}

const xercesc::PSVIHandler* DOMParser::getPSVIHandler() const
{
    return fParser->getPSVIHandler();
}

void DOMParser::setPSVIHandler(xercesc::PSVIHandler* handler)
{
    fParser->setPSVIHandler(handler);
}

xercesc::XMLEntityResolver* DOMParser::getXMLEntityResolver()
{
    return fGuard->user_xml_resolver();
}

const xercesc::XMLEntityResolver* DOMParser::getXMLEntityResolver() const
{
    return fGuard->user_xml_resolver();
}

void DOMParser::setXMLEntityResolver(xercesc::XMLEntityResolver* resolver)
{
    // Kept by the guard, like setEntityResolver's.
    fGuard->set_user_xml_resolver(resolver);
}

bool DOMParser::getIdentityConstraintChecking() const
{
    return fParser->getIdentityConstraintChecking();
}

void DOMParser::setIdentityConstraintChecking(bool check)
{
    fParser->setIdentityConstraintChecking(check);
}

bool DOMParser::isCachingGrammarFromParse() const
{
    return fParser->isCachingGrammarFromParse();
}

void DOMParser::cacheGrammarFromParse(bool cache)
{
    fParser->cacheGrammarFromParse(cache);
}

bool DOMParser::isUsingCachedGrammarInParse() const
{
    return fParser->isUsingCachedGrammarInParse();
}

void DOMParser::useCachedGrammarInParse(bool use)
{
    fParser->useCachedGrammarInParse(use);
}

bool DOMParser::getCalculateSrcOfs() const
{
    return fParser->getCalculateSrcOfs();
}

void DOMParser::setCalculateSrcOfs(bool calculate)
{
    fParser->setCalculateSrcOfs(calculate);
}

bool DOMParser::getStandardUriConformant() const
{
    return fParser->getStandardUriConformant();
}

void DOMParser::setStandardUriConformant(bool conformant)
{
    fParser->setStandardUriConformant(conformant);
}

unsigned int DOMParser::getSrcOffset() const
{
    return static_cast<unsigned int>(fParser->getSrcOffset());
}

void DOMParser::useScanner(const XMLCh* scannerName)
{
    fParser->useScanner(scannerName);
}

xercesc::Grammar* DOMParser::getGrammar(const XMLCh* nameSpaceKey)
{
    return fParser->getGrammar(nameSpaceKey);
}

xercesc::Grammar* DOMParser::getRootGrammar()
{
    return fParser->getRootGrammar();
}

const XMLCh* DOMParser::getURIText(unsigned int uriId) const
{
    return fParser->getURIText(uriId);
}

xercesc::Grammar* DOMParser::loadGrammar(const xercesc::InputSource& source, short grammarType, bool toCache)
{
    return translate_dom_errors([&] { return fGuard->load_grammar(*fParser, source, grammarType, toCache); });
}

xercesc::Grammar* DOMParser::loadGrammar(const char* systemId, short grammarType, bool toCache)
{
    const std::u16string name = wide_id(systemId);
    return loadGrammar(name.c_str(), grammarType, toCache);
}

xercesc::Grammar* DOMParser::loadGrammar(const XMLCh* systemId, short grammarType, bool toCache)
{
    return translate_dom_errors([&] { return fGuard->load_grammar(*fParser, systemId, grammarType, toCache); });
}

void DOMParser::resetCachedGrammarPool()
{
    fParser->resetCachedGrammarPool();
}
