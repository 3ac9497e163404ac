// sim/src/frame.cpp: the reader's frame codec (see vnrsim/frame.h).
#include "vnrsim/frame.h"

#include <stdexcept>

namespace vnrsim {
namespace {

constexpr std::uint8_t kNibbleBase = 0x30;

bool is_nibble(std::uint8_t byte) { return byte >= kNibbleBase && byte <= kNibbleBase + 0x0F; }

void put(std::vector<std::uint8_t>& out, std::uint8_t byte, Form form) {
    if (form == Form::plain) {
        out.push_back(byte);
    } else {
        out.push_back(static_cast<std::uint8_t>(kNibbleBase + (byte >> 4)));
        out.push_back(static_cast<std::uint8_t>(kNibbleBase + (byte & 0x0F)));
    }
}

// One byte from its two split-form halves, modulo 256 as the host computes it.
std::uint8_t join(std::uint8_t high, std::uint8_t low) {
    return static_cast<std::uint8_t>((high - kNibbleBase) * 16 + (low - kNibbleBase));
}

}  // namespace

std::uint8_t check_byte(std::span<const std::uint8_t> payload) noexcept {
    std::uint8_t x = 0;
    for (const std::uint8_t b : payload) x ^= b;
    return x;
}

std::vector<std::uint8_t> encode_frame(std::span<const std::uint8_t> payload, Form form) {
    return encode_frame(payload, form, check_byte(payload), kEndByte);
}

std::vector<std::uint8_t> encode_frame(std::span<const std::uint8_t> payload, Form form, std::uint8_t check,
                                       std::uint8_t end) {
    if (payload.size() > kMaxPayload) throw std::length_error("frame payload longer than 65535 bytes");
    std::vector<std::uint8_t> out;
    out.reserve(form == Form::plain ? payload.size() + 5 : 2 * payload.size() + 8);
    out.push_back(kStartByte);
    put(out, static_cast<std::uint8_t>(payload.size() >> 8), form);
    put(out, static_cast<std::uint8_t>(payload.size() & 0xFF), form);
    for (const std::uint8_t b : payload) put(out, b, form);
    put(out, check, form);
    out.push_back(end);
    return out;
}

std::vector<Frame> FrameDecoder::feed(std::span<const std::uint8_t> bytes) {
    std::vector<Frame> out;
    for (const std::uint8_t b : bytes) take(b, out);
    return out;
}

void FrameDecoder::reset() noexcept {
    if (state_ != State::idle) skipped_ += 1 + wire_.size();
    state_ = State::idle;
    wire_.clear();
    wire_length_ = 0;
}

void FrameDecoder::take(std::uint8_t byte, std::vector<Frame>& out) {
    switch (state_) {
    case State::idle:
        if (byte == kStartByte) {
            state_ = State::header;
        } else {
            ++skipped_;
        }
        return;
    case State::header: {
        if (form_ == Form::split && wire_.size() >= 2 && byte == kStartByte) {
            reset();
            state_ = State::header;
            return;
        }
        wire_.push_back(byte);
        if (wire_.size() == 2) form_ = is_nibble(wire_[0]) && is_nibble(wire_[1]) ? Form::split : Form::plain;
        const std::size_t header = form_ == Form::plain ? 2 : 4;
        if (wire_.size() < header) return;
        const std::size_t length = form_ == Form::plain
                                       ? std::size_t{wire_[0]} * 256 + wire_[1]
                                       : std::size_t{join(wire_[0], wire_[1])} * 256 + join(wire_[2], wire_[3]);
        if (length > kMaxCommandPayload) {
            out.push_back(Frame{{}, form_, Frame::Fault::too_long});
            reset();
            return;
        }
        wire_length_ = form_ == Form::plain ? length + 4 : 2 * length + 7;
        state_ = State::body;
        return;
    }
    case State::body:
        if (form_ == Form::split && byte == kStartByte) {
            reset();
            state_ = State::header;
            return;
        }
        wire_.push_back(byte);
        if (wire_.size() == wire_length_) finish(out);
        return;
    }
}

void FrameDecoder::finish(std::vector<Frame>& out) {
    Frame frame;
    frame.form = form_;
    // Decode everything after the length and before the end byte: payload then check byte.
    std::vector<std::uint8_t> plain;
    if (form_ == Form::plain) {
        plain.assign(wire_.begin() + 2, wire_.end() - 1);
    } else {
        for (std::size_t i = 4; i + 1 < wire_.size(); i += 2) plain.push_back(join(wire_[i], wire_[i + 1]));
    }
    const std::uint8_t check = plain.back();
    plain.pop_back();
    if (wire_.back() != kEndByte) {
        frame.fault = Frame::Fault::end_byte;
    } else if (check_byte(plain) != check) {
        frame.fault = Frame::Fault::check_byte;
    }
    frame.payload = std::move(plain);
    out.push_back(std::move(frame));
    state_ = State::idle;
    wire_.clear();
    wire_length_ = 0;
}

}  // namespace vnrsim
