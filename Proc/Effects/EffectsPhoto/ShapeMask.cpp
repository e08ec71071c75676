// ShapeMask: replaces a picture by a grey mask of its size: one value inside an ellipse or a rectangle, another far
// outside, and a cubic falloff in between. The settings map pixels to a space in which the shape is the unit disc or
// the unit square. Large masks are evaluated at a fraction of their size and scaled up.

#include <algorithm>
#include <cmath>
#include <memory>

#include "Host/Core/Exception.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectShapeMask.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Arithmetic.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"

namespace Orvexa::Proc {
namespace {

using Point = SettingsEffectShapeMask::Point;

constexpr std::uint32_t kEvaluatedSide = 256;  // minimum shorter side of a reduced mask, in pixels
constexpr double kWideExtent = 3.0;

double OuterExtent(const SettingsEffectShapeMask& settings) {
    switch (settings.GetThresholdMode()) {
        case ShapeMaskThresholdMode::Absolute: return settings.GetThreshold();
        case ShapeMaskThresholdMode::Relative:
            return settings.GetThreshold() / std::min(settings.GetHeight(), settings.GetWidth());
        default: return kWideExtent;
    }
}

// A shape's mask value at a normalised point. The values inside the shape and outside the falloff are read from the
// settings at the time of the call, which the effect may have reset; the falloff keeps those that it was created with.
class Impl {
public:
    explicit Impl(const SettingsEffectShapeMask& settings)
        : extent_(OuterExtent(settings)),
          settings_(settings),
          falloff_{static_cast<double>(settings.GetForeground()), static_cast<double>(settings.GetBackground()),
                   settings.GetForegroundTilt() / (1 / (extent_ - 1)),
                   settings.GetBackgroundTilt() / (1 / (extent_ - 1))} {}
    virtual ~Impl() = default;
    virtual std::uint8_t Value(const Point& point) const = 0;

protected:
    std::uint8_t Foreground() const { return settings_.GetForeground(); }
    std::uint8_t Background() const { return settings_.GetBackground(); }

    // The falloff at a distance beyond the shape of 0..extent - 1; an overshooting curve is clamped. In a shape of zero
    // width or height positions and slopes may be NaN, which counts as outside.
    std::uint8_t Falloff(double distance) const {
        if (distance < 0) return static_cast<std::uint8_t>(falloff_.start);
        const double value = falloff_.At(distance / (extent_ - 1));
        if (distance > extent_ - 1 || std::isnan(value)) return static_cast<std::uint8_t>(falloff_.end);
        return static_cast<std::uint8_t>(Shared::RoundHalfAway(std::clamp(value, 0.0, 255.0)));
    }

    const double extent_;

private:
    const SettingsEffectShapeMask& settings_;
    const Shared::HermiteRamp falloff_;
};

class ImplEllipse final : public Impl {
public:
    explicit ImplEllipse(const SettingsEffectShapeMask& settings) : Impl(settings), squaredExtent_(extent_ * extent_) {}

    std::uint8_t Value(const Point& point) const override {
        const double squaredRadius = point.first * point.first + point.second * point.second;
        if (squaredRadius <= 1) return Foreground();
        if (squaredRadius >= squaredExtent_) return Background();
        return Falloff(std::sqrt(squaredRadius) - 1);
    }

private:
    double squaredExtent_;
};

class ImplRectangle final : public Impl {
public:
    using Impl::Impl;

    std::uint8_t Value(const Point& point) const override {
        const double x = std::abs(point.first), y = std::abs(point.second);
        if (x <= 1 && y <= 1) return Foreground();
        if (x >= extent_ || y >= extent_) return Background();
        if (y <= 1) return Falloff(x - 1);
        if (x <= 1) return Falloff(y - 1);
        const double distance = std::sqrt((y - 1) * (y - 1) + (x - 1) * (x - 1));
        return distance >= extent_ - 1 ? Background() : Falloff(distance);
    }
};

// The integer factor by which the picture's size is reduced for evaluating the mask.
std::uint32_t ReductionFactor(const FrameInfo& info) {
    const std::uint32_t factor = std::min(info.width / kEvaluatedSide, info.height / kEvaluatedSide);
    if (factor < 1 || std::min(info.width / factor, info.height / factor) < kEvaluatedSide) return 1;
    return factor;
}

class ShapeMask : public EffectBaseOneInput<SettingsEffectShapeMask> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

private:
    static constexpr FrameInfo kNoInfo{0, 0, {0, 0}};

    void ApplySettings(bool) override {
        maskInfo_ = kNoInfo;
        isForegroundOnly_ = settings_.IsForegroundOnly();
        isBackgroundOnly_ = settings_.IsBackgroundOnly();
        switch (settings_.GetShape()) {  // any other number keeps the current shape
            case ShapeMaskShape::Ellipse:
            case ShapeMaskShape::Circle: shape_ = std::make_unique<ImplEllipse>(settings_); break;
            case ShapeMaskShape::Rectangle:
            case ShapeMaskShape::Square: shape_ = std::make_unique<ImplRectangle>(settings_); break;
        }
    }

    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        if (isForegroundOnly_ || isBackgroundOnly_) {
            const std::uint8_t value = isForegroundOnly_ ? settings_.GetForeground() : settings_.GetBackground();
            FramePtr plain = NewFrame(allocator_, PixFmt::Gray8, info);
            plain->Fill(Color(value, value, value, 255));
            frame = std::move(plain);
            return;
        }
        if (shape_ == nullptr) Throw("Settings are not set!");
        const std::uint32_t factor = ReductionFactor(info);
        const FrameInfo reduced(info.width / factor, info.height / factor, info.aspect);
        if (info != maskInfo_) {
            maskInfo_ = info;
            normalizer_ = settings_.GetNormalizer({reduced.width, reduced.height});
        }
        FramePtr mask = Evaluate(reduced);
        resizer_->SetSettings(SettingsResizer(SettingsResizer::ResizeMethods::FastBilinear,
                                              SettingsResizer::kExactSizeAlias, Shared::RoundUpToEven(info)));
        if (reduced != info) {
            resizer_->ProcessData(mask);
            mask->Crop(0, 0, info.width, info.height);
        }
        frame = std::move(mask);
    }

    FramePtr Evaluate(const FrameInfo& info) const {
        FramePtr mask = NewFrame(allocator_, PixFmt::Gray8, info);
        const Plane plane = mask->GetPlane(0);
        for (std::uint32_t y = 0; y < info.height; ++y) {
            std::uint8_t* row = plane.GetRow(y);
            for (std::uint32_t x = 0; x < info.width; ++x) row[x] = shape_->Value(normalizer_({x, y}));
        }
        return mask;
    }

    FrameInfo maskInfo_ = kNoInfo;
    OneInputPtr resizer_ = CreateOneInput<SettingsResizer>();
    std::unique_ptr<Impl> shape_;
    SettingsEffectShapeMask::Normalizer normalizer_;
    bool isForegroundOnly_ = false;
    bool isBackgroundOnly_ = false;
};

}  // namespace

bool RegisterShapeMask(IEffectFactory& factory) { return RegisterEffect<ShapeMask>(factory); }

}  // namespace Orvexa::Proc
