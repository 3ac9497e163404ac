// getinfo/src/range_coder.h: the binary arithmetic coder under the portrait format. Each binary
// decision is coded either with an adaptive probability (a Bit, one per context) or as an even bit.
// The encoder keeps a 33-bit low end and a 32-bit range, holding back a run of 0xFF bytes until a
// carry is settled; the decoder reads past the end of its input as zero bytes, which is what the
// encoder's shortest ending relies on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace wlt::detail {

// A probability that the next bit is 0, in 1/65536, learnt from the bits seen so far: the first
// bits move it far (1/2, 1/3, ... of the way), later ones less, down to 1/kSlowest.
class Bit {
public:
    static constexpr std::uint32_t kOne = 1u << 16;
    std::uint32_t p0() const { return p0_; }
    void update(int bit) {
        const std::int32_t target = bit ? 0 : static_cast<std::int32_t>(kOne);
        const std::int32_t p = static_cast<std::int32_t>(p0_);
        const std::int32_t next = p + (target - p) / (seen_ + 2);
        p0_ = static_cast<std::uint32_t>(next < kMin ? kMin : next > kMax ? kMax : next);
        if (seen_ < kSlowest - 2) ++seen_;
    }

private:
    static constexpr std::int32_t kMin = 48, kMax = static_cast<std::int32_t>(kOne) - 48;
    static constexpr std::int32_t kSlowest = 32;
    std::uint32_t p0_ = kOne / 2;
    std::int32_t seen_ = 0;
};

class RangeEncoder {
public:
    void encode(Bit& bit, int value) {
        const std::uint32_t bound = (range_ >> 16) * bit.p0();
        if (value == 0) {
            range_ = bound;
        } else {
            low_ += bound;
            range_ -= bound;
        }
        bit.update(value);
        normalise();
    }
    void encode_even(int value) {
        range_ >>= 1;
        if (value) low_ += range_;
        normalise();
    }
    // Ends the stream with the value of the final interval that has the most trailing zero bits,
    // then drops the zero bytes at the end: the decoder supplies them again.
    std::vector<std::uint8_t> finish() {
        for (int bits = 32; bits > 0; --bits) {
            const std::uint64_t mask = (std::uint64_t{1} << bits) - 1;
            const std::uint64_t v = (low_ + mask) & ~mask;
            if (v < low_ + range_) {
                low_ = v;
                break;
            }
        }
        for (int i = 0; i < 5; ++i) shift_low();
        // The first byte out is the integer part of a value below 1: always zero, never stored.
        if (!out_.empty()) out_.erase(out_.begin());
        while (!out_.empty() && out_.back() == 0) out_.pop_back();
        return std::move(out_);
    }

private:
    void normalise() {
        while (range_ < (1u << 24)) {
            range_ <<= 8;
            shift_low();
        }
    }
    void shift_low() {
        if (static_cast<std::uint32_t>(low_) < 0xFF000000u || (low_ >> 32) != 0) {
            const auto carry = static_cast<std::uint8_t>(low_ >> 32);
            std::uint8_t pending = cache_;
            do {
                out_.push_back(static_cast<std::uint8_t>(pending + carry));
                pending = 0xFF;
            } while (--cache_size_ != 0);
            cache_ = static_cast<std::uint8_t>(low_ >> 24);
        }
        ++cache_size_;
        low_ = (low_ & 0x00FFFFFFu) << 8;
    }

    std::uint64_t low_ = 0;
    std::uint32_t range_ = 0xFFFFFFFFu;
    std::uint8_t cache_ = 0;
    std::uint64_t cache_size_ = 1;
    std::vector<std::uint8_t> out_;
};

class RangeDecoder {
public:
    explicit RangeDecoder(std::span<const std::uint8_t> in) : in_(in) {
        for (int i = 0; i < 4; ++i) code_ = (code_ << 8) | next_byte();
    }
    int decode(Bit& bit) {
        const std::uint32_t bound = (range_ >> 16) * bit.p0();
        int value;
        if (code_ < bound) {
            range_ = bound;
            value = 0;
        } else {
            code_ -= bound;
            range_ -= bound;
            value = 1;
        }
        bit.update(value);
        normalise();
        return value;
    }
    int decode_even() {
        range_ >>= 1;
        int value = 0;
        if (code_ >= range_) {
            code_ -= range_;
            value = 1;
        }
        normalise();
        return value;
    }
private:
    std::uint32_t next_byte() { return at_ < in_.size() ? in_[at_++] : 0; }
    void normalise() {
        while (range_ < (1u << 24)) {
            range_ <<= 8;
            code_ = (code_ << 8) | next_byte();
        }
    }

    std::span<const std::uint8_t> in_;
    std::size_t at_ = 0;
    std::uint32_t code_ = 0;
    std::uint32_t range_ = 0xFFFFFFFFu;
};

}  // namespace wlt::detail
