// sim/src/deck_json.cpp: reading a deck's values: hex, statuses, GBK text, checked JSON values (see
// vnrsim/deck_json.h).
#include "vnrsim/deck_json.h"

#include <iconv.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "vnrsim/frame.h"

namespace vnrsim {
namespace {

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string to_gbk(std::string_view utf8) {
    bool ascii = true;
    for (const char c : utf8) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (ascii) return std::string(utf8);
    const iconv_t cd = ::iconv_open("GBK", "UTF-8");
    if (cd == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("no UTF-8 to GBK conversion on this system");
    std::string in(utf8);
    std::string out(in.size() * 2 + 4, '\0');  // GBK never takes more bytes than UTF-8 for the same text
    char* in_at = in.data();
    std::size_t in_left = in.size();
    char* out_at = out.data();
    std::size_t out_left = out.size();
    const std::size_t done = ::iconv(cd, &in_at, &in_left, &out_at, &out_left);
    const int error = errno;
    ::iconv_close(cd);
    if (done == static_cast<std::size_t>(-1)) {
        const std::size_t at = in.size() - in_left;
        throw std::runtime_error(error == EILSEQ ? "text has a character GBK lacks, or is not UTF-8, at byte " +
                                                       std::to_string(at)
                                                 : "text is not complete UTF-8");
    }
    out.resize(out.size() - out_left);
    return out;
}

std::vector<std::uint8_t> parse_hex(std::string_view text) {
    std::vector<std::uint8_t> out;
    int high = -1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if ((c == ' ' || c == '\t') && high < 0) continue;
        const int v = hex_value(c);
        if (v < 0) {
            throw std::invalid_argument("not hex: \"" + std::string(text) + "\" has '" + std::string(1, c) +
                                        "' at position " + std::to_string(i));
        }
        if (high < 0) {
            high = v;
        } else {
            out.push_back(static_cast<std::uint8_t>(high * 16 + v));
            high = -1;
        }
    }
    if (high >= 0) throw std::invalid_argument("not hex: \"" + std::string(text) + "\" has an odd number of digits");
    return out;
}

std::string to_hex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const std::uint8_t b : bytes) {
        out += kDigits[b >> 4];
        out += kDigits[b & 0x0F];
    }
    return out;
}

std::uint16_t parse_status(std::string_view text) {
    std::string_view digits = text;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) digits.remove_prefix(2);
    if (digits.empty() || digits.size() > 4)
        throw std::invalid_argument("not a status: \"" + std::string(text) + "\" (expected one to four hex digits)");
    unsigned value = 0;
    for (const char c : digits) {
        const int v = hex_value(c);
        if (v < 0) throw std::invalid_argument("not a status: \"" + std::string(text) + "\" (expected hex digits)");
        value = value * 16 + static_cast<unsigned>(v);
    }
    return static_cast<std::uint16_t>(value);
}

namespace deck_json {

void fail(const std::string& where, const std::string& what) { throw std::runtime_error(where + ": " + what); }

std::string kind_of(const Json& value) {
    if (value.is_null()) return "null";
    if (value.is_boolean()) return "a boolean";
    if (value.is_number()) return "a number";
    if (value.is_string()) return "a string";
    if (value.is_array()) return "a list";
    return "an object";
}

void expect_object(const Json& value, const std::string& where) {
    if (!value.is_object()) fail(where, "expected an object, got " + kind_of(value));
}

void check_keys(const Json& object, const std::string& where, std::span<const std::string_view> known) {
    for (const auto& item : object.items()) {
        bool found = false;
        for (const std::string_view k : known) found = found || item.key() == k;
        if (!found) {
            std::string list;
            for (const std::string_view k : known) list += (list.empty() ? "" : ", ") + std::string(k);
            fail(where, "unknown key \"" + item.key() + "\" (known keys: " + list + ")");
        }
    }
}

void check_keys(const Json& object, const std::string& where, std::initializer_list<std::string_view> known) {
    check_keys(object, where, std::span<const std::string_view>(known.begin(), known.size()));
}

const std::string& text_of(const Json& value, const std::string& where) {
    if (!value.is_string()) fail(where, "expected text, got " + kind_of(value));
    return value.get_ref<const std::string&>();
}

std::string gbk_of(const Json& value, const std::string& where) {
    try {
        return to_gbk(text_of(value, where));
    } catch (const std::runtime_error& e) {
        fail(where, e.what());
    }
}

std::uint64_t count_of(const Json& value, const std::string& where, std::uint64_t low, std::uint64_t high) {
    if (!value.is_number_unsigned() && !value.is_number_integer())
        fail(where, "expected a whole number, got " + kind_of(value));
    const std::string range = "expected a whole number from " + std::to_string(low) + " to " + std::to_string(high);
    if (value.is_number_integer() && value.get<std::int64_t>() < 0) fail(where, range + ", got " + value.dump());
    const auto n = value.get<std::uint64_t>();
    if (n < low || n > high) fail(where, range + ", got " + value.dump());
    return n;
}

std::vector<std::uint8_t> hex_of(const Json& value, const std::string& where) {
    try {
        return parse_hex(text_of(value, where));
    } catch (const std::invalid_argument& e) {
        fail(where, e.what());
    }
}

std::uint16_t status_of(const Json& value, const std::string& where) {
    if (value.is_string()) {
        try {
            return parse_status(value.get_ref<const std::string&>());
        } catch (const std::invalid_argument& e) {
            fail(where, e.what());
        }
    }
    if (!value.is_number()) fail(where, "expected a status (a number or hex digits), got " + kind_of(value));
    return static_cast<std::uint16_t>(count_of(value, where, 0, 0xFFFF));
}

std::vector<std::uint8_t> fill_of(const Json& value, const std::string& where) {
    if (!value.is_object()) fail(where, "expected an object {\"length\": N, \"byte\": B}, got " + kind_of(value));
    check_keys(value, where, {"length", "byte", "pattern"});
    if (!value.contains("length")) fail(where, "\"length\" is missing");
    const auto length = count_of(value["length"], where + ".length", 0, kMaxPayload);
    if (value.contains("byte") == value.contains("pattern")) fail(where, "give either \"byte\" or \"pattern\"");
    std::vector<std::uint8_t> pattern;
    if (value.contains("byte")) {
        pattern.push_back(static_cast<std::uint8_t>(count_of(value["byte"], where + ".byte", 0, 255)));
    } else {
        pattern = hex_of(value["pattern"], where + ".pattern");
        if (pattern.empty()) fail(where + ".pattern", "the pattern is empty");
    }
    std::vector<std::uint8_t> out(length);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = pattern[i % pattern.size()];
    return out;
}

}  // namespace deck_json
}  // namespace vnrsim
