// Pixelate: scales the picture down and up again with another method, so that every block becomes one flat cell. The
// scale follows the strength along a cubic, level at both ends, from the full size at 0 to a shorter side of 32 cells
// at 100.

#include <algorithm>

#include "Host/Settings/Photo/SettingsEffectPixelate.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/Hermite.h"

namespace Orvexa::Proc {
namespace {

constexpr char kLogFile[] = "Proc/Effects/EffectsPhoto/Pixelate.cpp";
constexpr int kScaleLine = 81;

constexpr double kFewestCells = 32.0;
// 100 / (strength + 1) at the strengths 100 and 0, and the way between them.
constexpr double kAtFullStrength = 0.9900990099009901, kAtNoStrength = 100.0, kSpan = 99.00990099009901;

// A shorter side of less than 32 pixels is enlarged, which a very long side bounds: no frame can be larger.
double BoundedScale(double scale, const FrameInfo& info) {
    return std::min(scale, static_cast<double>(kMaxFrameSide) / std::max(info.width, info.height));
}

double ScaleOf(double strength, const FrameInfo& info) {
    const double smallest = kFewestCells / std::min(info.width, info.height);
    const double p = 100.0 / (strength + 1.0);
    if (p < kAtFullStrength) return smallest;
    if (p > kAtNoStrength) return 1.0;
    const double t = (p - kAtFullStrength) / kSpan;
    const auto basis = Shared::HermiteBasis(t);
    return smallest * basis[0] + basis[2];
}

class Pixelate : public EffectBaseOneInput<SettingsEffectPixelate> {
public:
    Pixelate(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : EffectBaseOneInput(factory, allocator),
          reducer_(CreateOneInput(SettingsResizer::CLASS_ID)),
          enlarger_(CreateOneInput(SettingsResizer::CLASS_ID)) {}

    /// Forces reconfiguration on the next frame; the settings stay.
    void ResetSettings() override { configuredInfo_ = kNoInfo; }

private:
    static constexpr FrameInfo kNoInfo{0, 0, {0, 0}};

    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        if (info != configuredInfo_) Configure(info);
        reducer_->ProcessData(frame);
        enlarger_->ProcessData(frame);
        frame->Crop(0, 0, info.width, info.height);
    }

    void Configure(const FrameInfo& info) {
        configuredInfo_ = info;
        SettingsResizer resizing(settings_.GetMethodDownscale());
        resizing.SetAccurate(true);
        resizing.SetFullChroma(true);
        const double scale = BoundedScale(ScaleOf(settings_.GetStrength(), info), info);
        google::LogMessage(kLogFile, kScaleLine).stream() << "Pixelate scale: " << scale;
        resizing.SetCustomScale(scale);
        reducer_->SetSettings(resizing);
        resizing.SetResizeMethod(settings_.GetMethodUpscale());
        resizing.SetCustomMode(SettingsResizer::kExactSizeAlias, info);
        enlarger_->SetSettings(resizing);
    }

    OneInputPtr reducer_;
    OneInputPtr enlarger_;
    FrameInfo configuredInfo_ = kNoInfo;
};

}  // namespace

OneInputPtr CreatePixelate(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<Pixelate>(factory, allocator);
}

}  // namespace Orvexa::Proc
