#!/usr/bin/env python3
"""Provision cameras: read each serial number, set one MQTT broker and the system time on all.

    provision.py --broker 10.0.0.5:1883 [--user U --passwd P] ADDRESS [ADDRESS ...]

Devices are handled in parallel, one session each. Exits 1 when any device failed.
"""

from __future__ import annotations

import argparse
import sys
from concurrent.futures import ThreadPoolExecutor
from datetime import datetime
from typing import Optional, Sequence

import qznds


def provision(address: str, broker: qznds.MqttBroker, block: bytes) -> tuple[str, str]:
    """Returns the device's serial number and the outcome."""
    serial = "-"
    try:
        with qznds.Device(address) as dev:
            serial = dev.read_config().serial_number
            dev.mqtt_broker = broker
            dev.set_system_time(block)
        return serial, "ok"
    except qznds.DeviceError as exc:  # the export that failed, and why: "(refused)", "(timeout)", ...
        return serial, f"failed: {exc.function} ({exc.kind.name.lower()})"


def parse_broker(text: str) -> tuple[str, int]:
    host, sep, port = text.rpartition(":")
    if not sep or not host or not port.isdigit():
        raise argparse.ArgumentTypeError("expected HOST:PORT")
    return host, int(port)


def main(argv: Optional[Sequence[str]] = None) -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("addresses", nargs="+", metavar="ADDRESS", help="camera address, host[:port]")
    parser.add_argument("--broker", required=True, type=parse_broker, help="MQTT broker as HOST:PORT")
    parser.add_argument("--user", default="", help="MQTT login user")
    parser.add_argument("--passwd", default="", help="MQTT login password")
    args = parser.parse_args(argv)

    host, port = args.broker
    broker = qznds.MqttBroker(host, port, args.user, args.passwd, work=True)
    moment = datetime.now().replace(microsecond=0)
    # The SDK sends the block unchanged: this is the project's layout, in local time.
    block = qznds.system_time_block(moment)

    with ThreadPoolExecutor(max_workers=min(8, len(args.addresses))) as pool:
        results = list(pool.map(lambda a: provision(a, broker, block), args.addresses))

    rows = [("ADDRESS", "SERIAL", "BROKER", "TIME", "RESULT")]
    stamp = moment.strftime("%Y-%m-%d %H:%M:%S")
    for address, (serial, outcome) in zip(args.addresses, results):
        rows.append((address, serial, f"{host}:{port}", stamp, outcome))
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    return 0 if all(outcome == "ok" for _, outcome in results) else 1


if __name__ == "__main__":
    sys.exit(main())
