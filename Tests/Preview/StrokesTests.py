#!/usr/bin/python3
"""Strokes on the photograph, and the mask that follows from them."""

import subprocess

import browser
import cv2
import numpy as np
from browser import Keys

SIDE, RADIUS = 400, 120


class StrokesTests(browser.BrowserTest):
    def setUp(self):
        super().setUp()
        y, x = np.mgrid[0:SIDE, 0:SIDE]
        self.is_subject = np.hypot(x - SIDE / 2, y - SIDE / 2) <= RADIUS
        grain = np.random.default_rng(3).integers(-6, 7, (SIDE, SIDE, 3))
        photo = np.where(self.is_subject[..., None], (60, 110, 210), (70, 90, 60)) + grain
        self.photo = self.folder / "disc.png"
        cv2.imwrite(str(self.photo), photo.astype(np.uint8))

    def paint(self, *places):
        stage = self.find("#stage")
        corner = np.array([round((stage.rect["width"] - SIDE) / 2), round((stage.rect["height"] - SIDE) / 2)])
        self.drag(stage, [corner + place for place in places])
        self.wait_idle()

    def start(self):
        self.open(self.photo)
        self.add("Segmentation")
        self.assertIn("second picture", self.find(".waiting").text)
        self.find(".tools .tool-button").click()
        self.wait_idle()
        self.paint((200, 140), (200, 200), (230, 250))
        self.find("[data-brush='2']").click()
        self.paint((30, 30), (370, 30))
        self.paint((30, 370), (370, 370))

    def assert_mask(self, mask):
        self.assertEqual(mask.shape, self.is_subject.shape)
        self.assertGreater(np.mean((mask > 127) == self.is_subject), 0.995)

    def test_mask_follows_the_strokes(self):
        self.start()
        # A foil lies over what the mask leaves out: it makes the green ground redder, and leaves the disc as it is.
        seen, photo = self.get_picture().astype(int), browser.read_rgb(self.photo).astype(int)
        redder = (seen - photo)[..., 0] - (seen - photo)[..., 1]
        self.assertGreater(redder[300:360, 40:80].mean(), 40)
        self.assertLess(np.abs(seen - photo)[240:300, 160:180].max(), 1)

        self.find("#tool-bar .primary").click()
        self.wait_idle()
        self.assert_mask(self.get_picture()[..., 0])
        # The copied command makes the same, from a picture of the strokes without any level between theirs.
        self.find("#command").click()
        self.wait(lambda: self.find("#command-text").text)
        subprocess.run(self.find("#command-text").text.replace("kalvatri", browser.PROGRAM, 1), shell=True, check=True,
                       cwd=self.folder, capture_output=True)  # fmt: skip
        self.assert_mask(cv2.imread(str(self.folder / "disc-new.png"), cv2.IMREAD_GRAYSCALE))
        strokes = cv2.imread(str(next(self.folder.glob("*strokes*.png"))), cv2.IMREAD_UNCHANGED)
        self.assertEqual(set(np.unique(strokes)), {0, 128, 255})
        self.assertEqual(strokes[200, 200], 255)
        self.assertEqual(strokes[30, 200], 128)

    def test_strokes_are_undone_erased_and_kept_in_the_address(self):
        self.start()
        self.assertEqual(len(self.get_chain()[0]["strokes"]), 3)
        self.with_keys(Keys.CONTROL, "z")
        self.assertEqual(len(self.get_chain()[0]["strokes"]), 2)
        self.with_keys(Keys.CONTROL, "y")
        self.get_chain()
        self.show(*self.driver.current_url.split("#"))
        self.assert_mask(self.get_picture()[..., 0])
        self.find(".tools .tool-button").click()
        self.press("e")
        self.paint((200, 140), (200, 200), (230, 250))
        self.assertEqual(self.get_chain()[0]["strokes"][3][0], 0)


if __name__ == "__main__":
    browser.main()
