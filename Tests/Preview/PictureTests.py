#!/usr/bin/python3
"""The picture that is seen against the one that `kalvatri apply` makes."""


import browser
import cv2
import numpy as np
from browser import SAMPLES, Keys, apply, make_photo, read_rgb


class PictureTests(browser.BrowserTest):
    def test_slider_shows_what_apply_makes_and_undoes_at_once(self):
        photo = SAMPLES / "astronaut.png"
        self.open(photo)
        self.assert_same(self.get_picture(), read_rgb(photo))
        self.press("/")
        self.press("balance luma", Keys.ENTER, on=self.driver.switch_to.active_element)
        self.wait_idle()
        slider = self.find("[data-key=shadows] input[type=range]")
        middle, height = slider.rect["width"] // 2, slider.rect["height"] // 2
        self.drag(slider, [(middle, height), (middle + 20, height), (middle + 35, height), (middle + 60, height)])
        self.wait_idle()
        value = int(self.find("[data-key=shadows] input[type=number]").get_property("value"))
        self.assertGreater(value, 20)
        expected = self.folder / "expected.png"
        apply("-i", photo, "-o", expected, "BalanceLuma", f"shadows={value}")
        self.assert_same(self.get_picture(), read_rgb(expected))
        self.assertEqual(self.get_chain(), [{"effect": "BalanceLuma", "shadows": value}])

        self.with_keys(Keys.CONTROL, "z")
        self.wait_idle()
        self.assertEqual(self.get_chain(), [{"effect": "BalanceLuma"}])
        self.with_keys(Keys.CONTROL, Keys.SHIFT, "z")
        self.wait_idle()
        self.assert_same(self.get_picture(), read_rgb(expected))

    def test_full_size_part_is_that_of_the_result(self):
        photo, expected = self.folder / "large.png", self.folder / "expected.png"
        make_photo(photo, 2400, 1600)
        words = ["Vignette", "color=#203040", "ColorBalance", "saturation=40"]
        apply("-i", photo, "-o", expected, *words)
        chain = '[{"effect":"Vignette","color":"%23203040"},{"effect":"ColorBalance","saturation":40}]'
        self.open(photo, fragment=f"view=1,0.3,0.7&divider=off&chain={chain}")
        result = read_rgb(expected)
        # The stage's middle is the given place; after a drag to the right and down, what was left and above is seen.
        height, width = self.get_stage().shape[:2]
        left, top = round(0.3 * 2400 - width / 2), round(0.7 * 1600 - height / 2)
        self.assert_same(self.get_picture(), result[top : top + height, left : left + width])
        self.drag(self.find("#stage"), [(100, 100), (180, 140), (260, 230)])
        self.wait_idle()
        left, top = left - 160, top - 130
        self.assert_same(self.get_picture(), result[top : top + height, left : left + width])

    def test_divider_parts_before_and_after(self):
        photo, expected = self.folder / "large.png", self.folder / "expected.png"
        make_photo(photo, 2400, 1600)
        apply("-i", photo, "-o", expected, "BalanceLuma", "shadows=50")
        self.open(photo, fragment='view=fit&divider=0.5&chain=[{"effect":"BalanceLuma","shadows":50}]')
        divider = self.find("#divider")
        self.drag(divider, [(16, 20), (-60, 20)])
        self.wait_idle()
        shown = self.get_picture().astype(int)
        height, width = shown.shape[:2]
        self.assertAlmostEqual(width / height, 1.5, delta=0.01)
        split = width // 2 - 76
        for part, file in ((slice(2, split - 2), photo), (slice(split + 2, width - 2), expected)):
            reduced = cv2.resize(read_rgb(file), (width, height), interpolation=cv2.INTER_AREA).astype(int)
            difference = np.abs(shown[2:-2, part] - reduced[2:-2, part])
            self.assertLess(difference.mean(), 2, file)
        # The other one would have been far off.
        self.assertGreater(np.abs(read_rgb(photo).astype(int) - read_rgb(expected)).mean(), 8)

    def test_tabs_leave_each_other_alone(self):
        """A tab that has asked for much does not make the requests of a new one look outdated."""
        photo = SAMPLES / "coffee.png"
        self.open(photo)
        first = self.driver.current_window_handle
        for strength in range(10, 90, 10):
            chain = f'[{{"effect":"Implode","strength":{strength}}}]'
            self.driver.execute_script(f"location.hash = 'view=1,0.5,0.5&divider=off&chain={chain}'")
            self.wait_idle()
        self.driver.switch_to.new_window("tab")
        second = self.driver.current_window_handle
        for clean_up in ((self.driver.switch_to.window, first), (self.driver.close,),
                         (self.driver.switch_to.window, second)):  # fmt: skip
            self.addCleanup(*clean_up)
        self.show(self.server.address, "view=1,0.5,0.5&divider=off")
        # Long work here, and before it is done a quick request there.
        show = "location.hash = `view=1,0.5,0.5&divider=off&chain=${arguments[0]}`"
        self.driver.execute_script(show, '[{"effect":"OilPaint","radius":16},{"effect":"OilPaint","radius":12}]')
        self.driver.switch_to.window(first)
        self.driver.execute_script(show, '[{"effect":"Implode","strength":15}]')
        for tab, words in ((first, ["Implode", "strength=15"]),
                           (second, ["OilPaint", "radius=16", "OilPaint", "radius=12"])):  # fmt: skip
            self.driver.switch_to.window(tab)
            self.wait_idle()
            expected = self.folder / "expected.png"
            apply("-i", photo, "-o", expected, *words)
            self.assert_same(self.get_picture(), read_rgb(expected))

    def test_page_is_light_and_asks_nobody_else(self):
        self.open(SAMPLES / "astronaut.png")
        script = "return performance.getEntriesByType('resource').map(r => [r.name, r.decodedBodySize])"
        loaded = self.driver.execute_script(script)
        self.assertTrue(any(name.endswith("main.js") for name, _ in loaded))
        for name, _ in loaded:
            self.assertTrue(name.startswith(self.server.address) or name.startswith(("data:", "blob:")), name)
        files = [size for name, size in loaded if "/api/" not in name]
        self.assertLess(sum(files) + len(self.driver.page_source), 250_000)
        # A thumbnail that an effect refuses is told as a network error; scripts and the page's policy must be silent.
        told = [entry for entry in self.driver.get_log("browser") if entry["source"] != "network"]
        self.assertEqual(told, [])


if __name__ == "__main__":
    browser.main()
