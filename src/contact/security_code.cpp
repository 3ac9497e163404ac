// src/contact/security_code.cpp: contact family. wsc_1604 writes an AT88SC1604 security or erase code:
// it erases the code's two bytes and then writes them, two commands that each take the library lock,
// so another caller's command may fall between them.
#include "contact/commands.h"
#include "contact/memory_map.h"
#include "core/boundary.h"
#include "vnr_32.h"

namespace vnr::contact {

namespace {

std::int32_t write_code(std::int32_t icdev, std::int32_t number, std::int32_t len, const std::uint8_t* code) {
    if (len != kCodeBytes || number < 0 || number > kLastCodeNumber || code == nullptr) return VNR_E_BAD_ARGUMENT;
    const std::int32_t address = code_address(number);
    const std::int16_t erased = neibu_ser_1604(icdev, number, address, kCodeBytes);
    if (erased != VNR_OK) return erased;
    return swrSC_1604(icdev, number, address, kCodeBytes, code);
}

}  // namespace

}  // namespace vnr::contact

extern "C" VNR_API int32_t VNR_CALL wsc_1604(int32_t icdev, int32_t zone, int32_t len, const uint8_t* code) {
    return vnr::core::guarded<int32_t>([&] { return vnr::contact::write_code(icdev, zone, len, code); });
}
