// src/platform/drawing.h: platform. Drawing on bitmaps in memory, for the card image composer.
// Backends: win32/drawing.cpp (GDI), posix/drawing.cpp (FreeType glyphs found through fontconfig).
//
// The composer above this layer is the same on both systems; it sees three kinds of object:
//   Surface  a 24-bit picture in memory with its drawing state (font, colours, viewport origin);
//   Picture  a bitmap loaded from a BMP file (a photo);
//   Mask     a one-bit picture made from a Picture by one colour.
// Pixel rows cross this interface as a BMP file holds them: bottom-up, three bytes a pixel in the
// order blue, green, red, each row padded to a multiple of four bytes (row_bytes(width)).
// Every object owns its system resources and gives them back in its destructor; none is copyable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::platform {

// Bytes in one padded row of a 24-bit picture `width` pixels wide.
constexpr std::size_t row_bytes(int width) noexcept { return (static_cast<std::size_t>(width) * 3 + 3) & ~std::size_t{3}; }

class Mask;

// A bitmap loaded from a file, kept at its own size.
class Picture {
public:
    virtual ~Picture() = default;

    // Loads a BMP file (uncompressed, 1, 4, 8, 24 or 32 bits a pixel, either row order, at most
    // 10000 x 10000) at its own size; both backends read these the same way (platform/bmp_file.h).
    // Windows also takes what its own loader knows beyond them (compressed, 16 bits a pixel).
    // nullptr when the file cannot be read or is no such BMP.
    static std::unique_ptr<Picture> load(const std::string& native_path);

    virtual int width() const noexcept = 0;
    virtual int height() const noexcept = 0;

    // A mask of this picture's size: 1 where a pixel is exactly (grey, grey, grey), 0 elsewhere.
    // nullptr when it cannot be made.
    virtual std::unique_ptr<Mask> make_mask(std::uint8_t grey) const = 0;

    // Where `mask` is 1 the pixel becomes black; elsewhere each of its colour bytes is ANDed with
    // `grey`. (A blit of the mask onto the picture with SRCAND, black as the background colour and
    // the grey as the text colour.) Pixels outside the mask stay as they are.
    virtual void clear_masked(const Mask& mask, std::uint8_t grey) = 0;
};

// A one-bit picture.
class Mask {
public:
    virtual ~Mask() = default;
    virtual int width() const noexcept = 0;
    virtual int height() const noexcept = 0;
    // The bit at (x, y) from the top left; false outside the mask.
    virtual bool bit(int x, int y) const noexcept = 0;
};

// A 24-bit picture in memory to draw on.
class Surface {
public:
    virtual ~Surface() = default;

    // A white surface of `width` x `height` pixels (1 to 10000 each) with a transparent text
    // background, black text in the card font and its viewport origin at (0, 0). nullptr for another
    // size or when the system refuses it.
    static std::unique_ptr<Surface> create(int width, int height);

    virtual int width() const noexcept = 0;
    virtual int height() const noexcept = 0;

    // Replaces all pixels by `rows` (height rows of row_bytes(width), bottom-up). False when the
    // size is wrong or the system refuses.
    virtual bool set_rows(std::span<const std::uint8_t> rows) = 0;

    // Copies all pixels out in the same layout, the padding bytes of each row as zeros. False when
    // the size is wrong or the system refuses.
    virtual bool get_rows(std::span<std::uint8_t> rows) const = 0;

    // Draws `gbk` (GBK text) in the card font, a 12-pixel Song face, black on a transparent
    // background, with the top left corner of its first character cell at (x, y) from the viewport
    // origin. Cells are 12 pixels high, 6 wide for a single byte and 12 for a double-byte character;
    // a byte that starts no character takes a narrow cell. Characters that the font lacks are drawn
    // as the font's missing-glyph box or skipped; text beyond the surface's edges is clipped. Without
    // any suitable font on the machine nothing is drawn.
    virtual void draw_text(int x, int y, std::string_view gbk) = 0;

    // Moves the viewport origin: later drawing at (x, y) lands at (origin + x, origin + y), the sum
    // taken without overflow.
    virtual void set_origin(int x, int y) = 0;

    // Within the `width` x `height` area at the origin, where `mask` has a 0 bit the surface turns
    // black; where it has a 1 bit, or the area lies beyond the mask, it stays. (A blit of the mask
    // with SRCAND, white as the background colour and black as the text colour.)
    virtual void and_mask(const Mask& mask, int width, int height) = 0;

    // ORs the `width` x `height` area at the origin with the picture's pixels from its top left
    // corner (a blit with SRCPAINT); what lies outside the picture changes nothing.
    virtual void paint(const Picture& picture, int width, int height) = 0;
};

// The fonts that text on card pictures is drawn with, as a surface takes them: the face of the double-byte
// characters first, then that of the single-byte ones when it is another. Linux: font files found through
// fontconfig; Windows: the face name that GDI selects. Empty when no font serves: pictures then carry no text.
std::vector<std::string> card_font_files();

}  // namespace vnr::platform
