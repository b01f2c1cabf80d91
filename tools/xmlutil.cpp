// xmlutil: reads and edits XML configuration files from the shell, through
// the library's document facade. Run `xmlutil --help` for the commands.
#include "file_replace.h"
#include "edit/edit.h"
#include "edit/locale_text.h"

#include "xmlutil.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <exception>
#include <functional>
#include <fcntl.h>
#include <streambuf>
#include <sys/file.h>
#include <new>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using xmlutil_detail::write_all;

enum exit_status { exit_ok = 0, exit_not_found = 1, exit_usage = 2, exit_failure = 3 };

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

const char* const tool_help = R"~(Usage: xmlutil COMMAND ARGS...
       xmlutil COMMAND --help

Reads and edits XML configuration files with the xmlutil library.

Commands:
  get FILE PATH [--default VALUE]  print the text of an element, or an attribute
  set FILE PATH VALUE              set the text of an element, or an attribute
  add FILE PATH [VALUE]            add an element
  delete FILE PATH                 delete an element or attribute
  list FILE PATH                   print the child elements of an element
  format FILE                      print the document in the library's format
  base64 encode|decode             Base64 from standard input to standard output

PATH is an XPath-like path whose first step names the root element, such as
"service/database/host", "service/servers/server[@name='beta']/@weight" or
"configuration/appSettings/add[@key='x']/@value"; see "xmlutil get --help".
set, add and delete change only the bytes of what they edit and leave the
rest of FILE byte for byte as it was; format rewrites the whole document in
the library's format.

FILE "-" is standard input. Standard input, a pipe or a device is read once,
up to 1 GiB.

Exit status: 0 success, 1 not found, 2 usage error, 3 parse or I/O error.
Errors are reported in one line on standard error.
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
            lines of context) and leaves FILE alone
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

const char* const format_help = R"(Usage: xmlutil format FILE

Writes the document to standard output as the library saves it: the
declaration <?xml version='1.0' encoding='ISO-8859-1' ?>, each element on its
own line indented by four spaces per level, text and attribute values without
their surrounding white space and with & < > " and the German umlauts and sharp
s written as character references. Comments and processing instructions are
kept, at the start of their line; a document type declaration is left out
(an empty line stands in its place).

Exit status: 0 written, 2 usage error, 3 parse or I/O error.
)";

const char* const base64_help = R"(Usage: xmlutil base64 encode|decode

encode  reads bytes from standard input and writes their Base64 text (RFC 4648,
        padded, in one line) followed by a newline; nothing for no input.
decode  reads Base64 text from standard input and writes its bytes. White space
        is skipped and padding may be left out; any other character outside
        the Base64 alphabet is an error.

The library's decoder drops a zero byte in the last group of the text, when that
group is padded or short, together with what follows it. So data whose length
is not a multiple of 3 comes back short when one of its last (length mod 3)
bytes is zero: "QQA=", the bytes 41 00, decodes to the one byte 41.

Exit status: 0 done, 2 usage error, 3 I/O error or invalid Base64 text.
)";

// ---- Failures ----------------------------------------------------------------------

// Ends the command with `status`; `message` is its line on standard error,
// none when empty.
struct cli_exit {
    int status;
    std::string message;
};

cli_exit usage_error(const std::string& what, const std::string& usage)
{
    return {exit_usage, what + " (usage: " + usage + ")"};
}

cli_exit system_error(const std::string& what, int error)
{
    return {exit_failure, what + ": " + std::strerror(error)};
}

// The library's messages may span lines ("...\n   Message: ..."), and a
// parser report ends in one; every failure is reported in a single line.
std::string one_line(const std::string& text)
{
    std::string line;
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        if (text[i] != '\n' && text[i] != '\r') {
            line += text[i];
            continue;
        }
        while (i + 1 < text.size() && std::strchr("\n\r \t", text[i + 1]) != nullptr) {
            ++i;
        }
        line += ' ';
    }
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

void write_stdout(const char* data, std::size_t size)
{
    if (int error = write_all(STDOUT_FILENO, data, size)) {
        throw system_error("standard output", error);
    }
}

void write_stdout(const std::string& text)
{
    write_stdout(text.data(), text.size());
}

// Standard output as a stream, written in blocks as the document is
// formatted: output of any size goes out whole, or the command fails.
class stdout_buffer : public std::streambuf {
public:
    stdout_buffer() { setp(fBlock, fBlock + sizeof fBlock); }
    stdout_buffer(const stdout_buffer&) = delete;
    stdout_buffer& operator=(const stdout_buffer&) = delete;

    // Writes what is left; throws for the first write that failed.
    void finish()
    {
        sync();
        if (fError != 0) {
            throw system_error("standard output", fError);
        }
    }

protected:
    int_type overflow(int_type ch) override
    {
        if (sync() != 0) {
            return traits_type::eof();
        }
        if (!traits_type::eq_int_type(ch, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(ch);
            pbump(1);
        }
        return traits_type::not_eof(ch);
    }

    int sync() override
    {
        if (fError == 0 && pptr() > pbase()) {
            fError = write_all(STDOUT_FILENO, pbase(), static_cast<std::size_t>(pptr() - pbase()));
        }
        setp(fBlock, fBlock + sizeof fBlock);
        return fError == 0 ? 0 : -1;
    }

private:
    char fBlock[65536];
    int fError = 0;
};

// ---- Arguments -----------------------------------------------------------------------

struct command_args {
    std::vector<std::string> operands;
    bool help = false;
    bool has_default = false;
    std::string default_value;
};

// Splits the arguments after the command name. "-h" and "--help" ask for the
// command's help wherever they stand before "--"; `--default` is known only
// where `takes_default` says so.
command_args parse_args(int argc, char** argv, const std::string& usage, bool takes_default)
{
    command_args args;
    bool options_done = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (options_done || arg.size() < 2 || arg[0] != '-') {
            args.operands.push_back(arg);
        } else if (arg == "--") {
            options_done = true;
        } else if (arg == "-h" || arg == "--help") {
            args.help = true;
            return args;
        } else if (takes_default && (arg == "--default" || arg.compare(0, 10, "--default=") == 0)) {
            if (args.has_default) {
                throw usage_error("--default given twice", usage);
            }
            if (arg.size() > 9) {
                args.default_value = arg.substr(10);
            } else if (i + 1 < argc) {
                args.default_value = argv[++i];
            } else {
                throw usage_error("--default needs a VALUE", usage);
            }
            args.has_default = true;
        } else {
            throw usage_error("unknown option '" + arg + "'", usage);
        }
    }
    return args;
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

void expect_operands(const command_args& args, const std::vector<const char*>& names, const std::string& usage)
{
    if (args.operands.size() < names.size()) {
        throw usage_error(std::string("missing ") + names[args.operands.size()], usage);
    }
    if (args.operands.size() > names.size()) {
        throw usage_error("unexpected argument '" + args.operands[names.size()] + "'", usage);
    }
}

// ---- Documents ------------------------------------------------------------------------

// What standard input, a pipe or a device may bring: it has to be held in
// memory, and has no size to check beforehand.
constexpr std::size_t max_stream_input = std::size_t(1) << 30;

// A document to read. A regular file is parsed by its name, so that its DTD
// and entities resolve beside it. Standard input ("-"), a pipe or a device is
// read once into memory: it cannot be opened a second time for the parser.
struct input {
    std::string name;  // as given
    std::string label; // for messages
    bool in_memory = false;
    std::string bytes;
};

// One read(2) of `fd`, tried again when a signal interrupts it; 0 at the end.
std::size_t read_some(int fd, char* buffer, std::size_t size, const std::string& label)
{
    for (;;) {
        const ssize_t got = read(fd, buffer, size);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR) {
            throw system_error(label, errno);
        }
    }
}

std::string read_all(int fd, const std::string& label)
{
    std::string bytes;
    char block[65536];
    for (;;) {
        const std::size_t got = read_some(fd, block, sizeof block, label);
        if (got == 0) {
            return bytes;
        }
        if (bytes.size() + got > max_stream_input) {
            throw cli_exit{exit_failure, label + ": more than 1 GiB, the most read from a pipe or device"};
        }
        bytes.append(block, got);
    }
}

input open_input(const std::string& file)
{
    input in;
    in.name = file;
    in.label = file == "-" ? "standard input" : file;
    if (file == "-") {
        in.in_memory = true;
        in.bytes = read_all(STDIN_FILENO, in.label);
        return in;
    }
    // The parser's reports for a missing or unreadable file or a directory
    // carry no file name ("file , line 0"); the system's words are clearer.
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        throw system_error(file, errno);
    }
    struct stat st {};
    if (fstat(fd, &st) != 0) {
        const int error = errno;
        close(fd);
        throw system_error(file, error);
    }
    if (S_ISDIR(st.st_mode)) {
        close(fd);
        throw system_error(file, EISDIR);
    }
    if (!S_ISREG(st.st_mode)) {
        in.in_memory = true;
        try {
            in.bytes = read_all(fd, file);
        } catch (...) {
            close(fd);
            throw;
        }
    }
    close(fd);
    return in;
}

// The parser reads a name that starts like a URL ("file:/x.xml") as that
// URL, not as the local file; "./" keeps it a file name.
std::string system_id_of(const std::string& file)
{
    const std::string::size_type colon = file.find(':');
    if (colon != std::string::npos && colon < file.find('/')) {
        return "./" + file;
    }
    return file;
}

// A parse failure of text read into memory names the input, not the
// library's name for a buffer.
cli_exit parse_failure(const input& in, const cTextException& e)
{
    std::string message = one_line(e.what());
    static const std::string buffer_id = "XMLRead_ParseBufferID";
    if (in.in_memory) {
        for (std::string::size_type at; (at = message.find(buffer_id)) != std::string::npos;) {
            message.replace(at, buffer_id.size(), in.label);
        }
    }
    return {exit_failure, message};
}

unsigned int buffer_length(const input& in)
{
    // Below 4 GiB by max_stream_input.
    return static_cast<unsigned int>(in.bytes.size());
}

void load(cXML_Utility& xml, const input& in)
{
    try {
        const bool loaded = in.in_memory ? xml.Parse(in.bytes.data(), buffer_length(in))
                                         : xml.Parse(system_id_of(in.name));
        if (!loaded) {
            throw cli_exit{exit_failure, in.label + ": cannot be parsed"};
        }
    } catch (const cTextException& e) {
        throw parse_failure(in, e);
    }
}

// ---- Commands ---------------------------------------------------------------------------

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
    xmlutil_edit::namespaces ns;
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
            args.ns[value.substr(0, eq)] = xmlutil_edit::argument_text(value.substr(eq + 1), "the URI of -N");
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
        return read_all(STDIN_FILENO, label);
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
        std::string bytes = read_all(fd, file);
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

xmlutil_edit::loaded_document load_edit(const std::string& file)
{
    const std::string label = label_of(file);
    return xmlutil_edit::load_document(read_input(file, label), label);
}

xmlutil_edit::path path_argument(const std::string& arg)
{
    return xmlutil_edit::parse_path(xmlutil_edit::argument_text(arg, "PATH"));
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
std::string element_text(const xmlutil_edit::xml_doc& doc, std::uint32_t e, const xmlutil_edit::path& p)
{
    const std::string text = doc.own_text(e);
    const bool preserve = doc.preserves_space(e);
    const std::string shown = preserve ? text : trim_space(text);
    if (doc.has_child_elements(e) && trim_space(text).empty()) {
        throw cli_exit{exit_not_found, p.text + ": element has child elements and no text of its own"};
    }
    return shown;
}

int get_command(int argc, char** argv)
{
    const std::string usage = "xmlutil get [-N PREFIX=URI]... [--all] FILE PATH [--default VALUE]";
    xmlutil_edit::use_user_locale();
    const edit_args args = parse_edit_args(argc, argv, usage, opt_namespaces | opt_all | opt_default);
    if (args.help) {
        write_stdout(get_help);
        return exit_ok;
    }
    expect_operands(args.operands, {"FILE", "PATH"}, usage);
    const xmlutil_edit::path p = path_argument(args.operands[1]);
    const xmlutil_edit::loaded_document in = load_edit(args.operands[0]);
    const xmlutil_edit::xml_doc& doc = *in.doc;
    const xmlutil_edit::path_matcher matcher(doc, args.ns);
    std::string out;
    bool found = false;
    for (std::uint32_t e : matcher.select(p, p.steps.size())) {
        std::string value;
        if (p.target == xmlutil_edit::path::select_attribute) {
            const xmlutil_edit::attribute_span* a = matcher.attribute(e, p.attribute);
            if (a == nullptr) {
                continue;
            }
            value = doc.attribute_value(*a);
        } else {
            value = element_text(doc, e, p);
        }
        out += xmlutil_edit::output_text(value) + "\n";
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

// The text of a DOM exception that the library let through.
std::string dom_message(const DOM_DOMException& e)
{
    const std::string text = DOM2STLstring(e.msg);
    return text.empty() ? "DOM error " + std::to_string(static_cast<int>(e.code)) : one_line(text);
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
int edit_command(int argc, char** argv, xmlutil_edit::edit_kind kind)
{
    const char* const name = kind == xmlutil_edit::edit_kind::set   ? "set"
                             : kind == xmlutil_edit::edit_kind::add ? "add"
                                                                    : "delete";
    const std::string value_operand = kind == xmlutil_edit::edit_kind::set   ? " VALUE"
                                      : kind == xmlutil_edit::edit_kind::add ? " [VALUE]"
                                                                             : "";
    const std::string usage =
        std::string("xmlutil ") + name + " [-N PREFIX=URI]... [--dry-run | -o OUT] FILE PATH" + value_operand;
    xmlutil_edit::use_user_locale();
    const edit_args args = parse_edit_args(argc, argv, usage, opt_namespaces | opt_write);
    if (args.help) {
        write_stdout(kind == xmlutil_edit::edit_kind::set   ? set_help
                     : kind == xmlutil_edit::edit_kind::add ? add_help
                                                            : delete_help);
        return exit_ok;
    }
    bool has_value = false;
    if (kind == xmlutil_edit::edit_kind::set) {
        expect_operands(args.operands, {"FILE", "PATH", "VALUE"}, usage);
        has_value = true;
    } else if (kind == xmlutil_edit::edit_kind::add && args.operands.size() == 3) {
        has_value = true;
    } else {
        expect_operands(args.operands, {"FILE", "PATH"}, usage);
    }
    const std::string& file = args.operands[0];
    const xmlutil_edit::path p = path_argument(args.operands[1]);
    std::string value;
    if (has_value) {
        check_value(args.operands[2]);
        value = xmlutil_edit::argument_text(args.operands[2], "VALUE");
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
    const xmlutil_edit::loaded_document in = xmlutil_edit::load_document(bytes, label_of(file));
    const xmlutil_edit::edit_result result = xmlutil_edit::apply_edit(in, kind, p, args.ns, value, has_value);
    if (args.dry_run) {
        write_stdout(xmlutil_edit::output_text(xmlutil_edit::unified_diff(in.doc->text(), result.text, file)));
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

// The editing layer's failures carry the exit status they end with.
template <typename Body>
int with_status(Body body)
{
    try {
        return body();
    } catch (const xmlutil_edit::failure& e) {
        throw cli_exit{e.status, one_line(e.what())};
    }
}

int run_set(int argc, char** argv)
{
    return with_status([&] { return edit_command(argc, argv, xmlutil_edit::edit_kind::set); });
}

int run_add(int argc, char** argv)
{
    return with_status([&] { return edit_command(argc, argv, xmlutil_edit::edit_kind::add); });
}

int run_delete(int argc, char** argv)
{
    return with_status([&] { return edit_command(argc, argv, xmlutil_edit::edit_kind::remove); });
}

int run_get(int argc, char** argv)
{
    return with_status([&] { return get_command(argc, argv); });
}

// One line per child: backslash and the line-breaking characters are escaped.
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

int list_command(int argc, char** argv)
{
    const std::string usage = "xmlutil list FILE PATH";
    xmlutil_edit::use_user_locale();
    const edit_args args = parse_edit_args(argc, argv, usage, opt_namespaces);
    if (args.help) {
        write_stdout(list_help);
        return exit_ok;
    }
    expect_operands(args.operands, {"FILE", "PATH"}, usage);
    const xmlutil_edit::path p = path_argument(args.operands[1]);
    if (p.target != xmlutil_edit::path::select_element) {
        throw usage_error("list takes the PATH of an element", usage);
    }
    const xmlutil_edit::loaded_document in = load_edit(args.operands[0]);
    const xmlutil_edit::xml_doc& doc = *in.doc;
    const std::vector<std::uint32_t> found = xmlutil_edit::path_matcher(doc, args.ns).select(p, p.steps.size());
    if (found.empty()) {
        throw cli_exit{exit_not_found, "no element '" + p.text + "' in " + in.label};
    }
    std::string lines;
    for (std::uint32_t c = doc.element(found[0]).first_child; c != xmlutil_edit::no_element;
         c = doc.element(c).next_sibling) {
        const std::string text = doc.own_text(c);
        lines += doc.name(c) + '\t' + escape_line(doc.preserves_space(c) ? text : trim_space(text)) + '\n';
    }
    write_stdout(xmlutil_edit::output_text(lines));
    return exit_ok;
}

int run_list(int argc, char** argv)
{
    return with_status([&] { return list_command(argc, argv); });
}

int run_format(int argc, char** argv)
{
    const std::string usage = "xmlutil format FILE";
    const command_args args = parse_args(argc, argv, usage, false);
    if (args.help) {
        write_stdout(format_help);
        return exit_ok;
    }
    expect_operands(args, {"FILE"}, usage);
    cXML_Utility xml(0);
    load(xml, open_input(args.operands[0]));
    stdout_buffer buffer;
    std::ostream out(&buffer);
    // A failed write ends the writer at once instead of formatting the rest
    // of the document for nobody.
    out.exceptions(std::ios::badbit);
    try {
        xml.SaveToStream(out);
        out.flush();
    } catch (const std::ios::failure&) {
    }
    buffer.finish();
    return exit_ok;
}

void base64_encode_stdin()
{
    // Whole groups of 3 bytes encode the same alone as within the whole
    // input, so blocks of a multiple of 3 bytes can be encoded one by one.
    constexpr std::size_t block = 3 * 16384;
    std::vector<char> input(block);
    // What Base64Encode demands: the text, its zero byte and four to spare.
    std::vector<char> output(block / 3 * 4 + 5);
    bool any = false;
    auto encode = [&](std::size_t length) {
        int size = static_cast<int>(output.size());
        if (Base64Encode(input.data(), static_cast<int>(length), output.data(), size) != 0) {
            throw cli_exit{exit_failure, "Base64 encoding failed"};
        }
        write_stdout(output.data(), static_cast<std::size_t>(size));
        any = true;
    };
    std::size_t filled = 0;
    for (;;) {
        const std::size_t got = read_some(STDIN_FILENO, input.data() + filled, block - filled, "standard input");
        if (got == 0) {
            break;
        }
        filled += got;
        if (filled == block) {
            encode(filled);
            filled = 0;
        }
    }
    if (filled > 0) {
        encode(filled);
    }
    if (any) {
        write_stdout("\n");
    }
}

bool is_base64_char(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' ||
           c == '=';
}

void base64_decode_stdin()
{
    // The decoder takes each group of 4 characters on its own, so text cut
    // at group boundaries decodes the same as in one piece.
    constexpr std::size_t block = 4 * 16384;
    std::vector<char> input(block);
    std::string text;
    std::vector<char> output;
    auto decode = [&](std::size_t length) {
        // Base64Decode wants a capacity of at least the text's length; a short
        // last group may write a little more.
        output.resize(length + 4);
        int size = static_cast<int>(output.size());
        if (Base64Decode(&text[0], static_cast<int>(length), output.data(), size) != 0) {
            throw cli_exit{exit_failure, "Base64 decoding failed"};
        }
        write_stdout(output.data(), static_cast<std::size_t>(size));
        text.erase(0, length);
    };
    unsigned long long offset = 0;
    for (;;) {
        const std::size_t got = read_some(STDIN_FILENO, input.data(), input.size(), "standard input");
        if (got == 0) {
            break;
        }
        for (std::size_t i = 0; i < got; ++i, ++offset) {
            const unsigned char c = static_cast<unsigned char>(input[i]);
            if (c == ' ' || (c >= '\t' && c <= '\r')) {
                continue; // the library's decoder would read these as "A"
            }
            if (!is_base64_char(c)) {
                char hex[8];
                std::snprintf(hex, sizeof hex, "0x%02X", c);
                throw cli_exit{exit_failure, "standard input: not Base64 text: byte " + std::string(hex) +
                                                 " at offset " + std::to_string(offset)};
            }
            text += static_cast<char>(c);
        }
        if (text.size() >= block) {
            decode(text.size() / 4 * 4);
        }
    }
    if (!text.empty()) {
        decode(text.size());
    }
}

int run_base64(int argc, char** argv)
{
    const std::string usage = "xmlutil base64 encode|decode";
    const command_args args = parse_args(argc, argv, usage, false);
    if (args.help) {
        write_stdout(base64_help);
        return exit_ok;
    }
    expect_operands(args, {"encode or decode"}, usage);
    const std::string& mode = args.operands[0];
    if (mode == "encode") {
        base64_encode_stdin();
    } else if (mode == "decode") {
        base64_decode_stdin();
    } else {
        throw usage_error("unknown mode '" + mode + "'", usage);
    }
    return exit_ok;
}

int run(int argc, char** argv)
{
    const std::string usage = "xmlutil COMMAND ARGS..., see xmlutil --help";
    if (argc < 2) {
        throw cli_exit{exit_usage, "missing COMMAND (usage: " + usage + ")"};
    }
    const std::string command = argv[1];
    if (command == "-h" || command == "--help") {
        write_stdout(tool_help);
        return exit_ok;
    }
    struct entry {
        const char* name;
        int (*run)(int, char**);
    };
    static const entry commands[] = {
        {"get", run_get},       {"set", run_set},       {"add", run_add},       {"delete", run_delete},
        {"list", run_list},     {"format", run_format}, {"base64", run_base64},
    };
    for (const entry& e : commands) {
        if (command == e.name) {
            return e.run(argc - 2, argv + 2);
        }
    }
    throw cli_exit{exit_usage, "unknown command '" + command + "' (usage: " + usage + ")"};
}

} // namespace

int main(int argc, char** argv)
{
    // A write beyond the file size limit then fails with EFBIG, which the
    // save reports and cleans up after, instead of killing the process.
    std::signal(SIGXFSZ, SIG_IGN);
    // A closed pipe then fails the write with EPIPE, which is reported,
    // instead of ending the process without a word.
    std::signal(SIGPIPE, SIG_IGN);

    cli_exit result{exit_ok, ""};
    try {
        result.status = run(argc, argv);
    } catch (const cli_exit& e) {
        result = e;
    } catch (const cTextException& e) {
        result = {exit_failure, one_line(e.what())};
    } catch (const DOM_DOMException& e) {
        result = {exit_failure, dom_message(e)};
    } catch (const std::bad_alloc&) {
        result = {exit_failure, "out of memory"};
    } catch (const std::exception& e) {
        result = {exit_failure, one_line(e.what())};
    } catch (...) {
        result = {exit_failure, "unexpected error"};
    }
    if (!result.message.empty()) {
        const std::string line = "xmlutil: " + result.message + "\n";
        // Nothing is left to do if even this fails.
        (void)write_all(STDERR_FILENO, line.data(), line.size());
    }
    return result.status;
}
