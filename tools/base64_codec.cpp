// SPDX-License-Identifier: Apache-2.0
#include "base64_codec.h"

#include <cstdio>

namespace xmlutil_cli {

namespace {

const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value of a character of the alphabet, -1 for any other byte.
int sextet(unsigned char c)
{
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    return -1;
}

bool is_space(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace

void base64_encoder::put(char c, std::string& out)
{
    out += c;
    fAny = true;
    if (fLineLength != 0 && ++fColumn == fLineLength) {
        out += '\n';
        fColumn = 0;
    }
}

void base64_encoder::update(const unsigned char* data, std::size_t size, std::string& out)
{
    std::size_t i = 0;
    // Complete a group begun by the last piece first.
    while (fHeldCount > 0 && fHeldCount < 3 && i < size) {
        if (fHeldCount == 2) {
            const unsigned char c = data[i++];
            put(alphabet[fHeld[0] >> 2], out);
            put(alphabet[((fHeld[0] & 0x03) << 4) | (fHeld[1] >> 4)], out);
            put(alphabet[((fHeld[1] & 0x0F) << 2) | (c >> 6)], out);
            put(alphabet[c & 0x3F], out);
            fHeldCount = 0;
            break;
        }
        fHeld[fHeldCount++] = data[i++];
    }
    for (; i + 3 <= size; i += 3) {
        const unsigned char a = data[i];
        const unsigned char b = data[i + 1];
        const unsigned char c = data[i + 2];
        put(alphabet[a >> 2], out);
        put(alphabet[((a & 0x03) << 4) | (b >> 4)], out);
        put(alphabet[((b & 0x0F) << 2) | (c >> 6)], out);
        put(alphabet[c & 0x3F], out);
    }
    for (; i < size; ++i) {
        fHeld[fHeldCount++] = data[i];
    }
}

void base64_encoder::finish(std::string& out)
{
    if (fHeldCount == 1) {
        put(alphabet[fHeld[0] >> 2], out);
        put(alphabet[(fHeld[0] & 0x03) << 4], out);
        put('=', out);
        put('=', out);
    } else if (fHeldCount == 2) {
        put(alphabet[fHeld[0] >> 2], out);
        put(alphabet[((fHeld[0] & 0x03) << 4) | (fHeld[1] >> 4)], out);
        put(alphabet[(fHeld[1] & 0x0F) << 2], out);
        put('=', out);
    }
    fHeldCount = 0;
    // A full last line has its newline already.
    if (fAny && (fLineLength == 0 || fColumn != 0)) {
        out += '\n';
    }
    fColumn = 0;
    fAny = false;
}

void base64_decoder::fail(const std::string& what, unsigned char c) const
{
    std::string shown;
    if (c > 0x20 && c < 0x7F) {
        shown = std::string("character '") + static_cast<char>(c) + "'";
    } else {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02X", c);
        shown = std::string("byte ") + hex;
    }
    throw base64_error(what + " " + shown + " at offset " + std::to_string(fOffset));
}

void base64_decoder::update(const char* text, std::size_t size, std::string& out)
{
    for (std::size_t i = 0; i < size; ++i, ++fOffset) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (is_space(c)) {
            continue;
        }
        if (fCount == 0) {
            fGroupStart = fOffset;
        }
        if (fEnded) {
            fail("text after the padding:", c);
        }
        if (c == '=') {
            // Only the last one or two places of a group may be padding.
            if (fCount < 2) {
                fail("misplaced padding", c);
            }
            ++fPadding;
            fGroup[fCount++] = 0;
        } else {
            const int value = sextet(c);
            if (value < 0) {
                fail("invalid", c);
            }
            if (fPadding > 0) {
                fail("text after the padding:", c);
            }
            fGroup[fCount++] = static_cast<unsigned char>(value);
        }
        if (fCount < 4) {
            continue;
        }
        out += static_cast<char>((fGroup[0] << 2) | (fGroup[1] >> 4));
        if (fPadding < 2) {
            out += static_cast<char>(((fGroup[1] & 0x0F) << 4) | (fGroup[2] >> 2));
        }
        if (fPadding < 1) {
            out += static_cast<char>(((fGroup[2] & 0x03) << 6) | fGroup[3]);
        }
        fEnded = fPadding > 0;
        fCount = 0;
        fPadding = 0;
    }
}

void base64_decoder::finish()
{
    if (fCount != 0) {
        throw base64_error("incomplete last group: " + std::to_string(fCount) + " of 4 characters from offset " +
                           std::to_string(fGroupStart));
    }
}

} // namespace xmlutil_cli
