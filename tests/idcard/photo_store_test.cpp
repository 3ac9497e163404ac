// The photo store: folder and name settings and their checks, the save with the decoder's statuses,
// decoding a .wlt file, deleting the last read's files, Base64 files; the log tells refusals apart.
#include "idcard/idcard_support.h"

namespace {

using namespace idtest;

using PhotoStore = IdCardSession;
using LoggedPhotoStore = LoggedSession;

// Saves a photo under the set folder and name and tells where the last photo file is now.
std::string stored_as(const char* copy_to = "c:\\copy.bmp") {
    const Bytes wlt = photo();
    EXPECT_EQ(IDCard_PhotoSave_Ex(wlt.data(), static_cast<int32_t>(wlt.size()), copy_to), 0);
    char file[260] = {};
    IDCard_GetPhotoFile(file);
    return file;
}

TEST_F(LoggedPhotoStore, SetPhotoPathChecksLengthThenComponentsAndKeepsTheOldFolderOnRefusal) {
    const std::string a244(244, 'a');
    const std::string native = (prefix.root() / "native dir").string();
    struct Case { std::string path; int16_t status; std::string stored; const char* message; };
    std::vector<Case> cases{
        {"C:\\" + a244 + "aa\\", -37, "", "设置路径太长"},  // 250 bytes
        {"C:\\" + a244 + "a", -37, "", "设置路径太长"},     // 248, and 249 with its '\'
        {"C:\\" + a244, 0, "C:\\" + a244 + "\\", nullptr},  // 247, stored with its '\'
        {"C:\\" + a244 + "aaaa", -37, "", "路径长度不对"},  // 251
        {"", -37, "", "路径长度不对"},
        {"C:\\my photos", 0, "C:\\my photos\\", nullptr},
        {"C:\\a|b\\", 0, "C:\\a|b\\", nullptr},
        {"C:\\a\\\\b", 0, "C:\\a\\\\b\\", nullptr},
        {"C:", 0, "C:\\", nullptr},
        {"ab\\x", 0, "ab\\x\\", nullptr},
        {native, 0, "", nullptr},
    };
    for (const char* bad : {"C:\\ photos", "C:\\a*b", "C:\\a\"b", "C:\\a:b", "C:\\a/b", "1:\\x", "C\\x", "CDE\\x"})
        cases.push_back({bad, -1, "", "路径不满足要求"});
    cases.push_back({native + "/ lead", -1, "", "路径不满足要求"});
    for (const auto& c : cases) {
        ASSERT_EQ(IDCard_SetPhotoPath("C:\\base\\"), 0);
        EXPECT_EQ(IDCard_SetPhotoPath(c.path.c_str()), c.status) << c.path;
        const std::string expected = c.status == 0 ? c.stored : "C:\\base\\";
        if (!expected.empty()) {
            EXPECT_EQ(stored_as(), expected + "zp.bmp") << c.path;
        }
        if (c.message) expect_logged({std::string("==> IDCard_SetPhotoPath() 设置身份证照片路径失败，") + c.message});
    }
    ASSERT_EQ(IDCard_SetPhotoPath(native.c_str()), 0);
    stored_as();
    EXPECT_TRUE(fs::exists(prefix.root() / "native dir" / "zp.bmp"));
    EXPECT_TRUE(lock_is_free());
}

TEST_F(LoggedPhotoStore, SetPhotoNameRefusesByLengthLeadingSpaceAndTheEarliestBadByte) {
    struct Case { std::string name; int16_t status; std::string message; };
    std::vector<Case> cases{{"", -1, "长度不对"}, {std::string(251, 'n'), -1, "长度不对"},
                            {std::string(1000, 'n'), -1, "长度不对"}, {" a", -1, "路径中包含了空格"},
                            {"a?b*c", -1, "路径中包含了?字符"}, {"a*b?c", -1, "路径中包含了*字符"},
                            {"a b", 0, ""}, {std::string(250, 'n'), 0, ""}};
    for (const char* bad : {":", "\\", "\"", "/", "<", ">", "|"})
        cases.push_back({std::string("a") + bad + "b", -1, std::string("路径中包含了") + bad + "字符"});
    for (const auto& c : cases) {
        ASSERT_EQ(IDCard_SetPhotoName("keep"), 0);
        EXPECT_EQ(IDCard_SetPhotoName(c.name.c_str()), c.status) << c.name;
        if (c.status != 0) {
            EXPECT_EQ(stored_as(), "c:\\keep.bmp") << c.name;
            expect_logged({"==> IDCard_SetPhotoName() 设置全路径照片文件名失败，" + c.message});
        } else {
            EXPECT_EQ(stored_as(), "c:\\" + c.name + ".bmp");
        }
    }
    EXPECT_TRUE(lock_is_free());
}

TEST_F(PhotoStore, FolderAndNameTogetherMustLeaveRoomForAnExtension) {
    const std::string folder248 = "C:\\" + std::string(244, 'f') + "\\";
    ASSERT_EQ(IDCard_SetPhotoPath(folder248.c_str()), 0);
    EXPECT_EQ(IDCard_SetPhotoName("n234567"), 0);  // 248 + 7 + ".bmp" = 259
    EXPECT_EQ(IDCard_SetPhotoName("n2345678"), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(stored_as(), folder248 + "n234567.bmp");
    ASSERT_EQ(IDCard_SetPhotoPath("C:\\s\\"), 0);
    ASSERT_EQ(IDCard_SetPhotoName("n2345678"), 0);
    EXPECT_EQ(IDCard_SetPhotoPath(folder248.c_str()), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(stored_as(), "C:\\s\\n2345678.bmp");
}

TEST_F(PhotoStore, SaveCopiesTheBitmapAndABitmapLeftFromBeforeCountsAsSuccess) {
    fs::create_directories(drive('c') / "copies");
    const Bytes wlt = photo();
    ASSERT_EQ(IDCard_PhotoSave_Ex(wlt.data(), 1024, "C:\\copies\\c.bmp"), 0);
    const std::string bitmap = read_file(drive('c') / "zp.bmp");
    EXPECT_EQ(bitmap.substr(0, 2), "BM");
    EXPECT_EQ(read_file(drive('c') / "copies" / "c.bmp"), bitmap);
    ASSERT_EQ(IDCard_PhotoSave_Ex(wlt.data(), 1024, "c:\\zp.bmp"), 0);  // a copy onto itself changes nothing
    EXPECT_EQ(read_file(drive('c') / "zp.bmp"), bitmap);
    const fs::path native = prefix.root() / "native.bmp";
    ASSERT_EQ(IDCard_PhotoSave_Ex(wlt.data(), 1024, native.c_str()), 0);
    EXPECT_EQ(read_file(native), bitmap);

    const Bytes failing = photo("GetBmp: status=-1");
    EXPECT_EQ(IDCard_PhotoSave_Ex(failing.data(), 1024, "C:\\copies\\d.bmp"), 0);
    EXPECT_EQ(read_file(drive('c') / "zp.wlt"), text_of(failing));

    ASSERT_EQ(IDCard_SetPhotoPath(gbk("C:\\照片").c_str()), 0);
    ASSERT_EQ(IDCard_SetPhotoName("new"), 0);
    EXPECT_EQ(IDCard_PhotoSave_Ex(failing.data(), 1024, "C:\\copies\\e.bmp"), VNR_E_PHOTO_DECODE);
    EXPECT_EQ(read_file(drive('c') / "照片" / "new.wlt"), text_of(failing)) << "the .wlt stays";
    EXPECT_EQ(photo_file(), "c:\\zp.bmp") << "a failed save leaves the last photo file";
    ASSERT_FALSE(decoder_calls().empty());
    EXPECT_TRUE(decoder_calls().back().starts_with("2 ")) << decoder_calls().back();
    EXPECT_TRUE(decoder_calls().back().ends_with("照片/new.wlt")) << decoder_calls().back();
}

TEST_F(PhotoStore, SaveRefusesANegativeLengthAndAMissingPhoto) {
    const Bytes wlt = photo();
    EXPECT_EQ(IDCard_PhotoSave_Ex(wlt.data(), -1, "c:\\x.bmp"), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(IDCard_PhotoSave_Ex(nullptr, 10, "c:\\x.bmp"), VNR_E_BAD_ARGUMENT);
    EXPECT_FALSE(fs::exists(drive('c') / "zp.wlt"));
    EXPECT_TRUE(decoder_calls().empty());
    EXPECT_TRUE(lock_is_free());
}

TEST_F(LoggedPhotoStore, WltToBmpChecksInOrderAndDecodesBesideTheFile) {
    write_file(drive('c') / "w" / "a.txt", "plain");
    write_file(drive('c') / "w" / "x.wlt.txt", "WLT");
    write_file(drive('c') / "w" / "bad.wlt", "GetBmp: status=-1\n");
    write_file(prefix.root() / "n.wlt", "WLT");
    const std::string long_path = "C:\\w\\" + std::string(247, 'l') + ".wlt";  // 256 bytes, missing too
    const std::string native = (prefix.root() / "n.wlt").string();
    const struct { const char* path; int16_t status; const char* message; } cases[] = {
        {nullptr, -1, "wlt文件路径参数传入为空"},
        {long_path.c_str(), -1, "传入文件路径超过255字节"},
        {"C:\\w\\missing.wlt", -1, "wlt文件路径不存在"},
        {"C:\\w\\missing.txt", -1, "wlt文件路径不存在"},
        {"C:\\w\\a.txt", -1, "传入路径不是.wlt结尾的文件"},
        {"C:\\w\\bad.wlt", -3, "转码失败"},
        {"C:\\w\\x.wlt.txt", 0, "转码成功"},
        {native.c_str(), 0, "转码成功"},
    };
    for (const auto& c : cases) {
        char message[64];
        std::fill(std::begin(message), std::end(message), 'x');
        EXPECT_EQ(iWlttoBmp(c.path, message), c.status) << c.message;
        EXPECT_EQ(std::string(message, gbk(c.message).size() + 1), gbk(c.message) + '\0') << c.message;
    }
    EXPECT_TRUE(fs::exists(drive('c') / "w" / "x.wlt.bmp"));
    EXPECT_FALSE(fs::exists(drive('c') / "w" / "bad.bmp"));
    EXPECT_TRUE(fs::exists(prefix.root() / "n.bmp"));
    EXPECT_EQ(photo_file(), native.substr(0, native.size() - 4) + ".bmp");
    EXPECT_TRUE(lock_is_free());
}

TEST_F(LoggedPhotoStore, DeleteAllRemovesTheFixedFilesAndTheLastPhotoWithItsFoldersXpWlt) {
    ASSERT_EQ(IDCard_SetPhotoPath("C:\\ph"), 0);
    ASSERT_EQ(IDCard_SetPhotoName("n"), 0);
    EXPECT_EQ(stored_as("C:\\ph\\n.bmp"), "C:\\ph\\n.bmp");
    for (const char* name : {"ph/XP.wlt", "ph/other.bmp", "zp.bmp", "zp.wlt", "XP.wlt"}) write_file(drive('c') / name, "x");
    EXPECT_EQ(delete_all_photofile(), 0);
    for (const char* gone : {"ph/n.bmp", "ph/XP.wlt", "zp.bmp", "zp.wlt", "XP.wlt"})
        EXPECT_FALSE(fs::exists(drive('c') / gone)) << gone;
    for (const char* kept : {"ph/n.wlt", "ph/other.bmp"}) EXPECT_TRUE(fs::exists(drive('c') / kept)) << kept;
    EXPECT_EQ(photo_file(), "C:\\ph\\n.bmp") << "the text stays when its file is deleted";
    // The second call finds the last photo file gone, and says so only in the log.
    const std::string missing = "| " + gbk("==> delete_all_photofile()失败，照片文件路径不存在！ ") + "\n";
    EXPECT_EQ(log_text(prefix).find(missing), std::string::npos);
    EXPECT_EQ(delete_all_photofile(), 0);
    EXPECT_NE(log_text(prefix).find(missing), std::string::npos);
}

TEST_F(PhotoStore, FileAsBase64IsCutAt64KiBAndUnterminated) {
    write_file(drive('c') / "empty.bin", "");
    write_file(drive('c') / "abc.bin", "abc");
    std::string big;
    for (int i = 0; i < 21845; ++i) big += "abc";
    write_file(prefix.root() / "big.bin", big + "abcdef");  // 65541 bytes: the 65537th is a 'b'
    std::string out(90000, 'x');
    EXPECT_EQ(GetFileBase64Buffer("C:\\missing.bin", out.data()), -1);
    EXPECT_EQ(GetFileBase64Buffer("C:\\empty.bin", out.data()), -2);
    EXPECT_EQ(out.substr(0, 1), "x");
    EXPECT_EQ(GetFileBase64Buffer("c:\\abc.bin", out.data()), 5);
    EXPECT_EQ(out.substr(0, 5), "YWJjx");
    EXPECT_EQ(GetFileBase64Buffer((prefix.root() / "big.bin").c_str(), out.data()), 87385);
    std::string expected;
    for (int i = 0; i < 21845; ++i) expected += "YWJj";
    EXPECT_EQ(out.substr(0, 87385), expected + "YQ==x");
}

}  // namespace
