#!/usr/bin/python3
"""Trains the two networks for flat and tinted pictures.

  enhance.py model    enhance.onnx: gives them contrast and takes the cast away
  enhance.py flag     enhancement-flag.onnx: above 0.5 where that is needed; a good photograph is better left alone

Photographs lose contrast and colour, get lifted blacks, haze and a colour cast; a fifth (two fifths for the flag) stay
as they are.
"""

import sys

from torch.nn import functional

import judge
from bilateral_grid import SIDE, StretchedGridNetwork, grid_loss, whole_picture
from crops import Crops
from export import export
from light_damage import Flatness, Misexposure
from training import options, train

STEPS = {"model": 1000, "flag": 2500}
BATCH = 12
# Of the flag. Mean differences, levels 0..1, from which a picture counts as damaged, and up to which it does not; what
# lies between is for either side to decide.
DAMAGED, UNHARMED = 0.04, 0.012
TASTE = 0.35  # strength of the changes that leave a photograph a good one


def train_model(arguments):
    crops = Crops(arguments.rng, SIDE)
    everywhere = whole_picture(BATCH, SIDE, SIDE)

    def batch():
        small, fine, places = crops(BATCH)
        flatness = Flatness(BATCH)
        return flatness.at(small, everywhere), (flatness.at(fine, places), places, fine)

    network = train(StretchedGridNetwork(), batch, grid_loss, arguments.iterations)
    export(network, arguments.output / "enhance.onnx", (3, SIDE, SIDE))


def train_flag(arguments):
    crops = Crops(arguments.rng, judge.SIDE, lattice=1, least=0.3)
    everywhere = whole_picture(BATCH, judge.SIDE, judge.SIDE)

    def batch():
        # Photographs differ in exposure and contrast more than nine of them show.
        good = Misexposure(BATCH, strength=TASTE).at(crops(BATCH)[0])
        flat = Flatness(BATCH, untouched=0.4, casts=0.5).at(good, everywhere)
        off = (flat - good).abs().mean((1, 2, 3)).view(BATCH, 1)
        return flat, ((off > DAMAGED).float(), ((off > DAMAGED) | (off < UNHARMED)).float())

    def loss(answers, sample):
        wanted, weights = sample
        return functional.binary_cross_entropy(answers, wanted, weights)

    network = train(judge.Judge(1, "share"), batch, loss, arguments.iterations)
    export(network, arguments.output / "enhancement-flag.onnx", (3, judge.SIDE, judge.SIDE))


def main():
    stage = sys.argv[1] if len(sys.argv) > 1 else ""
    if stage not in STEPS:
        sys.exit(f"'{stage}' is not a network of the two; say model or flag.")
    arguments = options(__doc__, STEPS[stage], sys.argv[2:])
    {"model": train_model, "flag": train_flag}[stage](arguments)


if __name__ == "__main__":
    main()
