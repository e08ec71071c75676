"""An ONNX graph, built layer by layer and written as the same bytes for the same layers.

Layers are called as the sources of the weights know them: kernels are [height, width, inputs, outputs], and padding
"same" puts the odd row or column behind the picture. The graph itself has ONNX's order, [outputs, inputs, height,
width]. The file format is written here, field by field (onnx.proto), because the usual library stores its own version
and order in the file.
"""

import struct
from dataclasses import dataclass

import numpy as np

OPSET, IR_VERSION = 11, 7
FLOAT, INT64 = 1, 7  # TensorProto.DataType


@dataclass(frozen=True)
class Tensor:
    """The output of a layer: its name and shape [1, channels, height, width]."""

    name: str
    channels: int
    height: int
    width: int


def same_padding(size, kernel, stride):
    """Rows before and behind a picture that has ceil(size / stride) rows afterwards."""
    rows = -(-size // stride)
    total = max((rows - 1) * stride + kernel - size, 0)
    return total // 2, total - total // 2


class Graph:
    """A network with one input, the picture's planes."""

    def __init__(self, name, channels, height, width):
        self.name = name
        self.input = Tensor("input", channels, height, width)
        self.nodes, self.constants = [], []

    # Building blocks

    def constant(self, values, kind=np.float32):
        values = np.ascontiguousarray(values, dtype=kind)
        name = f"c{len(self.constants)}"
        data_type = {np.float32: FLOAT, np.int64: INT64}[kind]
        dims = b"".join(varint_field(1, side) for side in values.shape)
        little_endian = values.astype(values.dtype.newbyteorder("<")).tobytes()
        self.constants.append(
            dims + varint_field(2, data_type) + bytes_field(8, name.encode()) + bytes_field(9, little_endian)
        )
        return name

    def node(self, operator, inputs, shape, **attributes):
        """A layer of ONNX; `inputs` are tensors or names of constants."""
        name = f"{operator.lower()}{len(self.nodes)}"
        fields = b"".join(bytes_field(1, (i.name if isinstance(i, Tensor) else i).encode()) for i in inputs)
        fields += bytes_field(2, name.encode()) + bytes_field(3, name.encode()) + bytes_field(4, operator.encode())
        fields += b"".join(bytes_field(5, attribute(key, attributes[key])) for key in sorted(attributes))
        self.nodes.append(fields)
        return Tensor(name, *shape)

    # Layers

    def pad(self, x, top=0, left=0, bottom=0, right=0, channels=0):
        """Zeros around the picture and behind the channels."""
        pads = self.constant([0, 0, top, left, 0, channels, bottom, right], np.int64)
        shape = (x.channels + channels, x.height + top + bottom, x.width + left + right)
        return self.node("Pad", [x, pads, self.constant(0)], shape, mode="constant")

    def convolution(self, x, kernel, bias=None, stride=1, padding="same"):
        return self._convolution(x, kernel.transpose(3, 2, 0, 1), bias, stride, padding, 1)

    def depthwise(self, x, kernel, bias=None, stride=1, padding="same"):
        """Each channel with a kernel of its own, [height, width, channels, 1]."""
        return self._convolution(x, kernel.transpose(2, 3, 0, 1), bias, stride, padding, x.channels)

    def separable(self, x, depthwise_kernel, pointwise_kernel, bias, stride=1):
        return self.convolution(self.depthwise(x, depthwise_kernel, stride=stride), pointwise_kernel, bias)

    def _convolution(self, x, weights, bias, stride, padding, groups):
        kernel = weights.shape[2:]
        pads = [0, 0, 0, 0]
        if padding == "same":
            (top, bottom), (left, right) = (
                same_padding(side, k, stride) for side, k in zip((x.height, x.width), kernel)
            )
            if (top, left) == (bottom, right):
                pads = [top, left, bottom, right]
            else:  # OpenCV's convolutions pad both sides by the same
                x = self.pad(x, top, left, bottom, right)
        inputs = [x, self.constant(weights)] + ([] if bias is None else [self.constant(bias)])
        height = (x.height + pads[0] + pads[2] - kernel[0]) // stride + 1
        width = (x.width + pads[1] + pads[3] - kernel[1]) // stride + 1
        return self.node(
            "Conv", inputs, (weights.shape[0], height, width), kernel_shape=list(kernel), strides=[stride] * 2,
            pads=pads, group=groups, dilations=[1, 1],
        )  # fmt: skip

    def max_pool(self, x, size, stride, padding="valid"):
        (top, bottom), (left, right) = (
            same_padding(side, size, stride) if padding == "same" else (0, 0) for side in (x.height, x.width)
        )
        height = (x.height + top + bottom - size) // stride + 1
        width = (x.width + left + right - size) // stride + 1
        return self.node(
            "MaxPool", [x], (x.channels, height, width), kernel_shape=[size] * 2, strides=[stride] * 2,
            pads=[top, left, bottom, right],
        )  # fmt: skip

    def average_pool(self, x, size, stride):
        shape = (x.channels, (x.height - size) // stride + 1, (x.width - size) // stride + 1)
        return self.node("AveragePool", [x], shape, kernel_shape=[size] * 2, strides=[stride] * 2)

    def global_average(self, x):
        return self.node("GlobalAveragePool", [x], (x.channels, 1, 1))

    def scale_channels(self, x, factor, offset):
        """factor * x + offset, one number a channel. OpenCV merges it into the convolution before it."""
        zero, one = np.zeros_like(factor), np.ones_like(factor)
        inputs = [x] + [self.constant(values) for values in (factor, offset, zero, one)]
        return self.node("BatchNormalization", inputs, (x.channels, x.height, x.width), epsilon=0.0)

    def dense(self, x, weights, bias=None):
        """All values of one pixel with a matrix [inputs, outputs], as a flat vector."""
        inputs, outputs = weights.shape
        x = self._convolution(x, weights.T.reshape(outputs, inputs, 1, 1), bias, 1, "valid", 1)
        return self.node("Flatten", [x], (outputs, 1, 1), axis=1)

    def elementwise(self, operator, *inputs, **attributes):
        """Relu, LeakyRelu, Sigmoid, HardSigmoid, Add, Mul. The result has the shape of the first input."""
        x = inputs[0]
        return self.node(operator, inputs, (x.channels, x.height, x.width), **attributes)

    def resize(self, x, factor, coordinates):
        """Linear interpolation, `coordinates` as ONNX names them."""
        sides = [self.constant([]), self.constant([1, 1, factor, factor])]
        shape = (x.channels, x.height * factor, x.width * factor)
        return self.node("Resize", [x, *sides], shape, mode="linear", coordinate_transformation_mode=coordinates)

    def transposed_convolution(self, x, kernel, bias):
        """Each pixel becomes a block; kernel [outputs, height, width, inputs], its size is the stride."""
        weights = kernel.transpose(3, 0, 1, 2)
        size = list(weights.shape[2:])
        shape = (weights.shape[1], x.height * size[0], x.width * size[1])
        inputs = [x, self.constant(weights), self.constant(bias)]
        return self.node("ConvTranspose", inputs, shape, kernel_shape=size, strides=size)

    # The file

    def serialize(self, output, shape):
        """The bytes of the file, with the tensor `output` as the network's only output of the given shape."""
        x = self.input
        graph = b"".join(bytes_field(1, node) for node in self.nodes) + bytes_field(2, self.name.encode())
        graph += b"".join(bytes_field(5, constant) for constant in self.constants)
        graph += bytes_field(11, value_info(x.name, [1, x.channels, x.height, x.width]))
        graph += bytes_field(12, value_info(output.name, shape))
        opset = bytes_field(1, b"") + varint_field(2, OPSET)
        return (
            varint_field(1, IR_VERSION) + bytes_field(2, b"kalvatri models") + bytes_field(7, graph)
            + bytes_field(8, opset)
        )  # fmt: skip


# Protocol buffers: a field is its number and wire type, then a variable-length integer or a length and bytes.


def varint(value):
    value &= (1 << 64) - 1
    encoded = bytearray()
    while value > 0x7F:
        encoded.append(value & 0x7F | 0x80)
        value >>= 7
    encoded.append(value)
    return bytes(encoded)


def varint_field(number, value):
    return varint(number << 3) + varint(value)


def bytes_field(number, value):
    return varint(number << 3 | 2) + varint(len(value)) + value


def attribute(name, value):
    """An AttributeProto; the kinds are those of AttributeProto.AttributeType."""
    if isinstance(value, float):
        fields, kind = varint(2 << 3 | 5) + struct.pack("<f", value), 1
    elif isinstance(value, int):
        fields, kind = varint_field(3, value), 2
    elif isinstance(value, str):
        fields, kind = bytes_field(4, value.encode()), 3
    else:
        fields, kind = b"".join(varint_field(8, item) for item in value), 7
    return bytes_field(1, name.encode()) + fields + varint_field(20, kind)


def value_info(name, shape):
    dims = b"".join(bytes_field(1, varint_field(1, side)) for side in shape)
    tensor_type = varint_field(1, FLOAT) + bytes_field(2, dims)
    return bytes_field(1, name.encode()) + bytes_field(2, bytes_field(1, tensor_type))
