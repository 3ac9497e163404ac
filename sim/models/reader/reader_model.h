// sim/models/reader/reader_model.h: the model "reader", the reader's own functions: serial number,
// user EEPROM, reset, baud rate code, beeper and lights, status queries, charge, auxiliary ports, the
// side query, the block store, the EMID and NFC P2P blocks. Its deck section and control words are in
// reader_control.cpp, told by help(). The status queries follow the card models, found by name: the
// sibling "contact" for its slots, "contactless" for the RF field (Model::kFieldSlot), and the identity
// card module; a missing sibling holds no card.
//
// Commands and their answers (status 0 and the data told, unless refused as below):
//   30 01 M C        baud rate code C (0 to 4) of module M (0 or 1): kept
//   30 07            one byte: bit 0 a card in the contact slot, bit 1 a card in the RF field, bit 2 an
//                    identity card on the reader
//   30 08            one byte: bit n a card in contact slot n, 0 to 7
//   30 09            one byte: the first card found of: 1 contact slot 0, 2 RF field, 3 identity card; 0 none
//   31 12 M          reset of module M (0 or 1): counted
//   31 13 B1 B2 B3   beeper; 31 14 V lights; 31 15 B1 B2 B3 coloured lights; 32 66 L1 L2 L3 L4 lights,
//                    each 0, 1 or 2: the last of each kept
//   32 53            the EMID
//   40 00, 40 01, 40 02   one byte, 1 or 0: a card in the contact slot, a card in the RF field, a type B
//                    card (the identity card) on the reader
//   50 00            the block store's size in blocks, four bytes high first
//   50 01 A0-A3      block A, 512 bytes (never written: zeros)
//   50 02 A0-A3 D    writes D (1 to 512 bytes) over block A from its first byte
//   60 C2 87 TEXT    the side query, TEXT "1;" and 14 digits: 330 bytes, the first 30 the query's text
//                    and zeros, then the 300 bytes of the deck's "side_query"
//   60 C3 00 D, 60 C4 00 D   D out on auxiliary port 1 or 2: kept (the latest kKeptSends)
//   60 C5 00 R0 R1 R2 the rate codes of the three auxiliary channels (0 9600, 1 38400, 2 115200): kept
//   70 00 T LH LL D  an NFC P2P block of type T and LH*256+LL bytes D (at most 1019): kept
//   C0 08 N D        serial number: N and N bytes, or 00 14 and 20 bytes; the bytes replace it
//   C0 09 N          the first N bytes of the serial number (zeros past its end)
//   C0 0A 00 W LH LL D   writes the LH*256+LL bytes D (an even count) at EEPROM byte 2W
//   C0 0B 00 W LH LL the LH*256+LL EEPROM bytes from byte 2W
//   C0 0C            the charge, one byte, in percent
// Block addresses A0 A1 A2 A3 are digits of base 265, A0 the highest: A0*265^3 + A1*265^2 + A2*265 + A3.
// Refusals: kReaderLengthStatus for fields of the wrong length (an odd EEPROM write among them),
// kReaderValueStatus for a value outside those told, kReaderRangeStatus for an EEPROM request that reaches
// past byte 199 or a block past the store.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "vnrsim/model.h"

namespace vnrsim {

constexpr std::uint16_t kReaderLengthStatus = 0x6700;  // the command's fields are not as long as it takes
constexpr std::uint16_t kReaderValueStatus = 0x6A80;   // a field's value the reader does not take
constexpr std::uint16_t kReaderRangeStatus = 0x6B00;   // past the end of the EEPROM or the block store

constexpr std::size_t kEepromSize = 200;          // user EEPROM bytes, addressed in two-byte words
constexpr std::size_t kBlockSize = 512;           // bytes of a block of the block store
constexpr std::size_t kSideQuerySize = 330;       // the side query's answer
constexpr std::size_t kSideQueryHead = 30;        // of which the head before the deck's bytes
constexpr std::size_t kMaxSerialSize = 255;       // the longest serial number a write sets
constexpr std::size_t kMaxEmidSize = 100;         // the longest EMID
constexpr std::size_t kMaxP2pSize = 1019;         // the longest NFC P2P block
constexpr std::size_t kKeptSends = 16;            // port sends and P2P blocks kept, the latest

// The serial number unless the deck gives one: "VNRSIM0000000001" in ASCII.
inline const std::vector<std::uint8_t> kDefaultSerial{'V', 'N', 'R', 'S', 'I', 'M', '0', '0',
                                                      '0', '0', '0', '0', '0', '0', '0', '1'};
// The EMID unless the deck gives one.
inline const std::vector<std::uint8_t> kDefaultEmid{0x99, 0x00, 0x00, 0x00, 0x01};
constexpr std::uint32_t kDefaultBlocks = 1 << 20;  // the block store's size unless the deck gives one
constexpr std::uint8_t kDefaultCharge = 100;

// The block number that the four address bytes name.
std::uint64_t block_address(std::span<const std::uint8_t, 4> digits);

// The reader's functions as a deck sets them up and the host's commands leave them.
struct ReaderState {
    std::vector<std::uint8_t> serial = kDefaultSerial;
    std::array<std::uint8_t, kEepromSize> eeprom{};
    std::vector<std::uint8_t> emid = kDefaultEmid;
    std::uint32_t blocks = kDefaultBlocks;
    std::map<std::uint32_t, std::array<std::uint8_t, kBlockSize>> written;  // the blocks written
    std::array<std::uint8_t, kSideQuerySize - kSideQueryHead> side_query{};  // default: 0, 1, 2, ...
    std::uint8_t charge = kDefaultCharge;

    std::array<std::uint8_t, 2> baud_codes{};  // of modules 0 and 1
    std::array<std::uint32_t, 2> resets{};     // of modules 0 and 1
    std::optional<std::array<std::uint8_t, 3>> beep, colour_lights;
    std::optional<std::uint8_t> lights;
    std::optional<std::array<std::uint8_t, 4>> led_lights;
    std::array<std::deque<std::vector<std::uint8_t>>, 2> port_sends;  // ports 1 and 2
    std::array<std::uint8_t, 3> port_rates{};                         // the codes of channels 0 to 2
    std::deque<std::pair<std::uint8_t, std::vector<std::uint8_t>>> p2p_blocks;  // type and data

    ReaderState();
};

class ReaderModel : public Model {
public:
    const ModelHelp& help() const override;
    void load(const nlohmann::json& section, const std::filesystem::path& folder) override;
    std::optional<Answer> answer(std::span<const std::uint8_t> command) override;
    std::string control(const ControlLine& line) override;

    const ReaderState& state() const noexcept { return state_; }
    ReaderState& state() noexcept { return state_; }

private:
    std::optional<Answer> status_query(std::uint8_t group, std::uint8_t operation) const;
    bool slot_taken(std::string_view model, std::uint8_t slot) const;
    Answer eeprom(std::span<const std::uint8_t> command);
    Answer block_store(std::span<const std::uint8_t> command);

    ReaderState state_;
};

}  // namespace vnrsim
