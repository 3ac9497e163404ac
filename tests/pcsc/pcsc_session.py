#!/usr/bin/env python3
"""A PC/SC client (pyscard) on the simulated reader behind pcscd and the driver: contact and contactless
sessions, card events driven over the control socket, and a bank card read whose number must equal the one
given. Prints one "ok:" or "FAIL:" line per check; exits 1 when a check failed.
  pcsc_session.py --control SOCKET --contact-pan DIGITS --contactless-pan DIGITS [--pin-log FILE] [--long SECONDS]
"""
import argparse
import socket
import sys
import time

from smartcard.scard import (SCARD_E_TIMEOUT, SCARD_PROTOCOL_T0, SCARD_PROTOCOL_T1, SCARD_S_SUCCESS,
                             SCARD_SCOPE_USER, SCARD_STATE_PRESENT, SCARD_STATE_UNAWARE, SCardEstablishContext,
                             SCardGetStatusChange, SCardReleaseContext)
from smartcard.System import readers

failures = 0


def check(what, good, detail=""):
    global failures
    print(("ok: " if good else "FAIL: ") + what + (f" ({detail})" if detail and not good else ""), flush=True)
    failures += 0 if good else 1


def control(path, line):
    with socket.socket(socket.AF_UNIX) as s:
        s.connect(path)
        s.sendall(line.encode() + b"\n")
        answer = s.recv(4096).decode()
    if not answer.startswith("ok"):
        raise RuntimeError(f"control {line!r}: {answer.strip()}")


def send(connection, apdu):
    """The whole answer of one command: 61xx fetched by GET RESPONSE, 6Cxx sent again with that length."""
    data, sw1, sw2 = connection.transmit(list(apdu))
    for _ in range(64):
        if sw1 == 0x61:
            more, sw1, sw2 = connection.transmit([0x00, 0xC0, 0x00, 0x00, sw2])
            data += more
        elif sw1 == 0x6C:
            data, sw1, sw2 = connection.transmit(list(apdu[:4]) + [sw2])
        else:
            break
    return bytes(data), (sw1 << 8) | sw2


def tlv(data):
    """(tag, value) pairs of BER-TLV data, constructed tags walked into as well."""
    i = 0
    while i < len(data):
        if data[i] in (0x00, 0xFF):
            i += 1
            continue
        tag = data[i]
        constructed = tag & 0x20
        i += 1
        if tag & 0x1F == 0x1F:
            while i < len(data) and data[i] & 0x80:
                tag, i = tag << 8 | data[i], i + 1
            tag, i = tag << 8 | data[i], i + 1
        length = data[i]
        i += 1
        if length & 0x80:
            count = length & 0x7F
            length, i = int.from_bytes(data[i:i + count], "big"), i + count
        value = data[i:i + length]
        i += length
        yield tag, value
        if constructed:
            yield from tlv(value)


def first(data, wanted):
    return next((value for tag, value in tlv(data) if tag == wanted), None)


def select(connection, name):
    return send(connection, [0x00, 0xA4, 0x04, 0x00, len(name)] + list(name) + [0x00])


def card_number(connection, contactless):
    """Directory, application, GPO with a zero-filled PDOL, then the records of the AFL: 5A, else 57."""
    fci, sw = select(connection, b"2PAY.SYS.DDF01" if contactless else b"1PAY.SYS.DDF01")
    if sw != 0x9000:
        raise RuntimeError(f"directory: SW {sw:04X}")
    aid = first(fci, 0x4F)
    sfi = first(fci, 0x88)
    if aid is None and sfi is not None:
        for record in range(1, 10):
            entry, sw = send(connection, [0x00, 0xB2, record, sfi[0] << 3 | 4, 0x00])
            if sw != 0x9000:
                break
            aid = aid or first(entry, 0x4F)
    fci, sw = select(connection, aid)
    if sw != 0x9000:
        raise RuntimeError(f"application {aid.hex()}: SW {sw:04X}")
    pdol, wanted = first(fci, 0x9F38) or b"", 0
    i = 0
    while i < len(pdol):  # tag (one or two bytes) then a one-byte length
        i += 2 if pdol[i] & 0x1F == 0x1F else 1
        wanted += pdol[i]
        i += 1
    answer, sw = send(connection, [0x80, 0xA8, 0x00, 0x00, wanted + 2, 0x83, wanted] + [0] * wanted + [0x00])
    if sw != 0x9000:
        raise RuntimeError(f"GPO: SW {sw:04X}")
    found = {tag: value for tag, value in tlv(answer) if tag in (0x5A, 0x57)}
    afl = answer[4:] if answer[0] == 0x80 else first(answer, 0x94) or b""
    for at in range(0, len(afl) - 3, 4):
        for record in range(afl[at + 1], afl[at + 2] + 1):
            data, sw = send(connection, [0x00, 0xB2, record, afl[at] | 4, 0x00])
            found.update({tag: value for tag, value in tlv(data) if tag in (0x5A, 0x57) and tag not in found})
    if 0x5A in found:
        return found[0x5A].hex().upper().rstrip("F")
    if 0x57 in found:
        return found[0x57].hex().upper().split("D")[0]
    raise RuntimeError("no card number")


class Events:
    """Card events of one reader, as SCardGetStatusChange reports them."""

    def __init__(self):
        _, self.context = SCardEstablishContext(SCARD_SCOPE_USER)
        self.states = {}

    def present(self, reader):
        rv, states = SCardGetStatusChange(self.context, 0, [(reader, SCARD_STATE_UNAWARE)])
        self.states[reader] = states[0][1]
        return bool(states[0][1] & SCARD_STATE_PRESENT)

    def wait(self, reader, present, timeout_s=10):
        deadline = time.monotonic() + timeout_s
        while time.monotonic() < deadline:
            state = self.states.get(reader, SCARD_STATE_UNAWARE)
            rv, states = SCardGetStatusChange(self.context, 1000, [(reader, state)])
            if rv == SCARD_S_SUCCESS:
                self.states[reader] = states[0][1] & ~0x2  # drop SCARD_STATE_CHANGED
            elif rv != SCARD_E_TIMEOUT:
                return False
            if bool(self.states[reader] & SCARD_STATE_PRESENT) == present:
                return True
        return False

    def close(self):
        SCardReleaseContext(self.context)


def check_card_number(connection, contactless, wanted):
    what = ("contactless" if contactless else "contact") + " bank card: the card number equals vnr bank --emv's"
    try:
        number = card_number(connection, contactless)
        check(what, number == wanted, f"{number} != {wanted}")
    except RuntimeError as error:
        check(what, False, str(error))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--control", required=True)
    parser.add_argument("--contact-pan", required=True)
    parser.add_argument("--contactless-pan", required=True)
    parser.add_argument("--pin-log")
    parser.add_argument("--long", type=float, default=0)
    args = parser.parse_args()

    names = [str(r) for r in readers()]
    contact, sam, field = (next((r for r in readers() if str(r).endswith(slot)), None)
                           for slot in (" 00 00", " 00 01", " 00 05"))
    check("pyscard lists the contact, SAM and field slots", None not in (contact, sam, field), ", ".join(names))
    if None in (contact, sam, field):
        return 1
    events = Events()

    if args.long:
        cycles, seen = 0, 0
        end = time.monotonic() + args.long
        while time.monotonic() < end:
            for line, present in (("contact remove 0", False), ("contact insert 0 bank", True)):
                control(args.control, line)
                seen += events.wait(str(contact), present)
                time.sleep(2)
                cycles += 1
        check(f"long run: {cycles} insertions and removals seen", seen == cycles, f"{seen} of {cycles}")
        events.close()
        return 1 if failures else 0

    connection = contact.createConnection()
    connection.connect(SCARD_PROTOCOL_T0)
    fci, sw = select(connection, b"1PAY.SYS.DDF01")
    check("contact card: SELECT of the directory, its 61xx followed by GET RESPONSE", sw == 0x9000 and fci[:1] == b"\x6F",
          f"{sw:04X} {fci.hex()}")
    rounds, start = 50, time.monotonic()
    for _ in range(rounds):
        connection.transmit([0x00, 0xA4, 0x04, 0x00, 0x0E] + list(b"1PAY.SYS.DDF01"))
    print(f"info: APDU round trip through pcscd: {(time.monotonic() - start) * 1000 / rounds:.2f} ms", flush=True)
    check_card_number(connection, False, args.contact_pan)
    connection.disconnect()

    sam_connection = sam.createConnection()
    sam_connection.connect(SCARD_PROTOCOL_T0)
    send(sam_connection, [0x00, 0xA4, 0x00, 0x00, 0x02, 0x00, 0x15])
    data, sw = send(sam_connection, [0x00, 0xB0, 0x00, 0x00, 0x08])
    check("SAM slot: READ BINARY", sw == 0x9000 and data == b"SAM-0001", f"{sw:04X} {data!r}")
    if args.pin_log:
        send(sam_connection, [0x00, 0x20, 0x00, 0x01, 0x04, 0x13, 0x57, 0x92, 0x46])
    sam_connection.disconnect()

    control(args.control, "contact remove 0")
    check("removal from the contact slot is seen", events.wait(str(contact), False))
    control(args.control, "contact insert 0 bank")
    check("insertion into the contact slot is seen", events.wait(str(contact), True))

    check("the field starts empty", not events.present(str(field)))
    control(args.control, "contactless put pay")
    check("a card put into the field is seen", events.wait(str(field), True))
    connection = field.createConnection()
    connection.connect(SCARD_PROTOCOL_T1)
    atr = bytes(connection.getATR())
    check("contactless card: ATR 3B 8n 80 01 from its ATS", atr == bytes.fromhex("3B80800101"), atr.hex())
    check_card_number(connection, True, args.contactless_pan)
    connection.disconnect()
    control(args.control, "contactless take pay")
    check("a card taken from the field is seen", events.wait(str(field), False))
    events.close()

    if args.pin_log:
        time.sleep(0.5)
        with open(args.pin_log, errors="replace") as log:
            text = log.read()
        check("the driver's log keeps the PIN of a VERIFY out", "00 20 00 01" in text and "13579246" not in text
              and "13 57 92 46" not in text)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
