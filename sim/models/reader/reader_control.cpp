// sim/models/reader/reader_control.cpp: the reader model's deck section, control words and help (see
// reader_model.h).
#include <nlohmann/json.hpp>

#include "models/reader/reader_model.h"
#include "vnrsim/deck_json.h"

namespace vnrsim {
namespace {

using namespace deck_json;

constexpr std::string_view kAbout =
    "The reader's own functions. Serial number: C0 08 N and N bytes, or C0 08 00 14 and 20 bytes, replace "
    "it, C0 09 N answers its first N bytes (zeros past its end). User EEPROM of 200 bytes addressed in "
    "two-byte words: C0 0B 00 W LH LL answers LH*256+LL bytes from byte 2W, C0 0A 00 W LH LL and the bytes "
    "writes an even count there, a request past byte 199 answers 6B00. Kept and shown: 31 12 M (reset), 30 "
    "01 M C (baud rate code), 31 13 (beeper), 31 14, 31 15 and 32 66 (lights, the last each 0 to 2), what "
    "60 C3 00 and 60 C4 00 send on the auxiliary ports, the rate codes 60 C5 00 R0 R1 R2 (0 to 2), the NFC "
    "P2P blocks 70 00 T LH LL D. Status bytes: 30 07 (bit 0 contact card, bit 1 card in the RF field, bit 2 "
    "identity card), 30 08 (bit n a card in contact slot n), 30 09 (1 contact, 2 RF field, 3 identity card, "
    "0 none), 40 00, 40 01 and 40 02 (1 or 0: contact card, card in the RF field, identity card as the "
    "type B card), following the models named contact and contactless and the identity card module. C0 0C "
    "the charge in percent. 32 53 the EMID. 60 C2 87 and the 16 characters 1, semicolon, 14 digits: 330 "
    "bytes, the query's text and zeros to 30, then the side query's 300 bytes. Block store of 512-byte "
    "blocks: 50 00 its size in blocks (4 bytes), 50 01 A0 A1 A2 A3 reads block A0*265^3 + A1*265^2 + A2*265 "
    "+ A3, 50 02 A0 A1 A2 A3 D writes 1 to 512 bytes from its start, a block past the store answers 6B00. "
    "Fields of the wrong length answer 6700, values outside these 6A80.";

constexpr std::string_view kDeckExample = R"("reader": {
  "serial": "56 4E 52 33 32 2D 30 30 30 31 32 33",
  "eeprom": "00 01 02 03",
  "charge": 87,
  "emid": "99 00 12 34 56",
  "blocks": 65536,
  "side_query": {"fill": {"length": 300, "pattern": "46 50"}}
})";

constexpr std::string_view kDeckKeys =
    "\"serial\": hex, 0 to 255 bytes (default VNRSIM0000000001 in ASCII). \"eeprom\": hex or {\"fill\": ...}, "
    "0 to 200 bytes from byte 0, zeros behind them (default: all zeros). \"charge\": 0 to 100 (default 100). "
    "\"emid\": hex, 1 to 100 bytes (default 99 00 00 00 01). \"blocks\": the block store's size, 1 to "
    "4294967295 blocks of 512 bytes, all zeros at start (default 1048576). \"side_query\": hex or {\"fill\": "
    "...}, 0 to 300 bytes, zeros behind them: the side query's answer from its 31st byte (default: the "
    "bytes 0, 1, 2, ... counting). \"comment\": any text.";

constexpr CommandHelp kCommands[] = {
    {"reader",
     "the serial number, the baud rate codes, the resets, the last beeper and light commands, the charge, "
     "the latest send on each auxiliary port and the rate codes, the latest NFC P2P block, the blocks written"},
    {"reader serial HEX", "sets the serial number (0 to 255 bytes, \"-\" for none)"},
    {"reader eeprom", "the 200 EEPROM bytes in hex"},
    {"reader eeprom ADDR HEX", "writes the bytes at byte address ADDR (0 to 199)"},
    {"reader charge N", "sets the charge that C0 0C answers, 0 to 100"},
    {"reader com1|com2|p2p", "what the host sent on auxiliary port 1 or 2, or as NFC P2P blocks (type:data), oldest first"},
};

std::string hex_or_none(std::span<const std::uint8_t> bytes) { return bytes.empty() ? "-" : to_hex(bytes); }

template <std::size_t N>
std::string hex_of_last(const std::optional<std::array<std::uint8_t, N>>& bytes) {
    return bytes ? to_hex(*bytes) : "-";
}

// Hex text or {"fill": ...}: at most `limit` bytes.
std::vector<std::uint8_t> bytes_of(const Json& value, const std::string& where, std::size_t limit) {
    std::vector<std::uint8_t> bytes;
    if (value.is_object()) {
        check_keys(value, where, {"fill"});
        if (!value.contains("fill")) fail(where, "give hex bytes or {\"fill\": ...}");
        bytes = fill_of(value["fill"], where + ".fill");
    } else {
        bytes = hex_of(value, where);
    }
    if (bytes.size() > limit)
        fail(where, std::to_string(bytes.size()) + " bytes; it holds " + std::to_string(limit) + " at most");
    return bytes;
}

std::vector<std::uint8_t> hex_word(std::string_view word) {
    if (word == "-") return {};
    try {
        return parse_hex(word);
    } catch (const std::invalid_argument& e) {
        throw Refusal(e.what());
    }
}

}  // namespace

const ModelHelp& ReaderModel::help() const {
    static const ModelHelp help{"reader", "the reader's own functions, ports and stores", kAbout, kDeckExample,
                                kDeckKeys, kCommands};
    return help;
}

void ReaderModel::load(const Json& value, const std::filesystem::path&) {
    const std::string where(name());
    expect_object(value, where);
    check_keys(value, where, {"serial", "eeprom", "charge", "emid", "blocks", "side_query", "comment"});
    ReaderState state;
    if (value.contains("serial")) state.serial = bytes_of(value["serial"], where + ".serial", kMaxSerialSize);
    if (value.contains("eeprom")) {
        const auto bytes = bytes_of(value["eeprom"], where + ".eeprom", kEepromSize);
        std::copy(bytes.begin(), bytes.end(), state.eeprom.begin());
    }
    if (value.contains("charge"))
        state.charge = static_cast<std::uint8_t>(count_of(value["charge"], where + ".charge", 0, 100));
    if (value.contains("emid")) {
        state.emid = bytes_of(value["emid"], where + ".emid", kMaxEmidSize);
        if (state.emid.empty()) fail(where + ".emid", "an EMID has at least one byte");
    }
    if (value.contains("blocks"))
        state.blocks = static_cast<std::uint32_t>(count_of(value["blocks"], where + ".blocks", 1, 0xFFFFFFFF));
    if (value.contains("side_query")) {
        const auto bytes = bytes_of(value["side_query"], where + ".side_query", state.side_query.size());
        state.side_query.fill(0);
        std::copy(bytes.begin(), bytes.end(), state.side_query.begin());
    }
    if (value.contains("comment")) text_of(value["comment"], where + ".comment");
    state_ = std::move(state);
}

std::string ReaderModel::control(const ControlLine& line) {
    const std::string what = line.keyword(1);
    ReaderState& s = state_;
    if (what.empty()) {
        const auto latest = [](const auto& sends) { return sends.empty() ? std::string("-") : hex_or_none(sends.back()); };
        std::string out = "ok reader serial " + hex_or_none(s.serial) + ", baud codes " + std::to_string(s.baud_codes[0]) +
                          " " + std::to_string(s.baud_codes[1]) + ", resets " + std::to_string(s.resets[0]) + " " +
                          std::to_string(s.resets[1]) + ", beep " + hex_of_last(s.beep) + ", lights " +
                          (s.lights ? to_hex(std::span(&*s.lights, 1)) : "-") + ", colour lights " +
                          hex_of_last(s.colour_lights) + ", led lights " + hex_of_last(s.led_lights) + ", charge " +
                          std::to_string(s.charge) + ", com1 " + latest(s.port_sends[0]) + ", com2 " +
                          latest(s.port_sends[1]) + ", port rates " + to_hex(s.port_rates) + ", p2p ";
        out += s.p2p_blocks.empty() ? "-" : to_hex(std::span(&s.p2p_blocks.back().first, 1)) + ":" +
                                                 hex_or_none(s.p2p_blocks.back().second);
        return out + ", blocks written " + std::to_string(s.written.size());
    }
    if (what == "serial") {
        line.no_more(3);
        std::vector<std::uint8_t> serial = hex_word(line.word(2));
        if (line.size() < 3 || serial.size() > kMaxSerialSize) throw Refusal("reader serial takes 0 to 255 bytes in hex");
        s.serial = std::move(serial);
        return "ok reader serial " + hex_or_none(s.serial);
    }
    if (what == "eeprom") {
        if (line.size() == 2) return "ok reader eeprom " + to_hex(s.eeprom);
        line.no_more(4);
        const auto address = number(line.word(2));
        const std::vector<std::uint8_t> bytes = hex_word(line.word(3));
        if (!address || bytes.empty() || *address + bytes.size() > kEepromSize)
            throw Refusal("reader eeprom takes a byte address and the bytes in hex, within the 200 bytes");
        std::copy(bytes.begin(), bytes.end(), s.eeprom.begin() + static_cast<std::ptrdiff_t>(*address));
        return "ok reader eeprom " + std::to_string(*address) + " " + to_hex(bytes);
    }
    if (what == "charge") {
        line.no_more(3);
        const auto charge = number(line.word(2));
        if (!charge || *charge > 100) throw Refusal("reader charge takes 0 to 100");
        s.charge = static_cast<std::uint8_t>(*charge);
        return "ok reader charge " + std::to_string(*charge);
    }
    if (what == "com1" || what == "com2" || what == "p2p") {
        line.no_more(2);
        std::string out = "ok reader " + what;
        if (what == "p2p") {
            for (const auto& [type, data] : s.p2p_blocks) out += " " + to_hex(std::span(&type, 1)) + ":" + hex_or_none(data);
        } else {
            for (const auto& send : s.port_sends[what == "com1" ? 0 : 1]) out += " " + hex_or_none(send);
        }
        return out;
    }
    throw Refusal("reader takes serial, eeprom, charge, com1, com2 or p2p, or nothing to show the reader");
}

}  // namespace vnrsim
