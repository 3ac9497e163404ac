// src/platform/posix/drawing.cpp: platform (POSIX). Surfaces, pictures and masks are pixels in memory;
// pictures come from bmp_file.h; text is drawn with FreeType in a Song face that fontconfig finds.
// Every Mask and Picture of the process comes from this file, so the raster operations may look
// inside them.
#include "platform/drawing.h"

#include "platform/posix/iconv_handle.h"

#include "platform/bmp_file.h"
#include "platform/lock.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include <iconv.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vnr::platform {

namespace {

constexpr int kMaxSide = kBmpMaxSide;  // the widest and highest surface accepted, as for pictures

// ---------------------------------------------------------------------------------------------------
// Pictures and masks

// Pixels top-down, three bytes each (blue, green, red), rows unpadded.
class MemoryPicture final : public Picture {
public:
    MemoryPicture(int width, int height, std::vector<std::uint8_t> pixels)
        : width_(width), height_(height), pixels_(std::move(pixels)) {}

    int width() const noexcept override { return width_; }
    int height() const noexcept override { return height_; }
    std::uint8_t* pixel(int x, int y) noexcept { return pixels_.data() + (std::size_t(y) * width_ + x) * 3; }
    const std::uint8_t* pixel(int x, int y) const noexcept {
        return pixels_.data() + (std::size_t(y) * width_ + x) * 3;
    }

    std::unique_ptr<Mask> make_mask(std::uint8_t grey) const override;
    void clear_masked(const Mask& mask, std::uint8_t grey) override;

private:
    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;
};

// One byte a bit, top-down.
class MemoryMask final : public Mask {
public:
    MemoryMask(int width, int height) : width_(width), height_(height), bits_(std::size_t(width) * height) {}

    int width() const noexcept override { return width_; }
    int height() const noexcept override { return height_; }
    bool bit(int x, int y) const noexcept override {
        return x >= 0 && y >= 0 && x < width_ && y < height_ && bits_[std::size_t(y) * width_ + x] != 0;
    }
    void set(int x, int y) noexcept { bits_[std::size_t(y) * width_ + x] = 1; }

private:
    int width_;
    int height_;
    std::vector<std::uint8_t> bits_;
};

std::unique_ptr<Mask> MemoryPicture::make_mask(std::uint8_t grey) const {
    auto mask = std::make_unique<MemoryMask>(width_, height_);
    for (int y = 0; y < height_; ++y)
        for (int x = 0; x < width_; ++x) {
            const std::uint8_t* p = pixel(x, y);
            if (p[0] == grey && p[1] == grey && p[2] == grey) mask->set(x, y);
        }
    return mask;
}

void MemoryPicture::clear_masked(const Mask& mask, std::uint8_t grey) {
    const int width = std::min(width_, mask.width());
    const int height = std::min(height_, mask.height());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const std::uint8_t and_with = mask.bit(x, y) ? 0 : grey;
            std::uint8_t* p = pixel(x, y);
            for (int i = 0; i < 3; ++i) p[i] &= and_with;
        }
}

// ---------------------------------------------------------------------------------------------------
// The card font

template <auto release>
struct Releaser {
    template <typename T>
    void operator()(T* object) const noexcept { release(object); }
};

using FreeTypeLibrary = std::unique_ptr<std::remove_pointer_t<FT_Library>, Releaser<FT_Done_FreeType>>;
using FreeTypeFace = std::unique_ptr<std::remove_pointer_t<FT_Face>, Releaser<FT_Done_Face>>;
using FontConfig = std::unique_ptr<FcConfig, Releaser<FcConfigDestroy>>;
using FontPattern = std::unique_ptr<FcPattern, Releaser<FcPatternDestroy>>;
using FontSet = std::unique_ptr<FcFontSet, Releaser<FcFontSetDestroy>>;
using FontObjectSet = std::unique_ptr<FcObjectSet, Releaser<FcObjectSetDestroy>>;

constexpr int kCellHeight = 12;       // the font's height: one line of text
constexpr int kNarrowCell = 6;        // a single-byte character's cell
constexpr int kWideCell = 12;         // a double-byte character's cell
constexpr int kUsualBaseline = 10;    // pixels from a cell's top to the baseline in the 12-pixel Song face
// The 12-pixel strike of the WenQuanYi bitmap song, where Debian puts it: taken by path when the
// system's fontconfig rules leave bitmap fonts out.
constexpr const char* kBitmapSongFile = "/usr/share/fonts/X11/misc/wenquanyi_9pt.pcf";

struct FontFile {
    std::string path;
    int index = 0;
};

// The fonts whose family (any of their names) is `family`, as fontconfig lists them.
void add_family(FcConfig* config, const char* family, std::vector<FontFile>& files) {
    const FontPattern pattern{FcPatternCreate()};
    const FontObjectSet objects{FcObjectSetBuild(FC_FILE, FC_INDEX, nullptr)};
    if (!pattern || !objects) return;
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
    const FontSet set{FcFontList(config, pattern.get(), objects.get())};
    if (!set) return;
    for (int i = 0; i < set->nfont; ++i) {
        FcChar8* file = nullptr;
        int index = 0;
        if (FcPatternGetString(set->fonts[i], FC_FILE, 0, &file) != FcResultMatch) continue;
        FcPatternGetInteger(set->fonts[i], FC_INDEX, 0, &index);
        files.push_back({reinterpret_cast<const char*>(file), index});
    }
}

// The font that fontconfig prefers for simplified Chinese, if it really covers that language.
void add_best_for_chinese(FcConfig* config, std::vector<FontFile>& files) {
    const FontPattern pattern{FcNameParse(reinterpret_cast<const FcChar8*>(":lang=zh-cn"))};
    if (!pattern) return;
    FcConfigSubstitute(config, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    FcResult result = FcResultNoMatch;
    const FontPattern font{FcFontMatch(config, pattern.get(), &result)};
    if (!font) return;
    FcLangSet* languages = nullptr;
    FcChar8* file = nullptr;
    int index = 0;
    if (FcPatternGetLangSet(font.get(), FC_LANG, 0, &languages) != FcResultMatch ||
        FcLangSetHasLang(languages, reinterpret_cast<const FcChar8*>("zh-cn")) != FcLangEqual ||
        FcPatternGetString(font.get(), FC_FILE, 0, &file) != FcResultMatch)
        return;
    FcPatternGetInteger(font.get(), FC_INDEX, 0, &index);
    files.push_back({reinterpret_cast<const char*>(file), index});
}

// The fonts to try, best first: the Windows face itself, the WenQuanYi bitmap song (its 12-pixel
// strike looks much like the Windows face at this size), AR PL UMing, then whatever fontconfig
// offers for simplified Chinese.
std::vector<FontFile> card_font_candidates() {
    std::vector<FontFile> files;
    const FontConfig config{FcInitLoadConfigAndFonts()};
    if (config) {
        add_family(config.get(), "SimSun", files);
        add_family(config.get(), "宋体", files);
        add_family(config.get(), "WenQuanYi Bitmap Song", files);
    }
    // Debian's 70-no-bitmaps.conf hides bitmap fonts unless the font's own rule lets them in.
    files.push_back({kBitmapSongFile, 0});
    if (config) {
        add_family(config.get(), "AR PL UMing CN", files);
        add_best_for_chinese(config.get(), files);
    }
    return files;
}

// A face opened at 12 pixels, and where its baseline lies below a cell's top.
struct SizedFace {
    FreeTypeFace face;
    int baseline = kUsualBaseline;
    std::string path;  // the font file
};

// `file` at 12 pixels with a Unicode map: outlines scaled, or a bitmap-only face's 12-pixel strike.
std::optional<SizedFace> open_sized(FT_Library library, const FontFile& file) {
    FT_Face raw_face = nullptr;
    if (FT_New_Face(library, file.path.c_str(), file.index, &raw_face) != 0) return std::nullopt;
    SizedFace sized{FreeTypeFace{raw_face}, kUsualBaseline, file.path};
    FT_Face face = sized.face.get();
    if (FT_Select_Charmap(face, FT_ENCODING_UNICODE) != 0) return std::nullopt;
    if (FT_IS_SCALABLE(face)) {
        if (FT_Set_Pixel_Sizes(face, 0, kCellHeight) != 0) return std::nullopt;
    } else {
        int strike = 0;
        while (strike < face->num_fixed_sizes && (face->available_sizes[strike].y_ppem + 32) >> 6 != kCellHeight) ++strike;
        if (strike == face->num_fixed_sizes || FT_Select_Size(face, strike) != 0) return std::nullopt;
    }
    // The face's ascent places the baseline when it is that of a 12-pixel Song face; bitmap strikes
    // often state none.
    const long ascent = (face->size->metrics.ascender + 32) >> 6;
    if (ascent >= 9 && ascent <= 11) sized.baseline = static_cast<int>(ascent);
    return sized;
}

// True when every printable ASCII glyph advances by a narrow cell, as the Windows face's do.
bool fits_narrow_cells(FT_Face face) {
    for (char32_t code_point = 0x21; code_point < 0x7F; ++code_point)
        if (FT_Load_Char(face, code_point, FT_LOAD_DEFAULT) != 0 || (face->glyph->advance.x + 32) >> 6 != kNarrowCell)
            return false;
    return true;
}

// The card font, loaded once per process; drawing with it needs font_lock(). Double-byte characters
// come from the first candidate that opens. Its single-byte characters too, unless their glyphs are
// proportional (the WenQuanYi song's Latin letters are up to 10 pixels wide): then they come from
// the next candidate whose ASCII fits the 6-pixel cells, if there is one.
class CardFont {
public:
    // nullptr when no candidate opens.
    static std::unique_ptr<CardFont> load() {
        FT_Library raw_library = nullptr;
        if (FT_Init_FreeType(&raw_library) != 0) return nullptr;
        FreeTypeLibrary library{raw_library};
        std::optional<SizedFace> wide, narrow;
        for (const FontFile& file : card_font_candidates()) {
            std::optional<SizedFace> face = open_sized(library.get(), file);
            if (!face) continue;
            const bool fits = fits_narrow_cells(face->face.get());
            if (!wide) {
                wide = std::move(face);
                if (fits) break;
            } else if (fits) {
                narrow = std::move(face);
                break;
            }
        }
        if (!wide) return nullptr;
        return std::unique_ptr<CardFont>(new CardFont(std::move(library), std::move(*wide), std::move(narrow)));
    }

    // Draws `code_point` into the cell whose top left is (cell_x, cell_y) of `pixels` (bottom-up
    // rows of a `width` x `height` surface), clipped to the cell and the surface.
    void draw(std::vector<std::uint8_t>& pixels, int width, int height, std::int64_t cell_x, std::int64_t cell_y,
              int cell_width, char32_t code_point) const;

    // The files of the faces: the double-byte one, then the single-byte one when it is another.
    std::vector<std::string> files() const {
        std::vector<std::string> paths{wide_.path};
        if (narrow_) paths.push_back(narrow_->path);
        return paths;
    }

private:
    CardFont(FreeTypeLibrary library, SizedFace wide, std::optional<SizedFace> narrow)
        : library_(std::move(library)), wide_(std::move(wide)), narrow_(std::move(narrow)) {}

    FreeTypeLibrary library_;  // declared first: it outlives the faces
    SizedFace wide_;
    std::optional<SizedFace> narrow_;
};

void CardFont::draw(std::vector<std::uint8_t>& pixels, int width, int height, std::int64_t cell_x,
                    std::int64_t cell_y, int cell_width, char32_t code_point) const {
    const SizedFace& sized = cell_width == kNarrowCell && narrow_ ? *narrow_ : wide_;
    const FT_Face face = sized.face.get();
    // A character the face lacks comes out as its glyph 0, the missing-glyph box.
    if (FT_Load_Glyph(face, FT_Get_Char_Index(face, code_point), FT_LOAD_RENDER) != 0) return;
    const FT_GlyphSlot glyph = face->glyph;
    const FT_Bitmap& bitmap = glyph->bitmap;
    if (bitmap.pitch < 0) return;  // rendered glyphs run top-down; nothing else is expected here
    const bool solid = bitmap.pixel_mode == FT_PIXEL_MODE_MONO;
    if (!solid && bitmap.pixel_mode != FT_PIXEL_MODE_GRAY) return;

    // A glyph whose advance is not its cell's width (a proportional fallback face) is centred in it.
    const long advance = (glyph->advance.x + 32) >> 6;
    const std::int64_t left = cell_x + glyph->bitmap_left + (advance > 0 ? (cell_width - advance) / 2 : 0);
    const std::int64_t top = cell_y + sized.baseline - glyph->bitmap_top;
    const std::int64_t x_begin = std::max<std::int64_t>({cell_x, left, 0});
    const std::int64_t x_end = std::min<std::int64_t>({cell_x + cell_width, left + bitmap.width, width});
    const std::int64_t y_begin = std::max<std::int64_t>({cell_y, top, 0});
    const std::int64_t y_end = std::min<std::int64_t>({cell_y + kCellHeight, top + bitmap.rows, height});
    const std::size_t stride = row_bytes(width);
    const int grays = bitmap.num_grays > 1 ? bitmap.num_grays - 1 : 255;
    for (std::int64_t y = y_begin; y < y_end; ++y) {
        const std::uint8_t* source = bitmap.buffer + (y - top) * bitmap.pitch;
        std::uint8_t* row = pixels.data() + std::size_t(height - 1 - y) * stride;
        for (std::int64_t x = x_begin; x < x_end; ++x) {
            const std::int64_t column = x - left;
            unsigned coverage;  // 0 leaves the pixel, 255 makes it black
            if (solid)
                coverage = (source[column / 8] >> (7 - column % 8)) & 1 ? 255 : 0;
            else
                coverage = source[column] * 255u / grays;
            if (coverage == 0) continue;
            std::uint8_t* pixel = row + x * 3;
            for (int i = 0; i < 3; ++i) pixel[i] = static_cast<std::uint8_t>((pixel[i] * (255 - coverage) + 127) / 255);
        }
    }
}

// Guards the loading of the card font and every use of it: a FreeType face serves one thread at a time.
ReentrantLock& font_lock() {
    static ReentrantLock lock;
    return lock;
}

class FontGuard {
public:
    FontGuard() noexcept { font_lock().enter(); }
    ~FontGuard() { font_lock().leave(); }
    FontGuard(const FontGuard&) = delete;
    FontGuard& operator=(const FontGuard&) = delete;
};

// The card font, loaded on first use; nullptr when the machine has none. Needs a FontGuard.
const CardFont* card_font(const FontGuard&) {
    static const std::unique_ptr<CardFont> font = CardFont::load();
    return font.get();
}

}  // namespace

std::vector<std::string> card_font_files() {
    const FontGuard guard;
    const CardFont* font = card_font(guard);
    return font != nullptr ? font->files() : std::vector<std::string>{};
}

namespace {

// One character of a GBK text: its code point (nullopt when the bytes are no character) and the
// width of its cell.
struct GbkCharacter {
    std::optional<char32_t> code_point;
    int cell_width;
    std::size_t bytes;
};

// The character at the front of `text`, which is not empty. `to_utf32` converts GBK to UTF-32LE.
GbkCharacter next_gbk_character(std::string_view text, const Iconv& to_utf32) {
    const auto lead = static_cast<std::uint8_t>(text[0]);
    if (lead < 0x80) return {lead, kNarrowCell, 1};
    if (lead == 0x80) return {U'\u20AC', kNarrowCell, 1};  // code page 936 has the euro sign here
    const bool pair = lead != 0xFF && text.size() >= 2 && static_cast<std::uint8_t>(text[1]) >= 0x40 &&
                      static_cast<std::uint8_t>(text[1]) != 0x7F && static_cast<std::uint8_t>(text[1]) != 0xFF;
    if (!pair || !to_utf32) return {std::nullopt, pair ? kWideCell : kNarrowCell, pair ? 2u : 1u};
    std::array<char, 2> in{text[0], text[1]};
    std::array<unsigned char, 8> out{};
    char* in_at = in.data();
    char* out_at = reinterpret_cast<char*>(out.data());
    std::size_t in_left = in.size(), out_left = out.size();
    if (::iconv(to_utf32.get(), &in_at, &in_left, &out_at, &out_left) == static_cast<std::size_t>(-1) ||
        out.size() - out_left != 4) {
        ::iconv(to_utf32.get(), nullptr, nullptr, nullptr, nullptr);
        return {std::nullopt, kWideCell, 2};
    }
    return {char32_t(out[0] | (out[1] << 8) | (out[2] << 16) | (char32_t(out[3]) << 24)), kWideCell, 2};
}

// ---------------------------------------------------------------------------------------------------
// Surfaces

class MemorySurface final : public Surface {
public:
    MemorySurface(int width, int height)
        : width_(width), height_(height), pixels_(row_bytes(width) * height, 0xFF) {}

    int width() const noexcept override { return width_; }
    int height() const noexcept override { return height_; }

    bool set_rows(std::span<const std::uint8_t> rows) override {
        if (rows.size() != pixels_.size()) return false;
        std::ranges::copy(rows, pixels_.begin());
        return true;
    }

    bool get_rows(std::span<std::uint8_t> rows) const override {
        if (rows.size() != pixels_.size()) return false;
        std::ranges::copy(pixels_, rows.begin());
        const std::size_t stride = row_bytes(width_), used = std::size_t(width_) * 3;
        for (std::size_t row = 0; row < std::size_t(height_); ++row)  // padding goes out as zeros
            std::fill(rows.begin() + static_cast<std::ptrdiff_t>(row * stride + used),
                      rows.begin() + static_cast<std::ptrdiff_t>((row + 1) * stride), 0);
        return true;
    }

    void draw_text(int x, int y, std::string_view gbk) override {
        std::int64_t cell_x = origin_x_ + x;
        const std::int64_t cell_y = origin_y_ + y;
        if (gbk.empty() || cell_y >= height_ || cell_y + kCellHeight <= 0) return;
        const FontGuard guard;
        const CardFont* font = card_font(guard);
        if (font == nullptr) return;
        const Iconv to_utf32("UTF-32LE", "GBK");
        while (!gbk.empty() && cell_x < width_) {
            const GbkCharacter character = next_gbk_character(gbk, to_utf32);
            if (character.code_point && cell_x + character.cell_width > 0)
                font->draw(pixels_, width_, height_, cell_x, cell_y, character.cell_width, *character.code_point);
            cell_x += character.cell_width;
            gbk.remove_prefix(character.bytes);
        }
    }

    void set_origin(int x, int y) override {
        origin_x_ = x;
        origin_y_ = y;
    }

    void and_mask(const Mask& mask, int width, int height) override {
        // Beyond the mask nothing changes, so the area is cut to the mask first.
        for_area(std::min(width, mask.width()), std::min(height, mask.height()), [&](int x, int y, std::uint8_t* pixel) {
            if (!mask.bit(x, y)) std::memset(pixel, 0, 3);
        });
    }

    void paint(const Picture& picture, int width, int height) override {
        const auto& source = static_cast<const MemoryPicture&>(picture);
        for_area(std::min(width, source.width()), std::min(height, source.height()), [&](int x, int y, std::uint8_t* pixel) {
            const std::uint8_t* from = source.pixel(x, y);
            for (int i = 0; i < 3; ++i) pixel[i] |= from[i];
        });
    }

private:
    // Calls `visit(x, y, pixel)` for each (x, y) of the `width` x `height` area at the origin that
    // lies on the surface.
    template <typename Visit>
    void for_area(int width, int height, Visit visit) {
        const std::int64_t x_begin = std::max<std::int64_t>(0, -origin_x_);
        const std::int64_t x_end = std::min<std::int64_t>(width, width_ - origin_x_);
        const std::int64_t y_begin = std::max<std::int64_t>(0, -origin_y_);
        const std::int64_t y_end = std::min<std::int64_t>(height, height_ - origin_y_);
        const std::size_t stride = row_bytes(width_);
        for (std::int64_t y = y_begin; y < y_end; ++y) {
            std::uint8_t* row = pixels_.data() + std::size_t(height_ - 1 - (origin_y_ + y)) * stride;
            for (std::int64_t x = x_begin; x < x_end; ++x)
                visit(static_cast<int>(x), static_cast<int>(y), row + (origin_x_ + x) * 3);
        }
    }

    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;  // bottom-up, padded rows, as set_rows takes them
    std::int64_t origin_x_ = 0;
    std::int64_t origin_y_ = 0;
};

}  // namespace

std::unique_ptr<Picture> Picture::load(const std::string& native_path) {
    std::optional<BmpPixels> bmp = read_bmp_file(native_path);
    if (!bmp) return nullptr;
    return std::make_unique<MemoryPicture>(bmp->width, bmp->height, std::move(bmp->pixels));
}

std::unique_ptr<Surface> Surface::create(int width, int height) {
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return nullptr;
    return std::make_unique<MemorySurface>(width, height);
}

}  // namespace vnr::platform
