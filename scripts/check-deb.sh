#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Debian package of a build tree and checks it: the files it must
# hold, its dependency on Xerces-C, and the tool run from the unpacked tree.
# As root (as in CI) the package is also installed with dpkg -i, the
# installed /usr/bin/xmlutil run, and the package purged again; set
# XMLUTIL_DEB_INSTALL=0 to leave the system alone.
#
#   scripts/check-deb.sh BUILD_DIR VERSION
set -euo pipefail

build=$(cd "$1" && pwd -P)
version=$2
work=$(mktemp -d "${TMPDIR:-/tmp}/xmlutil-deb.XXXXXX")
installed=0
cleanup() {
    if [ "$installed" = 1 ]; then
        dpkg -P xmlutil > /dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

cpack --config "$build/CPackConfig.cmake" -G DEB -B "$work/out" > "$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; echo "FAIL: cpack"; exit 1; }
deb=$(ls "$work"/out/xmlutil_"$version"_*.deb)
echo "package: $(basename "$deb")"

dpkg-deb -c "$deb" | awk '{ print $6 }' | sed 's|^\./||' > "$work/files"
for file in \
    usr/bin/xmlutil \
    usr/lib/libxmlutil.so \
    usr/lib/libxmlutil.so.1 \
    "usr/lib/libxmlutil.so.$version" \
    usr/include/xmlutil.h \
    usr/include/xmlutil_dom.h \
    usr/include/xmlutil-classic/dom/DOM.hpp \
    usr/include/xmlutil-classic/parsers/DOMParser.hpp \
    usr/include/xmlutil-classic/xercesc/dom/deprecated/DOM.hpp \
    usr/include/xmlutil-classic-1.7/xercesc/dom/DOM.hpp \
    usr/lib/cmake/xmlutil/xmlutilConfig.cmake \
    usr/lib/cmake/xmlutil/xmlutilConfigVersion.cmake \
    usr/lib/cmake/xmlutil/xmlutilTargets.cmake \
    usr/lib/pkgconfig/xmlutil.pc \
    usr/lib/pkgconfig/xmlutil-classic.pc \
    usr/share/man/man1/xmlutil.1 \
    usr/share/bash-completion/completions/xmlutil \
    usr/share/zsh/vendor-completions/_xmlutil \
    usr/share/doc/xmlutil/copyright; do
    grep -qx "$file" "$work/files" || fail "the package lacks /$file"
done

# The API reference goes in once it was built (`--target docs`).
if [ -f "$build/docs/html/index.html" ]; then
    grep -qx usr/share/doc/xmlutil/html/index.html "$work/files" || fail "the package lacks the API reference"
fi

depends=$(dpkg-deb -f "$deb" Depends)
[[ ", $depends," == *", libxerces-c3.2"[,\ ]* ]] || fail "Depends has no libxerces-c3.2: $depends"
[ "$(dpkg-deb -f "$deb" Package)" = xmlutil ] || fail "package name"
[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "package version"

# The unpacked tree: the tool finds the library beside it, not the build's.
dpkg -x "$deb" "$work/root"
tool=$work/root/usr/bin/xmlutil
library=$(ldd "$tool" | sed -n 's/^[[:space:]]*libxmlutil\.so\.1 => \([^ ]*\) .*/\1/p')
[ -n "$library" ] && [ "$(realpath "$library")" = "$(realpath "$work/root/usr/lib/libxmlutil.so.$version")" ] ||
    fail "the unpacked tool does not load the unpacked library: $(ldd "$tool" | grep libxmlutil)"
[ "$("$tool" --version | head -n 1)" = "xmlutil $version" ] || fail "unpacked: xmlutil --version"
printf '<config><port>8080</port></config>\n' > "$work/config.xml"
[ "$("$tool" get "$work/config.xml" config/port)" = 8080 ] || fail "unpacked: xmlutil get"

if [ "$(id -u)" = 0 ] && [ "${XMLUTIL_DEB_INSTALL:-1}" != 0 ]; then
    if dpkg-query -W -f='${Status}' xmlutil 2> /dev/null | grep -q "ok installed"; then
        fail "a package xmlutil is installed already; not replacing it"
    else
        installed=1
        dpkg -i "$deb" > "$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg -i"; }
        [ "$(/usr/bin/xmlutil --version | head -n 1)" = "xmlutil $version" ] || fail "installed: xmlutil --version"
        [ "$(/usr/bin/xmlutil get "$work/config.xml" config/port)" = 8080 ] || fail "installed: xmlutil get"
        dpkg -P xmlutil > "$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg -P"; }
        installed=0
        [ ! -e /usr/bin/xmlutil ] || fail "/usr/bin/xmlutil left after dpkg -P"
    fi
fi

if [ "$failures" -gt 0 ]; then
    exit 1
fi
echo "package checked"
