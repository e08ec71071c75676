#!/usr/bin/python3
"""Trains retouch.onnx, which smooths the skin of faces and leaves eyes, brows, lips, hair and everything else alone.

How skin is smoothed is fixed and part of the network: a guided filter (He, Sun and Tang, "Guided image filtering",
2013) evens out blotches and bumps of a few pixels but keeps edges, and a part of the finest grain, the pores, is put
back. Where, is learned. There are no portraits to learn it from, so skin is drawn: even colours of all skins with
shading, shine, blotches and pores, crossed by lips, lashes, brows and strands of hair. In photographs what has the
colour of skin and little contrast counts as skin, the rest does not.
"""

import cv2
import numpy as np
import torch
from torch import nn
from torch.nn import functional

from export import export
from photographs import Patches
from training import convolution, options, reach, tensor, train

STEPS = 1000
BATCH = 8
SIDE = 80  # pixels of a patch
DRAWN = 0.6  # share of drawings of skin
LUMA = (0.299, 0.587, 0.114)  # ITU-R BT.601

RADIUS = 6  # pixels; bumps of up to twice that vanish
EDGE = 40.0  # levels: what has a larger deviation within the radius is an edge
STRENGTH = 1.0  # of the smoothing
DECISION = (2.0, 2.0)  # factor and offset of the odds: what is probably skin is smoothed as skin
PORES, PORES_SIGMA = 0.8, 0.8  # share of the detail below about two pixels that stays

SKIN_HUE, SKIN_WIDTH = 2.15, 0.45  # radians from Cb towards Cr: all skins, whatever their brightness
AROUND, CONTRAST = 5, (9.0, 18.0)  # pixels; levels of deviation between which a surface ceases to be even
SKIN_CHROMA = (6.0, 12.0, 55.0, 75.0)  # levels between which a colour becomes one of skin, and ceases to be one


class Retoucher(nn.Module):
    """N x 3 x H x W with levels 0..1, sides multiples of 4, to the same with smoother skin."""

    MULTIPLE = 4

    def __init__(self, width=24):
        super().__init__()
        self.enter = nn.Conv2d(3, 16, 4, 2, 1)
        self.down = nn.Conv2d(16, width, 4, 2, 1)
        self.look = nn.ModuleList([convolution(width, width) for _ in range(4)])
        self.skin = nn.Conv2d(width, 1, 1)
        # OpenCV multiplies pictures of as many channels only, so luma and the share of skin come in three equal ones.
        self.luma = fixed(nn.Conv2d(3, 3, 1, bias=False), torch.tensor(LUMA).view(1, 3, 1, 1).expand(3, 3, 1, 1))
        self.thrice = fixed(nn.Conv2d(1, 3, 1, bias=False), torch.ones(3, 1, 1, 1))
        self.soften = fixed(nn.Conv2d(3, 3, 3, bias=False, groups=3), gaussian(PORES_SIGMA).expand(3, 1, 3, 3))

    def is_skin(self, picture):
        """The logarithm of the odds, at a quarter of the size."""
        features = torch.relu(self.down(torch.relu(self.enter(picture))))
        for layer in self.look:
            features = features + torch.relu(layer(features))
        return self.skin(features)

    def smoothed(self, picture):
        guide = self.luma(picture)
        mean_guide, mean = box(guide), box(picture)
        variance = box(guide * guide) - mean_guide * mean_guide
        slope = (box(guide * picture) - mean_guide * mean) / (variance + (EDGE / 255) ** 2)
        even = box(slope) * guide + box(mean - slope * mean_guide)
        pores = picture - self.soften(functional.pad(picture, (1, 1, 1, 1), mode="reflect"))
        return even + PORES * pores

    def forward(self, picture):
        share = torch.sigmoid(self.thrice(self.is_skin(picture) * DECISION[0] + DECISION[1]))
        share = functional.interpolate(share, scale_factor=4, mode="bilinear", align_corners=False)
        return picture + STRENGTH * share * (self.smoothed(picture) - picture)


class SkinFinder(nn.Module):
    """The part of a retoucher that is trained."""

    def __init__(self, retoucher):
        super().__init__()
        self.retoucher = retoucher

    def forward(self, picture):
        return self.retoucher.is_skin(picture)


def fixed(layer, weight):
    layer.weight = nn.Parameter(weight.clone(), requires_grad=False)
    return layer


def gaussian(sigma):
    """3 x 3, with the sum 1."""
    row = torch.exp(-torch.tensor([1.0, 0.0, 1.0]) / (2 * sigma**2))
    return (row[:, None] * row / row.sum() ** 2).view(1, 1, 3, 3)


def box(picture):
    """Means over squares; the picture goes on mirrored. OpenCV would take the mean of a border with zeros in it."""
    picture = functional.pad(picture, (RADIUS,) * 4, mode="reflect")
    return functional.avg_pool2d(functional.avg_pool2d(picture, (2 * RADIUS + 1, 1), 1), (1, 2 * RADIUS + 1), 1)


def blurred(picture, sigma):
    return cv2.GaussianBlur(picture, (0, 0), sigma)


def mean_around(picture):
    side = 2 * AROUND + 1
    return cv2.blur(picture, (side, side), borderType=cv2.BORDER_REFLECT)


def luma_of(picture):
    return picture @ np.float32(LUMA)


def ramp(values, first, last):
    return np.clip((values - first) / (last - first), 0, 1)


def likely_skin(picture):
    """0..1: the colour of skin over several pixels, and little contrast."""
    even = blurred(picture, 2.0)
    luma = luma_of(even)
    cb, cr = (even[..., 2] - luma) / 1.772, (even[..., 0] - luma) / 1.402
    chroma, hue = np.hypot(cb, cr), np.abs(np.arctan2(cr, cb) - SKIN_HUE)
    colour = (
        (1 - ramp(hue, SKIN_WIDTH, 1.5 * SKIN_WIDTH))
        * ramp(chroma, *SKIN_CHROMA[:2])
        * (1 - ramp(chroma, *SKIN_CHROMA[2:]))
    )
    grey = luma_of(picture)
    deviation = np.sqrt(np.maximum(mean_around(grey * grey) - mean_around(grey) ** 2, 0))
    return colour * (1 - ramp(blurred(deviation, 2.0), *CONTRAST)) * ramp(luma, 30, 60)


def band_noise(shape, rng, sigma):
    """Noise of bumps of about `sigma` pixels, with deviation 1."""
    noise = rng.standard_normal(shape, dtype=np.float32)
    noise = blurred(noise, sigma) if sigma > 0.3 else noise
    return noise / max(float(noise.std()), 1e-3)


def skin_colour(rng):
    luma, chroma, hue = rng.uniform(50, 225), rng.uniform(10, 42), SKIN_HUE + rng.normal(0, 0.15)
    chroma = min(chroma, luma / 3.5, (270 - luma) / 3)
    cb, cr = chroma * np.cos(hue), chroma * np.sin(hue)
    red, blue = luma + 1.402 * cr, luma + 1.772 * cb
    return np.float32([red, (luma - 0.299 * red - 0.114 * blue) / 0.587, blue])


def drawn_skin(rng):
    """A patch of skin, and where in it skin is."""
    across, down = np.meshgrid(*2 * [np.linspace(-1, 1, SIDE, dtype=np.float32)])
    colour, shape = skin_colour(rng), (SIDE, SIDE)
    slope = rng.normal(0, 0.2, 2)
    light = 1 + slope[0] * across + slope[1] * down + 0.06 * band_noise(shape, rng, rng.uniform(8, 20))
    picture = colour * light[..., None]
    if rng.random() < 0.4:  # shine
        x, y = rng.uniform(-1, 1, 2)
        spot = np.exp(-((across - x) ** 2 + (down - y) ** 2) / rng.uniform(0.05, 0.6) ** 2)
        picture += spot[..., None] * rng.uniform(10, 70)
    reddening = np.float32([0.4, 1.0, 1.0])  # blotches take green and blue away
    for sigma, strength in ((rng.uniform(1.5, 2.5), 3), (rng.uniform(2.5, 5), 4)):
        amount = rng.uniform(0, strength) * band_noise(shape, rng, sigma)[..., None]
        picture += amount * (reddening if rng.random() < 0.5 else 1)
    for _ in range(rng.integers(0, 4)):  # freckles and spots
        x, y = rng.uniform(-1, 1, 2)
        spot = np.exp(-((across - x) ** 2 + (down - y) ** 2) / rng.uniform(0.03, 0.08) ** 2)
        picture -= spot[..., None] * rng.uniform(4, 16) * reddening
    picture += rng.uniform(0, 3.5) * band_noise(shape, rng, rng.uniform(0, 0.9))[..., None]
    picture += rng.uniform(0, 1.5) * band_noise((SIDE, SIDE, 3), rng, 0)
    skin = np.ones(shape, np.float32)
    if rng.random() < 0.75:
        for _ in range(rng.integers(1, 3)):
            picture, skin = crossed(picture, skin, rng, colour)
    return picture, skin


def crossed(picture, skin, rng, colour):
    """The patch with lips, an eye or another even thing, or with brows, lashes or hair, drawn with soft edges."""
    layer = np.zeros((2 * SIDE, 2 * SIDE), np.float32)
    if rng.random() < 0.5:
        centre = rng.integers(0, 2 * SIDE, 2).tolist()
        axes = rng.integers(8, SIDE, 2).tolist()
        cv2.ellipse(layer, centre, axes, float(rng.uniform(0, 180)), 0, 360, 1.0, -1)
        kind = rng.random()
        if kind < 0.4:  # lips
            paint = colour * np.float32([1.0, 0.68, 0.75]) * rng.uniform(0.7, 1.0)
        elif kind < 0.7:  # the white of an eye, the pupil
            paint = np.full(3, rng.choice([25, 60, 210]) + rng.normal(0, 10), np.float32)
        else:
            paint = rng.uniform(0, 255, 3).astype(np.float32)
        texture = rng.uniform(0, 8) * band_noise((SIDE, SIDE), rng, rng.uniform(0.5, 2))[..., None]
    else:
        first, direction = rng.uniform(0, 2 * SIDE, 2), rng.uniform(0, 2 * np.pi)
        for _ in range(rng.integers(8, 60)):
            root = first + rng.normal(0, 14, 2)
            tip = root + rng.uniform(10, 70) * np.array([np.cos(direction), np.sin(direction)]) + rng.normal(0, 6, 2)
            cv2.line(layer, root.astype(int).tolist(), tip.astype(int).tolist(), 1.0, int(rng.integers(1, 4)))
        paint = colour * rng.uniform(0.1, 0.7)
        texture = 0.0
    cover = blurred(cv2.resize(layer, (SIDE, SIDE), interpolation=cv2.INTER_AREA), rng.uniform(0.4, 1.2))[..., None]
    near = ramp(blurred(cover[..., 0], 1.5), 0.02, 0.2)
    return picture + (paint + texture - picture) * cover * rng.uniform(0.7, 1), skin * (1 - near)


def main():
    arguments = options(__doc__, STEPS)
    rng = arguments.rng
    patches = Patches(rng, drawn=0.05)
    network = Retoucher()

    def pair():
        if rng.random() < DRAWN:
            patch, skin = drawn_skin(rng)
            return np.clip(np.round(patch), 0, 255).astype(np.float32), skin
        patch = patches(SIDE)
        return patch, likely_skin(patch)

    def batch():
        pairs = [pair() for _ in range(BATCH)]
        skin = functional.avg_pool2d(tensor([255 * skin for _, skin in pairs]), network.MULTIPLE)
        return tensor([given for given, _ in pairs]), skin

    def loss(odds, skin):
        return functional.binary_cross_entropy_with_logits(odds, skin)

    train(SkinFinder(network), batch, loss, arguments.iterations)
    print(f"reach {reach(network, (3, 192, 192))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "retouch.onnx", (3, 64, 64), ((3, 96, 128),))


if __name__ == "__main__":
    main()
