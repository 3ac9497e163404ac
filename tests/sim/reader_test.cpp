// tests/sim/reader_test.cpp: what the simulated reader does that no test through the library drives:
// broken command frames, the card module's answers to its other commands and without a card, the
// counting of an injected triple, and a HID interface with shorter reports, a command across two of
// them and a first-report latency.
#include <gtest/gtest.h>

#include "vnrsim/frame.h"
#include "vnrsim/hid_reader.h"
#include "vnrsim/reader.h"
#include "models/idcard/idcard_module.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<std::uint8_t>;
using vnrsim::Form;
using vnrsim::Reader;

Bytes command(const char* hex) { return vnrsim::encode_frame(vnrsim::parse_hex(hex), Form::split); }

// The status and data of the one reply frame to `hex`.
std::pair<std::uint16_t, Bytes> ask(Reader& reader, const char* hex) {
    vnrsim::FrameDecoder decoder;
    const auto frames = decoder.feed(reader.receive(command(hex)));
    if (frames.size() != 1 || frames[0].payload.size() < 2) return {0xFFFF, {}};
    const Bytes& payload = frames[0].payload;
    return {std::uint16_t(payload[0] << 8 | payload[1]), Bytes(payload.begin() + 2, payload.end())};
}

TEST(Reader, BrokenCommandFramesGetTheBadFrameStatusAndAreNoCommands) {
    Reader reader;
    Bytes bad_end = command("31 11 00"), bad_check = vnrsim::encode_frame(Bytes{0x31, 0x11, 0x00}, Form::plain);
    bad_end.back() = 0x00;
    bad_check[6] ^= 0x01;
    const Bytes bad_frame = vnrsim::encode_frame(Bytes{vnrsim::kBadFrameStatus >> 8, 0}, Form::split);
    for (const Bytes& broken : {bad_end, bad_check, vnrsim::parse_hex("02 FF FF")})
        EXPECT_EQ(reader.receive(broken), bad_frame);
    EXPECT_TRUE(reader.commands_received().empty());
    EXPECT_EQ(reader.stats().bad_frames, 3u);
}

TEST(Reader, CardModuleCommandsWithAndWithoutACardAndAnInjectedTriple) {
    Reader reader{vnrsim::Deck::parse(
        R"({"idcard": {"module_id": "A1A2A3", "resident": {"added": "AA", "management": "BBCC"}}})")};
    reader.model<vnrsim::IdCardModule>()->put(vnrsim::CardKind::resident);
    EXPECT_EQ(ask(reader, "D0 02").second, vnrsim::parse_hex("00 05 00 00 90"));
    EXPECT_EQ(ask(reader, "D0 05").second, vnrsim::parse_hex("00 06 00 00 90 AA"));
    EXPECT_EQ(ask(reader, "D0 06").second, vnrsim::parse_hex("00 07 00 00 90 BB CC"));
    reader.model<vnrsim::IdCardModule>()->put(vnrsim::CardKind::none);
    for (const char* module_command : {"D0 01", "D0 02", "D0 03", "D0 04", "D0 05", "D0 06", "D0 07", "32 50"})
        EXPECT_EQ(ask(reader, module_command), std::make_pair(std::uint16_t{0}, vnrsim::parse_hex("00 05 00 00 80")))
            << module_command;
    EXPECT_EQ(ask(reader, "32 52").first, vnrsim::kNoIdCardStatus);
    EXPECT_EQ(ask(reader, "32 51").second, vnrsim::parse_hex("A1 A2 A3")) << "the module is there without a card";
    for (const char* unknown : {"D0 08", "D0 01 00", "32 53"})
        EXPECT_EQ(ask(reader, unknown).first, vnrsim::kUnknownCommandStatus) << unknown;

    reader.model<vnrsim::IdCardModule>()->fail({0x00, 0x00, 0x41}, vnrsim::Times::count(2));
    EXPECT_EQ(ask(reader, "D0 03").second, vnrsim::parse_hex("00 05 00 00 41"));
    EXPECT_EQ(ask(reader, "32 51").second, vnrsim::parse_hex("A1 A2 A3")) << "raw replies neither take nor count it";
    EXPECT_EQ(ask(reader, "D0 01").second, vnrsim::parse_hex("00 05 00 00 41"));
    EXPECT_FALSE(reader.model<vnrsim::IdCardModule>()->failure());
    EXPECT_EQ(ask(reader, "D0 01").second, vnrsim::parse_hex("00 05 00 00 80"));
}

TEST(HidReader, ShorterReportsNarrowTheSlicesAndTheFirstReportWaitsTheLatencyFromTheCommandsLast) {
    using Clock = vnrsim::HidOptions::Clock;
    Clock::time_point now = Clock::time_point{} + 1h;
    Reader reader;
    reader.set_form(Form::plain);
    reader.add_reply({{0x32, 0x32}, 0, Bytes(200, 0x41), std::nullopt, std::nullopt});
    vnrsim::HidReader hid(reader, {64, 5ms, 2ms, [&] { return now; }});
    // A command of 92 wire bytes comes in two reports; the reply's latency counts from the second.
    Bytes report(64, 0);
    const Bytes frame = vnrsim::encode_frame(Bytes(42, 0x32), Form::split);
    for (std::size_t offset = 0; offset < frame.size(); offset += 63) {
        if (offset > 0) now += 100ms;
        std::fill(report.begin(), report.end(), 0);
        report[0] = 6;
        std::copy_n(frame.begin() + std::ptrdiff_t(offset), std::min<std::size_t>(63, frame.size() - offset),
                    report.begin() + 1);
        ASSERT_TRUE(hid.set_feature(report));
    }
    Bytes payload(202, 0x41);  // status 00 00 and the 200 data bytes
    payload[0] = payload[1] = 0;
    const Bytes reply = vnrsim::encode_frame(payload, Form::plain);
    for (std::size_t offset = 0, i = 0; offset < reply.size(); offset += 63, ++i) {  // 209 bytes: 4 reports
        now = Clock::time_point{} + 1h + 100ms + 5ms + 2ms * i - 1ns;
        EXPECT_FALSE(hid.get_feature(report)) << "report " << i << " asked early";
        now += 1ns;
        ASSERT_TRUE(hid.get_feature(report)) << "report " << i << " on time";
        const std::size_t count = std::min<std::size_t>(63, reply.size() - offset);
        EXPECT_TRUE(std::equal(reply.begin() + std::ptrdiff_t(offset), reply.begin() + std::ptrdiff_t(offset + count),
                               report.begin() + 1)) << "report " << i;
    }
    EXPECT_FALSE(hid.get_feature(report)) << "the reply is used up";
}

}  // namespace
