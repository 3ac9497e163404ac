// The contactless functions end to end against the cards of decks/cards.json on both links: CLCard_Open
// of each kind, a CPU card's APDU, a Mifare 1K dump and values, an Ultralight C, an NTAG215 initialised.
#include "contactless/contactless_support.h"
#include "support/card_script.h"

namespace {

using namespace cltest;
using vnr::test::ascii;
using vnr::test::control_line;
using vnr::test::delivered;

std::uint8_t buf[300];
std::uint32_t len32, value;

// `n` is read after the call: the count it wrote.
template <typename N>
std::int16_t took(std::int16_t status, const N& n) { return delivered.assign(buf, buf + n), status; }
// The status word that closes an answer of `n` bytes.
std::int16_t took_sw(std::int16_t status, const std::uint32_t& n) { return delivered.assign(buf + n - 2, buf + n), status; }
std::int16_t took_value(std::int16_t status) { return delivered = {std::uint8_t(value >> 24), std::uint8_t(value >> 16), std::uint8_t(value >> 8), std::uint8_t(value)}, status; }
const std::uint8_t* bytes(const char* text) { return reinterpret_cast<const std::uint8_t*>(text); }

// open_card's and CLCard_Open's five out-parameters as one run: type, U, UID, A, ATS.
std::int16_t opened_run(std::int16_t status) {
    return delivered = cat({{buf[0], buf[1]}, Bytes(buf + 2, buf + 2 + buf[1]), {buf[12]}, Bytes(buf + 13, buf + 13 + buf[12])}), status;
}

const Bytes kFF6(6, 0xFF), kKeyA1 = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}, kKeyB1 = {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5};
const Bytes kWallet{0x5A, 0x2B, 0x3C, 0x4D}, kPay{0x5A, 0x10, 0x20, 0x30}, kPayAts{0x05, 0x78, 0x80, 0x70, 0x02};
const Bytes kLabelKey{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const Bytes kNewPassword{0x11, 0x22, 0x33, 0x44};
constexpr std::int16_t kAuthFailed = -0x2010, kNotAuthenticated = -0x2011, kRefused = -0x2012, kNotValue = -0x2013;

class ContactlessCards : public vnr::test::CardScript {
protected:
    ContactlessCards() : CardScript(vnrsim::Deck::load(VNR_TEST_DECKS "/cards.json")) {}
    // rf_authentication of each sector of a 1K card with key A and the reads of its four blocks; the
    // statuses in order, and the blocks read.
    std::pair<std::vector<std::int16_t>, std::vector<Bytes>> dump(const std::vector<Bytes>& keys) {
        std::vector<std::int16_t> statuses;
        std::vector<Bytes> blocks;
        for (std::uint8_t sector = 0; sector < 16; ++sector) {
            statuses.push_back(rf_authentication(icdev, 0, sector, keys[sector].data()));
            for (std::uint8_t block = sector * 4; block < sector * 4 + 4; ++block) {
                std::uint8_t data[16] = {};
                statuses.push_back(rf_read(icdev, block, data));
                blocks.emplace_back(data, data + 16);
            }
        }
        return {statuses, blocks};
    }
};

TEST_P(ContactlessCards, TheFieldAndWhatCardOpenFindsOfEachKind) {
    auto any = CALL(opened_run(open_into(CLCard_Open, d, 0, buf)));
    run({
        control_line("contactless put wallet"),
        {CALL(close_rf(d))},
        {CALL(rf_card(d, 0, buf, buf + 1)), -0x2002},
        {CALL(open_rf(d))},
        {CALL(took(rf_card(d, 0, buf, buf + 1), 5)), 0, cat({{0x08}, kWallet})},
        {CALL(took(open_into(CLCard_Open, d, 0, buf), 1)), VNR_CL_MIFARE, Bytes{0x08}},
        control_line("contactless put pay"),
        {any, VNR_CL_CPU_CARD, cat({{0x0A, 4}, kPay, {5}, kPayAts})},
        {CALL(took_sw(card_APDU(d, 0xFF, 13, bytes("\x00\xA4\x04\x00\x08\xA0\x00\x00\x03\x33\x01\x01\x01"), &len32, buf), len32)), 0,
         Bytes{0x90, 0x00}},
        {CALL(took(card_APDU(d, 0xFF, 5, bytes("\x00\xB2\x01\x14\x00"), &len32, buf), len32)), 0,
         Bytes{0x70, 0x0B, 0x5F, 0x24, 0x03, 0x30, 0x12, 0x31, 0x9F, 0x07, 0x02, 0xFF, 0x00, 0x90, 0x00}},
        {CALL(rf_halt(d, 0))},
        {CALL(card_APDU(d, 0xFF, 5, bytes("\x00\xB2\x01\x14\x00"), &len32, buf)), -0x2003},
        {any, VNR_CL_MIFARE},  // the halted card stays out of reach
        control_line("idcard resident"),
        {CALL(open_into(CLCard_Open, d, 0, buf)), VNR_CL_IDCARD},
        control_line("idcard off"), control_line("contactless take pay"), control_line("contactless take wallet"),
        {CALL(open_into(CLCard_Open, d, 0, buf)), -0x2001},
    });
}

TEST_P(ContactlessCards, AMifareDumpWithTheRightKeysAndWithOneWrongFailsOnThatSectorAlone) {
    run({control_line("contactless put wallet"), {CALL(rf_card(d, 0, buf, buf + 1))}});
    std::vector<Bytes> keys(16, kFF6);
    keys[1] = kKeyA1;
    const auto [statuses, blocks] = dump(keys);
    EXPECT_EQ(statuses, std::vector<std::int16_t>(80, 0));
    EXPECT_EQ(blocks[4], ascii("SAMPLE WALLET 01"));
    EXPECT_EQ(Bytes(blocks[0].begin(), blocks[0].begin() + 4), kWallet);
    EXPECT_EQ(blocks[3], (Bytes{0, 0, 0, 0, 0, 0, 0xFF, 0x07, 0x80, 0x69, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));

    keys[9] = kKeyA1;
    const auto [failing, again] = dump(keys);
    std::vector<std::int16_t> expected(80, 0);
    expected[45] = kAuthFailed;
    std::fill(expected.begin() + 46, expected.begin() + 50, kNotAuthenticated);
    EXPECT_EQ(failing, expected);
    EXPECT_EQ(again[4], blocks[4]);
}

TEST_P(ContactlessCards, ABlockWrittenAndValueBlocksIncreasedDecreasedAndTransferredUnderKeyB) {
    run({
        control_line("contactless put wallet"),
        {CALL(rf_card(d, 0, buf, buf + 1))},
        {CALL(rf_authentication(d, 1, 1, kKeyB1.data()))},
        {CALL(rf_write(d, 5, bytes("A BLOCK OF SIXTEEN")))},
        {CALL(took(rf_read(d, 5, buf), 16)), 0, ascii("A BLOCK OF SIXTE")},
        {CALL(took_value(rf_readval(d, 6, &value))), 0, Bytes{0, 0, 0, 100}},
        {CALL(rf_increment(d, 6, 50))},
        {CALL(took_value(rf_readval(d, 6, &value))), 0, Bytes{0, 0, 0, 100}},  // not before the transfer
        {CALL(rf_transfer(d, 6))},
        {CALL(took_value(rf_readval(d, 6, &value))), 0, Bytes{0, 0, 0, 150}},
        {CALL(rf_decrement(d, 6, 30))},
        {CALL(rf_transfer(d, 5))},  // into another block of the sector
        {CALL(took_value(rf_readval(d, 5, &value))), 0, Bytes{0, 0, 0, 120}},
        {CALL(rf_initval(d, 5, 0x01020304))},
        {CALL(took_value(rf_readval(d, 5, &value))), 0, Bytes{1, 2, 3, 4}},
        {CALL(took_value(rf_readval(d, 4, &value))), kNotValue, Bytes{0, 0, 0, 0}},
        {CALL(rf_increment(d, 4, 1)), kNotValue},
        {CALL(rf_decrement(d, 6, 151)), VNR_E_BAD_ARGUMENT},  // refused by the library after the read
        {CALL(rf_authentication(d, 0, 1, kKeyA1.data()))},
        {CALL(rf_increment(d, 6, 1)), kRefused},  // the access bits give increments to key B only
    });
}

TEST_P(ContactlessCards, AnUltralightCsOneTimePageAndLockBits) {
    run({
        control_line("contactless put label"),
        {CALL(took(MF_OpenCard(d, 0, buf), 7)), 0, Bytes{0x1D, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}},
        {CALL(MF_WriteOTp(d, bytes("\x01\x00\x00\x80")))},
        {CALL(MF_WriteOTp(d, bytes("\x02\x00\x00\x00")))},
        {CALL(took(MF_Read(d, 3, buf), 4)), 0, Bytes{0x03, 0x00, 0x00, 0x80}},  // bits are only ever set
        {CALL(MF_WriteLock(d, 3))},
        {CALL(MF_WriteOTp(d, bytes("\x04\x00\x00\x00"))), kRefused},
        {CALL(MF_Write_4bytes(d, 8, bytes("PAGE")))},
        {CALL(MF_WriteLock(d, 8))},
        {CALL(MF_Write_4bytes(d, 8, bytes("AGAN"))), kRefused},
        {CALL(MF_WriteLock(d, 33)), kNotAuthenticated},  // page 40 lies behind AUTH0 32
        {CALL(MF_Authentication(d, kLabelKey.data(), 16))},
        {CALL(MF_WriteLock(d, 33))},
        {CALL(MF_Write_4bytes(d, 34, bytes("LOCK"))), kRefused},
        {CALL(MF_Write_4bytes(d, 36, bytes("FREE")))},
        {CALL(took(MF_Read(d, 8, buf), 4)), 0, ascii("PAGE")},
    });
}

TEST_P(ContactlessCards, AnNtag215InitialisedFromDeliveryReadsItsTextAndRefusesItsLockedPages) {
    const Bytes text = ascii("SAMPLE BASE INFORMATION");
    run({
        control_line("contactless put tag"),
        {CALL(took(NTAG215_OpenCard(d, buf), 7)), 0, Bytes{0xAF, 0x9E, 0x8D, 0x7C, 0x6B, 0x5A, 0x1D}},
        {CALL(NTAG215_Init(d, kNewPassword.data(), "SAMPLE BASE INFORMATION"))},
        {CALL(took(NTAG215_ReadBaseInfo(d, reinterpret_cast<char*>(buf)), 24)), 0, cat({text, {0}})},
        {CALL(NTAG215_Write_4bytes(d, 0x50, bytes("XXXX"))), kRefused},
        {CALL(NTAG215_Write_4bytes(d, 0x7F, bytes("XXXX"))), kRefused},
        {CALL(NTAG215_Write_4bytes(d, 0x80, bytes("FREE")))},
        {CALL(NTAG215_Authentication(d, bytes("\xFF\xFF\xFF\xFF"), 4)), kAuthFailed},
        {CALL(NTAG215_Authentication(d, kNewPassword.data(), 4))},
        {CALL(took(NTAG215_Read(d, 0x80, buf), 4)), 0, ascii("FREE")},
        {CALL(NTAG215_Init(d, kNewPassword.data(), "x")), VNR_NTAG215_INIT_AUTHENTICATION},  // no longer delivered
    });
}

INSTANTIATE_TEST_SUITE_P(Links, ContactlessCards, ::testing::Values(vnr::test::Link::serial, vnr::test::Link::hid),
                         vnr::test::link_name);

}  // namespace
