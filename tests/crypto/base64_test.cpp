// Base64 over every length that reaches each path of the encoder and decoder, against libcrypto's
// EVP_EncodeBlock as an oracle, and back; nothing is written behind the text or the bytes.
#include "vnr_32.h"

#include <openssl/evp.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

TEST(Base64, EveryLengthAgreesWithLibcryptoAndComesBack) {
    constexpr char kUntouched = '~';
    std::mt19937 random(3);
    for (std::size_t length = 0; length <= 64; ++length) {
        std::vector<std::uint8_t> bytes(length);
        for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
        const std::size_t text_length = (length + 2) / 3 * 4;
        std::vector<unsigned char> oracle(text_length + 1);
        EVP_EncodeBlock(oracle.data(), bytes.data(), static_cast<int>(length));

        std::string text(text_length + 4, kUntouched);
        EXPECT_EQ(hex_base64(bytes.data(), text.data(), static_cast<uint32_t>(length)),
                  static_cast<int32_t>(text_length + 1));
        EXPECT_EQ(text, std::string(oracle.begin(), oracle.end() - 1) + std::string(4, kUntouched)) << length;

        // Back: the bytes, a zero byte for each '=', and nothing behind.
        std::vector<std::uint8_t> back(text_length / 4 * 3 + 4, kUntouched);
        EXPECT_EQ(base64_hex(text.data(), back.data(), static_cast<uint32_t>(text_length)),
                  static_cast<int32_t>(text_length / 4 * 3 + 1));
        std::vector<std::uint8_t> expected = bytes;
        expected.resize(text_length / 4 * 3, 0);
        expected.resize(back.size(), kUntouched);
        EXPECT_EQ(back, expected) << length;
    }
}

}  // namespace
