"""The provisioning example, run as a user would, against two simulated devices."""

from __future__ import annotations

import os
import secrets
import socket
import struct
import subprocess
import sys
from datetime import datetime

from conftest import BINDING_DIR, SimFactory


def test_provisions_every_reachable_device_and_prints_a_table(start_sim: SimFactory) -> None:
    serials = [f"SN{secrets.token_hex(6).upper()}" for _ in range(2)]
    sims = [start_sim(state={"device_sn": sn}) for sn in serials]
    before = datetime.now().replace(microsecond=0)
    with socket.socket() as reserved:  # a third address where nobody listens
        reserved.bind(("127.0.0.1", 0))
        dead = f"127.0.0.1:{reserved.getsockname()[1]}"
        result = subprocess.run(
            [sys.executable, str(BINDING_DIR / "examples" / "provision.py"), "--broker", "10.20.30.40:8883",
             "--user", "fleet", "--passwd", "s3cret", sims[0].address, sims[1].address, dead],
            capture_output=True, text=True, timeout=60, env=dict(os.environ, PYTHONPATH=str(BINDING_DIR)),
        )

    assert result.returncode == 1, result.stdout + result.stderr  # one device failed
    header, *rows = [line.split() for line in result.stdout.splitlines()]
    assert header == ["ADDRESS", "SERIAL", "BROKER", "TIME", "RESULT"]
    good = [[sim.address, sn, "10.20.30.40:8883"] for sim, sn in zip(sims, serials)]
    assert [row[:3] for row in rows[:2]] == good and [row[-1] for row in rows[:2]] == ["ok", "ok"]
    assert rows[2][:2] + rows[2][-3:] == [dead, "-", "failed:", "qz_nds_connect", "(connect_failed)"]

    states = [sim.saved_state() for sim in sims]
    for state in states:
        mqtt = [state[f"mqtt_{key}"] for key in ("ip", "port", "user", "passwd", "work")]
        assert mqtt == ["10.20.30.40", 8883, "fleet", "s3cret", 1]
    assert states[0]["system_time"] == states[1]["system_time"]
    fields = struct.unpack(">8H4s", bytes.fromhex(states[0]["system_time"]))  # the project's layout
    sent = datetime(*fields[:6])
    assert 0 <= (sent - before).total_seconds() < 30
    assert fields[6:] == (0, sent.isoweekday() % 7, bytes(4))
