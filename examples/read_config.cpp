// Reads a configuration file and prints the values found in it, with the
// defaults used for the keys it does not have.
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
        DOM_Document doc = ParseFile(file, false);
        DOM_Node root = doc.getDocumentElement();

        DOM_Node database = GetNodeByName(root, "database");
        std::string value;
        print("database.host", ReadNodeData(database, "host", value, "localhost"), value);
        print("database.port", ReadNodeData(database, "port", value, "5432"), value);
        print("database.user", ReadNodeData(database, "user", value, "guest"), value);
        std::string role;
        if (GetNamedAttributeValue(GetNodeByName(database, "user"), "role", role))
            std::cout << "database.user.role = " << role << '\n';

        DOM_Node logging = GetNodeByName(root, "logging");
        const bool hasLevel = GetNamedAttributeValue(logging, "level", value);
        print("logging.level", hasLevel, hasLevel ? value : "warning");
        print("logging.file", ReadNodeData(logging, "file", value, "/dev/stderr"), value);
        print("logging.rotate", ReadNodeData(logging, "rotate", value, "daily"), value);

        for (cNodeIterator it(GetNodeByName(root, "servers"), "server"); it != DOM_Node(); ++it) {
            std::string name, weight;
            GetNamedAttributeValue(*it, "name", name);
            GetNamedAttributeValue(*it, "weight", weight);
            std::cout << "server " << name << " weight " << weight << '\n';
        }
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    } catch (const DOM_DOMException& e) {
        std::cerr << "error: " << e.msg << '\n';
        return 1;
    }
    return 0;
}
