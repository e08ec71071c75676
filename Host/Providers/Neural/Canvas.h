// A picture of any format on its way through a network that makes a picture of it.
//
// Networks see colours or luma alone. The rest comes from the picture itself, enlarged where the result is larger:
// alpha, and chroma where the network makes luma. Grey pictures stay grey.
#pragma once

#include <algorithm>
#include <opencv2/core.hpp>

#include "Host/Proc/IEffectFactory.h"
#include "Host/Providers/Neural/Inference.h"

namespace Orvexa::Proc::Neural {

/// Between which two of `count` nodes a place is, counted in nodes from the first one's middle. Beyond the outermost
/// nodes it is at these.
struct Between {
    int first, second;
    float part;  ///< of the way to the second

    Between(float place, int count) {
        const float inside = std::clamp(place, 0.0f, static_cast<float>(count - 1));
        first = static_cast<int>(inside);
        second = std::min(first + 1, count - 1);
        part = inside - static_cast<float>(first);
    }
    /// The middle of a pixel where as many nodes as `count` share the length of `pixels`.
    static Between OfPixel(int pixel, int pixels, int count) {
        return {(static_cast<float>(pixel) + 0.5f) * static_cast<float>(count) / static_cast<float>(pixels) - 0.5f,
                count};
    }
};

class Canvas {
public:
    /// `frame` is only read. `enlarges` tells how many times as large the result is.
    Canvas(const ConstFramePtr& frame, const Model& model, int enlarges, const FactoryPtr& factory,
           const AllocatorPtr& allocator);

    /// The picture, in the format that is worked in.
    const ConstFramePtr& GetPicture() const { return picture_; }
    const Model& GetModel() const { return model_; }
    /// What the network's channels are of a frame in that format.
    ConstSamples GetInput(const IDataVideo& frame) const;
    ConstSamples GetInput() const { return GetInput(*picture_); }

    /// Fills the result with the picture, for a network that gives only a part of it.
    void CopyPicture() const;
    /// Writes the part `from` .. of what a network gave, 1 x channels x height x width values, as levels into `to`, a
    /// part of the result. Several threads may write parts that do not overlap.
    void Write(const cv::Mat& values, const cv::Point& from, const cv::Rect& to) const;
    /// Writes levels 0..255, `level(x, channel)` for the pixels of a row from `x` on, channels being the network's.
    template <class Level>
    void WriteRow(int y, int x, int width, Level&& level) const;

    /// The result, in the frame's own format.
    FramePtr GetResult() const;

private:
    const Model& model_;
    const AllocatorPtr allocator_;
    const PixFmt format_;  // of the result
    ConstFramePtr picture_;
    FramePtr result_;
    Samples<Plane> output_;
    bool isGreyOfColors_;  // the network's channels are mixed into one
};

/// The level 0..255 nearest to a value.
inline std::uint8_t ToLevel(float value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0f, 255.0f) + 0.5f); }

template <class Level>
void Canvas::WriteRow(int y, int x, int width, Level&& level) const {
    constexpr float kLuma[] = {0.299f, 0.587f, 0.114f};
    const auto step = static_cast<std::size_t>(output_.plane.GetBytesPerPixel());
    std::uint8_t* const row = output_.plane.GetOffsetPtr(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
    if (isGreyOfColors_) {
        const bool isBlueFirst = model_.channels == Channels::Bgr;
        const float first = kLuma[isBlueFirst ? 2 : 0], last = kLuma[isBlueFirst ? 0 : 2];
        for (int i = 0; i < width; ++i)
            row[i] = ToLevel(first * level(i, 0) + kLuma[1] * level(i, 1) + last * level(i, 2));
        return;
    }
    for (int c = 0; c < static_cast<int>(model_.GetChannelsCount()); ++c) {
        std::uint8_t* sample = row + output_.bytes[static_cast<std::size_t>(c)];
        for (int i = 0; i < width; ++i, sample += step) *sample = ToLevel(level(i, c));
    }
}

}  // namespace Orvexa::Proc::Neural
