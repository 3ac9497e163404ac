// Frame codec: golden byte strings of both forms, head detection, and what a broken frame gives.
#include "core/frame.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "vnr_32.h"

using namespace vnr::core;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes encode(const Bytes& payload, FrameForm form) {
    Bytes out(kFrameBufferSize);
    out.resize(encode_frame(payload, form, out));
    return out;
}

// Decodes a whole wire frame; returns the status and the plain frame.
std::int16_t decode(const Bytes& wire, Bytes& plain) {
    std::array<std::uint8_t, kFrameHeadSize> head{};
    std::copy_n(wire.begin(), std::min(wire.size(), head.size()), head.begin());
    const FrameHead frame = read_frame_head(head);
    plain.assign(kFrameBufferSize, 0);
    std::size_t total = 99;
    const std::int16_t status = finish_frame(wire, frame, plain, total);
    plain.resize(status == VNR_OK ? total : 0);
    if (status != VNR_OK) {
        EXPECT_EQ(total, 0u);
    }
    return status;
}

TEST(Frame, GoldenFramesOfBothFormsAndTheirPlainDecoding) {
    // The version query's frames of both forms are checked on the wire by tests/integration/exchange_test.cpp.
    const struct { Bytes payload; Bytes plain, split; } cases[] = {
        // Nibbles above nine are ':' to '?', not hex letters.
        {{0xAB, 0xCD}, {0x02, 0x00, 0x02, 0xAB, 0xCD, 0x66, 0x03},
         {0x02, 0x30, 0x30, 0x30, 0x32, 0x3A, 0x3B, 0x3C, 0x3D, 0x36, 0x36, 0x03}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(encode(c.payload, FrameForm::plain), c.plain);
        EXPECT_EQ(encode(c.payload, FrameForm::split), c.split);
        Bytes plain;
        ASSERT_EQ(decode(c.split, plain), VNR_OK);
        EXPECT_EQ(plain, c.plain) << "a split reply decodes to the plain frame";
        ASSERT_EQ(decode(c.plain, plain), VNR_OK);
        EXPECT_EQ(plain, c.plain);
    }
}

TEST(Frame, HeadTellsTheFormByItsBytes) {
    // A plain length whose two bytes both lie in 0x30-0x3F reads as split: the bytes tell, not what was sent.
    const struct { std::array<std::uint8_t, kFrameHeadSize> head; FrameForm form; std::size_t length; } cases[] = {
        {{0x02, 0x00, 0x03, 0x31, 0x11}, FrameForm::plain, 3},   {{0x02, 0x30, 0x31, 0x30, 0x39}, FrameForm::split, 0x0109},
        {{0x02, 0x31, 0x31, 0x30, 0x30}, FrameForm::split, 0x1100}, {{0x02, 0x2F, 0x31, 0x00, 0x00}, FrameForm::plain, 0x2F31},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(read_frame_head(c.head).form, c.form) << c.length;
        EXPECT_EQ(read_frame_head(c.head).payload_length, c.length);
    }
}

TEST(Frame, BrokenFramesAreRefused) {
    Bytes plain;
    // Wrong check byte, even with a success status.
    EXPECT_EQ(decode({0x02, 0x00, 0x02, 0x00, 0x00, 0x01, 0x03}, plain), VNR_E_CHECK_BYTE);
    // Wrong end byte wins over a wrong check byte.
    EXPECT_EQ(decode({0x02, 0x00, 0x02, 0x00, 0x00, 0x01, 0x04}, plain), VNR_E_END_BYTE);
    // A split frame with a nibble outside 0x30-0x3F shows in the check byte.
    EXPECT_EQ(decode({0x02, 0x30, 0x30, 0x30, 0x32, 0x30, 0x40, 0x30, 0x30, 0x30, 0x30, 0x03}, plain), VNR_E_CHECK_BYTE);
    // LEN below 2 leaves no room for the status pair.
    EXPECT_EQ(decode({0x02, 0x00, 0x00, 0x00, 0x03}, plain), VNR_E_END_BYTE);
    EXPECT_EQ(decode({0x02, 0x00, 0x01, 0x07, 0x07, 0x03}, plain), VNR_E_END_BYTE);
}

TEST(Frame, WhatABufferCannotHoldIsRefusedWithoutWriting) {
    const Bytes wire = encode(Bytes(300, 0x55), FrameForm::plain);
    std::array<std::uint8_t, kFrameHeadSize> head{};
    std::copy_n(wire.begin(), head.size(), head.begin());
    std::vector<std::uint8_t> small(100, 0xEE);
    std::size_t total = 1;
    EXPECT_EQ(finish_frame(wire, read_frame_head(head), std::span(small).first(50), total), VNR_E_END_BYTE);
    EXPECT_EQ(total, 0u);
    EXPECT_EQ(small[50], 0xEE);
    EXPECT_EQ(small[0], 0xEE);

    std::vector<std::uint8_t> out(kFrameBufferSize);
    EXPECT_EQ(encode_frame(Bytes(32761), FrameForm::split, out), kFrameBufferSize);
    EXPECT_EQ(encode_frame(Bytes(32762), FrameForm::split, out), 0u);
    EXPECT_EQ(encode_frame(Bytes(65525), FrameForm::plain, out), kFrameBufferSize);
    EXPECT_EQ(encode_frame(Bytes(65526), FrameForm::plain, out), 0u);
}

}  // namespace
