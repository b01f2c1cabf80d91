#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages the build, the tests and the API reference need, if missing.
# Usage: scripts/deps.sh [package ...]   (extra packages are added to the list)
set -euo pipefail

# groff renders the manual page in its test; dpkg-dev gives cpack dpkg-shlibdeps
# for the Debian package's Depends; xmllint (libxml2-utils) is the independent
# parser of the corpus test; patch applies the tool's --dry-run diffs in tests;
# zsh runs the test of the zsh completion.
packages=(cmake make g++ binutils libxerces-c-dev libgtest-dev locales doxygen pkg-config groff-base dpkg-dev libxml2-utils zsh patch "$@")
if [ "${XMLUTIL_WITH_BENCH:-0}" = 1 ]; then
    packages+=(libbenchmark-dev libssl-dev libpugixml-dev)
fi
missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done
if [ "${#missing[@]}" -eq 0 ]; then
    exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
echo "installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
