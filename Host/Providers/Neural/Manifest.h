// The manifest of a folder of models: how each network is fed and what its output means.
#pragma once

#include <cstdint>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Proc/Neural.h"

namespace Orvexa::Proc::Neural {

enum class Channels : std::uint8_t { Rgb, Bgr, Grey };
enum class OutputKind : std::uint8_t { Floats, Bytes, Flag, Double, Image };

/// One entry of the manifest.
struct Model {
    Core::ioPath file;
    std::uint32_t width = 0, height = 0;  ///< of the network's input in pixels; 0 x 0 for the frame's own
    Channels channels = Channels::Rgb;
    std::vector<double> mean, scale;  ///< one number a channel; the network gets (level - mean) * scale
    OutputKind output = OutputKind::Floats;
    double outputScale = 1.0, outputOffset = 0.0;  ///< the result is value * outputScale + outputOffset
    std::size_t count = 0;  ///< of the values that the network must give; 0 for an image, which may have any size

    std::size_t GetChannelsCount() const { return channels == Channels::Grey ? 1 : 3; }
};

/// The entry for a type or a model identifier. `EffectException` names the file and says what is wrong: a missing
/// folder or manifest, a manifest with any mistake in it, a missing entry, an entry whose output is not what the type
/// stands for, a missing model.
Model FindModel(const Core::ioPath& root, NeuralType type);
Model FindModel(const Core::ioPath& root, ModelFileId id);

}  // namespace Orvexa::Proc::Neural
