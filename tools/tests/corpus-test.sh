#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the xmlutil tool over one file of the real-world corpus in corpus/ and
# checks every edit, lookup and command that corpus/cases.txt lists for it.
#
#   corpus-test.sh TOOL FILE      (FILE: a "== FILE" block of corpus/cases.txt)
#
# For every edit (set, add, delete; each one on a fresh copy of the original):
#  - "-o OUT" writes the result and leaves FILE alone; FILE "-" (standard
#    input) writes the same to standard output; "--dry-run" leaves FILE
#    alone and prints a unified diff which, applied with patch(1) to the
#    original, gives OUT byte for byte (byte order mark, encoding and line
#    ends included; only for UTF-16, which patch cannot take line by line,
#    the diff is one of the text in UTF-8 without a byte order mark, and
#    applies to that text); the edit in place then leaves exactly OUT in FILE.
#  - (a) Only the edited span changes: the new bytes must be the original's
#    with one occurrence of the case's OLD text replaced by its NEW text (both
#    converted to the file's encoding), everything before and after identical.
#  - (b) libxml2 (xmllint, an independent parser) accepts the result.
#  - (c) get returns what was set, or what was added (PATH[last()]).
#  - (d) Nothing else in the document's information changed. The edit is
#    undone through the tool and the canonical form (xmllint --c14n) of the
#    result must equal the original's: a set value is set back to what get
#    printed before (or deleted, when set created it), an added element is
#    deleted again (PATH[last()]), a deleted attribute is set back. A deleted
#    element cannot be put back by one command; for it, the canonical form of
#    the new file must be the original's canonical form with one occurrence of
#    the element's canonical text (the case's OLD without carriage returns, or
#    its CANON) removed.
# Every lookup is made on FILE and on standard input ("-").
# For every file, besides the table's lookups: the Base64 round trip of its
# bytes (against coreutils base64 both ways), format (its output parses), get
# of the root element (a container: exit 1 with a message) and, after every
# command that only reads, the file unchanged. Everything runs offline: the
# DTDs that the documents name on the web are never fetched (the tool runs
# in a network namespace without a network where unshare(1) allows one).
set -euo pipefail

tool=$1
name=$2
# The checks run in a directory of their own.
[[ $tool != */* ]] || tool=$(cd "$(dirname "$tool")" && pwd -P)/$(basename "$tool")
corpus=$(cd "$(dirname "${BASH_SOURCE[0]}")/corpus" && pwd -P)
cases=$corpus/cases.txt

for program in xmllint patch perl iconv base64 cmp diff timeout; do
    if ! command -v "$program" > /dev/null; then
        echo "FAIL: $program is not installed (scripts/deps.sh installs what the tests need)"
        exit 1
    fi
done
[ -f "$corpus/$name" ] || { echo "FAIL: no corpus file $name"; exit 1; }

# Arguments and output in UTF-8, whatever the caller's locale.
export LC_ALL=C.UTF-8
unset LANGUAGE

# Where a network namespace of its own can be had, the tool runs without any
# network, so that a document type fetched from the web would show.
offline=()
if unshare -rn true 2> /dev/null; then
    offline=(unshare -rn)
elif unshare -n true 2> /dev/null; then
    offline=(unshare -n)
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/xmlutil-corpus.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/orig" "$work/c"
cp -p "$corpus"/* "$work/orig/"
cp -p "$corpus"/* "$work/c/"
# The files beside FILE (DTD, schema) are found relative to it, as in corpus/.
cd "$work/c"
orig=$work/orig/$name
failures=0
runs=0

# span.pl BEFORE AFTER FROM TO: exit 0 when AFTER is BEFORE with one
# occurrence of FROM replaced by TO (all four are files, compared as bytes).
cat > "$work/span.pl" <<'PERL'
use strict;
use warnings;
sub slurp { local $/; open(my $f, '<:raw', $_[0]) or die "$_[0]: $!"; my $d = <$f>; return defined $d ? $d : ''; }
my ($before, $after, $from, $to) = map { slurp($_) } @ARGV[0 .. 3];
exit 1 if length($after) != length($before) - length($from) + length($to);
my $at = -1;
while (($at = index($before, $from, $at + 1)) >= 0) {
    exit 0 if substr($before, 0, $at) . $to . substr($before, $at + length($from)) eq $after;
    last if length($from) == 0 && $at >= length($before);
}
exit 1;
PERL

fail() {
    echo "FAIL: $last: $*"
    failures=$((failures + 1))
}

# run ARG...: the tool, with standard input from $input (none by default).
# A run that hangs is ended after a minute, and with it the test: the other
# runs on this file would most likely hang too.
run() {
    last="xmlutil $*"
    runs=$((runs + 1))
    timeout 60 "${offline[@]}" "$tool" "$@" < "${input:-/dev/null}" > "$work/run.out" 2> "$work/run.err"
    status=$?
    if [ "$status" = 124 ]; then
        fail "no result after 60 seconds; the remaining checks of $name are skipped"
        echo "$name: $failures failures in $runs runs of the tool"
        exit 1
    fi
}

show_run() {
    echo "  exit status $status"
    echo "  stdout: $(head -c 600 "$work/run.out" | cat -A | head -n 12)"
    echo "  stderr: $(head -c 600 "$work/run.err" | cat -A | head -n 6)"
}

expect_status() {
    if [ "$status" != "$1" ]; then
        fail "exit status $status, expected $1"
        show_run
        return 1
    fi
}

# expect_out TEXT: standard output is exactly TEXT.
expect_out() {
    printf '%s' "$1" > "$work/want.out"
    if ! cmp -s "$work/want.out" "$work/run.out"; then
        fail "standard output differs (< expected, > actual)"
        diff <(cat -A "$work/want.out") <(cat -A "$work/run.out") | head -n 20 || true
    fi
}

expect_no_stderr() {
    [ ! -s "$work/run.err" ] || fail "unexpected standard error: $(head -c 300 "$work/run.err")"
}

# unchanged: FILE in the work directory is still the original.
unchanged() {
    cmp -s "$orig" "$name" || { fail "$name changed"; cp -p "$orig" "$name"; }
}

# show_bytes EXPECTED ACTUAL: where two files part.
show_bytes() {
    cmp "$1" "$2" || true
    diff <(cat -A "$1") <(cat -A "$2") | head -n 30 || true
}

# File's encoding, for the case texts that are compared with its bytes.
bom=$(head -c 2 "$orig" | od -An -tx1 | tr -d ' \n')
if [ "$bom" = fffe ]; then
    encoding=UTF-16LE
elif [ "$bom" = feff ]; then
    encoding=UTF-16BE
elif head -n 1 "$orig" | grep -qi "encoding=[\"']ISO-8859-1[\"']"; then
    encoding=ISO-8859-1
else
    encoding=UTF-8
fi

# to_file TEXT OUT: TEXT (with %b escapes) in the file's encoding.
to_file() {
    printf '%b' "$1" | iconv -f UTF-8 -t "$encoding" > "$2"
}

c14n() {
    xmllint --nonet --c14n "$1" 2> /dev/null
}

parses() {
    if ! xmllint --nonet --noout "$1" 2> "$work/xmllint.err"; then
        fail "$2 does not parse: $(grep -v 'failed to load external entity\|Attempt to load network entity' "$work/xmllint.err" | head -n 3)"
        return 1
    fi
}

is_attribute_path() {
    [[ $1 =~ (^|/)@[^/]+$ ]]
}

# ---- edits -----------------------------------------------------------------------

text_view() {
    iconv -f "$encoding" -t UTF-8 "$1" | perl -pe 's/^\x{ef}\x{bb}\x{bf}// if $. == 1'
}

# apply_diff ORIGINAL EXPECTED: patch(1) applies the last --dry-run output to
# ORIGINAL, every context line matching (no fuzz), and gives EXPECTED (a mismatch is reported; a failure to apply is
# left to the caller).
apply_diff() {
    rm -f "$work/patched.xml"
    (cd "$work" && patch --binary --fuzz=0 --no-backup-if-mismatch -s -r - -o patched.xml "$1" < dry.diff > patch.log 2>&1) || return 1
    cmp -s "$work/patched.xml" "$2" || { fail "the diff applied with patch does not give the -o result"; show_bytes "$2" "$work/patched.xml"; }
}

# check_edit KIND OPTIONS PATH VALUE OLD NEW CANON
check_edit() {
    local kind=$1 path=$3 value old new canon
    local -a opts
    read -r -a opts <<< "$2"
    value=$(printf '%b' "$4")
    to_file "$5" "$work/from"
    to_file "$6" "$work/to"
    canon=${7:-$5}
    local -a args=("$name" "$path")
    [ "$kind" = delete ] || args+=("$value")
    cp -p "$orig" "$name"

    # What was there before, to undo the edit with.
    local before_status=1 before=""
    if [ "$kind" = set ] || { [ "$kind" = delete ] && is_attribute_path "$path"; }; then
        run get "${opts[@]}" "$name" "$path"
        before_status=$status
        before=$(cat "$work/run.out"; echo x)
        before=${before%$'\nx'}
        if [ "$kind" = delete ] && [ "$before_status" != 0 ]; then
            fail "the attribute to delete is not found"
            return
        fi
    fi

    run "$kind" "${opts[@]}" -o "$work/out.xml" "${args[@]}"
    expect_status 0 || return 0
    expect_out ""
    unchanged

    # The same edit of standard input goes to standard output.
    input=$orig run "$kind" "${opts[@]}" - "${args[@]:1}"
    if expect_status 0; then
        cmp -s "$work/out.xml" "$work/run.out" || { fail "the edit of standard input differs from the -o result"; show_bytes "$work/out.xml" "$work/run.out"; }
    fi
    unchanged

    run "$kind" "${opts[@]}" --dry-run "${args[@]}"
    if expect_status 0; then
        unchanged
        local first second
        first=$(sed -n 1p "$work/run.out")
        second=$(sed -n 2p "$work/run.out")
        [[ $first == "--- $name" || $first == "--- $name"$'\t'* ]] || fail "first line of the diff is '$first'"
        [[ $second == "+++ $name" || $second == "+++ $name"$'\t'* ]] || fail "second line of the diff is '$second'"
        cp "$work/run.out" "$work/dry.diff"
        if [[ $encoding == UTF-16* ]]; then
            # The text as the reader sees it: in the locale's encoding (UTF-8
            # here), without a byte order mark.
            text_view "$orig" > "$work/orig.text"
            text_view "$work/out.xml" > "$work/out.text"
            apply_diff "$work/orig.text" "$work/out.text" || fail "the diff does not apply with patch to the file's text in UTF-8: $(head -n 3 "$work/patch.log")"
        else
            apply_diff "$orig" "$work/out.xml" || fail "the diff does not apply with patch: $(head -n 3 "$work/patch.log")"
        fi
    fi

    run "$kind" "${opts[@]}" "${args[@]}"
    expect_status 0 || return 0
    expect_out ""
    expect_no_stderr
    cmp -s "$work/out.xml" "$name" || { fail "the edit in place differs from the -o result"; show_bytes "$work/out.xml" "$name"; }

    # (a) only the edited span.
    if ! perl "$work/span.pl" "$orig" "$name" "$work/from" "$work/to"; then
        fail "the file is not the original with '$5' replaced by '$6' (< original, > new)"
        show_bytes "$orig" "$name"
    fi
    # (b) an independent parser accepts it.
    parses "$name" "the result" || true
    cp -p "$name" "$work/edited.xml"

    # (c) get returns it.
    case $kind in
    set)
        run get "${opts[@]}" "$name" "$path"
        expect_status 0 && expect_out "$value"$'\n'
        ;;
    add)
        run get "${opts[@]}" "$name" "$path[last()]"
        expect_status 0 && expect_out "$value"$'\n'
        ;;
    esac

    # (d) the rest of the information is unchanged.
    c14n "$orig" > "$work/orig.c14n"
    if [ "$kind" = delete ] && ! is_attribute_path "$path"; then
        printf '%b' "$canon" | tr -d '\r' > "$work/canon.del"
        : > "$work/empty"
        c14n "$name" > "$work/new.c14n"
        if ! perl "$work/span.pl" "$work/orig.c14n" "$work/new.c14n" "$work/canon.del" "$work/empty"; then
            fail "canonical form: not the original's without the deleted element (< original, > new)"
            show_bytes "$work/orig.c14n" "$work/new.c14n"
        fi
    else
        case $kind in
        set | delete)
            if [ "$before_status" = 0 ]; then
                run set "${opts[@]}" "$name" "$path" "$before"
            else
                run delete "${opts[@]}" "$name" "$path"
            fi
            ;;
        add)
            run delete "${opts[@]}" "$name" "$path[last()]"
            ;;
        esac
        if expect_status 0; then
            c14n "$name" > "$work/undone.c14n"
            if ! cmp -s "$work/orig.c14n" "$work/undone.c14n"; then
                fail "canonical form after undoing the edit differs from the original's (< original, > undone)"
                show_bytes "$work/orig.c14n" "$work/undone.c14n"
            fi
        fi
    fi
    cp -p "$orig" "$name"
}

# ---- lookups and other commands ------------------------------------------------------

check_get() {
    local -a opts
    read -r -a opts <<< "$1"
    run get "${opts[@]}" ${3:+--all} "$name" "$2"
    expect_status 0 && expect_out "$(printf '%b' "$4")"$'\n'
    expect_no_stderr
    unchanged
    input=$orig run get "${opts[@]}" ${3:+--all} - "$2"
    expect_status 0 && expect_out "$(printf '%b' "$4")"$'\n'
}

check_default() {
    run get "$name" "$1"
    expect_status 1
    run get "$name" "$1" --default "$2"
    expect_status 0 && expect_out "$2"$'\n'
    unchanged
}

# check_list PATH XPATH: the names of the children, as libxml2 sees them.
check_list() {
    local count i
    count=$(xmllint --nonet --xpath "count($2/*)" "$orig" 2> /dev/null)
    : > "$work/want.names"
    for ((i = 1; i <= count; i++)); do
        printf '%s\n' "$(xmllint --nonet --xpath "name(($2/*)[$i])" "$orig" 2> /dev/null)" >> "$work/want.names"
    done
    [ "$count" -gt 0 ] || fail "list $1: the XPath $2 selects no children"
    run list "$name" "$1"
    if expect_status 0; then
        cut -f 1 "$work/run.out" > "$work/got.names"
        cmp -s "$work/want.names" "$work/got.names" || { fail "names of the children differ (< libxml2, > list)"; show_bytes "$work/want.names" "$work/got.names"; }
    fi
    expect_no_stderr
    unchanged
}

check_alone() {
    mkdir -p "$work/alone"
    cp -p "$orig" "$work/alone/$name"
    run get "$work/alone/$name" "$1"
    expect_status 0 && expect_out "$(printf '%b' "$2")"$'\n'
}

check_refuse() {
    local -a words
    read -r -a words <<< "$1"
    cp -p "$orig" "$name"
    run "${words[@]}" "$name" "$2" "$(printf '%b' "$3")"
    expect_status "$4"
    [ -s "$work/run.err" ] || fail "no message on standard error"
    unchanged
}

check_validate() {
    local -a args
    read -r -a args <<< "$1"
    run validate "$name" "${args[@]}"
    expect_status "$2"
    [ "$2" != 0 ] || { expect_out ""; expect_no_stderr; }
    unchanged
}

# check_breakvalid CMD PATH VALUE ARGS: an edit that the grammar forbids, then
# validate reports it as FILE:LINE:COLUMN: message lines; libxml2 agrees.
check_breakvalid() {
    local -a words args
    read -r -a words <<< "$1"
    read -r -a args <<< "$4"
    cp -p "$orig" "$name"
    if [ "${words[0]}" = delete ]; then
        run "${words[@]}" "$name" "$2"
    else
        run "${words[@]}" "$name" "$2" "$(printf '%b' "$3")"
    fi
    if expect_status 0; then
        if [ "${args[0]:-}" = --xsd ]; then
            ! xmllint --nonet --noout --schema "${args[1]}" "$name" > /dev/null 2>&1 || fail "libxml2 finds the edited file valid"
        else
            ! xmllint --nonet --noout --valid "$name" > /dev/null 2>&1 || fail "libxml2 finds the edited file valid"
        fi
        run validate "$name" "${args[@]}"
        expect_status 1
        [ -s "$work/run.out" ] || fail "no error reported"
        if grep -v -q -E "^$name:[0-9]+:[0-9]+: ." "$work/run.out"; then
            fail "error lines not in the form FILE:LINE:COLUMN: message"
            show_run
        fi
    fi
    cp -p "$orig" "$name"
}

# check_format STATUSES: format prints a document that parses (or, where the
# table allows it, refuses with a message).
check_format() {
    run format "$name"
    if [ "$status" = 0 ]; then
        cp "$work/run.out" "$work/formatted.xml"
        parses "$work/formatted.xml" "the output of format" || true
    elif [[ ,$1, == *,$status,* ]]; then
        expect_out ""
        [ -s "$work/run.err" ] || fail "no message on standard error"
    else
        fail "exit status $status, expected ${1//,/ or }"
        show_run
    fi
    unchanged
}

check_base64() {
    input=$orig run base64 encode
    expect_status 0 || return 0
    cp "$work/run.out" "$work/file.b64"
    base64 -d "$work/file.b64" > "$work/coreutils.back" 2> /dev/null || fail "coreutils base64 cannot decode the output"
    cmp -s "$orig" "$work/coreutils.back" || fail "coreutils base64 decodes other bytes than the file's"
    input=$work/file.b64 run base64 decode
    expect_status 0 && { cmp -s "$orig" "$work/run.out" || { fail "decode of encode differs from the file"; show_bytes "$orig" "$work/run.out"; }; }
    base64 "$orig" > "$work/wrapped.b64"
    input=$work/wrapped.b64 run base64 decode
    expect_status 0 && { cmp -s "$orig" "$work/run.out" || fail "decode of coreutils' wrapped Base64 differs from the file"; }
}

check_root_container() {
    local root
    root=$(xmllint --nonet --xpath 'name(/*)' "$orig" 2> /dev/null)
    run get "$name" "$root"
    expect_status 1
    [ -s "$work/run.err" ] || fail "no message for a container"
    unchanged
}

# ---- the table's own expectations, checked with libxml2 -------------------------------

# A UTF-8 copy of a document without default namespace declarations, so that
# libxml2's XPath finds its elements by the names as written.
plain_copy() {
    iconv -f "$encoding" -t UTF-8 "$1" |
        perl -pe 'if ($. == 1) { s/^\x{ef}\x{bb}\x{bf}//; s/(<\?xml[^>]*encoding=)(["\x27])[^"\x27]*\2/${1}"UTF-8"/; } s/\s+xmlns=(["\x27])[^"\x27]*\1//g' > "$2"
}

# xpath_of PATH: the path as an XPath for plain_copy's document. Prefixed
# names are matched by name(), as the copy declares no namespaces to XPath;
# names beyond ASCII too, as libxml2's XPath parser takes only ASCII names.
xpath_of() {
    perl -e '
        my $p = shift;
        $p = "/$p" unless $p =~ m{^/};
        my $out = "";
        for my $part (split /(\x27[^\x27]*\x27|"[^"]*")/, $p) {
            unless ($part =~ /^[\x27"]/) {
                $part =~ s{(\@?)([^\s/\[\]()=,\x27"\@*]+)}{my ($at, $n) = ($1, $2); $n =~ /[:\x80-\xff]/ ? ($at ? "\@*[name()=\x27$n\x27]" : "*[name()=\x27$n\x27]") : "$at$n"}ge;
            }
            $out .= $part;
        }
        print $out;' "$1"
}

xpath_string() {
    xmllint --nonet --noent --dtdattr --xpath "string($2)" "$1" 2> /dev/null
}

xpath_count() {
    xmllint --nonet --noent --xpath "count($2)" "$1" 2> /dev/null
}

table_fail() {
    echo "FAIL: cases.txt, $name: $*"
    failures=$((failures + 1))
}

# table_edit KIND PATH VALUE OLD NEW CANON (OPTIONS empty): OLD occurs once,
# the expected result parses, and libxml2 finds the value at PATH in it.
table_edit() {
    local kind=$1 path=$2 xpath expected_value got before after
    to_file "$4" "$work/t.from"
    to_file "$5" "$work/t.to"
    perl -e '
        local $/;
        my @d = map { open(my $f, "<:raw", $_) or die; my $x = <$f>; defined $x ? $x : "" } @ARGV[0 .. 2];
        my ($doc, $from, $to) = @d;
        my $n = () = $doc =~ /\Q$from\E/g;
        exit 1 if $n != 1;
        $doc =~ s/\Q$from\E/$to/;
        open(my $o, ">:raw", $ARGV[3]) or die;
        print $o $doc;' "$orig" "$work/t.from" "$work/t.to" t.expected ||
        { table_fail "$kind $path: OLD text '$4' does not occur exactly once"; return; }
    xmllint --nonet --noout t.expected 2> /dev/null || { table_fail "$kind $path: the expected result does not parse"; return; }
    plain_copy "$orig" "$work/t.orig.plain"
    plain_copy t.expected "$work/t.plain"
    xpath=$(xpath_of "$path")
    expected_value=$(printf '%b' "$3")
    case $kind in
    set)
        got=$(xpath_string "$work/t.plain" "$xpath")
        [ "$got" = "$expected_value" ] || table_fail "set $path: libxml2 reads '$got' there in the expected result"
        ;;
    add)
        got=$(xpath_string "$work/t.plain" "($xpath)[last()]")
        [ "$got" = "$expected_value" ] || table_fail "add $path: libxml2 reads '$got' there in the expected result"
        ;;
    delete)
        # Counted without the last step's predicates: [2] matches again after.
        xpath=$(xpath_of "$(printf '%s' "$path" | sed -E 's/(\[[^]]*\])+$//')")
        before=$(xpath_count "$work/t.orig.plain" "$xpath")
        after=$(xpath_count "$work/t.plain" "$xpath")
        [ "$after" = $((before - 1)) ] || table_fail "delete $path: libxml2 counts $before matches before and $after after"
        if ! is_attribute_path "$path"; then
            printf '%b' "${6:-$4}" | tr -d '\r' > "$work/t.canon"
            : > "$work/t.empty"
            c14n "$orig" > "$work/t.orig.c14n"
            c14n t.expected > "$work/t.c14n"
            perl "$work/span.pl" "$work/t.orig.c14n" "$work/t.c14n" "$work/t.canon" "$work/t.empty" ||
                table_fail "delete $path: the canonical form of the deleted element is not '${6:-$4}'"
        fi
        ;;
    esac
    rm -f t.expected
}

# table_get PATH ALL EXPECTED: libxml2 finds the same.
table_get() {
    local xpath count i got=""
    plain_copy "$orig" "$work/t.orig.plain"
    xpath=$(xpath_of "$1")
    if [ -n "$2" ]; then
        count=$(xpath_count "$work/t.orig.plain" "$xpath")
        for ((i = 1; i <= count; i++)); do
            got+="$(xpath_string "$work/t.orig.plain" "($xpath)[$i]")"$'\n'
        done
        got=${got%$'\n'}
    else
        got=$(xpath_string "$work/t.orig.plain" "$xpath")
    fi
    [ "$got" = "$(printf '%b' "$3")" ] || table_fail "get $1: libxml2 reads '$got'"
}

# ---- the table -----------------------------------------------------------------------

# From here on a failed check is counted, not fatal.
set +e
format_statuses=0
found=0
current=""
while IFS= read -r line || [ -n "$line" ]; do
    case $line in
    '' | '#'*) continue ;;
    '== '*)
        current=${line#== }
        continue
        ;;
    esac
    [ "$current" = "$name" ] || continue
    found=1
    IFS='|' read -r -a f <<< "$line"
    read -r kind options <<< "${f[0]}"
    # The table's expectations first (cases with -N options are left to the tool).
    if [ -z "${options:-}" ]; then
        case $kind in
        set | add | delete) table_edit "$kind" "${f[1]}" "${f[2]:-}" "${f[3]:-}" "${f[4]:-}" "${f[5]:-}" ;;
        get) table_get "${f[1]}" "" "${f[2]:-}" ;;
        getall) table_get "${f[1]}" all "${f[2]:-}" ;;
        esac
    fi
    case $kind in
    set | add | delete) check_edit "$kind" "${options:-}" "${f[1]}" "${f[2]:-}" "${f[3]:-}" "${f[4]:-}" "${f[5]:-}" ;;
    get) check_get "${options:-}" "${f[1]}" "" "${f[2]:-}" ;;
    getall) check_get "${options:-}" "${f[1]}" all "${f[2]:-}" ;;
    default) check_default "${f[1]}" "${f[2]}" ;;
    list) check_list "${f[1]}" "${f[2]}" ;;
    alone) check_alone "${f[1]}" "${f[2]:-}" ;;
    refuse) check_refuse "$options" "${f[1]}" "${f[2]:-}" "${f[3]}" ;;
    validate) check_validate "${f[1]:-}" "${f[2]}" ;;
    breakvalid) check_breakvalid "$options" "${f[1]}" "${f[2]:-}" "${f[3]:-}" ;;
    format) format_statuses=${f[1]} ;;
    *)
        echo "FAIL: cases.txt: unknown kind '$kind'"
        failures=$((failures + 1))
        ;;
    esac
done < "$cases"
[ "$found" = 1 ] || { echo "FAIL: cases.txt has no lines for $name"; exit 1; }

check_format "$format_statuses"
check_base64
check_root_container

if [ "$failures" -ne 0 ]; then
    echo "$name: $failures failures in $runs runs of the tool"
    exit 1
fi
echo "$name: $runs runs of the tool, all as expected"
