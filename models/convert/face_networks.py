"""The three networks for faces. Each takes a picture's planes, red first, as (level - mean) / 255; the means are in
models.json. The structures are those of the source's documentation and weights."""

from graph import Graph


def detector(weights, size=512):
    """Boxes of faces: for each cell of 32 x 32 pixels five boxes of x, y, width, height, certainty.

    A small net of the YOLO v2 kind (J. Redmon, A. Farhadi: YOLO9000, CVPR 2017). Takes any size."""
    graph = Graph("face-detector", 3, size, size)

    def leaky(x):
        return graph.elementwise("LeakyRelu", x, alpha=0.1)

    x = leaky(graph.convolution(graph.input, weights["conv0/filters"], weights["conv0/bias"], padding="valid"))
    for i in range(1, 6):
        x = graph.max_pool(x, 2, 2, "same")
        layer = f"conv{i}/"
        x = graph.separable(
            x, weights[layer + "depthwise_filter"], weights[layer + "pointwise_filter"], weights[layer + "bias"]
        )
        x = leaky(x)
    x = graph.max_pool(x, 2, 1, "same")
    x = graph.convolution(x, weights["conv8/filters"], weights["conv8/bias"])
    return graph.serialize(x, [1, x.channels, x.height, x.width])


def landmarks(weights):
    """68 points of a face that fills a square of 112 pixels: x and y in turn, as parts of the side.

    Four densely connected blocks (G. Huang et al.: Densely Connected Convolutional Networks, CVPR 2017) of separable
    convolutions."""
    graph = Graph("face-landmarks", 3, 112, 112)

    def separable(x, layer, stride=1):
        return graph.separable(
            x, weights[layer + "depthwise_filter"], weights[layer + "pointwise_filter"], weights[layer + "bias"], stride
        )

    x = graph.input
    for block in range(4):
        layer = f"dense{block}/conv"
        if block == 0:
            x = graph.convolution(x, weights[layer + "0/filters"], weights[layer + "0/bias"], stride=2)
        else:
            x = separable(x, layer + "0/", stride=2)
        x = graph.elementwise("Relu", x)
        x = graph.elementwise("Add", x, separable(x, layer + "1/"))
        for i in (2, 3):
            x = graph.elementwise("Add", x, separable(graph.elementwise("Relu", x), f"{layer}{i}/"))
        x = graph.elementwise("Relu", x)
    x = graph.average_pool(x, 7, 2)
    x = graph.dense(x, weights["fc/weights"], weights["fc/bias"])
    return graph.serialize(x, [1, x.channels])


def descriptor(weights):
    """128 values that are near each other for pictures of the same person, from an upright face of 150 pixels.

    A residual network (K. He et al.: Deep Residual Learning for Image Recognition, CVPR 2016). The factors after each
    convolution stay layers of their own, so that the kernels keep their 256 levels and pack well."""
    graph = Graph("face-descriptor", 3, 150, 150)

    def layer(x, name, stride=1, padding="same"):
        x = graph.convolution(
            x, weights[name + "/conv/filters"], weights[name + "/conv/bias"], stride, padding
        )  # fmt: skip
        return graph.scale_channels(x, weights[name + "/scale/weights"], weights[name + "/scale/biases"])

    def relu(x):
        return graph.elementwise("Relu", x)

    def keep(x, name):
        return relu(graph.elementwise("Add", layer(relu(layer(x, name + "/conv1")), name + "/conv2"), x))

    def halve(x, name):
        """Half the size; where the channels grow, the shortcut has zeros in the new ones."""
        y = layer(relu(layer(x, name + "/conv1", 2, "valid")), name + "/conv2")
        shortcut = graph.average_pool(x, 2, 2)
        if shortcut.height > y.height:
            y = graph.pad(y, bottom=shortcut.height - y.height, right=shortcut.width - y.width)
        if y.channels > shortcut.channels:
            shortcut = graph.pad(shortcut, channels=y.channels - shortcut.channels)
        return relu(graph.elementwise("Add", shortcut, y))

    x = graph.max_pool(relu(layer(graph.input, "conv32_down", 2, "valid")), 3, 2)
    for channels, blocks in ((32, 3), (64, 3), (128, 2), (256, 2)):
        if channels > 32:
            x = halve(x, f"conv{channels}_down")
        for i in range(1, blocks + 1):
            x = keep(x, f"conv{channels}_{i}")
    x = graph.global_average(halve(x, "conv256_down_out"))
    x = graph.dense(x, weights["fc"])
    return graph.serialize(x, [1, x.channels])
