// SPDX-License-Identifier: Apache-2.0
// Writing a parsed document as indented XML: the facade's SaveToStream and
// SaveToFile beside Xerces-C's own pretty-printing DOMLSSerializer and
// pugixml's indented save. Throughput counts the size of the parsed input
// for every subject, so that the rates compare the same document.
#include "bench_support.h"

#include <xercesc/dom/DOMConfiguration.hpp>
#include <xercesc/dom/DOMImplementation.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/dom/DOMLSOutput.hpp>
#include <xercesc/dom/DOMLSSerializer.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>
#include <xercesc/framework/MemBufFormatTarget.hpp>
#include <xercesc/util/XMLString.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <sstream>
#include <sys/stat.h>

namespace {

using bench::add;
using bench::InputId;

void finish_save(benchmark::State& state, InputId id, std::size_t outputBytes)
{
    if (outputBytes < bench::input(id).text.size() / 2)
        state.SkipWithError("the output is too short");
    bench::count_bytes(state, bench::input(id).text.size());
    state.counters["output_bytes"] = static_cast<double>(outputBytes);
}

std::size_t file_size(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? static_cast<std::size_t>(info.st_size) : 0;
}

std::size_t serialize_raw(const xercesc::DOMDocument* doc)
{
    static const XMLCh features[] = u"LS";
    static const XMLCh encoding[] = u"ISO-8859-1";
    xercesc::DOMImplementation* impl = xercesc::DOMImplementationRegistry::getDOMImplementation(features);
    xercesc::DOMLSSerializer* serializer = impl->createLSSerializer();
    serializer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
    xercesc::DOMLSOutput* output = impl->createLSOutput();
    xercesc::MemBufFormatTarget target;
    output->setByteStream(&target);
    output->setEncoding(encoding);
    serializer->write(doc, output);
    const std::size_t written = target.getLen();
    output->release();
    serializer->release();
    return written;
}

// Reads everything the writer must read, on the same Xerces-C document, and
// writes nothing: node types, element and attribute names, attribute values
// and text values, each counted. What no writer over this DOM can go below.
std::size_t read_for_writing(const xercesc::DOMNode* node)
{
    std::size_t characters = 0;
    const xercesc::DOMNode* root = node;
    while (node) {
        if (const XMLCh* name = node->getNodeName())
            characters += xercesc::XMLString::stringLen(name);
        if (node->getNodeType() == xercesc::DOMNode::ELEMENT_NODE) {
            const xercesc::DOMNamedNodeMap* attributes = node->getAttributes();
            for (XMLSize_t i = 0; i < attributes->getLength(); ++i) {
                const xercesc::DOMNode* attribute = attributes->item(i);
                characters += xercesc::XMLString::stringLen(attribute->getNodeName());
                if (const xercesc::DOMNode* value = attribute->getFirstChild())
                    characters += xercesc::XMLString::stringLen(value->getNodeValue());
            }
        } else if (const XMLCh* value = node->getNodeValue()) {
            characters += xercesc::XMLString::stringLen(value);
        }
        if (const xercesc::DOMNode* child = node->getFirstChild()) {
            node = child;
            continue;
        }
        while (node != root && !node->getNextSibling())
            node = node->getParentNode();
        node = node == root ? nullptr : node->getNextSibling();
    }
    return characters;
}

void register_stream(InputId id)
{
    const char* size = bench::input_label(id);
    add("SaveToStream", size, "xmlutil", [id](benchmark::State& state) {
        cXML_Utility& xml = bench::parsed_facade(id);
        std::size_t written = 0;
        for (auto _ : state) {
            std::ostringstream out;
            xml.SaveToStream(out);
            written = static_cast<std::size_t>(out.tellp());
        }
        finish_save(state, id, written);
    })->Unit(benchmark::kMillisecond);
    add("SaveToStream", size, "xerces", [id](benchmark::State& state) {
        const xercesc::DOMDocument* doc = bench::parsed_raw(id);
        std::size_t written = 0;
        for (auto _ : state)
            written = serialize_raw(doc);
        finish_save(state, id, written);
    })->Unit(benchmark::kMillisecond);
    add("SaveToStream", size, "xerces-read", [id](benchmark::State& state) {
        const xercesc::DOMDocument* doc = bench::parsed_raw(id);
        std::size_t characters = 0;
        for (auto _ : state)
            benchmark::DoNotOptimize(characters = read_for_writing(doc));
        finish_save(state, id, characters);
    })->Unit(benchmark::kMillisecond);
    add("SaveToStream", size, "pugixml", [id](benchmark::State& state) {
        const pugi::xml_document& doc = bench::parsed_pugi(id);
        std::size_t written = 0;
        for (auto _ : state) {
            std::ostringstream out;
            doc.save(out, "    ", pugi::format_indent, pugi::encoding_latin1);
            written = static_cast<std::size_t>(out.tellp());
        }
        finish_save(state, id, written);
    })->Unit(benchmark::kMillisecond);
}

void register_file(InputId id)
{
    const char* size = bench::input_label(id);
    add("SaveToFile", size, "xmlutil", [id](benchmark::State& state) {
        cXML_Utility& xml = bench::parsed_facade(id);
        const std::string path = bench::temp_path("saved-xmlutil.xml");
        for (auto _ : state)
            xml.SaveToFile(path);
        finish_save(state, id, file_size(path));
    })->Unit(benchmark::kMillisecond);
    add("SaveToFile", size, "pugixml", [id](benchmark::State& state) {
        const pugi::xml_document& doc = bench::parsed_pugi(id);
        const std::string path = bench::temp_path("saved-pugixml.xml");
        for (auto _ : state) {
            if (!doc.save_file(path.c_str(), "    ", pugi::format_indent, pugi::encoding_latin1))
                state.SkipWithError("pugixml could not write the file");
        }
        finish_save(state, id, file_size(path));
    })->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv)
{
    register_stream(InputId::records_1mb);
    register_stream(InputId::records_20mb);
    register_file(InputId::records_20mb);
    return bench::run_benchmarks(argc, argv);
}
