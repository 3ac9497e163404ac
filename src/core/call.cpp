// src/core/call.cpp: core. The frame of an exported function (see core/call.h).
#include "core/call.h"

#include "core/exchange.h"
#include "core/wait.h"

namespace vnr::core {

Call::Call(const char* entry_line) noexcept : guard_(std::in_place) {
    if (entry_line != nullptr) log::text(entry_line);
}

std::int16_t Call::refuse(std::int16_t status, const char* line) noexcept {
    if (line != nullptr) log::text(line);
    return status;
}

std::optional<std::int16_t> Call::refused(std::initializer_list<Check> checks) noexcept {
    for (const Check& check : checks)
        if (check.failed) return refuse(check.status, check.line);
    return std::nullopt;
}

Reply Call::exchange(std::int32_t icdev, Bytes command, ReplyRoom& room) {
    Reply reply;
    std::uint32_t received = 0;
    reply.status = send_cmd_vn3x(icdev, static_cast<std::int32_t>(command.size()), command.data(), &received, room.span());
    if (reply.ok()) reply.data = room.all().first(received);
    return reply;
}

Reply Call::exchange_waiting(std::int32_t icdev, Bytes command, ReplyRoom& room, std::optional<std::uint32_t> timeout_ms,
                             std::uint32_t delay_ms, std::uint32_t restore_delay_ms) {
    const ScopedWait wait(guard(), timeout_ms, delay_ms, restore_delay_ms);
    return exchange(icdev, command, room);
}

std::int16_t Call::finish_either(std::int16_t status, const char* failed_format, const char* done_line) noexcept {
    guard_.reset();
    if (status != VNR_OK) {
        if (failed_format != nullptr) log::line(failed_format, static_cast<int>(status));
    } else if (done_line != nullptr) {
        log::text(done_line);
    }
    return status;
}

}  // namespace vnr::core
