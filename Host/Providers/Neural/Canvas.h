// A picture of any format, prepared for and assembled from the output of a network that produces a picture.
//
// Networks see only colours or luma. The rest is taken from the picture itself, enlarged if the result is larger:
// alpha, and chroma if the network produces luma. Grey pictures stay grey.
#pragma once

#include <algorithm>
#include <opencv2/core.hpp>

#include "Host/Proc/IEffectFactory.h"
#include "Host/Providers/Neural/Inference.h"

namespace Orvexa::Proc::Neural {

/// The two of `count` nodes between which a position lies, in units of nodes from the centre of the first one.
/// Positions beyond the outermost nodes are clamped to them.
struct Between {
    int first, second;
    float part;  ///< of the way to the second

    Between(float place, int count) {
        const float inside = std::clamp(place, 0.0f, static_cast<float>(count - 1));
        first = static_cast<int>(inside);
        second = std::min(first + 1, count - 1);
        part = inside - static_cast<float>(first);
    }
    /// The position of a pixel's centre when `count` nodes are spread evenly over `pixels` pixels.
    static Between OfPixel(int pixel, int pixels, int count) {
        return {(static_cast<float>(pixel) + 0.5f) * static_cast<float>(count) / static_cast<float>(pixels) - 0.5f,
                count};
    }
};

class Canvas {
public:
    /// `frame` is only read. `enlarges` is the factor by which the result is larger.
    Canvas(const ConstFramePtr& frame, const Model& model, int enlarges, const FactoryPtr& factory,
           const AllocatorPtr& allocator);

    /// The picture in the working format.
    const ConstFramePtr& GetPicture() const { return picture_; }
    const Model& GetModel() const { return model_; }
    /// The network's input channels, taken from a frame in that format.
    ConstSamples GetInput(const IDataVideo& frame) const;
    ConstSamples GetInput() const { return GetInput(*picture_); }

    /// Initialises the result with the picture, for a network that produces only a part of it.
    void CopyPicture() const;
    /// Writes a part of a network's output (1 x channels x height x width values), beginning at `from`, as levels to
    /// `to`, a part of the result. Several threads may write parts that do not overlap.
    void Write(const cv::Mat& values, const cv::Point& from, const cv::Rect& to) const;
    /// Writes levels 0..255: `level(x, channel)` for the pixels of a row from `x` on, with the network's channels.
    template <class Level>
    void WriteRow(int y, int x, int width, Level&& level) const;

    /// The result in the frame's own format.
    FramePtr GetResult() const;

private:
    const Model& model_;
    const AllocatorPtr allocator_;
    const PixFmt format_;  // of the result
    ConstFramePtr picture_;
    FramePtr result_;
    Samples<Plane> output_;
    bool isGreyOfColors_;  // colours are converted to a single grey channel
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
