// fuzz/wlt_decode_fuzz.cpp: the photo decoder's portrait format (wlt::decode, getinfo/FORMAT.md) over
// any bytes as a card's photo block: header, CRC, the arithmetic decoder and the levels of every block.
// It refuses (not this format, or corrupt) or gives a whole portrait. The CRC makes most mutations
// corrupt, so an input whose first byte is odd gets its CRC put right before it is decoded.
#include "check.h"
#include "wlt/codec.h"

#include <vector>

namespace {

// CRC-16 as the format has it: polynomial 0x1021, initial 0xFFFF, most significant bit first.
std::uint16_t crc16(std::span<const std::uint8_t> bytes, std::uint16_t crc = 0xFFFF) {
    for (const std::uint8_t byte : bytes) {
        crc = static_cast<std::uint16_t>(crc ^ (byte << 8));
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>(crc & 0x8000 ? (crc << 1) ^ 0x1021 : crc << 1);
    }
    return crc;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    std::vector<std::uint8_t> photo(data + 1, data + size);
    constexpr std::size_t kHeader = 11;
    if ((data[0] & 1) != 0 && photo.size() >= kHeader) {
        const std::size_t payload = std::min<std::size_t>(photo[7] | photo[8] << 8, photo.size() - kHeader);
        const std::uint16_t crc = crc16(std::span(photo).subspan(kHeader, payload), crc16(std::span(photo).first(9)));
        photo[9] = static_cast<std::uint8_t>(crc);
        photo[10] = static_cast<std::uint8_t>(crc >> 8);
    }
    wlt::DecodeError error = wlt::DecodeError::none;
    const auto image = wlt::decode(photo, &error);
    if (image) {
        FUZZ_CHECK(error == wlt::DecodeError::none);
        FUZZ_CHECK(image->width == wlt::kPortraitWidth && image->height == wlt::kPortraitHeight);
        FUZZ_CHECK(image->rgb.size() == std::size_t(image->width) * image->height * 3);
    } else {
        FUZZ_CHECK(error != wlt::DecodeError::none);
    }
    return 0;
}
