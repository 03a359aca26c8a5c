"""python3 -m qznds --device HOST[:PORT] info|export [--secrets]

info     every setting the device reports, one a line
export   the same as one configuration document (JSON), as Device.export_config() gives it
--secrets includes the secret settings (passwords, account info)

Exit codes as the qznds tool's: 0 success, 1 failed, 2 usage, 4 unreachable,
5 refused, 6 timeout, 7 an answer the library could not use.
"""

from __future__ import annotations

import argparse
import json
import sys
from typing import Any, Optional, Sequence

from . import Device, DeviceAnswerError, DeviceError, DeviceRefused, DeviceTimeout, DeviceUnreachable, LibraryNotFoundError

EXIT_CODES = ((DeviceUnreachable, 4), (DeviceRefused, 5), (DeviceTimeout, 6), (DeviceAnswerError, 7))


def info_lines(document: dict[str, Any]) -> list[str]:
    """The identity, then each setting as NAME: VALUE (compact JSON), then what the device
    would not report."""
    lines = [f"device.{name}: {json.dumps(value)}" for name, value in document["device"].items()]
    lines += [f"{name}: {json.dumps(value)}" for name, value in document["settings"].items()]
    for name, why in document.get("unreadable", {}).items():
        code = f", response code {why['code']}" if "code" in why else ""
        lines.append(f"{name}: unreadable ({why['kind']}{code})")
    return lines


def main(argv: Optional[Sequence[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="python3 -m qznds", description="Read a camera's settings.")
    parser.add_argument("--device", required=True, metavar="HOST[:PORT]", help="the camera's address")
    parser.add_argument("--secrets", action="store_true", help="include the passwords and the account info")
    parser.add_argument("command", choices=("info", "export"))
    args = parser.parse_args(argv)
    try:
        with Device(args.device) as dev:
            document = dev.export_config(secrets=args.secrets)
    except DeviceError as exc:
        print(f"qznds: {exc}", file=sys.stderr)
        return next((code for cls, code in EXIT_CODES if isinstance(exc, cls)), 1)
    except LibraryNotFoundError as exc:
        print(f"qznds: {exc}", file=sys.stderr)
        return 1
    print("\n".join(info_lines(document)) if args.command == "info" else json.dumps(document, indent=2))
    return 0


if __name__ == "__main__":
    sys.exit(main())
