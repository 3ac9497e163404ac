// emv/card_data.cpp: numbers, names and expiry from a card's data objects; PDOL values; the GPO
// answer's formats (card_data.h).
#include "card_data.h"

#include "bank/tlv.h"

#include <algorithm>
#include <array>

namespace vnr::emv {

namespace {

using bank::find_tlv;
using bank::read_tlv;
using bank::TagMatch;

constexpr std::size_t kShortestPan = 12, kLongestPan = 19;
constexpr std::size_t kMaxPdolData = 252;  // Lc = data + 2 must fit a byte, 83 L included

std::optional<View> find(View data, std::initializer_list<std::uint8_t> tag) {
    const std::vector<std::uint8_t> wanted(tag);
    return find_tlv(data, wanted, TagMatch::exact);
}

// The value's nibbles as digits (A to F as letters).
std::string nibbles(View value) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (const std::uint8_t b : value) out += kDigits[b >> 4], out += kDigits[b & 0x0F];
    return out;
}

bool all_decimal(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::string> pan_of(std::string digits) {
    while (!digits.empty() && digits.back() == 'F') digits.pop_back();
    if (digits.size() < kShortestPan || digits.size() > kLongestPan || !all_decimal(digits)) return std::nullopt;
    return digits;
}

// Track 2 data (57, 9F6B): the number before the separator D and the YYMM after it.
struct Track2 {
    std::optional<std::string> pan, expiry;
};
Track2 track2_of(View value) {
    const std::string digits = nibbles(value);
    const std::size_t separator = digits.find('D');
    if (separator == std::string::npos) return {pan_of(digits), std::nullopt};
    Track2 out{pan_of(digits.substr(0, separator)), std::nullopt};
    const std::string yymm = digits.substr(separator + 1, 4);
    if (yymm.size() == 4 && all_decimal(yymm)) out.expiry = yymm;
    return out;
}

std::string trimmed(View value) {
    std::string text(value.begin(), value.end());
    const auto blank = [](char c) { return c == ' ' || c == '\0'; };
    while (!text.empty() && blank(text.back())) text.pop_back();
    std::size_t start = 0;
    while (start < text.size() && blank(text[start])) ++start;
    text.erase(0, start);
    return text == "/" ? std::string() : text;
}

// Track 1 (56): "B" number "^" name "^" YYMM ...: the name's field and the expiry.
struct Track1 {
    std::string name;
    std::optional<std::string> expiry;
};
Track1 track1_of(View value) {
    const std::string text(value.begin(), value.end());
    const std::size_t first = text.find('^'), second = first == std::string::npos ? first : text.find('^', first + 1);
    if (second == std::string::npos) return {};
    const auto* start = value.data() + first + 1;
    Track1 out{trimmed(View(start, second - first - 1)), std::nullopt};
    const std::string yymm = text.substr(second + 1, 4);
    if (yymm.size() == 4 && all_decimal(yymm)) out.expiry = yymm;
    return out;
}

// The first value of `tag` among the sources.
std::optional<View> first_of(std::span<const std::vector<std::uint8_t>> sources, std::initializer_list<std::uint8_t> tag) {
    for (const auto& source : sources)
        if (const auto value = find(source, tag)) return value;
    return std::nullopt;
}

// Terminal values by tag; `numeric` values are padded and cut on the left.
struct TerminalValue {
    std::uint16_t tag;
    bool numeric;
    std::vector<std::uint8_t> value;
};

std::vector<std::uint8_t> bcd(const std::string& digits) {
    std::vector<std::uint8_t> out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        out.push_back(static_cast<std::uint8_t>((digits[i] - '0') << 4 | (digits[i + 1] - '0')));
    return out;
}

}  // namespace

CardData card_data(std::span<const std::vector<std::uint8_t>> sources) {
    CardData out;
    std::optional<Track1> track1;
    if (const auto v = first_of(sources, {0x56})) track1 = track1_of(*v);
    if (const auto v = first_of(sources, {0x5A}); v && pan_of(nibbles(*v))) out.pan = *pan_of(nibbles(*v)), out.pan_tag = 0x5A;
    std::optional<std::string> track_expiry;
    std::uint16_t track_expiry_tag = 0;
    for (const std::uint16_t tag : {std::uint16_t{0x57}, std::uint16_t{0x9F6B}}) {
        const auto v = tag == 0x57 ? first_of(sources, {0x57}) : first_of(sources, {0x9F, 0x6B});
        if (!v) continue;
        const Track2 track = track2_of(*v);
        if (out.pan.empty() && track.pan) out.pan = *track.pan, out.pan_tag = tag;
        if (!track_expiry && track.expiry) track_expiry = track.expiry, track_expiry_tag = tag;
    }
    if (const auto v = first_of(sources, {0x5F, 0x24}); v && v->size() == 3 && all_decimal(nibbles(*v)))
        out.expiry = nibbles(*v), out.expiry_tag = 0x5F24;
    if (out.expiry.empty() && track_expiry) out.expiry = *track_expiry, out.expiry_tag = track_expiry_tag;
    if (out.expiry.empty() && track1 && track1->expiry) out.expiry = *track1->expiry, out.expiry_tag = 0x56;

    if (const auto v = first_of(sources, {0x5F, 0x20})) out.name = trimmed(*v), out.name_tag = 0x5F20;
    if (out.name.empty()) {
        if (const auto v = first_of(sources, {0x9F, 0x0B})) out.name = trimmed(*v), out.name_tag = 0x9F0B;
    }
    if (out.name.empty() && track1) out.name = track1->name, out.name_tag = 0x56;
    if (out.name.empty()) out.name_tag = 0;
    return out;
}

bool luhn_ok(const std::string& digits) noexcept {
    int sum = 0;
    bool twice = false;
    for (auto it = digits.rbegin(); it != digits.rend(); ++it, twice = !twice) {
        int d = *it - '0';
        if (d < 0 || d > 9) return false;
        if (twice && (d *= 2) > 9) d -= 9;
        sum += d;
    }
    return !digits.empty() && sum % 10 == 0;
}

std::optional<std::vector<std::uint8_t>> pdol_data(View pdol, const std::string& now_utc, View random) {
    const std::vector<TerminalValue> values = {
        {0x9F66, false, {0xB6, 0x00, 0x40, 0x00}},  // qVSDC, MSD and contact chip; online PIN, signature, CDCVM
        {0x9F02, true, bcd("000000000000")},        // amount, authorised
        {0x9F03, true, bcd("000000000000")},        // amount, other
        {0x9F1A, true, bcd("0156")},                // terminal country code
        {0x5F2A, true, bcd("0156")},                // transaction currency code
        {0x95, false, {0, 0, 0, 0, 0}},             // terminal verification results
        {0x9A, true, bcd(now_utc.substr(0, 6))},    // transaction date
        {0x9F21, true, bcd(now_utc.substr(6, 6))},  // transaction time
        {0x9C, true, {0x00}},                       // transaction type: goods and services
        {0x9F37, false, std::vector<std::uint8_t>(random.begin(), random.end())},
        {0x9F35, true, {0x22}},                          // terminal type: attended, offline with online capability
        {0x9F33, false, {0xE0, 0xE1, 0xC8}},             // terminal capabilities
        {0x9F40, false, {0x60, 0x00, 0xF0, 0xA0, 0x01}},  // additional terminal capabilities
        {0x9F1E, false, {'V', 'N', 'R', '0', '0', '0', '0', '1'}},  // interface device serial number
    };
    std::vector<std::uint8_t> data;
    while (!pdol.empty()) {
        // An entry: a tag (its bytes as BER-TLV has them) and one length byte.
        std::size_t tag_size = 1;
        if ((pdol[0] & 0x1F) == 0x1F) {  // more tag bytes, up to one with its top bit clear
            while (tag_size < pdol.size() && (pdol[tag_size] & 0x80)) ++tag_size;
            ++tag_size;
        }
        if (tag_size > 4) return std::nullopt;
        if (tag_size >= pdol.size()) return std::nullopt;
        const std::size_t length = pdol[tag_size];
        std::uint32_t tag = 0;
        for (std::size_t i = 0; i < tag_size; ++i) tag = tag << 8 | pdol[i];
        pdol = pdol.subspan(tag_size + 1);

        std::vector<std::uint8_t> value(length, 0);
        const auto known = std::find_if(values.begin(), values.end(), [&](const TerminalValue& v) { return v.tag == tag; });
        if (known != values.end()) {
            const auto& given = known->value;
            const std::size_t n = std::min(length, given.size());
            if (known->numeric)  // right-aligned: leading zeros, or the leftmost digits cut
                std::copy(given.end() - static_cast<std::ptrdiff_t>(n), given.end(), value.end() - static_cast<std::ptrdiff_t>(n));
            else
                std::copy(given.begin(), given.begin() + static_cast<std::ptrdiff_t>(n), value.begin());
        }
        data.insert(data.end(), value.begin(), value.end());
        if (data.size() > kMaxPdolData) return std::nullopt;
    }
    return data;
}

std::optional<Processing> processing_options(View answer) {
    const auto element = read_tlv(answer);
    if (!element || element->tag.size() != 1) return std::nullopt;
    Processing out;
    if (element->tag[0] == 0x80) {
        if (element->value.size() < 2) return std::nullopt;
        out.aip = static_cast<std::uint16_t>(element->value[0] << 8 | element->value[1]);
        out.afl.assign(element->value.begin() + 2, element->value.end());
    } else if (element->tag[0] == 0x77) {
        const auto aip = find(element->value, {0x82});
        if (!aip || aip->size() != 2) return std::nullopt;
        out.aip = static_cast<std::uint16_t>((*aip)[0] << 8 | (*aip)[1]);
        if (const auto afl = find(element->value, {0x94})) out.afl.assign(afl->begin(), afl->end());
    } else {
        return std::nullopt;
    }
    if (out.afl.size() % 4 != 0) return std::nullopt;
    return out;
}

}  // namespace vnr::emv
