// src/idcard/foreign.h: idcard. The text block of the foreign permanent resident card and the line
// of text that IDCard_ReadCard_Foreign makes of either kind of card.
//
// The foreign card's block (offset/width, UTF-16LE, padded with spaces), by selector:
//   1 EnglishName 0/120, 2 Sex 120/2, 3 CardNumber 122/30, 4 CountryCode 152/6, 5 ChineseName 158/30,
//   6 ValidFromDate 188/16, 7 ValidExpiryDate 204/16, 8 Birthday 220/16, 9 CardVersion 236/4,
//   10 AuthorityCode 240/8, 11 CardMark 248/2 ("I" on a foreign card), 12 Reserve 250/6.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vnr::idcard {

// Converts field `selector` of the foreign block at `block` (256 bytes) to GBK text in `out`, trimmed
// at its first two spaces in a row, without a terminator; selector 2 gives a name from the foreign
// card's sex table. A selector outside 1 to 12 writes nothing. Returns the number of bytes written.
std::size_t foreign_field(int selector, const std::uint8_t* block, char* out);

// Writes the name of the country whose code is exactly `code`, with a terminator, and returns 0; -37
// and nothing written when no row has that code.
int country_name(std::string_view code, char* out);

// Room of the line: the longest line of either card with its terminator.
inline constexpr std::size_t kCardLineRoom = 3096;

// The line of a card's 256-byte text block: the foreign card's twelve fields (the country as
// "name/code" when a row has its code) when its card mark is "I", else the resident card's ten fields
// through the exported converters, each field followed by '|', then `fingerprint_hex` and '|'. Writes
// at most kCardLineRoom bytes with the terminator. Returns true for a foreign card. Takes the library
// lock for each resident field, as the converters do.
bool card_line(std::span<const std::uint8_t, 256> block, const char* fingerprint_hex, std::span<char, kCardLineRoom> line);

}  // namespace vnr::idcard
