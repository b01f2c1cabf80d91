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

std::size_t read_in(char* buffer, std::size_t size)
{
    for (;;) {
        const ssize_t got = read(STDIN_FILENO, buffer, size);
        if (got >= 0) {
            return static_cast<std::size_t>(got);
        }
        if (errno != EINTR) {
            throw command_failure{exit_io, std::string("standard input: ") + std::strerror(errno)};
        }
    }
}

} // namespace xmlutil_cli
