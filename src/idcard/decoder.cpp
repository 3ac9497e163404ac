// src/idcard/decoder.cpp: idcard. The outside photo decoder (see idcard/decoder.h).
#include "idcard/decoder.h"

#include "core/log.h"
#include "idcard/windows_path.h"
#include "platform/dynamic_library.h"
#include "vnr_32.h"

namespace vnr::idcard {

namespace {

constexpr char kDecoderBase[] = "GetInfo";
constexpr std::int32_t kDecoderMode = 2;
// The decoder's statuses from -6 to 0 map to the save statuses -8 to -2; any other one is -9.
constexpr int kLowestMappedStatus = -6;
constexpr int kMappedStatusShift = 2;

// GetBmp(path, mode) of the decoder library, in the calling convention of the library's own exports.
using GetBmpFunction = std::int32_t(VNR_CALL*)(const char*, std::int32_t);

}  // namespace

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
    if (st >= kLowestMappedStatus && st <= 0) return static_cast<std::int16_t>(st - kMappedStatusShift);
    return VNR_E_PHOTO_OTHER;
}

std::int16_t decode_beside(const std::string& wlt_file, const std::string& bmp_file) {
    return save_status(bmp_file, wlt_to_bmp(wlt_file));
}

std::int16_t write_and_decode(std::span<const std::uint8_t> photo, const std::string& wlt_file,
                              const std::string& bmp_file) {
    write_file_at(wlt_file, photo);
    return decode_beside(wlt_file, bmp_file);
}

}  // namespace vnr::idcard
