"""The Pythonic layer over the exported functions: a reader as a context manager, statuses as exceptions,
text as str (the library's GBK decoded), and one call for each job a script wants done."""
import ctypes
import dataclasses
import os
import sys
import tempfile
from ctypes import byref, c_uint8, c_uint16, c_uint32, create_string_buffer
from typing import Dict, List, Optional, Sequence, Tuple

from . import _library, _prototypes
from ._prototypes import CONSTANTS, PROTOTYPES
from ._statuses import STATUS_WORDS

ENCODING = "gbk"  # the library's text, in both directions


def meaning(status: int) -> str:
    """What a status means: the library's words for its own, the reader's status word for any other."""
    if status in STATUS_WORDS:
        return STATUS_WORDS[status]
    return f"the reader's status {(-status) & 0xFFFF:04X}"


class VnrError(Exception):
    """A call of the library that did not succeed: `function`, its `status` and what that `meaning` is."""

    def __init__(self, function: str, status: int, what: Optional[str] = None):
        self.function = function
        self.status = status
        self.meaning = what or meaning(status)
        super().__init__(f"{function}: {self.meaning} ({status})")


def _check(function: str, status: int) -> None:
    if status != CONSTANTS["VNR_OK"]:
        raise VnrError(function, status)


def _text(raw: bytes) -> str:
    """The library's GBK bytes, up to the first zero, as str."""
    return raw.split(b"\0", 1)[0].decode(ENCODING, errors="replace")


def _path(path: str) -> bytes:
    """A file path as the library takes it: native bytes on Linux (used as they stand), GBK on Windows."""
    path = os.path.abspath(path)
    return path.encode(ENCODING) if sys.platform == "win32" else os.fsencode(path)


def _bytes_in(data: bytes):
    return (c_uint8 * max(len(data), 1)).from_buffer_copy(data or b"\0")


@dataclasses.dataclass(frozen=True)
class IdCard:
    """An identity card as read: `foreign` tells a foreign permanent resident card from a resident one.
    `name` is the Chinese name (for a foreign card without one, the English name) and `id_number` the
    card's number; `fields` holds every field by the keys `vnr idcard --json` prints; `photo` is the path
    of the bitmap of the photo."""
    foreign: bool
    name: str
    sex: str
    birthday: str
    id_number: str
    valid_from: str
    valid_to: str
    photo: str
    fields: Dict[str, str]


_RESIDENT_KEYS = ("name", "sex", "nation", "birthday", "address", "id_number", "issuer", "valid_from", "valid_to",
                  "reserve", "fingerprint")
_FOREIGN_KEYS = ("english_name", "sex", "card_number", "country", "chinese_name", "valid_from", "valid_to",
                 "birthday", "card_version", "authority", "card_mark", "reserve", "fingerprint")


def _split_line(line: bytes) -> List[str]:
    """The fields of IDCard_ReadCard_Foreign's line: each ends in '|', which can also be the second byte of
    a double-byte GBK character, so the bytes are stepped through by character."""
    fields, field, i = [], bytearray(), 0
    while i < len(line):
        byte = line[i]
        if 0x81 <= byte <= 0xFE and i + 1 < len(line):
            field += line[i:i + 2]
            i += 2
            continue
        if byte == ord("|"):
            fields.append(field.decode(ENCODING, errors="replace"))
            field = bytearray()
        else:
            field.append(byte)
        i += 1
    return fields


@dataclasses.dataclass(frozen=True)
class Tracks:
    """The three tracks of a magnetic stripe, without their sentinels; "" for a track the card lacks."""
    track1: str
    track2: str
    track3: str


@dataclasses.dataclass(frozen=True)
class BankCard:
    """A bank card's number and its holder's name, as the card gives them."""
    number: str
    name: str


@dataclasses.dataclass(frozen=True)
class EmvCard:
    """What the complete EMV read found: the number, its expiry (YYMMDD or YYMM), the holder's name, the
    application read (its AID in hexadecimal and its label) and whether the number passes the Luhn check."""
    number: str
    expiry: str
    name: str
    aid: str
    label: str
    luhn_ok: bool


@dataclasses.dataclass(frozen=True)
class MifareDump:
    """Every block of a Mifare-class card: `blocks[n]` is block n's 16 bytes, or None where no given key
    opened its sector; `keys[s]` is the key that opened sector s, or None."""
    card_type: int
    uid: bytes
    blocks: List[Optional[bytes]]
    keys: List[Optional[bytes]]


class Reader:
    """A reader, opened on entering a `with` block (or by open()) and closed on leaving it (or by close()).

    port: None searches USB and then COM1, as device_open does; "USB" searches USB readers only; "COMn"
    opens serial port n at `baud` (on Linux $VNR32_PREFIX/dosdevices/comn, else /dev/ttyS(n-1))."""

    MIFARE_1K_SECTORS = 16
    _BLOCKS_PER_SECTOR = 4
    _DELIVERED_KEY = bytes(6 * [0xFF])

    def __init__(self, port: Optional[str] = None, baud: int = 115200):
        self.port = port
        self.baud = baud
        self.icdev = 0
        self.lib = _library.library()

    # ---- the session
    def open(self) -> "Reader":
        if self.icdev > 1:
            return self
        if self.port is None:
            handle = self.lib.device_open(0, self.baud)
        elif self.port.upper() == "USB":
            handle = self.lib.device_open_name(b"USB", 0, self.baud)
        elif self.port.upper().startswith("COM") and self.port[3:].isdigit() and 1 <= int(self.port[3:]) <= 32:
            handle = self.lib.device_open_name(b"COM", int(self.port[3:]) - 1, self.baud)
        else:
            raise ValueError(f"port {self.port!r}: USB or COM1 to COM32")
        if handle <= 1:
            raise VnrError("device_open", handle, "no reader answered" if handle >= 0 else None)
        self.icdev = handle
        return self

    def close(self) -> None:
        if self.icdev > 1:
            handle, self.icdev = self.icdev, 0
            _check("device_close", self.lib.device_close(handle))

    def __enter__(self) -> "Reader":
        return self.open()

    def __exit__(self, *exception) -> None:
        self.close()

    def _handle(self) -> int:
        if self.icdev <= 1:
            raise VnrError("device_open", CONSTANTS["VNR_E_BAD_HANDLE"], "the reader is not open")
        return self.icdev

    # ---- the reader
    def version(self, module: int = 0) -> str:
        """The version text of the reader (module 0) or of its contactless module (1)."""
        length, text = c_uint8(0), (c_uint8 * 100)()
        _check("device_version", self.lib.device_version(self._handle(), module, byref(length), text))
        return bytes(text[:length.value]).decode(ENCODING, errors="replace")

    # ---- identity cards
    def read_id_card(self, photo: Optional[str] = None, fingerprint: bool = False) -> IdCard:
        """Reads the identity card on the reader (resident or foreign permanent resident) and saves its photo
        as the bitmap `photo` (a path ending in .bmp; default: a new temporary folder's photo.bmp)."""
        if photo is None:
            photo = os.path.join(tempfile.mkdtemp(prefix="vnr32-"), "photo.bmp")
        photo = os.path.abspath(photo)
        foreign, line = c_uint32(0), create_string_buffer(3096)
        status = self.lib.IDCard_ReadCard_Foreign(self._handle(), _path(photo), byref(foreign), line,
                                                  1 if fingerprint else 0)
        _check("IDCard_ReadCard_Foreign", status)
        is_foreign = foreign.value == 1
        keys = _FOREIGN_KEYS if is_foreign else _RESIDENT_KEYS
        fields = dict(zip(keys, _split_line(line.value)))
        if is_foreign:
            name, number = fields.get("chinese_name") or fields.get("english_name", ""), fields.get("card_number", "")
        else:
            name, number = fields.get("name", ""), fields.get("id_number", "")
        return IdCard(foreign=is_foreign, name=name, sex=fields.get("sex", ""), birthday=fields.get("birthday", ""),
                      id_number=number, valid_from=fields.get("valid_from", ""), valid_to=fields.get("valid_to", ""),
                      photo=photo, fields=fields)

    # ---- bank cards
    def bank_card(self, contactless: bool = False) -> BankCard:
        """The card number and holder's name of the bank card in the contact slot (or in the RF field),
        read by iReadICCardNoAndName."""
        if "iReadICCardNoAndName" not in PROTOTYPES:
            raise NotImplementedError("this binding's header has no iReadICCardNoAndName")
        number, name, message = create_string_buffer(40), create_string_buffer(64), create_string_buffer(52)
        status = self.lib.iReadICCardNoAndName(self._handle(), 255 if contactless else 0, number, name, message)
        if status != 0:
            raise VnrError("iReadICCardNoAndName", status, _text(message.raw))
        # The first way gives the digits as tag 57 holds them, padding F included.
        digits = number.raw.split(b"\0", 1)[0].decode("ascii", errors="replace").rstrip("Ff")
        return BankCard(number=digits, name=_text(name.raw).strip())

    def read_emv(self, contactless: bool = False) -> EmvCard:
        """The complete EMV read of libvnr_emv (vnr_emv_read): number, expiry, name and the application."""
        lib, card_type = _library.emv_library(), getattr(_prototypes, "vnr_emv_card", None)
        if lib is None or card_type is None:
            raise NotImplementedError("libvnr_emv is not there")
        if lib.vnr_emv_card_size() != ctypes.sizeof(card_type):
            raise OSError("libvnr_emv's card record does not match this binding's header")
        card = card_type()
        result = lib.vnr_emv_read(self._handle(), 255 if contactless else 0, ctypes.byref(card))
        if result != 0:
            words = lib.vnr_emv_result_text(result).decode("ascii", errors="replace")
            raise VnrError("vnr_emv_read", result, f"{words}: {card.reason.decode('ascii', errors='replace')}")
        return EmvCard(number=card.pan.decode("ascii"), expiry=card.expiry.decode("ascii"),
                       name=card.holder_name.decode(ENCODING, errors="replace"), aid=card.aid.decode("ascii"),
                       label=card.label.decode("ascii", errors="replace"), luhn_ok=bool(card.luhn_ok))

    # ---- contactless cards
    def mifare_dump(self, keys: Sequence[bytes] = (_DELIVERED_KEY,), key_b: bool = False,
                    sectors: int = MIFARE_1K_SECTORS) -> MifareDump:
        """Every block of the Mifare-class card in the field, each sector opened with the first of `keys`
        (6 bytes each) that it takes, as key A (or key B)."""
        handle, lib = self._handle(), self.lib
        card_type, uid = c_uint8(0), (c_uint8 * 4)()
        _check("open_rf", lib.open_rf(handle))
        try:
            _check("rf_card", lib.rf_card(handle, 100, byref(card_type), uid))
            blocks: List[Optional[bytes]] = []
            opened: List[Optional[bytes]] = []
            for sector in range(sectors):
                key_used = None
                for key in keys:
                    if len(key) != 6:
                        raise ValueError("a Mifare key is 6 bytes")
                    if lib.rf_authentication(handle, 1 if key_b else 0, sector, _bytes_in(key)) == 0:
                        key_used = bytes(key)
                        break
                    # A card that refused a key has left the active state: wake it for the next try.
                    lib.rf_card(handle, 100, byref(card_type), uid)
                opened.append(key_used)
                for block in range(sector * self._BLOCKS_PER_SECTOR, (sector + 1) * self._BLOCKS_PER_SECTOR):
                    data = (c_uint8 * 16)()
                    read = key_used is not None and lib.rf_read(handle, block, data) == 0
                    blocks.append(bytes(data) if read else None)
            lib.rf_halt(handle, 0)
            return MifareDump(card_type=card_type.value, uid=bytes(uid), blocks=blocks, keys=opened)
        finally:
            lib.close_rf(handle)

    # ---- magnetic stripe
    def read_stripe(self, wait: int = 10) -> Tracks:
        """Waits up to `wait` seconds (0 to 255) for a swipe and gives its three tracks."""
        record = (c_uint8 * 771)()
        _check("magnetic_read", self.lib.magnetic_read(self._handle(), wait, record))
        raw = bytes(record)
        track = [raw[3 + 256 * i: 3 + 256 * i + raw[i]].decode("ascii", errors="replace") for i in range(3)]
        return Tracks(*track)

    # ---- PIN pad
    def read_pin(self, length: int = 6, timeout: int = 30) -> str:
        """Sets the PIN length (1 to 16) and the entry time-out (6 to 255 s), then reads a PIN in the clear."""
        handle = self._handle()
        _check("mw_kb_settimeout", self.lib.mw_kb_settimeout(handle, timeout))
        _check("mw_kb_setpasslen", self.lib.mw_kb_setpasslen(handle, length))
        pin = (c_uint8 * 50)()
        try:
            _check("mw_kb_getpin", self.lib.mw_kb_getpin(handle, 1, pin))
            return bytes(pin).split(b"\0", 1)[0].decode("ascii", errors="replace")
        finally:
            for i in range(len(pin)):  # the PIN stays in this process no longer than needed
                pin[i] = 0

    # ---- contact cards
    def atr(self, slot: int = 0, wait_ms: int = 500) -> bytes:
        """Powers the card in contact slot `slot` up and gives its answer to reset."""
        length, atr = c_uint8(0), (c_uint8 * 255)()
        _check("sam_slt_reset", self.lib.sam_slt_reset(self._handle(), wait_ms, slot, byref(length), atr))
        return bytes(atr[:length.value])

    def apdu(self, command: bytes, slot: int = 0) -> bytes:
        """Sends one APDU to the card in `slot` (0xFF: the activated contactless CPU card) and gives its
        answer, which ends with the card's two status bytes."""
        length, answer = c_uint32(0), (c_uint8 * 3073)()
        status = self.lib.card_APDU(self._handle(), slot, len(command), _bytes_in(command), byref(length), answer)
        _check("card_APDU", status)
        return bytes(answer[:length.value])

    def slot_state(self, slot: int = 0) -> int:
        """The state of contact slot `slot` as the reader reports it."""
        state = c_uint16(0)
        _check("sam_slt_getstate", self.lib.sam_slt_getstate(self._handle(), slot, byref(state)))
        return state.value


def statuses() -> List[Tuple[int, str]]:
    """Every status of the library with its words."""
    return sorted(STATUS_WORDS.items(), reverse=True)
