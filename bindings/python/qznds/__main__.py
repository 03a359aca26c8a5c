"""python3 -m qznds --device HOST[:PORT] info|export

info     the configuration record, one setting a line
export   every setting the device can report, as one JSON document

Exit codes as the qznds tool's: 0 success, 1 failed, 2 usage, 4 unreachable,
5 refused, 6 timeout, 7 an answer the library could not use.
"""

from __future__ import annotations

import argparse
import dataclasses
import json
import sys
from typing import Any, Optional, Sequence

from . import Device, DeviceAnswerError, DeviceError, DeviceRefused, DeviceTimeout, DeviceUnreachable, LibraryNotFoundError

# The device queries that can be read, beside the configuration record.
QUERIES = (
    "account_info",
    "passive_wireless_power_status",
    "passive_wireless_domain",
    "visual_ip",
    "visual_user",
    "visual_passwd",
    "visual_zoom_control_flag",
    "visual_gotopreset_when_start",
    "mqtt_broker",
    "gb28181",
    "hardware_watchdog",
    "hardware_watchdog_disable",
    "hardware_watchdog_disable_time",
    "disable_temperature_correct_status",
    "vision_maxtemperature",
    "all_temperature_network_byte_order",
    "hikvision_linkage",
    "pg_support",
)

EXIT_CODES = ((DeviceUnreachable, 4), (DeviceRefused, 5), (DeviceTimeout, 6), (DeviceAnswerError, 7))


def plain(value: Any) -> Any:
    """A setting as JSON values: records as objects, bytes as {"hex": ...}."""
    if dataclasses.is_dataclass(value) and not isinstance(value, type):
        return {field.name: plain(getattr(value, field.name)) for field in dataclasses.fields(value)}
    if isinstance(value, (tuple, list)):
        return [plain(item) for item in value]
    if isinstance(value, bytes):
        return {"hex": value.hex()}
    return value


def info_lines(settings: dict[str, Any], prefix: str = "") -> list[str]:
    lines = []
    for name, value in settings.items():
        if isinstance(value, dict) and "hex" not in value:
            lines += info_lines(value, f"{prefix}{name}.")
        elif isinstance(value, list) and value and isinstance(value[0], dict):
            lines += info_lines({str(i): item for i, item in enumerate(value)}, f"{prefix}{name}.")
        else:
            lines.append(f"{prefix}{name}: {json.dumps(value)}")
    return lines


def main(argv: Optional[Sequence[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="python3 -m qznds", description="Read a camera's settings.")
    parser.add_argument("--device", required=True, metavar="HOST[:PORT]", help="the camera's address")
    parser.add_argument("command", choices=("info", "export"))
    args = parser.parse_args(argv)
    try:
        with Device(args.device) as dev:
            config = plain(dev.read_config())
            if args.command == "info":
                print("\n".join(info_lines(config)))
            else:
                settings = {"config": config, **{name: plain(getattr(dev, name)) for name in QUERIES}}
                print(json.dumps(settings, indent=2))
    except DeviceError as exc:
        print(f"qznds: {exc}", file=sys.stderr)
        return next((code for cls, code in EXIT_CODES if isinstance(exc, cls)), 1)
    except LibraryNotFoundError as exc:
        print(f"qznds: {exc}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
