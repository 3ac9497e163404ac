// The identity card module's single commands: bytes sent, the caller's buffers, the triple's statuses,
// malformed replies refused, the photo reads with their message, and the record they leave.
#include "idcard/idcard_support.h"

namespace {

using namespace idtest;

using CardCommands = IdCardSession;

using DataCommand = int16_t (*)(int32_t, uint32_t*, uint8_t*);

struct DataCommandCase {
    const char* name; DataCommand call; uint8_t command, success_sw3; Bytes other_triple; int16_t other_result;
    std::size_t reply_room;
};

const DataCommandCase kDataCommands[] = {
    {"IDCard_Find", IDCard_Find, 0x01, 0x9F, {0x00, 0x00, 0x90}, VNR_E_FIND_STATUS, 300},
    {"IDCard_Selet", IDCard_Selet, 0x02, 0x90, {0x00, 0x00, 0x81}, 129, 2000},
    {"IDCard_ReadAdded", IDCard_ReadAdded, 0x05, 0x90, {0x01, 0x02, 0x91}, 145, 200},
    {"IDCard_ReadManage", IDCard_ReadManage, 0x06, 0x90, {0x00, 0x00, 0x41}, 65, 200},
};

Bytes module(Bytes triple3, const Bytes& data) {
    const std::size_t whole = 5 + data.size();
    Bytes out{static_cast<uint8_t>(whole >> 8), static_cast<uint8_t>(whole & 0xFF)};
    out.insert(out.end(), triple3.begin(), triple3.end());
    out.insert(out.end(), data.begin(), data.end());
    return out;
}

TEST_F(CardCommands, DataCommandsCopyLengthMinusFiveBytesOnTheirSuccessTriple) {
    for (const auto& c : kDataCommands) {
        SCOPED_TRACE(c.name);
        const Bytes command{0xD0, c.command};
        Bytes data(16, 0xEE);
        uint32_t len = 99;
        reader.clear_history();
        answer(command, module({0x00, 0x00, c.success_sw3}, bytes_of("ABCDEF")));
        EXPECT_EQ(c.call(icdev, &len, data.data()), 0);
        EXPECT_EQ(len, 6u);
        EXPECT_EQ(Bytes(data.begin(), data.begin() + 7), bytes_of("ABCDEF\xEE"));
        EXPECT_EQ(sent(), std::vector<Bytes>{command});

        data.assign(16, 0xEE);
        answer(command, module({0x00, 0x00, c.success_sw3}, {}));
        EXPECT_EQ(c.call(icdev, &len, data.data()), 0);
        EXPECT_EQ(len, 0u);
        EXPECT_EQ(data[0], 0xEE);

        answer(command, module(c.other_triple, bytes_of("XYZ")));
        EXPECT_EQ(c.call(icdev, &len, data.data()), c.other_result);
        EXPECT_EQ(len, 3u) << "the count is set before the triple is looked at";
        EXPECT_EQ(data[0], 0xEE);

        answer(command, bytes_of("XYZ"), 0x0012);  // S2 alone; a reader status hands no data over
        EXPECT_EQ(c.call(icdev, &len, data.data()), -18);
        EXPECT_EQ(data[0], 0xEE);

        reader.clear_history();
        EXPECT_EQ(c.call(0, &len, data.data()), VNR_E_BAD_HANDLE);
        EXPECT_EQ(c.call(-3, &len, data.data()), VNR_E_BAD_HANDLE);
        EXPECT_TRUE(sent().empty());
    }
    EXPECT_TRUE(lock_is_free());
}

TEST_F(CardCommands, DataCommandsRefuseRepliesWhoseLengthFieldCannotBeTaken) {
    for (const auto& c : kDataCommands) {
        SCOPED_TRACE(c.name);
        const Bytes command{0xD0, c.command};
        Bytes too_long = module({0x00, 0x00, c.success_sw3}, Bytes(c.reply_room, 0x41));
        const Bytes replies[] = {
            {0x00, 0x05, 0x00, 0x00},                                   // shorter than 5 bytes
            {0x00, 0x04, 0x00, 0x00, c.success_sw3, 0x41},              // length field below 5
            {0x03, 0xE8, 0x00, 0x00, c.success_sw3, 0x41, 0x42},        // 1000 declared, 7 received
            too_long,                                                   // more than the reply buffer
        };
        for (const Bytes& reply : replies) {
            Bytes data(c.reply_room + 16, 0xEE);
            uint32_t len = 0;
            answer(command, reply);
            EXPECT_EQ(c.call(icdev, &len, data.data()), VNR_E_END_BYTE) << reply.size();
            EXPECT_EQ(data[0], 0xEE);
        }
    }
    EXPECT_TRUE(lock_is_free());
}

TEST_F(CardCommands, ReadHandsOverTheWholeReplyAlsoOnABadTriple) {
    const Bytes whole = Reply{}.bytes();
    answer({0x32, 0x50}, whole);
    Bytes data(2100, 0xEE);
    uint32_t len = 0;
    EXPECT_EQ(IDCard_Read(icdev, &len, data.data()), 0);
    EXPECT_EQ(len, 1289u);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 1289), whole);
    EXPECT_EQ(data[1289], 0xEE);
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0x32, 0x50}}));

    answer({0x32, 0x50}, triple(0x00, 0x00, 0x91));
    EXPECT_EQ(IDCard_Read(icdev, &len, data.data()), VNR_E_CARD_STATUS);
    EXPECT_EQ(len, 5u);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 5), triple(0x00, 0x00, 0x91));

    Reply big;
    big.wlt = photo("WLT", 2001 - 9 - 256);
    answer({0x32, 0x50}, big.bytes());
    EXPECT_EQ(IDCard_Read(icdev, &len, data.data()), VNR_E_END_BYTE) << "2001 bytes do not fit 2000";
    reader.clear_history();
    EXPECT_EQ(IDCard_Read(0, &len, data.data()), VNR_E_BAD_HANDLE);
    EXPECT_TRUE(sent().empty());
}

// The ids as the simulated module gives them are read in DeckCardOnEachLink; here the bounds.
TEST_F(CardCommands, ModuleAndCardIdsComeAsTheyCameWithinTheirRoom) {
    Bytes data(120, 0xEE);
    uint8_t short_len = 0;
    uint32_t len = 0;
    answer({0x32, 0x51}, Bytes(100, 0x33));
    EXPECT_EQ(IDCard_GetModeID(icdev, &short_len, data.data()), 0);
    EXPECT_EQ(short_len, 100);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 101), bytes_of(std::string(100, 0x33) + "\xEE"));
    answer({0x32, 0x51}, Bytes(101, 0x33));
    EXPECT_EQ(IDCard_GetModeID(icdev, &short_len, data.data()), VNR_E_END_BYTE);
    answer({0x32, 0x52}, Bytes(100, 0x44));
    EXPECT_EQ(IDCard_Read_IDNUM(icdev, &len, data.data()), 0);
    EXPECT_EQ(len, 100u);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 101), bytes_of(std::string(100, 0x44) + "\xEE"));
    reader.clear_history();
    EXPECT_EQ(IDCard_GetModeID(0, &short_len, data.data()), VNR_E_HANDLE_EXCHANGE);
    EXPECT_EQ(IDCard_Read_IDNUM(0, &len, data.data()), VNR_E_BAD_HANDLE);
    EXPECT_TRUE(sent().empty());
}

TEST_F(CardCommands, ReadWithPhotoLaysTheMessageOverTheHeadOfTheReply) {
    const Bytes whole = Reply{}.bytes();
    answer({0xD0, 0x03}, whole);
    Bytes buf(1300, 0xEE);
    uint32_t len = 0;
    EXPECT_EQ(IDCard_Read_P_W(icdev, &len, buf.data()), 0);
    EXPECT_EQ(len, 1289u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf.data()), 8), gbk("操作成功"));
    EXPECT_EQ(Bytes(buf.begin() + 8, buf.begin() + 1289), Bytes(whole.begin() + 8, whole.end()));
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0xD0, 0x03}}));
    EXPECT_EQ(info(0, 30), padded(gbk("张三丰"), 30));
    EXPECT_EQ(info(10, 260), padded("zp.bmp", 260));
    EXPECT_TRUE(fs::exists(drive('c') / "zp.bmp"));
    EXPECT_TRUE(fs::exists(work / "zp.wlt"));
    EXPECT_FALSE(fs::exists(work / "zp.bmp"));
    EXPECT_EQ(photo_file(), "c:\\\\zp.bmp");
    EXPECT_EQ(decoder_calls(), std::vector<std::string>{"2 zp.wlt"});
}

TEST_F(CardCommands, ReadWithPhotoFailuresGiveTheTripleMessage) {
    Reply lying;
    lying.photo_len = 4000;
    const struct { Bytes reply; uint16_t status; int16_t result; const char* message; } cases[] = {
        {triple(0x00, 0x00, 0x80), 0, VNR_E_CARD_STATUS, "寻找卡片失败"},
        {{}, 0x1001, VNR_E_CARD_STATUS, "读卡器连接错误"},  // a failed exchange: the triple reads 00 00 00
        {lying.bytes(), 0, VNR_E_END_BYTE, "读卡器连接错误"},
    };
    for (const auto& c : cases) {
        answer({0xD0, 0x03}, c.reply, c.status);
        Bytes buf(1289, 0x00);
        uint32_t len = 0;
        EXPECT_EQ(IDCard_Read_P_W(icdev, &len, buf.data()), c.result) << c.message;
        const std::string message = gbk(c.message);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buf.data()), message.size()), message);
        if (c.status == 0 && c.reply.size() == 5) {
            EXPECT_EQ(len, 5u);
        }
    }
    write_file(drive('c') / "zp.bmp", "old");
    reader.clear_history();
    uint32_t len = 0;
    Bytes buf(1289, 0x00);
    EXPECT_EQ(IDCard_Read_P_W(0, &len, buf.data()), VNR_E_BAD_HANDLE);
    EXPECT_FALSE(fs::exists(drive('c') / "zp.bmp")) << "the files go before the handle is checked";
    EXPECT_TRUE(sent().empty());
}

TEST_F(CardCommands, ReadWithFingerprintFillsTheFingerprintFieldsWhateverTheSave) {
    Reply r;
    r.fingerprint = Bytes(1024);
    for (std::size_t i = 0; i < 1024; ++i) (*r.fingerprint)[i] = static_cast<uint8_t>(i % 251);
    r.fingerprint_len = 512;
    r.wlt = photo("GetBmp: status=-1");
    const Bytes whole = r.bytes();
    answer({0xD0, 0x04}, whole);
    Bytes buf(2315, 0x00);
    uint32_t len = 0;
    EXPECT_EQ(IDCard_Read_P_W_F(icdev, &len, buf.data()), VNR_E_PHOTO_DECODE);
    EXPECT_EQ(len, 2315u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf.data()), 12), gbk("相片解码错误"));
    EXPECT_EQ(sent(), (std::vector<Bytes>{{0xD0, 0x04}}));
    EXPECT_EQ(info(0, 30), padded(gbk("张三丰"), 30)) << "the text stays after a failed save";
    EXPECT_EQ(info(10, 260), std::string(260, '\0'));
    EXPECT_EQ(info(12, 1024), std::string(r.fingerprint->begin(), r.fingerprint->end()));
    EXPECT_EQ(info(13, 2), std::string("\x02\x00", 2));

    r.fingerprint_len = 0;  // the 1024 bytes at the offset are taken all the same
    r.wlt = photo();
    answer({0xD0, 0x04}, r.bytes());
    EXPECT_EQ(IDCard_Read_P_W_F(icdev, &len, buf.data()), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buf.data()), 8), gbk("操作成功"));
    EXPECT_EQ(info(12, 1024), std::string(r.fingerprint->begin(), r.fingerprint->end()));
    EXPECT_EQ(info(13, 2), std::string(2, '\0'));
    EXPECT_EQ(info(10, 260), padded("zp.bmp", 260));

    answer({0xD0, 0x04}, {}, 0x1001);
    buf.assign(2315, 'x');
    EXPECT_EQ(IDCard_Read_P_W_F(icdev, &len, buf.data()), -4097);
    EXPECT_EQ(std::string(buf.begin() + 1, buf.begin() + 32), std::string(31, 'x')) << "no message";
    EXPECT_EQ(info(0, 30), std::string(30, '\0')) << "the record is zeroed after the exchange in every case";

    r.fingerprint_len = 1025;
    r.length = 3000;
    answer({0xD0, 0x04}, r.bytes());
    buf.assign(2315, 'x');
    EXPECT_EQ(IDCard_Read_P_W_F(icdev, &len, buf.data()), VNR_E_END_BYTE);
    EXPECT_EQ(Bytes(buf.begin() + 2, buf.begin() + 5), Bytes({0x00, 0x00, 0x90})) << "no message over the reply";
}

}  // namespace
