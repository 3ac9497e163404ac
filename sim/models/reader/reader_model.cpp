// sim/models/reader/reader_model.cpp: the reader's own functions (see reader_model.h).
#include "models/reader/reader_model.h"

#include <algorithm>

#include "models/idcard/idcard_module.h"

namespace vnrsim {
namespace {

constexpr std::uint8_t kMaxModule = 1, kMaxBaudCode = 4, kMaxLedValue = 2, kMaxPortRate = 2;
constexpr std::uint64_t kBase = 265;  // the block address's digits
constexpr std::uint8_t kSideQueryMark = 0x87;
constexpr std::size_t kSideQueryText = 16;  // "1;" and 14 digits
constexpr std::size_t kSerialForm2Count = 20;  // the serial write that sends 00 14 and 20 bytes

// Whether `command` is exactly the two bytes and `fields` more.
bool is(std::span<const std::uint8_t> command, std::size_t fields) { return command.size() == 2 + fields; }

std::uint16_t be16(std::span<const std::uint8_t> bytes) { return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]); }

template <typename T>
void keep(std::deque<T>& kept, T item) {
    kept.push_back(std::move(item));
    if (kept.size() > kKeptSends) kept.pop_front();
}

}  // namespace

std::uint64_t block_address(std::span<const std::uint8_t, 4> digits) {
    std::uint64_t address = 0;
    for (const std::uint8_t digit : digits) address = address * kBase + digit;
    return address;
}

ReaderState::ReaderState() {
    for (std::size_t i = 0; i < side_query.size(); ++i) side_query[i] = static_cast<std::uint8_t>(i);
}

bool ReaderModel::slot_taken(std::string_view model, std::uint8_t slot) const {
    const Model* holder = sibling(model);
    return holder != nullptr && holder->card_present(slot);
}

std::optional<Answer> ReaderModel::status_query(std::uint8_t group, std::uint8_t operation) const {
    const IdCardModule* idcard = sibling<IdCardModule>();
    const bool contact = slot_taken("contact", 0), field = slot_taken("contactless", kFieldSlot),
               identity = idcard != nullptr && idcard->on_reader() != CardKind::none;
    const auto one = [](auto value) { return Answer{0, {static_cast<std::uint8_t>(value)}}; };
    if (group == 0x40) {
        if (operation > 2) return std::nullopt;
        return one(operation == 0 ? contact : operation == 1 ? field : identity);
    }
    switch (operation) {
        case 0x07:
            return one(contact | field << 1 | identity << 2);
        case 0x08: {
            std::uint8_t slots = 0;
            for (std::uint8_t slot = 0; slot < 8; ++slot) slots |= slot_taken("contact", slot) << slot;
            return one(slots);
        }
        case 0x09:
            return one(contact ? 1 : field ? 2 : identity ? 3 : 0);
        default:
            return std::nullopt;
    }
}

Answer ReaderModel::eeprom(std::span<const std::uint8_t> command) {
    const bool write = command[1] == 0x0A;
    if (command.size() < 6 || (!write && command.size() != 6)) return Answer{kReaderLengthStatus};
    if (command[2] != 0) return Answer{kReaderValueStatus};
    const std::size_t first = 2 * std::size_t{command[3]}, count = be16(command.subspan(4, 2));
    if (write && (count % 2 != 0 || command.size() != 6 + count)) return Answer{kReaderLengthStatus};
    if (first + count > kEepromSize) return Answer{kReaderRangeStatus};
    const auto bytes = std::span(state_.eeprom).subspan(first, count);
    if (!write) return Answer{0, std::vector<std::uint8_t>(bytes.begin(), bytes.end())};
    std::copy(command.begin() + 6, command.end(), bytes.begin());
    return Answer{0};
}

Answer ReaderModel::block_store(std::span<const std::uint8_t> command) {
    if (command[1] == 0x00) {
        if (!is(command, 0)) return Answer{kReaderLengthStatus};
        const std::uint32_t n = state_.blocks;
        return Answer{0, {static_cast<std::uint8_t>(n >> 24), static_cast<std::uint8_t>(n >> 16),
                          static_cast<std::uint8_t>(n >> 8), static_cast<std::uint8_t>(n)}};
    }
    const bool write = command[1] == 0x02;
    if (command.size() < 6 || (!write && command.size() != 6) || (write && (command.size() == 6 || command.size() > 6 + kBlockSize)))
        return Answer{kReaderLengthStatus};
    const std::uint64_t address = block_address(command.subspan<2, 4>());
    if (address >= state_.blocks) return Answer{kReaderRangeStatus};
    const auto found = state_.written.find(static_cast<std::uint32_t>(address));
    if (!write) {
        if (found == state_.written.end()) return Answer{0, std::vector<std::uint8_t>(kBlockSize, 0)};
        return Answer{0, std::vector<std::uint8_t>(found->second.begin(), found->second.end())};
    }
    auto& block = state_.written[static_cast<std::uint32_t>(address)];  // zeros when new
    std::copy(command.begin() + 6, command.end(), block.begin());
    return Answer{0};
}

std::optional<Answer> ReaderModel::answer(std::span<const std::uint8_t> command) {
    if (command.size() < 2) return std::nullopt;
    const std::uint8_t group = command[0], operation = command[1];
    const auto fields = command.subspan(2);
    switch (group << 8 | operation) {
        case 0x3001:
            if (!is(command, 2)) return Answer{kReaderLengthStatus};
            if (fields[0] > kMaxModule || fields[1] > kMaxBaudCode) return Answer{kReaderValueStatus};
            state_.baud_codes[fields[0]] = fields[1];
            return Answer{0};
        case 0x3007: case 0x3008: case 0x3009: case 0x4000: case 0x4001: case 0x4002:
            if (!is(command, 0)) return Answer{kReaderLengthStatus};
            return status_query(group, operation);
        case 0x3112:
            if (!is(command, 1)) return Answer{kReaderLengthStatus};
            if (fields[0] > kMaxModule) return Answer{kReaderValueStatus};
            ++state_.resets[fields[0]];
            return Answer{0};
        case 0x3113: case 0x3115: {
            if (!is(command, 3)) return Answer{kReaderLengthStatus};
            std::array<std::uint8_t, 3> bytes;
            std::copy(fields.begin(), fields.end(), bytes.begin());
            (operation == 0x13 ? state_.beep : state_.colour_lights) = bytes;
            return Answer{0};
        }
        case 0x3114:
            if (!is(command, 1)) return Answer{kReaderLengthStatus};
            state_.lights = fields[0];
            return Answer{0};
        case 0x3266: {
            if (!is(command, 4)) return Answer{kReaderLengthStatus};
            if (std::any_of(fields.begin(), fields.end(), [](std::uint8_t v) { return v > kMaxLedValue; }))
                return Answer{kReaderValueStatus};
            std::array<std::uint8_t, 4> lights;
            std::copy(fields.begin(), fields.end(), lights.begin());
            state_.led_lights = lights;
            return Answer{0};
        }
        case 0x3253:
            if (!is(command, 0)) return Answer{kReaderLengthStatus};
            return Answer{0, state_.emid};
        case 0x5000: case 0x5001: case 0x5002:
            return block_store(command);
        case 0x60C2: {
            if (!is(command, 1 + kSideQueryText)) return Answer{kReaderLengthStatus};
            const auto text = fields.subspan(1);
            if (fields[0] != kSideQueryMark || text[0] != '1' || text[1] != ';' ||
                !std::all_of(text.begin() + 2, text.end(), [](std::uint8_t c) { return c >= '0' && c <= '9'; }))
                return Answer{kReaderValueStatus};
            std::vector<std::uint8_t> data(text.begin(), text.end());
            data.resize(kSideQueryHead, 0);
            data.insert(data.end(), state_.side_query.begin(), state_.side_query.end());
            return Answer{0, std::move(data)};
        }
        case 0x60C3: case 0x60C4:
            if (command.size() < 3) return Answer{kReaderLengthStatus};
            if (fields[0] != 0) return Answer{kReaderValueStatus};
            keep(state_.port_sends[operation - 0xC3], std::vector<std::uint8_t>(fields.begin() + 1, fields.end()));
            return Answer{0};
        case 0x60C5:
            if (!is(command, 4)) return Answer{kReaderLengthStatus};
            if (fields[0] != 0 || std::any_of(fields.begin() + 1, fields.end(), [](std::uint8_t v) { return v > kMaxPortRate; }))
                return Answer{kReaderValueStatus};
            std::copy(fields.begin() + 1, fields.end(), state_.port_rates.begin());
            return Answer{0};
        case 0x7000: {
            if (command.size() < 5) return Answer{kReaderLengthStatus};
            const std::size_t count = be16(fields.subspan(1, 2));
            if (command.size() != 5 + count) return Answer{kReaderLengthStatus};
            if (count > kMaxP2pSize) return Answer{kReaderValueStatus};
            keep(state_.p2p_blocks, {fields[0], std::vector<std::uint8_t>(fields.begin() + 3, fields.end())});
            return Answer{0};
        }
        case 0xC008: {
            std::span<const std::uint8_t> serial;
            if (command.size() >= 3 && command.size() == 3 + std::size_t{fields[0]}) {
                serial = fields.subspan(1);
            } else if (is(command, 2 + kSerialForm2Count) && fields[0] == 0 && fields[1] == kSerialForm2Count) {
                serial = fields.subspan(2);
            } else {
                return Answer{kReaderLengthStatus};
            }
            state_.serial.assign(serial.begin(), serial.end());
            return Answer{0};
        }
        case 0xC009: {
            if (!is(command, 1)) return Answer{kReaderLengthStatus};
            std::vector<std::uint8_t> data = state_.serial;
            data.resize(fields[0], 0);
            return Answer{0, std::move(data)};
        }
        case 0xC00A: case 0xC00B:
            return eeprom(command);
        case 0xC00C:
            if (!is(command, 0)) return Answer{kReaderLengthStatus};
            return Answer{0, {state_.charge}};
        default:
            return std::nullopt;
    }
}

}  // namespace vnrsim
