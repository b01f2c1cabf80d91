// SPDX-License-Identifier: Apache-2.0
// The documents every benchmark reads, built the same way in every run, and
// their copies on disk for the file workloads.
#ifndef XMLUTIL_BENCH_INPUTS_H
#define XMLUTIL_BENCH_INPUTS_H

#include <string>
#include <utility>
#include <vector>

namespace bench {

enum class InputId { config, records_1mb, records_20mb, chain };

struct Input {
    const char* label; // size column of the benchmark name: "config", "1MB", "20MB", "chain"
    std::string text;  // the whole document
    std::string path;  // the same bytes in a file of the temporary directory
    bool latin1;       // declared ISO-8859-1 (pugixml must be told); otherwise UTF-8
};

// The input, generated and written to its file on first use.
const Input& input(InputId id);
// The input's label, without generating it.
const char* input_label(InputId id);

// The 100 (section, key) element names of the configuration, section by section.
const std::vector<std::pair<std::string, std::string>>& config_names();
// The text the configuration holds for one (section, key) pair.
std::string config_value(int section, int key);

// Number of <record> elements in a records document.
std::size_t record_count(InputId id);

// A path in the temporary directory of this process, which is removed at exit.
std::string temp_path(const std::string& fileName);

} // namespace bench

#endif // XMLUTIL_BENCH_INPUTS_H
