// getinfo/include/wlt/codec.h: the compact portrait format (".wlt" files) of the GetInfo decoder, its
// encoder, and 24-bit BMP files. Shared by the GetInfo decoder library, the reader simulator (which
// packs a deck's portrait into the card's photo block) and the vnr tool. The client library vnr_32
// does not use it: it only hands .wlt files to whatever decoder is installed.
//
// The format is documented in getinfo/FORMAT.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace wlt {

// The size of a card portrait, in pixels.
inline constexpr int kPortraitWidth = 102;
inline constexpr int kPortraitHeight = 126;
// The room of the card's photo block: an encoded portrait never takes more.
inline constexpr std::size_t kMaxEncodedSize = 1024;

// An image of 8-bit RGB pixels, rows from the top, three bytes a pixel (R, G, B), no row padding.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;  // width * height * 3 bytes
};

// Why a decoding failed.
enum class DecodeError {
    none,
    bad_format,  // not this format: wrong magic, version or size fields
    corrupt,     // the right header, but the data behind it is cut short or inconsistent
};

// Packs a portrait of kPortraitWidth x kPortraitHeight pixels into at most `budget` bytes (at most
// kMaxEncodedSize), at the best quality that fits. Throws std::invalid_argument for an image of
// another size or a budget too small for even the coarsest encoding.
std::vector<std::uint8_t> encode(const Image& portrait, std::size_t budget = kMaxEncodedSize);

// Unpacks an encoded portrait. On failure returns std::nullopt and, when `error` is given, says why.
std::optional<Image> decode(std::span<const std::uint8_t> data, DecodeError* error = nullptr);

// Peak signal-to-noise ratio of `b` against `a` over all three channels, in dB; both must be the same
// size (else std::invalid_argument). Identical images give +infinity.
double psnr(const Image& a, const Image& b);

// Reads a BMP file: uncompressed 24-bit or 32-bit, bottom-up or top-down. std::nullopt when the file
// cannot be read or is no such BMP.
std::optional<Image> read_bmp(const std::filesystem::path& path);

// Writes `image` as an uncompressed 24-bit bottom-up BMP (rows padded to four bytes). False when the
// file cannot be written.
bool write_bmp(const std::filesystem::path& path, const Image& image);

// Scales `image` to `width` x `height` (area averaging when shrinking, bilinear when growing).
Image resize(const Image& image, int width, int height);

}  // namespace wlt
