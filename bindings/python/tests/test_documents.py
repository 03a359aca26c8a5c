"""Configuration documents: export against the schema, apply and its report."""

from __future__ import annotations

import json
import secrets
import subprocess
import tempfile
from pathlib import Path
from typing import Any, Optional

import pytest
import qznds
from conftest import BUILD_DIR, SimFactory, Simulator


def test_export_follows_the_schema_and_holds_secrets_only_when_asked(start_sim: SimFactory) -> None:
    from jsonschema import Draft202012Validator

    schema = qznds.config_schema()
    Draft202012Validator.check_schema(schema)
    validator = Draft202012Validator(schema)
    catalogue = qznds.settings_catalogue()
    readable = {s["name"] for s in catalogue if s["readable"]}
    secret_names = {s["name"] for s in catalogue if s["readable"] and s["secret"]}
    passwd = "pw-" + secrets.token_hex(4)

    with qznds.Device(start_sim(state={"mqtt_passwd": passwd}).address) as dev:
        plain, full = dev.export_config(), dev.export_config(secrets=True)
        read_one_by_one = {name: dev.get_setting(name) for name in readable}

    # The tool's exports too: one camera to stdout, several to a folder (with a
    # name and address each).
    cams = [start_sim(), start_sim()]
    tool = str(BUILD_DIR / "bin" / "qznds")
    one = json.loads(subprocess.run([tool, "--device", cams[0].address, "export"], check=True,
                                    capture_output=True, text=True).stdout)
    with tempfile.TemporaryDirectory() as folder:
        inventory = Path(folder) / "cameras.txt"
        inventory.write_text("".join(f"{c.address} cam-{i}\n" for i, c in enumerate(cams)))
        subprocess.run([tool, "--inventory", str(inventory), "export", "-o", folder], check=True, capture_output=True)
        several = [json.loads((Path(folder) / f"cam-{i}.json").read_text()) for i in range(len(cams))]
    for document in [plain, full, one, *several]:
        validator.validate(document)
    assert not validator.is_valid({"settings": {"frame_rate": 30}})
    assert secret_names and set(plain["settings"]) == readable - secret_names and passwd not in json.dumps(plain)
    assert set(full["settings"]) == readable and full["settings"]["mqtt_passwd"] == passwd
    assert read_one_by_one == full["settings"]


def changes(current: dict[str, Any]) -> dict[str, Any]:
    """Three settings made unlike the device's: one cached, one queried, one object."""
    osd = current["osd_item_3"]
    return {
        "framerate": current["framerate"] % 60 + 1,
        "mqtt_port": current["mqtt_port"] % 65535 + 1,
        "osd_item_3": {**osd, "display": not osd["display"], "value1": (osd["value1"] + 1) % 65536},
    }


def statuses(report: dict[str, Any]) -> dict[str, str]:
    return {entry["setting"]: entry["status"] for entry in report["settings"]}


def test_apply_writes_only_what_differs_and_a_dry_run_nothing(sim: Simulator) -> None:
    with qznds.Device(sim.address) as dev:
        before = dev.export_config(secrets=True)
        changed = changes(before["settings"])
        document = {**before, "settings": {**before["settings"], **changed}}  # a whole export, three changed
        dry = dev.apply_config(document, dry_run=True)
        after_dry = dev.export_config(secrets=True)
        first = dev.apply_config(document)
        after = dev.export_config(secrets=True)
        second = dev.apply_config(document)
        forced = dev.apply_config({"settings": changed}, force=True)

    def expected(status: str) -> dict[str, str]:
        return {name: status if name in changed else "unchanged" for name in document["settings"]}

    assert after_dry == before
    assert (statuses(dry), statuses(first), statuses(second)) == (
        expected("would_change"), expected("changed"), expected("unchanged"))
    assert after["settings"] == document["settings"]
    assert first["counts"]["changed"] == len(changed) and statuses(forced) == dict.fromkeys(changed, "changed")
    assert all(r["ok"] for r in (dry, first, second, forced)) and dry["dry_run"] and not first["dry_run"]


BAD_DOCUMENTS: list[tuple[dict[str, Any], str]] = [
    ({"settings": {"frame_rate": 30}}, 'unknown setting "frame_rate"'),
    ({"settings": {"hdmi": False, "framerate": "fast"}}, "framerate"),  # the good half is not written either
    ({"settings": {"hdmi": False, "osd_item_0": {"display": False}}}, "osd_item_0"),  # members missing
    ({"version": 2, "settings": {"hdmi": False}}, "version 2"),
    ({"hdmi": False}, 'no "settings" object'),
]


@pytest.mark.parametrize("document, problem", BAD_DOCUMENTS, ids=[p for _, p in BAD_DOCUMENTS])
def test_a_bad_document_is_refused_whole_and_nothing_is_written(
    sim: Simulator, document: dict[str, Any], problem: str
) -> None:
    with qznds.Device(sim.address) as dev:
        before = dev.export_config(secrets=True)
        with pytest.raises(qznds.DeviceArgumentError, match="the document was refused: ") as info:
            dev.apply_config(document)
        assert dev.export_config(secrets=True) == before
    report = info.value.report
    assert report is not None and not report["ok"] and report["settings"] == []
    assert any(problem in line for line in report["error"]["problems"]), report
    # The same verdict without a camera.
    assert qznds.check_config(document)["error"]["problems"] == report["error"]["problems"]


# A setting the device refuses stays in the report; a device that stops answering
# raises, the report of what was done attached. Settings apply in catalogue order:
# hdmi, then framerate (169/147).
OUTCOMES: list[tuple[tuple[str, ...], Optional[type], dict[str, str]]] = [
    ((), None, {"hdmi": "changed", "framerate": "refused"}),
    (("169:147:close=3",), qznds.DeviceConnectionLost, {"hdmi": "failed", "framerate": "failed"}),
]


@pytest.mark.parametrize("faults, error, expected", OUTCOMES, ids=["refused", "connection-lost"])
def test_a_failed_setting_is_reported_and_only_a_whole_failure_raises(
    start_sim: SimFactory, faults: tuple[str, ...], error: Optional[type], expected: dict[str, str]
) -> None:
    sim = start_sim(*(arg for fault in faults for arg in ("--fault", fault)))
    with qznds.Device(sim.address) as dev:
        document = {"settings": {"hdmi": not dev.get_setting("hdmi"), "framerate": 0}}  # the device takes 1..60
        if error is None:
            report = dev.apply_config(document)
        else:
            with pytest.raises(error) as info:
                dev.apply_config(document)
            report = info.value.report
    assert not report["ok"] and statuses(report) == expected, report
    assert ("error" in report) == (error is not None)
