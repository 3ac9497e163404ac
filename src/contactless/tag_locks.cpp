// src/contactless/tag_locks.cpp: contactless. The one-time-programmable page and the lock bits of an
// Ultralight-class tag, both written by the exported MF_Write_4bytes. Neither takes a lock of its own.
#include "core/boundary.h"
#include "core/log.h"
#include "vnr_32.h"

#include <array>
#include <optional>

namespace vnr::contactless {

namespace {

constexpr std::uint8_t kOtpPage = 3;

// Where the lock bit of a page lies: the page that holds it, which of its four bytes, and the bit.
struct LockBit {
    std::uint8_t page;
    std::uint8_t byte_index;
    std::uint8_t value;
};

// Pages 3 to 15 are locked by the static lock bytes of page 2 (third and fourth byte, one bit a page);
// pages 16 to 39 by the first byte of page 40, one bit for each four pages (pages 28 and up skip a bit);
// 42 and 43 by a bit each of its second byte, and 44 to 47 by one bit together. The other pages have
// no lock bit here.
std::optional<LockBit> lock_bit(std::uint8_t page) {
    const auto bit = [](int shift) { return static_cast<std::uint8_t>(1u << shift); };
    if (page >= 3 && page <= 7) return LockBit{2, 2, bit(page)};
    if (page >= 8 && page <= 15) return LockBit{2, 3, bit(page - 8)};
    if (page >= 16 && page <= 27) return LockBit{40, 0, bit((page - 12) / 4)};
    if (page >= 28 && page <= 39) return LockBit{40, 0, bit((page - 8) / 4)};
    if (page == 42 || page == 43) return LockBit{40, 1, bit(page - 37)};
    if (page >= 44 && page <= 47) return LockBit{40, 1, 0x80};
    return std::nullopt;
}

std::int16_t write_otp(std::int32_t icdev, const std::uint8_t* data) {
    log::text("-----MF_WriteOTp()----- ");
    return MF_Write_4bytes(icdev, kOtpPage, data);
}

std::int16_t write_lock(std::int32_t icdev, std::uint8_t page) {
    log::text("-----MF_WriteLock()----- ");
    const std::optional<LockBit> lock = lock_bit(page);
    if (!lock) return VNR_E_GENERAL;
    std::array<std::uint8_t, 4> data{};
    data[lock->byte_index] = lock->value;
    return MF_Write_4bytes(icdev, lock->page, data.data());
}

}  // namespace

}  // namespace vnr::contactless

extern "C" {

VNR_API int16_t VNR_CALL MF_WriteOTp(int32_t icdev, const uint8_t* data) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contactless::write_otp(icdev, data); });
}

VNR_API int16_t VNR_CALL MF_WriteLock(int32_t icdev, uint8_t page) {
    return vnr::core::guarded<int16_t>([&] { return vnr::contactless::write_lock(icdev, page); });
}

}  // extern "C"
