// src/bank/hex_text.cpp: bank. Hexadecimal text without the lock, the tag search on bytes and on text,
// and an AFL entry's READ RECORD commands. No I/O.
#include "bank/bank.h"
#include "bank/tlv.h"
#include "crypto/encoders.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace vnr::bank {

namespace {

constexpr std::size_t kMaxTagDigits = 8;  // a wanted tag of up to four bytes

// The bytes of a text of at most `most_digits` digits (a last odd digit dropped); false for a longer
// text or a character that is no digit.
bool text_bytes(const char* text, std::size_t most_digits, std::vector<std::uint8_t>& bytes) {
    const std::size_t digits = ::strnlen(text, most_digits + 1);
    if (digits > most_digits) return false;
    bytes.assign(digits / 2 + 1, 0);
    if (crypto::hex_to_bytes(text, bytes.data(), static_cast<std::uint32_t>(digits / 2)) != 0) return false;
    bytes.resize(digits / 2);
    return true;
}

}  // namespace

std::int32_t find_tag(const std::uint8_t* data, std::size_t data_len, const std::uint8_t* tag, std::size_t tag_len,
                      std::span<std::uint8_t> value, std::uint16_t* value_len) noexcept {
    if (data == nullptr || tag == nullptr) return 1;
    const auto found = find_tlv({data, data_len}, {tag, tag_len});
    if (!found || found->size() > value.size() || found->size() > 0xFFFF) return 1;
    std::memcpy(value.data(), found->data(), found->size());
    *value_len = static_cast<std::uint16_t>(found->size());
    return 0;
}

std::int32_t find_tag_hex(const char* data_text, const char* tag_text, std::span<char> value_text) noexcept {
    try {
        std::vector<std::uint8_t> data, tag;
        if (!text_bytes(data_text, kSearchTextDigits, data) || !text_bytes(tag_text, kMaxTagDigits, tag)) return -1;
        std::vector<std::uint8_t> value(kTagValueRoom);
        std::uint16_t length = 0;
        if (find_tag(data.data(), data.size(), tag.data(), tag.size(), value, &length) != 0) return -1;
        if (2u * length + 1 > value_text.size()) return -1;
        crypto::bytes_to_hex(value.data(), value_text.data(), length);
        return 0;
    } catch (...) {  // no room for the work bytes
        return -1;
    }
}

void afl_to_read_commands(std::string_view afl_entry, std::span<ReadCommand> commands, std::int32_t* count) noexcept {
    std::uint8_t entry[4] = {};  // three bytes read from the first six digits, and hex_to_bytes's zero byte
    if (afl_entry.size() != 8) return;
    if (crypto::hex_to_bytes(afl_entry.data(), entry, 3) != 0) {  // not an entry: no command
        *count = 0;
        return;
    }
    // P2: the SFI in the top five bits, and 100: P1 is a record number.
    const unsigned p2 = (entry[0] & 0xF8u) | 0x04u;
    std::int32_t written = 0;
    for (unsigned record = entry[1]; record <= entry[2] && static_cast<std::size_t>(written) < commands.size(); ++record)
        (void)std::snprintf(commands[static_cast<std::size_t>(written++)].data(), kReadCommandRoom, "00B2%02x%02x00", record, p2);
    *count = written;
}

}  // namespace vnr::bank
