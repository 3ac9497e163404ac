// IDCard_ReadCard_Foreign: the card mark, every field in one '|'-separated line, the country table, the
// fingerprint as hex text, and the last resident card's record left alone.
#include "idcard/idcard_support.h"

namespace {

using namespace idtest;

using Foreign = IdCardSession;

using vnrsim::ForeignText;

// A foreign card whose English name fills its 120 bytes and whose expiry is long-term.
ForeignText foreigner() {
    return {"ABCDEFGHIJKLMNOPQRSTUVWXYZABCDEFGHIJKLMNOPQRSTUVWXYZ01234567", "1", "USA110012345678", "USA", "张三",
            "20200101", "长期", "19800101", "01", "1100", "I", ""};
}

// The line of a foreign card whose sex and country read as given.
std::string foreign_line(const ForeignText& f, const std::string& sex, const std::string& country,
                         const std::string& hex = "") {
    return gbk(f.english_name + "|" + sex + "|" + f.card_number + "|" + country + "|" + f.chinese_name + "|" +
               f.valid_from + "|" + f.valid_expiry + "|" + f.birthday + "|" + f.card_version + "|" + f.authority_code +
               "|" + f.card_mark + "|" + f.reserve + "|" + hex + "|");
}

Reply foreign_reply(const ForeignText& f) {
    Reply r;
    r.text = block(f);
    return r;
}

struct Result { int16_t status; uint32_t is_foreign; std::string line; };

Result read_foreign(int32_t icdev, const char* file, int32_t with_fingerprint) {
    Result r{0, 77, std::string(3200, 'x')};
    r.status = IDCard_ReadCard_Foreign(icdev, file, &r.is_foreign, r.line.data(), with_fingerprint);
    const std::size_t end = r.line.find('\0');
    if (end != std::string::npos) r.line.resize(end);
    return r;
}

TEST_F(Foreign, SexAndCountryTables) {
    // The country table's first and last rows, a code matched in its case, one not found, a short one.
    const struct { const char* sex; const char* sex_text; const char* code; const char* country; } cases[] = {
        {"0", "未知", "AFG", "阿富汗/AFG"},   {"2", "女/F", "ZWE", "津巴布韦/ZWE"},
        {"9", "未说明", "STp", "圣多美和普林西比/STp"}, {"5", " ", "STP", "STP"},
        {"1", "男/M", "US", "US "},  // one padding space stays
    };
    for (const auto& c : cases) {
        ForeignText f = foreigner();
        f.sex = c.sex;
        f.country_code = c.code;
        answer({0x32, 0x50}, foreign_reply(f).bytes());
        const Result r = read_foreign(icdev, "C:\\f\\p.bmp", 0);
        EXPECT_EQ(r.status, 0) << c.code;
        EXPECT_EQ(r.is_foreign, 1u);
        // The English name fills its 120 bytes; the long-term expiry is trimmed, not cut to 8 bytes.
        EXPECT_EQ(r.line, foreign_line(f, c.sex_text, c.country)) << c.code;
    }
}

TEST_F(Foreign, ResidentCardGivesElevenFieldsAndTheMarkDecides) {
    const auto card = resident();
    answer({0x32, 0x50}, Reply{}.bytes());
    Result r = read_foreign(icdev, "C:\\f\\p.bmp", 0);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.is_foreign, 0u);
    EXPECT_EQ(r.line, gbk(card.name + "|男|汉|" + card.birthday + "|" + card.address + "|" + card.id_number + "|" +
                          card.issue_department + "|" + card.valid_from + "|" + card.valid_expiry + "|||"));
    auto marked = resident();
    marked.reserve = "ABCDEFGHIJKLMNXP";  // the mark's place holds X
    Reply reply;
    reply.text = block(marked);
    answer({0x32, 0x50}, reply.bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 0).is_foreign, 0u);
    marked.reserve = "ABCDEFGHIJKLMNIP";  // and now I
    reply.text = block(marked);
    answer({0x32, 0x50}, reply.bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 0).is_foreign, 1u);
}

TEST_F(Foreign, FingerprintDataEndsTheLineAsHexadecimalText) {
    const ForeignText f = foreigner();
    Reply r = foreign_reply(f);
    r.fingerprint = Bytes{0x0A, 0xFF, 0x00, 0x12};
    r.fingerprint->resize(1024, 0x77);
    r.fingerprint_len = 4;
    answer({0xD0, 0x07}, r.bytes());
    Result got = read_foreign(icdev, "C:\\f\\p.bmp", 1);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.line, foreign_line(f, "男/M", "美国/USA", "0AFF0012"));
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0xD0, 0x07}}));

    r.fingerprint_len = 0;
    answer({0xD0, 0x07}, r.bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 1).line, foreign_line(f, "男/M", "美国/USA"));

    // All 1024 bytes as hex are read in the deck's foreign card (DeckCardOnEachLink); one more is refused.
    r.fingerprint = Bytes(1100, 0xAB);
    r.fingerprint_len = 1025;
    answer({0xD0, 0x07}, r.bytes());
    got = read_foreign(icdev, "C:\\f\\p.bmp", 1);
    EXPECT_EQ(got.status, VNR_E_END_BYTE);
    EXPECT_EQ(got.line.substr(0, 4), "xxxx");

    reader.clear_history();
    answer({0x32, 0x50}, foreign_reply(f).bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 2).status, 0);
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0x32, 0x50}})) << "only 1 asks for fingerprint data";
}

TEST_F(Foreign, FailuresLeaveTheLineAndTellByStatusOnly) {
    answer({0x32, 0x50}, foreign_reply(foreigner()).bytes());
    Result r = read_foreign(icdev, "", 0);
    EXPECT_EQ(r.status, VNR_E_PHOTO_PATH);
    EXPECT_EQ(r.is_foreign, 1u) << "set before the photo is saved";
    EXPECT_EQ(r.line.substr(0, 4), "xxxx");
    EXPECT_EQ(read_foreign(icdev, nullptr, 0).status, VNR_E_PHOTO_PATH);

    answer({0x32, 0x50}, triple(0x00, 0x00, 0x80));
    r = read_foreign(icdev, "C:\\f\\p.bmp", 0);
    EXPECT_EQ(r.status, VNR_E_CARD_STATUS);
    EXPECT_EQ(r.is_foreign, 77u);
    EXPECT_EQ(r.line.substr(0, 4), "xxxx");

    write_file(drive('c') / "zp.bmp", "old");
    reader.clear_history();
    const std::string p255 = "C:\\" + std::string(246, 'd') + "\\p.bmp";
    EXPECT_EQ(read_foreign(0, p255.c_str(), 1).status, -1);
    EXPECT_TRUE(fs::exists(drive('c') / "zp.bmp")) << "refused before the files are deleted";
    EXPECT_EQ(read_foreign(0, "C:\\f\\p.bmp", 1).status, VNR_E_HANDLE_EXCHANGE);
    EXPECT_FALSE(fs::exists(drive('c') / "zp.bmp"));
    EXPECT_EQ(read_foreign(0, "C:\\f\\p.bmp", 0).status, VNR_E_BAD_HANDLE);
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(lock_is_free());
}

}  // namespace
