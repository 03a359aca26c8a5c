"""The console's page in headless Chromium: the list, a camera's settings
changed, a change applied to several cameras with a silent one among them.
With QZNDS_SCREENSHOTS=DIR the main views are saved there as PNG files."""
import os
import pathlib
import shutil
import tempfile

import pytest

from conftest import SILENT

webdriver = pytest.importorskip("selenium.webdriver")
from selenium.webdriver.chrome.service import Service  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.support.ui import WebDriverWait  # noqa: E402

SHOTS = os.environ.get("QZNDS_SCREENSHOTS")


@pytest.fixture
def browser():
    if not shutil.which("chromedriver") or not shutil.which("chromium"):
        pytest.skip("chromium and chromium-driver are not installed")
    profile = tempfile.mkdtemp(prefix="qznds-chromium-")
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking",
                 "--disable-component-update", "--disable-sync", "--no-first-run", "--window-size=1400,1000",
                 "--user-data-dir=" + profile):
        options.add_argument(flag)
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    try:
        yield driver
    finally:
        driver.quit()
        shutil.rmtree(profile, ignore_errors=True)


def shot(driver, name):
    if SHOTS:
        pathlib.Path(SHOTS).mkdir(parents=True, exist_ok=True)
        driver.save_screenshot(str(pathlib.Path(SHOTS) / name))


def text_of(driver, css):
    return driver.find_element(By.CSS_SELECTOR, css).text


def test_commissioning_in_the_page(console, browser):
    wait = WebDriverWait(browser, 25, poll_frequency=0.2)
    browser.get(console.url + "/")
    row = "#devices tbody tr[data-name='%s']"
    wait.until(lambda d: "down (timeout)" in text_of(d, row % SILENT) and "reachable" in text_of(d, row % "cam-0003"))
    cells = [cell.text for cell in browser.find_elements(By.CSS_SELECTOR, row % "cam-0003" + " td")]
    assert cells[4].endswith("0003") and cells[5].isdigit(), cells  # serial number, frame rate
    shot(browser, "console-list.png")

    browser.find_element(By.CSS_SELECTOR, row % "cam-0001").click()
    framerate = wait.until(lambda d: d.find_element(By.ID, "setting-framerate"))
    assert browser.find_element(By.ID, "setting-mqtt_passwd").get_attribute("type") == "password"
    framerate.clear()
    framerate.send_keys("17")
    browser.find_element(By.ID, "camera-save").click()
    wait.until(lambda d: "framerate: changed -> 17" in text_of(d, "#camera-report"))
    shot(browser, "console-camera.png")

    browser.find_element(By.CSS_SELECTOR, "input[name=apply-mode][value=document]").click()
    browser.find_element(By.ID, "document-text").send_keys("{not json")
    browser.find_element(By.ID, "select-all").click()
    browser.find_element(By.ID, "apply").click()
    wait.until(lambda d: "the document is not JSON" in text_of(d, "#message"))

    browser.find_element(By.CSS_SELECTOR, "input[name=apply-mode][value=single]").click()
    browser.find_element(By.ID, "single-value").send_keys("21")
    browser.find_element(By.ID, "apply").click()
    wait.until(lambda d: "3/3 done, 1 failed" in text_of(d, "#job-counts"))
    outcomes = text_of(browser, "#job-devices")
    assert SILENT + ": failed - timeout" in outcomes
    assert outcomes.count("framerate: changed -> 21") == 2
    shot(browser, "console-apply.png")
