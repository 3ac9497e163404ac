// fuzz/encoders_fuzz.cpp: the encoders (crypto/encoders.h, through their exports) in buffers of exactly the sizes they
// document. Any bytes to hexadecimal and Base64 and back, which must give them again; and any bytes as
// text to bytes through hexadecimal pairs, decimal pairs and Base64.
#include "check.h"
#include "crypto/encoders.h"
#include "vnr_32.h"

#include <algorithm>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    const auto count = static_cast<std::uint32_t>(size);

    std::vector<char> hex(2 * size + 1);
    FUZZ_CHECK(hex_asc(bytes.data(), hex.data(), count) == VNR_OK && hex.back() == '\0');
    std::vector<std::uint8_t> back(size + 1, 0xEE);
    FUZZ_CHECK(asc_hex(hex.data(), back.data(), count) == VNR_OK && back.back() == 0);
    FUZZ_CHECK(std::equal(bytes.begin(), bytes.end(), back.begin()));

    std::vector<char> base64(vnr::crypto::base64_length(count));
    FUZZ_CHECK(hex_base64(bytes.data(), base64.data(), count) == static_cast<std::int32_t>(base64.size() + 1));
    std::vector<std::uint8_t> decoded(base64.size() / 4 * 3);
    FUZZ_CHECK(base64_hex(base64.data(), decoded.data(), static_cast<std::uint32_t>(base64.size())) ==
               static_cast<std::int32_t>(decoded.size() + 1));
    FUZZ_CHECK(std::equal(bytes.begin(), bytes.end(), decoded.begin()));

    // The input as text: pairs of digits (stopping at the first bad one) and groups of four characters.
    const std::vector<char> text(data, data + size);
    const std::uint32_t pairs = count / 2;
    for (auto convert : {&asc_hex, &asc_dec}) {
        std::vector<std::uint8_t> out(pairs + 1);
        const std::int16_t status = convert(text.data(), out.data(), pairs);
        FUZZ_CHECK(status == VNR_OK || status == VNR_E_GENERAL);
    }
    std::vector<std::uint8_t> groups(count / 4 * 3);
    FUZZ_CHECK(base64_hex(text.data(), groups.data(), count) == static_cast<std::int32_t>(groups.size() + 1));
    return 0;
}
