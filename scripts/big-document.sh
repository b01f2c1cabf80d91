#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Parses, edits, saves and re-parses a generated document of about 100 MB,
# through xmlutil and through raw Xerces-C 3.2, each in its own process, and
# prints time and peak memory. Run by hand: scripts/big-document.sh [MB]
set -euo pipefail
cd "$(dirname "$0")/.."

megabytes=${1:-100}
scripts/deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DXMLUTIL_BUILD_TESTS=OFF > /dev/null
cmake --build build/release --target xmlutil -j "$(nproc)" > /dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
g++ -std=c++17 -O2 -Iinclude scripts/big_document.cpp -o "$work/big_document" \
    -Lbuild/release -lxmlutil -lxerces-c -Wl,-rpath,"$PWD/build/release"

# Items of a configuration-like document until the size is reached.
awk -v limit=$((megabytes * 1000000)) 'BEGIN {
    print "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>"; print "<config>"; size = 60
    for (i = 0; size < limit; i++) {
        line = sprintf("  <item id=\"%d\" kind=\"k%d\">\n    <name>item number %d</name>\n    <value>%d &amp; %d</value>\n    <text>Stra\337e %d, M\374nchen</text>\n  </item>", i, i % 7, i, i * 3, i * 5, i)
        print line; size += length(line) + 1
    }
    print "</config>" }' > "$work/big.xml"
echo "document: $(stat -c %s "$work/big.xml") bytes"

"$work/big_document" xmlutil "$work/big.xml" "$work/out-xmlutil.xml"
echo "  output: $(stat -c %s "$work/out-xmlutil.xml") bytes"
"$work/big_document" xerces "$work/big.xml" "$work/out-xerces.xml"
echo "  output: $(stat -c %s "$work/out-xerces.xml") bytes"
