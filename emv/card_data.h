// emv/card_data.h: the EMV reader's pure part: what a card's data objects say about the card (number,
// expiry, name), the PDOL filled from the terminal's values, the GPO answer's two formats, and the
// Luhn check. No I/O: bounded views in, values out.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vnr::emv {

using View = std::span<const std::uint8_t>;

// The card number, expiry and name found in a card's answers, and the tag each came from (0: none).
struct CardData {
    std::string pan, expiry, name;
    std::uint16_t pan_tag = 0, expiry_tag = 0, name_tag = 0;
};

// Searches `sources` (the GPO answer's 77 template and the records, in the order read) for 5A, 57 and
// 9F6B (the number, first found in that order of tags), 5F24 and the track data's expiry, and 5F20,
// 9F0B and Track 1's name field (56). A number is 12 to 19 decimal digits; a name is trimmed of spaces,
// and one that is empty or only "/" is skipped.
CardData card_data(std::span<const std::vector<std::uint8_t>> sources);

// True when the digits pass the Luhn check.
bool luhn_ok(const std::string& digits) noexcept;

// The terminal's values of the PDOL `pdol` (tag and length pairs), fitted to the lengths asked: numbers
// padded or cut on the left, other values on the right. `now_utc` is YYMMDDhhmmss as digits; `random`
// the unpredictable number's four bytes. nullopt for a PDOL that breaks off inside an entry, or whose
// data would not fit a GPO command (more than 252 bytes).
std::optional<std::vector<std::uint8_t>> pdol_data(View pdol, const std::string& now_utc, View random);

// The GPO answer's application interchange profile and AFL: format 1 (80: AIP, AFL) or format 2 (77,
// with 82 and 94). nullopt for another template, an AFL whose length is not a multiple of four, or a
// missing AIP.
struct Processing {
    std::uint16_t aip = 0;
    std::vector<std::uint8_t> afl;
};
std::optional<Processing> processing_options(View answer);

}  // namespace vnr::emv
