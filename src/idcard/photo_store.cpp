// src/idcard/photo_store.cpp: idcard. The photo store: folder and name, the saves of the read functions
// through the decoder, deletion of the last read's files, Base64 of a file, and their exports.
#include "idcard/photo_store.h"

#include "core/boundary.h"
#include "core/call.h"
#include "crypto/encoders.h"
#include "idcard/decoder.h"
#include "idcard/messages.h"
#include "idcard/windows_path.h"
#include "platform/files.h"
#include "platform/lock.h"
#include "vnr_32.h"

#include <array>
#include <cstring>
#include <optional>
#include <vector>

namespace vnr::idcard {

using core::Call;

namespace {

constexpr std::size_t kLongestFolder = 248;    // the photo folder with its trailing separator
constexpr std::size_t kBase64FileLimit = 65536;
constexpr std::size_t kBareNameRoom = 20;      // what photo_save lays into the record's file name

struct PhotoTexts {
    platform::ReentrantLock lock;
    std::array<std::string, 4> values{"c:\\", "zp", "", ""};
};

// Holds the texts' own lock for a scope. It is only ever held around a copy, never around I/O.
class TextsGuard {
public:
    explicit TextsGuard(PhotoTexts& texts) noexcept : texts_(texts) { texts_.lock.enter(); }
    ~TextsGuard() { texts_.lock.leave(); }
    TextsGuard(const TextsGuard&) = delete;
    TextsGuard& operator=(const TextsGuard&) = delete;

private:
    PhotoTexts& texts_;
};

PhotoTexts& texts() {
    static PhotoTexts instance;
    return instance;
}

platform::ReentrantLock& photo_files_lock() {
    static platform::ReentrantLock lock;
    return lock;
}

}  // namespace

PhotoFilesGuard::PhotoFilesGuard() noexcept { photo_files_lock().enter(); }
PhotoFilesGuard::~PhotoFilesGuard() { photo_files_lock().leave(); }

// ---- Texts ------------------------------------------------------------------------------------

std::string photo_text(PhotoText which) {
    PhotoTexts& store = texts();
    const TextsGuard guard(store);
    return store.values[static_cast<std::size_t>(which)];
}

void set_photo_text(PhotoText which, std::string_view value) {
    PhotoTexts& store = texts();
    const TextsGuard guard(store);
    store.values[static_cast<std::size_t>(which)] = std::string(value.substr(0, kPathRoom - 1));
}

// ---- Saves ------------------------------------------------------------------------------------

std::int16_t photo_save(std::span<const std::uint8_t> photo, char* file_text) {
    // cppcheck-suppress unreadVariable ; the call frame holds the library lock for the whole scope
    const Call call(nullptr);
    static constexpr char kWlt[] = "zp.wlt";
    static constexpr char kBmp[] = "zp.bmp";
    const std::int16_t saved = write_and_decode(photo, kWlt, kBmp);
    if (saved != VNR_OK) return saved;
    if (file_text != nullptr) {
        std::memset(file_text, 0, kBareNameRoom);
        std::memcpy(file_text, kBmp, sizeof kBmp - 1);
    }
    const std::string folder = photo_text(PhotoText::path);
    if (check_photo_path(folder) != 0) return VNR_E_GENERAL;
    if (!exists(folder)) make_sure_directory_path_exists(ends_with_separator(folder) ? folder : folder + separator_of(folder));
    // The separator goes in whether or not the folder ends in one.
    const auto target = fitting(folder + separator_of(folder) + kBmp);
    if (!target) return VNR_E_BAD_ARGUMENT;
    set_photo_text(PhotoText::last_file, *target);
    move_file(kBmp, *target);
    return VNR_OK;
}

std::int16_t photo_save_ex(std::span<const std::uint8_t> photo, const char* copy_to) {
    Call call("----- IDCard_PhotoSave_Ex 保存照片信息 -----");
    std::string folder = photo_text(PhotoText::path);
    if (check_photo_path(folder) != 0) return VNR_E_GENERAL;
    add_trailing_separator(folder);
    if (!exists(folder)) make_sure_directory_path_exists(folder);
    set_photo_text(PhotoText::path, folder);
    const std::string name = photo_text(PhotoText::name);
    const auto wlt = fitting(folder + name + ".wlt");
    const auto bmp = fitting(folder + name + ".bmp");
    if (!wlt || !bmp) return VNR_E_BAD_ARGUMENT;
    const std::int16_t saved = write_and_decode(photo, *wlt, *bmp);
    if (saved == VNR_OK) {
        set_photo_text(PhotoText::last_file, *bmp);
        if (copy_to != nullptr) copy_file(*bmp, copy_to);
    }
    return call.finish_either(saved, "==> IDCard_PhotoSave_Ex() 保存身份证照片信息失败，状态码: %d",
                              "==> IDCard_PhotoSave_Ex() 保存身份证照片信息成功");
}

std::int16_t photo_save_extra(std::span<const std::uint8_t> photo, std::string_view bmp_path) {
    // cppcheck-suppress unreadVariable ; the call frame holds the library lock for the whole scope
    const Call call(nullptr);
    std::string folder;
    std::string name;
    if (split_photo_path(bmp_path, folder, name) != 0) return VNR_E_PHOTO_PATH;
    const auto wlt = fitting(folder + name + ".wlt");
    const auto bmp = fitting(folder + name + ".bmp");
    if (!wlt || !bmp) return VNR_E_PHOTO_PATH;
    const std::int16_t saved = write_and_decode(photo, *wlt, *bmp);
    if (saved != VNR_OK) return saved;
    // The given path begins with the bitmap's path already. One without a drive is then moved below the
    // photo folder; a path with a drive, or a native one, names the place the caller wanted.
    if (names_no_drive(*bmp)) {
        if (const auto target = fitting(photo_text(PhotoText::path) + *bmp)) move_file(*bmp, *target);
    }
    return VNR_OK;
}

std::int16_t photo_save_extwo(std::span<const std::uint8_t> photo, std::uint8_t decode, std::string_view folder) {
    static constexpr char kSaved[] = "==> IDCard_PhotoSave_ExTwo() 保存照片信息成功 ";
    Call call("----- IDCard_PhotoSave_ExTwo() 保存身份证照片信息 -----");
    std::string base = "c:\\";
    if (!folder.empty()) {
        const bool usable = check_photo_path(folder) == 0 && fitting(std::string(folder) + "\\XP.wlt").has_value();
        if (!usable)
            return call.refuse(VNR_E_GENERAL, "==> IDCard_PhotoSave_ExTwo() 保存身份证照片信息失败，照片全路径文件名不符合要求 ");
        base.assign(folder);
        add_trailing_separator(base);
        if (!exists(base)) make_sure_directory_path_exists(base);
    }
    const std::string xp_wlt = base + "XP.wlt";
    write_file_at(xp_wlt, photo);
    if (decode == 0) return call.finish_either(VNR_OK, nullptr, kSaved);
    // The bitmap comes of a copy of the WLT data under the decoder's usual name.
    const std::string zp_wlt = base + "zp.wlt";
    const std::string zp_bmp = base + "zp.bmp";
    copy_file(xp_wlt, zp_wlt);
    const std::int16_t saved = decode_beside(zp_wlt, zp_bmp);
    if (saved == VNR_OK) set_photo_text(PhotoText::last_file, zp_bmp);
    return call.finish_either(saved, "==> IDCard_PhotoSave_ExTwo() 保存照片信息失败，状态码：%d ", kSaved);
}

// ---- Deletion, Base64, settings ---------------------------------------------------------------

std::int16_t delete_all_photofiles() {
    log::text("==> -----delete_all_photofile()----- ");
    for (const char* fixed : {"C:\\zp.bmp", "C:\\zp.wlt", "C:\\XP.wlt"}) delete_file_at(fixed);
    const std::string last = photo_text(PhotoText::last_file);
    if (!last.empty()) {
        if (!exists(last)) {
            log::text("==> delete_all_photofile()失败，照片文件路径不存在！ ");
            return VNR_OK;
        }
        if (last.size() > kExtensionLength) {
            // The XP.wlt beside the photo; a bare file name (what a read with a full bitmap path
            // leaves) lies in the current folder, not at the top of the drive.
            const std::string folder = without_file_name(last);
            delete_file_at(folder.empty() ? std::string("XP.wlt") : folder + separator_of(last) + "XP.wlt");
        }
        delete_file_at(last);  // the text stays: a second deletion finds the file gone
    }
    const std::string extra = photo_text(PhotoText::extra_file);
    if (!extra.empty()) {
        delete_file_at(extra);
        set_photo_text(PhotoText::extra_file, "");
    }
    log::text("==> delete_all_photofile()成功！ ");
    return VNR_OK;
}

std::int32_t file_base64(const char* file, char* base64) {
    if (file == nullptr) return -1;
    std::vector<unsigned char> data;
    if (!platform::read_file(native(file), kBase64FileLimit, data)) return -1;
    if (data.empty()) return -2;
    if (base64 == nullptr) return static_cast<std::int32_t>(crypto::base64_length(static_cast<std::uint32_t>(data.size())) + 1);
    return crypto::hex_base64(data.data(), base64, static_cast<std::uint32_t>(data.size()));
}

namespace {

std::int16_t set_photo_path(const char* path) {
    Call call("----- IDCard_SetPhotoPath -----");
    const auto finish = [&](std::int16_t status, const char* line) { return call.finish_text(status, line); };
    const std::size_t length = path != nullptr ? strnlen(path, kLongestSetting + 1) : 0;
    if (length == 0 || length > kLongestSetting)
        return finish(VNR_E_BAD_ARGUMENT, "==> IDCard_SetPhotoPath() 设置身份证照片路径失败，路径长度不对");
    std::string folder(path, length);
    if (!ends_with_separator(folder)) folder += separator_of(folder);
    if (folder.size() > kLongestFolder)
        return finish(VNR_E_BAD_ARGUMENT, "==> IDCard_SetPhotoPath() 设置身份证照片路径失败，设置路径太长");
    if (check_photo_path(folder) != 0)
        return finish(VNR_E_GENERAL, "==> IDCard_SetPhotoPath() 设置身份证照片路径失败，路径不满足要求");
    if (folder.size() + photo_text(PhotoText::name).size() + kExtensionLength >= kPathRoom)
        return finish(VNR_E_BAD_ARGUMENT, "==> IDCard_SetPhotoPath() 设置身份证照片路径失败，路径与文件名合计太长");
    set_photo_text(PhotoText::path, folder);
    return finish(VNR_OK, "==> IDCard_SetPhotoPath() 设置身份证照片路径成功");
}

}  // namespace

std::int16_t set_photo_name(const char* name) {
    Call call("----- IDCard_SetPhotoName -----");
    const auto finish = [&](std::int16_t status, const std::string& line) { return call.finish_text(status, line.c_str()); };
    const std::size_t length = name != nullptr ? strnlen(name, kLongestSetting + 1) : 0;
    if (length == 0 || length > kLongestSetting)
        return finish(VNR_E_GENERAL, "==> IDCard_SetPhotoName() 设置全路径照片文件名失败，长度不对");
    if (name[0] == ' ') return finish(VNR_E_GENERAL, "==> IDCard_SetPhotoName() 设置全路径照片文件名失败，路径中包含了空格");
    for (std::size_t i = 0; i < length; ++i) {
        static constexpr char kRefused[] = {'?', ':', '\\', '*', '"', '/', '<', '>', '|'};
        for (const char refused : kRefused)
            if (name[i] == refused)
                return finish(VNR_E_GENERAL,
                              std::string("==> IDCard_SetPhotoName() 设置全路径照片文件名失败，路径中包含了") + refused + "字符");
    }
    if (photo_text(PhotoText::path).size() + length + kExtensionLength >= kPathRoom)
        return finish(VNR_E_BAD_ARGUMENT, "==> IDCard_SetPhotoName() 设置全路径照片文件名失败，路径与文件名合计太长");
    set_photo_text(PhotoText::name, std::string_view(name, length));
    return finish(VNR_OK, "==> IDCard_SetPhotoName() 设置全路径照片文件名成功 ");
}

namespace {

std::int16_t wlt_file_to_bmp(const char* wlt_file, char* message) {
    Call call("-----iWlttoBmp()----- ");
    std::string_view refusal;
    if (wlt_file == nullptr) {
        refusal = "wlt文件路径参数传入为空";
    } else if (strnlen(wlt_file, kLongestPath + 1) > kLongestPath) {
        refusal = "传入文件路径超过255字节";
    } else if (!exists(wlt_file)) {
        refusal = "wlt文件路径不存在";
    } else if (std::strstr(wlt_file, ".wlt") == nullptr) {
        refusal = "传入路径不是.wlt结尾的文件";
    }
    if (!refusal.empty()) {
        lay_text_z(message, refusal);
        call.leave();
        log::line("==>iWlttoBmp() 失败，%s ", gbk(refusal).c_str());
        return VNR_E_GENERAL;
    }
    const std::string wlt = wlt_file;
    const std::string bmp = wlt.substr(0, wlt.size() - kExtensionLength) + ".bmp";
    const std::int16_t status = decode_beside(wlt, bmp);
    if (status == VNR_OK) set_photo_text(PhotoText::last_file, bmp);
    const std::string_view text = status == VNR_OK ? "转码成功" : "转码失败";
    lay_text_z(message, text);
    call.leave();
    log::line("==>iWlttoBmp()，%s ", gbk(text).c_str());
    return status;
}

std::int16_t save_ex(const std::uint8_t* photo, std::int32_t photo_len, const char* copy_to) {
    if (photo_len < 0 || (photo == nullptr && photo_len > 0)) return VNR_E_BAD_ARGUMENT;
    return photo_save_ex(std::span<const std::uint8_t>(photo, static_cast<std::size_t>(photo_len)), copy_to);
}

}  // namespace

}  // namespace vnr::idcard

using vnr::core::guarded;

extern "C" {

VNR_API int16_t VNR_CALL IDCard_SetPhotoPath(const char* path) {
    return guarded<int16_t>([&] { return vnr::idcard::set_photo_path(path); });
}

VNR_API int16_t VNR_CALL IDCard_SetPhotoName(const char* name) {
    return guarded<int16_t>([&] { return vnr::idcard::set_photo_name(name); });
}

VNR_API int16_t VNR_CALL IDCard_PhotoSave_Ex(const uint8_t* photo, int32_t photo_len, const char* copy_to) {
    return guarded<int16_t>([&] {
        const vnr::idcard::PhotoFilesGuard files;
        return vnr::idcard::save_ex(photo, photo_len, copy_to);
    });
}

VNR_API void VNR_CALL IDCard_GetPhotoFile(char* file) {
    guarded<int>([&] {
        vnr::log::text("==> -----IDCard_GetPhotoFile()----- ");
        const std::string last = vnr::idcard::photo_text(vnr::idcard::PhotoText::last_file);
        if (file != nullptr) std::memcpy(file, last.c_str(), last.size() + 1);
        return 0;
    });
}

VNR_API int16_t VNR_CALL delete_all_photofile(void) {
    return guarded<int16_t>([] {
        const vnr::idcard::PhotoFilesGuard files;
        return vnr::idcard::delete_all_photofiles();
    });
}

VNR_API int16_t VNR_CALL iWlttoBmp(const char* wlt_file, char* message) {
    return guarded<int16_t>([&] {
        const vnr::idcard::PhotoFilesGuard files;
        return vnr::idcard::wlt_file_to_bmp(wlt_file, message);
    });
}

VNR_API int32_t VNR_CALL GetFileBase64Buffer(const char* file, char* base64) {
    return guarded<int32_t>([&] { return vnr::idcard::file_base64(file, base64); });
}

}  // extern "C"
