// OilPaint: hands the picture to the host's painter, large ones at a half, a quarter, ... of their size, so that
// strokes are of a visible size and the painter's work is bounded.

#include <algorithm>

#include "Host/Settings/Common/SettingsEffectOilPaint.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

constexpr std::uint32_t kMaxPaintedSide = 2048;  // of the shorter sides

constexpr std::uint32_t RoundUpToEven(std::uint32_t side) { return side + side % 2; }

class OilPaint : public EffectBaseOneInput<SettingsEffectOilPaint> {
public:
    OilPaint(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : EffectBaseOneInput(factory, allocator),
          painter_(CreateOneInput(SettingsEffectOilPaint::CLASS_ID, ImplPhotoNames::IMAGEMAGICK)),
          reducer_(CreateOneInput(SettingsResizer::CLASS_ID)),
          enlarger_(CreateOneInput(SettingsResizer::CLASS_ID)) {}

    /// Forces reconfiguration on the next frame; the settings stay.
    void ResetSettings() override { configuredInfo_ = kNoInfo; }

private:
    static constexpr FrameInfo kNoInfo{0, 0, {0, 0}};

    void ProcessInternalImpl(FramePtr& frame) override {
        const FrameInfo info = frame->GetFrameInfo();
        const FrameInfo evenInfo(RoundUpToEven(info.width), RoundUpToEven(info.height), info.aspect);
        if (evenInfo != configuredInfo_) Configure(evenInfo);
        if (isReduced_) reducer_->ProcessData(frame);
        painter_->ProcessData(frame);
        if (!isReduced_) return;
        enlarger_->ProcessData(frame);
        frame->Crop(0, 0, info.width, info.height);
    }

    void Configure(const FrameInfo& info) {
        painter_->SetSettings(settings_);
        configuredInfo_ = info;
        SettingsResizer resizing(SettingsResizer::ResizeMethods::Bicubic);
        resizing.SetCustomMode(SettingsResizer::kExactSizeAlias, info);
        enlarger_->SetSettings(resizing);

        FrameInfo painted = info;
        isReduced_ = false;
        while (std::min(painted.width, painted.height) > kMaxPaintedSide) {
            isReduced_ = true;
            painted.width /= 2;
            painted.height /= 2;
        }
        resizing.SetResizeMethod(SettingsResizer::ResizeMethods::FastBilinear);
        resizing.SetCustomMode(SettingsResizer::kFitInside, painted);
        reducer_->SetSettings(resizing);
    }

    OneInputPtr painter_;
    OneInputPtr reducer_;
    OneInputPtr enlarger_;
    FrameInfo configuredInfo_ = kNoInfo;
    bool isReduced_ = false;
};

}  // namespace

OneInputPtr CreateOilPaint(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<OilPaint>(factory, allocator);
}

}  // namespace Orvexa::Proc
