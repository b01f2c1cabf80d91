// SPDX-License-Identifier: Apache-2.0
// `xmlutil base64 encode|decode`: standard input to standard output with the
// tool's own codec, in blocks, so input of any size streams through.
#include "base64_codec.h"
#include "command.h"

#include <string>
#include <vector>

namespace xmlutil_cli {

namespace {

const char* const base64_usage = "xmlutil base64 encode|decode";

const char* const base64_help = R"(Usage: xmlutil base64 encode|decode

encode  reads bytes from standard input and writes their Base64 text (RFC 4648,
        standard alphabet, "=" padding) in lines of 76 characters, each ended
        by a newline, as base64(1) writes it; nothing for no input.
decode  reads Base64 text from standard input and writes its bytes. White space
        and line ends are skipped wherever they stand. The text ends with a
        whole group of four characters, the last one padded with "=" when the
        data is not a multiple of three bytes long. Any other byte, a
        misplaced "=", text after the padding, or an incomplete last group is
        an error that names the offset of the byte in the input, counted from
        0; the bytes of the groups before it have been written by then.

Every byte string, zero bytes included, comes back unchanged from encode
followed by decode. (The library's Base64Encode and Base64Decode are another
codec, with a rule of their own for a zero byte in a short last group.)

Exit status: 0 done, 1 invalid Base64 text, 2 usage error, 3 I/O error.
)";

command_failure usage(const std::string& what)
{
    return {exit_bad_usage, what + " (usage: " + base64_usage + ")"};
}

void encode_stdin()
{
    base64_encoder encoder;
    std::vector<char> block(65536);
    std::string text;
    for (;;) {
        const std::size_t got = read_in(block.data(), block.size());
        if (got == 0) {
            break;
        }
        encoder.update(reinterpret_cast<const unsigned char*>(block.data()), got, text);
        write_out(text);
        text.clear();
    }
    encoder.finish(text);
    write_out(text);
}

void decode_stdin()
{
    base64_decoder decoder;
    std::vector<char> block(65536);
    std::string bytes;
    try {
        for (;;) {
            const std::size_t got = read_in(block.data(), block.size());
            if (got == 0) {
                break;
            }
            try {
                decoder.update(block.data(), got, bytes);
            } catch (const base64_error&) {
                // What came before the bad byte is written first.
                write_out(bytes);
                throw;
            }
            write_out(bytes);
            bytes.clear();
        }
        decoder.finish();
    } catch (const base64_error& e) {
        throw command_failure{exit_negative, std::string("base64: ") + e.what()};
    }
}

} // namespace

int run_base64_command(int argc, char** argv)
{
    std::vector<std::string> operands;
    bool options_done = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (options_done || arg.size() < 2 || arg[0] != '-') {
            operands.push_back(arg);
        } else if (arg == "--") {
            options_done = true;
        } else if (arg == "-h" || arg == "--help") {
            write_out(base64_help);
            return exit_done;
        } else {
            throw usage("unknown option '" + arg + "'");
        }
    }
    if (operands.empty()) {
        throw usage("missing encode or decode");
    }
    if (operands.size() > 1) {
        throw usage("unexpected argument '" + operands[1] + "'");
    }
    if (operands[0] == "encode") {
        encode_stdin();
    } else if (operands[0] == "decode") {
        decode_stdin();
    } else {
        throw usage("unknown mode '" + operands[0] + "'");
    }
    return exit_done;
}

} // namespace xmlutil_cli
