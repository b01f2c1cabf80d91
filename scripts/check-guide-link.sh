#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the by-hand build line of docs/guide.md on the guide's first program,
# against the library installed from a build tree into a temporary prefix
# (standing in for /opt/xmlutil), and runs the program: with the line's
# rpath, and built without it under LD_LIBRARY_PATH.
#
#   scripts/check-guide-link.sh BUILD_DIR
set -euo pipefail
source=$(cd "$(dirname "$0")/.." && pwd -P)
build=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/xmlutil-guide.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" > /dev/null
cd "$work"
# The first C++ block of the guide is main.cpp.
awk '/^```cpp$/ { on = 1; next } on && /^```$/ { exit } on { print }' "$source/docs/guide.md" > main.cpp
[ -s main.cpp ] || { echo "FAIL: no C++ block in the guide"; exit 1; }
line=$(grep -E '^    g\+\+ .*-lxmlutil' "$source/docs/guide.md" | head -n 1 | sed 's/^    //')
[ -n "$line" ] || { echo "FAIL: no g++ line in the guide"; exit 1; }
line=${line//\/opt\/xmlutil/$prefix}
echo "$line"
eval "$line"

printf '<config><database><host>db.example.local</host></database></config>\n' > config.xml
out=$(./app)
[ "$out" = "host: db.example.local" ] || { echo "FAIL: ./app printed '$out'"; exit 1; }

# Without the rpath the loader needs LD_LIBRARY_PATH, as the guide says.
eval "${line/ -Wl,-rpath,$prefix\/lib/} -o app-norpath"
if ./app-norpath > /dev/null 2>&1; then
    echo "FAIL: app-norpath found libxmlutil.so.1 without LD_LIBRARY_PATH"
    exit 1
fi
out=$(LD_LIBRARY_PATH=$prefix/lib ./app-norpath)
[ "$out" = "host: db.example.local" ] || { echo "FAIL: LD_LIBRARY_PATH ./app-norpath printed '$out'"; exit 1; }
echo "guide's build line checked"
