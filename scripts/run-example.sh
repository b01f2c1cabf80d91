#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the xmlutil command-line tool and shows its commands on a copy of the
# bundled sample configuration, printing each command line before its output.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DXMLUTIL_BUILD_TESTS=OFF > /dev/null
cmake --build build/release --target xmlutil_cli -j "$(nproc)" > /dev/null

tool=$PWD/build/release/tools/xmlutil
demo=$(mktemp -d)
trap 'rm -rf "$demo"' EXIT
cp tools/tests/data/config.xml "$demo/config.xml"
cd "$demo"

# show ARG...: the command line, then what the tool prints. A value that is
# not found (exit status 1) is an answer, not an error, so the demo goes on.
show() {
    echo "\$ xmlutil $*"
    "$tool" "$@" || echo "(exit status $?)"
    echo
}

show get config.xml database/host
show get config.xml database/user@role
show get config.xml database/password --default secret
show list config.xml servers
show set config.xml database/port 6543
show set config.xml cache/redis@db 3
show get config.xml database/port
show format config.xml
