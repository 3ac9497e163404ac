// src/idcard/read_card.cpp: idcard. The read-card family: one call reads a resident identity card,
// lays its text out in the record (or the caller's buffers), takes care of the photo in its own way,
// and gives the caller a message beside the status.
#include "core/boundary.h"
#include "core/call.h"
#include "idcard/commands.h"
#include "idcard/messages.h"
#include "idcard/reply.h"
#include "idcard/photo_store.h"
#include "idcard/record.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

namespace vnr::idcard {

using core::Call;
using core::ReplyRoom;

namespace {

constexpr std::size_t kLongestBitmapPath = 254;   // IDCard_ReadCard_Extra's file name
constexpr std::size_t kLongestPhotoFolder = 248;  // IDCard_ReadCard's photo folder, with its separator
constexpr std::size_t kLongestFileName = 250;     // IDCard_ReadCard_Ex's folder and name
constexpr std::size_t kLongestTextFolder = 250;   // IDCard_ReadCard_ExTwo's folder
constexpr std::size_t kNumberNameLength = 16;     // what IDCard_ReadCard_Ex counts for a name from the number
constexpr std::size_t kTextAsideRoom = 1024;      // IDCard_ReadCard_ExTwo's copy of the text block
constexpr std::size_t kLongReplyRoom = 3000;      // the reply room of the reads that keep the whole reply
constexpr std::size_t kExTwoReplyRoom = 3096;
constexpr std::string_view kDefaultTextFolder = "D:\\";  // where wz.txt goes when no folder is given
constexpr char kReadCardResult[] = "==> IDCard_ReadCard() 读二代证! 状态码:%d ";
// IDCard_ReadCard_Ex's save modes: delete the photo after the call, keep it named after the card's number;
// any other value keeps it under the photo name that is set.
constexpr std::int32_t kKeepNoFile = 0;
constexpr std::int32_t kNameFromNumber = 2;

std::size_t bounded_length(const char* text, std::size_t limit) { return text != nullptr ? strnlen(text, limit) : 0; }

// ---- IDCard_ReadCard -------------------------------------------------------------------------

std::int16_t read_card(std::int32_t icdev, char* errtext) {
    Call call(nullptr);
    if (icdev < 1) return call.refuse(VNR_E_BAD_HANDLE, "==> IDCard_ReadCard 句柄无效 ");
    std::string folder = photo_text(PhotoText::path);
    if (!folder.empty()) {
        add_trailing_separator(folder);  // the stored folder keeps the separator
        set_photo_text(PhotoText::path, folder);
        if (folder.size() > kLongestPhotoFolder) {
            static constexpr std::string_view kRefusal = "照片路径设置非法";
            lay_text_z(errtext, kRefusal);
            log::line("==> IDCard_ReadCard(), 错误描述：%s ", gbk(kRefusal).c_str());
            return VNR_E_BAD_ARGUMENT;
        }
    }
    delete_all_photofiles();
    ReplyRoom room(kLongReplyRoom);
    identity_record_clear(call.guard());
    const std::array<std::uint8_t, 2> command{kReadGroup, kRead};
    const core::Reply reply = call.exchange_waiting(icdev, command, room, kReadTimeoutMs);
    std::int16_t status = reply.status;
    if (!reply.ok()) {
        lay_text(errtext, kFailed);
        return call.finish(status, kReadCardResult);
    }
    const Triple triple = triple_in(room.all());
    log::line("==> SW1 = %02x,SW2 = %02x,SW3 = %02x ", triple.sw1, triple.sw2, triple.sw3);
    const std::optional<Bytes> block = text_block_of(reply.data);
    if (!triple.is(kDoneSw3)) {
        lay_text(errtext, sw_text(triple.sw1, triple.sw2, triple.sw3));
        status = VNR_E_CARD_STATUS;
    } else if (!block) {
        lay_text(errtext, kFailed);  // the text block did not come whole
        status = VNR_E_END_BYTE;
    } else {
        // Only the text is taken; the photo of the reply goes with the room.
        identity_record_fill(call.guard(), *block);
        call.leave();
        log::line("==> IDCard_PhotoSave  ,st = %d", 0);
        lay_text(errtext, kDone);
    }
    return call.finish(status, kReadCardResult);
}

// ---- IDCard_ReadCard_Extra --------------------------------------------------------------------

std::int32_t read_card_extra(std::int32_t icdev, const char* bmp_path, char* errtext) {
    const std::size_t path_length = bounded_length(bmp_path, kLongestBitmapPath + 1);
    const std::string path(bmp_path != nullptr ? bmp_path : "", path_length);
    Call call("==> IDCard_ReadCard_Extra(), icdev = [%d], lpInPhoneSaveFile = [%s]", icdev, path.c_str());
    if (path_length > kLongestBitmapPath) {
        lay_text_z(errtext, "照片全路径设置非法");
        return call.refuse(VNR_E_GENERAL, "<== IDCard_ReadCard_Extra(), 照片路径设置非法!!!");
    }
    delete_all_photofiles();
    ReplyRoom room(kReadReplySize);
    if (icdev < 1) return call.refuse(VNR_E_BAD_HANDLE, "==>IDCard_ReadCard_Extra(), 句柄无效");
    identity_record_clear(call.guard());
    const CardRead card = read_card_reply(call, icdev, kReadGroup, kRead, room, ReadForm::text_and_photo);
    std::int16_t status = card.status;
    if (status != VNR_OK) {
        lay_text(errtext, kFailed);
    } else if (card.refused_by_card()) {
        lay_text(errtext, sw_text(card.triple.sw1, card.triple.sw2, card.triple.sw3));
        status = VNR_E_CARD_STATUS;
    } else {
        identity_record_fill(call.guard(), card.layout->block);
        if (!path.empty()) {
            // The record names the photo by the file name part of the path, ahead of the save.
            IdentityRecord& record = identity_record(call.guard());
            const std::string bare = file_name_part(path).substr(0, kPathRoom - 1);
            std::memcpy(record.photo_file.data(), bare.c_str(), bare.size() + 1);
            status = call.outside([&] { return photo_save_extra(card.layout->photo, path); });
            if (status == VNR_OK) {
                set_photo_text(PhotoText::extra_file, path);
                set_photo_text(PhotoText::last_file, bare);  // what the record was given, not what it holds now
                lay_text(errtext, kDone);
            } else if (status == VNR_E_PHOTO_PATH) {
                lay_text_z(errtext, "照片文件地址传入有误");
            } else {
                lay_text(errtext, photo_status_text(status));
            }
        }
    }
    return call.finish(status, "<== IDCard_ReadCard_Extra(), st = [%d]");
}

// ---- IDCard_ReadCard_Ex -----------------------------------------------------------------------

struct FieldBuffers {
    std::array<char*, kFieldCount> out;
};

std::int16_t read_card_ex(std::int32_t icdev, const FieldBuffers& fields, std::int32_t save_mode, char* photo_base64,
                          std::int32_t* photo_base64_len, char* errtext) {
    static constexpr char kResult[] = "==> IDCard_ReadCard_Ex() 读二代证! 状态码:%d ";
    Call call("----- IDCard_ReadCard_Ex() 读二代证 ----- ");
    if (save_mode != kKeepNoFile) {
        const std::string folder = photo_text(PhotoText::path);
        const bool separator_missing = !folder.empty() && folder.back() != '\\' && folder.back() != '/';
        const std::size_t name = save_mode == kNameFromNumber ? kNumberNameLength : photo_text(PhotoText::name).size();
        if (folder.size() + (separator_missing ? 1 : 0) + name > kLongestFileName) {
            lay_text_z(errtext, "照片文件路径设置非法");
            return VNR_E_BAD_ARGUMENT;
        }
    }
    if (icdev < 1) return VNR_E_BAD_HANDLE;
    delete_all_photofiles();
    ReplyRoom room(kLongReplyRoom);
    std::uint32_t length = 0;
    const std::int16_t read = call.outside([&] { return read_text_and_photo(icdev, &length, room.span().data()); });
    const std::optional<ReadLayout> layout =
        read == VNR_OK ? read_layout(room.all().first(length), ReadForm::text_and_photo) : std::nullopt;
    if (!layout) {
        lay_text(errtext, kFailed);
        return call.finish(read != VNR_OK ? read : std::int16_t{VNR_E_END_BYTE}, kResult);
    }
    std::array<char, 20> number{};  // the card's number, terminated, for a name taken from it
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        std::array<std::uint8_t, 100> scratch{};  // the field and the zero units that end it
        std::copy_n(layout->block.begin() + static_cast<std::ptrdiff_t>(kFields[i].offset), kFields[i].width,
                    scratch.begin());
        run_converter(i, scratch.data(), fields.out[i]);
        if (i == kIdNumberField) convert_field(i, scratch.data(), number.data());
    }
    if (save_mode == kNameFromNumber) set_photo_name(number.data());
    const std::string last = photo_text(PhotoText::path) + photo_text(PhotoText::name) + ".bmp";
    const std::int16_t status = call.outside([&]() -> std::int16_t {
        if (last.size() >= kPathRoom) return VNR_E_BAD_ARGUMENT;
        set_photo_text(PhotoText::last_file, last);
        return photo_save_ex(layout->photo, last.c_str());
    });
    lay_text(errtext, photo_status_text(status));
    const std::int32_t encoded = file_base64(last.c_str(), photo_base64);
    if (photo_base64_len != nullptr) *photo_base64_len = encoded;
    if (save_mode == kKeepNoFile) delete_file_at(last);
    return call.finish(status, kResult);
}

// ---- IDCard_ReadCard_ExTwo --------------------------------------------------------------------

std::int16_t read_card_extwo(std::int32_t icdev, std::uint8_t decode, const char* folder_arg, char* errtext) {
    Call call("----- IDCard_ReadCard_ExTwo() 读二代证 ----- ");
    if (icdev < 1) return call.refuse(VNR_E_BAD_HANDLE, "==> IDCard_ReadCard_ExTwo()失败，句柄无效！ ");
    const std::string folder(folder_arg != nullptr ? folder_arg : "", bounded_length(folder_arg, kLongestTextFolder + 1));
    std::string text_folder = folder.empty() ? std::string(kDefaultTextFolder) : folder;
    if (text_folder.size() > kLongestTextFolder) {
        lay_text_z(errtext, "照片路径传入非法");
        return call.refuse(VNR_E_CARD_STATUS, "==> IDCard_ReadCard_ExTwo() 读二代证失败，照片路径不符合要求 ");
    }
    ReplyRoom room(kExTwoReplyRoom);
    const CardRead card = read_card_reply(call, icdev, kReadGroup, kRead, room, ReadForm::text_and_photo);
    std::int16_t status = card.status;
    if (card.read() && card.layout->text.size() > kTextAsideRoom) status = VNR_E_END_BYTE;
    if (status != VNR_OK) {
        lay_text(errtext, kFailed);
        return call.finish(status, "==>IDCard_ReadCard_ExTwo() 读取身份证信息失败，操作失败, 状态码: %d ");
    }
    if (card.refused_by_card()) {
        const std::string_view message = sw_text(card.triple.sw1, card.triple.sw2, card.triple.sw3);
        lay_text(errtext, message);
        log::line("==>IDCard_ReadCard_ExTwo() 读取身份证信息失败，%s ", gbk(message).c_str());
        return VNR_E_CARD_STATUS;
    }
    // The text block as it came, text_len bytes, for wz.txt, with a line feed behind it.
    std::vector<std::uint8_t> aside(card.layout->text.begin(), card.layout->text.end());
    aside.push_back(0x0A);
    identity_record_clear(call.guard());
    identity_record_fill(call.guard(), card.layout->block);
    status = call.outside([&] { return photo_save_extwo(card.layout->photo, decode, folder); });

    std::string_view message;
    if (status == VNR_OK) {
        add_trailing_separator(text_folder);
        if (!write_file_at(text_folder + "wz.txt", aside)) {
            lay_text_z(errtext, "wz.txt打开失败");
            log::text("==>IDCard_ReadCard_ExTwo() 读取身份证信息失败，打开wz.txt文件失败 ");
            return VNR_E_CARD_STATUS;  // the photo files stay
        }
        message = kDone;
        lay_text(errtext, message);
    } else if (status == VNR_E_GENERAL) {
        message = "文件路径传入非法";
        lay_text_z(errtext, message);
    } else {
        message = photo_status_text(status);
        lay_text(errtext, message);
    }
    log::line("==>IDCard_ReadCard_ExTwo() 读取身份证信息，%s ", gbk(message).c_str());
    return status;
}

// ---- IDCard_ReadCard_finger -------------------------------------------------------------------

std::int32_t read_card_finger(std::int32_t icdev, char* errtext) {
    Call call("-----IDCard_ReadCard_finger()----- ");
    ReplyRoom room(kLongReplyRoom);
    delete_all_photofiles();
    if (icdev < 1) {
        call.leave();
        return call.refuse(VNR_E_BAD_HANDLE, "==>IDCard_ReadCard_finger(), 句柄无效 ");
    }
    const CardRead card =
        read_card_reply(call, icdev, kModuleGroup, kReadWithFingerprint, room, ReadForm::with_fingerprint);
    std::int16_t status = card.status;  // a reply whose lengths cannot be taken: as a failed exchange
    if (card.refused_by_card()) {
        lay_text(errtext, sw_text(card.triple.sw1, card.triple.sw2, card.triple.sw3));
        status = VNR_E_CARD_STATUS;
    } else if (status == VNR_OK) {
        identity_record_clear(call.guard());
        identity_record_fill(call.guard(), card.layout->block);
        char* photo_file = identity_record(call.guard()).photo_file.data();
        status = call.outside([&] { return photo_save(card.layout->photo, photo_file); });
        identity_record_keep_fingerprint(call.guard(), fingerprint_block(room.all(), *card.layout),
                                         card.layout->fingerprint.size());
        lay_text(errtext, photo_status_text(status));
    }
    return call.finish(status, "==>IDCard_ReadCard_finger(), 状态码：%d ");
}

}  // namespace

}  // namespace vnr::idcard

using vnr::core::guarded;
namespace id = vnr::idcard;

extern "C" {

VNR_API int16_t VNR_CALL IDCard_ReadCard(int32_t icdev, char* errtext) {
    return guarded<int16_t>([&] {
        const id::PhotoFilesGuard files;
        return id::read_card(icdev, errtext);
    });
}

VNR_API int32_t VNR_CALL IDCard_ReadCard_Extra(int32_t icdev, const char* lpInPhoneSaveFile, char* errtext) {
    return guarded<int32_t>([&] {
        const id::PhotoFilesGuard files;
        return id::read_card_extra(icdev, lpInPhoneSaveFile, errtext);
    });
}

VNR_API int16_t VNR_CALL IDCard_ReadCard_Ex(int32_t icdev, char* name, char* sex, char* nation, char* birthday,
                                            char* address, char* id_number, char* department, char* valid_from,
                                            char* valid_to, char* reserve, int32_t save_mode, char* photo_base64,
                                            int32_t* photo_base64_len, char* errtext) {
    const id::FieldBuffers fields{{name, sex, nation, birthday, address, id_number, department, valid_from, valid_to, reserve}};
    return guarded<int16_t>([&] {
        const id::PhotoFilesGuard files;
        return id::read_card_ex(icdev, fields, save_mode, photo_base64, photo_base64_len, errtext);
    });
}

VNR_API int16_t VNR_CALL IDCard_ReadCard_ExTwo(int32_t icdev, int32_t decode, const char* folder, char* errtext) {
    return guarded<int16_t>([&] {
        const id::PhotoFilesGuard files;
        return id::read_card_extwo(icdev, static_cast<uint8_t>(decode & 0xFF), folder, errtext);
    });
}

VNR_API int32_t VNR_CALL IDCard_ReadCard_finger(int32_t icdev, char* errtext) {
    return guarded<int32_t>([&] {
        const id::PhotoFilesGuard files;
        return id::read_card_finger(icdev, errtext);
    });
}

}  // extern "C"
