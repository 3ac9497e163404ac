// src/idcard/card_templates.h: idcard. The card face pictures that the card image composer draws on,
// held inside the library: a 24-bit picture of the card's front, its back, and both on one sheet,
// with the printed captions already on them.
//
// The pixels are laid out as a BMP file holds them: bottom-up rows of row_bytes(width) bytes (three a
// pixel, blue, green, red; each row padded to a multiple of four). They are compiled in from
// src/idcard/templates/*.bmp, which tools/card_templates.cpp draws (scripts/make-templates.sh).
#pragma once

#include <cstdint>
#include <span>

namespace vnr::idcard {

enum class CardFace { both_sides, front, back };

inline constexpr int kCardFaceWidth = 343;            // every face
inline constexpr int kCardSideHeight = 215;           // front, back
inline constexpr int kBothSidesHeight = 436;          // the front above the back, on one sheet
inline constexpr int kBothSidesBackTop = 215;         // first row (from the top) of the back on that sheet

struct CardTemplate {
    int width;
    int height;
    std::span<const std::uint8_t> pixels;             // height rows of row_bytes(width), bottom-up
};

// The picture of `face`; its pixels are constant data of the library, valid for the process's life.
CardTemplate card_template(CardFace face) noexcept;

}  // namespace vnr::idcard
