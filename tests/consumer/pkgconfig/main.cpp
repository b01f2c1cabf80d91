// SPDX-License-Identifier: Apache-2.0
// Uses the installed library through the flags of pkg-config: the DOM-level
// functions, the classic handles and the Base64 conversions.
#include <xmlutil.h>

#include <cstring>
#include <iostream>
#include <string>

int main()
{
    const char xml[] = "<settings><colour>blue</colour><size unit=\"cm\">12</size></settings>";
    try {
        DOM_Document doc = ParseBuffer(xml, static_cast<unsigned int>(std::strlen(xml)), false);
        DOM_Element root = doc.getDocumentElement();
        std::cout << "root: " << root.getTagName() << '\n';

        std::string value;
        ReadNodeData(root, "colour", value, "none");
        std::cout << "colour: " << value << '\n';
        ReadNodeData(root, "shape", value, "none");
        std::cout << "shape: " << value << '\n';
        GetNamedAttributeValue(GetNodeByName(root, "size"), "unit", value);
        std::cout << "size unit: " << value << '\n';

        std::string encoded = "pkg-config";
        ConvertStringToBase64(encoded);
        std::cout << "base64: " << encoded << '\n';
        std::cout << DOM_Node(doc);
    } catch (const cTextException& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
