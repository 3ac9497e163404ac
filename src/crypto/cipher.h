// src/crypto/cipher.h: crypto. DES and two-key triple DES over the caller's buffers, as the exported
// functions of the same names give them; other families (the PIN pad's pwd_decrypt) call these.
// No reader and no check of pointers: the caller provides the room.
#pragma once

#include <cstdint>

namespace vnr::crypto {

// One or two blocks: `length` 1 to 16 bytes of `src`, the last block filled with zero bytes, each
// block enciphered or deciphered by itself; exactly `length` bytes go to `dst`. Another length gives
// -37 and leaves `dst` alone. Takes the library lock and writes an entry and a result line. The key
// is 8 bytes for des_*, 16 (K1, K2) for des3_*.
std::int16_t des_encrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept;
std::int16_t des_decrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept;
std::int16_t des3_encrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept;
std::int16_t des3_decrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept;

// Any number of blocks under an 8-byte key: `length` bytes of `src`, the last block filled with zero
// bytes; every block goes to `dst`, which takes `length` rounded up to a multiple of 8 bytes. Takes the
// library lock, writes no log line, returns 0.
std::int16_t rf_encrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint16_t length, std::uint8_t* dst) noexcept;
std::int16_t rf_decrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint16_t length, std::uint8_t* dst) noexcept;

}  // namespace vnr::crypto
