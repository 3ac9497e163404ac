// tests/sim/frame_test.cpp: the reader's frame codec against known bytes, in every chunking and under
// noise and damage.
#include <gtest/gtest.h>

#include "sim_test_util.h"
#include "vnrsim/frame.h"

namespace {

using simtest::Bytes;
using simtest::hex;
using vnrsim::Form;
using vnrsim::Frame;
using vnrsim::FrameDecoder;

const Bytes kQuery = hex("31 11 01");
const Bytes kQueryPlain = hex("02 00 03 31 11 01 21 03");
const Bytes kQuerySplit = hex("02 30 30 30 33 33 31 31 31 30 31 32 31 03");

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

TEST(FrameCodec, EncodesTheKnownFramesAndDecodesThemBack) {
    const std::tuple<Bytes, Form, Bytes> cases[] = {
        {kQuery, Form::plain, kQueryPlain},
        {kQuery, Form::split, kQuerySplit},
        {hex("00 00"), Form::plain, hex("02 00 02 00 00 00 03")},
        {hex("00 00"), Form::split, hex("02 30 30 30 32 30 30 30 30 30 30 03")},
        // Nibbles above nine are ':' to '?', not hex letters.
        {hex("AF"), Form::split, hex("02 30 30 30 31 3A 3F 3A 3F 03")},
    };
    for (const auto& [payload, form, wire] : cases) {
        EXPECT_EQ(vnrsim::encode_frame(payload, form), wire);
        FrameDecoder decoder;
        const auto frames = decoder.feed(wire);
        ASSERT_EQ(frames.size(), 1u);
        EXPECT_EQ(frames[0].payload, payload);
        EXPECT_EQ(frames[0].form, form);
        EXPECT_EQ(frames[0].fault, Frame::Fault::none);
    }
    const Bytes long_plain = vnrsim::encode_frame(Bytes(0x0123, 0x02), Form::plain);
    EXPECT_EQ(Bytes(long_plain.begin(), long_plain.begin() + 3), hex("02 01 23"));
    const Bytes long_split = vnrsim::encode_frame(Bytes(0x0123, 0x02), Form::split);
    EXPECT_EQ(Bytes(long_split.begin(), long_split.begin() + 5), hex("02 30 31 32 33"));
    EXPECT_THROW(vnrsim::encode_frame(Bytes(0x10000), Form::plain), std::length_error);
}

TEST(FrameCodec, AnyChunkingGivesTheSameFrames) {
    const Bytes wire = concat({kQuerySplit, kQueryPlain, vnrsim::encode_frame(Bytes(300, 0x02), Form::plain)});
    for (std::size_t chunk = 1; chunk <= wire.size(); chunk += (chunk < 20 ? 1 : 97)) {
        FrameDecoder decoder;
        std::vector<Frame> frames;
        for (std::size_t at = 0; at < wire.size(); at += chunk) {
            const auto got = decoder.feed(std::span(wire).subspan(at, std::min(chunk, wire.size() - at)));
            frames.insert(frames.end(), got.begin(), got.end());
        }
        ASSERT_EQ(frames.size(), 3u) << "chunk " << chunk;
        EXPECT_EQ(frames[0].payload, kQuery);
        EXPECT_EQ(frames[1].payload, kQuery);
        EXPECT_EQ(frames[2].payload, Bytes(300, 0x02)) << "start bytes inside a plain payload are payload";
    }
}

TEST(FrameCodec, NoiseAndDamageAreReportedAndTheDecoderGoesOn) {
    Bytes bad_check = kQueryPlain;
    bad_check[6] ^= 0x01;
    Bytes bad_end = kQuerySplit;
    bad_end.back() = 0x04;
    const Bytes cut_short(kQuerySplit.begin(), kQuerySplit.begin() + 8);
    FrameDecoder decoder;
    const auto frames = decoder.feed(
        concat({hex("FF 55 03 30"), bad_check, bad_end, cut_short, kQuerySplit, hex("02 FF FF"), kQueryPlain}));
    const Frame::Fault expected[] = {Frame::Fault::check_byte, Frame::Fault::end_byte, Frame::Fault::none,
                                     Frame::Fault::too_long, Frame::Fault::none};
    ASSERT_EQ(frames.size(), std::size(expected));
    for (std::size_t i = 0; i < frames.size(); ++i) EXPECT_EQ(frames[i].fault, expected[i]) << i;
    EXPECT_EQ(frames[2].payload, kQuery) << "a start byte inside a split frame starts again";
    EXPECT_EQ(frames[4].payload, kQuery);
    EXPECT_EQ(decoder.skipped(), 4u + cut_short.size() + 3u) << "the noise, the cut frame, the over-long header";

    EXPECT_TRUE(decoder.feed(hex("02 00 03 31")).empty());
    EXPECT_TRUE(decoder.mid_frame());
    decoder.reset();
    EXPECT_EQ(decoder.feed(kQueryPlain).size(), 1u) << "reset drops a partial frame";
}

TEST(FrameCodec, EncodeThenDecodeGivesThePayloadBackForManyLengths) {
    for (const std::size_t length : {0u, 1u, 255u, 256u, 1291u}) {
        Bytes payload(length);
        for (std::size_t i = 0; i < length; ++i) payload[i] = std::uint8_t(i * 37 + 5);
        for (const Form form : {Form::plain, Form::split}) {
            FrameDecoder decoder;
            const auto frames = decoder.feed(vnrsim::encode_frame(payload, form));
            ASSERT_EQ(frames.size(), 1u);
            EXPECT_EQ(frames[0].payload, payload);
            EXPECT_EQ(frames[0].fault, Frame::Fault::none);
        }
    }
}

}  // namespace
