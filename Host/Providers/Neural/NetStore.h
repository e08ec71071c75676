// Networks that were read from ONNX files, kept for the next one who asks.
#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Core/Path.h"

namespace Orvexa::Proc::Neural {

/// Reads the file, unless the process holds it already. `EffectException` if it is not an ONNX model with one output.
void LoadNet(const Core::ioPath& file);

/// What the network in the file makes of `input`, 1 x channels x height x width numbers. Any thread may call it at any
/// time; the result does not depend on the number of threads. `EffectException` names the file if it cannot be read or
/// does not take the input.
cv::Mat RunNet(const Core::ioPath& file, const cv::Mat& input);

/// "1 x 3 x 112 x 112"
std::string ShapeOf(const cv::Mat& blob);

}  // namespace Orvexa::Proc::Neural
