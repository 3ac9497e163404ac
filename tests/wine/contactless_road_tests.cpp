// One contactless session through the DLL under Wine: field, activation, authentication, read, halt, and
// the refusals of a long block and a sector out of bounds; answers canned over COM2. Takes no arguments.
#include "cases.h"
#include "control_port.h"
#include "vnr_32.h"

#include <windows.h>

#include <string>

#define VNR_FUNCTIONS(X) \
    X(device_open) X(device_close) X(open_rf) X(close_rf) X(rf_card) X(rf_authentication) X(rf_read) X(rf_halt)
VNR_WINE_LIBRARY(Library, VNR_FUNCTIONS);

int main() {
    vnr::wine_test::Cases cases;
    vnr::wine_test::ControlPort control("COM2");
    Library vnr;
    const bool loaded = vnr.load();
    const std::int32_t icdev = loaded ? vnr.device_open(0, 115200) : 0;
    cases.run("vnr_32.dll loads, its contactless functions resolve and the reader on COM1 opens", [&] {
        cases.check(loaded && control.is_open() && icdev >= 2, "loaded %d, COM2 open %d, device_open %ld", loaded,
                    control.is_open(), static_cast<long>(icdev));
    });
    if (icdev < 2 || !control.is_open()) return cases.summary();
    const std::uint8_t key[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

    cases.run("field on, activate, authenticate, read a block, halt, field off", [&] {
        cases.check(control.send_all({"reply 3228 0 times 1", "reply 3241 0 0804A1B2C3 times 1", "reply 3242 0 times 1",
                                      "reply 3243 0 00112233445566778899AABBCCDDEEFF times 1", "reply 3225 0 times 1",
                                      "reply 3229 0 times 1", "clear history"}),
                    "the control channel refused a line");
        std::uint8_t type = 0, serial[4] = {};
        std::string block(20, '\xEE');
        cases.equal(vnr.open_rf(icdev), 0, "open_rf");
        cases.equal(vnr.rf_card(icdev, 100, &type, serial), 0, "rf_card");
        cases.equal(std::string(reinterpret_cast<char*>(serial), 4), "\x04\xA1\xB2\xC3", "serial");
        cases.equal(type, 0x08, "card type");
        cases.equal(vnr.rf_authentication(icdev, 0, 1, key), 0, "rf_authentication");
        cases.equal(vnr.rf_read(icdev, 4, reinterpret_cast<std::uint8_t*>(block.data())), 0, "rf_read");
        cases.equal(block.substr(0, 17), std::string("\x00\x11\x22\x33\x44\x55\x66\x77\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF\xEE", 17),
                    "the block, and the byte behind it");
        cases.equal(vnr.rf_halt(icdev, 0), 0, "rf_halt");
        cases.equal(vnr.close_rf(icdev), 0, "close_rf");
        cases.equal(control.received(), "3228 32410064 32420100FFFFFFFFFFFF 324304 32250000 3229", "commands received");
    });

    cases.run("a block reply of 17 bytes and sector 17 are refused, nothing written past the block", [&] {
        control.send("reply 3243 0 00112233445566778899AABBCCDDEEFF00 times 1");
        control.send("clear history");
        std::string block(20, '\xEE');
        cases.equal(vnr.rf_read(icdev, 4, reinterpret_cast<std::uint8_t*>(block.data())), VNR_E_END_BYTE, "rf_read of 17");
        cases.equal(block.substr(0, 2), std::string("\x00\xEE", 2), "the block after the refusal");
        cases.equal(vnr.rf_authentication(icdev, 0, 17, key), VNR_E_BAD_ARGUMENT, "rf_authentication of sector 17");
        cases.equal(control.received(), "324304", "commands received");
    });
    vnr.device_close(icdev);
    return cases.summary();
}
