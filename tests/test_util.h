// Helpers shared by the tests.
#ifndef XMLUTIL_TEST_UTIL_H
#define XMLUTIL_TEST_UTIL_H

#include "xmlutil.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstddef>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
// From the sanitizer runtime; GCC ships no header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

// Bytes in use on the heap right now: what the tests that prove documents
// are freed compare.
inline std::size_t heap_in_use()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

// Expects `statement` to throw exactly `exception_type` whose what() is
// exactly `expected_message`.
#define EXPECT_THROW_MSG(statement, exception_type, expected_message)                         \
    do {                                                                                      \
        bool xmlutil_caught_ = false;                                                         \
        try {                                                                                 \
            statement;                                                                        \
        } catch (const exception_type& xmlutil_e_) {                                          \
            xmlutil_caught_ = true;                                                           \
            EXPECT_EQ(std::string(expected_message), std::string(xmlutil_e_.what()));         \
        }                                                                                     \
        EXPECT_TRUE(xmlutil_caught_) << #statement " did not throw " #exception_type;          \
    } while (false)

// Parses `xml` from memory without validation.
inline DOM_Document parse_text(const std::string& xml, bool validate = false)
{
    return ParseBuffer(xml.data(), static_cast<unsigned int>(xml.size()), validate);
}

// A DOMString as 8-bit text.
inline std::string str(const DOMString& text)
{
    return DOM2STLstring(text);
}

// Expects `statement` to throw DOM_DOMException with `expected_code`.
#define EXPECT_DOM_EXCEPTION(statement, expected_code)                                        \
    do {                                                                                      \
        bool xmlutil_caught_ = false;                                                         \
        try {                                                                                 \
            statement;                                                                        \
        } catch (const DOM_DOMException& xmlutil_e_) {                                        \
            xmlutil_caught_ = true;                                                           \
            EXPECT_EQ(static_cast<int>(expected_code), static_cast<int>(xmlutil_e_.code));   \
        }                                                                                     \
        EXPECT_TRUE(xmlutil_caught_) << #statement " did not throw DOM_DOMException";          \
    } while (false)

#endif // XMLUTIL_TEST_UTIL_H
