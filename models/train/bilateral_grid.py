"""Networks that answer with a bilateral grid, and how a grid is applied.

A bilateral grid (Gharbi et al., "Deep bilateral learning for real-time image enhancement", 2017) is a coarse field of
affine colour transforms over the picture's two axes and over brightness. Each pixel looks its transform up at its place
and its own luma, linearly between the cells, so that

    out = A(x, y, luma) * (red, green, blue, 1).

The network sees only a small copy of the picture; what it costs does not grow with the picture's size. And because the
result is affine in the pixel, edges stay where they are: there is no halo at a contour that luma can tell apart.
"""

import torch
from torch import nn
from torch.nn import functional

DEPTH = 8  # cells along luma
SIDE = 96  # of the network's input, whatever the picture's aspect
CELLS = 12  # along either side of the picture
LUMA = (0.299, 0.587, 0.114)  # ITU-R BT.601


def luma_of(picture):
    """N x 3 x H x W, red first, to N x 1 x H x W."""
    weights = picture.new_tensor(LUMA).view(1, 3, 1, 1)
    return (picture * weights).sum(1, keepdim=True)


class GridNetwork(nn.Module):
    """N x 3 x SIDE x SIDE with levels 0..1 to N x (12 * DEPTH) x CELLS x CELLS.

    Channel (row * 4 + column) * DEPTH + z is the factor of red, green, blue or 1 (column) in the output's red, green or
    blue (row) at brightness z. Three strided convolutions lead to the cells; there a branch that knows only means over
    the whole picture tells each cell how dark, flat or tinted the picture is. It has means of what the convolutions
    find, and of levels above thresholds in learned mixtures of the channels, which amount to histograms.
    """

    def __init__(self, width=48):
        super().__init__()
        half = width // 2
        self.reduce = nn.Sequential(
            nn.Conv2d(3, 16, 4, 2, 1),
            nn.ReLU(),
            nn.Conv2d(16, half, 4, 2, 1),
            nn.ReLU(),
            nn.Conv2d(half, width, 4, 2, 1),
            nn.ReLU(),
        )
        self.tones = nn.Sequential(nn.Conv2d(3, width, 2, 2), nn.ReLU())
        self.whole = nn.Sequential(nn.Conv2d(2 * width, width, 1), nn.ReLU(), nn.Conv2d(width, width, 1))
        self.local = nn.Conv2d(width, width, 3, 1, 1)
        self.cells = nn.Conv2d(width, 12 * DEPTH, 1)
        threshold_tones(self.tones[0])
        # The network starts with the transform that changes nothing, and learns departures from it.
        nn.init.normal_(self.cells.weight, std=1e-3)
        identity = torch.zeros(3, 4, DEPTH)
        for k in range(3):
            identity[k, k] = 1.0
        self.cells.bias.data = identity.flatten()

    def forward(self, picture):
        features = self.reduce(picture)
        means = [functional.adaptive_avg_pool2d(maps, 1) for maps in (features, self.tones(picture))]
        whole = self.whole(torch.cat(means, 1))
        return self.cells(functional.relu(self.local(features) + whole))


class StretchedGridNetwork(nn.Module):
    """A grid network that sees the picture stretched to the full range, and begins with that stretch as its answer.

    Half of the stretch is each channel's own, which takes a cast away, and half that of all channels. The network
    learns what is left to do, from pictures that are much alike, however flat or tinted they were.
    """

    OWN = 0.5
    LEAST = 0.05  # of the range that is stretched, so that an even picture stays even

    def __init__(self):
        super().__init__()
        self.network = GridNetwork()
        for name, channel in zip(("reds", "greens", "blues"), torch.eye(3)):
            self.register_buffer(name, channel.expand(3, 3).reshape(3, 3, 1, 1).clone())  # one channel three times
        # A grid for the stretched picture becomes one for the picture itself by products of the matrices: factors of
        # colours are scaled, and what colours lose by the shift goes to the constants.
        columns = torch.eye(4).repeat(3, 1).repeat_interleave(DEPTH, 0)  # channel to column
        self.register_buffer("to_factors", columns[:, :3].reshape(-1, 3, 1, 1).clone())
        self.register_buffer("constants", columns[:, 3].reshape(1, -1, 1, 1).clone())
        rows = torch.arange(12).view(3, 4)
        gather = torch.zeros(12, 12)
        for row in rows:
            gather[row[3], row[:3]] = 1
        self.register_buffer("gather", torch.kron(gather, torch.eye(DEPTH)).view(12 * DEPTH, 12 * DEPTH, 1, 1))

    def forward(self, picture):
        highest = functional.adaptive_max_pool2d(picture, 1)
        lowest = -functional.adaptive_max_pool2d(-picture, 1)
        high = self.shared(highest, 1)
        low = self.shared(lowest, -1)
        range_ = high - low + self.LEAST
        scale = torch.exp(-torch.log(range_))
        shift = -low * scale
        grid = self.network(picture * scale + shift)
        return grid * (functional.conv2d(scale, self.to_factors) + self.constants) + functional.conv2d(
            grid * functional.conv2d(shift, self.to_factors), self.gather
        )

    def shared(self, ends, sign):
        """Half-way from each channel's end of the range to that of all channels."""
        red, green, blue = (functional.conv2d(ends, each) for each in (self.reds, self.greens, self.blues))
        both = sign * green + torch.relu(sign * red - sign * green)
        common = sign * (both + torch.relu(sign * blue - both))
        return ends * self.OWN + common * (1 - self.OWN)


def greatest(ends):
    """The greatest of three channels, three times."""
    red, green, blue = (ends.narrow(1, k, 1) for k in range(3))
    both = green + torch.relu(red - green)
    most = both + torch.relu(blue - both)
    return torch.cat([most, most, most], 1)


def threshold_tones(convolution):
    """Lets the mixtures of channels begin as those of a cell's mean, with thresholds all over the levels, in both
    directions."""
    with torch.no_grad():
        convolution.weight.copy_(2 * convolution.weight.mean((2, 3), keepdim=True).expand_as(convolution.weight))
        reach = convolution.weight.sum((1, 2, 3))
        convolution.bias.copy_(-reach * torch.linspace(0, 1, len(reach)))


def apply_grid(grid, picture, places=None):
    """The picture (N x 3 x H x W, levels 0..1) through its grid; not clamped.

    `places` (N x H x W x 2) are the pixels' x and y in the whole picture, -1..1; by default the picture is whole.
    Cell i of n has its centre at (i + 0.5) / n; beyond the outermost centres the outermost cells hold.
    """
    count, _, height, width = picture.shape
    if places is None:
        places = whole_picture(count, height, width)
    cells = grid.contiguous().view(count, 12, DEPTH, grid.shape[2], grid.shape[3])
    where = torch.cat([places, luma_of(picture).view(count, height, width, 1) * 2 - 1], 3)
    transform = functional.grid_sample(
        cells, where.unsqueeze(1), mode="bilinear", padding_mode="border", align_corners=False
    ).view(count, 3, 4, height, width)
    return (transform[:, :, :3] * picture.unsqueeze(1)).sum(2) + transform[:, :, 3]


def whole_picture(count, height, width):
    """Places of the pixels of a picture: N x H x W x 2, x and y from -1 to 1 at its outer edges."""
    y, x = torch.meshgrid(
        (torch.arange(height) + 0.5) / height * 2 - 1, (torch.arange(width) + 0.5) / width * 2 - 1, indexing="ij"
    )
    return torch.stack([x, y], 2).expand(count, height, width, 2)


def roughness(grid):
    """Mean square of the differences between neighbouring cells: what a prior on smooth grids penalises."""
    cells = grid.view(grid.shape[0], 12, DEPTH, grid.shape[2], grid.shape[3])
    return sum(
        (cells.narrow(axis, 1, cells.shape[axis] - 1) - cells.narrow(axis, 0, cells.shape[axis] - 1)).square().mean()
        for axis in (2, 3, 4)
        if cells.shape[axis] > 1
    )


ROUGH, ROUGH_BESIDE_SHARES = 0.02, 0.1  # weights of the grid's roughness, beside errors in levels and relative ones
BURNT = 2.0  # weight of pixels that come out white but should not
USUAL_ERROR = 0.05  # levels 0..1; below, a picture counts as hardly damaged
WHITE = 0.985  # level from which a pixel counts as white


def errors(grid, sample):
    """The mean error, one number a picture, of the pixels of `sample` (pixels, their places, what they should become)
    after the grid was applied.

    What should be white may come out whiter than white, which clamping ends. What should not is dear.
    """
    pixels, places, target = sample
    result = apply_grid(grid, pixels, places)
    error = (result - target).masked_fill((target > WHITE) & (result > target), 0)
    burnt = torch.relu(result - WHITE) * (target < WHITE)
    return (error.abs() + BURNT * burnt).mean((1, 2, 3))


def grid_loss(grid, sample):
    return errors(grid, sample).mean() + ROUGH * roughness(grid)


def relative_loss(grid, sample):
    """The errors relative to what was wrong with the picture: a good picture that changes is as bad as a spoilt one
    that hardly does."""
    pixels, _, target = sample
    before = (pixels - target).abs().mean((1, 2, 3))
    return (errors(grid, sample) / (before + USUAL_ERROR)).mean() + ROUGH_BESIDE_SHARES * roughness(grid)
