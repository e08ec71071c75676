"""Reads weights that are stored as a list of tensors (JSON) beside one binary file, most of them with 256 levels."""

import json
from pathlib import Path

import numpy as np


def read_weights(manifest):
    """The tensors of a list, by name, as 32-bit floats. A stored byte stands for byte * scale + min."""
    weights = {}
    for group in json.loads(Path(manifest).read_text(encoding="utf-8")):
        data = b"".join((Path(manifest).parent / name).read_bytes() for name in group["paths"])
        position = 0
        for entry in group["weights"]:
            levels = entry.get("quantization")
            kind = np.dtype(levels["dtype"] if levels else entry["dtype"]).newbyteorder("<")
            count = int(np.prod(entry["shape"], dtype=np.int64))
            values = np.frombuffer(data, kind, count, position).astype(np.float32)
            position += count * kind.itemsize
            if levels:
                values = values * np.float32(levels["scale"]) + np.float32(levels["min"])
            weights[entry["name"]] = values.reshape(entry["shape"])
        if position != len(data):
            raise ValueError(f"{manifest} describes {position} bytes of weights; there are {len(data)}")
    return weights
