// Neural networks that answer questions about pictures. Those that produce pictures are run by sub-effects
// (`SettingsEffectDeepNeuralProcessor`).
//
// The runtime is a separate library, loaded when a network is first requested. The networks are files in a models
// folder, whose manifest describes each network's input and output; see docs/models.md.
#pragma once

#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

#include "Host/Conf/NeuralNames.h"
#include "Host/Core/Path.h"
#include "Host/Proc/IData.h"

namespace Orvexa::Proc::Neural {

/// The question that a network answers. Each type has one kind of result.
enum class NeuralType : std::int32_t {
    Adjustments = 0,       ///< six adjustment values: float vector
    TiltAngle = 1,         ///< tilt of the horizon: double
    EnhancementFlag = 5,   ///< which kind of enhancement suits the picture: flag
    HorizonFlag = 6,       ///< whether there is a horizon: flag
    ImageScore = 7,        ///< how good the picture is: double
    SegmentationMask = 8,  ///< opacity of the subject at 320 x 320 pixels: byte vector, row by row
};

/// Sides of the mask of `NeuralType::SegmentationMask`, in pixels.
inline constexpr std::uint32_t kMaskSize = 320;

/// Number of values of `NeuralType::Adjustments`.
inline constexpr std::size_t kAdjustmentsCount = 6;

/// Sizes of a face's data: its points, and the values that identify it.
inline constexpr std::size_t kLandmarksCount = 68, kDescriptorSize = 128;

/// The result of a network. A getter for another kind of result throws `EffectException`.
class NeuralResult {
public:
    using Value = std::variant<std::vector<float>, std::vector<unsigned char>, bool, double>;

    explicit NeuralResult(Value value) : value_(std::move(value)) {}
    std::vector<float> GetFloatVectorResult() const;
    std::vector<unsigned char> GetUint8VectorResult() const;
    bool GetBool() const;
    double GetDouble() const;

private:
    Value value_;
};

/// A loaded network, to be used by one caller at a time.
class NeuralBase {
public:
    virtual ~NeuralBase() = default;
    /// Runs the network on the picture in any format, scaled to the network's input size. The frame is not modified.
    /// Throws `EffectException` if the network cannot take the picture or returns other values than its manifest
    /// declares.
    virtual std::shared_ptr<NeuralResult> Process(FramePtr& frame) = 0;
};

/// The network of a type. An empty `modelsRoot` stands for `GetModelsDirectory()`, which also supplies entries that the
/// manifest in another folder lacks. A missing or damaged manifest or model, or an unknown type or implementation,
/// throws `EffectException`.
std::shared_ptr<NeuralBase> CreateNeural(NeuralType type, ImplName impl, const Core::ioPath& modelsRoot);

/// Throws `EffectException` if there is no runtime of that name.
void RequireImplementation(ImplName impl);

/// The models folder of the installation that the host library belongs to.
Core::ioPath GetModelsDirectory();

}  // namespace Orvexa::Proc::Neural
