#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
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
# Arguments and output in UTF-8 unless a case says otherwise.
export LC_ALL=C.UTF-8
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

case_help_add_and_delete() {
    run add --help
    expect_out_file 0 "$data/help-add.txt" ""
    run delete -h
    expect_out_file 0 "$data/help-delete.txt" ""
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
    run get conf/config.xml service/database/host
    expect 0 $'db.example.local\n' ""
    run get conf/config.xml /service/database/host
    expect 0 $'db.example.local\n' ""
}

case_get_attribute() {
    run get conf/config.xml service/database/user/@role
    expect 0 $'reader\n' ""
    run get conf/config.xml service/@version
    expect 0 $'2\n' ""
}

case_get_text_is_trimmed() {
    run get conf/config.xml service/database/timeout
    expect 0 $'30\n' ""
    run get conf/config.xml 'service/database/timeout/text()'
    expect 0 $'30\n' ""
}

case_get_takes_first_of_repeated_elements() {
    run get conf/config.xml service/servers/server
    expect 0 $'10.0.0.1\n' ""
    run get conf/config.xml service/servers/server/@name
    expect 0 $'alpha\n' ""
}

case_get_all_prints_every_match() {
    run get --all conf/config.xml service/servers/server
    expect 0 $'10.0.0.1\n10.0.0.2\n10.0.0.3\n' ""
    run get conf/config.xml --all 'service/servers/server/@weight'
    expect 0 $'3\n1\n2\n' ""
    run get --all conf/config.xml 'service/*/@unit'
    expect 0 $'s\n' ""
}

case_get_positions_and_predicates() {
    run get conf/config.xml 'service/servers/server[2]'
    expect 0 $'10.0.0.2\n' ""
    run get conf/config.xml 'service/servers/server[last()]/@name'
    expect 0 $'gamma\n' ""
    run get conf/config.xml "service/servers/server[@name='beta']/@weight"
    expect 0 $'1\n' ""
    run get conf/config.xml 'service/servers/server[@name="gamma"]'
    expect 0 $'10.0.0.3\n' ""
    run get conf/config.xml "service/servers/server[.='10.0.0.2']/@name"
    expect 0 $'beta\n' ""
    run get conf/config.xml "service/servers/server[contains(@name,'mm')]"
    expect 0 $'10.0.0.3\n' ""
    run get conf/config.xml "service/servers/server[contains(.,'.0.1')]/@name"
    expect 0 $'alpha\n' ""
    run get conf/config.xml "service/*[host='db.example.local']/@driver"
    expect 0 $'postgres\n' ""
    run get conf/config.xml "service/*[contains(file,'orders')]/@level"
    expect 0 $'info\n' ""
    # Predicates apply in turn: positions count what the earlier ones kept.
    run get conf/config.xml "service/servers/server[contains(@name,'a')][2]/@name"
    expect 0 $'beta\n' ""
    run get conf/config.xml "service/servers/server[2][@name='alpha']"
    expect 1 $'\n' ""
    run get conf/config.xml 'service/servers/server[4]'
    expect 1 $'\n' ""
}

# Steps select direct children only, whatever lies nested before them.
case_get_direct_children_only() {
    run get conf/config.xml service/timeout
    expect 0 $'120\n' ""
    run get conf/config.xml service/timeout/@unit
    expect 0 $'s\n' ""
    run get conf/config.xml service/host
    expect 1 $'\n' ""
}

case_get_star_selects_child_elements() {
    run get conf/config.xml 'service/*/*'
    expect 0 $'db.example.local\n' ""
    run get conf/config.xml '*/*[2]'
    expect 0 $'120\n' ""
}

case_get_latin1_and_multiline_text() {
    LC_ALL=C.UTF-8 run get conf/config.xml service/greeting
    expect 0 $'Gr\xc3\xbc\xc3\x9fe & welcome\n' ""
    run get conf/config.xml service/motd
    expect 0 $'Orders close at 18:00.\nReturns: see C:\\returns\n' ""
}

case_get_not_found_prints_empty_line() {
    run get conf/config.xml service/database/password
    expect 1 $'\n' ""
    run get conf/config.xml service/nothing/here/@at
    expect 1 $'\n' ""
    run get conf/config.xml config/database/host
    expect 1 $'\n' ""
}

case_get_not_found_prints_default() {
    run get conf/config.xml service/database/password --default secret
    expect 0 $'secret\n' ""
    run get --default=-1 conf/config.xml service/database/retries
    expect 0 $'-1\n' ""
    run get conf/config.xml service/database/user/@age --default '  42 '
    expect 0 $'  42 \n' ""
}

case_get_found_ignores_default() {
    run get --default 1234 conf/config.xml service/database/port
    expect 0 $'5432\n' ""
}

case_get_empty_attribute_is_found() {
    run get conf/config.xml service/logging/rotate/@compress --default yes
    expect 0 $'\n' ""
}

case_get_empty_element_prints_empty_line() {
    run get conf/config.xml service/logging/rotate --default none
    expect 0 $'\n' ""
    printf '<r><a></a><b>  </b><c><![CDATA[]]></c></r>' > conf/empty.xml
    for p in r/a r/b r/c; do
        run get conf/empty.xml $p
        expect 0 $'\n' ""
    done
}

case_get_container_is_refused() {
    run get conf/config.xml service/database --default none
    expect 1 "" $'xmlutil: service/database: element has child elements and no text of its own\n'
    run get conf/config.xml service
    expect 1 "" $'xmlutil: service: element has child elements and no text of its own\n'
    # Text of its own beside child elements is its text.
    printf '<r>\n  own <b>child</b> text\n</r>' > conf/mixed.xml
    run get conf/mixed.xml r
    expect 0 $'own  text\n' ""
}

case_get_missing_file() {
    run get conf/missing.xml service/database/host --default x
    expect 3 "" $'xmlutil: conf/missing.xml: No such file or directory\n'
}

case_get_malformed_xml() {
    cp "$data/malformed.xml" conf/
    run get conf/malformed.xml service/database/host --default x
    expect 3 "" "xmlutil: Fatal Error at (file conf/malformed.xml, line 7, char 7): expected end of tag 'user'"$'\n'
}

# ---- set ------------------------------------------------------------------------

case_set_creates_elements_and_attributes() {
    run set conf/config.xml service/cache/redis/host localhost
    expect 0 "" ""
    run set conf/config.xml service/cache/redis/@db 3
    expect 0 "" ""
    run set conf/config.xml service/database/port 6543
    expect 0 "" ""
    run set conf/config.xml service/database/user/@role writer
    expect 0 "" ""
    run set conf/config.xml service/@version 3
    expect 0 "" ""
    run set conf/config.xml service/logging/rotate/size 10M
    expect 0 "" ""
    same_file "$data/config-after-set.xml" conf/config.xml
    only_files "config.xml "

    run get conf/config.xml service/cache/redis/host
    expect 0 $'localhost\n' ""
    run get conf/config.xml service/cache/redis/@db
    expect 0 $'3\n' ""
    run get conf/config.xml service/database/port
    expect 0 $'6543\n' ""
    run get conf/config.xml service/database/user/@role
    expect 0 $'writer\n' ""
    run get conf/config.xml service/@version
    expect 0 $'3\n' ""
}

# Only the value's bytes change: the white space around the old text stays.
case_set_changes_only_the_value() {
    run set conf/config.xml service/database/timeout 45
    expect 0 "" ""
    sed 's|<timeout unit="s">  30  </timeout>|<timeout unit="s">  45  </timeout>|' "$data/config.xml" > want.xml
    same_file want.xml conf/config.xml
    run set conf/config.xml service/database/host ''
    expect 0 "" ""
    run get conf/config.xml service/database/host
    expect 0 $'\n' ""
    grep -q '^        <host></host>$' conf/config.xml || fail "host not emptied in place"
}

case_set_escapes_text_and_attributes() {
    run set conf/config.xml service/database/host 'a<b & c]]>d'
    expect 0 "" ""
    grep -q '^        <host>a&lt;b &amp; c]]&gt;d</host>$' conf/config.xml || fail "text not escaped"
    run get conf/config.xml service/database/host
    expect 0 $'a<b & c]]>d\n' ""
    run set conf/config.xml service/database/@driver $'say "hi"\tnow'
    expect 0 "" ""
    grep -q '^    <database driver="say &quot;hi&quot;&#x9;now">$' conf/config.xml || fail "attribute not escaped"
    run get conf/config.xml service/database/@driver
    expect 0 $'say "hi"\tnow\n' ""
    printf "<r a='1'/>" > conf/quote.xml
    run set conf/quote.xml r/@a "it's"
    run set conf/quote.xml r/@b 'x"y'
    expect 0 "" ""
    printf "<r a='it&apos;s' b='x\"y'/>" > want.xml
    same_file want.xml conf/quote.xml
}

case_set_container_is_refused() {
    run set conf/config.xml service/database x
    expect 2 "" $'xmlutil: \'service/database\': <database> has child elements; set replaces text only\n'
    run set conf/config.xml 'service/*/port/x' 1
    expect 2 "" $'xmlutil: \'service/*/port/x\': cannot add an element to <port>, which holds text of its own\n'
    printf '<r><a>1<!-- note --></a></r>' > conf/comment.xml
    run set conf/comment.xml r/a 2
    expect 2 "" $'xmlutil: \'r/a\': <a> holds a comment or processing instruction, which set would remove\n'
    same_file "$data/config.xml" conf/config.xml
}

case_set_predicates_are_never_created() {
    run set conf/config.xml "service/servers/server[@name='delta']" 10.0.0.4
    expect 1 "" $'xmlutil: no match for \'service/servers/server[@name=\'delta\']\' in conf/config.xml\n'
    run set conf/config.xml 'service/servers/server[4]/@weight' 1
    expect 1 "" $'xmlutil: no match for \'service/servers/server[4]/@weight\' in conf/config.xml\n'
    run set conf/config.xml 'service/logging/rotate/*' 1
    expect 1 "" $'xmlutil: no match for \'service/logging/rotate/*\' in conf/config.xml\n'
    run set conf/config.xml 'other/x' 1
    expect 1 "" $'xmlutil: no match for \'other/x\' in conf/config.xml\n'
    same_file "$data/config.xml" conf/config.xml
    run set conf/config.xml "service/servers/server[@name='beta']" 10.0.0.9
    expect 0 "" ""
    run set conf/config.xml "service/servers/server[@name='beta']/@weight" 7
    expect 0 "" ""
    run get --all conf/config.xml service/servers/server/@weight
    expect 0 $'3\n7\n2\n' ""
    run get conf/config.xml "service/servers/server[2]"
    expect 0 $'10.0.0.9\n' ""
}

case_set_keeps_permissions() {
    chmod 640 conf/config.xml
    run set conf/config.xml service/database/port 6543
    expect 0 "" ""
    mode=$(stat -c %a conf/config.xml)
    [ "$mode" = 640 ] || fail "mode $mode after set, expected 640"
    chmod 604 conf/config.xml
    run set conf/config.xml service/database/port 6544
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
    run_limited 8 set conf/big.xml catalog/entry/@id 0
    expect 3 "" $'xmlutil: cannot save conf/big.xml: file too large; the file is unchanged\n'
    same_file big.orig conf/big.xml
    only_files "big.xml config.xml "
}

case_set_through_symlink_keeps_link() {
    ln -s config.xml conf/link.xml
    run set conf/link.xml service/database/port 6543
    expect 0 "" ""
    [ -L conf/link.xml ] || fail "conf/link.xml is no longer a symbolic link"
    run get conf/config.xml service/database/port
    expect 0 $'6543\n' ""
    only_files "config.xml link.xml "
}

case_set_invalid_name_changes_nothing() {
    run set conf/config.xml 'service/new/bad name' 1
    expect 2 "" $'xmlutil: invalid PATH \'service/new/bad name\': unexpected \'n\' at offset 16\n'
    run set conf/config.xml 'service/database/@1st' 1
    expect 2 "" $'xmlutil: invalid PATH \'service/database/@1st\': expected an attribute name after \'@\' at offset 18\n'
    same_file "$data/config.xml" conf/config.xml
    only_files "config.xml "
}

case_set_value_after_double_dash() {
    run set conf/config.xml service/database/port -- -1
    expect 0 "" ""
    run get conf/config.xml service/database/port
    expect 0 $'-1\n' ""
}

case_set_missing_file() {
    run set conf/missing.xml service/database/port 1
    expect 3 "" $'xmlutil: conf/missing.xml: No such file or directory\n'
    only_files "config.xml "
}

case_set_malformed_xml() {
    cp "$data/malformed.xml" conf/
    run set conf/malformed.xml service/database/port 1
    expect 3 "" "xmlutil: Fatal Error at (file conf/malformed.xml, line 7, char 7): expected end of tag 'user'"$'\n'
    same_file "$data/malformed.xml" conf/malformed.xml
}

# ---- minimal-diff edits -------------------------------------------------------------

# A child POM: <parent><version> comes first, the project's own <version> is
# a direct child of the root; both in the default namespace.
case_pom_own_version() {
    cp "$data/pom.xml" conf/pom.xml
    run get conf/pom.xml project/version
    expect 0 $'1.4.2-SNAPSHOT\n' ""
    run get conf/pom.xml project/parent/version
    expect 0 $'7\n' ""
    run get conf/pom.xml project/dependencies/dependency/version
    expect 0 $'4.13.2\n' ""
    run get conf/pom.xml "project/dependencies/dependency[artifactId='junit']/scope"
    expect 0 $'test\n' ""
    run set conf/pom.xml project/version 1.4.2
    expect 0 "" ""
    same_file "$data/pom-release.xml" conf/pom.xml
}

case_namespace_prefixes() {
    cp "$data/pom.xml" conf/pom.xml
    local m='m=http://maven.apache.org/POM/4.0.0'
    run get -N "$m" conf/pom.xml m:project/m:version
    expect 0 $'1.4.2-SNAPSHOT\n' ""
    run get -N "$m" conf/pom.xml /m:project/m:parent/m:artifactId
    expect 0 $'parent\n' ""
    # The file's prefix does not matter, the namespace does.
    run get -N x=http://www.w3.org/2001/XMLSchema-instance -N "$m" conf/pom.xml m:project/@x:schemaLocation
    expect 0 $'http://maven.apache.org/POM/4.0.0 http://maven.apache.org/xsd/maven-4.0.0.xsd\n' ""
    run get -N m=urn:other conf/pom.xml m:project/m:version
    expect 1 $'\n' ""
    run get conf/pom.xml m:project/m:version
    expect 1 $'\n' ""
    # A new element in the default namespace is written without a prefix.
    run set -N "$m" conf/pom.xml m:project/m:name demo
    expect 0 "" ""
    run get conf/pom.xml project/name
    expect 0 $'demo\n' ""
    grep -q '^  <name>demo</name>$' conf/pom.xml || fail "name not added in the POM's layout"
}

case_app_settings_attribute_crlf() {
    cp "$data/web.config" conf/web.config
    run get conf/web.config "configuration/appSettings/add[@key='x']/@value"
    expect 0 $'old\n' ""
    run get conf/web.config 'configuration/appSettings/add[@key="timeout"]/@value'
    expect 0 $'30\n' ""
    run set conf/web.config "configuration/appSettings/add[@key='x']/@value" 'new & <shiny>'
    expect 0 "" ""
    same_file "$data/web-after-set.config" conf/web.config
    run set conf/web.config "configuration/appSettings/add[@key='nope']/@value" 1
    expect 1 "" $'xmlutil: no match for \'configuration/appSettings/add[@key=\'nope\']/@value\' in conf/web.config\n'
    same_file "$data/web-after-set.config" conf/web.config
}

case_add_keeps_layout_and_crlf() {
    cp "$data/web.config" conf/web.config
    run add conf/web.config configuration/appSettings/add
    expect 0 "" ""
    run set conf/web.config configuration/connectionStrings/add/@name db
    expect 0 "" ""
    same_file "$data/web-after-add.config" conf/web.config
    run get --all conf/web.config configuration/appSettings/add/@key
    expect 0 $'timeout\nx\nmode\n' ""
    # After the last sibling of the name, else after the last child.
    printf '<r>\n    <a>1</a>\n    <b>2</b>\n</r>\n' > conf/r.xml
    run add conf/r.xml r/a 3
    run add conf/r.xml r/c
    expect 0 "" ""
    printf '<r>\n    <a>1</a>\n    <a>3</a>\n    <b>2</b>\n    <c/>\n</r>\n' > want.xml
    same_file want.xml conf/r.xml
    run add conf/r.xml r 1
    expect 2 "" $'xmlutil: \'r\': a document has one root element\n'
    run add conf/r.xml 'r/a[1]' 1
    expect 2 "" $'xmlutil: \'r/a[1]\': add takes a path whose last step is an element name\n'
    run add conf/r.xml r/x/y 1
    expect 1 "" $'xmlutil: no match for \'r/x/y\' in conf/r.xml\n'
}

case_delete_elements_and_attributes() {
    cp "$data/pom.xml" conf/pom.xml
    run delete conf/pom.xml project/packaging
    expect 0 "" ""
    run delete conf/pom.xml project/dependencies/dependency/scope
    expect 0 "" ""
    run delete conf/pom.xml project/@xsi:schemaLocation
    expect 0 "" ""
    grep -v '<packaging>\|<scope>' "$data/pom.xml" |
        sed -e 's|^         xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"$|         xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">|' \
            -e '/^         xsi:schemaLocation=/d' > want.xml
    same_file want.xml conf/pom.xml
    printf '<r><a>1</a><b x="1" y="2">2</b></r>' > conf/r.xml
    run delete conf/r.xml r/a
    run delete conf/r.xml r/b/@x
    expect 0 "" ""
    printf '<r><b y="2">2</b></r>' > want.xml
    same_file want.xml conf/r.xml
    run delete conf/r.xml 'r/b/text()'
    printf '<r><b y="2"></b></r>' > want.xml
    same_file want.xml conf/r.xml
    run delete conf/r.xml r/c
    expect 1 "" $'xmlutil: no match for \'r/c\' in conf/r.xml\n'
    run delete conf/r.xml r/b/@z
    expect 1 "" $'xmlutil: no match for \'r/b/@z\' in conf/r.xml\n'
    run delete conf/r.xml r
    expect 2 "" $'xmlutil: \'r\': the root element cannot be deleted\n'
    same_file want.xml conf/r.xml
}

# DOCTYPE and internal subset, entity references, comments, CDATA and
# xml:space="preserve" text stay as they were; only the values change.
case_set_keeps_doctype_entities_cdata() {
    cp "$data/features.xml" conf/f.xml
    run get conf/f.xml settings/owner
    expect 0 $'Example & Sons\n' ""
    run get conf/f.xml settings/motd
    expect 0 $'  Welcome\n    all  \n' ""
    run set conf/f.xml settings/script 'if (a > b && c) { stop(); }'
    expect 0 "" ""
    run set conf/f.xml settings/motd '  Bye  '
    run set conf/f.xml 'settings/名前' '新しい値'
    run set conf/f.xml settings/empty 'x < y'
    run set conf/f.xml settings/@lang '日本'
    expect 0 "" ""
    same_file "$data/features-after-set.xml" conf/f.xml
    run get conf/f.xml 'settings/名前/@単位'
    expect 0 $'個\n' ""
    run get conf/f.xml settings/motd
    expect 0 $'  Bye  \n' ""
    # A CDATA section cannot hold "]]>": the value becomes escaped text.
    run set conf/f.xml settings/script 'a ]]> b'
    expect 0 "" ""
    grep -q '^  <script>a ]]&gt; b</script>$' conf/f.xml || fail "]]> not escaped"
    run get conf/f.xml settings/script
    expect 0 $'a ]]> b\n' ""
}

case_internal_subset_is_read_and_kept() {
    printf '<!DOCTYPE doc [\n  <!ENTITY a "x">\n  <!ENTITY b '"'"'y "z"'"'"'>\n  <!ATTLIST doc v CDATA "]>">\n]>\n<doc t="&a;&b;"><p>&a;-&b;</p><q/></doc>\n' > conf/d.xml
    cp conf/d.xml before.xml
    run get conf/d.xml doc/p
    expect 0 $'x-y "z"\n' ""
    run get conf/d.xml doc/@t
    expect 0 $'xy "z"\n' ""
    run set conf/d.xml doc/q '&a;'
    expect 0 "" ""
    sed 's|<q/>|<q>\&amp;a;</q>|' before.xml > want.xml
    same_file want.xml conf/d.xml
    run get conf/d.xml doc/q
    expect 0 $'&a;\n' ""
    # Text beside child elements keeps its place when an element is added.
    printf '<r>text <a/> more</r>' > conf/m.xml
    run add conf/m.xml r/a 1
    expect 0 "" ""
    printf '<r>text <a/><a>1</a> more</r>' > want.xml
    same_file want.xml conf/m.xml
}

# Attribute defaults and tokenized types of the internal subset apply, as
# the parser applies them.
case_internal_subset_attribute_defaults() {
    printf '<!DOCTYPE s [\n<!ATTLIST s version CDATA #FIXED "3">\n<!ATTLIST e key ID #REQUIRED type (string|int) "string" flags NMTOKENS #IMPLIED>\n]>\n<s>\n  <e key="k1">a</e>\n  <e key="k2" type="int" flags="  x   y ">2</e>\n</s>\n' > conf/d.xml
    run get conf/d.xml s/@version
    expect 0 $'3\n' ""
    run get --all conf/d.xml s/e/@type
    expect 0 $'string\nint\n' ""
    run get conf/d.xml "s/e[@type='string']/@key"
    expect 0 $'k1\n' ""
    run get conf/d.xml "s/e[@key='k2']/@flags"
    expect 0 $'x y\n' ""
    run set conf/d.xml "s/e[@key='k2']/@flags" 'p  q'
    expect 0 "" ""
    run set conf/d.xml "s/e[@key='k1']/@type" int
    expect 0 "" ""
    printf '<!DOCTYPE s [\n<!ATTLIST s version CDATA #FIXED "3">\n<!ATTLIST e key ID #REQUIRED type (string|int) "string" flags NMTOKENS #IMPLIED>\n]>\n<s>\n  <e key="k1" type="int">a</e>\n  <e key="k2" type="int" flags="p  q">2</e>\n</s>\n' > want.xml
    same_file want.xml conf/d.xml
    run get conf/d.xml "s/e[@key='k2']/@flags"
    expect 0 $'p q\n' ""
}

case_utf8_names_and_values_round_trip() {
    printf '<設定>\n  <名字>值</名字>\n</設定>\n' > conf/cjk.xml
    run get conf/cjk.xml 設定/名字
    expect 0 $'值\n' ""
    run set conf/cjk.xml 設定/名字 '新值 ü'
    run set conf/cjk.xml 設定/地址/@城市 北京
    expect 0 "" ""
    printf '<設定>\n  <名字>新值 ü</名字>\n  <地址 城市="北京"/>\n</設定>\n' > want.xml
    same_file want.xml conf/cjk.xml
    run list conf/cjk.xml 設定
    expect 0 $'名字\t新值 ü\n地址\t\n' ""
    # The C locale's ASCII takes UTF-8; other bytes beyond ASCII are refused.
    LC_ALL=C run get conf/cjk.xml 設定/名字
    expect 0 $'新值 ü\n' ""
    LC_ALL=C run get conf/cjk.xml $'\xe9'
    expect 2 "" $'xmlutil: PATH is not valid UTF-8\n'
    LC_ALL=C run set conf/cjk.xml 設定/名字 $'caf\xe9'
    expect 2 "" $'xmlutil: VALUE is not valid UTF-8\n'
    same_file want.xml conf/cjk.xml
}

case_utf16_files() {
    local order
    for order in le be; do
        cp "$data/utf16$order.xml" conf/u.xml
        run get conf/u.xml r/name
        expect 0 $'名\n' ""
        run set conf/u.xml r/name '中文 ü'
        expect 0 "" ""
        run add conf/u.xml r/item '€'
        expect 0 "" ""
        same_file "$data/utf16$order-after.xml" conf/u.xml
    done
}

case_utf8_bom_windows_1252_and_utf16_without_bom() {
    printf '\xef\xbb\xbf<?xml version="1.0"?>\n<r><a>1</a></r>\n' > conf/bom.xml
    run set conf/bom.xml r/a 'é'
    expect 0 "" ""
    printf '\xef\xbb\xbf<?xml version="1.0"?>\n<r><a>\xc3\xa9</a></r>\n' > want.xml
    same_file want.xml conf/bom.xml
    printf '<?xml version="1.0" encoding="windows-1252"?>\n<r><a>\x80</a></r>\n' > conf/w.xml
    run get conf/w.xml r/a
    expect 0 $'€\n' ""
    run set conf/w.xml r/a '€ 中'
    expect 0 "" ""
    printf '<?xml version="1.0" encoding="windows-1252"?>\n<r><a>\x80 &#x4E2D;</a></r>\n' > want.xml
    same_file want.xml conf/w.xml
    printf '<?xml version="1.0" encoding="UTF-16"?>\n<r><a>x</a></r>\n' | iconv -f UTF-8 -t UTF-16LE > conf/u.xml
    run set conf/u.xml r/a '中'
    expect 0 "" ""
    printf '<?xml version="1.0" encoding="UTF-16"?>\n<r><a>中</a></r>\n' | iconv -f UTF-8 -t UTF-16LE > want.xml
    same_file want.xml conf/u.xml
}

case_latin1_file_takes_references() {
    cp "$data/latin1.xml" conf/l.xml
    run set conf/l.xml r/name '中文 café'
    expect 0 "" ""
    run set conf/l.xml r/@t 'ü€'
    expect 0 "" ""
    same_file "$data/latin1-after.xml" conf/l.xml
    run get conf/l.xml r/name
    expect 0 $'中文 café\n' ""
    # Names take no references.
    run set conf/l.xml r/名 x
    expect 2 "" $'xmlutil: the name \'名\' cannot be written in the file\'s encoding ISO-8859-1, and a name cannot hold a character reference\n'
    run set conf/l.xml r/@€ x
    expect 2 "" $'xmlutil: the name \'€\' cannot be written in the file\'s encoding ISO-8859-1, and a name cannot hold a character reference\n'
    same_file "$data/latin1-after.xml" conf/l.xml
}

case_dry_run_prints_diff() {
    run set --dry-run conf/config.xml service/database/port 6543
    expect 0 '--- conf/config.xml
+++ conf/config.xml
@@ -3,7 +3,7 @@
 <service name="orders" version="2">
     <database driver="postgres">
         <host>db.example.local</host>
-        <port>5432</port>
+        <port>6543</port>
         <user role="reader">report</user>
         <timeout unit="s">  30  </timeout>
     </database>
' ""
    run delete --dry-run conf/config.xml 'service/servers/server[last()]'
    expect 0 '--- conf/config.xml
+++ conf/config.xml
@@ -15,7 +15,6 @@
     <servers>
         <server name="alpha" weight="3">10.0.0.1</server>
         <server name="beta" weight="1">10.0.0.2</server>
-        <server name="gamma" weight="2">10.0.0.3</server>
     </servers>
     <greeting>Gr&#252;&#223;e &amp; welcome</greeting>
     <motd>Orders close at 18:00.
' ""
    printf '<r>1</r>' > conf/short.xml
    run set --dry-run conf/short.xml r 2
    expect 0 '--- conf/short.xml
+++ conf/short.xml
@@ -1 +1 @@
-<r>1</r>
\ No newline at end of file
+<r>2</r>
\ No newline at end of file
' ""
    run set --dry-run conf/short.xml r 1
    expect 0 "" ""
    same_file "$data/config.xml" conf/config.xml
    printf '<r>1</r>' > want.xml
    same_file want.xml conf/short.xml
}

# dry_run_patches FILE COMMAND ARG...: the --dry-run diff of the edit,
# applied to FILE with patch(1) without fuzz (every context line matching),
# gives exactly the bytes that -o writes; FILE
# stays as it was.
dry_run_patches() {
    local file=$1 command=$2
    shift 2
    cp -p "$file" before.xml
    run "$command" -o dry-out.xml "$file" "$@"
    expect 0 "" ""
    run "$command" --dry-run "$file" "$@"
    [ "$status" = 0 ] || fail "exit status $status, expected 0"
    cp run.out dry.diff
    same_file before.xml "$file"
    rm -f patched.xml
    if patch --binary --fuzz=0 --no-backup-if-mismatch -s -r - -o patched.xml "$file" < dry.diff > patch.log 2>&1; then
        same_file dry-out.xml patched.xml
    else
        fail "the diff does not apply with patch: $(head -n 3 patch.log)"
    fi
}

# A byte order mark is part of line 1, in the diff as in the file.
case_dry_run_utf8_bom_patches() {
    printf '\xef\xbb\xbf<?xml version="1.0" encoding="utf-8"?>\r\n<Project ToolsVersion="15.0">\r\n  <Name>Caf\xc3\xa9</Name>\r\n</Project>\r\n' > conf/WebShop.csproj
    run set --dry-run conf/WebShop.csproj Project/@ToolsVersion 16.0
    printf -- '--- conf/WebShop.csproj\n+++ conf/WebShop.csproj\n@@ -1,4 +1,4 @@\n \xef\xbb\xbf<?xml version="1.0" encoding="utf-8"?>\r\n-<Project ToolsVersion="15.0">\r\n+<Project ToolsVersion="16.0">\r\n   <Name>Caf\xc3\xa9</Name>\r\n </Project>\r\n' > want.out
    expect_out_file 0 want.out ""
    dry_run_patches conf/WebShop.csproj set Project/@ToolsVersion 16.0
    dry_run_patches conf/WebShop.csproj set Project/Name 'Thé'
    dry_run_patches conf/WebShop.csproj add Project/Name 'Zoë'
    dry_run_patches conf/WebShop.csproj delete Project/Name
}

# ISO-8859-1 bytes go out as they are, whatever the locale.
case_dry_run_latin1_patches() {
    printf '<?xml version="1.0" encoding="ISO-8859-1"?>\n<menu>\n  <dish>Caf\xe9</dish>\n  <price>5</price>\n</menu>\n' > conf/menu.xml
    run set --dry-run conf/menu.xml menu/dish 'Thé'
    printf -- '--- conf/menu.xml\n+++ conf/menu.xml\n@@ -1,5 +1,5 @@\n <?xml version="1.0" encoding="ISO-8859-1"?>\n <menu>\n-  <dish>Caf\xe9</dish>\n+  <dish>Th\xe9</dish>\n   <price>5</price>\n </menu>\n' > menu.diff
    expect_out_file 0 menu.diff ""
    dry_run_patches conf/menu.xml set menu/dish 'Thé'
    dry_run_patches conf/menu.xml set menu/@lang 'fr'
    dry_run_patches conf/menu.xml add menu/dish 'Crème brûlée'
    dry_run_patches conf/menu.xml delete menu/price
    # In the C locale as well: the diff is the file's, not the locale's text.
    LC_ALL=C run set --dry-run conf/menu.xml menu/dish 'Thé'
    expect_out_file 0 menu.diff ""
}

case_dry_run_windows1252_patches() {
    printf '<?xml version="1.0" encoding="windows-1252"?>\r\n<prices>\r\n  <item name="Caf\xe9">5 \x80</item>\r\n  <note>\x93quoted\x94</note>\r\n</prices>\r\n' > conf/prices.xml
    run set --dry-run conf/prices.xml prices/item '6 €'
    printf -- '--- conf/prices.xml\n+++ conf/prices.xml\n@@ -1,5 +1,5 @@\n <?xml version="1.0" encoding="windows-1252"?>\r\n <prices>\r\n-  <item name="Caf\xe9">5 \x80</item>\r\n+  <item name="Caf\xe9">6 \x80</item>\r\n   <note>\x93quoted\x94</note>\r\n </prices>\r\n' > want.out
    expect_out_file 0 want.out ""
    dry_run_patches conf/prices.xml set prices/item '6 €'
    dry_run_patches conf/prices.xml set prices/note '„low“'
    dry_run_patches conf/prices.xml add prices/item '7 €'
    dry_run_patches conf/prices.xml delete prices/item/@name
}

# UTF-16 has no lines that patch can take: the diff is the text in the
# locale's encoding, without the byte order mark, for reading.
case_dry_run_utf16_shows_text() {
    { printf '\xff\xfe'; printf '<?xml version="1.0" encoding="UTF-16"?>\r\n<r>\r\n  <a>é</a>\r\n</r>\r\n' | iconv -f UTF-8 -t UTF-16LE; } > conf/u.xml
    run set --dry-run conf/u.xml r/a 'ü'
    expect 0 $'--- conf/u.xml\n+++ conf/u.xml\n@@ -1,4 +1,4 @@\n <?xml version="1.0" encoding="UTF-16"?>\r\n <r>\r\n-  <a>é</a>\r\n+  <a>ü</a>\r\n </r>\r\n' ""
}

case_output_option() {
    run set -o conf/out.xml conf/config.xml service/database/port 6543
    expect 0 "" ""
    sed 's|<port>5432</port>|<port>6543</port>|' "$data/config.xml" > want.xml
    same_file want.xml conf/out.xml
    same_file "$data/config.xml" conf/config.xml
    run set conf/config.xml -o - service/database/port 6543
    expect_out_file 0 want.xml ""
    same_file "$data/config.xml" conf/config.xml
    input=conf/config.xml run delete --output=- - service/servers
    expect 0 "$(sed '/<servers>/,/<\/servers>/d' "$data/config.xml")"$'\n' ""
    only_files "config.xml out.xml "
}

case_unexpandable_entities_are_refused() {
    printf 'from a file\n' > conf/part.txt
    printf '<!DOCTYPE c [\n<!ENTITY f SYSTEM "part.txt">\n]>\n<c><a>&f;</a></c>\n' > conf/ext.xml
    run get conf/ext.xml c/a
    expect 3 "" $'xmlutil: conf/ext.xml: refers to the external entity \'part.txt\', which xmlutil does not read\n'
    printf '<!DOCTYPE c [\n<!ENTITY m "<b>x</b>">\n]>\n<c><a>&m;</a><d>1</d></c>\n' > conf/markup.xml
    run get conf/markup.xml c/a
    expect 3 "" $'xmlutil: an entity holds markup, which xmlutil does not expand\n'
    # Elsewhere in the file such a reference stays as it is.
    run set conf/markup.xml c/d 2
    expect 0 "" ""
    printf '<!DOCTYPE c [\n<!ENTITY m "<b>x</b>">\n]>\n<c><a>&m;</a><d>2</d></c>\n' > want.xml
    same_file want.xml conf/markup.xml
}

# 100 KB of entity text referenced 1,000 times: 100 MB of text from a
# 100 KB file, beyond 64 MiB plus 256 characters per byte.
case_entity_amplification_is_refused() {
    awk 'BEGIN { printf "<!DOCTYPE r [<!ENTITY e \""; for (i = 0; i < 100000; i++) printf "x";
                 printf "\">]><r>"; for (i = 0; i < 1000; i++) printf "&e;"; printf "</r>" }' > conf/amp.xml
    run get conf/amp.xml r
    expect 3 "" $'xmlutil: conf/amp.xml: its entities expand to more text than xmlutil reads (64 MiB plus 256 characters per byte of the file)\n'
    run set conf/amp.xml r/@a 1
    expect 3 "" $'xmlutil: conf/amp.xml: its entities expand to more text than xmlutil reads (64 MiB plus 256 characters per byte of the file)\n'
}

# ---- list -----------------------------------------------------------------------

case_list_children() {
    run list conf/config.xml service/servers
    expect 0 $'server\t10.0.0.1\nserver\t10.0.0.2\nserver\t10.0.0.3\n' ""
    run list conf/config.xml service/database
    expect 0 $'host\tdb.example.local\nport\t5432\nuser\treport\ntimeout\t30\n' ""
}

case_list_root_escapes_text() {
    LC_ALL=C.UTF-8 run list conf/config.xml service
    expect_out_file 0 "$data/config-list-root.txt" ""
}

case_list_without_children() {
    run list conf/config.xml service/logging/rotate
    expect 0 "" ""
}

case_list_not_found() {
    run list conf/config.xml service/database/pool
    expect 1 "" $'xmlutil: no element \'service/database/pool\' in conf/config.xml\n'
}

case_list_missing_file() {
    run list conf/missing.xml service
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

# A character above U+00FF has no form in the library's ISO-8859-1 output
# where no character reference may stand: format refuses the document, with
# the line and column of the element holding it, and writes nothing.
case_format_refuses_cjk_element_name() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<config>\n  <db>\n    <主机>db.example.cn</主机>\n  </db>\n</config>\n' > conf/names.xml
    run format conf/names.xml
    expect 3 "" $'xmlutil: format: conf/names.xml: line 4, column 5: character U+4E3B cannot be written in the library\'s format (ISO-8859-1)\n'
}

case_format_refuses_cjk_attribute_name() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<config>\n  <db host="a">x</db>\n  <log 级别="debug"/>\n</config>\n' > conf/attribute.xml
    run format conf/attribute.xml
    expect 3 "" $'xmlutil: format: conf/attribute.xml: line 4, column 3: character U+7EA7 cannot be written in the library\'s format (ISO-8859-1)\n'
}

case_format_refuses_cjk_comment() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<config>\n  <db>\n    <!-- 数据库 -->\n    <host>a</host>\n  </db>\n</config>\n' > conf/comment.xml
    run format conf/comment.xml
    expect 3 "" $'xmlutil: format: conf/comment.xml: line 3, column 3: character U+6570 cannot be written in the library\'s format (ISO-8859-1)\n'
}

# Outside the root element no element holds it: the comment's own place.
case_format_refuses_comment_after_root() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<!-- ok -->\n<config/>\n<!-- end\n  €uro -->\n' > conf/after.xml
    run format conf/after.xml
    expect 3 "" $'xmlutil: format: conf/after.xml: line 4, column 1: character U+20AC cannot be written in the library\'s format (ISO-8859-1)\n'
}

case_format_refuses_cdata_and_instruction() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<config><a>x</a><b><![CDATA[€ 5]]></b></config>\n' > conf/cdata.xml
    run format conf/cdata.xml
    expect 3 "" $'xmlutil: format: conf/cdata.xml: line 2, column 17: character U+20AC cannot be written in the library\'s format (ISO-8859-1)\n'
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<?tool mode="😀"?>\n<config/>\n' > conf/pi.xml
    run format conf/pi.xml
    expect 3 "" $'xmlutil: format: conf/pi.xml: line 2, column 1: character U+1F600 cannot be written in the library\'s format (ISO-8859-1)\n'
}

case_format_refuses_standard_input() {
    printf '<?xml version="1.0" encoding="UTF-16"?>\n<配置/>\n' | iconv -f UTF-8 -t UTF-16 > conf/utf16.xml
    input=conf/utf16.xml run format -
    expect 3 "" $'xmlutil: format: standard input: line 2, column 1: character U+914D cannot be written in the library\'s format (ISO-8859-1)\n'
}

# Text and attribute values take character references: nothing is lost.
case_format_writes_cjk_text_and_values_as_references() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<menu city="北京">\n  <dish>宫保 & ü</dish>\n</menu>\n' | sed 's/&/\&amp;/' > conf/text.xml
    run format conf/text.xml
    expect 0 $'<?xml version=\'1.0\' encoding=\'ISO-8859-1\' ?>\n<menu city="&#21271;&#20140;">\n    <dish>&#23467;&#20445; &amp; &#252;</dish>\n</menu>\n' ""
}

# Every character of ISO-8859-1 is written, as the library's format has it:
# names, comments and CDATA as bytes, text and values with the umlaut
# references.
case_format_latin1_document() {
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<café prix="5 €uro">\n  <!-- été -->\n  <straße nr="ä">Grüße, ©</straße>\n  <x><![CDATA[½ ÿ]]></x>\n</café>\n' | sed 's/ €uro/ euro/' > conf/latin1.xml
    run format conf/latin1.xml
    printf '<?xml version=\x271.0\x27 encoding=\x27ISO-8859-1\x27 ?>\n<caf\xe9 prix="5 euro">\n<!-- \xe9t\xe9 -->\n    <stra\xdfe nr="&#228;">Gr&#252;&#223;e, \xa9</stra\xdfe>\n    <x>\n<![CDATA[\xbd \xff]]>\n    </x>\n</caf\xe9>\n' > want.out
    expect_out_file 0 want.out ""
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

# A schema that the document names is read under the same rule as a DTD.
case_validate_schema_only_beside_the_document() {
    mkdir other
    cp "$data/validate/note.xsd" other/
    printf '<note xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xsi:noNamespaceSchemaLocation="../other/note.xsd" id="a"><to/><body/></note>\n' > conf/xsd-outside.xml
    run validate conf/xsd-outside.xml
    expect 1 "conf/xsd-outside.xml:1:118: refusing to read '$work/conf/../other/note.xsd': outside the folders of the document and the grammar"$'\n' ""
    run validate conf/xsd-outside.xml --xsd other/note.xsd
    expect 0 "" ""
}

# A "billion laughs" ends at the library's limit of entity expansions, fast.
case_validate_entity_expansion_limit() {
    local i
    {
        printf '<?xml version="1.0"?>\n<!DOCTYPE r [\n<!ELEMENT r (#PCDATA)>\n<!ENTITY l0 "lol">\n'
        for i in 1 2 3 4 5 6 7 8 9; do
            printf '<!ENTITY l%d "%s">\n' "$i" "$(printf "&l$((i - 1));%.0s" 1 2 3 4 5 6 7 8 9 10)"
        done
        printf ']>\n<r>&l9;</r>\n'
    } > conf/laughs.xml
    run_bounded 60 validate conf/laughs.xml
    expect 1 "conf/laughs.xml:15:8: parser has encountered more than '100000' entity expansions in the document; this is the limit imposed by the application"$'\n' ""
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

# A pipe is read once, a writer or not yet; a grammar has to be a file.
case_validate_pipe() {
    validate_files
    mkfifo conf/pipe.xml
    cat conf/bad.xml > conf/pipe.xml &
    run_bounded 20 validate conf/pipe.xml
    wait
    expect 1 "conf/pipe.xml:3:7: missing required attribute 'id'
conf/pipe.xml:6:7: no declaration found for element 'x'
conf/pipe.xml:7:8: element 'body' is not allowed for content model '(to,body)'
" ""
    mkfifo conf/pipe.dtd
    run_bounded 20 validate conf/plain.xml --dtd conf/pipe.dtd
    expect 3 "" $'xmlutil: conf/pipe.dtd: not a regular file\n'
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

# ---- manual page and completion ------------------------------------------------------

# The page built beside the tool renders without a warning, and each command's
# section reads exactly as its help.
case_manpage_matches_help() {
    local page command
    page=$(dirname "$tool")/xmlutil.1
    [ -f "$page" ] || { fail "no manual page at $page"; return; }
    groff -man -Tutf8 -ww -z "$page" 2> groff.err || fail "groff failed"
    [ ! -s groff.err ] || fail "groff warns: $(cat groff.err)"
    groff -man -Tascii -P-cbou -rLL=200n "$page" 2>/dev/null > page.txt
    grep -q '^XMLUTIL(1) ' page.txt || fail "no XMLUTIL(1) header"
    for section in NAME SYNOPSIS DESCRIPTION COMMANDS "SEE ALSO"; do
        grep -qx "$section" page.txt || fail "no section $section"
    done
    for command in $("$tool" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z0-9]*\) .*/\1/p'); do
        [ "$command" = help ] && continue
        "$tool" help "$command" > want.txt
        awk -v c="   $command" '
            $0 == c { on = 1; next }
            on && (/^   [a-z]/ || /^[A-Z]/) { exit }
            on { print }' page.txt | sed 's/^       //' > got.txt
        # the empty line before the next heading is the page's own
        sed -i '$ { /^$/d }' got.txt
        cmp -s want.txt got.txt || { fail "section $command differs from its help"; show_diff want.txt got.txt; }
    done
}

# complete_words WORD...: COMPREPLY for the last WORD, as bash completes it.
complete_words() {
    COMP_WORDS=(xmlutil "$@")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMP_LINE="${COMP_WORDS[*]}"
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _xmlutil xmlutil "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | sort
}

case_completion_bash() {
    # shellcheck source=../completion/xmlutil.bash
    source "$(dirname "${BASH_SOURCE[0]}")/../completion/xmlutil.bash"
    last="bash completion"
    mkdir -p conf/grammar
    touch conf/grammar/a.dtd conf/grammar/b.xsd conf/grammar/c.xml
    [ "$(complete_words '')" = "$(printf '%s\n' add base64 delete format get help list set validate)" ] ||
        fail "commands: $(complete_words '' | tr '\n' ' ')"
    [ "$(complete_words va)" = "validate" ] || fail "va: $(complete_words va)"
    [ "$(complete_words --)" = "$(printf '%s\n' --help --version)" ] || fail "--: $(complete_words --)"
    [ "$(complete_words get --)" = "$(printf '%s\n' --all --default --help)" ] || fail "get --: $(complete_words get --)"
    [ "$(complete_words set -)" = "$(printf '%s\n' --dry-run --help -N -o)" ] || fail "set -: $(complete_words set -)"
    [ "$(complete_words validate x --)" = "$(printf '%s\n' --dtd --help --xsd)" ] || fail "validate --"
    [ "$(complete_words validate conf/config.xml --dtd conf/grammar/)" = "conf/grammar/a.dtd" ] ||
        fail "--dtd: $(complete_words validate conf/config.xml --dtd conf/grammar/)"
    [ "$(complete_words validate conf/config.xml --xsd conf/grammar/)" = "conf/grammar/b.xsd" ] ||
        fail "--xsd: $(complete_words validate conf/config.xml --xsd conf/grammar/)"
    [ "$(complete_words get conf/con)" = "conf/config.xml" ] || fail "FILE: $(complete_words get conf/con)"
    [ "$(complete_words get -N p=urn:x conf/con)" = "conf/config.xml" ] || fail "FILE after -N"
    [ -z "$(complete_words get conf/config.xml conf/con)" ] || fail "PATH completed as a file"
    [ "$(complete_words base64 '')" = "$(printf '%s\n' decode encode)" ] || fail "base64"
    [ -z "$(complete_words base64 encode '')" ] || fail "base64 encode ..."
    [ "$(complete_words help f)" = "format" ] || fail "help f: $(complete_words help f)"
}

# The zsh completion function, run outside the line editor: the completion
# system's helpers (_arguments, _describe, _alternative) are replaced by
# stand-ins that print how they were called, so the test sees what the
# function asks for on each command line. zsh -n checks the syntax first.
case_completion_zsh() {
    local script
    script="$(cd "$(dirname "${BASH_SOURCE[0]}")/../completion" && pwd)/_xmlutil"
    last="zsh completion"
    zsh -n "$script" || fail "zsh -n: syntax error"
    zsh_complete() {
        zsh -f -c '
            _arguments() { print -r -- "arguments${(j: | :)@}" }
            _describe() { print -r -- "describe $*" }
            _alternative() { print -r -- "alternative${(j: | :)@}" }
            function _xmlutil_load { source "$1" } ; _xmlutil_load "$1" > /dev/null
            shift
            words=(xmlutil "$@"); CURRENT=${#words}
            _xmlutil' zsh "$script" "$@"
    }
    [ "$(zsh_complete '')" = 'alternativeoptions:option:((--help\:"print the help" --version\:"print the version")) | commands:command:_describe -t commands command commands' ] ||
        fail "commands: $(zsh_complete '')"
    [ "$(zsh_complete get '')" = 'arguments*-N[namespace prefix]:PREFIX=URI: | --all[print every match] | --default[print VALUE when nothing matches]:value: | --help[print the help] | 1:file:_files | 2:path:' ] ||
        fail "get: $(zsh_complete get '')"
    local edit='arguments*-N[namespace prefix]:PREFIX=URI: | (-o)--dry-run[print the change as a unified diff] | (--dry-run)-o[write the result to OUT]:output file:_files | --help[print the help] | 1:file:_files | 2:path: | 3:value:'
    for command in set add delete; do
        [ "$(zsh_complete "$command" '')" = "$edit" ] || fail "$command: $(zsh_complete "$command" '')"
    done
    [ "$(zsh_complete list '')" = 'arguments--help[print the help] | 1:file:_files | 2:path:' ] || fail "list"
    [ "$(zsh_complete format '')" = 'arguments--help[print the help] | 1:file:_files' ] || fail "format"
    [ "$(zsh_complete validate x.xml '')" = 'arguments(--xsd)--dtd[validate against a DTD]:DTD file:_files -g "*.dtd" | (--dtd)--xsd[validate against an XML Schema]:schema file:_files -g "*.xsd" | --help[print the help] | 1:file:_files' ] ||
        fail "validate: $(zsh_complete validate x.xml '')"
    [ "$(zsh_complete base64 '')" = 'arguments--help[print the help] | 1:mode:(encode decode)' ] || fail "base64"
    [ "$(zsh_complete help '')" = 'arguments1:command:_describe -t commands command commands' ] || fail "help"
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
    expect 2 "" $'xmlutil: missing PATH (usage: xmlutil get [-N PREFIX=URI]... [--all] FILE PATH [--default VALUE])\n'
    run set conf/config.xml service/database/port
    expect 2 "" $'xmlutil: missing VALUE (usage: xmlutil set [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH VALUE)\n'
    run add conf/config.xml
    expect 2 "" $'xmlutil: missing PATH (usage: xmlutil add [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH [VALUE])\n'
    run delete conf/config.xml
    expect 2 "" $'xmlutil: missing PATH (usage: xmlutil delete [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH)\n'
    run list
    expect 2 "" $'xmlutil: missing FILE (usage: xmlutil list FILE PATH)\n'
    run format
    expect 2 "" $'xmlutil: missing FILE (usage: xmlutil format FILE)\n'
    run base64
    expect 2 "" $'xmlutil: missing encode or decode (usage: xmlutil base64 encode|decode)\n'
}

case_usage_extra_arguments() {
    run set conf/config.xml service/database/port 1 2
    expect 2 "" $'xmlutil: unexpected argument \'2\' (usage: xmlutil set [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH VALUE)\n'
    run delete conf/config.xml service/database/port 1
    expect 2 "" $'xmlutil: unexpected argument \'1\' (usage: xmlutil delete [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH)\n'
    same_file "$data/config.xml" conf/config.xml
    run format conf/config.xml conf/config.xml
    expect 2 "" $'xmlutil: unexpected argument \'conf/config.xml\' (usage: xmlutil format FILE)\n'
    run base64 encode now
    expect 2 "" $'xmlutil: unexpected argument \'now\' (usage: xmlutil base64 encode|decode)\n'
}

case_usage_bad_options() {
    local get_usage='xmlutil get [-N PREFIX=URI]... [--all] FILE PATH [--default VALUE]'
    local set_usage='xmlutil set [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH VALUE'
    run get conf/config.xml service/database/port --verbose
    expect 2 "" "xmlutil: unknown option '--verbose' (usage: $get_usage)"$'\n'
    run get conf/config.xml service/database/port --default
    expect 2 "" "xmlutil: --default needs a value (usage: $get_usage)"$'\n'
    run get conf/config.xml service/database/port --default 1 --default 2
    expect 2 "" "xmlutil: --default given twice (usage: $get_usage)"$'\n'
    run get -N x conf/config.xml service/database/port
    expect 2 "" "xmlutil: -N takes PREFIX=URI, not 'x' (usage: $get_usage)"$'\n'
    run set conf/config.xml service/database/port --default 1
    expect 2 "" "xmlutil: unknown option '--default' (usage: $set_usage)"$'\n'
    run set conf/config.xml service/database/port -1
    expect 2 "" "xmlutil: unknown option '-1' (usage: $set_usage)"$'\n'
    run set --dry-run -o out.xml conf/config.xml service/database/port 1
    expect 2 "" "xmlutil: --dry-run and -o exclude each other (usage: $set_usage)"$'\n'
    run set conf/config.xml service/database/port 1 -o
    expect 2 "" "xmlutil: -o needs a value (usage: $set_usage)"$'\n'
    same_file "$data/config.xml" conf/config.xml
}

case_usage_invalid_paths() {
    run get conf/config.xml ""
    expect 2 "" $'xmlutil: invalid PATH \'\': expected an element name, \'*\', \'@NAME\' or \'text()\' at offset 0\n'
    run get conf/config.xml "/"
    expect 2 "" $'xmlutil: invalid PATH \'/\': expected an element name, \'*\', \'@NAME\' or \'text()\' at offset 1\n'
    run get conf/config.xml "service/"
    expect 2 "" $'xmlutil: invalid PATH \'service/\': expected an element name, \'*\', \'@NAME\' or \'text()\' at offset 8\n'
    run get conf/config.xml "service//host"
    expect 2 "" $'xmlutil: invalid PATH \'service//host\': expected an element name, \'*\', \'@NAME\' or \'text()\' at offset 8\n'
    run get conf/config.xml "@version"
    expect 2 "" $'xmlutil: invalid PATH \'@version\': the first step names the root element at offset 8\n'
    run get conf/config.xml "service/@a/b"
    expect 2 "" $'xmlutil: invalid PATH \'service/@a/b\': nothing may follow the attribute at offset 10\n'
    run get conf/config.xml "service/a[0]"
    expect 2 "" $'xmlutil: invalid PATH \'service/a[0]\': positions count from 1 at offset 11\n'
    run get conf/config.xml "service/a[@k='v'"
    expect 2 "" $'xmlutil: invalid PATH \'service/a[@k=\'v\'\': expected \']\' at offset 16\n'
    run get conf/config.xml "service/a[@k=v]"
    expect 2 "" $'xmlutil: invalid PATH \'service/a[@k=v]\': expected a quoted string at offset 13\n'
    run get conf/config.xml "service/a[@k='v]"
    expect 2 "" $'xmlutil: invalid PATH \'service/a[@k=\'v]\': unterminated string at offset 13\n'
    run get conf/config.xml "service/a[contains(@k 'v')]"
    expect 2 "" $'xmlutil: invalid PATH \'service/a[contains(@k \'v\')]\': expected \',\' at offset 22\n'
    run get conf/config.xml "service/text()/a"
    expect 2 "" $'xmlutil: invalid PATH \'service/text()/a\': nothing may follow text() at offset 14\n'
    run list conf/config.xml service/database/@driver
    expect 2 "" $'xmlutil: list takes the PATH of an element (usage: xmlutil list FILE PATH)\n'
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

case_set_refuses_control_characters() {
    cp conf/config.xml before.xml
    run set conf/config.xml service/database/host $'db\x01'
    expect 2 "" $'xmlutil: VALUE holds the control character 0x01 at offset 2, which XML 1.0 cannot hold\n'
    run set conf/config.xml service/database/@x $'\x1b[31m'
    expect 2 "" $'xmlutil: VALUE holds the control character 0x1B at offset 0, which XML 1.0 cannot hold\n'
    same_file before.xml conf/config.xml
    # Tab, line feed and carriage return are characters of XML.
    run set conf/config.xml service/database/host $'a\tb\r\nc'
    expect 0 "" ""
    grep -q $'^        <host>a\tb&#xD;$' conf/config.xml || fail "carriage return not kept by reference"
    run get conf/config.xml service/database/host
    expect 0 $'a\tb\r\nc\n' ""
}

case_dash_reads_standard_input() {
    input=conf/config.xml run get - service/database/host
    expect 0 $'db.example.local\n' ""
    input=conf/config.xml run list - service/database/user
    expect 0 "" ""
    input=conf/config.xml run format -
    "$tool" format conf/config.xml > want.out
    expect_out_file 0 want.out ""
    # set - edits standard input onto standard output and touches no file.
    cp conf/config.xml before.xml
    input=conf/config.xml run set - service/database/host other
    sed 's|<host>db.example.local</host>|<host>other</host>|' "$data/config.xml" > want.out
    expect_out_file 0 want.out ""
    same_file before.xml conf/config.xml
    input=conf/config.xml run delete - service/database/host
    grep -v '<host>' "$data/config.xml" > want.out
    expect_out_file 0 want.out ""
    printf '<a><b>1</b>' > broken.xml
    input=broken.xml run get - a/b
    expect 3 "" $'xmlutil: Fatal Error at (file standard input, line 1, char 12): input ended before all started tags were ended; last tag started is \'a\'\n'
}

case_fifo_is_read_once() {
    mkfifo conf/pipe.xml
    cat conf/config.xml > conf/pipe.xml &
    run_bounded 10 get conf/pipe.xml service/database/host
    expect 0 $'db.example.local\n' ""
    wait
    cat conf/config.xml > conf/pipe.xml &
    run_bounded 10 format conf/pipe.xml
    [ "$status" = 0 ] || fail "format of a pipe: exit status $status"
    wait
    run set conf/pipe.xml service/database/host x
    expect 2 "" $'xmlutil: conf/pipe.xml: not a regular file; set replaces files only ("-" edits standard input to standard output)\n'
}

# Two writers, 60 sets each of keys of their own: every one of the 120 lands.
case_set_concurrent_updates_are_not_lost() {
    printf '<c>\n</c>\n' > conf/shared.xml
    local writer
    for writer in a b; do
        (
            for i in $(seq 1 60); do
                "$tool" set conf/shared.xml "c/$writer$i" "$i" || echo "set $writer$i failed" >> errors.txt
            done
        ) &
    done
    wait
    [ ! -s errors.txt ] || fail "$(cat errors.txt)"
    for writer in a b; do
        for i in $(seq 1 60); do
            run get conf/shared.xml "c/$writer$i"
            [ "$status" = 0 ] && [ "$(cat run.out)" = "$i" ] || fail "update $writer$i lost"
        done
    done
    [ "$(grep -c '^  <[ab][0-9]*>[0-9]*</[ab][0-9]*>$' conf/shared.xml)" = 120 ] || fail "not one element a line"
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
    run set conf/config.xml service/database/host x
    expect 3 "" $'xmlutil: cannot save conf/config.xml: file is read-only; the file is unchanged\n'
    same_file before.xml conf/config.xml
    [ "$(stat -c %a conf/config.xml)" = 444 ] || fail "mode changed to $(stat -c %a conf/config.xml)"
    chmod 0644 conf/config.xml
    ln conf/config.xml conf/linked.xml
    run set conf/config.xml service/database/host x
    expect 3 "" $'xmlutil: cannot save conf/config.xml: file has other hard links, which a replacement would leave with the old content; the file is unchanged\n'
    same_file before.xml conf/config.xml
    [ "$(stat -c %h conf/config.xml)" = 2 ] || fail "hard link split"
    only_files "config.xml linked.xml "
}

case_set_names_unwritable_directory() {
    cp conf/config.xml before.xml
    chmod 0555 conf
    run set conf/config.xml service/database/host x
    chmod 0755 conf
    expect 3 "" $'xmlutil: cannot save conf/config.xml: directory not writable; the file is unchanged\n'
    same_file before.xml conf/config.xml
}

case_set_long_file_name() {
    local name
    for length in 248 255; do
        name=conf/$(printf 'n%.0s' $(seq 1 $((length - 4)))).xml
        cp conf/config.xml "$name"
        run set "$name" service/database/host "len$length"
        expect 0 "" ""
        run get "$name" service/database/host
        expect 0 "len$length"$'\n' ""
        rm "$name"
    done
    only_files "config.xml "
}

case_set_removes_leftover_of_killed_save() {
    printf 'half a document' > conf/.xmlutil-Zz9Yy8
    run set conf/config.xml service/database/host x
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
