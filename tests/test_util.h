// SPDX-License-Identifier: Apache-2.0
// Helpers shared by the tests.
#ifndef XMLUTIL_TEST_UTIL_H
#define XMLUTIL_TEST_UTIL_H

#include "xmlutil.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

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

// A new document whose root element is `root`, made without namespaces.
inline DOM_Document new_document(const char* root)
{
    return DOM_DOMImplementation::getImplementation().createDocument(DOMString(), DOMString(root),
                                                                     DOM_DocumentType());
}

// The classic downcast, as a copy: as<DOM_Element>(node).
template <class T>
T as(const DOM_Node& node)
{
    return static_cast<const T&>(node);
}

// A document <list> of `items` <item> elements holding text, large enough
// to see on the heap.
inline DOM_Document item_list(int items)
{
    DOM_Document doc = new_document("list");
    DOM_Element root = doc.getDocumentElement();
    for (int i = 0; i < items; ++i) {
        DOM_Element item = doc.createElement("item");
        item.appendChild(doc.createTextNode("some text in an item"));
        root.appendChild(item);
    }
    return doc;
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

// A fresh directory of its own, removed with everything in it at the end.
class TempDir {
public:
    TempDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "xmlutil-test-XXXXXX").string();
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        if (!mkdtemp(name.data()))
            throw std::runtime_error("mkdtemp failed");
        fPath = std::filesystem::path(name.data());
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(fPath, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return fPath; }
    std::filesystem::path operator/(const std::string& name) const { return fPath / name; }

    std::string write(const std::string& name, const std::string& content) const
    {
        const std::filesystem::path file = fPath / name;
        std::ofstream out(file, std::ios::binary);
        out << content;
        return file.string();
    }

private:
    std::filesystem::path fPath;
};

// Changes the working directory for one scope.
class CurrentDir {
public:
    explicit CurrentDir(const std::filesystem::path& dir) : fSaved(std::filesystem::current_path()) { std::filesystem::current_path(dir); }
    ~CurrentDir()
    {
        std::error_code ignored;
        std::filesystem::current_path(fSaved, ignored);
    }
    CurrentDir(const CurrentDir&) = delete;
    CurrentDir& operator=(const CurrentDir&) = delete;

private:
    std::filesystem::path fSaved;
};

#endif // XMLUTIL_TEST_UTIL_H
