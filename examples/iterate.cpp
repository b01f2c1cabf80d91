// SPDX-License-Identifier: Apache-2.0
// Walks repeated elements with cXMLiterator: every <server> of a cluster,
// with its attributes and child values, then every child element at all.
#include "xmlutil.h"

#include <iostream>
#include <string>

namespace {

const char cluster[] = R"(<cluster name="web">
    <server name="alpha" weight="3"><address>10.0.0.1</address></server>
    <server name="beta"><address>10.0.0.2</address></server>
    <backup>10.0.0.9</backup>
    <!-- gamma was retired -->
    <server name="delta" weight="2"/>
</cluster>
)";

} // namespace

int main()
{
    try {
        cXML_Utility xml(0); // mode 0: parse
        xml.Parse(cluster, sizeof cluster - 1);

        // Test for the end with end(). Iterators compare equal only when
        // both are at their end, so `it != other` says nothing about where
        // an iterator stands.
        int total = 0;
        for (cXMLiterator it = xml.CreateIterator("server"); !it.end(); ++it) {
            cXML_Utility server = *it; // a facade standing on this <server>
            std::string name, weight, address;
            server.ReadNodeAttribute("name", name, "?");
            const bool weighted = server.ReadNodeAttribute("weight", weight, "1");
            server.ReadNodeDataFrom("address", address, "(no address)");
            std::cout << name << ": " << address << ", weight " << weight << (weighted ? "" : " (default)")
                      << '\n';
            total += std::stoi(weight);

            // The facade shares the document: this attribute is in `xml` too.
            server.SaveNodeAttribute("seen", "yes");
        }
        std::cout << "total weight: " << total << '\n';

        // The empty name visits every child element; text and comments are
        // skipped.
        std::cout << "children of " << xml.GetNodeName() << ':';
        for (cXMLiterator it = xml.CreateIterator(""); !it.end(); ++it)
            std::cout << ' ' << (*it).GetNodeName();
        std::cout << "\n\n";

        xml.SaveToStream(std::cout);
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
