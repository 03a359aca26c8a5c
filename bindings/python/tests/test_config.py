"""Reading the machine configuration into the typed record."""

from __future__ import annotations

import operator
import random
import string
from typing import Any, Callable

import pytest
import qznds
from conftest import SimFactory
from qznds import Feature, OsdItem


def text(rng: random.Random, low: int, high: int) -> str:
    return "".join(rng.choices(string.ascii_letters + string.digits, k=rng.randint(low, high)))


def switch_key(feature: Feature) -> str:
    return "center_rectangle_displayed" if feature is Feature.CENTER_RECTANGLE else f"{feature.value}_enabled"


def random_state(rng: random.Random) -> dict[str, Any]:
    """Device settings within the device's ranges; texts that fill their fields carry no NUL."""
    item = lambda: {"display": rng.randint(0, 1), "attribute": rng.randint(0, 255),  # noqa: E731
                    "value1": rng.randint(0, 0xFFFF), "value2": rng.randint(0, 0xFFFF)}
    return {
        **{f"machine_text{i}": text(rng, 1, 16) for i in (1, 3)},
        "machine_text2": text(rng, 16, 16),
        "device_sn": text(rng, 32, 32),
        **{f"machine_value{i}": rng.randint(0, 0xFFFF) for i in (1, 2)},
        "ip_info_flag": rng.randint(0, 1),
        "ip_info_texts": [text(rng, 0, 15) for _ in range(5)],
        **{switch_key(f): rng.randint(0, 1) for f in Feature},
        **{f"{k}_link_count": rng.randint(0, 16) for k in ("ps", "ad", "visual", "ptz")},
        "default_palette": rng.randint(0, 15),
        "framerate": rng.randint(1, 60),
        "len_adjust_method": rng.randint(0, 3),
        "channel_name": text(rng, 0, 255),
        "osd_items": [item() for _ in range(qznds.OSD_ITEM_COUNT)],
    }


@pytest.mark.parametrize("draw", [1, 2])
def test_read_config_brings_every_value_of_the_device(start_sim: SimFactory, draw: int) -> None:
    s = random_state(random.Random(draw))
    with qznds.Device(start_sim(state=s).address) as dev:
        config = dev.read_config()

    items = tuple(OsdItem(i["display"] == 1, i["attribute"], i["value1"], i["value2"])
                  for i in s["osd_items"])
    assert config == qznds.MachineConfig(
        info=qznds.MachineInfo(s["machine_value1"], s["machine_value2"], s["device_sn"],
                               s["machine_text1"], s["machine_text2"], s["machine_text3"]),
        ip=qznds.IpSettings(s["ip_info_flag"] == 1, tuple(s["ip_info_texts"])),
        features=qznds.Features(**{f.value: s[switch_key(f)] == 1 for f in Feature}),
        link_counts=qznds.LinkCounts(*(s[f"{k}_link_count"] for k in ("ps", "ad", "visual", "ptz"))),
        default_palette=s["default_palette"],
        framerate=s["framerate"],
        len_adjust_method=s["len_adjust_method"],
        channel=qznds.Channel(s["channel_name"], items[qznds.CHANNEL_NAME_ITEM]),
        osd_items=items,
    )


# Reads the library answers from the session, each with a value unlike a fresh session's.
SESSION_READS: dict[str, Callable[[qznds.Device], Any]] = {
    **{name: operator.attrgetter(name) for name in ("machine_info", "serial_number", "features", "link_counts",
                                                    "default_palette", "framerate", "len_adjust_method", "channel")},
    "osd_item": lambda d: d.osd_item(3),
}


@pytest.mark.parametrize("read", SESSION_READS.values(), ids=SESSION_READS.keys())
def test_a_session_setting_read_before_read_config_reads_the_configuration(
    start_sim: SimFactory, read: Callable[[qznds.Device], Any]
) -> None:
    sim = start_sim(state={"default_palette": 5, "len_adjust_method": 2})
    with qznds.Device(sim.address) as reference:
        reference.read_config()
        expected = read(reference)
    with qznds.Device(sim.address) as dev:
        assert read(dev) == expected
        dev.disconnect()  # the connection-bound settings are forgotten: no value to give
        with pytest.raises(qznds.DeviceUnreachable):
            read(dev)
        dev.connect()
        assert read(dev) == expected
