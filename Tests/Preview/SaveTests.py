#!/usr/bin/python3
"""What leaves the page: files, commands, recipes, batches."""

import json
import subprocess

import browser
from browser import SAMPLES, apply

CHAIN = ('[{"effect":"WhiteBalance","color":"%23c8b496"},'
         '{"effect":"BlurBokeh","size":0.05,"aperture":{"shape":"heart"}}]')  # fmt: skip


class SaveTests(browser.BrowserTest):
    def submit(self, dialog, **values):
        for name, value in values.items():
            field = self.find(f"#{dialog} [name={name}]")
            if value is True:
                field.click()
            else:
                field.clear()
                field.send_keys(value)
        self.find(f"#{dialog} [type=submit]").click()

    def wait_closed(self, dialog):
        self.wait(lambda: not self.find(f"#{dialog}").is_displayed())

    def test_saved_command_and_recipe_are_the_same(self):
        photo = SAMPLES / "rocket.jpg"
        self.open(photo, fragment=f"view=fit&divider=off&chain={CHAIN}")
        self.find("#save").click()
        self.submit("save-dialog", target="saved.jpg")
        self.wait_closed("save-dialog")

        self.find("#command").click()
        self.wait(lambda: self.find("#command-text").text)
        command = self.find("#command-text").text
        self.assertTrue(command.startswith("kalvatri apply "), command)
        subprocess.run(command.replace("kalvatri", browser.PROGRAM, 1), shell=True, check=True, cwd=self.folder)
        self.find("#command-dialog .close").click()

        self.find("#recipe").click()
        self.submit("recipe-dialog", target="look.json")
        self.wait_closed("recipe-dialog")
        apply("-i", photo, "-o", self.folder / "recipe.jpg", "--settings", self.folder / "look.json")
        self.assertEqual(json.loads((self.folder / "look.json").read_text())[1]["aperture"], {"shape": "heart"})

        saved = (self.folder / "saved.jpg").read_bytes()
        self.assertEqual((self.folder / "rocket-new.jpg").read_bytes(), saved)
        self.assertEqual((self.folder / "recipe.jpg").read_bytes(), saved)

    def test_files_are_replaced_only_when_asked(self):
        self.open(SAMPLES / "coffee.png", fragment='view=fit&chain=[{"effect":"Grayscale"}]')
        (self.folder / "there.png").write_text("kept")
        self.find("#save").click()
        self.submit("save-dialog", target="there.png")
        outcome = self.find("#save-dialog .outcome")
        self.wait(lambda: "there.png" in outcome.text)
        self.assertEqual((self.folder / "there.png").read_text(), "kept")
        self.submit("save-dialog", overwrite=True)
        self.wait_closed("save-dialog")
        apply("-i", SAMPLES / "coffee.png", "-o", self.folder / "expected.png", "Grayscale")
        self.assertEqual((self.folder / "there.png").read_bytes(), (self.folder / "expected.png").read_bytes())

    def test_batch_runs_on_all_photographs(self):
        photos = [SAMPLES / "coffee.png", SAMPLES / "rocket.jpg"]
        self.open(*photos, fragment='view=fit&chain=[{"effect":"Vignette"}]')
        self.find("#next-photo").click()
        self.wait_idle()
        self.assertEqual(self.get_effects(), ["Vignette"])
        self.find("#batch").click()
        self.submit("batch-dialog", target="{stem}-dark.{ext}")
        self.wait_closed("batch-dialog")
        for photo in photos:
            expected = self.folder / f"expected{photo.suffix}"
            apply("-i", photo, "-o", expected, "Vignette")
            made = self.folder / f"{photo.stem}-dark{photo.suffix}"
            self.assertEqual(made.read_bytes(), expected.read_bytes())


if __name__ == "__main__":
    browser.main()
