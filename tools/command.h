// SPDX-License-Identifier: Apache-2.0
// What the tool's command files share with its main(): the failure that ends
// a command, the exit codes and the commands kept outside xmlutil.cpp.
#ifndef XMLUTIL_TOOLS_COMMAND_H
#define XMLUTIL_TOOLS_COMMAND_H

#include <cstddef>
#include <string>

namespace xmlutil_cli {

enum exit_code { exit_done = 0, exit_negative = 1, exit_bad_usage = 2, exit_io = 3 };

// Ends the command with `status`; `message` is its line on standard error
// (main() puts "xmlutil: " in front), none when empty.
struct command_failure {
    int status;
    std::string message;
};

// Writes all of it to standard output, or throws (exit 3).
void write_out(const char* data, std::size_t size);
void write_out(const std::string& text);

// One read(2) of `fd` (standard input by default), tried again after a
// signal; 0 at its end. Throws (exit 3, "LABEL: error") for an error.
std::size_t read_in(char* buffer, std::size_t size);
std::size_t read_some(int fd, char* buffer, std::size_t size, const std::string& label);

// What standard input, a pipe or a device may bring: it has to be held in
// memory, and has no size to check beforehand.
constexpr std::size_t max_stream_input = std::size_t(1) << 30;

// All of `fd` up to its end; more than max_stream_input throws (exit 3).
std::string read_stream(int fd, const std::string& label);

// `xmlutil base64 ARGS...` and `xmlutil validate ARGS...`: the arguments after
// the command's name; the exit status is returned, or a failure thrown.
int run_base64_command(int argc, char** argv);
int run_validate_command(int argc, char** argv);

} // namespace xmlutil_cli

#endif
