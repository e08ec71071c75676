"""The photographs that the networks learn from, and those that are set apart to judge them.

All are pictures of the Debian package lomiri-wallpapers-16.04 and of samples/. Only those under CC-BY-4.0 or CC0 are
learned from; those under CC-BY-SA-4.0 and the samples are for evaluation, so no network ever saw them.

The originals have 1 to 16 megapixels, with the traces of JPEG compression and the grain of their cameras. Reduced by
averaging areas they are clean, which matters because a network cannot give more than its targets have. Ten photographs
are few, so each patch is turned, mirrored and changed in light and colour at random.
"""

import hashlib
import sys
from pathlib import Path

import cv2
import numpy as np

FOLDER = Path("/usr/share/backgrounds")
SAMPLES = Path(__file__).resolve().parents[2] / "samples"

# Name, file, first reduction that is clean, first 16 digits of the file's SHA-256.
LEARNED_FROM = (
    ("aitzgorri", "aitzgorri_by_Aitzol_Berasategi.jpg", 2.0, "66268e7b48f8854d"),
    ("friends", "friends_by_Aitzol_Berasategi.jpg", 2.0, "cc40e313c74e421e"),
    ("life", "life_by_Aitzol_Berasategi.jpg", 2.0, "4c119350ead80201"),
    ("picosdeeuropa", "picosdeeuropa_by_Aitzol_Berasategi.jpg", 2.0, "414d0072b2f6f2c5"),
    ("sunset", "sunset_by_Aitzol_Berasategi.jpg", 2.5, "474dab6a4b9f94dc"),
    ("bowl", "Picture_0B_by_freespace.jpg", 1.5, "c8c0ab18e48d9e04"),
    ("brushes", "Picture_1A_by_freespace.jpg", 1.5, "89e86af38d04daae"),
    ("wine", "Wine_by_Jakkub_Mede.jpg", 3.0, "d2e96e6d4da40dd8"),
    ("seeding", "seeding_by_Clements_Engelhardt.jpg", 3.0, "a5634d1ab5e41a35"),
)
SET_APART = (
    ("bridge", "Bridge_by_Sander_Klootwijk.jpg", "bd86b081f9975e2b"),
    ("dragonfly", "Dragonfly_by_Bolly.jpg", "af5af17841009732"),
    ("free", "free_by_Peter_Nerlich.jpg", "85a5453c2fed514c"),
    ("greentock", "greentock_by_Peter_Nerlich.jpg", "e7b20e2db9dcd6e2"),
)
SAMPLE_FILES = ("astronaut.png", "chelsea.png", "coffee.png", "rocket.jpg")

# Further reductions, relative to the first: the same scene with edges of other widths and more detail a pixel.
REDUCTIONS = (1.0, 1.5, 2.25, 3.4)
SMALLEST_SIDE = 200  # pixels; smaller reductions hold too few patches


def read(path, digest=""):
    """The picture as RGB bytes. The data must be those that the networks were trained on."""
    if not path.exists():
        sys.exit(f"{path} is missing; install the Debian package lomiri-wallpapers-16.04.")
    data = path.read_bytes()
    found = hashlib.sha256(data).hexdigest()
    if not found.startswith(digest):
        sys.exit(f"{path} has the digest {found}; it must begin with {digest}.")
    return np.ascontiguousarray(cv2.imdecode(np.frombuffer(data, np.uint8), cv2.IMREAD_COLOR)[..., ::-1])


def reduced(picture, factor):
    """`factor` times as small, each pixel the mean of the area that it covers."""
    height, width = picture.shape[:2]
    size = max(1, round(width / factor)), max(1, round(height / factor))
    return cv2.resize(picture, size, interpolation=cv2.INTER_AREA)


def reduced_to(picture, longest):
    """Reduced so that the longer side has at most `longest` pixels."""
    return reduced(picture, max(1.0, max(picture.shape[:2]) / longest))


def photographs_to_learn_from(reductions=REDUCTIONS):
    """For each photograph its clean reductions, largest first."""
    for _, file, first, digest in LEARNED_FROM:
        original = read(FOLDER / file, digest)
        scaled = [reduced(original, first * reduction) for reduction in reductions]
        yield [picture for picture in scaled if min(picture.shape[:2]) >= SMALLEST_SIDE]


def photographs_set_apart(longest=1024):
    """Name and picture of those that no training sees: the samples as they are, the wallpapers reduced."""
    for file in SAMPLE_FILES:
        yield Path(file).stem, read(SAMPLES / file)
    for name, file, digest in SET_APART:
        yield name, reduced_to(read(FOLDER / file, digest), longest)


def drawing(rng, side=384):
    """What photographs hardly show: even areas, slow gradients, lines and letters with sharp edges."""
    big = 2 * side  # reduced at the end, which smooths the edges
    ramp = np.linspace(0, 1, big, dtype=np.float32)
    across, down = np.meshgrid(ramp, ramp)
    angle = rng.uniform(0, 2 * np.pi)
    position = (across * np.cos(angle) + down * np.sin(angle))[..., None]
    first, second = rng.uniform(0, 255, (2, 3))
    if rng.random() < 0.3:
        second = first
    picture = np.ascontiguousarray(np.clip(first + (second - first) * position, 0, 255).astype(np.float32))
    for _ in range(rng.integers(4, 14)):
        colour = [float(level) for level in rng.uniform(0, 255, 3)]
        kind = rng.integers(4)
        points = rng.integers(0, big, (4, 2)).astype(np.int32)
        if kind == 0:
            cv2.fillPoly(picture, [points], colour, cv2.LINE_8)
        elif kind == 1:
            cv2.polylines(picture, [points], False, colour, int(rng.integers(2, 14)), cv2.LINE_8)
        elif kind == 2:
            cv2.circle(picture, points[0].tolist(), int(rng.integers(8, big // 5)), colour, -1 if rng.random() < 0.5 else 5)
        else:
            text = "".join(chr(letter) for letter in rng.integers(33, 127, 14))
            scale = rng.uniform(0.8, 3.5)
            font = int(rng.choice([0, 2, 3, 4]))
            for line in range(rng.integers(1, 5)):
                origin = int(points[0, 0]) - 100, int(points[0, 1] + line * 40 * scale)
                cv2.putText(picture, text, origin, font, scale, colour, max(1, round(scale * rng.uniform(1, 3))))
    return reduced(picture, 2).round().astype(np.uint8)


class Patches:
    """Random square patches of the photographs, changed at random, as RGB floats 0..255."""

    def __init__(self, rng, drawn=0.1, drawings=24, busier=0.4):
        """`drawn` is the share of patches from drawings instead of photographs, `busier` of those that are the busier
        of two: skies and blurred grounds are plenty."""
        self.rng = rng
        self.photographs = list(photographs_to_learn_from())
        self.drawings = [drawing(rng) for _ in range(drawings)]
        self.drawn, self.busier = drawn, busier

    def _crop(self, side):
        rng = self.rng
        if rng.random() < self.drawn:
            picture = self.drawings[rng.integers(len(self.drawings))]
        else:
            scaled = self.photographs[rng.integers(len(self.photographs))]
            picture = scaled[rng.integers(len(scaled))]
        top, left = (rng.integers(length - side + 1) for length in picture.shape[:2])
        return picture[top : top + side, left : left + side]

    def __call__(self, side):
        rng = self.rng
        patch = self._crop(side)
        if rng.random() < self.busier:
            other = self._crop(side)
            patch = max(patch, other, key=lambda pixels: float(pixels[::2, ::2, 1].std()))
        return change_light(turned(patch, rng).astype(np.float32), rng)


def turned(patch, rng):
    """One of the eight ways to turn and mirror a patch, at times with its channels exchanged."""
    patch = np.rot90(patch, rng.integers(4))
    if rng.random() < 0.5:
        patch = patch[:, ::-1]
    if rng.random() < 0.3:
        patch = patch[..., rng.permutation(3)]
    return np.ascontiguousarray(patch)


def change_light(patch, rng):
    """At times darker or brighter, flatter or steeper, paler or greyer."""
    if rng.random() < 0.4:
        patch = 255 * (patch / 255) ** rng.uniform(0.65, 1.5)
    if rng.random() < 0.4:
        patch = np.clip(patch * rng.uniform(0.5, 1.15) + rng.uniform(-10, 10), 0, 255)
    if rng.random() < 0.2:
        patch = patch + (patch.mean(axis=2, keepdims=True) - patch) * rng.uniform(0, 1)
    return np.ascontiguousarray(patch, np.float32)
