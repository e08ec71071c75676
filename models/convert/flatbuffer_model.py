"""Reads the parts of a TensorFlow Lite file (a FlatBuffer, schema version 3) that convolutional networks use."""

import struct
from dataclasses import dataclass, field

import numpy as np

KINDS = {0: np.float32, 1: np.float16, 2: np.int32}  # TensorType
OPERATORS = {  # BuiltinOperator
    0: "add", 1: "average_pool", 3: "convolution", 4: "depthwise", 6: "dequantize", 14: "sigmoid", 18: "multiply",
    19: "relu", 23: "resize", 32: "custom", 117: "hard_swish",
}  # fmt: skip


@dataclass
class Value:
    """A tensor: its shape [1, height, width, channels] or that of weights, and its values where it is constant."""

    shape: list
    data: np.ndarray = None


@dataclass
class Operator:
    """A layer; `inputs` and `outputs` are indices of values."""

    kind: str
    inputs: list
    outputs: list
    options: dict = field(default_factory=dict)


@dataclass
class Model:
    values: list
    operators: list
    input: int
    output: int


class Table:
    """A table of a FlatBuffer: fields by their number in the schema, absent ones by default."""

    def __init__(self, data, position):
        self.data, self.position = data, position
        self.fields = position - struct.unpack_from("<i", data, position)[0]
        self.fields_size = struct.unpack_from("<H", data, self.fields)[0]

    def _find(self, number):
        entry = 4 + 2 * number
        offset = struct.unpack_from("<H", self.data, self.fields + entry)[0] if entry < self.fields_size else 0
        return self.position + offset if offset else None

    def scalar(self, number, kind, missing=0):
        at = self._find(number)
        return missing if at is None else struct.unpack_from("<" + kind, self.data, at)[0]

    def _follow(self, at):
        return at + struct.unpack_from("<I", self.data, at)[0]

    def table(self, number):
        at = self._find(number)
        return None if at is None else Table(self.data, self._follow(at))

    def vector(self, number, kind):
        at = self._find(number)
        if at is None:
            return np.zeros(0, kind)
        start = self._follow(at)
        return np.frombuffer(self.data, kind, struct.unpack_from("<I", self.data, start)[0], start + 4)

    def tables(self, number):
        at = self._find(number)
        if at is None:
            return []
        start = self._follow(at)
        count = struct.unpack_from("<I", self.data, start)[0]
        return [Table(self.data, self._follow(start + 4 + 4 * i)) for i in range(count)]


def read_options(kind, options, custom):
    """The layer's settings: stride, padding, activation and how a picture's pixels are placed when it is resized."""
    if kind in ("convolution", "depthwise"):
        return {
            "padding": "valid" if options.scalar(0, "b") else "same",
            "strides": (options.scalar(2, "i"), options.scalar(1, "i")),
            "activation": options.scalar(4 if kind == "depthwise" else 3, "b"),
        }
    if kind in ("add", "multiply"):
        return {"activation": options.scalar(0, "b") if options else 0}
    if kind == "resize":
        return {"align_corners": bool(options.scalar(2, "b")), "half_pixel": bool(options.scalar(3, "b"))}
    if kind == "custom":
        return {"strides": struct.unpack_from("<ii", custom, 4)[::-1]}
    return {}


def read_model(data):
    """The model in the bytes of a file."""
    if data[4:8] != b"TFL3":
        raise ValueError("The model must be a TensorFlow Lite file of schema version 3")
    root = Table(data, struct.unpack_from("<I", data)[0])
    buffers = [buffer.vector(0, np.uint8) for buffer in root.tables(4)]
    # The older field has 8 bits; numbers above 127 are in the newer one.
    codes = [max(code.scalar(0, "b"), code.scalar(3, "i")) for code in root.tables(1)]
    (graph,) = root.tables(2)
    values = []
    for tensor in graph.tables(0):
        shape, raw = tensor.vector(0, np.int32).tolist(), buffers[tensor.scalar(2, "I")]
        constant = raw.tobytes() if raw.size else None
        kind = KINDS[tensor.scalar(1, "b")]
        values.append(Value(shape, None if constant is None else np.frombuffer(constant, kind).reshape(shape)))
    operators = []
    for operator in graph.tables(3):
        kind = OPERATORS[codes[operator.scalar(0, "I")]]
        options = read_options(kind, operator.table(4), operator.vector(5, np.uint8).tobytes())
        operators.append(
            Operator(kind, operator.vector(1, np.int32).tolist(), operator.vector(2, np.int32).tolist(), options)
        )
    (first,), (last,) = graph.vector(1, np.int32).tolist(), graph.vector(2, np.int32).tolist()
    return Model(values, operators, first, last)
