// The field converters and IDCard_GetCardInfo: GBK conversion with its capacity, trimming at the
// first double space, the sex and nation tables at their edges, the bytes behind what is written,
// the refused field numbers, and the state as loaded.
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

Bytes padded_wide(std::string_view utf8, std::size_t width) { return cat({field(utf8, width), {0, 0}}); }

void expect_conversion(const ConvertCase& c) {
    std::string out(120, static_cast<char>(0xEE));
    EXPECT_EQ(c.convert(c.input.data(), out.data()), c.status) << c.what;
    EXPECT_EQ(out.substr(0, c.written.size()), c.written) << c.what;
    EXPECT_EQ(static_cast<uint8_t>(out[c.written.size()]), 0xEE) << c.what << ": wrote past its text";
}

TEST(Converters, TextFieldsAreTrimmedAtTheFirstDoubleSpaceAndCutAtTheirCapacity) {
    const std::string fifteen = "欧阳娜娜欧阳娜娜欧阳娜娜欧阳娜";
    const ConvertCase cases[] = {
        {"short name", IDCard_Name, padded_wide("张三", 30), gbk("张三")},
        {"fifteen characters fill 30 bytes", IDCard_Name, padded_wide(fifteen, 30), gbk(fifteen)},
        {"a space inside survives", IDCard_Name, padded_wide("Li Lei", 30), "Li Lei"},
        {"no double space: all 30 bytes", IDCard_Name, wide("ABCDEFGHIJKLMN "), z("ABCDEFGHIJKLMN ", 30)},
        {"too long: cut on a character", IDCard_Name, wide("a" + fifteen), z(gbk("a欧阳娜娜欧阳娜娜欧阳娜娜欧阳"), 30)},
        {"characters GBK lacks", IDCard_Name, padded_wide("A\u0E01\U0001F600B", 30), "A??B"},
        {"unpaired surrogate", IDCard_Name, {0x41, 0, 0x00, 0xD8, 0x42, 0, 0x20, 0, 0x20, 0, 0, 0}, "A?B"},
        {"empty name", IDCard_Name, padded_wide("", 30), ""},
        {"address of 35 characters", IDCard_Address, padded_wide(fifteen + fifteen + "欧阳娜娜欧", 70),
         gbk(fifteen + fifteen + "欧阳娜娜欧")},
        {"address with a space", IDCard_Address, padded_wide("北京市 东城区", 70), gbk("北京市 东城区")},
        {"department", IDCard_IssueDepartment, padded_wide("北京市公安局", 30), gbk("北京市公安局")},
        {"reserve of spaces", IDCard_Reserve, padded_wide("", 36), ""},
        {"reserve", IDCard_Reserve, padded_wide("R1", 36), "R1"},
        {"birthday: first 8 bytes", IDCard_Birthday, padded_wide("19800101", 16), "19800101"},
        {"short birthday: 8 bytes all the same", IDCard_Birthday, wide("1980"), z("1980", 8)},
        {"valid from", IDCard_ValidFromDate, padded_wide("20200101", 16), "20200101"},
        {"long-term expiry keeps its spaces", IDCard_ValidExpiryDate, padded_wide("长期", 16), gbk("长期") + "    "},
        {"number: first 18 bytes", IDCard_IDNumber, padded_wide("11010119800101123X", 36), "11010119800101123X"},
    };
    for (const auto& c : cases) expect_conversion(c);
}

TEST(Converters, SexTableGoesByTheFirstByte) {
    const ConvertCase cases[] = {
        {"0", IDCard_Sex, padded_wide("0", 2), gbk("未知")},  {"1", IDCard_Sex, padded_wide("1", 2), gbk("男")},
        {"2", IDCard_Sex, padded_wide("2", 2), gbk("女")},    {"9", IDCard_Sex, padded_wide("9", 2), gbk("未说明")},
        {"3", IDCard_Sex, padded_wide("3", 2), " "},          {"space", IDCard_Sex, padded_wide("", 2), " "},
        {"empty", IDCard_Sex, wide(""), " "},                 {"12", IDCard_Sex, wide("12"), gbk("男")},
    };
    for (const auto& c : cases) expect_conversion(c);
}

TEST(Converters, NationTableFromOneToFiftyEightAndASpaceForAnythingElse) {
    const ConvertCase cases[] = {
        {"01", IDCard_Nation, padded_wide("01", 4), gbk("汉")}, {"29", IDCard_Nation, padded_wide("29", 4), gbk("柯尔克孜")},
        {"56", IDCard_Nation, padded_wide("56", 4), gbk("基诺")}, {"57", IDCard_Nation, padded_wide("57", 4), gbk("其他")},
        {"58", IDCard_Nation, padded_wide("58", 4), gbk("外国血统中国籍人士")},
        {"59", IDCard_Nation, padded_wide("59", 4), " "}, {"97", IDCard_Nation, padded_wide("97", 4), " "},
        {"00", IDCard_Nation, padded_wide("00", 4), " "}, {"1A reads 20", IDCard_Nation, padded_wide("1A", 4), gbk("傈僳")},
        {"FF reads 165", IDCard_Nation, padded_wide("FF", 4), " "}, {"G1", IDCard_Nation, padded_wide("G1", 4), " ", -1},
        {"one digit", IDCard_Nation, padded_wide("5", 4), " ", -1}, {"empty", IDCard_Nation, wide(""), " ", -1},
    };
    for (const auto& c : cases) expect_conversion(c);
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
        auto field = [](int number, std::size_t expected_size) {
            std::string out(1100, static_cast<char>(0xEE));
            EXPECT_EQ(IDCard_GetCardInfo(-5, number, out.data()), 0);
            EXPECT_EQ(static_cast<uint8_t>(out[expected_size]), 0xEE) << number;
            return out.substr(0, expected_size);
        };
        EXPECT_EQ(field(0, 30), std::string(30, '\0'));
        EXPECT_EQ(field(1, 1), " ");
        EXPECT_EQ(field(2, 1), " ");
        EXPECT_EQ(field(3, 8), std::string(8, '\0'));
        EXPECT_EQ(field(9, 36), std::string(36, '\0'));
        EXPECT_EQ(field(10, 260), std::string(260, '\0'));
        EXPECT_EQ(field(12, 1024), std::string(1024, '\0'));
        EXPECT_EQ(field(13, 2), std::string(2, '\0'));
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
