"""The Python binding against the simulated reader: vnr-sim serves decks/reader.json as COM1 and decks/cards.json
(a Mifare card in the field) as COM2 below a scratch VNR32_PREFIX.

    VNR32_LIBRARY=build/src/libvnr_32.so.1 VNR32_SIM=build/sim/vnr-sim python3 -m unittest discover -s python/tests
Without the variables the tree's build/ is used. Standard library only."""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
DECKS = pathlib.Path(os.environ.get("VNR32_DECKS", TOP / "decks"))
SIM = os.environ.get("VNR32_SIM", str(TOP / "build" / "sim" / "vnr-sim"))
os.environ.setdefault("VNR32_LIBRARY", str(TOP / "build" / "src" / "libvnr_32.so.1"))
if not any((pathlib.Path(p) / "vnr32").is_dir() for p in sys.path[1:]):  # not installed: the source tree's
    sys.path.insert(0, str(TOP / "python"))

import vnr32  # noqa: E402
from vnr32._prototypes import CONSTANTS, PROTOTYPES  # noqa: E402
from vnr32._statuses import STATUS_WORDS  # noqa: E402

MIFARE_KEY_A = bytes.fromhex("A0A1A2A3A4A5")
_prefix = None
_sims = []


def _serve(deck, port):
    ready = pathlib.Path(_prefix) / f"sim{port}.ready"
    sim = subprocess.Popen([SIM, "--deck", str(deck), "--port", str(port), "--ready-file", str(ready)],
                           stdout=subprocess.DEVNULL)
    _sims.append(sim)
    for _ in range(200):
        if ready.exists() and ready.stat().st_size > 0:
            return
        time.sleep(0.05)
    raise RuntimeError(f"vnr-sim did not come up on COM{port}")


def setUpModule():
    global _prefix
    _prefix = tempfile.mkdtemp(prefix="vnr32-python-")
    os.environ["VNR32_PREFIX"] = _prefix
    cards = json.loads((DECKS / "cards.json").read_text(encoding="utf-8"))
    cards["contactless"]["in_field"] = ["wallet"]
    (pathlib.Path(_prefix) / "cards.json").write_text(json.dumps(cards), encoding="utf-8")
    _serve(DECKS / "reader.json", 1)
    _serve(pathlib.Path(_prefix) / "cards.json", 2)


def tearDownModule():
    for sim in _sims:
        sim.terminate()
        sim.wait(10)
    shutil.rmtree(_prefix, ignore_errors=True)


class Binding(unittest.TestCase):
    def test_every_export_has_its_prototype_and_the_library_has_every_prototype(self):
        exports = TOP / "src" / "exports.list"
        if exports.exists():
            names = {line.strip() for line in exports.read_text().splitlines()
                     if line.strip() and not line.startswith("#")}
            self.assertEqual(names, set(PROTOTYPES))
        vnr32.library()  # refuses a library that lacks one of them

    def test_every_status_of_the_header_has_words(self):
        codes = {value for name, value in CONSTANTS.items() if name.startswith("VNR_E_") or name == "VNR_OK"}
        self.assertEqual(sorted(codes - set(STATUS_WORDS)), [])

    def test_a_port_without_a_reader_raises_with_the_status_and_its_meaning(self):
        with self.assertRaises(vnr32.VnrError) as raised:
            vnr32.Reader("COM9").open()
        self.assertLess(raised.exception.status, 0)
        self.assertEqual(raised.exception.meaning, vnr32.meaning(raised.exception.status))
        self.assertEqual(vnr32.meaning(-4097), "the reader's status 1001")


class DemoReader(unittest.TestCase):
    deck = json.loads((DECKS / "reader.json").read_text(encoding="utf-8"))

    def setUp(self):
        self.reader = vnr32.Reader("COM1").open()
        self.addCleanup(self.reader.close)

    def test_version_texts(self):
        self.assertEqual(self.reader.version(0), self.deck["reader_version"])
        self.assertEqual(self.reader.version(1), self.deck["contactless_version"])
        with self.assertRaises(vnr32.VnrError) as raised:
            self.reader.version(2)
        self.assertEqual(raised.exception.status, CONSTANTS["VNR_E_BAD_ARGUMENT"])

    def test_identity_card_fields_decoded_and_photo_saved(self):
        folder = tempfile.mkdtemp(prefix="vnr32-photo-")
        self.addCleanup(shutil.rmtree, folder, True)
        card = self.reader.read_id_card(os.path.join(folder, "照片.bmp"))
        resident = self.deck["idcard"]["resident"]
        self.assertFalse(card.foreign)
        self.assertEqual((card.name, card.id_number, card.fields["address"]),
                         (resident["name"], resident["id_number"], resident["address"]))
        with open(card.photo, "rb") as photo:
            self.assertEqual(photo.read(2), b"BM")

    def test_stripe_and_pin_from_the_pad(self):
        swipe = self.deck["stripe"]["swipes"][0]["tracks"]
        self.assertEqual(self.reader.read_stripe(wait=5), vnr32.Tracks(*swipe))
        self.assertEqual(self.reader.read_pin(length=6, timeout=10), self.deck["pinpad"]["entries"][0]["pin"])


class CardsReader(unittest.TestCase):
    deck = json.loads((DECKS / "cards.json").read_text(encoding="utf-8"))

    def setUp(self):
        self.reader = vnr32.Reader("COM2").open()
        self.addCleanup(self.reader.close)

    def test_contact_card_atr_and_apdu(self):
        bank = self.deck["contact"]["cards"]["bank"]
        self.assertEqual(self.reader.atr(0), bytes.fromhex(bank["atr"]))
        answer = self.reader.apdu(bytes.fromhex("00A404000E315041592E5359532E4444463031"))
        self.assertEqual(answer[-2], 0x61)  # this card answers through GET RESPONSE
        self.assertEqual(self.reader.apdu(bytes.fromhex("00C00000") + answer[-1:])[-2:], b"\x90\x00")

    def test_mifare_dump_opens_each_sector_with_the_key_it_takes(self):
        dump = self.reader.mifare_dump(keys=[MIFARE_KEY_A, bytes(6 * [0xFF])])
        self.assertEqual(dump.uid, bytes.fromhex("5A2B3C4D"))
        self.assertEqual(dump.keys[:3], [bytes(6 * [0xFF]), MIFARE_KEY_A, bytes(6 * [0xFF])])
        self.assertEqual(dump.blocks[4], b"SAMPLE WALLET 01")
        self.assertEqual(len(dump.blocks), 64)


if __name__ == "__main__":
    unittest.main()
