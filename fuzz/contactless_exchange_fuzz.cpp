// fuzz/contactless_exchange_fuzz.cpp: the contactless family's exported functions against a reader whose
// every reply the fuzzer writes: the field, activations with their identifiers and ATS, the probe over
// card kinds, Mifare blocks and values, tag pages, the tag's base information text and initialisation,
// and peer-to-peer. Up to eight calls an input; every out-buffer has exactly its documented room.
#include "check.h"
#include "fuzzed_reader.h"
#include "vnr_32.h"

#include <string>

namespace {

using vnr::fuzz::room;

void call_one(std::int32_t icdev, FuzzedDataProvider& in) {
    const auto address = in.ConsumeIntegral<std::uint8_t>();
    const auto number = in.ConsumeIntegral<std::uint32_t>();
    const auto delay = static_cast<std::uint16_t>(number % 3 == 0 ? 0xFFFF : number);
    switch (in.ConsumeIntegralInRange(0, 23)) {
        case 0: (number % 2 ? open_rf : close_rf)(icdev); break;
        case 1: {
            std::uint8_t type = 0xEE, uid_length = 0xEE, ats_length = 0xEE;
            auto uid = room(10), ats = room(64);
            if (open_card(icdev, delay, &type, &uid_length, uid.data(), &ats_length, ats.data()) == VNR_OK)
                FUZZ_CHECK(uid_length <= uid.size() && ats_length <= ats.size());
            break;
        }
        case 2: {
            std::uint8_t type = 0xEE;
            auto uid = room(4);
            rf_card(icdev, delay, &type, uid.data());
            break;
        }
        case 3: rf_halt(icdev, delay); break;
        case 4: {
            std::uint8_t type = 0xEE, uid_length = 0xEE, ats_length = 0xEE;
            auto uid = room(10), ats = room(64);
            CLCard_Open(icdev, number, &type, &uid_length, uid.data(), &ats_length, ats.data());
            break;
        }
        case 5: {
            const auto key = room(6);
            rf_authentication(icdev, number % 2, address % 17, key.data());
            break;
        }
        case 6: {
            auto block = room(16);
            rf_read(icdev, address, block.data());
            break;
        }
        case 7: {
            const auto block = room(16);
            rf_write(icdev, address % 65, block.data());
            break;
        }
        case 8: {
            std::uint32_t value = 0xEEEEEEEE;
            rf_readval(icdev, address % 65, &value);
            break;
        }
        case 9: rf_initval(icdev, address % 65, number); break;
        case 10: (number % 2 ? rf_increment : rf_decrement)(icdev, address % 65, number); break;
        case 11: rf_transfer(icdev, address); break;
        case 12: {
            auto uid = room(7);
            number % 2 ? MF_OpenCard(icdev, 0, uid.data()) : NTAG215_OpenCard(icdev, uid.data());
            break;
        }
        case 13: {
            const auto key = room(address % 200);
            MF_Authentication(icdev, key.data(), static_cast<std::uint8_t>(key.size()));
            break;
        }
        case 14: {
            auto out = room(100);
            (number % 2 ? MF_Read : NTAG215_Read)(icdev, address, out.data());
            break;
        }
        case 15: {
            const auto page = room(4);
            (number % 2 ? MF_Write_4bytes : NTAG215_Write_4bytes)(icdev, address, page.data());
            break;
        }
        case 16: {
            const auto page = room(4);
            MF_WriteOTp(icdev, page.data());
            break;
        }
        case 17: MF_WriteLock(icdev, address); break;
        case 18: {
            const auto key = room(4);
            NTAG215_Authentication(icdev, key.data(), static_cast<std::uint8_t>(number % 2 ? 4 : address));
            break;
        }
        case 19: {
            const auto key = room(4);
            NTAG215_ChangeKey(icdev, key.data(), static_cast<std::uint8_t>(number % 2 ? 4 : address));
            break;
        }
        case 20: NTAG215_WriteLock(icdev); break;
        case 21: {
            std::vector<char> text(193, '\x5A');
            NTAG215_ReadBaseInfo(icdev, text.data());
            break;
        }
        case 22: {
            const auto key = room(4);
            const std::string text(address, 'T');
            NTAG215_Init(icdev, key.data(), text.c_str());
            break;
        }
        case 23: {
            const auto data = room(number % 1100);
            NFC_P2P(icdev, address, static_cast<std::uint16_t>(data.size()), data.data());
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const vnr::fuzz::FuzzedReader reader(in);
    for (int calls = 0; calls < 8 && in.remaining_bytes() > 0; ++calls) call_one(reader.icdev(), in);
    return 0;
}
