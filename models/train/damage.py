"""What cameras, networks and scaling do to pictures: the inputs of the trainings are made from clean patches by these.

Patches are RGB (or grey) levels 0..255 as floats; nothing here rounds or clamps but `stored` and `compressed`.
"""

import io

import cv2
import numpy as np
from PIL import Image


def stored(patch):
    """As a file of 8 bits would keep it."""
    return np.clip(np.round(patch), 0, 255).astype(np.float32)


def compressed(patch, quality, halved_chroma=True):
    """Written as JPEG and read again, with the chroma at half size or at full size."""
    file = io.BytesIO()
    subsampling = 2 if halved_chroma else 0
    Image.fromarray(stored(patch).astype(np.uint8)).save(file, "JPEG", quality=int(quality), subsampling=subsampling)
    return np.asarray(Image.open(file), np.float32)


def blurred(patch, sigma):
    return cv2.GaussianBlur(patch, (0, 0), sigma) if sigma > 0.1 else patch


def white_noise(shape, rng):
    return rng.standard_normal(shape, dtype=np.float32)


def correlated_noise(shape, rng, sigma):
    """Noise after a blur, as demosaicing leaves it, with the deviation 1."""
    noise = blurred(white_noise(shape, rng), sigma)
    return noise / max(float(noise.std()), 1e-3)


def blotches(shape, rng, cell):
    """Coarse noise, mostly of the colour: what a camera's own noise reduction leaves. Deviation about 1."""
    height, width = shape[:2]
    small = white_noise((int(height / cell) + 3, int(width / cell) + 3, 3), rng)
    small = 0.8 * (small - small.mean(axis=2, keepdims=True)) + 0.5 * small
    large = cv2.resize(small, None, fx=cell, fy=cell, interpolation=cv2.INTER_CUBIC)
    top, left = rng.integers(0, max(1, large.shape[0] - height)), rng.integers(0, max(1, large.shape[1] - width))
    noise = large[top : top + height, left : left + width]
    return noise / max(float(noise.std()), 1e-3)


def sensor_noise(patch, sigma, rng, correlation=0.0):
    """Noise whose variance is partly constant and partly grows with the light, with other strengths in each channel.
    `sigma` is its deviation at middle grey; `correlation` the blur (in pixels) that it went through."""
    from_light = rng.uniform(0, 1) if rng.random() < 0.6 else 0.0
    strength = np.sqrt(1 - from_light + from_light * np.clip(patch, 0, 255) / 127.5)
    channels = np.exp(rng.normal(0, 0.2, patch.shape[2])) if rng.random() < 0.6 else np.ones(patch.shape[2])
    noise = correlated_noise(patch.shape, rng, correlation) if correlation > 0 else white_noise(patch.shape, rng)
    return patch + sigma * strength * channels.astype(np.float32) * noise
