#!/usr/bin/python3
"""Ansible module qznds_config: makes a camera match a configuration document."""

from __future__ import annotations

import json
import sys
from typing import Any

from ansible.module_utils.basic import AnsibleModule

DOCUMENTATION = r"""
module: qznds_config
short_description: Make a camera match a qz_nds configuration document
description:
  - Applies a configuration document (as C(python3 -m qznds export) writes it, whole or any part of it) to
    one camera through the qznds Python binding. The document is checked as a whole before anything is
    sent; then only the settings that differ are written, and each write is read back.
  - In check mode nothing is written; C(changed) then says whether anything would be.
  - "The module talks to the camera from the host it runs on: run it with C(connection: local)."
options:
  address:
    description: The camera's address, HOST:PORT.
    type: str
    required: true
  document:
    description: The document as a mapping (C(version), C(settings)). One of I(document) and I(src).
    type: dict
  src:
    description: Path of a JSON document on the host the module runs on. One of I(document) and I(src).
    type: path
  settings:
    description: This camera's own settings (such as its IP settings) laid over the document's; the
      qznds inventory script gives them as C(qznds_settings).
    type: dict
  secrets:
    description: Settings merged over the document's settings (passwords, account info); never logged.
    type: dict
  binding_path:
    description: The folder holding the qznds package (bindings/python), when it is not on PYTHONPATH.
    type: path
  library:
    description: Full path of the qz_net_dev_setting shared library; by default the binding's own search
      (C(QZNDS_LIBRARY), beside the package, the system).
    type: path
"""

EXAMPLES = r"""
- name: Apply the fleet's configuration
  qznds_config:
    address: "{{ qznds_address }}"
    src: "{{ playbook_dir }}/camera.json"
    secrets:
      mqtt_passwd: "{{ vault_mqtt_passwd }}"

- name: Set one setting
  qznds_config:
    address: 192.0.2.10:63201
    document:
      settings:
        framerate: 30
"""

RETURN = r"""
report:
  description: The library's report, one entry per setting of the document (unchanged, changed,
    would_change, refused, failed), with counts; secret values show as "********".
  returned: always, when the camera was reached
  type: dict
diff:
  description: Before and after of the settings that changed (or would change), with --diff.
  returned: when diff mode is on
  type: dict
"""

WRITTEN = ("changed", "would_change")


def import_binding(module: AnsibleModule) -> Any:
    if module.params["binding_path"]:
        sys.path.insert(0, module.params["binding_path"])
    try:
        import qznds
    except ImportError as exc:
        module.fail_json(msg=f"the qznds binding cannot be imported ({exc}): put bindings/python on "
                         "PYTHONPATH or give binding_path")
    return qznds


def wanted_document(module: AnsibleModule) -> dict[str, Any]:
    """The document to apply, the camera's own settings and the secrets merged into its settings."""
    src = module.params["src"]
    if src:
        try:
            with open(src, encoding="utf-8") as file:
                document = json.load(file)
        except (OSError, ValueError) as exc:
            module.fail_json(msg=f"cannot read the document {src}: {exc}")
        if not isinstance(document, dict):
            module.fail_json(msg=f"the document {src} is not a JSON object")
    else:
        document = dict(module.params["document"])
    own = module.params["settings"] or {}
    secrets = module.params["secrets"] or {}
    if own or secrets:
        settings = document.get("settings", {})
        if not isinstance(settings, dict):
            module.fail_json(msg='the document\'s "settings" is not a mapping')
        document["settings"] = {**settings, **own, **secrets}
    return document


def failure_message(report: dict[str, Any]) -> str:
    failed = [entry for entry in report["settings"] if entry["status"] in ("refused", "failed")]
    first = f": {failed[0]['message']}" if failed and "message" in failed[0] else ""
    return f"{len(failed)} of {len(report['settings'])} settings not applied{first}"


def diff_of(address: str, report: dict[str, Any]) -> dict[str, Any]:
    moved = [entry for entry in report["settings"] if entry["status"] in WRITTEN]
    return {
        "before_header": address,
        "after_header": address,
        "before": {entry["setting"]: entry["before"] for entry in moved if "before" in entry},
        "after": {entry["setting"]: entry["after"] for entry in moved},
    }


def main() -> None:
    module = AnsibleModule(
        argument_spec={
            "address": {"type": "str", "required": True},
            "document": {"type": "dict"},
            "src": {"type": "path"},
            "settings": {"type": "dict"},
            "secrets": {"type": "dict", "no_log": True},
            "binding_path": {"type": "path"},
            "library": {"type": "path"},
        },
        mutually_exclusive=[("document", "src")],
        required_one_of=[("document", "src")],
        supports_check_mode=True,
    )
    qznds = import_binding(module)
    document = wanted_document(module)
    address = module.params["address"]
    try:
        library = qznds.load([module.params["library"]]) if module.params["library"] else None
        with qznds.Device(address, library=library) as dev:
            report = dev.apply_config(document, dry_run=module.check_mode)
    except qznds.DeviceError as exc:  # a report only when the camera was reached
        module.fail_json(msg=str(exc), **({"report": exc.report} if exc.report else {}))
    except (qznds.LibraryNotFoundError, TypeError, ValueError) as exc:
        module.fail_json(msg=str(exc))

    result: dict[str, Any] = {
        "changed": report["counts"].get("would_change" if module.check_mode else "changed", 0) > 0,
        "report": report,
    }
    if module._diff:
        result["diff"] = diff_of(address, report)
    if not report["ok"]:
        module.fail_json(msg=failure_message(report), **result)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
