// src/bank/send_apdu.cpp: bank. One APDU as hexadecimal text through card_APDU, and FuncSendICAPDU,
// which follows the card's 61xx and 6Cxx answers within the bounds of bank.h.
#include "bank/bank.h"
#include "core/log.h"
#include "crypto/encoders.h"
#include "vnr_32.h"

#include <cstring>
#include <string_view>

namespace vnr::bank {

namespace {

using Text = std::array<char, kApduTextRoom>;

std::size_t text_length(const Text& text) noexcept { return ::strnlen(text.data(), text.size()); }

}  // namespace

std::int16_t exchange_apdu_text(std::int32_t card_type, const char* apdu_text, std::span<char> reply_text) noexcept {
    const std::size_t digits = ::strnlen(apdu_text, kApduTextRoom);
    if (digits >= kApduTextRoom) return VNR_E_BAD_ARGUMENT;
    std::array<std::uint8_t, kApduBytesRoom + 1> command{};  // asc_hex writes a terminator behind the bytes
    const auto length = static_cast<std::uint32_t>(digits / 2);
    if (crypto::asc_hex(apdu_text, command.data(), length) != 0) return VNR_E_BAD_ARGUMENT;
    std::int32_t icdev = 0;
    {
        const core::LibraryGuard guard;
        icdev = bank_icdev(guard);
    }
    std::array<std::uint8_t, kCardAnswerRoom> answer{};
    std::uint32_t answer_length = 0;
    const std::int16_t status = card_APDU(icdev, static_cast<std::uint8_t>(card_type), static_cast<std::int32_t>(length),
                                          command.data(), &answer_length, answer.data());
    if (status != VNR_OK) return status;
    if (answer_length > answer.size() || 2u * answer_length + 1 > reply_text.size()) return VNR_E_END_BYTE;
    crypto::hex_asc(answer.data(), reply_text.data(), answer_length);
    return VNR_OK;
}

std::int32_t FuncSendICAPDU(const char* apdu_text, std::int32_t card_type, std::span<char> reply_text) noexcept {
    const std::size_t given = ::strnlen(apdu_text, kApduTextRoom);
    log::line("==> FuncSendICAPDU(), Send:%.*s", static_cast<int>(given), apdu_text);
    Text command{}, answer{}, collected{};
    if (given >= command.size()) {
        log::text("<== FuncSendICAPDU(), 命令超长");
        return -1;
    }
    std::memcpy(command.data(), apdu_text, given);
    std::size_t collected_length = 0;
    for (int follow_ups = 0;; ++follow_ups) {
        log::line("Send:[%s]", command.data());
        if (card_type != kContactCard && card_type != kContactlessCard) {
            log::text("<== FuncSendICAPDU(), 卡类型参数错误");
            return -1;
        }
        const std::int16_t status = exchange_apdu_text(card_type, command.data(), answer);
        log::line("Recv:[%s]", answer.data());
        if (status != VNR_OK) {
            log::text("<== FuncSendICAPDU(), RecvError!!!");
            return -1;
        }
        const std::size_t length = text_length(answer);
        if (length < 4) break;  // no status word: nothing to follow
        const std::string_view sw(answer.data() + length - 4, 4);
        const bool more = sw.starts_with("61"), again = sw.starts_with("6C");
        if (sw == "9000" || (!more && !again)) break;
        // A card that keeps asking would hold the caller for ever: it is given kMaxFollowUps.
        if (follow_ups == kMaxFollowUps) {
            log::text("<== FuncSendICAPDU(), 卡片续传次数超限");
            return -1;
        }
        if (more) {
            const std::size_t data = length - 4;
            if (collected_length + data >= collected.size()) {
                log::text("<== FuncSendICAPDU(), 应答数据超长");
                return -1;
            }
            std::memcpy(collected.data() + collected_length, answer.data(), data);
            collected_length += data;
            command.fill('\0');
            std::memcpy(command.data(), "00C00000", 8);
            std::memcpy(command.data() + 8, sw.data() + 2, 2);
        } else {
            // The expected length, the command's last byte, becomes the one the card named.
            const std::size_t command_length = text_length(command);
            if (command_length >= 2) std::memcpy(command.data() + command_length - 2, sw.data() + 2, 2);
        }
        answer.fill('\0');
    }
    const std::size_t answer_length = text_length(answer);
    if (collected_length + answer_length >= reply_text.size()) {
        log::text("<== FuncSendICAPDU(), 应答数据超长");
        return -1;
    }
    std::memcpy(reply_text.data(), collected.data(), collected_length);
    std::memcpy(reply_text.data() + collected_length, answer.data(), answer_length + 1);
    log::line("<== FuncSendICAPDU(), Recv:%s", reply_text.data());
    return 0;
}

}  // namespace vnr::bank
