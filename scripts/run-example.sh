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

show get config.xml service/database/host
show get config.xml service/database/user/@role
show get config.xml service/database/password --default secret
show get --all config.xml service/servers/server/@name
show get config.xml "service/servers/server[@name='beta']"
show list config.xml service/servers
show set --dry-run config.xml service/database/port 6543
show set config.xml service/database/port 6543
show add config.xml service/servers/server 10.0.0.4
show delete config.xml service/logging/rotate/@compress
show get config.xml service/database/port
show format config.xml
