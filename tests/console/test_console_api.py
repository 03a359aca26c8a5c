"""The console's JSON API against a simulated fleet with one silent camera."""
import pytest

from conftest import serving


# The list, a setting changed and a change applied to several cameras with the silent
# one among them: test_console_page, through this API.
def test_config_holds_no_secret_and_drift_names_the_setting(console):
    status, doc = console.call("GET", "/api/devices/cam-0001/config")
    assert status == 200 and "mqtt_passwd" not in doc["settings"]
    wanted = {"settings": {"framerate": doc["settings"]["framerate"] % 60 + 1}}
    assert console.call("PUT", "/api/document", wanted)[0] == 200

    def drift():
        _, body = console.call("GET", "/api/devices")
        first = body["devices"][0]
        return first.get("drift") == 1 and first.get("drift_settings") == ["framerate"]

    console.wait_for(drift, 25, "the drift of cam-0001")  # after the round under way


@pytest.mark.parametrize("method,path,body,raw,status,message", [
    ("POST", "/api/devices/nobody/settings", {"settings": {"framerate": 1}}, None, 404, "no device named"),
    ("POST", "/api/devices/cam-0001/settings", {"settings": {"framerate": 300}}, None, 400, "0..255"),
    ("POST", "/api/devices/cam-0001/settings", {"settings": {"no_such": 1}}, None, 400, "unknown setting"),
    ("POST", "/api/devices/cam-0001/settings", {"settings": {}}, None, 400, "names no setting"),
    ("POST", "/api/devices/cam-0001/settings", None, b"{not json", 400, "not a JSON object"),
    ("POST", "/api/devices/cam-0001/reboot", {"confirm": False}, None, 400, "confirm"),
    ("POST", "/api/apply", {"devices": [], "document": {"settings": {"framerate": 1}}}, None, 400, "non-empty"),
    ("POST", "/api/apply", {"devices": ["cam-0001"], "document": []}, None, 400, "not a JSON object"),
    ("POST", "/api/apply", {"devices": ["cam-0001"], "document": {"settings": {"framerate": 1}},
                            "dry_run": "yes"}, None, 400, "dry_run"),
    ("PUT", "/api/document", None, b"{" + b" " * (9 << 20) + b"}", 413, "8 MiB"),
    ("GET", "/api/jobs/999", None, None, 404, "no job"),
    ("GET", "/api/nothing", None, None, 404, "no such path"),
])
def test_bad_requests_are_refused_with_a_message(console, method, path, body, raw, status, message):
    got, out = console.call(method, path, body, raw)
    assert got == status and message in out["error"]["message"]


def test_changing_calls_need_json(console):
    got, out = console.call("POST", "/api/refresh", raw=b"x", headers={"Content-Type": "text/plain"})
    assert got == 415 and "application/json" in out["error"]["message"]


def test_a_token_guards_every_call(fleet, tmp_path):
    token = "t0ken-" + "x" * 16
    (tmp_path / "token").write_text(token + "\n")
    with serving(fleet, "--token-file", str(tmp_path / "token")) as guarded:
        for headers, status in (({}, 401), ({"Authorization": "Bearer wrong-" + token}, 401),
                                ({"Authorization": "Bearer " + token}, 200)):
            assert guarded.call("GET", "/api/catalogue", headers=headers)[0] == status
