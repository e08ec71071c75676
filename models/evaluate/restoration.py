"""The table's rows of the effects that restore pictures: noise, size, sharpness, compression.

Each figure is a mean over photographs that no training saw. Where a peer has strengths to choose from, it gets the best
of three for each picture, which nobody could choose without the original.
"""

import cv2
import numpy as np

from common import (
    Row,
    blurred,
    levels,
    luma,
    photographs_set_apart,
    psnr,
    reduced,
    with_jpeg,
    with_noise,
    with_sensor_noise,
)

LONGEST = 768  # pixels of a wallpaper
SAMPLES = 4  # the samples come first


def pictures():
    """Those set apart, with sides that are multiples of 6."""
    for name, picture in photographs_set_apart(LONGEST):
        height, width = (length // 6 * 6 for length in picture.shape[:2])
        yield name, np.ascontiguousarray(picture[:height, :width])


def non_local_means(picture, sigma):
    """Buades et al., "A non-local algorithm for image denoising", 2005: three strengths."""
    for strength in (0.6, 0.8, 1.1):
        yield cv2.fastNlMeansDenoisingColored(picture, None, strength * sigma, strength * sigma, 7, 21)


def unsharp_masks(values):
    """Radii of three sizes at full strength."""
    for radius in (0.8, 1.2, 2.0):
        yield np.clip(2 * values - cv2.GaussianBlur(values, (0, 0), radius), 0, 255)


def bilateral_filters(picture):
    for contrast in (8, 16, 32):
        yield cv2.bilateralFilter(picture, 7, contrast, 2)


def best(candidates, original):
    return max(psnr(candidate, original) for candidate in candidates)


def gain_row(effect, task, damaged, ours, peers, goal=None, peer_name=""):
    """Means in dB: what came in and out, and the gain over the peer."""
    given, made, peer = np.mean(damaged), np.mean(ours), np.mean(peers)
    gain = made - peer
    text = "" if goal is None else f"peer + {goal} dB"
    result = f"{given:.2f} → {made:.2f} dB ({gain:+.2f})"
    return Row(effect, task, result, f"{peer_name} {peer:.2f} dB", text, None if goal is None else bool(gain >= goal))


def middle(picture, side=288):
    """The square in the middle: non-local means take their time."""
    top, left = ((length - side) // 2 for length in picture.shape[:2])
    return np.ascontiguousarray(picture[top : top + side, left : left + side])


def noise_rows(runner, originals):
    effect, peer = "DeepDenoiser", "non-local means"
    originals = [middle(original) for original in originals]
    damages = (
        ("noise, sigma 25", 25, 2.5, lambda picture: with_noise(picture, 25)),
        ("noise, sigma 10", 10, 1.5, lambda picture: with_noise(picture, 10)),
        ("noise, sigma 5", 5, None, lambda picture: with_noise(picture, 5)),
        ("noise of a sensor, sigma 15", 18, None, lambda picture: with_sensor_noise(picture, 15)),
        ("the same, then JPEG 80", 18, None, lambda picture: with_jpeg(with_sensor_noise(picture, 15), 80)),
    )
    for task, sigma, goal, damage in damages:
        damaged = [damage(original) for original in originals]
        yield gain_row(
            effect,
            task,
            [psnr(*pair) for pair in zip(damaged, originals)],
            [psnr(runner.apply(given, effect), original) for given, original in zip(damaged, originals)],
            [best(non_local_means(given, sigma), original) for given, original in zip(damaged, originals)],
            goal,
            peer,
        )
    kept = [psnr(runner.apply(original, effect), original) for original in originals]
    peers = [best(list(non_local_means(original, 5))[:1], original) for original in originals]
    result = f"{np.mean(kept):.1f} dB, lowest {min(kept):.1f}"
    yield Row(
        effect, "clean pictures stay", result, f"{peer}, sigma 5: {np.mean(peers):.1f} dB", "42 dB", min(kept) > 42
    )


def grid(picture, cell):
    """How much the places within a cell differ on average, in levels: the pattern that cells leave. A pixel's value is
    taken relative to the mean around it."""
    values = luma(picture)
    detail = values - cv2.blur(values, (cell, cell))
    even = np.abs(detail) < 6  # where a pattern would show
    means = [
        detail[row::cell, column::cell][even[row::cell, column::cell]].mean()
        for row in range(cell)
        for column in range(cell)
    ]
    return float(np.ptp(means))


def overshoot(picture, original):
    """Share of the pixels that lie more than 10 levels outside the range around them in the original: halos."""
    values, given = levels(luma(picture)), levels(luma(original))
    square = np.ones((7, 7), np.uint8)
    above = values.astype(int) - cv2.dilate(given, square)
    below = cv2.erode(given, square).astype(int) - values
    return float(np.mean(np.maximum(above, below) > 10))


def enlarging_rows(runner, originals):
    effect = "DeepSuperResolutor"
    small = [reduced(original, 3) for original in originals]
    ours = [runner.apply(given, effect) for given in small]
    sizes = [original.shape[1::-1] for original in originals]
    cubic = [cv2.resize(given, size, interpolation=cv2.INTER_CUBIC) for given, size in zip(small, sizes)]
    lanczos = [cv2.resize(given, size, interpolation=cv2.INTER_LANCZOS4) for given, size in zip(small, sizes)]

    def mean(pictures, chosen):
        return float(np.mean([psnr(*pair) for pair in list(zip(pictures, originals))[chosen]]))

    for task, chosen, goal in (
        ("three times the size, samples", slice(0, SAMPLES), 0.9),
        ("three times the size, wallpapers", slice(SAMPLES, None), None),
    ):
        gain = mean(ours, chosen) - mean(cubic, chosen)
        peer = f"bicubic {mean(cubic, chosen):.2f} dB, Lanczos {mean(lanczos, chosen):.2f} dB"
        reached = None if goal is None else bool(gain >= goal)
        result = f"{mean(ours, chosen):.2f} dB ({gain:+.2f})"
        yield Row(effect, task, result, peer, f"bicubic + {goal} dB" if goal else "", reached)
    pattern = max(grid(made, 3) for made in ours)
    peer = max(grid(made, 3) for made in cubic)
    limit = 0.3
    yield Row(
        effect, "grid, largest", f"{pattern:.2f} levels", f"bicubic {peer:.2f}", f"{limit} levels", pattern <= limit
    )
    halo = np.mean([overshoot(*pair) for pair in zip(ours, originals)])
    halos = [np.mean([overshoot(*pair) for pair in zip(peer, originals)]) for peer in (cubic, lanczos)]
    yield Row(
        effect,
        "halos: pixels beyond the range around them",
        f"{halo:.3%}",
        f"bicubic {halos[0]:.3%}, Lanczos {halos[1]:.3%}",
        "no more than Lanczos",
        bool(halo <= halos[1]),
    )


def sharpening_rows(runner, originals):
    effect, peer = "DeepLumaUpscaler", "unsharp mask"

    def twice(picture):
        return cv2.resize(reduced(picture, 2), picture.shape[1::-1], interpolation=cv2.INTER_CUBIC)

    damages = [
        (f"blur of {sigma} pixels", goal, lambda picture, sigma=sigma: blurred(picture, sigma))
        for sigma, goal in ((0.7, None), (1.0, 2.0), (1.5, None))
    ]
    for task, goal, damage in (*damages, ("enlarged to twice the size", None, twice)):
        damaged = [damage(original) for original in originals]
        targets = [luma(original) for original in originals]
        yield gain_row(
            effect,
            task,
            [psnr(luma(given), target) for given, target in zip(damaged, targets)],
            [psnr(luma(runner.apply(given, effect)), target) for given, target in zip(damaged, targets)],
            [best(unsharp_masks(luma(given)), target) for given, target in zip(damaged, targets)],
            goal,
            peer,
        )
    changes, masked = [], []
    for original in originals:
        before = luma(original)
        changes.append(np.mean(np.abs(luma(runner.apply(original, effect)) - before)))
        masked.append(min(np.mean(np.abs(mask - before)) for mask in unsharp_masks(before)))
    result = f"{np.mean(changes):.2f} levels, most {max(changes):.2f}"
    yield Row(
        effect,
        "a sharp picture stays",
        result,
        f"{peer} {np.mean(masked):.2f} levels",
        "1.5 levels",
        bool(np.mean(changes) < 1.5),
    )


def compression_rows(runner, originals):
    damages = (
        ("JPEG 20", 0.7, lambda picture: with_jpeg(picture, 20)),
        ("JPEG 40", 0.3, lambda picture: with_jpeg(picture, 40)),
        (
            "blur 0.6, noise sigma 4, JPEG 40",
            None,
            lambda picture: with_jpeg(with_noise(blurred(picture, 0.6), 4), 40),
        ),
    )
    for effect in ("DeepRestorer", "DeepRestorerEx"):
        for task, goal, damage in damages:
            damaged = [damage(original) for original in originals]
            yield gain_row(
                effect,
                task,
                [psnr(*pair) for pair in zip(damaged, originals)],
                [psnr(runner.apply(given, effect), original) for given, original in zip(damaged, originals)],
                [best(bilateral_filters(given), original) for given, original in zip(damaged, originals)],
                goal,
                "bilateral filter",
            )
        for quality, goal in ((75, 0.0), (95, None)):
            gains, peers = [], []
            for original in originals:
                given = with_jpeg(original, quality)
                before = psnr(given, original)
                gains.append(psnr(runner.apply(given, effect), original) - before)
                peers.append(best(bilateral_filters(given), original) - before)
            result = f"input {np.mean(gains):+.2f} dB, least {min(gains):+.2f}"
            peer = f"bilateral filter {np.mean(peers):+.2f} dB, least {min(peers):+.2f}"
            reached = None if goal is None else bool(min(gains) >= goal)
            yield Row(effect, f"JPEG {quality}", result, peer, "never below input" if goal is not None else "", reached)


def rows(runner):
    originals = [picture for _, picture in pictures()]
    yield from noise_rows(runner, originals)
    yield from enlarging_rows(runner, originals)
    yield from sharpening_rows(runner, originals)
    yield from compression_rows(runner, originals)
