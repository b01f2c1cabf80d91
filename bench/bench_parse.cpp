// SPDX-License-Identifier: Apache-2.0
// Parsing from memory and from a file: the library beside a hand-written raw
// Xerces-C parse with the same settings, and beside pugixml. Every timed
// parse also releases its document, as a caller's handle going away does.
#include "bench_support.h"

namespace {

using bench::add;
using bench::Input;
using bench::InputId;

constexpr InputId kInputs[] = {InputId::config, InputId::records_1mb, InputId::records_20mb, InputId::chain};

benchmark::TimeUnit unit_for(InputId id)
{
    return id == InputId::config || id == InputId::chain ? benchmark::kMicrosecond : benchmark::kMillisecond;
}

void register_memory(InputId id)
{
    const char* size = bench::input_label(id);
    add("ParseMemory", size, "xmlutil", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            DOM_Document doc = ParseBuffer(in.text.data(), static_cast<unsigned int>(in.text.size()), false);
            if (doc.getDocumentElement().isNull())
                state.SkipWithError("no document element");
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
    add("ParseMemory", size, "xerces", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            xercesc::DOMDocument* doc = bench::raw_parse_buffer(in.text);
            if (!doc->getDocumentElement())
                state.SkipWithError("no document element");
            doc->release();
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
    add("ParseMemory", size, "pugixml", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            pugi::xml_document doc;
            if (!doc.load_buffer(in.text.data(), in.text.size(), pugi::parse_default, bench::pugi_encoding(in)))
                state.SkipWithError("pugixml parse failed");
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
}

void register_file(InputId id)
{
    const char* size = bench::input_label(id);
    add("ParseFile", size, "xmlutil", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            DOM_Document doc = ParseFile(in.path, false);
            if (doc.getDocumentElement().isNull())
                state.SkipWithError("no document element");
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
    add("ParseFile", size, "xerces", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            xercesc::DOMDocument* doc = bench::raw_parse_file(in.path);
            if (!doc->getDocumentElement())
                state.SkipWithError("no document element");
            doc->release();
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
    add("ParseFile", size, "pugixml", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            pugi::xml_document doc;
            if (!doc.load_file(in.path.c_str(), pugi::parse_default, bench::pugi_encoding(in)))
                state.SkipWithError("pugixml parse failed");
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
}

} // namespace

int main(int argc, char** argv)
{
    for (InputId id : kInputs)
        register_memory(id);
    for (InputId id : kInputs)
        register_file(id);
    return bench::run_benchmarks(argc, argv);
}
