#!/usr/bin/env bash
# Runs one case of the xmlutil tool's tests, comparing the tool's standard
# output, standard error and exit status byte for byte with what is expected.
#
#   cli-test.sh TOOL CASE      (CASE: a case_CASE function below)
#
# Every case works in a fresh directory of its own; the files that the tool
# reads and writes go to its subdirectory conf/.
set -euo pipefail

tool=$1
data=$(cd "$(dirname "${BASH_SOURCE[0]}")/data" && pwd -P)
work=$(mktemp -d "${TMPDIR:-/tmp}/xmlutil-cli.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
work=$(pwd -P) # as the parser names files in its messages
mkdir conf
cp "$data/config.xml" conf/config.xml

failures=0

# run ARG...: runs the tool with standard input from $input (none by default).
run() {
    last="xmlutil $*"
    set +e
    "$tool" "$@" < "${input:-/dev/null}" > run.out 2> run.err
    status=$?
    set -e
}

# run_limited BLOCKS ARG...: run, with files limited to BLOCKS KiB.
run_limited() {
    local blocks=$1
    shift
    last="(ulimit -f $blocks; xmlutil $*)"
    set +e
    (ulimit -f "$blocks" && exec "$tool" "$@") < /dev/null > run.out 2> run.err
    status=$?
    set -e
}

fail() {
    echo "FAIL: $last: $*"
    failures=$((failures + 1))
}

# show_diff EXPECTED ACTUAL: where they part; the lines too if they are short.
show_diff() {
    cmp "$1" "$2" || true
    if [ "$(wc -c < "$1")" -le 4096 ] && [ "$(wc -c < "$2")" -le 4096 ]; then
        diff <(cat -A "$1") <(cat -A "$2") | head -n 40 || true
    fi
}

# expect_files STATUS OUT_FILE ERR_FILE: the last run's results.
expect_files() {
    [ "$status" = "$1" ] || fail "exit status $status, expected $1"
    cmp -s "$2" run.out || { fail "standard output differs (< expected, > actual)"; show_diff "$2" run.out; }
    cmp -s "$3" run.err || { fail "standard error differs (< expected, > actual)"; show_diff "$3" run.err; }
}

# expect STATUS OUT ERR: the same with the expected output as text.
expect() {
    printf '%s' "$2" > want.out
    printf '%s' "$3" > want.err
    expect_files "$1" want.out want.err
}

# expect_out_file STATUS OUT_FILE ERR
expect_out_file() {
    printf '%s' "$3" > want.err
    expect_files "$1" "$2" want.err
}

# same_file EXPECTED ACTUAL: a file that the tool wrote, or left alone.
same_file() {
    cmp -s "$1" "$2" || { fail "$2 differs from $1 (< expected, > actual)"; show_diff "$1" "$2"; }
}

# only_files LISTING: the content of conf/, to catch stray temporary files.
only_files() {
    local listing
    listing=$(ls -A conf | tr '\n' ' ')
    [ "$listing" = "$1" ] || fail "conf/ holds '$listing', expected '$1'"
}

# ---- help ----------------------------------------------------------------------

case_help_tool() {
    run --help
    expect_out_file 0 "$data/help-tool.txt" ""
    run -h
    expect_out_file 0 "$data/help-tool.txt" ""
}

case_help_get() {
    run get --help
    expect_out_file 0 "$data/help-get.txt" ""
    run get conf/config.xml -h
    expect_out_file 0 "$data/help-get.txt" ""
}

case_help_set() {
    run set --help
    expect_out_file 0 "$data/help-set.txt" ""
}

case_help_list() {
    run list -h
    expect_out_file 0 "$data/help-list.txt" ""
}

case_help_format() {
    run format --help
    expect_out_file 0 "$data/help-format.txt" ""
}

case_help_base64() {
    run base64 --help
    expect_out_file 0 "$data/help-base64.txt" ""
}

# ---- get ------------------------------------------------------------------------

case_get_element() {
    run get conf/config.xml database/host
    expect 0 $'db.example.local\n' ""
}

case_get_attribute() {
    run get conf/config.xml database/user@role
    expect 0 $'reader\n' ""
    run get conf/config.xml @version
    expect 0 $'2\n' ""
}

case_get_text_is_trimmed() {
    run get conf/config.xml database/timeout
    expect 0 $'30\n' ""
}

case_get_takes_first_of_repeated_elements() {
    run get conf/config.xml servers/server
    expect 0 $'10.0.0.1\n' ""
    run get conf/config.xml servers/server@name
    expect 0 $'alpha\n' ""
}

case_get_latin1_and_multiline_text() {
    run get conf/config.xml greeting
    expect 0 $'Gr\xfc\xdfe & welcome\n' ""
    run get conf/config.xml motd
    expect 0 $'Orders close at 18:00.\nReturns: see C:\\returns\n' ""
}

case_get_not_found_prints_empty_line() {
    run get conf/config.xml database/password
    expect 1 $'\n' ""
    run get conf/config.xml nothing/here@at
    expect 1 $'\n' ""
}

case_get_not_found_prints_default() {
    run get conf/config.xml database/password --default secret
    expect 1 $'secret\n' ""
    run get --default=-1 conf/config.xml database/retries
    expect 1 $'-1\n' ""
    run get conf/config.xml database/user@age --default '  42 '
    expect 1 $'  42 \n' ""
}

case_get_found_ignores_default() {
    run get --default 1234 conf/config.xml database/port
    expect 0 $'5432\n' ""
}

case_get_empty_attribute_is_found() {
    run get conf/config.xml logging/rotate@compress --default yes
    expect 0 $'\n' ""
}

case_get_element_without_text_is_not_found() {
    run get conf/config.xml logging/rotate --default none
    expect 1 $'none\n' ""
}

# The lookup takes the first <timeout> below the root in document order, the
# one inside <database>; it is not a child of the root, so the step finds
# nothing although the root has a <timeout> child.
case_get_hidden_child_is_not_found() {
    run get conf/config.xml timeout --default none
    expect 1 $'none\n' ""
    run get conf/config.xml timeout@unit --default none
    expect 1 $'none\n' ""
}

case_get_star_takes_first_child_element() {
    run get conf/config.xml '*/*'
    expect 0 $'db.example.local\n' ""
}

case_get_missing_file() {
    run get conf/missing.xml database/host --default x
    expect 3 "" $'xmlutil: conf/missing.xml: No such file or directory\n'
}

case_get_malformed_xml() {
    cp "$data/malformed.xml" conf/
    run get conf/malformed.xml database/host --default x
    expect 3 "" "xmlutil: Fatal Error at (file $work/conf/malformed.xml, line 7, char 7): expected end of tag 'user'"$'\n'
}

# ---- set ------------------------------------------------------------------------

case_set_creates_elements_and_attributes() {
    run set conf/config.xml cache/redis/host localhost
    expect 0 "" ""
    run set conf/config.xml cache/redis@db 3
    expect 0 "" ""
    run set conf/config.xml database/port 6543
    expect 0 "" ""
    run set conf/config.xml database/user@role writer
    expect 0 "" ""
    run set conf/config.xml @version 3
    expect 0 "" ""
    same_file "$data/config-after-set.xml" conf/config.xml
    only_files "config.xml "

    run get conf/config.xml cache/redis/host
    expect 0 $'localhost\n' ""
    run get conf/config.xml cache/redis@db
    expect 0 $'3\n' ""
    run get conf/config.xml database/port
    expect 0 $'6543\n' ""
    run get conf/config.xml database/user@role
    expect 0 $'writer\n' ""
    run get conf/config.xml @version
    expect 0 $'3\n' ""
}

case_set_saves_text_trimmed() {
    run set conf/config.xml database/host '  db2.example.local  '
    expect 0 "" ""
    grep -q '^        <host>db2.example.local</host>$' conf/config.xml || fail "host not saved trimmed"
    run get conf/config.xml database/host
    expect 0 $'db2.example.local\n' ""
}

case_set_keeps_permissions() {
    chmod 640 conf/config.xml
    run set conf/config.xml database/port 6543
    expect 0 "" ""
    mode=$(stat -c %a conf/config.xml)
    [ "$mode" = 640 ] || fail "mode $mode after set, expected 640"
    chmod 604 conf/config.xml
    run set conf/config.xml database/port 6544
    expect 0 "" ""
    mode=$(stat -c %a conf/config.xml)
    [ "$mode" = 604 ] || fail "mode $mode after set, expected 604"
}

# A full disk, simulated by a file size limit below the size of the file:
# the write fails, the original stays whole and the new file is removed.
case_set_failed_write_keeps_original() {
    {
        echo '<?xml version="1.0" encoding="ISO-8859-1"?>'
        echo '<catalog>'
        for i in $(seq 1 300); do
            echo "    <entry id=\"$i\">value number $i of the catalog</entry>"
        done
        echo '</catalog>'
    } > conf/big.xml
    cp conf/big.xml big.orig
    run_limited 8 set conf/big.xml entry@id 0
    expect 3 "" $'xmlutil: cannot save conf/big.xml: file too large; the file is unchanged\n'
    same_file big.orig conf/big.xml
    only_files "big.xml config.xml "
}

case_set_through_symlink_keeps_link() {
    ln -s config.xml conf/link.xml
    run set conf/link.xml database/port 6543
    expect 0 "" ""
    [ -L conf/link.xml ] || fail "conf/link.xml is no longer a symbolic link"
    run get conf/config.xml database/port
    expect 0 $'6543\n' ""
    only_files "config.xml link.xml "
}

case_set_unreachable_child_changes_nothing() {
    run set conf/config.xml timeout 60
    expect 1 "" $'xmlutil: cannot reach \'timeout\' in conf/config.xml: the first <timeout> below the root in document order is not its child\n'
    run set conf/config.xml timeout/max 60
    expect 1 "" $'xmlutil: cannot reach \'timeout/max\' in conf/config.xml: the first <timeout> below the root in document order is not its child\n'
    same_file "$data/config.xml" conf/config.xml
}

case_set_invalid_name_changes_nothing() {
    run set conf/config.xml 'new/bad name' 1
    expect 2 "" $'xmlutil: invalid element name \'bad name\': invalid or illegal XML character\n'
    run set conf/config.xml 'database@1st' 1
    expect 2 "" $'xmlutil: invalid attribute name \'1st\': invalid or illegal XML character\n'
    same_file "$data/config.xml" conf/config.xml
    only_files "config.xml "
}

case_set_value_after_double_dash() {
    run set conf/config.xml database/port -- -1
    expect 0 "" ""
    run get conf/config.xml database/port
    expect 0 $'-1\n' ""
}

case_set_missing_file() {
    run set conf/missing.xml database/port 1
    expect 3 "" $'xmlutil: conf/missing.xml: No such file or directory\n'
    only_files "config.xml "
}

case_set_malformed_xml() {
    cp "$data/malformed.xml" conf/
    run set conf/malformed.xml database/port 1
    expect 3 "" "xmlutil: Fatal Error at (file $work/conf/malformed.xml, line 7, char 7): expected end of tag 'user'"$'\n'
    same_file "$data/malformed.xml" conf/malformed.xml
}

# ---- list -----------------------------------------------------------------------

case_list_children() {
    run list conf/config.xml servers
    expect 0 $'server\t10.0.0.1\nserver\t10.0.0.2\nserver\t10.0.0.3\n' ""
    run list conf/config.xml database
    expect 0 $'host\tdb.example.local\nport\t5432\nuser\treport\ntimeout\t30\n' ""
}

case_list_root_escapes_text() {
    run list conf/config.xml .
    expect_out_file 0 "$data/config-list-root.txt" ""
}

case_list_without_children() {
    run list conf/config.xml logging/rotate
    expect 0 "" ""
}

case_list_not_found() {
    run list conf/config.xml database/pool
    expect 1 "" $'xmlutil: no element \'database/pool\' in conf/config.xml\n'
}

case_list_missing_file() {
    run list conf/missing.xml .
    expect 3 "" $'xmlutil: conf/missing.xml: No such file or directory\n'
}

# ---- format ---------------------------------------------------------------------

case_format_document() {
    run format conf/config.xml
    expect_out_file 0 "$data/config-formatted.xml" ""
}

case_format_is_stable() {
    cp "$data/config-formatted.xml" conf/formatted.xml
    run format conf/formatted.xml
    expect_out_file 0 "$data/config-formatted.xml" ""
}

case_format_missing_file() {
    run format conf/missing.xml
    expect 3 "" $'xmlutil: conf/missing.xml: No such file or directory\n'
}

case_format_malformed_xml() {
    cp "$data/malformed.xml" conf/
    run format conf/malformed.xml
    expect 3 "" "xmlutil: Fatal Error at (file $work/conf/malformed.xml, line 7, char 7): expected end of tag 'user'"$'\n'
}

case_format_directory() {
    run format conf
    expect 3 "" $'xmlutil: conf: Is a directory\n'
}

case_format_to_full_device() {
    last="xmlutil format conf/config.xml > /dev/full"
    set +e
    "$tool" format conf/config.xml > /dev/full 2> run.err
    status=$?
    set -e
    : > run.out
    expect 3 "" $'xmlutil: standard output: No space left on device\n'
}

# ---- base64 ---------------------------------------------------------------------

# RFC 4648, section 10.
rfc4648_vectors=(
    "" ""
    "f" "Zg=="
    "fo" "Zm8="
    "foo" "Zm9v"
    "foob" "Zm9vYg=="
    "fooba" "Zm9vYmE="
    "foobar" "Zm9vYmFy"
)

case_base64_encode_rfc4648() {
    local i
    for ((i = 0; i < ${#rfc4648_vectors[@]}; i += 2)); do
        printf '%s' "${rfc4648_vectors[i]}" > in.bin
        input=in.bin run base64 encode
        if [ -n "${rfc4648_vectors[i]}" ]; then
            expect 0 "${rfc4648_vectors[i + 1]}"$'\n' ""
        else
            expect 0 "" ""
        fi
    done
}

case_base64_decode_rfc4648() {
    local i
    for ((i = 0; i < ${#rfc4648_vectors[@]}; i += 2)); do
        printf '%s\n' "${rfc4648_vectors[i + 1]}" > in.txt
        input=in.txt run base64 decode
        expect 0 "${rfc4648_vectors[i]}" ""
    done
}

# Random data of lengths 0, 1 and 2 modulo 3, zero bytes at the end too,
# against base64(1) in both directions.
case_base64_round_trip_random() {
    local tail
    for tail in "" "\0" "\0\0" "y\0" "\0y"; do
        { head -c 99999 /dev/urandom; printf "$tail"; } > random.bin
        input=random.bin run base64 encode
        base64 random.bin > random.b64
        expect_out_file 0 random.b64 ""
        input=random.b64 run base64 decode
        expect_out_file 0 random.bin ""
        "$tool" base64 encode < random.bin | base64 -d > back.bin
        same_file random.bin back.bin
    done
}

# Lines of 76 characters, as base64(1) writes; a last full line ends in one
# newline, not two.
case_base64_encode_wraps_at_76() {
    printf '%057d' 0 > in.bin # 57 bytes: exactly one line
    input=in.bin run base64 encode
    expect 0 "$(base64 in.bin)"$'\n' ""
    [ "$(wc -l < run.out)" = 1 ] || fail "57 bytes: $(wc -l < run.out) lines"
    printf '%058d' 0 > in.bin
    input=in.bin run base64 encode
    expect 0 $'MDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAwMDAw\nMA==\n' ""
}

case_base64_decode_wrapped_text() {
    head -c 5002 /dev/urandom > random.bin
    base64 random.bin | sed 's/$/\r/' > wrapped.b64 # 76 columns, CRLF line ends
    input=wrapped.b64 run base64 decode
    expect_out_file 0 random.bin ""
    printf ' Zm9v\tYmFy \n\f\vZg = =\n' > in.txt
    input=in.txt run base64 decode
    expect 0 "foobarf" ""
}

# Every byte comes back, zero bytes in a short last group too.
case_base64_keeps_zero_bytes() {
    printf 'A\0' > in.bin
    input=in.bin run base64 encode
    expect 0 $'QQA=\n' ""
    printf 'QQA=' > in.txt
    input=in.txt run base64 decode
    expect_out_file 0 in.bin ""
    printf '\0' > zero.bin
    printf 'AA==' > in.txt
    input=in.txt run base64 decode
    expect_out_file 0 zero.bin ""
    printf '\0A' > in.bin
    printf 'AEE=' > in.txt
    input=in.txt run base64 decode
    expect_out_file 0 in.bin ""
    printf 'A\0' | "$tool" base64 encode | "$tool" base64 decode > back.bin
    printf 'A\0' | same_file /dev/stdin back.bin
}

case_base64_decode_invalid_text() {
    printf 'Zm9v\nYm*F' > in.txt
    input=in.txt run base64 decode
    expect 1 "foo" $'xmlutil: base64: invalid character \'*\' at offset 7\n'
    printf 'Zm9v\0' > in.txt
    input=in.txt run base64 decode
    expect 1 "foo" $'xmlutil: base64: invalid byte 0x00 at offset 4\n'
    printf 'Zm9v-_' > in.txt # the URL-safe alphabet is another one
    input=in.txt run base64 decode
    expect 1 "foo" $'xmlutil: base64: invalid character \'-\' at offset 4\n'
    printf 'Zm9v\xc3\xa4' > in.txt
    input=in.txt run base64 decode
    expect 1 "foo" $'xmlutil: base64: invalid byte 0xC3 at offset 4\n'
}

case_base64_decode_misplaced_padding() {
    printf '=AAA' > in.txt
    input=in.txt run base64 decode
    expect 1 "" $'xmlutil: base64: misplaced padding character \'=\' at offset 0\n'
    printf 'Zm9vQ===' > in.txt
    input=in.txt run base64 decode
    expect 1 "foo" $'xmlutil: base64: misplaced padding character \'=\' at offset 5\n'
    printf 'QQ=Q' > in.txt
    input=in.txt run base64 decode
    expect 1 "" $'xmlutil: base64: text after the padding: character \'Q\' at offset 3\n'
    printf 'QQ==\nQQ==' > in.txt
    input=in.txt run base64 decode
    expect 1 "A" $'xmlutil: base64: text after the padding: character \'Q\' at offset 5\n'
    printf 'QQ===' > in.txt
    input=in.txt run base64 decode
    expect 1 "A" $'xmlutil: base64: text after the padding: character \'=\' at offset 4\n'
}

case_base64_decode_incomplete_group() {
    local text
    for text in Zm9vYg Zm9vY Zm9vYm9 Zm9vYg=; do
        printf '%s\n' "$text" > in.txt
        input=in.txt run base64 decode
        expect 1 "foo" "xmlutil: base64: incomplete last group: $((${#text} - 4)) of 4 characters from offset 4"$'\n'
    done
}

# ---- validate ----------------------------------------------------------------------

# validate_files: the documents and grammars of tools/tests/data/validate in conf/.
validate_files() {
    cp "$data"/validate/* conf/
}

case_validate_valid_document() {
    validate_files
    run validate conf/good.xml
    expect 0 "" ""
    run validate conf/good.xml --dtd conf/note.dtd
    expect 0 "" ""
}

case_validate_lists_every_error() {
    validate_files
    run validate conf/bad.xml
    expect 1 "conf/bad.xml:3:7: missing required attribute 'id'
conf/bad.xml:6:7: no declaration found for element 'x'
conf/bad.xml:7:8: element 'body' is not allowed for content model '(to,body)'
" ""
}

case_validate_without_grammar() {
    validate_files
    run validate conf/plain.xml
    expect 2 "" $'xmlutil: conf/plain.xml: well-formed, but names no DTD or XML Schema to validate against (give --dtd or --xsd)\n'
    cp "$data/malformed.xml" conf/
    run validate conf/malformed.xml
    expect 1 $'conf/malformed.xml:7:7: expected end of tag \'user\'\n' ""
}

# The declaration that --dtd puts before the root element moves no line and
# no column of what the reports name.
case_validate_dtd_option_without_doctype() {
    validate_files
    run validate conf/plain.xml --dtd conf/note.dtd
    expect 1 "conf/plain.xml:2:58: no declaration found for element 'x'
conf/plain.xml:2:80: element 'x' is not allowed for content model '(to,body)'
" ""
    iconv -f UTF-8 -t UTF-16 conf/plain.xml > conf/plain16.xml
    run validate conf/plain16.xml --dtd conf/note.dtd
    expect 1 "conf/plain16.xml:2:58: no declaration found for element 'x'
conf/plain16.xml:2:80: element 'x' is not allowed for content model '(to,body)'
" ""
    input=conf/plain.xml run validate - --dtd conf/note.dtd
    expect 1 "-:2:58: no declaration found for element 'x'
-:2:80: element 'x' is not allowed for content model '(to,body)'
" ""
}

case_validate_dtd_option_replaces_doctype() {
    validate_files
    printf '<!ELEMENT note ANY>\n' > conf/any.dtd
    run validate conf/good.xml --dtd conf/any.dtd
    expect 1 "conf/good.xml:3:15: attribute 'id' is not declared for element 'note'
conf/good.xml:4:7: no declaration found for element 'to'
conf/good.xml:5:9: no declaration found for element 'body'
" ""
    # an internal subset only: the DTD is added to it
    printf '<!DOCTYPE note [<!ATTLIST note x CDATA #IMPLIED>]>\n<note id="n1" x="1"><to>T</to><body>B</body></note>\n' > conf/internal.xml
    run validate conf/internal.xml --dtd conf/note.dtd
    expect 0 "" ""
    run validate conf/internal.xml
    expect 1 "conf/internal.xml:2:21: no declaration found for element 'note'
conf/internal.xml:2:21: attribute 'id' is not declared for element 'note'
conf/internal.xml:2:25: no declaration found for element 'to'
conf/internal.xml:2:37: no declaration found for element 'body'
" ""
}

case_validate_schema_locations() {
    validate_files
    run validate conf/schema-located.xml
    expect 1 "conf/schema-located.xml:2:61: value 'x' does not match regular expression facet '[+\\-]?[0-9]+'
conf/schema-located.xml:5:8: element 'body' is not allowed for content model '(to,body)'
" ""
    run validate conf/ns.xml
    expect 1 $'conf/ns.xml:5:8: element \'to\' is not allowed for content model \'(to)\'\n' ""
}

case_validate_xsd_option() {
    validate_files
    run validate conf/plain.xml --xsd conf/note.xsd
    expect 1 "conf/plain.xml:2:58: no declaration found for element 'x'
conf/plain.xml:2:80: element 'x' is not allowed for content model '(to,body)'
" ""
    # The document's own DTD and schema locations do not count then.
    printf '<!DOCTYPE note [<!ELEMENT note EMPTY>]>\n<note id="n1"><to>T</to><body>B</body></note>\n' > conf/both.xml
    run validate conf/both.xml --xsd conf/note.xsd
    expect 0 "" ""
    run validate conf/ns.xml --xsd conf/note.xsd
    expect 1 "conf/ns.xml:2:44: grammar not found for namespace 'urn:note'
conf/ns.xml:2:44: no declaration found for element 'note'
conf/ns.xml:2:44: attribute 'xmlns' is not declared for element 'note'
conf/ns.xml:2:44: attribute '{http://www.w3.org/2000/xmlns/}xsi' is not declared for element 'note'
conf/ns.xml:2:44: attribute '{http://www.w3.org/2001/XMLSchema-instance}schemaLocation' is not declared for element 'note'
conf/ns.xml:3:7: grammar not found for namespace 'urn:note'
conf/ns.xml:3:7: no declaration found for element 'to'
conf/ns.xml:4:8: grammar not found for namespace 'urn:note'
conf/ns.xml:4:8: no declaration found for element 'to'
" ""
}

case_validate_warning_is_valid() {
    validate_files
    run validate conf/warning.xml
    expect 0 $'conf/warning.xml:1:72: warning: attribute \'a\' has already been declared for element \'r\'\n' ""
}

case_validate_reads_only_beside_the_document() {
    mkdir conf/sub other
    printf '<!ELEMENT r EMPTY>' > conf/sub/r.dtd
    printf '<!ELEMENT r EMPTY>' > other/r.dtd
    ln -s ../other/r.dtd conf/link.dtd
    printf '<!DOCTYPE r SYSTEM "sub/r.dtd">\n<r/>\n' > conf/in-sub.xml
    run validate conf/in-sub.xml
    expect 0 "" ""
    printf '<!DOCTYPE r SYSTEM "../other/r.dtd">\n<r/>\n' > conf/outside.xml
    run validate conf/outside.xml
    expect 1 "conf/outside.xml:1:37: refusing to read '$work/conf/../other/r.dtd': outside the folders of the document and the grammar"$'\n' ""
    printf '<!DOCTYPE r SYSTEM "link.dtd">\n<r/>\n' > conf/link.xml
    run validate conf/link.xml
    expect 1 "conf/link.xml:1:31: refusing to read '$work/conf/link.dtd': outside the folders of the document and the grammar"$'\n' ""
    # The folder of a grammar given is allowed.
    printf '<r/>\n' > conf/bare.xml
    run validate conf/bare.xml --dtd other/r.dtd
    expect 0 "" ""
    printf '<!DOCTYPE r SYSTEM "missing.dtd">\n<r/>\n' > conf/missing.xml
    run validate conf/missing.xml
    expect 1 "conf/missing.xml:1:34: cannot read '$work/conf/missing.dtd': No such file or directory"$'\n' ""
}

case_validate_no_network() {
    local url
    for url in "http://127.0.0.1:9/r.dtd" "HTTPS://127.0.0.1:9/r.dtd" "ftp://127.0.0.1:9/r.dtd" "file://127.0.0.1:9/r.dtd"; do
        printf '<!DOCTYPE r SYSTEM "%s">\n<r/>\n' "$url" > conf/net.xml
        run validate conf/net.xml
        expect 1 "conf/net.xml:1:$((${#url} + 23)): refusing to read '$url': no network access"$'\n' ""
    done
    printf '<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY e SYSTEM "http://127.0.0.1:9/e.txt">]>\n<r>&e;</r>\n' > conf/net.xml
    run validate conf/net.xml
    expect 1 $'conf/net.xml:2:7: refusing to read \'http://127.0.0.1:9/e.txt\': no network access\n' ""
}

case_validate_unreadable() {
    validate_files
    run validate conf/nothing.xml
    expect 3 "" $'xmlutil: conf/nothing.xml: No such file or directory\n'
    run validate conf
    expect 3 "" $'xmlutil: conf: Is a directory\n'
    run validate conf/good.xml --xsd conf/nothing.xsd
    expect 3 "" $'xmlutil: conf/nothing.xsd: No such file or directory\n'
    run validate conf/good.xml --dtd conf/good.xml
    expect 3 $'conf/good.xml:1:20: encoding declaration is required in TEXT declaration\n' \
        $'xmlutil: conf/good.xml: not a usable DTD\n'
    run validate conf/good.xml --xsd conf/note.dtd
    expect 3 $'conf/note.dtd:1:2: expected comment or CDATA section\nconf/note.dtd:0:0: fatal error during schema scan\n' \
        $'xmlutil: conf/note.dtd: not a usable XML Schema\n'
}

case_validate_usage() {
    validate_files
    local usage='(usage: xmlutil validate FILE [--dtd DTDFILE | --xsd XSDFILE])'
    run validate
    expect 2 "" "xmlutil: missing FILE $usage"$'\n'
    run validate conf/good.xml conf/bad.xml
    expect 2 "" "xmlutil: unexpected argument 'conf/bad.xml' $usage"$'\n'
    run validate conf/good.xml --dtd conf/note.dtd --xsd conf/note.xsd
    expect 2 "" "xmlutil: only one of --dtd and --xsd, once $usage"$'\n'
    run validate conf/good.xml --xsd
    expect 2 "" "xmlutil: --xsd needs a file $usage"$'\n'
    run validate conf/good.xml --rng x
    expect 2 "" "xmlutil: unknown option '--rng' $usage"$'\n'
}

# ---- help and version ----------------------------------------------------------------

case_help_validate() {
    run validate --help
    expect_out_file 0 "$data/help-validate.txt" ""
}

case_help_command() {
    run help
    expect_out_file 0 "$data/help-tool.txt" ""
    run help help
    expect_out_file 0 "$data/help-tool.txt" ""
    local command
    for command in get set list format validate base64; do
        run help "$command"
        expect_out_file 0 "$data/help-$command.txt" ""
    done
    run help frobnicate
    expect 2 "" $'xmlutil: unknown command \'frobnicate\' (usage: xmlutil COMMAND ARGS..., see xmlutil --help)\n'
    run help get set
    expect 2 "" $'xmlutil: unexpected argument \'set\' (usage: xmlutil help [COMMAND])\n'
}

# The version of the project and of the Xerces-C it was built with, given by
# the build, and the Xerces-C library that the loader chose.
case_version() {
    local library
    library=$(ldd "$tool" | sed -n 's/^[[:space:]]*libxerces-c[^ ]* => \([^ ]*\) .*/\1/p')
    [ -n "$library" ] || fail "ldd names no Xerces-C library"
    run --version
    expect 0 "xmlutil $XMLUTIL_VERSION
Xerces-C $XMLUTIL_XERCES_VERSION ($library)
" ""
    run --version now
    expect 2 "" $'xmlutil: unexpected argument \'now\' (usage: xmlutil --version)\n'
}

# ---- usage errors -----------------------------------------------------------------

case_usage_no_command() {
    run
    expect 2 "" $'xmlutil: missing COMMAND (usage: xmlutil COMMAND ARGS..., see xmlutil --help)\n'
}

case_usage_unknown_command() {
    run frobnicate conf/config.xml
    expect 2 "" $'xmlutil: unknown command \'frobnicate\' (usage: xmlutil COMMAND ARGS..., see xmlutil --help)\n'
}

case_usage_missing_arguments() {
    run get conf/config.xml
    expect 2 "" $'xmlutil: missing PATH (usage: xmlutil get FILE PATH [--default VALUE])\n'
    run set conf/config.xml database/port
    expect 2 "" $'xmlutil: missing VALUE (usage: xmlutil set FILE PATH VALUE)\n'
    run list
    expect 2 "" $'xmlutil: missing FILE (usage: xmlutil list FILE PATH)\n'
    run format
    expect 2 "" $'xmlutil: missing FILE (usage: xmlutil format FILE)\n'
    run base64
    expect 2 "" $'xmlutil: missing encode or decode (usage: xmlutil base64 encode|decode)\n'
}

case_usage_extra_arguments() {
    run set conf/config.xml database/port 1 2
    expect 2 "" $'xmlutil: unexpected argument \'2\' (usage: xmlutil set FILE PATH VALUE)\n'
    same_file "$data/config.xml" conf/config.xml
    run format conf/config.xml conf/config.xml
    expect 2 "" $'xmlutil: unexpected argument \'conf/config.xml\' (usage: xmlutil format FILE)\n'
    run base64 encode now
    expect 2 "" $'xmlutil: unexpected argument \'now\' (usage: xmlutil base64 encode|decode)\n'
}

case_usage_bad_options() {
    run get conf/config.xml database/port --verbose
    expect 2 "" $'xmlutil: unknown option \'--verbose\' (usage: xmlutil get FILE PATH [--default VALUE])\n'
    run get conf/config.xml database/port --default
    expect 2 "" $'xmlutil: --default needs a VALUE (usage: xmlutil get FILE PATH [--default VALUE])\n'
    run get conf/config.xml database/port --default 1 --default 2
    expect 2 "" $'xmlutil: --default given twice (usage: xmlutil get FILE PATH [--default VALUE])\n'
    run set conf/config.xml database/port --default 1
    expect 2 "" $'xmlutil: unknown option \'--default\' (usage: xmlutil set FILE PATH VALUE)\n'
    run set conf/config.xml database/port -1
    expect 2 "" $'xmlutil: unknown option \'-1\' (usage: xmlutil set FILE PATH VALUE)\n'
    same_file "$data/config.xml" conf/config.xml
}

case_usage_invalid_paths() {
    local path
    for path in "" "/database" "database/" "database//host" "database/./host" "database@" "@" "a@b@c" "a@b/c"; do
        run get conf/config.xml "$path"
        expect 2 "" "xmlutil: invalid PATH '$path' (see xmlutil --help)"$'\n'
    done
    run list conf/config.xml database@driver
    expect 2 "" $'xmlutil: list takes the PATH of an element, not of an attribute (usage: xmlutil list FILE PATH)\n'
}

case_usage_base64_mode() {
    run base64 encrypt
    expect 2 "" $'xmlutil: unknown mode \'encrypt\' (usage: xmlutil base64 encode|decode)\n'
}

# ---- safety -------------------------------------------------------------------------

# run_bounded SECONDS ARG...: run, killed after SECONDS (status 124).
run_bounded() {
    local seconds=$1
    shift
    last="xmlutil $*"
    set +e
    timeout "$seconds" "$tool" "$@" < "${input:-/dev/null}" > run.out 2> run.err
    status=$?
    set -e
}

# expect_set_refused FILE PATH WHERE WHAT: set FILE PATH 2 exits 3 with the
# refusal that names WHERE ("line L, column C") and WHAT, and FILE stays as
# it was.
expect_set_refused() {
    cp "$1" before.xml
    run set "$1" "$2" 2
    expect 3 "" "xmlutil: refusing to save $1: $3: $4; the file is unchanged"$'\n'
    same_file before.xml "$1"
}

case_set_refuses_name_beyond_latin1() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<config>\n  <\xe5\x90\x8d\xe5\xad\x97>x</\xe5\x90\x8d\xe5\xad\x97>\n  <a>1</a>\n</config>\n' > conf/cjk.xml
    expect_set_refused conf/cjk.xml a "line 3, column 7" \
        $'element <\xe5\x90\x8d\xe5\xad\x97> holds characters beyond ISO-8859-1, which the library\'s format cannot write'
    only_files "cjk.xml config.xml "
}

case_set_refuses_comment_cdata_pi_beyond_latin1() {
    local cannot="holds characters beyond ISO-8859-1, which the library's format cannot write"
    printf '<c>\n  <!-- caf\xc3\xa9 \xe2\x82\xac -->\n  <b>1</b>\n</c>\n' > conf/comment.xml
    expect_set_refused conf/comment.xml b "line 2, column 18" "a comment $cannot"
    printf '<c>\n  <x><![CDATA[\xe2\x82\xac]]></x>\n  <b>1</b>\n</c>\n' > conf/cdata.xml
    expect_set_refused conf/cdata.xml b "line 2, column 19" "a CDATA section $cannot"
    printf '<c>\n  <?pi \xe2\x82\xac?>\n  <b>1</b>\n</c>\n' > conf/pi.xml
    expect_set_refused conf/pi.xml b "line 2, column 11" "the processing instruction <?pi?> $cannot"
    # Characters beyond ISO-8859-1 in text and attribute values are written
    # as character references and read back the same: those files are saved.
    printf '<c a="\xe2\x82\xac">\xe2\x82\xac<b>1</b></c>' > conf/refs.xml
    run set conf/refs.xml b 2
    expect 0 "" ""
    run get conf/refs.xml @a
    expect 0 $'?\n' ""
    run format conf/refs.xml
    expect 0 $'<?xml version=\'1.0\' encoding=\'ISO-8859-1\' ?>\n<c a="&#8364;">&#8364;    <b>2</b>\n</c>\n' ""
}

case_set_refuses_to_drop_doctype_and_expand_entities() {
    printf 'from a file\n' > conf/part.txt
    printf '<!DOCTYPE c [\n<!ENTITY e "hello">\n<!ENTITY f SYSTEM "part.txt">\n]>\n<c>\n  <a>&e;</a>\n  <b>1</b>\n</c>\n' > conf/dt.xml
    expect_set_refused conf/dt.xml b "line 1, column 13" \
        "the document type declaration would be lost or changed by the library's format"
    only_files "config.xml dt.xml part.txt "
}

case_set_refuses_control_characters() {
    cp conf/config.xml before.xml
    run set conf/config.xml database/host $'db\x01'
    expect 2 "" $'xmlutil: VALUE holds the control character 0x01 at offset 2, which XML 1.0 cannot hold\n'
    run set conf/config.xml database@x $'\x1b[31m'
    expect 2 "" $'xmlutil: VALUE holds the control character 0x1B at offset 0, which XML 1.0 cannot hold\n'
    same_file before.xml conf/config.xml
    # Tab, line feed and carriage return are characters of XML.
    run set conf/config.xml database/host $'a\tb'
    expect 0 "" ""
    run get conf/config.xml database/host
    expect 0 $'a\tb\n' ""
}

case_dash_reads_standard_input() {
    input=conf/config.xml run get - database/host
    expect 0 $'db.example.local\n' ""
    input=conf/config.xml run list - database/user
    expect 0 "" ""
    input=conf/config.xml run format -
    "$tool" format conf/config.xml > want.out
    expect_out_file 0 want.out ""
    # set - edits standard input onto standard output and touches no file.
    cp conf/config.xml before.xml
    input=conf/config.xml run set - database/host other
    "$tool" format - < run.out > /dev/null
    "$tool" get - database/host < run.out > value.out
    [ "$(cat value.out)" = other ] || fail "set - wrote $(cat value.out)"
    same_file before.xml conf/config.xml
    printf '<a><b>1</b>' > broken.xml
    input=broken.xml run get - b
    expect 3 "" $'xmlutil: Fatal Error at (file standard input, line 1, char 12): input ended before all started tags were ended; last tag started is \'a\'\n'
}

case_fifo_is_read_once() {
    mkfifo conf/pipe.xml
    cat conf/config.xml > conf/pipe.xml &
    run_bounded 10 get conf/pipe.xml database/host
    expect 0 $'db.example.local\n' ""
    wait
    cat conf/config.xml > conf/pipe.xml &
    run_bounded 10 format conf/pipe.xml
    [ "$status" = 0 ] || fail "format of a pipe: exit status $status"
    wait
    run set conf/pipe.xml database/host x
    expect 2 "" $'xmlutil: conf/pipe.xml: not a regular file; set replaces files only ("-" edits standard input to standard output)\n'
}

# Two writers, 60 sets each of keys of their own: every one of the 120 lands.
case_set_concurrent_updates_are_not_lost() {
    printf '<c>\n</c>\n' > conf/shared.xml
    local writer
    for writer in a b; do
        (
            for i in $(seq 1 60); do
                "$tool" set conf/shared.xml "$writer$i" "$i" || echo "set $writer$i failed" >> errors.txt
            done
        ) &
    done
    wait
    [ ! -s errors.txt ] || fail "$(cat errors.txt)"
    for writer in a b; do
        for i in $(seq 1 60); do
            run get conf/shared.xml "$writer$i"
            [ "$status" = 0 ] && [ "$(cat run.out)" = "$i" ] || fail "update $writer$i lost"
        done
    done
    only_files "config.xml shared.xml "
}

# A document whose library format is 1.2 GiB: it leaves in full, in blocks,
# also where the process may not hold that much memory.
case_format_streams_large_output() {
    local n=18000
    awk -v n=$n 'BEGIN { for (i = 0; i < n; i++) printf "<e>"; for (i = 0; i < n; i++) printf "</e>" }' > conf/deep.xml
    local size=$((45 + (n - 1) * 9 + 8 * (n - 1) * (n - 2) / 2 + 4 * (n - 1) + 5))
    last="xmlutil format conf/deep.xml | wc -c"
    local got
    got=$("$tool" format conf/deep.xml | wc -c)
    [ "$got" = "$size" ] || fail "$got bytes written, expected $size"
    # AddressSanitizer reserves terabytes of address space up front.
    # (grep reads all of ldd's output: with -q, ldd could die of SIGPIPE first.)
    if ! ldd "$tool" | grep 'libasan\|libtsan' > /dev/null; then
        last="(ulimit -v 1500000; xmlutil format conf/deep.xml) | wc -c"
        got=$( (ulimit -v 1500000 && exec "$tool" format conf/deep.xml) | wc -c)
        [ "$got" = "$size" ] || fail "$got bytes written under a 1.5 GB limit, expected $size"
    fi
}

case_format_failed_write_is_reported() {
    run format conf/config.xml
    cp run.out full.out
    last="xmlutil format conf/config.xml > /dev/full"
    set +e
    "$tool" format conf/config.xml > /dev/full 2> run.err
    status=$?
    set -e
    printf '' > run.out
    expect 3 "" $'xmlutil: standard output: No space left on device\n'
    # A reader that goes away early: reported, not a silent death by SIGPIPE.
    awk 'BEGIN { for (i = 0; i < 3000; i++) printf "<e>"; for (i = 0; i < 3000; i++) printf "</e>" }' > conf/deep.xml
    last="xmlutil format conf/deep.xml | head -c 10"
    set +e
    "$tool" format conf/deep.xml 2> run.err | head -c 10 > /dev/null
    status=${PIPESTATUS[0]}
    set -e
    printf '' > run.out
    expect 3 "" $'xmlutil: standard output: Broken pipe\n'
}

case_set_keeps_read_only_files_and_hard_links() {
    cp conf/config.xml before.xml
    chmod 0444 conf/config.xml
    run set conf/config.xml database/host x
    expect 3 "" $'xmlutil: cannot save conf/config.xml: file is read-only; the file is unchanged\n'
    same_file before.xml conf/config.xml
    [ "$(stat -c %a conf/config.xml)" = 444 ] || fail "mode changed to $(stat -c %a conf/config.xml)"
    chmod 0644 conf/config.xml
    ln conf/config.xml conf/linked.xml
    run set conf/config.xml database/host x
    expect 3 "" $'xmlutil: cannot save conf/config.xml: file has other hard links, which a replacement would leave with the old content; the file is unchanged\n'
    same_file before.xml conf/config.xml
    [ "$(stat -c %h conf/config.xml)" = 2 ] || fail "hard link split"
    only_files "config.xml linked.xml "
}

case_set_names_unwritable_directory() {
    cp conf/config.xml before.xml
    chmod 0555 conf
    run set conf/config.xml database/host x
    chmod 0755 conf
    expect 3 "" $'xmlutil: cannot save conf/config.xml: directory not writable; the file is unchanged\n'
    same_file before.xml conf/config.xml
}

case_set_long_file_name() {
    local name
    for length in 248 255; do
        name=conf/$(printf 'n%.0s' $(seq 1 $((length - 4)))).xml
        cp conf/config.xml "$name"
        run set "$name" database/host "len$length"
        expect 0 "" ""
        run get "$name" database/host
        expect 0 "len$length"$'\n' ""
        rm "$name"
    done
    only_files "config.xml "
}

case_set_removes_leftover_of_killed_save() {
    printf 'half a document' > conf/.xmlutil-Zz9Yy8
    run set conf/config.xml database/host x
    expect 0 "" ""
    only_files "config.xml "
}

# ---------------------------------------------------------------------------------

if ! declare -F "case_$2" > /dev/null; then
    echo "no such case: $2"
    exit 2
fi
"case_$2"
if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
