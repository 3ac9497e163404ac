// src/reader/commands.h: reader. The encodings of the reader's own commands that are more than a byte
// per argument: the code of a baud rate, the base-265 address of the block store, the text of the
// fingerprint query, and the rates of the auxiliary ports. Pure: no lock, no I/O.
#pragma once

#include <array>
#include <cstdint>

namespace vnr::reader {

// device_setbaud: the reader's code of a rate. 19200 is 1, 38400 is 2, 57600 is 3, 115200 is 4; any
// other rate, 9600 included, is 0.
constexpr std::uint8_t baud_code(std::int32_t baud) noexcept {
    switch (baud) {
        case 19200: return 1;
        case 38400: return 2;
        case 57600: return 3;
        case 115200: return 4;
        default: return 0;
    }
}

// send_com_bound: the code of an auxiliary port's rate (0 9600, 1 38400, 2 115200); -1 for another rate.
constexpr int port_rate_code(std::int32_t baud) noexcept {
    return baud == 9600 ? 0 : baud == 38400 ? 1 : baud == 115200 ? 2 : -1;
}

// tf_read and tf_write: the block store takes its address as four "digits" of base 265, not 256, each
// the quotient (the last one the remainder) cut to its low 8 bits, so that 265 reads 00 00 01 00 and
// 70225 reads 00 01 09 00. A negative address divides as C divides, toward zero.
constexpr std::array<std::uint8_t, 4> store_address(std::int32_t address) noexcept {
    constexpr std::int32_t kBase = 265;
    return {static_cast<std::uint8_t>(address / (kBase * kBase * kBase)),
            static_cast<std::uint8_t>(address / (kBase * kBase)), static_cast<std::uint8_t>(address / kBase),
            static_cast<std::uint8_t>(address % kBase)};
}
static_assert(store_address(70225) == std::array<std::uint8_t, 4>{0, 1, 9, 0});

// get_finger: the fixed text behind 60 C2 87, the same in every call: "1;" and fourteen digits of the
// library's choosing.
inline constexpr char kFingerText[] = "1;31415926535897";
static_assert(sizeof kFingerText - 1 == 16);

}  // namespace vnr::reader
