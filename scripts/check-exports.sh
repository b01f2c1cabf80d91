#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that a built libxmlutil.so exports the interface and nothing else:
# every dynamic symbol it defines must belong to an entry of the interface
# list (cmake/exports.txt, from which the version script is made too), and
# every function and named class of the list must be there.
set -euo pipefail
lib=${1:?usage: check-exports.sh path/to/libxmlutil.so [path/to/exports.txt]}
list=${2:-$(dirname "$0")/../cmake/exports.txt}

symbols=$(nm -D --defined-only "$lib" | c++filt | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }')

classes=()
polymorphic=()
functions=()
streams=()
while read -r kind name; do
    case $kind in
    class) classes+=("${name//\*/[A-Za-z]+}") ;;
    polymorphic) classes+=("$name"); polymorphic+=("$name") ;;
    function) functions+=("$name") ;;
    stream) streams+=("$name") ;;
    '' | '#'*) ;;
    *) echo "$list: unknown kind '$kind'"; exit 2 ;;
    esac
done < "$list"

join() {
    local IFS='|'
    echo "$*"
}
allowed="^(($(join "${classes[@]}"))::"
allowed+="|(typeinfo|typeinfo name|vtable) for ($(join "${polymorphic[@]}"))\$"
allowed+="|($(join "${functions[@]}"))(\\[abi:cxx11\\])?\\("
allowed+="|operator<<\\(std::basic_ostream<char, std::char_traits<char> >&, ($(join "${streams[@]}"))&\\)\$)"

status=0
unexpected=$(grep -Ev "$allowed" <<<"$symbols" || true)
if [ -n "$unexpected" ]; then
    echo "not part of the interface, but exported:"
    echo "$unexpected"
    status=1
fi

for name in "${functions[@]}"; do
    if ! grep -Eq "^$name(\[abi:cxx11\])?\(" <<<"$symbols"; then
        echo "missing from the exports: $name"
        status=1
    fi
done
for class in "${classes[@]}"; do
    if [[ $class != *'[A-Za-z]+' ]] && ! grep -q "^$class::" <<<"$symbols"; then
        echo "missing from the exports: $class"
        status=1
    fi
done

count=$(wc -l <<<"$symbols")
if [ "$status" -eq 0 ]; then
    echo "exported symbols: $count, all part of the interface"
fi
exit "$status"
