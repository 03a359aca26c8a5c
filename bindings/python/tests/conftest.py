"""Fixtures: the build under test and simulated devices on loopback ports."""

from __future__ import annotations

import json
import os
import selectors
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Any, Callable, Iterator, Optional

import pytest

BINDING_DIR = Path(__file__).resolve().parents[1]
REPO_DIR = BINDING_DIR.parents[1]
sys.path.insert(0, str(BINDING_DIR))

import qznds  # noqa: E402  (loads no library until a Device opens)

BUILD_DIR = Path(os.environ.get("QZNDS_BUILD_DIR", REPO_DIR / "build" / "debug"))
LIBRARY = BUILD_DIR / ("bin" if sys.platform == "win32" else "lib") / qznds.LIBRARY_NAME
SIMULATOR = BUILD_DIR / "bin" / ("qznds-sim.exe" if sys.platform == "win32" else "qznds-sim")
HEADER = REPO_DIR / "include" / "qz_net_dev_setting.h"
EXT_HEADERS = (REPO_DIR / "include" / "qz_nds_ext.h", REPO_DIR / "include" / "qz_nds_config.h")
os.environ.setdefault("QZNDS_LIBRARY", str(LIBRARY))  # inherited by the example's processes
TIMEOUT_S = 10.0


class Simulator:
    """One qznds-sim on 127.0.0.1, on a port of the system's choosing."""

    def __init__(self, workdir: Path, state: Optional[dict[str, Any]], args: tuple[str, ...]) -> None:
        self.saved_path, state_path = workdir / f"saved-{id(self)}.json", workdir / f"state-{id(self)}.json"
        command = [str(SIMULATOR), "--listen", "127.0.0.1:0", "--quiet", "--save-state", str(self.saved_path)]
        if state is not None:
            state_path.write_text(json.dumps(state))
            command += ["--state", str(state_path)]
        self.process = subprocess.Popen(command + list(args), stdout=subprocess.PIPE, text=True)
        try:
            assert self.process.stdout is not None
            with selectors.DefaultSelector() as selector:
                selector.register(self.process.stdout, selectors.EVENT_READ)
                selector.select(TIMEOUT_S)
            line = self.process.stdout.readline()  # "qznds-sim listening on ADDR:PORT", once accepting
            if not line.startswith("qznds-sim listening on "):
                raise RuntimeError(f"qznds-sim did not report its port: {line!r}")
            self.address = line.split()[-1]
            self._wait_for_stop_handler()
        except Exception:
            self.stop()
            raise

    def _wait_for_stop_handler(self) -> None:
        """SIGTERM is caught only after the port is reported; a stop before that would lose
        the saved settings. Linux shows the caught signals in /proc."""
        status = Path(f"/proc/{self.process.pid}/status")
        deadline = time.monotonic() + TIMEOUT_S
        while status.exists() and time.monotonic() < deadline:
            caught = next(line for line in status.read_text().splitlines() if line.startswith("SigCgt:"))
            if int(caught.split()[1], 16) & (1 << (signal.SIGTERM - 1)):
                return
            time.sleep(0.01)

    def stop(self) -> None:
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout=TIMEOUT_S)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        if self.process.stdout is not None:
            self.process.stdout.close()

    def saved_state(self) -> dict[str, Any]:
        """Stops the device and returns its settings as the clients left them."""
        self.stop()
        return json.loads(self.saved_path.read_text())


SimFactory = Callable[..., Simulator]


@pytest.fixture(scope="session", autouse=True)
def built() -> None:
    for path in (LIBRARY, SIMULATOR):
        if not path.exists():
            pytest.fail(f"{path} is missing: build the project or set QZNDS_BUILD_DIR", pytrace=False)


@pytest.fixture
def start_sim(tmp_path: Path) -> Iterator[SimFactory]:
    """start_sim(*args, state=None) starts a simulator; all stop at teardown."""
    started: list[Simulator] = []

    def start(*args: str, state: Optional[dict[str, Any]] = None) -> Simulator:
        started.append(Simulator(tmp_path, state, args))
        return started[-1]

    yield start
    for sim in started:
        sim.stop()


@pytest.fixture
def sim(start_sim: SimFactory) -> Simulator:
    return start_sim()


@pytest.fixture(scope="session")
def factory_state() -> dict[str, Any]:
    out = subprocess.run([str(SIMULATOR), "--print-state"], capture_output=True, text=True, timeout=TIMEOUT_S)
    return json.loads(out.stdout)
