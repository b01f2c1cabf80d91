// SPDX-License-Identifier: Apache-2.0
// Documents written carelessly or with hostile intent: expansion bombs,
// references to the network, extreme depth, broken bytes and invalid names.
// Each ends in a clear exception or parses; none crashes, hangs, exhausts
// memory or makes a connection.
#include "child_process.h"
#include "xerces_leaks.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

namespace fs = std::filesystem;

namespace {

// ---- Helpers -------------------------------------------------------------------------

std::string parse_outcome(const std::string& xml)
{
    return outcome([&] { parse_text(xml); });
}

// Runs `parse` in a child process: it must end in `message` without the
// child's resident memory reaching the limit.
void expect_fails_in_bounded_memory(const std::function<void()>& parse, const std::string& message)
{
    const ChildResult child = in_child([&] { return outcome(parse); });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(message, child.report);
    EXPECT_LT(child.peakKiB, kPeakLimitKiB);
}

// Ten levels of entities, each ten references to the one below: 10^9 "lol".
std::string billion_laughs()
{
    std::string xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n <!ENTITY lol \"lol\">\n";
    std::string previous = "lol";
    for (int level = 1; level <= 9; ++level) {
        const std::string name = "lol" + std::to_string(level);
        xml += " <!ENTITY " + name + " \"" + repeat("&" + previous + ";", 10) + "\">\n";
        previous = name;
    }
    return xml + "]>\n<lolz>&lol9;</lolz>\n";
}

// One entity of 100,000 characters referenced 1,000 times: 100 KB of input,
// 200 MB of text once expanded.
std::string quadratic_in_content()
{
    return "<!DOCTYPE r [<!ENTITY e \"" + std::string(100000, 'x') + "\">]><r>" + repeat("&e;", 1000) + "</r>";
}

std::string quadratic_in_attribute()
{
    return "<!DOCTYPE r [<!ENTITY e \"" + std::string(100000, 'x') + "\">]><r a=\"" + repeat("&e;", 1000) +
           "\"/>";
}

const char kOutOfMemory[] = "An error occured during parsing\n   Message: out of memory: the document needs more "
                            "than the 89 MiB its parse may use";

TEST(hostile_expansion, billion_laughs_stops_at_the_expansion_limit_in_bounded_memory)
{
    const std::string xml = billion_laughs();
    expect_fails_in_bounded_memory(
        [&] { parse_text(xml); },
        "Fatal Error at (file XMLRead_ParseBufferID, line 14, char 13): parser has encountered more than "
        "'100000' entity expansions in the document; this is the limit imposed by the application\n");
}

TEST(hostile_expansion, one_large_entity_referenced_often_hits_the_memory_cap)
{
    const std::string xml = quadratic_in_content();
    expect_fails_in_bounded_memory([&] { parse_text(xml); }, kOutOfMemory);
}

TEST(hostile_expansion, one_large_entity_referenced_often_in_an_attribute_hits_the_memory_cap)
{
    const std::string xml = quadratic_in_attribute();
    expect_fails_in_bounded_memory([&] { parse_text(xml); }, kOutOfMemory);
}

TEST(hostile_expansion, the_memory_cap_grows_with_the_bytes_read)
{
    // 200 MB of expanded text: too much for 100 KB of input, within budget
    // once 4 MB have been read. What is still to come does not count.
    const std::string bomb = quadratic_in_content();
    const std::string padding = "<!--" + std::string(4u << 20, 'c') + "-->";
    const ChildResult child = in_child([&] {
        return parse_outcome(bomb) + "|" + parse_outcome(padding + bomb) + "|" + parse_outcome(bomb + padding);
    });
    ASSERT_TRUE(child.exited);
    // The last cap is a little larger: the parser reads a block ahead.
    const std::string outOfMemory = "An error occured during parsing\n   Message: out of memory: ";
    EXPECT_EQ(std::string(kOutOfMemory) + "|parsed|" + outOfMemory,
              child.report.substr(0, std::string(kOutOfMemory).size() + 8 + outOfMemory.size()));
}

TEST(hostile_expansion, the_cap_holds_for_the_parse_only)
{
    // Edits after the parse are not bound by the cap of the input's size.
    const std::string xml = "<r/>";
    DOM_Document doc = parse_text(xml);
    DOM_Element root = doc.getDocumentElement();
    const std::string big(8u << 20, 'y');
    for (int i = 0; i < 12; ++i) {
        DOM_Node parent = root;
        SaveNodeData("c", big, parent, doc);
    }
    EXPECT_EQ(12u, root.getChildNodes().getLength());
}

TEST(hostile_expansion, the_memory_cap_applies_to_files_too)
{
    const TempDir dir;
    const std::string path = dir.write("quad.xml", quadratic_in_content());
    expect_fails_in_bounded_memory([&] { ParseFile(path, false); }, kOutOfMemory);
}

TEST(hostile_expansion, two_million_predefined_entity_references_parse)
{
    const std::string xml = "<r>" + repeat("&amp;", 2000000) + "</r>";
    cXML_Utility facade(0);
    ASSERT_TRUE(facade.Parse(xml.data(), static_cast<unsigned int>(xml.size())));
    std::string text;
    ASSERT_TRUE(facade.ReadNodeData(text, ""));
    EXPECT_EQ(std::string(2000000, '&'), text);
}

TEST(hostile_expansion, two_million_character_references_parse)
{
    const std::string xml = "<r a=\"" + repeat("&#228;", 1000) + "\">" + repeat("&#228;", 2000000) + "</r>";
    cXML_Utility facade(0);
    ASSERT_TRUE(facade.Parse(xml.data(), static_cast<unsigned int>(xml.size())));
    std::string text;
    ASSERT_TRUE(facade.ReadNodeData(text, ""));
    EXPECT_EQ(std::string(2000000, '\xE4'), text);
    std::string attribute;
    ASSERT_TRUE(facade.ReadNodeAttribute("a", attribute, ""));
    EXPECT_EQ(std::string(1000, '\xE4'), attribute);
}

TEST(hostile_expansion, user_entities_up_to_the_limit_parse)
{
    const std::string xml = "<!DOCTYPE r [<!ENTITY e \"x\">]><r>" + repeat("&e;", 100000) + "</r>";
    EXPECT_EQ("parsed", parse_outcome(xml));
    const std::string over = "<!DOCTYPE r [<!ENTITY e \"x\">]><r>" + repeat("&e;", 100001) + "</r>";
    EXPECT_EQ("Fatal Error at (file XMLRead_ParseBufferID, line 1, char 300037): parser has encountered more than "
              "'100000' entity expansions in the document; this is the limit imposed by the application\n",
              parse_outcome(over));
}

// ---- No network -----------------------------------------------------------------------

// A TCP listener on 127.0.0.1 that counts the connections that arrive. It
// answers each with `body` as an XML document, or closes it at once when
// there is no body, so that a client that does connect fails fast.
class Listener {
public:
    explicit Listener(std::string body = "") : fBody(std::move(body))
    {
        fSocket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (fSocket < 0 || bind(fSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(fSocket, 16) != 0 || getsockname(fSocket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            throw std::runtime_error("cannot listen on 127.0.0.1");
        fPort = ntohs(address.sin_port);
        fServer = std::thread([this] { serve(); });
    }
    ~Listener()
    {
        fStop = true;
        fServer.join();
        close(fSocket);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::string authority() const { return "127.0.0.1:" + std::to_string(fPort); }

    // Connections that arrived so far.
    int connections()
    {
        usleep(50000); // time for the server to take up a connection just made
        return fAccepted;
    }

private:
    void serve()
    {
        while (!fStop) {
            const int client = accept(fSocket, nullptr, nullptr);
            if (client < 0) {
                usleep(5000);
                continue;
            }
            ++fAccepted;
            if (!fBody.empty())
                answer(client);
            close(client);
        }
    }

    void answer(int client)
    {
        fcntl(client, F_SETFL, fcntl(client, F_GETFL) & ~O_NONBLOCK);
        char chunk[4096];
        std::string request;
        for (ssize_t n; request.find("\r\n\r\n") == std::string::npos &&
                        (n = read(client, chunk, sizeof chunk)) > 0;)
            request.append(chunk, static_cast<std::size_t>(n));
        const std::string reply = "HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\nContent-Length: " +
                                  std::to_string(fBody.size()) + "\r\n\r\n" + fBody;
        (void)!write(client, reply.data(), reply.size());
    }

    const std::string fBody;
    int fSocket = -1;
    int fPort = 0;
    std::atomic<int> fAccepted{0};
    std::atomic<bool> fStop{false};
    std::thread fServer;
};

std::string unsupported(const std::string& where, int line, int column, const std::string& url)
{
    return "Fatal Error at (file " + where + ", line " + std::to_string(line) + ", char " + std::to_string(column) +
           "): URL protocol '" + url + "' is unsupported\n";
}

TEST(hostile_network, urls_in_a_buffer_are_refused_without_a_connection)
{
    Listener listener;
    const std::string host = listener.authority();
    struct Case {
        std::string xml;
        std::string url;
        bool dtd; // the external DTD subset: left out without validation
    };
    const Case cases[] = {
        {"<!DOCTYPE r SYSTEM \"http://" + host + "/x.dtd\"><r/>", "http://" + host + "/x.dtd", true},
        {"<!DOCTYPE r SYSTEM \"HTTP://" + host + "/x.dtd\"><r/>", "HTTP://" + host + "/x.dtd", true},
        {"<!DOCTYPE r SYSTEM \"https://" + host + "/x.dtd\"><r/>", "https://" + host + "/x.dtd", true},
        {"<!DOCTYPE r SYSTEM \"ftp://" + host + "/x.dtd\"><r/>", "ftp://" + host + "/x.dtd", true},
        {"<!DOCTYPE r SYSTEM \"file://" + host + "/x.dtd\"><r/>", "file://" + host + "/x.dtd", true},
        {"<!DOCTYPE r PUBLIC \"-//X//DTD X//EN\" \"http://" + host + "/pub.dtd\"><r/>",
         "http://" + host + "/pub.dtd", true},
        {"<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY x SYSTEM \"http://" + host + "/ent.txt\">]><r>&x;</r>",
         "http://" + host + "/ent.txt", false},
        {"<!DOCTYPE r [<!ELEMENT r ANY><!ENTITY % p SYSTEM \"http://" + host + "/p.pe\"> %p;]><r/>",
         "http://" + host + "/p.pe", false},
    };
    for (const Case& c : cases) {
        for (const bool validate : {false, true}) {
            if (c.dtd && !validate) {
                EXPECT_EQ("parsed", parse_outcome(c.xml)) << c.xml;
                continue;
            }
            bool refused = false;
            try {
                parse_text(c.xml, validate);
            } catch (const cTextException& e) {
                const std::string message = e.what();
                refused = message.find("URL protocol '" + c.url + "' is unsupported") != std::string::npos;
                EXPECT_TRUE(refused) << message;
            }
            EXPECT_TRUE(refused) << c.xml;
        }
    }
    EXPECT_EQ(0, listener.connections());
}

TEST(hostile_network, exact_report_of_a_refused_dtd)
{
    Listener listener;
    const std::string url = "http://" + listener.authority() + "/x.dtd";
    const std::string xml = "<!DOCTYPE r SYSTEM \"" + url + "\"><r/>";
    EXPECT_THROW_MSG(parse_text(xml, true), cTextException,
                     unsupported("XMLRead_ParseBufferID", 1, static_cast<int>(xml.size()) - 3, url));
    EXPECT_EQ(0, listener.connections());
}

TEST(hostile_network, a_local_dtd_that_names_a_url_is_refused_at_the_reference)
{
    Listener listener;
    const TempDir dir;
    const std::string url = "http://" + listener.authority() + "/p.pe";
    dir.write("nested.dtd", "<!ELEMENT r EMPTY>\n<!ENTITY % p SYSTEM \"" + url + "\">\n%p;\n");
    const std::string path = dir.write("doc.xml", "<!DOCTYPE r SYSTEM \"nested.dtd\"><r/>");
    for (const bool validate : {false, true})
        EXPECT_THROW_MSG(ParseFile(path, validate), cTextException,
                         unsupported((dir / "nested.dtd").string(), 3, 4, url));
    EXPECT_EQ(0, listener.connections());
}

TEST(hostile_network, urls_in_a_file_are_refused_without_a_connection)
{
    Listener listener;
    const TempDir dir;
    const std::string url = "http://" + listener.authority() + "/x.dtd";
    const std::string xml = "<!DOCTYPE r SYSTEM \"" + url + "\"><r/>";
    const std::string path = dir.write("doc.xml", xml);
    EXPECT_THROW_MSG(ParseFile(path, true), cTextException,
                     unsupported(path, 1, static_cast<int>(xml.size()) - 3, url));
    // Without validation the DTD is left out.
    EXPECT_EQ("r", str(ParseFile(path, false).getDocumentElement().getNodeName()));
    cXML_Utility facade(0);
    EXPECT_TRUE(facade.Parse(path));
    EXPECT_EQ(0, listener.connections());
}

TEST(hostile_network, a_document_the_caller_names_by_url_is_fetched)
{
    // Where the document itself comes from is the caller's decision.
    Listener listener("<fetched>yes</fetched>");
    std::string outcome;
    try {
        const DOM_Document doc = ParseFile("http://" + listener.authority() + "/doc.xml", false);
        outcome = str(doc.getDocumentElement().getNodeName());
    } catch (const cTextException& e) {
        outcome = e.what();
    }
    EXPECT_EQ("fetched", outcome);
    EXPECT_EQ(1, listener.connections());
}

TEST(hostile_network, a_local_dtd_relative_to_the_document_still_validates)
{
    const TempDir dir;
    fs::create_directory(dir / "sub");
    dir.write("sub/r.dtd", "<!ELEMENT r EMPTY>\n<!ATTLIST r a CDATA \"from-dtd\">\n"
                           "<!ENTITY % q SYSTEM \"q.pe\">\n%q;\n");
    dir.write("sub/q.pe", "<!ATTLIST r z CDATA \"from-q\">\n");
    const std::string path = dir.write("doc.xml", "<!DOCTYPE r SYSTEM \"sub/r.dtd\"><r/>");
    const std::string invalid = dir.write("invalid.xml", "<!DOCTYPE r SYSTEM \"sub/r.dtd\"><r><x/></r>");
    // From another working directory: names resolve against the document.
    const CurrentDir elsewhere(fs::temp_directory_path());
    const DOM_Document doc = ParseFile(path, true);
    const DOM_Element root = doc.getDocumentElement();
    EXPECT_EQ("from-dtd", str(root.getAttribute("a")));
    EXPECT_EQ("from-q", str(root.getAttribute("z")));
    EXPECT_THROW_MSG(ParseFile(invalid, true), cTextException,
                     "Error at (file " + invalid + ", line 1, char 37): no declaration found for element 'x'\n");
}

TEST(hostile_network, a_dtd_named_by_file_url_is_read)
{
    const TempDir dir;
    const std::string dtd = dir.write("r.dtd", "<!ELEMENT r EMPTY>\n<!ATTLIST r a CDATA \"by-url\">\n");
    const std::string xml = "<!DOCTYPE r SYSTEM \"file://" + dtd + "\"><r/>";
    // A buffer may read from the working directory's tree.
    const CurrentDir inside(dir.path());
    const DOM_Document doc = parse_text(xml, true);
    EXPECT_EQ("by-url", str(doc.getDocumentElement().getAttribute("a")));
}

// ---- Depth -----------------------------------------------------------------------------

TEST(hostile_depth, a_million_deep_chain_is_walked_down_and_up_by_facade_and_iterator)
{
    const int depth = 1000000;
    const std::string xml = repeat("<e>", depth) + "<bottom>end</bottom>" + repeat("</e>", depth);
    cXML_Utility facade(0);
    ASSERT_TRUE(facade.Parse(xml.data(), static_cast<unsigned int>(xml.size())));
    // Down with the facade: the root is the first "e".
    int down = 0;
    while (facade.ActivateNode("e"))
        ++down;
    EXPECT_EQ(depth - 1, down);
    std::string text;
    EXPECT_TRUE(facade.ReadNodeDataFrom("bottom", text, ""));
    EXPECT_EQ("end", text);
    int up = 0;
    while (facade.DeactivateNode())
        ++up;
    EXPECT_EQ(depth - 1, up);
    EXPECT_EQ("e", facade.GetNodeName());

    // Down again with iterators, each handing out the next level.
    cXML_Utility level = facade;
    int steps = 0;
    for (;;) {
        cXMLiterator it = level.CreateIterator("");
        if (it.end())
            break;
        level = *it;
        ++steps;
    }
    EXPECT_EQ(depth, steps);
    EXPECT_EQ("bottom", level.GetNodeName());
}

// ---- Broken input ----------------------------------------------------------------------

std::string buffer_fatal(int line, int column, const std::string& message)
{
    return "Fatal Error at (file XMLRead_ParseBufferID, line " + std::to_string(line) + ", char " +
           std::to_string(column) + "): " + message + "\n";
}

TEST(hostile_broken, each_broken_buffer_names_its_problem)
{
    struct Case {
        std::string xml;
        std::string message;
    };
    const Case cases[] = {
        {"<r><a>text", buffer_fatal(1, 11, "input ended before all started tags were ended; last tag started is 'a'")},
        {"<r a=\"1", buffer_fatal(1, 8, "unexpected end of input")},
        {"<r>\xC3\x28</r>", buffer_fatal(1, 1, "invalid byte '(' at position 2 of a 2-byte sequence")},
        // The parser's UTF-8 decoder takes 0xFF as the start of a sequence
        // that swallows the rest; it still fails, if less precisely.
        {"<r>\xFF</r>",
         buffer_fatal(1, 4, "input ended before all started tags were ended; last tag started is 'r'")},
        {std::string("<r>a\0b</r>", 10), buffer_fatal(1, 6, "invalid character 0x0")},
        {"<?xml version=\"1.0\" encoding=\"no-such\"?><r/>",
         buffer_fatal(1, 41, "unable to create converter for 'NO-SUCH' encoding")},
        {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><r/>",
         "Warning at (file XMLRead_ParseBufferID, line 1, char 40): encoding 'UTF-16' from XML declaration or "
         "manually set contradicts the auto-sensed encoding; ignoring\n"},
        {"", buffer_fatal(1, 1, "invalid document structure")},
        {"   ", buffer_fatal(1, 4, "invalid document structure")},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.message, parse_outcome(c.xml)) << c.xml;
    EXPECT_THROW_MSG(ParseBuffer(nullptr, 0, false), cTextException, buffer_fatal(1, 1, "invalid document structure"));
}

TEST(hostile_broken, each_broken_file_names_its_problem)
{
    const TempDir dir;
    const std::string empty = dir.write("empty.xml", "");
    const std::string cut = dir.write("cut.xml", "<config><a>1</a>");
    const std::string missing = (dir / "missing.xml").string();
    EXPECT_THROW_MSG(ParseFile(empty, false), cTextException,
                     "Fatal Error at (file " + empty + ", line 1, char 1): invalid document structure\n");
    EXPECT_THROW_MSG(ParseFile(cut, false), cTextException,
                     "Fatal Error at (file " + cut +
                         ", line 1, char 17): input ended before all started tags were ended; last tag started is "
                         "'config'\n");
    EXPECT_THROW_MSG(ParseFile(missing, false), cTextException,
                     "Fatal Error at (file , line 0, char 0): unable to open primary document entity '" + missing +
                         "'\n");
    EXPECT_THROW_MSG(ParseFile(dir.path().string(), false), cTextException,
                     "Fatal Error at (file , line 0, char 0): unable to read data from file\n");
}

// ---- Invalid names ---------------------------------------------------------------------

// The document is still whole and writes as well-formed XML.
void expect_writes_well_formed(cXML_Utility& facade)
{
    std::ostringstream out;
    facade.SaveToStream(out);
    const std::string written = out.str();
    EXPECT_EQ("parsed", parse_outcome(written)) << written;
}

TEST(hostile_names, invalid_names_throw_dom_exceptions_and_leave_the_document_usable)
{
    cXML_Utility facade(1);
    EXPECT_DOM_EXCEPTION(facade.CreateDocument("1config"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.CreateDocument(":config"), DOM_DOMException::NAMESPACE_ERR);
    ASSERT_TRUE(facade.CreateDocument("config"));
    EXPECT_DOM_EXCEPTION(facade.CreateNewElement("a b"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.CreateNewElement(""), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.CreateAndActivateNewElement("<x>"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.SaveNodeData("-key", "value"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.SaveNodeAttribute("a=b", "value"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.SaveNodeAttribute("", "value"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_EQ("config", facade.GetNodeName());

    facade.SaveNodeData("key", "value & more");
    facade.SaveNodeAttribute("version", "2");
    std::ostringstream out;
    facade.SaveToStream(out);
    EXPECT_EQ("<?xml version='1.0' encoding='ISO-8859-1' ?>\n<config version=\"2\">\n    <key>value &amp; more</key>\n</config>\n", out.str());
    expect_writes_well_formed(facade);
}

TEST(hostile_names, invalid_names_on_a_parsed_document_leave_it_unchanged)
{
    const std::string xml = "<config><a>1</a></config>";
    cXML_Utility facade(0);
    ASSERT_TRUE(facade.Parse(xml.data(), static_cast<unsigned int>(xml.size())));
    ASSERT_TRUE(facade.ActivateNode("a"));
    EXPECT_DOM_EXCEPTION(facade.SaveNodeData("1", "x"), DOM_DOMException::INVALID_CHARACTER_ERR);
    EXPECT_DOM_EXCEPTION(facade.SaveNodeAttribute("b c", "x"), DOM_DOMException::INVALID_CHARACTER_ERR);
    ASSERT_TRUE(facade.DeactivateNode());
    std::ostringstream out;
    facade.SaveToStream(out);
    EXPECT_EQ("<?xml version='1.0' encoding='ISO-8859-1' ?>\n<config>\n    <a>1</a>\n</config>\n", out.str());
}

} // namespace
