// fuzz/bank_tlv_fuzz.cpp: the bank family's BER-TLV walk (bank/tlv.h) over any bytes as a card's answer:
// one element at the head, the depth-first tag search by leading and by exact tags, and the family's two
// searches that copy the value out, on bytes into a room of kTagValueRoom and on hexadecimal text (the
// answer as the APDU layer has it, and the input itself as text, hexadecimal or not).
//   byte 0: the wanted tag's length (1 to 4), then the tag, then the answer.
#include "bank/bank.h"
#include "bank/tlv.h"
#include "check.h"

#include <vector>

namespace {
bool within(vnr::bank::TlvBytes part, vnr::bank::TlvBytes whole) {
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::bank;
    if (size < 1) return 0;
    const std::size_t tag_size = std::min<std::size_t>(1 + data[0] % 4, size - 1);
    const TlvBytes tag(data + 1, tag_size), answer(data + 1 + tag_size, size - 1 - tag_size);

    if (const auto element = read_tlv(answer)) {
        FUZZ_CHECK(element->size <= answer.size() && within(element->tag, answer) && within(element->value, answer));
        vnr::fuzz::touch(element->value);
    }
    for (const TagMatch match : {TagMatch::leading, TagMatch::exact}) {
        if (const auto value = find_tlv(answer, tag, match)) {
            FUZZ_CHECK(within(*value, answer));
            vnr::fuzz::touch(*value);
        }
    }
    std::vector<std::uint8_t> value(kTagValueRoom);
    std::uint16_t value_length = 0xEEEE;
    if (find_tag(answer.data(), answer.size(), tag.data(), tag.size(), value, &value_length) == 0)
        FUZZ_CHECK(value_length <= value.size());

    // The same search on text, into rooms of the value's text and of a few digits.
    std::vector<char> answer_text(2 * answer.size() + 1), tag_text(2 * tag.size() + 1);
    bytes_to_hex(answer.data(), answer_text.data(), static_cast<std::uint32_t>(answer.size()));
    bytes_to_hex(tag.data(), tag_text.data(), static_cast<std::uint32_t>(tag.size()));
    answer_text.back() = tag_text.back() = '\0';
    for (const std::size_t room : {std::size_t{5}, 2 * kTagValueRoom + 1}) {
        std::vector<char> found(room, 'Z');
        find_tag_hex(answer_text.data(), tag_text.data(), found);
    }
    const std::string raw(reinterpret_cast<const char*>(data), size);
    std::vector<char> found(2 * kTagValueRoom + 1);
    find_tag_hex(raw.c_str(), tag_text.data(), found);
    return 0;
}
