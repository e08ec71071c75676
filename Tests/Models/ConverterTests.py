#!/usr/bin/python3
"""The models' files against their digests, and the converter's layers against the definitions of the layers that the
weights were trained with. OpenCV runs the converted networks, as the product does."""

import hashlib
import json
import re
import sys
import tempfile
import unittest
from pathlib import Path

import cv2
import numpy as np

MODELS = Path(__file__).resolve().parents[2] / "models"
sys.path.insert(0, str(MODELS / "convert"))
sys.dont_write_bytecode = True

from flatbuffer_model import Model, Operator, Value  # noqa: E402
from graph import Graph  # noqa: E402
from stored_weights import read_weights  # noqa: E402
from subject_network import translate  # noqa: E402

RANDOM = np.random.default_rng(5)


def noise(*shape):
    return RANDOM.normal(0, 0.5, shape).astype(np.float32)


# The layers by their definitions, on pictures [height, width, channels].


def windows(x, kernel, stride, padding, outside):
    """The pixels under the kernel for each pixel of the result: [height, width, kernel, kernel, channels]."""
    if padding == "same":
        totals = [max((-(-side // stride) - 1) * stride + kernel - side, 0) for side in x.shape[:2]]
        pads = [(total // 2, total - total // 2) for total in totals]
        x = np.pad(x, [*pads, (0, 0)], constant_values=outside)
    rows, columns = ((side - kernel) // stride + 1 for side in x.shape[:2])
    return np.array([
        [x[stride * i : stride * i + kernel, stride * k : stride * k + kernel] for k in range(columns)]
        for i in range(rows)
    ])  # fmt: skip


def convolved(x, kernel, bias, stride=1, padding="same"):
    return np.einsum("hwijc,ijco->hwo", windows(x, len(kernel), stride, padding, 0), kernel) + bias


def depthwise(x, kernel, bias, stride=1):
    return np.einsum("hwijc,ijc->hwc", windows(x, len(kernel), stride, "same", 0), kernel[..., 0]) + bias


def max_pooled(x, size, stride, padding):
    return windows(x, size, stride, padding, -np.inf).max(axis=(2, 3))


def average_pooled(x, size, stride):
    return windows(x, size, stride, "valid", 0).mean(axis=(2, 3))


class Converter(unittest.TestCase):
    def check(self, data, x, layers):
        """Each layer's output, by its name in the file, as OpenCV computes it from the picture x."""
        for name, expected in layers.items():
            # OpenCV 4.6 merges an addition into a transposed convolution anew for each output that is asked for.
            net = cv2.dnn.readNetFromONNX(np.frombuffer(data, np.uint8))
            names = {name.split("!")[-1]: name for name in net.getLayerNames()}
            net.setInput(x.transpose(2, 0, 1)[None].copy())
            found = net.forward(names[name]).reshape(expected.transpose(2, 0, 1).shape).transpose(1, 2, 0)
            np.testing.assert_allclose(found, expected, atol=2e-5, err_msg=name)

    def test_layers(self):
        for height, width in ((14, 11), (13, 16)):
            graph, x, expected = Graph("toy", 3, height, width), noise(height, width, 3), {}

            def step(tensor, value):
                expected[tensor.name] = value
                self.assertEqual((tensor.height, tensor.width, tensor.channels), value.shape)
                return tensor, value

            picture = x
            kernel, bias = noise(3, 3, 3, 4), noise(4)
            for stride, padding in ((1, "same"), (2, "same"), (2, "valid")):
                step(
                    graph.convolution(graph.input, kernel, bias, stride, padding),
                    convolved(picture, kernel, bias, stride, padding),
                )
            t, x = step(graph.convolution(graph.input, kernel, bias), convolved(picture, kernel, bias))
            t, x = step(graph.elementwise("LeakyRelu", t, alpha=0.1), np.where(x > 0, x, 0.1 * x))
            kernel, bias = noise(3, 3, 4, 1), noise(4)
            for stride in (1, 2):
                step(graph.depthwise(t, kernel, bias, stride), depthwise(x, kernel, bias, stride))
            factor, offset = noise(4), noise(4)
            t, x = step(graph.scale_channels(t, factor, offset), x * factor + offset)
            for size, stride, padding in ((2, 1, "same"), (3, 2, "valid"), (2, 2, "same")):
                pooled = step(graph.max_pool(t, size, stride, padding), max_pooled(x, size, stride, padding))
            t, x = pooled
            t, x = step(graph.average_pool(t, 2, 2), average_pooled(x, 2, 2))
            t, x = step(graph.pad(t, bottom=1, right=2, channels=3), np.pad(x, ((0, 1), (0, 2), (0, 3))))
            t, x = step(graph.elementwise("Add", t, t), 2 * x)
            t, x = step(graph.global_average(t), x.mean(axis=(0, 1), keepdims=True))
            weights, bias = noise(7, 5), noise(5)
            t, x = step(graph.dense(t, weights, bias), x @ weights + bias)
            self.check(graph.serialize(t, [1, 5]), picture, expected)

    def test_translation(self):
        """A small net of all kinds of layers that the subject's network has."""
        x, kernel, bias = noise(8, 8, 3), noise(6, 3, 3, 3), noise(6)
        wide, gate, block = noise(1, 3, 3, 6), noise(6, 1, 1, 6), noise(2, 2, 2, 6)
        halved = convolved(x, kernel.transpose(1, 2, 3, 0), bias, 2).clip(0)
        swished = halved * np.clip(halved / 6 + 0.5, 0, 1)
        spread = depthwise(swished, wide.transpose(1, 2, 3, 0), bias)
        mean = swished.mean(axis=(0, 1), keepdims=True)
        gated = convolved(mean, gate.transpose(1, 2, 3, 0), bias)
        scaled = spread / (1 + np.exp(-gated))
        places = (np.arange(8) + 0.5) / 2 - 0.5
        low = np.clip(np.floor(places), 0, 3).astype(int)
        part = np.clip(places - low, 0, 1).astype(np.float32)
        high = np.minimum(low + 1, 3)
        rows = scaled[low] * (1 - part)[:, None, None] + scaled[high] * part[:, None, None]
        doubled = rows[:, low] * (1 - part)[None, :, None] + rows[:, high] * part[None, :, None]
        blocks = np.einsum("hwc,oijc->hiwjo", doubled, block).reshape(16, 16, 2) + bias[:2]

        def step(number, shape, kind, inputs, **options):
            values[number] = Value([1, *shape])
            return Operator(kind, inputs, [number], options)

        values = {100 + i: Value(list(v.shape), v) for i, v in enumerate((kernel, wide, gate, block, bias[:2]))}
        values[0], values[106] = Value([1, 8, 8, 3]), Value([6], bias.astype(np.float16))
        values[105] = Value([6])
        layer = {"padding": "same", "activation": 0}
        operators = [
            Operator("dequantize", [106], [105]),
            step(1, (4, 4, 6), "convolution", [0, 100, 107], strides=(2, 2), padding="same", activation=1),
            step(2, (4, 4, 6), "hard_swish", [1]),
            step(3, (4, 4, 6), "depthwise", [2, 101, 107], strides=(1, 1), **layer),
            step(4, (1, 1, 6), "average_pool", [2]),
            step(5, (1, 1, 6), "convolution", [4, 102, 107], strides=(1, 1), **layer),
            step(6, (1, 1, 6), "sigmoid", [5]),
            step(7, (4, 4, 6), "multiply", [6, 3], activation=0),
            step(8, (8, 8, 6), "resize", [7], align_corners=False, half_pixel=True),
            step(9, (16, 16, 2), "custom", [8, 103, 104]),
            step(10, (16, 16, 2), "add", [9, 105], activation=0),
        ]
        # The last layer adds weights that are stored with 16 bits.
        values[107], values[106] = Value([6], bias), Value([2], bias[2:4].astype(np.float16))
        count = max(values) + 1
        model = Model([values.get(i, Value([])) for i in range(count)], operators, 0, 10)
        shifted = blocks + bias[2:4].astype(np.float16).astype(np.float32)
        data = translate(model, "toy")
        names = re.findall(rb"(?:conv|mul|resize|convtranspose|add)\d+", data)
        last = {kind: [n.decode() for n in names if n.startswith(kind)][-1] for kind in (b"mul", b"resize", b"add")}
        self.check(data, x, {last[b"mul"]: scaled, last[b"resize"]: doubled, last[b"add"]: shifted})

    def test_refuses_what_it_does_not_know(self):
        relu6 = Operator("convolution", [0, 1, 2], [3], {"strides": (1, 1), "padding": "same", "activation": 3})
        values = [Value([1, 4, 4, 3]), Value([1], noise(1, 1, 1, 3)), Value([1], noise(1)), Value([1, 4, 4, 1])]
        with self.assertRaisesRegex(ValueError, "Activation 3"):
            translate(Model(values, [relu6], 0, 3), "toy")
        relu6.options["activation"] = 0
        values[3] = Value([1, 4, 4, 2])
        with self.assertRaisesRegex(ValueError, "must give 4 x 4 x 2"):
            translate(Model(values, [relu6], 0, 3), "toy")

    def test_weights_of_256_levels(self):
        with tempfile.TemporaryDirectory() as folder:
            manifest = Path(folder) / "list.json"
            levels = {"dtype": "uint8", "scale": 0.5, "min": -3}
            entries = [
                {"name": "a", "shape": [2, 2], "dtype": "float32", "quantization": levels},
                {"name": "b", "shape": [2], "dtype": "float32"},
            ]
            manifest.write_text(json.dumps([{"paths": ["first.bin", "second.bin"], "weights": entries}]))
            (Path(folder) / "first.bin").write_bytes(bytes([0, 6, 7]))
            (Path(folder) / "second.bin").write_bytes(bytes([255]) + np.array([1.5, -2], "<f4").tobytes())
            weights = read_weights(manifest)
            np.testing.assert_array_equal(weights["a"], [[-3, 0], [0.5, 124.5]])
            np.testing.assert_array_equal(weights["b"], [1.5, -2])
            (Path(folder) / "second.bin").write_bytes(bytes(10))
            with self.assertRaisesRegex(ValueError, "describes 12 bytes of weights; there are 13"):
                read_weights(manifest)


class Files(unittest.TestCase):
    def test_are_those_of_the_readme(self):
        readme = (MODELS / "README.md").read_text()
        sizes = dict(re.findall(r"^\| `([\w-]+\.onnx)` .*\| ([\d,]+) \|$", readme, re.M))
        digests = {name: digest for digest, name in re.findall(r"^([0-9a-f]{64})  (.+)$", readme, re.M)}
        files = {file.name: file.read_bytes() for file in MODELS.glob("*.onnx")}
        self.assertEqual(sizes, {name: f"{len(data):,}" for name, data in files.items()})
        self.assertEqual(digests, {name: hashlib.sha256(data).hexdigest() for name, data in files.items()})

    def test_are_those_of_the_manifest(self):
        manifest = json.loads((MODELS / "models.json").read_text())
        files = {entry["file"] for section in manifest.values() for entry in section.values() if "file" in entry}
        self.assertEqual(files, {file.name for file in MODELS.glob("*.onnx")})


if __name__ == "__main__":
    unittest.main()
