#!/usr/bin/env bash
# Builds the library and runs the example program, which parses the bundled
# sample configuration (or the file given) and prints the values it reads.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DXMLUTIL_BUILD_TESTS=OFF > /dev/null
cmake --build build/release --target read_config -j "$(nproc)" > /dev/null
build/release/examples/read_config "$@"
