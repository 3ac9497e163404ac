// tests/getinfo/bmp_test.cpp: BMP files: what we write, the layouts we read, the files we refuse.
#include <gtest/gtest.h>

#include "scratch_dir.h"
#include "wlt/bmp.h"
#include "wlt/codec.h"

namespace {

// A 3 x 2 picture with a different colour in every pixel: an odd width needs row padding, and any
// mix-up of rows, columns or channels shows.
const wlt::Image kPicture{3, 2, {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30, 40, 50, 60, 70, 80, 90}};

void put32(std::vector<std::uint8_t>& b, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(v >> (8 * i));
}

// kPicture as a BMP built by hand: `bits` 24 or 32, rows stored top-down when `top_down`.
std::vector<std::uint8_t> handmade(int bits, bool top_down, std::uint32_t compression = 0) {
    const std::size_t masks = compression == 3 ? 12 : 0;
    const std::size_t offset = 54 + masks;
    const std::size_t stride = (3 * static_cast<std::size_t>(bits) + 31) / 32 * 4;
    std::vector<std::uint8_t> b(offset + stride * 2, 0);
    b[0] = 'B';
    b[1] = 'M';
    put32(b, 2, static_cast<std::uint32_t>(b.size()));
    put32(b, 10, static_cast<std::uint32_t>(offset));
    put32(b, 14, 40);
    put32(b, 18, 3);
    put32(b, 22, top_down ? static_cast<std::uint32_t>(-2) : 2u);
    b[26] = 1;
    b[28] = static_cast<std::uint8_t>(bits);
    put32(b, 30, compression);
    put32(b, 34, static_cast<std::uint32_t>(stride * 2));
    put32(b, 38, 2835);  // 72 dots an inch
    put32(b, 42, 2835);
    if (masks) {
        put32(b, 54, 0x00FF0000);
        put32(b, 58, 0x0000FF00);
        put32(b, 62, 0x000000FF);
    }
    for (int y = 0; y < 2; ++y) {
        const std::size_t row = offset + stride * static_cast<std::size_t>(top_down ? y : 1 - y);
        for (int x = 0; x < 3; ++x) {
            const std::uint8_t* rgb = &kPicture.rgb[static_cast<std::size_t>(y * 3 + x) * 3];
            std::uint8_t* px = &b[row + static_cast<std::size_t>(x * bits / 8)];
            px[0] = rgb[2];
            px[1] = rgb[1];
            px[2] = rgb[0];
            if (bits == 32) px[3] = 0xEE;  // unused byte: must not leak into the colours
        }
    }
    return b;
}

TEST(Bmp, WrittenFilesReadBackAndHaveTheStandardLayout) {
    ScratchDir dir;
    const auto file = dir / "picture.bmp";
    ASSERT_TRUE(wlt::write_bmp(file, kPicture));
    const auto bytes = ScratchDir::read(file);
    EXPECT_EQ(bytes, handmade(24, false)) << "24-bit, bottom-up, rows padded to four bytes";
    const auto back = wlt::read_bmp(file);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->width, 3);
    EXPECT_EQ(back->height, 2);
    EXPECT_EQ(back->rgb, kPicture.rgb);
}

TEST(Bmp, ReadsTopDownAnd32BitFiles) {
    struct Case { const char* what; std::vector<std::uint8_t> bytes; };
    const Case cases[] = {
        {"24-bit top-down", handmade(24, true)},
        {"32-bit bottom-up", handmade(32, false)},
        {"32-bit top-down", handmade(32, true)},
        {"32-bit with channel masks", handmade(32, false, 3)},
    };
    for (const Case& c : cases) {
        const auto image = wlt::parse_bmp(c.bytes);
        ASSERT_TRUE(image) << c.what;
        EXPECT_EQ(image->rgb, kPicture.rgb) << c.what;
    }
    // The last row may come without its padding.
    auto unpadded = handmade(24, false);
    unpadded.resize(unpadded.size() - 3);
    EXPECT_TRUE(wlt::parse_bmp(unpadded)) << "short padding";
}

TEST(Bmp, RefusesBrokenAndUnsupportedFiles) {
    struct Case {
        const char* what;
        std::size_t offset;  // where `value` goes in `width` bytes, or SIZE_MAX to cut `value` bytes off
        std::uint32_t value;
        int width = 4, bits = 24;
        std::uint32_t compression = 0;
    };
    const Case cases[] = {
        {"signature", 0, 'X', 1},
        {"info header shorter than 40 bytes", 14, 12},
        {"info header past the end", 14, 4000},
        {"16 bits a pixel", 28, 16, 1},
        {"two planes", 26, 2, 1},
        {"run-length compressed", 30, 1},
        {"zero width", 18, 0},
        {"negative width", 18, 0xFFFFFFFDu},
        {"zero height", 22, 0},
        {"huge height", 22, 0x7FFFFFFFu},
        {"pixels start inside the header", 10, 20},
        {"pixels start past the end", 10, 0x10000},
        {"rows missing", SIZE_MAX, 7},
        {"channel masks of another order", 54, 0x000000FF, 4, 32, 3},
    };
    for (const Case& c : cases) {
        auto bytes = handmade(c.bits, false, c.compression);
        if (c.offset == SIZE_MAX) bytes.resize(bytes.size() - c.value);
        for (int i = 0; c.offset != SIZE_MAX && i < c.width; ++i) bytes[c.offset + i] = static_cast<std::uint8_t>(c.value >> (8 * i));
        EXPECT_FALSE(wlt::parse_bmp(bytes)) << c.what;
    }
    EXPECT_FALSE(wlt::parse_bmp(std::vector<std::uint8_t>(53, 0))) << "shorter than the headers";
}

TEST(Bmp, FileFailures) {
    // A file that cannot be read is the identity card deck's "missing.bmp" in tests/sim/models/idcard_test.cpp.
    ScratchDir dir;
    EXPECT_FALSE(wlt::write_bmp(dir / "no-such-folder" / "x.bmp", kPicture));
    wlt::Image inconsistent = kPicture;
    inconsistent.rgb.pop_back();
    EXPECT_FALSE(wlt::write_bmp(dir / "x.bmp", inconsistent));
    EXPECT_FALSE(std::filesystem::exists(dir / "x.bmp"));
}

}  // namespace
