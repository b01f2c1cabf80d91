// SPDX-License-Identifier: Apache-2.0
// Reads a configuration file through cXML_Utility, prints the values found
// in it (with defaults for the keys it lacks), changes one value, adds a
// section, and prints the resulting document.
//
//   read_config [file.xml]
#include "xmlutil.h"

#include <iostream>
#include <string>

namespace {

void print(const std::string& key, bool found, const std::string& value)
{
    std::cout << key << " = " << value << (found ? "" : " (default)") << '\n';
}

} // namespace

int main(int argc, char** argv)
{
    const std::string file = argc > 1 ? argv[1] : XMLUTIL_EXAMPLE_CONFIG;
    try {
        cXML_Utility config(0); // mode 0: parse
        config.Parse(file);

        std::string value;
        if (config.ActivateNode("database")) {
            print("database.host", config.ReadNodeDataFrom("host", value, "localhost"), value);
            print("database.port", config.ReadNodeDataFrom("port", value, "5432"), value);
            print("database.timeout", config.ReadNodeDataFrom("timeout", value, "30"), value);
            config.DeactivateNode();
        }
        if (config.ActivateNode("logging")) {
            print("logging.level", config.ReadNodeAttribute("level", value, "warning"), value);
            print("logging.file", ReadNodeData(config, "file", value, "/dev/stderr"), value);
            config.DeactivateNode();
        }

        cXML_Utility servers = config.GetNodeByName("servers");
        for (cXMLiterator it = servers.CreateIterator("server"); !it.end(); ++it) {
            cXML_Utility server = *it;
            std::string name, weight;
            server.ReadNodeAttribute("name", name, "?");
            server.ReadNodeAttribute("weight", weight, "1");
            std::cout << "server " << name << " weight " << weight << '\n';
        }

        // Change a value and add a section; the facades share one document.
        cXML_Utility port = config.GetNodeByName("database").GetNodeByName("port");
        port.SaveDataToNode("6543");
        config.CreateAndActivateNewElement("cache");
        config.SaveNodeAttribute("enabled", "yes");
        config.SaveNodeData("size", "64 MiB");
        config.DeactivateNode();

        std::cout << '\n';
        config.SaveToStream(std::cout);
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    } catch (const DOM_DOMException& e) {
        std::cerr << "error: " << e.msg << '\n';
        return 1;
    }
    return 0;
}
