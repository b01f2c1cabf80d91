// SPDX-License-Identifier: Apache-2.0
// Process start to finish: a tiny program that parses the configuration file
// and prints one value, on the library and on raw Xerces-C, started afresh
// (posix_spawn, output to /dev/null) and waited for in every iteration.
#include "bench_support.h"

namespace {

using bench::InputId;

void register_startup(const char* subject, const char* program)
{
    bench::add("Startup", "config", subject, [program](benchmark::State& state) {
        const std::vector<std::string> args = {program, bench::input(InputId::config).path};
        // One untimed run checks that the program prints the right value.
        std::string output;
        if (bench::run_program(args, &output) != 0 || output != bench::config_value(3, 7) + "\n") {
            state.SkipWithError("the program failed or printed a wrong value");
            return;
        }
        for (auto _ : state) {
            if (bench::run_program(args, nullptr) != 0) {
                state.SkipWithError("the program failed");
                break;
            }
        }
    })->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv)
{
    register_startup("xmlutil", XMLUTIL_BENCH_STARTUP_XMLUTIL);
    register_startup("xerces", XMLUTIL_BENCH_STARTUP_XERCES);
    return bench::run_benchmarks(argc, argv);
}
