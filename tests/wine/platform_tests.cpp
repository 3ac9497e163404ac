// The Windows platform backends on their own under Wine, for what the DLL's road tests cannot see: GBK
// the deck never holds, drive roots, sleep_us, and GDI drawing with the POSIX backend's pixels.
#include "cases.h"
#include "platform/clock.h"
#include "platform/drawing.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/text.h"

#include <windows.h>

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace vnr::platform;
using vnr::wine_test::Cases;

namespace {

using Bgr = std::array<std::uint8_t, 3>;

// A BMP file, bottom-up or top-down, of 8 bits through `palette` or of 24 bits of its colours.
std::string bmp_file(int width, int height, int bits, bool top_down, const std::vector<Bgr>& palette,
                     unsigned (*index)(int x, int y)) {
    const std::size_t stride = (std::size_t(width) * bits + 31) / 32 * 4;
    const std::size_t offset = 54 + (bits == 8 ? palette.size() * 4 : 0);
    std::string file(offset + stride * height, '\0');
    const auto put32 = [&](std::size_t at, std::uint32_t v) { for (int i = 0; i < 4; ++i) file[at + i] = char(v >> (8 * i)); };
    file[0] = 'B', file[1] = 'M';
    put32(2, static_cast<std::uint32_t>(file.size()));
    put32(10, static_cast<std::uint32_t>(offset));
    put32(14, 40);
    put32(18, width);
    put32(22, top_down ? -height : height);
    put32(26, 1 | (bits << 16));  // planes and bits a pixel
    if (bits == 8) put32(46, static_cast<std::uint32_t>(palette.size()));
    for (std::size_t i = 0; bits == 8 && i < palette.size(); ++i) std::memcpy(&file[54 + i * 4], palette[i].data(), 3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            char* pixel = &file[offset + stride * (top_down ? y : height - 1 - y) + x * (bits / 8)];
            if (bits == 8) *pixel = char(index(x, y));
            else std::memcpy(pixel, palette[index(x, y)].data(), 3);
        }
    return file;
}

std::vector<std::uint8_t> rows_of(const Surface& surface) {
    std::vector<std::uint8_t> rows(row_bytes(surface.width()) * surface.height());
    surface.get_rows(rows);
    return rows;
}

// Pixel (x, y) from the top left.
Bgr pixel_at(const std::vector<std::uint8_t>& rows, int width, int height, int x, int y) {
    const std::uint8_t* p = &rows[(height - 1 - y) * row_bytes(width) + x * 3];
    return {p[0], p[1], p[2]};
}

std::unique_ptr<Surface> filled(int width, int height, Bgr colour) {
    auto surface = Surface::create(width, height);
    if (!surface) return nullptr;
    std::vector<std::uint8_t> rows(row_bytes(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) std::memcpy(&rows[y * row_bytes(width) + x * 3], colour.data(), 3);
    surface->set_rows(rows);
    return surface;
}

int dark_pixels(const Surface& surface) {
    const std::vector<std::uint8_t> rows = rows_of(surface);
    int count = 0;
    for (int y = 0; y < surface.height(); ++y)
        for (int x = 0; x < surface.width(); ++x)
            count += pixel_at(rows, surface.width(), surface.height(), x, y) != Bgr{0xFF, 0xFF, 0xFF};
    return count;
}

}  // namespace

int main() {
    Cases cases;
    cases.group("GBK text and Windows names");
    cases.run("UTF-16LE and UTF-8 become GBK; what GBK lacks becomes '?', never a look-alike", [&] {
        std::string gbk, utf8;
        // "张三A" then U+1F600 (a surrogate pair), "²", a zero, "B" and one stray byte.
        const std::vector<std::uint8_t> text{0x20, 0x5F, 0x09, 0x4E, 0x41, 0x00, 0x3D, 0xD8, 0x00, 0xDE,
                                             0xB2, 0x00, 0x00, 0x00, 0x42, 0x00, 0x43};
        cases.check(utf16le_to_gbk(text, gbk), "utf16le_to_gbk failed");
        const std::string head = "\xD5\xC5\xC8\xFD" "A", tail("?\0B", 3);
        cases.check(gbk == head + "?" + tail || gbk == head + "??" + tail, "got '%s'", gbk.c_str());
        cases.check(utf8_to_gbk("x\xC2\xB2 句柄无效", gbk), "utf8_to_gbk failed");
        cases.equal(gbk, "x? \xBE\xE4\xB1\xFA\xCE\xDE\xD0\xA7", "x² 句柄无效");
        cases.check(gbk_to_utf8("\xBE\xE4\xB1\xFA", utf8), "gbk_to_utf8 failed");
        cases.equal(utf8, "句柄", "back to UTF-8");
        gbk = "old";
        cases.check(utf16le_to_gbk({}, gbk) && gbk.empty(), "empty UTF-16 gave '%s'", gbk.c_str());
    });
    cases.run("a drive's root is its letter, colon and backslash", [&] {
        cases.equal(drive_root("D:\\VNlog"), "D:\\", "drive_root(D:\\VNlog)");
        cases.equal(drive_root("e:zp.wlt"), "e:\\", "drive_root(e:zp.wlt)");
        cases.equal(drive_root("VNlog"), "", "drive_root(VNlog)");
        cases.equal(drive_root("1:\\x"), "", "drive_root(1:\\x)");
    });

    cases.group("the clock");
    char temp[MAX_PATH];
    ::GetTempPathA(sizeof temp, temp);
    const std::string root = std::string(temp) + "vnr-platform-" + std::to_string(::GetCurrentProcessId());
    make_directory_path(root);
    cases.run("sleep_us waits at least as long as asked", [&] {
        const std::uint64_t frequency = performance_frequency();
        for (const std::uint64_t wait_us : {300ull, 2'500ull, 20'000ull}) {
            const std::uint64_t start = performance_counter();
            sleep_us(wait_us);
            const std::uint64_t spent_us = (performance_counter() - start) * 1'000'000 / frequency;
            cases.check(spent_us >= wait_us, "sleep_us(%llu) returned after %llu us",
                        static_cast<unsigned long long>(wait_us), static_cast<unsigned long long>(spent_us));
        }
    });

    cases.group("drawing through GDI");
    const auto load = [&](const std::string& bytes) {
        const std::string path = root + "\\picture.bmp";
        write_file(path, bytes.data(), bytes.size());
        return Picture::load(path);
    };
    cases.run("a new surface is white; rows come back as they went in, padding as zeros", [&] {
        auto surface = Surface::create(5, 3);
        if (!cases.check(surface != nullptr, "Surface::create(5, 3) failed")) return;
        std::vector<std::uint8_t> rows = rows_of(*surface);
        cases.equal(static_cast<long long>(rows.size()), 48, "row bytes");
        for (std::size_t i = 0; i < rows.size(); ++i)
            cases.check(rows[i] == (i % 16 < 15 ? 0xFF : 0), "byte %d of a new surface is %02X", int(i), rows[i]);
        for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<std::uint8_t>(i * 7);
        cases.check(surface->set_rows(rows), "set_rows failed");
        const std::vector<std::uint8_t> back = rows_of(*surface);
        for (std::size_t i = 0; i < rows.size(); ++i)
            cases.check(back[i] == (i % 16 < 15 ? rows[i] : 0), "byte %d came back as %02X", int(i), back[i]);
        cases.check(!surface->set_rows(std::span(rows).first(47)), "set_rows took a short buffer");
        cases.check(Surface::create(0, 3) == nullptr && Surface::create(10001, 3) == nullptr, "an impossible size was made");
    });
    // A 4 x 3 photo: grey 0xFE background but for a diagonal and one near-grey pixel; 8 bits a pixel
    // with the grey and the near-grey both in the palette, where a mask of palette indices would err.
    static constexpr Bgr kGrey{0xFE, 0xFE, 0xFE}, kNearGrey{0xFE, 0xFE, 0xFF}, kInk{0x0F, 0x81, 0xFF};
    const auto photo_index = [](int x, int y) { return x == y ? 2u : (x == 3 && y == 0 ? 1u : 0u); };
    cases.run("pictures load at their size in either row order, 8 and 24 bits", [&] {
        for (const int bits : {8, 24})
            for (const bool top_down : {false, true}) {
                const auto picture = load(bmp_file(4, 3, bits, top_down, {kGrey, kNearGrey, kInk}, photo_index));
                if (!cases.check(picture != nullptr, "%d bits, top_down %d: no picture", bits, top_down)) continue;
                cases.check(picture->width() == 4 && picture->height() == 3, "%d bits: size %dx%d", bits,
                            picture->width(), picture->height());
                auto surface = filled(4, 3, {0, 0, 0});
                surface->paint(*picture, 4, 3);
                const std::vector<std::uint8_t> rows = rows_of(*surface);
                for (int y = 0; y < 3; ++y)
                    for (int x = 0; x < 4; ++x) {
                        const Bgr expected = std::vector<Bgr>{kGrey, kNearGrey, kInk}[photo_index(x, y)];
                        cases.check(pixel_at(rows, 4, 3, x, y) == expected, "%d bits, top_down %d: pixel %d,%d", bits,
                                    top_down, x, y);
                    }
            }
        cases.check(load("BM not a picture") == nullptr, "a broken file loaded");
        // 16 bits a pixel is left to the system's loader: 3 x 1 pixels, white, black and white.
        std::string sixteen = bmp_file(3, 1, 24, false, {kGrey}, [](int, int) { return 0u; }).substr(0, 54) + std::string(8, '\0');
        sixteen[2] = 62, sixteen[28] = 16;
        sixteen[54] = sixteen[58] = '\xFF', sixteen[55] = sixteen[59] = 0x7F;
        const auto system_loaded = load(sixteen);
        if (cases.check(system_loaded != nullptr, "a 16-bit file did not load")) {
            cases.check(system_loaded->width() == 3 && system_loaded->height() == 1, "16 bits: size %dx%d",
                        system_loaded->width(), system_loaded->height());
            auto surface = filled(3, 1, {0, 0, 0});
            surface->paint(*system_loaded, 3, 1);
            const std::vector<std::uint8_t> rows = rows_of(*surface);
            cases.check(pixel_at(rows, 3, 1, 0, 0)[1] >= 0xF8 && pixel_at(rows, 3, 1, 1, 0) == Bgr{0, 0, 0},
                        "16 bits: the pixels did not come through");
        }
    });
    cases.run("mask, clear_masked, and_mask and paint give the POSIX backend's pixels", [&] {
        auto photo = load(bmp_file(4, 3, 8, false, {kGrey, kNearGrey, kInk}, photo_index));
        if (!cases.check(photo != nullptr, "no photo")) return;
        const auto mask = photo->make_mask(0xFE);
        if (!cases.check(mask != nullptr && mask->width() == 4 && mask->height() == 3, "no 4x3 mask")) return;
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 4; ++x)
                cases.check(mask->bit(x, y) == (photo_index(x, y) == 0), "mask bit %d,%d", x, y);
        cases.check(!mask->bit(4, 0) && !mask->bit(0, -1), "a bit outside the mask is set");
        photo->clear_masked(*mask, 0xFE);
        const Bgr page{0x55, 0x66, 0x77};
        const auto check = [&](int ox, int oy, int width, int height) {
            auto surface = filled(8, 6, page);
            surface->set_origin(ox, oy);
            surface->and_mask(*mask, width, height);
            surface->paint(*photo, width, height);
            const std::vector<std::uint8_t> rows = rows_of(*surface);
            for (int y = 0; y < 6; ++y)
                for (int x = 0; x < 8; ++x) {
                    const long long px = (long long)x - ox, py = (long long)y - oy;
                    Bgr expected = page;  // where the mask is 0, the photo's pixel ANDed with the grey
                    if (px >= 0 && px < std::min(width, 4) && py >= 0 && py < std::min(height, 3) &&
                        !mask->bit(int(px), int(py))) {
                        const Bgr ink = px == py ? kInk : kNearGrey;
                        expected = {std::uint8_t(ink[0] & 0xFE), std::uint8_t(ink[1] & 0xFE), std::uint8_t(ink[2] & 0xFE)};
                    }
                    const Bgr got = pixel_at(rows, 8, 6, x, y);
                    cases.check(got == expected, "origin %d,%d area %dx%d: pixel %d,%d is %02X%02X%02X", ox, oy, width,
                                height, x, y, got[2], got[1], got[0]);
                }
        };
        check(2, 1, 6, 5);
        check(2, 1, 2, 2);
        check(-2, -1, 6, 5);
        check(6, 4, 6, 5);
        check(0, 0, -4, 3);
        check(INT_MIN, INT_MAX, INT_MAX, INT_MAX);
    });
    cases.run("text draws dark pixels in the substituted face; text off the edges draws nothing", [&] {
        for (const char* text : {"A", "\xD6\xD0", "A\xD6\xD0" "1"}) {
            auto surface = Surface::create(80, 30);
            surface->draw_text(10, 5, text);
            cases.check(dark_pixels(*surface) > 3, "'%s' drew %d dark pixels", text, dark_pixels(*surface));
        }
        auto surface = Surface::create(80, 30);
        const std::string long_text(3000, 'W');
        for (const auto& [x, y] : {std::pair{0, -12}, {80, 0}, {0, 30}, {INT_MIN, 0}, {INT_MAX, INT_MAX}}) {
            surface->set_origin(x, y);
            surface->draw_text(x, y, long_text);
        }
        cases.equal(dark_pixels(*surface), 0, "dark pixels of text beyond the edges");
        surface->set_origin(INT_MIN, 0);
        surface->draw_text(INT_MAX, 5, "AA");  // lands at -1: the second A at 5
        cases.check(dark_pixels(*surface) > 0, "text at -1 left nothing on the surface");
    });
    return cases.summary();
}
