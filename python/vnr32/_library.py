"""Finding and loading the shared library, with the prototype of every exported function applied.

The library is looked for, in this order:
  1. the path in the environment variable VNR32_LIBRARY;
  2. beside this package (a copy shipped inside it: libvnr_32.so.1 or vnr_32.dll);
  3. the installed one, through the system's own search (the Debian package, ldconfig's folders,
     LD_LIBRARY_PATH; on Windows the DLL search path).
The bank card library libvnr_emv, where the tree has one, is looked for beside the library first
(VNR32_EMV_LIBRARY overrides).
"""
import ctypes
import ctypes.util
import os
import pathlib
import struct
import sys
import threading

from . import _prototypes

_HERE = pathlib.Path(__file__).resolve().parent
_WINDOWS = sys.platform == "win32"
# 32-bit Windows exports __stdcall functions; every other target the platform's C convention.
_LOADER = ctypes.WinDLL if _WINDOWS and struct.calcsize("P") == 4 else ctypes.CDLL


def _file_names(base, soname_version):
    if _WINDOWS:
        return [f"{base}.dll"]
    if sys.platform == "darwin":
        return [f"lib{base}.dylib"]
    return [f"lib{base}.so.{soname_version}", f"lib{base}.so"]


def _candidates(variable, base, soname_version, beside=None):
    given = os.environ.get(variable)
    if given:
        return [given]  # asked for: nothing else is tried
    names = _file_names(base, soname_version)
    found = [str(folder / name) for folder in filter(None, (beside, _HERE)) for name in names
             if (folder / name).exists()]
    found += names
    by_search = ctypes.util.find_library(base)
    if by_search:
        found.append(by_search)
    return found


def _load(candidates, prototypes, what, loader=None):
    errors = []
    for candidate in candidates:
        try:
            library = (loader or _LOADER)(candidate)
        except OSError as error:
            errors.append(f"{candidate}: {error}")
            continue
        for name, (result, arguments, _) in prototypes.items():
            function = getattr(library, name, None)
            if function is None:
                raise OSError(f"{candidate} has no function {name}: it does not match the binding's header")
            function.restype = result
            function.argtypes = arguments
        return library
    raise OSError(f"{what} not found (set VNR32_LIBRARY to its path): " + "; ".join(errors))


_lock = threading.Lock()
_libraries = {}


def library():
    """The loaded vnr_32 library; loaded on the first call."""
    with _lock:
        if "vnr_32" not in _libraries:
            _libraries["vnr_32"] = _load(_candidates("VNR32_LIBRARY", "vnr_32", 1), _prototypes.PROTOTYPES,
                                         "the vnr_32 library")
        return _libraries["vnr_32"]


def emv_library():
    """The bank card library libvnr_emv, or None when this tree has none or it is not installed."""
    if not _prototypes.EMV_PROTOTYPES:
        return None
    main = library()
    with _lock:
        if "vnr_emv" not in _libraries:
            beside = pathlib.Path(main._name).resolve().parent if os.sep in str(main._name) else None
            try:
                # Its functions are plain C on every target (cdecl on 32-bit Windows too).
                _libraries["vnr_emv"] = _load(_candidates("VNR32_EMV_LIBRARY", "vnr_emv", 1, beside),
                                              _prototypes.EMV_PROTOTYPES, "the vnr_emv library", ctypes.CDLL)
            except OSError:
                _libraries["vnr_emv"] = None
        return _libraries["vnr_emv"]
