"""A server of the page and a browser that looks at it, for the tests beside this file."""

import base64
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse
from pathlib import Path

sys.dont_write_bytecode = True
SKIPPED = 77  # the exit code that ctest takes for it
ROOT = Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
PROGRAM = os.environ.get("KALVATRI", str(ROOT / "build/release/bin/kalvatri"))
PATIENCE = 60  # seconds until a test gives up; the machine may be busy

try:
    import cv2
    import numpy as np
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.keys import Keys  # noqa: F401, for the tests
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError as error:
    print(f"skipped: {error}; apt-get install chromium chromium-driver python3-selenium")
    sys.exit(SKIPPED)

CHROMIUM, DRIVER = shutil.which("chromium"), shutil.which("chromedriver")
if not CHROMIUM or not DRIVER:
    print("skipped: there is no browser; apt-get install chromium chromium-driver")
    sys.exit(SKIPPED)


def read_rgb(file):
    picture = cv2.imread(str(file), cv2.IMREAD_COLOR)
    assert picture is not None, f"{file} cannot be read"
    return cv2.cvtColor(picture, cv2.COLOR_BGR2RGB)


def make_photo(file, width, height):
    """A picture with gradients, edges and grain, so that no two places of it look the same."""
    y, x = np.mgrid[0:height, 0:width]
    grain = np.random.default_rng(7).integers(-12, 13, (height, width, 3))
    rings = 40 * np.sin(np.hypot(x - 0.3 * width, y - 0.6 * height) / 90)
    levels = np.stack([220 * x / width, 200 * y / height, 120 + rings], axis=-1) + grain
    cv2.imwrite(str(file), np.clip(levels, 0, 255).astype(np.uint8))


def apply(*words):
    subprocess.run([PROGRAM, "apply", *map(str, words)], check=True, capture_output=True)


class Server:
    def __init__(self, folder, *photos):
        command = [PROGRAM, "preview", "--no-open", "--output-dir", str(folder), *map(str, photos)]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=folder)
        words = self.process.stdout.readline().split()
        self.address = next((word for word in words if word.startswith("http://")), None)
        assert self.address, "the server told no address"

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
        self.process.wait(timeout=PATIENCE)
        self.process.stdout.close()


class BrowserTest(unittest.TestCase):
    """One browser for the tests of a file, and a server and a folder for each of them."""

    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for word in ("headless=new", "no-sandbox", "disable-gpu", "hide-scrollbars", "force-device-scale-factor=1"):
            options.add_argument(f"--{word}")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.driver = webdriver.Chrome(service=Service(DRIVER), options=options)
        cls.addClassCleanup(cls.driver.quit)

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)

    # The page

    def open(self, *photos, fragment="view=1,0.5,0.5&divider=off", width=1280, height=720, scheme="dark"):
        self.server = Server(self.folder, *photos)
        self.addCleanup(self.server.stop)
        self.show(self.server.address, fragment, width, height, scheme)

    def show(self, address, fragment, width=1280, height=720, scheme="dark"):
        cdp = self.driver.execute_cdp_cmd
        cdp("Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})  # fmt: skip
        cdp("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.driver.get("about:blank")
        self.driver.get(f"{address}#{fragment}")
        self.wait(lambda: self.find("#picture") and self.has_card())
        self.wait_idle()

    def has_card(self):
        return bool(self.driver.find_elements("css selector", ".card"))

    def find(self, selector):
        return self.driver.find_element("css selector", selector)

    def find_all(self, selector):
        return self.driver.find_elements("css selector", selector)

    def wait(self, condition):
        def is_met(_):
            try:
                return condition()
            except WebDriverException:
                return False

        return WebDriverWait(self.driver, PATIENCE, poll_frequency=0.05).until(is_met)

    def wait_idle(self):
        """Until the picture is that of the present steps: no request is under way, none is about to start."""
        script = "return document.getElementById('stage').getAttribute('aria-busy')"
        self.wait(lambda: all(self.driver.execute_script(script) == "false" or time.sleep(0.05) for _ in range(3)))
        # What has arrived is drawn with the next frame.
        self.driver.execute_async_script("requestAnimationFrame(() => requestAnimationFrame(arguments[0]))")

    def drag(self, element, places):
        """Presses at the first of the places, from the element's left top corner, and lets go at the last."""
        box = element.rect
        middle = np.array([box["width"] // 2, box["height"] // 2])
        actions = ActionChains(self.driver, duration=20)
        for i, place in enumerate(places):
            actions.move_to_element_with_offset(element, *(int(at) for at in np.array(place) - middle))
            if i == 0:
                actions.click_and_hold()
        actions.release().perform()

    def press(self, *keys, on=None):
        (on or self.find("#stage")).send_keys(*keys)

    def with_keys(self, *keys):
        """Presses the keys one after the other and holds all but the last, wherever the focus is."""
        actions = ActionChains(self.driver)
        for key in keys[:-1]:
            actions.key_down(key)
        actions.send_keys(keys[-1])
        for key in keys[:-1]:
            actions.key_up(key)
        actions.perform()

    def add(self, effect):
        self.find(f"[data-effect={effect}]").click()
        self.wait_idle()

    def get_chain(self):
        """The steps in the address, once it is up to date."""
        time.sleep(0.4)
        words = dict(part.split("=", 1) for part in self.driver.current_url.split("#", 1)[1].split("&"))
        return json.loads(urllib.parse.unquote(words["chain"]))

    def get_effects(self):
        return [step["effect"] for step in self.get_chain()]

    # What is seen

    def get_stage(self):
        """The stage's pixels, [height, width, RGBA]."""
        data = self.driver.execute_script("return document.getElementById('picture').toDataURL()")
        png = np.frombuffer(base64.b64decode(data.split(",")[1]), np.uint8)
        return cv2.cvtColor(cv2.imdecode(png, cv2.IMREAD_UNCHANGED), cv2.COLOR_BGRA2RGBA)

    def get_picture(self):
        """What lies on the stage, without what is around it, as RGB."""
        stage = self.get_stage()
        rows, columns = np.nonzero(stage[..., 3].any(axis=1))[0], np.nonzero(stage[..., 3].any(axis=0))[0]
        return stage[rows[0] : rows[-1] + 1, columns[0] : columns[-1] + 1, :3]

    def assert_same(self, seen, expected):
        self.assertEqual(seen.shape, expected.shape)
        difference = np.abs(seen.astype(int) - expected)
        self.assertEqual(difference.max(), 0, f"{np.count_nonzero(difference.any(axis=-1))} pixels differ")

    def get_message(self):
        message = self.find("#message")
        return message.text if message.is_displayed() else ""


def main():
    unittest.main(verbosity=2)
