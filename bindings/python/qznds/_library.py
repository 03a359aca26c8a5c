"""Locating and loading the qz_nds shared library, with a prototype for every export."""

from __future__ import annotations

import ctypes
import os
import sys
import threading
from ctypes import (
    CFUNCTYPE,
    POINTER,
    Structure,
    c_bool,
    c_char,
    c_char_p,
    c_int,
    c_int32,
    c_uint,
    c_uint8,
    c_uint16,
    c_uint32,
    c_void_p,
)
from pathlib import Path
from typing import Any, Optional, Sequence

if sys.platform == "win32":
    LIBRARY_NAME = "qz_net_dev_setting.dll"
    _DEPENDENCIES: tuple[str, ...] = ()  # found through os.add_dll_directory
else:
    LIBRARY_NAME = "libqz_net_dev_setting.so"
    # Loaded first from the library's own folder, so their sonames resolve there.
    _DEPENDENCIES = ("libqz_common.so", "libqz_log.so", "libqz_net.so")


def _file_names(name: str) -> tuple[str, ...]:
    """The names a library goes by: on Linux its soname (all a runtime package installs)
    before the development name."""
    return (name,) if sys.platform == "win32" else (name + ".0", name)


ENV_LIBRARY = "QZNDS_LIBRARY"

_H = c_void_p  # session handle
_TEXT = c_char_p  # NUL-terminated text in, or a byte buffer in or out
_U8, _U16, _U32, _I32 = c_uint8, c_uint16, c_uint32, c_int32
_PU8, _PU16, _PU32 = POINTER(c_uint8), POINTER(c_uint16), POINTER(c_uint32)

_SWITCHES = ("hdmi", "onvif", "len_pos", "detect_sun", "rotate180", "radar", "auto_change_meas", "auto_focus")
_U8_CACHED = ("ps_link_count", "ad_link_count", "visual_link_count", "ptz_link_count", "framerate")
_U8_QUERIED = (
    "visual_zoom_control_flag",
    "visual_gotopreset_when_start",
    "mqtt_work",
    "hardware_watchdog_disable_time",
    "disable_temperature_correct_status",
    "vision_maxtemperature",
    "all_temperature_network_byte_order",
    "hikvision_linkage",
    "pg_support",
)
_TEXT_SETTINGS = ("visual_ip", "visual_user", "visual_passwd", "mqtt_ip", "mqtt_user", "mqtt_passwd")


def _prototypes() -> dict[str, tuple[Any, ...]]:
    """Argument types of every export, by name without the `qz_nds_` prefix."""
    protos: dict[str, tuple[Any, ...]] = {
        "init": (POINTER(c_void_p),),
        "uninit": (POINTER(c_void_p),),
        "connect": (_H, _TEXT),
        "disconnect": (_H,),
        "get_machine_config_info": (_H,),
        "get_machine_info": (_H, _PU16, _PU16, _TEXT, _TEXT, _TEXT, _TEXT),
        "set_ip_info": (_H, _U8, _TEXT, _TEXT, _TEXT, _TEXT, _TEXT),
        "get_ip_info": (_H, _PU8, _TEXT, _TEXT, _TEXT, _TEXT, _TEXT),
        "get_sn": (_H, _TEXT, _PU32),
        "set_account_info": (_H, _TEXT, _U32),
        "get_account_info": (_H, _TEXT, _PU32),
        "set_passive_wireless_power_status": (_H, _PU32, _PU32, _PU32),
        "get_passive_wireless_power_status": (_H, _PU32, _PU32, _PU32),
        "set_passive_wireless_domain": (_H, _TEXT, _U32),
        "get_passive_wireless_domain": (_H, _TEXT, _PU32),
        "set_visual_sn": (_H, _U8, _U8, _TEXT, _U32),
        "set_mqtt_port": (_H, _U32),
        "get_mqtt_port": (_H, _PU32),
        "28181_set_para": (_H, _U8, _TEXT, _U16, _TEXT, _TEXT, _TEXT),
        "28181_get_para": (_H, _PU8, _TEXT, _PU16, _TEXT, _TEXT, _TEXT),
        "display_center_rectangle": (_H,),
        "hide_center_rectangle": (_H,),
        "is_display_center_rectangle": (_H, _PU8),
        "set_default_palette": (_H, _I32),
        "get_default_palette": (_H, _PU32),
        "set_len_adjust_method": (_H, _I32),
        "get_len_adjust_method": (_H, _PU32),
        "set_system_time": (_H, _TEXT),
        "enable_hardware_watchdog": (_H,),
        "disable_hardware_watchdog": (_H,),
        "is_enable_hardware_watchdog": (_H, _PU8),
        "enable_hardware_watchdog_disable": (_H,),
        "disable_hardware_watchdog_disable": (_H,),
        "isenable_hardware_watchdog_disable": (_H, _PU8),
        "set_osd_setting": (_H, _I32, _U8, _U8, _U16, _U16),
        "get_osd_setting": (_H, _I32, _PU8, _PU8, _PU16, _PU16),
        "osd_set_channel_name": (_H, _U8, _TEXT, _U8, _U8, _U16, _U16),
        "osd_get_channel_info": (_H, _TEXT, _PU8, _PU8, _PU16, _PU16),
        "osd_restore_config": (_H,),
        "reboot": (_H,),
        "keep_alive": (_H,),
    }
    for name in _SWITCHES:
        protos[f"enable_{name}"] = (_H,)
        protos[f"disable_{name}"] = (_H,)
        protos[f"is_enabled_{name}"] = (_H, _PU8)
    for name in _U8_CACHED + _U8_QUERIED:
        protos[f"set_{name}"] = (_H, _U8)
        protos[f"get_{name}"] = (_H, _PU8)
    for name in _TEXT_SETTINGS:
        protos[f"set_{name}"] = (_H, _TEXT)
        protos[f"get_{name}"] = (_H, _TEXT, _PU32)
    return protos


PROTOTYPES = _prototypes()


class ErrorRecord(Structure):
    """qz_ndsx_error: the outcome of a thread's last call."""

    _fields_ = [
        ("kind", c_int),
        ("response_code", c_int),
        ("main_command", c_int),
        ("sub_command", c_int),
        ("address", c_char * 256),
    ]


# void (*)(int level, const char *module, const char *function, const char *text, void *user)
LOG_CALLBACK = CFUNCTYPE(None, c_int, c_char_p, c_char_p, c_char_p, c_void_p)

# The qz_ndsx_ extensions (qz_nds_ext.h, qz_nds_config.h), by name without the prefix:
# (result type, argument types). Texts the library allocates come back as c_void_p, so
# that they can be handed to qz_ndsx_free.
EXT_PROTOTYPES: dict[str, tuple[Any, tuple[Any, ...]]] = {
    "is_connected": (c_bool, (_H, POINTER(c_bool))),
    "last_error": (c_bool, (_H, POINTER(ErrorRecord))),
    "strerror": (c_char_p, (c_int,)),
    "version": (c_char_p, ()),
    "set_log_callback": (c_bool, (LOG_CALLBACK, c_void_p)),
    "settings_catalogue": (c_char_p, ()),
    "config_schema": (c_char_p, ()),
    "get_setting": (c_bool, (_H, _TEXT, POINTER(c_void_p))),
    "export_config": (c_bool, (_H, c_uint, POINTER(c_void_p))),
    "apply_config": (c_bool, (_H, _TEXT, c_uint, POINTER(c_void_p))),
    "check_config": (c_bool, (_TEXT, POINTER(c_void_p))),
    "free": (None, (c_void_p,)),
}


class LibraryNotFoundError(OSError):
    """The qz_nds shared library could not be found or loaded."""


def candidate_paths() -> list[str]:
    """Where the library is looked for, in order: $QZNDS_LIBRARY, beside the package, the system."""
    explicit = os.environ.get(ENV_LIBRARY)
    if explicit:
        return [explicit]
    here = Path(__file__).resolve().parent
    names = _file_names(LIBRARY_NAME)
    return [str(here / name) for name in names if (here / name).exists()] + list(names)


def _load_from(path: str) -> ctypes.CDLL:
    folder = Path(path).parent if os.sep in path or (os.altsep and os.altsep in path) else None
    if folder is not None:
        if sys.platform == "win32":
            os.add_dll_directory(str(folder))
        for dependency in _DEPENDENCIES:
            found = next((folder / n for n in _file_names(dependency) if (folder / n).exists()), None)
            if found is not None:
                ctypes.CDLL(str(found))
    return ctypes.CDLL(path)


def bind(lib: ctypes.CDLL) -> ctypes.CDLL:
    """Declares every export's prototype on `lib`: the qz_nds_ ones return a success flag."""
    exports = [("qz_nds_" + name, c_bool, argtypes) for name, argtypes in PROTOTYPES.items()]
    exports += [("qz_ndsx_" + name, restype, argtypes) for name, (restype, argtypes) in EXT_PROTOTYPES.items()]
    for name, restype, argtypes in exports:
        fn = getattr(lib, name)
        fn.argtypes = list(argtypes)
        fn.restype = restype
    return lib


_lock = threading.Lock()
_loaded: Optional[ctypes.CDLL] = None


def load(paths: Optional[Sequence[str]] = None) -> ctypes.CDLL:
    """Loads and binds the library once per process (later calls reuse it)."""
    global _loaded
    with _lock:
        if _loaded is not None and paths is None:
            return _loaded
        errors = []
        for path in paths if paths is not None else candidate_paths():
            try:
                lib = bind(_load_from(path))
            except (OSError, AttributeError) as exc:
                errors.append(f"{path}: {exc}")
                continue
            if paths is None:
                _loaded = lib
            return lib
        raise LibraryNotFoundError(
            f"cannot load {LIBRARY_NAME} (set {ENV_LIBRARY} to its full path): " + "; ".join(errors)
        )


def take_text(lib: ctypes.CDLL, text: c_void_p) -> Optional[str]:
    """A text the library allocated, decoded and released (None for a null pointer)."""
    if not text.value:
        return None
    try:
        return ctypes.string_at(text.value).decode("utf-8")
    finally:
        lib.qz_ndsx_free(text)


def library_version() -> str:
    """The loaded library's version, "MAJOR.MINOR.PATCH" (loads the library if needed)."""
    return load().qz_ndsx_version().decode("ascii")
