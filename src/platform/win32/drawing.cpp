// src/platform/win32/drawing.cpp: platform (Windows). Surfaces, pictures and masks are GDI bitmaps
// drawn on through memory device contexts; text in the card font with TextOutW, pictures from
// bmp_file.h or else LoadImageA. Every Mask and Picture of the process comes from this file, so the raster operations
// may look inside them.
//
// The viewport origin is kept here and added in 64 bits: each operation is clipped to the surface
// before GDI sees a coordinate, so no origin can overflow GDI's 32-bit arithmetic, and what lands on
// the surface is exactly what the POSIX backend draws.
#include "platform/drawing.h"

#include "platform/bmp_file.h"

#include <windows.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vnr::platform {

namespace {

constexpr int kMaxSide = kBmpMaxSide;  // the widest and highest picture or surface accepted
constexpr UINT kGbk = 936;
constexpr int kCellHeight = 12;  // the card font's height, and the widths of its two cells
constexpr int kNarrowCell = 6;
constexpr int kWideCell = 12;
constexpr BYTE kPitchAndFamily = FF_SWISS | DEFAULT_PITCH;  // 0x20, as the card font has always been made

// A GDI object (bitmap or font), deleted with DeleteObject. It must not be selected into a device
// context by then: a Selection that ends first puts the context's own object back.
template <typename Handle>
class GdiObject {
public:
    GdiObject() noexcept = default;
    explicit GdiObject(Handle handle) noexcept : handle_(handle) {}
    GdiObject(GdiObject&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    GdiObject& operator=(GdiObject&& other) noexcept {
        std::swap(handle_, other.handle_);  // `other` deletes the old object
        return *this;
    }
    GdiObject(const GdiObject&) = delete;
    GdiObject& operator=(const GdiObject&) = delete;
    ~GdiObject() {
        if (handle_ != nullptr) ::DeleteObject(handle_);
    }
    Handle get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

private:
    Handle handle_ = nullptr;
};
using UniqueBitmap = GdiObject<HBITMAP>;
using UniqueFont = GdiObject<HFONT>;

// A memory device context from CreateCompatibleDC, deleted with DeleteDC.
class MemoryDc {
public:
    explicit MemoryDc(HDC like) noexcept : dc_(::CreateCompatibleDC(like)) {}
    MemoryDc(MemoryDc&& other) noexcept : dc_(std::exchange(other.dc_, nullptr)) {}
    MemoryDc& operator=(MemoryDc&&) = delete;
    MemoryDc(const MemoryDc&) = delete;
    ~MemoryDc() {
        if (dc_ != nullptr) ::DeleteDC(dc_);
    }
    HDC get() const noexcept { return dc_; }
    explicit operator bool() const noexcept { return dc_ != nullptr; }

private:
    HDC dc_;
};

// The screen's device context, given back with ReleaseDC.
class ScreenDc {
public:
    ScreenDc() noexcept : dc_(::GetDC(nullptr)) {}
    ~ScreenDc() {
        if (dc_ != nullptr) ::ReleaseDC(nullptr, dc_);
    }
    ScreenDc(const ScreenDc&) = delete;
    ScreenDc& operator=(const ScreenDc&) = delete;
    HDC get() const noexcept { return dc_; }
    explicit operator bool() const noexcept { return dc_ != nullptr; }

private:
    HDC dc_;
};

// `object` selected into `dc` for this owner's life; the object it replaced goes back in at the end.
class Selection {
public:
    Selection(HDC dc, HGDIOBJ object) noexcept
        : dc_(dc), previous_(dc != nullptr && object != nullptr ? ::SelectObject(dc, object) : nullptr) {}
    ~Selection() {
        if (*this) ::SelectObject(dc_, previous_);
    }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;
    explicit operator bool() const noexcept { return previous_ != nullptr && previous_ != HGDI_ERROR; }

private:
    HDC dc_;
    HGDIOBJ previous_;
};

// The header of a 24-bit bottom-up DIB, rows padded to four bytes as row_bytes() counts them.
BITMAPINFO rgb24_info(int width, int height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    info.bmiHeader.biCompression = BI_RGB;
    return info;
}

// A 24-bit DIB section and its pixels; nullopt when the system refuses.
struct DibSection {
    UniqueBitmap bitmap;
    std::uint8_t* bits = nullptr;
};
DibSection make_dib_section(HDC dc, int width, int height) {
    const BITMAPINFO info = rgb24_info(width, height);
    void* bits = nullptr;
    UniqueBitmap bitmap{::CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0)};
    if (!bitmap || bits == nullptr) return {};
    return {std::move(bitmap), static_cast<std::uint8_t*>(bits)};
}

COLORREF grey_of(std::uint8_t grey) { return RGB(grey, grey, grey); }

// A bit per pixel, as GDI made it: 1 where the picture had the background colour.
class GdiMask final : public Mask {
public:
    GdiMask(int width, int height, UniqueBitmap bitmap, std::vector<std::uint8_t> bits)
        : width_(width), height_(height), bitmap_(std::move(bitmap)), bits_(std::move(bits)) {}

    int width() const noexcept override { return width_; }
    int height() const noexcept override { return height_; }
    // A monochrome bitmap's rows are padded to 16 bits, top-down, the first pixel in the high bit.
    bool bit(int x, int y) const noexcept override {
        if (x < 0 || y < 0 || x >= width_ || y >= height_) return false;
        return (bits_[std::size_t(y) * stride(width_) + x / 8] >> (7 - x % 8)) & 1;
    }
    HBITMAP bitmap() const noexcept { return bitmap_.get(); }
    static std::size_t stride(int width) { return (std::size_t(width) + 15) / 16 * 2; }

private:
    int width_;
    int height_;
    UniqueBitmap bitmap_;
    std::vector<std::uint8_t> bits_;  // a copy taken when the mask was made; GDI never changes it
};

// Always a 24-bit DIB section, whatever the file held: the colour-to-mask blit then compares true
// colours, never palette indices, as the POSIX backend does.
class GdiPicture final : public Picture {
public:
    GdiPicture(int width, int height, UniqueBitmap bitmap) : width_(width), height_(height), bitmap_(std::move(bitmap)) {}

    int width() const noexcept override { return width_; }
    int height() const noexcept override { return height_; }
    HBITMAP bitmap() const noexcept { return bitmap_.get(); }

    std::unique_ptr<Mask> make_mask(std::uint8_t grey) const override {
        UniqueBitmap mask{::CreateBitmap(width_, height_, 1, 1, nullptr)};
        if (!mask) return nullptr;
        {
            const MemoryDc picture_dc(nullptr), mask_dc(nullptr);
            const Selection picture_in(picture_dc.get(), bitmap_.get()), mask_in(mask_dc.get(), mask.get());
            if (!picture_in || !mask_in) return nullptr;
            // Colour to monochrome: pixels of the background colour become 1, all others 0.
            ::SetBkColor(picture_dc.get(), grey_of(grey));
            if (!::BitBlt(mask_dc.get(), 0, 0, width_, height_, picture_dc.get(), 0, 0, SRCCOPY)) return nullptr;
        }
        std::vector<std::uint8_t> bits(GdiMask::stride(width_) * height_);
        if (::GetBitmapBits(mask.get(), static_cast<LONG>(bits.size()), bits.data()) != static_cast<LONG>(bits.size()))
            return nullptr;
        return std::make_unique<GdiMask>(width_, height_, std::move(mask), std::move(bits));
    }

    void clear_masked(const Mask& mask, std::uint8_t grey) override {
        const auto& source = static_cast<const GdiMask&>(mask);
        const MemoryDc picture_dc(nullptr), mask_dc(nullptr);
        const Selection picture_in(picture_dc.get(), bitmap_.get()), mask_in(mask_dc.get(), source.bitmap());
        if (!picture_in || !mask_in) return;
        // Monochrome to colour: 1 becomes the background colour (black), 0 the text colour (the grey).
        ::SetBkColor(picture_dc.get(), RGB(0, 0, 0));
        ::SetTextColor(picture_dc.get(), grey_of(grey));
        ::BitBlt(picture_dc.get(), 0, 0, std::min(width_, source.width()), std::min(height_, source.height()),
                 mask_dc.get(), 0, 0, SRCAND);
    }

private:
    int width_;
    int height_;
    UniqueBitmap bitmap_;
};

// The card font: CreateFontW(12, 6, 0, 0, 0, no italic, underline or strike-out, character set 0,
// precision and quality 0, 0x20, "宋体"). The face is named in Unicode so that the system code page
// plays no part; a system that knows it only by its English name gets "SimSun".
UniqueFont make_card_font(HDC dc) {
    UniqueFont chosen;
    for (const wchar_t* face : {L"\u5B8B\u4F53", L"SimSun"}) {
        UniqueFont font{::CreateFontW(kCellHeight, kNarrowCell, 0, 0, 0, FALSE, FALSE, FALSE, ANSI_CHARSET, 0, 0,
                                      0, kPitchAndFamily, face)};
        if (!font) continue;
        wchar_t selected[LF_FACESIZE] = {};
        {
            const Selection in(dc, font.get());
            if (in) ::GetTextFaceW(dc, LF_FACESIZE, selected);
        }
        const bool found = std::wcscmp(selected, L"\u5B8B\u4F53") == 0 || _wcsicmp(selected, L"SimSun") == 0;
        if (found) return font;
        if (!chosen) chosen = std::move(font);  // whatever face the system substitutes for the first
    }
    return chosen;
}

class GdiSurface final : public Surface {
public:
    GdiSurface(int width, int height, MemoryDc dc, DibSection pixels, UniqueFont font)
        : width_(width), height_(height), bits_(pixels.bits), bitmap_(std::move(pixels.bitmap)),
          font_(std::move(font)), dc_(std::move(dc)), bitmap_in_(dc_.get(), bitmap_.get()), font_in_(dc_.get(), font_.get()) {
        ::SetBkMode(dc_.get(), TRANSPARENT);
        ::SetTextColor(dc_.get(), RGB(0, 0, 0));
    }

    // False when the bitmap could not be selected; a surface without its font draws no text.
    bool ready() const noexcept { return static_cast<bool>(bitmap_in_); }

    int width() const noexcept override { return width_; }
    int height() const noexcept override { return height_; }

    bool set_rows(std::span<const std::uint8_t> rows) override {
        if (rows.size() != size()) return false;
        ::GdiFlush();  // drawing still queued must not land after the copy
        std::memcpy(bits_, rows.data(), rows.size());
        return true;
    }

    bool get_rows(std::span<std::uint8_t> rows) const override {
        if (rows.size() != size()) return false;
        ::GdiFlush();
        std::memcpy(rows.data(), bits_, rows.size());
        const std::size_t stride = row_bytes(width_), used = std::size_t(width_) * 3;
        for (std::size_t row = 0; row < std::size_t(height_); ++row)  // padding goes out as zeros
            std::memset(rows.data() + row * stride + used, 0, stride - used);
        return true;
    }

    void draw_text(int x, int y, std::string_view gbk) override {
        const std::int64_t cell_y = origin_y_ + y;
        if (!font_in_ || cell_y >= height_ || cell_y + kCellHeight <= 0) return;
        // Characters wholly left of the surface are dropped, and so are those beyond its right edge,
        // with the cell widths of the font: 6 pixels a single byte, 12 a double-byte character.
        std::int64_t start_x = origin_x_ + x, pen_x = start_x;
        std::size_t first = 0, end = 0;
        while (end < gbk.size() && pen_x < width_) {
            const std::size_t bytes = character_bytes(gbk.substr(end));
            const int cell = bytes == 2 ? kWideCell : kNarrowCell;
            pen_x += cell;
            end += bytes;
            if (pen_x <= 0) first = end, start_x = pen_x;
        }
        if (first >= end) return;
        const std::string_view shown = gbk.substr(first, end - first);
        const int count = ::MultiByteToWideChar(kGbk, 0, shown.data(), static_cast<int>(shown.size()), nullptr, 0);
        if (count <= 0) return;
        std::wstring wide(static_cast<std::size_t>(count), L'\0');
        ::MultiByteToWideChar(kGbk, 0, shown.data(), static_cast<int>(shown.size()), wide.data(), count);
        ::TextOutW(dc_.get(), static_cast<int>(start_x), static_cast<int>(cell_y), wide.data(), count);
    }

    void set_origin(int x, int y) override {
        origin_x_ = x;
        origin_y_ = y;
    }

    void and_mask(const Mask& mask, int width, int height) override {
        const auto& source = static_cast<const GdiMask&>(mask);
        // Monochrome to colour: 1 becomes the background colour (white), 0 the text colour (black).
        ::SetBkColor(dc_.get(), RGB(255, 255, 255));
        ::SetTextColor(dc_.get(), RGB(0, 0, 0));
        blit(source.bitmap(), std::min(width, source.width()), std::min(height, source.height()), SRCAND);
    }

    void paint(const Picture& picture, int width, int height) override {
        const auto& source = static_cast<const GdiPicture&>(picture);
        blit(source.bitmap(), std::min(width, source.width()), std::min(height, source.height()), SRCPAINT);
    }

private:
    std::size_t size() const noexcept { return row_bytes(width_) * std::size_t(height_); }

    // Bytes of the GBK character at the front of `text`: a lead byte with a trail byte makes two.
    static std::size_t character_bytes(std::string_view text) {
        const auto lead = static_cast<std::uint8_t>(text[0]);
        if (lead < 0x81 || lead == 0xFF || text.size() < 2) return 1;
        const auto trail = static_cast<std::uint8_t>(text[1]);
        return trail >= 0x40 && trail != 0x7F && trail != 0xFF ? 2 : 1;
    }

    // `source`'s top left `width` x `height` pixels onto the area at the origin with raster
    // operation `rop`, cut to the surface first.
    void blit(HBITMAP source, int width, int height, DWORD rop) {
        const std::int64_t x_begin = std::max<std::int64_t>(0, -origin_x_);
        const std::int64_t x_end = std::min<std::int64_t>(width, width_ - origin_x_);
        const std::int64_t y_begin = std::max<std::int64_t>(0, -origin_y_);
        const std::int64_t y_end = std::min<std::int64_t>(height, height_ - origin_y_);
        if (x_begin >= x_end || y_begin >= y_end) return;
        const MemoryDc source_dc(dc_.get());
        const Selection source_in(source_dc.get(), source);
        if (!source_in) return;
        ::BitBlt(dc_.get(), static_cast<int>(origin_x_ + x_begin), static_cast<int>(origin_y_ + y_begin),
                 static_cast<int>(x_end - x_begin), static_cast<int>(y_end - y_begin), source_dc.get(),
                 static_cast<int>(x_begin), static_cast<int>(y_begin), rop);
    }

    int width_;
    int height_;
    std::uint8_t* bits_;  // the DIB section's pixels: bottom-up rows of row_bytes(width_)
    UniqueBitmap bitmap_;
    UniqueFont font_;
    MemoryDc dc_;
    // Declared last, so they end first: the context gets its own objects back before it and the
    // bitmap and font are deleted.
    Selection bitmap_in_;
    Selection font_in_;
    std::int64_t origin_x_ = 0;
    std::int64_t origin_y_ = 0;
};

}  // namespace

std::unique_ptr<Picture> Picture::load(const std::string& native_path) {
    const ScreenDc screen;
    if (!screen) return nullptr;
    // The files the POSIX backend reads are read the same way here: recent versions of LoadImage
    // refuse top-down files, and Wine's gives them black.
    if (std::optional<BmpPixels> bmp = read_bmp_file(native_path)) {
        DibSection pixels = make_dib_section(screen.get(), bmp->width, bmp->height);
        if (!pixels.bitmap) return nullptr;
        const std::size_t used = std::size_t(bmp->width) * 3, stride = row_bytes(bmp->width);
        for (int y = 0; y < bmp->height; ++y)
            std::memcpy(pixels.bits + std::size_t(bmp->height - 1 - y) * stride, &bmp->pixels[y * used], used);
        return std::make_unique<GdiPicture>(bmp->width, bmp->height, std::move(pixels.bitmap));
    }

    // Anything else that the system's loader takes (compressed, 16-bit, bit fields, the old core
    // header), copied into a 24-bit DIB section by GetDIBits, which maps palettes and masks.
    UniqueBitmap loaded{static_cast<HBITMAP>(
        ::LoadImageA(nullptr, native_path.c_str(), IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE | LR_CREATEDIBSECTION))};
    BITMAP header{};
    if (!loaded || ::GetObjectW(loaded.get(), sizeof header, &header) != sizeof header) return nullptr;
    const int width = header.bmWidth, height = std::abs(header.bmHeight);
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return nullptr;
    DibSection pixels = make_dib_section(screen.get(), width, height);
    if (!pixels.bitmap) return nullptr;
    BITMAPINFO info = rgb24_info(width, height);
    if (::GetDIBits(screen.get(), loaded.get(), 0, height, pixels.bits, &info, DIB_RGB_COLORS) != height) return nullptr;
    return std::make_unique<GdiPicture>(width, height, std::move(pixels.bitmap));
}

std::unique_ptr<Surface> Surface::create(int width, int height) {
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return nullptr;
    const ScreenDc screen;
    if (!screen) return nullptr;
    MemoryDc dc(screen.get());
    DibSection pixels = make_dib_section(screen.get(), width, height);
    if (!dc || !pixels.bitmap) return nullptr;
    std::memset(pixels.bits, 0xFF, row_bytes(width) * std::size_t(height));  // white
    UniqueFont font = make_card_font(dc.get());
    auto surface = std::make_unique<GdiSurface>(width, height, std::move(dc), std::move(pixels), std::move(font));
    if (!surface->ready()) return nullptr;
    return surface;
}

std::vector<std::string> card_font_files() {
    const MemoryDc dc(nullptr);
    if (!dc.get()) return {};
    const UniqueFont font = make_card_font(dc.get());
    if (!font) return {};
    wchar_t face[LF_FACESIZE] = {};
    {
        const Selection in(dc.get(), font.get());
        if (in) ::GetTextFaceW(dc.get(), LF_FACESIZE, face);
    }
    char utf8[LF_FACESIZE * 4] = {};
    if (::WideCharToMultiByte(CP_UTF8, 0, face, -1, utf8, sizeof utf8, nullptr, nullptr) <= 1) return {};
    return {utf8};
}

}  // namespace vnr::platform
