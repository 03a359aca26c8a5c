"""The library's settings catalogue and the JSON Schema of configuration documents.

    for setting in qznds.settings_catalogue():
        print(setting["name"], setting["form"], setting["source"])

Each entry describes one setting: name, family, help, type and form, the range
(min/max) or length (max_length), the members of a setting with several values
(fields), whether it can be read (readable), where a read comes from (source:
"cached" in the session's configuration record, "queried" from the device, or
"write_only") and whether it is a secret. A configuration document is
{"version": 1, "device": {...}, "settings": {NAME: VALUE, ...}}, as
`Device.export_config()` gives it and `Device.apply_config()` takes it, whole or
in part; `config_schema()` describes it.
"""

from __future__ import annotations

import copy
import ctypes
import functools
import json
from typing import Any, Optional

from ._library import load, take_text


@functools.lru_cache(maxsize=None)
def _parsed(lib: ctypes.CDLL, export: str) -> Any:
    return json.loads(getattr(lib, export)().decode("utf-8"))


def settings_catalogue(library: Optional[ctypes.CDLL] = None) -> list[dict[str, Any]]:
    """Every setting the library (`library`, else the one `load()` finds) can read or
    write, in the order documents list them."""
    return copy.deepcopy(_parsed(library if library is not None else load(), "qz_ndsx_settings_catalogue"))


def config_schema(library: Optional[ctypes.CDLL] = None) -> dict[str, Any]:
    """The JSON Schema (draft 2020-12) of a configuration document."""
    return copy.deepcopy(_parsed(library if library is not None else load(), "qz_ndsx_config_schema"))


def check_config(document: dict[str, Any], library: Optional[ctypes.CDLL] = None) -> dict[str, Any]:
    """Checks a document as apply does before it sends anything, with no camera:
    the report's "ok" says whether it can be applied, its "error" names every problem."""
    lib = library if library is not None else load()
    out = ctypes.c_void_p()
    lib.qz_ndsx_check_config(json.dumps(document, allow_nan=False).encode("utf-8"), ctypes.byref(out))
    text = take_text(lib, out)
    return json.loads(text) if text is not None else {"ok": False, "error": {"message": "no report"}}


@functools.lru_cache(maxsize=None)
def readable_settings(library: ctypes.CDLL) -> frozenset[str]:
    """The names `Device.get_setting()` takes."""
    return frozenset(s["name"] for s in _parsed(library, "qz_ndsx_settings_catalogue") if s["readable"])
