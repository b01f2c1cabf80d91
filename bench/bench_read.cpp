// SPDX-License-Identifier: Apache-2.0
// Reading a parsed document: configuration lookups through the facade, a
// walk over every record reading its text and one attribute, and a plain
// tree traversal through the classic handles. Each is set beside the same
// work written by hand on the raw Xerces-C DOM, and beside pugixml. A last
// traversal reads each node's name and value as DOMStrings, for the cost of
// the strings themselves.
#include "bench_support.h"

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMNode.hpp>
#include <xercesc/util/XMLString.hpp>

#include <array>
#include <string>

namespace {

using bench::add;
using bench::InputId;
using xercesc::DOMNode;

// ---- 100-key configuration lookup ------------------------------------------------

using Names = std::vector<std::pair<std::string, std::string>>;

// Runs one pass of all lookups outside the timing and checks every value, so
// that all three subjects provably do the whole work.
template <class Lookup>
bool lookups_are_right(Lookup&& lookup)
{
    const Names& names = bench::config_names();
    std::string value;
    for (std::size_t i = 0; i < names.size(); ++i) {
        lookup(names[i].first, names[i].second, value);
        if (value != bench::config_value(static_cast<int>(i / 10), static_cast<int>(i % 10)))
            return false;
    }
    return true;
}

template <class Lookup>
void run_lookups(benchmark::State& state, Lookup&& lookup)
{
    if (!lookups_are_right(lookup)) {
        state.SkipWithError("a lookup gave a wrong value");
        return;
    }
    const Names& names = bench::config_names();
    std::string value;
    std::size_t total = 0;
    for (auto _ : state) {
        for (const auto& [section, key] : names) {
            lookup(section, key, value);
            total += value.size();
        }
    }
    benchmark::DoNotOptimize(total);
    state.counters["lookups"] = static_cast<double>(names.size());
}

DOMNode* raw_child_element(DOMNode* parent, const XMLCh* name)
{
    for (DOMNode* child = parent->getFirstChild(); child; child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::ELEMENT_NODE && xercesc::XMLString::equals(child->getNodeName(), name))
            return child;
    }
    return nullptr;
}

// The first text child's value as std::string through XMLString::transcode;
// empty when there is none.
void raw_text(DOMNode* element, std::string& out)
{
    out.clear();
    for (DOMNode* child = element->getFirstChild(); child; child = child->getNextSibling()) {
        if (child->getNodeType() == DOMNode::TEXT_NODE) {
            char* text = xercesc::XMLString::transcode(child->getNodeValue());
            out = text;
            xercesc::XMLString::release(&text);
            return;
        }
    }
}

void register_lookup()
{
    add("Lookup", "config", "xmlutil", [](benchmark::State& state) {
        cXML_Utility& xml = bench::parsed_facade(InputId::config);
        run_lookups(state, [&xml](const std::string& section, const std::string& key, std::string& value) {
            xml.ActivateNode(section);
            xml.ReadNodeDataFrom(key, value, "");
            xml.DeactivateNode();
        });
    })->Unit(benchmark::kMicrosecond);
    add("Lookup", "config", "xerces", [](benchmark::State& state) {
        DOMNode* root = bench::parsed_raw(InputId::config)->getDocumentElement();
        run_lookups(state, [root](const std::string& section, const std::string& key, std::string& value) {
            XMLCh* sectionName = xercesc::XMLString::transcode(section.c_str());
            XMLCh* keyName = xercesc::XMLString::transcode(key.c_str());
            value.clear();
            if (DOMNode* sectionNode = raw_child_element(root, sectionName)) {
                if (DOMNode* keyNode = raw_child_element(sectionNode, keyName))
                    raw_text(keyNode, value);
            }
            xercesc::XMLString::release(&keyName);
            xercesc::XMLString::release(&sectionName);
        });
    })->Unit(benchmark::kMicrosecond);
    add("Lookup", "config", "pugixml", [](benchmark::State& state) {
        const pugi::xml_node root = bench::parsed_pugi(InputId::config).document_element();
        run_lookups(state, [root](const std::string& section, const std::string& key, std::string& value) {
            value = root.child(section.c_str()).child(key.c_str()).text().get();
        });
    })->Unit(benchmark::kMicrosecond);
}

// ---- Walk over all records ---------------------------------------------------------

// Counts the records a walk saw; a walk that missed some is an error.
void finish_walk(benchmark::State& state, InputId id, std::size_t records, std::size_t total)
{
    benchmark::DoNotOptimize(total);
    const std::size_t expected = bench::record_count(id) * static_cast<std::size_t>(state.iterations());
    if (records != expected)
        state.SkipWithError("the walk did not see every record");
    bench::count_bytes(state, bench::input(id).text.size());
    state.counters["records"] = static_cast<double>(bench::record_count(id));
}

void register_walk(InputId id)
{
    const char* size = bench::input_label(id);
    add("Walk", size, "xmlutil", [id](benchmark::State& state) {
        cXML_Utility& root = bench::parsed_facade(id);
        std::string text;
        std::string number;
        std::size_t records = 0;
        std::size_t total = 0;
        for (auto _ : state) {
            for (cXMLiterator it = root.CreateIterator("record"); !it.end(); ++it) {
                cXML_Utility record = *it;
                record.ReadNodeData(text, "");
                record.ReadNodeAttribute("id", number, "");
                total += text.size() + number.size();
                ++records;
            }
        }
        finish_walk(state, id, records, total);
    })->Unit(benchmark::kMillisecond);
    add("Walk", size, "xerces", [id](benchmark::State& state) {
        DOMNode* root = bench::parsed_raw(id)->getDocumentElement();
        std::string text;
        std::string number;
        std::size_t records = 0;
        std::size_t total = 0;
        for (auto _ : state) {
            // Hand-written code transcodes its constant names once per walk.
            XMLCh* recordName = xercesc::XMLString::transcode("record");
            XMLCh* idName = xercesc::XMLString::transcode("id");
            for (DOMNode* node = root->getFirstChild(); node; node = node->getNextSibling()) {
                if (node->getNodeType() != DOMNode::ELEMENT_NODE
                    || !xercesc::XMLString::equals(node->getNodeName(), recordName))
                    continue;
                raw_text(node, text);
                const auto* element = static_cast<const xercesc::DOMElement*>(node);
                char* value = xercesc::XMLString::transcode(element->getAttribute(idName));
                number = value;
                xercesc::XMLString::release(&value);
                total += text.size() + number.size();
                ++records;
            }
            xercesc::XMLString::release(&idName);
            xercesc::XMLString::release(&recordName);
        }
        finish_walk(state, id, records, total);
    })->Unit(benchmark::kMillisecond);
    add("Walk", size, "pugixml", [id](benchmark::State& state) {
        const pugi::xml_node root = bench::parsed_pugi(id).document_element();
        std::string text;
        std::string number;
        std::size_t records = 0;
        std::size_t total = 0;
        for (auto _ : state) {
            for (pugi::xml_node record : root.children("record")) {
                text = record.text().get();
                number = record.attribute("id").value();
                total += text.size() + number.size();
                ++records;
            }
        }
        finish_walk(state, id, records, total);
    })->Unit(benchmark::kMillisecond);
}

// ---- Pre-order traversal: classic handles against raw node pointers ----------------

// The two node kinds behind one loop, so that both traversals have the same shape.
bool is_null(const DOM_Node& node)
{
    return node.isNull();
}
bool is_null(const DOMNode* node)
{
    return node == nullptr;
}
DOM_Node first_child(const DOM_Node& node)
{
    return node.getFirstChild();
}
DOMNode* first_child(const DOMNode* node)
{
    return node->getFirstChild();
}
DOM_Node next_sibling(const DOM_Node& node)
{
    return node.getNextSibling();
}
DOMNode* next_sibling(const DOMNode* node)
{
    return node->getNextSibling();
}
DOM_Node parent_of(const DOM_Node& node)
{
    return node.getParentNode();
}
DOMNode* parent_of(const DOMNode* node)
{
    return node->getParentNode();
}
unsigned node_type(const DOM_Node& node)
{
    return static_cast<unsigned>(node.getNodeType());
}
unsigned node_type(const DOMNode* node)
{
    return static_cast<unsigned>(node->getNodeType());
}

using TypeCounts = std::array<std::size_t, 13>;

// Visits `root` and everything below it; returns the number of nodes.
template <class Node>
std::size_t traverse(const Node& root, TypeCounts& counts)
{
    std::size_t visited = 0;
    Node node = root;
    for (;;) {
        ++visited;
        ++counts[node_type(node) % counts.size()];
        Node next = first_child(node);
        while (is_null(next)) {
            if (node == root)
                return visited;
            next = next_sibling(node);
            if (is_null(next))
                node = parent_of(node);
        }
        node = std::move(next);
    }
}

template <class Node>
void run_traversal(benchmark::State& state, const Node& root, InputId id)
{
    TypeCounts counts{};
    std::size_t visited = 0;
    for (auto _ : state)
        visited = traverse(root, counts);
    benchmark::DoNotOptimize(counts);
    // One element and one white-space text per record, plus each record's
    // text, the document, the root and its last white space.
    const std::size_t expected = 3 * bench::record_count(id) + 3;
    if (visited != expected)
        state.SkipWithError("the traversal did not visit every node");
    state.counters["nodes"] = static_cast<double>(visited);
    bench::count_bytes(state, bench::input(id).text.size());
}

void register_traversal(InputId id)
{
    const char* size = bench::input_label(id);
    add("HandlesWalk", size, "xmlutil", [id](benchmark::State& state) {
        const DOM_Node root = bench::parsed_handles(id);
        run_traversal(state, root, id);
    })->Unit(benchmark::kMillisecond);
    add("HandlesWalk", size, "xerces", [id](benchmark::State& state) {
        const DOMNode* root = bench::parsed_raw(id);
        run_traversal(state, root, id);
    })->Unit(benchmark::kMillisecond);
}

// The same traversal, reading every node's name and value as a DOMString:
// the strings a classic program builds on each handle read.
std::size_t read_strings(const DOM_Node& root)
{
    std::size_t units = 0;
    DOM_Node node = root;
    for (;;) {
        units += node.getNodeName().length() + node.getNodeValue().length();
        DOM_Node next = node.getFirstChild();
        while (next.isNull()) {
            if (node == root)
                return units;
            next = node.getNextSibling();
            if (next.isNull())
                node = node.getParentNode();
        }
        node = std::move(next);
    }
}

void register_string_reads(InputId id)
{
    const char* size = bench::input_label(id);
    add("HandlesRead", size, "xmlutil", [id](benchmark::State& state) {
        const DOM_Node root = bench::parsed_handles(id);
        std::size_t units = 0;
        for (auto _ : state)
            units = read_strings(root);
        benchmark::DoNotOptimize(units);
        if (units == 0)
            state.SkipWithError("the traversal read no text");
        state.counters["units"] = static_cast<double>(units);
        bench::count_bytes(state, bench::input(id).text.size());
    })->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv)
{
    register_lookup();
    register_walk(InputId::records_1mb);
    register_walk(InputId::records_20mb);
    register_traversal(InputId::records_20mb);
    register_string_reads(InputId::records_20mb);
    return bench::run_benchmarks(argc, argv);
}
