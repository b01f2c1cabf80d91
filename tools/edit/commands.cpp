// SPDX-License-Identifier: Apache-2.0
#include "commands.h"

#include "edit.h"
#include "locale_text.h"

#include "command.h"
#include "file_replace.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace xmlutil_edit {

namespace {

enum exit_status { exit_ok = 0, exit_not_found = 1, exit_usage = 2, exit_failure = 3 };

// The commands end as the rest of the tool does: a status and one line.
using cli_exit = failure;

cli_exit usage_error(const std::string& what, const std::string& usage)
{
    return {exit_usage, what + " (usage: " + usage + ")"};
}

cli_exit system_error(const std::string& what, int error)
{
    return {exit_failure, what + ": " + std::strerror(error)};
}

void write_stdout(const std::string& text)
{
    if (int error = xmlutil_detail::write_all(STDOUT_FILENO, text.data(), text.size())) {
        throw system_error("standard output", error);
    }
}

void expect_operands(const std::vector<std::string>& operands, const std::vector<const char*>& names,
                     const std::string& usage)
{
    if (operands.size() < names.size()) {
        throw usage_error(std::string("missing ") + names[operands.size()], usage);
    }
    if (operands.size() > names.size()) {
        throw usage_error("unexpected argument '" + operands[names.size()] + "'", usage);
    }
}

// ---- Help texts ------------------------------------------------------------------

const char* const path_help = R"~(
PATH is an XPath 1.0 abbreviated location path from the document. Its first
step names the root element; a leading "/" may stand before it. Each further
step names a direct child of what the step before selected:

  project/version                  <version> directly in the root <project>
  project/dependencies/*           every child element of <dependencies>
  a/b[2]  a/b[last()]              the second, the last <b> in each <a>
  a/add[@key='x']                  a <add> whose attribute key is "x"
  a/user[name='ann']               a <user> with a child <name> whose text is "ann"
  a/b[.='v']                       a <b> whose text is "v"
  a/b[contains(@k,'v')]            also contains(name,'v') and contains(.,'v')
  a/b/@attr                        an attribute (last step only)
  a/b/text()                       the text of <b>, the same as a/b here

Literals take single or double quotes. Predicates apply one after the other:
a/b[@k='x'][2] is the second of the <b> whose k is "x". Names match the
qualified name as the file writes it, prefix and all, whatever its namespace
(project/version works in a POM with a default namespace). With -N p=URI a
step or attribute "p:name" instead matches the local name "name" in the
namespace URI, whatever prefix the file uses for it.

PATH and VALUE are read, and text is printed, in the encoding of the locale
(LC_ALL, LC_CTYPE, LANG): UTF-8 on most systems. In the C locale they are
taken and printed as UTF-8, and bytes that are not UTF-8 are refused (exit 2).
)~";

const std::string get_help = std::string(R"~(Usage: xmlutil get [-N PREFIX=URI]... [--all] FILE PATH [--default VALUE]

Prints the text of the element that PATH selects, or the value of the
attribute ("a/b/@attr"), followed by a newline; with --all every match, one
per line, in document order.

The text of an element is its own text: its text and CDATA sections and the
entity references among them, not the text of its child elements. The white
space around it is left out unless xml:space="preserve" holds for the element.
An element with empty text prints an empty line. An element with child
elements and only white space of its own (a container) has no text: get says
"PATH: element has child elements and no text of its own" and exits with 1.

When nothing matches, get prints an empty line and exits with 1; with
--default it prints VALUE instead and exits with 0.

get reads what is in FILE: the document type's internal subset, but no
external DTD or entity; a document that needs one is refused (exit 3).

Exit status: 0 found, 1 not found or a container, 2 usage or path error,
3 unreadable or not well-formed file.
)~") + path_help;

const char* const edit_help_common = R"~(
Only the bytes of the edited value, element or attribute change: the XML
declaration, the encoding, the document type and its internal subset,
comments, white space, indentation, line ends (CRLF stays CRLF), entity
references, attribute order and quotes and CDATA sections elsewhere stay
byte for byte as they were. New text is escaped where it has to be (& < and
> after "]]" in text; also the quote and tab, line feed and carriage return
in attribute values) and written in the file's own encoding (UTF-8,
ISO-8859-1, UTF-16 with its byte order mark, ...); a character the encoding
lacks becomes a character reference such as &#x4E2D;. A name (of a new
element or attribute) cannot hold a reference: one the encoding lacks is
refused (exit 2). A VALUE with a control character other than tab, line feed
and carriage return cannot be held by XML 1.0 and is refused (exit 2).

Before anything is written the result is parsed again and compared with the
document: when anything but the edited node would read differently, FILE is
left alone and the command exits with 3.

--dry-run   prints a unified diff of the change (--- FILE / +++ FILE, three
            lines of context) and leaves FILE alone. The diff holds the
            file's own bytes (its encoding, byte order mark and line ends,
            whatever the locale), so that patch(1) applies it to FILE. A
            UTF-16 file has no lines that patch can take: its diff shows the
            text in the locale's encoding, without the byte order mark, to
            be read, not applied.
-o OUT      writes the edited document to OUT ("-" standard output) and
            leaves FILE alone

Otherwise FILE is replaced atomically: the document goes to a new file in the
directory of FILE, which is flushed to disk, given the permission bits (and,
where allowed, the owner) of FILE and renamed over it. On any failure FILE
stays as it was and the new file is removed. A symbolic link's target is
replaced; a file with several hard links is refused. From reading FILE to
replacing it the command holds an exclusive flock(2) lock on it, so that
concurrent edits of one file take their turns. FILE "-" reads standard
input and writes the result to standard output.

A VALUE that starts with "-" goes after "--": xmlutil set FILE PATH -- -5
)~";

const std::string set_help = std::string(R"~(Usage: xmlutil set [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH VALUE

Sets the text of the first element that PATH selects (its whole content,
which must be text: an element with child elements, comments or processing
instructions is refused with exit 2), or the value of the attribute
("a/b/@attr"). The white space around the old text stays, unless
xml:space="preserve" holds; a content of one CDATA section stays a CDATA
section when VALUE can be one.

When the last step (element or attribute) does not exist it is created, and
so are missing steps before it that are plain names: a new element goes on a
line of its own after its last sibling, indented as its siblings are (or one
step deeper than its parent), a new attribute after the element's last one,
quoted as its other attributes. Steps with "*" or predicates are never
created: when they match nothing, set exits with 1.
)~") + edit_help_common + R"~(
Exit status: 0 saved, 1 no match, 2 usage, path or value error, 3 unreadable
or not well-formed file, or one that cannot be written.
)~" + path_help;

const std::string add_help = std::string(R"~(Usage: xmlutil add [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH [VALUE]

Adds an element named by the last step of PATH, which must be a plain name,
with the text VALUE (an empty element <name/> without VALUE). It goes after
the last child of that name of the first element that the steps before it
select, or else after that element's last child, on a line of its own and
indented as its siblings are.
)~") + edit_help_common + R"~(
Exit status: 0 saved, 1 no match, 2 usage, path or value error, 3 unreadable
or not well-formed file, or one that cannot be written.
)~" + path_help;

const std::string delete_help = std::string(R"~(Usage: xmlutil delete [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH

Deletes the first element that PATH selects, with everything in it, or the
attribute ("a/b/@attr"). An element that stands alone on its line takes the
line with it. "a/b/text()" empties <b>. The root element cannot be deleted.
)~") + edit_help_common + R"~(
Exit status: 0 saved, 1 no match, 2 usage or path error, 3 unreadable or not
well-formed file, or one that cannot be written.
)~" + path_help;

const std::string list_help = std::string(R"~(Usage: xmlutil list [-N PREFIX=URI]... FILE PATH

Prints the child elements of the first element that PATH selects, in
document order, one line each:

    NAME<TAB>TEXT

TEXT is the child's text as "get" prints it, empty for a container, with
backslash, tab, newline and carriage return written as \\, \t, \n and \r so
that every child takes one line.

Exit status: 0 listed (also when there are no children), 1 no such element,
2 usage or path error, 3 unreadable or not well-formed file.
)~") + path_help;


// ---- Reading and editing by path ---------------------------------------------------------

// The options of get, set, add, delete and list, and their operands.
struct edit_args {
    std::vector<std::string> operands;
    bool help = false;
    bool all = false;
    bool has_default = false;
    std::string default_value;
    bool dry_run = false;
    bool has_output = false;
    std::string output;
    namespaces ns;
};

enum edit_options : unsigned {
    opt_namespaces = 1,
    opt_all = 2,
    opt_default = 4,
    opt_write = 8, // --dry-run and -o
};

// "--name VALUE" or "--name=VALUE" (`long_name`), or "-X VALUE" / "-XVALUE"
// (`short_name`): true with the value when `arg` is that option.
bool option_value(const std::string& arg, const char* long_name, const char* short_name, int argc, char** argv,
                  int& i, std::string& value, const std::string& usage)
{
    const std::string long_opt = long_name ? long_name : "";
    const std::string short_opt = short_name ? short_name : "";
    if (!long_opt.empty() && arg.compare(0, long_opt.size() + 1, long_opt + "=") == 0) {
        value = arg.substr(long_opt.size() + 1);
        return true;
    }
    if (!short_opt.empty() && arg.size() > short_opt.size() && arg.compare(0, short_opt.size(), short_opt) == 0) {
        value = arg.substr(short_opt.size());
        return true;
    }
    if ((!long_opt.empty() && arg == long_opt) || (!short_opt.empty() && arg == short_opt)) {
        if (i + 1 >= argc) {
            throw usage_error(arg + " needs a value", usage);
        }
        value = argv[++i];
        return true;
    }
    return false;
}

edit_args parse_edit_args(int argc, char** argv, const std::string& usage, unsigned allowed)
{
    edit_args args;
    bool options_done = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        std::string value;
        if (options_done || arg.size() < 2 || arg[0] != '-') {
            args.operands.push_back(arg);
        } else if (arg == "--") {
            options_done = true;
        } else if (arg == "-h" || arg == "--help") {
            args.help = true;
            return args;
        } else if ((allowed & opt_namespaces) && option_value(arg, nullptr, "-N", argc, argv, i, value, usage)) {
            const std::string::size_type eq = value.find('=');
            if (eq == std::string::npos || eq == 0 || value.find(':') < eq) {
                throw usage_error("-N takes PREFIX=URI, not '" + value + "'", usage);
            }
            args.ns[value.substr(0, eq)] = argument_text(value.substr(eq + 1), "the URI of -N");
        } else if ((allowed & opt_all) && arg == "--all") {
            args.all = true;
        } else if ((allowed & opt_default) && option_value(arg, "--default", nullptr, argc, argv, i, value, usage)) {
            if (args.has_default) {
                throw usage_error("--default given twice", usage);
            }
            args.default_value = value;
            args.has_default = true;
        } else if ((allowed & opt_write) && arg == "--dry-run") {
            args.dry_run = true;
        } else if ((allowed & opt_write) && option_value(arg, "--output", "-o", argc, argv, i, value, usage)) {
            args.has_output = true;
            args.output = value;
        } else {
            throw usage_error("unknown option '" + arg + "'", usage);
        }
    }
    if (args.dry_run && args.has_output) {
        throw usage_error("--dry-run and -o exclude each other", usage);
    }
    return args;
}

// The bytes of FILE ("-": standard input), read once.
std::string read_input(const std::string& file, const std::string& label)
{
    if (file == "-") {
        return xmlutil_cli::read_stream(STDIN_FILENO, label);
    }
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw system_error(file, errno);
    }
    struct stat st {};
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        const int error = S_ISDIR(st.st_mode) ? EISDIR : errno;
        close(fd);
        throw system_error(file, error);
    }
    try {
        std::string bytes = xmlutil_cli::read_stream(fd, file);
        close(fd);
        return bytes;
    } catch (...) {
        close(fd);
        throw;
    }
}

std::string label_of(const std::string& file)
{
    return file == "-" ? "standard input" : file;
}

loaded_document load_edit(const std::string& file)
{
    const std::string label = label_of(file);
    return load_document(read_input(file, label), label);
}

path path_argument(const std::string& arg)
{
    return parse_path(argument_text(arg, "PATH"));
}

std::string trim_space(const std::string& text)
{
    const std::string::size_type first = text.find_first_not_of(" \t\n\r");
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(" \t\n\r") - first + 1);
}

// The text get prints for an element: its own text, without the white space
// around it unless xml:space="preserve" holds; a container has none.
std::string element_text(const xml_doc& doc, std::uint32_t e, const path& p)
{
    const std::string text = doc.own_text(e);
    const bool preserve = doc.preserves_space(e);
    const std::string shown = preserve ? text : trim_space(text);
    if (doc.has_child_elements(e) && trim_space(text).empty()) {
        throw cli_exit{exit_not_found, p.text + ": element has child elements and no text of its own"};
    }
    return shown;
}

int get_file_command(int argc, char** argv)
{
    const std::string usage = "xmlutil get [-N PREFIX=URI]... [--all] FILE PATH [--default VALUE]";
    use_user_locale();
    const edit_args args = parse_edit_args(argc, argv, usage, opt_namespaces | opt_all | opt_default);
    if (args.help) {
        write_stdout(get_help);
        return exit_ok;
    }
    expect_operands(args.operands, {"FILE", "PATH"}, usage);
    const path p = path_argument(args.operands[1]);
    const loaded_document in = load_edit(args.operands[0]);
    const xml_doc& doc = *in.doc;
    const path_matcher matcher(doc, args.ns);
    std::string out;
    bool found = false;
    for (std::uint32_t e : matcher.select(p, p.steps.size())) {
        std::string value;
        if (p.target == path::select_attribute) {
            const attribute_span* a = matcher.attribute(e, p.attribute);
            if (a != nullptr) {
                value = doc.attribute_value(*a);
            } else if (!doc.default_attribute(e, p.attribute, value)) {
                continue;
            }
        } else {
            value = element_text(doc, e, p);
        }
        out += output_text(value) + "\n";
        found = true;
        if (!args.all) {
            break;
        }
    }
    if (!found) {
        if (args.has_default) {
            write_stdout(args.default_value + "\n");
            return exit_ok;
        }
        write_stdout("\n");
        return exit_not_found;
    }
    write_stdout(out);
    return exit_ok;
}


// Holds an exclusive flock(2) lock on a file from reading it to replacing it,
// so that concurrent sets of one file each see the other's change. A save
// replaces the file by renaming, so a lock won on a file that has been
// replaced meanwhile is let go and taken on the new one.
class file_lock {
public:
    explicit file_lock(const std::string& file)
    {
        for (;;) {
            // Checked before opening: opening a FIFO would wait for a writer.
            struct stat named {};
            if (stat(file.c_str(), &named) == 0 && !S_ISREG(named.st_mode) && !S_ISDIR(named.st_mode)) {
                throw not_regular(file);
            }
            fFd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
            if (fFd < 0) {
                throw system_error(file, errno);
            }
            struct stat locked {};
            if (fstat(fFd, &locked) != 0) {
                fail(file, errno);
            }
            if (S_ISDIR(locked.st_mode)) {
                fail(file, EISDIR);
            }
            if (!S_ISREG(locked.st_mode)) {
                close(fFd);
                throw not_regular(file);
            }
            while (flock(fFd, LOCK_EX) != 0) {
                if (errno != EINTR) {
                    fail(file, errno);
                }
            }
            struct stat now {};
            if (stat(file.c_str(), &now) == 0 && now.st_dev == locked.st_dev && now.st_ino == locked.st_ino) {
                return;
            }
            close(fFd);
        }
    }
    ~file_lock() { close(fFd); }
    file_lock(const file_lock&) = delete;
    file_lock& operator=(const file_lock&) = delete;

    // The locked file's bytes, read again only to point at a difference.
    std::string content() const
    {
        std::string bytes;
        char block[65536];
        for (off_t at = 0;;) {
            const ssize_t got = pread(fFd, block, sizeof block, at);
            if (got <= 0) {
                return bytes;
            }
            bytes.append(block, static_cast<std::size_t>(got));
            at += got;
        }
    }

private:
    static cli_exit not_regular(const std::string& file)
    {
        return {exit_usage,
                file + ": not a regular file; set replaces files only (\"-\" edits standard input to standard output)"};
    }

    [[noreturn]] void fail(const std::string& file, int error)
    {
        close(fFd);
        throw system_error(file, error);
    }

    int fFd = -1;
};

// XML 1.0 holds no control characters but tab, line feed and carriage return.
void check_value(const std::string& value)
{
    for (std::string::size_type i = 0; i < value.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(value[i]);
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
            char hex[8];
            std::snprintf(hex, sizeof hex, "0x%02X", c);
            throw cli_exit{exit_usage, "VALUE holds the control character " + std::string(hex) + " at offset " +
                                           std::to_string(i) + ", which XML 1.0 cannot hold"};
        }
    }
}

// Writes `bytes` to OUT for -o: "-" is standard output, a file is replaced
// as set replaces its FILE.
void write_output(const std::string& out, const std::string& bytes)
{
    if (out == "-") {
        write_stdout(bytes);
        return;
    }
    const xmlutil_detail::replace_failure failure = xmlutil_detail::replace_file(out, bytes);
    if (failure) {
        throw cli_exit{exit_failure, "cannot write " + out + ": " + xmlutil_detail::replace_failure_message(failure)};
    }
}

// set, add and delete: reads FILE, edits it and writes the result as asked.
int edit_command(int argc, char** argv, edit_kind kind)
{
    const char* const name = kind == edit_kind::set   ? "set"
                             : kind == edit_kind::add ? "add"
                                                                    : "delete";
    const std::string value_operand = kind == edit_kind::set   ? " VALUE"
                                      : kind == edit_kind::add ? " [VALUE]"
                                                                             : "";
    const std::string usage =
        std::string("xmlutil ") + name + " [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH" + value_operand;
    use_user_locale();
    const edit_args args = parse_edit_args(argc, argv, usage, opt_namespaces | opt_write);
    if (args.help) {
        write_stdout(kind == edit_kind::set   ? set_help
                     : kind == edit_kind::add ? add_help
                                                            : delete_help);
        return exit_ok;
    }
    bool has_value = false;
    if (kind == edit_kind::set) {
        expect_operands(args.operands, {"FILE", "PATH", "VALUE"}, usage);
        has_value = true;
    } else if (kind == edit_kind::add && args.operands.size() == 3) {
        has_value = true;
    } else {
        expect_operands(args.operands, {"FILE", "PATH"}, usage);
    }
    const std::string& file = args.operands[0];
    const path p = path_argument(args.operands[1]);
    std::string value;
    if (has_value) {
        check_value(args.operands[2]);
        value = argument_text(args.operands[2], "VALUE");
    }

    const bool in_place = file != "-" && !args.dry_run && !args.has_output;
    std::unique_ptr<file_lock> lock;
    std::string bytes;
    if (in_place) {
        lock = std::make_unique<file_lock>(file);
        bytes = lock->content();
    } else {
        bytes = read_input(file, label_of(file));
    }
    const loaded_document in = load_document(bytes, label_of(file));
    const edit_result result = apply_edit(in, kind, p, args.ns, value, has_value);
    if (args.dry_run) {
        // The file's own bytes, byte order mark and all, so that patch(1)
        // applies the diff to FILE as it is. UTF-16 is no text of lines for
        // patch: its diff is one of the text, for reading.
        if (in.encoding.ascii_compatible()) {
            write_stdout(unified_diff(bytes, result.bytes, file));
        } else {
            write_stdout(output_text(unified_diff(in.doc->text(), result.text, file)));
        }
        return exit_ok;
    }
    if (args.has_output) {
        write_output(args.output, result.bytes);
        return exit_ok;
    }
    if (file == "-") {
        write_stdout(result.bytes);
        return exit_ok;
    }
    if (result.bytes == bytes) {
        return exit_ok;
    }
    // Renaming a new file over one name of a hard-linked file would leave
    // the other names with the old content; copying into it is not atomic.
    xmlutil_detail::replace_options options;
    options.hard_links = xmlutil_detail::hard_link_policy::refuse;
    const xmlutil_detail::replace_failure failure = xmlutil_detail::replace_file(file, result.bytes, options);
    if (failure) {
        throw cli_exit{exit_failure, "cannot save " + file + ": " + xmlutil_detail::replace_failure_message(failure) +
                                         "; the file is unchanged"};
    }
    return exit_ok;
}


std::string escape_line(const std::string& text)
{
    std::string line;
    for (char c : text) {
        switch (c) {
        case '\\': line += "\\\\"; break;
        case '\t': line += "\\t"; break;
        case '\n': line += "\\n"; break;
        case '\r': line += "\\r"; break;
        default: line += c; break;
        }
    }
    return line;
}

int list_file_command(int argc, char** argv)
{
    const std::string usage = "xmlutil list FILE PATH";
    use_user_locale();
    const edit_args args = parse_edit_args(argc, argv, usage, opt_namespaces);
    if (args.help) {
        write_stdout(list_help);
        return exit_ok;
    }
    expect_operands(args.operands, {"FILE", "PATH"}, usage);
    const path p = path_argument(args.operands[1]);
    if (p.target != path::select_element) {
        throw usage_error("list takes the PATH of an element", usage);
    }
    const loaded_document in = load_edit(args.operands[0]);
    const xml_doc& doc = *in.doc;
    const std::vector<std::uint32_t> found = path_matcher(doc, args.ns).select(p, p.steps.size());
    if (found.empty()) {
        throw cli_exit{exit_not_found, "no element '" + p.text + "' in " + in.label};
    }
    std::string lines;
    for (std::uint32_t c = doc.element(found[0]).first_child; c != no_element;
         c = doc.element(c).next_sibling) {
        const std::string text = doc.own_text(c);
        lines += doc.name(c) + '\t' + escape_line(doc.preserves_space(c) ? text : trim_space(text)) + '\n';
    }
    write_stdout(output_text(lines));
    return exit_ok;
}


} // namespace

int set_command(int argc, char** argv)
{
    return edit_command(argc, argv, edit_kind::set);
}

int add_command(int argc, char** argv)
{
    return edit_command(argc, argv, edit_kind::add);
}

int delete_command(int argc, char** argv)
{
    return edit_command(argc, argv, edit_kind::remove);
}

int get_command(int argc, char** argv)
{
    return get_file_command(argc, argv);
}

int list_command(int argc, char** argv)
{
    return list_file_command(argc, argv);
}

} // namespace xmlutil_edit
