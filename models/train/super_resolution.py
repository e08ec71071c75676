#!/usr/bin/python3
"""Trains super-resolution.onnx: pictures of three times the width and height.

The network adds what it expects of fine detail to the bilinearly enlarged picture. It works at the size of its input
and partly at half of that; only the last layer goes to the large size, each pixel giving the 3 x 3 that it becomes
(Shi et al., "Real-Time Single Image and Video Super-Resolution", 2016).

The small pictures are made by averaging 3 x 3 pixels, as a good reduction or a sensor does. A part of them is slightly
soft, noisy or compressed, so that in photographs no traces of such are enlarged into patterns.
"""

import torch
import torch.nn.functional as functional
from torch import nn

from bilateral_grid import luma_of
from damage import blurred, compressed, sensor_noise, stored
from export import export, read_weights
from photographs import Patches, reduced
from training import begin_with_no_change, convolution, level_loss, options, reach, rectified, tensor, train

FACTOR = 3
SIDE = 28  # pixels of a small patch
BATCH = 4
STEPS = 60000
HALO = 5  # levels beyond the range around a pixel that do not count as a halo
AROUND = 7  # pixels, the side of the square that is around a pixel
HALO_WEIGHT = 20.0


class Enlarger(nn.Module):
    """Sides of the input must be even."""

    MULTIPLE = 2

    def __init__(self, fine=32, coarse=64, between=6):
        super().__init__()
        self.enter = convolution(3, fine)
        self.before = convolution(fine, fine)
        self.down = nn.Conv2d(fine, coarse, 2, stride=2)
        self.between = nn.ModuleList([convolution(coarse, coarse) for _ in range(between)])
        self.up = nn.ConvTranspose2d(coarse, fine, 2, stride=2)
        self.after = nn.ModuleList([convolution(fine, fine) for _ in range(2)])
        self.leave = convolution(fine, 3 * FACTOR**2)
        begin_with_no_change(self, self.leave)
        for second in self.between[1::2]:
            nn.init.zeros_(second.weight)
        self.spreads_by_convolution = False
        spread = torch.zeros(3 * FACTOR**2, 3, FACTOR, FACTOR)
        for channel in range(3 * FACTOR**2):
            colour, place = divmod(channel, FACTOR**2)
            spread[channel, colour, place // FACTOR, place % FACTOR] = 1
        self.register_buffer("spread_weights", spread, persistent=False)

    def spread(self, values):
        """Groups of nine channels become squares of 3 x 3 pixels. OpenCV reads this only as a transposed convolution,
        whose weights are zeros and ones; torch is faster with its own."""
        if not self.spreads_by_convolution:
            return functional.pixel_shuffle(values, FACTOR)
        return functional.conv_transpose2d(values, self.spread_weights, stride=FACTOR)

    def forward(self, picture):
        fine = rectified(self.enter(picture))
        fine = rectified(self.before(fine))
        coarse = rectified(self.down(fine))
        for first, second in zip(self.between[::2], self.between[1::2]):
            coarse = coarse + rectified(second(rectified(first(coarse))))
        fine = fine + rectified(self.up(coarse))
        for layer in self.after:
            fine = rectified(layer(fine))
        enlarged = functional.interpolate(picture, scale_factor=float(FACTOR), mode="bilinear", align_corners=False)
        return enlarged + self.spread(self.leave(fine))


def small_copy(patch, rng):
    if rng.random() < 0.25:
        patch = blurred(patch, rng.uniform(0.4, 1.5))
    small = reduced(patch, FACTOR)
    if rng.random() < 0.3:
        small = sensor_noise(small, rng.uniform(0, 2.5), rng)
    if rng.random() < 0.25:
        small = compressed(small, rng.integers(75, 99), rng.random() < 0.5)
    return stored(small)


def halos(output, target):
    """How far luma is beyond the range that it has in the target around a pixel, in levels, on average."""
    light, true = luma_of(output), luma_of(target)
    above = light - functional.max_pool2d(true, AROUND, 1, AROUND // 2)
    below = -functional.max_pool2d(-true, AROUND, 1, AROUND // 2) - light
    return functional.relu(torch.maximum(above, below) * 255 - HALO).mean()


def loss(output, target):
    """A halo is a small error that is seen from afar."""
    return level_loss(output, target) + HALO_WEIGHT * halos(output, target)


def main():
    arguments = options(__doc__, STEPS, goes_on=True)
    patches = Patches(arguments.rng)

    def batch():
        targets = [patches(SIDE * FACTOR) for _ in range(BATCH)]
        return tensor([small_copy(target, arguments.rng) for target in targets]), tensor(targets)

    network = Enlarger()
    if arguments.begin is not None:
        read_weights(network, arguments.begin, partly=True)
    train(network, batch, loss, arguments.iterations, rate=1.5e-3, checkpoint=arguments.checkpoint)
    network.spreads_by_convolution = True
    print(f"reach {reach(network, (3, 128, 128))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "super-resolution.onnx", (3, 64, 64), ((3, 96, 130), (3, 256, 256)))


if __name__ == "__main__":
    main()
