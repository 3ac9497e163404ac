// getinfo/src/bmp.cpp: reading and writing uncompressed BMP files. Reading accepts what common tools
// write for true-colour pictures (24 or 32 bits a pixel, bottom-up or top-down, any info header of 40
// bytes or more); anything else, and any file whose fields do not add up, is refused.
#include <fstream>
#include <limits>

#include "wlt/bmp.h"

namespace wlt {
namespace {

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::size_t kInfoHeaderSize = 40;
// A bound on what we read at all: far beyond any portrait, small enough to hold in memory.
constexpr std::uintmax_t kMaxFileSize = 64u * 1024 * 1024;
constexpr std::int64_t kMaxSide = 32768;

std::uint32_t get_u32(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint32_t>(b[at]) | static_cast<std::uint32_t>(b[at + 1]) << 8 |
           static_cast<std::uint32_t>(b[at + 2]) << 16 | static_cast<std::uint32_t>(b[at + 3]) << 24;
}
std::uint16_t get_u16(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint16_t>(b[at] | b[at + 1] << 8);
}
void put_u32(std::uint8_t* p, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<std::uint8_t>(v >> (8 * i));
}
void put_u16(std::uint8_t* p, std::uint16_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}

std::optional<std::vector<std::uint8_t>> read_whole_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (size < 0 || static_cast<std::uintmax_t>(size) > kMaxFileSize) return std::nullopt;
    in.seekg(0, std::ios::beg);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    if (size > 0 && !in.read(reinterpret_cast<char*>(bytes.data()), size)) return std::nullopt;
    return bytes;
}

}  // namespace

std::optional<Image> parse_bmp(std::span<const std::uint8_t> b) {
    if (b.size() < kFileHeaderSize + kInfoHeaderSize || b[0] != 'B' || b[1] != 'M') return std::nullopt;

    const std::uint32_t data_offset = get_u32(b, 10);
    const std::uint32_t info_size = get_u32(b, 14);
    if (info_size < kInfoHeaderSize || info_size > b.size() - kFileHeaderSize) return std::nullopt;
    const auto width = static_cast<std::int64_t>(static_cast<std::int32_t>(get_u32(b, 18)));
    const auto raw_height = static_cast<std::int64_t>(static_cast<std::int32_t>(get_u32(b, 22)));
    const std::uint16_t planes = get_u16(b, 26);
    const std::uint16_t bits = get_u16(b, 28);
    const std::uint32_t compression = get_u32(b, 30);
    const bool top_down = raw_height < 0;
    const std::int64_t height = top_down ? -raw_height : raw_height;
    if (planes != 1 || (bits != 24 && bits != 32)) return std::nullopt;
    if (width <= 0 || width > kMaxSide || height <= 0 || height > kMaxSide) return std::nullopt;

    constexpr std::uint32_t kRgb = 0, kBitFields = 3;
    if (compression == kBitFields) {
        // Only the masks that describe the plain B, G, R, (unused) byte order.
        const std::size_t masks = kFileHeaderSize + kInfoHeaderSize;
        if (bits != 32 || b.size() < masks + 12 || get_u32(b, masks) != 0x00FF0000u ||
            get_u32(b, masks + 4) != 0x0000FF00u || get_u32(b, masks + 8) != 0x000000FFu)
            return std::nullopt;
    } else if (compression != kRgb) {
        return std::nullopt;
    }

    const std::int64_t pixel_bytes = bits / 8;
    const std::int64_t stride = (width * bits + 31) / 32 * 4;
    // Every row must be there; the last one may go without its padding.
    const std::int64_t needed = static_cast<std::int64_t>(data_offset) + stride * (height - 1) + width * pixel_bytes;
    if (data_offset < kFileHeaderSize + info_size || needed > static_cast<std::int64_t>(b.size()))
        return std::nullopt;

    Image image{static_cast<int>(width), static_cast<int>(height), {}};
    image.rgb.resize(static_cast<std::size_t>(width * height * 3));
    std::uint8_t* out = image.rgb.data();
    for (std::int64_t y = 0; y < height; ++y) {
        const std::int64_t stored_row = top_down ? y : height - 1 - y;
        const std::uint8_t* in = b.data() + data_offset + stored_row * stride;
        for (std::int64_t x = 0; x < width; ++x, in += pixel_bytes) {
            *out++ = in[2];
            *out++ = in[1];
            *out++ = in[0];
        }
    }
    return image;
}

std::vector<std::uint8_t> bmp_file_bytes(const Image& image) {
    if (image.width <= 0 || image.height <= 0 || image.width > kMaxSide || image.height > kMaxSide ||
        image.rgb.size() != static_cast<std::size_t>(image.width) * image.height * 3)
        return {};
    const std::size_t stride = (static_cast<std::size_t>(image.width) * 3 + 3) / 4 * 4;
    const std::size_t data_size = stride * static_cast<std::size_t>(image.height);
    const std::size_t header_size = kFileHeaderSize + kInfoHeaderSize;
    if (header_size + data_size > std::numeric_limits<std::uint32_t>::max()) return {};

    std::vector<std::uint8_t> bytes(header_size + data_size, 0);
    std::uint8_t* h = bytes.data();
    h[0] = 'B';
    h[1] = 'M';
    put_u32(h + 2, static_cast<std::uint32_t>(bytes.size()));
    put_u32(h + 10, static_cast<std::uint32_t>(header_size));
    put_u32(h + 14, static_cast<std::uint32_t>(kInfoHeaderSize));
    put_u32(h + 18, static_cast<std::uint32_t>(image.width));
    put_u32(h + 22, static_cast<std::uint32_t>(image.height));  // positive: bottom-up
    put_u16(h + 26, 1);                                          // planes
    put_u16(h + 28, 24);                                         // bits a pixel
    put_u32(h + 34, static_cast<std::uint32_t>(data_size));
    put_u32(h + 38, 2835);  // 72 dots an inch, in dots a metre
    put_u32(h + 42, 2835);

    for (int y = 0; y < image.height; ++y) {
        std::uint8_t* row = bytes.data() + header_size + static_cast<std::size_t>(image.height - 1 - y) * stride;
        const std::uint8_t* in = image.rgb.data() + static_cast<std::size_t>(y) * image.width * 3;
        for (int x = 0; x < image.width; ++x, in += 3, row += 3) {
            row[0] = in[2];
            row[1] = in[1];
            row[2] = in[0];
        }
    }
    return bytes;
}

std::optional<Image> read_bmp(const std::filesystem::path& path) {
    const auto file = read_whole_file(path);
    if (!file) return std::nullopt;
    return parse_bmp(*file);
}

bool write_bmp(const std::filesystem::path& path, const Image& image) {
    const std::vector<std::uint8_t> bytes = bmp_file_bytes(image);
    if (bytes.empty()) return false;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return static_cast<bool>(out);
}

}  // namespace wlt
