"""Python binding of the qz_nds SDK: configure networked infrared cameras over TCP.

    import qznds
    with qznds.Device("192.0.2.10") as dev:
        config = dev.read_config()
        dev.framerate = 25          # DeviceRefused if the device refuses it
        document = dev.export_config()                # every setting as one JSON document
        report = dev.apply_config({"settings": {"framerate": 30}})

`settings_catalogue()` lists the settings those documents hold.

The shared library is taken from $QZNDS_LIBRARY (full path), from beside this
package, or from the system's library path.
"""

from . import records
from ._library import LIBRARY_NAME, LibraryNotFoundError, library_version, load
from .config import check_config, config_schema, settings_catalogue
from .device import SYSTEM_TIME_SIZE, Device, system_time_block
from .errors import (
    DeviceAnswerError,
    DeviceArgumentError,
    DeviceConnectionLost,
    DeviceError,
    DeviceRefused,
    DeviceTimeout,
    DeviceUnreachable,
    ErrorKind,
)
from .records import *  # noqa: F401,F403  (the records, listed in records.__all__)

__version__ = "0.1.0"

__all__ = [
    "LIBRARY_NAME",
    "SYSTEM_TIME_SIZE",
    "Device",
    "DeviceAnswerError",
    "DeviceArgumentError",
    "DeviceConnectionLost",
    "DeviceError",
    "DeviceRefused",
    "DeviceTimeout",
    "DeviceUnreachable",
    "ErrorKind",
    "LibraryNotFoundError",
    "check_config",
    "config_schema",
    "library_version",
    "load",
    "settings_catalogue",
    "system_time_block",
    *records.__all__,
]
