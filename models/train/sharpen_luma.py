#!/usr/bin/python3
"""Trains sharpen-luma.onnx: luma at the same size, sharper where it is soft.

Soft are pictures that were slightly out of focus (a blur of 0.4 to 1.8 pixels) and pictures that were enlarged. Sharp
ones are among the inputs, too, with themselves as target, so that the network finds out how much there is to do; and a
part is noisy or compressed, which must not be sharpened.

To undo a blur whose width is known is a matter of one filter (Wiener, "Extrapolation, Interpolation, and Smoothing of
Stationary Time Series", 1949). Such filters for a few widths are part of the network, as steps from each to the next.
It tells for each pixel and step how certain it is that the blur is that wide, and adds what no filter gives. Certainty
grows with contrast, which is how much of the blur's width can be seen.
"""

import cv2
import numpy as np
import torch
from torch import nn

from damage import blurred, compressed, sensor_noise, stored, white_noise
from export import export, read_weights
from photographs import Patches, reduced
from training import Correction, inside, options, reach, relative_loss, tensor, train

SIDE = 72
EDGE = 8  # pixels of a patch that do not count
BATCH = 5
STEPS = 14000
GRAIN = 1.5  # levels; most photographs have some, and where it is missing or smeared they were blurred


class Sharpener(Correction):
    WIDTHS = (0.5, 0.7, 0.85, 1.0, 1.2, 1.5, 1.9)  # of the blurs that there are filters for
    HALF = 6  # pixels of a filter to each side
    SHARE = 0.1  # of what is added without a filter; keeps its noise small while the scores are learned

    def __init__(self):
        super().__init__(channels=1, fine=32, coarse=64, before=1, between=4, after=1)
        count = len(self.WIDTHS)
        self.scores = nn.ConvTranspose2d(32, count, 4, stride=2, padding=1)
        nn.init.zeros_(self.scores.weight)
        self.scores.bias.data = torch.linspace(1, -2, count)  # of medium blur, as far as one can tell unseen
        # A border of zeros would be an edge to sharpen. In two steps, since none may be wider than the picture.
        self.mirror = nn.Sequential(nn.ReflectionPad2d(self.HALF // 2), nn.ReflectionPad2d(self.HALF // 2))
        filters = np.stack([inverse_of_blur(width, self.HALF) for width in self.WIDTHS])
        nothing = np.zeros_like(filters[:1])
        nothing[0, self.HALF, self.HALF] = 1
        steps = filters - np.concatenate([nothing, filters[:-1]])
        self.detail = nn.Conv2d(1, count, 2 * self.HALF + 1, bias=False)
        self.detail.weight = nn.Parameter(torch.tensor(steps[:, None], dtype=torch.float32), requires_grad=False)
        self.together = nn.Conv2d(count, 1, 1, bias=False)
        self.together.weight = nn.Parameter(torch.ones(1, count, 1, 1), requires_grad=False)

    def forward(self, picture):
        fine = self.features(picture)
        steps = self.detail(self.mirror(picture)) * torch.sigmoid(self.scores(fine))
        return picture + self.SHARE * self.leave(fine) + self.together(steps)


def inverse_of_blur(width, half, noise=0.8, contrast=30.0, side=128):
    """The filter of 2 * half + 1 pixels either way that undoes a Gaussian blur with the least mean square error, in
    pictures whose power falls with the square of the frequency, with this contrast and this noise in levels."""
    frequencies = np.fft.fftfreq(side)
    across, down = np.meshgrid(frequencies, frequencies)
    power = 1 / np.maximum(across**2 + down**2, 1 / side**2)
    power *= contrast**2 / power.mean()
    offsets = np.arange(side) - side // 2
    line = np.exp(-(offsets**2) / (2 * width**2))
    blur = np.fft.fft2(np.fft.ifftshift(np.outer(line, line) / line.sum() ** 2)).real
    blurred_power = blur**2 * power + noise**2
    with_itself, with_original = (np.fft.ifft2(spectrum).real for spectrum in (blurred_power, blur * power))
    y, x = (place.ravel() for place in np.mgrid[-half : half + 1, -half : half + 1])
    distances = (y[:, None] - y) % side, (x[:, None] - x) % side
    taps = np.linalg.solve(with_itself[distances], with_original[y % side, x % side])
    return (taps / taps.sum()).reshape(2 * half + 1, -1)


def soft_copy(patch, rng):
    """Input for a target, both RGB, and the error to expect in levels, about."""
    kind = rng.random()
    if kind < 0.1:
        soft, expected = patch, 3.0
    elif kind < 0.8:
        sigma = rng.uniform(0.4, 1.8)
        soft, expected = blurred(patch, sigma), 1 + 3 * sigma
    else:
        how = (cv2.INTER_LINEAR, cv2.INTER_CUBIC, cv2.INTER_LANCZOS4)[rng.integers(3)]
        factor = 2.0 if rng.random() < 0.3 else rng.uniform(1.2, 3)
        soft = cv2.resize(reduced(patch, factor), patch.shape[1::-1], interpolation=how)
        expected = 1 + 2.5 * factor
    if rng.random() < 0.12:
        soft = sensor_noise(soft, rng.uniform(0.2, 2.5), rng, rng.uniform(0, 0.6))
    if rng.random() < 0.06:
        soft = compressed(soft, rng.integers(75, 99))
    return soft, expected


def grey(patch):
    return cv2.cvtColor(patch, cv2.COLOR_RGB2GRAY)


def main():
    arguments = options(__doc__, STEPS, goes_on=True)
    rng = arguments.rng
    patches = Patches(rng, drawn=0.08, busier=0.7)

    def pair():
        target = patches(SIDE)
        if rng.random() < 0.4:
            target = target + white_noise(target.shape, rng) * rng.uniform(0.2, GRAIN)
        soft, expected = soft_copy(target, rng)
        return stored(grey(stored(soft))), grey(target), expected

    def batch():
        soft, targets, expected = zip(*(pair() for _ in range(BATCH)))
        return tensor(soft), (tensor(targets), torch.tensor(expected))

    network = Sharpener()
    if arguments.begin is not None:
        read_weights(network, arguments.begin, partly=True)
    loss = inside(relative_loss, EDGE)
    train(network, batch, loss, arguments.iterations, rate=2e-3, checkpoint=arguments.checkpoint)
    print(f"reach {reach(network, (1, 256, 256))} pixels, multiple of {network.MULTIPLE}")
    export(network, arguments.output / "sharpen-luma.onnx", (1, 64, 64), ((1, 96, 128), (1, 256, 256), (1, 4, 4)))


if __name__ == "__main__":
    main()
