// Checks, before a file is replaced, that the bytes an edit wrote read back
// as the document the edit meant, and says where they would not.
#ifndef XMLUTIL_TOOLS_EDIT_CHECK_H
#define XMLUTIL_TOOLS_EDIT_CHECK_H

#include "xmlutil.h"

#include <cstddef>
#include <functional>
#include <string>

namespace xmlutil_cli {

// The first place where two documents differ in what they say. Formatting
// is not compared: white-space-only text, the white space around text and
// attribute values, and the order of attributes.
struct document_difference {
    bool found = false;
    std::string what; // what would happen to which construct, as a clause
    // Which construct of the original (document type declaration, element,
    // CDATA section, comment, processing instruction or entity reference,
    // counted from 0 in document order) the difference lies in or follows;
    // -1 when it lies before all of them.
    long construct = -1;
};

// Compares `intended`, the edited document, with `written`, what its bytes
// read back as. `is_new` tells the nodes the edit created: they have no
// place in the original and are not counted as its constructs.
document_difference compare_documents(const DOM_Node& intended, const DOM_Node& written,
                                      const std::function<bool(const DOM_Node&)>& is_new);

// The first construct of `intended` whose name, or whose text where no
// character reference can stand (comment, processing instruction, CDATA
// section), holds a character the library's ISO-8859-1 output cannot.
document_difference find_unwritable(const DOM_Node& intended, const std::function<bool(const DOM_Node&)>& is_new);

// The line and column at which the parser reports construct number
// `construct` of the document in `bytes`, counted as compare_documents
// counts them. Reads nothing but `bytes`: no DTD, no external entity.
// False when the document has fewer constructs or cannot be read.
bool locate_construct(const std::string& bytes, long construct, unsigned long& line, unsigned long& column);

} // namespace xmlutil_cli

#endif // XMLUTIL_TOOLS_EDIT_CHECK_H
