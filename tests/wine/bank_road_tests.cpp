// One bank card read through the DLL under Wine: iReadICCardNoAndName's first way on a contact card,
// answers canned over COM2, whose history gives back the commands received. Takes no arguments.
#include "cases.h"
#include "control_port.h"
#include "vnr_32.h"

#include <windows.h>

#include <string>

namespace {

#define VNR_FUNCTIONS(X) X(device_open) X(iReadICCardNoAndName)
VNR_WINE_LIBRARY(Library, VNR_FUNCTIONS);

// Each command's answer once: the ATR, the PSE's FCI naming directory SFI 2, the directory record naming
// A000000333010101, the application's FCI, and record 1 with tags 57 and 5F20.
const std::initializer_list<const char*> kAnswers = {
    "reply 3222 0 043B020304 times 1",
    "reply 32260000A404000E315041592E5359532E4444463031 0 6F15840E315041592E5359532E4444463031A5038801029000 times 1",
    "reply 32260000B2011400 0 700C610A4F08A0000003330101019000 times 1",
    "reply 32260000A4040008A000000333010101 0 6F0C8408A000000333010101A5009000 times 1",
    "reply 32260000B2010C00 0 701E570E6217990000000012340D3012220F5F200B53414D504C452F57494E459000 times 1",
    "clear history",
};
const char kDone[] = "\xB3\xC9\xB9\xA6\xBB\xF1\xC8\xA1\xB5\xBD\xCA\xFD\xBE\xDD";  // 成功获取到数据 in GBK

}  // namespace

int main() {
    vnr::wine_test::Cases cases;
    vnr::wine_test::ControlPort control("COM2");
    Library vnr;
    const bool loaded = vnr.load();
    const std::int32_t icdev = loaded ? vnr.device_open(0, 115200) : 0;
    cases.group("a bank card on COM1");
    cases.run("vnr_32.dll loads, iReadICCardNoAndName resolves and the reader on COM1 opens", [&] {
        cases.check(loaded && control.is_open() && icdev >= 2, "resolved %d, COM2 open %d, device_open %ld", loaded,
                    control.is_open(), static_cast<long>(icdev));
    });
    if (icdev < 2 || !control.is_open()) return cases.summary();

    cases.run("the first way reads the number and the name; the APDUs are those of its templates", [&] {
        cases.check(control.send_all(kAnswers), "the control channel refused an answer");
        char card_no[40] = {}, name[64] = {}, message[52] = {};
        cases.equal(vnr.iReadICCardNoAndName(icdev, 0, card_no, name, message), 0, "iReadICCardNoAndName");
        cases.equal(card_no, "6217990000000012340", "card number");
        cases.equal(name, "SAMPLE/WINE", "holder name");
        cases.equal(message, kDone, "message");
        cases.equal(control.received(),
                    "3222000000 32260000A404000E315041592E5359532E4444463031 32260000B2011400 "
                    "32260000A4040008A000000333010101 32260000B2010C00",
                    "commands received");
    });
    return cases.summary();
}
