"""Immutable records that the device's settings are read into and written from."""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Optional

__all__ = [
    "CHANNEL_NAME_ITEM",
    "OSD_ITEM_COUNT",
    "Channel",
    "Feature",
    "Features",
    "Gb28181Params",
    "IpSettings",
    "LinkCounts",
    "MachineConfig",
    "MachineInfo",
    "MqttBroker",
    "OsdItem",
    "PowerStatus",
    "WirelessDomain",
]

OSD_ITEM_COUNT = 12
CHANNEL_NAME_ITEM = 8  # the OSD item that carries the channel name
IP_TEXT_COUNT = 5


class Feature(enum.Enum):
    """The device's on/off features; the value is the name the library's exports use."""

    HDMI = "hdmi"
    ONVIF = "onvif"
    LEN_POS = "len_pos"
    DETECT_SUN = "detect_sun"
    ROTATE180 = "rotate180"
    RADAR = "radar"
    AUTO_CHANGE_MEAS = "auto_change_meas"
    AUTO_FOCUS = "auto_focus"
    CENTER_RECTANGLE = "center_rectangle"


@dataclass(frozen=True)
class MachineInfo:
    """The device's identity: two identity values, the serial number and three identity texts."""

    value1: int
    value2: int
    serial_number: str
    text1: str
    text2: str
    text3: str


@dataclass(frozen=True)
class IpSettings:
    """The IP settings flag and five texts of at most 15 bytes (sent only when the flag is set)."""

    flag: bool
    texts: tuple[str, str, str, str, str]


@dataclass(frozen=True)
class OsdItem:
    """One on-screen display item."""

    display: bool
    attribute: int = 0
    value1: int = 0
    value2: int = 0


@dataclass(frozen=True)
class Channel:
    """The OSD channel name and its item (item 8)."""

    name: str
    item: OsdItem


@dataclass(frozen=True)
class Features:
    """The state of every feature switch."""

    hdmi: bool
    onvif: bool
    len_pos: bool
    detect_sun: bool
    rotate180: bool
    radar: bool
    auto_change_meas: bool
    auto_focus: bool
    center_rectangle: bool

    def __getitem__(self, feature: Feature) -> bool:
        return bool(getattr(self, feature.value))


@dataclass(frozen=True)
class LinkCounts:
    """How many linked devices of each kind the device serves."""

    ps: int
    ad: int
    visual: int
    ptz: int


@dataclass(frozen=True)
class MachineConfig:
    """Everything one machine configuration read brings, as the session holds it afterwards."""

    info: MachineInfo
    ip: IpSettings
    features: Features
    link_counts: LinkCounts
    default_palette: int
    framerate: int
    len_adjust_method: Optional[int]  # None: not known
    channel: Channel
    osd_items: tuple[OsdItem, ...]  # indexed by OSD item id 0 to 11

    @property
    def serial_number(self) -> str:
        return self.info.serial_number


@dataclass(frozen=True)
class PowerStatus:
    """The three passive wireless power status values."""

    status1: int
    status2: int
    status3: int


@dataclass(frozen=True)
class WirelessDomain:
    """The passive wireless domain (at most 128 bytes) and its value."""

    domain: str
    value: int


@dataclass(frozen=True)
class MqttBroker:
    """The MQTT broker as the device stores it."""

    ip: str
    port: int
    user: str = ""
    passwd: str = ""
    work: bool = True


@dataclass(frozen=True)
class Gb28181Params:
    """GB/T 28181 platform parameters: four texts of at most 63 bytes and a port.

    A device that reports the function disabled gives `enabled` False with the texts
    and port of its last enabled answer.
    """

    enabled: bool
    text1: str = ""
    port: int = 0
    text2: str = ""
    text3: str = ""
    text4: str = ""
