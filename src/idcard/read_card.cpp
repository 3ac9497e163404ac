// src/idcard/read_card.cpp: idcard. The read-card family: one call reads a resident identity card,
// lays its text out in the record (or the caller's buffers), takes care of the photo in its own way,
// and gives the caller a message beside the status.
#include "core/boundary.h"
#include "core/exchange.h"
#include "core/library_lock.h"
#include "core/log.h"
#include "core/state.h"
#include "idcard/commands.h"
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

constexpr std::size_t kLongestBitmapPath = 254;   // IDCard_ReadCard_Extra's file name
constexpr std::size_t kLongestPhotoFolder = 248;  // IDCard_ReadCard's photo folder, with its separator
constexpr std::size_t kLongestFileName = 250;     // IDCard_ReadCard_Ex's folder and name
constexpr std::size_t kLongestTextFolder = 250;   // IDCard_ReadCard_ExTwo's folder
constexpr std::size_t kNumberNameLength = 16;     // what IDCard_ReadCard_Ex counts for a name from the number
constexpr std::size_t kTextAsideRoom = 1024;      // IDCard_ReadCard_ExTwo's copy of the text block

std::size_t bounded_length(const char* text, std::size_t limit) { return text != nullptr ? strnlen(text, limit) : 0; }

// ---- IDCard_ReadCard -------------------------------------------------------------------------

std::int16_t read_card(std::int32_t icdev, char* errtext) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    if (icdev < 1) {
        log::text("==> IDCard_ReadCard 句柄无效 ");
        return VNR_E_BAD_HANDLE;
    }
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
    std::vector<std::uint8_t> reply(3000, 0);
    identity_record_clear(*guard);
    std::uint32_t received = 0;
    std::int16_t status = read_exchange(icdev, 0x32, 0x50, &received, reply);
    if (status != VNR_OK) {
        lay_text(errtext, kFailed);
    } else {
        const Triple triple = triple_of(reply.data());
        log::line("==> SW1 = %02x,SW2 = %02x,SW3 = %02x ", triple.sw1, triple.sw2, triple.sw3);
        if (!triple.is(kSuccessSw3)) {
            lay_text(errtext, sw_text(triple.sw1, triple.sw2, triple.sw3));
            status = VNR_E_CARD_STATUS;
        } else if (received < 9 + kTextBlockSize) {
            lay_text(errtext, kFailed);  // the text block did not come whole
            status = VNR_E_END_BYTE;
        } else {
            // Only the text is taken; the photo of the reply goes with the buffer.
            identity_record_fill(*guard, std::span(reply).subspan(9, kTextBlockSize));
            guard.reset();
            log::line("==> IDCard_PhotoSave  ,st = %d", 0);
            lay_text(errtext, kDone);
        }
    }
    guard.reset();
    log::line("==> IDCard_ReadCard() 读二代证! 状态码:%d ", status);
    return status;
}

// ---- IDCard_ReadCard_Extra --------------------------------------------------------------------

std::int32_t read_card_extra(std::int32_t icdev, const char* bmp_path, char* errtext) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    const std::size_t path_length = bounded_length(bmp_path, kLongestBitmapPath + 1);
    const std::string path(bmp_path != nullptr ? bmp_path : "", path_length);
    log::line("==> IDCard_ReadCard_Extra(), icdev = [%d], lpInPhoneSaveFile = [%s]", icdev, path.c_str());
    if (path_length > kLongestBitmapPath) {
        lay_text_z(errtext, "照片全路径设置非法");
        log::text("<== IDCard_ReadCard_Extra(), 照片路径设置非法!!!");
        return VNR_E_GENERAL;
    }
    delete_all_photofiles();
    std::vector<std::uint8_t> reply(2000, 0);
    if (icdev < 1) {
        log::text("==>IDCard_ReadCard_Extra(), 句柄无效");
        return VNR_E_BAD_HANDLE;
    }
    identity_record_clear(*guard);
    const CardReply card = read_card_reply(icdev, 0x32, 0x50, reply, Form::a);
    const Triple& triple = card.triple;
    const std::optional<ReadLayout>& layout = card.layout;
    std::int32_t status = card.status;
    if (status != VNR_OK) {
        lay_text(errtext, kFailed);
    } else if (!triple.is(kSuccessSw3)) {
        lay_text(errtext, sw_text(triple.sw1, triple.sw2, triple.sw3));
        status = VNR_E_CARD_STATUS;
    } else {
        identity_record_fill(*guard, std::span(reply).subspan(layout->block, kTextBlockSize));
        if (!path.empty()) {
            // The record names the photo by the file name part of the path, ahead of the save.
            IdentityRecord& record = identity_record(*guard);
            const std::string bare = file_name_part(path).substr(0, kPathRoom - 1);
            std::memcpy(record.photo_file.data(), bare.c_str(), bare.size() + 1);
            guard.reset();
            status = photo_save_extra(std::span(reply).subspan(layout->photo, layout->photo_len), path);
            guard.emplace();
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
    guard.reset();
    log::line("<== IDCard_ReadCard_Extra(), st = [%d]", status);
    return status;
}

// ---- IDCard_ReadCard_Ex -----------------------------------------------------------------------

struct FieldBuffers {
    std::array<char*, kFieldCount> out;
};

std::int16_t read_card_ex(std::int32_t icdev, const FieldBuffers& fields, std::int32_t save_mode, char* photo_base64,
                          std::int32_t* photo_base64_len, char* errtext) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("----- IDCard_ReadCard_Ex() 读二代证 ----- ");
    if (save_mode != 0) {
        const std::string folder = photo_text(PhotoText::path);
        const bool separator_missing = !folder.empty() && folder.back() != '\\' && folder.back() != '/';
        const std::size_t name = save_mode == 2 ? kNumberNameLength : photo_text(PhotoText::name).size();
        if (folder.size() + (separator_missing ? 1 : 0) + name > kLongestFileName) {
            lay_text_z(errtext, "照片文件路径设置非法");
            return VNR_E_BAD_ARGUMENT;
        }
    }
    if (icdev < 1) return VNR_E_BAD_HANDLE;
    delete_all_photofiles();
    std::vector<std::uint8_t> reply(3000, 0);
    guard.reset();

    const auto finish = [&](std::int16_t status) {
        log::line("==> IDCard_ReadCard_Ex() 读二代证! 状态码:%d ", status);
        return status;
    };
    std::uint32_t length = 0;
    const std::int16_t read = read_text_and_photo(icdev, &length, reply.data());
    guard.emplace();
    const std::optional<ReadLayout> layout = read == VNR_OK ? read_layout(reply, length, Form::a) : std::nullopt;
    if (!layout) {
        lay_text(errtext, kFailed);
        guard.reset();
        return finish(read != VNR_OK ? read : VNR_E_END_BYTE);
    }
    std::array<char, 20> number{};  // the card's number, terminated, for a name taken from it
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        std::array<std::uint8_t, 100> scratch{};
        std::copy_n(reply.begin() + static_cast<std::ptrdiff_t>(layout->block + kFields[i].offset), kFields[i].width,
                    scratch.begin());
        run_converter(i, scratch.data(), fields.out[i]);
        if (i == 5) convert_field(i, scratch.data(), number.data());
    }
    if (save_mode == 2) set_photo_name(number.data());
    guard.reset();

    const auto last = photo_text(PhotoText::path) + photo_text(PhotoText::name) + ".bmp";
    std::int16_t status = VNR_E_BAD_ARGUMENT;
    if (last.size() < kPathRoom) {
        set_photo_text(PhotoText::last_file, last);
        status = photo_save_ex(std::span(reply).subspan(layout->photo, layout->photo_len), last.c_str());
    }
    guard.emplace();
    lay_text(errtext, photo_status_text(status));
    const std::int32_t encoded = file_base64(last.c_str(), photo_base64);
    if (photo_base64_len != nullptr) *photo_base64_len = encoded;
    if (save_mode == 0) delete_file_at(last);
    guard.reset();
    return finish(status);
}

// ---- IDCard_ReadCard_ExTwo --------------------------------------------------------------------

std::int16_t read_card_extwo(std::int32_t icdev, std::uint8_t decode, const char* folder_arg, char* errtext) {
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("----- IDCard_ReadCard_ExTwo() 读二代证 ----- ");
    if (icdev < 1) {
        log::text("==> IDCard_ReadCard_ExTwo()失败，句柄无效！ ");
        return VNR_E_BAD_HANDLE;
    }
    const std::string folder(folder_arg != nullptr ? folder_arg : "", bounded_length(folder_arg, kLongestTextFolder + 1));
    std::string text_folder = folder.empty() ? std::string("D:\\") : folder;
    if (text_folder.size() > kLongestTextFolder) {
        lay_text_z(errtext, "照片路径传入非法");
        log::text("==> IDCard_ReadCard_ExTwo() 读二代证失败，照片路径不符合要求 ");
        return VNR_E_CARD_STATUS;
    }
    std::vector<std::uint8_t> reply(3096, 0);
    const CardReply card = read_card_reply(icdev, 0x32, 0x50, reply, Form::a);
    const Triple& triple = card.triple;
    const std::optional<ReadLayout>& layout = card.layout;
    std::int16_t status = card.status;
    if (card.read() && layout->text_len > kTextAsideRoom) status = VNR_E_END_BYTE;
    if (status != VNR_OK) {
        lay_text(errtext, kFailed);
        log::line("==>IDCard_ReadCard_ExTwo() 读取身份证信息失败，操作失败, 状态码: %d ", status);
        return status;
    }
    if (!triple.is(kSuccessSw3)) {
        const std::string_view message = sw_text(triple.sw1, triple.sw2, triple.sw3);
        lay_text(errtext, message);
        log::line("==>IDCard_ReadCard_ExTwo() 读取身份证信息失败，%s ", gbk(message).c_str());
        return VNR_E_CARD_STATUS;
    }
    // The text block as it came, text_len bytes, for wz.txt, with a line feed behind it.
    std::vector<std::uint8_t> aside(reply.begin() + static_cast<std::ptrdiff_t>(layout->block),
                                    reply.begin() + static_cast<std::ptrdiff_t>(layout->block + layout->text_len));
    aside.push_back(0x0A);
    identity_record_clear(*guard);
    identity_record_fill(*guard, std::span(reply).subspan(layout->block, kTextBlockSize));
    guard.reset();
    status = photo_save_extwo(std::span(reply).subspan(layout->photo, layout->photo_len), decode, folder);
    guard.emplace();

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
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("-----IDCard_ReadCard_finger()----- ");
    std::vector<std::uint8_t> reply(3000, 0);
    delete_all_photofiles();
    if (icdev < 1) {
        guard.reset();
        log::text("==>IDCard_ReadCard_finger(), 句柄无效 ");
        return VNR_E_BAD_HANDLE;
    }
    const CardReply card = read_card_reply(icdev, 0xD0, 0x07, reply, Form::b);
    const Triple& triple = card.triple;
    const std::optional<ReadLayout>& layout = card.layout;
    std::int32_t status = card.status;  // a reply whose lengths cannot be taken: as a failed exchange
    if (status == VNR_OK && !triple.is(kSuccessSw3)) {
        lay_text(errtext, sw_text(triple.sw1, triple.sw2, triple.sw3));
        status = VNR_E_CARD_STATUS;
    } else if (status == VNR_OK) {
        identity_record_clear(*guard);
        identity_record_fill(*guard, std::span(reply).subspan(layout->block, kTextBlockSize));
        char* photo_file = identity_record(*guard).photo_file.data();
        guard.reset();
        status = photo_save(std::span(reply).subspan(layout->photo, layout->photo_len), photo_file);
        guard.emplace();
        // 1024 bytes from the fingerprint's offset whatever its length says, within the buffer.
        IdentityRecord& record = identity_record(*guard);
        const std::size_t available = std::min(kFingerprintSize, reply.size() - layout->fingerprint);
        std::fill(record.fingerprint.begin(), record.fingerprint.end(), 0);
        std::copy_n(reply.begin() + static_cast<std::ptrdiff_t>(layout->fingerprint), available, record.fingerprint.begin());
        record.fingerprint_length = static_cast<std::int32_t>(layout->fingerprint_len);
        lay_text(errtext, photo_status_text(status));
    }
    guard.reset();
    log::line("==>IDCard_ReadCard_finger(), 状态码：%d ", status);
    return status;
}

}  // namespace

}  // namespace vnr::idcard

using vnr::core::guarded;
namespace id = vnr::idcard;

extern "C" {

VNR_API int16_t VNR_CALL IDCard_ReadCard(int32_t icdev, char* errtext) {
    return guarded<int16_t>([&] { return id::read_card(icdev, errtext); });
}

VNR_API int32_t VNR_CALL IDCard_ReadCard_Extra(int32_t icdev, const char* lpInPhoneSaveFile, char* errtext) {
    return guarded<int32_t>([&] { return id::read_card_extra(icdev, lpInPhoneSaveFile, errtext); });
}

VNR_API int16_t VNR_CALL IDCard_ReadCard_Ex(int32_t icdev, char* name, char* sex, char* nation, char* birthday,
                                            char* address, char* id_number, char* department, char* valid_from,
                                            char* valid_to, char* reserve, int32_t save_mode, char* photo_base64,
                                            int32_t* photo_base64_len, char* errtext) {
    const id::FieldBuffers fields{{name, sex, nation, birthday, address, id_number, department, valid_from, valid_to, reserve}};
    return guarded<int16_t>(
        [&] { return id::read_card_ex(icdev, fields, save_mode, photo_base64, photo_base64_len, errtext); });
}

VNR_API int16_t VNR_CALL IDCard_ReadCard_ExTwo(int32_t icdev, int32_t decode, const char* folder, char* errtext) {
    return guarded<int16_t>(
        [&] { return id::read_card_extwo(icdev, static_cast<uint8_t>(decode & 0xFF), folder, errtext); });
}

VNR_API int32_t VNR_CALL IDCard_ReadCard_finger(int32_t icdev, char* errtext) {
    return guarded<int32_t>([&] { return id::read_card_finger(icdev, errtext); });
}

}  // extern "C"
