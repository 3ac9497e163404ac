// src/reader/eeprom.cpp: reader. dev_readeeprom and dev_writeeeprom: the reader's 200-byte user EEPROM,
// which the reader addresses in two-byte words (word n holds bytes 2n and 2n+1) while the caller works
// in bytes. A read at an odd byte starts one byte early and drops it; a count is rounded up to whole
// words. A write that does not cover whole words first reads the neighbouring bytes of its first and
// last word (through the exported read, with the lock given up around it) and sends them back with the
// caller's bytes.
#include "core/boundary.h"
#include "core/call.h"
#include "core/command.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <optional>

namespace vnr::reader {

namespace {

using core::Call;
using core::ReplyRoom;

constexpr std::uint32_t kEepromSize = 200;
constexpr std::uint8_t kEepromGroup = 0xC0;
constexpr std::uint8_t kEepromWrite = 0x0A;
constexpr std::uint8_t kEepromRead = 0x0B;
constexpr std::size_t kWriteReplyRoom = 100;  // a write's reply carries no data

// C0 0B|0A, 00, word, count high, count low: the head of both commands.
core::CommandBytes eeprom_head(std::uint8_t code, std::uint32_t word, std::uint32_t count) {
    core::CommandBytes command;
    command.push(kEepromGroup);
    command.push(code);
    command.push(0x00);
    command.push(static_cast<std::uint8_t>(word));
    command.push_be16(count);
    return command;
}

constexpr std::uint32_t round_to_words(std::uint32_t count) noexcept { return count + count % 2; }

std::int16_t read_eeprom(std::int32_t icdev, std::uint16_t address, std::uint16_t length, std::uint8_t* data) {
    Call call("-----dev_readeeprom()----- ");
    if (const auto refused = call.refused(
            {core::argument_check(address < kEepromSize && length >= 1 && length <= kEepromSize &&
                                      address + length <= kEepromSize,
                                  "==>dev_readeeprom(), nAddr参数不合法。"),
             core::handle_check(icdev, "==>dev_readeeprom(), 句柄无效。"),
             core::argument_check(data != nullptr, "==>dev_readeeprom(), data参数为空。")}))
        return *refused;
    // An odd address reads from the byte before it, the first byte of its word, and drops that byte.
    const std::uint32_t skip = address % 2;
    const std::uint32_t count = round_to_words(length + skip);
    ReplyRoom room(count);
    const core::Reply reply = call.exchange(icdev, eeprom_head(kEepromRead, (address - skip) / 2, count).view(), room);
    if (!reply.ok()) return call.finish(reply.status, nullptr);
    // Fewer bytes than asked for are refused: zeros in their place would be taken for the EEPROM's own,
    // and a write would send them back.
    core::ByteReader reader(reply.data);
    const std::optional<core::Bytes> wanted = reader.skip(skip) ? reader.take(length) : std::nullopt;
    if (!wanted) return call.finish(VNR_E_END_BYTE, nullptr);
    std::copy(wanted->begin(), wanted->end(), data);
    return call.finish(VNR_OK, nullptr);
}

// The neighbouring bytes a write must send back: where to read them, and how many.
struct FirstRead {
    std::uint16_t address;
    std::uint16_t length;
};

std::int16_t write_eeprom(std::int32_t icdev, std::uint16_t address, std::uint16_t length, const std::uint8_t* data) {
    Call call("-----dev_writeeeprom()----- ");
    if (const auto refused = call.refused(
            {core::argument_check(address <= kEepromSize && length >= 1 && length <= kEepromSize,
                                  "==>dev_writeeeprom(), nAddr参数不合法。"),
             core::handle_check(icdev, "==>dev_writeeeprom(), 句柄无效。"),
             core::argument_check(data != nullptr, "==>dev_writeeeprom(), data参数为空。")}))
        return *refused;
    const bool odd_address = address % 2 != 0;
    const bool odd_length = length % 2 != 0;
    // Even address, odd length: the byte behind the last one. Odd address: the byte before the first,
    // and with an even length also the byte behind the last one.
    std::optional<FirstRead> first_read;
    if (!odd_address && odd_length) first_read = FirstRead{static_cast<std::uint16_t>(address + length - 1), 2};
    if (odd_address && odd_length) first_read = FirstRead{static_cast<std::uint16_t>(address - 1), 2};
    if (odd_address && !odd_length) first_read = FirstRead{static_cast<std::uint16_t>(address - 1), static_cast<std::uint16_t>(length + 2)};

    std::array<std::uint8_t, kEepromSize + 2> around{};
    if (first_read) {
        const std::int16_t status =
            call.outside([&] { return dev_readeeprom(icdev, first_read->address, first_read->length, around.data()); });
        if (status != VNR_OK) {
            call.leave();
            return status;  // the EEPROM stays as it was; no line of our own
        }
    }
    const std::uint32_t word = (address - (odd_address ? 1 : 0)) / 2;
    const std::uint32_t count = round_to_words(length + (odd_address ? 1 : 0));
    core::CommandBytes command = eeprom_head(kEepromWrite, word, count);
    if (odd_address) command.push(around[0]);
    command.push(core::Bytes(data, length));
    if (odd_length != odd_address) command.push(around[first_read->length - 1]);
    ReplyRoom room(kWriteReplyRoom);
    const core::Reply reply = call.exchange(icdev, command.view(), room);
    return call.finish(reply.status, "==>dev_writeeeprom(), 状态码：%d。 ");
}

}  // namespace

}  // namespace vnr::reader

using vnr::core::guarded;

extern "C" {

VNR_API int16_t VNR_CALL dev_readeeprom(int32_t icdev, uint16_t nAddr, uint16_t length, uint8_t* data) {
    return guarded<int16_t>([&] { return vnr::reader::read_eeprom(icdev, nAddr, length, data); });
}

VNR_API int16_t VNR_CALL dev_writeeeprom(int32_t icdev, uint16_t nAddr, uint16_t length, const uint8_t* data) {
    return guarded<int16_t>([&] { return vnr::reader::write_eeprom(icdev, nAddr, length, data); });
}

}  // extern "C"
