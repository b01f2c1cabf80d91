// SPDX-License-Identifier: Apache-2.0
// The Base64 codec written out step by step, to check the library against.
//
// A plain transcription of the documented algorithms: a linear search of the
// alphabet, the three byte formulas, the count rule of a group that ends in a
// pad, the capacity tests. It writes without any bound, so callers give it a
// scratch buffer large enough for every write: 4 * ceil(n / 3) + 5 bytes
// beyond the capacity for encoding, 3 * ceil(n / 4) + 1 for decoding.
//
// Shared by the unit tests and the Base64 fuzz target, so that both hold the
// library to the same oracle.
#ifndef XMLUTIL_BASE64_REFERENCE_H
#define XMLUTIL_BASE64_REFERENCE_H

#include <algorithm>

namespace base64_reference {

inline constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
// The value the library gives a character outside the alphabet (xmlutil.h).
inline constexpr int kOutsideAlphabet = 0;

// The position of `ch` in the alphabet string, its terminator included, so a
// zero byte finds 65.
inline int search_alphabet(unsigned char ch)
{
    for (int position = 0; position <= 65; ++position) {
        if (static_cast<unsigned char>(kAlphabet[position]) == ch)
            return position;
    }
    return kOutsideAlphabet;
}

// The search's answer for every byte, found once by the search itself: the
// exhaustive loops of the tests run it tens of millions of times.
struct SearchResults {
    int value[256];
    SearchResults()
    {
        for (int byte = 0; byte < 256; ++byte)
            value[byte] = search_alphabet(static_cast<unsigned char>(byte));
    }
};

inline int alphabet_value(unsigned char ch)
{
    static const SearchResults results;
    return results.value[ch];
}

inline int reference_encode(const unsigned char* input, int length, char* output, int& size)
{
    if (size < length)
        return -1;
    if (length == 0) {
        output[0] = '\0';
        size = 0;
        return 0;
    }
    int k = 0;
    for (int i = 0; i < length; i += 3) {
        const int bytes = std::min(3, length - i);
        const int first = input[i];
        const int second = bytes > 1 ? input[i + 1] : 0;
        const int third = bytes > 2 ? input[i + 2] : 0;
        output[k++] = kAlphabet[first >> 2];
        output[k++] = kAlphabet[((first & 0x03) << 4) | (second >> 4)];
        output[k++] = bytes > 1 ? kAlphabet[((second & 0x0F) << 2) | (third >> 6)] : kAlphabet[64];
        output[k++] = bytes > 2 ? kAlphabet[third & 0x3F] : kAlphabet[64];
        if (size < k + 5) {
            output[k] = '\0';
            return -1;
        }
    }
    output[k] = '\0';
    size = k;
    return 0;
}

inline int reference_decode(const unsigned char* input, int length, char* output, int& size)
{
    if (size < length)
        return -1;
    if (length == 0) {
        output[0] = '\0';
        size = 0;
        return 0;
    }
    int position = 0;
    for (int i = 0; i < length; i += 4) {
        int c[4];
        for (int j = 0; j < 4; ++j)
            c[j] = i + j < length ? alphabet_value(input[i + j]) : 64;
        const int byte0 = (c[0] * 4 | (c[1] != 64 ? c[1] >> 4 : 0)) & 0xFF;
        const int byte1 = ((c[1] != 64 ? c[1] * 16 : 0) | (c[2] != 64 ? c[2] >> 2 : 0)) & 0xFF;
        const int byte2 = ((c[3] != 64 ? c[3] : 0) | (c[2] != 64 ? c[2] * 64 : 0)) & 0xFF;
        output[position] = static_cast<char>(byte0);
        output[position + 1] = static_cast<char>(byte1);
        output[position + 2] = static_cast<char>(byte2);
        int count = 3;
        if (c[3] == 64) {
            if (byte0 == 0)
                count = 0;
            else if (byte1 == 0)
                count = 1;
            else if (byte2 == 0)
                count = 2;
        }
        position += count;
    }
    output[position] = '\0';
    size = position;
    return 0;
}

} // namespace base64_reference

#endif // XMLUTIL_BASE64_REFERENCE_H
