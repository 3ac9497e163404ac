// The model "contactless" through the reader's answers: the field, activations and faults, and the deck's
// mistakes refused with their path. Mifare keys and values and the tags' locks and passwords are proven
// through the library against this model in tests/contactless.
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

// The shipped deck's cards are loaded by the library's tests in tests/contactless.
TEST(ContactlessModel, MistakesAreRefusedWithTheirPath) {
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
