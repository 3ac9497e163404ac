// The contact functions end to end against the cards of decks/cards.json on both links, each case a
// script of calls and control lines: a bank card's session, the SAM, memory and 1604 cards.
#include "support/card_script.h"

namespace {

using vnr::test::ascii;
using vnr::test::Bytes;
using vnr::test::control_line;
using vnr::test::delivered;

std::uint8_t buf[3073], len8;
std::uint32_t len32;
std::uint16_t state;

// `n` is read after the call: the count it wrote.
template <typename N>
long took(long status, const N& n) { return delivered.assign(buf, buf + n), status; }
long took_state(long status) { return delivered = {std::uint8_t(state >> 8), std::uint8_t(state)}, status; }
Bytes cat(Bytes a, const Bytes& b) { return a.insert(a.end(), b.begin(), b.end()), a; }

#define CALL(expr) [](std::int32_t d) -> long { return expr; }
#define APDU(slot, ...) [](std::int32_t d) -> long { \
        const Bytes a{__VA_ARGS__}; return took(card_APDU(d, slot, int32_t(a.size()), a.data(), &len32, buf), len32); }

const Bytes kBankAtr{0x3B, 0x68, 0x00, 0x00, 0x56, 0x4E, 0x52, 0x53, 0x49, 0x4D, 0x30, 0x31};
const Bytes kSw9000{0x90, 0x00};
// The directory's answer to its selection and its first record, as decks/cards.json has them.
const Bytes kPseFci = cat({0x6F, 0x1C, 0x84, 0x0E}, cat(ascii("1PAY.SYS.DDF01"), cat({0xA5, 0x0A, 0x88, 0x01, 0x01, 0x5F, 0x2D, 0x04}, ascii("zhen"))));
const Bytes kPseRecord = cat({0x70, 0x16, 0x61, 0x14, 0x4F, 0x08, 0xA0, 0, 0, 0x03, 0x33, 0x01, 0x01, 0x01, 0x50, 0x05},
                             cat(ascii("DEBIT"), {0x87, 0x01, 0x01}));
const std::uint8_t kWrong2[] = {0x00, 0x00}, kWrong3[] = {0, 0, 0}, kFF3[] = {0xFF, 0xFF, 0xFF};
const std::uint8_t kCard[] = {0x12, 0x34}, kZone1[] = {0x11, 0x11}, kErase1[] = {0x51, 0x51}, kNewErase1[] = {0x5A, 0x5A};

class ContactCards : public vnr::test::CardScript {
protected:
    ContactCards() : CardScript(vnrsim::Deck::load(VNR_TEST_DECKS "/cards.json")) {}
};

TEST_P(ContactCards, ABankCardFromPowerUpToPowerDownAndTheSam) {
    run({
        {CALL(took_state(sam_slt_getstate(d, 0, &state))), 0, Bytes{0x10, 0x03}},
        {CALL(took(sam_slt_reset(d, 0, 0, &len8, buf), len8)), 0, kBankAtr},
        {CALL(took_state(sam_slt_getstate(d, 0, &state))), 0, Bytes{0x10, 0x04}},
        // The card speaks by 61xx: the library hands the status word over as the card gave it.
        {APDU(0, 0x00, 0xA4, 0x04, 0x00, 0x0E, '1', 'P', 'A', 'Y', '.', 'S', 'Y', 'S', '.', 'D', 'D', 'F', '0', '1', 0x00),
         0, Bytes{0x61, 0x1E}},
        {APDU(0, 0x00, 0xC0, 0x00, 0x00, 0x1E), 0, cat(kPseFci, kSw9000)},
        {APDU(0, 0x00, 0xB2, 0x01, 0x0C, 0x00), 0, Bytes{0x61, 0x18}},
        {APDU(0, 0x00, 0xC0, 0x00, 0x00, 0x18), 0, cat(kPseRecord, kSw9000)},
        {APDU(0, 0x00, 0xB2, 0x05, 0x0C, 0x00), 0, Bytes{0x6A, 0x83}},  // a refusal of the card is still 0
        {CALL(sam_slt_powerdown(d, 0))},
        {CALL(took_state(sam_slt_getstate(d, 0, &state))), 0, Bytes{0x10, 0x03}},
        {APDU(0, 0x00, 0xB2, 0x01, 0x0C, 0x00), -0x1003},
        // The SAM in slot 1: its own answer to reset, and its serial file read by file id.
        {CALL(took(sam_slt_reset_baud(d, 1, 2, &len8, buf), len8)), 0,
         cat({0x3B, 0x6A, 0x00, 0x00}, ascii("VNRSAM-001"))},
        {APDU(1, 0x00, 0xA4, 0x00, 0x0C, 0x02, 0x00, 0x15), 0, kSw9000},
        {APDU(1, 0x00, 0xB0, 0x00, 0x00, 0x10), 0, cat(ascii("SAM-0001"), {0, 0, 0, 0, 0, 0, 0, 1, 0x90, 0x00})},
        {CALL(took_state(sam_slt_getstate(d, 2, &state))), 0, Bytes{0x10, 0x01}},
        {CALL(took(sam_slt_reset(d, 0, 9, &len8, buf), len8)), -0x1002},
    });
}

TEST_P(ContactCards, AMemoryCardWritesOnlyWithItsPasswordWithinItsSizeAndLocksAfterThreeWrongOnes) {
    run({
        control_line("contact remove 0"), control_line("contact insert 0 mem"),
        {CALL(contact_settype(d, 0, 4))},  // and the library forgets any size it knew
        {CALL(took(contact_identifytype(d, 0, buf), 1)), 0, Bytes{4}},
        {CALL(took(contact_read(d, 0, 0x20, 18, buf), 18)), 0, ascii("SAMPLE MEMORY CARD")},
        {CALL(contact_write(d, 0, 0x40, 4, buf)), -0x1012},
        {CALL(contact_passwordcheck(d, 0, 3, kFF3))},
        {CALL(contact_write(d, 0, 0x40, 4, reinterpret_cast<const std::uint8_t*>("ABCD")))},
        {CALL(took(contact_read(d, 0, 0x3F, 6, buf), 6)), 0, Bytes{0xFF, 'A', 'B', 'C', 'D', 0xFF}},
        {CALL(contact_write(d, 0, 254, 4, buf)), -0x1013},  // 256 bytes: the card refuses, not the library
        {CALL(contact_passwordcheck(d, 0, 3, kWrong3)), -0x1010},
        {CALL(contact_passwordcheck(d, 0, 3, kWrong3)), -0x1010},
        {CALL(contact_passwordcheck(d, 0, 3, kWrong3)), -0x1010},
        {CALL(contact_passwordcheck(d, 0, 3, kFF3)), -0x1011},
        {CALL(contact_write(d, 0, 0x40, 1, buf)), -0x1011},
        {CALL(took(contact_read(d, 0, 0x40, 2, buf), 2)), 0, ascii("AB")},
    });
}

TEST_P(ContactCards, A1604CardsCodesEraseCodeFuseAndALockedZone) {
    run({
        control_line("contact remove 0"), control_line("contact insert 0 c1604"),
        {CALL(took(contact_identifytype(d, 0, buf), 1)), 0, Bytes{8}},
        {CALL(csc_1604(d, 0, 2, kWrong2)), -0x1010},
        {CALL(csc_1604(d, 0, 2, kCard))},
        {CALL(ser_1604(d, 1, 27, 8))},
        {CALL(swr_1604(d, 1, 27, 8, reinterpret_cast<const std::uint8_t*>("ROUNDTRP")))},
        {CALL(took(srd_1604(d, 1, 27, 8, buf), 8)), 0, ascii("ROUNDTRP")},
        {CALL(wsc_1604(d, 5, 2, kNewErase1))},  // zone 1's erase code, erased and written at 24
        {CALL(cesc_1604(d, 1, 2, kErase1)), -0x1010},
        {CALL(cesc_1604(d, 1, 2, kNewErase1))},
        {CALL(psnl_1604(d))},
        {CALL(wsc_1604(d, 1, 2, kWrong2)), -0x1015},
        {CALL(csc_1604(d, 1, 2, kWrong2)), -0x1010},
        {CALL(csc_1604(d, 1, 2, kWrong2)), -0x1010},
        {CALL(csc_1604(d, 1, 2, kWrong2)), -0x1010},
        {CALL(csc_1604(d, 1, 2, kWrong2)), -0x1010},
        {CALL(csc_1604(d, 1, 2, kZone1)), -0x1011},
        {CALL(swr_1604(d, 1, 27, 1, buf)), -0x1011},
        {CALL(took(srd_1604(d, 1, 27, 8, buf), 8)), 0, ascii("ROUNDTRP")},
    });
}

INSTANTIATE_TEST_SUITE_P(Links, ContactCards, ::testing::Values(vnr::test::Link::serial, vnr::test::Link::hid),
                         vnr::test::link_name);

}  // namespace
