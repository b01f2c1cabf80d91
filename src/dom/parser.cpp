#include "dom_internal.h"

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/InputSource.hpp>

using namespace xmlutil_detail;
using xercesc::XercesDOMParser;

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
// it; the new one is adopted lazily by getDocument().
template <class F>
void run_parse(DOMParser& owner, XercesDOMParser& parser, DocumentCount*& current, bool& adopted, bool reuseGrammar,
               F&& parse)
{
    HandleAccess::let_go(current);
    current = nullptr;
    adopted = false;
    parser.useCachedGrammarInParse(reuseGrammar);
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

} // namespace

void DOMParser::parse(const char* systemId, bool reuseGrammar)
{
    run_parse(*this, *fParser, fDocument, fAdopted, reuseGrammar, [&] { fGuard->parse(*fParser, systemId); });
}

void DOMParser::parse(const xercesc::InputSource& source, bool reuseGrammar)
{
    run_parse(*this, *fParser, fDocument, fAdopted, reuseGrammar, [&] { fGuard->parse(*fParser, source); });
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
