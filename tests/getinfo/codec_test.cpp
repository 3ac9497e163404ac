// tests/getinfo/codec_test.cpp: the compact portrait format. Fidelity and size over a range of
// synthetic portraits, the budget, and decoding of damaged input (hostile payloads behind a valid
// header are the wlt_decode fuzz target's).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

#include "wlt/codec.h"
#include "wlt/portrait.h"

namespace {

using wlt::DecodeError;

// CRC-16 as FORMAT.md states it, written apart from the codec's own.
std::uint16_t format_crc(const std::vector<std::uint8_t>& bytes) {
    std::uint16_t crc = 0xFFFF;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 9 || i == 10) continue;  // the CRC field itself
        crc ^= static_cast<std::uint16_t>(bytes[i] << 8);
        for (int b = 0; b < 8; ++b) crc = static_cast<std::uint16_t>(crc & 0x8000 ? (crc << 1) ^ 0x1021 : crc << 1);
    }
    return crc;
}
void set_crc(std::vector<std::uint8_t>& bytes) {
    const std::uint16_t crc = format_crc(bytes);
    bytes[9] = static_cast<std::uint8_t>(crc);
    bytes[10] = static_cast<std::uint8_t>(crc >> 8);
}

DecodeError decode_error(const std::vector<std::uint8_t>& bytes) {
    DecodeError error = DecodeError::none;
    const auto image = wlt::decode(bytes, &error);
    EXPECT_EQ(image.has_value(), error == DecodeError::none);
    return error;
}

bool is_white(const wlt::Image& image, int x, int y) {
    const std::uint8_t* px = &image.rgb[(static_cast<std::size_t>(y) * image.width + x) * 3];
    return px[0] == 255 && px[1] == 255 && px[2] == 255;
}

const std::vector<std::uint8_t>& sample_stream() {
    static const std::vector<std::uint8_t> stream = wlt::encode(wlt::synthetic_portrait(7));
    return stream;
}

TEST(Codec, PortraitsFitTheBlockAtGoodFidelity) {
    constexpr unsigned kSeeds = 20;
    int background = 0, exact_background = 0;
    for (unsigned seed = 1; seed <= kSeeds; ++seed) {
        const wlt::Image source = wlt::synthetic_portrait(seed);
        const auto bytes = wlt::encode(source);
        ASSERT_LE(bytes.size(), wlt::kMaxEncodedSize) << "seed " << seed;
        // The header tells the payload's length exactly: nothing is written beyond it.
        ASSERT_EQ(bytes.size(), 11u + (bytes[7] | bytes[8] << 8)) << "seed " << seed;
        ASSERT_EQ(format_crc(bytes), bytes[9] | bytes[10] << 8) << "seed " << seed;
        const auto decoded = wlt::decode(bytes);
        ASSERT_TRUE(decoded) << "seed " << seed;
        ASSERT_EQ(decoded->width, wlt::kPortraitWidth);
        ASSERT_EQ(decoded->height, wlt::kPortraitHeight);
        EXPECT_GE(wlt::psnr(source, *decoded), 24.0) << "seed " << seed;
        for (int y = 0; y < source.height; ++y)
            for (int x = 0; x < source.width; ++x)
                if (is_white(source, x, y)) ++background, exact_background += is_white(*decoded, x, y);
    }
    // Near the figure too, nearly all of the white background comes back exactly white (about 88 %
    // when white is coded like any other colour).
    const double exact_share = static_cast<double>(exact_background) / background;
    EXPECT_GE(exact_share, 0.97);
    EXPECT_LT(wlt::psnr(wlt::synthetic_portrait(1), wlt::synthetic_portrait(2)), 20.0) << "seeds draw other figures";
}

// The card picture lets the card show through wherever the photo has exactly the grey of its
// top-right pixel, and portraits are on pure white: that pixel and every 8 x 8 block that is all white
// must come back exactly white, at small budgets too and beside strong colours.
TEST(Codec, PureWhiteComesBackExactly) {
    auto check = [](const wlt::Image& source, std::size_t budget, const std::string& what) {
        const auto decoded = wlt::decode(wlt::encode(source, budget));
        ASSERT_TRUE(decoded) << what;
        EXPECT_TRUE(is_white(*decoded, source.width - 1, 0)) << what << ": the top-right pixel";
        int off_white = 0;
        for (int by = 0; by < source.height; by += 8)
            for (int bx = 0; bx < source.width; bx += 8) {
                const int x_end = std::min(bx + 8, source.width), y_end = std::min(by + 8, source.height);
                bool all_white = true;
                for (int y = by; y < y_end; ++y)
                    for (int x = bx; x < x_end; ++x) all_white = all_white && is_white(source, x, y);
                for (int y = by; y < y_end && all_white; ++y)
                    for (int x = bx; x < x_end; ++x) off_white += !is_white(*decoded, x, y);
            }
        EXPECT_EQ(off_white, 0) << what << ": pixels of all-white blocks that are not";
    };
    for (unsigned seed : {1u, 2u, 3u, 4u})
        for (std::size_t budget : {1024u, 200u})
            check(wlt::synthetic_portrait(seed), budget,
                  "seed " + std::to_string(seed) + ", budget " + std::to_string(budget));
    // A saturated stripe that ends on a block edge: its chroma reaches into the white block beside it.
    for (const auto& [name, colour] : {std::pair{"green", std::array<std::uint8_t, 3>{0, 255, 0}},
                                       std::pair{"yellow", std::array<std::uint8_t, 3>{255, 255, 0}}}) {
        wlt::Image stripe{wlt::kPortraitWidth, wlt::kPortraitHeight, {}};
        stripe.rgb.assign(static_cast<std::size_t>(stripe.width) * stripe.height * 3, 255);
        for (int y = 0; y < stripe.height; ++y)
            for (int x = 40; x < 60; ++x)
                std::copy(colour.begin(), colour.end(), stripe.rgb.begin() + (y * stripe.width + x) * 3);
        check(stripe, 1024, std::string("a ") + name + " stripe");
    }
}

TEST(Codec, SmallerBudgetsAreHonouredAtLowerFidelity) {
    const wlt::Image source = wlt::synthetic_portrait(3);
    double previous = INFINITY;
    for (std::size_t budget : {1024u, 700u, 400u, 200u}) {
        const auto bytes = wlt::encode(source, budget);
        EXPECT_LE(bytes.size(), budget);
        EXPECT_GT(bytes.size(), budget * 9 / 10) << "the budget should be nearly used";
        const auto decoded = wlt::decode(bytes);
        ASSERT_TRUE(decoded);
        const double p = wlt::psnr(source, *decoded);
        EXPECT_LT(p, previous) << "budget " << budget;
        previous = p;
    }
    // The photo block's room is the ceiling, whatever the caller asks for.
    EXPECT_LE(wlt::encode(source, 5000).size(), wlt::kMaxEncodedSize);
}

TEST(Codec, EncodeRefusesWhatItCannotDo) {
    const wlt::Image source = wlt::synthetic_portrait(3);
    EXPECT_THROW(wlt::encode(source, 20), std::invalid_argument);
    EXPECT_THROW(wlt::encode(wlt::resize(source, 100, 126)), std::invalid_argument);
    wlt::Image short_pixels = source;
    short_pixels.rgb.pop_back();
    EXPECT_THROW(wlt::encode(short_pixels), std::invalid_argument);
}

// Values that a valid CRC vouches for and that are still wrong: qualities beyond 127, a payload length
// beyond the block. (The magic, version and size are a bad format before the CRC is looked at: the
// flipped bits below see to them.)
TEST(Codec, HeaderValuesOutOfRangeAreCorruptUnderAValidCrc) {
    for (const auto& [offset, value] : {std::pair<std::size_t, std::uint8_t>{5, 128}, {6, 200}, {8, 0x04}}) {
        std::vector<std::uint8_t> bytes = sample_stream();
        bytes.resize(wlt::kMaxEncodedSize + 100, 0);  // room, so that only the field itself is wrong
        bytes[offset] = value;
        set_crc(bytes);
        EXPECT_EQ(decode_error(bytes), DecodeError::corrupt) << "byte " << offset;
    }
}

TEST(Codec, EveryTruncationIsRefused) {
    const auto& full = sample_stream();
    for (std::size_t n = 0; n < full.size(); ++n) {
        const std::vector<std::uint8_t> cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(n));
        EXPECT_EQ(decode_error(cut), n < 3 ? DecodeError::bad_format : DecodeError::corrupt) << n << " bytes";
    }
}

// Every bit, the header's too: a flip in the magic, version or size is a bad format, any other is corrupt.
TEST(Codec, EveryFlippedBitIsRefused) {
    const auto& full = sample_stream();
    for (std::size_t at = 0; at < full.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
            std::vector<std::uint8_t> bytes = full;
            bytes[at] ^= static_cast<std::uint8_t>(1 << bit);
            const DecodeError error = decode_error(bytes);
            EXPECT_EQ(error, at < 5 ? DecodeError::bad_format : DecodeError::corrupt) << "byte " << at << " bit " << bit;
        }
}

TEST(ImageMeasures, PsnrAndResize) {
    wlt::Image a{2, 1, {10, 20, 30, 40, 50, 60}};
    wlt::Image b = a;
    EXPECT_TRUE(std::isinf(wlt::psnr(a, b)));
    b.rgb[0] += 6;  // squared error 36 over 6 samples: MSE 6
    EXPECT_NEAR(wlt::psnr(a, b), 10 * std::log10(255.0 * 255.0 / 6.0), 1e-9);
    EXPECT_THROW(wlt::psnr(a, wlt::Image{1, 1, {0, 0, 0}}), std::invalid_argument);

    // Shrinking averages the area; growing a flat picture keeps it flat.
    const wlt::Image checker{2, 2, {0, 0, 0, 200, 100, 40, 200, 100, 40, 0, 0, 0}};
    EXPECT_EQ(wlt::resize(checker, 1, 1).rgb, (std::vector<std::uint8_t>{100, 50, 20}));
    const wlt::Image grown = wlt::resize(wlt::Image{1, 1, {7, 8, 9}}, 3, 2);
    for (std::size_t i = 0; i < grown.rgb.size(); ++i) EXPECT_EQ(grown.rgb[i], 7 + i % 3);
    // A ramp grown 2x keeps its ends and its order.
    const wlt::Image ramp = wlt::resize(wlt::Image{2, 1, {0, 0, 0, 200, 200, 200}}, 4, 1);
    EXPECT_EQ(ramp.rgb[0], 0);
    EXPECT_EQ(ramp.rgb[9], 200);
    EXPECT_LT(ramp.rgb[3], ramp.rgb[6]);
    EXPECT_THROW(wlt::resize(checker, 0, 3), std::invalid_argument);
}

}  // namespace
