#!/usr/bin/python3
"""Trains sharpen-luma.onnx: luma at the same size, sharper where it is soft.

Soft are pictures that were slightly out of focus (a blur of 0.4 to 1.8 pixels) and pictures that were enlarged. Sharp
ones are among the inputs, too, with themselves as target, so that the network finds out how much there is to do; and a
part is noisy or compressed, which must not be sharpened.
"""

import cv2

from damage import blurred, compressed, sensor_noise, stored
from export import export
from photographs import Patches, reduced
from training import Correction, level_loss, options, reach, tensor, train

SIDE = 56
BATCH = 4
STEPS = 15000


def soft_copy(patch, rng):
    """Input for a target, both RGB."""
    kind = rng.random()
    if kind < 0.12:
        return patch
    if kind < 0.75:
        soft = blurred(patch, rng.uniform(0.4, 1.8))
    else:
        how = (cv2.INTER_LINEAR, cv2.INTER_CUBIC, cv2.INTER_LANCZOS4)[rng.integers(3)]
        soft = cv2.resize(reduced(patch, rng.uniform(1.2, 3)), patch.shape[1::-1], interpolation=how)
    if rng.random() < 0.4:
        soft = sensor_noise(soft, rng.uniform(0.2, 3), rng, rng.uniform(0, 0.6))
    if rng.random() < 0.2:
        soft = compressed(soft, rng.integers(75, 99))
    return soft


def grey(patch):
    return cv2.cvtColor(patch, cv2.COLOR_RGB2GRAY)


def main():
    arguments = options(__doc__, STEPS)
    patches = Patches(arguments.rng)

    def batch():
        targets = [patches(SIDE) for _ in range(BATCH)]
        soft = [stored(grey(stored(soft_copy(target, arguments.rng)))) for target in targets]
        return tensor(soft), tensor([grey(target) for target in targets])

    network = Correction(channels=1, fine=32, coarse=64, before=1, between=4, after=1)
    train(network, batch, level_loss, arguments.iterations, rate=2e-3, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (1, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "sharpen-luma.onnx", (1, 64, 64), ((1, 96, 128), (1, 256, 256)))


if __name__ == "__main__":
    main()
