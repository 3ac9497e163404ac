// src/idcard/card_image.h: idcard. The text rules of the card pictures, apart from the drawing.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace vnr::idcard {

// How an address of more than 22 bytes is cut into lines.
enum class AddressCut {
    between_characters,  // the front: after 22 bytes, or 21 when 22 would split a double-byte character
    byte_test,           // the two-sided sheet: after 22 bytes when the byte at index 21 has its top bit
                         // clear, else after 21; a cut still inside a double-byte character (as on a
                         // text of double-byte characters only) steps back to that character's start
};

// The address (at most 70 bytes are taken) on up to three lines: the first two hold up to 22 bytes
// each, the third all that remains.
std::array<std::string_view, 3> address_lines(std::string_view address, AddressCut cut);

// "YYYY.MM.DD-YYYY.MM.DD" from two eight-character dates; a shorter date is written as it stands, and
// two empty dates give an empty text.
std::string validity_text(std::string_view from, std::string_view to);

}  // namespace vnr::idcard
