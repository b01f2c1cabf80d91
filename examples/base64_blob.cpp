// SPDX-License-Identifier: Apache-2.0
// Keeps binary data in the text of an element with Base64: encodes the
// bytes, saves the document to a file, reads it back and decodes them.
//
//   base64_blob [file.xml]         (default: blob.xml)
#include "xmlutil.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

namespace {

void print_hex(const char* label, const std::vector<char>& bytes)
{
    char hex[4];
    std::cout << label;
    for (char b : bytes) {
        std::snprintf(hex, sizeof hex, " %02x", static_cast<unsigned char>(b)); // char may be signed
        std::cout << hex;
    }
    std::cout << '\n';
}

} // namespace

int main(int argc, char** argv)
{
    const std::string file = argc > 1 ? argv[1] : "blob.xml";
    const std::vector<char> blob = {'\xde', '\xad', '\xbe', '\xef', '\x00', '\x7f', '\x80', '\xff', '\x00', '\x00'};
    print_hex("blob:", blob);
    try {
        // The decoder drops the zero bytes of a last group that ends in "=".
        // Padded to a multiple of three bytes, the text has no "=" and every
        // byte comes back; the true size travels in an attribute.
        std::vector<char> padded = blob;
        padded.resize((blob.size() + 2) / 3 * 3, '\0');
        std::string text;
        ConvertBinaryToBase64(padded.data(), static_cast<int>(padded.size()), text);

        cXML_Utility out(1);
        out.CreateDocument("firmware");
        out.CreateAndActivateNewElement("image");
        out.SaveNodeAttribute("size", std::to_string(blob.size()));
        out.SaveDataToNode(text);
        out.SaveToStream(std::cout);
        out.SaveToFile(file);

        cXML_Utility in(0);
        in.Parse(file);
        std::string stored, size;
        if (!in.ActivateNode("image") || !in.ReadNodeData(stored, "") || !in.ReadNodeAttribute("size", size, "")) {
            std::cerr << "error: no image in " << file << '\n';
            return 1;
        }
        Trim(stored); // the decoder skips nothing, not even a line break

        // In: the capacity, at least the text's length. Out: the bytes decoded.
        std::vector<char> buffer(stored.size() + 1);
        int count = static_cast<int>(buffer.size());
        if (!ConvertBase64ToBinary(stored, buffer.data(), count) || count < std::stoi(size)) {
            std::cerr << "error: cannot decode the image\n";
            return 1;
        }
        buffer.resize(std::stoi(size));
        print_hex("read back:", buffer);
        std::cout << (buffer == blob ? "identical" : "DIFFERENT") << '\n';

        // Without the padding the rule bites: 41 00 comes back as 41 alone.
        char pair[] = {'A', '\0'};
        ConvertBinaryToBase64(pair, 2, text);
        count = static_cast<int>(buffer.size());
        ConvertBase64ToBinary(text, buffer.data(), count);
        std::cout << "41 00 as " << text << " decodes to " << count << " byte(s)\n";
        return 0;
    } catch (const std::exception& e) { // cTextException from Parse, or a bad size
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
}
