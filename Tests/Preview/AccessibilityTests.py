#!/usr/bin/python3
"""The page for those who use a keyboard or a screen reader: axe-core's findings, and a look made without a pointer."""

import base64
import hashlib
import os
import shutil
import subprocess
import tarfile
from pathlib import Path

import browser
from browser import SAMPLES, Keys

AXE = "axe-core-4.14.1.tgz"
DIGEST = "FHfa+lmNjQZfJz1q8wKqIDwC6DExcHt/pkjNQb09a3NPjCKg2rhu5qb2S4r76ASyFNNtuFooJpZe37OgudVGtQ=="


def fetch_axe():
    """The checker's script, from npm into the build folder once; None where it cannot be had."""
    folder = Path(os.environ.get("KALVATRI_BUILD", browser.ROOT / "build/release"))
    archive = folder / AXE
    if not archive.exists():
        if not shutil.which("npm"):
            return None
        name = "axe-core@" + AXE[len("axe-core-") : -len(".tgz")]
        done = subprocess.run(["npm", "pack", "--silent", "--pack-destination", folder, name], capture_output=True)
        if done.returncode != 0:
            return None
    digest = base64.b64encode(hashlib.sha512(archive.read_bytes()).digest()).decode()
    assert digest == DIGEST, f"{archive} is not what it should be; remove it"
    with tarfile.open(archive) as files:
        return files.extractfile("package/axe.min.js").read().decode()


class AccessibilityTests(browser.BrowserTest):
    def assert_accessible(self, where):
        run = "axe.run().then((result) => arguments[0](result.violations.map((each) =>" \
              "[each.impact, each.id, each.nodes.map((node) => node.html.slice(0, 160))])))"  # fmt: skip
        found = self.driver.execute_async_script(run)
        self.assertEqual([each for each in found if each[0] in ("serious", "critical")], [], where)

    def test_axe_has_no_serious_findings(self):
        axe = fetch_axe()
        if axe is None:
            self.skipTest("axe-core cannot be had from npm")
        chain = '[{"effect":"Segmentation"},{"effect":"Gradient"},{"effect":"EdgeRemove"},{"effect":"Vignette"}]'
        for scheme, width, height in (("dark", 1280, 720), ("light", 1920, 1080), ("light", 820, 1180)):
            where = f"{scheme} {width} x {height}"
            fragment = f"view=fit&divider=0.5&chain={chain}"
            self.open(SAMPLES / "astronaut.png", SAMPLES / "coffee.png", fragment=fragment,
                      width=width, height=height, scheme=scheme)  # fmt: skip
            self.driver.execute_script(axe)
            for index in range(4):
                if self.find_all(".step-name")[index].get_attribute("aria-expanded") == "false":
                    self.find_all(".step-name")[index].click()
                self.wait_idle()
                self.assert_accessible(f"{where}, step {index + 1}")
                if self.find_all(".tools .tool-button"):
                    self.find(".tools .tool-button").click()
                    self.wait_idle()
                    self.assert_accessible(f"{where}, tool of step {index + 1}")
            for dialog in ("save", "recipe", "batch", "help"):
                self.find(f"#{dialog}").click()
                self.assert_accessible(f"{where}, {dialog}")
                self.with_keys(Keys.ESCAPE)

    def test_look_is_made_without_a_pointer(self):
        self.open(SAMPLES / "coffee.png")
        self.with_keys("/")
        self.with_keys("tint")
        self.with_keys(Keys.ENTER)
        self.wait_idle()
        label = "arguments[0].labels?.[0]?.textContent ?? arguments[0].getAttribute('aria-label')"
        for _ in range(40):  # from the search on, Tab reaches the step's controls
            self.with_keys(Keys.TAB)
            active = self.driver.switch_to.active_element
            if active.get_attribute("type") == "range" and "Temperature" in self.driver.execute_script(
                f"return {label}", active
            ):
                break
        else:
            self.fail("Tab does not reach the slider")
        for _ in range(5):
            self.with_keys(Keys.ARROW_RIGHT)
        self.wait_idle()
        self.assertEqual(len(self.get_chain()[0]), 2)
        self.assertIn("Tint temperature", self.find("#announcement").text or "Tint temperature added")
        self.with_keys(Keys.CONTROL, "s")
        self.assertEqual(self.driver.switch_to.active_element.get_attribute("name"), "target")
        self.with_keys(Keys.ENTER)
        self.wait(lambda: (self.folder / "coffee-new.png").exists())


if __name__ == "__main__":
    browser.main()
