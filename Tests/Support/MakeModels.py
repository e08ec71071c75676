#!/usr/bin/python3
"""Writes the networks that the tests run into the folder Models beside this file. Needs the Debian package python3-onnx."""

import pathlib

from onnx import TensorProto, checker, helper, save

FOLDER = pathlib.Path(__file__).parent / "Models"
CHANNEL_WEIGHTS = [0.5, 0.25, 0.25]  # exact, and the first channel is told from the others


def tensor(name, shape, values):
    return helper.make_tensor(name, TensorProto.FLOAT, shape, values)


def ints(name, values):
    return helper.make_tensor(name, TensorProto.INT64, [len(values)], values)


def write(name, input_shape, output_shapes, nodes, constants=()):
    graph = helper.make_graph(
        nodes,
        name,
        [helper.make_tensor_value_info("in", TensorProto.FLOAT, input_shape)],
        [helper.make_tensor_value_info(out, TensorProto.FLOAT, shape) for out, shape in output_shapes.items()],
        list(constants),
    )
    model = helper.make_model(graph, opset_imports=[helper.make_opsetid("", 13)], producer_name="MakeModels")
    model.ir_version = 7
    checker.check_model(model)
    save(model, str(FOLDER / (name + ".onnx")))


node = helper.make_node
weights = tensor("w", [1, 3, 1, 1], CHANNEL_WEIGHTS)

# The input itself, as six values: 3 channels of 2 x 1 or 1 channel of 3 x 2.
write("flat-color", [1, 3, 1, 2], {"out": [1, 6]}, [node("Flatten", ["in"], ["out"])])
write("flat-grey", [1, 1, 2, 3], {"out": [1, 6]}, [node("Flatten", ["in"], ["out"])])

# The weighted mean of a picture of any size.
write(
    "mean",
    [1, 3, "height", "width"],
    {"out": [1, 1, 1, 1]},
    [node("GlobalAveragePool", ["in"], ["pooled"]), node("Conv", ["pooled", "w"], ["out"], kernel_shape=[1, 1])],
    [weights],
)

# How far a pixel's weighted mean lies above one half, as a smooth step.
write(
    "mask",
    [1, 3, 320, 320],
    {"out": [1, 1, 320, 320]},
    [node("Conv", ["in", "steep", "level"], ["mean"], kernel_shape=[1, 1]), node("Sigmoid", ["mean"], ["out"])],
    [tensor("steep", [1, 3, 1, 1], [64 * w for w in CHANNEL_WEIGHTS]), tensor("level", [1], [-32.0])],
)

# One minus the input, at twice the size.
identity = [1.0, 0, 0, 0, 1.0, 0, 0, 0, 1.0]
for name, channels in (("negative-color", 3), ("negative-grey", 1)):
    write(
        name,
        [1, channels, "height", "width"],
        {"out": [1, channels, "height2", "width2"]},
        [
            node("Conv", ["in", "minus", "one"], ["negative"], kernel_shape=[1, 1]),
            node(
                "Resize", ["negative", "", "twice"], ["out"], mode="nearest", coordinate_transformation_mode="asymmetric", nearest_mode="floor"
            ),
        ],
        [
            tensor("minus", [channels, channels, 1, 1], [-i for i in identity] if channels == 3 else [-1.0]),
            tensor("one", [channels], [1.0] * channels),
            tensor("twice", [4], [1.0, 1.0, 2.0, 2.0]),
        ],
    )

# Means of 2 x 2 pixels, then a blur that tells its directions apart: pixels as far as 2 away count.
blur = [value / 32 for value in (1, 2, 3, 4, 6, 5, 3, 7, 1)]
for name, channels in (("soften-color", 3), ("soften-grey", 1)):
    write(
        name,
        [1, channels, "height", "width"],
        {"out": [1, channels, "height", "width"]},
        [
            node("AveragePool", ["in"], ["coarse"], kernel_shape=[2, 2], strides=[2, 2]),
            node("Resize", ["coarse", "", "twice"], ["fine"], mode="nearest", coordinate_transformation_mode="asymmetric", nearest_mode="floor"),
            node("Conv", ["fine", "blur"], ["out"], kernel_shape=[3, 3], pads=[1, 1, 1, 1], group=channels),
        ],
        [tensor("blur", [channels, 1, 3, 3], blur * channels), tensor("twice", [4], [1.0, 1.0, 2.0, 2.0])],
    )

# The picture and its mean.
write(
    "add-mean",
    [1, 3, "height", "width"],
    {"out": [1, 3, "height", "width"]},
    [node("GlobalAveragePool", ["in"], ["mean"]), node("Add", ["in", "mean"], ["out"])],
)

# Grids of three columns, two rows and a depth of two that do not depend on the picture: one that leaves it as it is,
# and one of coefficients from -31/32 to 1.
grids = {
    "grid-identity": [1.0 if i // 12 in (0, 5, 10) else 0.0 for i in range(144)],
    "grid": [((i * 37) % 64 - 31) / 32 for i in range(144)],
}
for name, values in grids.items():
    write(
        name,
        [1, 3, 2, 2],
        {"out": [1, 24, 2, 3]},
        [
            node("GlobalAveragePool", ["in"], ["mean"]),
            node("Conv", ["mean", "nothing", "values"], ["all"], kernel_shape=[1, 1]),
            node("Reshape", ["all", "shape"], ["out"]),
        ],
        [tensor("nothing", [144, 3, 1, 1], [0.0] * (3 * 144)), tensor("values", [144], values), ints("shape", [1, 24, 2, 3])],
    )

# A convolution whose plane of 65 values does not divide evenly among threads; the last six values.
count = 3 * 5 * 5
write(
    "uneven",
    [1, 3, 5, 13],
    {"out": [1, 6]},
    [
        node("Conv", ["in", "kernel"], ["sums"], kernel_shape=[5, 5], pads=[2, 2, 2, 2]),
        node("Flatten", ["sums"], ["flat"]),
        node("Slice", ["flat", "starts", "ends", "axes"], ["out"]),
    ],
    [
        tensor("kernel", [1, 3, 5, 5], [((i * 37) % count - count / 2) / 7 for i in range(count)]),
        ints("starts", [59]),
        ints("ends", [65]),
        ints("axes", [1]),
    ],
)

# Broken on purpose: two outputs; a value that is not a number.
write("two-outputs", [1, 3, 1, 2], {"a": [1, 6], "b": [1, 3, 1, 2]}, [node("Flatten", ["in"], ["a"]), node("Abs", ["in"], ["b"])])
write(
    "not-a-number",
    [1, 3, 1, 2],
    {"out": [1, 6]},
    [node("Sub", ["in", "much"], ["below"]), node("Sqrt", ["below"], ["roots"]), node("Flatten", ["roots"], ["out"])],
    [tensor("much", [1], [1000.0])],
)
