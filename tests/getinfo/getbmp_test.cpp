// tests/getinfo/getbmp_test.cpp: the built decoder library, loaded with dlopen as the client library
// loads it, and GetBmp's result for each kind of input.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "getinfo.h"
#include "scratch_dir.h"
#include "wlt/codec.h"
#include "wlt/portrait.h"

namespace {

using GetBmpFn = std::int32_t (*)(const char*, std::int32_t);

class GetBmpTest : public ::testing::Test {
protected:
    void SetUp() override {
        library_ = ::dlopen(GETINFO_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << ::dlerror();
        get_bmp_ = reinterpret_cast<GetBmpFn>(::dlsym(library_, "GetBmp"));
        ASSERT_NE(get_bmp_, nullptr);
    }
    void TearDown() override {
        if (library_) ::dlclose(library_);
    }

    std::int32_t call(const char* path, std::int32_t mode = 2) { return get_bmp_(path, mode); }
    std::int32_t run(const std::filesystem::path& wlt, std::int32_t mode = 2) { return call(wlt.string().c_str(), mode); }

    ScratchDir dir_;
    const wlt::Image source_ = wlt::synthetic_portrait(5);
    const std::vector<std::uint8_t> stream_ = wlt::encode(source_);

private:
    void* library_ = nullptr;
    GetBmpFn get_bmp_ = nullptr;
};

TEST_F(GetBmpTest, WritesTheDecodedPortraitBeside) {
    ScratchDir::write(dir_ / "zp.wlt", stream_);
    EXPECT_EQ(run(dir_ / "zp.wlt"), GETINFO_OK);
    const auto bmp = wlt::read_bmp(dir_ / "zp.bmp");
    ASSERT_TRUE(bmp);
    EXPECT_EQ(bmp->rgb, wlt::decode(stream_)->rgb);  // the file's layout is bmp_test.cpp's golden one
}

TEST_F(GetBmpTest, AcceptsAnyCaseSuffixAnyModeAndAPaddedBlock) {
    std::vector<std::uint8_t> padded = stream_;
    padded.resize(wlt::kMaxEncodedSize, 0);
    ScratchDir::write(dir_ / "A.WLT", padded);
    EXPECT_EQ(run(dir_ / "A.WLT", 0), GETINFO_OK);
    EXPECT_TRUE(wlt::read_bmp(dir_ / "A.bmp"));
    // A name that holds ".wlt" before its real end gets the ".bmp" in place of its last four.
    ScratchDir::write(dir_ / "b.wlt.wlt", stream_);
    EXPECT_EQ(run(dir_ / "b.wlt.wlt", 7), GETINFO_OK);
    EXPECT_TRUE(std::filesystem::exists(dir_ / "b.wlt.bmp"));
}

TEST_F(GetBmpTest, EachFailureHasItsStatusAndWritesNoBitmap) {
    std::vector<std::uint8_t> cut(stream_.begin(), stream_.begin() + static_cast<std::ptrdiff_t>(stream_.size() / 2));
    struct Case {
        const char* name;
        std::vector<std::uint8_t> content;  // empty: no file at all
        std::int32_t expected;
        const char* bmp;
    };
    const Case cases[] = {
        {"photo.txt", stream_, GETINFO_E_SUFFIX, "photo.bmp"},
        {"photo.wltx", stream_, GETINFO_E_SUFFIX, "photo.bmp"},
        {"missing.wlt", {}, GETINFO_E_OPEN, "missing.bmp"},
        {"text.wlt", {'h', 'e', 'l', 'l', 'o', '\n'}, GETINFO_E_FORMAT, "text.bmp"},
        {"cut.wlt", cut, GETINFO_E_DECODE, "cut.bmp"},
    };
    for (const Case& c : cases) {
        if (!c.content.empty()) ScratchDir::write(dir_ / c.name, c.content);
        EXPECT_EQ(run(dir_ / c.name), c.expected) << c.name;
        EXPECT_FALSE(std::filesystem::exists(dir_ / c.bmp)) << c.name;
    }
    EXPECT_EQ(call(nullptr), GETINFO_E_OPEN);
    EXPECT_EQ(call("wlt"), GETINFO_E_SUFFIX) << "too short to end in .wlt";
    std::filesystem::create_directory(dir_ / "folder.wlt");
    EXPECT_EQ(run(dir_ / "folder.wlt"), GETINFO_E_OPEN) << "a folder cannot be read as a file";
    ScratchDir::write(dir_ / "blocked.wlt", stream_);
    std::filesystem::create_directory(dir_ / "blocked.bmp");
    EXPECT_EQ(run(dir_ / "blocked.wlt"), GETINFO_E_DECODE) << "the bitmap's path is taken by a folder";
}

}  // namespace
