// SPDX-License-Identifier: Apache-2.0
// Reads a document's XML declaration node and builds a document with a
// document type, the way 1.x programs did it: the pre-1.7 DOM include paths
// (Xerces-C's own headers by their present path), a reference to the
// implementation, 0 for "no document type", the classic downcasts and
// DOM_DOMException codes.
#include <xercesc/util/PlatformUtils.hpp>
#include <dom/DOM.hpp>
#include <parsers/DOMParser.hpp>

#include <iostream>

XERCES_CPP_NAMESPACE_USE

static void show(const char* label, const DOMString& text)
{
    char* bytes = text.transcode();
    std::cout << label << ": " << (text.length() ? bytes : "(none)") << '\n';
    delete[] bytes;
}

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    XMLPlatformUtils::Initialize();
    {
        DOMParser parser;
        parser.setToCreateXMLDeclTypeNode(true);
        parser.parse(argv[1]);
        DOM_Document doc = parser.getDocument();
        DOM_Node first = doc.getFirstChild();
        if (first.getNodeType() == DOM_Node::XML_DECL_NODE) {
            DOM_XMLDecl& decl = (DOM_XMLDecl&)first;
            show("version", decl.getVersion());
            show("encoding", decl.getEncoding());
            show("standalone", decl.getStandalone());
        }

        DOM_DOMImplementation& impl = DOM_DOMImplementation::getImplementation();
        std::cout << "Core 2.0: " << impl.hasFeature("Core", "2.0") << ", Events: " << impl.hasFeature("Events", 0)
                  << '\n';
        DOM_DocumentType type = impl.createDocumentType("list", "-//x//list", "list.dtd");
        DOM_Document made = impl.createDocument(0, "list", type);
        show("doctype", made.getDoctype().getName());
        show("system id", made.getDoctype().getSystemId());
        DOM_Node copy = made.importNode(doc.getDocumentElement().getFirstChild().getNextSibling(), true);
        made.getDocumentElement().appendChild(copy);
        show("imported", copy.getNodeName());

        DOM_Document plain = impl.createDocument(0, "plain", 0);
        DOM_NamedNodeMap attributes = plain.getDocumentElement().getAttributes();
        try {
            attributes.removeNamedItem("missing");
        } catch (DOM_DOMException& e) {
            std::cout << "removeNamedItem: " << e.code << '\n';
        }
        DOM_Attr attr = plain.createAttribute("b");
        attributes.setNamedItem(attr);
        attributes.setNamedItem(plain.createAttribute("aa"));
        for (unsigned int i = 0; i < attributes.getLength(); ++i)
            show("attribute", attributes.item(i).getNodeName());
    }
    XMLPlatformUtils::Terminate();
    return 0;
}
