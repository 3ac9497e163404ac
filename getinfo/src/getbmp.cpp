// getinfo/src/getbmp.cpp: GetBmp, the one export of the decoder library. Files are opened with the
// C library's fopen so that a Windows path in the ANSI code page is taken as it stands.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "getinfo.h"
#include "wlt/bmp.h"
#include "wlt/codec.h"

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// A portrait never takes more than kMaxEncodedSize bytes and whatever follows it is ignored, so a
// bounded read of the file's head sees all that matters, however large the file.
constexpr std::size_t kReadLimit = 64 * 1024;

bool ends_with_wlt(const char* path, std::size_t length) {
    if (length < 4) return false;
    const char* tail = path + length - 4;
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return tail[0] == '.' && lower(tail[1]) == 'w' && lower(tail[2]) == 'l' && lower(tail[3]) == 't';
}

}  // namespace

extern "C" GETINFO_API int32_t GETINFO_CALL GetBmp(const char* wlt_path, int32_t mode) {
    (void)mode;  // only mode 2 is defined; any other value is decoded as 2
    try {
        if (wlt_path == nullptr) return GETINFO_E_OPEN;
        const std::size_t length = std::strlen(wlt_path);
        if (!ends_with_wlt(wlt_path, length)) return GETINFO_E_SUFFIX;

        std::vector<std::uint8_t> data(kReadLimit);
        {
            const File in{std::fopen(wlt_path, "rb")};
            if (!in) return GETINFO_E_OPEN;
            const std::size_t got = std::fread(data.data(), 1, data.size(), in.get());
            if (std::ferror(in.get())) return GETINFO_E_OPEN;
            data.resize(got);
        }

        wlt::DecodeError error = wlt::DecodeError::none;
        const std::optional<wlt::Image> image = wlt::decode(data, &error);
        if (!image) return error == wlt::DecodeError::bad_format ? GETINFO_E_FORMAT : GETINFO_E_DECODE;
        const std::vector<std::uint8_t> bmp = wlt::bmp_file_bytes(*image);

        const std::string bmp_path = std::string(wlt_path, length - 4) + ".bmp";
        File out{std::fopen(bmp_path.c_str(), "wb")};
        if (!out) return GETINFO_E_DECODE;
        const bool written = std::fwrite(bmp.data(), 1, bmp.size(), out.get()) == bmp.size();
        const bool closed = std::fclose(out.release()) == 0;  // a full disk may only show here
        if (!written || !closed) {
            std::remove(bmp_path.c_str());
            return GETINFO_E_DECODE;
        }
        return GETINFO_OK;
    } catch (...) {
        // No exception may cross the C boundary; the only ones possible are allocation failures.
        return GETINFO_E_DECODE;
    }
}
