// SPDX-License-Identifier: Apache-2.0
// DOMString: shared handles, identity ==, content equals, in-place edits,
// and the null strings the DOM hands out.
#include "test_util.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/MemoryManager.hpp>

#include <map>
#include <memory>
#include <sstream>
#include <type_traits>
#include <vector>

namespace {

std::string transcoded(const DOMString& text)
{
    std::unique_ptr<char[]> bytes(text.transcode());
    return std::string(bytes.get());
}

// The units of a string up to its length, zeros included.
std::u16string units(const DOMString& text)
{
    const XMLCh* raw = text.rawBuffer();
    return raw ? std::u16string(raw, text.length()) : std::u16string();
}

// The buffer ends in a zero right after the string.
void expect_terminated(const DOMString& text)
{
    ASSERT_NE(nullptr, text.rawBuffer());
    EXPECT_EQ(0, text.rawBuffer()[text.length()]);
}

std::string printed(void (DOMString::*print)() const, const DOMString& text)
{
    testing::internal::CaptureStdout();
    (text.*print)();
    return testing::internal::GetCapturedStdout();
}

// A memory manager that counts what it hands out.
class CountingManager : public xercesc::MemoryManager {
public:
    void* allocate(XMLSize_t size) override
    {
        ++allocations;
        lastSize = size;
        return ::operator new(size);
    }
    void deallocate(void* p) override
    {
        ++deallocations;
        ::operator delete(p);
    }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    int allocations = 0;
    int deallocations = 0;
    XMLSize_t lastSize = 0;
};

DOM_Document parse_with_namespaces(const std::string& text, bool namespaces)
{
    DOMParser parser;
    parser.setDoNamespaces(namespaces);
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}

} // namespace

// ---- construction and the null string -------------------------------------------

TEST(dom_string, every_empty_source_makes_the_null_string)
{
    const XMLCh someText[] = u"abc";
    const std::vector<DOMString> nulls = {DOMString(),
                                          DOMString(0),
                                          DOMString(""),
                                          DOMString(u""),
                                          DOMString(someText, 0),
                                          DOMString(static_cast<const XMLCh*>(nullptr)),
                                          DOMString(static_cast<const XMLCh*>(nullptr), 3),
                                          DOMString(static_cast<const char*>(nullptr)),
                                          DOMString::transcode("")};
    for (const DOMString& s : nulls) {
        EXPECT_TRUE(s == 0);
        EXPECT_FALSE(s != 0);
        EXPECT_EQ(0u, s.length());
        EXPECT_EQ(nullptr, s.rawBuffer());
        EXPECT_EQ(0, s.charAt(0));
        EXPECT_TRUE(s.equals(""));
        EXPECT_EQ("", transcoded(s));
    }
}

TEST(dom_string, zero_is_passed_and_returned_as_the_null_string)
{
    auto give_null = []() -> DOMString { return 0; };
    auto length_of = [](const DOMString& s) { return s.length(); };
    EXPECT_TRUE(give_null() == 0);
    EXPECT_EQ(0u, length_of(0));
}

TEST(dom_string, from_bytes_keeps_each_byte_as_a_character)
{
    DOMString s("a\xE4\xFF");
    ASSERT_EQ(3u, s.length());
    EXPECT_EQ(u'a', s.charAt(0));
    EXPECT_EQ(0xE4, s.charAt(1));
    EXPECT_EQ(0xFF, s.charAt(2));
    EXPECT_EQ(0, s.charAt(3));
    expect_terminated(s);
}

TEST(dom_string, from_16_bit_text_with_and_without_length)
{
    const XMLCh text[] = u"hello";
    EXPECT_EQ(5u, DOMString(text).length());
    DOMString prefix(text, 3);
    EXPECT_EQ(u"hel", units(prefix));
    expect_terminated(prefix);
    // With a length, zeros are characters like any other.
    const XMLCh zeros[] = {u'a', 0, u'b'};
    DOMString withZero(zeros, 3);
    EXPECT_EQ(3u, withZero.length());
    EXPECT_EQ(0, withZero.charAt(1));
    EXPECT_EQ(u'b', withZero.charAt(2));
    expect_terminated(withZero);
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

TEST(dom_string, transcode_stops_at_a_zero_character)
{
    const XMLCh text[] = {u'a', 0, u'b'};
    DOMString s(text, 3);
    EXPECT_EQ(3u, s.length());
    EXPECT_EQ("a", transcoded(s));
}

TEST(dom_string, transcode_into_a_memory_manager)
{
    CountingManager manager;
    char* bytes = DOMString("K\xE4se").transcode(&manager);
    EXPECT_EQ(1, manager.allocations);
    EXPECT_EQ(5u, manager.lastSize);
    EXPECT_EQ("K\xE4se", std::string(bytes));
    manager.deallocate(bytes);
    char* empty = DOMString().transcode(&manager);
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ('\0', empty[0]);
    manager.deallocate(empty);
    EXPECT_EQ(2, manager.deallocations);
}

TEST(dom_string, static_transcode_makes_a_string_from_bytes)
{
    DOMString s = DOMString::transcode("K\xE4se");
    EXPECT_EQ(4u, s.length());
    EXPECT_EQ(0xE4, s.charAt(1));
}

// ---- shared handles ---------------------------------------------------------------

TEST(dom_string, copies_share_one_handle)
{
    DOMString a = "Hello";
    DOMString b = a;
    b.appendData(" World");
    EXPECT_EQ("Hello World", str(a));
    EXPECT_TRUE(a == b);
    a.deleteData(5, 6);
    EXPECT_EQ("Hello", str(b));
}

TEST(dom_string, assignment_rebinds_and_zero_detaches_one_variable)
{
    DOMString a = "Hello";
    DOMString c("other");
    c = a;
    EXPECT_TRUE(c == a);
    c.appendData(u'!');
    EXPECT_EQ("Hello!", str(a));
    c = 0;
    EXPECT_TRUE(c == 0);
    EXPECT_EQ("Hello!", str(a));
    c = a;
    c = c;
    EXPECT_TRUE(c == a);
    EXPECT_EQ("Hello!", str(c));
    // A pointer to const DOM_NullPtr resets too.
    const DOM_NullPtr* none = nullptr;
    c = none;
    EXPECT_TRUE(c == 0);
    c = nullptr;
    EXPECT_TRUE(c == 0);
    static_assert(std::is_same<decltype(c = 0), DOMString&>::value, "s = 0 returns the string");
}

TEST(dom_string, a_moved_string_becomes_null)
{
    DOMString a = "abc";
    DOMString b = std::move(a);
    EXPECT_TRUE(a == 0); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ("abc", str(b));
    DOMString c;
    c = std::move(b);
    EXPECT_TRUE(b == 0); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ("abc", str(c));
}

TEST(dom_string, plus_makes_a_new_string_and_leaves_the_operands)
{
    DOMString a = "Hello";
    DOMString b = a;
    b = b + " World";
    EXPECT_EQ("Hello", str(a));
    EXPECT_EQ("Hello World", str(b));
    EXPECT_FALSE(b == a);
}

TEST(dom_string, clone_is_independent_in_both_directions)
{
    DOMString a = "abc";
    DOMString c = a.clone();
    EXPECT_TRUE(c != a);
    EXPECT_TRUE(c.equals(a));
    c.appendData(u'x');
    EXPECT_EQ("abc", str(a));
    EXPECT_EQ("abcx", str(c));
    DOMString d = a.clone();
    a.appendData(u'y');
    EXPECT_EQ("abc", str(d));
    d.deleteData(0, 1);
    EXPECT_EQ("abcy", str(a));
    EXPECT_EQ("bc", str(d));
    expect_terminated(a);
    expect_terminated(d);
    EXPECT_TRUE(DOMString().clone() == 0);
}

TEST(dom_string, a_clone_outlives_its_original)
{
    DOMString c;
    {
        DOMString a = "shared characters";
        c = a.clone();
    }
    EXPECT_EQ("shared characters", str(c));
    c.appendData(u'!');
    EXPECT_EQ("shared characters!", str(c));
    expect_terminated(c);
}

// ---- comparison -------------------------------------------------------------------

TEST(dom_string, equality_is_handle_identity)
{
    EXPECT_TRUE(DOMString("abc") != DOMString("abc"));
    EXPECT_FALSE(DOMString("abc") == DOMString("abc"));
    DOMString s = "abc";
    const DOMString copy = s;
    EXPECT_TRUE(s == copy);
    EXPECT_FALSE(s == "abc");
    EXPECT_FALSE(s == u"abc");
    EXPECT_TRUE(DOMString() == DOMString());
    DOMString null;
    EXPECT_TRUE(null == "");
    EXPECT_TRUE(null == u"");
    EXPECT_FALSE(s == "");
}

TEST(dom_string, equals_compares_characters)
{
    const DOMString s = "abc";
    EXPECT_TRUE(s.equals(DOMString("abc")));
    EXPECT_FALSE(s.equals(DOMString("abd")));
    EXPECT_FALSE(s.equals(DOMString("ab")));
    EXPECT_TRUE(s.equals(u"abc"));
    EXPECT_FALSE(s.equals(u"abcd"));
    EXPECT_TRUE(s.equals("abc"));
    EXPECT_FALSE(s.equals("ABC"));
    // Null and empty strings hold the same (no) characters.
    DOMString empty;
    empty.reserve(4);
    EXPECT_TRUE(DOMString().equals(empty));
    EXPECT_TRUE(empty.equals(DOMString()));
    EXPECT_TRUE(DOMString().equals(static_cast<const XMLCh*>(nullptr)));
    EXPECT_TRUE(DOMString().equals(0));
    EXPECT_TRUE(empty.equals(u""));
    // The 16-bit text ends at its first zero.
    const XMLCh zeroInside[] = {u'a', u'b', u'c', 0, u'd', 0};
    EXPECT_TRUE(s.equals(zeroInside));
}

TEST(dom_string, compare_string_orders_by_length_first)
{
    EXPECT_EQ(-1, DOMString("b").compareString(DOMString("aa")));
    EXPECT_EQ(1, DOMString("aa").compareString(DOMString("b")));
    EXPECT_EQ(-1, DOMString("abc").compareString(DOMString("abd")));
    EXPECT_EQ(1, DOMString("abd").compareString(DOMString("abc")));
    EXPECT_EQ(0, DOMString("abc").compareString(DOMString("abc")));
    DOMString empty;
    empty.reserve(1);
    EXPECT_EQ(0, DOMString().compareString(empty));
    EXPECT_EQ(-1, DOMString().compareString(DOMString("a")));
    EXPECT_TRUE(DOMString("zz") < DOMString("aaa"));
    EXPECT_FALSE(DOMString("aaa") < DOMString("zz"));

    std::map<DOMString, int> byKey;
    byKey[DOMString("ccc")] = 3;
    byKey[DOMString("b")] = 1;
    byKey[DOMString("aa")] = 2;
    std::string order;
    for (const auto& entry : byKey)
        order += str(entry.first) + ",";
    EXPECT_EQ("b,aa,ccc,", order);
}

// ---- editing in place -------------------------------------------------------------

TEST(dom_string, reserve_makes_an_empty_string_that_is_not_null)
{
    DOMString s;
    s.reserve(0);
    EXPECT_TRUE(s == 0);
    s.reserve(10);
    EXPECT_TRUE(s != 0);
    EXPECT_EQ(0u, s.length());
    expect_terminated(s);
    EXPECT_EQ("", transcoded(s));

    DOMString t = "abc";
    const DOMString alias = t;
    t.reserve(100);
    EXPECT_TRUE(t == alias);
    EXPECT_EQ("abc", str(t));
}

TEST(dom_string, appending_to_null_rebinds_only_that_variable)
{
    DOMString n;
    const DOMString alias = n;
    DOMString source = "ab";
    n.appendData(source);
    EXPECT_EQ("ab", str(n));
    EXPECT_TRUE(alias == 0);
    // The new handle is a clone: later edits on either side stay apart.
    EXPECT_TRUE(n != source);
    source.appendData(u'c');
    EXPECT_EQ("ab", str(n));
    n.appendData(u'd');
    EXPECT_EQ("abc", str(source));
    EXPECT_EQ("abd", str(n));

    DOMString byUnit;
    const DOMString unitAlias = byUnit;
    byUnit.appendData(u'x');
    EXPECT_EQ("x", str(byUnit));
    EXPECT_TRUE(unitAlias == 0);

    DOMString byText;
    byText.appendData(u"xyz");
    EXPECT_EQ("xyz", str(byText));
}

TEST(dom_string, appending_to_an_empty_string_rebinds_only_when_it_has_no_room)
{
    DOMString small;
    small.reserve(2);
    const DOMString smallAlias = small;
    small.appendData(DOMString("abcdef"));
    EXPECT_EQ("abcdef", str(small));
    EXPECT_TRUE(small != smallAlias);
    EXPECT_TRUE(smallAlias != 0);
    EXPECT_EQ(0u, smallAlias.length());

    DOMString roomy;
    roomy.reserve(10);
    const DOMString roomyAlias = roomy;
    roomy.appendData(DOMString("abcdef"));
    EXPECT_TRUE(roomy == roomyAlias);
    EXPECT_EQ("abcdef", str(roomyAlias));
}

TEST(dom_string, appending_nothing_changes_nothing)
{
    DOMString null;
    null.appendData(DOMString());
    null.appendData(DOMString(""));
    null.appendData(static_cast<const XMLCh*>(nullptr));
    null.appendData(u"");
    EXPECT_TRUE(null == 0);
    DOMString s = "abc";
    s.appendData(DOMString());
    s += u"";
    EXPECT_EQ("abc", str(s));
}

TEST(dom_string, appending_to_itself_doubles_the_text)
{
    DOMString s = "hello";
    s.appendData(s);
    EXPECT_EQ("hellohello", str(s));
    expect_terminated(s);
    DOMString t = "ab";
    for (int i = 0; i < 5; ++i)
        t += t;
    EXPECT_EQ(64u, t.length());
    for (unsigned int i = 0; i < t.length(); ++i)
        ASSERT_EQ(i % 2 ? u'b' : u'a', t.charAt(i));
}

TEST(dom_string, appending_unit_by_unit)
{
    DOMString s;
    std::u16string expected;
    for (int i = 0; i < 1000; ++i) {
        const XMLCh ch = static_cast<XMLCh>(u'a' + i % 26);
        s.appendData(ch);
        expected.push_back(ch);
    }
    EXPECT_EQ(expected, units(s));
    expect_terminated(s);
}

TEST(dom_string, plus_equals_overloads_return_the_string)
{
    DOMString s = "a";
    const DOMString alias = s;
    DOMString& r1 = (s += DOMString("b"));
    DOMString& r2 = (s += u"c");
    DOMString& r3 = (s += u'd');
    DOMString& r4 = (s += "e");
    EXPECT_EQ(&s, &r1);
    EXPECT_EQ(&s, &r2);
    EXPECT_EQ(&s, &r3);
    EXPECT_EQ(&s, &r4);
    EXPECT_EQ("abcde", str(alias));
    EXPECT_EQ("abcde!", str(s + "!"));
}

TEST(dom_string, appending_to_a_clone_leaves_the_shared_buffer_alone)
{
    DOMString a = "abc";
    const char* before = reinterpret_cast<const char*>(a.rawBuffer());
    DOMString c = a.clone();
    EXPECT_EQ(a.rawBuffer(), c.rawBuffer());
    c += u"def";
    EXPECT_NE(a.rawBuffer(), c.rawBuffer());
    EXPECT_EQ(before, reinterpret_cast<const char*>(a.rawBuffer()));
    EXPECT_EQ("abc", str(a));
    EXPECT_EQ("abcdef", str(c));
}

TEST(dom_string, delete_data_removes_a_clipped_range)
{
    DOMString s = "abcdef";
    const DOMString alias = s;
    s.deleteData(1, 2);
    EXPECT_EQ("adef", str(alias));
    expect_terminated(s);
    s.deleteData(2, 100);
    EXPECT_EQ("ad", str(s));
    expect_terminated(s);
    s.deleteData(2, 5);
    EXPECT_EQ("ad", str(s));
    s.deleteData(0, 0);
    EXPECT_EQ("ad", str(s));
    s.deleteData(0, 2);
    EXPECT_TRUE(s != 0);
    EXPECT_TRUE(alias != 0);
    EXPECT_EQ(0u, alias.length());
    expect_terminated(alias);
}

TEST(dom_string, delete_data_past_the_end_throws_index_size_err)
{
    DOMString s = "abc";
    try {
        s.deleteData(4, 1);
        ADD_FAILURE() << "deleteData past the end did not throw";
    } catch (const DOM_DOMException& e) {
        EXPECT_EQ(DOM_DOMException::INDEX_SIZE_ERR, e.code);
        EXPECT_TRUE(e.msg == 0);
    }
    EXPECT_EQ("abc", str(s));
    DOMString null;
    null.deleteData(0, 5);
    EXPECT_TRUE(null == 0);
    EXPECT_DOM_EXCEPTION(null.deleteData(1, 0), DOM_DOMException::INDEX_SIZE_ERR);
}

TEST(dom_string, insert_data_at_every_place)
{
    DOMString s = "ace";
    const DOMString alias = s;
    s.insertData(1, DOMString("b"));
    s.insertData(3, DOMString("d"));
    s.insertData(5, DOMString("f"));
    s.insertData(0, DOMString("_"));
    EXPECT_EQ("_abcdef", str(alias));
    expect_terminated(s);
    s.insertData(2, DOMString());
    EXPECT_EQ("_abcdef", str(s));
    EXPECT_DOM_EXCEPTION(s.insertData(8, DOMString("x")), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_EQ("_abcdef", str(s));
}

TEST(dom_string, inserting_into_null_rebinds_to_a_clone)
{
    DOMString null;
    const DOMString alias = null;
    DOMString data = "xyz";
    null.insertData(0, data);
    EXPECT_EQ("xyz", str(null));
    EXPECT_TRUE(null != data);
    EXPECT_TRUE(alias == 0);
    data.appendData(u'!');
    EXPECT_EQ("xyz", str(null));
    DOMString other;
    EXPECT_DOM_EXCEPTION(other.insertData(1, data), DOM_DOMException::INDEX_SIZE_ERR);
    other.insertData(0, DOMString());
    EXPECT_TRUE(other == 0);
}

TEST(dom_string, inserting_a_string_into_itself)
{
    DOMString s = "abc";
    s.insertData(1, s);
    EXPECT_EQ("aabcbc", str(s));
    expect_terminated(s);
    DOMString t = "xy";
    DOMString clone = t.clone();
    t.insertData(2, clone);
    EXPECT_EQ("xyxy", str(t));
    EXPECT_EQ("xy", str(clone));
}

TEST(dom_string, char_at_answers_zero_out_of_range)
{
    const DOMString s = "ab";
    EXPECT_EQ(u'a', s.charAt(0));
    EXPECT_EQ(u'b', s.charAt(1));
    EXPECT_EQ(0, s.charAt(2));
    EXPECT_EQ(0, s.charAt(0xFFFFFFFFu));
}

TEST(dom_string, substring_data_copies_a_clipped_range)
{
    DOMString s = "abcdef";
    DOMString part = s.substringData(1, 3);
    EXPECT_EQ("bcd", str(part));
    expect_terminated(part);
    EXPECT_EQ("ef", str(s.substringData(4, 10)));
    EXPECT_TRUE(s.substringData(2, 0) == 0);
    EXPECT_TRUE(s.substringData(6, 3) == 0);
    EXPECT_DOM_EXCEPTION(s.substringData(7, 1), DOM_DOMException::INDEX_SIZE_ERR);
    EXPECT_TRUE(DOMString().substringData(0, 5) == 0);
    // Later edits of the source do not reach the substring, nor back.
    DOMString head = s.substringData(0, 3);
    s.deleteData(0, 2);
    s.appendData(u'!');
    EXPECT_EQ("abc", str(head));
    head.appendData(u'?');
    EXPECT_EQ("cdef!", str(s));
}

TEST(dom_string, print_writes_the_local_code_page_to_stdout)
{
    EXPECT_EQ("K\xE4se", printed(&DOMString::print, DOMString("K\xE4se")));
    EXPECT_EQ("K\xE4se\n", printed(&DOMString::println, DOMString("K\xE4se")));
    EXPECT_EQ("", printed(&DOMString::print, DOMString()));
    EXPECT_EQ("\n", printed(&DOMString::println, DOMString()));
    const XMLCh euro[] = {u'1', 0x20AC, 0};
    EXPECT_EQ("1?", printed(&DOMString::print, DOMString(euro)));
}

TEST(dom_string, the_five_plus_operators)
{
    const DOMString left = "ab";
    const DOMString right = "cd";
    const DOMString sum = left + right;
    EXPECT_EQ("abcd", str(sum));
    EXPECT_TRUE(sum != left);
    EXPECT_EQ("abcd", str(left + u"cd"));
    EXPECT_EQ("cdab", str(u"cd" + left));
    EXPECT_EQ("ab!", str(left + u'!'));
    EXPECT_EQ("!ab", str(u'!' + left));
    EXPECT_EQ("xab", str("x" + left));
    EXPECT_EQ("ab", str(left));
    EXPECT_EQ("cd", str(right));
    // A null side adds nothing; a null left side still gives a new handle.
    const DOMString null;
    const DOMString fromNull = null + right;
    EXPECT_EQ("cd", str(fromNull));
    EXPECT_TRUE(fromNull != right);
    EXPECT_TRUE((null + null) == 0);
    EXPECT_EQ("ab", str(left + null));
}

// ---- what the DOM hands out: empty text is the null string ---------------------

TEST(dom_strings, get_attribute_of_an_absent_attribute_is_null)
{
    DOM_Document doc = parse_text("<r a='1'/>");
    EXPECT_TRUE(doc.getDocumentElement().getAttribute("b") == 0);
    EXPECT_EQ("1", str(doc.getDocumentElement().getAttribute("a")));
}

TEST(dom_strings, get_attribute_of_an_empty_value_is_null)
{
    DOM_Document doc = parse_text("<r a=''/>");
    const DOM_Element root = doc.getDocumentElement();
    EXPECT_TRUE(root.getAttribute("a") == 0);
    EXPECT_TRUE(root.hasAttribute("a"));
}

TEST(dom_strings, get_attribute_ns_of_an_absent_attribute_is_null)
{
    DOM_Document doc = parse_with_namespaces("<r xmlns:p='urn:p' p:a='1'/>", true);
    const DOM_Element root = doc.getDocumentElement();
    EXPECT_TRUE(root.getAttributeNS("urn:p", "b") == 0);
    EXPECT_TRUE(root.getAttributeNS("urn:q", "a") == 0);
    EXPECT_EQ("1", str(root.getAttributeNS("urn:p", "a")));
}

TEST(dom_strings, attr_value_that_is_empty_is_null)
{
    DOM_Document doc = parse_text("<r a='' b='x'/>");
    const DOM_Attr empty = doc.getDocumentElement().getAttributeNode("a");
    ASSERT_TRUE(empty != 0);
    EXPECT_TRUE(empty.getValue() == 0);
    EXPECT_TRUE(empty.getNodeValue() == 0);
    EXPECT_EQ("x", str(doc.getDocumentElement().getAttributeNode("b").getValue()));
}

TEST(dom_strings, node_value_of_nodes_without_one_is_null)
{
    DOMParser parser;
    parser.setCreateEntityReferenceNodes(true);
    const std::string text = "<!DOCTYPE r [<!ENTITY e 'x'>]><r>&e;</r>";
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    DOM_Document doc = parser.getDocument();
    const DOM_Element root = doc.getDocumentElement();
    const DOM_Node reference = root.getFirstChild();
    ASSERT_EQ(DOM_Node::ENTITY_REFERENCE_NODE, reference.getNodeType());
    EXPECT_TRUE(root.getNodeValue() == 0);
    EXPECT_TRUE(doc.getNodeValue() == 0);
    EXPECT_TRUE(doc.getDoctype().getNodeValue() == 0);
    EXPECT_TRUE(reference.getNodeValue() == 0);
    EXPECT_EQ("x", str(reference.getFirstChild().getNodeValue()));
}

TEST(dom_strings, empty_text_is_null)
{
    DOM_Document doc = parse_text("<r>abc</r>");
    DOM_Text text = doc.createTextNode(DOMString());
    EXPECT_TRUE(text.getNodeValue() == 0);
    EXPECT_TRUE(text.getData() == 0);
    DOM_Node first = doc.getDocumentElement().getFirstChild();
    DOM_Text& asText = static_cast<DOM_Text&>(first);
    asText.deleteData(0, 3);
    EXPECT_EQ(0u, asText.getLength());
    EXPECT_TRUE(asText.getData() == 0);
    EXPECT_TRUE(first.getNodeValue() == 0);
}

TEST(dom_strings, namespace_parts_are_null_without_namespaces)
{
    DOM_Document doc = parse_with_namespaces("<p:r xmlns:p='urn:p' a='1'>t</p:r>", false);
    const DOM_Element root = doc.getDocumentElement();
    EXPECT_TRUE(root.getNamespaceURI() == 0);
    EXPECT_TRUE(root.getPrefix() == 0);
    EXPECT_TRUE(root.getLocalName() == 0);
    const DOM_Attr attribute = root.getAttributeNode("a");
    EXPECT_TRUE(attribute.getNamespaceURI() == 0);
    EXPECT_TRUE(attribute.getLocalName() == 0);
    EXPECT_EQ("p:r", str(root.getTagName()));
}

TEST(dom_strings, namespace_parts_with_namespaces)
{
    DOM_Document doc = parse_with_namespaces("<p:r xmlns:p='urn:p' a='1'><c>t</c></p:r>", true);
    const DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("urn:p", str(root.getNamespaceURI()));
    EXPECT_EQ("p", str(root.getPrefix()));
    EXPECT_EQ("r", str(root.getLocalName()));
    const DOM_Node child = root.getFirstChild();
    // An unprefixed name has its local name, and neither URI nor prefix.
    EXPECT_TRUE(child.getNamespaceURI() == 0);
    EXPECT_TRUE(child.getPrefix() == 0);
    EXPECT_EQ("c", str(child.getLocalName()));
    const DOM_Attr attribute = root.getAttributeNode("a");
    EXPECT_TRUE(attribute.getNamespaceURI() == 0);
    EXPECT_TRUE(attribute.getPrefix() == 0);
    EXPECT_EQ("a", str(attribute.getLocalName()));
    // Nodes other than elements and attributes have none of the three.
    const DOM_Node text = child.getFirstChild();
    EXPECT_TRUE(text.getNamespaceURI() == 0);
    EXPECT_TRUE(text.getPrefix() == 0);
    EXPECT_TRUE(text.getLocalName() == 0);
}

TEST(dom_strings, getters_give_strings_of_their_own)
{
    DOM_Document doc = parse_text("<r a='v'>text</r>");
    const DOM_Element root = doc.getDocumentElement();
    DOMString name = root.getTagName();
    name.appendData(u'!');
    DOMString value = root.getAttribute("a");
    value.appendData(u'!');
    EXPECT_EQ("r", str(root.getTagName()));
    EXPECT_EQ("v", str(root.getAttribute("a")));
    EXPECT_TRUE(root.getTagName() != root.getTagName());
    EXPECT_TRUE(root.getTagName().equals(root.getTagName()));
}

TEST(dom_strings, the_library_reads_null_and_empty_alike)
{
    EXPECT_EQ("", DOM2STLstring(DOMString()));
    DOMString empty;
    empty.reserve(3);
    EXPECT_EQ("", DOM2STLstring(empty));
    std::ostringstream out;
    out << DOMString() << empty << DOMString("x");
    EXPECT_EQ("x", out.str());

    // An empty attribute is null in the DOM and "" through the library.
    DOM_Document doc = parse_text("<r a=''><k>v</k></r>");
    std::string value = "unchanged";
    EXPECT_TRUE(GetNamedAttributeValue(doc.getDocumentElement(), "a", value));
    EXPECT_EQ("", value);
    std::string data;
    EXPECT_TRUE(ReadNodeData(doc.getDocumentElement(), "k", data, ""));
    EXPECT_EQ("v", data);
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
