// src/platform/bmp_file.cpp: platform, shared by both backends. BMP files read with the standard
// library. A file is input: every field is checked before it is used, and nothing is allocated
// before the header has shown that the pixels are there.
#include "platform/bmp_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <span>

namespace vnr::platform {

namespace {

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::size_t kLargestInfoHeader = 124;  // BITMAPV5HEADER
constexpr std::uint32_t kUncompressed = 0;       // BI_RGB

std::uint16_t le16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | (p[1] << 8)); }
std::uint32_t le32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

struct BmpLayout {
    int width = 0;
    int height = 0;
    bool top_down = false;
    int bits_per_pixel = 0;
    std::uint64_t palette_offset = 0;
    std::uint32_t palette_entries = 0;  // 0 for 24 and 32 bits
    std::uint64_t pixel_offset = 0;
    std::uint64_t stride = 0;  // bytes of one stored row, padded to four
};

// The layout that the headers at the start of a file of `file_size` bytes describe; nullopt for
// anything but an uncompressed 1, 4, 8, 24 or 32-bit BMP whose palette and pixels lie in the file.
std::optional<BmpLayout> parse_bmp_headers(std::span<const std::uint8_t> head, std::uint64_t file_size) {
    if (head.size() < kFileHeaderSize + 4 || head[0] != 'B' || head[1] != 'M') return std::nullopt;
    const std::uint32_t info_size = le32(&head[14]);
    // BITMAPINFOHEADER and its later extensions; the older 12-byte core header is not taken.
    if (info_size != 40 && info_size != 52 && info_size != 56 && info_size != 108 && info_size != 124)
        return std::nullopt;
    if (head.size() < kFileHeaderSize + info_size) return std::nullopt;
    const std::uint8_t* info = &head[kFileHeaderSize];

    BmpLayout layout;
    const auto width = static_cast<std::int32_t>(le32(info + 4));
    const auto height = static_cast<std::int32_t>(le32(info + 8));
    if (width < 1 || width > kBmpMaxSide || height == 0 || height < -kBmpMaxSide || height > kBmpMaxSide)
        return std::nullopt;
    layout.width = width;
    layout.height = height < 0 ? -height : height;
    layout.top_down = height < 0;
    if (le16(info + 12) != 1) return std::nullopt;  // planes
    layout.bits_per_pixel = le16(info + 14);
    if (le32(info + 16) != kUncompressed) return std::nullopt;

    const std::uint64_t header_end = kFileHeaderSize + info_size;
    layout.pixel_offset = le32(&head[10]);
    switch (layout.bits_per_pixel) {
    case 1:
    case 4:
    case 8: {
        const std::uint32_t full = 1u << layout.bits_per_pixel;
        const std::uint32_t used = le32(info + 32);
        if (used > full) return std::nullopt;
        layout.palette_entries = used == 0 ? full : used;
        layout.palette_offset = header_end;
        if (header_end + 4ull * layout.palette_entries > layout.pixel_offset) return std::nullopt;
        break;
    }
    case 24:
    case 32:
        if (header_end > layout.pixel_offset) return std::nullopt;
        break;
    default:
        return std::nullopt;
    }
    layout.stride = (std::uint64_t(layout.width) * layout.bits_per_pixel + 31) / 32 * 4;
    if (layout.pixel_offset + layout.stride * std::uint64_t(layout.height) > file_size) return std::nullopt;  // truncated
    return layout;
}

// Reads `size` bytes at `offset`; false when the file has fewer.
bool read_at(std::ifstream& file, std::uint64_t offset, std::uint8_t* into, std::size_t size) {
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(into), static_cast<std::streamsize>(size));
    return file && static_cast<std::size_t>(file.gcount()) == size;
}

// One stored row of `layout` into `out` (width x 3 bytes), through the palette.
void convert_row(const BmpLayout& layout, std::span<const std::uint8_t> row,
                 std::span<const std::array<std::uint8_t, 4>> palette, std::uint8_t* out) {
    const int bits = layout.bits_per_pixel;
    for (int x = 0; x < layout.width; ++x, out += 3) {
        if (bits >= 24) {
            std::memcpy(out, &row[std::size_t(x) * (bits / 8)], 3);
            continue;
        }
        const std::size_t bit = std::size_t(x) * bits;
        const unsigned index = (row[bit / 8] >> (8 - bits - bit % 8)) & ((1u << bits) - 1);
        if (index < palette.size())
            std::memcpy(out, palette[index].data(), 3);
        else
            std::memset(out, 0, 3);  // an index past a short palette: black
    }
}

// The picture of a file of `file_size` bytes whose bytes come from `read_at(offset, into, size)`, which
// is false when the file has fewer; nothing is read before the headers have been checked.
template <typename ReadAt>
std::optional<BmpPixels> read_pixels(std::uint64_t file_size, ReadAt&& read_at) {
    std::array<std::uint8_t, kFileHeaderSize + kLargestInfoHeader> head{};
    const std::size_t head_size = std::min<std::uint64_t>(head.size(), file_size);
    if (!read_at(0, head.data(), head_size)) return std::nullopt;
    const std::optional<BmpLayout> layout = parse_bmp_headers(std::span(head).first(head_size), file_size);
    if (!layout) return std::nullopt;

    std::vector<std::array<std::uint8_t, 4>> palette(layout->palette_entries);
    if (!palette.empty() && !read_at(layout->palette_offset, palette.front().data(), palette.size() * 4))
        return std::nullopt;
    BmpPixels picture{layout->width, layout->height, std::vector<std::uint8_t>(std::size_t(layout->width) * layout->height * 3)};
    std::vector<std::uint8_t> row(layout->stride);
    for (int stored = 0; stored < layout->height; ++stored) {
        if (!read_at(layout->pixel_offset + stored * layout->stride, row.data(), row.size())) return std::nullopt;
        const int y = layout->top_down ? stored : layout->height - 1 - stored;
        convert_row(*layout, row, palette, &picture.pixels[std::size_t(y) * layout->width * 3]);
    }
    return picture;
}

}  // namespace

std::optional<BmpPixels> read_bmp_file(const std::string& native_path) {
    std::ifstream file(native_path, std::ios::binary);
    if (!file) return std::nullopt;
    file.seekg(0, std::ios::end);
    const std::streamoff end = file.tellg();
    if (end <= 0) return std::nullopt;
    return read_pixels(static_cast<std::uint64_t>(end), [&](std::uint64_t offset, std::uint8_t* into, std::size_t size) {
        return read_at(file, offset, into, size);
    });
}

std::optional<BmpPixels> read_bmp_bytes(std::span<const std::uint8_t> file) {
    return read_pixels(file.size(), [&](std::uint64_t offset, std::uint8_t* into, std::size_t size) {
        if (offset > file.size() || size > file.size() - offset) return false;
        std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(offset), size, into);
        return true;
    });
}

}  // namespace vnr::platform
