"""Every family: set a value unlike the device's, read it back here and from a new session."""

from __future__ import annotations

import operator
from contextlib import nullcontext
from typing import Any, Callable

import pytest
import qznds
from conftest import SimFactory, Simulator
from qznds import Feature, Gb28181Params, MqttBroker, OsdItem


def other_text(text: str) -> str:
    return text[::-1] + "-2"


flip = operator.not_


# attribute, the new value made from the current one
SETTINGS: list[tuple[str, Callable[[Any], Any]]] = [
    *[(feature.value, flip) for feature in Feature],
    *[(f"{kind}_link_count", lambda v: (v + 1) % 17) for kind in ("ps", "ad", "visual", "ptz")],
    ("framerate", lambda v: v % 60 + 1),
    ("default_palette", lambda v: (v + 1) % 16),
    ("len_adjust_method", lambda v: (v + 1) % 4),
    ("ip_settings", lambda v: qznds.IpSettings(True, tuple(other_text(t)[:15] for t in v.texts))),
    *[(name, other_text) for name in ("visual_ip", "visual_user", "visual_passwd", "mqtt_ip", "mqtt_user")],
    ("mqtt_port", lambda v: v % 65535 + 1),
    ("mqtt_broker", lambda v: MqttBroker(other_text(v.ip), v.port + 1, other_text(v.user), "", not v.work)),
    ("gb28181", lambda v: Gb28181Params(True, "a" * 63, v.port % 65535 + 1, "b", "", other_text(v.text4))),
    *[(name, lambda v: (v + 123) % 256) for name in ("visual_zoom_control_flag", "visual_gotopreset_when_start",
                                      "hardware_watchdog_disable_time",
                                      "disable_temperature_correct_status")],
    *[(name, flip) for name in ("mqtt_work", "hardware_watchdog", "hardware_watchdog_disable", "pg_support",
                                "vision_maxtemperature", "all_temperature_network_byte_order",
                                "hikvision_linkage")],
]


@pytest.mark.parametrize("name, change", SETTINGS, ids=[s[0] for s in SETTINGS])
def test_setting_reaches_the_device(sim: Simulator, name: str, change: Callable[[Any], Any]) -> None:
    with qznds.Device(sim.address) as dev:
        dev.read_config()
        new = change(getattr(dev, name))
        assert new != getattr(dev, name)
        setattr(dev, name, new)
        assert getattr(dev, name) == new
    with qznds.Device(sim.address) as fresh:
        fresh.read_config()
        assert getattr(fresh, name) == new


# The device confirms these writes with the read's answer; the library takes a
# write answered under its own sub command as refused.
CONFIRMED_WRITES = [
    ("account_info", lambda v: v[::-1] + b"\0\xff", "48:128:sub=128"),
    ("passive_wireless_power_status", lambda v: qznds.PowerStatus(v.status1 + 1, 7, 2**32 - 1), "49:130:sub=130"),
    ("passive_wireless_domain", lambda v: qznds.WirelessDomain(other_text(v.domain), v.value + 1), "49:132:sub=132"),
]


@pytest.mark.parametrize("name, change, fault", CONFIRMED_WRITES, ids=[w[0] for w in CONFIRMED_WRITES])
def test_writes_need_the_reads_answer(
    start_sim: SimFactory, name: str, change: Callable[[Any], Any], fault: str
) -> None:
    for sim, refused in ((start_sim(), False), (start_sim("--fault", fault), True)):
        with qznds.Device(sim.address) as dev:
            dev.read_config()  # these requests carry the serial number
            new = change(getattr(dev, name))
            with pytest.raises(qznds.DeviceError, match="qz_nds_set_" + name) if refused else nullcontext():
                setattr(dev, name, new)
            assert getattr(dev, name) == new


def test_osd_items_and_channel_are_set_and_restored(sim: Simulator, factory_state: dict[str, Any]) -> None:
    with qznds.Device(sim.address) as dev:
        old = dev.read_config()
        changed = {i: OsdItem(not old.osd_items[i].display, 9, i + 1, i + 2) for i in (0, 5, 11)}
        for osd_id, item in changed.items():
            dev.set_osd_item(osd_id, item)
        dev.channel = channel = qznds.Channel(other_text(old.channel.name), OsdItem(True, 9, 1, 2))
        assert [dev.osd_item(i) for i in (*changed, qznds.CHANNEL_NAME_ITEM)] == [*changed.values(), channel.item]
        assert dev.read_config().channel == channel
        dev.restore_osd()
        assert dev.read_config().channel.name == factory_state["channel_name"]


# set_system_time reaches the device in test_provision_example.
def test_visual_sn_reaches_the_device(sim: Simulator) -> None:
    with qznds.Device(sim.address) as dev:
        dev.set_visual_sn(True, False, "VS-0001")
    state = sim.saved_state()
    assert (state["visual_sn"], state["visual_support"], state["visual_same_ip"]) == ("VS-0001", 1, 0)

