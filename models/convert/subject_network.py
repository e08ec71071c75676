"""Translates a convolutional network, layer by layer, as read by flatbuffer_model."""

import numpy as np

from graph import Graph

NONE, RELU = 0, 1  # activations at the end of a layer


def translate(model, name):
    """The bytes of the ONNX file with the same layers. Takes planes as the model's input, [1, height, width, channels]
    in its own order; its output is the map [1, channels, height, width]."""
    _, height, width, channels = model.values[model.input].shape
    graph = Graph(name, channels, height, width)
    tensors = {model.input: graph.input}
    constants = {i: value.data for i, value in enumerate(model.values) if value.data is not None}

    def activated(x, activation):
        if activation not in (NONE, RELU):
            raise ValueError(f"Activation {activation} is not known")
        return graph.elementwise("Relu", x) if activation == RELU else x

    def weights(index):
        return constants[index].astype(np.float32)

    def convolution(operator, x):
        if operator.options["strides"][0] != operator.options["strides"][1]:
            raise ValueError("Strides must be the same along both axes")
        kernel, bias = weights(operator.inputs[1]), weights(operator.inputs[2])
        kernel = kernel.transpose(1, 2, 3, 0)  # to height, width, inputs, outputs
        layer = graph.depthwise if operator.kind == "depthwise" else graph.convolution
        x = layer(x, kernel, bias, operator.options["strides"][0], operator.options["padding"])
        return activated(x, operator.options["activation"])

    def product_or_sum(operator, _):
        operands = [
            tensors[i] if i in tensors else graph.constant(weights(i).reshape(1, -1, 1, 1)) for i in operator.inputs
        ]
        # The larger picture comes first: OpenCV spreads the second one over it.
        operands.sort(key=lambda x: -x.height if hasattr(x, "height") else 0)
        result = graph.elementwise("Mul" if operator.kind == "multiply" else "Add", *operands)
        return activated(result, operator.options["activation"])

    def resized(operator, x):
        factor = model.values[operator.outputs[0]].shape[1] // x.height
        options = operator.options
        places = "align_corners" if options["align_corners"] else "half_pixel"
        return graph.resize(x, factor, places if options["align_corners"] or options["half_pixel"] else "asymmetric")

    def hard_swish(_, x):
        return graph.elementwise("Mul", x, graph.elementwise("HardSigmoid", x, alpha=1 / 6, beta=0.5))

    layers = {
        "convolution": convolution,
        "depthwise": convolution,
        "multiply": product_or_sum,
        "add": product_or_sum,
        "resize": resized,
        "hard_swish": hard_swish,
        "relu": lambda _, x: graph.elementwise("Relu", x),
        "sigmoid": lambda _, x: graph.elementwise("Sigmoid", x),
        "average_pool": lambda _, x: graph.global_average(x),
        # The only layer of its own kind: a transposed convolution with a bias, whose blocks do not overlap.
        "custom": lambda operator, x: graph.transposed_convolution(
            x, weights(operator.inputs[1]), weights(operator.inputs[2])
        ),
    }
    for operator in model.operators:
        if operator.kind == "dequantize":  # weights that are stored with 16 bits
            constants[operator.outputs[0]] = weights(operator.inputs[0])
            continue
        result = layers[operator.kind](operator, tensors.get(operator.inputs[0]))
        _, rows, columns, maps = model.values[operator.outputs[0]].shape
        if (result.channels, result.height, result.width) != (maps, rows, columns):
            raise ValueError(f"Layer {operator.kind} gives {result}; it must give {rows} x {columns} x {maps}")
        tensors[operator.outputs[0]] = result
    x = tensors[model.output]
    return graph.serialize(x, [1, x.channels, x.height, x.width])
