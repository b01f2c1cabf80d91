// SPDX-License-Identifier: Apache-2.0
// The tool's Base64 (RFC 4648, standard alphabet, "=" padding), fed in pieces
// of any size. Unlike the library's codec it keeps every byte string whole.
#ifndef XMLUTIL_TOOLS_BASE64_CODEC_H
#define XMLUTIL_TOOLS_BASE64_CODEC_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace xmlutil_cli {

// Writes the text in lines of `line_length` characters (0: one line), each
// ended by a newline, as base64(1) does; no text at all for no bytes.
class base64_encoder {
public:
    explicit base64_encoder(std::size_t line_length = 76) : fLineLength(line_length) {}

    // Appends the text of `size` more bytes to `out`.
    void update(const unsigned char* data, std::size_t size, std::string& out);
    // Appends the last group, padded, and the final newline.
    void finish(std::string& out);

private:
    void put(char c, std::string& out);

    std::size_t fLineLength;
    std::size_t fColumn = 0;
    unsigned char fHeld[2] = {0, 0};
    std::size_t fHeldCount = 0;
    bool fAny = false;
};

// Bad Base64 text; what() names the offending byte and its offset.
class base64_error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Skips white space anywhere; anything else outside the alphabet, a "="
// anywhere but in the last two places of the last group, and text after the
// padding are errors.
class base64_decoder {
public:
    // Appends the bytes of `size` more characters to `out`; throws
    // base64_error at the first bad byte.
    void update(const char* text, std::size_t size, std::string& out);
    // Throws base64_error when the text stopped inside a group.
    void finish();

private:
    [[noreturn]] void fail(const std::string& what, unsigned char c) const;

    unsigned char fGroup[4] = {0, 0, 0, 0};
    std::size_t fCount = 0;   // characters of the current group
    std::size_t fPadding = 0; // "=" in the current group
    bool fEnded = false;      // a padded group was completed
    unsigned long long fOffset = 0;     // of the next byte of text
    unsigned long long fGroupStart = 0; // of the current group's first character
};

} // namespace xmlutil_cli

#endif
