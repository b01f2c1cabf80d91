// SPDX-License-Identifier: Apache-2.0
#include "command.h"

#include "file_replace.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace xmlutil_cli {

void write_out(const char* data, std::size_t size)
{
    if (int error = xmlutil_detail::write_all(STDOUT_FILENO, data, size)) {
        throw command_failure{exit_io, std::string("standard output: ") + std::strerror(error)};
    }
}

void write_out(const std::string& text)
{
    write_out(text.data(), text.size());
}

std::size_t read_some(int fd, char* buffer, std::size_t size, const std::string& label)
{
    for (;;) {
        const ssize_t got = read(fd, buffer, size);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR) {
            throw command_failure{exit_io, label + ": " + std::strerror(errno)};
        }
    }
}

std::size_t read_in(char* buffer, std::size_t size)
{
    return read_some(STDIN_FILENO, buffer, size, "standard input");
}

std::string read_stream(int fd, const std::string& label)
{
    std::string bytes;
    char block[65536];
    for (;;) {
        const std::size_t got = read_some(fd, block, sizeof block, label);
        if (got == 0) {
            return bytes;
        }
        if (bytes.size() + got > max_stream_input) {
            throw command_failure{exit_io, label + ": more than 1 GiB, the most read from a pipe or device"};
        }
        bytes.append(block, got);
    }
}

} // namespace xmlutil_cli
