// sim/models/contact/card_1604.cpp: the 1604 card's map, codes, fuse and access rules (see card_1604.h).
#include "models/contact/card_1604.h"

#include <algorithm>

#include "models/contact/contact_status.h"

namespace vnrsim {
namespace {

constexpr std::size_t kNoCounter = 0;  // codes 2 to 4 have no counter byte in the map
constexpr std::array<std::size_t, k1604Codes> kCounterAddress{12, 23,   kNoCounter, kNoCounter, kNoCounter,
                                                              26, 1226, 1487,       1748};
constexpr std::array<std::size_t, 5> kZoneStart{0, 21, 1222, 1483, 1744};
constexpr std::size_t kTestStart = 2005;

// What a byte of the map is.
struct Place {
    enum Kind { fabrication, issuer, code, counter, protected_bytes, data, test } kind;
    std::size_t number = 0;  // a code's number, or a zone
};

Place place_of(std::size_t address) {
    if (address < 2) return {Place::fabrication};
    if (address < 10) return {Place::issuer};
    if (address < 12) return {Place::code, 0};
    if (address == 12) return {Place::counter, 0};
    if (address < 21) return {Place::protected_bytes};
    if (address < 23) return {Place::code, 1};
    if (address == 23) return {Place::counter, 1};
    if (address < 26) return {Place::code, 5};
    if (address == 26) return {Place::counter, 5};
    if (address < kZoneStart[2]) return {Place::data, 1};
    for (std::size_t zone = 2; zone <= 4; ++zone) {
        const std::size_t start = kZoneStart[zone], end = zone < 4 ? kZoneStart[zone + 1] : kTestStart;
        if (address >= end) continue;
        const std::size_t offset = address - start;
        if (offset < 2) return {Place::code, zone};
        if (offset < 4) return {Place::code, zone + 4};
        if (offset == 4) return {Place::counter, zone + 4};
        return {Place::data, zone};
    }
    return {Place::test};
}

}  // namespace

CardBytes Card1604Setup::default_memory() {
    CardBytes memory(k1604Size, 0xFF);
    memory[0] = 0x16;
    memory[1] = 0x04;
    return memory;
}

Card1604::Card1604(Card1604Setup setup) : setup_(std::move(setup)) {
    left_.fill(setup_.attempts);
    for (std::size_t number = 0; number < k1604Codes; ++number) show_counter(number);
}

void Card1604::show_counter(std::size_t number) {
    if (kCounterAddress[number] != kNoCounter)
        setup_.memory[kCounterAddress[number]] = static_cast<std::uint8_t>((1u << left_[number]) - 1);
}

void Card1604::power_off() noexcept {
    presented_.fill(false);
    faked_ = false;
}

std::uint16_t Card1604::check(std::size_t address, Access access) const {
    const Place place = place_of(address);
    const auto needs = [&](std::size_t number) -> std::uint16_t {
        if (presented_[number]) return 0;
        return left_[number] == 0 ? kCodeLocked : kCodeNeeded;
    };
    if (place.kind != Place::test && left_[0] == 0) return kCodeLocked;
    switch (place.kind) {
        case Place::fabrication:
        case Place::counter:
            return kAccessDenied;
        case Place::code:
            if (access == Access::write) return kAccessDenied;
            return personalised() ? kFuseBlown : needs(0);
        case Place::issuer:
            return personalised() ? kAccessDenied : needs(0);
        case Place::protected_bytes:
            return needs(0);
        case Place::data:
            if (!personalised()) return needs(0);
            return needs(access == Access::erase ? place.number + 4 : place.number);
        case Place::test:
            return 0;
    }
    return kAccessDenied;
}

Answer Card1604::read(std::size_t address, std::size_t length) const {
    if (address + length > k1604Size) return {kBeyondCard, {}};
    CardBytes out;
    for (std::size_t at = address; at < address + length; ++at) {
        const Place place = place_of(at);
        const bool hidden =
            (place.kind == Place::code && (personalised() || !presented_[0])) ||
            (place.kind == Place::protected_bytes && personalised() && !presented_[0]) ||
            (place.kind == Place::data && setup_.read_protected[place.number] && !presented_[place.number]);
        out.push_back(hidden ? 0xFF : setup_.memory[at]);
    }
    return {0, out};
}

Answer Card1604::write(std::size_t address, std::span<const std::uint8_t> data) {
    if (address + data.size() > k1604Size) return {kBeyondCard, {}};
    for (std::size_t i = 0; i < data.size(); ++i)
        if (const std::uint16_t refusal = check(address + i, Access::write)) return {refusal, {}};
    for (std::size_t i = 0; i < data.size(); ++i) setup_.memory[address + i] &= data[i];
    return {0, {}};
}

Answer Card1604::erase(std::size_t address, std::size_t length) {
    if (address + length > k1604Size) return {kBeyondCard, {}};
    for (std::size_t at = address; at < address + length; ++at)
        if (const std::uint16_t refusal = check(at, Access::erase)) return {refusal, {}};
    std::fill_n(setup_.memory.begin() + static_cast<std::ptrdiff_t>(address), length, std::uint8_t{0xFF});
    return {0, {}};
}

Answer Card1604::write_code(std::uint8_t number, std::size_t address, std::span<const std::uint8_t> data) {
    if (number >= k1604Codes || address < k1604CodeAddress[number] ||
        address + data.size() > k1604CodeAddress[number] + 2)
        return {kBadFields, {}};
    if (left_[0] == 0) return {kCodeLocked, {}};
    if (personalised()) return {kFuseBlown, {}};
    if (!presented_[0]) return {kCodeNeeded, {}};
    for (std::size_t i = 0; i < data.size(); ++i) setup_.memory[address + i] &= data[i];
    return {0, {}};
}

Answer Card1604::present(bool erase_code, std::uint8_t zone, std::span<const std::uint8_t, 2> code) {
    if (zone > 4 || (erase_code && zone == 0)) return {kBadFields, {}};
    const std::size_t number = erase_code ? zone + 4u : zone;
    if (left_[number] == 0) return {kCodeLocked, {}};
    const auto stored = setup_.memory.begin() + static_cast<std::ptrdiff_t>(k1604CodeAddress[number]);
    if (!std::equal(code.begin(), code.end(), stored)) {
        --left_[number];
        presented_[number] = false;
        show_counter(number);
        return {kWrongCode, {}};
    }
    left_[number] = setup_.attempts;
    presented_[number] = true;
    show_counter(number);
    return {0, {}};
}

Answer Card1604::fake_fuse(std::uint8_t mode) {
    if (mode > 1) return {kBadFields, {}};
    faked_ = mode == 1;
    return {0, {}};
}

Answer Card1604::personalise() {
    if (personalised()) return {kFuseBlown, {}};
    if (!presented_[0]) return {left_[0] == 0 ? kCodeLocked : kCodeNeeded, {}};
    setup_.personalised = true;
    return {0, {}};
}

}  // namespace vnrsim
