// tools/vnr.cpp: the vnr command-line tool. Works a reader through the library's exported functions only,
// as any application would, and prints in UTF-8. One row a verb; each verb lives in a file of its own.
#include "cli.h"
#include "utf8_output.h"
#include "verbs.h"

#include <cstdio>
#include <cstring>

namespace {

using vnr::tool::Verb;

constexpr Verb kVerbs[] = {
    {"info", "info [--port USB|COMn] [--baud N]\n"
             "    open the reader, print the version of the reader and of its contactless module, close it",
     vnr::tool::info_command},
    {"list", "list [--all]\n"
             "    the USB HID readers found: path, vendor and product ids, feature report length, and why one\n"
             "    cannot be opened; --all lists every HID interface",
     vnr::tool::list_command},
    {"idcard", "idcard [--photo FILE.bmp] [--image FILE.bmp] [--json] [--fingerprint] [--wait SECONDS]\n"
               "    wait for an identity card (resident or foreign permanent resident), read it and print its\n"
               "    fields; Ctrl-C stops the wait. --photo saves the photo as this bitmap, --image draws the card\n"
               "    (both sides on one sheet), --json prints one JSON object, --fingerprint reads the\n"
               "    fingerprint data too, --wait gives up after this many seconds",
     vnr::tool::idcard_command},
    {"image", "image OUT.bmp [--face both|front|back] [--photo FILE.bmp] [--fields CARD.json] [--name T] ...\n"
              "    draw a card picture from fields: --name, --sex, --nation, --birthday, --address,\n"
              "    --id-number, --department, --valid-from, --valid-to, or a JSON file of them (the keys of\n"
              "    vnr idcard --json, whose \"photo\" is used when --photo is not given)",
     vnr::tool::image_command},
    {"wlt", "wlt encode PORTRAIT.bmp OUT.wlt | wlt decode IN.wlt\n"
            "    encode: pack a portrait bitmap (scaled to 102x126) into at most 1024 bytes of the card's\n"
            "    photo format; decode: turn a .wlt file into the .bmp beside it through the library and its\n"
            "    photo decoder",
     vnr::tool::wlt_command},
    {"beep", "beep [FIRST [SECOND]]\n"
             "    sound the reader's beeper; FIRST (0 to 65535, default 10) and SECOND (0 to 255, default 1) go to\n"
             "    the reader as they are",
     vnr::tool::beep_command},
    {"led", "led VALUE | led --color A B C | led --lights A B C D\n"
            "    set the reader's lights: one value, three colour values, or four lights each 0, 1 or 2",
     vnr::tool::led_command},
    {"serial", "serial [--length N] [--write HEX]\n"
               "    print the reader's product serial number (N bytes, default 20) in hexadecimal, or write one\n"
               "    of 1 to 20 bytes",
     vnr::tool::serial_command},
    {"eeprom", "eeprom read ADDR LEN | eeprom write ADDR HEX\n"
               "    read or write the reader's 200-byte user EEPROM by byte address, in hexadecimal",
     vnr::tool::eeprom_command},
    {"stripe", "stripe [--wait SECONDS] [--json]\n"
               "    wait for a magnetic stripe card to be swiped (default 10 s) and print its three tracks",
     vnr::tool::stripe_command},
    {"pin", "pin [--encrypted --key N [--block HEX]] [--length L] [--timeout SECONDS]\n"
            "    set the PIN pad's PIN length (default 6) and entry time-out (default 30 s), then read a PIN\n"
            "    in the clear, or enciphered under user key N with the 6 bytes of --block, in hexadecimal",
     vnr::tool::pin_command},
    {"contact", "contact status|atr|apdu HEX...|read ADDR LEN|write ADDR HEX [--slot N] [--password HEX] [--json]\n"
                "    a card in contact slot N (default 0): status prints the slot's state, atr powers the card up\n"
                "    and prints its answer to reset, apdu powers it up when it lies unpowered (a powered card's\n"
                "    session goes on) and sends each APDU (hexadecimal), printing the answer and its status word;\n"
                "    a card's 61xx is followed by GET RESPONSE and its 6Cxx by the APDU again with Le xx. read and\n"
                "    write identify a memory card, present --password when given, and read LEN bytes or write the\n"
                "    bytes given at ADDR",
     vnr::tool::contact_command},
    {"rf", "rf scan [--wait SECONDS] [--json]\n"
           "    switch the RF field on, wait for a contactless card and say what it is (identity card, CPU\n"
           "    card or Mifare-class card) with its identifier and ATS; --wait gives up after this many seconds",
     vnr::tool::rf_command},
    {"mifare", "mifare dump [--key HEX]... [--key-b] [--json]\n"
               "    read every block of a Mifare-class 1K card, each sector opened with the first given key\n"
               "    (6 bytes; default FFFFFFFFFFFF) that it takes; --key-b uses them as B keys",
     vnr::tool::mifare_command},
    {"ntag", "ntag read PAGE [--key HEX] | write PAGE HEX [--key HEX] | init --key HEX --text T\n"
             "    on an NTAG215 tag: read four pages from PAGE, write 4 bytes to PAGE (after authenticating\n"
             "    with the password --key), or initialise a delivered tag: new password --key, the text from\n"
             "    page 0x50 on (at most 192 bytes in GBK), then the lock bytes",
     vnr::tool::ntag_command},
    {"card-kind", "card-kind [--json]\n"
                  "    look for a card of any kind, in the library's order: a contact CPU card in slot 0, a card in\n"
                  "    the RF field (a contactless CPU card or an identity card), then a swiped stripe; print its kind\n"
                  "    and its ATR or ATS",
     vnr::tool::card_kind_command},
    {"des", "des enc|dec KEY HEX\n"
            "    encipher or decipher a message with the library's DES (8-byte key) or two-key triple DES (16-byte\n"
            "    key), block by block, a short last block filled with zeros; needs no reader",
     vnr::tool::des_command},
    {"doctor", "doctor [--baud N]\n"
               "    why the reader does not work and what to do: USB readers and who may open them (the udev rule,\n"
               "    the node's permissions and ACL), the serial ports, whether a reader answers, the photo decoder,\n"
               "    the fonts of card pictures, the GBK conversion and the log folder; one line a finding with its\n"
               "    fix; exit status 0 when all is well, 1 when something is in the way",
     vnr::tool::doctor_command},
    {"bank", "bank [--contactless] [--json] [--emv] [--full]\n"
             "    read a bank card's number and holder name (contact in slot 0, or --contactless in the field):\n"
             "    the number masked but its first and last four digits (--full: all of them), the name and the\n"
             "    library's message; --emv reads the card as a payment terminal does (vnr_emv) and prints the\n"
             "    expiry and the application too",
     vnr::tool::bank_command},
    {"statuses", "statuses [--json]\n"
                 "    every status code of the library with what it means",
     vnr::tool::statuses_command},
};

void usage(std::FILE* out) {
    std::fputs("usage: vnr VERB [options]\n\n", out);
    for (const Verb& verb : kVerbs) std::fprintf(out, "  vnr %s\n\n", verb.help);
    std::fputs(
        "Verbs that talk to a reader take --port USB|COMn and --baud N: USB searches USB readers only, COMn\n"
        "opens serial port n (1 to 32); without --port, USB is searched first and then COM1. --baud is the\n"
        "serial rate: 9600, 19200, 38400, 57600 or 115200 (default 115200).\n"
        "On Linux, COMn is $VNR32_PREFIX/dosdevices/comn when that exists (VNR32_PREFIX defaults to\n"
        "$HOME/.vnr32), else /dev/ttyS(n-1).\n",
        out);
}

}  // namespace

int main(int argc, char** argv) {
    vnr::tool::use_utf8_output();
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        usage(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const Verb& verb : kVerbs)
        if (std::strcmp(argv[1], verb.name) == 0) return verb.run(argc - 2, argv + 2);
    std::fprintf(stderr, "vnr: unknown command '%s'\n\n", argv[1]);
    usage(stderr);
    return 2;
}
