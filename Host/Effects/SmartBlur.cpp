// SmartBlur: smooths what varies little and keeps what varies much.
//
// A guided filter with the picture as its own guide (K. He, J. Sun, X. Tang, "Guided image filtering", IEEE TPAMI
// 35(6), 2013): in every window the picture is replaced by a * picture + (1 - a) * mean, a = variance / (variance +
// tolerance), so that windows with an edge keep it. With an endless tolerance the filter becomes two box filters. Its
// cost does not depend on the radius. In a transparent picture all means are weighted by alpha.

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "Host/Conf/PixFmtDescription.h"
#include "Host/Effects/ConvertPixFmt.h"
#include "Host/Effects/HostEffect.h"
#include "Host/Effects/Mats.h"
#include "Host/Effects/Transparency.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"

namespace Orvexa::Proc {
namespace {

constexpr double kPercent = 100.0;
constexpr double kMaxRadius = 14.0;  // pixels
constexpr double kToleranceAtHalf =
    48.0;  // levels: the standard deviation of an edge of which half survives at 50 percent
constexpr double kSharpenDeviation = 1.5;  // pixels

struct Strength {
    int radius, blur, sharpen;
    bool operator==(const Strength&) const = default;
    bool IsNeutral() const { return (radius <= 0 || blur <= 0) && sharpen <= 0; }
};

// `blur` of values, each counted by its weight; without weights all count alike. Where none counts, the result is 0.
template <class Blur>
cv::Mat WeightedMean(const cv::Mat& values, const cv::Mat& weights, Blur&& blur) {
    constexpr double kNothing = 1e-6;  // a sample of the lowest alpha counts 1/255 in a window of up to 29 x 29 = 841
    return weights.empty() ? blur(values) : cv::Mat(blur(values.mul(weights)) / cv::max(blur(weights), kNothing));
}

// One byte a sample; `weights` are 0..1 or empty; `shift`: log2 of how coarse the samples are against the picture's
// pixels.
cv::Mat Smoothed(const cv::Mat& samples, const cv::Mat& weights, const Strength& strength, int shift) {
    cv::Mat picture;
    samples.convertTo(picture, CV_32F);
    const int radius =
        static_cast<int>(std::lround(std::clamp(strength.radius / kPercent, 0.0, 1.0) * kMaxRadius)) >> shift;
    if (radius > 0 && strength.blur > 0) {
        const cv::Size window(2 * radius + 1, 2 * radius + 1);
        const auto mean = [&](const cv::Mat& values) {
            return WeightedMean(values, weights, [&](const cv::Mat& of) {
                cv::Mat result;
                cv::boxFilter(of, result, CV_32F, window, cv::Point(-1, -1), true, cv::BORDER_REFLECT_101);
                return result;
            });
        };
        const cv::Mat average = mean(picture);
        if (strength.blur >= kPercent) {
            picture = mean(average);
        } else {
            const double share = strength.blur / kPercent;
            const double tolerance = kToleranceAtHalf * share / (1.0 - share);
            cv::Mat kept = mean(picture.mul(picture)) - average.mul(average);
            kept = cv::max(kept, 0.0f);
            kept = kept / (kept + tolerance * tolerance);
            picture = mean(kept).mul(picture) + mean(average - kept.mul(average));
        }
    }
    if (strength.sharpen > 0) {
        const cv::Mat soft = WeightedMean(picture, weights, [](const cv::Mat& of) {
            cv::Mat result;
            cv::GaussianBlur(of, result, cv::Size(), kSharpenDeviation, kSharpenDeviation, cv::BORDER_REFLECT_101);
            return result;
        });
        picture += (picture - soft) * (strength.sharpen / kPercent);
    }
    cv::Mat result;
    picture.convertTo(result, CV_8U);
    return result;
}

class SmartBlur : public HostOneInput<SettingsEffectSmartBlur> {
public:
    using HostOneInput::HostOneInput;

protected:
    void Process(FramePtr& frame) override {
        const Strength luma{settings_.GetLumaRadius(), settings_.GetLumaBlur(), settings_.GetLumaSharpen()};
        const Strength chroma{settings_.GetChromaRadius(), settings_.GetChromaBlur(), settings_.GetChromaSharpen()};
        if (luma.IsNeutral() && chroma.IsNeutral()) return;
        const PixFmt format = frame->GetPixFmt();
        if (format == PixFmt::Pal8) frame = ConvertPixFmt(*frame, PixFmt::Rgba, allocator_);
        const PixFmtDescription& description = PixFmtDescription::Get(frame->GetPixFmt());
        const bool isPacked = description.kind == PixFmtDescription::Kind::Packed;
        if (isPacked && luma != chroma) {  // luma and chroma have to be taken apart
            FramePtr apart =
                ConvertPixFmt(*frame, description.HasAlpha() ? PixFmt::Yuva444p : PixFmt::Yuv444p, allocator_);
            Smooth(apart, luma, chroma);
            frame = ConvertPixFmt(*apart, description.pixFmt, allocator_);
        } else {
            Smooth(frame, luma, chroma);
        }
    }

private:
    // Alpha stays as it is.
    void Smooth(FramePtr& frame, const Strength& luma, const Strength& chroma) const {
        const PixFmtDescription& description = PixFmtDescription::Get(frame->GetPixFmt());
        const FramePtr smooth = NewFrame(allocator_, frame->GetPixFmt(), frame->GetFrameInfo());
        const bool isTransparent = IsTransparent(*frame);
        for (std::uint8_t i = 0; i < description.planes; ++i) {
            const cv::Mat source = AsMat(std::as_const(*frame).GetPlane(i));
            cv::Mat target = AsMat(smooth->GetPlane(i));
            std::vector<cv::Mat> channels;
            cv::split(source, channels);
            cv::Mat weights;
            if (isTransparent) AlphaOnGridOf(*frame, i).convertTo(weights, CV_32F, 1.0 / 255.0);
            const Strength& strength = description.IsChroma(i) ? chroma : luma;
            for (int channel = 0; channel < static_cast<int>(channels.size()); ++channel) {
                const bool isAlpha =
                    i == 3 || (description.alpha == channel && description.kind == PixFmtDescription::Kind::Packed);
                if (!isAlpha && !strength.IsNeutral()) {
                    channels[static_cast<std::size_t>(channel)] =
                        Smoothed(channels[static_cast<std::size_t>(channel)], weights, strength,
                                 std::max(description.GetShiftX(i), description.GetShiftY(i)));
                }
            }
            cv::merge(channels, target);
        }
        frame = smooth;
    }
};

}  // namespace

OneInputPtr CreateSmartBlur(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<SmartBlur>(factory, allocator);
}

}  // namespace Orvexa::Proc
