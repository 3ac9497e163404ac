// src/bank/read_card.cpp: bank. iReadICCardNoAndName and its two ways: by records (the directory's
// application, records 1 to 9 of SFI 1, no GET PROCESSING OPTIONS) and by GPO (PSE or PPSE, or the
// fixed AIDs; PDOL, GPO, the AFL's records). Each way powers the card up through the exported
// functions of the contact or contactless family, and every APDU goes through FuncSendICAPDU.
#include "bank/bank.h"
#include "bank/messages.h"
#include "core/boundary.h"
#include "vnr_32.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace vnr::bank {

namespace {

constexpr char kSelectPse[] = "00A404000E315041592E5359532E4444463031";   // 1PAY.SYS.DDF01
constexpr char kSelectPpse[] = "00A404000E325041592E5359532E4444463031";  // 2PAY.SYS.DDF01
constexpr char kSelectFirstAid[] = "00A4040008A000000333010101";
constexpr char kSelectSecondAid[] = "00A4040008A000000333010102";
// The terminal's values of a read.
constexpr std::int32_t kAmount = 0;
constexpr std::string_view kTransactionType = "00";
constexpr std::string_view kUnpredictableSource = "1122334455667788";
constexpr std::uint8_t kLastRecordOfSfi1 = 9;
constexpr std::size_t kMaxAidBytes = 16;      // an AID is 5 to 16 bytes
constexpr std::size_t kAtrRoom = 255;         // what sam_slt_reset may write
constexpr std::size_t kUidRoom = 10, kAtsRoom = 64;  // what open_card may write

using Text = std::array<char, kApduTextRoom>;

std::int32_t fail(char* message, Message which) noexcept {
    put_message(message, which);
    return -1;
}

bool ends_in_9000(const Text& answer) noexcept { return std::string_view(answer.data()).ends_with("9000"); }

std::int32_t send(const std::string& command, std::int32_t card_type, Text& answer) noexcept {
    answer.fill('\0');
    return FuncSendICAPDU(command.c_str(), card_type, answer);
}

// The value of `tag` in the text `data` as digits, or nullopt.
std::optional<std::string> tag_value(const char* data, const char* tag) {
    std::vector<char> value(kSearchTextDigits + 1);
    if (find_tag_hex(data, tag, value) != 0) return std::nullopt;
    return std::string(value.data());
}

// SELECT of an AID given as digits; nullopt for an AID outside 1 to 16 bytes.
std::optional<std::string> select_aid(const std::string& aid) {
    if (aid.empty() || aid.size() > 2 * kMaxAidBytes) return std::nullopt;
    char head[16] = {};
    (void)std::snprintf(head, sizeof head, "00A40400%02x", static_cast<unsigned>(aid.size() / 2));
    return head + aid;
}

// READ RECORD 1 of the directory whose SFI is the first byte of `sfi_digits`.
std::string read_directory_record(const std::string& sfi_digits) {
    std::uint8_t first[2] = {};
    const unsigned sfi = hex_to_bytes(sfi_digits.c_str(), first, 1) == 0 ? first[0] : 0;
    char command[16] = {};
    (void)std::snprintf(command, sizeof command, "00B201%02x00", (sfi * 8 | 4) & 0xFFu);
    return command;
}

// The start of both ways: the card type, the handle, the card powered up or activated. 0 or -1.
std::int32_t start(std::int32_t icdev, std::int32_t card_type, char* message) {
    if (card_type != kContactCard && card_type != kContactlessCard) return fail(message, Message::power_up);
    {
        const core::LibraryGuard guard;
        bank_icdev(guard) = icdev;
    }
    if (icdev < 1) return fail(message, Message::no_reader);
    if (card_type == kContactCard) {
        std::uint8_t atr_length = 0;
        std::array<std::uint8_t, kAtrRoom> atr{};
        if (sam_slt_reset(icdev, 0, 0, &atr_length, atr.data()) != VNR_OK) return fail(message, Message::power_up);
    } else {
        std::uint8_t type = 0, uid_length = 0, ats_length = 0;
        std::array<std::uint8_t, kUidRoom> uid{};
        std::array<std::uint8_t, kAtsRoom> ats{};
        if (open_card(icdev, 0, &type, &uid_length, uid.data(), &ats_length, ats.data()) != VNR_OK)
            return fail(message, Message::no_cpu_card);
    }
    return 0;
}

// The application's AID from a directory answer (`answer`, ending in 9000): 4F in its A5 template, or in
// record 1 of the directory file that 88 names. Selects it; 0, or -1 with the message.
std::int32_t select_from_directory(std::int32_t card_type, bool aid_may_stand_in_fci, Text& answer, char* message) {
    const auto a5 = tag_value(answer.data(), "A5");
    if (!a5) return fail(message, Message::no_a5);
    std::optional<std::string> aid = aid_may_stand_in_fci ? tag_value(a5->c_str(), "4F") : std::nullopt;
    if (!aid) {
        const auto sfi = tag_value(a5->c_str(), "88");
        if (!sfi || sfi->empty()) return fail(message, Message::no_88);
        if (send(read_directory_record(*sfi), card_type, answer) != 0 || !ends_in_9000(answer))
            return fail(message, Message::aid_record);
        aid = tag_value(answer.data(), "4F");
        if (!aid) return fail(message, Message::no_4f);
    }
    const auto select = select_aid(*aid);
    if (!select) return fail(message, Message::no_4f);
    if (send(*select, card_type, answer) != 0 || !ends_in_9000(answer)) return fail(message, Message::aid_record);
    return 0;
}

// The digits of a Track 2 text up to its separator D (all of them without one).
std::string_view number_part(std::string_view track) noexcept { return track.substr(0, track.find('D')); }

}  // namespace

std::int32_t read_card_by_records(std::int32_t icdev, std::int32_t card_type, char* card_no, char* holder_name,
                                  char* message) {
    if (start(icdev, card_type, message) != 0) return -1;
    Text answer{};
    if (send(kSelectPse, card_type, answer) != 0 || !ends_in_9000(answer)) return fail(message, Message::select_system);
    if (select_from_directory(card_type, false, answer, message) != 0) return -1;
    if (!tag_value(answer.data(), "A5")) return fail(message, Message::no_a5);

    static constexpr std::uint8_t kTrack2[] = {0x57}, kName[] = {0x5F, 0x20};
    std::vector<std::uint8_t> bytes(kApduBytesRoom + 1), value(kTagValueRoom);
    Text digits{};
    int hits = 0;
    for (std::uint8_t record = 1; record <= kLastRecordOfSfi1; ++record) {
        char command[16] = {};
        (void)std::snprintf(command, sizeof command, "00B2%02x0C00", static_cast<unsigned>(record));
        if (send(command, card_type, answer) != 0) return fail(message, Message::card_number);
        const std::size_t length = std::strlen(answer.data());
        if (length <= 4) {
            if (std::string_view(answer.data()).starts_with("6A83")) return fail(message, Message::record_missing);
            continue;
        }
        const auto count = static_cast<std::uint32_t>(length / 2);
        if (hex_to_bytes(answer.data(), bytes.data(), count) != 0) continue;
        std::uint16_t value_length = 0;
        if (find_tag(bytes.data(), count, kTrack2, sizeof kTrack2, value, &value_length) == 0) {
            bytes_to_hex(value.data(), digits.data(), value_length);
            // The digits up to D, with no terminator; a number that would not leave the caller's zeroed
            // buffer terminated is not taken.
            const std::string_view number = number_part(digits.data());
            if (number.size() < kCardNoRoom) {
                std::memcpy(card_no, number.data(), number.size());
                ++hits;
            }
        }
        if (find_tag(bytes.data(), count, kName, sizeof kName, value, &value_length) == 0 &&
            value_length < kHolderNameRoom) {
            std::memcpy(holder_name, value.data(), value_length);
            ++hits;
        }
        if (hits == 2) break;
    }
    put_message(message, Message::done);
    return 0;
}

std::int32_t read_card_by_gpo(std::int32_t icdev, std::int32_t card_type, char* card_no, char* holder_name,
                              char* message) {
    if (start(icdev, card_type, message) != 0) return -1;
    Text answer{};
    if (send(card_type == kContactCard ? kSelectPse : kSelectPpse, card_type, answer) != 0)
        return fail(message, Message::select_system);
    if (ends_in_9000(answer)) {
        if (select_from_directory(card_type, true, answer, message) != 0) return -1;
    } else {
        if (send(kSelectFirstAid, card_type, answer) != 0) return fail(message, Message::aid_record);
        if (!ends_in_9000(answer)) {
            // The second AID goes twice; only the second answer counts.
            send(kSelectSecondAid, card_type, answer);
            if (send(kSelectSecondAid, card_type, answer) != 0 || !ends_in_9000(answer))
                return fail(message, Message::aid_record);
        }
    }
    const auto a5 = tag_value(answer.data(), "A5");
    if (!a5) return fail(message, Message::no_a5);
    const auto pdol = tag_value(a5->c_str(), "9F38");
    if (!pdol) return fail(message, Message::no_pdol);
    std::string gpo;
    if (!build_gpo_command(*pdol, kAmount, kTransactionType, kUnpredictableSource, gpo) ||
        send(gpo, card_type, answer) != 0 || !ends_in_9000(answer))
        return fail(message, Message::gpo);

    std::array<char, kTrackTextRoom> track{};
    std::array<char, kNameTextRoom> name{};
    if (UnPackGPOReturnData(answer, card_type, track, name) != 0) return fail(message, Message::no_tags);
    std::string_view number = number_part(track.data());
    while (number.ends_with('F')) number.remove_suffix(1);
    if (number.size() >= kCardNoRoom) return fail(message, Message::no_tags);
    std::memcpy(card_no, number.data(), number.size());
    card_no[number.size()] = '\0';
    // name_text holds at most 127 digits: at most 63 bytes and the terminator, within kHolderNameRoom.
    hex_to_bytes(name.data(), reinterpret_cast<std::uint8_t*>(holder_name),
                 static_cast<std::uint32_t>(std::strlen(name.data()) / 2));
    put_message(message, Message::done);
    return 0;
}

}  // namespace vnr::bank

extern "C" VNR_API int32_t VNR_CALL iReadICCardNoAndName(int32_t icdev, int32_t card_type, char* card_no,
                                                        char* holder_name, char* message) {
    return vnr::core::guarded<int32_t>([&]() -> int32_t {
        if (card_no == nullptr || holder_name == nullptr || message == nullptr) return -1;
        // The first way's message is kept aside: when it fails, the second way's message is the only one
        // the caller sees, with nothing of the first left behind its terminator.
        std::array<char, vnr::bank::kMessageRoom> first{};
        if (vnr::bank::read_card_by_records(icdev, card_type, card_no, holder_name, first.data()) == 0) {
            std::memcpy(message, first.data(), std::strlen(first.data()) + 1);
            return 0;
        }
        message[0] = '\0';
        return vnr::bank::read_card_by_gpo(icdev, card_type, card_no, holder_name, message);
    });
}
