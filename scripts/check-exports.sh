#!/usr/bin/env bash
# Checks that a built libxmlutil.so exports the interface and nothing else:
# every dynamic symbol it defines must belong to a class or function of the
# interface, and every function of the interface must be there.
set -euo pipefail
lib=${1:?usage: check-exports.sh path/to/libxmlutil.so}

symbols=$(nm -D --defined-only "$lib" | c++filt | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }')

allowed='^((DOM_[A-Za-z]+|DOMString|DOMParser|cTextException|XMLUtilError|cNodeIterator|cXML_Utility|cXMLiterator)::'
allowed+='|(typeinfo|typeinfo name|vtable) for (DOM_DOMException|cTextException|XMLUtilError)$'
allowed+='|(TrimLeft|TrimRight|Trim|FindAndRepleace|ParseFile|ParseBuffer|AllowEntityFolder|GetNodeByName|DOM2STLstring'
allowed+='|ReadNodeData|GetNamedAttributeValue|GetNodeName|CreateDocument|CreateNewElement|SaveNodeData'
allowed+='|SaveDataToNode|SetNodeAttribute|Base64Encode|Base64Decode|ConvertBinaryToBase64|ConvertStringToBase64'
allowed+='|ConvertBase64ToBinary|ConvertBase64ToString|CreateTabs|TestForGarbage|outputContent|SaveNodeAttribute'
allowed+='|ReadNodeAttribute)(\[abi:cxx11\])?\('
allowed+='|operator<<\(std::basic_ostream<char, std::char_traits<char> >&, (DOMString const|DOM_Node)&\)$)'

status=0
unexpected=$(grep -Ev "$allowed" <<<"$symbols" || true)
if [ -n "$unexpected" ]; then
    echo "not part of the interface, but exported:"
    echo "$unexpected"
    status=1
fi

for name in TrimLeft TrimRight Trim FindAndRepleace ParseFile ParseBuffer AllowEntityFolder GetNodeByName DOM2STLstring \
    ReadNodeData GetNamedAttributeValue GetNodeName CreateDocument CreateNewElement SaveNodeData \
    SaveDataToNode SetNodeAttribute Base64Encode Base64Decode ConvertBinaryToBase64 ConvertStringToBase64 \
    ConvertBase64ToBinary ConvertBase64ToString CreateTabs TestForGarbage outputContent SaveNodeAttribute \
    ReadNodeAttribute; do
    if ! grep -Eq "^$name(\[abi:cxx11\])?\(" <<<"$symbols"; then
        echo "missing from the exports: $name"
        status=1
    fi
done
for class in DOM_Node DOM_Element DOM_Document DOMString DOMParser cTextException XMLUtilError cNodeIterator \
    cXML_Utility cXMLiterator; do
    if ! grep -q "^$class::" <<<"$symbols"; then
        echo "missing from the exports: $class"
        status=1
    fi
done

count=$(wc -l <<<"$symbols")
if [ "$status" -eq 0 ]; then
    echo "exported symbols: $count, all part of the interface"
fi
exit "$status"
