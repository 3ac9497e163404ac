// The DLL working a contact card on COM1 under Wine; answers canned over COM2. Takes no arguments.
#include "cases.h"
#include "control_port.h"
#include "vnr_32.h"

#include <windows.h>

#include <cstring>

namespace {

#define VNR_FUNCTIONS(X) \
    X(device_open) X(sam_slt_getstate) X(sam_slt_reset) X(card_APDU) X(sam_slt_powerdown) X(srd_1604)
VNR_WINE_LIBRARY(Library, VNR_FUNCTIONS);

const std::initializer_list<const char*> kAnswers = {"reply 3221 1003 times 1", "reply 3222 0 003B8F8001804F times 1", "reply 3223 0 times 1",
                                "reply 322600 0 6F07840500000003339000 times 1", "reply 3235 6A82 times 1"};
const std::uint8_t kAtr[] = {0x3B, 0x8F, 0x80, 0x01, 0x80, 0x4F}, kSelect[] = {0x00, 0xA4, 0x04, 0x00, 0x00};

}  // namespace

int main() {
    vnr::wine_test::Cases cases;
    vnr::wine_test::ControlPort control("COM2");
    Library vnr;
    const bool loaded = vnr.load();
    const std::int32_t icdev = loaded ? vnr.device_open(0, 115200) : 0;
    bool ready = icdev >= 2;
    ready = ready && control.send_all(kAnswers);
    cases.group("a contact card on COM1");
    cases.run("the DLL loads, the reader opens and takes the card's answers on its control port", [&] {
        cases.check(ready, "loaded %d, device_open %ld, or a control line was refused", loaded, static_cast<long>(icdev));
    });
    if (!ready) return cases.summary();
    cases.run("state, power up with the answer to reset, an APDU, power down", [&] {
        std::uint16_t state = 0;
        std::uint8_t atr_length = 0, atr[255] = {}, answer[3073] = {};
        std::uint32_t length = 0;
        cases.check(vnr.sam_slt_getstate(icdev, 0, &state) == 0 && state == 0x1003, "sam_slt_getstate: state %u", state);
        cases.equal(vnr.sam_slt_reset(icdev, 500, 0, &atr_length, atr), 0, "sam_slt_reset");
        cases.check(atr_length == sizeof kAtr && std::memcmp(atr, kAtr, sizeof kAtr) == 0, "ATR of %u bytes", atr_length);
        cases.equal(vnr.card_APDU(icdev, 0, sizeof kSelect, kSelect, &length, answer), 0, "card_APDU");
        cases.check(length == 11 && answer[9] == 0x90 && answer[10] == 0x00, "answer of %lu bytes", static_cast<unsigned long>(length));
        cases.equal(vnr.sam_slt_powerdown(icdev, 0), 0, "sam_slt_powerdown");
    });
    cases.run("refusals send nothing; a 1604 status comes widened to 32 bits", [&] {
        std::uint32_t length = 0;
        std::uint8_t out[3073] = {};
        cases.equal(vnr.card_APDU(icdev, 32, sizeof kSelect, kSelect, &length, out), -37, "card_APDU to slot 32");
        cases.equal(vnr.srd_1604(icdev, 1, 20, 1, out), -37, "srd_1604 below zone 1");
        cases.equal(vnr.srd_1604(icdev, 1, 21, 4, out), -27266, "srd_1604 answered 6A82");
    });
    return cases.summary();
}
