"""The binding without a device: prototypes, loading and argument checks."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Any, Callable

import pytest
import qznds
from conftest import HEADER
from qznds import Channel, Gb28181Params, IpSettings, MqttBroker, OsdItem, WirelessDomain, _library


def test_every_export_of_the_header_has_a_prototype_of_its_arity() -> None:
    text = re.sub(r"/\*.*?\*/", "", HEADER.read_text(), flags=re.S)
    exports = {
        name: len([p for p in params.split(",") if p.strip()])
        for name, params in re.findall(r"QZ_NDS_API\s+bool\s+qz_nds_(\w+)\s*\(([^)]*)\)", text)
    }
    assert len(exports) == 105
    assert {name: len(args) for name, args in _library.PROTOTYPES.items()} == exports


def test_a_missing_library_says_how_to_point_at_it(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv(_library.ENV_LIBRARY, str(tmp_path / "nowhere.so"))
    with pytest.raises(qznds.LibraryNotFoundError, match="QZNDS_LIBRARY"):
        _library.load(_library.candidate_paths())


# On a device that is not open, a ValueError proves that the value was refused before
# any call reached the library (which would raise DeviceError).
BAD_VALUES: list[tuple[Callable[[qznds.Device], Any], str]] = [
    (lambda d: setattr(d, "framerate", 256), "0 to 255"),
    (lambda d: setattr(d, "ptz_link_count", 1.5), "integer"),
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
]


@pytest.mark.parametrize("set_bad, accepted", BAD_VALUES)
def test_bad_values_are_refused_before_the_call(
    set_bad: Callable[[qznds.Device], Any], accepted: str
) -> None:
    with pytest.raises(ValueError, match=re.escape(accepted)):
        set_bad(qznds.Device("127.0.0.1:1"))
