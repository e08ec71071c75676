#!/usr/bin/python3
"""Trains restore.onnx: pictures that were saved small, with the blocks and rings of JPEG compression, and which may be
slightly soft and noisy before that.

The network begins with the weights of the denoiser, denoise.onnx, which already tells edges from texture.

Qualities are 10 to 98. Errors count relative to what usually goes wrong at a quality: otherwise strong compression,
where there is most to gain, would decide alone, and the network would smooth what was hardly compressed at all. Patches
of high quality, clean ones, and slight grain that belongs to the picture see to it that a good picture stays as it is.
"""

import torch

from damage import blurred, compressed, sensor_noise, stored, white_noise
from export import export, read_weights
from photographs import Patches
from training import Correction, options, reach, relative_loss, tensor, train

SIDE = 56
BLOCK = 16  # pixels: the blocks of JPEG with halved chroma; a patch begins anywhere within one
BATCH = 8
STEPS = 14000
GRAIN = 1.5  # levels


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


def main():
    arguments = options(__doc__, STEPS, goes_on=True)
    rng = arguments.rng
    patches = Patches(rng)

    def pair():
        target = patches(SIDE + BLOCK)
        if rng.random() < 0.3:
            target = target + white_noise(target.shape, rng) * rng.uniform(0, GRAIN)
        given, expected = saved_copy(target, rng)
        top, left = rng.integers(0, BLOCK, 2)
        window = slice(top, top + SIDE), slice(left, left + SIDE)
        return stored(given)[window], target[window], expected

    def batch():
        given, targets, expected = zip(*(pair() for _ in range(BATCH)))
        return tensor(given), (tensor(targets), torch.tensor(expected))

    network = Correction(channels=3, fine=32, coarse=64, before=2, between=4, after=2)
    read_weights(network, arguments.begin or arguments.output / "denoise.onnx")
    train(network, batch, relative_loss, arguments.iterations, rate=1e-3, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (3, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "restore.onnx", (3, 64, 64), ((3, 96, 128), (3, 256, 256)))


if __name__ == "__main__":
    main()
