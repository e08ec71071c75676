// A cache of networks loaded from ONNX files.
#pragma once

#include <exception>
#include <memory>
#include <opencv2/core.hpp>
#include <string>

#include "Host/Core/Exception.h"
#include "Host/Core/Path.h"

namespace Orvexa::Proc::Neural {

/// Loads the file unless it is cached already. Throws `EffectException` if it is not an ONNX model with one output.
void LoadNet(const Core::ioPath& file);

/// The instances of one file's network, for callers with several inputs: as many as there are threads running them.
/// They are kept between inputs whatever their size, and returned to the cache at the end.
class Nets {
public:
    explicit Nets(const Core::ioPath& file);
    ~Nets();
    Nets(const Nets&) = delete;
    Nets& operator=(const Nets&) = delete;

    /// The network's output for `input`, 1 x channels x height x width numbers. Thread safe; the result does not depend
    /// on the number of threads. Throws `EffectException` naming the file if it cannot be read or does not accept the
    /// input, and `std::bad_alloc` if memory is short, after emptying the cache.
    cv::Mat Run(const cv::Mat& input);

private:
    struct Crew;
    const std::unique_ptr<Crew> crew_;
};

/// Whether the exception, from OpenCV or elsewhere, reports a lack of memory.
bool IsOutOfMemory(const std::exception& exception);

/// "1 x 3 x 112 x 112"
std::string ShapeOf(const cv::Mat& blob);

}  // namespace Orvexa::Proc::Neural
