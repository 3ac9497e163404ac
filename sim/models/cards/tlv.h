// sim/models/cards/tlv.h: BER-TLV as the simulated cards need it: the byte strings of a deck with
// TLV groups whose lengths are worked out (how a deck writes a card's FCI, records and GPO answers),
// and a walk that finds a tag in a card's own data (a card reads its PDOL out of its FCI). Not a model:
// the card models of sim/models/contact/ and sim/models/contactless/ use it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vnrsim {

// Bytes from hex digits in which TAG(...) stands for one BER-TLV element: the tag's hex digits directly
// followed by "(", its value (hex digits and further groups), and ")"; the length goes in between, one
// byte up to 127, 81 LL up to 255, 82 LL LL beyond. Blanks (spaces, tabs, line feeds) may stand
// between bytes and groups, not inside a byte. "6F(84(A00000000101) A5(50(4341524431)))" is
// 6F 11 84 06 A0 00 00 00 01 01 A5 07 50 05 43 41 52 44 31. Plain hex digits are taken as they are;
// ASCII text in single quotes stands for its bytes: "50('CARD1')" is 50 05 43 41 52 44 31.
// Throws std::invalid_argument saying what is wrong and at which character.
std::vector<std::uint8_t> tlv_hex(std::string_view text);

// Appends the BER length of `length` (up to 65535) to `out`.
void put_ber_length(std::vector<std::uint8_t>& out, std::size_t length);

// The value of the first element whose tag is `tag` in the BER-TLV `data`, searched depth first inside
// constructed elements; nullopt when it is not there or when the data goes wrong before it.
std::optional<std::span<const std::uint8_t>> find_tlv(std::span<const std::uint8_t> data,
                                                      std::span<const std::uint8_t> tag);

// The total of the lengths in a data object list (tag, length; tag, length; ...) such as a PDOL;
// nullopt for a list that breaks off inside an entry.
std::optional<std::size_t> dol_length(std::span<const std::uint8_t> dol);

}  // namespace vnrsim
