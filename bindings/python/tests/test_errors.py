"""Failures: what raises DeviceError, and what the MQTT family reports instead."""

from __future__ import annotations

import socket
from typing import Any, Callable

import pytest
import qznds
from conftest import SimFactory


def test_a_refused_value_raises_and_the_session_keeps_the_old_one(device: qznds.Device) -> None:
    before = device.read_config().framerate
    with pytest.raises(qznds.DeviceError) as info:
        device.framerate = 0  # the device takes 1 to 60
    assert (info.value.operation, info.value.address) == ("qz_nds_set_framerate", device.address)
    assert device.framerate == before


def test_connecting_where_nobody_listens_raises() -> None:
    with socket.socket() as reserved:  # bound but not listening: connections are refused
        reserved.bind(("127.0.0.1", 0))
        dev = qznds.Device(f"127.0.0.1:{reserved.getsockname()[1]}")
        with pytest.raises(qznds.DeviceError, match="^qz_nds_connect failed"):
            dev.open()
    assert not dev.is_open
    with pytest.raises(qznds.DeviceError, match="not open"):
        dev.keep_alive()


@pytest.mark.parametrize("fault, read", [
    ("169:181:code=3", lambda d: d.vision_maxtemperature),
    ("174:130:code=2", lambda d: d.read_config()),
    ("48:129:truncate=2", lambda d: d.account_info),
])
def test_a_failed_query_raises(
    start_sim: SimFactory, fault: str, read: Callable[[qznds.Device], Any]
) -> None:
    with qznds.Device(start_sim("--fault", fault).address) as dev:
        with pytest.raises(qznds.DeviceError, match=r"^qz_nds_\w+ failed on 127\.0\.0\.1:"):
            read(dev)


def test_mqtt_exchanges_fail_silently(start_sim: SimFactory, factory_state: dict[str, Any]) -> None:
    sim = start_sim(*(arg for sub in (157, 158, 159) for arg in ("--fault", f"169:{sub}:code=2")))
    with qznds.Device(sim.address) as dev:
        dev.mqtt_port = 4242  # refused by the device, yet no exception
        dev.mqtt_ip = "10.1.2.3"
        assert (dev.mqtt_port, dev.mqtt_ip) == (0, "")  # failed reads
    state = sim.saved_state()
    assert (state["mqtt_port"], state["mqtt_ip"]) == (factory_state["mqtt_port"], "10.1.2.3")


def test_account_info_larger_than_the_first_buffer_is_read_whole(start_sim: SimFactory) -> None:
    info = bytes(i % 251 for i in range(5000))
    sim = start_sim("--fault", "48:129:payload=" + (len(info).to_bytes(4, "big") + info).hex())
    with qznds.Device(sim.address) as dev:
        assert dev.account_info == info
