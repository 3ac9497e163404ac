// sim/models/contactless/contactless_model.cpp: the RF field's answers, its activation and the moves
// of its cards (see contactless_model.h).
#include "models/contactless/contactless_model.h"

#include <algorithm>
#include <stdexcept>

namespace vnrsim {
namespace {

constexpr std::uint8_t kGroup = 0x32, kTagGroup = 0xC1;
constexpr std::uint8_t kOpenCard = 0x24, kHalt = 0x25, kApdu = 0x26, kFieldOn = 0x28, kFieldOff = 0x29, kRfCard = 0x41,
                       kAuthenticate = 0x42, kRead = 0x43, kWrite = 0x44, kReadValue = 0x45, kInitValue = 0x46,
                       kIncrement = 0x47, kDecrement = 0x48, kTransfer = 0x49, kPageWrite = 0x4C,
                       kKeyAuthenticate = 0x4D;
constexpr std::uint8_t kTagWrite = 0x4C, kTagPassword = 0x4F, kTagFastRead = 0x50;
constexpr std::uint8_t kFieldCard = 0xFF;
constexpr std::uint8_t kTypeA = 0x0A, kTypeB = 0x0B;

Answer status(std::uint16_t value) { return {value, {}}; }

std::uint32_t be32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at]) << 24 | static_cast<std::uint32_t>(bytes[at + 1]) << 16 |
           static_cast<std::uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
}

void end_session(RfCardKind& card) {
    std::visit(
        [](auto& kind) {
            if constexpr (std::is_same_v<std::decay_t<decltype(kind)>, RfCpuCard>) {
                kind.cpu.reset();
            } else {
                kind.end_session();
            }
        },
        card);
}

// The length that a card command has with its fields; 32 4D's depends on its key length byte.
std::size_t command_length(std::span<const std::uint8_t> command) {
    if (command[0] == kTagGroup) return command[1] == kTagWrite ? 7 : command[1] == kTagPassword ? 6 : 4;
    switch (command[1]) {
        case kAuthenticate:
            return 10;
        case kWrite:
            return 19;
        case kInitValue:
        case kIncrement:
        case kDecrement:
        case kPageWrite:
            return 7;
        case kKeyAuthenticate:
            return command.size() >= 3 ? 3u + command[2] : 3;
        default:
            return 3;
    }
}

}  // namespace

RfCard* ContactlessModel::card(const std::string& name) {
    for (RfCard& card : cards_)
        if (card.name == name) return &card;
    return nullptr;
}

std::vector<std::string> ContactlessModel::in_field() const {
    std::vector<std::string> out;
    for (const std::size_t i : field_) out.push_back(cards_[i].name);
    return out;
}

std::optional<std::string> ContactlessModel::active() const {
    if (!active_) return std::nullopt;
    return cards_[*active_].name;
}

void ContactlessModel::put(const std::string& name) {
    const RfCard* found = card(name);
    if (!found) throw std::invalid_argument("the deck has no contactless card named " + name);
    const std::size_t index = static_cast<std::size_t>(found - cards_.data());
    if (std::find(field_.begin(), field_.end(), index) != field_.end())
        throw std::invalid_argument(name + " is in the field");
    cards_[index].halted = false;
    end_session(cards_[index].card);
    field_.push_back(index);
}

void ContactlessModel::take(const std::string& name) {
    const RfCard* found = card(name);
    const std::size_t index = found ? static_cast<std::size_t>(found - cards_.data()) : cards_.size();
    const auto at = std::find(field_.begin(), field_.end(), index);
    if (at == field_.end()) throw std::invalid_argument(name + " is not in the field");
    if (active_ == index) {
        active_.reset();
        pull_ = false;
    }
    end_session(cards_[index].card);
    field_.erase(at);
}

void ContactlessModel::pull_during_command() {
    if (!active_) throw std::invalid_argument("no card is active");
    pull_ = true;
}

void ContactlessModel::deactivate() {
    if (active_) end_session(cards_[*active_].card);
    active_.reset();
}

Answer ContactlessModel::activate(bool cpu) {
    if (!field_on_) return status(kRfFieldOff);
    deactivate();
    for (const std::size_t i : field_) {
        RfCard& candidate = cards_[i];
        if (candidate.halted || std::holds_alternative<RfCpuCard>(candidate.card) != cpu) continue;
        active_ = i;
        if (auto* card = std::get_if<RfCpuCard>(&candidate.card)) {
            card->cpu.reset();
            CardBytes out{card->type_b ? kTypeB : kTypeA, static_cast<std::uint8_t>(card->uid.size())};
            out.insert(out.end(), card->uid.begin(), card->uid.end());
            out.push_back(static_cast<std::uint8_t>(card->ats.size()));
            out.insert(out.end(), card->ats.begin(), card->ats.end());
            return {0, out};
        }
        if (const auto* card = std::get_if<MifareCard>(&candidate.card)) return {0, card->activation()};
        return {0, std::get<PageTag>(candidate.card).activation()};
    }
    return status(kRfNoCard);
}

template <typename Kind>
std::variant<Kind*, std::uint16_t> ContactlessModel::active_as() {
    if (!active_) return field_on_ ? kRfNotActive : kRfFieldOff;
    if (pull_) {
        pull_ = false;
        take(cards_[*active_].name);
        return kRfCardGone;
    }
    if (auto* card = std::get_if<Kind>(&cards_[*active_].card)) return card;
    return kRfWrongCardKind;
}

std::optional<Answer> ContactlessModel::answer_at(std::span<const std::uint8_t> command, Clock::time_point now) {
    const bool apdu = command.size() > 3 && command[0] == kGroup && command[1] == kApdu && command[2] == kFieldCard;
    std::chrono::milliseconds delay{0};
    if (apdu && active_ && !pull_)
        if (const auto* cpu = std::get_if<RfCpuCard>(&cards_[*active_].card))
            delay = std::chrono::milliseconds(cpu->cpu.setup().answer_ms);
    std::optional<Answer> out = answer(command);
    if (!out || !apdu || out->status != 0) return out;
    return late_.hold(std::move(*out), now, delay);
}

std::optional<Answer> ContactlessModel::answer(std::span<const std::uint8_t> command) {
    if (command.size() < 2) return std::nullopt;
    const std::uint8_t group = command[0], operation = command[1];
    const std::size_t size = command.size();
    if (group == kGroup) {
        switch (operation) {
            case kFieldOn:
            case kFieldOff:
                if (size != 2) return status(kRfBadFields);
                if (operation == kFieldOff) {
                    deactivate();
                    for (RfCard& card : cards_) card.halted = false;
                }
                field_on_ = operation == kFieldOn;
                return status(0);
            case kOpenCard:
            case kRfCard:
                if (size != 4) return status(kRfBadFields);
                return activate(operation == kOpenCard);
            case kHalt:
                if (size != 4) return status(kRfBadFields);
                if (!active_) return status(field_on_ ? kRfNotActive : kRfFieldOff);
                cards_[*active_].halted = true;
                deactivate();
                return status(0);
            case kApdu: {
                if (size < 3 || command[2] != kFieldCard) return std::nullopt;
                const auto found = active_as<RfCpuCard>();
                if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
                if (size == 3) return status(kRfBadFields);
                return Answer{0, std::get<RfCpuCard*>(found)->cpu.apdu(command.subspan(3))};
            }
            case kAuthenticate:
            case kRead:
            case kWrite:
            case kReadValue:
            case kInitValue:
            case kIncrement:
            case kDecrement:
            case kTransfer:
            case kPageWrite:
            case kKeyAuthenticate:
                return card_command(command);
            default:
                return std::nullopt;
        }
    }
    if (group == kTagGroup && (operation == kTagWrite || operation == kTagPassword || operation == kTagFastRead))
        return card_command(command);
    return std::nullopt;
}

Answer ContactlessModel::card_command(std::span<const std::uint8_t> command) {
    const std::uint8_t group = command[0], operation = command[1];
    const std::size_t size = command.size();
    // The fields' lengths first: a malformed command reaches no card.
    if (size != command_length(command)) return status(kRfBadFields);

    const bool tag_command = group == kTagGroup || operation == kPageWrite || operation == kKeyAuthenticate;
    if (tag_command || (operation == kRead && active_ && std::holds_alternative<PageTag>(cards_[*active_].card))) {
        const auto found = active_as<PageTag>();
        if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
        PageTag& tag = *std::get<PageTag*>(found);
        // The Ultralight kinds take 32 4C and 32 4D, the NTAG215 its C1 commands.
        if ((group == kTagGroup) != (tag.kind() == TagKind::ntag215) && operation != kRead)
            return status(kRfWrongCardKind);
        if (group == kTagGroup && operation == kTagPassword) return tag.authenticate_password(command.subspan<2, 4>());
        if (group == kTagGroup && operation == kTagFastRead) return tag.fast_read(command[2], command[3]);
        if (operation == kKeyAuthenticate) return tag.authenticate_key(command.subspan(3));
        if (operation == kRead) return tag.read(command[2]);
        return tag.write(command[2], command.subspan<3, 4>());
    }
    const auto found = active_as<MifareCard>();
    if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
    MifareCard& card = *std::get<MifareCard*>(found);
    const std::uint8_t block = command[2];
    switch (operation) {
        case kAuthenticate:
            return card.authenticate(block, command[3], command.subspan<4, 6>());
        case kRead:
            return card.read(block);
        case kWrite:
            return card.write(block, command.subspan<3, 16>());
        case kReadValue:
            return card.read_value(block);
        case kInitValue:
            return card.init_value(block, be32(command, 3));
        case kIncrement:
        case kDecrement:
            return card.change_value(block, be32(command, 3), operation == kIncrement);
        default:
            return card.transfer(block);
    }
}

}  // namespace vnrsim
