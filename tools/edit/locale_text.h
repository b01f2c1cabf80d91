// SPDX-License-Identifier: Apache-2.0
// Text between the user and the tool: arguments arrive, and output leaves,
// in the encoding of the user's locale; the tool itself works in UTF-8.
#ifndef XMLUTIL_TOOLS_EDIT_LOCALE_TEXT_H
#define XMLUTIL_TOOLS_EDIT_LOCALE_TEXT_H

#include <string>

namespace xmlutil_edit {

// Takes the locale from the environment (LC_ALL, LC_CTYPE, LANG).
void use_user_locale();

// An argument in UTF-8. The C locale's ASCII takes UTF-8 as well, as a
// byte-transparent terminal shows it; bytes that are not valid UTF-8 there,
// or not valid in the locale's encoding elsewhere, throw failure(2) naming
// `what`.
std::string argument_text(const std::string& arg, const std::string& what);

// UTF-8 text in the locale's encoding (unchanged for UTF-8 and the C locale);
// a character the locale cannot show throws failure(2).
std::string output_text(const std::string& text);

} // namespace xmlutil_edit

#endif // XMLUTIL_TOOLS_EDIT_LOCALE_TEXT_H
