"""Python binding of the qz_nds SDK: configure networked infrared cameras over TCP.

    import qznds
    with qznds.Device("192.0.2.10") as dev:
        config = dev.read_config()
        dev.framerate = 25

The shared library is taken from $QZNDS_LIBRARY (full path), from beside this
package, or from the system's library path.
"""

from ._library import LIBRARY_NAME, LibraryNotFoundError, load
from .device import SYSTEM_TIME_SIZE, Device, DeviceError
from .records import (
    CHANNEL_NAME_ITEM,
    OSD_ITEM_COUNT,
    Channel,
    Feature,
    Features,
    Gb28181Params,
    IpSettings,
    LinkCounts,
    MachineConfig,
    MachineInfo,
    MqttBroker,
    OsdItem,
    PowerStatus,
    WirelessDomain,
)

__version__ = "0.1.0"

__all__ = [
    "CHANNEL_NAME_ITEM",
    "LIBRARY_NAME",
    "OSD_ITEM_COUNT",
    "SYSTEM_TIME_SIZE",
    "Channel",
    "Device",
    "DeviceError",
    "Feature",
    "Features",
    "Gb28181Params",
    "IpSettings",
    "LibraryNotFoundError",
    "LinkCounts",
    "MachineConfig",
    "MachineInfo",
    "MqttBroker",
    "OsdItem",
    "PowerStatus",
    "WirelessDomain",
    "load",
]
