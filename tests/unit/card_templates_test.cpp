// The card face templates compiled into the library: their sizes, the pixels against the committed
// BMP files, and the places that the composer draws on. The photo's place must be plain card colour
// and each value's box free of printed ink, or values and captions would run into each other.
#include "idcard/card_templates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using vnr::idcard::card_template;
using vnr::idcard::CardFace;
using vnr::idcard::CardTemplate;

namespace {

constexpr std::size_t kRowBytes = 1032;  // 343 pixels of three bytes, padded to four
constexpr int kFontHeight = 12;
constexpr int kHalfWidth = 6;  // one byte of text

struct Rgb {
    int r, g, b;
};

// The pixel at (x, y) from the top left corner.
Rgb pixel(const CardTemplate& face, int x, int y) {
    const std::uint8_t* p = face.pixels.data() + kRowBytes * (face.height - 1 - y) + 3 * x;
    return {p[2], p[1], p[0]};
}

// Printed ink: captions, title and badge are dark or strongly coloured; the card's tint and its fine
// pattern stay light, so that black values read on them.
bool is_ink(Rgb p) { return 299 * p.r + 587 * p.g + 114 * p.b < 180'000; }

struct Box {
    const char* what;
    int x, y, width, height;
};

// Pixels of ink inside `box` (clipped to the picture).
int ink_in(const CardTemplate& face, const Box& box) {
    int count = 0;
    for (int y = box.y; y < std::min(box.y + box.height, face.height); ++y)
        for (int x = box.x; x < std::min(box.x + box.width, face.width); ++x) count += is_ink(pixel(face, x, y));
    return count;
}

// Where the composer draws each value, and the room its longest value takes (bytes of the 12-pixel
// font, six pixels each): `top` is the face's first row on its picture.
std::vector<Box> front_values(int top) {
    return {
        {"name", 67, top + 35, 30 * kHalfWidth, kFontHeight},      {"sex", 67, top + 61, 6 * kHalfWidth, kFontHeight},
        {"nation", 141, top + 61, 18 * kHalfWidth, kFontHeight},   {"year", 67, top + 86, 4 * kHalfWidth, kFontHeight},
        {"month", 122, top + 86, 2 * kHalfWidth, kFontHeight},     {"day", 152, top + 86, 2 * kHalfWidth, kFontHeight},
        {"address 1", 67, top + 115, 22 * kHalfWidth, kFontHeight}, {"address 2", 67, top + 135, 22 * kHalfWidth, kFontHeight},
        {"address 3", 67, top + 155, 22 * kHalfWidth, kFontHeight}, {"number", 125, top + 179, 18 * kHalfWidth, kFontHeight},
    };
}
std::vector<Box> back_values(int department_y, int validity_y) {
    return {{"department", 140, department_y, 30 * kHalfWidth, kFontHeight},
            {"validity", 140, validity_y, 21 * kHalfWidth, kFontHeight}};  // "2020.01.01-2040.01.01"
}
const Box kPhoto{"photo", 215, 30, 102, 126};

std::vector<std::uint8_t> committed_pixels(const char* file) {
    const fs::path path = fs::path(__FILE__).parent_path() / "../../src/idcard/templates" / file;
    std::ifstream in(path, std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (bytes.size() < 54) return {};
    return {bytes.begin() + 54, bytes.end()};
}

TEST(CardTemplates, SizesAndPixelBytes) {
    const CardTemplate both = card_template(CardFace::both_sides);
    EXPECT_EQ(both.width, 343);
    EXPECT_EQ(both.height, 436);
    EXPECT_EQ(both.pixels.size(), 449952u);
    for (CardFace face : {CardFace::front, CardFace::back}) {
        const CardTemplate side = card_template(face);
        EXPECT_EQ(side.width, 343);
        EXPECT_EQ(side.height, 215);
        EXPECT_EQ(side.pixels.size(), 221880u);
    }
}

TEST(CardTemplates, EmbeddedPixelsAreTheCommittedFiles) {
    const std::pair<CardFace, const char*> faces[] = {
        {CardFace::both_sides, "both.bmp"}, {CardFace::front, "front.bmp"}, {CardFace::back, "back.bmp"}};
    for (const auto& [face, file] : faces) {
        const std::vector<std::uint8_t> expected = committed_pixels(file);
        const CardTemplate embedded = card_template(face);
        ASSERT_EQ(expected.size(), embedded.pixels.size()) << file;
        EXPECT_TRUE(std::ranges::equal(expected, embedded.pixels)) << file;
    }
}

TEST(CardTemplates, BothSidesSheetIsTheFrontAboveTheBack) {
    const CardTemplate both = card_template(CardFace::both_sides);
    const CardTemplate front = card_template(CardFace::front);
    const CardTemplate back = card_template(CardFace::back);
    int mismatches = 0;
    for (int y = 0; y < both.height; ++y) {
        for (int x = 0; x < both.width; ++x) {
            Rgb expected{255, 255, 255};  // the sheet below the back
            if (y < vnr::idcard::kBothSidesBackTop) expected = pixel(front, x, y);
            else if (y < vnr::idcard::kBothSidesBackTop + back.height) expected = pixel(back, x, y - vnr::idcard::kBothSidesBackTop);
            const Rgb got = pixel(both, x, y);
            mismatches += got.r != expected.r || got.g != expected.g || got.b != expected.b;
        }
    }
    EXPECT_EQ(mismatches, 0);
}

// The photo's background is made transparent, so its place shows through: it must be card colour
// without ink and without the fine pattern (neighbouring pixels differ by a few levels at most).
TEST(CardTemplates, PhotoPlaceIsPlainCardColour) {
    for (CardFace face : {CardFace::both_sides, CardFace::front}) {
        const CardTemplate picture = card_template(face);
        EXPECT_EQ(ink_in(picture, kPhoto), 0);
        int steps = 0;
        for (int y = kPhoto.y; y < kPhoto.y + kPhoto.height; ++y) {
            for (int x = kPhoto.x + 1; x < kPhoto.x + kPhoto.width; ++x) {
                const Rgb a = pixel(picture, x - 1, y), b = pixel(picture, x, y);
                steps += std::abs(a.r - b.r) > 3 || std::abs(a.g - b.g) > 3 || std::abs(a.b - b.b) > 3;
            }
        }
        EXPECT_EQ(steps, 0);
        // Not the white sheet either: the card goes on behind the photo.
        EXPECT_NE(pixel(picture, kPhoto.x + 50, kPhoto.y + 60).b, 255);
    }
}

TEST(CardTemplates, ValueBoxesHoldNoInk) {
    const auto check = [](CardFace face, const std::vector<Box>& boxes) {
        const CardTemplate picture = card_template(face);
        for (const Box& box : boxes) EXPECT_EQ(ink_in(picture, box), 0) << box.what << " at y " << box.y;
    };
    check(CardFace::front, front_values(0));
    check(CardFace::back, back_values(157, 184));
    check(CardFace::both_sides, front_values(0));
    check(CardFace::both_sides, back_values(372, 400));
}

// Each value has its caption on its line: ink between the card's left edge and the value (so the
// boxes above are not empty of ink merely because nothing was printed), and the units of the birth
// date beside its numbers.
TEST(CardTemplates, CaptionsStandBesideTheirValues) {
    const auto check = [](CardFace face, const std::vector<Box>& places) {
        const CardTemplate picture = card_template(face);
        for (const Box& place : places) EXPECT_GT(ink_in(picture, place), 20) << place.what << " at y " << place.y;
    };
    const auto front = [](int top) {
        return std::vector<Box>{
            {"name", 8, top + 35, 59, kFontHeight},      {"sex", 8, top + 61, 59, kFontHeight},
            {"nation", 103, top + 61, 38, kFontHeight},  {"birth", 8, top + 86, 59, kFontHeight},
            {"year unit", 91, top + 86, 31, kFontHeight}, {"month unit", 134, top + 86, 18, kFontHeight},
            {"day unit", 164, top + 86, 30, kFontHeight}, {"address", 8, top + 115, 59, kFontHeight},
            {"number", 8, top + 179, 117, kFontHeight},
        };
    };
    const auto back = [](int department_y, int validity_y) {
        return std::vector<Box>{{"department", 8, department_y, 132, kFontHeight},
                                {"validity", 8, validity_y, 132, kFontHeight}};
    };
    check(CardFace::front, front(0));
    check(CardFace::both_sides, front(0));
    check(CardFace::back, back(157, 184));
    check(CardFace::both_sides, back(372, 400));
    // The back's title and badge, above the captions.
    EXPECT_GT(ink_in(card_template(CardFace::back), {"title and badge", 8, 8, 327, 140}), 1000);
}

TEST(CardTemplates, CardLiesOnAWhiteSheet) {
    for (CardFace face : {CardFace::both_sides, CardFace::front, CardFace::back}) {
        const CardTemplate picture = card_template(face);
        for (int y : {0, picture.height - 1}) {
            for (int x : {0, picture.width - 1}) {
                const Rgb corner = pixel(picture, x, y);
                EXPECT_EQ(corner.r + corner.g + corner.b, 3 * 255) << x << "," << y;
            }
        }
    }
}

}  // namespace
