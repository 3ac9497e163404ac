// fuzz/contactless_reply_fuzz.cpp: the contactless activation replies (contactless/reply.h) over any
// bytes: open_card's type, identifier and ATS by their own lengths, and the serial reply of a Mifare
// card (4-byte id) and a tag (7-byte id). What they hand back must lie within the reply.
#include "check.h"
#include "contactless/reply.h"

namespace {
bool within(vnr::core::Bytes part, vnr::core::Bytes whole) {
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::contactless;
    const Bytes reply(data, size);
    if (const auto cpu = parse_cpu_card(reply)) {
        FUZZ_CHECK(within(cpu->uid, reply) && within(cpu->ats, reply));
        vnr::fuzz::touch(cpu->uid);
        vnr::fuzz::touch(cpu->ats);
    }
    for (const std::size_t id_size : {std::size_t{4}, std::size_t{7}}) {
        if (const auto serial = parse_serial(reply, id_size)) {
            FUZZ_CHECK(serial->id.size() == id_size && within(serial->id, reply));
            vnr::fuzz::touch(serial->id);
        }
    }
    return 0;
}
