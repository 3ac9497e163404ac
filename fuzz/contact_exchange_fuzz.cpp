// fuzz/contact_exchange_fuzz.cpp: the contact family's exported functions against a reader whose every
// reply the fuzzer writes: slot states, resets and answers to reset, APDUs, memory card types, reads and
// writes in pieces bounded by a size code the reader named, and the 1604 card's zones. Up to eight calls
// an input, with arguments of the fuzzer's choosing and every out-buffer of exactly its documented room.
#include "check.h"
#include "fuzzed_reader.h"
#include "vnr_32.h"

namespace {

using vnr::fuzz::room;

void call_one(std::int32_t icdev, FuzzedDataProvider& in) {
    const auto slot = in.ConsumeIntegral<std::uint8_t>();
    const auto number = in.ConsumeIntegral<std::uint16_t>();
    const auto count = in.ConsumeIntegralInRange<std::uint16_t>(0, 4096);
    switch (in.ConsumeIntegralInRange(0, 17)) {
        case 0: {
            std::uint16_t state = 0xEEEE;
            sam_slt_getstate(icdev, slot, &state);
            break;
        }
        case 1:
        case 2: {
            std::uint8_t length = 0xEE;
            auto atr = room(255);
            const std::int16_t status = number % 2 ? sam_slt_reset(icdev, number, slot, &length, atr.data())
                                                   : sam_slt_reset_baud(icdev, slot, number % 3, &length, atr.data());
            if (status == VNR_OK) vnr::fuzz::touch(std::span(atr).first(length));
            break;
        }
        case 3: sam_slt_powerdown(icdev, slot); break;
        case 4: {
            const auto apdu = room(1 + count % 3070);
            std::uint32_t length = 0xEEEEEEEE;
            auto answer = room(3073);
            if (card_APDU(icdev, slot, static_cast<std::int32_t>(apdu.size()), apdu.data(), &length, answer.data()) == VNR_OK) {
                FUZZ_CHECK(length <= answer.size());
                vnr::fuzz::touch(std::span(answer).first(length));
            }
            break;
        }
        case 5: contact_settype(icdev, slot % 2, static_cast<std::uint8_t>(number)); break;
        case 6: {
            std::uint8_t type = 0xEE;
            contact_identifytype(icdev, slot % 2, &type);
            break;
        }
        case 7:
        case 8: {
            const auto password = room(count % 256);
            (number % 2 ? contact_passwordinit : contact_passwordcheck)(icdev, slot, static_cast<std::int32_t>(password.size()),
                                                                      password.data());
            break;
        }
        case 9: {
            auto out = room(count);
            contact_read(icdev, slot % 2, number, count, out.data());
            break;
        }
        case 10: {
            const auto data = room(count);
            contact_write(icdev, slot % 2, number, count, data.data());
            break;
        }
        case 11: {
            const std::int32_t zone = slot % 6, len = 1 + count % 300;
            auto out = room(static_cast<std::size_t>(len));
            srd_1604(icdev, zone, number % 2100, len, out.data());
            break;
        }
        case 12: {
            const std::int32_t zone = slot % 6, len = 1 + count % 300;
            const auto data = room(static_cast<std::size_t>(len));
            swr_1604(icdev, zone, number % 2100, len, data.data());
            break;
        }
        case 13: ser_1604(icdev, slot % 6, number % 2100, 1 + count % 300); break;
        case 14: {
            const auto code = room(2);
            wsc_1604(icdev, slot % 9, 2, code.data());
            break;
        }
        case 15: {
            const auto code = room(2);
            (number % 2 ? csc_1604 : cesc_1604)(icdev, slot % 5, 2, code.data());
            break;
        }
        case 16: fakefus_1604(icdev, slot % 2); break;
        case 17: psnl_1604(icdev); break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const vnr::fuzz::FuzzedReader reader(in);
    // The size code a reader named stays for the process: each input starts without one (a refused
    // type forgets it and sends nothing).
    contact_settype(reader.icdev(), 0, 0);
    for (int calls = 0; calls < 8 && in.remaining_bytes() > 0; ++calls) call_one(reader.icdev(), in);
    return 0;
}
