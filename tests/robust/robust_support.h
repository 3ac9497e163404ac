// What the robustness tests share: the reader on the link a test asks for, the family calls, the scale.
#pragma once

#include "support/sim_session.h"
#include "vnr_32.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace robust {

// A number from the environment, or `fallback` when it is not set or not a number.
inline double env_number(const char* name, double fallback) {
    const char* text = std::getenv(name);
    char* end = nullptr;
    const double value = text != nullptr ? std::strtod(text, &end) : 0;
    return text != nullptr && end != text ? value : fallback;
}

// A count of a long run, multiplied by VNR_ROBUST_SCALE (default 1), at least 1.
inline int scaled(int full, double default_scale = 1) {
    const double value = full * env_number("VNR_ROBUST_SCALE", default_scale);
    return value < 1 ? 1 : static_cast<int>(value);
}

// The identity card module's reply to a read (32 50, or D0 07 `with_fingerprint`) of a card with a number.
inline vnr::test::Bytes identity_reply(bool with_fingerprint = false) {
    vnr::test::Bytes text;
    for (int i = 0; i < 128; ++i) text.insert(text.end(), {0x20, 0x00});
    const char number[] = "11010119800101123X";
    for (std::size_t i = 0; i + 1 < sizeof number; ++i) text[122 + 2 * i] = static_cast<std::uint8_t>(number[i]);
    text[30] = '1', text[32] = '0', text[34] = '1';  // sex 1, nation 01
    vnr::test::Bytes photo{'W', 'L', 'T', '\n'};
    photo.resize(1024, 0x5A);
    vnr::test::Bytes fingerprint(with_fingerprint ? 1024 : 0, 0x46);
    vnr::test::Bytes out{0, 0, 0x00, 0x00, 0x90, 0x01, 0x00, 0x04, 0x00};
    if (with_fingerprint) out.insert(out.end(), {0x04, 0x00});
    for (const auto* part : {&text, &photo, &fingerprint}) out.insert(out.end(), part->begin(), part->end());
    out[0] = static_cast<std::uint8_t>(out.size() >> 8), out[1] = static_cast<std::uint8_t>(out.size() & 0xFF);
    return out;
}

// A call of each family and what it leaves in `out`, where it lays all its out-parameters; most are one
// command a canned reply answers, the bank read talks to the bank card in slot 0 of decks/cards.json.
struct FamilyCall {
    const char* family;
    vnr::test::Bytes command;          // the canned reply's command; empty: none
    vnr::test::Bytes data;             // the canned reply's data
    int (*call)(std::int32_t icdev, std::uint8_t* out);
    vnr::test::Bytes written;          // what success leaves at the head of `out`, nothing behind it
    vnr::test::Bytes failure_written;  // what a failed exchange leaves there: a count cleared, a message
    std::vector<vnr::test::Bytes> sends;  // the heads of the commands it sends (none: no reader)
    // A call with a second way (the bank read) outlives a fault that strikes once, leaving
    // `second_way_written`; a lost link gives `own_failure`.
    bool second_way = false;
    vnr::test::Bytes second_way_written = {};
    int own_failure = 0;
    bool one_at_a_time = false;  // its header forbids two at once (the bank read's APDUs would mix)
    std::size_t message_at = 0;  // where a second way's failure message begins in `out`
};

inline vnr::test::Bytes bytes_of(std::string_view text) { return vnr::test::Bytes(text.begin(), text.end()); }
inline vnr::test::Bytes cat(std::initializer_list<vnr::test::Bytes> parts) {
    vnr::test::Bytes out;
    for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

// The bank read's card number (40 bytes), holder name (64) and message (52) within `out`, guards between.
constexpr std::size_t kCardNoAt = 0, kHolderAt = 40, kBankMessageAt = 104;
inline vnr::test::Bytes bank_buffers(std::string_view card_no, std::string_view holder, std::string_view message) {
    vnr::test::Bytes image(kBankMessageAt + message.size(), 0xEE);
    std::copy(card_no.begin(), card_no.end(), image.begin() + kCardNoAt);
    std::copy(holder.begin(), holder.end(), image.begin() + kHolderAt);
    std::copy(message.begin(), message.end(), image.begin() + kBankMessageAt);
    return image;
}

inline const std::vector<FamilyCall>& family_calls() {
    static const std::vector<FamilyCall> calls{
        {"session: device_version", {0x31, 0x11, 0x00}, bytes_of("VNR-32 R1.08"),
         [](std::int32_t d, std::uint8_t* o) -> int { return device_version(d, 0, o, o + 1); },
         cat({{12}, bytes_of("VNR-32 R1.08")}), {0}, {{0x31, 0x11}}},
        // The canned reply answers this APDU only; the bank read's APDUs go to the card in slot 0.
        {"contact: card_APDU", {0x32, 0x26, 0x00, 0x00, 0x84, 0x00, 0x00, 0x02}, {0x12, 0x34, 0x90, 0x00},
         [](std::int32_t d, std::uint8_t* o) -> int {
             const std::uint8_t apdu[] = {0x00, 0x84, 0x00, 0x00, 0x02};
             return card_APDU(d, 0, 5, apdu, reinterpret_cast<std::uint32_t*>(o), o + 4);
         },
         {4, 0, 0, 0, 0x12, 0x34, 0x90, 0x00}, {}, {{0x32, 0x26, 0x00, 0x00, 0x84}}},
        {"1604: srd_1604", {0x32, 0x35, 0x00, 0x00, 0x00}, {0xA1, 0xA2, 0xA3, 0xA4},
         [](std::int32_t d, std::uint8_t* o) -> int { return srd_1604(d, 0, 0, 4, o); }, {0xA1, 0xA2, 0xA3, 0xA4}, {},
         {{0x32, 0x35}}},
        {"contactless: rf_card", {0x32, 0x41}, {0x08, 0x11, 0x22, 0x33, 0x44},
         [](std::int32_t d, std::uint8_t* o) -> int { return rf_card(d, 0, o, o + 1); }, {0x08, 0x11, 0x22, 0x33, 0x44},
         {}, {{0x32, 0x41}}},
        {"identity card: IDCard_ReadCard", {0x32, 0x50}, identity_reply(),
         [](std::int32_t d, std::uint8_t* o) -> int { return IDCard_ReadCard(d, reinterpret_cast<char*>(o)); },
         bytes_of(vnr::test::gbk("操作成功")), bytes_of(vnr::test::gbk("操作失败")), {{0x32, 0x50}}},
        {"reader: device_readsnr", {0xC0, 0x09, 0x08}, bytes_of("SN-00042"),
         [](std::int32_t d, std::uint8_t* o) -> int { return device_readsnr(d, 8, o); }, bytes_of("SN-00042"), {},
         {{0xC0, 0x09}}},
        // No wait for a swipe: the library waits 1000 ms. Track 1 as it came; tracks 2 and 3 absent.
        {"stripe: magnetic_read_ms", {0x32, 0x60, 0x00}, {0x05, 0xF5, 0xF5, 'A', 'B', 'C', 'D', 'E'},
         [](std::int32_t d, std::uint8_t* o) -> int { return magnetic_read_ms(d, 0, o); },
         {0x05, 0x00, 0x00, 'A', 'B', 'C', 'D', 'E'}, {}, {{0x32, 0x60}}},
        // Entry time-out 6 s (the library waits 7000 ms) and PIN length, set by answer_family_calls.
        {"PIN pad: mw_kb_getpin", {0xC5, 0x05, 0x00, 0x1B, 0x49}, bytes_of("123456"),
         [](std::int32_t d, std::uint8_t* o) -> int { return mw_kb_getpin(d, 1, o); }, bytes_of("123456"), {},
         {{0xC5, 0x05}}},
        // The first way leaves no terminators but the message's; the second, after a failed first, adds
        // them. The card is powered up (32 22) and each APDU goes by card_APDU (32 26 00).
        {"bank: iReadICCardNoAndName", {}, {},
         [](std::int32_t d, std::uint8_t* o) -> int {
             return iReadICCardNoAndName(d, 0, reinterpret_cast<char*>(o + kCardNoAt),
                                         reinterpret_cast<char*>(o + kHolderAt), reinterpret_cast<char*>(o + kBankMessageAt));
         },
         bank_buffers("6299990000000000019", "SAMPLE/ALEX", vnr::test::gbk("成功获取到数据") + '\0'),
         bank_buffers("", "", vnr::test::gbk("卡片上电失败，无卡或者卡插反或者卡片不是接触式CPU卡") + '\0'),
         {{0x32, 0x22}, {0x32, 0x26, 0x00}}, true,
         bank_buffers(std::string("6299990000000000019") + '\0', std::string("SAMPLE/ALEX") + '\0',
                      vnr::test::gbk("成功获取到数据") + '\0'),
         -1, true, kBankMessageAt},
        {"crypto: des_encrypt", {}, {},
         [](std::int32_t, std::uint8_t* o) -> int {
             const std::uint8_t key[8] = {1, 2, 3, 4, 5, 6, 7, 8}, text[8] = {'V', 'N', 'R', '-', '3', '2', 0, 0};
             return des_encrypt(key, text, 8, o);
         },
         {0xC1, 0x84, 0xF8, 0x40, 0xD5, 0x89, 0xD9, 0xCB}, {}, {}},
    };
    return calls;
}

// A guard-filled buffer for a FamilyCall's out-parameters.
constexpr std::uint8_t kGuard = 0xEE;
struct alignas(8) OutBuffer {
    std::uint8_t bytes[4096];
    OutBuffer() { std::memset(bytes, kGuard, sizeof bytes); }
    // True when the buffer begins with `head` and holds only guard bytes behind it.
    bool holds(const vnr::test::Bytes& head) const {
        if (!head.empty() && std::memcmp(bytes, head.data(), head.size()) != 0) return false;
        for (std::size_t i = head.size(); i < sizeof bytes; ++i)
            if (bytes[i] != kGuard) return false;
        return true;
    }
    // The first `count` bytes in hexadecimal, for a failure's message.
    std::string head(std::size_t count) const {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        std::string text;
        for (std::size_t i = 0; i < count && i < sizeof bytes; ++i) text += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
        return text;
    }
};

// The simulated reader, opened by each test on the link it names (open_on).
class Session : public vnr::test::SimSessionBase {
public:
    Session() : SimSessionBase(vnrsim::Deck::load(VNR_TEST_DECKS "/cards.json")) {}

    // Cans every family call's reply, makes the PIN pad's settings once in the process, clears the history.
    void answer_family_calls() {
        for (const FamilyCall& c : family_calls())
            if (!c.command.empty()) answer(c.command, c.data);
        static bool pad_set = false;
        if (!pad_set) {
            answer({0xC5, 0x01}, {});
            answer({0xC5, 0x02}, {});
            pad_set = mw_kb_settimeout(icdev, 6) == VNR_OK && mw_kb_setpasslen(icdev, 6) == VNR_OK;
            EXPECT_TRUE(pad_set) << "the PIN pad's settings were refused";
        }
        reader.clear_history();
        if (hid) hid->clear_history();
    }
    // Closes and forgets the handle, keeping the reader as it stands to be opened again.
    void drop_handle() {
        if (icdev > 1) device_close(icdev);
        icdev = 0;
    }
    // Takes the line away: the reader hangs up, and on the serial link its pty goes.
    void hang_up() {
        reader.inject(vnrsim::Fault::hangup, vnrsim::Times::always);
        wait_for_line(false);
    }
    // Waits up to a second for the serial link's pty to be there (`up`) or gone.
    void wait_for_line(bool up) {
        for (int i = 0; i < 100 && server && server->slave_path().empty() == up; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // The reader answers commands that begin with `command` with these bytes instead of a frame.
    void raw_reply(const vnr::test::Bytes& command, const vnr::test::Bytes& raw) {
        reader.add_reply(vnrsim::CannedReply{command, 0, {}, raw, std::nullopt});
    }
};

}  // namespace robust
