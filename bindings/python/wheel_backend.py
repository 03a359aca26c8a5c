"""The binding's build backend: packs qznds/ into a wheel with the standard library alone.

pip needs nothing else to build it, with or without build isolation and without a
package index, whatever Python 3 runs it. Shared libraries copied into qznds/ before
the build go into the wheel, which then carries this platform's tag.
"""

from __future__ import annotations

import base64
import hashlib
import io
import re
import sysconfig
import tarfile
import zipfile
from pathlib import Path
from typing import Optional

NAME = "qznds"
SUMMARY = "Python binding of the qz_nds SDK for networked infrared cameras (ctypes, no compiled extension)"
REQUIRES_PYTHON = ">=3.9"
HERE = Path(__file__).resolve().parent
PACKAGE = HERE / NAME
LIBRARY_PATTERNS = ("*.so", "*.so.*", "*.dll")
SDIST_FILES = ("pyproject.toml", "wheel_backend.py")


def _version() -> str:
    found = re.search(r'^__version__ = "([^"]+)"', (PACKAGE / "__init__.py").read_text(), re.M)
    if found is None:
        raise RuntimeError(f"no __version__ in {PACKAGE / '__init__.py'}")
    return found.group(1)


def _package_files() -> list[Path]:
    sources = [p for p in PACKAGE.rglob("*.py") if "__pycache__" not in p.parts] + [PACKAGE / "py.typed"]
    return sorted(sources) + _libraries()


def _libraries() -> list[Path]:
    return sorted({p for pattern in LIBRARY_PATTERNS for p in PACKAGE.glob(pattern) if p.is_file()})


def _tag() -> str:
    """py3-none-any, or py3-none-PLATFORM when shared libraries go in."""
    if not _libraries():
        return "py3-none-any"
    return "py3-none-" + re.sub(r"[^A-Za-z0-9]", "_", sysconfig.get_platform())


def _metadata() -> str:
    return (
        f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {_version()}\nSummary: {SUMMARY}\nLicense: MIT\n"
        f"Requires-Python: {REQUIRES_PYTHON}\nClassifier: Programming Language :: Python :: 3\n"
    )


def _record_line(name: str, data: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode("ascii")
    return f"{name},sha256={digest},{len(data)}"


def build_wheel(
    wheel_directory: str, config_settings: Optional[dict] = None, metadata_directory: Optional[str] = None
) -> str:
    tag, info = _tag(), f"{NAME}-{_version()}.dist-info"
    wheel = f"Wheel-Version: 1.0\nGenerator: wheel_backend\nRoot-Is-Purelib: {str(tag.endswith('-any')).lower()}\n"
    members = [(f"{NAME}/{p.relative_to(PACKAGE).as_posix()}", p.read_bytes()) for p in _package_files()]
    members += [(f"{info}/METADATA", _metadata().encode()), (f"{info}/WHEEL", f"{wheel}Tag: {tag}\n".encode())]
    record = "".join(_record_line(name, data) + "\n" for name, data in members) + f"{info}/RECORD,,\n"
    wheel_name = f"{NAME}-{_version()}-{tag}.whl"
    with zipfile.ZipFile(Path(wheel_directory) / wheel_name, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, data in members + [(f"{info}/RECORD", record.encode())]:
            entry = zipfile.ZipInfo(name, date_time=(2020, 1, 1, 0, 0, 0))
            entry.external_attr, entry.compress_type = 0o644 << 16, zipfile.ZIP_DEFLATED
            archive.writestr(entry, data)
    return wheel_name


def build_sdist(sdist_directory: str, config_settings: Optional[dict] = None) -> str:
    root = f"{NAME}-{_version()}"
    files = [HERE / name for name in SDIST_FILES] + [p for p in _package_files() if p not in _libraries()]
    with tarfile.open(Path(sdist_directory) / f"{root}.tar.gz", "w:gz") as sdist:
        for path in files:
            sdist.add(path, f"{root}/{path.relative_to(HERE).as_posix()}")
        info = tarfile.TarInfo(f"{root}/PKG-INFO")
        data = _metadata().encode()
        info.size = len(data)
        sdist.addfile(info, io.BytesIO(data))
    return f"{root}.tar.gz"
