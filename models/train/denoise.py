#!/usr/bin/python3
"""Trains the two networks that remove noise. They run one after the other.

  denoise.py first      denoise.onnx: the noise of sensors, of any strength, which it has to find out by itself
  denoise.py second     denoise-refine.onnx: what the first leaves, which has to be there

The noise has a deviation of 2.5 to 40 levels at middle grey. It is partly the same everywhere and partly grows with the
light, differs between the channels, and for a part of the patches went through demosaicing. The second network begins
with the weights of the first and sees what the first makes of harder noise: compressed as JPEG, smeared over several
pixels, or in coarse blotches of colour.

Both learn to leave clean pictures alone: some patches have no noise, and very fine grain (up to 2 levels) is part of the
target, since it cannot be told from texture.
"""

import sys

import torch

from damage import blotches, compressed, sensor_noise, stored, white_noise
from export import export, read_weights
from photographs import Patches
from training import Correction, level_loss, options, reach, tensor, train

SIDE = 56  # pixels of a patch: a core, and the reach of the network to each side
BATCH = 4
GRAIN = 2.0  # levels
STEPS = {"first": 20000, "second": 6000}


def new_network():
    return Correction(channels=3, fine=32, coarse=64, before=2, between=4, after=2)


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


def hard_noise(patch, rng):
    """Input of the first network and target of the second."""
    if rng.random() < 0.4:
        return plain_noise(patch, rng)
    smear = rng.uniform(0.5, 1.6) if rng.random() < 0.5 else 0.0
    noisy = sensor_noise(patch, 0.8 * strength(rng), rng, smear)
    if rng.random() < 0.3:
        noisy = noisy + blotches(patch.shape, rng, rng.uniform(3, 10)) * rng.uniform(2, 10)
    if rng.random() < 0.65:
        noisy = compressed(noisy, rng.integers(55, 97), rng.random() < 0.75)
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
    network = new_network()
    if stage == "first":
        file, rate = "denoise.onnx", 2e-3
        batch = batches(arguments.rng, plain_noise)
    else:
        file, rate = "denoise-refine.onnx", 1e-3
        first = read_weights(new_network(), arguments.output / "denoise.onnx").requires_grad_(False).eval()
        read_weights(network, arguments.output / "denoise.onnx")
        noisy = batches(arguments.rng, hard_noise)

        def batch():
            given, target = noisy()
            with torch.no_grad():
                left = torch.clamp(torch.round(first(given) * 255), 0, 255) / 255
            return left, target

    train(network, batch, level_loss, arguments.iterations, rate=rate, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (3, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / file, (3, 64, 64), ((3, 96, 128), (3, 256, 256)))


if __name__ == "__main__":
    main()
