// fuzz/idcard_text_fuzz.cpp: the text of an identity card: a 256-byte text block (the first bytes of
// the input, zeros behind a shorter one) kept in the record and handed out by each exported field
// converter into a room of the size the header gives; the foreign card's fields; the line that
// IDCard_ReadCard_Foreign makes of either kind of card with the fingerprint's hexadecimal text; and the
// rest of the input, taken as one UTF-16LE text ending in a zero unit, through every converter.
#include "check.h"
#include "core/bytes.h"
#include "crypto/encoders.h"
#include "idcard/foreign.h"
#include "idcard/record.h"
#include "vnr_32.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace {

using Converter = int16_t (*)(const uint8_t*, char*);
struct Named {
    Converter convert;
    std::size_t room;  // bytes the header gives for `out`
};
constexpr Named kConverters[vnr::idcard::kFieldCount] = {
    {IDCard_Name, 30},     {IDCard_Sex, 6},       {IDCard_Nation, 18},          {IDCard_Birthday, 8},
    {IDCard_Address, 70},  {IDCard_IDNumber, 18}, {IDCard_IssueDepartment, 30}, {IDCard_ValidFromDate, 8},
    {IDCard_ValidExpiryDate, 8}, {IDCard_Reserve, 36},
};
constexpr std::size_t kBlock = 256;

// `wide` in a buffer of its own size and its zero unit, through converter `i` into a room of exactly
// the header's size.
void convert(std::size_t i, vnr::core::Bytes wide) {
    std::vector<std::uint8_t> text(wide.size() + 2, 0);
    std::copy(wide.begin(), wide.end(), text.begin());
    std::vector<char> out(kConverters[i].room, '\0');
    const std::int16_t status = kConverters[i].convert(text.data(), out.data());
    FUZZ_CHECK(status == VNR_OK || (i == 2 && status == VNR_E_GENERAL));
    vnr::fuzz::touch(std::span<const char>(out));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::idcard;
    std::array<std::uint8_t, kBlock> block{};
    std::copy_n(data, std::min(size, kBlock), block.begin());

    // The record's fields, as a read keeps them and IDCard_GetCardInfo hands them out.
    {
        const vnr::core::LibraryGuard guard;
        identity_record_fill(guard, block);
    }
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        std::array<char, 1024> out{};
        FUZZ_CHECK(IDCard_GetCardInfo(1, static_cast<std::int32_t>(i), out.data()) == VNR_OK);
        convert(i, std::span(block).subspan(kFields[i].offset, kFields[i].width));
    }
    for (int selector = 1; selector <= 12; ++selector) {
        std::array<char, 256> out{};
        FUZZ_CHECK(foreign_field(selector, block.data(), out.data()) <= 120);
    }

    const vnr::core::Bytes rest = size > kBlock ? vnr::core::Bytes(data + kBlock, size - kBlock) : vnr::core::Bytes{};
    const vnr::core::Bytes fingerprint = rest.first(std::min<std::size_t>(rest.size(), 1024));
    std::vector<char> hex(2 * fingerprint.size() + 1);
    vnr::crypto::hex_asc(fingerprint.data(), hex.data(), static_cast<std::uint32_t>(fingerprint.size()));
    auto line = std::make_unique<std::array<char, kCardLineRoom>>();
    card_line(block, hex.data(), *line);
    FUZZ_CHECK(std::find(line->begin(), line->end(), '\0') != line->end());

    // A caller's own text of any length, cut to whole units.
    const vnr::core::Bytes wide = rest.first(rest.size() & ~std::size_t{1});
    for (std::size_t i = 0; i < kFieldCount; ++i) convert(i, wide);
    return 0;
}
