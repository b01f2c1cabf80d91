// SPDX-License-Identifier: Apache-2.0
// The Base64 codec and its string conversions against the step-by-step
// transcription in tests/base64_reference.h. The input is the payload for
// both directions: it is encoded as bytes and decoded as text. Capacities
// are the edges of each capacity rule plus one picked by a hash of the
// input. Output buffers are allocated with exactly the capacity, so any
// write past it is an AddressSanitizer report.

#include "xmlutil.h"

#include "base64_reference.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using base64_reference::reference_decode;
using base64_reference::reference_encode;

namespace {

// Long inputs add nothing the codec has not seen in shorter ones.
constexpr std::size_t kMaxInput = 16 * 1024;

[[noreturn]] void fail(const char* what, int length, int capacity)
{
    std::fprintf(stderr, "fuzz_base64: %s (input length %d, capacity %d)\n", what, length, capacity);
    std::abort();
}

// What a buffer holds before a call, so that a missing or an extra write
// within the capacity shows.
char fill_byte(std::size_t i)
{
    return static_cast<char>(0xA5 ^ (i * 29));
}

std::unique_ptr<char[]> exact_buffer(int capacity)
{
    const auto size = static_cast<std::size_t>(capacity > 0 ? capacity : 0);
    std::unique_ptr<char[]> buffer(new char[size]);
    for (std::size_t i = 0; i < size; ++i)
        buffer[i] = fill_byte(i);
    return buffer;
}

using Codec = int (*)(char*, int, char*, int&);
using Reference = int (*)(const unsigned char*, int, char*, int&);

// Runs the library and the transcription with one capacity. They must agree
// on the result, the length, every byte within the capacity, and the input
// must be left alone. `writes` is how far past the capacity the
// transcription may write.
void agree(Codec codec, Reference reference, const std::vector<char>& input, int capacity, int writes)
{
    const int length = static_cast<int>(input.size());
    // A copy in an exact allocation: the codec must not read past it either.
    std::unique_ptr<char[]> in(new char[input.size()]);
    if (!input.empty())
        std::memcpy(in.get(), input.data(), input.size());

    std::unique_ptr<char[]> out = exact_buffer(capacity);
    int size = capacity;
    const int result = codec(in.get(), length, out.get(), size);

    const auto room = static_cast<std::size_t>(capacity > 0 ? capacity : 0);
    std::vector<char> expected(room + static_cast<std::size_t>(writes));
    for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i] = fill_byte(i);
    int expected_size = capacity;
    const int expected_result =
        reference(reinterpret_cast<const unsigned char*>(input.data()), length, expected.data(), expected_size);

    if (result != expected_result)
        fail("result differs from the transcription", length, capacity);
    if (size != expected_size)
        fail("length differs from the transcription", length, capacity);
    if (room && std::memcmp(out.get(), expected.data(), room) != 0)
        fail("buffer differs from the transcription", length, capacity);
    if (!input.empty() && std::memcmp(in.get(), input.data(), input.size()) != 0)
        fail("input was changed", length, capacity);
}

std::uint32_t hash(const std::uint8_t* data, std::size_t size)
{
    std::uint32_t h = 2166136261u;
    for (std::size_t i = 0; i < size; ++i)
        h = (h ^ data[i]) * 16777619u;
    return h;
}

// The capacities worth trying for an input of `length` that needs `need`
// bytes: the small ones (where the first group of the encoder would run
// past the buffer), both sides of the length test and of the need, and one
// chosen by the input.
std::vector<int> capacities(int length, int need, std::uint32_t pick)
{
    std::vector<int> out = {-1, 0, 1, 2, 3, 4, 5, length - 1, length, length + 1, need - 1, need, need + 1};
    out.push_back(static_cast<int>(pick % static_cast<std::uint32_t>(need + 9)));
    return out;
}

// The transcription's decoding into an unbounded buffer, as a string up to
// the first zero byte: what ConvertBase64ToString gives.
std::string decoded_text(const std::vector<char>& text)
{
    const int length = static_cast<int>(text.size());
    std::vector<char> buffer(static_cast<std::size_t>(3 * ((length + 3) / 4) + 1));
    int size = length;
    reference_decode(reinterpret_cast<const unsigned char*>(text.data()), length, buffer.data(), size);
    return std::string(buffer.data());
}

std::string encoded_text(const std::vector<char>& bytes)
{
    const int length = static_cast<int>(bytes.size());
    std::vector<char> buffer(static_cast<std::size_t>(4 * ((length + 2) / 3) + 5));
    int size = static_cast<int>(buffer.size());
    if (reference_encode(reinterpret_cast<const unsigned char*>(bytes.data()), length, buffer.data(), size) != 0)
        fail("transcription failed with ample room", length, static_cast<int>(buffer.size()));
    return std::string(buffer.data(), static_cast<std::size_t>(size));
}

void check_conversions(const std::vector<char>& payload, std::uint32_t pick)
{
    const int length = static_cast<int>(payload.size());
    const std::string bytes(payload.begin(), payload.end());
    const std::string encoded = encoded_text(payload);

    std::string text = bytes;
    if (!ConvertStringToBase64(text) || text != encoded)
        fail("ConvertStringToBase64 differs from the transcription", length, -1);

    // Encoding and decoding give back the string up to its first zero byte.
    if (!ConvertBase64ToString(text) || text != std::string(bytes.c_str()))
        fail("ConvertBase64ToString does not undo ConvertStringToBase64", length, -1);

    std::unique_ptr<char[]> data(new char[payload.size()]);
    if (!payload.empty())
        std::memcpy(data.get(), payload.data(), payload.size());
    text = "unchanged";
    if (!ConvertBinaryToBase64(data.get(), length, text) || text != encoded)
        fail("ConvertBinaryToBase64 differs from the transcription", length, -1);
    if (length > 0) {
        // A negative count fails and leaves the text alone.
        text = "unchanged";
        if (ConvertBinaryToBase64(data.get(), -static_cast<int>(pick % 3 + 1), text) || text != "unchanged")
            fail("ConvertBinaryToBase64 with a negative count", length, -1);
    }

    text = bytes;
    if (!ConvertBase64ToString(text) || text != decoded_text(payload))
        fail("ConvertBase64ToString differs from the transcription", length, -1);

    // Decoding into a caller's buffer: zero-filled over its capacity, then
    // what the decoder writes within it.
    const int need = 3 * ((length + 3) / 4) + 1;
    for (int capacity : {length, length + 1, need, static_cast<int>(pick % static_cast<std::uint32_t>(need + 4))}) {
        if (capacity < 0)
            continue;
        std::unique_ptr<char[]> buffer = exact_buffer(capacity);
        int size = capacity;
        const bool ok = ConvertBase64ToBinary(bytes, buffer.get(), size);

        std::vector<char> expected(static_cast<std::size_t>(capacity + need), '\0');
        int expected_size = capacity;
        const int expected_result = reference_decode(reinterpret_cast<const unsigned char*>(payload.data()), length,
                                                     expected.data(), expected_size);
        if (ok != (expected_result == 0) || size != expected_size)
            fail("ConvertBase64ToBinary result differs from the transcription", length, capacity);
        if (capacity && std::memcmp(buffer.get(), expected.data(), static_cast<std::size_t>(capacity)) != 0)
            fail("ConvertBase64ToBinary buffer differs from the transcription", length, capacity);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > kMaxInput)
        return -1; // not added to the corpus
    const std::vector<char> payload(data, data + size);
    const int length = static_cast<int>(size);
    const std::uint32_t pick = hash(data, size);

    const int encode_need = 4 * ((length + 2) / 3) + 5;
    for (int capacity : capacities(length, encode_need, pick))
        agree(Base64Encode, reference_encode, payload, capacity, encode_need);

    const int decode_need = 3 * ((length + 3) / 4) + 1;
    for (int capacity : capacities(length, decode_need, pick >> 8))
        agree(Base64Decode, reference_decode, payload, capacity, decode_need);

    check_conversions(payload, pick >> 16);
    return 0;
}
