// sim/models/contactless/page_tag.cpp: the page tags' reads, writes, lock bits and protection (see
// page_tag.h).
#include "models/contactless/page_tag.h"

#include <algorithm>
#include <stdexcept>

#include "models/contactless/contactless_status.h"

namespace vnrsim {
namespace {

constexpr std::size_t kUidPages = 2, kLockPage = 2, kOtpPage = 3, kPageSize = 4;
constexpr std::size_t kReadPages = 4;  // a read gives four pages
constexpr std::size_t kUltralightCKeySize = 16;
constexpr std::uint8_t kProtectReads = 0x80, kConfigLock = 0x40, kAuthLimit = 0x07;

Answer refuse(std::uint16_t status) { return {status, {}}; }

// `now` with the bits of `wanted` set where `frozen` allows: lock and one-time bits only ever set.
std::uint8_t set_bits(std::uint8_t now, std::uint8_t wanted, std::uint8_t frozen = 0) {
    return static_cast<std::uint8_t>(now | (wanted & ~frozen));
}

}  // namespace

std::size_t tag_pages(TagKind kind) {
    switch (kind) {
        case TagKind::ultralight:
            return 16;
        case TagKind::ultralight_c:
            return 48;
        case TagKind::ntag215:
            return 135;
    }
    return 0;
}

PageTagSetup factory_tag(TagKind kind, CardBytes uid) {
    if (uid.size() != 7) throw std::invalid_argument("a tag's UID is 7 bytes");
    PageTagSetup setup{kind, CardBytes(tag_pages(kind) * kPageSize, 0x00)};
    CardBytes& p = setup.pages;
    p[0] = uid[0], p[1] = uid[1], p[2] = uid[2], p[3] = 0x88 ^ uid[0] ^ uid[1] ^ uid[2];
    std::copy(uid.begin() + 3, uid.end(), p.begin() + 4);
    p[8] = uid[3] ^ uid[4] ^ uid[5] ^ uid[6];
    p[9] = 0x48;
    if (kind == TagKind::ultralight_c) {
        p[4 * kUltralightCAuth0] = 0x30;  // past the last page: nothing protected
    } else if (kind == TagKind::ntag215) {
        const std::uint8_t cc[] = {0xE1, 0x10, 0x3E, 0x00}, message[] = {0x03, 0x00, 0xFE, 0x00};
        std::copy(std::begin(cc), std::end(cc), p.begin() + 4 * kOtpPage);
        std::copy(std::begin(message), std::end(message), p.begin() + 16);
        p[4 * kNtagConfig0] = 0x04;
        p[4 * kNtagConfig0 + 3] = 0xFF;
        std::fill_n(p.begin() + 4 * kNtagPassword, 4, std::uint8_t{0xFF});
    }
    return setup;
}

PageTag::PageTag(PageTagSetup setup) : setup_(std::move(setup)) {}

CardBytes PageTag::activation() const {
    return {0x00, at(0, 0), at(0, 1), at(0, 2), at(1, 0), at(1, 1), at(1, 2), at(1, 3)};
}

std::size_t PageTag::readable_pages() const noexcept {
    return setup_.kind == TagKind::ultralight_c ? kUltralightCKey : pages();
}

bool PageTag::protected_page(std::size_t page, bool for_read) const {
    if (authenticated_ || setup_.kind == TagKind::ultralight) return false;
    if (setup_.kind == TagKind::ultralight_c) {
        const bool reads_too = (at(kUltralightCAuth1, 0) & 0x01) == 0;
        return page >= at(kUltralightCAuth0, 0) && (!for_read || reads_too);
    }
    const bool reads_too = at(kNtagConfig1, 0) & kProtectReads;
    return page >= at(kNtagConfig0, 3) && (!for_read || reads_too);
}

bool PageTag::locked(std::size_t page) const {
    if (page < kUidPages) return true;
    if (page == kOtpPage) return at(kLockPage, 2) & 0x08;
    if (page > kOtpPage && page < 8) return at(kLockPage, 2) & (1u << page);
    if (page >= 8 && page < 16) return at(kLockPage, 3) & (1u << (page - 8));
    if (setup_.kind == TagKind::ultralight_c) {
        const std::uint8_t lock0 = at(kUltralightCLock, 0), lock1 = at(kUltralightCLock, 1);
        if (page < 28) return lock0 & (1u << ((page - 16) / 4 + 1));
        if (page < 40) return lock0 & (1u << ((page - 28) / 4 + 5));
        if (page == kUltralightCAuth0) return lock1 & 0x20;
        if (page == kUltralightCAuth1) return lock1 & 0x40;
        if (page >= kUltralightCKey) return lock1 & 0x80;
        return false;
    }
    if (setup_.kind == TagKind::ntag215) {
        if (page >= 16 && page < kNtagDynamicLock) return at(kNtagDynamicLock, 0) & (1u << ((page - 16) / 16));
        if (page == kNtagConfig0 || page == kNtagConfig1) return at(kNtagConfig1, 0) & kConfigLock;
    }
    return false;
}

Answer PageTag::read(std::uint8_t page) const {
    const std::size_t reach = readable_pages();
    if (page >= reach) return refuse(kRfBeyondCard);
    CardBytes out;
    for (std::size_t i = 0; i < kReadPages; ++i) {
        const std::size_t p = (page + i) % reach;
        if (protected_page(p, true)) return refuse(kRfNotAuthenticated);
        const bool secret = setup_.kind == TagKind::ntag215 && (p == kNtagPassword || p == kNtagPack);
        for (std::size_t b = 0; b < kPageSize; ++b) out.push_back(secret ? 0x00 : at(p, b));
    }
    return {0, out};
}

Answer PageTag::fast_read(std::uint8_t first, std::uint8_t last) const {
    if (setup_.kind != TagKind::ntag215) return refuse(kRfWrongCardKind);
    if (first > last || last >= pages()) return refuse(kRfBeyondCard);
    CardBytes out;
    for (std::size_t p = first; p <= last; ++p) {
        if (protected_page(p, true)) return refuse(kRfNotAuthenticated);
        const bool secret = p == kNtagPassword || p == kNtagPack;
        for (std::size_t b = 0; b < kPageSize; ++b) out.push_back(secret ? 0x00 : at(p, b));
    }
    return {0, out};
}

Answer PageTag::write(std::uint8_t page, std::span<const std::uint8_t, 4> data) {
    if (page >= pages()) return refuse(kRfBeyondCard);
    if (page < kUidPages) return refuse(kRfAccessDenied);
    if (protected_page(page, false)) return refuse(kRfNotAuthenticated);
    if (page == kLockPage) {
        // Byte 2: bit 0 freezes bit 3, bit 1 bits 4-7 (and byte 3 bits 0-1), bit 2 byte 3 bits 2-7.
        const std::uint8_t lock0 = at(kLockPage, 2), lock1 = at(kLockPage, 3);
        const std::uint8_t frozen0 = static_cast<std::uint8_t>((lock0 & 0x01 ? 0x08 : 0) | (lock0 & 0x02 ? 0xF0 : 0));
        const std::uint8_t frozen1 = static_cast<std::uint8_t>((lock0 & 0x02 ? 0x03 : 0) | (lock0 & 0x04 ? 0xFC : 0));
        at(kLockPage, 2) = set_bits(lock0, data[2], frozen0);
        at(kLockPage, 3) = set_bits(lock1, data[3], frozen1);
        return {0, {}};
    }
    if (locked(page)) return refuse(kRfAccessDenied);
    if (page == kOtpPage) {
        for (std::size_t b = 0; b < kPageSize; ++b) at(page, b) = set_bits(at(page, b), data[b]);
        return {0, {}};
    }
    if (setup_.kind == TagKind::ultralight_c && page == kUltralightCLock) {
        const std::uint8_t lock0 = at(page, 0);
        const std::uint8_t frozen = static_cast<std::uint8_t>((lock0 & 0x01 ? 0x0E : 0) | (lock0 & 0x10 ? 0xE0 : 0));
        at(page, 0) = set_bits(lock0, data[0], frozen);
        at(page, 1) = set_bits(at(page, 1), data[1]);
        return {0, {}};
    }
    if (setup_.kind == TagKind::ultralight_c && page == kUltralightCCounter) {
        const unsigned now = at(page, 0) | at(page, 1) << 8, wanted = data[0] | data[1] << 8;
        if (wanted < now) return refuse(kRfAccessDenied);
        at(page, 0) = data[0], at(page, 1) = data[1];
        return {0, {}};
    }
    if (setup_.kind == TagKind::ntag215 && page == kNtagDynamicLock) {
        const std::uint8_t block = at(page, 2);
        std::uint8_t frozen = 0;
        for (unsigned n = 0; n < 4; ++n)
            if (block & (1u << n)) frozen |= static_cast<std::uint8_t>(0x03 << (2 * n));
        at(page, 0) = set_bits(at(page, 0), data[0], frozen);
        at(page, 2) = set_bits(block, data[2] & 0x0F);
        return {0, {}};
    }
    std::copy(data.begin(), data.end(), setup_.pages.begin() + static_cast<std::ptrdiff_t>(4 * page));
    return {0, {}};
}

Answer PageTag::authenticate_key(std::span<const std::uint8_t> key) {
    if (setup_.kind != TagKind::ultralight_c) return refuse(kRfWrongCardKind);
    const auto stored = setup_.pages.begin() + 4 * kUltralightCKey;
    authenticated_ = key.size() == kUltralightCKeySize && std::equal(key.begin(), key.end(), stored);
    return authenticated_ ? Answer{0, {}} : refuse(kRfAuthFailed);
}

Answer PageTag::authenticate_password(std::span<const std::uint8_t, 4> password) {
    if (setup_.kind != TagKind::ntag215) return refuse(kRfWrongCardKind);
    const unsigned limit = at(kNtagConfig1, 0) & kAuthLimit;
    if (limit != 0 && wrong_passwords_ >= (1u << limit)) return refuse(kRfAuthLocked);
    const auto stored = setup_.pages.begin() + 4 * kNtagPassword;
    authenticated_ = std::equal(password.begin(), password.end(), stored);
    if (!authenticated_) {
        ++wrong_passwords_;
        return refuse(kRfAuthFailed);
    }
    wrong_passwords_ = 0;
    return {0, {at(kNtagPack, 0), at(kNtagPack, 1)}};
}

}  // namespace vnrsim
