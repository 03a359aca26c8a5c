"""Calls from several Python threads run side by side."""

from __future__ import annotations

import threading
import time
from concurrent.futures import ThreadPoolExecutor

import qznds
from conftest import SimFactory


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
