// fuzz/contact_reply_fuzz.cpp: the contact family's reply readers (contact/reply.h): a memory card's type
// from an identification reply of any length, and a slot's state from any exchange result.
#include "check.h"
#include "contact/reply.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::contact;
    const Bytes reply(data, size);
    if (const auto kind = identify_card(reply)) FUZZ_CHECK(!kind->size_code || carries_size_code(kind->type));
    if (size >= 2) {
        const auto result = static_cast<std::int16_t>(data[0] << 8 | data[1]);
        const auto state = slot_state(result);
        FUZZ_CHECK(state.has_value() == (result < -49 || result > -1));
    }
    return 0;
}
