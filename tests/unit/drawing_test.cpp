// The POSIX drawing backend: pixel rows, BMP files of every accepted layout and the refused ones,
// masks and raster operations pixel by pixel, and text in its cells.
#include "platform/drawing.h"
#include "support/temp_prefix.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

using namespace vnr::platform;
using vnr::test::TempPrefix;

namespace {

using Bgr = std::array<std::uint8_t, 3>;

void put16(std::vector<std::uint8_t>& b, std::size_t at, std::uint32_t v) { b[at] = v & 0xFF, b[at + 1] = (v >> 8) & 0xFF; }
void put32(std::vector<std::uint8_t>& b, std::size_t at, std::uint32_t v) { put16(b, at, v), put16(b, at + 2, v >> 16); }

// A BMP file of `bits` bits a pixel with a 40-byte header; `index(x, y)` gives the palette index
// (palettised) or is mapped through `palette` for 24 and 32 bits, so one function describes all depths.
std::vector<std::uint8_t> bmp_file(int width, int height, int bits, bool top_down, const std::vector<Bgr>& palette,
                                   const std::function<unsigned(int, int)>& index) {
    const std::size_t stride = (std::size_t(width) * bits + 31) / 32 * 4;
    const std::size_t palette_bytes = bits <= 8 ? palette.size() * 4 : 0;
    const std::size_t offset = 54 + palette_bytes;
    std::vector<std::uint8_t> file(offset + stride * height);
    file[0] = 'B', file[1] = 'M';
    put32(file, 2, static_cast<std::uint32_t>(file.size()));
    put32(file, 10, static_cast<std::uint32_t>(offset));
    put32(file, 14, 40);
    put32(file, 18, width);
    put32(file, 22, top_down ? -height : height);
    put16(file, 26, 1);
    put16(file, 28, bits);
    put32(file, 46, bits <= 8 ? static_cast<std::uint32_t>(palette.size()) : 0);
    for (std::size_t i = 0; i < palette_bytes / 4; ++i) std::memcpy(&file[54 + i * 4], palette[i].data(), 3);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = &file[offset + stride * (top_down ? y : height - 1 - y)];
        for (int x = 0; x < width; ++x) {
            const unsigned i = index(x, y);
            if (bits <= 8)
                row[x * bits / 8] |= static_cast<std::uint8_t>(i << (8 - bits - x * bits % 8));
            else
                std::memcpy(row + x * (bits / 8), palette[i].data(), 3);
        }
    }
    return file;
}

// Colour `x + 5y`, distinct for every pixel of a picture up to 5 wide.
const std::vector<Bgr> kColours = [] {
    std::vector<Bgr> colours;
    for (unsigned i = 0; i < 16; ++i) colours.push_back({std::uint8_t(i * 16 + 1), std::uint8_t(200 - i), std::uint8_t(i ^ 0x5A)});
    return colours;
}();

class Draw : public ::testing::Test {
protected:
    TempPrefix temp;

    std::unique_ptr<Picture> load(const std::vector<std::uint8_t>& bytes) {
        const std::string path = (temp.root() / "p.bmp").string();
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return Picture::load(path);
    }

    static std::unique_ptr<Surface> filled(int width, int height, Bgr colour) {
        auto surface = Surface::create(width, height);
        std::vector<std::uint8_t> rows(row_bytes(width) * height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) std::memcpy(&rows[y * row_bytes(width) + x * 3], colour.data(), 3);
        surface->set_rows(rows);
        return surface;
    }

    // Pixel (x, y) from the top left.
    static Bgr at(const Surface& surface, int x, int y) {
        std::vector<std::uint8_t> rows(row_bytes(surface.width()) * surface.height());
        surface.get_rows(rows);
        const std::uint8_t* p = &rows[(surface.height() - 1 - y) * row_bytes(surface.width()) + x * 3];
        return {p[0], p[1], p[2]};
    }

    static std::vector<std::uint8_t> rows_of(const Surface& surface) {
        std::vector<std::uint8_t> rows(row_bytes(surface.width()) * surface.height());
        surface.get_rows(rows);
        return rows;
    }
};

TEST_F(Draw, SurfaceIsWhiteAndRowsRoundTripWithZeroPadding) {
    auto surface = Surface::create(5, 3);
    ASSERT_NE(surface, nullptr);
    std::vector<std::uint8_t> rows = rows_of(*surface);
    ASSERT_EQ(rows.size(), 16u * 3);
    for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i], i % 16 < 15 ? 0xFF : 0) << i;
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<std::uint8_t>(i * 7);
    ASSERT_TRUE(surface->set_rows(rows));
    const std::vector<std::uint8_t> back = rows_of(*surface);
    for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(back[i], i % 16 < 15 ? rows[i] : 0) << i;
    EXPECT_FALSE(surface->set_rows(std::span(rows).first(47)));
    std::vector<std::uint8_t> longer(49);
    EXPECT_FALSE(surface->get_rows(longer));
    for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-1, 5}, {10001, 1}, {1, 10001}}) EXPECT_EQ(Surface::create(w, h), nullptr);
}

TEST_F(Draw, LoadsEveryDepthInBothRowOrders) {
    for (const int bits : {1, 4, 8, 24, 32})
        for (const bool top_down : {false, true}) {
            SCOPED_TRACE(testing::Message() << bits << " bits, top_down " << top_down);
            const int colours = bits == 1 ? 2 : 15;  // 5 x 3 pixels of distinct colours where the depth allows
            const std::vector<Bgr> palette(kColours.begin(), kColours.begin() + colours);
            const auto index = [&](int x, int y) { return unsigned(x + 5 * y) % colours; };
            const auto picture = load(bmp_file(5, 3, bits, top_down, palette, index));
            ASSERT_NE(picture, nullptr);
            EXPECT_EQ(picture->width(), 5);
            EXPECT_EQ(picture->height(), 3);
            auto surface = filled(5, 3, {0, 0, 0});
            surface->paint(*picture, 5, 3);
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 5; ++x) EXPECT_EQ(at(*surface, x, y), palette[index(x, y)]) << x << "," << y;
        }
    // A short palette: an index past its end is black.
    const auto picture = load(bmp_file(2, 1, 8, false, {{1, 2, 3}}, [](int x, int) { return unsigned(x) * 9; }));
    ASSERT_NE(picture, nullptr);
    auto surface = filled(2, 1, {0, 0, 0});
    surface->paint(*picture, 2, 1);
    EXPECT_EQ(at(*surface, 0, 0), (Bgr{1, 2, 3}));
    EXPECT_EQ(at(*surface, 1, 0), (Bgr{0, 0, 0}));
}

TEST_F(Draw, RefusesBrokenAndHostileFiles) {
    const std::vector<std::uint8_t> good = bmp_file(3, 2, 24, false, kColours, [](int x, int) { return unsigned(x); });
    ASSERT_NE(load(good), nullptr);
    EXPECT_EQ(Picture::load((temp.root() / "none.bmp").string()), nullptr);
    EXPECT_EQ(load({}), nullptr);
    for (const std::size_t size : {std::size_t{2}, std::size_t{20}, std::size_t{53}, good.size() - 1})
        EXPECT_EQ(load(std::vector(good.begin(), good.begin() + size)), nullptr) << "cut to " << size;

    // The field at byte `at` (2 or 4 bytes) set to `value` breaks the file.
    const struct { std::size_t at; std::uint32_t value; int bytes; const char* what; } fields[] = {
        {0, 'M' | ('B' << 8), 2, "magic"}, {14, 12, 4, "the old core header"}, {14, 0xFFFFFFF0, 4, "header past the end"},
        {18, 0, 4, "width 0"}, {18, 10001, 4, "absurd width, refused before any allocation"}, {22, 10001, 4, "height"},
        {22, static_cast<std::uint32_t>(-10001), 4, "top-down height"}, {22, 0x80000000u, 4, "INT_MIN height"},
        {26, 2, 2, "planes"}, {28, 16, 2, "16 bits a pixel"}, {30, 1, 4, "RLE8"}, {30, 3, 4, "bit fields"},
        {10, static_cast<std::uint32_t>(good.size()), 4, "pixels beyond the end"}, {10, 40, 4, "pixels inside the header"},
    };
    for (const auto& f : fields) {
        std::vector<std::uint8_t> file = good;
        f.bytes == 2 ? put16(file, f.at, f.value) : put32(file, f.at, f.value);
        EXPECT_EQ(load(file), nullptr) << f.what;
    }

    std::vector<std::uint8_t> palettised = bmp_file(4, 1, 8, false, {{1, 1, 1}, {2, 2, 2}}, [](int, int) { return 1u; });
    ASSERT_NE(load(palettised), nullptr);
    put32(palettised, 46, 257);  // more colours than 8 bits can index
    EXPECT_EQ(load(palettised), nullptr);
    put32(palettised, 46, 3);    // a palette reaching into the pixels
    EXPECT_EQ(load(palettised), nullptr);
}

// A 4 x 3 photo: grey 0xFE background but for a diagonal and one near-grey pixel.
class DrawRaster : public Draw {
protected:
    static constexpr Bgr kGrey{0xFE, 0xFE, 0xFE}, kNearGrey{0xFE, 0xFE, 0xFF}, kInk{0x0F, 0x81, 0xFF};
    std::unique_ptr<Picture> photo = load(bmp_file(4, 3, 24, false, {kGrey, kNearGrey, kInk}, [](int x, int y) {
        return x == y ? 2u : (x == 3 && y == 0 ? 1u : 0u);
    }));
};

TEST_F(DrawRaster, MaskMarksExactlyTheGreyAndClearMaskedBlackensIt) {
    ASSERT_NE(photo, nullptr);
    const auto mask = photo->make_mask(0xFE);
    ASSERT_NE(mask, nullptr);
    ASSERT_EQ(mask->width(), 4);
    ASSERT_EQ(mask->height(), 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(mask->bit(x, y), x != y && !(x == 3 && y == 0)) << x << "," << y;
    EXPECT_FALSE(mask->bit(-1, 0));
    EXPECT_FALSE(mask->bit(4, 0));

    photo->clear_masked(*mask, 0xFE);
    auto surface = filled(4, 3, {0, 0, 0});
    surface->paint(*photo, 4, 3);
    EXPECT_EQ(at(*surface, 1, 0), (Bgr{0, 0, 0}));           // background: black
    EXPECT_EQ(at(*surface, 0, 0), (Bgr{0x0E, 0x80, 0xFE}));  // ink ANDed with the grey
    EXPECT_EQ(at(*surface, 3, 0), (Bgr{0xFE, 0xFE, 0xFE}));

    // A smaller mask leaves the pixels beyond it as they are.
    const auto small = load(bmp_file(1, 1, 24, false, {kGrey}, [](int, int) { return 0u; }))->make_mask(0xFE);
    auto other = load(bmp_file(2, 1, 24, false, {kInk}, [](int, int) { return 0u; }));
    other->clear_masked(*small, 0xFE);
    surface = filled(2, 1, {0, 0, 0});
    surface->paint(*other, 2, 1);
    EXPECT_EQ(at(*surface, 0, 0), (Bgr{0, 0, 0}));
    EXPECT_EQ(at(*surface, 1, 0), kInk);
}

TEST_F(DrawRaster, AndMaskThenPaintPutsThePhotoAtTheOriginWithinItsAreaAndTheSurface) {
    ASSERT_NE(photo, nullptr);
    const auto mask = photo->make_mask(0xFE);
    photo->clear_masked(*mask, 0xFE);
    const Bgr page{0x55, 0x66, 0x77};
    // Where the mask is 0 the photo's pixel (already ANDed with the grey); the page everywhere else.
    const auto check = [&](int ox, int oy, int width, int height) {
        SCOPED_TRACE(testing::Message() << "origin " << ox << "," << oy << " area " << width << "x" << height);
        auto surface = filled(8, 6, page);
        surface->set_origin(ox, oy);
        surface->and_mask(*mask, width, height);
        surface->paint(*photo, width, height);
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 8; ++x) {
                const std::int64_t px = std::int64_t(x) - ox, py = std::int64_t(y) - oy;
                Bgr expected = page;
                if (px >= 0 && px < std::min(width, 4) && py >= 0 && py < std::min(height, 3) &&
                    !mask->bit(int(px), int(py))) {
                    const Bgr ink = px == py ? kInk : kNearGrey;
                    expected = {std::uint8_t(ink[0] & 0xFE), std::uint8_t(ink[1] & 0xFE), std::uint8_t(ink[2] & 0xFE)};
                }
                EXPECT_EQ(at(*surface, x, y), expected) << x << "," << y;
            }
    };
    check(2, 1, 6, 5);   // an area reaching beyond the mask and the photo
    check(2, 1, 2, 2);   // an area smaller than both
    check(-2, -1, 6, 5); // cut by the top and left edges
    check(6, 4, 6, 5);   // cut by the bottom and right edges
    check(0, 0, 0, 3);
    check(0, 0, -4, 3);
    check(INT_MIN, INT_MAX, INT_MAX, INT_MAX);
    check(INT_MAX, INT_MIN, INT_MAX, INT_MAX);
}

}  // namespace

namespace {

// Text on an 80 x 30 white surface; "中" is D6 D0 in GBK.
class DrawText : public Draw {
protected:
    static std::unique_ptr<Surface> drawn(int x, int y, std::string_view gbk, int ox = 0, int oy = 0) {
        auto surface = Surface::create(80, 30);
        surface->set_origin(ox, oy);
        surface->draw_text(x, y, gbk);
        return surface;
    }

    // Pixels that differ from white, per cell: how many lie in [left, right) x [top, top + 12).
    static int dark_in(const Surface& surface, int left, int right, int top) {
        int count = 0;
        for (int y = std::max(top, 0); y < std::min(top + 12, surface.height()); ++y)
            for (int x = std::max(left, 0); x < std::min(right, surface.width()); ++x)
                count += at(surface, x, y) != Bgr{0xFF, 0xFF, 0xFF};
        return count;
    }
    static int dark(const Surface& surface) { return dark_in(surface, 0, 80, 0) + dark_in(surface, 0, 80, 12) + dark_in(surface, 0, 80, 24); }
};

TEST_F(DrawText, EachCharacterStaysInsideItsCell) {
    const auto a = drawn(10, 5, "A");
    EXPECT_GT(dark_in(*a, 10, 16, 5), 4);
    EXPECT_EQ(dark(*a), dark_in(*a, 10, 16, 5));
    const auto zhong = drawn(10, 5, "\xD6\xD0");
    EXPECT_GT(dark_in(*zhong, 10, 22, 5), 10);
    EXPECT_EQ(dark(*zhong), dark_in(*zhong, 10, 22, 5));
    EXPECT_GT(dark_in(*zhong, 16, 22, 5), 2);  // a double-byte character spans both halves of its cell

    // A line draws each character one cell after the last: 6 pixels for ASCII, 12 for GBK pairs.
    const auto line = drawn(10, 5, "A\xD6\xD0" "1");
    auto apart = Surface::create(80, 30);
    apart->draw_text(10, 5, "A");
    apart->draw_text(16, 5, "\xD6\xD0");
    apart->draw_text(28, 5, "1");
    EXPECT_EQ(rows_of(*line), rows_of(*apart));
    EXPECT_EQ(rows_of(*drawn(3, 2, "A\xD6\xD0", 7, 3)), rows_of(*drawn(10, 5, "A\xD6\xD0")));  // the origin moves text too
}

TEST_F(DrawText, TextIsBlackOverWhatLiesBelowAndLeavesTheRestAlone) {
    const Bgr page{0x40, 0x80, 0xC0};
    auto coloured = filled(80, 30, page);
    coloured->draw_text(4, 4, "\xD6\xD0" "8");
    const auto white = drawn(4, 4, "\xD6\xD0" "8");
    int inked = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 80; ++x) {
            const Bgr on_page = at(*coloured, x, y), on_white = at(*white, x, y);
            if (on_white == Bgr{0xFF, 0xFF, 0xFF}) {
                EXPECT_EQ(on_page, page) << x << "," << y;
            } else {
                ++inked;
                EXPECT_TRUE(on_white[0] == on_white[1] && on_white[1] == on_white[2]) << x << "," << y;  // never coloured
                for (int i = 0; i < 3; ++i) EXPECT_LE(on_page[i], page[i]) << x << "," << y;
            }
        }
    EXPECT_GT(inked, 10);
}

TEST_F(DrawText, BrokenBytesKeepTheirCellsAndTextOffTheEdgesIsClipped) {
    // A byte that starts no character takes a narrow cell; a lead byte at the end draws nothing.
    EXPECT_EQ(rows_of(*drawn(10, 5, "\xFF" "A\x81")), rows_of(*drawn(16, 5, "A")));
    EXPECT_EQ(rows_of(*drawn(10, 5, "\x81" "0A")), rows_of(*drawn(16, 5, "0A")));  // no GBK trail byte
    EXPECT_EQ(rows_of(*drawn(10, 5, "\xA2\xA0" "A")), rows_of(*drawn(22, 5, "A")));  // a pair GBK leaves unassigned
    EXPECT_EQ(dark(*drawn(10, 5, "")), 0);

    // Half a character hangs off the left edge: only its right half is drawn.
    const auto half = drawn(-6, 0, "\xD6\xD0");
    EXPECT_GT(dark(*half), 0);
    EXPECT_EQ(dark(*half), dark_in(*half, 0, 6, 0));
    const std::string long_text(5000, 'W');
    for (auto [x, y] : {std::pair{-7, -5}, {75, 25}, {-100000, 0}, {0, -11}, {0, 29}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MIN}})
        drawn(x, y, long_text + "\xD6\xD0", x, y);  // the origin adds to the position: no overflow either
    EXPECT_EQ(dark(*drawn(0, -12, "A")), 0);
    EXPECT_EQ(dark(*drawn(80, 0, "A")), 0);
}

TEST_F(DrawText, ThreadsDrawingAtOnceGetTheSamePixels) {
    // Run alone (as ctest runs each case), the threads also race to load the font.
    std::vector<std::vector<std::uint8_t>> results(4);
    std::vector<std::thread> threads;
    for (auto& result : results)
        threads.emplace_back([&result] {
            for (int i = 0; i < 20; ++i) result = rows_of(*drawn(1, 1, "\xD5\xC5\xC8\xFD 1998"));
        });
    for (auto& thread : threads) thread.join();
    const std::vector<std::uint8_t> expected = rows_of(*drawn(1, 1, "\xD5\xC5\xC8\xFD 1998"));
    EXPECT_GT(dark(*drawn(1, 1, "\xD5\xC5\xC8\xFD 1998")), 20);
    for (const auto& result : results) EXPECT_EQ(result, expected);
}

}  // namespace
