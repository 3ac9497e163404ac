// tests/reader/card_kind_test.cpp: Get_CardType against the simulated cards: each kind found in its turn,
// what each path writes, and the stripe's status when nothing is there.
#include "reader_support.h"
#include "vnrsim/control.h"

#include <array>

namespace {

using namespace readertest;

class CardKind : public vnr::test::SimSessionBase {
protected:
    CardKind() : SimSessionBase(vnrsim::Deck::load(VNR_TEST_DECKS "/cards.json")) {}
    void SetUp() override { open_on(vnr::test::Link::serial); }
    void control(const char* line) { ASSERT_EQ(vnrsim::Control(reader).execute(line).rfind("ok", 0), 0u) << line; }

    struct Found {
        int16_t status = 0;
        uint32_t contactless = 0, contact = 0, identity = 0, magnetic = 0;
        uint8_t atr_length = 0xEE;
        std::array<uint8_t, 255> atr{};
        std::array<uint8_t, 771> tracks{};
    };
    Found search() {
        Found f;
        f.status = Get_CardType(icdev, &f.contactless, &f.contact, &f.atr_length, f.atr.data(), &f.identity,
                                &f.magnetic, f.tracks.data());
        return f;
    }
};

TEST_F(CardKind, EachKindIsFoundInItsTurnAndOnlyItsOwnOutputsAreWritten) {
    Found f = search();  // the bank card in slot 0
    EXPECT_EQ(f.status * 10000 + f.contact * 1000 + f.contactless * 100 + f.identity * 10 + f.magnetic, 1000);
    ASSERT_GT(f.atr_length, 0);
    EXPECT_EQ(f.atr[0], 0x3B) << "the ATR without the reset reply's leading byte";

    control("contact remove 0");
    control("contactless put pay");
    f = search();
    EXPECT_EQ(f.status * 10000 + f.contact * 1000 + f.contactless * 100 + f.identity * 10 + f.magnetic, 100);
    EXPECT_GT(f.atr_length, 0) << "the ATS";

    control("contactless take pay");
    control("contactless put wallet");  // a memory card is no hit: the search goes on to the stripe
    control("stripe swipe B6217000012345678^SAMPLE/ALEX^2912|6217000012345678=2912|");
    f = search();
    EXPECT_EQ(f.status * 10000 + f.contact * 1000 + f.contactless * 100 + f.identity * 10 + f.magnetic, 1);
    EXPECT_EQ(f.atr_length, 0xEE) << "nothing written but the tracks";
    EXPECT_EQ(f.tracks[1], 21) << "track 2 without its sentinels";

    control("contactless take wallet");
    f = search();  // nothing anywhere: the stripe's own status
    EXPECT_NE(f.status, VNR_OK);
    EXPECT_EQ(f.contact + f.contactless + f.identity + f.magnetic, 0u);
    EXPECT_EQ(f.atr_length, 0xEE);
}

}  // namespace
