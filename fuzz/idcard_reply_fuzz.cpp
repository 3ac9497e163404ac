// fuzz/idcard_reply_fuzz.cpp: the identity card module's reply (idcard/reply.h) over any bytes as the
// exchange delivers them: the triple and length field of a zero-filled room, the module data, the read
// layouts of both forms with the parts their lengths declare, the text block at its fixed place and the
// fingerprint stretch taken from the room. Every part handed back must lie within the bytes received.
#include "check.h"
#include "idcard/reply.h"

#include <algorithm>
#include <vector>

namespace {

bool within(vnr::core::Bytes part, vnr::core::Bytes whole) {
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vnr::idcard;
    // The reply room of a read is larger than the reply: zeros behind what came.
    std::vector<std::uint8_t> room_bytes(size + size % 7, 0);
    std::copy(data, data + size, room_bytes.begin());
    const Bytes room(room_bytes);
    const Bytes received = room.first(size);

    const Triple triple = triple_in(room);
    FUZZ_CHECK(size > 4 || triple.sw3 == 0);
    (void)length_field(room);
    if (const auto body = module_data(received)) {
        FUZZ_CHECK(within(*body, received));
        vnr::fuzz::touch(*body);
    }
    for (const ReadForm form : {ReadForm::text_and_photo, ReadForm::with_fingerprint}) {
        const auto layout = read_layout(received, form);
        if (!layout) continue;
        FUZZ_CHECK(layout->block.size() == kTextBlockSize);
        for (const Bytes part : {layout->block, layout->text, layout->photo, layout->fingerprint}) {
            FUZZ_CHECK(within(part, received));
            vnr::fuzz::touch(part);
        }
        const Bytes kept = fingerprint_block(room, *layout);
        FUZZ_CHECK(within(kept, room) && kept.size() <= kFingerprintSize);
        vnr::fuzz::touch(kept);
    }
    if (const auto block = text_block_of(received)) {
        FUZZ_CHECK(block->size() == kTextBlockSize && within(*block, received));
        vnr::fuzz::touch(*block);
    }
    return 0;
}
