#!/usr/bin/python3
"""Ansible inventory script: the cameras of a qznds inventory as the group "cameras".

    QZNDS_INVENTORY=fleet.json ansible-playbook -i qznds_inventory.py apply.yml

The file named by QZNDS_INVENTORY is the one `qznds --inventory` reads: JSON
({"devices": [{"address": ..., "name": ..., "settings": {...}}]}, or a bare
list) or lines of `ADDRESS [NAME]` with # comments. Each device becomes a host
named after it, with `qznds_address` and, when it has settings of its own,
`qznds_settings`. So one file serves the command-line tool, the console and
Ansible.
"""

from __future__ import annotations

import json
import os
import sys
from typing import Any

GROUP = "cameras"
MAX_BYTES = 16 << 20


class InventoryError(Exception):
    pass


def devices_of(text: str) -> list[dict[str, Any]]:
    """The devices of an inventory's text, each {"address", "name"[, "settings"]}."""
    if text.lstrip()[:1] in ("{", "["):
        try:
            doc = json.loads(text)
        except ValueError as exc:
            raise InventoryError(f"not JSON: {exc}") from None
        items = doc.get("devices") if isinstance(doc, dict) else doc
        if not isinstance(items, list):
            raise InventoryError('no "devices" list')
    else:
        items = []
        for line in text.splitlines():
            words = line.split("#", 1)[0].split()
            if words:
                items.append({"address": words[0], "name": words[1] if len(words) > 1 else words[0]})
    devices = []
    for number, item in enumerate(items, 1):
        if isinstance(item, str):
            item = {"address": item}
        if not isinstance(item, dict) or not isinstance(item.get("address"), str):
            raise InventoryError(f'device {number} has no "address"')
        if not isinstance(item.get("settings", {}), dict):
            raise InventoryError(f'device {number}: "settings" is not an object')
        devices.append({**item, "name": str(item.get("name", item["address"]))})
    if not devices:
        raise InventoryError("lists no device")
    return devices


def ansible_inventory(devices: list[dict[str, Any]]) -> dict[str, Any]:
    hostvars = {}
    for device in devices:
        if device["name"] in hostvars:
            raise InventoryError(f'two devices are named "{device["name"]}"')
        hostvars[device["name"]] = {"qznds_address": device["address"]}
        if device.get("settings"):
            hostvars[device["name"]]["qznds_settings"] = device["settings"]
    return {GROUP: {"hosts": list(hostvars)}, "_meta": {"hostvars": hostvars}}


def main(argv: list[str]) -> int:
    path = os.environ.get("QZNDS_INVENTORY")
    if not path:
        print("qznds_inventory: set QZNDS_INVENTORY to the qznds inventory file", file=sys.stderr)
        return 1
    try:
        with open(path, encoding="utf-8") as file:
            text = file.read(MAX_BYTES + 1)
        if len(text) > MAX_BYTES:
            raise InventoryError("larger than 16 MiB")
        inventory = ansible_inventory(devices_of(text))
    except (OSError, InventoryError) as exc:
        print(f"qznds_inventory: inventory {path}: {exc}", file=sys.stderr)
        return 1
    if len(argv) > 2 and argv[1] == "--host":
        print(json.dumps(inventory["_meta"]["hostvars"].get(argv[2], {})))
    else:
        print(json.dumps(inventory))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
