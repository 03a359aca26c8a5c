"""Failures: each way a call can fail raises its own DeviceError subclass, saying why."""

from __future__ import annotations

import socket
from typing import Any, Callable, Iterator, Optional

import pytest
import qznds
from conftest import SimFactory
from qznds import ErrorKind as K


def disconnected_query(dev: qznds.Device) -> Any:
    assert dev.connected
    dev.disconnect()
    assert not dev.connected
    return dev.pg_support


# simulator faults, what fails, raised class, kind, response code, command, words of the message
FAILURES: list[tuple[tuple[str, ...], Callable[[qznds.Device], Any], type, K, int, tuple[int, int], str]] = [
    ((), lambda d: setattr(d, "framerate", 0), qznds.DeviceRefused, K.REFUSED, 2, (169, 147),
     "the device refused the request (response code 2, command 169/147)"),
    # The library's MQTT functions return true here: the binding reads the record.
    (("169:158:code=2",), lambda d: setattr(d, "mqtt_port", 4242), qznds.DeviceRefused, K.REFUSED, 2, (169, 158),
     "refused"),
    (("169:157:code=2",), lambda d: d.mqtt_ip, qznds.DeviceRefused, K.REFUSED, 2, (169, 157), "refused"),
    (("169:181:drop",), lambda d: d.vision_maxtemperature, qznds.DeviceTimeout, K.TIMEOUT, 0, (169, 181),
     "no answer"),
    (("174:130:truncate=2",), lambda d: d.read_config(), qznds.DeviceAnswerError, K.BAD_ANSWER, 0, (174, 130),
     "answer could not be used"),
    (("48:129:truncate=2",), lambda d: d.account_info, qznds.DeviceAnswerError, K.BAD_ANSWER, 0, (48, 129),
     "answer could not be used"),
    (("169:181:close=3",), lambda d: d.vision_maxtemperature, qznds.DeviceConnectionLost, K.CONNECTION_LOST, 0,
     (169, 181), "connection to the device was lost"),
    ((), disconnected_query, qznds.DeviceUnreachable, K.NOT_CONNECTED, 0, (169, 185), "not connected"),
    ((), lambda d: setattr(d, "visual_ip", "x" * (1 << 21)), qznds.DeviceArgumentError, K.BAD_ARGUMENT, 0,
     (169, 148), "argument was refused"),
]


@pytest.mark.parametrize("case", FAILURES, ids=[f"{f[3].name}-{f[5]}" for f in FAILURES])
def test_each_failure_raises_its_class_with_the_cause(start_sim: SimFactory, case: tuple) -> None:
    faults, fail, error, kind, code, command, words = case
    sim = start_sim(*(arg for fault in faults for arg in ("--fault", fault)))
    with qznds.Device(sim.address) as dev:
        with pytest.raises(qznds.DeviceError) as info:
            fail(dev)
    exc = info.value
    assert type(exc) is error
    assert (exc.kind, exc.response_code, exc.command, exc.address) == (kind, code, command, sim.address)
    assert str(exc).startswith(f"{exc.function} failed on {sim.address}: ") and words in str(exc), str(exc)


@pytest.fixture
def unused_port() -> Iterator[int]:
    with socket.socket() as reserved:  # bound but not listening: connections are refused
        reserved.bind(("127.0.0.1", 0))
        yield reserved.getsockname()[1]


@pytest.mark.parametrize("address, kind, call", [
    ("127.0.0.1:{port}", K.CONNECT_FAILED, None),
    ("127.0.0.1:{port}", K.NOT_CONNECTED, lambda d: d.keep_alive()),  # a Device that is not open
])
def test_an_unreachable_device_raises_device_unreachable(
    unused_port: int, address: str, kind: K, call: Optional[Callable[[qznds.Device], Any]]
) -> None:
    dev = qznds.Device(address.format(port=unused_port))
    assert not dev.connected
    with pytest.raises(qznds.DeviceUnreachable) as info:
        dev.open() if call is None else call(dev)
    assert (type(info.value), info.value.kind, info.value.command, dev.is_open, dev.connected) == (
        qznds.DeviceUnreachable, kind, None, False, False)


def test_account_info_larger_than_the_first_buffer_is_read_whole(start_sim: SimFactory) -> None:
    info = bytes(i % 251 for i in range(5000))
    sim = start_sim("--fault", "48:129:payload=" + (len(info).to_bytes(4, "big") + info).hex())
    with qznds.Device(sim.address) as dev:
        assert dev.account_info == info

