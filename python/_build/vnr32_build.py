"""A minimal build backend for the pure-Python package vnr32 (PEP 517 and PEP 660), standard library only,
so that `pip install ./python` needs no setuptools from a package index: it zips vnr32/ into a wheel."""
import base64
import hashlib
import io
import pathlib
import tarfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
NAME = "vnr32"
VERSION = "1.0.0"
TAG = "py3-none-any"
DIST_INFO = f"{NAME}-{VERSION}.dist-info"


def _metadata():
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {VERSION}\n"
            "Summary: The vnr_32 smart-card reader library from Python (ctypes)\n"
            "Requires-Python: >=3.9\nDescription-Content-Type: text/markdown\n\n" + readme)


def _package_files():
    return sorted(p for p in (ROOT / NAME).rglob("*.py") if "__pycache__" not in p.parts)


def _write_wheel(directory, files):
    """files: {path in the wheel: bytes}. Adds the dist-info and RECORD; returns the wheel's file name."""
    files = dict(files)
    files[f"{DIST_INFO}/METADATA"] = _metadata().encode()
    files[f"{DIST_INFO}/WHEEL"] = f"Wheel-Version: 1.0\nGenerator: vnr32_build\nRoot-Is-Purelib: true\nTag: {TAG}\n".encode()
    files[f"{DIST_INFO}/top_level.txt"] = f"{NAME}\n".encode()
    record = []
    for path, data in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        record.append(f"{path},sha256={digest},{len(data)}")
    record.append(f"{DIST_INFO}/RECORD,,")
    files[f"{DIST_INFO}/RECORD"] = ("\n".join(record) + "\n").encode()
    name = f"{NAME}-{VERSION}-{TAG}.whl"
    with zipfile.ZipFile(pathlib.Path(directory) / name, "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, data in files.items():
            wheel.writestr(path, data)
    return name


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def get_requires_for_build_editable(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    return _write_wheel(wheel_directory, {str(p.relative_to(ROOT)): p.read_bytes() for p in _package_files()})


def build_editable(wheel_directory, config_settings=None, metadata_directory=None):
    # The source folder on the path instead of a copy.
    return _write_wheel(wheel_directory, {f"__editable__.{NAME}.pth": f"{ROOT}\n".encode()})


def build_sdist(sdist_directory, config_settings=None):
    base = f"{NAME}-{VERSION}"
    name = f"{base}.tar.gz"
    with tarfile.open(pathlib.Path(sdist_directory) / name, "w:gz") as sdist:
        for path in [ROOT / "pyproject.toml", ROOT / "README.md", *sorted((ROOT / "_build").glob("*.py")),
                     *_package_files()]:
            sdist.add(path, arcname=f"{base}/{path.relative_to(ROOT)}")
        info = f"{_metadata()}".encode()
        entry = tarfile.TarInfo(f"{base}/PKG-INFO")
        entry.size = len(info)
        sdist.addfile(entry, io.BytesIO(info))
    return name
