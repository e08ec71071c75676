// The manifest of a models folder, which describes each network's input and output.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Host/Core/Path.h"
#include "Host/Proc/Neural.h"

namespace Orvexa::Proc::Neural {

enum class Channels : std::uint8_t { Rgb, Bgr, Grey };
enum class OutputKind : std::uint8_t { Floats, Bytes, Flag, Double, Image, Grid };

/// The largest factor by which a model may enlarge pictures.
inline constexpr std::uint32_t kMaxModelScale = 16;

/// One entry of the manifest.
struct Model {
    bool isBuiltIn = false;  ///< a built-in estimator replaces the network; the members below are unset
    Core::ioPath file;
    std::uint32_t width = 0, height = 0;  ///< of the network's input in pixels; 0 x 0 for the frame's own size
    Channels channels = Channels::Rgb;
    std::vector<double> mean, scale;  ///< one number per channel; the network gets (level - mean) * scale
    OutputKind output = OutputKind::Floats;
    double outputScale = 1.0, outputOffset = 0.0;  ///< the result is value * outputScale + outputOffset
    std::size_t count = 0;  ///< of values that the network must return; 0 for images and maps, of any size

    // For images:
    std::optional<std::uint32_t> reach;     ///< radius in pixels of the receptive field; without it, unlimited
    std::uint32_t multiple = 1;             ///< the sides of the network's input are multiples of this
    std::optional<std::uint32_t> enlarges;  ///< factor by which the result is larger
    std::uint32_t longest = 0;              ///< the longest side, in pixels, that the network supports; 0 for any

    /// The enlargement factor: from its entry, else `byDefault`; throws `EffectException` unless that is from 1 to
    /// `kMaxModelScale`.
    int GetEnlargement(int byDefault) const;

    std::size_t GetChannelsCount() const { return channels == Channels::Grey ? 1 : 3; }
};

/// The networks that detect and identify faces.
enum class FaceNet : std::uint8_t { Detector, Landmarks, Descriptor };

/// The entry for a type, a model identifier or a face network. Entries that the manifest in `root` lacks are taken from
/// the installed one; with an empty `root` that is the only one. Throws `EffectException`, naming the file and the
/// problem, for a missing folder or manifest, a manifest with any mistake in it, an entry that both lack, an entry
/// whose output is not of the requested kind, or a missing model file.
Model FindModel(const Core::ioPath& root, NeuralType type);
Model FindModel(const Core::ioPath& root, ModelFileId id);
Model FindModel(const Core::ioPath& root, FaceNet net);

}  // namespace Orvexa::Proc::Neural
