// SPDX-License-Identifier: Apache-2.0
// The start-to-finish program on the library: parse a configuration file
// and print one value. bench_startup runs it over and over.
#include "xmlutil.h"

#include <iostream>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: startup_xmlutil <config.xml>\n";
        return 2;
    }
    try {
        cXML_Utility xml(0);
        xml.Parse(std::string(argv[1]));
        std::string value;
        if (!xml.ActivateNode("section3") || !xml.ReadNodeDataFrom("key7", value, ""))
            return 1;
        std::cout << value << '\n';
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return 1;
    }
    return 0;
}
