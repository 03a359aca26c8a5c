"""Several Python threads on one Device, and calls that run side by side."""

from __future__ import annotations

import threading
import time
from concurrent.futures import ThreadPoolExecutor

import qznds
from conftest import SimFactory, Simulator

ROUNDS = 20


def round_trips(dev: qznds.Device, worker: int) -> None:
    """Each worker owns one setting, so it must read back what it wrote."""
    for i in range(ROUNDS):
        name, value = [("mqtt_port", 1000 + i), ("visual_ip", f"10.0.0.{i}"), ("framerate", i + 1),
                       ("hardware_watchdog_disable_time", 200 + i), ("radar", i % 2 == 0)][worker]
        setattr(dev, name, value)
        assert getattr(dev, name) == value, name


def test_threads_sharing_one_device_each_see_their_own_answers(sim: Simulator) -> None:
    with qznds.Device(sim.address) as dev, ThreadPoolExecutor(max_workers=5) as pool:
        for future in [pool.submit(round_trips, dev, worker) for worker in range(5)]:
            future.result()
        assert dev.read_config().framerate == ROUNDS


def test_calls_run_in_parallel_without_the_interpreter_lock(start_sim: SimFactory) -> None:
    delay_ms, count = 500, 4
    sim = start_sim("--fault", f"all:delay={delay_ms}")  # the device answers one connection at a time
    devices = [qznds.Device(sim.address).open() for _ in range(count)]
    started = threading.Barrier(count)
    try:
        begin = time.monotonic()
        with ThreadPoolExecutor(max_workers=count) as pool:
            list(pool.map(lambda d: (started.wait(), d.pg_support), devices))
        elapsed = time.monotonic() - begin
    finally:
        for dev in devices:
            dev.close()
    assert elapsed < count * delay_ms / 1000 * 0.75, f"{count} calls of {delay_ms} ms took {elapsed:.2f} s"
