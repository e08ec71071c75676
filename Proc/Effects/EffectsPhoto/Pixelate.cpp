// Pixelate: scales the picture down, and up again with another method, so that every block becomes one flat cell. The
// scale depends on the strength through a cubic with zero slope at both ends, from the full size at 0 to a shorter side
// of 32 cells at 100.

#include <algorithm>

#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"

namespace Orvexa::Proc {
namespace {

constexpr char kLogFile[] = "Proc/Effects/EffectsPhoto/Pixelate.cpp";
constexpr int kScaleLine = 81;

constexpr double kFewestCells = 32.0;
// 100 / (strength + 1) at the strengths 100 and 0, and the difference between them.
constexpr double kAtFullStrength = 0.9900990099009901, kAtNoStrength = 100.0, kSpan = 99.00990099009901;

// A shorter side below 32 pixels is enlarged, unless a very long side would exceed the largest frame.
double BoundedScale(double scale, const FrameInfo& info) {
    return std::min(scale, static_cast<double>(kMaxFrameSide) / std::max(info.width, info.height));
}

double ScaleOf(double strength, const FrameInfo& info) {
    const double smallest = kFewestCells / std::min(info.width, info.height);
    const double p = 100.0 / (strength + 1.0);
    if (p < kAtFullStrength) return smallest;
    if (p > kAtNoStrength) return 1.0;
    const double t = (p - kAtFullStrength) / kSpan;
    return Shared::HermiteRamp{smallest, 1.0}.At(t);
}

class Pixelate : public EffectBaseOneInput<SettingsEffectPixelate> {
public:
    using EffectBaseOneInput::EffectBaseOneInput;

    /// Forces reconfiguration on the next frame; keeps the settings.
    void ResetSettings() override { reduction_.Forget(); }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        if (reduction_.IsNew(info)) Configure(info);
        reduction_.Reduce(frame);
        reduction_.Enlarge(frame, info);
    }

    void Configure(const FrameInfo& info) {
        SettingsResizer reduction(settings_.GetMethodDownscale());
        reduction.SetAccurate(true);
        reduction.SetFullChroma(true);
        const double scale = BoundedScale(ScaleOf(settings_.GetStrength(), info), info);
        google::LogMessage(kLogFile, kScaleLine).stream() << "Pixelate scale: " << scale;
        reduction.SetCustomScale(scale);
        SettingsResizer enlargement = reduction;
        enlargement.SetResizeMethod(settings_.GetMethodUpscale());
        enlargement.SetCustomMode(SettingsResizer::kExactSizeAlias, info);
        reduction_.Configure(reduction, enlargement);
    }

    Shared::Reduction reduction_{CreateOneInput<SettingsResizer>(), CreateOneInput<SettingsResizer>()};
};

}  // namespace

bool RegisterPixelate(IEffectFactory& factory) { return RegisterEffect<Pixelate>(factory); }

}  // namespace Orvexa::Proc
