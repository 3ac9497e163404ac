// sim/include/vnrsim/frame.h: the reader's side of the frame codec. Pure functions and a byte-by-byte
// decoder; no transport, no lock.
//
// A frame is the start byte 0x02, the payload length LEN (16 bits, high byte first), the LEN payload
// bytes, a check byte (XOR of the payload bytes) and the end byte 0x03. In the plain form every field
// is one byte per byte (LEN+5 bytes). In the split form the start and end bytes stay single and every
// other byte goes as two, high nibble first, each nibble plus 0x30 (2*LEN+8 bytes). A command's
// payload is the command itself; a reply's payload is the status S1 S2 followed by the data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vnrsim {

constexpr std::uint8_t kStartByte = 0x02;  // first byte of every frame, in both forms
constexpr std::uint8_t kEndByte = 0x03;    // last byte of every frame, in both forms
constexpr std::size_t kMaxPayload = 0xFFFF;  // longest payload the length field can state

// Longest command the reader takes: the host's frame buffer (65,530 bytes) less the frame around it.
constexpr std::size_t kMaxCommandPayload = 65525;

// The two ways a frame travels on the wire.
enum class Form { split, plain };

// XOR of the bytes; 0 for an empty span.
std::uint8_t check_byte(std::span<const std::uint8_t> payload) noexcept;

// The complete frame around `payload` in `form`, with its correct check byte and end byte.
// Throws std::length_error when payload.size() exceeds kMaxPayload.
std::vector<std::uint8_t> encode_frame(std::span<const std::uint8_t> payload, Form form);

// As encode_frame, with the check byte and the end byte given instead of computed (to send broken
// frames on purpose).
std::vector<std::uint8_t> encode_frame(std::span<const std::uint8_t> payload, Form form, std::uint8_t check,
                                       std::uint8_t end);

// One frame as the decoder took it from the wire.
struct Frame {
    enum class Fault {
        none,        // a good frame
        check_byte,  // the XOR of payload and check byte is not 0
        end_byte,    // the byte after the check byte is not 0x03
        too_long,    // LEN exceeds kMaxCommandPayload; the frame was dropped as soon as LEN was read
    };
    std::vector<std::uint8_t> payload;  // the decoded payload (empty for too_long)
    Form form = Form::split;            // the form it came in
    Fault fault = Fault::none;
};

// Takes wire bytes in any chunking and hands out whole frames.
//
// Bytes before a start byte are passed over and counted. The form is told by the two bytes after the
// start byte: both in 0x30..0x3F means split. A split-form byte outside 0x30..0x3F is not refused (a
// wrong value shows in the check byte), except a start byte: inside a split frame 0x02 cannot occur, so
// it drops the broken frame and starts a new one. In the plain form 0x02 is ordinary payload.
class FrameDecoder {
public:
    // Feeds bytes; returns the frames they complete, in wire order (good or faulty).
    std::vector<Frame> feed(std::span<const std::uint8_t> bytes);

    // True while a frame has begun (start byte seen) and is not complete.
    bool mid_frame() const noexcept { return state_ != State::idle; }

    // Drops a partial frame; its bytes are counted as passed over.
    void reset() noexcept;

    // Bytes passed over so far: noise before start bytes and the bytes of dropped frames.
    std::uint64_t skipped() const noexcept { return skipped_; }

private:
    enum class State { idle, header, body };
    void take(std::uint8_t byte, std::vector<Frame>& out);
    void finish(std::vector<Frame>& out);

    State state_ = State::idle;
    Form form_ = Form::split;
    std::vector<std::uint8_t> wire_;  // the frame's bytes after the start byte, as received
    std::size_t wire_length_ = 0;     // the frame's length after the start byte, once LEN is known
    std::uint64_t skipped_ = 0;
};

}  // namespace vnrsim
