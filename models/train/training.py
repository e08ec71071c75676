"""What the trainings share: their options, the loop, and the network that most of them train.

Every training runs a fixed number of steps from a fixed seed, so the same machine with the same number of threads
gives the same network again.
"""

import argparse
import copy
import math
import os
import time
from pathlib import Path

import cv2
import numpy as np
import torch
from torch import nn

MODELS = Path(__file__).resolve().parents[1]


def options(description, iterations, argv=None, goes_on=False):
    """The options that all trainings have, parsed; threads and seed are in effect afterwards. A training that `goes_on`
    can begin with an earlier network."""
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--iterations", type=int, default=iterations, help="steps of training (%(default)s)")
    parser.add_argument("--threads", type=int, default=os.cpu_count(), help="threads of torch (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="of everything random (%(default)s)")
    parser.add_argument("--output", type=Path, default=MODELS, help="folder of the ONNX files (%(default)s)")
    parser.add_argument(
        "--checkpoint",
        type=Path,
        metavar="FILE",
        help="keep the state of the training there, and go on from it if the file exists: the result is the same",
    )
    if goes_on:
        parser.add_argument("--begin", type=Path, metavar="FILE", help="begin with the weights of this ONNX file")
    arguments = parser.parse_args(argv)
    torch.set_num_threads(arguments.threads)
    torch.manual_seed(arguments.seed)
    torch.use_deterministic_algorithms(True)
    cv2.setNumThreads(1)
    arguments.rng = np.random.default_rng(arguments.seed)
    if arguments.checkpoint is not None:
        arguments.checkpoint = Checkpoint(arguments.checkpoint, arguments.rng)
    return arguments


class Checkpoint:
    """The state of a training at the beginning of a step, in a file."""

    EVERY = 50  # steps

    def __init__(self, path, rng):
        self.path, self.rng = path, rng

    def save(self, step, network, optimizer, average):
        state = {
            "step": step,
            "network": network.state_dict(),
            "optimizer": optimizer.state_dict(),
            "average": average,
            "rng": self.rng.bit_generator.state,
            "torch_rng": torch.get_rng_state(),
        }
        unfinished = self.path.with_name(self.path.name + ".unfinished")
        torch.save(state, unfinished)
        os.replace(unfinished, self.path)

    def load(self, network, optimizer, average):
        """The step to go on with: 0 if there is no file yet."""
        if not self.path.exists():
            return 0
        state = torch.load(self.path)
        network.load_state_dict(state["network"])
        optimizer.load_state_dict(state["optimizer"])
        average.update(state["average"])
        self.rng.bit_generator.state = state["rng"]
        torch.set_rng_state(state["torch_rng"])
        return state["step"]


def tensor(pictures):
    """Pictures (height x width x channels, or height x width; levels 0..255) as a batch of levels 0..1."""
    stacked = np.stack([np.atleast_3d(picture) for picture in pictures]).astype(np.float32)
    batch = torch.from_numpy(stacked / 255).permute(0, 3, 1, 2)
    return batch.contiguous(memory_format=torch.channels_last)


def train(network, batch, loss, iterations, rate=1e-3, averaged=0.998, report_every=250, checkpoint=None):
    """Trains by Adam with a rate that rises for a short while and then falls along a cosine.

    `batch()` gives input and target, `loss(output, target)` a scalar. The network that is left is the moving average of
    the last steps' weights, which is smoother than the last one.
    """
    network = network.to(memory_format=torch.channels_last).train()  # nearly twice as fast on processors
    optimizer = torch.optim.Adam(network.parameters(), rate, betas=(0.9, 0.99))
    average = {name: value.clone() for name, value in network.state_dict().items()}
    warm_up = max(1, min(200, iterations // 10))
    first = checkpoint.load(network, optimizer, average) if checkpoint else 0
    started, shown, count = time.monotonic(), 0.0, 0
    for step in range(first, iterations):
        if checkpoint and step % checkpoint.EVERY == 0:
            checkpoint.save(step, network, optimizer, average)
        progress = step / iterations
        for group in optimizer.param_groups:
            group["lr"] = rate * min(1, (step + 1) / warm_up) * (0.01 + 0.99 * 0.5 * (1 + math.cos(math.pi * progress)))
        given, target = batch()
        value = loss(network(given), target)
        optimizer.zero_grad(set_to_none=True)
        value.backward()
        nn.utils.clip_grad_norm_(network.parameters(), 1.0)
        optimizer.step()
        keep = min(averaged, (step + 1) / (step + 10))
        with torch.no_grad():
            for name, weights in network.state_dict().items():
                if weights.is_floating_point():
                    average[name].lerp_(weights, 1 - keep)
                else:
                    average[name].copy_(weights)
        shown, count = shown + value.item(), count + 1
        if (step + 1) % report_every == 0 or step + 1 == iterations:
            seconds = time.monotonic() - started
            print(f"{step + 1}/{iterations}  loss {shown / count:.4f}  {seconds:.0f} s", flush=True)
            shown, count = 0.0, 0
    network.load_state_dict(average)
    return network.eval()


def root_mean_squares(output, target, floor=1.0):
    """The patches' root mean square errors in levels. An error well below `floor` counts as gone."""
    squares = ((output - target) ** 2).mean(dim=(1, 2, 3))
    return torch.sqrt(squares * 255**2 + floor**2)


def level_loss(output, target):
    """Squares would see only the worst patches; decibels weigh the nearly clean ones so much that in the beginning the
    best network is one that does nothing."""
    return root_mean_squares(output, target).mean()


def relative_loss(output, target):
    """Errors relative to those that are usual for a patch's damage: `target` is the clean patches and these, in levels.
    Otherwise the strongest damage, where there is most to gain, would decide alone."""
    clean, usual = target
    return (root_mean_squares(output, clean) / usual).mean()


def inside(loss, edge):
    """The loss without the pixels near the patches' edges. There the network sees the zeros with which it fills up what
    is beyond; in pictures the surroundings are there."""

    def inner(picture):
        return picture[..., edge:-edge, edge:-edge]

    def of_inner(output, target):
        clean, usual = target
        return loss(inner(output), (inner(clean), usual))

    return of_inner


def convolution(inputs, outputs):
    return nn.Conv2d(inputs, outputs, 3, padding=1)


def rectified(values):
    return nn.functional.leaky_relu(values, 0.1)


def begin_with_no_change(network, last):
    """Weights by which the signal keeps its strength from layer to layer (He et al., "Delving Deep into Rectifiers",
    2015), and none in the `last` layer. A network that begins by spoiling pictures first learns to switch its layers
    off, and some never come back; that is also why negative values go on at a tenth instead of not at all."""
    for module in network.modules():
        if isinstance(module, (nn.Conv2d, nn.ConvTranspose2d)):
            inputs = module.in_channels * module.kernel_size[0] * module.kernel_size[1]
            if isinstance(module, nn.ConvTranspose2d):
                inputs /= module.stride[0] * module.stride[1]  # each output pixel gets that part of the kernel
            nn.init.normal_(module.weight, std=math.sqrt(2 / inputs))
            nn.init.zeros_(module.bias)
    nn.init.zeros_(last.weight)


class Correction(nn.Module):
    """Adds a correction to the picture, worked out at half and at quarter size (Ronneberger et al., "U-Net", 2015).

    A 4 x 4 convolution with stride 2 goes to half size, where a few convolutions see fine detail; more of them at
    quarter size see far around at a quarter of the cost; transposed convolutions go back. No normalization, so the
    result at a pixel depends on nothing beyond the reach. Sides must be multiples of 4.
    """

    MULTIPLE = 4

    def __init__(self, channels=3, fine=32, coarse=64, before=2, between=4, after=2):
        super().__init__()
        self.enter = nn.Conv2d(channels, fine, 4, stride=2, padding=1)
        self.before = nn.ModuleList([convolution(fine, fine) for _ in range(before)])
        self.down = nn.Conv2d(fine, coarse, 2, stride=2)
        self.between = nn.ModuleList([convolution(coarse, coarse) for _ in range(between)])
        self.up = nn.ConvTranspose2d(coarse, fine, 2, stride=2)
        self.after = nn.ModuleList([convolution(fine, fine) for _ in range(after)])
        self.leave = nn.ConvTranspose2d(fine, channels, 4, stride=2, padding=1)
        begin_with_no_change(self, self.leave)

    def features(self, picture):
        """At half size."""
        fine = rectified(self.enter(picture))
        for layer in self.before:
            fine = rectified(layer(fine))
        coarse = rectified(self.down(fine))
        for first, second in zip(self.between[::2], self.between[1::2]):
            coarse = coarse + rectified(second(rectified(first(coarse))))
        fine = fine + rectified(self.up(coarse))
        for layer in self.after:
            fine = rectified(layer(fine))
        return fine

    def forward(self, picture):
        return picture + self.leave(self.features(picture))


def reach(network, shape):
    """How many pixels around a pixel a network with pictures as output looks at, in pixels of its input. Found from
    the gradients of outputs in the middle, of a copy whose weights cannot cancel."""
    positive = copy.deepcopy(network)
    with torch.no_grad():
        for parameter in positive.parameters():
            parameter.fill_(0.01)
    given = torch.full((1, *shape), 0.5, requires_grad=True)
    output = positive(given)
    height, width = shape[1:]
    scale = output.shape[2] // height
    farthest = 0
    for offset in range(8):  # the result depends on where a pixel is within the coarsest cell
        row = (height // 2 + offset) * scale
        (slope,) = torch.autograd.grad(output[0, 0, row, output.shape[3] // 2], given, retain_graph=True)
        rows = torch.nonzero(slope[0].abs().sum(dim=(0, 2)))[:, 0]
        farthest = max(farthest, int((rows - (height // 2 + offset)).abs().max()))
    return farthest
