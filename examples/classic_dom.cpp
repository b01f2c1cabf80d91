// SPDX-License-Identifier: Apache-2.0
// Works with the classic DOM handles directly: parses with DOMParser, lists
// elements with DOM_NodeList, edits the tree through DOM_Element and
// DOM_Document, and writes it with the library's writer.
#include "xmlutil.h"

#include <iostream>

namespace {

const char list[] = R"(<list>
  <item n="1">one</item>
  <item n="2" obsolete="yes">two</item>
  <item n="3">three &amp; more</item>
</list>
)";

} // namespace

int main()
{
    try {
        DOMParser parser;
        XMLUtilError handler; // every report of the parser becomes a cTextException
        parser.setErrorHandler(&handler);
        MemBufInputSource source(reinterpret_cast<const XMLByte*>(list), sizeof list - 1, "list", false);
        parser.parse(source);
        DOM_Document doc = parser.getDocument(); // stays valid after the parser is gone

        // Handles are values: copy them freely, the document counts them.
        DOM_NodeList items = doc.getElementsByTagName("item");
        for (unsigned int i = 0; i < items.getLength(); ++i) {
            DOM_Node node = items.item(i);
            const DOM_Element& item = static_cast<const DOM_Element&>(node); // the classic downcast
            std::cout << item.getAttribute("n") << ": " << item.getFirstChild().getNodeValue() << '\n';
        }

        // Walk the children by hand. The list above is live, so removing
        // nodes while indexing it would skip some; siblings are safer.
        DOM_Element root = doc.getDocumentElement();
        for (DOM_Node child = root.getFirstChild(); !child.isNull();) {
            DOM_Node next = child.getNextSibling();
            if (child.getNodeType() == DOM_Node::ELEMENT_NODE &&
                static_cast<DOM_Element&>(child).getAttribute("obsolete").equals("yes"))
                root.removeChild(child);
            child = next;
        }

        // Edit: new text for the first item, a new item at the end.
        items.item(0).getFirstChild().setNodeValue("uno");
        DOM_Element added = doc.createElement("item");
        added.setAttribute("n", "4");
        added.appendChild(doc.createTextNode("four > three"));
        root.appendChild(added);

        // DOMString is 16-bit; DOM2STLstring gives a std::string. The list
        // `items` is live: it has followed the removal and the addition.
        const std::string name = DOM2STLstring(root.getTagName());
        std::cout << name << " has " << items.getLength() << " items now\n\n";
        std::cout << doc; // indented, escaped, with the XML declaration
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    } catch (const DOM_DOMException& e) {
        std::cerr << "DOM error " << e.code << ": " << e.msg << '\n';
        return 1;
    }
    return 0;
}
