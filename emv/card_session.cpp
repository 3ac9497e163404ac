// emv/card_session.cpp: power, APDUs and their follow-ups through vnr_32's exports (card_session.h).
#include "card_session.h"

#include "vnr_32.h"

#include <array>

namespace vnr::emv {

namespace {

constexpr std::uint8_t kContactSlot = 0;
constexpr std::uint8_t kFieldCard = 0xFF;        // card_APDU's target for the activated contactless card
constexpr std::size_t kAnswerRoom = 3073;        // what card_APDU may write
constexpr std::size_t kAtrRoom = 255, kUidRoom = 10, kAtsRoom = 64;
constexpr std::size_t kLongestApdu = 3070;

}  // namespace

CardSession::~CardSession() {
    if (powered_ && !contactless_) sam_slt_powerdown(icdev_, kContactSlot);
}

bool CardSession::power_up() {
    std::int16_t status = 0;
    if (contactless_) {
        std::uint8_t type = 0, uid_length = 0, ats_length = 0;
        std::array<std::uint8_t, kUidRoom> uid{};
        std::array<std::uint8_t, kAtsRoom> ats{};
        status = open_card(icdev_, 0, &type, &uid_length, uid.data(), &ats_length, ats.data());
    } else {
        std::uint8_t atr_length = 0;
        std::array<std::uint8_t, kAtrRoom> atr{};
        status = sam_slt_reset(icdev_, 0, kContactSlot, &atr_length, atr.data());
    }
    if (status != VNR_OK) reader_status_ = status;
    powered_ = status == VNR_OK;
    return powered_;
}

std::optional<CardAnswer> CardSession::transmit(Bytes apdu) {
    CardAnswer whole;
    std::array<std::uint8_t, kAnswerRoom> answer{};
    for (int follow_ups = 0;; ++follow_ups) {
        if (apdu.empty() || apdu.size() > kLongestApdu || follow_ups > kMaxFollowUps) {
            failed_ = true;
            return std::nullopt;
        }
        std::uint32_t length = 0;
        ++apdus_;
        const std::int16_t status = card_APDU(icdev_, contactless_ ? kFieldCard : kContactSlot,
                                              static_cast<std::int32_t>(apdu.size()), apdu.data(), &length, answer.data());
        if (status != VNR_OK || length < 2 || length > answer.size()) {
            reader_status_ = status != VNR_OK ? status : reader_status_;
            failed_ = true;
            return std::nullopt;
        }
        const std::uint8_t sw1 = answer[length - 2], sw2 = answer[length - 1];
        last_sw_ = static_cast<std::uint16_t>(sw1 << 8 | sw2);
        if (sw1 == 0x6C) {  // the same command with the length the card names
            if (apdu.size() == 4) apdu.push_back(sw2);
            else if (apdu.size() == 5 || apdu.size() == 6u + apdu[4]) apdu.back() = sw2;
            else apdu.push_back(sw2);
            continue;
        }
        if (whole.data.size() + length - 2 > kMaxAnswerBytes) {
            failed_ = true;
            return std::nullopt;
        }
        whole.data.insert(whole.data.end(), answer.begin(), answer.begin() + (length - 2));
        if (sw1 == 0x61) {  // more to come: GET RESPONSE for it
            apdu = {0x00, 0xC0, 0x00, 0x00, sw2};
            continue;
        }
        whole.sw = last_sw_;
        return whole;
    }
}

}  // namespace vnr::emv
