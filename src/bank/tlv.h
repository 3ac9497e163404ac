// src/bank/tlv.h: bank. BER-TLV as bank cards answer it: one element read at the head of some bytes,
// and the tag search that the bank reads use. Pure functions over bounded views: no lock, no I/O, no
// allocation, nothing of the library beside them, so that the EMV reader (emv/) compiles this file too.
//
// Bounds: an element whose tag or length runs off the end of the data, whose length takes more than
// three bytes, or whose value would reach past the data is refused: it is never read or copied past.
// The search enters constructed elements (tag byte with bit 0x20) at most kMaxTlvDepth levels deep;
// one nested deeper is walked over as a whole, not searched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vnr::bank {

using TlvBytes = std::span<const std::uint8_t>;

// How deep the search enters nested constructed elements: a card's deepest path (FCI 6F, A5, BF0C,
// 61, 4F) takes four levels.
inline constexpr std::size_t kMaxTlvDepth = 8;
// The most bytes behind a long-form length byte (81, 82, 83): lengths up to 16 MB.
inline constexpr std::size_t kMaxLengthBytes = 3;

// One element at the head of some bytes.
struct TlvElement {
    TlvBytes tag;      // the tag's bytes: one, or the first and those up to one with its top bit clear
    TlvBytes value;    // the value, within the data
    std::size_t size;  // tag, length and value: where the next element begins
    bool constructed() const noexcept { return !tag.empty() && (tag[0] & 0x20) != 0; }
};

// The element at the head of `data`, or nullopt when the data ends inside it or its length is refused.
// An empty `data` gives nullopt.
std::optional<TlvElement> read_tlv(TlvBytes data) noexcept;

// How a tag of the data is compared with the wanted one.
enum class TagMatch {
    leading,  // the data's bytes at the tag, as many as the wanted tag has (the bank reads' rule)
    exact,    // the data's whole tag
};

// The value of the first element with the tag `tag`, in a depth-first walk of `data`: a constructed
// element's content is searched before the elements after it, and a constructed element that is itself
// the wanted one gives its whole value. A card's answer may be passed with its status word: its two
// bytes are walked as one more short element (90 00 is a tag 90 of length 0). nullopt when the tag is
// not there, when `tag` is empty, or when the walk meets a refused element before it.
std::optional<TlvBytes> find_tlv(TlvBytes data, TlvBytes tag, TagMatch match = TagMatch::leading) noexcept;

}  // namespace vnr::bank
