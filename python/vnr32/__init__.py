"""vnr32: the vnr_32 card reader library from Python, through ctypes (standard library only).

    import vnr32
    with vnr32.Reader("COM1") as reader:
        print(reader.version())
        card = reader.read_id_card("card.bmp")
        print(card.name, card.id_number, card.photo)

Reader.lib is the loaded library itself, with the prototype of every exported function applied, for the
functions that the Pythonic layer does not cover: reader.lib.device_beep(reader.icdev, 10, 1).
"""
from ._library import emv_library, library
from ._prototypes import CONSTANTS
from .reader import BankCard, EmvCard, IdCard, MifareDump, Reader, Tracks, VnrError, meaning, statuses

__all__ = ["BankCard", "CONSTANTS", "EmvCard", "IdCard", "MifareDump", "Reader", "Tracks", "VnrError", "emv_library", "library",
           "meaning", "statuses"]
__version__ = "1.0.0"
