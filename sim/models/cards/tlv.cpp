// sim/models/cards/tlv.cpp: TLV groups in a deck's hex, and the BER-TLV walk (see tlv.h).
#include "models/cards/tlv.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace vnrsim {
namespace {

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

class TlvHexParser {
public:
    explicit TlvHexParser(std::string_view text) : text_(text) {}

    std::vector<std::uint8_t> parse() {
        std::vector<std::uint8_t> out = sequence();
        if (at_ < text_.size()) fail("a \")\" closes no group");
        return out;
    }

private:
    [[noreturn]] void fail(const std::string& what) const {
        throw std::invalid_argument(what + " at character " + std::to_string(at_ + 1) + " of \"" + std::string(text_) +
                                    "\"");
    }

    // Items up to the end of the text or a ")", which is left for the caller.
    std::vector<std::uint8_t> sequence() {
        std::vector<std::uint8_t> out;
        while (true) {
            while (at_ < text_.size() && blank(text_[at_])) ++at_;
            if (at_ == text_.size() || text_[at_] == ')') return out;
            const std::size_t word_start = at_;
            if (text_[at_] == '\'') {
                const std::size_t end = text_.find('\'', at_ + 1);
                if (end == std::string_view::npos) fail("this text is not closed");
                for (std::size_t i = at_ + 1; i < end; ++i) {
                    if (static_cast<unsigned char>(text_[i]) >= 0x80) fail("a text in quotes is ASCII only");
                    out.push_back(static_cast<std::uint8_t>(text_[i]));
                }
                at_ = end + 1;
                continue;
            }
            std::vector<std::uint8_t> word;
            while (at_ < text_.size() && hex_digit(text_[at_]) >= 0) {
                if (at_ + 1 >= text_.size() || hex_digit(text_[at_ + 1]) < 0) fail("a hex byte is cut in half");
                word.push_back(static_cast<std::uint8_t>(hex_digit(text_[at_]) * 16 + hex_digit(text_[at_ + 1])));
                at_ += 2;
            }
            if (at_ < text_.size() && text_[at_] == '(') {
                if (word.empty()) fail("a group needs its tag right before \"(\"");
                ++at_;
                const std::vector<std::uint8_t> value = sequence();
                if (at_ == text_.size()) {
                    at_ = word_start;
                    fail("this group is not closed");
                }
                ++at_;  // the ")"
                out.insert(out.end(), word.begin(), word.end());
                put_ber_length(out, value.size());
                out.insert(out.end(), value.begin(), value.end());
            } else if (word.empty()) {
                fail("not a hex digit");
            } else {
                out.insert(out.end(), word.begin(), word.end());
            }
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

// Reads a tag and a length at `at`, which it moves to the value; false when the data ends first.
bool read_head(std::span<const std::uint8_t> data, std::size_t& at, std::span<const std::uint8_t>& tag,
               std::size_t& length) {
    const std::size_t start = at;
    if (at >= data.size()) return false;
    if ((data[at++] & 0x1F) == 0x1F) {
        while (at < data.size() && (data[at] & 0x80)) ++at;
        if (at >= data.size()) return false;
        ++at;
    }
    tag = data.subspan(start, at - start);
    if (at >= data.size()) return false;
    const std::uint8_t first = data[at++];
    if (first < 0x80) {
        length = first;
    } else {
        const std::size_t count = first & 0x7F;
        if (count == 0 || count > 3 || at + count > data.size()) return false;
        length = 0;
        for (std::size_t i = 0; i < count; ++i) length = length << 8 | data[at++];
    }
    return at + length <= data.size();
}

}  // namespace

std::vector<std::uint8_t> tlv_hex(std::string_view text) { return TlvHexParser(text).parse(); }

void put_ber_length(std::vector<std::uint8_t>& out, std::size_t length) {
    if (length < 0x80) {
        out.push_back(static_cast<std::uint8_t>(length));
    } else if (length <= 0xFF) {
        out.insert(out.end(), {0x81, static_cast<std::uint8_t>(length)});
    } else {
        out.insert(out.end(), {0x82, static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length & 0xFF)});
    }
}

std::optional<std::span<const std::uint8_t>> find_tlv(std::span<const std::uint8_t> data,
                                                      std::span<const std::uint8_t> tag) {
    std::size_t at = 0;
    while (at < data.size()) {
        // Padding between elements, as cards leave it.
        if (data[at] == 0x00 || data[at] == 0xFF) {
            ++at;
            continue;
        }
        std::span<const std::uint8_t> here;
        std::size_t length = 0;
        if (!read_head(data, at, here, length)) return std::nullopt;
        const auto value = data.subspan(at, length);
        if (std::equal(here.begin(), here.end(), tag.begin(), tag.end())) return value;
        if (here[0] & 0x20) {
            if (auto inner = find_tlv(value, tag)) return inner;
        }
        at += length;
    }
    return std::nullopt;
}

std::optional<std::size_t> dol_length(std::span<const std::uint8_t> dol) {
    std::size_t at = 0, total = 0;
    while (at < dol.size()) {
        if ((dol[at++] & 0x1F) == 0x1F) {
            while (at < dol.size() && (dol[at] & 0x80)) ++at;
            ++at;
        }
        if (at >= dol.size()) return std::nullopt;
        total += dol[at++];
    }
    return total;
}

}  // namespace vnrsim
