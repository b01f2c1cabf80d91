// SPDX-License-Identifier: Apache-2.0
// The example of README.md, which holds the lines between the tags verbatim
// (the test readme_example_is_current compares them). Run on a copy of
// data/sample-config.xml, twice: both runs print the same, and the second
// leaves the file as the first saved it.
//
//   readme [config.xml]
// tag::readme[]
#include "xmlutil.h"
#include <iostream>

int main(int argc, char** argv)
{
    const std::string file = argc > 1 ? argv[1] : "config.xml";
    try {
        cXML_Utility config(0);                                  // mode 0: parse
        config.Parse(file);
        std::string host, name;
        if (config.ActivateNode("database")) {                   // step into <database>
            config.ReadNodeDataFrom("host", host, "localhost");  // default when missing
            config.SaveNodeAttribute("checked", "yes");          // set, or replaced: never twice
            config.DeactivateNode();                             // back to the root
        }
        std::cout << "host " << host << '\n';
        cXML_Utility servers = config.GetNodeByName("servers");
        for (cXMLiterator it = servers.CreateIterator("server"); !it.end(); ++it) {
            (*it).ReadNodeAttribute("name", name, "?");          // (*it), not it->
            std::cout << "server " << name << '\n';
        }
        config.SaveToFile(file);
    } catch (const cTextException& e) {                          // every parser report ends up here
        std::cerr << e.what();
        return 1;
    }
}
// end::readme[]
