#!/usr/bin/python3
"""Trains the two networks that remove noise. They run one after the other.

  denoise.py first      denoise.onnx: the noise of sensors, of any strength, which it has to find out by itself
  denoise.py second     denoise-refine.onnx: what the first leaves

The noise has a deviation of 2.5 to 40 levels at middle grey. It is partly the same everywhere and partly grows with the
light, differs between the channels, and for a part of the patches went through demosaicing. What is left of harder noise
is its coarse part: noise that is smeared over several pixels, blotches of colour, and both as JPEG compression changes
them. The second network learns from such, made directly, so that the two can be trained side by side.

Both learn to leave clean pictures alone: some patches have no noise, and very fine grain (up to 2 levels) is part of the
target, since it cannot be told from texture.
"""

import sys

from damage import blotches, blurred, compressed, sensor_noise, stored, white_noise
from export import export
from photographs import Patches
from training import Correction, level_loss, options, reach, tensor, train

SIDE = 56  # pixels of a patch: a core, and the reach of the network to each side
BATCH = 4
GRAIN = 2.0  # levels
STEPS = {"first": 5000, "second": 3500}


def first_network():
    return Correction(channels=3, fine=32, coarse=64, before=2, between=4, after=2)


def second_network():
    """More of it at quarter size, where the blotches are."""
    return Correction(channels=3, fine=32, coarse=64, before=1, between=6, after=1)


def strength(rng):
    """A deviation of 2.5 to 40 levels, low ones more often: they are more frequent in photographs."""
    return rng.uniform(1.6, 6.3) ** 2


def plain_noise(patch, rng):
    """Input and target for the first network."""
    if rng.random() < 0.18:
        if rng.random() < 0.5:
            patch = patch + white_noise(patch.shape, rng) * rng.uniform(0, GRAIN)
        return patch, patch
    correlation = rng.uniform(0.35, 0.8) if rng.random() < 0.25 else 0.0
    noisy = sensor_noise(patch, strength(rng), rng, correlation)
    if rng.random() < 0.1:
        noisy = compressed(noisy, rng.integers(75, 99))
    return noisy, patch


def left_noise(patch, rng):
    """Input and target for the second network."""
    if rng.random() < 0.3:
        if rng.random() < 0.5:
            patch = patch + white_noise(patch.shape, rng) * rng.uniform(0, GRAIN)
        return patch, patch
    noise = sensor_noise(patch, strength(rng), rng) - patch
    smeared = blurred(noise, rng.uniform(0.7, 2.5)) * rng.uniform(0.7, 1.5)
    noisy = patch + smeared + rng.uniform(0, 0.2) * noise
    if rng.random() < 0.3:
        noisy = noisy + blotches(patch.shape, rng, rng.uniform(3, 10)) * rng.uniform(1, 8)
    if rng.random() < 0.6:
        noisy = compressed(noisy + rng.uniform(0, 0.5) * noise, rng.integers(55, 97), rng.random() < 0.75)
        noisy = patch + rng.uniform(0.4, 1) * (noisy - patch)
    return noisy, patch


def batches(rng, make):
    patches = Patches(rng)

    def batch():
        pairs = [make(patches(SIDE), rng) for _ in range(BATCH)]
        return tensor([stored(given) for given, _ in pairs]), tensor([target for _, target in pairs])

    return batch


def main():
    stage = sys.argv[1] if len(sys.argv) > 1 else ""
    if stage not in STEPS:
        sys.exit(f"'{stage}' is not a network of the two; say first or second.")
    arguments = options(__doc__, STEPS[stage], sys.argv[2:])
    if stage == "first":
        network, file, make = first_network(), "denoise.onnx", plain_noise
    else:
        network, file, make = second_network(), "denoise-refine.onnx", left_noise
    batch = batches(arguments.rng, make)
    train(network, batch, level_loss, arguments.iterations, rate=2e-3, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (3, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / file, (3, 64, 64), ((3, 96, 128), (3, 256, 256)))


if __name__ == "__main__":
    main()
