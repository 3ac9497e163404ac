// src/contact/transfer.cpp: contact family. contact_read and contact_write: bytes of a memory card by
// address, bounded by the card's size code when one is known and then cut into pieces of 1024 bytes,
// one command each. A failed piece does not stop the others; the call gives the last piece's status.
#include "contact/commands.h"
#include "contact/memory_map.h"
#include "contact/state.h"
#include "core/boundary.h"
#include "core/call.h"
#include "core/command.h"
#include "vnr_32.h"

#include <algorithm>
#include <cstring>

namespace vnr::contact {

namespace {

constexpr std::uint8_t kRead = 0x35;
constexpr std::uint8_t kWrite = 0x36;
constexpr std::size_t kWriteReplyRoom = 100;  // a write's reply carries nothing the library keeps

// The pieces of one call. With no size known the whole length is one command.
struct Plan {
    std::uint32_t pieces;
    bool long_wait;  // each piece under 15000 ms, the standing wait back after it
};

Plan plan_of(std::int32_t size_code, std::uint16_t len, bool write) {
    const std::uint32_t pieces = size_code < 0 ? 1 : piece_count(len);
    return {pieces, write || pieces > 1};
}

core::CommandBytes head(std::uint8_t code, std::uint8_t cardno, std::uint32_t addr, std::uint32_t len) {
    core::CommandBytes command;
    command.push(kContactGroup), command.push(code), command.push(cardno);
    command.push_be16(addr & 0xFFFF), command.push_be16(len);
    return command;
}

core::Reply exchange_piece(core::Call& call, std::int32_t icdev, const core::CommandBytes& command, core::ReplyRoom& room,
                           bool long_wait) {
    return long_wait ? call.exchange_waiting(icdev, command.view(), room, kPieceTimeoutMs)
                     : call.exchange(icdev, command.view(), room);
}

// The checks of both: the handle, the card's bounds, the slot; then the caller's buffer.
std::optional<std::int16_t> refused(core::Call& call, std::int32_t icdev, std::uint8_t cardno, std::uint16_t addr,
                                    std::uint16_t len, const void* buffer) {
    const std::int32_t size_code = contact_size_code(call.guard());
    if (auto refusal = call.refused({core::handle_check(icdev, nullptr),
                                     core::argument_check(transfer_fits(size_code, addr, len), nullptr),
                                     core::argument_check(cardno <= kLastSlot, nullptr)}))
        return refusal;
    if (len > 0 && buffer == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    return std::nullopt;
}

std::int16_t read_bytes(std::int32_t icdev, std::uint8_t cardno, std::uint16_t addr, std::uint16_t len, std::uint8_t* out) {
    core::Call call(nullptr);
    if (auto refusal = refused(call, icdev, cardno, addr, len, out)) return *refusal;
    const Plan plan = plan_of(contact_size_code(call.guard()), len, false);
    core::WipedBytes work(len);
    std::size_t received = 0;
    std::int16_t status = VNR_OK;
    for (std::uint32_t i = 0; i < plan.pieces; ++i) {
        // The last piece asks for what is still missing, so a failed piece before it is asked for again
        // there; the room of each piece keeps the whole within `len`.
        const bool last = i + 1 == plan.pieces;
        const std::uint32_t asked = last ? len - received : kPieceBytes;
        core::ReplyRoom room(asked);
        const core::Reply reply =
            exchange_piece(call, icdev, head(kRead, cardno, addr + kPieceBytes * i, asked), room, plan.long_wait);
        status = reply.status;
        if (!reply.ok()) continue;
        std::copy(reply.data.begin(), reply.data.end(), work.begin() + static_cast<std::ptrdiff_t>(received));
        received += reply.data.size();
    }
    if (status == VNR_OK && received > 0) std::memcpy(out, work.data(), received);
    return call.finish(status, nullptr);
}

std::int16_t write_bytes(std::int32_t icdev, std::uint8_t cardno, std::uint16_t addr, std::uint16_t len,
                   const std::uint8_t* data) {
    core::Call call(nullptr);
    if (auto refusal = refused(call, icdev, cardno, addr, len, data)) return *refusal;
    const Plan plan = plan_of(contact_size_code(call.guard()), len, true);
    std::int16_t status = VNR_OK;
    for (std::uint32_t i = 0; i < plan.pieces; ++i) {
        // By position: the last piece is the rest of `len`, whatever was acknowledged before it.
        const std::uint32_t at = kPieceBytes * i;
        const std::uint32_t count = i + 1 == plan.pieces ? len - at : kPieceBytes;
        core::CommandBytes command = head(kWrite, cardno, addr + at, count);
        command.push(core::Bytes(data + at, count));
        core::ReplyRoom room(kWriteReplyRoom);
        status = exchange_piece(call, icdev, command, room, plan.long_wait).status;
    }
    return call.finish(status, nullptr);
}

}  // namespace

}  // namespace vnr::contact

extern "C" {

VNR_API int16_t VNR_CALL contact_read(int32_t icdev, uint8_t cardno, uint16_t addr, uint16_t len, uint8_t* out) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contact::read_bytes(icdev, cardno, addr, len, out); });
}

VNR_API int16_t VNR_CALL contact_write(int32_t icdev, uint8_t cardno, uint16_t addr, uint16_t len, const uint8_t* data) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contact::write_bytes(icdev, cardno, addr, len, data); });
}

}  // extern "C"
