// tools/des_command.cpp: the command-line tool. vnr des enc|dec KEY HEX: enciphers or deciphers a message
// block by block (ECB) with the library's DES (an 8-byte key) or two-key triple DES (a 16-byte key), a short
// last block filled with zeros. Needs no reader.
#include "verb_args.h"
#include "verbs.h"
#include "vnr_32.h"

#include <cstring>
#include <vector>

namespace vnr::tool {

namespace {
constexpr std::size_t kDesKey = 8;
constexpr std::size_t kTripleKey = 16;
constexpr std::size_t kBlock = 8;
constexpr std::size_t kLongestMessage = 65535;
}  // namespace

int des_command(int argc, char** argv) {
    if (argc != 3 || (std::strcmp(argv[0], "enc") != 0 && std::strcmp(argv[0], "dec") != 0))
        return usage_error("des takes enc|dec KEY HEX (a key of 8 or 16 bytes, the message in hexadecimal)");
    const bool encipher = std::strcmp(argv[0], "enc") == 0;
    const auto key = parse_hex(argv[1]);
    const auto message = parse_hex(argv[2]);
    if (!key || (key->size() != kDesKey && key->size() != kTripleKey))
        return usage_error("the key is 8 bytes (DES) or 16 bytes (two-key triple DES) of hexadecimal");
    if (!message || message->empty() || message->size() > kLongestMessage)
        return usage_error("the message is 1 to 65535 bytes of hexadecimal");
    std::vector<uint8_t> out((message->size() + kBlock - 1) / kBlock * kBlock);
    if (key->size() == kDesKey) {
        const auto length = static_cast<uint16_t>(message->size());
        (encipher ? rf_encrypt : rf_decrypt)(key->data(), message->data(), length, out.data());
    } else {
        // Triple DES takes at most two blocks a call; the message goes through two blocks at a time.
        std::vector<uint8_t> padded(*message);
        padded.resize(out.size(), 0);
        for (std::size_t at = 0; at < padded.size(); at += 2 * kBlock) {
            const auto chunk = static_cast<uint8_t>(std::min(2 * kBlock, padded.size() - at));
            const int16_t status = (encipher ? des3_encrypt : des3_decrypt)(key->data(), padded.data() + at, chunk,
                                                                            out.data() + at);
            if (status != VNR_OK) return report_failure(encipher ? "des3_encrypt" : "des3_decrypt", status);
        }
    }
    std::printf("%s\n", to_hex(out).c_str());
    return 0;
}

}  // namespace vnr::tool
