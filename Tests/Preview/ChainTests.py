#!/usr/bin/python3
"""The steps: their order, switches, history, and the tools that set what is a place in the picture."""

import browser
from browser import SAMPLES, Keys, apply, read_rgb

THREE = 'view=1,0.5,0.5&divider=off&chain=[{"effect":"Pixelate"},{"effect":"TintTemperature"},{"effect":"Implode"}]'


class ChainTests(browser.BrowserTest):
    def setUp(self):
        super().setUp()
        self.photo = SAMPLES / "coffee.png"

    def assert_shown(self, *words):
        self.wait_idle()
        expected = self.folder / "expected.png"
        apply("-i", self.photo, "-o", expected, *(words or ["EmptyEffect"]))
        self.assert_same(self.get_picture(), read_rgb(expected))

    def names(self):
        return self.find_all(".step-name")

    def test_reorder_switch_remove_and_undo(self):
        self.open(self.photo, fragment=THREE)
        self.assert_shown("Pixelate", "TintTemperature", "Implode")
        self.with_keys_on(self.names()[0], Keys.ALT, Keys.ARROW_DOWN)
        self.with_keys(Keys.ALT, Keys.ARROW_DOWN)
        self.assertEqual(self.get_effects(), ["TintTemperature", "Implode", "Pixelate"])
        self.assert_shown("TintTemperature", "Implode", "Pixelate")
        # The last one's grip, to above the first.
        grip, first = self.find_all(".grip")[2], self.find_all(".step-head")[0]
        rise = first.rect["y"] - grip.rect["y"]
        self.drag(grip, [(8, 8), (8, rise // 2), (8, rise - 4)])
        self.assertEqual(self.get_effects(), ["Pixelate", "TintTemperature", "Implode"])
        self.find_all(".step-head .switch")[0].click()
        self.assert_shown("TintTemperature", "Implode")
        self.find("[aria-label='Remove Implode']").click()
        self.assert_shown("TintTemperature")
        for expected in (["TintTemperature", "Implode"], ["Pixelate", "TintTemperature", "Implode"],
                         ["TintTemperature", "Implode", "Pixelate"]):  # fmt: skip
            self.find("#undo").click()
            self.assert_shown(*expected)
        for _ in range(3):
            self.find("#redo").click()
        self.assert_shown("TintTemperature")
        self.assertFalse(self.find("#redo").is_enabled())

    def with_keys_on(self, element, *keys):
        self.driver.execute_script("arguments[0].focus()", element)
        self.with_keys(*keys)

    def test_numbers_keep_to_their_range_and_are_reset(self):
        self.open(self.photo, fragment='view=1,0.5,0.5&divider=off&chain=[{"effect":"Implode","strength":20}]')
        number = self.find("[data-key=strength] input[type=number]")
        number.clear()
        self.press("7000", Keys.ENTER, on=number)
        self.assertEqual(self.get_chain(), [{"effect": "Implode", "strength": 100}])
        self.press(Keys.ARROW_DOWN, on=number)
        self.assertEqual(self.get_chain(), [{"effect": "Implode", "strength": 99.9}])
        self.find("[aria-label='Reset Strength']").click()
        self.assertEqual(self.get_chain(), [{"effect": "Implode"}])

    def test_places_are_set_in_the_picture(self):
        """600 x 400 pixels at 100 %: where one drags tells which pixels of the photograph are meant."""
        chain = '[{"effect":"Resize","width":300},{"effect":"DirectionalAreaDeformation"}]'
        self.open(self.photo, fragment=f"view=1,0.5,0.5&divider=off&chain={chain}")
        stage = self.find("#stage")
        self.find(".tools .tool-button").click()
        self.wait_idle()

        def at(x, y):
            return [round((stage.rect["width"] - 300) / 2) + x, round((stage.rect["height"] - 200) / 2) + y]

        self.drag(stage, [at(50, 60), at(80, 70), at(110, 90)])
        step = self.get_chain()[1]
        self.assertEqual([step[key] for key in ("fromX", "fromY", "toX", "toY")], [50, 60, 110, 90])
        self.press(Keys.ESCAPE)
        self.assert_shown("Resize", "width=300", "DirectionalAreaDeformation", "fromX=50", "fromY=60", "toX=110",
                          "toY=90")  # fmt: skip

    def test_grey_is_picked_before_the_step(self):
        """The dropper sees the picture as it comes to the step, not what the step makes of it."""
        ground = '{"effect":"CreateVideo","width":200,"height":200,"color":"%23c8b496"}'
        balance = '{"effect":"WhiteBalance","color":"%23ff8040"}'
        self.open(self.photo, fragment=f"view=1,0.5,0.5&divider=off&chain=[{ground},{balance}]")
        self.find("[data-key=color] .tool-button").click()
        self.wait_idle()
        stage = self.find("#stage").rect
        self.drag(self.find("#stage"), [(stage["width"] // 2, stage["height"] // 2)])
        self.assertEqual(self.get_chain()[1], {"effect": "WhiteBalance", "color": "#c8b496"})


if __name__ == "__main__":
    browser.main()
