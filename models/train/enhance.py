#!/usr/bin/python3
"""Trains the two networks for flat and tinted pictures.

  enhance.py model    enhance.onnx: gives them contrast and takes the cast away
  enhance.py flag     enhancement-flag.onnx: above 0.5 where that is needed; a good photograph is better left alone

Photographs lose contrast and colour, get lifted blacks, haze and a colour cast; a fifth (half for the flag) stay as
they are.
"""

import sys

from torch.nn import functional

from bilateral_grid import SIDE, GridNetwork, grid_loss, whole_picture
from crops import Crops
from export import export
from judge import Judge
from light_damage import Flatness
from training import options, train

STEPS = {"model": 2800, "flag": 1500}
BATCH = 10


def train_model(arguments):
    crops = Crops(arguments.rng, SIDE)
    everywhere = whole_picture(BATCH, SIDE, SIDE)

    def batch():
        small, fine, places = crops(BATCH)
        flatness = Flatness(BATCH)
        return flatness.at(small, everywhere), (flatness.at(fine, places), places, fine)

    network = train(GridNetwork(), batch, grid_loss, arguments.iterations, rate=2e-3)
    export(network, arguments.output / "enhance.onnx", (3, SIDE, SIDE))


def train_flag(arguments):
    crops = Crops(arguments.rng, SIDE, lattice=1)
    everywhere = whole_picture(BATCH, SIDE, SIDE)

    def batch():
        flatness = Flatness(BATCH, untouched=0.5)
        return flatness.at(crops(BATCH)[0], everywhere), 1 - flatness.whole.view(BATCH, 1)

    network = train(Judge(1, "share"), batch, functional.binary_cross_entropy, arguments.iterations)
    export(network, arguments.output / "enhancement-flag.onnx", (3, SIDE, SIDE))


def main():
    stage = sys.argv[1] if len(sys.argv) > 1 else ""
    if stage not in STEPS:
        sys.exit(f"'{stage}' is not a network of the two; say model or flag.")
    arguments = options(__doc__, STEPS[stage], sys.argv[2:])
    {"model": train_model, "flag": train_flag}[stage](arguments)


if __name__ == "__main__":
    main()
