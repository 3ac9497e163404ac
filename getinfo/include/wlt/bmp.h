// getinfo/include/wlt/bmp.h: BMP files held in memory, for callers that do their own file input and
// output (the decoder library opens files by their ANSI names on Windows). read_bmp and write_bmp in
// wlt/codec.h are these plus the file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "wlt/codec.h"

namespace wlt {

// The bytes of a BMP file: uncompressed 24-bit or 32-bit, bottom-up or top-down. std::nullopt when
// they are no such BMP or do not hold all the rows they announce.
std::optional<Image> parse_bmp(std::span<const std::uint8_t> file);

// `image` as the bytes of an uncompressed 24-bit bottom-up BMP file (rows padded to four bytes).
// Empty when the image is empty or inconsistent (rgb not width * height * 3 bytes).
std::vector<std::uint8_t> bmp_file_bytes(const Image& image);

}  // namespace wlt
