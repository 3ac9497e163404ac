// The DLL's reader control, stripe and PIN pad on COM1 under Wine; answers canned over COM2.
#include "cases.h"
#include "control_port.h"
#include "vnr_32.h"

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

using vnr::wine_test::Cases;
using vnr::wine_test::ControlPort;

#define VNR_FUNCTIONS(X)                                                                                      \
    X(device_open) X(device_close) X(dev_writeeeprom) X(magnetic_read) X(mw_kb_settimeout) X(mw_kb_setpasslen) \
    X(mw_kb_getpin)

VNR_WINE_LIBRARY(Library, VNR_FUNCTIONS);

// Cans the replies (each "HEXCMD STATUS [HEXDATA]") after forgetting what the reader received.
bool prepare(ControlPort& control, std::initializer_list<const char*> replies) {
    bool ok = control.send_all({"clear replies", "clear history"});
    for (const char* reply : replies) ok = control.send(std::string("reply ") + reply) && ok;
    return ok;
}

}  // namespace

int main() {
    Cases cases;
    Library vnr;
    ControlPort control("COM2");
    cases.group("reader control, stripe and PIN pad on COM1");
    const std::int32_t icdev = vnr.load() ? vnr.device_open(0, 115200) : -1;
    cases.run("vnr_32.dll loads, its functions resolve and device_open finds the simulated reader", [&] {
        cases.check(icdev >= 2, "device_open: %ld (-1: LoadLibraryA or GetProcAddress failed)", long(icdev));
    });
    if (icdev < 2) return cases.summary();

    cases.run("an EEPROM write at an odd address reads its words' neighbours first and sends them back", [&] {
        cases.check(prepare(control, {"C00B 0000 1A1B1C1D", "C00A 0000"}), "the control channel refused a reply");
        const std::uint8_t data[2] = {0xD1, 0xD2};
        cases.equal(vnr.dev_writeeeprom(icdev, 11, 2, data), 0, "dev_writeeeprom(11, 2)");
        cases.equal(control.received(), "C00B00050004 C00A000500041AD1D21D", "the commands received");
    });
    cases.run("a swipe fills the track record without the sentinels", [&] {
        cases.check(prepare(control, {"3260 0000 05F5033B3132333F253A3F"}), "the control channel refused a reply");
        std::uint8_t record[771] = {};
        cases.equal(vnr.magnetic_read(icdev, 2, record), 0, "magnetic_read");
        cases.equal(std::string(reinterpret_cast<char*>(record), 3), std::string("\x03\x00\x01", 3), "the lengths");
        cases.equal(std::string(reinterpret_cast<char*>(record) + 3, 3), "123", "track 1");
        cases.equal(std::string(reinterpret_cast<char*>(record) + 515, 1), ":", "track 3");
    });
    cases.run("a PIN entry after both settings gives the pad's bytes", [&] {
        cases.check(prepare(control, {"C501 0000", "C502 0000", "C505 0000 393837363534"}), "the control channel refused a reply");
        cases.equal(vnr.mw_kb_settimeout(icdev, 6), 0, "mw_kb_settimeout");
        cases.equal(vnr.mw_kb_setpasslen(icdev, 6), 0, "mw_kb_setpasslen");
        std::uint8_t pin[50] = {};
        cases.equal(vnr.mw_kb_getpin(icdev, 1, pin), 0, "mw_kb_getpin");
        cases.equal(reinterpret_cast<char*>(pin), "987654", "the PIN");
        cases.equal(control.received(), "C5010006 C5020006 C505001B49", "the commands received");
    });
    control.send("clear replies");
    cases.equal(vnr.device_close(icdev), 0, "device_close");
    return cases.summary();
}
