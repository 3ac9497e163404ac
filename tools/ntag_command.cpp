// tools/ntag_command.cpp: the command-line tool. vnr ntag: activate an NTAG215 tag and read four pages,
// write one page, or initialise a delivered tag (new password, a text from page 0x50 on, the lock).
#include "cli.h"
#include "platform/text.h"
#include "verbs.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::tool {

namespace {

constexpr const char* kUsage =
    "usage: vnr ntag read PAGE [--key HEX] | write PAGE HEX [--key HEX] | init --key HEX --text T\n";
constexpr std::size_t kPageSize = 4, kReadRoom = 100, kPagesRead = 4, kLongestText = 192;

struct NtagOptions {
    OpenOptions open;
    std::string verb;
    std::optional<std::uint8_t> page;
    std::vector<std::uint8_t> data, key;
    std::optional<std::string> text;  // GBK
};

bool parse(int argc, char** argv, NtagOptions& o) {
    std::vector<std::string_view> words;
    for (int i = 0; i < argc; ++i) {
        const int taken = take_open_option(argc, argv, i, o.open);
        if (taken < 0) return false;
        if (taken > 0) continue;
        const std::string_view arg = argv[i];
        if ((arg == "--key" || arg == "--text") && i + 1 < argc) {
            const std::string_view value = argv[++i];
            if (arg == "--text") {
                o.text.emplace();
                if (!platform::utf8_to_gbk(value, *o.text)) o.text = std::string(value);
                continue;
            }
            const auto key = parse_hex(value);
            if (!key || key->size() != kPageSize) return std::fprintf(stderr, "vnr: --key takes 4 bytes in hexadecimal\n"), false;
            o.key = *key;
        } else {
            words.push_back(arg);
        }
    }
    if (words.empty()) return false;
    o.verb = words[0];
    if (o.verb == "init") return words.size() == 1 && !o.key.empty() && o.text;
    if (o.verb != "read" && o.verb != "write") return false;
    if (words.size() != (o.verb == "read" ? 2u : 3u) || o.text) return false;
    const auto page = parse_number(words[1], 0, 255);
    if (!page) return std::fprintf(stderr, "vnr: PAGE is a number from 0 to 255\n"), false;
    o.page = static_cast<std::uint8_t>(*page);
    if (o.verb == "read") return true;
    const auto data = parse_hex(words[2]);
    if (!data || data->size() != kPageSize) return std::fprintf(stderr, "vnr: a page takes 4 bytes in hexadecimal\n"), false;
    o.data = *data;
    return true;
}

// What NTAG215_Init's result says.
const char* init_failure(std::int16_t result) {
    switch (result) {
        case VNR_NTAG215_INIT_AUTHENTICATION: return "the tag did not take the default password FFFFFFFF";
        case VNR_NTAG215_INIT_CHANGE_KEY: return "the new password could not be written";
        case VNR_NTAG215_INIT_WRITE_PAGE: return "a page of the text could not be written (the new password stands)";
        case VNR_NTAG215_INIT_WRITE_LOCK: return "the lock bytes could not be written (password and text stand)";
        case VNR_NTAG215_INIT_TEXT: return "the text is longer than 192 bytes (the new password stands)";
        default: return "failed";
    }
}

int run(std::int32_t handle, const NtagOptions& o) {
    if (const std::int16_t status = open_rf(handle); status != VNR_OK) return report_failure("switching the RF field on", status);
    std::uint8_t uid[7] = {};
    if (const std::int16_t status = NTAG215_OpenCard(handle, uid); status != VNR_OK)
        return report_failure("activating a tag", status);
    // NTAG215_OpenCard gives the identifier last byte first; shown in the tag's own order.
    std::reverse(std::begin(uid), std::end(uid));
    std::fprintf(stderr, "tag %s\n", to_hex(uid).c_str());
    if (o.verb == "init") {
        const std::int16_t result = NTAG215_Init(handle, o.key.data(), o.text->c_str());
        if (result != VNR_OK) {
            std::fprintf(stderr, "vnr: initialising the tag: %s (%d)\n", init_failure(result), result);
            return 1;
        }
        std::printf("initialised: new password set, %zu bytes of text from page 0x50, locked\n", o.text->size());
        return 0;
    }
    if (!o.key.empty())
        if (const std::int16_t status = NTAG215_Authentication(handle, o.key.data(), kPageSize); status != VNR_OK)
            return report_failure("authenticating with the password", status);
    if (o.verb == "write") {
        if (const std::int16_t status = NTAG215_Write_4bytes(handle, *o.page, o.data.data()); status != VNR_OK)
            return report_failure("writing the page", status);
        std::printf("page %02X  %s  written\n", *o.page, to_hex(o.data).c_str());
        return 0;
    }
    std::uint8_t out[kReadRoom] = {};
    if (const std::int16_t status = NTAG215_Read(handle, *o.page, out); status != VNR_OK)
        return report_failure("reading the pages", status);
    // A read answers four pages, from PAGE on.
    for (std::size_t i = 0; i < kPagesRead; ++i)
        std::printf("page %02X  %s\n", static_cast<unsigned>((*o.page + i) & 0xFF),
                    to_hex({out + i * kPageSize, kPageSize}).c_str());
    return 0;
}

}  // namespace

int ntag_command(int argc, char** argv) {
    NtagOptions options;
    if (!parse(argc, argv, options)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    // Refused here, before the tag's password is changed, rather than by NTAG215_Init after it.
    if (options.text && options.text->size() > kLongestText) {
        std::fprintf(stderr, "vnr: the text takes %zu bytes; a tag holds at most %zu\n", options.text->size(), kLongestText);
        return 2;
    }
    const OpenReader reader(options.open);
    if (!reader) return 1;
    return run(reader.handle(), options);
}

}  // namespace vnr::tool
