// SPDX-License-Identifier: Apache-2.0
#include "internal.h"

void CreateDocument(const std::string& rootName, DOM_Document& doc, DOM_Node& root)
{
    // Deliberate: the namespace URI is the part before the first colon, the
    // whole name when there is none, and empty only when the name starts
    // with a colon.
    const std::string::size_type colon = rootName.find(':');
    const std::string namespaceURI = colon == 0 ? std::string() : rootName.substr(0, colon);
    DOM_DOMImplementation implementation;
    DOM_Document created = implementation.createDocument(DOMString(namespaceURI.c_str()),
                                                         DOMString(rootName.c_str()), DOM_DocumentType());
    doc = created;
    root = doc.getDocumentElement();
}

void CreateNewElement(const std::string& name, DOM_Element& element, DOM_Node& parent, DOM_Document& doc)
{
    element = doc.createElement(DOMString(name.c_str()));
    parent.appendChild(element);
}

void SaveNodeData(const std::string& name, const std::string& data, DOM_Node& parent, DOM_Document& doc)
{
    DOM_Element element;
    CreateNewElement(name, element, parent, doc);
    element.appendChild(doc.createTextNode(DOMString(data.c_str())));
}

void SaveDataToNode(const std::string& data, DOM_Node& node, DOM_Document& doc)
{
    // The text node is made first, before the children are looked at.
    const DOM_Text text = doc.createTextNode(DOMString(data.c_str()));
    for (DOM_Node child = node.getFirstChild(); !child.isNull(); child = child.getNextSibling()) {
        if (child.getNodeType() == DOM_Node::TEXT_NODE) {
            node.replaceChild(text, child);
            return;
        }
    }
    node.appendChild(text);
}

void SetNodeAttribute(const std::string& name, const std::string& value, DOM_Element& element)
{
    element.setAttribute(DOMString(name.c_str()), DOMString(value.c_str()));
}
