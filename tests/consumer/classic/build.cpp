// SPDX-License-Identifier: Apache-2.0
// Builds a document in memory and walks it, as the 1.7 creation sample did:
// 1.7's include paths, including its umbrella <xercesc/dom/DOM.hpp>.
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/DOMParser.hpp>

#include <iostream>

XERCES_CPP_NAMESPACE_USE

int main()
{
    XMLPlatformUtils::Initialize();
    {
        DOM_DOMImplementation impl;
        DOM_Document doc = impl.createDocument(0, "company", DOM_DocumentType());
        DOM_Element root = doc.getDocumentElement();

        DOM_Element product = doc.createElement("product");
        root.appendChild(product);
        product.appendChild(doc.createTextNode("Xerces-C"));
        product.setAttribute("version", "1.7");

        DOM_Element category = doc.createElement("category");
        root.appendChild(category);
        category.setAttribute("idea", "great");
        category.appendChild(doc.createTextNode("XML Parsing Tools"));

        DOM_Element developedBy = doc.createElement("developedBy");
        root.appendChild(developedBy);
        developedBy.appendChild(doc.createTextNode("Apache Software Foundation"));

        DOM_NodeList elements = doc.getElementsByTagName("*");
        std::cout << "The tree just created contains: " << elements.getLength() << " elements.\n";
        for (DOM_Node child = root.getFirstChild(); child != 0; child = child.getNextSibling()) {
            char* name = child.getNodeName().transcode();
            char* value = child.getFirstChild().getNodeValue().transcode();
            std::cout << name << ": " << value << '\n';
            delete[] name;
            delete[] value;
        }
    }
    XMLPlatformUtils::Terminate();
    return 0;
}
