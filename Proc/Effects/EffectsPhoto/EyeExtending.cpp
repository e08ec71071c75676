// EyeExtending: enlarges both eyes. An ellipse is fitted to each eye. Inside 1.2 times the ellipse the picture is
// magnified, more across the eye than along it; beyond that the magnification falls linearly to none at three times the
// ellipse.

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <tuple>
#include <utility>

#include "Host/Settings/Common/SettingsEffectRemapping.h"
#include "Host/Settings/Photo/SettingsEffectEyeExtending.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/Patches.h"
#include "Proc/Effects/EffectsPhoto/Shared/Rectangles.h"

namespace Orvexa::Proc {
namespace {

constexpr float kFadesFrom = 1.2f, kFadesTo = 3.0f;  // relative to the ellipse
// Scale of the eye in the source at full strength. Narrow eyes are enlarged more across than round ones, and the
// enlargement along the eye is derived from that.
constexpr double kLeastAcross = 0.6, kMostAcross = 0.8, kLeastAlong = 0.3, kAlongPerRoundness = 0.5;
constexpr std::size_t kSecondCorner = 3;

struct Ellipse {
    float centerX, centerY;
    float cosine, sine;   // of the axis between the corners
    float along, across;  // semi-axes
};

// None for an eye whose corners coincide, or with too few points.
std::optional<Ellipse> FitTo(const Contour& contour) {
    if (contour.size() <= kSecondCorner) return std::nullopt;
    const auto x = [&](std::size_t i) { return static_cast<float>(contour[i].x); };
    const auto y = [&](std::size_t i) { return static_cast<float>(contour[i].y); };
    Ellipse eye{};
    eye.centerX = (x(0) + x(kSecondCorner)) * 0.5f;
    eye.centerY = (y(0) + y(kSecondCorner)) * 0.5f;
    const float cornerX = x(kSecondCorner) - eye.centerX, cornerY = y(kSecondCorner) - eye.centerY;
    eye.along = std::sqrt(cornerX * cornerX + cornerY * cornerY);
    if (!(eye.along > 0.0f)) return std::nullopt;
    eye.cosine = cornerX / eye.along;
    eye.sine = cornerY / eye.along;
    float sum = 0.0f;
    int count = 0;
    for (std::size_t i = 0; i < contour.size(); ++i) {
        const float dx = x(i) - eye.centerX, dy = y(i) - eye.centerY;
        const float u = dx * eye.cosine + dy * eye.sine, v = dy * eye.cosine - dx * eye.sine;
        if (i % kSecondCorner == 0 || !(std::abs(u) < eye.along)) continue;
        sum += std::sqrt(v * v / (1.0f - u * u / (eye.along * eye.along)));
        ++count;
    }
    eye.across = count == 0 ? eye.along : std::min(sum / static_cast<float>(count), eye.along);
    return eye;
}

// Computes the source positions of the pixels around an eye.
class Magnifier {
public:
    Magnifier(const Ellipse& eye, double strength) : eye_(eye) {
        const double roundness = 2.0f * eye.across / eye.along;
        across_ = static_cast<float>(1.0 + (std::clamp(roundness, kLeastAcross, kMostAcross) - 1.0) * strength);
        const double share = std::max(kLeastAlong, kAlongPerRoundness * eye.across / eye.along);
        along_ = static_cast<float>(1.0 + (across_ - 1.0) * share);
    }

    std::pair<float, float> SourceOf(float x, float y) const {
        const float dx = x - eye_.centerX, dy = y - eye_.centerY;
        const float u = (dx * eye_.cosine + dy * eye_.sine) / eye_.along,
                    v = (dy * eye_.cosine - dx * eye_.sine) / eye_.across;
        const float r = std::sqrt(u * u + v * v);
        const float alongNow = u * FactorAt(r, along_) * eye_.along, acrossNow = v * FactorAt(r, across_) * eye_.across;
        const float sourceX = alongNow * eye_.cosine - acrossNow * eye_.sine + eye_.centerX,
                    sourceY = alongNow * eye_.sine + acrossNow * eye_.cosine + eye_.centerY;
        return {r > kFadesTo ? x : sourceX, r > kFadesTo ? y : sourceY};
    }

    // The pixels of a row that may move, from `first` to before `end`; all others certainly do not.
    struct Span {
        int first, end;
    };
    Span SpanOf(int y, int width) const {
        constexpr double kBeyondFade = 1.001 * kFadesTo;
        const double c = eye_.cosine / eye_.along, s = eye_.sine / eye_.along, d = eye_.cosine / eye_.across,
                     t = eye_.sine / eye_.across, dy = y - eye_.centerY;
        // r^2 = square dx^2 + 2 linear dx + rest
        const double square = c * c + t * t, linear = (c * s - d * t) * dy, rest = (s * s + d * d) * dy * dy;
        const double discriminant = linear * linear - square * (rest - kBeyondFade * kBeyondFade);
        if (!(discriminant > 0.0)) return {0, 0};
        const double middle = eye_.centerX - linear / square, half = std::sqrt(discriminant) / square;
        const auto clip = [width](double x) { return static_cast<int>(std::clamp<double>(x, 0, width)); };
        return {clip(middle - half), clip(middle + half + 1.0)};
    }

private:
    static float FactorAt(float r, float whole) {
        const float fading = whole + (1.0f - whole) * (r - kFadesFrom) / (kFadesTo - kFadesFrom);
        return r <= kFadesFrom ? whole : fading;
    }

    Ellipse eye_;
    float along_, across_;
};

// The part of a frame that the magnification reaches.
CropInfo BoxOf(const Ellipse& eye, const FrameInfo& info) {
    const float ac = eye.along * eye.cosine, as = eye.along * eye.sine, bc = eye.across * eye.cosine,
                bs = eye.across * eye.sine;
    const float reachX = kFadesTo * std::max(std::abs(ac - bs), std::abs(ac + bs)),
                reachY = kFadesTo * std::max(std::abs(-bc - as), std::abs(bc - as));
    const auto clip = [](float position, std::uint32_t side) {
        return static_cast<std::uint32_t>(std::clamp(std::trunc(position), 0.0f, static_cast<float>(side)));
    };
    return {clip(eye.centerX - reachX, info.width), clip(eye.centerX + reachX + 1.0f, info.width),
            clip(eye.centerY - reachY, info.height), clip(eye.centerY + reachY + 1.0f, info.height)};
}

class EyeExtending : public EffectBaseOneInput<SettingsEffectEyeExtending> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        if (frame->GetPixFmt() == PixFmt::Pal8) converter_.Convert(frame, PixFmt::Rgba);  // it mixes colours
        converter_.Prepare(frame->GetPixFmt());
        const Eyes eyes = settings_.GetEyes();
        if (eyes.IsEmpty()) return;
        std::array ellipses{FitTo(eyes.GetFirst().GetContour()), FitTo(eyes.GetSecond().GetContour())};
        float along = 0.0f, across = 0.0f;
        for (const auto& eye : ellipses) {
            along = std::max(along, eye ? eye->along : 0.0f);
            across = std::max(across, eye ? eye->across : 0.0f);
        }
        if (!(across > 0.0f)) return;
        MakeWritable(frame);
        for (auto& eye : ellipses) {
            if (!eye) continue;
            eye->along = along;
            eye->across = across;
            Enlarge(*eye, frame);
        }
    }

    void Enlarge(Ellipse eye, const FramePtr& frame) {
        const CropInfo box = Shared::AlignedToChroma(BoxOf(eye, frame->GetFrameInfo()), frame->GetPixFmt());
        if (Shared::IsEmpty(box)) return;
        FramePtr patch = Shared::ViewOf(*frame, box);
        eye.centerX -= static_cast<float>(box.left);
        eye.centerY -= static_cast<float>(box.top);
        SettingsEffectRemapping remapping;
        remapping.SetRowFunction([shared = Magnifier(eye, settings_.GetStrength())](int y, int width, float* sourceX,
                                                                                    float* sourceY) {
            const Magnifier magnifier = shared;  // a local copy that the stores of positions cannot alias
            const auto [first, end] = magnifier.SpanOf(y, width);
            for (int x = 0; x < width; ++x) sourceX[x] = static_cast<float>(x);
            std::fill(sourceY, sourceY + width, static_cast<float>(y));
            for (int x = first; x < end; ++x) {
                const std::pair<float, float> source = magnifier.SourceOf(static_cast<float>(x), static_cast<float>(y));
                sourceX[x] = source.first;
                sourceY[x] = source.second;
            }
        });
        remapper_->SetSettings(remapping);
        remapper_->ProcessData(patch);
        converter_.Convert(patch, frame->GetPixFmt());
        CopyDataVideo(patch, frame, static_cast<int>(box.left), static_cast<int>(box.top));
    }

    OneInputPtr remapper_ = CreateOneInput<SettingsEffectRemapping>();
    Shared::FormatConverter converter_{CreateOneInput<SettingsColorspaceConverter>()};
};

}  // namespace

bool RegisterEyeExtending(IEffectFactory& factory) { return RegisterEffect<EyeExtending>(factory); }

}  // namespace Orvexa::Proc
