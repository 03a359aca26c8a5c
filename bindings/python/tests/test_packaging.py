"""Offline installation with the shared libraries shipped beside the package."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
from pathlib import Path
from typing import Any

from conftest import BINDING_DIR, LIBRARY, Simulator

CHECK = """import sys, qznds
with qznds.Device(sys.argv[1]) as d: print(qznds.__file__, d.read_config().serial_number)"""


def test_pip_installs_offline_and_finds_the_library_beside_the_package(
    tmp_path: Path, sim: Simulator, factory_state: dict[str, Any]
) -> None:
    source, venv = tmp_path / "src", tmp_path / "venv"
    shutil.copytree(BINDING_DIR, source, ignore=shutil.ignore_patterns("tests", "build", "*.egg-info"))
    for library in LIBRARY.parent.glob("*" + LIBRARY.suffix):
        shutil.copy2(library, source / "qznds")
    # The system's pip and setuptools serve the environment: nothing is downloaded.
    subprocess.run([sys.executable, "-m", "venv", "--without-pip", "--system-site-packages", str(venv)],
                   check=True, timeout=120)
    python = venv / ("Scripts/python.exe" if sys.platform == "win32" else "bin/python")
    env = {k: v for k, v in os.environ.items() if k not in ("QZNDS_LIBRARY", "PYTHONPATH")}
    install = ["install", "--no-build-isolation", "--no-index", "--quiet", str(source)]
    subprocess.run([str(python), "-m", "pip", *install], check=True, env=env, timeout=300)

    run = subprocess.run([str(python), "-c", CHECK, sim.address], capture_output=True, text=True, env=env,
                         cwd=tmp_path, timeout=60)

    assert run.returncode == 0, run.stderr
    installed, serial = run.stdout.split()
    assert (Path(installed).parent / LIBRARY.name).exists() and Path(installed).is_relative_to(venv)
    assert serial == factory_state["device_sn"]
