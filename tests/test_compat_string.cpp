#include "test_util.h"

#include <memory>

namespace {

std::string transcoded(const DOMString& text)
{
    std::unique_ptr<char[]> bytes(text.transcode());
    return std::string(bytes.get());
}

} // namespace

TEST(dom_string, default_string_is_null_and_empty)
{
    DOMString s;
    EXPECT_TRUE(s == 0);
    EXPECT_FALSE(s != 0);
    EXPECT_EQ(0u, s.length());
    EXPECT_EQ(nullptr, s.rawBuffer());
    EXPECT_EQ(0, s.charAt(0));
}

TEST(dom_string, zero_makes_and_resets_the_null_string)
{
    DOMString s = 0;
    EXPECT_TRUE(s == 0);
    DOMString t("abc");
    EXPECT_TRUE(t != 0);
    t = 0;
    EXPECT_TRUE(t == 0);
    EXPECT_EQ(0u, t.length());
}

TEST(dom_string, empty_text_is_not_null)
{
    DOMString s("");
    EXPECT_TRUE(s != 0);
    EXPECT_EQ(0u, s.length());
    ASSERT_NE(nullptr, s.rawBuffer());
    EXPECT_EQ(0, s.rawBuffer()[0]);
}

TEST(dom_string, from_bytes_keeps_each_byte_as_a_character)
{
    DOMString s("a\xE4\xFF");
    ASSERT_EQ(3u, s.length());
    EXPECT_EQ(u'a', s.charAt(0));
    EXPECT_EQ(0xE4, s.charAt(1));
    EXPECT_EQ(0xFF, s.charAt(2));
    EXPECT_EQ(0, s.charAt(3));
    EXPECT_EQ(0, s.rawBuffer()[3]);
}

TEST(dom_string, from_16_bit_text_with_and_without_length)
{
    const XMLCh text[] = u"hello";
    EXPECT_EQ(5u, DOMString(text).length());
    DOMString prefix(text, 3);
    EXPECT_EQ(3u, prefix.length());
    EXPECT_TRUE(prefix.equals("hel"));
    EXPECT_TRUE(DOMString(static_cast<const XMLCh*>(nullptr)) == 0);
    EXPECT_TRUE(DOMString(static_cast<const char*>(nullptr)) == 0);
}

TEST(dom_string, every_byte_round_trips_through_transcode)
{
    std::string all;
    for (int b = 1; b < 256; ++b)
        all.push_back(static_cast<char>(b));
    DOMString s(all.c_str());
    EXPECT_EQ(255u, s.length());
    EXPECT_EQ(all, transcoded(s));
    EXPECT_EQ(all, DOM2STLstring(s));
}

TEST(dom_string, characters_above_latin1_become_question_marks)
{
    const XMLCh text[] = {u'x', 0x20AC, u'y', 0xD83D, 0xDE00, u'z', 0x0100, 0};
    EXPECT_EQ("x?y?z?", transcoded(DOMString(text)));
}

TEST(dom_string, transcode_of_null_and_empty_is_an_empty_allocated_string)
{
    EXPECT_EQ("", transcoded(DOMString()));
    EXPECT_EQ("", transcoded(DOMString("")));
}

TEST(dom_string, transcode_stops_at_a_zero_character)
{
    const XMLCh text[] = {u'a', 0, u'b'};
    DOMString s(text, 3);
    EXPECT_EQ(3u, s.length());
    EXPECT_EQ("a", transcoded(s));
}

TEST(dom_string, static_transcode_makes_a_string_from_bytes)
{
    DOMString s = DOMString::transcode("K\xE4se");
    EXPECT_EQ(4u, s.length());
    EXPECT_EQ(0xE4, s.charAt(1));
}

TEST(dom_string, equality_compares_characters)
{
    EXPECT_TRUE(DOMString("abc") == DOMString("abc"));
    EXPECT_FALSE(DOMString("abc") != DOMString("abc"));
    EXPECT_TRUE(DOMString("abc") != DOMString("abd"));
    EXPECT_TRUE(DOMString("abc") != DOMString("ab"));
    EXPECT_TRUE(DOMString("abc").equals("abc"));
    EXPECT_FALSE(DOMString("abc").equals("ABC"));
    // Null and empty strings hold the same (no) characters.
    EXPECT_TRUE(DOMString().equals(DOMString("")));
    EXPECT_TRUE(DOMString() == DOMString(""));
}

TEST(dom_string, append_data_extends_and_unnulls)
{
    DOMString s;
    s.appendData(DOMString("ab"));
    EXPECT_TRUE(s != 0);
    s.appendData(u'c');
    EXPECT_TRUE(s.equals("abc"));
    s.appendData(DOMString());
    EXPECT_EQ(3u, s.length());

    DOMString t;
    t.appendData(DOMString());
    EXPECT_TRUE(t == 0);
    t.appendData(u'x');
    EXPECT_TRUE(t.equals("x"));
}

TEST(dom_string, copies_are_independent_values)
{
    DOMString original("abc");
    DOMString copy = original;
    copy.appendData(u'd');
    EXPECT_TRUE(original.equals("abc"));
    EXPECT_TRUE(copy.equals("abcd"));

    DOMString assigned;
    assigned = original;
    EXPECT_TRUE(assigned.equals("abc"));
    DOMString moved = std::move(copy);
    EXPECT_TRUE(moved.equals("abcd"));
}

TEST(dom_exception, carries_code_and_message)
{
    DOM_DOMException e(DOM_DOMException::NOT_FOUND_ERR, DOMString("gone"));
    EXPECT_EQ(DOM_DOMException::NOT_FOUND_ERR, e.code);
    EXPECT_EQ("gone", str(e.msg));
    DOM_DOMException copy = e;
    EXPECT_EQ(8, copy.code);
    EXPECT_EQ("gone", str(copy.msg));
}
