// SPDX-License-Identifier: Apache-2.0
// Builds a new configuration with cXML_Utility (sections, values, attributes
// and a list of entries) and saves it to a file.
//
//   write_config [file.xml]        (default: new-config.xml)
#include "xmlutil.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv)
{
    const std::string file = argc > 1 ? argv[1] : "new-config.xml";
    try {
        cXML_Utility config(1); // mode 1: create a new document
        config.CreateDocument("configuration");
        config.SaveNodeAttribute("version", "2");

        // CreateAndActivateNewElement steps into the new element, so what
        // follows goes inside it; DeactivateNode steps back out.
        config.CreateAndActivateNewElement("database");
        config.SaveNodeData("host", "db.example.local"); // <host>db.example.local</host>
        config.SaveNodeData("port", "5432");
        config.CreateAndActivateNewElement("user");
        config.SaveNodeAttribute("role", "reader");
        config.SaveDataToNode("report"); // text of <user> itself
        config.DeactivateNode();         // back in <database>
        config.DeactivateNode();         // back in <configuration>

        // CreateNewElement returns a facade on the new element and leaves
        // `config` where it is: handy for filling a list.
        cXML_Utility servers = config.CreateNewElement("servers");
        const char* const names[] = {"alpha", "beta", "gamma"};
        for (int i = 0; i < 3; ++i) {
            cXML_Utility server = servers.CreateNewElement("server");
            server.SaveNodeAttribute("name", names[i]);
            server.SaveNodeAttribute("weight", std::to_string(3 - i));
        }

        // Text goes in as ISO-8859-1 bytes and is escaped on the way out:
        // "&" becomes &amp; and the a-umlaut (byte 0xE4) &#228;.
        config.SaveNodeData("motd", "Fish & Chips, K\xE4se on Fridays");

        // SaveToFile reports nothing, not even a file it could not write,
        // so look for the file afterwards.
        std::remove(file.c_str());
        config.SaveToFile(file);
        if (!std::ifstream(file)) {
            std::cerr << "error: could not write " << file << '\n';
            return 1;
        }
        std::cout << "wrote " << file << '\n';
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    } catch (const DOM_DOMException& e) { // an invalid element name, for one
        std::cerr << "error: " << e.msg << '\n';
        return 1;
    }
    return 0;
}
