"""Offline installation as the README says, and finding the library where packages put it."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest
from conftest import BINDING_DIR, LIBRARY, Simulator


def clean_env(**extra: str) -> dict[str, str]:
    env = {k: v for k, v in os.environ.items() if k not in ("QZNDS_LIBRARY", "PYTHONPATH", "LD_LIBRARY_PATH")}
    return {**env, "PIP_NO_INDEX": "1", **extra}  # nothing may come from an index


# The README's recipe with the python3 first on PATH (a non-Debian one where there is
# one), and a wheel that bundles the shared libraries.
@pytest.mark.parametrize("python, bundled, command", [("python3", False, "export"), (sys.executable, True, "info")],
                         ids=["path-python3-source", "bundled-wheel"])
def test_pip_installs_offline_and_the_module_reads_the_device(
    tmp_path: Path, sim: Simulator, factory_state: dict[str, Any], python: str, bundled: bool, command: str
) -> None:
    source, venv = tmp_path / "src", tmp_path / "venv"
    shutil.copytree(BINDING_DIR, source, ignore=shutil.ignore_patterns("tests", "__pycache__"))
    env = clean_env() if bundled else clean_env(QZNDS_LIBRARY=str(LIBRARY))
    subprocess.run([python, "-m", "venv", str(venv)], check=True, env=env, timeout=120)
    venv_python = str(venv / "bin" / "python")
    package = source
    if bundled:
        for library in LIBRARY.parent.glob("*" + LIBRARY.suffix):
            shutil.copy2(library, source / "qznds")
        subprocess.run([venv_python, "-m", "pip", "wheel", "-q", "--no-deps", "-w", str(tmp_path), str(source)],
                       check=True, env=env, timeout=300)
        (package,) = tmp_path.glob("qznds-*.whl")
        assert not package.name.endswith("-any.whl"), package.name
    subprocess.run([venv_python, "-m", "pip", "install", "-q", str(package)], check=True, env=env, timeout=300)

    run = subprocess.run([venv_python, "-m", "qznds", "--device", sim.address, command],
                         capture_output=True, text=True, env=env, cwd=tmp_path, timeout=60)

    assert run.returncode == 0, run.stderr
    serial = factory_state["device_sn"]
    if command == "export":
        assert json.loads(run.stdout)["device"]["serial_number"] == serial
    else:
        assert f"device.serial_number: {json.dumps(serial)}" in run.stdout.splitlines()
    installed = next(venv.glob("lib/python3*/site-packages/qznds"))
    assert (installed / LIBRARY.name).exists() == bundled


def test_the_library_is_found_under_its_soname_alone(tmp_path: Path) -> None:
    """A runtime package installs only the sonames (libqz_net_dev_setting.so.0, ...)."""
    for library in LIBRARY.parent.glob("*.so.0"):
        shutil.copy2(library, tmp_path)
    check = "import qznds; print(qznds.library_version())"
    run = subprocess.run([sys.executable, "-c", check], capture_output=True, text=True, timeout=60,
                         env=clean_env(LD_LIBRARY_PATH=str(tmp_path), PYTHONPATH=str(BINDING_DIR)))
    assert run.returncode == 0 and run.stdout.strip(), run.stderr
