// The complete EMV read (emv/, include/vnr_emv.h) on every card of decks/bank/emv.json, contact and
// contactless, on the HID link: what it found and where from, and the reason when a card gives nothing.
#include "models/contact/contact_model.h"
#include "models/contactless/contactless_model.h"
#include "support/sim_session.h"
#include "vnr_emv.h"

#include <cstring>

namespace {

struct EmvCard {
    const char* card;
    std::int32_t type;
    std::int32_t result;
    std::string pan, expiry, name, aid, label;
    std::uint16_t pan_tag, expiry_tag, name_tag;
    std::uint8_t from_directory, applications;
};
const EmvCard kCards[] = {
    {"visa", 0, VNR_EMV_OK, "4761739000001234", "271231", "SAMPLE/ALICE", "A0000000031010", "VISA CREDIT", 0x5A, 0x5F24, 0x5F20, 1, 1},
    {"amex", 0, VNR_EMV_OK, "371449000001230", "290131", "SAMPLE/CHEN", "A000000025010801", "AMERICAN EXPRESS", 0x5A, 0x5F24, 0x5F20, 0, 1},
    {"dual", 0, VNR_EMV_OK, "4000123400005676", "300930", "SAMPLE/DANA", "A0000000031010", "VISA DEBIT", 0x5A, 0x5F24, 0x5F20, 1, 2},
    {"blank", 0, VNR_EMV_E_NO_NUMBER, "", "", "", "A000000333010101", "", 0, 0, 0, 1, 1},
    {"visa_cl", 255, VNR_EMV_OK, "4895370000001112", "2803", "SAMPLE/EMMA", "A0000000031010", "VISA", 0x57, 0x57, 0x5F20, 1, 1},
    {"visa_msd", 255, VNR_EMV_OK, "4761739000000996", "2612", "SAMPLE/HUGO", "A0000000031010", "", 0x57, 0x57, 0x56, 1, 1},
    {"mc_stripe", 255, VNR_EMV_OK, "5413330000000449", "2609", "SAMPLE/FELIX", "A0000000041010", "MASTERCARD", 0x9F6B, 0x9F6B, 0x56, 1, 1},
    {"amex_cl", 255, VNR_EMV_OK, "378282000000123", "290531", "SAMPLE/GRETA", "A000000025010403", "AMERICAN EXPRESS", 0x5A, 0x5F24, 0x9F0B, 1, 1},
    {"unionpay_cl", 255, VNR_EMV_OK, "6225881234000056", "301231", vnr::test::gbk("李样卡"), "A000000333010101", "UNIONPAY", 0x57, 0x5F24, 0x9F0B, 1, 1},
    {nullptr, 0, VNR_EMV_E_NO_CARD, "", "", "", "", "", 0, 0, 0, 0, 0},
    {nullptr, 255, VNR_EMV_E_NO_CARD, "", "", "", "", "", 0, 0, 0, 0, 0},
};

class EmvRead : public vnr::test::SimSessionBase {
protected:
    EmvRead() : SimSessionBase(vnrsim::Deck::load(VNR_TEST_DECKS "/bank/emv.json")) {}
    void SetUp() override { open_on(vnr::test::Link::hid); }
    void present(const char* card, bool contactless) {
        {
            auto contact = reader.model<vnrsim::ContactModel>();  // holds the reader's lock in this scope
            if (contact->card_present(0)) contact->remove(0);
            if (card && !contactless) contact->insert(0, card);
        }
        auto field = reader.model<vnrsim::ContactlessModel>();
        for (const std::string& name : field->in_field()) field->take(name);
        if (card && contactless) field->put(card);
    }
};

TEST_F(EmvRead, EveryCard) {
    for (const EmvCard& c : kCards) {
        const std::string what = c.card ? c.card : "no card";
        present(c.card, c.type == VNR_EMV_CONTACTLESS);
        vnr_emv_card card;
        std::memset(&card, 0xEE, sizeof card);
        EXPECT_EQ(vnr_emv_read(icdev, c.type, &card), c.result) << what << ": " << card.reason;
        EXPECT_EQ(card.pan, c.pan) << what;
        EXPECT_EQ(card.expiry, c.expiry) << what;
        EXPECT_EQ(card.holder_name, c.name) << what;
        EXPECT_EQ(card.aid, c.aid) << what;
        EXPECT_EQ(card.label, c.label) << what;
        EXPECT_EQ(card.pan_tag, c.pan_tag) << what;
        EXPECT_EQ(card.expiry_tag, c.expiry_tag) << what;
        EXPECT_EQ(card.name_tag, c.name_tag) << what;
        EXPECT_EQ(card.from_directory, c.from_directory) << what;
        EXPECT_EQ(card.applications, c.applications) << what;
        EXPECT_EQ(card.luhn_ok, c.result == VNR_EMV_OK ? 1 : 0) << what;
        EXPECT_EQ(std::string(card.reason).empty(), c.result == VNR_EMV_OK) << what;
    }
}

TEST_F(EmvRead, ArgumentsAndLayout) {
    vnr_emv_card card{};
    EXPECT_EQ(vnr_emv_read(icdev, 1, &card), VNR_EMV_E_ARGUMENT);
    EXPECT_EQ(vnr_emv_read(0, 0, &card), VNR_EMV_E_BAD_HANDLE);
    EXPECT_EQ(vnr_emv_read(icdev, 0, nullptr), VNR_EMV_E_ARGUMENT);
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(vnr_emv_card_size(), 240u);
    EXPECT_STRNE(vnr_emv_result_text(VNR_EMV_E_GPO), vnr_emv_result_text(12345));
}

}  // namespace
