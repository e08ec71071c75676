#!/usr/bin/python3
"""Trains one-click.onnx, which improves a picture whatever is wrong with its light and colours.

Photographs are damaged in all the ways of the other trainings at once, and the network leads them back to the
photograph, made a touch more brilliant. A third of them has nothing wrong with it, and photographs differ in exposure,
contrast and colour far more than nine of them show, so these are varied, too: the network has to find out which
pictures are dark or pale because something went wrong, and to leave alone what it is not sure about.
"""

import torch
from torch import nn
from torch.nn import functional

from bilateral_grid import DEPTH, SIDE, greatest, luma_of, relative_loss, whole_picture
from crops import Crops
from export import export
from light_damage import Darkness, Flatness, Misexposure, Variety, chance
from picture_statistics import Statistics, pointwise
from training import options, train

STEPS = 4000
BATCH = 16
CONTRAST, SATURATION = 0.12, 0.04  # of the brilliance: a part of the full S curve, and of the distance from grey
UNTOUCHED = 0.3  # share of the photographs


class ToneNetwork(nn.Module):
    """N x 3 x SIDE x SIDE with levels 0..1 to N x (12 * DEPTH) x 1 x 1: one transform of colours for each tone, the same
    all over the picture.

    It knows the picture by its statistics only and answers by how much to stretch each channel to the full range, how
    much all of them alike, and by what to change the transforms besides. It begins with no change at all.
    """

    LEAST = 0.05  # of the range that is stretched, so that an even picture stays even
    HIDDEN = 48

    def __init__(self):
        super().__init__()
        self.statistics = Statistics()
        self.answer = nn.Sequential(
            nn.Dropout(0.1),
            nn.Conv2d(Statistics.COUNT, self.HIDDEN, 1),
            nn.ReLU(),
            nn.Dropout(0.1),
            nn.Conv2d(self.HIDDEN, self.HIDDEN, 1),
            nn.ReLU(),
        )
        self.shares = nn.Conv2d(self.HIDDEN, 2, 1)
        self.cells = nn.Conv2d(self.HIDDEN, 12 * DEPTH, 1)
        nn.init.normal_(self.cells.weight, std=1e-3)
        nn.init.zeros_(self.cells.bias)
        nn.init.normal_(self.shares.weight, std=1e-2)
        nn.init.constant_(self.shares.bias, -2.0)
        # A stretch is a factor and a shift for each channel: three of each for each channel's own range, then three of
        # each for the range of all.
        self.for_each = pointwise([[1, 0]] * 6 + [[0, 1]] * 6)
        place = torch.zeros(3, 4, DEPTH, 12)
        identity = torch.zeros(3, 4, DEPTH)
        for k in range(3):
            place[k, k, :, k] = place[k, k, :, 6 + k] = 1
            place[k, 3, :, 3 + k] = place[k, 3, :, 9 + k] = 1
            identity[k, k] = 1
        self.placed = pointwise(place.reshape(-1, 12), identity.flatten())

    def forward(self, picture):
        answer = self.answer(self.statistics(picture))
        high = functional.adaptive_max_pool2d(picture, 1)
        low = -functional.adaptive_max_pool2d(-picture, 1)
        stretches = []
        for top, bottom in ((high, low), (greatest(high), -greatest(-low))):
            factor = torch.exp(-torch.log(top - bottom + self.LEAST))
            stretches += [factor - 1, -bottom * factor]
        shares = self.for_each(torch.sigmoid(self.shares(answer)))
        return self.placed(torch.cat(stretches, 1) * shares) + self.cells(answer)


def brilliant(picture):
    """A mild S curve through black, middle grey and white, and slightly stronger colours."""
    curved = picture * picture * (3 - 2 * picture)
    picture = picture + (curved - picture) * CONTRAST
    grey = luma_of(picture)
    return (grey + (picture - grey) * (1 + SATURATION)).clamp(0, 1)


class Damage:
    """One or two of exposure, flatness and darkness."""

    def __init__(self, count):
        self.some = 1 - chance(count, UNTOUCHED)
        self.dark = Darkness(count, darkest=0.08, untouched=0.75)
        self.flat = Flatness(count, untouched=0.4)
        self.exposed = Misexposure(count, untouched=0.4)

    def at(self, picture, places, noisy=True):
        """The damaged pictures, and the true ones."""
        dark, truth = self.dark.at(picture, places, noisy)
        damaged = self.exposed.at(self.flat.at(dark, places))
        return truth + (damaged - truth) * self.some, truth


def main():
    arguments = options(__doc__, STEPS)
    crops = Crops(arguments.rng, SIDE, exchanged=0.2, least=0.4)
    everywhere = whole_picture(BATCH, SIDE, SIDE)

    def batch():
        small, fine, places = crops(BATCH)
        variety, damage = Variety(BATCH), Damage(BATCH)
        given, truth = damage.at(variety.at(fine), places)
        return damage.at(variety.at(small), everywhere, noisy=False)[0], (given, places, brilliant(truth))

    network = train(ToneNetwork(), batch, relative_loss, arguments.iterations, rate=2e-3, checkpoint=arguments.checkpoint)
    export(network, arguments.output / "one-click.onnx", (3, SIDE, SIDE))


if __name__ == "__main__":
    main()
