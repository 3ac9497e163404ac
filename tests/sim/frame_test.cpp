// tests/sim/frame_test.cpp: the reader's frame codec against known bytes, in every chunking and under
// noise and damage.
#include <gtest/gtest.h>

#include <random>

#include "sim_test_util.h"
#include "vnrsim/frame.h"

namespace {

using simtest::Bytes;
using simtest::hex;
using vnrsim::Form;
using vnrsim::Frame;
using vnrsim::FrameDecoder;

const Bytes kVersionQuery = hex("31 11 01");
const Bytes kVersionQueryPlain = hex("02 00 03 31 11 01 21 03");
const Bytes kVersionQuerySplit = hex("02 30 30 30 33 33 31 31 31 30 31 32 31 03");
const Bytes kSuccessPlain = hex("02 00 02 00 00 00 03");
const Bytes kSuccessSplit = hex("02 30 30 30 32 30 30 30 30 30 30 03");

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

TEST(FrameEncode, MatchesTheKnownFramesInBothForms) {
    EXPECT_EQ(vnrsim::encode_frame(kVersionQuery, Form::plain), kVersionQueryPlain);
    EXPECT_EQ(vnrsim::encode_frame(kVersionQuery, Form::split), kVersionQuerySplit);
    EXPECT_EQ(vnrsim::encode_frame(hex("00 00"), Form::plain), kSuccessPlain);
    EXPECT_EQ(vnrsim::encode_frame(hex("00 00"), Form::split), kSuccessSplit);
    EXPECT_EQ(vnrsim::encode_frame(hex("10 01"), Form::plain), hex("02 00 02 10 01 11 03"));
}

TEST(FrameEncode, SplitNibblesAboveNineAreColonToQuestionMarkNotHexLetters) {
    // 0xAF: nibbles ten and fifteen are 0x3A ':' and 0x3F '?'; the check byte is 0xAF too.
    EXPECT_EQ(vnrsim::encode_frame(hex("AF"), Form::split), hex("02 30 30 30 31 3A 3F 3A 3F 03"));
}

TEST(FrameEncode, LengthAbove255UsesTheHighByte) {
    const Bytes payload(0x0123, 0x00);
    const Bytes plain = vnrsim::encode_frame(payload, Form::plain);
    ASSERT_EQ(plain.size(), payload.size() + 5);
    EXPECT_EQ(plain[1], 0x01);
    EXPECT_EQ(plain[2], 0x23);
    const Bytes split = vnrsim::encode_frame(payload, Form::split);
    ASSERT_EQ(split.size(), 2 * payload.size() + 8);
    EXPECT_EQ(Bytes(split.begin() + 1, split.begin() + 5), hex("30 31 32 33"));
}

TEST(FrameEncode, RefusesAPayloadTheLengthFieldCannotState) {
    EXPECT_THROW(vnrsim::encode_frame(Bytes(0x10000), Form::plain), std::length_error);
}

TEST(FrameDecode, TakesTheKnownFramesInBothForms) {
    for (const auto& [wire, form] :
         {std::pair{kVersionQueryPlain, Form::plain}, std::pair{kVersionQuerySplit, Form::split}}) {
        FrameDecoder decoder;
        const auto frames = decoder.feed(wire);
        ASSERT_EQ(frames.size(), 1u);
        EXPECT_EQ(frames[0].payload, kVersionQuery);
        EXPECT_EQ(frames[0].form, form);
        EXPECT_EQ(frames[0].fault, Frame::Fault::none);
        EXPECT_FALSE(decoder.mid_frame());
    }
    FrameDecoder decoder;
    const auto frames = decoder.feed(kSuccessSplit);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].payload, hex("00 00"));
}

TEST(FrameDecode, AnyChunkingGivesTheSameFrames) {
    const Bytes wire =
        concat({kVersionQuerySplit, kVersionQueryPlain, vnrsim::encode_frame(Bytes(300, 0x02), Form::plain)});
    for (std::size_t chunk = 1; chunk <= wire.size(); chunk += (chunk < 20 ? 1 : 97)) {
        FrameDecoder decoder;
        std::vector<Frame> frames;
        for (std::size_t at = 0; at < wire.size(); at += chunk) {
            const auto got = decoder.feed(std::span(wire).subspan(at, std::min(chunk, wire.size() - at)));
            frames.insert(frames.end(), got.begin(), got.end());
        }
        ASSERT_EQ(frames.size(), 3u) << "chunk " << chunk;
        EXPECT_EQ(frames[0].payload, kVersionQuery);
        EXPECT_EQ(frames[1].payload, kVersionQuery);
        EXPECT_EQ(frames[2].payload, Bytes(300, 0x02)) << "start bytes inside a plain payload are payload";
    }
}

TEST(FrameDecode, NoiseBeforeAndBetweenFramesIsPassedOverAndCounted) {
    FrameDecoder decoder;
    const auto frames =
        decoder.feed(concat({hex("FF 55 03 30"), kVersionQuerySplit, hex("00 00"), kVersionQueryPlain}));
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].payload, kVersionQuery);
    EXPECT_EQ(frames[1].payload, kVersionQuery);
    EXPECT_EQ(decoder.skipped(), 6u);
}

TEST(FrameDecode, DamagedFramesAreReportedWithTheirFault) {
    Bytes bad_check = kVersionQueryPlain;
    bad_check[6] ^= 0x01;
    Bytes bad_end = kVersionQuerySplit;
    bad_end.back() = 0x04;
    FrameDecoder decoder;
    const auto frames = decoder.feed(concat({bad_check, bad_end, kVersionQueryPlain}));
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[0].fault, Frame::Fault::check_byte);
    EXPECT_EQ(frames[1].fault, Frame::Fault::end_byte);
    EXPECT_EQ(frames[2].fault, Frame::Fault::none) << "the decoder goes on after damaged frames";
}

TEST(FrameDecode, AStartByteInsideASplitFrameStartsAgain) {
    FrameDecoder decoder;
    const Bytes cut_short(kVersionQuerySplit.begin(), kVersionQuerySplit.begin() + 8);
    const auto frames = decoder.feed(concat({cut_short, kVersionQuerySplit}));
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_EQ(frames[0].payload, kVersionQuery);
    EXPECT_EQ(decoder.skipped(), cut_short.size());
}

TEST(FrameDecode, ALengthBeyondTheCommandBoundIsDroppedAtOnce) {
    FrameDecoder decoder;
    const auto frames = decoder.feed(concat({hex("02 FF FF"), kVersionQuerySplit}));
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].fault, Frame::Fault::too_long);
    EXPECT_EQ(frames[1].payload, kVersionQuery);
}

TEST(FrameDecode, ResetDropsAPartialFrame) {
    FrameDecoder decoder;
    EXPECT_TRUE(decoder.feed(hex("02 00 03 31")).empty());
    EXPECT_TRUE(decoder.mid_frame());
    decoder.reset();
    EXPECT_FALSE(decoder.mid_frame());
    EXPECT_EQ(decoder.feed(kVersionQueryPlain).size(), 1u);
}

TEST(FrameDecode, EncodeThenDecodeGivesThePayloadBackForManyLengths) {
    std::mt19937 random(7);
    for (const std::size_t length : {0u, 1u, 2u, 255u, 256u, 1291u}) {
        Bytes payload(length);
        for (auto& b : payload) b = static_cast<std::uint8_t>(random());
        for (const Form form : {Form::plain, Form::split}) {
            FrameDecoder decoder;
            const auto frames = decoder.feed(vnrsim::encode_frame(payload, form));
            ASSERT_EQ(frames.size(), 1u);
            EXPECT_EQ(frames[0].payload, payload);
            EXPECT_EQ(frames[0].fault, Frame::Fault::none);
        }
    }
}

TEST(FrameDecode, RandomBytesNeverBreakTheDecoder) {
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round) {
        Bytes junk(1 + random() % 300);
        for (auto& b : junk) b = static_cast<std::uint8_t>(random() % 4 == 0 ? 0x02 : random());
        FrameDecoder decoder;
        for (const Frame& f : decoder.feed(junk)) EXPECT_LE(f.payload.size(), vnrsim::kMaxCommandPayload);
        decoder.reset();
        EXPECT_EQ(decoder.feed(kVersionQuerySplit).size(), 1u);
    }
}

}  // namespace
