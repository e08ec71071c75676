#!/usr/bin/python3
"""What goes wrong is said in the page, and nothing is lost by it."""

import json

import browser
from browser import SAMPLES, Server, apply, read_rgb


class FailureTests(browser.BrowserTest):
    def test_damaged_photograph_is_told_and_others_go_on(self):
        damaged = self.folder / "damaged.jpg"
        damaged.write_bytes((SAMPLES / "rocket.jpg").read_bytes()[:20_000])
        self.open(SAMPLES / "coffee.png", damaged)
        self.add("Vignette")
        self.find("#next-photo").click()
        self.wait(lambda: "damaged.jpg" in self.get_message())
        self.assertFalse(self.get_stage()[..., 3].any())
        self.find("#previous-photo").click()
        self.wait(lambda: not self.get_message())
        self.wait_idle()
        apply("-i", SAMPLES / "coffee.png", "-o", self.folder / "expected.png", "Vignette")
        self.assert_same(self.get_picture(), read_rgb(self.folder / "expected.png"))

    def test_failing_step_is_told_in_the_words_of_the_command_line(self):
        self.open(SAMPLES / "coffee.png")
        self.add("Crop")
        x = self.find("[data-key=x] input")
        x.clear()
        self.press("5000", browser.Keys.ENTER, on=x)
        self.wait(lambda: "Crop" in self.get_message())
        self.find("#undo").click()
        self.wait(lambda: not self.get_message())

    def test_ended_server_is_told_and_the_chain_goes_on_with_the_next(self):
        self.open(SAMPLES / "coffee.png")
        self.add("Sketch")
        self.server.stop()
        self.assertEqual(self.server.process.returncode, 0)
        self.find("[data-effect=Vignette]").click()
        self.wait(lambda: "server has ended" in self.get_message())
        self.assertEqual(self.get_effects(), ["Sketch", "Vignette"])
        self.assertTrue(self.find("#download-recipe").is_displayed())
        again = Server(self.folder, SAMPLES / "coffee.png")
        self.addCleanup(again.stop)
        self.show(again.address, self.driver.current_url.split("#", 1)[1])
        apply("-i", SAMPLES / "coffee.png", "-o", self.folder / "expected.png", "Sketch", "Vignette")
        self.assert_same(self.get_picture(), read_rgb(self.folder / "expected.png"))

    def test_unreadable_address_and_recipe_are_told(self):
        self.open(SAMPLES / "coffee.png", fragment="chain=%5B%7B%22effect%22%3A%22Vignet%22%7D%5D")
        self.assertIn('"Vignet"', self.find("#toast").text)
        recipe = self.folder / "recipe.json"
        recipe.write_text(json.dumps([{"effect": "vignette", "shape": {"width": 0.5}}]))
        self.find("#recipe").click()
        self.find("#recipe-open").send_keys(str(recipe))
        self.wait(lambda: not self.find("#recipe-dialog").is_displayed())
        self.assertEqual(self.get_chain(), [{"effect": "Vignette", "shape": {"width": 0.5}}])


if __name__ == "__main__":
    browser.main()
