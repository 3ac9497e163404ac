// fuzz/bank_gpo_fuzz.cpp: what the bank family makes of a card's processing options: a PDOL of any text
// filled with the terminal's values into the GPO data and command (which must fit one length byte), and
// AFL entries of any text turned into READ RECORD commands within the room given.
#include "bank/bank.h"
#include "check.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::bank;
    FuzzedDataProvider in(data, size);
    const auto amount = in.ConsumeIntegral<std::int32_t>();
    const std::string random_text = in.ConsumeRandomLengthString(12), trans_type = in.ConsumeRandomLengthString(4);
    const std::size_t rooms = in.ConsumeIntegralInRange<std::size_t>(1, kMaxReadCommands);
    const std::string afl = in.ConsumeRandomLengthString(64), pdol = in.ConsumeRemainingBytesAsString();

    std::string command = "untouched";
    if (build_gpo_command(pdol, amount, trans_type, random_text, command)) {
        const std::string pdol_data = build_pdol_data(pdol, random_text, trans_type, amount);
        FUZZ_CHECK(pdol_data.size() / 2 <= kMaxPdolDataBytes && command.size() == 14 + pdol_data.size());
    } else {
        FUZZ_CHECK(command == "untouched");
    }

    std::vector<ReadCommand> commands(rooms);
    for (std::size_t at = 0; at + 8 <= afl.size(); at += 8) {
        std::int32_t count = -1;
        afl_to_read_commands(std::string_view(afl).substr(at, 8), commands, &count);
        FUZZ_CHECK(count <= static_cast<std::int32_t>(commands.size()));
        for (std::int32_t i = 0; i < count; ++i) FUZZ_CHECK(std::strlen(commands[static_cast<std::size_t>(i)].data()) == 10);
    }
    return 0;
}
