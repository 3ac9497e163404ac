// sim/models/pinpad/pad_des.h: the PIN pad's own block cipher: DES as FIPS 46-3 defines it, and its
// two-key triple form, over single 8-byte blocks (ECB). The pad enciphers PIN blocks under work keys with
// it. Textbook and slow on purpose: bit tables, no tricks.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace vnrsim::pad_des {

using Block = std::array<std::uint8_t, 8>;

// One block under `key`: 8 bytes for DES, 16 for two-key triple DES (K1 the first eight bytes, K2 the
// next: E(K1) D(K2) E(K1) to encipher, D(K1) E(K2) D(K1) to decipher). The parity bit of each key
// byte (its lowest) is ignored. Throws std::invalid_argument for a key of another length.
Block encipher(std::span<const std::uint8_t> key, const Block& block);
Block decipher(std::span<const std::uint8_t> key, const Block& block);

}  // namespace vnrsim::pad_des
