// SPDX-License-Identifier: Apache-2.0
// The tool's "get": one value read from a file by path, the way the xmlutil
// command does it (a Xerces-C SAX pass for well-formedness, then a scan that
// keeps byte spans), beside the library's ParseFile of the same file.
#include "bench_support.h"

#include "edit/edit.h"
#include "edit/path.h"

#include <fstream>
#include <iterator>

namespace {

using bench::add;
using bench::Input;
using bench::InputId;

constexpr InputId kInputs[] = {InputId::config, InputId::records_1mb, InputId::records_20mb};

benchmark::TimeUnit unit_for(InputId id)
{
    return id == InputId::config ? benchmark::kMicrosecond : benchmark::kMillisecond;
}

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The last element of the document's root, as `xmlutil get FILE ROOT/*[last()]`.
std::string tool_get_last(const std::string& path)
{
    const xmlutil_edit::loaded_document in = xmlutil_edit::load_document(read_file(path), path);
    const xmlutil_edit::xml_doc& doc = *in.doc;
    const xmlutil_edit::path p = xmlutil_edit::parse_path(doc.name(doc.root()) + "/*[last()]");
    const xmlutil_edit::namespaces none;
    const std::vector<std::uint32_t> found = xmlutil_edit::path_matcher(doc, none).select(p, p.steps.size());
    return found.empty() ? std::string() : doc.own_text(found.front());
}

void register_get(InputId id)
{
    const char* size = bench::input_label(id);
    add("GetValue", size, "xmlutil", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            DOM_Document doc = ParseFile(in.path, false);
            DOM_Node last = doc.getDocumentElement().getLastChild();
            while (!last.isNull() && last.getNodeType() != DOM_Node::ELEMENT_NODE)
                last = last.getPreviousSibling();
            if (last.isNull())
                state.SkipWithError("no element");
            benchmark::DoNotOptimize(last.getFirstChild().getNodeValue());
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
    add("GetValue", size, "tool", [id](benchmark::State& state) {
        const Input& in = bench::input(id);
        for (auto _ : state) {
            const std::string value = tool_get_last(in.path);
            if (value.empty())
                state.SkipWithError("no value");
            benchmark::DoNotOptimize(value);
        }
        bench::count_bytes(state, in.text.size());
    })->Unit(unit_for(id));
}

} // namespace

int main(int argc, char** argv)
{
    for (InputId id : kInputs)
        register_get(id);
    return bench::run_benchmarks(argc, argv);
}
