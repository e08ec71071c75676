"""A network that answers a question about a whole picture: is it flat, how good is it, what should be corrected."""

import torch
from torch import nn
from torch.nn import functional

from bilateral_grid import threshold_tones

SCORES = 0.7  # of a score's logarithm, either way


class Judge(nn.Module):
    """N x 3 x H x W with levels 0..1 to N x `answers`.

    Strided convolutions look at patterns; a layer on cells of four pixels compares levels with thresholds, in learned
    mixtures of the channels. Means of both over the picture, the latter a histogram as it were, go through two further
    layers. `kind` is "share" for answers from 0 to 1 or "score" for answers above 0 whose ratios mean
    something, exp(-0.7) to exp(0.7).
    """

    def __init__(self, answers, kind, tones=48, hidden=64):
        super().__init__()
        self.patterns = nn.Sequential(
            nn.Conv2d(3, 16, 4, 2, 1),
            nn.ReLU(),
            nn.Conv2d(16, 24, 4, 2, 1),
            nn.ReLU(),
            nn.Conv2d(24, 32, 4, 2, 1),
            nn.ReLU(),
            nn.Conv2d(32, 48, 3, 2, 1),
            nn.ReLU(),
        )
        self.tones = nn.Sequential(nn.Conv2d(3, tones, 2, 2), nn.ReLU())
        self.answer = nn.Sequential(
            nn.Conv2d(48 + tones, hidden, 1),
            nn.ReLU(),
            nn.Conv2d(hidden, hidden, 1),
            nn.ReLU(),
            nn.Conv2d(hidden, answers, 1),
        )
        threshold_tones(self.tones[0])
        self.kind = kind

    def forward(self, picture):
        means = [functional.adaptive_avg_pool2d(maps, 1) for maps in (self.patterns(picture), self.tones(picture))]
        answer = torch.flatten(self.answer(torch.cat(means, 1)), 1)
        return torch.sigmoid(answer) if self.kind == "share" else torch.exp(SCORES * torch.tanh(answer))
