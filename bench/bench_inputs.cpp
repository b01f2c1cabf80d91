// SPDX-License-Identifier: Apache-2.0
#include "bench_inputs.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kSections = 10;
constexpr int kKeys = 10;
constexpr int kChainDepth = 10000;

// Deleted with its content when the process ends normally.
class TempDirectory {
public:
    TempDirectory()
    {
        char pattern[] = "/tmp/xmlutil-bench-XXXXXX";
        if (!mkdtemp(pattern))
            throw std::runtime_error("cannot create a temporary directory");
        fPath = pattern;
    }
    ~TempDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(fPath, ignored);
    }
    const std::string& path() const { return fPath; }

private:
    std::string fPath;
};

std::string make_config()
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<configuration>\n";
    for (int s = 0; s < kSections; ++s) {
        const std::string section = "section" + std::to_string(s);
        text += "    <" + section + ">\n";
        for (int k = 0; k < kKeys; ++k) {
            const std::string key = "key" + std::to_string(k);
            text += "        <" + key + ">" + config_value(s, k) + "</" + key + ">\n";
        }
        text += "    </" + section + ">\n";
    }
    text += "</configuration>\n";
    return text;
}

// Attribute values and texts cycle through small tables, so that lines
// differ in length and content without any randomness. Adjacent literals
// keep a hex escape from swallowing the letters after it; the parentheses
// say that they are meant to join.
const char* const kNames[] = {
    ("M\xFC" "ller &amp; S\xF6hne"),
    ("B\xE4" "cker &amp; Co"),
    ("Stra\xDF" "e &lt;7&gt;"),
    "J\xF6rg \xC5str\xF6m",
    "Fran\xE7ois &amp; Ren\xE9",
};
const char* const kTexts[] = {
    "text &lt; 5 with \xE4\xF6\xFC",
    "price &lt; 12.50 &amp; tax",
    ("\xC4rger mit \xD6l &amp; \xDC" "bel"),
    "plain text without anything special",
    "a &lt; b &amp;&amp; c &gt; d, \xDF",
};

std::string make_records(std::size_t targetBytes, std::size_t& count)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<records>\n";
    text.reserve(targetBytes + 256);
    count = 0;
    const std::string closing = "</records>\n";
    while (text.size() + closing.size() < targetBytes) {
        const std::size_t n = count++;
        text += "  <record id=\"" + std::to_string(n) + "\" name=\"" + kNames[n % 5] + "\">";
        text += kTexts[(n / 5) % 5];
        text += " #" + std::to_string(n * 7919 % 100003) + "</record>\n";
    }
    text += closing;
    return text;
}

std::string make_chain()
{
    std::string text;
    text.reserve(kChainDepth * 7 + 1);
    for (int i = 0; i < kChainDepth; ++i)
        text += "<a>";
    text += "x";
    for (int i = 0; i < kChainDepth; ++i)
        text += "</a>";
    return text;
}

void write_file(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!out.flush())
        throw std::runtime_error("cannot write " + path);
}

struct Built {
    Input input;
    std::size_t records = 0;
};

Built build(InputId id)
{
    Built b;
    switch (id) {
    case InputId::config:
        b.input = {input_label(id), make_config(), temp_path("config.xml"), false};
        break;
    case InputId::records_1mb:
        b.input = {input_label(id), make_records(std::size_t(1) << 20, b.records), temp_path("records-1mb.xml"),
                   true};
        break;
    case InputId::records_20mb:
        b.input = {input_label(id), make_records(std::size_t(20) << 20, b.records), temp_path("records-20mb.xml"),
                   true};
        break;
    case InputId::chain:
        b.input = {input_label(id), make_chain(), temp_path("chain.xml"), false};
        break;
    }
    write_file(b.input.path, b.input.text);
    return b;
}

const Built& built(InputId id)
{
    // Benchmarks run one at a time on the main thread; no lock is needed.
    static std::map<InputId, Built> cache;
    auto found = cache.find(id);
    if (found == cache.end())
        found = cache.emplace(id, build(id)).first;
    return found->second;
}

} // namespace

const Input& input(InputId id)
{
    return built(id).input;
}

const char* input_label(InputId id)
{
    switch (id) {
    case InputId::config:
        return "config";
    case InputId::records_1mb:
        return "1MB";
    case InputId::records_20mb:
        return "20MB";
    case InputId::chain:
        break;
    }
    return "chain";
}

std::size_t record_count(InputId id)
{
    return built(id).records;
}

const std::vector<std::pair<std::string, std::string>>& config_names()
{
    static const std::vector<std::pair<std::string, std::string>> names = [] {
        std::vector<std::pair<std::string, std::string>> all;
        for (int s = 0; s < kSections; ++s)
            for (int k = 0; k < kKeys; ++k)
                all.emplace_back("section" + std::to_string(s), "key" + std::to_string(k));
        return all;
    }();
    return names;
}

std::string config_value(int section, int key)
{
    const int n = section * kKeys + key;
    switch (n % 5) {
    case 0:
        return n % 2 ? "true" : "false";
    case 1:
        return std::to_string(8000 + n);
    case 2:
        return "/var/lib/app/s" + std::to_string(section);
    case 3:
        return "Name " + std::to_string(n);
    default:
        return "0." + std::to_string(n);
    }
}

std::string temp_path(const std::string& fileName)
{
    static const TempDirectory directory;
    return directory.path() + "/" + fileName;
}

} // namespace bench
