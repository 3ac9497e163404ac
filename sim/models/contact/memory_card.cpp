// sim/models/contact/memory_card.cpp: the contact memory card (see memory_card.h).
#include "models/contact/memory_card.h"

#include <algorithm>
#include <stdexcept>

#include "models/contact/contact_status.h"

namespace vnrsim {

MemoryCardSetup factory_memory_card(std::uint8_t type, std::uint8_t size_code) {
    MemoryCardSetup setup;
    setup.type = type;
    switch (type) {
        case 4:
            setup.atr = {0xA2, 0x13, 0x10, 0x91};
            setup.memory.assign(256, 0xFF);
            setup.password.assign(3, 0xFF);
            setup.attempts = 3;
            break;
        case 3:
            setup.atr = {0x92, 0x23, 0x10, 0x91};
            setup.memory.assign(1024, 0xFF);
            setup.password.assign(2, 0xFF);
            setup.attempts = 8;
            break;
        case 1:
        case 5:
        case 10:
            if (size_code > 16) throw std::invalid_argument("a size code runs from 0 to 16");
            setup.size_code = size_code;
            setup.memory.assign(std::size_t{128} << size_code, 0xFF);
            break;
        default:
            throw std::invalid_argument("a memory card's type is 1, 3, 4, 5 or 10");
    }
    return setup;
}

MemoryCard::MemoryCard(MemoryCardSetup setup) : setup_(std::move(setup)), left_(setup_.attempts) {}

CardBytes MemoryCard::identify() const {
    if (!setup_.atr.empty()) return setup_.atr;
    return {setup_.type, setup_.size_code};
}

Answer MemoryCard::change_password(std::span<const std::uint8_t> password) {
    if (setup_.password.empty()) return {kWrongCardKind, {}};
    if (left_ == 0) return {kCodeLocked, {}};
    if (!unlocked_) return {kCodeNeeded, {}};
    if (password.size() != setup_.password.size()) return {kBadFields, {}};
    setup_.password.assign(password.begin(), password.end());
    return {0, {}};
}

Answer MemoryCard::present(std::span<const std::uint8_t> password) {
    if (setup_.password.empty()) return {kWrongCardKind, {}};
    if (left_ == 0) return {kCodeLocked, {}};
    if (password.size() != setup_.password.size()) return {kBadFields, {}};
    if (!std::equal(password.begin(), password.end(), setup_.password.begin())) {
        --left_;
        unlocked_ = false;
        return {kWrongCode, {}};
    }
    left_ = setup_.attempts;
    unlocked_ = true;
    return {0, {}};
}

Answer MemoryCard::read(std::size_t address, std::size_t length) const {
    if (address + length > setup_.memory.size()) return {kBeyondCard, {}};
    const auto from = setup_.memory.begin() + static_cast<std::ptrdiff_t>(address);
    return {0, CardBytes(from, from + static_cast<std::ptrdiff_t>(length))};
}

Answer MemoryCard::write(std::size_t address, std::span<const std::uint8_t> data) {
    if (!setup_.password.empty()) {
        if (left_ == 0) return {kCodeLocked, {}};
        if (!unlocked_) return {kCodeNeeded, {}};
    }
    if (address + data.size() > setup_.memory.size()) return {kBeyondCard, {}};
    std::copy(data.begin(), data.end(), setup_.memory.begin() + static_cast<std::ptrdiff_t>(address));
    return {0, {}};
}

}  // namespace vnrsim
