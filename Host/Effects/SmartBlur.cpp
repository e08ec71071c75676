// SmartBlur: smooths areas of low variance and keeps those of high variance.
//
// A guided filter with the picture as its own guide (K. He, J. Sun, X. Tang, "Guided image filtering", IEEE TPAMI
// 35(6), 2013): in every window the picture is replaced by a * picture + (1 - a) * mean, a = variance / (variance +
// tolerance), so that windows with an edge keep it. With infinite tolerance the filter becomes two box filters. Its
// cost does not depend on the radius. In a transparent picture all means are weighted by alpha.

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "Host/Effects/PlanesEffect.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"

namespace Orvexa::Proc {
namespace {

constexpr double kPercent = 100.0;
constexpr double kMaxRadius = 14.0;  // pixels
constexpr double kToleranceAtHalf =
    48.0;  // levels: the standard deviation of an edge of which half remains at 50 percent
constexpr double kSharpenDeviation = 1.5;  // pixels

struct Strength {
    int radius, blur, sharpen;
    bool operator==(const Strength&) const = default;
    bool IsNeutral() const { return (radius <= 0 || blur <= 0) && sharpen <= 0; }
};

// `blur` applied to weighted values; without weights all count equally. The result is 0 where all weights are 0.
template <class Blur>
cv::Mat WeightedMean(const cv::Mat& values, const cv::Mat& weights, Blur&& blur) {
    constexpr double kNothing = 1e-6;  // a sample of the lowest alpha counts 1/255 in a window of up to 29 x 29 = 841
    return weights.empty() ? blur(values) : cv::Mat(blur(values.mul(weights)) / cv::max(blur(weights), kNothing));
}

// One byte per sample; `weights` are 0..1 or empty; `shift`: log2 of the plane's subsampling.
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

class SmartBlur : public PlanesEffect<SettingsEffectSmartBlur> {
public:
    using PlanesEffect::PlanesEffect;

protected:
    bool Prepare(const IDataVideo&) override {
        luma_ = {settings_.GetLumaRadius(), settings_.GetLumaBlur(), settings_.GetLumaSharpen()};
        chroma_ = {settings_.GetChromaRadius(), settings_.GetChromaBlur(), settings_.GetChromaSharpen()};
        return !luma_.IsNeutral() || !chroma_.IsNeutral();
    }

    // Packed pixels have to be separated into luma and chroma.
    PixFmt GetWorkingFormat(const PixFmtDescription& format) const override {
        return luma_ == chroma_ || format.GetRole(0) == PlaneRole::Luma ? ExpandedFormat(format.pixFmt)
                                                                        : format.GetFinestPlanar();
    }

    bool IsKept(PlaneRole role) const override { return role == PlaneRole::Alpha || StrengthOf(role).IsNeutral(); }

    void ProcessPlane(const PlaneTask& plane) const override {
        cv::Mat weights;
        plane.GetOpacity().convertTo(weights, CV_32F, 1.0 / 255.0);
        plane.ChangeColors([&](const cv::Mat& samples) {
            return Smoothed(samples, weights, StrengthOf(plane.role), std::max(plane.shiftX, plane.shiftY));
        });
    }

private:
    const Strength& StrengthOf(PlaneRole role) const { return role == PlaneRole::Chroma ? chroma_ : luma_; }

    Strength luma_{}, chroma_{};
};

}  // namespace

OneInputPtr CreateSmartBlur(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<SmartBlur>(factory, allocator);
}

}  // namespace Orvexa::Proc
