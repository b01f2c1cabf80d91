// xmlutil: reads and edits XML configuration files from the shell, through
// the library's document facade. Run `xmlutil --help` for the commands.
#include "file_replace.h"
#include "command.h"
#include "edit_check.h"

#include "xmlutil.h"

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XercesVersion.hpp>

#include <cerrno>
#include <dlfcn.h>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <algorithm>
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
using xmlutil_cli::compare_documents;
using xmlutil_cli::document_difference;
using xmlutil_cli::find_unwritable;
using xmlutil_cli::locate_construct;

enum exit_status { exit_ok = 0, exit_not_found = 1, exit_usage = 2, exit_failure = 3 };

// ---- Help texts ------------------------------------------------------------------

const char* const tool_help = R"(Usage: xmlutil COMMAND ARGS...
       xmlutil help [COMMAND]    (the same as: xmlutil COMMAND --help)
       xmlutil --version

Reads, edits and checks XML configuration files with the xmlutil library.

Commands:
  get FILE PATH [--default VALUE]  print the text of an element, or an attribute
  set FILE PATH VALUE              set the text of an element, or an attribute
  list FILE PATH                   print the children of an element
  format FILE                      print the document in the library's format
  validate FILE [--dtd DTDFILE | --xsd XSDFILE]
                                   check FILE against its DTD or XML Schema
  base64 encode|decode             Base64 from standard input to standard output
  help [COMMAND]                   print this help, or the help of COMMAND

PATH names an element by the names of the elements on the way to it, starting
below the root element: "database/host" is <host> in <database> in the root.
"." names the root itself. A final "@NAME" names an attribute instead:
"database/user@role", or "@version" for an attribute of the root.

Each step follows the library's lookup rule: it takes the first element of that
name below the current one in document order, and only if that element is a
direct child. So a <port> nested in an earlier sibling hides a direct child
<port>, and the step finds nothing. "*" names the first child element.

Text is ISO-8859-1, one byte per character.

FILE "-" is standard input. Standard input, a pipe or a device is read once,
up to 1 GiB; a regular file is read by name, so that its DTD and entities
are found beside it.

Exit status: 0 success, 1 not found, 2 usage error, 3 parse or I/O error.
Errors are reported in one line on standard error.
)";

const char* const get_help = R"(Usage: xmlutil get FILE PATH [--default VALUE]

Prints the text of the element that PATH names, or the value of the attribute
("section/key@attr"), followed by a newline. Surrounding white space is left
out, as the library's writer leaves it out when it saves.

The text of an element is its first text child, as the library reads it: an
element without one is not found. An attribute that is present with an empty
value is found, and prints an empty line.

When PATH is not found, get prints VALUE (an empty line without --default),
nothing on standard error, and exits with 1.

Exit status: 0 found, 1 not found, 2 usage error, 3 parse or I/O error.
)";

const char* const set_help = R"(Usage: xmlutil set FILE PATH VALUE

Sets the text of the element that PATH names, or the attribute
("section/key@attr"), creating the missing elements on the way as last
children, and saves FILE in the library's format (what "format" prints).
The library saves text without its surrounding white space.

Nothing else in FILE may change on the way. Before FILE is replaced, the new
text is parsed again and compared with the edited document. When anything
outside the edited value would be changed or lost by the library's format (a
document type declaration, an entity reference, a name, comment, processing
instruction or CDATA section with characters beyond ISO-8859-1), set names the
first difference with its line and column, leaves FILE alone and exits with 3.
A VALUE with a control character other than tab, line feed and carriage return
cannot be held by XML 1.0 and is refused (exit 2).

The save is atomic: the document goes to a new file in the directory of FILE,
which is flushed to disk, given the permission bits (and, where allowed, the
owner) of FILE and renamed over it. On any failure FILE stays as it was and the
new file is removed. When FILE is a symbolic link, its target is replaced.

From reading FILE to replacing it, set holds an exclusive flock(2) lock on
it: concurrent set commands on one file take their turns, and none loses the
other's change. Readers need no lock, as they never see a partial file.
FILE "-" reads standard input and writes the result to standard output.

An element that the lookup rule cannot reach, because one of the same name
nested in an earlier sibling comes first, would stay unreachable if created
again: set reports it, changes nothing and exits with 1.

A VALUE that starts with "-" goes after "--": xmlutil set FILE PATH -- -5

Exit status: 0 saved, 1 PATH unreachable, 2 usage error or invalid name,
3 parse or I/O error.
)";

const char* const list_help = R"(Usage: xmlutil list FILE PATH

Prints the children of the element that PATH names ("." for the root), in
document order, one line each:

    NAME<TAB>TEXT

TEXT is the child's text as "get" prints it, empty when it has none, with
backslash, tab, newline and carriage return written as \\, \t, \n and \r so
that every child takes one line. Processing instructions and entity references
among the children are listed too, as the library's iterator yields every child
whose name does not start with "#". The iterator walks the children themselves,
so list also shows a child that the lookup rule of get and set cannot reach.

Exit status: 0 listed (also when there are no children), 1 no such element,
2 usage error, 3 parse or I/O error.
)";

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

void expect_operands(const command_args& args, const std::vector<const char*>& names, const std::string& usage)
{
    if (args.operands.size() < names.size()) {
        throw usage_error(std::string("missing ") + names[args.operands.size()], usage);
    }
    if (args.operands.size() > names.size()) {
        throw usage_error("unexpected argument '" + args.operands[names.size()] + "'", usage);
    }
}

// ---- Paths -----------------------------------------------------------------------------

// An element reached by names from the root, and perhaps one of its attributes.
struct xml_path {
    std::vector<std::string> steps; // empty: the root
    bool has_attribute = false;
    std::string attribute;
};

bool is_name(const std::string& name)
{
    return !name.empty() && name.find_first_of("/@") == std::string::npos;
}

xml_path parse_path(const std::string& text)
{
    const cli_exit invalid{exit_usage, "invalid PATH '" + text + "' (see xmlutil --help)"};
    xml_path path;
    std::string elements = text;
    const std::string::size_type at = text.find('@');
    if (at != std::string::npos) {
        path.has_attribute = true;
        path.attribute = text.substr(at + 1);
        elements = text.substr(0, at);
        if (!is_name(path.attribute)) {
            throw invalid;
        }
        if (elements.empty()) {
            return path;
        }
    }
    if (elements == ".") {
        return path;
    }
    std::string::size_type start = 0;
    for (;;) {
        const std::string::size_type slash = elements.find('/', start);
        const std::string step = elements.substr(start, slash == std::string::npos ? slash : slash - start);
        if (!is_name(step) || step == ".") {
            throw invalid;
        }
        path.steps.push_back(step);
        if (slash == std::string::npos) {
            return path;
        }
        start = slash + 1;
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

DOM_Document parse_document(const input& in)
{
    try {
        return in.in_memory ? ParseBuffer(in.bytes.data(), buffer_length(in), false)
                            : ParseFile(system_id_of(in.name), false);
    } catch (const cTextException& e) {
        throw parse_failure(in, e);
    }
}

std::string join_steps(const std::vector<std::string>& steps)
{
    if (steps.empty()) {
        return ".";
    }
    std::string joined;
    for (const std::string& step : steps) {
        joined += (joined.empty() ? "" : "/") + step;
    }
    return joined;
}

// Moves the facade from the root along `steps`, each by ActivateNode; false
// at the first step that finds nothing.
bool walk(cXML_Utility& xml, const std::vector<std::string>& steps)
{
    for (const std::string& step : steps) {
        if (!xml.ActivateNode(step)) {
            return false;
        }
    }
    return true;
}

std::string trimmed(std::string text)
{
    Trim(text);
    return text;
}

// ---- Commands ---------------------------------------------------------------------------

int run_get(int argc, char** argv)
{
    const std::string usage = "xmlutil get FILE PATH [--default VALUE]";
    const command_args args = parse_args(argc, argv, usage, true);
    if (args.help) {
        write_stdout(get_help);
        return exit_ok;
    }
    expect_operands(args, {"FILE", "PATH"}, usage);
    const std::string& file = args.operands[0];
    const xml_path path = parse_path(args.operands[1]);

    cXML_Utility xml(0);
    load(xml, open_input(file));
    std::string value;
    bool found = walk(xml, path.steps);
    if (found) {
        found = path.has_attribute ? xml.ReadNodeAttribute(path.attribute, value, "") : xml.ReadNodeData(value, "");
    }
    write_stdout((found ? trimmed(value) : args.default_value) + "\n");
    return found ? exit_ok : exit_not_found;
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

// Applies the set to `doc`; the elements it had to create go to `created`.
void apply_set(DOM_Document& doc, const xml_path& path, const std::string& value, const std::string& label,
               std::vector<DOM_Node>& created)
{
    DOM_Node node = doc.getDocumentElement();
    std::vector<std::string> done;
    for (const std::string& step : path.steps) {
        DOM_Node next = GetNodeByName(node, step);
        if (next.isNull()) {
            DOM_Element element;
            try {
                CreateNewElement(step, element, node, doc);
            } catch (const DOM_DOMException& e) {
                throw cli_exit{exit_usage, "invalid element name '" + step + "': " + dom_message(e)};
            }
            created.push_back(element);
            // A new last child is reachable by the lookup only if no element of
            // its name lies below the parent already; otherwise the first one,
            // nested deeper, still hides it.
            next = GetNodeByName(node, step);
            if (next.isNull()) {
                const std::string parent = done.empty() ? "the root" : "<" + done.back() + ">";
                throw cli_exit{exit_not_found, "cannot reach '" + join_steps(path.steps) + "' in " + label +
                                                   ": the first <" + step + "> below " + parent +
                                                   " in document order is not its child"};
            }
        }
        node = next;
        done.push_back(step);
    }
    if (path.has_attribute) {
        DOM_Element element = static_cast<DOM_Element&>(node);
        try {
            SetNodeAttribute(path.attribute, value, element);
        } catch (const DOM_DOMException& e) {
            throw cli_exit{exit_usage, "invalid attribute name '" + path.attribute + "': " + dom_message(e)};
        }
    } else {
        SaveDataToNode(value, node, doc);
    }
}

// The saved form of the edited document, once it is certain to read back as
// that document: nothing outside the edit may change or get lost on the way
// through the library's format (names or comments beyond ISO-8859-1, a
// document type, entity references, characters the format cannot carry).
std::string checked_output(DOM_Document& doc, const std::vector<DOM_Node>& created, const std::string& label,
                           const std::function<std::string()>& original)
{
    const auto is_new = [&created](const DOM_Node& node) {
        return std::find(created.begin(), created.end(), node) != created.end();
    };
    const auto refuse = [&](const document_difference& difference) {
        std::string where;
        unsigned long line = 0;
        unsigned long column = 0;
        if (locate_construct(original(), difference.construct, line, column)) {
            where = "line " + std::to_string(line) + ", column " + std::to_string(column) + ": ";
        }
        return cli_exit{exit_failure,
                        "refusing to save " + label + ": " + where + difference.what + "; the file is unchanged"};
    };
    const document_difference unwritable = find_unwritable(doc, is_new);
    if (unwritable.found) {
        throw refuse(unwritable);
    }

    std::ostringstream text;
    text << doc;
    const std::string bytes = text.str();
    // ParseBuffer takes the length as an unsigned int.
    if (!text || bytes.size() > max_stream_input * 3) {
        throw cli_exit{exit_failure, "cannot save " + label + ": the document could not be written"};
    }
    DOM_Document again;
    try {
        again = ParseBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), false);
    } catch (const cTextException& e) {
        throw cli_exit{exit_failure, "refusing to save " + label + ": the library's format of it would not parse (" +
                                         one_line(e.what()) + "); the file is unchanged"};
    }
    const document_difference difference = compare_documents(doc, again, is_new);
    if (difference.found) {
        throw refuse(difference);
    }
    return bytes;
}

int run_set(int argc, char** argv)
{
    const std::string usage = "xmlutil set FILE PATH VALUE";
    const command_args args = parse_args(argc, argv, usage, false);
    if (args.help) {
        write_stdout(set_help);
        return exit_ok;
    }
    expect_operands(args, {"FILE", "PATH", "VALUE"}, usage);
    const std::string& file = args.operands[0];
    const xml_path path = parse_path(args.operands[1]);
    const std::string& value = args.operands[2];
    check_value(value);

    std::vector<DOM_Node> created;
    if (file == "-") {
        const input in = open_input(file);
        DOM_Document doc = parse_document(in);
        apply_set(doc, path, value, in.label, created);
        write_stdout(checked_output(doc, created, in.label, [&in] { return in.bytes; }));
        return exit_ok;
    }

    const file_lock lock(file);
    input in;
    in.name = file;
    in.label = file;
    DOM_Document doc = parse_document(in);
    apply_set(doc, path, value, file, created);
    const std::string bytes = checked_output(doc, created, file, [&lock] { return lock.content(); });
    // Renaming a new file over one name of a hard-linked file would leave
    // the other names with the old content; copying into it is not atomic.
    xmlutil_detail::replace_options options;
    options.hard_links = xmlutil_detail::hard_link_policy::refuse;
    const xmlutil_detail::replace_failure failure = xmlutil_detail::replace_file(file, bytes, options);
    if (failure) {
        throw cli_exit{exit_failure, "cannot save " + file + ": " + xmlutil_detail::replace_failure_message(failure) +
                                         "; the file is unchanged"};
    }
    return exit_ok;
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

int run_list(int argc, char** argv)
{
    const std::string usage = "xmlutil list FILE PATH";
    const command_args args = parse_args(argc, argv, usage, false);
    if (args.help) {
        write_stdout(list_help);
        return exit_ok;
    }
    expect_operands(args, {"FILE", "PATH"}, usage);
    const std::string& file = args.operands[0];
    const xml_path path = parse_path(args.operands[1]);
    if (path.has_attribute) {
        throw usage_error("list takes the PATH of an element, not of an attribute", usage);
    }

    cXML_Utility xml(0);
    load(xml, open_input(file));
    if (!walk(xml, path.steps)) {
        throw cli_exit{exit_not_found, "no element '" + join_steps(path.steps) + "' in " + file};
    }
    std::string lines;
    for (cXMLiterator it = xml.CreateIterator(""); !it.end(); ++it) {
        cXML_Utility child = *it;
        std::string text;
        child.ReadNodeData(text, "");
        lines += child.GetNodeName() + '\t' + escape_line(trimmed(text)) + '\n';
    }
    write_stdout(lines);
    return exit_ok;
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

// "--version": the tool's version, and the Xerces-C it was built with and
// the library file of it that the process runs on.
int print_version()
{
    std::string text = std::string("xmlutil ") + XMLUTIL_VERSION + "\n";
    text += std::string("Xerces-C ") + XERCES_FULLVERSIONDOT;
    Dl_info info;
    if (dladdr(reinterpret_cast<void*>(static_cast<void (*)()>(&xercesc::XMLPlatformUtils::Terminate)), &info) != 0 &&
        info.dli_fname != nullptr) {
        text += std::string(" (") + info.dli_fname + ")";
    }
    write_stdout(text + "\n");
    return exit_ok;
}

struct command_entry {
    const char* name;
    int (*run)(int, char**);
};

const command_entry commands[] = {
    {"get", run_get},
    {"set", run_set},
    {"list", run_list},
    {"format", run_format},
    {"validate", xmlutil_cli::run_validate_command},
    {"base64", xmlutil_cli::run_base64_command},
};

const std::string tool_usage = "xmlutil COMMAND ARGS..., see xmlutil --help";

const command_entry& find_command(const std::string& name)
{
    for (const command_entry& e : commands) {
        if (name == e.name) {
            return e;
        }
    }
    throw cli_exit{exit_usage, "unknown command '" + name + "' (usage: " + tool_usage + ")"};
}

// "help" alone is --help; "help COMMAND" is "COMMAND --help".
int run_help(int argc, char** argv)
{
    if (argc == 0) {
        write_stdout(tool_help);
        return exit_ok;
    }
    if (argc > 1) {
        throw cli_exit{exit_usage, "unexpected argument '" + std::string(argv[1]) + "' (usage: xmlutil help [COMMAND])"};
    }
    const std::string name = argv[0];
    if (name == "help") {
        write_stdout(tool_help);
        return exit_ok;
    }
    char help_option[] = "--help";
    char* help_argv[] = {help_option, nullptr};
    return find_command(name).run(1, help_argv);
}

int run(int argc, char** argv)
{
    if (argc < 2) {
        throw cli_exit{exit_usage, "missing COMMAND (usage: " + tool_usage + ")"};
    }
    const std::string command = argv[1];
    if (command == "-h" || command == "--help") {
        write_stdout(tool_help);
        return exit_ok;
    }
    if (command == "--version") {
        if (argc > 2) {
            throw cli_exit{exit_usage, "unexpected argument '" + std::string(argv[2]) + "' (usage: xmlutil --version)"};
        }
        return print_version();
    }
    if (command == "help") {
        return run_help(argc - 2, argv + 2);
    }
    return find_command(command).run(argc - 2, argv + 2);
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
    } catch (const xmlutil_cli::command_failure& e) {
        result = {e.status, e.message};
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
