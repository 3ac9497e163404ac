// src/idcard/reply.cpp: idcard. The module's reply and the read layouts (see idcard/reply.h).
#include "idcard/reply.h"

#include <algorithm>

namespace vnr::idcard {

namespace {

// Length field, SW1 to SW3, then the lengths of the text and the photo.
constexpr std::size_t kTextAndPhotoHead = kModuleHead + 4;

}  // namespace

Triple triple_in(Bytes room) noexcept {
    const auto at = [&](std::size_t i) { return i < room.size() ? room[i] : std::uint8_t{0}; };
    return Triple{at(2), at(3), at(4)};
}

std::uint16_t length_field(Bytes room) noexcept {
    core::ByteReader reader(room);
    return reader.be16().value_or(0);
}

std::optional<Bytes> module_data(Bytes received) noexcept {
    const std::size_t length = length_field(received);
    if (received.size() < kModuleHead || length < kModuleHead || length > received.size()) return std::nullopt;
    return received.subspan(kModuleHead, length - kModuleHead);
}

std::optional<ReadLayout> read_layout(Bytes received, ReadForm form) noexcept {
    if (length_field(received) > received.size()) return std::nullopt;
    core::ByteReader reader(received);
    if (!reader.skip(kModuleHead)) return std::nullopt;
    const auto text_len = reader.be16();
    const auto photo_len = reader.be16();
    const auto fingerprint_len = form == ReadForm::with_fingerprint ? reader.be16() : std::optional<std::uint16_t>(0);
    if (!text_len || !photo_len || !fingerprint_len) return std::nullopt;
    const std::size_t head = received.size() - reader.left();
    ReadLayout layout;
    const auto block = reader.take(kTextBlockSize);
    if (!block) return std::nullopt;
    layout.block = *block;
    core::ByteReader parts(received.subspan(head));
    const auto text = parts.take(*text_len);
    const auto photo = parts.take(*photo_len);
    layout.fingerprint_at = head + *text_len + *photo_len;
    const auto fingerprint = parts.take(*fingerprint_len);
    if (!text || !photo || !fingerprint) return std::nullopt;
    layout.text = *text;
    layout.photo = *photo;
    layout.fingerprint = *fingerprint;
    return layout;
}

std::optional<Bytes> text_block_of(Bytes received) noexcept {
    core::ByteReader reader(received);
    if (!reader.skip(kTextAndPhotoHead)) return std::nullopt;
    return reader.take(kTextBlockSize);
}

Bytes fingerprint_block(Bytes room, const ReadLayout& layout) noexcept {
    const std::size_t at = std::min(layout.fingerprint_at, room.size());
    return room.subspan(at, std::min(kFingerprintSize, room.size() - at));
}

}  // namespace vnr::idcard
