// src/bank/pdol.cpp: bank. The terminal's values for a card's PDOL, the GPO data and the GPO command.
#include "bank/bank.h"
#include "platform/clock.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>

namespace vnr::bank {

namespace {

// The values the terminal gives by tag, in the order they are tested. A value of its own kind (the
// amount, the date, the type, the unpredictable number) is worked out where the table names it.
enum class Value { fixed, amount, date, type, unpredictable };
struct PdolRow {
    std::string_view tag;
    Value kind;
    std::string_view text;
};
constexpr PdolRow kPdolTable[] = {
    {"9F66", Value::fixed, "B0000000"},  // terminal transaction qualifiers
    {"9F02", Value::amount, ""},
    {"9F03", Value::fixed, "000000000000"},  // amount, other
    {"9F1A", Value::fixed, "0156"},          // terminal country code
    {"95", Value::fixed, "0000048800"},      // terminal verification results
    {"5F2A", Value::fixed, "0156"},          // transaction currency code
    {"9A", Value::date, ""},
    {"9F21", Value::date, ""},  // the date again, not the time of day
    {"9C", Value::type, ""},
    {"9F37", Value::unpredictable, ""},
    {"82", Value::fixed, "7C00"},      // the application interchange profile this read expects
    {"9F33", Value::fixed, "E0E1C8"},  // terminal capabilities
};
constexpr std::size_t kTypeDigits = 2, kUnpredictableDigits = 8;

int digit_value(char c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The byte of the two digits at `at`, or nullopt where the text ends or holds something else.
std::optional<std::uint8_t> byte_at(std::string_view text, std::size_t at) noexcept {
    if (at + 2 > text.size()) return std::nullopt;
    const int high = digit_value(text[at]), low = digit_value(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    return static_cast<std::uint8_t>(high << 4 | low);
}

}  // namespace

std::string pdol_tag_value(std::string_view entry, std::uint32_t length, std::int32_t amount, std::string_view random_text,
                           std::string_view trans_type) {
    std::string upper(entry);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (const PdolRow& row : kPdolTable) {
        if (!std::string_view(upper).starts_with(row.tag)) continue;
        char text[16] = {};
        switch (row.kind) {
            case Value::fixed:
                return std::string(row.text);
            case Value::amount:
                (void)std::snprintf(text, sizeof text, "%012d", static_cast<int>(amount));
                return text;
            case Value::date: {
                const platform::LocalTime now = platform::local_time();
                (void)std::snprintf(text, sizeof text, "%02d%02d%02d", now.year % 100, now.month, now.day);
                return text;
            }
            case Value::type:
                return std::string(trans_type.substr(0, kTypeDigits));
            case Value::unpredictable:
                return std::string(random_text.substr(0, kUnpredictableDigits));
        }
    }
    return std::string(2 * std::min<std::size_t>(length, kMaxZeroFill), '0');
}

std::string build_pdol_data(std::string_view pdol_text, std::string_view random_text, std::string_view trans_type,
                            std::int32_t amount) {
    std::string data;
    std::size_t at = 0;
    while (at < pdol_text.size()) {
        // An entry: a tag of one byte, or two when its low five bits are all set, and a length byte.
        const auto first = byte_at(pdol_text, at);
        if (!first) break;
        const std::size_t tag_digits = (*first & 0x1F) == 0x1F ? 4 : 2;
        const auto length = byte_at(pdol_text, at + tag_digits);
        if (!length || (tag_digits == 4 && !byte_at(pdol_text, at + 2))) break;
        data += pdol_tag_value(pdol_text.substr(at, tag_digits + 2), *length, amount, random_text, trans_type);
        at += tag_digits + 2;
    }
    return data;
}

bool build_gpo_command(std::string_view pdol_text, std::int32_t amount, std::string_view trans_type,
                       std::string_view random_text, std::string& command_text) {
    const std::string data = build_pdol_data(pdol_text, random_text, trans_type, amount);
    const std::size_t length = data.size() / 2;
    if (length > kMaxPdolDataBytes) return false;
    char head[16] = {};
    (void)std::snprintf(head, sizeof head, "80A80000%02X83%02X", static_cast<unsigned>(length + 2), static_cast<unsigned>(length));
    command_text = head + data;
    return true;
}

}  // namespace vnr::bank
