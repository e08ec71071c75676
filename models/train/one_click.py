#!/usr/bin/python3
"""Trains one-click.onnx, which improves a picture whatever is wrong with its light and colours.

Photographs are damaged in all the ways of the other trainings at once, and the network leads them back to the
photograph, made a little more brilliant: what people expect when they ask for an improvement. It goes on from the
network for flat pictures, which enhance.py has to have trained before.
"""

from bilateral_grid import SIDE, StretchedGridNetwork, grid_loss, luma_of, whole_picture
from crops import Crops
from export import export, read_weights
from light_damage import Darkness, Flatness, Misexposure
from training import options, train

STEPS = 400
BATCH = 10
CONTRAST, SATURATION = 0.25, 0.08  # of the brilliance: a part of the full S curve, and of the distance from grey


def brilliant(picture):
    """A mild S curve through black, middle grey and white, and slightly stronger colours."""
    curved = picture * picture * (3 - 2 * picture)
    picture = picture + (curved - picture) * CONTRAST
    grey = luma_of(picture)
    return (grey + (picture - grey) * (1 + SATURATION)).clamp(0, 1)


class Damage:
    """Mostly one or two of exposure, flatness and darkness; a tenth of the pictures has nothing wrong with it."""

    def __init__(self, count):
        self.dark = Darkness(count, darkest=0.08, untouched=0.75)
        self.flat = Flatness(count, untouched=0.5)
        self.exposed = Misexposure(count, untouched=0.25)

    def at(self, picture, places, noisy=True):
        """The damaged pictures, and what they should become."""
        dark, truth = self.dark.at(picture, places, noisy)
        return self.exposed.at(self.flat.at(dark, places)), brilliant(truth)


def main():
    arguments = options(__doc__, STEPS)
    crops = Crops(arguments.rng, SIDE)
    everywhere = whole_picture(BATCH, SIDE, SIDE)

    def batch():
        small, fine, places = crops(BATCH)
        damage = Damage(BATCH)
        given, target = damage.at(fine, places)
        return damage.at(small, everywhere, noisy=False)[0], (given, places, target)

    network = read_weights(StretchedGridNetwork(), arguments.output / "enhance.onnx").requires_grad_(True)
    train(network, batch, grid_loss, arguments.iterations)
    export(network, arguments.output / "one-click.onnx", (3, SIDE, SIDE))


if __name__ == "__main__":
    main()
