// SPDX-License-Identifier: Apache-2.0
// What a parse may use and read: its memory is bounded by the bytes it has
// read, whatever the input is; a document reads DTDs and entities only from
// regular files in its own folder tree or an allowed folder; and a file and a
// buffer with the same bytes get the same answer.
#include "child_process.h"
#include "xerces_leaks.h"

#include <xercesc/util/RuntimeException.hpp>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace {

// ---- Helpers ----------------------------------------------------------------------------

// 103 KB of input, 200 MB of text once expanded.
std::string amplification()
{
    return "<!DOCTYPE r [<!ENTITY e \"" + std::string(100000, 'x') + "\">]><r>" + repeat("&e;", 1000) + "</r>";
}

const std::string kOutOfMemory = "An error occured during parsing\n   Message: out of memory: the document needs more "
                                 "than the 89 MiB its parse may use";

std::string fatal(const std::string& where, int line, int column, const std::string& message)
{
    return "Fatal Error at (file " + where + ", line " + std::to_string(line) + ", char " + std::to_string(column) +
           "): " + message + "\n";
}

void write_all(int fd, const std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t n = write(fd, text.data() + at, text.size() - at);
        if (n <= 0)
            return; // the reader stopped early
        at += static_cast<std::size_t>(n);
    }
}

// Writes `text` into the FIFO at `path` once a reader opens it, from a thread
// of its own; gives up after a few seconds without a reader.
class FifoWriter {
public:
    FifoWriter(const std::string& path, std::string text)
        : fThread([path, text = std::move(text)] {
              int fd = -1;
              for (int tries = 0; tries < 5000 && fd < 0; ++tries) {
                  fd = open(path.c_str(), O_WRONLY | O_NONBLOCK);
                  if (fd < 0)
                      usleep(1000);
              }
              if (fd < 0)
                  return;
              fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
              write_all(fd, text);
              close(fd);
          })
    {
    }
    ~FifoWriter() { fThread.join(); }
    FifoWriter(const FifoWriter&) = delete;
    FifoWriter& operator=(const FifoWriter&) = delete;

private:
    std::thread fThread;
};

// ---- Every parse is bounded ---------------------------------------------------------

TEST(parse_bounds, amplification_read_from_a_fifo_hits_the_memory_cap)
{
    const TempDir dir;
    const std::string fifo = (dir / "doc.xml").string();
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    const ChildResult child = in_child([&] {
        const FifoWriter writer(fifo, amplification());
        return outcome([&] { ParseFile(fifo, false); });
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ(kOutOfMemory, child.report);
    EXPECT_LT(child.peakKiB, kPeakLimitKiB);
}

TEST(parse_bounds, amplification_read_from_dev_stdin_hits_the_memory_cap)
{
    const ChildResult child = in_child([&] {
        int fds[2];
        if (pipe(fds) != 0 || dup2(fds[0], 0) < 0)
            return std::string("no pipe");
        close(fds[0]);
        std::thread writer([&] {
            write_all(fds[1], amplification());
            close(fds[1]);
        });
        const std::string result = outcome([&] { ParseFile("/dev/stdin", false); });
        close(0); // a writer still blocked gets EPIPE
        writer.join();
        return result;
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ(kOutOfMemory, child.report);
    EXPECT_LT(child.peakKiB, kPeakLimitKiB);
}

// A file of 100 GB whose first bytes are `start`, the rest a hole.
std::string sparse_file(const TempDir& dir, const std::string& start)
{
    const std::string path = dir.write("sparse.xml", start);
    if (truncate(path.c_str(), 100LL << 30) != 0)
        return "";
    return path;
}

TEST(parse_bounds, the_size_of_a_sparse_file_earns_no_memory)
{
    const TempDir dir;
    const std::string path = sparse_file(dir, amplification());
    if (path.empty())
        GTEST_SKIP() << "no sparse files here";
    const ChildResult child = in_child([&] { return outcome([&] { ParseFile(path, false); }); });
    ASSERT_TRUE(child.exited) << child.report;
    // The parser reads a block of the hole ahead, which counts as read.
    EXPECT_EQ("An error occured during parsing\n   Message: out of memory: the document needs more than the 100 MiB "
              "its parse may use",
              child.report);
    EXPECT_LT(child.peakKiB, kPeakLimitKiB);
}

TEST(parse_bounds, a_small_document_at_the_start_of_a_sparse_file_parses_in_small_memory)
{
    const TempDir dir;
    const std::string path = sparse_file(dir, "<r><a>1</a></r>");
    if (path.empty())
        GTEST_SKIP() << "no sparse files here";
    const ChildResult child = in_child([&] {
        // The classic parser stops at the first zero byte, as Xerces-C does.
        DOMParser parser;
        XMLUtilError handler;
        parser.setErrorHandler(&handler);
        std::string result = outcome([&] { parser.parse(path.c_str()); });
        if (result == "parsed") {
            std::string text;
            ReadNodeData(parser.getDocument().getDocumentElement(), "a", text, "");
            result += " a=" + text;
        }
        // The library's functions reject the zero byte.
        return result + "|" + outcome([&] { ParseFile(path, false); });
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ("parsed a=1|" + fatal(path, 1, 17, "invalid character 0x0"), child.report);
    EXPECT_LT(child.peakKiB, 64L * 1024);
}

TEST(parse_bounds, classic_parser_reports_an_amplification_in_memory_as_xml_exception)
{
    const ChildResult child = in_child([&] {
        const std::string xml = amplification();
        DOMParser parser;
        XMLUtilError handler;
        parser.setErrorHandler(&handler);
        const MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "amplified");
        try {
            parser.parse(source);
            return std::string("parsed");
        } catch (const XMLException& e) {
            char* message = XMLString::transcode(e.getMessage());
            const std::string result = "XMLException " + std::to_string(e.getCode()) + " " + message;
            XMLString::release(&message);
            return result;
        }
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ("XMLException " + std::to_string(xercesc::XMLExcepts::Out_Of_Memory) + " out of memory",
              child.report);
    EXPECT_LT(child.peakKiB, kPeakLimitKiB);
}

TEST(parse_bounds, classic_parser_reports_an_amplification_in_a_file_as_xml_exception)
{
    const TempDir dir;
    const std::string path = dir.write("amplified.xml", amplification());
    DOMParser parser;
    XMLUtilError handler;
    parser.setErrorHandler(&handler);
    bool caught = false;
    try {
        parser.parse(path.c_str());
    } catch (const XMLException& e) {
        caught = e.getCode() == xercesc::XMLExcepts::Out_Of_Memory;
    }
    EXPECT_TRUE(caught);
    // The parser parses on.
    const std::string small = "<r/>";
    const MemBufInputSource source(reinterpret_cast<const XMLByte*>(small.data()), small.size(), "small");
    parser.parse(source);
    EXPECT_EQ("r", str(parser.getDocument().getDocumentElement().getNodeName()));
}

TEST(parse_bounds, a_document_outlives_its_parser_and_is_not_bound_by_its_later_parses)
{
    DOM_Document first;
    {
        DOMParser parser;
        const std::string xml = "<r/>";
        const MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "first");
        parser.parse(source);
        first = parser.getDocument();
        // Reused: the first document is not the parser's any more.
        parser.parse(source);
        EXPECT_NE(first, parser.getDocument());
        // More than a parse of four bytes may use, added between parses.
        first.getDocumentElement().appendChild(first.createTextNode(DOMString(std::string(40u << 20, 'x').c_str())));
    }
    // And after the parser is gone.
    first.getDocumentElement().appendChild(first.createElement("after"));
    const DOM_Node copy = first.cloneNode(true);
    EXPECT_EQ(static_cast<unsigned int>(40u << 20), copy.getFirstChild().getFirstChild().getNodeValue().length());
}

// ---- A document reads only what it may ------------------------------------------------

// A document folder "doc" with a file and a subfolder of its own, and a
// folder "outside" next to it.
class Folders {
public:
    Folders()
    {
        fs::create_directories(fDir / "doc" / "sub");
        fs::create_directories(fDir / "outside");
        fDir.write("doc/inside.txt", "inside");
        fDir.write("doc/sub/deeper.txt", "deeper");
        fDir.write("outside/secret.txt", "secret");
    }
    std::string doc() const { return (fDir / "doc").string(); }
    std::string outside() const { return (fDir / "outside").string(); }
    std::string root() const { return fDir.path().string(); }
    // Writes the document "doc/name" with an entity x naming `systemId` and
    // a root holding a reference to it.
    std::string entity_document(const std::string& systemId, const std::string& name = "doc.xml") const
    {
        return fDir.write("doc/" + name, entity_xml(systemId));
    }
    static std::string entity_xml(const std::string& systemId)
    {
        return "<!DOCTYPE c [<!ENTITY x SYSTEM \"" + systemId + "\">]><c>&x;</c>";
    }

private:
    TempDir fDir;
};

// Where the parser reports a refused entity of entity_xml(systemId): at the
// reference, just past it.
int reference_column(const std::string& systemId)
{
    return static_cast<int>(Folders::entity_xml(systemId).size()) - 3;
}

std::string refused(const std::string& where, const std::string& systemId, const std::string& path,
                    const std::string& why)
{
    return fatal(where, 1, reference_column(systemId), "refused to read '" + path + "': " + why);
}

const std::string kOutside = "outside the folders this document may read";
const std::string kNotRegular = "not a regular file";

std::string text_of(const DOM_Document& doc)
{
    std::string out;
    for (DOM_Node n = doc.getDocumentElement().getFirstChild(); !n.isNull(); n = n.getNextSibling())
        for (DOM_Node t = n.getNodeType() == DOM_Node::TEXT_NODE ? n : n.getFirstChild(); !t.isNull();
             t = t.getNextSibling())
            out += str(t.getNodeValue());
    return out;
}

TEST(parse_policy, entities_inside_the_document_folder_are_read)
{
    const Folders folders;
    const std::string relative = folders.entity_document("inside.txt");
    EXPECT_EQ("inside", text_of(ParseFile(relative, false)));
    const std::string deeper = folders.entity_document("sub/deeper.txt", "deeper.xml");
    EXPECT_EQ("deeper", text_of(ParseFile(deeper, false)));
    const std::string absolute = folders.entity_document(folders.doc() + "/inside.txt", "absolute.xml");
    EXPECT_EQ("inside", text_of(ParseFile(absolute, false)));
    const std::string url = folders.entity_document("file://" + folders.doc() + "/sub/deeper.txt", "url.xml");
    EXPECT_EQ("deeper", text_of(ParseFile(url, false)));
    // A link that stays inside the tree is fine.
    fs::create_symlink("sub/deeper.txt", folders.doc() + "/link.txt");
    const std::string link = folders.entity_document("link.txt", "link.xml");
    EXPECT_EQ("deeper", text_of(ParseFile(link, false)));
}

TEST(parse_policy, a_system_file_named_by_absolute_path_is_refused)
{
    // The text of /etc/passwd must not end up in a document.
    const std::string systemId = "/etc/passwd";
    const std::string xml = Folders::entity_xml(systemId);
    EXPECT_EQ(refused("XMLRead_ParseBufferID", systemId, systemId, kOutside),
              outcome([&] { parse_text(xml); }));
    const Folders folders;
    const std::string path = folders.entity_document(systemId);
    EXPECT_EQ(refused(path, systemId, systemId, kOutside), outcome([&] { ParseFile(path, false); }));
}

TEST(parse_policy, an_absolute_path_outside_the_tree_is_refused)
{
    const Folders folders;
    const std::string secret = folders.outside() + "/secret.txt";
    for (const std::string& systemId : {secret, "file://" + secret}) {
        const std::string path = folders.entity_document(systemId);
        EXPECT_EQ(refused(path, systemId, secret, kOutside), outcome([&] { ParseFile(path, false); }));
    }
}

TEST(parse_policy, dot_dot_out_of_the_tree_is_refused)
{
    const Folders folders;
    const std::string systemId = "../outside/secret.txt";
    const std::string path = folders.entity_document(systemId);
    EXPECT_EQ(refused(path, systemId, folders.outside() + "/secret.txt", kOutside),
              outcome([&] { ParseFile(path, false); }));
    // Down and up again, staying inside, is fine.
    const std::string inside = folders.entity_document("sub/../inside.txt", "inside.xml");
    EXPECT_EQ("inside", text_of(ParseFile(inside, false)));
}

TEST(parse_policy, a_symbolic_link_out_of_the_tree_is_refused)
{
    const Folders folders;
    fs::create_symlink(folders.outside() + "/secret.txt", folders.doc() + "/link.txt");
    fs::create_directory_symlink(folders.outside(), folders.doc() + "/linked");
    const std::string file = folders.entity_document("link.txt");
    EXPECT_EQ(refused(file, "link.txt", folders.doc() + "/link.txt", kOutside),
              outcome([&] { ParseFile(file, false); }));
    const std::string folder = folders.entity_document("linked/secret.txt", "folder.xml");
    EXPECT_EQ(refused(folder, "linked/secret.txt", folders.doc() + "/linked/secret.txt", kOutside),
              outcome([&] { ParseFile(folder, false); }));
}

TEST(parse_policy, devices_are_refused_without_reading)
{
    const Folders folders;
    for (const std::string systemId : {"/dev/zero", "/dev/urandom"}) {
        const std::string path = folders.entity_document(systemId);
        EXPECT_EQ(refused(path, systemId, systemId, kOutside), outcome([&] { ParseFile(path, false); }));
    }
    // Even where devices were allowed.
    const ChildResult child = in_child([&] {
        AllowEntityFolder("/dev");
        const std::string path = folders.entity_document("/dev/zero", "zero.xml");
        return outcome([&] { ParseFile(path, false); });
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ(refused(folders.doc() + "/zero.xml", "/dev/zero", "/dev/zero", kNotRegular), child.report);
}

TEST(parse_policy, a_fifo_inside_the_tree_is_refused_without_opening_it)
{
    const Folders folders;
    const std::string fifo = folders.doc() + "/fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    const std::string path = folders.entity_document("fifo");
    const ChildResult child = in_child([&] { return outcome([&] { ParseFile(path, false); }); });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ(refused(path, "fifo", fifo, kNotRegular), child.report);
}

TEST(parse_policy, a_socket_inside_the_tree_is_refused)
{
    const Folders folders;
    const std::string socketPath = folders.doc() + "/socket";
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(socketPath.size(), sizeof address.sun_path);
    std::strcpy(address.sun_path, socketPath.c_str());
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address));
    listen(fd, 1);
    const std::string path = folders.entity_document("socket");
    EXPECT_EQ(refused(path, "socket", socketPath, kNotRegular), outcome([&] { ParseFile(path, false); }));
    close(fd);
}

TEST(parse_policy, kernel_files_are_refused_even_when_allowed)
{
    const Folders folders;
    const std::string systemId = "/proc/self/environ";
    const std::string path = folders.entity_document(systemId);
    EXPECT_EQ(refused(path, systemId, systemId, kOutside), outcome([&] { ParseFile(path, false); }));
    // A link in the tree does not make it any better.
    fs::create_symlink(systemId, folders.doc() + "/environ");
    const std::string link = folders.entity_document("environ", "link.xml");
    EXPECT_EQ(refused(link, "environ", folders.doc() + "/environ", kOutside), outcome([&] { ParseFile(link, false); }));
    const ChildResult child = in_child([&] {
        AllowEntityFolder("/proc");
        return outcome([&] { ParseFile(path, false); });
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ(refused(path, systemId, systemId, kNotRegular), child.report);
}

TEST(parse_policy, an_allowed_folder_is_read)
{
    const Folders folders;
    const std::string secret = folders.outside() + "/secret.txt";
    const std::string path = folders.entity_document(secret);
    const std::string relative = folders.entity_document("../outside/secret.txt", "relative.xml");
    const ChildResult child = in_child([&] {
        std::string result = outcome([&] { ParseFile(path, false); }) + "|";
        // A relative name is taken against the working directory.
        const CurrentDir here(folders.root());
        AllowEntityFolder("outside");
        result += text_of(ParseFile(path, false)) + "|" + text_of(ParseFile(relative, false));
        return result;
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ(refused(path, secret, secret, kOutside) + "|secret|secret", child.report);
}

TEST(parse_policy, allowing_folders_from_several_threads_at_once_is_safe)
{
    const Folders folders;
    const ChildResult child = in_child([&] {
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < 50; ++i) {
                    AllowEntityFolder(folders.root() + "/nothing-" + std::to_string(t) + "-" + std::to_string(i));
                    parse_text("<r/>");
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        AllowEntityFolder(folders.outside());
        return text_of(ParseFile(folders.entity_document(folders.outside() + "/secret.txt"), false));
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ("secret", child.report);
}

TEST(parse_policy, a_buffer_reads_from_the_working_directory_tree)
{
    const Folders folders;
    const std::string xml = Folders::entity_xml("inside.txt");
    const std::string outsideXml = Folders::entity_xml("../outside/secret.txt");
    const CurrentDir here(folders.doc());
    EXPECT_EQ("inside", text_of(parse_text(xml)));
    EXPECT_EQ(refused("XMLRead_ParseBufferID", "../outside/secret.txt", folders.outside() + "/secret.txt", kOutside),
              outcome([&] { parse_text(outsideXml); }));
}

TEST(parse_policy, a_document_from_a_pipe_reads_from_the_working_directory_tree)
{
    const Folders folders;
    const std::string fifo = folders.outside() + "/doc.xml";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    const ChildResult child = in_child([&] {
        const CurrentDir here(folders.doc());
        std::string result;
        {
            const FifoWriter writer(fifo, Folders::entity_xml(folders.doc() + "/inside.txt"));
            result = text_of(ParseFile(fifo, false));
        }
        // Not from the pipe's own folder: names still resolve against it.
        const FifoWriter writer(fifo, Folders::entity_xml("secret.txt"));
        return result + "|" + outcome([&] { ParseFile(fifo, false); });
    });
    ASSERT_TRUE(child.exited) << child.report;
    EXPECT_EQ("inside|" + refused(fifo, "secret.txt", folders.outside() + "/secret.txt", kOutside), child.report);
}

TEST(parse_policy, a_relative_dtd_in_the_tree_still_validates)
{
    const Folders folders;
    const std::string doc = folders.doc();
    fs::create_directories(doc + "/dtd");
    std::ofstream(doc + "/dtd/r.dtd") << "<!ELEMENT r (a)>\n<!ELEMENT a (#PCDATA)>\n<!ATTLIST r v CDATA \"from-dtd\">\n";
    std::ofstream(doc + "/valid.xml") << "<!DOCTYPE r SYSTEM \"dtd/r.dtd\"><r><a>1</a></r>";
    std::ofstream(doc + "/invalid.xml") << "<!DOCTYPE r SYSTEM \"dtd/r.dtd\"><r><b/></r>";
    const DOM_Document valid = ParseFile(doc + "/valid.xml", true);
    EXPECT_EQ("from-dtd", str(valid.getDocumentElement().getAttribute("v")));
    EXPECT_EQ("Error at (file " + doc + "/invalid.xml, line 1, char 37): no declaration found for element 'b'\n",
              outcome([&] { ParseFile(doc + "/invalid.xml", true); }));
}

// An XHTML page as it is usually written: its DTD named by URL.
const std::string kXhtmlDoctype = "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\" "
                                  "\"http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd\">";
const std::string kXhtmlStart = kXhtmlDoctype + "<html xmlns=\"http://www.w3.org/1999/xhtml\"><head><title>t</title></head>";
// The parser reports a DTD it cannot read just past the document type.
const int kXhtmlDtdColumn = static_cast<int>(kXhtmlDoctype.size()) + 1;

TEST(parse_policy, xhtml_naming_its_dtd_by_url_parses_without_validation)
{
    const std::string xml = kXhtmlStart + "<body><p>text</p></body></html>";
    const DOM_Document doc = parse_text(xml);
    EXPECT_EQ("html", str(doc.getDocumentElement().getNodeName()));
    EXPECT_EQ("html", str(doc.getDoctype().getName()));
}

TEST(parse_policy, xhtml_naming_its_dtd_by_url_fails_with_validation)
{
    const std::string xml = kXhtmlStart + "<body><p>text</p></body></html>";
    EXPECT_EQ(fatal("XMLRead_ParseBufferID", 1, kXhtmlDtdColumn,
                    "URL protocol 'http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd' is unsupported"),
              outcome([&] { parse_text(xml, true); }));
}

TEST(parse_policy, an_entity_only_a_skipped_dtd_declares_still_fails)
{
    const std::string xml = kXhtmlStart + "<body><p>a&nbsp;b</p></body></html>";
    const int column = static_cast<int>(kXhtmlStart.size() + std::string("<body><p>a&nbsp;").size()) + 1;
    EXPECT_EQ(fatal("XMLRead_ParseBufferID", 1, column, "entity 'nbsp' not found"), outcome([&] { parse_text(xml); }));
    // Entities of the internal subset still count.
    const std::string internal = "<!DOCTYPE r SYSTEM \"http://example.invalid/r.dtd\" [<!ENTITY e \"E\">]><r>&e;</r>";
    EXPECT_EQ("E", str(parse_text(internal).getDocumentElement().getFirstChild().getFirstChild().getNodeValue()));
}

TEST(parse_policy, a_dtd_that_is_missing_or_refused_is_left_out_without_validation_only)
{
    const Folders folders;
    struct Row {
        std::string systemId;
        std::string withValidation;
    };
    const std::string missing = folders.doc() + "/missing.dtd";
    const std::string secret = folders.outside() + "/secret.txt";
    const Row rows[] = {
        {"missing.dtd", "unable to open DTD document '" + missing + "'"},
        {"../outside/secret.txt", "refused to read '" + secret + "': " + kOutside},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.systemId);
        const std::string xml = "<!DOCTYPE r SYSTEM \"" + row.systemId + "\"><r/>";
        const std::string path = folders.doc() + "/doc.xml";
        std::ofstream(path) << xml;
        EXPECT_EQ("parsed", outcome([&] { ParseFile(path, false); }));
        EXPECT_EQ(fatal(path, 1, static_cast<int>(xml.size()) - 3, row.withValidation),
                  outcome([&] { ParseFile(path, true); }));
    }
}

TEST(parse_policy, a_parameter_entity_that_may_not_be_read_is_an_error_without_validation_too)
{
    const Folders folders;
    const std::string secret = folders.outside() + "/secret.txt";
    const std::string xml = "<!DOCTYPE r [<!ENTITY % p SYSTEM \"" + secret + "\"> %p;]><r/>";
    EXPECT_EQ(fatal("XMLRead_ParseBufferID", 1, static_cast<int>(xml.size()) - 5,
                    "refused to read '" + secret + "': " + kOutside),
              outcome([&] { parse_text(xml); }));
}

// ---- Files and buffers agree ----------------------------------------------------------

TEST(parse_agreement, a_zero_byte_and_garbage_after_the_root_fail_in_a_file_as_in_a_buffer)
{
    const auto utf16le = [](const std::string& ascii) {
        std::string out = "\xFF\xFE";
        for (const char c : ascii) {
            out += c;
            out += '\0';
        }
        return out;
    };
    const std::string rows[] = {
        "<r><a>1</a></r>\0garbage"s,
        "<r><a>1</a></r>\0"s,
        "<r/>\0<x/>"s,
        "<r/>\n\0\0\0"s,
        "<r/>\r\n<!-- c -->\0<!-- d -->"s,
        "\xEF\xBB\xBF<r/><!--\xC3\xA4-->\0junk"s,
        utf16le("<r/>\0junk"s),
    };
    const TempDir dir;
    const std::string path = dir.write("garbage.xml", "");
    for (const std::string& bytes : rows) {
        SCOPED_TRACE(::testing::PrintToString(bytes));
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        const std::string fromBuffer = outcome([&] { parse_text(bytes); });
        std::string fromFile = outcome([&] { ParseFile(path, false); });
        const std::size_t at = fromFile.find(path);
        ASSERT_NE(std::string::npos, at) << fromFile;
        fromFile.replace(at, path.size(), "XMLRead_ParseBufferID");
        EXPECT_EQ(fromBuffer, fromFile);
        EXPECT_NE(std::string::npos, fromFile.find("invalid character 0x0")) << fromFile;
    }
}

TEST(parse_agreement, the_same_document_without_garbage_parses_from_both)
{
    const std::string bytes = "<r><a>1</a></r>\n";
    const TempDir dir;
    const std::string path = dir.write("clean.xml", bytes);
    EXPECT_EQ("parsed", outcome([&] { parse_text(bytes); }));
    EXPECT_EQ("parsed", outcome([&] { ParseFile(path, false); }));
}

} // namespace
