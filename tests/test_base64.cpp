// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"
#include "base64_reference.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// The transcription of the codec that the library is checked against.
using base64_reference::kAlphabet;
using base64_reference::reference_decode;
using base64_reference::reference_encode;

// ---- Helpers ----

// A heap block of exactly the requested size, so the sanitizer reports any
// access past it.
class ExactBuffer {
public:
    explicit ExactBuffer(int size = 0) { resize(size); }
    void resize(int size)
    {
        size = std::max(size, 0);
        if (fData && size == fSize)
            return;
        fData.reset(new char[static_cast<std::size_t>(size)]);
        fSize = size;
    }
    void fill(char byte) { std::fill(fData.get(), fData.get() + fSize, byte); }
    char* data() { return fData.get(); }
    int size() const { return fSize; }
    std::string bytes() const { return std::string(fData.get(), static_cast<std::size_t>(fSize)); }

private:
    std::unique_ptr<char[]> fData;
    int fSize = 0;
};

// Bytes the codec did not write keep this mark; expected buffers below write
// it as '#'.
constexpr char kUntouched = '#';

std::string hex(const char* bytes, int length)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (int i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (i > 0)
            out += ' ';
        out += digits[byte >> 4];
        out += digits[byte & 0x0F];
    }
    return out;
}

std::string hex(const std::string& bytes)
{
    return hex(bytes.data(), static_cast<int>(bytes.size()));
}

struct Outcome {
    int result;
    int size;
    std::string buffer;
};

// Calls `codec` on a copy of `input` in an exact allocation, with an output
// block of exactly `capacity` bytes, all of them '#' beforehand.
template <typename Codec>
Outcome run(Codec codec, const std::string& input, int capacity)
{
    ExactBuffer in(static_cast<int>(input.size()));
    std::copy(input.begin(), input.end(), in.data());
    ExactBuffer out(capacity);
    out.fill(kUntouched);
    int size = capacity;
    const int result = codec(in.data(), static_cast<int>(input.size()), out.data(), size);
    EXPECT_EQ(hex(input), hex(in.bytes())) << "the input was changed";
    return Outcome{result, size, out.bytes()};
}

Outcome encode(const std::string& input, int capacity)
{
    return run(Base64Encode, input, capacity);
}

Outcome decode(const std::string& input, int capacity)
{
    return run(Base64Decode, input, capacity);
}

// What an output buffer holds before a call: a pattern that rarely matches
// what the codec writes there, so a missing or extra write shows.
const std::vector<char>& pattern()
{
    static const std::vector<char> bytes = [] {
        std::vector<char> out(1 << 16);
        for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = static_cast<char>(0xA5 ^ (i * 29));
        return out;
    }();
    return bytes;
}

// Runs the library and the transcription on the same input and capacity and
// counts the calls where they differ in result, length, bytes within the
// capacity, or the input afterwards; the first few are reported in full.
class Agreement {
public:
    enum Direction { encoding, decoding };

    explicit Agreement(Direction direction) : fDirection(direction) {}

    void check(const char* input, int length, int capacity)
    {
        fInput.resize(length);
        std::memcpy(fInput.data(), input, static_cast<std::size_t>(length));
        fOutput.resize(capacity);
        std::memcpy(fOutput.data(), pattern().data(), static_cast<std::size_t>(fOutput.size()));
        const int writes = fDirection == encoding ? 4 * ((length + 2) / 3) + 5 : 3 * ((length + 3) / 4) + 1;
        const auto scratch = static_cast<std::size_t>(std::max(capacity, 0) + writes);
        if (fScratch.size() < scratch)
            fScratch.resize(scratch);
        std::memcpy(fScratch.data(), pattern().data(), scratch);

        int size = capacity;
        int expected_size = capacity;
        const auto* bytes = reinterpret_cast<const unsigned char*>(input);
        int result;
        int expected_result;
        if (fDirection == encoding) {
            result = Base64Encode(fInput.data(), length, fOutput.data(), size);
            expected_result = reference_encode(bytes, length, fScratch.data(), expected_size);
        } else {
            result = Base64Decode(fInput.data(), length, fOutput.data(), size);
            expected_result = reference_decode(bytes, length, fScratch.data(), expected_size);
        }

        const auto written = static_cast<std::size_t>(fOutput.size());
        const bool same_bytes = std::memcmp(fOutput.data(), fScratch.data(), written) == 0;
        const bool same_input = std::memcmp(fInput.data(), input, static_cast<std::size_t>(length)) == 0;
        if (result == expected_result && size == expected_size && same_bytes && same_input)
            return;
        if (++fDisagreements > 5)
            return;
        ADD_FAILURE() << (fDirection == encoding ? "encoding" : "decoding") << " [" << hex(input, length)
                      << "] with capacity " << capacity << ": result " << result << " (expected "
                      << expected_result << "), length " << size << " (expected " << expected_size
                      << "), buffer [" << hex(fOutput.data(), fOutput.size()) << "] (expected ["
                      << hex(fScratch.data(), fOutput.size()) << "])" << (same_input ? "" : ", input changed");
    }

    int disagreements() const { return fDisagreements; }

private:
    Direction fDirection;
    ExactBuffer fInput;
    ExactBuffer fOutput;
    std::vector<char> fScratch;
    int fDisagreements = 0;
};

// The characters of the exhaustive decoder runs: the 64 digits, the pad, the
// zero byte, a blank, a line break and one byte outside ASCII.
std::string decoder_characters()
{
    std::string characters(kAlphabet, 65);
    characters += std::string(1, '\0');
    characters += " \n\xFF";
    return characters;
}

struct Vector {
    std::string bytes;
    std::string text;
};

// RFC 4648, section 10, and a few inputs with bytes above 0x7F and zero bytes.
const std::vector<Vector> kVectors = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"\xFB\xEF\xBE", "++++"},
    {"\xFF\xFF\xFF", "////"},
    {std::string("\0", 1), "AA=="},
    {std::string("\0\0\0", 3), "AAAA"},
    {std::string("a\0b", 3), "YQBi"},
};

} // namespace

// ---- Encoder ----

TEST(base64, encoder_writes_test_vectors_with_zero_byte)
{
    for (const Vector& row : kVectors) {
        const int length = static_cast<int>(row.text.size());
        const Outcome got = encode(row.bytes, length + 5);
        EXPECT_EQ(0, got.result) << row.text;
        EXPECT_EQ(length, got.size) << row.text;
        EXPECT_EQ(row.text + std::string(1, '\0') + "####", got.buffer) << row.text;
    }
}

TEST(base64, encoder_fails_without_four_spare_bytes_and_keeps_text)
{
    for (const Vector& row : kVectors) {
        if (row.bytes.empty())
            continue;
        const int length = static_cast<int>(row.text.size());
        for (int spare = 0; spare < 4; ++spare) {
            const int capacity = length + 1 + spare;
            const Outcome got = encode(row.bytes, capacity);
            EXPECT_EQ(-1, got.result) << row.text << " " << capacity;
            EXPECT_EQ(capacity, got.size) << row.text << " " << capacity;
            EXPECT_EQ(row.text + std::string(1, '\0') + std::string(static_cast<std::size_t>(spare), '#'),
                got.buffer)
                << row.text << " " << capacity;
        }
    }
}

TEST(base64, encoder_needs_capacity_nine_for_one_to_three_bytes)
{
    const struct {
        std::string bytes;
        std::string text;
    } rows[] = {{"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}};
    for (const auto& row : rows) {
        const Outcome short_of_one = encode(row.bytes, 8);
        EXPECT_EQ(-1, short_of_one.result);
        EXPECT_EQ(8, short_of_one.size);
        EXPECT_EQ(row.text + std::string(1, '\0') + "###", short_of_one.buffer);
        const Outcome enough = encode(row.bytes, 9);
        EXPECT_EQ(0, enough.result);
        EXPECT_EQ(4, enough.size);
        EXPECT_EQ(row.text + std::string(1, '\0') + "####", enough.buffer);
    }
}

TEST(base64, encoder_fails_for_four_bytes_with_capacity_twelve)
{
    const Outcome twelve = encode("foob", 12);
    EXPECT_EQ(-1, twelve.result);
    EXPECT_EQ(12, twelve.size);
    EXPECT_EQ(std::string("Zm9vYg==\0###", 12), twelve.buffer);
    const Outcome thirteen = encode("foob", 13);
    EXPECT_EQ(0, thirteen.result);
    EXPECT_EQ(8, thirteen.size);
    EXPECT_EQ(std::string("Zm9vYg==\0####", 13), thirteen.buffer);
}

TEST(base64, encoder_writes_only_zero_byte_for_empty_input)
{
    for (int capacity : {1, 2, 5, 9}) {
        const Outcome got = encode("", capacity);
        EXPECT_EQ(0, got.result);
        EXPECT_EQ(0, got.size);
        EXPECT_EQ(std::string(1, '\0') + std::string(static_cast<std::size_t>(capacity - 1), '#'), got.buffer);
    }
}

TEST(base64, encoder_with_capacity_zero_succeeds_for_empty_input_without_writing)
{
    const Outcome got = encode("", 0);
    EXPECT_EQ(0, got.result);
    EXPECT_EQ(0, got.size);
}

TEST(base64, encoder_fails_at_once_when_capacity_is_below_length)
{
    const struct {
        std::string bytes;
        int capacity;
    } rows[] = {{"", -1}, {"f", 0}, {"foobar", 5}, {"foobar", -6}, {std::string(40, 'x'), 39}};
    for (const auto& row : rows) {
        const Outcome got = encode(row.bytes, row.capacity);
        EXPECT_EQ(-1, got.result) << row.capacity;
        EXPECT_EQ(row.capacity, got.size) << row.capacity;
        EXPECT_EQ(std::string(static_cast<std::size_t>(std::max(row.capacity, 0)), '#'), got.buffer);
    }
}

TEST(base64, encoder_keeps_complete_groups_before_failed_test)
{
    const struct {
        std::string bytes;
        int capacity;
        std::string buffer;
    } rows[] = {
        {"foobar", 8, std::string("Zm9v\0###", 8)},
        {"foobar", 9, std::string("Zm9vYmFy\0", 9)},
        {"foobar", 12, std::string("Zm9vYmFy\0###", 12)},
        {"foobarfoobar", 12, std::string("Zm9vYmFy\0###", 12)},
        {"foobarfoobar", 13, std::string("Zm9vYmFyZm9v\0", 13)},
        {"foobarfoobar", 16, std::string("Zm9vYmFyZm9v\0###", 16)},
        {"foobarfoobar", 20, std::string("Zm9vYmFyZm9vYmFy\0###", 20)},
        {"foobarfoob", 20, std::string("Zm9vYmFyZm9vYg==\0###", 20)},
    };
    for (const auto& row : rows) {
        const Outcome got = encode(row.bytes, row.capacity);
        EXPECT_EQ(-1, got.result) << row.bytes << " " << row.capacity;
        EXPECT_EQ(row.capacity, got.size) << row.bytes << " " << row.capacity;
        EXPECT_EQ(row.buffer, got.buffer) << row.bytes << " " << row.capacity;
    }
}

TEST(base64, encoder_with_capacity_below_five_keeps_what_fits_of_first_group)
{
    const struct {
        std::string bytes;
        int capacity;
        std::string buffer;
    } rows[] = {
        {"f", 1, "Z"},
        {"f", 2, "Zg"},
        {"f", 4, "Zg=="},
        {"fo", 3, "Zm8"},
        {"foo", 3, "Zm9"},
        {"foo", 4, "Zm9v"},
        {"foob", 4, "Zm9v"},
    };
    for (const auto& row : rows) {
        const Outcome got = encode(row.bytes, row.capacity);
        EXPECT_EQ(-1, got.result) << row.bytes << " " << row.capacity;
        EXPECT_EQ(row.capacity, got.size) << row.bytes << " " << row.capacity;
        EXPECT_EQ(row.buffer, got.buffer) << row.bytes << " " << row.capacity;
    }
}

TEST(base64, encoder_agrees_with_transcription_on_all_inputs_up_to_two_bytes)
{
    Agreement agreement(Agreement::encoding);
    char bytes[2];
    for (int capacity = -1; capacity <= 13; ++capacity)
        agreement.check(bytes, 0, capacity);
    for (int first = 0; first < 256; ++first) {
        bytes[0] = static_cast<char>(first);
        for (int capacity = -1; capacity <= 13; ++capacity)
            agreement.check(bytes, 1, capacity);
        for (int second = 0; second < 256; ++second) {
            bytes[1] = static_cast<char>(second);
            for (int capacity = -1; capacity <= 13; ++capacity)
                agreement.check(bytes, 2, capacity);
        }
    }
    EXPECT_EQ(0, agreement.disagreements());
}

TEST(base64, encoder_agrees_with_transcription_on_three_byte_sample)
{
    Agreement agreement(Agreement::encoding);
    std::mt19937 engine(3);
    char bytes[3];
    // Each byte position takes every value, next to random neighbours.
    for (int position = 0; position < 3; ++position) {
        for (int value = 0; value < 256; ++value) {
            for (char& byte : bytes)
                byte = static_cast<char>(engine() & 0xFF);
            bytes[position] = static_cast<char>(value);
            for (int capacity = 2; capacity <= 10; ++capacity)
                agreement.check(bytes, 3, capacity);
        }
    }
    std::uniform_int_distribution<int> capacities(-1, 12);
    for (int sample = 0; sample < 300000; ++sample) {
        for (char& byte : bytes)
            byte = static_cast<char>(engine() & 0xFF);
        agreement.check(bytes, 3, capacities(engine));
    }
    EXPECT_EQ(0, agreement.disagreements());
}

TEST(base64, encoder_agrees_with_transcription_on_random_lengths_and_capacities)
{
    Agreement agreement(Agreement::encoding);
    std::mt19937 engine(5);
    std::vector<char> bytes(4000);
    for (int sample = 0; sample < 20000; ++sample) {
        const int length = sample % 10 == 0 ? static_cast<int>(engine() % 4000) : static_cast<int>(engine() % 64);
        for (int i = 0; i < length; ++i)
            bytes[static_cast<std::size_t>(i)] = static_cast<char>(engine() & 0xFF);
        const int needed = 4 * ((length + 2) / 3) + 5;
        int capacity;
        switch (engine() % 4) {
        case 0: // around the length, where the first test fails
            capacity = length - 2 + static_cast<int>(engine() % 5);
            break;
        case 1: // around what success needs
            capacity = needed - 4 + static_cast<int>(engine() % 7);
            break;
        case 2: // anywhere in between
            capacity = length + static_cast<int>(engine() % static_cast<unsigned int>(needed - length + 1));
            break;
        default: // ample
            capacity = needed + static_cast<int>(engine() % 100);
            break;
        }
        agreement.check(bytes.data(), length, capacity);
    }
    EXPECT_EQ(0, agreement.disagreements());
}

// ---- Decoder ----

TEST(base64, decoder_gives_back_bytes_of_padded_test_vectors)
{
    for (const Vector& row : kVectors) {
        // The zero-byte rule of the last group applies; those rows come later.
        // An empty text is tried with room for its zero byte elsewhere.
        if (row.bytes.empty() || row.bytes.find('\0') != std::string::npos)
            continue;
        const int capacity = static_cast<int>(row.text.size());
        const Outcome got = decode(row.text, capacity);
        EXPECT_EQ(0, got.result) << row.text;
        EXPECT_EQ(static_cast<int>(row.bytes.size()), got.size) << row.text;
        EXPECT_EQ(hex(row.bytes + std::string(1, '\0')), hex(got.buffer.substr(0, row.bytes.size() + 1)))
            << row.text;
    }
}

TEST(base64, decoder_gives_back_bytes_of_unpadded_test_vectors)
{
    const struct {
        std::string text;
        int capacity;
        std::string buffer;
    } rows[] = {
        {"Zg", 2, std::string("f\0", 2)},
        {"Zm8", 3, std::string("fo\0", 3)},
        {"Zm9vYg", 6, std::string("foob\0\0", 6)},
        {"Zm9vYmE", 7, std::string("fooba\0#", 7)},
        {"Zg", 8, std::string("f\0\0#####", 8)},
        {"Zm9vYmE", 10, std::string("fooba\0####", 10)},
    };
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, row.capacity);
        EXPECT_EQ(0, got.result) << row.text;
        EXPECT_EQ(static_cast<int>(std::strlen(row.buffer.c_str())), got.size) << row.text;
        EXPECT_EQ(hex(row.buffer), hex(got.buffer)) << row.text;
    }
}

TEST(base64, decoder_drops_zero_byte_in_padded_group)
{
    const struct {
        std::string text;
        int size;
        std::string buffer;
    } rows[] = {
        // One zero byte, padded: nothing at all.
        {"AA==", 0, std::string("\0\0\0#", 4)},
        // 41 00: the zero byte goes.
        {"QQA=", 1, std::string("A\0\0#", 4)},
        // 00 41: everything from the zero byte goes; the uncounted 41 stays
        // behind the terminator.
        {"AEE=", 0, std::string("\0A\0#", 4)},
        // 41 42 00 from a short group.
        {"QUI", 2, std::string("AB\0", 3)},
        // A short group whose first byte is zero.
        {"A", 0, std::string("\0", 1)},
    };
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, static_cast<int>(row.buffer.size()));
        EXPECT_EQ(0, got.result) << row.text;
        EXPECT_EQ(row.size, got.size) << row.text;
        EXPECT_EQ(hex(row.buffer), hex(got.buffer)) << row.text;
    }
}

TEST(base64, decoder_keeps_zero_bytes_of_full_group)
{
    const Outcome got = decode("AAAA", 4);
    EXPECT_EQ(0, got.result);
    EXPECT_EQ(3, got.size);
    EXPECT_EQ(hex(std::string(4, '\0')), hex(got.buffer));
}

TEST(base64, decoder_counts_three_bytes_when_group_ends_in_digit)
{
    // Two digits, a pad, a digit: 41 00 01, all three counted.
    const Outcome got = decode("QQ=B", 8);
    EXPECT_EQ(0, got.result);
    EXPECT_EQ(3, got.size);
    EXPECT_EQ(hex(std::string("A\0\x01\0####", 8)), hex(got.buffer));
}

TEST(base64, decoder_applies_pad_rule_to_groups_inside_text)
{
    const struct {
        std::string text;
        int size;
        std::string buffer;
    } rows[] = {
        {"AA==QUJD", 3, std::string("ABC\0####", 8)},
        {"QQ==QUJD", 4, std::string("AABC\0###", 8)},
        {"QQ==QUJDQUJD", 7, std::string("AABCABC\0####", 12)},
        {"QUJDAA==QUJD", 6, std::string("ABCABC\0#####", 12)},
        {"QUI=QUI=QUI=", 6, std::string("ABABAB\0#####", 12)},
    };
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, static_cast<int>(row.buffer.size()));
        EXPECT_EQ(0, got.result) << row.text;
        EXPECT_EQ(row.size, got.size) << row.text;
        EXPECT_EQ(hex(row.buffer), hex(got.buffer)) << row.text;
    }
}

TEST(base64, decoder_neither_fails_on_nor_skips_blank_or_line_break)
{
    const struct {
        std::string text;
        int size;
        std::string bytes;
    } rows[] = {
        // Q=16 U=20, then a blank or line break in the third position.
        {"QU\nD", 3, "A@\x03"},
        {"QU D", 3, "A@\x03"},
        {"QUJ\nQUJD", 6, "AB@ABC"},
        // A trailing line break is a group of its own, decoding to nothing.
        {"QUJD\n", 3, "ABC"},
        {"QUJD\r\n", 3, "ABC"},
        {" ", 0, ""},
    };
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, static_cast<int>(row.text.size()));
        EXPECT_EQ(0, got.result) << hex(row.text);
        EXPECT_EQ(row.size, got.size) << hex(row.text);
        EXPECT_EQ(hex(row.bytes + std::string(1, '\0')), hex(got.buffer.substr(0, row.bytes.size() + 1)))
            << hex(row.text);
    }
}

TEST(base64, decoder_reads_character_outside_alphabet_as_digit_a)
{
    // "QUJD" (Q=16 U=20 J=9 D=3) with an "A" in each position in turn.
    const std::string decoded[4] = {
        std::string("\x01\x42\x43\0", 4),
        std::string("\x40\x02\x43\0", 4),
        std::string("\x41\x40\x03\0", 4),
        std::string("\x41\x42\x40\0", 4),
    };
    for (const char* outside : {"A", " ", "\n", "\t", "*", "-", "_", ".", "\x80", "\xFF"}) {
        for (int position = 0; position < 4; ++position) {
            std::string text = "QUJD";
            text[static_cast<std::size_t>(position)] = outside[0];
            const Outcome got = decode(text, 4);
            EXPECT_EQ(0, got.result) << hex(text);
            EXPECT_EQ(3, got.size) << hex(text);
            EXPECT_EQ(hex(decoded[position]), hex(got.buffer)) << hex(text);
        }
    }
}

TEST(base64, decoder_reads_zero_byte_as_value_sixty_five)
{
    const struct {
        std::string text;
        int size;
        std::string bytes;
    } rows[] = {
        // 65 * 4 keeps its low 8 bits, 0x04.
        {std::string("\0AAA", 4), 3, std::string("\x04\0\0", 3)},
        // 65 >> 2 is 0x10; 65 | (65 * 64) is 0x41.
        {std::string("AA\0\0", 4), 3, std::string("\0\x10\x41", 3)},
        // Before a pad: 41 10 40, all non-zero, so all counted.
        {std::string("QQ\0=", 4), 3, std::string("\x41\x10\x40", 3)},
    };
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, 4);
        EXPECT_EQ(0, got.result) << hex(row.text);
        EXPECT_EQ(row.size, got.size) << hex(row.text);
        EXPECT_EQ(hex(row.bytes + std::string(1, '\0')), hex(got.buffer)) << hex(row.text);
    }
}

TEST(base64, decoder_uses_leading_pad_as_number_sixty_four)
{
    // 64 * 4 falls outside byte 0: "=QQQ" decodes like "AQQQ", to 01 04 10.
    const Outcome got = decode("=QQQ", 4);
    EXPECT_EQ(0, got.result);
    EXPECT_EQ(3, got.size);
    EXPECT_EQ(hex(std::string("\x01\x04\x10\0", 4)), hex(got.buffer));
}

TEST(base64, decoder_fails_at_once_when_capacity_is_below_length)
{
    const struct {
        std::string text;
        int capacity;
    } rows[] = {{"QUJD", 3}, {"QUJD", 0}, {"QUJD", -4}, {"Q", 0}, {"", -1}, {"Zm9vYmFy", 7}};
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, row.capacity);
        EXPECT_EQ(-1, got.result) << row.text << " " << row.capacity;
        EXPECT_EQ(row.capacity, got.size) << row.text << " " << row.capacity;
        EXPECT_EQ(std::string(static_cast<std::size_t>(std::max(row.capacity, 0)), '#'), got.buffer);
    }
}

TEST(base64, decoder_writes_only_zero_byte_for_empty_text)
{
    const Outcome none = decode("", 0);
    EXPECT_EQ(0, none.result);
    EXPECT_EQ(0, none.size);
    const Outcome some = decode("", 3);
    EXPECT_EQ(0, some.result);
    EXPECT_EQ(0, some.size);
    EXPECT_EQ(hex(std::string("\0##", 3)), hex(some.buffer));
}

TEST(base64, decoder_keeps_within_capacity_of_short_text)
{
    const struct {
        std::string text;
        int size;
        std::string buffer;
    } rows[] = {
        // A short text can decode to its own length: no room for the zero byte.
        {"Q", 1, "@"},
        {"QQR", 3, "A\x04@"},
        {"QQ", 1, std::string("A\0", 2)},
        // Five characters: the last group's third byte does not fit.
        {"QUJDQ", 4, std::string("ABC@\0", 5)},
        // Seven: the zero byte takes the last byte of the capacity.
        {"QUJDQUJ", 6, std::string("ABCAB@\0", 7)},
    };
    for (const auto& row : rows) {
        const Outcome got = decode(row.text, static_cast<int>(row.text.size()));
        EXPECT_EQ(0, got.result) << row.text;
        EXPECT_EQ(row.size, got.size) << row.text;
        EXPECT_EQ(hex(row.buffer), hex(got.buffer)) << row.text;
    }
}

// Built with AddressSanitizer, where all 69^4 groups would take minutes.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

// Calls `visit` with four-character groups over the decoder characters: all
// of them in a plain build. Under the sanitizer, every pair of neighbouring
// positions takes all 69 x 69 combinations while the other two positions run
// over a few characters. That still meets every case that matters: each byte
// of a group depends on two neighbouring characters only (byte 0 on the
// first and second, byte 1 on the second and third, byte 2 on the third and
// fourth), and the count on whether each byte is zero and whether the fourth
// character is a pad. The few make the bytes they feed zero or not in each
// way: "A" adds no bits, "B", "E" and "Q" one bit in each byte they reach,
// "/" all bits, and then the pad, the zero byte (65) and a line break.
template <typename Visit>
void for_each_group(Visit visit)
{
    const std::string all = decoder_characters();
    char group[4];
    if (!kSanitized) {
        for (char c1 : all) {
            group[0] = c1;
            for (char c2 : all) {
                group[1] = c2;
                for (char c3 : all) {
                    group[2] = c3;
                    for (char c4 : all) {
                        group[3] = c4;
                        visit(group);
                    }
                }
            }
        }
        return;
    }
    const std::string few("ABEQ/=\0\n", 8);
    for (int pair = 0; pair < 3; ++pair) {
        // The two positions outside the pair, in order.
        const int first_other = pair == 0 ? 2 : 0;
        const int second_other = pair == 2 ? 1 : 3;
        for (char a : all) {
            group[pair] = a;
            for (char b : all) {
                group[pair + 1] = b;
                for (char x : few) {
                    group[first_other] = x;
                    for (char y : few) {
                        group[second_other] = y;
                        visit(group);
                    }
                }
            }
        }
    }
}

// Every group is met once as the whole text (the last-group path) and once
// followed by a full group (the path of the groups before the last).
TEST(base64, decoder_agrees_with_transcription_on_every_four_character_group)
{
    Agreement alone(Agreement::decoding);
    Agreement before_last(Agreement::decoding);
    char text[8] = {0, 0, 0, 0, 'Q', 'U', 'J', 'D'};
    for_each_group([&](const char* group) {
        std::memcpy(text, group, 4);
        alone.check(text, 4, 4);
        before_last.check(text, 8, 8);
    });
    EXPECT_EQ(0, alone.disagreements());
    EXPECT_EQ(0, before_last.disagreements());
}

TEST(base64, decoder_agrees_with_transcription_on_every_short_text_and_tight_capacity)
{
    const std::string characters = decoder_characters();
    Agreement agreement(Agreement::decoding);
    char text[3];
    for (char c1 : characters) {
        text[0] = c1;
        for (int capacity = 0; capacity <= 5; ++capacity)
            agreement.check(text, 1, capacity);
        for (char c2 : characters) {
            text[1] = c2;
            for (int capacity = 1; capacity <= 5; ++capacity)
                agreement.check(text, 2, capacity);
            for (char c3 : characters) {
                text[2] = c3;
                for (int capacity = 2; capacity <= 5; ++capacity)
                    agreement.check(text, 3, capacity);
            }
        }
    }
    EXPECT_EQ(0, agreement.disagreements());
}

TEST(base64, decoder_agrees_with_transcription_on_random_lengths_and_capacities)
{
    const std::string characters = decoder_characters();
    Agreement agreement(Agreement::decoding);
    std::mt19937 engine(7);
    std::vector<char> text(4000);
    for (int sample = 0; sample < 20000; ++sample) {
        const int length = sample % 10 == 0 ? static_cast<int>(engine() % 4000) : static_cast<int>(engine() % 64);
        // Mostly digits, so that the special characters fall in every
        // position of otherwise well-formed groups; sometimes any byte.
        const auto mix = static_cast<unsigned int>(engine() % 3);
        for (int i = 0; i < length; ++i) {
            char& ch = text[static_cast<std::size_t>(i)];
            const auto pick = static_cast<unsigned int>(engine() % 100);
            if (mix == 2)
                ch = static_cast<char>(engine() & 0xFF);
            else if (pick < (mix == 0 ? 97u : 75u))
                ch = kAlphabet[engine() % 64];
            else
                ch = characters[64 + engine() % 5];
        }
        const int writes = 3 * ((length + 3) / 4) + 1;
        int capacity;
        switch (engine() % 3) {
        case 0: // around the length: the failure and the tightest successes
            capacity = length - 2 + static_cast<int>(engine() % 5);
            break;
        case 1: { // up to where every write fits
            const auto spread = static_cast<unsigned int>(std::max(writes - length, 0) + 2);
            capacity = length + static_cast<int>(engine() % spread);
            break;
        }
        default: // ample
            capacity = std::max(length, writes) + static_cast<int>(engine() % 50);
            break;
        }
        agreement.check(text.data(), length, capacity);
    }
    EXPECT_EQ(0, agreement.disagreements());
}

// ---- Conversions ----

TEST(base64, string_to_base64_encodes_test_vectors)
{
    for (const Vector& row : kVectors) {
        std::string text = row.bytes;
        EXPECT_TRUE(ConvertStringToBase64(text)) << row.text;
        EXPECT_EQ(row.text, text);
    }
}

TEST(base64, string_to_base64_leaves_empty_string_empty)
{
    std::string text;
    EXPECT_TRUE(ConvertStringToBase64(text));
    EXPECT_EQ("", text);
}

TEST(base64, string_to_base64_encodes_zero_bytes_too)
{
    std::string text("\0", 1);
    EXPECT_TRUE(ConvertStringToBase64(text));
    EXPECT_EQ("AA==", text);
    text = std::string("ab\0\0", 4);
    EXPECT_TRUE(ConvertStringToBase64(text));
    EXPECT_EQ("YWIAAA==", text);
}

TEST(base64, binary_to_base64_encodes_test_vectors)
{
    for (const Vector& row : kVectors) {
        std::string bytes = row.bytes;
        std::string text = "previous";
        EXPECT_TRUE(ConvertBinaryToBase64(bytes.data(), static_cast<int>(bytes.size()), text)) << row.text;
        EXPECT_EQ(row.text, text);
    }
}

TEST(base64, binary_to_base64_of_no_bytes_gives_empty_text)
{
    std::string text = "previous";
    EXPECT_TRUE(ConvertBinaryToBase64(nullptr, 0, text));
    EXPECT_EQ("", text);
}

TEST(base64, binary_to_base64_keeps_text_when_encoder_fails)
{
    // A negative count makes the capacity (ten times it) fall below the count.
    char byte = 'x';
    std::string text = "previous";
    EXPECT_FALSE(ConvertBinaryToBase64(&byte, -1, text));
    EXPECT_EQ("previous", text);
}

TEST(base64, binary_to_base64_encodes_long_input_in_full)
{
    std::string bytes;
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        bytes += "foobar";
        expected += "Zm9vYmFy";
    }
    bytes += "f";
    expected += "Zg==";
    std::string text;
    EXPECT_TRUE(ConvertBinaryToBase64(bytes.data(), static_cast<int>(bytes.size()), text));
    EXPECT_EQ(expected, text);
}

TEST(base64, base64_to_string_decodes_test_vectors)
{
    const struct {
        std::string text;
        std::string decoded;
    } rows[] = {
        {"", ""},
        {"Zg==", "f"},
        {"Zm8=", "fo"},
        {"Zm9v", "foo"},
        {"Zm9vYg==", "foob"},
        {"Zm9vYmE=", "fooba"},
        {"Zm9vYmFy", "foobar"},
        {"Zg", "f"},
        {"Zm8", "fo"},
        {"Zm9vYg", "foob"},
        {"Zm9vYmE", "fooba"},
    };
    for (const auto& row : rows) {
        std::string text = row.text;
        EXPECT_TRUE(ConvertBase64ToString(text)) << row.text;
        EXPECT_EQ(row.decoded, text);
    }
}

TEST(base64, base64_to_string_ends_at_first_zero_byte)
{
    const struct {
        std::string text;
        std::string decoded;
    } rows[] = {
        // 61 00 62 in a full group: the zero byte still ends the text.
        {"YQBi", "a"},
        {"YQA=", "a"},
        {"YWIAAA==", "ab"},
        {"AGFi", ""},
        {"Zm9vAGJhcg==", "foo"},
    };
    for (const auto& row : rows) {
        std::string text = row.text;
        EXPECT_TRUE(ConvertBase64ToString(text)) << row.text;
        EXPECT_EQ(hex(row.decoded), hex(text)) << row.text;
    }
}

TEST(base64, base64_to_string_decodes_malformed_text_without_failing)
{
    const struct {
        std::string text;
        std::string decoded;
    } rows[] = {
        {"QQR", "A\x04@"},
        {"Q", "@"},
        {"QU\nD", "A@\x03"},
        {"QUJDQ", "ABC@"},
        {"AA==QUJD", "ABC"},
        {"QQ=B", "A"},
        {"====", ""},
    };
    for (const auto& row : rows) {
        std::string text = row.text;
        EXPECT_TRUE(ConvertBase64ToString(text)) << hex(row.text);
        EXPECT_EQ(hex(row.decoded), hex(text)) << hex(row.text);
    }
}

TEST(base64, base64_to_binary_zero_fills_buffer_and_decodes)
{
    ExactBuffer buffer(16);
    buffer.fill('\xEE');
    int size = 16;
    EXPECT_TRUE(ConvertBase64ToBinary("Zm9vYmFy", buffer.data(), size));
    EXPECT_EQ(6, size);
    EXPECT_EQ(hex(std::string("foobar") + std::string(10, '\0')), hex(buffer.bytes()));
}

TEST(base64, base64_to_binary_drops_trailing_zero_byte_of_padded_group)
{
    // The text of 41 00.
    ExactBuffer buffer(8);
    buffer.fill('\xEE');
    int size = 8;
    EXPECT_TRUE(ConvertBase64ToBinary("QQA=", buffer.data(), size));
    EXPECT_EQ(1, size);
    EXPECT_EQ(hex(std::string("A") + std::string(7, '\0')), hex(buffer.bytes()));
}

TEST(base64, base64_to_binary_leaves_uncounted_bytes_behind_terminator)
{
    // The text of 00 41: nothing counts, but 41 was written.
    ExactBuffer buffer(4);
    buffer.fill('\xEE');
    int size = 4;
    EXPECT_TRUE(ConvertBase64ToBinary("AEE=", buffer.data(), size));
    EXPECT_EQ(0, size);
    EXPECT_EQ(hex(std::string("\0A\0\0", 4)), hex(buffer.bytes()));
}

TEST(base64, base64_to_binary_fails_when_capacity_is_below_length_and_leaves_zeros)
{
    ExactBuffer buffer(7);
    buffer.fill('\xEE');
    int size = 7;
    EXPECT_FALSE(ConvertBase64ToBinary("Zm9vYmFy", buffer.data(), size));
    EXPECT_EQ(7, size);
    EXPECT_EQ(hex(std::string(7, '\0')), hex(buffer.bytes()));
}

TEST(base64, base64_to_binary_of_empty_text_succeeds_with_no_room)
{
    ExactBuffer buffer(0);
    int size = 0;
    EXPECT_TRUE(ConvertBase64ToBinary("", buffer.data(), size));
    EXPECT_EQ(0, size);
}

TEST(base64, base64_to_binary_fits_short_text_in_its_own_length)
{
    ExactBuffer buffer(3);
    buffer.fill('\xEE');
    int size = 3;
    EXPECT_TRUE(ConvertBase64ToBinary("QQR", buffer.data(), size));
    EXPECT_EQ(3, size);
    EXPECT_EQ(hex("A\x04@"), hex(buffer.bytes()));
}

TEST(base64, conversions_agree_with_transcription_on_random_text)
{
    const std::string characters = decoder_characters();
    std::mt19937 engine(11);
    int disagreements = 0;
    for (int sample = 0; sample < 5000; ++sample) {
        const int length = static_cast<int>(engine() % 40);
        std::string text;
        for (int i = 0; i < length; ++i)
            text += characters[engine() % characters.size()];
        const int capacity = std::max(0, length - 2 + static_cast<int>(engine() % 20));

        std::vector<char> scratch(static_cast<std::size_t>(capacity + 3 * ((length + 3) / 4) + 1), '\0');
        int expected_size = capacity;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        const int expected_result = reference_decode(bytes, length, scratch.data(), expected_size);
        ExactBuffer buffer(capacity);
        buffer.fill('\xEE');
        int size = capacity;
        const bool result = ConvertBase64ToBinary(text, buffer.data(), size);
        const bool binary_agrees = result == (expected_result == 0) && size == expected_size
            && std::equal(buffer.data(), buffer.data() + capacity, scratch.data());

        std::vector<char> unbounded(static_cast<std::size_t>(3 * ((length + 3) / 4) + 1));
        int decoded_size = length;
        reference_decode(bytes, length, unbounded.data(), decoded_size);
        const std::string expected_string(unbounded.data());
        std::string decoded = text;
        const bool string_agrees = ConvertBase64ToString(decoded) && decoded == expected_string;

        if (!(binary_agrees && string_agrees) && ++disagreements <= 5)
            ADD_FAILURE() << "text [" << hex(text) << "] with capacity " << capacity;
    }
    EXPECT_EQ(0, disagreements);
}

TEST(base64, every_short_string_without_zero_byte_survives_round_trip)
{
    int failures = 0;
    std::string original;
    auto check = [&failures](const std::string& bytes) {
        std::string text = bytes;
        const bool ok = ConvertStringToBase64(text) && ConvertBase64ToString(text) && text == bytes;
        if (!ok && ++failures <= 5)
            ADD_FAILURE() << "[" << hex(bytes) << "] came back as [" << hex(text) << "]";
    };
    check("");
    for (int first = 1; first < 256; ++first) {
        check(std::string(1, static_cast<char>(first)));
        for (int second = 1; second < 256; ++second)
            check(std::string{static_cast<char>(first), static_cast<char>(second)});
    }
    EXPECT_EQ(0, failures);
}

TEST(base64, random_strings_without_zero_byte_survive_round_trip)
{
    std::mt19937 engine(13);
    int failures = 0;
    for (int sample = 0; sample < 20000; ++sample) {
        const int length = sample % 20 == 0 ? static_cast<int>(engine() % 5000) : static_cast<int>(engine() % 80);
        std::string bytes;
        for (int i = 0; i < length; ++i)
            bytes += static_cast<char>(1 + engine() % 255);
        std::string text = bytes;
        const bool ok = ConvertStringToBase64(text) && ConvertBase64ToString(text) && text == bytes;
        if (!ok && ++failures <= 5)
            ADD_FAILURE() << "a string of " << length << " bytes did not come back";
    }
    EXPECT_EQ(0, failures);
}

// ---- Memory and the size limit ----

namespace {

long status_kib(const char* field)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(field, 0) == 0)
            return std::stol(line.substr(std::strlen(field)));
    return -1;
}

long gBaselineKiB = 0;

// Resets the process's peak resident set (through clear_refs) and makes the
// present resident set the baseline that peak_growth_kib measures from, so
// what was allocated before does not count.
void start_measuring()
{
    std::ofstream("/proc/self/clear_refs") << "5";
    gBaselineKiB = status_kib("VmRSS:");
}

// Runs `work` in a child process and returns by how many KiB its resident
// set grew at its peak over the baseline, or -1 when the work failed.
// `work` may call start_measuring() again once its input is made.
long peak_growth_kib(const std::function<bool()>& work)
{
    int fds[2];
    if (pipe(fds) != 0)
        return -1;
    const pid_t pid = fork();
    if (pid == 0) {
        start_measuring();
        // The reset peak may lie a few KiB below the baseline read after it.
        long growth = work() ? std::max(0L, status_kib("VmHWM:") - gBaselineKiB) : -1;
        (void)!write(fds[1], &growth, sizeof growth);
        _exit(0);
    }
    close(fds[1]);
    long growth = -1;
    if (read(fds[0], &growth, sizeof growth) != static_cast<ssize_t>(sizeof growth))
        growth = -1;
    close(fds[0]);
    waitpid(pid, nullptr, 0);
    return growth;
}

// Input pages that cost no memory until written: untouched anonymous pages
// all read as the one zero page.
class ZeroPages {
public:
    explicit ZeroPages(std::size_t size)
        : fSize(size), fData(mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {
    }
    ~ZeroPages()
    {
        if (fData != MAP_FAILED)
            munmap(fData, fSize);
    }
    ZeroPages(const ZeroPages&) = delete;
    ZeroPages& operator=(const ZeroPages&) = delete;
    char* data() const { return fData == MAP_FAILED ? nullptr : static_cast<char*>(fData); }

private:
    std::size_t fSize;
    void* fData;
};

constexpr int kLongestEncodable = 1610612730;
constexpr long kMiB = 1024;

} // namespace

TEST(base64, binary_to_base64_peaks_at_its_text_not_ten_times_its_input)
{
    // 64 MiB of input, 85.3 MiB of text; the old scratch array alone was
    // 640 MiB. The input is made before the peak is measured.
    const std::size_t n = 64u << 20;
    const long growth = peak_growth_kib([n] {
        std::string input(n, 'x');
        start_measuring();
        std::string text;
        return ConvertBinaryToBase64(input.data(), static_cast<int>(n), text) && text.size() == 4 * ((n + 2) / 3)
            && text.compare(0, 4, "eHh4") == 0;
    });
    ASSERT_GE(growth, 0);
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(growth, 64 * kMiB + 86 * kMiB + 8 * kMiB);
#endif
}

TEST(base64, string_to_base64_peaks_at_input_plus_text)
{
    const std::size_t n = 64u << 20;
    const long growth = peak_growth_kib([n] {
        std::string text(n, 'x');
        return ConvertStringToBase64(text) && text.size() == 4 * ((n + 2) / 3);
    });
    ASSERT_GE(growth, 0);
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(growth, 64 * kMiB + 86 * kMiB + 8 * kMiB);
#endif
}

TEST(base64, base64_to_string_decodes_in_the_space_of_its_text)
{
    // 86 MiB of text decode to 64 MiB of 'x' bytes in the text's own buffer.
    const std::size_t groups = (64u << 20) / 3;
    const long growth = peak_growth_kib([groups] {
        std::string text;
        text.reserve(4 * groups);
        for (std::size_t i = 0; i < groups; ++i)
            text += "eHh4";
        start_measuring();
        return ConvertBase64ToString(text) && text.size() == 3 * groups
            && text.find_first_not_of('x') == std::string::npos;
    });
    ASSERT_GE(growth, 0);
#if !defined(__SANITIZE_ADDRESS__)
    // The decoded text lives where the Base64 text was: it grows by nothing
    // but a constant.
    EXPECT_LT(growth, 8 * kMiB);
#endif
}

TEST(base64, longest_encodable_input_is_exactly_the_documented_limit)
{
    // One byte more than the limit fails at once, before reading any input,
    // and leaves the text alone; neither call may touch the input beyond n.
    ZeroPages input(static_cast<std::size_t>(kLongestEncodable) + 1);
    ASSERT_NE(nullptr, input.data());
    std::string text = "previous";
    EXPECT_FALSE(ConvertBinaryToBase64(input.data(), kLongestEncodable + 1, text));
    EXPECT_EQ("previous", text);
    EXPECT_FALSE(ConvertBinaryToBase64(input.data(), INT_MAX, text));
    EXPECT_EQ("previous", text);

#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the 2 GiB text of the longest input is left to the plain build";
#else
    // The limit itself encodes in full: 536,870,910 groups of "AAAA".
    const long growth = peak_growth_kib([&input] {
        std::string encoded;
        return ConvertBinaryToBase64(input.data(), kLongestEncodable, encoded)
            && encoded.size() == 2147483640u && encoded.compare(0, 8, "AAAAAAAA") == 0
            && encoded.find_first_not_of('A') == std::string::npos;
    });
    ASSERT_GE(growth, 0);
    EXPECT_LT(growth, 2048 * kMiB + 8 * kMiB);
#endif
}
