#include "Host/Providers/Neural/Inference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>

#include "Host/Providers/Neural/NetStore.h"

namespace Orvexa::Proc::Neural {

cv::Mat MakeBlob(const ConstPlane& plane, const Model& model) {
    const std::size_t channels = model.GetChannelsCount(), width = plane.GetPixelsPerRow(), height = plane.GetHeight();
    const int shape[] = {1, static_cast<int>(channels), static_cast<int>(height), static_cast<int>(width)};
    cv::Mat blob(4, shape, CV_32F);
    auto* value = blob.ptr<float>();
    for (std::size_t c = 0; c < channels; ++c) {
        std::array<float, 256> levels;
        for (std::size_t i = 0; i < levels.size(); ++i) {
            levels[i] = static_cast<float>((static_cast<double>(i) - model.mean[c]) * model.scale[c]);
        }
        const std::size_t sample = model.channels == Channels::Bgr ? 2 - c : c;
        for (std::size_t y = 0; y < height; ++y) {
            const std::uint8_t* pixel = plane.GetRow(y) + sample;
            for (std::size_t x = 0; x < width; ++x, pixel += channels) *value++ = levels[*pixel];
        }
    }
    return blob;
}

cv::Mat Infer(const Model& model, const cv::Mat& input) {
    cv::Mat output = RunNet(model.file, input);
    const std::string gives = "The model " + model.file.string() + " gives ";
    if (output.empty()) Throw(gives + "no result!");
    if (model.count != 0 && output.total() != model.count)
        Throw(gives + std::to_string(output.total()) + " values; it must give " + std::to_string(model.count) + "!");
    const auto* values = output.ptr<float>();
    if (!std::all_of(values, values + output.total(), [](float value) { return std::isfinite(value); }))
        Throw(gives + "values that are not numbers!");
    return output;
}

cv::Mat InferPicture(const Model& model, const cv::Mat& picture) {
    const auto width = static_cast<std::uint64_t>(picture.cols), height = static_cast<std::uint64_t>(picture.rows);
    const ConstPlane plane(picture.data, static_cast<std::int64_t>(picture.step), 3 * width, height, 3, false);
    if (model.channels != Channels::Grey) return Infer(model, MakeBlob(plane, model));
    cv::Mat grey;
    cv::cvtColor(picture, grey, cv::COLOR_RGB2GRAY);
    return Infer(model, MakeBlob({grey.data, static_cast<std::int64_t>(grey.step), width, height, 1, false}, model));
}

}  // namespace Orvexa::Proc::Neural
