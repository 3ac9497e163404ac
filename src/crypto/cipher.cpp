// src/crypto/cipher.cpp: crypto. The DES and triple DES functions over the caller's buffers and their
// exports. The cipher itself is crypto/des.cpp; here are the message rules, the lock and the log.
#include "crypto/cipher.h"

#include "core/call.h"
#include "core/wipe.h"
#include "crypto/des.h"
#include "vnr_32.h"

#include <array>
#include <cstring>
#include <span>

namespace vnr::crypto {

namespace {

using des::Direction;

// The des_* family carries one or two blocks.
constexpr std::size_t kShortMessageRoom = 2 * des::kBlockSize;

// The log lines of one des_* function.
struct ShortLines {
    const char* entry;
    const char* success;
    const char* refusal;
};

constexpr ShortLines kDesEncrypt{"-----des_encrypt()----- ", "==>des_encrypt()成功。 ",
                                 "==>des_encrypt(), msgLen参数不合法。 "};
constexpr ShortLines kDesDecrypt{"-----des_decrypt()----- ", "==>des_decrypt()成功。 ",
                                 "==>des_decrypt(), msgLen参数无效。 "};
constexpr ShortLines kDes3Encrypt{"-----des3_encrypt()----- ", "==>des3_encrypt()成功。 ",
                                  "==>des3_encrypt(), msgLen参数无效。 "};
constexpr ShortLines kDes3Decrypt{"-----des3_decrypt()----- ", "==>des3_decrypt()成功。 ",
                                  "==>des3_decrypt()，msgLen参数不合法。 "};

// A des_* call: under the lock, the message in a zeroed 16-byte work buffer, one or two blocks through
// the key, `length` bytes out; the result line once the lock is left. `Schedule` is des::KeySchedule
// or des::TripleKeySchedule, made from `KeySize` bytes of `key`.
template <typename Schedule, std::size_t KeySize>
std::int16_t short_message(const ShortLines& lines, Direction direction, const std::uint8_t* key,
                           const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept {
    core::Call call(lines.entry);
    // A missing buffer is refused as a length that does not fit would be: nothing is written.
    if (length < 1 || length > kShortMessageRoom || key == nullptr || src == nullptr || dst == nullptr)
        return call.finish_text(VNR_E_BAD_ARGUMENT, lines.refusal);
    std::array<std::uint8_t, kShortMessageRoom> work{};
    const core::WipeOnExit wipe(work);
    std::memcpy(work.data(), src, length);
    const std::size_t blocks = length > des::kBlockSize ? 2 : 1;
    const Schedule schedule(std::span<const std::uint8_t, KeySize>(key, KeySize));
    schedule.crypt_ecb(direction, std::span(work).first(blocks * des::kBlockSize), work);
    std::memcpy(dst, work.data(), length);
    return call.finish_text(VNR_OK, lines.success);
}

// An rf_* call: every block of the message under one key schedule, a short last block filled with
// zero bytes. The short tail is taken first, so that `src` and `dst` may overlap as they please.
std::int16_t whole_blocks(Direction direction, const std::uint8_t* key, const std::uint8_t* src,
                          std::uint16_t length, std::uint8_t* dst) noexcept {
    // cppcheck-suppress unreadVariable ; the call frame holds the library lock for the whole scope
    const core::Call call(nullptr);
    if (length == 0) return VNR_OK;
    if (key == nullptr || src == nullptr || dst == nullptr) return VNR_E_BAD_ARGUMENT;
    const std::size_t whole = length / des::kBlockSize * des::kBlockSize;
    std::array<std::uint8_t, des::kBlockSize> last{};
    std::memcpy(last.data(), src + whole, length - whole);
    const des::KeySchedule schedule(std::span<const std::uint8_t, des::kKeySize>(key, des::kKeySize));
    schedule.crypt_ecb(direction, {src, whole}, {dst, whole});
    if (whole != length) {
        schedule.crypt_block(direction, last.data(), last.data());
        std::memcpy(dst + whole, last.data(), last.size());
    }
    core::secure_wipe(last);
    return VNR_OK;
}

}  // namespace

std::int16_t des_encrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept {
    return short_message<des::KeySchedule, des::kKeySize>(kDesEncrypt, Direction::encrypt, key, src, length, dst);
}

std::int16_t des_decrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept {
    return short_message<des::KeySchedule, des::kKeySize>(kDesDecrypt, Direction::decrypt, key, src, length, dst);
}

std::int16_t des3_encrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept {
    return short_message<des::TripleKeySchedule, des::kTripleKeySize>(kDes3Encrypt, Direction::encrypt, key, src,
                                                                      length, dst);
}

std::int16_t des3_decrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint8_t length, std::uint8_t* dst) noexcept {
    return short_message<des::TripleKeySchedule, des::kTripleKeySize>(kDes3Decrypt, Direction::decrypt, key, src,
                                                                      length, dst);
}

std::int16_t rf_encrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint16_t length, std::uint8_t* dst) noexcept {
    return whole_blocks(Direction::encrypt, key, src, length, dst);
}

std::int16_t rf_decrypt(const std::uint8_t* key, const std::uint8_t* src, std::uint16_t length, std::uint8_t* dst) noexcept {
    return whole_blocks(Direction::decrypt, key, src, length, dst);
}

}  // namespace vnr::crypto

extern "C" {

VNR_API int16_t VNR_CALL des_encrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst) {
    return vnr::crypto::des_encrypt(key, src, msgLen, dst);
}

VNR_API int16_t VNR_CALL des_decrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst) {
    return vnr::crypto::des_decrypt(key, src, msgLen, dst);
}

VNR_API int16_t VNR_CALL des3_encrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst) {
    return vnr::crypto::des3_encrypt(key, src, msgLen, dst);
}

VNR_API int16_t VNR_CALL des3_decrypt(const uint8_t* key, const uint8_t* src, uint8_t msgLen, uint8_t* dst) {
    return vnr::crypto::des3_decrypt(key, src, msgLen, dst);
}

VNR_API int16_t VNR_CALL rf_encrypt(const uint8_t* key, const uint8_t* src, uint16_t msgLen, uint8_t* dst) {
    return vnr::crypto::rf_encrypt(key, src, msgLen, dst);
}

VNR_API int16_t VNR_CALL rf_decrypt(const uint8_t* key, const uint8_t* src, uint16_t msgLen, uint8_t* dst) {
    return vnr::crypto::rf_decrypt(key, src, msgLen, dst);
}

}  // extern "C"
