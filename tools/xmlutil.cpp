// SPDX-License-Identifier: Apache-2.0
// xmlutil: reads and edits XML configuration files from the shell. Run
// `xmlutil --help` for the commands.
#include "file_replace.h"
#include "command.h"
#include "edit/commands.h"
#include "edit/edit.h"

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

enum exit_status { exit_ok = 0, exit_not_found = 1, exit_usage = 2, exit_failure = 3 };

// ---- Help texts ------------------------------------------------------------------

const char* const tool_help = R"(Usage: xmlutil COMMAND ARGS...
       xmlutil help [COMMAND]    (the same as: xmlutil COMMAND --help)
       xmlutil --version

Reads, edits and checks XML configuration files with the xmlutil library.

Commands:
  get FILE PATH [--default VALUE]  print the text of an element, or an attribute
  set FILE PATH VALUE              set the text of an element, or an attribute
  add FILE PATH [VALUE]            add an element
  delete FILE PATH                 delete an element or attribute
  list FILE PATH                   print the child elements of an element
  format FILE                      print the document in the library's format
  validate FILE [--dtd DTDFILE | --xsd XSDFILE]
                                   check FILE against its DTD or XML Schema
  base64 encode|decode             Base64 from standard input to standard output
  help [COMMAND]                   print this help, or the help of COMMAND

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
)";

const char* const format_help = R"(Usage: xmlutil format FILE

Writes the document to standard output as the library saves it: the
declaration <?xml version='1.0' encoding='ISO-8859-1' ?>, each element on its
own line indented by four spaces per level, text and attribute values without
their surrounding white space and with & < > " and the German umlauts and sharp
s written as character references. Comments and processing instructions are
kept, at the start of their line; a document type declaration is left out
(an empty line stands in its place).

A character above U+00FF is written as a character reference in text and
attribute values. Names, CDATA sections, comments and processing
instructions have no such form: a document with such a character in one of
them is refused before anything is written, with the line and column of the
element holding it (or of the comment or processing instruction itself
outside the root element).

Exit status: 0 written, 2 usage error, 3 parse or I/O error, or a character
that the library's format cannot hold.
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

// ---- Documents ------------------------------------------------------------------------

// A document to read. A regular file is parsed by its name, so that its DTD
// and entities resolve beside it. Standard input ("-"), a pipe or a device is
// read once into memory: it cannot be opened a second time for the parser.
struct input {
    std::string name;  // as given
    std::string label; // for messages
    bool in_memory = false;
    std::string bytes;
};

input open_input(const std::string& file)
{
    input in;
    in.name = file;
    in.label = file == "-" ? "standard input" : file;
    if (file == "-") {
        in.in_memory = true;
        in.bytes = xmlutil_cli::read_stream(STDIN_FILENO, in.label);
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
            in.bytes = xmlutil_cli::read_stream(fd, file);
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
    // Below 4 GiB by xmlutil_cli::max_stream_input.
    return static_cast<unsigned int>(in.bytes.size());
}

// ---- Commands ---------------------------------------------------------------------------

// The text of a DOM exception that the library let through.
std::string dom_message(const DOM_DOMException& e)
{
    const std::string text = DOM2STLstring(e.msg);
    return text.empty() ? "DOM error " + std::to_string(static_cast<int>(e.code)) : one_line(text);
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
    return with_status([&] { return xmlutil_edit::set_command(argc, argv); });
}

int run_add(int argc, char** argv)
{
    return with_status([&] { return xmlutil_edit::add_command(argc, argv); });
}

int run_delete(int argc, char** argv)
{
    return with_status([&] { return xmlutil_edit::delete_command(argc, argv); });
}

int run_get(int argc, char** argv)
{
    return with_status([&] { return xmlutil_edit::get_command(argc, argv); });
}

int run_list(int argc, char** argv)
{
    return with_status([&] { return xmlutil_edit::list_command(argc, argv); });
}

// ---- format: characters the library's format cannot hold ------------------------------

// The first character of a node that the writer would turn into '?', and
// where it stands: the element holding it, as the n-th element in document
// order outside entity references, or, for a comment or processing
// instruction beside the root element, that node itself.
struct unwritable {
    unsigned long code = 0;
    bool top_level = false;        // a comment or processing instruction outside the root
    std::size_t element = 0;       // else: the holding element's index
    std::string top_level_start;   // "<!--" or "<?", with the node's first line
};

// The first character above U+00FF of `text`; 0 when there is none.
unsigned long first_beyond_latin1(const DOMString& text)
{
    const XMLCh* chars = text.rawBuffer();
    const unsigned int length = text.length();
    for (unsigned int i = 0; i < length; ++i) {
        const unsigned long ch = chars[i];
        if (ch <= 0xFF) {
            continue;
        }
        if (ch >= 0xD800 && ch <= 0xDBFF && i + 1 < length && chars[i + 1] >= 0xDC00 && chars[i + 1] <= 0xDFFF) {
            return 0x10000 + ((ch - 0xD800) << 10) + (chars[i + 1] - 0xDC00);
        }
        return ch;
    }
    return 0;
}

// UTF-8 of the node's text up to its first line end, to find it in the file.
std::string first_line_of(const DOMString& text)
{
    std::string line = DOM2STLstring(text);
    return line.substr(0, line.find_first_of("\r\n"));
}

// Text and attribute values are written with character references and
// lose nothing; names, CDATA sections, comments and processing instructions
// are written as they are, in ISO-8859-1. Walks the document as the writer
// does (entity references as their expansion), without recursion.
bool find_unwritable(DOM_Document& doc, unwritable& found)
{
    struct frame {
        DOM_Node node;
        bool in_reference;
        std::size_t holder; // the element holding the node's children
        bool has_holder;
    };
    std::vector<frame> stack;
    std::size_t elements = 0;
    for (DOM_Node child = doc.getLastChild(); !child.isNull(); child = child.getPreviousSibling()) {
        stack.push_back({child, false, 0, false});
    }
    while (!stack.empty()) {
        const frame f = stack.back();
        stack.pop_back();
        const short type = f.node.getNodeType();
        std::size_t holder = f.holder;
        bool has_holder = f.has_holder;
        unsigned long code = 0;
        std::string start;
        switch (type) {
        case DOM_Node::ELEMENT_NODE: {
            if (!f.in_reference) {
                holder = elements++;
                has_holder = true;
            }
            code = first_beyond_latin1(f.node.getNodeName());
            DOM_NamedNodeMap attributes = f.node.getAttributes();
            for (unsigned int i = 0; code == 0 && i < attributes.getLength(); ++i) {
                code = first_beyond_latin1(attributes.item(i).getNodeName());
            }
            break;
        }
        case DOM_Node::CDATA_SECTION_NODE:
            code = first_beyond_latin1(f.node.getNodeValue());
            break;
        case DOM_Node::COMMENT_NODE:
            code = first_beyond_latin1(f.node.getNodeValue());
            start = "<!--" + first_line_of(f.node.getNodeValue());
            break;
        case DOM_Node::PROCESSING_INSTRUCTION_NODE:
            code = first_beyond_latin1(f.node.getNodeName());
            if (code == 0) {
                code = first_beyond_latin1(f.node.getNodeValue());
            }
            start = "<?" + DOM2STLstring(f.node.getNodeName());
            break;
        case DOM_Node::ENTITY_REFERENCE_NODE:
            break;
        default:
            continue; // text loses nothing; the document type is not written
        }
        if (code != 0) {
            found.code = code;
            found.top_level = !has_holder;
            found.element = holder;
            found.top_level_start = start;
            return true;
        }
        if (type == DOM_Node::ELEMENT_NODE || type == DOM_Node::ENTITY_REFERENCE_NODE) {
            const bool in_reference = f.in_reference || type == DOM_Node::ENTITY_REFERENCE_NODE;
            for (DOM_Node child = f.node.getLastChild(); !child.isNull(); child = child.getPreviousSibling()) {
                stack.push_back({child, in_reference, holder, has_holder});
            }
        }
    }
    return false;
}

// "line L, column C: " of byte `offset` of the UTF-8 `text`, the column in
// characters; a CR LF pair ends one line.
std::string position_of(const std::string& text, std::size_t offset)
{
    unsigned long line = 1;
    unsigned long column = 1;
    for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
        const char ch = text[i];
        if (ch == '\n' || (ch == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n'))) {
            ++line;
            column = 1;
        } else if ((static_cast<unsigned char>(ch) & 0xC0) != 0x80 && ch != '\r') {
            ++column;
        }
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": ";
}

// Where `found` stands in the file, read again and scanned by the edit
// layer's reader; empty when it cannot tell (the refusal stands anyway).
std::string locate(const input& in, const unwritable& found)
{
    try {
        std::string bytes = in.bytes;
        if (!in.in_memory) {
            const int fd = open(in.name.c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0) {
                return std::string();
            }
            try {
                bytes = xmlutil_cli::read_stream(fd, in.label);
            } catch (...) {
                close(fd);
                return std::string();
            }
            close(fd);
        }
        const xmlutil_edit::loaded_document doc = xmlutil_edit::load_document(bytes, in.label);
        const std::string& text = doc.doc->text();
        if (!found.top_level) {
            if (found.element >= doc.doc->element_count()) {
                return std::string();
            }
            return position_of(text, doc.doc->element(static_cast<std::uint32_t>(found.element)).begin);
        }
        // Before the root element, or after it.
        const xmlutil_edit::element_span& root = doc.doc->element(doc.doc->root());
        std::size_t at = text.find(found.top_level_start);
        if (at != std::string::npos && at >= root.begin && at < root.end) {
            at = text.find(found.top_level_start, root.end);
        }
        return at == std::string::npos ? std::string() : position_of(text, at);
    } catch (...) {
        return std::string();
    }
}

std::string code_point_name(unsigned long code)
{
    char name[16];
    std::snprintf(name, sizeof name, "U+%04lX", code);
    return name;
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
    const input in = open_input(args.operands[0]);
    DOM_Document doc;
    try {
        doc = in.in_memory ? ParseBuffer(in.bytes.data(), buffer_length(in), false)
                           : ParseFile(system_id_of(in.name), false);
    } catch (const cTextException& e) {
        throw parse_failure(in, e);
    }
    if (doc.isNull()) {
        throw cli_exit{exit_failure, in.label + ": cannot be parsed"};
    }
    // Refused before anything is written: half a document is no use either.
    unwritable found;
    if (find_unwritable(doc, found)) {
        throw cli_exit{exit_failure, "format: " + in.label + ": " + locate(in, found) + "character " +
                                         code_point_name(found.code) +
                                         " cannot be written in the library's format (ISO-8859-1)"};
    }
    stdout_buffer buffer;
    std::ostream out(&buffer);
    // A failed write ends the writer at once instead of formatting the rest
    // of the document for nobody.
    out.exceptions(std::ios::badbit);
    try {
        out << static_cast<DOM_Node&>(doc);
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
    {"add", run_add},
    {"delete", run_delete},
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
