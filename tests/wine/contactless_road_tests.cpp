// tests/wine/contactless_road_tests.cpp: one contactless session through the Windows DLL, under Wine, on
// the simulated reader of COM1: field on, activate a Mifare-class card, authenticate a sector, read a
// block, halt, field off; then refusals: a block reply longer than the block and a sector out of bounds.
// The card's answers are canned replies set over the control channel on COM2, each for one use, and the
// commands the reader received are read back from its history. Takes no arguments; prints a line for
// each case and ends with "N passed, N failed".
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
    X(device_open) X(device_close) X(open_rf) X(close_rf) X(rf_card) X(rf_authentication) X(rf_read) X(rf_halt)

struct Library {
#define VNR_MEMBER(name) decltype(&::name) name = nullptr;
    VNR_FUNCTIONS(VNR_MEMBER)
#undef VNR_MEMBER
    bool load() {
        const HMODULE module = ::LoadLibraryA("vnr_32.dll");
        if (module == nullptr) return false;
        bool all = true;
#define VNR_RESOLVE(name)                                                                                     \
    name = reinterpret_cast<decltype(name)>(reinterpret_cast<void*>(::GetProcAddress(module, #name)));      \
    all = all && name != nullptr;
        VNR_FUNCTIONS(VNR_RESOLVE)
#undef VNR_RESOLVE
        return all;
    }
};

constexpr char kBlockHex[] = "00112233445566778899AABBCCDDEEFF";

}  // namespace

int main() {
    Cases cases;
    Library vnr;
    ControlPort control("COM2");
    const bool loaded = vnr.load();
    cases.group("contactless");
    cases.run("vnr_32.dll loads and every contactless function of the session resolves", [&] {
        cases.check(loaded, "LoadLibraryA or GetProcAddress failed (error %lu)", ::GetLastError());
        cases.check(control.is_open(), "the control channel COM2 does not open");
    });
    if (!loaded || !control.is_open()) return cases.summary();
    const std::int32_t icdev = vnr.device_open(0, 115200);
    if (!cases.check(icdev >= 2, "device_open: got %ld", static_cast<long>(icdev))) return cases.summary();

    cases.run("field on, activate, authenticate, read a block, halt, field off", [&] {
        for (const char* reply : {"reply 3228 0 times 1", "reply 3241 0 0804A1B2C3 times 1", "reply 3242 0 times 1",
                                  "reply 3243 0 00112233445566778899AABBCCDDEEFF times 1", "reply 3225 0 times 1",
                                  "reply 3229 0 times 1", "clear history"})
            cases.check(control.send(reply), "the control channel refused \"%s\"", reply);
        const std::uint8_t key[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
        std::uint8_t type = 0, serial[4] = {}, block[20];
        std::memset(block, 0xEE, sizeof block);
        cases.equal(vnr.open_rf(icdev), 0, "open_rf");
        cases.equal(vnr.rf_card(icdev, 100, &type, serial), 0, "rf_card");
        cases.equal(type, 0x08, "card type");
        cases.equal(std::string(reinterpret_cast<char*>(serial), 4), "\x04\xA1\xB2\xC3", "serial");
        cases.equal(vnr.rf_authentication(icdev, 0, 1, key), 0, "rf_authentication");
        cases.equal(vnr.rf_read(icdev, 4, block), 0, "rf_read");
        cases.check(std::memcmp(block, "\x00\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF", 16) == 0,
                    "the block read is not %s", kBlockHex);
        cases.equal(block[16], 0xEE, "the byte behind the block");
        cases.equal(vnr.rf_halt(icdev, 0), 0, "rf_halt");
        cases.equal(vnr.close_rf(icdev), 0, "close_rf");
        std::string history;
        control.send("history 6", &history);
        cases.equal(history, "ok 3228 32410064 324201FFFFFFFFFFFF 324304 32250000 3229", "commands the reader received");
    });

    cases.run("a block reply longer than 16 bytes and a sector above 16 are refused", [&] {
        control.send("reply 3243 0 00112233445566778899AABBCCDDEEFF00 times 1");
        control.send("clear history");
        std::uint8_t block[20], key[6] = {};
        std::memset(block, 0xEE, sizeof block);
        cases.equal(vnr.rf_read(icdev, 4, block), VNR_E_END_BYTE, "rf_read of 17 bytes");
        cases.equal(block[0], 0, "the block's first byte after the refusal");
        cases.equal(block[1], 0xEE, "the byte behind it");
        cases.equal(vnr.rf_authentication(icdev, 0, 17, key), VNR_E_BAD_ARGUMENT, "rf_authentication of sector 17");
        std::string history;
        control.send("history 6", &history);
        cases.equal(history, "ok 324304", "commands the reader received");
    });
    vnr.device_close(icdev);
    return cases.summary();
}
