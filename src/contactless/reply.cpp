// src/contactless/reply.cpp: contactless. The activation reply parsers (see reply.h).
#include "contactless/reply.h"

namespace vnr::contactless {

std::optional<CpuCardReply> parse_cpu_card(Bytes data) noexcept {
    core::ByteReader reader(data);
    CpuCardReply reply;
    const auto type = reader.u8();
    const auto uid_size = reader.u8();
    if (!type || !uid_size) return std::nullopt;
    const auto uid = reader.take(*uid_size);
    const auto ats_size = uid ? reader.u8() : std::nullopt;
    const auto ats = ats_size ? reader.take(*ats_size) : std::nullopt;
    if (!ats) return std::nullopt;
    reply.card_type = *type;
    reply.uid = *uid;
    reply.ats = *ats;
    return reply;
}

std::optional<SerialReply> parse_serial(Bytes data, std::size_t id_size) noexcept {
    core::ByteReader reader(data);
    const auto type = reader.u8();
    const auto id = reader.take(id_size);
    if (!type || !id) return std::nullopt;
    return SerialReply{*type, *id};
}

}  // namespace vnr::contactless
