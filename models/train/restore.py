#!/usr/bin/python3
"""Trains restore.onnx: pictures that were saved small, with the blocks and rings of JPEG compression, and which may be
slightly soft and noisy before that.

The network begins with the weights of the denoiser, denoise.onnx, which already tells edges from texture.

Qualities are 10 to 95. Patches of high quality and clean ones see to it that a good picture stays as it is.
"""

from damage import blurred, compressed, sensor_noise, stored
from export import export, read_weights
from photographs import Patches
from training import Correction, level_loss, options, reach, tensor, train

SIDE = 56
BLOCK = 16  # pixels: the blocks of JPEG with halved chroma; a patch begins anywhere within one
BATCH = 8
STEPS = 8000


def saved_copy(patch, rng):
    if rng.random() < 0.1:
        return patch
    if rng.random() < 0.4:
        patch = blurred(patch, rng.uniform(0.3, 0.9))
    if rng.random() < 0.35:
        patch = sensor_noise(patch, rng.uniform(0, 5), rng, rng.uniform(0, 0.6))
    halved = rng.random() < 0.75
    quality = rng.integers(10, 60) if rng.random() < 0.7 else rng.integers(60, 96)
    return compressed(patch, quality, halved)


def main():
    arguments = options(__doc__, STEPS)
    rng = arguments.rng
    patches = Patches(rng)

    def pair():
        target = patches(SIDE + BLOCK)
        given = stored(saved_copy(target, rng))
        top, left = rng.integers(0, BLOCK, 2)
        window = slice(top, top + SIDE), slice(left, left + SIDE)
        return given[window], target[window]

    def batch():
        given, targets = zip(*(pair() for _ in range(BATCH)))
        return tensor(given), tensor(targets)

    network = Correction(channels=3, fine=32, coarse=64, before=2, between=4, after=2)
    read_weights(network, arguments.output / "denoise.onnx")
    train(network, batch, level_loss, arguments.iterations, rate=1e-3, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (3, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "restore.onnx", (3, 64, 64), ((3, 96, 128), (3, 256, 256)))


if __name__ == "__main__":
    main()
