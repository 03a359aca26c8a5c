"""The fleet console under test: qznds-sim with three cameras (the second
one silent) and qznds serve on a free loopback port, shared by the tests."""
import contextlib
import json
import os
import pathlib
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

import pytest

BUILD = pathlib.Path(os.environ.get("QZNDS_BUILD_DIR", pathlib.Path(__file__).parents[2] / "build/debug"))
SILENT = "cam-0002"


class Console:
    def __init__(self, url):
        self.url = url

    def call(self, method, path, body=None, raw=None, headers=None):
        """(status, JSON body) of one API call."""
        data = raw if raw is not None else (None if body is None else json.dumps(body).encode())
        all_headers = {"Content-Type": "application/json"} if data is not None else {}
        all_headers.update(headers or {})
        request = urllib.request.Request(self.url + path, data=data, method=method, headers=all_headers)
        try:
            with urllib.request.urlopen(request, timeout=30) as response:
                return response.status, json.loads(response.read())
        except urllib.error.HTTPError as error:
            return error.code, json.loads(error.read())

    def wait_for(self, check, seconds, what):
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            found = check()
            if found:
                return found
            time.sleep(0.2)
        pytest.fail("timed out waiting for " + what)


def stop(process):
    process.terminate()  # serve ends once a read under way does (up to 10 s)
    try:
        process.wait(timeout=15)
    except subprocess.TimeoutExpired:
        process.kill()
        pytest.fail("%s did not end on SIGTERM" % process.args[0])


@contextlib.contextmanager
def serving(inventory, *options):
    """A Console on `qznds serve` over the inventory, on a free loopback port."""
    server = subprocess.Popen([str(BUILD / "bin/qznds"), "serve", "--inventory", str(inventory),
                               "--listen", "127.0.0.1:0", "--interval", "2", *options],
                              stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    try:
        line = server.stderr.readline()
        assert "console on http://" in line, line
        yield Console(line.split("console on ")[1].strip().rstrip("/"))
    finally:
        stop(server)


@pytest.fixture(scope="session")
def fleet():
    """The inventory of the simulated fleet."""
    with tempfile.TemporaryDirectory() as tmp:
        inventory = pathlib.Path(tmp) / "inventory.json"
        sim = subprocess.Popen([str(BUILD / "bin/qznds-sim"), "--cameras", "3", "--listen", "127.0.0.1:0",
                                "--camera-fault", "2:silent", "--quiet", "--inventory-out", str(inventory)],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            deadline = time.monotonic() + 10
            while not inventory.exists() or not inventory.read_text().strip().endswith("}"):
                assert time.monotonic() < deadline, "qznds-sim wrote no inventory"
                time.sleep(0.05)
            yield inventory
        finally:
            stop(sim)


@pytest.fixture(scope="session")
def console(fleet):
    with serving(fleet) as console:
        yield console
