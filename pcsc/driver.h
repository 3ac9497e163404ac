// pcsc/driver.h: the PC/SC driver's pure pieces, apart from the entry points (ifd_handler.cpp) so that
// they can be tested alone: what a library status means to the resource manager, the answer to reset of
// a contactless card, the protocols an answer to reset offers, the log text of an APDU, and how a device
// name chooses the reader's link. Calls nothing of the library.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnr::pcsc {

using Bytes = std::vector<std::uint8_t>;

// IFD code of a library result (0 or a status of vnr_32.h, or a reader status). `refused` is what a
// reader status means for the operation at hand (a power-up failed, an exchange failed, ...); the link's
// and the library's own failures mean the same for every operation.
long ifd_code(int status, long refused);

// The answer to reset that stands for an activated contactless CPU card: 3B 8n 80 01, n historical
// bytes, TCK. A type A card gives the historical bytes of its ATS (`ats` from its length byte TL on); a
// type B card the application data and protocol info of its ATQB (`ats` as the reader gives them) and a
// zero byte for the unknown MBLI and CID. At most 15 historical bytes are kept.
Bytes contactless_atr(bool type_b, std::span<const std::uint8_t> ats);

// The protocols (SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1 bits) that an answer to reset offers: T=0 when
// it names none; 0 when the bytes are not an answer to reset.
unsigned offered_protocols(std::span<const std::uint8_t> atr);

// One log line's worth for an APDU command: its header, its lengths, and its data in hex unless the
// instruction carries a secret (PIN verification and change, authentication, key loading), whose data
// never appear.
std::string describe_command(std::span<const std::uint8_t> apdu);
bool carries_secret(std::span<const std::uint8_t> apdu);

// How a device name reaches the reader: the USB HID road, or serial port index `port` (0 is COM1) at
// `baud`. Names: "usb", "usb:23a4/0213..." (anything after usb), "/dev/hidrawN" (the library itself picks
// the reader's HID interface by its ids); "COMn" (1 to 32); "/dev/ttySn" (index n); any other path, a
// tty or a pty, that one of the COM links below $VNR32_PREFIX/dosdevices points at. A serial name may
// end with ":BAUD" (default 115200). nullopt for a name that maps to nothing.
struct Road {
    bool usb = false;
    std::int16_t port = 0;
    std::int32_t baud = 0;
};
std::optional<Road> road_of(std::string_view device_name);

}  // namespace vnr::pcsc
