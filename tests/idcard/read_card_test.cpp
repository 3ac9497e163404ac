// The read-card family: errtext and results on each failure, the record left, photo files written and
// deleted, wz.txt, the order of the checks, and both links.
#include "idcard/idcard_support.h"
#include "models/idcard/idcard_module.h"

#include "wlt/codec.h"

#include <functional>

namespace {

using namespace idtest;
using vnr::test::Link;

using ReadCard = IdCardSession;

const Bytes kRead{0x32, 0x50};
const Bytes kFingerRead{0xD0, 0x07};

Reply finger_reply(const vnrsim::ResidentText& card = resident()) {
    Reply r;
    r.text = block(card);
    r.fingerprint = Bytes(1024, 0x5C);
    r.fingerprint_len = 700;
    return r;
}

// The ten buffers, the Base64 text and its length of IDCard_ReadCard_Ex.
struct ExOut {
    char f[10][80] = {};
    std::string base64 = std::string(90000, '\0');
    int32_t base64_len = 0;
    int16_t read(int32_t icdev, int32_t mode, char* errtext) {
        return IDCard_ReadCard_Ex(icdev, f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], mode,
                                  base64.data(), &base64_len, errtext);
    }
};

struct Member {
    const char* name;
    Bytes command;
    std::function<int32_t(int32_t, char*)> call;
    bool message_on_failed_exchange;
    bool message_from_triple;  // else "操作失败"
};

const std::vector<Member>& family() {
    static const std::vector<Member> members{
        {"IDCard_ReadCard", kRead, [](int32_t d, char* e) { return int32_t{IDCard_ReadCard(d, e)}; }, true, true},
        {"IDCard_ReadCard_Extra", kRead, [](int32_t d, char* e) { return IDCard_ReadCard_Extra(d, "C:\\o\\p.bmp", e); },
         true, true},
        {"IDCard_ReadCard_Ex", kRead, [](int32_t d, char* e) { ExOut out; return int32_t{out.read(d, 1, e)}; }, true,
         false},
        {"IDCard_ReadCard_ExTwo", kRead,
         [](int32_t d, char* e) { return int32_t{IDCard_ReadCard_ExTwo(d, 1, "C:\\two", e)}; }, true, true},
        {"IDCard_ReadCard_finger", kFingerRead, [](int32_t d, char* e) { return IDCard_ReadCard_finger(d, e); },
         false, true},
    };
    return members;
}

std::string errtext_after(const std::string& message) { return message + std::string(32 - message.size(), 'x'); }

TEST_F(ReadCard, FamilyTellsFailuresInErrtextWithoutTerminator) {
    for (const Member& m : family()) {
        std::string errtext(32, 'x');
        EXPECT_EQ(m.call(0, errtext.data()), VNR_E_BAD_HANDLE) << m.name;
        EXPECT_EQ(errtext, std::string(32, 'x')) << m.name;
    }
    EXPECT_TRUE(sent().empty()) << "a bad handle puts nothing on the wire";
    Reply beyond_text, beyond_photo, beyond_length;
    beyond_text.text_len = 60000;
    beyond_photo.photo_len = 60000;
    beyond_length.length = 60000;
    for (const Member& m : family()) {
        SCOPED_TRACE(m.name);
        const std::string failed = m.message_on_failed_exchange ? gbk("操作失败") : "";
        const auto told = [&](const char* message) { return gbk(m.message_from_triple ? message : "操作失败"); };
        // The triple's message: the first row that matches, some rows for any SW1 SW2, a default.
        const struct { Bytes reply; uint16_t status; int32_t result; std::string message; } cases[] = {
            {triple(0x00, 0x00, 0x80), 0, -50, told("寻找卡片失败")},
            {triple(0x01, 0x00, 0x80), 0, -50, told("读卡器连接错误")},
            {triple(0x05, 0x06, 0x47), 0, -50, told("取随机数失败")},
            {triple(0x00, 0x00, 0x9F), 0, -50, told("读卡器连接错误")},
            {{}, 0x1001, -4097, failed},
            {beyond_text.bytes(), 0, VNR_E_END_BYTE, failed},
            {beyond_photo.bytes(), 0, VNR_E_END_BYTE, failed},
            {beyond_length.bytes(), 0, VNR_E_END_BYTE, failed},
        };
        for (const auto& c : cases) {
            // IDCard_ReadCard drops the photo unread: the lengths are no business of its.
            if (c.result == VNR_E_END_BYTE && std::string(m.name) == "IDCard_ReadCard") continue;
            answer(m.command, c.reply, c.status);
            std::string errtext(32, 'x');
            EXPECT_EQ(m.call(icdev, errtext.data()), c.result) << "case " << (&c - cases);
            EXPECT_EQ(errtext, errtext_after(c.message));
        }
    }
    EXPECT_TRUE(lock_is_free());
}

enum class After { kept, cleared, replaced };

TEST_F(ReadCard, EachMemberLeavesTheRecordAsItsRulesSay) {
    static Bytes buf(2400);
    static char line[3096];
    const struct { const char* name; Bytes command; bool form_b; std::function<void(int32_t)> call;
                   After bad_triple, failed_exchange, success; } cases[] = {
        {"ReadCard", kRead, false, [](int32_t d) { char e[32]; IDCard_ReadCard(d, e); },
         After::cleared, After::cleared, After::replaced},
        {"Extra", kRead, false, [](int32_t d) { char e[32]; IDCard_ReadCard_Extra(d, "", e); },
         After::cleared, After::cleared, After::replaced},
        {"ExTwo", kRead, false, [](int32_t d) { char e[32]; IDCard_ReadCard_ExTwo(d, 0, "C:\\t", e); },
         After::kept, After::kept, After::replaced},
        {"finger", kFingerRead, true, [](int32_t d) { char e[32]; IDCard_ReadCard_finger(d, e); },
         After::kept, After::kept, After::replaced},
        {"Read_P_W", {0xD0, 0x03}, false, [](int32_t d) { uint32_t n; IDCard_Read_P_W(d, &n, buf.data()); },
         After::cleared, After::cleared, After::replaced},
        {"Ex", kRead, false, [](int32_t d) { char e[32]; ExOut out; out.read(d, 1, e); },
         After::kept, After::kept, After::kept},
        {"Foreign", kRead, false, [](int32_t d) { uint32_t f; IDCard_ReadCard_Foreign(d, "C:\\f\\p.bmp", &f, line, 0); },
         After::kept, After::kept, After::kept},
        {"Read", kRead, false, [](int32_t d) { uint32_t n; IDCard_Read(d, &n, buf.data()); },
         After::kept, After::kept, After::kept},
    };
    const auto other = resident("李四");
    for (const auto& c : cases) {
        Reply success = c.form_b ? finger_reply(other) : Reply{};
        success.text = block(other);
        const struct { Bytes reply; uint16_t status; After after; } outcomes[] = {
            {triple(0x00, 0x00, 0x80), 0, c.bad_triple}, {{}, 0x1001, c.failed_exchange}, {success.bytes(), 0, c.success}};
        for (const auto& o : outcomes) {
            answer(kRead, Reply{}.bytes());
            char e[32];
            ASSERT_EQ(IDCard_ReadCard(icdev, e), 0);
            answer(c.command, o.reply, o.status);
            c.call(icdev);
            const std::string expected = o.after == After::kept     ? gbk("张三丰")
                                         : o.after == After::cleared ? ""
                                                                     : gbk("李四");
            EXPECT_EQ(info(0, 30), padded(expected, 30)) << c.name << " outcome " << static_cast<int>(o.after);
        }
    }
}

TEST_F(ReadCard, ExtraWritesThePhotoWhereTheCallerSaysAndRemembersIt) {
    answer(kRead, Reply{}.bytes());
    std::string errtext(32, 'x');
    EXPECT_EQ(IDCard_ReadCard_Extra(icdev, gbk("C:\\照片\\张三.bmp").c_str(), errtext.data()), 0);
    EXPECT_EQ(errtext, errtext_after(gbk("操作成功")));
    EXPECT_TRUE(fs::exists(drive('c') / "照片" / "张三.bmp"));
    EXPECT_TRUE(fs::exists(drive('c') / "照片" / "张三.wlt"));
    EXPECT_EQ(info(10, 260), padded(gbk("张三.bmp"), 260));
    EXPECT_EQ(photo_file(), gbk("张三.bmp"));
    ASSERT_EQ(decoder_calls().size(), 1u);
    EXPECT_TRUE(decoder_calls()[0].starts_with("2 ")) << decoder_calls()[0];

    for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
        errtext.assign(32, 'x');
        EXPECT_EQ(IDCard_ReadCard_Extra(icdev, nothing, errtext.data()), 0);
        EXPECT_EQ(errtext, std::string(32, 'x'));
        EXPECT_EQ(info(0, 30), padded(gbk("张三丰"), 30));
        EXPECT_EQ(info(10, 260), std::string(260, '\0'));
    }
    EXPECT_EQ(decoder_calls().size(), 1u);

    ASSERT_EQ(IDCard_SetPhotoPath("C:\\pics"), 0);
    fs::create_directories(drive('c') / "pics" / "sub");
    EXPECT_EQ(IDCard_ReadCard_Extra(icdev, "sub\\r.bmp", errtext.data()), 0);
    EXPECT_TRUE(fs::exists(drive('c') / "pics" / "sub" / "r.bmp")) << "a relative path goes below the photo folder";
    EXPECT_FALSE(fs::exists(work / "sub" / "r.bmp"));
    const fs::path native = prefix.root() / "native" / "n.bmp";
    fs::create_directories(native.parent_path());
    EXPECT_EQ(IDCard_ReadCard_Extra(icdev, native.c_str(), errtext.data()), 0);
    EXPECT_TRUE(fs::exists(native)) << "a native path stays where the caller wanted it";
}

TEST_F(ReadCard, ExtraRefusesAPathWithoutFolderOrBmpWithItsOwnMessage) {
    const struct { const char* path; const char* stripped; } cases[] = {
        {"C:\\o\\p.jpg", "p.jpg"}, {"C:\\o\\p.BMP", "p.BMP"}, {"abc.bmp", "abc.bmp"},
        {"C:\\o\\.bmp", ".bmp"},   {"C:\\.bmp", ".bmp"},
    };
    answer(kRead, Reply{}.bytes());
    for (const auto& c : cases) {
        std::string errtext(32, 'x');
        EXPECT_EQ(IDCard_ReadCard_Extra(icdev, c.path, errtext.data()), VNR_E_PHOTO_PATH) << c.path;
        EXPECT_EQ(errtext.substr(0, 21), gbk("照片文件地址传入有误") + '\0');
        EXPECT_EQ(info(0, 30), padded(gbk("张三丰"), 30));
        EXPECT_EQ(info(10, 260), padded(c.stripped, 260)) << c.path;
    }
    EXPECT_TRUE(decoder_calls().empty());
}

TEST_F(ReadCard, ExtraTakes254BytesOfPathAndRefuses255BeforeAnythingElse) {
    const std::string p254 = "C:\\" + std::string(245, 'd') + "\\p.bmp";
    const std::string p255 = "C:\\" + std::string(246, 'd') + "\\p.bmp";
    write_file(drive('c') / "zp.bmp", "old");
    std::string errtext(32, 'x');
    EXPECT_EQ(IDCard_ReadCard_Extra(0, p255.c_str(), errtext.data()), -1);
    EXPECT_EQ(errtext.substr(0, 19), gbk("照片全路径设置非法") + '\0');
    EXPECT_TRUE(fs::exists(drive('c') / "zp.bmp")) << "nothing deleted";
    EXPECT_EQ(IDCard_ReadCard_Extra(0, p254.c_str(), errtext.data()), VNR_E_BAD_HANDLE);
    EXPECT_FALSE(fs::exists(drive('c') / "zp.bmp")) << "deleted ahead of the handle check";
    EXPECT_TRUE(sent().empty());
}

// The decoder's statuses 0 to -6 are shifted by two, any other is -9; each status has its text or the default.
TEST_F(ReadCard, ExtraGivesThePhotoStatusText) {
    const struct { const char* script; int32_t status; const char* message; } cases[] = {
        {"GetBmp: status=0", -2, "调用sdtapi.dll错误"}, {"GetBmp: status=-6", -8, "设备连接错误"},
        {"GetBmp: status=-5", -7, "其他错误"},          {"GetBmp: status=1", -9, "其他错误"},
    };
    int round = 0;
    for (const auto& c : cases) {
        Reply r;
        r.wlt = photo(c.script);
        answer(kRead, r.bytes());
        const std::string path = "C:\\st\\p" + std::to_string(round++) + ".bmp";
        std::string errtext(32, 'x');
        EXPECT_EQ(IDCard_ReadCard_Extra(icdev, path.c_str(), errtext.data()), c.status) << c.script;
        EXPECT_EQ(errtext, errtext_after(gbk(c.message)));
        EXPECT_EQ(info(0, 30), padded(gbk("张三丰"), 30));
    }
}

TEST_F(ReadCard, TheNextReadDeletesTheExtraPhotoOnlyWhenTheBareNameIsFound) {
    answer(kRead, Reply{}.bytes());
    char errtext[32] = {};
    ASSERT_EQ(IDCard_ReadCard_Extra(icdev, "C:\\o\\p.bmp", errtext), 0);
    EXPECT_EQ(delete_all_photofile(), 0);
    EXPECT_TRUE(fs::exists(drive('c') / "o" / "p.bmp")) << "p.bmp is not in the working directory";
    write_file(work / "p.bmp", "bare");
    EXPECT_EQ(delete_all_photofile(), 0);
    EXPECT_FALSE(fs::exists(work / "p.bmp"));
    EXPECT_FALSE(fs::exists(drive('c') / "o" / "p.bmp"));
    write_file(drive('c') / "o" / "p.bmp", "again");
    write_file(work / "p.bmp", "bare");
    EXPECT_EQ(delete_all_photofile(), 0);
    EXPECT_TRUE(fs::exists(drive('c') / "o" / "p.bmp")) << "the extra path was emptied";
}

TEST_F(ReadCard, ExFillsTheCallersBuffersAndHandsTheBitmapOutAsBase64) {
    ASSERT_EQ(IDCard_SetPhotoPath("C:\\ph"), 0);
    ASSERT_EQ(IDCard_SetPhotoName("card"), 0);
    const auto card = resident();
    const std::string fields[] = {gbk(card.name), gbk("男"), gbk("汉"), card.birthday, gbk(card.address),
                                  card.id_number, gbk(card.issue_department), card.valid_from, card.valid_expiry, ""};
    for (int mode : {1, 0, 2}) {
        SCOPED_TRACE(mode);
        answer(kRead, Reply{}.bytes());
        ExOut out;
        std::string errtext(32, 'x');
        EXPECT_EQ(out.read(icdev, mode, errtext.data()), 0);
        EXPECT_EQ(errtext, errtext_after(gbk("操作成功")));
        for (int f = 0; f < 10; ++f) EXPECT_EQ(std::string(out.f[f], 80), padded(fields[f], 80)) << "buffer " << f;
        const std::string name = mode == 2 ? card.id_number : "card";
        const fs::path bmp = drive('c') / "ph" / (name + ".bmp");
        EXPECT_EQ(photo_file(), "C:\\ph\\" + name + ".bmp");
        EXPECT_TRUE(fs::exists(drive('c') / "ph" / (name + ".wlt")));
        EXPECT_EQ(fs::exists(bmp), mode != 0);
        const std::string bitmap = mode != 0 ? read_file(bmp) : "";
        std::string expected(90000, '\0');
        hex_base64(reinterpret_cast<const uint8_t*>(bitmap.data()), expected.data(), static_cast<uint32_t>(bitmap.size()));
        EXPECT_EQ(out.base64_len, 51817) << "the Base64 text of a 38862-byte bitmap, plus one";
        if (mode != 0) {
            EXPECT_EQ(out.base64, expected);
        }
    }
    Reply failing;
    failing.wlt = photo("GetBmp: status=-1");
    answer(kRead, failing.bytes());
    ASSERT_EQ(IDCard_SetPhotoName("lost"), 0);
    ExOut out;
    std::string errtext(32, 'x');
    EXPECT_EQ(out.read(icdev, 1, errtext.data()), VNR_E_PHOTO_DECODE);
    EXPECT_EQ(errtext, errtext_after(gbk("相片解码错误")));
    EXPECT_EQ(out.base64_len, -1);
    EXPECT_EQ(std::string(out.f[0]), gbk(card.name));
}

TEST_F(ReadCard, ExChecksTheLengthOfFolderAndNameBeforeTheHandle) {
    const std::string folder200 = "C:\\" + std::string(196, 'f') + "\\";
    ASSERT_EQ(IDCard_SetPhotoPath(folder200.c_str()), 0);
    ASSERT_EQ(IDCard_SetPhotoName(std::string(51, 'n').c_str()), 0);  // 251 bytes together
    ExOut out;
    std::string errtext(32, 'x');
    EXPECT_EQ(out.read(0, 1, errtext.data()), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(errtext.substr(0, 21), gbk("照片文件路径设置非法") + '\0');
    EXPECT_EQ(out.read(0, 0, errtext.data()), VNR_E_BAD_HANDLE) << "mode 0 skips the check";
    ASSERT_EQ(IDCard_SetPhotoName("n"), 0);
    ASSERT_EQ(IDCard_SetPhotoPath(("C:\\" + std::string(231, 'g') + "\\").c_str()), 0);  // 235 + 16
    EXPECT_EQ(out.read(0, 2, errtext.data()), VNR_E_BAD_ARGUMENT);
    EXPECT_EQ(out.read(0, 1, errtext.data()), VNR_E_BAD_HANDLE);
    EXPECT_TRUE(sent().empty());
}

TEST_F(ReadCard, ExTwoWritesXpWltTheBitmapAndWzTxt) {
    Reply r;
    const std::string block(r.text.begin(), r.text.end());
    answer(kRead, r.bytes());
    write_file(drive('c') / "zp.bmp", "not deleted");
    std::string errtext(32, 'x');
    EXPECT_EQ(IDCard_ReadCard_ExTwo(icdev, 0, "C:\\two", errtext.data()), 0);
    EXPECT_EQ(errtext, errtext_after(gbk("操作成功")));
    EXPECT_EQ(read_file(drive('c') / "two" / "XP.wlt"), std::string(r.wlt.begin(), r.wlt.end()));
    EXPECT_EQ(read_file(drive('c') / "two" / "wz.txt"), block + "\n");
    EXPECT_FALSE(fs::exists(drive('c') / "two" / "zp.wlt"));
    EXPECT_TRUE(fs::exists(drive('c') / "zp.bmp"));
    EXPECT_TRUE(decoder_calls().empty());

    EXPECT_EQ(IDCard_ReadCard_ExTwo(icdev, 1, "C:\\two", errtext.data()), 0);
    EXPECT_EQ(read_file(drive('c') / "two" / "zp.wlt"), std::string(r.wlt.begin(), r.wlt.end()));
    EXPECT_TRUE(fs::exists(drive('c') / "two" / "zp.bmp"));
    EXPECT_EQ(photo_file(), "C:\\two\\zp.bmp");

    EXPECT_EQ(IDCard_ReadCard_ExTwo(icdev, 0, "", errtext.data()), 0);
    EXPECT_TRUE(fs::exists(drive('c') / "XP.wlt"));
    EXPECT_EQ(read_file(drive('d') / "wz.txt").size(), 257u);

    r.text.resize(200);  // text_len, not the layout, says what wz.txt holds
    answer(kRead, r.bytes());
    EXPECT_EQ(IDCard_ReadCard_ExTwo(icdev, 0, "C:\\short", errtext.data()), 0);
    EXPECT_EQ(read_file(drive('c') / "short" / "wz.txt"), block.substr(0, 200) + "\n");
}

TEST_F(ReadCard, ExTwoFailuresAndTheirMessages) {
    Reply failing;
    failing.wlt = photo("GetBmp: status=-1");
    fs::create_directories(drive('c') / "dir" / "wz.txt");
    const std::string long_folder = "C:\\" + std::string(248, 'l');
    const struct { Bytes reply; int32_t decode; std::string folder; int16_t status; std::string message; } cases[] = {
        {Reply{}.bytes(), 1, "C:\\ bad", -1, gbk("文件路径传入非法") + '\0'},
        {failing.bytes(), 1, "C:\\fail", -3, gbk("相片解码错误")},
        {Reply{}.bytes(), 0, "C:\\dir", -50, gbk("wz.txt打开失败") + '\0'},
        {Reply{}.bytes(), 0, long_folder, -50, gbk("照片路径传入非法") + '\0'},
    };
    for (const auto& c : cases) {
        answer(kRead, c.reply);
        std::string errtext(32, 'x');
        EXPECT_EQ(IDCard_ReadCard_ExTwo(icdev, c.decode, c.folder.c_str(), errtext.data()), c.status) << c.folder;
        EXPECT_EQ(errtext, errtext_after(c.message)) << c.folder;
    }
    EXPECT_FALSE(fs::exists(drive('c') / "fail" / "wz.txt"));
    EXPECT_TRUE(fs::exists(drive('c') / "dir" / "XP.wlt")) << "the photo stays when wz.txt fails";
    std::string untouched(32, 'x');
    EXPECT_EQ(IDCard_ReadCard_ExTwo(0, 0, long_folder.c_str(), untouched.data()), VNR_E_BAD_HANDLE);
    EXPECT_EQ(untouched, std::string(32, 'x')) << "the handle is checked before the folder";

}

// The deck's own cards as the simulator's card module answers them, on either link: both reply forms
// and the foreign card laid out as the library reads them, the triples without a card, and the module's
// and the card's ids.
class DeckCardOnEachLink : public IdCardSession, public ::testing::WithParamInterface<Link> {
protected:
    DeckCardOnEachLink() : IdCardSession(demo_deck()) {}
    static vnrsim::Deck demo_deck() {
        vnrsim::Deck deck = vnrsim::Deck::load(VNR_TEST_DECKS "/reader.json");
        deck.baud = 0;
        return deck;
    }
    Link link_under_test() override { return GetParam(); }
};

TEST_P(DeckCardOnEachLink, TheSimulatedCardsReadWhole) {
    std::string message(32, 'x');
    ASSERT_EQ(IDCard_ReadCard(icdev, message.data()), 0);
    EXPECT_EQ(message, errtext_after(gbk("操作成功")));
    const std::string fields[] = {padded(gbk("林示例"), 30), padded(gbk("男"), 6), padded(gbk("汉"), 18), "19880614",
                                  padded(gbk("示例省模拟市虚构区测试路88号演示小区3栋2单元501室"), 70), "990101198806140019",
                                  padded(gbk("模拟市公安局虚构分局"), 30), "20150320", "20350320", std::string(36, '\0'),
                                  std::string(260, '\0')};
    for (int f = 0; f <= 10; ++f) EXPECT_EQ(info(f, fields[f].size()), fields[f]) << "field " << f;
    EXPECT_TRUE(decoder_calls().empty() && fs::is_empty(work)) << "IDCard_ReadCard saves no photo";
    char errtext[32] = {};
    ASSERT_EQ(IDCard_ReadCard_Extra(icdev, "C:\\o\\p.bmp", errtext), 0);
    const std::string wlt = read_file(drive('c') / "o" / "p.wlt");
    EXPECT_EQ(wlt.size(), 1024u);
    EXPECT_TRUE(wlt::decode(bytes_of(wlt))) << "the deck's portrait, whole";

    EXPECT_EQ(IDCard_ReadCard_finger(icdev, errtext), 0);
    EXPECT_EQ(photo_file(), "c:\\\\zp.bmp") << "zp.bmp moved into the photo folder";
    EXPECT_TRUE(fs::exists(drive('c') / "zp.bmp"));
    std::string fingerprint;
    for (int i = 0; i < 256; ++i) fingerprint += "FP01";
    EXPECT_EQ(info(12, 1024), fingerprint);
    EXPECT_EQ(info(13, 2), std::string("\x04\x00", 2));

    uint8_t id_len = 0;
    uint32_t len = 0;
    Bytes data(120, 0);
    ASSERT_EQ(IDCard_GetModeID(icdev, &id_len, data.data()), 0);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + id_len), vnrsim::parse_hex("99 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01"));
    ASSERT_EQ(IDCard_Read_IDNUM(icdev, &len, data.data()), 0);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + len), vnrsim::parse_hex("99 01 00 00 00 00 00 01"));

    reader.model<vnrsim::IdCardModule>()->put(vnrsim::CardKind::foreign);
    uint32_t is_foreign = 0;
    std::string line(3200, '\0');
    ASSERT_EQ(IDCard_ReadCard_Foreign(icdev, "C:\\f\\p.bmp", &is_foreign, line.data(), 1), 0);
    EXPECT_EQ(is_foreign, 1u);
    std::string hex;
    for (int i = 0; i < 256; ++i) hex += "46503032";
    EXPECT_EQ(std::string(line.c_str()), gbk("SAMPLE, ALEX JORDAN|女/F|CAN990088060107|加拿大/CAN|安示例|20210901|"
                                             "20310901|19880601|01|9900|I||" + hex + "|"));
    EXPECT_TRUE(fs::exists(drive('c') / "f" / "p.bmp"));
    EXPECT_EQ(info(0, 30), padded(gbk("林示例"), 30)) << "a foreign card leaves the record alone";
    EXPECT_EQ(photo_file(), "c:\\\\zp.bmp");

    reader.model<vnrsim::IdCardModule>()->put(vnrsim::CardKind::none);
    EXPECT_EQ(IDCard_Find(icdev, &len, data.data()), VNR_E_FIND_STATUS);
    message.assign(32, 'x');
    EXPECT_EQ(IDCard_ReadCard(icdev, message.data()), VNR_E_CARD_STATUS);
    EXPECT_EQ(message, errtext_after(gbk("寻找卡片失败")));
}

INSTANTIATE_TEST_SUITE_P(OnEachLink, DeckCardOnEachLink, ::testing::Values(Link::serial, Link::hid),
                         vnr::test::link_name);

}  // namespace
