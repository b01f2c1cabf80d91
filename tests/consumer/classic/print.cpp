// SPDX-License-Identifier: Apache-2.0
// Prints the element tree of a document with its attributes and text, as
// the 2.x printing samples walked it: the 2.x deprecated include paths,
// transcode() with delete[], casts of handle references.
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/dom/deprecated/DOM.hpp>
#include <xercesc/dom/deprecated/DOMParser.hpp>

#include <iostream>
#include <string>

XERCES_CPP_NAMESPACE_USE

static std::string text(const DOMString& s)
{
    char* bytes = s.transcode();
    std::string result(bytes);
    delete[] bytes;
    return result;
}

static void print(const DOM_Node& node, int depth)
{
    switch (node.getNodeType()) {
    case DOM_Node::ELEMENT_NODE: {
        std::cout << std::string(2 * depth, ' ') << '<' << text(node.getNodeName());
        DOM_NamedNodeMap attributes = node.getAttributes();
        for (unsigned int i = 0; i < attributes.getLength(); i++) {
            DOM_Node attribute = attributes.item(i);
            std::cout << ' ' << text(attribute.getNodeName()) << "=\"" << text(attribute.getNodeValue()) << '"';
        }
        std::cout << ">\n";
        for (DOM_Node child = node.getFirstChild(); child != 0; child = child.getNextSibling())
            print(child, depth + 1);
        break;
    }
    case DOM_Node::TEXT_NODE: {
        std::string data = text(node.getNodeValue());
        if (data.find_first_not_of(" \t\r\n") != std::string::npos)
            std::cout << std::string(2 * depth, ' ') << '"' << data << "\"\n";
        break;
    }
    case DOM_Node::COMMENT_NODE:
        std::cout << std::string(2 * depth, ' ') << "comment:" << text(node.getNodeValue()) << '\n';
        break;
    default:
        for (DOM_Node child = node.getFirstChild(); child != 0; child = child.getNextSibling())
            print(child, depth);
    }
}

int main(int argc, char* argv[])
{
    XMLPlatformUtils::Initialize();
    {
        DOMParser parser;
        parser.parse(argv[argc - 1]);
        DOM_Document doc = parser.getDocument();
        print(doc, 0);
        DOM_Node second = doc.getFirstChild().getNextSibling(); // after the comment
        DOM_Element root = (DOM_Element&) second;
        std::cout << "root: " << text(root.getTagName()) << '\n';
    }
    XMLPlatformUtils::Terminate();
    return 0;
}
