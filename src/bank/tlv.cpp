// src/bank/tlv.cpp: bank. The BER-TLV element reader and the depth-first tag search (see tlv.h).
#include "bank/tlv.h"

#include <algorithm>

namespace vnr::bank {

namespace {

constexpr std::uint8_t kTagMoreBytes = 0x1F;  // low five bits all set: the tag goes on
constexpr std::uint8_t kHighBit = 0x80;       // in a tag: another byte follows; in a length: long form

// The tag's length at the head of `data`; 0 when the data ends inside it.
std::size_t tag_length(TlvBytes data) noexcept {
    if (data.empty()) return 0;
    if ((data[0] & kTagMoreBytes) != kTagMoreBytes) return 1;
    for (std::size_t at = 1; at < data.size(); ++at)
        if ((data[at] & kHighBit) == 0) return at + 1;
    return 0;
}

bool tag_matches(TlvBytes data_tag, TlvBytes at, TlvBytes wanted, TagMatch match) noexcept {
    if (match == TagMatch::exact) return std::ranges::equal(data_tag, wanted);
    return at.size() >= wanted.size() && std::equal(wanted.begin(), wanted.end(), at.begin());
}

std::optional<TlvBytes> search(TlvBytes data, TlvBytes wanted, TagMatch match, std::size_t depth) noexcept {
    while (!data.empty()) {
        const auto element = read_tlv(data);
        if (!element) return std::nullopt;
        if (tag_matches(element->tag, data, wanted, match)) return element->value;
        if (element->constructed() && !element->value.empty() && depth < kMaxTlvDepth) {
            if (const auto inner = search(element->value, wanted, match, depth + 1)) return inner;
        }
        data = data.subspan(element->size);
    }
    return std::nullopt;
}

}  // namespace

std::optional<TlvElement> read_tlv(TlvBytes data) noexcept {
    const std::size_t tag_size = tag_length(data);
    if (tag_size == 0 || tag_size >= data.size()) return std::nullopt;  // no room for the length byte
    std::size_t at = tag_size;
    const std::uint8_t first = data[at++];
    std::size_t length = first;
    if (first & kHighBit) {
        const std::size_t count = first & ~kHighBit;
        if (count > kMaxLengthBytes || count > data.size() - at) return std::nullopt;
        length = 0;
        for (std::size_t i = 0; i < count; ++i) length = length << 8 | data[at++];
    }
    if (length > data.size() - at) return std::nullopt;
    return TlvElement{data.first(tag_size), data.subspan(at, length), at + length};
}

std::optional<TlvBytes> find_tlv(TlvBytes data, TlvBytes tag, TagMatch match) noexcept {
    if (tag.empty()) return std::nullopt;
    return search(data, tag, match, 0);
}

}  // namespace vnr::bank
