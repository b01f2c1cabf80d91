// SPDX-License-Identifier: Apache-2.0
// Peak resident memory of parsing and holding the 20 MB records document:
// the library, the raw Xerces-C DOM and pugixml, each in a fresh process
// (this program started again with --hold), so that no earlier allocation
// of the benchmark process counts. The child reads the file first and takes
// its peak then as the baseline; what it reports is the growth over that.
#include "bench_support.h"

#include <xercesc/util/PlatformUtils.hpp>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

using bench::InputId;

const char kHoldFlag[] = "--hold";
const char* const kSubjects[] = {"xmlutil", "xerces", "pugixml"};

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    std::string text(static_cast<std::size_t>(in.tellg()), '\0');
    in.seekg(0);
    in.read(&text[0], static_cast<std::streamsize>(text.size()));
    if (!in)
        throw std::runtime_error("cannot read " + path);
    return text;
}

// The child: parses, keeps the document and prints "<peak KiB> <held KiB>".
int hold(const std::string& subject, const std::string& path)
{
    const std::string text = read_file(path);
    // Xerces-C's start-up memory is the same for both Xerces subjects and is
    // not part of holding a document.
    if (subject != "pugixml")
        xercesc::XMLPlatformUtils::Initialize();
    const long basePeak = bench::peak_rss_kib();
    const long baseResident = bench::current_rss_kib();

    DOM_Document handles;
    xercesc::DOMDocument* raw = nullptr;
    pugi::xml_document pugiDoc;
    if (subject == "xmlutil") {
        handles = ParseBuffer(text.data(), static_cast<unsigned int>(text.size()), false);
        if (handles.getDocumentElement().isNull())
            return 1;
    } else if (subject == "xerces") {
        raw = bench::raw_parse_buffer(text);
        if (!raw->getDocumentElement())
            return 1;
    } else if (!pugiDoc.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_latin1)) {
        return 1;
    }
    std::printf("%ld %ld\n", bench::peak_rss_kib() - basePeak, bench::current_rss_kib() - baseResident);
    std::fflush(stdout);
    // The document is still held here; tearing it down is not measured.
    _exit(0);
}

void register_peak(const char* subject)
{
    bench::add("PeakRSS", "20MB", subject, [subject](benchmark::State& state) {
        const std::string& path = bench::input(InputId::records_20mb).path;
        long peak = 0;
        long resident = 0;
        for (auto _ : state) {
            std::string output;
            const int status = bench::run_program({"/proc/self/exe", kHoldFlag, subject, path}, &output);
            std::istringstream numbers(output);
            if (status != 0 || !(numbers >> peak >> resident)) {
                state.SkipWithError("the child process failed");
                break;
            }
        }
        state.counters["peak_rss_MiB"] = static_cast<double>(peak) / 1024.0;
        state.counters["held_rss_MiB"] = static_cast<double>(resident) / 1024.0;
    })->Iterations(1)->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], kHoldFlag) == 0) {
        try {
            return hold(argv[2], argv[3]);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s\n", e.what());
            return 1;
        }
    }
    for (const char* subject : kSubjects)
        register_peak(subject);
    return bench::run_benchmarks(argc, argv);
}
