"""The Ansible module, through the example playbook, against three simulated cameras."""

from __future__ import annotations

import json
import os
import re
import secrets
import shutil
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest
import qznds
from conftest import BINDING_DIR, REPO_DIR, SimFactory

ANSIBLE_DIR = REPO_DIR / "integrations" / "ansible"
RECAP = re.compile(r"^(cam\d)\s*:\s*ok=\d+\s+changed=(\d+)\s+unreachable=\d+\s+failed=(\d+)", re.M)


def test_the_playbook_applies_once_checks_without_writing_and_shows_the_diff(
    start_sim: SimFactory, tmp_path: Path
) -> None:
    playbook = shutil.which("ansible-playbook")
    if playbook is None:
        pytest.skip("ansible-playbook is not installed (scripts/setup-deps installs ansible-core)")
    # cam2 refuses every frame rate: its play fails, with the report.
    sims = [start_sim(), start_sim(), start_sim("--fault", "169:147:code=2")]
    with qznds.Device(sims[0].address) as dev:
        old = dev.export_config()["settings"]
    wanted = {"framerate": old["framerate"] % 60 + 1, "hdmi": not old["hdmi"]}
    passwd = "pw-" + secrets.token_hex(4)
    (tmp_path / "doc.json").write_text(json.dumps({"version": 1, "settings": wanted}))
    # The tool's own inventory, through the inventory script; cam1 keeps its HDMI as it is.
    devices = [{"address": sim.address, "name": f"cam{i}"} for i, sim in enumerate(sims)]
    devices[1]["settings"] = {"hdmi": old["hdmi"]}
    hosts = [device["name"] for device in devices]
    (tmp_path / "fleet.json").write_text(json.dumps({"devices": devices}))
    (tmp_path / "vars.json").write_text(json.dumps({
        "config_file": str(tmp_path / "doc.json"),
        "qznds_secrets": {"mqtt_passwd": passwd},
        "ansible_python_interpreter": sys.executable,
    }))
    (tmp_path / "ansible.cfg").write_text("")
    env = dict(os.environ, ANSIBLE_CONFIG=str(tmp_path / "ansible.cfg"), ANSIBLE_HOME=str(tmp_path / "home"),
               ANSIBLE_LOCAL_TEMP=str(tmp_path / "tmp"), ANSIBLE_REMOTE_TEMP=str(tmp_path / "tmp"),
               ANSIBLE_LIBRARY=str(ANSIBLE_DIR / "library"), ANSIBLE_NOCOLOR="1",
               PYTHONPATH=str(BINDING_DIR),  # QZNDS_LIBRARY: set by conftest
               QZNDS_INVENTORY=str(tmp_path / "fleet.json"))

    def play(*flags: str) -> tuple[str, dict[str, tuple[int, int]]]:
        run = subprocess.run([playbook, "-i", str(ANSIBLE_DIR / "inventory" / "qznds_inventory.py"),
                              "-e", f"@{tmp_path / 'vars.json'}", str(ANSIBLE_DIR / "examples" / "apply.yml"),
                              *flags],
                             capture_output=True, text=True, env=env, cwd=tmp_path, timeout=60)
        assert passwd not in run.stdout + run.stderr
        recap = {host: (int(changed), int(failed)) for host, changed, failed in RECAP.findall(run.stdout)}
        assert run.returncode == (2 if any(failed for _, failed in recap.values()) else 0), run.stdout + run.stderr
        return run.stdout, recap

    def settings() -> list[dict[str, Any]]:
        found = []
        for sim in sims:
            with qznds.Device(sim.address) as dev:
                found.append(dev.export_config(secrets=True)["settings"])
        return found

    before = settings()
    checked, check_recap = play("--check", "--diff")
    assert settings() == before
    assert check_recap == dict.fromkeys(hosts, (1, 0))
    for name, value in (("framerate", old["framerate"]), ("hdmi", old["hdmi"])):
        assert re.search(rf'^-\s+"{name}": {json.dumps(value)},?$', checked, re.M), checked
        assert re.search(rf'^\+\s+"{name}": {json.dumps(wanted[name])},?$', checked, re.M), checked

    first, first_recap = play()
    assert first_recap == {"cam0": (1, 0), "cam1": (1, 0), "cam2": (0, 1)}
    assert "settings not applied: set framerate: the device refused" in first and '"refused": 1' in first
    after = settings()
    assert [(s["framerate"], s["hdmi"], s["mqtt_passwd"]) for s in after] == [
        (wanted["framerate"], wanted["hdmi"], passwd), (wanted["framerate"], old["hdmi"], passwd),
        (old["framerate"], wanted["hdmi"], passwd)]

    _, second_recap = play()
    assert second_recap == {"cam0": (0, 0), "cam1": (0, 0), "cam2": (0, 1)}
