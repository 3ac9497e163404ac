// sim/include/vnrsim/deck_json.h: how a deck's values are read, shared by the deck parser and by every
// model that loads its own section (vnrsim/model.h): hex bytes, statuses, texts in GBK, and JSON values
// checked one by one with the path of the value at fault.
//
// Paths: the caller builds the path of each value as it goes down: the model's name for its section
// ("idcard"), then ".key" for a key and "[i]" for a list's item ("idcard.resident.photo.fill.length").
// Every check throws std::runtime_error with the text "PATH: what is wrong"; Deck::parse puts the
// deck's name in front.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnrsim {

// UTF-8 text as GBK bytes; ASCII passes unchanged. Throws std::runtime_error when the text is not
// UTF-8 or has a character GBK lacks.
std::string to_gbk(std::string_view utf8);

// Hex digits to bytes; spaces and tabs between bytes are allowed. Throws std::invalid_argument saying
// what is wrong (odd count, a non-hex character and its position).
std::vector<std::uint8_t> parse_hex(std::string_view text);

// Bytes as upper-case hex digits, no separator.
std::string to_hex(std::span<const std::uint8_t> bytes);

// A status from text: one to four hex digits, optionally after 0x. Throws std::invalid_argument.
std::uint16_t parse_status(std::string_view text);

namespace deck_json {

using Json = nlohmann::json;

// Throws std::runtime_error("where: what").
[[noreturn]] void fail(const std::string& where, const std::string& what);

// "a string", "a number", "a list", ...: what the deck holds where something else was expected.
std::string kind_of(const Json& value);

// Refuses a value that is not a JSON object.
void expect_object(const Json& value, const std::string& where);

// Refuses the first key of `object` outside `known`, naming it and the known keys.
void check_keys(const Json& object, const std::string& where, std::span<const std::string_view> known);
void check_keys(const Json& object, const std::string& where, std::initializer_list<std::string_view> known);

// A text, as it stands in the file (UTF-8).
const std::string& text_of(const Json& value, const std::string& where);

// A text as the GBK bytes the reader answers.
std::string gbk_of(const Json& value, const std::string& where);

// A whole number from `low` to `high`.
std::uint64_t count_of(const Json& value, const std::string& where, std::uint64_t low, std::uint64_t high);

// Hex bytes from a text (spaces between bytes allowed).
std::vector<std::uint8_t> hex_of(const Json& value, const std::string& where);

// A status S1S2: a number from 0 to 65535 or a text of one to four hex digits, with or without 0x.
std::uint16_t status_of(const Json& value, const std::string& where);

// {"length": N, "byte": B}: N bytes of B; or {"length": N, "pattern": "hex"}: the pattern repeated
// and cut at N. N is at most a frame's payload (kMaxPayload).
std::vector<std::uint8_t> fill_of(const Json& value, const std::string& where);

}  // namespace deck_json
}  // namespace vnrsim
