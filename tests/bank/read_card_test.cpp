// iReadICCardNoAndName's two ways end to end on decks/bank/pboc.json, contact and contactless, on both
// links: the result, the three buffers, and the APDUs the reader was given.
#include "bank/bank.h"
#include "models/contact/contact_model.h"
#include "models/contactless/contactless_model.h"
#include "platform/clock.h"
#include "support/sim_session.h"

#include <cstdio>
#include <cstring>

namespace {

using vnr::test::Bytes;
using vnr::test::gbk;

enum class Way { both, records, gpo };

const std::string PSE = "00A404000E315041592E5359532E4444463031", PPSE = "00A404000E325041592E5359532E4444463031",
                  AID1 = "00A4040008A000000333010101", AID2 = "00A4040008A000000333010102", REC1 = "00B2010C00",
                  REC2 = "00B2020C00", GPO3 = "80A8000010830EB000000000000000000011223344";
const std::string kDone = "成功获取到数据";

std::string today() {
    const auto now = vnr::platform::local_time();
    char text[8];
    std::snprintf(text, sizeof text, "%02d%02d%02d", now.year % 100, now.month, now.day);
    return text;
}

struct Road {
    const char* card;  // a contact card for slot 0, or "quickpass" in the field; nullptr: none
    std::int32_t type;
    Way way;
    std::int32_t result;
    const char *card_no, *name;
    std::string message;
    std::vector<std::string> apdus;  // none: not looked at
    std::size_t activations = 0;     // power-ups or activations; 0: not looked at
};
const std::vector<Road>& roads() {
    static const std::vector<Road> table = {
        {"debit", 0, Way::both, 0, "6217990000000012340", "SAMPLE/LI HUA", kDone,
         {PSE, "00C000001E", REC1, "00C0000021", AID1, "00C0000030", "00C000000C", REC1, "00C000002F"}, 1},
        {"nopse", 0, Way::both, 0, "6225880000000056780", "SAMPLE/ZHAO YUN", kDone,
         {PSE, PSE, AID1, AID2, AID2, "80A80000148312B00000000000000000001122334401560156", REC1, "00B2010C0D", REC2,
          "00B2020C29"}, 2},
        {"rec6a83", 0, Way::both, 0, "6217990000111122228", "SAMPLE/SUN LI", kDone,
         {PSE, REC1, AID1, REC1, PSE, REC1, AID1, GPO3, "00B2011400"}, 2},
        {"rec6a83", 0, Way::records, -1, "", "", "读读取IC卡信息57/5F20标签值", {}},
        {"noname", 0, Way::both, 0, "6217000000000009872", "", kDone,
         {PSE, REC1, AID1, REC1, REC2, PSE, REC1, AID1, "80A800000A8308B000000011223344", REC1}, 2},
        {"trackf", 0, Way::both, 0, "6217995555000077770F", "SAMPLE/QIAN", kDone, {PSE, REC1, AID1, REC1}, 1},
        {"trackf", 0, Way::gpo, 0, "6217995555000077770", "SAMPLE/QIAN", kDone, {PSE, REC1, AID1, "80A800000A8308B000000011223344", REC1}},
        {"endless", 0, Way::both, -1, "", "", "卡片选择金融支付系统失败", {}, 2},
        {"quickpass", 255, Way::both, 0, "622588000033334443", "SAMPLE/ZHOU", kDone,
         {PSE, PPSE, AID1, "80A80000228320B0000000" + std::string(24, '0') + "0156" "0000048800" "0156" + today() + "11223344", "00B2011400"}, 2},
        {"debit", 1, Way::both, -1, "", "", "卡片上电失败，无卡或者卡插反或者卡片不是接触式CPU卡", {}},
        {nullptr, 0, Way::both, -1, "", "", "卡片上电失败，无卡或者卡插反或者卡片不是接触式CPU卡", {}},
        {nullptr, 255, Way::both, -1, "", "", "寻非接CPU卡失败", {}},
    };
    return table;
}

class ReadCard : public vnr::test::SimSessionBase, public ::testing::WithParamInterface<vnr::test::Link> {
protected:
    ReadCard() : SimSessionBase(vnrsim::Deck::load(VNR_TEST_DECKS "/bank/pboc.json")) {}
    void SetUp() override { open_on(GetParam()); }
    // Only `card` lies in the slot or in the field.
    void present(const char* card) {
        const bool in_field = card && std::strcmp(card, "quickpass") == 0;
        {
            auto contact = reader.model<vnrsim::ContactModel>();  // holds the reader's lock in this scope
            if (contact->card_present(0)) contact->remove(0);
            if (card && !in_field) contact->insert(0, card);
        }
        auto field = reader.model<vnrsim::ContactlessModel>();
        for (const std::string& name : field->in_field()) field->take(name);
        if (in_field) field->put(card);
    }
    std::vector<std::string> apdus(std::size_t& activations) const {
        std::vector<std::string> out;
        char two[3];
        for (const Bytes& c : sent()) {
            activations += c.size() > 1 && c[0] == 0x32 && (c[1] == 0x22 || c[1] == 0x24);
            if (c.size() < 4 || c[0] != 0x32 || c[1] != 0x26) continue;
            out.emplace_back();
            for (std::size_t i = 3; i < c.size(); ++i) std::snprintf(two, sizeof two, "%02X", c[i]), out.back() += two;
        }
        return out;
    }
};

TEST_P(ReadCard, EachCardEachWay) {
    for (const Road& r : roads()) {
        const std::string what = std::string(r.card ? r.card : "no card") + " way " + std::to_string(static_cast<int>(r.way));
        present(r.card);
        reader.clear_history();
        char card_no[vnr::bank::kCardNoRoom] = {}, name[vnr::bank::kHolderNameRoom] = {}, message[vnr::bank::kMessageRoom] = {};
        const std::int32_t result = r.way == Way::both    ? iReadICCardNoAndName(icdev, r.type, card_no, name, message)
                                    : r.way == Way::records ? vnr::bank::read_card_by_records(icdev, r.type, card_no, name, message)
                                                            : vnr::bank::read_card_by_gpo(icdev, r.type, card_no, name, message);
        EXPECT_EQ(result, r.result) << what;
        EXPECT_STREQ(message, gbk(r.message).c_str()) << what;
        if (r.result == 0) {
            EXPECT_STREQ(card_no, r.card_no) << what;
            EXPECT_STREQ(name, r.name) << what;
        }
        std::size_t activations = 0;
        const auto sent_apdus = apdus(activations);
        if (!r.apdus.empty()) {
            EXPECT_EQ(sent_apdus, r.apdus) << what;
        }
        if (r.activations != 0) {
            EXPECT_EQ(activations, r.activations) << what;
        }
        if (r.type == 1) {
            EXPECT_TRUE(sent().empty()) << what;
        }
        if (std::strcmp(r.card ? r.card : "", "endless") == 0) {
            EXPECT_EQ(sent_apdus.size(), 2u * (1 + vnr::bank::kMaxFollowUps)) << what;
        }
    }
}

TEST_P(ReadCard, NoReaderHandle) {
    char card_no[40] = {}, name[64] = {}, message[52] = {};
    EXPECT_EQ(iReadICCardNoAndName(0, 0, card_no, name, message), -1);
    EXPECT_STREQ(message, gbk("连接机具失败").c_str());
    EXPECT_EQ(iReadICCardNoAndName(icdev, 0, card_no, nullptr, message), -1);
    EXPECT_TRUE(sent().empty());
}

INSTANTIATE_TEST_SUITE_P(Links, ReadCard, ::testing::Values(vnr::test::Link::serial, vnr::test::Link::hid), vnr::test::link_name);

}  // namespace
