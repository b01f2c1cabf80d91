// SPDX-License-Identifier: Apache-2.0
// Uses the facade of the installed library: builds a document, writes it,
// reads it back from memory and walks its items.
#include <xmlutil.h>

#include <iostream>
#include <sstream>
#include <string>

static_assert(__cplusplus >= 201703L, "linking xmlutil::xmlutil brings C++17");

int main()
{
    try {
        cXML_Utility out(1);
        out.CreateDocument("inventory");
        out.SaveNodeAttribute("owner", "Fish & Chips");
        const char* const items[][2] = {{"bolt", "12"}, {"nut", "40"}};
        for (const auto& entry : items) {
            cXML_Utility item = out.CreateNewElement("item");
            item.SaveNodeAttribute("name", entry[0]);
            item.SaveDataToNode(entry[1]);
        }
        std::ostringstream text;
        out.SaveToStream(text);
        std::cout << text.str();

        const std::string xml = text.str();
        cXML_Utility in(0);
        in.Parse(xml.data(), static_cast<unsigned int>(xml.size()));
        std::string owner;
        in.ReadNodeAttribute("owner", owner, "nobody");
        std::cout << "owner: " << owner << '\n';
        for (cXMLiterator it = in.CreateIterator("item"); !it.end(); ++it) {
            cXML_Utility item = *it;
            std::string name, count;
            item.ReadNodeAttribute("name", name, "?");
            item.ReadNodeData(count, "0");
            std::cout << name << ": " << count << '\n';
        }
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
