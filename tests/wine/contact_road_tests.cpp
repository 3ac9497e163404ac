// tests/wine/contact_road_tests.cpp: the Windows DLL working a contact card on COM1, under Wine. Loads
// vnr_32.dll with LoadLibraryA and reaches it only through GetProcAddress, as an application does. The
// simulated reader is given the card's answers over its control channel (COM2) as canned replies, each
// for one command: a slot's state, power up with its answer to reset, an APDU, power down; and refusals
// that send nothing, one of them through a 32-bit status.
// Takes no arguments; prints a line for each case and ends with "N passed, N failed".
#include "cases.h"
#include "control_port.h"
#include "vnr_32.h"

#include <windows.h>

#include <cstring>
#include <string>

namespace {

using vnr::wine_test::Cases;
using vnr::wine_test::ControlPort;

#define VNR_FUNCTIONS(X) \
    X(device_open) X(device_close) X(sam_slt_getstate) X(sam_slt_reset) X(card_APDU) X(sam_slt_powerdown) X(srd_1604)

struct Library {
    HMODULE module = nullptr;
#define VNR_MEMBER(name) decltype(&::name) name = nullptr;
    VNR_FUNCTIONS(VNR_MEMBER)
#undef VNR_MEMBER

    bool load() {
        module = ::LoadLibraryA("vnr_32.dll");
        if (module == nullptr) return false;
        bool all = true;
#define VNR_RESOLVE(name)                                                                                    \
    name = reinterpret_cast<decltype(name)>(reinterpret_cast<void*>(::GetProcAddress(module, #name)));          \
    all = all && name != nullptr;
        VNR_FUNCTIONS(VNR_RESOLVE)
#undef VNR_RESOLVE
        return all;
    }
};

// The card's answers: the reader puts one byte ahead of the answer to reset, which the library drops.
const char* const kReplies[] = {
    "reply 3221 1003 times 1",
    "reply 322200 0 003B8F8001804F times 1",
    "reply 322600 0 6F07840500000003339000 times 1",
    "reply 3223 0 times 1",
    "reply 3235 6A82 times 1",
};
const std::uint8_t kAtr[] = {0x3B, 0x8F, 0x80, 0x01, 0x80, 0x4F};
const std::uint8_t kSelect[] = {0x00, 0xA4, 0x04, 0x00, 0x00};

}  // namespace

int main() {
    Cases cases;
    Library vnr;
    ControlPort control("COM2");
    const bool loaded = vnr.load();
    cases.group("a contact card on COM1");
    cases.run("vnr_32.dll loads and the contact functions resolve by their plain names", [&] {
        cases.check(loaded, "LoadLibraryA or GetProcAddress failed (error %lu)", ::GetLastError());
    });
    if (!loaded) return cases.summary();
    const std::int32_t icdev = vnr.device_open(0, 115200);
    bool answers = icdev >= 2;
    for (const char* line : kReplies) answers = answers && control.send(line);
    cases.run("the reader opens and takes the card's answers on its control port", [&] {
        cases.check(answers, "device_open gave %ld, or a control line was refused", static_cast<long>(icdev));
    });
    if (!answers) return cases.summary();

    cases.run("state, power up with the answer to reset, an APDU, power down", [&] {
        std::uint16_t state = 0;
        cases.equal(vnr.sam_slt_getstate(icdev, 0, &state), 0, "sam_slt_getstate");
        cases.equal(state, 0x1003, "state");
        std::uint8_t atr_length = 0, atr[255] = {};
        cases.equal(vnr.sam_slt_reset(icdev, 500, 0, &atr_length, atr), 0, "sam_slt_reset");
        cases.check(atr_length == sizeof kAtr && std::memcmp(atr, kAtr, sizeof kAtr) == 0, "ATR of %u bytes", atr_length);
        std::uint32_t length = 0;
        std::uint8_t answer[3073] = {};
        cases.equal(vnr.card_APDU(icdev, 0, sizeof kSelect, kSelect, &length, answer), 0, "card_APDU");
        cases.check(length == 11 && answer[9] == 0x90 && answer[10] == 0x00, "answer of %lu bytes", static_cast<unsigned long>(length));
        cases.equal(vnr.sam_slt_powerdown(icdev, 0), 0, "sam_slt_powerdown");
    });
    cases.run("refusals send nothing; a 1604 status comes widened to 32 bits", [&] {
        std::uint32_t length = 0;
        std::uint8_t out[3073] = {};
        cases.equal(vnr.card_APDU(icdev, 32, sizeof kSelect, kSelect, &length, out), -37, "card_APDU to slot 32");
        cases.equal(vnr.srd_1604(icdev, 1, 20, 1, out), -37, "srd_1604 below zone 1");
        cases.equal(vnr.srd_1604(icdev, 1, 21, 4, out), -27266, "srd_1604 with status 6A82");
    });
    vnr.device_close(icdev);
    return cases.summary();
}
