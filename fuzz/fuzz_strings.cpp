// SPDX-License-Identifier: Apache-2.0
// The string helpers (Trim, TrimLeft, TrimRight, FindAndRepleace) and the
// writer's escaping (outputContent) against plain versions written here from
// their documented rules.
//
// Input: byte 0 is the byte to replace, byte 1 the replacement's length (mod
// 8), and the low bit of byte 2 chooses how outputContent gets the text (set:
// as UTF-16LE, so characters above U+00FF and surrogates occur; clear: byte
// by byte). Then the replacement, then the text. Trimming is also tried on
// the whole input.
//
// White space is the library's rule: bytes 0x09-0x0D and 0x20 always, bytes
// above 0x7F as the current locale's isspace says. The locale comes from the
// environment (LC_ALL or LC_CTYPE), so a run under a locale that marks 0xA0 as
// space checks that branch too.

#include "xmlutil.h"

#include <cctype>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

constexpr std::size_t kMaxInput = 4096;

[[noreturn]] void fail(const char* what, const std::string& text)
{
    std::fprintf(stderr, "fuzz_strings: %s (text of %zu bytes)\n", what, text.size());
    std::abort();
}

bool is_space(unsigned char byte)
{
    if (byte < 0x80)
        return byte == 0x20 || (byte >= 0x09 && byte <= 0x0D);
    return std::isspace(byte) != 0;
}

std::string trim_left(const std::string& text)
{
    std::size_t begin = 0;
    while (begin < text.size() && is_space(static_cast<unsigned char>(text[begin])))
        ++begin;
    return text.substr(begin);
}

std::string trim_right(const std::string& text)
{
    std::size_t end = text.size();
    while (end > 0 && is_space(static_cast<unsigned char>(text[end - 1])))
        --end;
    return text.substr(0, end);
}

// Every occurrence replaced, except in the one case the library keeps on
// purpose: with an empty replacement, occurrences that all stand in one run
// at the very start of the text are not removed.
std::string find_and_replace(const std::string& text, char ch, const std::string& replacement)
{
    const std::size_t first_other = text.find_first_not_of(ch);
    const bool only_leading_run =
        first_other == std::string::npos || text.find(ch, first_other) == std::string::npos;
    if (text.find(ch) == std::string::npos || (replacement.empty() && only_leading_run))
        return text;
    std::string out;
    for (char byte : text) {
        if (byte == ch)
            out += replacement;
        else
            out += byte;
    }
    return out;
}

void check_trim(const std::string& text)
{
    std::string left = text;
    TrimLeft(left);
    if (left != trim_left(text))
        fail("TrimLeft", text);
    std::string right = text;
    TrimRight(right);
    if (right != trim_right(text))
        fail("TrimRight", text);
    std::string both = text;
    Trim(both);
    if (both != trim_right(trim_left(text)))
        fail("Trim", text);
}

// What outputContent writes with `clean`: nothing for an empty text, one
// end-of-line for white space only, otherwise the trimmed text with & < > "
// and the seven German letters as references and every character above
// U+00FF as a decimal reference ('?' for half a surrogate pair). The text
// ends at its first zero character, as the conversion to bytes ends there.
std::string clean_content(const std::u16string& text)
{
    const std::size_t length = text.find(u'\0') == std::u16string::npos ? text.size() : text.find(u'\0');
    if (length == 0)
        return "";
    auto space = [](char16_t ch) { return ch <= 0xFF && is_space(static_cast<unsigned char>(ch)); };
    std::size_t begin = 0;
    std::size_t end = length;
    while (begin < end && space(text[begin]))
        ++begin;
    if (begin == end)
        return "\n";
    while (space(text[end - 1]))
        --end;
    std::string out;
    for (std::size_t i = begin; i < end; ++i) {
        const char16_t ch = text[i];
        switch (ch) {
        case 0x26: out += "&amp;"; continue;
        case 0x3C: out += "&lt;"; continue;
        case 0x3E: out += "&gt;"; continue;
        case 0x22: out += "&quot;"; continue;
        case 0xE4: out += "&#228;"; continue;
        case 0xF6: out += "&#246;"; continue;
        case 0xFC: out += "&#252;"; continue;
        case 0xC4: out += "&#196;"; continue;
        case 0xD6: out += "&#214;"; continue;
        case 0xDC: out += "&#220;"; continue;
        case 0xDF: out += "&#223;"; continue;
        default: break;
        }
        if (ch <= 0xFF) {
            out += static_cast<char>(ch);
            continue;
        }
        unsigned long code = ch;
        const bool high = ch >= 0xD800 && ch <= 0xDBFF;
        const bool low = ch >= 0xDC00 && ch <= 0xDFFF;
        if (high && i + 1 < end && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (high || low) {
            out += '?';
            continue;
        }
        out += "&#" + std::to_string(code) + ";";
    }
    return out;
}

// What outputContent writes without `clean`: the 8-bit form, '?' for each
// character above U+00FF (a surrogate pair is one character).
std::string plain_content(const std::u16string& text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size() && text[i] != 0; ++i) {
        const char16_t ch = text[i];
        if (ch <= 0xFF) {
            out += static_cast<char>(ch);
            continue;
        }
        if (ch >= 0xD800 && ch <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF)
            ++i;
        out += '?';
    }
    return out;
}

void check_output_content(const std::string& bytes, bool wide)
{
    std::u16string text;
    if (wide) {
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
            text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                          static_cast<unsigned char>(bytes[i + 1]) << 8);
    } else {
        for (char byte : bytes)
            text += static_cast<char16_t>(static_cast<unsigned char>(byte));
    }
    const DOMString value(text.c_str(), static_cast<unsigned int>(text.size()));

    std::ostringstream clean;
    outputContent(clean, value, true);
    if (clean.str() != clean_content(text))
        fail("outputContent(clean)", bytes);

    std::ostringstream plain;
    outputContent(plain, value, false);
    if (plain.str() != plain_content(text))
        fail("outputContent(as it is)", bytes);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    std::setlocale(LC_CTYPE, "");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kMaxInput)
        return -1; // not added to the corpus
    const std::string input(reinterpret_cast<const char*>(data), size);
    check_trim(input);
    if (size < 3)
        return 0;

    const char ch = input[0];
    const std::size_t replacement_length = static_cast<unsigned char>(input[1]) % 8;
    const bool wide = (static_cast<unsigned char>(input[2]) & 1) != 0;
    const std::string replacement = input.substr(3, replacement_length);
    const std::string text = input.size() > 3 + replacement_length ? input.substr(3 + replacement_length) : "";

    check_trim(text);

    std::string replaced = text;
    FindAndRepleace(replaced, ch, replacement);
    if (replaced != find_and_replace(text, ch, replacement))
        fail("FindAndRepleace", text);

    check_output_content(text, wide);
    return 0;
}
