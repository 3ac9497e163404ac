// The tag walk as a table: primitive and constructed tags, multi-byte tags and lengths, the status word
// as a last element, and truncated or hostile data that must be refused without reading past it. The
// directories' FCI (6F A5 BF0C 61 4F) and 5F20 behind 57 are walked in the bank and EMV reads of the decks.
#include "bank/bank.h"
#include "bank/tlv.h"
#include "vnrsim/deck_json.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using vnr::bank::TagMatch;

std::vector<std::uint8_t> bytes(const std::string& hex) { return vnrsim::parse_hex(hex); }
std::string nested(int levels, const std::string& inner) {  // `levels` E1 templates around `inner`
    std::string out = inner;
    for (int i = 0; i < levels; ++i) {
        char head[8];
        std::snprintf(head, sizeof head, "E1%02X", static_cast<unsigned>(out.size() / 2));
        out = head + out;
    }
    return out;
}

struct Walk { const char* what; std::string data, tag; std::optional<std::string> value; TagMatch match = TagMatch::leading; };
const Walk kWalks[] = {
    {"primitive at the top", "5A0362179957020102", "57", "0102"},
    {"a constructed tag wanted gives its whole value", "6F08A506880101870101", "A5", "880101870101"},
    {"depth first: inside the template before what follows", "70035701AA5701BB", "57", "AA"},
    {"three-byte tag", "DF81170101DF811802BEEF", "DF8118", "BEEF"},
    {"long length 81", "5781" "81" + std::string(0x81 * 2, 'C'), "57", std::string(0x81 * 2, 'C')},
    {"long length 82", "578200020102", "57", "0102"},
    {"the status word is a last short element", "7003570101" "9000", "90", ""},
    {"only a status word", "9000", "57", std::nullopt},
    {"6A83 reads as a length past the data", "6A83", "6A", std::nullopt},
    {"a value past the data is refused", "570501020304", "57", std::nullopt},
    {"a template past the data is not searched", "700857020102", "57", std::nullopt},
    {"a tag that runs off the end", "5F", "5F20", std::nullopt},
    {"a length of four bytes is refused", "57840000000101", "57", std::nullopt},
    {"nesting at the depth limit is searched", nested(8, "570101"), "57", "01"},
    {"nesting beyond the limit is walked over", nested(9, "570101"), "57", std::nullopt},
    {"leading bytes: 5F matches 5F2D", "5F2D027A68", "5F", "7A68"},
    {"exact: 5F does not match 5F2D", "5F2D027A68", "5F", std::nullopt, TagMatch::exact},
    {"empty data", "", "57", std::nullopt},
};

TEST(TagWalk, Table) {
    for (const Walk& w : kWalks) {
        const auto data = bytes(w.data), tag = bytes(w.tag);
        const auto found = vnr::bank::find_tlv(data, tag, w.match);
        ASSERT_EQ(found.has_value(), w.value.has_value()) << w.what;
        if (found) {
            EXPECT_EQ(std::vector<std::uint8_t>(found->begin(), found->end()), bytes(*w.value)) << w.what;
        }
    }
}

TEST(TagWalk, FindTagKeepsToItsRoom) {
    const auto data = bytes("5705" "0102030405");
    const std::uint8_t tag[] = {0x57};
    std::uint8_t room[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    std::uint16_t length = 0xEEEE;
    EXPECT_EQ(vnr::bank::find_tag(data.data(), data.size(), tag, 1, room, &length), 1);
    EXPECT_EQ(room[0], 0xEE);
    EXPECT_EQ(length, 0xEEEE);
    std::uint8_t enough[5] = {};
    EXPECT_EQ(vnr::bank::find_tag(data.data(), data.size(), tag, 1, enough, &length), 0);
    EXPECT_EQ(length, 5);
    char text[11] = {};
    EXPECT_EQ(vnr::bank::find_tag_hex("57050102030405", "57", std::span<char>(text, 10)), -1);  // 10 digits and a zero
    EXPECT_EQ(vnr::bank::find_tag_hex("57050102030405", "57", text), 0);
    EXPECT_STREQ(text, "0102030405");
    EXPECT_EQ(vnr::bank::find_tag_hex(std::string(4098, '0').c_str(), "57", text), -1);  // longer than 4096 digits
}

}  // namespace
