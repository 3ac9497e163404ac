// fuzz/reader_exchange_fuzz.cpp: the reader's own functions, the magnetic stripe and the PIN pad against
// a reader whose every reply the fuzzer writes: version and serial texts, status bytes, the EEPROM in
// words (with the read before a partial write), the fingerprint query's stretches, the bend value, the
// block store, the EMID, the track record of a swipe, the pad's PIN and PIN block, and the search over
// card kinds. Up to eight calls an input; every out-buffer has exactly its documented room.
#include "check.h"
#include "fuzzed_reader.h"
#include "vnr_32.h"

namespace {

using vnr::fuzz::room;

void call_one(std::int32_t icdev, FuzzedDataProvider& in) {
    const auto small = in.ConsumeIntegral<std::uint8_t>();
    const auto number = in.ConsumeIntegral<std::uint16_t>();
    switch (in.ConsumeIntegralInRange(0, 17)) {
        case 0: {
            std::uint8_t length = 0xEE;
            auto text = room(100);
            if (device_version(icdev, small % 2, &length, text.data()) == VNR_OK) FUZZ_CHECK(length <= text.size());
            break;
        }
        case 1: {
            auto serial = room(small);
            device_readsnr(icdev, small, serial.data());
            break;
        }
        case 2: {
            std::uint8_t state = 0xEE;
            using Status = int16_t (*)(int32_t, uint8_t*);
            constexpr Status kStatus[] = {get_device_status, get_device_statusEx, dev_cardstate, ICC_GetStatus,
                                          PICCA_GetStatus,   PICCB_GetStatus,     get_quant_ele};
            kStatus[small % std::size(kStatus)](icdev, &state);
            break;
        }
        case 3: {
            const std::uint16_t length = 1 + number % 200;
            auto data = room(length);
            dev_readeeprom(icdev, small % 201, length, data.data());
            break;
        }
        case 4: {
            const std::uint16_t length = 1 + number % 200;
            const auto data = room(length);
            dev_writeeeprom(icdev, small % 201, length, data.data());
            break;
        }
        case 5: {
            auto first = room(200), second = room(100);
            get_finger(icdev, first.data(), second.data());
            break;
        }
        case 6: {
            double value = 0;
            tf_bend(icdev, &value);
            break;
        }
        case 7: {
            auto block = room(512);
            tf_read(icdev, number * 7, block.data());
            break;
        }
        case 8: {
            std::uint8_t length = 0xEE;
            auto id = room(100);
            if (Dev_GetEMID(icdev, &length, id.data()) == VNR_OK) FUZZ_CHECK(length <= id.size());
            break;
        }
        case 9:
        case 10: {
            auto tracks = room(771);
            number % 2 ? magnetic_read(icdev, small % 6, tracks.data()) : magnetic_read_ms(icdev, small * 40, tracks.data());
            break;
        }
        case 11: set_magnetic_mode(icdev, small); break;
        case 12: {
            auto pin = room(50);
            mw_kb_getpin(icdev, 1 + small % 2, pin.data());
            break;
        }
        case 13: {
            std::vector<char> pin(35, '\x5A');
            mw_kb_getenpin(icdev, 1 + small % 2, "0123456789AB", pin.data());
            break;
        }
        case 14: mw_kb_activekey(icdev, 0, small); break;
        case 15: {
            const auto data = room(number % 600);
            (small % 2 ? send_com1 : send_com2)(icdev, static_cast<std::uint32_t>(data.size()), data.data());
            break;
        }
        case 16: {
            const auto data = room(number % 600);
            tf_write(icdev, number, static_cast<std::uint32_t>(data.size()), data.data());
            break;
        }
        case 17: {
            std::uint32_t contactless_cpu = 0, contact_cpu = 0, identity_card = 0, magnetic = 0;
            std::uint8_t length = 0;
            auto answer = room(255), tracks = room(771);
            Get_CardType(icdev, &contactless_cpu, &contact_cpu, &length, answer.data(), &identity_card, &magnetic,
                         tracks.data());
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const vnr::fuzz::FuzzedReader reader(in);
    // The pad's settings stay for the process: they are set once, with replies of their own (below),
    // and every input starts on key number 0.
    mw_kb_activekey(reader.icdev(), 0, 0);
    for (int calls = 0; calls < 8 && in.remaining_bytes() > 0; ++calls) call_one(reader.icdev(), in);
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vnr::core::link_state().com_mode = vnr::core::kLinkSerial;
    vnr::fuzz::incoming().answer = [] { return std::vector<std::uint8_t>{0x02, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03}; };
    mw_kb_settimeout(vnr::fuzz::fuzzed_port_handle(), 6);
    mw_kb_setpasslen(vnr::fuzz::fuzzed_port_handle(), 6);
    vnr::fuzz::incoming().answer = nullptr;
    return 0;
}
