// SPDX-License-Identifier: Apache-2.0
#include "test_util.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Distinct documents in distinct threads: every thread parses, navigates,
// edits and writes documents of its own and runs the Base64 codec over what
// it wrote, and each result must equal the single-threaded one byte for byte.
// The documents differ per (thread, index), so that a thread that saw another
// thread's state would write something else.

namespace {

const std::string kDeclaration = "<?xml version='1.0' encoding='ISO-8859-1' ?>\n";

// splitmix64: a fixed sequence per seed, the same on every platform.
class Sequence {
public:
    explicit Sequence(std::uint64_t seed) : fState(seed) {}

    std::uint64_t next()
    {
        std::uint64_t z = (fState += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }

    // 0 .. bound-1
    int below(int bound) { return static_cast<int>(next() % static_cast<std::uint64_t>(bound)); }

private:
    std::uint64_t fState;
};

// Words as they stand in the markup (escaped where XML needs it, Latin-1
// bytes raw, one character reference above U+00FF), with what a reader gets
// back from each.
struct Word {
    const char* markup;
    const char* read;
};

const Word kWords[] = {
    {"alpha", "alpha"},
    {"Gr\xFC\xDF" "e", "Gr\xFC\xDF" "e"},
    {"K\xE4se", "K\xE4se"},
    {"&amp;", "&"},
    {"&lt;tag&gt;", "<tag>"},
    {"&quot;quoted&quot;", "\"quoted\""},
    {"it's", "it's"},
    {"caf\xE9", "caf\xE9"},
    {"\xC4\xD6\xDC", "\xC4\xD6\xDC"},
    {"M&#252;ller", "M\xFC" "ller"},
    {"x&gt;y", "x>y"},
    {"50&#37;", "50%"},
    {"na\xEFve", "na\xEFve"},
    {"&#8364;", "?"},
};
constexpr int kWordCount = static_cast<int>(sizeof(kWords) / sizeof(kWords[0]));

struct Phrase {
    std::string markup;
    std::string read;
};

Phrase phrase(Sequence& random, int words)
{
    Phrase p;
    for (int w = 0; w < words; ++w) {
        const Word& word = kWords[random.below(kWordCount)];
        if (w > 0) {
            p.markup += ' ';
            p.read += ' ';
        }
        p.markup += word.markup;
        p.read += word.read;
    }
    return p;
}

// A document and the values a reader must find in it.
struct Generated {
    std::string xml;
    std::string title;    // text of /config/title
    std::string titleTag; // its attribute lang
    int sections = 0;
    int entries = 0; // direct entry children over all sections
};

Generated generate(int thread, int index)
{
    Sequence random((static_cast<std::uint64_t>(thread) << 32) | static_cast<std::uint32_t>(index));
    Generated g;
    const std::string id = std::to_string(thread) + "-" + std::to_string(index);
    // Half the documents are indented, half have no white space between
    // elements: the writer drops the one and must not need the other.
    const bool indented = random.below(2) == 0;
    const auto line = [indented](int depth) { return indented ? "\n" + std::string(2 * depth, ' ') : std::string(); };
    std::string& x = g.xml;
    x += "<?xml version='1.0' encoding='ISO-8859-1'?>\n";
    x += "<!-- document " + id + " -->\n";
    const Phrase owner = phrase(random, 1 + random.below(3));
    x += "<config id=\"" + id + "\" owner=\"" + owner.markup + "\" size='" + std::to_string(random.below(1000)) + "'>";

    const Phrase title = phrase(random, 1 + random.below(4));
    g.titleTag = random.below(2) ? "de" : "en";
    x += line(1) + "<title lang=\"" + g.titleTag + "\">" + title.markup + "</title>";
    g.title = title.read;

    g.sections = 1 + random.below(3);
    for (int s = 0; s < g.sections; ++s) {
        x += line(1) + "<section name=\"s" + std::to_string(s) + "\" weight=\"" + phrase(random, 1).markup + "\">";
        const int entries = 1 + random.below(3);
        g.entries += entries;
        for (int e = 0; e < entries; ++e) {
            x += line(2) + "<entry key=\"k" + std::to_string(e) + "\"";
            if (random.below(3) == 0)
                x += " extra=\"" + phrase(random, 2).markup + "\"";
            x += ">" + phrase(random, 1 + random.below(4)).markup + "</entry>";
        }
        if (random.below(2))
            x += line(2) + "<nested level=\"1\"><deep level=\"2\">  " + phrase(random, 2).markup + "  </deep></nested>";
        if (random.below(3) == 0)
            x += line(2) + "<![CDATA[raw <" + id + "> & ]]>";
        if (random.below(4) == 0)
            x += line(2) + "<?note " + id + "?>";
        if (random.below(3) == 0) {
            // Same names one level further down.
            x += line(2) + "<group><section name=\"inner\"><entry key=\"i\">" + phrase(random, 1).markup +
                 "</entry></section></group>";
        }
        x += line(1) + "</section>";
    }
    const int items = random.below(4);
    for (int i = 0; i < items; ++i)
        x += line(1) + "<item n=\"" + std::to_string(i) + "\">" + std::to_string(random.below(100000)) + "</item>";
    if (random.below(2))
        x += line(1) + "<empty/>";
    x += line(1) + "<blank>   \n  </blank>";
    x += line(0) + "</config>\n";
    return g;
}

// What one document gives: a log of everything read, the written document
// and its Base64 text.
struct Outcome {
    std::string transcript;
    std::string written;
    std::string base64;
};

bool operator==(const Outcome& a, const Outcome& b)
{
    return a.transcript == b.transcript && a.written == b.written && a.base64 == b.base64;
}

// Where `a` and `b` part, for a readable failure.
std::string first_difference(const std::string& what, const std::string& a, const std::string& b)
{
    std::size_t at = 0;
    while (at < a.size() && at < b.size() && a[at] == b[at])
        ++at;
    if (at == a.size() && at == b.size())
        return std::string();
    const std::size_t from = at > 20 ? at - 20 : 0;
    return what + " differs at byte " + std::to_string(at) + ": expected '" + a.substr(from, 60) + "', got '" +
           b.substr(from, 60) + "'";
}

std::string describe_difference(const Outcome& expected, const Outcome& actual)
{
    std::string d = first_difference("transcript", expected.transcript, actual.transcript);
    if (d.empty())
        d = first_difference("written text", expected.written, actual.written);
    if (d.empty())
        d = first_difference("Base64 text", expected.base64, actual.base64);
    return d;
}

// One "label=value" line per call. Plain appends: the log is written for
// every document, and streams cost more than the work they would record.
class Log {
public:
    Log& operator()(const char* label, const std::string& value)
    {
        fText.append(label).append(1, '=').append(value).append(1, '\n');
        return *this;
    }
    Log& operator()(const char* label, const char* value) { return (*this)(label, std::string(value)); }
    Log& operator()(const char* label, bool value) { return (*this)(label, std::string(value ? "1" : "0")); }
    Log& operator()(const char* label, int value) { return (*this)(label, std::to_string(value)); }
    const std::string& str() const { return fText; }

private:
    std::string fText;
};

// Reads through the free DOM-level functions and the classic handles.
void read_handles(const DOM_Document& doc, Log& log)
{
    const DOM_Element root = doc.getDocumentElement();
    log("root", GetNodeName(root));
    std::string value;
    log("owner?", GetNamedAttributeValue(root, "owner", value))("owner", value);
    const DOM_Node title = GetNodeByName(root, "title");
    log("title?", !title.isNull());
    log("title-data?", ReadNodeData(title, value, "none"))("title-data", value);
    log("deep?", ReadNodeData(root, "deep", value, "not a child"))("deep", value);
    int items = 0;
    for (cNodeIterator it(root, "item"); it != DOM_Node(); ++it) {
        ReadNodeData(*it, value, "");
        log("item", value);
        ++items;
    }
    log("items", items);
    // The element alone: written at this thread's writer depth, no declaration.
    std::ostringstream element;
    element << title;
    log("title-element", element.str());
}

// Navigation, reading and editing through the facade.
void use_facade(cXML_Utility& xml, int thread, int index, Log& log)
{
    std::string value;
    log("name", xml.GetNodeName());
    log("id?", xml.ReadNodeAttribute("id", value, "?"))("id", value);
    log("missing?", xml.ReadNodeAttribute("missing", value, "default"))("missing", value);
    log("size?", ReadNodeAttribute(xml, "size", value, "?"))("size", value);

    log("to title", xml.ActivateNode("title"));
    log("title?", xml.ReadNodeData(value, "none"))("title", value);
    log("lang?", xml.ReadNodeAttribute("lang", value, ""))("lang", value);
    log("back", xml.DeactivateNode());
    log("from title?", xml.ReadNodeDataFrom("title", value, "none"))("from title", value);
    log("from item?", ReadNodeData(xml, "item", value, "no item"))("from item", value);
    log("to nowhere", xml.ActivateNode("nowhere"))("still", xml.GetNodeName());

    int sectionNo = 0;
    for (cXMLiterator it = xml.CreateIterator("section"); !it.end(); ++it, ++sectionNo) {
        cXML_Utility section = *it;
        log("section?", section.ReadNodeAttribute("name", value, ""))("section", value);
        log("weight?", ReadNodeAttribute(section, "weight", value, ""))("weight", value);
        for (cXMLiterator e = section.CreateIterator("entry"); !e.end(); ++e) {
            cXML_Utility entry = *e;
            entry.ReadNodeAttribute("key", value, "");
            log("key", value);
            log("extra?", entry.ReadNodeAttribute("extra", value, "-"))("extra", value);
            log("entry?", entry.ReadNodeData(value, ""))("entry", value);
        }
        if (section.ActivateNode("nested")) {
            log("to deep", section.ActivateNode("deep"));
            log("deep?", section.ReadNodeData(value, ""))("deep", value);
            log("deep level?", section.ReadNodeAttribute("level", value, ""))("deep level", value);
            log("out", section.DeactivateNode())("out", section.DeactivateNode());
        }
        // The first entry in document order, if it is a direct child.
        log("first entry?", section.ReadNodeDataFrom("entry", value, "hidden"))("first entry", value);
        section.SaveNodeAttribute("seen", std::to_string(sectionNo));
        if (sectionNo % 2 == 0)
            section.SaveNodeData("count", "n < " + std::to_string(sectionNo + 1) + " & \xDF");
    }
    log("sections", sectionNo);

    int children = 0;
    std::string names;
    for (cXMLiterator it = xml.CreateIterator(""); !it.end(); it++) {
        names += (*it).GetNodeName() + ",";
        ++children;
    }
    log("children", children)("names", names);

    cXML_Utility firstSection = xml.GetNodeByName("section");
    log("by name", firstSection.GetNodeName());
    cXML_Utility missing = xml.GetNodeByName("absent");
    log("absent?", missing.ReadNodeData(value, "nothing"))("absent", value);
    log("absent back", missing.DeactivateNode())("absent now", missing.GetNodeName());

    // Edits: a new element with attributes and data, a text replaced, a
    // branch built below the root and left again.
    const std::string who = std::to_string(thread) + "/" + std::to_string(index);
    cXML_Utility added = xml.CreateNewElement("added");
    added.SaveNodeAttribute("by", who);
    SaveNodeAttribute(added, "mark", "\"" + who + "\" & <\xE4\xF6\xFC>");
    added.SaveNodeData("note", "  a < b & c \xDF " + who + "  ");
    added.SaveDataToNode("text of " + who);
    log("added", added.GetNodeName())("added back", added.DeactivateNode());

    xml.CreateAndActivateNewElement("log");
    for (int line = 0; line < 1 + (index + thread) % 4; ++line)
        SaveNodeData(xml, "line", "line " + std::to_string(line) + " \xC4\xD6\xDC '" + who + "'");
    log("log back", xml.DeactivateNode());
    if (xml.ActivateNode("title")) {
        SaveDataToNode(xml, "retitled " + who + " <&>");
        xml.DeactivateNode();
    }
    xml.SaveNodeAttribute("edited", "yes \xE9");
    log("after edits", xml.GetNodeName());
}

// Encodes `text` and decodes it back, with the codec itself or with one of
// the conversions (`way` picks which, so that a document costs two calls):
// whatever the way, the Base64 text must be the same.
std::string base64_round_trip(const std::string& text, int way, Log& log)
{
    std::vector<char> input(text.begin(), text.end());
    input.push_back('\0');
    const int length = static_cast<int>(text.size());
    std::string base64;
    std::string back;
    switch (way % 3) {
    case 0: {
        // The encoder needs 4 * ceil(n / 3) + 5 bytes; the decoder a capacity
        // of the text length, and room for 3 bytes per group and a zero.
        int size = 4 * ((length + 2) / 3) + 5;
        std::vector<char> encoded(static_cast<std::size_t>(size));
        log("encode", Base64Encode(input.data(), length, encoded.data(), size));
        base64.assign(encoded.data(), static_cast<std::size_t>(size));
        int decodedSize = size + 1;
        std::vector<char> decoded(static_cast<std::size_t>(decodedSize));
        log("decode", Base64Decode(encoded.data(), size, decoded.data(), decodedSize));
        back.assign(decoded.data(), static_cast<std::size_t>(decodedSize));
        break;
    }
    case 1: {
        log("encode", ConvertBinaryToBase64(input.data(), length, base64));
        std::vector<char> buffer(base64.size() + 1);
        int size = static_cast<int>(buffer.size());
        log("decode", ConvertBase64ToBinary(base64, buffer.data(), size));
        back.assign(buffer.data(), static_cast<std::size_t>(size));
        break;
    }
    default:
        base64 = text;
        log("encode", ConvertStringToBase64(base64));
        back = base64;
        log("decode", ConvertBase64ToString(back));
        break;
    }
    log("decoded back", back == text);
    return base64;
}

// Everything one document goes through. Odd documents come in through the
// facade, even ones through ParseBuffer and a record made from the handles.
Outcome process(int thread, int index)
{
    const Generated g = generate(thread, index);
    Log log;
    Outcome outcome;
    try {
        cXML_Utility xml(0);
        if (index % 2) {
            log("parsed", xml.Parse(g.xml.data(), static_cast<unsigned int>(g.xml.size())));
        } else {
            const DOM_Document doc = ParseBuffer(g.xml.data(), static_cast<unsigned int>(g.xml.size()), false);
            read_handles(doc, log);
            xml = cXML_Utility(new cXML_UtilityData(0, 0, doc.getDocumentElement(), doc, std::deque<DOM_Node>()));
        }
        use_facade(xml, thread, index, log);
        std::ostringstream out;
        xml.SaveToStream(out);
        outcome.written = out.str();
        outcome.base64 = base64_round_trip(outcome.written, thread + index, log);
    } catch (const std::exception& e) {
        log("exception", e.what());
    } catch (const DOM_DOMException& e) {
        log("DOM exception", static_cast<int>(e.code));
    }
    outcome.transcript = log.str();
    return outcome;
}

// Lets waiting threads go all at once, like std::latch.
class StartGate {
public:
    explicit StartGate(int count) : fWaiting(count) {}

    void arrive_and_wait()
    {
        std::unique_lock<std::mutex> lock(fMutex);
        if (--fWaiting == 0) {
            fOpen.notify_all();
            return;
        }
        fOpen.wait(lock, [this] { return fWaiting == 0; });
    }

private:
    std::mutex fMutex;
    std::condition_variable fOpen;
    int fWaiting;
};

// What a worker thread found; read by the main thread after join.
struct Report {
    int processed = 0;
    int mismatches = 0;
    std::string first;
};

void compare(const Outcome& expected, const Outcome& actual, int thread, int index, Report& report)
{
    ++report.processed;
    if (expected == actual)
        return;
    if (report.mismatches++ == 0)
        report.first = "document " + std::to_string(thread) + "/" + std::to_string(index) + ": " +
                       describe_difference(expected, actual);
}

constexpr int kThreads = 8;
constexpr int kDocumentsPerThread = 500;

std::vector<std::vector<Outcome>> single_threaded(int threads, int documents)
{
    std::vector<std::vector<Outcome>> results(static_cast<std::size_t>(threads));
    for (int t = 0; t < threads; ++t)
        for (int i = 0; i < documents; ++i)
            results[static_cast<std::size_t>(t)].push_back(process(t, i));
    return results;
}

// The very first calls of a process, each thread a different kind, released
// together; then every thread processes documents of its own. Returns what
// went wrong, empty if nothing did.
std::string first_calls_then_documents()
{
    constexpr int threads = 6;
    constexpr int documents = 4;
    StartGate gate(threads);
    std::vector<std::vector<Outcome>> outcomes(threads);
    std::vector<std::string> firsts(threads);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            gate.arrive_and_wait();
            try {
                std::ostringstream out;
                switch (t % 3) {
                case 0: {
                    const std::string xml = "<r a='" + std::to_string(t) + "'>x</r>";
                    DOM_Document doc = ParseBuffer(xml.data(), static_cast<unsigned int>(xml.size()), false);
                    out << doc;
                    break;
                }
                case 1: {
                    cXML_Utility xml(1);
                    if (xml.CreateDocument("made"))
                        xml.SaveNodeData("by", std::to_string(t));
                    xml.SaveToStream(out);
                    break;
                }
                default: {
                    DOM_Document doc;
                    DOM_Node root;
                    CreateDocument("free", doc, root);
                    SaveNodeData("by", std::to_string(t), root, doc);
                    out << doc;
                    break;
                }
                }
                firsts[static_cast<std::size_t>(t)] = out.str();
            } catch (const std::exception& e) {
                firsts[static_cast<std::size_t>(t)] = std::string("exception: ") + e.what();
            } catch (...) {
                firsts[static_cast<std::size_t>(t)] = "exception";
            }
            for (int i = 0; i < documents; ++i)
                outcomes[static_cast<std::size_t>(t)].push_back(process(t, i));
        });
    }
    for (std::thread& worker : workers)
        worker.join();

    std::string problems;
    for (int t = 0; t < threads; ++t) {
        const std::string n = std::to_string(t);
        const std::string expected[3] = {
            kDeclaration + "<r a=\"" + n + "\">x</r>\n",
            kDeclaration + "<made>\n    <by>" + n + "</by>\n</made>\n",
            kDeclaration + "<free>\n    <by>" + n + "</by>\n</free>\n",
        };
        const std::string& got = firsts[static_cast<std::size_t>(t)];
        if (got != expected[t % 3])
            problems += "thread " + n + " first call wrote '" + got + "'\n";
    }
    const std::vector<std::vector<Outcome>> expected = single_threaded(threads, documents);
    for (int t = 0; t < threads; ++t)
        for (int i = 0; i < documents; ++i) {
            const Outcome& want = expected[static_cast<std::size_t>(t)][static_cast<std::size_t>(i)];
            const Outcome& got = outcomes[static_cast<std::size_t>(t)][static_cast<std::size_t>(i)];
            if (!(want == got))
                problems += "document " + std::to_string(t) + "/" + std::to_string(i) + ": " +
                            describe_difference(want, got) + "\n";
        }
    return problems;
}

} // namespace

// The results single-threaded are right in themselves, so that the
// comparison below is against something worth having.
TEST(threads, generated_documents_read_and_write_as_expected)
{
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < 3; ++i) {
            SCOPED_TRACE("document " + std::to_string(t) + "/" + std::to_string(i));
            const Generated g = generate(t, i);
            const Outcome o = process(t, i);
            EXPECT_EQ(std::string::npos, o.transcript.find("exception")) << o.transcript;
            EXPECT_NE(std::string::npos, o.transcript.find("\ntitle?=1\ntitle=" + g.title + "\n")) << o.transcript;
            EXPECT_NE(std::string::npos, o.transcript.find("\nlang=" + g.titleTag + "\n"));
            EXPECT_NE(std::string::npos, o.transcript.find("\nsections=" + std::to_string(g.sections) + "\n"));
            EXPECT_EQ(0u, o.written.rfind(kDeclaration, 0));
            const std::string who = std::to_string(t) + "/" + std::to_string(i);
            // The text that SaveDataToNode appended comes after the note.
            EXPECT_NE(std::string::npos,
                      o.written.find("    <added by=\"" + who + "\" mark=\"&quot;" + who +
                                     "&quot; &amp; &lt;&#228;&#246;&#252;&gt;\">\n        <note>a &lt; b &amp; c "
                                     "&#223; " + who + "</note>\ntext of " + who + "    </added>\n"))
                << o.written;
            EXPECT_EQ(4 * ((o.written.size() + 2) / 3), o.base64.size());
            EXPECT_NE(std::string::npos, o.transcript.find("\ndecoded back=1\n")) << o.transcript;
            // The codec and both conversions give the same text, and each gets the document back.
            for (int way = 0; way < 3; ++way) {
                Log log;
                EXPECT_EQ(o.base64, base64_round_trip(o.written, way, log)) << "way " << way;
                const std::string expected = way == 0 ? "encode=0\ndecode=0\ndecoded back=1\n"
                                                      : "encode=1\ndecode=1\ndecoded back=1\n";
                EXPECT_EQ(expected, log.str()) << "way " << way;
            }
        }
    }
}

TEST(threads, distinct_documents_in_distinct_threads)
{
    const std::vector<std::vector<Outcome>> expected = single_threaded(kThreads, kDocumentsPerThread);

    StartGate gate(kThreads);
    std::vector<Report> reports(kThreads);
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([&, t] {
            const std::vector<Outcome>& mine = expected[static_cast<std::size_t>(t)];
            Report& report = reports[static_cast<std::size_t>(t)];
            gate.arrive_and_wait();
            for (int i = 0; i < kDocumentsPerThread; ++i)
                compare(mine[static_cast<std::size_t>(i)], process(t, i), t, i, report);
        });
    }
    for (std::thread& worker : workers)
        worker.join();

    for (int t = 0; t < kThreads; ++t) {
        const Report& report = reports[static_cast<std::size_t>(t)];
        EXPECT_EQ(kDocumentsPerThread, report.processed) << "thread " << t;
        EXPECT_EQ(0, report.mismatches) << "thread " << t << ", first: " << report.first;
    }
}

// Documents made in some threads and finished in others: handles, facades
// and iterators change threads through a queue, which is the caller's
// synchronisation that hand-overs need. The receiving thread drops the last
// reference, so documents are released away from where they were made.
TEST(threads, documents_handed_over_between_threads)
{
    constexpr int producers = 3;
    constexpr int consumers = 3;
    constexpr int perProducer = 60;

    struct Parcel {
        int slot;
        cXML_Utility xml;
        cXMLiterator sections;
    };
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<std::unique_ptr<Parcel>> queue;
    int producersLeft = producers;

    std::vector<std::vector<std::pair<int, std::string>>> written(consumers);
    StartGate gate(producers + consumers);
    std::vector<std::thread> workers;
    for (int p = 0; p < producers; ++p) {
        workers.emplace_back([&, p] {
            gate.arrive_and_wait();
            for (int i = 0; i < perProducer; ++i) {
                std::unique_ptr<Parcel> parcel;
                {
                    const Generated g = generate(100 + p, i);
                    cXML_Utility xml(0);
                    xml.Parse(g.xml.data(), static_cast<unsigned int>(g.xml.size()));
                    cXML_Utility root = xml;
                    xml.ActivateNode("title");
                    parcel.reset(new Parcel{p * perProducer + i, xml, root.CreateIterator("section")});
                }
                // Everything of the document this thread held is gone by now:
                // only the parcel refers to it when it changes hands.
                std::lock_guard<std::mutex> lock(mutex);
                queue.push_back(std::move(parcel));
                ready.notify_one();
            }
            std::lock_guard<std::mutex> lock(mutex);
            if (--producersLeft == 0)
                ready.notify_all();
        });
    }
    for (int c = 0; c < consumers; ++c) {
        workers.emplace_back([&, c] {
            gate.arrive_and_wait();
            for (;;) {
                std::unique_lock<std::mutex> lock(mutex);
                ready.wait(lock, [&] { return !queue.empty() || producersLeft == 0; });
                if (queue.empty())
                    return;
                std::unique_ptr<Parcel> parcel = std::move(queue.front());
                queue.pop_front();
                lock.unlock();

                // The facade still stands on the title, the iterator on the first section.
                parcel->xml.SaveDataToNode("taken");
                parcel->xml.DeactivateNode();
                for (; !parcel->sections.end(); ++parcel->sections)
                    (*parcel->sections).SaveNodeAttribute("by", "consumer");
                std::ostringstream out;
                parcel->xml.SaveToStream(out);
                written[static_cast<std::size_t>(c)].emplace_back(parcel->slot, out.str());
            }
        });
    }
    for (std::thread& worker : workers)
        worker.join();

    // The same steps in one thread.
    std::vector<std::string> expected;
    for (int p = 0; p < producers; ++p) {
        for (int i = 0; i < perProducer; ++i) {
            const Generated g = generate(100 + p, i);
            cXML_Utility xml(0);
            xml.Parse(g.xml.data(), static_cast<unsigned int>(g.xml.size()));
            xml.ActivateNode("title");
            xml.SaveDataToNode("taken");
            xml.DeactivateNode();
            for (cXMLiterator it = xml.CreateIterator("section"); !it.end(); ++it)
                (*it).SaveNodeAttribute("by", "consumer");
            std::ostringstream out;
            xml.SaveToStream(out);
            expected.push_back(out.str());
        }
    }
    std::size_t received = 0;
    for (const auto& mine : written) {
        received += mine.size();
        for (const auto& [slot, text] : mine)
            EXPECT_EQ(expected[static_cast<std::size_t>(slot)], text) << "document " << slot;
    }
    EXPECT_EQ(static_cast<std::size_t>(producers * perProducer), received);
}

// test_parse covers the first parses of a process racing each other. Here
// the first calls differ: a parse, a facade's CreateDocument and the free
// CreateDocument, all released together in a fresh process, before any
// other use of the library; the threads then go on with documents of their
// own, checked against a single-threaded run afterwards.
TEST(threads, first_calls_of_different_kinds_at_once)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int round = 0; round < 6; ++round) {
        EXPECT_EXIT(
            {
                const std::string problems = first_calls_then_documents();
                std::fputs(problems.c_str(), stderr);
                std::exit(problems.empty() ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "")
            << "round " << round;
    }
}

// A parser's limits belong to each of its parses, not to the documents it
// built: one thread copies a big document that a parser built earlier while
// that parser goes on parsing in this thread. Each copy needs more memory
// than a parse of the small documents may use.
TEST(threads, a_document_is_edited_while_its_parser_parses_others)
{
    const TempDir dir;
    const std::string small = dir.write("small.xml", "<r><a>1</a></r>");
    DOMParser parser;
    parser.parse(small.c_str());
    DOM_Document first = parser.getDocument();
    // 36 M characters: 72 MB in the document.
    const std::size_t length = std::size_t(36) << 20;
    first.getDocumentElement().appendChild(first.createTextNode(DOMString(std::string(length, 'x').c_str())));

    StartGate gate(2);
    std::atomic<bool> done{false};
    std::string failure;
    std::size_t copied = 0;
    std::thread editor([&] {
        gate.arrive_and_wait();
        try {
            for (int i = 0; i < 4; ++i) {
                const DOM_Node copy = first.cloneNode(true);
                copied += copy.getFirstChild().getFirstChild().getNextSibling().getNodeValue().length();
                first.getDocumentElement().appendChild(first.createElement("copied"));
            }
        } catch (const std::exception& e) {
            failure = e.what();
        } catch (...) {
            failure = "an exception that is no std::exception";
        }
        done = true;
    });
    gate.arrive_and_wait();
    int parses = 0;
    while (!done) {
        parser.parse(small.c_str());
        EXPECT_EQ("r", str(parser.getDocument().getDocumentElement().getNodeName()));
        ++parses;
    }
    editor.join();
    EXPECT_EQ("", failure);
    EXPECT_EQ(4 * length, copied);
    EXPECT_EQ(4u, first.getElementsByTagName("copied").getLength());
    EXPECT_LT(0, parses);
}
