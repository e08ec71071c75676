// Runs pictures through the networks of a manifest.
#pragma once

#include <array>
#include <opencv2/core.hpp>

#include "Host/Proc/Plane.h"
#include "Host/Providers/Neural/Manifest.h"
#include "Host/Providers/Neural/NetStore.h"

namespace Orvexa::Proc::Neural {

/// The samples of a plane that make up a network's channels: byte `bytes[c]` of each pixel for channel c.
template <class PlaneT>
struct Samples {
    PlaneT plane;
    std::array<int, 3> bytes = {0, 0, 0};
};
using ConstSamples = Samples<ConstPlane>;

/// The samples of a plane with one byte per pixel, or three with red first, in the order of the model's channels.
ConstSamples SamplesOf(const ConstPlane& plane, const Model& model);

/// The samples in `area` as 1 x channels x height x width numbers, each (level - mean) * scale according to the model's
/// entry. Beyond its edges the picture is mirrored, repeatedly if necessary, without repeating the edge.
cv::Mat MakeBlob(const ConstSamples& samples, const Model& model, const cv::Rect& area);

/// The whole plane.
cv::Mat MakeBlob(const ConstPlane& plane, const Model& model);

/// The model's output for `input`: finite numbers, as many as its entry requires. Otherwise throws `EffectException`
/// naming the file. Thread safe.
cv::Mat Infer(const Model& model, Nets& nets, const cv::Mat& input);
cv::Mat Infer(const Model& model, const cv::Mat& input);

/// As `Infer`, for a picture with three bytes per pixel, red first.
cv::Mat InferPicture(const Model& model, const cv::Mat& picture);

}  // namespace Orvexa::Proc::Neural
