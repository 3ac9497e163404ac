// fuzz/bmp_fuzz.cpp: both BMP readers over any bytes as a file: the library's (platform/bmp_file.h: 1,
// 4, 8, 24 and 32 bits, palettes, either row order, the later info headers) and the portrait codec's
// (wlt/bmp.h: 24 and 32 bits). A picture they accept has all its pixels.
#include "check.h"
#include "platform/bmp_file.h"
#include "wlt/bmp.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> file(data, size);
    if (const auto picture = vnr::platform::read_bmp_bytes(file)) {
        FUZZ_CHECK(picture->width >= 1 && picture->width <= vnr::platform::kBmpMaxSide);
        FUZZ_CHECK(picture->height >= 1 && picture->height <= vnr::platform::kBmpMaxSide);
        FUZZ_CHECK(picture->pixels.size() == std::size_t(picture->width) * picture->height * 3);
    }
    if (const auto image = wlt::parse_bmp(file)) {
        FUZZ_CHECK(image->rgb.size() == std::size_t(image->width) * image->height * 3);
        FUZZ_CHECK(wlt::parse_bmp(wlt::bmp_file_bytes(*image)).has_value());
    }
    return 0;
}
