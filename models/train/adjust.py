#!/usr/bin/python3
"""Trains adjust.onnx, which tells how a picture should be corrected: six values for brightness, contrast, vibrance,
exposure, shadows and highlights, from 0 (raise) over 0.5 (leave) to 1 (lower).

Photographs are misadjusted by the same corrections, by exposure and by gamma. There are many ways to put such a picture
right, so the network does not learn the values but their result: the error that is left once they are applied. A part
of the photographs stays as it is, for which the values are to do nothing.
"""

import torch

from corrections import RANGES, adjusted
from crops import Crops
from export import export
from judge import SIDE, Judge
from light_damage import Misexposure, quantised
from training import options, train

STEPS = 1500
BATCH = 16
UNTOUCHED = 0.2  # share of the photographs
RESTRAINT = 0.01  # weight of the values' distance from 0.5


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
    return (adjusted(given, answers) - target).abs().mean() + RESTRAINT * (answers - 0.5).abs().mean()


def main():
    arguments = options(__doc__, STEPS)
    crops = Crops(arguments.rng, SIDE, lattice=32, least=0.4)

    def batch():
        small, fine, _ = crops(BATCH)
        misadjustment = Misadjustment(BATCH)
        return misadjustment.at(small), (misadjustment.at(fine), fine)

    network = train(Judge(len(RANGES), "share"), batch, left_error, arguments.iterations)
    export(network, arguments.output / "adjust.onnx", (3, SIDE, SIDE))


if __name__ == "__main__":
    main()
