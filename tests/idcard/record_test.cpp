// The field converters and IDCard_GetCardInfo: GBK capacity, trimming, the sex and nation tables at their
// edges, the bytes behind what is written, refused field numbers, the state as loaded.
#include "idcard/idcard_support.h"

namespace {

using namespace idtest;

using Converter = int16_t (*)(const uint8_t*, char*);

struct ConvertCase {
    const char* what;
    Converter convert;
    Bytes input;           // UTF-16LE with its zero unit
    std::string written;   // exactly the bytes written (GBK, zeros included)
    int16_t status = 0;
};

std::string z(std::string_view gbk_text, std::size_t size) {
    std::string out(gbk_text);
    out.resize(size, '\0');
    return out;
}

// A field handed to a converter: its UTF-16LE text, padded with spaces to `width` bytes, and a zero unit.
Bytes wide(std::string_view utf8, std::size_t width = 0) {
    Bytes out = vnrsim::to_utf16le(utf8);
    while (out.size() < width) out.insert(out.end(), {0x20, 0x00});
    out.insert(out.end(), {0x00, 0x00});
    return out;
}

// Each converter once at least (its index into the record's fields), the trimming and cutting of the
// text fields, the sex and nation tables at their edges.
TEST(Converters, EachConverterWritesItsFieldExactly) {
    const std::string fifteen = "欧阳娜娜欧阳娜娜欧阳娜娜欧阳娜";
    const ConvertCase cases[] = {
        {"a unit with a zero low byte (一 is 00 4E)", IDCard_Name, wide("王一", 30), gbk("王一")},
        {"fifteen characters fill 30 bytes", IDCard_Name, wide(fifteen, 30), gbk(fifteen)},
        {"a space inside survives", IDCard_Name, wide("Li Lei", 30), "Li Lei"},
        {"no double space: all 30 bytes", IDCard_Name, wide("ABCDEFGHIJKLMN "), z("ABCDEFGHIJKLMN ", 30)},
        {"too long: cut on a character", IDCard_Name, wide("a" + fifteen), z(gbk("a欧阳娜娜欧阳娜娜欧阳娜娜欧阳"), 30)},
        {"address of 35 characters", IDCard_Address, wide(fifteen + fifteen + "欧阳娜娜欧", 70),
         gbk(fifteen + fifteen + "欧阳娜娜欧")},
        {"department", IDCard_IssueDepartment, wide("北京市公安局", 30), gbk("北京市公安局")},
        {"reserve of spaces", IDCard_Reserve, wide("", 36), ""},
        {"birthday: first 8 bytes", IDCard_Birthday, wide("19800101", 16), "19800101"},
        {"short birthday: 8 bytes all the same", IDCard_Birthday, wide("1980"), z("1980", 8)},
        {"valid from", IDCard_ValidFromDate, wide("20200101", 16), "20200101"},
        {"long-term expiry keeps its spaces", IDCard_ValidExpiryDate, wide("长期", 16), gbk("长期") + "    "},
        {"number: first 18 bytes", IDCard_IDNumber, wide("11010119800101123X", 36), "11010119800101123X"},
        {"sex 2", IDCard_Sex, wide("2", 2), gbk("女")},          {"sex 9", IDCard_Sex, wide("9", 2), gbk("未说明")},
        {"sex 3", IDCard_Sex, wide("3", 2), " "},                {"sex 12: the first byte", IDCard_Sex, wide("12"), gbk("男")},
        {"nation 01", IDCard_Nation, wide("01", 4), gbk("汉")},  {"nation 00", IDCard_Nation, wide("00", 4), " "},
        {"nation 58", IDCard_Nation, wide("58", 4), gbk("外国血统中国籍人士")},
        {"nation 59", IDCard_Nation, wide("59", 4), " "},      {"1A reads 20", IDCard_Nation, wide("1A", 4), gbk("傈僳")},
        {"G1", IDCard_Nation, wide("G1", 4), " ", -1},         {"empty", IDCard_Nation, wide(""), " ", -1},
    };
    for (const auto& c : cases) {
        std::string out(120, static_cast<char>(0xEE));
        EXPECT_EQ(c.convert(c.input.data(), out.data()), c.status) << c.what;
        EXPECT_EQ(out.substr(0, c.written.size() + 1), c.written + '\xEE') << c.what << ": wrote past its text";
    }
}

TEST(GetCardInfo, FieldsOutsideZeroToTwentyAreRefusedAndTheUnusedOnesWriteNothing) {
    vnr::test::TempPrefix prefix;
    prefix.enable_log();
    for (int field : {-1, 21, 1000, -2147483647 - 1}) {
        char out[8] = {'k', 'e', 'e', 'p'};
        EXPECT_EQ(IDCard_GetCardInfo(0, field, out), VNR_E_FIELD_INDEX) << field;
        EXPECT_EQ(std::string(out), "keep");
    }
    EXPECT_EQ(log_text(prefix).find("IDCard_GetCardInfo"), std::string::npos) << "a refusal writes no line";
    EXPECT_TRUE(lock_is_free());
    for (int field : {11, 14, 20}) {
        char out[8] = {'k', 'e', 'e', 'p'};
        EXPECT_EQ(IDCard_GetCardInfo(7, field, out), 0) << field;
        EXPECT_EQ(std::string(out), "keep");
    }
}

// The process-wide state as loaded: an empty record, no last photo file, folder c:\ and name zp.
TEST(StateAsLoaded, RecordReadsEmptyAndPhotosGoToCZp) {
    vnr::test::TempPrefix prefix;
    in_fresh_process([&] {
        const std::pair<int, std::string> loaded[] = {{0, std::string(30, '\0')}, {1, " "}, {2, " "},
                                                      {3, std::string(8, '\0')}, {10, std::string(260, '\0')},
                                                      {12, std::string(1024, '\0')}, {13, std::string(2, '\0')}};
        for (const auto& [number, expected] : loaded) {
            std::string out(1100, static_cast<char>(0xEE));
            EXPECT_EQ(IDCard_GetCardInfo(-5, number, out.data()), 0);
            EXPECT_EQ(out.substr(0, expected.size() + 1), expected + '\xEE') << number;
        }
        char file[260] = {'x'};
        IDCard_GetPhotoFile(file);
        EXPECT_EQ(std::string(file), "");
        const Bytes wlt = photo();
        EXPECT_EQ(IDCard_PhotoSave_Ex(wlt.data(), static_cast<int32_t>(wlt.size()), "c:\\zp.bmp"), 0);
        IDCard_GetPhotoFile(file);
        EXPECT_EQ(std::string(file), "c:\\zp.bmp");
        EXPECT_TRUE(fs::exists(prefix.root() / "drive_c" / "zp.wlt"));
        EXPECT_TRUE(fs::exists(prefix.root() / "drive_c" / "zp.bmp"));
    });
}

}  // namespace
