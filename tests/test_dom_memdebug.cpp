// SPDX-License-Identifier: Apache-2.0
// DomMemDebug: what its counters count, and leak checks with snapshots.
#include "test_util.h"

#include <xercesc/framework/MemBufInputSource.hpp>

#include <thread>
#include <type_traits>
#include <vector>

namespace {

struct Live {
    int handles;
    int buffers;
    int nodes;
    int maps;
};

// The live counters of `after` minus those of `before`.
Live grown(const DomMemDebug& before, const DomMemDebug& after)
{
    return {after.liveStringHandles - before.liveStringHandles, after.liveStringBuffers - before.liveStringBuffers,
            after.liveNodeImpls - before.liveNodeImpls, after.liveNamedNodeMaps - before.liveNamedNodeMaps};
}

std::string difference(DomMemDebug& after, const DomMemDebug& before)
{
    testing::internal::CaptureStdout();
    after.printDifference(before);
    return testing::internal::GetCapturedStdout();
}

DOM_Document parse(const std::string& text)
{
    DOMParser parser;
    xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem", false);
    parser.parse(source);
    return parser.getDocument();
}

} // namespace

TEST(dom_memdebug, a_new_string_is_one_handle_and_one_buffer)
{
    DomMemDebug before;
    {
        DOMString s("abc");
        DomMemDebug during;
        EXPECT_EQ(1, during.liveStringHandles - before.liveStringHandles);
        EXPECT_EQ(1, during.totalStringHandles - before.totalStringHandles);
        EXPECT_EQ(1, during.liveStringBuffers - before.liveStringBuffers);
        EXPECT_EQ(1, during.totalStringBuffers - before.totalStringBuffers);
        EXPECT_TRUE(during != before);
    }
    DomMemDebug after;
    EXPECT_TRUE(after == before);
    EXPECT_EQ(1, after.totalStringHandles - before.totalStringHandles);
}

TEST(dom_memdebug, copies_and_null_strings_count_nothing)
{
    DOMString s("abc");
    DomMemDebug before;
    DOMString copy = s;
    DOMString assigned;
    assigned = s;
    DOMString null("");
    DOMString zero(0);
    DomMemDebug after;
    EXPECT_TRUE(after == before);
    EXPECT_EQ(before.totalStringHandles, after.totalStringHandles);
    EXPECT_EQ(before.totalStringBuffers, after.totalStringBuffers);
}

TEST(dom_memdebug, a_clone_is_a_live_handle_but_no_new_total)
{
    DOMString s("abc");
    DomMemDebug before;
    DOMString clone = s.clone();
    DomMemDebug cloned;
    EXPECT_EQ(1, cloned.liveStringHandles - before.liveStringHandles);
    EXPECT_EQ(0, cloned.totalStringHandles - before.totalStringHandles);
    EXPECT_EQ(0, cloned.liveStringBuffers - before.liveStringBuffers);
    // Its first change copies the shared buffer: a buffer, not a handle.
    clone.appendData(u'd');
    DomMemDebug changed;
    EXPECT_EQ(1, changed.liveStringHandles - before.liveStringHandles);
    EXPECT_EQ(1, changed.liveStringBuffers - before.liveStringBuffers);
    EXPECT_EQ(1, changed.totalStringBuffers - before.totalStringBuffers);
    EXPECT_EQ(0, changed.totalStringHandles - before.totalStringHandles);
}

TEST(dom_memdebug, a_string_freed_before_its_clone_is_counted_once)
{
    DomMemDebug before;
    {
        DOMString clone;
        {
            DOMString original("shared");
            clone = original.clone();
        }
        DomMemDebug one;
        EXPECT_EQ(1, one.liveStringHandles - before.liveStringHandles);
        EXPECT_EQ(1, one.liveStringBuffers - before.liveStringBuffers);
        clone += u"!";
    }
    DomMemDebug after;
    EXPECT_TRUE(after == before);
}

TEST(dom_memdebug, a_block_without_leaks_gives_equal_snapshots)
{
    DomMemDebug before;
    {
        DOM_Document doc = parse("<r a='1'><c>text</c><c/></r>");
        DOM_Element root = doc.getDocumentElement();
        DOMString name = root.getTagName();
        DOMString sum = name + root.getAttribute("a");
        sum.appendData(sum);
        sum.insertData(1, name.clone());
        DOMString part = sum.substringData(1, 2);
        root.setAttribute("b", part);
        root.appendChild(doc.createElement("d"));
        DOMString text = root.getFirstChild().getFirstChild().getNodeValue();
        text.deleteData(0, 2);
    }
    DomMemDebug after;
    EXPECT_TRUE(before == after);
    EXPECT_FALSE(before != after);
    EXPECT_EQ("\n", difference(after, before));
}

TEST(dom_memdebug, a_leaked_string_shows_in_the_difference)
{
    DomMemDebug before;
    auto* leaked = new DOMString("leak");
    DomMemDebug after;
    EXPECT_TRUE(after != before);
    EXPECT_EQ(" 1 StringHandles. 1 StringBuffers.\n", difference(after, before));
    EXPECT_EQ(" -1 StringHandles. -1 StringBuffers.\n", difference(before, after));
    delete leaked;
    DomMemDebug fixed;
    EXPECT_TRUE(fixed == before);
}

TEST(dom_memdebug, a_kept_node_keeps_its_document_counted)
{
    DomMemDebug before;
    DOM_Node kept = parse("<r a='1'><c/>t</r>").getDocumentElement();
    DomMemDebug after;
    EXPECT_TRUE(after != before);
    // The document, r, its attribute, c and the text; the maps of r and c.
    const Live live = grown(before, after);
    EXPECT_EQ(0, live.handles);
    EXPECT_EQ(5, live.nodes);
    EXPECT_EQ(2, live.maps);
    EXPECT_EQ(5, after.totalNodeImpls - before.totalNodeImpls);
    EXPECT_EQ(2, after.totalNamedNodeMaps - before.totalNamedNodeMaps);
    EXPECT_EQ(" 5 NodeImpls. 2 NamedNodeMaps.\n", difference(after, before));
    kept = 0;
    DomMemDebug released;
    EXPECT_TRUE(released == before);
}

TEST(dom_memdebug, a_document_type_brings_its_entities_and_notations)
{
    DomMemDebug before;
    DOM_Document doc = parse("<!DOCTYPE r [<!ENTITY e 'x'><!NOTATION n SYSTEM 'n.txt'>]><r/>");
    DomMemDebug after;
    // The document, the document type, e, n and r; two maps of the type, one of r.
    const Live live = grown(before, after);
    EXPECT_EQ(5, live.nodes);
    EXPECT_EQ(3, live.maps);
    doc = 0;
    DomMemDebug released;
    EXPECT_TRUE(released == before);
}

TEST(dom_memdebug, made_and_copied_documents_are_counted_too)
{
    DomMemDebug before;
    {
        DOM_Document made =
            DOM_DOMImplementation::getImplementation().createDocument(DOMString(), "root", DOM_DocumentType());
        DomMemDebug one;
        EXPECT_EQ(2, one.liveNodeImpls - before.liveNodeImpls);
        EXPECT_EQ(1, one.liveNamedNodeMaps - before.liveNamedNodeMaps);
        DOM_Node copy = made.cloneNode(true);
        DomMemDebug two;
        EXPECT_EQ(4, two.liveNodeImpls - before.liveNodeImpls);
        EXPECT_EQ(2, two.liveNamedNodeMaps - before.liveNamedNodeMaps);
    }
    DomMemDebug after;
    EXPECT_TRUE(after == before);
}

TEST(dom_memdebug, a_parser_keeps_its_document_until_it_ends)
{
    DomMemDebug before;
    {
        DOMParser parser;
        const std::string text = "<r><c/></r>";
        xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "mem",
                                          false);
        parser.parse(source);
        // The parser takes the document over when it is first asked for it,
        // and keeps it with no handle left.
        EXPECT_EQ(DOM_Node::DOCUMENT_NODE, parser.getDocument().getNodeType());
        DomMemDebug parsed;
        EXPECT_EQ(3, parsed.liveNodeImpls - before.liveNodeImpls);
        EXPECT_EQ(0, parsed.liveStringHandles - before.liveStringHandles);
    }
    DomMemDebug after;
    EXPECT_TRUE(after == before);
}

TEST(dom_memdebug, print_writes_eight_labelled_lines)
{
    DomMemDebug snapshot;
    snapshot.liveStringHandles = 1;
    snapshot.totalStringHandles = 2;
    snapshot.liveStringBuffers = 3;
    snapshot.totalStringBuffers = 4;
    snapshot.liveNodeImpls = 5;
    snapshot.totalNodeImpls = 6;
    snapshot.liveNamedNodeMaps = 7;
    snapshot.totalNamedNodeMaps = 8;
    testing::internal::CaptureStdout();
    snapshot.print();
    EXPECT_EQ("liveStringHandles  = 1\n"
              "totalStringHandles = 2\n"
              "liveStringBuffers  = 3\n"
              "totalStringBuffers = 4\n"
              "liveNodeImpls      = 5\n"
              "totalNodeImpls     = 6\n"
              "liveNamedNodeMaps  = 7\n"
              "totalNamedNodeMaps = 8\n",
              testing::internal::GetCapturedStdout());
}

TEST(dom_memdebug, comparison_looks_at_the_live_counters_only)
{
    DomMemDebug a;
    DomMemDebug b;
    b.totalStringHandles += 10;
    b.totalStringBuffers += 10;
    b.totalNodeImpls += 10;
    b.totalNamedNodeMaps += 10;
    EXPECT_TRUE(a == b);
    b.liveNamedNodeMaps += 1;
    EXPECT_TRUE(a != b);
    EXPECT_EQ(" 1 NamedNodeMaps.\n", difference(b, a));
    b.liveNodeImpls -= 2;
    EXPECT_EQ(" -2 NodeImpls. 1 NamedNodeMaps.\n", difference(b, a));
}

TEST(dom_memdebug, assignment_copies_all_eight_and_returns_nothing)
{
    static_assert(std::is_same<decltype(std::declval<DomMemDebug&>() = std::declval<const DomMemDebug&>()),
                                void>::value,
                  "classic assignment returns void");
    DomMemDebug source;
    source.totalNodeImpls = 42;
    source.liveStringBuffers = 7;
    DomMemDebug target;
    target = source;
    EXPECT_EQ(42, target.totalNodeImpls);
    EXPECT_EQ(7, target.liveStringBuffers);
    EXPECT_EQ(source.totalStringHandles, target.totalStringHandles);
}

TEST(dom_memdebug, strings_shared_across_threads_are_counted_exactly)
{
    DomMemDebug before;
    {
        const DOMString shared("shared between threads");
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&shared] {
                for (int i = 0; i < 2000; ++i) {
                    DOMString copy = shared;
                    DOMString clone = shared.clone();
                    clone.appendData(u'!');
                    DOMString sum = copy + clone;
                    if (sum.length() != 2 * shared.length() + 1)
                        std::abort();
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ("shared between threads", str(shared));
    }
    DomMemDebug after;
    EXPECT_TRUE(after == before);
    // Clones and sums are no new handles; each round made two buffers, for
    // the clone's change and the sum's.
    EXPECT_EQ(1, after.totalStringHandles - before.totalStringHandles);
    EXPECT_EQ(1 + 4 * 2000 * 2, after.totalStringBuffers - before.totalStringBuffers);
}
