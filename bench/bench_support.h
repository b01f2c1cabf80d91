// SPDX-License-Identifier: Apache-2.0
// What the benchmark programs share besides their inputs: the hand-written
// raw Xerces-C peer's parse, benchmark naming, and the program entry.
#ifndef XMLUTIL_BENCH_SUPPORT_H
#define XMLUTIL_BENCH_SUPPORT_H

#include "bench_inputs.h"
#include "xmlutil.h"

#include <benchmark/benchmark.h>
#include <pugixml.hpp>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/sax/ErrorHandler.hpp>

#include <functional>
#include <string>

namespace bench {

// The handler a careful raw Xerces-C program installs: every report throws.
class ThrowingErrorHandler : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException& e) override;
    void error(const xercesc::SAXParseException& e) override;
    void fatalError(const xercesc::SAXParseException& e) override;
    void resetErrors() override {}
};

// Raw Xerces-C parse with the library's parser settings (the defaults of
// XercesDOMParser, Val_Never): a fresh parser, a throwing handler, and the
// adopted document, which the caller releases.
xercesc::DOMDocument* raw_parse_buffer(const std::string& text);
xercesc::DOMDocument* raw_parse_file(const std::string& path);

// Documents parsed once per process, outside every timed loop, for the
// workloads that read or write a document: a facade standing on the root, a
// handle to the document (both through the library), the raw Xerces-C
// document and the pugixml document.
cXML_Utility& parsed_facade(InputId id);
DOM_Document parsed_handles(InputId id);
xercesc::DOMDocument* parsed_raw(InputId id);
pugi::xml_document& parsed_pugi(InputId id);
// The pugixml encoding of an input.
pugi::xml_encoding pugi_encoding(const Input& in);

// "BM_<workload>/<size>/<subject>": the report pairs subjects by the first two.
std::string bench_name(const std::string& workload, const std::string& size, const std::string& subject);

// Registers one benchmark under bench_name, timed in wall-clock time.
benchmark::internal::Benchmark* add(const std::string& workload, const std::string& size,
                                    const std::string& subject, std::function<void(benchmark::State&)> body);

// Bytes per second, counted as the document's size per iteration.
void count_bytes(benchmark::State& state, std::size_t bytesPerIteration);

// Initialises Xerces-C once for the raw peer, then runs the registered benchmarks.
int run_benchmarks(int argc, char** argv);

// Runs a program with `args` (args[0] is its path) and waits for it. Its
// standard output goes into `output`, or to /dev/null when that is null.
// Returns the exit status, or -1 when it did not exit normally.
int run_program(const std::vector<std::string>& args, std::string* output);

// The process's peak and current resident set size in KiB (VmHWM, VmRSS).
long peak_rss_kib();
long current_rss_kib();

} // namespace bench

#endif // XMLUTIL_BENCH_SUPPORT_H
