// sim/models/contact/contact_model.cpp: the contact slots' answers to their commands and the moves of
// their cards (see contact_model.h).
#include "models/contact/contact_model.h"

#include <algorithm>
#include <stdexcept>

namespace vnrsim {
namespace {

constexpr std::uint8_t kGroup = 0x32, kGroup1604 = 0x33;
constexpr std::uint8_t kState = 0x21, kReset = 0x22, kPowerDown = 0x23, kApdu = 0x26, kResetBaud = 0x27, kErase = 0x30,
                       kSetType = 0x31, kIdentify = 0x32, kPasswordInit = 0x33, kPasswordCheck = 0x34, kRead = 0x35,
                       kWrite = 0x36, kFuse = 0x96, kPersonalise = 0x39;
constexpr std::uint8_t kFieldCard = 0xFF;  // the APDU's slot that names the contactless CPU card
constexpr std::uint8_t kTypes[] = {1, 3, 4, 5, 8, 10};
constexpr std::uint8_t kType1604 = 8;
constexpr std::uint8_t kMaxBaudCode = 2;
// The largest read whose reply fits a frame: the payload holds S1 S2 and the data.
constexpr std::size_t kMaxRead = 0xFFFF - 2;

std::size_t be16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::size_t>(bytes[at] << 8 | bytes[at + 1]);
}

Answer status(std::uint16_t value) { return {value, {}}; }

}  // namespace

ContactCard* ContactModel::card(const std::string& name) {
    for (ContactCard& card : cards_)
        if (card.name == name) return &card;
    return nullptr;
}

bool ContactModel::card_present(std::uint8_t slot) const {
    return slot < kContactSlots && slot_exists(slot) && slots_[slot].card.has_value();
}

void ContactModel::insert(std::uint8_t slot, const std::string& name) {
    if (slot >= kContactSlots || !slot_exists(slot))
        throw std::invalid_argument("the reader has no slot " + std::to_string(slot));
    if (slots_[slot].card)
        throw std::invalid_argument("slot " + std::to_string(slot) + " holds " + cards_[*slots_[slot].card].name);
    const ContactCard* found = card(name);
    if (!found) throw std::invalid_argument("the deck has no contact card named " + name);
    const std::size_t index = static_cast<std::size_t>(found - cards_.data());
    for (std::uint8_t other = 0; other < kContactSlots; ++other)
        if (slots_[other].card == index) throw std::invalid_argument(name + " is in slot " + std::to_string(other));
    slots_[slot] = ContactSlot{index, false, false};
}

void ContactModel::remove(std::uint8_t slot) {
    if (!card_present(slot)) throw std::invalid_argument("slot " + std::to_string(slot) + " holds no card");
    power_off(slot);
    slots_[slot] = ContactSlot{};
}

void ContactModel::power_off(std::uint8_t slot) {
    if (!card_present(slot)) return;
    slots_[slot].powered = false;
    std::visit(
        [](auto& card) {
            if constexpr (std::is_same_v<std::decay_t<decltype(card)>, ContactCpuCard>) {
                card.cpu.reset();
            } else {
                card.power_off();
            }
        },
        cards_[*slots_[slot].card].card);
}

void ContactModel::pull_during_apdu(std::uint8_t slot) {
    if (!card_present(slot)) throw std::invalid_argument("slot " + std::to_string(slot) + " holds no card");
    slots_[slot].pull = true;
}

std::variant<ContactCardKind*, std::uint16_t> ContactModel::card_in(std::uint8_t slot) {
    if (!slot_exists(slot)) return kSlotMissing;
    if (!slots_[slot].card) return kSlotNoCard;
    return &cards_[*slots_[slot].card].card;
}

Answer ContactModel::state(std::uint8_t slot) const {
    if (!slot_exists(slot)) return status(kSlotMissing);
    if (!slots_[slot].card) return status(kSlotNoCard);
    return status(slots_[slot].powered ? kSlotPowered : kSlotUnpowered);
}

Answer ContactModel::reset(std::uint8_t slot, bool with_length) {
    const auto found = card_in(slot);
    if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
    auto* cpu = std::get_if<ContactCpuCard>(std::get<ContactCardKind*>(found));
    if (!cpu) return status(kWrongCardKind);
    slots_[slot].powered = true;
    cpu->cpu.reset();
    CardBytes data;
    if (with_length) data.push_back(static_cast<std::uint8_t>(cpu->atr.size()));
    data.insert(data.end(), cpu->atr.begin(), cpu->atr.end());
    return {0, data};
}

Answer ContactModel::apdu(std::uint8_t slot, std::span<const std::uint8_t> apdu) {
    const auto found = card_in(slot);
    if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
    auto* cpu = std::get_if<ContactCpuCard>(std::get<ContactCardKind*>(found));
    if (!cpu) return status(kWrongCardKind);
    if (!slots_[slot].powered) return status(kSlotUnpowered);
    if (apdu.empty()) return status(kBadFields);
    if (slots_[slot].pull) {
        remove(slot);
        return status(kCardMute);
    }
    return {0, cpu->cpu.apdu(apdu)};
}

std::optional<Answer> ContactModel::answer_at(std::span<const std::uint8_t> command, Clock::time_point now) {
    const bool apdu = command.size() > 3 && command[0] == kGroup && command[1] == kApdu;
    if (apdu && command[2] == kFieldCard && sibling("contactless")) return std::nullopt;
    std::chrono::milliseconds delay{0};
    if (apdu && command[2] < kContactSlots && card_present(command[2]) && slots_[command[2]].powered)
        if (const auto* cpu = std::get_if<ContactCpuCard>(&cards_[*slots_[command[2]].card].card))
            delay = std::chrono::milliseconds(cpu->cpu.setup().answer_ms);
    std::optional<Answer> out = answer(command);
    if (!out || !apdu || out->status != 0) return out;
    return late_.hold(std::move(*out), now, delay);
}

std::optional<Answer> ContactModel::answer(std::span<const std::uint8_t> command) {
    if (command.size() < 3) return std::nullopt;
    const std::uint8_t group = command[0], operation = command[1];
    if (group == kGroup1604 && operation == kPersonalise) {
        if (command.size() != 3) return status(kBadFields);
        return memory_command(command);
    }
    if (group != kGroup) return std::nullopt;
    const std::size_t size = command.size();
    switch (operation) {
        case kState:
            if (size != 3) return status(kBadFields);
            return state(command[2]);
        case kReset:
            if (size != 5) return status(kBadFields);
            return reset(command[4], true);
        case kResetBaud:
            if (size != 4 || command[3] > kMaxBaudCode) return status(kBadFields);
            return reset(command[2], false);
        case kPowerDown: {
            if (size != 3) return status(kBadFields);
            const auto found = card_in(command[2]);
            if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
            power_off(command[2]);
            return status(0);
        }
        case kApdu:
            if (command[2] == kFieldCard) {
                // The contactless CPU card is the RF field's: the sibling takes the same command.
                if (Model* field = sibling("contactless")) return field->answer(command);
                return std::nullopt;
            }
            return apdu(command[2], command.subspan(3));
        case kErase:
        case kSetType:
        case kIdentify:
        case kPasswordInit:
        case kPasswordCheck:
        case kRead:
        case kWrite:
        case kFuse:
            return memory_command(command);
        default:
            return std::nullopt;
    }
}

Answer ContactModel::memory_command(std::span<const std::uint8_t> command) {
    const std::uint8_t operation = command[1];
    const std::size_t size = command.size();
    const auto found = card_in(command[2]);
    if (const auto* refusal = std::get_if<std::uint16_t>(&found)) return status(*refusal);
    ContactCardKind& card = *std::get<ContactCardKind*>(found);
    // The reader powers a memory card for its first command and leaves it so.
    if (!std::holds_alternative<ContactCpuCard>(card)) slots_[command[2]].powered = true;

    if (operation == kSetType) {
        if (size != 4 || std::find(std::begin(kTypes), std::end(kTypes), command[3]) == std::end(kTypes))
            return status(kBadFields);
        const auto* memory = std::get_if<MemoryCard>(&card);
        const bool same =
            memory ? memory->type() == command[3] : std::holds_alternative<Card1604>(card) && command[3] == kType1604;
        return status(same ? 0 : kWrongCardKind);
    }
    if (operation == kIdentify) {
        if (size != 3) return status(kBadFields);
        if (const auto* memory = std::get_if<MemoryCard>(&card)) return {0, memory->identify()};
        if (const auto* c1604 = std::get_if<Card1604>(&card)) return {0, c1604->identify()};
        return status(kWrongCardKind);
    }
    // Read and write share their fields on both kinds of card.
    if (operation == kRead || operation == kWrite) {
        if (size < 7) return status(kBadFields);
        const std::size_t address = be16(command, 3), length = be16(command, 5);
        if (operation == kRead && (size != 7 || length > kMaxRead)) return status(kBadFields);
        if (operation == kWrite && size != 7 + length) return status(kBadFields);
        const auto data = command.subspan(7);
        if (auto* memory = std::get_if<MemoryCard>(&card))
            return operation == kRead ? memory->read(address, length) : memory->write(address, data);
        if (auto* c1604 = std::get_if<Card1604>(&card))
            return operation == kRead ? c1604->read(address, length) : c1604->write(address, data);
        return status(kWrongCardKind);
    }

    if (auto* memory = std::get_if<MemoryCard>(&card)) {
        // 32 33 and 32 34: SLOT LEN PASSWORD.
        if ((operation != kPasswordInit && operation != kPasswordCheck) || command[0] != kGroup)
            return status(kWrongCardKind);
        if (size < 4 || size != 4u + command[3]) return status(kBadFields);
        const auto password = command.subspan(4);
        return operation == kPasswordInit ? memory->change_password(password) : memory->present(password);
    }
    auto* c1604 = std::get_if<Card1604>(&card);
    if (!c1604) return status(kWrongCardKind);
    if (command[0] == kGroup1604) return c1604->personalise();
    switch (operation) {
        case kErase:
            // Sent with and without a zero byte behind the length.
            if (size != 7 && !(size == 8 && command[7] == 0)) return status(kBadFields);
            return c1604->erase(be16(command, 3), be16(command, 5));
        case kPasswordInit: {
            // SLOT NUMBER ADDR(2) LEN(2) DATA: a code's bytes.
            if (size < 8 || size != 8 + be16(command, 6)) return status(kBadFields);
            return c1604->write_code(command[3], be16(command, 4), command.subspan(8));
        }
        case kPasswordCheck:
            // SLOT 04 KIND ZONE C1 C2.
            if (size != 8 || command[3] != 4 || command[4] > 1) return status(kBadFields);
            return c1604->present(command[4] == 1, command[5], command.subspan<6, 2>());
        case kFuse:
            if (size != 4) return status(kBadFields);
            return c1604->fake_fuse(command[3]);
        default:
            return status(kWrongCardKind);
    }
}

}  // namespace vnrsim
