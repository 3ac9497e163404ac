// src/idcard/photo_store.cpp: idcard. The photo store: folder and name, saves through the decoder,
// deletion of the last read's files, Base64 of a file, and their exports.
#include "idcard/photo_store.h"

#include "core/boundary.h"
#include "core/library_lock.h"
#include "core/log.h"
#include "crypto/encoders.h"
#include "idcard/messages.h"
#include "platform/dynamic_library.h"
#include "platform/files.h"
#include "platform/lock.h"
#include "platform/paths.h"
#include "vnr_32.h"

#include <array>
#include <cctype>
#include <cstring>
#include <optional>
#include <vector>

namespace vnr::idcard {

namespace {

constexpr std::size_t kLongestPath = 255;      // check_photo_path and iWlttoBmp refuse longer paths
constexpr std::size_t kLongestSetting = 250;   // IDCard_SetPhotoPath and IDCard_SetPhotoName
constexpr std::size_t kLongestFolder = 248;    // the photo folder with its trailing separator
constexpr std::size_t kExtensionLength = 4;    // ".bmp", ".wlt"
constexpr std::size_t kBase64FileLimit = 65536;
constexpr char kDecoderBase[] = "GetInfo";
constexpr std::int32_t kDecoderMode = 2;

// GetBmp(path, mode) of the decoder library, in the calling convention of the library's own exports.
using GetBmpFunction = std::int32_t(VNR_CALL*)(const char*, std::int32_t);

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

// ---- Paths in Windows form, and the file operations on them ------------------------------------

bool is_lead_byte(unsigned char c) { return c >= 0x81 && c <= 0xFE; }

// The separator of a path: "/" in a native absolute path, else "\".
char separator_of(std::string_view path) { return platform::is_native_absolute(path) ? '/' : '\\'; }

bool ends_with_separator(std::string_view path) { return !path.empty() && path.back() == separator_of(path); }

// The position of the last separator: in a native path the last "/", whatever its bytes are; in a
// Windows path the last "\" or "/", stepping over double-byte characters as the system's path functions
// do, so that a GBK trail byte 0x5C is no separator. npos when none.
std::size_t last_separator(std::string_view path) {
    if (platform::is_native_absolute(path)) return path.rfind('/');
    std::size_t last = std::string_view::npos;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (is_lead_byte(static_cast<unsigned char>(path[i])) && i + 1 < path.size()) {
            ++i;
        } else if (path[i] == '\\' || path[i] == '/') {
            last = i;
        }
    }
    return last;
}

// The path without its last component; a root keeps its separator ("C:\zp.bmp" gives "C:\").
std::string without_file_name(std::string_view path) {
    const std::size_t at = last_separator(path);
    if (at == std::string_view::npos) return {};
    const bool root = at == 0 || (at == 2 && path[1] == ':');
    return std::string(path.substr(0, root ? at + 1 : at));
}

// A Windows path that names no drive (a native path names its place whole).
bool names_no_drive(std::string_view path) {
    if (path.empty() || platform::is_native_absolute(path)) return false;
    return !(path.size() >= 2 && path[1] == ':');
}

std::optional<std::string> fitting(std::string path) {
    if (path.size() >= kPathRoom) return std::nullopt;
    return path;
}

std::string native(std::string_view path) { return platform::native_path(path); }

bool exists(std::string_view path) { return platform::path_exists(native(path)); }

// Creates every folder of `path` up to its last separator.
void make_sure_directory_path_exists(std::string_view path) {
    const std::size_t at = last_separator(path);
    if (at == std::string_view::npos || at == 0) return;
    platform::make_directory_path(native(path.substr(0, at)));
}


void copy_file(std::string_view from, std::string_view to) {
    platform::prepare_drive(to);
    platform::copy_file(native(from), native(to));
}

void move_file(std::string_view from, std::string_view to) {
    platform::prepare_drive(to);
    platform::move_file(native(from), native(to));
}


bool component_is_usable(std::string_view component) {
    if (!component.empty() && component.front() == ' ') return false;
    return component.find_first_of("\\/:*?<>\"") == std::string_view::npos;
}

// Logs a line whose one "%s" takes a UTF-8 text of the library's own.
void log_with_text(const char* format, std::string_view utf8) { log::line(format, gbk(utf8).c_str()); }

}  // namespace

void add_trailing_separator(std::string& path) {
    if (!ends_with_separator(path)) path += separator_of(path);
}

void delete_file_at(std::string_view path) { platform::remove_file(native(path)); }

bool write_file_at(std::string_view path, std::span<const std::uint8_t> data) {
    platform::prepare_drive(path);
    return platform::write_file(native(path), data.data(), data.size());
}

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

std::string file_name_part(std::string_view path) {
    const std::size_t at = last_separator(path);
    return std::string(at == std::string_view::npos ? path : path.substr(at + 1));
}

// ---- Checks -----------------------------------------------------------------------------------

int check_photo_path(std::string_view path) {
    if (path.empty() || path.size() > kLongestPath) return -1;
    const char separator = separator_of(path);
    std::size_t start = 0;
    bool first = true;
    for (;;) {
        const std::size_t end = path.find(separator, start);
        const std::string_view component = path.substr(start, end == std::string_view::npos ? end : end - start);
        if (first && separator == '\\') {
            if (component.size() != 2 || !std::isalpha(static_cast<unsigned char>(component[0]))) return -1;
        } else if (!first && !component_is_usable(component)) {
            return -1;
        }
        first = false;
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return 0;
}

int split_photo_path(std::string_view bmp_path, std::string& folder, std::string& name) {
    const std::size_t at = bmp_path.find(".bmp");
    if (at == std::string_view::npos) return -1;
    if (bmp_path.size() - at > kLongestSetting || at < 3) return -1;
    const std::string_view stem = bmp_path.substr(0, at);
    const std::size_t cut = last_separator(stem);
    if (cut == std::string_view::npos || cut == 0 || cut + 1 == stem.size()) return -1;
    if (stem[cut] != separator_of(stem)) return -1;
    folder.assign(stem.substr(0, cut + 1));
    name.assign(stem.substr(cut + 1));
    make_sure_directory_path_exists(folder);
    return 0;
}

// ---- The decoder ------------------------------------------------------------------------------

std::int16_t wlt_to_bmp(const std::string& wlt_file) {
    log::line("==> WltToBmp(), cWltFileName = [%s]", wlt_file.c_str());
    const std::string file_name = platform::shared_library_name(kDecoderBase);
    std::int32_t st = 0;
    platform::DynamicLibrary decoder = platform::DynamicLibrary::open(file_name);
    if (!decoder) {
        log::text("------load Getinfo.dll Fail!!!");
        const std::string beside_us = platform::this_module_folder() + file_name;
        log::line("Dll path = [%s]", beside_us.c_str());
        decoder = platform::DynamicLibrary::open(beside_us);
    }
    if (!decoder) {
        log::text("---GetInfo.dll加载失败!!!");
    } else {
        log::text("----Load Getinfo.dll Succed, start GetBmp");
        if (const auto get_bmp = reinterpret_cast<GetBmpFunction>(decoder.symbol("GetBmp")))
            st = get_bmp(native(wlt_file).c_str(), kDecoderMode);
    }
    // The decoder is unloaded here: it is loaded afresh for every photo.
    log::line("<== WltToBmp(), st = [%d]", st);
    return static_cast<std::int16_t>(st);
}

std::int16_t save_status(const std::string& bmp_file, int st) {
    if (exists(bmp_file)) return VNR_OK;
    if (st >= -6 && st <= 0) return static_cast<std::int16_t>(st - 2);
    return VNR_E_PHOTO_OTHER;
}

// ---- Saves ------------------------------------------------------------------------------------

std::int16_t photo_save(std::span<const std::uint8_t> photo, char* file_text) {
    const core::LibraryGuard guard;
    static constexpr char kWlt[] = "zp.wlt";
    static constexpr char kBmp[] = "zp.bmp";
    write_file_at(kWlt, photo);
    const std::int16_t st = wlt_to_bmp(kWlt);
    if (!exists(kBmp)) return save_status(kBmp, st);
    if (file_text != nullptr) {
        constexpr std::size_t kBareNameRoom = 20;
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
    const core::LibraryGuard guard;
    log::text("----- IDCard_PhotoSave_Ex 保存照片信息 -----");
    std::string folder = photo_text(PhotoText::path);
    if (check_photo_path(folder) != 0) return VNR_E_GENERAL;
    if (!ends_with_separator(folder)) folder += separator_of(folder);
    if (!exists(folder)) make_sure_directory_path_exists(folder);
    set_photo_text(PhotoText::path, folder);
    const std::string name = photo_text(PhotoText::name);
    const auto wlt = fitting(folder + name + ".wlt");
    const auto bmp = fitting(folder + name + ".bmp");
    if (!wlt || !bmp) return VNR_E_BAD_ARGUMENT;
    write_file_at(*wlt, photo);
    const std::int16_t st = wlt_to_bmp(*wlt);
    if (exists(*bmp)) {
        set_photo_text(PhotoText::last_file, *bmp);
        if (copy_to != nullptr) copy_file(*bmp, copy_to);
        log::text("==> IDCard_PhotoSave_Ex() 保存身份证照片信息成功");
        return VNR_OK;
    }
    const std::int16_t status = save_status(*bmp, st);
    log::line("==> IDCard_PhotoSave_Ex() 保存身份证照片信息失败，状态码: %d", status);
    return status;
}

std::int16_t photo_save_extra(std::span<const std::uint8_t> photo, std::string_view bmp_path) {
    const core::LibraryGuard guard;
    std::string folder;
    std::string name;
    if (split_photo_path(bmp_path, folder, name) != 0) return VNR_E_PHOTO_PATH;
    const auto wlt = fitting(folder + name + ".wlt");
    const auto bmp = fitting(folder + name + ".bmp");
    if (!wlt || !bmp) return VNR_E_PHOTO_PATH;
    write_file_at(*wlt, photo);
    const std::int16_t st = wlt_to_bmp(*wlt);
    if (!exists(*bmp)) return save_status(*bmp, st);
    // The given path begins with the bitmap's path already. One without a drive is then moved below
    // the photo folder; a path with a drive, or a native one, names the place the caller wanted.
    if (names_no_drive(*bmp)) {
        if (const auto target = fitting(photo_text(PhotoText::path) + *bmp)) move_file(*bmp, *target);
    }
    return VNR_OK;
}

std::int16_t photo_save_extwo(std::span<const std::uint8_t> photo, std::uint8_t decode, std::string_view folder) {
    const core::LibraryGuard guard;
    log::text("----- IDCard_PhotoSave_ExTwo() 保存身份证照片信息 -----");
    std::string base = "c:\\";
    if (!folder.empty()) {
        const bool usable = check_photo_path(folder) == 0 && folder.size() + 1 + 6 < kPathRoom;
        if (!usable) {
            log::text("==> IDCard_PhotoSave_ExTwo() 保存身份证照片信息失败，照片全路径文件名不符合要求 ");
            return VNR_E_GENERAL;
        }
        base.assign(folder);
        if (!ends_with_separator(base)) base += separator_of(base);
        if (!exists(base)) make_sure_directory_path_exists(base);
    }
    const std::string xp_wlt = base + "XP.wlt";
    const std::string zp_wlt = base + "zp.wlt";
    const std::string zp_bmp = base + "zp.bmp";
    write_file_at(xp_wlt, photo);
    if (decode == 0) {
        log::text("==> IDCard_PhotoSave_ExTwo() 保存照片信息成功 ");
        return VNR_OK;
    }
    copy_file(xp_wlt, zp_wlt);
    const std::int16_t st = wlt_to_bmp(zp_wlt);
    if (exists(zp_bmp)) {
        set_photo_text(PhotoText::last_file, zp_bmp);
        log::text("==> IDCard_PhotoSave_ExTwo() 保存照片信息成功 ");
        return VNR_OK;
    }
    const std::int16_t status = save_status(zp_bmp, st);
    log::line("==> IDCard_PhotoSave_ExTwo() 保存照片信息失败，状态码：%d ", status);
    return status;
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
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("----- IDCard_SetPhotoPath -----");
    const auto finish = [&](std::int16_t status, const char* line) {
        guard.reset();
        log::text(line);
        return status;
    };
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
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("----- IDCard_SetPhotoName -----");
    const auto finish = [&](std::int16_t status, const std::string& utf8_line) {
        guard.reset();
        log::text(utf8_line.c_str());
        return status;
    };
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
    std::optional<core::LibraryGuard> guard(std::in_place);
    log::text("-----iWlttoBmp()----- ");
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
        guard.reset();
        log_with_text("==>iWlttoBmp() 失败，%s ", refusal);
        return VNR_E_GENERAL;
    }
    const std::string wlt = wlt_file;
    const std::string bmp = wlt.substr(0, wlt.size() - kExtensionLength) + ".bmp";
    const std::int16_t st = wlt_to_bmp(wlt);
    std::int16_t status = VNR_OK;
    std::string_view text = "转码成功";
    if (exists(bmp)) {
        set_photo_text(PhotoText::last_file, bmp);
    } else {
        status = save_status(bmp, st);
        text = "转码失败";
    }
    lay_text_z(message, text);
    guard.reset();
    log_with_text("==>iWlttoBmp()，%s ", text);
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
    return guarded<int16_t>([&] { return vnr::idcard::save_ex(photo, photo_len, copy_to); });
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
    return guarded<int16_t>([] { return vnr::idcard::delete_all_photofiles(); });
}

VNR_API int16_t VNR_CALL iWlttoBmp(const char* wlt_file, char* message) {
    return guarded<int16_t>([&] { return vnr::idcard::wlt_file_to_bmp(wlt_file, message); });
}

VNR_API int32_t VNR_CALL GetFileBase64Buffer(const char* file, char* base64) {
    return guarded<int32_t>([&] { return vnr::idcard::file_base64(file, base64); });
}

}  // extern "C"
