// The model "contact" through the reader's answers: the CPU card, the slots, and the deck's mistakes
// refused with their path. Memory and 1604 cards are proven through the library against this model in
// tests/contact, the 61xx and 6Cxx switches by the bank read on decks/bank/pboc.json in tests/bank.
#include <gtest/gtest.h>

#include "card_steps.h"
#include "models/contact/contact_model.h"

namespace {

using vnrsim::Deck;
using vnrsim::Reader;
using vnrsim::test::Step;
using vnrsim::test::run_steps;

Reader reader_with(const std::string& contact) { return Reader(Deck::parse(R"({"contact": )" + contact + "}")); }

constexpr const char* kCpuDeck = R"j({"slots": {"0": "card"}, "cards": {"card": {"kind": "cpu", "atr": "3B 02 14 50",
    "master": {"files": [{"fid": "0015", "binary": "0102030405"}]},
    "applications": [
      {"name": "A0000000010101", "fci": "6F(84(A0000000010101) A5(9F38(9F0206 9F3704)))",
       "gpo": {"format": 1, "aip": "7C00", "afl": "08010200"},
       "files": [{"sfi": 1, "records": ["70(5A(11))", "70(5A(22))"]}, {"fid": "EF02", "sfi": 2, "binary": "AABBCCDD"}]},
      {"name": "A0000000010102", "fid": "DF02"}],
    "answers": [{"apdu": "0084", "answer": "01020304 9000", "times": 1}]}}})j";

TEST(ContactModel, CpuCardFileSystemAndStatusWords) {
    Reader reader = reader_with(kCpuDeck);
    const Step steps[] = {
        {"32 26 00 00A4040007A0000000010101", vnrsim::kSlotUnpowered}, {"32 22 00 00 00", 0, "04 3B021450"},
        {"32 26 00 00A4040005A000000001", 0, "6F(84(A0000000010101) A5(9F38(9F0206 9F3704))) 9000"},  // a name's head
        {"32 26 00 00A4040205A000000001", 0, "6F(84(A0000000010102)) 9000"},  // the next occurrence
        {"32 26 00 00A4040205A000000001", 0, "6A82"}, {"32 26 00 00A4040C07A0000000010101", 0, "9000"},
        {"32 26 00 00B2010C00", 0, "70(5A(11)) 9000"}, {"32 26 00 00B2030C00", 0, "6A83"},
        {"32 26 00 00B2011C00", 0, "6A82"}, {"32 26 00 00B2010D00", 0, "6A86"},
        {"32 26 00 00B0820100", 0, "BBCCDD 9000"}, {"32 26 00 00B0000204", 0, "CCDD 6282"},  // the SFI chose EF02
        {"32 26 00 00B0000400", 0, "6B00"}, {"32 26 00 00B0810000", 0, "6981"},
        {"32 26 00 80A80000048302 1122", 0, "6700"},  // the PDOL asks for 10 bytes
        {"32 26 00 80A80000028200", 0, "6A80"},
        {"32 26 00 80A800000C830A 00000000000000000000", 0, "80(7C00 08010200) 9000"},
        {"32 26 00 00A800000C830A 00000000000000000000", 0, "6E00"},
        {"32 26 00 00A40000023F00", 0, "6F(83(3F00)) 9000"},
        {"32 26 00 80A800000C830A 00000000000000000000", 0, "6985"}, {"32 26 00 00B0000000", 0, "6986"},
        {"32 26 00 00A4000002DF02", 0, "6F(84(A0000000010102)) 9000"},
        {"32 26 00 00A40000020015", 0, "62(80(0005) 82(01) 83(0015)) 9000"},  // an EF of the master file
        {"32 26 00 00B0000300", 0, "0405 9000"}, {"32 26 00 0084000008", 0, "01020304 9000"},  // canned, once
        {"32 26 00 0084000005", 0, "6700"}, {"32 26 00 00C0000000", 0, "6985"}, {"32 26 00 90B0000000", 0, "6E00"},
        {"32 26 00 0012000000", 0, "6D00"}, {"32 26 00 00A404", 0, "6700"}, {"32 26 00 00A4040007A0", 0, "6700"},
    };
    run_steps(reader, steps);
    const auto first = vnrsim::test::ask(reader, "32 26 00 0084000008"), second = vnrsim::test::ask(reader, "32 26 00 0084000008");
    EXPECT_EQ(first.second.size(), 10u);
    EXPECT_NE(first.second, second.second) << "challenges differ";
}

TEST(ContactModel, SlotsStatesPowerAndFaults) {
    Reader reader = reader_with(R"({"sam_slots": 2, "slots": {"0": "cpu"}, "cards": {"cpu": {"kind": "cpu"},
        "mem": {"kind": "memory", "type": 1, "size_code": 0}}})");
    const Step steps[] = {
        {"32 21 00", vnrsim::kSlotUnpowered}, {"32 21 02", vnrsim::kSlotNoCard}, {"32 21 03", vnrsim::kSlotMissing},
        {"32 23 02", vnrsim::kSlotNoCard}, {"32 22 00 00 02", vnrsim::kSlotNoCard},
        {"contact insert 1 cpu", 1, "in slot 0"}, {"contact insert 3 mem", 1}, {"contact insert 1 nothing", 1},
        {"contact insert 2 mem", 0}, {"contact", 0, "0: cpu, 1: empty, 2: mem; out: none"},
        {"32 22 00 00 02", vnrsim::kWrongCardKind}, {"32 35 00 0000 0001", vnrsim::kWrongCardKind},
        {"32 26 02 00B0000000", vnrsim::kWrongCardKind}, {"32 35 02 0000 0001", 0, "FF"}, {"32 21 02", vnrsim::kSlotPowered},
        {"32 27 00 03", vnrsim::kBadFields}, {"32 27 00 02", 0, "3B680000564E5253494D3031"},
        {"32 21 00", vnrsim::kSlotPowered}, {"32 26 00 00A4000000", 0, "6F(83(3F00)) 9000"},
        {"32 23 00", 0}, {"32 21 00", vnrsim::kSlotUnpowered}, {"32 26 00 00A4000000", vnrsim::kSlotUnpowered},
        {"32 22 00 00 00", 0}, {"contact poweroff 0", 0}, {"32 26 00 00A4000000", vnrsim::kSlotUnpowered},
        {"32 22 00 00 00", 0}, {"contact pull 0", 0}, {"faults", 0, "slot 0 pulled"},
        {"32 21 00", vnrsim::kSlotPowered}, {"32 26 00 00A4000000", vnrsim::kCardMute}, {"32 21 00", vnrsim::kSlotNoCard},
        {"contact insert 1 cpu", 0}, {"contact pull 1", 0}, {"clear contact", 0}, {"faults", 0, "ok none"},
        {"contact remove 0", 1}, {"contact remove 2", 0}, {"contact", 0, "out: mem"},
        {"32 26 FF 00A4000000", 0x2003},  // the RF field's card: none active
    };
    run_steps(reader, steps);
    EXPECT_TRUE(reader.model<vnrsim::ContactModel>()->card_present(1));
    EXPECT_FALSE(reader.model<vnrsim::ContactModel>()->card_present(0));
}

// The shipped decks' contact cards are loaded by the library's tests in tests/contact.
TEST(ContactModel, MistakesAreRefusedWithTheirPath) {
    const std::pair<std::string, const char*> cases[] = {
        {R"({"cards": {"x": {"kind": "disk"}}})", "contact.cards.x.kind:"},
        {R"({"cards": {"a b": {"kind": "cpu"}}})", "contact.cards.a b:"},
        {R"({"cards": {"x": {"kind": "memory", "type": 8}}})", "kind \"1604\""},
        {R"({"cards": {"x": {"kind": "memory", "type": 4, "password": "1122"}}})", "contact.cards.x.password:"},
        {R"({"cards": {"x": {"kind": "memory", "type": 1, "size_code": 17}}})", "contact.cards.x.size_code:"},
        {R"({"cards": {"x": {"kind": "memory", "type": 1, "memory": {"256": "00"}}}})", "contact.cards.x.memory.256:"},
        {R"({"cards": {"x": {"kind": "1604", "codes": {"9": "0000"}}}})", "contact.cards.x.codes.9:"},
        {R"({"cards": {"x": {"kind": "cpu"}}, "slots": {"0": "x", "1": "x"}})", "contact.slots.1:"},
        {R"({"sam_slots": 1, "cards": {"x": {"kind": "cpu"}}, "slots": {"2": "x"}})", "contact.slots.2:"},
        {R"j({"cards": {"x": {"kind": "cpu", "applications": [{"name": "A0", "fci": "6F(84(A0)"}]}}})j", "not closed"},
        {R"({"cards": {"x": {"kind": "cpu", "applications": [{"name": "A0", "files": [{"binary": "00"}]}]}}})",
         "contact.cards.x.applications[0].files[0]:"},
        {R"({"cards": {"x": {"kind": "cpu", "applications": [{"name": "A0", "gpo": {"format": 1, "aip": "7C00",
            "afl": "080101"}}]}}})", "contact.cards.x.applications[0].gpo.afl:"},
        {R"({"cards": {"x": {"kind": "cpu", "answers": [{"apdu": "00", "answer": "90"}]}}})", "contact.cards.x.answers[0].answer:"},
    };
    for (const auto& [section, wanted] : cases) {
        const std::string message = vnrsim::test::refusal([&] { reader_with(section); });
        EXPECT_NE(message.find(wanted), std::string::npos) << section << " gave: " << message;
    }
}

}  // namespace
