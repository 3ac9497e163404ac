// The model "contactless" through the reader's answers: the field and activations, Mifare keys, access
// bits and values, the tags' lock bits and passwords, and the deck's mistakes refused with their path.
#include <gtest/gtest.h>

#include "card_steps.h"
#include "models/contactless/contactless_model.h"

namespace {

using vnrsim::ContactlessModel;
using vnrsim::Deck;
using vnrsim::Reader;
using vnrsim::test::Step;
using vnrsim::test::run_steps;

Reader reader_with(const std::string& section) { return Reader(Deck::parse(R"({"contactless": )" + section + "}")); }

TEST(ContactlessModel, FieldActivationHaltAndFaults) {
    Reader reader = reader_with(R"({"cards": {"pay": {"kind": "cpu", "uid": "5A102030", "ats": "0578807002"},
        "payb": {"kind": "cpu", "type": "B", "uid": "11223344"}, "wallet": {"kind": "mifare_1k", "uid": "5A2B3C4D"},
        "tag": {"kind": "ntag215", "uid": "1D5A6B7C8D9EAF"}}})");
    const Step steps[] = {
        {"32 41 00 00", vnrsim::kRfNoCard},
        {"contactless put wallet"}, {"contactless put tag"}, {"contactless put pay"}, {"contactless put wallet", 1},
        {"32 41 00 00", 0, "08 5A2B3C4D"},  // the first put of its kind
        {"32 24 00 00", 0, "0A 04 5A102030 05 0578807002"},
        {"32 43 04", vnrsim::kRfWrongCardKind},
        {"32 26 FF 00A4000000", 0, "6F(83(3F00)) 9000"},
        {"32 25 00 00", 0}, {"32 26 FF 00A4000000", vnrsim::kRfNotActive}, {"32 24 00 00", vnrsim::kRfNoCard},
        {"32 29", 0}, {"32 41 00 00", vnrsim::kRfFieldOff}, {"32 28", 0}, {"32 24 00 00", 0},  // the halt ends with the field
        {"contactless take wallet"}, {"32 41 00 00", 0, "00 1D5A6B7C8D9EAF"},
        {"contactless", 0, "field on; in field: tag active, pay; out: payb wallet"},
        {"contactless pull"}, {"faults", 0, "tag leaves"}, {"32 43 00", vnrsim::kRfCardGone},
        {"contactless", 0, "in field: pay;"}, {"contactless pull", 1},
        {"contactless take pay"}, {"contactless put payb"}, {"32 24 00 00", 0, "0B 04 11223344 07 00000000008181"},
        {"32 29"},
    };
    run_steps(reader, steps);
    EXPECT_TRUE(reader.model<ContactlessModel>()->card_present(vnrsim::Model::kFieldSlot));
    const std::uint8_t id_card_query[] = {0x32, 0x52};
    EXPECT_FALSE(reader.model<ContactlessModel>()->answer(id_card_query)) << "the identity card's probe is not ours";
}

TEST(ContactlessModel, MifareAuthenticationAccessBitsAndValues) {
    Reader reader = reader_with(R"({"in_field": ["wallet"], "cards": {"big": {"kind": "mifare_4k"},
        "wallet": {"kind": "mifare_1k", "uid": "5A2B3C4D", "blocks": {"4": "'SAMPLE WALLET 01'", "6": {"value": 100}},
        "sectors": {"1": {"key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5", "conditions": ["000", "000", "110", "011"]}}}}})");
    const Step steps[] = {
        {"32 41 00 00", 0}, {"32 43 04", vnrsim::kRfNotAuthenticated},
        {"32 42 01 00 A0A1A2A3A4A6", vnrsim::kRfAuthFailed}, {"32 42 01 00 A0A1A2A3A4A5", 0},
        {"32 43 04", 0, "'SAMPLE WALLET 01'"}, {"32 43 08", vnrsim::kRfNotAuthenticated},
        {"32 44 06 00000000000000000000000000000000", vnrsim::kRfAccessDenied},  // writes take key B
        {"32 45 06", 0, "00000064"}, {"32 45 04", vnrsim::kRfNotValueBlock}, {"32 49 06", vnrsim::kRfNoTransferValue},
        {"32 48 06 00000001", 0}, {"32 45 06", 0, "00000064"}, {"32 49 06", 0}, {"32 45 06", 0, "00000063"},
        {"32 47 06 00000005", vnrsim::kRfAccessDenied},  // increments take key B
        {"32 43 07", 0, "000000000000 3B478C69 000000000000"},  // key A hidden, key B not readable
        {"32 42 01 01 B0B1B2B3B4B5", 0}, {"32 47 06 00000005", 0}, {"32 49 06", 0}, {"32 45 06", 0, "00000068"},
        {"32 46 05 7FFFFFFF", 0}, {"32 47 05 00000001", vnrsim::kRfValueOverflow},
        {"32 44 05 01000000FEFFFFFF0100000005FA05FB", 0}, {"32 45 05", vnrsim::kRfNotValueBlock},
        {"32 44 07 A0A1A2A3A4A5 FFFFFF69 B0B1B2B3B4B5", 0},  // access bits whose inverses do not match
        {"32 42 01 01 B0B1B2B3B4B5", vnrsim::kRfAuthFailed}, {"32 42 01 00 A0A1A2A3A4A5", vnrsim::kRfAuthFailed},
        {"32 42 00 01 FFFFFFFFFFFF", vnrsim::kRfAuthFailed},  // key B readable: no key
        {"32 42 00 00 FFFFFFFFFFFF", 0}, {"32 43 03", 0, "000000000000 FF078069 FFFFFFFFFFFF"},
        {"32 43 00", 0, "5A2B3C4D 00 08 0400 0000000000000000"}, {"32 44 00 00000000000000000000000000000000", vnrsim::kRfAccessDenied},
        {"32 45 10", vnrsim::kRfNotAuthenticated}, {"32 43 40", vnrsim::kRfBeyondCard},
        {"32 42 10 00 FFFFFFFFFFFF", vnrsim::kRfBeyondCard}, {"32 42 00 02 FFFFFFFFFFFF", vnrsim::kRfBadFields},
        {"32 42 00 00 FFFFFFFFFFFF", 0}, {"32 25 00 00", 0}, {"32 43 01", vnrsim::kRfNotActive},
        {"contactless take wallet"}, {"contactless put big"}, {"32 41 00 00", 0, "18 5A2B3C4D"},
        {"32 42 27 00 FFFFFFFFFFFF", 0}, {"32 43 FF", 0, "000000000000 FF078069 FFFFFFFFFFFF"},
        {"32 43 F0", 0, "00000000000000000000000000000000"}, {"32 43 EF", vnrsim::kRfNotAuthenticated},
    };
    run_steps(reader, steps);
}

TEST(ContactlessModel, TagLockAndOneTimeBitsKeysPasswordsAndFastRead) {
    Reader reader = reader_with(R"({"in_field": ["tag"], "cards": {"tag": {"kind": "ntag215", "uid": "1D5A6B7C8D9EAF"},
        "label": {"kind": "ultralight_c", "uid": "1D112233445566", "key": "00112233445566778899AABBCCDDEEFF", "auth0": 32}}})");
    const Step steps[] = {
        {"32 41 00 00", 0}, {"32 43 00", 0, "1D5A6BA4 7C8D9EAF C0480000 E1103E00"},
        {"32 43 84", 0, "00000000 00000000 00000000 1D5A6BA4"},  // password and PACK read as zeros; back to page 0
        {"32 43 87", vnrsim::kRfBeyondCard},
        {"C1 50 83 86", 0, "040000FF 00000000 00000000 00000000"},
        {"C1 50 80 87", vnrsim::kRfBeyondCard}, {"C1 50 05 04", vnrsim::kRfBeyondCard},
        {"C1 4C 03 00000001", 0}, {"C1 4C 03 00000000", 0}, {"C1 50 03 03", 0, "E1103E01"},  // one-time bits stay
        {"C1 4C 01 00000000", vnrsim::kRfAccessDenied},
        {"C1 4C 02 FFFF1000", 0}, {"C1 4C 04 11111111", vnrsim::kRfAccessDenied}, {"C1 4C 05 11111111", 0},
        {"C1 4C 02 00000000", 0}, {"C1 50 02 02", 0, "C0481000"},  // lock bits stay
        {"C1 4C 82 70000000", 0}, {"C1 4C 50 00000000", vnrsim::kRfAccessDenied}, {"C1 4C 4F 00000000", 0},
        {"C1 4C 80 00000000", 0},
        {"C1 4C 85 11223344", 0}, {"C1 4C 86 ABCD0000", 0}, {"C1 4C 84 81000000", 0}, {"C1 4C 83 04000010", 0},
        {"32 43 0E", vnrsim::kRfNotAuthenticated}, {"C1 50 00 10", vnrsim::kRfNotAuthenticated},
        {"C1 4F 11223345", vnrsim::kRfAuthFailed}, {"C1 4F 11223344", 0, "ABCD"}, {"32 43 10", 0},
        {"32 29"}, {"32 28"}, {"32 41 00 00", 0}, {"32 43 10", vnrsim::kRfNotAuthenticated},  // the session ended
        {"C1 4F 00000000", vnrsim::kRfAuthFailed}, {"C1 4F 00000000", vnrsim::kRfAuthFailed},
        {"C1 4F 11223344", vnrsim::kRfAuthLocked},  // two wrong passwords at AUTHLIM 1
        {"32 4C 10 00000000", vnrsim::kRfWrongCardKind},
        {"contactless take tag"}, {"contactless put label"}, {"32 41 00 00", 0, "00 1D112233445566"},
        {"32 43 1E", vnrsim::kRfNotAuthenticated}, {"32 43 2C", vnrsim::kRfBeyondCard},  // the key pages do not read
        {"32 4D 10 00112233445566778899AABBCCDDEEFE", vnrsim::kRfAuthFailed},
        {"32 4D 10 00112233445566778899AABBCCDDEEFF", 0}, {"32 43 2A", 0, "20000000 00000000 1D1122A6 33445566"},
        {"32 4C 28 02000000", 0}, {"32 4C 10 AABBCCDD", vnrsim::kRfAccessDenied}, {"32 4C 14 AABBCCDD", 0},
        {"32 4C 28 05000000", 0}, {"32 4C 28 0E000000", 0}, {"32 4C 18 00000000", 0},  // bit 0 froze bits 1-3
        {"32 4C 29 05000000", 0}, {"32 4C 29 04000000", vnrsim::kRfAccessDenied},  // the counter only goes up
        {"C1 4C 04 00000000", vnrsim::kRfWrongCardKind}, {"C1 50 00 03", vnrsim::kRfWrongCardKind},
    };
    run_steps(reader, steps);
}

TEST(ContactlessModel, ShippedDeckLoadsAndMistakesAreRefusedWithTheirPath) {
    const Deck cards = Deck::load(VNRSIM_DECKS "/cards.json");
    EXPECT_EQ(cards.models.get<ContactlessModel>().cards().size(), 4u);
    EXPECT_TRUE(cards.models.get<ContactlessModel>().in_field().empty());
    const std::pair<const char*, const char*> cases[] = {
        {R"({"field": "maybe"})", "contactless.field:"},
        {R"({"cards": {"x": {"kind": "felica"}}})", "contactless.cards.x.kind:"},
        {R"({"cards": {"x": {"kind": "mifare_1k", "uid": "0102030405"}}})", "contactless.cards.x.uid:"},
        {R"({"cards": {"x": {"kind": "mifare_1k", "blocks": {"64": "00"}}}})", "contactless.cards.x.blocks.64:"},
        {R"({"cards": {"x": {"kind": "mifare_1k", "blocks": {"4": "00"}}}})", "contactless.cards.x.blocks.4:"},
        {R"({"cards": {"x": {"kind": "mifare_1k", "blocks": {"5": {"value": 3000000000}}}}})", "contactless.cards.x.blocks.5.value:"},
        {R"({"cards": {"x": {"kind": "mifare_1k", "sectors": {"1": {"conditions": ["000", "012", "000", "001"]}}}}})",
         "contactless.cards.x.sectors.1.conditions[1]:"},
        {R"({"cards": {"x": {"kind": "ntag215", "key": "00"}}})", "unknown key \"key\""},
        {R"({"cards": {"x": {"kind": "ultralight_c", "pages": {"48": "00000000"}}}})", "contactless.cards.x.pages.48:"},
        {R"({"cards": {"x": {"kind": "ultralight", "pages": {"0x04": "001122"}}}})", "contactless.cards.x.pages.0x04:"},
        {R"({"cards": {"x": {"kind": "cpu", "type": "C"}}})", "contactless.cards.x.type:"},
        {R"({"in_field": ["nothing"]})", "contactless.in_field[0]:"},
    };
    for (const auto& [section, wanted] : cases) {
        const std::string message = vnrsim::test::refusal([&] { reader_with(section); });
        EXPECT_NE(message.find(wanted), std::string::npos) << section << " gave: " << message;
    }
}

}  // namespace
