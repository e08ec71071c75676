"""The table's rows of the effects for light, colour, faces and tilt.

Some of the goals are about what a network says rather than about a picture (the score, the flag); those networks run by
OpenCV. The others run through the program if there is one, otherwise by the arithmetic below, which does in numpy what
the effects do around their networks.
"""

import json
import subprocess
import tempfile
from functools import lru_cache
from pathlib import Path

import cv2
import numpy as np

from common import ROOT, Networks, Program, Row, levels, luma, photographs_set_apart, psnr, with_sensor_noise

LONGEST = 512  # pixels of a wallpaper
GUIDE = np.float32([0.299, 0.587, 0.114])
DARK = 78  # a picture whose mean luma is below goes to the low-light network
CLIPPED = 254  # levels from which a channel counts as burnt out


# Damage


def to_light(picture):
    value = picture / 255.0
    return np.where(value <= 0.04045, value / 12.92, ((value + 0.055) / 1.055) ** 2.4)


def to_levels(light):
    light = np.clip(light, 0, 1)
    return 255 * np.where(light <= 0.0031308, light * 12.92, 1.055 * light ** (1 / 2.4) - 0.055)


def darkened(picture, gain, noise=2.0):
    return with_sensor_noise(to_levels(to_light(picture) * gain), noise)


def mixed(picture, gain=0.06):
    """Dark, but for what is bright in the picture itself and for a lamp: the scene that tempts to burn it out. With it
    what the picture should become."""
    height, width = picture.shape[:2]
    bright = np.clip((luma(cv2.GaussianBlur(picture, (0, 0), 1.5)) - 150) / 50, 0, 1)[..., None]
    y, x = np.mgrid[:height, :width]
    distance = ((x - 0.75 * width) ** 2 + (y - 0.3 * height) ** 2) / (0.05 * width) ** 2
    lamp = 1.5 * np.float64([1.0, 0.9, 0.7]) * np.exp(-distance)[..., None]
    light = to_light(picture)
    return with_sensor_noise(to_levels(light * (gain + (1 - gain) * bright) + lamp), 2.0), levels(
        to_levels(light + lamp)
    )


def flattened(picture, contrast, lift, saturation):
    """Less contrast above a lifted black, paler colours."""
    values = luma(picture)[..., None]
    return levels(lift + contrast * (values + saturation * (picture - values)))


def cast(picture, gains):
    return levels(to_levels(to_light(picture) * gains))


WARM, COLD, GREEN = (1.45, 1.0, 0.6), (0.65, 0.95, 1.4), (0.85, 1.2, 0.8)
FLAT = (
    lambda picture: flattened(picture, 0.4, 70, 0.7),
    lambda picture: flattened(picture, 0.55, 25, 0.6),
    lambda picture: cast(picture, WARM),
    lambda picture: cast(picture, COLD),
    lambda picture: cast(flattened(picture, 0.5, 60, 0.9), WARM),
    lambda picture: cast(flattened(picture, 0.65, 50, 0.7), GREEN),
)
EXPOSED = (
    lambda picture: levels(to_levels(to_light(picture) * 0.4)),
    lambda picture: levels(to_levels(to_light(picture) * 2.2)),
    lambda picture: levels(255 * (picture / 255.0) ** 1.5),
    lambda picture: levels(255 * (picture / 255.0) ** 0.65),
    lambda picture: levels(128 + (picture.astype(float) - 128) * 1.6),
)


def oversaturated(picture):
    values = luma(picture)[..., None]
    return levels(values + 1.9 * (picture - values))


def crushed(picture):
    """Shadows and highlights pushed until halves of the picture are flat."""
    values = luma(picture)[..., None]
    lifted = values + 60 * (1 - values / 255) - 70 * values / 255
    return levels(picture + lifted - values)


def exaggerated(picture):
    """Local contrast with halos."""
    return levels(picture + 1.5 * (picture - cv2.GaussianBlur(picture.astype(float), (0, 0), picture.shape[1] / 60)))


DAMAGED = (*FLAT, *EXPOSED, oversaturated, crushed, exaggerated)


# Peers


def clahe_with_gamma(picture):
    """Three gammas, then contrast-limited adaptive equalization of luma."""
    for gamma in (0.4, 0.55, 0.7):
        bright = levels(255 * (picture / 255.0) ** gamma)
        lab = cv2.cvtColor(bright, cv2.COLOR_RGB2YCrCb)
        lab[..., 0] = cv2.createCLAHE(1.5, (8, 8)).apply(np.ascontiguousarray(lab[..., 0]))
        yield cv2.cvtColor(lab, cv2.COLOR_YCrCb2RGB)


def stretched(picture):
    """Each channel, and all alike, without half a per cent at either end."""
    for values in (picture.reshape(-1, 3), np.repeat(picture.reshape(-1, 1), 3, 1)):
        low, high = np.percentile(values, (0.5, 99.5), axis=0)
        yield levels((picture - low) * 255 / np.maximum(high - low, 1))


def exact_gain(picture, original):
    return levels(picture * (original.mean() / max(picture.mean(), 1e-3)))


# What the effects do, in numpy


def sliced(grid, picture):
    """A bilateral grid (12 * depth x rows x columns) applied to a picture: trilinear between the cells' centres."""
    height, width = picture.shape[:2]
    depth = grid.shape[0] // 12
    size = width, height
    rows = (np.arange(height) + 0.5) * grid.shape[1] / height - 0.5
    columns = (np.arange(width) + 0.5) * grid.shape[2] / width - 0.5
    along = np.meshgrid(columns.astype(np.float32), rows.astype(np.float32))
    colours = picture.astype(np.float32) / 255
    homogeneous = np.dstack([colours, np.ones((height, width, 1), np.float32)])
    position = np.clip((colours @ GUIDE) * depth - 0.5, 0, depth - 1)
    result = np.zeros((height, width, 3), np.float32)
    for z in range(depth):
        weight = np.maximum(0, 1 - np.abs(position - z))
        for row in range(3):
            for column in range(4):
                plane = np.ascontiguousarray(grid[(row * 4 + column) * depth + z])
                factor = cv2.remap(plane, *along, cv2.INTER_LINEAR, borderMode=cv2.BORDER_REPLICATE)
                result[..., row] += weight * factor * homogeneous[..., column]
    assert result.shape[1::-1] == size
    return levels(result * 255)


class Effects:
    """The effects of these rows, by a `Program` or by `Networks`; either way the networks can be asked directly."""

    def __init__(self, runner):
        self.program = runner if isinstance(runner, Program) else None
        self.networks = Networks() if self.program else runner
        built = ROOT / "build/release/bin/kalvatri"
        self.peer = self.program or (Program(built) if built.is_file() else None)

    def answers(self, kind, number, picture):
        entry = self.networks.entry(kind, number)
        small = cv2.resize(picture, (entry["width"], entry["height"]), interpolation=cv2.INTER_AREA)
        return self.networks.output(kind, number, small)[0]

    def score(self, picture):
        return float(self.answers("types", 7, picture)[0])

    def flag(self, picture):
        return float(self.answers("types", 5, picture)[0]) > 0.5

    def with_grid(self, number, picture):
        return sliced(self.answers("models", number, picture), picture)

    def enhanced(self, picture):
        """DeepEnhancer: a dark picture goes to the low-light network, a flat one to the enhancing one; a good one is
        covered by the low-light network's result, the less the brighter it is."""
        if self.program:
            return self.program.apply(picture, "DeepEnhancer")
        brightness = int(levels(luma(picture)).mean())
        if brightness < DARK:
            return self.with_grid(9, picture)
        if self.flag(picture):
            return self.with_grid(10, picture)
        share = max(127, 255 - brightness) / 255
        return levels(picture + share * (self.with_grid(9, picture).astype(float) - picture))

    def improved(self, picture):
        if self.program:
            return self.program.apply(picture, "DeepImageEnhancer")
        return self.with_grid(25, picture)

    def retouched(self, picture):
        """The picture with its faces retouched."""
        if self.program:
            return self.program.apply(picture, "DeepAutoRetoucher")
        result = picture.copy()
        for face in self.faces(picture):
            left, top, right, bottom = crop_of(face["rectangle"], picture)
            result[top:bottom, left:right] = self.with_limit(26, picture[top:bottom, left:right])
        return result

    def with_limit(self, number, picture):
        """By a network that takes at most `longest` pixels: its change is enlarged."""
        longest = self.networks.entry("models", number)["longest"]
        factor = max(1.0, max(picture.shape[:2]) / longest)
        if factor == 1:
            return self.networks.picture(number, picture)
        size = [round(length / factor) for length in picture.shape[1::-1]]
        small = cv2.resize(picture, size, interpolation=cv2.INTER_AREA)
        change = self.networks.picture(number, small).astype(np.float32) - small
        return levels(picture + cv2.resize(change, picture.shape[1::-1], interpolation=cv2.INTER_CUBIC))

    def faces(self, picture):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder, "in.png")
            cv2.imwrite(str(file), np.ascontiguousarray(picture[..., ::-1]))
            command = [self.peer.program, "faces", str(file), "--json"]
            return json.loads(subprocess.run(command, capture_output=True, text=True, check=True).stdout)[0]["faces"]

    def found(self, picture, effect):
        """What an effect says that it found."""
        with tempfile.TemporaryDirectory() as folder:
            given, made, found = (Path(folder, name) for name in ("in.png", "out.png", "found.json"))
            cv2.imwrite(str(given), np.ascontiguousarray(picture[..., ::-1]))
            command = [self.program.program, "apply", "-q", "-i", given, "-o", made, "--results", found, effect]
            finished = subprocess.run([str(word) for word in command], capture_output=True, text=True)
            if finished.returncode:
                raise SystemExit(f"{effect}: {finished.stderr.strip()}")
            return json.loads(found.read_text())[0]

    def adjusted(self, picture):
        """DeepAdjuster's values, applied by the effects that they are for."""
        if self.program:
            values = self.found(picture, "DeepAdjuster")
        else:
            answers = self.answers("types", 0, picture)
            values = settings_of(answers)
            if self.peer:
                ratio = np.float32(self.score(self.corrected(picture, values)) / self.score(picture))
                values = settings_of(answers, ratio) if ratio < np.float32(0.95) else values
        return self.corrected(picture, values)

    def corrected(self, picture, values):
        steps = (
            ("Vibrance", ("strength", "vibrance")),
            ("BalanceLuma", ("shadows", "shadows"), ("highlights", "highlights")),
            ("ColorBalanceAuto", ("exposure", "exposure")),
            ("ColorBalance", ("brightness", "brightness"), ("contrast", "contrast")),
        )
        words = []
        for effect, *settings in steps:
            words += [effect, *(f"{key}={values[value]}" for key, value in settings)]
        return self.peer.apply(picture, *words)


def settings_of(answers, ratio=np.float32(1)):
    names = ("brightness", "contrast", "vibrance", "exposure", "shadows", "highlights")
    centres = np.float32([30, 30, 40, 15, 50, 70])
    return dict(zip(names, np.trunc(centres - ratio * answers[:6] * 2 * centres).astype(int).tolist()))


def crop_of(rectangle, picture):
    """The rectangle with three tenths around it, with even sides, as DeepAutoRetoucher cuts it out."""
    height, width = picture.shape[:2]
    left, top, right, bottom = rectangle
    across, down = round(0.3 * (right - left)), round(0.3 * (bottom - top))
    x, y = max(0, left - across), max(0, top - down)
    return x, y, x + ((min(width, right + across) - x) & ~1), y + ((min(height, bottom + down) - y) & ~1)


# Rows


def best(candidates, original):
    return max(psnr(candidate, original) for candidate in candidates)


def clipped(picture):
    return float(np.mean(picture.max(axis=2) >= CLIPPED))


def low_light_rows(effects, originals):
    effect, peer = "DeepEnhancer", "CLAHE with gamma"
    for gain, goal in ((0.06, True), (0.12, True)):
        pairs = [(darkened(original, gain), original) for original in originals.values()]
        ours = np.mean([psnr(effects.enhanced(dark), original) for dark, original in pairs])
        exact = np.mean([psnr(exact_gain(dark, original), original) for dark, original in pairs])
        given = np.mean([psnr(dark, original) for dark, original in pairs])
        others = np.mean([best(clahe_with_gamma(dark), original) for dark, original in pairs])
        yield Row(
            effect,
            f"light times {gain}, with noise",
            f"{given:.1f} → {ours:.1f} dB",
            f"{peer} {others:.1f} dB, exact gain {exact:.1f} dB",
            "exact gain - 2 dB",
            bool(ours >= exact - 2),
        )
    pairs = [mixed(original) for original in originals.values()]
    made = [effects.with_grid(9, dark) for dark, _ in pairs]
    true, ours = (np.mean([clipped(picture) for picture in some]) for some in ([t for _, t in pairs], made))
    gammas = np.mean([clipped(list(clahe_with_gamma(dark))[1]) for dark, _ in pairs])
    quality = np.mean([psnr(picture, truth) for picture, (_, truth) in zip(made, pairs)])
    given = np.mean([psnr(*pair) for pair in pairs])
    others = np.mean([best(clahe_with_gamma(dark), truth) for dark, truth in pairs])
    yield Row(
        effect,
        "dark but for lamps and skies",
        f"{given:.1f} → {quality:.1f} dB; {ours:.2%} burnt out",
        f"{peer} {others:.1f} dB, {gammas:.2%}; in truth {true:.2%}",
        "burnt out: 1.2 times the truth",
        bool(ours <= 1.2 * true),
    )


def enhancing_rows(effects, originals):
    effect = "DeepEnhancer"
    pairs = [(damage(original), original) for original in originals.values() for damage in FLAT]
    given = np.array([psnr(*pair) for pair in pairs])
    bare = np.array([psnr(effects.with_grid(10, flat), original) for flat, original in pairs])
    whole = np.array([psnr(effects.enhanced(flat), original) for flat, original in pairs])
    others = np.array([best(stretched(flat), original) for flat, original in pairs])
    yield Row(
        effect,
        "flat or tinted, the enhancing network alone",
        f"{given.mean():.1f} → {bare.mean():.1f} dB ({(bare - given).mean():+.1f})",
        f"contrast stretch {others.mean():.1f} dB ({(others - given).mean():+.1f})",
        "",
        None,
    )
    gain = (whole - given).mean()
    yield Row(effect, "the same, whole effect", f"{whole.mean():.1f} dB ({gain:+.1f})", "", "+3 dB", bool(gain >= 3))
    bright = [original for original in originals.values() if luma(original).mean() >= DARK]
    changes = [np.abs(effects.enhanced(original).astype(float) - original).mean() for original in bright]
    others = [min(np.abs(some.astype(float) - original).mean() for some in stretched(original)) for original in bright]
    text = f"mean change {np.mean(changes):.1f} levels, most {max(changes):.1f}"
    yield Row(effect, "good photographs, whole effect", text, f"contrast stretch {np.mean(others):.1f}", "", None)
    right = [not effects.flag(original) for original in originals.values()]
    caught = [effects.flag(flat) for flat, _ in pairs]
    # A pair is right if the photograph is left alone and its copy is not.
    together = [alone and flat for alone, flat in zip(np.repeat(right, len(FLAT)), caught)]
    yield Row(
        effect,
        "flag: a photograph and its flat copy told apart",
f"{np.mean(together):.0%} of {len(together)} pairs (left alone {np.mean(right):.0%}, caught {np.mean(caught):.0%})",
        "",
        "80 %",
        bool(np.mean(together) >= 0.8),
    )


def score_rows(effects, originals):
    pairs = [(damage(original), original) for original in originals.values() for damage in DAMAGED]
    ranked = np.mean([effects.score(original) > effects.score(bad) for bad, original in pairs])
    yield Row(
        "DeepAdjuster",
        "score: a photograph above its damaged copy",
        f"{ranked:.0%} of {len(pairs)} pairs",
        "",
        "90 %",
        bool(ranked >= 0.9),
    )
    pairs = [(damage(original), original) for original in originals.values() for damage in (*FLAT, *EXPOSED[:4])]
    ours = [effects.improved(bad) for bad, _ in pairs]
    others = [effects.peer.apply(bad, "AutoEnhance") for bad, _ in pairs] if effects.peer else []
    errors = [
        np.mean([psnr(made, original) for made, (_, original) in zip(some, pairs)]) for some in (ours, others) if some
    ]
    given = np.mean([psnr(*pair) for pair in pairs])
    preferred = (
        np.mean([effects.score(mine) > effects.score(other) for mine, other in zip(ours, others)]) if others else 0
    )
    yield Row(
        "DeepImageEnhancer",
        "damaged pictures: the score prefers it",
        f"to `AutoEnhance`: {preferred:.0%} of {len(pairs)}; {given:.1f} → {errors[0]:.1f} dB",
        f"`AutoEnhance` {errors[-1]:.1f} dB",
        "70 %",
        bool(preferred >= 0.7),
    )
    changes = [np.abs(effects.improved(each).astype(float) - each).mean() for each in originals.values()]
    text = f"mean change {np.mean(changes):.1f} levels, most {max(changes):.1f}"
    yield Row("DeepImageEnhancer", "good photographs stay", text, "", "", None)


def adjusting_rows(effects, originals):
    damages = (*EXPOSED, *FLAT[:2], oversaturated)
    pairs = [(damage(original), original) for original in originals.values() for damage in damages]

    def error(picture, original):
        return np.abs(picture.astype(float) - original).mean()

    given = np.mean([error(*pair) for pair in pairs])
    ours = np.mean([error(effects.adjusted(bad), original) for bad, original in pairs])
    others = np.mean([error(effects.peer.apply(bad, "AutoEnhance"), original) for bad, original in pairs])
    yield Row(
        "DeepAdjuster",
        "misadjusted copies: mean error after the values",
        f"{given:.1f} → {ours:.1f} levels ({ours / given - 1:+.0%})",
        f"`AutoEnhance` {others:.1f} ({others / given - 1:+.0%})",
        "-30 %",
        bool(ours <= 0.7 * given),
    )
    changes = [error(effects.adjusted(original), original) for original in originals.values()]
    others = [error(effects.peer.apply(original, "AutoEnhance"), original) for original in originals.values()]
    text = f"mean change {np.mean(changes):.1f} levels, most {max(changes):.1f}"
    yield Row(
        "DeepAdjuster",
        "good photographs stay",
        text,
        f"`AutoEnhance` {np.mean(others):.1f}",
        "4 levels",
        bool(np.mean(changes) < 4),
    )


def skin_of(face, shape):
    """Cheeks, forehead and chin: within the outline, away from eyes, brows, nose and mouth by a tenth of the face."""
    margin = (face["rectangle"][2] - face["rectangle"][0]) // 10 | 1
    around = np.ones((margin, margin), np.uint8)
    skin, near = np.zeros(shape, np.uint8), np.zeros(shape, np.uint8)
    outline, brows = face["outline"], [point for brow in face["brows"] for point in brow]
    cv2.fillPoly(skin, [cv2.convexHull(np.int32([*outline, *brows]))], 1)
    nose = [point for line in face["nose"] for point in line]
    for part in (*face["eyes"], *face["brows"], face["mouthOuter"], nose):
        cv2.fillPoly(near, [cv2.convexHull(np.int32(part))], 1)
    return (cv2.erode(skin, around) > 0) & (cv2.dilate(near, around) == 0)


def features_of(face, shape):
    """Eyes and lips."""
    features = np.zeros(shape, np.uint8)
    for part in (*face["eyes"], face["mouthOuter"]):
        cv2.fillPoly(features, [cv2.convexHull(np.int32(part))], 1)
    return cv2.dilate(features, np.ones((5, 5), np.uint8)) > 0


def unevenness(picture, skin):
    """Variance of luma at the scale of 3 to 8 pixels."""
    values = luma(picture)
    band = cv2.GaussianBlur(values, (0, 0), 3 / 2.355) - cv2.GaussianBlur(values, (0, 0), 8 / 2.355)
    return float(np.var(band[skin]))


def gradient(picture, where):
    values = luma(picture)
    return float(np.hypot(cv2.Sobel(values, cv2.CV_64F, 1, 0), cv2.Sobel(values, cv2.CV_64F, 0, 1))[where].mean())


def retouching_rows(effects, originals):
    picture = originals["astronaut"]
    face = effects.faces(picture)[0]
    skin, features = skin_of(face, picture.shape[:2]), features_of(face, picture.shape[:2])
    left, top, right, bottom = crop_of(face["rectangle"], picture)
    filtered = picture.copy()
    filtered[top:bottom, left:right] = cv2.bilateralFilter(
        np.ascontiguousarray(picture[top:bottom, left:right]), 9, 25, 4
    )

    def measure(made):
        return unevenness(made, skin) / unevenness(picture, skin), gradient(made, features) / gradient(
            picture, features
        )

    ours, others = measure(effects.retouched(picture)), measure(filtered)
    yield Row(
        "DeepAutoRetoucher",
        "skin's variance at 3 to 8 pixels; gradient of eyes and lips",
        f"{ours[0]:.0%}; {ours[1]:.0%}",
        f"bilateral filter {others[0]:.0%}; {others[1]:.0%}",
        "50 %; 90 to 110 %",
        bool(ours[0] <= 0.5 and abs(ours[1] - 1) <= 0.1),
    )


def tilted(picture, angle):
    """Turned counter-clockwise by an angle in degrees, cut to the largest part without corners of nothing."""
    height, width = picture.shape[:2]
    turn = cv2.getRotationMatrix2D((width / 2, height / 2), angle, 1)
    whole = cv2.warpAffine(picture, turn, (width, height), flags=cv2.INTER_CUBIC)
    sine, cosine = abs(np.sin(np.radians(angle))), abs(np.cos(np.radians(angle)))
    share = min(width / (width * cosine + height * sine), height / (width * sine + height * cosine))
    inside = int(width * share) - 2, int(height * share) - 2
    x, y = (width - inside[0]) // 2, (height - inside[1]) // 2
    return np.ascontiguousarray(whole[y : y + inside[1], x : x + inside[0]])


STRAIGHT = ("bridge", "rocket")
LOOSE = ("chelsea", "coffee", "dragonfly", "greentock", "astronaut")


def aligning_rows(effects, originals):
    if not effects.program:
        return
    errors, sure = [], 0
    angles = (-7, -4.5, -2, -1, 1, 2, 4.5, 7)
    for name in STRAIGHT:
        # Nobody holds a camera straight to a tenth of a degree.
        own = effects.found(tilted(originals[name], 0), "DeepAligner")["angle"]
        for angle in angles:
            found = effects.found(tilted(originals[name], angle), "DeepAligner")
            sure += found["horizonDetected"]
            errors.append(abs(found["angle"] - own - angle))
    text = f"median error {np.median(errors):.2f} degrees; a horizon in {sure / len(errors):.0%}"
    yield Row(
        "DeepAligner",
        "tilted copies of pictures with straight structure",
        text,
        "",
        "0.5 degrees",
        bool(np.median(errors) < 0.5),
    )
    found = [
        effects.found(tilted(originals[name], angle), "DeepAligner")["horizonDetected"]
        for name in LOOSE
        for angle in (-5, 0, 5)
    ]
    yield Row(
        "DeepAligner",
        "no horizon where there is nothing straight",
        f"{1 - np.mean(found):.0%} of {len(found)}",
        "",
        "80 %",
        bool(np.mean(found) <= 0.2),
    )


@lru_cache
def set_apart():
    return dict(photographs_set_apart(LONGEST))


def rows(runner):
    effects, originals = Effects(runner), set_apart()
    yield from low_light_rows(effects, originals)
    yield from enhancing_rows(effects, originals)
    yield from score_rows(effects, originals)
    yield from adjusting_rows(effects, originals)
    yield from retouching_rows(effects, originals)
    yield from aligning_rows(effects, originals)
