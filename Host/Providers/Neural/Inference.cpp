#include "Host/Providers/Neural/Inference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

namespace Orvexa::Proc::Neural {

ConstSamples SamplesOf(const ConstPlane& plane, const Model& model) {
    if (plane.GetBytesPerPixel() == 1) return {plane, {0, 0, 0}};
    return {plane, model.channels == Channels::Bgr ? std::array{2, 1, 0} : std::array{0, 1, 2}};
}

cv::Mat MakeBlob(const ConstSamples& samples, const Model& model, const cv::Rect& area) {
    const ConstPlane& plane = samples.plane;
    const auto pixelOf = [](int position, std::uint64_t length) {
        return cv::borderInterpolate(position, static_cast<int>(length), cv::BORDER_REFLECT_101);
    };
    std::vector<std::size_t> columns;  // bytes from the start of a row
    for (int x = area.x; x < area.x + area.width; ++x)
        columns.push_back(static_cast<std::size_t>(pixelOf(x, plane.GetPixelsPerRow())) * plane.GetBytesPerPixel());
    const std::size_t channels = model.GetChannelsCount();
    const int shape[] = {1, static_cast<int>(channels), area.height, area.width};
    cv::Mat blob;
    blob.create(4, shape, CV_32F);  // the constructor would leak memory if it throws
    auto* value = blob.ptr<float>();
    for (std::size_t c = 0; c < channels; ++c) {
        std::array<float, 256> levels;
        for (std::size_t i = 0; i < levels.size(); ++i) {
            levels[i] = static_cast<float>((static_cast<double>(i) - model.mean[c]) * model.scale[c]);
        }
        for (int y = area.y; y < area.y + area.height; ++y) {
            const std::uint8_t* row =
                plane.GetRow(static_cast<std::uint64_t>(pixelOf(y, plane.GetHeight()))) + samples.bytes[c];
            for (const std::size_t column : columns) *value++ = levels[row[column]];
        }
    }
    return blob;
}

cv::Mat MakeBlob(const ConstPlane& plane, const Model& model) {
    return MakeBlob(SamplesOf(plane, model), model,
                    {0, 0, static_cast<int>(plane.GetPixelsPerRow()), static_cast<int>(plane.GetHeight())});
}

cv::Mat Infer(const Model& model, Nets& nets, const cv::Mat& input) {
    cv::Mat output = nets.Run(input);
    const std::string gives = "The model " + model.file.string() + " gives ";
    if (output.empty()) Throw(gives + "no result!");
    if (model.count != 0 && output.total() != model.count)
        Throw(gives + std::to_string(output.total()) + " values; it must give " + std::to_string(model.count) + "!");
    const auto* values = output.ptr<float>();
    if (!std::all_of(values, values + output.total(), [](float value) { return std::isfinite(value); }))
        Throw(gives + "values that are not numbers!");
    return output;
}

cv::Mat Infer(const Model& model, const cv::Mat& input) {
    Nets nets(model.file);
    return Infer(model, nets, input);
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
