"""What the rows of the models' table share: damaged copies, running the effects, measures, and the table.

An effect runs through the program, as its users run it, or through OpenCV's dnn right from the manifest's entry, for
networks that the program does not know yet.
"""

import json
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import cv2
import numpy as np

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "models" / "train"))
from photographs import photographs_set_apart, reduced, reduced_to  # noqa: E402, F401


def levels(picture):
    """Rounded and clamped to bytes."""
    return np.clip(np.asarray(picture, np.float64) + 0.5, 0, 255).astype(np.uint8)


def psnr(picture, original):
    """Peak signal-to-noise ratio in dB; 99 if equal."""
    error = np.mean((picture.astype(np.float64) - original.astype(np.float64)) ** 2)
    return 99.0 if error == 0 else float(10 * np.log10(255**2 / error))


def with_noise(picture, sigma, seed=11):
    """Independent noise of a standard deviation of `sigma` levels in every channel."""
    return levels(picture + np.random.default_rng(seed).normal(0, sigma, picture.shape))


def with_sensor_noise(picture, sigma, seed=12):
    """As of a sensor: the variance grows with the light, and blue and red, which are amplified for the white balance,
    have more of it. `sigma` is the standard deviation of green at middle grey."""
    light = picture / 255.0
    deviation = sigma * np.sqrt(0.15 + 0.85 * light / 0.5) * np.array([1.2, 1.0, 1.4])
    return levels(picture + np.random.default_rng(seed).normal(0, 1, picture.shape) * deviation)


def with_jpeg(picture, quality):
    data = cv2.imencode(".jpg", np.ascontiguousarray(picture[..., ::-1]), [cv2.IMWRITE_JPEG_QUALITY, quality])[1]
    return np.ascontiguousarray(cv2.imdecode(data, cv2.IMREAD_COLOR)[..., ::-1])


def blurred(picture, sigma):
    return cv2.GaussianBlur(picture, (0, 0), sigma)


def luma(picture):
    """As levels 0..255, not rounded (ITU-R BT.601)."""
    return picture.astype(np.float64) @ np.array([0.299, 0.587, 0.114])


class Program:
    """Runs effects by `kalvatri apply`."""

    def __init__(self, program):
        self.program = str(program)

    def apply(self, picture, effect, *settings):
        with tempfile.TemporaryDirectory() as folder:
            given, made = Path(folder, "in.png"), Path(folder, "out.png")
            cv2.imwrite(str(given), np.ascontiguousarray(picture[..., ::-1]))
            command = [self.program, "apply", "-q", "-i", str(given), "-o", str(made), effect, *settings]
            finished = subprocess.run(command, capture_output=True, text=True)
            if finished.returncode:
                raise SystemExit(f"{' '.join(command)}: {finished.stderr.strip()}")
            return np.ascontiguousarray(cv2.imread(str(made), cv2.IMREAD_COLOR)[..., ::-1])


class Networks:
    """Runs the networks of a manifest by OpenCV, each on the whole picture."""

    # The effects that are a chain of networks from pictures to pictures.
    CHAINS = {
        "DeepDenoiser": ("7", "6"),
        "DeepSuperResolutor": ("17",),
        "DeepLumaUpscaler": ("14",),
        "DeepRestorer": ("16",),
        "DeepRestorerEx": ("15",),
    }

    def __init__(self, folder=ROOT / "models"):
        self.folder = Path(folder)
        self.manifest = json.loads((self.folder / "models.json").read_text())
        self.read = {}

    def entry(self, kind, number):
        return self.manifest[kind][str(number)]

    def output(self, kind, number, picture):
        """The output's numbers for a picture that has the size that the network takes."""
        entry = self.entry(kind, number)
        if entry["file"] not in self.read:
            self.read[entry["file"]] = cv2.dnn.readNetFromONNX(str(self.folder / entry["file"]))
        network = self.read[entry["file"]]
        values = np.atleast_3d(picture).astype(np.float32)
        if entry["channels"] == "bgr":
            values = values[..., ::-1]
        values = (values - np.float32(entry["mean"])) * np.float32(entry["scale"])
        network.setInput(np.ascontiguousarray(values.transpose(2, 0, 1)[None]))
        return network.forward() * entry.get("outputScale", 1) + entry.get("outputOffset", 0)

    def picture(self, number, picture):
        """The picture that an entry of `models` makes, padded to the multiple that it takes; grey networks change the
        luma and leave the chroma."""
        entry = self.entry("models", number)
        if entry["channels"] == "grey" and picture.ndim == 3:
            before = luma(picture)
            after = self.picture(number, levels(before)).astype(np.float64)
            return levels(picture + (after - levels(before))[..., None])
        height, width = picture.shape[:2]
        multiple, enlarges = entry.get("multiple", 1), entry.get("enlarges", 1)
        border = -height % multiple, -width % multiple
        padded = cv2.copyMakeBorder(picture, 0, border[0], 0, border[1], cv2.BORDER_REFLECT_101)
        result = self.output("models", number, padded)[0].transpose(1, 2, 0)
        result = levels(result[: height * enlarges, : width * enlarges])
        return result[..., 0] if entry["channels"] == "grey" else np.ascontiguousarray(result)

    def apply(self, picture, effect, *settings):
        if settings:
            raise SystemExit(f"{effect}: settings need the program.")
        for number in self.CHAINS[effect]:
            picture = self.picture(number, picture)
        return picture


@dataclass
class Row:
    """A line of the table. `reached` is None where there is no goal."""

    effect: str
    task: str
    ours: str
    peer: str
    goal: str
    reached: bool | None


def print_table(rows):
    print("| effect | task | result | peer | goal | reached |")
    print("|---|---|---|---|---|---|")
    for row in rows:
        reached = {None: "", True: "yes", False: "**no**"}[row.reached]
        print(f"| `{row.effect}` | {row.task} | {row.ours} | {row.peer} | {row.goal} | {reached} |", flush=True)
