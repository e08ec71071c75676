#!/usr/bin/python3
"""Trains low-light.onnx, which brightens pictures that were taken in too little light.

Photographs are darkened in linear light to 1/25 and up, with the sensor's noise and often with lamps, windows or skies
that stay as bright as they were; those must not burn out. Some photographs stay as they are: the network is also asked
about pictures that are bright enough, whose result is blended over them, and has little to do there.
"""

from bilateral_grid import SIDE, GridNetwork, grid_loss, whole_picture
from crops import Crops
from export import export
from light_damage import Darkness
from training import options, train

STEPS = 3000
BATCH = 10
UNTOUCHED = 0.1  # share of the photographs


def main():
    arguments = options(__doc__, STEPS)
    crops = Crops(arguments.rng, SIDE, exchanged=0.2)
    everywhere = whole_picture(BATCH, SIDE, SIDE)

    def batch():
        small, fine, places = crops(BATCH)
        darkness = Darkness(BATCH, untouched=UNTOUCHED)
        dark, bright = darkness.at(fine, places)
        return darkness.at(small, everywhere, noisy=False)[0], (dark, places, bright)

    network = train(GridNetwork(), batch, grid_loss, arguments.iterations, rate=2e-3)
    export(network, arguments.output / "low-light.onnx", (3, SIDE, SIDE))


if __name__ == "__main__":
    main()
