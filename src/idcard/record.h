// src/idcard/record.h: idcard. The record of the last identity card read, the conversion of its
// UTF-16LE fields to GBK text, and the sex and nation tables.
//
// The text block of a resident card (256 bytes, UTF-16LE fields padded with spaces, no terminators):
//   Name 0/30, Sex 30/2, Nation 32/4, Birthday 36/16, Address 52/70, IDNumber 122/36,
//   IssueDepartment 158/30, ValidFromDate 188/16, ValidExpiryDate 204/16, Reserve 220/36 (offset/width).
// The record keeps each field's bytes as they came with three zero units behind them, so that every
// field ends in a terminator even when it fills its width.
#pragma once

#include "core/library_lock.h"
#include "idcard/windows_path.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vnr::idcard {

inline constexpr std::size_t kFieldCount = 10;
inline constexpr std::size_t kFieldRoom = 70 + 6;       // the widest field and its three zero units

// What a field's conversion hands out.
enum class Output {
    trimmed,      // up to the first two spaces in a row
    sex,          // a name from the sex table
    nation,       // a name from the nation table
    first_bytes,  // a fixed number of bytes, zeros included
};

struct TextField {
    std::size_t offset;        // in the text block
    std::size_t width;         // bytes in the block, and the capacity of the GBK text
    Output output;
    std::size_t out_bytes;     // for Output::first_bytes
    const char* entry_line;    // the exported converter's log lines
    const char* done_line;
};

// Name, Sex, Nation, Birthday, Address, IDNumber, IssueDepartment, ValidFromDate, ValidExpiryDate,
// Reserve, in block order.
extern const std::array<TextField, kFieldCount> kFields;

// Field indexes that other parts of the family name.
inline constexpr std::size_t kIdNumberField = 5;

struct IdentityRecord {
    std::array<std::array<std::uint8_t, kFieldRoom>, kFieldCount> fields{};  // UTF-16LE, zero-ended
    std::array<char, kPathRoom> photo_file{};                               // PhotoFile
    std::array<std::uint8_t, 1025> fingerprint{};                           // 1024 used
    std::int32_t fingerprint_length = 0;
};

// The one record of the process. The guard proves that the library lock is held.
IdentityRecord& identity_record(const core::LibraryGuard&) noexcept;

// Zeroes the record.
void identity_record_clear(const core::LibraryGuard& guard) noexcept;

// Copies the ten fields of the 256-byte block into the record; the bytes behind them stay as they are.
void identity_record_fill(const core::LibraryGuard& guard, std::span<const std::uint8_t> block) noexcept;

// Keeps the fingerprint data of a read: `block` (at most 1024 bytes, zeros behind it) and the length the
// reply stated.
void identity_record_keep_fingerprint(const core::LibraryGuard& guard, std::span<const std::uint8_t> block,
                                      std::size_t length) noexcept;

// Converts the UTF-16LE text at `wide` (up to its first zero unit) as field `index` hands it out, into
// `out`, without a terminator. Returns the number of bytes written and, through `result`, what the
// converter returns (0, or -1 for a Nation field without two digits).
std::size_t convert_field(std::size_t index, const std::uint8_t* wide, char* out, std::int16_t* result = nullptr);

// The exported converter of field `index`: takes the library lock, writes its two log lines, converts.
std::int16_t run_converter(std::size_t index, const std::uint8_t* wide, char* out);

// The GBK text of a UTF-16LE text (up to its first zero unit, at most 2*capacity units read), cut at
// `capacity` bytes on a character boundary, in a zero-filled work buffer of more than `capacity` bytes.
// Returns the number of bytes.
std::size_t field_text(const std::uint8_t* wide, std::size_t capacity, std::span<char> work);

// The number of bytes of a padded field to hand out: the index of its first two spaces in a row, or n.
// Reads text[n].
std::size_t trim_at_double_space(const char* text, std::size_t n) noexcept;

// The name of the sex code in the first byte of a converted field: "未知", "男", "女", "未说明" or " ".
// `foreign` gives the foreign card's table ("男/M", "女/F").
std::string_view sex_name(char code, bool foreign) noexcept;

// Writes the name of the nation whose two-digit code is at `code_text`, or " ", without a terminator.
// Returns the number of bytes written and, through `result`, 0 or -1 when the code is no two digits.
std::size_t nation_name(const char* code_text, char* out, std::int16_t* result);

}  // namespace vnr::idcard
