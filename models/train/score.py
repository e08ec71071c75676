#!/usr/bin/python3
"""Trains score.onnx, which tells how good a picture is: above 0, higher is better, and only ratios mean something.

It learns to put a photograph above its damaged copy and a half-damaged copy between the two. Damages are bad exposure,
contrast, colour and casts, flatness and haze, corrections that are too strong, stretching, exaggerated local contrast,
blur, noise, and several of these. A copy that is told from its photograph at a glance must lose more than five per cent;
one that differs by a level or two has nothing to lose.
"""

import torch
from torch.nn import functional

from bilateral_grid import luma_of, whole_picture
from corrections import RANGES, adjusted
from crops import Crops
from export import export
from judge import SIDE, Judge
from light_damage import Flatness, Misexposure, quantised, uniform
from training import options, train

STEPS = 2000
BATCH = 16
# How much the score's logarithm should fall: for each level 0..1 that the copy is off on average, and at most.
FALL, LARGEST_FALL = 2.5, 0.3
SOFTNESS = 0.05
TASTE = 0.15  # strength of the changes that leave a photograph a good one


def overdone(picture):
    """Corrections of any kind at up to twice their range."""
    answers = (
        0.5 + (torch.rand(picture.shape[0], len(RANGES)) - 0.5) * (torch.rand(picture.shape[0], len(RANGES)) < 0.5) * 2
    )
    return adjusted(picture, answers)


def smoothed(picture, radius):
    """Three box filters in a row, which is nearly Gaussian."""
    side = 2 * radius + 1
    for _ in range(3):
        padded = functional.pad(picture, (radius,) * 4, mode="replicate")
        picture = functional.avg_pool2d(padded, side, 1)
    return picture


def local_contrast(picture):
    """Halos, and detail that is as strong as the scene."""
    radius = int(torch.randint(1, 6, ()))
    return picture + (picture - smoothed(picture, radius)) * uniform(picture.shape[0], 0.3, 2.0)


def stretched(picture):
    """Each channel to the full range and beyond: what careless improvement makes of a picture that needed none."""
    beyond = float(torch.rand(())) * 0.05
    ends = torch.quantile(picture.flatten(2), torch.tensor([beyond, 1 - beyond]), dim=2)
    low, high = (each.unsqueeze(2).unsqueeze(3) for each in ends)
    full = ((picture - low) / (high - low + 0.05)).clamp(0, 1)
    return picture + (full - picture) * uniform(picture.shape[0], 0.4, 1.0)


def softened(picture):
    return smoothed(picture, int(torch.randint(1, 3, ())))


def noisy(picture):
    return picture + torch.randn_like(picture) * uniform(picture.shape[0], 0.02, 0.12)


def exposed(picture):
    return Misexposure(picture.shape[0]).at(picture)


def flattened(picture):
    return Flatness(picture.shape[0], untouched=0).at(picture, whole_picture(len(picture), *picture.shape[2:]))


def colourful(picture):
    grey = luma_of(picture)
    return grey + (picture - grey) * uniform(picture.shape[0], 1.3, 2.3)


DAMAGES = (
    (exposed, 0.26),
    (flattened, 0.18),
    (overdone, 0.12),
    (colourful, 0.14),
    (local_contrast, 0.16),
    (stretched, 0.08),
    (softened, 0.03),
    (noisy, 0.03),
)
TWICE = 0.4  # share of the copies with a second damage


def damaged(pictures):
    """Each picture by one of the damages, chosen at random, and some by a second one."""
    result = []
    shares = torch.tensor([share for _, share in DAMAGES])
    for picture in pictures.split(1):
        for kind in torch.multinomial(shares, 2 if torch.rand(()) < TWICE else 1):
            picture = DAMAGES[int(kind)][0](picture)
        result.append(picture)
    return quantised(torch.cat(result))


def ranking_loss(scores, off):
    """`scores` of the photographs, of copies half as damaged, and of damaged copies; `off` by how much the last are."""
    good, half, bad = scores.log().view(3, -1)
    fall = (FALL * off).clamp(max=LARGEST_FALL)

    def short_of(higher, lower, wanted):
        return SOFTNESS * functional.softplus((wanted - (higher - lower)) / SOFTNESS)

    weight = (off / 0.01).clamp(max=1)  # what nobody sees need not be ranked
    return (
        weight * (short_of(good, bad, fall) + short_of(good, half, fall / 2) + short_of(half, bad, fall / 2))
    ).mean()


def main():
    arguments = options(__doc__, STEPS)
    crops = Crops(arguments.rng, SIDE, lattice=1, least=0.3)

    def batch():
        good = Misexposure(BATCH, strength=TASTE).at(crops(BATCH)[0])
        with torch.no_grad():
            bad = damaged(good)
        half = good + (bad - good) * uniform(BATCH, 0.3, 0.7)
        return torch.cat([good, half, bad]), (bad - good).abs().mean((1, 2, 3))

    network = train(Judge(1, "score"), batch, ranking_loss, arguments.iterations, checkpoint=arguments.checkpoint)
    export(network, arguments.output / "score.onnx", (3, SIDE, SIDE))


if __name__ == "__main__":
    main()
