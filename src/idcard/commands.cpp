// src/idcard/commands.cpp: idcard. The module's commands, one exchange each: find, select, the reads
// of added and management information, the raw read, the module's and the card's ids, and the two
// reads that also fill the record and save the photo.
#include "idcard/commands.h"

#include "core/boundary.h"
#include "core/exchange.h"
#include "core/library_lock.h"
#include "core/log.h"
#include "core/state.h"
#include "idcard/messages.h"
#include "idcard/module_reply.h"
#include "idcard/photo_store.h"
#include "idcard/record.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

namespace vnr::idcard {

namespace {

// Sends the two-byte command and receives into `reply`.
std::int16_t exchange(std::int32_t icdev, std::uint8_t first, std::uint8_t second, std::uint32_t* received,
                      std::span<std::uint8_t> reply) {
    const std::array<std::uint8_t, 2> command{first, second};
    return core::send_cmd_vn3x(icdev, static_cast<std::int32_t>(command.size()), command.data(), received, reply);
}

// ---- Find, select, added and management information ------------------------------------------

struct InfoCommand {
    std::uint8_t second_byte;    // of the command, after D0
    std::size_t reply_size;
    std::uint8_t success_sw3;
    bool find;                   // IDCard_Find: another triple gives -80, not SW3
    const char* entry_line;
    const char* bad_handle_line;  // nullptr: none
    const char* failed_line;      // "%d": the status
    const char* success_line;     // "%d %d %d": 0, 0, SW3
    const char* triple_line;      // "%d %d %d %d": the triple and the result
};

constexpr InfoCommand kFind{0x01, 300, 0x9F, true, "-----IDCard_Find()----- ", "==>IDCard_Find(), 句柄无效 ",
                            "==>IDCard_Find(), 状态码：%d ", "==>IDCard_Find(), SW: 00 00 9F ",
                            "==>IDCard_Find(), SW: %02d %02d %02d, return: %d "};
constexpr InfoCommand kSelect{0x02, 2000, 0x90, false, "-----IDCard_Selet()----- ", "==>IDCard_Selet(), 句柄无效 ",
                              "==>IDCard_Selet(), 状态码：%d ", "==>IDCard_Selet(), SW1:00 SW2:00 SW3:90 ",
                              "==>IDCard_Selet(), SW1:%02d SW2:%02d SW3:%02d "};
constexpr InfoCommand kAdded{0x05, 200, 0x90, false, "-----IDCard_ReadAdded-----", nullptr,
                             "==> IDCard_ReadAdded() 读取身份证追加信息失败，状态码: %d ",
                             "==> IDCard_ReadAdded() 读取身份证追加信息成功 ",
                             "==> IDCard_ReadAdded() 读取身份证追加信息失败，SW1:%d SW2%d SW3:%d "};
constexpr InfoCommand kManage{0x06, 200, 0x90, false, "-----IDCard_ReadManage()----- ",
                              "==>IDCard_ReadManage(), 句柄无效 ", "==>IDCard_ReadManage(), 状态码：%d ",
                              "==>IDCard_ReadManage(), SW1: %02d SW2: %02d SW3: %02d ",
                              "==>IDCard_ReadManage(), SW1: %02d SW2: %02d SW3: %02d "};

std::int16_t info_command(const InfoCommand& command, std::int32_t icdev, std::uint32_t* len, std::uint8_t* data) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text(command.entry_line);
    std::vector<std::uint8_t> reply(command.reply_size, 0);
    if (icdev < 1) {
        guard.reset();
        if (command.bad_handle_line != nullptr) log::text(command.bad_handle_line);
        return VNR_E_BAD_HANDLE;
    }
    std::uint32_t received = 0;
    std::int16_t status = exchange(icdev, 0xD0, command.second_byte, &received, reply);
    const std::size_t length = be16(reply.data());
    if (len != nullptr) *len = length >= kReplyHead ? static_cast<std::uint32_t>(length - kReplyHead) : 0;
    // A reply too short for its triple, or declaring more than came, is refused.
    if (status == VNR_OK && (received < kReplyHead || length < kReplyHead || length > received))
        status = VNR_E_END_BYTE;
    if (status != VNR_OK) {
        guard.reset();
        log::line(command.failed_line, status);
        return status;
    }
    const Triple triple = triple_of(reply.data());
    if (triple.is(command.success_sw3)) {
        if (data != nullptr) std::copy_n(reply.begin() + kReplyHead, length - kReplyHead, data);
        guard.reset();
        log::line(command.success_line, 0, 0, command.success_sw3);
        return VNR_OK;
    }
    const std::int16_t result = command.find ? VNR_E_FIND_STATUS : static_cast<std::int16_t>(triple.sw3);
    guard.reset();
    log::line(command.triple_line, triple.sw1, triple.sw2, triple.sw3, result);
    return result;
}

// ---- Ids ----------------------------------------------------------------------------------------

constexpr std::size_t kIdReplySize = 100;

// The two id commands: raw bytes back, no module reply and no triple.
struct IdCommand {
    std::uint8_t second_byte;   // of the command, after 32
    bool handle_test;           // false: a handle below 1 comes back from the exchange as -33
    bool read_wait;             // the wait of a card read, else the standing one
    const char* entry_line;
    const char* failed_line;    // "%d": the status
    const char* done_line;
};

constexpr IdCommand kModuleId{0x51, false, true, "==> IDCard_GetModeID() 获取二代证模块ID",
                              "==> IDCard_GetModeID() 获取二代证模块ID! 状态码:%d ",
                              "==> IDCard_GetModeID() 获取二代证模块成功 "};
constexpr IdCommand kCardId{0x52, true, false, "-----IDCard_Read_IDNUM-----",
                            "==> IDCard_Read_IDNUM() 读身份证ID失败，状态码：%d ", "==> IDCard_Read_IDNUM() 读身份证ID成功 "};

// Sends the id command and copies what came, as it came, to `data`; *received gets its count.
std::int16_t id_command(const IdCommand& command, std::int32_t icdev, std::uint32_t* received, std::uint8_t* data) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text(command.entry_line);
    if (command.handle_test && icdev < 1) return VNR_E_BAD_HANDLE;
    std::array<std::uint8_t, kIdReplySize> reply{};
    const std::int16_t status = command.read_wait ? read_exchange(icdev, 0x32, command.second_byte, received, reply)
                                                  : exchange(icdev, 0x32, command.second_byte, received, reply);
    if (status != VNR_OK) {
        guard.reset();
        log::line(command.failed_line, status);
        return status;
    }
    if (data != nullptr) std::copy_n(reply.begin(), *received, data);
    guard.reset();
    log::text(command.done_line);
    return VNR_OK;
}

std::int16_t module_id(std::int32_t icdev, std::uint8_t* len, std::uint8_t* data) {
    std::uint32_t received = 0;
    const std::int16_t status = id_command(kModuleId, icdev, &received, data);
    if (status == VNR_OK && len != nullptr) *len = static_cast<std::uint8_t>(received & 0xFF);
    return status;
}

std::int16_t card_id(std::int32_t icdev, std::uint32_t* len, std::uint8_t* data) {
    std::uint32_t received = 0;
    const std::int16_t status = id_command(kCardId, icdev, &received, data);
    if (status == VNR_OK && len != nullptr) *len = received;
    return status;
}

// ---- The reads that fill the record -----------------------------------------------------------

constexpr std::size_t kFormAReplySize = 1289;
constexpr std::size_t kFormBReplySize = 2315;

struct RecordRead {
    std::uint8_t second_byte;  // of the command, after D0
    Form form;
    std::size_t reply_size;
    const char* entry_line;
    const char* bad_handle_line;
    const char* result_line;
};

constexpr RecordRead kReadPhoto{0x03, Form::a, kFormAReplySize, "-----IDCard_Read_P_W()----- ",
                                "==>IDCard_Read_P_W(), 句柄无效 ", "==>IDCard_Read_P_W(), 状态码：%d "};
constexpr RecordRead kReadFingerprint{0x04, Form::b, kFormBReplySize, "-----IDCard_Read_P_W_F()----- ",
                                      "==>IDCard_Read_P_W_F(), 句柄无效 ", "==>IDCard_Read_P_W_F(), 状态码：%d "};

// IDCard_Read_P_W and IDCard_Read_P_W_F: `buf` is the exchange's reply buffer and takes the message.
std::int16_t record_read(const RecordRead& read, std::int32_t icdev, std::uint32_t* len, std::uint8_t* buf) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text(read.entry_line);
    delete_all_photofiles();  // ahead of the handle test: a bad handle deletes the files too
    const auto finish = [&](std::int16_t status) {
        guard.reset();
        log::line(read.result_line, status);
        return status;
    };
    if (icdev < 1) {
        guard.reset();
        log::text(read.bad_handle_line);
        return VNR_E_BAD_HANDLE;
    }
    if (buf == nullptr) return finish(VNR_E_BAD_ARGUMENT);
    const std::span<std::uint8_t> reply(buf, read.reply_size);
    const bool with_fingerprint = read.form == Form::b;
    if (!with_fingerprint) identity_record_clear(*guard);
    std::uint32_t received = 0;
    const std::int16_t status = read_exchange(icdev, 0xD0, read.second_byte, &received, reply);
    if (with_fingerprint) identity_record_clear(*guard);
    if (len != nullptr) *len = be16(buf);
    char* message = reinterpret_cast<char*>(buf);
    // After a failed exchange the photo read reports what the buffer's triple says (the caller's own
    // bytes); the fingerprint read reports the exchange's status and leaves the buffer alone.
    if (status != VNR_OK && with_fingerprint) return finish(status);
    const Triple triple = triple_of(buf);
    if (status != VNR_OK || !triple.is(kSuccessSw3)) {
        lay_text(message, sw_text(triple.sw1, triple.sw2, triple.sw3));
        return finish(VNR_E_CARD_STATUS);
    }
    const std::optional<ReadLayout> layout = read_layout(reply, received, read.form);
    if (!layout) {
        if (!with_fingerprint) lay_text(message, sw_text(0, 0, 0));
        return finish(VNR_E_END_BYTE);
    }
    identity_record_fill(*guard, reply.subspan(layout->block, kTextBlockSize));
    char* photo_file = identity_record(*guard).photo_file.data();
    guard.reset();
    const std::int16_t saved = photo_save(reply.subspan(layout->photo, layout->photo_len), photo_file);
    guard.emplace();
    if (with_fingerprint) {
        // 1024 bytes from the fingerprint's offset, whatever its length says, as far as the buffer goes.
        IdentityRecord& record = identity_record(*guard);
        std::fill(record.fingerprint.begin(), record.fingerprint.end(), 0);
        const std::size_t available = std::min(kFingerprintSize, reply.size() - std::min(reply.size(), layout->fingerprint));
        std::copy_n(reply.begin() + static_cast<std::ptrdiff_t>(layout->fingerprint), available, record.fingerprint.begin());
        record.fingerprint_length = static_cast<std::int32_t>(layout->fingerprint_len);
    }
    lay_text(message, photo_status_text(saved));
    return finish(saved);
}

}  // namespace

std::int16_t read_exchange(std::int32_t icdev, std::uint8_t first, std::uint8_t second, std::uint32_t* received,
                           std::span<std::uint8_t> reply) {
    core::set_comm_timeout(kReadTimeoutMs, 0);
    const std::int16_t status = exchange(icdev, first, second, received, reply);
    core::set_comm_timeout(core::kStandingTimeoutMs, core::kStandingDelayMs);
    return status;
}

CardReply read_card_reply(std::int32_t icdev, std::uint8_t first, std::uint8_t second, std::span<std::uint8_t> reply,
                          Form form) {
    CardReply result;
    std::uint32_t received = 0;
    result.status = read_exchange(icdev, first, second, &received, reply);
    result.triple = triple_of(reply.data());
    if (result.status == VNR_OK && result.triple.is(kSuccessSw3)) {
        result.layout = read_layout(reply, received, form);
        if (!result.layout) result.status = VNR_E_END_BYTE;
    }
    return result;
}

std::int16_t read_text_and_photo(std::int32_t icdev, std::uint32_t* len, std::uint8_t* data) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("---IDCard_Read 读二代证---");
    if (icdev < 1) {
        guard.reset();
        log::text("==> IDCard_Read 句柄无效 ");
        return VNR_E_BAD_HANDLE;
    }
    std::vector<std::uint8_t> reply(kReadReplySize, 0);
    std::uint32_t received = 0;
    const std::int16_t status = read_exchange(icdev, 0x32, 0x50, &received, reply);
    if (status != VNR_OK) {
        guard.reset();
        log::line("==> IDCard_Read 读二代证错误! 错误码:%d ", status);
        return status;
    }
    if (data != nullptr) std::copy_n(reply.begin(), received, data);
    if (len != nullptr) *len = received;
    if (received < kReplyHead) {
        guard.reset();
        log::line("==> IDCard_Read 读二代证错误! 错误码:%d ", VNR_E_END_BYTE);
        return VNR_E_END_BYTE;
    }
    const Triple triple = triple_of(reply.data());
    guard.reset();
    if (!triple.is(kSuccessSw3)) {
        log::line("==> IDCard_Read SW1 = %d,SW2 = %d,SW3 = %d错误!", triple.sw1, triple.sw2, triple.sw3);
        return VNR_E_CARD_STATUS;
    }
    log::text("==> IDCard_Read 读二代证成功! ");
    return VNR_OK;
}

}  // namespace vnr::idcard

using vnr::core::guarded;
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
    return guarded<int16_t>([&] { return id::module_id(icdev, len, data); });
}

VNR_API int16_t VNR_CALL IDCard_Read_IDNUM(int32_t icdev, uint32_t* len, uint8_t* buf) {
    return guarded<int16_t>([&] { return id::card_id(icdev, len, buf); });
}

VNR_API int16_t VNR_CALL IDCard_Read_P_W(int32_t icdev, uint32_t* len, uint8_t* buf) {
    return guarded<int16_t>([&] { return id::record_read(id::kReadPhoto, icdev, len, buf); });
}

VNR_API int16_t VNR_CALL IDCard_Read_P_W_F(int32_t icdev, uint32_t* len, uint8_t* buf) {
    return guarded<int16_t>([&] { return id::record_read(id::kReadFingerprint, icdev, len, buf); });
}

}  // extern "C"
