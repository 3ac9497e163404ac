// sim/models/idcard/idcard_module.cpp: the identity card module: text blocks and the module's answers
// (see idcard_module.h).
#include "models/idcard/idcard_module.h"

#include <algorithm>

namespace vnrsim {
namespace {

constexpr std::uint8_t kCommandGroup = 0xD0;         // find, select, reads, added and management information
constexpr std::uint8_t kReadCommandGroup = 0x32;     // the read (2P), module id (2Q) and card id (2R)
constexpr std::uint8_t kFind = 0x01, kSelect = 0x02, kReadA = 0x03, kReadB = 0x04, kAdded = 0x05,
                       kManagement = 0x06, kReadB2 = 0x07;
constexpr std::uint8_t kRead2P = 0x50, kModuleId = 0x51, kCardId = 0x52;

void put_be16(std::vector<std::uint8_t>& out, std::size_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value & 0xFF));
}

// The next code point of `text` from `at`, which it moves past it; nullopt for a byte sequence that
// is not UTF-8 (cut short, overlong, a surrogate, beyond U+10FFFF).
std::optional<char32_t> next_code_point(std::string_view text, std::size_t& at) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(at);
    std::size_t extra = 0;
    char32_t value = 0, least = 0;
    if (lead < 0x80) {
        ++at;
        return lead;
    } else if ((lead & 0xE0) == 0xC0) {
        extra = 1, value = lead & 0x1F, least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        extra = 2, value = lead & 0x0F, least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        extra = 3, value = lead & 0x07, least = 0x10000;
    } else {
        return std::nullopt;
    }
    if (at + extra >= text.size()) return std::nullopt;  // cut short
    for (std::size_t i = 1; i <= extra; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return std::nullopt;
        value = (value << 6) | (byte(at + i) & 0x3F);
    }
    if (value < least || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return std::nullopt;
    at += extra + 1;
    return value;
}

template <typename Text, std::size_t N>
TextBlock encode(const Text& card, const std::array<TextField<Text>, N>& fields) {
    TextBlock block;
    for (std::size_t i = 0; i < block.size(); i += 2) block[i] = 0x20, block[i + 1] = 0x00;
    for (const TextField<Text>& field : fields) {
        const std::string& text = card.*field.member;
        std::vector<std::uint8_t> wide;
        try {
            wide = to_utf16le(text);
        } catch (const std::invalid_argument& e) {
            throw TextFieldError(field.name, e.what());
        }
        if (wide.size() > field.width)
            throw TextFieldError(field.name, "\"" + text + "\" takes " + std::to_string(wide.size()) +
                                                 " bytes as UTF-16LE; the field holds " +
                                                 std::to_string(field.width) + " (" +
                                                 std::to_string(field.width / 2) + " characters)");
        std::copy(wide.begin(), wide.end(), block.begin() + static_cast<std::ptrdiff_t>(field.offset));
    }
    return block;
}

}  // namespace

const std::array<TextField<ResidentText>, 10> kResidentFields{{
    {"name", 0, 30, &ResidentText::name},
    {"sex", 30, 2, &ResidentText::sex},
    {"nation", 32, 4, &ResidentText::nation},
    {"birthday", 36, 16, &ResidentText::birthday},
    {"address", 52, 70, &ResidentText::address},
    {"id_number", 122, 36, &ResidentText::id_number},
    {"issue_department", 158, 30, &ResidentText::issue_department},
    {"valid_from", 188, 16, &ResidentText::valid_from},
    {"valid_expiry", 204, 16, &ResidentText::valid_expiry},
    {"reserve", 220, 36, &ResidentText::reserve},
}};

const std::array<TextField<ForeignText>, 12> kForeignFields{{
    {"english_name", 0, 120, &ForeignText::english_name},
    {"sex", 120, 2, &ForeignText::sex},
    {"card_number", 122, 30, &ForeignText::card_number},
    {"country_code", 152, 6, &ForeignText::country_code},
    {"chinese_name", 158, 30, &ForeignText::chinese_name},
    {"valid_from", 188, 16, &ForeignText::valid_from},
    {"valid_expiry", 204, 16, &ForeignText::valid_expiry},
    {"birthday", 220, 16, &ForeignText::birthday},
    {"card_version", 236, 4, &ForeignText::card_version},
    {"authority_code", 240, 8, &ForeignText::authority_code},
    {"card_mark", 248, 2, &ForeignText::card_mark},
    {"reserve", 250, 6, &ForeignText::reserve},
}};

TextFieldError::TextFieldError(std::string_view name, const std::string& what)
    : std::invalid_argument(what), field(name) {}

TextBlock text_block(const ResidentText& card) { return encode(card, kResidentFields); }

TextBlock text_block(const ForeignText& card) { return encode(card, kForeignFields); }

std::vector<std::uint8_t> to_utf16le(std::string_view utf8) {
    std::vector<std::uint8_t> out;
    const auto unit = [&](char32_t u) {
        out.push_back(static_cast<std::uint8_t>(u & 0xFF));
        out.push_back(static_cast<std::uint8_t>(u >> 8));
    };
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t start = at;
        const auto c = next_code_point(utf8, at);
        if (!c) throw std::invalid_argument("text is not UTF-8 at byte " + std::to_string(start));
        if (*c < 0x10000) {
            unit(*c);
        } else {
            unit(0xD800 + ((*c - 0x10000) >> 10));
            unit(0xDC00 + ((*c - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::vector<std::uint8_t> module_reply(SwTriple sw, std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> out;
    out.reserve(kModuleReplyHead + data.size());
    put_be16(out, kModuleReplyHead + data.size());
    out.insert(out.end(), sw.begin(), sw.end());
    out.insert(out.end(), data.begin(), data.end());
    return out;
}

IdCardModule::IdCardModule(IdCardSetup setup) : setup_(std::move(setup)) {
    const CardKind card = setup_.on_reader;
    setup_.on_reader = CardKind::none;
    put(card);
}

void IdCardModule::put(CardKind card) {
    if (card == CardKind::resident && !setup_.resident)
        throw std::invalid_argument("there is no resident card to put on the reader");
    if (card == CardKind::foreign && !setup_.foreign)
        throw std::invalid_argument("there is no foreign card to put on the reader");
    setup_.on_reader = card;
}

void IdCardModule::fail(SwTriple sw, Times times) { failure_ = StandingFailure{sw, times}; }

std::optional<Answer> IdCardModule::answer(std::span<const std::uint8_t> command) {
    if (command.size() != 2) return std::nullopt;
    const std::uint8_t group = command[0], operation = command[1];
    const bool module_command = (group == kCommandGroup && operation >= kFind && operation <= kReadB2) ||
                                (group == kReadCommandGroup && operation == kRead2P);
    const bool raw_command = group == kReadCommandGroup && (operation == kModuleId || operation == kCardId);
    if (!module_command && !raw_command) return std::nullopt;

    const IdCard* card = setup_.on_reader == CardKind::resident  ? &*setup_.resident
                         : setup_.on_reader == CardKind::foreign ? &*setup_.foreign
                                                                 : nullptr;
    if (raw_command) {
        if (operation == kModuleId) return Answer{0, setup_.module_id};
        if (!card) return Answer{kNoIdCardStatus, {}};
        return Answer{0, card->card_id};
    }

    if (failure_) {
        const SwTriple sw = failure_->sw;
        if (!failure_->times.is_always()) {
            const std::uint32_t left = failure_->times.replies() - 1;
            if (left == 0) {
                failure_.reset();
            } else {
                failure_->times = Times::count(left);
            }
        }
        return Answer{0, module_reply(sw)};
    }
    if (!card) return Answer{0, module_reply(kSwNoCard)};

    const bool form_b = group == kCommandGroup && (operation == kReadB || operation == kReadB2);
    const bool form_a = !form_b && (group == kReadCommandGroup || operation == kReadA);
    if (form_a || form_b) {
        std::vector<std::uint8_t> data;
        data.reserve(6 + card->text.size() + card->photo.size() + card->fingerprint.size());
        put_be16(data, card->text.size());
        put_be16(data, card->photo.size());
        if (form_b) put_be16(data, card->fingerprint.size());
        data.insert(data.end(), card->text.begin(), card->text.end());
        data.insert(data.end(), card->photo.begin(), card->photo.end());
        if (form_b) data.insert(data.end(), card->fingerprint.begin(), card->fingerprint.end());
        return Answer{0, module_reply(kSwDone, data)};
    }
    switch (operation) {
        case kFind:
            return Answer{0, module_reply(kSwFound, card->card_id)};
        case kAdded:
            return Answer{0, module_reply(kSwDone, card->added)};
        case kManagement:
            return Answer{0, module_reply(kSwDone, card->management)};
        case kSelect:
        default:
            return Answer{0, module_reply(kSwDone)};
    }
}

}  // namespace vnrsim
