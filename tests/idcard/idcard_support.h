// What the identity card tests share: cards and module replies (also lying ones), the reader with a
// working directory of its own, and readers of the record and of files below the prefix.
#pragma once

#include "models/idcard/idcard_module.h"
#include "support/sim_session.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <thread>

namespace idtest {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

using vnr::test::expect_logged;
using vnr::test::gbk;
using vnr::test::log_text;
using vnr::test::read_file;

inline Bytes bytes_of(std::string_view text) { return Bytes(text.begin(), text.end()); }
inline std::string text_of(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

// A resident card as it reads.
inline vnrsim::ResidentText resident(std::string name = "张三丰") {
    return {std::move(name), "1", "01", "19800101", "北京市东城区景山前街4号", "11010119800101123X",
            "北京市公安局东城分局", "20200101", "20300101", ""};
}

// A card's text block as the simulated module lays it out.
template <class Text>
Bytes block(const Text& card) {
    const vnrsim::TextBlock text = vnrsim::text_block(card);
    return Bytes(text.begin(), text.end());
}

// WLT data for the scripted decoder: "GetBmp: ..." scripts it, anything else is decoded.
inline Bytes photo(std::string_view script = "WLT portrait", std::size_t size = 1024) {
    Bytes out = bytes_of(script);
    out.push_back('\n');
    out.resize(size, 0x5A);
    return out;
}

// The reply of the identity card module. With `fingerprint` set it is of the form with fingerprint
// data (fingerprint_len behind photo_len); the overrides declare other lengths than the bytes hold.
struct Reply {
    std::uint8_t sw1 = 0, sw2 = 0, sw3 = 0x90;
    Bytes text = block(resident());
    Bytes wlt = photo();
    std::optional<Bytes> fingerprint;
    std::optional<std::uint16_t> length, text_len, photo_len, fingerprint_len;

    Bytes bytes() const {
        auto be = [](Bytes& out, std::size_t v) { out.push_back((v >> 8) & 0xFF), out.push_back(v & 0xFF); };
        Bytes out;
        be(out, 0);
        out.insert(out.end(), {sw1, sw2, sw3});
        be(out, text_len.value_or(text.size()));
        be(out, photo_len.value_or(wlt.size()));
        if (fingerprint) be(out, fingerprint_len.value_or(fingerprint->size()));
        for (const Bytes* part : {&text, &wlt, fingerprint ? &*fingerprint : nullptr})
            if (part) out.insert(out.end(), part->begin(), part->end());
        const std::size_t whole = length.value_or(out.size());
        out[0] = (whole >> 8) & 0xFF, out[1] = whole & 0xFF;
        return out;
    }
};

// A reply that carries a triple and nothing else.
inline Bytes triple(std::uint8_t sw1, std::uint8_t sw2, std::uint8_t sw3) { return {0x00, 0x05, sw1, sw2, sw3}; }

inline void write_file(const fs::path& path, std::string_view content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

// True when another thread gets the library lock within two seconds: no way out of a call kept it.
inline bool lock_is_free() {
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread([done] {
        char out[40] = {};
        IDCard_GetCardInfo(0, 0, out);
        *done = true;
    }).detach();
    for (int i = 0; i < 200 && !*done; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return *done;
}

// Runs `check` in a new run of this program, where the library's process-wide state (the record, the
// photo folder and name) is still as loaded; nothing before it in the test may touch that state.
template <class Check>
void in_fresh_process(Check check) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            ::testing::TestPartResultArray failures;
            {
                const ::testing::ScopedFakeTestPartResultReporter reporter(
                    ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
                check();
            }
            for (int i = 0; i < failures.size(); ++i) {
                const auto& failure = failures.GetTestPartResult(i);
                std::fprintf(stderr, "%s:%d: %s\n", failure.file_name(), failure.line_number(), failure.message());
            }
            std::exit(failures.size() == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

// The simulated reader (serial link unless a test says otherwise), a fresh working directory for
// relative photo files, the photo folder and name at their values at load, decoder calls recorded.
class IdCardSession : public vnr::test::SimSessionBase {
protected:
    explicit IdCardSession(vnrsim::Deck deck = default_deck()) : SimSessionBase(std::move(deck)) {}
    void SetUp() override {
        open_on(link_under_test());
        work = prefix.root() / "work";
        fs::create_directories(work);
        fs::current_path(work);
        ASSERT_EQ(IDCard_SetPhotoPath("c:\\"), 0);
        ASSERT_EQ(IDCard_SetPhotoName("zp"), 0);
        calls_file = prefix.root() / "decoder-calls.txt";
        ::setenv("VNR_TEST_DECODER_CALLS", calls_file.c_str(), 1);
    }
    void TearDown() override {
        ::unsetenv("VNR_TEST_DECODER_CALLS");
        SimSessionBase::TearDown();
    }
    virtual vnr::test::Link link_under_test() { return vnr::test::Link::serial; }

    // The module answers `command` with `data` from now on.
    void answer(const Bytes& command, const Bytes& data, std::uint16_t status = 0) {
        reader.clear_replies();
        SimSessionBase::answer(command, data, status);
    }
    fs::path drive(char letter) const { return prefix.root() / (std::string("drive_") + letter); }
    std::vector<std::string> decoder_calls() const {
        std::vector<std::string> calls;
        std::ifstream in(calls_file);
        for (std::string line; std::getline(in, line);) calls.push_back(line);
        return calls;
    }
    std::string photo_file() const {
        char file[260] = {};
        IDCard_GetPhotoFile(file);
        return file;
    }
    // One field of the record as IDCard_GetCardInfo hands it out, `size` bytes of a zeroed buffer.
    static std::string info(int field, std::size_t size) {
        std::string out(size + 8, '\0');
        EXPECT_EQ(IDCard_GetCardInfo(0, field, out.data()), 0);
        return out.substr(0, size);
    }
    static std::string padded(std::string_view text, std::size_t size) {
        std::string out(text);
        out.resize(size, '\0');
        return out;
    }

    fs::path work;
    fs::path calls_file;
};

// The same with the log switched on; its root becomes the working directory at the first line.
class LoggedSession : public IdCardSession {
protected:
    void SetUp() override {
        prefix.enable_log();
        IdCardSession::SetUp();
    }
};

}  // namespace idtest
