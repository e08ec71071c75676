// TiltShift: lays a blurred copy of the picture over it through a mask that is clear where the picture stays in focus.
//
// The copy is blurred at a size of at most 1024 x 768, which hides in the blur and makes its cost the same for every
// picture.
//
// Mask and blur are deliberately not renewed when the settings change: the blur keeps the strength that it was created
// with, and the mask follows the picture's geometry alone.

#include "Host/Proc/VideoFrame.h"
#include "Host/Settings/Common/SettingsEffectAlpha.h"
#include "Host/Settings/Common/SettingsEffectImageBlender.h"
#include "Host/Settings/Common/SettingsEffectSmartBlur.h"
#include "Host/Settings/Common/SettingsResizer.h"
#include "Host/Settings/Photo/SettingsEffectTiltShift.h"
#include "Proc/Effects/EffectsPhoto/EffectBase.h"

namespace Orvexa::Proc {
namespace {

constexpr int kBlurRadius = 100;  // percent, the host's largest
constexpr std::uint32_t kBlurredWidth = 1024, kBlurredHeight = 768;
constexpr std::uint32_t kMinResizedWidth = 5;  // narrower pictures are blurred as they are

constexpr std::uint32_t RoundUpToEven(std::uint32_t side) { return side + side % 2; }

class TiltShift : public EffectBaseOneInput<SettingsEffectTiltShift> {
public:
    TiltShift(const FactoryPtr& factory, const AllocatorPtr& allocator)
        : EffectBaseOneInput(factory, allocator),
          converter_(CreateOneInput(SettingsColorspaceConverter::CLASS_ID)),
          smartBlur_(CreateOneInput(SettingsEffectSmartBlur::CLASS_ID)),
          shapeMask_(CreateOneInput(SettingsEffectShapeMask::CLASS_ID)),
          blender_(CreateTwoInput(SettingsEffectImageBlender::CLASS_ID)),
          extraAlphaExtractor_(CreateOneInput(SettingsEffectExtraAlphaExtractor::CLASS_ID)),
          alphaInserter_(CreateTwoInput(SettingsEffectAlphaInserter::CLASS_ID)),
          reducer_(CreateOneInput(SettingsResizer::CLASS_ID)),
          enlarger_(CreateOneInput(SettingsResizer::CLASS_ID)) {
        SettingsEffectSmartBlur blur;
        blur.SetLumaRadius(kBlurRadius);
        blur.SetChromaRadius(kBlurRadius);
        blur.SetLumaBlur(settings_.GetBlur());
        blur.SetChromaBlur(settings_.GetBlur());
        blur.SetLumaSharpen(settings_.GetSharpen());
        blur.SetChromaSharpen(settings_.GetSharpen());
        smartBlur_->SetSettings(blur);
        SettingsEffectImageBlender blending;
        blending.SetAlphaMode(BlendAlphaMode::IgnoreAlpha);
        blender_->SetSettings(blending);
        extraAlphaExtractor_->SetSettings(SettingsEffectExtraAlphaExtractor(PixFmt::None));
        alphaInserter_->SetSettings(SettingsEffectAlphaInserter());
    }

private:
    void ProcessInternalImpl(FramePtr& frame) override {
        MakeWritable(frame);
        FramePtr blurred = frame;
        Blur(blurred);
        ConvertTo(frame->GetPixFmt(), blurred);
        MakeMasks(frame->GetPixFmt(), blurred);
        alphaInserter_->ProcessData(blurred, ConstFramePtr(mask_));
        ShareExtraAlpha(*blurred, 0, mask_);
        ShareExtraAlpha(*blurred, 1, chromaMask_);
        blender_->ProcessData(frame, ConstFramePtr(blurred));
    }

    void Blur(FramePtr& picture) {
        const FrameInfo info = picture->GetFrameInfo();
        const bool isResized = info.width >= kMinResizedWidth;
        if (isResized) {
            if (!HasMaskFor(info)) ConfigureResizers(info);
            reducer_->ProcessData(picture);
        }
        smartBlur_->ProcessData(picture);
        if (isResized) enlarger_->ProcessData(picture);
        picture->Crop(0, 0, info.width, info.height);
    }

    bool HasMaskFor(const FrameInfo& info) const { return mask_ != nullptr && mask_->GetFrameInfo() == info; }

    void ConfigureResizers(const FrameInfo& info) {
        SettingsResizer reduction(SettingsResizer::ResizeMethods::FastBilinear);
        reduction.SetCustomMode(SettingsResizer::kFitInside, FrameInfo(kBlurredWidth, kBlurredHeight));
        reducer_->SetSettings(reduction);
        SettingsResizer enlargement(SettingsResizer::ResizeMethods::BicubicLuma);
        enlargement.SetCustomMode(SettingsResizer::kExactSize,
                                  FrameInfo(RoundUpToEven(info.width), RoundUpToEven(info.height), info.aspect));
        enlarger_->SetSettings(enlargement);
    }

    void ConvertTo(PixFmt pixFmt, FramePtr& picture) {
        if (pixFmt != converterPixFmt_) {
            converterPixFmt_ = pixFmt;
            converter_->SetSettings(SettingsColorspaceConverter(pixFmt, true));
        }
        converter_->ProcessData(picture);
    }

    void MakeMasks(PixFmt pixFmt, const FramePtr& blurred) {
        if (!HasMaskFor(blurred->GetFrameInfo())) {
            chromaMask_.reset();
            shapeMask_->SetSettings(settings_.GetShape());
            mask_ = blurred;
            shapeMask_->ProcessData(mask_);
        }
        const auto& extraction =
            dynamic_cast<const SettingsEffectExtraAlphaExtractor&>(extraAlphaExtractor_->GetSettingsBase());
        const bool isForFormat = extraction.GetPixelFormat() == pixFmt;
        if (chromaMask_ != nullptr && isForFormat) return;
        if (!isForFormat) extraAlphaExtractor_->SetSettings(SettingsEffectExtraAlphaExtractor(pixFmt));
        chromaMask_ = mask_;
        extraAlphaExtractor_->ProcessData(chromaMask_);
    }

    OneInputPtr converter_;
    OneInputPtr smartBlur_;
    OneInputPtr shapeMask_;
    TwoInputPtr blender_;
    OneInputPtr extraAlphaExtractor_;
    TwoInputPtr alphaInserter_;
    OneInputPtr reducer_;
    OneInputPtr enlarger_;
    FramePtr mask_;
    FramePtr chromaMask_;
    PixFmt converterPixFmt_ = PixFmt::None;
};

}  // namespace

OneInputPtr CreateTiltShift(const FactoryPtr& factory, const AllocatorPtr& allocator) {
    return MakeEffect<TiltShift>(factory, allocator);
}

}  // namespace Orvexa::Proc
