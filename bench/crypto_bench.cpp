// The cipher and Base64 against OpenSSL's libcrypto in the same run. Each iteration times ours and
// theirs back to back over the same bytes, so that both see the same machine; the counters give the
// throughput of each and the ratio ours/theirs (above 1: ours is faster).
//   rf_encrypt (65535 bytes, i.e. 8192 blocks of 64 KiB with the schedule made per call) against
//   DES-ECB through EVP and through DES_ecb_encrypt; two-key triple DES through the engine against
//   DES-EDE-ECB through EVP and DES_ecb3_encrypt; hex_base64 and base64_hex over 1 MiB against
//   EVP_EncodeBlock and EVP_DecodeBlock.
#include "crypto/des.h"
#include "vnr_32.h"

#define OPENSSL_SUPPRESS_DEPRECATED   // DES_* are deprecated in OpenSSL 3
#include <openssl/des.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using vnr::crypto::des::Direction;

constexpr std::size_t kCipherBytes = 65536;
constexpr std::size_t kBase64Bytes = 1 << 20;
const std::uint8_t kKey[16] = {0x3B, 0x38, 0x98, 0x37, 0x15, 0x20, 0xF7, 0x5E,
                               0x92, 0x2F, 0xB5, 0x10, 0xC7, 0x1F, 0x43, 0x6E};

std::vector<std::uint8_t> random_bytes(std::size_t n) {
    std::mt19937 random(7);
    std::vector<std::uint8_t> bytes(n);
    for (auto& b : bytes) b = static_cast<std::uint8_t>(random());
    return bytes;
}

// A block for the DES_* functions, which take their input blocks as non-const arrays.
const_DES_cblock* cblock(const std::uint8_t* p) { return reinterpret_cast<const_DES_cblock*>(const_cast<std::uint8_t*>(p)); }

template <typename Ours, typename Theirs>
void compare(benchmark::State& state, std::size_t bytes, Ours&& ours, Theirs&& theirs) {
    Clock::duration ours_time{}, theirs_time{};
    for (auto _ : state) {
        const auto t0 = Clock::now();
        ours();
        benchmark::ClobberMemory();
        const auto t1 = Clock::now();
        theirs();
        benchmark::ClobberMemory();
        ours_time += t1 - t0;
        theirs_time += Clock::now() - t1;
    }
    const double total = static_cast<double>(bytes) * static_cast<double>(state.iterations());
    const auto seconds = [](Clock::duration d) { return std::chrono::duration<double>(d).count(); };
    state.counters["ours_MBps"] = total / seconds(ours_time) / 1e6;
    state.counters["openssl_MBps"] = total / seconds(theirs_time) / 1e6;
    state.counters["ratio"] = seconds(theirs_time) / seconds(ours_time);
}

// An EVP cipher context in ECB without padding, ready for updates.
struct EvpCipher {
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> ctx{EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free};
    EvpCipher(const char* name) {
        static OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(nullptr, "legacy");   // single DES lives there
        static OSSL_PROVIDER* standard = OSSL_PROVIDER_load(nullptr, "default");
        (void)legacy, (void)standard;
        EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, name, nullptr);
        if (cipher == nullptr || EVP_EncryptInit_ex2(ctx.get(), cipher, kKey, nullptr, nullptr) != 1) std::abort();
        EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
        EVP_CIPHER_free(cipher);
    }
    void run(const std::vector<std::uint8_t>& in, std::vector<std::uint8_t>& out) const {
        int written = 0;
        EVP_EncryptUpdate(ctx.get(), out.data(), &written, in.data(), static_cast<int>(in.size()));
    }
};

void BM_RfEncryptVsEvpDesEcb(benchmark::State& state) {
    const auto in = random_bytes(kCipherBytes);
    std::vector<std::uint8_t> ours(kCipherBytes), theirs(kCipherBytes);
    const EvpCipher evp("DES-ECB");
    compare(state, kCipherBytes, [&] { rf_encrypt(kKey, in.data(), 65535, ours.data()); },
            [&] { evp.run(in, theirs); });
}

void BM_RfEncryptVsDesEcbEncrypt(benchmark::State& state) {
    const auto in = random_bytes(kCipherBytes);
    std::vector<std::uint8_t> ours(kCipherBytes), theirs(kCipherBytes);
    DES_key_schedule ks;
    DES_set_key_unchecked(cblock(kKey), &ks);
    compare(state, kCipherBytes, [&] { rf_encrypt(kKey, in.data(), 65535, ours.data()); },
            [&] {
                for (std::size_t i = 0; i < kCipherBytes; i += 8)
                    DES_ecb_encrypt(cblock(in.data() + i),
                                    reinterpret_cast<DES_cblock*>(theirs.data() + i), &ks, DES_ENCRYPT);
            });
}

void triple_ours(const std::vector<std::uint8_t>& in, std::vector<std::uint8_t>& out) {
    const vnr::crypto::des::TripleKeySchedule schedule(std::span<const std::uint8_t, 16>(kKey, 16));
    schedule.crypt_ecb(Direction::encrypt, in, out);
}

void BM_TripleDesVsEvpDesEdeEcb(benchmark::State& state) {
    const auto in = random_bytes(kCipherBytes);
    std::vector<std::uint8_t> ours(kCipherBytes), theirs(kCipherBytes);
    const EvpCipher evp("DES-EDE-ECB");
    compare(state, kCipherBytes, [&] { triple_ours(in, ours); }, [&] { evp.run(in, theirs); });
}

void BM_TripleDesVsDesEcb3Encrypt(benchmark::State& state) {
    const auto in = random_bytes(kCipherBytes);
    std::vector<std::uint8_t> ours(kCipherBytes), theirs(kCipherBytes);
    DES_key_schedule ks1, ks2;
    DES_set_key_unchecked(cblock(kKey), &ks1);
    DES_set_key_unchecked(cblock(kKey + 8), &ks2);
    compare(state, kCipherBytes, [&] { triple_ours(in, ours); },
            [&] {
                for (std::size_t i = 0; i < kCipherBytes; i += 8)
                    DES_ecb3_encrypt(cblock(in.data() + i),
                                     reinterpret_cast<DES_cblock*>(theirs.data() + i), &ks1, &ks2, &ks1, DES_ENCRYPT);
            });
}

void BM_HexBase64VsEvpEncodeBlock(benchmark::State& state) {
    const auto in = random_bytes(kBase64Bytes);
    std::vector<char> ours(kBase64Bytes / 3 * 4 + 8);
    std::vector<unsigned char> theirs(ours.size() + 1);
    compare(state, kBase64Bytes, [&] { hex_base64(in.data(), ours.data(), kBase64Bytes); },
            [&] { EVP_EncodeBlock(theirs.data(), in.data(), kBase64Bytes); });
}

void BM_Base64HexVsEvpDecodeBlock(benchmark::State& state) {
    const auto bytes = random_bytes(kBase64Bytes);
    std::vector<char> text((kBase64Bytes + 2) / 3 * 4);
    hex_base64(bytes.data(), text.data(), kBase64Bytes);
    std::vector<std::uint8_t> ours(text.size() / 4 * 3), theirs(ours.size());
    const auto count = static_cast<std::uint32_t>(text.size());
    compare(state, text.size(), [&] { base64_hex(text.data(), ours.data(), count); },
            [&] {
                EVP_DecodeBlock(theirs.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                static_cast<int>(count));
            });
}

BENCHMARK(BM_RfEncryptVsEvpDesEcb)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RfEncryptVsDesEcbEncrypt)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TripleDesVsEvpDesEdeEcb)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TripleDesVsDesEcb3Encrypt)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HexBase64VsEvpEncodeBlock)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Base64HexVsEvpDecodeBlock)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
