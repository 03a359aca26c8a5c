"""The `Device` class: one session of the qz_nds library connected to one camera.

Three kinds of setting, as the library has them:

* session settings (identity, feature switches, link counts, palette, frame rate,
  lens adjust method, OSD items, channel name): reading answers from the session,
  which `read_config()` fills from the device; a read before any `read_config()`
  since the connection was made reads the configuration first, so every session
  setting gives the device's value (or raises like a device query). Writing asks
  the device and, once it accepted, updates the session.
* device queries (everything else): reading and writing each ask the device.
  `ip_settings` is the exception: when the device cannot answer, reading gives the
  session's values without an error.
* MQTT settings: the library's MQTT functions report success whatever the
  exchange did, and record its failure all the same; the binding reads that
  record, so these raise like every other setting.

A failed call raises a `DeviceError` subclass that says why (see `qznds.errors`):
`DeviceRefused`, `DeviceTimeout`, `DeviceUnreachable`, `DeviceConnectionLost`,
`DeviceAnswerError`, `DeviceArgumentError`.

Every call blocks the calling thread (never longer than the library's 10 s wait)
with the interpreter lock released, so several threads may use one `Device`;
`close()` must not run while another thread still uses it.
"""

from __future__ import annotations

import ctypes
import json
import struct
from ctypes import byref, c_bool, c_uint8, c_uint16, c_uint32, c_void_p, create_string_buffer
from datetime import datetime
from types import TracebackType
from typing import Any, Iterable, Mapping, Optional, Union

from . import _checks as check
from ._checks import Text
from ._library import _U8_CACHED, ErrorRecord, load, take_text
from .config import readable_settings
from .errors import DeviceArgumentError, DeviceError, ErrorKind, make_error
from .records import (
    CHANNEL_NAME_ITEM,
    IP_TEXT_COUNT,
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

SYSTEM_TIME_SIZE = 20
IP_TEXT_MAX = 15
GB28181_TEXT_MAX = 63
DOMAIN_MAX = 128
CHANNEL_NAME_MAX = 255
# Text reads take no capacity: the buffer must hold any text the device can send,
# and no answer frame the transport passes on is larger than 1 MiB.
_ANSWER_TEXT_CAPACITY = 1 << 20
_ACCOUNT_INFO_CAPACITY = 4096
_UNKNOWN_LEN_ADJUST_METHOD = 0xFFFF_FFFF

# Flags of the configuration document exports.
_WITH_SECRETS, _DRY_RUN, _FORCE = 0x1, 0x2, 0x4

# The MQTT exports return true whatever the exchange did: their record tells.
_REPORT_ONLY_IN_RECORD = frozenset(
    f"{verb}_mqtt_{name}" for verb in ("set", "get") for name in ("work", "ip", "port", "user", "passwd")
)

_SWITCH_EXPORTS = {
    feature: (f"enable_{feature.value}", f"disable_{feature.value}", f"is_enabled_{feature.value}")
    for feature in Feature
    if feature is not Feature.CENTER_RECTANGLE
}
_SWITCH_EXPORTS[Feature.CENTER_RECTANGLE] = (
    "display_center_rectangle",
    "hide_center_rectangle",
    "is_display_center_rectangle",
)

# The reads the library answers from the session rather than from the device.
_SESSION_READS = frozenset(
    [
        "get_machine_info",
        "get_sn",
        "get_default_palette",
        "get_len_adjust_method",
        "get_osd_setting",
        "osd_get_channel_info",
        *(query for _, _, query in _SWITCH_EXPORTS.values()),
        *(f"get_{name}" for name in _U8_CACHED),
    ]
)

# Eight big-endian 16-bit fields, then four zero bytes.
_SYSTEM_TIME_LAYOUT = struct.Struct(">8H4x")


def system_time_block(moment: Optional[datetime] = None) -> bytes:
    """The 20-byte system time block the project's tools send: year, month, day, hour,
    minute, second, millisecond and weekday (0 = Sunday) as big-endian 16-bit fields,
    then four zero bytes, in local time.

    `moment` defaults to now; a naive datetime is taken as local time, an aware one is
    converted to it.
    """
    if moment is None:
        moment = datetime.now()
    elif not isinstance(moment, datetime):
        raise TypeError(f"moment must be a datetime, not {type(moment).__name__}")
    elif moment.tzinfo is not None:
        moment = moment.astimezone()
    fields = (moment.year, moment.month, moment.day, moment.hour, moment.minute, moment.second)
    return _SYSTEM_TIME_LAYOUT.pack(*fields, moment.microsecond // 1000, moment.isoweekday() % 7)


# ---- Property factories: one per shape of setting ---------------------------------


def _switch(name: str, on: str, off: str, query: str, doc: str) -> Any:
    def fget(self: Device) -> bool:
        return self._get_u8(query) == 1

    def fset(self: Device, value: bool) -> None:
        self._call(on if check.flag(name, value) else off)

    return property(fget, fset, doc=doc)


def _feature(feature: Feature, doc: str) -> Any:
    return _switch(feature.value, *_SWITCH_EXPORTS[feature], doc=doc + " (session).")


def _byte(name: str, doc: str) -> Any:
    def fget(self: Device) -> int:
        return self._get_u8("get_" + name)

    def fset(self: Device, value: int) -> None:
        self._call("set_" + name, check.u8(name, value))

    return property(fget, fset, doc=doc + " (0 to 255)")


def _flag(name: str, doc: str) -> Any:
    def fget(self: Device) -> bool:
        return self._get_u8("get_" + name) == 1

    def fset(self: Device, value: bool) -> None:
        self._call("set_" + name, check.flag(name, value))

    return property(fget, fset, doc=doc)


def _text(name: str, doc: str) -> Any:
    def fget(self: Device) -> str:
        return self._get_answer_text("get_" + name)

    def fset(self: Device, value: Text) -> None:
        self._call("set_" + name, check.encode(name, value))

    return property(fget, fset, doc=doc)


class Device:
    """A camera reached through one library session: `with Device("192.0.2.10") as dev: ...`.

    `address` is a host name or IP literal, with an optional ":port" ("[v6]:port").
    Only the settings below can be written: a misspelt name raises AttributeError.
    """

    __slots__ = ("address", "_lib", "_handle", "_config_read", "__weakref__")

    def __init__(self, address: str, *, library: Optional[ctypes.CDLL] = None) -> None:
        self.address = address
        self._lib = library
        self._handle: Optional[c_void_p] = None
        self._config_read = False  # whether the session holds a configuration of this connection

    # ---- Lifecycle ---------------------------------------------------------------

    def open(self) -> Device:
        """Creates the session and connects it; raises DeviceError when either fails."""
        if self._handle is not None:
            return self
        lib = self._lib if self._lib is not None else load()
        handle = c_void_p()
        if not lib.qz_nds_init(byref(handle)):
            error = self._last_error(lib, "qz_nds_init")
            if handle.value:
                lib.qz_nds_uninit(byref(handle))
            raise error
        if not lib.qz_nds_connect(handle, self.address.encode("utf-8")):
            error = self._last_error(lib, "qz_nds_connect")
            lib.qz_nds_uninit(byref(handle))
            raise error
        self._lib, self._handle, self._config_read = lib, handle, False
        return self

    def close(self) -> None:
        """Disconnects and releases the session; harmless when already closed."""
        handle, self._handle = self._handle, None
        if handle is None or self._lib is None:
            return
        self._lib.qz_nds_disconnect(handle)  # false when the device already went away
        self._lib.qz_nds_uninit(byref(handle))

    def connect(self) -> None:
        """Connects the open session again, e.g. after `disconnect()` or a reboot."""
        self._config_read = False
        self._call("connect", self.address.encode("utf-8"))

    def disconnect(self) -> None:
        """Closes the connection and forgets the connection-bound session settings."""
        self._config_read = False
        self._call("disconnect")

    @property
    def is_open(self) -> bool:
        return self._handle is not None

    @property
    def connected(self) -> bool:
        """Whether the connection stands (False once the device or the network ended it)."""
        if self._handle is None:
            return False
        up = c_bool(False)
        lib = self._lib if self._lib is not None else load()
        lib.qz_ndsx_is_connected(self._handle, byref(up))
        return bool(up.value)

    def __enter__(self) -> Device:
        return self.open()

    def __exit__(
        self,
        exc_type: Optional[type[BaseException]],
        exc: Optional[BaseException],
        tb: Optional[TracebackType],
    ) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # interpreter shutdown may have torn ctypes down
            pass

    def __repr__(self) -> str:
        return f"Device({self.address!r}, {'open' if self.is_open else 'closed'})"

    # ---- Calling the library -----------------------------------------------------

    def _call(self, name: str, *args: Any) -> None:
        """Calls qz_nds_`name` (or the qz_ndsx_ export `name` names whole) on the session."""
        function = name if name.startswith("qz_ndsx_") else "qz_nds_" + name
        handle, lib = self._handle, self._lib
        if handle is None or lib is None:
            raise make_error(function, self.address, "the device is not open", ErrorKind.NOT_CONNECTED)
        if name in _SESSION_READS and not self._config_read:
            self._call("get_machine_config_info")
        if not getattr(lib, function)(handle, *args):
            raise self._last_error(lib, function)
        if name in _REPORT_ONLY_IN_RECORD:
            error = self._last_error(lib, function)
            if error.kind != ErrorKind.OK:
                raise error
        if name == "get_machine_config_info":
            self._config_read = True

    def _last_error(self, lib: ctypes.CDLL, function: str) -> DeviceError:
        """What the calling thread's last call did, as the exception to raise.

        Read through the null handle, which answers for the thread's last call whatever
        its session, so that a session another thread is closing is not touched.
        """
        record = ErrorRecord()
        lib.qz_ndsx_last_error(None, byref(record))
        command = (record.main_command, record.sub_command) if record.main_command else None
        detail = lib.qz_ndsx_strerror(record.kind).decode("utf-8", "replace")
        return make_error(function, self.address, detail, record.kind, record.response_code, command)

    def _get_u8(self, name: str) -> int:
        value = c_uint8()
        self._call(name, byref(value))
        return value.value

    def _get_u32(self, name: str) -> int:
        value = c_uint32()
        self._call(name, byref(value))
        return value.value

    def _get_answer_text(self, name: str) -> str:
        buffer = create_string_buffer(_ANSWER_TEXT_CAPACITY)
        length = c_uint32()
        self._call(name, buffer, byref(length))
        return check.decode(buffer.raw[: length.value])

    def _call_for_text(self, name: str, *args: Any) -> Any:
        """Calls a qz_ndsx_ export that hands out a JSON text through its last argument and
        returns the text parsed. When the call fails, the error raised carries the text the
        library still handed out (apply's report) as its `report`."""
        out = c_void_p()
        try:
            self._call(name, *args, byref(out))
        except DeviceError as error:
            text = take_text(self._lib, out) if self._lib is not None else None
            error.report = json.loads(text) if text is not None else None
            raise
        return json.loads(take_text(self._lib, out) or "null")  # never null after a success

    # ---- Configuration documents -------------------------------------------------

    def get_setting(self, name: str) -> Any:
        """Reads one setting of `qznds.settings_catalogue()` by name ("framerate",
        "mqtt_port", "osd_item_0") as a JSON value: bool, int, str or dict (texts that are
        not UTF-8 as {"hex": ...}). DeviceArgumentError for a name that is no readable
        setting; a failed read raises like the typed properties."""
        if not isinstance(name, str):
            raise TypeError(f"name must be str, not {type(name).__name__}")
        if name not in readable_settings(self._lib if self._lib is not None else load()):
            raise make_error("qz_ndsx_get_setting", self.address, f"no readable setting named {name!r}",
                             ErrorKind.BAD_ARGUMENT)
        return self._call_for_text("qz_ndsx_get_setting", name.encode("utf-8"))

    def export_config(self, secrets: bool = False) -> dict[str, Any]:
        """Reads every readable setting into one configuration document:
        {"version": 1, "device": {identity}, "settings": {NAME: VALUE}, "unreadable":
        {NAME: {"kind": ..., "code": ...}}} ("unreadable" only when the device refused
        to report some). The secret settings (passwords, account info) only with
        `secrets`. Raises DeviceError when the device stopped answering."""
        return self._call_for_text("qz_ndsx_export_config", _WITH_SECRETS if secrets else 0)

    def apply_config(self, document: Mapping[str, Any], dry_run: bool = False, force: bool = False) -> dict[str, Any]:
        """Makes the device match `document` (a whole export or any part of it) and
        returns the report.

        The library checks the whole document first, then reads each setting, writes it
        when it differs (every setting with `force`; none with `dry_run`) and reads it
        back. The report: {"ok": bool, "dry_run": bool, "counts": {"unchanged",
        "changed", "would_change", "refused", "failed"}, "settings": [{"setting",
        "status", "before", "after", ...}]}; secret values show as "********".

        What a setting's refusal or failure leaves is in the report, which comes back
        with "ok" false: check it. Only a call that failed as a whole raises, with the
        report as the exception's `report`: a document refused before anything was
        sent (DeviceArgumentError; the reasons under report["error"]["problems"]),
        a device that stopped answering part way (DeviceTimeout, DeviceConnectionLost,
        ...; the settings not reached are reported as failed), or a device that is
        not open. A document that is no mapping raises TypeError, a value JSON has
        no form for TypeError or ValueError, before anything is sent.
        """
        if not isinstance(document, Mapping):
            raise TypeError(f"document must be a dict, not {type(document).__name__}")
        text = json.dumps(document, allow_nan=False).encode("utf-8")
        flags = (_DRY_RUN if dry_run else 0) | (_FORCE if force else 0)
        try:
            return self._call_for_text("qz_ndsx_apply_config", text, flags)
        except DeviceError as error:
            report = error.report
            if report is None:
                raise
            if "error" not in report:
                return report  # settings refused or failed one by one
            whole = make_error(error.function, self.address, report["error"].get("message", ""), error.kind,
                               error.response_code, error.command)
            whole.report = report
            raise whole from None

    # ---- Machine configuration and identity --------------------------------------

    def read_config(self) -> MachineConfig:
        """Reads the device's whole configuration into the session and returns it."""
        self._call("get_machine_config_info")
        return MachineConfig(
            info=self.machine_info,
            ip=self.ip_settings,
            features=self.features,
            link_counts=self.link_counts,
            default_palette=self.default_palette,
            framerate=self.framerate,
            len_adjust_method=self.len_adjust_method,
            channel=self.channel,
            osd_items=tuple(self.osd_item(i) for i in range(OSD_ITEM_COUNT)),
        )

    @property
    def machine_info(self) -> MachineInfo:
        """The identity of the last configuration read (session)."""
        value1, value2 = c_uint16(), c_uint16()
        texts = [create_string_buffer(32) for _ in range(4)]
        self._call("get_machine_info", byref(value1), byref(value2), *texts)
        sn, text1, text2, text3 = (check.decode_terminated(t.raw) for t in texts)
        return MachineInfo(value1.value, value2.value, sn, text1, text2, text3)

    @property
    def serial_number(self) -> str:
        """The serial number of the last configuration read (session)."""
        buffer = create_string_buffer(64)
        length = c_uint32()
        self._call("get_sn", buffer, byref(length))
        return check.decode(buffer.raw[: length.value])

    @property
    def ip_settings(self) -> IpSettings:
        """Asks the device; when it cannot answer, the session's values come back instead."""
        flag = c_uint8()
        texts = [create_string_buffer(IP_TEXT_MAX + 1) for _ in range(IP_TEXT_COUNT)]
        self._call("get_ip_info", byref(flag), *texts)
        decoded = tuple(check.decode_terminated(t.raw) for t in texts)
        return IpSettings(flag.value != 0, decoded)  # type: ignore[arg-type]

    @ip_settings.setter
    def ip_settings(self, value: IpSettings) -> None:
        texts = tuple(value.texts)
        if len(texts) != IP_TEXT_COUNT:
            raise ValueError(f"IP settings take {IP_TEXT_COUNT} texts, not {len(texts)}")
        encoded = [check.encode(f"IP text {i + 1}", t, IP_TEXT_MAX) for i, t in enumerate(texts)]
        self._call("set_ip_info", check.flag("flag", value.flag), *encoded)

    @property
    def account_info(self) -> bytes:
        """The device's opaque account info (device query).

        The library counts a write as failed unless the device answers it as it answers
        a read, so writing may raise DeviceError although the device took the value.
        """
        capacity = _ACCOUNT_INFO_CAPACITY
        for _ in range(3):  # the size may change between two reads
            buffer = create_string_buffer(max(capacity, 1))
            length = c_uint32(capacity)
            try:
                self._call("get_account_info", buffer, byref(length))
            except DeviceArgumentError:
                if length.value <= capacity:  # not a size problem
                    raise
                capacity = length.value
                continue
            return buffer.raw[: length.value]
        raise make_error("qz_nds_get_account_info", self.address, "its size kept changing", ErrorKind.BAD_ANSWER)

    @account_info.setter
    def account_info(self, value: bytes) -> None:
        data = check.block("account info", value)
        self._call("set_account_info", data, len(data))

    @property
    def passive_wireless_power_status(self) -> PowerStatus:
        """The three passive wireless power status values (device query).

        Requests carry the serial number, so call `read_config()` first. As for
        `account_info`, a write answered as a write raises DeviceError.
        """
        values = [c_uint32() for _ in range(3)]
        self._call("get_passive_wireless_power_status", *(byref(v) for v in values))
        return PowerStatus(*(v.value for v in values))

    @passive_wireless_power_status.setter
    def passive_wireless_power_status(self, value: Union[PowerStatus, Iterable[int]]) -> None:
        if isinstance(value, PowerStatus):
            value = (value.status1, value.status2, value.status3)
        items = tuple(value)
        if len(items) != 3:
            raise ValueError(f"power status takes 3 values, not {len(items)}")
        values = [c_uint32(check.u32(f"status{i + 1}", v)) for i, v in enumerate(items)]
        self._call("set_passive_wireless_power_status", *(byref(v) for v in values))

    @property
    def passive_wireless_domain(self) -> WirelessDomain:
        """The passive wireless domain and its value; as `passive_wireless_power_status`."""
        buffer = create_string_buffer(DOMAIN_MAX)
        value = c_uint32()
        self._call("get_passive_wireless_domain", buffer, byref(value))
        return WirelessDomain(check.decode_terminated(buffer.raw), value.value)

    @passive_wireless_domain.setter
    def passive_wireless_domain(self, value: WirelessDomain) -> None:
        domain = check.encode("domain", value.domain, DOMAIN_MAX)
        self._call("set_passive_wireless_domain", domain, check.u32("domain value", value.value))

    # ---- Linked visual camera ----------------------------------------------------

    visual_ip = _text("visual_ip", "The linked visual camera's IP address (device query).")
    visual_user = _text("visual_user", "The visual camera's login user (device query).")
    visual_passwd = _text("visual_passwd", "The visual camera's login password (device query).")
    visual_zoom_control_flag = _byte("visual_zoom_control_flag", "The visual camera's zoom control flag")
    visual_gotopreset_when_start = _byte(
        "visual_gotopreset_when_start", "Whether the visual camera goes to its preset at start"
    )

    def set_visual_sn(self, support: bool, same_ip: bool, sn: Optional[Text] = None) -> None:
        """Sets the visual camera's serial number and flags; a supported camera on its own IP needs one."""
        data = b"" if sn is None else check.encode("sn", sn, check.U32_MAX, allow_nul=True)
        if support and not same_ip and not data:
            raise ValueError("a supported visual camera on an IP of its own needs a serial number")
        flags = check.flag("support", support), check.flag("same_ip", same_ip)
        self._call("set_visual_sn", *flags, data, len(data))

    # ---- MQTT (device queries) ------------------------------------------------------

    mqtt_work = _flag("mqtt_work", "Whether MQTT operation is on.")
    mqtt_ip = _text("mqtt_ip", "The broker's IP address.")
    mqtt_user = _text("mqtt_user", "The broker's login user.")
    mqtt_passwd = _text("mqtt_passwd", "The broker's login password.")

    @property
    def mqtt_port(self) -> int:
        """The broker's port."""
        return self._get_u32("get_mqtt_port")

    @mqtt_port.setter
    def mqtt_port(self, value: int) -> None:
        self._call("set_mqtt_port", check.u32("mqtt_port", value))

    @property
    def mqtt_broker(self) -> MqttBroker:
        """All MQTT settings, one device query each."""
        return MqttBroker(self.mqtt_ip, self.mqtt_port, self.mqtt_user, self.mqtt_passwd, self.mqtt_work)

    @mqtt_broker.setter
    def mqtt_broker(self, value: MqttBroker) -> None:
        # Checked as a whole first, so a bad field sends nothing; one write per field after
        # that, and the first that fails raises with the rest unsent.
        ip = check.encode("mqtt ip", value.ip)
        port = check.u32("mqtt port", value.port)
        user = check.encode("mqtt user", value.user)
        passwd = check.encode("mqtt passwd", value.passwd)
        work = check.flag("mqtt work", value.work)
        self._call("set_mqtt_ip", ip)
        self._call("set_mqtt_port", port)
        self._call("set_mqtt_user", user)
        self._call("set_mqtt_passwd", passwd)
        self._call("set_mqtt_work", work)

    # ---- GB/T 28181 ----------------------------------------------------------------

    @property
    def gb28181(self) -> Gb28181Params:
        """The GB/T 28181 platform parameters (device query)."""
        enable, port = c_uint8(), c_uint16()
        texts = [create_string_buffer(GB28181_TEXT_MAX + 1) for _ in range(4)]
        self._call("28181_get_para", byref(enable), texts[0], byref(port), texts[1], texts[2], texts[3])
        t1, t2, t3, t4 = (check.decode_terminated(t.raw) for t in texts)
        return Gb28181Params(enable.value == 1, t1, port.value, t2, t3, t4)

    @gb28181.setter
    def gb28181(self, value: Gb28181Params) -> None:
        texts = [
            check.encode(f"GB/T 28181 text{i}", t, GB28181_TEXT_MAX)
            for i, t in enumerate((value.text1, value.text2, value.text3, value.text4), start=1)
        ]
        port = check.u16("GB/T 28181 port", value.port)
        enable = check.flag("enabled", value.enabled)
        self._call("28181_set_para", enable, texts[0], port, texts[1], texts[2], texts[3])

    # ---- Feature switches (session) ------------------------------------------------

    def feature(self, feature: Feature) -> bool:
        """Whether `feature` is on, as the session knows it."""
        return self._get_u8(_SWITCH_EXPORTS[feature][2]) == 1

    def set_feature(self, feature: Feature, on: bool) -> None:
        """Switches `feature` on the device; the session remembers it once accepted."""
        enable, disable, _ = _SWITCH_EXPORTS[feature]
        self._call(enable if check.flag(feature.value, on) else disable)

    hdmi = _feature(Feature.HDMI, "HDMI output")
    onvif = _feature(Feature.ONVIF, "ONVIF")
    len_pos = _feature(Feature.LEN_POS, "Lens position")
    detect_sun = _feature(Feature.DETECT_SUN, "Sun detection")
    rotate180 = _feature(Feature.ROTATE180, "Image rotated by 180 degrees")
    radar = _feature(Feature.RADAR, "Radar")
    auto_change_meas = _feature(Feature.AUTO_CHANGE_MEAS, "Automatic measurement change")
    auto_focus = _feature(Feature.AUTO_FOCUS, "Auto focus")
    center_rectangle = _feature(Feature.CENTER_RECTANGLE, "Centre rectangle overlay")

    @property
    def features(self) -> Features:
        """Every switch as the session knows it."""
        return Features(**{f.value: self.feature(f) for f in Feature})

    # ---- Numeric settings (session) -----------------------------------------------

    ps_link_count = _byte("ps_link_count", "Linked ps count (session)")
    ad_link_count = _byte("ad_link_count", "Linked ad count (session)")
    visual_link_count = _byte("visual_link_count", "Linked visual camera count (session)")
    ptz_link_count = _byte("ptz_link_count", "Linked ptz count (session)")
    framerate = _byte("framerate", "Frame rate (session)")

    @property
    def link_counts(self) -> LinkCounts:
        return LinkCounts(self.ps_link_count, self.ad_link_count, self.visual_link_count, self.ptz_link_count)

    @property
    def default_palette(self) -> int:
        """Default palette (session); only the low byte travels, the session keeps the whole value."""
        return check.to_signed32(self._get_u32("get_default_palette"))

    @default_palette.setter
    def default_palette(self, value: int) -> None:
        self._call("set_default_palette", check.i32("default_palette", value))

    @property
    def len_adjust_method(self) -> Optional[int]:
        """Lens adjust method (session); None while the session does not know it."""
        raw = self._get_u32("get_len_adjust_method")
        return None if raw == _UNKNOWN_LEN_ADJUST_METHOD else check.to_signed32(raw)

    @len_adjust_method.setter
    def len_adjust_method(self, value: int) -> None:
        self._call("set_len_adjust_method", check.i32("len_adjust_method", value))

    def set_system_time(self, block: bytes) -> None:
        """Sends a 20-byte system time block unchanged (`system_time_block()` makes the
        project's layout; another device model may want its own)."""
        data = check.block("system time block", block)
        if len(data) != SYSTEM_TIME_SIZE:
            raise ValueError(f"the system time block is {SYSTEM_TIME_SIZE} bytes, not {len(data)}")
        self._call("set_system_time", data)

    # ---- Hardware watchdog and temperature (device queries) ----------------------

    hardware_watchdog = _switch(
        "hardware_watchdog",
        "enable_hardware_watchdog",
        "disable_hardware_watchdog",
        "is_enable_hardware_watchdog",
        doc="Hardware watchdog (device query).",
    )
    hardware_watchdog_disable = _switch(
        "hardware_watchdog_disable",
        "enable_hardware_watchdog_disable",
        "disable_hardware_watchdog_disable",
        "isenable_hardware_watchdog_disable",
        doc="The watchdog-disable function (device query).",
    )
    hardware_watchdog_disable_time = _byte(
        "hardware_watchdog_disable_time", "Hardware watchdog disable time, the device's unit (device query)"
    )
    disable_temperature_correct_status = _byte(
        "disable_temperature_correct_status", "Disable-temperature-correct status (device query)"
    )
    vision_maxtemperature = _flag("vision_maxtemperature", "Vision maxtemperature flag (device query).")
    all_temperature_network_byte_order = _flag(
        "all_temperature_network_byte_order", "All temperatures in network byte order (device query)."
    )

    # ---- OSD (session) -------------------------------------------------------------

    def osd_item(self, osd_id: int) -> OsdItem:
        """OSD item `osd_id` (0 to 11) as the session knows it."""
        osd_id = check.integer("osd_id", osd_id, 0, OSD_ITEM_COUNT - 1)
        fields = c_uint8(), c_uint8(), c_uint16(), c_uint16()
        self._call("get_osd_setting", osd_id, *(byref(f) for f in fields))
        return _osd_item(fields)

    def set_osd_item(self, osd_id: int, item: OsdItem) -> None:
        """Sets OSD item `osd_id` (0 to 11 but 8; the channel-name item goes through `channel`)."""
        osd_id = check.integer("osd_id", osd_id, 0, OSD_ITEM_COUNT - 1)
        if osd_id == CHANNEL_NAME_ITEM:
            last = OSD_ITEM_COUNT - 1
            raise ValueError(f"osd_id must be from 0 to {last} except {CHANNEL_NAME_ITEM}, not {osd_id}")
        self._call("set_osd_setting", osd_id, *_osd_fields(item))

    @property
    def channel(self) -> Channel:
        """The channel name and its OSD item (session)."""
        name = create_string_buffer(256)
        fields = c_uint8(), c_uint8(), c_uint16(), c_uint16()
        self._call("osd_get_channel_info", name, *(byref(f) for f in fields))
        return Channel(check.decode_terminated(name.raw), _osd_item(fields))

    @channel.setter
    def channel(self, value: Channel) -> None:
        name = check.encode("channel name", value.name, CHANNEL_NAME_MAX)
        self._call("osd_set_channel_name", len(name), name, *_osd_fields(value.item))

    def restore_osd(self) -> None:
        """Asks the device to restore its OSD configuration; `read_config()` brings it into the session."""
        self._call("osd_restore_config")

    # ---- Device control and vendor flags --------------------------------------------

    def reboot(self) -> None:
        """Sends the reboot request without waiting; the connection drops soon after."""
        self._call("reboot")

    def keep_alive(self) -> None:
        """Sends a keep-alive without waiting."""
        self._call("keep_alive")

    hikvision_linkage = _flag("hikvision_linkage", "Hikvision linkage flag (device query).")
    pg_support = _flag("pg_support", "PG support flag (device query).")


def _osd_item(fields: tuple[c_uint8, c_uint8, c_uint16, c_uint16]) -> OsdItem:
    display, attribute, value1, value2 = (f.value for f in fields)
    return OsdItem(display != 0, attribute, value1, value2)


def _osd_fields(item: OsdItem) -> tuple[int, int, int, int]:
    return (
        check.flag("display", item.display),
        check.u8("attribute", item.attribute),
        check.u16("value1", item.value1),
        check.u16("value2", item.value2),
    )
