// SPDX-License-Identifier: Apache-2.0
// Parses, edits, saves and re-parses one large document, either through
// xmlutil or through raw Xerces-C 3.2, and prints the time of each step and
// the peak resident memory. Used by scripts/big-document.sh.
#include "xmlutil.h"

#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/LocalFileFormatTarget.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

using namespace xercesc;

namespace {

double seconds(const std::function<void()>& step)
{
    const auto start = std::chrono::steady_clock::now();
    step();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

long peak_mib()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

int run_xmlutil(const char* in, const char* out)
{
    cXML_Utility xml(0);
    const double parse = seconds([&] {
        if (!xml.Parse(std::string(in)))
            throw std::runtime_error("parse failed");
    });
    const double edit = seconds([&] {
        xml.SaveNodeAttribute("edited", "yes");
        xml.ActivateNode("item");
        xml.SaveNodeData("note", "changed by the big-document check");
        xml.DeactivateNode();
    });
    const double save = seconds([&] { xml.SaveToFile(out); });
    std::string note;
    const double reparse = seconds([&] {
        cXML_Utility again(0);
        if (!again.Parse(std::string(out)) || !again.ActivateNode("item") || !again.ReadNodeDataFrom("note", note, ""))
            throw std::runtime_error("re-parse failed");
    });
    std::printf("xmlutil   parse %.2f s  edit %.3f s  save %.2f s  re-parse %.2f s  peak %ld MiB  (%s)\n", parse, edit,
                save, reparse, peak_mib(), note.c_str());
    return 0;
}

int run_xerces(const char* in, const char* out)
{
    XMLPlatformUtils::Initialize();
    {
        XercesDOMParser parser;
        const double parse = seconds([&] { parser.parse(in); });
        DOMDocument* doc = parser.getDocument();
        if (!doc || parser.getErrorCount() != 0)
            throw std::runtime_error("parse failed");
        const double edit = seconds([&] {
            DOMElement* root = doc->getDocumentElement();
            root->setAttribute(u"edited", u"yes");
            DOMElement* note = doc->createElement(u"note");
            note->appendChild(doc->createTextNode(u"changed by the big-document check"));
            root->getFirstElementChild()->appendChild(note);
        });
        const double save = seconds([&] {
            DOMImplementation* impl = DOMImplementationRegistry::getDOMImplementation(u"LS");
            DOMLSSerializer* writer = impl->createLSSerializer();
            writer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
            DOMLSOutput* target = impl->createLSOutput();
            LocalFileFormatTarget file(out);
            target->setByteStream(&file);
            writer->write(doc, target);
            target->release();
            writer->release();
        });
        const double reparse = seconds([&] {
            XercesDOMParser again;
            again.parse(out);
            if (!again.getDocument() || again.getErrorCount() != 0)
                throw std::runtime_error("re-parse failed");
        });
        std::printf("xerces    parse %.2f s  edit %.3f s  save %.2f s  re-parse %.2f s  peak %ld MiB\n", parse, edit, save,
                    reparse, peak_mib());
    }
    XMLPlatformUtils::Terminate();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4 || (std::strcmp(argv[1], "xmlutil") != 0 && std::strcmp(argv[1], "xerces") != 0)) {
        std::fprintf(stderr, "usage: big_document xmlutil|xerces IN OUT\n");
        return 2;
    }
    try {
        return std::strcmp(argv[1], "xmlutil") == 0 ? run_xmlutil(argv[2], argv[3]) : run_xerces(argv[2], argv[3]);
    } catch (const std::exception& e) { // cTextException too
        std::fprintf(stderr, "big_document: %s\n", e.what());
    }
    return 1;
}
