// SPDX-License-Identifier: Apache-2.0
// Counts the elements of a document, as the 1.x counting sample did: the
// 1.0-1.6 include paths, a DOMParser, getElementsByTagName("*").
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <dom/DOM.hpp>
#include <parsers/DOMParser.hpp>

#include <iostream>

XERCES_CPP_NAMESPACE_USE

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: count FILE\n";
        return 2;
    }
    try {
        XMLPlatformUtils::Initialize();
    } catch (const XMLException&) {
        std::cerr << "cannot initialise Xerces-C\n";
        return 1;
    }
    int status = 0;
    {
        DOMParser parser;
        parser.setValidationScheme(DOMParser::Val_Never);
        try {
            parser.parse(argv[1]);
        } catch (const XMLException&) {
            status = 1;
        } catch (const DOM_DOMException& e) {
            std::cerr << "DOM error " << e.code << '\n';
            status = 1;
        }
        if (status == 0) {
            DOM_Document doc = parser.getDocument();
            DOM_NodeList all = doc.getElementsByTagName("*");
            unsigned int people = doc.getElementsByTagName("person").getLength();
            std::cout << all.getLength() << " elements, " << people << " people\n";
        }
    }
    XMLPlatformUtils::Terminate();
    return status;
}
