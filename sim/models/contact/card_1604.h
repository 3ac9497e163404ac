// sim/models/contact/card_1604.h: the 1604 card of the model "contact": 2007 bytes in zones, security
// and erase codes with attempt counters, a personalisation fuse, and the access rules that decide each
// read, write and erase. Identified as type 8.
//
// Memory map (absolute addresses):
//   zone 0   0-1 fabrication bytes (read-only), 2-9 issuer bytes, 10-11 the card's security code,
//            12 its attempt counter, 13-20 code-protected bytes
//   zone 1   21-22 security code 1, 23 its counter, 24-25 erase code 1, 26 its counter, 27-1221 data
//   zone n   n = 2, 3, 4 from b = 1222, 1483, 1744: b and b+1 security code n, b+2 and b+3 erase code
//            n, b+4 the erase code's counter, b+5 to b+260 data; security codes 2 to 4 count their
//            attempts inside the card, with no byte in the map
//   zone 5   2005-2006 test bytes, free to all
// Codes are numbered as the code write numbers them: 0 the card's security code, 1 to 4 the security
// codes of zones 1 to 4, 5 to 8 their erase codes. A counter byte shows the attempts left as that many
// low bits set (4 attempts: 0F).
//
// The fuse: a card is personalised by 33 39 (with the card's security code presented) and stays so;
// 32 96 00 01 makes an unpersonalised card act as personalised until 32 96 00 00 or power loss.
//
// Rules, the fuse blown or faked ("personalised") or not; a refused byte refuses the whole command and
// changes nothing:
//   read       code bytes read FF unless the card is not personalised and the card's code was
//              presented; bytes 13-20 read FF on a personalised card without the card's code; a zone
//              marked read-protected reads FF without its security code; everything else is free.
//   write      (32 36; bits go from 1 to 0 only, as the card programs them: a byte reads old AND new)
//              fabrication bytes, counters and code bytes: kAccessDenied (codes go by 32 33); issuer
//              bytes: the card's code before personalisation, kAccessDenied after; 13-20: the card's
//              code; zone data: the card's code before personalisation, the zone's security code after;
//              test bytes: free.
//   erase      (32 30; bytes become FF) as write, but zone data after personalisation needs the zone's
//              erase code, and code bytes may be erased with the card's code before personalisation
//              (kFuseBlown after).
//   code write (32 33 00 NUMBER ADDRESS LENGTH DATA: the bytes must lie in code NUMBER) the card's code,
//              before personalisation only (kFuseBlown after); bits go from 1 to 0 as for write.
//   present    (32 34 00 04 00|01 ZONE C1 C2: security code of zone 0 to 4, or erase code of zone 1 to 4)
//              a wrong code takes an attempt (kWrongCode); at zero the code is locked for good
//              (kCodeLocked), and with it what it guards; a right one gives all attempts back.
//              Presented codes hold until power loss.
//   personalise  the card's code (kCodeNeeded), not yet personalised (kFuseBlown).
// While the card's own code is locked, every write, erase and code write but to the test bytes is
// kCodeLocked.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "models/cards/cpu_card.h"
#include "vnrsim/model.h"

namespace vnrsim {

constexpr std::size_t k1604Size = 2007;
constexpr std::size_t k1604Codes = 9;
// Where each code lies, by its number.
constexpr std::array<std::size_t, k1604Codes> k1604CodeAddress{10, 21, 1222, 1483, 1744, 24, 1224, 1485, 1746};

struct Card1604Setup {
    CardBytes atr{0x16, 0x04, 0x10, 0x91};  // what identify answers
    CardBytes memory = default_memory();    // k1604Size bytes, codes included; counters are written from
                                            // the attempts
    std::uint8_t attempts = 4;              // attempts of every code, 1 to 8
    bool personalised = false;
    std::array<bool, 5> read_protected{};  // zones 1 to 4 (index 1 to 4) read only with their code

    // FF everywhere but the fabrication bytes 16 04.
    static CardBytes default_memory();
};

class Card1604 {
public:
    explicit Card1604(Card1604Setup setup = {});

    CardBytes identify() const { return setup_.atr; }
    Answer read(std::size_t address, std::size_t length) const;
    Answer write(std::size_t address, std::span<const std::uint8_t> data);
    Answer erase(std::size_t address, std::size_t length);
    Answer write_code(std::uint8_t number, std::size_t address, std::span<const std::uint8_t> data);
    // `erase_code`: 01 in the command; `zone`: 0 to 4.
    Answer present(bool erase_code, std::uint8_t zone, std::span<const std::uint8_t, 2> code);
    Answer fake_fuse(std::uint8_t mode);
    Answer personalise();
    // The card loses power: presented codes and a faked fuse are gone.
    void power_off() noexcept;

    bool personalised() const noexcept { return setup_.personalised || faked_; }
    std::uint8_t attempts_left(std::size_t number) const { return left_.at(number); }
    const CardBytes& memory() const noexcept { return setup_.memory; }

private:
    enum class Access { read, write, erase };
    // kAccessDenied, kCodeNeeded, ... or 0, for one byte.
    std::uint16_t check(std::size_t address, Access access) const;
    void show_counter(std::size_t number);

    Card1604Setup setup_;
    std::array<std::uint8_t, k1604Codes> left_{};
    std::array<bool, k1604Codes> presented_{};
    bool faked_ = false;
};

}  // namespace vnrsim
