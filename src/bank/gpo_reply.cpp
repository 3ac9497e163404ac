// src/bank/gpo_reply.cpp: bank. UnPackGPOReturnData: the AFL behind the application interchange profile
// 7C00 in the GPO answer's text, its records read, and tags 57 and 5F20 taken from them.
#include "bank/bank.h"
#include "core/log.h"

#include <cctype>
#include <cstring>
#include <string>

namespace vnr::bank {

namespace {

constexpr std::string_view kExpectedProfile = "7C00";
constexpr std::size_t kAflEntryDigits = 8;

}  // namespace

std::int32_t UnPackGPOReturnData(std::span<char> gpo_text, std::int32_t card_type, std::span<char> track_text,
                                 std::span<char> name_text) noexcept {
    try {
        const std::size_t length = ::strnlen(gpo_text.data(), gpo_text.size());
        log::line("==> UnPackGPOReturnData(), Send: Release---------lpInGPOReturnData = %.*s", static_cast<int>(length),
                  gpo_text.data());
        for (std::size_t i = 0; i < length; ++i)
            gpo_text[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(gpo_text[i])));
        const std::string answer(gpo_text.data(), length);

        // The answer is not parsed as TLV: the AFL is taken to follow the profile's digits, whatever the
        // layout around them.
        const std::size_t profile = answer.find(kExpectedProfile);
        if (profile == std::string::npos) {
            log::text("<== UnPackGPOReturnData(), 查无7C00!!!");
            return -1;
        }
        int hits = 0;
        const auto take_tags = [&](const char* text) {
            if (find_tag_hex(text, "57", track_text) == 0) {
                ++hits;
                log::line("Tag = 57----TagValue = %s", track_text.data());
            }
            if (find_tag_hex(text, "5F20", name_text) == 0) {
                ++hits;
                log::line("Tag = 5F20----TagValue = %s", name_text.data());
            }
        };
        std::array<ReadCommand, kMaxReadCommands> commands{};
        std::array<char, kRecordTextRoom> record{};
        for (std::size_t at = profile + kExpectedProfile.size(); at < answer.size() && hits < 2; at += kAflEntryDigits) {
            // The last piece is the one that holds the status word.
            std::int32_t count = 0;
            afl_to_read_commands(std::string_view(answer).substr(at, kAflEntryDigits), commands, &count);
            if (count == 0) {
                take_tags(answer.c_str());
                continue;
            }
            for (std::int32_t i = 0; i < count && hits < 2; ++i) {
                record.fill('\0');
                if (FuncSendICAPDU(commands[static_cast<std::size_t>(i)].data(), card_type, record) != 0) return -2;
                const std::string_view text(record.data());
                if (!text.ends_with("9000")) return -2;
                take_tags(record.data());
            }
        }
        if (hits == 0) {
            log::line("<== UnPackGPOReturnData(), Recv: %s", "");
            return -3;
        }
        log::text("<== UnPackGPOReturnData()");
        return 0;
    } catch (...) {  // no room for the answer's copy
        return -3;
    }
}

}  // namespace vnr::bank
