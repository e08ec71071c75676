// The manifest of a folder of models: how each network is fed and what its output means.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Proc/Neural.h"

namespace Orvexa::Proc::Neural {

enum class Channels : std::uint8_t { Rgb, Bgr, Grey };
enum class OutputKind : std::uint8_t { Floats, Bytes, Flag, Double, Image, Grid };

/// By how much a model may enlarge pictures.
inline constexpr std::uint32_t kMaxModelScale = 16;

/// One entry of the manifest.
struct Model {
    bool isBuiltIn = false;  ///< an estimator of the host's stands for the network, and what follows is not given
    Core::ioPath file;
    std::uint32_t width = 0, height = 0;  ///< of the network's input in pixels; 0 x 0 for the frame's own
    Channels channels = Channels::Rgb;
    std::vector<double> mean, scale;  ///< one number a channel; the network gets (level - mean) * scale
    OutputKind output = OutputKind::Floats;
    double outputScale = 1.0, outputOffset = 0.0;  ///< the result is value * outputScale + outputOffset
    std::size_t count = 0;  ///< of the values that the network must give; 0 for images and maps, of any size

    // Of images.
    std::optional<std::uint32_t> reach;     ///< in pixels around one, which decide it; without it all of them do
    std::uint32_t multiple = 1;             ///< of which the sides of the network's input are
    std::optional<std::uint32_t> enlarges;  ///< the result is so many times as large
    std::uint32_t longest = 0;              ///< the longest side, in pixels, for which the network is made; 0 for any

    /// By how much it enlarges: its entry says so, else `byDefault`, which throws `EffectException`
    /// if it is not from 1 to `kMaxModelScale`.
    int GetEnlargement(int byDefault) const;

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
