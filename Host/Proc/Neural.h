// Neural networks that answer questions about pictures. Those that make pictures are run by sub-effects
// (`SettingsEffectDeepNeuralProcessor`).
//
// What runs them is a library of its own, loaded when a network is first asked for. The networks are files in a folder
// of models, whose manifest describes each network's input and output; docs/models.md describes it.
#pragma once

#include <cstdint>
#include <memory>
#include <variant>
#include <vector>

#include "Host/Conf/NeuralNames.h"
#include "Host/Core/Path.h"
#include "Host/Proc/IData.h"

namespace Orvexa::Proc::Neural {

/// What a network is asked for. Each type has one kind of result.
enum class NeuralType : std::int32_t {
    Adjustments = 0,       ///< six adjustment values: float vector
    TiltAngle = 1,         ///< by how much the horizon is tilted: double
    EnhancementFlag = 5,   ///< which way of enhancing fits the picture: flag
    HorizonFlag = 6,       ///< whether there is a horizon: flag
    ImageScore = 7,        ///< how good the picture is: double
    SegmentationMask = 8,  ///< how much each of 320 x 320 pixels belongs to the subject: byte vector, row by row
};

/// Sides of the mask of `NeuralType::SegmentationMask`, in pixels.
inline constexpr std::uint32_t kMaskSize = 320;

/// Number of values of `NeuralType::Adjustments`.
inline constexpr std::size_t kAdjustmentsCount = 6;

/// What is known of a face: points, and values that identify it.
inline constexpr std::size_t kLandmarksCount = 68, kDescriptorSize = 128;

/// What a network found. A getter of another kind than the network's throws `EffectException`.
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

/// A loaded network. One caller uses it at a time.
class NeuralBase {
public:
    virtual ~NeuralBase() = default;
    /// Runs the network on the picture in any format, scaled to the network's input size. The frame is not modified. A
    /// network that cannot take the picture, or gives other values than its manifest promises, throws
    /// `EffectException`.
    virtual std::shared_ptr<NeuralResult> Process(FramePtr& frame) = 0;
};

/// The network of a type. An empty `modelsRoot` stands for `GetModelsDirectory()`, which also gives what the manifest
/// in another folder lacks. A missing or damaged manifest or model, or an unknown type or implementation, throws
/// `EffectException`.
std::shared_ptr<NeuralBase> CreateNeural(NeuralType type, ImplName impl, const Core::ioPath& modelsRoot);

/// Throws `EffectException` if nothing of that name runs networks.
void RequireImplementation(ImplName impl);

/// The folder of models of the installation that the host library belongs to.
Core::ioPath GetModelsDirectory();

}  // namespace Orvexa::Proc::Neural
