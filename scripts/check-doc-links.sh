#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the API reference of a build tree and checks it: every link to a
# local page or image leads to a file of the reference (so none is left
# pointing at a Markdown file), and no internal record (xmlutil_detail) shows.
#
#   scripts/check-doc-links.sh BUILD_DIR HTML_DIR
set -euo pipefail
build=$1
html=$2
cmake --build "$build" --target docs > /dev/null
cd "$html"
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}
[ -f index.html ] || fail "no index.html"
for page in md_docs_classic_dom.html; do
    [ -f "$page" ] || fail "no page $page"
done
# href="X" and src="X" for local X, without the #fragment.
while IFS=: read -r page link; do
    target=${link%%#*}
    [ -z "$target" ] && continue
    case $target in
    http:* | https:* | mailto:* | javascript:*) continue ;;
    esac
    [ -e "$target" ] || fail "$page links to $target, which is not there"
done < <(grep -o -E '(href|src)="[^"]*"' ./*.html | sed -E 's|^\./||; s/:(href|src)="/:/; s/"$//' | sort -u)
# No page of its own for anything internal, and no class page that shows one
# (the header's own text, on its file page, names them in a macro).
ls | grep -q 'xmlutil__detail' && fail "pages of xmlutil_detail: $(ls | grep xmlutil__detail | tr '\n' ' ')"
if grep -l 'xmlutil_detail' ./class*.html ./struct*.html > "$build/detail.list" 2> /dev/null; then
    fail "xmlutil_detail in $(tr '\n' ' ' < "$build/detail.list")"
fi
rm -f "$build/detail.list"
[ "$failures" = 0 ] || exit 1
echo "reference checked"
