// src/pinpad/commands.h: pinpad. The layer below the exported mw_kb_* functions: one command to the pad
// each, taking bytes. Each takes the library lock for its whole run, a person's PIN entry included.
#pragma once

#include <cstdint>
#include <span>

namespace vnr::pinpad {

// nDesType: 0 a DES key of 8 bytes, 1 a key of 16 bytes.
inline constexpr std::uint8_t kLastDesType = 1;
// The room of a PIN read's reply, and of mw_kb_getpin's `pin`.
inline constexpr std::size_t kPinReplyRoom = 50;

// C5 03 00 nDesType mainkeyno key (8 or 16 bytes). The key shows as ** in the log.
std::int16_t pwdkb_load_mainkey(std::int32_t icdev, std::uint8_t nDesType, std::uint8_t mainkeyno, const std::uint8_t* key);
// C5 04 00 nDesType mainkeyno userkeyno key (8 or 16 bytes). The key shows as ** in the log.
std::int16_t pwdkb_load_workkey(std::int32_t icdev, std::uint8_t nDesType, std::uint8_t mainkeyno, std::uint8_t userkeyno,
                                const std::uint8_t* key);
// C5 02 00 length (1 to 16); on success a PIN length counts as set.
std::int16_t pwdkb_setpwdlen(std::int32_t icdev, std::uint8_t length);
// C5 01 00 seconds (6 and up); on success an entry time-out counts as set, and a PIN read waits a
// second longer than the pad: (seconds + 1) x 1000 ms.
std::int16_t pwdkb_settimeout(std::int32_t icdev, std::uint8_t seconds);

// The PIN reads: C5 05 00 1B 49 (first entry) or 1B 45 (entry again); the enciphered ones C5 06 00,
// the entry byte pair, userkeyno, 00 00 and six bytes. Refused with VNR_E_PIN_TIMEOUT_UNSET, then
// VNR_E_PIN_LENGTH_UNSET, then VNR_E_BAD_HANDLE. They wait pin_wait_ms for the reply and put back the
// standing 2000 ms on every path. On success the reply goes to `rbuf` (a longer reply is refused with
// VNR_E_END_BYTE) and its length to *rlen; an enciphered read makes `userkeyno` the active key number.
// A plain read's PIN shows as ** in the log.
std::int16_t pwdkb_getpwd(std::int32_t icdev, std::uint8_t* rlen, std::span<std::uint8_t> rbuf);
std::int16_t pwdkb_getpwd_again(std::int32_t icdev, std::uint8_t* rlen, std::span<std::uint8_t> rbuf);
std::int16_t pwdkb_getpwd_encrypt(std::int32_t icdev, std::uint8_t userkeyno, const std::uint8_t* sixbytes,
                                  std::uint8_t* rlen, std::span<std::uint8_t> rbuf);
std::int16_t pwdkb_getpwd_again_encrypt(std::int32_t icdev, std::uint8_t userkeyno, const std::uint8_t* sixbytes,
                                        std::uint8_t* rlen, std::span<std::uint8_t> rbuf);

}  // namespace vnr::pinpad
