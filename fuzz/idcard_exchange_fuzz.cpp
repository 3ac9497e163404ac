// fuzz/idcard_exchange_fuzz.cpp: the identity card family's exported functions against a reader whose
// every reply the fuzzer writes: the module's find, select and information commands, its ids, the raw
// read, the reads into the caller's buffer and into the record, the read-card family with its texts,
// photo saves and the foreign line, and the EMID. Up to four calls an input; every out-buffer has
// exactly its documented room. Files go below a folder of the run's own (the prefix and the working
// folder); no photo decoder is installed there, so a save ends at the decoder.
#include "check.h"
#include "fuzzed_reader.h"
#include "vnr_32.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using vnr::fuzz::room;

std::vector<char> text_room(std::size_t size) { return std::vector<char>(size, '\x5A'); }

void call_one(std::int32_t icdev, FuzzedDataProvider& in) {
    const auto choice = in.ConsumeIntegral<std::uint8_t>();
    switch (in.ConsumeIntegralInRange(0, 13)) {
        case 0: {
            using Info = int16_t (*)(int32_t, uint32_t*, uint8_t*);
            constexpr Info kInfo[] = {IDCard_Find, IDCard_Selet, IDCard_ReadAdded, IDCard_ReadManage};
            constexpr std::size_t kRoom[] = {300 - 5, 2000 - 5, 200 - 5, 200 - 5};
            std::uint32_t length = 0xEEEEEEEE;
            auto data = room(kRoom[choice % 4]);
            if (kInfo[choice % 4](icdev, &length, data.data()) == VNR_OK) FUZZ_CHECK(length <= data.size());
            break;
        }
        case 1: {
            std::uint32_t length = 0xEEEEEEEE;
            auto data = room(2000);
            // Whenever a count was laid (the module's own refusal too), it fits the room. -50 alone does not
            // say so: a reader's status word 00 32 gives the same number, with nothing written.
            (void)IDCard_Read(icdev, &length, data.data());
            if (length != 0xEEEEEEEE) FUZZ_CHECK(length <= data.size());
            break;
        }
        case 2: {
            std::uint8_t length = 0xEE;
            auto data = room(100);
            if (IDCard_GetModeID(icdev, &length, data.data()) == VNR_OK) FUZZ_CHECK(length <= data.size());
            break;
        }
        case 3: {
            std::uint32_t length = 0xEEEEEEEE;
            auto data = room(100);
            if (IDCard_Read_IDNUM(icdev, &length, data.data()) == VNR_OK) FUZZ_CHECK(length <= data.size());
            break;
        }
        case 4: {
            std::uint32_t length = 0;
            auto data = room(choice % 2 ? 1289 : 2315);
            (choice % 2 ? IDCard_Read_P_W : IDCard_Read_P_W_F)(icdev, &length, data.data());
            break;
        }
        case 5: {
            auto errtext = text_room(21);
            IDCard_ReadCard(icdev, errtext.data());
            break;
        }
        case 6: {
            auto errtext = text_room(21);
            IDCard_ReadCard_Extra(icdev, choice % 2 ? "C:\\photos\\card.bmp" : "", errtext.data());
            break;
        }
        case 7: {
            auto name = text_room(30), sex = text_room(6), nation = text_room(18), birthday = text_room(8),
                 address = text_room(70), number = text_room(18), department = text_room(30), from = text_room(8),
                 to = text_room(8), reserve = text_room(36), base64 = text_room(87384), errtext = text_room(21);
            std::int32_t base64_length = 0;
            IDCard_ReadCard_Ex(icdev, name.data(), sex.data(), nation.data(), birthday.data(), address.data(),
                               number.data(), department.data(), from.data(), to.data(), reserve.data(), choice % 3,
                               base64.data(), &base64_length, errtext.data());
            break;
        }
        case 8: {
            auto errtext = text_room(21);
            IDCard_ReadCard_ExTwo(icdev, choice % 2, choice % 4 < 2 ? "" : "C:\\cards", errtext.data());
            break;
        }
        case 9: {
            auto errtext = text_room(21);
            IDCard_ReadCard_finger(icdev, errtext.data());
            break;
        }
        case 10: {
            std::uint32_t is_foreign = 0xEE;
            auto line = text_room(3096);
            IDCard_ReadCard_Foreign(icdev, "C:\\photos\\foreign.bmp", &is_foreign, line.data(), choice % 2);
            break;
        }
        case 11: {
            std::uint8_t length = 0xEE;
            auto id = room(100);
            if (Dev_GetEMID(icdev, &length, id.data()) == VNR_OK) FUZZ_CHECK(length <= id.size());
            break;
        }
        case 12: {
            // The record of the last read, field by field, as the header sizes them.
            constexpr std::size_t kRoom[] = {30, 6, 18, 8, 70, 18, 30, 8, 8, 36, 260, 0, 1024, 2};
            auto out = text_room(kRoom[choice % 14]);
            IDCard_GetCardInfo(icdev, choice % 14, out.data());
            break;
        }
        case 13: {
            auto file = text_room(260);
            IDCard_GetPhotoFile(file.data());
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static char folder[] = "/tmp/vnr-idcard-XXXXXX";
    if (mkdtemp(folder) == nullptr || chdir(folder) != 0) std::abort();
    setenv("VNR32_PREFIX", folder, 1);
    std::atexit([] { std::filesystem::remove_all(folder); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const vnr::fuzz::FuzzedReader reader(in);
    for (int calls = 0; calls < 4 && in.remaining_bytes() > 0; ++calls) call_one(reader.icdev(), in);
    return 0;
}
