// TiltShift: blends a blurred copy of the picture over it through a mask that is transparent where the picture stays in
// focus.
//
// The copy is blurred at a size of at most 1024 x 768; the blur hides the lost detail, and its cost is bounded for
// every picture.
//
// Mask and blur are deliberately not updated when the settings change: the blur keeps the strength that it was created
// with, and the mask depends only on the picture's geometry.

#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"
#include "Host/Settings/Photo/SettingsEffectTiltShift.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"
#include "Proc/Effects/EffectsPhoto/Shared/FormatConverter.h"
#include "Proc/Effects/EffectsPhoto/Shared/LayerMask.h"
#include "Proc/Effects/EffectsPhoto/Shared/Reduction.h"

namespace Orvexa::Proc {
namespace {

constexpr int kBlurRadius = 100;  // percent, the host's largest
constexpr std::uint32_t kBlurredWidth = 1024, kBlurredHeight = 768;
constexpr std::uint32_t kMinResizedWidth = 5;  // narrower pictures are blurred at full size

class TiltShift : public EffectBaseOneInput<SettingsEffectTiltShift> {
public:
    TiltShift(const FactoryPtr& factory, const AllocatorPtr& allocator) : EffectBaseOneInput(factory, allocator) {
        SettingsEffectSmartBlur blur;
        blur.SetLumaRadius(kBlurRadius);
        blur.SetChromaRadius(kBlurRadius);
        blur.SetLumaBlur(settings_.GetBlur());
        blur.SetChromaBlur(settings_.GetBlur());
        blur.SetLumaSharpen(settings_.GetSharpen());
        blur.SetChromaSharpen(settings_.GetSharpen());
        smartBlur_->SetSettings(blur);
    }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        MakeWritable(frame);
        FramePtr blurred = frame;
        Blur(blurred);
        converter_.Convert(blurred, frame->GetPixFmt());
        MakeMask(blurred);
        mask_.PrepareFor(frame->GetPixFmt());
        alphaInserter_->ProcessData(blurred, ConstFramePtr(mask_.Get()));
        mask_.AttachTo(*blurred);
        blender_->ProcessData(frame, ConstFramePtr(blurred));
    }

    void Blur(FramePtr& picture) {
        const FrameInfo info = picture->GetFrameInfo();
        const bool isResized = info.width >= kMinResizedWidth;
        if (isResized) {
            if (!mask_.IsFor(info)) {
                using Methods = SettingsResizer::ResizeMethods;
                reduction_.Configure(
                    {Methods::FastBilinear, SettingsResizer::kFitInside, FrameInfo(kBlurredWidth, kBlurredHeight)},
                    {Methods::BicubicLuma, SettingsResizer::kExactSize, Shared::RoundUpToEven(info)});
            }
            reduction_.Reduce(picture);
        }
        smartBlur_->ProcessData(picture);
        if (isResized) reduction_.Enlarge(picture, info);
    }

    void MakeMask(const FramePtr& blurred) {
        if (mask_.IsFor(blurred->GetFrameInfo())) return;
        shapeMask_->SetSettings(settings_.GetShape());
        FramePtr mask = blurred;
        shapeMask_->ProcessData(mask);
        mask_.Set(std::move(mask));
    }

    Shared::FormatConverter converter_{CreateOneInput<SettingsColorspaceConverter>()};
    OneInputPtr smartBlur_ = CreateOneInput<SettingsEffectSmartBlur>();
    OneInputPtr shapeMask_ = CreateOneInput<SettingsEffectShapeMask>();
    TwoInputPtr blender_ = CreateTwoInput(SettingsEffectImageBlender(0, 0, 255, BlendAlphaMode::IgnoreAlpha));
    Shared::LayerMask mask_{CreateOneInput(SettingsEffectExtraAlphaExtractor(PixFmt::None))};
    TwoInputPtr alphaInserter_ = CreateTwoInput(SettingsEffectAlphaInserter());
    Shared::Reduction reduction_{CreateOneInput<SettingsResizer>(), CreateOneInput<SettingsResizer>()};
};

}  // namespace

bool RegisterTiltShift(IEffectFactory& factory) { return RegisterEffect<TiltShift>(factory); }

}  // namespace Orvexa::Proc
