// fuzz/bank_exchange_fuzz.cpp: a bank card read against a card whose every answer the fuzzer writes, as
// the reader passes it on: iReadICCardNoAndName by records and by GPO (the APDU text layer with its 61xx
// and 6Cxx follow-ups, the tag search, the GPO answer's AFL and records), and the complete EMV read of
// vnr_emv (directory, candidate AIDs, GPO of either format, records), each into its documented rooms.
#include "check.h"
#include "fuzzed_reader.h"
#include "vnr_32.h"
#include "vnr_emv.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const vnr::fuzz::FuzzedReader reader(in);
    const auto choice = in.ConsumeIntegral<std::uint8_t>();
    const std::int32_t card_type = choice % 4 == 3 ? 7 : (choice % 2 ? 0 : 255);
    if (choice & 0x80) {
        vnr_emv_card card;
        const std::int32_t result = vnr_emv_read(reader.icdev(), card_type, &card);
        FUZZ_CHECK(result <= 0 && result >= VNR_EMV_E_NO_NUMBER);
        FUZZ_CHECK(std::memchr(card.pan, 0, sizeof card.pan) && std::memchr(card.reason, 0, sizeof card.reason));
        FUZZ_CHECK(std::memchr(card.holder_name, 0, sizeof card.holder_name) && std::memchr(card.aid, 0, sizeof card.aid));
    } else {
        std::vector<char> card_no(40, 'Z'), holder_name(64, 'Z'), message(52, 'Z');
        iReadICCardNoAndName(reader.icdev(), card_type, card_no.data(), holder_name.data(), message.data());
        FUZZ_CHECK(std::memchr(message.data(), 0, message.size()) != nullptr);
    }
    return 0;
}
