// src/core/command.cpp: core. The runner of one-command rows (see core/command.h).
#include "core/command.h"

#include "core/wait.h"

#include <algorithm>
#include <cstring>

namespace vnr::core {

namespace {

// The line of a buffer the caller did not give: "==>name(), 缓冲区参数为空 ".
std::int16_t refuse_missing_buffer(Call& call, const char* name) {
    log::line("==>%s(), 缓冲区参数为空 ", name);
    return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
}

bool buffers_given(const Command& command, const Args& args) {
    for (const Field& field : command.fields)
        if (field.input_count(args) > 0 && args.in[field.arg] == nullptr) return false;
    const Take& take = command.take;
    switch (take.kind) {
        case Take::Kind::nothing:
        case Take::Kind::custom:
            return true;
        case Take::Kind::first_byte:
        case Take::Kind::head:
            return args.out[take.out] != nullptr;
        case Take::Kind::all:
            return args.out[take.out] != nullptr &&
                   (take.length == LengthOut::none || args.out[take.length_out] != nullptr);
    }
    return true;
}

std::optional<std::uint32_t> wait_of(const Wait& wait, const Args& args) {
    switch (wait.kind) {
        case Wait::Kind::standing: return std::nullopt;
        case Wait::Kind::fixed: return wait.timeout_ms;
        case Wait::Kind::by_rule: return wait.rule(args);
    }
    return std::nullopt;
}

std::int16_t take_reply(const Take& take, const Reply& reply, const ReplyRoom& room, const Args& args) {
    switch (take.kind) {
        case Take::Kind::nothing:
            return VNR_OK;
        case Take::Kind::first_byte:
            *static_cast<std::uint8_t*>(args.out[take.out]) = room.all()[0];
            return VNR_OK;
        case Take::Kind::all: {
            // The exchange refuses data larger than the room, and the caller's buffer holds the room.
            std::memcpy(args.out[take.out], reply.data.data(), reply.data.size());
            const auto count = reply.data.size();
            if (take.length == LengthOut::u8) *static_cast<std::uint8_t*>(args.out[take.length_out]) = static_cast<std::uint8_t>(count);
            if (take.length == LengthOut::u32) *static_cast<std::uint32_t*>(args.out[take.length_out]) = static_cast<std::uint32_t>(count);
            return VNR_OK;
        }
        case Take::Kind::head: {
            const auto count = static_cast<std::size_t>(std::clamp<std::int64_t>(args.number[take.count_arg], 0,
                                                                                  static_cast<std::int64_t>(room.size())));
            std::memcpy(args.out[take.out], room.all().data(), count);
            return VNR_OK;
        }
        case Take::Kind::custom:
            return take.apply(reply.data, room.all(), args);
    }
    return VNR_OK;
}

}  // namespace

bool Rule::passes(const Args& args) const noexcept {
    switch (kind) {
        case Kind::none: return true;
        case Kind::handle: return args.icdev >= 1;
        case Kind::in_range: return args.number[arg] >= low && args.number[arg] <= high;
        case Kind::one_of:
            return std::find(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(value_count), args.number[arg]) !=
                   values.begin() + static_cast<std::ptrdiff_t>(value_count);
        case Kind::holds: return ok(args);
    }
    return true;
}

std::size_t Field::input_count(const Args& args) const noexcept {
    if (kind != Kind::bytes && kind != Kind::padded) return 0;
    if (count_arg == kNoCount) return fixed;
    const std::int64_t count = args.number[count_arg];
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

void Field::append(const Args& args, CommandBytes& out) const {
    const auto number = static_cast<std::uint32_t>(args.number[arg] & 0xFFFFFFFF);
    switch (kind) {
        case Kind::none: return;
        case Kind::literal: out.push(value); return;
        case Kind::byte: out.push(static_cast<std::uint8_t>(number)); return;
        case Kind::be16: out.push_be16(number & 0xFFFF); return;
        case Kind::be32: out.push_be32(number); return;
        case Kind::bytes:
        case Kind::padded: {
            const std::size_t count = input_count(args);
            if (count > CommandBytes::kLongest) return;  // refused by the caller of append: the command does not fit
            out.push(Bytes(static_cast<const std::uint8_t*>(args.in[arg]), count));
            for (std::size_t i = count; kind == Kind::padded && i < fixed; ++i) out.push(0);
            return;
        }
        case Kind::custom: write(args, out); return;
    }
}

std::int16_t run(const Command& command, const Args& args) {
    Call call(command.entry);
    for (const Rule& rule : command.checks)
        if (!rule.passes(args)) return call.refuse(rule.status, rule.line);
    if (!buffers_given(command, args)) return refuse_missing_buffer(call, command.name);

    CommandBytes bytes;
    std::size_t declared = 0;
    for (const Field& field : command.fields) {
        declared += field.input_count(args);
        if (declared > CommandBytes::kLongest) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
        field.append(args, bytes);
    }
    if (!bytes.fits()) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);

    ReplyRoom room(command.room);
    const ScopedSecret secret(command.secret);
    Reply reply;
    if (command.wait.kind == Wait::Kind::standing) {
        reply = call.exchange(args.icdev, bytes.view(), room);
    } else {
        reply = call.exchange_waiting(args.icdev, bytes.view(), room, wait_of(command.wait, args),
                                      command.wait.delay_ms, command.wait.restore_delay_ms);
    }
    const std::int16_t status = reply.ok() ? take_reply(command.take, reply, room, args) : reply.status;
    if (command.result.line != nullptr) return call.finish(status, command.result.line);
    return call.finish_either(status, command.result.failed, command.result.done);
}

}  // namespace vnr::core
