// Pictures through the networks of a manifest.
#pragma once

#include <opencv2/core.hpp>

#include "Host/Proc/Plane.h"
#include "Host/Providers/Neural/Manifest.h"

namespace Orvexa::Proc::Neural {

/// The plane's samples as 1 x channels x height x width numbers, each (level - mean) * scale as the model's entry
/// says. A plane for colour networks has three bytes a pixel, red first; one for grey networks has one.
cv::Mat MakeBlob(const ConstPlane& plane, const Model& model);

/// What the model makes of the input: numbers that are finite, as many as its entry asks for. Otherwise
/// `EffectException` names the file. Safe to call from several threads.
cv::Mat Infer(const Model& model, const cv::Mat& input);

/// As `Infer`, of a picture of three bytes a pixel, red first.
cv::Mat InferPicture(const Model& model, const cv::Mat& picture);

}  // namespace Orvexa::Proc::Neural
