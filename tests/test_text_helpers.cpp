// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// The bytes of the POSIX "space" class, written out here so the tests do not
// lean on the classification they are checking.
bool is_posix_space(unsigned int byte)
{
    return byte == 0x20 || (byte >= 0x09 && byte <= 0x0D);
}

std::string byte_string(unsigned int byte)
{
    return std::string(1, static_cast<char>(byte));
}

// Sets LC_CTYPE for one test and puts "C" back however the test ends, so a
// failed assertion cannot leak a locale into the next test.
class CtypeLocale {
public:
    explicit CtypeLocale(const char* name) : fName(std::setlocale(LC_CTYPE, name)) {}
    ~CtypeLocale() { std::setlocale(LC_CTYPE, "C"); }
    CtypeLocale(const CtypeLocale&) = delete;
    CtypeLocale& operator=(const CtypeLocale&) = delete;
    // The name setlocale answered, or null when the locale is not available.
    const char* name() const { return fName; }

private:
    const char* fName;
};

// A text long enough to live on the heap, so an assignment shows as a new
// buffer address.
const std::string kLongText = "abcdefghijklmnopqrstuvwxyz0123456789";

struct TrimRow {
    std::string input;
    std::string left;
    std::string right;
    std::string both;
};

const std::vector<TrimRow> kTrimRows = {
    {"", "", "", ""},
    {" ", "", "", ""},
    {" \t\r\n", "", "", ""},
    {"\n\r\t ", "", "", ""},
    {"\v\f", "", "", ""},
    {"a", "a", "a", "a"},
    {"  a b  ", "a b  ", "  a b", "a b"},
    {"a ", "a ", "a", "a"},
    {" a", "a", " a", "a"},
    {"\t\na\tb\r\n", "a\tb\r\n", "\t\na\tb", "a\tb"},
    {"a  b", "a  b", "a  b", "a  b"},
    {"\r\nline one\nline two\r\n", "line one\nline two\r\n", "\r\nline one\nline two", "line one\nline two"},
    {std::string("  a\0b  ", 7), std::string("a\0b  ", 5), std::string("  a\0b", 5), std::string("a\0b", 3)},
    {std::string("\0 ", 2), std::string("\0 ", 2), std::string("\0", 1), std::string("\0", 1)},
    {std::string(" \0", 2), std::string("\0", 1), std::string(" \0", 2), std::string("\0", 1)},
    {"\xA0", "\xA0", "\xA0", "\xA0"},
    {" \xE4 ", "\xE4 ", " \xE4", "\xE4"},
};

} // namespace

// ---- TrimLeft, TrimRight, Trim ----------------------------------------------------

TEST(trim, left_right_and_both_follow_the_table)
{
    for (const TrimRow& row : kTrimRows) {
        std::string left = row.input;
        TrimLeft(left);
        EXPECT_EQ(row.left, left) << "TrimLeft of '" << row.input << "'";

        std::string right = row.input;
        TrimRight(right);
        EXPECT_EQ(row.right, right) << "TrimRight of '" << row.input << "'";

        std::string both = row.input;
        Trim(both);
        EXPECT_EQ(row.both, both) << "Trim of '" << row.input << "'";
    }
}

TEST(trim, empty_string_stays_empty)
{
    std::string text;
    Trim(text);
    EXPECT_EQ("", text);
    TrimLeft(text);
    EXPECT_EQ("", text);
    TrimRight(text);
    EXPECT_EQ("", text);
}

TEST(trim, space_tab_return_and_newline_only_becomes_empty)
{
    std::string text = " \t\r\n";
    Trim(text);
    EXPECT_EQ("", text);
    EXPECT_EQ(0u, text.size());
}

TEST(trim, inner_space_is_kept)
{
    std::string text = "  a b  ";
    Trim(text);
    EXPECT_EQ("a b", text);
}

TEST(trim, left_keeps_a_trailing_space_after_a_leading_letter)
{
    std::string text = "a ";
    TrimLeft(text);
    EXPECT_EQ("a ", text);
}

TEST(trim, right_keeps_a_leading_space_before_a_trailing_letter)
{
    std::string text = " a";
    TrimRight(text);
    EXPECT_EQ(" a", text);
}

TEST(trim, nothing_to_remove_leaves_the_buffer_alone)
{
    // No reassignment when nothing is trimmed: the heap buffer stays the same.
    std::string text = kLongText + " " + kLongText;
    const char* const buffer = text.data();
    const std::string::size_type capacity = text.capacity();

    TrimLeft(text);
    TrimRight(text);
    Trim(text);

    EXPECT_EQ(kLongText + " " + kLongText, text);
    EXPECT_EQ(buffer, text.data());
    EXPECT_EQ(capacity, text.capacity());
}

TEST(trim, long_runs_of_space_are_removed_whole)
{
    std::string text = std::string(1000, ' ') + "x" + std::string(1000, '\t');
    Trim(text);
    EXPECT_EQ("x", text);
}

TEST(trim, ascii_bytes_follow_the_posix_space_class)
{
    // Exactly 0x09..0x0D and 0x20 are space among 0..127; everything else,
    // 0x00 and 0x1C..0x1F included, is kept.
    CtypeLocale locale("C");
    ASSERT_NE(nullptr, locale.name());
    int spaces = 0;
    for (unsigned int byte = 0; byte < 128; ++byte) {
        const std::string b = byte_string(byte);
        const bool space = is_posix_space(byte);
        spaces += space ? 1 : 0;

        std::string left = b + "x" + b;
        TrimLeft(left);
        EXPECT_EQ(space ? "x" + b : b + "x" + b, left) << "byte " << byte;

        std::string right = b + "x" + b;
        TrimRight(right);
        EXPECT_EQ(space ? b + "x" : b + "x" + b, right) << "byte " << byte;

        std::string both = b + "x" + b;
        Trim(both);
        EXPECT_EQ(space ? "x" : b + "x" + b, both) << "byte " << byte;

        std::string alone = b + b;
        Trim(alone);
        EXPECT_EQ(space ? "" : b + b, alone) << "byte " << byte;
    }
    EXPECT_EQ(6, spaces);
}

TEST(trim, high_bytes_are_kept_in_the_c_locale)
{
    CtypeLocale locale("C");
    ASSERT_NE(nullptr, locale.name());
    for (unsigned int byte = 128; byte < 256; ++byte) {
        const std::string b = byte_string(byte);

        std::string left = b + "x" + b;
        TrimLeft(left);
        EXPECT_EQ(b + "x" + b, left) << "byte " << byte;

        std::string right = b + "x" + b;
        TrimRight(right);
        EXPECT_EQ(b + "x" + b, right) << "byte " << byte;

        std::string both = b + b;
        Trim(both);
        EXPECT_EQ(b + b, both) << "byte " << byte;
    }
}

TEST(trim, left_keeps_a_leading_no_break_space_in_the_c_locale)
{
    CtypeLocale locale("C");
    ASSERT_NE(nullptr, locale.name());
    std::string text = "\xA0" "a";
    TrimLeft(text);
    EXPECT_EQ("\xA0" "a", text);
}

TEST(trim, no_break_space_is_removed_under_a_locale_that_calls_it_space)
{
    ASSERT_EQ(0, setenv("LOCPATH", XMLUTIL_TEST_LOCPATH, 1));
    {
        CtypeLocale locale(XMLUTIL_TEST_LOCALE);
        ASSERT_NE(nullptr, locale.name());

        std::string left = "\xA0" "a";
        TrimLeft(left);
        EXPECT_EQ("a", left);

        std::string right = "a\xA0";
        TrimRight(right);
        EXPECT_EQ("a", right);

        std::string both = "\xA0 \xA0" "a b\xA0\t\xA0";
        Trim(both);
        EXPECT_EQ("a b", both);

        std::string only = "\xA0\xA0";
        Trim(only);
        EXPECT_EQ("", only);

        // A byte the locale leaves out of the class is still kept.
        std::string other = "\xE4" "a";
        TrimLeft(other);
        EXPECT_EQ("\xE4" "a", other);
    }
    // Back in "C" the same byte is not space again.
    std::string text = "\xA0" "a";
    TrimLeft(text);
    EXPECT_EQ("\xA0" "a", text);
}

TEST(trim, ascii_bytes_keep_the_posix_rule_under_another_locale)
{
    ASSERT_EQ(0, setenv("LOCPATH", XMLUTIL_TEST_LOCPATH, 1));
    CtypeLocale locale(XMLUTIL_TEST_LOCALE);
    ASSERT_NE(nullptr, locale.name());
    for (unsigned int byte = 0; byte < 128; ++byte) {
        const std::string b = byte_string(byte);
        const bool space = is_posix_space(byte);

        std::string left = b + "x";
        TrimLeft(left);
        EXPECT_EQ(space ? "x" : b + "x", left) << "byte " << byte;

        std::string right = "x" + b;
        TrimRight(right);
        EXPECT_EQ(space ? "x" : "x" + b, right) << "byte " << byte;
    }
}

TEST(trim, high_bytes_follow_the_current_locale)
{
    // Above 127 the locale decides, byte by byte; under the test locale 0xA0
    // is the only such space byte.
    ASSERT_EQ(0, setenv("LOCPATH", XMLUTIL_TEST_LOCPATH, 1));
    CtypeLocale locale(XMLUTIL_TEST_LOCALE);
    ASSERT_NE(nullptr, locale.name());
    for (unsigned int byte = 128; byte < 256; ++byte) {
        const std::string b = byte_string(byte);
        const bool space = byte == 0xA0;

        std::string left = b + "x" + b;
        TrimLeft(left);
        EXPECT_EQ(space ? "x" + b : b + "x" + b, left) << "byte " << byte;

        std::string right = b + "x" + b;
        TrimRight(right);
        EXPECT_EQ(space ? b + "x" : b + "x" + b, right) << "byte " << byte;
    }
}

// ---- FindAndRepleace --------------------------------------------------------------

namespace {

struct ReplaceRow {
    std::string text;
    char ch;
    std::string replacement;
    std::string expected;
};

const std::vector<ReplaceRow> kReplaceRows = {
    // The inserted text is never scanned again.
    {"a&b", '&', "&amp;", "a&amp;b"},
    {"&&", '&', "&amp;", "&amp;&amp;"},
    {"&", '&', "&amp;", "&amp;"},
    {"x<y>z", '<', "&lt;", "x&lt;y>z"},
    {"xx", 'x', "xx", "xxxx"},
    {"a.b.c", '.', "::", "a::b::c"},
    {"abc", 'c', "C", "abC"},
    // No occurrence: unchanged.
    {"abc", 'x', "y", "abc"},
    {"abc", 'x', "", "abc"},
    {"", 'a', "b", ""},
    {"", 'a', "", ""},
    // Empty replacement: a run of ch at the very start is never removed.
    {"xxab", 'x', "", "xxab"},
    {"axb", 'x', "", "ab"},
    {"aab", 'a', "", "aab"},
    {"aaa", 'a', "", "aaa"},
    {"a", 'a', "", "a"},
    {"abx", 'x', "", "ab"},
    {"bxx", 'x', "", "b"},
    {"xaxb", 'x', "", "ab"},
    {"xxabx", 'x', "", "ab"},
    {"a b c", ' ', "", "abc"},
    // Bytes above 127, as the writer passes them, and the zero byte.
    {"a\xE4" "b", '\xE4', "&#228;", "a&#228;b"},
    {"\xE4", '\xE4', "&#228;", "&#228;"},
    {"\xC4\xE4\xF6", '\xE4', "ae", "\xC4" "ae\xF6"},
    {"d\xE4", '\xE4', "X", "dX"},
    {"\xC3\xA4", '\xE4', "X", "\xC3\xA4"},
    {"\xFF" "a\xFF", '\xFF', "y", "yay"},
    {"d", '\xE4', "X", "d"},
    {std::string("a\0b", 3), '\0', "0", "a0b"},
    {std::string("a\0b\0", 4), '\0', "", "ab"},
};

} // namespace

TEST(find_and_replace, follows_the_table)
{
    for (const ReplaceRow& row : kReplaceRows) {
        std::string text = row.text;
        FindAndRepleace(text, row.ch, row.replacement);
        EXPECT_EQ(row.expected, text) << "'" << row.text << "' with byte "
                                      << static_cast<unsigned int>(static_cast<unsigned char>(row.ch))
                                      << " -> '" << row.replacement << "'";
    }
}

TEST(find_and_replace, ampersand_inside_the_replacement_is_not_replaced_again)
{
    std::string text = "a&b";
    FindAndRepleace(text, '&', "&amp;");
    EXPECT_EQ("a&amp;b", text);

    std::string twice = "&&";
    FindAndRepleace(twice, '&', "&amp;");
    EXPECT_EQ("&amp;&amp;", twice);
}

TEST(find_and_replace, missing_byte_leaves_the_text_unassigned)
{
    std::string shortText = "abc";
    FindAndRepleace(shortText, 'x', "y");
    EXPECT_EQ("abc", shortText);

    // No assignment: the heap buffer of a long text is the same one.
    std::string text = kLongText;
    const char* const buffer = text.data();
    const std::string::size_type capacity = text.capacity();
    FindAndRepleace(text, '!', "&#33;");
    EXPECT_EQ(kLongText, text);
    EXPECT_EQ(buffer, text.data());
    EXPECT_EQ(capacity, text.capacity());
}

TEST(find_and_replace, empty_replacement_of_a_leading_run_removes_nothing)
{
    // Deliberate: the emptiness test runs before the tail is added.
    std::string xxab = "xxab";
    FindAndRepleace(xxab, 'x', "");
    EXPECT_EQ("xxab", xxab);

    std::string aab = "aab";
    FindAndRepleace(aab, 'a', "");
    EXPECT_EQ("aab", aab);

    std::string aaa = "aaa";
    FindAndRepleace(aaa, 'a', "");
    EXPECT_EQ("aaa", aaa);

    // The text stays exactly as it was, buffer included.
    const std::string tail(40, 'b');
    std::string text = "xxx" + tail;
    const char* const buffer = text.data();
    FindAndRepleace(text, 'x', "");
    EXPECT_EQ("xxx" + tail, text);
    EXPECT_EQ(buffer, text.data());
}

TEST(find_and_replace, empty_replacement_after_another_byte_deletes)
{
    std::string text = "axb";
    FindAndRepleace(text, 'x', "");
    EXPECT_EQ("ab", text);
}

TEST(find_and_replace, every_byte_value_can_be_replaced)
{
    for (unsigned int byte = 0; byte < 256; ++byte) {
        if (byte == '(' || byte == ')')
            continue;
        const char ch = static_cast<char>(byte);
        std::string text = "(" + byte_string(byte) + ")" + byte_string(byte);
        FindAndRepleace(text, ch, "[]");
        EXPECT_EQ("([])[]", text) << "byte " << byte;
    }
}

TEST(find_and_replace, high_byte_does_not_match_its_low_seven_bits)
{
    // 0xE4 and 0x64 ('d') share their low bits; only the exact byte counts.
    std::string text = "d\xE4" "d";
    FindAndRepleace(text, '\xE4', "&auml;");
    EXPECT_EQ("d&auml;d", text);

    std::string low = "d\xE4" "d";
    FindAndRepleace(low, 'd', "D");
    EXPECT_EQ("D\xE4" "D", low);
}

TEST(find_and_replace, replacement_may_be_the_text_itself)
{
    // The replacement is taken by value, so passing the text is safe.
    std::string text = "ab";
    FindAndRepleace(text, 'a', text);
    EXPECT_EQ("abb", text);
}

TEST(find_and_replace, long_text_with_many_occurrences)
{
    std::string text;
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        text += "a<";
        expected += "a&lt;";
    }
    FindAndRepleace(text, '<', "&lt;");
    EXPECT_EQ(expected, text);
}
