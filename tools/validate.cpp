// SPDX-License-Identifier: Apache-2.0
// `xmlutil validate FILE [--dtd DTDFILE | --xsd XSDFILE]`: Xerces-C's DTD and
// XML Schema validation through SAX2, every report collected and printed as
// FILE:LINE:COLUMN: message. Only files of the document's folder and of the
// grammar's folder are read; nothing comes over the network.
#include "command.h"

#include <xercesc/framework/LocalFileInputSource.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>
#include <xercesc/sax2/SAX2XMLReader.hpp>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RuntimeException.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/TransService.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLURL.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace xmlutil_cli {

namespace {

using namespace XERCES_CPP_NAMESPACE;

const char* const validate_usage = "xmlutil validate FILE [--dtd DTDFILE | --xsd XSDFILE]";

const char* const validate_help = R"(Usage: xmlutil validate FILE [--dtd DTDFILE | --xsd XSDFILE]

Checks that FILE is well-formed and valid, and prints every problem that the
parser reports, one per line on standard output:

    FILE:LINE:COLUMN: message

A problem inside another file (an external DTD, an entity, a schema) names
that file instead of FILE. Warnings are printed as "warning: message" and do
not make the document invalid. The parser stops at the first well-formedness
error; validity errors are all listed.

Without an option, FILE is validated against the grammar it names itself: the
DTD of its document type declaration (internal subset and external DTD) and
the XML Schemas of xsi:schemaLocation and xsi:noNamespaceSchemaLocation
attributes. A well-formed FILE that names neither has nothing to be checked
against: validate says so on standard error and exits with 2.

--dtd DTDFILE  validates FILE against DTDFILE, whether or not FILE has a
               document type declaration of its own (its external DTD is not
               read then).
--xsd XSDFILE  validates FILE against the XML Schema XSDFILE, whatever schema
               locations FILE names.

DTDs, entities and schemas are read only from the folder of FILE and its
subfolders, and from the folder of DTDFILE or XSDFILE; anything else, and any
http, https or ftp address, is refused with an error. FILE "-" is standard
input, read up to 1 GiB; its folder is then the current one. A pipe or a
device as FILE is read once, up to 1 GiB, too. DTDFILE and XSDFILE must be
regular files.

Exit status: 0 valid (also with warnings), 1 invalid or not well-formed,
2 usage error or no grammar to validate against, 3 FILE or the grammar file
unreadable, or the grammar itself in error.
)";

// The same limit as the library's reading: enough for real documents, far
// below what a "billion laughs" needs.
constexpr XMLSize_t entity_expansions = 100000;

const XMLCh xsi_namespace[] = u"http://www.w3.org/2001/XMLSchema-instance";

command_failure usage(const std::string& what)
{
    return {exit_bad_usage, what + " (usage: " + validate_usage + ")"};
}

std::string utf8(const XMLCh* text)
{
    if (text == nullptr || *text == 0) {
        return std::string();
    }
    TranscodeToStr bytes(text, "UTF-8");
    return std::string(reinterpret_cast<const char*>(bytes.str()), bytes.length());
}

std::basic_string<XMLCh> from_utf8(const std::string& text)
{
    TranscodeFromStr chars(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "UTF-8");
    return std::basic_string<XMLCh>(chars.str(), chars.length());
}

std::string current_folder()
{
    std::unique_ptr<char, decltype(&std::free)> cwd(getcwd(nullptr, 0), &std::free);
    if (!cwd) {
        throw command_failure{exit_io, std::string("current folder: ") + std::strerror(errno)};
    }
    return cwd.get();
}

std::string absolute(const std::string& path)
{
    if (!path.empty() && path[0] == '/') {
        return path;
    }
    return current_folder() + "/" + path;
}

std::string folder_of(const std::string& path)
{
    const std::string::size_type slash = path.rfind('/');
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string real_path(const std::string& path)
{
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) != nullptr ? std::string(buffer) : std::string();
}

// Opens a file that the parser will read: it must open, and not be a folder.
// True for a regular file, which is closed again; a pipe or a device is read
// through the descriptor left in `fd`, as it can be read only once.
// `blocking` false: a pipe without a writer is no hang (nor ever read).
bool open_readable(const std::string& name, bool blocking, int& fd)
{
    fd = open(name.c_str(), O_RDONLY | O_CLOEXEC | (blocking ? 0 : O_NONBLOCK));
    if (fd < 0) {
        throw command_failure{exit_io, name + ": " + std::strerror(errno)};
    }
    struct stat st;
    const bool known = fstat(fd, &st) == 0;
    const bool regular = known && S_ISREG(st.st_mode);
    if (regular || (known && S_ISDIR(st.st_mode)) || !blocking) {
        close(fd);
        fd = -1;
    }
    if (known && S_ISDIR(st.st_mode)) {
        throw command_failure{exit_io, name + ": " + std::strerror(EISDIR)};
    }
    return regular;
}

// Undoes the %XX escapes of a file URL's path.
std::string unescape(const std::string& text)
{
    std::string out;
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

struct report {
    const char* kind; // "warning", "error", "fatal error"
    std::string system_id;
    XMLFileLoc line;
    XMLFileLoc column;
    std::string message;
};

// Collects every report, and notes whether the document names a grammar.
class collector : public DefaultHandler {
public:
    std::vector<report> reports;
    bool has_doctype = false;
    bool names_schema = false;
    // The resolver's reason for the fatal error that its refusal causes.
    std::string refusal;

    void warning(const SAXParseException& e) override { add("warning", e); }
    void error(const SAXParseException& e) override { add("error", e); }
    void fatalError(const SAXParseException& e) override { add("fatal error", e); }
    void resetErrors() override {}

    // The external DTD that --dtd replaces; once replaced, empty.
    std::basic_string<XMLCh> swap_from;
    std::string swap_to;

    void startDTD(const XMLCh* const, const XMLCh* const, const XMLCh* const system_id) override
    {
        has_doctype = true;
        if (!swap_to.empty() && system_id != nullptr) {
            swap_from = system_id;
        }
    }

    void endDTD() override { swap_from.clear(); }

    void startElement(const XMLCh* const, const XMLCh* const, const XMLCh* const, const Attributes& attributes) override
    {
        if (attributes.getIndex(xsi_namespace, u"schemaLocation") >= 0 ||
            attributes.getIndex(xsi_namespace, u"noNamespaceSchemaLocation") >= 0) {
            names_schema = true;
        }
    }

    bool any_error() const
    {
        for (const report& r : reports) {
            if (r.kind[0] != 'w') {
                return true;
            }
        }
        return false;
    }

private:
    void add(const char* kind, const SAXParseException& e)
    {
        report r{kind, utf8(e.getSystemId()), e.getLineNumber(), e.getColumnNumber(), utf8(e.getMessage())};
        if (kind[0] == 'f' && !refusal.empty()) {
            r.message = refusal;
            refusal.clear();
        }
        reports.push_back(r);
    }
};

// Opens DTDs, entities and schemas from the allowed folders only; a refusal
// becomes a fatal error at the reference, its reason given to the collector.
class folder_resolver : public XMLEntityResolver {
public:
    folder_resolver(collector& reports, std::vector<std::string> folders)
        : fReports(reports), fFolders(std::move(folders))
    {
    }

    InputSource* resolveEntity(XMLResourceIdentifier* resource) override
    {
        const XMLCh* const system_id = resource->getSystemId();
        if (system_id == nullptr || *system_id == 0) {
            return nullptr; // a schema import without a location: nothing to read
        }
        if (!fReports.swap_from.empty() && fReports.swap_from == system_id) {
            fReports.swap_from.clear();
            const std::string to = fReports.swap_to;
            fReports.swap_to.clear();
            return new LocalFileInputSource(from_utf8(to).c_str());
        }
        const std::string name = utf8(system_id);
        std::string path;
        XMLURL url;
        if (XMLURL::parse(system_id, url) && url.getProtocol() != XMLURL::Unknown) {
            const XMLCh* const host = url.getHost();
            if (url.getProtocol() != XMLURL::File ||
                !(host == nullptr || *host == 0 || XMLString::compareIString(host, XMLUni::fgLocalHostString) == 0)) {
                refuse("refusing to read '" + name + "': no network access");
            }
            path = unescape(utf8(url.getPath()));
        } else if (name[0] == '/') {
            path = name;
        } else {
            std::string base = utf8(resource->getBaseURI());
            XMLURL base_url;
            if (XMLURL::parse(resource->getBaseURI(), base_url) && base_url.getProtocol() == XMLURL::File) {
                base = unescape(utf8(base_url.getPath()));
            }
            path = folder_of(absolute(base)) + "/" + name;
        }
        const std::string real = real_path(path);
        if (real.empty()) {
            refuse("cannot read '" + path + "': " + std::strerror(errno));
        }
        bool allowed = false;
        for (const std::string& folder : fFolders) {
            if (real.compare(0, folder.size(), folder) == 0 &&
                (folder == "/" || real.size() == folder.size() || real[folder.size()] == '/')) {
                allowed = true;
            }
        }
        if (!allowed) {
            refuse("refusing to read '" + path + "': outside the folders of the document and the grammar");
        }
        struct stat st;
        if (stat(real.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
            refuse("cannot read '" + path + "': not a regular file");
        }
        // The checked file itself, not the name that led to it, which a
        // symbolic link changed meanwhile could point elsewhere.
        return new LocalFileInputSource(from_utf8(real).c_str());
    }

private:
    [[noreturn]] void refuse(const std::string& reason)
    {
        fReports.refusal = reason;
        // An XMLException from here ends the parse as a fatal error.
        throw RuntimeException(__FILE__, __LINE__, XMLExcepts::Gen_CouldNotOpenExtEntity,
                               from_utf8(reason).c_str());
    }

    collector& fReports;
    std::vector<std::string> fFolders;
};

struct validate_args {
    std::string file;
    std::string grammar; // empty: the document's own
    Grammar::GrammarType type = Grammar::DTDGrammarType;
};

validate_args parse_validate_args(int argc, char** argv, bool& help)
{
    validate_args args;
    std::vector<std::string> operands;
    bool options_done = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (options_done || arg.size() < 2 || arg[0] != '-') {
            operands.push_back(arg);
        } else if (arg == "--") {
            options_done = true;
        } else if (arg == "-h" || arg == "--help") {
            help = true;
            return args;
        } else if (arg == "--dtd" || arg == "--xsd") {
            if (!args.grammar.empty()) {
                throw usage("only one of --dtd and --xsd, once");
            }
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                throw usage(arg + " needs a file");
            }
            args.grammar = argv[++i];
            args.type = arg == "--dtd" ? Grammar::DTDGrammarType : Grammar::SchemaGrammarType;
        } else {
            throw usage("unknown option '" + arg + "'");
        }
    }
    if (operands.empty()) {
        throw usage("missing FILE");
    }
    if (operands.size() > 1) {
        throw usage("unexpected argument '" + operands[1] + "'");
    }
    args.file = operands[0];
    return args;
}

// Reads all of `fd`, or of the file `name` when `fd` is -1; closes it.
std::string read_file(const std::string& name, int fd)
{
    if (fd < 0) {
        fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    }
    if (fd < 0) {
        throw command_failure{exit_io, name + ": " + std::strerror(errno)};
    }
    try {
        std::string bytes = read_stream(fd, name);
        close(fd);
        return bytes;
    } catch (...) {
        close(fd);
        throw;
    }
}

// One line per report, naming the file as the user named it where that is
// the document or the grammar.
struct report_names {
    std::string document_id;
    std::string document_label;
    std::string grammar_id;
    std::string grammar_label;
    bool grammar_phase = false; // reports without a file are the grammar's
    // Text that --dtd inserted into the document: its line, column and length.
    XMLFileLoc inserted_line = 0;
    XMLFileLoc inserted_column = 0;
    XMLFileLoc inserted_length = 0;
};

std::string report_lines(const std::vector<report>& reports, const report_names& names)
{
    const std::string& document_id = names.document_id;
    const std::string& document_label = names.document_label;
    const std::string& grammar_id = names.grammar_id;
    const std::string& grammar_label = names.grammar_label;
    std::string lines;
    for (const report& r : reports) {
        std::string where = r.system_id;
        XMLFileLoc column = r.column;
        if (where.empty()) {
            where = names.grammar_phase ? grammar_label : document_label;
        } else if (where == document_id) {
            where = document_label;
            if (r.line == names.inserted_line && column >= names.inserted_column + names.inserted_length) {
                column -= names.inserted_length;
            }
        } else if (!grammar_id.empty() && where == grammar_id) {
            where = grammar_label;
        } else if (where.compare(0, 7, "file://") == 0) {
            where = unescape(where.substr(7));
        }
        lines += where + ":" + std::to_string(r.line) + ":" + std::to_string(column) + ": ";
        if (r.kind[0] == 'w') {
            lines += "warning: ";
        }
        lines += r.message + "\n";
    }
    return lines;
}


// Where --dtd puts its DTD into a document: text inserted into the prolog,
// on one line, so that only columns of that line move.
struct dtd_insertion {
    bool possible = false;
    bool swap_external = false;   // the document's own external DTD is replaced by the resolver
    std::size_t offset = 0;       // in bytes
    XMLFileLoc line = 1;
    XMLFileLoc column = 1;        // of the first inserted character
    std::string root;             // the root element's name, when there is no declaration
    bool after_doctype_name = false;
    unsigned width = 1;           // bytes per code unit: 1, or 2 for UTF-16
    bool big_endian = false;
};

// Finds the document type declaration or the root element's start tag in the
// prolog; the prolog holds only ASCII markup, so code units are enough.
dtd_insertion find_dtd_place(const std::string& bytes)
{
    dtd_insertion place;
    std::size_t at = 0;
    const auto byte = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() >= 2 && ((byte(0) == 0xFE && byte(1) == 0xFF) || (byte(0) == 0 && byte(1) == '<'))) {
        place.width = 2;
        place.big_endian = true;
        at = byte(0) == 0xFE ? 2 : 0;
    } else if (bytes.size() >= 2 && ((byte(0) == 0xFF && byte(1) == 0xFE) || (byte(0) == '<' && byte(1) == 0))) {
        place.width = 2;
        at = byte(0) == 0xFF ? 2 : 0;
    } else if (bytes.size() >= 3 && byte(0) == 0xEF && byte(1) == 0xBB && byte(2) == 0xBF) {
        at = 3;
    }
    const unsigned w = place.width;
    const auto unit = [&](std::size_t i) -> unsigned {
        if (i + w > bytes.size()) {
            return 0;
        }
        if (w == 1) {
            return byte(i);
        }
        return place.big_endian ? (byte(i) << 8 | byte(i + 1)) : (byte(i + 1) << 8 | byte(i));
    };
    const auto starts = [&](std::size_t i, const char* text) {
        for (; *text != 0; ++text, i += w) {
            if (unit(i) != static_cast<unsigned char>(*text)) {
                return false;
            }
        }
        return true;
    };
    const auto step = [&](std::size_t& i) {
        const unsigned u = unit(i);
        if (u == '\n') {
            ++place.line;
            place.column = 1;
        } else if (!(w == 1 && (u & 0xC0) == 0x80)) {
            ++place.column; // a UTF-8 continuation byte is no character of its own
        }
        i += w;
    };
    const auto skip_to = [&](std::size_t& i, const char* end) {
        while (i < bytes.size() && !starts(i, end)) {
            step(i);
        }
        for (const char* e = end; *e != 0 && i < bytes.size(); ++e) {
            step(i);
        }
    };
    const auto is_space = [](unsigned u) { return u == ' ' || u == '\t' || u == '\n' || u == '\r'; };
    const auto name_end = [&](std::size_t i) {
        while (i < bytes.size() && unit(i) != 0 && !is_space(unit(i)) && unit(i) != '/' && unit(i) != '>' &&
               unit(i) != '[') {
            i += w;
        }
        return i;
    };
    while (at < bytes.size()) {
        const unsigned u = unit(at);
        if (is_space(u)) {
            step(at);
        } else if (starts(at, "<?")) {
            skip_to(at, "?>");
        } else if (starts(at, "<!--")) {
            skip_to(at, "-->");
        } else if (starts(at, "<!DOCTYPE")) {
            for (int i = 0; i < 9; ++i) {
                step(at);
            }
            while (at < bytes.size() && is_space(unit(at))) {
                step(at);
            }
            const std::size_t end = name_end(at);
            while (at < end) {
                step(at);
            }
            std::size_t next = at;
            while (next < bytes.size() && is_space(unit(next))) {
                next += w;
            }
            place.possible = true;
            if (starts(next, "SYSTEM") || starts(next, "PUBLIC")) {
                place.swap_external = true;
            } else {
                place.after_doctype_name = true;
                place.offset = at;
            }
            return place;
        } else if (u == '<') {
            place.possible = true;
            place.offset = at;
            if (w == 1) {
                place.root = bytes.substr(at + 1, name_end(at + 1) - at - 1);
            } else {
                std::basic_string<XMLCh> name;
                for (std::size_t i = at + w; i < name_end(at + w); i += w) {
                    name += static_cast<XMLCh>(unit(i));
                }
                place.root = utf8(name.c_str());
            }
            return place;
        } else {
            return place; // not well-formed: the parser says why
        }
    }
    return place;
}

// The text to insert, in the document's code units; `length` gets its
// length in characters.
std::string dtd_text(const dtd_insertion& place, const std::string& dtd_path, XMLFileLoc& length)
{
    const char quote = dtd_path.find('"') == std::string::npos ? '"' : '\'';
    std::string text = place.after_doctype_name ? std::string(" SYSTEM ") + quote + dtd_path + quote
                                                : "<!DOCTYPE " + place.root + " SYSTEM " + quote + dtd_path + quote + ">";
    const std::basic_string<XMLCh> chars = from_utf8(text);
    length = chars.size();
    if (place.width == 1) {
        return text; // an ASCII-compatible encoding; the path is taken as UTF-8
    }
    std::string units;
    for (XMLCh c : chars) {
        const char high = static_cast<char>(c >> 8);
        const char low = static_cast<char>(c & 0xFF);
        units += place.big_endian ? std::string{high, low} : std::string{low, high};
    }
    return units;
}

} // namespace

int run_validate_command(int argc, char** argv)
{
    bool help = false;
    const validate_args args = parse_validate_args(argc, argv, help);
    if (help) {
        write_out(validate_help);
        return exit_done;
    }
    const bool from_stdin = args.file == "-";
    const bool dtd = !args.grammar.empty() && args.type == Grammar::DTDGrammarType;
    const bool schema = !args.grammar.empty() && args.type == Grammar::SchemaGrammarType;
    std::string bytes;
    bool in_memory = true;
    if (from_stdin) {
        bytes = read_stream(STDIN_FILENO, "standard input");
    } else {
        int fd = -1;
        const bool regular = open_readable(args.file, true, fd);
        in_memory = dtd || !regular;
        if (in_memory) {
            bytes = read_file(args.file, fd);
        }
    }
    int grammar_fd = -1;
    if (!args.grammar.empty() && !open_readable(args.grammar, false, grammar_fd)) {
        // Its folder, and its own relative references, need a file.
        throw command_failure{exit_io, args.grammar + ": not a regular file"};
    }

    XMLPlatformUtils::Initialize();
    report_names names;
    names.document_id = from_stdin ? current_folder() + "/-" : absolute(args.file);
    names.document_label = args.file;
    // As the resolver names the files it opens: by their real paths.
    names.grammar_id = args.grammar.empty() ? std::string() : real_path(absolute(args.grammar));
    names.grammar_label = args.grammar;
    std::vector<std::string> folders{real_path(folder_of(names.document_id))};
    if (!args.grammar.empty()) {
        folders.push_back(real_path(folder_of(names.grammar_id)));
    }

    collector handler;
    folder_resolver resolver(handler, folders);
    SecurityManager security;
    security.setEntityExpansionLimit(entity_expansions);
    // The implementation itself: only it takes an XMLEntityResolver.
    auto reader = std::make_unique<SAX2XMLReaderImpl>();
    reader->setContentHandler(&handler);
    reader->setErrorHandler(&handler);
    reader->setLexicalHandler(&handler);
    reader->setXMLEntityResolver(&resolver);
    reader->setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
    reader->setProperty(XMLUni::fgXercesSecurityManager, &security);
    reader->setFeature(XMLUni::fgSAX2CoreNameSpaces, true);
    reader->setFeature(XMLUni::fgSAX2CoreValidation, true);
    // Validates when the document names a grammar, else checks
    // well-formedness only; with a grammar given, always.
    reader->setFeature(XMLUni::fgXercesDynamic, args.grammar.empty());
    reader->setFeature(XMLUni::fgXercesSchema, !dtd);
    reader->setFeature(XMLUni::fgXercesSchemaFullChecking, !dtd);
    const std::string& label = args.file;
    try {
        if (schema) {
            // Read first, so that an error in the schema is told as such.
            // (A DTD is read with the document: loading one as a grammar
            // loses a declaration in Xerces-C 3.2.4.)
            names.grammar_phase = true;
            const Grammar* grammar = reader->loadGrammar(names.grammar_id.c_str(), args.type, true);
            if (grammar == nullptr || handler.any_error()) {
                write_out(report_lines(handler.reports, names));
                throw command_failure{exit_io, args.grammar + ": not a usable XML Schema"};
            }
            handler.reports.clear();
            names.grammar_phase = false;
            // The given schema only, none that the document names.
            reader->setFeature(XMLUni::fgXercesLoadSchema, false);
            reader->setFeature(XMLUni::fgXercesUseCachedGrammarInParse, true);
            reader->setFeature(XMLUni::fgXercesSkipDTDValidation, true);
        }
        if (dtd) {
            // A DTD is not taken from a cache for a document without a
            // declaration, so the document gets one, or its own external DTD
            // is replaced as it is read.
            const dtd_insertion place = find_dtd_place(bytes);
            if (place.swap_external) {
                handler.swap_to = names.grammar_id;
            } else if (place.possible) {
                XMLFileLoc length = 0;
                bytes.insert(place.offset, dtd_text(place, names.grammar_id, length));
                names.inserted_line = place.line;
                names.inserted_column = place.column;
                names.inserted_length = length;
            }
        }
        if (in_memory) {
            const std::basic_string<XMLCh> id = from_utf8(names.document_id);
            MemBufInputSource source(reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(), id.c_str());
            reader->parse(source);
        } else {
            reader->parse(names.document_id.c_str());
        }
    } catch (const OutOfMemoryException&) {
        throw command_failure{exit_io, label + ": out of memory"};
    } catch (const XMLException& e) {
        throw command_failure{exit_io, label + ": " + utf8(e.getMessage())};
    } catch (const SAXException& e) {
        throw command_failure{exit_io, label + ": " + utf8(e.getMessage())};
    }

    write_out(report_lines(handler.reports, names));
    if (dtd) {
        for (const report& r : handler.reports) {
            if (r.kind[0] != 'w' && r.system_id == names.grammar_id) {
                throw command_failure{exit_io, args.grammar + ": not a usable DTD"};
            }
        }
    }
    if (handler.any_error()) {
        return exit_negative;
    }
    if (args.grammar.empty() && !handler.has_doctype && !handler.names_schema) {
        throw command_failure{exit_bad_usage, label + ": well-formed, but names no DTD or XML Schema to validate "
                                                      "against (give --dtd or --xsd)"};
    }
    return exit_done;
}

} // namespace xmlutil_cli
