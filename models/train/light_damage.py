"""What goes wrong with the light and the colours of a photograph.

Pictures are N x 3 x H x W, red first, levels 0..1. All damages act on single pixels, given their places (see
`bilateral_grid.whole_picture`), so that one damage can be done to a small copy of a picture and to a sample of its
pixels alike. Every picture of a batch is damaged in its own way; random numbers come from torch's generator.
"""

import math

import torch

from bilateral_grid import luma_of


def uniform(count, low, high):
    """One number a picture, shaped to be multiplied with pictures."""
    return torch.rand(count, 1, 1, 1) * (high - low) + low


def log_uniform(count, low, high):
    return torch.exp(uniform(count, math.log(low), math.log(high)))


def chance(count, probability):
    """1 for a share of the pictures, 0 for the others."""
    return (torch.rand(count, 1, 1, 1) < probability).float()


def to_linear(levels):
    """Levels 0..1 of sRGB to linear light (IEC 61966-2-1)."""
    levels = levels.clamp(0, 1)
    return torch.where(levels <= 0.04045, levels / 12.92, ((levels + 0.055) / 1.055) ** 2.4)


def to_levels(light):
    light = light.clamp(0, 1)
    return torch.where(light <= 0.0031308, light * 12.92, 1.055 * light.clamp(min=0.0031308) ** (1 / 2.4) - 0.055)


def quantised(levels):
    return (levels.clamp(0, 1) * 255).round() / 255


def with_noise(levels, shot, read):
    """A sensor's noise: its variance grows with the level. Deviations in levels 0..1, at white and at black."""
    return levels + torch.randn_like(levels) * (levels.clamp(0, 1) * shot**2 + read**2).sqrt()


class Waves:
    """A random field over the picture, N x 1 x H x W from about -1 to 1, made of a few slow waves."""

    def __init__(self, count, waves=4, slowest=0.5, fastest=4.0):
        self.frequency = torch.randn(count, waves, 2) * (torch.rand(count, waves, 1) * (fastest - slowest) + slowest)
        self.phase = torch.rand(count, waves) * 2 * math.pi

    def at(self, places):
        angles = torch.einsum("nhwc,nkc->nkhw", places, self.frequency) + self.phase[:, :, None, None]
        return torch.cos(angles).mean(1, keepdim=True) * 1.5


class Darkness:
    """Too little light, by the factor `gain` in linear light.

    In half of the pictures all is dark. In the others something stays as bright as it was: what is bright by itself,
    like a sky (by luma), or a part of the picture, like the view through a window (by place). Some get lamps: bright
    discs with a glow, which are there in the true picture, too. `at` gives both: the dark picture and the true one.
    """

    LAMPS = 2

    def __init__(self, count, darkest=0.04, brightest=0.6, untouched=0.0):
        whole = chance(count, untouched)
        self.gain = log_uniform(count, darkest, brightest) * (1 - whole) + whole
        kind = torch.rand(count, 1, 1, 1)
        self.by_luma = ((kind > 0.5) & (kind < 0.75)).float()
        self.by_place = (kind >= 0.75).float()
        self.threshold, self.width = uniform(count, 0.35, 0.9), uniform(count, 0.05, 0.4)
        self.field, self.sharpness, self.offset = Waves(count), log_uniform(count, 3, 60), uniform(count, -0.2, 0.7)
        self.lamps = [
            (
                torch.rand(count, 1, 1, 2) * 2 - 1,
                log_uniform(count, 0.01, 0.15),
                uniform(count, 0.8, 3.0) * chance(count, 0.25),
                torch.cat([uniform(count, 0.9, 1.0), uniform(count, 0.6, 1.0), uniform(count, 0.3, 1.0)], 1),
            )
            for _ in range(self.LAMPS)
        ]
        self.tint = torch.exp(torch.randn(count, 3, 1, 1) * 0.06 * (1 - whole))
        self.gamma = 1 + (uniform(count, 0.85, 1.4) - 1) * chance(count, 0.5) * (1 - whole)
        self.shot, self.read = uniform(count, 0, 0.04) * (1 - whole), uniform(count, 0, 0.015) * (1 - whole)

    def glow(self, places):
        total = 0
        for centre, radius, strength, colour in self.lamps:
            distance = (places - centre).square().sum(3).unsqueeze(1) / radius.square()
            total = total + strength * colour * (torch.exp(-distance) + 0.1 / (1 + distance))
        return total

    def at(self, picture, places, noisy=True):
        """Dark and true picture. A small copy has hardly any noise: its pixels are means of many."""
        light, glow = to_linear(picture), self.glow(places)
        bright = self.by_luma * ((luma_of(picture) - self.threshold) / self.width).clamp(
            0, 1
        ) + self.by_place * torch.sigmoid(self.sharpness * (self.field.at(places) - self.offset))
        dark = light * (self.gain + (1 - self.gain) * bright) * self.tint + glow
        levels = to_levels(dark) ** self.gamma
        if noisy:
            levels = with_noise(levels, self.shot, self.read)
        return quantised(levels), to_levels(light + glow)


class Flatness:
    """Little contrast, lifted blacks, washed-out colours, haze and colour casts, in any combination."""

    def __init__(self, count, untouched=0.2, casts=0.3):
        """`casts` is the deviation of the logarithms of red's and blue's factors in linear light."""
        self.whole = chance(count, untouched)
        some = 1 - self.whole
        self.contrast = 1 - uniform(count, 0.1, 0.75) * chance(count, 0.6) * some
        self.middle = uniform(count, 0.3, 0.7)
        self.saturation = 1 - uniform(count, 0.1, 0.7) * chance(count, 0.5) * some
        self.haze = uniform(count, 0.05, 0.5) * chance(count, 0.2) * some
        self.haze_field, self.haze_colour = Waves(count, fastest=1.0), 0.75 + torch.randn(count, 3, 1, 1) * 0.06
        warmth, green = torch.randn(count, 1, 1, 1) * casts, torch.randn(count, 1, 1, 1) * 0.4 * casts
        self.cast = torch.exp(torch.cat([warmth, green, -warmth], 1) * chance(count, 0.6) * some)

    def at(self, picture, places):
        levels = to_levels(to_linear(picture) * self.cast) if bool((self.cast != 1).any()) else picture
        grey = luma_of(levels)
        levels = grey + (levels - grey) * self.saturation
        levels = self.middle + (levels - self.middle) * self.contrast
        haze = self.haze * (0.5 + 0.5 * self.haze_field.at(places)).clamp(0, 1)
        return quantised(levels + (self.haze_colour - levels) * haze)


class Misexposure:
    """Too much or too little exposure, contrast, gamma and colour, mildly or strongly."""

    def __init__(self, count, untouched=0.0, strength=1.0):
        some = (1 - chance(count, untouched)) * strength
        self.gain = torch.exp(torch.randn(count, 1, 1, 1) * 0.5 * chance(count, 0.6) * some)
        self.gamma = torch.exp(torch.randn(count, 1, 1, 1) * 0.3 * chance(count, 0.5) * some)
        self.contrast = torch.exp(torch.randn(count, 1, 1, 1) * 0.3 * chance(count, 0.5) * some)
        self.saturation = torch.exp(torch.randn(count, 1, 1, 1) * 0.4 * chance(count, 0.5) * some)
        warmth, green = torch.randn(count, 1, 1, 1) * 0.2, torch.randn(count, 1, 1, 1) * 0.08
        self.cast = torch.exp(torch.cat([warmth, green, -warmth], 1) * chance(count, 0.5) * some)

    def at(self, picture, places=None):
        levels = to_levels(to_linear(picture) * self.gain * self.cast) ** self.gamma
        grey = luma_of(levels)
        levels = grey + (levels - grey) * self.saturation
        return quantised(0.45 + (levels - 0.45) * self.contrast)


class Variety:
    """Photographs as good as those that there are, but brighter or darker, paler or more colourful, and some of them
    dark but for their lights, as by night."""

    TASTE = 0.35  # strength of the changes that leave a photograph a good one
    DARKEST = 2.5  # exponent of the levels by night

    def __init__(self, count, nights=0.2):
        self.exposed = Misexposure(count, strength=self.TASTE)
        self.power = log_uniform(count, 1.0, self.DARKEST) ** chance(count, nights)

    def at(self, picture):
        return self.exposed.at(picture) ** self.power
