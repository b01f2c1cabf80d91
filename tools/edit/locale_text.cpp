// SPDX-License-Identifier: Apache-2.0
#include "locale_text.h"

#include "xml_doc.h"

#include <clocale>
#include <langinfo.h>

namespace xmlutil_edit {

namespace {

// The locale's encoding, or empty where the tool works in UTF-8 as it is.
std::string& locale_codeset()
{
    static std::string codeset;
    return codeset;
}

} // namespace

void use_user_locale()
{
    std::setlocale(LC_ALL, "");
    const std::string codeset = nl_langinfo(CODESET);
    // ASCII is the C locale's: there UTF-8 passes through as bytes.
    locale_codeset() = codeset == "UTF-8" || codeset == "ANSI_X3.4-1968" ? std::string() : codeset;
}

std::string argument_text(const std::string& arg, const std::string& what)
{
    const std::string& codeset = locale_codeset();
    if (codeset.empty()) {
        if (!valid_utf8(arg)) {
            throw failure(2, what + " is not valid UTF-8");
        }
        return arg;
    }
    std::string out;
    if (!recode(codeset.c_str(), "UTF-8", arg, out)) {
        throw failure(2, what + " is not valid " + codeset);
    }
    return out;
}

std::string output_text(const std::string& text)
{
    const std::string& codeset = locale_codeset();
    if (codeset.empty()) {
        return text;
    }
    std::string out;
    if (!recode("UTF-8", codeset.c_str(), text, out)) {
        throw failure(2, "the text holds a character that the locale's encoding " + codeset + " cannot show");
    }
    return out;
}

} // namespace xmlutil_edit
