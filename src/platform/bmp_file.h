// src/platform/bmp_file.h: platform, shared by both backends. Reads BMP files without the system's
// help, so that both systems take the same files and give the same pixels (the Windows loader of
// recent versions refuses top-down files). Used by posix/drawing.cpp and win32/drawing.cpp
// (and fuzzed).
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vnr::platform {

// The widest and highest picture accepted: a header stating more is refused before anything is
// allocated for it.
constexpr int kBmpMaxSide = 10000;

// A picture's pixels top-down, three bytes each (blue, green, red), rows unpadded.
struct BmpPixels {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

// Reads an uncompressed BMP file of 1, 4, 8, 24 or 32 bits a pixel, in either row order, with a
// header of 40 bytes or one of its later extensions. nullopt when the file cannot be read, is of
// another kind, or its headers disagree with each other or with the file's length. A palette index
// past the end of a short palette gives black; a fourth byte of 32-bit pixels is ignored.
std::optional<BmpPixels> read_bmp_file(const std::string& native_path);

// The same over the bytes of a whole file held in memory.
std::optional<BmpPixels> read_bmp_bytes(std::span<const std::uint8_t> file);

}  // namespace vnr::platform
