// sim/models/contactless/page_tag.h: the tags of 4-byte pages of the model "contactless": an
// Ultralight (16 pages), an Ultralight C (48 pages, a 16-byte key) and an NTAG215 (135 pages, a
// password), with their lock bits, one-time bits and protection.
//
// Pages common to all: 0-1 the 7-byte UID and its check bytes (read-only), 2 a check byte, an internal
// byte and the static lock bytes, 3 the one-time page (bits are only ever set), 4 on the data. Lock bits
// are only ever set: page 2 byte 2 bit 3 locks page 3, bits 4-7 pages 4-7, byte 3 bits 0-7 pages 8-15;
// its block bits freeze lock bits: byte 2 bit 0 the bit of page 3, bit 1 those of pages 4-9, bit 2
// those of pages 10-15.
//   Ultralight C: page 40 bytes 0-1 lock pages 16-19 (byte 0 bit 1), 20-23 (bit 2), 24-27 (bit 3), 28-31
//     (bit 5), 32-35 (bit 6), 36-39 (bit 7), 42 (byte 1 bit 5), 43 (bit 6), 44-47 (bit 7); byte 0 bit 0
//     freezes bits 1-3 and bit 4 bits 5-7. Page 41 is a 16-bit counter (bytes 0-1, least significant
//     first) that only goes up. Page 42 byte 0 is AUTH0, the first protected page; page 43 byte 0 bit 0
//     is 1 when only writes are protected, 0 when reads are too. Pages 44-47 hold the key (its 16 bytes
//     in order) and cannot be read: a read runs over pages 0-43 and turns back to 0 after 43.
//   NTAG215: page 0x82 (dynamic lock) byte 0 bit n locks the 16 pages from 16 + 16n (bit 7: 128-129),
//     byte 2 bit n freezes byte 0 bits 2n and 2n+1; page 0x83 byte 3 is AUTH0; page 0x84 byte 0 is the
//     access byte: bit 7 protects reads too, bit 6 locks pages 0x83-0x84 for good, bits 0-2 (AUTHLIM n)
//     allow 2^n wrong passwords in all (0: no limit); page 0x85 is the password and page 0x86 bytes 0-1
//     the PACK answered to a right one; both read as zeros. Reads run over all 135 pages and turn back.
// Protected pages (from AUTH0 on) need the key or the password presented in this session
// (kRfNotAuthenticated). A factory tag: AUTH0 past the last page, key all zero, password FF FF FF FF,
// PACK 00 00, an NTAG215's capability container E1 10 3E 00 and an empty message 03 00 FE 00 on page 4.
#pragma once

#include <cstdint>
#include <span>

#include "models/cards/cpu_card.h"
#include "vnrsim/model.h"

namespace vnrsim {

enum class TagKind { ultralight, ultralight_c, ntag215 };

constexpr std::uint8_t kNtagDynamicLock = 0x82, kNtagConfig0 = 0x83, kNtagConfig1 = 0x84, kNtagPassword = 0x85,
                       kNtagPack = 0x86;
constexpr std::uint8_t kUltralightCLock = 40, kUltralightCCounter = 41, kUltralightCAuth0 = 42, kUltralightCAuth1 = 43,
                       kUltralightCKey = 44;

struct PageTagSetup {
    TagKind kind = TagKind::ntag215;
    CardBytes pages;  // 4 bytes a page, every page of the tag
};

// How many pages a tag of `kind` has.
std::size_t tag_pages(TagKind kind);

// A factory tag of `kind` with the 7-byte `uid`. Throws std::invalid_argument for another length.
PageTagSetup factory_tag(TagKind kind, CardBytes uid);

class PageTag {
public:
    explicit PageTag(PageTagSetup setup);

    TagKind kind() const noexcept { return setup_.kind; }
    // The reply to the activation: the type byte 00 and the UID.
    CardBytes activation() const;

    // 32 43: 16 bytes, four pages from `page`.
    Answer read(std::uint8_t page) const;
    // C1 50: pages `first` to `last`.
    Answer fast_read(std::uint8_t first, std::uint8_t last) const;
    // 32 4C and C1 4C.
    Answer write(std::uint8_t page, std::span<const std::uint8_t, 4> data);
    // 32 4D: the Ultralight C's key.
    Answer authenticate_key(std::span<const std::uint8_t> key);
    // C1 4F: the NTAG215's password; answers the PACK.
    Answer authenticate_password(std::span<const std::uint8_t, 4> password);
    // A halt, the field off, another card chosen: the authentication is gone.
    void end_session() noexcept { authenticated_ = false; }

    std::span<const std::uint8_t, 4> page(std::size_t page) const {
        return std::span<const std::uint8_t, 4>(setup_.pages.data() + 4 * page, 4);
    }
    bool authenticated() const noexcept { return authenticated_; }

private:
    std::size_t pages() const noexcept { return setup_.pages.size() / 4; }
    std::uint8_t& at(std::size_t page, std::size_t byte) { return setup_.pages[4 * page + byte]; }
    std::uint8_t at(std::size_t page, std::size_t byte) const { return setup_.pages[4 * page + byte]; }
    // The pages a read can reach, from 0.
    std::size_t readable_pages() const noexcept;
    bool protected_page(std::size_t page, bool for_read) const;
    // Whether a lock bit keeps `page` from being written.
    bool locked(std::size_t page) const;

    PageTagSetup setup_;
    bool authenticated_ = false;
    std::uint32_t wrong_passwords_ = 0;  // counted against AUTHLIM, kept by the tag
};

}  // namespace vnrsim
