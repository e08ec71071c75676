#!/usr/bin/python3
"""Trains restore.onnx: pictures that were saved small, with the blocks and rings of JPEG compression, and which may be
slightly soft and noisy before that.

The network averages each pixel with its neighbours, by weights that it works out for each pixel and direction, as a
bilateral filter does (Tomasi and Manduchi, "Bilateral Filtering for Gray and Color Images", 1998), and adds what no
average gives. Without the averages it hardly learns anything for thousands of steps: what compression spoils looks much
like the picture, and a network that knows no better first learns to do nothing. It begins with weights of the denoiser,
denoise.onnx, which already tells edges from texture.

Qualities are 10 to 98. Errors count relative to what usually goes wrong at a quality: otherwise strong compression,
where there is most to gain, would decide alone, and the network would smooth what was hardly compressed at all. Patches
of high quality, clean ones, and slight grain that belongs to the picture see to it that a good picture stays as it is.
"""

import numpy as np
import torch
from torch import nn

from bilateral_grid import LUMA
from damage import blurred, compressed, sensor_noise, stored, white_noise
from export import export, read_weights
from photographs import Patches
from picture_statistics import fixed
from training import Correction, inside, options, reach, relative_loss, tensor, train

SIDE = 80
EDGE = 8  # pixels of a patch that do not count
BLOCK = 16  # pixels: the blocks of JPEG with halved chroma
WHOLE = 0.75  # share of the patches that begin with a block of 8 pixels, as pictures do that nobody has cut
BATCH = 4
STEPS = 14000
GRAIN = 1.5  # levels


class Smoother(Correction):
    """Luma is averaged with what is one and two pixels away, chroma, of which JPEG keeps a half or less, with what is
    three pixels away."""

    DIRECTIONS = ((0, 1), (1, 1), (1, 0), (1, -1), (0, -1), (-1, -1), (-1, 0), (-1, 1))  # down, right
    SHARE = 0.1  # of what is added besides; keeps its noise small while the amounts are learned

    def __init__(self):
        super().__init__(channels=3, fine=32, coarse=64, before=2, between=4, after=2)
        count = len(self.DIRECTIONS)
        near, far = torch.zeros(count, 5, 5), torch.zeros(count, 3, 3)
        for direction, (down, right) in enumerate(self.DIRECTIONS):
            near[direction, 2 + down, 2 + right] = 2 / 3
            near[direction, 2 + 2 * down, 2 + 2 * right] = 1 / 3
            far[direction, 1 + down, 1 + right] = 1
        near[:, 2, 2] = far[:, 1, 1] = -1
        red, green, blue = LUMA
        luma, blueness, redness = torch.tensor([LUMA, (-red, -green, 1 - blue), (1 - red, -green, -blue)])
        self.near = fixed(nn.Conv2d(3, count, 5, bias=False), outer(near, luma))
        self.far = fixed(
            nn.Conv2d(3, 2 * count, 3, dilation=3, bias=False), torch.cat([outer(far, blueness), outer(far, redness)])
        )
        # The same amounts for both differences of colour.
        self.amounts = nn.ConvTranspose2d(32, 2 * count, 2, stride=2)
        nn.init.zeros_(self.amounts.weight)
        nn.init.zeros_(self.amounts.bias)
        back = torch.tensor([[1, 0, 1], [1, -blue / green, -red / green], [1, 1, 0]]).repeat_interleave(count, 1)
        self.together = fixed(nn.Conv2d(3 * count, 3, 1, bias=False), back[:, :, None, None])
        self.mirror_near, self.mirror_far = nn.ReflectionPad2d(2), nn.ReflectionPad2d(3)

    def forward(self, picture):
        fine = self.features(picture)
        amounts = self.amounts(fine)
        differences = torch.cat([self.near(self.mirror_near(picture)), self.far(self.mirror_far(picture))], 1)
        amounts = torch.cat([amounts, amounts[:, len(self.DIRECTIONS) :]], 1)
        return picture + self.SHARE * self.leave(fine) + self.together(differences * amounts)


def outer(kernels, colour):
    """Kernels that look at one mixture of the channels."""
    return torch.einsum("c,kyx->kcyx", colour, kernels)


def usual_error(quality):
    """What compression costs on average, in levels, about: as the square root of the quantizer's step (libjpeg)."""
    step = 5000 / quality if quality < 50 else 200 - 2 * quality
    return 0.45 * step**0.5


def saved_copy(patch, rng):
    """The copy, and the error to expect."""
    if rng.random() < 0.08:
        return patch, 1.0
    expected = 0.0
    if rng.random() < 0.25:
        sigma = rng.uniform(0.3, 0.9)
        patch, expected = blurred(patch, sigma), 4 * sigma
    if rng.random() < 0.25:
        sigma = rng.uniform(0, 5)
        patch, expected = sensor_noise(patch, sigma, rng, rng.uniform(0, 0.6)), expected + sigma / 2
    halved = rng.random() < 0.75
    quality = int(rng.integers(10, 60) if rng.random() < 0.55 else rng.integers(60, 99))
    return compressed(patch, quality, halved), 1 + expected + usual_error(quality)


def vivid(patch, rng):
    """At times more colourful: half of what compression spoils is chroma, and photographs have little of it."""
    if rng.random() < 0.4:
        grey = patch.mean(axis=2, keepdims=True)
        patch = np.clip(grey + (patch - grey) * rng.uniform(1, 2.5), 0, 255)
    return patch.astype(np.float32)


def main():
    arguments = options(__doc__, STEPS, goes_on=True)
    rng = arguments.rng
    patches = Patches(rng, drawn=0.08, busier=0.7)

    def pair():
        target = vivid(patches(SIDE + BLOCK), rng)
        if rng.random() < 0.25:
            target = target + white_noise(target.shape, rng) * rng.uniform(0, GRAIN)
        given, expected = saved_copy(target, rng)
        step = 8 if rng.random() < WHOLE else 1
        top, left = step * rng.integers(0, BLOCK // step, 2)
        window = slice(top, top + SIDE), slice(left, left + SIDE)
        return stored(given)[window], target[window], expected

    def batch():
        given, targets, expected = zip(*(pair() for _ in range(BATCH)))
        return tensor(given), (tensor(targets), torch.tensor(expected))

    network = read_weights(Smoother(), arguments.begin or arguments.output / "denoise.onnx", partly=True)
    if arguments.begin is None:
        nn.init.zeros_(network.leave.weight)
        nn.init.zeros_(network.leave.bias)
    loss = inside(relative_loss, EDGE)
    train(network, batch, loss, arguments.iterations, rate=1e-3, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (3, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "restore.onnx", (3, 64, 64), ((3, 96, 128), (3, 256, 256), (3, 4, 4)))


if __name__ == "__main__":
    main()
