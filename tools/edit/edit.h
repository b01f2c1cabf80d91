// SPDX-License-Identifier: Apache-2.0
// Edits that change only the bytes of one value, element or attribute of a
// file, checked by parsing the result again before anything is written.
#ifndef XMLUTIL_TOOLS_EDIT_EDIT_H
#define XMLUTIL_TOOLS_EDIT_EDIT_H

#include "path.h"
#include "xml_doc.h"

#include <memory>
#include <string>

namespace xmlutil_edit {

// A document read from bytes that Xerces-C accepted.
struct loaded_document {
    std::string label;
    file_encoding encoding;
    std::unique_ptr<xml_doc> doc;
};

// Checks `bytes` with Xerces-C, then scans them. Throws failure(3).
loaded_document load_document(const std::string& bytes, const std::string& label);

enum class edit_kind { set, add, remove };

struct edit_result {
    std::string bytes; // the file's new bytes
    std::string text;  // the same as UTF-8 text
};

// Applies the edit to the document and returns the file's new content, after
// checking that it parses and that nothing but the edited node changed.
// `value` is UTF-8; ignored by remove. Throws failure: 1 no match, 2 a path
// or value the edit cannot take, 3 the result would not read back as meant.
edit_result apply_edit(const loaded_document& in, edit_kind kind, const path& p, const namespaces& ns,
                       const std::string& value, bool has_value);

// A unified diff of the two texts with 3 lines of context; both headers
// name `label`. Empty when they are equal.
std::string unified_diff(const std::string& before, const std::string& after, const std::string& label);

} // namespace xmlutil_edit

#endif // XMLUTIL_TOOLS_EDIT_EDIT_H
