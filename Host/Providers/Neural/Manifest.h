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
    std::size_t count = 0;  ///< of the values that the network must give; 0 for images and maps, of any size

    std::size_t GetChannelsCount() const { return channels == Channels::Grey ? 1 : 3; }
};

/// The networks that find faces and tell them apart.
enum class FaceNet : std::uint8_t { Detector, Landmarks, Descriptor };

/// The entry for a type, a model identifier or a network of faces. What the manifest in `root` lacks, the installed one
/// gives; with an empty `root` that is the only one. `EffectException` names the file and says what is wrong: a missing
/// folder or manifest, a manifest with any mistake in it, an entry that both lack, an entry whose output is not what it
/// is asked for, a missing model.
Model FindModel(const Core::ioPath& root, NeuralType type);
Model FindModel(const Core::ioPath& root, ModelFileId id);
Model FindModel(const Core::ioPath& root, FaceNet net);

}  // namespace Orvexa::Proc::Neural
