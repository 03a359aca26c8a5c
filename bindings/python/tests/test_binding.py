"""The binding without a device: prototypes, loading and argument checks."""

from __future__ import annotations

import re
import time
from datetime import datetime, timedelta, timezone
from pathlib import Path
from typing import Any, Callable

import pytest
import qznds
from conftest import EXT_HEADERS, HEADER
from qznds import Channel, Gb28181Params, IpSettings, MqttBroker, OsdItem, WirelessDomain, _library


def header_exports(header: Path, prefix: str) -> dict[str, int]:
    """Each export's name without `prefix`, and its number of parameters."""
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
    return {
        name: len([p for p in params.split(",") if p.strip() not in ("", "void")])
        for name, params in re.findall(r"QZ_NDS_API\s+[\w\s*]+?\b" + prefix + r"(\w+)\s*\(([^)]*)\)", text)
    }


def test_every_export_of_the_headers_has_a_prototype_of_its_arity() -> None:
    exports = header_exports(HEADER, "qz_nds_")
    assert len(exports) == 105
    assert {name: len(args) for name, args in _library.PROTOTYPES.items()} == exports
    ext = {name: len(args) for name, (_, args) in _library.EXT_PROTOTYPES.items()}
    assert ext == {name: arity for header in EXT_HEADERS for name, arity in header_exports(header, "qz_ndsx_").items()}


def test_a_missing_library_says_how_to_point_at_it(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv(_library.ENV_LIBRARY, str(tmp_path / "nowhere.so"))
    with pytest.raises(qznds.LibraryNotFoundError, match="QZNDS_LIBRARY"):
        _library.load(_library.candidate_paths())


# On a device that is not open, an error other than DeviceError proves that the value
# was refused before any call reached the library.
BAD_VALUES: list[tuple[Callable[[qznds.Device], Any], str]] = [
    (lambda d: setattr(d, "framerate", 256), "0 to 255"),
    (lambda d: setattr(d, "hdmi", 2), "0 to 1"),
    (lambda d: setattr(d, "default_palette", 2**31), "2147483647"),
    (lambda d: setattr(d, "mqtt_broker", MqttBroker("h", 2**32)), "4294967295"),
    (lambda d: setattr(d, "mqtt_ip", "1.2.3.4\0x"), "NUL"),
    (lambda d: setattr(d, "gb28181", Gb28181Params(True, "x" * 64, 1)), "0 to 63 bytes"),
    (lambda d: setattr(d, "ip_settings", IpSettings(True, ("1" * 16,) + ("",) * 4)), "15 bytes"),
    (lambda d: setattr(d, "passive_wireless_domain", WirelessDomain("d" * 129, 1)), "128 bytes"),
    (lambda d: setattr(d, "passive_wireless_power_status", (1, 2)), "3 values"),
    (lambda d: d.set_system_time(bytes(19)), "20 bytes"),
    (lambda d: d.set_osd_item(8, OsdItem(True)), "except 8"),
    (lambda d: d.osd_item(12), "0 to 11"),
    (lambda d: d.set_osd_item(0, OsdItem(True, 0, 65536)), "0 to 65535"),
    (lambda d: setattr(d, "channel", Channel("n" * 256, OsdItem(True))), "255 bytes"),
    (lambda d: d.set_visual_sn(True, False, b""), "serial number"),
    (lambda d: d.get_setting("frame_rate"), "no readable setting named 'frame_rate'"),
    (lambda d: d.get_setting("visual_sn"), "no readable setting"),  # write only
    (lambda d: d.apply_config({"settings": {"framerate": float("nan")}}), "not JSON compliant"),
]


BAD_TYPES: list[tuple[Callable[[qznds.Device], Any], type, str]] = [
    (lambda d: setattr(d, "framerate", True), TypeError, "integer from 0 to 255, not True"),
    (lambda d: setattr(d, "ptz_link_count", 1.5), TypeError, "integer"),
    (lambda d: setattr(d, "visual_ip", 10), TypeError, "str or bytes"),
    (lambda d: setattr(d, "frame_rate", 30), AttributeError, "frame_rate"),
    (lambda d: d.apply_config('{"settings": {}}'), TypeError, "must be a dict"),  # type: ignore[arg-type]
    (lambda d: qznds.system_time_block("now"), TypeError, "datetime"),  # type: ignore[arg-type]
]


@pytest.mark.parametrize(
    "set_bad, error, accepted", [(f, ValueError, text) for f, text in BAD_VALUES] + BAD_TYPES
)
def test_bad_values_are_refused_before_the_call(
    set_bad: Callable[[qznds.Device], Any], error: type, accepted: str
) -> None:
    with pytest.raises(error, match=re.escape(accepted)):
        set_bad(qznds.Device("127.0.0.1:1"))


@pytest.fixture
def utc_plus_2(monkeypatch: pytest.MonkeyPatch) -> Any:
    monkeypatch.setenv("TZ", "XST-2")  # POSIX: two hours east of UTC
    time.tzset()
    yield
    monkeypatch.undo()
    time.tzset()


# 2024-03-18 is a Monday (weekday 1); the block is in local time.
@pytest.mark.parametrize("moment", [
    datetime(2024, 3, 18, 1, 5, 9, 250999),
    datetime(2024, 3, 17, 23, 5, 9, 250000, tzinfo=timezone.utc),
    datetime(2024, 3, 18, 3, 5, 9, 250000, tzinfo=timezone(timedelta(hours=4))),
])
def test_system_time_block_is_eight_big_endian_fields_of_local_time(utc_plus_2: None, moment: datetime) -> None:
    assert qznds.system_time_block(moment) == bytes.fromhex("07e8 0003 0012 0001 0005 0009 00fa 0001 00000000")
