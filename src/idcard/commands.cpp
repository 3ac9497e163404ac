// src/idcard/commands.cpp: idcard. The module's commands, one exchange each: find, select, the reads of
// added and management information, the raw read, the module's and the card's ids, and the two reads
// that also fill the record and save the photo.
#include "idcard/commands.h"

#include "core/boundary.h"
#include "core/command.h"
#include "core/exchange.h"
#include "core/wait.h"
#include "idcard/messages.h"
#include "idcard/photo_store.h"
#include "idcard/record.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vnr::idcard {

using core::Call;
using core::ReplyRoom;

namespace {

// ---- Find, select, added and management information ------------------------------------------

// What a triple other than success gives.
enum class OtherTriple { find_status, sw3 };

struct InfoCommand {
    std::uint8_t code;             // after D0
    std::size_t room;              // the reply's room; `data` must hold it less the 5-byte head
    std::uint8_t success_sw3;
    OtherTriple other;
    const char* entry_line;
    const char* bad_handle_line;   // none when null
    const char* failed_line;       // "%d": the status
    const char* success_line;      // "%d %d %d": 0, 0, SW3
    const char* triple_line;       // "%d %d %d %d": the triple and the result
};

constexpr InfoCommand kFind{0x01, 300, kFoundSw3, OtherTriple::find_status, "-----IDCard_Find()----- ",
                            "==>IDCard_Find(), 句柄无效 ", "==>IDCard_Find(), 状态码：%d ",
                            "==>IDCard_Find(), SW: 00 00 9F ", "==>IDCard_Find(), SW: %02d %02d %02d, return: %d "};
constexpr InfoCommand kSelect{0x02, 2000, kDoneSw3, OtherTriple::sw3, "-----IDCard_Selet()----- ",
                              "==>IDCard_Selet(), 句柄无效 ", "==>IDCard_Selet(), 状态码：%d ",
                              "==>IDCard_Selet(), SW1:00 SW2:00 SW3:90 ",
                              "==>IDCard_Selet(), SW1:%02d SW2:%02d SW3:%02d "};
constexpr InfoCommand kAdded{0x05, 200, kDoneSw3, OtherTriple::sw3, "-----IDCard_ReadAdded-----", nullptr,
                             "==> IDCard_ReadAdded() 读取身份证追加信息失败，状态码: %d ",
                             "==> IDCard_ReadAdded() 读取身份证追加信息成功 ",
                             "==> IDCard_ReadAdded() 读取身份证追加信息失败，SW1:%d SW2%d SW3:%d "};
constexpr InfoCommand kManage{0x06, 200, kDoneSw3, OtherTriple::sw3, "-----IDCard_ReadManage()----- ",
                              "==>IDCard_ReadManage(), 句柄无效 ", "==>IDCard_ReadManage(), 状态码：%d ",
                              "==>IDCard_ReadManage(), SW1: %02d SW2: %02d SW3: %02d ",
                              "==>IDCard_ReadManage(), SW1: %02d SW2: %02d SW3: %02d "};

std::int16_t info_command(const InfoCommand& command, std::int32_t icdev, std::uint32_t* len, std::uint8_t* data) {
    Call call(command.entry_line);
    if (icdev < 1) {
        call.leave();
        return call.refuse(VNR_E_BAD_HANDLE, command.bad_handle_line);
    }
    if (len == nullptr || data == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    ReplyRoom room(command.room);
    const std::array<std::uint8_t, 2> bytes{kModuleGroup, command.code};
    const core::Reply reply = call.exchange(icdev, bytes, room);
    // A reply too short for its triple, or declaring more than came, is refused; *len then says nothing.
    const std::optional<Bytes> module = reply.ok() ? module_data(reply.data) : std::nullopt;
    *len = module ? static_cast<std::uint32_t>(module->size()) : 0;
    if (!module) return call.finish(reply.ok() ? std::int16_t{VNR_E_END_BYTE} : reply.status, command.failed_line);
    const Triple triple = triple_in(room.all());
    if (triple.is(command.success_sw3)) {
        std::copy(module->begin(), module->end(), data);
        return call.finish(VNR_OK, command.success_line, 0, command.success_sw3);
    }
    const std::int16_t result =
        command.other == OtherTriple::find_status ? std::int16_t{VNR_E_FIND_STATUS} : std::int16_t{triple.sw3};
    call.leave();
    log::line(command.triple_line, triple.sw1, triple.sw2, triple.sw3, result);
    return result;
}

// ---- Ids: raw bytes back, no module reply and no triple ---------------------------------------

constexpr std::size_t kIdRoom = 100;

constexpr core::Command kModuleId{
    .name = "IDCard_GetModeID",
    .entry = "==> IDCard_GetModeID() 获取二代证模块ID",
    .fields = {kReadGroup, 0x51},
    .room = kIdRoom,
    .wait = core::wait_ms(kReadTimeoutMs),
    .take = core::all_data(0, core::LengthOut::u8, 1),
    .result = {.failed = "==> IDCard_GetModeID() 获取二代证模块ID! 状态码:%d ",
               .done = "==> IDCard_GetModeID() 获取二代证模块成功 "},
};

constexpr core::Command kCardId{
    .name = "IDCard_Read_IDNUM",
    .entry = "-----IDCard_Read_IDNUM-----",
    .checks = {core::handle(nullptr)},
    .fields = {kReadGroup, 0x52},
    .room = kIdRoom,
    .take = core::all_data(0, core::LengthOut::u32, 1),
    .result = {.failed = "==> IDCard_Read_IDNUM() 读身份证ID失败，状态码：%d ",
               .done = "==> IDCard_Read_IDNUM() 读身份证ID成功 "},
};

// ---- The reads that fill the record -----------------------------------------------------------

constexpr std::size_t kTextAndPhotoReplySize = 1289;
constexpr std::size_t kWithFingerprintReplySize = 2315;

struct RecordRead {
    std::uint8_t code;  // after D0
    ReadForm form;
    std::size_t buffer_size;  // the caller's buffer, which is the exchange's room
    const char* entry_line;
    const char* bad_handle_line;
    const char* result_line;
};

constexpr RecordRead kReadPhoto{0x03, ReadForm::text_and_photo, kTextAndPhotoReplySize, "-----IDCard_Read_P_W()----- ",
                                "==>IDCard_Read_P_W(), 句柄无效 ", "==>IDCard_Read_P_W(), 状态码：%d "};
constexpr RecordRead kReadFingerprint{0x04, ReadForm::with_fingerprint, kWithFingerprintReplySize,
                                      "-----IDCard_Read_P_W_F()----- ", "==>IDCard_Read_P_W_F(), 句柄无效 ",
                                      "==>IDCard_Read_P_W_F(), 状态码：%d "};

// IDCard_Read_P_W and IDCard_Read_P_W_F: `buf` is the exchange's reply buffer and then takes the message.
std::int16_t record_read(const RecordRead& read, std::int32_t icdev, std::uint32_t* len, std::uint8_t* buf) {
    Call call(read.entry_line);
    delete_all_photofiles();  // ahead of the handle check: a bad handle deletes the files too
    if (icdev < 1) {
        call.leave();
        return call.refuse(VNR_E_BAD_HANDLE, read.bad_handle_line);
    }
    if (buf == nullptr) return call.finish(VNR_E_BAD_ARGUMENT, read.result_line);
    const bool with_fingerprint = read.form == ReadForm::with_fingerprint;
    if (!with_fingerprint) identity_record_clear(call.guard());
    // The caller's buffer is the room: its bytes stay where nothing came.
    std::uint32_t received = 0;
    const std::span<std::uint8_t> room(buf, read.buffer_size);
    std::int16_t status = VNR_OK;
    {
        const core::ScopedWait wait(call.guard(), kReadTimeoutMs);
        const std::array<std::uint8_t, 2> bytes{kModuleGroup, read.code};
        status = core::send_cmd_vn3x(icdev, 2, bytes.data(), &received, room);
    }
    if (with_fingerprint) identity_record_clear(call.guard());
    if (len != nullptr) *len = length_field(room);
    char* message = reinterpret_cast<char*>(buf);
    // After a failed exchange the photo read reports what the buffer's triple says (the caller's own
    // bytes); the fingerprint read reports the exchange's status and leaves the buffer alone.
    if (status != VNR_OK && with_fingerprint) return call.finish(status, read.result_line);
    const Triple triple = triple_in(room);
    if (status != VNR_OK || !triple.is(kDoneSw3)) {
        lay_text(message, sw_text(triple.sw1, triple.sw2, triple.sw3));
        return call.finish(VNR_E_CARD_STATUS, read.result_line);
    }
    const std::optional<ReadLayout> layout = read_layout(Bytes(room).first(received), read.form);
    if (!layout) {
        if (!with_fingerprint) lay_text(message, sw_text(0, 0, 0));
        return call.finish(VNR_E_END_BYTE, read.result_line);
    }
    identity_record_fill(call.guard(), layout->block);
    char* photo_file = identity_record(call.guard()).photo_file.data();
    const std::int16_t saved = call.outside([&] { return photo_save(layout->photo, photo_file); });
    if (with_fingerprint) identity_record_keep_fingerprint(call.guard(), fingerprint_block(room, *layout), layout->fingerprint.size());
    lay_text(message, photo_status_text(saved));
    return call.finish(saved, read.result_line);
}

}  // namespace

CardRead read_card_reply(Call& call, std::int32_t icdev, std::uint8_t group, std::uint8_t code, ReplyRoom& room,
                         ReadForm form) {
    CardRead result;
    const std::array<std::uint8_t, 2> bytes{group, code};
    const core::Reply reply = call.exchange_waiting(icdev, bytes, room, kReadTimeoutMs);
    result.status = reply.status;
    result.triple = triple_in(room.all());
    if (reply.ok() && result.triple.is(kDoneSw3)) {
        result.layout = read_layout(reply.data, form);
        if (!result.layout) result.status = VNR_E_END_BYTE;
    }
    return result;
}

std::int16_t read_text_and_photo(std::int32_t icdev, std::uint32_t* len, std::uint8_t* data) {
    static constexpr char kFailedLine[] = "==> IDCard_Read 读二代证错误! 错误码:%d ";
    Call call("---IDCard_Read 读二代证---");
    if (icdev < 1) {
        call.leave();
        return call.refuse(VNR_E_BAD_HANDLE, "==> IDCard_Read 句柄无效 ");
    }
    if (len == nullptr || data == nullptr) return call.refuse(VNR_E_BAD_ARGUMENT, nullptr);
    ReplyRoom room(kReadReplySize);
    const std::array<std::uint8_t, 2> bytes{kReadGroup, kRead};
    const core::Reply reply = call.exchange_waiting(icdev, bytes, room, kReadTimeoutMs);
    if (!reply.ok()) return call.finish(reply.status, kFailedLine);
    // The whole reply goes to the caller before the triple is looked at.
    std::copy(reply.data.begin(), reply.data.end(), data);
    *len = static_cast<std::uint32_t>(reply.data.size());
    if (reply.data.size() < kModuleHead) return call.finish(VNR_E_END_BYTE, kFailedLine);
    const Triple triple = triple_in(reply.data);
    call.leave();
    if (!triple.is(kDoneSw3)) {
        log::line("==> IDCard_Read SW1 = %d,SW2 = %d,SW3 = %d错误!", triple.sw1, triple.sw2, triple.sw3);
        return VNR_E_CARD_STATUS;
    }
    log::text("==> IDCard_Read 读二代证成功! ");
    return VNR_OK;
}

}  // namespace vnr::idcard

using vnr::core::guarded;
using vnr::core::run;
namespace id = vnr::idcard;

extern "C" {

VNR_API int16_t VNR_CALL IDCard_Find(int32_t icdev, uint32_t* len, uint8_t* data) {
    return guarded<int16_t>([&] { return id::info_command(id::kFind, icdev, len, data); });
}

VNR_API int16_t VNR_CALL IDCard_Selet(int32_t icdev, uint32_t* len, uint8_t* data) {
    return guarded<int16_t>([&] { return id::info_command(id::kSelect, icdev, len, data); });
}

VNR_API int16_t VNR_CALL IDCard_ReadAdded(int32_t icdev, uint32_t* len, uint8_t* data) {
    return guarded<int16_t>([&] { return id::info_command(id::kAdded, icdev, len, data); });
}

VNR_API int16_t VNR_CALL IDCard_ReadManage(int32_t icdev, uint32_t* len, uint8_t* data) {
    return guarded<int16_t>([&] { return id::info_command(id::kManage, icdev, len, data); });
}

VNR_API int16_t VNR_CALL IDCard_Read(int32_t icdev, uint32_t* len, uint8_t* data) {
    return guarded<int16_t>([&] { return id::read_text_and_photo(icdev, len, data); });
}

VNR_API int16_t VNR_CALL IDCard_GetModeID(int32_t icdev, uint8_t* len, uint8_t* data) {
    return guarded<int16_t>([&] { return run(id::kModuleId, {icdev, {}, {}, {data, len}}); });
}

VNR_API int16_t VNR_CALL IDCard_Read_IDNUM(int32_t icdev, uint32_t* len, uint8_t* buf) {
    return guarded<int16_t>([&] { return run(id::kCardId, {icdev, {}, {}, {buf, len}}); });
}

VNR_API int16_t VNR_CALL IDCard_Read_P_W(int32_t icdev, uint32_t* len, uint8_t* buf) {
    return guarded<int16_t>([&] {
        const id::PhotoFilesGuard files;
        return id::record_read(id::kReadPhoto, icdev, len, buf);
    });
}

VNR_API int16_t VNR_CALL IDCard_Read_P_W_F(int32_t icdev, uint32_t* len, uint8_t* buf) {
    return guarded<int16_t>([&] {
        const id::PhotoFilesGuard files;
        return id::record_read(id::kReadFingerprint, icdev, len, buf);
    });
}

}  // extern "C"
