#!/usr/bin/python3
"""Trains adjust.onnx, which tells how a picture should be corrected: six values for brightness, contrast, vibrance,
exposure, shadows and highlights, from 0 (raise) over 0.5 (leave) to 1 (lower).

Photographs are misadjusted by the same corrections, by exposure and by gamma. There are many ways to put such a picture
right, so the network does not learn the values but their result: the error that is left once they are applied, relative
to what there was. A part of the photographs stays as it is, for which the values are to do nothing. Photographs differ
more than nine of them show, so these are varied a little before.
"""

import torch

from corrections import RANGES, adjusted
from crops import Crops
from export import export
from judge import SIDE, Judge
from light_damage import Misexposure, quantised
from training import options, train

STEPS = 2500
BATCH = 16
UNTOUCHED = 0.3  # share of the photographs
TASTE = 0.15  # strength of the changes that leave a photograph a good one
USUAL_ERROR = 0.15  # levels 0..1; errors count by themselves well below it, and relative to what there was above
RESTRAINT = 0.03  # weight of the values' distance from 0.5


def misadjusted_by(count, untouched):
    """Answers that misadjust a picture; each is beside 0.5 for half of the pictures."""
    chosen = (torch.rand(count, len(RANGES)) < 0.5) & (torch.rand(count, 1) >= untouched)
    return 0.5 + (torch.rand(count, len(RANGES)) - 0.5) * chosen


class Misadjustment:
    """By the corrections themselves, and for a third of the pictures by exposure and gamma, too."""

    def __init__(self, count, untouched=UNTOUCHED):
        self.answers = misadjusted_by(count, untouched)
        self.exposure = Misexposure(count, untouched=2 / 3, strength=0.6)

    def at(self, picture):
        with torch.no_grad():
            return quantised(adjusted(self.exposure.at(picture), self.answers))


def left_error(answers, sample):
    given, target = sample
    before = (given - target).abs().mean((1, 2, 3)) + USUAL_ERROR
    left = (adjusted(given, answers) - target).abs().mean((1, 2, 3))
    return (left / before).mean() + RESTRAINT * (answers - 0.5).abs().mean()


def main():
    arguments = options(__doc__, STEPS)
    crops = Crops(arguments.rng, SIDE, lattice=32, least=0.4)

    def batch():
        small, fine, _ = crops(BATCH)
        variety, misadjustment = Misexposure(BATCH, strength=TASTE), Misadjustment(BATCH)
        small, fine = variety.at(small), variety.at(fine)
        return misadjustment.at(small), (misadjustment.at(fine), fine)

    judge = Judge(len(RANGES), "share")
    network = train(judge, batch, left_error, arguments.iterations, checkpoint=arguments.checkpoint)
    export(network, arguments.output / "adjust.onnx", (3, SIDE, SIDE))


if __name__ == "__main__":
    main()
