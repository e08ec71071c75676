"""The Python module beside the command line: ModuleTests.py KALVATRI SOURCE_DIRECTORY"""
import importlib.util
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import warnings

import numpy
import PIL.Image

import kalvatri

PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
SAMPLES = SOURCE / "samples"


def noise(*shape, seed=1):
    return numpy.random.default_rng(seed).integers(0, 256, shape, numpy.uint8)


class Module(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def command_line(self, *words):
        done = subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True)
        return done.returncode, done.stderr

    def test_bytes_are_those_of_apply(self):
        cat = SAMPLES / "chelsea.png"
        cases = [
            (cat, "WhiteBalance", {"color": "#c8b496"}, ["color=#c8b496"]),
            (cat, "BlurBokeh", {"size": 0.09, "imageGain": 4, "aperture": {"shape": "heart"}},
             ["size=0.09", "imageGain=4", "aperture.shape=heart"]),
            (cat, "Gradient", {"stops": {0: "#14328c", 255: "#ffbe46"}}, ["stops=0:#14328c,255:#ffbe46"]),
            (cat, "Pad", {"margins": (3, 4, numpy.int16(5), 6)}, ["margins=3,4,5,6"]),
            (cat, "Grayscale", {}, []),
            (cat, "Resize", {"width": 100}, ["width=100"]),
            (SAMPLES / "astronaut.png", "FaceThinning", {"strength": numpy.float64(0.6)}, ["strength=0.6"]),
        ]
        warnings.simplefilter("ignore", kalvatri.KalvatriWarning)
        self.addCleanup(warnings.resetwarnings)
        for i, (path, effect, settings, words) in enumerate(cases):
            with self.subTest(effect):
                picture, metadata = kalvatri.read(path)
                by_module, by_program = self.folder / f"{i}m.png", self.folder / f"{i}p.png"
                kalvatri.write(by_module, kalvatri.apply(picture, effect, **settings), metadata)
                code, errors = self.command_line("apply", "-i", path, "-o", by_program, effect, *words)
                self.assertEqual(code, 0, errors)
                self.assertEqual(by_module.read_bytes(), by_program.read_bytes())

    def test_further_pictures_chains_and_many_results(self):
        picture, mask = noise(40, 50, 3), noise(40, 50)
        palette = {"palette": {0: "#102030", 255: "#f0e0d0"}}
        direct = kalvatri.apply(picture, "BlendPalette", inputs=[mask], **palette)
        kalvatri.write(self.folder / "mask.png", mask)
        self.assertTrue((direct == kalvatri.apply(picture, "BlendPalette", inputs=self.folder / "mask.png",
                                                  **palette)).all())
        steps = ["Vignette", kalvatri.step("BlendPalette", inputs=[mask], **palette)]
        expected = kalvatri.apply(kalvatri.apply(picture, "Vignette"), "BlendPalette", inputs=[mask], **palette)
        chain = kalvatri.Chain(steps)
        for seed in (1, 2, 1):  # a chain remembers nothing of the pictures that it has seen
            other = noise(40 + seed, 50, 3, seed=seed)
            self.assertTrue((chain(other) == kalvatri.apply(other, steps)).all())
        self.assertTrue((kalvatri.apply(picture, chain) == expected).all())
        overlap = {"overlapX": 8, "overlapY": 8}
        patches = kalvatri.apply(picture, "Cutter", patchWidth=32, patchHeight=32, **overlap)
        self.assertGreater(len(patches), 1)
        patches[0][:] = 0  # each owns its pixels
        again = kalvatri.apply(kalvatri.apply(picture, "Cutter", patchWidth=32, patchHeight=32, **overlap), "Stitcher",
                               frameWidth=50, frameHeight=40, **overlap)
        self.assertEqual(again.shape, picture.shape)

    def test_a_chain_forgets_the_faces_of_earlier_pictures(self):
        portrait, _ = kalvatri.read(SAMPLES / "astronaut.png")
        chain = kalvatri.Chain([kalvatri.step("FaceThinning", strength=0.6)])
        self.assertFalse((chain(portrait) == portrait).all())
        plain = numpy.full_like(portrait, 128)
        with self.assertWarnsRegex(kalvatri.KalvatriWarning, "no face was found"):
            self.assertTrue((chain(plain) == plain).all())
        self.assertEqual(len(kalvatri.faces(portrait)), 1)
        self.assertEqual(kalvatri.faces(plain), [])

    def test_arrays_in_every_order_are_never_changed(self):
        whole = noise(60, 90, 4)
        readonly = whole[..., :3].copy()
        readonly.flags.writeable = False
        views = {"part": whole[5:40, 7:50, :3].copy()[3:, 2:], "rgba": whole, "upside down": whole[::-1],
                 "mirrored": whole[:, ::-1], "turned": whole.transpose(1, 0, 2), "every second": whole[::2, ::3],
                 "bgr": whole[..., 2::-1], "one row": whole[:1], "grey": whole[..., 0], "fortran":
                 numpy.asfortranarray(whole), "repeated": numpy.broadcast_to(whole[:1], whole.shape),
                 "read-only": readonly}
        for name, view in views.items():
            with self.subTest(name):
                before = view.copy()
                for effect in ("Vignette", "EmptyEffect"):
                    result = kalvatri.apply(view, effect)
                    self.assertTrue((result == kalvatri.apply(numpy.ascontiguousarray(view), effect)).all())
                    self.assertFalse(numpy.shares_memory(result, view))
                    result[...] = 7
                self.assertTrue((view == before).all())

    def test_input_in_order_is_not_copied(self):
        picture = noise(4000, 3000, 3)
        chain = kalvatri.Chain("Histogram")  # its result is small
        chain(picture)

        def memory():
            status = pathlib.Path("/proc/self/status").read_text()
            return int(status.split("VmHWM:")[1].split()[0]) * 1024

        pathlib.Path("/proc/self/clear_refs").write_text("5")  # forget the peak
        before = memory()
        chain(picture)
        self.assertLess(memory() - before, picture.nbytes // 2)

    def test_results_outlive_everything(self):
        result = kalvatri.apply(noise(50, 70, 3), "Vignette")
        copy = result.copy()
        for seed in range(20):
            kalvatri.apply(noise(50, 70, 3, seed=seed), "Vignette")
        self.assertTrue((result == copy).all())

    def test_pil_pictures(self):
        picture = PIL.Image.open(SAMPLES / "rocket.jpg")
        expected = kalvatri.apply(numpy.asarray(picture), "Vignette")
        self.assertTrue((kalvatri.apply(picture, "Vignette") == expected).all())
        for mode in ("CMYK", "P", "1", "LA", "YCbCr", "I", "F"):
            source = picture.convert("L") if mode == "LA" else picture
            with self.assertRaisesRegex(kalvatri.SettingsError, f"mode is {mode}; convert"):
                kalvatri.apply(source.convert(mode), "Vignette")
        PIL.Image.fromarray(expected)

    def test_errors_are_those_of_the_command_line(self):
        self.assertTrue(issubclass(kalvatri.SettingsError, ValueError))
        path = self.folder / "in.png"
        kalvatri.write(path, noise(20, 30, 3))
        picture, _ = kalvatri.read(path)
        cases = [("WhiteBalance", {"colour": "#ffffff"}, "did you mean color?"),
                 ("WhiteBalanse", {}, "did you mean WhiteBalance?"),
                 ("Vignette", {"strength": 1e9}, ""), ("BlurBokeh", {"size": "wide"}, ""),
                 ("BlendPalette", {}, "takes a second picture"), ("Custom", {}, "C++ function"),
                 ("BlurBokeh", {"size": float("nan")}, ""), ("Pixelate", {"size": 10 ** 30}, "")]
        for effect, settings, part in cases:
            with self.subTest(effect=effect, settings=settings):
                with self.assertRaises((kalvatri.SettingsError, kalvatri.EffectError)) as caught:
                    kalvatri.apply(picture, effect, **settings)
                self.assertIn(part, str(caught.exception))
                words = [f"{key}={value}" for key, value in settings.items()]
                code, errors = self.command_line("apply", "-i", path, "-o", self.folder / "out.png", effect, *words)
                self.assertEqual(errors, f"kalvatri: {caught.exception}\n")
                self.assertEqual(code, 2 if isinstance(caught.exception, kalvatri.SettingsError) else 1)
        for call, error, part in [
                (lambda: kalvatri.read(self.folder / "none.jpg"), kalvatri.EffectError, "does not exist"),
                (lambda: kalvatri.read("https://example.org/a.jpg"), kalvatri.EffectError, "this is a URL"),
                (lambda: kalvatri.write(self.folder / "a.xyz", picture), kalvatri.SettingsError, "formats are"),
                (lambda: kalvatri.write(self.folder / "a.jpg", picture, quality=0), kalvatri.SettingsError, "1..100"),
                (lambda: kalvatri.apply(picture, ["Vignette"], color="#fff"), kalvatri.SettingsError, "steps of a"),
                (lambda: kalvatri.apply(picture, [7]), kalvatri.SettingsError, "kalvatri.step"),
                (lambda: kalvatri.apply(picture, "Vignette", strength=object()), kalvatri.SettingsError, "object"),
                (lambda: kalvatri.apply([picture, picture], "Vignette"), kalvatri.SettingsError, "takes one")]:
            with self.assertRaisesRegex(error, part):
                call()

    def test_other_arrays_are_refused(self):
        good = noise(20, 30, 3)
        cases = [(good.astype(numpy.float32), "type is float32"), (good.astype(numpy.uint16), "type is uint16"),
                 (good > 5, "type is bool"), (good[0, 0], r"shape is \(3,\)"), (noise(4, 5, 5), r"shape is \(4, 5, 5\)"),
                 (noise(4, 5, 1), r"shape is \(4, 5, 1\)"), (noise(2, 2, 2, 3), "shape"), (good[:0], "no pixels"),
                 (good[:, :0], "no pixels"), ("photo.jpg", "type is|this is a"), (None, "type is object"), ([], "none"),
                 (numpy.broadcast_to(numpy.uint8(0), (2 ** 17 + 1, 2)), "131072")]
        for array, part in cases:
            with self.assertRaisesRegex(kalvatri.SettingsError, part):
                kalvatri.apply(array, "Vignette")
            if not isinstance(array, list):
                with self.assertRaises(kalvatri.SettingsError):
                    kalvatri.apply(good, "BlendPalette", inputs=[array] if not isinstance(array, str) else [3.5])

    def test_metadata_travels(self):
        source = SOURCE / "Tests/Fuzz/Corpus/Image/metadata.jpg"
        by_module, by_program = self.folder / "m.jpg", self.folder / "p.jpg"
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            picture, metadata = kalvatri.read(source)
            kalvatri.write(by_module, picture, metadata, quality=80)
        self.command_line("apply", "-q", "-i", source, "-o", by_program, "--quality", 80, "EmptyEffect")
        self.assertEqual(by_module.read_bytes(), by_program.read_bytes())

    def test_progress_interrupts_and_the_lock(self):
        picture = noise(1500, 1500, 3)
        seen = []
        kalvatri.apply(picture, "OilPaint", progress=lambda stage, fraction: seen.append((stage, fraction)))
        self.assertEqual(seen[-1], ("OilPaint", 1.0))
        self.assertTrue(all(0 <= fraction <= 1 for _, fraction in seen))

        def refuse(stage, fraction):
            raise KeyError(stage)

        with self.assertRaises(KeyError):
            kalvatri.apply(picture, "OilPaint", progress=refuse)
        timer = threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()  # runs while the effect does, because the lock is free
        begin = time.monotonic()
        with self.assertRaises(KeyboardInterrupt):
            for _ in range(1000):
                kalvatri.apply(picture, "OilPaint")
        timer.join()
        # The next call is as any other.
        self.assertEqual(kalvatri.apply(picture, "Vignette").shape, picture.shape)

    def test_many_threads(self):
        chain = kalvatri.Chain(["Vignette", "BalanceLuma"])
        pictures = [noise(120, 90 + i, 3, seed=i) for i in range(8)]
        expected = [kalvatri.apply(picture, ["Vignette", "BalanceLuma"]) for picture in pictures]
        results = [None] * len(pictures)

        def work(i):
            for _ in range(5):
                results[i] = chain(pictures[i])

        threads = [threading.Thread(target=work, args=(i,)) for i in range(len(pictures))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for result, wanted in zip(results, expected):
            self.assertTrue((result == wanted).all())

    def test_lists_and_stub_are_complete(self):
        listed = json.loads(subprocess.run([PROGRAM, "list", "--json"], capture_output=True).stdout)
        self.assertEqual(kalvatri.effects(), listed)
        stub = (pathlib.Path(kalvatri.__file__).parent / "__init__.pyi").read_text()
        compile(stub, "stub", "exec")
        for entry in listed:
            described = kalvatri.describe(entry["effect"].lower())
            self.assertEqual(described, json.loads(subprocess.run([PROGRAM, "describe", entry["effect"], "--json"],
                                                                  capture_output=True).stdout))
            if entry["effect"] == "Custom":
                continue
            begin = stub.index(f'def apply(array: Picture, effect: Literal["{entry["effect"]}"]') if (
                entry["kind"] != "variable-input") else stub.index(f'effect: Literal["{entry["effect"]}"]')
            text = stub[begin:stub.index("@overload", begin)]
            for field in described["fields"]:
                self.assertIn(f"{field['key']}: ", text, entry["effect"])
        for name in kalvatri.__all__:
            self.assertRegex(stub, rf"(def|class) {name}\b|{name}:")

    @unittest.skipUnless(importlib.util.find_spec("mypy"), "there is no mypy")
    def test_the_stub_tells_good_calls_from_bad_ones(self):
        lines = ["import kalvatri", "photo, metadata = kalvatri.read('a.jpg')",
                 "kalvatri.apply(photo, 'WhiteBalance', color='#c8b496')",
                 "kalvatri.apply(photo, 'BlurBokeh', size=0.1, aperture={'shape': 'heart'})",
                 "kalvatri.Chain(['Vignette', kalvatri.step('Resize', width=3)])(photo, progress=print)",
                 "kalvatri.write('b.jpg', photo, metadata, quality=80)",
                 "kalvatri.apply(photo, 'WhiteBalance', colour='#c8b496')",
                 "kalvatri.apply(photo, 'BlurBokeh', aperture={'shape': 'hart'})"]
        (self.folder / "use.py").write_text("\n".join(lines))
        checked = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir", self.folder, "use.py"],
                                 cwd=self.folder, capture_output=True, text=True,
                                 env={**os.environ, "MYPYPATH": str(pathlib.Path(kalvatri.__file__).parents[1])})
        self.assertEqual(re.findall(r"^(.*?): error", checked.stdout, re.M), ["use.py:7", "use.py:8"], checked.stdout)

    def test_the_document_can_be_pasted(self):
        text = (SOURCE / "docs/python.md").read_text()
        script = "\n".join(part.split("```")[0] for part in text.split("```python\n")[1:])
        os.symlink(SAMPLES, self.folder / "samples")
        done = subprocess.run([sys.executable, "-W", "error", "-c", script], cwd=self.folder, capture_output=True,
                              text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertGreater(len(list(self.folder.glob("*.jpg"))), 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=1)
