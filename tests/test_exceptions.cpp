// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace {

// Reaches the protected members of the exception.
class ExposedException : public cTextException {
public:
    explicit ExposedException(const char* text) : cTextException("%s", text) {}
    ExposedException(int number, const char* text) : cTextException("%d %s", number, text) {}
    explicit ExposedException(const cTextException& other) : cTextException(other) {}
    std::int32_t reserved() const { return iReserved; }
    const char* message_begin() const { return caMessage; }
    static constexpr std::size_t message_size() { return sizeof(caMessage); }
    static constexpr bool reserved_is_int32() { return std::is_same<decltype(iReserved), std::int32_t>::value; }
};

// SAXParseException copies its texts with the parser's memory manager, which
// exists only once the parser library has been initialised.
void init_parser_library()
{
    static const bool done = [] {
        XMLPlatformUtils::Initialize();
        return true;
    }();
    (void)done;
}

std::unique_ptr<SAXParseException> report(const XMLCh* message, const XMLCh* systemId, unsigned int line,
                                          unsigned int column, const XMLCh* publicId = u"-//PUB//ID")
{
    init_parser_library();
    return std::make_unique<SAXParseException>(message, publicId, systemId, line, column);
}

// The text of the cTextException that `call` throws; a failure when it throws
// nothing or something else.
template <class F>
std::string thrown_text(F&& call)
{
    try {
        call();
    } catch (const cTextException& e) {
        return e.what();
    } catch (...) {
        ADD_FAILURE() << "threw something other than cTextException";
        return "<other exception>";
    }
    ADD_FAILURE() << "threw nothing";
    return "<no exception>";
}

// A fixed message handed over as the format itself, without arguments, as
// the library's own callers do; the text is not a literal here.
cTextException fixed_message(const char* message)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    return cTextException(message);
#pragma GCC diagnostic pop
}

bool starts_with(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool ends_with(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// Only a warning: the attribute 'a' is declared twice. Found at line 1, column 72.
const std::string kWarningOnly =
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r a CDATA #IMPLIED><!ATTLIST r a CDATA #IMPLIED>]><r/>";
const std::string kWarningTail = ", line 1, char 72): attribute 'a' has already been declared for element 'r'\n";

// A file in the temporary directory, removed again when the test ends.
class TempFile {
public:
    explicit TempFile(const std::string& content)
    {
        std::string pattern = ::testing::TempDir() + "xmlutil_exceptions_XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        const int fd = mkstemp(name.data());
        if (fd < 0)
            return;
        fPath = name.data();
        const ssize_t written = write(fd, content.data(), content.size());
        close(fd);
        fOk = written == static_cast<ssize_t>(content.size());
    }
    ~TempFile()
    {
        if (!fPath.empty())
            std::remove(fPath.c_str());
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    bool ok() const { return fOk; }
    const std::string& path() const { return fPath; }

private:
    std::string fPath;
    bool fOk = false;
};

} // namespace

// ---- cTextException ---------------------------------------------------------------

TEST(text_exception, interface_promises)
{
    EXPECT_TRUE((std::is_base_of<std::exception, cTextException>::value));
    EXPECT_TRUE((std::is_convertible<cTextException*, std::exception*>::value));
    EXPECT_TRUE(std::is_nothrow_destructible<cTextException>::value);
    EXPECT_TRUE(std::has_virtual_destructor<cTextException>::value);
    EXPECT_TRUE(noexcept(std::declval<const cTextException&>().what()));
    EXPECT_TRUE(std::is_copy_constructible<cTextException>::value);
    EXPECT_TRUE(std::is_copy_assignable<cTextException>::value);
    EXPECT_FALSE(std::is_default_constructible<cTextException>::value);
    EXPECT_FALSE((std::is_constructible<cTextException, std::string>::value));
    EXPECT_EQ(256u, ExposedException::message_size());
    EXPECT_TRUE(ExposedException::reserved_is_int32());
}

TEST(text_exception, formats_like_printf)
{
    const cTextException e("%s-%d-%u-%x-%c-%05.1f|%-4s|%3d", "ab", -7, 42u, 255u, 'z', 3.14159, "l", 5);
    EXPECT_STREQ("ab--7-42-ff-z-003.1|l   |  5", e.what());
}

TEST(text_exception, fixed_messages_come_back_unchanged)
{
    const std::vector<std::string> messages = {
        "cXML_Utility::SaveToStream(): cannot save an empty class!",
        "cXML_Utility::operator= : operator failed to copy an empty class!",
        "no conversion here",
        "a",
        "tab\there, newline at the end\n",
        "\n",
        "",
        "\xE4\xF6\xFC\xDF",
    };
    for (const std::string& message : messages) {
        const cTextException e("%s", message.c_str());
        EXPECT_EQ(message, e.what());
    }
    const cTextException fixed("cXML_Utility::SaveToStream(): cannot save an empty class!");
    EXPECT_STREQ("cXML_Utility::SaveToStream(): cannot save an empty class!", fixed.what());
}

TEST(text_exception, fixed_message_as_format_without_arguments)
{
    // Callers pass a fixed message as the format itself; a runtime string
    // without any conversion must come back byte for byte.
    const char* const messages[] = {"plain text", "ends in a newline\n", "", "trailing blank "};
    for (const char* message : messages) {
        const cTextException e = fixed_message(message);
        EXPECT_STREQ(message, e.what());
    }
}

TEST(text_exception, doubled_percent_sign_gives_one)
{
    const cTextException e("100%% sure, %d%%", 50);
    EXPECT_STREQ("100% sure, 50%", e.what());
    const cTextException fixed("%%");
    EXPECT_STREQ("%", fixed.what());
}

TEST(text_exception, no_newline_is_added_or_removed)
{
    const cTextException plain("%s", "no newline");
    EXPECT_STREQ("no newline", plain.what());
    const cTextException with("%s", "one newline\n");
    EXPECT_STREQ("one newline\n", with.what());
    const cTextException two("%s", "\n\n");
    EXPECT_STREQ("\n\n", two.what());
}

TEST(text_exception, message_is_cut_after_254_characters)
{
    struct Row {
        std::size_t length;
        std::size_t kept;
    };
    const Row rows[] = {{0, 0}, {1, 1}, {253, 253}, {254, 254}, {255, 254}, {256, 254}, {300, 254}, {5000, 254}};
    for (const Row& row : rows) {
        std::string text;
        for (std::size_t i = 0; i < row.length; ++i)
            text += static_cast<char>('a' + i % 26);
        const cTextException e("%s", text.c_str());
        EXPECT_EQ(text.substr(0, row.kept), e.what()) << "length " << row.length;
        EXPECT_EQ(row.kept, std::string(e.what()).size()) << "length " << row.length;
    }
}

TEST(text_exception, cut_applies_to_the_formatted_text)
{
    // 20 characters of format grow to 300 characters of message.
    const cTextException e("%0300d", 7);
    EXPECT_EQ(std::string(254, '0'), e.what());

    const std::string fixed254 = std::string(250, 'f') + "tail";
    const cTextException whole = fixed_message(fixed254.c_str());
    EXPECT_EQ(fixed254, whole.what());

    const std::string fixed255 = fixed254 + "X";
    const cTextException cut = fixed_message(fixed255.c_str());
    EXPECT_EQ(fixed254, cut.what());
}

TEST(text_exception, what_points_into_the_object)
{
    const ExposedException e("inside");
    EXPECT_EQ(e.message_begin(), e.what());
    const char* const begin = reinterpret_cast<const char*>(&e);
    EXPECT_GE(e.what(), begin);
    EXPECT_LT(e.what(), begin + sizeof e);
}

TEST(text_exception, copy_keeps_the_message_after_the_original_is_gone)
{
    std::unique_ptr<cTextException> original(new cTextException("copied %d", 42));
    const cTextException copy(*original);
    EXPECT_NE(original->what(), copy.what());
    original.reset();
    EXPECT_STREQ("copied 42", copy.what());

    cTextException assigned("other");
    {
        const cTextException source("assigned %s", "text");
        assigned = source;
    }
    EXPECT_STREQ("assigned text", assigned.what());
}

TEST(text_exception, what_of_a_copy_points_into_the_copy)
{
    const cTextException original("%s", "where");
    const cTextException copy(original);
    const char* const begin = reinterpret_cast<const char*>(&copy);
    EXPECT_GE(copy.what(), begin);
    EXPECT_LT(copy.what(), begin + sizeof copy);
    EXPECT_STREQ("where", copy.what());
}

TEST(text_exception, caught_as_std_exception)
{
    bool caught = false;
    try {
        throw cTextException("thrown %s", "away");
    } catch (const std::exception& e) {
        caught = true;
        EXPECT_STREQ("thrown away", e.what());
    }
    EXPECT_TRUE(caught);
}

TEST(text_exception, copy_out_of_a_handler_outlives_the_thrown_object)
{
    cTextException kept("unset");
    try {
        const std::string local = "from a local string";
        throw cTextException("%s", local.c_str());
    } catch (const cTextException& e) {
        kept = e;
    }
    EXPECT_STREQ("from a local string", kept.what());
}

TEST(text_exception, reserved_field_is_zero)
{
    const ExposedException fixed("fixed");
    EXPECT_EQ(0, fixed.reserved());
    const ExposedException formatted(-1, "x");
    EXPECT_STREQ("-1 x", formatted.what());
    EXPECT_EQ(0, formatted.reserved());
    const ExposedException cut(std::string(400, '1').c_str());
    EXPECT_EQ(0, cut.reserved());
    const ExposedException copy(static_cast<const cTextException&>(formatted));
    EXPECT_EQ(0, copy.reserved());
}

// ---- XMLUtilError called directly ---------------------------------------------------

TEST(error_handler, warning_text)
{
    const auto e = report(u"something odd", u"input.xml", 3, 14);
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.warning(*e), cTextException,
                     "Warning at (file input.xml, line 3, char 14): something odd\n");
}

TEST(error_handler, error_text)
{
    const auto e = report(u"not valid", u"input.xml", 7, 1);
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.error(*e), cTextException, "Error at (file input.xml, line 7, char 1): not valid\n");
}

TEST(error_handler, fatal_error_text)
{
    const auto e = report(u"not well-formed", u"/tmp/some file.xml", 12, 345);
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.fatalError(*e), cTextException,
                     "Fatal Error at (file /tmp/some file.xml, line 12, char 345): not well-formed\n");
}

TEST(error_handler, calls_through_the_parser_interface)
{
    const auto e = report(u"m", u"s", 1, 2);
    XMLUtilError handler;
    ErrorHandler& base = handler;
    EXPECT_THROW_MSG(base.warning(*e), cTextException, "Warning at (file s, line 1, char 2): m\n");
    EXPECT_THROW_MSG(base.error(*e), cTextException, "Error at (file s, line 1, char 2): m\n");
    EXPECT_THROW_MSG(base.fatalError(*e), cTextException, "Fatal Error at (file s, line 1, char 2): m\n");
}

TEST(error_handler, public_id_is_not_part_of_the_text)
{
    const auto e = report(u"msg", u"sys", 4, 5, u"-//SHOULD NOT APPEAR//EN");
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.error(*e), cTextException, "Error at (file sys, line 4, char 5): msg\n");
}

TEST(error_handler, line_and_column_zero)
{
    const auto e = report(u"start", u"sys", 0, 0);
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.warning(*e), cTextException, "Warning at (file sys, line 0, char 0): start\n");
}

TEST(error_handler, null_system_id_and_message_render_as_empty)
{
    XMLUtilError handler;
    const auto both = report(nullptr, nullptr, 3, 4, nullptr);
    EXPECT_THROW_MSG(handler.warning(*both), cTextException, "Warning at (file , line 3, char 4): \n");
    EXPECT_THROW_MSG(handler.error(*both), cTextException, "Error at (file , line 3, char 4): \n");
    EXPECT_THROW_MSG(handler.fatalError(*both), cTextException, "Fatal Error at (file , line 3, char 4): \n");

    const auto noSystem = report(u"message", nullptr, 1, 1);
    EXPECT_THROW_MSG(handler.error(*noSystem), cTextException, "Error at (file , line 1, char 1): message\n");

    const auto noMessage = report(nullptr, u"file.xml", 1, 1);
    EXPECT_THROW_MSG(handler.error(*noMessage), cTextException, "Error at (file file.xml, line 1, char 1): \n");
}

TEST(error_handler, latin1_characters_become_single_bytes)
{
    // The local code page is ISO-8859-1: U+00E4 is the byte 0xE4.
    const auto e = report(u"unerwartetes \u00E4 und \u00FF", u"d\u00E4tei.xml", 2, 3);
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.fatalError(*e), cTextException,
                     "Fatal Error at (file d\xE4tei.xml, line 2, char 3): unerwartetes \xE4 und \xFF\n");
}

TEST(error_handler, characters_above_latin1_become_question_marks)
{
    const auto e = report(u"euro \u20AC sign \u0100", u"\u0391.xml", 5, 6);
    XMLUtilError handler;
    EXPECT_THROW_MSG(handler.warning(*e), cTextException, "Warning at (file ?.xml, line 5, char 6): euro ? sign ?\n");
}

TEST(error_handler, long_report_is_cut_to_254_characters)
{
    const std::u16string message(300, u'm');
    const auto e = report(message.c_str(), u"sys", 1, 1);
    XMLUtilError handler;
    const std::string full = "Error at (file sys, line 1, char 1): " + std::string(300, 'm') + "\n";
    EXPECT_THROW_MSG(handler.error(*e), cTextException, full.substr(0, 254));
}

TEST(error_handler, reset_errors_any_number_of_times_has_no_effect)
{
    const auto e = report(u"after reset", u"sys", 9, 8);
    XMLUtilError handler;
    for (int i = 0; i < 1000; ++i)
        EXPECT_NO_THROW(handler.resetErrors());
    EXPECT_THROW_MSG(handler.warning(*e), cTextException, "Warning at (file sys, line 9, char 8): after reset\n");
    handler.resetErrors();
    handler.resetErrors();
    EXPECT_THROW_MSG(handler.error(*e), cTextException, "Error at (file sys, line 9, char 8): after reset\n");
    EXPECT_THROW_MSG(handler.fatalError(*e), cTextException,
                     "Fatal Error at (file sys, line 9, char 8): after reset\n");
    EXPECT_NO_THROW(handler.resetErrors());
}

// ---- Parser reports through ParseBuffer and ParseFile --------------------------------

TEST(parse_report, warning_only_buffer_throws_the_warning)
{
    const std::string expected = "Warning at (file XMLRead_ParseBufferID" + kWarningTail;
    EXPECT_THROW_MSG(parse_text(kWarningOnly, false), cTextException, expected);
    EXPECT_THROW_MSG(parse_text(kWarningOnly, true), cTextException, expected);
}

TEST(parse_report, warning_only_buffer_text_starts_with_warning)
{
    for (const bool validate : {false, true}) {
        const std::string text = thrown_text([&] { parse_text(kWarningOnly, validate); });
        EXPECT_TRUE(starts_with(text, "Warning at (file ")) << text;
    }
}

TEST(parse_report, warning_only_file_throws_the_warning)
{
    const TempFile file(kWarningOnly);
    ASSERT_TRUE(file.ok()) << file.path();
    const std::string base = file.path().substr(file.path().rfind('/') + 1);
    for (const bool validate : {false, true}) {
        const std::string text = thrown_text([&] { ParseFile(file.path(), validate); });
        EXPECT_TRUE(starts_with(text, "Warning at (file ")) << text;
        EXPECT_TRUE(ends_with(text, kWarningTail)) << text;
        EXPECT_NE(std::string::npos, text.find(base)) << text;
    }
}

TEST(parse_report, fatal_error_in_a_buffer_names_the_buffer_id)
{
    EXPECT_THROW_MSG(parse_text("<r>\n  <a></r>"), cTextException,
                     "Fatal Error at (file XMLRead_ParseBufferID, line 2, char 8): expected end of tag 'a'\n");
}

TEST(parse_report, fatal_errors_in_buffers)
{
    struct Row {
        std::string xml;
        std::string expected;
    };
    const std::vector<Row> rows = {
        {"<r>\n  <a></r>", "Fatal Error at (file XMLRead_ParseBufferID, line 2, char 8): expected end of tag 'a'\n"},
        {"<r>\n<a", "Fatal Error at (file XMLRead_ParseBufferID, line 2, char 3): unexpected end of input\n"},
        {"<r/>x",
         "Fatal Error at (file XMLRead_ParseBufferID, line 1, char 5): comment or processing instruction expected\n"},
        {"hello", "Fatal Error at (file XMLRead_ParseBufferID, line 1, char 1): invalid document structure\n"},
        {"", "Fatal Error at (file XMLRead_ParseBufferID, line 1, char 1): invalid document structure\n"},
        {"   ", "Fatal Error at (file XMLRead_ParseBufferID, line 1, char 4): invalid document structure\n"},
    };
    // Without validation: with it, an undeclared element would be reported first.
    for (const Row& row : rows)
        EXPECT_THROW_MSG(parse_text(row.xml, false), cTextException, row.expected);
}

TEST(parse_report, validation_error_without_dtd_is_an_error)
{
    const std::string xml = "<r>\n <a/><b x=\"1\"/></r>";
    EXPECT_THROW_MSG(parse_text(xml, true), cTextException,
                     "Error at (file XMLRead_ParseBufferID, line 1, char 3): no declaration found for element 'r'\n");
    EXPECT_NO_THROW(parse_text(xml, false));
}
