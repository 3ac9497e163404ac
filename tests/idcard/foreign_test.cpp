// IDCard_ReadCard_Foreign: the card mark tells the two kinds apart, every field of either kind goes
// into one '|'-separated line, the country code is looked up in the country table, fingerprint data
// ends the line as hexadecimal text, and nothing of the last resident card read is touched.
#include "idcard/idcard_support.h"

namespace {

using namespace idtest;

using Foreign = IdCardSession;

struct Foreigner {
    std::string english = "ABCDEFGHIJKLMNOPQRSTUVWXYZABCDEFGHIJKLMNOPQRSTUVWXYZ01234567";  // 60, fills 120 bytes
    std::string sex = "1";
    std::string number = "USA110012345678";
    std::string country = "USA";
    std::string chinese = "张三";
    std::string from = "20200101", to = "长期", birthday = "19800101";
    std::string version = "01", authority = "1100", mark = "I", reserve;
};

Bytes foreign_block(const Foreigner& f) {
    return cat({field(f.english, 120), field(f.sex, 2), field(f.number, 30), field(f.country, 6), field(f.chinese, 30),
                field(f.from, 16), field(f.to, 16), field(f.birthday, 16), field(f.version, 4), field(f.authority, 8),
                field(f.mark, 2), field(f.reserve, 6)});
}

// The line of a foreign card whose sex and country read as given.
std::string foreign_line(const Foreigner& f, const std::string& sex, const std::string& country,
                         const std::string& hex = "") {
    return gbk(f.english + "|" + sex + "|" + f.number + "|" + country + "|" + f.chinese + "|" + f.from + "|" + f.to +
               "|" + f.birthday + "|" + f.version + "|" + f.authority + "|" + f.mark + "|" + f.reserve + "|" + hex +
               "|");
}

Reply foreign_reply(const Foreigner& f) {
    Reply r;
    r.text = foreign_block(f);
    return r;
}

struct Result {
    int16_t status;
    uint32_t is_foreign;
    std::string line;
};

Result read_foreign(int32_t icdev, const char* file, int32_t with_fingerprint) {
    Result r{0, 77, std::string(3200, 'x')};
    r.status = IDCard_ReadCard_Foreign(icdev, file, &r.is_foreign, r.line.data(), with_fingerprint);
    const std::size_t end = r.line.find('\0');
    if (end != std::string::npos) r.line.resize(end);
    return r;
}

TEST_F(Foreign, ForeignCardGivesThirteenFieldsAndLeavesTheRecordAlone) {
    answer({0x32, 0x50}, Reply{}.bytes());
    char errtext[32];
    ASSERT_EQ(IDCard_ReadCard_Extra(icdev, "C:\\r\\resident.bmp", errtext), 0);
    const Foreigner f;
    answer({0x32, 0x50}, foreign_reply(f).bytes());
    const Result r = read_foreign(icdev, "C:\\f\\p.bmp", 0);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.is_foreign, 1u);
    EXPECT_EQ(r.line, foreign_line(f, "男/M", "美国/USA")) << "dates are trimmed, not cut to 8 bytes";
    EXPECT_TRUE(fs::exists(drive('c') / "f" / "p.bmp"));
    EXPECT_EQ(sent().back(), Bytes({0x32, 0x50}));
    EXPECT_EQ(info(0, 30), padded(gbk("张三丰"), 30));
    EXPECT_EQ(photo_file(), "resident.bmp");
}

TEST_F(Foreign, SexAndCountryTables) {
    const struct { const char* sex; const char* sex_text; const char* code; const char* country; } cases[] = {
        {"0", "未知", "AFG", "阿富汗/AFG"},          {"1", "男/M", "ZWE", "津巴布韦/ZWE"},
        {"2", "女/F", "CRI", "哥斯达黎加/CRI"},      {"9", "未说明", "STp", "圣多美和普林西比/STp"},
        {"5", " ", "STP", "STP"},                   {" ", " ", "XYZ", "XYZ"},
        {"1", "男/M", "usa", "usa"},                {"1", "男/M", "US", "US "},  // one padding space stays
        {"1", "男/M", "SGS", "南乔治亚岛和南桑德韦奇岛/SGS"}, {"1", "男/M", "COG", "刚果（布）/COG"},
        {"1", "男/M", "CCK", "科科斯(基林)群岛/CCK"}, {"1", "男/M", "CSR", "圣诞岛/CSR"},
        {"1", "男/M", "ROM", "罗马尼亚/ROM"},
    };
    for (const auto& c : cases) {
        Foreigner f;
        f.sex = c.sex;
        f.country = c.code;
        answer({0x32, 0x50}, foreign_reply(f).bytes());
        const Result r = read_foreign(icdev, "C:\\f\\p.bmp", 0);
        EXPECT_EQ(r.status, 0) << c.code;
        EXPECT_EQ(r.line, foreign_line(f, c.sex_text, c.country)) << c.code;
    }
}

TEST_F(Foreign, ResidentCardGivesElevenFieldsAndTheMarkDecides) {
    const Card card;
    answer({0x32, 0x50}, Reply{}.bytes());
    Result r = read_foreign(icdev, "C:\\f\\p.bmp", 0);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.is_foreign, 0u);
    EXPECT_EQ(r.line, gbk(card.name + "|男|汉|" + card.birthday + "|" + card.address + "|" + card.id_number + "|" +
                          card.department + "|" + card.valid_from + "|" + card.valid_to + "|||"));
    Card marked;
    marked.reserve = "ABCDEFGHIJKLMNXP";  // the mark's place holds X
    Reply reply;
    reply.text = text_block(marked);
    answer({0x32, 0x50}, reply.bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 0).is_foreign, 0u);
    marked.reserve = "ABCDEFGHIJKLMNIP";  // and now I
    reply.text = text_block(marked);
    answer({0x32, 0x50}, reply.bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 0).is_foreign, 1u);
}

TEST_F(Foreign, FingerprintDataEndsTheLineAsHexadecimalText) {
    const Foreigner f;
    Reply r = foreign_reply(f);
    r.fingerprint = cat({{0x0A, 0xFF, 0x00, 0x12}, Bytes(1020, 0x77)});
    r.fingerprint_len = 4;
    answer({0xD0, 0x07}, r.bytes());
    Result got = read_foreign(icdev, "C:\\f\\p.bmp", 1);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.line, foreign_line(f, "男/M", "美国/USA", "0AFF0012"));
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0xD0, 0x07}}));

    r.fingerprint_len = 0;
    answer({0xD0, 0x07}, r.bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 1).line, foreign_line(f, "男/M", "美国/USA"));

    Reply resident;
    resident.fingerprint = Bytes(1024, 0xAB);
    resident.fingerprint_len = 1024;
    answer({0xD0, 0x07}, resident.bytes());
    got = read_foreign(icdev, "C:\\f\\p.bmp", 1);
    EXPECT_EQ(got.status, 0);
    std::string hex;
    for (int i = 0; i < 1024; ++i) hex += "AB";
    EXPECT_TRUE(got.line.ends_with("|" + hex + "|")) << got.line.size();

    resident.fingerprint = Bytes(1100, 0xAB);
    resident.fingerprint_len = 1025;
    answer({0xD0, 0x07}, resident.bytes());
    got = read_foreign(icdev, "C:\\f\\p.bmp", 1);
    EXPECT_EQ(got.status, VNR_E_END_BYTE);
    EXPECT_EQ(got.line.substr(0, 4), "xxxx");

    reader.clear_history();
    answer({0x32, 0x50}, foreign_reply(f).bytes());
    EXPECT_EQ(read_foreign(icdev, "C:\\f\\p.bmp", 2).status, 0);
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0x32, 0x50}})) << "only 1 asks for fingerprint data";
}

TEST_F(Foreign, FailuresLeaveTheLineAndTellByStatusOnly) {
    answer({0x32, 0x50}, foreign_reply(Foreigner{}).bytes());
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
