"""The corrections that the adjusting effect applies, differentiable, so that a network can learn through them.

They compute what Vibrance, BalanceLuma, ColorBalanceAuto and ColorBalance do, but for the rounding to bytes. Pictures
are N x 3 x H x W, red first, levels 0..1; settings are tensors of N x 1 x 1 x 1 in the units of the effects.
"""

import torch

from bilateral_grid import luma_of

# What an answer of 0 means for brightness, contrast, vibrance, exposure, shadows and highlights; 0.5 is no change and 1
# the opposite.
RANGES = (30.0, 30.0, 40.0, 15.0, 50.0, 70.0)
SKIN_HUE, SKIN_WIDTH, SKIN_SHARE = 2.15, 0.6, 0.5  # of Vibrance: radians from Cb towards Cr; share of the change


def vibrance(picture, strength):
    """Not differentiable in the picture, only in the strength."""
    grey = luma_of(picture)
    with torch.no_grad():
        red, blue = picture[:, :1], picture[:, 2:]
        cb, cr = (blue - grey) / 1.772, (red - grey) / 1.402
        dullness = 1 - (torch.hypot(cb, cr) * 255 / 128).clamp(max=1)
        from_skin = ((torch.atan2(cr, cb) - SKIN_HUE).abs() / SKIN_WIDTH).clamp(max=1)
        skin = SKIN_SHARE + (1 - SKIN_SHARE) * from_skin**2 * (3 - 2 * from_skin)
        share = dullness**2 * skin
    return (grey + (picture - grey) * (1 + strength / 100 * share)).clamp(0, 1)


def shadows_highlights(picture, shadows, highlights):
    luma = luma_of(picture)

    def lift(amount):  # at the end of the range, levels 0..1
        return amount * (amount.abs() + 1e-6).sqrt() * (0.29 / 7 / 255)

    changed = (luma + (1 - luma) * lift(shadows)).clamp(0, 1)
    # Highlights, if there are any to move, also cost a level.
    changed = (changed + luma * lift(highlights) - (highlights.abs() >= 1).float() / 255).clamp(0, 1)
    return (picture + changed - luma).clamp(0, 1)


def exposure(picture, amount):
    gain = 1 + 0.03 * amount.abs()
    return (picture * torch.where(amount < 0, 1 / gain, gain)).clamp(0, 1)


def brightness_contrast(picture, brightness, contrast):
    level = picture + brightness / 100
    share = contrast / 100
    flatter = 0.5 + (level - 0.5) * (1 + share.clamp(max=0))
    # x^k / (x^k + (1 - x)^k), written with logarithms of the odds.
    inside = level.clamp(1e-4, 1 - 1e-4)
    steeper = torch.sigmoid((inside / (1 - inside)).log() / (1 - share.clamp(min=0)))
    return torch.where(share > 0, steeper, flatter).clamp(0, 1)


def adjusted(picture, answers):
    """The picture as the adjusting effect corrects it by a network's answers, N x 6."""
    ranges = answers.new_tensor(RANGES)
    settings = (ranges * (1 - 2 * answers)).unsqueeze(2).unsqueeze(3).unsqueeze(4)
    brightness, contrast, saturation, gain, shadows, highlights = settings.unbind(1)
    picture = vibrance(picture, saturation)
    picture = shadows_highlights(picture, shadows, highlights)
    picture = exposure(picture, gain)
    return brightness_contrast(picture, brightness, contrast)
