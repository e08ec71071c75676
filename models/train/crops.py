"""Random parts of photographs for networks that see a small copy of a whole picture.

Each part stands for a photograph: it is what the network gets as its small copy (`small`), and a lattice of its single
pixels (`fine`), with their places, stands for the picture at full size. What is done to a picture in full is thereby
learned from a few thousand pixels of it.
"""

import cv2
import numpy as np
import torch

from photographs import FOLDER, LEARNED_FROM, read, reduced_to

LONGEST = 512  # pixels of the photographs that parts are cut from
PATCHWORK = 0.25  # share of parts made of two photographs, so that no network knows the few photographs by heart


def photographs():
    return [reduced_to(read(FOLDER / file, digest), LONGEST) for _, file, _, digest in LEARNED_FROM]


class Crops:
    def __init__(self, rng, side, lattice=32, exchanged=0.0, least=0.6):
        """`side` pixels of the small copy, `lattice` pixels either way of the sample; `exchanged` is the share of parts
        with two of their colour channels exchanged, `least` how much of a photograph's sides a part has at least."""
        self.rng, self.side, self.lattice, self.exchanged, self.least = rng, side, lattice, exchanged, least
        self.pictures = photographs()

    def part(self):
        """Any part of any photograph, perhaps mirrored."""
        rng = self.rng
        picture = self.pictures[rng.integers(len(self.pictures))]
        height, width = (int(length * rng.uniform(self.least, 1)) for length in picture.shape[:2])
        top, left = rng.integers(picture.shape[0] - height + 1), rng.integers(picture.shape[1] - width + 1)
        part = picture[top : top + height, left : left + width]
        if rng.random() < 0.5:
            part = part[:, ::-1]
        if rng.random() < self.exchanged:
            part = part[..., rng.permutation(3)]
        return part

    def views(self, part):
        """The small copy of a part, a lattice of its pixels at a random offset, and the places of these, 0..1."""
        height, width = part.shape[:2]
        places = [
            ((np.arange(self.lattice) + self.rng.random()) * length / self.lattice).astype(int)
            for length in (height, width)
        ]
        small = cv2.resize(np.ascontiguousarray(part), (self.side, self.side), interpolation=cv2.INTER_AREA)
        return small, part[places[0]][:, places[1]], (places[0] + 0.5) / height, (places[1] + 0.5) / width

    def patchwork(self):
        """Views of one part beside or above another, which fade into each other."""
        rng = self.rng
        small, fine, y, x = self.views(self.part())
        other_small, other_fine, _, _ = self.views(self.part())
        upright, edge, width = rng.random() < 0.5, rng.uniform(0.3, 0.7), rng.uniform(0.02, 0.2)
        centres = (np.arange(self.side) + 0.5) / self.side

        def blend(first, second, position):
            share = np.clip((position - edge) / width + 0.5, 0, 1)
            share = share[None, :, None] if upright else share[:, None, None]
            return (first + (second.astype(np.float32) - first) * share).round().astype(np.uint8)

        return blend(small, other_small, centres), blend(fine, other_fine, x if upright else y), y, x

    def __call__(self, count):
        """`small` (count x 3 x side x side), `fine` (count x 3 x lattice x lattice), both levels 0..1, and the places
        of the latter (count x lattice x lattice x 2, x and y from -1 to 1)."""
        small = np.empty((count, self.side, self.side, 3), np.uint8)
        fine = np.empty((count, self.lattice, self.lattice, 3), np.uint8)
        places = np.empty((count, self.lattice, self.lattice, 2), np.float32)
        for i in range(count):
            mixed = self.rng.random() < PATCHWORK
            small[i], fine[i], y, x = self.patchwork() if mixed else self.views(self.part())
            places[i, ..., 0] = x * 2 - 1
            places[i, ..., 1] = (y * 2 - 1)[:, None]
        return levels(small), levels(fine), torch.from_numpy(places)


def levels(pictures):
    """Bytes (count x height x width x 3) as a batch of levels 0..1."""
    return torch.from_numpy(pictures.astype(np.float32) / 255).permute(0, 3, 1, 2)
