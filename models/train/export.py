"""Writes a trained network as an ONNX file that OpenCV's dnn reads, and checks that OpenCV computes the same."""

import os
from pathlib import Path

import cv2
import numpy as np
import onnx
import torch
from onnx import numpy_helper

OPSET = 11  # OpenCV 4.6 reads Resize of this version; later ones bring nothing that is needed here
TOLERANCE = 2e-4  # of levels 0..1: a twentieth of a level, from sums in another order


def export(network, path, shape, further_shapes=(), tolerance=TOLERANCE):
    """Writes `network`, whose input has the `shape` (channels, height, width), to `path`.

    OpenCV must give what torch gives for this shape and for `further_shapes`, which a network for pictures of any size
    has to take, too. The file appears only if it does.
    """
    path = Path(path)
    network = network.to(memory_format=torch.contiguous_format).eval()
    unfinished = path.with_suffix(".unfinished.onnx")
    try:
        torch.onnx.export(
            network, torch.zeros(1, *shape), str(unfinished), opset_version=OPSET, input_names=["input"],
            output_names=["output"],
        )
        difference = max(difference_to_opencv(network, unfinished, each) for each in (shape, *further_shapes))
        if difference > tolerance:
            raise SystemExit(f"{path.name}: OpenCV differs from torch by {difference:g}, at most {tolerance:g} is right.")
        os.replace(unfinished, path)
    finally:
        unfinished.unlink(missing_ok=True)
    count = sum(parameter.numel() for parameter in network.parameters())
    print(f"{path.name}: {count} parameters, {path.stat().st_size} bytes, as in torch within {difference:.1e}", flush=True)


def difference_to_opencv(network, path, shape):
    """The largest difference of an output value for an input of random numbers 0..1."""
    values = np.random.default_rng(5).random((1, *shape), dtype=np.float32)
    with torch.no_grad():
        expected = network(torch.from_numpy(values)).numpy()
    # Read anew, so that no buffer has the size of an earlier run.
    reader = cv2.dnn.readNetFromONNX(str(path))
    reader.setInput(values)
    result = reader.forward()
    if result.shape != expected.shape:
        raise SystemExit(f"{path.name}: OpenCV's output is {result.shape}, torch's {expected.shape}.")
    return float(np.abs(result - expected).max())


def read_weights(network, path, partly=False):
    """The network with the weights of a file that `export` wrote; `partly` leaves those that the file lacks."""
    stored = {tensor.name: numpy_helper.to_array(tensor) for tensor in onnx.load(str(path)).graph.initializer}
    names = [name for name in network.state_dict() if name in stored or not partly]
    network.load_state_dict({name: torch.from_numpy(stored[name].copy()) for name in names}, strict=not partly)
    return network
