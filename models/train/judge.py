"""A network that answers a question about a whole picture: is it flat, how good is it, what should be corrected."""

import torch
from torch import nn

from picture_statistics import Statistics

SIDE = 64  # of the network's input, whatever the picture's aspect
SCORES = 0.7  # of a score's logarithm, either way


class Judge(nn.Module):
    """N x 3 x SIDE x SIDE with levels 0..1 to N x `answers`, by two layers on numbers about the picture.

    `kind` is "share" for answers from 0 to 1 or "score" for answers above 0 whose ratios mean something, exp(-0.7) to
    exp(0.7).
    """

    def __init__(self, answers, kind, hidden=32):
        super().__init__()
        self.statistics = Statistics()
        self.answer = nn.Sequential(
            nn.Dropout(0.1),
            nn.Conv2d(Statistics.COUNT, hidden, 1),
            nn.ReLU(),
            nn.Dropout(0.1),
            nn.Conv2d(hidden, hidden, 1),
            nn.ReLU(),
            nn.Conv2d(hidden, answers, 1),
        )
        self.kind = kind

    def forward(self, picture):
        answer = torch.flatten(self.answer(self.statistics(picture)), 1)
        return torch.sigmoid(answer) if self.kind == "share" else torch.exp(SCORES * torch.tanh(answer))
