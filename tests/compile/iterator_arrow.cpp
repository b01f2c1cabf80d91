// SPDX-License-Identifier: Apache-2.0
// Compiled by the iterator_arrow_is_deprecated test, which expects the
// compiler's deprecation warning for the use of operator-> below.
#include "xmlutil.h"

#include <string>

std::string first_text(cXML_Utility& xml)
{
    std::string text;
    cXMLiterator it = xml.CreateIterator("item");
    it->ReadNodeData(text, "");
    return text;
}
