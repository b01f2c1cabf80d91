// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <random>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

// Sets LC_CTYPE for one scope and puts "C" back afterwards, so that a failed
// assertion cannot leak a locale into the next test.
class CtypeLocale {
public:
    explicit CtypeLocale(const char* name) : fName(std::setlocale(LC_CTYPE, name)) {}
    ~CtypeLocale() { std::setlocale(LC_CTYPE, "C"); }
    CtypeLocale(const CtypeLocale&) = delete;
    CtypeLocale& operator=(const CtypeLocale&) = delete;
    const char* name() const { return fName; }

private:
    const char* fName;
};

// A 16-bit string holding one character per byte, zero bytes included.
DOMString wide_bytes(const std::string& bytes)
{
    std::u16string units;
    for (const char c : bytes)
        units.push_back(static_cast<unsigned char>(c));
    return DOMString(units.data(), static_cast<unsigned int>(units.size()));
}

DOMString wide(const std::u16string& units)
{
    return DOMString(units.data(), static_cast<unsigned int>(units.size()));
}

std::string escaped_text(const DOMString& text, bool clean = true)
{
    std::ostringstream out;
    outputContent(out, text, clean);
    return out.str();
}

std::string escaped(const std::string& bytes, bool clean = true)
{
    return escaped_text(wide_bytes(bytes), clean);
}

// Counts the flushes that std::endl asks for.
class FlushCounter : public std::stringbuf {
public:
    int flushes = 0;

protected:
    int sync() override
    {
        ++flushes;
        return std::stringbuf::sync();
    }
};

// The result the writer must match byte for byte: stop at the first zero
// character, trim, white space only gives one newline, then the eleven
// replacements one after the other.
std::string reference_escape(const std::string& bytes)
{
    std::string text = bytes.substr(0, bytes.find('\0'));
    if (text.empty())
        return "";
    Trim(text);
    if (text.empty())
        return "\n";
    FindAndRepleace(text, '&', "&amp;");
    FindAndRepleace(text, '<', "&lt;");
    FindAndRepleace(text, '>', "&gt;");
    FindAndRepleace(text, '"', "&quot;");
    FindAndRepleace(text, '\xE4', "&#228;");
    FindAndRepleace(text, '\xF6', "&#246;");
    FindAndRepleace(text, '\xFC', "&#252;");
    FindAndRepleace(text, '\xC4', "&#196;");
    FindAndRepleace(text, '\xD6', "&#214;");
    FindAndRepleace(text, '\xDC', "&#220;");
    FindAndRepleace(text, '\xDF', "&#223;");
    return text;
}

struct Row {
    std::string input;
    std::string expected;
};

} // namespace

// ---- Cleaned text ---------------------------------------------------------------

TEST(escape, cleaned_text_table)
{
    const std::vector<Row> rows = {
        {"", ""},
        {"   ", "\n"},
        {" \t\r\n", "\n"},
        {"\v\f", "\n"},
        {"  Fish & Chips  ", "Fish &amp; Chips"},
        {"a<b>\"\"", "a&lt;b&gt;&quot;&quot;"},
        {"it's", "it's"},
        {"'", "'"},
        {"&lt;", "&amp;lt;"},
        {"&#228;", "&amp;#228;"},
        {"&&", "&amp;&amp;"},
        {"K\xE4se", "K&#228;se"},
        {"\xE9", "\xE9"},
        {"\xE4\xF6\xFC\xC4\xD6\xDC\xDF", "&#228;&#246;&#252;&#196;&#214;&#220;&#223;"},
        {"Stra\xDF" "e \xDC" "ber \xD6l", "Stra&#223;e &#220;ber &#214;l"},
        {" a \n b\t c ", "a \n b\t c"},
        {"\r\nline one\r\nline two\r\n", "line one\r\nline two"},
        {"\x01\x1F\x7F", "\x01\x1F\x7F"},
        {"\xA0x\xA0", "\xA0x\xA0"},
        {"\x80\x9F\xC0\xFF", "\x80\x9F\xC0\xFF"},
        {"<![CDATA[x]]>", "&lt;![CDATA[x]]&gt;"},
        {"\"quoted\"", "&quot;quoted&quot;"},
        {"1 > 0 & 0 < 1", "1 &gt; 0 &amp; 0 &lt; 1"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.expected, escaped(row.input)) << "input: " << row.input;
}

TEST(escape, each_single_byte)
{
    for (unsigned int value = 0; value < 256; ++value) {
        const std::string byte(1, static_cast<char>(value));
        std::string expected = byte;
        switch (value) {
        case 0x00:
            expected = "";
            break;
        case 0x09:
        case 0x0A:
        case 0x0B:
        case 0x0C:
        case 0x0D:
        case 0x20:
            expected = "\n";
            break;
        case 0x22:
            expected = "&quot;";
            break;
        case 0x26:
            expected = "&amp;";
            break;
        case 0x3C:
            expected = "&lt;";
            break;
        case 0x3E:
            expected = "&gt;";
            break;
        case 0xC4:
            expected = "&#196;";
            break;
        case 0xD6:
            expected = "&#214;";
            break;
        case 0xDC:
            expected = "&#220;";
            break;
        case 0xDF:
            expected = "&#223;";
            break;
        case 0xE4:
            expected = "&#228;";
            break;
        case 0xF6:
            expected = "&#246;";
            break;
        case 0xFC:
            expected = "&#252;";
            break;
        default:
            break;
        }
        EXPECT_EQ(expected, escaped(byte)) << "byte " << value;
    }
}

TEST(escape, white_space_only_text_is_one_flushed_newline)
{
    for (const std::string text : {" ", "\t", "\n", "\r\n", "  \t \n  "}) {
        FlushCounter buffer;
        std::ostream out(&buffer);
        outputContent(out, wide_bytes(text), true);
        EXPECT_EQ("\n", buffer.str());
        EXPECT_EQ(1, buffer.flushes);
    }
}

TEST(escape, text_with_content_is_written_without_newline_or_flush)
{
    FlushCounter buffer;
    std::ostream out(&buffer);
    outputContent(out, wide_bytes(" a\nb "), true);
    EXPECT_EQ("a\nb", buffer.str());
    EXPECT_EQ(0, buffer.flushes);
}

TEST(escape, empty_and_null_text_write_nothing)
{
    EXPECT_EQ("", escaped_text(DOMString()));
    EXPECT_EQ("", escaped_text(DOMString("")));
    EXPECT_EQ("", escaped_text(DOMString(), false));
    EXPECT_EQ("", escaped_text(DOMString(""), false));
}

TEST(escape, text_ends_at_first_zero_character)
{
    EXPECT_EQ("ab", escaped(std::string("ab\0<cd", 6)));
    EXPECT_EQ("", escaped(std::string("\0abc", 4)));
    // Only the spaces before the zero count: the text is white space only.
    EXPECT_EQ("\n", escaped(std::string("  \0abc", 6)));
    EXPECT_EQ("a", escaped(std::string(" a \0 ", 5)));
}

TEST(escape, inner_white_space_and_line_breaks_are_kept)
{
    EXPECT_EQ("one  two\n\tthree\r\nfour", escaped("\n\t one  two\n\tthree\r\nfour \t\n"));
}

TEST(escape, every_byte_in_one_text)
{
    std::string all;
    for (unsigned int value = 1; value < 256; ++value)
        all.push_back(static_cast<char>(value));
    // 0x01 at the front and 0xFF at the end are not space: nothing is trimmed.
    std::string expected = "\x01\x02\x03\x04\x05\x06\x07\x08\t\n\v\f\r"
                           "\x0E\x0F\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1A\x1B\x1C\x1D\x1E\x1F"
                           " !&quot;#$%&amp;'()*+,-./0123456789:;&lt;=&gt;?@ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                           "[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~\x7F";
    for (unsigned int value = 0x80; value < 256; ++value) {
        switch (value) {
        case 0xC4:
            expected += "&#196;";
            break;
        case 0xD6:
            expected += "&#214;";
            break;
        case 0xDC:
            expected += "&#220;";
            break;
        case 0xDF:
            expected += "&#223;";
            break;
        case 0xE4:
            expected += "&#228;";
            break;
        case 0xF6:
            expected += "&#246;";
            break;
        case 0xFC:
            expected += "&#252;";
            break;
        default:
            expected.push_back(static_cast<char>(value));
        }
    }
    EXPECT_EQ(expected, escaped(all));
}

// ---- Unchanged text -------------------------------------------------------------

TEST(escape, unclean_text_is_written_as_it_is)
{
    const std::vector<Row> rows = {
        {"a < b", "a < b"},
        {"  x & y  ", "  x & y  "},
        {"   ", "   "},
        {"\"K\xE4se\"", "\"K\xE4se\""},
        {"\n", "\n"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.expected, escaped(row.input, false)) << "input: " << row.input;
}

TEST(escape, unclean_text_does_not_flush)
{
    FlushCounter buffer;
    std::ostream out(&buffer);
    outputContent(out, wide_bytes("  \n"), false);
    EXPECT_EQ("  \n", buffer.str());
    EXPECT_EQ(0, buffer.flushes);
}

TEST(escape, unclean_text_writes_question_mark_above_latin1)
{
    EXPECT_EQ("a?b", escaped_text(wide(u"a\u0100b"), false));
    EXPECT_EQ("?", escaped_text(wide(u"\u20AC"), false));
    // A surrogate pair is one character and one question mark.
    EXPECT_EQ("x?y", escaped_text(wide(u"x\U0001F600y"), false));
    EXPECT_EQ("?", escaped_text(wide(std::u16string(1, u'\xD83D')), false));
    EXPECT_EQ("?a", escaped_text(wide(std::u16string{u'\xDE00', u'a'}), false));
}

// ---- Characters above U+00FF ----------------------------------------------------

TEST(escape, character_above_latin1_is_decimal_reference)
{
    const std::vector<std::pair<std::u16string, std::string>> rows = {
        {u"\u0100", "&#256;"},
        {u"\u20AC", "&#8364;"},
        {u"5 \u20AC", "5 &#8364;"},
        {u"  \u20AC  ", "&#8364;"},
        {u"\uFFFD", "&#65533;"},
        {u"\uFFFF", "&#65535;"},
        {u"\U00010000", "&#65536;"},
        {u"\U0001F600", "&#128512;"},
        {u"\U0010FFFF", "&#1114111;"},
        {u"a\U0001F600b\u00E4", "a&#128512;b&#228;"},
        // The ampersand of a reference is never escaped again.
        {u"&\u20AC<", "&amp;&#8364;&lt;"},
        {u"\u00E9\u0101", "\xE9&#257;"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.second, escaped_text(wide(row.first))) << "expected: " << row.second;
}

TEST(escape, lone_surrogate_is_question_mark)
{
    const std::vector<std::pair<std::u16string, std::string>> rows = {
        {std::u16string{u'\xD83D'}, "?"},
        {std::u16string{u'\xDE00'}, "?"},
        {std::u16string{u'a', u'\xD83D', u'b'}, "a?b"},
        {std::u16string{u'a', u'\xDE00', u'b'}, "a?b"},
        // Low before high is not a pair: two characters, two marks.
        {std::u16string{u'\xDE00', u'\xD83D'}, "??"},
        {std::u16string{u'\xD83D', u'\xD83D', u'\xDE00'}, "?&#128512;"},
        {std::u16string{u' ', u'\xD800', u' '}, "?"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.second, escaped_text(wide(row.first))) << "expected: " << row.second;
}

// ---- One pass against the eleven replacements -----------------------------------

TEST(escape, matches_the_eleven_replacements_on_random_bytes)
{
    std::mt19937 rng(20240611u);
    // Bytes that matter most: markup, the seven letters, white space, zero.
    const std::string interesting = std::string("&<>\"'\xE4\xF6\xFC\xC4\xD6\xDC\xDF \t\n\r\v\f\xA0\x85", 20) +
                                    std::string(1, '\0');
    for (int round = 0; round < 20000; ++round) {
        const std::size_t length = rng() % 48;
        std::string bytes;
        for (std::size_t i = 0; i < length; ++i) {
            const unsigned int pick = rng() % 4;
            if (pick == 0) {
                bytes.push_back(interesting[rng() % interesting.size()]);
            } else if (pick == 1 && round % 7 != 0) {
                // Most texts keep zero out of the middle, so the tail matters.
                bytes.push_back(static_cast<char>(1 + rng() % 255));
            } else {
                bytes.push_back(static_cast<char>(rng() % 256));
            }
        }
        if (round % 5 == 0)
            bytes = std::string(rng() % 4, ' ') + bytes + std::string(rng() % 4, '\t');
        ASSERT_EQ(reference_escape(bytes), escaped(bytes)) << "round " << round;
    }
}

TEST(escape, matches_the_eleven_replacements_on_all_bytes_in_many_orders)
{
    std::string all;
    for (unsigned int value = 0; value < 256; ++value)
        all.push_back(static_cast<char>(value));
    std::mt19937 rng(7u);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = all;
        std::shuffle(bytes.begin(), bytes.end(), rng);
        ASSERT_EQ(reference_escape(bytes), escaped(bytes)) << "round " << round;
        // The same without the zero, so every byte reaches the output.
        bytes.erase(bytes.find('\0'), 1);
        ASSERT_EQ(reference_escape(bytes), escaped(bytes)) << "round " << round;
    }
}

TEST(escape, long_text_matches_the_eleven_replacements)
{
    std::mt19937 rng(99u);
    std::string bytes;
    for (int i = 0; i < 200000; ++i)
        bytes.push_back(static_cast<char>(1 + rng() % 255));
    EXPECT_EQ(reference_escape(bytes), escaped(bytes));
}

// ---- Locale ---------------------------------------------------------------------

TEST(escape, trimming_follows_the_locale_for_bytes_above_127)
{
    ASSERT_EQ(0, setenv("LOCPATH", XMLUTIL_TEST_LOCPATH, 1));
    {
        CtypeLocale locale(XMLUTIL_TEST_LOCALE);
        ASSERT_NE(nullptr, locale.name());
        EXPECT_EQ("x \xA0 y", escaped("\xA0 x \xA0 y\xA0"));
        EXPECT_EQ("\n", escaped("\xA0\xA0"));
        EXPECT_EQ("&#228;", escaped("\xA0\xE4\xA0"));
    }
    EXPECT_EQ("\xA0 x \xA0 y\xA0", escaped("\xA0 x \xA0 y\xA0"));
}

// The widest reference for each 16-bit unit, many in a row: the output
// grows to eight bytes per unit.
TEST(escape, long_runs_of_the_widest_references)
{
    for (const XMLCh ch : {XMLCh(0xFFFF), XMLCh(0x20AC), XMLCh(0x0100)}) {
        std::u16string text(5000, ch);
        std::string expected;
        for (int i = 0; i < 5000; ++i)
            expected += "&#" + std::to_string(ch) + ";";
        std::ostringstream out;
        outputContent(out, DOMString(text.c_str()), true);
        EXPECT_EQ(expected, out.str());
    }
    std::u16string pairs;
    for (int i = 0; i < 3000; ++i)
        pairs += u"\U0010FFFF";
    std::string expected;
    for (int i = 0; i < 3000; ++i)
        expected += "&#1114111;";
    std::ostringstream out;
    outputContent(out, DOMString(pairs.c_str()), true);
    EXPECT_EQ(expected, out.str());
}
