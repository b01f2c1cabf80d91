// SPDX-License-Identifier: Apache-2.0
#include "bench_support.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>

namespace bench {

namespace {

[[noreturn]] void throw_report(const char* kind, const xercesc::SAXParseException& e)
{
    char* message = xercesc::XMLString::transcode(e.getMessage());
    const std::string text = std::string(kind) + ": " + message;
    xercesc::XMLString::release(&message);
    throw std::runtime_error(text);
}

template <class Parse>
xercesc::DOMDocument* raw_parse(Parse&& parse)
{
    xercesc::XercesDOMParser parser;
    ThrowingErrorHandler handler;
    parser.setErrorHandler(&handler);
    parse(parser);
    return parser.adoptDocument();
}

long status_kib(const char* field)
{
    FILE* status = std::fopen("/proc/self/status", "r");
    if (!status)
        return -1;
    char line[256];
    long value = -1;
    const std::size_t length = std::strlen(field);
    while (std::fgets(line, sizeof line, status)) {
        if (std::strncmp(line, field, length) == 0 && line[length] == ':') {
            value = std::strtol(line + length + 1, nullptr, 10);
            break;
        }
    }
    std::fclose(status);
    return value;
}

} // namespace

void ThrowingErrorHandler::warning(const xercesc::SAXParseException& e)
{
    throw_report("warning", e);
}

void ThrowingErrorHandler::error(const xercesc::SAXParseException& e)
{
    throw_report("error", e);
}

void ThrowingErrorHandler::fatalError(const xercesc::SAXParseException& e)
{
    throw_report("fatal error", e);
}

xercesc::DOMDocument* raw_parse_buffer(const std::string& text)
{
    return raw_parse([&](xercesc::XercesDOMParser& parser) {
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                                "raw-buffer", false);
        parser.parse(source);
    });
}

xercesc::DOMDocument* raw_parse_file(const std::string& path)
{
    return raw_parse([&](xercesc::XercesDOMParser& parser) { parser.parse(path.c_str()); });
}

cXML_Utility& parsed_facade(InputId id)
{
    static std::map<InputId, std::unique_ptr<cXML_Utility>> cache;
    std::unique_ptr<cXML_Utility>& slot = cache[id];
    if (!slot) {
        const Input& in = input(id);
        slot = std::make_unique<cXML_Utility>(0);
        if (!slot->Parse(in.text.data(), static_cast<unsigned int>(in.text.size()), false))
            throw std::runtime_error("facade parse failed");
    }
    return *slot;
}

DOM_Document parsed_handles(InputId id)
{
    static std::map<InputId, DOM_Document> cache;
    DOM_Document& slot = cache[id];
    if (slot.isNull()) {
        const Input& in = input(id);
        slot = ParseBuffer(in.text.data(), static_cast<unsigned int>(in.text.size()), false);
    }
    return slot;
}

xercesc::DOMDocument* parsed_raw(InputId id)
{
    struct Release {
        void operator()(xercesc::DOMDocument* doc) const { doc->release(); }
    };
    static std::map<InputId, std::unique_ptr<xercesc::DOMDocument, Release>> cache;
    auto& slot = cache[id];
    if (!slot)
        slot.reset(raw_parse_buffer(input(id).text));
    return slot.get();
}

pugi::xml_document& parsed_pugi(InputId id)
{
    static std::map<InputId, std::unique_ptr<pugi::xml_document>> cache;
    std::unique_ptr<pugi::xml_document>& slot = cache[id];
    if (!slot) {
        const Input& in = input(id);
        slot = std::make_unique<pugi::xml_document>();
        if (!slot->load_buffer(in.text.data(), in.text.size(), pugi::parse_default, pugi_encoding(in)))
            throw std::runtime_error("pugixml parse failed");
    }
    return *slot;
}

pugi::xml_encoding pugi_encoding(const Input& in)
{
    return in.latin1 ? pugi::encoding_latin1 : pugi::encoding_auto;
}

void count_bytes(benchmark::State& state, std::size_t bytesPerIteration)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations())
                            * static_cast<std::int64_t>(bytesPerIteration));
}

std::string bench_name(const std::string& workload, const std::string& size, const std::string& subject)
{
    return "BM_" + workload + "/" + size + "/" + subject;
}

benchmark::internal::Benchmark* add(const std::string& workload, const std::string& size,
                                    const std::string& subject, std::function<void(benchmark::State&)> body)
{
    const std::string name = bench_name(workload, size, subject);
    // Child processes and file writes spend their time outside this
    // process's CPU clock, so every benchmark is timed by the wall clock.
    // A failure (a parse error, a library exception) marks the run as failed
    // in the output instead of ending the whole program.
    auto guarded = [body = std::move(body)](benchmark::State& state) {
        try {
            body(state);
        } catch (const std::exception& e) {
            state.SkipWithError(e.what());
        }
    };
    return benchmark::RegisterBenchmark(name.c_str(), std::move(guarded))->UseRealTime();
}

int run_benchmarks(int argc, char** argv)
{
    // Counted: the library's own Initialize calls do nothing more.
    xercesc::XMLPlatformUtils::Initialize();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

int run_program(const std::vector<std::string>& args, std::string* output)
{
    std::vector<char*> argv;
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);

    int pipeEnds[2] = {-1, -1};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output) {
        if (pipe(pipeEnds) != 0)
            throw std::runtime_error("pipe failed");
        posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
        posix_spawn_file_actions_addclose(&actions, pipeEnds[1]);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = -1;
    const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (output) {
        close(pipeEnds[1]);
        if (spawned == 0) {
            char buffer[4096];
            ssize_t got;
            while ((got = read(pipeEnds[0], buffer, sizeof buffer)) > 0 || (got < 0 && errno == EINTR)) {
                if (got > 0)
                    output->append(buffer, static_cast<std::size_t>(got));
            }
        }
        close(pipeEnds[0]);
    }
    if (spawned != 0)
        throw std::runtime_error("cannot start " + args.front());
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            throw std::runtime_error("waitpid failed");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

long peak_rss_kib()
{
    return status_kib("VmHWM");
}

long current_rss_kib()
{
    return status_kib("VmRSS");
}

} // namespace bench
