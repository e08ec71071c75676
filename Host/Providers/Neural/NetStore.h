// Networks that were read from ONNX files, kept for the next one who asks.
#pragma once

#include <exception>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Core/Path.h"

namespace Orvexa::Proc::Neural {

/// Reads the file, unless the process holds it already. `EffectException` if it is not an ONNX model with one output.
void LoadNet(const Core::ioPath& file);

/// The networks of one file for whoever has several inputs for them: as many as threads run them at a time. They are
/// kept from input to input whatever their size, and go back to the store in the end.
class Nets {
public:
    explicit Nets(const Core::ioPath& file);
    ~Nets();
    Nets(const Nets&) = delete;
    Nets& operator=(const Nets&) = delete;

    /// What the network makes of `input`, 1 x channels x height x width numbers. Any thread may call it at any time;
    /// the result does not depend on the number of threads. `EffectException` names the file if it cannot be read or
    /// does not take the input; `std::bad_alloc` where memory is short, and then the store has been emptied.
    cv::Mat Run(const cv::Mat& input);

private:
    struct Crew;
    const std::unique_ptr<Crew> crew_;
};

/// Whether OpenCV, or anyone else, complains that memory is short.
bool IsOutOfMemory(const std::exception& exception);

/// "1 x 3 x 112 x 112"
std::string ShapeOf(const cv::Mat& blob);

}  // namespace Orvexa::Proc::Neural
