// Pictures through the networks of a manifest.
#pragma once

#include <array>
#include <opencv2/core.hpp>

#include "Host/Proc/Plane.h"
#include "Host/Providers/Neural/Manifest.h"
#include "Host/Providers/Neural/NetStore.h"

namespace Orvexa::Proc::Neural {

/// The samples of a plane that are a network's channels: byte `bytes[c]` of each pixel for channel c.
template <class PlaneT>
struct Samples {
    PlaneT plane;
    std::array<int, 3> bytes = {0, 0, 0};
};
using ConstSamples = Samples<ConstPlane>;

/// Those of a plane of one byte a pixel, or of three with red first, in the order of the model's channels.
ConstSamples SamplesOf(const ConstPlane& plane, const Model& model);

/// The samples in `area` as 1 x channels x height x width numbers, each (level - mean) * scale as the model's entry
/// says. Beyond its edges the picture is mirrored, as often as it takes, without repeating the edge.
cv::Mat MakeBlob(const ConstSamples& samples, const Model& model, const cv::Rect& area);

/// The whole plane.
cv::Mat MakeBlob(const ConstPlane& plane, const Model& model);

/// What the model makes of the input: numbers that are finite, as many as its entry asks for. Otherwise
/// `EffectException` names the file. Safe to call from several threads.
cv::Mat Infer(const Model& model, Nets& nets, const cv::Mat& input);
cv::Mat Infer(const Model& model, const cv::Mat& input);

/// As `Infer`, of a picture of three bytes a pixel, red first.
cv::Mat InferPicture(const Model& model, const cv::Mat& picture);

}  // namespace Orvexa::Proc::Neural
