// SPDX-License-Identifier: Apache-2.0
// The start-to-finish program written by hand on raw Xerces-C: the same
// work as startup_xmlutil, with the same parser settings.
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

#include <iostream>
#include <stdexcept>
#include <string>

namespace {

using xercesc::DOMNode;
using xercesc::XMLString;

class ThrowingErrorHandler : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException&) override { throw std::runtime_error("parser warning"); }
    void error(const xercesc::SAXParseException&) override { throw std::runtime_error("parser error"); }
    void fatalError(const xercesc::SAXParseException&) override { throw std::runtime_error("parser fatal error"); }
    void resetErrors() override {}
};

DOMNode* child_element(DOMNode* parent, const char* name)
{
    XMLCh* wanted = XMLString::transcode(name);
    DOMNode* found = nullptr;
    for (DOMNode* child = parent ? parent->getFirstChild() : nullptr; child && !found;
         child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::ELEMENT_NODE && XMLString::equals(child->getNodeName(), wanted))
            found = child;
    }
    XMLString::release(&wanted);
    return found;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: startup_xerces <config.xml>\n";
        return 2;
    }
    xercesc::XMLPlatformUtils::Initialize();
    xercesc::DOMDocument* doc = nullptr;
    try {
        xercesc::XercesDOMParser parser;
        ThrowingErrorHandler handler;
        parser.setErrorHandler(&handler);
        parser.parse(argv[1]);
        doc = parser.adoptDocument();
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return 1;
    }
    DOMNode* key = child_element(child_element(doc->getDocumentElement(), "section3"), "key7");
    DOMNode* text = key ? key->getFirstChild() : nullptr;
    while (text && text->getNodeType() != DOMNode::TEXT_NODE)
        text = text->getNextSibling();
    if (!text)
        return 1;
    char* value = XMLString::transcode(text->getNodeValue());
    std::cout << value << '\n';
    XMLString::release(&value);
    doc->release();
    return 0;
}
