"""Numbers about a whole picture's light and colours: what the networks that judge it, or correct it as a whole, see.

Nine photographs are too few to learn from scratch what makes a good picture: networks that saw pixels knew them by
heart and told others apart no better than by chance. These few numbers are what people look at, too: the histogram, its
ends, contrast, how colourful the picture is, and which tint light and dark tones have. All of it is made of operations
that ONNX files have, so that a network takes the picture as it is.
"""

import torch
from torch import nn
from torch.nn import functional

from bilateral_grid import LUMA

THRESHOLDS = 12  # of luma, evenly over the levels
ENDS = 0.03  # levels 0..1 from either end within which a channel counts as clipped


def fixed(layer, weight, bias=None):
    layer.weight = nn.Parameter(torch.as_tensor(weight, dtype=torch.float32).clone(), requires_grad=False)
    if bias is not None:
        layer.bias = nn.Parameter(torch.as_tensor(bias, dtype=torch.float32).clone(), requires_grad=False)
    return layer


def pointwise(weight, bias=None):
    """A fixed mixture of channels; `weight` has a row for each output."""
    weight = torch.as_tensor(weight, dtype=torch.float32)
    layer = nn.Conv2d(weight.shape[1], weight.shape[0], 1, bias=bias is not None)
    return fixed(layer, weight[:, :, None, None], bias)


def mean(maps):
    return functional.adaptive_avg_pool2d(maps, 1)


def highest(maps):
    return functional.adaptive_max_pool2d(maps, 1)


class Statistics(nn.Module):
    """N x 3 x H x W with levels 0..1 to N x COUNT x 1 x 1, each number shifted and scaled to a usual range."""

    COUNT = 2 * THRESHOLDS + 6 + 6 + 3 + 4 + 6 + 4 + 3

    def __init__(self):
        super().__init__()
        red, green, blue = LUMA
        # Luma, and blue and red away from it.
        self.opponents = pointwise([[red, green, blue], [-red, -green, 1 - blue], [1 - red, -green, -blue]])
        steps = torch.linspace(0, 1, THRESHOLDS + 1)[:-1]
        luma = torch.tensor([LUMA]).expand(THRESHOLDS, 3)
        self.above, self.below = pointwise(luma, -steps), pointwise(-luma, 1 - steps)
        eye = torch.eye(3)
        self.clipped = pointwise(torch.cat([eye, -eye]) / ENDS, torch.tensor([1 - 1 / ENDS] * 3 + [1.0] * 3))
        twice = 2 * torch.tensor([LUMA]).expand(2, 3)
        self.light, self.dark = pointwise(twice, [-1.0, -1.0]), pointwise(-twice, [1.0, 1.0])
        self.chroma = pointwise([[0, 1, 0], [0, 0, 1]])
        away = torch.full((3, 1, 3, 3), -1 / 9)
        away[:, :, 1, 1] += 1
        self.detail = fixed(nn.Conv2d(3, 3, 3, bias=False, groups=3), away)
        self.usual = nn.BatchNorm2d(self.COUNT, affine=False)

    def forward(self, picture):
        opponents = self.opponents(picture)
        chroma = self.chroma(opponents)
        colourful = torch.relu(chroma) + torch.relu(-chroma)
        coarse = functional.avg_pool2d(picture, 4)
        fine, rough = self.opponents(self.detail(picture)), self.opponents(self.detail(coarse))
        light, dark = torch.relu(self.light(picture)), torch.relu(self.dark(picture))
        numbers = [
            mean(torch.relu(self.above(picture))),
            mean(torch.relu(self.below(picture))),
            highest(picture),
            -highest(-picture),
            mean(torch.relu(self.clipped(picture))),
            mean(opponents),
            mean(colourful),
            mean(colourful * colourful),
            mean(torch.relu(fine) + torch.relu(-fine)),
            mean(torch.relu(rough) + torch.relu(-rough)),
            # The tint of light and of dark tones.
            mean(chroma * light) / (mean(light) + 0.02),
            mean(chroma * dark) / (mean(dark) + 0.02),
            mean(opponents * opponents),
        ]
        return self.usual(torch.cat(numbers, 1))
